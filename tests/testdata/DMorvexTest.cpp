#include "testdata/uDMorvex.h"

#include "dbaccess/FIBQuery.h"
#include "frame/MemIniFile.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "testdata/OrvexSchema.h"
#include "tools/OrvexDemoDb.h"
#include "tests/testdata/ServerDemo.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cmath>

namespace {
// One demo database for the suite, opened embedded; every test gets a fresh module.
class DMorvexTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new QTemporaryDir;
        TDemoDbLogin login;
        login.DBName = dir->filePath(QStringLiteral("Orvex.fdb"));
        CreateDemoDatabase(login);
    }
    static void TearDownTestSuite()
    {
        delete dir;
        dir = nullptr;
    }
    void SetUp() override
    {
        savedDecimal = FormatSettings.DecimalSeparator;
        FormatSettings.DecimalSeparator = u',';
        IniStore.reset();
        IniFileName = iniDir.filePath(QStringLiteral("KELMAR.INI"));
        Datapath = dir->path();
        dm = std::make_unique<TDMorvex>();
    }
    void TearDown() override
    {
        dm.reset();
        IniStore.reset();
        FormatSettings.DecimalSeparator = savedDecimal;
    }
    void WriteIni(const QByteArray& bytes)
    {
        QFile f(IniFileName);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    }
    // Runs a statement on the module's own connection and commits it.
    void Exec(const QString& sql)
    {
        TFIBQuery q;
        q.SetDatabase(dm->orvexDB.get());
        q.SetTransaction(dm->Taorvex.get());
        dm->Taorvex->StartTransaction();
        q.SQL().SetText(sql);
        q.ExecQuery();
        dm->Taorvex->Commit();
    }
    void OpenMessdaten(int key)
    {
        dm->Messdaten->Close();
        dm->Messdaten->ParamByName(QStringLiteral("AUFTRAGKEY"))->SetAsInteger(key);
        dm->Messdaten->Open();
    }

    static inline QTemporaryDir* dir = nullptr;
    QTemporaryDir iniDir;
    QChar savedDecimal;
    std::unique_ptr<TDMorvex> dm;
};
}

TEST_F(DMorvexTest, StartConnectsAsConfiguredAndOpensTheRunList)
{
    WriteIni("[OrvexAdmin]\r\nDAUER_GESAMT_STD=5000\r\n");
    dm->DataModuleCreate();
    // The data folder's database, found without any "Server name" in the file.
    EXPECT_EQ(dm->orvexDB->DBName(), dir->filePath(QStringLiteral("Orvex.fdb")));
    EXPECT_TRUE(dm->orvexDB->Connected());
    ASSERT_TRUE(dm->Auftraege->Active());
    EXPECT_EQ(dm->AuftraegeDAUER_GESAMT_STD->MaxValue(), 5000);
    // Sorted by the upper-case number: the digit after "H" comes before the letter.
    EXPECT_EQ(dm->AuftraegeVERSUCHSNR->AsString(), QStringLiteral("H3TRB 2026/021"));
    QStringList order;
    for (dm->Auftraege->First(); !dm->Auftraege->Eof(); dm->Auftraege->Next())
        order << dm->AuftraegeVERSUCHSNR->AsString();
    EXPECT_EQ(order, QStringList({"H3TRB 2026/021", "HTRB-2026-017", "HTRB-2026-019", "HTRB-2026-023"}));
    // The defaults are in the file for the next start.
    TMemIniFile ini(IniFileName);
    EXPECT_EQ(ini.ReadString("Path", "Server name", ""), dir->filePath(QStringLiteral("Orvex.fdb")));
    EXPECT_EQ(ini.ReadString("Path", "Library Name", ""), QStringLiteral("libfbclient.so.2"));
    // The header source stays dark until the window enables it; the list source does not edit.
    EXPECT_EQ(dm->DsAuftraganzeige->State(), dsInactive);
    EXPECT_EQ(dm->DSAuftraege->State(), dsBrowse);
    EXPECT_FALSE(dm->DSAuftraege->AutoEdit());
}

