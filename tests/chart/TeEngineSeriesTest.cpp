#include "ChartTestSupport.h"

#include <bit>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace {

std::vector<double> Values(TChartValueList* l)
{
    return std::vector<double>(l->Data(), l->Data() + l->Count());
}

TEST(ValueList, SortedInsertionKeepsArrivalOrderOfEqualValues)
{
    TChartSeries s;
    s.AddXY(1, 10);
    s.AddXY(3, 30);
    s.AddXY(2, 20);
    EXPECT_EQ(s.AddXY(3, 31), 3);
    s.AddXY(0, 0);
    EXPECT_EQ(s.AddXY(3, 32), 5);
    EXPECT_EQ(s.AddXY(2, 21), 3);
    EXPECT_EQ(Values(s.XValues()), (std::vector<double>{0, 1, 2, 2, 3, 3, 3}));
    // Y follows its row: equal X values stand in the order they came.
    EXPECT_EQ(Values(s.YValues()), (std::vector<double>{0, 10, 20, 21, 30, 31, 32}));

    TChartValueList desc(nullptr, "D");
    desc.SetOrder(loDescending);
    for (double v : {5.0, 7.0, 1.0, 5.0, 6.0})
        desc.AddChartValue(v);
    EXPECT_EQ(Values(&desc), (std::vector<double>{7, 6, 5, 5, 1}));

    TChartValueList none(nullptr, "N");
    for (double v : {5.0, 7.0, 1.0})
        none.AddChartValue(v);
    EXPECT_EQ(Values(&none), (std::vector<double>{5, 7, 1}));
}

TEST(ValueList, CapacityGrowsInStepsOfThousandAndClearReleases)
{
    TChartValueList l(nullptr, "X");
    EXPECT_EQ(l.Capacity(), 0);
    l.AddChartValue(1);
    EXPECT_EQ(l.Capacity(), 1000);
    for (int i = 1; i < 1000; ++i)
        l.AddChartValue(i);
    EXPECT_EQ(l.Capacity(), 1000);
    l.AddChartValue(1000);
    EXPECT_EQ(l.Capacity(), 2000);
    EXPECT_EQ(l.Count(), 1001);
    l.ClearValues();
    EXPECT_EQ(l.Capacity(), 0);
    EXPECT_EQ(l.Count(), 0);
    EXPECT_TRUE(l.Modified());
    l.AddChartValue(4);
    EXPECT_EQ(l.Capacity(), 1000);
}

TEST(ValueList, StatisticsAreComputedOnReadOnlyWhenModified)
{
    TChartValueList l(nullptr, "Y");
    EXPECT_TRUE(l.Modified());
    EXPECT_EQ(l.MaxValue(), 0);
    EXPECT_EQ(l.MinValue(), 0);
    EXPECT_EQ(l.Total(), 0);
    EXPECT_FALSE(l.Modified());

    for (double v : {3.0, -4.0, 10.0, 2.0})
        l.AddChartValue(v);
    EXPECT_TRUE(l.Modified());
    EXPECT_EQ(l.MaxValue(), 10);
    EXPECT_EQ(l.MinValue(), -4);
    EXPECT_EQ(l.Total(), 11);
    EXPECT_EQ(l.TotalABS(), 19);
    EXPECT_EQ(l.Range(), 14);
    EXPECT_FALSE(l.Modified());

    // Written behind the list's back: the cached figures stand until Modified is set.
    (*l.Value)[0] = 100;
    EXPECT_EQ(l.MaxValue(), 10);
    l.SetModified(true);
    EXPECT_EQ(l.MaxValue(), 100);
    l.SetValue(1, -50);
    EXPECT_EQ(l.MinValue(), -50);
    EXPECT_THROW(l.SetValue(4, 1), ChartException);
    TChartValueList empty(nullptr, "E");
    EXPECT_EQ(empty.First(), 0);
    EXPECT_EQ(empty.Last(), 0);
}

