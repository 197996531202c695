// Connection: the parameter buffer, version parsing, and attaching to real database
// files opened embedded in this process.

#include "DbTestSupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <atomic>
#include <thread>

namespace {
QByteArray DPB(const QStringList& lines, bool isFirebird = true)
{
    TFIBStringList list;
    list.Assign(lines);
    return BuildDPB(list, isFirebird);
}
}  // namespace

TEST(DatabaseParams, NamesValuesAndBytes)
{
    EXPECT_EQ(DPB({"isc_dpb_user_name=X"}), Bytes({1, 28, 1, 'X'}));
    EXPECT_EQ(DPB({"USER_NAME=X"}), Bytes({1, 28, 1, 'X'}));
    EXPECT_EQ(DPB({"sql_dialect=3"}), Bytes({1, 63, 1, 3}));
    EXPECT_EQ(DPB({"num_buffers=300"}), Bytes({1, 5, 1, 300 % 256}));
    EXPECT_EQ(DPB({"garbage_collect=0", "sweep=7"}), Bytes({1, 8, 1, 1, 10, 1, 2}));
    EXPECT_EQ(DPB({"sweep_interval=70000"}), Bytes({1, 22, 4, 0x70, 0x11, 0x01, 0x00}));
    EXPECT_EQ(DPB({"activate_shadow", "online"}), Bytes({1, 21, 1, 0, 51, 0}));
    EXPECT_EQ(DPB({"lc_ctype=WIN1252"}), Bytes({1, 48, 7, 'W', 'I', 'N', '1', '2', '5', '2'}));
    // Texts go out in the 8-bit code page.
    EXPECT_EQ(DPB({QStringLiteral("password=\u00e4")}), Bytes({1, 29, 1, 0xE4}));
    // The first match in table order wins, and the three newer names stand behind the table.
    EXPECT_EQ(DPB({"no_db_triggers=1", "set_db_charset=UTF8", "utf8_filename"}),
              Bytes({1, 72, 1, 1, 68, 4, 'U', 'T', 'F', '8', 77, 0}));
    EXPECT_EQ(DPB({"no_db_triggers=1", "set_db_charset=UTF8", "utf8_filename"}, false), Bytes({1}));
    EXPECT_EQ(DPB({"instance_name=a"}), Bytes({1}));
    EXPECT_EQ(DPB({"instance_name=a"}, false), Bytes({1, 75, 1, 'a'}));
    // A long text is not refused: its length byte wraps.
    const QByteArray longValue = DPB({"user_name=" + QString(300, u'u')});
    EXPECT_EQ(static_cast<unsigned char>(longValue[2]), 300 % 256);
    EXPECT_EQ(longValue.size(), 3 + 300);

    // Lines are trimmed in place, empty ones skipped.
    TFIBStringList list;
    list.Assign({"  user_name=A  ", "", "   "});
    EXPECT_EQ(BuildDPB(list, true), Bytes({1, 28, 1, 'A'}));
    EXPECT_EQ(list.Strings(0), "user_name=A");
    EXPECT_EQ(list.Strings(2), "");

    EXPECT_EQ(ThrownMessage([] { DPB({"foo=1"}); }), "DPB Constant (foo) is unknown.");
    EXPECT_EQ(ThrownMessage([] { DPB({"isc_dpb_journal=1"}); }), "DPB Constant (isc_dpb_journal) is unsupported.");
    EXPECT_EQ(ThrownMessage([] { DPB({"Force=1"}); }), "DPB Constant (isc_dpb_force) is unsupported.");
    EXPECT_THROW(DPB({"num_buffers=many"}), EConvertError);

    // Shutdown flags by name or number.
    EXPECT_EQ(DPB({"shutdown=single,force"}), Bytes({1, 50, 1, 48 | 8}));
    EXPECT_EQ(DPB({"shutdown="}), Bytes({1, 50, 0}));
    EXPECT_EQ(ShutdownFlags("attachment;transaction"), 6);
    EXPECT_EQ(ShutdownFlags("FULL,16"), 64 | 16);
    EXPECT_EQ(ShutdownFlags("cache,nonsense"), -1);
    // A one-character last token does not count, a single digit included.
    EXPECT_EQ(ShutdownFlags("attachment,f"), 2);
    EXPECT_EQ(ShutdownFlags("8"), 0);
    EXPECT_EQ(ShutdownFlags("12"), 12);
}

