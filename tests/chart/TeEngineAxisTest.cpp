#include "ChartTestSupport.h"
#include "frame/ZELColor.h"

#include <QDir>
#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

namespace {

class AxisTest : public ::testing::Test {
protected:
    // Plot rectangle r, axis range fixed, positions computed as a paint would.
    void Place(TChartAxis* axis, const TRect& r, double min, double max)
    {
        chart.SetChartRect(r);
        axis->SetMinMax(min, max);
        axis->AdjustMaxMin();
        axis->InternalCalcPositions();
    }
    // A curve of two points on the chart, the plot rectangle r.
    TChartSeries& Curve(double x0, double y0, double x1, double y1, const TRect& r)
    {
        curve.AddXY(x0, y0);
        curve.AddXY(x1, y1);
        chart.AddSeries(&curve);
        chart.SetChartRect(r);
        return curve;
    }

    const GermanFormats german;
    TCustomAxisPanel chart;
    TChartSeries curve;
};

TEST(AxisSteps, OneTwoFiveLadderAndDateTimeTable)
{
    EXPECT_DOUBLE_EQ(NextStep(0.3), 0.5);
    EXPECT_DOUBLE_EQ(NextStep(7), 10);
    EXPECT_DOUBLE_EQ(NextStep(20), 50);
    EXPECT_DOUBLE_EQ(NextStep(1), 2);
    EXPECT_DOUBLE_EQ(NextStep(2), 5);
    EXPECT_DOUBLE_EQ(NextStep(6.25), 10);
    EXPECT_DOUBLE_EQ(NextStep(0.0015), 0.002);
    EXPECT_DOUBLE_EQ(NextStep(std::numeric_limits<double>::infinity()), 1);
    EXPECT_DOUBLE_EQ(NextStep(0), 1);   // must not recurse forever
    // The date steps run through their own table.
    EXPECT_DOUBLE_EQ(NextDateTimeStep(1.0 / 24), 2.0 / 24);
    EXPECT_DOUBLE_EQ(NextDateTimeStep(1.5), 2);
    EXPECT_DOUBLE_EQ(NextDateTimeStep(182), 365);
    EXPECT_DOUBLE_EQ(NextDateTimeStep(1e-12), 365);   // below every entry
    EXPECT_EQ(FindDateTimeStep(7), 19);
    EXPECT_EQ(FindDateTimeStep(5.0 / 1440), 8);
    EXPECT_EQ(FindDateTimeStep(4), NumDateTimeSteps);
}

TEST_F(AxisTest, StepForLabelsOfThirtyPixelsOnFiveHundred)
{
    TChartAxis* a = chart.BottomAxis();
    Place(a, {0, 0, 500, 300}, 0, 100);
    ASSERT_EQ(a->IAxisSize, 500);
    // 30 pixels + 10 % = 33, 15 labels, 100/16 = 6.25, next on the ladder 10.
    EXPECT_DOUBLE_EQ(a->CalcXYIncrement(30), 10);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(15), 10);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(4), 50);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(0), TeeMinAxisIncrement);
    a->SetLabelsSeparation(0);   // no fitting: the raw quotient stands
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(15), 6.25);
    a->SetLabelsSeparation(10);
    a->SetIncrement(3);   // a given step doubles until the labels fit
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(15), 12);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(40), 3);
}

TEST_F(AxisTest, FewPointsForceWholeStepsOnlyFromRangeOnePointOne)
{
    TChartSeries& s = Curve(0, 1, 0.5, 2, {0, 0, 500, 300});
    TChartAxis* a = chart.BottomAxis();
    a->AdjustMaxMin();
    a->InternalCalcPositions();
    ASSERT_DOUBLE_EQ(a->IMaximum, 0.5);
    EXPECT_LT(a->CalcLabelsIncrement(15), 1);   // 0.5 over 2 points: no forcing
    s.AddXY(3, 3);
    a->AdjustMaxMin();
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(15), 1);   // 3 over 3 points: at least 1
    a->SetLabelsSeparation(0);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(2), 1);
}

