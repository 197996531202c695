// What several chart tests share: the program's number formats, messages of thrown
// errors, arrays handed to a series as the views do, and where pictures are kept.
#pragma once

#include "chart/TeEngine.h"

#include <QString>

// The program runs with ',' as decimal separator and German dates; a test runs the same way
// for as long as this object lives.
struct GermanFormats {
    GermanFormats()
    {
        FormatSettings.ThousandSeparator = QChar();
        FormatSettings.DecimalSeparator = u',';
        FormatSettings.DateSeparator = u'.';
        FormatSettings.ShortDateFormat = QStringLiteral("dd.MM.yyyy");
        FormatSettings.ShortTimeFormat = QStringLiteral("HH:mm:ss");
    }
    ~GermanFormats() { FormatSettings = saved; }
    TFormatSettings saved = FormatSettings;
};

template <typename F>
QString ThrownMessage(F f)
{
    try {
        f();
    } catch (const Exception& e) {
        return e.Message();
    }
    return QStringLiteral("<no exception>");
}

// Hands x and y over as the views do: shared, not copied, not checked, not sorted.
inline void ShareValues(TChartSeries& s, const TChartValuesPtr& x, const TChartValuesPtr& y)
{
    s.BeginUpdate();
    s.XValues()->Value = x;
    s.XValues()->SetCount(int(x->size()));
    s.XValues()->SetModified(true);
    s.YValues()->Value = y;
    s.YValues()->SetCount(int(y->size()));
    s.YValues()->SetModified(true);
    s.EndUpdate();
}

inline QString OutPath(const QString& name)
{
    return QStringLiteral(CHART_TEST_OUTPUT_DIR "/") + name;
}
