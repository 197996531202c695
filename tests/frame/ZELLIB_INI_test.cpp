#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_keyboard.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

namespace {
QByteArray ReadBytes(const QString& name)
{
    QFile f(name);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void WriteBytes(const QString& name, const QByteArray& bytes)
{
    QFile f(name);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

// Each test gets its own INI file and a fresh variable table, with the process
// conventions the program forces at start.
class IniStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        IniStore.reset();
        ZELLIB_INI_Finalize();
        ZELLIB_INI_Initialize();
        IniFileName = dir.filePath("KELMAR.INI");
        savedLocalized = Localized_Boolean;
        savedFormats = FormatSettings;
        Localized_Boolean = false;
        FormatSettings.DecimalSeparator = u',';
    }
    void TearDown() override
    {
        IniStore.reset();
        Localized_Boolean = savedLocalized;
        FormatSettings = savedFormats;
        PairFalseTrue = {"false", "true"};
        PairNoYes = {"nein", "ja"};
    }
    QString File() const { return QString::fromLatin1(ReadBytes(IniFileName)); }
    // Reads as the next start of the program would: a fresh image from the file.
    QString Reread(const QString& section, const QString& key)
    {
        return TMemIniFile(IniFileName).ReadString(section, key, QStringLiteral("<missing>"));
    }

    QTemporaryDir dir;
    bool savedLocalized = false;
    TFormatSettings savedFormats;
};
}

TEST_F(IniStoreTest, FileIsWindows1252WithCrLfKeepsTrailingBlanksAndJoinsSectionsInOtherCase)
{
    WriteBytes(IniFileName, "[Path]\nDatapath = C:\\Daten\\Pr\xfc" "fling\n; a note\r\n[Other]\r\nk=v\r\n");
    TMemIniFile ini(IniFileName);
    EXPECT_EQ(ini.ReadString("PATH", "DATAPATH", ""), QStringLiteral("C:\\Daten\\Prüfling"));
    ini.WriteString("Other", "Ä", "ö");
    ini.UpdateFile();
    const QByteArray bytes = ReadBytes(IniFileName);
    EXPECT_TRUE(bytes.contains("Datapath=C:\\Daten\\Pr\xfc" "fling\r\n"));
    EXPECT_TRUE(bytes.contains("\xc4=\xf6\r\n"));
    EXPECT_TRUE(bytes.contains("; a note\r\n"));   // remarks survive a rewrite
    EXPECT_FALSE(bytes.contains("\n\n"));
    EXPECT_EQ(bytes.count('\n'), bytes.count("\r\n"));

    // A value keeps its trailing blank from start to start.
    WriteBytes(IniFileName, "[Ports]\r\nF03=CANBus \r\n  F04 =\t COM1  \r\n");
    EXPECT_EQ(ReadIniString("Ports", "F03", ""), "CANBus ");
    EXPECT_EQ(ReadIniString("Ports", "F04", ""), "COM1  ");   // the blanks round "=" are layout
    WriteIniString("Ports", "F05", "x");   // a rewrite of the whole file
    IniStore.reset();
    EXPECT_EQ(ReadIniString("Ports", "F03", ""), "CANBus ");
    EXPECT_TRUE(File().contains("F03=CANBus \r\nF04=COM1  \r\nF05=x\r\n"));

    // Sections in other case are one section.
    IniStore.reset();
    WriteBytes(IniFileName, "[Programm]\r\nA=1\r\n[PROGRAMM]\r\nB=2\r\nA=3\r\n");
    EXPECT_EQ(ReadIniInteger("programm", "a", 0), 1);   // the first of two equal keys wins
    EXPECT_EQ(ReadIniInteger("Programm", "B", 0), 2);
    WriteIniString("PROGRAMM", "C", "x");
    const QString text = File();
    EXPECT_EQ(text.count("[", Qt::CaseInsensitive), 1);
    EXPECT_TRUE(text.startsWith("[Programm]\r\nA=1\r\nB=2\r\nA=3\r\nC=x\r\n"));
}

