// Writes of the data module's datasets against a real demo database: every post,
// delete and apply is read back through a connection and transaction of its own.

#include "testdata/uDMorvex.h"

#include "dbaccess/FIBQuery.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "testdata/OrvexSchema.h"
#include "tools/OrvexDemoDb.h"
#include "tests/testdata/ServerDemo.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDate>
#include <QElapsedTimer>
#include <QLabel>
#include <QTemporaryDir>

namespace {
// The first row of a statement, read in a connection and transaction of its own.
QVariantList ReadRow(const TDemoDbLogin& login, const QString& sql)
{
    auto db = ConnectOrvex(login);
    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    QVariantList row;
    {
        TFIBQuery q;
        q.SetDatabase(db.get());
        q.SetTransaction(&tr);
        q.SQL().SetText(sql);
        q.ExecQuery();
        if (!q.Eof())
            for (int i = 0; i < q.FieldCount(); ++i)
                row << (q.Fields(i).IsNull() ? QVariant() : q.Fields(i).AsVariant());
        q.Close();
    }
    tr.Commit();
    db->Close();
    return row;
}

QVariant ReadValue(const TDemoDbLogin& login, const QString& sql)
{
    const QVariantList row = ReadRow(login, sql);
    return row.isEmpty() ? QVariant() : row.first();
}

bool IsConflictText(const QString& text)
{
    return text.contains(QLatin1String("update conflicts with concurrent update"), Qt::CaseInsensitive)
           || text.contains(QLatin1String("deadlock"), Qt::CaseInsensitive);
}

class DMorvexWriteTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new QTemporaryDir;
        login.DBName = dir->filePath(QStringLiteral("Orvex.fdb"));
        CreateDemoDatabase(login);
        // A commit the server refuses, for the one transaction a test names.
        auto db = ConnectOrvex(login);
        TpFIBTransaction tr;
        tr.AddDatabase(db.get());
        tr.StartTransaction();
        tr.ExecSQLImmediate("create exception E_ABSCHLUSS 'Abschluss verweigert'");
        tr.Commit();
        tr.StartTransaction();
        tr.ExecSQLImmediate("create trigger K_ABSCHLUSS on transaction commit as begin "
                            "if (rdb$get_context('USER_SESSION', 'FAIL_TX') = current_transaction) "
                            "then exception E_ABSCHLUSS; end");
        tr.Commit();
        db->Close();
    }
    static void TearDownTestSuite()
    {
        delete dir;
        dir = nullptr;
    }
    void SetUp() override
    {
        dm = std::make_unique<TDMorvex>();
        dm->orvexDB->SetDBName(login.DBName);
        dm->orvexDB->SetConnected(true);
        dm->Auftraege->Open();
    }
    void TearDown() override
    {
        dm.reset();
        // The error note is a window and its log has a timer: both go before the
        // application does.
        zellib_msg_Finalize();
        zellib_Logging_Finalize();
    }
    void RefuseCommitOf(TFIBTransaction* tr)
    {
        if (!tr->Active())
            tr->StartTransaction();
        dm->orvexDB->QueryValue(
            QStringLiteral("select rdb$set_context('USER_SESSION', 'FAIL_TX', current_transaction) from rdb$database"), tr);
    }

    static inline QTemporaryDir* dir = nullptr;
    static inline TDemoDbLogin login;
    std::unique_ptr<TDMorvex> dm;
};
}  // namespace