TEST_F(AxisTest, DateTimeStepSearch)
{
    Curve(45000, 0, 45010, 1, {0, 0, 600, 300}).XValues()->SetDateTime(true);
    TChartAxis* a = chart.BottomAxis();
    a->IAxisDateTime = a->IsDateTime();
    ASSERT_TRUE(a->IAxisDateTime);
    a->AdjustMaxMin();
    a->InternalCalcPositions();
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(5), 2);   // 10 days in 5 labels
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(10), 1);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(3), 3);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(2), 7);
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(0), DateTimeStep[0]);
    a->SetMinMax(45000, 45000 + 1.0 / 24);   // one hour in 8 labels: 10 minutes
    a->AdjustMaxMin();
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(8), 10.0 / 1440);
    a->SetMinMax(45000, 45000 + 3650);   // ten years in 4 labels: doubled years
    a->AdjustMaxMin();
    EXPECT_DOUBLE_EQ(a->CalcLabelsIncrement(4), 1460);

    EXPECT_EQ(ThrownMessage([&] { a->SetLogarithmic(true); }), "DateTime Axis cannot be Logarithmic");
    EXPECT_FALSE(a->Logarithmic());
    EXPECT_THROW(a->SetIncrement(1e12), EConvertError);   // no date that far out
    EXPECT_EQ(a->Increment(), 0);
}

TEST_F(AxisTest, LinearAndLogarithmicMappingBothWays)
{
    using Pairs = std::vector<std::pair<double, int>>;
    struct TCase {
        bool horizontal, log, inverted;
        TRect rect;
        double min, max;
        Pairs both;      // value and pixel map onto each other
        Pairs outside;   // values out of the range, one way: not clamped, or the log axis' lower end
    };
    const TRect wide{100, 50, 600, 450}, square{0, 0, 300, 300};
    const TCase cases[] = {
        {true, false, false, wide, 0, 100, {{0, 100}, {25, 225}, {100, 600}}, {{150, 850}, {-10, 50}}},
        {true, false, true, wide, 0, 100, {{25, 475}, {0, 600}}, {}},
        {false, false, false, wide, -1, 1, {{1, 50}, {-1, 450}, {0.5, 150}}, {}},
        {false, false, true, wide, -1, 1, {{0.5, 350}, {-1, 50}}, {}},
        {true, true, false, square, 1, 1000, {{1, 0}, {10, 100}, {100, 200}, {1000, 300}}, {{0, 0}, {-5, 0}}},
        {true, true, true, square, 1, 1000, {{10, 200}, {1, 300}}, {{0, 300}}},
        {false, true, false, square, 1, 1000, {{10, 200}, {1000, 0}}, {{0, 300}}},
        {false, true, true, square, 1, 1000, {{10, 100}}, {{0, 0}}},
    };
    for (const TCase& c : cases) {
        SCOPED_TRACE(testing::Message() << "horizontal " << c.horizontal << " log " << c.log << " inverted " << c.inverted);
        TChartAxis* a = c.horizontal ? chart.BottomAxis() : chart.LeftAxis();
        a->SetLogarithmic(c.log);
        a->SetInverted(c.inverted);
        Place(a, c.rect, c.min, c.max);
        for (auto [value, pixel] : c.both) {
            EXPECT_EQ(a->CalcPosValue(value), pixel) << value;
            EXPECT_NEAR(a->CalcPosPoint(pixel), value, 1e-9) << pixel;
        }
        for (auto [value, pixel] : c.outside)
            EXPECT_EQ(a->CalcPosValue(value), pixel) << value;
    }
    EXPECT_EQ(ThrownMessage([&] { chart.LeftAxis()->SetLogarithmicBase(1); }), "Axis logarithmic base must be > 1");

    // Half pixels round to the even neighbour.
    TChartAxis* h = chart.BottomAxis();
    h->SetLogarithmic(false);
    h->SetInverted(false);
    Place(h, {0, 0, 500, 100}, 0, 500);
    EXPECT_EQ(h->CalcPosValue(0.5), 0);
    EXPECT_EQ(h->CalcPosValue(1.5), 2);
    EXPECT_EQ(h->CalcPosValue(2.5), 2);
    EXPECT_EQ(h->CalcPosValue(1e300), 2000000000);   // far away, but no overflow

    // An empty range maps everything onto the centre.
    Place(h, {0, 0, 501, 100}, 7, 7);
    EXPECT_TRUE(h->IRangeZero);
    EXPECT_EQ(h->CalcPosValue(7), 250);
    EXPECT_EQ(h->CalcPosValue(-1000), 250);
}

