// The demo database as a real embedded Firebird file: its schema read back from the
// system tables, its values against the generator, and the simulator's rows.

#include "tools/OrvexDemoDb.h"

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "testdata/OrvexSchema.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QTemporaryDir>

namespace {
class DemoDbTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sDir = new QTemporaryDir();
        ASSERT_TRUE(sDir->isValid());
        sLogin.DBName = sDir->filePath("Orvex.fdb");
        CreateDemoDatabase(sLogin, 2500);
    }
    static void TearDownTestSuite()
    {
        delete sDir;
        sDir = nullptr;
    }
    void SetUp() override
    {
        db = ConnectOrvex(sLogin);
        tr = std::make_unique<TpFIBTransaction>();
        tr->AddDatabase(db.get());
        tr->StartTransaction();
    }
    void TearDown() override
    {
        if (tr->Active())
            tr->Commit();
        tr.reset();
        db->Close();
    }
    // All rows of a one-column-or-more select, each row's columns joined by "|".
    QStringList Rows(const QString& sql)
    {
        TpFIBQuery q;
        q.SetDatabase(db.get());
        q.SetTransaction(tr.get());
        q.SQL().SetText(sql);
        q.ExecQuery();
        QStringList out;
        while (!q.Eof()) {
            QStringList cols;
            for (int i = 0; i < q.FieldCount(); ++i)
                cols << q.Fields(i).AsString().trimmed();
            out << cols.join(u'|');
            q.Next();
        }
        q.Close();
        return out;
    }
    static inline QTemporaryDir* sDir = nullptr;
    static inline TDemoDbLogin sLogin;
    std::unique_ptr<TpFIBDatabase> db;
    std::unique_ptr<TpFIBTransaction> tr;
};
}

TEST_F(DemoDbTest, SchemaReadFromTheSystemTablesMatchesTheProgramsColumns)
{
    const auto columns = [&](const QString& table) {
        return Rows(QStringLiteral("select RDB$FIELD_NAME from RDB$RELATION_FIELDS where RDB$RELATION_NAME = '%1' "
                                   "order by RDB$FIELD_POSITION")
                        .arg(table));
    };
    EXPECT_EQ(columns("AUFTRAEGE"), AuftraegeColumns());
    EXPECT_EQ(columns("MESSDATEN"), MessdatenColumns());
    // Types and widths as the program binds them: 7 smallint, 8 integer, 27 double,
    // 12 date, 35 timestamp, 37 varchar.
    const QStringList types = Rows(
        "select trim(rf.RDB$FIELD_NAME) || ':' || f.RDB$FIELD_TYPE || ':' || coalesce(f.RDB$CHARACTER_LENGTH, 0) "
        "from RDB$RELATION_FIELDS rf join RDB$FIELDS f on f.RDB$FIELD_NAME = rf.RDB$FIELD_SOURCE "
        "where rf.RDB$RELATION_NAME in ('AUFTRAEGE', 'MESSDATEN') order by rf.RDB$RELATION_NAME, rf.RDB$FIELD_POSITION");
    for (const char* expected : {"VERSUCHSNR:37:20", "BEZEICHNUNG:37:40", "STRANG:8:0", "AUFTRAGKEY:8:0", "DATUM:12:0",
                                 "KOMMENTAR:37:2000", "I_MAX:27:0", "T_MESSEN_AB_AKTIV:7:0", "BT09:37:20",
                                 "STATUS:37:40", "LETZTE_MESSUNG:35:0", "ZEITPUNKT:35:0", "EREIGNIS:37:80",
                                 "STATUS:37:4", "I_09:27:0"})
        EXPECT_TRUE(types.contains(QString::fromUtf8(expected))) << expected;
    EXPECT_TRUE(types.contains("AUFTRAGKEY:7:0"));   // the rows hold the key as a small integer
    EXPECT_EQ(Rows("select RDB$CHARACTER_SET_NAME from RDB$DATABASE"), QStringList{"WIN1252"});
    EXPECT_EQ(Rows("select count(*) from RDB$GENERATORS where RDB$GENERATOR_NAME = 'GEN_AUFTRAEGE_ID'"), QStringList{"1"});
    EXPECT_EQ(Rows("select trim(RDB$PROCEDURE_NAME) || ':' || RDB$PROCEDURE_INPUTS from RDB$PROCEDURES "
                   "order by 1"),
              QStringList({"INS_MESSDATENSATZ:19", "UPD_AUFTRAG:7"}));
}

