// The cached dataset against a real embedded database: fetch on demand, every
// column type through its field class, long strings in the string store, CHAR
// trimming, navigation, sort, locate, bookmarks, editing on the cache and the
// rules at the end of a transaction.

#include "DbTestSupport.h"
#include "dbaccess/FIBServerCount.h"
#include "dbaccess/pFIBDataSet.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QCoreApplication>
#include <QDate>
#include <algorithm>
#include <bit>
#include <cstdint>
#include <QTime>

class DataSetTest : public TDatabaseSuite<DataSetTest> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        QStringList rows;
        for (int m = 1; m <= 3; ++m)
            for (int k = 1; k <= m; ++k)
                rows << QStringLiteral("insert into DET values (%1, %2)").arg(m).arg(m * 10 + k);
        for (int i = 1; i <= 25; ++i)
            rows << QStringLiteral("insert into ROWS_ values (%1, 'Name %2', %3)")
                        .arg(i)
                        .arg(i % 5)
                        .arg((i * 7) % 11);
        return std::make_unique<TTestDatabaseFile>(
            "DataSet.fdb",
            QStringList{
                "create table VALS (ID integer not null primary key, SI smallint, I integer, BI bigint, "
                "N52 numeric(5,2), N182 numeric(18,2), N186 numeric(18,6), F float, DP double precision, "
                "DT date, TM time, TS timestamp, CH char(10), VC varchar(10), KOMMENTAR varchar(2000), "
                "BT blob sub_type text, BO boolean, VU varchar(10) character set UTF8)",
                "create table ROWS_ (ID integer not null primary key, NAME varchar(20), V double precision)",
                "create table DET (MID integer, X integer)"},
            rows);
    }

protected:
    void SetUp() override
    {
        Connect();
        tr->StartTransaction();
        tr->ExecSQLImmediate("delete from VALS");
    }
    void Exec(const QString& sql) { tr->ExecSQLImmediate(sql.toUtf8()); }
    // The rows of ds walked in V descending, then ID ascending order.
    void ExpectVDescendingThenId()
    {
        double lastV = 1e9;
        int lastId = 0;
        for (ds->First(); !ds->Eof(); ds->Next()) {
            const double v = ds->FieldByName("V")->AsFloat();
            const int id = ds->FieldByName("ID")->AsInteger();
            EXPECT_TRUE(v < lastV || (v == lastV && id > lastId)) << "ID " << id;
            lastV = v;
            lastId = id;
        }
    }
};

TEST_F(DataSetTest, RowsAreFetchedOnlyWhenNeeded)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->Open();
    EXPECT_EQ(ds->RecordCount(), 1);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 1);
    ds->Next();
    ds->Next();
    EXPECT_EQ(ds->RecordCount(), 3);
    EXPECT_EQ(ds->RecNo(), 3);
    EXPECT_EQ(ds->FetchNext(5), 5);
    EXPECT_EQ(ds->RecordCount(), 8);
    EXPECT_EQ(ds->RecNo(), 3);
    ds->Last();
    EXPECT_EQ(ds->RecordCount(), 25);
    EXPECT_TRUE(ds->AllFetched());
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 25);
    EXPECT_TRUE(ds->Eof());
    ds->Next();
    EXPECT_TRUE(ds->Eof());
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 25);

    ds->First();
    EXPECT_TRUE(ds->Bof());
    ds->Prior();
    EXPECT_EQ(ds->RecNo(), 1);
    EXPECT_EQ(ds->MoveBy(30), 24);
    EXPECT_TRUE(ds->Eof());
    EXPECT_EQ(ds->MoveBy(-4), -4);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 21);
    ds->SetRecNo(7);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 7);

    // A walk from first to last sees every row once, in order.
    int expected = 1;
    for (ds->First(); !ds->Eof(); ds->Next())
        EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), expected++);
    EXPECT_EQ(expected, 26);

    // Reopening starts again with one fetched row.
    ds->Close();
    EXPECT_EQ(ds->RecordCount(), 0);
    ds->Open();
    EXPECT_EQ(ds->RecordCount(), 1);
    ds->FetchAll();
    EXPECT_EQ(ds->RecordCount(), 25);
}

// The count asked on a second thread answers what the count on this one answers,
// parameters and rows committed after the fetch included; a count the server
// refuses there is asked again here and fails with the server's own message.
// psAskRecordCount answers RecordCount from the server with one row fetched.
TEST_F(DataSetTest, TheCountAskedAsideIsTheServersCount)
{
    ds = MakeDataSet("select * from ROWS_ where ID > :LOW order by ID");
    ds->SetPrepareOptions(ds->PrepareOptions() | psAskRecordCount);
    ds->Prepare();
    ds->ParamByName("LOW")->SetAsInteger(5);
    ds->Open();
    EXPECT_EQ(ds->RecordCount(), 20);
    EXPECT_EQ(ds->RecordsFetched(), 1);
    ds->FetchAll();
    {
        TFIBServerCount count(*ds);
        EXPECT_EQ(count.Result(), 20);
        EXPECT_TRUE(count.AnsweredAside());
    }
    Exec("insert into ROWS_ values (26, 'neu', 1)");
    {
        TFIBServerCount count(*ds);
        EXPECT_EQ(count.Result(), 21);
        EXPECT_EQ(ds->RecordsFetched(), 20);
    }
    {
        TFIBServerCount dropped(*ds);   // never asked for its result: it waits when it goes
    }
    ds->Close();

    ds = MakeDataSet("select ID from ROWS_ where 1 / (ID - :K) > 0");
    ds->Prepare();
    ds->ParamByName("K")->SetAsInteger(3);
    const QString expected = ThrownMessage([&] { (void)ds->ServerRecordCount(); });
    ASSERT_TRUE(expected.contains("zero", Qt::CaseInsensitive)) << expected.toStdString();
    TFIBServerCount failing(*ds);
    EXPECT_EQ(ThrownMessage([&] { (void)failing.Result(); }), expected);
    EXPECT_FALSE(failing.AnsweredAside());
}

