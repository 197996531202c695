#include "views/TdxDBGridExport.h"

#include "dbaccess/FIBDataSet.h"

#include <QLocale>
#include <QSaveFile>
#include <QThread>
#include <QtEndian>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace {
constexpr qsizetype FlushSize = 1 << 16;

// The rows to write: all of them, or the grid's selected rows (0-based).
bool ExportsAllRows(const TdxDBGrid& grid, bool saveAll)
{
    return saveAll || grid.SelectedRows().empty();
}

// Back on the row of before, controls enabled again.
void RestorePosition(TDataSet* ds, const TBookmark& bookmark)
{
    try {
        if (ds->Active() && !bookmark.isEmpty() && ds->BookmarkValid(bookmark))
            ds->GotoBookmark(bookmark);
    } catch (...) {
        ds->EnableControls();
        throw;
    }
    ds->EnableControls();
}

void Put16(QByteArray& b, std::uint16_t v)
{
    b.append(static_cast<char>(v & 0xFF));
    b.append(static_cast<char>(v >> 8));
}

// Appends text as bytes while it is plain ASCII, the same bytes in Windows-1252;
// false at the first other character (out then holds part of the text).
bool AppendAscii(QByteArray& out, QStringView text)
{
    const qsizetype at = out.size();
    out.resize(at + text.size());
    char* to = out.data() + at;
    const char16_t* from = text.utf16();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (from[i] >= 0x80)
            return false;
        to[i] = static_cast<char>(from[i]);
    }
    return true;
}

void Store16(char* at, std::uint16_t v)
{
    at[0] = static_cast<char>(v & 0xFF);
    at[1] = static_cast<char>(v >> 8);
}

void Store32(char* at, std::uint32_t v)
{
    Store16(at, static_cast<std::uint16_t>(v & 0xFFFF));
    Store16(at + 2, static_cast<std::uint16_t>(v >> 16));
}

void Put32(QByteArray& b, std::uint32_t v)
{
    Put16(b, static_cast<std::uint16_t>(v & 0xFFFF));
    Put16(b, static_cast<std::uint16_t>(v >> 16));
}

QByteArray Bytes(std::initializer_list<int> bytes)
{
    QByteArray b;
    for (int v : bytes)
        b.append(static_cast<char>(v));
    return b;
}

// The grid's look as palette entries 8 onwards.
enum TPaletteEntry {
    palText, palWindow, palPreview, palHeader, palBand, palGridLine, palHighlight,
    palHighlightText, palGroup, palFooter, palShadow, palRed, palInfo, palCount
};
constexpr int ColourIndex(TPaletteEntry e) { return 8 + e; }
constexpr int SystemWindowText = 24;
constexpr int SystemWindow = 25;

// Font numbers as a reader counts them: index 4 does not exist in this format.
constexpr int FontContent = 5, FontHeader = 6, FontBand = 7, FontPreview = 8, FontGroup = 9, FontFooter = 10;

enum THorz { hGeneral = 0, hLeft = 1, hCentre = 2, hRight = 3 };

// One BIFF4 XF body. Style XFs have no parent; cell XFs take the Normal style (0).
QByteArray XF(int font, bool style, THorz horz, int patternColour, int backColour, bool solid, bool borders)
{
    QByteArray b;
    b.append(static_cast<char>(font));
    b.append('\0');   // number format: General
    Put16(b, style ? 0xFFF5 : 0x0001);
    b.append(static_cast<char>(horz | (2 << 4)));   // vertically at the bottom
    b.append(static_cast<char>(style ? 0x00 : 0xF8));
    Put16(b, static_cast<std::uint16_t>((solid ? 1 : 0) | (patternColour << 6) | (backColour << 11)));
    std::uint32_t border = 0;
    if (borders) {
        const std::uint32_t thin = 1, colour = ColourIndex(palGridLine);
        const std::uint32_t line = thin | (colour << 3);
        border = line | (line << 8) | (line << 16) | (line << 24);
    }
    Put32(b, border);
    return b;
}