TEST_F(AxisTest, RangeSettersAndTheirMessages)
{
    TChartAxis* a = chart.LeftAxis();
    a->SetMinMax(10, 5);
    EXPECT_EQ(a->Minimum(), 5);
    EXPECT_EQ(a->Maximum(), 10);
    EXPECT_FALSE(a->Automatic());
    EXPECT_FALSE(a->AutomaticMinimum());
    EXPECT_FALSE(a->AutomaticMaximum());
    EXPECT_EQ(ThrownMessage([&] { a->SetMinimum(11); }), "Axis Minimum Value must be <= Maximum");
    EXPECT_EQ(ThrownMessage([&] { a->SetMaximum(4); }), "Axis Maximum Value must be >= Minimum");
    EXPECT_EQ(ThrownMessage([&] { a->SetIncrement(-1); }), "Axis increment must be >= 0");
    EXPECT_EQ(a->Minimum(), 5);
    EXPECT_EQ(a->Maximum(), 10);
    chart.SetLoading(true);   // a stored chart sets its values in any order
    EXPECT_NO_THROW(a->SetMinimum(20));
    chart.SetLoading(false);
    EXPECT_EQ(a->Minimum(), 20);
    a->SetAutomatic(true);
    EXPECT_TRUE(a->AutomaticMinimum());
    EXPECT_TRUE(a->AutomaticMaximum());
}

TEST_F(AxisTest, RangeFromActiveSeriesAndRounding)
{
    TChartSeries s1, s2, s3;
    for (int i = 0; i <= 10; ++i) {
        s1.AddXY(i, i * 9.3);
        s2.AddXY(i + 5, -i);
        s3.AddXY(i, 1000);
    }
    chart.AddSeries(&s1);
    chart.AddSeries(&s2);
    chart.AddSeries(&s3);
    s3.SetActive(false);   // an inactive series does not stretch an axis
    TChartAxis* v = chart.LeftAxis();
    TChartAxis* h = chart.BottomAxis();
    chart.SetChartRect({0, 0, 400, 500});
    v->AdjustMaxMin();
    h->AdjustMaxMin();
    EXPECT_DOUBLE_EQ(v->IMaximum, 93);
    EXPECT_DOUBLE_EQ(v->IMinimum, -10);
    EXPECT_DOUBLE_EQ(h->IMaximum, 15);
    EXPECT_DOUBLE_EQ(h->IMinimum, 0);
    EXPECT_DOUBLE_EQ(v->Maximum(), 93);   // the automatic range shows in the fields

    v->InternalCalcPositions();
    v->SetLabelsGridIgnoresLabelSize(true);   // step from the pixel count alone
    v->SetMaximumRound(true);
    v->SetMinimumRound(true);
    v->AdjustMaxMin();
    const double step = v->CalcIncrement();
    EXPECT_GT(step, 0);
    EXPECT_DOUBLE_EQ(v->IMaximum, std::ceil(93 / step) * step);
    EXPECT_DOUBLE_EQ(v->IMinimum, std::floor(-10 / step) * step);

    v->SetAutomaticMaximum(false);
    v->SetAutomatic(false);
    v->SetMinMax(1, 2);
    v->AdjustMaxMin();
    EXPECT_DOUBLE_EQ(v->IMaximum, 2);   // fixed ranges are not rounded

    TCustomAxisPanel empty;
    empty.LeftAxis()->AdjustMaxMin();
    EXPECT_EQ(empty.LeftAxis()->IMaximum, 0);
    EXPECT_EQ(empty.LeftAxis()->IMinimum, 0);
}