TEST_F(DataSetTest, EveryMappedTypeReadsBackThroughItsField)
{
    // No row yet: both ends, and the fields of this opening.
    ds = MakeDataSet("select * from VALS order by ID");
    ds->Open();
    EXPECT_TRUE(ds->Eof() && ds->Bof());
    EXPECT_EQ(ds->RecordCount(), 0);
    EXPECT_EQ(ds->Fields().Count(), 18);
    EXPECT_TRUE(ds->FieldByName("DP")->IsNull());
    ds->Next();
    ds->Last();
    EXPECT_TRUE(ds->Eof());
    ds->Close();
    EXPECT_EQ(ds->Fields().Count(), 0);

    Exec("insert into VALS values (1, -12, 123456, 9007199254740993, 123.45, 1234567890123.25, 12.345678, 1.5, "
         "2.25e10, '2024-02-29', '13:45:30.1230', '2024-02-29 13:45:30.5000', 'abc', 'xyz  ', 'long', "
         "'memo text', true, 'Grüße')");
    Exec("insert into VALS (ID) values (2)");
    ds->Open();

    auto f = [&](const char* name) { return ds->FieldByName(name); };
    EXPECT_NE(dynamic_cast<TFIBSmallIntField*>(f("SI")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBIntegerField*>(f("I")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBBCDField*>(f("BI")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBFloatField*>(f("N52")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBBCDField*>(f("N182")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBFloatField*>(f("N186")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBFloatField*>(f("F")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBFloatField*>(f("DP")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBDateField*>(f("DT")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBTimeField*>(f("TM")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBDateTimeField*>(f("TS")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBStringField*>(f("CH")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBMemoField*>(f("BT")), nullptr);
    EXPECT_NE(dynamic_cast<TFIBBooleanField*>(f("BO")), nullptr);
    EXPECT_EQ(f("N182")->Size(), 2);
    EXPECT_EQ(f("CH")->Size(), 10);

    EXPECT_EQ(f("SI")->AsInteger(), -12);
    EXPECT_EQ(f("I")->AsInteger(), 123456);
    EXPECT_DOUBLE_EQ(f("BI")->AsFloat(), 9007199254740992.0);
    EXPECT_DOUBLE_EQ(f("N52")->AsFloat(), 123.45);
    EXPECT_DOUBLE_EQ(f("N182")->AsFloat(), 1234567890123.25);
    EXPECT_NEAR(f("N186")->AsFloat(), 12.345678, 1e-12);
    EXPECT_DOUBLE_EQ(f("F")->AsFloat(), 1.5);
    EXPECT_DOUBLE_EQ(f("DP")->AsFloat(), 2.25e10);
    EXPECT_EQ(DateTimeToQDateTime(f("DT")->AsDateTime()).date(), QDate(2024, 2, 29));
    EXPECT_EQ(DateTimeToQDateTime(f("TM")->AsDateTime()).time(), QTime(13, 45, 30, 123));
    EXPECT_EQ(DateTimeToQDateTime(f("TS")->AsDateTime()), QDateTime(QDate(2024, 2, 29), QTime(13, 45, 30, 500)));
    EXPECT_EQ(f("CH")->AsString(), "abc");
    EXPECT_EQ(f("VC")->AsString(), "xyz");
    EXPECT_EQ(f("KOMMENTAR")->AsString(), "long");
    EXPECT_EQ(f("BT")->AsString(), "memo text");
    EXPECT_TRUE(f("BO")->AsBoolean());
    EXPECT_EQ(f("VU")->AsString(), QString::fromUtf8("Grüße"));
    // Automatic formats: a scaled column gets its decimals, dates their pattern.
    EXPECT_EQ(f("N52")->DisplayFormat(), "#,##0.00");
    EXPECT_EQ(f("N52")->DisplayText(), FormatFloat("#,##0.00", 123.45));
    EXPECT_EQ(f("TS")->DisplayText(), "29.02.2024 13:45");

    ds->Next();
    for (TField* field : ds->Fields()) {
        if (field->FieldName() != "ID") {
            EXPECT_TRUE(field->IsNull()) << field->FieldName().toStdString();
        }
    }
    EXPECT_EQ(f("DP")->AsFloat(), 0.0);
    EXPECT_EQ(f("CH")->AsString(), "");

    // By option a large integer field, exact past a double's 53 bits, and BCD for scaled ones.
    ds->Close();
    ds->SetPrepareOptions(ds->PrepareOptions() | psUseLargeIntField | psSQLINT64ToBCD);
    ds->Open();
    EXPECT_NE(dynamic_cast<TFIBLargeIntField*>(f("BI")), nullptr);
    EXPECT_EQ(f("BI")->AsLargeInt(), 9007199254740993LL);
    EXPECT_NE(dynamic_cast<TFIBBCDField*>(f("N186")), nullptr);
    EXPECT_EQ(f("N186")->Size(), 6);
    const QString message = ThrownMessage([&] { ds->SetPrepareOptions(ds->PrepareOptions() & ~psUseLargeIntField); });
    EXPECT_TRUE(message.contains("change psUseBooleanField or psSQLINT64ToBCD or psUseLargeIntField")) << message.toStdString();
}

TEST_F(DataSetTest, LongTextCostsOnlyItsTrimmedLengthAndCharFieldsAreTrimmed)
{
    Exec("insert into VALS (ID, CH, KOMMENTAR) values (1, 'abc', 'abc' || lpad('', 1997, ' '))");
    Exec("insert into VALS (ID, CH, KOMMENTAR) values (2, ' x', '')");
    ds = MakeDataSet("select ID, CH, KOMMENTAR from VALS order by ID");
    ds->Open();
    ds->FetchAll();
    const TFIBFieldDescr& d = ds->FieldDescriptors()[2];
    EXPECT_TRUE(d.IsLongString);
    EXPECT_EQ(d.Size, 0);
    EXPECT_FALSE(ds->FieldDescriptors()[1].IsLongString);
    EXPECT_LT(ds->RecordsCache()->StoredRecordSize(), 40);
    // Far below the 2000 declared: the trimmed text, its length word and the row index.
    EXPECT_LT(ds->RecordsCache()->Strings(d.LongStringIndex).Bytes(), 40u);
    EXPECT_EQ(ds->FieldByName("KOMMENTAR")->AsString(), "abc");
    EXPECT_EQ(ds->FieldByName("CH")->AsString(), "abc");
    ds->Next();
    EXPECT_EQ(ds->FieldByName("CH")->AsString(), " x");
    EXPECT_FALSE(ds->FieldByName("KOMMENTAR")->IsNull());
    EXPECT_EQ(ds->FieldByName("KOMMENTAR")->AsString(), "");
    ds->Close();

    ds->SetOptions(ds->Options() & ~poTrimCharFields);
    ds->Open();
    EXPECT_EQ(ds->FieldByName("CH")->AsString(), "abc       ");
}

// Whole columns and row texts read from the fetched rows must be what the fields give
// row by row, in the cursor's order, nulls, time stamps, scaled numbers and a client
// sort included; where a field's number or text is more than the stored value, there
// is no such reader and the caller goes back to the cursor.
TEST_F(DataSetTest, ColumnsAndRowTextsReadAtOnceAreWhatTheFieldsGiveRowByRow)
{
    for (int i = 1; i <= 30; ++i)
        Exec(i % 6 == 0 ? QStringLiteral("insert into VALS (ID) values (%1)").arg(i)
                        : QStringLiteral("insert into VALS (ID, SI, I, BI, N52, N182, N186, F, DP, DT, TM, TS, CH, VC, "
                                         "KOMMENTAR, VU) values (%1, %2, %3, %4, %5, %6, %7, %8, %9, "
                                         "dateadd(%1 * 400 day to date '1899-01-01'), "
                                         "dateadd(%1 * 3001 millisecond to time '23:59:00'), "
                                         "dateadd(%1 * 997 millisecond to timestamp '2026-03-29 01:59:58.0010'), "
                                         "'c%1  ', 'v;\"%1\"', 'lang ' || %1, 'Grüße %1')")
                              .arg(i)
                              .arg(i * 1000 - 15000)
                              .arg(i * 77777)
                              .arg(qint64(i) * 987654321987LL)
                              .arg(i * 1.25 - 20)
                              .arg(i * 12345.675, 0, 'f', 2)
                              .arg(i / 7.0, 0, 'f', 6)
                              .arg(i / 3.0)
                              .arg(1.0 / i - 0.5, 0, 'g', 17));
    ds = MakeDataSet("select * from VALS order by ID");
    ds->Open();
    const std::vector<TField*> numbers{ds->FieldByName("N52"), ds->FieldByName("F"), ds->FieldByName("DP"),
                                       ds->FieldByName("TS")};
    ds->FieldByName("I")->SetDisplayFormat("#,##0 Stk");
    ds->FieldByName("DP")->SetDisplayFormat("0.000E+00");
    ds->FieldByName("TM")->SetDisplayFormat("hh:nn:ss.zzz");
    ds->FieldByName("SI")->OnGetValueText = [](const TFieldValue& v) {
        return v.IsNull ? QStringLiteral("leer") : QStringLiteral("SI=%1").arg(v.Integer);
    };
    const QStringList names{"ID", "SI", "I", "BI", "N52", "N182", "N186", "F", "DP", "DT", "TM", "TS", "CH", "VC",
                            "KOMMENTAR", "VU"};
    std::vector<const TField*> fields;
    for (const QString& n : names)
        fields.push_back(ds->FieldByName(n));
    EXPECT_FALSE(ds->CanReadFloats(numbers)) << "rows still on the server";
    EXPECT_EQ(ds->RowTexts(fields), nullptr) << "rows still on the server";
    ds->FetchAll();
    ds->DoSort({"DP"}, {false});   // the cursor's order, not the slots'
    ASSERT_TRUE(ds->CanReadFloats(numbers));
    const auto texts = ds->RowTexts(fields);
    ASSERT_NE(texts, nullptr);
    ASSERT_EQ(texts->RowCount(), 30);
    ASSERT_EQ(texts->ColumnCount(), static_cast<int>(fields.size()));

    std::vector<std::vector<double>> columns(numbers.size(), std::vector<double>(30, -1.0));
    std::vector<double*> out;
    for (auto& c : columns)
        out.push_back(c.data());
    ds->First();
    const TBookmark before = ds->Bookmark();
    EXPECT_EQ(ds->ReadFloats(numbers, out, 3), 3) << "no more than the arrays hold";
    EXPECT_EQ(columns[0][3], -1.0);
    ASSERT_EQ(ds->ReadFloats(numbers, out, 1000), 30);
    EXPECT_EQ(ds->Bookmark(), before) << "the cursor stays";
    int row = 0;
    for (ds->First(); !ds->Eof(); ds->Next(), ++row) {
        for (std::size_t k = 0; k < numbers.size(); ++k)
            ASSERT_EQ(std::bit_cast<std::uint64_t>(columns[k][std::size_t(row)]),
                      std::bit_cast<std::uint64_t>(numbers[k]->AsFloat()))
                << numbers[k]->FieldName().toStdString() << " row " << row;
        for (std::size_t k = 0; k < fields.size(); ++k)
            ASSERT_EQ(texts->Text(row, static_cast<int>(k)), fields[k]->DisplayText())
                << names[static_cast<int>(k)].toStdString() << " row " << row;
    }
    EXPECT_EQ(row, 30);
    ds->First();
    EXPECT_EQ(ds->FieldByName("VU")->DisplayText(), QString::fromUtf8("Grüße 1")) << "the largest DP first";
    EXPECT_EQ(ds->FieldByName("SI")->DisplayText(), QStringLiteral("SI=-14000"));

    // Fields that read otherwise than their stored number or text.
    EXPECT_FALSE(ds->CanReadFloats({ds->FieldByName("I")}));
    EXPECT_FALSE(ds->CanReadFloats({ds->FieldByName("CH")}));
    EXPECT_FALSE(ds->CanReadFloats({ds->FieldByName("BI")}));
    auto* rounded = dynamic_cast<TFIBFloatField*>(ds->FieldByName("N52"));
    ASSERT_NE(rounded, nullptr);
    rounded->RoundByScale = true;
    EXPECT_FALSE(ds->CanReadFloats(numbers));
    rounded->RoundByScale = false;
    EXPECT_EQ(ds->RowTexts({ds->FieldByName("BO")}), nullptr);
    EXPECT_EQ(ds->RowTexts({ds->FieldByName("BT")}), nullptr);
    TField* ch = ds->FieldByName("CH");
    ch->OnGetText = [](TField*, QString& text, bool) { text = "x"; };
    EXPECT_EQ(ds->RowTexts(fields), nullptr);
    ch->OnGetText = nullptr;
    // Rows that are not all there to read: a filter or an edit.
    ds->SetFilter("ID > 20");
    ds->SetFiltered(true);
    EXPECT_FALSE(ds->CanReadFloats(numbers));
    EXPECT_EQ(ds->RowTexts(fields), nullptr);
    ds->SetFiltered(false);
    ds->Edit();
    EXPECT_FALSE(ds->CanReadFloats(numbers));
    EXPECT_EQ(ds->RowTexts(fields), nullptr);
    ds->Cancel();
    EXPECT_TRUE(ds->CanReadFloats(numbers));
    EXPECT_NE(ds->RowTexts(fields), nullptr);
}

TEST_F(DataSetTest, SortLocateLookupAndBookmarks)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->Open();
    // Locate fetches as it searches, and only as far as it must.
    ASSERT_TRUE(ds->Locate("ID", 12, {}));
    EXPECT_EQ(ds->RecNo(), 12);
    EXPECT_EQ(ds->RecordsFetched(), 12);
    // It starts at the current row: NAME repeats every five rows, so from row 4
    // the next "Name 3" is ID 8, not 3.
    ds->SetRecNo(4);
    EXPECT_TRUE(ds->Locate("NAME", "Name 3", {}));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);
    // From row 9 the cache holds no later match; the one before the cursor wins
    // over fetching row 13.
    ds->SetRecNo(9);
    EXPECT_TRUE(ds->Locate("NAME", "Name 3", {}));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 3);
    EXPECT_EQ(ds->RecordsFetched(), 12);
    ds->SetRecNo(12);
    EXPECT_FALSE(ds->Locate("ID", 99, {}));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 12);
    ds->First();
    EXPECT_TRUE(ds->Locate("NAME", "name 3", loCaseInsensitive));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 3);
    EXPECT_TRUE(ds->LocateNext("NAME", "name 3", loCaseInsensitive));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);
    EXPECT_TRUE(ds->LocateNext("NAME", "Name", loPartialKey));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 9);
    EXPECT_TRUE(ds->LocatePrior("NAME", "Name 3", {}));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);
    EXPECT_EQ(ds->Lookup("ID", 20, "NAME").toString(), "Name 0");
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);

    const TBookmark mark = ds->Bookmark();
    // Sort: V descending, then ID ascending; the cursor stays on its row.
    ds->DoSort({"V", "ID"}, {false, true});
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);
    EXPECT_EQ(ds->RecordCount(), 25);
    ExpectVDescendingThenId();
    ds->GotoBookmark(mark);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 8);
    EXPECT_TRUE(ThrownMessage([&] { ds->DoSort({"NOPE"}, {true}); }).contains("Can't sort. Invalid parameter: Fields[NOPE]"));

    ds->UpdateSQL().SetText("update ROWS_ set NAME = ?NAME where ID = ?OLD_ID");
    ds->Edit();
    EXPECT_EQ(ThrownMessage([&] { (void)ds->Bookmark(); }), "Can't use bookmark. DataSet not in browse mode");
    ds->Cancel();

    // Without poKeepSorting a reopen forgets the order; with it the order comes back.
    ds->DoSort({"V"}, {false});
    ds->Close();
    ds->Open();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 1);
    ds->SetOptions(ds->Options() | poKeepSorting);
    ds->DoSort({"V"}, {false});
    ds->Close();
    ds->Open();
    EXPECT_EQ(ds->RecNo(), 1);
    EXPECT_DOUBLE_EQ(ds->FieldByName("V")->AsFloat(), 10.0);
    EXPECT_EQ(ds->RecordCount(), 25);
}