bool IsRkType(TFieldType t)
{
    return t == ftSmallint || t == ftInteger || t == ftWord || t == ftAutoInc;
}

bool IsNumberType(TFieldType t)
{
    return t == ftFloat || t == ftCurrency || t == ftBCD;
}
}

namespace {
// The worksheet sends long runs to the workbook, which takes about a million rows;
// the workbook to the text file, which takes them all.
QString ZeilenGrenzeText(int rows, int limit, const QString& format)
{
    const QLocale de(QLocale::German);
    const QString weg = format == QLatin1String("XLS")
                            ? QStringLiteral("Bitte den XLSX-Export verwenden, er nimmt über eine Million Zeilen auf, "
                                             "oder den CSV-Export, er nimmt alle Zeilen auf.")
                            : QStringLiteral("Bitte den CSV-Export verwenden, er nimmt alle Zeilen auf.");
    return QStringLiteral("Der Versuch hat %1 Datenzeilen. Ein %2-Arbeitsblatt fasst höchstens %3 Datenzeilen, "
                          "deshalb wurde keine Datei geschrieben.<br>%4")
        .arg(de.toString(rows), format, de.toString(limit), weg);
}
}

EdxGridExportRowLimit::EdxGridExportRowLimit(int rows, int limit, const QString& format)
    : EdxGridExportError(ZeilenGrenzeText(rows, limit, format)), fRows(rows)
{
}

// ---------------------------------------------------------------- base

TdxDBGridExport::TdxDBGridExport(TdxDBGrid* grid, const QString& fileName, bool saveAll)
    : FileName(fileName), Grid(grid), SaveAll(saveAll)
{
}

TdxDBGridExport::~TdxDBGridExport() = default;

void TdxDBGridExport::Execute()
{
    // The rows go into a temporary file beside the target, which takes its name only
    // once it is complete: a full disk or a lost connection leaves no half file, and
    // a file of that name from before stays as it was.
    QSaveFile file(FileName);
    file.setDirectWriteFallback(false);
    errno = 0;
    if (!file.open(QIODevice::WriteOnly))
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht erzeugt werden: %2")
                                     .arg(FileName, SystemReason(file.errorString())));
    ExportTo(&file);   // a failure here discards the temporary file with the object
    errno = 0;
    if (!file.commit())
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden: %2")
                                     .arg(FileName, SystemReason(file.errorString())));
}

QString TdxDBGridExport::SystemReason(const QString& deviceText)
{
    // The device's own text is "Unknown error" for a write the system refused; the
    // system's reason is what the user can act on ("No space left on device").
    const int code = errno;
    if (code != 0 && (deviceText.isEmpty() || deviceText == QLatin1String("Unknown error")))
        return QString::fromLocal8Bit(std::strerror(code));
    return deviceText;
}

void TdxDBGridExport::ExportTo(QIODevice* stream)
{
    TDataSet* ds = Grid ? Grid->DataSet() : nullptr;
    if (Grid && Grid->DataSource() && ds && !ds->Active())
        throw EdxGridExportError(QStringLiteral("Es sind keine Messdaten geöffnet: der letzte Ladevorgang ist "
                                                "fehlgeschlagen oder die Verbindung zur Datenbank ist verloren. "
                                                "Die Datei \"%1\" wird nicht erstellt.")
                                     .arg(FileName));
    DoExportTo(stream);
}

