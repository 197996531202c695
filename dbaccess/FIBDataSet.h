#pragma once
// The dataset over a SELECT: rows are fetched from a TFIBQuery only when the
// cursor needs them, copied into fixed-size records of TRecordsCache, and read by
// the field objects straight from those records. A record buffer of the dataset
// holds only a position and a row number while browsing; it gets a private copy
// of the row while it is edited.

#include "dbaccess/DB.h"
#include "dbaccess/FIBQuery.h"

#include <QHash>
#include <QStringList>
#include <QVariant>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

class EMemManagerError : public Exception {
public:
    using Exception::Exception;
};

enum TpFIBDsOption : std::uint32_t {
    poTrimCharFields = 1u << 0,
    poRefreshAfterPost = 1u << 1,
    poRefreshDeletedRecord = 1u << 2,
    poStartTransaction = 1u << 3,
    poAutoFormatFields = 1u << 4,
    poProtectedEdit = 1u << 5,
    poUseSelectForLock = 1u << 6,
    poKeepSorting = 1u << 7,
    poPersistentSorting = 1u << 8,
    poVisibleRecno = 1u << 9,
    poNoForceIsNull = 1u << 10,
    poFetchAll = 1u << 11,
    poFreeHandlesAfterClose = 1u << 12,
    poCacheCalcFields = 1u << 13,
    poRefreshAfterDelete = 1u << 14,
    poDontCloseAfterEndTransaction = 1u << 15
};
using TpFIBDsOptions = std::uint32_t;

enum TpPrepareOption : std::uint32_t {
    pfSetRequiredFields = 1u << 0,
    pfSetReadOnlyFields = 1u << 1,
    pfImportDefaultValues = 1u << 2,
    psUseBooleanField = 1u << 3,
    psUseGuidField = 1u << 4,
    psSQLINT64ToBCD = 1u << 5,
    psApplyRepositary = 1u << 6,
    psGetOrderInfo = 1u << 7,
    psAskRecordCount = 1u << 8,
    psCanEditComputedFields = 1u << 9,
    psSetEmptyStrToNull = 1u << 10,
    psSupportUnicodeBlobs = 1u << 11,
    psUseLargeIntField = 1u << 12
};
using TpPrepareOptions = std::uint32_t;

enum TDetailCondition : std::uint8_t {
    dcForceOpen = 1,
    dcIgnoreMasterClose = 2,
    dcForceMasterRefresh = 4,
    dcWaitEndMasterScroll = 8
};
using TDetailConditions = std::uint8_t;

enum TCachedUpdateStatus : std::uint8_t {
    cusUnmodified,
    cusModified,
    cusInserted,
    cusDeleted,
    cusUninserted,
    cusDeletedApplied
};

// Which cached update statuses navigation shows.
enum TUpdateRecordType : std::uint8_t { rtModified = 1, rtInserted = 2, rtDeleted = 4, rtUnmodified = 8 };
using TUpdateRecordTypes = std::uint8_t;

enum TUpdateKind : std::uint8_t { ukModify = 1, ukInsert = 2, ukDelete = 4 };
using TUpdateKinds = std::uint8_t;

enum TCacheModelKind { cmkStandard, cmkLimitedBufferSize };
struct TCacheModelOptions {
    TCacheModelKind CacheModelKind = cmkStandard;
    int BufferChunks = 32;
};

// The option sets as the program stored them: one boolean per name. The first
// stored name read resets the three sets to their defaults once per object.
constexpr TpFIBDsOptions DefaultDsOptions = poTrimCharFields | poRefreshAfterPost | poStartTransaction | poAutoFormatFields;
constexpr TpPrepareOptions DefaultPrepareOptions =
    pfImportDefaultValues | psUseBooleanField | psGetOrderInfo | psSetEmptyStrToNull;

// Formats given to fields on open while poAutoFormatFields is on.
struct TFormatFields {
    QString DateTimeDisplayFormat = QStringLiteral("dd.mm.yyyy hh:nn");
    QString DisplayFormatDate = QStringLiteral("dd.mm.yyyy");
    QString DisplayFormatTime = QStringLiteral("hh:nn");
    // The scale's zeros follow these.
    QString NumericDisplayFormat = QStringLiteral("#,##0.");
    QString NumericEditFormat = QStringLiteral("0.");
};

enum TWhenGetGenID { wgNever, wgOnNewRecord, wgBeforePost };
enum TReturningField : std::uint8_t { rfAll = 1, rfKeyFields = 2, rfBlobFields = 4 };

