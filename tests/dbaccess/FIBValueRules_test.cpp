// Rules that statement values and the record cache must share, checked against a
// real embedded database: 8-bit text of the NONE and OCTETS character sets, date-
// times before the day zero, date keys in Locate, and blob columns that are read
// only when their field is read.

#include "DbTestSupport.h"
#include "dbaccess/pFIBDataSet.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDate>
#include <QStringDecoder>
#include <QTime>

namespace {
// Every byte from 0x20 to 0xFF as Windows-1252 text, decoded by Qt itself.
QString AllBytesText()
{
    QByteArray bytes;
    for (int b = 0x20; b <= 0xFF; ++b)
        bytes.append(static_cast<char>(b));
    QStringDecoder decoder("windows-1252");
    return decoder.decode(bytes);
}

QString MemoText(int id)
{
    QString text;
    while (text.size() < 150000)
        text += QStringLiteral("Zeile %1 mit ä und € ").arg(id);
    return text;
}

// More than one segment of the client's blob calls, with trailing blanks that stay.
QByteArray BlobBytes(int id)
{
    QByteArray bytes(70000, 0);
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>((i * 7 + id) % 256);
    return bytes + "   ";
}
}  // namespace

class ValueRules : public TDatabaseSuite<ValueRules> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        return std::make_unique<TTestDatabaseFile>(
            "Rules.fdb",
            QStringList{"create table CODES (ID integer not null primary key, "
                              "N varchar(300) character set NONE, O varchar(300) character set OCTETS, "
                              "NC char(10) character set NONE, M blob sub_type text character set NONE)",
                              "create table DATES (ID integer not null primary key, TS timestamp, DT date, TM time)",
                              "create table BLOBROWS (ID integer not null primary key, "
                              "M blob sub_type text, B blob sub_type 0)"},
            QStringList{"insert into DATES values (1, '1899-12-29 06:00:00', '1800-03-01', '06:00:00')",
                              "insert into DATES values (2, '1800-03-01 18:30:00', '1899-12-29', '18:30:00')",
                              "insert into DATES values (3, '2026-01-05 10:15:30.1230', '2026-01-05', '10:15:30')",
                              "insert into DATES values (4, '1899-12-30 12:00:00', '1899-12-30', '12:00:00')"});
    }

protected:
    // Each test connects with the character set it looks at; the transaction runs.
    void Connect(const QString& charset = QStringLiteral("WIN1252"))
    {
        TDatabaseSuite::Connect(QStringLiteral("DB"), charset);
        tr->StartTransaction();
    }
};

// ---------------------------------------------------------------- 8-bit text

