// What a real database does not do on demand, through the scripted provider:
// deadlock victims and the retry rule, a cancel that fails.
#include "CommandSupport.h"

#include "scripted/ScriptedProvider.h"

#include <chrono>
#include <thread>

using Cancel = CCommandClass::CancelLongRunningQuery;

namespace {

// The scripted provider, registered, with the settings isolated.
struct ScriptedBacking {
    hdbtest::SettingsIsolation settings;
    hdbscripted::ScriptedProvider provider;
};

// A data source on the scripted provider, reporting into collectors.
class ScriptedSource : public ScriptedBacking, public commandtest::ReportingSource {
public:
    ScriptedSource() : ReportingSource(CBaseOLEDBClass::eGenericDatabase) {
        connected = provider.Registered() && source->Connect(hdbscripted::CLSID_ScriptedProvider,
                                                             L"scripted", L"", L"", L"");
    }
};

// Tests of one command made before the test scripts its statements.
using ScriptedCommandTest = commandtest::CommandTest<ScriptedSource>;
using CommandRetry = ScriptedCommandTest;
using CommandCancel = ScriptedCommandTest;

} // namespace

TEST_F(CommandRetry, ADeadlockVictimIsTriedFourTimesAndReportedOnce) {
    auto rule = db.provider.OnStatement(L"UPDATE t").FailAlways(hdbscripted::DeadlockVictim());
    LONGLONG affected = 9;
    EXPECT_FALSE(command->Update(L"t", L"a = 1", L"", &affected));
    EXPECT_EQ(rule.Executions(), 4);
    EXPECT_EQ(affected, 0);
    ASSERT_EQ(db.errors.reports.size(), 1u);
    // The last try's records are in the report, with the statement.
    EXPECT_NE(db.errors.reports[0].message.find(L"UPDATE t SET a = 1"), std::wstring::npos);
    EXPECT_NE(db.errors.reports[0].message.find(L"40001"), std::wstring::npos);
}

TEST_F(CommandRetry, AVictimThatSucceedsOnALaterTryIsNotReported) {
    auto rule = db.provider.OnStatement(L"UPDATE t")
                    .FailFirst(3, hdbscripted::DeadlockVictim())
                    .RowsAffected(2);
    LONGLONG affected = 0;
    EXPECT_TRUE(command->Update(L"t", L"a = 1", L"", &affected));
    EXPECT_EQ(rule.Executions(), 4);
    EXPECT_EQ(affected, 2);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(CommandRetry, OtherFailuresAndCancelsAreNotRetried) {
    hdbscripted::Fault syntax;
    syntax.kind = hdbscripted::FaultKind::syntax;
    syntax.message = L"near \"UPDAT\": syntax error";
    auto wrong = db.provider.OnStatement(L"UPDAT x").FailAlways(syntax);
    hdbscripted::Fault canceled;
    canceled.kind = hdbscripted::FaultKind::canceled;
    canceled.message = L"interrupted";
    auto stopped = db.provider.OnStatement(L"DELETE").FailAlways(canceled);

    EXPECT_FALSE(command->Execute(L"UPDAT x", nullptr));
    EXPECT_EQ(wrong.Executions(), 1);
    ASSERT_EQ(db.errors.reports.size(), 1u);
    EXPECT_NE(db.errors.reports[0].message.find(L"syntax error"), std::wstring::npos);

    EXPECT_FALSE(command->Delete(L"t", L""));
    EXPECT_EQ(stopped.Executions(), 1);
    EXPECT_EQ(db.errors.reports.size(), 1u);
}

TEST_F(CommandCancel, AFailingCancelLeavesOutcomeTwoAndTheStatementsResult) {
    auto slow = db.provider.OnStatement(L"slow").Blocks(std::chrono::milliseconds(300));
    db.provider.CancelAnswers(E_FAIL);
    auto cancel = std::make_shared<Cancel>([&](Cancel&) {
        // Cancel only once the statement is really running.
        return slow.WaitUntilBlocked(std::chrono::seconds(5));
    });
    command->SetPtrCancelLongRunningQuery(cancel);
    EXPECT_TRUE(command->Execute(L"SELECT slow", nullptr));
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCancelFailed);
    EXPECT_EQ(cancel->GetCancelResult(), E_FAIL);
    EXPECT_EQ(db.provider.Cancels(), 1);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(CommandCancel, ASuccessfulCancelEndsTheBlockedStatementQuietly) {
    auto slow = db.provider.OnStatement(L"slow").Blocks(std::chrono::seconds(30));
    auto cancel = std::make_shared<Cancel>(
        [&](Cancel&) { return slow.WaitUntilBlocked(std::chrono::seconds(5)); });
    command->SetPtrCancelLongRunningQuery(cancel);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(command->Execute(L"SELECT slow", nullptr));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(cancel->GetOutcome(), Cancel::eCanceled);
    EXPECT_EQ(slow.Executions(), 1);
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST(CommandSeverity, ASevereErrorThrowsAndLeavesTheCommandUsable) {
    ScriptedSource db;
    ASSERT_TRUE(db.connected);
    db.source->SetErrorSeverityMap(std::make_shared<CBaseOLEDBClass::ErrorSeverityMap>(
        CBaseOLEDBClass::ErrorSeverityMap{{824, 24}}));
    auto severe = db.provider.OnStatement(L"broken").FailAlways(hdbscripted::SevereError(824));
    auto command = db.Command();
    // Prepared, so that a prepare interface is held when the error throws.
    command->SetNumberOfCalls(1);
    EXPECT_THROW(command->Execute(L"SELECT broken", nullptr), severe_sql_error);
    EXPECT_EQ(severe.Executions(), 1);
    EXPECT_EQ(static_cast<ICommandText*>(*command), nullptr);
    EXPECT_TRUE(command->Execute(L"SELECT fine", nullptr));
}

TEST(CommandConstruction, ASessionHeldByAConstructionThatThrowsIsFreeAgain) {
    ScriptedSource db;
    ASSERT_TRUE(db.connected);
    db.source->SetErrorSeverityMap(std::make_shared<CBaseOLEDBClass::ErrorSeverityMap>(
        CBaseOLEDBClass::ErrorSeverityMap{{824, 24}}));
    boost::shared_ptr<CommandLiveChecker> checker = db.source->GetCurrentDatabaseSessionCommand();
    ASSERT_TRUE(checker && checker->IsInUse());

    // The connection looks lost, and the re-connect meets a severe error
    // while the command still holds the session it was given.
    db.provider.AnswerProperty(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS,
                               DBPROPVAL_CS_UNINITIALIZED);
    db.provider.FailConnect(hdbscripted::SevereError(824));
    int reconnected = 0;
    EXPECT_THROW(std::make_shared<CCommandClass>(db.source, checker, reconnected),
                 severe_sql_error);
    EXPECT_FALSE(checker->IsInUse());
    EXPECT_EQ(db.source->GetRunningExecutions(), 0);

    // Back to normal, the next command borrows a session and gives it back.
    db.provider.FailConnect(std::nullopt);
    db.provider.AnswerProperty(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS,
                               DBPROPVAL_CS_INITIALIZED);
    {
        auto command = db.Command();
        EXPECT_TRUE(command->Execute(L"SELECT fine", nullptr));
        EXPECT_EQ(db.source->GetRunningExecutions(), 1);
    }
    EXPECT_EQ(db.source->GetRunningExecutions(), 0);
}
