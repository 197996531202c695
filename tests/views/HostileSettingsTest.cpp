// Kept chart settings edited by hand into values the charts cannot take: the
// window still comes up, shows the defaults instead, and the file is repaired.

#include "views/OrvexApplication.h"
#include "views/uFoAuswertungUebersicht.h"

#include "chart/TeEngine.h"
#include "frame/MemIniFile.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QFile>
#include <QTemporaryDir>
#include <array>
#include <cmath>

namespace {
struct TAchsenwerte {
    double Minimum, Maximum, Increment, Start, Ende;
};

class HostileSettingsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        ProgrammEndet = false;
        savedDecimal = FormatSettings.DecimalSeparator;
        FormatSettings.DecimalSeparator = u',';
        // What a window shows without any kept setting.
        Start("");
        for (int n = 1; n <= 4; ++n) {
            const TChartAxis* a = w->fAchsen[n];
            defaults[n] = {a->Minimum(), a->Maximum(), a->Increment(), a->StartPosition(), a->EndPosition()};
        }
    }
    void TearDown() override
    {
        delete w;
        IniStore.reset();
        FormatSettings.DecimalSeparator = savedDecimal;
    }
    // A start of the window over a file with these lines in section Chartsettings.
    void Start(const QByteArray& chartsettings)
    {
        delete w;
        w = nullptr;
        IniStore.reset();
        IniFileName = dir.filePath(QStringLiteral("KELMAR.INI"));
        QFile f(IniFileName);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("[Chartsettings]\r\n" + chartsettings);
        f.close();
        w = new TFOOrvexAuswertung;
        IniStore.reset();
    }
    static QString Stored(const QString& key)
    {
        return TMemIniFile(IniFileName).ReadString(QStringLiteral("Chartsettings"), key, QStringLiteral("<missing>"));
    }

    QTemporaryDir dir;
    QChar savedDecimal;
    TFOOrvexAuswertung* w = nullptr;
    std::array<TAchsenwerte, 5> defaults{};
};
}

TEST_F(HostileSettingsTest, AxisValuesTheChartsCannotTakeReadAsDefaultsAndAreRepaired)
{
    const QByteArray huge = QByteArray(308, '9') + ",00";
    // A negative step raised out of the window's creation at every start.
    ASSERT_NO_THROW(Start("Axis_02ticks=-5\r\nAxis_03ticks=-0,01\r\nAxis_04ticks=0,5\r\n"
                          "Axis_02low=nan\r\nAxis_02high=inf\r\nAxis_03low=" + huge + "\r\nAxis_03high=-INF\r\n"
                          "Axis_04low=80\r\nAxis_04high=20\r\n"
                          "Axis_02IStart=-9999\r\nAxis_02IEnde=99999\r\nAxis_03IStart=60\r\nAxis_03IEnde=40\r\n"
                          "Axis_04IStart=10\r\nAxis_04IEnde=90\r\n"));
    const TChartAxis* volts = w->fAchsen[2];
    const TChartAxis* celsius = w->fAchsen[3];
    const TChartAxis* humidity = w->fAchsen[4];
    EXPECT_DOUBLE_EQ(volts->Increment(), defaults[2].Increment);
    EXPECT_DOUBLE_EQ(celsius->Increment(), defaults[3].Increment);
    EXPECT_DOUBLE_EQ(humidity->Increment(), 0.5);   // a fraction is a step like any other
    EXPECT_DOUBLE_EQ(volts->Minimum(), defaults[2].Minimum);
    EXPECT_DOUBLE_EQ(volts->Maximum(), defaults[2].Maximum);
    EXPECT_DOUBLE_EQ(celsius->Minimum(), defaults[3].Minimum);
    EXPECT_DOUBLE_EQ(celsius->Maximum(), defaults[3].Maximum);
    // Limits the wrong way round are a range all the same.
    EXPECT_DOUBLE_EQ(humidity->Minimum(), 20.0);
    EXPECT_DOUBLE_EQ(humidity->Maximum(), 80.0);
    EXPECT_DOUBLE_EQ(volts->StartPosition(), defaults[2].Start);
    EXPECT_DOUBLE_EQ(volts->EndPosition(), defaults[2].Ende);
    EXPECT_DOUBLE_EQ(celsius->StartPosition(), defaults[3].Start);
    EXPECT_DOUBLE_EQ(celsius->EndPosition(), defaults[3].Ende);
    EXPECT_DOUBLE_EQ(humidity->StartPosition(), 10.0);
    EXPECT_DOUBLE_EQ(humidity->EndPosition(), 90.0);

    // Repaired in the file before anything else is written.
    EXPECT_EQ(Stored("Axis_02ticks"), FloatToStr(defaults[2].Increment));
    EXPECT_EQ(Stored("Axis_03ticks"), FloatToStr(defaults[3].Increment));
    EXPECT_EQ(Stored("Axis_04ticks"), "0,5");
    EXPECT_EQ(Stored("Axis_02low"), FloatToStr(defaults[2].Minimum));
    EXPECT_EQ(Stored("Axis_02high"), FloatToStr(defaults[2].Maximum));
    EXPECT_EQ(Stored("Axis_03low"), FloatToStr(defaults[3].Minimum));
    EXPECT_EQ(Stored("Axis_03high"), FloatToStr(defaults[3].Maximum));
    EXPECT_EQ(Stored("Axis_04low"), "80");
    EXPECT_EQ(Stored("Axis_02IStart"), FloatToStr(defaults[2].Start));
    EXPECT_EQ(Stored("Axis_02IEnde"), FloatToStr(defaults[2].Ende));
    EXPECT_EQ(Stored("Axis_03IStart"), FloatToStr(defaults[3].Start));
    EXPECT_EQ(Stored("Axis_03IEnde"), FloatToStr(defaults[3].Ende));
    EXPECT_EQ(Stored("Axis_04IEnde"), "90");

    // The next start reads what was repaired, and the charts draw.
    ASSERT_NO_THROW(Start(""));
    w->resize(1200, 800);
    EXPECT_FALSE(w->grab().isNull());
}