TEST_F(AxisTest, OffsetsWidenTheRangeByTheirPixels)
{
    Curve(0, 0, 100, 1, {0, 0, 120, 100});
    TChartAxis* h = chart.BottomAxis();
    h->AdjustMaxMin();
    h->InternalCalcPositions();
    h->SetMinimumOffset(10);
    h->SetMaximumOffset(10);
    chart.AxesMargins();
    EXPECT_NEAR(h->IMinimum, -10, 1e-9);
    EXPECT_NEAR(h->IMaximum, 110, 1e-9);
    EXPECT_EQ(h->CalcPosValue(0), 10);
    EXPECT_EQ(h->CalcPosValue(100), 110);
}

TEST_F(AxisTest, PositionsInPercentAndCustomAxesSharingTheHeight)
{
    TChartAxis* upper = chart.CustomAxes().Add();
    TChartAxis* lower = chart.CustomAxes().Add();
    upper->SetEndPosition(50);
    lower->SetStartPosition(50);
    chart.SetChartRect({40, 20, 440, 420});
    upper->InternalCalcPositions();
    lower->InternalCalcPositions();
    EXPECT_EQ(upper->IStartPos, 20);
    EXPECT_EQ(upper->IEndPos, 220);
    EXPECT_EQ(lower->IStartPos, 220);
    EXPECT_EQ(lower->IEndPos, 420);
    EXPECT_EQ(lower->IAxisSize, 200);

    TChartAxis* left = chart.LeftAxis();
    left->SetLabels(false);
    left->SetPositionPercent(10);
    TRect r{40, 20, 440, 420};
    left->CalcRect(r);
    const int side = r.Left;
    EXPECT_EQ(left->PosAxis, side + std::lround(0.1 * r.Width()));   // 10 % of the width, inward
    left->SetPositionUnits(muPixels);
    left->SetPositionPercent(7);
    r = {40, 20, 440, 420};
    left->CalcRect(r);
    EXPECT_EQ(left->PosAxis, side + 7);
    TChartAxis* right = chart.RightAxis();
    right->SetLabels(false);
    right->SetPositionUnits(muPixels);
    right->SetPositionPercent(7);
    r = {40, 20, 440, 420};
    right->CalcRect(r);
    EXPECT_EQ(right->PosAxis, r.Right - 7);
}

TEST_F(AxisTest, LabelTextsUnderTheDecimalComma)
{
    TChartAxis* a = chart.LeftAxis();
    a->SetAxisValuesFormat("###0.00");
    EXPECT_EQ(a->LabelValue(12.5), "12,50");
    a->SetAxisValuesFormat("#,##0.0");
    EXPECT_EQ(a->LabelValue(-0.25), "-0,3");
    a->SetLabelsMultiLine(true);
    a->SetAxisValuesFormat("0.0 'mA'");
    EXPECT_EQ(a->LabelValue(3), "3,0\nmA");
    a->SetLabelsMultiLine(false);
    chart.OnGetAxisLabel = [](TChartAxis*, TChartSeries* s, int index, QString& text) {
        if (!s && index == -1)
            text = "<" + text + ">";
    };
    EXPECT_EQ(a->LabelValue(3), "<3,0 mA>");
    chart.OnGetAxisLabel = nullptr;

    a->IAxisDateTime = true;
    a->SetDateTimeFormat("dd.mm  hh:mm");
    const TDateTime t = QDateTimeToDateTime(QDateTime(QDate(2025, 11, 4), QTime(9, 5)));
    EXPECT_EQ(a->LabelValue(t), "04.11  09:05");
    a->SetDateTimeFormat("");
    a->IRange = 0.5;
    EXPECT_EQ(a->LabelValue(t), "09:05:00");
    a->IRange = 3;
    EXPECT_EQ(a->LabelValue(t), "04.11.2025");
    EXPECT_EQ(a->LabelValue(1e12), FloatToStr(1e12));   // no date: no exception in a paint
}

