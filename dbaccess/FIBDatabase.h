#pragma once
// One attachment to a database (TFIBDatabase), one transaction over one or more
// attachments (TFIBTransaction), and the link (TFIBBase) through which statement
// objects hear about connects, disconnects, starts and ends.

#include "dbaccess/GeneratorsCache.h"
#include "dbaccess/FIBComponent.h"
#include "dbaccess/IB_Intf.h"
#include "dbaccess/fib.h"

#include <QByteArray>
#include <QVariant>
#include <memory>
#include <vector>

class TFIBDatabase;
class TFIBTransaction;

enum TTransactionAction { TARollback, TARollbackRetaining, TACommit, TACommitRetaining };
enum TTransactionState : std::uint8_t {
    tsClosed,
    tsActive,
    tsDoRollback,
    tsDoRollbackRetaining,
    tsDoCommit,
    tsDoCommitRetaining
};
enum TFIBUseRepository : std::uint8_t { urFieldsInfo = 1, urDataSetInfo = 2, urErrorMessagesInfo = 4 };
enum TDesignDBOption : std::uint8_t { ddoIsDefaultDatabase = 1, ddoStoreConnected = 2, ddoNotSavePassword = 4 };
enum TActionOnIdle { aiCloseConnect, aiKeepLiveConnect };

using TCallBackList = TEventList<TFIBTransaction*, TTransactionAction, bool>;
using TEndTrEvent = std::function<void(TFIBTransaction*, TTransactionAction, bool force)>;
using TOnIdleConnect = std::function<void(TFIBDatabase* sender, std::int64_t idleTicks, TActionOnIdle& action)>;

// ---------------------------------------------------------------- TFIBBase

// Link between a statement-level object and its database and transaction.
class TFIBBase {
public:
    explicit TFIBBase(TComponent* owner);
    ~TFIBBase();
    TFIBBase(const TFIBBase&) = delete;
    TFIBBase& operator=(const TFIBBase&) = delete;

    TComponent* Owner() const { return fOwner; }
    TFIBDatabase* Database() const { return fDatabase; }
    void SetDatabase(TFIBDatabase* database);
    int DatabaseSlot() const { return fDatabaseSlot; }
    TFIBTransaction* Transaction() const { return fTransaction; }
    void SetTransaction(TFIBTransaction* transaction);
    int TransactionSlot() const { return fTransactionSlot; }

    std::function<void()> OnDatabaseConnecting;
    std::function<void()> OnDatabaseConnected;
    std::function<void()> OnDatabaseDisconnecting;
    std::function<void()> OnDatabaseDisconnected;
    std::function<void()> OnDatabaseFree;
    std::function<void()> OnTransactionEnding;
    std::function<void()> OnTransactionEnded;
    std::function<void()> OnTransactionStarting;
    std::function<void()> OnTransactionStarted;
    std::function<void()> OnTransactionFree;

private:
    friend class TFIBDatabase;
    friend class TFIBTransaction;
    static void Fire(const std::function<void()>& handler)
    {
        if (handler)
            handler();
    }

    TComponent* fOwner;
    TFIBDatabase* fDatabase = nullptr;
    int fDatabaseSlot = -1;
    TFIBTransaction* fTransaction = nullptr;
    int fTransactionSlot = -1;
};

// ---------------------------------------------------------------- parameters

// Connection parameters as "name=value" lines; remembers its database.
class TDBParams : public TFIBStringList {
public:
    explicit TDBParams(TFIBDatabase* owner) : fOwner(owner) {}
    TFIBDatabase* Owner() const { return fOwner; }
    // The lines as stored with the database: without the password line when the
    // database's options say so.
    QStringList StoredLines() const;

private:
    TFIBDatabase* fOwner;
};

