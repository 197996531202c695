// Transactions on a real embedded database: buffers, starts and the four ends,
// failures of commit, the time-out, and the rules around databases and handles.

#include "DbTestSupport.h"
#include "dbaccess/FIBQuery.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <algorithm>
#include <map>
#include <QRegularExpression>
#include <QThread>

namespace {
QByteArray TPB(const QStringList& lines, bool fb21 = true)
{
    TFIBStringList list;
    list.Assign(lines);
    return BuildTPB(list, fb21);
}
}  // namespace

TEST(TransactionParams, NamesAndBytes)
{
    EXPECT_TRUE(TPB({}).isEmpty());
    EXPECT_EQ(TPB({""}), Bytes({3}));
    EXPECT_EQ(TPB({"write", "isc_tpb_nowait", "read_committed", "rec_version"}), Bytes({3, 9, 7, 15, 17}));
    EXPECT_EQ(TPB({"ISC_TPB_Concurrency", " wait "}), Bytes({3, 2, 6}));
    EXPECT_EQ(TPB({"lock_read=T1", "lock_write=AB"}), Bytes({3, 10, 2, 'T', '1', 11, 2, 'A', 'B'}));
    EXPECT_EQ(TPB({"lock_timeout=7"}), Bytes({3, 21, 2, 7, 0}));
    EXPECT_EQ(TPB({"lock_timeout=300"}), Bytes({3, 21, 2, 300 & 0xFF, 300 >> 8}));
    EXPECT_EQ(TPB({"lock_timeout=soon"}), Bytes({3, 21, 2, 10, 0}));
    EXPECT_EQ(TPB({"lock_timeout=7"}, false), Bytes({3, 21}));
    EXPECT_EQ(TPB({"no_savepoint"}, false), Bytes({3, 21}));
    EXPECT_EQ(ThrownMessage([] { TPB({"foo"}); }), "TPB Constant (foo) is unknown.");
    EXPECT_EQ(ThrownMessage([] { TPB({"isc_tpb_Autocommit"}); }), "TPB Constant (isc_tpb_autocommit) is unsupported.");
    EXPECT_EQ(ThrownMessage([] { TPB({"verb_time=1"}); }), "TPB Constant (isc_tpb_verb_time) is unsupported.");

    TFIBTransaction tr;
    tr.TRParams().Assign({"write", "isc_tpb_read"});
    EXPECT_TRUE(tr.IsReadOnly());
    tr.TRParams().Assign({"write", " read"});
    EXPECT_FALSE(tr.IsReadOnly());
}

class EmbeddedTransaction : public TDatabaseSuite<EmbeddedTransaction> {
public:
    static std::unique_ptr<TTestDatabaseFile> MakeFile()
    {
        return std::make_unique<TTestDatabaseFile>(
            "Tr.fdb", QStringList{
                          "create table T (ID integer, TXT varchar(20))",
                          "create exception E_NOCOMMIT 'commit refused by test'",
                          // Commits fail while the transaction carries the context variable FAIL.
                          "create trigger T_NOCOMMIT on transaction commit as begin "
                          "if (rdb$get_context('USER_TRANSACTION', 'FAIL') = '1') then exception E_NOCOMMIT; end"});
    }

protected:
    void SetUp() override
    {
        Connect(QStringLiteral("DB1"), QStringLiteral("WIN1252"), QStringLiteral("TR1"), false);
        Exec("delete from T");
    }
    // The objects end as in the program: the transaction by its own destructor.
    void TearDown() override
    {
        tr.reset();
        db.reset();
    }
    // Runs a statement in a transaction of its own and commits it.
    void Exec(const QString& sql)
    {
        TFIBTransaction own;
        own.AddDatabase(db.get());
        own.StartTransaction();
        own.ExecSQLImmediate(sql);
        own.Commit();
    }
    int Rows() { return db->QueryValue("select count(*) from T").toInt(); }

};

