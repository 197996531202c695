#pragma once
// Believable test runs for the demo database, the benchmarks and the acquisition
// simulator: header rows and measurement rows computed from a seed, so that the
// same seed always gives the same values and tests can rely on them.

#include "frame/ZELBase.h"

#include <QString>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

// One row of AUFTRAEGE as the acquisition side writes it.
struct TDemoRun {
    QString Versuchsnr, Teilenr, Bezeichnung, Bediener, Kommentar, Status;
    int Strang = 1;
    TDateTime Datum = 0;          // start of the test
    double U_Soll = 0, I_Max = 0;
    double T_Messen_ab = 0, T_Nachlauf_bis = 0, RF_Messen_ab = 0, RF_Nachlauf_bis = 0;
    int T_Messen_ab_Aktiv = 0, T_Nachlauf_bis_Aktiv = 0, RF_Messen_ab_Aktiv = 0, RF_Nachlauf_bis_Aktiv = 0;
    std::array<QString, 9> BT;    // blank: channel not in use
    int Dauer_1_Std = 0, Speicherfreq_1_Min = 0, Dauer_Gesamt_Std = 0, Speicherfreq_Gesamt_Min = 0;
    double Restlaufzeit = 0;

    // What the generator needs beyond the stored header.
    double T_Soll = 25;           // chamber temperature in the test phase
    double RF_Soll = 0;           // 0: dry test
    int Zeilen = 0;               // rows stored so far
    std::uint32_t Seed = 1;
    int AusfallKanal = 0;         // 1..9: this device fails; 0: none
    double AusfallStunde = 0;     // test hour of the failure
    bool Beendet = false;         // the last stored row closes the run
};

// One row of MESSDATEN.
struct TDemoRow {
    TDateTime Zeitpunkt = 0;
    int Satznr = 0;
    double Zeit_Std = 0;
    QString Ereignis, Fehler, Status;   // Status: the stand's state as a number text
    double T = 0, RF = 0, U = 0;
    std::array<double, 9> I{};          // µA
};

// The fixed set of demo runs; largeRows > 0 adds a run of that many rows.
std::vector<TDemoRun> DemoRuns(int largeRows = 0);
// The run of that number among runs; raises for a number that is not there.
const TDemoRun& FindDemoRun(const std::vector<TDemoRun>& runs, const QString& versuchsnr);

// Rows of a run, one after the other; row k is the same for the same run every time.
class TDemoRowGenerator {
public:
    explicit TDemoRowGenerator(const TDemoRun& run);
    // The test hour of row k, following the two storing intervals.
    double HourOfRow(int k) const;
    TDemoRow Row(int k) const;
    // Rows a run of this duration stores in all.
    int RowsForDuration(double hours) const;

private:
    double Noise(int k, int channel) const;
    const TDemoRun& fRun;
    std::array<double, 9> fBase{};      // leakage of each device at test conditions, µA
    std::array<double, 9> fDrift{};     // relative growth per 1000 h
};
