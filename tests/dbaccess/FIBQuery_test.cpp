// Statements and values against a real embedded database: every column type both
// ways, checked against what the server itself computes from the stored value;
// null rewriting, macros, blobs, row counts, plans, column origins, the fetch and
// close cycle, and the hooks around execution.

#include "DbTestSupport.h"
#include "dbaccess/pFIBQuery.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDate>
#include <QRegularExpression>
#include <QTime>
#include <cmath>

namespace {
const QString Umlauts = QString::fromUtf8("Grüße µA äöü ÄÖÜ ß €");
}  // namespace

class QueryTest : public TDatabaseSuite<QueryTest> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        return std::make_unique<TTestDatabaseFile>(
            "Query.fdb",
            QStringList{
                "create table VALS (ID integer not null primary key, SI smallint, I integer, BI bigint, "
                "N52 numeric(5,2), N94 numeric(9,4), N182 numeric(18,2), D184 decimal(18,4), N41 numeric(4,1), "
                "F float, DP double precision, DT date, TM time, TS timestamp, CH char(10), VC varchar(40), "
                "VU varchar(40) character set UTF8, BT blob sub_type text, BO boolean)",
                "create table T (A integer, B varchar(10))",
                "create procedure TWICE (X integer) returns (Y integer, Z varchar(10)) as "
                "begin Y = X * 2; Z = 'z' || X; end"});
    }

protected:
    void SetUp() override
    {
        Connect(QStringLiteral("DB"), charset);
        tr->StartTransaction();
        Exec("delete from VALS");
        Exec("delete from T");
    }
    void Exec(const QString& sql)
    {
        auto q = Query(sql);
        q->ExecQuery();
    }

    QString charset = "WIN1252";
};

class QueryTestUtf8 : public QueryTest {
protected:
    QueryTestUtf8() { charset = "UTF8"; }
};

