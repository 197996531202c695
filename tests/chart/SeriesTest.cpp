// Fast line series on a real chart: the lines it hands to the canvas and the pixels they leave.
#include "chart/Chart.h"
#include "chart/Series.h"

#include <gtest/gtest.h>

namespace {

// Keeps every line drawn in one colour, from the pen position to the target.
class RecordingCanvas : public TTeeCanvas3D {
public:
    TColor Watch = clRed;
    std::vector<std::pair<TPoint, TPoint>> Lines;
    int Moves = 0;
    void MoveTo(int x, int y) override
    {
        if (fPen.Color() == Watch)
            ++Moves;
        TTeeCanvas3D::MoveTo(x, y);
    }
    void LineTo(int x, int y) override
    {
        if (fPen.Color() == Watch)
            Lines.push_back({PenPos(), TPoint{x, y}});
        TTeeCanvas3D::LineTo(x, y);
    }
    void LineToPoints(const TPoint* p, int n) override { TTeeCanvas::LineToPoints(p, n); }
};

// A chart whose plot shows X and Y from 0 to 10, with one red curve.
class FastLineChart : public ::testing::Test {
protected:
    void SetUp() override
    {
        chart.resize(400, 300);
        chart.SetView3D(false);
        chart.SetColor(clWhite);
        auto c = std::make_unique<RecordingCanvas>();
        canvas = c.get();
        chart.SetCanvas(std::move(c));
        chart.BottomAxis()->SetMinMax(0, 10);
        chart.LeftAxis()->SetMinMax(0, 10);
        chart.BottomAxis()->Grid().SetVisible(false);
        chart.LeftAxis()->Grid().SetVisible(false);
        chart.Legend().SetVisible(false);
        series.SetSeriesColor(clRed);
        chart.AddSeries(&series);
    }
    QImage Render()
    {
        canvas->Lines.clear();
        canvas->Moves = 0;
        return chart.RenderImage();
    }
    TPoint Pix(double x, double y) const
    {
        return {chart.BottomAxis()->CalcPosValue(x), chart.LeftAxis()->CalcPosValue(y)};
    }
    static bool IsRed(const QImage& img, int x, int y) { return img.pixelColor(x, y) == QColor(Qt::red); }

    TChart chart;
    RecordingCanvas* canvas = nullptr;
    TFastLineSeries series;
};

using Line = std::pair<TPoint, TPoint>;

TEST_F(FastLineChart, StairCornersPlainAndInverted)
{
    series.AddXY(2, 2);
    series.AddXY(8, 7);
    series.SetStairs(true);
    QImage img = Render();
    TPoint a = Pix(2, 2), b = Pix(8, 7);
    // Along first, then up: the old level runs to the new X.
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{a, {b.X, a.Y}}, {{b.X, a.Y}, b}}));
    EXPECT_TRUE(IsRed(img, (a.X + b.X) / 2, a.Y));
    EXPECT_TRUE(IsRed(img, b.X, (a.Y + b.Y) / 2));
    EXPECT_FALSE(IsRed(img, a.X, (a.Y + b.Y) / 2));

    series.SetInvertedStairs(true);
    img = Render();
    // Inverted: rises at the old X, then runs along at the new level.
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{a, {a.X, b.Y}}, {{a.X, b.Y}, b}}));
    EXPECT_TRUE(IsRed(img, a.X, (a.Y + b.Y) / 2));
    EXPECT_TRUE(IsRed(img, (a.X + b.X) / 2, b.Y));
    EXPECT_FALSE(IsRed(img, (a.X + b.X) / 2, a.Y));

    series.SetStairs(false);
    img = Render();
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{a, b}}));
    EXPECT_FALSE(IsRed(img, (a.X + b.X) / 2, a.Y));
}

TEST_F(FastLineChart, ColumnsOfOnePixelByDrawAllPointsAndStyle)
{
    // Rows 1 to 3 share one pixel column: the value at the centre of a pixel and two just beside it.
    Render();
    const double c = chart.BottomAxis()->CalcPosPoint(Pix(5, 0).X);
    series.AddXY(1, 1);
    series.AddXY(c, 2);
    series.AddXY(c + 1e-6, 6);
    series.AddXY(c + 2e-6, 4);
    series.AddXY(9, 3);
    Render();
    const TPoint p0 = Pix(1, 1), p1 = Pix(c, 2), p2 = Pix(c + 1e-6, 6), p3 = Pix(c + 2e-6, 4), p4 = Pix(9, 3);
    ASSERT_EQ(p1.X, p3.X);
    // The default draws every row, also those on the same pixel column.
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{p0, p1}, {p1, p2}, {p2, p3}, {p3, p4}}));

    series.SetDrawAllPoints(false);
    Render();
    // daFirst: only the first row of a column draws.
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{p0, p1}, {p1, p4}}));

    series.SetDrawAllPointsStyle(daMinMax);
    Render();
    // daMinMax: the column's span (lowest and highest of the later rows) is drawn when the next column begins.
    const int top = std::min(p2.Y, p3.Y), bottom = std::max(p2.Y, p3.Y);
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{p0, p1}, {p1, {p1.X, top}}, {{p1.X, top}, {p1.X, bottom}},
                                                 {{p1.X, bottom}, p4}}));

    // The last row closes its column on an inverted axis: up to the highest pixel, down to the lowest, and back.
    series.Delete(4);
    chart.LeftAxis()->SetInverted(true);
    Render();
    const TPoint q0 = Pix(1, 1), q1 = Pix(c, 2);
    const int minY = std::min(Pix(c, 6).Y, Pix(c, 4).Y), maxY = std::max(Pix(c, 6).Y, Pix(c, 4).Y);
    EXPECT_EQ(canvas->Lines, (std::vector<Line>{{q0, q1}, {q1, {q1.X, maxY}}, {{q1.X, maxY}, {q1.X, minY}},
                                                 {{q1.X, minY}, {q1.X, maxY}}}));
}

