// The incremental refresh against a real server while the acquisition simulator, a
// process of its own, writes rows: after every refresh the arrays hold exactly what
// a fresh full load of the same rows reads; the timer follows the key and the run's
// status; a lost connection is said once while the timer keeps trying.

#include "views/uAutoAktualisierung.h"

#include "dbcontrols/TdxLookupEdit.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "tests/dbaccess/DbTestSupport.h"

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <algorithm>

namespace {
const QString Active = QStringLiteral("H3TRB 2026/021");
const QString Finished = QStringLiteral("HTRB-2026-017");

class AutoAktualisierungTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { data = std::make_unique<TDemoDatabase>(QStringLiteral("Vorlage.fdb")); }
    static void TearDownTestSuite()
    {
        zellib_msg_Finalize();
        zellib_Logging_Finalize();
        data.reset();
    }

    void SetUp() override
    {
        if (!server.Start())
            GTEST_SKIP() << "no private server: " << server.Reason().toStdString();
        ProgrammEndet = false;
        IniStore.reset();
        IniFileName = ini.filePath(QStringLiteral("KELMAR.INI"));
        QFile iniFile(IniFileName);
        ASSERT_TRUE(iniFile.open(QIODevice::WriteOnly));
        iniFile.write("[Auswertung]\r\nAutoRefresh_s=3600\r\n");
        iniFile.close();
        const QString db = out.filePath(QStringLiteral("Orvex.fdb"));
        ASSERT_TRUE(QFile::copy(data->Login().DBName, db));
        connectString = server.ConnectString(db);
        Datapath = out.path();
        AktVersuch = std::make_unique<TVersuchDaten>();
        w = new TFOOrvexAuswertung;
        FOOrvexAuswertung = w;
        DMorvex = std::make_unique<TDMorvex>();
        w->DatenquellenZuordnen();
        TFIBDatabase* d = DMorvex->orvexDB.get();
        d->SetDBName(connectString);
        d->DBParams().SetText(QStringLiteral("user_name=SYSDBA\npassword=") + TestPassword +
                              QStringLiteral("\nlc_ctype=WIN1252\nsql_role_name="));
        d->SetConnected(true);
        DMorvex->Auftraege->Open();
        w->resize(1200, 800);
        w->show();
        QApplication::processEvents();
    }
    void TearDown() override
    {
        if (simulator.state() != QProcess::NotRunning) {
            simulator.terminate();
            simulator.waitForFinished(10000);
        }
        if (w) {
            MsgClear();
            w->ProgrammBeenden();
            delete w;
            FOOrvexAuswertung = nullptr;
            w = nullptr;
        }
        DMorvex.reset();
        AktVersuch.reset();
        IniStore.reset();
        ProgrammEndet = false;
        server.Stop();
        wieder.Stop();
    }

    // The acquisition program: a process of its own writing through the server.
    void Simulieren(int intervalMs)
    {
        simulator.start(QStringLiteral(ORVEX_DEMO_EXE),
                        {QStringLiteral("simulate"), connectString, QStringLiteral("--run"), Active,
                         QStringLiteral("--interval"), QString::number(intervalMs), QStringLiteral("--password"),
                         TestPassword});
        ASSERT_TRUE(simulator.waitForStarted(10000));
    }