TEST(ValueList, CountAssertions)
{
    TChartValueList l(nullptr, "X");
    l.Value = std::make_shared<TChartValues>(3, 1.0);
    l.SetCount(3);
    EXPECT_EQ(l.Count(), 3);
    l.SetCount(4);
    EXPECT_EQ(ThrownMessage([&] { (void)l.Count(); }), "ValueList Count (4) greater than array length (3).");
    // Reading the statistics repairs the count silently.
    EXPECT_EQ(l.MaxValue(), 1);
    EXPECT_EQ(l.Count(), 3);
    // The setter checks the count it had: a negative value gets in once.
    EXPECT_NO_THROW(l.SetCount(-1));
    EXPECT_EQ(ThrownMessage([&] { l.SetCount(2); }), "ValueList Count must be greater than zero.");
}

TEST(ValueList, LocateDeleteSequence)
{
    TChartValueList l(nullptr, "X");
    for (double v : {4.0, 7.0, 4.0, 9.0, 1.0})
        l.AddChartValue(v);
    EXPECT_EQ(l.Locate(4), 0);
    EXPECT_EQ(l.Locate(4, 1, 4), 2);
    EXPECT_EQ(l.Locate(8), -1);
    EXPECT_EQ(l.Locate(4, 3, 2), -1);
    EXPECT_EQ(l.First(), 4);
    EXPECT_EQ(l.Last(), 1);

    EXPECT_EQ(ThrownMessage([&] { l.Delete(3, 3); }), "Quantity of data to delete must be less than Count.");
    l.Delete(1, 2);
    EXPECT_EQ(Values(&l), (std::vector<double>{4, 9, 1}));
    l.Delete(0);
    EXPECT_EQ(Values(&l), (std::vector<double>{9, 1}));
    l.FillSequence();
    EXPECT_EQ(Values(&l), (std::vector<double>{0, 1}));
}

TEST(Series, BulkFillSharesTheCallersArrays)
{
    auto x = std::make_shared<TChartValues>(std::vector<double>{1, 2, 3, 4, 5});
    auto y = std::make_shared<TChartValues>(std::vector<double>{7, -2, 9, 0, 3});
    TChartSeries s;
    int afterAdd = 0;
    s.OnAfterAdd = [&](TChartSeries*, int) { ++afterAdd; };
    ShareValues(s, x, y);
    s.XValues()->SetDateTime(true);
    s.SetManualData(true);

    EXPECT_EQ(s.XValues()->Data(), x->data());   // no copy
    EXPECT_EQ(s.Count(), 5);
    EXPECT_EQ(s.MaxYValue(), 9);
    EXPECT_EQ(s.MinYValue(), -2);
    EXPECT_EQ(s.MinXValue(), 1);
    EXPECT_EQ(s.MaxXValue(), 5);
    EXPECT_EQ(s.YValues()->Total(), 17);
    (*y)[1] = -20;   // the caller writes into its array and says so
    s.YValues()->SetModified(true);
    EXPECT_EQ(s.MinYValue(), -20);

    // Growing takes a private copy: the caller's array keeps its length.
    s.AddXY(6, 1);
    EXPECT_EQ(x->size(), 5u);
    EXPECT_NE(s.XValues()->Data(), x->data());
    EXPECT_EQ(s.Count(), 6);
    EXPECT_EQ(afterAdd, 1);

    TChartSeries t;
    t.XValues()->Value = std::make_shared<TChartValues>(3);
    t.XValues()->SetCount(4);
    EXPECT_THROW((void)t.Count(), EChartAssertion);
}

TEST(Series, RefusedAddLeavesEverythingAsItWas)
{
    TChartSeries s;
    s.AddXY(1, 1, "a", clRed);
    s.OnBeforeAdd = [](TChartSeries* sender) { return sender->XValues()->TempValue < 10; };
    EXPECT_EQ(s.AddXY(20, 5, "b", clBlue), -1);
    EXPECT_EQ(s.Count(), 1);
    EXPECT_EQ(s.YValues()->Count(), 1);
    EXPECT_EQ(s.Labels().Count(), 1);
    ASSERT_NE(s.ColorList(), nullptr);
    EXPECT_EQ(s.ColorList()->size(), 1u);
    EXPECT_EQ(s.AddXY(2, 5), 1);
}

