#pragma once
// The program's main window, the evaluation window: the run selector and its
// header data on the left, the curve and channel lists beside them, and the two
// stacked, coupled charts. It owns all evaluation state: the twelve value arrays
// of the selected run, the series that share them, and the look of the charts.

#include "chart/Chart.h"
#include "chart/ChartEditor.h"
#include "chart/Series.h"
#include "frame/ZELBase.h"

#include <QWidget>
#include <array>
#include <functional>
#include <memory>

class QFrame;
class QLabel;
class QMenu;
class QAction;
class QPushButton;
class TdxLookupEdit;
class TdxDBEdit;
class TdxDBCurrencyEdit;
class TdxDBMemo;
class TCheckListBox;
class TdxCheckEdit;
class THTMLabel;
class TAuswertungWerkzeuge;
class TAutoAktualisierung;

class TFOOrvexAuswertung : public QWidget {
    Q_OBJECT
public:
    explicit TFOOrvexAuswertung(QWidget* parent = nullptr);
    ~TFOOrvexAuswertung() override;

    // ---- Regions and buttons
    QFrame* Bedienpanel = nullptr;
    QFrame* KopfdatenPanel = nullptr;
    QFrame* Panel3 = nullptr;
    QFrame* ChartPanel = nullptr;
    QPushButton* BitBtn1 = nullptr;
    QPushButton* BtnRohdaten = nullptr;
    QPushButton* BtnRefresh = nullptr;

    // ---- Header controls
    TdxLookupEdit* LookupAuftrag = nullptr;
    TdxDBEdit* dxDBEdit1 = nullptr;
    TdxDBEdit* Charge = nullptr;
    TdxDBEdit* Bediener = nullptr;
    TdxDBEdit* Strang = nullptr;
    TdxDBEdit* Datum = nullptr;
    TdxDBCurrencyEdit* Laufzeit = nullptr;
    TdxDBCurrencyEdit* Restlaufzeit = nullptr;
    TdxDBEdit* dxDBEdit2 = nullptr;
    THTMLabel* HTMLabel1 = nullptr;
    TdxDBCurrencyEdit* ED_U_SOLL = nullptr;
    THTMLabel* HTMLabel5 = nullptr;
    TdxDBCurrencyEdit* Ed_I_BT_MAX = nullptr;
    TdxDBMemo* Kommentar = nullptr;

    // ---- Curve and channel lists
    QLabel* Label1 = nullptr;
    TCheckListBox* Kurven = nullptr;
    QPushButton* BtnAlleKurvenan = nullptr;
    QLabel* Label2 = nullptr;
    TCheckListBox* Kanaele = nullptr;
    QPushButton* Button4 = nullptr;
    TdxCheckEdit* togglemode = nullptr;
    QPushButton* Button3 = nullptr;

    // ---- Charts, series, menu
    TChart* chart_U_I = nullptr;
    TChart* Chart_T_RF = nullptr;
    std::array<std::unique_ptr<TFastLineSeries>, 10> fSerIStore;   // 1..9
    TFastLineSeries* Ser_I1 = nullptr;
    TFastLineSeries* Ser_I2 = nullptr;
    TFastLineSeries* Ser_I3 = nullptr;
    TFastLineSeries* Ser_I4 = nullptr;
    TFastLineSeries* Ser_I5 = nullptr;
    TFastLineSeries* Ser_I6 = nullptr;
    TFastLineSeries* Ser_I7 = nullptr;
    TFastLineSeries* Ser_I8 = nullptr;
    TFastLineSeries* Ser_I9 = nullptr;
    std::unique_ptr<TFastLineSeries> Ser_U;
    std::unique_ptr<TFastLineSeries> Ser_T;
    std::unique_ptr<TFastLineSeries> Ser_rF;
    QMenu* PopupMenu1 = nullptr;
    QAction* Bearbeiten1 = nullptr;

    // ---- Evaluation state; arrays of the 1-based kind keep index 0 unused
    std::array<QString, 10> fBauteil;
    std::array<TChartAxis*, 5> fAchsen{};
    std::array<TChart*, 3> fCharts{};
    std::array<bool, 3> fChartAktiv{};
    std::array<TChartValuesPtr, 10> fWerteI;
    TChartValuesPtr fWerteT, fWerteRF, fWerteU, fWerteStd, fWerteZeit;
    std::array<TFastLineSeries*, 10> fSerI{};
    std::array<bool, 10> fKanalAktiv{};
    QString fEinheitI = QStringLiteral("[µA]");
    int fNachkommaI = 3;
    int fTeilerI = 1;
    TColor fFarbeRF = 0, fFarbeU = 0, fFarbeT = 0, fFarbeI = 0, fFarbeChart = 0;
    bool fRefreshLaeuft = false;
    bool fXAchseGeaendert = false;
    bool fZeitstempel = false;
    bool fStufenAnzeige = true, fStufenInvertiert = true;
    TChartAxis* fKlickAchse = nullptr;
    TChart* fKlickChart = nullptr;
    TRect fRand;
    bool fZoomLaeuft = false;
    int fAnzahlSaetze = 0;
    // Rows really read into the arrays (the count may run ahead of them by rows
    // committed during the fetch); the incremental refresh appends after them.
    int fGeladen = 0;
    bool fErsterStart = true;

