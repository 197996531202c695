// The evaluation window over a real demo database: selection, loading, refresh
// while the acquisition side writes, curve and channel switching, the stacking of
// the charts, the settings file, and the zoom coupling.

#include "views/uFoSetupcharts.h"

#include "dbcontrols/TCheckListBox.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxLookupEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/MemIniFile.h"

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <QTimer>
#include <algorithm>
#include <optional>
#include <QAction>

namespace {
const QString Finished = QStringLiteral("HTRB-2026-017");
const QString Active = QStringLiteral("H3TRB 2026/021");
const QString Milliamps = QStringLiteral("HTRB-2026-019");
const QString Empty = QStringLiteral("HTRB-2026-023");

class EvaluationWindowTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        data = std::make_unique<TDemoDatabase>();
        QStringList runs;
        // Runs on the edges of the unit rule, without rows.
        const std::pair<const char*, double> edges[] = {{"GRENZE-1000", 1000.0}, {"GRENZE-999", 999.9},
                                                        {"GRENZE-4", 4.0}};
        int key = 800;
        for (const auto& [nr, imax] : edges)
            runs << QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, STATUS) "
                                   "values ('%1', 'X', %2, %3, 'Angelegt')")
                        .arg(QLatin1String(nr))
                        .arg(++key)
                        .arg(imax);
        // Values no acquisition program writes, but a damaged row may hold.
        runs << QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, U_SOLL, "
                               "RESTLAUFZEIT, STATUS) values ('RIESIG', 'X', 810, 1e300, -1e300, 1e300, "
                               "'Angelegt')")
             << QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, STATUS) "
                               "values ('RIESIG-NEG', 'X', 811, -1e300, 'Angelegt')");
        data->Exec(runs);
    }
    static void TearDownTestSuite() { data.reset(); }

    void SetUp() override
    {
        state.emplace(ini.path(), data->Folder());
        Start();
    }
    void TearDown() override
    {
        Stop();
        state.reset();
    }
    // The start sequence: window, data module, sources, connection.
    void Start()
    {
        w = StartProgram();
        w->resize(1200, 800);
        w->show();
        QApplication::processEvents();
    }
    // The orderly end, settings saved on the way.
    void Stop() { EndProgram(w); }
    void Select(const QString& nr) { ASSERT_TRUE(w->VersuchWaehlen(nr)) << nr.toStdString(); }
    // Clicks channel box i (0-based) the way a user does: the state flips, then the handler runs.
    void ClickChannel(int i)
    {
        w->Kanaele->SetChecked(i, !w->Kanaele->Checked(i));
        w->KanaeleClickCheck();
    }
    std::vector<bool> ActiveCurrents() const
    {
        std::vector<bool> a;
        for (int k = 1; k <= 9; ++k)
            a.push_back(w->fSerI[k]->Active());
        return a;
    }

    static inline std::unique_ptr<TDemoDatabase> data;
    QTemporaryDir ini;
    std::optional<TProgramState> state;
    TFOOrvexAuswertung* w = nullptr;
};
}

