#include "dbaccess/FIBDataSet_Internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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
    case SQL_TIMESTAMP: return Load<double>(p) / MsPerDay - DateDelta;
    case SQL_BOOLEAN: return Load<std::uint8_t>(p) ? 1.0 : 0.0;
    default: return 0.0;
    }
}

bool TFIBCustomDataSet::GetFieldData(TField* field, double* value)
{
    int row;
    const std::vector<QByteArray>* longs;
    const std::byte* rec = ReadSource(field, row, longs);
    const int col = field->FieldNo() - 1;
    if (!rec || col < 0 || rec[fNullOffset + col] != std::byte(0))
        return false;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
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
    int row;
    const std::vector<QByteArray>* longs;
    const std::byte* rec = ReadSource(field, row, longs);
    const int col = field->FieldNo() - 1;
    if (!rec || col < 0 || rec[fNullOffset + col] != std::byte(0))
        return false;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    if (!value)
        return true;
    const std::byte* p = rec + d.Offset;
    if (d.Scale == 0 || d.SqlType == SQL_BOOLEAN) {
        switch (d.SqlType) {
        case SQL_SHORT: *value = Load<qint16>(p); return true;
        case SQL_LONG: *value = Load<qint32>(p); return true;
        case SQL_INT64: *value = Load<qint64>(p); return true;
        case SQL_BOOLEAN: *value = Load<std::uint8_t>(p) ? 1 : 0; return true;
        default: break;
        }
    }
    if (IsTextType(d.SqlType) || d.IsLongString)
        *value = TextOf(d, rec, row, longs).toLongLong();
    else
        *value = static_cast<qint64>(std::llround(FloatOf(d, p)));
    return true;
}

QString TFIBCustomDataSet::TextOf(const TFIBFieldDescr& d, const std::byte* rec, int row,
                                  const std::vector<QByteArray>* longs) const
{
    if (d.IsLongString) {
        if (longs) {
            const QByteArray& bytes = (*longs)[static_cast<std::size_t>(d.LongStringIndex)];
            return Decode(bytes.constData(), static_cast<int>(bytes.size()), d.Coding);
        }
        int length = 0;
        const char* p = fCache->Strings(d.LongStringIndex).Data(row, length);
        return p ? Decode(p, length, d.Coding) : QString();
    }
    const std::byte* p = rec + d.Offset;
    int length = std::min<int>(Load<quint16>(p), d.ServerLength);
    const char* text = reinterpret_cast<const char*>(p + 2);
    if (fOptions & poTrimCharFields)
        length = TrimmedLength(text, length);
    return Decode(text, length, d.Coding);
}

bool TFIBCustomDataSet::GetFieldData(TField* field, QString* value)
{
    int row;
    const std::vector<QByteArray>* longs;
    const std::byte* rec = ReadSource(field, row, longs);
    const int col = field->FieldNo() - 1;
    if (!rec || col < 0 || rec[fNullOffset + col] != std::byte(0))
        return false;
    if (!value)
        return true;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
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
    int row;
    const std::vector<QByteArray>* longs;
    const std::byte* rec = ReadSource(field, row, longs);
    const int col = field->FieldNo() - 1;
    if (!rec || col < 0 || rec[fNullOffset + col] != std::byte(0))
        return false;
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
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
    b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(value ? 0 : 1);
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
    case SQL_TYPE_DATE: Store<qint32>(p, static_cast<qint32>(std::floor(v + DateDelta))); break;
    case SQL_TYPE_TIME: {
        const double frac = v - std::floor(v);
        Store<qint32>(p, static_cast<qint32>(std::llround(frac * MsPerDay)));
        break;
    }
    case SQL_TIMESTAMP: Store<double>(p, std::round((v + DateDelta) * MsPerDay)); break;
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
        b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(0);
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
        b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(1);
        return;
    }
    if (!IsTextType(d.SqlType) && !d.IsLongString) {
        bool ok = false;
        const double v = value->toDouble(&ok);
        if (!ok)
            throw EDatabaseError(QStringLiteral("'%1' is not a valid value for field \"%2\"").arg(*value, field->FieldName()));
        SetFieldData(field, &v);
        return;
    }
    QByteArray bytes = Encode(*value, d.Coding);
    if (!d.IsMemo && !d.IsBlob && bytes.size() > d.ServerLength)
        bytes.truncate(d.ServerLength);
    b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(0);
    if (d.IsLongString) {
        if (!d.IsBlob)
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
        b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(1);
        return;
    }
    if (d.IsBlob) {
        b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(0);
        b->Long[static_cast<std::size_t>(d.LongStringIndex)] = *value;
        return;
    }
    const QString text = Decode(value->constData(), static_cast<int>(value->size()), d.Coding);
    SetFieldData(field, &text);
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
        b->Data[static_cast<std::size_t>(fNullOffset) + i] = std::byte(1);
    b->Long.assign(static_cast<std::size_t>(fLongCount), QByteArray());
}