TEST_F(DemoDbTest, StoredRunsAndRowsAreTheGeneratorsValues)
{
    const auto runs = DemoRuns(2500);
    EXPECT_EQ(Rows("select count(*) from AUFTRAEGE"), QStringList{QString::number(runs.size())});
    for (const TDemoRun& run : runs) {
        const QStringList head = Rows(QStringLiteral("select AUFTRAGKEY, ANZAHLDATENSAETZE, STATUS, BT01 from AUFTRAEGE "
                                                     "where VERSUCHSNR = '%1'").arg(run.Versuchsnr));
        ASSERT_EQ(head.size(), 1) << run.Versuchsnr.toStdString();
        const QStringList h = head[0].split(u'|');
        EXPECT_EQ(h[1].toInt(), run.Zeilen);
        EXPECT_EQ(h[2], run.Status);
        EXPECT_EQ(h[3], run.BT[0]);   // umlauts survive the 8-bit character set
        EXPECT_EQ(Rows(QStringLiteral("select count(*) from MESSDATEN where AUFTRAGKEY = %1").arg(h[0])),
                  QStringList{QString::number(run.Zeilen)});
    }
    // One row read back column by column against what the generator computes.
    const TDemoRun& wet = runs[1];
    const TDemoRowGenerator g(wet);
    TpFIBQuery q;
    q.SetDatabase(db.get());
    q.SetTransaction(tr.get());
    q.SQL().SetText("select SATZNR, ZEIT_STD, T, RF, U, I_04, EREIGNIS, m.STATUS, ZEITPUNKT from MESSDATEN m "
                    "join AUFTRAEGE a on a.AUFTRAGKEY = m.AUFTRAGKEY where a.VERSUCHSNR = :NR and SATZNR = 1500");
    q.ParamByName("NR").SetAsString(wet.Versuchsnr);
    q.ExecQuery();
    ASSERT_FALSE(q.Eof());
    const TDemoRow r = g.Row(1499);
    EXPECT_DOUBLE_EQ(q.FieldByName("ZEIT_STD").AsDouble(), r.Zeit_Std);
    EXPECT_DOUBLE_EQ(q.FieldByName("T").AsDouble(), r.T);
    EXPECT_DOUBLE_EQ(q.FieldByName("I_04").AsDouble(), r.I[3]);
    EXPECT_EQ(q.FieldByName("EREIGNIS").AsString(), r.Ereignis);
    EXPECT_EQ(q.FieldByName("STATUS").AsString().trimmed(), r.Status);
    EXPECT_NEAR(q.FieldByName("ZEITPUNKT").AsDateTime(), r.Zeitpunkt, 1e-6);
    q.Close();
}

TEST_F(DemoDbTest, SimulatorCommitsEachRowAndUpdatesTheRun)
{
    const QString nr = "H3TRB 2026/021";
    const int before = Rows(QStringLiteral("select ANZAHLDATENSAETZE from AUFTRAEGE where VERSUCHSNR = '%1'").arg(nr))[0].toInt();
    tr->Commit();
    {
        TAcquisitionSimulator sim(db.get(), nr);
        EXPECT_EQ(sim.AppendRow(), before + 1);
        EXPECT_EQ(sim.AppendRow(), before + 2);
    }
    // A transaction started afterwards sees both rows and the updated count.
    tr->StartTransaction();
    EXPECT_EQ(Rows(QStringLiteral("select ANZAHLDATENSAETZE from AUFTRAEGE where VERSUCHSNR = '%1'").arg(nr))[0].toInt(),
              before + 2);
    EXPECT_EQ(Rows(QStringLiteral("select max(SATZNR), count(*) from MESSDATEN m join AUFTRAEGE a on a.AUFTRAGKEY = "
                                  "m.AUFTRAGKEY where a.VERSUCHSNR = '%1'").arg(nr)),
              QStringList{QStringLiteral("%1|%1").arg(before + 2)});
    EXPECT_THROW(TAcquisitionSimulator(db.get(), "GIBT-ES-NICHT"), Exception);
}

TEST_F(DemoDbTest, StrangTakesWhatItsIntegerFieldTakes)
{
    // The run list binds the string of the stand as an integer field: the table and
    // the procedure that writes it accept the same range.
    const QString key = Rows("select min(AUFTRAGKEY) from AUFTRAEGE").value(0);
    TpFIBQuery q;
    q.SetDatabase(db.get());
    q.SetTransaction(tr.get());
    q.SQL().SetText("execute procedure UPD_AUFTRAG(:AUFTRAGKEY, 'Prüfer', :STRANG, current_date, 1, 2.5, 'Freigegeben')");
    q.ParamByName("AUFTRAGKEY").SetAsString(key);
    q.ParamByName("STRANG").SetAsInteger(40000);
    try {
        q.ExecQuery();
    } catch (const Exception& e) {
        FAIL() << e.Message().toStdString();
    }
    EXPECT_EQ(Rows("select STRANG from AUFTRAEGE where AUFTRAGKEY = " + key), QStringList{"40000"});
    tr->Rollback();
}
