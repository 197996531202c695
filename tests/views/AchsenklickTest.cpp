// Axis clicks in the evaluation window over a real demo database: where the axis
// dialog opens, what a right click does, bottom-axis edits reaching both charts,
// the stored axes after each closing, and the chart double click.

#include "views/uFoSetupAx.h"
#include "chart/ChartEditor.h"
#include "chart/ChartExport.h"

#include "dbcontrols/TJvColorComboBox.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/MemIniFile.h"
#include "frame/ZELColor.h"

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QMenu>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QPushButton>
#include <QScreen>
#include <optional>
#include <QTest>
#include <QTimer>

namespace {
const QString Finished = QStringLiteral("HTRB-2026-017");
const QString Active = QStringLiteral("H3TRB 2026/021");

class AchsenklickTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { data = std::make_unique<TDemoDatabase>(); }
    static void TearDownTestSuite() { data.reset(); }

    void SetUp() override
    {
        state.emplace(ini.path(), data->Folder());
        // The demo's look: white panels and room for the scales.
        WriteIniColor(QStringLiteral("ChartSettings"), QStringLiteral("Farbe_Chart"), clWhite);
        WriteIniRect(QStringLiteral("Chartsettings"), QStringLiteral("Rand"), TRect{70, 6, 70, 4});
        Start();
    }
    void TearDown() override
    {
        Stop();
        state.reset();
    }
    // The start sequence, the axis dialog after the main window.
    void Start()
    {
        ProgrammEndet = false;
        w = new TFOOrvexAuswertung;
        FoSetupAx = new TFoSetupAx(w);
        DMorvex = std::make_unique<TDMorvex>();
        w->DatenquellenZuordnen();
        DMorvex->DataModuleCreate();
        w->resize(1200, 800);
        w->show();
        w->move(0, 0);
        QApplication::processEvents();
    }
    void Stop()
    {
        if (!w)
            return;
        EndProgram(w);
        EXPECT_EQ(FoSetupAx, nullptr);   // the dialog went with the window
    }
    void Select(const QString& nr) { ASSERT_TRUE(w->VersuchWaehlen(nr)) << nr.toStdString(); }

    // A point on the axis' labels, half way along it, in chart pixels.
    static QPoint AufAchse(TChartAxis* a)
    {
        const int mid = (a->IStartPos + a->IEndPos) / 2;
        const int across = (a->PosAxis + a->PosLabels) / 2;
        return a->Horizontal() ? QPoint(mid, across) : QPoint(across, mid);
    }
    // Clicks the axis with the left button and runs the steps while the dialog is open.
    void Klicken(TChart* chart, const QPoint& p, std::vector<std::function<void()>> steps)
    {
        schritte.Run(w, std::move(steps), [&] { QTest::mouseClick(chart, Qt::LeftButton, {}, p); });
        EXPECT_FALSE(FoSetupAx->isVisible());
    }
    static void Tippen(QWidget* feld, const QString& text)
    {
        feld->setFocus();
        static_cast<QLineEdit*>(feld)->selectAll();
        QTest::keyClicks(feld, text);
    }
    // The window with the dialog where it stands on the screen, as a user sees both.
    QImage Bildschirm() const
    {
        QImage img = w->grab().toImage();
        QPainter p(&img);
        p.drawPixmap(FoSetupAx->pos() - w->pos(), FoSetupAx->grab());
        p.setPen(QPen(Qt::darkGray, 1));
        p.drawRect(QRect(FoSetupAx->pos() - w->pos(), FoSetupAx->size()).adjusted(-1, -1, 0, 0));
        return img;
    }

    static inline std::unique_ptr<TDemoDatabase> data;
    QTemporaryDir ini;
    std::optional<TProgramState> state;
    TFOOrvexAuswertung* w = nullptr;
    TModalSteps schritte{30000, [] {
        if (FoSetupAx)
            FoSetupAx->hide();
    }};
};
}