TEST(Series, ColoursLabelsAndNulls)
{
    TChartSeries s;
    s.SetSeriesColor(clNavy);
    s.Add(5);
    s.Add(6);
    EXPECT_EQ(s.ColorList(), nullptr);   // no own colour yet
    EXPECT_EQ(s.Labels().Count(), 0);
    EXPECT_EQ(s.AddNull("leer"), 2);
    ASSERT_NE(s.ColorList(), nullptr);
    EXPECT_EQ(*s.ColorList(), (std::vector<TColor>{clTeeColor, clTeeColor, clNone}));
    EXPECT_EQ(s.Labels().Count(), 3);
    EXPECT_EQ(s.Labels().Label(2), "leer");
    EXPECT_EQ(s.Labels().Label(0), "");
    EXPECT_TRUE(s.IsNull(2));
    EXPECT_FALSE(s.IsNull(0));
    EXPECT_FALSE(s.IsNull(99));
    EXPECT_EQ(s.XValue(2), 2);   // Add numbers rows by X count
    EXPECT_EQ(s.ValueColor(0), clNavy);
    EXPECT_EQ(s.ValueColor(2), clNone);
    EXPECT_EQ(s.ValueColor(50), clNavy);
    s.AddNullXY(1.5, 7);
    EXPECT_TRUE(s.IsNull(2));   // sorted in before the null at X 2
    EXPECT_EQ(s.YValue(2), 7);
    // A null row counts in the statistics with its stored value.
    EXPECT_EQ(s.MaxYValue(), 7);
    EXPECT_EQ(s.MinYValue(), 0);
    s.SetColorEachPoint(true);
    EXPECT_EQ(s.ValueColor(1), TCustomAxisPanel::GetDefaultColor(1));
    s.SetSeriesColor(clTeeColor);
    s.SetAutoColor(clLime);
    EXPECT_EQ(s.SeriesColor(), clLime);

    TChartSeries side;   // on its side: Add numbers the Y rows
    side.SetYMandatory(false);
    side.Add(42);
    EXPECT_EQ(side.XValue(0), 42);
    EXPECT_EQ(side.YValue(0), 0);
}

TEST(Series, DeleteRowsAndRanges)
{
    TChartSeries s;
    for (int i = 0; i < 3; ++i)
        s.AddXY(i, i * 10, QString::number(i));
    EXPECT_EQ(ThrownMessage([&] { s.Delete(3); }), "Series Delete: ValueIndex 3 out of bounds (0 to 2).");
    EXPECT_EQ(s.Count(), 3);
    s.Delete(1);
    EXPECT_EQ(Values(s.YValues()), (std::vector<double>{0, 20}));
    EXPECT_EQ(s.Labels().Label(1), "2");

    TChartSeries r;
    for (int i = 0; i < 6; ++i)
        r.AddXY(i * 2, i, QString(), i < 2 ? clRed : clTeeColor);
    EXPECT_THROW(r.Delete(0, 0), EChartAssertion);
    EXPECT_THROW(r.Delete(4, 3), EChartAssertion);
    r.Delete(1, 3, true);
    EXPECT_EQ(Values(r.YValues()), (std::vector<double>{0, 4, 5}));
    EXPECT_EQ(Values(r.XValues()), (std::vector<double>{0, 1, 2}));   // gap removed
    ASSERT_NE(r.ColorList(), nullptr);
    EXPECT_EQ(*r.ColorList(), (std::vector<TColor>{clRed, clTeeColor, clTeeColor}));

    TChartSeries c;
    c.AddXY(0, 0, QString(), clRed);
    c.Delete(0, 1);
    EXPECT_EQ(c.ColorList(), nullptr);   // an emptied colour list goes
}

