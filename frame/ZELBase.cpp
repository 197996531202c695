#include "frame/ZELBase.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <charconv>
#include <cmath>
#include <limits>

TFormatSettings FormatSettings;

namespace {
const QDate kDayZero(1899, 12, 30);
}

TDateTime DateTimeFromDayAndMs(qint64 day, qint64 msOfDay)
{
    const double fraction = double(msOfDay) / MSecsPerDay;
    return day >= 0 ? double(day) + fraction : double(day) - fraction;
}

TDateTime QDateTimeToDateTime(const QDateTime& dt)
{
    return DateTimeFromDayAndMs(kDayZero.daysTo(dt.date()), dt.time().msecsSinceStartOfDay());
}

int TimeOfDayMs(TDateTime value)
{
    const double frac = std::abs(value - std::trunc(value));
    const auto ms = static_cast<qint64>(std::llround(frac * MSecsPerDay));
    return int(std::min<qint64>(ms, qint64(MSecsPerDay) - 1));
}

void DateTimeToDateAndTime(TDateTime value, QDate& date, QTime& time)
{
    auto days = static_cast<qint64>(std::trunc(value));
    auto ms = static_cast<qint64>(std::llround(std::abs(value - std::trunc(value)) * MSecsPerDay));
    // A time that rounds to a whole day is midnight of the next calendar day: a
    // value computed as 45600 - 1e-11 names 00:00, not 23:59:59.999 of the day before.
    if (ms >= static_cast<qint64>(MSecsPerDay)) {
        ms -= static_cast<qint64>(MSecsPerDay);
        ++days;
    }
    date = kDayZero.addDays(days);
    time = QTime::fromMSecsSinceStartOfDay(int(ms));
}

QDateTime DateTimeToQDateTime(TDateTime value)
{
    QDate date;
    QTime time;
    DateTimeToDateAndTime(value, date, time);
    return QDateTime(date, time);
}

TDateTime Now()
{
    return QDateTimeToDateTime(QDateTime::currentDateTime());
}

QString IntToStr(qint64 value)
{
    return QString::number(value);
}

