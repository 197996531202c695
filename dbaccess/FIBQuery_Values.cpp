// Parameter and column values: the typed reads and writes over one XSQLVAR entry,
// and the list that owns the entries' block and their data buffers.

#include "dbaccess/FIBQuery.h"

#include <QRegularExpression>
#include <QStringEncoder>
#include <QTime>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {
// Server day numbers start at 17.11.1858, 15018 days before our day zero;
// the two-word time stamp counts days from 1.1.0001.
constexpr int DateOffset = 15018;
constexpr int TimeStampDateDelta = 678576;
constexpr int TimeStampDayZero = 693594;
constexpr double TicksPerDay = 864000000.0;

// 10^k for k = -18 .. 18.
const double* Pow10Table()
{
    static const auto table = [] {
        std::array<double, 37> t{};
        for (int k = -18; k <= 18; ++k)
            t[static_cast<std::size_t>(k + 18)] = std::pow(10.0, k);
        return t;
    }();
    return table.data();
}
double Pow10(int k) { return Pow10Table()[std::clamp(k, -18, 18) + 18]; }

qint64 IntPow10(int k)
{
    qint64 r = 1;
    for (int i = 0; i < k; ++i)
        r *= 10;
    return r;
}

template <class T>
T Load(const char* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

bool IsNumericType(short t)
{
    return t == SQL_INT64 || t == SQL_LONG || t == SQL_SHORT || t == SQL_DOUBLE || t == SQL_FLOAT || t == SQL_D_FLOAT;
}
bool IsDateType(short t) { return t == SQL_TIMESTAMP || t == SQL_TYPE_DATE || t == SQL_TYPE_TIME; }

}  // namespace

QByteArray EncodeText(const QString& text, TTextCoding coding)
{
    switch (coding) {
    case TTextCoding::Utf8:
        return text.toUtf8();
    case TTextCoding::Latin1:
        return text.toLatin1();
    case TTextCoding::Win1252:
        break;
    }
    QStringEncoder encoder("windows-1252");
    return encoder.encode(text);
}

namespace {
// The code page's 256 characters, taken once from Qt's own decoder, so that a
// column read costs one pass over its bytes and the one string it returns.
const std::array<char16_t, 256>& Table1252()
{
    static const auto table = [] {
        std::array<char16_t, 256> t{};
        QByteArray all(256, 0);
        for (int i = 0; i < 256; ++i)
            all[i] = static_cast<char>(i);
        QStringDecoder decoder("windows-1252");
        const QString text = decoder.decode(all);
        for (int i = 0; i < 256; ++i)
            t[static_cast<std::size_t>(i)] = text.size() == 256 ? text[i].unicode() : static_cast<char16_t>(i);
        return t;
    }();
    return table;
}

QString Decode1252(const char* p, int length)
{
    const auto& table = Table1252();
    QString text(length, Qt::Uninitialized);
    char16_t* out = reinterpret_cast<char16_t*>(text.data());
    for (int i = 0; i < length; ++i)
        out[i] = table[static_cast<unsigned char>(p[i])];
    return text;
}

QString DateText(double value)
{
    return DateTimeToQDateTime(value).date().toString(FormatSettings.ShortDateFormat);
}
QString TimeText(double value)
{
    return DateTimeToQDateTime(value).time().toString(FormatSettings.ShortTimeFormat);
}

// Date and time from text in the process's formats, or in ISO form.
double StrToDateTime(const QString& text)
{
    const QString t = text.trimmed();
    const QString date = FormatSettings.ShortDateFormat;
    for (const QString& format : {date + QStringLiteral(" ") + FormatSettings.ShortTimeFormat,
                                  date + QStringLiteral(" HH:mm:ss.zzz"), date + QStringLiteral(" HH:mm"), date}) {
        const QDateTime dt = QDateTime::fromString(t, format);
        if (dt.isValid())
            return QDateTimeToDateTime(dt);
    }
    QDateTime iso = QDateTime::fromString(t, Qt::ISODateWithMs);
    if (iso.isValid())
        return QDateTimeToDateTime(iso);
    const QDate d = QDate::fromString(t, Qt::ISODate);
    if (d.isValid())
        return QDateTimeToDateTime(QDateTime(d, QTime(0, 0)));
    const QTime tm = QTime::fromString(t, Qt::ISODateWithMs);
    if (tm.isValid())
        return tm.msecsSinceStartOfDay() / MSecsPerDay;
    throw EConvertError(QStringLiteral("'%1' is not a valid date and time").arg(text));
}

double NumberFromText(const QString& text)
{
    const QString t = text.trimmed();
    bool ok = false;
    double v = t.toDouble(&ok);
    if (ok)
        return v;
    QString alt = t;
    alt.replace(u',', u'.');
    v = alt.toDouble(&ok);
    if (ok)
        return v;
    return StrToFloat(t);
}

qint64 Int64FromText(const QString& text)
{
    bool ok = false;
    const qint64 v = text.trimmed().toLongLong(&ok);
    if (ok)
        return v;
    return static_cast<qint64>(NumberFromText(text));
}

// Days and ten-thousandths of a timestamp from a date-time value; the time goes
// through whole milliseconds.
void EncodeTimeStamp(double value, ISC_TIMESTAMP& ts)
{
    double whole = std::trunc(value);
    qint64 ms = std::llround(std::fabs(value - whole) * MSecsPerDay);
    int date = static_cast<int>(whole) + TimeStampDayZero;
    if (ms >= static_cast<qint64>(MSecsPerDay)) {
        ms -= static_cast<qint64>(MSecsPerDay);
        ++date;
    }
    ts.timestamp_date = date - TimeStampDateDelta;
    ts.timestamp_time = static_cast<ISC_TIME>(ms * 10);
}

double DecodeTimeStamp(const ISC_TIMESTAMP& ts)
{
    const int date = ts.timestamp_date + TimeStampDateDelta;
    return DateTimeFromDayAndMs(date - TimeStampDayZero, ts.timestamp_time / 10);
}
}  // namespace

