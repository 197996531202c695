// The drop-in UPDATE.INI on real files, and the two file helpers it uses.

#include "frame/ZELInit.h"
#include "frame/ZELLIB_FIL.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_Logging.h"
#include "tests/frame_services/TestHelpers.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {
class MigrationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        AppName = QStringLiteral("ORVEXTEST");
        CommonAppPath = dir.filePath("Log");
        QDir().mkpath(CommonAppPath);
        Configpath = dir.filePath("Config");
        QDir().mkpath(Configpath);
        IniFileName = Configpath + "/KELMAR.INI";
        IniStore.reset();
        COM_Logging = true;
        ZELLogFile = std::make_unique<TZELLogFile>(QStringList{QStringLiteral("test")});
    }
    void TearDown() override
    {
        zellib_Logging_Finalize();
        IniStore.reset();
        Configpath.clear();
    }
    QString Update() const { return Configpath + "/UPDATE.INI"; }
    QString Archived(int n) const { return Configpath + "/UPDATES/Update_" + IntToFixed(n, 3) + ".INI"; }
    // As the next start reads it: a fresh image from the file.
    static QString Stored(const QString& section, const QString& key)
    {
        return TMemIniFile(IniFileName).ReadString(section, key, QStringLiteral("<fehlt>"));
    }
    static QStringList Notes()
    {
        QStringList out;
        for (const QString& l : LoggedEntries())
            if (l.startsWith(QLatin1String(";DLG       ;")))
                out << l.mid(12);
        return out;
    }
    QTemporaryDir dir;
};
}

TEST_F(MigrationTest, AnUpdateFileChangesTheIniOnceAndIsArchived)
{
    WriteBytes(IniFileName, "[Alt]\r\na=1\r\n[Programm]\r\nHintdauer=5000\r\nAlter_Name=42\r\nBehalten=x\r\n"
                            "[Ports]\r\nF01=COM1\r\nF03=LPT\r\n");
    const QByteArray update = "; Servicebesuch 2026\r\n"
                              "// auch eine Bemerkung\r\n"
                              "\r\n"
                              "  DEL_SECTION   Alt  \r\n"
                              "[Programm]\r\n"
                              "REN_KEY Programm , Alter_Name , Neuer_Name\r\n"
                              "Hintdauer=3000 // länger lesen\r\n"
                              "del_key Ports, F01\r\n"
                              "[Ports]\r\n"
                              "F02=CANBus\r\n"
                              "F03 = Pr\xfc" "fstand\n"
                              "[Neu]\r\n"
                              "Adresse=http://server/pfad\r\n";
    WriteBytes(Update(), update);

    // Any typed access runs the pass first.
    EXPECT_EQ(ReadIniInteger("Programm", "Hintdauer", 5000), 3000);

    EXPECT_FALSE(QFile::exists(Update()));
    EXPECT_EQ(ReadBytes(Archived(1)), update);
    const TMemIniFile ini(IniFileName);
    EXPECT_FALSE(ini.SectionExists("Alt"));
    EXPECT_EQ(Stored("Programm", "Neuer_Name"), "42");
    EXPECT_FALSE(ini.ValueExists("Programm", "Alter_Name"));
    EXPECT_EQ(Stored("Programm", "Behalten"), "x");
    // What stands in front of "//" is the value, its blank included, from start to start.
    EXPECT_EQ(Stored("Programm", "Hintdauer"), "3000 ");
    EXPECT_TRUE(ReadBytes(IniFileName).contains("Hintdauer=3000 \r\n"));
    EXPECT_FALSE(ini.ValueExists("Ports", "F01"));
    EXPECT_EQ(Stored("Ports", "F02"), "CANBus");
    EXPECT_EQ(Stored("Ports", "F03"), QStringLiteral("Prüfstand"));   // the key with blanks round it replaced the old one
    EXPECT_EQ(ini.ReadSection("Ports").count("F03"), 1);
    EXPECT_EQ(Stored("Neu", "Adresse"), "http:");

    // Nothing more happens at later accesses.
    const QByteArray after = ReadBytes(IniFileName);
    ReadIniString("Programm", "Behalten", "x");
    EXPECT_EQ(ReadBytes(IniFileName), after);
    EXPECT_FALSE(QFile::exists(Archived(2)));
    EXPECT_TRUE(Notes().isEmpty());
}

