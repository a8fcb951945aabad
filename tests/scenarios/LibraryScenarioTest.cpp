// What an application does with the library, on every database: connect,
// write and read every column type in batches, transactions, cancel, reports
// in both languages, catalogs, a lost server session, and a lock wait retried.
// What the library wrote is read back by the backend's independent client,
// what it reads was written by that client.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "StringConversion.h"
#include "TestSupport.h"
#include "conformance/Context.h"
#include "haldendb/ExtCommandClass.h"
#include "haldendb/SchemaClass.h"
#include "haldendb/TransactionClass.h"

namespace {

using conformance::Context;
using conformance::Row;
using hdbtest::ReportCollector;

struct Target {
    CBaseOLEDBClass::enumSQLDatabaseType type;
    CBaseOLEDBClass::enumOLEDBProvider provider;
};

Target TargetOf(const std::string& backend) {
    if (backend == "mariadb")
        return {CBaseOLEDBClass::eMySQL, CBaseOLEDBClass::eProviderODBC};
    if (backend == "postgres")
        return {CBaseOLEDBClass::eLimitDialectDatabase, CBaseOLEDBClass::eProviderODBC};
    return {CBaseOLEDBClass::eGenericDatabase, CBaseOLEDBClass::eProvider5};
}

class LibraryScenario : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        std::string why;
        m_context = conformance::MakeContext(GetParam(), why);
        ASSERT_TRUE(m_context) << why;
        m_table = L"lib_" + std::to_wstring(getpid()) + L"_" +
                  std::to_wstring(::testing::UnitTest::GetInstance()->random_seed()) +
                  std::to_wstring(++s_tables);
        m_context->CheckerExec(L"DROP TABLE IF EXISTS " + m_table);
        m_source = Connect();
        ASSERT_TRUE(m_source->IsConnected()) << Reports();
    }
    void TearDown() override {
        m_source.reset();
        if (m_context)
            m_context->CheckerExec(L"DROP TABLE IF EXISTS " + m_table);
    }

    std::shared_ptr<CDataSource> Connect(const std::wstring& extra = L"") {
        const Target target = TargetOf(GetParam());
        auto source = std::make_shared<CDataSource>(target.type);
        source->SetCallBackForErrorMessages(&ReportCollector::Collect, &m_errors);
        source->Connect(target.provider, m_context->DataSource() + extra, m_context->User(),
                        m_context->Password(), L"");
        return source;
    }

public:
    std::shared_ptr<CExtCommandClass> Command() {
        int reconnected = 0;
        return std::make_shared<CExtCommandClass>(m_source, reconnected);
    }

protected:
    bool Exec(const std::wstring& sql) { return Command()->Execute(sql, nullptr); }
    std::string Reports() const {
        std::string out;
        for (const auto& r : m_errors.reports)
            out +=
                " | " + hdbtext::Utf8FromWide(r.caption) + ": " + hdbtext::Utf8FromWide(r.message);
        return out;
    }
    bool IsServer() const { return GetParam() != "sqlite"; }

    static inline int s_tables = 0;
    hdbtest::SettingsIsolation m_settings;
    std::unique_ptr<Context> m_context;
    ReportCollector m_errors;
    std::shared_ptr<CDataSource> m_source;
    std::wstring m_table;
};

CBasicStringView<wchar_t> Sql(const std::wstring& text) {
    return CBasicStringView<wchar_t>(text);
}

std::wstring Text(CRowSet& rows, size_t ordinal) {
    const wchar_t* text = rows.GetCurrColumnsWchar(ordinal);
    return text ? text : L"";
}

