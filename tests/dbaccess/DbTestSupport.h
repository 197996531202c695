#pragma once
// Shared helpers of the database tests: the real client library, fresh database
// files in a temporary folder, waiting on the event loop, and a private server on
// a free loopback port.

#include "dbaccess/pFIBDataSet.h"
#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"

#include <QStringList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <functional>
#include <initializer_list>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

inline const QString ClientLibraryName = QStringLiteral("libfbclient.so.2");
inline const QString TestPassword = QStringLiteral("masterkey");
// The line end the layer's composed messages use.
inline const QString CRLF = QStringLiteral("\r\n");

// Puts back the error display flags a test changes.
struct TErrorFlagsGuard {
    std::uint8_t Saved = ErrorDisplayFlags();
    ~TErrorFlagsGuard() { SetErrorDisplayFlags(Saved); }
};

// Every line the layer logs, as "name|operation|value|flag".
struct TRecordingLogger : ISQLLogger {
    QStringList Lines;
    void WriteData(const QString& name, const QString& operation, const QString& value, TLogFlag flag) override
    {
        Lines << QStringLiteral("%1|%2|%3|%4").arg(name, operation, value).arg(flag);
    }
};

// Creates a database file (or server path) through the layer's own CreateDatabase
// and leaves the object closed, with DBParams set for a normal connect.
std::unique_ptr<TpFIBDatabase> CreateTestDatabase(const QString& dbName, int dialect = 3,
                                                  const QString& name = QStringLiteral("DB1"));
// Sets the parameters a connect as SYSDBA with the test password needs.
void SetLoginParams(TFIBDatabase& db, const QString& charset = QStringLiteral("WIN1252"));
// A connection to an existing test database, dialect 3, not opened.
std::unique_ptr<TpFIBDatabase> MakeTestDatabase(const QString& dbName, const QString& name = QStringLiteral("DB"),
                                                const QString& charset = QStringLiteral("WIN1252"));
// The same, opened.
std::unique_ptr<TpFIBDatabase> OpenTestDatabase(const QString& dbName, const QString& name = QStringLiteral("DB"),
                                                const QString& charset = QStringLiteral("WIN1252"));
// A transaction on db, not started; made db's default when asked.
std::unique_ptr<TpFIBTransaction> MakeTestTransaction(TpFIBDatabase& db, const QString& name = QStringLiteral("TR"),
                                                      bool asDefault = true);

// A database file made for one suite in a temporary folder of its own; folder and
// file go with the object. The schema's statements are committed before the rows'.
class TTestDatabaseFile {
public:
    TTestDatabaseFile(const QString& fileName, const QStringList& schema = {}, const QStringList& rows = {},
                      int dialect = 3);
    const QString& Path() const { return fPath; }
    // Another file in the same folder.
    QString FilePath(const QString& name) const { return fDir.filePath(name); }

private:
    QTemporaryDir fDir;
    QString fPath;
};

// A suite whose tests share one database file: Suite::MakeFile() before its first
// test, gone after its last. A test connects with a transaction of its own, which is
// rolled back and closed after it.
template <class Suite>
class TDatabaseSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sFile = Suite::MakeFile(); }
    static void TearDownTestSuite() { sFile.reset(); }
    static const QString& Path() { return sFile->Path(); }
    void Connect(const QString& dbName = QStringLiteral("DB"), const QString& charset = QStringLiteral("WIN1252"),
                 const QString& trName = QStringLiteral("TR"), bool trAsDefault = true)
    {
        db = OpenTestDatabase(Path(), dbName, charset);
        tr = MakeTestTransaction(*db, trName, trAsDefault);
    }
    void TearDown() override
    {
        ds.reset();
        if (tr && tr->Active())
            tr->Rollback();
        tr.reset();
        if (db)
            db->Close();
        db.reset();
    }
    // A dataset on the test's connection and transaction, not opened.
    std::unique_ptr<TpFIBDataSet> MakeDataSet(const QString& sql)
    {
        auto d = std::make_unique<TpFIBDataSet>();
        d->SetName("DS");
        d->SetDatabase(db.get());
        d->SetTransaction(tr.get());
        d->SetSelectSQL(sql);
        return d;
    }
    // A statement named Q on the test's connection and transaction, not prepared.
    std::unique_ptr<TpFIBQuery> Query(const QString& sql)
    {
        auto q = std::make_unique<TpFIBQuery>();
        q->SetName("Q");
        q->SetDatabase(db.get());
        q->SetTransaction(tr.get());
        q->SQL().SetText(sql);
        return q;
    }
    // First column of the first row, computed by the server; null without a row.
    QVariant Server(const QString& sql)
    {
        auto q = Query(sql);
        q->ExecQuery();
        return q->Eof() ? QVariant() : q->Fields(0).AsVariant();
    }

    static inline std::unique_ptr<TTestDatabaseFile> sFile;
    std::unique_ptr<TpFIBDatabase> db;
    std::unique_ptr<TpFIBTransaction> tr;
    std::unique_ptr<TpFIBDataSet> ds;
};

// A byte string from its values, for parameter blocks spelt out by hand.
inline QByteArray Bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(static_cast<char>(v));
    return out;
}

// Pumps the event loop until condition holds or timeoutMs passed; answers condition().
bool WaitFor(const std::function<bool()>& condition, int timeoutMs = 5000);

// The message of whatever fn throws; empty when it throws nothing.
QString ThrownMessage(const std::function<void()>& fn);

// The exception of type E that fn throws; empty, and a failure of the test, when it throws none.
template <class E>
std::optional<E> Caught(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const E& e) {
        return e;
    }
    ADD_FAILURE() << "no exception";
    return std::nullopt;
}

// A Firebird server of its own on 127.0.0.1, started from a private configuration
// folder with its own security database. Reason() tells why Start() failed.
class TPrivateServer {
public:
    ~TPrivateServer();
    bool Start();
    void Stop();
    int Port() const { return fPort; }
    QString Reason() const { return fReason; }
    QString Folder() const { return fRoot.path(); }
    // "127.0.0.1/<port>:<absolute path>"
    QString ConnectString(const QString& path) const;

private:
    bool Fail(const QString& reason);
    QTemporaryDir fRoot;
    QProcess fServer;
    int fPort = 0;
    QString fReason;
};
