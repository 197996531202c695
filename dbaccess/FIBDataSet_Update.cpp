// The update cycle: how an edited, inserted or deleted row reaches the server
// through the dataset's statements, how a row is read again, and how cached
// changes are applied or undone. The cache changes only once the server took the
// write; a failed write leaves the row as it was and the edit open.

#include "dbaccess/FIBDataSet_Internal.h"
#include "dbaccess/pFIBDataSet.h"

#include <QDateTime>
#include <QScopeGuard>
#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

namespace {
enum class TPrefix { None, Old, New, Master };

TPrefix SplitPrefix(const QString& name, QString& field)
{
    field = name;
    if (name.size() > 4 && name[3] == u'_') {
        const QString head = name.left(4).toUpper();
        const TPrefix p = head == QLatin1String("OLD_")   ? TPrefix::Old
                          : head == QLatin1String("NEW_") ? TPrefix::New
                          : head == QLatin1String("MAS_") ? TPrefix::Master
                                                          : TPrefix::None;
        if (p != TPrefix::None) {
            field = name.mid(4);
            return p;
        }
    }
    return TPrefix::None;
}

QString Unquoted(const QString& name)
{
    if (name.size() > 1 && name.startsWith(u'"') && name.endsWith(u'"'))
        return name.mid(1, name.size() - 2);
    return name;
}

bool HasText(const TFIBQuery& q) { return !q.SQL().Text().trimmed().isEmpty(); }

// A statement whose first line is "No Action" is one that says nothing is written.
bool IsNoAction(const TFIBQuery& q)
{
    const QString text = q.SQL().Text().trimmed();
    return text.section(u'\n', 0, 0).trimmed().compare(QLatin1String("No Action"), Qt::CaseInsensitive) == 0;
}

// A scaled 64-bit integer as decimal text, for a parameter that takes it exactly.
QString ScaledText(qint64 value, int scale)
{
    const bool negative = value < 0;
    QString digits = QString::number(negative ? -static_cast<quint64>(value) : static_cast<quint64>(value));
    const int places = -scale;
    if (places > 0) {
        if (digits.size() <= places)
            digits = QString(places - digits.size() + 1, u'0') + digits;
        digits.insert(digits.size() - places, u'.');
    }
    return negative ? u'-' + digits : digits;
}

bool IsLockConflict(const EFIBError& e)
{
    // deadlock, update conflict, lock conflict on no-wait, lock time-out
    return e.IBErrorCode == 335544336 || e.IBErrorCode == 335544451 || e.IBErrorCode == 335544345
           || e.IBErrorCode == 335544510 || e.SQLCode == -913;
}

QStringList SplitKeys(const QString& keys)
{
    QStringList result;
    for (const QString& k : keys.split(u';', Qt::SkipEmptyParts))
        if (!k.trimmed().isEmpty())
            result << k.trimmed();
    return result;
}
}  // namespace

// ---- statements and their transaction ----

TFIBTransaction* TFIBCustomDataSet::UpdateTransaction() const
{
    if (fUpdateTransaction)
        return fUpdateTransaction;
    if (Database() && Database()->DefaultUpdateTransaction())
        return Database()->DefaultUpdateTransaction();
    return Transaction();
}

TFIBQuery& TFIBCustomDataSet::QueryOfKind(TUpdateKind kind) const
{
    switch (kind) {
    case ukInsert: return *fQInsert;
    case ukDelete: return *fQDelete;
    default: return *fQUpdate;
    }
}

void TFIBCustomDataSet::PrepareUpdateQuery(TFIBQuery& query, TFIBTransaction* tr)
{
    if (!Database() || !tr)
        RaiseClientError(fibceDatabaseNotAssigned, {Name()});
    if (query.Database() != Database())
        query.SetDatabase(Database());
    if (query.Transaction() != tr)
        query.SetTransaction(tr);
    if (!tr->Active() && (fOptions & poStartTransaction))
        tr->StartTransaction();
    if (!query.Prepared())
        query.Prepare();
}

// ---- parameters from the row ----

