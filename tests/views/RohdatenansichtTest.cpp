// The raw data window over a real demo database: the grid reading rows on demand
// and following the cursor, the navigator, the refresh, and both exports read back
// by readers that share no code with ours (xlrd, openpyxl and LibreOffice).

#include "views/uFoRohdatenansicht.h"

#include "dbcontrols/TSMDBNavigator.h"
#include "dbcontrols/TdxDBGrid.h"
#include "frame/ZELFormat.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "tests/dbaccess/DbTestSupport.h"
#include "views/TdxDBGridExport.h"
#include "views/TdxDBGridExportXlsx.h"

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QTimer>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
const QString Finished = QStringLiteral("HTRB-2026-017");
const QString Empty = QStringLiteral("HTRB-2026-023");
const QString Large = QStringLiteral("BENCH-GROSS");
const QString Slash = QStringLiteral("A/B 1");
constexpr int LargeRows = 70000;


// Lines of a Windows-1252 text file split at CR LF; a lone LF would stay in a line.
QStringList CsvLines(const QString& path)
{
    QStringDecoder dec("windows-1252");
    QString text = dec.decode(ReadAll(path));
    QStringList lines = text.split(QStringLiteral("\r\n"));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// Fields of one line as a spreadsheet writes them: ";" between, quotes around texts.
QStringList ParseCsv(const QString& line)
{
    QStringList fields;
    QString cur;
    bool quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (quoted) {
            if (c == u'"' && i + 1 < line.size() && line[i + 1] == u'"') {
                cur += u'"';
                ++i;
            } else if (c == u'"') {
                quoted = false;
            } else {
                cur += c;
            }
        } else if (c == u'"') {
            quoted = true;
        } else if (c == u';') {
            fields << cur;
            cur.clear();
        } else {
            cur += c;
        }
    }
    fields << cur;
    return fields;
}

class RohdatenansichtTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        data = std::make_unique<TDemoDatabase>(QStringLiteral("Orvex.fdb"), LargeRows);
        // A run whose number is no file name, with a separator inside a text and a
        // value that has no exact binary form.
        data->Exec(
            {QStringLiteral("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, STATUS) "
                            "values ('A/B 1', 'X', 810, 100, 'Versuch aktiv')"),
             QStringLiteral(
                 "insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, EREIGNIS, FEHLER, STATUS, T, RF, U, "
                 "I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09) values (810, '2026-03-04 05:06:07', 1, 0.5, "
                 "'Tür auf;zu', null, '4', 25, 45.25, 1234.5, cast(0.1 as double precision) + cast(0.2 as double "
                 "precision), 0, 0, 0, 0, 0, 0, 0, 0)"),
             QStringLiteral(
                 "insert into MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, EREIGNIS, FEHLER, STATUS, T, RF, U, "
                 "I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09) values (810, '2026-03-04 06:06:07', 2, null, "
                 "null, 'Kanal 3 µA', '5', -12.75, 0, -1e-300, 123.456, 7, 7, 7, 7, 7, 7, 7, 7)")});
    }
    static void TearDownTestSuite()
    {
        // The message window, the log it wrote to and their timer threads must go
        // while the application still exists.
        zellib_msg_Finalize();
        zellib_Logging_Finalize();
        data.reset();
    }

    void SetUp() override
    {
        state.emplace(ini.path(), out.path());
        FormatSettings.ThousandSeparator = u'.';
        // The database stays in the suite's folder; each test exports into a fresh one.
        QFile iniFile(IniFileName);
        if (iniFile.open(QIODevice::WriteOnly))
            iniFile.write("[PATH]\r\nServer name=" + data->Login().DBName.toUtf8() + "\r\n");
        iniFile.close();
        w = new TFOOrvexAuswertung;
        FOOrvexAuswertung = w;
        r = new TFoRohdatenansicht;
        FoRohdatenansicht = r;
        DMorvex = std::make_unique<TDMorvex>();
        w->DatenquellenZuordnen();
        r->DatenquellenZuordnen();
        DMorvex->DataModuleCreate();
        w->resize(1200, 800);
        w->show();
        QApplication::processEvents();
    }
    void TearDown() override
    {
        MsgClear();
        r->hide();
        w->ProgrammBeenden();
        delete r;
        delete w;
        FOOrvexAuswertung = nullptr;
        DMorvex.reset();
        state.reset();
    }

    void Select(const QString& nr) { ASSERT_TRUE(w->VersuchWaehlen(nr)) << nr.toStdString(); }
    // Shows the window as the button does, without the modal loop.
    void Open()
    {
        r->show();
        QApplication::processEvents();
    }
    // The dialog answers with the proposed name (or another one); records what it was offered.
    void Answer(bool accept, const QString& other = {})
    {
        r->SaveDialog_Rohdaten.Runner = [this, accept, other](TSaveDialog& d) {
            offeredDir = d.InitialDir;
            offeredName = d.FileName;
            dirExistedWhenAsked = QDir(d.InitialDir).exists();
            if (!other.isEmpty())
                d.FileName = other;
            return accept;
        };
    }
    TpFIBDataSet* Md() const { return DMorvex->Messdaten.get(); }

    // What the dataset holds, walked independently of the export: per row, the
    // float bits, nulls and display texts of the shown columns.
    struct TExpectedCell {
        enum { Number, Date, Text } Kind;
        double Value = 0;
        QString Shown;
        bool Null = false;
        // The cell as ReadWithOpenpyxl codes it.
        QString XlsxCode() const
        {
            if (Kind == Date)
                return QStringLiteral("d:") + Shown;
            if (Kind == Number)
                return Null ? QStringLiteral("e:") : QStringLiteral("n:");
            return Shown.isEmpty() ? QStringLiteral("e:") : QStringLiteral("t:") + Shown;
        }
    };
    std::vector<std::vector<TExpectedCell>> DatasetRows()
    {
        std::vector<std::vector<TExpectedCell>> rows;
        TpFIBDataSet* md = Md();
        md->DisableControls();
        md->First();
        const std::vector<TdxDBGridColumn*> cols = r->Rohdatengrid->VisibleColumns();
        while (!md->Eof()) {
            std::vector<TExpectedCell> row;
            for (TdxDBGridColumn* c : cols) {
                TField* f = md->FieldByName(c->FieldName());
                const TFieldType t = f->DataType();
                if (t == ftFloat || t == ftInteger || t == ftSmallint)
                    row.push_back({TExpectedCell::Number, f->AsFloat(), f->DisplayText(), f->IsNull()});
                else
                    row.push_back({t == ftDateTime ? TExpectedCell::Date : TExpectedCell::Text, 0, f->DisplayText()});
            }
            rows.push_back(row);
            md->Next();
        }
        md->Last();
        md->EnableControls();
        return rows;
    }

    // The first sheet as LibreOffice converts it to UTF-8 text with ";" between cells.
    static QStringList LibreOfficeCsv(const QString& soffice, const QString& file,
                                      const QString& filter = QStringLiteral("csv:Text - txt - csv (StarCalc):59,34,76,1"))
    {
        QTemporaryDir profile;
        QTemporaryDir conv;
        QProcess p;
        p.start(soffice, {QStringLiteral("-env:UserInstallation=file://") + profile.path(), QStringLiteral("--headless"),
                          QStringLiteral("--convert-to"), filter, QStringLiteral("--outdir"), conv.path(), file});
        p.waitForFinished(600000);
        const QString csv = conv.filePath(QFileInfo(file).completeBaseName() + QStringLiteral(".csv"));
        EXPECT_TRUE(QFileInfo::exists(csv)) << p.readAllStandardError().toStdString();
        QStringList lines = QString::fromUtf8(ReadAll(csv)).split(QRegularExpression(QStringLiteral("\r?\n")));
        while (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast();
        return lines;
    }

    static inline std::unique_ptr<TDemoDatabase> data;
    QTemporaryDir ini;
    QTemporaryDir out;
    std::optional<TProgramState> state;
    TFOOrvexAuswertung* w = nullptr;
    TFoRohdatenansicht* r = nullptr;
    QString offeredDir, offeredName;
    bool dirExistedWhenAsked = false;
};

