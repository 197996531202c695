// The text export reading the cached rows without the cursor, on several threads,
// against the same export through the cursor: the same bytes over a real database with
// every kind of cell the raw data has, and the cursor where the cache cannot say it.
// The worksheet reads the cache the same way.

#include "dbaccess/FIBDataSet.h"
#include "dbaccess/pFIBDataSet.h"
#include "dbcontrols/TdxDBGrid.h"
#include "tests/dbaccess/DbTestSupport.h"
#include "views/TdxDBGridExport.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {
// More rows than two chunks: the second thread has whole chunks and a part of one.
constexpr int Rows = 2 * TdxDBGridExportText::ChunkRows + 321;

QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class TextExportTest : public TDatabaseSuite<TextExportTest> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        // Every seventh row has nulls; texts with the separator, quotes, line breaks and
        // letters beyond ASCII come round in turn; numbers of both signs, with and
        // without places; dates before and after the day zero.
        const QString rows = QStringLiteral(
            "execute block as declare i integer = 0; begin while (i < %1) do begin "
            "insert into ZEILEN values (:i, "
            "  iif(mod(:i, 7) = 3, null, dateadd(:i * 37 second to timestamp '2026-03-01 06:59:58')), "
            "  iif(mod(:i, 7) = 4, null, dateadd(:i - 50000 day to date '2026-01-31')), "
            "  iif(mod(:i, 7) = 5, null, dateadd(:i * 13 second to time '00:00:00')), "
            "  iif(mod(:i, 7) = 6, null, (:i - 4000) * 1.237), "
            "  iif(mod(:i, 7) = 0, null, (:i - 3000) / 7.0e0), "
            "  iif(mod(:i, 11) = 1, null, mod(:i, 30000) - 15000), "
            "  iif(mod(:i, 13) = 1, null, (:i - 5000) * 1234567891), "
            "  decode(mod(:i, 6), 0, null, 1, 'Wert;mit;Trennern', 2, 'er sagte \"ja\" und ''nein''', "
            "    3, 'Zeile eins' || ascii_char(13) || ascii_char(10) || 'Zeile zwei', "
            "    4, 'Prüfung µ° Größe ' || :i, 'schlicht ' || :i), "
            "  iif(mod(:i, 5) = 0, null, iif(mod(:i, 2) = 0, 'Öl', 'ab')), "
            "  iif(mod(:i, 9) = 0, null, mod(:i, 4)), "
            "  'x' || :i, 'Notiz'); "
            "i = i + 1; end end")
                                 .arg(Rows);
        return std::make_unique<TTestDatabaseFile>(
            QStringLiteral("Export.fdb"),
            QStringList{
                "create table ZEILEN (ID integer not null, ZP timestamp, TAG date, UHR time, N93 numeric(9,3), "
                "DP double precision, SI smallint, BI bigint, TXT varchar(60) character set WIN1252, "
                "CH char(6) character set WIN1252, STAT varchar(4), VERBORGEN varchar(10), MEMO blob sub_type text)"},
            QStringList{rows});
    }

protected:
    void SetUp() override
    {
        fSaved = FormatSettings;
        FormatSettings.DecimalSeparator = u',';
        FormatSettings.ThousandSeparator = u'.';
        FormatSettings.DateSeparator = u'.';
        FormatSettings.ShortDateFormat = QStringLiteral("dd.MM.yyyy");
        FormatSettings.ShortTimeFormat = QStringLiteral("HH:mm:ss");
        Connect();
        tr->StartTransaction();
        ds = std::make_unique<TpFIBDataSet>();
        ds->SetName(QStringLiteral("Zeilen"));
        ds->SetDatabase(db.get());
        ds->SetTransaction(tr.get());
        ds->SetSelectSQL(QStringLiteral("select ID, ZP, TAG, UHR, N93, DP, SI, BI, TXT, CH, STAT, VERBORGEN "
                                        "from ZEILEN order by ID"));
        source.SetDataSet(ds.get());
        grid = std::make_unique<TdxDBGrid>();
        grid->SetDataSource(&source);
    }
    void TearDown() override
    {
        grid.reset();
        ds.reset();
        TDatabaseSuite::TearDown();
        FormatSettings = fSaved;
    }

    // Opens with every row fetched and shows the columns as the raw data window would:
    // display formats on the numbers and the time stamp, a text made from the value
    // alone, one column hidden.
    void OpenAll(bool fetchAll = true)
    {
        ds->Open();
        if (fetchAll)
            ds->FetchAll();
        ds->FieldByName(QStringLiteral("ZP"))->SetDisplayFormat(QStringLiteral("dd.mm.yyyy hh:nn:ss"));
        ds->FieldByName(QStringLiteral("N93"))->SetDisplayFormat(QStringLiteral("#,##0.000;-#,##0.00;null"));
        ds->FieldByName(QStringLiteral("BI"))->SetDisplayFormat(QStringLiteral("#,##0"));
        ds->FieldByName(QStringLiteral("STAT"))->OnGetValueText = [](const TFieldValue& v) {
            return v.IsNull ? QStringLiteral("kein Status") : QStringLiteral("Stufe ") + v.Text + u'ä';
        };
        for (const char* name : {"ID", "ZP", "TAG", "UHR", "N93", "DP", "SI", "BI", "TXT", "CH", "STAT", "VERBORGEN"})
            grid->CreateColumn<TdxDBGridColumn>(QString::fromLatin1(name));
        grid->Columns(11)->SetVisible(false);
        ds->MoveBy(100);
    }

    // The export's bytes through the cache (or the cursor) and whether the cache was read.
    QByteArray Export(bool cache, bool& cacheUsed, const QString& name)
    {
        const QString file = dir.filePath(name);
        TdxDBGridExportText e(grid.get(), file, true, QStringLiteral(";"), QString(), QString());
        e.ReadCache = cache;
        e.Execute();
        cacheUsed = e.CacheUsed();
        return ReadAll(file);
    }

    QTemporaryDir dir;
    TDataSource source;
    std::unique_ptr<TdxDBGrid> grid;

