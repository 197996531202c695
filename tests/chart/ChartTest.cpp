// The chart control as a whole: layout of one paint, the buffer, zoom and pan by
// the mouse (simulated on the widget), the legend and its check boxes.
#include "ChartTestSupport.h"
#include "chart/Chart.h"
#include "chart/Series.h"

#include <QTest>
#include <gtest/gtest.h>

namespace {

class ChartFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        chart.resize(500, 400);
        chart.SetView3D(false);
        chart.SetColor(clWhite);
    }
    // Adds a series of n rows: X from 0 to n - 1, Y from f.
    TFastLineSeries& AddSeries(int n, const std::function<double(int)>& f, TColor color)
    {
        auto s = std::make_unique<TFastLineSeries>();
        for (int i = 0; i < n; ++i)
            s->AddXY(i, f(i));
        s->SetSeriesColor(color);
        s->SetTitle(QStringLiteral("S%1").arg(owned.size() + 1));
        chart.AddSeries(s.get());
        owned.push_back(std::move(s));
        return *owned.back();
    }
    QPoint Inside(double fx, double fy) const
    {
        const TRect& r = chart.ChartRect();
        return QPoint(r.Left + int(fx * r.Width()), r.Top + int(fy * r.Height()));
    }
    void Drag(Qt::MouseButton button, QPoint from, QPoint to)
    {
        QTest::mousePress(&chart, button, Qt::NoModifier, from);
        QTest::mouseMove(&chart, (from + to) / 2);
        QTest::mouseMove(&chart, to);
        QTest::mouseRelease(&chart, button, Qt::NoModifier, to);
    }

    TChart chart;
    std::vector<std::unique_ptr<TFastLineSeries>> owned;
};

// ------------------------------------------------------------------ layout

TEST_F(ChartFixture, EmptyChartStillDrawsTitleWallAndAxes)
{
    chart.Title().SetCaption(QStringLiteral("Leer"));
    const QImage img = chart.RenderImage();
    const TRect r = chart.ChartRect();
    const TRect& t = chart.Title().ShapeBounds;
    EXPECT_LT(t.Bottom, r.Top);
    bool blue = false;
    for (int y = t.Top; y < t.Bottom; ++y)
        for (int x = t.Left; x < t.Right; ++x)
            blue |= img.pixelColor(x, y).blue() > 150 && img.pixelColor(x, y).red() < 100;
    EXPECT_TRUE(blue) << "title text";
    // The back wall frames the plot; the inside stays the background.
    EXPECT_EQ(img.pixelColor(r.Right, (r.Top + r.Bottom) / 2), QColor(Qt::black));
    EXPECT_EQ(img.pixelColor((r.Left + r.Right) / 2, (r.Top + r.Bottom) / 3), QColor(Qt::white));
    // An empty title is no title: it takes no band.
    chart.Title().SetCaption(QString());
    chart.RenderImage();
    EXPECT_LT(chart.ChartRect().Top, r.Top);
}