const QStringList Captions = {"ZEITPUNKT", "SATZNR",    "ZEIT_STD",  "EREIGNIS",  "Fehler",    "STATUS",
                              "T [°C]",    "RF [%]",    "U [V]",     "I_01 [µA]", "I_02 [µA]", "I_03 [µA]",
                              "I_04 [µA]", "I_05 [µA]", "I_06 [µA]", "I_07 [µA]", "I_08 [µA]", "I_09 [µA]"};
}

TEST_F(RohdatenansichtTest, OpeningShowsTheRunTheNewestRowSelectedAndTheButtonsTheKeyAsksFor)
{
    Select(Finished);
    Open();
    EXPECT_EQ(r->windowTitle(), QStringLiteral("Ansicht Rohdaten"));
    EXPECT_EQ(r->size(), QSize(1502, 811));
    EXPECT_EQ(r->Rohdatengrid->BandCaption(), QStringLiteral("Versuch ") + Finished);
    TdxDBGrid* g = r->Rohdatengrid;
    const int rows = Md()->RecordCount();
    EXPECT_GT(rows, 7000);
    EXPECT_EQ(Md()->RecNo(), rows);
    EXPECT_EQ(g->currentIndex().row(), rows - 1);
    EXPECT_TRUE(g->isColumnHidden(0)) << "AUFTRAGKEY";
    EXPECT_EQ(g->model()->headerData(4, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("EREIGNIS"));
    EXPECT_EQ(g->model()->headerData(5, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("Fehler"));

    // A cell of another row is read without moving the cursor; formats as the columns say.
    Md()->DisableControls();
    Md()->First();
    const QString zeit0 = DMorvex->MessdatenZEITPUNKT->DisplayText();
    const double t0 = DMorvex->MessdatenT->AsFloat();
    const QString status0 = DMorvex->MessdatenSTATUS->DisplayText();
    Md()->Last();
    Md()->EnableControls();
    QAbstractItemModel* m = g->model();
    EXPECT_EQ(m->data(m->index(0, 1)).toString(), zeit0);
    EXPECT_EQ(m->data(m->index(0, 6)).toString(), QStringLiteral("Vorlauf aktiv"));
    EXPECT_EQ(status0, QStringLiteral("Vorlauf aktiv"));
    EXPECT_EQ(m->data(m->index(0, 7)).toString(), FormatFloat(QStringLiteral(",0.000"), t0));
    EXPECT_EQ(m->data(m->index(0, 7), Qt::TextAlignmentRole).value<Qt::Alignment>() & Qt::AlignRight, Qt::AlignRight);
    EXPECT_EQ(m->data(m->index(0, 6), Qt::TextAlignmentRole).value<Qt::Alignment>() & Qt::AlignLeft, Qt::AlignLeft);
    EXPECT_EQ(Md()->RecNo(), rows);

    // The selection moves the cursor, the cursor moves the selection.
    g->setCurrentIndex(m->index(10, 3));
    EXPECT_EQ(Md()->RecNo(), 11);
    Md()->MoveBy(5);
    EXPECT_EQ(g->currentIndex().row(), 15);

    // The navigator is enabled by position.
    TSMDBNavigator* nav = r->SMDBNavigator1;
    nav->BtnClick(TSMDBNavigator::nbFirst);
    EXPECT_EQ(Md()->RecNo(), 1);
    EXPECT_EQ(g->currentIndex().row(), 0);
    EXPECT_FALSE(nav->Button(TSMDBNavigator::nbFirst)->isEnabled());
    EXPECT_FALSE(nav->Button(TSMDBNavigator::nbPrior)->isEnabled());
    EXPECT_TRUE(nav->Button(TSMDBNavigator::nbNext)->isEnabled());
    nav->Button(TSMDBNavigator::nbNext)->click();
    EXPECT_EQ(Md()->RecNo(), 2);
    EXPECT_TRUE(nav->Button(TSMDBNavigator::nbPrior)->isEnabled());
    nav->Button(TSMDBNavigator::nbLast)->click();
    EXPECT_EQ(Md()->RecNo(), rows);
    EXPECT_FALSE(nav->Button(TSMDBNavigator::nbNext)->isEnabled());
    EXPECT_FALSE(nav->Button(TSMDBNavigator::nbLast)->isEnabled());
    EXPECT_TRUE(nav->Button(TSMDBNavigator::nbFirst)->isEnabled());

    // "aktualisieren" ends on the last row and keeps the run chosen in the list.
    nav->BtnClick(TSMDBNavigator::nbFirst);
    r->BitBtn4Click();
    EXPECT_EQ(Md()->RecNo(), Md()->RecordCount());
    EXPECT_EQ(g->currentIndex().row(), Md()->RecordCount() - 1);
    EXPECT_EQ(DMorvex->AuftraegeVERSUCHSNR->AsString(), Finished);

    r->grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/rohdatenansicht.png"));

    // The workbook's button stands beside the others only when the key asks for it.
    EXPECT_FALSE(r->BtnXlsx->isVisible());
    EXPECT_EQ(r->BtnXlsx->text(), QStringLiteral("XLSX Export"));
    WriteIniBool(QStringLiteral("Auswertung"), QStringLiteral("XlsxExport"), true);
    TFoRohdatenansicht mit;
    mit.DatenquellenZuordnen();
    mit.show();
    QApplication::processEvents();
    ASSERT_TRUE(mit.BtnXlsx->isVisible());
    // Right of "CSV Export", in the row of buttons.
    EXPECT_GT(mit.BtnXlsx->x(), mit.BitBtn2->x());
    EXPECT_EQ(mit.BtnXlsx->y(), mit.BitBtn2->y());
    mit.grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/rohdatenansicht_xlsx.png"));
    mit.hide();
}

TEST_F(RohdatenansichtTest, ALongRunIsFetchedAsTheGridScrollsAndRefusedOnlyByTheOldSheet)
{
    Select(Large);
    Open();
    // Opened afresh, the dataset has fetched only what the cursor needed.
    Md()->CloseOpen(false);
    QApplication::processEvents();
    TdxDBGrid* g = r->Rohdatengrid;
    const int fetched = Md()->RecordsFetched();
    EXPECT_LT(fetched, 1000);
    EXPECT_EQ(g->model()->rowCount(), fetched);
    EXPECT_EQ(g->currentIndex().row(), 0);

    // Scrolling to the bottom fetches a chunk, not the run.
    QScrollBar* bar = g->verticalScrollBar();
    for (int i = 0; i < 3; ++i) {
        bar->setValue(bar->maximum());
        QApplication::processEvents();
    }
    EXPECT_GT(g->model()->rowCount(), fetched);
    EXPECT_EQ(g->model()->rowCount(), Md()->RecordsFetched());
    EXPECT_LT(Md()->RecordsFetched(), 5000);
    EXPECT_FALSE(Md()->AllFetched());
    EXPECT_EQ(Md()->RecNo(), 1) << "scrolling the view does not move the cursor";

    // A jump to the end makes every row a row of the grid.
    Md()->Last();
    EXPECT_EQ(g->model()->rowCount(), LargeRows);
    EXPECT_EQ(g->currentIndex().row(), LargeRows - 1);
    QAbstractItemModel* m = g->model();
    EXPECT_EQ(m->data(m->index(LargeRows - 1, 2)).toString(), QString::number(LargeRows));

    // Too many rows for a sheet are refused before anything is written.
    bool asked = false;
    r->SaveDialog_Rohdaten.Runner = [&asked](TSaveDialog&) { return asked = true; };
    try {
        r->BitBtn7Click();
        FAIL() << "no refusal";
    } catch (const EdxGridExportRowLimit& e) {
        EXPECT_EQ(e.Rows(), LargeRows);
        EXPECT_TRUE(e.Message().contains(QStringLiteral("70.000"))) << e.Message().toStdString();
        EXPECT_TRUE(e.Message().contains(QStringLiteral("CSV"))) << e.Message().toStdString();
        EXPECT_TRUE(e.Message().contains(QStringLiteral("Bitte den XLSX-Export verwenden"))) << e.Message().toStdString();
    }
    EXPECT_FALSE(asked);
    EXPECT_TRUE(FoMsg == nullptr || !FoMsg->isVisible());
    // Called directly, the writer refuses as well and makes no file.
    const QString file = Datapath + QStringLiteral("/gross.xls");
    EXPECT_THROW(SaveToXLS(*r->Rohdatengrid, file, true), EdxGridExportRowLimit);
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_EQ(TdxDBGridExportExcel::MaxDataRows(*r->Rohdatengrid), 65534);
    // The text export takes the whole run.
    Answer(true);
    r->BitBtn2Click();
    EXPECT_EQ(CsvLines(Datapath + QStringLiteral("/BENCH-GROSS/BENCH-GROSS.csv")).size(), LargeRows + 2);

    // The workbook takes the long run; LibreOffice opens it and finds every row.
    r->BtnXlsxClick();
    const QString xlsx = Datapath + QStringLiteral("/BENCH-GROSS/BENCH-GROSS.xlsx");
    EXPECT_EQ(offeredName, xlsx);
    const QStringList sheet = ReadWithOpenpyxl(xlsx);
    ASSERT_EQ(sheet.size(), LargeRows + 3);
    EXPECT_EQ(sheet[0], QStringLiteral("%1\t18\tA1:R1").arg(LargeRows + 2));
    EXPECT_EQ(TdxDBGridExportXlsx::MaxDataRows(*r->Rohdatengrid), 1048574);
    const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
    if (soffice.isEmpty())
        GTEST_SKIP() << "soffice is not installed; the LibreOffice reading is skipped";
    const QStringList lines = LibreOfficeCsv(soffice, xlsx);
    ASSERT_EQ(lines.size(), LargeRows + 2);
    EXPECT_EQ(ParseCsv(lines[0]).value(0), QStringLiteral("Versuch BENCH-GROSS"));
    EXPECT_EQ(ParseCsv(lines[1]), Captions);
    const QStringList last = ParseCsv(lines.last());
    ASSERT_EQ(last.size(), 18);
    EXPECT_EQ(last[1], QString::number(LargeRows)) << "SATZNR of the last row";
}

TEST_F(RohdatenansichtTest, CsvAndXlsExportsWriteEveryRowIntoTheRunsFolderAsTheirReadersSeeIt)
{
    Select(Finished);
    Open();
    Md()->MoveBy(-100);
    const int recNo = Md()->RecNo();
    Answer(true);
    r->BitBtn2Click();
    const QString folder = Datapath + QStringLiteral("/HTRB-2026-017/");
    EXPECT_EQ(offeredDir, folder);
    EXPECT_EQ(offeredName, folder + QStringLiteral("HTRB-2026-017.csv"));
    EXPECT_TRUE(dirExistedWhenAsked);
    EXPECT_TRUE(FoMsg == nullptr || !FoMsg->isVisible()) << "the wait note is cleared";
    EXPECT_EQ(Md()->RecNo(), recNo);
    EXPECT_FALSE(Md()->ControlsDisabled());

    const QByteArray bytes = ReadAll(offeredName);
    const QByteArray head = QByteArray("ZEITPUNKT;SATZNR;ZEIT_STD;EREIGNIS;Fehler;STATUS;T [\xB0" "C];RF [%];U [V];"
                                       "I_01 [\xB5" "A];");
    ASSERT_TRUE(bytes.startsWith(head)) << bytes.left(120).toStdString();
    EXPECT_EQ(bytes.count("\r\n"), bytes.count('\n')) << "every line ends in CR LF";
    const QStringList lines = CsvLines(offeredName);
    const auto expected = DatasetRows();
    ASSERT_EQ(lines.size(), static_cast<int>(expected.size()) + 2);
    EXPECT_EQ(lines[0], Captions.join(u';'));
    EXPECT_EQ(lines[1], QString());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        QStringList want;
        for (const TExpectedCell& c : expected[i])
            want << c.Shown;
        ASSERT_EQ(lines[static_cast<int>(i) + 2], want.join(u';')) << i;
    }
    // The texts as the user reads them.
    const QStringList first = lines[2].split(u';');
    EXPECT_TRUE(QDateTime::fromString(first[0], QStringLiteral("dd.MM.yyyy HH:mm:ss")).isValid()) << first[0].toStdString();
    EXPECT_EQ(first[5], QStringLiteral("Vorlauf aktiv"));
    EXPECT_TRUE(first[6].contains(QRegularExpression(QStringLiteral("^-?\\d+,\\d$")))) << first[6].toStdString();
    EXPECT_TRUE(first[9].contains(QRegularExpression(QStringLiteral("^-?\\d+,\\d{3}$")))) << first[9].toStdString();

    // The sheet: every float bit for bit, every text.
    r->BitBtn7Click();
    const QString file = folder + QStringLiteral("HTRB-2026-017.xls");
    ASSERT_EQ(offeredName, file);
    const QByteArray biff = ReadAll(file);
    EXPECT_TRUE(biff.startsWith(QByteArray::fromHex("09040600000010000000800008000000000000000000")));
    EXPECT_TRUE(biff.endsWith(QByteArray::fromHex("0a000000")));

    const QStringList sheet = ReadWithXlrd(file);
    ASSERT_EQ(sheet.size(), static_cast<int>(expected.size()) + 3);
    EXPECT_EQ(sheet[0], QStringLiteral("40\t%1\t18").arg(expected.size() + 2));
    EXPECT_TRUE(sheet[1].startsWith(QStringLiteral("t:Versuch HTRB-2026-017\t"))) << sheet[1].toStdString();
    EXPECT_EQ(sheet[2], QStringLiteral("t:") + Captions.join(QStringLiteral("\tt:")));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const QStringList cells = sheet[static_cast<int>(i) + 3].split(u'\t');
        ASSERT_EQ(cells.size(), 18);
        for (std::size_t c = 0; c < expected[i].size(); ++c) {
            const TExpectedCell& e = expected[i][c];
            const QString& got = cells[static_cast<int>(c)];
            if (e.Kind != TExpectedCell::Number) {
                ASSERT_EQ(got, QStringLiteral("t:") + e.Shown) << i << "/" << c;
            } else {
                ASSERT_TRUE(got.startsWith(QStringLiteral("n:"))) << i << "/" << c << " " << got.toStdString();
                const double v = std::strtod(got.mid(2).toLatin1().constData(), nullptr);
                ASSERT_EQ(std::memcmp(&v, &e.Value, sizeof v), 0) << i << "/" << c << " " << got.toStdString();
            }
        }
    }

    // Rows of numbers are written as bytes straight away; a row with letters beyond
    // ASCII takes the encoder, so that both kinds of row give Windows-1252 as the header does.
    TField* status = DMorvex->MessdatenSTATUS;
    const auto saved = status->OnGetText;
    int row = 0;
    status->OnGetText = [&row](TField*, QString& text, bool) {
        // every third row with umlaut, micro sign and one character Windows-1252 has not
        // (the encoder writes its substitute, 0x1A, for that one)
        text = (row++ % 3 == 0) ? QStringLiteral("Prüfung µ ✓") : QStringLiteral("ok");
    };
    const QString umlaut = out.filePath(QStringLiteral("umlaut.csv"));
    SaveToText(*r->Rohdatengrid, umlaut, true, QStringLiteral(";"), QStringLiteral("<"), QStringLiteral(">"));
    status->OnGetText = saved;

    const QList<QByteArray> raw = ReadAll(umlaut).split('\n');
    ASSERT_GT(raw.size(), 6);
    int beyond = 0, plain = 0;
    for (qsizetype i = 2; i < raw.size(); ++i) {
        if (raw[i].isEmpty())
            continue;
        const QList<QByteArray> cells = raw[i].split(';');
        ASSERT_EQ(cells.size(), Captions.size()) << i;
        EXPECT_TRUE(cells[5] == QByteArray("<Pr\xFC" "fung \xB5 \x1A>") || cells[5] == QByteArray("<ok>")) << cells[5].toHex().toStdString();
        (cells[5] == QByteArray("<ok>") ? plain : beyond) += 1;
        // the other cells of such a row as the plain rows have them: marked numbers
        EXPECT_TRUE(cells[1].startsWith('<') && cells[1].endsWith('>')) << i;
        EXPECT_TRUE(raw[i].endsWith('\r')) << i;
    }
    EXPECT_GT(beyond, 0);
    EXPECT_GT(plain, beyond);
}