TEST_F(IniStoreTest, StringReadWritesTheDefaultBackOnlyWhenItIsWhatStands)
{
    WriteBytes(IniFileName, "[S]\r\nSame=HALLO\r\nOther=anders\r\n");
    EXPECT_EQ(ReadIniString("s", "Missing", "neu"), "neu");
    EXPECT_EQ(Reread("S", "Missing"), "neu");
    // Stored in other case: the stored spelling is kept and returned.
    EXPECT_EQ(ReadIniString("S", "Same", "hallo"), "HALLO");
    EXPECT_EQ(Reread("S", "Same"), "HALLO");
    EXPECT_EQ(ReadIniString("S", "Other", "default"), "anders");
    EXPECT_EQ(Reread("S", "Other"), "anders");
    // An empty default is never written.
    EXPECT_EQ(ReadIniString("S", "Empty", ""), "");
    EXPECT_EQ(Reread("S", "Empty"), "<missing>");
    // Every value read is recorded under the upper-cased section.
    EXPECT_EQ(GetVariable("S.Other").toString(), "anders");
    EXPECT_TRUE(VarTable().at("S.Missing").Sticky);
    EXPECT_EQ(VarTable().count("s.other"), 1u);
}

// What the plain typed reads return and leave in the file: integers and colours
// are repaired, unreadable booleans and floats stay as they stand.
TEST_F(IniStoreTest, PlainTypedReadsRepairIntegersAndColoursButLeaveBooleansAndFloats)
{
    WriteBytes(IniFileName, "[P]\r\nBad=abc\r\nSet=12\r\nHex=$10\r\nFlag=vielleicht\r\nOn=Ja\r\nF=abc\r\nG=2.25\r\n"
                            "[C]\r\nDec=255\r\nDecOther=255\r\nHex=$00FF8000\r\nBad=rot\r\n");
    EXPECT_EQ(ReadIniInteger("P", "Bad", 4), 4);
    EXPECT_EQ(Reread("P", "Bad"), "4");
    EXPECT_EQ(ReadIniInteger("P", "Set", 4), 12);
    EXPECT_EQ(Reread("P", "Set"), "12");
    EXPECT_EQ(ReadIniInteger("P", "Hex", 0), 16);
    EXPECT_EQ(ReadIniInteger("P", "New", -7), -7);
    EXPECT_EQ(Reread("P", "New"), "-7");
    EXPECT_EQ(GetVariable("P.Set").toInt(), 12);

    EXPECT_FALSE(ReadIniBool("P", "Flag", true));
    EXPECT_EQ(Reread("P", "Flag"), "vielleicht");
    EXPECT_TRUE(ReadIniBool("P", "On", false));
    EXPECT_TRUE(ReadIniBool("P", "NewFlag", true));
    EXPECT_EQ(Reread("P", "NewFlag"), "true");
    Localized_Boolean = true;
    EXPECT_FALSE(ReadIniBool("P", "NewLocal", false));
    EXPECT_EQ(Reread("P", "NewLocal"), "nein");

    EXPECT_DOUBLE_EQ(ReadIniFloat("P", "F", 1.5), 1.5);
    EXPECT_EQ(Reread("P", "F"), "abc");   // "c" and "a" go, the skipped "b" stays: unreadable
    EXPECT_DOUBLE_EQ(ReadIniFloat("P", "G", 1.5), 2.25);
    EXPECT_EQ(Reread("P", "G"), "2.25");
    EXPECT_DOUBLE_EQ(ReadIniFloat("P", "H", 0.125), 0.125);
    EXPECT_EQ(Reread("P", "H"), "0,125");

    // A decimal colour equal to the default becomes its name in the file.
    EXPECT_EQ(ReadIniColor("C", "Dec", clRed), clRed);
    EXPECT_EQ(Reread("C", "Dec"), "clRed");
    EXPECT_EQ(ReadIniColor("C", "DecOther", clBlue), clRed);
    EXPECT_EQ(Reread("C", "DecOther"), "255");
    EXPECT_EQ(ReadIniColor("C", "Hex", clBlack), 0x00FF8000);
    EXPECT_EQ(ReadIniColor("C", "Bad", clGreen), clGreen);
    EXPECT_EQ(Reread("C", "Bad"), "clGreen");
    EXPECT_EQ(ReadIniColor("C", "New", 0x00102030), 0x00102030);
    EXPECT_EQ(Reread("C", "New"), "$00102030");
}

