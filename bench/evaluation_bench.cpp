// The evaluation window's main job on a large run: from the selection to the first
// painted frame of both charts, next to its two floors measured in the same run:
// a plain fetch loop over the measurement query (the server's work plus the
// client's decoding) and one paint of both charts with the loaded curves.
// Also the start: window, data module and connection until the window is shown.
//   evaluation_bench DATABASE [VERSUCHSNR [PASSWORD]]
// DATABASE: tools/orvexDemo create FILE --rows 1000000; the run defaults to 'BENCH-GROSS'.

#include "bench/BenchSupport.h"
#include "bench/BenchWindow.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    OffscreenWithoutScreen();
    QApplication app(argc, argv);
    const QString run = BenchRun(argc, argv, "evaluation_bench");
    if (run.isEmpty())
        return 2;
    QTemporaryDir ini;
    if (!UseBenchIni(ini, argv[1]))
        return 1;
    uDMorvex_Initialize();

    // The start: window, data module, connection, list of runs, shown.
    QElapsedTimer t;
    t.start();
    OpenBenchWindow(argc > 3 ? QString::fromLocal8Bit(argv[3]) : QString());
    const double startSec = t.nsecsElapsed() / 1e9;

    TVersuchDaten probe;
    if (!DMorvex->VersuchLaden(run, probe)) {
        std::fprintf(stderr, "no run %s\n", qPrintable(run));
        return 1;
    }
    // Selection to the first painted frame of both charts.
    const long rssBefore = StatusKb("VmRSS:");
    t.restart();
    if (!FOOrvexAuswertung->VersuchWaehlen(run))
        return 1;
    FOOrvexAuswertung->chart_U_I->repaint();
    FOOrvexAuswertung->Chart_T_RF->repaint();
    const double selectSec = t.nsecsElapsed() / 1e9;
    const long rssLoaded = StatusKb("VmRSS:");
    // The peak of the program itself, before the bench's own loops add theirs.
    const long peakLoaded = StatusKb("VmHWM:");
    // Where the memory of the rows lies: the dataset's records, the charts' arrays.
    const double cacheMb = DMorvex->Messdaten->RecordsCache()
                               ? DMorvex->Messdaten->RecordsCache()->MemoryUsed() / 1048576.0
                               : 0.0;
    const TFOOrvexAuswertung& w = *FOOrvexAuswertung;
    std::vector<TChartValuesPtr> arrays{w.fWerteStd, w.fWerteZeit, w.fWerteT, w.fWerteRF, w.fWerteU};
    arrays.insert(arrays.end(), w.fWerteI.begin() + 1, w.fWerteI.begin() + 10);
    double arraysMb = 0;
    for (const TChartValuesPtr& a : arrays)
        arraysMb += a ? a->capacity() * sizeof(double) / 1048576.0 : 0.0;

    // One more paint of both charts over the same curves: the paint floor.
    t.restart();
    FOOrvexAuswertung->chart_U_I->Invalidate();
    FOOrvexAuswertung->Chart_T_RF->Invalidate();
    FOOrvexAuswertung->chart_U_I->repaint();
    FOOrvexAuswertung->Chart_T_RF->repaint();
    const double paintSec = t.nsecsElapsed() / 1e9;
    // The floor afterwards, twice; the faster run counts (the selection ran cold).
    // The floor decodes every column, as the load keeps whole rows; the loop over
    // the twelve chart columns alone is shown beside it.
    long long plainRows = 0;
    const auto plain = [&](bool everyColumn) {
        return PlainFetch(DMorvex->orvexDB.get(), DMorvex->TaMessdaten.get(), OrvexSQL::MessdatenSelect(),
                          probe.AuftragKey, plainRows, everyColumn);
    };
    const double plainFirst = plain(true);
    const double plainSecond = plain(true);
    const double plainSec = std::min(plainFirst, plainSecond);
    const double chartColumnsSec = std::min(plain(false), plain(false));

    std::printf("rows                          %d (plain loop %lld)\n", FOOrvexAuswertung->fAnzahlSaetze, plainRows);
    std::printf("start to shown window         %.3f s\n", startSec);
    std::printf("plain fetch loop              %.3f s, %.3f s\n", plainFirst, plainSecond);
    std::printf("  of the 12 chart columns     %.3f s\n", chartColumnsSec);
    std::printf("paint of both charts          %.3f s\n", paintSec);
    std::printf("selection to painted charts   %.3f s\n", selectSec);
    std::printf("ratio to (plain + paint)      %.2f\n", selectSec / (plainSec + paintSec));
    std::printf("  to (12 columns + paint)     %.2f\n", selectSec / (chartColumnsSec + paintSec));
    std::printf("RSS added by the load         %.1f MB\n", (rssLoaded - rssBefore) / 1024.0);
    std::printf("peak after the load (VmHWM)   %.1f MB\n", peakLoaded / 1024.0);
    std::printf("  of it dataset records       %.1f MB\n", cacheMb);
    std::printf("  of it curve arrays          %.1f MB\n", arraysMb);

    ProgrammEndet = true;
    delete FOOrvexAuswertung;
    DMorvex.reset();
    uDMorvex_Finalize();
    return 0;
}