// Draws the axes of chart into an image of the given size, as a paint would.
QImage PaintAxes(TCustomAxisPanel& chart, int w, int h)
{
    QImage img(w, h, QImage::Format_RGB32);
    img.fill(Qt::white);
    TCanvas3D* c = chart.Canvas();
    c->InitWindow(&img, {0, 0, w, h}, false, clWhite);
    chart.CalcAxisRect();
    for (TChartAxis* a : chart.Axes())
        if (a->Visible() && !a->IsDepthAxis)
            a->Draw(true);
    c->ShowImage(&img, {0, 0, w, h});
    return img;
}

bool InkInRow(const QImage& img, int y, int x0, int x1)
{
    for (int x = std::max(0, x0); x <= std::min(img.width() - 1, x1); ++x)
        if (qGray(img.pixel(x, y)) < 160)
            return true;
    return false;
}

TEST_F(AxisTest, ValueLoopRunsFromTheTopAndRefusesTenThousandLabels)
{
    chart.resize(600, 400);
    Curve(0, 0, 1, 1, {50, 20, 550, 350});
    chart.LeftAxis()->SetVisible(false);
    TChartAxis* a = chart.BottomAxis();
    a->SetMinMax(0, 100);
    a->SetIncrement(10);
    a->SetLabelsSeparation(0);
    PaintAxes(chart, 600, 400);
    std::vector<double> values;
    for (const auto& e : a->LabelEntries())
        values.push_back(e.Value);
    EXPECT_EQ(values, (std::vector<double>{100, 90, 80, 70, 60, 50, 40, 30, 20, 10, 0}));
    EXPECT_EQ(a->Tick().size(), 11u);
    EXPECT_EQ(a->Tick().front(), a->CalcPosValue(100));

    a->SetIncrement(1);
    a->SetMinMax(0, 9999);
    PaintAxes(chart, 600, 400);
    EXPECT_EQ(a->LabelEntries().size(), 10000u);
    a->SetMinMax(0, 10000);
    PaintAxes(chart, 600, 400);
    EXPECT_TRUE(a->LabelEntries().empty());

    a->SetMinMax(42, 42);   // empty range: one label on the centre pixel
    PaintAxes(chart, 600, 400);
    ASSERT_EQ(a->LabelEntries().size(), 1u);
    EXPECT_EQ(a->LabelEntries()[0].Anchor, a->ICenterPos);

    a->SetIncrement(0);
    a->SetMinMax(-3.7, 12.2);
    a->SetLabelsSeparation(10);
    PaintAxes(chart, 600, 400);
    ASSERT_GT(a->LabelEntries().size(), 2u);
    for (const auto& e : a->LabelEntries()) {
        EXPECT_GE(e.Value, -3.7);
        EXPECT_LE(e.Value, 12.2);
    }

    // A handler may give the values itself.
    chart.OnGetNextAxisLabel = [](TChartAxis*, int index, double& value, bool& stop) {
        stop = index >= 3;
        value = index * 4.0;
    };
    PaintAxes(chart, 600, 400);
    std::vector<double> given;
    for (const auto& e : a->LabelEntries())
        given.push_back(e.Value);
    EXPECT_EQ(given, (std::vector<double>{0, 4, 8}));
}

