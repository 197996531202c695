#pragma once
// What the database benchmarks share: the process's memory figures, and the plain
// fetch loop that is the floor of every load of measurement rows.

#include "dbaccess/FIBQuery.h"

#include <QElapsedTimer>
#include <QFile>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

// A value of /proc/self/status in kB ("VmRSS:", "VmHWM:"); -1 when it cannot be read.
inline long StatusKb(const char* key)
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray all = f.readAll();
    const int at = all.indexOf(key);
    if (at < 0)
        return -1;
    return all.mid(at + static_cast<int>(std::strlen(key))).trimmed().split(' ').front().toLong();
}

// Runs sql, whose first parameter takes the run's key, with a bare statement and
// reads the twelve float columns of each row from the client's row buffers into
// arrays: the server's work plus the client's decoding. With everyColumn, every
// other column is decoded too, each into its plain form (numbers and times as
// numbers, texts as their bytes, nulls noted): the floor of a load that keeps
// whole rows. Answers seconds; rows receives the number of rows.
inline double PlainFetch(TFIBDatabase* db, TFIBTransaction* tr, const QString& sql, int key, long long& rows,
                         bool everyColumn = false)
{
    static const char* const names[12] = {"ZEIT_STD", "T",    "RF",   "U",    "I_01", "I_02",
                                          "I_03",     "I_04", "I_05", "I_06", "I_07", "I_08"};
    std::vector<std::vector<double>> values(12);
    TFIBQuery q;
    q.SetDatabase(db);
    q.SetTransaction(tr);
    if (!tr->InTransaction())
        tr->StartTransaction();
    q.SQL().SetText(sql);
    q.Prepare();
    q.Params()[0].SetAsInteger(key);
    int cols[12];
    for (int i = 0; i < 12; ++i)
        cols[i] = q.Current().IndexOf(QString::fromLatin1(names[i]));
    std::vector<int> others;
    if (everyColumn)
        for (int c = 0; c < q.Current().Count(); ++c)
            if (std::find(std::begin(cols), std::end(cols), c) == std::end(cols))
                others.push_back(c);
    std::vector<std::string> texts(others.size());
    double sink = 0;
    long long nulls = 0;
    QElapsedTimer t;
    t.start();
    q.ExecQuery();
    rows = 0;
    while (!q.Eof()) {
        TFIBXSQLDA& row = q.Current();
        for (int i = 0; i < 12; ++i)
            values[static_cast<std::size_t>(i)].push_back(row[cols[i]].AsDouble());
        for (std::size_t k = 0; k < others.size(); ++k) {
            const TFIBXSQLVAR& v = row[others[k]];
            if (v.IsNull()) {
                ++nulls;
                continue;
            }
            const XSQLVAR* x = v.Data();
            switch (v.SQLType()) {
            case SQL_VARYING: {
                short len;
                std::memcpy(&len, x->sqldata, sizeof len);
                texts[k].assign(x->sqldata + sizeof len, static_cast<std::size_t>(len));
                break;
            }
            case SQL_TEXT:
                texts[k].assign(x->sqldata, static_cast<std::size_t>(x->sqllen));
                break;
            case SQL_TIMESTAMP:
            case SQL_TYPE_DATE:
            case SQL_TYPE_TIME:
                sink += v.AsDateTime();
                break;
            default:
                sink += v.AsDouble();
                break;
            }
        }
        ++rows;
        q.Next();
    }
    q.Close();
    const double sec = t.nsecsElapsed() / 1e9;
    // Keeps the decoding from being optimised away.
    [[maybe_unused]] static volatile double keep;
    keep = sink + static_cast<double>(nulls + static_cast<long long>(texts.size()));
    return sec;
}