TEST_F(DataSetTest, FilteredNavigationSkipsRejectedRowsFetchesAsItGoesAndNumbersTheRest)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->OnFilterRecord = [](TDataSet* d, bool& accept) { accept = d->FieldByName("ID")->AsInteger() % 10 == 0; };
    ds->Open();
    ds->SetFiltered(true);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 10);
    EXPECT_EQ(ds->RecordsFetched(), 10);
    ds->Next();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 20);
    ds->Next();
    EXPECT_TRUE(ds->Eof());
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 20);
    ds->Prior();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 10);
    ds->Prior();
    EXPECT_TRUE(ds->Bof());
    ds->SetFiltered(false);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 1);

    // Filtered rows are positioned and read by their filtered number.
    ds->Close();
    ds->OnFilterRecord = [](TDataSet* d, bool& accept) { accept = d->FieldByName("ID")->AsInteger() % 3 == 0; };
    ds->Open();
    ds->SetFiltered(true);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 3);
    EXPECT_EQ(ds->RecNo(), 1);
    // A grid reads row n of what the filter shows, fetching only that far.
    ASSERT_TRUE(ds->SelectActiveRow(3));
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 12);
    ds->SelectCursorRow();
    EXPECT_EQ(ds->RecordsFetched(), 12);
    EXPECT_EQ(ds->RecordCount(), 4);
    EXPECT_FALSE(ds->SelectActiveRow(8));
    ds->SelectCursorRow();
    ds->SetRecNo(5);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 15);
    EXPECT_EQ(ds->RecNo(), 5);
    ds->Last();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 24);
    EXPECT_EQ(ds->RecNo(), 8);
    EXPECT_EQ(ds->RecordCount(), 8);
    EXPECT_TRUE(ds->Locate("ID", 6, {}));
    EXPECT_EQ(ds->RecNo(), 2);
    EXPECT_FALSE(ds->Locate("ID", 7, {}));
    ds->SetFiltered(false);
    EXPECT_EQ(ds->RecordCount(), 25);
}

