#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QString>
#include <functional>

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

#include <QStringList>
#include <ostream>

// Readable failure messages for Qt texts.
inline void PrintTo(const QString& s, std::ostream* os)
{
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QStringList& l, std::ostream* os)
{
    *os << '[' << l.join(QStringLiteral("|")).toStdString() << ']';
}
