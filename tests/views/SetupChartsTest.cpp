#include "views/uFoSetupcharts.h"

#include "dbcontrols/TJvOfficeColorButton.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ZELInit.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QImage>
#include <QKeyEvent>
#include <QPushButton>
#include <QTimer>
#include <functional>
#include <vector>

namespace {

// The caller's side: the main window's fields as ChartsBearbeiten sees them.
struct Werte {
    TColor Chart = 0x102030, T = clBlack, I = clRed, U = clBlue, RF = clPurple;
    TRect Rand{5, 3, 7, 2};
    bool Zeitstempel = false;
    bool XGeaendert = false;
    bool operator==(const Werte&) const = default;
};

class SetupChartsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ProgrammEndet = false;
        form = new TFoSetupCharts;
    }
    void TearDown() override
    {
        delete form;
        ProgrammEndet = false;
    }

    // Runs the steps while ChartsBearbeiten polls.
    void Bearbeiten(std::vector<std::function<void()>> steps)
    {
        schritte.Run(form, std::move(steps), [this] {
            form->ChartsBearbeiten([this] { nachher.push_back(w); }, w.Chart, w.T, w.I, w.U, w.RF, w.Rand,
                                   w.Zeitstempel, w.XGeaendert);
        });
        EXPECT_FALSE(form->isVisible());
    }

    TFoSetupCharts* form = nullptr;
    TModalSteps schritte{10000, [this] { form->hide(); }};
    Werte w;
    std::vector<Werte> nachher; // the caller's values at each call of Nachher
};

} // namespace

TEST_F(SetupChartsTest, OpensOverTheCallersValuesWithoutApplyingDrawsThemAndOkKeepsThem)
{
    w.I = 0x00A5FF; // orange
    w.Zeitstempel = true;
    const Werte vorher = w;
    QImage bild;
    Bearbeiten({[&] {
                    bild = form->grab().toImage();
                    EXPECT_TRUE(form->isVisible());
                    EXPECT_EQ(form->windowTitle(), "Charteinstellungen");
                    EXPECT_EQ(form->size(), QSize(279, 190));
                    EXPECT_TRUE(form->windowFlags() & Qt::Tool);
                    EXPECT_FALSE(form->windowFlags() & Qt::WindowCloseButtonHint);
                    EXPECT_EQ(form->EDSLeft->IntValue(), 5);
                    EXPECT_EQ(form->EDSTop->IntValue(), 3);
                    EXPECT_EQ(form->EDSRight->IntValue(), 7);
                    EXPECT_EQ(form->EDSBottom->IntValue(), 2);
                    EXPECT_EQ(form->EdCol_Chart->SelectedColor(), 0x102030);
                    EXPECT_EQ(form->EdCol_Temp->SelectedColor(), clBlack);
                    EXPECT_EQ(form->EdCol_I->SelectedColor(), 0x00A5FF);
                    EXPECT_EQ(form->edCol_U->SelectedColor(), clBlue);
                    EXPECT_EQ(form->EdCol_RF->SelectedColor(), clPurple);
                    EXPECT_TRUE(form->EDZT->Checked());
                    EXPECT_FALSE(form->fGeaendert);
                    EXPECT_FALSE(form->fZeitGeaendert);
                    EXPECT_EQ(form->ModalResult(), 0);
                },
                [&] { form->BitBtn2->click(); }});
    EXPECT_EQ(form->ModalResult(), 1);
    EXPECT_TRUE(nachher.empty()) << "filling the controls counted as a change";
    EXPECT_EQ(w, vorher);
    ASSERT_EQ(bild.size(), QSize(279, 190) * bild.devicePixelRatio());
    // Middle of the swatch on the colour button of I.
    const QPoint mitte = form->EdCol_I->geometry().topLeft() + QPoint(10, 11);
    EXPECT_EQ(bild.pixelColor(mitte), QColor(255, 165, 0));
    bild.save(QStringLiteral(VIEWS_PICTURE_DIR "/SetupCharts.png"));
}