TEST_F(QueryTest, ServerValuesReadEveryWay)
{
    auto q = Query("select cast(12345 as smallint), cast(-7 as integer), cast(9007199254740993 as bigint), "
                   "cast(123.45 as numeric(5,2)), cast(-0.0123 as numeric(9,4)), "
                   "cast(1234567890123456.78 as numeric(18,2)), cast(2.5 as float), cast(1e300 as double precision), "
                   "cast('2024-02-29' as date), cast('13:14:15.1234' as time), "
                   "cast('2024-02-29 00:20:34.5678' as timestamp), true, cast(null as integer), "
                   "cast(-5.05 as numeric(9,2)), cast(3.7 as numeric(4,1)) from rdb$database");
    q->ExecQuery();
    ASSERT_FALSE(q->Eof());
    ASSERT_EQ(q->FieldCount(), 15);
    EXPECT_EQ(q->Fields(0).SQLType(), SQL_SHORT);
    EXPECT_EQ(q->Fields(0).AsString(), "12345");
    EXPECT_EQ(q->Fields(0).AsVariant(), QVariant(12345));
    EXPECT_EQ(q->Fields(1).AsInteger(), -7);
    EXPECT_EQ(q->Fields(1).AsDouble(), -7.0);
    EXPECT_EQ(q->Fields(2).AsInt64(), 9007199254740993LL);
    EXPECT_EQ(q->Fields(2).AsString(), "9007199254740993");
    EXPECT_EQ(q->Fields(2).AsVariant().typeId(), QMetaType::LongLong);
    // Scaled integers: value times ten to the scale.
    TFIBXSQLVAR& n52 = q->Fields(3);
    EXPECT_EQ(n52.SQLScale(), -2);
    EXPECT_DOUBLE_EQ(n52.AsDouble(), 123.45);
    EXPECT_EQ(n52.AsInteger(), 123);
    EXPECT_EQ(n52.AsInt64(), 123);
    EXPECT_EQ(n52.AsCurrency(), 1234500);
    EXPECT_EQ(q->Fields(4).AsString().replace(FormatSettings.DecimalSeparator, u'.'), "-0.0123");
    EXPECT_EQ(q->Fields(4).AsCurrency(), -123);
    EXPECT_EQ(q->Fields(5).SQLType(), SQL_INT64);
    EXPECT_EQ(q->Fields(5).AsString().replace(FormatSettings.DecimalSeparator, u'.'), "1234567890123456.78");
    EXPECT_EQ(q->Fields(5).AsInt64(), 1234567890123456LL);
    EXPECT_EQ(ThrownMessage([&] { q->Fields(5).AsCurrency(); }), "Invalid data conversion.");
    EXPECT_EQ(q->Fields(6).SQLType(), SQL_FLOAT);
    EXPECT_EQ(q->Fields(6).AsDouble(), 2.5);
    EXPECT_EQ(q->Fields(7).AsDouble(), 1e300);
    // Dates: day numbers since 30.12.1899.
    const double day = QDateTimeToDateTime(QDateTime(QDate(2024, 2, 29), QTime(0, 0)));
    EXPECT_EQ(q->Fields(8).AsDateTime(), day);
    EXPECT_EQ(q->Fields(8).AsVariant(), QVariant(QDate(2024, 2, 29)));
    EXPECT_EQ(q->Fields(8).AsString(), QDate(2024, 2, 29).toString(FormatSettings.ShortDateFormat));
    EXPECT_DOUBLE_EQ(q->Fields(9).AsDateTime(), 47655.1234 / 86400.0);
    EXPECT_EQ(q->Fields(9).AsVariant(), QVariant(QTime(13, 14, 15, 123)));
    // The timestamp keeps whole milliseconds only: 12345678 ten-thousandths are 1234567 ms.
    const double ts = q->Fields(10).AsDateTime();
    EXPECT_EQ(std::floor(ts), day);
    EXPECT_EQ(TimeOfDayMs(ts), 1234567);
    EXPECT_EQ(q->Fields(10).AsQDateTime(), QDateTime(QDate(2024, 2, 29), QTime(0, 20, 34, 567)));
    EXPECT_EQ(q->Fields(11).SQLType(), SQL_BOOLEAN);
    EXPECT_TRUE(q->Fields(11).AsBoolean());
    EXPECT_EQ(q->Fields(11).AsDouble(), 1.0);
    EXPECT_EQ(q->Fields(11).AsVariant(), QVariant(true));
    // Null reads as the neutral value of every target.
    TFIBXSQLVAR& null = q->Fields(12);
    EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(null.AsInteger(), 0);
    EXPECT_EQ(null.AsString(), "");
    EXPECT_EQ(null.AsDouble(), 0.0);
    EXPECT_FALSE(null.AsBoolean());
    EXPECT_FALSE(null.AsVariant().isValid());
    // Truncation toward zero and exact currency on negative scaled values.
    EXPECT_EQ(q->Fields(13).AsInteger(), -5);
    EXPECT_EQ(q->Fields(13).AsInt64(), -5);
    EXPECT_EQ(q->Fields(13).AsCurrency(), -50500);
    EXPECT_EQ(q->Fields(14).SQLType(), SQL_SHORT);
    EXPECT_DOUBLE_EQ(q->Fields(14).AsDouble(), 3.7);
    EXPECT_EQ(q->Fields(14).AsVariant().typeId(), QMetaType::Double);
    // Refused conversions.
    EXPECT_EQ(ThrownMessage([&] { q->Fields(8).AsDouble(); }), "Invalid data conversion.");
    EXPECT_EQ(ThrownMessage([&] { q->Fields(1).AsDateTime(); }), "Invalid data conversion.");
    EXPECT_EQ(ThrownMessage([&] { q->Fields(6).AsBoolean(); }), "Invalid data conversion.");
    EXPECT_EQ(ThrownMessage([&] { q->Fields(11).AsInt64(); }), "Invalid data conversion.");
    EXPECT_EQ(ThrownMessage([&] { q->Fields(15); }), "Field \"Field No: 15\" not found.");
    EXPECT_EQ(ThrownMessage([&] { q->FieldByName("NOPE"); }), "XSQLDA name does not exist (NOPE).");
    EXPECT_EQ(q->FindField("NOPE"), nullptr);
    EXPECT_EQ(q->FieldIndex("NOPE"), -1);
}