TEST(Series, ClearValuesAndUpdateBracket)
{
    std::vector<TTeeSeriesEvent> events;   // outlives the chart that reports into it
    TCustomAxisPanel chart;
    TChartSeries s;
    chart.AddSeries(&s);
    chart.AddListener([&](TChartSeries*, TTeeSeriesEvent e) { events.push_back(e); });
    int added = 0, cleared = 0;
    s.OnAfterAdd = [&](TChartSeries*, int) { ++added; };
    s.OnClearValues = [&](TChartSeries*) { ++cleared; };

    s.BeginUpdate();
    s.BeginUpdate();
    for (int i = 0; i < 10; ++i)
        s.AddXY(i, i);
    s.EndUpdate();
    EXPECT_EQ(added, 0);
    EXPECT_TRUE(events.empty());
    s.EndUpdate();
    EXPECT_EQ(events, std::vector<TTeeSeriesEvent>{seDataChanged});
    s.EndUpdate();   // below zero nothing happens
    EXPECT_EQ(events.size(), 1u);
    s.AddXY(10, 10);
    EXPECT_EQ(added, 1);

    s.AddXY(11, 1, "x", clRed);
    s.ClearValues();
    EXPECT_EQ(cleared, 1);
    EXPECT_EQ(s.Count(), 0);
    EXPECT_EQ(s.XValues()->Capacity(), 0);
    EXPECT_EQ(s.ColorList(), nullptr);
    EXPECT_EQ(s.Labels().Count(), 0);
    EXPECT_EQ(s.FirstValueIndex(), -1);

    s.SetActive(false);
    s.SetSeriesColor(clRed);
    EXPECT_EQ(events, (std::vector<TTeeSeriesEvent>{seDataChanged, seChangeActive, seChangeColor}));
}

TEST(Series, CheckOrderMovesWholeRows)
{
    TChartSeries s;
    s.XValues()->SetOrder(loNone);
    const double xs[] = {5, 3, 9, 1, 3, 7, 0, 8};
    for (int i = 0; i < 8; ++i)
        s.AddXY(xs[i], xs[i] * 10, QString::number(xs[i]), i == 2 ? clRed : clTeeColor);
    s.XValues()->SetOrder(loAscending);
    s.CheckOrder();
    EXPECT_EQ(Values(s.XValues()), (std::vector<double>{0, 1, 3, 3, 5, 7, 8, 9}));
    for (int i = 0; i < s.Count(); ++i) {
        EXPECT_EQ(s.YValue(i), s.XValue(i) * 10);
        EXPECT_EQ(s.Labels().Label(i), QString::number(s.XValue(i)));
        EXPECT_EQ(s.ValueColor(i) == clRed, s.XValue(i) == 9);
    }
    // With the mandatory list ordered, it is sorted and X numbered anew.
    TChartSeries m;
    m.XValues()->SetOrder(loNone);
    for (double y : {4.0, 2.0, 8.0})
        m.Add(y);
    m.YValues()->SetOrder(loDescending);
    m.CheckOrder();
    EXPECT_EQ(Values(m.YValues()), (std::vector<double>{8, 4, 2}));
    EXPECT_EQ(Values(m.XValues()), (std::vector<double>{0, 1, 2}));

    // Many equal keys in random order: the sort must not tear rows apart.
    TChartSeries big;
    big.XValues()->SetOrder(loNone);
    std::uint32_t seed = 12345;
    for (int i = 0; i < 20000; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const double x = double(seed % 500);
        big.AddXY(x, x + 0.25);
    }
    big.XValues()->SetOrder(loAscending);
    big.CheckOrder();
    for (int i = 1; i < big.Count(); ++i)
        ASSERT_LE(big.XValue(i - 1), big.XValue(i));
    for (int i = 0; i < big.Count(); ++i)
        ASSERT_EQ(big.YValue(i), big.XValue(i) + 0.25);
}

struct VisibleRange : ::testing::Test {
    void SetUp() override
    {
        chart.SetChartRect({0, 0, 100, 100});
        chart.AddSeries(&s);
    }
    void Fill(const std::vector<double>& x)
    {
        xs = std::make_shared<TChartValues>(x);
        ShareValues(s, xs, std::make_shared<TChartValues>(x));
    }
    std::pair<int, int> Indices()
    {
        s.CalcFirstLastVisibleIndex();
        return {s.FirstValueIndex(), s.LastValueIndex()};
    }
    std::pair<int, int> Range(double lo, double hi)
    {
        chart.BottomAxis()->SetMinMax(lo, hi);
        chart.BottomAxis()->AdjustMaxMin();
        chart.BottomAxis()->InternalCalcPositions();
        return Indices();
    }
    // The walk over the rows as the series core describes it.
    std::pair<int, int> Walk(double lo, double hi) const
    {
        const std::vector<double>& v = *xs;
        const int count = int(v.size());
        int first = 0;
        if (v[0] <= lo) {
            while (first < count && v[first] < lo)
                ++first;
            if (first >= count)
                return {-1, -1};
        }
        if (v[count - 1] <= hi)
            return {first, count - 1};
        int last = first;
        while (last < count - 1 && v[last] < hi)
            ++last;
        return {first, last};
    }
    TCustomAxisPanel chart;
    TChartSeries s;
    TChartValuesPtr xs;
};