// Where the ink of one colour lies within the rows from y0 to y1: leftmost and rightmost column.
std::pair<int, int> InkColumns(const QImage& img, int y0, int y1, const std::function<bool(QColor)>& is)
{
    int lo = img.width(), hi = -1;
    for (int y = std::max(0, y0); y < std::min(img.height(), y1); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (is(img.pixelColor(x, y))) {
                lo = std::min(lo, x);
                hi = std::max(hi, x);
            }
    return {lo, hi};
}

TEST_F(ChartFixture, StackedAxesShareTheHeightAndKeepEachTitleBesideItsLabels)
{
    chart.LeftAxis()->SetVisible(false);
    chart.Legend().SetVisible(false);
    TChartAxis* outer = chart.CustomAxes().Add();
    outer->SetStartPosition(0);
    outer->SetEndPosition(50);
    TChartAxis* inner = chart.CustomAxes().Add();
    inner->SetStartPosition(50);
    inner->SetEndPosition(100);
    outer->Title().SetCaption(QStringLiteral("Aussen"));
    outer->Title().Font().SetColor(clRed);
    outer->LabelsFont().SetColor(clBlue);
    inner->Title().SetCaption(QStringLiteral("Innen"));
    inner->Title().Font().SetColor(clGreen);
    inner->LabelsFont().SetColor(clBlack);
    TFastLineSeries& a = AddSeries(10, [](int i) { return 1000 + i; }, clGray);
    TFastLineSeries& b = AddSeries(10, [](int i) { return i; }, clGray);
    a.SetVertAxis(aCustomVertAxis);
    a.SetCustomVertAxis(outer);
    b.SetVertAxis(aCustomVertAxis);
    b.SetCustomVertAxis(inner);
    const QImage img = chart.RenderImage();
    img.save(OutPath("stacked_axes.png"));
    // The shares of the height themselves are the engine's (AxisTest); here each curve keeps to its half.
    for (auto [s, axis] : {std::pair{&a, outer}, std::pair{&b, inner}}) {
        const int y = axis->CalcPosValue(s->YValue(4));
        EXPECT_GE(y, axis->IStartPos);
        EXPECT_LE(y, axis->IEndPos);
        EXPECT_EQ(img.pixelColor(chart.BottomAxis()->CalcPosValue(4), y), QColor(128, 128, 128));
    }
    const auto red = [](QColor c) { return c.red() > 180 && c.green() < 90 && c.blue() < 90; };
    const auto blue = [](QColor c) { return c.blue() > 180 && c.red() < 90 && c.green() < 90; };
    const auto [titleLeft, titleRight] = InkColumns(img, outer->IStartPos, outer->IEndPos, red);
    const auto [labelsLeft, labelsRight] = InkColumns(img, outer->IStartPos, outer->IEndPos, blue);
    ASSERT_LE(titleLeft, titleRight) << "outer title drawn";
    ASSERT_LE(labelsLeft, labelsRight) << "outer labels drawn";
    // Both axes draw at the plot's edge: the outer title stands right beside its own
    // labels, not out where the layout first put the outer band.
    EXPECT_LT(labelsRight, chart.ChartRect().Left);
    EXPECT_GT(labelsLeft, titleRight);
    const auto green = [](QColor c) { return c.green() > 90 && c.red() < 80 && c.blue() < 80; };
    const auto black = [](QColor c) { return c.green() < 60 && c.red() < 60 && c.blue() < 60; };
    const int innerTitleRight = InkColumns(img, inner->IStartPos, inner->IEndPos, green).second;
    const int innerLabelsLeft = InkColumns(img, inner->IStartPos, inner->IEndPos, black).first;
    EXPECT_NEAR(labelsLeft - titleRight, innerLabelsLeft - innerTitleRight, 2);
    EXPECT_LE(labelsLeft - titleRight, 12);
    // The title's hit area moved with it.
    const int y = (outer->IStartPos + outer->IEndPos) / 2;
    const TChartClickResult p = chart.CalcClickResult(QPoint((titleLeft + titleRight) / 2, y), false);
    EXPECT_EQ(p.ClickedArea, caAxisTitle);
    EXPECT_EQ(p.AAxis, outer);
}

TEST_F(ChartFixture, LayoutWithoutPaintAndTheLeastRoomOfTheAxes)
{
    AddSeries(10, [](int i) { return i * 1000.0; }, clRed);
    chart.Title().SetCaption(QStringLiteral("Titel"));
    chart.CalcLayout();   // never painted: the layout the first paint will make
    const TRect dry = chart.ChartRect();
    const int natural = chart.AxesWidthLeft();
    chart.RenderImage();
    EXPECT_EQ(chart.ChartRect(), dry);
    EXPECT_GT(natural, 20);
    // More room than the axes need: the plot starts further in, the axis stays at its edge.
    chart.SetMinAxesWidths(natural + 25, 0);
    chart.RenderImage().save(OutPath("least_axes_room.png"));
    EXPECT_EQ(chart.ChartRect().Left, dry.Left + 25);
    EXPECT_EQ(chart.ChartRect().Right, dry.Right);
    EXPECT_EQ(chart.AxesWidthLeft(), natural) << "what the axes need, not what was reserved";
    EXPECT_EQ(chart.LeftAxis()->PosAxis, chart.ChartRect().Left);
    // Less room than they need changes nothing.
    chart.SetMinAxesWidths(1, 1);
    chart.RenderImage();
    EXPECT_EQ(chart.ChartRect(), dry);
    // Within a paint the dry layout leaves the paint's own rectangles alone.
    chart.OnBeforeDrawChart = [this] { chart.CalcLayout(); };
    chart.RenderImage();
    EXPECT_EQ(chart.ChartRect(), dry);
    // Outside a paint it leaves the title where the paint drew it, narrowed to its text.
    const TRect title = chart.Title().ShapeBounds;
    ASSERT_LT(title.Width(), dry.Width() / 2);
    chart.CalcLayout();
    EXPECT_EQ(chart.Title().ShapeBounds, title);
}

TEST_F(ChartFixture, RepaintWithoutChangeOnlyCopiesTheBuffer)
{
    AddSeries(50, [](int i) { return i % 7; }, clRed);
    int draws = 0;
    chart.OnAfterDraw = [&] { ++draws; };
    const QImage first = chart.RenderImage();
    EXPECT_EQ(draws, 1);
    const QImage copy = chart.grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(draws, 1);
    EXPECT_EQ(copy, first);
    chart.LeftAxis()->SetMinMax(0, 20);   // a change invalidates: the next paint draws
    chart.grab();
    EXPECT_EQ(draws, 2);
    chart.SetAutoRepaint(false);
    chart.LeftAxis()->SetMinMax(0, 30);
    EXPECT_TRUE(chart.BufferValid());
    chart.SetAutoRepaint(true);
    EXPECT_FALSE(chart.BufferValid());
}

// ------------------------------------------------------------------ zoom and pan

TEST_F(ChartFixture, DragOfSixteenPixelsIsIgnoredSeventeenZoomsBackwardUndoesAll)
{
    AddSeries(100, [](int i) { return i % 10; }, clRed);
    chart.Zoom().Direction = tzdHorizontal;
    chart.RenderImage();
    const QPoint a = Inside(0.3, 0.5);
    Drag(Qt::LeftButton, a, a + QPoint(16, 10));
    EXPECT_TRUE(chart.BottomAxis()->Automatic());
    EXPECT_FALSE(chart.ZoomedState());

    double minInOnZoom = -1;
    bool manualInOnZoom = false;
    chart.OnZoom = [&](TCustomChart*) {
        minInOnZoom = chart.BottomAxis()->Minimum();
        manualInOnZoom = !chart.BottomAxis()->Automatic();
    };
    const double expectMin = chart.BottomAxis()->CalcPosPoint(a.x());
    const double expectMax = chart.BottomAxis()->CalcPosPoint(a.x() + 17);
    Drag(Qt::LeftButton, a, a + QPoint(17, 0));
    EXPECT_TRUE(chart.ZoomedState());
    EXPECT_TRUE(manualInOnZoom);   // OnZoom comes after the new range is set
    EXPECT_DOUBLE_EQ(minInOnZoom, expectMin);
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Maximum(), expectMax);
    // Horizontal only: the vertical axes keep their automatic range.
    EXPECT_TRUE(chart.LeftAxis()->Automatic());

    // Zoomed in both directions three times, one backward drag undoes all at once.
    chart.Zoom().Direction = tzdBoth;
    int undos = 0;
    chart.OnUndoZoom = [&](TCustomChart*) { ++undos; };
    for (int i = 0; i < 3; ++i) {
        chart.RenderImage();
        Drag(Qt::LeftButton, Inside(0.2, 0.2), Inside(0.7, 0.8));
    }
    EXPECT_FALSE(chart.LeftAxis()->Automatic());
    Drag(Qt::LeftButton, Inside(0.8, 0.8), Inside(0.2, 0.2));
    EXPECT_EQ(undos, 1);
    EXPECT_FALSE(chart.ZoomedState());
    for (TChartAxis* a : {chart.BottomAxis(), chart.LeftAxis(), chart.TopAxis(), chart.RightAxis()}) {
        EXPECT_TRUE(a->Automatic());
        EXPECT_TRUE(a->AutomaticMinimum());
        EXPECT_TRUE(a->AutomaticMaximum());
    }
    chart.RenderImage();
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Minimum(), 0);
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Maximum(), 99);
}

