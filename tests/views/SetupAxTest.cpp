// The axis dialog over an axis of its own chart: what opening shows and changes,
// the half second between the last input and the write, "automatisch" for one
// round, and the coupled sliders and numbers.

#include "views/uFoSetupAx.h"

#include "chart/Chart.h"
#include "chart/Series.h"
#include "dbcontrols/AdvTrackBar.h"
#include "dbcontrols/TJvColorComboBox.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ThdTimer.h"
#include "frame/ZELBase.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <functional>

namespace {

class SetupAxTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        savedDecimal = FormatSettings.DecimalSeparator;
        FormatSettings.DecimalSeparator = u',';
        chart.resize(500, 400);
        chart.SetView3D(false);
        chart.Legend().SetVisible(false);
        achse = chart.CustomAxes().Add();
        achse->Title().SetCaption(QStringLiteral("[µA]"));
        achse->Title().Font().SetColor(clRed);
        achse->SetAxisValuesFormat(QStringLiteral("###0.0"));
        achse->SetMinMax(20, 50);
        achse->SetIncrement(5);
        achse->SetStartPosition(5);
        achse->SetEndPosition(95);
        // A curve from 3 to 17 on the axis: what "automatisch" finds.
        serie.SetVertAxis(aCustomVertAxis);
        serie.SetCustomVertAxis(achse);
        for (int i = 0; i <= 14; ++i)
            serie.AddXY(i, 3 + i);
        chart.AddSeries(&serie);
        chart.RenderImage();
        form = new TFoSetupAx;
    }
    void TearDown() override
    {
        delete form;
        chart.RemoveSeries(&serie);
        FormatSettings.DecimalSeparator = savedDecimal;
    }

    // Opens the dialog on the axis and runs the steps inside its modal loop.
    void Bearbeiten(std::vector<std::function<void()>> steps)
    {
        const std::function<void()> nachher = [this] {
            ++geschrieben;
            seitAenderung.push_back(letzteAenderung.isValid() ? letzteAenderung.elapsed() : -1);
        };
        schritte.Run(form, std::move(steps), [&] {
            letzteAenderung.start();
            form->AchseBearbeiten(nachher, achse, 40, 30);
        });
        EXPECT_FALSE(form->isVisible());
    }
    // Waits for the next write, generously: the timer's half second is a lower bound only.
    bool WarteAufSchreiben(int n) { return QTest::qWaitFor([&] { return geschrieben >= n; }, 10000); }
    // Types into a number field as the user does. The clock starts before the
    // input, so that it never shows less than the dialog waited.
    void Tippen(QWidget* feld, const QString& text)
    {
        letzteAenderung.start();
        feld->setFocus();
        static_cast<QLineEdit*>(feld)->selectAll();
        QTest::keyClicks(feld, text);
    }

    TChart chart;
    TFastLineSeries serie;
    TChartAxis* achse = nullptr;
    TFoSetupAx* form = nullptr;
    TModalSteps schritte{20000, [this] { form->hide(); }};
    int geschrieben = 0;
    std::vector<qint64> seitAenderung;   // milliseconds from the last input to each write
    QElapsedTimer letzteAenderung;
    QChar savedDecimal;
};

