#include "dbaccess/FIBDataSet.h"

#include "dbaccess/fib.h"

#include <QStringDecoder>
#include <QStringEncoder>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {
// Days from the first day of the calendar to the database's day zero, and to the
// program's: dates are kept in the first form, read in the second.
constexpr int DateBase = 678576;
constexpr double DateDelta = 693594.0;
constexpr double MsPerDay = 86400000.0;
constexpr int LongStringLimit = 20;

QString Decode(const char* p, int length, std::uint8_t coding)
{
    if (coding == 1)
        return QString::fromUtf8(p, length);
    if (coding == 0)
        return QString::fromLatin1(p, length);
    return DecodeWin1252(p, length);
}

QByteArray Encode(const QString& text, std::uint8_t coding)
{
    if (coding == 1)
        return text.toUtf8();
    if (coding == 0)
        return text.toLatin1();
    QStringEncoder encoder("windows-1252");
    return encoder.encode(text);
}

int TrimmedLength(const char* p, int length)
{
    while (length > 0 && p[length - 1] == ' ')
        --length;
    return length;
}

template <class T>
T Load(const std::byte* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
void Store(std::byte* p, T v)
{
    std::memcpy(p, &v, sizeof v);
}

bool IsTextType(short t) { return t == SQL_TEXT || t == SQL_VARYING; }

int FixedWidth(short sqlType, int serverLength)
{
    switch (sqlType) {
    case SQL_SHORT: return 2;
    case SQL_LONG:
    case SQL_FLOAT:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME: return 4;
    case SQL_DOUBLE:
    case SQL_D_FLOAT:
    case SQL_TIMESTAMP:
    case SQL_INT64: return 8;
    case SQL_BOOLEAN: return 1;
    case SQL_TEXT:
    case SQL_VARYING: return serverLength + 2;  // length word + bytes
    default: return serverLength;
    }
}

constexpr int FlagsOffset = 5;
}  // namespace

// ---------------------------------------------------------------- string store

void TStringCollection::Set(int row, const char* data, int length)
{
    const auto r = static_cast<std::size_t>(row);
    if (fStart.size() <= r) {
        fStart.resize(r + 1, 0);
        fLength.resize(r + 1, 0);
    }
    length = TrimmedLength(data, length);
    // An empty text clears the slot; an edit that fits reuses the old room.
    if (length <= static_cast<int>(fLength[r]) && length > 0) {
        std::memcpy(fData.data() + fStart[r], data, static_cast<std::size_t>(length));
    } else if (length > 0) {
        fStart[r] = static_cast<std::uint32_t>(fData.size());
        fData.insert(fData.end(), data, data + length);
    }
    fLength[r] = static_cast<std::uint32_t>(length);
}

const char* TStringCollection::Data(int row, int& length) const
{
    const auto r = static_cast<std::size_t>(row);
    if (row < 0 || r >= fStart.size()) {
        length = 0;
        return nullptr;
    }
    length = static_cast<int>(fLength[r]);
    return length ? fData.data() + fStart[r] : nullptr;
}

QByteArray TStringCollection::Get(int row) const
{
    int length = 0;
    const char* p = Data(row, length);
    return p ? QByteArray(p, length) : QByteArray();
}

void TStringCollection::Clear()
{
    fStart.clear();
    fLength.clear();
    fData.clear();
}

// ---------------------------------------------------------------- cache

TRecordsCache::TRecordsCache(int storedRecordSize, int bufferChunks, int longStringCount)
    : fRecordSize(storedRecordSize), fStrings(static_cast<std::size_t>(longStringCount))
{
    if (storedRecordSize <= 0)
        throw EMemManagerError(QStringLiteral("Incompatible Sizes"));
    fBlockSize = storedRecordSize * std::max(bufferChunks, 1);
    if (fBlockSize < 1024)
        fBlockSize = storedRecordSize + 1024 - 1024 % storedRecordSize;
    if (storedRecordSize > fBlockSize)
        throw EMemManagerError(QStringLiteral("Incompatible Sizes"));
    fRecordsPerBlock = fBlockSize / storedRecordSize;
}