TEST_F(EvaluationWindowTest, SelectionFillsHeaderAndAllTwelveSeriesWithTheStoredRowsOrNone)
{
    EXPECT_FALSE(w->BtnRefresh->isEnabled());
    EXPECT_TRUE(w->dxDBEdit1->Text().isEmpty());   // the header is dark before the first choice
    Select(Finished);
    const TDemoRun& run = RunNamed(Finished);
    EXPECT_TRUE(w->BtnRefresh->isEnabled());
    EXPECT_TRUE(w->BtnRohdaten->isEnabled());
    EXPECT_EQ(w->dxDBEdit1->Text(), run.Teilenr);
    EXPECT_EQ(w->dxDBEdit2->Text(), run.Status);
    EXPECT_EQ(AktVersuch->Versuchsnr, Finished);
    EXPECT_EQ(ReadIniString(QStringLiteral("Variablen"), QStringLiteral("AktAuftrag"), QString()), QString())
        << "AktAuftrag is a variable of the store, not a key of the file";

    ASSERT_EQ(w->fAnzahlSaetze, run.Zeilen);
    const TDemoRowGenerator gen(run);
    std::vector<TFastLineSeries*> all{w->Ser_U.get(), w->Ser_T.get(), w->Ser_rF.get()};
    for (int k = 1; k <= 9; ++k)
        all.push_back(w->fSerI[k]);
    for (TFastLineSeries* s : all)
        ASSERT_EQ(s->Count(), run.Zeilen) << s->Title().toStdString();
    // Every series reads the window's arrays themselves, not a copy.
    EXPECT_EQ(w->Ser_T->YValues()->Value, w->fWerteT);
    EXPECT_EQ(w->fSerI[4]->XValues()->Value, w->fWerteStd);
    for (int row : {0, 1, 1439, 1440, run.Zeilen / 2, run.Zeilen - 1}) {
        SCOPED_TRACE(row);
        const TDemoRow r = gen.Row(row);
        EXPECT_DOUBLE_EQ(w->Ser_T->XValues()->Value->at(row), r.Zeit_Std);
        EXPECT_DOUBLE_EQ(w->Ser_T->YValues()->Value->at(row), r.T);
        EXPECT_DOUBLE_EQ(w->Ser_rF->YValues()->Value->at(row), r.RF);
        EXPECT_DOUBLE_EQ(w->Ser_U->YValues()->Value->at(row), r.U);
        for (int k = 1; k <= 9; ++k)
            EXPECT_DOUBLE_EQ(w->fSerI[k]->YValues()->Value->at(row), r.I[k - 1]) << k;
        EXPECT_NEAR(w->fWerteZeit->at(row), r.Zeitpunkt, 1e-6);
    }
    EXPECT_EQ(w->fBauteil[1], run.BT[0]);
    // The load went through the rows to their end, and the cursor stays there.
    EXPECT_TRUE(DMorvex->Messdaten->Eof());
    EXPECT_EQ(DMorvex->Messdaten->RecNo(), run.Zeilen);

    // A run without rows shows its header and empty charts.
    Select(Empty);
    EXPECT_EQ(w->fAnzahlSaetze, 0);
    EXPECT_EQ(w->Ser_T->Count(), 0);
    EXPECT_EQ(w->fSerI[1]->Count(), 0);
    EXPECT_TRUE(w->BtnRefresh->isEnabled());
    EXPECT_EQ(w->dxDBEdit1->Text(), RunNamed(Empty).Teilenr);
    // Both charts draw without points.
    EXPECT_FALSE(w->chart_U_I->grab().isNull());
    EXPECT_FALSE(w->Chart_T_RF->grab().isNull());

    // Clearing the drop-down disables the buttons and leaves the charts as they are.
    Select(Finished);
    const int points = w->Ser_T->Count();
    w->LookupAuftrag->setEditText(QString());
    w->LookupAuftragSelectionChange(w->LookupAuftrag);
    EXPECT_FALSE(w->BtnRefresh->isEnabled());
    EXPECT_FALSE(w->BtnRohdaten->isEnabled());
    EXPECT_EQ(w->Ser_T->Count(), points);
}

