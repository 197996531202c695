// Costs of the chart engine's hot paths at the sizes of a long test run
// (hundreds of thousands of points per curve). Run under QT_QPA_PLATFORM=offscreen.
#include "chart/TeEngine.h"
#include "chart/TeeGDIPlus.h"

#include <QApplication>
#include <benchmark/benchmark.h>
#include <cstdlib>

namespace {

constexpr int kPoints = 500000;

TChartValuesPtr Ramp(int n, double scale)
{
    auto v = std::make_shared<TChartValues>(n);
    for (int i = 0; i < n; ++i)
        (*v)[i] = i * scale + std::sin(i * 0.01);
    return v;
}

// A series of kPoints rows whose x and y rise, with a wave on both.
void RampSeries(TChartSeries& s)
{
    s.XValues()->Value = Ramp(kPoints, 1);
    s.XValues()->SetCount(kPoints);
    s.YValues()->Value = Ramp(kPoints, 0.001);
    s.YValues()->SetCount(kPoints);
}

void BM_AddXYInOrder(benchmark::State& state)
{
    for (auto _ : state) {
        TChartSeries s;
        s.BeginUpdate();
        for (int i = 0; i < kPoints; ++i)
            s.AddXY(i, i % 100);
        s.EndUpdate();
        benchmark::DoNotOptimize(s.Count());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_AddXYInOrder)->Unit(benchmark::kMillisecond);

void BM_BulkFillAndStatistics(benchmark::State& state)
{
    const auto y = Ramp(kPoints, 0.001);
    for (auto _ : state) {
        TChartSeries s;
        s.BeginUpdate();
        s.YValues()->Value = y;
        s.YValues()->SetCount(kPoints);
        s.YValues()->SetModified(true);
        s.EndUpdate();
        benchmark::DoNotOptimize(s.MaxYValue());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_BulkFillAndStatistics)->Unit(benchmark::kMillisecond);

void BM_MapValuesToPixels(benchmark::State& state)
{
    TCustomAxisPanel chart;
    chart.SetChartRect({0, 0, 1900, 800});
    TChartAxis* a = chart.LeftAxis();
    a->SetLogarithmic(state.range(0) != 0);
    a->SetMinMax(1, 1000);
    a->AdjustMaxMin();
    a->InternalCalcPositions();
    const auto v = Ramp(kPoints, 0.002);
    std::vector<int> px(kPoints);
    for (auto _ : state) {
        for (int i = 0; i < kPoints; ++i)
            px[i] = a->CalcPosValue((*v)[i]);
        benchmark::DoNotOptimize(px.data());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_MapValuesToPixels)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_VisibleRangeOfAZoomedSeries(benchmark::State& state)
{
    TCustomAxisPanel chart;
    chart.SetChartRect({0, 0, 1900, 800});
    TChartSeries s;
    RampSeries(s);
    chart.AddSeries(&s);
    chart.BottomAxis()->SetMinMax(kPoints * 0.9, kPoints * 0.95);
    chart.BottomAxis()->AdjustMaxMin();
    chart.BottomAxis()->InternalCalcPositions();
    for (auto _ : state) {
        s.CalcFirstLastVisibleIndex();
        benchmark::DoNotOptimize(s.LastValueIndex());
    }
}
BENCHMARK(BM_VisibleRangeOfAZoomedSeries)->Unit(benchmark::kMicrosecond);

// Segment path of a curve: one LineTo per point into the buffered canvas.
void BM_CanvasLineToPerPoint(benchmark::State& state)
{
    QImage target(1900, 800, QImage::Format_RGB32);
    const bool smooth = state.range(0) != 0;
    std::unique_ptr<TTeeCanvas3D> canvas = smooth ? std::make_unique<TGDIPlusCanvas>() : std::make_unique<TTeeCanvas3D>();
    std::vector<TPoint> pts(kPoints);
    for (int i = 0; i < kPoints; ++i)
        pts[i] = {i * 1900 / kPoints, 400 + int(300 * std::sin(i * 0.001))};
    for (auto _ : state) {
        canvas->InitWindow(&target, {0, 0, 1900, 800}, false, clWhite);
        canvas->MoveTo(pts[0].X, pts[0].Y);
        for (int i = 1; i < kPoints; ++i)
            canvas->LineTo(pts[i].X, pts[i].Y);
        canvas->ShowImage(&target, {0, 0, 1900, 800});
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_CanvasLineToPerPoint)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_AxisLayoutAndDraw(benchmark::State& state)
{
    TCustomAxisPanel chart;
    TChartSeries s;
    RampSeries(s);
    chart.AddSeries(&s);
    QImage target(1900, 800, QImage::Format_RGB32);
    for (auto _ : state) {
        chart.SetChartRect({10, 10, 1890, 790});
        chart.Canvas()->InitWindow(&target, {0, 0, 1900, 800}, false, clWhite);
        chart.CalcAxisRect();
        for (TChartAxis* a : chart.Axes())
            if (a->Visible() && !a->IsDepthAxis)
                a->Draw(true);
        chart.Canvas()->ShowImage(&target, {0, 0, 1900, 800});
    }
}
BENCHMARK(BM_AxisLayoutAndDraw)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