TEST_F(QueryTest, TypedWritesRoundTripAndMatchTheServersView)
{
    auto ins = Query("insert into VALS (ID, SI, I, BI, N52, N94, N182, D184, N41, F, DP, DT, TM, TS, CH, VC, BT, BO) "
                     "values (:ID, :SI, :I, :BI, :N52, :N94, :N182, :D184, :N41, :F, :DP, :DT, :TM, :TS, :CH, :VC, "
                     ":BT, :BO)");
    const QDateTime stamp(QDate(1999, 12, 31), QTime(23, 59, 58, 765));
    ins->ParamByName("ID").SetAsInteger(1);
    ins->ParamByName("SI").SetAsShort(-32768);
    ins->ParamByName("I").SetAsInteger(2147483647);
    ins->ParamByName("BI").SetAsInt64(-9223372036854775807LL);
    ins->ParamByName("N52").SetAsDouble(-123.45);
    ins->ParamByName("N94").SetAsExtended(12345.6789L);
    ins->ParamByName("N182").SetAsBcd("-9876543210123456.78");
    ins->ParamByName("D184").SetAsCurrency(-12345678);
    ins->ParamByName("N41").SetAsString("12,5");
    ins->ParamByName("F").SetAsDouble(0.25);
    ins->ParamByName("DP").SetAsDouble(1.0 / 3.0);
    ins->ParamByName("DT").SetAsDate(QDateTimeToDateTime(QDateTime(QDate(1858, 11, 17), QTime(0, 0))));
    ins->ParamByName("TM").SetAsTime(QTime(7, 8, 9, 10).msecsSinceStartOfDay() / MSecsPerDay);
    ins->ParamByName("TS").SetAsQDateTime(stamp);
    ins->ParamByName("CH").SetAsString("abc");
    ins->ParamByName("VC").SetAsString(Umlauts);
    ins->ParamByName("BT").SetAsString(Umlauts + "\nzweite Zeile");
    ins->ParamByName("BO").SetAsBoolean(true);
    ins->ExecQuery();
    EXPECT_EQ(ins->SQLType(), SQLInsert);
    EXPECT_EQ(ins->RowsAffected(), 1);

    // The server's own view of what it stored.
    EXPECT_EQ(Server("select cast(SI as varchar(10)) || '/' || cast(I as varchar(12)) || '/' || "
                     "cast(BI as varchar(24)) from VALS")
                  .toString(),
              "-32768/2147483647/-9223372036854775807");
    EXPECT_EQ(Server("select cast(N52 as varchar(20)) || ' ' || cast(N94 as varchar(20)) || ' ' || "
                     "cast(N182 as varchar(30)) || ' ' || cast(D184 as varchar(30)) || ' ' || "
                     "cast(N41 as varchar(10)) from VALS")
                  .toString(),
              "-123.45 12345.6789 -9876543210123456.78 -1234.5678 12.5");
    EXPECT_EQ(Server("select cast(F * 4 as integer) from VALS").toInt(), 1);
    EXPECT_EQ(Server("select cast(DP * 3 as numeric(9,6)) from VALS").toDouble(), 1.0);
    EXPECT_EQ(Server("select extract(year from DT) * 10000 + extract(month from DT) * 100 + extract(day from DT) "
                     "from VALS")
                  .toInt(),
              18581117);
    EXPECT_EQ(Server("select extract(hour from TM) * 10000 + extract(minute from TM) * 100 + extract(second from TM) "
                     "from VALS")
                  .toDouble(),
              70809.01);
    EXPECT_EQ(Server("select cast(TS as varchar(30)) from VALS").toString(), "1999-12-31 23:59:58.7650");
    EXPECT_EQ(Server("select extract(millisecond from TS) from VALS").toDouble(), 765.0);
    EXPECT_EQ(Server("select '[' || CH || ']' from VALS").toString(), "[abc       ]");
    EXPECT_EQ(Server("select char_length(VC) from VALS").toInt(), Umlauts.size());
    // Windows-1252 on the wire: one byte each, "µ" at its code point 181.
    EXPECT_EQ(Server("select octet_length(VC) from VALS").toInt(), Umlauts.size());
    EXPECT_EQ(Server("select ascii_val(substring(VC from 7 for 1)) from VALS").toInt(), 181);
    EXPECT_EQ(Server("select position('µA' in VC) from VALS").toInt(), 7);
    EXPECT_EQ(Server("select char_length(BT) from VALS").toInt(), Umlauts.size() + 13);
    EXPECT_EQ(Server("select trim(iif(BO, 'ja', 'nein')) from VALS").toString(), "ja");

    // And the layer reads every value back as written.
    auto sel = Query("select * from VALS");
    sel->ExecQuery();
    ASSERT_FALSE(sel->Eof());
    EXPECT_EQ(sel->FieldByName("SI").AsInteger(), -32768);
    EXPECT_EQ(sel->FieldByName("I").AsInteger(), 2147483647);
    EXPECT_EQ(sel->FieldByName("BI").AsInt64(), -9223372036854775807LL);
    EXPECT_DOUBLE_EQ(sel->FieldByName("N52").AsDouble(), -123.45);
    EXPECT_DOUBLE_EQ(sel->FieldByName("N94").AsDouble(), 12345.6789);
    EXPECT_EQ(sel->FieldByName("N182").AsString().replace(FormatSettings.DecimalSeparator, u'.'),
              "-9876543210123456.78");
    EXPECT_EQ(sel->FieldByName("D184").AsCurrency(), -12345678);
    EXPECT_DOUBLE_EQ(sel->FieldByName("N41").AsDouble(), 12.5);
    EXPECT_EQ(sel->FieldByName("F").AsDouble(), 0.25);
    EXPECT_EQ(sel->FieldByName("DP").AsDouble(), 1.0 / 3.0);
    EXPECT_EQ(sel->FieldByName("DT").AsDateTime(), -15018.0);
    EXPECT_EQ(sel->FieldByName("TS").AsQDateTime(), stamp);
    EXPECT_EQ(sel->FieldByName("CH").AsString(), "abc       ");
    EXPECT_EQ(sel->FieldByName("VC").AsString(), Umlauts);
    EXPECT_EQ(sel->FieldByName("BT").AsString(), Umlauts + "\nzweite Zeile");
    EXPECT_TRUE(sel->FieldByName("BO").AsBoolean());
    EXPECT_TRUE(sel->FieldByName("VU").IsNull());
    sel->Options = qoTrimCharFields;
    EXPECT_EQ(sel->FieldByName("CH").AsString(), "abc");
}

