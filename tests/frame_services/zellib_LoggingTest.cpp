#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_Logging.h"
#include "tests/frame_services/TestHelpers.h"

#include <QDir>
#include <QFile>
#include <QMetaObject>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {
QStringList ReadLines(const QString& fileName)
{
    QStringDecoder decode("windows-1252");
    QString text = decode(ReadBytes(fileName));
    if (text.endsWith(QLatin1String("\r\n")))
        text.chop(2);
    return text.isEmpty() ? QStringList() : text.split(QStringLiteral("\r\n"));
}

// The part of each line behind the time stamp.
QStringList Untimed(const QStringList& lines)
{
    QStringList out;
    for (const QString& l : lines)
        out << l.mid(l.indexOf(u';'));
    return out;
}

TDateTime TodayAt(int h, int m, int s, int dayOffset = 0)
{
    const QDate d = QDate::currentDate().addDays(dayOffset);
    return QDateTimeToDateTime(QDateTime(d, QTime(h, m, s)));
}

class LogFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        AppName = QStringLiteral("ORVEXTEST");
        CommonAppPath = dir.path();
        QDir().mkpath(dir.path() + QStringLiteral("/Config"));
        IniFileName = dir.path() + QStringLiteral("/Config/KELMAR.INI");
        QFile ini(IniFileName);
        ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
        ini.write("[PATH]\r\nServer name=localhost:orvex\r\n[PROGRAMM]\r\nFehlermeldezeit=2000\r\n");
        ini.close();
        COM_Logging = true;
        ProgrammEndet = false;
        LogFlushAllowed = false;
    }
    void TearDown() override
    {
        ZELLogFile.reset();
        IniStore.reset();
    }
    QString LogName(const QString& base, TDateTime day = Now()) const
    {
        return dir.path() + u'/' + base + u'_' + LogDayText(day) + QStringLiteral(".Log");
    }
    QStringList Entries(const QString& fileName) const
    {
        QStringList out;
        for (const QString& l : Untimed(ReadLines(fileName)))
            if (!l.startsWith(QLatin1String(";LOG       ;")))
                out << l;
        return out;
    }
    QTemporaryDir dir;
};
}

TEST_F(LogFileTest, OpenWritesServiceLinesAndTheDailySnapshotAndASecondOpenAppends)
{
    const QString name = LogName(QStringLiteral("ORVEXTEST"));
    const QString snapshot = dir.path() + QStringLiteral("/ORVEXTEST_Kelmar_") + LogDayText(Now()) + QStringLiteral(".ini");
    {
        TZELLogFile log(QStringList{QStringLiteral("orvexAusw")});
        EXPECT_EQ(log.FileName, name);
        EXPECT_TRUE(log.Active);
        EXPECT_EQ(log.Timer->Interval(), 60000u);
        EXPECT_EQ(log.Timer->ThreadPriority(), tpIdle);
        EXPECT_TRUE(log.Timer->Enabled());

        const QStringList lines = ReadLines(name);
        ASSERT_EQ(lines.size(), 2);
        EXPECT_EQ(lines[0].mid(12), QStringLiteral(";LOG       ;Create Logfile ") + name + u';');
        EXPECT_EQ(lines[1].mid(12), QStringLiteral(";LOG       ;Open Logfile ") + name + u';');
        EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d;")).match(lines[0]).hasMatch());
        EXPECT_TRUE(ReadBytes(name).endsWith(";\r\n"));
        const QStringList ini = ReadLines(snapshot);
        EXPECT_TRUE(ini.contains(QStringLiteral("Server name=localhost:orvex")));
        EXPECT_TRUE(ini.contains(QStringLiteral("Fehlermeldezeit=2000")));
    }

    // The second open of the day appends and keeps the day's snapshot.
    WriteBytes(snapshot, "kept\r\n");
    TZELLogFile second(QStringList{QStringLiteral("p")});
    const QStringList lines = Untimed(ReadLines(second.FileName));
    ASSERT_EQ(lines.size(), 4);
    EXPECT_TRUE(lines[0].startsWith(QLatin1String(";LOG       ;Create Logfile ")));
    EXPECT_TRUE(lines[1].startsWith(QLatin1String(";LOG       ;Open Logfile ")));
    EXPECT_TRUE(lines[2].startsWith(QLatin1String(";LOG       ;Closed Logfile ")));
    EXPECT_TRUE(lines[3].startsWith(QLatin1String(";LOG       ;Open Logfile ")));
    EXPECT_EQ(ReadBytes(snapshot), QByteArray("kept\r\n"));

    // A parameter goes into the base name.
    TZELLogFile third(QStringList{QStringLiteral("orvexAusw"), QStringLiteral(" 2 "), QStringLiteral("3")});
    EXPECT_EQ(third.BaseName, QStringLiteral("ORVEXTEST_2"));
    EXPECT_TRUE(QFile::exists(LogName(QStringLiteral("ORVEXTEST_2"))));
    EXPECT_TRUE(QFile::exists(dir.path() + QStringLiteral("/ORVEXTEST_2_Kelmar_") + LogDayText(Now())
                              + QStringLiteral(".ini")));
}