// The server's count after the fetch sets the arrays' length: rows committed in
// between give a tail of 0, rows deleted in between are cut off, and the rows
// read stay as they were read.
TEST_F(EvaluationWindowTest, RowsCommittedOrDeletedBetweenFetchAndCountSetTheArraysLength)
{
    const TDemoRun& run = RunNamed(Finished);
    const TDemoRow last = TDemoRowGenerator(run).Row(run.Zeilen - 1);
    TVersuchDaten probe;
    ASSERT_TRUE(DMorvex->VersuchLaden(Finished, probe));
    const TDemoDbLogin& login = data->Login();
    auto db = ConnectOrvex(login);
    TpFIBTransaction tr;
    tr.SetDefaultDatabase(db.get());
    const auto exec = [&](const QString& sql) {
        tr.StartTransaction();
        tr.ExecSQLImmediate(sql.toUtf8());
        tr.Commit();
    };
    const auto add = [&] {
        for (int i = 0; i < 3; ++i)
            exec(QStringLiteral("insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, T) "
                                "values (%1, '2099-01-01 00:00:0%2', %3, 1e6, 99)")
                     .arg(probe.AuftragKey)
                     .arg(i)
                     .arg(900000 + i));
    };
    const auto drop = [&] {
        exec(QStringLiteral("delete from MESSDATEN where AUFTRAGKEY = %1 and ZEITPUNKT >= '2099-01-01'")
                 .arg(probe.AuftragKey));
    };
    // The load stands on the first row right after its fetch of every row, before it counts.
    std::function<void()> betweenFetchAndCount;
    DMorvex->Messdaten->AfterScroll = [&](TDataSet*) {
        if (betweenFetchAndCount && DMorvex->Messdaten->AllFetched())
            std::exchange(betweenFetchAndCount, nullptr)();
    };
    const auto expectRowsAsRead = [&](int rows) {
        ASSERT_EQ(w->fWerteT->size(), std::size_t(rows));
        EXPECT_EQ(w->Ser_T->Count(), rows);
        EXPECT_EQ(w->fSerI[9]->Count(), rows);
        EXPECT_DOUBLE_EQ(w->fWerteT->at(std::size_t(run.Zeilen - 1)), last.T);
        EXPECT_DOUBLE_EQ(w->fWerteStd->at(std::size_t(run.Zeilen - 1)), last.Zeit_Std);
        // What the series carried over from the fetched rows takes in the changed tail.
        for (TFastLineSeries* s : {w->Ser_T.get(), w->fSerI[9]}) {
            for (TChartValueList* l : {s->XValues(), s->YValues()}) {
                const auto [mn, mx] = std::minmax_element(l->Value->begin(), l->Value->end());
                EXPECT_EQ(l->MinValue(), *mn);
                EXPECT_EQ(l->MaxValue(), *mx);
            }
            EXPECT_EQ(s->XValues()->InAscendingOrder(),
                      std::is_sorted(s->XValues()->Value->begin(), s->XValues()->Value->end()));
        }
    };

    betweenFetchAndCount = add;
    Select(Finished);
    EXPECT_EQ(w->fAnzahlSaetze, run.Zeilen + 3);
    EXPECT_EQ(w->fGeladen, run.Zeilen);
    expectRowsAsRead(run.Zeilen + 3);
    for (std::size_t r = std::size_t(run.Zeilen); r < w->fWerteT->size(); ++r) {
        EXPECT_EQ(w->fWerteT->at(r), 0.0);
        EXPECT_EQ(w->fWerteStd->at(r), 0.0);
        EXPECT_EQ(w->fWerteI[9]->at(r), 0.0);
    }

    betweenFetchAndCount = drop;   // fetched with the three rows, counted without them
    Select(Finished);
    EXPECT_EQ(w->fAnzahlSaetze, run.Zeilen);
    EXPECT_EQ(w->fGeladen, run.Zeilen);
    expectRowsAsRead(run.Zeilen);
    DMorvex->Messdaten->AfterScroll = nullptr;
}

