// The look of the charts between runs of the program. Reader and writer spell
// some keys differently; the store ignores the case of keys and upper-cases
// sections, so both meet in one entry, and the spellings are the file format.

#include "views/uFoAuswertungUebersicht.h"
#include "views/uFoSetupcharts.h"

#include "dbcontrols/TCheckListBox.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

#include <algorithm>

namespace {
const QString Chartsettings = QStringLiteral("Chartsettings");
const QString ChartSettings = QStringLiteral("ChartSettings");

// The title without the first "[" and the first "]": the brackets are the program's.
QString WithoutBrackets(QString title)
{
    const qsizetype open = title.indexOf(u'[');
    if (open >= 0)
        title.remove(open, 1);
    const qsizetype close = title.indexOf(u']');
    if (close >= 0)
        title.remove(close, 1);
    return title;
}

QString AxisKey(const char* prefix, int n, const char* what)
{
    return QLatin1String(prefix) + IntToFixed(n, 2) + QLatin1String(what);
}

// The file is edited by hand, and the store lets every number through. The values
// below are checked where they are read, because outside these ranges the charts
// break: a negative step raises at every start, limits that are not finite or near
// the end of the double range hide the curves (the scale works with their
// difference), positions and margins outside the chart leave nothing to see. A
// value outside is repaired in the file, so that one bad edit costs one setting.
constexpr double kAchsenwertMax = 1.0e12;
constexpr double kProzentMax = 100.0;

TRect RandBegrenzt(const TRect& r)
{
    return TRect{std::clamp(r.Left, 0, kRandSeiteMax), std::clamp(r.Top, 0, kRandObenUntenMax),
                 std::clamp(r.Right, 0, kRandSeiteMax), std::clamp(r.Bottom, 0, kRandObenUntenMax)};
}

QString RandText(const TRect& r)
{
    return QStringLiteral("%1,%2,%3,%4").arg(r.Left).arg(r.Top).arg(r.Right).arg(r.Bottom);
}
}

void TFOOrvexAuswertung::EinstellungenLaden()
{
    fStufenAnzeige = ReadIniBool(Chartsettings, QStringLiteral("StufenAnzeige"), true, 0);
    fStufenInvertiert = ReadIniBool(Chartsettings, QStringLiteral("StufenInvertiert"), true, 0);
    fZeitstempel = ReadIniBool(Chartsettings, QStringLiteral("Zeitspempel"), fZeitstempel, 0);
    for (int i = 1; i <= 2; ++i) {
        TChartTitle& title = fCharts[i]->Title();
        title.SetCaption(ReadIniString(Chartsettings, QStringLiteral("Charttitel_") + IntToFixed(i, 1),
                                       title.Text().join(u'\n'), 0));
    }
    for (int i = 0; i < Kurven->Count(); ++i)
        Kurven->SetChecked(i, ReadIniBool(QStringLiteral("Kurven"),
                                          QStringLiteral("Aktiv_") + Kurven->item(i)->text().trimmed(), true, 0));
    fFarbeChart = ReadIniRGBColor(ChartSettings, QStringLiteral("Farbe_Chart"), fFarbeChart, 0);
    fFarbeI = ReadIniRGBColor(Chartsettings, QStringLiteral("Farbe_I"), 255, 0);
    fFarbeU = ReadIniRGBColor(Chartsettings, QStringLiteral("Farbe_U"), 16711680, 0);
    fFarbeT = ReadIniRGBColor(Chartsettings, QStringLiteral("Farbe_T"), 0, 0);
    fFarbeRF = ReadIniRGBColor(Chartsettings, QStringLiteral("Farbe_rF"), 8388736, 0);
    for (int n = 1; n <= 4; ++n) {
        TChartAxis* a = fAchsen[n];
        const double low =
            ReadIniFloatInRange(Chartsettings, AxisKey("axis_", n, "low"), a->Minimum(), -kAchsenwertMax, kAchsenwertMax, 0);
        const double high =
            ReadIniFloatInRange(Chartsettings, AxisKey("axis_", n, "high"), a->Maximum(), -kAchsenwertMax, kAchsenwertMax, 0);
        a->SetMinMax(low, high);
        a->SetIncrement(
            ReadIniFloatInRange(Chartsettings, AxisKey("axis_", n, "ticks"), a->Increment(), 0, kAchsenwertMax, 0));
        a->SetAutomatic(ReadIniBool(Chartsettings, AxisKey("axis_", n, "auto"), a->Automatic(), 0));
        a->SetAxisValuesFormat(ReadIniString(Chartsettings, AxisKey("axis_", n, "form"), a->AxisValuesFormat(), 0));
        const QString present = WithoutBrackets(a->Title().Caption());
        const QString title = WithoutBrackets(ReadIniString(Chartsettings, AxisKey("axis_", n, "title"), present, 0));
        a->Title().SetCaption(QStringLiteral("[") + title + QStringLiteral("]"));
        a->Title().Font().SetColor(
            ReadIniRGBColor(Chartsettings, AxisKey("axis_", n, "color"), a->Title().Font().Color(), 0));
        const double startDefault = a->StartPosition(), endDefault = a->EndPosition();
        double start =
            ReadIniFloatInRange(Chartsettings, AxisKey("Axis_", n, "IStart"), startDefault, 0, kProzentMax, 0);
        double end = ReadIniFloatInRange(Chartsettings, AxisKey("Axis_", n, "IEnde"), endDefault, 0, kProzentMax, 0);
        if (start >= end) {
            // An axis of no length, or one turned upside down, hides its curves.
            start = startDefault;
            end = endDefault;
            WriteIniString(Chartsettings, AxisKey("Axis_", n, "IStart"), FloatToStr(start));
            WriteIniString(Chartsettings, AxisKey("Axis_", n, "IEnde"), FloatToStr(end));
        }
        a->SetStartPosition(start);
        a->SetEndPosition(end);
    }
    const TRect rand = ReadIniRect(Chartsettings, QStringLiteral("Rand"), TRect{}, 0);
    fRand = RandBegrenzt(rand);
    // Also text that is no rectangle at all: it read as zero margins and is repaired.
    if (RandText(fRand) != GetVariable(QStringLiteral("CHARTSETTINGS.Rand")).toString().remove(u' '))
        WriteIniRect(Chartsettings, QStringLiteral("Rand"), fRand);
    for (int i = 1; i <= 2; ++i)
        for (int k = 0; k <= 1; ++k)
            AchseUebertragen(fAchsen[2 * (i - 1) + k + 1], fCharts[i]->CustomAxes()[k]);
    fCharts[1]->SetColor(fFarbeChart);
    fCharts[2]->SetColor(fFarbeChart);
}