TEST_F(EmbeddedTransaction, StartCommitAndTheWrongStates)
{
    EXPECT_EQ(tr->TransactionID(), 0);
    EXPECT_EQ(ThrownMessage([&] { tr->Commit(); }), "TR1:" + CRLF + "TR1 :Transaction is not active.");
    EXPECT_EQ(ThrownMessage([&] { tr->ExecSQLImmediate("insert into T values (1, 'a')"); }),
              "TR1:" + CRLF + "TR1 :Transaction is not active.");
    tr->StartTransaction();
    EXPECT_TRUE(tr->Active());
    EXPECT_EQ(tr->State(), tsActive);
    // The ready-made mode wrote its lines before the start.
    EXPECT_EQ(tr->TRParams().Lines(), (QStringList{"write", "isc_tpb_nowait", "read_committed", "rec_version"}));
    EXPECT_EQ(tr->TPB(), QByteArray("\x03\x09\x07\x0f\x11"));
    const int id = tr->TransactionID();
    EXPECT_GT(id, 0);
    EXPECT_EQ(tr->TransactionID(), id);
    EXPECT_EQ(ThrownMessage([&] { tr->StartTransaction(); }), "TR1:" + CRLF + "TR1 :Transaction is active.");
    EXPECT_EQ(ThrownMessage([&] { tr->SetDefaultDatabase(nullptr); }),
              "TR1:" + CRLF + "TR1 :Transaction is active.");
    tr->ExecSQLImmediate("insert into T values (1, 'eins')");
    tr->Commit();
    EXPECT_FALSE(tr->Active());
    EXPECT_EQ(tr->State(), tsClosed);
    EXPECT_EQ(tr->TransactionID(), 0);
    EXPECT_EQ(Rows(), 1);
    const auto again = Caught<EFIBClientError>([&] { tr->Commit(); });
    ASSERT_TRUE(again) << "second commit accepted";
    EXPECT_EQ(again->SQLCode, 15);
    // Only with AutoReconnect does a statement connect and start on its own.
    db->Close();
    db->AutoReconnect = true;
    tr->ExecSQLImmediate("insert into T values (2, 'a')");
    EXPECT_TRUE(db->Connected());
    EXPECT_TRUE(tr->Active());
    tr->Commit();
    EXPECT_EQ(Rows(), 2);

    TFIBTransaction empty;
    empty.SetName("TR0");
    EXPECT_EQ(ThrownMessage([&] { empty.StartTransaction(); }),
              "TR0:" + CRLF + "TR0 :No databases are listed in transaction component.");
}

TEST_F(EmbeddedTransaction, RollbackRetainingEndsAndTheParameterLines)
{
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (1, 'x')");
    tr->Rollback();
    EXPECT_EQ(Rows(), 0);

    tr->StartTransaction();
    const isc_tr_handle handle = tr->Handle();
    const int firstId = tr->TransactionID();
    tr->ExecSQLImmediate("insert into T values (2, 'y')");
    tr->CommitRetaining();
    EXPECT_EQ(tr->Handle(), handle);
    EXPECT_EQ(tr->State(), tsActive);
    EXPECT_EQ(Rows(), 1);
    // The cached id was dropped; the server has a new one after the retaining end.
    EXPECT_GT(tr->TransactionID(), firstId);

    tr->ExecSQLImmediate("insert into T values (3, 'z')");
    tr->RollbackRetaining();
    EXPECT_EQ(tr->Handle(), handle);
    EXPECT_TRUE(tr->Active());
    tr->Commit();
    EXPECT_EQ(Rows(), 1);

    // An unknown line keeps the transaction closed; a ready-made mode replaces the lines.
    tr->TPBMode = tpbDefault;
    tr->TRParams().Assign({"write", "foo"});
    EXPECT_EQ(ThrownMessage([&] { tr->StartTransaction(); }), "TPB Constant (foo) is unknown.");
    EXPECT_FALSE(tr->Active());
    EXPECT_EQ(tr->StoredTRParams(), (QStringList{"write", "foo"}));

    tr->TPBMode = tpbRepeatableRead;
    tr->StartTransaction();
    EXPECT_EQ(tr->TRParams().Lines(), (QStringList{"write", "isc_tpb_nowait", "concurrency"}));
    EXPECT_TRUE(tr->StoredTRParams().isEmpty());
    // A snapshot does not see rows committed after its start.
    Exec("insert into T values (5, 'later')");
    EXPECT_EQ(db->QueryValue("select count(*) from T", tr.get()).toInt(), 1);
    tr->Commit();
    EXPECT_EQ(Rows(), 2);
}

