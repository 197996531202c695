#pragma once
// The axis dialog: edits one axis of a chart while it stays open. There is no
// apply and no cancel: every change reaches the axis half a second after the last
// input, and "zurück" only closes. Two range sliders are coupled both ways to the
// numbers beside them: the position of the axis in percent of the chart height,
// and its range in axis values.

#include <QDialog>
#include <QElapsedTimer>
#include <functional>

class QLabel;
class QPushButton;
class TChartAxis;
class TAdvRangeSlider;
class TdxEdit;
class TdxCurrencyEdit;
class TdxSpinEdit;
class TdxCheckEdit;
class TJvColorComboBox;
class TThreadedTimer;

class TFoSetupAx : public QDialog {
    Q_OBJECT
public:
    explicit TFoSetupAx(QWidget* parent = nullptr);
    ~TFoSetupAx() override;

    // Fills the dialog from Achse, places it at X, Y on the screen and shows it
    // modally. Nachher, when given, runs after each write to the axis.
    void AchseBearbeiten(const std::function<void()>& Nachher, TChartAxis* Achse, int X, int Y);

    // ---- Controls
    QLabel* LbTitle = nullptr;
    QLabel* LbForm = nullptr;
    QLabel* LbColor = nullptr;
    QLabel* LbSkalenPos = nullptr;
    QLabel* LbPosO = nullptr;
    QLabel* LbPosU = nullptr;
    QLabel* LbSkalenwerte = nullptr;
    QLabel* LbInc = nullptr;
    TdxEdit* EdTitle = nullptr;
    TdxEdit* EdForm = nullptr;
    TAdvRangeSlider* EDSkalenPos = nullptr;
    TdxSpinEdit* EDPosO = nullptr;
    TdxSpinEdit* EDPosU = nullptr;
    TAdvRangeSlider* EDSkalenwerte = nullptr;
    TdxCurrencyEdit* EdHigh = nullptr;
    TdxCurrencyEdit* EDInc = nullptr;
    TdxCurrencyEdit* EdNull = nullptr;
    TJvColorComboBox* EDColor = nullptr;
    TdxCheckEdit* Checkauto = nullptr;
    QPushButton* BitBtn2 = nullptr;
    TThreadedTimer* changeTimer = nullptr;

    // ---- State
    bool fLaedt = false;
    bool fPosSperre = false;
    bool fWertSperre = false;
    TChartAxis* fAchse = nullptr;
    std::function<void()> fNachher;

    // ---- Handlers
    void EdChange();
    void EdHighNullChange();
    void EDSkalenWerteChange();
    void EDSkalenPosChange();
    void EDPosOUChange();
    // Writes the fields onto the axis; the timer's tick.
    void changeTimerTimer();
    void BitBtn2Click();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Starts the half second anew.
    void Aenderung();
    QElapsedTimer fLetzteAenderung;
};

extern TFoSetupAx* FoSetupAx;