using Rows = std::pair<int, int>;

TEST_F(VisibleRange, FirstAndLastIndexFollowTheAxisRangeAndItsOffsets)
{
    for (int i = 0; i < 100; ++i)
        s.AddXY(i, i);
    // The last index is the first row beyond the edge, for the connecting line.
    EXPECT_EQ(Range(10.5, 20.5), Rows(11, 21));
    s.SetDrawBetweenPoints(false);
    EXPECT_EQ(Indices(), Rows(11, 20));
    s.SetDrawBetweenPoints(true);
    EXPECT_EQ(Range(-50, 50.5), Rows(0, 51));
    EXPECT_EQ(Range(90, 1000), Rows(90, 99));
    EXPECT_EQ(Range(200, 300), Rows(-1, -1));
    chart.BottomAxis()->SetInverted(true);
    EXPECT_EQ(Range(10.5, 20.5), Rows(11, 21));
    chart.BottomAxis()->SetInverted(false);

    // An offset of one pixel moves no edge; at 10 pixels per unit one of 21 reaches 2 units in.
    // The edges lie on rows, so that a shift by a single pixel would show.
    EXPECT_EQ(Range(11, 21), Rows(11, 21));
    chart.BottomAxis()->SetMinimumOffset(1);
    chart.BottomAxis()->SetMaximumOffset(1);
    EXPECT_EQ(Indices(), Rows(11, 21));
    chart.BottomAxis()->SetMinimumOffset(21);
    chart.BottomAxis()->SetMaximumOffset(21);
    EXPECT_EQ(Indices(), Rows(13, 19));

    s.SetCalcVisiblePoints(false);
    EXPECT_EQ(Range(10.5, 20.5), Rows(0, 99));
}

TEST(SeriesList, ChartAddsColoursAndResolvesAxes)
{
    auto chart = std::make_unique<TCustomAxisPanel>();
    TChartSeries a, b;
    chart->AddSeries(&a);
    chart->AddSeries(&b);
    chart->AddSeries(&a);   // already there
    EXPECT_EQ(chart->SeriesCount(), 2);
    EXPECT_EQ(chart->SeriesList().IndexOf(&b), 1);
    EXPECT_NE(a.SeriesColor(), b.SeriesColor());
    EXPECT_EQ(a.GetHorizAxis(), chart->BottomAxis());
    EXPECT_EQ(a.GetVertAxis(), chart->LeftAxis());
    b.SetHorizAxis(aTopAxis);
    b.SetVertAxis(aRightAxis);
    EXPECT_EQ(b.GetHorizAxis(), chart->TopAxis());
    EXPECT_EQ(b.GetVertAxis(), chart->RightAxis());

    TChartAxis* custom = chart->CustomAxes().Add();
    EXPECT_EQ(chart->Axes().Count(), 7);
    b.SetCustomVertAxis(custom);
    EXPECT_EQ(b.VertAxis(), aCustomVertAxis);
    EXPECT_EQ(b.GetVertAxis(), custom);
    EXPECT_TRUE(b.AssociatedToAxis(custom));
    EXPECT_FALSE(a.AssociatedToAxis(custom));
    chart->CustomAxes().Delete(0);
    EXPECT_EQ(b.VertAxis(), aLeftAxis);
    EXPECT_EQ(b.CustomVertAxis(), nullptr);
    EXPECT_EQ(b.GetVertAxis(), chart->LeftAxis());
    EXPECT_EQ(chart->Axes().Count(), 6);

    chart->RemoveSeries(&a);
    EXPECT_EQ(chart->SeriesCount(), 1);
    EXPECT_EQ(a.ParentChart(), nullptr);
    {
        TChartSeries temporary;
        temporary.SetParentChart(chart.get());
        EXPECT_EQ(chart->SeriesCount(), 2);
    }
    EXPECT_EQ(chart->SeriesCount(), 1);   // a destroyed series leaves the list
    chart.reset();
    EXPECT_EQ(b.ParentChart(), nullptr);   // a destroyed chart lets its series go
    EXPECT_EQ(b.GetHorizAxis(), nullptr);
    EXPECT_EQ(b.CalcXPos(0), 0);
}

