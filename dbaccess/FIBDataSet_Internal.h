#pragma once
// Record encodings and small helpers shared by the parts of the cached dataset.

#include "dbaccess/FIBDataSet.h"
#include "dbaccess/fib.h"

#include <QStringDecoder>
#include <QStringEncoder>
#include <cmath>
#include <cstring>

namespace fibds {
// Days from the first day of the calendar to the database's day zero, and to the
// program's: dates are kept in the first form, read in the second.
constexpr int DateBase = 678576;
constexpr double DateDelta = 693594.0;
constexpr double MsPerDay = 86400000.0;
constexpr int LongStringLimit = 20;

// A stored time stamp (milliseconds since the first day of the calendar) as a
// date-time, and back: the rule of DateTimeFromDayAndMs, as statement values have it.
inline double StoredToDateTime(double stored)
{
    const double day = std::floor(stored / MsPerDay);
    return DateTimeFromDayAndMs(static_cast<qint64>(day) - static_cast<qint64>(DateDelta),
                                static_cast<qint64>(stored - day * MsPerDay));
}

inline double DateTimeToStored(double value)
{
    double day = std::trunc(value);
    double ms = std::round(std::fabs(value - day) * MsPerDay);
    if (ms >= MsPerDay) {
        ms -= MsPerDay;
        day += 1;
    }
    return (day + DateDelta) * MsPerDay + ms;
}

inline int TrimmedLength(const char* p, int length)
{
    while (length > 0 && p[length - 1] == ' ')
        --length;
    return length;
}

template <class T>
T Load(const std::byte* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
void Store(std::byte* p, T v)
{
    std::memcpy(p, &v, sizeof v);
}

inline bool IsTextType(short t) { return t == SQL_TEXT || t == SQL_VARYING; }

inline int FixedWidth(short sqlType, int serverLength)
{
    switch (sqlType) {
    case SQL_SHORT: return 2;
    case SQL_LONG:
    case SQL_FLOAT:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME: return 4;
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
    case SQL_TIMESTAMP:
    case SQL_INT64: return 8;
    case SQL_BOOLEAN: return 1;
    case SQL_TEXT:
    case SQL_VARYING: return serverLength + 2;  // length word + bytes
    default: return serverLength;
    }
}

// A record starts with its update status; the null flags follow.
constexpr int FlagsOffset = 0;

// A record's null flags: one bit per column, so that a million rows of twenty
// columns do not spend twenty megabytes on them.
constexpr int NullBytes(int columns) { return (columns + 7) / 8; }
inline bool NullBit(const std::byte* rec, int nullOffset, int col)
{
    return (rec[nullOffset + (col >> 3)] & std::byte(1u << (col & 7))) != std::byte(0);
}
inline void SetNullBit(std::byte* rec, int nullOffset, int col, bool isNull)
{
    std::byte& b = rec[nullOffset + (col >> 3)];
    const auto bit = std::byte(1u << (col & 7));
    b = isNull ? (b | bit) : (b & ~bit);
}
}  // namespace fibds