TEST_F(EvaluationWindowTest, TheRunsMaximumCurrentPicksUnitAndAxisTopEvenWhenAbsurd)
{
    struct TCase {
        QString nr;
        QString unit;
        int divisor;
        double top;
    };
    const TCase cases[] = {{Active, "[µA]", 1, 50.0},
                           {Milliamps, "[mA]", 1000, 10.0},   // 12000 is limited to 10000
                           {"GRENZE-1000", "[mA]", 1000, 1.0},
                           {"GRENZE-999", "[µA]", 1, 1000.0},  // rounds to 1000 before the tens
                           {"GRENZE-4", "[µA]", 1, 1.0},
                           {Empty, "[µA]", 1, 200.0},
                           // Damaged headers: limited to 10000 µA, or a giant negative
                           // maximum on the axis' least top of 1.
                           {"RIESIG", "[mA]", 1000, 10.0},
                           {"RIESIG-NEG", "[µA]", 1, 1.0}};
    for (const TCase& c : cases) {
        SCOPED_TRACE(c.nr.toStdString());
        Select(c.nr);
        TChartAxis* axis = w->chart_U_I->CustomAxes()[0];
        EXPECT_EQ(w->fEinheitI, c.unit);
        EXPECT_EQ(axis->Title().Caption(), c.unit);
        EXPECT_EQ(w->fTeilerI, c.divisor);
        EXPECT_DOUBLE_EQ(axis->Minimum(), 0.0);
        EXPECT_DOUBLE_EQ(axis->Maximum(), c.top);
        EXPECT_DOUBLE_EQ(axis->Increment(), c.top / 20.0);
        EXPECT_FALSE(axis->Automatic());
    }
    // Currents of a milliampere run are shown divided.
    Select(Milliamps);
    const TDemoRow r = TDemoRowGenerator(RunNamed(Milliamps)).Row(10);
    EXPECT_DOUBLE_EQ(w->fSerI[2]->YValues()->Value->at(10), static_cast<double>(r.I[1] / 1000.0L));

    // Absurd header values: one digit, the format's decimals, the exponent and the unit, not 300 digits.
    Select(QStringLiteral("RIESIG"));
    EXPECT_EQ(w->Ed_I_BT_MAX->text(), QStringLiteral("1,000E+300 µA"));
    EXPECT_EQ(w->ED_U_SOLL->text(), QStringLiteral("-1,0E+300 V"));
    EXPECT_EQ(w->Restlaufzeit->text(), QStringLiteral("1,00E+300 h"));
    Select(QStringLiteral("RIESIG-NEG"));
    EXPECT_EQ(w->Ed_I_BT_MAX->text(), QStringLiteral("-1,000E+300 µA"));
    EXPECT_FALSE(w->grab().isNull());
}

TEST_F(EvaluationWindowTest, RefreshShowsNewRowsAndKeepsUnitAxisAndRow)
{
    Select(Active);
    const TDemoRun& run = RunNamed(Active);
    TChartAxis* axis = w->chart_U_I->CustomAxes()[0];
    axis->SetMinMax(2, 7);   // a range the user chose
    const int before = w->fAnzahlSaetze;
    ASSERT_EQ(before, run.Zeilen);
    {
        // The acquisition side on a connection of its own.
        const TDemoDbLogin& login = data->Login();
        auto db = ConnectOrvex(login);
        TAcquisitionSimulator sim(db.get(), Active);
        for (int i = 0; i < 5; ++i)
            sim.AppendRow();
        db->Close();
    }
    w->BtnRefresh->click();
    EXPECT_FALSE(w->fRefreshLaeuft);
    EXPECT_EQ(w->fAnzahlSaetze, before + 5);
    EXPECT_EQ(w->Ser_U->Count(), before + 5);
    const TDemoRow last = TDemoRowGenerator(run).Row(before + 4);
    EXPECT_DOUBLE_EQ(w->Ser_T->YValues()->Value->at(before + 4), last.T);
    EXPECT_DOUBLE_EQ(w->fSerI[1]->YValues()->Value->at(before + 4), last.I[0]);
    EXPECT_EQ(w->fEinheitI, QStringLiteral("[µA]"));
    EXPECT_DOUBLE_EQ(axis->Minimum(), 2.0);
    EXPECT_DOUBLE_EQ(axis->Maximum(), 7.0);
    // The list was reopened and still stands on the chosen run, with its new count.
    EXPECT_EQ(DMorvex->AuftraegeVERSUCHSNR->AsString(), Active);
    EXPECT_EQ(DMorvex->AuftraegeANZAHLDATENSAETZE->AsInteger(), before + 5);
    EXPECT_EQ(w->LookupAuftrag->Text(), Active);
}

