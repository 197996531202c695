#include "frame/ZELLIB_STR.h"
#include "frame/ZELFormat.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"
#include <cmath>
#include <random>
#include <vector>

namespace {
// The process runs with "," as decimal character; each test sets what it needs.
struct DecimalSeparatorScope {
    QChar saved = FormatSettings.DecimalSeparator;
    explicit DecimalSeparatorScope(QChar c) { FormatSettings.DecimalSeparator = c; }
    ~DecimalSeparatorScope() { FormatSettings.DecimalSeparator = saved; }
};
}

TEST(TextHelpers, FixedWidthTextPadsInFrontAndCutsAtTheEnd)
{
    EXPECT_EQ(IntToFixed(7, 3), "007");
    EXPECT_EQ(IntToFixed(1000, 3), "100");
    EXPECT_EQ(IntToFixed(12345, 3), "123");
    EXPECT_EQ(IntToFixed(-5, 4), "00-5");   // the sign stays where it was
    EXPECT_EQ(IntToFixed(42, 0), "");
    EXPECT_EQ(PadRight("ab", 4), "ab  ");
    EXPECT_EQ(PadRight("abcdef", 3), "abc");
    EXPECT_EQ(PadRight("ErrInfo", 10).size(), 10);
}

TEST(TextHelpers, TimeTextHasMillisecondsAndNeverReachesTheNextDay)
{
    const TDateTime t = 45000.0 + (8 * 3600000.0 + 5 * 60000.0 + 1000.0 + 7.0) / MSecsPerDay;
    EXPECT_EQ(TimeText(t), "08:05:01:007");
    EXPECT_EQ(TimeText(45000.0 + 0.99999999999), "23:59:59:999");
    EXPECT_EQ(TimeText(45000.0), "00:00:00:000");
}

TEST(TextHelpers, NumberTextAcceptsSignsAndSeparatorsButProvesNoConversion)
{
    EXPECT_TRUE(IsNumberText(" 1-2 "));
    EXPECT_TRUE(IsNumberText("+1,5"));
    EXPECT_TRUE(IsNumberText("-3.25"));
    EXPECT_FALSE(IsNumberText(""));
    EXPECT_FALSE(IsNumberText("   "));
    EXPECT_FALSE(IsNumberText("1/2"));
    EXPECT_FALSE(IsNumberText("1e5"));
    EXPECT_FALSE(IsNumberText("$FF"));
    EXPECT_TRUE(IsBlank(" \t "));
    EXPECT_FALSE(IsBlank(" x "));
}

TEST(TextHelpers, LogSafeTextKeepsLengthAndGermanLetters)
{
    const QString in = QStringLiteral("a\tb€µÄÖÜäöüß é\x01~");
    const QString out = LogSafeText(in);
    EXPECT_EQ(out.size(), in.size());
    EXPECT_EQ(out, QStringLiteral("a b€µÄÖÜäöüß   ~"));
}

TEST(TextHelpers, TolerantFloatReadsBothSeparatorsUnitsAndInfinityButSkipsTheCharacterBeforeADeletedOne)
{
    DecimalSeparatorScope comma(u',');
    EXPECT_DOUBLE_EQ(StrToFloatTolerant("3.5"), 3.5);
    EXPECT_DOUBLE_EQ(StrToFloatTolerant("3,5"), 3.5);
    EXPECT_DOUBLE_EQ(StrToFloatTolerant("12V"), 12.0);
    EXPECT_DOUBLE_EQ(StrToFloatTolerant("-2.5 V"), -2.5);
    EXPECT_DOUBLE_EQ(StrToFloatTolerant(""), 0.0);
    EXPECT_TRUE(std::isinf(StrToFloatTolerant("inf")));
    EXPECT_GT(StrToFloatTolerant("INF"), 0);
    const double nan = StrToFloatTolerant("NaN");
    EXPECT_TRUE(std::isnan(nan));
    EXPECT_TRUE(std::signbit(nan));
    // "b" goes, the "a" in front of it is stepped over and survives: "1a" and "a" are malformed.
    EXPECT_THROW(StrToFloatTolerant("1aab"), EConvertError);
    EXPECT_THROW(StrToFloatTolerant("ab"), EConvertError);
    // Two separators after the replacement.
    EXPECT_THROW(StrToFloatTolerant("1.234,5"), EConvertError);
    EXPECT_THROW(StrToFloatTolerant("-"), EConvertError);
    EXPECT_THROW(StrToFloatTolerant("1-2"), EConvertError);
    DecimalSeparatorScope point(u'.');
    EXPECT_DOUBLE_EQ(StrToFloatTolerant("3,5"), 3.5);
}

