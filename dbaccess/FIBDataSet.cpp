#include "dbaccess/FIBDataSet_Internal.h"

#include <QScopeGuard>
#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

// ---------------------------------------------------------------- dataset

TFIBCustomDataSet::TFIBCustomDataSet(TComponent* owner)
    : TDataSet(owner),
      fQSelect(std::make_unique<TFIBQuery>(this)),
      fQUpdate(std::make_unique<TFIBQuery>(this)),
      fQInsert(std::make_unique<TFIBQuery>(this)),
      fQDelete(std::make_unique<TFIBQuery>(this)),
      fQRefresh(std::make_unique<TFIBQuery>(this)),
      fDataLink(std::make_unique<TFIBDataLink>(this))
{
    fQSelect->SetName(QStringLiteral("SelectQuery"));
    fQUpdate->SetName(QStringLiteral("UpdateQuery"));
    fQInsert->SetName(QStringLiteral("InsertQuery"));
    fQDelete->SetName(QStringLiteral("DeleteQuery"));
    fQRefresh->SetName(QStringLiteral("RefreshQuery"));
    // A hard end of the transaction reaches the dataset before the statement closes
    // itself, so that the rows can still be fetched when they are to stay.
    auto statementEnding = fQSelect->Base().OnTransactionEnding;
    fQSelect->Base().OnTransactionEnding = [this, statementEnding] {
        OnSelectTransactionEnding();
        if (statementEnding)
            statementEnding();
    };
    auto statementEnded = fQSelect->Base().OnTransactionEnded;
    fQSelect->Base().OnTransactionEnded = [this, statementEnded] {
        if (statementEnded)
            statementEnded();
        if (TransactionEnded)
            TransactionEnded(this);
    };
    auto statementDisconnecting = fQSelect->Base().OnDatabaseDisconnecting;
    fQSelect->Base().OnDatabaseDisconnecting = [this, statementDisconnecting] {
        OnSelectDisconnecting();
        if (statementDisconnecting)
            statementDisconnecting();
        fPrepared = false;
    };
    auto statementDisconnected = fQSelect->Base().OnDatabaseDisconnected;
    fQSelect->Base().OnDatabaseDisconnected = [this, statementDisconnected] {
        if (statementDisconnected)
            statementDisconnected();
        if (DatabaseDisconnected)
            DatabaseDisconnected(this);
    };
}

TFIBCustomDataSet::~TFIBCustomDataSet()
{
    // Keys handed out here move the sequence on once more, so that a value read
    // for a row that was never posted is not taken again by a later run.
    if (fGeneratorUsed && Database() && Database()->Connected() && !fAutoUpdateOptions.GeneratorName.isEmpty()) {
        try {
            Database()->Gen_Id(fAutoUpdateOptions.GeneratorName, fAutoUpdateOptions.GeneratorStep);
        } catch (...) {
            // Going away must not fail for it.
        }
    }
    MarkDestroying();
    fDataLink->SetDataSource(nullptr);
    Close();
}

// ---- master and detail ----

TFIBDataLink::TFIBDataLink(TFIBCustomDataSet* detail) : fDetail(detail) {}
TFIBDataLink::~TFIBDataLink() = default;

TDataSet* TFIBDataLink::DetailDataSet() const { return fDetail; }

void TFIBDataLink::ActiveChanged()
{
    TDataSet* master = DataSet();
    if (!master || !master->Active()) {
        if (fDetail->Active() && !(fDetail->DetailConditions() & dcIgnoreMasterClose))
            fDetail->Close();
        return;
    }
    MasterRowChanged();
}

void TFIBDataLink::DataSetChanged() { MasterRowChanged(); }
void TFIBDataLink::DataSetScrolled(int) { MasterRowChanged(); }

void TFIBDataLink::RecordChanged(TField* field)
{
    // A field edit of the master reopens nothing; a new master row does.
    if (!field)
        MasterRowChanged();
}

void TFIBDataLink::MasterRowChanged()
{
    TDataSet* master = DataSet();
    if (!master || !master->Active() || master->State() != dsBrowse || fDetail->IsDestroying()
        || fDetail->fRefreshingMaster)
        return;
    if (fDetail->DetailConditions() & dcWaitEndMasterScroll) {
        if (!fScrollTimer) {
            fScrollTimer = std::make_unique<QTimer>();
            fScrollTimer->setSingleShot(true);
            fScrollTimer->setInterval(0);
            QObject::connect(fScrollTimer.get(), &QTimer::timeout, [this] { Reopen(); });
        }
        fScrollTimer->start();
        return;
    }
    Reopen();
}