TEST_F(DMorvexTest, AMissingDatabaseOrLibraryRaisesOutOfTheStartAndAnEmptyNameSaysSo)
{
    WriteIni(("[Path]\r\nServer name=" + iniDir.filePath("fehlt.fdb") + "\r\n").toUtf8());
    EXPECT_THROW(dm->DataModuleCreate(), Exception);
    EXPECT_FALSE(dm->Auftraege->Active());

    auto other = std::make_unique<TDMorvex>();
    WriteIni("[Path]\r\nLibrary Name=/nirgends/libfbclient.so.9\r\n");
    IniStore.reset();
    EXPECT_THROW(other->DataModuleCreate(), Exception);
    EXPECT_FALSE(other->Auftraege->Active());

    // An empty library name says that no client library is configured.
    auto third = std::make_unique<TDMorvex>();
    WriteIni("[Path]\r\nLibrary Name=\r\n");
    IniStore.reset();
    const QString text = ThrownMessage([&] { third->DataModuleCreate(); });
    EXPECT_TRUE(text.contains(QStringLiteral("Keine Client-Bibliothek"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("Library Name"))) << text.toStdString();
    EXPECT_FALSE(third->orvexDB->Connected());
    EXPECT_FALSE(third->Auftraege->Active());
}

TEST_F(DMorvexTest, EveryDemoRunDecodesAsStored)
{
    dm->DataModuleCreate();
    const auto runs = DemoRuns();
    for (const TDemoRun& r : runs) {
        SCOPED_TRACE(r.Versuchsnr.toStdString());
        TVersuchDaten d;
        ASSERT_TRUE(dm->VersuchLaden(r.Versuchsnr, d));
        EXPECT_GT(d.AuftragKey, 0);
        EXPECT_EQ(d.Versuchsnr, r.Versuchsnr);
        EXPECT_EQ(d.Teilenr, r.Teilenr);
        EXPECT_EQ(d.Bezeichnung, r.Bezeichnung);
        EXPECT_EQ(d.Bediener, r.Bediener);
        EXPECT_EQ(d.Kommentar, r.Kommentar);
        EXPECT_DOUBLE_EQ(d.Datum, std::floor(r.Datum));   // a date column keeps the day only
        EXPECT_EQ(d.Strang, r.Strang);
        EXPECT_EQ(d.Status, StatusIndex(r.Status));
        EXPECT_DOUBLE_EQ(d.U_Soll, r.U_Soll);
        EXPECT_DOUBLE_EQ(d.I_Max, std::min(r.I_Max, 10000.0));
        EXPECT_DOUBLE_EQ(d.T_Messen_ab, r.T_Messen_ab);
        EXPECT_DOUBLE_EQ(d.RF_Nachlauf_bis, r.RF_Nachlauf_bis);
        EXPECT_EQ(d.T_Messen_ab_Aktiv, r.T_Messen_ab_Aktiv == 1);
        EXPECT_EQ(d.RF_Nachlauf_bis_Aktiv, r.RF_Nachlauf_bis_Aktiv == 1);
        for (int i = 1; i <= 9; ++i) {
            // Trailing blanks are trimmed on reading.
            EXPECT_EQ(d.BT[i], r.BT[i - 1].left(10).remove(QRegularExpression(QStringLiteral(" +$")))) << i;
            EXPECT_EQ(d.BT_Aktiv[i], !r.BT[i - 1].trimmed().isEmpty()) << i;
        }
        EXPECT_EQ(d.Dauer_1_Std, r.Dauer_1_Std);
        EXPECT_EQ(d.Speicherfreq_1_Min, r.Speicherfreq_1_Min);
        EXPECT_EQ(d.Dauer_Gesamt_Std, r.Dauer_Gesamt_Std);
        EXPECT_EQ(d.Speicherfreq_Gesamt_Min, r.Speicherfreq_Gesamt_Min);
        EXPECT_EQ(d.AnzahlDatensaetze, r.Zeilen);
        EXPECT_DOUBLE_EQ(d.Restlaufzeit, r.Restlaufzeit);
    }
    // The rules that the loop above checks only by formula, with their concrete results.
    TVersuchDaten d;
    dm->VersuchLaden(QStringLiteral("HTRB-2026-019"), d);
    EXPECT_DOUBLE_EQ(d.I_Max, 10000.0);
    EXPECT_EQ(d.BT[1], QStringLiteral("D1-Überlän"));
    EXPECT_TRUE(d.BT_Aktiv[1]);
    EXPECT_EQ(d.Status, 6);
    dm->VersuchLaden(QStringLiteral("H3TRB 2026/021"), d);
    EXPECT_FALSE(d.RF_Nachlauf_bis_Aktiv);   // stored 2
    EXPECT_TRUE(d.RF_Messen_ab_Aktiv);
    EXPECT_FALSE(d.BT_Aktiv[8]);             // only blanks
    EXPECT_EQ(d.Status, 4);
    EXPECT_FALSE(dm->Versuch_->Active());
}

TEST_F(DMorvexTest, UnknownNumbersKeepTheRecordAndQuotesAreFound)
{
    dm->DataModuleCreate();
    TVersuchDaten d;
    EXPECT_FALSE(dm->VersuchLaden(QStringLiteral("GIBT-ES-NICHT"), d));
    EXPECT_EQ(d.AuftragKey, 0);
    ASSERT_TRUE(dm->VersuchLaden(QStringLiteral("HTRB-2026-017"), d));
    const int key = d.AuftragKey;
    // No row: the earlier run stays, and the answer only says that a run is held.
    EXPECT_TRUE(dm->VersuchLaden(QStringLiteral("GIBT-ES-NICHT"), d));
    EXPECT_EQ(d.AuftragKey, key);
    EXPECT_EQ(d.Versuchsnr, QStringLiteral("HTRB-2026-017"));

    // An apostrophe neither breaks the statement nor ends its literal early.
    EXPECT_EQ(ThrownMessage([&] { dm->VersuchLaden(QStringLiteral("HTRB'017"), d); }), QString());
    EXPECT_EQ(d.Versuchsnr, QStringLiteral("HTRB-2026-017"));
    EXPECT_EQ(ThrownMessage([&] { dm->VersuchLaden(QStringLiteral("x' or VERSUCHSNR <> '"), d); }), QString());
    EXPECT_EQ(d.Versuchsnr, QStringLiteral("HTRB-2026-017"));
    Exec(QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, STATUS) "
                        "values ('O''Neill 7', 'A-TYP', 903, 'Freigegeben')"));
    ASSERT_TRUE(dm->VersuchLaden(QStringLiteral("O'Neill 7"), d));
    EXPECT_EQ(d.AuftragKey, 903);
    EXPECT_EQ(d.Versuchsnr, QStringLiteral("O'Neill 7"));
    Exec(QStringLiteral("delete from AUFTRAEGE where AUFTRAGKEY = 903"));
    EXPECT_TRUE(dm->VersuchLaden(QStringLiteral("HTRB-2026-019"), d));
    EXPECT_EQ(d.Versuchsnr, QStringLiteral("HTRB-2026-019"));

    // Two runs under one number with different device types: the first row the query gives.
    Exec(QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, STATUS) "
                        "values ('DOPPELT', 'A-TYP', 901, 'Freigegeben')"));
    Exec(QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, STATUS) "
                        "values ('DOPPELT', 'B-TYP', 902, 'versuch AKTIV')"));
    ASSERT_TRUE(dm->VersuchLaden(QStringLiteral("DOPPELT"), d));
    EXPECT_TRUE(d.AuftragKey == 901 || d.AuftragKey == 902);
    EXPECT_EQ(d.Status, d.AuftragKey == 901 ? 1 : 4);   // status text compared without case
    Exec(QStringLiteral("delete from AUFTRAEGE where VERSUCHSNR = 'DOPPELT'"));
}