// Reversed corners and the animated zoom both end where the plain zoom of the sorted
// rectangle does; with a history, undo steps back one zoom at a time.
TEST_F(ChartFixture, ZoomRectReversedAnimatedAndWithHistory)
{
    AddSeries(100, [](int i) { return i % 10; }, clRed);
    chart.RenderImage();
    const QPoint p = Inside(0.2, 0.3), q = Inside(0.6, 0.7);
    const TRect sorted{p.x(), p.y(), q.x(), q.y()};
    chart.ZoomRect(sorted);
    const double min = chart.BottomAxis()->Minimum(), bottomMax = chart.BottomAxis()->Maximum();
    const double max = chart.LeftAxis()->Maximum();
    EXPECT_LT(min, bottomMax);
    chart.UndoZoom();
    chart.RenderImage();
    chart.ZoomRect(TRect{q.x(), q.y(), p.x(), p.y()});
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Minimum(), min);
    EXPECT_DOUBLE_EQ(chart.LeftAxis()->Maximum(), max);
    chart.UndoZoom();
    chart.RenderImage();
    int zooms = 0;
    chart.OnZoom = [&](TCustomChart*) { ++zooms; };
    chart.Zoom().Animated = true;
    chart.ZoomRect(sorted);
    EXPECT_EQ(zooms, 1);
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Minimum(), min);
    EXPECT_DOUBLE_EQ(chart.LeftAxis()->Maximum(), max);
    // The state before the first step is what undo restores.
    chart.UndoZoom();
    EXPECT_TRUE(chart.BottomAxis()->Automatic());

    chart.Zoom().Animated = false;
    chart.Zoom().History = true;
    chart.RenderImage();
    chart.ZoomRect(sorted);
    chart.RenderImage();
    chart.ZoomRect(TRect{Inside(0.3, 0.3).x(), Inside(0.3, 0.3).y(), Inside(0.6, 0.6).x(), Inside(0.6, 0.6).y()});
    const double secondMin = chart.BottomAxis()->Minimum();
    chart.RenderImage();
    chart.ZoomRect(sorted);
    ASSERT_EQ(chart.ZoomHistory().size(), 3u);
    chart.UndoZoom();
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Minimum(), secondMin);
    chart.UndoZoom();
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Minimum(), min);
    EXPECT_DOUBLE_EQ(chart.BottomAxis()->Maximum(), bottomMax);
    EXPECT_FALSE(chart.BottomAxis()->Automatic());
    // The last snapshot gone, undo returns to the state before the first zoom.
    chart.UndoZoom();
    EXPECT_TRUE(chart.ZoomHistory().empty());
    EXPECT_TRUE(chart.BottomAxis()->Automatic());
}