// Steps of whole days and below over ranges that cross midnights: every label names its
// step value to the minute, the first after midnight included, whichever way the axis runs.
TEST_F(AxisTest, DateLabelsNameTheExactStepsAcrossMidnights)
{
    TChartSeries s;
    s.XValues()->SetDateTime(true);
    chart.AddSeries(&s);
    chart.LeftAxis()->SetVisible(false);
    TChartAxis* a = chart.BottomAxis();
    a->SetDateTimeFormat("dd.mm. hh:nn");
    a->SetLabelsSeparation(0);
    struct TCase {
        int minutes;
        double from, to;   // day 45598 is 02.11.2024
    };
    const TCase cases[] = {{10, 45598.93, 45599.07},  {10, 45600.96, 45601.03}, {10, 45601.99, 45602.01},
                           {60, 45598.31, 45601.62},  {60, 45599.97, 45600.04}, {120, 45598.51, 45599.49},
                           {120, 45598.02, 45602.97}, {120, 45600.41, 45601.44}, {1440, 45000.3, 45009.8}};
    const QDateTime zero(QDate(1899, 12, 30), QTime(0, 0));
    for (bool inverted : {false, true})
        for (const TCase& c : cases) {
            SCOPED_TRACE(testing::Message() << c.minutes << " min " << c.from << ".." << c.to << " inverted " << inverted);
            s.ClearValues();
            s.AddXY(c.from, 0);
            s.AddXY(c.to, 1);
            a->SetInverted(inverted);
            a->SetIncrement(c.minutes / 1440.0);
            chart.SetChartRect({20, 20, 11980, 150});
            PaintAxes(chart, 12000, 200);
            // The step values in whole minutes, from the top of the range down.
            QStringList expected;
            const qint64 top = qint64(std::floor(c.to * 1440 / c.minutes)) * c.minutes;
            for (qint64 m = top; m >= std::ceil(c.from * 1440); m -= c.minutes)
                expected << zero.addSecs(m * 60).toString(QStringLiteral("dd.MM. HH:mm"));
            QStringList given;
            for (const auto& e : a->LabelEntries())
                given << e.Text;
            ASSERT_EQ(given, expected);
            EXPECT_TRUE(given.filter(QStringLiteral(" 00:00")).size() >= 1);
        }
}

TEST_F(AxisTest, TextLabelsDropOverlaps)
{
    TChartSeries s;
    for (int i = 0; i < 40; ++i)
        s.AddXY(i, i, QStringLiteral("Messpunkt %1").arg(i));
    chart.AddSeries(&s);
    chart.SetChartRect({10, 10, 410, 300});
    chart.LeftAxis()->SetVisible(false);
    TChartAxis* a = chart.BottomAxis();
    EXPECT_EQ(a->CalcLabelStyle(), talText);
    EXPECT_EQ(chart.LeftAxis()->CalcLabelStyle(), talValue);
    PaintAxes(chart, 420, 320);
    const auto& e = a->LabelEntries();
    ASSERT_GT(e.size(), 2u);
    EXPECT_LT(e.size(), 40u);
    for (std::size_t i = 1; i < e.size(); ++i) {
        chart.Canvas()->AssignFont(a->LabelsFont());
        const int w0 = chart.Canvas()->TextWidth(e[i - 1].Text), w1 = chart.Canvas()->TextWidth(e[i].Text);
        EXPECT_GE(e[i].Anchor - e[i - 1].Anchor, (w0 + w1) / 2) << i;
    }
    // Clipping shortens a text until it fits instead of dropping it.
    const std::size_t dropped = e.size();
    a->LabelsFormat().ClipText = true;
    PaintAxes(chart, 420, 320);
    EXPECT_GT(a->LabelEntries().size(), dropped);
    bool shortened = false;
    for (const auto& entry : a->LabelEntries()) {
        EXPECT_TRUE(QStringLiteral("Messpunkt %1").arg(entry.Value).startsWith(entry.Text));
        shortened = shortened || !entry.Text.startsWith(QStringLiteral("Messpunkt "));
    }
    EXPECT_TRUE(shortened);
    a->LabelsFormat().ClipText = false;

    a->SetLabelStyle(talNone);
    PaintAxes(chart, 420, 320);
    EXPECT_TRUE(a->LabelEntries().empty());
}

TEST_F(AxisTest, LogarithmicLabelsRunUpByPowersOfTheBase)
{
    Curve(0, 1, 1, 1000, {60, 20, 600, 380});
    chart.BottomAxis()->SetVisible(false);
    TChartAxis* l = chart.LeftAxis();
    l->SetLogarithmic(true);
    l->SetAxisValuesFormat("0");
    PaintAxes(chart, 640, 400);
    std::vector<QString> texts;
    for (const auto& e : l->LabelEntries())
        texts.push_back(e.Text);
    EXPECT_EQ(texts, (std::vector<QString>{"1", "10", "100", "1000"}));
    // Equal distances between the decades.
    const auto& t = l->Tick();
    ASSERT_EQ(t.size(), 4u);
    EXPECT_NEAR(t[0] - t[1], t[1] - t[2], 1);
    EXPECT_NEAR(t[1] - t[2], t[2] - t[3], 1);
}