TEST_F(QueryTest, TextAndVariantWritesFollowTheDescribedType)
{
    auto ins = Query("insert into VALS (ID, I, N52, DT, VC, TS) values (?, :I, :N52, :DT, :VC, :TS)");
    ins->Prepare();
    ASSERT_EQ(ins->ParamCount(), 6);
    EXPECT_EQ(ins->Params()[0].Name(), "");
    EXPECT_EQ(ins->ParamByName("I").ServerSQLType(), SQL_LONG);
    ins->Params()[0].SetAsVariant(1);
    ins->ParamByName("I").SetAsString("");          // empty text into a number: null
    ins->ParamByName("N52").SetAsString("1,5");     // comma goes to the server as a point
    ins->ParamByName("DT").SetAsString("");
    ins->ParamByName("VC").SetAsString("");         // empty text stays empty text
    ins->ParamByName("TS").SetAsVariant(QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6)));
    EXPECT_TRUE(ins->ParamByName("I").IsNull());
    EXPECT_EQ(ins->ParamByName("N52").AsString(), "1.5");
    EXPECT_TRUE(ins->ParamByName("N52").Modified());
    ins->ExecQuery();
    ins->ExecWP({2, "17", "-2,25", QVariant(), "x", QDate(2020, 1, 2)});
    EXPECT_EQ(ThrownMessage([&] { ins->ExecWP({3}); }), "Q. Parameters count is not equel count of parameter values");
    EXPECT_EQ(Server("select count(*) from VALS where I is null and DT is null and VC = '' and N52 = 1.5").toInt(), 1);
    EXPECT_EQ(Server("select cast(TS as varchar(30)) from VALS where ID = 1").toString(), "2001-02-03 04:05:06.0000");
    EXPECT_EQ(Server("select I + N52 from VALS where ID = 2").toDouble(), 14.75);
    EXPECT_EQ(Server("select cast(TS as varchar(30)) from VALS where ID = 2").toString(), "2020-01-02 00:00:00.0000");

    auto upd = Query("update VALS set VC = :V where ID = :ID");
    upd->ExecWP(QStringList{"ID", "V"}, {2, "neu"});
    EXPECT_EQ(upd->RowsAffected(), 1);
    EXPECT_EQ(Server("select VC from VALS where ID = 2").toString(), "neu");
}

TEST_F(QueryTest, RecordKeysGoBackAsRawBytes)
{
    for (int i = 1; i <= 3; ++i)
        Exec(QString("insert into T values (%1, 'k%1')").arg(i));
    auto keys = Query("select rdb$db_key as DB_KEY, A from T where A = 2");
    keys->ExecQuery();
    const QByteArray key = keys->FieldByName("DB_KEY").AsRaw();
    ASSERT_EQ(key.size(), 8);
    auto byKey = Query("select B from T where rdb$db_key = :DB_KEY");
    // Written before the statement is described, and again after.
    byKey->ParamByName("DB_KEY").SetAsString(QString::fromLatin1(key));
    byKey->ExecQuery();
    ASSERT_FALSE(byKey->Eof());
    EXPECT_EQ(byKey->Fields(0).AsString(), "k2");
    byKey->Close();
    byKey->ParamByName("DB_KEY").SetAsString(QString::fromLatin1(key));
    EXPECT_EQ(byKey->ParamByName("DB_KEY").SQLType(), byKey->ParamByName("DB_KEY").ServerSQLType());
    byKey->ExecQuery();
    EXPECT_EQ(byKey->Fields(0).AsString(), "k2");

    auto noDb = std::make_unique<TpFIBQuery>();
    noDb->SetName("Lonely");
    noDb->SQL().SetText("select 1 from rdb$database");
    EXPECT_EQ(ThrownMessage([&] { noDb->Prepare(); }), "Lonely:\r\nDatabase not assigned for Lonely.");
}

