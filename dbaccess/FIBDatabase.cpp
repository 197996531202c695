#include "dbaccess/FIBDatabase.h"
#include "dbaccess/FIBQuery.h"

#include <QFile>
#include <QScopeGuard>
#include <QStringEncoder>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <cstdlib>
#include <mutex>

TFIBLoginDialogProc FIBLoginDialogProc;

namespace {
const QString CRLF = QStringLiteral("\r\n");

// isc_attach_database is not safe to enter from two threads at once in every client
// generation; one lock for the whole process keeps attaches in a row.
std::mutex gConnectLock;

QByteArray Encode1252(const QString& text)
{
    QStringEncoder encoder("windows-1252");
    return encoder.encode(text);
}

// Published parameter names, position = code - 1.
const char* const kDPBNames[] = {
    "cdd_pathname", "allocation", "journal", "page_size", "num_buffers", "buffer_length", "debug",
    "garbage_collect", "verify", "sweep", "enable_journal", "disable_journal", "dbkey_scope",
    "number_of_users", "trace", "no_garbage_collect", "damaged", "license", "sys_user_name", "encrypt_key",
    "activate_shadow", "sweep_interval", "delete_shadow", "force_write", "begin_log", "quit_log",
    "no_reserve", "user_name", "password", "password_enc", "sys_user_name_enc", "interp", "online_dump",
    "old_file_size", "old_num_files", "old_file", "old_start_page", "old_start_seqno", "old_start_file",
    "drop_walfile", "old_dump_id", "wal_backup_dir", "wal_chkptlen", "wal_numbufs", "wal_bufsize",
    "wal_grp_cmt_wait", "lc_messages", "lc_ctype", "cache_manager", "shutdown", "online", "shutdown_delay",
    "reserved", "overwrite", "sec_attach", "disable_wal", "connect_timeout", "dummy_packet_interval",
    "gbak_attach", "sql_role_name", "set_page_buffers", "working_directory", "sql_dialect",
    "set_db_readonly", "set_db_sql_dialect", "gfix_attach", "gstat_attach", "gbak_ods_version",
    "gbak_ods_minor_version", "set_group_commit", "gbak_validate", "client_interbase_var", "admin_option",
    "flush_interval", "instance_name", "old_overwrite", "archive_database", "archive_journals",
    "archive_sweep", "archive_dumps", "archive_recover", "recover_until", "force"};
static_assert(std::size(kDPBNames) == 83);

struct TAddedName {
    const char* Name;
    int Code;
};
// Names of the newer servers for codes whose published name differs.
const TAddedName kAddedDPBNames[] = {{"no_db_triggers", 72}, {"set_db_charset", 68}, {"utf8_filename", 77}};

int FindDPBCode(const QString& name, QString& tableName)
{
    for (std::size_t i = 0; i < std::size(kDPBNames); ++i)
        if (name == QLatin1String(kDPBNames[i])) {
            tableName = QLatin1String(kDPBNames[i]);
            return static_cast<int>(i) + 1;
        }
    for (const TAddedName& added : kAddedDPBNames)
        if (name == QLatin1String(added.Name)) {
            tableName = QLatin1String(added.Name);
            return added.Code;
        }
    return 0;
}

struct TTPBName {
    const char* Name;
    int Code;
};
// Sorted by name.
const TTPBName kTPBNames[] = {
    {"autocommit", 16}, {"commit_time", 13}, {"concurrency", 2}, {"consistency", 1}, {"exclusive", 5},
    {"ignore_limbo", 14}, {"lock_read", 10}, {"lock_timeout", 21}, {"lock_write", 11}, {"no_auto_undo", 20},
    {"no_rec_version", 18}, {"no_savepoint", 21}, {"nowait", 7}, {"protected", 4}, {"read", 8},
    {"read_committed", 15}, {"rec_version", 17}, {"restart_requests", 19}, {"shared", 3}, {"verb_time", 12},
    {"wait", 6}, {"write", 9}};

void SplitParamLine(const QString& line, QString& name, QString& value, const QString& prefix)
{
    const qsizetype eq = line.indexOf(u'=');
    name = (eq < 0 ? line : line.left(eq)).toLower();
    value = eq < 0 ? QString() : line.mid(eq + 1);
    if (name.startsWith(prefix))
        name = name.mid(prefix.size());
}

void AppendString(QByteArray& buffer, int code, const QByteArray& bytes)
{
    buffer.append(static_cast<char>(code));
    // Longer values are not refused; the length byte wraps.
    buffer.append(static_cast<char>(bytes.size() & 0xFF));
    buffer.append(bytes);
}

int ReadInfoInteger(IIBClientLibrary* lib, const char* p, int length)
{
    return static_cast<int>(lib->isc_vax_integer(const_cast<char*>(p), static_cast<short>(length)));
}
}  // namespace

// ---------------------------------------------------------------- buffers