TEST_F(ChartFixture, PanningMakesAxesManualUnlessNotAllowed)
{
    AddSeries(100, [](int i) { return i % 10; }, clRed);
    chart.RenderImage();
    int scrolls = 0;
    chart.OnScroll = [&](TCustomChart*) { ++scrolls; };
    const double width = chart.BottomAxis()->IMaximum - chart.BottomAxis()->IMinimum;
    Drag(Qt::RightButton, Inside(0.5, 0.5), Inside(0.4, 0.5));
    EXPECT_FALSE(chart.BottomAxis()->Automatic());
    EXPECT_GT(chart.BottomAxis()->Minimum(), chart.BottomAxis()->IMinimum);   // moved right by the drag to the left
    EXPECT_NEAR(chart.BottomAxis()->Maximum() - chart.BottomAxis()->Minimum(), width, 1e-9);
    EXPECT_GT(scrolls, 0);
    EXPECT_TRUE(chart.LeftAxis()->Automatic());   // no vertical movement

    chart.UndoZoom();
    chart.SetAllowPanning(pmNone);
    chart.RenderImage();
    Drag(Qt::RightButton, Inside(0.5, 0.5), Inside(0.3, 0.2));
    EXPECT_TRUE(chart.BottomAxis()->Automatic());
    EXPECT_TRUE(chart.LeftAxis()->Automatic());
}

// Wheel panning (the default) scrolls, the zoom wheel zooms by 10 percent a side; a wheel
// tilted sideways is neither up nor down and moves nothing under either.
TEST_F(ChartFixture, WheelScrollsOrZoomsTheVerticalAxesButNotSideways)
{
    AddSeries(100, [](int i) { return i % 10; }, clRed);
    chart.LeftAxis()->SetMinMax(0, 100);
    chart.RenderImage();
    const QPointF at(Inside(0.5, 0.5));
    const auto turn = [&](QPoint angle) {
        QWheelEvent e(at, chart.mapToGlobal(at), QPoint(), angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&chart, &e);
        return std::pair(chart.LeftAxis()->Minimum(), chart.LeftAxis()->Maximum());
    };
    EXPECT_EQ(turn({120, 0}), std::pair(0.0, 100.0));
    EXPECT_EQ(turn({0, 120}), std::pair(3.0, 103.0));
    chart.Panning().MouseWheel = pmwNone;
    chart.Zoom().MouseWheel = pmwNormal;
    chart.Zoom().Direction = tzdVertical;
    EXPECT_EQ(turn({120, 0}), std::pair(3.0, 103.0));
    EXPECT_FALSE(chart.ZoomedState());
    EXPECT_EQ(turn({0, 120}), std::pair(13.0, 93.0));
    chart.LeftAxis()->SetMinMax(0, 100);
    EXPECT_DOUBLE_EQ(turn({0, -120}).first, -10);
}