void TFIBDataLink::Reopen()
{
    TDataSet* master = DataSet();
    if (!master || !master->Active() || master->State() != dsBrowse)
        return;
    if (fDetail->Active()) {
        fDetail->ReopenDetail();
        return;
    }
    if ((fDetail->DetailConditions() & dcForceOpen) && !fDetail->SelectSQL().Text().trimmed().isEmpty())
        fDetail->ReopenDetail();
}

void TFIBCustomDataSet::SetDataSource(TDataSource* value)
{
    for (TDataSource* s = value; s && s->DataSet(); s = s->DataSet()->DataSource()) {
        if (s->DataSet() == this)
            throw EDatabaseError(QStringLiteral("Circular datalinks are not allowed"));
    }
    fDataLink->SetDataSource(value);
}

void TFIBCustomDataSet::SetMasterParams()
{
    TDataSet* master = fDataLink->DataSet();
    if (!master || !master->Active() || master->IsEmpty())
        return;
    TFIBXSQLDA& params = fQSelect->Params();
    for (int i = 0; i < params.Count(); ++i) {
        TFIBXSQLVAR& p = params[i];
        const QString name = p.Name();
        TField* f = master->FindField(name);
        if (!f && name.startsWith(QLatin1String("MAS_"), Qt::CaseInsensitive))
            f = master->FindField(name.mid(4));
        if (!f)
            continue;
        if (f->IsNull())
            p.SetIsNull(true);
        else
            p.SetValue(f->Value());
    }
}

void TFIBCustomDataSet::ReopenDetail()
{
    DisableControls();
    const auto enable = qScopeGuard([this] { EnableControls(); });
    Close();
    Open();
}

void TFIBCustomDataSet::CheckDatasetClosed(const QString& verb) const
{
    if (Active())
        RaiseClientError(fibceDatasetOpen, {verb, Name()});
}

void TFIBCustomDataSet::CheckDatasetOpen(const QString& verb) const
{
    if (!Active())
        RaiseClientError(fibceDatasetClosed, {verb, Name()});
}

void TFIBCustomDataSet::SetDatabase(TFIBDatabase* value)
{
    if (value == Database())
        return;
    CheckDatasetClosed(QStringLiteral(" change database "));
    fQSelect->SetDatabase(value);
    fPrepared = false;
}

void TFIBCustomDataSet::SetTransaction(TFIBTransaction* value)
{
    if (value == Transaction())
        return;
    CheckDatasetClosed(QStringLiteral(" change transaction "));
    fQSelect->SetTransaction(value);
}

void TFIBCustomDataSet::SetSelectSQL(const QString& text)
{
    CheckDatasetClosed(QStringLiteral(" change SelectSQL "));
    fQSelect->SQL().SetText(text);
    fPrepared = false;
}

void TFIBCustomDataSet::SetCachedUpdates(bool value)
{
    if (value == fCachedUpdates)
        return;
    CheckDatasetClosed(QStringLiteral(" change CachedUpdates mode "));
    fCachedUpdates = value;
}

void TFIBCustomDataSet::SetUniDirectional(bool value)
{
    if (value == fUniDirectional)
        return;
    CheckDatasetClosed(QStringLiteral(" change Unidirectional property "));
    fUniDirectional = value;
}

void TFIBCustomDataSet::SetPrepareOptions(TpPrepareOptions value)
{
    constexpr TpPrepareOptions typeOptions = psUseBooleanField | psSQLINT64ToBCD | psUseLargeIntField;
    if ((value & typeOptions) != (fPrepareOptions & typeOptions)) {
        CheckDatasetClosed(QStringLiteral("change psUseBooleanField or psSQLINT64ToBCD or psUseLargeIntField\r\n"));
        if (fPrepared)
            FieldDefs().Clear();
    }
    fPrepareOptions = value;
}