TEST_F(AchsenklickTest, LeftClickOpensTheDialogBesideTheAxisWithinTheScreenAndRightClickOnlyRemembers)
{
    Select(Finished);
    TChart* chart = w->chart_U_I;
    chart->RenderImage();
    TChartAxis* links = w->fAchsen[1];
    TChartAxis* rechts = w->fAchsen[2];
    const QPoint pl = AufAchse(links), pr = AufAchse(rechts);
    // The chart finds its own vertical scales, not the fixed axes on the same sides.
    TChartClickResult click = chart->CalcClickResult(pl, true);
    EXPECT_EQ(click.ClickedArea, caAxis);
    EXPECT_EQ(click.AAxis, links);
    click = chart->CalcClickResult(pr, true);
    EXPECT_EQ(click.ClickedArea, caAxis);
    EXPECT_EQ(click.AAxis, rechts);

    // Right: remembered, nothing opens.
    w->fKlickAchse = nullptr;
    w->fKlickChart = nullptr;
    QTest::mouseClick(chart, Qt::RightButton, {}, pr);
    if (w->PopupMenu1->isVisible())
        w->PopupMenu1->hide();
    EXPECT_EQ(w->fKlickAchse, rechts);
    EXPECT_EQ(w->fKlickChart, chart);
    EXPECT_FALSE(FoSetupAx->isVisible());

    // Left on the left scale: to the right of the click, at its height. The place
    // is reckoned from the window's outer corner, as the dialog's own is.
    const QPoint rahmen = w->geometry().topLeft() - w->pos();
    const QPoint gl = chart->mapToGlobal(pl) - rahmen;
    Klicken(chart, pl,
            {[&] {
                 EXPECT_TRUE(FoSetupAx->isVisible());
                 EXPECT_EQ(FoSetupAx->fAchse, links);
                 EXPECT_EQ(FoSetupAx->windowTitle(), "[µA]");
                 EXPECT_EQ(FoSetupAx->x(), gl.x() + 20);
                 EXPECT_EQ(FoSetupAx->y(), gl.y());
                 Bildschirm().save(QStringLiteral(VIEWS_PICTURE_DIR "/achsenklick_links.png"));
             },
             [&] { FoSetupAx->BitBtn2->click(); }});
    EXPECT_EQ(w->fKlickAchse, links);
    // The press went to the dialog: the chart does not begin a zoom from it.
    EXPECT_FALSE(chart->Zoom().Active);
    QTest::mouseMove(chart, QPoint(pl.x() + 300, pl.y()));
    EXPECT_FALSE(chart->ZoomedState());

    // Left on the right scale: to the left of the click.
    const QPoint gr = chart->mapToGlobal(pr) - rahmen;
    Klicken(chart, pr,
            {[&] {
                 EXPECT_EQ(FoSetupAx->fAchse, rechts);
                 EXPECT_EQ(FoSetupAx->windowTitle(), "[V]");
                 EXPECT_EQ(FoSetupAx->x() + FoSetupAx->frameGeometry().width(), gr.x() - 10);
                 EXPECT_EQ(FoSetupAx->y(), gr.y());
                 Bildschirm().save(QStringLiteral(VIEWS_PICTURE_DIR "/achsenklick_rechts.png"));
             },
             [&] { FoSetupAx->close(); }});
    // Vertical scales are not tied to anything after the dialog.
    EXPECT_EQ(FoSetupAx->fNachher, nullptr);

    // Near the lower screen edge the dialog moves up to 20 pixels above it.
    TChart* unten = w->Chart_T_RF;
    unten->RenderImage();
    TChartAxis* a = w->fAchsen[3];
    const int screenBottom = unten->screen()->geometry().bottom() + 1;
    // Low on the scale of the lower chart, and the window moved down as far as needed.
    const QPoint p(AufAchse(a).x(), a->IEndPos - 5);
    w->move(0, screenBottom - 100 - unten->mapTo(w, p).y());
    QApplication::processEvents();
    ASSERT_GT(unten->mapToGlobal(p).y() + FoSetupAx->height(), screenBottom - 20);
    Klicken(unten, p,
            {[&] {
                 EXPECT_EQ(FoSetupAx->fAchse, a);
                 EXPECT_EQ(FoSetupAx->y() + FoSetupAx->frameGeometry().height(), screenBottom - 20);
                 EXPECT_EQ(FoSetupAx->x(), unten->mapToGlobal(p).x() - (w->geometry().x() - w->x()) + 20);
             },
             [&] { FoSetupAx->close(); }});

    // The window closed by the system while the dialog is open: the dialog goes
    // too, and the settings are written.
    Klicken(chart, pl, {[&] { Tippen(FoSetupAx->EdHigh, QStringLiteral("30")); }, [&] { w->close(); }});
    EXPECT_FALSE(w->isVisible());
    TMemIniFile file(IniFileName);
    EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01high", ""), QStringLiteral("100,00"));
}

