#include "DbTestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <stdexcept>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

std::unique_ptr<TpFIBDatabase> CreateTestDatabase(const QString& dbName, int dialect, const QString& name)
{
    auto db = std::make_unique<TpFIBDatabase>();
    db->SetName(name);
    db->SetLibraryName(ClientLibraryName);
    db->SetDBName(dbName);
    db->SetSQLDialect(dialect);
    db->DBParams().Assign({QStringLiteral("USER 'SYSDBA'"), QStringLiteral("PASSWORD '") + TestPassword + u'\'',
                           QStringLiteral("PAGE_SIZE 8192"), QStringLiteral("DEFAULT CHARACTER SET WIN1252")});
    db->CreateDatabase();
    db->Close();
    SetLoginParams(*db);
    return db;
}

void SetLoginParams(TFIBDatabase& db, const QString& charset)
{
    db.DBParams().Assign({QStringLiteral("user_name=SYSDBA"), QStringLiteral("password=") + TestPassword,
                          QStringLiteral("lc_ctype=") + charset});
}

std::unique_ptr<TpFIBDatabase> MakeTestDatabase(const QString& dbName, const QString& name, const QString& charset)
{
    auto db = std::make_unique<TpFIBDatabase>();
    db->SetName(name);
    db->SetLibraryName(ClientLibraryName);
    db->SetDBName(dbName);
    db->SetSQLDialect(3);
    SetLoginParams(*db, charset);
    return db;
}

std::unique_ptr<TpFIBDatabase> OpenTestDatabase(const QString& dbName, const QString& name, const QString& charset)
{
    auto db = MakeTestDatabase(dbName, name, charset);
    db->Open();
    return db;
}

std::unique_ptr<TpFIBTransaction> MakeTestTransaction(TpFIBDatabase& db, const QString& name, bool asDefault)
{
    auto tr = std::make_unique<TpFIBTransaction>();
    tr->SetName(name);
    tr->AddDatabase(&db);
    if (asDefault)
        db.SetDefaultTransaction(tr.get());
    return tr;
}

TTestDatabaseFile::TTestDatabaseFile(const QString& fileName, const QStringList& schema, const QStringList& rows,
                                     int dialect)
{
    if (!fDir.isValid())
        throw std::runtime_error("no temporary folder for the test database");
    fPath = fDir.filePath(fileName);
    auto db = CreateTestDatabase(fPath, dialect);
    if (schema.isEmpty() && rows.isEmpty())
        return;
    db->Open();
    TFIBTransaction tr;
    tr.AddDatabase(db.get());
    for (const QStringList* batch : {&schema, &rows}) {
        tr.StartTransaction();
        for (const QString& sql : *batch)
            tr.ExecSQLImmediate(sql);
        tr.Commit();
    }
    db->Close();
}

bool WaitFor(const std::function<bool()>& condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

QString ThrownMessage(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const Exception& e) {
        return e.Message();
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
    return {};
}

namespace {
int FreeLoopbackPort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0)
        return 0;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    int port = 0;
    socklen_t len = sizeof addr;
    if (::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    ::close(s);
    return port;
}

bool PortListening(int port)
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0)
        return false;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    const bool ok = ::connect(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    ::close(s);
    return ok;
}

const QString kFirebirdLib = QStringLiteral("/usr/lib/x86_64-linux-gnu/firebird/3.0");
const QString kFirebirdEtc = QStringLiteral("/etc/firebird/3.0");
}  // namespace

TPrivateServer::~TPrivateServer() { Stop(); }

bool TPrivateServer::Fail(const QString& reason)
{
    fReason = reason;
    Stop();
    return false;
}

QString TPrivateServer::ConnectString(const QString& path) const
{
    return QStringLiteral("127.0.0.1/%1:%2").arg(fPort).arg(path);
}