TEST_F(QueryTest, BlocksMergeAndUpdateOrInsertTakeTheirParameters)
{
    auto block = Query("execute block (A integer = :A, B varchar(10) = :B) returns (R integer, S varchar(20)) as\n"
                       "declare x integer; begin x = :A * 2; R = :x; S = :B || '!'; suspend; end");
    EXPECT_EQ(block->ParamCount(), 2);
    block->ParamByName("A").SetAsInteger(21);
    block->ParamByName("B").SetAsString("µ");
    block->ExecQuery();
    ASSERT_FALSE(block->Eof());
    EXPECT_EQ(block->FieldByName("R").AsInteger(), 42);
    EXPECT_EQ(block->FieldByName("S").AsString(), "µ!");

    auto upsert = Query("update or insert into T (A, B) values (:A, :B) matching (A)");
    upsert->ExecWP({1, "eins"});
    upsert->ExecWP({1, "one"});
    upsert->ExecWP({2, "zwei"});
    auto merge = Query("merge into T t using (select cast(:A as integer) A, cast(:B as varchar(10)) B "
                       "from rdb$database) s on t.A = s.A when matched then update set t.B = s.B "
                       "when not matched then insert (A, B) values (s.A, s.B)");
    merge->ExecWP({2, "two"});
    merge->ExecWP({3, "three"});
    EXPECT_EQ(Server("select list(A || '=' || B, ',') from (select A, B from T order by A)").toString(),
              "1=one,2=two,3=three");
}

// Names, null comparisons and macros: the text the server gets.
TEST_F(QueryTest, EqualNamesNullComparisonsAndMacrosShapeTheStatementText)
{
    Exec("insert into T values (1, 'a')");
    Exec("insert into T values (2, 'b')");
    Exec("insert into T values (3, null)");
    // Equal names share one value.
    auto q = Query("select * from T where A = :A or A + 1 = :A");
    EXPECT_EQ(q->ParamCount(), 2);
    q->ParamByName("A").SetAsInteger(2);
    EXPECT_EQ(q->Params()[1].AsInteger(), 2);
    q->ExecQuery();
    QStringList seen;
    while (!q->Eof()) {
        seen << q->FieldByName("B").AsString();
        q->Next();
    }
    EXPECT_EQ(seen, QStringList({"a", "b"}));
    // Values survive a text change for names that come again.
    q->Close();
    q->SQL().SetText("select count(*) from T where A = :A");
    EXPECT_EQ(q->ParamByName("A").AsInteger(), 2);
    q->ExecQuery();
    EXPECT_EQ(q->Fields(0).AsInteger(), 1);

    // A comparison with a null value is rewritten, and prepared anew when the value
    // stops or starts being null.
    q = Query("select count(*) from T where B = :B");
    q->ParamByName("B").SetIsNull(true);
    q->ExecQuery();
    EXPECT_EQ(q->Fields(0).AsInteger(), 1);
    EXPECT_TRUE(q->ProcessedSQL().contains(" IS NULL "));
    q->Close();
    q->ParamByName("B").SetAsString("a");
    q->ExecQuery();
    EXPECT_EQ(q->Fields(0).AsInteger(), 1);
    EXPECT_EQ(q->ProcessedSQL().toStdString(), "select count(*) from T where B = ?\r\n");
    q->Close();
    q->ParamByName("B").SetAsString("y");   // same null state: no new prepare
    const isc_stmt_handle second = q->Handle();
    q->ExecQuery();
    EXPECT_EQ(q->Handle(), second);
    EXPECT_EQ(q->Fields(0).AsInteger(), 0);

    auto ne = Query("select count(*) from T where B <> :B");
    ne->ParamByName("B").SetIsNull(true);
    ne->ExecQuery();
    EXPECT_TRUE(ne->ProcessedSQL().contains(" IS NOT NULL "));
    EXPECT_EQ(ne->Fields(0).AsInteger(), 2);

    auto plain = Query("select count(*) from T where B = :B");
    plain->Options = qoNoForceIsNull;
    plain->ParamByName("B").SetIsNull(true);
    plain->ExecQuery();
    EXPECT_EQ(plain->Fields(0).AsInteger(), 0);

    // Macros are substituted before the prepare.
    q = Query("select count(*) from @@TAB%T@ where @@COND%1=1@ and B <> @@S%#none@");
    q->ExecQuery();
    EXPECT_EQ(q->Fields(0).AsInteger(), 2);
    q->Close();
    q->ParamByName("@COND").SetAsString("A = :A");
    q->ParamByName("@S").SetAsString("one");
    q->ExecQuery();   // the macro brought a parameter: still null, so nothing matches
    EXPECT_EQ(q->ProcessedSQL().toStdString(), "select count(*) from T where A = ? and B <> 'one'\r\n");
    EXPECT_EQ(q->Fields(0).AsInteger(), 0);
    q->Close();
    q->ParamByName("A").SetAsInteger(2);
    q->ExecQuery();
    EXPECT_EQ(q->Fields(0).AsInteger(), 1);
}