TEST_F(FastLineChart, RowsWithOwnColoursDrawTheSameLinesAsWithout)
{
    // A colour list sends the rows through the one-row steps with the null test;
    // without one, the run loop must hand the canvas exactly the same lines.
    TFastLineSeries other;
    other.SetSeriesColor(clRed);
    unsigned r = 7;
    for (int i = 0; i < 3000; ++i) {
        r = r * 1103515245u + 12345u;
        const double x = i * 0.0033, y = 1 + 8.0 * ((r >> 16) % 1000) / 1000.0;
        series.AddXY(x, y);
        other.AddXY(x, y, QString(), i == 0 ? clRed : clTeeColor);
    }
    ASSERT_NE(other.ColorList(), nullptr);
    ASSERT_EQ(series.ColorList(), nullptr);
    for (bool all : {true, false})
        for (TDrawAllPointsStyle style : {daFirst, daMinMax})
            for (bool stairs : {false, true})
                for (bool inverted : {false, true}) {
                    chart.LeftAxis()->SetInverted(inverted);
                    for (TFastLineSeries* s : {&series, &other}) {
                        s->SetDrawAllPoints(all);
                        s->SetDrawAllPointsStyle(style);
                        s->SetStairs(stairs);
                        s->SetTreatNulls(tnDontPaint);
                    }
                    Render();
                    const auto plain = canvas->Lines;
                    chart.RemoveSeries(&series);
                    chart.AddSeries(&other);
                    Render();
                    EXPECT_EQ(canvas->Lines, plain) << all << style << stairs << inverted;
                    EXPECT_GT(plain.size(), 100u);
                    chart.RemoveSeries(&other);
                    chart.AddSeries(&series);
                }
}

TEST_F(FastLineChart, NullCutsTheLineOnlyWhenNotPainted)
{
    series.AddXY(2, 5);
    series.AddNullXY(4, 5);
    series.AddXY(6, 5);
    series.AddXY(8, 5);
    series.SetTreatNulls(tnDontPaint);
    QImage img = Render();
    const int y = Pix(0, 5).Y;
    EXPECT_FALSE(IsRed(img, Pix(3, 0).X, y));
    EXPECT_FALSE(IsRed(img, Pix(5, 0).X, y));
    EXPECT_TRUE(IsRed(img, Pix(7, 0).X, y));

    // Ignored, the null is an ordinary point: the line passes through its stored value.
    series.SetTreatNulls(tnIgnore);
    img = Render();
    for (double x : {3.0, 5.0, 7.0})
        EXPECT_TRUE(IsRed(img, Pix(x, 0).X, y)) << x;
}

TEST_F(FastLineChart, ZoomOutsideTheCurveDrawsNothing)
{
    for (int i = 0; i <= 10; ++i)
        series.AddXY(i, i % 3);
    chart.BottomAxis()->SetMinMax(20, 30);
    QImage img = Render();
    EXPECT_EQ(series.FirstValueIndex(), -1);
    EXPECT_TRUE(canvas->Lines.empty());
    for (int x = 0; x < img.width(); ++x)
        for (int yy = 0; yy < img.height(); ++yy)
            ASSERT_FALSE(IsRed(img, x, yy)) << x << "," << yy;
}

// The single polyline path hands every point to the painter at once; it must leave the pixels
// of the segments, also where the canvas folds many rows per pixel column into their extremes.
TEST_F(FastLineChart, SinglePolylinePathPaintsAsTheSegmentsAndItsConditions)
{
    for (int i = 0; i <= 10; ++i)
        series.AddXY(i, i % 2 ? 8 : 2);
    series.SetDrawStyle(flAll);
    EXPECT_TRUE(series.DrawAllAtOnce());
    const QImage all = Render();
    // One polyline call, no LineTo: the point array went to the canvas at once.
    EXPECT_TRUE(canvas->Lines.empty());
    EXPECT_EQ(series.Points.size(), 11u);
    series.SetDrawStyle(flSegments);
    const QImage segments = Render();
    EXPECT_EQ(canvas->Lines.size(), 10u);
    EXPECT_EQ(all, segments);

    series.SetDrawStyle(flAll);
    series.SetStairs(true);
    EXPECT_FALSE(series.DrawAllAtOnce());
    series.SetStairs(false);
    series.SetTreatNulls(tnDontPaint);
    EXPECT_FALSE(series.DrawAllAtOnce());
    series.SetTreatNulls(tnIgnore);
    chart.SetView3D(true);
    EXPECT_FALSE(series.DrawAllAtOnce());
    chart.SetView3D(false);

    // Many rows per pixel column, jumping up and down.
    series.ClearValues();
    unsigned r = 12345;
    for (int i = 0; i < 5000; ++i) {
        r = r * 1103515245u + 12345u;
        series.AddXY(i * 0.002, 1 + 8.0 * ((r >> 16) % 1000) / 1000.0);
    }
    series.SetDrawStyle(flSegments);
    const QImage folded = Render();
    series.SetDrawStyle(flAll);
    EXPECT_TRUE(series.DrawAllAtOnce());
    EXPECT_EQ(Render(), folded);
}

