#pragma once
// Number and date patterns of display formats and axis labels, with the process's
// separators (FormatSettings).
//
// Numbers: "0" digit, "#" optional digit, "." decimal point, "," thousands
// (anywhere in the integer part), "E+0"/"E-0" scientific, quoted literals, up to
// three sections "positive;negative;zero".
// Dates: d dd ddd dddd m mm mmm mmmm yy yyyy h hh n nn s ss z zzz am/pm, "c"; "/" and
// ":" give the process's separators; m right after an hour or right before seconds
// means minutes. A day number outside the calendar raises EConvertError.

#include "frame/ZELBase.h"

#include <QString>

QString FormatFloat(const QString& format, double value);
QString FormatDateTime(const QString& format, TDateTime value);