bool TPrivateServer::Start()
{
    const QString serverBinary = QStringLiteral("/usr/sbin/firebird");
    const QString security = QStringLiteral("/var/lib/firebird/3.0/system/security3.fdb");
    if (!QFile::exists(serverBinary))
        return Fail(serverBinary + QStringLiteral(" is not installed (package firebird3.0-server)"));
    if (!QFile::exists(security))
        return Fail(security + QStringLiteral(" is missing or not readable"));
    if (!fRoot.isValid())
        return Fail(QStringLiteral("no temporary folder for the server configuration"));
    fPort = FreeLoopbackPort();
    if (fPort == 0)
        return Fail(QStringLiteral("no free loopback port"));

    // A private root: the system configuration plus our address, port and security
    // database. The character set module must be a real copy, not a link.
    const QDir root(fRoot.path());
    root.mkpath(QStringLiteral("intl"));
    if (!QFile::copy(kFirebirdLib + QStringLiteral("/intl/libfbintl.so"), root.filePath("intl/libfbintl.so")))
        return Fail(QStringLiteral("cannot copy libfbintl.so into the private root"));
    QFile::link(kFirebirdEtc + QStringLiteral("/fbintl.conf"), root.filePath("intl/fbintl.conf"));
    for (const char* name : {"lib", "plugins", "UDF", "plugins.conf", "firebird.msg"}) {
        const QString target = QFileInfo(kFirebirdLib + u'/' + QLatin1String(name)).canonicalFilePath();
        QFile::link(target.isEmpty() ? kFirebirdLib + u'/' + QLatin1String(name) : target,
                    root.filePath(QLatin1String(name)));
    }
    if (!QFile::copy(security, root.filePath("security3.fdb")))
        return Fail(QStringLiteral("cannot copy the security database"));
    QFile::setPermissions(root.filePath("security3.fdb"), QFile::ReadOwner | QFile::WriteOwner);
    QFile conf(root.filePath("firebird.conf"));
    if (!conf.open(QIODevice::WriteOnly))
        return Fail(QStringLiteral("cannot write firebird.conf"));
    conf.write(QStringLiteral("include %1/firebird.conf\n"
                              "RemoteBindAddress = 127.0.0.1\n"
                              "RemoteServicePort = %2\n"
                              "SecurityDatabase = %3\n"
                              "ServerMode = Super\n")
                   .arg(kFirebirdEtc)
                   .arg(fPort)
                   .arg(root.filePath("security3.fdb"))
                   .toUtf8());
    conf.close();

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("FIREBIRD"), fRoot.path());

    QProcess isql;
    isql.setProcessEnvironment(env);
    isql.start(QStringLiteral("isql-fb"),
               {QStringLiteral("-q"), QStringLiteral("-user"), QStringLiteral("SYSDBA"), root.filePath("security3.fdb")});
    if (!isql.waitForStarted(10000))
        return Fail(QStringLiteral("isql-fb cannot be started (package firebird3.0-utils)"));
    isql.write(QStringLiteral("alter user SYSDBA password '%1' using plugin Srp; commit;\n").arg(TestPassword).toUtf8());
    isql.closeWriteChannel();
    if (!isql.waitForFinished(30000) || isql.exitCode() != 0)
        return Fail(QStringLiteral("setting the SYSDBA password failed: ") +
                    QString::fromLocal8Bit(isql.readAllStandardError()));

    fServer.setProcessEnvironment(env);
    fServer.setProcessChannelMode(QProcess::MergedChannels);
    fServer.start(serverBinary, {});
    if (!fServer.waitForStarted(10000))
        return Fail(QStringLiteral("the server process does not start: ") + fServer.errorString());
    QDeadlineTimer deadline(15000);
    while (!PortListening(fPort)) {
        if (fServer.state() != QProcess::Running)
            return Fail(QStringLiteral("the server ended at once: ") + QString::fromLocal8Bit(fServer.readAll()));
        if (deadline.hasExpired())
            return Fail(QStringLiteral("the server does not listen on port %1").arg(fPort));
        QThread::msleep(20);
    }
    return true;
}

void TPrivateServer::Stop()
{
    if (fServer.state() == QProcess::NotRunning)
        return;
    // A server may ignore the polite request; the fallback kills and reaps it.
    fServer.terminate();
    if (!fServer.waitForFinished(5000)) {
        fServer.kill();
        fServer.waitForFinished(5000);
    }
}
