#include "dbaccess/pFIBDatabase.h"

#include <QCoreApplication>
#include <QSettings>

namespace {
// The per-user store of aliases: one group per alias name.
QSettings AliasStore()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("ZELSOFT"),
                     QStringLiteral("DatabaseAliases"));
}
}  // namespace

// ---------------------------------------------------------------- TpFIBDatabase

TpFIBDatabase::TpFIBDatabase(TComponent* owner) : TFIBDatabase(owner) {}

TpFIBDatabase::~TpFIBDatabase()
{
    fRestoreTimer.reset();
}

int TpFIBDatabase::WaitForRestoreConnect() const { return fRestoreTimer ? fRestoreTimer->Interval() : 0; }

void TpFIBDatabase::SetWaitForRestoreConnect(int ms)
{
    if (ms <= 0) {
        fRestoreTimer.reset();
        return;
    }
    if (!fRestoreTimer) {
        fRestoreTimer = std::make_unique<TFIBCustomTimer>();
        fRestoreTimer->SetInterval(30000);
        fRestoreTimer->OnTimer = [this] { RestoreTimerTick(); };
    }
    fRestoreTimer->SetInterval(ms);
}

void TpFIBDatabase::SetAliasName(const QString& alias)
{
    fAliasName = alias;
    if (!alias.isEmpty())
        ApplyAliasParams();
}

bool TpFIBDatabase::ApplyAliasParams()
{
    QSettings store = AliasStore();
    store.beginGroup(fAliasName);
    if (fAliasName.isEmpty() || !store.contains(QStringLiteral("Database Name")))
        return false;
    CheckInactive();
    SetDBName(store.value(QStringLiteral("Database Name")).toString());
    ConnectParams().SetUserName(store.value(QStringLiteral("user_name")).toString());
    ConnectParams().SetCharSet(store.value(QStringLiteral("lc_ctype")).toString());
    ConnectParams().SetRoleName(store.value(QStringLiteral("sql_role_name")).toString());
    const int dialect = store.value(QStringLiteral("SQL_DIALECT"), SQLDialect()).toInt();
    if (dialect >= 1)
        SetSQLDialect(dialect);
    const QString library = store.value(QStringLiteral("CLIENT_LIB")).toString();
    if (!library.isEmpty())
        SetLibraryName(library);
    return true;
}

void TpFIBDatabase::SaveAliasParams()
{
    if (fAliasName.isEmpty())
        return;
    QSettings store = AliasStore();
    store.beginGroup(fAliasName);
    store.setValue(QStringLiteral("Database Name"), DBName());
    store.setValue(QStringLiteral("user_name"), ConnectParams().UserName());
    store.setValue(QStringLiteral("lc_ctype"), ConnectParams().CharSet());
    store.setValue(QStringLiteral("sql_role_name"), ConnectParams().RoleName());
    store.setValue(QStringLiteral("SQL_DIALECT"), SQLDialect());
    store.setValue(QStringLiteral("CLIENT_LIB"), LibraryName());
}

void TpFIBDatabase::InternalOpen(bool raiseExcept)
{
    if (Connected())
        return;
    bool doConnect = true;
    if (BeforeConnect)
        BeforeConnect(this, &DBParams(), doConnect);
    if (!doConnect)
        return;
    TFIBDatabase::InternalOpen(raiseExcept);
    if (!Connected() || IsDesigning())
        return;
    // The schema cache file (CacheSchemaOptions) belongs to the metadata cache,
    // which this program does not use; its options are kept for completeness.
    if (SaveAliasParamsAfterConnect && !fAliasName.isEmpty())
        SaveAliasParams();
    if (AfterConnect)
        AfterConnect(this);
}

void TpFIBDatabase::InternalClose(bool force, bool doNotLog)
{
    if (Connected())
        TFIBDatabase::InternalClose(force, doNotLog);
}

void TpFIBDatabase::DoBeforeStartTransaction(TFIBTransaction* tr)
{
    if (BeforeStartTransaction)
        BeforeStartTransaction(this, tr);
}

void TpFIBDatabase::DoAfterStartTransaction(TFIBTransaction* tr)
{
    if (AfterStartTransaction)
        AfterStartTransaction(this, tr);
}

void TpFIBDatabase::DoBeforeEndTransaction(TFIBTransaction* tr, TTransactionAction action, bool force)
{
    if (BeforeEndTransaction)
        BeforeEndTransaction(this, tr, action, force);
}