QString DecodeWin1252(const char* bytes, int length)
{
    return Decode1252(bytes, length);
}

TTextCoding ColumnTextCoding(const TFIBDatabase* db, int charsetId)
{
    if (db && db->NeedUnicodeHandling() && db->IsUnicodeCharset(charsetId))
        return TTextCoding::Utf8;
    // NONE and OCTETS carry whatever the writer put there; here that is 8-bit
    // text in the one code page of the program, like every other column.
    return TTextCoding::Win1252;
}

TTextCoding BlobTextCoding(const TFIBDatabase* db, int charsetId)
{
    // Text blobs come and go in the connection's character set.
    if (db && db->IsUnicodeConnect())
        return TTextCoding::Utf8;
    if (db && db->IsNoneCharsetConnect())
        return ColumnTextCoding(db, charsetId);
    return TTextCoding::Win1252;
}

QByteArray ReadBlobBytes(TFIBDatabase* db, TFIBTransaction* tr, const ISC_QUAD& id)
{
    tr->CheckInTransaction();
    IIBClientLibrary* lib = db->ClientLibrary();
    ISC_QUAD blobId = id;
    isc_blob_handle blob = 0;
    tr->Call(lib->isc_open_blob2(StatusVector(), db->HandlePtr(), tr->HandlePtr(), &blob, &blobId, 0, nullptr),
             true);
    QByteArray bytes;
    char segment[32768];
    for (;;) {
        unsigned short got = 0;
        const ISC_STATUS rc =
            lib->isc_get_segment(StatusVector(), &blob, &got, static_cast<unsigned short>(sizeof segment), segment);
        if (rc == 0 || rc == isc_segment) {
            bytes.append(segment, got);
            continue;
        }
        if (rc == isc_segstr_eof)
            break;
        CallKeepingStatus([&] { lib->isc_close_blob(StatusVector(), &blob); });
        tr->Call(rc, true);
    }
    tr->Call(lib->isc_close_blob(StatusVector(), &blob), true);
    return bytes;
}

QString DecodeBlobText(const QByteArray& bytes, TTextCoding coding)
{
    switch (coding) {
    case TTextCoding::Utf8:
        return QString::fromUtf8(bytes);
    case TTextCoding::Latin1:
        return QString::fromLatin1(bytes);
    case TTextCoding::Win1252:
        break;
    }
    return Decode1252(bytes.constData(), static_cast<int>(bytes.size()));
}

// ---------------------------------------------------------------- TFIBXSQLVAR

TFIBXSQLVAR::TFIBXSQLVAR(TFIBXSQLDA* parent, int index) : fIndex(index), fParent(parent) {}

TFIBQuery* TFIBXSQLVAR::Query() const { return fParent->Query(); }

QString TFIBXSQLVAR::RelationName() const
{
    return QString::fromUtf8(fXSQLVAR->relname, fXSQLVAR->relname_length).trimmed();
}

QString TFIBXSQLVAR::SqlName() const
{
    return QString::fromUtf8(fXSQLVAR->sqlname, fXSQLVAR->sqlname_length).trimmed();
}

bool TFIBXSQLVAR::IsNull() const
{
    const short type = fXSQLVAR->sqltype;
    if (!(type & 1))
        return false;
    if (!fParent->IsInput() && fParent->NoRow)
        return true;
    if (fXSQLVAR->sqlind && *fXSQLVAR->sqlind == -1)
        return true;
    return type < 2;
}

void TFIBXSQLVAR::ConversionError() const { RaiseClientError(fibceInvalidDataConversion); }

bool TFIBXSQLVAR::IsDBKey() const
{
    return fName == QLatin1String("DB_KEY") || fName == QLatin1String("RDB$DB_KEY");
}

QString TFIBXSQLVAR::ReadText() const
{
    const char* p = Buffer();
    int length = fXSQLVAR->sqllen;
    if (SQLType() == SQL_VARYING) {
        length = std::min<int>(Load<quint16>(p), fXSQLVAR->sqllen);
        p += 2;
    }
    QString text;
    switch (fTextCoding) {
    case TTextCoding::Utf8:
        text = QString::fromUtf8(p, length);
        break;
    case TTextCoding::Latin1:
        text = QString::fromLatin1(p, length);
        break;
    case TTextCoding::Win1252:
        text = Decode1252(p, length);
        break;
    }
    TFIBQuery* q = Query();
    if (q && q->HasOption(qoTrimCharFields)) {
        int n = static_cast<int>(text.size());
        while (n > 0 && text[n - 1] == u' ')
            --n;
        text.truncate(n);
    }
    return text;
}

QString TFIBXSQLVAR::ReadBlobText() const
{
    TFIBQuery* q = Query();
    TFIBDatabase* db = q ? q->Database() : nullptr;
    TFIBTransaction* tr = q ? q->Transaction() : nullptr;
    if (!db || !tr)
        RaiseClientError(fibceDatabaseNotAssigned, {q ? q->Name() : QString()});
    if (q->HasOption(qoStartTransaction) && !tr->Active())
        tr->StartTransaction();
    const QByteArray bytes = ReadBlobBytes(db, tr, AsQuad());
    if (fServerSQLSubtype != 1)
        return QString::fromLatin1(bytes);
    return DecodeBlobText(bytes, BlobTextCoding(db, fServerSQLScale));
}