int ShutdownFlags(const QString& value)
{
    int flags = 0;
    qsizetype start = 0;
    const qsizetype length = value.size();
    while (start <= length) {
        qsizetype end = start;
        while (end < length && value[end] != u',' && value[end] != u';')
            ++end;
        const bool last = end >= length;
        const QString token = value.mid(start, end - start).toLower();
        // A last token starting at the last character is not counted.
        if (!(last && start == length - 1) && !token.isEmpty()) {
            int number;
            if (token == QLatin1String("cache"))
                number = 1;
            else if (token == QLatin1String("attachment"))
                number = 2;
            else if (token == QLatin1String("transaction"))
                number = 4;
            else if (token == QLatin1String("force"))
                number = 8;
            else if (token == QLatin1String("normal"))
                number = 16;
            else if (token == QLatin1String("multi"))
                number = 32;
            else if (token == QLatin1String("single"))
                number = 48;
            else if (token == QLatin1String("full"))
                number = 64;
            else if (token == QLatin1String("mode_mask"))
                number = 112;
            else if (token[0].isDigit())
                number = StrToInt(token);
            else
                number = -1;
            flags |= number;
        }
        if (last)
            break;
        start = end + 1;
    }
    return flags;
}

QByteArray BuildDPB(TFIBStringList& lines, bool isFirebird)
{
    QByteArray dpb;
    dpb.append(static_cast<char>(isc_dpb_version1));
    const QString prefix = QStringLiteral("isc_dpb_");
    for (int i = 0; i < lines.Count(); ++i) {
        const QString line = lines.Strings(i).trimmed();
        lines.PutQuiet(i, line);
        if (line.isEmpty())
            continue;
        QString name, value, tableName;
        SplitParamLine(line, name, value, prefix);
        const int code = FindDPBCode(name, tableName);
        if (code == 0)
            RaiseClientError(fibceDPBConstantUnknown, {name});
        switch (code) {
        case 5: case 9: case 13: case 17: case 24: case 27: case 33: case 34: case 52: case 54: case 57:
        case 58:
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(1));
            dpb.append(static_cast<char>(StrToInt(value) & 0xFF));
            break;
        case 8: case 16:
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(1));
            dpb.append(static_cast<char>(1));
            break;
        case 10:
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(1));
            dpb.append(static_cast<char>(isc_dpb_records));
            break;
        case 18: case 19: case 20: case 28: case 29: case 30: case 36: case 47: case 48: case 60: {
            AppendString(dpb, code, Encode1252(value));
            break;
        }
        case 63: {
            QByteArray bytes = Encode1252(value);
            if (!bytes.isEmpty())
                bytes[0] = static_cast<char>(bytes[0] - '0');
            AppendString(dpb, code, bytes);
            break;
        }
        case 21: case 23: case 25: case 26:
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(1));
            dpb.append(static_cast<char>(0));
            break;
        case 22: {
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(4));
            const quint32 n = static_cast<quint32>(StrToInt(value));
            for (int b = 0; b < 4; ++b)
                dpb.append(static_cast<char>((n >> (8 * b)) & 0xFF));
            break;
        }
        case 50:
            dpb.append(static_cast<char>(code));
            if (value.isEmpty()) {
                dpb.append(static_cast<char>(0));
            } else {
                dpb.append(static_cast<char>(1));
                dpb.append(static_cast<char>(ShutdownFlags(value) & 0xFF));
            }
            break;
        case 51:
            dpb.append(static_cast<char>(code));
            dpb.append(static_cast<char>(0));
            break;
        case 68:
            if (isFirebird)
                AppendString(dpb, code, Encode1252(value));
            break;
        case 72:
            if (isFirebird) {
                dpb.append(static_cast<char>(code));
                dpb.append(static_cast<char>(1));
                dpb.append(static_cast<char>(1));
            }
            break;
        case 75:
            if (!isFirebird)
                AppendString(dpb, code, Encode1252(value));
            break;
        case 77:
            if (isFirebird) {
                dpb.append(static_cast<char>(code));
                dpb.append(static_cast<char>(0));
            }
            break;
        default:
            RaiseClientError(fibceDPBConstantNotSupported, {tableName});
        }
    }
    return dpb;
}