TEST(Series, MarksComeOnFirstUseAndFollowTheRows)
{
    const GermanFormats german;
    TCustomAxisPanel chart;
    TChartSeries s;
    for (int i = 0; i < 5; ++i)
        s.AddXY(i, i * 2.5, i == 1 ? QStringLiteral("Start") : QString());
    chart.AddSeries(&s);
    EXPECT_FALSE(s.HasMarks());
    EXPECT_FALSE(s.Marks().Visible);
    EXPECT_TRUE(s.HasMarks());
    s.ValueFormat = "0.0";
    EXPECT_EQ(s.GetMarkText(1), "Start");
    EXPECT_EQ(s.GetMarkText(3), "7,5");
    s.OnGetMarkText = [](TChartSeries*, int index, QString& text) { if (index == 4) text = "Ende"; };
    EXPECT_EQ(s.GetMarkText(4), "Ende");
    s.Marks().Positions = {{1, 1}, {2, 2}, {3, 3}};
    s.Delete(0);
    EXPECT_EQ(s.Marks().Positions, (std::vector<TPoint>{{2, 2}, {3, 3}}));
    s.Delete(1, 3);
    EXPECT_EQ(s.Marks().Positions, (std::vector<TPoint>{{2, 2}}));

    // Visible marks draw their text above the point.
    chart.SetChartRect({0, 0, 200, 200});
    for (TChartAxis* a : chart.Axes()) {
        a->AdjustMaxMin();
        a->InternalCalcPositions();
    }
    s.Marks().Positions.clear();
    s.CalcFirstLastVisibleIndex();
    QImage img(200, 200, QImage::Format_RGB32);
    auto inkAbove = [&] {
        img.fill(Qt::white);
        chart.Canvas()->InitWindow(&img, {0, 0, 200, 200}, false, clWhite);
        s.DrawMarks();
        chart.Canvas()->ShowImage(&img, {0, 0, 200, 200});
        const int x = s.CalcXPos(0), y = s.CalcYPos(0);
        for (int yy = std::max(0, y - 16); yy < y; ++yy)
            for (int xx = std::max(0, x - 15); xx < std::min(200, x + 15); ++xx)
                if (qGray(img.pixel(xx, yy)) < 128)
                    return true;
        return false;
    };
    EXPECT_FALSE(inkAbove());
    s.Marks().Visible = true;
    EXPECT_TRUE(inkAbove());
}

// Bulk-filled X lists: the search by halves only for lists that really are in order.
TEST_F(VisibleRange, AnUnsortedXListGivesTheRowsOfTheWalk)
{
    Fill({0, 10, 1, 2, 3, 11, 12});
    EXPECT_EQ(Range(2.5, 20), Walk(2.5, 20));
    EXPECT_EQ(Range(2.5, 20), Rows(1, 6));
    EXPECT_EQ(Range(-1, 2.5), Rows(0, 1));
    EXPECT_EQ(Range(10.5, 11.5), Walk(10.5, 11.5));

    // A sorted list gives the same rows as the walk would.
    Fill({0, 1, 2, 3, 10, 11, 12});
    for (auto [lo, hi] : {std::pair(2.5, 20.0), std::pair(-1.0, 2.5), std::pair(10.5, 11.5), std::pair(13.0, 14.0)})
        EXPECT_EQ(Range(lo, hi), Walk(lo, hi)) << lo << " " << hi;

    // A value changed in the shared array counts once the list is told of it.
    EXPECT_EQ(Range(10.5, 20), Rows(5, 6));
    (*xs)[1] = 50;
    s.XValues()->SetModified(true);
    EXPECT_EQ(Range(10.5, 20), Walk(10.5, 20));
    EXPECT_EQ(Range(10.5, 20), Rows(1, 6));

    // A list that is only partly in order from its start: the walk stops early.
    std::vector<double> big(2000);
    for (int i = 0; i < 2000; ++i)
        big[std::size_t(i)] = i % 1000;
    Fill(big);
    EXPECT_EQ(Range(500.5, 700.5), Walk(500.5, 700.5));
    EXPECT_EQ(Range(500.5, 700.5), Rows(501, 701));
}

} // namespace