void TFIBCustomDataSet::BindUpdateParams(TFIBQuery& query)
{
    const TBuf* b = Active() ? Buf(ActiveBuffer()) : nullptr;
    if (!b || !fCache)
        RaiseClientError(fibceBufferNotSet);
    TWriteRow w;
    w.Row = b->Row;
    w.Copy = b->HasCopy ? b : nullptr;
    BindParams(query, w);
}

void TFIBCustomDataSet::BindParams(TFIBQuery& query, const TWriteRow& w)
{
    if (!fCache || (w.Row < 0 && !w.Copy))
        RaiseClientError(fibceBufferNotSet);
    TFIBXSQLDA& params = query.Params();
    for (int i = 0; i < params.Count(); ++i) {
        TFIBXSQLVAR& p = params[i];
        if (p.IsMacro())
            continue;
        QString fieldName;
        const TPrefix prefix = SplitPrefix(p.Name(), fieldName);
        fieldName = Unquoted(fieldName);
        if (prefix == TPrefix::Master) {
            TDataSet* master = fDataLink->DataSet();
            TField* f = master && master->Active() ? master->FindField(fieldName) : nullptr;
            if (f) {
                if (f->IsNull())
                    p.SetIsNull(true);
                else
                    p.SetAsVariant(f->Value());
                continue;
            }
        }
        int col = -1;
        if (prefix != TPrefix::Master) {
            if (TField* f = FindField(fieldName); f && f->FieldKind() == fkData && f->FieldNo() > 0)
                col = f->FieldNo() - 1;
            for (std::size_t c = 0; col < 0 && c < fDescr.size(); ++c)
                if (SameIdentifier(fDescr[c].FieldName, fieldName))
                    col = static_cast<int>(c);
        }
        if (col < 0) {
            // A parameter of the select (a detail's master value) stands for a column
            // the row does not carry.
            if (&query != fQSelect.get())
                if (TFIBXSQLVAR* sp = fQSelect->Params().ByName(p.Name())) {
                    if (sp->IsNull())
                        p.SetIsNull(true);
                    else
                        p.SetAsVariant(sp->AsVariant());
                }
            continue;
        }
        WriteParam(p, col, w, prefix == TPrefix::Old);
    }
}

void TFIBCustomDataSet::WriteParam(TFIBXSQLVAR& p, int col, const TWriteRow& w, bool old)
{
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    const std::byte* rec = nullptr;
    const std::vector<QByteArray>* longs = nullptr;
    if (old) {
        // A new row has no old values.
        if (w.Row < 0) {
            p.SetIsNull(true);
            return;
        }
        if (const auto* o = fCache->OldRecord(w.Row)) {
            rec = o->data();
            longs = fCache->OldStrings(w.Row);
        } else {
            rec = fCache->Record(w.Row);
        }
    } else if (w.Copy) {
        rec = w.Copy->Data.data();
        longs = &w.Copy->Long;
    } else {
        rec = fCache->Record(w.Row);
    }
    if (NullBit(rec, fNullOffset, col)) {
        p.SetIsNull(true);
        return;
    }
    if (d.BlobIndex >= 0) {
        if (!old) {
            if (w.Copy && static_cast<std::size_t>(d.BlobIndex) < w.Copy->Blobs.size()) {
                const auto& slot = w.Copy->Blobs[static_cast<std::size_t>(d.BlobIndex)];
                if (slot && slot->Modified) {
                    p.SetAsStream(slot->Data);
                    return;
                }
            }
            if (w.Row >= 0)
                if (const QByteArray* client = fCache->ClientBlob(w.Row, d.BlobIndex)) {
                    p.SetAsStream(*client);
                    return;
                }
        }
        p.SetAsQuad(Load<ISC_QUAD>(rec + d.Offset));
        return;
    }
    if (IsTextType(d.SqlType) || d.IsLongString) {
        p.SetAsString(TextOf(d, rec, w.Row, longs));
        return;
    }
    const std::byte* v = rec + d.Offset;
    switch (d.SqlType) {
    case SQL_SHORT:
        if (d.Scale == 0)
            p.SetAsShort(Load<qint16>(v));
        else
            p.SetAsDouble(FloatOf(d, v));
        break;
    case SQL_LONG:
        if (d.Scale == 0)
            p.SetAsInteger(Load<qint32>(v));
        else
            p.SetAsDouble(FloatOf(d, v));
        break;
    case SQL_INT64:
        if (d.Int64AsDouble)
            p.SetAsDouble(Load<double>(v));
        else if (d.Scale == 0)
            p.SetAsInt64(Load<qint64>(v));
        else
            p.SetAsBcd(ScaledText(Load<qint64>(v), d.Scale));
        break;
    case SQL_FLOAT:
    case SQL_DOUBLE:
    case SQL_D_FLOAT: p.SetAsDouble(FloatOf(d, v)); break;
    case SQL_TYPE_DATE: p.SetAsDate(FloatOf(d, v)); break;
    case SQL_TYPE_TIME: p.SetAsTime(FloatOf(d, v)); break;
    case SQL_TIMESTAMP: p.SetAsDateTime(FloatOf(d, v)); break;
    case SQL_BOOLEAN: p.SetAsBoolean(Load<std::uint8_t>(v) != 0); break;
    default: p.SetIsNull(true); break;
    }
}