TEST(DatabaseParams, ConnectParamsViewTheLines)
{
    TFIBDatabase db;
    db.DBParams().Assign({"isc_dpb_user_name=SYSDBA", "password=a=b", "lc_ctype=WIN1252"});
    EXPECT_EQ(db.ConnectParams().UserName(), "SYSDBA");
    EXPECT_EQ(db.ConnectParams().Password(), "a=b");
    EXPECT_EQ(db.ConnectParams().RoleName(), "");
    db.ConnectParams().SetUserName("ANNA");
    EXPECT_EQ(db.DBParams().Strings(0), "user_name=ANNA");
    db.ConnectParams().SetCharSet("utf8");
    EXPECT_EQ(db.DBParams().Strings(2), "lc_ctype=UTF8");
    db.ConnectParams().SetRoleName("R1");
    EXPECT_EQ(db.DBParams().Strings(3), "sql_role_name=R1");
    db.ConnectParams().SetPassword("");
    EXPECT_EQ(db.DBParams().Count(), 3);
    EXPECT_EQ(db.DBParams().IndexOfName("password"), -1);

    db.DesignDBOptions |= ddoNotSavePassword;
    db.ConnectParams().SetPassword("secret");
    EXPECT_FALSE(db.DBParams().StoredLines().join(u'|').contains("secret"));
    EXPECT_EQ(db.ConnectParams().Password(), "secret");
}

TEST(DatabaseParams, ServerVersionText)
{
    int major, minor, release, build;
    const std::pair<const char*, std::tuple<int, int, int, int>> versions[] = {
        {"LI-V3.0.11.33637 Firebird 3.0", {3, 0, 11, 33637}}, {"WI-V2.5", {2, 5, 0, 0}},
        {"LI-V3..1", {3, 0, 1, 0}}, {"", {0, 0, 0, 0}}};
    for (const auto& [text, expected] : versions) {
        ParseServerVersion(text, major, minor, release, build);
        EXPECT_EQ(std::tuple(major, minor, release, build), expected) << text;
    }
}

// ---------------------------------------------------------------- embedded

class EmbeddedDatabase : public TDatabaseSuite<EmbeddedDatabase> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        auto file = std::make_unique<TTestDatabaseFile>("Conn.fdb");
        CreateTestDatabase(file->FilePath("Dialect1.fdb"), 1);
        return file;
    }

protected:
    static QString Dialect1Path() { return sFile->FilePath("Dialect1.fdb"); }
    std::unique_ptr<TpFIBDatabase> MakeDb(const QString& path = Path()) { return MakeTestDatabase(path, "DB1"); }
};