TEST_F(MigrationTest, RenamingTakesTheValueFromTheCurrentBracketSectionAndMalformedLinesDoNothing)
{
    WriteBytes(IniFileName, "[S]\r\na=vonS\r\nc=3\r\n[T]\r\na=vonT\r\n");
    // Before any bracket line: a goes, b comes empty.
    WriteBytes(Update(), "REN_KEY S,a,b\r\n");
    OpenIniStore();
    EXPECT_EQ(Stored("S", "a"), "<fehlt>");
    EXPECT_EQ(Stored("S", "b"), "");

    // Under [T] the value is T's, though the key is renamed in S.
    WriteBytes(IniFileName, "[S]\r\na=vonS\r\n[T]\r\na=vonT\r\n");
    WriteBytes(Update(), "[T]\r\nREN_KEY S,a,b\r\n");
    OpenIniStore();
    EXPECT_EQ(Stored("S", "b"), "vonT");
    EXPECT_EQ(Stored("S", "a"), "<fehlt>");
    EXPECT_EQ(Stored("T", "a"), "vonT");
    EXPECT_TRUE(QFile::exists(Archived(2)));

    // Malformed lines do nothing.
    WriteBytes(IniFileName, "[S]\r\na=1\r\nb=2\r\n");
    WriteBytes(Update(), "ohne=Abschnitt\r\n"
                         "DEL_KEY S\r\n"
                         "DEL_KEY ,a\r\n"
                         "REN_KEY S,a\r\n"
                         "REN_KEY S,,b\r\n"
                         "REN_KEY S,a,\r\n"
                         "[S]\r\n"
                         "=leer\r\n"
                         "nur Text\r\n"
                         "[Offen\r\n"
                         "a=verloren\r\n"
                         "DEL_SECTION\r\n");
    OpenIniStore();
    EXPECT_FALSE(QFile::exists(Update()));
    const TMemIniFile after(IniFileName);
    EXPECT_EQ(after.ReadSections(), QStringList{"S"});
    EXPECT_EQ(after.ReadSectionValues("S"), (QStringList{"a=1", "b=2"}));
}

TEST_F(MigrationTest, ASecondDropInTakesTheNextFreeNumberAndAppliesAtTheNextAccess)
{
    WriteBytes(IniFileName, "[S]\r\nk=0\r\n");
    QDir().mkpath(Configpath + "/UPDATES");
    WriteBytes(Archived(1), "alt");
    WriteBytes(Archived(3), "alt");
    WriteBytes(Update(), "[S]\r\nk=1\r\n");
    EXPECT_EQ(ReadIniInteger("S", "k", 0), 1);
    EXPECT_EQ(ReadBytes(Archived(2)), "[S]\r\nk=1\r\n");
    EXPECT_EQ(ReadBytes(Archived(1)), "alt");

    WriteBytes(Update(), "[S]\r\nk=2\r\n");
    EXPECT_EQ(ReadIniInteger("S", "k", 0), 2);
    EXPECT_EQ(ReadBytes(Archived(4)), "[S]\r\nk=2\r\n");
    EXPECT_FALSE(QFile::exists(Update()));
}

TEST_F(MigrationTest, AnUnreadableUpdateLeavesTheIniAsItWas)
{
    WriteBytes(IniFileName, "[S]\r\nk=0\r\n");
    QDir().mkpath(Update());   // a folder where the file should be
    EXPECT_EQ(ReadIniInteger("S", "k", 0), 0);
    EXPECT_EQ(TMemIniFile(IniFileName).ReadSectionValues("S"), QStringList{"k=0"});
    EXPECT_FALSE(QFile::exists(Archived(1)));
}

TEST_F(MigrationTest, FileCopyReplacesTheTargetAndFailsCleanly)
{
    const QString source = dir.filePath("quelle.bin");
    QByteArray bytes(200000, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7);
    WriteBytes(source, bytes);
    const QString target = dir.filePath("ziel.bin");
    WriteBytes(target, QByteArray(500000, 'x'));
    EXPECT_TRUE(FileCopy(source, target));
    EXPECT_EQ(ReadBytes(target), bytes);

    EXPECT_FALSE(FileCopy(dir.filePath("fehlt"), dir.filePath("ziel2")));
    EXPECT_FALSE(QFile::exists(dir.filePath("ziel2")));
    EXPECT_FALSE(FileCopy(source, dir.filePath("kein/ordner/ziel")));

    // Names go through the path variables (and so, but for the value put in, into upper case).
    SetVariable("PATH.Testpath", dir.path());
    WriteBytes(dir.filePath("QUELLE.BIN"), bytes);
    EXPECT_TRUE(FileCopy("$Testpath/quelle.bin", "$Testpath/ziel3.bin"));
    EXPECT_EQ(ReadBytes(dir.filePath("ZIEL3.BIN")), bytes);
    VarTable().erase("PATH.Testpath");
}