bool TryStrToInt(const QString& text, int& value)
{
    static const QRegularExpression dec(QStringLiteral("^[+-]?[0-9]+$"));
    static const QRegularExpression hex(QStringLiteral("^(\\$|0[xX])([0-9A-Fa-f]+)$"));
    const QString t = text.trimmed();
    bool ok = false;
    if (const auto m = hex.match(t); m.hasMatch()) {
        // Hexadecimal texts cover the whole unsigned range, as colour values need.
        const qulonglong v = m.captured(2).toULongLong(&ok, 16);
        if (!ok || v > 0xFFFFFFFFULL)
            return false;
        value = static_cast<int>(static_cast<std::uint32_t>(v));
        return true;
    }
    if (!dec.match(t).hasMatch())
        return false;
    const qlonglong v = t.toLongLong(&ok, 10);
    if (!ok || v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        return false;
    value = static_cast<int>(v);
    return true;
}

int StrToInt(const QString& text)
{
    int v = 0;
    if (!TryStrToInt(text, v))
        throw EConvertError(QStringLiteral("'%1' ist kein gültiger Integerwert").arg(text));
    return v;
}

QString FloatToStr(double value)
{
    if (std::isnan(value))
        return QStringLiteral("NAN");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("INF") : QStringLiteral("-INF");
    char buffer[48];
    if (const int length = QtDigitsText(value, 15, buffer); length >= 0) {
        QString s = QString::fromLatin1(buffer, length);
        s.replace(u'.', FormatSettings.DecimalSeparator);
        return s;
    }
    QString s = QString::number(value, 'g', 15);
    const qsizetype e = s.indexOf(u'e');
    if (e >= 0) {
        // "1e-05" -> "1E-5", "1e+20" -> "1E20"
        QString mant = s.left(e);
        QString exp = s.mid(e + 1);
        const bool neg = exp.startsWith(u'-');
        if (exp.startsWith(u'+') || neg)
            exp.remove(0, 1);
        while (exp.size() > 1 && exp.startsWith(u'0'))
            exp.remove(0, 1);
        s = mant + u'E' + (neg ? QStringLiteral("-") : QString()) + exp;
    }
    s.replace(u'.', FormatSettings.DecimalSeparator);
    return s;
}

namespace {
// The exponent of the lowest set bit of a finite, non-zero value. Where it is -k,
// the value's exact decimal text has k digits after the point, the last a 5.
int LowestBitExponent(double value)
{
    int exponent = 0;
    const double mantissa = std::frexp(std::abs(value), &exponent);
    const auto bits = static_cast<std::uint64_t>(std::ldexp(mantissa, 53));
    return exponent - 53 + std::countr_zero(bits);
}

// Whether rounding value to that many decimals meets an exact half: its exact
// decimal text then ends one place further with a 5.
bool HalfAt(double value, int decimals)
{
    return LowestBitExponent(value) == -(decimals + 1);
}

// The fixed text of a value of few decimals from its scaled whole number: where the
// scaled value lies clearly away from a half (further than the product's rounding can
// move it), its nearest whole number is the exact value's rounding, and the text is
// written without the standard library's exact conversion, the export's costliest part.
int ScaledFixedText(double value, int decimals, char (&buffer)[48])
{
    static constexpr double Scale[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
    if (decimals > 6)
        return -1;
    const double scaled = std::abs(value) * Scale[decimals];
    // Below 2^40 the product is off by at most 2^-13 from the exact one.
    if (!(scaled < 0x1p40))
        return -1;
    const double whole = std::floor(scaled);
    const double fraction = scaled - whole;
    if (std::abs(fraction - 0.5) < 0x1p-10)
        return -1;
    std::uint64_t n = static_cast<std::uint64_t>(whole) + (fraction > 0.5 ? 1 : 0);
    // A negative value that shows as zero: Qt's sign is not the standard library's.
    if (n == 0 && value < 0)
        return -1;
    char digits[24];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + n % 10);
        n /= 10;
    } while (n > 0);
    while (count <= decimals)
        digits[count++] = '0';
    int length = 0;
    if (value < 0)
        buffer[length++] = '-';
    for (int i = count - 1; i >= decimals; --i)
        buffer[length++] = digits[i];
    if (decimals > 0) {
        buffer[length++] = '.';
        for (int i = decimals - 1; i >= 0; --i)
            buffer[length++] = digits[i];
    }
    return length;
}
}

int QtFixedText(double value, int decimals, char (&buffer)[48])
{
    if (!std::isfinite(value) || value == 0 || !(std::abs(value) < 1e15) || decimals < 0 || decimals > 17)
        return -1;
    if (const int length = ScaledFixedText(value, decimals, buffer); length >= 0)
        return length;
    if (HalfAt(value, decimals))
        return -1;
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (error != std::errc())
        return -1;
    // A negative value that shows as zero: Qt's sign is not the standard library's.
    if (buffer[0] == '-' && std::all_of(buffer + 1, end, [](char c) { return c == '0' || c == '.'; }))
        return -1;
    return static_cast<int>(end - buffer);
}

int QtDigitsText(double value, int digits, char (&buffer)[48])
{
    if (!std::isfinite(value) || value == 0 || !(std::abs(value) >= 1e-4 && std::abs(value) < 1e15) || digits < 1
        || digits > 17)
        return -1;
    // The decimals the digits reach; a carry to the next power of ten or a slip of the
    // logarithm moves them by one, so every neighbour is checked for a half as well.
    const int decimals = digits - 1 - static_cast<int>(std::floor(std::log10(std::abs(value))));
    if (HalfAt(value, decimals - 1) || HalfAt(value, decimals) || HalfAt(value, decimals + 1))
        return -1;
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
    if (error != std::errc() || std::find(buffer, end, 'e') != end)
        return -1;
    return static_cast<int>(end - buffer);
}