TEST_F(SetupChartsTest, EachChangeReachesTheCallerBeforeNachherAndOkKeepsIt)
{
    Bearbeiten({[&] { form->EDSLeft->SetIntValue(40); },
                [&] {
                    ASSERT_EQ(nachher.size(), 1u);
                    EXPECT_EQ(nachher[0].Rand, (TRect{40, 3, 7, 2}));
                    form->EdCol_I->SetSelectedColor(clGreen);
                    form->EdCol_Chart->SetSelectedColor(clWhite);
                },
                [&] {
                    // Two changes between two turns are one apply.
                    ASSERT_EQ(nachher.size(), 2u);
                    EXPECT_EQ(nachher[1].I, clGreen);
                    EXPECT_EQ(nachher[1].Chart, clWhite);
                    EXPECT_EQ(nachher[1].U, clBlue);
                    EXPECT_FALSE(nachher[1].XGeaendert);
                    // Out-of-range input ends at the control's limit.
                    form->EDSTop->SetIntValue(99);
                    form->EDSRight->SetIntValue(-4);
                    form->edCol_U->SetSelectedColor(clYellow);
                    form->EdCol_Temp->SetSelectedColor(clMaroon);
                    form->EdCol_RF->SetSelectedColor(clTeal);
                    form->EDSBottom->SetIntValue(11);
                },
                [&] {
                    // The kind of the x axis is reported only when toggled.
                    ASSERT_EQ(nachher.size(), 3u);
                    EXPECT_EQ(nachher[2].Rand, (TRect{40, 20, 0, 11}));
                    EXPECT_FALSE(nachher[2].XGeaendert);
                    form->EDZT->click();
                },
                [&] {
                    ASSERT_EQ(nachher.size(), 4u);
                    EXPECT_TRUE(nachher[3].XGeaendert);
                    EXPECT_TRUE(nachher[3].Zeitstempel);
                    EXPECT_FALSE(form->fZeitGeaendert);
                    form->EDZT->click();
                },
                [&] {
                    ASSERT_EQ(nachher.size(), 5u);
                    EXPECT_FALSE(nachher[4].Zeitstempel);
                    form->EDZT->click();
                },
                [&] { form->BitBtn2->click(); }});
    Werte erwartet;
    erwartet.Zeitstempel = true;
    erwartet.XGeaendert = true;
    erwartet.Rand = {40, 20, 0, 11};
    erwartet.I = clGreen;
    erwartet.U = clYellow;
    erwartet.Chart = clWhite;
    erwartet.T = clMaroon;
    erwartet.RF = clTeal;
    EXPECT_EQ(w, erwartet);
}

TEST_F(SetupChartsTest, CancelRestoresAndExchangesIAndU)
{
    // Right after opening, without any change.
    Bearbeiten({[&] { form->BitBtn1->click(); }});
    EXPECT_EQ(form->ModalResult(), 2);
    EXPECT_TRUE(nachher.empty());
    Werte erwartet;
    erwartet.I = clBlue;
    erwartet.U = clRed;
    EXPECT_EQ(w, erwartet);

    // After applied changes of everything: the kept values come back, I and U
    // exchanged, while the report of a changed X axis stays.
    w = Werte{};
    Bearbeiten({[&] {
                    form->EDSLeft->SetIntValue(60);
                    form->EDSTop->SetIntValue(1);
                    form->EDSRight->SetIntValue(60);
                    form->EDSBottom->SetIntValue(9);
                    form->EdCol_Chart->SetSelectedColor(clWhite);
                    form->EdCol_Temp->SetSelectedColor(clGray);
                    form->EdCol_I->SetSelectedColor(clAqua);
                    form->edCol_U->SetSelectedColor(clNavy);
                    form->EdCol_RF->SetSelectedColor(clOlive);
                    form->EDZT->SetChecked(true);
                },
                [&] {
                    ASSERT_EQ(nachher.size(), 1u);
                    EXPECT_EQ(w.I, clAqua);
                    EXPECT_TRUE(w.Zeitstempel);
                    form->BitBtn1->click();
                }});
    erwartet.XGeaendert = true;
    EXPECT_EQ(w, erwartet);
    EXPECT_EQ(nachher.size(), 1u) << "Nachher runs again after cancel";
}