TEST_F(EmbeddedTransaction, FailingCommitWithAndWithoutForce)
{
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (1, 'kept?')");
    tr->ExecSQLImmediate("execute block as begin rdb$set_context('USER_TRANSACTION', 'FAIL', '1'); end");
    const isc_tr_handle handle = tr->Handle();

    const QString text = ThrownMessage([&] { tr->Commit(); });
    EXPECT_TRUE(text.contains("Commit refused by test.")) << text.toStdString();
    EXPECT_TRUE(tr->Active());
    EXPECT_EQ(tr->Handle(), handle);
    EXPECT_EQ(tr->State(), tsDoCommit);

    // Forced, the failure is answered by a rollback and does not come out.
    EXPECT_NO_THROW(tr->EndTransaction(TACommit, true));
    EXPECT_FALSE(tr->Active());
    EXPECT_EQ(tr->State(), tsClosed);
    EXPECT_EQ(Rows(), 0);

    // Without database triggers the same commit goes through.
    db->Close();
    db->DBParams().Add("no_db_triggers=1");
    db->Open();
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (1, 'kept')");
    tr->ExecSQLImmediate("execute block as begin rdb$set_context('USER_TRANSACTION', 'FAIL', '1'); end");
    tr->Commit();
    EXPECT_EQ(Rows(), 1);
}

TEST_F(EmbeddedTransaction, HooksListsLinksAndTheLoggerInOrder)
{
    std::vector<QString> events;
    db->BeforeStartTransaction = [&](TFIBDatabase*, TFIBTransaction*) { events.push_back("db before start"); };
    db->AfterStartTransaction = [&](TFIBDatabase*, TFIBTransaction*) { events.push_back("db after start"); };
    db->BeforeEndTransaction = [&](TFIBDatabase*, TFIBTransaction*, TTransactionAction a, bool f) {
        events.push_back(QStringLiteral("db before end %1 %2").arg(a).arg(f));
    };
    db->AfterEndTransaction = [&](TFIBDatabase*, TFIBTransaction*, TTransactionAction, bool) {
        events.push_back("db after end");
    };
    tr->BeforeStart = [&](TComponent*) { events.push_back("before start"); };
    tr->AfterStart = [&](TComponent*) { events.push_back("after start"); };
    tr->BeforeEnd = [&](TFIBTransaction*, TTransactionAction, bool) { events.push_back("before end"); };
    tr->AfterEnd = [&](TFIBTransaction*, TTransactionAction, bool) { events.push_back("after end"); };
    TComponent listener;
    tr->BeforeStartEvents().Add(&listener, [&](TComponent*) { events.push_back("before-start list"); });
    tr->AfterEndEvents().Add(&listener, [&](TFIBTransaction* t, TTransactionAction a, bool f) {
        events.push_back(QStringLiteral("after-end list %1 %2 %3").arg(t == tr.get()).arg(a).arg(f));
    });
    TComponent owner;
    TFIBBase link(&owner);
    link.OnTransactionStarting = [&] { events.push_back("link starting"); };
    link.OnTransactionStarted = [&] { events.push_back("link started"); };
    link.OnTransactionEnding = [&] { events.push_back("link ending"); };
    link.OnTransactionEnded = [&] { events.push_back("link ended"); };
    link.SetTransaction(tr.get());
    TRecordingLogger logger;
    db->SQLLogger = &logger;

    tr->StartTransaction();
    const int id = tr->TransactionID();
    tr->CommitRetaining();
    EXPECT_EQ(events, (std::vector<QString>{"db before start", "before start", "link starting", "before-start list",
                                            "link started", "after start", "db after start", "db before end 3 0",
                                            "before end", "link ending", "link ended", "after-end list 1 3 0",
                                            "after end", "db after end"}));
    link.SetTransaction(nullptr);
    tr->Rollback();
    // The logger heard the starts and ends, then the connection's own steps.
    db->Close();
    db->Open();
    db->SQLLogger = nullptr;
    const QString params = "TransactionParams:" + CRLF + "write" + CRLF + "isc_tpb_nowait" + CRLF + "read_committed" +
                           CRLF + "rec_version";
    const QStringList own = logger.Lines.filter(QRegularExpression("^(TR1|DB1)\\|"));
    ASSERT_EQ(own.size(), 5) << own.join("\n").toStdString();
    EXPECT_EQ(own[0], QStringLiteral("TR1|StartTransaction(TransactionID=%1)|%2|%3").arg(id).arg(params).arg(lfTransact));
    EXPECT_EQ(own[1], QStringLiteral("TR1|CommitRetaining(TransactionID=%1) |%2|%3").arg(id).arg(params).arg(lfTransact));
    EXPECT_TRUE(own[2].startsWith("TR1|RollBack(TransactionID="));
    EXPECT_EQ(own[3], QStringLiteral("DB1|Disconnect||%1").arg(lfConnect));
    EXPECT_EQ(own[4], QStringLiteral("DB1|Connect||%1").arg(lfConnect));
}