TEST_F(EvaluationWindowTest, CurvesAndChannelsSwitchSeriesAndTheChartsStackByThem)
{
    Select(Finished);
    const std::vector<bool> all(9, true);
    EXPECT_EQ(ActiveCurrents(), all);
    // Toggle mode: unchecking one leaves the others on, checking it again leaves it alone.
    w->togglemode->SetChecked(true);
    ClickChannel(2);
    std::vector<bool> expected = all;
    expected[2] = false;
    EXPECT_EQ(ActiveCurrents(), expected);
    ClickChannel(2);
    expected.assign(9, false);
    expected[2] = true;
    EXPECT_EQ(ActiveCurrents(), expected);
    // "Alle ein" does not toggle.
    w->Button4->click();
    EXPECT_EQ(ActiveCurrents(), all);
    w->Button3->click();
    EXPECT_EQ(ActiveCurrents(), std::vector<bool>(9, false));
    w->togglemode->SetChecked(false);
    ClickChannel(5);
    expected.assign(9, false);
    expected[5] = true;
    EXPECT_EQ(ActiveCurrents(), expected);

    // Unchecking the currents keeps the channel choice for later.
    w->Kurven->SetChecked(1, false);
    w->KurvenClickCheck();
    EXPECT_EQ(ActiveCurrents(), std::vector<bool>(9, false));
    EXPECT_TRUE(w->Kanaele->Checked(5));
    EXPECT_TRUE(w->Ser_U->Active());   // "U" alone keeps the upper chart
    EXPECT_TRUE(w->chart_U_I->isVisible());
    w->Kurven->SetChecked(1, true);
    w->KurvenClickCheck();
    EXPECT_EQ(ActiveCurrents(), expected);
    // Only the first current follows the colour setting.
    EXPECT_EQ(w->Ser_I1->SeriesColor(), w->fFarbeI);
    EXPECT_EQ(w->Ser_I2->SeriesColor(), clBlue);

    // The charts stack in the panel and only the lowest carries the scale.
    const int panel = w->ChartPanel->height();
    ASSERT_GT(panel, 200);
    const int h = panel / 2 - 10;
    EXPECT_EQ(w->chart_U_I->geometry(), QRect(0, 0, w->ChartPanel->width(), h));
    EXPECT_EQ(w->Chart_T_RF->y(), h);
    EXPECT_EQ(w->Chart_T_RF->height(), panel - h);   // the lower one fills what is left
    EXPECT_FALSE(w->chart_U_I->BottomAxis()->Labels());
    EXPECT_TRUE(w->Chart_T_RF->BottomAxis()->Labels());
    EXPECT_EQ(w->fKlickAchse, w->Chart_T_RF->BottomAxis());

    // Without "U" and "I1-9" the lower chart fills the panel alone.
    w->Kurven->SetChecked(0, false);
    w->Kurven->SetChecked(1, false);
    w->KurvenClickCheck();
    EXPECT_FALSE(w->chart_U_I->isVisible());
    EXPECT_EQ(w->Chart_T_RF->geometry(), QRect(0, 0, w->ChartPanel->width(), panel - 1));
    // Nothing checked: both hidden, the clicked axis stays.
    w->Kurven->SetChecked(2, false);
    w->Kurven->SetChecked(3, false);
    w->KurvenClickCheck();
    EXPECT_FALSE(w->Chart_T_RF->isVisible());
    EXPECT_EQ(w->fKlickAchse, w->Chart_T_RF->BottomAxis());
    // Only the upper chart: it carries the scale now, and follows a resize.
    w->Kurven->SetChecked(0, true);
    w->KurvenClickCheck();
    EXPECT_TRUE(w->chart_U_I->BottomAxis()->Labels());
    w->resize(1000, 700);
    QApplication::processEvents();
    EXPECT_EQ(w->chart_U_I->height(), w->ChartPanel->height() - 1);
    EXPECT_EQ(w->chart_U_I->width(), w->ChartPanel->width());
}