TEST_F(AchsenklickTest, ABottomAxisEditReachesBothChartsWhileItsColourStaysOnTheClickedOne)
{
    Select(Finished);
    TChart* unten = w->Chart_T_RF;
    unten->RenderImage();
    TChartAxis* b = unten->BottomAxis();
    TChartAxis* oben = w->chart_U_I->BottomAxis();
    const TColor obenFarbe = oben->Title().Font().Color();
    ASSERT_NE(obenFarbe, clRed);
    Klicken(unten, AufAchse(b),
            {[&] {
                 EXPECT_EQ(FoSetupAx->fAchse, b);
                 Tippen(FoSetupAx->EdNull, QStringLiteral("10"));
                 Tippen(FoSetupAx->EdHigh, QStringLiteral("50"));
                 FoSetupAx->EDPosU->SetIntValue(95);
                 ASSERT_TRUE(QTest::qWaitFor([&] { return oben->Minimum() == 10 && oben->Maximum() == 50; }, 10000));
                 for (TChartAxis* x : {b, oben}) {
                     EXPECT_FALSE(x->Automatic());
                     EXPECT_DOUBLE_EQ(x->Minimum(), 10);
                     EXPECT_DOUBLE_EQ(x->Maximum(), 50);
                     EXPECT_DOUBLE_EQ(x->EndPosition(), 95);
                 }
             },
             [&] {
                 FoSetupAx->EDColor->SetColorValue(clRed);
                 ASSERT_TRUE(QTest::qWaitFor([&] { return b->Title().Font().Color() == clRed; }, 10000));
                 EXPECT_EQ(b->Axis().Color(), clRed);
                 EXPECT_EQ(oben->Title().Font().Color(), obenFarbe);
                 EXPECT_NE(oben->Axis().Color(), clRed);
             },
             [&] { FoSetupAx->close(); }});
    // After the dialog: a range of the time axis is no stored setting.
    TMemIniFile file(IniFileName);
    EXPECT_FALSE(file.ReadString("Chartsettings", "Axis_05high", "").size());
    EXPECT_NE(file.ReadString("Chartsettings", "Axis_03high", ""), QStringLiteral("50,00"));

    // Only a bottom axis of one of the two charts is carried over.
    b->SetMinMax(0, 7);
    w->fKlickAchse = w->fAchsen[1];
    w->XAchseUebernehmen();
    w->fKlickAchse = b;
    w->fKlickChart = nullptr;
    w->XAchseUebernehmen();
    EXPECT_DOUBLE_EQ(oben->Maximum(), 50);
    // An automatic bottom axis takes the range of its curves on both charts.
    w->fKlickChart = unten;
    b->SetAutomatic(true);
    w->XAchseUebernehmen();
    EXPECT_TRUE(oben->Automatic());
    EXPECT_GT(oben->Maximum(), 50);
    EXPECT_DOUBLE_EQ(oben->Maximum(), b->Maximum());
}