// Where the dataset writes to and how a new row gets its key.
class TAutoUpdateOptions {
public:
    QString UpdateTableName() const { return fUpdateTableName; }
    // Names the generator "GEN_" + table + "_ID" when keys are taken from one and
    // no generator is named yet; a quoted table gives a quoted generator name.
    void SetUpdateTableName(const QString& value);
    QString KeyFields;
    bool AutoReWriteSqls = false;
    bool CanChangeSQLs = false;
    QString GeneratorName;
    int GeneratorStep = 1;
    bool UpdateOnlyModifiedFields = false;
    TWhenGetGenID WhenGetGenID = wgNever;
    QStringList ParamsToFieldsLinks;
    bool AutoParamsToFields = false;
    bool SeparateBlobUpdate = false;
    bool UseExecuteBlock = false;
    std::uint8_t UseReturningFields = 0;
    bool UseRowsClause = false;
    // The two booleans older stored data used for WhenGetGenID.
    void ReadStoredBoolean(const QString& name, bool value);

private:
    QString fUpdateTableName;
    bool fStoredSelectGenID = false;
    bool fStoredGenBeforePost = false;
};

// How a write of a row ends when a handler or the server has a say.
enum TFIBUpdateAction { uaFail, uaAbort, uaSkip, uaRetry, uaApply, uaApplied };
enum TLockStatus { lsSuccess, lsDeadLock, lsNotExist, lsMultiply, lsUnknownError };
enum TFIBOrderExecUO { oeBeforeDefault, oeAfterDefault };
enum TRefreshTransactionKind { tkReadTransaction, tkUpdateTransaction };
// The four statements a dataset writes and reads a row with.
enum TpSQLKind { sqlkModify, sqlkInsert, sqlkDelete, sqlkRefresh };

class TpFIBUpdateObject;

// One output column as the cache stores it.
struct TFIBFieldDescr {
    short SqlType = 0;      // nullable bit cleared
    short Scale = 0;
    int Size = 0;           // bytes in the record (0 for a long string)
    int Offset = 0;         // in the record
    bool Nullable = false;
    bool IsDBKey = false;
    bool IsLongString = false;
    int LongStringIndex = -1;
    int CharsetId = 0;
    int ServerLength = 0;   // sqllen of the column
    bool Int64AsDouble = false;  // an INT64 of scale below -4 kept as a float
    bool IsMemo = false;    // a text blob
    bool IsBlob = false;    // a binary blob
    int BlobIndex = -1;     // of a text or binary blob: its slot among the record's blob slots
    double Divisor = 1;     // 10^-scale for scaled integers
    TTextCoding Coding = TTextCoding::Win1252;
    QString RelationName;
    QString FieldName;
    QString TableAlias;
};
using TFIBFieldDescrList = std::vector<TFIBFieldDescr>;

// Texts of one column, one slot per row; bytes live in one arena so that a row
// costs eight bytes plus the text it really has.
class TStringCollection {
public:
    // Trailing blanks go unless trim is false (binary content keeps every byte).
    void Set(int row, const char* data, int length, bool trim = true);
    QByteArray Get(int row) const;
    const char* Data(int row, int& length) const;
    void Clear();
    // The room the texts and their row index take.
    std::size_t Bytes() const
    {
        return fData.size() + fAt.size() * sizeof(std::uint32_t) + fRuns.size() * sizeof(TRun);
    }

private:
    // Where a text lies in fData is one past its length word; 0 stands for none.
    // A row that repeats the text stored last shares it, and rows in a row that share
    // one are kept as a run: long runs write the same event text, or none, on most
    // rows. A column whose texts change too often for runs is indexed row by row.
    struct TRun {
        std::uint32_t First;   // the run's first row; it lasts until the next run's
        std::uint32_t At;
    };
    std::uint32_t AtOf(std::uint32_t row) const;
    void SetAt(std::uint32_t row, std::uint32_t at);
    std::vector<TRun> fRuns;
    std::vector<std::uint32_t> fAt;   // row by row, once runs no longer pay
    std::uint32_t fRows = 0;          // rows with a place in the index
    std::vector<char> fData;
    std::uint32_t fLast = 0;
};

// The content of one blob column as a record buffer holds it: read from the server
// the first time the field is read on that row, or set by an edit.
struct TFIBBlobStream {
    int Row = -1;           // the cache row it was read for
    ISC_QUAD BlobID{};      // the server's id it was read from
    bool Loaded = false;
    bool Modified = false;  // set by an edit; goes to the cache at the post
    QByteArray Data;
};

class TRecordsCache {
public:
    TRecordsCache(int storedRecordSize, int bufferChunks, int longStringCount, int blobCount = 0);
    TRecordsCache(const TRecordsCache&) = delete;
    TRecordsCache& operator=(const TRecordsCache&) = delete;