// Typed view on four of the DBParams lines.
class TConnectParams {
public:
    explicit TConnectParams(TFIBDatabase* owner) : fOwner(owner) {}
    QString UserName() const { return Param(QStringLiteral("user_name")); }
    void SetUserName(const QString& v) { SetParam(QStringLiteral("user_name"), v); }
    QString RoleName() const { return Param(QStringLiteral("sql_role_name")); }
    void SetRoleName(const QString& v) { SetParam(QStringLiteral("sql_role_name"), v); }
    QString Password() const { return Param(QStringLiteral("password")); }
    void SetPassword(const QString& v) { SetParam(QStringLiteral("password"), v); }
    QString CharSet() const { return Param(QStringLiteral("lc_ctype")); }
    void SetCharSet(const QString& v) { SetParam(QStringLiteral("lc_ctype"), v.toUpper()); }
    bool IsFirebird = true;
    // Line of DBParams that holds the parameter, by its short or its "isc_dpb_"
    // name in any case; -1 when none does.
    int IndexOf(const QString& shortName) const;

private:
    QString Param(const QString& shortName) const;
    void SetParam(const QString& shortName, const QString& value);
    TFIBDatabase* fOwner;
};

// Builds a database parameter buffer from text lines. Lines are trimmed in place.
// Raises row 8/9 for names it cannot take and EConvertError for bad numbers.
QByteArray BuildDPB(TFIBStringList& lines, bool isFirebird);
// Builds a transaction parameter buffer; lock_timeout carries its value only for
// servers of 2.1 or later. Empty lines give an empty buffer.
QByteArray BuildTPB(TFIBStringList& lines, bool server21OrLater);
// The shutdown flag byte of a "shutdown=" value.
int ShutdownFlags(const QString& value);
// Major, minor, release, build from a server version text ("LI-V3.0.11.33637 ...").
void ParseServerVersion(const QString& text, int& major, int& minor, int& release, int& build);

// Login routine of the program: gets the database name and the three texts, may
// change them, answers false when the user cancelled. Unset means no dialog.
using TFIBLoginDialogProc =
    std::function<bool(const QString& dbName, QString& userName, QString& password, QString& roleName)>;
extern TFIBLoginDialogProc FIBLoginDialogProc;

// ---------------------------------------------------------------- TFIBDatabase

// Number of database objects alive in the process.
int DatabaseCount();

class TFIBDatabase : public TComponent {
public:
    explicit TFIBDatabase(TComponent* owner = nullptr);
    ~TFIBDatabase() override;
    // The internal transaction follows the name: database name + "_InternalTransaction".
    void SetName(const QString& name) override;

    ISQLLogger* SQLLogger = nullptr;
    std::uint8_t UseRepositories = urFieldsInfo | urDataSetInfo | urErrorMessagesInfo;
    QString LibraryName() const { return fLibraryName; }
    void SetLibraryName(const QString& name);
    bool UseBlrToTextFilter = false;
    TOnIdleConnect OnIdleConnect;
    bool AutoReconnect = false;
    QString MemoSubtypes;
    // The client library, loaded on first need; raises the loader's text.
    IIBClientLibrary* ClientLibrary();
    IIBClientLibraryRef ClientLibraryRef();

    QString DBName() const { return fDBName; }
    void SetDBName(const QString& name);
    TDBParams& DBParams() { return fDBParams; }
    const TDBParams& DBParams() const { return fDBParams; }
    isc_db_handle Handle() const { return fHandle; }
    isc_db_handle* HandlePtr() { return &fHandle; }
    // Takes over a handle attached elsewhere; it is never detached here.
    void SetHandle(isc_db_handle handle);
    bool HandleIsShared() const { return fHandleIsShared; }
    bool UseLoginPrompt = false;
    TNotifyEvent OnConnect;
    TNotifyEvent OnTimeout;
    TFIBTransaction* DefaultTransaction() const { return fDefaultTransaction; }
    void SetDefaultTransaction(TFIBTransaction* transaction);
    TFIBTransaction* DefaultUpdateTransaction() const { return fDefaultUpdateTransaction; }
    void SetDefaultUpdateTransaction(TFIBTransaction* transaction);
    int Timeout() const;
    void SetTimeout(int ms);
    int SQLDialect() const { return fSQLDialect; }
    void SetSQLDialect(int dialect);
    bool UpperOldNames = false;
    TConnectParams& ConnectParams() { return fConnectParams; }
    std::uint8_t DesignDBOptions = ddoStoreConnected;
    TNotifyEvent BeforeDisconnect;
    TNotifyEvent AfterDisconnect;
    // Local clock minus server clock, in days.
    double ClockOffset() const { return fClockOffset; }
    bool SynchronizeTime = true;
    TFIBTransaction* InternalTransaction() const { return fInternalTransaction.get(); }