TEST_F(QueryTest, FetchCloseAndStates)
{
    for (int i = 1; i <= 3; ++i)
        Exec(QString("insert into T values (%1, 'r%1')").arg(i));
    auto q = Query("select A, B, A as B, 1 + A, 'k' from T order by A");
    EXPECT_FALSE(q->Prepared());
    q->GoToFirstRecordOnExecute = false;
    q->ExecQuery();
    EXPECT_TRUE(q->Open());
    EXPECT_TRUE(q->Bof());
    EXPECT_EQ(q->RecordCount(), 0);
    EXPECT_TRUE(q->Fields(0).IsNull());   // no row yet
    // Output names: a second B is B1.
    EXPECT_EQ(q->Current().Names(), QStringList({"A", "B", "B1", "ADD", "CONSTANT"}));
    int rows = 0;
    while (q->Next())
        ++rows;
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(q->RecordCount(), 3);
    EXPECT_TRUE(q->Eof());
    EXPECT_EQ(q->Next(), nullptr);
    EXPECT_EQ(q->RecordCount(), 3);
    EXPECT_EQ(ThrownMessage([&] { q->SQL().SetText("select 1 from rdb$database"); }),
              "Can't change sql text because Q dataset open.");
    q->Close();
    EXPECT_FALSE(q->Open());
    EXPECT_TRUE(q->Prepared());
    EXPECT_EQ(ThrownMessage([&] { q->Next(); }), "Can't fetch next record because Q dataset closed.");
    q->FreeHandle();
    EXPECT_FALSE(q->Prepared());
    EXPECT_EQ(q->Handle(), 0u);
    // A freed statement has no cursor: a fetch is refused, not answered as the end.
    EXPECT_FALSE(q->Eof());
    EXPECT_EQ(ThrownMessage([&] { q->Next(); }), "Can't fetch next record because Q dataset closed.");

    auto unnamed = Query("select 1 + 1, 2 + 2 from rdb$database");
    unnamed->ExecQuery();
    EXPECT_EQ(unnamed->Current().Names(), QStringList({"ADD", "ADD1"}));
    auto empty = Query("  ");
    EXPECT_EQ(ThrownMessage([&] { empty->ExecQuery(); }), "Can't Prepare , because  query is empty");
}