QByteArray BuildTPB(TFIBStringList& lines, bool server21OrLater)
{
    QByteArray tpb;
    if (lines.Count() == 0)
        return tpb;
    tpb.append(static_cast<char>(isc_tpb_version3));
    const QString prefix = QStringLiteral("isc_tpb_");
    for (int i = 0; i < lines.Count(); ++i) {
        const QString line = lines.Strings(i).trimmed();
        lines.PutQuiet(i, line);
        if (line.isEmpty())
            continue;
        QString name, value;
        SplitParamLine(line, name, value, prefix);
        const auto it = std::lower_bound(std::begin(kTPBNames), std::end(kTPBNames), name,
                                         [](const TTPBName& entry, const QString& key) {
                                             return QLatin1String(entry.Name) < key;
                                         });
        if (it == std::end(kTPBNames) || QLatin1String(it->Name) != name)
            RaiseClientError(fibceTPBConstantUnknown, {name});
        const int code = it->Code;
        switch (code) {
        case 12: case 13: case 16: case 19:
            RaiseClientError(fibceTPBConstantNotSupported, {name});
        case 10: case 11:
            AppendString(tpb, code, Encode1252(value));
            break;
        case 21: {
            tpb.append(static_cast<char>(code));
            if (server21OrLater) {
                int timeout;
                if (!TryStrToInt(value, timeout))
                    timeout = 10;
                tpb.append(static_cast<char>(2));
                tpb.append(static_cast<char>(timeout & 0xFF));
                tpb.append(static_cast<char>((timeout >> 8) & 0xFF));
            }
            break;
        }
        default:
            tpb.append(static_cast<char>(code));
        }
    }
    return tpb;
}

void ParseServerVersion(const QString& text, int& major, int& minor, int& release, int& build)
{
    int* fields[] = {&major, &minor, &release, &build};
    for (int* f : fields)
        *f = 0;
    int field = 0;
    for (qsizetype i = 4; i < text.size() && field < 4; ++i) {
        const QChar c = text[i];
        if (c >= u'0' && c <= u'9')
            *fields[field] = *fields[field] * 10 + (c.unicode() - u'0');
        else
            ++field;
    }
}

// ---------------------------------------------------------------- TFIBBase

TFIBBase::TFIBBase(TComponent* owner) : fOwner(owner) {}

TFIBBase::~TFIBBase()
{
    SetTransaction(nullptr);
    SetDatabase(nullptr);
}

void TFIBBase::SetDatabase(TFIBDatabase* database)
{
    if (database == fDatabase)
        return;
    if (fDatabase)
        fDatabase->RemoveFIBBase(fDatabaseSlot);
    fDatabase = nullptr;
    fDatabaseSlot = -1;
    if (!database)
        return;
    fDatabaseSlot = database->AddFIBBase(this);
    fDatabase = database;
    if (database->DefaultTransaction() && !fTransaction && !(fOwner && fOwner->IsLoading()))
        SetTransaction(database->DefaultTransaction());
}

void TFIBBase::SetTransaction(TFIBTransaction* transaction)
{
    if (transaction == fTransaction)
        return;
    if (fTransaction)
        fTransaction->RemoveFIBBase(fTransactionSlot);
    fTransaction = nullptr;
    fTransactionSlot = -1;
    if (!transaction)
        return;
    fTransactionSlot = transaction->AddFIBBase(this);
    fTransaction = transaction;
    if (fDatabase && transaction->FindDatabase(fDatabase) < 0)
        SetDatabase(transaction->DefaultDatabase());
}

// ---------------------------------------------------------------- parameters

QStringList TDBParams::StoredLines() const
{
    QStringList lines = Lines();
    if (fOwner && (fOwner->DesignDBOptions & ddoNotSavePassword)) {
        lines.removeIf([](const QString& line) {
            QString name, value;
            SplitParamLine(line, name, value, QStringLiteral("isc_dpb_"));
            return name == QLatin1String("password");
        });
    }
    return lines;
}