TEST_F(DMorvexTest, StatementsOfTheModulePrepareAgainstTheSchema)
{
    dm->DataModuleCreate();
    // Every text the module carries must name the schema's tables, columns and
    // procedures correctly, even those the program itself never runs.
    const QStringList texts{
        OrvexSQL::AuftraegeSelect(),  OrvexSQL::AuftraegeInsert(),   OrvexSQL::AuftraegeUpdate(),
        OrvexSQL::AuftraegeDelete(),  OrvexSQL::AuftraegeRefresh(),  OrvexSQL::VersuchSelect(),
        OrvexSQL::MessdatenSelect(),  OrvexSQL::MessdatenInsert(),   OrvexSQL::MessdatenUpdate(),
        OrvexSQL::MessdatenDelete(),  OrvexSQL::MessdatenRefresh(),  OrvexSQL::PrintMessdatenSelect(),
        OrvexSQL::InsMessdatensatz(), OrvexSQL::UpdAuftrag(),        OrvexSQL::DelMessdaten()};
    dm->Taorvex->StartTransaction();
    for (const QString& text : texts) {
        TFIBQuery q;
        q.SetDatabase(dm->orvexDB.get());
        q.SetTransaction(dm->Taorvex.get());
        // As the server gets it: unset parameters are not turned into "is null".
        q.Options = qoNoForceIsNull;
        q.SQL().SetText(text);
        EXPECT_EQ(ThrownMessage([&] { q.Prepare(); }), QString()) << text.toStdString();
    }
    dm->Taorvex->Rollback();
    // Insert and update name all columns; the update keeps the key columns out of its SET.
    for (const QString& c : AuftraegeColumns())
        EXPECT_TRUE(OrvexSQL::AuftraegeInsert().contains(QStringLiteral(":") + c + QStringLiteral(" ")) ||
                    OrvexSQL::AuftraegeInsert().contains(QStringLiteral(":") + c + QStringLiteral(",")))
            << c.toStdString();
    EXPECT_FALSE(OrvexSQL::AuftraegeUpdate().contains(QStringLiteral("VERSUCHSNR = :VERSUCHSNR")));
    EXPECT_TRUE(OrvexSQL::AuftraegeUpdate().contains(QStringLiteral("I_MAX = :I_MAX")));
    // The run's own query lists I_MAX last.
    EXPECT_TRUE(OrvexSQL::VersuchSelect().contains(QStringLiteral("LETZTE_MESSUNG, I_MAX FROM AUFTRAEGE")));
    EXPECT_EQ(dm->Versuch_->Fields()[dm->Versuch_->Fields().Count() - 1], dm->Versuch_I_MAX);
}

