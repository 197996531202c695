#include "views/TdxDBGridExportXlsx.h"

#include "dbaccess/DB.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QtEndian>
#include <xlsxwriter.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <algorithm>

namespace {
constexpr int kMaxZeichen = 32767;   // what a cell holds

bool IstDatum(TFieldType t)
{
    return t == ftDate || t == ftTime || t == ftDateTime;
}

bool IstZahl(TFieldType t)
{
    return t == ftSmallint || t == ftInteger || t == ftWord || t == ftAutoInc || t == ftFloat || t == ftCurrency ||
           t == ftBCD || t == ftLargeint;
}

QString Literal(const QString& text)
{
    return text.isEmpty() ? QString() : QLatin1Char('"') + text + QLatin1Char('"');
}

// One section of a number format.
QString Abschnitt(const QString& s)
{
    QString out, literal, ganz;
    bool tausender = false, nachKomma = false, exponent = false;
    QChar quote;
    const auto ganzAbschliessen = [&] {
        if (ganz.isEmpty())
            return;
        if (tausender) {
            while (ganz.size() < 4)
                ganz.prepend(u'#');
            ganz.insert(ganz.size() - 3, u',');
        }
        out += ganz;
        ganz.clear();
    };
    for (const QChar c : s) {
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            else
                literal += c;
            continue;
        }
        if (c == u'"' || c == u'\'') {
            quote = c;
            continue;
        }
        const bool ziffer = c == u'0' || c == u'#';
        if (ziffer || c == u'.' || c == u',' || c == u'E' || c == u'e' || ((c == u'+' || c == u'-') && exponent)) {
            out += Literal(literal);
            literal.clear();
            if (c == u',') {
                tausender = tausender || !nachKomma;
            } else if (ziffer && !nachKomma && !exponent) {
                ganz += c;
            } else {
                ganzAbschliessen();
                if (c == u'.')
                    nachKomma = true;
                if (c == u'E' || c == u'e')
                    exponent = true;
                out += c.toUpper();
            }
        } else {
            ganzAbschliessen();
            literal += c;
        }
    }
    ganzAbschliessen();
    out += Literal(literal);
    return out;
}
}

namespace {
// The last bytes of an entry as stored in the archive, inflated; empty when the
// entry cannot be read.
QByteArray EintragsEnde(QFile& f, qint64 lokal, quint16 methode, qint64 gepackt)
{
    char kopf[30];
    if (!f.seek(lokal) || f.read(kopf, 30) != 30 || qFromLittleEndian<quint32>(kopf) != 0x04034b50u)
        return {};
    if (!f.seek(lokal + 30 + qFromLittleEndian<quint16>(kopf + 26) + qFromLittleEndian<quint16>(kopf + 28)))
        return {};
    QByteArray ende;
    const auto behalten = [&ende](const char* data, qsizetype n) {
        ende.append(data, n);
        if (ende.size() > 256)
            ende.remove(0, ende.size() - 256);
    };
    if (methode == 0) {
        if (gepackt > 256 && !f.seek(f.pos() + gepackt - 256))
            return {};
        return f.read(std::min<qint64>(gepackt, 256));
    }
    if (methode != Z_DEFLATED)
        return {};
    z_stream z{};
    if (inflateInit2(&z, -MAX_WBITS) != Z_OK)
        return {};
    std::vector<char> ein(1 << 20), aus(1 << 20);
    int status = Z_OK;
    while (status != Z_STREAM_END && gepackt > 0) {
        const qint64 n = f.read(ein.data(), std::min<qint64>(gepackt, qint64(ein.size())));
        if (n <= 0)
            break;
        gepackt -= n;
        z.next_in = reinterpret_cast<Bytef*>(ein.data());
        z.avail_in = uInt(n);
        do {
            z.next_out = reinterpret_cast<Bytef*>(aus.data());
            z.avail_out = uInt(aus.size());
            status = inflate(&z, Z_NO_FLUSH);
            if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
                inflateEnd(&z);
                return {};
            }
            behalten(aus.data(), qsizetype(aus.size() - z.avail_out));
        } while (z.avail_out == 0 && status != Z_STREAM_END);
    }
    inflateEnd(&z);
    return status == Z_STREAM_END ? ende : QByteArray();
}
}