TEST_F(SetupAxTest, OpensOnTheAxisWhereAskedDrawsItsControlsAndOnlyCloses)
{
    Bearbeiten({[&] {
                    EXPECT_TRUE(form->isVisible());
                    EXPECT_TRUE(form->isModal());
                    EXPECT_EQ(form->size(), QSize(268, 238));
                    EXPECT_TRUE(form->windowFlags() & Qt::Tool);
                    EXPECT_EQ(form->pos(), QPoint(40, 30));
                    EXPECT_EQ(form->windowTitle(), "[µA]");
                    EXPECT_EQ(form->EdTitle->Text(), "[µA]");
                    EXPECT_EQ(form->EdForm->Text(), "###0.0");
                    // The format of the axis is the format of both limits.
                    EXPECT_EQ(form->EdNull->DisplayFormat(), "###0.0");
                    EXPECT_EQ(form->EdHigh->DisplayFormat(), "###0.0");
                    EXPECT_EQ(form->EDInc->DisplayFormat(), ",0.00");
                    EXPECT_EQ(form->EdNull->Value(), 20);
                    EXPECT_EQ(form->EdHigh->Value(), 50);
                    EXPECT_EQ(form->EdHigh->text(), "50,0");
                    EXPECT_EQ(form->EDInc->Value(), 5);
                    EXPECT_EQ(form->EDColor->ColorValue(), clRed);
                    EXPECT_FALSE(form->Checkauto->Checked());
                    EXPECT_EQ(form->EDPosO->IntValue(), 5);
                    EXPECT_EQ(form->EDPosU->IntValue(), 95);
                    // Percent of the height, counted from the bottom.
                    EXPECT_EQ(form->EDSkalenPos->PositionLeft(), 5);
                    EXPECT_EQ(form->EDSkalenPos->PositionRight(), 95);
                    // Twice the upper limit; the lower limit 20 came before the
                    // upper one and passed the old right thumb: it was dropped.
                    EXPECT_EQ(form->EDSkalenwerte->Min(), 0);
                    EXPECT_EQ(form->EDSkalenwerte->Max(), 100);
                    EXPECT_EQ(form->EDSkalenwerte->PositionLeft(), 0);
                    EXPECT_EQ(form->EDSkalenwerte->PositionRight(), 50);
                    EXPECT_FALSE(form->fLaedt);
                    EXPECT_FALSE(form->fWertSperre);
                    EXPECT_FALSE(form->fPosSperre);
                    EXPECT_EQ(form->fAchse, achse);
                    EXPECT_EQ(form->BitBtn2->text(), "   zurück");
                    QImage img = form->grab().toImage();
                    img.save(QStringLiteral(VIEWS_PICTURE_DIR "/achsendialog.png"));
                    // The value slider shows its range in its own colour.
                    const QRect r = form->EDSkalenwerte->geometry();
                    bool range = false;
                    for (int y = r.top(); y <= r.bottom() && !range; ++y)
                        range = img.pixelColor(r.center().x(), y) == form->EDSkalenwerte->Slider.Range;
                    EXPECT_TRUE(range);
                    // No control reaches beyond the dialog or over another one.
                    const QList<QWidget*> controls = form->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
                    for (QWidget* c : controls) {
                        EXPECT_TRUE(form->rect().contains(c->geometry())) << c->objectName().toStdString();
                        for (QWidget* d : controls) {
                            if (c != d && !qobject_cast<QLabel*>(c) && !qobject_cast<QLabel*>(d)) {
                                EXPECT_FALSE(c->geometry().intersects(d->geometry()))
                                    << c->objectName().toStdString() << " / " << d->objectName().toStdString();
                            }
                        }
                    }
                },
                [&] { form->BitBtn2->click(); }});
    // Nothing was changed, and the dialog left before its first write.
    EXPECT_EQ(geschrieben, 0);
    EXPECT_DOUBLE_EQ(achse->Minimum(), 20);
    EXPECT_DOUBLE_EQ(achse->Maximum(), 50);
    EXPECT_EQ(achse->Title().Caption(), "[µA]");

    // A step of 0 is replaced by the axis' own on opening, even with no input.
    achse->SetIncrement(0);
    const double eigene = achse->CalcIncrement();
    ASSERT_GT(eigene, 0);
    Bearbeiten({[&] { EXPECT_DOUBLE_EQ(form->EDInc->Value(), eigene); }, [&] { form->close(); }});
    EXPECT_DOUBLE_EQ(achse->Increment(), eigene);
    // Escape closes as well.
    Bearbeiten({[&] { QTest::keyClick(form, Qt::Key_Escape); }});
}

