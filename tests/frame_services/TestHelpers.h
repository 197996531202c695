#pragma once

#include "frame/zellib_Logging.h"
#include "tests/QtPrinters.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QString>
#include <QStringDecoder>
#include <QStringList>
#include <functional>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

// Keeps the main thread's queue running until the condition holds or the time is up.
inline bool PumpUntil(const std::function<bool()>& condition, int timeoutMs = 10000)
{
    QElapsedTimer t;
    t.start();
    while (!condition()) {
        if (t.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

inline void PumpFor(int ms)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

inline QString PngPath(const QString& name)
{
    return QStringLiteral(ORVEX_PNG_DIR) + u'/' + name + QStringLiteral(".png");
}

inline QByteArray ReadBytes(const QString& name)
{
    QFile f(name);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline void WriteBytes(const QString& name, const QByteArray& bytes)
{
    QFile f(name);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

// The entry lines of the running log after a flush, without time stamps and service lines.
inline QStringList LoggedEntries()
{
    ZELLogFile->Flush();
    QStringDecoder decode("windows-1252");
    QStringList out;
    for (const QString& l : QString(decode(ReadBytes(ZELLogFile->FileName))).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        if (!l.contains(QLatin1String(";LOG       ;")))
            out << l.mid(12);
    return out;
}

// A pseudo-terminal pair: the test writes into the master side as a barcode reader
// would into the line, the port under test opens the slave side.
class PtyPair {
public:
    PtyPair()
    {
        char name[256] = {};
        if (::openpty(&fMaster, &fSlave, name, nullptr, nullptr) == 0)
            fPath = QString::fromLocal8Bit(name);
    }
    ~PtyPair()
    {
        CloseMaster();
        if (fSlave >= 0)
            ::close(fSlave);
    }
    bool Valid() const { return !fPath.isEmpty(); }
    const QString& Path() const { return fPath; }
    int Slave() const { return fSlave; }
    void Send(const QByteArray& bytes) const
    {
        ASSERT_EQ(::write(fMaster, bytes.constData(), size_t(bytes.size())), bytes.size());
    }
    void CloseMaster()
    {
        if (fMaster >= 0)
            ::close(fMaster);
        fMaster = -1;
    }

private:
    int fMaster = -1;
    int fSlave = -1;
    QString fPath;
};