TEST_F(DMorvexWriteTest, AuftraegeRowsMakeTheRoundTripThroughTheServer)
{
    TpFIBDataSet& a = *dm->Auftraege;
    a.AutoUpdateOptions().WhenGetGenID = wgBeforePost;
    const auto generator = [&] { return ReadValue(login, "select gen_id(GEN_AUFTRAEGE_ID, 0) from rdb$database").toLongLong(); };
    const qint64 before = generator();
    a.FetchAll();
    const int rows = a.RecordCount();

    // A new row given up before its post takes no key.
    a.Append();
    dm->AuftraegeVERSUCHSNR->SetAsString("verworfen");
    a.Cancel();
    EXPECT_EQ(generator(), before);

    const QString kommentar = QString(1500, u'k') + QStringLiteral("ß");
    a.Append();
    dm->AuftraegeVERSUCHSNR->SetAsString("HTRB-2026-031");
    dm->AuftraegeTEILENR->SetAsString("TN-31");
    dm->AuftraegeBEZEICHNUNG->SetAsString(QStringLiteral("Rücklauf ÄÖÜ"));
    dm->AuftraegeSTRANG->SetAsInteger(3);
    dm->AuftraegeDATUM->SetAsDateTime(46000);
    dm->AuftraegeU_SOLL->SetAsFloat(650.5);
    dm->AuftraegeKOMMENTAR->SetAsString(kommentar);
    dm->AuftraegeSTATUS->SetAsString("Angelegt");
    a.Post();
    const int key = dm->AuftraegeAUFTRAGKEY->AsInteger();
    EXPECT_EQ(key, before + 1);
    EXPECT_EQ(a.RecordCount(), rows + 1);
    // The write's own transaction ended for real; the list's stays open for reading.
    EXPECT_FALSE(dm->Taorvex->Active());
    EXPECT_TRUE(dm->TaAuftraege->Active());
    const QVariantList stored = ReadRow(
        login, QStringLiteral("select VERSUCHSNR, TEILENR, BEZEICHNUNG, STRANG, cast(DATUM as varchar(10)), U_SOLL, "
                              "KOMMENTAR, STATUS, BEDIENER from AUFTRAEGE where AUFTRAGKEY = %1")
                   .arg(key));
    ASSERT_EQ(stored.size(), 9);
    EXPECT_EQ(stored[0].toString(), "HTRB-2026-031");
    EXPECT_EQ(stored[1].toString(), "TN-31");
    EXPECT_EQ(stored[2].toString(), QStringLiteral("Rücklauf ÄÖÜ"));
    EXPECT_EQ(stored[3].toInt(), 3);
    EXPECT_EQ(stored[4].toString(), QDate(1899, 12, 30).addDays(46000).toString(Qt::ISODate));
    EXPECT_DOUBLE_EQ(stored[5].toDouble(), 650.5);
    EXPECT_EQ(stored[6].toString(), kommentar);
    EXPECT_EQ(stored[7].toString(), "Angelegt");
    EXPECT_FALSE(stored[8].isValid());

    // An update finds its row by number and part number and touches no other.
    ASSERT_TRUE(a.Locate("VERSUCHSNR", QStringLiteral("HTRB-2026-031"), {}));
    a.Edit();
    dm->AuftraegeBEDIENER->SetAsString("Keller");
    dm->AuftraegeU_SOLL->SetAsFloat(700);
    a.Post();
    const QVariantList changed = ReadRow(
        login, QStringLiteral("select BEDIENER, U_SOLL, KOMMENTAR from AUFTRAEGE where VERSUCHSNR = 'HTRB-2026-031' "
                              "and TEILENR = 'TN-31'"));
    ASSERT_EQ(changed.size(), 3);
    EXPECT_EQ(changed[0].toString(), "Keller");
    EXPECT_DOUBLE_EQ(changed[1].toDouble(), 700);
    EXPECT_EQ(changed[2].toString(), kommentar);
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where BEDIENER = 'Keller'").toInt(), 1);

    // A change made by another writer shows after a refresh of the row.
    auto other = ConnectOrvex(login);
    TpFIBTransaction tr;
    tr.AddDatabase(other.get());
    tr.StartTransaction();
    tr.ExecSQLImmediate("update AUFTRAEGE set BEDIENER = 'Brandt' where VERSUCHSNR = 'HTRB-2026-031'");
    tr.Commit();
    other->Close();
    a.Refresh();
    EXPECT_EQ(dm->AuftraegeBEDIENER->AsString(), "Brandt");
    EXPECT_EQ(dm->AuftraegeVERSUCHSNR->AsString(), "HTRB-2026-031");

    a.Delete();
    EXPECT_EQ(a.RecordCount(), rows);
    EXPECT_EQ(ReadValue(login, QStringLiteral("select count(*) from AUFTRAEGE where AUFTRAGKEY = %1").arg(key)).toInt(), 0);
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE").toInt(), rows);
}