void TdxDBGridExport::DoExportTo(QIODevice* stream)
{
    TDataSet* ds = Grid ? Grid->DataSet() : nullptr;
    if (!Grid || !Grid->DataSource() || !ds)
        return;
    const bool all = ExportsAllRows(*Grid, SaveAll);
    const std::vector<int> selected = all ? std::vector<int>{} : Grid->SelectedRows();
    Stream = stream;
    fBuffer.clear();
    fCacheUsed = false;
    struct TStreamReset {
        TdxDBGridExport* e;
        ~TStreamReset()
        {
            e->Stream = nullptr;
            e->fBuffer.clear();
        }
    } streamReset{this};

    // Direct mode: the dataset itself is walked, unseen by its controls.
    ds->DisableControls();
    const TBookmark position = ds->Active() && !ds->IsEmpty() ? ds->GetBookmark() : TBookmark();
    try {
        Start();
        RowNumber = 0;
        WriteHeader();
        if (ds->Active()) {
            if (all) {
                if (!ReadCache || !WriteAllRows())
                    for (ds->First(); !ds->Eof(); ds->Next()) {
                        WriteRow(nullptr);
                        ++RowNumber;
                    }
            } else {
                for (int row : selected) {
                    ds->SetRecNo(row + 1);
                    WriteRow(nullptr);
                    ++RowNumber;
                }
            }
        }
        WriteFooter();
        Finish();
        Flush();
    } catch (...) {
        // The failure that passes is the one of the rows, not one of putting things back.
        try {
            RestorePosition(ds, position);
        } catch (...) {
            // Dropped for the failure of the rows, rethrown below.
        }
        throw;
    }
    RestorePosition(ds, position);
}

void TdxDBGridExport::Write(const char* data, qsizetype size)
{
    fBuffer.append(data, size);
    if (fBuffer.size() >= FlushSize)
        Flush();
}

void TdxDBGridExport::WriteBlock(QByteArray block)
{
    Flush();
    fBuffer = std::move(block);
    Flush();
}

void TdxDBGridExport::Flush()
{
    if (fBuffer.isEmpty() || !Stream)
        return;
    errno = 0;
    if (Stream->write(fBuffer) != fBuffer.size())
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden: %2")
                                     .arg(FileName, SystemReason(Stream->errorString())));
    fBuffer.clear();
}

// ---------------------------------------------------------------- text

TdxDBGridExportText::TdxDBGridExportText(TdxDBGrid* grid, const QString& fileName, bool saveAll,
                                         const QString& separator, const QString& beginMark, const QString& endMark)
    : TdxDBGridExport(grid, fileName, saveAll), Separator(separator), BeginMark(beginMark), EndMark(endMark),
      fEncoder("windows-1252")
{
}

void TdxDBGridExportText::Start()
{
    if (!fEncoder.isValid())
        throw EdxGridExportError(QStringLiteral("Die Zeichenkodierung Windows-1252 ist nicht verfügbar."));
    fColumns = Grid->VisibleColumns();
    fFields.clear();
    for (const TdxDBGridColumn* c : fColumns)
        fFields.push_back(c->Field());
}

void TdxDBGridExportText::WriteLine(const QString& line)
{
    Write(fEncoder.encode(line));
    Write("\r\n", 2);
}

void TdxDBGridExportText::WriteHeader()
{
    QString line;
    for (std::size_t i = 0; i < fColumns.size(); ++i) {
        if (i > 0)
            line += Separator;
        line += fColumns[i]->DisplayCaption();
    }
    WriteLine(line);
    WriteLine(QString());
}

void TdxDBGridExportText::AppendLine(QByteArray& out, const std::vector<QString>& texts,
                                     QStringEncoder& encoder) const
{
    // Rows of numbers are plain ASCII: their texts go straight into the line's bytes,
    // room for the whole line made once, and only a row with other characters is
    // joined and encoded.
    const qsizetype at = out.size();
    const std::size_t count = texts.size();
    qsizetype length = 2;
    for (const QString& t : texts)
        length += t.size();
    if (count > 0)
        length += static_cast<qsizetype>(count - 1) * Separator.size() +
                  static_cast<qsizetype>(count) * (BeginMark.size() + EndMark.size());
    out.resize(at + length);
    char* to = out.data() + at;
    char16_t high = 0;
    const auto put = [&to, &high](QStringView text) {
        const char16_t* from = text.utf16();
        for (qsizetype i = 0, n = text.size(); i < n; ++i) {
            high |= from[i];
            *to++ = static_cast<char>(from[i]);
        }
    };
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0)
            put(Separator);
        put(BeginMark);
        put(texts[i]);
        put(EndMark);
    }
    *to++ = '\r';
    *to++ = '\n';
    if (high < 0x80)
        return;
    out.truncate(at);
    QString line;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0)
            line += Separator;
        line += BeginMark + texts[i] + EndMark;
    }
    out.append(encoder.encode(line));
    out.append("\r\n", 2);
}