qint64 TFIBXSQLVAR::AsInt64() const
{
    if (IsNull())
        return 0;
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    auto scaled = [scale](qint64 v) -> qint64 {
        if (scale < 0)
            return v / IntPow10(std::min(-scale, 18));
        if (scale > 0)
            return v * IntPow10(std::min(scale, 18));
        return v;
    };
    switch (SQLType()) {
    case SQL_TEXT:
    case SQL_VARYING:
        return Int64FromText(ReadText());
    case SQL_SHORT:
        return scaled(Load<qint16>(p));
    case SQL_LONG:
        return scaled(Load<qint32>(p));
    case SQL_INT64:
        return scaled(Load<qint64>(p));
    case SQL_FLOAT:
        return static_cast<qint64>(Load<float>(p));
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
        return static_cast<qint64>(Load<double>(p));
    case SQL_NULL:
        return 0;
    default:
        ConversionError();
    }
}

int TFIBXSQLVAR::AsInteger() const
{
    if (IsNull())
        return 0;
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    switch (SQLType()) {
    case SQL_TEXT:
    case SQL_VARYING:
        return static_cast<int>(Int64FromText(ReadText()));
    case SQL_SHORT:
        return scale ? static_cast<int>(Load<qint16>(p) * Pow10(scale)) : Load<qint16>(p);
    case SQL_LONG:
        return scale ? static_cast<int>(Load<qint32>(p) * Pow10(scale)) : Load<qint32>(p);
    case SQL_INT64:
        return scale ? static_cast<int>(static_cast<double>(Load<qint64>(p)) * Pow10(scale))
                     : static_cast<int>(Load<qint64>(p));
    case SQL_FLOAT:
        return static_cast<int>(Load<float>(p));
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
        return static_cast<int>(Load<double>(p));
    case SQL_BOOLEAN:
        return fXSQLVAR->sqllen >= 2 ? Load<qint16>(p) : static_cast<unsigned char>(*p);
    case SQL_NULL:
        return 0;
    default:
        ConversionError();
    }
}

double TFIBXSQLVAR::AsDouble() const
{
    if (IsNull())
        return 0.0;
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    // Dividing by an exact power of ten gives the nearest double of a decimal.
    auto scaled = [scale](double v) { return scale < 0 ? v / Pow10(-scale) : scale > 0 ? v * Pow10(scale) : v; };
    switch (SQLType()) {
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
        return Load<double>(p);
    case SQL_LONG:
        return scaled(Load<qint32>(p));
    case SQL_INT64:
        return scaled(static_cast<double>(Load<qint64>(p)));
    case SQL_SHORT:
        return scaled(Load<qint16>(p));
    case SQL_FLOAT:
        return Load<float>(p);
    case SQL_TEXT:
    case SQL_VARYING:
        return NumberFromText(ReadText());
    case SQL_BOOLEAN:
        return AsInteger() == 1 ? 1.0 : 0.0;
    case SQL_NULL:
        return 0.0;
    default:
        ConversionError();
    }
}

long double TFIBXSQLVAR::AsExtended() const
{
    if (IsNull())
        return 0.0L;
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    auto scaled = [scale](long double v) {
        return scale < 0 ? v / std::pow(10.0L, -scale) : scale > 0 ? v * std::pow(10.0L, scale) : v;
    };
    switch (SQLType()) {
    case SQL_SHORT:
        return scaled(Load<qint16>(p));
    case SQL_LONG:
        return scaled(Load<qint32>(p));
    case SQL_INT64:
        return scaled(static_cast<long double>(Load<qint64>(p)));
    case SQL_FLOAT:
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
    case SQL_TEXT:
    case SQL_VARYING:
    case SQL_NULL:
        return AsDouble();
    default:
        ConversionError();
    }
}

qint64 TFIBXSQLVAR::AsCurrency() const
{
    if (IsNull())
        return 0;
    TFIBQuery* q = Query();
    const int dialect = q && q->Database() ? q->Database()->SQLDialect() : 3;
    if (SQLType() == SQL_INT64 && dialect >= 3) {
        const qint64 v = Load<qint64>(Buffer());
        const int shift = 4 + fXSQLVAR->sqlscale;
        qint64 product = 0;
        if (shift >= 0) {
            // Beyond the range of the four-decimal value: no line in the tables.
            if (__builtin_mul_overflow(v, IntPow10(std::min(shift, 18)), &product))
                ConversionError();
            return product;
        }
        const qint64 div = IntPow10(std::min(-shift, 18));
        const qint64 q0 = v / div, r = v % div;
        return q0 + (2 * std::abs(r) >= div ? (v < 0 ? -1 : 1) : 0);
    }
    return std::llround(AsDouble() * 10000.0);
}

double TFIBXSQLVAR::AsDateTime() const
{
    if (IsNull())
        return 0.0;
    const char* p = Buffer();
    switch (SQLType()) {
    case SQL_TIMESTAMP:
        return DecodeTimeStamp(Load<ISC_TIMESTAMP>(p));
    case SQL_TYPE_DATE:
        return static_cast<double>(Load<ISC_DATE>(p)) - DateOffset;
    case SQL_TYPE_TIME:
        return static_cast<double>(Load<ISC_TIME>(p)) / TicksPerDay;
    case SQL_TEXT:
    case SQL_VARYING:
        return StrToDateTime(ReadText());
    case SQL_NULL:
        return 0.0;
    default:
        ConversionError();
    }
}

QDateTime TFIBXSQLVAR::AsQDateTime() const
{
    if (IsNull())
        return {};
    return DateTimeToQDateTime(AsDateTime());
}