bool ArchivVollstaendig(const QString& path)
{
    // The end of a zip archive: the record that closes it (22 bytes and a comment)
    // names where the central directory lies and how long it is; a complete file
    // has the directory right before that record and ends right after it.
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const qint64 size = f.size();
    const qint64 tail = std::min<qint64>(size, 22 + 0xFFFF);
    if (tail < 22 || !f.seek(size - tail))
        return false;
    const QByteArray end = f.read(tail);
    qint64 cdOffset = -1, cdSize = 0;
    for (qsizetype i = end.size() - 22; i >= 0; --i) {
        if (qFromLittleEndian<quint32>(end.constData() + i) != 0x06054b50u)
            continue;
        const qint64 position = size - tail + i;
        cdSize = qFromLittleEndian<quint32>(end.constData() + i + 12);
        cdOffset = qFromLittleEndian<quint32>(end.constData() + i + 16);
        if (position + 22 + qFromLittleEndian<quint16>(end.constData() + i + 20) != size ||
            cdOffset + cdSize != position)
            return false;
        break;
    }
    if (cdOffset < 0 || !f.seek(cdOffset))
        return false;
    const QByteArray cd = f.read(cdSize);
    if (cd.size() != cdSize || cdSize == 0)
        return false;
    // Each part is written to a temporary file before it goes into the archive, and
    // the library does not notice when the system cut that file short: every XML
    // part must end in a closing tag, the sheet in its own.
    for (qsizetype i = 0; i + 46 <= cd.size();) {
        const char* e = cd.constData() + i;
        if (qFromLittleEndian<quint32>(e) != 0x02014b50u)
            return false;
        const quint16 methode = qFromLittleEndian<quint16>(e + 10);
        const qint64 gepackt = qFromLittleEndian<quint32>(e + 20);
        const quint16 nameLen = qFromLittleEndian<quint16>(e + 28);
        const qsizetype weiter = 46 + nameLen + qFromLittleEndian<quint16>(e + 30) + qFromLittleEndian<quint16>(e + 32);
        const qint64 lokal = qFromLittleEndian<quint32>(e + 42);
        const QByteArray name = cd.mid(i + 46, nameLen);
        if (name.endsWith(".xml") || name.endsWith(".rels")) {
            const QByteArray ende = EintragsEnde(f, lokal, methode, gepackt).trimmed();
            if (!ende.endsWith('>'))
                return false;
            if (name.startsWith("xl/worksheets/") && !ende.endsWith("</worksheet>"))
                return false;
        }
        i += weiter;
    }
    return true;
}

QString XlsxZahlenformat(const QString& displayFormat)
{
    if (displayFormat.isEmpty())
        return {};
    QStringList teile;
    for (const QString& s : displayFormat.split(u';'))
        teile << Abschnitt(s);
    return teile.join(u';');
}

