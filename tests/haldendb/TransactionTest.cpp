// Transactions on a scripted session: the exact-S_OK rule, re-connecting on
// construction, and a data source that cannot connect.
#include "TestSupport.h"
#include "ScriptedProvider.h"

#include "haldendb/DataSource.h"
#include "haldendb/TransactionClass.h"

#include <gtest/gtest.h>

using namespace hdbtest;

namespace {

class TransactionTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(provider.registered);
        provider.Serve(CLSID_HDB_SQLOLEDB, dso);
        source = std::make_shared<CDataSource>(CBaseOLEDBClass::eSQLServer);
        source->SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        source->SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
        source->SetDataSource(L"server");
        source->SetUser(L"u");
        source->SetPassword(L"p");
    }
    void TearDown() override {
        source.reset();
        EXPECT_EQ(dso.references, 0u);
        for (const auto& session : dso.sessions)
            EXPECT_EQ(session.references, 0u);
    }

    SettingsIsolation settings;
    ScriptedProvider provider;
    ScriptedDataSource dso;
    ReportCollector errors;
    ReportCollector successes;
    std::shared_ptr<CDataSource> source;
};

TEST_F(TransactionTest, OnlyAnExactSuccessCounts) {
    ASSERT_TRUE(source->Connect(CLSID_HDB_SQLOLEDB));
    CTransactionClass transaction(source);
    ASSERT_NE(static_cast<ITransactionLocal*>(transaction), nullptr);
    EXPECT_EQ(transaction.GetDataSource(), source);
    // Connected already: nothing to report.
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_TRUE(successes.reports.empty());
    ScriptedSession& session = dso.sessions[0];

    ULONG level = 0;
    EXPECT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, &level));
    EXPECT_EQ(session.startedLevel, ISOLATIONLEVEL_SERIALIZABLE);
    EXPECT_EQ(level, 1u);
    EXPECT_TRUE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_TRUE(transaction.RollbackTransaction(nullptr, false, false));

    // A success code other than S_OK means the provider did not do all that
    // was asked; failures are failures. Neither is reported.
    session.startResult = S_FALSE;
    session.commitResult = XACT_S_SOMENORETAIN;
    session.abortResult = XACT_S_ASYNC;
    EXPECT_FALSE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level));
    EXPECT_FALSE(transaction.CommitTransaction(true, XACTTC_SYNC, 0));
    EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, true));
    session.commitResult = XACT_E_COMMITFAILED;
    session.abortResult = XACT_E_NOTRANSACTION;
    EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
    EXPECT_EQ(session.starts, 2);
    EXPECT_EQ(session.commits, 3);
    EXPECT_EQ(session.aborts, 3);
    EXPECT_TRUE(errors.reports.empty());
}

TEST_F(TransactionTest, ADisconnectedDataSourceIsReconnectedAndSaysSo) {
    CTransactionClass transaction(source);
    EXPECT_TRUE(source->IsConnected());
    ASSERT_NE(static_cast<ITransactionLocal*>(transaction), nullptr);
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"Error");
    EXPECT_EQ(errors.reports[0].hr, 0);
    EXPECT_NE(
        errors.reports[0].message.find(L"Data source is not connected. Will (re-)connect now."),
        std::wstring::npos);
    EXPECT_EQ(errors.reports[0].function,
              L"void __cdecl CTransactionClass::EnsureConnected(void) const");
    ASSERT_EQ(successes.reports.size(), 1u);
    EXPECT_EQ(successes.reports[0].caption, L"Success");
    EXPECT_NE(successes.reports[0].message.find(L"Data source is reconnected. Can proceed further"),
              std::wstring::npos);
    EXPECT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
}

TEST_F(TransactionTest, ADataSourceThatCannotConnectGivesATransactionThatAnswersFalse) {
    // The provider object exists, but refuses the login and then the session.
    dso.initializeResult = DB_SEC_E_AUTH_FAILED;
    {
        CTransactionClass transaction(source);
        EXPECT_FALSE(source->IsConnected());
        EXPECT_EQ(static_cast<ITransactionLocal*>(transaction), nullptr);
        EXPECT_FALSE(
            transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
        EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
        EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
        EXPECT_TRUE(successes.reports.empty());
        EXPECT_EQ(ReportsCaptioned(errors, 15508).size(), 1u);
        EXPECT_EQ(dso.sessions[0].starts + dso.sessions[0].commits + dso.sessions[0].aborts, 0);
    }
    // No provider at all: the transaction stops before asking for a session.
    errors.reports.clear();
    auto orphan = std::make_shared<CDataSource>(CBaseOLEDBClass::eSQLServer);
    orphan->SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
    orphan->SetDataSource(L"orcl");
    EXPECT_FALSE(orphan->Connect(CLSID_HDB_ORAOLEDB));
    errors.reports.clear();
    CTransactionClass transaction(orphan);
    EXPECT_EQ(static_cast<ITransactionLocal*>(transaction), nullptr);
    EXPECT_FALSE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
    EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
    EXPECT_EQ(ReportsCaptioned(errors, 15515).size(), 1u);
    EXPECT_TRUE(ReportsCaptioned(errors, 15508).empty());
}

} // namespace