// Two numbers agree to the 15 significant digits a spreadsheet program keeps: they
// differ by at most half a unit of the 15th digit.
bool Gleich15(double a, double b)
{
    return std::abs(a - b) <= 5e-15 * std::max(std::abs(a), std::abs(b));
}

// The workbook as an independent reader sees it: every cell of every row as the grid
// holds it (numbers as numbers, dates as dates, nulls empty), the band over all
// columns, the captions, and the number formats the grid shows its columns with.
TEST_F(RohdatenansichtTest, XlsxExportGivesOpenpyxlEveryNumberTextAndFormat)
{
    for (const QString& versuch : {Finished, Slash}) {
        SCOPED_TRACE(versuch.toStdString());
        Select(versuch);
        Open();
        Answer(true);
        r->BtnXlsxClick();
        const QString S = NormalizeName(versuch);
        const QString file = Datapath + u'/' + S + u'/' + S + QStringLiteral(".xlsx");
        ASSERT_EQ(offeredName, file);
        QString formatLine;
        const QStringList sheet = ReadWithOpenpyxl(file, &formatLine);

        const auto expected = DatasetRows();

        ASSERT_EQ(sheet.size(), int(expected.size()) + 3);
        EXPECT_EQ(sheet[0], QStringLiteral("%1\t18\tA1:R1").arg(expected.size() + 2));
        EXPECT_TRUE(sheet[1].startsWith(QStringLiteral("t:Versuch ") + versuch + QStringLiteral("\te:")))
            << sheet[1].toStdString();
        EXPECT_EQ(sheet[2], QStringLiteral("t:") + Captions.join(QStringLiteral("\tt:")));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const QStringList got = sheet[int(i) + 3].split(u'\t');
            ASSERT_EQ(got.size(), int(expected[i].size())) << i;
            for (std::size_t c = 0; c < expected[i].size(); ++c) {
                const QString code = expected[i][c].XlsxCode();
                const double value = expected[i][c].Value;
                const QString& cell = got[int(c)];
                if (code == QLatin1String("n:")) {
                    ASSERT_TRUE(cell.startsWith(code) && Gleich15(cell.mid(2).toDouble(), value))
                        << i << "/" << c << " " << cell.toStdString() << " " << value;
                } else {
                    ASSERT_EQ(cell, code) << i << "/" << c;
                }
            }
        }
        EXPECT_EQ(formatLine, QStringLiteral("f:dd.mm.yyyy hh:mm:ss|General|#,##0.00\" \"|General|General|General|") +
                                  QStringList(12, QStringLiteral("#,##0.000")).join(u'|'));

        // LibreOffice, asked for the cells' values rather than their shown texts.
        const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
        if (soffice.isEmpty()) {
            std::cout << "soffice is not installed; the LibreOffice reading is skipped\n";
            continue;
        }
        const QStringList lines = LibreOfficeCsv(
            soffice, file, QStringLiteral("csv:Text - txt - csv (StarCalc):59,34,76,1,,0,false,true,false"));
        ASSERT_EQ(lines.size(), int(expected.size()) + 2);
        EXPECT_EQ(ParseCsv(lines[1]), Captions);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const QStringList got = ParseCsv(lines[int(i) + 2]);
            ASSERT_EQ(got.size(), int(expected[i].size())) << i;
            for (std::size_t c = 0; c < expected[i].size(); ++c) {
                const QString code = expected[i][c].XlsxCode();
                const double value = expected[i][c].Value;
                const QString& cell = got[int(c)];
                if (code == QLatin1String("n:")) {
                    // LibreOffice writes 15 significant digits of what the library wrote with 16.
                    ASSERT_TRUE(std::abs(cell.toDouble() - value) <= 6e-15 * std::abs(value))
                        << i << "/" << c << " " << cell.toStdString() << " " << value;
                } else if (code.startsWith(QLatin1String("d:"))) {
                    const QDateTime t = QDateTime::fromString(cell, QStringLiteral("MM/dd/yyyy HH:mm:ss"));
                    ASSERT_EQ(t.toString(QStringLiteral("dd.MM.yyyy HH:mm:ss")), code.mid(2)) << i << "/" << c;
                } else {
                    ASSERT_EQ(cell, code.mid(2)) << i << "/" << c;
                }
            }
        }
    }
}