void TdxDBGridExportText::WriteRow(TdxDBGridNode*)
{
    const std::size_t count = fFields.size();
    fTexts.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        fTexts[i] = fFields[i] ? fFields[i]->DisplayText() : QString();
    fBytes.resize(0);
    AppendLine(fBytes, fTexts, fEncoder);
    Write(fBytes);
}

namespace {
// Chunks formatted by several threads and handed to the writer in their order. A
// thread claims the next chunk only while it lies within the window ahead of the one
// being written, so that memory stays bounded; the writing thread formats chunks itself
// while it waits. A chunk's failure is raised when its turn to be written comes, so the
// first failing row of the file is the one reported, as with the cursor.
class TChunkPipeline {
public:
    using TFormat = std::function<void(int chunk, QByteArray& out)>;
    TChunkPipeline(int chunks, const TFormat& format) : fChunks(chunks), fFormat(format), fSlots(Window) {}
    TChunkPipeline(const TChunkPipeline&) = delete;
    TChunkPipeline& operator=(const TChunkPipeline&) = delete;
    ~TChunkPipeline()
    {
        {
            const std::lock_guard lock(fMutex);
            fStop = true;
        }
        fChanged.notify_all();
        for (std::thread& t : fThreads)
            t.join();
    }

    void Run(int helpers, const std::function<void(QByteArray)>& write)
    {
        for (int i = 0; i < helpers; ++i)
            fThreads.emplace_back([this] {
                for (;;) {
                    int chunk;
                    {
                        std::unique_lock lock(fMutex);
                        chunk = Claim(lock, true);
                    }
                    if (chunk < 0)
                        return;
                    Format(chunk);
                }
            });
        for (int chunk = 0; chunk < fChunks; ++chunk) {
            std::unique_lock lock(fMutex);
            TSlot& slot = fSlots[static_cast<std::size_t>(chunk % Window)];
            while (!slot.Ready) {
                if (const int own = Claim(lock, false); own >= 0) {
                    lock.unlock();
                    Format(own);
                    lock.lock();
                } else {
                    fChanged.wait(lock);
                }
            }
            QByteArray bytes = std::move(slot.Bytes);
            const std::exception_ptr error = slot.Error;
            slot = TSlot();
            ++fWritten;
            lock.unlock();
            fChanged.notify_all();
            if (error)
                std::rethrow_exception(error);
            write(std::move(bytes));
        }
    }

private:
    static constexpr int Window = 8;
    struct TSlot {
        QByteArray Bytes;
        std::exception_ptr Error;
        bool Ready = false;
    };

    // The next chunk to format; -1 when there is none left (or the work stops), and
    // without waiting -1 also while the window is full.
    int Claim(std::unique_lock<std::mutex>& lock, bool wait)
    {
        for (;;) {
            if (fStop || fNext >= fChunks)
                return -1;
            if (fNext < fWritten + Window)
                return fNext++;
            if (!wait)
                return -1;
            fChanged.wait(lock);
        }
    }

    void Format(int chunk)
    {
        QByteArray bytes;
        std::exception_ptr error;
        try {
            fFormat(chunk, bytes);
        } catch (...) {
            error = std::current_exception();
        }
        {
            const std::lock_guard lock(fMutex);
            TSlot& slot = fSlots[static_cast<std::size_t>(chunk % Window)];
            slot.Bytes = std::move(bytes);
            slot.Error = error;
            slot.Ready = true;
        }
        fChanged.notify_all();
    }

    const int fChunks;
    const TFormat& fFormat;
    std::vector<TSlot> fSlots;
    std::vector<std::thread> fThreads;
    std::mutex fMutex;
    std::condition_variable fChanged;
    int fNext = 0;
    int fWritten = 0;
    bool fStop = false;
};
}