TEST_F(ChartFixture, RubberBandIsDrawnAndErasedOnTheKeptPicture)
{
    AddSeries(100, [](int i) { return i % 10; }, clRed);
    chart.SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
    const QImage before = chart.RenderImage();
    const auto& kept = static_cast<TTeeCanvas3D*>(chart.Canvas())->Bitmap();
    const QPoint a = Inside(0.2, 0.2), b = Inside(0.6, 0.7);
    chart.MouseDown(Qt::LeftButton, Qt::NoModifier, a.x(), a.y());
    chart.MouseMove(Qt::NoModifier, b.x(), b.y());
    kept.save(OutPath("rubber_band.png"));
    EXPECT_NE(kept.pixelColor(b.x(), (a.y() + b.y()) / 2), before.pixelColor(b.x(), (a.y() + b.y()) / 2));
    EXPECT_TRUE(chart.BufferValid());   // only the band changed: no full paint
    // Moving on erases the old band and draws the new one.
    const QPoint c = Inside(0.7, 0.8);
    chart.MouseMove(Qt::NoModifier, c.x(), c.y());
    EXPECT_EQ(kept.pixelColor(b.x(), (a.y() + b.y()) / 2), before.pixelColor(b.x(), (a.y() + b.y()) / 2));
    chart.MouseMove(Qt::NoModifier, a.x() + 5, a.y() + 5);
    chart.MouseUp(Qt::LeftButton, Qt::NoModifier, a.x() + 5, a.y() + 5);
    // Too small to count: the picture is as before, no axis changed.
    EXPECT_EQ(kept, before);
    EXPECT_TRUE(chart.BottomAxis()->Automatic());
}

// ------------------------------------------------------------------ legend

TEST_F(ChartFixture, LegendCheckBoxHidesTheSeriesAndTheAxesRecompute)
{
    AddSeries(20, [](int i) { return i % 5; }, clRed);
    TFastLineSeries& big = AddSeries(20, [](int i) { return 100 + i; }, clBlue);
    chart.Legend().SetCheckBoxes(true);
    chart.RenderImage().save(OutPath("legend_before.png"));
    EXPECT_GE(chart.LeftAxis()->Maximum(), 119);
    const TChartLegend& lg = chart.Legend();
    ASSERT_EQ(lg.TotalLegendItems(), 2);
    const int y = lg.RectLegend.Top + 1 + int(std::lround(lg.ItemHeight * 0.1)) + lg.ItemHeight + lg.ItemHeight / 2;
    const QPoint onItem(lg.RectLegend.Left + lg.XCheckBox + 4, y);
    EXPECT_EQ(lg.Clicked(onItem.x(), onItem.y()), 1);
    QTest::mouseClick(&chart, Qt::LeftButton, Qt::NoModifier, onItem);
    EXPECT_FALSE(big.Active());
    EXPECT_FALSE(chart.ZoomedState());   // the click was handled: no zoom began
    int dbl = 0;
    chart.OnDblClick = [&](TCustomChart*) { ++dbl; };
    QTest::mouseDClick(&chart, Qt::LeftButton, Qt::NoModifier, Inside(0.5, 0.5));
    EXPECT_EQ(dbl, 1);
    const QImage after = chart.RenderImage();
    after.save(OutPath("legend_after.png"));
    EXPECT_LE(chart.LeftAxis()->Maximum(), 4);
    // The hidden curve keeps its item.
    EXPECT_EQ(chart.Legend().TotalLegendItems(), 2);
    QTest::mouseClick(&chart, Qt::LeftButton, Qt::NoModifier, onItem);
    EXPECT_TRUE(big.Active());

    // Without check boxes an inactive series is not listed.
    chart.Legend().SetCheckBoxes(false);
    big.SetActive(false);
    EXPECT_EQ(chart.Legend().CalcLegendStyle(), lsValues);
    chart.Legend().SetLegendStyle(lsSeries);
    EXPECT_EQ(chart.Legend().TotalLegendItems(), 1);
}