    int Count() const { return fCount; }
    int StoredRecordSize() const { return fRecordSize; }
    int RecordsPerBlock() const { return fRecordsPerBlock; }
    // A new zeroed slot at the end; its number.
    int AddRecord();
    std::byte* Record(int row);
    const std::byte* Record(int row) const;
    // Checked forms with the cache's messages.
    std::byte* WriteRecord(int row);
    const std::byte* ReadRecord(int row) const;
    TStringCollection& Strings(int index) { return fStrings[static_cast<std::size_t>(index)]; }
    const TStringCollection& Strings(int index) const { return fStrings[static_cast<std::size_t>(index)]; }

    // Blob contents the client holds for a row (an edit that was posted): they
    // stand for the server's blob that the record's id names. Null when none.
    const QByteArray* ClientBlob(int row, int index) const;
    void SetClientBlob(int row, int index, const QByteArray& data);
    void ClearClientBlob(int row, int index);

    // Old values of edited rows.
    void SaveOld(int row);
    // Forgets the old copy (the row is what the server holds now), or puts it back.
    void DropOld(int row);
    bool RestoreOld(int row);
    bool HasOld() const { return !fOld.empty(); }
    const std::vector<std::byte>* OldRecord(int row) const;
    const std::vector<QByteArray>* OldStrings(int row) const;
    // The client's blob of the row before its first edit; also null when the row has
    // no old copy.
    const QByteArray* OldClientBlob(int row, int index) const;

    // Visible order; empty while it is the slot order.
    std::vector<int> Map;
    bool HasMap = false;
    std::size_t MemoryUsed() const;

private:
    int fRecordSize;
    int fBlockSize;
    int fRecordsPerBlock;
    int fCount = 0;
    std::vector<std::unique_ptr<std::byte[]>> fBlocks;
    std::vector<TStringCollection> fStrings;
    int fBlobCount;
    std::unordered_map<std::int64_t, QByteArray> fClientBlobs;  // by row * blob count + index
    struct TOld {
        std::vector<std::byte> Data;
        std::vector<QByteArray> Strings;
        std::unordered_map<int, QByteArray> Blobs;
    };
    std::unordered_map<int, TOld> fOld;
};

class TFIBCustomDataSet;

// The display texts of a dataset's cached rows, read without its cursor; made by
// TFIBCustomDataSet::RowTexts.
class TFIBRowTexts {
public:
    int RowCount() const { return fRows; }
    int ColumnCount() const { return static_cast<int>(fColumns.size()); }
    // DisplayText of field k on the 0-based visible row pos, as the cursor standing there
    // gives it. Any thread may ask, as long as the dataset and its fields stay unchanged.
    QString Text(int pos, int k) const;
    // The value field k's GetData reads there.
    TFieldValue Value(int pos, int k) const;

private:
    friend class TFIBCustomDataSet;
    struct TColumn {
        const TField* Field = nullptr;
        int Col = 0;
        TFieldStorage Storage = TFieldStorage::None;
    };
    const TFIBCustomDataSet* fDataSet = nullptr;
    std::vector<TColumn> fColumns;
    int fRows = 0;
};

// The link from a master's data source to a detail dataset: the detail follows
// the master's row.
class TFIBDataLink : public TDetailDataLink {
public:
    explicit TFIBDataLink(TFIBCustomDataSet* detail);
    ~TFIBDataLink() override;
    TDataSet* DetailDataSet() const override;

protected:
    void ActiveChanged() override;
    void DataSetChanged() override;
    void DataSetScrolled(int distance) override;
    void RecordChanged(TField* field) override;

private:
    void MasterRowChanged();
    void Reopen();
    TFIBCustomDataSet* fDetail;
    // Coalesces the reopens of fast master scrolling (dcWaitEndMasterScroll).
    std::unique_ptr<QTimer> fScrollTimer;
};

class TFIBCustomDataSet : public TDataSet {
public:
    explicit TFIBCustomDataSet(TComponent* owner = nullptr);
    ~TFIBCustomDataSet() override;