void TFIBCustomDataSet::InternalEdit()
{
    TBuf* b = Buf(ActiveBuffer());
    const std::byte* rec = fCache->ReadRecord(b->Row);
    b->Data.assign(rec, rec + fStoredSize);
    b->Long.resize(static_cast<std::size_t>(fLongCount));
    for (int i = 0; i < fLongCount; ++i)
        b->Long[static_cast<std::size_t>(i)] = fCache->Strings(i).Get(b->Row);
    b->HasCopy = true;
}

void TFIBCustomDataSet::InternalInsert()
{
    if (!CanInsert())
        RaiseClientError(44, {Name()});
    if (Appending()) {
        while (FetchOne()) {
        }
        fInsertPos = VisibleCount();
    } else {
        fInsertPos = std::clamp(fCurrent, 0, VisibleCount());
    }
}

void TFIBCustomDataSet::InternalPost()
{
    if (State() == dsInsert && !CanInsert())
        RaiseClientError(45, {Name()});
    if (State() == dsEdit && !CanEdit())
        RaiseClientError(46, {Name()});
    TBuf* b = Buf(ActiveBuffer());
    int row = b->Row;
    if (State() == dsInsert) {
        // A new row takes the next slot; the map puts it where it was inserted.
        EnsureMap();
        row = fCache->AddRecord();
        ++fInserted;
        const int pos = std::clamp(fInsertPos, 0, static_cast<int>(fCache->Map.size()));
        fCache->Map.insert(fCache->Map.begin() + pos, row);
        b->Row = row;
        b->Pos = pos;
    } else {
        fCache->SaveOld(row);
    }
    std::byte* rec = fCache->WriteRecord(row);
    const std::uint8_t status = State() == dsInsert ? cusInserted
                                : (Load<std::uint8_t>(rec + FlagsOffset) & 7) == cusInserted ? cusInserted
                                                                                              : cusModified;
    std::memcpy(rec + 4, b->Data.data() + 4, static_cast<std::size_t>(fStoredSize - 4));
    Store<std::uint8_t>(rec + FlagsOffset, status);
    for (const TFIBFieldDescr& d : fDescr) {
        if (!d.IsLongString)
            continue;
        const QByteArray& s = b->Long[static_cast<std::size_t>(d.LongStringIndex)];
        fCache->Strings(d.LongStringIndex).Set(row, s.constData(), static_cast<int>(s.size()), !d.IsBlob);
    }
    b->HasCopy = false;
    fCalcCache.erase(row);
    ResetFilterIndex();
    // A status the view does not show takes the row out of it.
    if (!StatusVisible(row)) {
        EnsureMap();
        const int pos = PositionOfRow(row);
        if (pos >= 0)
            fCache->Map.erase(fCache->Map.begin() + pos);
        fCurrent = pos;
    } else {
        fCurrent = PositionOfRow(row);
    }
    // The master may show sums of its details: read its row again, without the
    // detail following the master's change notice in the middle of its own post.
    TDataSet* master = fDataLink->DataSet();
    if ((fDetailConditions & dcForceMasterRefresh) && !fCachedUpdates && master && master->Active()) {
        auto* fibMaster = dynamic_cast<TFIBCustomDataSet*>(master);
        const bool visibleRecno = fibMaster && (fibMaster->fOptions & poVisibleRecno);
        if (visibleRecno)
            fibMaster->fOptions &= ~poVisibleRecno;
        fRefreshingMaster = true;
        try {
            master->Refresh();
        } catch (...) {
            fRefreshingMaster = false;
            if (visibleRecno)
                fibMaster->fOptions |= poVisibleRecno;
            throw;
        }
        fRefreshingMaster = false;
        if (visibleRecno)
            fibMaster->fOptions |= poVisibleRecno;
    }
}

void TFIBCustomDataSet::InternalCancel()
{
    TBuf* b = Buf(ActiveBuffer());
    if (b)
        b->HasCopy = false;
}

void TFIBCustomDataSet::InternalDelete()
{
    if (!CanDelete())
        RaiseClientError(47, {Name()});
    TBuf* b = Buf(ActiveBuffer());
    const int row = b->Row;
    std::byte* rec = fCache->WriteRecord(row);
    Store<std::uint8_t>(rec + FlagsOffset, cusDeleted);
    // The row stays in its slot until close; only the visible order loses it, so
    // every other row keeps its number.
    EnsureMap();
    const int pos = PositionOfRow(row);
    if (pos >= 0 && !StatusVisible(row))
        fCache->Map.erase(fCache->Map.begin() + pos);
    ++fDeleted;
    fCurrent = pos;
    ResetFilterIndex();
}

void TFIBCustomDataSet::InternalRefresh()
{
    // The row is read again from the server by the refresh statement of the update
    // cycle; without one there is nothing to read it with.
    if (fQRefresh->SQL().Text().trimmed().isEmpty() && VisibleCount() > 0)
        RaiseClientError(48, {Name()});
}

TCachedUpdateStatus TFIBCustomDataSet::CachedUpdateStatus() const
{
    const TBuf* b = Active() ? Buf(ActiveBuffer()) : nullptr;
    if (!b || b->Row < 0 || !fCache)
        return cusUnmodified;
    return static_cast<TCachedUpdateStatus>(Load<std::uint8_t>(fCache->Record(b->Row) + FlagsOffset) & 7);
}