TEST_F(MigrationTest, FileDeleteRemovesFilesFoldersAndMatchesAndTellsOfEachFailedStage)
{
    // A read-only file: the right to delete lies with the folder here, so it goes at once.
    const QString readOnly = dir.filePath("schreibgeschuetzt.txt");
    WriteBytes(readOnly, "x");
    QFile::setPermissions(readOnly, QFile::ReadOwner);
    EXPECT_EQ(WordToBits(FileAttributes(readOnly)), "1000000000000000");
    EXPECT_TRUE(FileDelete(readOnly));
    EXPECT_FALSE(QFile::exists(readOnly));
    EXPECT_TRUE(Notes().isEmpty());

    // A folder resists the plain delete twice and goes the way the file manager deletes.
    const QString folder = dir.filePath(".ordner");
    QDir().mkpath(folder + "/unten");
    WriteBytes(folder + "/unten/datei", "x");
    EXPECT_TRUE(FileDelete(folder));
    EXPECT_FALSE(QFileInfo::exists(folder));
    const QStringList notes = Notes();
    ASSERT_EQ(notes.size(), 2);
    // Hidden by its dot, and a folder: bits 1 and 4; the hidden mark is no longer shown after it was "cleared".
    EXPECT_TRUE(notes[0].endsWith("(V1)<BR>Attributs: 0100100000000000")) << notes[0].toStdString();
    EXPECT_TRUE(notes[1].endsWith("(V2):<BR>Attributs: 0000100000000000")) << notes[1].toStdString();

    // Wildcards take every match and nothing else.
    WriteBytes(dir.filePath("a.tmp"), "1");
    WriteBytes(dir.filePath("b.tmp"), "2");
    WriteBytes(dir.filePath("c.txt"), "3");
    EXPECT_TRUE(FileDelete(dir.filePath("*.tmp")));
    EXPECT_FALSE(QFile::exists(dir.filePath("a.tmp")));
    EXPECT_FALSE(QFile::exists(dir.filePath("b.tmp")));
    EXPECT_TRUE(QFile::exists(dir.filePath("c.txt")));
    EXPECT_FALSE(FileDelete(dir.filePath("*.tmp")));

    // A missing file runs every stage and shows three notes.
    const QString name = dir.filePath("fehlt.txt");
    const qsizetype before = Notes().size();
    EXPECT_FALSE(FileDelete(name));
    EXPECT_EQ(Notes().mid(before), (QStringList{
                                  "Hinweis " + name + "<BR>konnte nicht gelöscht werden:(V1)<BR>Attributs: " + QString(16, u'1'),
                                  "Hinweis " + name + "<BR>konnte nicht gelöscht werden(V2):<BR>Attributs: " + QString(16, u'1'),
                                  "Hinweis " + name + "<BR>konnte nicht gelöscht werden(V3)",
                              }));
}

TEST_F(MigrationTest, AnUpdateThatCannotBeRemovedIsAppliedOnce)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "with all rights every file can be removed";
    WriteBytes(IniFileName, "[S]\r\nk=0\r\n");
    WriteBytes(Update(), "[S]\r\nk=1\r\n");
    ASSERT_EQ(::chmod(QFile::encodeName(Configpath).constData(), 0555), 0);
    // The file cannot be rewritten either: the change lives in the image only.
    EXPECT_EQ(ReadIniInteger("S", "k", 0), 1);
    EXPECT_EQ(ReadIniInteger("S", "k", 0), 1);
    EXPECT_EQ(Stored("S", "k"), "0");
    ::chmod(QFile::encodeName(Configpath).constData(), 0755);
    EXPECT_EQ(Notes().size(), 3);   // one failed delete, not one per access
    EXPECT_TRUE(QFile::exists(Update()));
}