TEST_F(EvaluationWindowTest, SettingsAreWrittenAtCloseAndReadAtTheNextStart)
{
    Select(Active);
    w->Kurven->SetChecked(2, false);
    w->KurvenClickCheck();
    w->fFarbeChart = clWhite;
    w->fFarbeU = clGreen;
    w->fRand = TRect{30, 2, 40, 3};
    w->fZeitstempel = true;
    Stop();

    TMemIniFile file(IniFileName);
    EXPECT_EQ(file.ReadString("Kurven", "Aktiv_T", ""), QStringLiteral("false"));
    EXPECT_EQ(file.ReadString("Kurven", "Aktiv_I1-9", ""), QStringLiteral("true"));
    EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01high", ""), QStringLiteral("50,00"));   // set by the selection
    EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01auto", ""), QStringLiteral("false"));
    EXPECT_EQ(file.ReadString("Chartsettings", "Zeitspempel", ""), QStringLiteral("true"));
    EXPECT_EQ(file.ReadString("Chartsettings", "Rand", ""), QStringLiteral("30,2,40,3"));
    // Keys only read are in the file as well, since reads write their defaults back.
    EXPECT_EQ(file.ReadString("Chartsettings", "StufenAnzeige", ""), QStringLiteral("true"));

    Start();
    EXPECT_FALSE(w->Kurven->Checked(2));
    EXPECT_FALSE(w->Ser_T->Active());
    EXPECT_EQ(w->fFarbeChart, clWhite);
    EXPECT_EQ(w->chart_U_I->Color(), clWhite);
    EXPECT_EQ(w->fFarbeU, clGreen);
    EXPECT_EQ(w->Ser_U->SeriesColor(), clGreen);
    EXPECT_EQ(w->fRand.Left, 30);
    EXPECT_EQ(w->Chart_T_RF->MarginRight(), 40);
    EXPECT_TRUE(w->fZeitstempel);
    // Channels are not kept: every start begins with all on.
    for (int i = 0; i < 9; ++i)
        EXPECT_TRUE(w->Kanaele->Checked(i));
    // With time stamps the series take the time array.
    Select(Active);
    EXPECT_EQ(w->Ser_T->XValues()->Value, w->fWerteZeit);
    EXPECT_TRUE(w->Ser_T->XValues()->DateTime());
}

TEST_F(EvaluationWindowTest, TheMenuItemOpensTheSettingsDialogAndItsCancelExchangesIAndU)
{
    Select(Finished);
    FoSetupCharts = new TFoSetupCharts(w);
    const TColor i = w->fFarbeI, u = w->fFarbeU;
    ASSERT_NE(i, u);
    int applied = 0;
    // First a margin change that shows at once, then cancel.
    QTimer::singleShot(50, [&] {
        FoSetupCharts->EDSLeft->setValue(33);
        QTimer::singleShot(100, [&] {
            applied = w->chart_U_I->MarginLeft() == 33 && w->Chart_T_RF->MarginLeft() == 33;
            FoSetupCharts->BitBtn1->click();
        });
    });
    w->Bearbeiten1->trigger();
    EXPECT_EQ(applied, 1);
    EXPECT_EQ(w->fFarbeI, u);
    EXPECT_EQ(w->fFarbeU, i);
    EXPECT_EQ(w->fRand.Left, 0);   // the margin is taken back

    delete FoSetupCharts;
    FoSetupCharts = nullptr;
}