TEST_F(DMorvexWriteTest, ARefusedCommitLeavesNoHalfWrittenRow)
{
    TpFIBDataSet& a = *dm->Auftraege;
    const QString row = QStringLiteral(" from AUFTRAEGE where VERSUCHSNR = 'HTRB-2026-017'");
    const QVariantList before = ReadRow(login, QStringLiteral("select BEDIENER, KOMMENTAR, ANZAHLDATENSAETZE") + row);
    ASSERT_EQ(before.size(), 3);

    // The module's commit after the post is refused: its note, its rollback; the row
    // itself went whole with the write's own commit.
    ASSERT_TRUE(a.Locate("VERSUCHSNR", QStringLiteral("HTRB-2026-017"), {}));
    RefuseCommitOf(dm->TaAuftraege.get());
    a.Edit();
    dm->AuftraegeKOMMENTAR->SetAsString(QStringLiteral("nach Prüfung"));
    a.Post();
    ASSERT_NE(FoMsg, nullptr);
    EXPECT_EQ(FoMsg->MsgLabel->text(), QStringLiteral("Satz konnte nicht eingefügt werden"));
    EXPECT_FALSE(dm->TaAuftraege->Active());
    EXPECT_FALSE(a.Active());
    const QVariantList afterNote = ReadRow(login, QStringLiteral("select BEDIENER, KOMMENTAR, ANZAHLDATENSAETZE") + row);
    EXPECT_EQ(afterNote, QVariantList({before[0], QStringLiteral("nach Prüfung"), before[2]}));

    // The write's own commit is refused: the post fails with the server's text, the
    // edit stays open, and nothing of it reaches the table.
    FoMsg->MsgLabel->setText(QString());
    a.Open();
    ASSERT_TRUE(a.Locate("VERSUCHSNR", QStringLiteral("HTRB-2026-017"), {}));
    RefuseCommitOf(dm->Taorvex.get());
    a.Edit();
    dm->AuftraegeBEDIENER->SetAsString("Niemand");
    dm->AuftraegeKOMMENTAR->SetAsString("halb");
    EXPECT_TRUE(ThrownMessage([&] { a.Post(); }).contains("Abschluss verweigert"));
    EXPECT_EQ(a.State(), dsEdit);
    EXPECT_EQ(dm->AuftraegeBEDIENER->AsString(), "Niemand");
    EXPECT_FALSE(dm->Taorvex->Active());
    EXPECT_TRUE(FoMsg->MsgLabel->text().isEmpty());
    a.Cancel();
    EXPECT_EQ(dm->AuftraegeBEDIENER->AsString(), before[0].toString());
    EXPECT_EQ(dm->AuftraegeKOMMENTAR->AsString(), QStringLiteral("nach Prüfung"));
    EXPECT_EQ(ReadRow(login, QStringLiteral("select BEDIENER, KOMMENTAR, ANZAHLDATENSAETZE") + row), afterNote);
}

