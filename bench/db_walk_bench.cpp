// Walks an in-memory dataset of N rows the way the curve loader walks the
// measurement query: First, then per row twelve AsFloat reads into arrays and
// Next. The same values read straight from the column vectors are the floor; a
// grid-style pass reads every row through a data link without moving the cursor.
#include "tests/dbaccess/MemDataSet.h"

#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <vector>

namespace {

constexpr int kFloatColumns = 12;

class TReadLink : public TDataLink {};

double Seconds(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Run(int rows)
{
    TMemDataSet ds;
    // 19 columns as the measurement table: key, time stamp, row number, hours,
    // event, failure, status, then T, RF, U and I_01..I_09 as floats.
    ds.AddColumn(QStringLiteral("AUFTRAGKEY"), ftInteger);
    ds.AddColumn(QStringLiteral("ZEITPUNKT"), ftDateTime);
    ds.AddColumn(QStringLiteral("SATZNR"), ftInteger);
    ds.AddColumn(QStringLiteral("ZEIT_STD"), ftFloat);
    ds.AddColumn(QStringLiteral("EREIGNIS"), ftSmallint);
    ds.AddColumn(QStringLiteral("FEHLER"), ftSmallint);
    ds.AddColumn(QStringLiteral("STATUS"), ftSmallint);
    const int firstFloat = 7;
    for (int c = 0; c < kFloatColumns; ++c)
        ds.AddColumn(QStringLiteral("F%1").arg(c), ftFloat);
    ds.Reserve(rows);
    for (int r = 0; r < rows; ++r) {
        ds.AddRow();
        ds.SetCell(r, 0, 1);
        ds.SetFloat(r, 1, 46000.0 + r / 86400.0);
        ds.SetCell(r, 2, r);
        ds.SetFloat(r, 3, r / 3600.0);
        for (int c = 0; c < kFloatColumns; ++c)
            ds.SetFloat(r, firstFloat + c, r * 0.001 + c);
    }
    ds.Open();
    std::vector<TField*> fields;
    for (int c = 0; c < kFloatColumns; ++c)
        fields.push_back(ds.FieldByName(QStringLiteral("F%1").arg(c)));
    std::vector<std::vector<double>> arrays(kFloatColumns, std::vector<double>(static_cast<std::size_t>(rows)));

    // The floor: the same doubles straight from the column vectors.
    auto start = std::chrono::steady_clock::now();
    for (int c = 0; c < kFloatColumns; ++c) {
        const std::vector<double>& column = ds.FloatColumn(firstFloat + c);
        std::vector<double>& out = arrays[static_cast<std::size_t>(c)];
        for (int r = 0; r < rows; ++r)
            out[static_cast<std::size_t>(r)] = column[static_cast<std::size_t>(r)];
    }
    const double floorSeconds = Seconds(start);
    double check = arrays[11][static_cast<std::size_t>(rows - 1)];

    // What a value-by-variant path would cost: one QVariant per cell.
    start = std::chrono::steady_clock::now();
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < kFloatColumns; ++c)
            arrays[static_cast<std::size_t>(c)][static_cast<std::size_t>(r)] = ds.Cell(r, firstFloat + c).toDouble();
    const double variantSeconds = Seconds(start);

    start = std::chrono::steady_clock::now();
    ds.DisableControls();
    ds.First();
    std::size_t i = 0;
    while (!ds.Eof()) {
        for (int c = 0; c < kFloatColumns; ++c)
            arrays[static_cast<std::size_t>(c)][i] = fields[static_cast<std::size_t>(c)]->AsFloat();
        ds.Next();
        ++i;
    }
    ds.EnableControls();
    const double walkSeconds = Seconds(start);
    check += arrays[11][static_cast<std::size_t>(rows - 1)];

    TDataSource source;
    source.SetDataSet(&ds);
    TReadLink link;
    link.SetDataSource(&source);
    start = std::chrono::steady_clock::now();
    const int cursor = link.ActiveRecord();
    for (int r = 0; r < rows; ++r) {
        link.SetActiveRecord(r);
        for (int c = 0; c < kFloatColumns; ++c)
            arrays[static_cast<std::size_t>(c)][static_cast<std::size_t>(r)] = fields[static_cast<std::size_t>(c)]->AsFloat();
    }
    link.SetActiveRecord(cursor);
    const double gridSeconds = Seconds(start);

    std::printf("%9d rows x %d floats: dataset walk %.3f s (%.1f M rows/s, %.1fx the plain loop), "
                "grid read by link %.3f s (%.1f M rows/s), plain loop %.3f s, QVariant per cell %.3f s  [check %.3f]\n",
                rows, kFloatColumns, walkSeconds, rows / walkSeconds / 1e6, walkSeconds / floorSeconds, gridSeconds,
                rows / gridSeconds / 1e6, floorSeconds, variantSeconds, check);
}

}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    Run(100000);
    Run(1000000);
    return 0;
}
