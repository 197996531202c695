#include "ChartTestSupport.h"
#include "chart/TeeProcs.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"
#include <limits>

namespace {

class FormatTest : public ::testing::Test {
protected:
    const GermanFormats german;
};

TDateTime At(int y, int mo, int d, int h, int mi, int s = 0, int ms = 0)
{
    return QDateTimeToDateTime(QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms)));
}

TEST_F(FormatTest, NumberPatternsOfTheWindowResources)
{
    EXPECT_EQ(TeeFormatFloat("###0.00", 1234.5), "1234,50");
    EXPECT_EQ(TeeFormatFloat("###0.00", 0.125), "0,13");
    EXPECT_EQ(TeeFormatFloat("###0.00", -7), "-7,00");
    // No thousands separator is set in the program: "," in the pattern groups nothing.
    EXPECT_EQ(TeeFormatFloat("#,##0.0", 1234567.89), "1234567,9");
    FormatSettings.ThousandSeparator = u'.';
    EXPECT_EQ(TeeFormatFloat("#,##0.0", 1234567.89), "1.234.567,9");
    EXPECT_EQ(TeeFormatFloat("#,##0.0", -999.96), "-1.000,0");
    EXPECT_EQ(TeeFormatFloat("#,##0.###", 12.5), "12,5");
    EXPECT_EQ(TeeFormatFloat("#,##0.###", 3), "3");
}

TEST_F(FormatTest, OptionalDigitsSignsSectionsAndLiterals)
{
    EXPECT_EQ(TeeFormatFloat("#.##", 0.5), ",5");
    EXPECT_EQ(TeeFormatFloat("0.00", -0.001), "0,00");   // rounds to zero: no sign
    EXPECT_EQ(TeeFormatFloat("000", 7), "007");
    EXPECT_EQ(TeeFormatFloat("0.0;(0.0);'null'", -2.25), "(2,3)");
    EXPECT_EQ(TeeFormatFloat("0.0;(0.0);'null'", 0), "null");
    EXPECT_EQ(TeeFormatFloat("0.0 \"V\"", 1.5), "1,5 V");
    EXPECT_EQ(TeeFormatFloat("##0.## %", 12.5), "12,5 %");
    EXPECT_EQ(TeeFormatFloat("0.00E+00", 12345), "1,23E+04");
    EXPECT_EQ(TeeFormatFloat("0.00E-00", 0.000123), "1,23E-04");
    EXPECT_EQ(TeeFormatFloat("0.0E+0", 9.99), "1,0E+1");   // mantissa carries into the exponent
}

TEST_F(FormatTest, NumbersPastEighteenDigitsReadInExponentForm)
{
    EXPECT_EQ(TeeFormatFloat(",0.000 µA", 1e300), "1,000E+300 µA");
    EXPECT_EQ(TeeFormatFloat("###0.00", -2.5e20), "-2,50E+20");
    EXPECT_EQ(TeeFormatFloat("0.0;(0.0)", -1e18), "(1,0E+18)");
    EXPECT_EQ(TeeFormatFloat("#,##0.0", 9.99e18), "1,0E+19");   // the mantissa carries
    EXPECT_EQ(TeeFormatFloat("0", std::numeric_limits<double>::max()), "2E+308");
    FormatSettings.ThousandSeparator = u'.';
    EXPECT_EQ(TeeFormatFloat("#,##0.0", 1.5e20), "1,5E+20");
    // Up to eighteen digits the pattern stands as it is.
    EXPECT_EQ(TeeFormatFloat("0", 1e17), "100000000000000000");
    EXPECT_EQ(TeeFormatFloat("#,##0", 123456789012345678.0), "123.456.789.012.345.680");
}

TEST_F(FormatTest, DateTimePatterns)
{
    const TDateTime t = At(2024, 3, 5, 14, 7, 9, 45);
    EXPECT_EQ(TeeFormatDateTime("dd.mm  hh:mm", t), "05.03  14:07");
    EXPECT_EQ(TeeFormatDateTime("d.m.yy", t), "5.3.24");
    EXPECT_EQ(TeeFormatDateTime("hh:nn:ss.zzz", t), "14:07:09.045");
    EXPECT_EQ(TeeFormatDateTime("dd/mm/yyyy", t), "05.03.2024");   // "/" is the date separator
    EXPECT_EQ(TeeFormatDateTime("h:mm am/pm", t), "2:07 pm");
    EXPECT_EQ(TeeFormatDateTime("'Tag' d", t), "Tag 5");
    // The process' own formats work through the same formatter.
    EXPECT_EQ(TeeFormatDateTime(FormatSettings.ShortDateFormat, t), "05.03.2024");
    EXPECT_EQ(TeeFormatDateTime(FormatSettings.ShortTimeFormat, t), "14:07:09");
    EXPECT_EQ(TeeFormatDateTime("c", At(2024, 3, 5, 0, 0)), "05.03.2024");
}

TEST_F(FormatTest, ImpossibleDateRaises)
{
    EXPECT_THROW(TeeFormatDateTime("dd.mm.yyyy", 1e9), EConvertError);
    EXPECT_THROW(TeeFormatDateTime("dd.mm.yyyy", std::nan("")), EConvertError);
    EXPECT_NO_THROW(TeeFormatDateTime("dd.mm.yyyy", 0));
    EXPECT_EQ(TeeFormatDateTime("dd.mm.yyyy", 0), "30.12.1899");
}

} // namespace