// A live run grows by a few rows at a time: the list carries its statistics and its
// order on from the rows it kept, and must end where a look at every row would.
TEST(ValueList, RowsAppendedToKeptRowsGiveTheFiguresOfAFullLook)
{
    auto values = std::make_shared<TChartValues>();
    for (int i = 0; i < 5000; ++i)
        values->push_back(i * 0.1 + (i % 7) * 1e-3);
    TChartValueList l(nullptr, "X");
    l.Value = values;
    l.SetCount(5000);
    l.SetModified(true);
    ASSERT_TRUE(l.InAscendingOrder());
    l.MaxValue();

    const auto sameAsFullLook = [&](const char* what) {
        TChartValueList fresh(nullptr, "F");
        fresh.Value = std::make_shared<TChartValues>(l.Data(), l.Data() + l.Count());
        fresh.SetCount(l.Count());
        // Bit for bit (a NaN included): the sums go on in the order a full pass adds them.
        const auto bits = [](double v) { return std::bit_cast<std::uint64_t>(v); };
        EXPECT_EQ(bits(l.MinValue()), bits(fresh.MinValue())) << what;
        EXPECT_EQ(bits(l.MaxValue()), bits(fresh.MaxValue())) << what;
        EXPECT_EQ(bits(l.Total()), bits(fresh.Total())) << what;
        EXPECT_EQ(bits(l.TotalABS()), bits(fresh.TotalABS())) << what;
        EXPECT_EQ(l.InAscendingOrder(), fresh.InAscendingOrder()) << what;
    };

    // Appended, the array moved by its growth.
    for (int i = 0; i < 10; ++i)
        values->push_back(600 + i);
    l.SetCountKeeping(5010, 5000);
    EXPECT_FALSE(l.Modified());
    EXPECT_TRUE(l.InAscendingOrder());
    sameAsFullLook("appended");

    // A row out of order among the new ones, then rows in order after it: the list stays out of order.
    values->push_back(-3);
    l.SetCountKeeping(5011, 5010);
    EXPECT_FALSE(l.InAscendingOrder());
    values->push_back(1e6);
    l.SetCountKeeping(5012, 5011);
    sameAsFullLook("out of order");

    // Rows replaced behind the kept ones (the zeros a load left for rows it could not
    // read): the smallest value went away, so the figures come from every row again.
    (*values)[5010] = 700;
    values->push_back(1e6 + 1);
    l.SetCountKeeping(5013, 5010);
    EXPECT_TRUE(l.InAscendingOrder());
    sameAsFullLook("tail replaced");

    // Nothing kept, a NaN among the rows, a count that shrinks.
    (*values)[17] = std::numeric_limits<double>::quiet_NaN();
    l.SetCountKeeping(5013, 0);
    sameAsFullLook("nothing kept");
    l.SetCountKeeping(100, 100);
    EXPECT_EQ(l.Count(), 100);
    sameAsFullLook("fewer rows");

    // Series sharing one x array: a list over the same rows takes the figures without
    // a walk of its own; over a copy, another count or stale figures it keeps its own.
    const auto over = [&](TChartValuesPtr v, int count) {
        auto other = std::make_unique<TChartValueList>(nullptr, "O");
        other->Value = std::move(v);
        other->SetCount(count);
        other->TakeFactsOf(l);
        return other;
    };
    const auto same = over(values, 100);
    EXPECT_FALSE(same->Modified());
    EXPECT_EQ(same->MinValue(), l.MinValue());
    EXPECT_EQ(same->MaxValue(), l.MaxValue());
    EXPECT_EQ(same->InAscendingOrder(), l.InAscendingOrder());
    EXPECT_TRUE(over(values, 99)->Modified());
    EXPECT_TRUE(over(std::make_shared<TChartValues>(*values), 100)->Modified());
    l.SetModified(true);
    EXPECT_TRUE(over(values, 100)->Modified());
}
