// Connections over the network protocol to a private server on a loopback port.
// Skipped, with the reason, when no server can be started on this machine.

#include "DbTestSupport.h"

#include "dbaccess/pFIBQuery.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

namespace {
// Stands in for a statement hanging on the database.
struct TStatementStandIn : TComponent, IFIBStatement {
    int Forgotten = 0;
    void ForgetStatementHandle() override { ++Forgotten; }
    void UnprepareStatement() override {}
    int StatementSQLType() const override { return 0; }
    bool StatementClosing() const override { return false; }
    int StatementChangedRows() override { return 0; }
};
}  // namespace

class ServerDatabase : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sServer = std::make_unique<TPrivateServer>();
        if (!sServer->Start()) {
            sSkipReason = sServer->Reason();
            return;
        }
        sDir = std::make_unique<QTemporaryDir>();
        sPath = sDir->filePath("Remote.fdb");
        sCreateError = ThrownMessage([] { CreateTestDatabase(sServer->ConnectString(sPath), 3, "DBR"); });
    }
    static void TearDownTestSuite()
    {
        sServer.reset();
        sDir.reset();
    }
    void SetUp() override
    {
        if (!sSkipReason.isEmpty()) {
            std::printf("No private server: %s\n", qPrintable(sSkipReason));
            GTEST_SKIP() << "no private server: " << sSkipReason.toStdString();
        }
        ASSERT_TRUE(sCreateError.isEmpty()) << "creating over the network failed: " << sCreateError.toStdString();
    }
    std::unique_ptr<TpFIBDatabase> MakeDb() { return MakeTestDatabase(sServer->ConnectString(sPath), "DBR"); }
    static inline std::unique_ptr<TPrivateServer> sServer;
    static inline std::unique_ptr<QTemporaryDir> sDir;
    static inline QString sPath;
    static inline QString sSkipReason;
    static inline QString sCreateError;
};

TEST_F(ServerDatabase, CreateConnectAndWork)
{
    auto db = MakeDb();
    db->Open();
    EXPECT_TRUE(db->IsFirebirdConnect());
    EXPECT_GE(db->ServerMajorVersion(), 3);
    EXPECT_GT(db->AttachmentID(), 0);
    EXPECT_EQ(db->QueryValue("select mon$remote_protocol from mon$attachments "
                             "where mon$attachment_id = current_connection")
                  .toString()
                  .trimmed(),
              "TCPv4");

    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    tr.ExecSQLImmediate("recreate table R (ID integer)");
    tr.Commit();
    tr.StartTransaction();
    tr.ExecSQLImmediate("insert into R values (1)");
    tr.CommitRetaining();
    EXPECT_TRUE(tr.Active());
    tr.Commit();

    // A second attachment from this process sees what the first committed.
    auto second = MakeDb();
    second->Open();
    EXPECT_EQ(second->QueryValue("select count(*) from R").toInt(), 1);
    second->Close();
    db->Close();
}

TEST_F(ServerDatabase, WrongPasswordIsRefused)
{
    auto db = MakeDb();
    db->ConnectParams().SetPassword("wrong");
    const auto refused = Caught<EFIBInterBaseError>([&] { db->Open(); });
    ASSERT_TRUE(refused) << "connected with a wrong password";
    EXPECT_TRUE(refused->Message().contains("user name and password")) << refused->Message().toStdString();
    EXPECT_EQ(refused->SQLState, "28000");
    EXPECT_FALSE(db->Connected());
    // The password is a parameter line: changing it makes the next connect use it.
    db->ConnectParams().SetPassword(TestPassword);
    db->Open();
    EXPECT_TRUE(db->Connected());
    db->Close();
}