TEST_F(EmbeddedDatabase, ConnectLearnsAboutTheServerAndDisconnects)
{
    auto db = MakeDb();
    db->Open();
    ASSERT_TRUE(db->Connected());
    EXPECT_TRUE(db->IsFirebirdConnect());
    EXPECT_GE(db->ServerMajorVersion(), 3);
    EXPECT_GE(db->ServerBuild(), 1);
    EXPECT_TRUE(db->IsFB21OrLater());
    EXPECT_GT(db->AttachmentID(), 0);
    EXPECT_EQ(db->SQLDialect(), 3);
    EXPECT_FALSE(db->IsUnicodeConnect());
    EXPECT_FALSE(db->NeedUTF8DDL());
    EXPECT_EQ(db->AttachmentCharset(), 53);  // WIN1252
    // Local and server clock are the same machine here.
    EXPECT_LT(std::abs(db->ClockOffset()), 60.0 / 86400.0);
    const QVariant serverNow = db->QueryValue("select cast('NOW' as timestamp) from rdb$database");
    ASSERT_EQ(serverNow.typeId(), QMetaType::Double);
    EXPECT_LT(std::abs(serverNow.toDouble() - Now()), 60.0 / 86400.0);
    EXPECT_EQ(db->QueryValue("select 2 + 3 from rdb$database").toInt(), 5);
    EXPECT_FALSE(db->InternalTransaction()->Active());
    EXPECT_EQ(db->InternalTransaction()->Name(), "DB1_InternalTransaction");

    EXPECT_EQ(ThrownMessage([&] { db->SetDBName("/elsewhere.fdb"); }),
              "DB1:" + CRLF + "Cannot perform operation -- DB is currently open.");
    EXPECT_EQ(ThrownMessage([&] { db->ConnectParams().SetPassword("other"); }),
              "DB1:" + CRLF + "Cannot perform operation -- DB is currently open.");
    EXPECT_EQ(db->ConnectParams().Password(), TestPassword);
    EXPECT_EQ(ThrownMessage([&] { db->SetLibraryName("libother.so"); }),
              "DB1:" + CRLF + "Cannot perform operation -- DB is currently open.");
    // The program's class ignores a second open; the base class refuses it.
    EXPECT_NO_THROW(db->Open());
    TFIBDatabase plain;
    plain.SetName("DB2");
    plain.SetLibraryName(ClientLibraryName);
    plain.SetDBName(Path());
    SetLoginParams(plain);
    plain.Open();
    EXPECT_EQ(ThrownMessage([&] { plain.Open(); }), "DB2:" + CRLF + "Cannot perform operation -- DB is currently open.");
    plain.Close();

    db->Close();
    EXPECT_FALSE(db->Connected());
    EXPECT_EQ(db->AttachmentID(), -1);
    EXPECT_EQ(db->InternalTransaction()->Timeout(), 0);
    EXPECT_EQ(ThrownMessage([&] { db->DBSQLDialect(); }),
              "DB1:" + CRLF + "DB1: Cannot perform operation -- DB is not open.");

    // A unicode connection character set is seen from the server's answer.
    SetLoginParams(*db, "UTF8");
    db->Open();
    EXPECT_TRUE(db->IsUnicodeConnect());
    EXPECT_TRUE(db->NeedUnicodeHandling());
    EXPECT_TRUE(db->NeedUTF8DDL());
    EXPECT_EQ(db->BytesPerCharacter(4), 4);
    EXPECT_EQ(db->BytesPerCharacter(3), 3);
    EXPECT_EQ(db->BytesPerCharacter(53), 1);
    db->Close();
    EXPECT_EQ(db->BytesPerCharacter(4), 1);
    EXPECT_EQ(db->InternalTransaction()->Timeout(), 0);
}

TEST_F(EmbeddedDatabase, FailedConnectsLeaveNoHandle)
{
    auto db = MakeDb(sFile->FilePath("does-not-exist.fdb"));
    const auto e = Caught<EFIBInterBaseError>([&] { db->Open(); });
    ASSERT_TRUE(e) << "connected to a missing file";
    EXPECT_LT(e->SQLCode, 0);
    EXPECT_NE(e->IBErrorCode, 0);
    EXPECT_TRUE(e->Message().contains("does-not-exist.fdb")) << e->Message().toStdString();
    EXPECT_TRUE(e->Message().startsWith("DB1:" + CRLF));
    EXPECT_FALSE(db->Connected());

    db = MakeDb();
    db->SetDBName("");
    EXPECT_EQ(ThrownMessage([&] { db->Open(); }), "DB1:" + CRLF + "Database name is missing.");

    // An unknown line stops the connect; once it is mended the next connect works,
    // because changing DBParams builds the buffer anew.
    db = MakeDb();
    db->DBParams().Add("foo=1");
    EXPECT_EQ(ThrownMessage([&] { db->Open(); }), "DPB Constant (foo) is unknown.");
    EXPECT_EQ(db->Handle(), 0u);
    db->DBParams().Delete(db->DBParams().Count() - 1);
    db->Open();
    EXPECT_TRUE(db->Connected());
    db->Close();
}