    // ---- Start and end
    void FormCreate();
    void FormActivate();
    void FormResize();
    void FormKeyDown(int key);
    void BitBtn1Click();
    // The orderly end: datasets and connection go down, then the window closes.
    void ProgrammBeenden();
    void FormCloseQuery(bool& canClose);
    void FormClose();
    // Called once the window has closed: the program sets it to end itself then,
    // whatever notes or dialogs are still up.
    std::function<void()> OnGeschlossen;

    // ---- Selection and loading
    void LookupAuftragSelectionChange(QObject* Sender);
    void BtnRefreshClick();
    void BtnRohdatenClick();
    void VersuchAnzeigen();
    void DatenLaden();
    // Behalten: the leading rows that stand as the series last saw them. NurX: only the
    // x axis changed (hours or time stamps); the y values stand as they are.
    void SerienZuweisen(int Behalten = 0, bool NurX = false);
    // Works out now what the series otherwise work out at their first paint: extremes,
    // the order of the x values and the range index of the y values.
    void SerienVorbereiten(bool NurX = false);
    // The arrays grew by rows appended at their end, the first Behalten rows unchanged:
    // the series take the new count, zoom, axes and the chosen curves stay.
    void SerienUebernehmen(int Behalten = 0);
    void SerieBelegen(TFastLineSeries* Serie, const TChartValuesPtr& Y, const TChartValuesPtr& X, bool IstDatum,
                      int Anzahl, int Behalten, bool NurX = false);
    void Chart_SummenMouseMove(TChart* Sender, Qt::KeyboardModifiers Shift, int X, int Y);

    // ---- Curves and channels
    void KurvenClickCheck();
    void KanaeleClickCheck();
    void BtnAlleKurvenanClick();
    void Button4Click();
    void Button3Click();
    void KurvenAuswerten();
    void ChartsAktualisieren();
    void ChartsAnordnen();
    void RandSetzen(TChart* Chart, const TRect& Rand);
    // Gives both plots the same columns: called before each paint of either chart.
    void PlotsAngleichen();
    void AchseUebertragen(TChartAxis* Quelle, TChartAxis* Ziel);

    // ---- Settings kept between runs of the program
    void EinstellungenLaden();
    void EinstellungenSpeichern();

    // ---- Chart settings dialog and zoom coupling
    void Bearbeiten1Click();
    void charts_Zoom(TCustomChart* Sender);
    void charts_UndoZoom(TCustomChart* Sender);

    // ---- Axis clicks and the chart double click
    // A left click opens the axis dialog beside the axis; every button remembers it.
    void ChartAxisClick(TCustomChart* Sender, TChartAxis* Axis, Qt::MouseButton Button, Qt::KeyboardModifiers Shift,
                        int X, int Y);
    // Carries range and position of the clicked bottom axis to both charts.
    void XAchseUebernehmen();
    void chartDblClick(TCustomChart* Sender);
    // Runs the chart editor over a chart until it closes.
    std::function<void(TCustomChart* Chart)> ChartEditorAusfuehren;
    // The editor of a double-clicked chart; legend, panel, paging, walls and 3D stay hidden.
    TChartEditor* ChartEditor = nullptr;

    // Binds the run selector and the header controls to the data module's sources;
    // called once the module exists.
    void DatenquellenZuordnen();

    // Selects a run by its number as if the user had picked it; false when there is none.
    bool VersuchWaehlen(const QString& nummer);

    // The engineer's tools beside the charts (cursor, marks, statistics, ...); each
    // switched by a key of section "Auswertung". Owned by the window.
    TAuswertungWerkzeuge* Werkzeuge = nullptr;
    // Follows an active run at the interval of key "AutoRefresh_s" (0: off). Owned by the window.
    TAutoAktualisierung* AutoAktualisierung = nullptr;

protected:
    bool event(QEvent* e) override;
    void showEvent(QShowEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void closeEvent(QCloseEvent* e) override;
    bool eventFilter(QObject* watched, QEvent* e) override;

private:
    void BuildHeaderPanel();
    void BuildCurvePanel();
    void BuildCharts();
    TChart* MakeChart(const QString& name, const QString& title);
    void AchsenklicksVerbinden();
    std::unique_ptr<TFastLineSeries> MakeSeries(TChart* chart, TChartAxis* axis, const QString& title, TColor color);
};

extern TFOOrvexAuswertung* FOOrvexAuswertung;
