// The update cycle of the cached dataset against a real embedded database:
// generated statements, generator keys, server defaults, the commit rule, locks,
// update objects and rows that went away on the server.

#include "DbTestSupport.h"
#include "dbaccess/pFIBDataSet.h"
#include "frame/ZELBase.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDateTime>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cmath>

class UpdateCycleTest : public TDatabaseSuite<UpdateCycleTest> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        return std::make_unique<TTestDatabaseFile>(
            "UpdateCycle.fdb",
            QStringList{
                "create table GEN_T (ID integer not null primary key, NAME varchar(20), V double precision, "
                "C computed by (V * 2), D varchar(10) default 'neu', TS timestamp default 'NOW', "
                "U varchar(31) default USER)",
                "create sequence GEN_GEN_T_ID", "create table LOG_T (N integer, TXT varchar(40))",
                "create trigger GEN_T_BI for GEN_T before insert or update as begin "
                "if (NEW.NAME starting with 'klein') then NEW.NAME = upper(NEW.NAME); end"});
    }

protected:
    void SetUp() override
    {
        Connect();
        tr->StartTransaction();
        tr->ExecSQLImmediate("delete from GEN_T");
        tr->ExecSQLImmediate("delete from LOG_T");
        for (int i = 1; i <= 5; ++i)
            tr->ExecSQLImmediate(QStringLiteral("insert into GEN_T (ID, NAME, V) values (%1, 'Zeile %1', %1)").arg(i).toLatin1());
        tr->Commit();
        tr->StartTransaction();
    }
    void Generated(TpFIBDataSet& d)
    {
        TAutoUpdateOptions& au = d.AutoUpdateOptions();
        au.SetUpdateTableName("GEN_T");
        au.KeyFields = "ID";
        au.AutoReWriteSqls = true;
    }
    // Committed state, seen from a connection of its own.
    QVariant Committed(const QString& sql)
    {
        auto other = OpenTestDatabase(Path(), "OTHER");
        const QVariant v = other->QueryValue(sql);
        other->Close();
        return v;
    }

};

TEST_F(UpdateCycleTest, GeneratedStatementsNameTheTablesColumnsAndKeysAndTakeWhatTheServerSendsBack)
{
    ds = MakeDataSet("select * from GEN_T order by ID");
    ds->Open();
    EXPECT_EQ(ds->GenerateSQLText("GEN_T", "ID", sqlkModify),
              "Update GEN_T  Set\r\n     ID=?NEW_ID,\r\n     NAME=?NEW_NAME,\r\n     V=?NEW_V,\r\n     D=?NEW_D,\r\n"
              "     TS=?NEW_TS,\r\n     U=?NEW_U\r\nwhere GEN_T.ID=?OLD_ID");
    EXPECT_EQ(ds->GenerateSQLText("GEN_T", "ID", sqlkInsert),
              "Insert into GEN_T(ID,NAME,V,D,TS,U)\r\nvalues (?NEW_ID,?NEW_NAME,?NEW_V,?NEW_D,?NEW_TS,?NEW_U)");
    EXPECT_EQ(ds->GenerateSQLText("GEN_T G", "ID", sqlkDelete), "Delete from GEN_T G\r\nwhere G.ID=?OLD_ID");
    const QString refresh = ds->GenerateSQLText("GEN_T", "ID", sqlkRefresh);
    EXPECT_TRUE(refresh.contains("GEN_T.ID=?OLD_ID")) << refresh.toStdString();
    EXPECT_FALSE(refresh.contains("order", Qt::CaseInsensitive)) << refresh.toStdString();
    EXPECT_EQ(ThrownMessage([&] { ds->GenerateSQLText("GEN_T", "NOPE", sqlkDelete); }),
              "DS: unable to generate DeleteSQL because fields for \"GEN_T\" do not exist in dataset.");
    EXPECT_EQ(ThrownMessage([&] { ds->GenerateSQLText("OTHER_T", "ID", sqlkRefresh); }),
              "DS: unable to generate RefreshSQL because fields for \"OTHER_T\" do not exist in dataset.");

    // Without CanChangeSQLs a statement that is there stays.
    ds->Close();
    Generated(*ds);
    ds->DeleteSQL().SetText("delete from GEN_T where ID = ?OLD_ID and 1 = 1");
    ds->Open();
    EXPECT_EQ(ds->DeleteSQL().Text().trimmed(), "delete from GEN_T where ID = ?OLD_ID and 1 = 1");
    EXPECT_TRUE(ds->InsertSQL().Text().startsWith("Insert into GEN_T("));
    ds->Close();
    ds->AutoUpdateOptions().CanChangeSQLs = true;
    ds->Open();
    EXPECT_TRUE(ds->DeleteSQL().Text().startsWith("Delete from GEN_T"));

    // Columns the server sends back reach the row without a refresh.
    ds->Close();
    ds->AutoUpdateOptions().UseReturningFields = rfAll;
    ds->SetOptions(ds->Options() & ~poRefreshAfterPost);
    ds->Open();
    EXPECT_TRUE(ds->InsertSQL().Text().contains("RETURNING ID,NAME,V,D,TS,U"));
    ds->Append();
    ds->FieldByName("ID")->SetAsInteger(50);
    ds->FieldByName("NAME")->SetAsString("klein geschrieben");
    ds->Post();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "KLEIN GESCHRIEBEN");
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("kleiner");
    ds->Post();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "KLEINER");
    EXPECT_EQ(db->QueryValue("select NAME from GEN_T where ID = 50", tr.get()).toString(), "KLEINER");

    // The older stored form of the generator moment.
    TAutoUpdateOptions stored;
    stored.ReadStoredBoolean("SelectGenID", true);
    EXPECT_EQ(stored.WhenGetGenID, wgOnNewRecord);
    stored.ReadStoredBoolean("GenBeforePost", true);
    EXPECT_EQ(stored.WhenGetGenID, wgBeforePost);
    stored.ReadStoredBoolean("SelectGenID", false);
    EXPECT_EQ(stored.WhenGetGenID, wgNever);
}