// Values whose user cannot take every number are repaired where the plain reads
// leave them; sane values keep the plain rules.
TEST_F(IniStoreTest, CheckedReadsRepairWhatLiesOutsideAndKeepWhatLiesInside)
{
    const QByteArray huge = QByteArray(308, '9') + ",00";
    WriteBytes(IniFileName, "[A]\r\nNeg=-5\r\nFrac=-0,01\r\nNan=nan\r\nInf=INF\r\nHuge=" + huge +
                                "\r\nText=abc\r\nEmpty=\r\nOk=2,5\r\nEdge=10\r\n");
    for (const char* key : {"Neg", "Frac", "Nan", "Inf", "Huge", "Text"}) {
        EXPECT_DOUBLE_EQ(ReadIniFloatInRange("a", key, 0.25, 0, 10), 0.25) << key;
        EXPECT_EQ(Reread("A", key), "0,25") << key;
        EXPECT_DOUBLE_EQ(GetVariable(QStringLiteral("A.") + key).toDouble(), 0.25) << key;
    }
    // An empty text reads as 0, which lies inside: it stays, as for the plain read.
    EXPECT_DOUBLE_EQ(ReadIniFloatInRange("A", "Empty", 1, 0, 10), 0.0);
    EXPECT_EQ(Reread("A", "Empty"), "");
    EXPECT_DOUBLE_EQ(ReadIniFloatInRange("A", "Ok", 1, 0, 10), 2.5);
    EXPECT_EQ(Reread("A", "Ok"), "2,5");
    EXPECT_DOUBLE_EQ(ReadIniFloatInRange("A", "Edge", 1, 0, 10), 10.0);
    EXPECT_DOUBLE_EQ(ReadIniFloatInRange("A", "Missing", 7, 0, 10), 7.0);
    EXPECT_EQ(Reread("A", "Missing"), "7");

    WriteBytes(IniFileName, "[C]\r\nNeg=-5\r\nHigh=$7FFFFFFF\r\nSystem=clBtnFace\r\nNone=clNone\r\nBad=rot\r\n"
                            "Hex=$00FF8000\r\nName=clWhite\r\n");
    IniStore.reset();
    for (const char* key : {"Neg", "High", "System", "None", "Bad"}) {
        EXPECT_EQ(ReadIniRGBColor("C", key, clGreen), clGreen) << key;
        EXPECT_EQ(Reread("C", key), "clGreen") << key;
    }
    EXPECT_EQ(ReadIniRGBColor("C", "Hex", clGreen), 0x00FF8000);
    EXPECT_EQ(Reread("C", "Hex"), "$00FF8000");
    EXPECT_EQ(ReadIniRGBColor("C", "Name", clGreen), clWhite);
    EXPECT_EQ(Reread("C", "Name"), "clWhite");
}

TEST_F(IniStoreTest, RectanglesAndWrites)
{
    WriteBytes(IniFileName, "[R]\r\nRect=1,2,3,4\r\nBroken=1,2,x,4\r\n");
    EXPECT_EQ(ReadIniRect("R", "Rect", TRect{9, 9, 9, 9}), (TRect{1, 2, 3, 4}));
    EXPECT_EQ(ReadIniRect("R", "Missing", TRect{9, 9, 9, 9}), TRect{});
    EXPECT_EQ(Reread("R", "Missing"), "0,0,0,0");
    EXPECT_EQ(ReadIniRect("R", "Broken"), TRect{});

    EXPECT_FALSE(WriteIniRect("r", "W", TRect{-1, 0, 10, 20}));
    EXPECT_EQ(Reread("R", "W"), "-1,0,10,20");
    EXPECT_TRUE(WriteIniFloat("R", "F", 2, 3.14159));
    EXPECT_EQ(Reread("R", "F"), "3,14");
    Localized_Boolean = true;
    EXPECT_TRUE(WriteIniBool("R", "B", true));
    EXPECT_EQ(Reread("R", "B"), "ja");
    EXPECT_TRUE(WriteIniColor("R", "Col", clNone));
    EXPECT_EQ(Reread("R", "Col"), "clNone");
    EXPECT_TRUE(WriteIniInteger("R", "I", 5));
    EXPECT_FALSE(VarTable().count("R.I"));   // writes record no variable
}

TEST_F(IniStoreTest, AFileThatCannotBeWrittenIsNoError)
{
    IniFileName = dir.filePath("missing-folder/KELMAR.INI");
    EXPECT_EQ(ReadIniString("S", "K", "v"), "v");
    EXPECT_TRUE(WriteIniString("S", "K2", "w"));
    // The value lives on in the image until the image is made anew.
    EXPECT_EQ(ReadIniString("S", "K2", "x"), "w");
    EXPECT_FALSE(QFile::exists(IniFileName));
    IniStore.reset();
    EXPECT_EQ(ReadIniString("S", "K2", "x"), "x");
}