TEST_F(EmbeddedDatabase, LoginRoutine)
{
    auto db = MakeDb();
    db->UseLoginPrompt = true;
    FIBLoginDialogProc = nullptr;
    EXPECT_EQ(ThrownMessage([&] { db->Open(); }),
              "Unable to find Database login dialog. Please, add FIBDBLoginDlg into USES statement of your project.");

    // The dialog is shown what the lines hold, whatever their spelling, and its answer
    // takes their place: one line each, no second user that the server would take instead.
    db->DBParams().Assign({"isc_dpb_user_name=NOBODY", "lc_ctype=WIN1252", "PASSWORD=wrong",
                           "isc_dpb_sql_role_name=OLD"});
    QString seenName, seenUser, seenRole;
    FIBLoginDialogProc = [&](const QString& dbName, QString& user, QString& password, QString& role) {
        seenName = dbName;
        seenUser = user;
        seenRole = role;
        user = "ANNA";
        password = TestPassword;
        role = "R1";
        return true;
    };
    db->Open();
    EXPECT_EQ(seenName, Path());
    EXPECT_EQ(seenUser, "NOBODY");
    EXPECT_EQ(seenRole, "OLD");
    const QStringList lines = db->DBParams().Lines();
    EXPECT_EQ(lines.size(), 4) << lines.join(u'|').toStdString();
    for (const char* key : {"user_name", "password", "role_name"})
        EXPECT_EQ(lines.filter(QRegularExpression(key, QRegularExpression::CaseInsensitiveOption)).size(), 1) << key;
    EXPECT_EQ(db->ConnectParams().UserName(), "ANNA");
    EXPECT_EQ(db->ConnectParams().Password(), TestPassword);
    EXPECT_EQ(db->ConnectParams().RoleName(), "R1");
    EXPECT_EQ(db->QueryValue("select current_user from rdb$database").toString(), "ANNA");
    db->Close();

    FIBLoginDialogProc = [](const QString&, QString&, QString&, QString&) { return false; };
    const QString text = ThrownMessage([&] { db->Open(); });
    EXPECT_TRUE(text.endsWith("Operation cancelled at user's request.")) << text.toStdString();
    EXPECT_FALSE(db->Connected());

    // An implicit connect with a known password does not ask.
    TFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    EXPECT_TRUE(db->Connected());
    EXPECT_TRUE(db->UseLoginPrompt);
    tr.Commit();
    db->Close();
    FIBLoginDialogProc = nullptr;
}

TEST_F(EmbeddedDatabase, LinksAndHooksHearConnectAndDisconnect)
{
    auto db = MakeDb();
    std::vector<QString> events;
    TComponent o1, o2, o3, o4;
    TFIBBase b1(&o1), b2(&o2), b3(&o3), b4(&o4);
    b1.OnDatabaseConnecting = [&] { events.push_back("connecting"); };
    b1.OnDatabaseConnected = [&] { events.push_back("connected"); };
    b1.OnDatabaseDisconnecting = [&] { events.push_back("disconnecting"); };
    b1.OnDatabaseDisconnected = [&] { events.push_back("disconnected"); };
    b1.SetDatabase(db.get());
    b2.SetDatabase(db.get());
    b3.SetDatabase(db.get());
    EXPECT_EQ(b3.DatabaseSlot(), 2);
    b2.SetDatabase(nullptr);
    b4.SetDatabase(db.get());
    EXPECT_EQ(b4.DatabaseSlot(), 1);  // the freed slot is taken again
    EXPECT_EQ(db->FIBBases(1), &b4);

    auto listener = std::make_unique<TComponent>();
    db->AfterConnectEvents().Add(listener.get(), [&](TComponent*) { events.push_back("after-connect list"); });
    db->OnConnect = [&](TComponent*) { events.push_back("OnConnect"); };
    db->BeforeConnect = [&](TFIBDatabase*, TFIBStringList* params, bool& doConnect) {
        events.push_back("BeforeConnect " + QString::number(params->Count()));
        doConnect = true;
    };
    db->AfterConnect = [&](TComponent*) { events.push_back("AfterConnect"); };
    db->Open();
    db->Close();
    EXPECT_EQ(events, (std::vector<QString>{"BeforeConnect 3", "connecting", "OnConnect", "after-connect list",
                                            "connected", "AfterConnect", "disconnecting", "disconnected"}));

    // A listener that is gone is not called.
    listener.reset();
    events.clear();
    db->Open();
    EXPECT_EQ(std::count(events.begin(), events.end(), "after-connect list"), 0);

    // A hook that fails is reported with the database's name.
    db->BeforeDisconnect = [](TComponent*) { throw Exception("boom"); };
    EXPECT_EQ(ThrownMessage([&] { db->Close(); }), "Error of DB1.BeforeDisconnect. boom");
    EXPECT_TRUE(db->Connected());
    db->BeforeDisconnect = nullptr;
    db->AfterDisconnect = [](TComponent*) { throw Exception("late"); };
    EXPECT_EQ(ThrownMessage([&] { db->Close(); }), "Error of DB1.AfterDisconnect. late");
    EXPECT_FALSE(db->Connected());

    // A veto in BeforeConnect leaves the database closed without an error.
    db->AfterDisconnect = nullptr;
    db->BeforeConnect = [](TFIBDatabase*, TFIBStringList*, bool& doConnect) { doConnect = false; };
    db->Open();
    EXPECT_FALSE(db->Connected());
}