    TNotifyEventList& AfterConnectEvents() { return fAfterConnectEvents; }
    TNotifyEventList& BeforeDisconnectEvents() { return fBeforeDisconnectEvents; }
    TNotifyEventList& OnDestroyEvents() { return fOnDestroyEvents; }

    int AttachmentID() const { return fAttachmentID; }
    int ServerMajorVersion() const { return fServerMajor; }
    int ServerMinorVersion() const { return fServerMinor; }
    int ServerRelease() const { return fServerRelease; }
    int ServerBuild() const { return fServerBuild; }
    bool IsFirebirdConnect() const { return fIsFirebird; }
    bool IsIB8OrLater() const { return fIsIB8OrLater; }
    bool IsFB21OrLater() const { return fIsFB21OrLater; }
    bool NeedUnicodeHandling() const { return fNeedUnicodeHandling; }
    bool IsUnicodeConnect() const { return fIsUnicodeConnect; }
    bool IsNoneCharsetConnect() const { return fIsNoneCharset; }
    bool NeedUTF8DDL() const { return fNeedUTF8DDL; }
    // Bytes one character of the given character set id takes on this server.
    int BytesPerCharacter(int charsetId) const;
    bool IsUnicodeCharset(int charsetId) const;
    bool ConnectionLost() const { return fConnectionLost; }

    bool Connected() const { return fHandle != 0; }
    void SetConnected(bool value);
    void Open() { InternalOpen(true); }
    void Close();
    void ForceClose() { InternalClose(true, false); }
    void CheckActive(bool tryToConnect = false);
    void CheckInactive();
    void CheckDatabaseName();
    void CreateDatabase();
    void DropDatabase();

    // Database information items.
    int DBInfoInteger(std::uint8_t item, int notAnswered);
    QString DBInfoString(std::uint8_t item, int bufferSize = 512);
    int DBSQLDialect() { return DBInfoInteger(isc_info_db_sql_dialect, 1); }
    int AttachmentCharset() { return DBInfoInteger(frb_info_att_charset, -1); }
    QString FBVersion() { return DBInfoString(isc_info_firebird_version); }
    QString Version() { return DBInfoString(isc_info_version, 1024); }
    int ODSMajorVersion() { return DBInfoInteger(isc_info_ods_version, 0); }
    int ODSMinorVersion() { return DBInfoInteger(isc_info_ods_minor_version, 0); }

    // First column of the first row of a statement, run on the given transaction or
    // on the internal one (which is committed again when it was started here).
    QVariant QueryValue(const QString& sql, TFIBTransaction* transaction = nullptr);
    // The next value of a generator (sequence) moved by step: on the first active
    // transaction that serves this database alone, else on the given one, else on
    // the internal one.
    qint64 Gen_Id(const QString& generatorName, qint64 step, TFIBTransaction* transaction = nullptr);
    // Keys reserved a block at a time (off unless UseGeneratorCache is set); the
    // unused rest is written to its file when the connection closes.
    TGeneratorsCache GeneratorsCache;

    int TransactionCount() const { return static_cast<int>(fTransactions.size()); }
    TFIBTransaction* Transactions(int index) const { return fTransactions.at(static_cast<std::size_t>(index)); }
    int FIBBaseCount() const { return static_cast<int>(fFIBBases.size()); }
    TFIBBase* FIBBases(int index) const { return fFIBBases.at(static_cast<std::size_t>(index)); }

    // Status check of a client call: restores the FPU word, restarts the idle timer,
    // and raises the status error when errorCode shows one and raising is wanted.
    ISC_STATUS Call(ISC_STATUS errorCode, bool raiseError);
    void RestartIdleTimer();