TEST_P(LibraryScenario, WritesAndReadsEveryColumnTypeInBatchesWithNulls) {
    Context& c = *m_context;
    ASSERT_TRUE(Exec(L"CREATE TABLE " + m_table + L" (id INTEGER, big " + c.BigIntType() +
                     L", amount DECIMAL(12,3), ratio " + c.DoubleType() + L", flag " +
                     c.BoolType() + L", day DATE, at " + c.TimestampType() +
                     L", name VARCHAR(20))"))
        << Reports();
    // More rows than one fetch of the library (20), so that rows arrive in batches.
    const int rows = 45;
    for (int i = 1; i <= rows; ++i) {
        const std::wstring n = std::to_wstring(i);
        ASSERT_TRUE(Exec(L"INSERT INTO " + m_table + L" VALUES (" + n + L", " + n +
                         L"000000000000, " + n + L".125, " + n + L".5, " +
                         (i % 2 ? L"TRUE" : L"FALSE") + L", '2024-02-" + (i < 10 ? L"0" : L"") +
                         std::to_wstring(i % 28 + 1) + L"', '2024-03-01 10:11:12', 'n\u00e4me " +
                         n + L"')"))
            << Reports();
    }
    ASSERT_TRUE(
        Exec(L"INSERT INTO " + m_table + L" (id) VALUES (" + std::to_wstring(rows + 1) + L")"));
    EXPECT_EQ(c.CheckerQuery(L"SELECT count(*), sum(id) FROM " + m_table),
              (std::vector<Row>{{L"46", L"1081"}}));

    auto command = Command();
    ASSERT_TRUE(command->SelectExecute(
        Sql(L"SELECT id, big, amount, ratio, flag, at, name FROM " + m_table + L" ORDER BY id")))
        << Reports();
    CRowSet& set = *command->GetRowSet();
    size_t id = 0, big = 0, amount = 0, ratio = 0, flag = 0, at = 0, name = 0;
    for (auto [column, ordinal] : {std::pair{L"id", &id},
                                   {L"big", &big},
                                   {L"amount", &amount},
                                   {L"ratio", &ratio},
                                   {L"flag", &flag},
                                   {L"at", &at},
                                   {L"name", &name}})
        *ordinal = set.GetColumnsOrdinal(column);
    int seen = 0;
    while (set.FetchNext()) {
        ++seen;
        if (seen > rows) {
            EXPECT_EQ(set.GetCurrColumnsInt64(big), 0);
            EXPECT_EQ(Text(set, name), L"");
            continue;
        }
        EXPECT_EQ(set.GetCurrColumnsInt64(id), seen);
        EXPECT_EQ(set.GetCurrColumnsInt64(big), seen * 1000000000000LL);
        EXPECT_DOUBLE_EQ(set.GetCurrColumnsLONG(amount), seen + 0.125);
        EXPECT_DOUBLE_EQ(set.GetCurrColumnsLONG(ratio), seen + 0.5);
        EXPECT_EQ(set.GetCurrColumnsInt64(flag), seen % 2);
        const CTime stamp = set.GetCurrColumnsDateTime(at);
        EXPECT_EQ(stamp.GetYear() * 10000 + stamp.GetMonth() * 100 + stamp.GetDay(), 20240301);
        EXPECT_EQ(stamp.GetHour() * 10000 + stamp.GetMinute() * 100 + stamp.GetSecond(), 101112);
        EXPECT_EQ(Text(set, name), L"n\u00e4me " + std::to_wstring(seen));
    }
    EXPECT_EQ(seen, rows + 1) << Reports();
}

TEST_P(LibraryScenario, CommittedAndRolledBackWorkAsAnotherConnectionSeesIt) {
    ASSERT_TRUE(Exec(L"CREATE TABLE " + m_table + L" (id INTEGER)"));
    for (bool commit : {true, false}) {
        CTransactionClass transaction(m_source);
        ASSERT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr))
            << Reports();
        auto command = std::make_shared<CExtCommandClass>(transaction);
        ASSERT_TRUE(command->Execute(L"INSERT INTO " + m_table + L" VALUES (" +
                                         std::to_wstring(commit ? 1 : 2) + L")",
                                     nullptr));
        command->Release();
        EXPECT_TRUE(commit ? transaction.CommitTransaction(false, XACTTC_SYNC, 0)
                           : transaction.RollbackTransaction(nullptr, false, false))
            << Reports();
    }
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT id FROM " + m_table), (std::vector<Row>{{L"1"}}));
}

TEST_P(LibraryScenario, CancelEndsALongQueryAndTheDataSourceGoesOn) {
    auto command = Command();
    const auto start = std::chrono::steady_clock::now();
    auto cancel = std::make_shared<CCommandClass::CancelLongRunningQuery>([start](auto&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(300);
    });
    command->SetPtrCancelLongRunningQuery(cancel);
    const bool ran =
        command->SelectExecute(Sql(m_context->SleepQuery(5))) && command->GetRowSet()->FetchNext();
    EXPECT_FALSE(ran);
    EXPECT_EQ(cancel->GetOutcome(), CCommandClass::CancelLongRunningQuery::eCanceled);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    command->SetPtrCancelLongRunningQuery(nullptr);
    ASSERT_TRUE(Command()->SelectExecute(L"SELECT 42 AS v")) << Reports();
}

TEST_P(LibraryScenario, AFailureIsReportedWithItsSqlStateInEnglishAndGerman) {
    const std::pair<LANGID, const wchar_t*> languages[] = {
        {MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), L"OLE DB Error: Can't execute command"},
        {MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), L"OLE DB Fehler: Kann das Kommando nicht ausf"}};
    for (const auto& [language, caption] : languages) {
        hdbtest::ThreadLanguage thread(language);
        m_errors.reports.clear();
        EXPECT_FALSE(Exec(L"SELECT * FROM " + m_table + L"_missing"));
        ASSERT_FALSE(m_errors.reports.empty());
        const hdbtest::Report& report = m_errors.reports[0];
        EXPECT_EQ(report.caption.find(caption), 0u) << Reports();
        // The database's own state for an unknown table.
        const bool stated = report.message.find(L"SQL State: 42S02") != std::wstring::npos ||
                            report.message.find(L"SQL State: 42P01") != std::wstring::npos ||
                            GetParam() == "sqlite";
        EXPECT_TRUE(stated) << Reports();
        EXPECT_NE(report.message.find(m_table + L"_missing"), std::wstring::npos) << Reports();
    }
}