TEST_F(ServerDatabase, LostConnectionIsDroppedByTheTarget)
{
    // A server of its own, so that stopping it touches no other test.
    TPrivateServer server;
    if (!server.Start())
        GTEST_SKIP() << "no second private server: " << server.Reason().toStdString();
    QTemporaryDir dir;
    const QString path = server.ConnectString(dir.filePath("Lost.fdb"));
    CreateTestDatabase(path, 3, "DBL");

    auto db = MakeDb();
    db->SetDBName(path);
    db->Open();
    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    TStatementStandIn statement;
    TFIBBase link(&statement);
    link.SetDatabase(db.get());

    std::vector<TOnLostConnectActions> asked;
    int restoreErrors = 0;
    db->OnLostConnect = [&](TFIBDatabase*, EFIBError&, TOnLostConnectActions& action) {
        asked.push_back(action);
        action = laWaitRestore;
    };
    db->OnErrorRestoreConnect = [&](TFIBDatabase*, EFIBError&, bool& retry) {
        ++restoreErrors;
        retry = false;
    };
    db->SetWaitForRestoreConnect(50);
    LostConnectTarget = db.get();
    server.Stop();

    const QString text = ThrownMessage([&] { db->QueryValue("select 1 from rdb$database"); });
    LostConnectTarget = nullptr;
    EXPECT_FALSE(text.isEmpty());
    ASSERT_EQ(asked.size(), 1u) << text.toStdString();
    EXPECT_EQ(asked[0], laCloseConnect);
    EXPECT_FALSE(db->Connected());
    EXPECT_TRUE(db->ConnectionLost());
    // The open transaction was ended without the server: its handle is simply gone.
    EXPECT_FALSE(tr.Active());
    EXPECT_EQ(tr.TransactionID(), 0);
    EXPECT_EQ(statement.Forgotten, 1);
    // The restore timer tries to connect again and reports that it cannot.
    EXPECT_TRUE(WaitFor([&] { return restoreErrors > 0; }));
    EXPECT_EQ(restoreErrors, 1);
    db->SetWaitForRestoreConnect(0);
}

TEST_F(ServerDatabase, ACursorBrokenOffByTheServerKeepsFailing)
{
    TPrivateServer server;
    if (!server.Start())
        GTEST_SKIP() << "no second private server: " << server.Reason().toStdString();
    QTemporaryDir dir;
    const QString path = server.ConnectString(dir.filePath("Broken.fdb"));
    CreateTestDatabase(path, 3, "DBB");
    auto db = MakeDb();
    db->SetDBName(path);
    db->Open();
    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    TpFIBQuery q;
    q.SetDatabase(db.get());
    q.SetTransaction(&tr);
    // More rows than the client reads ahead in one go.
    q.SQL().SetText("with recursive n (i) as (select 1 from rdb$database union all "
                    "select i + 1 from n where i < 50000) select i from n");
    q.ExecQuery();
    ASSERT_FALSE(q.Eof());
    server.Stop();

    int rows = 0;
    const QString first = ThrownMessage([&] {
        while (q.Next() && rows < 100000)
            ++rows;
    });
    ASSERT_FALSE(first.isEmpty()) << "the end came after " << rows << " rows";
    EXPECT_LT(rows, 50000);
    // Asked again, the cursor does not pretend that the rows have ended.
    EXPECT_EQ(ThrownMessage([&] { q.Next(); }), first);
    EXPECT_FALSE(q.Eof());
}

// A connection the server ends (an administrator's cut, a server going down in order)
// answers "connection shutdown", not a network error: it is lost all the same.
TEST_F(ServerDatabase, AConnectionEndedByTheServerIsLost)
{
    auto db = MakeDb();
    db->Open();
    auto admin = MakeDb();
    admin->Open();
    int lost = 0;
    db->OnLostConnect = [&](TFIBDatabase*, EFIBError&, TOnLostConnectActions& action) {
        ++lost;
        action = laCloseConnect;
    };
    TpFIBTransaction cut;
    cut.AddDatabase(admin.get());
    cut.StartTransaction();
    cut.ExecSQLImmediate(QStringLiteral("delete from mon$attachments where mon$attachment_id = %1").arg(db->AttachmentID()));
    cut.Commit();
    LostConnectTarget = db.get();
    const auto shut = Caught<EFIBInterBaseError>([&] { db->QueryValue("select 1 from rdb$database"); });
    LostConnectTarget = nullptr;
    ASSERT_TRUE(shut);
    EXPECT_EQ(shut->SQLState, "08003");
    EXPECT_EQ(lost, 1);
    EXPECT_FALSE(db->Connected());
    EXPECT_TRUE(db->ConnectionLost());
    admin->Close();
}