TEST_F(SetupAxTest, WritesHalfASecondAfterTheLastInputAndAgainAfterTheNext)
{
    Bearbeiten({// Filling the fields counts as input: the opening values are written once.
                [&] {
                    ASSERT_TRUE(WarteAufSchreiben(1));
                    EXPECT_GE(seitAenderung.back(), 500);
                    EXPECT_DOUBLE_EQ(achse->Maximum(), 50);
                },
                // A typed upper limit: not at once, but after half a second.
                [&] {
                    Tippen(form->EdHigh, QStringLiteral("80"));
                    EXPECT_DOUBLE_EQ(achse->Maximum(), 50);
                    ASSERT_TRUE(WarteAufSchreiben(2));
                    EXPECT_GE(seitAenderung.back(), 500);
                    EXPECT_DOUBLE_EQ(achse->Maximum(), 80);
                    EXPECT_EQ(form->EDSkalenwerte->PositionRight(), 80);
                    EXPECT_FALSE(achse->Automatic());
                },
                // A second input is written by a second round.
                [&] {
                    letzteAenderung.start();
                    form->EdTitle->SetText(QStringLiteral("[nA]"));
                    ASSERT_TRUE(WarteAufSchreiben(3));
                    EXPECT_GE(seitAenderung.back(), 500);
                    EXPECT_EQ(achse->Title().Caption(), "[nA]");
                },
                // Input that follows within the half second starts it anew: the first
                // tick, due while this thread was busy, does not write.
                [&] {
                    Tippen(form->EdNull, QStringLiteral("10"));
                    QThread::msleep(700);
                    letzteAenderung.start();
                    form->EDColor->SetColorValue(clGreen);
                    ASSERT_TRUE(WarteAufSchreiben(4));
                    EXPECT_GE(seitAenderung.back(), 500);
                    EXPECT_DOUBLE_EQ(achse->Minimum(), 10);
                    EXPECT_EQ(achse->Title().Font().Color(), clGreen);
                    // One colour for every part of the axis.
                    EXPECT_EQ(achse->LabelsFont().Color(), clGreen);
                    EXPECT_EQ(achse->Axis().Color(), clGreen);
                    EXPECT_EQ(achse->Grid().Color(), clGreen);
                    EXPECT_EQ(achse->Ticks().Color(), clGreen);
                    EXPECT_EQ(achse->MinorGrid().Color(), clGreen);
                    EXPECT_FALSE(form->changeTimer->Enabled());
                },
                // A change younger than half a second when the dialog closes is lost.
                [&] {
                    form->EDPosO->SetIntValue(8);
                    form->BitBtn2->click();
                }});
    EXPECT_EQ(geschrieben, 4);
    QTest::qWait(800);
    EXPECT_EQ(geschrieben, 4);
    EXPECT_DOUBLE_EQ(achse->StartPosition(), 5);
}

TEST_F(SetupAxTest, AutomaticHoldsForOneRoundAndLeavesTheFoundLimitsFixed)
{
    Bearbeiten({[&] { ASSERT_TRUE(WarteAufSchreiben(1)); },
                [&] {
                    form->Checkauto->SetChecked(true);
                    ASSERT_TRUE(WarteAufSchreiben(2));
                    // The round that writes "automatisch" shows the curve's limits
                    // and already clears the box again.
                    EXPECT_TRUE(achse->Automatic());
                    EXPECT_DOUBLE_EQ(form->EdNull->Value(), 3);
                    EXPECT_DOUBLE_EQ(form->EdHigh->Value(), 17);
                    EXPECT_FALSE(form->Checkauto->Checked());
                    EXPECT_EQ(form->EDSkalenwerte->PositionLeft(), 3);
                    EXPECT_EQ(form->EDSkalenwerte->PositionRight(), 17);
                },
                [&] {
                    // The next round fixes the axis at them.
                    ASSERT_TRUE(WarteAufSchreiben(3));
                    EXPECT_FALSE(achse->Automatic());
                    EXPECT_DOUBLE_EQ(achse->Minimum(), 3);
                    EXPECT_DOUBLE_EQ(achse->Maximum(), 17);
                    EXPECT_FALSE(form->changeTimer->Enabled());
                },
                [&] { form->close(); }});
    EXPECT_EQ(geschrieben, 3);
}

