#pragma once
// The program's main window: the evaluation window. It owns all evaluation state;
// here it takes its place in the start and end sequence of the program.

#include <QWidget>

class QFrame;
class QPushButton;

class TFOOrvexAuswertung : public QWidget {
    Q_OBJECT
public:
    explicit TFOOrvexAuswertung(QWidget* parent = nullptr);
    ~TFOOrvexAuswertung() override;

    // Regions, top to bottom and left to right.
    QFrame* Bedienpanel = nullptr;
    QFrame* KopfdatenPanel = nullptr;
    QFrame* Panel3 = nullptr;
    QFrame* ChartPanel = nullptr;
    QPushButton* BitBtn1 = nullptr;
    QPushButton* BtnRohdaten = nullptr;
    QPushButton* BtnRefresh = nullptr;

    bool fRefreshLaeuft = false;
    bool fErsterStart = true;
    bool fXAchseGeaendert = false;

    void FormCreate();
    void FormActivate();
    void FormKeyDown(int key);
    void BitBtn1Click();
    // The orderly end: everything goes down, then the window closes.
    void ProgrammBeenden();
    void FormCloseQuery(bool& canClose);
    void FormClose();

protected:
    bool event(QEvent* e) override;
    void showEvent(QShowEvent* e) override;
    void closeEvent(QCloseEvent* e) override;
    bool eventFilter(QObject* watched, QEvent* e) override;
};

extern TFOOrvexAuswertung* FOOrvexAuswertung;