    TFIBDatabase* Database() const { return fQSelect->Database(); }
    void SetDatabase(TFIBDatabase* value);
    TFIBTransaction* Transaction() const { return fQSelect->Transaction(); }
    void SetTransaction(TFIBTransaction* value);
    TFIBStringList& SelectSQL() { return fQSelect->SQL(); }
    void SetSelectSQL(const QString& text);
    TFIBQuery* QSelect() const { return fQSelect.get(); }
    TFIBXSQLDA& Params() { return fQSelect->Params(); }
    // Statements that write rows back; the dataset edits its cache only where
    // the matching one exists.
    TFIBStringList& UpdateSQL() { return fQUpdate->SQL(); }
    TFIBStringList& InsertSQL() { return fQInsert->SQL(); }
    TFIBStringList& DeleteSQL() { return fQDelete->SQL(); }
    TFIBStringList& RefreshSQL() { return fQRefresh->SQL(); }
    TUpdateKinds AllowedUpdateKinds() const { return fAllowedUpdateKinds; }
    void SetAllowedUpdateKinds(TUpdateKinds value) { fAllowedUpdateKinds = value; }
    bool CanEdit() const { return CanUpdate(ukModify, *fQUpdate); }
    bool CanInsert() const { return CanUpdate(ukInsert, *fQInsert); }
    bool CanDelete() const { return CanUpdate(ukDelete, *fQDelete); }
    TFIBXSQLVAR* ParamByName(const QString& name) { return fQSelect->Params().ByName(name); }
    TFIBQuery* QUpdate() const { return fQUpdate.get(); }
    TFIBQuery* QInsert() const { return fQInsert.get(); }
    TFIBQuery* QDelete() const { return fQDelete.get(); }
    TFIBQuery* QRefresh() const { return fQRefresh.get(); }

    // ---- writing rows back ----
    // The transaction the four write statements run on: the one set here, else the
    // database's default update transaction, else the read transaction.
    TFIBTransaction* UpdateTransaction() const;
    void SetUpdateTransaction(TFIBTransaction* value) { fUpdateTransaction = value; }
    TRefreshTransactionKind RefreshTransactionKind = tkReadTransaction;
    // Commits the update transaction after each write of a row.
    bool AutoCommit = false;
    TAutoUpdateOptions& AutoUpdateOptions() { return fAutoUpdateOptions; }
    const TAutoUpdateOptions& AutoUpdateOptions() const { return fAutoUpdateOptions; }
    // The text of one kind of statement for the table (or "alias table") and the
    // ";"-separated key fields.
    QString GenerateSQLText(const QString& tableName, const QString& keyFields, TpSQLKind kind);
    // Writes the statements from AutoUpdateOptions: only empty ones unless CanChangeSQLs.
    void GenerateSQLs();
    // Locks the current row on the server in the update transaction.
    TLockStatus LockRecord(bool raiseErr = true);
    // The status as shown: a delete that reached the server shows as cusDeleted.
    TCachedUpdateStatus UpdateStatus() const;
    // Cached updates: writes every pending row, forgets them, or undoes them.
    void ApplyUpdates();
    void CommitUpdates();
    void CancelUpdates();
    void RevertRecord();
    bool CachedUpdatesPending() const { return fUpdatesPending > 0; }
    int UpdatesPending() const { return fUpdatesPending; }
    // Update objects of one kind in their order.
    const std::vector<TpFIBUpdateObject*>& UpdateObjects(TUpdateKind kind) const;
    void AddUpdateObject(TpFIBUpdateObject* object);
    void RemoveUpdateObject(TpFIBUpdateObject* object);
    // Writes the parameters of a statement from the row being written (the edit
    // copy, or the current row): OLD_ from the row before the edit, NEW_ and no
    // prefix from the new one, MAS_ from the master.
    void BindUpdateParams(TFIBQuery& query);

    std::function<void(TDataSet*, TUpdateKind, TFIBUpdateAction&)> OnUpdateRecord;
    std::function<void(TDataSet*, TUpdateKind)> AfterUpdateRecord;
    std::function<void(TDataSet*, Exception&, TUpdateKind, TFIBUpdateAction&)> OnUpdateError;
    std::function<void(TDataSet*, Exception*, TLockStatus, TFIBUpdateAction&)> OnLockError;
    std::function<void(TDataSet*, QString&)> OnLockSQLText;
    // Claims a server default of a new row by setting applied.
    std::function<void(TDataSet*, TField*, const QString&, bool& applied)> OnApplyDefaultValue;

    // The master of a detail dataset.
    TDataSource* DataSource() const override { return fDataLink->DataSource(); }
    void SetDataSource(TDataSource* value);
    // Closes and opens again with the master's current values in the parameters.
    void ReopenDetail();

