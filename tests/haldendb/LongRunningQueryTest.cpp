// Long-running queries: a watcher thread asks the caller's callback and
// cancels the running statement on its word. Real cancels run against SQLite
// with a query that never ends on its own.
#include "CommandSupport.h"

#include "haldendb/TransactionClass.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using commandtest::SqliteSource;
using Cancel = CCommandClass::CancelLongRunningQuery;

namespace {

using LongRunningQuery = commandtest::SqliteCommandTest;
using LongRunningQueryCancelScope = commandtest::SqliteCommandTest;

// Counts without end: only a cancel stops it.
const wchar_t EndlessQuery[] = L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                               L"SELECT count(*) FROM c";

} // namespace

TEST_F(LongRunningQuery, TheCallbacksYesCancelsStatementsAndSelectsQuietly) {
    for (const bool select : {false, true}) {
        SCOPED_TRACE(select);
        std::atomic<int> asked{0};
        std::thread::id asker;
        auto cancel = std::make_shared<Cancel>([&](Cancel& self) {
            EXPECT_EQ(&self, command->GetPtrCancelLongRunningQuery().get());
            asker = std::this_thread::get_id();
            // Give the statement time to get going, as a polling caller would.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return ++asked >= 2;
        });
        command->SetPtrCancelLongRunningQuery(cancel);
        ASSERT_TRUE(command->IsLongRunningQuery());

        const auto start = std::chrono::steady_clock::now();
        LONGLONG affected = 5;
        EXPECT_FALSE(select ? command->SelectExecute(EndlessQuery)
                            : command->Execute(EndlessQuery, &affected));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        EXPECT_EQ(affected, select ? 5 : 0);
        EXPECT_EQ(asked.load(), 2);
        EXPECT_NE(asker, std::this_thread::get_id());
        EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
        EXPECT_TRUE(db.errors.reports.empty());
        EXPECT_EQ(static_cast<ICommandText*>(*command), nullptr);
        EXPECT_EQ(command->GetRowSet(), nullptr);

        // The outcome stays; the command runs the next statement normally.
        command->SetPtrCancelLongRunningQuery(nullptr);
        EXPECT_TRUE(command->SelectExecute(L"SELECT 1 AS v"));
        EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    }
}

TEST_F(LongRunningQuery, ANoOrNoCallbackLetsTheStatementFinish) {
    db.Exec(L"CREATE TABLE lr (a INTEGER)");

    auto never = std::make_shared<Cancel>([](Cancel&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return false;
    });
    command->SetPtrCancelLongRunningQuery(never);
    LONGLONG affected = 0;
    EXPECT_TRUE(command->Execute(L"INSERT INTO lr SELECT 1 UNION ALL SELECT 2", &affected));
    EXPECT_EQ(affected, 2);
    EXPECT_EQ(never->GetOutcome(), Cancel::eNotAttempted);

    auto silent = std::make_shared<Cancel>();
    EXPECT_FALSE(silent->HasCallback());
    command->SetPtrCancelLongRunningQuery(silent);
    ASSERT_TRUE(command->SelectExecute(
        L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 200000) "
        L"SELECT count(*) AS n FROM c"));
    CRowSet& rowset = *command->GetRowSet();
    const size_t n = rowset.GetColumnsOrdinal(L"n");
    ASSERT_TRUE(rowset.FetchNext());
    EXPECT_EQ(rowset.GetCurrColumnsInt64(n), 200000);
    EXPECT_EQ(silent->GetOutcome(), Cancel::eNotAttempted);

    // A failing statement on this path is reported as on the plain one.
    EXPECT_FALSE(command->Execute(L"SELECT * FROM nowhere", nullptr));
    EXPECT_EQ(db.errors.reports.size(), 1u);
}

TEST_F(LongRunningQuery, ACallbackMayDropTheCommandsPointerToItsCancelObject) {
    auto asked = std::make_shared<std::atomic<int>>(0);
    // The command holds the only reference; the callback drops it and then
    // still reads its own captures, which must outlive the question.
    command->SetPtrCancelLongRunningQuery(std::make_shared<Cancel>(
        [raw = command.get(), asked, label = std::wstring(64, L'x')](Cancel&) {
            // Callbacks pace the watcher; this one lets the statement start
            // first, as a caller's polling interval would.
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            raw->SetPtrCancelLongRunningQuery(nullptr);
            ++*asked;
            return label.size() == 64;
        }));
    EXPECT_FALSE(command->Execute(EndlessQuery, nullptr));
    EXPECT_EQ(asked->load(), 1);
    EXPECT_FALSE(command->IsLongRunningQuery());
    EXPECT_TRUE(db.errors.reports.empty());
    // Without a cancel object the next statement runs the plain way.
    EXPECT_TRUE(command->Execute(L"SELECT 1", nullptr));
}

TEST_F(LongRunningQueryCancelScope, ACancelEndsItsStatementAndNothingElseOfTheSession) {
    db.Exec(L"CREATE TABLE t (id INTEGER)");
    // Commands made from one transaction object share its session: one
    // reads a result half way while the other's statement is cancelled.
    CTransactionClass transaction(db.source);
    auto reader = std::make_shared<CExtCommandClass>(transaction);
    ASSERT_TRUE(reader->SelectExecute(L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
                                      L"FROM c WHERE x < 100) SELECT x FROM c"));
    CRowSet& rows = *reader->GetRowSet();
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(rows.FetchNext());

    auto runner = std::make_shared<CExtCommandClass>(transaction);
    auto cancel = std::make_shared<Cancel>([](Cancel&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return true;
    });
    runner->SetPtrCancelLongRunningQuery(cancel);
    EXPECT_FALSE(runner->Execute(EndlessQuery, nullptr));
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    runner->SetPtrCancelLongRunningQuery(nullptr);

    EXPECT_TRUE(runner->Execute(L"INSERT INTO t VALUES (1)", nullptr));
    EXPECT_EQ(hdbtest::SqliteClient(db.path).Text("SELECT coalesce(group_concat(id), '') FROM t"),
              "1");
    int more = 0;
    while (rows.FetchNext())
        ++more;
    EXPECT_EQ(more, 70);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(LongRunningQueryCancelScope, AnImmediateCancelEndsAStatementThatHadNotStarted) {
    db.Exec(L"CREATE TABLE t (id INTEGER)");
    // The watcher may ask before the statement runs or even before the
    // provider's Execute was called; the cancel must reach it either way.
    // The count ends, but only long after any test.
    auto cancel = std::make_shared<Cancel>([](Cancel&) { return true; });
    command->SetPtrCancelLongRunningQuery(cancel);
    EXPECT_FALSE(command->Execute(L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM "
                                  L"c WHERE x < 5000000000) INSERT INTO t SELECT count(*) FROM c",
                                  nullptr));
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    EXPECT_TRUE(db.errors.reports.empty());
    command->SetPtrCancelLongRunningQuery(nullptr);
    EXPECT_TRUE(command->Execute(L"INSERT INTO t VALUES (2)", nullptr));
    EXPECT_EQ(hdbtest::SqliteClient(db.path).Text("SELECT coalesce(group_concat(id), '') FROM t"),
              "2");
}