    // The arrays of the window next to those of a second window that loads the same
    // rows afresh on a connection of its own.
    void VergleicheMitVollLaden()
    {
        const int n = w->fGeladen;
        ASSERT_EQ(w->fAnzahlSaetze, n);
        ASSERT_EQ(w->Ser_T->Count(), n);
        TOwnStatement own(TDemoDbLogin{connectString, QStringLiteral("SYSDBA"), TestPassword});
        TpFIBQuery& q = own.Run(QStringLiteral("select first %1 ZEIT_STD, ZEITPUNKT, T, RF, U, I_01, I_02, I_03, I_04, "
                                               "I_05, I_06, I_07, I_08, I_09 from MESSDATEN where AUFTRAGKEY = %2 "
                                               "order by ZEITPUNKT")
                                    .arg(n)
                                    .arg(AktVersuch->AuftragKey));
        const TChartValues* werte[14] = {w->fWerteStd.get(), w->fWerteZeit.get(), w->fWerteT.get(),
                                         w->fWerteRF.get(),  w->fWerteU.get()};
        for (int k = 1; k <= 9; ++k)
            werte[4 + k] = w->fWerteI[std::size_t(k)].get();
        int i = 0;
        for (; !q.Eof(); ++i, q.Next())
            for (int c = 0; c < 14; ++c) {
                const double soll = c == 1 ? q.Fields(c).AsDateTime() : q.Fields(c).AsDouble();
                ASSERT_EQ((*werte[c])[std::size_t(i)], soll) << "row " << i << " column " << c;
            }
        EXPECT_EQ(i, n);
        // The series go on from the rows they kept: their figures are those of every row.
        const std::pair<TFastLineSeries*, const TChartValues*> serien[] = {
            {w->Ser_T.get(), werte[2]}, {w->Ser_rF.get(), werte[3]}, {w->fSerI[1], werte[5]}};
        for (const auto& [serie, y] : serien) {
            const auto [mn, mx] = std::minmax_element(y->begin(), y->begin() + n);
            EXPECT_EQ(serie->YValues()->MinValue(), *mn);
            EXPECT_EQ(serie->YValues()->MaxValue(), *mx);
            const TChartValue* x = serie->XValues()->Data();
            EXPECT_EQ(serie->XValues()->InAscendingOrder(), std::is_sorted(x, x + n));
        }
    }

    static inline std::unique_ptr<TDemoDatabase> data;
    TPrivateServer server;
    TPrivateServer wieder;   // the server after a loss
    QString connectString;
    QTemporaryDir ini, out;
    QProcess simulator;
    TFOOrvexAuswertung* w = nullptr;
};
}

TEST_F(AutoAktualisierungTest, EveryRefreshEqualsAFullLoadWhileTheSimulatorWrites)
{
    ASSERT_TRUE(w->VersuchWaehlen(Active));
    ASSERT_NE(w->AutoAktualisierung, nullptr);
    EXPECT_TRUE(w->AutoAktualisierung->Laeuft()) << "an active run is followed";
    TChartAxis* axis = w->chart_U_I->CustomAxes()[0];
    axis->SetMinMax(2, 7);   // a range the user chose
    const int start = w->fGeladen;
    ASSERT_GT(start, 100);
    Simulieren(40);
    int angehaengt = 0;
    for (int runde = 0; runde < 6; ++runde) {
        QThread::msleep(150 + 60 * runde);
        const int neu = w->AutoAktualisierung->Nachladen();
        ASSERT_GE(neu, 0);
        angehaengt += neu;
        ASSERT_NO_FATAL_FAILURE(VergleicheMitVollLaden()) << "refresh " << runde;
    }
    EXPECT_GT(angehaengt, 6);
    EXPECT_EQ(w->fGeladen, start + angehaengt);
    // Zoom and the chosen run stay; the header follows the rows.
    EXPECT_DOUBLE_EQ(axis->Minimum(), 2.0);
    EXPECT_DOUBLE_EQ(axis->Maximum(), 7.0);
    EXPECT_EQ(w->LookupAuftrag->Text(), Active);
    simulator.terminate();
    ASSERT_TRUE(simulator.waitForFinished(10000));
    w->AutoAktualisierung->Nachladen();
    ASSERT_NO_FATAL_FAILURE(VergleicheMitVollLaden());
    EXPECT_EQ(DMorvex->AuftraegeANZAHLDATENSAETZE->AsInteger(), w->fGeladen);
    // Nothing new: nothing appended, nothing changed.
    EXPECT_EQ(w->AutoAktualisierung->Nachladen(), 0);
    ASSERT_NO_FATAL_FAILURE(VergleicheMitVollLaden());
}

