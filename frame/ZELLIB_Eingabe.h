#pragma once
// The in-house library's small modal window for notes and questions: a note
// (ShowHinweis), a text (typed, or scanned by a barcode reader on a serial port),
// a number with unit and limits, or a choice from a list. Main thread only.
//
// Without a person at a screen (offscreen platform, no widget application) a note
// goes to standard error and the log instead of waiting for a click, and a question
// is answered with "cancel" unless a barcode reader can answer it.

#include "frame/CPort.h"
#include "frame/HTMLabel.h"
#include "frame/ZELCurrencyEdit.h"

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <memory>

class TFoEingabe : public QDialog {
public:
    explicit TFoEingabe(QWidget* parent = nullptr);
    ~TFoEingabe() override;

    THTMLabel* Label1;
    QLabel* Warnschild;
    TCurrencyEdit* ValEdit;
    QListWidget* Auswahlliste;
    QLineEdit* StrEdit;
    QPushButton* ESCBtn;
    QPushButton* OKBtn;
    TComPort* BCReader;

    bool FirstActivate = true;
    bool SecondKeyboard = false;
    double MinValue = 0, MaxValue = 0;
    int Decimals = 3;
    int PosX = 0, PosY = 0;
    QString UnitText;
    QString BarcodePort;
    QString BarcodeBuffer;

    // The question: line breaks become <BR>.
    void SetQuestion(const QString& text);
    // Lays the window out around its question and the visible edit, once.
    void FormActivate();
    // The paint-time work: keyboard for the visible edit, barcode reader on BarcodePort.
    void FormPaint();
    void ValEditChange();
    void BCReaderRxChar(TCustomComPort* Sender, int Count);
    // Keyboard away, reader off, no longer the current dialog.
    void FormClose();

    // The display format for decimals 0 to 6 with the unit behind each half; empty otherwise.
    static QString NumberFormat(int decimals, const QString& unit);

    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Enter and Escape act through the default and the cancel button alone.
    bool DialogKey(QKeyEvent* event);
    void ReportLater(const QString& text);

    int fOkRightGap = 0;
    QWidget* fKeyboardEdit = nullptr;   // the edit the paint-time work was last done for
    QString fFailedPort;                // a port that failed to open is not tried again on every paint
};

// The dialog now open, or none; the message window keeps it above itself.
extern TFoEingabe* CurrentEingabe;

// The forms of the entries below, built and ready to show; tests show and grab them.
std::unique_ptr<TFoEingabe> CreateHinweis(const QString& text);
std::unique_ptr<TFoEingabe> CreateTextQuery(const QString& question, const QString& value,
                                            const QString& barcodePort = {}, bool secondKeyboard = false);
std::unique_ptr<TFoEingabe> CreateValueQuery(const QString& question, double value, double minValue,
                                             double maxValue, int decimals, const QString& unitText);
std::unique_ptr<TFoEingabe> CreateChoiceQuery(const QString& question, const QStringList& items, int index);

// A modal note with the one button "Weiter".
void ShowHinweis(const QString& text);
// A text; with a barcode port a scan ending in CR LF fills it and confirms it after
// half a second. False on cancel.
bool EingabeText(const QString& question, QString& value, const QString& barcodePort = {},
                 bool secondKeyboard = false);
// A number in [minValue, maxValue] (both 0: no limit) shown with decimals and unit.
bool EingabeZahl(const QString& question, double& value, double minValue, double maxValue, int decimals,
                 const QString& unitText);
// A choice from the items; index is the row, -1 for none. A double click confirms.
bool EingabeAuswahl(const QString& question, const QStringList& items, int& index);
