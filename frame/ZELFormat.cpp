#include "frame/ZELFormat.h"

#include <QLocale>
#include <QStringList>
#include <QVarLengthArray>
#include <algorithm>
#include <cmath>

// ------------------------------------------------------------ number pattern

namespace {

// Splits at ";" outside quotes.
QStringList SplitSections(const QString& format)
{
    QStringList out;
    QString cur;
    QChar quote;
    for (QChar c : format) {
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == u'"' || c == u'\'') {
            quote = c;
        } else if (c == u';') {
            out << cur;
            cur.clear();
            continue;
        }
        cur += c;
    }
    out << cur;
    return out;
}

QString GroupThousands(const QString& digits)
{
    const QChar sep = FormatSettings.ThousandSeparator;
    if (sep.isNull() || digits.size() <= 3)
        return digits;
    QString out;
    const qsizetype lead = digits.size() % 3;
    for (qsizetype i = 0; i < digits.size(); ++i) {
        if (i > 0 && (i - lead) % 3 == 0)
            out += sep;
        out += digits[i];
    }
    return out;
}

QString FormatSection(const QString& fmt, double value, bool withSign)
{
    // First pass: find the placeholders and what surrounds them.
    int intZeros = 0, intHashes = 0, decZeros = 0, decHashes = 0, expDigits = 0;
    bool seenPoint = false, thousands = false, expPlus = false, scientific = false;
    qsizetype first = -1, last = -1;
    QChar quote;
    for (qsizetype i = 0; i < fmt.size(); ++i) {
        const QChar c = fmt[i];
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            continue;
        }
        if (c == u'"' || c == u'\'') {
            quote = c;
            continue;
        }
        if (scientific)
            break;
        if (c == u'0' || c == u'#') {
            if (first < 0)
                first = i;
            last = i;
            if (seenPoint)
                (c == u'0' ? decZeros : decHashes)++;
            else
                (c == u'0' ? intZeros : intHashes)++;
        } else if (c == u'.') {
            if (first < 0)
                first = i;
            last = i;
            seenPoint = true;
        } else if (c == u',') {
            // Within the integer part, or right in front of it as in ",0.00", a comma groups.
            qsizetype next = i + 1;
            while (next < fmt.size() && fmt[next] == u',')
                ++next;
            const bool beforeDigits = next < fmt.size() && (fmt[next] == u'0' || fmt[next] == u'#' || fmt[next] == u'.');
            if (!seenPoint && (first >= 0 || beforeDigits))
                thousands = true;
        } else if ((c == u'E' || c == u'e') && first >= 0 && i + 1 < fmt.size()
                   && (fmt[i + 1] == u'+' || fmt[i + 1] == u'-')) {
            expPlus = fmt[i + 1] == u'+';
            qsizetype j = i + 2;
            while (j < fmt.size() && fmt[j] == u'0') {
                ++expDigits;
                ++j;
            }
            scientific = true;
            last = j - 1;
        }
    }
    auto literals = [&](qsizetype from, qsizetype to) {
        QString out;
        QChar q;
        for (qsizetype i = from; i < to; ++i) {
            const QChar c = fmt[i];
            if (!q.isNull()) {
                if (c == q)
                    q = QChar();
                else
                    out += c;
            } else if (c == u'"' || c == u'\'') {
                q = c;
            } else if (c != u',') {
                out += c;
            }
        }
        return out;
    };
    if (first < 0)
        return literals(0, fmt.size());

    const int maxDec = decZeros + decHashes;
    double v = std::abs(value);
    // Beyond 18 digits before the point a plain pattern would print hundreds of digits
    // that no double holds: such a number reads as one digit, the pattern's decimals and
    // an exponent, between the pattern's literals.
    const bool tooLong = !scientific && v >= 1e18;
    if (tooLong) {
        scientific = true;
        expPlus = true;
        intZeros = 1;
        intHashes = 0;
        thousands = false;
    }
    int exponent = 0;
    if (scientific && v != 0) {
        exponent = int(std::floor(std::log10(v))) - std::max(0, intZeros + intHashes - 1);
        v /= std::pow(10.0, exponent);
        // Rounding may carry the mantissa over to the next power of ten.
        if (std::round(v * std::pow(10.0, maxDec)) >= std::pow(10.0, std::max(1, intZeros + intHashes) + maxDec)) {
            v /= 10;
            ++exponent;
        }
    }
    QString text = QString::number(v, 'f', maxDec);
    QString intPart = text, decPart;
    if (const qsizetype p = text.indexOf(u'.'); p >= 0) {
        intPart = text.left(p);
        decPart = text.mid(p + 1);
    }
    while (decPart.size() > decZeros && decPart.endsWith(u'0'))
        decPart.chop(1);
    if (intPart == QLatin1String("0") && intZeros == 0)
        intPart.clear();
    while (intPart.size() < intZeros)
        intPart.prepend(u'0');
    if (thousands)
        intPart = GroupThousands(intPart);

    QString number = intPart;
    if (!decPart.isEmpty())
        number += FormatSettings.DecimalSeparator + decPart;
    if (scientific) {
        QString e = QString::number(std::abs(exponent));
        while (e.size() < expDigits)
            e.prepend(u'0');
        number += u'E';
        if (exponent < 0)
            number += u'-';
        else if (expPlus)
            number += u'+';
        number += e;
    }
    const bool isZero = (intPart.isEmpty() || intPart.count(u'0') + intPart.count(FormatSettings.ThousandSeparator) == intPart.size())
                        && decPart.count(u'0') == decPart.size();
    if (withSign && value < 0 && !isZero)
        number.prepend(u'-');
    return literals(0, first) + number + literals(last + 1, fmt.size());
}

} // namespace