TEST_F(RohdatenansichtTest, ANumberThatIsNoFileNameAndItsValuesAsEveryReaderSeesThem)
{
    Select(Slash);
    Open();
    Answer(true);
    r->BitBtn2Click();
    const QString folder = Datapath + QStringLiteral("/A_B_1/");
    EXPECT_EQ(offeredName, folder + QStringLiteral("A_B_1.csv"));
    const QStringList lines = CsvLines(offeredName);
    ASSERT_EQ(lines.size(), 4);
    // No quoting: the separator in EREIGNIS stands as it is.
    EXPECT_EQ(lines[2], QStringLiteral("04.03.2026 05:06:07;1;0,5;Tür auf;zu;;Versuch aktiv;25,0;45,3;1234,5;0,300;"
                                       "0,000;0,000;0,000;0,000;0,000;0,000;0,000;0,000"));
    EXPECT_EQ(lines[3].section(u';', 2, 6), QStringLiteral(";;Kanal 3 µA;Nachlauf aktiv;-12,8")) << "null ZEIT_STD is empty";

    r->BitBtn7Click();
    const QStringList sheet = ReadWithXlrd(folder + QStringLiteral("A_B_1.xls"));
    ASSERT_EQ(sheet.size(), 5);
    const QStringList a = sheet[3].split(u'\t');
    EXPECT_EQ(a[1], QStringLiteral("n:0x1.0000000000000p+0")) << "SATZNR";
    EXPECT_EQ(a[3], QStringLiteral("t:Tür auf;zu"));
    EXPECT_EQ(a[4], QStringLiteral("t:"));
    EXPECT_EQ(a[8], QStringLiteral("n:0x1.34a0000000000p+10"));   // 1234.5
    EXPECT_EQ(a[9], QStringLiteral("n:0x1.3333333333334p-2"));    // 0.1 + 0.2, not 0.3
    const QStringList b = sheet[4].split(u'\t');
    EXPECT_EQ(b[2], QStringLiteral("n:0x0.0p+0"));                // a null ZEIT_STD as 0
    EXPECT_EQ(b[8], QStringLiteral("n:-0x1.56e1fc2f8f359p-997"));  // -1e-300

    // The same sheet as LibreOffice reads it.
    const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
    if (soffice.isEmpty())
        GTEST_SKIP() << "soffice is not installed; the LibreOffice reading is skipped";
    const QStringList lo = LibreOfficeCsv(soffice, folder + QStringLiteral("A_B_1.xls"));
    ASSERT_EQ(lo.size(), 4);
    EXPECT_EQ(ParseCsv(lo[0]).value(0), QStringLiteral("Versuch A/B 1"));
    EXPECT_EQ(ParseCsv(lo[1]), Captions);
    const QStringList la = ParseCsv(lo[2]);
    ASSERT_EQ(la.size(), 18);
    EXPECT_EQ(la[0], QStringLiteral("04.03.2026 05:06:07"));
    EXPECT_EQ(la[1], QStringLiteral("1"));
    EXPECT_EQ(la[3], QStringLiteral("Tür auf;zu"));
    EXPECT_EQ(la[4], QString());
    EXPECT_EQ(la[5], QStringLiteral("Versuch aktiv"));
    EXPECT_DOUBLE_EQ(la[7].toDouble(), 45.25);
    EXPECT_DOUBLE_EQ(la[8].toDouble(), 1234.5);
    EXPECT_NEAR(la[9].toDouble(), 0.3, 1e-12);
    const QStringList lb = ParseCsv(lo[3]);
    ASSERT_EQ(lb.size(), 18);
    EXPECT_EQ(lb[0], QStringLiteral("04.03.2026 06:06:07"));
    EXPECT_EQ(lb[2], QStringLiteral("0")) << "a null number is 0";
    EXPECT_EQ(lb[4], QStringLiteral("Kanal 3 µA"));
    EXPECT_EQ(lb[5], QStringLiteral("Nachlauf aktiv"));
    EXPECT_DOUBLE_EQ(lb[6].toDouble(), -12.75);
    EXPECT_DOUBLE_EQ(lb[9].toDouble(), 123.456);
}

