#include "testdata/uDMorvex.h"

#include "frame/ZELLIB_INI.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QFile>
#include <QTemporaryDir>

namespace {
class TexteTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        IniStore.reset();
        IniFileName = dir.filePath("KELMAR.INI");
    }
    void TearDown() override
    {
        IniStore.reset();
        uDMorvex_Finalize();
    }
    void Write(const QByteArray& bytes)
    {
        QFile f(IniFileName);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    }
    QString Reread(const QString& section, const QString& key)
    {
        return TMemIniFile(IniFileName).ReadString(section, key, "<missing>");
    }
    QTemporaryDir dir;
};
}

TEST_F(TexteTest, DefaultsAreWrittenBackAndConfiguredTextsWin)
{
    Write("[Fehler]\r\nF02=T\xfc" "r offen und dazu noch ein sehr langer Zusatztext\r\n"
          "[Events]\r\nE11=Sonderereignis\r\n[PROGRAMM]\r\nUser=Meier, Schulze ,Wagner\r\n");
    uDMorvex_Initialize();

    // The supplies' defaults replace the built-in labels even without configuration.
    EXPECT_EQ(NetzteilTexte[0], "NT1 [2000 V]");
    EXPECT_EQ(Reread("ORVEXCLIENT", "NT4"), "NT4 [-100 V]");
    EXPECT_EQ(EreignisTexte[1], "Versuchsstart");
    EXPECT_EQ(EreignisTexte[11], "Sonderereignis");
    EXPECT_EQ(EreignisTexte[0], "");
    EXPECT_EQ(Reread("EVENTS", "E08"), "Versuchsende");
    EXPECT_EQ(Reread("EVENTS", "E12"), "<missing>");   // empty defaults write nothing
    EXPECT_EQ(FehlerTexte[2].size(), 40);
    EXPECT_EQ(FehlerTexte[2], QString("Tür offen und dazu noch ein sehr langer Zusatztext").left(40));
    EXPECT_EQ(FehlerTexte[3], "CANBus ");
    EXPECT_EQ(Reread("FEHLER", "F03"), "CANBus ");   // kept as written, so the next start reads the same
    EXPECT_EQ(FehlerTexte[19], "Stromabschaltung HSMM");
    // A list without quotes is still split at its commas.
    ASSERT_TRUE(BenutzerListe);
    EXPECT_EQ(*BenutzerListe, QStringList({"Meier", " Schulze ", "Wagner"}));
    ASSERT_TRUE(AktVersuch);
    EXPECT_EQ(AktVersuch->AuftragKey, 0);
}

TEST_F(TexteTest, DefaultUserListHasTwoNamesWithoutQuotes)
{
    uDMorvex_Initialize();
    EXPECT_EQ(*BenutzerListe, QStringList({"A.Nutzer", "G.Nutzer"}));
    EXPECT_EQ(Reread("PROGRAMM", "User"), "\"A.Nutzer\",\"G.Nutzer\"");
}

TEST(StatusTexte, IndexIgnoresCaseAndStoredNumbersShowTheirText)
{
    EXPECT_EQ(StatusIndex("versuch aktiv"), 4);
    EXPECT_EQ(StatusIndex("Bendet"), 9);
    EXPECT_EQ(StatusIndex("Beendet"), 0);
    EXPECT_EQ(StatusIndex(""), 0);
    EXPECT_EQ(StatusTexte[StatusIndex("GESTOPPT - FEHLER")], "Gestoppt - Fehler");
    // Stored numbers show their text.
    EXPECT_EQ(StatusTextOfNumber("9"), "Bendet");
    EXPECT_EQ(StatusTextOfNumber("0"), "Angelegt");
    EXPECT_EQ(StatusTextOfNumber("12"), "");
    EXPECT_EQ(StatusTextOfNumber("260"), "Versuch aktiv");   // low 8 bits: 4
    EXPECT_THROW(StatusTextOfNumber("x"), EConvertError);
    EXPECT_THROW(StatusTextOfNumber(""), EConvertError);
}