void TpFIBDatabase::DoAfterEndTransaction(TFIBTransaction* tr, TTransactionAction action, bool force)
{
    if (AfterEndTransaction)
        AfterEndTransaction(this, tr, action, force);
}

bool TpFIBDatabase::ExamineLostConnection(EFIBInterBaseError& error)
{
    // A server that ends the attachment itself (going down in order, an administrator's
    // cut) answers "connection shutdown" instead of a network error: lost just the same.
    if (!CheckStatusVector(
            {isc_network_error, isc_net_read_err, isc_net_write_err, isc_lost_db_connection, isc_att_shutdown}))
        return true;
    TOnLostConnectActions action = laCloseConnect;
    LostConnection(error, action);
    return action != laIgnore;
}

void TpFIBDatabase::LostConnection(EFIBError& error, TOnLostConnectActions& action)
{
    if (OnLostConnect)
        OnLostConnect(this, error, action);
    switch (action) {
    case laTerminateApp:
        DropLostHandle();
        if (QCoreApplication::instance())
            QCoreApplication::quit();
        break;
    case laCloseConnect:
        DropLostHandle();
        break;
    case laWaitRestore:
        DropLostHandle();
        if (fRestoreTimer)
            fRestoreTimer->SetEnabled(true);
        break;
    case laIgnore:
        break;
    }
}

void TpFIBDatabase::RestoreTimerTick()
{
    try {
        SetConnected(true);
        fRestoreTimer->SetEnabled(false);
        if (AfterRestoreConnect)
            AfterRestoreConnect(this);
    } catch (EFIBError& e) {
        bool retry = true;
        if (OnErrorRestoreConnect)
            OnErrorRestoreConnect(this, e, retry);
        if (!retry && fRestoreTimer)
            fRestoreTimer->SetEnabled(false);
    }
}

// ---------------------------------------------------------------- TpFIBTransaction

void TpFIBTransaction::PrepareTRParams()
{
    switch (TPBMode) {
    case tpbDefault:
        break;
    case tpbReadCommitted:
        TRParams().Assign({QStringLiteral("write"), QStringLiteral("isc_tpb_nowait"),
                           QStringLiteral("read_committed"), QStringLiteral("rec_version")});
        break;
    case tpbRepeatableRead:
        TRParams().Assign(
            {QStringLiteral("write"), QStringLiteral("isc_tpb_nowait"), QStringLiteral("concurrency")});
        break;
    }
}

QStringList TpFIBTransaction::StoredTRParams() const
{
    return TPBMode == tpbDefault ? TRParams().Lines() : QStringList();
}

void TpFIBTransaction::StartTransaction()
{
    if (Active()) {
        TFIBTransaction::StartTransaction();
        return;
    }
    PrepareTRParams();
    auto* db = dynamic_cast<TpFIBDatabase*>(DefaultDatabase());
    if (db)
        db->DoBeforeStartTransaction(this);
    if (BeforeStart)
        BeforeStart(this);
    TFIBTransaction::StartTransaction();
    if (AfterStart)
        AfterStart(this);
    if (db)
        db->DoAfterStartTransaction(this);
}

void TpFIBTransaction::EndTransaction(TTransactionAction action, bool force)
{
    auto* db = dynamic_cast<TpFIBDatabase*>(DefaultDatabase());
    if (db)
        db->DoBeforeEndTransaction(this, action, force);
    if (BeforeEnd)
        BeforeEnd(this, action, force);
    TFIBTransaction::EndTransaction(action, force);
    if (AfterEnd)
        AfterEnd(this, action, force);
    if (db)
        db->DoAfterEndTransaction(this, action, force);
}

void TpFIBTransaction::SQLExecuted(TComponent* query, TSQLExecutedStep step)
{
    TFIBTransaction::SQLExecuted(query, step);
    const auto* statement = dynamic_cast<const IFIBStatement*>(query);
    const int type = statement ? statement->StatementSQLType() : 0;
    switch (step) {
    case TSQLExecutedStep::BeforeExecute:
        if (BeforeSQLExecute)
            BeforeSQLExecute(this, query, type);
        break;
    case TSQLExecutedStep::AfterExecute:
        if (AfterSQLExecute)
            AfterSQLExecute(this, query, type);
        break;
    case TSQLExecutedStep::AfterFirstFetch:
        if (AfterFirstFetch)
            AfterFirstFetch(this, query, type);
        break;
    case TSQLExecutedStep::CursorClose:
        break;
    }
}