void TFIBCustomDataSet::ReadStoredOption(const QString& storedName, bool value)
{
    struct TEntry {
        const char* Name;
        int Set;  // 0 Options, 1 PrepareOptions, 2 DetailConditions
        std::uint32_t Bit;
    };
    static const TEntry entries[] = {
        {"oTrimCharFields", 0, poTrimCharFields},
        {"oRefreshAfterPost", 0, poRefreshAfterPost},
        {"oRefreshDeletedRecord", 0, poRefreshDeletedRecord},
        {"oStartTransaction", 0, poStartTransaction},
        {"oAutoFormatFields", 0, poAutoFormatFields},
        {"oProtectedEdit", 0, poProtectedEdit},
        {"oUseSelectForLock", 0, poUseSelectForLock},
        {"oKeepSorting", 0, poKeepSorting},
        {"oPersistentSorting", 0, poPersistentSorting},
        {"oVisibleRecno", 0, poVisibleRecno},
        {"oNoForceIsNull", 0, poNoForceIsNull},
        {"oFetchAll", 0, poFetchAll},
        {"oFreeHandlesAfterClose", 0, poFreeHandlesAfterClose},
        {"oCacheCalcFields", 0, poCacheCalcFields},
        {"oRefreshAfterDelete", 0, poRefreshAfterDelete},
        {"oDontAutoClose", 0, poDontCloseAfterEndTransaction},
        {"poSetRequiredFields", 1, pfSetRequiredFields},
        {"poSetReadOnlyFields", 1, pfSetReadOnlyFields},
        {"poImportDefaultValues", 1, pfImportDefaultValues},
        {"poUseBooleanField", 1, psUseBooleanField},
        {"poUseGuidField", 1, psUseGuidField},
        {"poSQLINT64ToBCD", 1, psSQLINT64ToBCD},
        {"poApplyRepositary", 1, psApplyRepositary},
        {"poGetOrderInfo", 1, psGetOrderInfo},
        {"poAskRecordCount", 1, psAskRecordCount},
        {"poCanEditComputedFields", 1, psCanEditComputedFields},
        {"poEmptyStrToNull", 1, psSetEmptyStrToNull},
        {"poSupportUnicodeBlobs", 1, psSupportUnicodeBlobs},
        {"poUseLargeIntField", 1, psUseLargeIntField},
        {"dcForceOpen", 2, dcForceOpen},
        {"dcIgnoreMasterClose", 2, dcIgnoreMasterClose},
        {"dcForceMasterRefresh", 2, dcForceMasterRefresh},
        {"WaitEndMasterScroll", 2, dcWaitEndMasterScroll},
    };
    if (!fOptionsReset) {
        fOptionsReset = true;
        fOptions = DefaultDsOptions;
        fPrepareOptions = DefaultPrepareOptions;
        fDetailConditions = 0;
    }
    for (const TEntry& e : entries) {
        if (storedName != QLatin1String(e.Name))
            continue;
        std::uint32_t* target = e.Set == 0 ? &fOptions : (e.Set == 1 ? &fPrepareOptions : nullptr);
        if (target) {
            *target = value ? (*target | e.Bit) : (*target & ~e.Bit);
        } else {
            const auto bit = static_cast<TDetailConditions>(e.Bit);
            fDetailConditions = value ? (fDetailConditions | bit) : (fDetailConditions & ~bit);
        }
        return;
    }
}

void TFIBCustomDataSet::Prepare()
{
    if (!Database())
        RaiseClientError(fibceDatabaseNotAssigned, {Name()});
    if (!Transaction())
        RaiseClientError(fibceTransactionNotAssigned, {Name()});
    if (fQSelect->SQL().Text().trimmed().isEmpty())
        RaiseClientError(fibceEmptyQuery, {QStringLiteral("Prepare ") + Name()});
    if ((fOptions & poStartTransaction) && !Transaction()->Active())
        Transaction()->StartTransaction();
    if (!fQSelect->Prepared())
        fQSelect->Prepare();
    fPrepared = true;
    InitFieldDefs();
}

// ---- field definitions and descriptors ----

