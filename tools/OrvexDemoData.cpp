#include "tools/OrvexDemoData.h"

#include <QDateTime>
#include <cmath>

namespace {
// A small, fast, fully determined hash: the same inputs give the same noise on
// every machine, so stored demo values are reproducible.
double Hash01(std::uint32_t a, std::uint32_t b, std::uint32_t c)
{
    std::uint64_t x = (std::uint64_t(a) * 0x9E3779B97F4A7C15ull) ^ (std::uint64_t(b) << 21) ^ (std::uint64_t(c) * 0xBF58476D1CE4E5B9ull);
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return double(x >> 11) / double(1ull << 53);
}

TDateTime At(int y, int m, int d, int h = 0, int min = 0)
{
    return QDateTimeToDateTime(QDateTime(QDate(y, m, d), QTime(h, min)));
}

constexpr double kRampHours = 1.0;        // chamber and voltage come up in the first hour
constexpr double kRunOnHours = 1.0;       // and go down in the last one

TDemoRun Htrb()
{
    TDemoRun r;
    r.Versuchsnr = "HTRB-2026-017";
    r.Teilenr = "IGBT 1200V/50A";
    r.Bezeichnung = "Los 4711, Gehäuse TO-247";
    r.Bediener = "A.Nutzer";
    r.Kommentar = "HTRB nach Qualifikationsplan, 1000 h bei 150 °C, 80 % der Sperrspannung.";
    r.Strang = 1;
    r.Datum = At(2026, 9, 1, 8, 0);
    r.U_Soll = 960;
    r.I_Max = 100;
    r.T_Soll = 150;
    r.T_Messen_ab = 145;
    r.T_Messen_ab_Aktiv = 1;
    r.T_Nachlauf_bis = 40;
    r.T_Nachlauf_bis_Aktiv = 1;
    for (int i = 0; i < 9; ++i)
        r.BT[i] = QStringLiteral("P%1").arg(i + 1, 2, 10, QChar(u'0'));
    r.Dauer_1_Std = 24;
    r.Speicherfreq_1_Min = 1;
    r.Dauer_Gesamt_Std = 1000;
    r.Speicherfreq_Gesamt_Min = 10;
    r.Beendet = true;
    r.Status = "Bendet";
    r.Seed = 17;
    return r;
}

TDemoRun H3trb()
{
    TDemoRun r;
    // Blank and "/" in the number: export folder and file names must cope.
    r.Versuchsnr = "H3TRB 2026/021";
    r.Teilenr = "MOSFET 100V";
    r.Bezeichnung = "Feuchtetest Charge B";
    r.Bediener = "G.Nutzer";
    r.Kommentar = "85 °C / 85 % rF, 80 V. Kanal 8 und 9 nicht bestückt.";
    r.Strang = 3;
    r.Datum = At(2026, 10, 26, 9, 30);
    r.U_Soll = 80;
    r.I_Max = 50;
    r.T_Soll = 85;
    r.RF_Soll = 85;
    r.T_Messen_ab = 80;
    r.T_Messen_ab_Aktiv = 1;
    r.RF_Messen_ab = 80;
    r.RF_Messen_ab_Aktiv = 1;
    r.RF_Nachlauf_bis = 60;
    r.RF_Nachlauf_bis_Aktiv = 2;   // not exactly 1: not in force
    for (int i = 0; i < 7; ++i)
        r.BT[i] = QStringLiteral("M-%1").arg(i + 1);
    r.BT[7] = "   ";
    r.Dauer_1_Std = 24;
    r.Speicherfreq_1_Min = 1;
    r.Dauer_Gesamt_Std = 1000;
    r.Speicherfreq_Gesamt_Min = 10;
    r.Status = "Versuch aktiv";
    r.Seed = 21;
    r.AusfallKanal = 4;
    r.AusfallStunde = 250.5;
    return r;
}

TDemoRun HighCurrent()
{
    TDemoRun r;
    r.Versuchsnr = "HTRB-2026-019";
    r.Teilenr = "Diode 600V/100A";
    r.Bezeichnung = "Modul mit Parallelchips";
    r.Bediener = "A.Nutzer";
    r.Kommentar = "Grenzstrom 12 mA: Ströme in mA.";
    r.Strang = 2;
    r.Datum = At(2026, 9, 20, 7, 15);
    r.U_Soll = 480;
    r.I_Max = 12000;   // above what the program shows: it limits the value to 10000
    r.T_Soll = 175;
    for (int i = 0; i < 6; ++i)
        r.BT[i] = QStringLiteral("D%1-Überlänge").arg(i + 1);   // longer than ten characters
    r.Dauer_1_Std = 12;
    r.Speicherfreq_1_Min = 2;
    r.Dauer_Gesamt_Std = 168;
    r.Speicherfreq_Gesamt_Min = 15;
    r.Beendet = true;
    r.Status = "Gestoppt - User";
    r.Seed = 19;
    return r;
}

TDemoRun Created()
{
    TDemoRun r;
    r.Versuchsnr = "HTRB-2026-023";
    r.Teilenr = "IGBT 1700V";
    r.Bezeichnung = "angelegt, noch nicht gestartet";
    r.Bediener = "G.Nutzer";
    r.Strang = 4;
    r.Datum = At(2026, 11, 20);
    r.U_Soll = 1360;
    r.I_Max = 200;
    r.T_Soll = 150;
    for (int i = 0; i < 9; ++i)
        r.BT[i] = QStringLiteral("K%1").arg(i + 1);
    r.Dauer_1_Std = 24;
    r.Speicherfreq_1_Min = 1;
    r.Dauer_Gesamt_Std = 1000;
    r.Speicherfreq_Gesamt_Min = 10;
    r.Status = "Angelegt";
    r.Seed = 23;
    return r;
}
}