    TpFIBDsOptions Options() const { return fOptions; }
    void SetOptions(TpFIBDsOptions value) { fOptions = value; }
    TpPrepareOptions PrepareOptions() const { return fPrepareOptions; }
    void SetPrepareOptions(TpPrepareOptions value);
    TDetailConditions DetailConditions() const { return fDetailConditions; }
    void SetDetailConditions(TDetailConditions value) { fDetailConditions = value; }
    // Reads one option as stored by name (see the mapping of stored names).
    void ReadStoredOption(const QString& storedName, bool value);
    TCacheModelOptions& CacheModelOptions() { return fCacheModelOptions; }
    bool CachedUpdates() const { return fCachedUpdates; }
    void SetCachedUpdates(bool value);
    bool UniDirectional() const { return fUniDirectional; }
    void SetUniDirectional(bool value);
    // Rows of other statuses stay in the cache but navigation passes them by.
    TUpdateRecordTypes UpdateRecordTypes() const { return fUpdateRecordTypes; }
    void SetUpdateRecordTypes(TUpdateRecordTypes value);

    // The screen cursor held while the dataset opens, fetches or navigates.
    TCursor SQLScreenCursor() const { return fSQLScreenCursor; }
    void SetSQLScreenCursor(TCursor value) { fSQLScreenCursor = value; }
    // Fires once the event loop runs after the last of a burst of scrolls.
    TDataSetNotifyEvent OnEndScroll;
    int EndScrollDelay() const { return fEndScrollDelay; }
    void SetEndScrollDelay(int milliseconds) { fEndScrollDelay = milliseconds; }

    void Prepare();
    bool Prepared() const { return fPrepared; }
    void FetchAll();
    // Fetches up to count rows; answers how many came.
    int FetchNext(int count);
    bool AllFetched() const { return fAllFetched; }
    // Rows of the select as the server counts them now, in the dataset's transaction
    // and with its parameters; fetched, inserted and deleted rows play no part.
    int ServerRecordCount() const;
    // The statement of that count, prepared and with the dataset's parameters set.
    std::unique_ptr<TFIBQuery> PrepareServerRecordCount() const;
    void CloseOpen(bool fetchAll);
    // Reopens and stands on the same row again (by row number when it still exists).
    void FullRefresh();
    // Reopens and goes to the row with the same values of the ";"-separated fields.
    void ReopenLocate(const QString& fields);

    bool LocateNext(const QString& keyFields, const QVariant& keyValues, TLocateOptions options);
    bool LocatePrior(const QString& keyFields, const QVariant& keyValues, TLocateOptions options);

    // Sorts the rows in the client; fields and directions pair up.
    void DoSort(const QStringList& fields, const std::vector<bool>& ascending);
    // The same with an order list as text: "NAME DESC, ID" (items by "," or ";").
    void DoSortEx(const QString& orderList);
    // The order the server delivers the rows in, read from the ORDER BY of the
    // select at open while psGetOrderInfo is on; it ends at the first item that is
    // no plain column.
    struct TOrderItem {
        QString FieldName;
        bool Ascending = true;
    };
    const std::vector<TOrderItem>& OrderInfo() const { return fOrderInfo; }

    // Searches the cached rows from the current one on (then those before it),
    // then fetches on.
    bool Locate(const QString& keyFields, const QVariant& keyValues, TLocateOptions options) override;
    void SetFilter(const QString& value) override;
    void SetFiltered(bool value) override;
    std::function<void(TField* field, int rowA, int rowB, int& result)> OnCompareFieldValues;

    TBookmark GetBookmark() const override;
    void GotoBookmark(const TBookmark& bookmark) override;
    bool BookmarkValid(const TBookmark& bookmark) const override;
    int CompareBookmarks(const TBookmark& a, const TBookmark& b) const override;

    const TFIBFieldDescrList& FieldDescriptors() const { return fDescr; }
    const TRecordsCache* RecordsCache() const { return fCache.get(); }
    // Rows copied from the server so far.
    int RecordsFetched() const { return fCache ? fCache->Count() - fInserted : 0; }

    // Whole columns at once, for a caller that takes every row into arrays: whether
    // the fields' AsFloat is their stored number (float and date-time fields of this
    // dataset, not rounded) and the rows are all fetched, unfiltered and unedited.
    // Otherwise the rows must be walked with the cursor.
    bool CanReadFloats(const std::vector<TField*>& fields) const;
    // What AsFloat of fields[k] answers on each of the rows the cursor would visit
    // from the first on, into out[k][0 .. rows), at most maxRows rows; the number
    // read is returned and the cursor does not move. Only after CanReadFloats said
    // yes for these fields.
    int ReadFloats(const std::vector<TField*>& fields, const std::vector<double*>& out, int maxRows) const;
    // The display texts of the rows the cursor would visit from the first on, for a
    // reader that takes them without moving it (and on other threads). Null unless, as
    // for ReadFloats, the rows are all fetched, unfiltered and unedited, the dataset has
    // no calculated or lookup fields, and each field is a data field of this dataset of
    // a number, date, time or text class whose DisplayText is its value's text
    // (HasValueDisplayText) on a column read straight from the record (no blob).
    std::unique_ptr<TFIBRowTexts> RowTexts(const std::vector<const TField*>& fields) const;
    TCachedUpdateStatus CachedUpdateStatus() const;