bool TFIBXSQLVAR::AsBoolean() const
{
    if (IsNull())
        return false;
    switch (SQLType()) {
    case SQL_INT64:
        return Load<qint64>(Buffer()) == 1;
    case SQL_LONG:
        return Load<qint32>(Buffer()) == 1;
    case SQL_SHORT:
        return Load<qint16>(Buffer()) == 1;
    case SQL_BOOLEAN:
        return AsInteger() == 1;
    default:
        ConversionError();
    }
}

ISC_QUAD TFIBXSQLVAR::AsQuad() const
{
    ISC_QUAD q{};
    if (IsNull())
        return q;
    const short t = SQLType();
    if (t != SQL_BLOB && t != SQL_ARRAY && t != SQL_QUAD)
        ConversionError();
    std::memcpy(&q, Buffer(), sizeof q);
    return q;
}

QByteArray TFIBXSQLVAR::AsRaw() const
{
    if (IsNull() || !Buffer())
        return {};
    if (SQLType() == SQL_VARYING)
        return QByteArray(Buffer() + 2, std::min<int>(Load<quint16>(Buffer()), fXSQLVAR->sqllen));
    return QByteArray(Buffer(), fXSQLVAR->sqllen);
}

QString TFIBXSQLVAR::NumberText() const
{
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    qint64 v = 0;
    switch (SQLType()) {
    case SQL_SHORT:
        v = Load<qint16>(p);
        break;
    case SQL_LONG:
        v = Load<qint32>(p);
        break;
    default:
        v = Load<qint64>(p);
        break;
    }
    if (scale == 0)
        return QString::number(v);
    if (SQLType() != SQL_INT64 || scale > 0)
        return FloatToStr(AsDouble());
    // Exact decimal text: every digit of the scale stays.
    const bool negative = v < 0;
    QString digits = QString::number(v).remove(u'-');
    const int decimals = -scale;
    if (digits.size() <= decimals)
        digits = QString(decimals - digits.size() + 1, u'0') + digits;
    digits.insert(digits.size() - decimals, FormatSettings.DecimalSeparator);
    return negative ? u'-' + digits : digits;
}

QString TFIBXSQLVAR::AsString() const
{
    if (IsNull())
        return {};
    switch (SQLType()) {
    case SQL_TEXT:
    case SQL_VARYING:
        return ReadText();
    case SQL_SHORT:
    case SQL_LONG:
    case SQL_INT64:
        return NumberText();
    case SQL_FLOAT:
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
        return FloatToStr(AsDouble());
    case SQL_TYPE_DATE:
        return DateText(AsDateTime());
    case SQL_TYPE_TIME:
        return TimeText(AsDateTime());
    case SQL_TIMESTAMP: {
        const double v = AsDateTime();
        if (v == std::trunc(v))
            return DateText(v);
        return DateText(v) + u' ' + TimeText(v);
    }
    case SQL_BOOLEAN:
        return AsBoolean() ? QStringLiteral("True") : QStringLiteral("False");
    case SQL_BLOB:
        return ReadBlobText();
    case SQL_ARRAY:
        return QStringLiteral("(ARRAY)");
    case SQL_NULL:
        return {};
    default:
        ConversionError();
    }
}

QString TFIBXSQLVAR::AsWideString() const
{
    if (fHasWideValue)
        return fWideValue;
    return AsString();
}

QVariant TFIBXSQLVAR::AsVariant() const
{
    if (fIsMacro)
        return fStoredValue;
    if (IsNull())
        return {};
    const char* p = Buffer();
    const int scale = fXSQLVAR->sqlscale;
    switch (SQLType()) {
    case SQL_TEXT:
    case SQL_VARYING:
        return ReadText();
    case SQL_SHORT:
        return scale ? QVariant(AsDouble()) : QVariant(static_cast<int>(Load<qint16>(p)));
    case SQL_LONG:
        return scale ? QVariant(AsDouble()) : QVariant(Load<qint32>(p));
    case SQL_INT64:
        if (scale == 0)
            return QVariant(static_cast<qlonglong>(Load<qint64>(p)));
        if (scale >= -4)
            return QVariant(static_cast<double>(AsExtended()));
        return QVariant(AsDouble());
    case SQL_FLOAT:
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
        return AsDouble();
    case SQL_TIMESTAMP:
        return AsQDateTime();
    case SQL_TYPE_DATE:
        return AsQDateTime().date();
    case SQL_TYPE_TIME:
        return QTime::fromMSecsSinceStartOfDay(static_cast<int>(Load<ISC_TIME>(p) / 10));
    case SQL_BOOLEAN:
        return AsBoolean();
    case SQL_BLOB:
        return AsString();
    case SQL_ARRAY:
        return QStringLiteral("(Array)");
    case SQL_NULL:
        return {};
    default:
        ConversionError();
    }
}

// ---- writes

template <class Fn>
void TFIBXSQLVAR::WriteAll(Fn&& fn)
{
    fn(*this);
    for (int i : fParent->SameNamed(fIndex))
        if (i != fIndex)
            fn(fParent->Vars(i));
}

void TFIBXSQLVAR::MarkWritten()
{
    fModified = true;
}

void TFIBXSQLVAR::Retype(short type, short length, short scale)
{
    fXSQLVAR->sqltype = static_cast<short>(type | (fXSQLVAR->sqltype & 1));
    fXSQLVAR->sqlscale = scale;
    fXSQLVAR->sqllen = length;
    fParent->AllocBuffer(fIndex, std::max<int>(length, 1));
    fHasWideValue = false;
    fHasStream = false;
    SetNullState(false);
}

