// TFIBTransaction: parameter buffer, start, the four ends, time-out.

#include "dbaccess/FIBDatabase.h"

#include <QStringEncoder>
#include <algorithm>

namespace {
const QString CRLF = QStringLiteral("\r\n");

// One entry of the multi-database start: the layout the client expects.
struct TTransactionEntry {
    isc_db_handle* Database;
    ISC_LONG TPBLength;
    const char* TPB;
};
}  // namespace

TFIBTransaction::TFIBTransaction(TComponent* owner) : TComponent(owner)
{
    fTRParams.OnChange = [this] { fTPBDirty = true; };
}

TFIBTransaction::~TFIBTransaction()
{
    MarkDestroying();
    if (Active()) {
        TTransactionAction action = TimeoutAction;
        if (action == TARollbackRetaining)
            action = TARollback;
        else if (action == TACommitRetaining)
            action = TACommit;
        try {
            EndTransaction(action, true);
        } catch (...) {
            // Nobody is left to hear about it; the server ends the transaction itself.
        }
    }
    fTimer.reset();
    fOnDestroyEvents.Call(true, this);
    FireLinks(&TFIBBase::OnTransactionFree, true);
    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            base->SetTransaction(nullptr);
    for (TFIBDatabase* db : std::vector<TFIBDatabase*>(fDatabases))
        db->RemoveTransaction(this);
    fDatabases.clear();
    fFIBBases.clear();
}

int TFIBTransaction::FindDatabase(const TFIBDatabase* db) const
{
    const auto it = std::find(fDatabases.begin(), fDatabases.end(), db);
    return it == fDatabases.end() ? -1 : static_cast<int>(it - fDatabases.begin());
}

int TFIBTransaction::AddDatabase(TFIBDatabase* db, const QString& parameterText)
{
    if (!db)
        return -1;
    const int found = FindDatabase(db);
    if (found >= 0)
        return found;
    if (!fDatabases.empty() && fDatabases.front()->LibraryName() != db->LibraryName()) {
        if (IsLoading())
            return -1;
        throw Exception(FormatFIBText(FIBTexts::DifferentClientLibrary, {Name()}));
    }
    fDatabases.push_back(db);
    fDatabaseParams.push_back(parameterText);
    db->AddTransaction(this);
    return static_cast<int>(fDatabases.size()) - 1;
}

void TFIBTransaction::RemoveDatabase(TFIBDatabase* db)
{
    const int i = FindDatabase(db);
    if (i < 0)
        return;
    fDatabases.erase(fDatabases.begin() + i);
    fDatabaseParams.erase(fDatabaseParams.begin() + i);
    if (fDefaultDatabase == db)
        fDefaultDatabase = nullptr;
    db->RemoveTransaction(this);
}

void TFIBTransaction::DetachDatabase(TFIBDatabase* db) { RemoveDatabase(db); }

TFIBDatabase* TFIBTransaction::DefaultDatabase() const
{
    if (fDefaultDatabase)
        return fDefaultDatabase;
    return fDatabases.empty() ? nullptr : fDatabases.front();
}

void TFIBTransaction::SetDefaultDatabase(TFIBDatabase* db)
{
    if (Active())
        RaiseClientError(fibceInTransaction, {Name()}, this);
    if (db == fDefaultDatabase)
        return;
    TFIBDatabase* old = fDefaultDatabase;
    if (db)
        AddDatabase(db);
    fDefaultDatabase = db;
    if (old && old != db)
        RemoveDatabase(old);
}

int TFIBTransaction::Timeout() const { return fTimer ? fTimer->Interval() : 0; }

void TFIBTransaction::SetTimeout(int ms)
{
    if (ms < 0)
        RaiseClientError(fibceTimeoutNegative);
    if (ms == 0) {
        fTimer.reset();
        return;
    }
    if (!fTimer) {
        fTimer = std::make_unique<TFIBCustomTimer>();
        fTimer->SetInterval(1000);
        fTimer->OnTimer = [this] { TimerTick(); };
    }
    fTimer->SetInterval(ms);
    if (Active())
        fTimer->SetEnabled(true);
}