TEST_F(RohdatenansichtTest, ARunWithoutRowsAndAHiddenColumn)
{
    Select(Empty);
    Open();
    Answer(true);
    r->BitBtn2Click();
    const QString base = Datapath + QStringLiteral("/HTRB-2026-023/HTRB-2026-023");
    QStringEncoder cp1252("windows-1252");
    const QByteArray captions = cp1252.encode(Captions.join(u';'));
    EXPECT_EQ(ReadAll(base + QStringLiteral(".csv")), captions + QByteArray("\r\n\r\n"));
    r->BitBtn7Click();
    QStringList sheet = ReadWithXlrd(base + QStringLiteral(".xls"));
    ASSERT_EQ(sheet.size(), 3);
    EXPECT_EQ(sheet[0], QStringLiteral("40\t2\t18"));

    // A column the user hides takes no place in either file.
    r->RohdatengridSATZNR->SetVisible(false);
    r->BitBtn2Click();
    QStringList hidden = Captions;
    hidden.removeAt(1);
    EXPECT_EQ(CsvLines(base + QStringLiteral(".csv")).value(0), hidden.join(u';'));
    r->BitBtn7Click();
    sheet = ReadWithXlrd(base + QStringLiteral(".xls"));
    EXPECT_EQ(sheet[0], QStringLiteral("40\t2\t17"));
    EXPECT_EQ(sheet[2], QStringLiteral("t:") + hidden.join(QStringLiteral("\tt:")));

    Select(Slash);
    r->BitBtn7Click();
    sheet = ReadWithXlrd(Datapath + QStringLiteral("/A_B_1/A_B_1.xls"));
    ASSERT_EQ(sheet.size(), 5);
    EXPECT_EQ(sheet[3].split(u'\t').value(1), QStringLiteral("n:0x1.0000000000000p-1")) << "ZEIT_STD moved left";
}

