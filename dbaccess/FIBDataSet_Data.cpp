#include "dbaccess/FIBDataSet_Internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <typeinfo>

using namespace fibds;

// ---- field data ----

const std::byte* TFIBCustomDataSet::ReadSource(TField* field, int& row, const std::vector<QByteArray>*& longs) const
{
    longs = nullptr;
    row = -1;
    if (!fCache)
        return nullptr;
    const TBuf* b = Buf(ActiveBuffer());
    if (!b)
        return nullptr;
    (void)field;
    switch (State()) {
    case dsOldValue:
        if (b->Row >= 0) {
            row = b->Row;
            if (const auto* old = fCache->OldRecord(b->Row)) {
                longs = fCache->OldStrings(b->Row);
                return old->data();
            }
            return fCache->Record(b->Row);
        }
        break;
    case dsCurValue:
        if (b->Row >= 0) {
            row = b->Row;
            return fCache->Record(b->Row);
        }
        break;
    default: break;
    }
    if (b->HasCopy) {
        longs = &b->Long;
        return b->Data.data();
    }
    if (b->Row < 0 || b->Row >= fCache->Count())
        return nullptr;
    row = b->Row;
    return fCache->Record(b->Row);
}

// ---- blobs ----

TFIBBlobStream& TFIBCustomDataSet::BlobSlot(TBuf* b, int index) const
{
    if (b->Blobs.size() < static_cast<std::size_t>(fBlobCount))
        b->Blobs.resize(static_cast<std::size_t>(fBlobCount));
    auto& slot = b->Blobs[static_cast<std::size_t>(index)];
    if (!slot)
        slot = std::make_unique<TFIBBlobStream>();
    return *slot;
}

void TFIBCustomDataSet::ReleaseBlobSlots(TBuf* b)
{
    for (auto& slot : b->Blobs)
        slot.reset();
}

QByteArray TFIBCustomDataSet::ServerBlob(const ISC_QUAD& id) const
{
    TFIBTransaction* tr = Transaction();
    if (tr && !tr->Active() && (fOptions & poStartTransaction))
        tr->StartTransaction();
    if (!Database() || !tr)
        RaiseClientError(fibceDatabaseNotAssigned, {Name()});
    return ReadBlobBytes(Database(), tr, id);
}

QByteArray TFIBCustomDataSet::RowBlob(const TFIBFieldDescr& d, const std::byte* rec, int row) const
{
    if (row >= 0)
        if (const QByteArray* client = fCache->ClientBlob(row, d.BlobIndex))
            return *client;
    return ServerBlob(Load<ISC_QUAD>(rec + d.Offset));
}

// Inline: every field read of the walk starts here.
inline TFIBCustomDataSet::TFieldSource TFIBCustomDataSet::FieldSource(TField* field) const
{
    TFieldSource source;
    const std::byte* rec = ReadSource(field, source.Row, source.Longs);
    const int col = field->FieldNo() - 1;
    if (!rec || col < 0 || NullBit(rec, fNullOffset, col))
        return source;
    source.Rec = rec;
    source.Descr = &fDescr[static_cast<std::size_t>(col)];
    return source;
}