void TFIBCustomDataSet::InitFieldDefs()
{
    FieldDefs().Clear();
    TFIBXSQLDA& cols = fQSelect->Current();
    TFIBDatabase* db = Database();
    for (int i = 0; i < cols.Count(); ++i) {
        TFIBXSQLVAR& c = cols[i];
        const short type = c.SQLType();
        const short scale = c.SQLScale();
        const int len = c.Size();
        const TField* persistent = FindField(c.Name());
        TFieldType ft = ftUnknown;
        int size = 0;
        switch (type) {
        case SQL_VARYING:
        case SQL_TEXT: {
            const int cs = c.CharacterSet();
            const bool isKey = c.SqlName().compare(QLatin1String("DB_KEY"), Qt::CaseInsensitive) == 0;
            if (db && db->NeedUnicodeHandling() && db->IsUnicodeCharset(cs)) {
                ft = ftWideString;
                size = isKey ? len : len / std::max(1, db->BytesPerCharacter(cs));
            } else {
                ft = ftString;
                size = len;
            }
            break;
        }
        case SQL_SHORT:
        case SQL_LONG:
            if (scale < 0)
                ft = ftFloat;
            else if (persistent && persistent->DataType() == ftBoolean)
                ft = ftBoolean;
            else if ((len != 4 && !persistent) || (persistent && persistent->DataType() == ftSmallint))
                ft = ftSmallint;
            else
                ft = ftInteger;
            break;
        case SQL_INT64:
            if (scale == 0)
                ft = (fPrepareOptions & psUseLargeIntField) ? ftLargeint : ftBCD;
            else if (scale < -4 && !(fPrepareOptions & psSQLINT64ToBCD))
                ft = ftFloat;
            else {
                ft = ftBCD;
                size = -scale;
            }
            break;
        case SQL_FLOAT:
        case SQL_DOUBLE:
        case SQL_D_FLOAT: ft = ftFloat; break;
        case SQL_TYPE_DATE: ft = ftDate; break;
        case SQL_TYPE_TIME: ft = ftTime; break;
        case SQL_TIMESTAMP: ft = ftDateTime; break;
        case SQL_BLOB:
            ft = c.SQLSubtype() == 1 ? ftMemo : ftBlob;
            size = 8;
            break;
        case SQL_ARRAY:
            ft = ftBytes;
            size = 8;
            break;
        case SQL_BOOLEAN: ft = ftBoolean; break;
        default: break;
        }
        // Every column keeps its place so that FieldNo indexes the descriptors;
        // a column of no known type gets a definition no field is made for.
        TFieldDef& def = FieldDefs().Add(c.Name(), ft, size, false);
        (void)def;
        if (persistent && (ft == ftString || ft == ftWideString || ft == ftBCD) && persistent->Size() != size)
            const_cast<TField*>(persistent)->SetSize(size);
    }
}

void TFIBCustomDataSet::BuildDescriptors()
{
    TFIBXSQLDA& cols = fQSelect->Current();
    TFIBDatabase* db = Database();
    const int n = cols.Count();
    fDescr.assign(static_cast<std::size_t>(n), TFIBFieldDescr());
    fNullOffset = FlagsOffset + 1;
    int offset = fNullOffset + NullBytes(n);
    fLongCount = 0;
    fBlobCount = 0;
    for (int i = 0; i < n; ++i) {
        TFIBXSQLVAR& c = cols[i];
        TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(i)];
        d.SqlType = c.SQLType();
        d.Scale = c.SQLScale();
        d.ServerLength = c.Size();
        d.Nullable = c.IsNullable();
        d.CharsetId = c.CharacterSet();
        d.RelationName = c.RelationName();
        d.FieldName = c.SqlName();
        d.IsDBKey = d.FieldName.compare(QLatin1String("DB_KEY"), Qt::CaseInsensitive) == 0;
        d.Divisor = d.Scale < 0 ? std::pow(10.0, -d.Scale) : 1.0;
        d.Int64AsDouble = d.SqlType == SQL_INT64 && d.Scale < -4 && !(fPrepareOptions & psSQLINT64ToBCD);
        // Text is read by the same rule as statement values read it.
        d.Coding = d.IsDBKey ? TTextCoding::Latin1 : ColumnTextCoding(db, d.CharsetId);
        d.IsMemo = d.SqlType == SQL_BLOB && c.SQLSubtype() == 1;
        if (d.IsMemo)
            d.Coding = BlobTextCoding(db, c.SQLScale());  // a text blob's scale is its character set
        d.IsBlob = d.SqlType == SQL_BLOB && !d.IsMemo;
        if (d.IsBlob)
            d.Coding = TTextCoding::Latin1;  // bytes as latin-1 text map one to one
        const TFieldDef& def = FieldDefs()[i];
        d.IsLongString = IsTextType(d.SqlType) && !d.IsDBKey && def.DataType != ftGuid
                         && (d.ServerLength > LongStringLimit || d.CharsetId == 1);
        // A blob keeps only its id in the record; its content is read when the field is.
        if (d.SqlType == SQL_BLOB)
            d.BlobIndex = fBlobCount++;
        if (d.IsLongString) {
            d.LongStringIndex = fLongCount++;
            d.Size = 0;
        } else {
            d.Size = FixedWidth(d.SqlType, d.ServerLength);
        }
        d.Offset = offset;
        offset += d.Size;
    }
    fStoredSize = offset;
}