int TRecordsCache::AddRecord()
{
    const int row = fCount;
    const auto block = static_cast<std::size_t>(row / fRecordsPerBlock);
    if (block >= fBlocks.size()) {
        if (fBlocks.size() == fBlocks.capacity())
            fBlocks.reserve(fBlocks.size() + 10);
        fBlocks.emplace_back(new std::byte[static_cast<std::size_t>(fBlockSize)]());
    }
    ++fCount;
    std::byte* rec = Record(row);
    std::memset(rec, 0, static_cast<std::size_t>(fRecordSize));
    Store<qint32>(rec, row);
    return row;
}

std::byte* TRecordsCache::Record(int row)
{
    return fBlocks[static_cast<std::size_t>(row / fRecordsPerBlock)].get()
           + static_cast<std::ptrdiff_t>(row % fRecordsPerBlock) * fRecordSize;
}

const std::byte* TRecordsCache::Record(int row) const
{
    return fBlocks[static_cast<std::size_t>(row / fRecordsPerBlock)].get()
           + static_cast<std::ptrdiff_t>(row % fRecordsPerBlock) * fRecordSize;
}

std::byte* TRecordsCache::WriteRecord(int row)
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't write to Buffer.Incorrect RecordNo"));
    return Record(row);
}

const std::byte* TRecordsCache::ReadRecord(int row) const
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't read Buffer.Incorrect RecordNo"));
    return Record(row);
}

void TRecordsCache::SaveOld(int row)
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't read LogBuffer.Incorrect RecordNo"));
    if (fOld.count(row))
        return;
    TOld& old = fOld[row];
    const std::byte* rec = Record(row);
    old.Data.assign(rec, rec + fRecordSize);
    for (const TStringCollection& s : fStrings)
        old.Strings.push_back(s.Get(row));
}

const std::vector<std::byte>* TRecordsCache::OldRecord(int row) const
{
    auto it = fOld.find(row);
    return it == fOld.end() ? nullptr : &it->second.Data;
}

const std::vector<QByteArray>* TRecordsCache::OldStrings(int row) const
{
    auto it = fOld.find(row);
    return it == fOld.end() ? nullptr : &it->second.Strings;
}

std::size_t TRecordsCache::MemoryUsed() const
{
    std::size_t n = fBlocks.size() * static_cast<std::size_t>(fBlockSize) + Map.capacity() * sizeof(int);
    for (const TStringCollection& s : fStrings)
        n += s.Bytes() + static_cast<std::size_t>(fCount) * 8;
    return n;
}

// ---------------------------------------------------------------- dataset

TFIBCustomDataSet::TFIBCustomDataSet(TComponent* owner)
    : TDataSet(owner),
      fQSelect(std::make_unique<TFIBQuery>()),
      fQUpdate(std::make_unique<TFIBQuery>()),
      fQInsert(std::make_unique<TFIBQuery>()),
      fQDelete(std::make_unique<TFIBQuery>()),
      fQRefresh(std::make_unique<TFIBQuery>()),
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
    try {
        Close();
        Open();
    } catch (...) {
        EnableControls();
        throw;
    }
    EnableControls();
}

void TFIBCustomDataSet::CheckDatasetClosed(const QString& verb) const
{
    if (Active())
        RaiseClientError(28, {verb, Name()});
}