bool TFIBCustomDataSet::BlobFieldData(TField* field, QByteArray& bytes)
{
    const auto [rec, row, longs, descr] = FieldSource(field);
    if (!rec)
        return false;
    const TFIBFieldDescr& d = *descr;
    const ISC_QUAD id = Load<ISC_QUAD>(rec + d.Offset);
    if (State() == dsOldValue && row >= 0 && fCache->OldRecord(row)) {
        // The row before its first edit: the client's value then, or the server's.
        const QByteArray* old = fCache->OldClientBlob(row, d.BlobIndex);
        bytes = old ? *old : ServerBlob(id);
        return true;
    }
    TBuf* b = Buf(ActiveBuffer());
    if (State() == dsOldValue || State() == dsCurValue || !b) {
        bytes = RowBlob(d, rec, row);
        return true;
    }
    // An edit's own value; then what the client holds for the row; then the
    // server's blob, read once into the buffer's slot for this row.
    TFIBBlobStream& slot = BlobSlot(b, d.BlobIndex);
    if (b->HasCopy && slot.Modified) {
        bytes = slot.Data;
        return true;
    }
    const int ownRow = row >= 0 ? row : b->Row;
    if (ownRow >= 0)
        if (const QByteArray* client = fCache->ClientBlob(ownRow, d.BlobIndex)) {
            bytes = *client;
            return true;
        }
    if (!slot.Loaded || slot.Row != ownRow || std::memcmp(&slot.BlobID, &id, sizeof id) != 0) {
        slot.Data = ServerBlob(id);
        slot.Row = ownRow;
        slot.BlobID = id;
        slot.Loaded = true;
    }
    bytes = slot.Data;
    return true;
}

void TFIBCustomDataSet::KeepBlobsInCache()
{
    if (!fCache || fBlobCount == 0 || !Transaction() || !Transaction()->Active())
        return;
    for (int row = 0; row < fCache->Count(); ++row) {
        const std::byte* rec = fCache->Record(row);
        for (std::size_t i = 0; i < fDescr.size(); ++i) {
            const TFIBFieldDescr& d = fDescr[i];
            if (d.BlobIndex < 0 || NullBit(rec, fNullOffset, static_cast<int>(i))
                || fCache->ClientBlob(row, d.BlobIndex))
                continue;
            fCache->SetClientBlob(row, d.BlobIndex, ServerBlob(Load<ISC_QUAD>(rec + d.Offset)));
        }
    }
}

double TFIBCustomDataSet::FloatOf(const TFIBFieldDescr& d, const std::byte* p)
{
    switch (d.SqlType) {
    case SQL_DOUBLE:
    case SQL_D_FLOAT: return Load<double>(p);
    case SQL_FLOAT: return Load<float>(p);
    case SQL_SHORT: return Load<qint16>(p) / d.Divisor;
    case SQL_LONG: return Load<qint32>(p) / d.Divisor;
    case SQL_INT64: return d.Int64AsDouble ? Load<double>(p) : static_cast<double>(Load<qint64>(p)) / d.Divisor;
    case SQL_TYPE_DATE: return Load<qint32>(p) - DateDelta;
    case SQL_TYPE_TIME: return Load<qint32>(p) / MsPerDay;
    case SQL_TIMESTAMP: return StoredToDateTime(Load<double>(p));
    case SQL_BOOLEAN: return Load<std::uint8_t>(p) ? 1.0 : 0.0;
    default: return 0.0;
    }
}

bool TFIBCustomDataSet::CacheIsTheRows() const
{
    return Active() && fCache && fAllFetched && !Filtered() && State() == dsBrowse && fInserted == 0 &&
           fDeleted == 0 && !fCache->HasOld();
}

bool TFIBCustomDataSet::OwnDataColumn(const TField* f) const
{
    return f && f->DataSet() == this && f->FieldKind() == fkData && f->FieldNo() >= 1 &&
           f->FieldNo() <= static_cast<int>(fDescr.size());
}

bool TFIBCustomDataSet::CanReadFloats(const std::vector<TField*>& fields) const
{
    if (!CacheIsTheRows())
        return false;
    for (const TField* f : fields) {
        if (!OwnDataColumn(f))
            return false;
        // Only the classes whose AsFloat is the stored number, or 0 for a null.
        const auto* number = dynamic_cast<const TFIBFloatField*>(f);
        const bool plain = (number && typeid(*f) == typeid(TFIBFloatField) && !number->RoundByScale) ||
                           typeid(*f) == typeid(TFIBDateTimeField);
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)];
        if (!plain || IsTextType(d.SqlType) || d.IsLongString || d.BlobIndex >= 0)
            return false;
    }
    return true;
}