TEST_F(UpdateCycleTest, NewRowsTakeGeneratorKeysAndServerDefaults)
{
    const qint64 first = db->Gen_Id("GEN_GEN_T_ID", 5);
    EXPECT_EQ(db->Gen_Id("GEN_GEN_T_ID", 5), first + 5);
    ds = MakeDataSet("select * from GEN_T order by ID");
    Generated(*ds);
    ds->AutoUpdateOptions().WhenGetGenID = wgOnNewRecord;
    // The generator's name follows the table's when none is given.
    ds->AutoUpdateOptions().SetUpdateTableName("GEN_T");
    EXPECT_EQ(ds->AutoUpdateOptions().GeneratorName, "GEN_GEN_T_ID");
    ds->Open();
    const qint64 next = db->Gen_Id("GEN_GEN_T_ID", 0) + 1;
    ds->Append();
    EXPECT_EQ(ds->FieldByName("ID")->AsLargeInt(), next);
    EXPECT_EQ(ds->FieldByName("D")->AsString(), "neu");
    EXPECT_EQ(ds->FieldByName("U")->AsString(), "SYSDBA");
    EXPECT_LT(std::fabs(ds->FieldByName("TS")->AsDateTime() - QDateTimeToDateTime(QDateTime::currentDateTime())), 1.0 / 24);
    ds->FieldByName("NAME")->SetAsString("erzeugt");
    ds->FieldByName("V")->SetAsFloat(21);
    ds->Post();
    // The row read back after the post carries what only the server computes.
    EXPECT_DOUBLE_EQ(ds->FieldByName("C")->AsFloat(), 42);
    tr->Commit();
    EXPECT_EQ(Committed(QStringLiteral("select NAME || '/' || D from GEN_T where ID = %1").arg(next)).toString(), "erzeugt/neu");

    // Read before the post, a key is taken only by a row that is posted.
    tr->StartTransaction();
    ds->Close();
    ds->AutoUpdateOptions().WhenGetGenID = wgBeforePost;
    ds->Open();
    const qint64 before = db->Gen_Id("GEN_GEN_T_ID", 0);
    ds->Append();
    EXPECT_TRUE(ds->FieldByName("ID")->IsNull());
    ds->Cancel();
    EXPECT_EQ(db->Gen_Id("GEN_GEN_T_ID", 0), before);
    ds->Append();
    ds->FieldByName("NAME")->SetAsString("spaet");
    ds->Post();
    EXPECT_EQ(ds->FieldByName("ID")->AsLargeInt(), before + 1);
    EXPECT_EQ(db->QueryValue(QStringLiteral("select NAME from GEN_T where ID = %1").arg(before + 1), tr.get()).toString(),
              "spaet");
}