TEST_F(RohdatenansichtTest, CancelKeepsTheNewFolderAndFailuresLeaveTheNoteTheCursorAndTheGridAlive)
{
    Select(Slash);
    Open();
    Answer(false);
    r->BitBtn2Click();
    EXPECT_TRUE(QDir(Datapath + QStringLiteral("/A_B_1")).exists());
    EXPECT_TRUE(QDir(Datapath + QStringLiteral("/A_B_1")).isEmpty());

    const int recNo = Md()->RecNo();
    const QString bad = Datapath + QStringLiteral("/fehlt/A_B_1.csv");
    Answer(true, bad);
    try {
        r->BitBtn2Click();
        FAIL() << "no failure";
    } catch (const EdxGridExportError& e) {
        EXPECT_TRUE(e.Message().contains(bad)) << e.Message().toStdString();
    }
    ASSERT_NE(FoMsg, nullptr);
    EXPECT_TRUE(FoMsg->isVisible());
    EXPECT_TRUE(FoMsg->MsgLabel->text().contains(QStringLiteral("wird erzeugt"))) << FoMsg->MsgLabel->text().toStdString();
    EXPECT_TRUE(FoMsg->MsgLabel->text().contains(bad));
    EXPECT_FALSE(Md()->ControlsDisabled());
    EXPECT_EQ(Md()->RecNo(), recNo);
    MsgClear();

    // A failure inside the rows still brings the cursor back and enables the controls.
    Select(Finished);
    Md()->MoveBy(-50);
    const int before = Md()->RecNo();
    auto saved = DMorvex->MessdatenSTATUS->OnGetText;
    DMorvex->MessdatenSTATUS->OnGetText = [](TField* f, QString&, bool) {
        if (f->DataSet()->RecNo() == 300)
            throw Exception(QStringLiteral("Lesefehler"));
    };
    EXPECT_THROW(SaveToText(*r->Rohdatengrid, Datapath + QStringLiteral("/x.csv"), true, QStringLiteral(";"), {}, {}),
                 Exception);
    EXPECT_THROW(SaveToXLSX(*r->Rohdatengrid, Datapath + QStringLiteral("/x.xlsx"), true), Exception);
    DMorvex->MessdatenSTATUS->OnGetText = saved;
    EXPECT_FALSE(Md()->ControlsDisabled());
    EXPECT_EQ(Md()->RecNo(), before);
    EXPECT_EQ(r->Rohdatengrid->currentIndex().row(), before - 1);
    // Nothing half-written is left behind, not even the temporary file.
    EXPECT_EQ(QDir(Datapath).entryList(QDir::Files | QDir::Hidden), QStringList());

    // The header reads, the rows do not (a table the user may not read, say).
    const QString sql = Md()->SelectSQL().Text();
    Md()->SelectSQL().SetText(QStringLiteral("select * from FEHLT where AUFTRAGKEY = :AUFTRAGKEY"));
    EXPECT_ANY_THROW(w->VersuchWaehlen(Slash));
    EXPECT_FALSE(Md()->ControlsDisabled()) << "the grid would stay frozen";
    Md()->SelectSQL().SetText(sql);
    Select(Finished);
    EXPECT_GT(r->Rohdatengrid->model()->rowCount(), 0);
}