void TFIBTransaction::TimerTick()
{
    if (!Active())
        return;
    if (!fActivity) {
        fActivity = true;
        return;
    }
    EndTransaction(TimeoutAction, true);
    if (OnTimeout)
        OnTimeout(this);
}

void TFIBTransaction::SetActive(bool value)
{
    if (IsLoading()) {
        fStreamedActive = value;
        return;
    }
    if (value && !Active())
        StartTransaction();
    else if (!value && Active())
        Rollback();
}

void TFIBTransaction::Loaded()
{
    if (!fStreamedActive)
        return;
    for (TFIBDatabase* db : fDatabases)
        if (db->ConnectionLost())
            return;
    fStreamedActive = false;
    if (!Active())
        StartTransaction();
}

void TFIBTransaction::CheckInTransaction()
{
    if (fStreamedActive && !IsLoading()) {
        fStreamedActive = false;
        if (!Active())
            StartTransaction();
    }
    if (fHandle != 0)
        return;
    if (IsDesigning()) {
        StartTransaction();
        return;
    }
    bool allReconnect = !fDatabases.empty();
    for (TFIBDatabase* db : fDatabases)
        allReconnect = allReconnect && db->AutoReconnect;
    if (allReconnect)
        StartTransaction();
    else
        RaiseClientError(fibceNotInTransaction, {Name()}, this);
}

void TFIBTransaction::CheckNotInTransaction()
{
    if (fHandle != 0)
        RaiseClientError(fibceInTransaction, {Name()}, this);
}

ISC_STATUS TFIBTransaction::Call(ISC_STATUS errorCode, bool raiseError)
{
    fActivity = false;
    for (TFIBDatabase* db : fDatabases)
        db->RestartIdleTimer();
    if (!raiseError || errorCode <= 0)
        return SettleClientCall(errorCode);
    if (fDatabases.empty()) {
        SettleClientCall(errorCode);
        RaiseClientError(fibceNoDatabasesInTransaction, {Name()}, this);
    }
    return CheckClientCall(errorCode, fDatabases.front()->ClientLibrary(), this);
}

QString TFIBTransaction::LogParams() const
{
    return QStringLiteral("TransactionParams:") + CRLF + fTRParams.Lines().join(CRLF);
}

void TFIBTransaction::Log(const QString& operation)
{
    TFIBDatabase* db = DefaultDatabase();
    if (db && db->SQLLogger)
        db->SQLLogger->WriteData(Name(), operation, LogParams(), lfTransact);
}

void TFIBTransaction::StartTransaction()
{
    CheckNotInTransaction();
    if (fDatabases.empty())
        RaiseClientError(fibceNoDatabasesInTransaction, {Name()}, this);
    for (TFIBDatabase* db : std::vector<TFIBDatabase*>(fDatabases)) {
        if (!IsLoading())
            db->CheckActive(true);
        if (!db->Connected())
            return;
    }

    TFIBDatabase* defaultDb = DefaultDatabase();
    if (fTPBDirty) {
        fTPB = BuildTPB(fTRParams, defaultDb->IsFB21OrLater());
        fTPBDirty = false;
    }

    // Databases with their own parameter text get a buffer of their own.
    std::vector<QByteArray> ownBuffers(fDatabases.size());
    std::vector<TTransactionEntry> entries(fDatabases.size());
    for (std::size_t i = 0; i < fDatabases.size(); ++i) {
        const QByteArray* tpb = &fTPB;
        if (i < fDatabaseParams.size() && !fDatabaseParams[i].isEmpty()) {
            TFIBStringList lines;
            lines.SetText(fDatabaseParams[i]);
            ownBuffers[i] = BuildTPB(lines, fDatabases[i]->IsFB21OrLater());
            if (!ownBuffers[i].isEmpty())
                tpb = &ownBuffers[i];
        }
        entries[i] = {fDatabases[i]->HandlePtr(), static_cast<ISC_LONG>(tpb->size()),
                      tpb->isEmpty() ? nullptr : tpb->constData()};
    }

    FireLinks(&TFIBBase::OnTransactionStarting, false);

    if (!Active()) {
        fBeforeStartEvents.Call(true, this);
        IIBClientLibrary* lib = fDatabases.front()->ClientLibrary();
        const ISC_STATUS rc = Call(lib->isc_start_multiple(StatusVector(), &fHandle,
                                                           static_cast<short>(entries.size()), entries.data()),
                                   false);
        if (rc > 0) {
            fHandle = 0;
            if (IsLoading())
                return;
            RaiseStatusError(lib, this);
            return;
        }
        fAfterStartEvents.Call(true, this);
    }

    FireLinks(&TFIBBase::OnTransactionStarted, false);

    fState = tsActive;
    if (defaultDb->SQLLogger)
        Log(QStringLiteral("StartTransaction(TransactionID=") + QString::number(TransactionID()) + u')');
    if (fTimer && fTimer->Interval() != 0)
        fTimer->SetEnabled(true);
}

