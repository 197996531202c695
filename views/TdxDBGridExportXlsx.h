#pragma once
// The grid's rows as a current spreadsheet workbook (.xlsx), for runs longer than
// the worksheet format takes: the visible columns in their order with their
// captions, the band row, numbers as numbers in the number formats the grid shows
// them with, dates as dates. Written by the format's library row by row (little
// memory for a million rows) into a file beside the target that takes its name
// only when complete.

#include "views/TdxDBGridExport.h"

#include <QString>
#include <vector>

struct lxw_workbook;
struct lxw_worksheet;
struct lxw_format;

// The number pattern of a display format ("0", "#", ".", "," for thousands, quoted
// literals, sections) as a spreadsheet writes it; empty for none.
QString XlsxZahlenformat(const QString& displayFormat);
// A date display format ("dd.mm.yyyy hh:nn:ss") as a spreadsheet writes it.
QString XlsxDatumsformat(const QString& displayFormat);

// Whether the file is a whole zip archive: the library does not report every
// write the system refused, a cut-off file does not end in the archive's directory.
bool ArchivVollstaendig(const QString& path);

class TdxDBGridExportXlsx : public TdxDBGridExport {
public:
    TdxDBGridExportXlsx(TdxDBGrid* grid, const QString& fileName, bool saveAll);
    ~TdxDBGridExportXlsx() override;

    // Sheet rows below the header rows: 1,048,576 in all.
    static int MaxDataRows(const TdxDBGrid& grid);
    // Raises EdxGridExportRowLimit (naming this format) when the rows do not fit.
    static void CheckRowLimit(TdxDBGrid& grid, bool saveAll);

    // Refuses before the file exists when the rows do not fit the sheet.
    void Execute() override;
    void Start() override;
    void Finish() override;
    void WriteHeader() override;
    void WriteRow(TdxDBGridNode* Node) override;

private:
    enum class TArt { Zahl, Datum, Text };
    struct TSpalte {
        TdxDBGridColumn* Spalte;
        TArt Art;
        lxw_format* Format;
    };
    void Pruefen(int fehler, const QString& was) const;
    void Schliessen();
    QString fTemp;
    lxw_workbook* fMappe = nullptr;
    lxw_worksheet* fBlatt = nullptr;
    std::vector<TSpalte> fSpalten;
    int fHeaderRows = 1;
};

void SaveToXLSX(TdxDBGrid& grid, const QString& FileName, bool SaveAll);
