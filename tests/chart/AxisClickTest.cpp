// Clicks on axes: which axis the chart reports, custom scales on both sides
// included, and what a handler that opens a window in the press leaves behind.
#include "chart/Chart.h"
#include "chart/Series.h"

#include <QTest>
#include <gtest/gtest.h>

namespace {

// Two stacked charts' worth of scales: a custom one on each side, the fixed left
// one hidden, the fixed right and top ones left visible but without curves.
class AxisClickFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        chart.resize(600, 400);
        chart.SetView3D(false);
        chart.Legend().SetVisible(false);
        chart.SetMarginUnits(muPixels);
        chart.SetMarginLeft(60);
        chart.SetMarginRight(60);
        chart.LeftAxis()->SetVisible(false);
        links = chart.CustomAxes().Add();
        rechts = chart.CustomAxes().Add();
        rechts->SetOtherSide(true);
        links->SetMinMax(0, 50);
        rechts->SetMinMax(0, 1000);
        for (auto [s, a, f] : {std::tuple{&strom, links, 1.0}, std::tuple{&spannung, rechts, 10.0}}) {
            for (int i = 0; i < 20; ++i)
                s->AddXY(i, f * (i + 5));
            s->SetVertAxis(aCustomVertAxis);
            s->SetCustomVertAxis(a);
            chart.AddSeries(s);
        }
        chart.RenderImage();
    }
    void TearDown() override
    {
        chart.RemoveSeries(&strom);
        chart.RemoveSeries(&spannung);
    }
    static QPoint AufAchse(const TChartAxis* a)
    {
        const int across = (a->PosAxis + a->PosLabels) / 2, mid = (a->IStartPos + a->IEndPos) / 2;
        return a->Horizontal() ? QPoint(mid, across) : QPoint(across, mid);
    }

    TChart chart;
    TFastLineSeries strom, spannung;
    TChartAxis* links = nullptr;
    TChartAxis* rechts = nullptr;
};

TEST_F(AxisClickFixture, TheCustomScaleOnEachSideIsHitNotTheFixedAxisThere)
{
    ASSERT_TRUE(chart.RightAxis()->Visible());
    EXPECT_FALSE(chart.IsAxisShown(chart.RightAxis()));
    EXPECT_FALSE(chart.IsAxisShown(chart.TopAxis()));
    EXPECT_TRUE(chart.IsAxisShown(rechts));
    EXPECT_TRUE(chart.IsAxisShown(chart.BottomAxis()));

    std::vector<std::pair<TChartAxis*, Qt::MouseButton>> clicks;
    chart.OnClickAxis = [&](TCustomChart* sender, TChartAxis* axis, Qt::MouseButton button, Qt::KeyboardModifiers,
                            int, int) {
        EXPECT_EQ(sender, &chart);
        clicks.emplace_back(axis, button);
    };
    for (TChartAxis* a : {links, rechts, chart.BottomAxis()})
        QTest::mouseClick(&chart, Qt::LeftButton, {}, AufAchse(a));
    QTest::mouseClick(&chart, Qt::RightButton, {}, AufAchse(rechts));
    ASSERT_EQ(clicks.size(), 4u);
    EXPECT_EQ(clicks[0].first, links);
    EXPECT_EQ(clicks[1].first, rechts);
    EXPECT_EQ(clicks[2].first, chart.BottomAxis());
    EXPECT_EQ(clicks[3], std::make_pair(rechts, Qt::RightButton));

    // Only while a curve is on it: without one, the scale is neither drawn nor hit,
    // and the click lands on the plot instead.
    spannung.SetActive(false);
    chart.RenderImage();
    EXPECT_FALSE(chart.IsAxisShown(rechts));
    EXPECT_NE(chart.CalcClickResult(AufAchse(rechts), false).AAxis, rechts);
    // A chart whose curves are all off shows every visible axis.
    strom.SetActive(false);
    EXPECT_TRUE(chart.IsAxisShown(rechts));
    EXPECT_TRUE(chart.IsAxisShown(chart.RightAxis()));
}

TEST_F(AxisClickFixture, AHandlerThatCancelsTheMouseLeavesNoZoomBehind)
{
    // A handler that shows a modal window takes the button's release with it.
    chart.OnClickAxis = [&](TCustomChart* sender, TChartAxis*, Qt::MouseButton, Qt::KeyboardModifiers, int, int) {
        sender->CancelMouse = true;
    };
    chart.MouseDown(Qt::LeftButton, {}, AufAchse(links).x(), AufAchse(links).y());
    EXPECT_FALSE(chart.Zoom().Active);
    EXPECT_FALSE(chart.CancelMouse);
    // Without it the press on the axis starts a zoom, as on the plot.
    chart.OnClickAxis = nullptr;
    chart.MouseDown(Qt::LeftButton, {}, AufAchse(links).x(), AufAchse(links).y());
    EXPECT_TRUE(chart.Zoom().Active);
    chart.MouseUp(Qt::LeftButton, {}, AufAchse(links).x(), AufAchse(links).y());
}

} // namespace