int TFIBCustomDataSet::ReadFloats(const std::vector<TField*>& fields, const std::vector<double*>& out,
                                   int maxRows) const
{
    const int rows = std::clamp(VisibleCount(), 0, std::max(maxRows, 0));
    std::vector<int> cols;
    for (const TField* f : fields)
        cols.push_back(f->FieldNo() - 1);
    for (int pos = 0; pos < rows; ++pos) {
        const std::byte* rec = fCache->Record(RowAt(pos));
        for (std::size_t k = 0; k < cols.size(); ++k) {
            const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(cols[k])];
            out[k][pos] = NullBit(rec, fNullOffset, cols[k]) ? 0.0 : FloatOf(d, rec + d.Offset);
        }
    }
    return rows;
}

std::unique_ptr<TFIBRowTexts> TFIBCustomDataSet::RowTexts(const std::vector<const TField*>& fields) const
{
    if (!CacheIsTheRows())
        return nullptr;
    // A calculated field's handler runs on every row the cursor visits.
    for (const TField* f : Fields())
        if (f->FieldKind() != fkData)
            return nullptr;
    auto texts = std::make_unique<TFIBRowTexts>();
    texts->fDataSet = this;
    texts->fRows = VisibleCount();
    for (const TField* f : fields) {
        if (!OwnDataColumn(f) || !f->HasValueDisplayText())
            return nullptr;
        // Only the classes whose text is known to come from the value read here.
        const std::type_info& type = typeid(*f);
        const bool number = type == typeid(TFIBIntegerField) || type == typeid(TFIBSmallIntField) ||
                            type == typeid(TFIBLargeIntField) || type == typeid(TFIBFloatField) ||
                            type == typeid(TFIBBCDField) || type == typeid(TFIBDateTimeField) ||
                            type == typeid(TFIBDateField) || type == typeid(TFIBTimeField);
        const bool text = type == typeid(TFIBStringField) || type == typeid(TFIBWideStringField);
        const int col = f->FieldNo() - 1;
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
        const bool textColumn = IsTextType(d.SqlType) || d.IsLongString;
        const TFieldStorage storage = FieldStorage(f->DataType());
        if (d.BlobIndex >= 0 || (number && textColumn) || (text && !textColumn) || (!number && !text) ||
            storage == TFieldStorage::Bytes || storage == TFieldStorage::None)
            return nullptr;
        texts->fColumns.push_back({f, col, storage});
    }
    return texts;
}

QString TFIBRowTexts::Text(int pos, int k) const
{
    const TColumn& c = fColumns[static_cast<std::size_t>(k)];
    return c.Field->ValueDisplayText(fDataSet->CachedValue(pos, c.Col, c.Storage));
}

TFieldValue TFIBRowTexts::Value(int pos, int k) const
{
    const TColumn& c = fColumns[static_cast<std::size_t>(k)];
    return fDataSet->CachedValue(pos, c.Col, c.Storage);
}

TFieldValue TFIBCustomDataSet::CachedValue(int pos, int col, TFieldStorage storage) const
{
    TFieldValue v;
    const int row = RowAt(pos);
    const std::byte* rec = fCache->Record(row);
    if (NullBit(rec, fNullOffset, col))
        return v;
    v.IsNull = false;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    switch (storage) {
    case TFieldStorage::Float: v.Float = FloatOf(d, rec + d.Offset); break;
    case TFieldStorage::Integer: v.Integer = IntegerOf(d, rec + d.Offset); break;
    case TFieldStorage::Text: v.Text = TextOf(d, rec, row, nullptr); break;
    case TFieldStorage::Bytes:
    case TFieldStorage::None: break;
    }
    return v;
}

qint64 TFIBCustomDataSet::IntegerOf(const TFIBFieldDescr& d, const std::byte* p)
{
    if (d.Scale == 0 || d.SqlType == SQL_BOOLEAN) {
        switch (d.SqlType) {
        case SQL_SHORT: return Load<qint16>(p);
        case SQL_LONG: return Load<qint32>(p);
        case SQL_INT64: return Load<qint64>(p);
        case SQL_BOOLEAN: return Load<std::uint8_t>(p) ? 1 : 0;
        default: break;
        }
    }
    return static_cast<qint64>(std::llround(FloatOf(d, p)));
}