void TFIBCustomDataSet::ApplyAutoFormats()
{
    if (!(fOptions & poAutoFormatFields))
        return;
    for (TField* f : Fields()) {
        if (f->FieldKind() != fkData || f->FieldNo() <= 0 || !f->DisplayFormat().isEmpty())
            continue;
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)];
        switch (f->DataType()) {
        case ftDateTime: f->SetDisplayFormat(fDefaultFormats.DateTimeDisplayFormat); break;
        case ftDate: f->SetDisplayFormat(fDefaultFormats.DisplayFormatDate); break;
        case ftTime: f->SetDisplayFormat(fDefaultFormats.DisplayFormatTime); break;
        case ftFloat:
        case ftBCD:
            // Only columns with a scale have a known count of decimals; a float
            // column keeps its plain text.
            if (d.Scale < 0) {
                const QString zeros(-d.Scale, u'0');
                f->SetDisplayFormat(fDefaultFormats.NumericDisplayFormat + zeros);
                if (f->EditFormat().isEmpty())
                    f->SetEditFormat(fDefaultFormats.NumericEditFormat + zeros);
            }
            break;
        default: break;
        }
    }
}

// ---- open and close ----

void TFIBCustomDataSet::InternalOpen()
{
    TScreenCursorScope wait(fSQLScreenCursor);
    if (!fPrepared || !fQSelect->Prepared())
        Prepare();
    if (FieldDefs().Count() == 0)
        InitFieldDefs();
    if ((fOptions & poStartTransaction) && !Transaction()->Active())
        Transaction()->StartTransaction();
    const TFIBSQLTypes type = fQSelect->SQLType();
    if (type != SQLSelect && type != SQLSelectForUpdate && fQSelect->Current().Count() == 0) {
        // Statements without columns run and leave nothing to show.
        fQSelect->ExecQuery();
        fCursorOpen = false;
        return;
    }
    if (DefaultFields())
        CreateFields();
    BindFields(true);
    BuildDescriptors();
    for (TField* f : Fields()) {
        if (f->FieldNo() <= 0)
            continue;
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)];
        if (auto* ff = dynamic_cast<TFIBFloatField*>(f))
            ff->Scale = d.Scale;
        if (auto* sf = dynamic_cast<TFIBStringField*>(f))
            sf->EmptyStrToNull = fPrepareOptions & psSetEmptyStrToNull;
        if (auto* wf = dynamic_cast<TFIBWideStringField*>(f))
            wf->EmptyStrToNull = fPrepareOptions & psSetEmptyStrToNull;
    }
    ApplyAutoFormats();
    fOrderInfo.clear();
    if (fPrepareOptions & psGetOrderInfo)
        ReadOrderInfo();
    fServerInfoLoaded = false;
    fServerDefaults.clear();
    fComputed.clear();
    fUpdatesPending = 0;
    if (fAutoUpdateOptions.AutoReWriteSqls)
        GenerateSQLs();
    fCache = std::make_unique<TRecordsCache>(fStoredSize, fCacheModelOptions.BufferChunks, fLongCount, fBlobCount);
    fCalcCache.clear();
    ResetFilterIndex();
    // Fetched rows are unmodified: without that status they go into no map.
    if (!(fUpdateRecordTypes & rtUnmodified))
        EnsureMap();
    fCurrent = -1;
    fInserted = 0;
    fDeleted = 0;
    fQSelect->GoToFirstRecordOnExecute = true;
    SetMasterParams();
    fQSelect->ExecQuery();
    fQueryOpen = true;
    fPending = !fQSelect->Eof();
    fAllFetched = !fPending;
    if (fAllFetched) {
        fQSelect->Close();
        fQueryOpen = false;
    }
    fCursorOpen = true;
    if (fOptions & poFetchAll)
        FetchAll();
    if ((fOptions & (poKeepSorting | poPersistentSorting)) && !fSortFields.isEmpty()) {
        const QStringList fields = fSortFields;
        const std::vector<bool> asc = fSortAscending;
        SortMap(fields, asc);
    }
}