TEST_F(EmbeddedTransaction, DatabasesOfATransaction)
{
    TFIBDatabase other;
    other.SetName("DB2");
    other.SetLibraryName("libother.so");
    EXPECT_EQ(tr->AddDatabase(nullptr), -1);
    EXPECT_EQ(tr->AddDatabase(db.get()), 0);
    EXPECT_EQ(ThrownMessage([&] { tr->AddDatabase(&other); }),
              "TR1." + CRLF + "Transaction can't work with different client library.");
    tr->BeginLoading();
    EXPECT_EQ(tr->AddDatabase(&other), -1);
    tr->EndLoading();
    EXPECT_EQ(tr->DatabaseCount(), 1);

    // A second attachment of the same file through the same library joins one transaction.
    auto second = MakeTestDatabase(Path(), "DB3");
    EXPECT_EQ(tr->AddDatabase(second.get(), "read\nconcurrency"), 1);
    tr->StartTransaction();
    EXPECT_TRUE(second->Connected());
    tr->ExecSQLImmediate("insert into T values (9, 'two dbs')");
    tr->Commit();
    EXPECT_EQ(Rows(), 1);

    // The default database replaces the old default in the list.
    tr->SetDefaultDatabase(second.get());
    EXPECT_EQ(tr->DefaultDatabase(), second.get());
    tr->SetDefaultDatabase(db.get());
    EXPECT_EQ(tr->FindDatabase(second.get()), -1);
    for (int i = 0; i < second->TransactionCount(); ++i)
        EXPECT_NE(second->Transactions(i), tr.get());

    // A database that goes away leaves the transaction.
    {
        TFIBDatabase gone;
        gone.SetLibraryName(ClientLibraryName);
        tr->AddDatabase(&gone);
        EXPECT_EQ(tr->DatabaseCount(), 2);
    }
    EXPECT_EQ(tr->DatabaseCount(), 1);
}

TEST_F(EmbeddedTransaction, SharedHandleAndDestruction)
{
    tr->TimeoutAction = TACommit;
    tr->StartTransaction();
    isc_tr_handle serverHandle = tr->Handle();
    tr->MarkHandleShared();
    EXPECT_EQ(ThrownMessage([&] { tr->Rollback(); }),
              "TR1:" + CRLF +
                  "Can't end a shared transaction unless it is forced and equal to the transaction's TimeoutAction.");
    tr->Commit();  // equal to TimeoutAction: ends without asking the server
    EXPECT_FALSE(tr->Active());
    IIBClientLibrary* lib = db->ClientLibrary();
    EXPECT_EQ(lib->isc_rollback_transaction(StatusVector(), &serverHandle), 0);

    // An active transaction that is destroyed ends with its TimeoutAction,
    // a retaining one read as the plain one.
    tr->TimeoutAction = TACommitRetaining;
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (4, 'destroyed')");
    tr.reset();
    EXPECT_EQ(Rows(), 1);

    // Disconnecting ends open transactions the same way (rollback by default).
    TFIBTransaction open;
    open.AddDatabase(db.get());
    open.StartTransaction();
    open.ExecSQLImmediate("insert into T values (5, 'dropped')");
    db->Close();
    EXPECT_FALSE(open.Active());
    db->Open();
    EXPECT_EQ(Rows(), 1);
}