    // Asked by the status error routine when this database is the lost-connection
    // target; answers whether the error is to be raised.
    virtual bool ExamineLostConnection(EFIBInterBaseError& error);

protected:
    virtual void InternalClose(bool force, bool doNotLog);
    virtual void SaveAliasParams() {}
    virtual void InternalOpen(bool raiseExcept);
    void Loaded() override;
    // Drops the handle of a lost connection without talking to the server.
    void DropLostHandle();
    void Log(const QString& operation, const QString& value, TLogFlag flag);

private:
    friend class TFIBBase;
    friend class TFIBTransaction;

    void AfterConnectAnalysis();
    void ResetServerFlags();
    void IdleTimerTick();
    int AddFIBBase(TFIBBase* base);
    void RemoveFIBBase(int slot);
    void AddTransaction(TFIBTransaction* transaction);
    void RemoveTransaction(TFIBTransaction* transaction);
    QByteArray EncodeDBName() const;
    void CallGuarded(const TNotifyEvent& handler, const QString& destroyedText, const QString& plainText);

    QString fLibraryName = QStringLiteral("libfbclient.so.2");
    IIBClientLibraryRef fClientLibrary;
    std::vector<TFIBBase*> fFIBBases;
    std::vector<TFIBTransaction*> fTransactions;
    QString fDBName;
    TDBParams fDBParams;
    bool fDPBDirty = true;
    QByteArray fDPB;
    isc_db_handle fHandle = 0;
    bool fHandleIsShared = false;
    TFIBTransaction* fDefaultTransaction = nullptr;
    TFIBTransaction* fDefaultUpdateTransaction = nullptr;
    bool fStreamedConnected = false;
    std::unique_ptr<TFIBCustomTimer> fIdleTimer;
    std::int64_t fLastActivity = 0;
    int fSQLDialect = 1;
    TConnectParams fConnectParams;
    double fClockOffset = 0;
    std::unique_ptr<TFIBTransaction> fInternalTransaction;
    TNotifyEventList fAfterConnectEvents;
    TNotifyEventList fBeforeDisconnectEvents;
    TNotifyEventList fOnDestroyEvents;
    int fAttachmentID = -1;
    int fServerMajor = -1, fServerMinor = -1, fServerRelease = -1, fServerBuild = -1;
    bool fIsFirebird = false;
    bool fIsIB8OrLater = false;
    bool fIsFB21OrLater = false;
    bool fNeedUnicodeHandling = false;
    bool fIsUnicodeConnect = false;
    bool fIsNoneCharset = false;
    bool fNeedUTF8DDL = false;
    bool fConnectionLost = false;
};

// ---------------------------------------------------------------- TFIBTransaction

// What connections and transactions need of a statement object hanging on them.
// Statement classes implement it; other linked objects are left alone. Steps that
// statements report to their transaction: 0 before execute, 1 after execute, 2 at
// the first fetch, 3 at close.
// The points of a statement's run the transaction hears of (SQLExecuted).
enum class TSQLExecutedStep : std::uint8_t {
    BeforeExecute,
    AfterExecute,
    AfterFirstFetch,
    CursorClose,
};

class IFIBStatement {
public:
    virtual ~IFIBStatement() = default;
    // The connection is gone: drop the statement handle without a server call.
    virtual void ForgetStatementHandle() = 0;
    // Free the prepared statement (a transaction ended in the form designer).
    virtual void UnprepareStatement() = 0;
    // The server's statement type (isc_info_sql_stmt_*): isc_info_sql_stmt_select for a select.
    virtual int StatementSQLType() const = 0;
    // True while the statement is closing its cursor.
    virtual bool StatementClosing() const = 0;
    // Rows inserted, updated and deleted by the last execution, summed.
    virtual int StatementChangedRows() = 0;
};

class TFIBTransaction : public TComponent {
public:
    explicit TFIBTransaction(TComponent* owner = nullptr);
    ~TFIBTransaction() override;

    int DatabaseCount() const { return static_cast<int>(fDatabases.size()); }
    TFIBDatabase* Databases(int index) const { return fDatabases.at(static_cast<std::size_t>(index)); }
    int FindDatabase(const TFIBDatabase* db) const;
    // Slot of db; refuses a database on another client library.
    int AddDatabase(TFIBDatabase* db, const QString& parameterText = QString());
    void RemoveDatabase(TFIBDatabase* db);
    TFIBDatabase* DefaultDatabase() const;
    void SetDefaultDatabase(TFIBDatabase* db);
    int FIBBaseCount() const { return static_cast<int>(fFIBBases.size()); }
    TFIBBase* FIBBases(int index) const { return fFIBBases.at(static_cast<std::size_t>(index)); }