void TFIBTransaction::FireLinks(std::function<void()> TFIBBase::*event, bool reverse)
{
    // A handler may free statements, its own included; freeing one moves the last
    // link into its slot. The walk goes over the links as they were at the start
    // and fires each only while it is still linked, so that none is heard twice
    // and none after it is gone.
    const std::vector<TFIBBase*> links = fFIBBases;
    const std::size_t n = links.size();
    for (std::size_t k = 0; k < n; ++k) {
        TFIBBase* base = links[reverse ? n - 1 - k : k];
        if (base && std::find(fFIBBases.begin(), fFIBBases.end(), base) != fFIBBases.end())
            TFIBBase::Fire(base->*event);
    }
}

void TFIBTransaction::EndNotify(bool ending, TTransactionAction action, bool force)
{
    FireLinks(ending ? &TFIBBase::OnTransactionEnding : &TFIBBase::OnTransactionEnded, true);
    if (ending) {
        fBeforeEndEvents.Call(true, this, action, force);
    } else {
        fAfterEndEvents.Call(true, this, action, force);
        fHasUncommitedUpdates = false;
    }
}

void TFIBTransaction::EndTransaction(TTransactionAction action, bool force)
{
    CheckInTransaction();
    TFIBDatabase* defaultDb = DefaultDatabase();
    if (defaultDb && defaultDb->SQLLogger) {
        static const char* const names[] = {"RollBack", "RollBackRetaining", "Commit", "CommitRetaining"};
        Log(QString::fromLatin1(names[action]) + QStringLiteral("(TransactionID=") +
            QString::number(TransactionID()) + QStringLiteral(") "));
    }
    if (fDatabases.empty())
        RaiseClientError(fibceNoDatabasesInTransaction, {Name()}, this);
    IIBClientLibrary* lib = fDatabases.front()->ClientLibrary();

    switch (action) {
    case TARollbackRetaining:
    case TACommitRetaining:
        fState = action == TARollbackRetaining ? tsDoRollbackRetaining : tsDoCommitRetaining;
        EndNotify(true, action, force);
        if (action == TARollbackRetaining)
            Call(lib->isc_rollback_retaining(StatusVector(), &fHandle), true);
        else
            Call(lib->isc_commit_retaining(StatusVector(), &fHandle), true);
        EndNotify(false, action, force);
        break;
    case TARollback:
    case TACommit: {
        if (fHandleIsShared && action != TimeoutAction && !force)
            RaiseClientError(fibceCantEndSharedTransaction, {}, this);
        fState = action == TARollback ? tsDoRollback : tsDoCommit;
        EndNotify(true, action, force);
        if (fHandleIsShared) {
            // The handle belongs to a connection that is gone; nothing to tell the server.
            fHandle = 0;
            fHandleIsShared = false;
        } else {
            const ISC_STATUS rc = action == TACommit
                                      ? Call(lib->isc_commit_transaction(StatusVector(), &fHandle), false)
                                      : Call(lib->isc_rollback_transaction(StatusVector(), &fHandle), false);
            if (rc > 0) {
                if (!force)
                    RaiseStatusError(lib, this);
                Call(lib->isc_rollback_transaction(StatusVector(), &fHandle), false);
                fHandle = 0;
            }
        }
        EndNotify(false, action, force);
        break;
    }
    }

    if (!Active()) {
        fState = tsClosed;
        if (fTimer)
            fTimer->SetEnabled(false);
        if (IsDesigning())
            for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
                if (base)
                    if (auto* statement = dynamic_cast<IFIBStatement*>(base->Owner()))
                        statement->UnprepareStatement();
    } else {
        fState = tsActive;
    }
    fTransactionID = 0;
}

