// Long-running queries: a watcher thread asks the caller's callback and
// cancels the running statement on its word. Real cancels run against SQLite
// with a query that never ends on its own.
#include "CommandSupport.h"

#include <atomic>
#include <chrono>
#include <thread>

using commandtest::SqliteSource;
using Cancel = CCommandClass::CancelLongRunningQuery;

namespace {

// Counts without end: only a cancel stops it.
const wchar_t EndlessQuery[] = L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                               L"SELECT count(*) FROM c";

} // namespace

TEST(LongRunningQuery, TheCallbacksYesCancelsQuietly) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
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
    EXPECT_FALSE(command->Execute(EndlessQuery, &affected));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(affected, 0);
    EXPECT_EQ(asked.load(), 2);
    EXPECT_NE(asker, std::this_thread::get_id());
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    EXPECT_TRUE(db.errors.reports.empty());
    EXPECT_EQ(static_cast<ICommandText*>(*command), nullptr);

    // The outcome stays; the command runs the next statement normally.
    command->SetPtrCancelLongRunningQuery(nullptr);
    EXPECT_TRUE(command->SelectExecute(L"SELECT 1 AS v"));
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
}

TEST(LongRunningQuery, SelectsAreCancelledTheSameWay) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
    auto cancel = std::make_shared<Cancel>([](Cancel&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return true;
    });
    command->SetPtrCancelLongRunningQuery(cancel);
    EXPECT_FALSE(command->SelectExecute(EndlessQuery));
    EXPECT_EQ(command->GetRowSet(), nullptr);
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST(LongRunningQuery, ANoOrNoCallbackLetsTheStatementFinish) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    db.Exec(L"CREATE TABLE lr (a INTEGER)");
    auto command = db.Command();

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

TEST(LongRunningQuery, ACallbackMayDropTheCommandsPointerToItsCancelObject) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
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