TEST_F(UpdateCycleTest, OnlyChangedColumnsAreWrittenAndNoActionWritesNothing)
{
    ds = MakeDataSet("select * from GEN_T order by ID");
    Generated(*ds);
    ds->AutoUpdateOptions().UpdateOnlyModifiedFields = true;
    ds->Open();
    EXPECT_TRUE(ds->UpdateSQL().Text().trimmed().isEmpty());
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("nur Name");
    ds->Post();
    EXPECT_TRUE(ds->UpdateSQL().Text().contains("NAME=?NEW_NAME"));
    EXPECT_FALSE(ds->UpdateSQL().Text().contains("V=?NEW_V"));
    // A value changed beside the dataset in a column not edited here survives the post.
    tr->ExecSQLImmediate("update GEN_T set V = 99 where ID = 1");
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("wieder");
    ds->Post();
    EXPECT_EQ(db->QueryValue("select NAME || '/' || cast(V as integer) from GEN_T where ID = 1", tr.get()).toString(),
              "wieder/99");
    // A post that changed nothing runs no statement.
    ds->Edit();
    ds->Post();
    EXPECT_TRUE(ds->UpdateSQL().Text().trimmed().isEmpty());

    auto plain = MakeDataSet("select * from GEN_T order by ID");
    plain->SetName("PLAIN");
    plain->UpdateSQL().SetText("No Action\n-- this dataset shows changes without writing them");
    plain->Open();
    plain->Edit();
    plain->FieldByName("NAME")->SetAsString("lokal");
    plain->Post();
    EXPECT_EQ(plain->UpdateStatus(), cusUnmodified);
    EXPECT_EQ(plain->FieldByName("NAME")->AsString(), "lokal");
    EXPECT_EQ(db->QueryValue("select NAME from GEN_T where ID = 1", tr.get()).toString(), "wieder");
}

TEST_F(UpdateCycleTest, AutoCommitKeepsASharedCursorAndEndsASeparateTransaction)
{
    ds = MakeDataSet("select * from GEN_T order by ID");
    Generated(*ds);
    ds->AutoCommit = true;
    ds->Open();
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("geteilt");
    ds->Post();
    // One transaction for reading and writing: committed with its cursor kept.
    EXPECT_TRUE(tr->Active());
    EXPECT_FALSE(ds->AllFetched());
    EXPECT_EQ(Committed("select NAME from GEN_T where ID = 1").toString(), "geteilt");
    ds->Last();
    EXPECT_EQ(ds->RecordCount(), 5);

    TpFIBTransaction writer;
    writer.SetName("WRITER");
    writer.AddDatabase(db.get());
    ds->SetUpdateTransaction(&writer);
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("eigen");
    ds->Post();
    EXPECT_FALSE(writer.Active());
    EXPECT_TRUE(ds->Active());
    EXPECT_EQ(Committed("select NAME from GEN_T where ID = 5").toString(), "eigen");
}