TEST_P(LibraryScenario, TheCatalogsHoldTheTestDatabase) {
    CSchemaClass schema(*m_source);
    CStringArray databases;
    ASSERT_TRUE(schema.GetDatabases(databases)) << Reports();
    bool found = false;
    for (int i = 0; i < databases.GetSize(); ++i)
        found = found || std::wstring(databases[i].GetString()) == m_context->ExpectedCatalog();
    EXPECT_TRUE(found);
}

// The number in column id of the first row of query, run by the library's
// next command; -1 when there is none.
long long SessionId(LibraryScenario& scenario, const std::wstring& query) {
    auto command = scenario.Command();
    if (!command->SelectExecute(Sql(query)) || !command->GetRowSet()->FetchNext())
        return -1;
    return command->GetRowSet()->GetCurrColumnsInt64(
        command->GetRowSet()->GetColumnsOrdinal(L"id"));
}

// Scenarios of a server: its sessions can be killed and its rows locked by
// another connection.
using ServerScenario = LibraryScenario;

TEST_P(ServerScenario, AKilledSessionIsReportedAsLostAndTheLibraryConnectsAgain) {
    const bool maria = GetParam() == "mariadb";
    const long long id = SessionId(*this, maria ? L"SELECT CONNECTION_ID() AS id"
                                                : L"SELECT pg_backend_pid() AS id");
    ASSERT_GT(id, 0) << Reports();
    m_context->CheckerExec(maria ? L"KILL " + std::to_wstring(id)
                                 : L"SELECT pg_terminate_backend(" + std::to_wstring(id) + L")");
    m_errors.reports.clear();
    EXPECT_FALSE(Exec(L"SELECT 1"));
    ASSERT_FALSE(m_errors.reports.empty());
    // The drivers' own records: MariaDB's states the lost connection (08S01),
    // psqlODBC's gives the server's message under a general state.
    EXPECT_NE(
        m_errors.reports[0].message.find(maria ? L"SQL State: 08S01" : L"terminating connection"),
        std::wstring::npos)
        << Reports();
    EXPECT_FALSE(m_source->IsConnected());
    // The next command finds the data source down and connects it again.
    EXPECT_TRUE(Exec(L"SELECT 1")) << Reports();
    EXPECT_TRUE(m_source->IsConnected());
}

// MariaDB reports a lock wait that gave up with native error 1205, the
// number the library retries an execution for.
using LockWaitScenario = LibraryScenario;

TEST_P(LockWaitScenario, ALockWaitThatGivesUpIsRetriedUntilTheLockIsGone) {
    ASSERT_TRUE(Exec(L"CREATE TABLE " + m_table + L" (id INT PRIMARY KEY, v INT)"));
    ASSERT_TRUE(Exec(L"INSERT INTO " + m_table + L" VALUES (1, 0)"));
    m_source = Connect(L";INITSTMT={SET SESSION innodb_lock_wait_timeout=1}");
    ASSERT_TRUE(m_source->IsConnected()) << Reports();
    // Each wait gives up after a second, so the update cannot succeed at its
    // first try while the lock is held for longer.
    ASSERT_EQ(SessionId(*this, L"SELECT @@innodb_lock_wait_timeout AS id"), 1);
    m_context->CheckerExec(L"START TRANSACTION");
    m_context->CheckerExec(L"UPDATE " + m_table + L" SET v = 1 WHERE id = 1");
    std::thread release([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        m_context->CheckerExec(L"COMMIT");
    });
    const auto start = std::chrono::steady_clock::now();
    const bool updated = Exec(L"UPDATE " + m_table + L" SET v = 2 WHERE id = 1");
    release.join();
    EXPECT_TRUE(updated) << Reports();
    // At least one wait gave up before the lock went.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1400));
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT v FROM " + m_table), (std::vector<Row>{{L"2"}}));
}

INSTANTIATE_TEST_SUITE_P(Servers, LockWaitScenario, ::testing::Values("mariadb"),
                         [](const auto& info) { return info.param; });

INSTANTIATE_TEST_SUITE_P(Servers, ServerScenario, ::testing::Values("mariadb", "postgres"),
                         [](const auto& info) { return info.param; });

INSTANTIATE_TEST_SUITE_P(Backends, LibraryScenario,
                         ::testing::ValuesIn(conformance::BackendNames()),
                         [](const auto& info) { return info.param; });

} // namespace