TEST_F(DataSetTest, WaitCursorEndScrollAndCachedCalcFields)
{
    std::vector<int> pushed;
    int depth = 0, maxDepth = 0;
    ScreenCursorPush = [&](TCursor c) {
        pushed.push_back(c);
        maxDepth = std::max(maxDepth, ++depth);
    };
    ScreenCursorPop = [&] { --depth; };
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->Open();
    ds->Next();
    EXPECT_TRUE(pushed.empty());  // crDefault holds no cursor
    ds->Close();
    ds->SetSQLScreenCursor(crSQLWait);
    ds->Open();
    ds->Next();
    ds->Last();
    EXPECT_GE(pushed.size(), 3u);
    EXPECT_TRUE(std::all_of(pushed.begin(), pushed.end(), [](int c) { return c == crSQLWait; }));
    EXPECT_EQ(depth, 0);
    // A failing open gives its cursor back too.
    ds->Close();
    ds->SetSelectSQL("select NOPE from ROWS_");
    EXPECT_FALSE(ThrownMessage([&] { ds->Open(); }).isEmpty());
    EXPECT_EQ(depth, 0);
    ScreenCursorPush = nullptr;
    ScreenCursorPop = nullptr;

    ds = MakeDataSet("select * from ROWS_ order by ID");
    int endScrolls = 0;
    ds->OnEndScroll = [&](TDataSet*) { ++endScrolls; };
    ds->Open();
    for (int i = 0; i < 5; ++i)
        ds->Next();
    EXPECT_EQ(endScrolls, 0);
    EXPECT_TRUE(WaitFor([&] { return endScrolls > 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(endScrolls, 1);  // one notice for the burst

    // poCacheCalcFields: each row is calculated once, however often it is read.
    ds = MakeDataSet("select * from ROWS_ order by ID");
    auto* calc = new TFloatField(ds.get(), "DSCALC", "CALC");
    calc->SetFieldKind(fkCalculated);
    auto* id = new TIntegerField(ds.get(), "DSID", "ID");
    (void)id;
    int calls = 0;
    ds->OnCalcFields = [&](TDataSet* d) {
        ++calls;
        d->FieldByName("CALC")->SetAsFloat(d->FieldByName("ID")->AsInteger() * 2.0);
    };
    ds->SetOptions(ds->Options() | poCacheCalcFields);
    ds->Open();
    for (int pass = 0; pass < 2; ++pass)
        for (ds->First(); !ds->Eof(); ds->Next())
            EXPECT_DOUBLE_EQ(ds->FieldByName("CALC")->AsFloat(), ds->FieldByName("ID")->AsInteger() * 2.0);
    EXPECT_EQ(calls, 25);
    ds->Close();
    ds->SetOptions(ds->Options() & ~poCacheCalcFields);
    calls = 0;
    ds->Open();
    for (int pass = 0; pass < 2; ++pass)
        for (ds->First(); !ds->Eof(); ds->Next()) {
        }
    EXPECT_GT(calls, 25);
}

TEST_F(DataSetTest, UpdateRecordTypesChooseWhichCachedRowsShow)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->UpdateSQL().SetText("update ROWS_ set NAME = ?NAME where ID = ?OLD_ID");
    ds->DeleteSQL().SetText("delete from ROWS_ where ID = ?OLD_ID");
    ds->SetCachedUpdates(true);
    ds->Open();
    ds->FetchAll();
    ds->SetRecNo(3);
    ds->Delete();
    ds->SetRecNo(5);  // ID 6
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("changed");
    ds->Post();
    EXPECT_EQ(ds->RecordCount(), 24);

    ds->SetUpdateRecordTypes(rtModified);
    EXPECT_EQ(ds->RecordCount(), 1);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 6);

    ds->SetUpdateRecordTypes(rtDeleted | rtUnmodified);
    EXPECT_EQ(ds->RecordCount(), 24);
    ASSERT_TRUE(ds->Locate("ID", 3, {}));
    EXPECT_EQ(ds->RecNo(), 3);  // back at its place
    EXPECT_EQ(ds->CachedUpdateStatus(), cusDeleted);
    EXPECT_FALSE(ds->Locate("ID", 6, {}));

    ds->SetUpdateRecordTypes(rtModified | rtInserted | rtUnmodified);
    EXPECT_EQ(ds->RecordCount(), 24);
    ds->First();
    ds->Next();
    ds->Next();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 4);
}