TEST_F(DMorvexWriteTest, CachedUpdatesGoTogetherOrAsTheHandlerSays)
{
    TpFIBDataSet ds;
    ds.SetName("Kopf");
    ds.SetDatabase(dm->orvexDB.get());
    ds.SetTransaction(dm->TaAuftraege.get());
    ds.SetSelectSQL("select * from AUFTRAEGE order by AUFTRAGKEY");
    TAutoUpdateOptions& au = ds.AutoUpdateOptions();
    au.SetUpdateTableName("AUFTRAEGE");
    au.KeyFields = "AUFTRAGKEY";
    au.AutoReWriteSqls = true;
    ds.SetCachedUpdates(true);
    ds.Open();
    const QString firstNr = ds.FieldByName("VERSUCHSNR")->AsString();
    const int firstKey = ds.FieldByName("AUFTRAGKEY")->AsInteger();
    ds.Edit();
    ds.FieldByName("BEDIENER")->SetAsString("Eins");
    ds.Post();
    ds.Next();
    const QString secondNr = ds.FieldByName("VERSUCHSNR")->AsString();
    // The server refuses a run without a number.
    ds.Edit();
    ds.FieldByName("VERSUCHSNR")->Clear();
    ds.Post();
    ds.Next();
    ds.Edit();
    ds.FieldByName("KOMMENTAR")->SetAsString("Drei");
    ds.Post();
    ds.Append();
    ds.FieldByName("VERSUCHSNR")->SetAsString("HTRB-2026-040");
    ds.FieldByName("TEILENR")->SetAsString("T40");
    ds.FieldByName("AUFTRAGKEY")->SetAsInteger(900);
    ds.Post();
    EXPECT_EQ(ds.UpdatesPending(), 4);
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where BEDIENER = 'Eins'").toInt(), 0);

    // Without a handler the refusal stops the apply; the caller rolls back and keeps
    // every change in the cache.
    EXPECT_TRUE(ThrownMessage([&] { ds.ApplyUpdates(); }).contains("VERSUCHSNR"));
    ASSERT_TRUE(dm->Taorvex->Active());
    dm->Taorvex->Rollback();
    EXPECT_EQ(ds.UpdatesPending(), 4);
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where BEDIENER = 'Eins' or KOMMENTAR = 'Drei' "
                               "or AUFTRAGKEY = 900")
                  .toInt(),
              0);

    // A handler that skips the refused row lets the others through.
    int refused = 0;
    ds.OnUpdateError = [&](TDataSet*, Exception&, TUpdateKind kind, TFIBUpdateAction& action) {
        EXPECT_EQ(kind, ukModify);
        ++refused;
        action = uaSkip;
    };
    ds.ApplyUpdates();
    dm->Taorvex->Commit();
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(ds.UpdatesPending(), 1);
    EXPECT_EQ(ReadValue(login, QStringLiteral("select BEDIENER from AUFTRAEGE where AUFTRAGKEY = %1").arg(firstKey)).toString(),
              "Eins");
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where KOMMENTAR = 'Drei'").toInt(), 1);
    EXPECT_EQ(ReadValue(login, "select TEILENR from AUFTRAEGE where AUFTRAGKEY = 900").toString(), "T40");
    EXPECT_EQ(ReadValue(login, QStringLiteral("select count(*) from AUFTRAEGE where VERSUCHSNR = '%1'").arg(secondNr)).toInt(), 1);

    // The refused row is still pending; cancelling brings its number back.
    ds.First();
    ds.Next();
    EXPECT_EQ(ds.UpdateStatus(), cusModified);
    EXPECT_TRUE(ds.FieldByName("VERSUCHSNR")->IsNull());
    ds.CancelUpdates();
    EXPECT_EQ(ds.UpdatesPending(), 0);
    EXPECT_FALSE(ds.CachedUpdatesPending());
    ds.First();
    ds.Next();
    EXPECT_EQ(ds.FieldByName("VERSUCHSNR")->AsString(), secondNr);
    EXPECT_EQ(ds.UpdateStatus(), cusUnmodified);

    // One row taken back on its own.
    ds.First();
    ds.Edit();
    ds.FieldByName("VERSUCHSNR")->SetAsString("anders");
    ds.Post();
    EXPECT_EQ(ds.UpdatesPending(), 1);
    ds.RevertRecord();
    EXPECT_EQ(ds.FieldByName("VERSUCHSNR")->AsString(), firstNr);
    EXPECT_EQ(ds.UpdatesPending(), 0);

    // A delete in the cache reaches the server only with the apply.
    ASSERT_TRUE(ds.Locate("AUFTRAGKEY", 900, {}));
    ds.Delete();
    EXPECT_EQ(ds.UpdatesPending(), 1);
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where AUFTRAGKEY = 900").toInt(), 1);
    ds.ApplyUpdates();
    dm->Taorvex->Commit();
    EXPECT_EQ(ReadValue(login, "select count(*) from AUFTRAEGE where AUFTRAGKEY = 900").toInt(), 0);
}