TEST_F(AchsenklickTest, EachClosingWritesTheFourAxesAndTheNextStartReadsThem)
{
    TChart* chart = w->chart_U_I;
    chart->RenderImage();
    // The voltage scale before any run: new range, title and colour.
    Klicken(chart, AufAchse(w->fAchsen[2]),
            {[&] {
                 Tippen(FoSetupAx->EdHigh, QStringLiteral("800"));
                 FoSetupAx->EdTitle->SetText(QStringLiteral("kV"));
                 FoSetupAx->EDColor->SetColorValue(clGreen);
                 ASSERT_TRUE(QTest::qWaitFor([&] { return w->fAchsen[2]->Title().Font().Color() == clGreen; }, 10000));
             },
             [&] { FoSetupAx->BitBtn2->click(); }});
    {
        TMemIniFile file(IniFileName);
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_02high", ""), QStringLiteral("800,00"));
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_02Title", ""), QStringLiteral("kV"));
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_02Color", ""), ColorToString(clGreen));
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_02auto", ""), QStringLiteral("false"));
    }

    // The current scale of a run narrowed to 0-2 µA: the nine curves stand apart.
    Select(Finished);
    chart->RenderImage();
    Klicken(chart, AufAchse(w->fAchsen[1]),
            {[&] {
                 Tippen(FoSetupAx->EdHigh, QStringLiteral("2"));
                 FoSetupAx->EDInc->SetValue(0.2);
                 ASSERT_TRUE(QTest::qWaitFor([&] { return w->fAchsen[1]->Maximum() == 2; }, 10000));
             },
             [&] { FoSetupAx->close(); }});
    w->grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/strom_0_2.png"));
    const QImage bild = chart->RenderImage();
    // The current curves in different rows of the plot: count the rows on one
    // column that hold a curve's colour. On the run's own 0-100 µA scale all nine
    // lie in one or two rows at the foot; devices with near currents may still
    // touch at 0-2 µA, so five bands show the narrowed scale.
    {
        TMemIniFile file(IniFileName);
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01high", ""), QStringLiteral("2,00"));
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01low", ""), QStringLiteral("0,00"));
        EXPECT_EQ(file.ReadString("Chartsettings", "Axis_01ticks", ""), QStringLiteral("0,20"));
    }
    const TRect& r = chart->ChartRect();
    int kurven = 0;
    bool inKurve = false;
    const int x = r.Left + r.Width() * 3 / 4;
    for (int y = r.Top; y < r.Bottom; ++y) {
        const QColor c = bild.pixelColor(x, y);
        const bool farbig = c.saturation() > 80 && c.value() > 60;
        if (farbig && !inKurve)
            ++kurven;
        inKurve = farbig;
    }
    EXPECT_GE(kurven, 5);

    // The next start reads what the last closing wrote.
    Stop();
    Start();
    EXPECT_DOUBLE_EQ(w->fAchsen[2]->Maximum(), 800);
    EXPECT_EQ(w->fAchsen[2]->Title().Caption(), "[kV]");
    EXPECT_EQ(w->fAchsen[2]->Title().Font().Color(), clGreen);
    EXPECT_EQ(w->fAchsen[2]->LabelsFont().Color(), clGreen);
    EXPECT_DOUBLE_EQ(w->fAchsen[1]->Maximum(), 2);
    EXPECT_DOUBLE_EQ(w->fAchsen[1]->Increment(), 0.2);
}

