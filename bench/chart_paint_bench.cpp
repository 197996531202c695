// Milliseconds per full paint of a 1400 x 1000 chart with 12 fast line series of
// N points each (ascending X), on the smoothing canvas, for the default series
// settings and for DrawAllPoints false with daMinMax; the default paint without the
// range index (every row walked), zoomed and panned frames; and the repaint without
// a change (buffer copy). Run under QT_QPA_PLATFORM=offscreen.
//   chart_paint_bench [png folder]   -- with a folder, the pictures are written there
#include "chart/Chart.h"
#include "chart/Series.h"
#include "chart/TeEngine.h"

#include <QApplication>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <memory>
#include <random>

namespace {

struct Setup {
    TChart chart;
    std::vector<std::unique_ptr<TFastLineSeries>> series;
};

std::unique_ptr<Setup> MakeChart(int n, bool noisy)
{
    auto s = std::make_unique<Setup>();
    TChart& c = s->chart;
    c.resize(1400, 1000);
    c.SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
    c.SetView3D(false);
    c.SetColor(clWhite);
    auto x = std::make_shared<TChartValues>(n);
    for (int i = 0; i < n; ++i)
        (*x)[i] = i;
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0, 1);
    for (int k = 0; k < 12; ++k) {
        auto ser = std::make_unique<TFastLineSeries>();
        auto y = std::make_shared<TChartValues>(n);
        for (int i = 0; i < n; ++i)
            (*y)[i] = 10 * k + 3 * std::sin(i * 6.28 / n * (k + 1)) + (noisy ? noise(rng) : 0.0);
        ser->BeginUpdate();
        ser->XValues()->Value = x;
        ser->XValues()->SetCount(n);
        ser->XValues()->SetModified(true);
        ser->YValues()->Value = y;
        ser->YValues()->SetCount(n);
        ser->YValues()->SetModified(true);
        ser->EndUpdate();
        ser->SetManualData(true);
        c.AddSeries(ser.get());
        s->series.push_back(std::move(ser));
    }
    return s;
}

double ThreadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

// Wall and processor time per run. The machine is shared: the processor time of
// this thread is the steadier number when others compile at the same time.
struct Cost {
    double wall, cpu;
};

template <class F>
Cost MsPerRun(F&& f, int runs)
{
    f();   // warm up: buffers, glyph caches
    const double c0 = ThreadCpuMs();
    const auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < runs; ++i)
        f();
    const auto t1 = std::chrono::steady_clock::now();
    return {std::chrono::duration<double, std::milli>(t1 - t0).count() / runs, (ThreadCpuMs() - c0) / runs};
}

void Print(int n, bool noisy, const char* what, Cost c)
{
    std::printf("%-10d %-6s %-22s %10.2f %10.2f\n", n, noisy ? "noisy" : "smooth", what, c.wall, c.cpu);
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    QImage target(1400, 1000, QImage::Format_RGB32);
    const TRect rect{0, 0, 1400, 1000};
    std::printf("%-10s %-6s %-22s %10s %10s\n", "points", "data", "settings", "wall ms", "cpu ms");
    for (int n : {2, 100000, 1000000, 10000000}) {
        for (bool noisy : {false, true}) {
            if (n > 1000000 && !noisy)
                continue;
            auto s = MakeChart(n, noisy);
            const int runs = n > 100000 ? 5 : 20;
            if (n < 100) { // the cost of everything but the curves
                Print(n, noisy, "frame only", MsPerRun([&] { s->chart.Draw(&target, rect); }, 20));
                continue;
            }
            struct Mode {
                const char* name;
                bool all;
                TDrawAllPointsStyle style;
                TFastLineDrawStyle draw;
            };
            if (n >= 1000000 && noisy) {
                // The default settings: with the range index, and walking every row.
                for (const bool byIndex : {false, true}) {
                    for (auto& ser : s->series)
                        ser->FoldByIndex = byIndex;
                    Print(n, noisy, byIndex ? "default" : "default, every row",
                          MsPerRun([&] { s->chart.Draw(&target, rect); }, runs));
                }
                // Should a frame have to build every index again (the program builds them
                // beside the load's count and extends them on a refresh).
                Print(n, noisy, "default, index built", MsPerRun([&] {
                          for (auto& ser : s->series)
                              ser->YValues()->SetModified(true);
                          s->chart.Draw(&target, rect);
                      }, runs));
                // The x axis changed (hours / time stamps): the y values keep their
                // index; the shared x array is walked once and the series take its figures.
                Print(n, noisy, "x axis switched", MsPerRun([&] {
                          for (auto& ser : s->series)
                              ser->XValues()->SetModified(true);
                          TChartValueList* x = s->series.front()->XValues();
                          x->MinValue();
                          x->InAscendingOrder();
                          for (auto& ser : s->series)
                              ser->XValues()->TakeFactsOf(*x);
                          s->chart.Draw(&target, rect);
                      }, runs));
                // A tenth of the run zoomed, then panned by a step each frame.
                TChartAxis* bottom = s->chart.BottomAxis();
                double left = n * 0.3;
                bottom->SetMinMax(left, left + n * 0.1);
                Print(n, noisy, "zoomed to a tenth", MsPerRun([&] { s->chart.Draw(&target, rect); }, runs));
                Print(n, noisy, "panned", MsPerRun([&] {
                          left += n * 0.001;
                          bottom->SetMinMax(left, left + n * 0.1);
                          s->chart.Draw(&target, rect);
                      }, runs));
                bottom->SetAutomatic(true);
                if (n > 1000000)
                    continue;
            }
            for (const Mode& m : {Mode{"default", true, daFirst, flSegments}, Mode{"daMinMax", false, daMinMax, flSegments},
                                  Mode{"flAll (no folding)", true, daFirst, flAll}}) {
                if (m.draw == flAll && n > 100000 && noisy)
                    continue;   // one painter polyline over every noisy point takes seconds
                if (n >= 1000000 && noisy && m.draw == flSegments && m.all)
                    continue;   // measured above
                for (auto& ser : s->series) {
                    ser->SetDrawAllPoints(m.all);
                    ser->SetDrawAllPointsStyle(m.style);
                    ser->SetDrawStyle(m.draw);
                }
                Print(n, noisy, m.name, MsPerRun([&] { s->chart.Draw(&target, rect); }, runs));
                if (!folder.isEmpty())
                    target.save(QStringLiteral("%1/paint_%2_%3_%4.png")
                                    .arg(folder)
                                    .arg(n)
                                    .arg(noisy ? "noisy" : "smooth")
                                    .arg(QString::fromLatin1(m.name).section(u' ', 0, 0)));
            }
            if (n == 100000 && noisy) {
                for (auto& ser : s->series) {
                    ser->SetDrawAllPoints(true);
                    ser->SetDrawStyle(flSegments);
                }
                s->chart.Draw(&target, rect);
                Print(n, noisy, "repaint (buffer copy)", MsPerRun([&] { s->chart.Canvas()->ShowImage(&target, rect); }, 50));
            }
        }
    }
    return 0;
}