bool TFIBCustomDataSet::GetFieldData(TField* field, double* value)
{
    const auto [rec, row, longs, descr] = FieldSource(field);
    if (!rec)
        return false;
    const TFIBFieldDescr& d = *descr;
    if (d.BlobIndex >= 0) {
        QString text;
        if (value && GetFieldData(field, &text))
            *value = text.toDouble();
        return true;
    }
    if (value) {
        if (IsTextType(d.SqlType) || d.IsLongString)
            *value = TextOf(d, rec, row, longs).toDouble();
        else
            *value = FloatOf(d, rec + d.Offset);
    }
    return true;
}

bool TFIBCustomDataSet::GetFieldData(TField* field, qint64* value)
{
    const auto [rec, row, longs, descr] = FieldSource(field);
    if (!rec)
        return false;
    const TFIBFieldDescr& d = *descr;
    if (!value)
        return true;
    if (d.BlobIndex >= 0) {
        QString text;
        if (GetFieldData(field, &text))
            *value = text.toLongLong();
        return true;
    }
    if (IsTextType(d.SqlType) || d.IsLongString)
        *value = TextOf(d, rec, row, longs).toLongLong();
    else
        *value = IntegerOf(d, rec + d.Offset);
    return true;
}

QString TFIBCustomDataSet::TextOf(const TFIBFieldDescr& d, const std::byte* rec, int row,
                                  const std::vector<QByteArray>* longs) const
{
    if (d.IsLongString) {
        if (longs) {
            const QByteArray& bytes = (*longs)[static_cast<std::size_t>(d.LongStringIndex)];
            return DecodeText(bytes.constData(), static_cast<int>(bytes.size()), d.Coding);
        }
        int length = 0;
        const char* p = fCache->Strings(d.LongStringIndex).Data(row, length);
        return p ? DecodeText(p, length, d.Coding) : QString();
    }
    const std::byte* p = rec + d.Offset;
    int length = std::min<int>(Load<quint16>(p), d.ServerLength);
    const char* text = reinterpret_cast<const char*>(p + 2);
    if (fOptions & poTrimCharFields)
        length = TrimmedLength(text, length);
    return DecodeText(text, length, d.Coding);
}

bool TFIBCustomDataSet::GetFieldData(TField* field, QString* value)
{
    const auto [rec, row, longs, descr] = FieldSource(field);
    if (!rec)
        return false;
    const TFIBFieldDescr& d = *descr;
    if (d.BlobIndex >= 0) {
        // A null test asks for no value: the blob is not read for it.
        QByteArray bytes;
        if (!value)
            return true;
        if (!BlobFieldData(field, bytes))
            return false;
        *value = DecodeBlobText(bytes, d.Coding);
        return true;
    }
    if (!value)
        return true;
    if (IsTextType(d.SqlType) || d.IsLongString) {
        *value = TextOf(d, rec, row, longs);
    } else {
        const double v = FloatOf(d, rec + d.Offset);
        *value = QString::number(v, 'g', 15);
    }
    return true;
}

bool TFIBCustomDataSet::GetFieldData(TField* field, QByteArray* value)
{
    const auto [rec, row, longs, descr] = FieldSource(field);
    if (!rec)
        return false;
    const TFIBFieldDescr& d = *descr;
    if (d.BlobIndex >= 0)
        return !value || BlobFieldData(field, *value);
    if (!value)
        return true;
    if (d.IsLongString) {
        if (longs)
            *value = (*longs)[static_cast<std::size_t>(d.LongStringIndex)];
        else
            *value = fCache->Strings(d.LongStringIndex).Get(row);
    } else if (IsTextType(d.SqlType)) {
        const std::byte* p = rec + d.Offset;
        *value = QByteArray(reinterpret_cast<const char*>(p + 2), std::min<int>(Load<quint16>(p), d.ServerLength));
    } else {
        *value = QByteArray(reinterpret_cast<const char*>(rec + d.Offset), d.Size);
    }
    return true;
}