bool TdxDBGridExport::WriteCachedRows(const std::vector<const TField*>& columns, const TChunkFormat& format)
{
    auto* fib = dynamic_cast<const TFIBCustomDataSet*>(Grid->DataSet());
    if (!fib)
        return false;
    std::vector<const TField*> fields;
    std::vector<int> place;
    for (const TField* f : columns) {
        place.push_back(f ? static_cast<int>(fields.size()) : -1);
        if (f)
            fields.push_back(f);
    }
    const std::unique_ptr<TFIBRowTexts> texts = fib->RowTexts(fields);
    if (!texts)
        return false;
    CacheTaken();
    const int rows = texts->RowCount();
    const int chunks = (rows + ChunkRows - 1) / ChunkRows;
    // Each thread has its own encoder; the dataset and fields are only read.
    const TChunkPipeline::TFormat chunk = [&](int k, QByteArray& out) {
        QStringEncoder encoder("windows-1252");
        format(*texts, place, k * ChunkRows, std::min(rows, (k + 1) * ChunkRows), out, encoder);
    };
    const int threads = Threads > 0 ? Threads : std::clamp(QThread::idealThreadCount(), 1, 4);
    TChunkPipeline pipeline(chunks, chunk);
    pipeline.Run(std::min(threads, chunks) - 1, [this](QByteArray block) { WriteBlock(std::move(block)); });
    RowNumber = rows;
    return true;
}

bool TdxDBGridExportText::WriteAllRows()
{
    // Columns without a field stay empty, as WriteRow leaves them.
    return WriteCachedRows(fFields, [this](const TFIBRowTexts& texts, const std::vector<int>& place, int first,
                                           int last, QByteArray& out, QStringEncoder& encoder) {
        std::vector<QString> line(place.size());
        out.reserve(static_cast<qsizetype>(last - first) * 160);
        for (int pos = first; pos < last; ++pos) {
            for (std::size_t k = 0; k < place.size(); ++k)
                line[k] = place[k] >= 0 ? texts.Text(pos, place[k]) : QString();
            AppendLine(out, line, encoder);
        }
    });
}

// ---------------------------------------------------------------- worksheet

TdxDBGridExportExcel::TdxDBGridExportExcel(TdxDBGrid* grid, const QString& fileName, bool saveAll)
    : TdxDBGridExport(grid, fileName, saveAll), fEncoder("windows-1252")
{
}

int TdxDBGridExportExcel::HeaderRows(const TdxDBGrid& grid)
{
    return grid.ShowBands() ? 2 : 1;
}

int TdxDBGridExportExcel::RowsToExport(TdxDBGrid& grid, bool saveAll)
{
    TDataSet* ds = grid.DataSet();
    if (!grid.DataSource() || !ds || !ds->Active())
        return 0;
    if (!ExportsAllRows(grid, saveAll))
        return static_cast<int>(grid.SelectedRows().size());
    if (auto* fib = dynamic_cast<TFIBCustomDataSet*>(ds); fib && !fib->AllFetched()) {
        const TControlsDisabled quiet(ds);
        fib->FetchAll();
    }
    return ds->RecordCount();
}

void TdxDBGridExportExcel::CheckRowLimit(TdxDBGrid& grid, bool saveAll)
{
    const int rows = RowsToExport(grid, saveAll);
    if (rows > MaxDataRows(grid))
        throw EdxGridExportRowLimit(rows, MaxDataRows(grid));
}

void TdxDBGridExportExcel::Execute()
{
    CheckRowLimit(*Grid, SaveAll);
    TdxDBGridExport::Execute();
}

void TdxDBGridExportExcel::Record(std::uint16_t type, const char* body, qsizetype size)
{
    char head[4];
    Store16(head, type);
    Store16(head + 2, static_cast<std::uint16_t>(size));
    Write(head, 4);
    Write(body, size);
}

