#include "frame/ZELLIB_STR.h"

#include <cmath>
#include <limits>

QStringList TrueWords{"yes", "true", "ja", "on", "pass", "1", "-1", "ein", "wahr", "active", "aktiv", "IO", "I.O.", "OK"};
QStringList FalseWords{"no", "false", "nein", "off", "fail", "0", "aus", "falsch", "inactive", "inaktiv", "NIO", "N.I.O.", "NOK"};
TBoolPair PairFailPass{"fail", "pass"};
TBoolPair PairInactiveActive{"inaktiv", "aktiv"};
TBoolPair PairFalseTrue{"false", "true"};
TBoolPair PairNoYes{"nein", "ja"};
TBoolPair PairOffOn{"aus", "ein"};
bool Localized_Boolean = false;

QString IntToFixed(qint64 value, int width)
{
    QString s = QString::number(value);
    if (s.size() < width)
        s.prepend(QString(width - s.size(), u'0'));
    return s.left(std::max(width, 0));
}

QString PadRight(const QString& text, int width)
{
    return text.leftJustified(std::max(width, 0), u' ', true);
}

QString TimeText(TDateTime value)
{
    const int ms = TimeOfDayMs(value);
    return IntToFixed(ms / 3600000, 2) + u':' + IntToFixed(ms / 60000 % 60, 2) + u':'
        + IntToFixed(ms / 1000 % 60, 2) + u':' + IntToFixed(ms % 1000, 3);
}

bool IsNumberText(const QString& text)
{
    const QString t = text.trimmed();
    if (t.isEmpty())
        return false;
    for (QChar c : t)
        if (!(c.isDigit() && c.unicode() < 128) && c != u'+' && c != u',' && c != u'-' && c != u'.')
            return false;
    return true;
}

bool IsBlank(const QString& text)
{
    return text.trimmed().isEmpty();
}

QString LogSafeText(const QString& text)
{
    QString out = text;
    for (QChar& c : out) {
        const char16_t u = c.unicode();
        // 128 is the euro sign in the 8-bit code page the log is written in.
        const bool keep = (u >= 32 && u <= 127) || u == 0x20AC || u == 181 || u == 196 || u == 214
            || u == 220 || u == 223 || u == 228 || u == 246 || u == 252;
        if (!keep)
            c = u' ';
    }
    return out;
}

double StrToFloatTolerant(const QString& text)
{
    if (text.compare(QLatin1String("Inf"), Qt::CaseInsensitive) == 0)
        return std::numeric_limits<double>::infinity();
    if (text.compare(QLatin1String("NaN"), Qt::CaseInsensitive) == 0)
        return std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0);
    if (text.isEmpty())
        return 0;
    QString s = text;
    // Backwards; after a deletion the walk steps two places, so the character in
    // front of a deleted one is never looked at. Stored values rely on this.
    qsizetype i = s.size() - 1;
    while (i >= 0) {
        const QChar c = s[i];
        if (c == u'.' || c == u',') {
            s[i] = FormatSettings.DecimalSeparator;
            --i;
        } else if (c == u'-' || (c >= u'0' && c <= u'9')) {
            --i;
        } else {
            s.remove(i, 1);
            i -= 2;
        }
    }
    return StrToFloat(s);
}

QString FloatToFixed(int decimals, double value)
{
    // An export formats millions of values: Qt's text without Qt's text machinery.
    char buffer[48];
    if (const int length = QtFixedText(value, decimals, buffer); length >= 0) {
        QString s = QString::fromLatin1(buffer, length);
        if (decimals > 0)
            s[s.size() - decimals - 1] = FormatSettings.DecimalSeparator;
        return s;
    }
    QString s = QString::number(value, 'f', std::max(decimals, 0));
    const qsizetype dot = s.indexOf(u'.');
    if (dot >= 0)
        s[dot] = FormatSettings.DecimalSeparator;
    return s.trimmed();
}