void TFIBCustomDataSet::InternalClose()
{
    if (fQSelect->Open())
        fQSelect->Close();
    if (fOptions & poFreeHandlesAfterClose) {
        fQSelect->FreeHandle();
        fPrepared = false;
    }
    fQueryOpen = false;
    fPending = false;
    fAllFetched = false;
    fCursorOpen = false;
    fCurrent = -1;
    fInserted = 0;
    fDeleted = 0;
    fCache.reset();
    fCalcCache.clear();
    ResetFilterIndex();
    ReleaseBlobSlots(&fFilterBuf);
    if (fEndScrollTimer)
        fEndScrollTimer->stop();
    fDescr.clear();
    if (!(fOptions & (poKeepSorting | poPersistentSorting))) {
        fSortFields.clear();
        fSortAscending.clear();
    }
}

void TFIBCustomDataSet::CloseOpen(bool fetchAll)
{
    DisableControls();
    auto beforeScroll = std::move(BeforeScroll);
    auto afterScroll = std::move(AfterScroll);
    BeforeScroll = nullptr;
    AfterScroll = nullptr;
    const auto restore = qScopeGuard([&] {
        BeforeScroll = std::move(beforeScroll);
        AfterScroll = std::move(afterScroll);
        EnableControls();
    });
    Close();
    Open();
    if (fetchAll)
        FetchAll();
}

void TFIBCustomDataSet::FullRefresh()
{
    CheckDatasetOpen(QStringLiteral("FullRefresh"));
    const int recNo = RecNo();
    CloseOpen(false);
    if (recNo > 1)
        MoveBy(recNo - 1);
}

void TFIBCustomDataSet::ReopenLocate(const QString& fields)
{
    QVariantList values;
    const std::vector<TField*> list = Active() ? GetFieldList(fields) : std::vector<TField*>();
    const bool hadRow = Active() && !IsEmpty();
    for (TField* f : list)
        values.push_back(f->Value());
    CloseOpen(false);
    if (hadRow && !list.empty())
        Locate(fields, values.size() == 1 ? values.front() : QVariant(values), {});
}

// ---- fetching ----

bool TFIBCustomDataSet::FetchOne()
{
    if (fAllFetched || !fQueryOpen)
        return false;
    if (!fPending) {
        if (!fQSelect->Next() || fQSelect->Eof()) {
            fAllFetched = true;
            fQSelect->Close();
            fQueryOpen = false;
            return false;
        }
    }
    fPending = false;
    const int row = fCache->AddRecord();
    CopyRow(row);
    if (fCache->HasMap && StatusVisible(row))
        fCache->Map.push_back(row);
    return true;
}

// One column of a statement's row into a cache record, by the column's own rule.
void TFIBCustomDataSet::CopyColumn(int col, const XSQLVAR& v, int row, std::byte* rec, std::vector<QByteArray>* longs)
{
    const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
    const bool isNull = (v.sqltype & 1) && v.sqlind && *v.sqlind == -1;
    SetNullBit(rec, fNullOffset, col, isNull);
    if (d.IsLongString && longs) {
        // Into an edit copy: the row's own text, trimmed as the store keeps it.
        QByteArray& text = (*longs)[static_cast<std::size_t>(d.LongStringIndex)];
        if (isNull)
            text.clear();
        else if (d.SqlType == SQL_VARYING)
            text = QByteArray(v.sqldata + 2, std::min<int>(Load<quint16>(reinterpret_cast<const std::byte*>(v.sqldata)), d.ServerLength));
        else
            text = QByteArray(v.sqldata, TrimmedLength(v.sqldata, d.ServerLength));
        return;
    }
    if (d.IsLongString) {
        TStringCollection& store = fCache->Strings(d.LongStringIndex);
        if (isNull) {
            store.Set(row, nullptr, 0);
        } else if (d.SqlType == SQL_VARYING) {
            const int len = std::min<int>(Load<quint16>(reinterpret_cast<const std::byte*>(v.sqldata)), d.ServerLength);
            store.Set(row, v.sqldata + 2, len);
        } else {
            store.Set(row, v.sqldata, d.ServerLength);
        }
        return;
    }
    if (isNull)
        return;
    std::byte* p = rec + d.Offset;
    const auto* src = reinterpret_cast<const std::byte*>(v.sqldata);
    switch (d.SqlType) {
    case SQL_TYPE_DATE: Store<qint32>(p, Load<qint32>(src) + DateBase); break;
    case SQL_TYPE_TIME: Store<qint32>(p, static_cast<qint32>(Load<quint32>(src) / 10)); break;
    case SQL_TIMESTAMP: {
        const auto days = static_cast<double>(Load<qint32>(src) + DateBase);
        const auto ms = static_cast<double>(Load<quint32>(src + 4) / 10);
        Store<double>(p, days * MsPerDay + ms);
        break;
    }
    case SQL_INT64:
        if (d.Int64AsDouble)
            Store<double>(p, static_cast<double>(Load<qint64>(src)) / d.Divisor);
        else
            std::memcpy(p, src, 8);
        break;
    case SQL_VARYING: {
        const int len = std::min<int>(Load<quint16>(src), d.ServerLength);
        Store<quint16>(p, static_cast<quint16>(len));
        std::memcpy(p + 2, src + 2, static_cast<std::size_t>(len));
        break;
    }
    case SQL_TEXT:
        Store<quint16>(p, static_cast<quint16>(d.ServerLength));
        std::memcpy(p + 2, src, static_cast<std::size_t>(d.ServerLength));
        break;
    default: std::memcpy(p, src, static_cast<std::size_t>(d.Size)); break;
    }
}