// The picture a person looks at: a bottom axis 0..100 and a left axis in mA.
TEST_F(AxisTest, RenderedAxisPutsTicksAndLabelsWhereItSays)
{
    TChartSeries s;
    for (int i = 0; i <= 100; ++i)
        s.AddXY(i, 0.05 * i);
    chart.AddSeries(&s);
    chart.resize(640, 400);
    chart.SetChartRect({20, 20, 620, 380});
    TChartAxis* b = chart.BottomAxis();
    TChartAxis* l = chart.LeftAxis();
    b->Grid().SetStyle(psSolid);
    b->Grid().SetColor(clSilver);
    l->Grid().SetVisible(false);
    b->Title().SetCaption("Prüfzeit [h]");
    l->Title().SetCaption("Strom [mA]");
    l->SetAxisValuesFormat("###0.00");
    b->SetAxisValuesFormat("###0");
    const QImage img = PaintAxes(chart, 640, 400);
    img.save(OutPath("axis_render.png"));

    // The plot rectangle gave room to labels and titles on the left and at the bottom.
    const TRect& r = chart.ChartRect();
    EXPECT_GT(r.Left, 40);
    EXPECT_LT(r.Bottom, 350);
    EXPECT_EQ(b->PosAxis, r.Bottom);
    EXPECT_EQ(l->PosAxis, r.Left);

    // Bottom axis: every label has its tick below the axis line, dark grey, TickLength long.
    ASSERT_FALSE(b->LabelEntries().empty());
    const QRgb tickColour = ColorToQColor(clDkGray).rgb();
    const int axisWidth = b->Axis().Width();
    for (const TAxisLabelEntry& e : b->LabelEntries()) {
        const int x = b->CalcPosValue(e.Value);
        EXPECT_EQ(e.Anchor, x);
        // Below the axis line the tick runs on until PosAxis + TickLength.
        for (int y = b->PosAxis + axisWidth; y < b->PosAxis + b->TickLength(); ++y)
            EXPECT_EQ(img.pixel(x, y), tickColour) << e.Text.toStdString() << " y " << y;
        EXPECT_EQ(img.pixel(x, b->PosAxis + b->TickLength()), 0xFFFFFFFFu);
        // Between two ticks there is no tick.
        EXPECT_NE(img.pixel(x + 3, b->PosAxis + b->TickLength() - 1), tickColour);
        // The grid line crosses the plot rectangle at the tick, but not on the range ends.
        if (x > b->IStartPos && x < b->IEndPos) {
            EXPECT_EQ(img.pixel(x, (r.Top + r.Bottom) / 2), ColorToQColor(clSilver).rgb());
        }
        // The label's ink lies under its tick, centred, between PosLabels and a line further down.
        chart.Canvas()->AssignFont(b->LabelsFont());
        const int w = chart.Canvas()->TextWidth(e.Text), fh = chart.Canvas()->FontHeight();
        bool ink = false;
        for (int y = b->PosLabels; y < b->PosLabels + fh; ++y)
            ink = ink || InkInRow(img, y, x - w / 2 - 1, x + w / 2 + 1);
        EXPECT_TRUE(ink) << e.Text.toStdString();
        EXPECT_FALSE(InkInRow(img, b->PosLabels - 1, x - w / 2, x + w / 2)) << e.Text.toStdString();
    }
    EXPECT_EQ(b->LabelEntries().front().Text, "100");
    EXPECT_EQ(b->LabelEntries().back().Text, "0");

    // Left axis: ticks go left of the axis, labels right-aligned left of them, texts with a comma.
    ASSERT_FALSE(l->LabelEntries().empty());
    for (const TAxisLabelEntry& e : l->LabelEntries()) {
        const int y = l->CalcPosValue(e.Value);
        EXPECT_EQ(img.pixel(l->PosAxis - l->TickLength(), y), tickColour) << e.Text.toStdString();
        EXPECT_TRUE(e.Text.contains(u',')) << e.Text.toStdString();
        chart.Canvas()->AssignFont(l->LabelsFont());
        const int w = chart.Canvas()->TextWidth(e.Text);
        bool ink = false;
        for (int yy = y - 6; yy <= y + 6; ++yy)
            ink = ink || InkInRow(img, yy, l->PosLabels - w, l->PosLabels);
        EXPECT_TRUE(ink) << e.Text.toStdString();
    }

    // Axis hit test: on the ticks of the bottom axis yes, inside the plot no.
    const int mid = (b->IStartPos + b->IEndPos) / 2;
    EXPECT_TRUE(b->AxisClicked(mid, b->PosAxis + 2));
    EXPECT_TRUE(b->AxisClicked(mid, b->PosAxis - 3));
    EXPECT_FALSE(b->AxisClicked(mid, b->PosAxis - 4));
    EXPECT_FALSE(b->AxisClicked(b->IEndPos + 1, b->PosAxis + 2));
    EXPECT_TRUE(l->AxisClicked(l->PosAxis - 2, (l->IStartPos + l->IEndPos) / 2));
    EXPECT_FALSE(l->AxisClicked(l->PosAxis + 10, (l->IStartPos + l->IEndPos) / 2));
    b->SetVisible(false);
    EXPECT_FALSE(b->AxisClicked(mid, b->PosAxis + 2));
}