TEST_F(ChartFixture, LegendLayoutRowsPositionAndFirstValue)
{
    for (int k = 0; k < 12; ++k)
        AddSeries(5, [k](int i) { return i + k; }, TCustomAxisPanel::GetDefaultColor(k))
            .SetTitle(QStringLiteral("Kanal mit langem Namen %1").arg(k + 1));
    TChartLegend& lg = chart.Legend();
    lg.SetAlignment(laBottom);
    chart.resize(200, 700);   // one item per row
    chart.RenderImage();
    EXPECT_EQ(lg.NumCols, 1);
    EXPECT_EQ(lg.NumRows, 10);
    EXPECT_LE(lg.RectLegend.Bottom, chart.ChartBounds().Bottom);
    EXPECT_LT(chart.ChartRect().Bottom, lg.RectLegend.Top);

    // A legend at its own position does not take room from the plot.
    chart.resize(500, 400);
    lg.SetVisible(false);
    chart.RenderImage();
    const TRect without = chart.ChartRect();
    lg.SetVisible(true);
    lg.SetCustomPosition(true);
    lg.SetLeft(270);
    lg.SetTop(22);
    chart.RenderImage().save(OutPath("legend_custom.png"));
    EXPECT_EQ(chart.ChartRect(), without);
    EXPECT_EQ(lg.RectLegend.Left, 270);
    EXPECT_EQ(lg.RectLegend.Top, 22);

    EXPECT_EQ(ThrownMessage([&] { lg.SetFirstValue(-1); }), "First Legend Value must be > 0");
    EXPECT_EQ(lg.FirstValue(), 0);
}

TEST_F(ChartFixture, LegendOfTheRowsOfOneLongCurveListsWhatFits)
{
    AddSeries(200000, [](int i) { return i % 100; }, clRed);
    TChartLegend& lg = chart.Legend();
    chart.RenderImage();
    EXPECT_EQ(lg.CalcLegendStyle(), lsValues);
    EXPECT_EQ(lg.TotalLegendItems(), 200000);
    // The rows that fit under the start, not the whole curve.
    EXPECT_GT(lg.LastValue, 5);
    EXPECT_LT(lg.LastValue, 40);
    EXPECT_LE(lg.RectLegend.Bottom, chart.ChartBounds().Bottom);
    lg.SetFirstValue(1000);
    chart.RenderImage();
    EXPECT_EQ(lg.Clicked(lg.RectLegend.Left + 10, lg.RectLegend.Top + 1 + int(std::lround(lg.ItemHeight * 0.1)) + 1), 1000);
}

TEST_F(ChartFixture, LegendTitleSymbolWidthAndLastValues)
{
    TFastLineSeries& a = AddSeries(5, [](int i) { return i * 1.5; }, clRed);   // last 6
    TFastLineSeries& b = AddSeries(8, [](int i) { return 100 - i; }, clBlue);   // last 93
    TChartLegend& lg = chart.Legend();
    lg.SetLegendStyle(lsSeries);
    chart.RenderImage();
    const int h = lg.ItemHeight;
    const int plainHeight = lg.RectLegend.Height();
    // The symbol is a share of the item height, or given in pixels.
    EXPECT_EQ(lg.XLegendBox, int(std::lround(0.2 * h)));
    lg.Symbol.Width = 250;
    chart.RenderImage();
    EXPECT_EQ(lg.XLegendBox, int(std::lround(2.5 * h)));
    lg.Symbol.WidthUnits = lcsPixels;
    lg.Symbol.Width = 25;
    lg.HorizMargin = 3;
    chart.RenderImage();
    EXPECT_EQ(lg.XLegendBox, 28);

    // A title: its lines and 4 pixels on top of the items, which move down under it.
    lg.Title().SetCaption(QStringLiteral("Kurven"));
    lg.Title().Font().SetColor(clGreen);
    const QImage img = chart.RenderImage();
    img.save(OutPath("legend_title.png"));
    ASSERT_GT(lg.TitleHeight, 5);
    EXPECT_EQ(lg.RectLegend.Height(), plainHeight + lg.TitleHeight + 4);
    const auto green = [](QColor c) { return c.green() > 90 && c.red() < 80 && c.blue() < 80; };
    const auto [gl, gr] = InkColumns(img, lg.RectLegend.Top, lg.RectLegend.Top + lg.TitleHeight + 3, green);
    EXPECT_LT(gl, gr) << "title drawn in its band";
    EXPECT_GE(gl, lg.RectLegend.Left);
    EXPECT_LE(gr, lg.RectLegend.Right);
    const int firstRow = lg.RectLegend.Top + 1 + int(std::lround(h * 0.1)) + lg.TitleHeight + 4;
    const int x = lg.RectLegend.Left + 10;
    EXPECT_EQ(lg.Clicked(x, lg.RectLegend.Top + 2), -1) << "the title is no item";
    EXPECT_EQ(lg.Clicked(x, firstRow + h / 2), 0);
    EXPECT_EQ(lg.Clicked(x, firstRow + h + h / 2), 1);

    // Last values: one item per series with its newest value, not the rows of one series.
    lg.Title().SetCaption(QString());
    lg.SetLegendStyle(lsLastValues);
    chart.RenderImage().save(OutPath("legend_last_values.png"));
    ASSERT_EQ(lg.TotalLegendItems(), 2);
    EXPECT_EQ(lg.LegendText(0), TeeFormatFloat(a.ValueFormat, 6) + QChar(6) + QStringLiteral("S1"));
    EXPECT_EQ(lg.LegendText(1), TeeFormatFloat(b.ValueFormat, 93) + QChar(6) + QStringLiteral("S2"));
    lg.TextStyle = ltsRightValue;
    EXPECT_EQ(lg.LegendText(1), QStringLiteral("S2") + QChar(6) + TeeFormatFloat(b.ValueFormat, 93));
    b.SetActive(false);
    EXPECT_EQ(lg.TotalLegendItems(), 1);
}