TEST_F(DataSetTest, OrderInfoAndSortByText)
{
    ds = MakeDataSet("select ID, NAME as N, V from ROWS_ order by V desc, ROWS_.ID, upper(NAME)");
    ds->Open();
    ASSERT_EQ(ds->OrderInfo().size(), 2u);
    EXPECT_EQ(ds->OrderInfo()[0].FieldName, "V");
    EXPECT_FALSE(ds->OrderInfo()[0].Ascending);
    EXPECT_EQ(ds->OrderInfo()[1].FieldName, "ID");
    EXPECT_TRUE(ds->OrderInfo()[1].Ascending);
    ds->Close();
    ds->SetSelectSQL("select ID, V from ROWS_ order by 2, NAME");
    EXPECT_EQ(ThrownMessage([&] { ds->Open(); }),
              "DS.\r\nField NAME use in order, but not presented in fields section of SelectSQL");
    ds->SetPrepareOptions(ds->PrepareOptions() & ~psGetOrderInfo);
    ds->Open();
    EXPECT_TRUE(ds->OrderInfo().empty());

    ds->DoSortEx("V desc; ID");
    ExpectVDescendingThenId();
    EXPECT_TRUE(ThrownMessage([&] { ds->DoSortEx("V + 1"); }).contains("Can't sort. Invalid parameter: Fields[V + 1]"));
}

