#pragma once
// The chart settings dialog: colours, margins and the kind of X axis of both
// charts. It stays open beside the main window, applies every change at once
// through the caller's callback, and takes the values back on cancel.

#include "frame/ZELBase.h"

#include <QDialog>
#include <functional>

class QLabel;
class QPushButton;
class TJvOfficeColorButton;
class TdxSpinEdit;
class TdxCheckEdit;

// Largest chart margins in pixels, at the sides and at top and bottom: what the
// dialog offers, and what a kept setting is held to.
constexpr int kRandSeiteMax = 100;
constexpr int kRandObenUntenMax = 20;

class TFoSetupCharts : public QDialog {
    Q_OBJECT
public:
    explicit TFoSetupCharts(QWidget* parent = nullptr);
    ~TFoSetupCharts() override;

    // Shows the dialog over the caller's values and returns once it is hidden.
    // Each change is written into the variables and announced through Nachher;
    // anything but OK restores the kept values, with I and U exchanged.
    void ChartsBearbeiten(const std::function<void()>& Nachher, TColor& Farbe_Chart, TColor& Farbe_T,
                          TColor& Farbe_I, TColor& Farbe_U, TColor& Farbe_rF, TRect& Rand,
                          bool& Zeitstempel, bool& XGeaendert);

    // 1 after OK; 2 after cancel, Escape or closing; 0 while open.
    int ModalResult() const { return result(); }

    // ---- Controls
    QLabel* Label1 = nullptr;
    QLabel* Label2 = nullptr;
    QLabel* Label3 = nullptr;
    QLabel* Label4 = nullptr;
    QLabel* Label5 = nullptr;
    QLabel* Label6 = nullptr;
    TJvOfficeColorButton* EdCol_I = nullptr;
    TJvOfficeColorButton* edCol_U = nullptr;
    TJvOfficeColorButton* EdCol_RF = nullptr;
    TJvOfficeColorButton* EdCol_Temp = nullptr;
    TJvOfficeColorButton* EdCol_Chart = nullptr;
    TdxSpinEdit* EDSTop = nullptr;
    TdxSpinEdit* EDSLeft = nullptr;
    TdxSpinEdit* EDSRight = nullptr;
    TdxSpinEdit* EDSBottom = nullptr;
    TdxCheckEdit* EDZT = nullptr;
    QPushButton* BitBtn1 = nullptr;
    QPushButton* BitBtn2 = nullptr;

    bool fGeaendert = false;
    bool fZeitGeaendert = false;

    // ---- Handlers
    void EdChange();
    void EDZTChange();
    void BitBtn1Click();
    void BitBtn2Click();

    // Escape and closing the window count as cancel.
    void reject() override;

private:
    void Zentrieren();
    bool fLaeuft = false; // the polling loop of ChartsBearbeiten is running
};

extern TFoSetupCharts* FoSetupCharts;