TEST_F(EmbeddedDatabase, IdleTimeoutClosesUnlessKeptAlive)
{
    auto db = MakeDb();
    db->Open();
    int timeouts = 0;
    int idleAsks = 0;
    std::int64_t lastIdle = 0;
    db->OnTimeout = [&](TComponent*) { ++timeouts; };
    db->OnIdleConnect = [&](TFIBDatabase*, std::int64_t idle, TActionOnIdle& action) {
        ++idleAsks;
        lastIdle = idle;
        action = idleAsks < 2 ? aiKeepLiveConnect : aiCloseConnect;
    };
    db->SetTimeout(100);
    ASSERT_TRUE(WaitFor([&] { return !db->Connected(); }));
    EXPECT_EQ(idleAsks, 2);
    EXPECT_GE(lastIdle, 100);
    EXPECT_EQ(timeouts, 1);
    db->SetTimeout(0);
    EXPECT_EQ(db->Timeout(), 0);
}

TEST_F(EmbeddedDatabase, LoadingDefersTheConnect)
{
    auto db = MakeDb();
    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    db->SetDefaultTransaction(&tr);
    db->BeginLoading();
    tr.BeginLoading();
    db->SetConnected(true);
    tr.SetActive(true);
    EXPECT_FALSE(db->Connected());
    db->EndLoading();
    tr.EndLoading();
    EXPECT_TRUE(db->Connected());
    EXPECT_TRUE(tr.Active());
    db->Close();
    EXPECT_FALSE(tr.Active());

    // A connect that fails while loading surfaces at the end of loading.
    auto bad = MakeDb(sFile->FilePath("missing.fdb"));
    bad->BeginLoading();
    EXPECT_NO_THROW(bad->SetConnected(true));
    EXPECT_THROW(bad->EndLoading(), EFIBInterBaseError);
}

TEST_F(EmbeddedDatabase, TwoThreadsAttachAtOnce)
{
    // The login routine runs inside the connect lock: it never sees two callers at once.
    std::atomic<int> inside{0};
    std::atomic<int> mostInside{0};
    std::atomic<int> logins{0};
    FIBLoginDialogProc = [&](const QString&, QString&, QString&, QString&) {
        const int now = ++inside;
        mostInside = std::max(mostInside.load(), now);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ++logins;
        --inside;
        return true;
    };
    // One thread fails, the others succeed; each sees its own error state.
    std::atomic<int> ready{0};
    QString badText;
    std::atomic<int> goodDialects{0};
    auto good = [&] {
        auto db = MakeDb();
        db->UseLoginPrompt = true;
        ++ready;
        while (ready < 3) {
        }
        for (int i = 0; i < 4; ++i) {
            db->Open();
            if (db->DBSQLDialect() == 3)
                ++goodDialects;
            db->Close();
        }
    };
    std::thread bad([&] {
        auto db = MakeDb(sFile->FilePath("nowhere.fdb"));
        db->UseLoginPrompt = true;
        ++ready;
        while (ready < 3) {
        }
        for (int i = 0; i < 4; ++i)
            badText = ThrownMessage([&] { db->Open(); });
    });
    std::thread good1(good), good2(good);
    bad.join();
    good1.join();
    good2.join();
    FIBLoginDialogProc = nullptr;
    EXPECT_TRUE(badText.contains("nowhere.fdb")) << badText.toStdString();
    EXPECT_EQ(goodDialects, 8);
    EXPECT_EQ(logins, 12);
    EXPECT_EQ(mostInside, 1);
}