QString NormalizeName(const QString& text)
{
    QString out;
    out.reserve(text.size());
    bool on = true;
    for (QChar c : text) {
        const char16_t u = c.unicode();
        if (u == u'<') { on = false; continue; }
        if (u == u'>') { on = true; continue; }
        if (!on)
            continue;
        if (u == u'-' || u == u'_' || (u >= u'0' && u <= u'9') || (u >= u'A' && u <= u'Z'))
            out += c;
        else if (u >= u'a' && u <= u'z')
            out += QChar(char16_t(u - 32));
        else if (u == u'ä' || u == u'Ä')
            out += QLatin1String("AE");
        else if (u == u'ö' || u == u'Ö')
            out += QLatin1String("OE");
        else if (u == u'ü' || u == u'Ü')
            out += QLatin1String("UE");
        else if (u == u'ß')
            out += QLatin1String("SS");
        else if (u == u' ' || u == u'"' || u == u'.' || u == u'/' || u == u'\\')
            out += u'_';
    }
    return out;
}

bool TextToBool(const QString& text)
{
    const QString t = text.trimmed().toLower();
    if (t.isEmpty())
        return false;
    for (const QString& w : TrueWords)
        if (t.compare(w, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

QString BoolToText(bool value)
{
    const TBoolPair& p = Localized_Boolean ? PairNoYes : PairFalseTrue;
    return value ? p.True : p.False;
}

QString ExtractToken(QChar separator, int index, const QString& text)
{
    if (text.isEmpty() || index < 1)
        return {};
    const QStringList fields = text.split(separator);
    return index <= fields.size() ? fields[index - 1] : QString();
}

int TokenToInt(const QString& text, int index)
{
    return StrToInt(ExtractToken(u',', index, text));
}

QString ReplaceFirst(const QString& text, const QString& search, const QString& replacement)
{
    if (search.isEmpty())
        return text;
    QString s = text;
    const qsizetype p = s.indexOf(search, 0, Qt::CaseInsensitive);
    if (p >= 0)
        s.replace(p, search.size(), replacement);
    return s;
}

QString ReplaceAll(const QString& text, const QString& search, const QString& replacement)
{
    if (search.isEmpty())
        return text;
    // A replacement holding the search text would be found again forever; such a
    // call is a caller's fault, and one left-to-right pass is the honest answer.
    if (replacement.contains(search, Qt::CaseInsensitive)) {
        QString s = text;
        return s.replace(search, replacement, Qt::CaseInsensitive);
    }
    // Each search restarts from the beginning, so occurrences formed by a
    // replacement are replaced too. Text in front of the last hit held no
    // occurrence, so a new one can only begin within one search length of it.
    QString s = text;
    qsizetype from = 0;
    for (;;) {
        const qsizetype p = s.indexOf(search, from, Qt::CaseInsensitive);
        if (p < 0)
            return s;
        s.replace(p, search.size(), replacement);
        from = std::max<qsizetype>(0, p - search.size() + 1);
    }
}

QString CsvToLines(const QString& text)
{
    static const QString crlf = QStringLiteral("\r\n");
    QString s = text.trimmed();
    if (s.isEmpty())
        return {};
    if (!s.startsWith(u'"')) {
        while (s.contains(QLatin1String("\",\"")))
            s.replace(QLatin1String("\",\""), QLatin1String(","));
        if (s.endsWith(u','))
            s.chop(1);
        return s.replace(u',', crlf);
    }
    while (s.contains(QLatin1String("\" ")))
        s.replace(QLatin1String("\" "), QLatin1String("\""));
    while (s.contains(QLatin1String(" \"")))
        s.replace(QLatin1String(" \""), QLatin1String("\""));
    QString out;
    out.reserve(s.size());
    bool inQuotes = false;
    for (QChar c : s) {
        if (c == u'"')
            inQuotes = !inQuotes;
        else if (c == u',' && !inQuotes)
            out += crlf;
        else
            out += c;
    }
    return out;
}

QString WordToBits(std::uint16_t value)
{
    QString s(16, u'0');
    for (int bit = 0; bit < 16; ++bit)
        if (value & (1u << bit))
            s[bit] = u'1';
    return s;
}

QString TranslateText(const QString& text)
{
    return text;
}