namespace {
// Values a number writer meets: every magnitude and sign, exact halves at every
// decimal (a step of an ADC scaled by a power of two), zeros of both signs.
std::vector<double> NumberSamples()
{
    std::mt19937_64 random(20261125);
    std::vector<double> values = {0.0, -0.0, 0.0625, -0.0625, 0.125, 2.5, 0.5, 1.5, 0.3125, 2.675, 1.0005,
                                  -0.0001, -0.0004, 1e14 + 0.5, 999999999999999.9, 9.5, 99.5, 0.00015, 1e-4,
                                  -240106.25, 23027.0625, 1234567890123.125, 0.1, 1.0 / 3.0};
    // Next to the halves of one to three decimals, where a scaled value's rounding could slip.
    for (int i = 0; i < 20000; ++i) {
        const double scale = i % 3 == 0 ? 10.0 : (i % 3 == 1 ? 100.0 : 1000.0);
        double v = (double(random() % 100000000) + 0.5) / scale * ((random() & 1) ? -1.0 : 1.0);
        for (int k = int(random() % 9) - 4; k != 0; k += k < 0 ? 1 : -1)
            v = std::nextafter(v, k < 0 ? -1e300 : 1e300);
        values.push_back(v);
    }
    for (int i = 0; i < 60000; ++i) {
        const double sign = (random() & 1) ? -1.0 : 1.0;
        if (i % 2)
            values.push_back(sign * std::ldexp(double(random() % (1u << 24)), -int(random() % 30)));
        else
            values.push_back(sign * std::ldexp(std::uniform_real_distribution<double>(0.5, 1.0)(random), int(random() % 110) - 60));
    }
    return values;
}
}

// The hot writers take the standard library's text where it is Qt's and leave the
// rest (exact halves, which Qt rounds away from zero, negative zeros, exponents) to Qt.
TEST(TextHelpers, FastNumberTextsAreQtsTextsToTheLastCharacter)
{
    const DecimalSeparatorScope comma(u',');
    int compared = 0;
    for (const double v : NumberSamples()) {
        for (int d : {0, 1, 2, 3, 6, 7}) {
            QString want = QString::number(v, 'f', d);
            want.replace(u'.', u',');
            ASSERT_EQ(FloatToFixed(d, v), want) << v << " " << d;
        }
        QString general = QString::number(v, 'g', 15);
        if (!general.contains(u'e') && !std::isnan(v)) {
            general.replace(u'.', u',');
            ASSERT_EQ(FloatToStr(v), general) << v;
            ++compared;
        }
    }
    EXPECT_GT(compared, 30000);
}

TEST(TextHelpers, NormalizeNameDropsMarkupAndSpellsOutUmlauts)
{
    EXPECT_EQ(NormalizeName("<b>Läufer 1.2</b>"), "LAEUFER_1_2");
    EXPECT_EQ(NormalizeName("Größe Übung"), "GROESSE_UEBUNG");
    EXPECT_EQ(NormalizeName("a/b\\c-d_e!?\"x"), "A_B_C-D_E_X");
    EXPECT_EQ(NormalizeName("orvexAusw"), "ORVEXAUSW");
    EXPECT_EQ(NormalizeName(""), "");
    EXPECT_EQ(NormalizeName("<unclosed"), "");
}

