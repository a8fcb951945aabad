// Command execution on the embedded SQLite provider: empty texts, failures
// and their one report, the rowset a select leaves, re-connecting a lost
// data source, commands inside a transaction, stream sizes and the
// optimizer's hints.
#include "CommandSupport.h"

#include "haldendb/TransactionClass.h"

#include <fstream>
#include <string>

using commandtest::SqliteSource;
using commandtest::Text;
using commandtest::W;

namespace {

using CommandExecution = commandtest::SqliteCommandTest;
using CommandSettings = commandtest::SqliteCommandTest;

} // namespace

TEST_F(CommandExecution, EmptyTextFailsWithoutTouchingTheDatabase) {
    command->SetCommand(CBasicStringView<wchar_t>(L"SELECT 1"));
    LONGLONG affected = 7;
    EXPECT_FALSE(command->Execute(CBasicStringView<wchar_t>(), &affected));
    EXPECT_FALSE(command->SelectExecute(CBasicStringView<wchar_t>()));
    EXPECT_FALSE(command->SelectExecute(CBasicString<wchar_t>()));
    EXPECT_FALSE(command->SelectExecuteNoStreams(CBasicStringView<wchar_t>()));
    EXPECT_EQ(W(command->GetCommand()), L"SELECT 1");
    EXPECT_EQ(command->GetRowSet(), nullptr);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(CommandExecution, AFailingStatementIsReportedOnceWithItsText) {
    LONGLONG affected = 7;
    EXPECT_FALSE(command->Execute(L"INSERT INTO nowhere VALUES (1)", &affected));
    EXPECT_EQ(affected, 0);
    ASSERT_EQ(db.errors.reports.size(), 1u);
    EXPECT_NE(db.errors.reports[0].message.find(L"INSERT INTO nowhere VALUES (1)"),
              std::wstring::npos);
    // The provider's own description travels with the report.
    EXPECT_NE(db.errors.reports[0].message.find(L"nowhere"), std::wstring::npos);
    EXPECT_EQ(static_cast<ICommandText*>(*command), nullptr);
    // The command is usable again at once.
    EXPECT_TRUE(command->Execute(L"CREATE TABLE somewhere (a INTEGER)", nullptr));
}

TEST_F(CommandExecution, SelectsLeaveTheirRowsetAndNoCommandObject) {
    ASSERT_TRUE(command->SelectExecute(L"SELECT 'first' AS v"));
    EXPECT_EQ(static_cast<ICommandText*>(*command), nullptr);
    ASSERT_NE(command->GetRowSet(), nullptr);
    ASSERT_TRUE(command->GetRowSet()->FetchNext());
    EXPECT_EQ(Text(*command->GetRowSet(), L"v"), L"first");

    ASSERT_TRUE(command->SelectExecuteNoStreams(L"SELECT 'second' AS v UNION ALL SELECT 'third'"));
    CRowSet& rowset = *command->GetRowSet();
    EXPECT_FALSE(rowset.GetLongColumnsAsStreams());
    ASSERT_TRUE(rowset.FetchNext());
    EXPECT_EQ(Text(rowset, L"v"), L"second");
    ASSERT_TRUE(rowset.FetchNext());
    EXPECT_EQ(Text(rowset, L"v"), L"third");
    EXPECT_FALSE(rowset.FetchNext());

    // A failing select keeps nothing of the previous one.
    EXPECT_FALSE(command->SelectExecute(L"SELECT * FROM nowhere"));
    EXPECT_EQ(command->GetRowSet(), nullptr);
    EXPECT_TRUE(command->Release());
}

TEST_F(CommandExecution, ARowLimitEndsTheSelectAfterExactlyThatManyRows) {
    // More rows than one fetch brings, so a limit of 25 spans two batches.
    const wchar_t* const sixty =
        L"WITH RECURSIVE c(v) AS (SELECT 1 UNION ALL SELECT v + 1 FROM c WHERE v < 60) "
        L"SELECT v FROM c";
    auto count = [&](ULONGLONG limit) {
        command->SetMaxRowCount(limit);
        EXPECT_TRUE(command->SelectExecute(sixty)) << limit;
        CRowSet* rowset = command->GetRowSet();
        if (rowset == nullptr)
            return -1;
        const size_t v = rowset->GetColumnsOrdinal(L"v");
        int rows = 0;
        while (rowset->FetchNext()) {
            ++rows;
            EXPECT_EQ(rowset->GetCurrColumnsInt64(v), rows) << limit;
        }
        // Asked again after the limit, the rowset stays at its end.
        EXPECT_FALSE(rowset->FetchNext()) << limit;
        return rows;
    };
    EXPECT_EQ(count(0), 0);
    EXPECT_EQ(count(1), 1);
    EXPECT_EQ(count(25), 25);
    EXPECT_EQ(count(CCommandClass::NoRowLimit), 60);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(CommandExecution, CreateRowSetWrapsARowsetObtainedElsewhere) {
    EXPECT_FALSE(command->CreateRowSet(nullptr, true));
    IRowset* rows = nullptr;
    command->SetCommand(CBasicStringView<wchar_t>(L"SELECT 'x' AS v"));
    ASSERT_TRUE(command->Execute(&rows, CCommandClass::eSelect, nullptr));
    ASSERT_NE(rows, nullptr);
    ASSERT_TRUE(command->CreateRowSet(rows, false));
    ASSERT_TRUE(command->GetRowSet()->FetchNext());
    EXPECT_EQ(Text(*command->GetRowSet(), L"v"), L"x");
}

TEST_F(CommandExecution, PreparedExecutionsRunAsOften) {
    db.Exec(L"CREATE TABLE p (a INTEGER)");
    command->SetNumberOfCalls(2);
    LONGLONG affected = 0;
    EXPECT_TRUE(command->Execute(L"INSERT INTO p VALUES (1)", &affected));
    EXPECT_EQ(affected, 1);
    EXPECT_TRUE(command->Execute(L"INSERT INTO p VALUES (2)", &affected));
    EXPECT_EQ(hdbtest::QueryNumber(*db.source, L"SELECT count(*) FROM p"), 2);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST(CommandLifetime, CommandsCountAsRunningExecutionsAndReturnTheirSession) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    const auto before = db.source->GetRunningExecutions();
    boost::shared_ptr<CommandLiveChecker> checker;
    {
        auto command = db.Command();
        EXPECT_EQ(db.source->GetRunningExecutions(), before + 1);
        checker = command->GetLiveChecker();
        ASSERT_TRUE(checker);
        EXPECT_TRUE(checker->IsInUse());
        EXPECT_EQ(command->getCommandPtr(), command);
    }
    EXPECT_EQ(db.source->GetRunningExecutions(), before);
    EXPECT_FALSE(checker->IsInUse());
    // A command not owned by a shared_ptr hands out none, without throwing.
    int reconnected = 0;
    CExtCommandClass local(db.source, reconnected);
    EXPECT_EQ(local.getCommandPtr(), nullptr);
}

TEST(CommandReconnect, ACommandOnALostConnectionReconnectsAndSaysSoOnce) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    db.Exec(L"CREATE TABLE r (a INTEGER)");
    db.source->Release();
    ASSERT_FALSE(db.source->IsConnected());
    db.ClearReports();

    int reconnected = 0;
    auto command = std::make_shared<CExtCommandClass>(db.source, reconnected);
    EXPECT_EQ(reconnected, 1);
    ASSERT_EQ(db.errors.reports.size(), 1u);
    EXPECT_NE(
        db.errors.reports[0].message.find(L"Data source is not connected. Will (re-)connect now."),
        std::wstring::npos);
    ASSERT_EQ(db.successes.reports.size(), 1u);
    EXPECT_NE(
        db.successes.reports[0].message.find(L"Data source is reconnected. Can proceed further"),
        std::wstring::npos);
    EXPECT_TRUE(command->Insert(L"r", L"a", L"1"));
}

TEST(CommandReconnect, AFailedReconnectLeavesACommandThatFails) {
    hdbtest::SettingsIsolation settings;
    hdbtest::ReportCollector errors;
    hdbtest::ReportCollector successes;
    auto source = std::make_shared<CDataSource>(CBaseOLEDBClass::eGenericDatabase);
    source->SetCallBackForErrorMessages(&hdbtest::ReportCollector::Collect, &errors);
    source->SetCallBackForSuccessMessages(&hdbtest::ReportCollector::Collect, &successes);
    EXPECT_FALSE(source->Connect(CBaseOLEDBClass::eProvider5, L"/nonexistent-folder/x/db.sqlite",
                                 L"", L"", L""));
    errors.reports.clear();

    int reconnected = 0;
    auto command = std::make_shared<CExtCommandClass>(source, reconnected);
    EXPECT_EQ(reconnected, -1);
    EXPECT_TRUE(successes.reports.empty());
    EXPECT_GE(errors.reports.size(), 1u);
    EXPECT_FALSE(command->Execute(L"SELECT 1", nullptr));
}

TEST(CommandTransaction, StatementsOfATransactionCommandRollBack) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    db.Exec(L"CREATE TABLE tx (a INTEGER)");
    {
        CTransactionClass transaction(db.source);
        ASSERT_TRUE(
            transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
        auto command = std::make_shared<CExtCommandClass>(transaction);
        EXPECT_TRUE(command->GetOptimizeCommandAfterSelectStatement().empty());
        ASSERT_TRUE(command->Insert(L"tx", L"a", L"1"));
        ASSERT_TRUE(command->Select(L"tx", L"count(*) AS n", L"", L""));
        ASSERT_TRUE(command->GetRowSet()->FetchNext());
        const size_t n = command->GetRowSet()->GetColumnsOrdinal(L"n");
        EXPECT_EQ(command->GetRowSet()->GetCurrColumnsInt64(n), 1);
        command->Release();
        EXPECT_TRUE(transaction.RollbackTransaction(nullptr, false, false));
    }
    EXPECT_EQ(hdbtest::QueryNumber(*db.source, L"SELECT count(*) FROM tx"), 0);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(CommandSettings, StreamSizeOnlyGrows) {
    EXPECT_EQ(command->GetStreamSize(), 65000u);
    command->SetStreamSize(100u);
    EXPECT_EQ(command->GetStreamSize(), 65000u);
    command->SetStreamSize(70000u);
    EXPECT_EQ(command->GetStreamSize(), 70000u);

    const std::wstring file = db.folder.File("blob.bin");
    std::ofstream(std::string(file.begin(), file.end()), std::ios::binary)
        << std::string(99999, 'x');
    EXPECT_TRUE(command->SetStreamSize(CBasicStringView<wchar_t>(file)));
    EXPECT_EQ(command->GetStreamSize(), 100000u);
    EXPECT_FALSE(command->SetStreamSize(CBasicStringView<wchar_t>(db.folder.File("none.bin"))));
    EXPECT_EQ(command->GetStreamSize(), 100000u);
}

TEST(QueryOptimizer, HintsFollowTheRowLimitOnSqlServer) {
    SqliteSource db(CBaseOLEDBClass::eSQLServer);
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
    ASSERT_TRUE(command->HasQueryOptimizer());
    EXPECT_EQ(W(command->GetOptimizeCommandBeforeFieldStatement()), L"");
    EXPECT_EQ(W(command->GetOptimizeCommandAfterFieldStatement()), L"");
    EXPECT_EQ(W(command->GetOptimizeCommandAfterSelectStatement()), L" OPTION (FAST 20)");

    command->SetMaxRowCount(0);
    EXPECT_EQ(W(command->GetOptimizeCommandBeforeFieldStatement()), L"TOP 0");
    EXPECT_EQ(W(command->GetOptimizeCommandAfterSelectStatement()), L"");

    command->SetMaxRowCount(CCommandClass::NoRowLimit - 1);
    EXPECT_EQ(W(command->GetOptimizeCommandBeforeFieldStatement()), L"TOP 18446744073709551614");
    EXPECT_EQ(W(command->GetOptimizeCommandAfterSelectStatement()),
              L" OPTION (FAST 18446744073709551614)");

    command->SetOptimized(false);
    EXPECT_EQ(W(command->GetOptimizeCommandBeforeFieldStatement()), L"");
    EXPECT_EQ(W(command->GetOptimizeCommandAfterSelectStatement()), L"");
}

TEST(QueryOptimizer, OnlyThePlainSqlServerTypeGetsHints) {
    for (int type = 1; type <= 7; ++type) {
        SqliteSource db(static_cast<CBaseOLEDBClass::enumSQLDatabaseType>(type));
        ASSERT_TRUE(db.connected);
        auto command = db.Command();
        command->SetMaxRowCount(5);
        EXPECT_FALSE(command->HasQueryOptimizer()) << type;
        EXPECT_EQ(W(command->GetOptimizeCommandBeforeFieldStatement()), L"") << type;
        EXPECT_EQ(W(command->GetOptimizeCommandAfterSelectStatement()), L"") << type;
    }
}