void TFIBTransaction::SQLExecuted(TComponent* query, TSQLExecutedStep step)
{
    if (!WatchUncommitedUpdates || fHasUncommitedUpdates)
        return;
    auto* statement = dynamic_cast<IFIBStatement*>(query);
    if (!statement)
        return;
    const bool select = statement->StatementSQLType() == isc_info_sql_stmt_select;
    // A select changes nothing by being executed; at its close it may have, through
    // the procedures it called.
    if (step == TSQLExecutedStep::AfterExecute && select)
        return;
    if (step == TSQLExecutedStep::CursorClose && !(select && statement->StatementClosing()))
        return;
    if (statement->StatementChangedRows() >= 1)
        fHasUncommitedUpdates = true;
}

int TFIBTransaction::TransactionID()
{
    if (!Active())
        return 0;
    TFIBDatabase* db = DefaultDatabase();
    if (!db || db->ConnectionLost())
        return 0;
    if (fTransactionID == 0) {
        IIBClientLibrary* lib = db->ClientLibrary();
        const char items[] = {static_cast<char>(isc_info_tra_id), static_cast<char>(isc_info_end)};
        char buffer[64] = {};
        Call(lib->isc_transaction_info(StatusVector(), &fHandle, static_cast<short>(sizeof items), items,
                                       static_cast<short>(sizeof buffer), buffer),
             true);
        if (buffer[0] == isc_info_tra_id) {
            const int length = static_cast<int>(lib->isc_vax_integer(buffer + 1, 2));
            if (length > 0 && length <= 8)
                fTransactionID = static_cast<int>(lib->isc_vax_integer(buffer + 3, static_cast<short>(length)));
        }
    }
    return fTransactionID;
}

void TFIBTransaction::ExecSQLImmediate(const QString& sql)
{
    CheckInTransaction();
    TFIBDatabase* db = DefaultDatabase();
    QByteArray bytes;
    if (db->IsUnicodeConnect())
        bytes = sql.toUtf8();
    else
        bytes = QStringEncoder("windows-1252").encode(sql);
    IIBClientLibrary* lib = db->ClientLibrary();
    Call(lib->isc_dsql_execute_immediate(StatusVector(), db->HandlePtr(), &fHandle, 0, bytes.constData(),
                                         static_cast<unsigned short>(db->SQLDialect()), nullptr),
         true);
}

bool TFIBTransaction::IsReadOnly() const
{
    return fTRParams.Lines().contains(QStringLiteral("read")) ||
           fTRParams.Lines().contains(QStringLiteral("isc_tpb_read"));
}

int TFIBTransaction::AddFIBBase(TFIBBase* base)
{
    fFIBBases.push_back(base);
    return static_cast<int>(fFIBBases.size()) - 1;
}

void TFIBTransaction::RemoveFIBBase(int slot)
{
    if (slot < 0 || slot >= static_cast<int>(fFIBBases.size()))
        return;
    // The last entry moves into the freed slot and learns its new index.
    TFIBBase* last = fFIBBases.back();
    fFIBBases[static_cast<std::size_t>(slot)] = last;
    fFIBBases.pop_back();
    if (last && static_cast<std::size_t>(slot) < fFIBBases.size())
        last->fTransactionSlot = slot;
}