// ---- the write of one row ----

void TFIBCustomDataSet::RunUpdateObjects(TUpdateKind kind, TFIBOrderExecUO order, const TWriteRow& w)
{
    for (TpFIBUpdateObject* object : UpdateObjects(kind)) {
        if (!object->Active || object->ExecuteOrder != order || !HasText(*object))
            continue;
        TFIBTransaction* tr = object->Transaction() ? object->Transaction() : UpdateTransaction();
        if (!object->Database())
            object->SetDatabase(Database());
        PrepareUpdateQuery(*object, tr);
        BindParams(*object, w);
        object->ExecQuery();
    }
}

// Runs the statements of a write; a statement that answers with a row (a select or
// a procedure) leaves it in the edit copy, or in the cache row when there is none.
void TFIBCustomDataSet::ExecRowStatements(TUpdateKind kind, const TWriteRow& w)
{
    RunUpdateObjects(kind, oeBeforeDefault, w);
    TFIBQuery& q = QueryOfKind(kind);
    if (HasText(q) && !IsNoAction(q)) {
        // "= ?" of a write is an assignment as often as a comparison: a null value
        // must stay a parameter, never turn the text into IS NULL.
        q.Options |= qoNoForceIsNull;
        PrepareUpdateQuery(q, UpdateTransaction());
        BindParams(q, w);
        q.ExecQuery();
        const TFIBSQLTypes type = q.SQLType();
        if (type == SQLSelect || type == SQLExecProcedure || type == SQLSelectForUpdate) {
            if (!q.Current().NoRow && !(q.Open() && q.Eof())) {
                if (w.Copy)
                    CopyOutputRow(q.Current(), -1);
                else
                    CopyOutputRow(q.Current(), w.Row);
            }
            if (q.Open())
                q.Close();
        }
    }
    RunUpdateObjects(kind, oeAfterDefault, w);
}

void TFIBCustomDataSet::CopyOutputRow(TFIBXSQLDA& cols, int row)
{
    TBuf* b = row < 0 ? Buf(ActiveBuffer()) : nullptr;
    std::byte* rec = b ? b->Data.data() : fCache->WriteRecord(row);
    for (int j = 0; j < cols.Count(); ++j) {
        TFIBXSQLVAR& v = cols[j];
        for (std::size_t c = 0; c < fDescr.size(); ++c) {
            const TFIBFieldDescr& d = fDescr[c];
            if (!SameIdentifier(d.FieldName, v.SqlName().isEmpty() ? v.Name() : v.SqlName())
                && !SameIdentifier(d.FieldName, v.Name()))
                continue;
            // Only a value of the column's own kind is copied byte for byte.
            if (v.SQLType() != d.SqlType || v.SQLScale() != d.Scale
                || (IsTextType(d.SqlType) && v.ServerSQLLen() != d.ServerLength))
                break;
            CopyColumn(static_cast<int>(c), *v.Data(), row < 0 ? b->Row : row, rec, b ? &b->Long : nullptr);
            if (d.BlobIndex >= 0) {
                if (b && static_cast<std::size_t>(d.BlobIndex) < b->Blobs.size())
                    b->Blobs[static_cast<std::size_t>(d.BlobIndex)].reset();
                else if (row >= 0)
                    fCache->ClearClientBlob(row, d.BlobIndex);
            }
            break;
        }
    }
}

