#pragma once
// The charts follow a run the acquisition program is still writing: at an interval
// (key "AutoRefresh_s" in section "Auswertung"; 0, the default, leaves it off) only
// the rows newer than the last one loaded are fetched and appended to the curve
// arrays, and the header (remaining time, status, rows) is read again. Zoom, axes,
// the chosen curves and channels and the raw data window stay as they are;
// "aktualisieren" keeps its full reload. A lost connection is said once; the timer
// tries again at its interval, and the first success loads the run afresh.

#include <QObject>
#include <QString>
#include <QTimer>
#include <memory>

class TFOOrvexAuswertung;
class TpFIBTransaction;
class TpFIBQuery;

// Whether a run status text names a run that is being acquired.
bool StatusAktiv(const QString& status);

class TAutoAktualisierung : public QObject {
public:
    explicit TAutoAktualisierung(TFOOrvexAuswertung* fenster);
    ~TAutoAktualisierung() override;

    // Seconds between refreshes; 0 switches the timer off.
    int Intervall_s() const { return fIntervall_s; }
    void SetIntervall_s(int sekunden);

    // After every full load: the timer runs while the shown run is active.
    void NachVollLaden();
    // One refresh, as the timer does it. The answer: the rows appended, or -1
    // when the database could not be reached (said once until it can again).
    int Nachladen();

    bool Laeuft() const { return fTimer.isActive(); }
    bool VerbindungVerloren() const { return fVerloren; }

private:
    void Vorbereiten();
    void Verloren(const QString& grund);
    bool Wiederverbinden();
    TFOOrvexAuswertung* w;
    QTimer fTimer;
    int fIntervall_s = 0;
    bool fVerloren = false;
    // The run whose rows the arrays hold: a selection under way has set the next run
    // already while the arrays are still those of the last one.
    int fKey = 0;
    std::unique_ptr<TpFIBTransaction> fTr;
    std::unique_ptr<TpFIBQuery> fQ;
};