TEST_F(EmbeddedDatabase, CreateDetachAtProcessEndAndDropDatabase)
{
    const QString path = sFile->FilePath("Dropped.fdb");
    auto db = CreateTestDatabase(path, 3, "DBX");
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_FALSE(db->Connected());
    // The file is there already: the server refuses and nothing stays attached.
    db->DBParams().Assign({"USER 'SYSDBA'", "PASSWORD 'masterkey'"});
    EXPECT_THROW(db->CreateDatabase(), EFIBInterBaseError);
    EXPECT_FALSE(db->Connected());
    // A process that ends with the connection still open detaches on its own.
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {"--exit-with-open-connection", path});
    ASSERT_TRUE(child.waitForFinished(60000));
    const QString output = QString::fromLocal8Bit(child.readAllStandardError());
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit) << output.toStdString();
    EXPECT_EQ(child.exitCode(), 0) << output.toStdString();
    EXPECT_TRUE(output.contains("closed at exit")) << output.toStdString();
    SetLoginParams(*db);
    db->Open();
    db->DropDatabase();
    EXPECT_FALSE(db->Connected());
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(ThrownMessage([&] { db->DropDatabase(); }),
              "DBX:" + CRLF + "DBX: Cannot perform operation -- DB is not open.");
}

TEST_F(EmbeddedDatabase, AliasKeepsTheConnectionValuesPerUserAndTheDialectIsLowered)
{
    QStandardPaths::setTestModeEnabled(true);
    const QString alias = QStringLiteral("OrvexTest%1").arg(QCoreApplication::applicationPid());

    auto unknown = std::make_unique<TpFIBDatabase>();
    unknown->SetAliasName(alias);
    EXPECT_FALSE(unknown->ApplyAliasParams());
    EXPECT_TRUE(unknown->DBName().isEmpty());

    // A connect under an alias stores its values for the next time; the dialect
    // asked for is lowered to the database's.
    auto first = MakeDb(Dialect1Path());
    first->SetAliasName(alias);
    first->Open();
    EXPECT_EQ(first->SQLDialect(), 1);
    EXPECT_EQ(first->DBSQLDialect(), 1);
    EXPECT_EQ(ThrownMessage([&] { first->SetSQLDialect(3); }), "SQL Dialect invalid");
    EXPECT_EQ(ThrownMessage([&] { first->SetSQLDialect(0); }), "SQL Dialect invalid");
    // Dialect 1 asks the server for a DATE, which carries the time there.
    EXPECT_LT(std::abs(first->ClockOffset()), 60.0 / 86400.0);
    first->Close();

    auto second = std::make_unique<TpFIBDatabase>();
    second->SetAliasName(alias);
    EXPECT_EQ(second->DBName(), Dialect1Path());
    EXPECT_EQ(second->ConnectParams().UserName(), "SYSDBA");
    EXPECT_EQ(second->ConnectParams().CharSet(), "WIN1252");
    EXPECT_EQ(second->SQLDialect(), 1);  // as lowered by the dialect 1 database
    EXPECT_EQ(second->LibraryName(), ClientLibraryName);
    EXPECT_TRUE(second->ConnectParams().Password().isEmpty());
    second->Open();
    EXPECT_TRUE(second->Connected());
    second->Close();

    QSettings(QSettings::IniFormat, QSettings::UserScope, "ZELSOFT", "DatabaseAliases").remove(alias);
}