TEST_F(LogFileTest, RepeatedTextsCollapseOnlyWhenAdjacentAndAFlushHandlerMayLog)
{
    TZELLogFile log(QStringList{QStringLiteral("p")});
    const TDateTime t = Now();
    log.log(QStringLiteral("SysInfo"), QStringLiteral("A"), t);
    log.log(QStringLiteral("ErrInfo"), QStringLiteral("  A "), t);   // same trimmed text, other kind
    log.Flush();
    EXPECT_EQ(Entries(log.FileName), QStringList{QStringLiteral(";SysInfo   ;A")});

    log.log(QStringLiteral("DLG"), QStringLiteral("A"), t);   // the queue is empty again
    log.log(QStringLiteral("DLG"), QStringLiteral("B"), t);
    log.log(QStringLiteral("DLG"), QStringLiteral("A"), t);
    log.Flush();
    EXPECT_EQ(Entries(log.FileName),
              (QStringList{";SysInfo   ;A", ";DLG       ;A", ";DLG       ;B", ";DLG       ;A"}));
    EXPECT_EQ(ReadLines(log.FileName).last().left(12), TimeText(t));

    // A handler run from the flush's own message pumping, on this thread with the lock held, may log.
    log.log(QStringLiteral("SysInfo"), QStringLiteral("one"), Now());
    QMetaObject::invokeMethod(
        qApp, [&] { log.log(QStringLiteral("DLG"), QStringLiteral("from handler"), Now()); }, Qt::QueuedConnection);
    log.Flush();
    EXPECT_EQ(Entries(log.FileName).mid(4), (QStringList{";SysInfo   ;one", ";DLG       ;from handler"}));
}

TEST_F(LogFileTest, TheDayChangeFollowsTheEntryTime)
{
    TZELLogFile log(QStringList{QStringLiteral("p")});
    const QString today = log.FileName;
    // Queued before midnight, written after it: still the old day's file.
    log.log(QStringLiteral("SysInfo"), QStringLiteral("late"), TodayAt(23, 59, 50));
    log.Flush();
    EXPECT_EQ(log.FileName, today);
    EXPECT_EQ(Entries(today), QStringList{QStringLiteral(";SysInfo   ;late")});

    const TDateTime tomorrow = TodayAt(0, 0, 40, 1);
    log.log(QStringLiteral("SysInfo"), QStringLiteral("early"), tomorrow);
    log.Flush();
    const QString next = LogName(QStringLiteral("ORVEXTEST"), tomorrow);
    EXPECT_EQ(log.FileName, next);
    EXPECT_EQ(log.Day, LogDayText(tomorrow));

    const QStringList old = Untimed(ReadLines(today));
    EXPECT_EQ(old.last(), QStringLiteral(";LOG       ;Closed Logfile ") + today + u';');
    EXPECT_EQ(Entries(next), QStringList{QStringLiteral(";SysInfo   ;early")});
    EXPECT_TRUE(Untimed(ReadLines(next)).first().startsWith(QLatin1String(";LOG       ;Create Logfile ")));
    EXPECT_TRUE(QFile::exists(dir.path() + QStringLiteral("/ORVEXTEST_Kelmar_") + LogDayText(tomorrow)
                              + QStringLiteral(".ini")));
}