void TdxDBGridExportExcel::Label(int row, int column, int xf, const QString& text)
{
    fLabel.resize(0);
    PutLabel(fLabel, row, column, xf, text, fEncoder);
    Write(fLabel);
}

void TdxDBGridExportExcel::PutLabel(QByteArray& out, int row, int column, int xf, const QString& text,
                                    QStringEncoder& encoder)
{
    // A cell holds at most 255 characters in this format. The text goes behind the
    // record's head, which takes its length once known.
    const qsizetype at = out.size();
    out.resize(at + 12);
    if (!AppendAscii(out, text)) {
        out.truncate(at + 12);
        out.append(encoder.encode(text));
    }
    const auto length = static_cast<std::uint16_t>(std::min<qsizetype>(out.size() - at - 12, 255));
    out.truncate(at + 12 + length);
    char* b = out.data() + at;
    Store16(b, 0x0204);
    Store16(b + 2, static_cast<std::uint16_t>(8 + length));
    Store16(b + 4, static_cast<std::uint16_t>(row));
    Store16(b + 6, static_cast<std::uint16_t>(column));
    Store16(b + 8, static_cast<std::uint16_t>(xf));
    Store16(b + 10, length);
}

void TdxDBGridExportExcel::Start()
{
    if (!fEncoder.isValid())
        throw EdxGridExportError(QStringLiteral("Die Zeichenkodierung Windows-1252 ist nicht verfügbar."));
    VisibleColumns.clear();
    for (int i = 0; i < Grid->ColumnCount(); ++i)
        if (Grid->Columns(i)->Visible())
            VisibleColumns.push_back(i);
    VisibleCount = static_cast<int>(VisibleColumns.size());
    fFields.clear();
    for (int c : VisibleColumns)
        fFields.push_back(Grid->Columns(c)->Field());
    fHeaderRows = HeaderRows(*Grid);

    Write(Bytes({0x09, 0x04, 0x06, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00}));   // BOF, worksheet
    Write(Bytes({0x80, 0x00, 0x08, 0x00, 0, 0, 0, 0, 0, 0, 0, 0}));                  // GUTS

    // PALETTE: the grid's colours.
    const QPalette& pal = Grid->palette();
    QColor colours[palCount] = {pal.color(QPalette::Text),        pal.color(QPalette::Base),
                                QColor(0x00, 0x00, 0x80),         pal.color(QPalette::Button),
                                pal.color(QPalette::Mid),         QColor(0xC0, 0xC0, 0xC0),
                                pal.color(QPalette::Highlight),   pal.color(QPalette::HighlightedText),
                                QColor(0xE0, 0xE0, 0xE0),         pal.color(QPalette::Button),
                                pal.color(QPalette::Dark),        QColor(0xFF, 0x00, 0x00),
                                QColor(0xFF, 0xFF, 0xE1)};
    QByteArray palette;
    Put16(palette, palCount);
    for (const QColor& c : colours) {
        palette.append(static_cast<char>(c.red()));
        palette.append(static_cast<char>(c.green()));
        palette.append(static_cast<char>(c.blue()));
        palette.append('\0');
    }
    Record(0x0092, palette);

    // Four default fonts, Arial 10 point.
    for (int i = 0; i < 4; ++i)
        Write(Bytes({0x31, 0x02, 0x0C, 0x00, 0xC8, 0x00, 0x00, 0x00, 0xFF, 0x7F, 0x05, 'A', 'r', 'i', 'a', 'l'}));
    // Six from the grid: content, header, band, preview, group, footer.
    const QFont& base = Grid->font();
    QFont header = Grid->horizontalHeader()->font();
    header.setBold(true);
    QFont band = header;
    QFont preview = base;
    preview.setItalic(true);
    const std::pair<QFont, int> fonts[] = {{base, 8}, {header, 8}, {band, 8}, {preview, 10}, {base, 0}, {base, 8}};
    for (const auto& [font, colour] : fonts) {
        const QByteArray name = QByteArray(fEncoder.encode(font.family())).left(255);
        const double points = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
        QByteArray b;
        Put16(b, static_cast<std::uint16_t>(points * 20 + 0.5));
        Put16(b, static_cast<std::uint16_t>((font.bold() ? 0x01 : 0) | (font.italic() ? 0x02 : 0) |
                                            (font.underline() ? 0x04 : 0) | (font.strikeOut() ? 0x08 : 0)));
        Put16(b, static_cast<std::uint16_t>(colour));
        b.append(static_cast<char>(name.size()));
        b.append(name);
        Record(0x0231, b);
    }

    // Sixteen fixed formats: the Normal style, fifteen more styles, the default cell.
    for (int i = 0; i < 15; ++i)
        Record(0x0443, XF(0, true, hGeneral, SystemWindowText, SystemWindow, false, false));
    Record(0x0443, XF(0, false, hGeneral, SystemWindowText, SystemWindow, false, false));
    // The grid's styles, 16 to 28.
    const struct {
        int font;
        THorz horz;
        TPaletteEntry back;
    } styles[13] = {
        {FontContent, hGeneral, palWindow},   // 16 content
        {FontContent, hGeneral, palHighlight},// 17 selected row
        {FontGroup, hLeft, palGroup},         // 18 group row
        {FontPreview, hLeft, palWindow},      // 19 preview
        {FontFooter, hRight, palFooter},      // 20 footer panel
        {FontFooter, hRight, palFooter},      // 21 footer cell
        {FontHeader, hLeft, palHeader},       // 22 column captions
        {FontHeader, hLeft, palHeader},       // 23 caption of the sorted column
        {FontContent, hCentre, palHeader},    // 24 row indicator
        {FontBand, hCentre, palBand},         // 25 band panel
        {FontBand, hCentre, palHeader},       // 26 band captions
        {FontContent, hLeft, palGroup},       // 27 group panel
        {FontContent, hGeneral, palInfo},     // 28 hint cells
    };
    for (const auto& s : styles)
        Record(0x0443, XF(s.font, false, s.horz, ColourIndex(s.back), ColourIndex(s.back), true, true));
    // One per exported column, aligned as the column shows its cells.
    for (int c : VisibleColumns) {
        const Qt::Alignment a = Grid->Columns(c)->CellAlignment();
        const THorz horz = (a & Qt::AlignRight) ? hRight : ((a & Qt::AlignHCenter) ? hCentre : hLeft);
        Record(0x0443, XF(FontContent, false, horz, ColourIndex(palWindow), ColourIndex(palWindow), true, true));
    }

    // COLINFO: widths in 1/256 of a character of about seven pixels.
    for (int i = 0; i < VisibleCount; ++i) {
        const TdxDBGridColumn* col = Grid->Columns(VisibleColumns[static_cast<std::size_t>(i)]);
        const int pixels = std::max(col->Width(), col->MinWidth());
        QByteArray b;
        Put16(b, static_cast<std::uint16_t>(i));
        Put16(b, static_cast<std::uint16_t>(i));
        Put16(b, static_cast<std::uint16_t>(std::min(pixels * 256 / 7, 0xFFFF)));
        Put16(b, 15);
        Put16(b, 0);
        Put16(b, 0);
        Record(0x007D, b);
    }
    Write(Bytes({0x00, 0x02, 0x0A, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00}));   // DIMENSIONS
}