TEST_F(ValueRules, NoneAndOctetsTextIsWindows1252InStatementsAndTheCache)
{
    const QString all = AllBytesText();
    ASSERT_EQ(all.size(), 224);
    const QString quotes = QString::fromUtf8("€„–‚ƒ…†‡ˆ‰");
    for (const QString& charset : {QStringLiteral("WIN1252"), QStringLiteral("NONE")}) {
        SCOPED_TRACE(charset.toStdString());
        Connect(charset);
        Query("delete from CODES")->ExecQuery();
        auto ins = Query("insert into CODES (ID, N, O, NC, M) values (1, :N, :O, :NC, :M)");
        ins->ParamByName("N").SetAsString(all);
        ins->ParamByName("O").SetAsString(all);
        ins->ParamByName("NC").SetAsString(quotes);
        ins->ParamByName("M").SetAsString(all);
        ins->ExecQuery();

        // The server holds exactly the bytes 0x20 .. 0xFF, in order.
        const QString positions = QStringLiteral(
            "with recursive P(I) as (select 1 from rdb$database union all select I + 1 from P where I < 224) ");
        for (const char* column : {"N", "O"}) {
            EXPECT_EQ(Server(QStringLiteral("select octet_length(%1) from CODES").arg(column)).toInt(), 224) << column;
            EXPECT_EQ(Server(positions + QStringLiteral("select count(*) from P cross join CODES C where "
                                                        "ascii_val(substring(C.%1 from P.I for 1)) <> P.I + 31")
                                             .arg(column))
                          .toInt(),
                      0)
                << column;
        }
        EXPECT_EQ(Server("select ascii_val(substring(NC from 1 for 1)) from CODES").toInt(), 0x80);
        EXPECT_EQ(Server("select count(*) from CODES where M = N").toInt(), 1);

        // Statement values read them back as they were written.
        auto sel = Query("select N, O, NC, M from CODES");
        sel->ExecQuery();
        EXPECT_EQ(sel->FieldByName("N").AsString(), all);
        EXPECT_EQ(sel->FieldByName("O").AsString(), all);
        EXPECT_EQ(sel->FieldByName("NC").AsString(), quotes);
        EXPECT_EQ(sel->FieldByName("M").AsString(), all);
        sel->Close();

        // So does the record cache, inline, in the string store and as a memo; an
        // edit on the cache keeps the characters too.
        ds = MakeDataSet("select ID, N, O, NC, M from CODES");
        ds->UpdateSQL().SetText("update CODES set NC = ?NC where ID = ?OLD_ID");
        ds->Open();
        EXPECT_EQ(ds->FieldByName("N")->AsString(), all);
        EXPECT_EQ(ds->FieldByName("O")->AsString(), all);
        EXPECT_EQ(ds->FieldByName("NC")->AsString(), quotes);
        EXPECT_EQ(ds->FieldByName("M")->AsString(), all);
        ds->Edit();
        ds->FieldByName("NC")->SetAsString(QString::fromUtf8("–€–"));
        ds->Post();
        EXPECT_EQ(ds->FieldByName("NC")->AsString(), QString::fromUtf8("–€–"));
        ds.reset();
        tr->Commit();
        db->Close();
    }
}

// ---------------------------------------------------------------- dates