TEST_F(DataSetTest, ChecksAndMessagesWithoutWritingStatementsAndWhileOpen)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->Open();
    EXPECT_EQ(ThrownMessage([&] { ds->Insert(); }), "Can't insert into dataset. (DS)");
    EXPECT_EQ(ds->State(), dsBrowse);
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("x");
    EXPECT_EQ(ThrownMessage([&] { ds->Post(); }), "Can't update. (DS)");
    EXPECT_EQ(ds->State(), dsEdit);
    ds->Cancel();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "Name 1");
    EXPECT_EQ(ThrownMessage([&] { ds->Delete(); }), "Can't delete from dataset. (DS)");
    EXPECT_EQ(ds->RecordCount(), 1);
    EXPECT_EQ(ThrownMessage([&] { ds->Refresh(); }), "Can't refresh row. (DS)");
    // "No Action" is a statement that says nothing is written.
    ds->DeleteSQL().SetText("No Action");
    EXPECT_FALSE(ds->CanDelete());
    ds->DeleteSQL().SetText("delete from ROWS_ where ID = ?OLD_ID");
    EXPECT_TRUE(ds->CanDelete());
    ds->SetAllowedUpdateKinds(ukModify | ukInsert);
    EXPECT_FALSE(ds->CanDelete());

    // What an open dataset refuses, and a closed or empty one.
    EXPECT_EQ(ThrownMessage([&] { ds->SetSelectSQL("select 1 from rdb$database"); }),
              "Can't  change SelectSQL  because DS dataset open.");
    EXPECT_EQ(ThrownMessage([&] { ds->SetCachedUpdates(true); }),
              "Can't  change CachedUpdates mode  because DS dataset open.");
    ds->Close();
    EXPECT_TRUE(ThrownMessage([&] { ds->FetchAll(); }).contains("dataset closed"));
    auto empty = MakeDataSet("");
    EXPECT_TRUE(ThrownMessage([&] { empty->Open(); }).contains("because  query is empty"));
    EXPECT_FALSE(empty->Active());

    // Stored option names: the first resets the sets to their defaults.
    TpFIBDataSet fresh;
    fresh.SetOptions(0);
    fresh.ReadStoredOption("poSQLINT64ToBCD", true);
    EXPECT_EQ(fresh.Options(), DefaultDsOptions);
    EXPECT_EQ(fresh.PrepareOptions(), DefaultPrepareOptions | psSQLINT64ToBCD);
    fresh.ReadStoredOption("dcForceOpen", true);
    fresh.ReadStoredOption("oDontAutoClose", true);
    fresh.ReadStoredOption("oTrimCharFields", false);
    EXPECT_EQ(fresh.DetailConditions(), dcForceOpen);
    EXPECT_EQ(fresh.Options(), (DefaultDsOptions | poDontCloseAfterEndTransaction) & ~poTrimCharFields);
}

TEST_F(DataSetTest, EditsInsertsAndDeletesGoThroughTheServer)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->UpdateSQL().SetText("update ROWS_ set NAME = ?NAME, V = ?V where ID = ?OLD_ID");
    ds->InsertSQL().SetText("insert into ROWS_ (ID, NAME, V) values (?ID, ?NAME, ?V)");
    ds->DeleteSQL().SetText("delete from ROWS_ where ID = ?OLD_ID");
    const auto server = [&](const QString& sql) { return db->QueryValue(sql, tr.get()); };
    ds->Open();
    ds->Next();
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("changed");
    ds->FieldByName("V")->SetAsFloat(-1.25);
    ds->Post();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "changed");
    // What the server took is no pending change.
    EXPECT_EQ(ds->UpdateStatus(), cusUnmodified);
    EXPECT_EQ(server("select NAME || '/' || cast(V as numeric(9,2)) from ROWS_ where ID = 2").toString(), "changed/-1.25");
    ds->Next();
    ds->Prior();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "changed");
    EXPECT_DOUBLE_EQ(ds->FieldByName("V")->AsFloat(), -1.25);

    // Empty text means null for string fields of this dataset, and a null reaches
    // the server as a null, not as a changed statement.
    ds->Edit();
    ds->FieldByName("NAME")->SetAsString("");
    EXPECT_TRUE(ds->FieldByName("NAME")->IsNull());
    ds->Cancel();
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "changed");
    ds->Edit();
    ds->FieldByName("NAME")->Clear();
    ds->Post();
    EXPECT_EQ(server("select count(*) from ROWS_ where ID = 2 and NAME is null").toInt(), 1);

    // Deleting a row keeps every other row's bookmark.
    ds->Last();
    const TBookmark last = ds->Bookmark();
    ds->SetRecNo(5);
    ds->Delete();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 6);
    EXPECT_EQ(ds->RecordCount(), 24);
    EXPECT_EQ(server("select count(*) from ROWS_ where ID = 5").toInt(), 0);
    ds->GotoBookmark(last);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 25);

    ds->First();
    ds->Insert();
    ds->FieldByName("ID")->SetAsInteger(100);
    ds->FieldByName("NAME")->SetAsString("new");
    ds->Post();
    EXPECT_EQ(ds->RecordCount(), 25);
    EXPECT_EQ(ds->RecNo(), 1);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 100);
    EXPECT_EQ(server("select NAME from ROWS_ where ID = 100").toString(), "new");
    ds->Next();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 1);

    // A write the server refuses changes nothing: the edit stays open with its values.
    ds->Insert();
    ds->FieldByName("ID")->SetAsInteger(1);
    ds->FieldByName("NAME")->SetAsString("twice");
    EXPECT_TRUE(ThrownMessage([&] { ds->Post(); }).contains("PRIMARY"));
    EXPECT_EQ(ds->State(), dsInsert);
    EXPECT_EQ(ds->FieldByName("NAME")->AsString(), "twice");
    ds->Cancel();
    EXPECT_EQ(ds->RecordCount(), 25);
    EXPECT_EQ(server("select NAME from ROWS_ where ID = 1").toString(), "Name 1");
}