TEST_F(UpdateCycleTest, LockRecordHoldsTheRowAndTellsWhyNot)
{
    tr->Commit();
    ds = MakeDataSet("select * from GEN_T order by ID");
    TpFIBTransaction writer;
    writer.SetName("WRITER");
    writer.AddDatabase(db.get());
    ds->SetUpdateTransaction(&writer);
    ds->AutoUpdateOptions().SetUpdateTableName("GEN_T");
    ds->AutoUpdateOptions().KeyFields = "ID";
    ds->Open();
    EXPECT_EQ(ds->LockRecord(), lsSuccess);
    EXPECT_TRUE(writer.Active());

    // A second connection cannot take the held row.
    auto other = OpenTestDatabase(Path(), "OTHER");
    TpFIBTransaction otherTr;
    otherTr.AddDatabase(other.get());
    auto second = std::make_unique<TpFIBDataSet>();
    second->SetName("SECOND");
    second->SetDatabase(other.get());
    second->SetTransaction(&otherTr);
    second->SetSelectSQL("select * from GEN_T order by ID");
    second->AutoUpdateOptions().SetUpdateTableName("GEN_T");
    second->AutoUpdateOptions().KeyFields = "ID";
    second->SetOptions(second->Options() | poProtectedEdit);
    second->Open();
    const QString refused = ThrownMessage([&] { second->Edit(); });
    EXPECT_TRUE(refused.startsWith("Deadlock detected\r\n")) << refused.toStdString();
    EXPECT_TRUE(refused.contains("update conflicts with concurrent update", Qt::CaseInsensitive)) << refused.toStdString();
    EXPECT_EQ(second->State(), dsBrowse);
    int asked = 0;
    second->OnLockError = [&](TDataSet*, Exception* e, TLockStatus status, TFIBUpdateAction& action) {
        ++asked;
        EXPECT_NE(e, nullptr);
        EXPECT_EQ(status, lsDeadLock);
        // Once the first holder lets go, the retry gets the row.
        writer.Rollback();
        action = uaRetry;
    };
    second->Edit();
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(second->State(), dsEdit);
    second->Cancel();
    if (otherTr.Active())
        otherTr.Rollback();

    // A row the server no longer has.
    tr->ExecSQLImmediate("delete from GEN_T where ID = 1");
    tr->CommitRetaining();
    ds->First();
    EXPECT_EQ(ds->LockRecord(false), lsNotExist);
    EXPECT_EQ(ThrownMessage([&] { ds->LockRecord(); }), "Record does not exist");
    if (writer.Active())
        writer.Rollback();
    second.reset();
    other->Close();

    auto bare = MakeDataSet("select * from GEN_T");
    bare->SetName("BARE");
    bare->Open();
    EXPECT_EQ(ThrownMessage([&] { bare->LockRecord(); }), "Unable to lock record. Update query is empty");
}

TEST_F(UpdateCycleTest, AHandlerThatClosesTheDatasetStopsTheWriteAndUpdateObjectsRunInOrder)
{
    ds = MakeDataSet("select * from GEN_T order by ID");
    Generated(*ds);
    ds->Open();
    ds->BeforeDelete = [](TDataSet* d) { d->Close(); };
    EXPECT_EQ(ThrownMessage([&] { ds->Delete(); }), "Can't continue after BeforeDelete because DS dataset closed.");
    EXPECT_EQ(db->QueryValue("select count(*) from GEN_T", tr.get()).toInt(), 5);
    ds->BeforeDelete = nullptr;
    ds->Open();
    ds->BeforeEdit = [](TDataSet* d) { d->Close(); };
    EXPECT_EQ(ThrownMessage([&] { ds->Edit(); }), "Can't continue after BeforeEdit because DS dataset closed.");
    ds->BeforeEdit = nullptr;
    ds->Open();
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("nie");
    ds->BeforePost = [](TDataSet* d) { d->Close(); };
    EXPECT_EQ(ThrownMessage([&] { ds->Post(); }), "Can't continue after BeforePost because DS dataset closed.");
    EXPECT_EQ(db->QueryValue("select NAME from GEN_T where ID = 1", tr.get()).toString(), "Zeile 1");
    ds->BeforePost = nullptr;

    // Update objects run in order around the dataset's own statement.
    ds->Open();
    TpFIBUpdateObject after, before, idle;
    after.SQL().SetText("insert into LOG_T (N, TXT) values ((select count(*) from LOG_T), 'nach ' || ?NEW_NAME)");
    after.ExecuteOrder = oeAfterDefault;
    after.SetOrderInList(1);
    before.SQL().SetText("insert into LOG_T (N, TXT) values ((select count(*) from LOG_T), 'vor ' || ?OLD_NAME)");
    idle.SQL().SetText("insert into LOG_T (N, TXT) values (-1, 'nie')");
    idle.Active = false;
    for (TpFIBUpdateObject* o : {&after, &before, &idle})
        o->SetDataSet(ds.get());
    // An object moved to another kind leaves the list of its old one.
    idle.SetKindUpdate(ukDelete);
    ASSERT_EQ(ds->UpdateObjects(ukModify).size(), 2u);
    EXPECT_EQ(ds->UpdateObjects(ukModify)[0], &before);
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("neu");
    ds->Post();
    EXPECT_EQ(db->QueryValue("select TXT from LOG_T where N = 0", tr.get()).toString(), "vor Zeile 1");
    EXPECT_EQ(db->QueryValue("select TXT from LOG_T where N = 1", tr.get()).toString(), "nach neu");
    ds->Delete();
    EXPECT_EQ(db->QueryValue("select count(*) from LOG_T where N = -1", tr.get()).toInt(), 0);
    EXPECT_EQ(db->QueryValue("select count(*) from GEN_T where ID = 1", tr.get()).toInt(), 0);
}