std::vector<TDemoRun> DemoRuns(int largeRows)
{
    std::vector<TDemoRun> runs{Htrb(), H3trb(), HighCurrent(), Created()};
    for (TDemoRun& r : runs) {
        const TDemoRowGenerator g(r);
        if (r.Status == "Angelegt")
            r.Zeilen = 0;
        else if (r.Beendet)
            r.Zeilen = g.RowsForDuration(r.Status == "Bendet" ? r.Dauer_Gesamt_Std : r.Dauer_Gesamt_Std * 0.6);
        else
            r.Zeilen = g.RowsForDuration(400);
        const double last = r.Zeilen > 0 ? g.HourOfRow(r.Zeilen - 1) : 0;
        r.Restlaufzeit = std::max(0.0, r.Beendet ? 0.0 : r.Dauer_Gesamt_Std - last);
    }
    if (largeRows > 0) {
        TDemoRun big = Htrb();
        big.Versuchsnr = "BENCH-GROSS";
        big.Bezeichnung = "Lauf für Messungen der Ladezeit";
        big.Speicherfreq_1_Min = 1;
        big.Dauer_1_Std = 1000000;
        big.Dauer_Gesamt_Std = largeRows / 60 + 1;
        big.Zeilen = largeRows;
        big.Beendet = true;
        big.Seed = 99;
        runs.push_back(big);
    }
    return runs;
}

const TDemoRun& FindDemoRun(const std::vector<TDemoRun>& runs, const QString& versuchsnr)
{
    for (const TDemoRun& r : runs)
        if (r.Versuchsnr == versuchsnr)
            return r;
    throw Exception(QStringLiteral("Kein Demo-Versuch ") + versuchsnr);
}

TDemoRowGenerator::TDemoRowGenerator(const TDemoRun& run) : fRun(run)
{
    // Devices of one lot differ by a factor of a few; wet tests leak less at lower temperature.
    const double scale = run.I_Max * (run.RF_Soll > 0 ? 0.004 : 0.01);
    for (int c = 0; c < 9; ++c) {
        fBase[c] = scale * (0.5 + 1.5 * Hash01(run.Seed, c, 7));
        fDrift[c] = 0.05 + 0.3 * Hash01(run.Seed, c, 11);
    }
}