TEST_F(DataSetTest, HardCommitClosesUnlessToldToKeepTheRows)
{
    ds = MakeDataSet("select * from ROWS_ order by ID");
    ds->Open();
    tr->CommitRetaining();
    EXPECT_TRUE(ds->Active());
    EXPECT_EQ(ds->RecordCount(), 1);
    tr->Commit();
    EXPECT_FALSE(ds->Active());

    tr->StartTransaction();
    ds->SetOptions(ds->Options() | poDontCloseAfterEndTransaction);
    bool endingSeen = false;
    ds->TransactionEnding = [&](TComponent*) { endingSeen = true; };
    ds->Open();
    ds->Next();
    tr->Commit();
    EXPECT_TRUE(endingSeen);
    ASSERT_TRUE(ds->Active());
    EXPECT_EQ(ds->RecordCount(), 25);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 2);
    ds->Last();
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 25);
    tr->StartTransaction();
}

TEST_F(DataSetTest, DetailFollowsItsMasterAtOnceOrWhenScrollingEnds)
{
    auto master = MakeDataSet("select ID from ROWS_ where ID <= 3 order by ID");
    TDataSource source;
    source.SetDataSet(master.get());
    auto detail = MakeDataSet("select X from DET where MID = :MAS_ID order by X");
    detail->SetDetailConditions(dcForceOpen);
    detail->SetDataSource(&source);
    auto quiet = MakeDataSet("select X from DET where MID = :ID order by X");
    quiet->SetDataSource(&source);
    const auto rows = [](TFIBCustomDataSet& d) {
        QStringList xs;
        for (d.First(); !d.Eof(); d.Next())
            xs << d.FieldByName("X")->AsString();
        return xs.join(',');
    };

    master->Open();
    ASSERT_TRUE(detail->Active());
    EXPECT_EQ(rows(*detail), "11");
    EXPECT_FALSE(quiet->Active());
    master->Next();
    EXPECT_EQ(rows(*detail), "21,22");
    EXPECT_FALSE(quiet->Active());

    // An open detail without dcForceOpen follows too, by the master field's own name.
    quiet->Open();
    EXPECT_EQ(rows(*quiet), "21,22");
    master->Next();
    EXPECT_EQ(rows(*quiet), "31,32,33");
    EXPECT_EQ(rows(*detail), "31,32,33");

    master->Close();
    EXPECT_FALSE(detail->Active());
    EXPECT_FALSE(quiet->Active());
    detail->SetDetailConditions(dcIgnoreMasterClose);
    master->Open();
    EXPECT_FALSE(detail->Active());
    detail->Open();
    master->Close();
    EXPECT_TRUE(detail->Active());
    EXPECT_EQ(ThrownMessage([&] {
                  TDataSource back;
                  back.SetDataSet(detail.get());
                  master->SetDataSource(&back);
              }),
              "Circular datalinks are not allowed");
    quiet->SetDataSource(nullptr);

    // A detail told to wait opens once the master's scrolling ends, and its post
    // refreshes the master's row.
    detail->Close();
    master->RefreshSQL().SetText("select ID from ROWS_ where ID = ?OLD_ID");
    detail->InsertSQL().SetText("insert into DET (MID, X) values (?MAS_ID, ?X)");
    detail->SetDetailConditions(dcForceOpen | dcWaitEndMasterScroll | dcForceMasterRefresh);
    int opens = 0;
    detail->AfterOpen = [&](TDataSet*) { ++opens; };
    master->Open();
    master->Next();
    master->Next();
    EXPECT_EQ(opens, 0);
    ASSERT_TRUE(WaitFor([&] { return opens > 0; }));
    WaitFor([] { return false; }, 50);
    EXPECT_EQ(opens, 1);
    detail->FetchAll();
    EXPECT_EQ(detail->RecordCount(), 3);
    int refreshes = 0;
    master->BeforeRefresh = [&](TDataSet*) { ++refreshes; };
    detail->Append();
    detail->FieldByName("X")->SetAsInteger(34);
    detail->Post();
    EXPECT_EQ(refreshes, 1);
    EXPECT_TRUE(detail->Active());
    EXPECT_EQ(detail->RecordCount(), 4);
    EXPECT_EQ(detail->FieldByName("X")->AsInteger(), 34);
    WaitFor([] { return false; }, 50);
    EXPECT_EQ(opens, 1);
    detail->SetDataSource(nullptr);
}