TEST_F(IniStoreTest, ExpansionUpperCasesAllButTheLastSubstitution)
{
    SetVariable("PATH.Datapath", "/data/Run");
    QString text = "$Datapath/x";
    EXPECT_TRUE(ExpandVariables(text));
    EXPECT_EQ(text, "/data/Run/X");

    SetVariable("PATH.A", "/a");
    SetVariable("PATH.B", "/b");
    text = "$B$a";
    EXPECT_TRUE(ExpandVariables(text));
    EXPECT_EQ(text, "/b/A");   // "$A" went first, then the whole text was upper-cased

    // A token that begins with another one is eaten by the shorter one sorting first.
    SetVariable("SystemPath.Windows", "/win");
    SetVariable("SystemPath.WindowsTemp", "/tmp");
    text = "$WindowsTemp";
    EXPECT_TRUE(ExpandVariables(text));
    EXPECT_EQ(text, "/winTEMP");

    text = "no token here";
    EXPECT_FALSE(ExpandVariables(text));
    EXPECT_EQ(text, "no token here");
    EXPECT_EQ(ExpandedCopy("$unknown"), "$UNKNOWN");
    EXPECT_EQ(ExpandedCopy("plain"), "plain");
}

TEST_F(IniStoreTest, PathReadWithATokenInTheDefaultWritesNothingBack)
{
    SetVariable("PATH.Datapath", dir.filePath("d"));
    const QString v = ReadIniPath("Path", "Sub", "$Datapath/sub", 0, true);
    EXPECT_EQ(v, dir.filePath("d") + "/SUB");
    EXPECT_TRUE(QDir(v).exists());
    EXPECT_EQ(Reread("PATH", "Sub"), "<missing>");
    const QString plain = ReadIniPath("Path", "Plain", dir.filePath("p"));
    EXPECT_EQ(Reread("PATH", "Plain"), plain);
    EXPECT_FALSE(QDir(plain).exists());
}

TEST_F(IniStoreTest, CallersOwnIniObjectAndTheImagesStoreOperations)
{
    WriteBytes(IniFileName, "[X]\r\nName=  Wert  \r\nNum=zz\r\n");
    QString value = "untouched";
    ReadFileString(nullptr, "X", "Name", "d", value);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(ReadFileInteger(nullptr, "X", "Num", 3), 3);

    TMemIniFile ini(IniFileName);
    ReadFileString(&ini, "x", "Name", "d", value);
    EXPECT_EQ(value, "Wert");
    ReadFileString(&ini, "x", "New", "neu", value);
    EXPECT_EQ(Reread("X", "New"), "neu");
    EXPECT_EQ(ReadFileInteger(&ini, "X", "Num", 3), 3);
    EXPECT_EQ(Reread("X", "Num"), "3");
    EXPECT_FALSE(VarTable().count("X.Name"));

    // The image's own store operations.
    WriteBytes(IniFileName, "[A]\r\nx=1\r\ny=2\r\n[B]\r\nz=3\r\n");
    TMemIniFile image(IniFileName);
    EXPECT_TRUE(image.SectionExists("a"));
    EXPECT_EQ(image.ReadSectionValues("A"), QStringList({"x=1", "y=2"}));
    image.DeleteKey("A", "X");
    image.EraseSection("b");
    EXPECT_FALSE(image.SectionExists("B"));
    EXPECT_EQ(image.GetStrings(), QStringList({"[A]", "y=2", ""}));
    image.UpdateFile();
    EXPECT_EQ(ReadBytes(IniFileName), QByteArray("[A]\r\ny=2\r\n\r\n"));
}

TEST_F(IniStoreTest, ProgramSettingsFillTheFileAndSetTheProcessConventions)
{
    QTemporaryDir root;
    AppPath = root.filePath("ZELSOFT/App");
    ZELSOFTPath = root.filePath("ZELSOFT");
    AppName = "ORVEXAUSW";
    WriteBytes(IniFileName, "[Programm]\r\nCSV_Kommazeichen_Wert=46\r\nUseExterneProgramme=true\r\n"
                            "[String_Constants]\r\nWahr_String=Wahr\r\n");
    KeyboardEnabled = true;
    FirstLayoutName = SecondLayoutName = "Deutsch.kbl";

    ReadProgramSettings();

    // This program has no on-screen keyboard.
    EXPECT_FALSE(KeyboardEnabled);
    EXPECT_TRUE(FirstLayoutName.isEmpty());
    EXPECT_TRUE(SecondLayoutName.isEmpty());

    EXPECT_EQ(Datapath, AppPath + "/Data");
    EXPECT_TRUE(QDir(Datapath).exists());
    EXPECT_EQ(CommonAppPath, root.filePath("ZELSOFT/Gemeinsame Dateien/ORVEXAUSW"));
    EXPECT_TRUE(QDir(CommonAppPath).exists());
    EXPECT_EQ(FormatSettings.DecimalSeparator, u'.');
    // Booleans read before Localized_Boolean stand in the file as true/false.
    EXPECT_EQ(Reread("PROGRAMM", "COM_Logging"), "true");
    EXPECT_EQ(Reread("PROGRAMM", "Localized_Boolean"), "true");
    EXPECT_TRUE(Localized_Boolean);
    EXPECT_EQ(BoolToText(true), "Wahr");
    EXPECT_EQ(Reread("PROGRAMM", "KundenProgrammHeader"), "_");
    EXPECT_TRUE(KundenInfo.isEmpty());
    EXPECT_EQ(Reread("PROGRAMM", "Version"), "<missing>");
    EXPECT_TRUE(Produkinfo.endsWith(" kelmar elektronik)"));
    EXPECT_TRUE(Produkinfo.contains(" (build "));
    EXPECT_EQ(GetVariable("PROGRAMM.Produkinfo").toString(), Produkinfo);
    EXPECT_FALSE(GetVariable("SystemPath.ProfileFolder").toString().isEmpty());
    EXPECT_EQ(GetVariable("SystemPath.Current").toString(), QDir::currentPath());
    // The external programs' list, asked for, is filled and written.
    ASSERT_TRUE(ExterneProgramme);
    EXPECT_EQ(ExterneProgramme->size(), 4);
    EXPECT_NE(Reread("EXTERNEPROGRAMME", "MS-EXCEL_PATH"), "<missing>");
    ExterneProgramme.reset();
}

