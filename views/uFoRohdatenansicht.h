#pragma once
// The raw rows of the chosen run in a grid on the measurement source, with a
// navigator, a refresh, and the exports to a worksheet and to separated text
// into a folder per run under Datapath; with the key "XlsxExport" also to a
// current workbook.

#include <QDialog>
#include <QString>
#include <functional>

class QFrame;
class QPushButton;
class TdxDBGrid;
class TdxDBGridColumn;
class TdxDBGridMaskColumn;
class TdxDBGridDateColumn;
class TdxDBGridCurrencyColumn;
class TSMDBNavigator;

// The file dialog of the exports: a proposed folder and name, the chosen name after.
class TSaveDialog {
public:
    QString Title;
    QString InitialDir;
    QString FileName;
    QString Filter;
    // Runs the dialog; false when the user cancels. A set Runner answers in its
    // place (tests have no one to click).
    bool Execute(QWidget* parent);
    std::function<bool(TSaveDialog& dialog)> Runner;
};

class TFoRohdatenansicht : public QDialog {
public:
    explicit TFoRohdatenansicht(QWidget* parent = nullptr);
    ~TFoRohdatenansicht() override;

    QFrame* Panel1 = nullptr;
    QPushButton* BitBtn1 = nullptr;
    TSMDBNavigator* SMDBNavigator1 = nullptr;
    QPushButton* BitBtn4 = nullptr;
    QPushButton* BitBtn7 = nullptr;
    QPushButton* BitBtn2 = nullptr;
    // "XLSX Export": shown when key "XlsxExport" of section "Auswertung" is on.
    QPushButton* BtnXlsx = nullptr;
    TdxDBGrid* Rohdatengrid = nullptr;
    TdxDBGridMaskColumn* RohdatengridAUFTRAGKEY = nullptr;
    TdxDBGridDateColumn* RohdatengridZEITPUNKT = nullptr;
    TdxDBGridMaskColumn* RohdatengridSATZNR = nullptr;
    TdxDBGridCurrencyColumn* RohdatengridZEIT_STD = nullptr;
    TdxDBGridMaskColumn* RohdatengridEREIGNIS = nullptr;
    TdxDBGridMaskColumn* RohdatengridFEHLER = nullptr;
    TdxDBGridColumn* RohdatengridSTATUS = nullptr;
    TdxDBGridCurrencyColumn* RohdatengridT = nullptr;
    TdxDBGridCurrencyColumn* RohdatengridRF = nullptr;
    TdxDBGridCurrencyColumn* RohdatengridU = nullptr;
    TdxDBGridCurrencyColumn* RohdatengridI[10] = {};   // 1..9 used
    TSaveDialog SaveDialog_Rohdaten;

    // The raw table's file formats.
    enum class TExportArt { Csv, Xls, Xlsx };

    // Writes the run's rows into the named file, as the export buttons do after their
    // dialog: refuses without open rows and, for the worksheet, a run too long for it.
    // Also the road of the screen-free command line.
    void ExportSchreiben(TExportArt art, const QString& Dateiname);

    // Binds grid and navigator to the data module's measurement source; called once the module exists.
    void DatenquellenZuordnen();

    void FormActivate();
    void BitBtn1Click();
    void BitBtn4Click();
    void BitBtn7Click();
    void BitBtn2Click();
    void BtnXlsxClick();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void Exportieren(TExportArt art);
    void ExportPruefen(TExportArt art);
    void ExportDatei(TExportArt art, const QString& Dateiname);
};

extern TFoRohdatenansicht* FoRohdatenansicht;