// The acquisition program writes rows and the run's header from a process of its own
// while this side edits the same header.
TEST(DMorvexWriteServer, AHeaderEditBesideTheSimulatorLosesNoRow)
{
    TServerDemo demo;
    if (!demo.Create())
        GTEST_SKIP() << demo.Server.Reason().toStdString();
    const TDemoRun run = FindDemoRun(DemoRuns(), QStringLiteral("H3TRB 2026/021"));
    TDMorvex dm;
    demo.Connect(dm);
    // Only the changed column is written, so the simulator's counters stay its own.
    TpFIBDataSet kopf;
    kopf.SetName("Kopf");
    kopf.SetDatabase(dm.orvexDB.get());
    kopf.SetTransaction(dm.TaAuftraege.get());
    kopf.SetSelectSQL("select * from AUFTRAEGE where VERSUCHSNR = :NR");
    kopf.AutoCommit = true;
    TAutoUpdateOptions& au = kopf.AutoUpdateOptions();
    au.SetUpdateTableName("AUFTRAEGE");
    au.KeyFields = "AUFTRAGKEY";
    au.AutoReWriteSqls = true;
    au.CanChangeSQLs = true;
    au.UpdateOnlyModifiedFields = true;
    kopf.ParamByName("NR")->SetAsString(run.Versuchsnr);
    kopf.Open();
    const int key = kopf.FieldByName("AUFTRAGKEY")->AsInteger();

    const int count = 60;
    ASSERT_TRUE(demo.StartSimulator(run, count));

    // A snapshot older than the simulator's last commit of the header: the server
    // refuses the write with its own text, and the edit stays open.
    dm.Taorvex->StartTransaction();
    const int seen = demo.ReadCommitted(0);
    QElapsedTimer waited;
    waited.start();
    while (demo.ReadCommitted(50) <= seen + 1 && waited.elapsed() < 20000) {
    }
    ASSERT_GT(demo.Committed, seen + 1);
    kopf.Edit();
    kopf.FieldByName("KOMMENTAR")->SetAsString(QStringLiteral("Strang 2 geprüft"));
    const QString refusal = ThrownMessage([&] { kopf.Post(); });
    EXPECT_TRUE(IsConflictText(refusal)) << refusal.toStdString();
    EXPECT_EQ(kopf.State(), dsEdit);
    EXPECT_FALSE(dm.Taorvex->Active());

    // Sent again on a fresh transaction it goes through between two rows.
    bool posted = false;
    for (int attempt = 0; attempt < 200 && !posted; ++attempt) {
        const QString failure = ThrownMessage([&] { kopf.Post(); });
        posted = failure.isEmpty();
        if (!posted) {
            ASSERT_TRUE(IsConflictText(failure)) << failure.toStdString();
            demo.ReadCommitted(5);
        }
    }
    ASSERT_TRUE(posted);
    EXPECT_EQ(kopf.State(), dsBrowse);

    ASSERT_TRUE(demo.Sim.waitForFinished(60000));
    EXPECT_EQ(demo.Sim.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(demo.Sim.exitCode(), 0);
    const QVariantList rows = ReadRow(
        demo.Login, QStringLiteral("select count(*), max(SATZNR) from MESSDATEN where AUFTRAGKEY = %1").arg(key));
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0].toInt(), run.Zeilen + count);
    EXPECT_EQ(rows[1].toInt(), run.Zeilen + count);
    const QVariantList header = ReadRow(
        demo.Login, QStringLiteral("select KOMMENTAR, ANZAHLDATENSAETZE from AUFTRAEGE where AUFTRAGKEY = %1").arg(key));
    ASSERT_EQ(header.size(), 2);
    EXPECT_EQ(header[0].toString(), QStringLiteral("Strang 2 geprüft"));
    EXPECT_EQ(header[1].toInt(), run.Zeilen + count);
}
