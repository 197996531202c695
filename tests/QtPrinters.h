#pragma once
// Lets test failures show Qt texts as text rather than as bytes.
#include <QString>
#include <QStringList>
#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os)
{
    *os << '"' << s.toStdString() << '"';
}

inline void PrintTo(const QStringList& l, std::ostream* os)
{
    *os << '{';
    for (const QString& s : l)
        *os << '"' << s.toStdString() << "\" ";
    *os << '}';
}