TEST_F(EmbeddedTransaction, TextTravelsInTheConnectionCharacterSet)
{
    const QString word = QStringLiteral("Pr\u00fcfling \u00b5A \u20ac");
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (1, '" + word + "')");
    tr->Commit();
    EXPECT_EQ(db->QueryValue("select TXT from T where ID = 1").toString(), word);

    db->Close();
    SetLoginParams(*db, "UTF8");
    db->Open();
    EXPECT_EQ(db->QueryValue("select TXT from T where ID = 1").toString(), word);
    EXPECT_EQ(db->QueryValue("select char_length(TXT) from T where ID = 1").toInt(), word.size());
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (2, '" + word + "')");
    tr->Commit();
    EXPECT_EQ(db->QueryValue("select count(*) from T where TXT = '" + word + "'").toInt(), 2);
}

TEST_F(EmbeddedTransaction, LinksFollowDefaultsAndKeepTheirSlots)
{
    db->SetDefaultTransaction(tr.get());
    TComponent o1, o2, o3;
    TFIBBase b1(&o1), b2(&o2), b3(&o3);
    b1.SetDatabase(db.get());
    EXPECT_EQ(b1.Transaction(), tr.get());  // the database's default transaction is taken

    // Not while the owner is being loaded.
    o2.BeginLoading();
    b2.SetDatabase(db.get());
    EXPECT_EQ(b2.Transaction(), nullptr);
    o2.EndLoading();
    b2.SetTransaction(tr.get());
    b3.SetTransaction(tr.get());
    EXPECT_EQ(tr->FIBBaseCount(), 3);
    // Leaving moves the last link into the free slot and tells it so.
    b1.SetTransaction(nullptr);
    EXPECT_EQ(tr->FIBBaseCount(), 2);
    EXPECT_EQ(b3.TransactionSlot(), 0);
    EXPECT_EQ(tr->FIBBases(0), &b3);

    // A transaction that does not know the link's database puts the link on its own.
    TpFIBDatabase other;
    other.SetLibraryName(ClientLibraryName);
    TFIBTransaction otherTr;
    otherTr.AddDatabase(&other);
    b2.SetTransaction(&otherTr);
    EXPECT_EQ(b2.Database(), &other);

    // A transaction that goes away tells its links and leaves them without one.
    int freed = 0;
    b2.OnTransactionFree = [&] { ++freed; };
    {
        TFIBTransaction shortLived;
        shortLived.AddDatabase(&other);
        b2.SetTransaction(&shortLived);
    }
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(b2.Transaction(), nullptr);
    EXPECT_EQ(otherTr.FIBBaseCount(), 0);
}

namespace {
// A statement as the transaction sees it: its type, closing state and changed rows.
struct TStepReporter : TComponent, IFIBStatement {
    int Type = isc_info_sql_stmt_insert;
    bool Closing = false;
    int Changed = 0;
    int Asked = 0;
    int Unprepared = 0;
    void ForgetStatementHandle() override {}
    void UnprepareStatement() override { ++Unprepared; }
    int StatementSQLType() const override { return Type; }
    bool StatementClosing() const override { return Closing; }
    int StatementChangedRows() override
    {
        ++Asked;
        return Changed;
    }
};
}  // namespace