private:
    TFormatSettings fSaved;
};
}

TEST_F(TextExportTest, CacheReadOnSeveralThreadsGivesTheCursorsTextAndSheet)
{
    OpenAll();
    const int recNo = ds->RecNo();
    bool used = false;
    const QByteArray cursor = Export(false, used, QStringLiteral("cursor.csv"));
    EXPECT_FALSE(used);
    const QByteArray cache = Export(true, used, QStringLiteral("cache.csv"));
    EXPECT_TRUE(used);
    ASSERT_EQ(cache.size(), cursor.size());
    EXPECT_TRUE(cache == cursor);
    EXPECT_EQ(ds->RecNo(), recNo) << "the cursor stays where it was";
    EXPECT_FALSE(ds->ControlsDisabled());

    // What the file holds: the captions without the hidden column, every row, and the
    // cells of each kind as the fields show them.
    EXPECT_TRUE(cache.startsWith("ID;ZP;TAG;UHR;N93;DP;SI;BI;TXT;CH;STAT\r\n\r\n0;01.03.2026 06:59:58;"));
    EXPECT_FALSE(cache.contains("VERBORGEN"));
    EXPECT_FALSE(cache.contains(";x12"));
    EXPECT_EQ(cache.count("\r\n"), Rows + 2 + (Rows + 2) / 6) << "a row per line, plus the texts' own breaks";
    EXPECT_TRUE(cache.contains(";Wert;mit;Trennern;"));
    EXPECT_TRUE(cache.contains(";er sagte \"ja\" und 'nein';"));
    EXPECT_TRUE(cache.contains(";Zeile eins\r\nZeile zwei;"));
    EXPECT_TRUE(cache.contains(";Pr\xFC" "fung \xB5\xB0 Gr\xF6\xDF" "e 16;\xD6l;Stufe 0\xE4\r\n"));
    EXPECT_TRUE(cache.contains(";kein Status\r\n"));
    EXPECT_TRUE(cache.contains("\r\n8;01.03.2026 07:04:54;") && cache.contains(";-4.938,10;")) << "row 8 and its number";
    EXPECT_TRUE(cache.contains(";null;")) << "the zero section of the display format";
    EXPECT_TRUE(cache.contains(";-6.172.839.455.000;")) << "a big integer with thousands";

    // The worksheet's numbers and labels from the cache are the cursor's, record by record.
    QByteArray sheets[2];
    for (int fromCache = 0; fromCache < 2; ++fromCache) {
        const QString file = dir.filePath(QStringLiteral("blatt%1.xls").arg(fromCache));
        TdxDBGridExportExcel e(grid.get(), file, true);
        e.ReadCache = fromCache == 1;
        e.Execute();
        EXPECT_EQ(e.CacheUsed(), fromCache == 1);
        sheets[fromCache] = ReadAll(file);
    }
    ASSERT_GT(sheets[0].size(), Rows * 100);
    EXPECT_TRUE(sheets[1] == sheets[0]);
    EXPECT_TRUE(sheets[1].contains("Pr\xFC" "fung \xB5\xB0 Gr\xF6\xDF" "e 16"));

    // A number rounded by its scale reads otherwise than stored: the cursor.
    auto* n93 = dynamic_cast<TFIBFloatField*>(ds->FieldByName(QStringLiteral("N93")));
    auto* dp = dynamic_cast<TFIBFloatField*>(ds->FieldByName(QStringLiteral("DP")));
    ASSERT_TRUE(n93 || dp);
    (n93 ? n93 : dp)->RoundByScale = true;
    TdxDBGridExportExcel e(grid.get(), dir.filePath(QStringLiteral("gerundet.xls")), true);
    e.Execute();
    EXPECT_FALSE(e.CacheUsed());
}