bool TFIBCustomDataSet::RefreshRow(int row, bool keepOld)
{
    TFIBQuery& q = *fQRefresh;
    TFIBTransaction* tr = RefreshTransactionKind == tkUpdateTransaction ? UpdateTransaction() : Transaction();
    if (q.Open())
        q.Close();
    PrepareUpdateQuery(q, tr);
    BindParams(q, {row, nullptr});
    q.ExecQuery();
    const bool found = !q.Eof();
    if (found) {
        if (!keepOld)
            fCache->DropOld(row);
        CopyOutputRow(q.Current(), row);
        fCalcCache.erase(row);
    }
    q.Close();
    return found;
}

// With one transaction for reading and writing the commit keeps the read cursor
// open; a transaction of its own for the writes ends for real.
void TFIBCustomDataSet::DoAutoCommit()
{
    if (!AutoCommit || fCachedUpdates)
        return;
    TFIBTransaction* tr = UpdateTransaction();
    if (!tr || !tr->Active())
        return;
    if (tr != Transaction() && tr->TimeoutAction != TACommitRetaining)
        tr->Commit();
    else
        tr->CommitRetaining();
}

// A write that failed on its way to the commit takes back what the server did of it
// when the dataset ends its own work: nothing of the row stays half-written.
void TFIBCustomDataSet::RollbackAfterFailedWrite()
{
    if (!AutoCommit || fCachedUpdates)
        return;
    TFIBTransaction* tr = UpdateTransaction();
    if (!tr || !tr->Active())
        return;
    try {
        if (tr == Transaction())
            tr->RollbackRetaining();
        else
            tr->Rollback();
    } catch (...) {
        // The failure of the write is what the caller must see.
    }
}

void TFIBCustomDataSet::WriteCopyToCache(TBuf* b, int row, std::uint8_t status)
{
    std::byte* rec = fCache->WriteRecord(row);
    std::memcpy(rec, b->Data.data(), static_cast<std::size_t>(fStoredSize));
    Store<std::uint8_t>(rec + FlagsOffset, status);
    for (std::size_t i = 0; i < fDescr.size(); ++i) {
        const TFIBFieldDescr& d = fDescr[i];
        if (d.BlobIndex >= 0) {
            // An edited blob goes to the cache as the client's value of the row; the
            // buffer keeps it as the row's read content.
            TFIBBlobStream& slot = BlobSlot(b, d.BlobIndex);
            if (!slot.Modified)
                continue;
            if (NullBit(b->Data.data(), fNullOffset, static_cast<int>(i)))
                fCache->ClearClientBlob(row, d.BlobIndex);
            else
                fCache->SetClientBlob(row, d.BlobIndex, slot.Data);
            slot.Modified = false;
            slot.Loaded = false;
            continue;
        }
        if (!d.IsLongString)
            continue;
        const QByteArray& s = b->Long[static_cast<std::size_t>(d.LongStringIndex)];
        fCache->Strings(d.LongStringIndex).Set(row, s.constData(), static_cast<int>(s.size()));
    }
    b->HasCopy = false;
    fCalcCache.erase(row);
}

bool TFIBCustomDataSet::ColumnChanged(const TBuf* b, int col) const
{
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    const std::byte* rec = fCache->Record(b->Row);
    if (NullBit(rec, fNullOffset, col) != NullBit(b->Data.data(), fNullOffset, col))
        return true;
    if (d.BlobIndex >= 0)
        return static_cast<std::size_t>(d.BlobIndex) < b->Blobs.size() && b->Blobs[static_cast<std::size_t>(d.BlobIndex)]
               && b->Blobs[static_cast<std::size_t>(d.BlobIndex)]->Modified;
    if (NullBit(b->Data.data(), fNullOffset, col))
        return false;
    if (d.IsLongString)
        return fCache->Strings(d.LongStringIndex).Get(b->Row) != b->Long[static_cast<std::size_t>(d.LongStringIndex)];
    int width = FixedWidth(d.SqlType, d.ServerLength);
    if (d.SqlType == SQL_VARYING)
        width = 2 + Load<quint16>(b->Data.data() + d.Offset);
    const int bytes = IsTextType(d.SqlType) ? width : d.Size;
    return std::memcmp(rec + d.Offset, b->Data.data() + d.Offset, static_cast<std::size_t>(bytes)) != 0;
}