TEST_F(LogFileTest, NothingIsWrittenWithLoggingOffAndAMissingFolderRaises)
{
    COM_Logging = false;
    LogLine(QStringLiteral("SysInfo"), QStringLiteral("x"));
    EXPECT_EQ(ZELLogFile, nullptr);
    {
        TZELLogFile inert;
        inert.log(QStringLiteral("SysInfo"), QStringLiteral("x"), Now());
        inert.Flush();
        EXPECT_FALSE(inert.Active);
        EXPECT_EQ(inert.Timer, nullptr);
    }
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList());

    // With logging on, a missing folder raises to the caller.
    COM_Logging = true;
    CommonAppPath = dir.path() + QStringLiteral("/missing");
    EXPECT_THROW(LogLine(QStringLiteral("SysInfo"), QStringLiteral("x")), Exception);
    EXPECT_EQ(ZELLogFile, nullptr);
}

TEST_F(LogFileTest, UnsafeCharactersBecomeBlanksInEntryLinesOnly)
{
    CommonAppPath = dir.path() + QStringLiteral("/Prüf§stand");
    ASSERT_TRUE(QDir().mkpath(CommonAppPath));
    TZELLogFile log(QStringList{QStringLiteral("p")});
    log.log(QStringLiteral("ErrInfo"), QStringLiteral("Spannung\tzu hoch\n§ 5 µA Ö €"), Now());
    log.Flush();

    const QByteArray bytes = ReadBytes(log.FileName);
    // "§" is 0xA7 in the log's code page: kept in the file name of the service lines.
    EXPECT_TRUE(bytes.contains(QByteArray("Pr\xFC" "f\xA7stand")));
    const QStringList entries = Entries(log.FileName);
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0], QStringLiteral(";ErrInfo   ;Spannung zu hoch   5 µA Ö €"));
    EXPECT_TRUE(bytes.contains(QByteArray("  5 \xB5" "A \xD6 \x80\r\n")));
}

TEST_F(LogFileTest, TheTimerWritesTheQueueAndRunsOn)
{
    TZELLogFile log(QStringList{QStringLiteral("p")});
    log.Timer->SetInterval(30);
    log.log(QStringLiteral("SysInfo"), QStringLiteral("first"), Now());
    ASSERT_TRUE(PumpUntil([&] { return Entries(log.FileName).size() == 1; }));
    log.log(QStringLiteral("SysInfo"), QStringLiteral("second"), Now());
    ASSERT_TRUE(PumpUntil([&] { return Entries(log.FileName).size() == 2; }));
    EXPECT_TRUE(log.Timer->Enabled());

    ProgrammEndet = true;   // the handler leaves the timer off from now on
    log.log(QStringLiteral("SysInfo"), QStringLiteral("third"), Now());
    ASSERT_TRUE(PumpUntil([&] { return Entries(log.FileName).size() == 3; }));
    EXPECT_FALSE(log.Timer->Enabled());
}

TEST_F(LogFileTest, WritersOnOtherThreadsLoseNothing)
{
    TZELLogFile log(QStringList{QStringLiteral("p")});
    constexpr int threads = 4, each = 250;
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([&log, t] {
            for (int i = 0; i < each; ++i)
                log.log(QStringLiteral("T%1").arg(t), QStringLiteral("%1-%2").arg(t).arg(i), Now());
        });
    // The main thread writes out while the others still queue.
    for (int round = 0; round < 5; ++round)
        log.Flush();
    for (auto& w : writers)
        w.join();
    log.Flush();
    const QStringList entries = Entries(log.FileName);
    EXPECT_EQ(entries.size(), threads * each);
    for (int t = 0; t < threads; ++t) {
        // Each writer's entries keep their order.
        int next = 0;
        for (const QString& e : entries) {
            if (e.startsWith(QStringLiteral(";T%1 ").arg(t))) {
                EXPECT_EQ(e.section(u';', 2), QStringLiteral("%1-%2").arg(t).arg(next++));
            }
        }
        EXPECT_EQ(next, each);
    }
}

TEST_F(LogFileTest, LogLineCreatesTheInstanceAndTheEndWritesTheRest)
{
    LogLine(QStringLiteral("SysInfo"), QStringLiteral("queued"));
    ASSERT_NE(ZELLogFile, nullptr);
    const QString name = ZELLogFile->FileName;
    EXPECT_TRUE(Entries(name).isEmpty()) << "entries wait for the flush";
    zellib_Logging_Finalize();
    EXPECT_EQ(ZELLogFile, nullptr);
    EXPECT_EQ(Entries(name), QStringList{QStringLiteral(";SysInfo   ;queued")});
    EXPECT_TRUE(Untimed(ReadLines(name)).last().startsWith(QLatin1String(";LOG       ;Closed Logfile ")));
}
