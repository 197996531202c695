// The German translation: hot keys, trailing marks, the table's lookup rules and
// the engine's messages.

#include "chart/TeEngine.h"
#include "chart/Chart.h"
#include "chart/TeeTranslate.h"

#include <gtest/gtest.h>

namespace {

QString Tr(QString s, QString& used)
{
    TeeTranslateString(s, used);
    return s;
}

class TeeTranslateTest : public ::testing::Test {
protected:
    void SetUp() override { TeeSetGerman(); }
    void TearDown() override { TeeTranslateHotkeyAsian = false; }
};

}

TEST_F(TeeTranslateTest, HotKeysTakeTheFirstFreeLetterAndTrailingMarksComeBack)
{
    QString used;
    EXPECT_EQ(Tr(QStringLiteral("&Save..."), used), "&Speichern...");
    EXPECT_EQ(used, "S");
    // S is taken in the same form: the next free letter gets the mark.
    EXPECT_EQ(Tr(QStringLiteral("&Series"), used), "S&erien");
    EXPECT_EQ(Tr(QStringLiteral("Title:"), used), "Titel:");
    EXPECT_EQ(Tr(QStringLiteral("  Print Pre&view...  "), used), "&Druckvorschau...");
    // All letters used: no mark at all.
    QString all = QStringLiteral("OKJANEI");
    EXPECT_EQ(Tr(QStringLiteral("&Yes"), all), "Ja");

    TeeTranslateHotkeyAsian = true;
    QString none;
    EXPECT_EQ(Tr(QStringLiteral("&Close"), none), "Schließen(&C)");
}

TEST_F(TeeTranslateTest, UnknownAndReservedTextsStayTrimmed)
{
    QString used, s = QStringLiteral("  Versuch 12  ");
    EXPECT_FALSE(TeeTranslateString(s, used));
    EXPECT_EQ(s, "Versuch 12");
    for (const char* reserved : {"?", "%", "0", ""}) {
        QString r = QString::fromLatin1(reserved);
        EXPECT_FALSE(TeeTranslateString(r, used));
        EXPECT_EQ(r, QString::fromLatin1(reserved));
    }
    QString blank = QStringLiteral("   ");
    EXPECT_FALSE(TeeTranslateString(blank, used));
    EXPECT_TRUE(used.isEmpty());
}

TEST_F(TeeTranslateTest, LookupTakesTheFirstLineAndSkipsLinesWithoutEquals)
{
    QStringList own = {QStringLiteral("NO EQUALS HERE"), QStringLiteral("A=Erstes"), QStringLiteral("A=Zweites"),
                       QStringLiteral("AB=x=y")};
    QStringList* saved = TeeLanguage;
    TeeLanguage = &own;
    EXPECT_EQ(TeeLookup(QStringLiteral("A")), "Erstes");
    EXPECT_EQ(TeeLookup(QStringLiteral("AB")), "x=y");
    EXPECT_EQ(TeeLookup(QStringLiteral("NO EQUALS HERE")), "");
    TeeLanguage = saved;
}

TEST_F(TeeTranslateTest, EngineMessagesReachTheUserInGerman)
{
    TChart chart;
    try {
        chart.LeftAxis()->SetIncrement(-1);
        FAIL() << "a negative step must be refused";
    } catch (const std::exception& e) {
        EXPECT_EQ(QString::fromUtf8(e.what()), "Achsen Inkrement muss >= 0 sein");
    }
    EXPECT_EQ(TeeMsg_AxisLogDateTime, "Datum/Uhrzeit-Achse kann nicht logarithmisch sein ");
    EXPECT_EQ(TeeMsg_NoParentChart, "Kein ParentChart um Datenquelle zu erlauben");
    EXPECT_EQ(TeeMsg_GalleryLine, "Linie");
}