void TFIBCustomDataSet::InternalPost()
{
    const bool inserting = State() == dsInsert;
    TBuf* b = Buf(ActiveBuffer());
    // Statements made from the changed fields are built now; a row that changed
    // none has nothing to write.
    bool nothingToWrite = false;
    if (!inserting && fModifiedOnlyText && !fCachedUpdates && (fAllowedUpdateKinds & ukModify) && b->Row >= 0) {
        fQUpdate->SQL().SetText(
            GenerateSQLText(fAutoUpdateOptions.UpdateTableName(), fAutoUpdateOptions.KeyFields, sqlkModify));
        nothingToWrite = !HasText(*fQUpdate);
    }
    if (inserting && !CanInsert())
        RaiseClientError(fibceCannotPost, {Name()});
    if (!inserting && !nothingToWrite && !CanEdit())
        RaiseClientError(fibceCannotUpdate, {Name()});
    if (!fCachedUpdates && !nothingToWrite) {
        try {
            ExecRowStatements(inserting ? ukInsert : ukModify, {inserting ? -1 : b->Row, b});
            DoAutoCommit();
        } catch (...) {
            RollbackAfterFailedWrite();
            throw;
        }
    }
    int row = b->Row;
    std::uint8_t status = cusUnmodified;
    if (inserting) {
        // A new row takes the next slot; the map puts it where it was inserted.
        EnsureMap();
        row = fCache->AddRecord();
        ++fInserted;
        const int pos = std::clamp(fInsertPos, 0, static_cast<int>(fCache->Map.size()));
        fCache->Map.insert(fCache->Map.begin() + pos, row);
        b->Row = row;
        b->Pos = pos;
        if (fCachedUpdates) {
            status = cusInserted;
            ++fUpdatesPending;
        }
    } else if (fCachedUpdates) {
        const auto current = Load<std::uint8_t>(fCache->Record(row) + FlagsOffset) & 7;
        fCache->SaveOld(row);
        status = current == cusInserted ? cusInserted : cusModified;
        if (current == cusUnmodified)
            ++fUpdatesPending;
    }
    WriteCopyToCache(b, row, status);
    if (!fCachedUpdates)
        fCache->DropOld(row);
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
    if (fCachedUpdates)
        return;
    if (HasText(*fQRefresh) && (fOptions & poRefreshAfterPost) && fCacheModelOptions.CacheModelKind == cmkStandard)
        RefreshRow(row, false);
    RefreshMasterAfterPost();
}

// The master may show sums of its details: read its row again, without the detail
// following the master's change notice in the middle of its own post.
void TFIBCustomDataSet::RefreshMasterAfterPost()
{
    TDataSet* master = fDataLink->DataSet();
    if (!(fDetailConditions & dcForceMasterRefresh) || fCachedUpdates || !master || !master->Active())
        return;
    auto* fibMaster = dynamic_cast<TFIBCustomDataSet*>(master);
    const bool visibleRecno = fibMaster && (fibMaster->fOptions & poVisibleRecno);
    if (visibleRecno)
        fibMaster->fOptions &= ~poVisibleRecno;
    fRefreshingMaster = true;
    const auto restore = qScopeGuard([&] {
        fRefreshingMaster = false;
        if (visibleRecno)
            fibMaster->fOptions |= poVisibleRecno;
    });
    master->Refresh();
}