TEST(TextHelpers, BooleanWords)
{
    EXPECT_TRUE(TextToBool(" OK "));
    EXPECT_TRUE(TextToBool("Ja"));
    EXPECT_TRUE(TextToBool("i.o."));
    EXPECT_TRUE(TextToBool("-1"));
    EXPECT_FALSE(TextToBool("2"));
    EXPECT_FALSE(TextToBool(""));
    EXPECT_FALSE(TextToBool("nein"));
    const bool saved = Localized_Boolean;
    Localized_Boolean = false;
    EXPECT_EQ(BoolToText(true), "true");
    Localized_Boolean = true;
    EXPECT_EQ(BoolToText(true), "ja");
    EXPECT_EQ(BoolToText(false), "nein");
    Localized_Boolean = saved;
}

TEST(TextHelpers, TokensAreOneBased)
{
    EXPECT_EQ(ExtractToken(u',', 2, "a,b,c"), "b");
    EXPECT_EQ(ExtractToken(u',', 3, "a,b,"), "");
    EXPECT_EQ(ExtractToken(u',', 4, "a,b,c"), "");
    EXPECT_EQ(ExtractToken(u',', 0, "a,b,c"), "");
    EXPECT_EQ(ExtractToken(u';', 1, ""), "");
    EXPECT_EQ(TokenToInt("10,-20,30", 2), -20);
    EXPECT_THROW(TokenToInt("1,,3", 2), EConvertError);
    EXPECT_THROW(TokenToInt("1,x,3", 2), EConvertError);
    EXPECT_THROW(TokenToInt("1,2", 5), EConvertError);
}

TEST(TextHelpers, ReplaceIgnoresCaseAndRepeatsFromTheStart)
{
    EXPECT_EQ(ReplaceFirst("aXbxc", "x", "-"), "a-bxc");
    EXPECT_EQ(ReplaceFirst("abc", "", "-"), "abc");
    EXPECT_EQ(ReplaceAll("Hello", "L", ""), "Heo");
    // Occurrences formed by a replacement are replaced as well.
    EXPECT_EQ(ReplaceAll("aaab", "ab", "b"), "b");
    EXPECT_EQ(ReplaceAll("a  b   c", "  ", " "), "a b c");
    EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
    // A replacement that holds the search text ends after one pass.
    EXPECT_EQ(ReplaceAll("ab", "a", "aa"), "aab");
}

TEST(TextHelpers, CsvToLinesPlainAndQuoted)
{
    EXPECT_EQ(CsvToLines("\"A.Nutzer\",\"G.Nutzer\""), "A.Nutzer\r\nG.Nutzer");
    EXPECT_EQ(CsvToLines(" \"a, b\" , \"c\" "), "a, b\r\nc");
    EXPECT_EQ(CsvToLines("a,b,c,"), "a\r\nb\r\nc");
    EXPECT_EQ(CsvToLines("a\",\"b"), "a\r\nb");
    EXPECT_EQ(CsvToLines("x\"y,z"), "x\"y\r\nz");   // quotes of a plain list stay
    EXPECT_EQ(CsvToLines("   "), "");
}

TEST(TextHelpers, WordToBitsPutsTheLowestBitLeft)
{
    EXPECT_EQ(WordToBits(1), "1000000000000000");
    EXPECT_EQ(WordToBits(0x8001), "1000000000000001");
    EXPECT_EQ(WordToBits(0), QString(16, u'0'));
}