QString XlsxDatumsformat(const QString& displayFormat)
{
    if (displayFormat.isEmpty() || displayFormat.compare(QLatin1String("c"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("dd.mm.yyyy hh:mm:ss");
    QString f = displayFormat;
    f.replace(QLatin1String("zzz"), QLatin1String("000"), Qt::CaseInsensitive);
    f.replace(QLatin1String("nn"), QLatin1String("mm"), Qt::CaseInsensitive);
    QString out;
    for (int i = 0; i < f.size(); ++i) {
        const QChar c = f[i];
        // "n" alone is the minute; "am/pm" stays as written.
        if ((c == u'n' || c == u'N') && !(i > 0 && f[i - 1] == u'm'))
            out += u'm';
        else if (f.mid(i, 5).compare(QLatin1String("am/pm"), Qt::CaseInsensitive) == 0) {
            out += QStringLiteral("AM/PM");
            i += 4;
        } else
            out += c.toLower();
    }
    return out;
}

// ---------------------------------------------------------------- export

TdxDBGridExportXlsx::TdxDBGridExportXlsx(TdxDBGrid* grid, const QString& fileName, bool saveAll)
    : TdxDBGridExport(grid, fileName, saveAll)
{
}

TdxDBGridExportXlsx::~TdxDBGridExportXlsx()
{
    Schliessen();
}

void TdxDBGridExportXlsx::Schliessen()
{
    // An export broken off leaves the workbook open: closed here, its file goes with the temporary one.
    if (fMappe)
        workbook_close(fMappe);
    fMappe = nullptr;
    fBlatt = nullptr;
}

int TdxDBGridExportXlsx::MaxDataRows(const TdxDBGrid& grid)
{
    return LXW_ROW_MAX - TdxDBGridExportExcel::HeaderRows(grid);
}

void TdxDBGridExportXlsx::CheckRowLimit(TdxDBGrid& grid, bool saveAll)
{
    const int rows = TdxDBGridExportExcel::RowsToExport(grid, saveAll);
    if (rows > MaxDataRows(grid))
        throw EdxGridExportRowLimit(rows, MaxDataRows(grid), QStringLiteral("XLSX"));
}

void TdxDBGridExportXlsx::Pruefen(int fehler, const QString& was) const
{
    if (fehler != LXW_NO_ERROR)
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden (%2): %3")
                                     .arg(FileName, was,
                                          QString::fromUtf8(lxw_strerror(static_cast<lxw_error>(fehler)))));
}

void TdxDBGridExportXlsx::Execute()
{
    CheckRowLimit(*Grid, SaveAll);
    // The library writes to a path: a temporary file beside the target takes its
    // name only once it is complete, so a failure leaves no half file and a file
    // of that name from before stays as it was.
    const QFileInfo ziel(FileName);
    QTemporaryFile temp(ziel.absolutePath() + QStringLiteral("/.") + ziel.fileName() + QStringLiteral(".XXXXXX"));
    errno = 0;
    if (!temp.open())
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht erzeugt werden: %2")
                                     .arg(FileName, SystemReason(temp.errorString())));
    fTemp = temp.fileName();
    temp.close();
    try {
        ExportTo(nullptr);
    } catch (...) {
        // The library writes what it holds when the workbook closes: before the
        // temporary file goes, not after.
        Schliessen();
        throw;
    }
    QFile::setPermissions(fTemp, ziel.exists() ? QFile::permissions(FileName)
                                               : QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                     QFileDevice::ReadGroup | QFileDevice::ReadOther);
    if (std::rename(QFile::encodeName(fTemp).constData(), QFile::encodeName(FileName).constData()) != 0)
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden: %2")
                                     .arg(FileName, QString::fromLocal8Bit(std::strerror(errno))));
    temp.setAutoRemove(false);
}

void TdxDBGridExportXlsx::Start()
{
    if (fTemp.isEmpty())
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" wird nur über eine Zwischendatei geschrieben.")
                                     .arg(FileName));
    // Row by row to disk: a million rows need no more memory than one. The
    // library's own temporary files lie beside the target, where the space counts.
    const QByteArray ordner = QFile::encodeName(QFileInfo(FileName).absolutePath());
    lxw_workbook_options optionen{};
    optionen.constant_memory = LXW_TRUE;
    optionen.tmpdir = const_cast<char*>(ordner.constData());
    fMappe = workbook_new_opt(QFile::encodeName(fTemp).constData(), &optionen);
    if (!fMappe)
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht erzeugt werden.").arg(FileName));
    // What the library leaves in errno tells a write the system refused (see Finish).
    errno = 0;
    fBlatt = workbook_add_worksheet(fMappe, "Rohdaten");
    if (!fBlatt)
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht erzeugt werden.").arg(FileName));
    fHeaderRows = TdxDBGridExportExcel::HeaderRows(*Grid);

    fSpalten.clear();
    for (TdxDBGridColumn* c : Grid->VisibleColumns()) {
        TSpalte s{c, TArt::Text, nullptr};
        const TField* f = c->Field();
        QString muster;
        if (f && IstDatum(f->DataType())) {
            s.Art = TArt::Datum;
            muster = XlsxDatumsformat(f->DisplayFormat());
        } else if (f && IstZahl(f->DataType())) {
            // The pattern the grid shows the number with: the column's, else the field's.
            s.Art = TArt::Zahl;
            const auto* currency = dynamic_cast<const TdxDBGridCurrencyColumn*>(c);
            muster = XlsxZahlenformat(currency && !currency->DisplayFormat().isEmpty() ? currency->DisplayFormat()
                                                                                        : f->DisplayFormat());
        }
        s.Format = workbook_add_format(fMappe);
        if (!muster.isEmpty())
            format_set_num_format(s.Format, muster.toUtf8().constData());
        const Qt::Alignment a = c->CellAlignment();
        format_set_align(s.Format, (a & Qt::AlignRight)     ? LXW_ALIGN_RIGHT
                                   : (a & Qt::AlignHCenter) ? LXW_ALIGN_CENTER
                                                            : LXW_ALIGN_LEFT);
        fSpalten.push_back(s);
    }
    // Widths as the grid has them, in characters of about seven pixels.
    for (std::size_t i = 0; i < fSpalten.size(); ++i) {
        const TdxDBGridColumn* c = fSpalten[i].Spalte;
        const double zeichen = std::max(c->Width(), c->MinWidth()) / 7.0;
        Pruefen(worksheet_set_column(fBlatt, lxw_col_t(i), lxw_col_t(i), zeichen, nullptr), QStringLiteral("Spalten"));
    }
}