void TFIBCustomDataSet::InternalEdit()
{
    if ((fOptions & poProtectedEdit) && !fCachedUpdates)
        LockRecord(true);
    TBuf* b = Buf(ActiveBuffer());
    const std::byte* rec = fCache->ReadRecord(b->Row);
    b->Data.assign(rec, rec + fStoredSize);
    b->Long.resize(static_cast<std::size_t>(fLongCount));
    for (int i = 0; i < fLongCount; ++i)
        b->Long[static_cast<std::size_t>(i)] = fCache->Strings(i).Get(b->Row);
    for (auto& slot : b->Blobs)
        if (slot)
            slot->Modified = false;
    b->HasCopy = true;
}

void TFIBCustomDataSet::InternalCancel()
{
    TBuf* b = Buf(ActiveBuffer());
    if (fKeyRequiredCleared) {
        if (TField* key = GeneratorKeyField())
            key->SetRequired(true);
        fKeyRequiredCleared = false;
    }
    if (!b)
        return;
    b->HasCopy = false;
    for (auto& slot : b->Blobs)
        if (slot && slot->Modified)
            slot.reset();
}

void TFIBCustomDataSet::InternalDelete()
{
    if (!CanDelete())
        RaiseClientError(fibceCannotDelete, {Name()});
    TBuf* b = Buf(ActiveBuffer());
    const int row = b->Row;
    const auto current = Load<std::uint8_t>(fCache->ReadRecord(row) + FlagsOffset) & 7;
    std::uint8_t status;
    if (fCachedUpdates) {
        status = current == cusInserted ? cusUninserted : cusDeleted;
        if (current == cusInserted)
            --fUpdatesPending;
        else if (current == cusUnmodified)
            ++fUpdatesPending;
    } else {
        bool stays = false;
        try {
            ExecRowStatements(ukDelete, {row, nullptr});
            // A row the server still has (a trigger that refused quietly) stays.
            if ((fOptions & poRefreshDeletedRecord) && HasText(*fQRefresh))
                stays = RefreshRow(row, true);
            DoAutoCommit();
        } catch (...) {
            RollbackAfterFailedWrite();
            throw;
        }
        if (stays)
            return;
        status = cusDeletedApplied;
        fCache->DropOld(row);
    }
    Store<std::uint8_t>(fCache->WriteRecord(row) + FlagsOffset, status);
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
    const TBuf* b = Buf(ActiveBuffer());
    if (!fCache || VisibleCount() == 0 || !b || b->Row < 0)
        return;
    if (!HasText(*fQRefresh) || !Active())
        RaiseClientError(fibceCannotRefresh, {Name()});
    const int row = b->Row;
    if (RefreshRow(row, fCachedUpdates))
        return;
    if (!(fOptions & poRefreshDeletedRecord))
        return;
    // The server has the row no more: it leaves the view.
    Store<std::uint8_t>(fCache->WriteRecord(row) + FlagsOffset, cusDeletedApplied);
    EnsureMap();
    const int pos = PositionOfRow(row);
    if (pos >= 0)
        fCache->Map.erase(fCache->Map.begin() + pos);
    ++fDeleted;
    fCurrent = std::min(pos, VisibleCount() - 1);
    ResetFilterIndex();
}

TCachedUpdateStatus TFIBCustomDataSet::UpdateStatus() const
{
    const TCachedUpdateStatus s = CachedUpdateStatus();
    return s == cusDeletedApplied ? cusDeleted : s;
}

// ---- cached updates ----

bool TFIBCustomDataSet::ApplyRow(int row)
{
    const auto status = Load<std::uint8_t>(fCache->Record(row) + FlagsOffset) & 7;
    const TUpdateKind kind = status == cusInserted ? ukInsert : status == cusDeleted ? ukDelete : ukModify;
    for (;;) {
        TFIBUpdateAction action = uaApply;
        try {
            if (OnUpdateRecord)
                OnUpdateRecord(this, kind, action);
            if (action == uaApply)
                ExecRowStatements(kind, {row, nullptr});
            if (action == uaAbort)
                throw EAbort();
            if (AfterUpdateRecord && (action == uaApply || action == uaApplied))
                AfterUpdateRecord(this, kind);
            return action == uaApply || action == uaApplied;
        } catch (EAbort&) {
            throw;
        } catch (Exception& e) {
            TFIBUpdateAction onError = uaFail;
            if (OnUpdateError)
                OnUpdateError(this, e, kind, onError);
            switch (onError) {
            case uaRetry: continue;
            case uaSkip: return false;
            case uaApplied: return true;
            case uaAbort:
                RaiseClientErrorText(QStringLiteral("User abort apply updates for %s %s"),
                                     {Name(), e.Message()}, this);
            default: throw;
            }
        }
    }
}