void TFIBXSQLVAR::SetNullState(bool isNull)
{
    TFIBQuery* q = Query();
    if (fNullRewrite != TNullRewrite::None && q && !q->HasOption(qoNoForceIsNull) && fParent->IsInput() && isNull != IsNull())
        q->MarkNullStateChanged();
    if (isNull) {
        if (!fParent->IsInput() && !IsNullable())
            RaiseClientError(fibceColumnIsNotNullable, {fName});
        if (SQLType() < 2) {
            fXSQLVAR->sqltype = static_cast<short>(SQL_TEXT | (fXSQLVAR->sqltype & 1));
            fXSQLVAR->sqllen = 0;
            fParent->FreeBuffer(fIndex);
        }
        if (!IsNullable())
            SetIsNullable(true);
        *fXSQLVAR->sqlind = -1;
    } else if (fXSQLVAR->sqlind) {
        *fXSQLVAR->sqlind = 0;
    }
}

void TFIBXSQLVAR::SetIsNull(bool value)
{
    if (fIsMacro) {
        WriteAll([&](TFIBXSQLVAR& v) {
            if (value && !v.fStoredValue.isNull())
                Query()->MarkMacroChanged();
            v.fStoredValue = value ? QVariant() : QVariant(v.fStoredValue.toString());
        });
        return;
    }
    WriteAll([&](TFIBXSQLVAR& v) {
        v.SetNullState(value);
        v.MarkWritten();
    });
}

void TFIBXSQLVAR::SetIsNullable(bool value)
{
    if (value) {
        fXSQLVAR->sqltype = static_cast<short>(fXSQLVAR->sqltype | 1);
        fXSQLVAR->sqlind = &fParent->fBuffers[static_cast<std::size_t>(fIndex)]->indicator;
    } else {
        fXSQLVAR->sqltype = static_cast<short>(fXSQLVAR->sqltype & ~1);
        fXSQLVAR->sqlind = nullptr;
    }
}

#define FIB_TYPED_WRITE(TYPE, LEN, SCALE, VALUE)                           \
    WriteAll([&](TFIBXSQLVAR& target_) {                                   \
        const auto stored_ = (VALUE);                                      \
        if (target_.fIsMacro) {                                            \
            target_.WriteString(QVariant::fromValue(stored_).toString());  \
            return;                                                        \
        }                                                                  \
        target_.Retype(TYPE, LEN, SCALE);                                  \
        std::memcpy(target_.fXSQLVAR->sqldata, &stored_, sizeof stored_);  \
        target_.MarkWritten();                                             \
    })

void TFIBXSQLVAR::SetAsShort(short value) { FIB_TYPED_WRITE(SQL_SHORT, 2, 0, static_cast<qint16>(value)); }

void TFIBXSQLVAR::SetAsInteger(int value) { FIB_TYPED_WRITE(SQL_LONG, 4, 0, static_cast<qint32>(value)); }

void TFIBXSQLVAR::SetAsInt64(qint64 value)
{
    TFIBQuery* q = Query();
    if (q && q->Database() && q->Database()->SQLDialect() < 3)
        FIB_TYPED_WRITE(SQL_LONG, 4, 0, static_cast<qint32>(value));
    else
        FIB_TYPED_WRITE(SQL_INT64, 8, 0, static_cast<qint64>(value));
}

void TFIBXSQLVAR::SetAsDouble(double value) { FIB_TYPED_WRITE(SQL_DOUBLE, 8, 0, value); }

void TFIBXSQLVAR::SetAsExtended(long double value)
{
    TFIBQuery* q = Query();
    const bool dialect3 = !(q && q->Database() && q->Database()->SQLDialect() < 3);
    const long double magnitude = std::fabs(value);
    if (!dialect3 || !std::isfinite(static_cast<double>(value)) || magnitude >= 1e18L) {
        SetAsDouble(static_cast<double>(value));
        return;
    }
    // As many decimals as fit beside the integer digits in 18 digits.
    int digits = 1;
    for (long double m = magnitude; m >= 10.0L; m /= 10.0L)
        ++digits;
    const int decimals = 18 - digits;
    const qint64 scaled = std::llroundl(value * std::pow(10.0L, decimals));
    FIB_TYPED_WRITE(SQL_INT64, 8, static_cast<short>(-decimals), scaled);
}

void TFIBXSQLVAR::SetAsCurrency(qint64 valueTimes10000)
{
    TFIBQuery* q = Query();
    if (q && q->Database() && q->Database()->SQLDialect() < 3)
        SetAsDouble(static_cast<double>(valueTimes10000) / 10000.0);
    else
        FIB_TYPED_WRITE(SQL_INT64, 8, -4, valueTimes10000);
}

void TFIBXSQLVAR::SetAsBcd(const QString& decimalText)
{
    QString t = decimalText.trimmed();
    bool negative = false;
    if (t.startsWith(u'-') || t.startsWith(u'+')) {
        negative = t.startsWith(u'-');
        t.remove(0, 1);
    }
    const qsizetype sep = t.indexOf(QRegularExpression(QStringLiteral("[.,]")));
    QString digits = t;
    int decimals = 0;
    if (sep >= 0) {
        decimals = static_cast<int>(t.size() - sep - 1);
        digits = t.left(sep) + t.mid(sep + 1);
    }
    bool ok = !digits.isEmpty() && digits.size() <= 18;
    for (QChar c : digits)
        ok = ok && c.isDigit();
    if (!ok)
        ConversionError();
    qint64 v = digits.toLongLong(&ok);
    if (!ok)
        ConversionError();
    if (negative)
        v = -v;
    TFIBQuery* q = Query();
    if (q && q->Database() && q->Database()->SQLDialect() < 3)
        SetAsDouble(static_cast<double>(v) / Pow10(decimals));
    else
        FIB_TYPED_WRITE(SQL_INT64, 8, static_cast<short>(-decimals), v);
}