void TFIBCustomDataSet::CheckDatasetOpen(const QString& verb) const
{
    if (!Active())
        RaiseClientError(29, {verb, Name()});
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
        RaiseClientError(37, {QStringLiteral("Prepare ") + Name()});
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
    int offset = fNullOffset + n;
    fLongCount = 0;
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
        if (db && db->NeedUnicodeHandling() && db->IsUnicodeCharset(d.CharsetId))
            d.Coding = 1;
        else if (d.CharsetId == 0 || d.CharsetId == 1)
            d.Coding = 0;
        else
            d.Coding = 2;
        d.IsMemo = d.SqlType == SQL_BLOB && c.SQLSubtype() == 1;
        if (d.IsMemo && db && db->IsUnicodeConnect())
            d.Coding = 1;
        else if (d.IsMemo)
            d.Coding = 2;
        const TFieldDef& def = FieldDefs()[i];
        d.IsLongString = d.IsMemo
                         || (IsTextType(d.SqlType) && !d.IsDBKey && def.DataType != ftGuid
                             && (d.ServerLength > LongStringLimit || d.CharsetId == 1));
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
    fCache = std::make_unique<TRecordsCache>(fStoredSize, fCacheModelOptions.BufferChunks, fLongCount);
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
    try {
        Close();
        Open();
        if (fetchAll)
            FetchAll();
    } catch (...) {
        BeforeScroll = std::move(beforeScroll);
        AfterScroll = std::move(afterScroll);
        EnableControls();
        throw;
    }
    BeforeScroll = std::move(beforeScroll);
    AfterScroll = std::move(afterScroll);
    EnableControls();
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
    if (fCache->HasMap)
        fCache->Map.push_back(row);
    return true;
}

void TFIBCustomDataSet::CopyRow(int row)
{
    std::byte* rec = fCache->Record(row);
    TFIBXSQLDA& cols = fQSelect->Current();
    XSQLDA* da = cols.AsXSQLDA();
    const int n = static_cast<int>(fDescr.size());
    for (int i = 0; i < n; ++i) {
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(i)];
        const XSQLVAR& v = da->sqlvar[i];
        const bool isNull = (v.sqltype & 1) && v.sqlind && *v.sqlind == -1;
        rec[fNullOffset + i] = std::byte(isNull ? 1 : 0);
        if (d.IsLongString) {
            TStringCollection& store = fCache->Strings(d.LongStringIndex);
            if (isNull) {
                store.Set(row, nullptr, 0);
            } else if (d.IsMemo) {
                const QByteArray bytes = Encode(cols[i].AsString(), d.Coding);
                store.Set(row, bytes.constData(), static_cast<int>(bytes.size()));
            } else if (d.SqlType == SQL_VARYING) {
                const int len = std::min<int>(Load<quint16>(reinterpret_cast<const std::byte*>(v.sqldata)), d.ServerLength);
                store.Set(row, v.sqldata + 2, len);
            } else {
                store.Set(row, v.sqldata, d.ServerLength);
            }
            continue;
        }
        if (isNull)
            continue;
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
}

