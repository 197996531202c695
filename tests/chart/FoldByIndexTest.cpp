// A paint of many rows per pixel column takes each column's first, extreme and last
// rows from the range index; it must give exactly the pixels of the walk over every row.

#include "ChartTestSupport.h"
#include "chart/Chart.h"
#include "chart/Series.h"

#include <QImage>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>

namespace {

class FoldByIndexTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        chart.resize(700, 450);
        chart.SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
        chart.SetView3D(false);
        chart.SetColor(clWhite);
        chart.Legend().SetVisible(false);
        x = std::make_shared<TChartValues>(kRows);
        for (int i = 0; i < kRows; ++i)
            (*x)[i] = i * 0.01;
        std::mt19937 rng(7);
        std::normal_distribution<double> noise(0, 1);
        std::uniform_int_distribution<int> plateau(0, 400);
        for (int k = 0; k < 3; ++k) {
            auto y = std::make_shared<TChartValues>(kRows);
            double level = 0;
            for (int i = 0; i < kRows; ++i) {
                if (k == 1 && plateau(rng) == 0)
                    level = std::round(noise(rng) * 3);   // long flat stretches and jumps
                (*y)[i] = k == 1 ? level : 10 * k + 4 * std::sin(i * 1e-4) + noise(rng) * (k + 1);
            }
            auto s = std::make_unique<TFastLineSeries>();
            Assign(*s, y);
            chart.AddSeries(s.get());
            series.push_back(std::move(s));
        }
    }
    void TearDown() override
    {
        for (auto& s : series)
            chart.RemoveSeries(s.get());
    }
    void Assign(TFastLineSeries& s, const TChartValuesPtr& y)
    {
        ShareValues(s, x, y);
        s.SetManualData(true);
    }
    QImage Render(bool byIndex)
    {
        for (auto& s : series)
            s->FoldByIndex = byIndex;
        QImage img(chart.width(), chart.height(), QImage::Format_RGB32);
        chart.Draw(&img, TRect{0, 0, chart.width(), chart.height()});
        return img;
    }
    // Pixels in which the two paints differ.
    int Differences()
    {
        const QImage a = Render(true), b = Render(false);
        int n = 0;
        for (int yy = 0; yy < a.height(); ++yy)
            for (int xx = 0; xx < a.width(); ++xx)
                n += a.pixel(xx, yy) != b.pixel(xx, yy);
        return n;
    }

    static constexpr int kRows = 300000;
    TChart chart;
    TChartValuesPtr x;
    std::vector<std::unique_ptr<TFastLineSeries>> series;
};

}

TEST_F(FoldByIndexTest, EveryPixelAsTheWalkOverEveryRow)
{
    EXPECT_EQ(Differences(), 0) << "plain";

    for (auto& s : series)
        s->SetStairs(true);
    EXPECT_EQ(Differences(), 0) << "stairs";
    for (auto& s : series)
        s->SetInvertedStairs(true);
    EXPECT_EQ(Differences(), 0) << "inverted stairs";
    for (auto& s : series) {
        s->SetStairs(false);
        s->Pen().SetWidth(2);
    }

    chart.LeftAxis()->SetInverted(true);
    EXPECT_EQ(Differences(), 0) << "inverted value axis, wide pen";
    for (auto& s : series)
        s->Pen().SetWidth(1);
    chart.BottomAxis()->SetInverted(true);
    EXPECT_EQ(Differences(), 0) << "both axes inverted";
    chart.LeftAxis()->SetInverted(false);
    chart.BottomAxis()->SetInverted(false);

    // Zoomed into a part, the values running past the plot at top and bottom.
    chart.BottomAxis()->SetMinMax(500.123, 1700.5);
    chart.LeftAxis()->SetMinMax(-2, 14);
    EXPECT_EQ(Differences(), 0) << "zoomed";
    // So far that a column holds only a few rows: the rows themselves go to the canvas.
    chart.BottomAxis()->SetMinMax(1000, 1020);
    EXPECT_EQ(Differences(), 0) << "few rows per column";
    chart.BottomAxis()->SetAutomatic(true);
    chart.LeftAxis()->SetAutomatic(true);

    // Gaps that read as NaN and values beyond any pixel.
    for (int i = 0; i < kRows; i += 997)
        (*series[0]->YValues()->Value)[std::size_t(i)] = std::numeric_limits<double>::quiet_NaN();
    (*series[2]->YValues()->Value)[123456] = 1e300;
    (*series[2]->YValues()->Value)[123457] = -std::numeric_limits<double>::infinity();
    for (auto& s : series)
        s->YValues()->SetModified(true);
    chart.LeftAxis()->SetMinMax(-10, 40);
    EXPECT_EQ(Differences(), 0) << "NaN and huge values";
}