TEST_F(ValueRules, DateTimesBeforeTheDayZeroFollowOneRuleEverywhereLocateIncluded)
{
    Connect();
    // Whole days count back from 30.12.1899; the fraction is the time of that day.
    const std::map<int, std::pair<QDateTime, double>> expected{
        {1, {QDateTime(QDate(1899, 12, 29), QTime(6, 0)), -1.25}},
        {2, {QDateTime(QDate(1800, 3, 1), QTime(18, 30)), -36463 - 18.5 / 24}},
        {3, {QDateTime(QDate(2026, 1, 5), QTime(10, 15, 30, 123)), 46027 + (10 * 3600 + 15 * 60 + 30.123) / 86400}},
        {4, {QDateTime(QDate(1899, 12, 30), QTime(12, 0)), 0.5}}};
    ds = MakeDataSet("select ID, TS, DT, TM from DATES order by ID");
    ds->UpdateSQL().SetText("update DATES set TS = ?TS where ID = ?OLD_ID");
    ds->Open();
    // Locate finds date, date-time and time keys by the same rule.
    const auto idAt = [&](const QString& field, const QVariant& key) {
        return ds->Locate(field, key, {}) ? ds->FieldByName("ID")->AsInteger() : 0;
    };
    EXPECT_EQ(idAt("DT", QDate(1800, 3, 1)), 1);
    EXPECT_EQ(idAt("DT", QDate(2026, 1, 5)), 3);
    EXPECT_EQ(idAt("DT", QDateTime(QDate(1899, 12, 29), QTime(0, 0))), 2);
    EXPECT_EQ(idAt("TS", QDateTime(QDate(2026, 1, 5), QTime(10, 15, 30, 123))), 3);
    EXPECT_EQ(idAt("TS", QDateTime(QDate(1899, 12, 29), QTime(6, 0))), 1);
    EXPECT_EQ(idAt("TS", QDateTime(QDate(1800, 3, 1), QTime(18, 30))), 2);
    EXPECT_EQ(idAt("TM", QTime(18, 30)), 2);
    EXPECT_EQ(idAt("TS", -1.25), 1);
    // A date-time one millisecond off, or a day that is not there, is no match, and
    // the cursor stays where it was.
    ds->First();
    ds->Next();
    EXPECT_EQ(idAt("TS", QDateTime(QDate(2026, 1, 5), QTime(10, 15, 30, 124))), 0);
    EXPECT_EQ(idAt("DT", QDate(2026, 1, 6)), 0);
    EXPECT_EQ(ds->FieldByName("ID")->AsInteger(), 2);
    // Several keys at once.
    EXPECT_TRUE(ds->Locate("ID;DT", QVariantList{4, QDate(1899, 12, 30)}, {}));
    EXPECT_FALSE(ds->Locate("ID;DT", QVariantList{4, QDate(1899, 12, 29)}, {}));
    auto sel = Query("select ID, TS from DATES order by ID");
    sel->ExecQuery();
    ds->First();
    for (; !sel->Eof(); sel->Next(), ds->Next()) {
        const int id = sel->FieldByName("ID").AsInteger();
        SCOPED_TRACE(id);
        const auto& [when, value] = expected.at(id);
        EXPECT_NEAR(sel->FieldByName("TS").AsDateTime(), value, 1e-9);
        EXPECT_EQ(sel->FieldByName("TS").AsQDateTime(), when);
        EXPECT_DOUBLE_EQ(ds->FieldByName("TS")->AsDateTime(), sel->FieldByName("TS").AsDateTime());
        EXPECT_EQ(ds->FieldByName("TS")->Value().toDateTime(), when);
        EXPECT_EQ(QDateTimeToDateTime(when), sel->FieldByName("TS").AsDateTime());
    }
    EXPECT_TRUE(ds->Eof());

    // Back to the server: a statement value written as a date-time and as a QDateTime.
    auto upd = Query("update DATES set TS = :TS where ID = :ID");
    upd->ParamByName("TS").SetAsDateTime(-2.75);
    upd->ParamByName("ID").SetAsInteger(1);
    upd->ExecQuery();
    EXPECT_EQ(Server("select TS from DATES where ID = 1").toDateTime(), QDateTime(QDate(1899, 12, 28), QTime(18, 0)));
    upd->ParamByName("TS").SetAsQDateTime(QDateTime(QDate(1899, 12, 29), QTime(6, 0)));
    upd->ExecQuery();
    EXPECT_EQ(Server("select TS from DATES where ID = 1").toDateTime(), QDateTime(QDate(1899, 12, 29), QTime(6, 0)));

    // An edit on the cache reads back as written, in all three kinds of column.
    ds->First();
    ds->Edit();
    ds->FieldByName("TS")->SetAsDateTime(-2.75);
    ds->FieldByName("DT")->SetAsDateTime(-2.75);
    ds->FieldByName("TM")->SetAsDateTime(-2.75);
    ds->Post();
    ds->Next();
    ds->First();
    EXPECT_DOUBLE_EQ(ds->FieldByName("TS")->AsDateTime(), -2.75);
    EXPECT_DOUBLE_EQ(ds->FieldByName("DT")->AsDateTime(), -2.0);
    EXPECT_DOUBLE_EQ(ds->FieldByName("TM")->AsDateTime(), 0.75);
    EXPECT_EQ(ds->FieldByName("TS")->Value().toDateTime(), QDateTime(QDate(1899, 12, 28), QTime(18, 0)));
    EXPECT_EQ(ds->FieldByName("DT")->Value().toDateTime().date(), QDate(1899, 12, 28));
}

// ---------------------------------------------------------------- blobs