TEST_F(FastLineChart, DeepZoomBetweenTwoRowsStillDrawsTheLineAcross)
{
    // Both ends of the only visible segment lie far outside any screen.
    for (int i = 0; i < 1000; ++i)
        series.AddXY(i, i % 2 ? 8 : 2);
    chart.SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
    chart.BottomAxis()->SetMinMax(500.2, 500.2000001);
    chart.LeftAxis()->SetMinMax(0, 10);
    const QImage img = chart.RenderImage();
    EXPECT_EQ(series.FirstValueIndex(), 501);
    EXPECT_LT(Pix(500, 0).X, -1000000);
    EXPECT_GT(Pix(501, 0).X, 1000000);
    // The segment from row 500 (Y 2) to row 501 (Y 8) crosses the plot almost level at its
    // crossing height: some column in the middle of the plot carries it.
    const TRect& r = chart.ChartRect();
    const int x = (r.Left + r.Right) / 2;
    bool found = false;
    for (int y = r.Top; y < r.Bottom; ++y)
        found |= img.pixelColor(x, y).red() > 200 && img.pixelColor(x, y).green() < 120;
    EXPECT_TRUE(found);
}

TEST_F(FastLineChart, ClickedFindsTheSegmentWithinTolerance)
{
    series.AddXY(2, 2);
    series.AddXY(8, 2);
    series.AddXY(8.5, 8);
    Render();
    const TPoint a = Pix(2, 2), b = Pix(8, 2);
    EXPECT_EQ(series.Clicked(b.X, b.Y), 1);   // exactly on a point
    EXPECT_EQ(series.Clicked((a.X + b.X) / 2, a.Y), 0);
    EXPECT_EQ(series.Clicked((a.X + b.X) / 2, a.Y - 3), -1);
    series.SetClickTolerance(3);
    EXPECT_EQ(series.Clicked((a.X + b.X) / 2, a.Y - 3), 0);
    EXPECT_EQ(series.Clicked((a.X + b.X) / 2, a.Y - 5), -1);
    // In stair form the hit follows the two legs, not the diagonal.
    series.SetClickTolerance(0);
    series.AddXY(9.5, 2);
    series.SetStairs(true);
    Render();
    const TPoint c = Pix(8.5, 8), d = Pix(9.5, 2);
    EXPECT_EQ(series.Clicked(d.X, (c.Y + d.Y) / 2), 2);
    EXPECT_EQ(series.Clicked((c.X + d.X) / 2, (c.Y + d.Y) / 2), -1);
}

TEST_F(FastLineChart, AppendingWithoutRepaintDrawsOnTheKeptPicture)
{
    series.AddXY(1, 1);
    series.AddXY(3, 3);
    chart.RenderImage();
    ASSERT_TRUE(chart.BufferValid());
    series.SetAutoRepaint(false);
    series.AddXY(6, 3);
    // No invalidate: the picture stays valid, and the new segment is on it.
    EXPECT_TRUE(chart.BufferValid());
    const QImage& kept = static_cast<TTeeCanvas3D*>(chart.Canvas())->Bitmap();
    EXPECT_TRUE(IsRed(kept, Pix(4.5, 0).X, Pix(0, 3).Y));

    series.SetAutoRepaint(true);
    series.AddXY(8, 3);
    EXPECT_FALSE(chart.BufferValid());
}

TEST(FastLineSeries, MarginsColourAndOwnDefaults)
{
    TFastLineSeries s;
    EXPECT_FALSE(s.AllowSinglePoint());
    int l = 0, r = 0;
    s.CalcHorizMargins(l, r);
    EXPECT_EQ(std::make_pair(l, r), std::make_pair(1, 1));
    s.Pen().SetWidth(4);   // 4 - (4 - 2) / 2
    s.CalcHorizMargins(l, r);
    EXPECT_EQ(std::make_pair(l, r), std::make_pair(3, 3));
    s.SetSeriesColor(clBlue);
    EXPECT_EQ(s.LinePen().Color(), clBlue);
    TTeePen p;
    p.SetColor(clGreen);
    s.SetPen(p);
    EXPECT_EQ(s.SeriesColor(), clGreen);
}

} // namespace
