// The look of the charts between runs of the program. Reader and writer spell
// some keys differently; the store ignores the case of keys and upper-cases
// sections, so both meet in one entry, and the spellings are the file format.

#include "views/uFoAuswertungUebersicht.h"

#include "dbcontrols/TCheckListBox.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

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
    fFarbeChart = ReadIniColor(ChartSettings, QStringLiteral("Farbe_Chart"), fFarbeChart, 0);
    fFarbeI = ReadIniColor(Chartsettings, QStringLiteral("Farbe_I"), 255, 0);
    fFarbeU = ReadIniColor(Chartsettings, QStringLiteral("Farbe_U"), 16711680, 0);
    fFarbeT = ReadIniColor(Chartsettings, QStringLiteral("Farbe_T"), 0, 0);
    fFarbeRF = ReadIniColor(Chartsettings, QStringLiteral("Farbe_rF"), 8388736, 0);
    for (int n = 1; n <= 4; ++n) {
        TChartAxis* a = fAchsen[n];
        const double low = ReadIniFloat(Chartsettings, AxisKey("axis_", n, "low"), a->Minimum(), 0);
        const double high = ReadIniFloat(Chartsettings, AxisKey("axis_", n, "high"), a->Maximum(), 0);
        a->SetMinMax(low, high);
        a->SetIncrement(ReadIniFloat(Chartsettings, AxisKey("axis_", n, "ticks"), a->Increment(), 0));
        a->SetAutomatic(ReadIniBool(Chartsettings, AxisKey("axis_", n, "auto"), a->Automatic(), 0));
        a->SetAxisValuesFormat(ReadIniString(Chartsettings, AxisKey("axis_", n, "form"), a->AxisValuesFormat(), 0));
        const QString present = WithoutBrackets(a->Title().Caption());
        const QString title = WithoutBrackets(ReadIniString(Chartsettings, AxisKey("axis_", n, "title"), present, 0));
        a->Title().SetCaption(QStringLiteral("[") + title + QStringLiteral("]"));
        a->Title().Font().SetColor(
            ReadIniColor(Chartsettings, AxisKey("axis_", n, "color"), a->Title().Font().Color(), 0));
        a->SetStartPosition(ReadIniFloat(Chartsettings, AxisKey("Axis_", n, "IStart"), a->StartPosition(), 0));
        a->SetEndPosition(ReadIniFloat(Chartsettings, AxisKey("Axis_", n, "IEnde"), a->EndPosition(), 0));
    }
    fRand = ReadIniRect(Chartsettings, QStringLiteral("Rand"), TRect{}, 0);
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