    TNotifyEvent TransactionEnding;
    TNotifyEvent TransactionEnded;
    TNotifyEvent DatabaseDisconnecting;
    TNotifyEvent DatabaseDisconnected;

    bool GetFieldData(TField* field, double* value) override;
    bool GetFieldData(TField* field, qint64* value) override;
    bool GetFieldData(TField* field, QString* value) override;
    bool GetFieldData(TField* field, QByteArray* value) override;
    void SetFieldData(TField* field, const double* value) override;
    void SetFieldData(TField* field, const qint64* value) override;
    void SetFieldData(TField* field, const QString* value) override;
    void SetFieldData(TField* field, const QByteArray* value) override;

protected:
    struct TBuf {
        int Pos = -1;  // visible position
        int Row = -1;  // slot in the cache
        bool HasCopy = false;
        std::vector<std::byte> Data;
        std::vector<QByteArray> Long;
        // One stream slot per blob column, filled when the field is read; released
        // when the buffer moves to another row.
        std::vector<std::unique_ptr<TFIBBlobStream>> Blobs;
    };
    static TBuf* Buf(TRecordBuffer b) { return reinterpret_cast<TBuf*>(b); }

    TRecordBuffer AllocRecordBuffer() override;
    void FreeRecordBuffer(TRecordBuffer& buffer) override;
    TGetResult GetRecord(TRecordBuffer buffer, TGetMode mode, bool doCheck) override;
    bool GetRecordAt(TRecordBuffer buffer, int row) override;
    void InternalInitRecord(TRecordBuffer buffer) override;
    void InternalSetToRecord(TRecordBuffer buffer) override;
    void InternalOpen() override;
    void InternalClose() override;
    bool IsCursorOpen() const override { return fCursorOpen; }
    void InternalFirst() override { fCurrent = -1; }
    void InternalLast() override;
    void InternalSetRecNo(int value) override;
    int GetRecNo() const override;
    int GetRecordCount() const override;
    void InternalEdit() override;
    void InternalInsert() override;
    void InternalPost() override;
    void InternalCancel() override;
    void InternalDelete() override;
    void InternalRefresh() override;
    void DoBeforePost() override;
    void DoOnNewRecord() override;
    void CheckContinue(const QString& eventName) override
    {
        CheckDatasetOpen(QStringLiteral("continue after ") + eventName);
    }
    void GetBookmarkData(TRecordBuffer buffer, TBookmark& bookmark) const override;
    void InternalGotoBookmark(const TBookmark& bookmark) override;
    std::unique_ptr<TField> CreateFieldOfType(TFieldType type) override;
    TCursor NavigationCursor() const override { return fSQLScreenCursor; }
    void DoAfterScroll() override;
    bool ReadCachedCalcFields(TRecordBuffer buffer, std::vector<QVariant>& values) override;
    void WriteCachedCalcFields(TRecordBuffer buffer, const std::vector<QVariant>& values) override;

