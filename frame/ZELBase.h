#pragma once
// Base vocabulary shared by every library of the program: the exception root,
// date-time values as day numbers, the process-wide number and date formats,
// colours and rectangles, and the strict text/number conversions the rest builds on.

#include <QChar>
#include <QDateTime>
#include <QString>
#include <cstdint>
#include <exception>

// Root of every exception the program raises; Message() is what the user sees.
class Exception : public std::exception {
public:
    explicit Exception(QString message) : fMessage(std::move(message)), fUtf8(fMessage.toUtf8()) {}
    const QString& Message() const { return fMessage; }
    const char* what() const noexcept override { return fUtf8.constData(); }

private:
    QString fMessage;
    QByteArray fUtf8;
};

// A text that does not convert to the number asked for.
class EConvertError : public Exception {
public:
    using Exception::Exception;
};

// A value read as a type it has no conversion to, a null read as a number above all.
class EVariantTypeCastError : public Exception {
public:
    using Exception::Exception;
};

// ---- Date and time: whole days since 30.12.1899, fraction = time of day ----
using TDateTime = double;

constexpr double MSecsPerDay = 86400000.0;

TDateTime Now();
TDateTime QDateTimeToDateTime(const QDateTime& dt);
QDateTime DateTimeToQDateTime(TDateTime value);
// The calendar date and the time of day the value names, as stored: no time zone
// moves them (a local time in the hour skipped in spring stays as it is).
void DateTimeToDateAndTime(TDateTime value, QDate& date, QTime& time);
// Milliseconds since midnight, rounded as the day fraction is stored.
int TimeOfDayMs(TDateTime value);
// The value of a day (counted from 30.12.1899) and a time of that day. The whole
// part is the day and the fraction's size the time, also before the day zero:
// 29.12.1899 06:00 is -1.25 (not -0.75). Every conversion follows this one rule.
TDateTime DateTimeFromDayAndMs(qint64 day, qint64 msOfDay);

// ---- Process-wide number and date conventions ----
struct TFormatSettings {
    QChar ThousandSeparator;          // none when null
    QChar DecimalSeparator = u'.';
    QChar DateSeparator = u'/';
    QChar ListSeparator = u',';
    QString ShortDateFormat = QStringLiteral("M/d/yyyy");
    QString ShortTimeFormat = QStringLiteral("h:mm:ss");
};
extern TFormatSettings FormatSettings;

// ---- Strict conversions (raise EConvertError) ----
QString IntToStr(qint64 value);
// Decimal with optional sign, or hexadecimal with "$" or "0x"; blanks around are allowed.
int StrToInt(const QString& text);
bool TryStrToInt(const QString& text, int& value);
// Shortest general text of a double with 15 significant digits and the current separator.
QString FloatToStr(double value);
// Qt's text of value ('f' with that many decimals, or 'g' with that many significant
// digits and no exponent) written by the standard library, which is several times
// faster: the length written into buffer, or -1 where only Qt's own writer gives Qt's
// text (an exact half, which Qt rounds away from zero and the standard library to the
// even digit; a negative zero; an exponent; values beyond 1e15).
int QtFixedText(double value, int decimals, char (&buffer)[48]);
int QtDigitsText(double value, int digits, char (&buffer)[48]);
// Sign, digits, at most one current DecimalSeparator, optional exponent.
double StrToFloat(const QString& text);

// ---- Colours: red in the low byte, then green, then blue ----
using TColor = std::int32_t;
constexpr TColor clBlack = 0x000000, clMaroon = 0x000080, clGreen = 0x008000, clOlive = 0x008080,
                 clNavy = 0x800000, clPurple = 0x800080, clTeal = 0x808000, clGray = 0x808080,
                 clSilver = 0xC0C0C0, clRed = 0x0000FF, clLime = 0x00FF00, clYellow = 0x00FFFF,
                 clBlue = 0xFF0000, clFuchsia = 0xFF00FF, clAqua = 0xFFFF00, clWhite = 0xFFFFFF,
                 clMoneyGreen = 0xC0DCC0, clSkyBlue = 0xF0CAA6, clCream = 0xF0FBFF, clMedGray = 0xA4A0A0;
constexpr TColor clNone = 0x1FFFFFFF;      // nothing; on a point it marks a null point
constexpr TColor clDefault = 0x20000000;
constexpr TColor clTeeColor = clDefault;   // use the series colour
constexpr TColor clSystemColor = static_cast<TColor>(0x80000000u);
constexpr TColor clBtnFace = clSystemColor | 15, clWindow = clSystemColor | 5,
                 clWindowText = clSystemColor | 8, clHighlight = clSystemColor | 13,
                 clBtnShadow = clSystemColor | 16, clInfoBk = clSystemColor | 24;

// Colour name ("clRed") where one exists, else "$" and eight hex digits.
QString ColorToString(TColor color);
// Accepts a colour name or an integer text (decimal or "$" hex); raises EConvertError otherwise.
TColor StringToColor(const QString& text);

// ---- Geometry: pixels grow to the right and downward ----
struct TPoint {
    int X = 0, Y = 0;
    bool operator==(const TPoint&) const = default;
};
struct TRect {
    int Left = 0, Top = 0, Right = 0, Bottom = 0;
    int Width() const { return Right - Left; }
    int Height() const { return Bottom - Top; }
    bool operator==(const TRect&) const = default;
};