double TDemoRowGenerator::HourOfRow(int k) const
{
    const double first = fRun.Speicherfreq_1_Min / 60.0;
    const int firstRows = fRun.Speicherfreq_1_Min > 0 ? int(std::lround(fRun.Dauer_1_Std / first)) : 0;
    if (k <= firstRows)
        return k * first;
    return firstRows * first + (k - firstRows) * fRun.Speicherfreq_Gesamt_Min / 60.0;
}

int TDemoRowGenerator::RowsForDuration(double hours) const
{
    int lo = 0, hi = 1;
    while (HourOfRow(hi) <= hours)
        hi *= 2;
    while (lo + 1 < hi) {
        const int mid = (lo + hi) / 2;
        (HourOfRow(mid) <= hours ? lo : hi) = mid;
    }
    return lo + 1;
}

double TDemoRowGenerator::Noise(int k, int channel) const
{
    return Hash01(fRun.Seed, std::uint32_t(k), std::uint32_t(channel + 100)) - 0.5;
}

TDemoRow TDemoRowGenerator::Row(int k) const
{
    TDemoRow r;
    const double h = HourOfRow(k);
    r.Satznr = k + 1;
    r.Zeit_Std = h;
    r.Zeitpunkt = fRun.Datum + h / 24.0;
    const double end = fRun.Beendet && fRun.Zeilen > 0 ? HourOfRow(fRun.Zeilen - 1) : 1e12;

    // Chamber and voltage: up in the first hour, down in the last one of a finished run.
    double level = std::min(1.0, h / kRampHours);
    const bool runOn = h > end - kRunOnHours;
    if (runOn)
        level = std::max(0.0, (end - h) / kRunOnHours);
    r.T = 25 + (fRun.T_Soll - 25) * level + 0.3 * Noise(k, 20);
    r.RF = fRun.RF_Soll > 0 ? 40 + (fRun.RF_Soll - 40) * level + 0.8 * Noise(k, 21) : 3 + 0.5 * Noise(k, 21);
    r.U = fRun.U_Soll * level * (1 + 0.001 * Noise(k, 22));

    // Leakage follows voltage and doubles every 10 K, and drifts slowly over the hours.
    const double thermal = std::pow(2.0, (r.T - fRun.T_Soll) / 10.0);
    for (int c = 0; c < 9; ++c) {
        if (fRun.BT[c].trimmed().isEmpty()) {
            r.I[c] = 0;
            continue;
        }
        double i = fBase[c] * level * thermal * (1 + fDrift[c] * h / 1000.0) * (1 + 0.02 * Noise(k, c));
        if (c + 1 == fRun.AusfallKanal && h >= fRun.AusfallStunde)
            i = HourOfRow(k - 1) < fRun.AusfallStunde ? fRun.I_Max * 1.02 : 0.0;   // the jump, then switched off
        r.I[c] = i;
    }
    if (fRun.AusfallKanal > 0 && h >= fRun.AusfallStunde && HourOfRow(k - 1) < fRun.AusfallStunde)
        r.Fehler = "Stromabschaltung HSMM";

    // Events and stand states as the acquisition side records them.
    if (k == 0) {
        r.Ereignis = "Versuchsstart";
        r.Status = "3";
    } else if (h < kRampHours) {
        r.Status = "3";
    } else if (HourOfRow(k - 1) < kRampHours) {
        r.Ereignis = "Vorlaufende";
        r.Status = "4";
    } else if (fRun.Beendet && k == fRun.Zeilen - 1) {
        r.Ereignis = "Versuchsende";
        r.Status = "9";
    } else if (runOn) {
        r.Status = "5";
    } else {
        r.Ereignis = "Speicherzyklus";
        r.Status = "4";
    }
    return r;
}