TEST_F(EmbeddedTransaction, UncommittedUpdatesAndStatementHooks)
{
    std::vector<QString> hooks;
    tr->BeforeSQLExecute = [&](TFIBTransaction*, TComponent*, int type) { hooks.push_back(QStringLiteral("before %1").arg(type)); };
    tr->AfterSQLExecute = [&](TFIBTransaction*, TComponent*, int type) { hooks.push_back(QStringLiteral("after %1").arg(type)); };
    tr->AfterFirstFetch = [&](TFIBTransaction*, TComponent*, int type) { hooks.push_back(QStringLiteral("fetch %1").arg(type)); };
    TStepReporter query;
    TComponent notAStatement;

    tr->StartTransaction();
    // Not watched: nothing is asked.
    query.Changed = 1;
    tr->SQLExecuted(&query, TSQLExecutedStep::AfterExecute);
    EXPECT_EQ(query.Asked, 0);
    EXPECT_FALSE(tr->HasUncommitedUpdates());

    tr->WatchUncommitedUpdates = true;
    tr->SQLExecuted(&notAStatement, TSQLExecutedStep::AfterExecute);
    EXPECT_FALSE(tr->HasUncommitedUpdates());
    query.Changed = 0;
    tr->SQLExecuted(&query, TSQLExecutedStep::AfterExecute);
    EXPECT_FALSE(tr->HasUncommitedUpdates());

    // A select is skipped after execute and at a close that is not its own.
    query.Type = isc_info_sql_stmt_select;
    query.Changed = 2;
    tr->SQLExecuted(&query, TSQLExecutedStep::AfterExecute);
    tr->SQLExecuted(&query, TSQLExecutedStep::CursorClose);
    EXPECT_FALSE(tr->HasUncommitedUpdates());
    query.Closing = true;
    tr->SQLExecuted(&query, TSQLExecutedStep::CursorClose);
    EXPECT_TRUE(tr->HasUncommitedUpdates());
    // Once set, the counts are not asked again until the transaction ends.
    const int asked = query.Asked;
    tr->SQLExecuted(&query, TSQLExecutedStep::CursorClose);
    EXPECT_EQ(query.Asked, asked);
    tr->CommitRetaining();
    EXPECT_FALSE(tr->HasUncommitedUpdates());

    hooks.clear();
    query.Type = isc_info_sql_stmt_update;
    for (TSQLExecutedStep step : {TSQLExecutedStep::BeforeExecute, TSQLExecutedStep::AfterExecute,
                                  TSQLExecutedStep::AfterFirstFetch, TSQLExecutedStep::CursorClose})
        tr->SQLExecuted(&query, step);
    tr->SQLExecuted(&notAStatement, TSQLExecutedStep::BeforeExecute);
    EXPECT_EQ(hooks, (std::vector<QString>{"before 3", "after 3", "fetch 3", "before 0"}));
    EXPECT_TRUE(tr->HasUncommitedUpdates());
    tr->Rollback();
    EXPECT_FALSE(tr->HasUncommitedUpdates());

    // In the form designer, an ended transaction unprepares its statements.
    TFIBBase link(&query);
    link.SetTransaction(tr.get());
    tr->StartTransaction();
    tr->CommitRetaining();
    tr->Commit();
    EXPECT_EQ(query.Unprepared, 0);
    tr->SetDesigning(true);
    tr->StartTransaction();
    tr->Commit();
    EXPECT_EQ(query.Unprepared, 1);
    link.SetTransaction(nullptr);
}

// ---------------------------------------------------------------- repairs

TEST_F(EmbeddedTransaction, StatementsFreedByAHandlerAreSkippedNotVisitedTwice)
{
    // Four links; the handler of the last one frees the second at the ending, and
    // the second's own handler frees the third at the ended notice.
    TComponent owner;
    std::vector<std::unique_ptr<TFIBBase>> links;
    std::map<TFIBBase*, int> ending, ended;
    for (int i = 0; i < 4; ++i)
        links.push_back(std::make_unique<TFIBBase>(&owner));
    TFIBBase* a = links[0].get();
    TFIBBase* c = links[2].get();
    TFIBBase* d = links[3].get();
    for (auto& link : links) {
        TFIBBase* self = link.get();
        link->OnTransactionEnding = [&, self] { ++ending[self]; };
        link->OnTransactionEnded = [&, self] { ++ended[self]; };
        link->SetTransaction(tr.get());
    }
    d->OnTransactionEnding = [&] {
        ++ending[d];
        links[1].reset();
    };
    a->OnTransactionEnded = [&] {
        ++ended[a];
        links[2].reset();
    };
    tr->StartTransaction();
    tr->Commit();
    EXPECT_EQ(ending, (std::map<TFIBBase*, int>{{a, 1}, {c, 1}, {d, 1}}));
    // The links walk in reverse: d and c hear of the end before a frees c.
    EXPECT_EQ(ended, (std::map<TFIBBase*, int>{{a, 1}, {c, 1}, {d, 1}}));
    EXPECT_EQ(tr->FIBBaseCount(), 2);

    // A handler that frees every link, itself included, ends the walk cleanly.
    for (auto& link : links)
        if (link)
            link->OnTransactionEnding = [&] { links.clear(); };
    tr->StartTransaction();
    tr->Rollback();
    EXPECT_EQ(tr->FIBBaseCount(), 0);
    EXPECT_FALSE(tr->Active());
}