TEST_F(UpdateCycleTest, ARowGoneFromTheServerLeavesTheViewOnRefresh)
{
    tr->Commit();
    ds = MakeDataSet("select * from GEN_T order by ID");
    Generated(*ds);
    ds->SetOptions(ds->Options() | poRefreshDeletedRecord);
    ds->Open();
    ds->FetchAll();
    ds->SetRecNo(2);
    auto other = OpenTestDatabase(Path(), "OTHER");
    TpFIBTransaction otherTr;
    otherTr.AddDatabase(other.get());
    otherTr.StartTransaction();
    otherTr.ExecSQLImmediate("update GEN_T set NAME = 'fremd' where ID = 3");
    otherTr.ExecSQLImmediate("delete from GEN_T where ID = 2");
    otherTr.Commit();
    other->Close();
    ds->Refresh();
    EXPECT_EQ(ds->RecordCount(), 4);
    EXPECT_NE(ds->FieldByName("ID")->AsInteger(), 2);
    ASSERT_TRUE(ds->Locate("ID", 3, {}));
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "Zeile 3");
    ds->Refresh();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "fremd");
    ds->Delete();
    EXPECT_EQ(ds->RecordCount(), 3);
    EXPECT_EQ(db->QueryValue("select count(*) from GEN_T where ID = 3", tr.get()).toInt(), 0);
}

// Keys a block at a time: the server is asked once per block, the keys stay unique,
// and the rest of a block outlives the connection through its file, read only once.
TEST_F(UpdateCycleTest, TheGeneratorCacheHandsOutReservedBlocks)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("Generatoren.ini"));
    auto server = [this] { return db->Gen_Id("GEN_GEN_T_ID", 0); };
    db->GeneratorsCache.UseGeneratorCache = ugcForGeneratorList;
    db->GeneratorsCache.GeneratorList.push_back(TGeneratorParams{QStringLiteral("GEN_GEN_T_ID"), 10});
    db->GeneratorsCache.CacheFileName = file;
    const qint64 start = server();
    std::vector<qint64> keys{db->Gen_Id("GEN_GEN_T_ID", 1)};
    EXPECT_EQ(server(), start + 10) << "the first key reserves ten";
    for (int i = 1; i < 10; ++i)
        keys.push_back(db->Gen_Id("GEN_GEN_T_ID", 1));
    EXPECT_EQ(server(), start + 10) << "the other nine come without the server";
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(keys[std::size_t(i)], start + 1 + i);
    EXPECT_EQ(db->Gen_Id("GEN_GEN_T_ID", 1), start + 11);
    EXPECT_EQ(server(), start + 20);
    // Another step, or a generator not in the list, goes to the server as asked.
    EXPECT_EQ(db->Gen_Id("GEN_GEN_T_ID", 2), start + 22);

    // The connection closes with keys start + 12 .. start + 20 unused.
    tr->Rollback();
    db->Close();
    EXPECT_TRUE(QFileInfo::exists(file));
    auto again = MakeTestDatabase(Path(), QString());
    again->GeneratorsCache.UseGeneratorCache = ugcForAll;
    again->GeneratorsCache.CacheFileName = file;
    again->Open();
    EXPECT_EQ(again->Gen_Id("GEN_GEN_T_ID", 1), start + 12);
    // Read once: a second reader of the file finds nothing to hand out again.
    TGeneratorsCache other;
    other.CacheFileName = file;
    other.UseGeneratorCache = ugcForAll;
    EXPECT_FALSE(other.Take(QStringLiteral("GEN_GEN_T_ID")).has_value());
    again->Close();
    db->Open();
    tr->StartTransaction();
}