void TFIBXSQLVAR::SetAsDateTime(double value)
{
    ISC_TIMESTAMP ts;
    EncodeTimeStamp(value, ts);
    WriteAll([&](TFIBXSQLVAR& v) {
        if (v.fIsMacro) {
            v.SetAsString(DateText(value) + u' ' + TimeText(value));
            return;
        }
        v.Retype(SQL_TIMESTAMP, 8);
        std::memcpy(v.fXSQLVAR->sqldata, &ts, sizeof ts);
        v.MarkWritten();
    });
}

void TFIBXSQLVAR::SetAsQDateTime(const QDateTime& value)
{
    if (!value.isValid())
        SetIsNull(true);
    else
        SetAsDateTime(QDateTimeToDateTime(value));
}

void TFIBXSQLVAR::SetAsBoolean(bool value)
{
    WriteAll([&](TFIBXSQLVAR& v) {
        if (v.fIsMacro) {
            v.SetAsString(value ? QStringLiteral("1") : QStringLiteral("0"));
            return;
        }
        if ((v.fXSQLVAR->sqltype & ~1) == 0) {
            v.SetIsNullable(true);
            v.fDescribed = true;
        }
        if (v.SQLType() == SQL_BOOLEAN || v.fServerSQLType == SQL_BOOLEAN) {
            v.Retype(SQL_BOOLEAN, 1);
            v.fXSQLVAR->sqldata[0] = value ? 1 : 0;
        } else {
            v.Retype(SQL_SHORT, 2);
            const qint16 s = value ? 1 : 0;
            std::memcpy(v.fXSQLVAR->sqldata, &s, sizeof s);
        }
        v.MarkWritten();
    });
}

void TFIBXSQLVAR::SetAsGuid(const QByteArray& sixteenBytes)
{
    if (sixteenBytes.size() != 16)
        ConversionError();
    WriteAll([&](TFIBXSQLVAR& v) {
        v.Retype(SQL_TEXT, 16);
        v.fXSQLVAR->sqlsubtype = 1;
        std::memcpy(v.fXSQLVAR->sqldata, sixteenBytes.constData(), 16);
        v.MarkWritten();
    });
}

void TFIBXSQLVAR::SetAsQuad(const ISC_QUAD& blobId)
{
    WriteAll([&](TFIBXSQLVAR& v) {
        v.Retype(v.fServerSQLType == SQL_ARRAY ? SQL_ARRAY : SQL_BLOB, 8, v.fServerSQLScale);
        std::memcpy(v.fXSQLVAR->sqldata, &blobId, sizeof blobId);
        v.MarkWritten();
    });
}

void TFIBXSQLVAR::SetAsStream(const QByteArray& data)
{
    WriteAll([&](TFIBXSQLVAR& v) {
        v.Retype(SQL_BLOB, 8, v.fServerSQLScale);
        v.fXSQLVAR->sqlsubtype = v.fServerSQLSubtype;
        std::memset(v.fXSQLVAR->sqldata, 0, 8);
        v.fStream = data;
        v.fHasStream = true;
        v.MarkWritten();
    });
    if (TFIBQuery* q = Query())
        q->MarkBlobsToWrite();
}

void TFIBXSQLVAR::SetAsString(const QString& value)
{
    WriteAll([&](TFIBXSQLVAR& v) { v.WriteString(value); });
}