namespace {
// Fetches rows one at a time, letting the event loop deliver timer ticks between
// two fetches, for at least the given number of milliseconds.
struct SlowFetch {
    std::vector<std::int64_t> Before;  // tick count just before each fetch
    int Rows = 0;
    bool Run(TFIBQuery& q, int milliseconds)
    {
        const std::int64_t end = FIBTickCount() + milliseconds;
        while (FIBTickCount() < end) {
            Before.push_back(FIBTickCount());
            if (!q.Open() || !q.Next())
                return false;
            ++Rows;
            QThread::msleep(5);
            QCoreApplication::processEvents();
        }
        return true;
    }
};
}  // namespace

TEST_F(EmbeddedTransaction, TheTimeoutEndsAnIdleTransactionAndAFetchCountsAsActivity)
{
    int timeouts = 0;
    tr->TimeoutAction = TACommit;
    tr->OnTimeout = [&](TComponent*) { ++timeouts; };
    tr->StartTransaction();
    tr->ExecSQLImmediate("insert into T values (9999, 'timed')");
    tr->SetTimeout(100);
    ASSERT_TRUE(WaitFor([&] { return !tr->Active(); }));
    EXPECT_EQ(timeouts, 1);
    EXPECT_EQ(Rows(), 1);
    tr->SetTimeout(0);
    EXPECT_EQ(tr->Timeout(), 0);

    Exec("execute block as declare i integer = 0; begin while (i < 5000) do begin "
         "insert into T values (:i, 'row'); i = i + 1; end end");
    tr->TimeoutAction = TARollback;
    timeouts = 0;
    tr->SetTimeout(100);
    tr->StartTransaction();
    TFIBQuery q;
    q.SetName("Q");
    q.SetDatabase(db.get());
    q.SetTransaction(tr.get());
    q.SQL().SetText("select ID from T order by ID");
    q.ExecQuery();
    // Seven intervals of fetching: a transaction that counted only other calls
    // would have been ended by its own timer under the open cursor.
    SlowFetch fetch;
    EXPECT_TRUE(fetch.Run(q, 700)) << "ended after " << fetch.Rows << " rows";
    EXPECT_TRUE(tr->Active());
    EXPECT_EQ(timeouts, 0);
    EXPECT_EQ(q.Current()[0].AsInteger(), fetch.Rows);  // row 0 came with the execution
    q.Close();
    tr->SetTimeout(0);
    tr->Commit();

    // The connection's idle time is measured from the last fetch as well.
    std::vector<std::pair<std::int64_t, std::int64_t>> ticks;  // (when, idle as reported)
    db->OnIdleConnect = [&](TFIBDatabase*, std::int64_t idle, TActionOnIdle& action) {
        ticks.emplace_back(FIBTickCount(), idle);
        action = aiKeepLiveConnect;
    };
    tr->StartTransaction();
    q.ExecQuery();
    db->SetTimeout(100);
    SlowFetch connection;
    EXPECT_TRUE(connection.Run(q, 700));
    db->SetTimeout(0);
    db->OnIdleConnect = nullptr;
    EXPECT_TRUE(db->Connected());
    for (const auto& [when, idle] : ticks) {
        // The last fetch that began before the tick bounds the idle time from above.
        const auto last = std::upper_bound(connection.Before.begin(), connection.Before.end(), when);
        ASSERT_NE(last, connection.Before.begin());
        EXPECT_LE(idle, when - *std::prev(last) + 1);
    }
    q.Close();
    tr->Commit();
}