TEST_F(FoldByIndexTest, TheIndexFollowsEveryChangeItIsToldOf)
{
    chart.LeftAxis()->SetMinMax(-20, 40);
    ASSERT_EQ(Differences(), 0);
    // Values changed in place: a spike the index does not know yet would be missed,
    // which shows that the paint relies on the index at all ...
    TChartValues& y = *series[0]->YValues()->Value;
    for (int i = 150000; i < 150040; ++i)
        y[std::size_t(i)] = 35;
    EXPECT_GT(Differences(), 0);
    // ... and once the change is told, the index is built again.
    series[0]->YValues()->SetModified(true);
    EXPECT_EQ(Differences(), 0);

    // Rows appended in the array's spare room and a new count: built again as well.
    auto grown = std::make_shared<TChartValues>(*series[1]->YValues()->Value);
    grown->resize(kRows * 2, 0.0);
    auto xs = std::make_shared<TChartValues>(*x);
    xs->resize(kRows * 2);
    for (int i = kRows; i < kRows * 2; ++i) {
        (*xs)[std::size_t(i)] = i * 0.01;
        (*grown)[std::size_t(i)] = (i / 1000) % 2 ? 30 : -15;
    }
    x = xs;
    Assign(*series[1], grown);
    series[1]->YValues()->SetCount(kRows + kRows / 2);
    series[1]->XValues()->SetCount(kRows + kRows / 2);
    EXPECT_EQ(Differences(), 0);

    // Exclusive-or lines keep every segment: the canvas does not fold them, and neither does the index.
    for (auto& s : series)
        s->Pen().SetMode(pmXor);
    EXPECT_EQ(Differences(), 0);
}

// The index of a live run is extended by the rows after the kept ones; every answer
// must be the one a look at each row gives, across block and level borders.
TEST(ValueRangeIndexTest, ExtendedIndexAnswersAsEveryRow)
{
    std::mt19937 rng(11);
    std::normal_distribution<double> noise(0, 50);
    std::vector<double> values;
    const auto grow = [&](std::size_t count) {
        while (values.size() < count)
            values.push_back(noise(rng));
    };
    const auto map = [](double v) { return std::isnan(v) ? 0 : int(std::floor(v)); };
    const auto check = [&](const TValueRangeIndex& index, const char* what) {
        const int count = int(values.size());
        std::uniform_int_distribution<int> row(0, count - 1);
        for (int q = 0; q < 300; ++q) {
            int from = row(rng), to = row(rng);
            if (q % 3 == 0)
                from = std::max(0, count - 1 - q);   // ranges ending among the newest rows
            if (from > to)
                std::swap(from, to);
            int lo = INT_MAX, hi = INT_MIN, loAt = from, hiAt = from;
            for (int r = from; r <= to; ++r) {
                const int p = map(values[std::size_t(r)]);
                if (p < lo)
                    lo = p, loAt = r;
                if (p > hi)
                    hi = p, hiAt = r;
            }
            int gotLo = 0, gotHi = 0;
            bool lowFirst = false;
            index.ColumnExtremes(values.data(), from, to, map, gotLo, gotHi, lowFirst);
            ASSERT_EQ(gotLo, lo) << what << " rows " << from << ".." << to;
            ASSERT_EQ(gotHi, hi) << what << " rows " << from << ".." << to;
            if (loAt != hiAt) {
                ASSERT_EQ(lowFirst, loAt < hiAt) << what << " rows " << from << ".." << to;
            }
            int outside = from;
            while (outside <= to && std::abs(map(values[std::size_t(outside)])) <= 100)
                ++outside;
            ASSERT_EQ(index.FirstOutside(values.data(), from, to, -100, 100, map), outside) << what;
        }
    };

    TValueRangeIndex index;
    grow(100000);
    index.Build(values.data(), int(values.size()));
    check(index, "built");
    // Ten rows appended, the array moved by its growth.
    grow(100010);
    values.shrink_to_fit();
    index.Extend(values.data(), int(values.size()), 100000);
    check(index, "ten appended");
    // The tail replaced from inside a block: a spike and a gap among the new values.
    for (std::size_t r = 99990; r < values.size(); ++r)
        values[r] = noise(rng);
    values[99995] = 5000;
    values[100003] = std::numeric_limits<double>::quiet_NaN();
    grow(100020);
    index.Extend(values.data(), int(values.size()), 99990);
    check(index, "tail replaced");
    // Exactly one block of the third level, then one row more: a level is added.
    values.resize(32768);
    index.Build(values.data(), 32768);
    grow(32769);
    values[32768] = -7000;
    index.Extend(values.data(), 32769, 32768);
    check(index, "new level");
    // Fewer rows than before: the upper levels go.
    values.resize(1000);
    index.Extend(values.data(), 1000, 1000);
    check(index, "fewer rows");
}

TEST_F(FoldByIndexTest, RowsAppendedToTheKeptOnesArePaintedAsTheWalk)
{
    chart.LeftAxis()->SetMinMax(-40, 60);
    chart.BottomAxis()->SetMinMax(0, kRows * 0.0105);
    ASSERT_EQ(Differences(), 0);
    // The arrays grow at their end as a live run's refresh appends to them; the new
    // rows reach past everything before, so a missed row shows in the pixels.
    x->reserve(std::size_t(kRows) + 2000);
    for (int i = kRows; i < kRows + 2000; ++i)
        x->push_back(i * 0.01);
    for (auto& s : series) {
        TChartValues& y = *s->YValues()->Value;
        for (int i = kRows; i < kRows + 2000; ++i)
            y.push_back((i / 100) % 2 ? 55 : -35);
        s->BeginUpdate();
        s->XValues()->SetCountKeeping(kRows + 2000, kRows);
        s->YValues()->SetCountKeeping(kRows + 2000, kRows);
        s->EndUpdate();
    }
    EXPECT_EQ(Differences(), 0);
    EXPECT_EQ(series[0]->YValues()->MaxValue(), 55);
}