    TFormatFields fDefaultFormats;
    void CheckDatasetClosed(const QString& verb) const;
    void CheckDatasetOpen(const QString& verb) const;

private:
    friend class TFIBDataLink;
    friend class TpFIBUpdateObject;
    // ---- the update cycle ----
    // A row to write: its cache slot and the edit copy holding its new values
    // (null when the cache row itself holds them).
    struct TWriteRow {
        int Row = -1;
        const TBuf* Copy = nullptr;
    };
    void BindParams(TFIBQuery& query, const TWriteRow& w);
    void WriteParam(TFIBXSQLVAR& p, int col, const TWriteRow& w, bool old);
    void PrepareUpdateQuery(TFIBQuery& query, TFIBTransaction* tr);
    // Update objects of the kind and order, then the statement of the kind.
    void ExecRowStatements(TUpdateKind kind, const TWriteRow& w);
    void RunUpdateObjects(TUpdateKind kind, TFIBOrderExecUO order, const TWriteRow& w);
    TFIBQuery& QueryOfKind(TUpdateKind kind) const;
    // The statement's first row read back into the cache row.
    void CopyOutputRow(TFIBXSQLDA& cols, int row);
    void CopyColumn(int col, const XSQLVAR& v, int row, std::byte* rec, std::vector<QByteArray>* longs = nullptr);
    bool ColumnChanged(const TBuf* b, int col) const;
    // Reads the row again with the refresh statement; false when the server has none.
    bool RefreshRow(int row, bool keepOld);
    void DoAutoCommit();
    void RollbackAfterFailedWrite();
    void WriteCopyToCache(TBuf* b, int row, std::uint8_t status);
    bool ApplyRow(int row);
    void RefreshMasterAfterPost();
    void ReadGeneratorValue();
    TField* GeneratorKeyField() const;
    void ApplyDefaultValues();
    // Default expressions and computed columns of the tables behind the columns.
    void LoadServerInfo();
    void SetMasterParams();
    bool CanUpdate(TUpdateKind kind, const TFIBQuery& query) const;
    void InitFieldDefs();
    void BuildDescriptors();
    void ApplyAutoFormats();
    bool FetchOne();
    void CopyRow(int row);
    int VisibleCount() const;
    int RowAt(int pos) const;
    void EnsureMap();
    void FillBuf(TBuf* b, int pos) const;
    int PositionOfRow(int row) const;
    bool RowVisible(int row) const;
    // The record bytes and long strings a field reads now.
    const std::byte* ReadSource(TField* field, int& row, const std::vector<QByteArray>*& longs) const;
    // The same with the column's layout for a value that is there; Rec is null for
    // a null value or no record.
    struct TFieldSource {
        const std::byte* Rec = nullptr;
        int Row = -1;
        const std::vector<QByteArray>* Longs = nullptr;
        const TFIBFieldDescr* Descr = nullptr;
    };
    TFieldSource FieldSource(TField* field) const;
    TBuf* WriteTarget(TField* field) const;
    QString TextOf(const TFIBFieldDescr& d, const std::byte* rec, int row, const std::vector<QByteArray>* longs) const;
    // The bytes of a blob column for what the field reads now; false for null.
    bool BlobFieldData(TField* field, QByteArray& bytes);
    // The bytes of a blob column of a cached row, without a buffer's slot.
    QByteArray RowBlob(const TFIBFieldDescr& d, const std::byte* rec, int row) const;
    QByteArray ServerBlob(const ISC_QUAD& id) const;
    TFIBBlobStream& BlobSlot(TBuf* b, int index) const;
    void SetBlobData(TBuf* b, const TFIBFieldDescr& d, int col, const QByteArray& bytes);
    static void ReleaseBlobSlots(TBuf* b);
    // Reads every blob of the fetched rows into the cache, for rows that stay after
    // the transaction whose blob ids they hold.
    void KeepBlobsInCache();
    static double FloatOf(const TFIBFieldDescr& d, const std::byte* rec);
    static qint64 IntegerOf(const TFIBFieldDescr& d, const std::byte* p);
    friend class TFIBRowTexts;
    // A cached row's value of a column as GetFieldData gives it for the storage.
    TFieldValue CachedValue(int pos, int col, TFieldStorage storage) const;
    // The cache holds exactly the result's rows: all fetched, none filtered, inserted,
    // deleted or edited, the dataset browsing.
    bool CacheIsTheRows() const;
    // A data field of this dataset with a column of the result.
    bool OwnDataColumn(const TField* f) const;
    void OnSelectTransactionEnding();
    void OnSelectDisconnecting();
    void KeepOrClose();
    void SortMap(const QStringList& fields, const std::vector<bool>& ascending);
    int CompareRows(const std::vector<int>& cols, const std::vector<bool>& asc, int a, int b) const;
    bool Search(const QString& keyFields, const QVariant& keyValues, TLocateOptions options, int from, int step);
    // The key fields and one value for each; raises when the counts differ.
    std::pair<std::vector<TField*>, QVariantList> LocateKeys(const QString& keyFields, const QVariant& keyValues);
    bool MatchAt(int pos, const std::vector<TField*>& fields, const QVariantList& values, TLocateOptions options);
    void MoveToFound(int pos);
    bool StatusVisible(int row) const;
    void RebuildMap();
    void ReadOrderInfo();
    // Positions (in the map's order) of the rows the filter accepts, found so far.
    bool ScanFilter(std::size_t count, bool fetch) const;
    int FilteredIndexOf(int pos) const;
    void ResetFilterIndex() const
    {
        fFilterPos.clear();
        fFilterScanned = 0;
    }