// The file system refuses the rest of a file (a full disk, a quota): the export is
// run in a child process whose file size is limited, as the system would limit it.
TEST_F(RohdatenansichtTest, AFileTheSystemRefusesLeavesNothingAndSaysWhy)
{
    Select(Finished);
    Open();
    Md()->Last();   // every row in the cache: the child needs no server
    Md()->First();
    for (const QString& art : {QStringLiteral("csv"), QStringLiteral("xls"), QStringLiteral("xlsx")}) {
        SCOPED_TRACE(art.toStdString());
        const QString file = Datapath + QStringLiteral("/voll.") + art;
        // A file of that name from before stays as it was.
        {
            QFile old(file);
            ASSERT_TRUE(old.open(QIODevice::WriteOnly));
            old.write("alt");
        }
        int pipeFd[2];
        ASSERT_EQ(::pipe(pipeFd), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(pipeFd[0]);
            ::signal(SIGXFSZ, SIG_IGN);
            rlimit limit{20000, 20000};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            QByteArray answer = "kein Fehler";
            try {
                if (art == QLatin1String("xls"))
                    SaveToXLS(*r->Rohdatengrid, file, true);
                else if (art == QLatin1String("xlsx"))
                    SaveToXLSX(*r->Rohdatengrid, file, true);
                else
                    SaveToText(*r->Rohdatengrid, file, true, QStringLiteral(";"), {}, {});
            } catch (const Exception& e) {
                answer = e.Message().toUtf8();
            }
            [[maybe_unused]] auto n = ::write(pipeFd[1], answer.constData(), answer.size());
            ::_exit(0);
        }
        ::close(pipeFd[1]);
        QByteArray answer;
        char buf[512];
        for (ssize_t n; (n = ::read(pipeFd[0], buf, sizeof buf)) > 0;)
            answer.append(buf, n);
        ::close(pipeFd[0]);
        int status = 0;
        ::waitpid(child, &status, 0);
        const QString message = QString::fromUtf8(answer);
        // The workbook's library does not pass the system's reason on: a file it
        // left cut short is found by reading it back, and said as such.
        EXPECT_TRUE(message.contains(QString::fromLocal8Bit(std::strerror(EFBIG))) ||
                    (art == QLatin1String("xlsx") && message.contains(QStringLiteral("unvollständig"))))
            << message.toStdString();
        EXPECT_TRUE(message.contains(file)) << message.toStdString();
        EXPECT_EQ(ReadAll(file), QByteArray("alt"));
        EXPECT_EQ(QDir(Datapath).entryList(QDir::Files), QStringList{QFileInfo(file).fileName()});
        QFile::remove(file);
    }
}