void TFIBCustomDataSet::FetchAll()
{
    CheckDatasetOpen(QStringLiteral("fetch all"));
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

// ---- positions ----

int TFIBCustomDataSet::VisibleCount() const
{
    if (!fCache)
        return 0;
    return fCache->HasMap ? static_cast<int>(fCache->Map.size()) : fCache->Count();
}

int TFIBCustomDataSet::RowAt(int pos) const
{
    return fCache->HasMap ? fCache->Map[static_cast<std::size_t>(pos)] : pos;
}

void TFIBCustomDataSet::EnsureMap()
{
    if (fCache->HasMap)
        return;
    fCache->Map.resize(static_cast<std::size_t>(fCache->Count()));
    for (int i = 0; i < fCache->Count(); ++i)
        fCache->Map[static_cast<std::size_t>(i)] = i;
    fCache->HasMap = true;
}

int TFIBCustomDataSet::PositionOfRow(int row) const
{
    if (!fCache || row < 0 || row >= fCache->Count())
        return -1;
    if (!fCache->HasMap)
        return row;
    // Most lookups are for the row at the same place; the map is searched otherwise.
    const auto& map = fCache->Map;
    if (row < static_cast<int>(map.size()) && map[static_cast<std::size_t>(row)] == row)
        return row;
    auto it = std::find(map.begin(), map.end(), row);
    return it == map.end() ? -1 : static_cast<int>(it - map.begin());
}

bool TFIBCustomDataSet::RowVisible(int row) const { return PositionOfRow(row) >= 0; }

void TFIBCustomDataSet::FillBuf(TBuf* b, int pos) const
{
    b->Pos = pos;
    b->Row = RowAt(pos);
    b->HasCopy = false;
}

TRecordBuffer TFIBCustomDataSet::AllocRecordBuffer() { return reinterpret_cast<TRecordBuffer>(new TBuf); }

void TFIBCustomDataSet::FreeRecordBuffer(TRecordBuffer& buffer)
{
    delete Buf(buffer);
    buffer = nullptr;
}

TGetResult TFIBCustomDataSet::GetRecord(TRecordBuffer buffer, TGetMode mode, bool)
{
    if (!fCache)
        return grEOF;
    TBuf* b = Buf(buffer);
    switch (mode) {
    case gmCurrent:
        if (fCurrent < 0)
            return grBOF;
        while (fCurrent >= VisibleCount() && FetchOne()) {
        }
        if (fCurrent >= VisibleCount())
            return grEOF;
        FillBuf(b, fCurrent);
        return grOK;
    case gmNext:
        for (;;) {
            if (fCurrent + 1 >= VisibleCount() && !FetchOne()) {
                fCurrent = VisibleCount();
                return grEOF;
            }
            FillBuf(b, ++fCurrent);
            if (!Filtered() || RecordFilter(buffer))
                return grOK;
        }
    case gmPrior:
        for (;;) {
            if (fCurrent > VisibleCount())
                fCurrent = VisibleCount();
            if (fCurrent <= 0) {
                fCurrent = -1;
                return grBOF;
            }
            FillBuf(b, --fCurrent);
            if (!Filtered() || RecordFilter(buffer))
                return grOK;
        }
    }
    return grError;
}

bool TFIBCustomDataSet::GetRecordAt(TRecordBuffer buffer, int row)
{
    if (!fCache || row < 0)
        return false;
    while (row >= VisibleCount() && FetchOne()) {
    }
    if (row >= VisibleCount())
        return false;
    FillBuf(Buf(buffer), row);
    return true;
}

void TFIBCustomDataSet::InternalSetToRecord(TRecordBuffer buffer)
{
    const TBuf* b = Buf(buffer);
    if (b->Row >= 0) {
        const int pos = PositionOfRow(b->Row);
        fCurrent = pos >= 0 ? pos : b->Pos;
    } else {
        fCurrent = b->Pos;
    }
}

void TFIBCustomDataSet::InternalLast()
{
    while (FetchOne()) {
    }
    fCurrent = VisibleCount();
}

void TFIBCustomDataSet::InternalSetRecNo(int value)
{
    while (value > VisibleCount() && FetchOne()) {
    }
    fCurrent = std::clamp(value - 1, 0, std::max(0, VisibleCount() - 1));
}

int TFIBCustomDataSet::GetRecNo() const
{
    const TBuf* b = Buf(ActiveBuffer());
    if (!b)
        return 0;
    if (State() == dsInsert)
        return b->Pos + 1;
    return b->Pos >= 0 ? b->Pos + 1 : 0;
}

int TFIBCustomDataSet::GetRecordCount() const
{
    if ((fPrepareOptions & psAskRecordCount) && !fAllFetched && Database() && Transaction()) {
        TFIBQuery q;
        q.SetDatabase(Database());
        q.SetTransaction(Transaction());
        q.SQL().SetText(QStringLiteral("Select Count(*) from (") + fQSelect->SQL().Text() + QStringLiteral(")"));
        q.Prepare();
        TFIBXSQLDA& from = fQSelect->Params();
        for (int i = 0; i < q.Params().Count() && i < from.Count(); ++i)
            q.Params()[i].SetValue(from[i].Value());
        q.ExecQuery();
        const int count = q.Eof() ? 0 : q.Current()[0].AsInteger();
        q.Close();
        return count - fDeleted + fInserted;
    }
    return VisibleCount();
}

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
    if (d.SqlType == SQL_BLOB && !d.IsMemo)
        throw EDatabaseError(QStringLiteral("%1: the content of binary blob field \"%2\" cannot be read")
                                 .arg(Name(), field->FieldName()));
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
    if (!d.IsMemo && bytes.size() > d.ServerLength)
        bytes.truncate(d.ServerLength);
    b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(0);
    if (d.IsLongString) {
        int n = TrimmedLength(bytes.constData(), static_cast<int>(bytes.size()));
        bytes.truncate(n);
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
    if (d.SqlType == SQL_BLOB && !d.IsMemo)
        throw EDatabaseError(QStringLiteral("%1: the content of binary blob field \"%2\" cannot be written")
                                 .arg(Name(), field->FieldName()));
    if (!value) {
        b->Data[static_cast<std::size_t>(fNullOffset + col)] = std::byte(1);
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
    for (int i = 0; i < fLongCount; ++i) {
        const QByteArray& s = b->Long[static_cast<std::size_t>(i)];
        fCache->Strings(i).Set(row, s.constData(), static_cast<int>(s.size()));
    }
    b->HasCopy = false;
    fCurrent = PositionOfRow(row);
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
    if (pos >= 0)
        fCache->Map.erase(fCache->Map.begin() + pos);
    ++fDeleted;
    fCurrent = pos;
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

// ---- bookmarks ----

void TFIBCustomDataSet::GetBookmarkData(TRecordBuffer buffer, TBookmark& bookmark) const
{
    const qint32 row = Buf(buffer)->Row;
    bookmark = QByteArray(reinterpret_cast<const char*>(&row), sizeof row);
}

void TFIBCustomDataSet::InternalGotoBookmark(const TBookmark& bookmark)
{
    if (!BookmarkValid(bookmark))
        throw EDatabaseError(QStringLiteral("Record not found"));
    qint32 row;
    std::memcpy(&row, bookmark.constData(), sizeof row);
    fCurrent = PositionOfRow(row);
}

TBookmark TFIBCustomDataSet::GetBookmark() const
{
    if (State() == dsInsert || State() == dsEdit)
        throw EDatabaseError(QStringLiteral("Can't use bookmark. DataSet not in browse mode"));
    return TDataSet::GetBookmark();
}

void TFIBCustomDataSet::GotoBookmark(const TBookmark& bookmark)
{
    if (State() == dsInsert || State() == dsEdit)
        throw EDatabaseError(QStringLiteral("Can't use bookmark. DataSet not in browse mode"));
    TDataSet::GotoBookmark(bookmark);
}

bool TFIBCustomDataSet::BookmarkValid(const TBookmark& bookmark) const
{
    if (!fCache || bookmark.size() != sizeof(qint32))
        return false;
    qint32 row;
    std::memcpy(&row, bookmark.constData(), sizeof row);
    return RowVisible(row);
}

int TFIBCustomDataSet::CompareBookmarks(const TBookmark& a, const TBookmark& b) const
{
    const auto pos = [this](const TBookmark& m) {
        if (m.size() != sizeof(qint32))
            return -1;
        qint32 row;
        std::memcpy(&row, m.constData(), sizeof row);
        return PositionOfRow(row);
    };
    const int x = pos(a), y = pos(b);
    return x < y ? -1 : (x > y ? 1 : 0);
}

// ---- sort and search ----

int TFIBCustomDataSet::CompareRows(const std::vector<int>& cols, const std::vector<bool>& asc, int a, int b) const
{
    const std::byte* ra = fCache->Record(a);
    const std::byte* rb = fCache->Record(b);
    for (std::size_t i = 0; i < cols.size(); ++i) {
        const int col = cols[i];
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
        const bool na = ra[fNullOffset + col] != std::byte(0);
        const bool nb = rb[fNullOffset + col] != std::byte(0);
        int r = 0;
        // Nulls come first in ascending order.
        if (na || nb) {
            r = na == nb ? 0 : (na ? -1 : 1);
        } else if (IsTextType(d.SqlType) || d.IsLongString) {
            r = QString::compare(TextOf(d, ra, a, nullptr), TextOf(d, rb, b, nullptr), Qt::CaseSensitive);
        } else if (d.SqlType == SQL_INT64 && !d.Int64AsDouble) {
            const qint64 x = Load<qint64>(ra + d.Offset), y = Load<qint64>(rb + d.Offset);
            r = x < y ? -1 : (x > y ? 1 : 0);
        } else {
            const double x = FloatOf(d, ra + d.Offset), y = FloatOf(d, rb + d.Offset);
            r = x < y ? -1 : (x > y ? 1 : 0);
        }
        if (r != 0)
            return asc[i] ? r : -r;
    }
    return 0;
}

void TFIBCustomDataSet::SortMap(const QStringList& fields, const std::vector<bool>& ascending)
{
    std::vector<int> cols;
    std::vector<TField*> sortFields;
    for (const QString& name : fields) {
        TField* f = FindField(name.trimmed());
        if (!f || f->FieldNo() <= 0)
            throw EDatabaseError(QStringLiteral("Can't sort. Invalid parameter: Fields[") + name + QStringLiteral("]"));
        cols.push_back(f->FieldNo() - 1);
        sortFields.push_back(f);
    }
    std::vector<bool> asc(cols.size(), true);
    for (std::size_t i = 0; i < asc.size() && i < ascending.size(); ++i)
        asc[i] = ascending[i];
    while (FetchOne()) {
    }
    EnsureMap();
    std::stable_sort(fCache->Map.begin(), fCache->Map.end(), [&](int a, int b) {
        if (OnCompareFieldValues) {
            for (std::size_t i = 0; i < sortFields.size(); ++i) {
                int r = 0;
                OnCompareFieldValues(sortFields[i], a, b, r);
                if (r != 0)
                    return asc[i] ? r < 0 : r > 0;
            }
            return false;
        }
        return CompareRows(cols, asc, a, b) < 0;
    });
    fSortFields = fields;
    fSortAscending = asc;
}

void TFIBCustomDataSet::DoSort(const QStringList& fields, const std::vector<bool>& ascending)
{
    CheckDatasetOpen(QStringLiteral(" do local sorting "));
    CheckBrowseMode();
    const TBookmark current = IsEmpty() ? TBookmark() : TDataSet::GetBookmark();
    SortMap(fields, ascending);
    if (!current.isEmpty() && BookmarkValid(current)) {
        InternalGotoBookmark(current);
        Resync();
    } else {
        First();
    }
    DataEvent(deDataSetChange);
}

bool TFIBCustomDataSet::Search(const QString& keyFields, const QVariant& keyValues, TLocateOptions options, int from,
                               int step)
{
    CheckBrowseMode();
    const std::vector<TField*> fields = GetFieldList(keyFields);
    QVariantList values = fields.size() == 1 ? QVariantList{keyValues} : keyValues.toList();
    if (values.size() != static_cast<qsizetype>(fields.size()))
        throw EDatabaseError(QStringLiteral("%1: Locate needs one value per key field").arg(Name()));
    const int saved = fCurrent;
    for (int pos = from; pos >= 0; pos += step) {
        if (pos >= VisibleCount() && !FetchOne())
            break;
        if (!SelectActiveRow(pos))
            break;
        bool match = true;
        for (std::size_t i = 0; i < fields.size() && match; ++i) {
            const QVariant& key = values[static_cast<qsizetype>(i)];
            TField* f = fields[i];
            if (key.isNull() || f->IsNull()) {
                match = key.isNull() && f->IsNull();
            } else if (FieldStorage(f->DataType()) == TFieldStorage::Text) {
                QString a = f->AsString().trimmed();
                QString b = key.toString().trimmed();
                const Qt::CaseSensitivity cs = options & loCaseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive;
                match = options & loPartialKey ? a.startsWith(b, cs) : a.compare(b, cs) == 0;
            } else {
                match = f->AsFloat() == key.toDouble();
            }
        }
        if (match) {
            SelectCursorRow();
            const int target = pos;
            if (BeforeScroll)
                BeforeScroll(this);
            fCurrent = target;
            Resync();
            DataEvent(deDataSetChange);
            if (AfterScroll)
                AfterScroll(this);
            return true;
        }
    }
    SelectCursorRow();
    fCurrent = saved;
    return false;
}

bool TFIBCustomDataSet::LocateNext(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    CheckDatasetOpen(QStringLiteral("LocateNext"));
    return Search(keyFields, keyValues, options, RecNo(), 1);
}

bool TFIBCustomDataSet::LocatePrior(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    CheckDatasetOpen(QStringLiteral("LocatePrior"));
    return Search(keyFields, keyValues, options, RecNo() - 2, -1);
}

// ---- transaction end and disconnect ----

void TFIBCustomDataSet::KeepOrClose()
{
    if (!Active())
        return;
    if (((fOptions & poDontCloseAfterEndTransaction) || fCachedUpdates) && !IsDestroying()) {
        // The rows stay readable without the statement.
        FetchAll();
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

// ---------------------------------------------------------------- field classes

TFIBStringField::TFIBStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TStringField(dataSet, name, fieldName)
{
}

void TFIBStringField::SetAsString(const QString& value)
{
    if (value.isEmpty() && EmptyStrToNull) {
        Clear();
        return;
    }
    TStringField::SetAsString(Size() > 0 && value.size() > Size() ? value.left(Size()) : value);
}

TFIBWideStringField::TFIBWideStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TWideStringField(dataSet, name, fieldName)
{
}

void TFIBWideStringField::SetAsString(const QString& value)
{
    if (value.isEmpty() && EmptyStrToNull) {
        Clear();
        return;
    }
    TWideStringField::SetAsString(Size() > 0 && value.size() > Size() ? value.left(Size()) : value);
}

TFIBFloatField::TFIBFloatField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TFloatField(dataSet, name, fieldName)
{
}

namespace {
double RoundTo(double v, int scale)
{
    if (scale >= 0)
        return v;
    const double f = std::pow(10.0, -scale);
    return std::round(v * f) / f;
}
}  // namespace

double TFIBFloatField::AsFloat() const
{
    const double v = TFloatField::AsFloat();
    return RoundByScale ? RoundTo(v, Scale) : v;
}

void TFIBFloatField::SetAsFloat(double value) { TFloatField::SetAsFloat(RoundByScale ? RoundTo(value, Scale) : value); }

TFIBBCDField::TFIBBCDField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBCDField(dataSet, name, fieldName)
{
}
TFIBIntegerField::TFIBIntegerField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TIntegerField(dataSet, name, fieldName)
{
}
TFIBSmallIntField::TFIBSmallIntField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TSmallintField(dataSet, name, fieldName)
{
}
TFIBLargeIntField::TFIBLargeIntField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TLargeintField(dataSet, name, fieldName)
{
}
TFIBBooleanField::TFIBBooleanField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBooleanField(dataSet, name, fieldName)
{
}

void TFIBBooleanField::SetAsString(const QString& value)
{
    const QString v = value.trimmed();
    if (v.isEmpty()) {
        Clear();
        return;
    }
    if (v.compare(StringTrue, Qt::CaseInsensitive) == 0 || v.compare(QLatin1String("T"), Qt::CaseInsensitive) == 0
        || v == QLatin1String("1")) {
        SetAsBoolean(true);
        return;
    }
    if (v.compare(StringFalse, Qt::CaseInsensitive) == 0 || v.compare(QLatin1String("F"), Qt::CaseInsensitive) == 0
        || v == QLatin1String("0")) {
        SetAsBoolean(false);
        return;
    }
    TBooleanField::SetAsString(value);
}

TFIBDateField::TFIBDateField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateField(dataSet, name, fieldName)
{
}
TFIBTimeField::TFIBTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TTimeField(dataSet, name, fieldName)
{
}

QString TFIBTimeField::DefaultText(TDateTime value) const
{
    return ShowMsec ? FormatDateTime(QStringLiteral("hh:nn:ss.zzz"), value) : TTimeField::DefaultText(value);
}

TFIBDateTimeField::TFIBDateTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateTimeField(dataSet, name, fieldName)
{
}

QString TFIBDateTimeField::DefaultText(TDateTime value) const
{
    return ShowMsec ? TDateTimeField::DefaultText(value) + FormatDateTime(QStringLiteral(".zzz"), value)
                    : TDateTimeField::DefaultText(value);
}

TFIBBlobField::TFIBBlobField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBlobField(dataSet, name, fieldName)
{
}
TFIBMemoField::TFIBMemoField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TMemoField(dataSet, name, fieldName)
{
}
TFIBGuidField::TFIBGuidField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TGuidField(dataSet, name, fieldName)
{
}
TFIBArrayField::TFIBArrayField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBytesField(dataSet, name, fieldName)
{
}