TEST_F(SetupAxTest, SlidersAndNumbersFollowEachOtherWithinTheirLimits)
{
    Bearbeiten({[&] {
                    // Value slider to numbers; any touch of the range ends "automatisch".
                    form->Checkauto->SetChecked(true);
                    form->EDSkalenwerte->SetPositionRight(70);
                    EXPECT_DOUBLE_EQ(form->EdHigh->Value(), 70);
                    EXPECT_DOUBLE_EQ(form->EdNull->Value(), 0);
                    EXPECT_FALSE(form->Checkauto->Checked());
                    EXPECT_FALSE(form->fWertSperre);

                    // Numbers to the slider. An upper limit of twice the scale widens
                    // it, and the thumb goes there; a negative lower limit likewise.
                    Tippen(form->EdHigh, QStringLiteral("200"));
                    EXPECT_EQ(form->EDSkalenwerte->Max(), 200);
                    EXPECT_EQ(form->EDSkalenwerte->PositionRight(), 200);
                    Tippen(form->EdNull, QStringLiteral("-30"));
                    EXPECT_EQ(form->EDSkalenwerte->Min(), -30);
                    EXPECT_EQ(form->EDSkalenwerte->PositionLeft(), -30);
                    // Beyond its bounds the lower limit stops at them.
                    Tippen(form->EdNull, QStringLiteral("-20000"));
                    EXPECT_DOUBLE_EQ(form->EdNull->Value(), -10000);
                    // Fractions round half to even on the slider.
                    Tippen(form->EdNull, QStringLiteral("2,5"));
                    EXPECT_EQ(form->EDSkalenwerte->PositionLeft(), 2);

                    // Position slider to the percentages, which keep their own limits.
                    form->EDSkalenPos->SetPositionRight(97);
                    EXPECT_EQ(form->EDPosO->IntValue(), 3);
                    form->EDSkalenPos->SetPositionLeft(20);
                    EXPECT_EQ(form->EDPosU->IntValue(), 90);
                    EXPECT_EQ(form->EDSkalenPos->PositionLeft(), 20);
                    // Percentages to the slider.
                    form->EDPosU->SetIntValue(96);
                    EXPECT_EQ(form->EDSkalenPos->PositionLeft(), 4);
                    form->EDPosO->setFocus();
                    form->EDPosO->selectAll();
                    QTest::keyClicks(form->EDPosO, QStringLiteral("15"));
                    QTest::keyClick(form->EDPosO, Qt::Key_Return);
                    EXPECT_LE(form->EDPosO->IntValue(), 10);
                    EXPECT_EQ(form->EDSkalenPos->PositionRight(), 100 - form->EDPosO->IntValue());
                    EXPECT_FALSE(form->fPosSperre);

                    // Editing the format leaves the limits' format as it was at opening.
                    form->EdForm->SetText(QStringLiteral("0.000"));
                    EXPECT_EQ(form->EdHigh->DisplayFormat(), "###0.0");
                },
                [&] {
                    ASSERT_TRUE(WarteAufSchreiben(1));
                    EXPECT_DOUBLE_EQ(achse->Minimum(), 2.5);
                    EXPECT_DOUBLE_EQ(achse->Maximum(), 200);
                    EXPECT_DOUBLE_EQ(achse->EndPosition(), 96);
                    EXPECT_DOUBLE_EQ(achse->StartPosition(), form->EDPosO->IntValue());
                    EXPECT_EQ(achse->AxisValuesFormat(), "0.000");
                },
                [&] { form->close(); }});
    // A negative step typed is not taken as such: the axis refuses those.
    Bearbeiten({[&] {
                    Tippen(form->EDInc, QStringLiteral("-3"));
                    ASSERT_TRUE(WarteAufSchreiben(2));
                    EXPECT_DOUBLE_EQ(achse->Increment(), 0);
                },
                [&] { form->close(); }});
}

} // namespace