double StrToFloat(const QString& text)
{
    QString t = text.trimmed();
    const QString sep = QRegularExpression::escape(QString(FormatSettings.DecimalSeparator));
    const QRegularExpression re(QStringLiteral("^[+-]?([0-9]+(%1[0-9]*)?|%1[0-9]+)([eE][+-]?[0-9]+)?$").arg(sep));
    if (!re.match(t).hasMatch())
        throw EConvertError(QStringLiteral("'%1' ist kein gültiger Gleitkommawert").arg(text));
    t.replace(FormatSettings.DecimalSeparator, u'.');
    bool ok = false;
    const double v = QLocale::c().toDouble(t, &ok);
    if (!ok)
        throw EConvertError(QStringLiteral("'%1' ist kein gültiger Gleitkommawert").arg(text));
    return v;
}

namespace {
struct ColorName {
    TColor value;
    const char* name;
};
constexpr std::array<ColorName, 52> kColorNames{{
    {clBlack, "clBlack"}, {clMaroon, "clMaroon"}, {clGreen, "clGreen"}, {clOlive, "clOlive"},
    {clNavy, "clNavy"}, {clPurple, "clPurple"}, {clTeal, "clTeal"}, {clGray, "clGray"},
    {clSilver, "clSilver"}, {clRed, "clRed"}, {clLime, "clLime"}, {clYellow, "clYellow"},
    {clBlue, "clBlue"}, {clFuchsia, "clFuchsia"}, {clAqua, "clAqua"}, {clWhite, "clWhite"},
    {clMoneyGreen, "clMoneyGreen"}, {clSkyBlue, "clSkyBlue"}, {clCream, "clCream"}, {clMedGray, "clMedGray"},
    {clSystemColor | 0, "clScrollBar"}, {clSystemColor | 1, "clBackground"},
    {clSystemColor | 2, "clActiveCaption"}, {clSystemColor | 3, "clInactiveCaption"},
    {clSystemColor | 4, "clMenu"}, {clSystemColor | 5, "clWindow"}, {clSystemColor | 6, "clWindowFrame"},
    {clSystemColor | 7, "clMenuText"}, {clSystemColor | 8, "clWindowText"},
    {clSystemColor | 9, "clCaptionText"}, {clSystemColor | 10, "clActiveBorder"},
    {clSystemColor | 11, "clInactiveBorder"}, {clSystemColor | 12, "clAppWorkSpace"},
    {clSystemColor | 13, "clHighlight"}, {clSystemColor | 14, "clHighlightText"},
    {clSystemColor | 15, "clBtnFace"}, {clSystemColor | 16, "clBtnShadow"},
    {clSystemColor | 17, "clGrayText"}, {clSystemColor | 18, "clBtnText"},
    {clSystemColor | 19, "clInactiveCaptionText"}, {clSystemColor | 20, "clBtnHighlight"},
    {clSystemColor | 21, "cl3DDkShadow"}, {clSystemColor | 22, "cl3DLight"},
    {clSystemColor | 23, "clInfoText"}, {clSystemColor | 24, "clInfoBk"},
    {clSystemColor | 26, "clHotLight"}, {clSystemColor | 27, "clGradientActiveCaption"},
    {clSystemColor | 28, "clGradientInactiveCaption"}, {clSystemColor | 29, "clMenuHighlight"},
    {clSystemColor | 30, "clMenuBar"}, {clNone, "clNone"}, {clDefault, "clDefault"},
}};
}

QString ColorToString(TColor color)
{
    for (const auto& c : kColorNames)
        if (c.value == color)
            return QString::fromLatin1(c.name);
    return QStringLiteral("$%1").arg(static_cast<std::uint32_t>(color), 8, 16, QChar(u'0')).toUpper();
}

TColor StringToColor(const QString& text)
{
    const QString t = text.trimmed();
    for (const auto& c : kColorNames)
        if (t.compare(QLatin1String(c.name), Qt::CaseInsensitive) == 0)
            return c.value;
    return StrToInt(t);
}