int TConnectParams::IndexOf(const QString& shortName) const
{
    const TDBParams& params = fOwner->DBParams();
    const QString longName = QStringLiteral("isc_dpb_") + shortName;
    for (int i = 0; i < params.Count(); ++i) {
        const QString line = params.Strings(i);
        const qsizetype eq = line.indexOf(u'=');
        // The parameter buffer reads names trimmed and in any case: so does this.
        const QString name = (eq < 0 ? line : line.left(eq)).trimmed();
        if (name.compare(shortName, Qt::CaseInsensitive) == 0 || name.compare(longName, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QString TConnectParams::Param(const QString& shortName) const
{
    const int i = IndexOf(shortName);
    if (i < 0)
        return {};
    const QString line = fOwner->DBParams().Strings(i);
    const qsizetype eq = line.indexOf(u'=');
    return eq < 0 ? QString() : line.mid(eq + 1);
}

void TConnectParams::SetParam(const QString& shortName, const QString& value)
{
    TDBParams& params = fOwner->DBParams();
    const int i = IndexOf(shortName);
    if (value.isEmpty()) {
        if (i >= 0)
            params.Delete(i);
    } else if (i >= 0) {
        params.SetStrings(i, shortName + u'=' + value);
    } else {
        params.Add(shortName + u'=' + value);
    }
}

// ---------------------------------------------------------------- global list

namespace {
// Every database of the process; what is still connected when the process ends is
// closed the ordinary way, so the server sees a clean detach.
struct TDatabaseList {
    std::mutex Lock;
    std::vector<TFIBDatabase*> Items;
};

TDatabaseList& DatabaseList();

// Runs at exit, before the client library's own exit handlers take the client down.
void CloseDatabasesAtExit()
{
    std::vector<TFIBDatabase*> items;
    {
        std::lock_guard guard(DatabaseList().Lock);
        items = DatabaseList().Items;
    }
    for (TFIBDatabase* db : items) {
        try {
            db->SetConnected(false);
        } catch (...) {
            // Nobody is left to tell at the end of the process.
        }
    }
}

TDatabaseList& DatabaseList()
{
    static TDatabaseList list;
    return list;
}
}  // namespace

int DatabaseCount()
{
    std::lock_guard guard(DatabaseList().Lock);
    return static_cast<int>(DatabaseList().Items.size());
}

// ---------------------------------------------------------------- TFIBDatabase

TFIBDatabase::TFIBDatabase(TComponent* owner)
    : TComponent(owner), fDBParams(this), fConnectParams(this),
      fInternalTransaction(std::make_unique<TFIBTransaction>())
{
    // Parameters belong to a connect: at run time they change only while not connected.
    fDBParams.OnChanging = [this] {
        if (!IsDesigning())
            CheckInactive();
    };
    fDBParams.OnChange = [this] { fDPBDirty = true; };
    {
        std::lock_guard guard(DatabaseList().Lock);
        DatabaseList().Items.push_back(this);
    }
    TFIBTransaction* tr = fInternalTransaction.get();
    tr->SetName(QStringLiteral("_InternalTransaction"));
    tr->SetDefaultDatabase(this);
    tr->TimeoutAction = TACommit;
    tr->SetTimeout(1000);
    tr->TRParams().Assign({QStringLiteral("write"), QStringLiteral("isc_tpb_nowait"),
                           QStringLiteral("read_committed"), QStringLiteral("rec_version")});
}

void TFIBDatabase::SetName(const QString& name)
{
    TComponent::SetName(name);
    if (fInternalTransaction)
        fInternalTransaction->SetName(name + QStringLiteral("_InternalTransaction"));
}

TFIBDatabase::~TFIBDatabase()
{
    MarkDestroying();
    if (LostConnectTarget == this)
        LostConnectTarget = nullptr;
    try {
        if (Connected())
            InternalClose(true, false);
    } catch (...) {
        // A database that goes away cannot report; the handle is gone with it.
    }
    fIdleTimer.reset();
    {
        std::lock_guard guard(DatabaseList().Lock);
        std::erase(DatabaseList().Items, this);
    }
    if (fInternalTransaction) {
        try {
            if (fInternalTransaction->Active())
                fInternalTransaction->EndTransaction(TACommit, true);
        } catch (...) {
            // As above: the connection going away cannot report; the server ends the transaction.
        }
        fInternalTransaction.reset();
    }
    fOnDestroyEvents.Call(true, this);
    for (auto it = fFIBBases.rbegin(); it != fFIBBases.rend(); ++it)
        if (*it)
            TFIBBase::Fire((*it)->OnDatabaseFree);
    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            base->SetDatabase(nullptr);
    for (TFIBTransaction* tr : std::vector<TFIBTransaction*>(fTransactions))
        tr->DetachDatabase(this);
    fFIBBases.clear();
    fTransactions.clear();
}

void TFIBDatabase::SetLibraryName(const QString& name)
{
    CheckInactive();
    if (name == fLibraryName)
        return;
    fLibraryName = name;
    fClientLibrary.reset();
}

IIBClientLibraryRef TFIBDatabase::ClientLibraryRef()
{
    if (!fClientLibrary)
        fClientLibrary = AcquireClientLibrary(fLibraryName);
    return fClientLibrary;
}

IIBClientLibrary* TFIBDatabase::ClientLibrary() { return ClientLibraryRef().get(); }

void TFIBDatabase::SetDBName(const QString& name)
{
    if (name == fDBName)
        return;
    if (IsDesigning()) {
        if (Connected())
            Close();
    } else {
        CheckInactive();
    }
    fDBName = name;
}

void TFIBDatabase::SetHandle(isc_db_handle handle)
{
    CheckInactive();
    fHandle = handle;
    fHandleIsShared = handle != 0;
}

void TFIBDatabase::SetDefaultTransaction(TFIBTransaction* transaction)
{
    fDefaultTransaction = transaction;
    if (transaction && transaction->FindDatabase(this) < 0)
        transaction->AddDatabase(this);
}

void TFIBDatabase::SetDefaultUpdateTransaction(TFIBTransaction* transaction)
{
    fDefaultUpdateTransaction = transaction;
    if (transaction && transaction->FindDatabase(this) < 0)
        transaction->AddDatabase(this);
}

int TFIBDatabase::Timeout() const { return fIdleTimer ? fIdleTimer->Interval() : 0; }

void TFIBDatabase::SetTimeout(int ms)
{
    if (ms < 0)
        RaiseClientError(fibceTimeoutNegative);
    if (ms == 0) {
        fIdleTimer.reset();
        return;
    }
    if (!fIdleTimer) {
        fIdleTimer = std::make_unique<TFIBCustomTimer>();
        fIdleTimer->OnTimer = [this] { IdleTimerTick(); };
        fLastActivity = FIBTickCount();
    }
    fIdleTimer->SetInterval(ms);
    if (!IsDesigning())
        fIdleTimer->SetEnabled(true);
}

void TFIBDatabase::SetSQLDialect(int dialect)
{
    if (dialect < 1)
        RaiseClientError(fibceSQLDialectInvalid);
    if (Connected() && dialect > DBSQLDialect())
        RaiseClientError(fibceSQLDialectInvalid);
    fSQLDialect = dialect;
}

bool TFIBDatabase::IsUnicodeCharset(int charsetId) const
{
    if (!Connected())
        return charsetId == 3;
    if (fIsFirebird)
        return charsetId == 3 || charsetId == 4;
    if (fServerMajor >= 8)
        return charsetId == 3 || charsetId == 8 || charsetId == 59 || charsetId == 64;
    return charsetId == 3;
}

int TFIBDatabase::BytesPerCharacter(int charsetId) const
{
    if (charsetId == 3)
        return 3;
    if (!Connected())
        return 1;
    if (fIsFirebird)
        return charsetId == 4 ? 4 : 1;
    if (fServerMajor >= 8) {
        if (charsetId == 8 || charsetId == 64)
            return 2;
        if (charsetId == 59)
            return 4;
    }
    return 1;
}

void TFIBDatabase::SetConnected(bool value)
{
    if (IsLoading()) {
        fStreamedConnected = value;
        return;
    }
    if (value)
        Open();
    else
        Close();
}

void TFIBDatabase::Loaded()
{
    if (fStreamedConnected) {
        fStreamedConnected = false;
        Open();
        if (fDefaultTransaction && fDefaultTransaction->fStreamedActive && !fDefaultTransaction->Active()) {
            fDefaultTransaction->fStreamedActive = false;
            fDefaultTransaction->StartTransaction();
        }
    }
}

void TFIBDatabase::Close()
{
    if (Connected())
        InternalClose(false, false);
    fAttachmentID = -1;
    if (fInternalTransaction)
        fInternalTransaction->SetTimeout(0);
}

void TFIBDatabase::CheckActive(bool tryToConnect)
{
    if (fStreamedConnected && !IsLoading()) {
        fStreamedConnected = false;
        Open();
    }
    if (fHandle != 0)
        return;
    if (!IsDesigning() && !tryToConnect && !AutoReconnect)
        RaiseClientError(fibceDatabaseClosed, {Name()}, this);
    const bool oldPrompt = UseLoginPrompt;
    if (!fConnectParams.Password().isEmpty())
        UseLoginPrompt = false;
    const auto restorePrompt = qScopeGuard([&] { UseLoginPrompt = oldPrompt; });
    InternalOpen(!IsDesigning());
}

void TFIBDatabase::CheckInactive()
{
    if (fHandle != 0)
        RaiseClientError(fibceDatabaseOpen, {}, this);
}

void TFIBDatabase::CheckDatabaseName()
{
    if (fDBName.isEmpty())
        RaiseClientError(fibceDatabaseNameMissing, {}, this);
}

ISC_STATUS TFIBDatabase::Call(ISC_STATUS errorCode, bool raiseError)
{
    RestartIdleTimer();
    if (!raiseError || errorCode <= 0)
        return SettleClientCall(errorCode);
    return CheckClientCall(errorCode, ClientLibrary(), this);
}

void TFIBDatabase::RestartIdleTimer()
{
    // Idle time matters only while there is a timer to measure it: every fetch
    // comes through here, and a connection without one pays nothing for it.
    if (!fIdleTimer)
        return;
    fLastActivity = FIBTickCount();
    if (!IsDesigning())
        fIdleTimer->Restart();
}

void TFIBDatabase::IdleTimerTick()
{
    if (!Connected())
        return;
    if (OnIdleConnect) {
        TActionOnIdle action = aiCloseConnect;
        OnIdleConnect(this, FIBTickCount() - fLastActivity, action);
        if (action == aiKeepLiveConnect)
            return;
    }
    ForceClose();
    if (OnTimeout)
        OnTimeout(this);
}

QByteArray TFIBDatabase::EncodeDBName() const
{
    // A local path is handed to the file system as it names its files.
    return QFile::encodeName(fDBName);
}

void TFIBDatabase::Log(const QString& operation, const QString& value, TLogFlag flag)
{
    if (SQLLogger)
        SQLLogger->WriteData(Name(), operation, value, flag);
}

void TFIBDatabase::ResetServerFlags()
{
    fServerMajor = fServerMinor = fServerRelease = fServerBuild = -1;
}

void TFIBDatabase::InternalOpen(bool raiseExcept)
{
    ResetServerFlags();
    std::unique_lock connectLock(gConnectLock);
    CheckInactive();
    CheckDatabaseName();
    IIBClientLibrary* lib = ClientLibrary();

    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            TFIBBase::Fire(base->OnDatabaseConnecting);

    if (UseLoginPrompt) {
        if (!FIBLoginDialogProc)
            throw Exception(FIBTexts::LoginDialogMissing +
                            (IsDesigning() ? FIBTexts::LoginDialogMissingDesign : FIBTexts::LoginDialogMissingRun));
        QString user = fConnectParams.UserName();
        QString password = fConnectParams.Password();
        QString role = fConnectParams.RoleName();
        if (!FIBLoginDialogProc(fDBName, user, password, role))
            RaiseClientError(fibceOperationCancelled, {}, this);
        const std::pair<QString, QString> answers[] = {
            {QStringLiteral("user_name"), user}, {QStringLiteral("password"), password},
            {QStringLiteral("sql_role_name"), role}};
        // The answer takes the place of the line the dialog was shown, whichever
        // spelling it has: a second user line would go to the server as well.
        for (const auto& [name, value] : answers) {
            const int i = fConnectParams.IndexOf(name);
            if (i >= 0)
                fDBParams.SetStrings(i, name + u'=' + value);
            else
                fDBParams.Add(name + u'=' + value);
        }
    }

    if (fDPBDirty) {
        // The flag is cleared only for a buffer that was really built, so that a
        // corrected line is taken at the next attempt.
        fDPB = BuildDPB(fDBParams, fConnectParams.IsFirebird);
        fDPBDirty = false;
    }

    const QByteArray name = EncodeDBName();
    const ISC_STATUS rc = SettleClientCall(lib->isc_attach_database(StatusVector(), static_cast<short>(name.size()),
                                                                    name.constData(), &fHandle,
                                                                    static_cast<short>(fDPB.size()), fDPB.constData()));
    RestartIdleTimer();
    connectLock.unlock();

    if (rc > 0) {
        fHandle = 0;
        if (raiseExcept)
            CheckClientCall(rc, lib, this);
        // A lost-connection target may have taken the error over.
        return;
    }
    fConnectionLost = false;
    fHandleIsShared = false;
    // The client sets up its own exit handling with its first attachment; ours,
    // registered after it, runs before it.
    static const bool closeAtExit = [] {
        std::atexit(CloseDatabasesAtExit);
        return true;
    }();
    (void)closeAtExit;

    fInternalTransaction->SetTimeout(1000);
    fAttachmentID = DBInfoInteger(isc_info_attachment_id, -1);

    fClockOffset = 0;
    const int dbDialect = DBSQLDialect();
    if (dbDialect < fSQLDialect)
        fSQLDialect = dbDialect;

    if (SynchronizeTime && !IsDesigning()) {
        const QString sql = fSQLDialect >= 2 ? QStringLiteral("SELECT CAST('NOW' AS TIMESTAMP) from RDB$DATABASE")
                                             : QStringLiteral("SELECT CAST('NOW' AS DATE) from RDB$DATABASE");
        const QVariant serverNow = QueryValue(sql);
        if (serverNow.isValid())
            fClockOffset = Now() - serverNow.toDouble();
    }

    AfterConnectAnalysis();

    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases)) {
        if (!Connected())
            break;
        if (base)
            TFIBBase::Fire(base->OnDatabaseConnected);
    }
    Log(QStringLiteral("Connect"), QString(), lfConnect);
}

void TFIBDatabase::AfterConnectAnalysis()
{
    const QString fbVersion = FBVersion();
    fIsFirebird = !fbVersion.isEmpty();
    ParseServerVersion(fIsFirebird ? fbVersion : Version(), fServerMajor, fServerMinor, fServerRelease,
                       fServerBuild);
    fIsIB8OrLater = !fIsFirebird && fServerMajor >= 8;

    if (!fIsFirebird || fServerMajor < 2) {
        const QString cs = fConnectParams.CharSet();
        fIsUnicodeConnect = cs == QLatin1String("UNICODE_FSS") || cs == QLatin1String("UTF8");
        fIsNoneCharset = cs == QLatin1String("NONE") || cs.isEmpty();
    } else {
        const int id = AttachmentCharset();
        fIsUnicodeConnect = IsUnicodeCharset(id);
        fIsNoneCharset = id == 0;
    }
    fNeedUnicodeHandling = fIsUnicodeConnect || fIsNoneCharset;
    fIsFB21OrLater = fServerMajor >= 3 || (fServerMajor == 2 && fServerMinor >= 1);
    fNeedUTF8DDL = false;
    if (fNeedUnicodeHandling && fIsFB21OrLater) {
        const int odsMajor = ODSMajorVersion();
        const int odsMinor = ODSMinorVersion();
        fNeedUTF8DDL = odsMajor > 11 || (odsMajor == 11 && odsMinor >= 1);
    }

    if (OnConnect)
        OnConnect(this);
    if (Connected())
        fAfterConnectEvents.Call(false, this);
}

void TFIBDatabase::CallGuarded(const TNotifyEvent& handler, const QString& destroyedText, const QString& plainText)
{
    if (!handler)
        return;
    try {
        handler(this);
    } catch (const Exception& e) {
        throw Exception(FormatFIBText(IsDestroying() ? destroyedText : plainText, {Name(), e.Message()}));
    } catch (const std::exception& e) {
        throw Exception(
            FormatFIBText(IsDestroying() ? destroyedText : plainText, {Name(), QString::fromLocal8Bit(e.what())}));
    }
}

void TFIBDatabase::InternalClose(bool force, bool doNotLog)
{
    CheckActive(false);
    GeneratorsCache.SaveToFile();
    CallGuarded(BeforeDisconnect, FIBTexts::BeforeDisconnectDestroyed, FIBTexts::BeforeDisconnectError);
    fBeforeDisconnectEvents.Call(false, this);

    for (TFIBTransaction* tr : std::vector<TFIBTransaction*>(fTransactions)) {
        if (!tr->Active())
            continue;
        TTransactionAction action = tr->TimeoutAction;
        if (action == TARollbackRetaining)
            action = TARollback;
        else if (action == TACommitRetaining)
            action = TACommit;
        tr->EndTransaction(action, true);
    }

    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            TFIBBase::Fire(base->OnDatabaseDisconnecting);

    if (!fHandleIsShared) {
        IIBClientLibrary* lib = ClientLibrary();
        const ISC_STATUS rc = lib->isc_detach_database(StatusVector(), &fHandle);
        if (force)
            SettleClientCall(rc);
        else
            CheckClientCall(rc, lib, this);
    }
    fHandle = 0;
    fHandleIsShared = false;

    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            TFIBBase::Fire(base->OnDatabaseDisconnected);

    CallGuarded(AfterDisconnect, FIBTexts::AfterDisconnectDestroyed, FIBTexts::AfterDisconnectError);
    if (!doNotLog)
        Log(QStringLiteral("Disconnect"), QString(), lfConnect);
}

void TFIBDatabase::CreateDatabase()
{
    CheckInactive();
    IIBClientLibrary* lib = ClientLibrary();
    QString sql = QStringLiteral("CREATE DATABASE '") + fDBName + QStringLiteral("' ");
    sql += fDBParams.Lines().join(u' ');
    const QByteArray bytes = QFile::encodeName(sql);
    isc_tr_handle tr = 0;
    Call(lib->isc_dsql_execute_immediate(StatusVector(), &fHandle, &tr, 0, bytes.constData(),
                                         static_cast<unsigned short>(fSQLDialect), nullptr),
         true);
    fHandleIsShared = false;
    fConnectionLost = false;
    ResetServerFlags();
    AfterConnectAnalysis();
}

void TFIBDatabase::DropDatabase()
{
    CheckActive(false);
    IIBClientLibrary* lib = ClientLibrary();
    Call(lib->isc_drop_database(StatusVector(), &fHandle), true);
    fHandle = 0;
}

int TFIBDatabase::DBInfoInteger(std::uint8_t item, int notAnswered)
{
    CheckActive(false);
    IIBClientLibrary* lib = ClientLibrary();
    char buffer[512] = {};
    const char items[] = {static_cast<char>(item), static_cast<char>(isc_info_end)};
    Call(lib->isc_database_info(StatusVector(), &fHandle, static_cast<short>(sizeof items), items,
                                static_cast<short>(sizeof buffer), buffer),
         true);
    if (static_cast<std::uint8_t>(buffer[0]) != item)
        return notAnswered;
    const int length = ReadInfoInteger(lib, buffer + 1, 2);
    if (length <= 0 || length > static_cast<int>(sizeof buffer) - 3)
        return notAnswered;
    return ReadInfoInteger(lib, buffer + 3, length);
}

QString TFIBDatabase::DBInfoString(std::uint8_t item, int bufferSize)
{
    CheckActive(false);
    IIBClientLibrary* lib = ClientLibrary();
    QByteArray buffer(bufferSize, '\0');
    const char items[] = {static_cast<char>(item), static_cast<char>(isc_info_end)};
    Call(lib->isc_database_info(StatusVector(), &fHandle, static_cast<short>(sizeof items), items,
                                static_cast<short>(buffer.size()), buffer.data()),
         true);
    if (static_cast<std::uint8_t>(buffer[0]) != item)
        return {};
    const int length = ReadInfoInteger(lib, buffer.constData() + 1, 2);
    // A list of counted strings; the first one is the version text.
    if (length < 2 || length > bufferSize - 3)
        return {};
    const int textLength = static_cast<std::uint8_t>(buffer[4]);
    if (5 + textLength > bufferSize)
        return {};
    return QString::fromLatin1(buffer.constData() + 5, textLength);
}

QVariant TFIBDatabase::QueryValue(const QString& sql, TFIBTransaction* transaction)
{
    CheckActive(false);
    TFIBTransaction* tr = transaction ? transaction : fInternalTransaction.get();
    const bool startedHere = !tr->Active();
    if (startedHere)
        tr->StartTransaction();
    QVariant result;
    try {
        TFIBQuery query;
        query.SetName(Name() + QStringLiteral("_QueryValue"));
        query.SetDatabase(this);
        query.SetTransaction(tr);
        query.SetParamCheck(false);
        query.SQL().SetText(sql);
        query.ExecQuery();
        if (query.FieldCount() > 0 && !query.Eof()) {
            TFIBXSQLVAR& value = query.Fields(0);
            const short type = value.SQLType();
            // Dates and times as day numbers, the form the clock offset works with.
            if (value.IsNull())
                result = QVariant();
            else if (type == SQL_TIMESTAMP || type == SQL_TYPE_DATE || type == SQL_TYPE_TIME)
                result = value.AsDateTime();
            else
                result = value.AsVariant();
        }
        query.Close();
        query.FreeHandle();
    } catch (...) {
        if (startedHere && tr->Active())
            tr->EndTransaction(TARollback, true);
        throw;
    }
    if (startedHere)
        tr->Commit();
    return result;
}

qint64 TFIBDatabase::Gen_Id(const QString& generatorName, qint64 step, TFIBTransaction* transaction)
{
    QString name = generatorName.trimmed();
    if (!name.startsWith(u'"')) {
        if (fSQLDialect >= 3 && !UpperOldNames)
            name = u'"' + name + u'"';
        else
            name = name.toUpper();
    }
    bool refill = false;
    if (step == 1 && GeneratorsCache.ActiveFor(name)) {
        if (const std::optional<qint64> v = GeneratorsCache.Take(name))
            return *v;
        step = GeneratorsCache.StepFor(name);
        refill = true;
    }
    TFIBTransaction* tr = nullptr;
    for (TFIBTransaction* t : fTransactions)
        if (t && t->Active() && (t->DatabaseCount() <= 1 || t->DefaultDatabase() == this)) {
            tr = t;
            break;
        }
    if (!tr)
        tr = transaction;
    const QVariant value = QueryValue(
        QStringLiteral("select gen_id(") + name + QStringLiteral(", ") + QString::number(step) + QStringLiteral(") from RDB$DATABASE"),
        tr);
    if (refill) {
        // The block ending at the answer is this process's own: its first key now.
        GeneratorsCache.Reserved(name, value.toLongLong(), int(step));
        return *GeneratorsCache.Take(name);
    }
    return value.toLongLong();
}

int TFIBDatabase::AddFIBBase(TFIBBase* base)
{
    for (std::size_t i = 0; i < fFIBBases.size(); ++i)
        if (!fFIBBases[i]) {
            fFIBBases[i] = base;
            return static_cast<int>(i);
        }
    fFIBBases.push_back(base);
    return static_cast<int>(fFIBBases.size()) - 1;
}

void TFIBDatabase::RemoveFIBBase(int slot)
{
    if (slot >= 0 && slot < static_cast<int>(fFIBBases.size()))
        fFIBBases[static_cast<std::size_t>(slot)] = nullptr;
}

void TFIBDatabase::AddTransaction(TFIBTransaction* transaction)
{
    if (std::find(fTransactions.begin(), fTransactions.end(), transaction) == fTransactions.end())
        fTransactions.push_back(transaction);
}

void TFIBDatabase::RemoveTransaction(TFIBTransaction* transaction)
{
    std::erase(fTransactions, transaction);
    if (fDefaultTransaction == transaction)
        fDefaultTransaction = nullptr;
    if (fDefaultUpdateTransaction == transaction)
        fDefaultUpdateTransaction = nullptr;
}

bool TFIBDatabase::ExamineLostConnection(EFIBInterBaseError&) { return true; }

void TFIBDatabase::DropLostHandle()
{
    fConnectionLost = true;
    fHandle = 0;
    for (TFIBBase* base : std::vector<TFIBBase*>(fFIBBases))
        if (base)
            if (auto* statement = dynamic_cast<IFIBStatement*>(base->Owner()))
                statement->ForgetStatementHandle();
    for (TFIBTransaction* tr : std::vector<TFIBTransaction*>(fTransactions)) {
        if (!tr->Active())
            continue;
        tr->MarkHandleShared();
        tr->EndTransaction(TACommit, true);
    }
}