TEST_F(AchsenklickTest, DoubleClickLocksTheChartHandsItToTheEditorAndAllowsZoomAgain)
{
    Select(Finished);
    TChart* chart = w->Chart_T_RF;
    chart->RenderImage();
    const TRect& r = chart->ChartRect();
    const QPoint mitte((r.Left + r.Right) / 2, (r.Top + r.Bottom) / 2);
    // The window's own editor opens in German over the clicked chart, without the
    // five hidden sheets and with the run in the header of its pages.
    chart->Zoom().Allow = false;
    bool gesehen = false;
    w->ChartEditor->OnShow = [&](TChartEditForm* f) {
        QTimer::singleShot(0, f, [&, f] {
            gesehen = true;
            EXPECT_EQ(f->Chart(), chart);
            EXPECT_EQ(f->windowTitle(), "Diagramm bearbeiten");
            EXPECT_FALSE(f->TabShown(cetLegend));
            EXPECT_FALSE(f->TabShown(cet3D));
            EXPECT_TRUE(f->TabShown(cetAxis));
            EXPECT_TRUE(f->HeaderText.startsWith(QStringLiteral("Versuch ") + AktVersuch->Versuchsnr));
            // The window's chart, its own axes included, as the editor writes it to PDF:
            // every curve with rows shows on the page in its colour.
            QString error;
            const QString pdf = ini.filePath(QStringLiteral("Diagramm.pdf"));
            EXPECT_TRUE(ChartExportPDF(f->Chart(), pdf, f->HeaderText, error)) << error.toStdString();
            const QString seite = QStringLiteral(VIEWS_PICTURE_DIR "/editor_demo_pdf");   // for a person to look at
            QFile::remove(seite + QStringLiteral(".png"));
            EXPECT_EQ(QProcess::execute(QStandardPaths::findExecutable(QStringLiteral("pdftoppm")),
                                        {QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("60"),
                                         QStringLiteral("-singlefile"), pdf, seite}),
                      0);
            const QImage bild(seite + QStringLiteral(".png"));
            ASSERT_FALSE(bild.isNull());
            EXPECT_GT(bild.width(), bild.height());
            for (int i = 0; i < chart->SeriesCount(); ++i) {
                TChartSeries* s = chart->Series(i);
                if (!s->Active() || s->Count() == 0)
                    continue;
                const QColor farbe = ColorToQColor(s->SeriesColor());
                int punkte = 0;
                for (int y = 0; y < bild.height(); ++y)
                    for (int x = 0; x < bild.width(); ++x) {
                        const QColor c = bild.pixelColor(x, y);
                        punkte += std::abs(c.red() - farbe.red()) + std::abs(c.green() - farbe.green()) +
                                      std::abs(c.blue() - farbe.blue()) < 60;
                    }
                EXPECT_GT(punkte, 50) << s->Title().toStdString();
            }
            f->reject();
        });
    };
    QTest::mouseDClick(chart, Qt::LeftButton, {}, mitte);
    EXPECT_TRUE(gesehen);
    EXPECT_TRUE(chart->Locked);
    EXPECT_TRUE(chart->Zoom().Allow);
    EXPECT_FALSE(FoSetupAx->isVisible());

    std::vector<TCustomChart*> bearbeitet;
    bool erlaubtWaehrend = true;
    w->ChartEditorAusfuehren = [&](TCustomChart* c) {
        bearbeitet.push_back(c);
        erlaubtWaehrend = c->Zoom().Allow;
    };
    w->chart_U_I->Zoom().Allow = false;
    w->chart_U_I->RenderImage();
    const TRect& o = w->chart_U_I->ChartRect();
    QTest::mouseDClick(w->chart_U_I, Qt::LeftButton, {}, QPoint((o.Left + o.Right) / 2, (o.Top + o.Bottom) / 2));
    ASSERT_EQ(bearbeitet.size(), 1u);
    EXPECT_EQ(bearbeitet[0], w->chart_U_I);
    EXPECT_FALSE(erlaubtWaehrend);   // allowed again only once the editor is closed
    EXPECT_TRUE(w->chart_U_I->Zoom().Allow);
    EXPECT_TRUE(w->chart_U_I->Locked);
}