TEST(BaseConversions, IntegersColoursAndFloats)
{
    int v = 0;
    EXPECT_TRUE(TryStrToInt(" 42 ", v));
    EXPECT_EQ(v, 42);
    EXPECT_TRUE(TryStrToInt("$FF", v));
    EXPECT_EQ(v, 255);
    EXPECT_FALSE(TryStrToInt("4 2", v));
    EXPECT_FALSE(TryStrToInt("2147483648", v));
    EXPECT_FALSE(TryStrToInt("", v));
    EXPECT_EQ(ColorToString(clRed), "clRed");
    EXPECT_EQ(ColorToString(0x00FF8000), "$00FF8000");
    EXPECT_EQ(StringToColor("$00FF8000"), 0x00FF8000);
    EXPECT_EQ(StringToColor("clbtnface"), clBtnFace);
    EXPECT_EQ(StringToColor(ColorToString(clNone)), clNone);
    EXPECT_THROW(StringToColor("rot"), EConvertError);
    // Plain texts are checked against Qt's above; the exponent form is the program's own.
    DecimalSeparatorScope comma(u',');
    EXPECT_EQ(FloatToStr(0.00001), "1E-5");
    EXPECT_EQ(FloatToStr(1e20), "1E20");
    EXPECT_DOUBLE_EQ(StrToFloat(" 2,5 "), 2.5);
    EXPECT_THROW(StrToFloat("2.5"), EConvertError);
}

// A shown time is the stored one: in the hour a local clock skips in spring there
// is no moving it on, and every pattern letter gives what Qt's own date text gives.
TEST(BaseConversions, DateTextsAreTheStoredValuesInAnyTimeZone)
{
    const QByteArray savedZone = qgetenv("TZ");
    qputenv("TZ", "Europe/Berlin");
    tzset();
    const TDateTime skipped = QDateTimeToDateTime(QDateTime(QDate(2026, 3, 29), QTime(2, 30), Qt::UTC));
    EXPECT_EQ(FormatDateTime("dd.mm.yyyy hh:nn:ss", skipped), "29.03.2026 02:30:00");
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const QDateTime dt(QDate(1900, 1, 1).addDays(qint64(random() % 80000)),
                           QTime::fromMSecsSinceStartOfDay(int(random() % 86400000)), Qt::UTC);
        const TDateTime v = QDateTimeToDateTime(dt);
        ASSERT_EQ(FormatDateTime("dd.mm.yyyy hh:nn:ss.zzz", v), dt.toString(QStringLiteral("dd.MM.yyyy HH:mm:ss.zzz")));
        ASSERT_EQ(FormatDateTime("d.m.yy h:n:s", v), dt.toString(QStringLiteral("d.M.yy H:m:s")));
    }
    if (savedZone.isNull())
        qunsetenv("TZ");
    else
        qputenv("TZ", savedZone);
    tzset();
}

TEST(BaseConversions, DateTimeDayNumbersAndATimeRoundingToMidnightIsTheNextDay)
{
    const QDateTime dt(QDate(2026, 11, 23), QTime(12, 0));
    const TDateTime v = QDateTimeToDateTime(dt);
    EXPECT_DOUBLE_EQ(v, 46349.5);
    EXPECT_EQ(DateTimeToQDateTime(v), dt);
    EXPECT_EQ(DateTimeToQDateTime(0).date(), QDate(1899, 12, 30));
    // 45600 is 04.11.2024. A computed midnight lands a hair on either side of it.
    const QDateTime midnight(QDate(2024, 11, 4), QTime(0, 0));
    EXPECT_EQ(DateTimeToQDateTime(45600.0 - 1e-11), midnight);
    EXPECT_EQ(DateTimeToQDateTime(45600.0 + 1e-11), midnight);
    EXPECT_EQ(DateTimeToQDateTime(45599.0 + 86399999.0 / MSecsPerDay), QDateTime(QDate(2024, 11, 3), QTime(23, 59, 59, 999)));
    EXPECT_EQ(FormatDateTime("dd.mm. hh:nn", 45600.0 - 1e-11), "04.11. 00:00");
    // Before day zero the time of day still counts forward from the day's start.
    EXPECT_EQ(DateTimeToQDateTime(-1.5), QDateTime(QDate(1899, 12, 29), QTime(12, 0)));
    EXPECT_EQ(DateTimeToQDateTime(-1.0 - (1.0 - 1e-11)), QDateTime(QDate(1899, 12, 30), QTime(0, 0)));
}