TEST(RecordsCacheTest, BlocksRowChecksAndRepeatedTextsThatShareTheirRoom)
{
    TRecordsCache cache(100, 32, 1);
    EXPECT_EQ(cache.RecordsPerBlock(), 32);
    TRecordsCache small(10, 4, 0);
    EXPECT_EQ(small.RecordsPerBlock(), 103);  // a block grows to at least 1 KB
    for (int i = 0; i < 70; ++i)
        EXPECT_EQ(cache.AddRecord(), i);
    EXPECT_EQ(ThrownMessage([&] { cache.ReadRecord(70); }), "Can't read Buffer.Incorrect RecordNo");
    EXPECT_EQ(ThrownMessage([&] { cache.WriteRecord(-1); }), "Can't write to Buffer.Incorrect RecordNo");
    EXPECT_EQ(ThrownMessage([&] { cache.SaveOld(70); }), "Can't read LogBuffer.Incorrect RecordNo");
    cache.Strings(0).Set(3, "ab   ", 5);
    EXPECT_EQ(cache.Strings(0).Get(3), QByteArray("ab"));
    EXPECT_EQ(cache.Strings(0).Get(2), QByteArray());
    EXPECT_EQ(cache.Strings(0).Get(500), QByteArray());

    // Texts repeated from row to row share one copy; an edit of one row must leave
    // every row that shared its text alone, also when it takes a text seen before.
    TRecordsCache texts(16, 4, 1);
    TStringCollection& s = texts.Strings(0);
    for (int r = 0; r < 1000; ++r)
        s.Set(r, r % 100 == 50 ? "Versuchsstart" : "Speicherzyklus", r % 100 == 50 ? 13 : 14);
    EXPECT_LT(s.Bytes(), 1000u) << "one copy and one run per change of text, nothing per row";
    s.Set(7, "anders  ", 8);
    s.Set(8, nullptr, 0);
    s.Set(9, "Speicherzyklus", 14);
    EXPECT_EQ(s.Get(6), QByteArray("Speicherzyklus"));
    EXPECT_EQ(s.Get(7), QByteArray("anders"));
    EXPECT_EQ(s.Get(8), QByteArray());
    EXPECT_EQ(s.Get(9), QByteArray("Speicherzyklus"));
    EXPECT_EQ(s.Get(10), QByteArray("Speicherzyklus"));
    EXPECT_EQ(s.Get(50), QByteArray("Versuchsstart"));
    // Bytes kept as they are, blanks and zero bytes inside included.
    const char raw[] = {'a', 0, ' ', 'b', ' '};
    s.Set(11, raw, 5, false);
    s.Set(12, raw, 5, false);
    EXPECT_EQ(s.Get(12), QByteArray(raw, 5));
    s.Set(12, raw, 4, false);
    EXPECT_EQ(s.Get(11), QByteArray(raw, 5));
    EXPECT_EQ(s.Get(12), QByteArray(raw, 4));
    // Edits at the start, inside and at the end of runs split them; the rows around keep theirs.
    for (int r : {50, 100, 0, 999, 51, 49})
        s.Set(r, "Fehler", 6);
    for (int r = 0; r < 1000; ++r) {
        const bool edited = r == 0 || r == 49 || r == 50 || r == 51 || r == 100 || r == 999;
        const QByteArray expected = edited            ? QByteArray("Fehler")
                                    : r == 7          ? QByteArray("anders")
                                    : r == 8          ? QByteArray()
                                    : r == 11         ? QByteArray(raw, 5)
                                    : r == 12         ? QByteArray(raw, 4)
                                    : r % 100 == 50   ? QByteArray("Versuchsstart")
                                                      : QByteArray("Speicherzyklus");
        ASSERT_EQ(s.Get(r), expected) << r;
    }
    // Texts that change on every row give way to an index row by row, with the same answers.
    TStringCollection each;
    for (int r = 0; r < 3000; ++r) {
        const QByteArray t = QByteArray::number(r % 3 == 0 ? 0 : r);
        each.Set(r, t.constData(), int(t.size()));
    }
    each.Set(1500, "mitte", 5);
    for (int r = 0; r < 3000; ++r)
        ASSERT_EQ(each.Get(r), r == 1500 ? QByteArray("mitte") : QByteArray::number(r % 3 == 0 ? 0 : r)) << r;
    EXPECT_LT(each.Bytes(), 3000u * 4 + 3000u * 8 + 64u);
    // A row index past the rows set so far, and clearing.
    s.Set(5000, "x", 1);
    EXPECT_EQ(s.Get(4999), QByteArray());
    EXPECT_EQ(s.Get(5000), QByteArray("x"));
    s.Clear();
    EXPECT_EQ(s.Get(5000), QByteArray());
    s.Set(0, "Speicherzyklus", 14);
    EXPECT_EQ(s.Get(0), QByteArray("Speicherzyklus"));
}

// A row's null flags are bits: each column's null must stay its own, across the
// byte borders of the flags, through the cache, an edit and the server.
TEST_F(DataSetTest, EachColumnsNullStaysItsOwnAcrossTheFlagBytes)
{
    ds = MakeDataSet("select * from VALS order by ID");
    ds->UpdateSQL().SetText("update VALS set SI = ?SI, TS = ?TS, VU = ?VU, BO = ?BO where ID = ?OLD_ID");
    ds->Open();
    const int columns = ds->Fields().Count();
    ASSERT_GT(columns, 16);
    // Row k has every column set but column k (k >= 1; ID is never null).
    for (int k = 1; k < columns; ++k) {
        QStringList names, values;
        for (int c = 0; c < columns; ++c) {
            if (c == k)
                continue;
            static const char* const v[] = {"0", "1", "2", "3", "4.5", "5.5", "6.5", "7.5", "8.5",
                                            "'2024-01-01'", "'12:00:00'", "'2024-01-01 12:00:00'", "'c'",
                                            "'v'", "'k'", "'b'", "true", "'u'"};
            names << ds->Fields()[c]->FieldName();
            values << (c == 0 ? QString::number(k) : QString::fromLatin1(v[c]));
        }
        Exec(QStringLiteral("insert into VALS (%1) values (%2)").arg(names.join(u','), values.join(u',')));
    }
    ds->Close();
    ds->Open();
    for (int k = 1; k < columns; ++k, ds->Next()) {
        ASSERT_EQ(ds->FieldByName("ID")->AsInteger(), k);
        for (int c = 0; c < columns; ++c)
            EXPECT_EQ(ds->Fields()[c]->IsNull(), c == k) << "row " << k << " column " << c;
    }
    // Edits on either side of a byte border, then the server's own rows again.
    ds->First();
    ds->Edit();
    ds->FieldByName("SI")->Clear();
    ds->FieldByName("TS")->Clear();
    ds->FieldByName("VU")->SetAsString("neu");
    ds->FieldByName("BO")->SetAsBoolean(false);
    ds->Post();
    ds->Close();
    ds->Open();
    for (int c = 0; c < columns; ++c) {
        const QString name = ds->Fields()[c]->FieldName();
        EXPECT_EQ(ds->Fields()[c]->IsNull(), name == "SI" || name == "TS") << name.toStdString();
    }
    EXPECT_EQ(ds->FieldByName("VU")->AsString(), "neu");
    EXPECT_FALSE(ds->FieldByName("BO")->AsBoolean());
}