// Calls that need a statement handle say so without one: never prepared, freed
// after use, and run directly without a handle.
TEST_F(QueryTest, ProceduresPlansRowCountsAndOrigins)
{
    const auto invalidHandle = [](TFIBQuery& q) {
        const auto e = Caught<EFIBClientError>([&] { q.RowsAffected(); });
        return e && e->SQLCode == 27 && e->Message().endsWith("Q:Invalid statement handle.");
    };
    auto p = Query("execute procedure TWICE(:X)");
    p->ParamByName("X").SetAsInteger(21);
    p->ExecQuery();
    EXPECT_EQ(p->SQLType(), SQLExecProcedure);
    EXPECT_EQ(p->FieldByName("Y").AsInteger(), 42);
    EXPECT_EQ(p->FieldByName("Z").AsString(), "z21");

    Exec("insert into T values (1, 'a')");
    Exec("insert into T values (2, 'b')");
    auto u = Query("update T set B = 'c'");
    EXPECT_TRUE(invalidHandle(*u));
    u->ExecQuery();
    EXPECT_EQ(u->RowsAffected(), 2);
    EXPECT_TRUE(u->Plan().startsWith("PLAN (T NATURAL)")) << u->Plan().toStdString();
    u->FreeHandle();
    EXPECT_TRUE(invalidHandle(*u));
    auto d = Query("delete from T where A = 1");
    d->ExecQuery();
    EXPECT_EQ(d->RowsAffected(), 1);

    auto s = Query("select x.A, y.B, x.A + 1, (select count(*) from T) from T x join T y on x.A = y.A");
    s->ExecQuery();
    EXPECT_EQ(s->FieldOrigin(0), "X.A");
    EXPECT_EQ(s->FieldOrigin("B"), "Y.B");
    EXPECT_EQ(s->FieldOrigin(2), "");
    EXPECT_TRUE(s->Plan().startsWith("PLAN")) << s->Plan().toStdString();
    while (s->Next()) {
    }
    EXPECT_EQ(s->RowsAffected(), 1);

    auto ddl = Query("create table T2 (X integer)");
    tr->WatchUncommitedUpdates = true;
    ddl->ExecQuery();   // run directly; the transaction's own look at the counts passes quietly
    EXPECT_EQ(ddl->Handle(), 0u);
    EXPECT_EQ(ddl->Plan(), "");
    EXPECT_TRUE(invalidHandle(*ddl));
    EXPECT_FALSE(tr->HasUncommitedUpdates());
    tr->WatchUncommitedUpdates = false;
    tr->Commit();
    tr->StartTransaction();
    EXPECT_EQ(Server("select count(*) from rdb$relations where rdb$relation_name = 'T2'").toInt(), 1);
}

TEST_F(QueryTest, LongTextGoesAsBlobAndSelectForUpdateGetsACursor)
{
    QString big;
    for (int i = 0; big.size() < 70000; ++i)
        big += QString::fromUtf8("Zeile %1 mit µ und ä\n").arg(i);
    auto ins = Query("insert into VALS (ID, BT) values (1, :BT)");
    ins->ParamByName("BT").SetAsString(big);
    EXPECT_TRUE(ins->ParamByName("BT").HasStreamValue());
    ins->ExecQuery();
    EXPECT_EQ(Server("select char_length(BT) from VALS").toInt(), big.size());
    EXPECT_EQ(Server("select position('Zeile 100 mit µ und ä' in BT) from VALS").toInt(), big.indexOf("Zeile 100 ") + 1);
    auto sel = Query("select BT from VALS");
    sel->ExecQuery();
    EXPECT_EQ(sel->Fields(0).AsString(), big);

    auto upd = Query("select ID from VALS for update");
    upd->ExecQuery();
    EXPECT_EQ(upd->SQLType(), SQLSelectForUpdate);
    EXPECT_EQ(upd->CursorName().size(), 10);
}