TFIBCustomDataSet::TBuf* TFIBCustomDataSet::WriteTarget(TField* field) const
{
    TBuf* b = Buf(ActiveBuffer());
    if (!b || !b->HasCopy || field->FieldNo() <= 0)
        throw EDatabaseError(QStringLiteral("%1: field \"%2\" is not being edited").arg(Name(), field->FieldName()));
    return b;
}

void TFIBCustomDataSet::SetFieldData(TField* field, const double* value)
{
    TBuf* b = WriteTarget(field);
    const int col = field->FieldNo() - 1;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    SetNullBit(b->Data.data(), fNullOffset, col, !value);
    if (!value)
        return;
    if (IsTextType(d.SqlType) || d.IsLongString) {
        const QString text = QString::number(*value, 'g', 15);
        SetFieldData(field, &text);
        return;
    }
    std::byte* p = b->Data.data() + d.Offset;
    const double v = *value;
    switch (d.SqlType) {
    case SQL_DOUBLE:
    case SQL_D_FLOAT: Store<double>(p, v); break;
    case SQL_FLOAT: Store<float>(p, static_cast<float>(v)); break;
    case SQL_SHORT: Store<qint16>(p, static_cast<qint16>(std::llround(v * d.Divisor))); break;
    case SQL_LONG: Store<qint32>(p, static_cast<qint32>(std::llround(v * d.Divisor))); break;
    case SQL_INT64:
        if (d.Int64AsDouble)
            Store<double>(p, v);
        else
            Store<qint64>(p, std::llround(v * d.Divisor));
        break;
    // The whole part is the day and the fraction's size the time, before the day
    // zero as after it.
    case SQL_TYPE_DATE: Store<qint32>(p, static_cast<qint32>(std::trunc(v) + DateDelta)); break;
    case SQL_TYPE_TIME: {
        const double frac = std::fabs(v - std::trunc(v));
        Store<qint32>(p, static_cast<qint32>(std::min<qint64>(std::llround(frac * MsPerDay), qint64(MsPerDay) - 1)));
        break;
    }
    case SQL_TIMESTAMP: Store<double>(p, DateTimeToStored(v)); break;
    case SQL_BOOLEAN: Store<std::uint8_t>(p, v != 0 ? 1 : 0); break;
    default: break;
    }
}

void TFIBCustomDataSet::SetFieldData(TField* field, const qint64* value)
{
    TBuf* b = WriteTarget(field);
    const int col = field->FieldNo() - 1;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    if (value && d.Scale == 0) {
        std::byte* p = b->Data.data() + d.Offset;
        switch (d.SqlType) {
        case SQL_SHORT: Store<qint16>(p, static_cast<qint16>(*value)); break;
        case SQL_LONG: Store<qint32>(p, static_cast<qint32>(*value)); break;
        case SQL_INT64: Store<qint64>(p, *value); break;
        case SQL_BOOLEAN: Store<std::uint8_t>(p, *value ? 1 : 0); break;
        default: {
            const double v = static_cast<double>(*value);
            SetFieldData(field, &v);
            return;
        }
        }
        SetNullBit(b->Data.data(), fNullOffset, col, false);
        return;
    }
    if (!value) {
        SetFieldData(field, static_cast<const double*>(nullptr));
        return;
    }
    const double v = static_cast<double>(*value);
    SetFieldData(field, &v);
}