void TFOOrvexAuswertung::EinstellungenSpeichern()
{
    for (int i = 0; i < Kurven->Count(); ++i)
        WriteIniBool(QStringLiteral("Kurven"), QStringLiteral("Aktiv_") + Kurven->item(i)->text().trimmed(),
                     Kurven->Checked(i));
    WriteIniColor(ChartSettings, QStringLiteral("Farbe_Chart"), fFarbeChart);
    WriteIniColor(ChartSettings, QStringLiteral("Farbe_I"), fFarbeI);
    WriteIniColor(ChartSettings, QStringLiteral("Farbe_rF"), fFarbeRF);
    WriteIniColor(ChartSettings, QStringLiteral("Farbe_U"), fFarbeU);
    WriteIniColor(ChartSettings, QStringLiteral("Farbe_T"), fFarbeT);
    WriteIniRect(Chartsettings, QStringLiteral("Rand"), fRand);
    WriteIniBool(Chartsettings, QStringLiteral("Zeitspempel"), fZeitstempel);
    for (int n = 1; n <= 4; ++n) {
        TChartAxis* a = fAchsen[n];
        WriteIniFloat(Chartsettings, AxisKey("Axis_", n, "low"), 2, a->Minimum());
        WriteIniFloat(Chartsettings, AxisKey("Axis_", n, "high"), 2, a->Maximum());
        WriteIniFloat(Chartsettings, AxisKey("Axis_", n, "ticks"), 2, a->Increment());
        WriteIniBool(Chartsettings, AxisKey("Axis_", n, "auto"), a->Automatic());
        WriteIniString(Chartsettings, AxisKey("Axis_", n, "Form"), a->AxisValuesFormat());
        WriteIniString(Chartsettings, AxisKey("Axis_", n, "Title"), WithoutBrackets(a->Title().Caption()));
        WriteIniColor(Chartsettings, AxisKey("Axis_", n, "Color"), a->Title().Font().Color());
        WriteIniFloat(Chartsettings, AxisKey("Axis_", n, "IStart"), 2, a->StartPosition());
        WriteIniFloat(Chartsettings, AxisKey("Axis_", n, "IEnde"), 2, a->EndPosition());
    }
}
