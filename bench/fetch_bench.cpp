// Fetch speed of TFIBQuery over a table shaped like the measurement rows: 19
// columns, about 200 bytes a row, in a fresh embedded database.
//   fetch_bench [rows [database file]]   (default 1,000,000 rows in a temporary file)
// A given database file is filled once and reused by later runs.
// Prints the time of the bare fetch loop and of loops that read every column
// as a double, as a date-time or as text.

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cstdio>

namespace {
const char* Columns =
    "ID integer not null, AUFTRAGKEY integer, ZEITPUNKT timestamp, STUNDEN double precision, "
    "I_01 double precision, I_02 double precision, I_03 double precision, I_04 double precision, "
    "I_05 double precision, I_06 double precision, I_07 double precision, I_08 double precision, "
    "I_09 double precision, U numeric(9,3), T numeric(9,2), RF numeric(9,2), STATUS smallint, KANAL integer, "
    "BEMERKUNG varchar(40)";

template <class Fn>
double Measure(TFIBQuery& q, Fn&& perRow, long long& rows)
{
    QElapsedTimer timer;
    timer.start();
    q.ExecQuery();
    rows = 0;
    while (!q.Eof()) {
        perRow();
        ++rows;
        q.Next();
    }
    q.Close();
    return timer.nsecsElapsed() / 1e9;
}
}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const long long wanted = argc > 1 ? std::atoll(argv[1]) : 1000000;
    QTemporaryDir dir;
    const QString path = argc > 2 ? QString::fromLocal8Bit(argv[2]) : dir.filePath("Bench.fdb");
    const bool reuse = QFileInfo::exists(path);
    TpFIBDatabase db;
    db.SetName("Bench");
    db.SetDBName(path);
    db.SetSQLDialect(3);
    if (!reuse) {
        db.DBParams().Assign(
            {"USER 'SYSDBA'", "PASSWORD 'masterkey'", "PAGE_SIZE 8192", "DEFAULT CHARACTER SET WIN1252"});
        db.CreateDatabase();
        db.Close();
    }
    db.DBParams().Assign({"user_name=SYSDBA", "password=masterkey", "lc_ctype=WIN1252"});
    db.Open();
    TpFIBTransaction tr;
    tr.AddDatabase(&db);
    db.SetDefaultTransaction(&tr);
    if (!reuse) {
        tr.StartTransaction();
        tr.ExecSQLImmediate(QString("create table MESS (%1)").arg(Columns));
        tr.Commit();
        QElapsedTimer fill;
        fill.start();
        for (long long from = 0; from < wanted; from += 100000) {
            tr.StartTransaction();
            const long long to = std::min(wanted, from + 100000);
            tr.ExecSQLImmediate(
                QString("execute block as declare i integer = %1; begin while (i < %2) do begin "
                        "insert into MESS values (:i, 7, dateadd(:i second to timestamp '2024-01-01 00:00:00'), "
                        ":i / 3600.0, :i * 1e-9, :i * 2e-9, :i * 3e-9, :i * 4e-9, :i * 5e-9, :i * 6e-9, "
                        ":i * 7e-9, :i * 8e-9, :i * 9e-9, 1000.5, 85.25, 85.5, 1, mod(:i, 9), "
                        "'Messwert Nummer ' || :i); i = i + 1; end end")
                    .arg(from)
                    .arg(to));
            tr.Commit();
        }
        std::printf("filled %lld rows in %.1f s\n", wanted, fill.nsecsElapsed() / 1e9);
    }

    tr.StartTransaction();
    TpFIBQuery q;
    q.SetDatabase(&db);
    q.SetTransaction(&tr);
    q.SQL().SetText("select * from MESS");
    const int columns = 19;
    long long rows = 0;
    double sink = 0;
    qsizetype chars = 0;

    const double bare = Measure(q, [] {}, rows);
    const double doubles = Measure(q, [&] {
        TFIBXSQLDA& row = q.Current();
        for (int c = 0; c < columns; ++c)
            if (c != 2 && c != 18)
                sink += row[c].AsDouble();
        sink += row[2].AsDateTime();
    }, rows);
    const double typed = Measure(q, [&] {
        TFIBXSQLDA& row = q.Current();
        sink += row[0].AsInteger() + row[2].AsDateTime() + row[4].AsDouble() + row[13].AsDouble();
        chars += row[18].AsString().size();
    }, rows);
    const double text = Measure(q, [&] {
        TFIBXSQLDA& row = q.Current();
        for (int c = 0; c < columns; ++c)
            chars += row[c].AsString().size();
    }, rows);
    const double perMillion = 1e6 / static_cast<double>(std::max(rows, 1LL));
    std::printf("rows fetched: %lld (checksum %.3g, %lld chars)\n", rows, sink, static_cast<long long>(chars));
    std::printf("bare fetch loop:                 %6.2f s per million rows\n", bare * perMillion);
    std::printf("every column as double/date:     %6.2f s per million rows\n", doubles * perMillion);
    std::printf("four numbers and one text:       %6.2f s per million rows\n", typed * perMillion);
    std::printf("every column as text:            %6.2f s per million rows\n", text * perMillion);
    tr.Commit();
    db.Close();
    return 0;
}