void TFIBCustomDataSet::SetFieldData(TField* field, const QString* value)
{
    TBuf* b = WriteTarget(field);
    const int col = field->FieldNo() - 1;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    if (!value) {
        SetNullBit(b->Data.data(), fNullOffset, col, true);
        return;
    }
    if (!IsTextType(d.SqlType) && !d.IsLongString && d.BlobIndex < 0) {
        bool ok = false;
        const double v = value->toDouble(&ok);
        if (!ok)
            throw EDatabaseError(QStringLiteral("'%1' is not a valid value for field \"%2\"").arg(*value, field->FieldName()));
        SetFieldData(field, &v);
        return;
    }
    QByteArray bytes = EncodeText(*value, d.Coding);
    if (d.BlobIndex >= 0) {
        SetBlobData(b, d, col, bytes);
        return;
    }
    if (bytes.size() > d.ServerLength)
        bytes.truncate(d.ServerLength);
    SetNullBit(b->Data.data(), fNullOffset, col, false);
    if (d.IsLongString) {
        bytes.truncate(TrimmedLength(bytes.constData(), static_cast<int>(bytes.size())));
        b->Long[static_cast<std::size_t>(d.LongStringIndex)] = bytes;
        return;
    }
    std::byte* p = b->Data.data() + d.Offset;
    if (d.SqlType == SQL_TEXT) {
        std::memset(p + 2, ' ', static_cast<std::size_t>(d.ServerLength));
        Store<quint16>(p, static_cast<quint16>(d.ServerLength));
    } else {
        Store<quint16>(p, static_cast<quint16>(bytes.size()));
    }
    std::memcpy(p + 2, bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

void TFIBCustomDataSet::SetFieldData(TField* field, const QByteArray* value)
{
    TBuf* b = WriteTarget(field);
    const int col = field->FieldNo() - 1;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    if (!value) {
        SetNullBit(b->Data.data(), fNullOffset, col, true);
        return;
    }
    if (d.IsBlob) {
        SetBlobData(b, d, col, *value);
        return;
    }
    const QString text = DecodeText(value->constData(), static_cast<int>(value->size()), d.Coding);
    SetFieldData(field, &text);
}

void TFIBCustomDataSet::SetBlobData(TBuf* b, const TFIBFieldDescr& d, int col, const QByteArray& bytes)
{
    SetNullBit(b->Data.data(), fNullOffset, col, false);
    TFIBBlobStream& slot = BlobSlot(b, d.BlobIndex);
    slot.Data = bytes;
    slot.Modified = true;
}

// ---- editing on the cache ----

bool TFIBCustomDataSet::CanUpdate(TUpdateKind kind, const TFIBQuery& query) const
{
    const QString text = query.SQL().Text().trimmed();
    // A text of only "No Action" says on purpose that nothing is written.
    return (fAllowedUpdateKinds & kind) && !text.isEmpty() && text.compare(QLatin1String("No Action"), Qt::CaseInsensitive) != 0
           && fPrepared;
}

void TFIBCustomDataSet::InternalInitRecord(TRecordBuffer buffer)
{
    TBuf* b = Buf(buffer);
    b->Row = -1;
    b->Pos = State() == dsInsert || Appending() ? fInsertPos : b->Pos;
    b->HasCopy = true;
    b->Data.assign(static_cast<std::size_t>(fStoredSize), std::byte(0));
    for (std::size_t i = 0; i < fDescr.size(); ++i)
        SetNullBit(b->Data.data(), fNullOffset, static_cast<int>(i), true);
    b->Long.assign(static_cast<std::size_t>(fLongCount), QByteArray());
    ReleaseBlobSlots(b);
}

void TFIBCustomDataSet::InternalInsert()
{
    if (!CanInsert())
        RaiseClientError(fibceCannotInsert, {Name()});
    if (Appending()) {
        while (FetchOne()) {
        }
        fInsertPos = VisibleCount();
    } else {
        fInsertPos = std::clamp(fCurrent, 0, VisibleCount());
    }
}

TCachedUpdateStatus TFIBCustomDataSet::CachedUpdateStatus() const
{
    const TBuf* b = Active() ? Buf(ActiveBuffer()) : nullptr;
    if (!b || b->Row < 0 || !fCache)
        return cusUnmodified;
    return static_cast<TCachedUpdateStatus>(Load<std::uint8_t>(fCache->Record(b->Row) + FlagsOffset) & 7);
}