TEST_F(SetupChartsTest, EveryWayOfHidingEndsTheLoopAndOnlyOkKeeps)
{
    struct Weg {
        const char* name;
        std::function<void(TFoSetupCharts*)> schliessen;
    };
    const std::vector<Weg> wege = {
        {"Escape",
         [](TFoSetupCharts* f) {
             QKeyEvent esc(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
             QApplication::sendEvent(f->EDSLeft, &esc);
         }},
        {"close", [](TFoSetupCharts* f) { f->close(); }},
        {"hide", [](TFoSetupCharts* f) { f->hide(); }},
        {"Enter", [](TFoSetupCharts* f) {
             QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
             QApplication::sendEvent(f->EDZT, &enter);
         }},
    };
    // An OK first leaves a result of 1 behind; each new session starts afresh.
    Bearbeiten({[&] { form->BitBtn2->click(); }});
    ASSERT_EQ(form->ModalResult(), 1);
    for (const Weg& weg : wege) {
        SCOPED_TRACE(weg.name);
        w = Werte{};
        Bearbeiten({[&] { form->EDSBottom->SetIntValue(17); },
                    [&] {
                        EXPECT_EQ(w.Rand.Bottom, 17);
                        weg.schliessen(form);
                    }});
        const bool ok = std::string(weg.name) == "Enter";
        EXPECT_EQ(form->ModalResult(), ok ? 1 : std::string(weg.name) == "hide" ? 0 : 2);
        EXPECT_EQ(w.Rand.Bottom, ok ? 17 : 2);
        EXPECT_EQ(w.I, ok ? clRed : clBlue);
    }
}

TEST_F(SetupChartsTest, QuittingOrTheOrderlyEndLeavesTheLoop)
{
    // Quit while the dialog polls inside a handler of the application's loop: the
    // poll must end, or exec could never return.
    bool zurueck = false;
    QTimer::singleShot(0, form, [&] {
        QTimer::singleShot(20, [] { QCoreApplication::quit(); });
        form->ChartsBearbeiten({}, w.Chart, w.T, w.I, w.U, w.RF, w.Rand, w.Zeitstempel, w.XGeaendert);
        zurueck = true;
    });
    QTimer notbremse;
    notbremse.setSingleShot(true);
    QObject::connect(&notbremse, &QTimer::timeout, [&] {
        ADD_FAILURE() << "quit did not end the dialog";
        form->hide();
    });
    notbremse.start(10000);
    QApplication::exec();
    notbremse.stop();
    EXPECT_TRUE(zurueck);
    EXPECT_FALSE(form->isVisible());
    EXPECT_EQ(w.I, clBlue) << "leaving without OK restores";

    w = Werte{};
    Bearbeiten({[&] { ProgrammEndet = true; }});
    EXPECT_EQ(w.I, clBlue);
}

TEST_F(SetupChartsTest, AskingAgainWhileOpenLeavesTheSecondCallersValuesAlone)
{
    Werte zweiter;
    zweiter.Rand = {9, 9, 9, 9};
    Bearbeiten({[&] {
                    // Returns at once: the dialog is already running.
                    form->ChartsBearbeiten({}, zweiter.Chart, zweiter.T, zweiter.I, zweiter.U, zweiter.RF,
                                           zweiter.Rand, zweiter.Zeitstempel, zweiter.XGeaendert);
                    EXPECT_TRUE(form->isVisible());
                    EXPECT_EQ(form->EDSLeft->IntValue(), 5);
                },
                [&] { form->BitBtn1->click(); }});
    EXPECT_EQ(zweiter, (Werte{.Rand = {9, 9, 9, 9}}));
    EXPECT_EQ(w.I, clBlue) << "exchanged exactly once";
    EXPECT_EQ(w.U, clRed);
}
