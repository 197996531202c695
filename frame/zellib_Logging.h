#pragma once
// The program's daily text log. Writers hand over a kind and a text from any thread;
// the entry is queued under a lock and a one-minute timer writes the queue out on
// the main thread. Beside the log a snapshot of the whole configuration is kept,
// once a day. Nothing in the log is read back.
//
// Files, both Windows-1252 with CR LF line ends:
//   <CommonAppPath>/<BaseName>_<yymmdd>.Log
//   <CommonAppPath>/<BaseName>_Kelmar_<yymmdd>.ini

#include "frame/ThdTimer.h"
#include "frame/ZELBase.h"

#include <QCoreApplication>
#include <QFile>
#include <QList>
#include <QRecursiveMutex>
#include <QString>
#include <QStringList>
#include <atomic>
#include <memory>

struct TLogItem {
    TDateTime Time = 0;
    QString Kind;   // padded to 10 characters
    QString Text;   // trimmed
};

// A list with its own lock. The lock is re-entrant: the flush pumps the message
// queue while holding it, and a handler run by that pump may log on the same thread.
struct TLogItemList {
    QRecursiveMutex Lock;
    QList<TLogItem*> List;
    ~TLogItemList() { qDeleteAll(List); }
};

class TZELLogFile {
public:
    // The base name takes the first command-line parameter when there is one, so
    // that instances started side by side write apart. Without COM_Logging the
    // object stays inert.
    explicit TZELLogFile(const QStringList& arguments = QCoreApplication::arguments());
    ~TZELLogFile();
    TZELLogFile(const TZELLogFile&) = delete;
    TZELLogFile& operator=(const TZELLogFile&) = delete;

    // Queues an entry; a text equal to the last queued one is dropped.
    void log(const QString& kind, const QString& text, TDateTime time);
    // Writes the queue out; raises when the file cannot be written.
    void Flush();
    // Starts the next day's file when the time falls on another day than the current one.
    void CheckDay(TDateTime time);
    void Open();

    std::atomic<bool> Active = false;   // read by writers on any thread
    QString FileName;
    std::unique_ptr<QFile> Stream;
    QString BaseName;
    QString Day;   // "yymmdd"
    std::unique_ptr<TLogItemList> Items;
    TThreadedTimer* Timer = nullptr;   // owned by the application object

private:
    void TimerTimer(TThreadedTimer* Sender);
    void WriteServiceLine(QFile& file, const char* what);
    static void WriteText(QFile& file, const QString& line);
};

// The one instance, created by the first LogLine.
extern std::unique_ptr<TZELLogFile> ZELLogFile;
// Lets Flush run; set by the first Open and again by the destructor.
extern bool LogFlushAllowed;

// The front used by all: nothing when COM_Logging is off.
void LogLine(const QString& kind, const QString& text);

// "yymmdd" of a date-time.
QString LogDayText(TDateTime time);

// Unit end: writes what is queued and closes the log.
void zellib_Logging_Finalize();