TEST_F(AutoAktualisierungTest, TheTimerFollowsKeyAndStatusAndALostServerIsSaidOnce)
{
    // A finished run is not followed.
    ASSERT_TRUE(w->VersuchWaehlen(Finished));
    EXPECT_FALSE(w->AutoAktualisierung->Laeuft());
    ASSERT_TRUE(w->VersuchWaehlen(Active));
    EXPECT_TRUE(w->AutoAktualisierung->Laeuft());
    EXPECT_EQ(w->AutoAktualisierung->Intervall_s(), 3600);

    // A selection under way has named the next run while the arrays still hold this
    // one: a refresh then waits for the load.
    const int key = AktVersuch->AuftragKey;
    AktVersuch->AuftragKey = key + 1000;
    EXPECT_EQ(w->AutoAktualisierung->Nachladen(), 0);
    AktVersuch->AuftragKey = key;

    // The timer itself, at one second.
    w->AutoAktualisierung->SetIntervall_s(1);
    const int vorher = w->fGeladen;
    Simulieren(100);
    QElapsedTimer t;
    t.start();
    while (w->fGeladen == vorher && t.elapsed() < 15000)
        QApplication::processEvents(QEventLoop::AllEvents, 50);
    EXPECT_GT(w->fGeladen, vorher);
    simulator.terminate();
    ASSERT_TRUE(simulator.waitForFinished(10000));
    // The rows the simulator wrote after the timer's last refresh, so that the
    // load after the reconnect below finds no more than the charts hold.
    ASSERT_GE(w->AutoAktualisierung->Nachladen(), 0);

    // The server goes: one note, no report, and the timer keeps trying.
    server.Stop();
    EXPECT_EQ(w->AutoAktualisierung->Nachladen(), -1);
    ASSERT_NE(FoMsg, nullptr);
    EXPECT_TRUE(FoMsg->isVisible());
    const QString note = FoMsg->MsgLabel->text();
    EXPECT_TRUE(note.startsWith(QStringLiteral("Die automatische Aktualisierung erreicht die Datenbank nicht"))) << note.toStdString();
    const int zeilen = w->fGeladen;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(w->AutoAktualisierung->Nachladen(), -1);
    EXPECT_TRUE(w->AutoAktualisierung->Laeuft());
    EXPECT_EQ(FoMsg->MsgLabel->text(), note);
    EXPECT_EQ(w->fGeladen, zeilen) << "the charts keep what they had";
    EXPECT_EQ(w->Ser_T->Count(), zeilen);

    // The database is back (served anew, under another port): the next try connects,
    // loads the run afresh as a choice in the list would, and the note goes.
    ASSERT_TRUE(wieder.Start()) << wieder.Reason().toStdString();
    connectString = wieder.ConnectString(out.filePath(QStringLiteral("Orvex.fdb")));
    try {
        DMorvex->orvexDB->SetConnected(false);
    } catch (const std::exception&) {
    }
    DMorvex->orvexDB->SetDBName(connectString);
    EXPECT_EQ(w->AutoAktualisierung->Nachladen(), 0);
    EXPECT_FALSE(w->AutoAktualisierung->VerbindungVerloren());
    EXPECT_FALSE(FoMsg->isVisible());
    EXPECT_EQ(w->LookupAuftrag->Text(), Active);
    EXPECT_EQ(w->fGeladen, zeilen);
    ASSERT_NO_FATAL_FAILURE(VergleicheMitVollLaden());
    EXPECT_TRUE(w->AutoAktualisierung->Laeuft());

    // Off by the key: no timer even for an active run.
    w->AutoAktualisierung->SetIntervall_s(0);
    EXPECT_FALSE(w->AutoAktualisierung->Laeuft());
}

TEST(AutoAktualisierungStatus, OnlyTheStatesOfAcquisitionAreActive)
{
    for (const char* s : {"Test aktiv", "Vorlauf aktiv", "Versuch aktiv", "nachlauf AKTIV"})
        EXPECT_TRUE(StatusAktiv(QString::fromUtf8(s))) << s;
    for (const char* s : {"Angelegt", "Freigegeben", "Gestoppt - User", "Bendet", "", "aktiv"})
        EXPECT_FALSE(StatusAktiv(QString::fromUtf8(s))) << s;
}
