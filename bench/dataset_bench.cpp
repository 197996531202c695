// Speed and memory of the cached dataset over the measurement rows of one run.
//   dataset_bench DATABASE [VERSUCHSNR [PASSWORD]]
// DATABASE is a demo database (tools/orvexDemo create FILE --rows N); the run
// defaults to the large one, 'BENCH-GROSS'. Prints, in one run:
//   - a plain loop over the query that reads the twelve float columns straight
//     from the client's row buffers (the floor: server work plus decoding),
//   - the dataset: open, FetchAll, and a walk from First to Eof reading the twelve
//     float fields into arrays,
// with rows per second, the ratio, and the resident memory the open dataset adds
// and the process's peak.

#include "bench/BenchSupport.h"
#include "dbaccess/pFIBDataSet.h"
#include "dbaccess/pFIBDatabase.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <vector>

namespace {
const char* Sql =
    "SELECT AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, EREIGNIS, FEHLER, STATUS, T, RF, U, "
    "I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09 FROM MESSDATEN "
    "WHERE AUFTRAGKEY = :KEY ORDER BY ZEITPUNKT";
const char* FloatNames[] = {"ZEIT_STD", "T", "RF", "U", "I_01", "I_02", "I_03", "I_04", "I_05", "I_06", "I_07", "I_08"};

}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: dataset_bench DATABASE [VERSUCHSNR [PASSWORD]]\n");
        return 2;
    }
    const QString run = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("BENCH-GROSS");
    const QString password = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("kestrel42");
    TpFIBDatabase db;
    db.SetName("Bench");
    db.SetDBName(QString::fromLocal8Bit(argv[1]));
    db.SetSQLDialect(3);
    db.DBParams().Assign({"user_name=SYSDBA", "password=" + password, "lc_ctype=WIN1252"});
    db.Open();
    TpFIBTransaction tr;
    tr.AddDatabase(&db);
    db.SetDefaultTransaction(&tr);
    tr.StartTransaction();

    TFIBQuery key;
    key.SetDatabase(&db);
    key.SetTransaction(&tr);
    key.SQL().SetText(QStringLiteral("SELECT AUFTRAGKEY FROM AUFTRAEGE WHERE VERSUCHSNR = :NR"));
    key.Prepare();
    key.Params()[0].SetAsString(run);
    key.ExecQuery();
    if (key.Eof()) {
        std::fprintf(stderr, "no run %s\n", qPrintable(run));
        return 1;
    }
    const int runKey = key.Current()[0].AsInteger();
    key.Close();

    // Plain loop: the statement alone, floats read from the row buffers. It runs
    // before and after the dataset, so that neither side profits alone from the
    // engine's page cache; the faster of the two is the floor.
    long long plainRows = 0;
    const auto plainLoop = [&] { return PlainFetch(&db, &tr, QString::fromLatin1(Sql), runKey, plainRows); };
    const double plainFirst = plainLoop();
    QElapsedTimer timer;

    const long rssBefore = StatusKb("VmRSS:");
    TpFIBDataSet ds;
    ds.SetName("Messdaten");
    ds.SetDatabase(&db);
    ds.SetTransaction(&tr);
    ds.SetSelectSQL(QString::fromLatin1(Sql));
    ds.Prepare();
    ds.ParamByName("KEY")->SetAsInteger(runKey);
    std::vector<std::vector<double>> values(12);
    timer.start();
    ds.Open();
    ds.FetchAll();
    const double fetchSec = timer.nsecsElapsed() / 1e9;
    const long rssOpen = StatusKb("VmRSS:");
    TField* fields[12];
    for (int i = 0; i < 12; ++i) {
        fields[i] = ds.FieldByName(QString::fromLatin1(FloatNames[i]));
        values[static_cast<std::size_t>(i)].reserve(static_cast<std::size_t>(ds.RecordCount()));
    }
    long long rows = 0;
    for (ds.First(); !ds.Eof(); ds.Next()) {
        for (int i = 0; i < 12; ++i)
            values[static_cast<std::size_t>(i)].push_back(fields[i]->AsFloat());
        ++rows;
    }
    const double dsSec = timer.nsecsElapsed() / 1e9;
    const long rssWalked = StatusKb("VmRSS:");
    const double plainSecond = plainLoop();
    const double plainSec = std::min(plainFirst, plainSecond);

    std::printf("rows                      %lld (plain %lld)\n", rows, plainRows);
    std::printf("plain fetch loop          %.3f s before, %.3f s after  %.0f rows/s\n", plainFirst, plainSecond,
                plainRows / plainSec);
    std::printf("dataset open+fetch all    %.3f s\n", fetchSec);
    std::printf("dataset open+fetch+walk   %.3f s  %.0f rows/s\n", dsSec, rows / dsSec);
    std::printf("ratio dataset / plain     %.2f\n", dsSec / plainSec);
    std::printf("stored record size        %d bytes\n", ds.RecordsCache()->StoredRecordSize());
    std::printf("cache memory              %.1f MB\n", ds.RecordsCache()->MemoryUsed() / 1048576.0);
    std::printf("RSS added by open dataset %.1f MB\n", (rssOpen - rssBefore) / 1024.0);
    std::printf("RSS after walk (+arrays)  %.1f MB\n", rssWalked / 1024.0);
    std::printf("process peak (VmHWM)      %.1f MB\n", StatusKb("VmHWM:") / 1024.0);
    ds.Close();
    tr.Commit();
    db.Close();
    return 0;
}