TEST_F(DMorvexTest, MeasurementTextsFollowTheHandlers)
{
    dm->DataModuleCreate();
    const auto runs = DemoRuns();
    const TDemoRun& run = FindDemoRun(runs, QStringLiteral("HTRB-2026-017"));
    TVersuchDaten d;
    dm->VersuchLaden(run.Versuchsnr, d);
    OpenMessdaten(d.AuftragKey);
    dm->Messdaten->Last();
    EXPECT_EQ(dm->Messdaten->RecordCount(), run.Zeilen);
    const TDemoRow last = TDemoRowGenerator(run).Row(run.Zeilen - 1);
    // The finished run's last row: stand state 9 and the configured decimal character.
    EXPECT_EQ(dm->MessdatenSTATUS->DisplayText(), QStringLiteral("Bendet"));
    EXPECT_EQ(dm->MessdatenT->DisplayText(), QString::number(last.T, 'f', 1).replace(u'.', u','));
    EXPECT_EQ(dm->MessdatenU->Text(), QString::number(last.U, 'f', 1).replace(u'.', u','));
    EXPECT_EQ(dm->MessdatenI_05->DisplayText(), QString::number(last.I[4], 'f', 3).replace(u'.', u','));
    EXPECT_EQ(dm->MessdatenZEITPUNKT->DisplayText(),
              DateTimeToQDateTime(last.Zeitpunkt).toString(QStringLiteral("dd.MM.yyyy HH:mm:ss")));
    dm->Messdaten->First();
    EXPECT_EQ(dm->MessdatenEREIGNIS->DisplayText(), QStringLiteral("Versuchsstart"));

    // Rows the acquisition side never writes: a state above the table, a state that
    // is not a number, and a missing current.
    Exec(QStringLiteral("insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, STATUS, T, RF, U, I_01) "
                        "values (777, '2026-01-01 10:00:00', 1, '12', 1234.5678, 85.04, 80, null)"));
    Exec(QStringLiteral("insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, STATUS, T, RF, U, I_01) "
                        "values (777, '2026-01-01 10:01:00', 2, 'x', 1, 1, 1, 1234.5678)"));
    OpenMessdaten(777);
    EXPECT_EQ(dm->MessdatenSTATUS->DisplayText(), QString());
    EXPECT_EQ(dm->MessdatenT->DisplayText(), QStringLiteral("1234,6"));
    EXPECT_EQ(dm->MessdatenRF->DisplayText(), QStringLiteral("85,0"));
    EXPECT_THROW(dm->MessdatenI_01->DisplayText(), EVariantTypeCastError);
    dm->Messdaten->Next();
    EXPECT_EQ(dm->MessdatenI_01->DisplayText(), QStringLiteral("1234,568"));
    EXPECT_THROW(dm->MessdatenSTATUS->DisplayText(), EConvertError);
    dm->Messdaten->Close();
    Exec(QStringLiteral("delete from MESSDATEN where AUFTRAGKEY = 777"));
}