void TFIBCustomDataSet::ApplyUpdates()
{
    CheckDatasetOpen(QStringLiteral("apply updates"));
    CheckBrowseMode();
    if (!fCachedUpdates || fUpdatesPending == 0)
        return;
    // Rows are marked done only after all went through: when one fails the caller
    // can roll the transaction back and still has every change in the cache.
    std::vector<int> applied;
    for (int row = 0; row < fCache->Count(); ++row) {
        const auto status = Load<std::uint8_t>(fCache->Record(row) + FlagsOffset) & 7;
        if (status != cusModified && status != cusInserted && status != cusDeleted)
            continue;
        if (ApplyRow(row))
            applied.push_back(row);
    }
    for (int row : applied) {
        std::byte* rec = fCache->WriteRecord(row);
        const auto status = Load<std::uint8_t>(rec + FlagsOffset) & 7;
        Store<std::uint8_t>(rec + FlagsOffset, status == cusDeleted ? cusDeletedApplied : cusUnmodified);
        fCache->DropOld(row);
        --fUpdatesPending;
    }
    Resync();
}

void TFIBCustomDataSet::CommitUpdates()
{
    if (!fCache)
        return;
    for (int row = 0; row < fCache->Count(); ++row) {
        std::byte* rec = fCache->Record(row);
        const auto status = Load<std::uint8_t>(rec + FlagsOffset) & 7;
        if (status == cusModified || status == cusInserted)
            Store<std::uint8_t>(rec + FlagsOffset, cusUnmodified);
        else if (status == cusDeleted)
            Store<std::uint8_t>(rec + FlagsOffset, cusDeletedApplied);
        fCache->DropOld(row);
    }
    fUpdatesPending = 0;
}

// Takes one row back to what it was before its changes; true when it changed.
static bool RevertRow(TRecordsCache& cache, int row, int& pending)
{
    std::byte* rec = cache.Record(row);
    const auto status = Load<std::uint8_t>(rec + FlagsOffset) & 7;
    switch (status) {
    case cusModified:
    case cusDeleted:
        if (!cache.RestoreOld(row))
            Store<std::uint8_t>(rec + FlagsOffset, cusUnmodified);
        Store<std::uint8_t>(cache.Record(row) + FlagsOffset, cusUnmodified);
        --pending;
        return true;
    case cusInserted:
        Store<std::uint8_t>(rec + FlagsOffset, cusUninserted);
        --pending;
        return true;
    default: return false;
    }
}

void TFIBCustomDataSet::CancelUpdates()
{
    if (!Active() || !fCachedUpdates)
        return;
    Cancel();
    bool changed = false;
    for (int row = 0; row < fCache->Count(); ++row)
        changed |= RevertRow(*fCache, row, fUpdatesPending);
    fUpdatesPending = 0;
    if (!changed)
        return;
    fCalcCache.clear();
    RebuildMap();
    ResetFilterIndex();
    fCurrent = std::min(fCurrent, VisibleCount() - 1);
    Resync();
    DataEvent(deDataSetChange);
}

void TFIBCustomDataSet::RevertRecord()
{
    if (!Active() || !fCachedUpdates)
        return;
    Cancel();
    const TBuf* b = Buf(ActiveBuffer());
    if (!b || b->Row < 0 || !RevertRow(*fCache, b->Row, fUpdatesPending))
        return;
    fCalcCache.erase(b->Row);
    RebuildMap();
    ResetFilterIndex();
    fCurrent = std::min(fCurrent, VisibleCount() - 1);
    Resync();
    DataEvent(deDataSetChange);
}

// ---- update objects ----

const std::vector<TpFIBUpdateObject*>& TFIBCustomDataSet::UpdateObjects(TUpdateKind kind) const
{
    return fUpdateObjects[kind == ukInsert ? 1 : kind == ukDelete ? 2 : 0];
}

