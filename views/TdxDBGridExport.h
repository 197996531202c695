#pragma once
// Writes the rows of a data grid to a file: its visible columns in their order,
// as a BIFF4 worksheet or as separated text. The grid reads its dataset directly,
// so the export walks the dataset itself with the controls disabled and puts the
// cursor back afterwards, also when a row fails.

#include "dbcontrols/TdxDBGrid.h"
#include "frame/ZELBase.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QStringEncoder>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

// A file that cannot be made or written, and the worksheet's row limit.
class EdxGridExportError : public Exception {
public:
    using Exception::Exception;
};

// More rows than a sheet of the format ("XLS" or "XLSX") can number; nothing has been written.
class EdxGridExportRowLimit : public EdxGridExportError {
public:
    EdxGridExportRowLimit(int rows, int limit, const QString& format = QStringLiteral("XLS"));
    int Rows() const { return fRows; }

private:
    int fRows;
};

// Rows come from the dataset; the grid keeps no node tree, so a node is never passed.
class TdxDBGridNode;
class TFIBRowTexts;

class TdxDBGridExport {
public:
    TdxDBGridExport(TdxDBGrid* grid, const QString& fileName, bool saveAll);
    virtual ~TdxDBGridExport();
    TdxDBGridExport(const TdxDBGridExport&) = delete;
    TdxDBGridExport& operator=(const TdxDBGridExport&) = delete;

    QString FileName;
    TdxDBGrid* Grid;
    bool SaveAll;
    std::int32_t RowNumber = 0;
    // The file while the export runs; nullptr outside.
    QIODevice* Stream = nullptr;
    // Off: every row through the cursor, as for a dataset that offers nothing else.
    bool ReadCache = true;
    // Whether the last export read its rows without the cursor.
    bool CacheUsed() const { return fCacheUsed; }
    // Rows formatted at a time by one thread when the rows are read without the cursor.
    static constexpr int ChunkRows = 4096;
    // Threads that format the rows read without the cursor, this one included; 0 takes
    // one per core (at most four).
    int Threads = 0;

    virtual void Start() {}
    virtual void Finish() {}
    virtual void WriteHeader() {}
    virtual void WriteFooter() {}
    virtual void WriteRow(TdxDBGridNode* Node) = 0;
    // Creates the file (replacing one of that name only when complete), exports into it and closes it.
    virtual void Execute();
    // Refuses a closed dataset: a file of captions alone would pass for a run without rows.
    virtual void ExportTo(QIODevice* stream);

protected:
    void DoExportTo(QIODevice* stream);
    // Writes every row without the cursor; false when it cannot, nothing written then.
    // Once it knows it can, it says so by CacheTaken (also for a failure after).
    virtual bool WriteAllRows() { return false; }
    void CacheTaken() { fCacheUsed = true; }
    // Appends rows [first, last) of the cache to out, with the chunk's own encoder.
    // place: per column its place among the reader's fields, -1 for a column without a field.
    using TChunkFormat = std::function<void(const TFIBRowTexts& texts, const std::vector<int>& place, int first,
                                            int last, QByteArray& out, QStringEncoder& encoder)>;
    // Writes every row from the dataset's cache for the columns' fields: formatted in
    // chunks of ChunkRows on this and further threads, written in their order. false
    // when the dataset cannot give its rows so; nothing is written then.
    bool WriteCachedRows(const std::vector<const TField*>& columns, const TChunkFormat& format);
    // The system's reason for a failed file operation, where the device only knows "Unknown error".
    static QString SystemReason(const QString& deviceText);
    void Write(const char* data, qsizetype size);
    void Write(const QByteArray& data) { Write(data.constData(), data.size()); }
    // Hands what is buffered, then the block, to the stream without a copy.
    void WriteBlock(QByteArray block);
    // Hands the buffered bytes to the stream; raises when the stream refuses them.
    void Flush();

private:
    QByteArray fBuffer;
    bool fCacheUsed = false;
};