TEST_F(ChartFixture, MarginsBevelsShadowGradientAndPictureArePaintedAndCounted)
{
    for (TChartAxis* ax : chart.Axes())
        ax->SetVisible(false);
    chart.Legend().SetVisible(false);
    chart.RenderImage();
    // 3 percent of 500 and 4 percent of 400.
    EXPECT_EQ(chart.ChartRect(), (TRect{15, 16, 485, 384}));
    chart.SetMarginUnits(muPixels);
    chart.SetMarginLeft(60);
    chart.RenderImage();
    EXPECT_EQ(chart.ChartRect().Left, 60);
    EXPECT_EQ(chart.ChartRect().Right, 497);
    chart.resize(3, 2);
    chart.RenderImage();
    EXPECT_GE(chart.ChartRect().Width(), 1);
    EXPECT_GE(chart.ChartRect().Height(), 1);
    chart.resize(500, 400);

    for (auto set : {&TChart::SetMarginLeft, &TChart::SetMarginTop, &TChart::SetMarginRight, &TChart::SetMarginBottom})
        (chart.*set)(10);
    chart.SetColor(clSilver);
    chart.RenderImage();
    EXPECT_EQ(chart.ChartRect(), (TRect{10, 10, 490, 390}));
    const QColor white(Qt::white), gray(128, 128, 128), silver(192, 192, 192);

    // Raised outside, lowered inside, 3 pixels each: light and dark edges, 6 pixels taken.
    chart.SetBevelOuter(bvRaised);
    chart.SetBevelInner(bvLowered);
    chart.SetBevelWidth(3);
    QImage img = chart.RenderImage();
    img.save(OutPath("panel_bevels.png"));
    EXPECT_EQ(chart.ChartRect(), (TRect{16, 16, 484, 384}));
    EXPECT_EQ(img.pixelColor(1, 200), white);
    EXPECT_EQ(img.pixelColor(498, 200), gray);
    EXPECT_EQ(img.pixelColor(200, 1), white);
    EXPECT_EQ(img.pixelColor(200, 398), gray);
    EXPECT_EQ(img.pixelColor(4, 200), gray);
    EXPECT_EQ(img.pixelColor(495, 200), white);
    EXPECT_EQ(img.pixelColor(8, 200), silver);

    // A shadow below and right of the panel: the panel gives up that room.
    chart.SetBevelOuter(bvNone);
    chart.SetBevelInner(bvNone);
    chart.Shadow().SetColor(clBlack);
    chart.Shadow().SetSize(6);
    img = chart.RenderImage();
    img.save(OutPath("panel_shadow.png"));
    EXPECT_EQ(chart.ChartRect(), (TRect{10, 10, 484, 384}));
    EXPECT_EQ(img.pixelColor(497, 200), QColor(Qt::black));
    EXPECT_EQ(img.pixelColor(200, 397), QColor(Qt::black));
    EXPECT_NE(img.pixelColor(497, 2), QColor(Qt::black)) << "the shadow starts at its offset";
    EXPECT_EQ(img.pixelColor(491, 200), silver);
    // An emboss above and left.
    chart.Emboss().SetColor(clYellow);
    chart.Emboss().SetHorizSize(-4);
    chart.Emboss().SetVertSize(-4);
    img = chart.RenderImage();
    EXPECT_EQ(chart.ChartRect(), (TRect{14, 14, 484, 384}));
    EXPECT_EQ(img.pixelColor(1, 200), QColor(Qt::yellow));

    // A gradient over the fill, from top to bottom.
    chart.Shadow().SetSize(0);
    chart.Emboss().SetSize(0);
    chart.Gradient().SetStartColor(clRed);
    chart.Gradient().SetEndColor(clBlue);
    chart.Gradient().SetVisible(true);
    img = chart.RenderImage();
    img.save(OutPath("panel_gradient.png"));
    EXPECT_EQ(chart.ChartRect(), (TRect{10, 10, 490, 390}));
    const QColor top = img.pixelColor(5, 1), bottom = img.pixelColor(5, 398), middle = img.pixelColor(5, 200);
    EXPECT_GT(top.red(), 240);
    EXPECT_LT(top.blue(), 15);
    EXPECT_GT(bottom.blue(), 240);
    EXPECT_LT(bottom.red(), 15);
    EXPECT_NEAR(middle.red(), 128, 10);

    // A picture over the whole panel, or only within the plot.
    chart.Gradient().SetVisible(false);
    QImage picture(4, 4, QImage::Format_RGB32);
    picture.fill(Qt::green);
    chart.BackImage = picture;
    img = chart.RenderImage();
    EXPECT_EQ(img.pixelColor(5, 5), QColor(Qt::green));
    EXPECT_EQ(img.pixelColor(250, 200), QColor(Qt::green));
    chart.BackImageInside = true;
    img = chart.RenderImage();
    EXPECT_EQ(img.pixelColor(5, 5), silver);
    EXPECT_EQ(img.pixelColor(250, 200), QColor(Qt::green));
    // Tiled with its corner colour left out: the fill shows in the picture's holes.
    picture.setPixelColor(0, 3, Qt::blue);
    picture.setPixelColor(2, 1, Qt::blue);
    chart.BackImage = picture;
    chart.BackImageInside = false;
    chart.BackImageMode = pbmTile;
    chart.BackImageTransp = true;
    img = chart.RenderImage();
    EXPECT_EQ(img.pixelColor(0, 3), silver);
    EXPECT_EQ(img.pixelColor(6, 5), silver);
    EXPECT_EQ(img.pixelColor(1, 3), QColor(Qt::green));
}