void TFIBCustomDataSet::AddUpdateObject(TpFIBUpdateObject* object)
{
    auto& list = fUpdateObjects[object->KindUpdate() == ukInsert ? 1 : object->KindUpdate() == ukDelete ? 2 : 0];
    const auto at = std::upper_bound(list.begin(), list.end(), object->OrderInList(),
                                     [](int order, const TpFIBUpdateObject* o) { return order < o->OrderInList(); });
    list.insert(at, object);
}

void TFIBCustomDataSet::RemoveUpdateObject(TpFIBUpdateObject* object)
{
    for (auto& list : fUpdateObjects)
        std::erase(list, object);
}

// ---- locking ----

TLockStatus TFIBCustomDataSet::LockRecord(bool raiseErr)
{
    const TBuf* b = Active() ? Buf(ActiveBuffer()) : nullptr;
    if (!b || b->Row < 0)
        return lsNotExist;
    QString text;
    if (OnLockSQLText)
        OnLockSQLText(this, text);
    if (text.isEmpty()) {
        const QString table = fAutoUpdateOptions.UpdateTableName();
        const QStringList keys = SplitKeys(fAutoUpdateOptions.KeyFields);
        if (!table.isEmpty() && !keys.isEmpty()) {
            QStringList cond;
            for (const QString& k : keys)
                cond << k + QStringLiteral("=?") + k;
            if (fOptions & poUseSelectForLock)
                text = QStringLiteral("SELECT 0 FROM ") + table + QStringLiteral(" WHERE ") + cond.join(QStringLiteral(" and "))
                       + QStringLiteral(" FOR UPDATE WITH LOCK");
            else
                text = QStringLiteral("UPDATE ") + table + QStringLiteral(" SET ") + keys.first() + QStringLiteral("= ?")
                       + keys.first() + QStringLiteral(" WHERE ") + cond.join(QStringLiteral(" and "));
        } else if (HasText(*fQUpdate) && !IsNoAction(*fQUpdate)) {
            // The update statement with the row's own values changes nothing and holds the row.
            text = fQUpdate->SQL().Text();
        } else {
            RaiseClientErrorText(QStringLiteral("Unable to lock record. Update query is empty"));
        }
    }
    for (;;) {
        TLockStatus status = lsSuccess;
        std::unique_ptr<Exception> failure;
        QString serverText;
        try {
            TFIBQuery q;
            q.SetName(Name() + QStringLiteral("_Lock"));
            q.Options |= qoNoForceIsNull;
            q.SQL().SetText(text);
            PrepareUpdateQuery(q, UpdateTransaction());
            BindParams(q, {b->Row, nullptr});
            q.ExecQuery();
            int rows = 0;
            if (q.SQLType() == SQLSelect || q.SQLType() == SQLSelectForUpdate) {
                while (!q.Eof()) {
                    ++rows;
                    q.Next();
                }
                q.Close();
            } else {
                rows = q.RowsAffected();
            }
            status = rows == 1 ? lsSuccess : rows == 0 ? lsNotExist : lsMultiply;
        } catch (EFIBError& e) {
            status = IsLockConflict(e) ? lsDeadLock : lsUnknownError;
            serverText = e.Message();
            failure = std::make_unique<EFIBError>(e);
        }
        if (status == lsSuccess)
            return status;
        TFIBUpdateAction action = uaFail;
        if (OnLockError)
            OnLockError(this, failure.get(), status, action);
        switch (action) {
        case uaRetry: continue;
        case uaAbort: throw EAbort();
        case uaSkip:
        case uaApply:
        case uaApplied: return status;
        default: break;
        }
        if (!raiseErr)
            return status;
        const QString word = status == lsDeadLock   ? QStringLiteral("Deadlock detected")
                             : status == lsNotExist ? QStringLiteral("Record does not exist")
                             : status == lsMultiply ? QStringLiteral("Attempt to edit multiple records")
                                                    : QStringLiteral("Error of record updating:");
        if (serverText.isEmpty())
            RaiseClientErrorText(QStringLiteral("%s"), {word});
        RaiseClientErrorText(QStringLiteral("%s\r\n%s"), {word, serverText});
    }
}