// The acquisition program writes from a process of its own through a server while
// the module reopens the rows again and again.
TEST(DMorvexServer, EachReopenSeesExactlyTheCommittedRows)
{
    TServerDemo demo;
    if (!demo.Create())
        GTEST_SKIP() << demo.Server.Reason().toStdString();
    const auto runs = DemoRuns();
    const TDemoRun& run = FindDemoRun(runs, QStringLiteral("H3TRB 2026/021"));
    const TDemoRowGenerator gen(run);
    TDMorvex dm;
    demo.Connect(dm);
    dm.Auftraege->Open();
    TVersuchDaten d;
    ASSERT_TRUE(dm.VersuchLaden(run.Versuchsnr, d));
    const int count = 60;
    ASSERT_TRUE(demo.StartSimulator(run, count));

    int reopens = 0, lastSeen = run.Zeilen;
    bool finished = false;
    while (!finished) {
        finished = demo.Sim.state() == QProcess::NotRunning;
        const int before = demo.ReadCommitted(0);
        dm.Messdaten->Close();
        dm.Messdaten->ParamByName(QStringLiteral("AUFTRAGKEY"))->SetAsInteger(d.AuftragKey);
        dm.Messdaten->Open();
        dm.Messdaten->FetchAll();
        const int seen = dm.Messdaten->RecordCount();
        ++reopens;
        // Every row reported before the reopen is there, nothing goes missing later,
        // and a row seen is one the simulator reports as committed.
        ASSERT_GE(seen, before);
        ASSERT_GE(seen, lastSeen);
        QElapsedTimer waited;
        waited.start();
        while (demo.ReadCommitted(50) < seen && waited.elapsed() < 10000) {
        }
        ASSERT_LE(seen, demo.Committed);
        lastSeen = seen;
        // The rows are the run's rows 1..seen without a gap, the newest one complete.
        int k = 0;
        for (dm.Messdaten->First(); !dm.Messdaten->Eof(); dm.Messdaten->Next())
            ASSERT_EQ(dm.MessdatenSATZNR->AsInteger(), ++k);
        dm.Messdaten->Last();
        const TDemoRow expected = gen.Row(seen - 1);
        ASSERT_DOUBLE_EQ(dm.MessdatenZEIT_STD->AsFloat(), expected.Zeit_Std);
        ASSERT_DOUBLE_EQ(dm.MessdatenT->AsFloat(), expected.T);
        ASSERT_DOUBLE_EQ(dm.MessdatenU->AsFloat(), expected.U);
        ASSERT_EQ(dm.MessdatenEREIGNIS->AsString(), expected.Ereignis);
        const TField* currents[9] = {dm.MessdatenI_01, dm.MessdatenI_02, dm.MessdatenI_03,
                                     dm.MessdatenI_04, dm.MessdatenI_05, dm.MessdatenI_06,
                                     dm.MessdatenI_07, dm.MessdatenI_08, dm.MessdatenI_09};
        for (int c = 0; c < 9; ++c)
            ASSERT_DOUBLE_EQ(currents[c]->AsFloat(), expected.I[c]) << c;
    }
    demo.Sim.waitForFinished(10000);
    EXPECT_EQ(demo.Sim.exitCode(), 0);
    EXPECT_EQ(lastSeen, run.Zeilen + count);
    EXPECT_GT(reopens, 5);
}