void TdxDBGridExportXlsx::WriteHeader()
{
    const int n = static_cast<int>(fSpalten.size());
    if (n == 0)
        return;
    lxw_format* kopf = workbook_add_format(fMappe);
    format_set_bold(kopf);
    format_set_bottom(kopf, LXW_BORDER_THIN);
    lxw_row_t row = 0;
    if (Grid->ShowBands()) {
        // One band over every column.
        lxw_format* band = workbook_add_format(fMappe);
        format_set_bold(band);
        format_set_align(band, LXW_ALIGN_CENTER);
        const QByteArray text = Grid->BandCaption().left(kMaxZeichen).toUtf8();
        if (n > 1)
            Pruefen(worksheet_merge_range(fBlatt, 0, 0, 0, lxw_col_t(n - 1), text.constData(), band),
                    QStringLiteral("Band"));
        else
            Pruefen(worksheet_write_string(fBlatt, 0, 0, text.constData(), band), QStringLiteral("Band"));
        ++row;
    }
    for (int i = 0; i < n; ++i)
        Pruefen(worksheet_write_string(fBlatt, row, lxw_col_t(i),
                                       fSpalten[std::size_t(i)].Spalte->DisplayCaption().toUtf8().constData(), kopf),
                QStringLiteral("Kopfzeile"));
    // The captions stay in view while scrolling.
    worksheet_freeze_panes(fBlatt, lxw_row_t(fHeaderRows), 0);
}

void TdxDBGridExportXlsx::WriteRow(TdxDBGridNode*)
{
    const lxw_row_t row = lxw_row_t(fHeaderRows + RowNumber);
    if (row >= LXW_ROW_MAX)
        throw EdxGridExportRowLimit(RowNumber + 1, MaxDataRows(*Grid), QStringLiteral("XLSX"));
    for (std::size_t i = 0; i < fSpalten.size(); ++i) {
        const TSpalte& s = fSpalten[i];
        const TField* f = s.Spalte->Field();
        // A null shows empty in the grid and stays an empty cell.
        if (!f || f->IsNull())
            continue;
        int fehler = LXW_NO_ERROR;
        switch (s.Art) {
        case TArt::Zahl: fehler = worksheet_write_number(fBlatt, row, lxw_col_t(i), f->AsFloat(), s.Format); break;
        case TArt::Datum:
            // Days since 30.12.1899: the spreadsheet's own date numbers.
            fehler = worksheet_write_number(fBlatt, row, lxw_col_t(i), f->AsDateTime(), s.Format);
            break;
        case TArt::Text: {
            const QString text = s.Spalte->CellText();
            if (!text.isEmpty())
                fehler = worksheet_write_string(fBlatt, row, lxw_col_t(i), text.left(kMaxZeichen).toUtf8().constData(),
                                                s.Format);
            break;
        }
        }
        Pruefen(fehler, QStringLiteral("Zeile %1").arg(RowNumber + 1));
    }
}

void TdxDBGridExportXlsx::Finish()
{
    lxw_workbook* mappe = fMappe;
    fMappe = nullptr;
    fBlatt = nullptr;
    const lxw_error fehler = workbook_close(mappe);
    // The library passes over a write the system refused (a full disk, a quota):
    // what it left behind in errno, and a file that does not end in a complete
    // archive, tell such a file apart from a whole one.
    const int grund = errno;
    if (grund == ENOSPC || grund == EFBIG || grund == EDQUOT || grund == EIO)
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden: %2")
                                     .arg(FileName, QString::fromLocal8Bit(std::strerror(grund))));
    Pruefen(fehler, QStringLiteral("Abschluss"));
    if (!ArchivVollstaendig(fTemp))
        throw EdxGridExportError(QStringLiteral("Die Datei \"%1\" kann nicht geschrieben werden: sie ist "
                                                "unvollständig, das System hat einen Teil nicht angenommen "
                                                "(ist der Datenträger voll oder die Dateigröße begrenzt?)")
                                     .arg(FileName));
}

void SaveToXLSX(TdxDBGrid& grid, const QString& FileName, bool SaveAll)
{
    TdxDBGridExportXlsx e(&grid, FileName, SaveAll);
    e.Execute();
}