void TdxDBGridExportExcel::WriteHeader()
{
    int row = 0;
    if (Grid->ShowBands()) {
        // One band over every column: its caption stands above the first.
        if (VisibleCount > 0)
            Label(row, 0, BandXF, Grid->BandCaption());
        ++row;
    }
    for (int i = 0; i < VisibleCount; ++i)
        Label(row, i, HeaderXF, Grid->Columns(VisibleColumns[static_cast<std::size_t>(i)])->DisplayCaption());
}

template <class TValueOf, class TTextOf>
void TdxDBGridExportExcel::PutCells(QByteArray& out, int rowNumber, QStringEncoder& encoder, const TValueOf& valueOf,
                                    const TTextOf& textOf) const
{
    const int row = fHeaderRows + rowNumber;
    if (row > 0xFFFF)
        throw EdxGridExportRowLimit(rowNumber + 1, MaxDataRows(*Grid));
    for (int i = 0; i < VisibleCount; ++i) {
        const TField* f = fFields[static_cast<std::size_t>(i)];
        const int xf = FirstColumnXF + i;
        if (!f) {
            PutLabel(out, row, i, xf, QString(), encoder);
            continue;
        }
        const TFieldType type = f->DataType();
        // Cells by the hundred thousand: each record put together on the stack.
        char b[18];
        Store16(b + 4, static_cast<std::uint16_t>(row));
        Store16(b + 6, static_cast<std::uint16_t>(i));
        Store16(b + 8, static_cast<std::uint16_t>(xf));
        if (IsRkType(type)) {
            Store16(b, 0x027E);
            Store16(b + 2, 10);
            Store32(b + 10, static_cast<std::uint32_t>(static_cast<int>(valueOf(i, f).Integer)) * 4u + 2u);
            out.append(b, 14);
        } else if (IsNumberType(type)) {
            const TFieldValue value = valueOf(i, f);
            const double v = value.IsNull ? 0.0 : value.Float;
            std::uint64_t bits;
            std::memcpy(&bits, &v, sizeof bits);
            Store16(b, 0x0203);
            Store16(b + 2, 14);
            Store32(b + 10, static_cast<std::uint32_t>(bits & 0xFFFFFFFFu));
            Store32(b + 14, static_cast<std::uint32_t>(bits >> 32));
            out.append(b, 18);
        } else {
            PutLabel(out, row, i, xf, textOf(i, f), encoder);
        }
    }
}