QString FormatFloat(const QString& format, double value)
{
    if (std::isnan(value) || std::isinf(value) || format.isEmpty())
        return FloatToStr(value);
    const QStringList sections = SplitSections(format);
    if (value == 0 && sections.size() >= 3 && !sections[2].isEmpty())
        return FormatSection(sections[2], value, false);
    if (value < 0 && sections.size() >= 2 && !sections[1].isEmpty())
        return FormatSection(sections[1], value, false);
    return FormatSection(sections[0], value, true);
}

// --------------------------------------------------------- date-time pattern

namespace {
// A short text put together without a call into QString per character.
class TShortText {
public:
    TShortText& operator+=(QChar c)
    {
        fChars.append(c);
        return *this;
    }
    TShortText& operator+=(char16_t c) { return *this += QChar(c); }
    TShortText& operator+=(QStringView s)
    {
        fChars.append(s.data(), s.size());
        return *this;
    }
    QString ToString() const { return QString(fChars.constData(), fChars.size()); }

private:
    QVarLengthArray<QChar, 48> fChars;
};
}

QString FormatDateTime(const QString& format, TDateTime value)
{
    // Day numbers of 01.01.0001 and 31.12.9999: outside there is no calendar date.
    if (!(value >= -693593.0 && value < 2958466.0))
        throw EConvertError(QStringLiteral("'%1' ist kein gültiges Datum").arg(FloatToStr(value)));
    // The stored date and time, not a local clock's: a time zone must not move a shown value.
    QDate date;
    QTime time;
    DateTimeToDateAndTime(value, date, time);
    // The calendar's parts once: each of the date's getters converts anew.
    int year = 0, month = 0, day = 0;
    date.getDate(&year, &month, &day);
    // Names only: the locale is not looked up for numbers.
    const auto locale = [] { return QLocale(); };
    const QStringView view(format);
    // Called for every row of an export: no copy of the format, no text per number,
    // and the hour's clock looked up only when an hour is shown.
    const auto at = [&view](qsizetype i, QStringView word) {
        return view.mid(i, word.size()).compare(word, Qt::CaseInsensitive) == 0;
    };
    const auto twelveHour = [&view] {
        const bool anA = std::any_of(view.begin(), view.end(), [](QChar c) { return c == u'a' || c == u'A'; });
        return anA && (view.contains(u"am/pm", Qt::CaseInsensitive) || view.contains(u"a/p", Qt::CaseInsensitive)
                       || view.contains(u"ampm", Qt::CaseInsensitive));
    };
    // Case of the pattern's letters, ASCII without a table lookup.
    const auto lowerOf = [](QChar c) {
        if (c.unicode() >= 0x80)
            return c.toLower();
        return c >= u'A' && c <= u'Z' ? QChar(char16_t(c.unicode() + 32)) : c;
    };
    const auto upperOf = [](QChar c) {
        if (c.unicode() >= 0x80)
            return c.toUpper();
        return c >= u'a' && c <= u'z' ? QChar(char16_t(c.unicode() - 32)) : c;
    };
    TShortText out;
    QChar lastToken;
    const auto padded = [&out](int v, int width) {   // v >= 0
        char16_t digits[12];
        int n = 0;
        do {
            digits[n++] = char16_t(u'0' + v % 10);
            v /= 10;
        } while (v > 0);
        for (int k = n; k < width; ++k)
            out += u'0';
        while (n > 0)
            out += QChar(digits[--n]);
    };
    const auto two = [&padded](int v) { padded(v, 2); };
    qsizetype i = 0;
    const qsizetype n = format.size();
    auto runOf = [&](QChar c) {
        qsizetype j = i;
        while (j < n && lowerOf(format[j]) == c)
            ++j;
        return int(j - i);
    };
    while (i < n) {
        const QChar c = format[i];
        QChar token = upperOf(c);
        if (token >= u'A' && token <= u'Z') {
            if (token == u'M' && lastToken == u'H')
                token = u'N';
            lastToken = token;
        }
        if (c == u'"' || c == u'\'') {
            qsizetype j = i + 1;
            while (j < n && format[j] != c)
                out += format[j++];
            i = j + 1;
            continue;
        }
        if ((c == u'a' || c == u'A') && at(i, u"am/pm")) {
            out += time.hour() < 12 ? format.mid(i, 2) : format.mid(i + 3, 2);
            i += 5;
            continue;
        }
        if ((c == u'a' || c == u'A') && at(i, u"a/p")) {
            out += time.hour() < 12 ? format.mid(i, 1) : format.mid(i + 2, 1);
            i += 3;
            continue;
        }
        if ((c == u'a' || c == u'A') && at(i, u"ampm")) {
            out += time.hour() < 12 ? QStringLiteral("AM") : QStringLiteral("PM");
            i += 4;
            continue;
        }
        switch (token.unicode()) {
        case u'D': {
            const int k = runOf(u'd');
            if (k == 1) padded(day, 1);
            else if (k == 2) two(day);
            else if (k == 3) out += locale().dayName(date.dayOfWeek(), QLocale::ShortFormat);
            else if (k == 4) out += locale().dayName(date.dayOfWeek(), QLocale::LongFormat);
            else if (k == 5) out += FormatDateTime(FormatSettings.ShortDateFormat, value);
            else out += locale().toString(date, QLocale::LongFormat);
            i += k;
            continue;
        }
        case u'M': {
            const int k = runOf(u'm');
            if (k == 1) padded(month, 1);
            else if (k == 2) two(month);
            else if (k == 3) out += locale().monthName(month, QLocale::ShortFormat);
            else out += locale().monthName(month, QLocale::LongFormat);
            i += k;
            continue;
        }
        case u'N': {
            const int k = std::min(2, runOf(lowerOf(c)));
            padded(time.minute(), k);
            i += k;
            continue;
        }
        case u'Y': {
            const int k = runOf(u'y');
            if (k <= 2)
                two(year % 100);
            else
                padded(year, 4);
            i += k;
            continue;
        }
        case u'H': {
            const int k = std::min(2, runOf(u'h'));
            int h = time.hour();
            if (twelveHour()) {
                h %= 12;
                if (h == 0)
                    h = 12;
            }
            padded(h, k);
            i += k;
            continue;
        }
        case u'S': {
            const int k = std::min(2, runOf(u's'));
            padded(time.second(), k);
            i += k;
            continue;
        }
        case u'Z': {
            const int k = runOf(u'z');
            padded(time.msec(), k >= 3 ? 3 : 1);
            i += std::min(k, 3);
            continue;
        }
        case u'T': {
            const int k = std::min(2, runOf(u't'));
            out += FormatDateTime(FormatSettings.ShortTimeFormat, value);
            i += k;
            continue;
        }
        case u'C': {
            out += FormatDateTime(FormatSettings.ShortDateFormat, value);
            if (time.msecsSinceStartOfDay() != 0)
                out += u' ' + FormatDateTime(FormatSettings.ShortTimeFormat, value);
            ++i;
            continue;
        }
        case u'/':
            out += FormatSettings.DateSeparator;
            ++i;
            continue;
        default:
            out += c;
            ++i;
            continue;
        }
    }
    return out.ToString();
}
