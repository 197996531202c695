#pragma once
// The engineer's tools beside the charts: a cursor readout, event and failure
// marks, statistics of the visible stretch, fitting the vertical scales, a
// logarithmic current scale, device colours and the current limit. This unit
// holds their settings and every computation over the curve arrays, free of
// widgets; the evaluation window draws and shows the results.

#include "chart/TeEngine.h"
#include "frame/ZELBase.h"

#include <QString>
#include <QStringList>
#include <vector>

class TpFIBDatabase;
class TpFIBTransaction;

// Section "Auswertung" of the INI. Every default keeps the window as it always
// looked; the demo configuration switches the tools on.
struct TAuswertungOptionen {
    bool Menue = false;           // "Menue": the tools' entries in the charts' context menu
    bool Cursor = false;          // "Cursor": vertical line and readout under the mouse
    bool Marken = false;          // "Marken": events grey, failures red
    bool Statistik = false;       // "Statistik": table of the visible range
    bool Anpassen = false;        // "Anpassen": menu entry that fits the vertical scales
    bool LogStromachse = false;   // "LogStromachse": current scale logarithmic
    bool Bauteilfarben = false;   // "Bauteilfarben": nine colours and device names
    bool Grenzwert = false;       // "Grenzwert": I_MAX line and first crossings
    bool XlsxExport = false;      // "XlsxExport": the button "XLSX Export" in the raw data window
    double Schwelle_uA = 0;       // "Schwelle_uA": crossing threshold in µA; 0 = I_MAX of the run
    // "Routineereignisse": events written on every storage cycle; they would cover
    // the chart with marks and tell nothing.
    QString Routineereignisse = QStringLiteral("Speicherzyklus");

    // Reads every key with the store's rules; a threshold that is no finite,
    // non-negative number is repaired to 0 in the file. A switch in the context
    // menu writes its own key at once.
    void Laden();
    QStringList RoutineListe() const;
    // True when any tool is on: only then does a load pay for their computations.
    bool IrgendeinWerkzeug() const
    {
        return Cursor || Marken || Statistik || Anpassen || LogStromachse || Bauteilfarben || Grenzwert;
    }
};

// The row shown for a time: the last row at or before t among the first n rows,
// which rise in x; -1 when t lies before the first row.
int ZeileBei(const TChartValues& x, int n, double t);

// How many leading rows rise in x (rows appended between fetch and count stay 0
// at the end of the arrays and must not be searched).
int SteigendeZeilen(const TChartValues& x, int n);

struct TKurvenStatistik {
    int Anzahl = 0;
    double Minimum = 0, Maximum = 0, Mittelwert = 0, Letzter = 0;
};

// Minimum, maximum, mean, last value and count of the rows with von <= x <= bis.
TKurvenStatistik StatistikImBereich(const TChartValues& x, const TChartValues& y, int n, double von, double bis);

// The range a vertical scale takes to show these rows: their extent plus a
// margin of 5 % on each side; a flat curve gets a band around its value. False
// when no row lies in the range.
bool DatenBereich(const std::vector<const TChartValues*>& ys, const TChartValues& x, int n, double von, double bis,
                  double& minimum, double& maximum);

// The range of a logarithmic scale over these rows: decades around the smallest
// positive and the largest value, at most six; zeros and negatives take no part. False when
// no positive value lies in the range.
bool LogBereich(const std::vector<const TChartValues*>& ys, const TChartValues& x, int n, double von, double bis,
                double& minimum, double& maximum);

// The first row whose value lies above the threshold; -1 when none does.
int ErsteUeberschreitung(const TChartValues& y, int n, double schwelle);

// True when a channel holds nothing but zeros (NULL reads as zero).
bool OhneDaten(const TChartValues& y, int n);

// Nine colours that readers with a colour vision deficiency can tell apart.
TColor Bauteilfarbe(int kanal);

// A row with an event or a failure text.
struct TMarke {
    double Stunde = 0;      // ZEIT_STD
    TDateTime Zeit = 0;     // ZEITPUNKT
    QString Ereignis, Fehler;
    int Abgeschaltet = 0;   // channel 1..9 that went to zero at this row, 0 for none
    bool IstFehler() const { return !Fehler.trimmed().isEmpty(); }
    QString Text() const;
};

// The marks of a run, read by their own statement in the given transaction:
// every row with a failure, and every row with an event not in the routine list.
std::vector<TMarke> MarkenLesen(TpFIBDatabase& db, TpFIBTransaction& tr, int auftragKey,
                                const QStringList& routine);

// Which device went to zero at a failure row: a channel carrying current at row i
// and nothing at every row after, up to n. 0 when no channel did.
int AbgeschalteterKanal(const std::vector<const TChartValues*>& kanaele, int n, int i);
