// Export speed of the raw data window (text, worksheet and workbook).
//   rohdaten_bench [ROWS] [csv]
// Builds a demo database with a run of ROWS rows (default 60000) in a temporary
// folder, opens the evaluation window, the raw data window and the data module on
// it as the program does, selects the run, and times SaveToText and SaveToXLS of
// the grid and SaveToXLSX (best and mean of five), next to one plain walk over the same rows
// reading the same display texts, the part of the work that is not the writer's,
// and the plain fetch loop of the run's rows, the floor of loading them. The text
// export is also timed through the cursor and from the cache on one thread. With
// "csv" only the text export is timed.

#include "bench/BenchSupport.h"
#include "dbcontrols/TdxDBGrid.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "tools/OrvexDemoDb.h"
#include "views/TdxDBGridExport.h"
#include "views/TdxDBGridExportXlsx.h"
#include "views/uFoAuswertungUebersicht.h"
#include "views/uFoRohdatenansicht.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

namespace {
struct TTiming {
    double best = 1e300, sum = 0;
    int n = 0;
    void Add(double ms)
    {
        best = std::min(best, ms);
        sum += ms;
        ++n;
    }
};

TTiming Time(int repeats, const std::function<void()>& work)
{
    TTiming t;
    for (int i = 0; i < repeats; ++i) {
        QElapsedTimer clock;
        clock.start();
        work();
        t.Add(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    return t;
}
}

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int rows = argc > 1 ? std::max(1, atoi(argv[1])) : 60000;
    const bool csvOnly = argc > 2 && std::strcmp(argv[2], "csv") == 0;

    QTemporaryDir dir;
    TDemoDbLogin login;
    login.DBName = dir.filePath(QStringLiteral("Orvex.fdb"));
    std::printf("creating a demo database with a run of %d rows ...\n", rows);
    CreateDemoDatabase(login, rows);
    IniFileName = dir.filePath(QStringLiteral("KELMAR.INI"));
    Datapath = dir.path();
    AktVersuch = std::make_unique<TVersuchDaten>();
    FOOrvexAuswertung = new TFOOrvexAuswertung;
    FoRohdatenansicht = new TFoRohdatenansicht;
    DMorvex = std::make_unique<TDMorvex>();
    FOOrvexAuswertung->DatenquellenZuordnen();
    FoRohdatenansicht->DatenquellenZuordnen();
    DMorvex->DataModuleCreate();
    if (!FOOrvexAuswertung->VersuchWaehlen(QStringLiteral("BENCH-GROSS"))) {
        std::fprintf(stderr, "run BENCH-GROSS not found\n");
        return 1;
    }
    FoRohdatenansicht->show();
    QApplication::processEvents();
    TdxDBGrid& grid = *FoRohdatenansicht->Rohdatengrid;
    TDataSet* ds = grid.DataSet();
    std::printf("rows in the grid's dataset: %d\n", ds->RecordCount());

    const QString csv = dir.filePath(QStringLiteral("bench.csv"));
    const QString xls = dir.filePath(QStringLiteral("bench.xls"));
    const QString xlsx = dir.filePath(QStringLiteral("bench.xlsx"));
    constexpr int Repeats = 5;
    const TTiming walk = Time(Repeats, [&] {
        ds->DisableControls();
        qsizetype chars = 0;
        const std::vector<TdxDBGridColumn*> cols = grid.VisibleColumns();
        for (ds->First(); !ds->Eof(); ds->Next())
            for (TdxDBGridColumn* c : cols)
                chars += c->Field()->DisplayText().size();
        ds->Last();
        ds->EnableControls();
        if (chars == 0)
            std::printf("no text\n");
    });
    const TTiming text = Time(Repeats, [&] { SaveToText(grid, csv, true, QStringLiteral(";"), {}, {}); });
    // The same file through the cursor, and from the cache on this thread alone.
    const auto textWith = [&](bool cache, int threads) {
        TdxDBGridExportText e(&grid, csv, true, QStringLiteral(";"), {}, {});
        e.ReadCache = cache;
        e.Threads = threads;
        e.Execute();
    };
    const TTiming cursor = Time(Repeats, [&] { textWith(false, 0); });
    const TTiming single = Time(Repeats, [&] { textWith(true, 1); });
    const bool fits = ds->RecordCount() <= TdxDBGridExportExcel::MaxDataRows(grid);
    TTiming sheet, book;
    if (fits && !csvOnly)
        sheet = Time(Repeats, [&] { SaveToXLS(grid, xls, true); });
    if (!csvOnly)
        book = Time(Repeats, [&] { SaveToXLSX(grid, xlsx, true); });
    // The floor: the run's rows fetched by a bare statement, after the exports so
    // that both find the server's cache equally warm.
    long long plainRows = 0;
    TTiming plain;
    for (int i = 0; i < 2; ++i)
        plain.Add(1000.0 * PlainFetch(DMorvex->orvexDB.get(), DMorvex->TaMessdaten.get(), OrvexSQL::MessdatenSelect(),
                                      AktVersuch->AuftragKey, plainRows));

    const auto report = [rows](const char* what, const TTiming& t, qint64 bytes) {
        std::printf("%-34s best %8.1f ms  mean %8.1f ms  %9.0f rows/s", what, t.best, t.sum / t.n,
                    rows / (t.best / 1000.0));
        if (bytes >= 0)
            std::printf("  %6.1f MB", static_cast<double>(bytes) / 1e6);
        std::printf("\n");
    };
    report("plain fetch loop", plain, -1);
    report("walk reading display texts", walk, -1);
    report("SaveToText (CSV)", text, QFileInfo(csv).size());
    report("  the same through the cursor", cursor, -1);
    report("  the same from the cache, 1 thread", single, -1);
    std::printf("ratio CSV / plain fetch            %.2f\n", text.best / plain.best);
    if (!csvOnly) {
        if (fits) {
            report("SaveToXLS (BIFF4)", sheet, QFileInfo(xls).size());
            std::printf("ratio XLS / CSV                    %.2f\n", sheet.best / text.best);
        } else {
            std::printf("SaveToXLS refused: %d rows exceed the sheet\n", rows);
        }
        report("SaveToXLSX (workbook)", book, QFileInfo(xlsx).size());
        std::printf("ratio XLSX / CSV                   %.2f\n", book.best / text.best);
    }

    FoRohdatenansicht->hide();
    FOOrvexAuswertung->ProgrammBeenden();
    delete FoRohdatenansicht;
    delete FOOrvexAuswertung;
    DMorvex.reset();
    return 0;
}