void TFIBCustomDataSet::CopyRow(int row)
{
    std::byte* rec = fCache->Record(row);
    XSQLDA* da = fQSelect->Current().AsXSQLDA();
    const int n = static_cast<int>(fDescr.size());
    for (int i = 0; i < n; ++i)
        CopyColumn(i, da->sqlvar[i], row, rec);
}

void TFIBCustomDataSet::FetchAll()
{
    CheckDatasetOpen(QStringLiteral("fetch all"));
    TScreenCursorScope wait(fSQLScreenCursor);
    while (FetchOne()) {
    }
}

int TFIBCustomDataSet::FetchNext(int count)
{
    CheckDatasetOpen(QStringLiteral("fetch next"));
    int n = 0;
    while (n < count && FetchOne())
        ++n;
    return n;
}

// ---- transaction end and disconnect ----

void TFIBCustomDataSet::KeepOrClose()
{
    if (!Active())
        return;
    if (((fOptions & poDontCloseAfterEndTransaction) || fCachedUpdates) && !IsDestroying()) {
        // The rows stay readable without the statement, and without the transaction
        // their blob ids belong to.
        FetchAll();
        KeepBlobsInCache();
        if (fQSelect->Open())
            fQSelect->Close();
        fQueryOpen = false;
        fAllFetched = true;
    } else {
        Close();
    }
}

void TFIBCustomDataSet::OnSelectTransactionEnding()
{
    if (TransactionEnding)
        TransactionEnding(this);
    TFIBTransaction* tr = Transaction();
    if (tr && (tr->State() == tsDoCommit || tr->State() == tsDoRollback))
        KeepOrClose();
}

void TFIBCustomDataSet::OnSelectDisconnecting()
{
    KeepOrClose();
    if (DatabaseDisconnecting)
        DatabaseDisconnecting(this);
}

// ---- fields ----

std::unique_ptr<TField> TFIBCustomDataSet::CreateFieldOfType(TFieldType type)
{
    switch (type) {
    case ftString:
    case ftFixedChar: return std::make_unique<TFIBStringField>();
    case ftWideString: return std::make_unique<TFIBWideStringField>();
    case ftGuid: return std::make_unique<TFIBGuidField>();
    case ftSmallint: return std::make_unique<TFIBSmallIntField>();
    case ftInteger: return std::make_unique<TFIBIntegerField>();
    case ftLargeint: return std::make_unique<TFIBLargeIntField>();
    case ftBoolean: return std::make_unique<TFIBBooleanField>();
    case ftFloat: return std::make_unique<TFIBFloatField>();
    case ftBCD: return std::make_unique<TFIBBCDField>();
    case ftDate: return std::make_unique<TFIBDateField>();
    case ftTime: return std::make_unique<TFIBTimeField>();
    case ftDateTime: return std::make_unique<TFIBDateTimeField>();
    case ftBlob: return std::make_unique<TFIBBlobField>();
    case ftMemo: return std::make_unique<TFIBMemoField>();
    case ftBytes: return std::make_unique<TFIBArrayField>();
    case ftUnknown: return nullptr;
    default: return TDataSet::CreateFieldOfType(type);
    }
}
