#pragma once
// The demo database "Orvex.fdb" and the acquisition side's way of writing to it,
// both through the program's own database layer: prepared statements, explicit
// transactions.

#include "tools/OrvexDemoData.h"

#include <QString>
#include <functional>
#include <memory>

class TpFIBDatabase;
class TpFIBTransaction;
class TpFIBQuery;

struct TDemoDbLogin {
    QString DBName;                       // file path or "host/port:path"
    QString User = QStringLiteral("SYSDBA");
    QString Password = QStringLiteral("kestrel42");   // what the program logs in with
    QString LibraryName = QStringLiteral("libfbclient.so.2");
};

// A connection with the character set the program uses.
std::unique_ptr<TpFIBDatabase> ConnectOrvex(const TDemoDbLogin& login);

// Creates the database file with the schema and the demo runs, one transaction per run.
// largeRows > 0 adds a run with that many rows. progress gets one line per run.
void CreateDemoDatabase(const TDemoDbLogin& login, int largeRows = 0,
                        const std::function<void(const QString&)>& progress = {});

// Writes rows to one run the way the acquisition program does: each row through
// INS_MESSDATENSATZ and the run's header through UPD_AUFTRAG, in one committed
// transaction per row.
class TAcquisitionSimulator {
public:
    // Continues the run numbered versuchsnr (a demo run) after its last stored row.
    TAcquisitionSimulator(TpFIBDatabase* db, const QString& versuchsnr);
    ~TAcquisitionSimulator();
    int AuftragKey() const { return fKey; }
    int RowsWritten() const { return fNext; }
    // Writes the next row and commits; answers its record number.
    int AppendRow();

private:
    TpFIBDatabase* fDb;
    TDemoRun fRun;
    std::unique_ptr<TDemoRowGenerator> fGen;
    std::unique_ptr<TpFIBTransaction> fTr;
    std::unique_ptr<TpFIBQuery> fIns, fUpd;
    int fKey = 0;
    int fNext = 0;
};