TEST_F(AxisTest, VerticalAndAlternatingLabelsOnTheBottomAxis)
{
    Curve(0, 0, 1000, 1, {20, 20, 620, 380});
    chart.LeftAxis()->SetVisible(false);
    TChartAxis* b = chart.BottomAxis();
    b->SetLabelsAngle(90);
    b->SetAxisValuesFormat("0.0");
    b->Grid().SetVisible(false);
    QImage img = PaintAxes(chart, 640, 400);
    img.save(OutPath("axis_render_vertical.png"));
    chart.Canvas()->AssignFont(b->LabelsFont());
    const int widest = chart.Canvas()->TextWidth("1000,0");
    // The labels take their width, not their height, below the axis.
    EXPECT_GE(380 - chart.ChartRect().Bottom, widest);
    ASSERT_FALSE(b->LabelEntries().empty());
    const TAxisLabelEntry& first = b->LabelEntries().front();
    const int x = b->CalcPosValue(first.Value);
    const int w = chart.Canvas()->TextWidth(first.Text);
    // A column of ink, narrow, centred on the tick, as long as the text is wide.
    int top = 10000, bottom = -1;
    for (int y = b->PosLabels; y < 400; ++y)
        if (InkInRow(img, y, x - 8, x + 8)) {
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    EXPECT_NEAR(bottom - top, w, 4);
    EXPECT_GE(top, b->PosLabels);

    // Upright labels in alternating rows: the second row takes its own room.
    b->SetLabelsAngle(0);
    b->SetMinMax(0, 100);
    b->SetIncrement(10);
    b->SetLabelsSeparation(0);
    PaintAxes(chart, 640, 400);
    const int singleBottom = chart.ChartRect().Bottom;
    b->SetLabelsAlternate(true);
    img = PaintAxes(chart, 640, 400);
    chart.Canvas()->AssignFont(b->LabelsFont());
    const int fh = chart.Canvas()->FontHeight();
    EXPECT_LE(chart.ChartRect().Bottom, singleBottom - fh);
    const auto& e = b->LabelEntries();
    ASSERT_GE(e.size(), 4u);
    auto inkIn = [&](const TAxisLabelEntry& entry, int top) {
        const int w = chart.Canvas()->TextWidth(entry.Text);
        for (int y = top; y < top + fh; ++y)
            if (InkInRow(img, y, entry.Anchor - w / 2, entry.Anchor + w / 2))
                return true;
        return false;
    };
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(inkIn(e[i], b->PosLabels), i % 2 == 0) << i;
        EXPECT_EQ(inkIn(e[i], b->PosLabels + fh), i % 2 == 1) << i;
    }
}

} // namespace