    std::unique_ptr<TFIBQuery> fQSelect;
    std::unique_ptr<TFIBQuery> fQUpdate;
    std::unique_ptr<TFIBQuery> fQInsert;
    std::unique_ptr<TFIBQuery> fQDelete;
    std::unique_ptr<TFIBQuery> fQRefresh;
    std::unique_ptr<TFIBDataLink> fDataLink;
    TFIBTransaction* fUpdateTransaction = nullptr;
    TAutoUpdateOptions fAutoUpdateOptions;
    std::vector<TpFIBUpdateObject*> fUpdateObjects[3];
    int fUpdatesPending = 0;
    bool fGeneratorUsed = false;
    bool fKeyRequiredCleared = false;
    bool fServerInfoLoaded = false;
    QHash<QString, QString> fServerDefaults;  // "TABLE.COLUMN" -> default expression
    QHash<QString, bool> fComputed;           // "TABLE.COLUMN" of computed columns
    // The update text built before each post from the changed fields.
    bool fModifiedOnlyText = false;
    TUpdateKinds fAllowedUpdateKinds = ukModify | ukInsert | ukDelete;
    bool fRefreshingMaster = false;
    std::unique_ptr<TRecordsCache> fCache;
    TFIBFieldDescrList fDescr;
    TpFIBDsOptions fOptions = DefaultDsOptions;
    TpPrepareOptions fPrepareOptions = DefaultPrepareOptions;
    TDetailConditions fDetailConditions = 0;
    TCacheModelOptions fCacheModelOptions;
    bool fOptionsReset = false;
    bool fCachedUpdates = false;
    bool fUniDirectional = false;
    bool fPrepared = false;
    bool fCursorOpen = false;
    bool fQueryOpen = false;
    bool fPending = false;
    bool fAllFetched = false;
    int fCurrent = -1;
    int fInserted = 0;
    int fDeleted = 0;
    int fInsertPos = 0;
    int fStoredSize = 0;
    int fNullOffset = 0;
    int fLongCount = 0;
    int fBlobCount = 0;
    TUpdateRecordTypes fUpdateRecordTypes = rtModified | rtInserted | rtUnmodified;
    TCursor fSQLScreenCursor = crDefault;
    int fEndScrollDelay = 0;
    std::unique_ptr<QTimer> fEndScrollTimer;
    std::unordered_map<int, std::vector<QVariant>> fCalcCache;
    std::vector<TOrderItem> fOrderInfo;
    mutable std::vector<int> fFilterPos;
    mutable int fFilterScanned = 0;
    mutable TBuf fFilterBuf;
    QStringList fSortFields;
    std::vector<bool> fSortAscending;
};

class TFIBDataSet : public TFIBCustomDataSet {
public:
    using TFIBCustomDataSet::TFIBCustomDataSet;
};

// ---- Field classes ----
class TFIBStringField : public TStringField {
public:
    explicit TFIBStringField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool EmptyStrToNull = true;
    void SetAsString(const QString& value) override;
};

class TFIBWideStringField : public TWideStringField {
public:
    explicit TFIBWideStringField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool EmptyStrToNull = true;
    void SetAsString(const QString& value) override;
};

class TFIBFloatField : public TFloatField {
public:
    explicit TFIBFloatField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool RoundByScale = false;
    int Scale = 0;  // of the column, taken at open
    double AsFloat() const override;
    void SetAsFloat(double value) override;
};

class TFIBBCDField : public TBCDField {
public:
    explicit TFIBBCDField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBIntegerField : public TIntegerField {
public:
    explicit TFIBIntegerField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBSmallIntField : public TSmallintField {
public:
    explicit TFIBSmallIntField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBLargeIntField : public TLargeintField {
public:
    explicit TFIBLargeIntField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBBooleanField : public TBooleanField {
public:
    explicit TFIBBooleanField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    QString StringFalse = QStringLiteral("False");
    QString StringTrue = QStringLiteral("True");
    void SetAsString(const QString& value) override;

protected:
    QString TrueText() const override { return StringTrue; }
    QString FalseText() const override { return StringFalse; }
};

class TFIBDateField : public TDateField {
public:
    explicit TFIBDateField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBTimeField : public TTimeField {
public:
    explicit TFIBTimeField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool ShowMsec = false;

protected:
    QString DefaultText(TDateTime value) const override;
};

class TFIBDateTimeField : public TDateTimeField {
public:
    explicit TFIBDateTimeField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool ShowMsec = false;

protected:
    QString DefaultText(TDateTime value) const override;
};

class TFIBBlobField : public TBlobField {
public:
    explicit TFIBBlobField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    bool IsClientField = false;
};

class TFIBMemoField : public TMemoField {
public:
    explicit TFIBMemoField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBGuidField : public TGuidField {
public:
    explicit TFIBGuidField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFIBArrayField : public TBytesField {
public:
    explicit TFIBArrayField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};