TEST_F(QueryTest, ExecutionHooksOptionsAndErrors)
{
    TRecordingLogger logger;
    db->SQLLogger = &logger;
    QStringList calls;
    tr->WatchUncommitedUpdates = true;
    tr->BeforeSQLExecute = [&](TFIBTransaction*, TComponent*, int type) { calls << "before " + QString::number(type); };
    tr->AfterSQLExecute = [&](TFIBTransaction*, TComponent*, int type) { calls << "after " + QString::number(type); };
    tr->AfterFirstFetch = [&](TFIBTransaction*, TComponent*, int type) { calls << "fetch " + QString::number(type); };
    auto q = Query("insert into T values (:A, :B)");
    q->BeforeExecute = [&](TComponent*) { calls << "BeforeExecute"; };
    q->AfterExecute = [&](TComponent*) { calls << "AfterExecute"; };
    q->ParamByName("A").SetAsInteger(5);
    q->ParamByName("B").SetAsString(Umlauts.left(10));
    EXPECT_FALSE(tr->HasUncommitedUpdates());
    q->ExecQuery();
    EXPECT_TRUE(tr->HasUncommitedUpdates());
    // Step 0 comes before the first prepare: the type is not known yet.
    EXPECT_EQ(calls, QStringList({"BeforeExecute", "before 0", "after 2", "AfterExecute"}));
    calls.clear();
    auto s = Query("select A from T");
    s->AfterFirstFetch = [&](TComponent*) { calls << "AfterFirstFetch"; };
    s->ExecQuery();
    EXPECT_EQ(calls, QStringList({"before 0", "after 1", "fetch 1", "AfterFirstFetch"}));
    calls.clear();
    s->Close();
    s->ExecQuery();
    EXPECT_EQ(calls, QStringList({"before 1", "after 1", "fetch 1", "AfterFirstFetch"}));
    EXPECT_TRUE(logger.Lines.filter("Execute query:").first().contains("Params[1]='" + Umlauts.left(10) + "'"));
    EXPECT_TRUE(logger.Lines.filter("|Fetch:|").first().contains("A = 5"));
    EXPECT_FALSE(logger.Lines.filter("|Prepare:|").isEmpty());
    db->SQLLogger = nullptr;

    // A failed execution goes to OnExecuteError, which may swallow it.
    auto bad = Query("insert into T values (:A, 'much too long text')");
    bad->ParamByName("A").SetAsInteger(1);
    QString seen;
    bad->OnExecuteError = [&](TFIBQuery*, EFIBError& e, bool& handled) {
        seen = e.Message();
        handled = true;
    };
    EXPECT_EQ(ThrownMessage([&] { bad->ExecQuery(); }), "");
    EXPECT_TRUE(seen.contains("string right truncation", Qt::CaseInsensitive)) << seen.toStdString();
    bad->OnExecuteError = nullptr;
    EXPECT_TRUE(ThrownMessage([&] { bad->ExecQuery(); }).contains("string right truncation", Qt::CaseInsensitive));

    // Auto-commit and a transaction started on demand.
    tr->Commit();
    auto auto1 = Query("insert into T values (7, 'auto')");
    auto1->Options = qoStartTransaction | qoAutoCommit | qoFreeHandleAfterExecute;
    auto1->ExecQuery();
    EXPECT_FALSE(tr->Active());
    EXPECT_FALSE(auto1->Prepared());
    EXPECT_EQ(db->QueryValue("select count(*) from T where A = 7").toInt(), 1);
    tr->StartTransaction();
    auto noTr = Query("select 1 from rdb$database");
    noTr->Prepare();
    tr->Commit();
    EXPECT_EQ(ThrownMessage([&] { noTr->ExecQuery(); }), "TR :Transaction is not active.");
    noTr->SetTransaction(nullptr);
    EXPECT_EQ(ThrownMessage([&] { noTr->ExecQuery(); }), "Transaction not assigned for Q.");

    // A commit closes an open cursor.
    tr->StartTransaction();
    auto open = Query("select A from T");
    open->ExecQuery();
    EXPECT_TRUE(open->Open());
    tr->Commit();
    EXPECT_FALSE(open->Open());
    tr->StartTransaction();
}

TEST_F(QueryTestUtf8, UnicodeConnectionReadsAndWritesEveryCharacterSet)
{
    ASSERT_TRUE(db->IsUnicodeConnect());
    const QString greek = QString::fromUtf8("Ωμέγα ✓ ");
    auto ins = Query("insert into VALS (ID, VC, VU, BT, CH) values (1, :VC, :VU, :BT, :CH)");
    ins->ParamByName("VC").SetAsString(Umlauts);
    ins->ParamByName("VU").SetAsString(greek + Umlauts);
    ins->ParamByName("BT").SetAsString(Umlauts);
    ins->ParamByName("CH").SetAsString(QString::fromUtf8("äb"));
    ins->ExecQuery();
    EXPECT_EQ(Server("select char_length(VU) from VALS").toInt(), greek.size() + Umlauts.size());
    EXPECT_EQ(Server("select octet_length(VC) from VALS").toInt(), Umlauts.size());   // stored as WIN1252
    EXPECT_EQ(Server("select ascii_val(substring(VC from 7 for 1)) from VALS").toInt(), 181);
    auto sel = Query("select VC, VU, BT, CH from VALS");
    sel->Options = qoTrimCharFields;
    sel->ExecQuery();
    EXPECT_EQ(sel->Fields(0).AsString(), Umlauts);
    EXPECT_EQ(sel->Fields(1).AsString(), greek + Umlauts);
    EXPECT_EQ(sel->Fields(2).AsString(), Umlauts);
    EXPECT_EQ(sel->Fields(3).AsString(), QString::fromUtf8("äb"));
}

TEST_F(QueryTest, ClockOffsetIsMeasuredThroughTheStatementLayer)
{
    TRecordingLogger logger;
    db->Close();
    db->SQLLogger = &logger;
    db->Open();
    EXPECT_LT(std::abs(db->ClockOffset()), 5.0 / 86400.0);
    // The clock query went through a statement: prepared, executed and fetched.
    EXPECT_FALSE(logger.Lines.filter(QRegularExpression("Prepare:.*CAST\\('NOW' AS TIMESTAMP\\)")).isEmpty());
    EXPECT_FALSE(logger.Lines.filter("|Fetch:|").isEmpty());
    db->SQLLogger = nullptr;
}