TEST_F(ValueRules, BlobColumnsAreReadWhenTheirFieldIsRead)
{
    Connect();
    auto ins = Query("insert into BLOBROWS values (:ID, :M, :B)");
    for (int id = 1; id <= 40; ++id) {
        ins->ParamByName("ID").SetAsInteger(id);
        if (id == 13) {
            ins->ParamByName("M").SetIsNull(true);
            ins->ParamByName("B").SetIsNull(true);
        } else {
            ins->ParamByName("M").SetAsString(MemoText(id));
            ins->ParamByName("B").SetAsStream(BlobBytes(id));
        }
        ins->ExecQuery();
    }
    tr->CommitRetaining();

    ds = MakeDataSet("select ID, M, B from BLOBROWS order by ID");
    ds->UpdateSQL().SetText("update BLOBROWS set M = ?M, B = ?B where ID = ?OLD_ID");
    ds->Open();
    ds->FetchAll();
    // Forty rows of some 220 KB each are in the cache without their blobs.
    ASSERT_EQ(ds->RecordCount(), 40);
    EXPECT_LT(ds->RecordsCache()->MemoryUsed(), 64u * 1024u);

    TField* m = ds->FieldByName("M");
    TField* b = ds->FieldByName("B");
    ASSERT_NE(dynamic_cast<TFIBMemoField*>(m), nullptr);
    ASSERT_NE(dynamic_cast<TFIBBlobField*>(b), nullptr);
    ds->SetRecNo(17);
    EXPECT_EQ(m->AsString(), MemoText(17));
    EXPECT_EQ(b->AsBytes(), BlobBytes(17));
    EXPECT_EQ(m->AsString(), MemoText(17));   // the second read comes from the row's slot
    ds->SetRecNo(13);
    EXPECT_TRUE(m->IsNull());
    EXPECT_TRUE(b->IsNull());
    EXPECT_EQ(m->AsString(), QString());
    ds->Last();
    EXPECT_EQ(m->AsString(), MemoText(40));

    // An edit keeps its own value until it is posted or cancelled.
    ds->SetRecNo(5);
    ds->Edit();
    m->SetAsString(QString::fromUtf8("neu ä€"));
    b->SetAsBytes(QByteArray("\x00\x01 ", 3));
    EXPECT_EQ(m->AsString(), QString::fromUtf8("neu ä€"));
    ds->Cancel();
    EXPECT_EQ(m->AsString(), MemoText(5));
    EXPECT_EQ(b->AsBytes(), BlobBytes(5));
    ds->Edit();
    m->SetAsString(QString::fromUtf8("neu ä€"));
    b->SetAsBytes(QByteArray("\x00\x01 ", 3));
    ds->Post();
    ds->SetRecNo(13);
    ds->Edit();
    m->SetAsString(QStringLiteral("war leer"));
    ds->Post();
    ds->First();
    ds->SetRecNo(5);
    EXPECT_EQ(m->AsString(), QString::fromUtf8("neu ä€"));
    EXPECT_EQ(b->AsBytes(), QByteArray("\x00\x01 ", 3));
    ds->SetRecNo(13);
    EXPECT_EQ(m->AsString(), QStringLiteral("war leer"));
    EXPECT_TRUE(b->IsNull());
    ds->SetRecNo(6);
    EXPECT_EQ(m->AsString(), MemoText(6));

    // Rows kept past the end of the transaction keep their blobs readable.
    ds->Close();
    ds->SetOptions(ds->Options() | poDontCloseAfterEndTransaction);
    ds->Open();
    tr->Commit();
    ASSERT_TRUE(ds->Active());
    m = ds->FieldByName("M");   // the fields of the closed opening are gone
    b = ds->FieldByName("B");
    ds->SetRecNo(30);
    EXPECT_EQ(m->AsString(), MemoText(30));
    EXPECT_EQ(b->AsBytes(), BlobBytes(30));
    ds->SetRecNo(12);
    EXPECT_EQ(b->AsBytes(), BlobBytes(12));
}
