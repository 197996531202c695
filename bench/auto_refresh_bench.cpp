// The incremental refresh of a long run next to the full reload of the same run,
// measured in the same process: rows are appended by a second connection as the
// acquisition program would, then one refresh fetches and appends them.
//   auto_refresh_bench DATABASE [VERSUCHSNR [PASSWORD]]
// DATABASE: tools/orvexDemo create FILE --rows 1000000; the run defaults to 'BENCH-GROSS'.
// The rows the bench appends stay in the database.

#include "bench/BenchWindow.h"
#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "tools/OrvexDemoDb.h"
#include "views/uAutoAktualisierung.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
// Ten rows after the last one of the run, each a copy of it a minute later, committed.
void ZehnZeilen(TpFIBDatabase* db, int key)
{
    TpFIBTransaction tr;
    tr.SetDefaultDatabase(db);
    tr.StartTransaction();
    TpFIBQuery q;
    q.SetDatabase(db);
    q.SetTransaction(&tr);
    for (int i = 1; i <= 10; ++i) {
        q.SQL().SetText(QStringLiteral(
                            "insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, EREIGNIS, FEHLER, STATUS, T, "
                            "RF, U, I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09) select first 1 AUFTRAGKEY, "
                            "dateadd(minute, 1, ZEITPUNKT), SATZNR + 1, ZEIT_STD + 1.0 / 60, EREIGNIS, FEHLER, STATUS, "
                            "T, RF, U, I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09 from MESSDATEN where "
                            "AUFTRAGKEY = %1 order by ZEITPUNKT desc")
                            .arg(key));
        q.ExecQuery();
    }
    tr.Commit();
}
}

int main(int argc, char** argv)
{
    OffscreenWithoutScreen();
    QApplication app(argc, argv);
    const QString run = BenchRun(argc, argv, "auto_refresh_bench");
    if (run.isEmpty())
        return 2;
    const QString password = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("kestrel42");
    QTemporaryDir ini;
    if (!UseBenchIni(ini, argv[1], "[Auswertung]\r\nAutoRefresh_s=10\r\n"))
        return 1;
    uDMorvex_Initialize();
    AktVersuch = std::make_unique<TVersuchDaten>();

    OpenBenchWindow(password);

    // The run as the acquisition program leaves it while it writes.
    TDemoDbLogin login;
    login.DBName = QString::fromLocal8Bit(argv[1]);
    login.Password = password;
    auto writer = ConnectOrvex(login);
    {
        TpFIBTransaction tr;
        tr.SetDefaultDatabase(writer.get());
        tr.StartTransaction();
        TpFIBQuery q;
        q.SetDatabase(writer.get());
        q.SetTransaction(&tr);
        q.SQL().SetText(QStringLiteral("update AUFTRAEGE set STATUS = 'Versuch aktiv' where VERSUCHSNR = '%1'").arg(run));
        q.ExecQuery();
        tr.Commit();
    }
    DMorvex->AuftraegeNeuOeffnen();

    // The full load as the selection and "aktualisieren" do it, to the painted charts.
    QElapsedTimer t;
    t.start();
    if (!FOOrvexAuswertung->VersuchWaehlen(run)) {
        std::fprintf(stderr, "no run %s\n", qPrintable(run));
        return 1;
    }
    FOOrvexAuswertung->chart_U_I->repaint();
    FOOrvexAuswertung->Chart_T_RF->repaint();
    const double vollSec = t.nsecsElapsed() / 1e9;
    const int rows = FOOrvexAuswertung->fGeladen;

    TAutoAktualisierung& auto_ = *FOOrvexAuswertung->AutoAktualisierung;
    std::vector<double> refresh, painted;
    for (int i = 0; i < 7; ++i) {
        ZehnZeilen(writer.get(), AktVersuch->AuftragKey);
        t.restart();
        const int neu = auto_.Nachladen();
        const double fetchSec = t.nsecsElapsed() / 1e9;
        FOOrvexAuswertung->chart_U_I->repaint();
        FOOrvexAuswertung->Chart_T_RF->repaint();
        const double paintSec = t.nsecsElapsed() / 1e9;
        if (neu != 10) {
            std::fprintf(stderr, "refresh %d brought %d rows, not 10\n", i, neu);
            return 1;
        }
        refresh.push_back(fetchSec);
        painted.push_back(paintSec);
    }
    writer->Close();
    // The paint alone, for comparison: what every frame of a million rows costs.
    std::vector<double> paint;
    for (int i = 0; i < 5; ++i) {
        t.restart();
        FOOrvexAuswertung->chart_U_I->Invalidate();
        FOOrvexAuswertung->Chart_T_RF->Invalidate();
        FOOrvexAuswertung->chart_U_I->repaint();
        FOOrvexAuswertung->Chart_T_RF->repaint();
        paint.push_back(t.nsecsElapsed() / 1e9);
    }
    std::printf("timer running for the run           %s\n", auto_.Laeuft() ? "ja" : "nein");
    const auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    std::printf("rows of the run                     %d\n", rows);
    std::printf("full load to painted charts         %.3f s\n", vollSec);
    std::printf("refresh of 10 rows (first, median)  %.1f ms, %.1f ms\n", refresh.front() * 1e3,
                median(refresh) * 1e3);
    std::printf("same with both charts painted       %.1f ms, %.1f ms\n", painted.front() * 1e3,
                median(painted) * 1e3);
    // The series told of a change without new rows: what the charts redo after any change.
    std::vector<double> geaendert;
    for (int i = 0; i < 5; ++i) {
        t.restart();
        FOOrvexAuswertung->SerienUebernehmen();
        FOOrvexAuswertung->chart_U_I->repaint();
        FOOrvexAuswertung->Chart_T_RF->repaint();
        geaendert.push_back(t.nsecsElapsed() / 1e9);
    }
    std::printf("paint of both charts alone (median) %.1f ms\n", median(paint) * 1e3);
    std::printf("paint after a change of the series  %.1f ms\n", median(geaendert) * 1e3);
    std::printf("ratio full load / refresh           %.0f\n", vollSec / median(refresh));
    std::printf("ratio full load / painted refresh   %.0f\n", vollSec / median(painted));

    ProgrammEndet = true;
    delete FOOrvexAuswertung;
    DMorvex.reset();
    uDMorvex_Finalize();
    return 0;
}