TEST_F(HostileSettingsTest, MarginsAreHeldToTheDialogsRangeAndColoursToPlainRgb)
{
    Start("Rand=-9999,-9999,-9999,-9999\r\n");
    EXPECT_EQ(w->fRand, TRect{});
    EXPECT_EQ(w->chart_U_I->MarginLeft(), 0);
    EXPECT_EQ(Stored("Rand"), "0,0,0,0");

    Start("Rand=99999,99999,99999,99999\r\n");
    EXPECT_EQ(w->fRand, (TRect{100, 20, 100, 20}));
    EXPECT_EQ(w->Chart_T_RF->MarginRight(), 100);
    EXPECT_EQ(Stored("Rand"), "100,20,100,20");

    // No rectangle at all: zero margins, as the store reads it, and repaired.
    Start("Rand=breit\r\n");
    EXPECT_EQ(w->fRand, TRect{});
    EXPECT_EQ(Stored("Rand"), "0,0,0,0");

    Start("Rand=70,6,70,4\r\n");
    EXPECT_EQ(w->fRand, (TRect{70, 6, 70, 4}));
    EXPECT_EQ(Stored("Rand"), "70,6,70,4");

    Start("Farbe_Chart=-5\r\nFarbe_U=$7FFFFFFF\r\nFarbe_T=Garbage\r\nFarbe_I=clBtnFace\r\nFarbe_rF=$00123456\r\n"
          "Axis_02Color=clNone\r\n");
    EXPECT_EQ(w->fFarbeChart, clBlack);
    EXPECT_EQ(w->chart_U_I->Color(), clBlack);
    EXPECT_EQ(w->fFarbeU, 16711680);
    EXPECT_EQ(w->Ser_U->SeriesColor(), 16711680);
    EXPECT_EQ(w->fFarbeT, clBlack);
    EXPECT_EQ(w->fFarbeI, clRed);
    EXPECT_EQ(w->fFarbeRF, 0x00123456);
    EXPECT_EQ(w->fAchsen[2]->Title().Font().Color(), clBlack);
    EXPECT_EQ(Stored("Farbe_Chart"), "clBlack");
    EXPECT_EQ(Stored("Farbe_U"), "clBlue");
    EXPECT_EQ(Stored("Farbe_T"), "clBlack");
    EXPECT_EQ(Stored("Farbe_I"), "clRed");
    EXPECT_EQ(Stored("Farbe_rF"), "$00123456");
    EXPECT_EQ(Stored("Axis_02Color"), "clBlack");
}

// A failure while the program comes into being reaches the standard report, in
// German, and ends the start with a code of its own.
TEST(StartAbsichern, AnExceptionOfTheStartIsReportedInGermanAndEndsTheStart)
{
    const int before = ReportedExceptions();
    bool ran = false;
    EXPECT_EQ(StartAbsichern([&] { ran = true; }), 0);
    EXPECT_TRUE(ran);
    EXPECT_EQ(ReportedExceptions(), before);

    testing::internal::CaptureStderr();
    const int code = StartAbsichern([] { throw AxisException(QStringLiteral("Axis increment must be >= 0")); });
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(code, 2);
    EXPECT_EQ(ReportedExceptions(), before + 1);
    EXPECT_NE(err.find("Fehler beim Programmstart, das Programm wird beendet:\nAxis increment must be >= 0"),
              std::string::npos)
        << err;

    testing::internal::CaptureStderr();
    EXPECT_EQ(StartAbsichern([] { throw 42; }), 2);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Unbekannter Fehler"), std::string::npos);
}
