// One chart as the evaluation window shows it: twelve curves of synthetic data on
// two stacked custom vertical axes over a date-time bottom axis, the current
// curves in stair form, a legend with check boxes. Writes the picture as PNG, and
// a second one in the middle of a zoom drag.
//   chart_demo [out.png] [points per curve]
#include "chart/Chart.h"
#include "chart/Series.h"
#include "chart/TeeGDIPlus.h"

#include <QApplication>
#include <QDateTime>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("chart_demo.png");
    const int n = argc > 2 ? std::max(2, std::atoi(argv[2])) : 20000;

    TChart chart;
    chart.resize(1400, 1000);
    chart.SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
    chart.SetView3D(false);
    chart.SetColor(clWhite);
    chart.Title().SetCaption(QStringLiteral("Versuch 4711 - Sperrströme und Klima"));
    chart.LeftAxis()->SetVisible(false);
    chart.Legend().SetCheckBoxes(true);
    chart.Legend().SetLegendStyle(lsSeries);
    chart.Legend().SetAlignment(laRight);

    TChartAxis* current = chart.CustomAxes().Add();
    current->SetStartPosition(0);
    current->SetEndPosition(50);
    current->Title().SetCaption(QStringLiteral("I [µA]"));
    TChartAxis* climate = chart.CustomAxes().Add();
    climate->SetStartPosition(50);
    climate->SetEndPosition(100);
    climate->Title().SetCaption(QStringLiteral("T [°C] / rF [%] / U [V]"));
    chart.BottomAxis()->SetDateTimeFormat(QStringLiteral("dd.mm. hh:nn"));

    const double start = QDateTimeToDateTime(QDateTime(QDate(2026, 11, 2), QTime(8, 0)));
    auto x = std::make_shared<TChartValues>(n);
    for (int i = 0; i < n; ++i)
        (*x)[i] = start + i * (14.0 / n);   // two weeks
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0, 1);
    std::vector<std::unique_ptr<TFastLineSeries>> series;
    const char* titles[12] = {"I_01", "I_02", "I_03", "I_04", "I_05", "I_06", "I_07", "I_08", "I_09", "U", "T", "rF"};
    for (int k = 0; k < 12; ++k) {
        auto s = std::make_unique<TFastLineSeries>();
        s->SetTitle(QString::fromLatin1(titles[k]));
        auto y = std::make_shared<TChartValues>(n);
        double level = 5 + 3 * k;
        for (int i = 0; i < n; ++i) {
            if (k < 9) {
                if (i % (n / 40 + 1) == 0)
                    level += 0.8 * noise(rng);
                (*y)[i] = std::max(0.0, level + 0.3 * std::sin(i * 0.001 * (k + 1)));
            } else if (k == 9) {
                (*y)[i] = 60 + 0.5 * noise(rng);
            } else if (k == 10) {
                (*y)[i] = 85 + 3 * std::sin(i * 6.28 / (n / 14.0)) + 0.2 * noise(rng);
            } else {
                (*y)[i] = 85 + 2 * std::cos(i * 6.28 / (n / 14.0)) + 0.5 * noise(rng);
            }
        }
        s->BeginUpdate();
        s->XValues()->Value = x;
        s->XValues()->SetCount(n);
        s->XValues()->SetModified(true);
        s->YValues()->Value = y;
        s->YValues()->SetCount(n);
        s->YValues()->SetModified(true);
        s->XValues()->SetDateTime(true);
        s->EndUpdate();
        s->SetManualData(true);
        s->SetVertAxis(aCustomVertAxis);
        s->SetCustomVertAxis(k < 9 ? current : climate);
        if (k < 9) {
            s->SetStairs(true);
            s->SetInvertedStairs(true);
        }
        chart.AddSeries(s.get());
        series.push_back(std::move(s));
    }
    series[11]->SetActive(false);

    QImage image = chart.RenderImage();
    if (!image.save(out)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(out));
        return 1;
    }
    // The same chart in the middle of a zoom drag: the rubber band on the kept picture.
    const TRect& r = chart.ChartRect();
    chart.MouseDown(Qt::LeftButton, Qt::NoModifier, r.Left + r.Width() / 4, r.Top + 40);
    chart.MouseMove(Qt::NoModifier, r.Left + r.Width() / 2, r.Bottom - 40);
    QImage band = static_cast<TTeeCanvas3D*>(chart.Canvas())->Bitmap();
    QString bandName = out;
    bandName.replace(QStringLiteral(".png"), QStringLiteral("_zoom.png"));
    band.save(bandName);
    chart.MouseUp(Qt::LeftButton, Qt::NoModifier, r.Left + r.Width() / 2, r.Bottom - 40);
    QString zoomedName = out;
    zoomedName.replace(QStringLiteral(".png"), QStringLiteral("_zoomed.png"));
    chart.RenderImage().save(zoomedName);
    std::printf("%s\n%s\n%s\n", qPrintable(out), qPrintable(bandName), qPrintable(zoomedName));
    return 0;
}