class TdxDBGridExportText : public TdxDBGridExport {
public:
    TdxDBGridExportText(TdxDBGrid* grid, const QString& fileName, bool saveAll, const QString& separator,
                        const QString& beginMark, const QString& endMark);

    QString Separator;
    QString BeginMark;
    QString EndMark;

    void Start() override;
    void WriteHeader() override;
    void WriteRow(TdxDBGridNode* Node) override;

protected:
    // A dataset that gives its cached rows' texts without the cursor (all rows, all
    // columns' fields covered) has them formatted in chunks by this and further threads.
    bool WriteAllRows() override;

private:
    void WriteLine(const QString& line);
    // One row's line with CR LF appended to out: plain ASCII as bytes, else encoded.
    void AppendLine(QByteArray& out, const std::vector<QString>& texts, QStringEncoder& encoder) const;
    std::vector<TdxDBGridColumn*> fColumns;
    std::vector<const TField*> fFields;   // per column, null where it has none
    QStringEncoder fEncoder;
    // One row's texts and its line's bytes, their room kept from row to row.
    std::vector<QString> fTexts;
    QByteArray fBytes;
};

class TdxDBGridExportExcel : public TdxDBGridExport {
public:
    TdxDBGridExportExcel(TdxDBGrid* grid, const QString& fileName, bool saveAll);

    // The grid's indexes of the visible columns, in their order, and their count.
    std::vector<int> VisibleColumns;
    int VisibleCount = 0;

    // Refuses before the file exists when the rows do not fit the sheet.
    void Execute() override;
    void Start() override;
    void Finish() override;
    void WriteHeader() override;
    void WriteRow(TdxDBGridNode* Node) override;

protected:
    // The cached rows' values and texts without the cursor, where the dataset gives them,
    // put into records in chunks on several threads as the text export does.
    bool WriteAllRows() override;

public:
    // Cell format of the first data column; the others follow one by one.
    static constexpr int FirstColumnXF = 29;
    static constexpr int HeaderXF = 22;
    static constexpr int BandXF = 26;
    // Sheet rows above the data: the band row when bands are shown, and the captions.
    static int HeaderRows(const TdxDBGrid& grid);
    // Data rows that fit below the header rows with 16-bit row numbers.
    static int MaxDataRows(const TdxDBGrid& grid) { return 65536 - HeaderRows(grid); }
    // Rows an export would write (fetches the rest of a fetching dataset).
    static int RowsToExport(TdxDBGrid& grid, bool saveAll);
    // Raises EdxGridExportRowLimit when they do not fit.
    static void CheckRowLimit(TdxDBGrid& grid, bool saveAll);

private:
    void Record(std::uint16_t type, const QByteArray& body) { Record(type, body.constData(), body.size()); }
    void Record(std::uint16_t type, const char* body, qsizetype size);
    void Label(int row, int column, int xf, const QString& text);
    // A text cell's record appended to out.
    static void PutLabel(QByteArray& out, int row, int column, int xf, const QString& text, QStringEncoder& encoder);
    // One row's cell records appended to out: valueOf(i, field) gives column i's value as
    // AsInteger and AsFloat read it, textOf(i, field) its display text.
    template <class TValueOf, class TTextOf>
    void PutCells(QByteArray& out, int rowNumber, QStringEncoder& encoder, const TValueOf& valueOf,
                  const TTextOf& textOf) const;
    std::vector<const TField*> fFields;   // per visible column, null where it has none
    int fHeaderRows = 1;
    QStringEncoder fEncoder;
    QByteArray fLabel;   // a row's or a caption's records, their room kept from one to the next
};

// The grid's exports, as the raw data window calls them.
void SaveToXLS(TdxDBGrid& grid, const QString& FileName, bool SaveAll);
void SaveToText(TdxDBGrid& grid, const QString& FileName, bool SaveAll, const QString& Separator,
                const QString& BeginMark, const QString& EndMark);
