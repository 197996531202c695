#include "frame/zellib_Logging.h"

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

#include <QCursor>
#include <QGuiApplication>
#include <QStringEncoder>
#include <mutex>
#include <sys/file.h>

std::unique_ptr<TZELLogFile> ZELLogFile;
bool LogFlushAllowed = false;

namespace {
const QString kServicePrefix = QStringLiteral(";LOG       ;");

QByteArray Encode(const QString& text)
{
    QStringEncoder encode("windows-1252");
    return encode(text);
}

[[noreturn]] void CannotOpen(const QString& fileName)
{
    throw Exception(QStringLiteral("Cannot open file \"%1\"").arg(fileName));
}

// The hourglass while the queue goes out, restored on every way out.
class TWaitCursor {
public:
    TWaitCursor() : fSet(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr)
    {
        if (fSet)
            QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    }
    ~TWaitCursor()
    {
        if (fSet)
            QGuiApplication::restoreOverrideCursor();
    }
    TWaitCursor(const TWaitCursor&) = delete;
    TWaitCursor& operator=(const TWaitCursor&) = delete;

private:
    bool fSet;
};
}

QString LogDayText(TDateTime time)
{
    return DateTimeToQDateTime(time).toString(QStringLiteral("yyMMdd"));
}

TZELLogFile::TZELLogFile(const QStringList& arguments)
{
    if (!COM_Logging)
        return;
    Active = false;
    BaseName = AppName;
    if (arguments.size() > 1)
        BaseName += u'_' + arguments.at(1).trimmed();
    BaseName.truncate(255);
    Day = LogDayText(Now());
    Items = std::make_unique<TLogItemList>();
    Timer = new TThreadedTimer(QCoreApplication::instance());
    Timer->SetInterval(60000);
    Timer->OnTimer = [this](TThreadedTimer* sender) { TimerTimer(sender); };
    Timer->SetThreadPriority(tpIdle);
    Open();
    Timer->SetEnabled(true);
}

TZELLogFile::~TZELLogFile()
{
    if (!Items)
        return;   // inert: logging was off at creation
    if (Timer) {
        // The timer outlives this object with its owner; it must not call back here.
        Timer->SetEnabled(false);
        Timer->OnTimer = nullptr;
        if (!Timer->parent())
            delete Timer;
    }
    Active = false;
    LogFlushAllowed = true;
    try {
        Flush();
        if (Stream)
            WriteServiceLine(*Stream, "Closed Logfile ");
    } catch (...) {
        // Nothing can report a failure at the end of the process.
    }
    Stream.reset();
    Items.reset();
}

void TZELLogFile::log(const QString& kind, const QString& text, TDateTime time)
{
    if (!Active)
        return;
    const QString trimmed = text.trimmed();
    std::lock_guard lock(Items->Lock);
    // Repeats of one text collapse, whatever their kind.
    if (!Items->List.isEmpty() && Items->List.last()->Text == trimmed)
        return;
    Items->List.append(new TLogItem{time, PadRight(kind, 10), trimmed});
}

void TZELLogFile::TimerTimer(TThreadedTimer*)
{
    Timer->SetEnabled(false);
    Flush();
    if (!ProgrammEndet)
        Timer->SetEnabled(true);
}

void TZELLogFile::Flush()
{
    if (!LogFlushAllowed || !Items)
        return;
    TWaitCursor cursor;
    std::lock_guard lock(Items->Lock);
    while (!Items->List.isEmpty()) {
        TLogItem* entry = Items->List.first();
        CheckDay(entry->Time);
        if (!Stream)
            throw Exception(QStringLiteral("Log file is not open"));
        WriteText(*Stream, LogSafeText(TimeText(entry->Time) + u';' + entry->Kind + u';' + entry->Text)
                               + QStringLiteral("\r\n"));
        Items->List.removeFirst();
        delete entry;
        // The lock stays held: a handler run here that logs takes it again.
        QCoreApplication::processEvents();
    }
    if (Stream)
        Stream->flush();
}

void TZELLogFile::CheckDay(TDateTime time)
{
    const QString day = LogDayText(time);
    if (day == Day)
        return;
    if (Stream)
        WriteServiceLine(*Stream, "Closed Logfile ");
    Stream.reset();
    Day = day;
    Open();
}

void TZELLogFile::Open()
{
    if (ProgrammEndet)
        return;
    FileName = CommonAppPath + u'/' + BaseName + u'_' + Day + QStringLiteral(".Log");
    if (!QFile::exists(FileName)) {
        QFile created(FileName);
        if (!created.open(QIODevice::WriteOnly))
            CannotOpen(FileName);
        WriteServiceLine(created, "Create Logfile ");
    }

    const QString snapshot = CommonAppPath + u'/' + BaseName + QStringLiteral("_Kelmar_") + Day + QStringLiteral(".ini");
    if (!QFile::exists(snapshot)) {
        OpenIniStore();
        const QStringList lines = IniStore ? IniStore->GetStrings() : QStringList();
        QFile out(snapshot);
        if (!out.open(QIODevice::WriteOnly))
            CannotOpen(snapshot);
        QString text;
        for (const QString& line : lines)
            text += line + QStringLiteral("\r\n");
        WriteText(out, text);
        out.close();
        CloseIniStore();
    }

    auto stream = std::make_unique<QFile>(FileName);
    if (!stream->open(QIODevice::ReadWrite))
        CannotOpen(FileName);
    // Others may read the log while it is open, but only this one writes it.
    if (::flock(stream->handle(), LOCK_EX | LOCK_NB) != 0)
        CannotOpen(FileName);
    stream->seek(stream->size());
    WriteServiceLine(*stream, "Open Logfile ");
    stream->flush();
    Stream = std::move(stream);
    Active = true;
    LogFlushAllowed = true;
}

void TZELLogFile::WriteServiceLine(QFile& file, const char* what)
{
    // File names are written as they are: service lines are not sanitized.
    WriteText(file, TimeText(Now()) + kServicePrefix + QLatin1String(what) + FileName + QStringLiteral(";\r\n"));
    file.flush();
}

void TZELLogFile::WriteText(QFile& file, const QString& line)
{
    const QByteArray bytes = Encode(line);
    if (file.write(bytes) != bytes.size())
        throw Exception(QStringLiteral("Cannot write file \"%1\"").arg(file.fileName()));
}

void LogLine(const QString& kind, const QString& text)
{
    if (!COM_Logging)
        return;
    if (!ZELLogFile)
        ZELLogFile = std::make_unique<TZELLogFile>();
    ZELLogFile->log(kind, text, Now());
}

void zellib_Logging_Finalize()
{
    ZELLogFile.reset();
}