    isc_tr_handle Handle() const { return fHandle; }
    isc_tr_handle* HandlePtr() { return &fHandle; }
    bool HandleIsShared() const { return fHandleIsShared; }
    void MarkHandleShared() { fHandleIsShared = true; }
    TNotifyEvent OnTimeout;
    int Timeout() const;
    void SetTimeout(int ms);
    TTransactionAction TimeoutAction = TARollback;
    TFIBStringList& TRParams() { return fTRParams; }
    const TFIBStringList& TRParams() const { return fTRParams; }
    TTransactionState State() const { return fState; }
    int TransactionID();
    // The buffer of the last start (for inspection).
    QByteArray TPB() const { return fTPB; }

    TNotifyEventList& BeforeStartEvents() { return fBeforeStartEvents; }
    TNotifyEventList& AfterStartEvents() { return fAfterStartEvents; }
    TNotifyEventList& OnDestroyEvents() { return fOnDestroyEvents; }
    TCallBackList& BeforeEndEvents() { return fBeforeEndEvents; }
    TCallBackList& AfterEndEvents() { return fAfterEndEvents; }

    bool HasUncommitedUpdates() const { return fHasUncommitedUpdates; }
    void SetHasUncommitedUpdates(bool value) { fHasUncommitedUpdates = value; }
    bool WatchUncommitedUpdates = false;

    bool InTransaction() const { return fHandle != 0; }
    bool Active() const { return InTransaction(); }
    void SetActive(bool value);

    virtual void EndTransaction(TTransactionAction action, bool force);
    // Called by statements around execute and first fetch; watches for changes
    // that are not committed yet when WatchUncommitedUpdates is on.
    virtual void SQLExecuted(TComponent* query, TSQLExecutedStep step);
    virtual void StartTransaction();
    virtual void Commit() { EndTransaction(TACommit, false); }
    virtual void CommitRetaining() { EndTransaction(TACommitRetaining, false); }
    virtual void Rollback() { EndTransaction(TARollback, false); }
    virtual void RollbackRetaining() { EndTransaction(TARollbackRetaining, false); }

    void CheckInTransaction();
    void CheckNotInTransaction();
    void ExecSQLImmediate(const QString& sql);
    bool IsReadOnly() const;

    // Status check of a client call made on this transaction.
    ISC_STATUS Call(ISC_STATUS errorCode, bool raiseError);

protected:
    void Loaded() override;

private:
    friend class TFIBBase;
    friend class TFIBDatabase;

    void TimerTick();
    void EndNotify(bool ending, TTransactionAction action, bool force);
    // Fires one event of every linked statement; handlers may free statements.
    void FireLinks(std::function<void()> TFIBBase::*event, bool reverse);
    QString LogParams() const;
    void Log(const QString& operation);
    int AddFIBBase(TFIBBase* base);
    void RemoveFIBBase(int slot);
    void DetachDatabase(TFIBDatabase* db);

    std::vector<TFIBDatabase*> fDatabases;
    std::vector<TFIBBase*> fFIBBases;
    TFIBDatabase* fDefaultDatabase = nullptr;
    isc_tr_handle fHandle = 0;
    bool fHandleIsShared = false;
    bool fActivity = false;
    bool fStreamedActive = false;
    QByteArray fTPB;
    std::unique_ptr<TFIBCustomTimer> fTimer;
    TFIBStringList fTRParams;
    bool fTPBDirty = true;
    TTransactionState fState = tsClosed;
    int fTransactionID = 0;
    TNotifyEventList fBeforeStartEvents;
    TNotifyEventList fAfterStartEvents;
    TNotifyEventList fOnDestroyEvents;
    TCallBackList fBeforeEndEvents;
    TCallBackList fAfterEndEvents;
    std::vector<QString> fDatabaseParams;
    bool fHasUncommitedUpdates = false;
};