TEST_F(ChartFixture, ClickedAreaOrder)
{
    TFastLineSeries& s = AddSeries(10, [](int) { return 5; }, clRed);
    chart.LeftAxis()->SetMinMax(0, 10);
    chart.Title().SetCaption(QStringLiteral("Titel"));
    chart.Legend().SetVisible(false);
    chart.RenderImage();
    const int y = chart.LeftAxis()->CalcPosValue(5);
    const int x = chart.BottomAxis()->CalcPosValue(4.5);
    TChartClickResult p = chart.CalcClickResult(QPoint(x, y), false);
    EXPECT_EQ(p.ClickedArea, caSeries);
    EXPECT_EQ(p.ASeries, &s);
    EXPECT_EQ(p.PointIndex, 4);
    // With series checking, a series that does not answer clicks is passed over.
    EXPECT_EQ(chart.CalcClickResult(QPoint(x, y), true).ClickedArea, caChartRect);
    p = chart.CalcClickResult(QPoint(chart.LeftAxis()->PosAxis - 5, y), false);
    EXPECT_EQ(p.ClickedArea, caAxis);
    EXPECT_EQ(p.AAxis, chart.LeftAxis());
    const TRect& t = chart.Title().ShapeBounds;
    EXPECT_EQ(chart.CalcClickResult(QPoint((t.Left + t.Right) / 2, (t.Top + t.Bottom) / 2), false).ClickedArea, caTitle);
    s.SetActive(false);
    EXPECT_EQ(chart.CalcClickResult(QPoint(x, y), false).ClickedArea, caNone);
}

} // namespace
