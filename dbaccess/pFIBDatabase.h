#pragma once
// The connection and transaction classes the program uses: the base classes with
// user hooks around connect, disconnect, start and end, ready-made transaction
// modes, and the handling of a lost connection.

#include "dbaccess/FIBDatabase.h"

#include <memory>

enum TOnLostConnectActions { laTerminateApp, laCloseConnect, laIgnore, laWaitRestore };
enum TTPBMode { tpbDefault, tpbReadCommitted, tpbRepeatableRead };

using TFIBLoginEvent = std::function<void(TFIBDatabase* database, TFIBStringList* loginParams, bool& doConnect)>;
using TFIBLostConnectEvent =
    std::function<void(TFIBDatabase* database, EFIBError& error, TOnLostConnectActions& actions)>;
using TFIBErrorRestoreConnectEvent = std::function<void(TFIBDatabase* database, EFIBError& error, bool& retry)>;
using TFIBTransactionEvent = std::function<void(TFIBDatabase* database, TFIBTransaction* transaction)>;
using TFIBEndTransactionEvent =
    std::function<void(TFIBDatabase* database, TFIBTransaction* transaction, TTransactionAction action, bool force)>;

struct TCacheSchemaOptions {
    QString LocalCacheFile;
    bool AutoSaveToFile = false;
    bool AutoLoadFromFile = false;
    bool ValidateAfterLoad = true;
};

class TpFIBDatabase : public TFIBDatabase {
public:
    explicit TpFIBDatabase(TComponent* owner = nullptr);
    ~TpFIBDatabase() override;

    // A named set of connection values kept per user. Setting a known alias applies
    // its database name, user, character set, role, dialect and client library.
    QString AliasName() const { return fAliasName; }
    void SetAliasName(const QString& alias);
    // Reads the alias's values into this database; false when the alias is unknown.
    bool ApplyAliasParams();
    bool SaveAliasParamsAfterConnect = true;
    TCacheSchemaOptions CacheSchemaOptions;
    int WaitForRestoreConnect() const;
    void SetWaitForRestoreConnect(int ms);

    // BeforeConnect and OnLogin are one slot.
    TFIBLoginEvent BeforeConnect;
    TFIBLoginEvent& OnLogin = BeforeConnect;
    TNotifyEvent AfterConnect;
    TFIBLostConnectEvent OnLostConnect;
    TFIBErrorRestoreConnectEvent OnErrorRestoreConnect;
    TNotifyEvent AfterRestoreConnect;
    TFIBTransactionEvent BeforeStartTransaction;
    TFIBTransactionEvent AfterStartTransaction;
    TFIBEndTransactionEvent BeforeEndTransaction;
    TFIBEndTransactionEvent AfterEndTransaction;
    std::function<void(TFIBDatabase*, const QString& object, bool& accept)> OnAcceptCacheSchema;

    // Hooks the transactions of this database call around their starts and ends.
    void DoBeforeStartTransaction(TFIBTransaction* tr);
    void DoAfterStartTransaction(TFIBTransaction* tr);
    void DoBeforeEndTransaction(TFIBTransaction* tr, TTransactionAction action, bool force);
    void DoAfterEndTransaction(TFIBTransaction* tr, TTransactionAction action, bool force);

    bool ExamineLostConnection(EFIBInterBaseError& error) override;
    // What happens when the connection is found lost (see ExamineLostConnection).
    void LostConnection(EFIBError& error, TOnLostConnectActions& action);

protected:
    void InternalClose(bool force, bool doNotLog) override;
    void SaveAliasParams() override;
    void InternalOpen(bool raiseExcept) override;

private:
    QString fAliasName;
    void RestoreTimerTick();
    std::unique_ptr<TFIBCustomTimer> fRestoreTimer;
};

class TpFIBTransaction : public TFIBTransaction {
public:
    explicit TpFIBTransaction(TComponent* owner = nullptr) : TFIBTransaction(owner) {}

    TTPBMode TPBMode = tpbReadCommitted;
    QString UserKindTransaction = QStringLiteral("NoUserKind");
    TNotifyEvent BeforeStart;
    TNotifyEvent AfterStart;
    TEndTrEvent BeforeEnd;
    TEndTrEvent AfterEnd;
    std::function<void(TFIBTransaction*, TComponent* query, int sqlType)> BeforeSQLExecute;
    std::function<void(TFIBTransaction*, TComponent* query, int sqlType)> AfterSQLExecute;
    std::function<void(TFIBTransaction*, TComponent* query, int sqlType)> AfterFirstFetch;

    void StartTransaction() override;
    void EndTransaction(TTransactionAction action, bool force) override;
    void SQLExecuted(TComponent* query, TSQLExecutedStep step) override;
    // The parameter lines stored with the transaction: only the free-form mode has any.
    QStringList StoredTRParams() const;

private:
    void PrepareTRParams();
};
