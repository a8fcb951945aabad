// Failures and their kinds on both servers: a statement canceled from
// another thread, a lock wait that gives up, syntax, unknown tables and the
// statement time-out.
#include <atomic>
#include <chrono>
#include <thread>

#include "OdbcTestSupport.h"

using namespace odbctest;

namespace {

using FailureTest = OdbcServerTest;

std::wstring Sleep(const Server& server, int seconds) {
    return L"SELECT " + std::wstring(server.sleepFunction) + L"(" + std::to_wstring(seconds) + L")";
}

} // namespace

TEST_P(FailureTest, CancelEndsARunningStatementAndTheNextOneRuns) {
    auto statement = NewStatement();
    std::atomic<bool> done{false};
    // Cancel has no effect before the statement runs: ask until it ends.
    std::thread canceler([&] {
        OdbcDiagnostics ignored;
        while (!done) {
            statement->Cancel(ignored);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    OdbcDiagnostics diag;
    OdbcExecution execution;
    const bool ran = statement->ExecuteDirect(Sleep(GetParam(), 5), execution, diag);
    done = true;
    canceler.join();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(Has(diag, OdbcFailure::canceled)) << Describe(diag);

    diag.clear();
    ASSERT_TRUE(statement->ExecuteDirect(L"SELECT 42", execution, diag)) << Describe(diag);
    OdbcRowBlock block(1);
    block.Bind(1, OdbcValueType::int64);
    ASSERT_TRUE(statement->BindColumns(block, diag)) << Describe(diag);
    ASSERT_EQ(statement->Fetch(diag), OdbcFetch::rows) << Describe(diag);
    EXPECT_EQ(block.Value(0, 0).Int64(), 42);
}

TEST_P(FailureTest, ALockWaitGivesUpWithItsOwnKind) {
    const Server& server = GetParam();
    const std::wstring table = Table(L"id INT PRIMARY KEY, v INT");
    Run(L"INSERT INTO " + table + L" VALUES (1, 0)");
    OdbcDiagnostics diag;
    ASSERT_TRUE(m_connection.SetAutocommit(false, diag)) << Describe(diag);
    Run(L"UPDATE " + table + L" SET v = 1 WHERE id = 1"); // holds the row's lock
    OdbcConnection other;
    ASSERT_NO_FATAL_FAILURE(Connect(other));
    if (*server.shortLockWait)
        Run(server.shortLockWait, &other);
    auto waiting = NewStatement(&other);
    OdbcDiagnostics waited;
    OdbcExecution execution;
    const bool updated =
        waiting->ExecuteDirect(L"UPDATE " + table + L" SET v = 2 WHERE id = 1", execution, waited);
    EXPECT_TRUE(m_connection.Rollback(diag)) << Describe(diag);
    EXPECT_TRUE(m_connection.SetAutocommit(true, diag)) << Describe(diag);
    EXPECT_FALSE(updated);
    EXPECT_TRUE(Has(waited, OdbcFailure::lockTimeout)) << Describe(waited);
    if (std::string(server.name) == "MariaDB") {
        ASSERT_FALSE(waited.empty());
        EXPECT_EQ(waited.front().nativeError, 1205) << Describe(waited);
    }
}

TEST_P(FailureTest, FailuresAreJudgedByTheirKind) {
    struct Case {
        std::wstring text;
        std::uint32_t timeoutSeconds;
        OdbcFailure failure;
    };
    const Case cases[] = {
        {L"SELEC 1", 0, OdbcFailure::syntax},
        {L"SELECT * FROM odbc_no_such_table", 0, OdbcFailure::noTable},
        {Sleep(GetParam(), 4), 1, OdbcFailure::timeout},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(hdbtext::Utf8FromWide(c.text));
        auto statement = NewStatement();
        OdbcDiagnostics diag;
        ASSERT_TRUE(statement->SetQueryTimeout(c.timeoutSeconds, diag)) << Describe(diag);
        OdbcExecution execution;
        EXPECT_FALSE(statement->ExecuteDirect(c.text, execution, diag));
        EXPECT_TRUE(Has(diag, c.failure)) << Describe(diag);
    }
}

TEST_P(FailureTest, AStatementOnAKilledSessionFailsAsALostConnection) {
    const bool maria = std::string(GetParam().name) == "MariaDB";
    auto statement = NewStatement();
    OdbcDiagnostics diag;
    OdbcExecution execution;
    ASSERT_TRUE(statement->ExecuteDirect(
        maria ? L"SELECT CONNECTION_ID()" : L"SELECT pg_backend_pid()", execution, diag))
        << Describe(diag);
    OdbcRowBlock block(1);
    block.Bind(1, OdbcValueType::int64);
    ASSERT_TRUE(statement->BindColumns(block, diag)) << Describe(diag);
    ASSERT_EQ(statement->Fetch(diag), OdbcFetch::rows) << Describe(diag);
    const std::wstring id = std::to_wstring(block.Value(0, 0).Int64());
    statement->CloseCursor();
    OdbcConnection other;
    ASSERT_NO_FATAL_FAILURE(Connect(other));
    Run(maria ? L"KILL " + id : L"SELECT pg_terminate_backend(" + id + L")", &other);
    auto next = NewStatement();
    EXPECT_FALSE(next->ExecuteDirect(L"SELECT 1", execution, diag));
    EXPECT_TRUE(Has(diag, OdbcFailure::connectionLost)) << Describe(diag);
}

INSTANTIATE_TEST_SUITE_P(Servers, FailureTest, testing::ValuesIn(kServers), ServerName);