// Rows the cache cannot give as the cursor does take the cursor; the file is the same.
TEST_F(TextExportTest, WhereTheCacheCannotSayTheCursorIsTaken)
{
    OpenAll(false);
    ASSERT_FALSE(ds->AllFetched());
    bool used = true;
    const QByteArray fetching = Export(true, used, QStringLiteral("fetching.csv"));
    EXPECT_FALSE(used) << "rows not fetched yet";
    ASSERT_TRUE(ds->AllFetched());
    EXPECT_TRUE(fetching == Export(true, used, QStringLiteral("fetched.csv")));
    EXPECT_TRUE(used);

    // A text event reads the row through the cursor.
    TField* ch = ds->FieldByName(QStringLiteral("CH"));
    ch->OnGetText = [](TField* f, QString& text, bool) { text = f->DataSet()->RecNo() % 2 ? QStringLiteral("u") : f->AsString(); };
    const QByteArray withEvent = Export(true, used, QStringLiteral("event.csv"));
    EXPECT_FALSE(used);
    EXPECT_TRUE(withEvent.contains(";u;"));
    EXPECT_TRUE(withEvent == Export(false, used, QStringLiteral("event-cursor.csv")));
    ch->OnGetText = nullptr;

    // A filtered dataset shows fewer rows than the cache holds.
    ds->OnFilterRecord = [](TDataSet* d, bool& accept) { accept = d->FieldByName(QStringLiteral("ID"))->AsInteger() % 3 == 0; };
    ds->SetFiltered(true);
    const QByteArray filtered = Export(true, used, QStringLiteral("filtered.csv"));
    EXPECT_FALSE(used);
    EXPECT_EQ(filtered.count("\r\n") - filtered.count("Zeile eins\r\n"), 2 + (Rows + 2) / 3);
    ds->SetFiltered(false);

    // A field whose text is not its value's (a memo shows a marker) takes the cursor too.
    grid.reset();
    ds->Close();
    ds->SetSelectSQL(QStringLiteral("select ID, MEMO from ZEILEN where ID < 20 order by ID"));
    ds->Open();
    ds->FetchAll();
    grid = std::make_unique<TdxDBGrid>();
    grid->SetDataSource(&source);
    grid->CreateColumn<TdxDBGridColumn>(QStringLiteral("ID"));
    grid->CreateColumn<TdxDBGridColumn>(QStringLiteral("MEMO"));
    const QByteArray memo = Export(true, used, QStringLiteral("memo.csv"));
    EXPECT_FALSE(used);
    EXPECT_TRUE(memo.contains("\r\n19;(MEMO)\r\n"));
}

// A row that fails in the second chunk fails the export with the cursor's message,
// and nothing is left behind, the file of before included.
TEST_F(TextExportTest, AFailingRowEndsTheExportAsThroughTheCursor)
{
    OpenAll();
    // The first row of the second chunk with a plain text.
    int bad = TdxDBGridExportText::ChunkRows;
    while (bad % 6 != 5)
        ++bad;
    const QString badText = QStringLiteral("schlicht %1").arg(bad);
    ds->FieldByName(QStringLiteral("TXT"))->OnGetValueText = [badText](const TFieldValue& v) -> QString {
        if (v.Text == badText)
            throw EConvertError(v.Text + QStringLiteral(" ist unlesbar"));
        return v.Text;
    };
    const QString file = dir.filePath(QStringLiteral("fehler.csv"));
    QFile before(file);
    ASSERT_TRUE(before.open(QIODevice::WriteOnly));
    before.write("alt");
    before.close();
    QString messages[2];
    for (int cache = 0; cache < 2; ++cache) {
        TdxDBGridExportText e(grid.get(), file, true, QStringLiteral(";"), QString(), QString());
        e.ReadCache = cache == 1;
        messages[cache] = ThrownMessage([&] { e.Execute(); });
        EXPECT_EQ(e.CacheUsed(), cache == 1);
        EXPECT_EQ(ReadAll(file), QByteArray("alt"));
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("fehler.csv")});
    }
    EXPECT_EQ(messages[0], badText + QStringLiteral(" ist unlesbar"));
    EXPECT_EQ(messages[1], messages[0]);
    EXPECT_FALSE(ds->ControlsDisabled());
}