void TdxDBGridExportExcel::WriteRow(TdxDBGridNode*)
{
    // Through the cursor: the numbers as the fields' AsInteger and AsFloat give them.
    fLabel.resize(0);
    PutCells(
        fLabel, RowNumber, fEncoder,
        [](int, const TField* f) {
            TFieldValue v;
            if (IsRkType(f->DataType())) {
                v.Integer = f->AsInteger();
            } else {
                v.IsNull = f->IsNull();
                v.Float = v.IsNull ? 0.0 : f->AsFloat();
            }
            return v;
        },
        [](int, const TField* f) { return f->DisplayText(); });
    Write(fLabel);
}

bool TdxDBGridExportExcel::WriteAllRows()
{
    // A number rounded by its scale reads otherwise than it is stored.
    for (const TField* f : fFields)
        if (const auto* number = dynamic_cast<const TFIBFloatField*>(f); number && number->RoundByScale)
            return false;
    return WriteCachedRows(fFields, [this](const TFIBRowTexts& texts, const std::vector<int>& place, int first,
                                           int last, QByteArray& out, QStringEncoder& encoder) {
        out.reserve(static_cast<qsizetype>(last - first) * 16 * VisibleCount);
        const auto index = [&place](int i) { return place[static_cast<std::size_t>(i)]; };
        for (int pos = first; pos < last; ++pos)
            PutCells(
                out, pos, encoder, [&](int i, const TField*) { return texts.Value(pos, index(i)); },
                [&](int i, const TField*) { return texts.Text(pos, index(i)); });
    });
}

void TdxDBGridExportExcel::Finish()
{
    Write(Bytes({0x0A, 0x00, 0x00, 0x00}));   // EOF
}

// ---------------------------------------------------------------- the grid's operations

void SaveToXLS(TdxDBGrid& grid, const QString& FileName, bool SaveAll)
{
    TdxDBGridExportExcel e(&grid, FileName, SaveAll);
    e.Execute();
}

void SaveToText(TdxDBGrid& grid, const QString& FileName, bool SaveAll, const QString& Separator,
                const QString& BeginMark, const QString& EndMark)
{
    TdxDBGridExportText e(&grid, FileName, SaveAll, Separator, BeginMark, EndMark);
    e.Execute();
}
