#pragma once
// The tools of the evaluation window beyond its own controls: the cursor line
// with its readout in both charts, event and failure marks, the statistics table
// of the visible stretch, fitting the vertical scales, the logarithmic current
// scale, device colours and names, the current limit. Each is switched by a key
// of section "Auswertung" and by the charts' context menu; with every key off the
// window looks and acts as without them.

#include "views/Auswertungswerkzeuge.h"

#include <QObject>
#include <QString>
#include <array>
#include <vector>

class TFOOrvexAuswertung;
class TCustomChart;
class TChart;
class QAction;
class QMenu;
class QTableWidget;
class QLabel;
class QWidget;

class TAuswertungWerkzeuge : public QObject {
    Q_OBJECT
public:
    explicit TAuswertungWerkzeuge(TFOOrvexAuswertung* window);
    ~TAuswertungWerkzeuge() override;

    TAuswertungOptionen Optionen;

    // ---- Called by the window
    // A run was walked into the arrays: marks, crossings and the channel list anew.
    // neuerLauf false: the same rows, a tool was switched on.
    void DatenGeladen(bool neuerLauf = true);
    // Curves, channels, colours or axes were set: the tools follow.
    void AnsichtAktualisiert();
    // Before the settings are kept: the current scale goes back to its linear range.
    void VorDemSpeichern();

    // ---- The tools
    // Every vertical scale takes the range of its visible curves in the visible time.
    void YAchsenAnpassen();
    void LogStromachseSetzen(bool on);
    void OptionUmschalten(const QString& key, bool on);

    // The cursor stands at a value of the bottom axis; it shows the row at or before it.
    void CursorSetzen(double x, TCustomChart* chart = nullptr);
    // One row further (positive) or back (negative).
    void CursorSchritt(int rows);
    void CursorAus();
    bool CursorAktiv() const { return fCursorZeile >= 0; }
    int CursorZeile() const { return fCursorZeile; }

    // The readout of the cursor row: a line of text and the colour it is drawn in.
    struct TAnzeigeZeile {
        QString Text;
        TColor Farbe = 0;
    };
    std::vector<TAnzeigeZeile> Anzeige() const;

    // The statistics of the visible curves over the bottom axis' range.
    struct TStatistikZeile {
        QString Kurve, Einheit;
        TKurvenStatistik Werte;
        int Nachkomma = 3;
    };
    std::vector<TStatistikZeile> Statistik() const;
    // The table as text, tab-separated, with its range in the first line.
    QString StatistikText() const;
    void StatistikAktualisieren();
    QTableWidget* StatistikTabelle() const { return fTabelle; }

    const std::vector<TMarke>& Marken() const { return fMarken; }
    // Row of the first crossing of the threshold per channel (1..9), -1 for none.
    int Ueberschreitung(int kanal) const { return fUeberschreitung[kanal]; }
    double SchwelleUA() const;
    // The number of rows that the tools read: the rising part of the arrays.
    int Zeilen() const { return fZeilen; }

    QMenu* Menue() const { return fMenue; }

private:
    void MenueBauen();
    void KanaeleBeschriften();
    void FarbenSetzen();
    void NachZeichnen(TChart* chart);
    void MausBewegt(TCustomChart* chart, int x, int y);
    void EbenenAktualisieren();
    bool eventFilter(QObject* watched, QEvent* e) override;
    const TChartValues* XWerte() const;
    // The curves shown on a vertical scale of the window (1..4), with their arrays.
    std::vector<const TChartValues*> KurvenAufAchse(int achse) const;
    QString Zahl(double v, int nachkomma) const;
    QString XText(double x) const;

    TFOOrvexAuswertung* w;
    QMenu* fMenue = nullptr;
    std::array<QWidget*, 3> fEbenen{};   // the cursor layer over each chart, 1..2
    QTableWidget* fTabelle = nullptr;
    QLabel* fBereichLabel = nullptr;
    QWidget* fStatistikPanel = nullptr;
    std::vector<TMarke> fMarken;
    std::array<int, 10> fUeberschreitung{};
    std::array<bool, 10> fOhneDaten{};
    int fZeilen = 0;
    int fCursorZeile = -1;
    TCustomChart* fAnzeigeChart = nullptr;
    double fStatistikVon = 1, fStatistikBis = 0;   // the range the table shows; empty at first
    bool fLogAktiv = false;
    bool fFarbenGesetzt = false;
    double fLinMin = 0, fLinMax = 0, fLinInc = 0;   // the current scale before it turned logarithmic
    QString fLinFormat;
    bool fStatistikGeplant = false;
    int fPanelBreite = 0;

    friend class TCursorEbene;
};