void TFIBXSQLVAR::WriteString(const QString& value)
{
    TFIBQuery* q = Query();
    if (fIsMacro) {
        if (fStoredValue.isNull() || fStoredValue.toString() != value) {
            if (q)
                q->MarkMacroChanged();
        }
        fStoredValue = value;
        fModified = true;
        return;
    }
    const short target = fServerSQLType;
    TFIBDatabase* db = q ? q->Database() : nullptr;
    const TTextCoding coding =
        target == SQL_BLOB ? BlobTextCoding(db, fServerSQLScale) : ColumnTextCoding(db, fServerSQLSubtype & 0xFF);

    if (value.isEmpty() && (IsNumericType(target) || IsDateType(target))) {
        SetNullState(true);
        fModified = true;
        return;
    }
    QString text = value;
    if (IsNumericType(target)) {
        text.replace(u',', u'.');
        const QChar sep = FormatSettings.DecimalSeparator;
        if (sep != u',' && sep != u'.')
            text.replace(sep, u'.');
    }
    const QByteArray bytes = EncodeText(text, coding);
    if (bytes.size() > 32767 || target == SQL_BLOB) {
        Retype(SQL_BLOB, 8, fServerSQLScale);
        fXSQLVAR->sqlsubtype = fServerSQLSubtype;
        std::memset(fXSQLVAR->sqldata, 0, 8);
        fStream = bytes;
        fHasStream = true;
        fModified = true;
        if (q)
            q->MarkBlobsToWrite();
        return;
    }
    if (IsDBKey() && fServerSQLType != 0) {
        // A record key keeps the described type and length; its bytes are given as they are.
        const QByteArray raw = value.toLatin1();
        fXSQLVAR->sqltype = static_cast<short>(fServerSQLType | (fXSQLVAR->sqltype & 1));
        fXSQLVAR->sqllen = fServerSQLLen;
        fXSQLVAR->sqlsubtype = fServerSQLSubtype;
        fXSQLVAR->sqlscale = 0;
        fParent->AllocBuffer(fIndex, std::max<int>(fXSQLVAR->sqllen, 1));
        std::memset(fXSQLVAR->sqldata, 0, static_cast<std::size_t>(std::max<int>(fXSQLVAR->sqllen, 1)));
        std::memcpy(fXSQLVAR->sqldata, raw.constData(), std::min<std::size_t>(raw.size(), fXSQLVAR->sqllen));
        SetNullState(false);
        fWideValue = value;
        fHasWideValue = true;
        fModified = true;
        return;
    }
    Retype(SQL_TEXT, static_cast<short>(bytes.size()));
    if (!bytes.isEmpty())
        std::memcpy(fXSQLVAR->sqldata, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (coding == TTextCoding::Utf8)
        fXSQLVAR->sqlsubtype = 3;
    else if (target == SQL_TEXT || target == SQL_VARYING)
        fXSQLVAR->sqlsubtype = fServerSQLSubtype;
    else
        fXSQLVAR->sqlsubtype = 0;
    fWideValue = value;
    fHasWideValue = true;
    fModified = true;
}

void TFIBXSQLVAR::SetAsVariant(const QVariant& value)
{
    if (!value.isValid() || value.isNull()) {
        SetIsNull(true);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
        SetAsBoolean(value.toBool());
        break;
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Int:
        SetAsInteger(value.toInt());
        break;
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        SetAsInt64(value.toLongLong());
        break;
    case QMetaType::Float:
    case QMetaType::Double:
        SetAsDouble(value.toDouble());
        break;
    case QMetaType::QDateTime:
        SetAsQDateTime(value.toDateTime());
        break;
    case QMetaType::QDate:
        SetAsDateTime(QDateTimeToDateTime(QDateTime(value.toDate(), QTime(0, 0))));
        break;
    case QMetaType::QTime:
        SetAsDateTime(value.toTime().msecsSinceStartOfDay() / MSecsPerDay);
        break;
    case QMetaType::QByteArray:
        if (fServerSQLType == SQL_BLOB) {
            SetAsStream(value.toByteArray());
        } else {
            const QByteArray raw = value.toByteArray();
            WriteAll([&](TFIBXSQLVAR& v) {
                v.Retype(SQL_TEXT, static_cast<short>(std::min<qsizetype>(raw.size(), 32767)));
                v.fXSQLVAR->sqlsubtype = 1;
                std::memcpy(v.fXSQLVAR->sqldata, raw.constData(), static_cast<std::size_t>(v.fXSQLVAR->sqllen));
                v.MarkWritten();
            });
        }
        break;
    default:
        SetAsString(value.toString());
        break;
    }
}

// ---------------------------------------------------------------- TFIBXSQLDA

TFIBXSQLDA::TFIBXSQLDA(TFIBQuery* query, bool isInput) : fQuery(query), fIsInput(isInput) { SetCount(0); }

TFIBXSQLDA::~TFIBXSQLDA() { std::free(fDA); }

void TFIBXSQLDA::SetCount(int count)
{
    count = std::max(count, 0);
    if (!fDA || count > fRoom) {
        const int room = std::max(count, 1);
        auto* block = static_cast<XSQLDA*>(std::calloc(1, XSQLDA_LENGTH(room)));
        if (!block)
            throw std::bad_alloc();
        if (fDA) {
            std::memcpy(block->sqlvar, fDA->sqlvar, sizeof(XSQLVAR) * static_cast<std::size_t>(fRoom));
            std::free(fDA);
        }
        fDA = block;
        fRoom = room;
        for (auto& var : fVars)
            var->fXSQLVAR = &fDA->sqlvar[var->fIndex];
    }
    fDA->version = SQLDA_VERSION1;
    while (Count() > count) {
        const int last = Count() - 1;
        FreeBuffer(last);
        std::memset(&fDA->sqlvar[last], 0, sizeof(XSQLVAR));
        fVars.pop_back();
        fBuffers.pop_back();
    }
    while (Count() < count) {
        const int index = Count();
        std::memset(&fDA->sqlvar[index], 0, sizeof(XSQLVAR));
        fVars.push_back(std::make_unique<TFIBXSQLVAR>(this, index));
        fVars.back()->fXSQLVAR = &fDA->sqlvar[index];
        fBuffers.push_back(std::make_unique<TBuffer>());
    }
    fDA->sqln = static_cast<ISC_SHORT>(count);
    fDA->sqld = static_cast<ISC_SHORT>(count);
    RebuildNameIndex();
}

TFIBXSQLVAR& TFIBXSQLDA::Vars(int index) const
{
    if (index < 0 || index >= Count())
        RaiseClientError(fibceXSQLDAIndexOutOfRange);
    return *fVars[static_cast<std::size_t>(index)];
}

TFIBXSQLVAR* TFIBXSQLDA::ByName(const QString& name) const
{
    const int i = IndexOf(name);
    return i < 0 ? nullptr : fVars[static_cast<std::size_t>(i)].get();
}

TFIBXSQLVAR& TFIBXSQLDA::VarByName(const QString& name) const
{
    TFIBXSQLVAR* v = ByName(name);
    if (!v)
        RaiseClientError(fibceXSQLDANameDoesNotExist, {name});
    return *v;
}

int TFIBXSQLDA::IndexOf(const QString& name) const { return fNames.value(name, -1); }

QStringList TFIBXSQLDA::Names() const
{
    QStringList names;
    for (auto& v : fVars)
        names << v->fName;
    return names;
}

void TFIBXSQLDA::SetVarName(int index, const QString& name)
{
    Vars(index).fName = name;
    RebuildNameIndex();
}

void TFIBXSQLDA::RebuildNameIndex()
{
    fNames.clear();
    fAllNames.clear();
    fSameNamed.assign(fVars.size(), {});
    for (int i = 0; i < Count(); ++i) {
        const QString& name = fVars[static_cast<std::size_t>(i)]->fName;
        if (name.isEmpty())
            continue;
        if (!fNames.contains(name))
            fNames.insert(name, i);
        fAllNames.emplace(name, i);
    }
    // Only input lists share values between equal names.
    if (!fIsInput)
        return;
    for (int i = 0; i < Count(); ++i) {
        const QString& name = fVars[static_cast<std::size_t>(i)]->fName;
        if (name.isEmpty())
            continue;
        auto [from, to] = fAllNames.equal_range(name);
        if (std::next(from) == to)
            continue;
        for (auto it = from; it != to; ++it)
            fSameNamed[static_cast<std::size_t>(i)].push_back(it->second);
    }
}

const std::vector<int>& TFIBXSQLDA::SameNamed(int index) const
{
    return fSameNamed[static_cast<std::size_t>(index)];
}

char* TFIBXSQLDA::AllocBuffer(int index, int size)
{
    TBuffer& b = *fBuffers[static_cast<std::size_t>(index)];
    if (b.size < size || !b.data) {
        b.data = std::make_unique<char[]>(static_cast<std::size_t>(size));
        b.size = size;
    }
    XSQLVAR& entry = fDA->sqlvar[index];
    entry.sqldata = b.data.get();
    if (entry.sqltype & 1)
        entry.sqlind = &b.indicator;
    return b.data.get();
}

void TFIBXSQLDA::FreeBuffer(int index)
{
    TBuffer& b = *fBuffers[static_cast<std::size_t>(index)];
    b.data.reset();
    b.size = 0;
    fDA->sqlvar[index].sqldata = nullptr;
}

void TFIBXSQLDA::Initialize()
{
    TFIBDatabase* db = fQuery ? fQuery->Database() : nullptr;
    const bool unicodeNames = db && db->NeedUnicodeHandling();
    if (!fIsInput) {
        fNames.clear();
        fAllNames.clear();
    }
    int unnamed = 0;
    QHash<QString, int> used;
    for (int i = 0; i < Count(); ++i) {
        TFIBXSQLVAR& var = *fVars[static_cast<std::size_t>(i)];
        XSQLVAR& entry = fDA->sqlvar[i];
        var.fXSQLVAR = &entry;
        var.fServerSQLType = static_cast<short>(entry.sqltype & ~1);
        var.fServerSQLLen = entry.sqllen;
        var.fServerSQLSubtype = entry.sqlsubtype;
        var.fServerSQLScale = entry.sqlscale;
        var.fDescribed = true;
        var.fHasStream = false;
        var.fHasWideValue = false;
        const short type = var.fServerSQLType;
        var.fTextCoding = ColumnTextCoding(db, entry.sqlsubtype & 0xFF);

        if (!fIsInput) {
            const QByteArray alias(entry.aliasname, entry.aliasname_length);
            QString name = unicodeNames ? QString::fromUtf8(alias) : QString::fromLatin1(alias);
            if (name.isEmpty()) {
                name = QStringLiteral("F_") + QString::number(++unnamed);
                const QByteArray bytes = name.toLatin1();
                std::memcpy(entry.aliasname, bytes.constData(), static_cast<std::size_t>(bytes.size()));
                entry.aliasname_length = static_cast<ISC_SHORT>(bytes.size());
            }
            if (used.contains(name)) {
                int n = 1;
                QString candidate;
                for (;; ++n) {
                    const QString number = QString::number(n);
                    QString base = name;
                    if (base.size() + number.size() > 31)
                        base.truncate(32 - number.size() - 1);
                    candidate = base + number;
                    if (!used.contains(candidate))
                        break;
                }
                name = candidate;
            }
            used.insert(name, i);
            var.fName = name;
        }
        // A record key is bytes, not text: one character per byte, both ways.
        if (var.IsDBKey() || QByteArray(entry.sqlname, entry.sqlname_length).trimmed() == "DB_KEY")
            var.fTextCoding = TTextCoding::Latin1;

        int size = 0;
        switch (type) {
        case SQL_VARYING:
            size = entry.sqllen + 2;
            break;
        case SQL_TEXT:
            size = std::max<int>(entry.sqllen, 1);
            break;
        case SQL_NULL:
            size = 0;
            break;
        case SQL_DOUBLE:
        case SQL_FLOAT:
        case SQL_LONG:
        case SQL_SHORT:
        case SQL_TIMESTAMP:
        case SQL_BLOB:
        case SQL_D_FLOAT:
        case SQL_ARRAY:
        case SQL_QUAD:
        case SQL_TYPE_TIME:
        case SQL_TYPE_DATE:
        case SQL_INT64:
        case SQL_BOOLEAN:
        case 590:
            size = std::max<int>(entry.sqllen, 1);
            break;
        case 0:
            if (fIsInput) {
                size = 0;
                break;
            }
            [[fallthrough]];
        default:
            RaiseClientError(fibceUnknownSQLDataType, {static_cast<int>(type)});
        }
        if (size > 0) {
            AllocBuffer(i, size);
        } else {
            FreeBuffer(i);
        }
        if (entry.sqltype & 1) {
            entry.sqlind = &fBuffers[static_cast<std::size_t>(i)]->indicator;
            fBuffers[static_cast<std::size_t>(i)]->indicator = 0;
        } else {
            entry.sqlind = nullptr;
        }
    }
    RebuildNameIndex();
}