// After a load that failed (the server went away), the grid holds no rows while the
// charts still show the last ones: neither export may write a file of captions alone.
TEST_F(RohdatenansichtTest, AfterAFailedLoadNeitherExportWritesAFile)
{
    TPrivateServer server;
    ASSERT_TRUE(server.Start()) << server.Reason().toStdString();
    // The suite's database, served by a server that can be stopped.
    TFIBDatabase* db = DMorvex->orvexDB.get();
    db->SetConnected(false);
    const QString copy = out.filePath(QStringLiteral("Server.fdb"));
    ASSERT_TRUE(QFile::copy(data->Login().DBName, copy));
    db->SetDBName(server.ConnectString(copy));
    db->DBParams().SetText(QStringLiteral("user_name=SYSDBA\npassword=") + TestPassword +
                           QStringLiteral("\nlc_ctype=WIN1252\nsql_role_name="));
    db->SetConnected(true);
    DMorvex->Auftraege->Open();
    Select(Finished);
    Open();
    const int shown = w->fAnzahlSaetze;
    ASSERT_GT(shown, 0);

    server.Stop();
    EXPECT_ANY_THROW(r->BitBtn4Click());   // "aktualisieren" reports the lost connection
    EXPECT_EQ(w->fAnzahlSaetze, shown);    // the charts keep the rows they had
    bool asked = false;
    r->SaveDialog_Rohdaten.Runner = [&asked](TSaveDialog&) { return asked = true; };
    // Lambdas, not member pointers: GCC's alignment check misreads a member pointer
    // call through a constant list.
    const std::function<void()> clicks[] = {[this] { r->BitBtn2Click(); }, [this] { r->BitBtn7Click(); },
                                            [this] { r->BtnXlsxClick(); }};
    for (const auto& click : clicks) {
        try {
            click();
            ADD_FAILURE() << "the export went through";
        } catch (const EdxGridExportError& e) {
            EXPECT_TRUE(e.Message().startsWith(QStringLiteral("Es sind keine Messdaten geöffnet"))) << e.Message().toStdString();
        }
    }
    EXPECT_FALSE(asked);
    EXPECT_TRUE(FoMsg == nullptr || !FoMsg->isVisible());
    const QString folder = Datapath + u'/' + NormalizeName(Finished);
    EXPECT_TRUE(QDir(folder).entryList(QDir::Files).isEmpty()) << folder.toStdString();
    // Called directly, the writer refuses as well.
    EXPECT_THROW(SaveToText(*r->Rohdatengrid, folder + QStringLiteral("/direkt.csv"), true, QStringLiteral(";"), {}, {}),
                 EdxGridExportError);
    EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/direkt.csv")));
}

// The save dialog as a user meets it: a name in a folder that does not exist is
// answered with a note, and the dialog stays for another choice.
TEST(SaveDialogTest, ANameInAMissingFolderIsRefusedAndTheDialogStays)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    TSaveDialog d;
    d.Title = QStringLiteral("Rohdaten speichern");
    d.InitialDir = dir.path();
    d.FileName = dir.filePath(QStringLiteral("a.csv"));
    const QString missing = dir.filePath(QStringLiteral("fehlt/b.csv"));
    QStringList seen;   // the modal windows in the order they came up
    int step = 0;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        if (auto* fd = qobject_cast<QFileDialog*>(modal)) {
            seen << QStringLiteral("Datei");
            if (step++ == 0) {
                // Typed as a user types it: selectFile leaves a focused name field alone.
                auto* name = fd->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                if (!name) {
                    fd->reject();
                    return;
                }
                name->setText(missing);
                QMetaObject::invokeMethod(fd, "accept");   // as the Save button does
            } else {
                seen << fd->selectedFiles().value(0);
                fd->reject();
            }
        } else if (auto* mb = qobject_cast<QMessageBox*>(modal)) {
            seen << mb->text();
            mb->accept();
        }
    });
    poll.start(20);
    EXPECT_FALSE(d.Execute(nullptr));
    poll.stop();
    ASSERT_EQ(seen.size(), 4) << seen.join(u'|').toStdString();
    EXPECT_EQ(seen[0], QStringLiteral("Datei"));
    EXPECT_TRUE(seen[1].contains(QStringLiteral("Der Pfad ist nicht vorhanden."))) << seen[1].toStdString();
    EXPECT_TRUE(seen[1].contains(QStringLiteral("fehlt"))) << seen[1].toStdString();
    EXPECT_EQ(seen[2], QStringLiteral("Datei"));   // the dialog came back ...
    EXPECT_EQ(seen[3], missing);                   // ... with the name the user typed
    EXPECT_FALSE(QDir(dir.filePath(QStringLiteral("fehlt"))).exists());
    EXPECT_EQ(d.FileName, dir.filePath(QStringLiteral("a.csv")));
}

// A failed export leaves its wait note, the raw data window is modal: closing the
// main window (by its title bar or a termination request) still ends every loop.
TEST_F(RohdatenansichtTest, TheProgramEndsWithItsMainWindowWhateverIsStillUp)
{
    Select(Finished);
    w->OnGeschlossen = [] { QCoreApplication::exit(0); };   // as the program wires it
    const QString bad = Datapath + QStringLiteral("/fehlt/x.csv");
    bool modalReturned = false, timedOut = false;
    QTimer::singleShot(0, r, [&] {
        QTimer::singleShot(50, r, [&] {
            Answer(true, bad);
            EXPECT_THROW(r->BitBtn2Click(), EdxGridExportError);
            ASSERT_NE(FoMsg, nullptr);
            EXPECT_TRUE(FoMsg->isVisible());   // the note stays, as after every failed export
            QTimer::singleShot(50, w, [&] { w->close(); });
        });
        r->exec();
        modalReturned = true;
    });
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, [&] {
        timedOut = true;
        QCoreApplication::exit(1);
    });
    guard.start(15000);
    EXPECT_EQ(QApplication::exec(), 0);
    EXPECT_FALSE(timedOut);
    EXPECT_TRUE(modalReturned);
    EXPECT_FALSE(w->isVisible());
    w->OnGeschlossen = nullptr;
}