namespace {
// The plot rectangles of both charts as the window paints them.
std::pair<TRect, TRect> PaintedPlots(TFOOrvexAuswertung* w)
{
    w->grab();
    return {w->chart_U_I->ChartRect(), w->Chart_T_RF->ChartRect()};
}
}

TEST_F(EvaluationWindowTest, BothPlotsShareTheirColumnsInEveryStateAndZoomToOneRange)
{
    w->resize(1600, 1000);
    QApplication::processEvents();
    Select(Active);
    auto sameColumns = [&](const char* state) {
        SCOPED_TRACE(state);
        const auto [upper, lower] = PaintedPlots(w);
        EXPECT_EQ(upper.Left, lower.Left);
        EXPECT_EQ(upper.Right, lower.Right);
        EXPECT_GT(upper.Width(), 500);
    };
    sameColumns("both charts, all curves");
    w->Kurven->SetChecked(0, false);   // no "U": the volt scale loses its labels
    w->KurvenClickCheck();
    sameColumns("without U");
    w->Kurven->SetChecked(0, true);
    w->Kurven->SetChecked(3, false);   // no "rF"
    w->KurvenClickCheck();
    sameColumns("without rF");
    w->Kurven->SetChecked(3, true);
    w->KurvenClickCheck();
    w->togglemode->SetChecked(true);
    ClickChannel(4);
    ClickChannel(4);   // channel 5 alone
    sameColumns("toggle mode, one channel");
    w->Button3->click();   // no channel: the current scale loses its labels
    sameColumns("no channel");
    w->Button4->click();
    w->fRand = TRect{70, 6, 90, 4};
    w->ChartsAktualisieren();
    sameColumns("margins");
    w->resize(1100, 760);
    QApplication::processEvents();
    sameColumns("resized");
    w->resize(1600, 1000);
    QApplication::processEvents();

    // A drag over the same pixels on either chart gives both the very same range;
    // the echo of the coupling stops at the guard.
    int zooms = 0, undos = 0;
    auto zoom = w->chart_U_I->OnZoom, undo = w->chart_U_I->OnUndoZoom;
    w->chart_U_I->OnZoom = [&](TCustomChart* s) { ++zooms; zoom(s); };
    w->chart_U_I->OnUndoZoom = [&](TCustomChart* s) { ++undos; undo(s); };
    const double fullMax = w->Chart_T_RF->BottomAxis()->Maximum();
    for (TChart* dragged : {w->Chart_T_RF, w->chart_U_I}) {
        SCOPED_TRACE(dragged->objectName().toStdString());
        w->chart_U_I->UndoZoom();
        PaintedPlots(w);
        zooms = 0;
        const TRect r = dragged->ChartRect();
        const int y = (r.Top + r.Bottom) / 2;
        const double from = dragged->BottomAxis()->CalcPosPoint(700), to = dragged->BottomAxis()->CalcPosPoint(1000);
        dragged->MouseDown(Qt::LeftButton, Qt::NoModifier, 700, y);
        dragged->MouseMove(Qt::NoModifier, 850, y);
        dragged->MouseMove(Qt::NoModifier, 1000, y);
        dragged->MouseUp(Qt::LeftButton, Qt::NoModifier, 1000, y);
        TChartAxis* upper = w->chart_U_I->BottomAxis();
        TChartAxis* lower = w->Chart_T_RF->BottomAxis();
        ASSERT_TRUE(w->chart_U_I->ZoomedState());
        EXPECT_EQ(upper->Minimum(), lower->Minimum());
        EXPECT_EQ(upper->Maximum(), lower->Maximum());
        EXPECT_EQ(lower->Minimum(), from);
        EXPECT_EQ(lower->Maximum(), to);
        EXPECT_LE(zooms, 1);
        EXPECT_FALSE(w->fZoomLaeuft);
    }
    // Both edges and the zoomed range in one picture, on the lab's white panels.
    w->fFarbeChart = clWhite;
    w->ChartsAktualisieren();
    ASSERT_TRUE(w->grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/zoom_gekoppelt.png")));
    undos = 0;
    w->chart_U_I->UndoZoom();
    EXPECT_EQ(undos, 1);
    EXPECT_DOUBLE_EQ(w->Chart_T_RF->BottomAxis()->Maximum(), fullMax);
    EXPECT_DOUBLE_EQ(w->chart_U_I->BottomAxis()->Maximum(), fullMax);

    // A hidden chart follows as well and shows the zoom when it returns, also after
    // the shown chart was painted without it and with the window's animated zoom.
    w->Kurven->SetChecked(2, false);
    w->Kurven->SetChecked(3, false);
    w->KurvenClickCheck();
    ASSERT_TRUE(w->chart_U_I->Zoom().Animated);
    w->chart_U_I->repaint();
    const TRect u = w->chart_U_I->ChartRect();
    w->chart_U_I->ZoomRect(TRect{u.Left + u.Width() / 2, u.Top + 10, u.Right - 10, u.Bottom - 10});
    w->Kurven->SetChecked(2, true);
    w->Kurven->SetChecked(3, true);
    w->KurvenClickCheck();
    EXPECT_GT(w->Chart_T_RF->BottomAxis()->Minimum(), fullMax / 3);
    EXPECT_DOUBLE_EQ(w->Chart_T_RF->BottomAxis()->Minimum(), w->chart_U_I->BottomAxis()->Minimum());
    EXPECT_DOUBLE_EQ(w->Chart_T_RF->BottomAxis()->Maximum(), w->chart_U_I->BottomAxis()->Maximum());

    // Over calendar time: one day around a midnight, labels on whole hours.
    w->chart_U_I->UndoZoom();
    w->fZeitstempel = true;
    w->fXAchseGeaendert = true;
    w->ChartsAktualisieren();
    // Only the x values were handed over: the currents keep what was worked out of them.
    EXPECT_EQ(w->fSerI[3]->XValues()->Value, w->fWerteZeit);
    EXPECT_TRUE(w->fSerI[3]->XValues()->DateTime());
    EXPECT_FALSE(w->fSerI[3]->YValues()->Modified());
    EXPECT_FALSE(w->Ser_T->YValues()->Modified());
    // The time stamps were walked once, before the frame, and every series took the figures.
    const auto [erster, letzter] = std::minmax_element(w->fWerteZeit->begin(), w->fWerteZeit->end());
    for (TFastLineSeries* s : {w->Ser_U.get(), w->fSerI[3], w->fSerI[9]}) {
        ASSERT_FALSE(s->XValues()->Modified());
        EXPECT_EQ(s->XValues()->MinValue(), *erster);
        EXPECT_EQ(s->XValues()->MaxValue(), *letzter);
        EXPECT_TRUE(s->XValues()->InAscendingOrder());
    }
    PaintedPlots(w);
    TChartAxis* lower = w->Chart_T_RF->BottomAxis();
    const double midnight = std::floor(lower->IMinimum) + 2;
    w->Chart_T_RF->ZoomRect(TRect{lower->CalcPosValue(midnight - 0.55), 0, lower->CalcPosValue(midnight + 0.55), 0});
    const auto [upper, lowerPlot] = PaintedPlots(w);
    EXPECT_EQ(upper.Left, lowerPlot.Left);
    EXPECT_EQ(upper.Right, lowerPlot.Right);
    QStringList labels;
    for (const auto& e : lower->LabelEntries())
        labels << e.Text;
    const QString day = DateTimeToQDateTime(midnight).toString(QStringLiteral("dd.MM"));
    EXPECT_TRUE(labels.contains(day + QStringLiteral(" 00:00"))) << labels.join(u'|').toStdString();
    for (const QString& l : labels)
        EXPECT_TRUE(l.endsWith(QStringLiteral(":00"))) << l.toStdString();
    ASSERT_TRUE(w->grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/zeitstempel_mitternacht.png")));
}