// Settings that every later float and boolean of the file goes through: a value
// that would write text the next start reads otherwise is repaired at once.
TEST_F(IniStoreTest, ProgramSettingsRepairWhatWouldCorruptTheFileOrPutFilesAtTheRoot)
{
    QTemporaryDir root;
    AppPath = root.filePath("App");
    ZELSOFTPath = root.path();
    AppName = "ORVEXAUSW";
    for (const char* hostile : {"48", "0", "45", "13", "-5", "300000"}) {
        IniStore.reset();
        WriteBytes(IniFileName, QByteArray("[Programm]\r\nCSV_Kommazeichen_Wert=") + hostile +
                                    "\r\n[String_Constants]\r\nWahr_String=J\r\nTrue_String=\r\nFalsch_String=ja\r\n"
                                    "False_String=true\r\n[PATH]\r\nCommonAppPath=\r\nDatapath= \r\n");
        FormatSettings.DecimalSeparator = u',';
        ReadProgramSettings();
        EXPECT_EQ(FormatSettings.DecimalSeparator, u',') << hostile;
        EXPECT_EQ(Reread("PROGRAMM", "CSV_Kommazeichen_Wert"), "44") << hostile;
    }
    EXPECT_EQ(PairNoYes.True, "ja");
    EXPECT_EQ(PairNoYes.False, "nein");
    EXPECT_EQ(PairFalseTrue.True, "true");
    EXPECT_EQ(PairFalseTrue.False, "false");
    EXPECT_EQ(Reread("STRING_CONSTANTS", "Wahr_String"), "ja");
    EXPECT_EQ(Reread("STRING_CONSTANTS", "True_String"), "true");
    EXPECT_EQ(Reread("STRING_CONSTANTS", "Falsch_String"), "nein");
    EXPECT_EQ(Reread("STRING_CONSTANTS", "False_String"), "false");
    // A kept switch reads back as it was written.
    EXPECT_TRUE(WriteIniBool("X", "Schalter", true));
    EXPECT_TRUE(ReadIniBool("X", "Schalter", false));
    EXPECT_EQ(CommonAppPath, root.filePath("Gemeinsame Dateien/ORVEXAUSW"));
    EXPECT_EQ(Reread("PATH", "CommonAppPath"), CommonAppPath);
    EXPECT_EQ(Datapath, AppPath + "/Data");
    EXPECT_EQ(GetVariable("PATH.Datapath").toString(), Datapath);

    // The other separator and a decimal code past the low byte are sane.
    IniStore.reset();
    WriteBytes(IniFileName, "[Programm]\r\nCSV_Kommazeichen_Wert=302\r\n[String_Constants]\r\nWahr_String=OK\r\n");
    ReadProgramSettings();
    EXPECT_EQ(FormatSettings.DecimalSeparator, u'.');
    EXPECT_EQ(Reread("PROGRAMM", "CSV_Kommazeichen_Wert"), "302");
    EXPECT_EQ(PairNoYes.True, "OK");
}

TEST(Delay, UsesOnlyTheLowSixteenBits)
{
    QElapsedTimer t;
    t.start();
    DelayMs(0);
    DelayMs(65536 + 5);   // 5 ms, not 65 s
    EXPECT_LT(t.elapsed(), 5000);
    EXPECT_GE(t.elapsed(), 5);
}
