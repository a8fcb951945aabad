// Transactions on a scripted session (the exact-S_OK rule, re-connecting on
// construction) and on the embedded SQLite provider: their outcome seen from
// a second connection, and a data source that cannot connect.
#include "TestSupport.h"
#include "EmbeddedDatabase.h"

#include "scripted/ScriptedProvider.h"

#include "haldendb/DataSource.h"
#include "haldendb/TransactionClass.h"

#include <gtest/gtest.h>

using namespace hdbtest;

namespace {

class TransactionTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(provider.Registered());
        source = std::make_shared<CDataSource>(CBaseOLEDBClass::eSQLServer);
        source->SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        source->SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
        source->SetDataSource(L"server");
        source->SetUser(L"u");
        source->SetPassword(L"p");
    }
    void TearDown() override {
        source.reset();
        EXPECT_EQ(provider.Alive(hdbscripted::ObjectKind::dataSource), 0);
        EXPECT_EQ(provider.Alive(hdbscripted::ObjectKind::session), 0);
    }

    SettingsIsolation settings;
    hdbscripted::ScriptedProvider provider{CLSID_HDB_SQLOLEDB};
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

    // The same sequence twice: answered S_OK it succeeds, so the second time
    // each call is done and only its answer differs.
    ULONG level = 0;
    EXPECT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, &level));
    EXPECT_EQ(provider.LastIsolation(), ISOLATIONLEVEL_SERIALIZABLE);
    EXPECT_EQ(level, 1u);
    EXPECT_TRUE(transaction.CommitTransaction(true, XACTTC_SYNC, 0));
    EXPECT_TRUE(transaction.RollbackTransaction(nullptr, false, false));

    // A success code other than S_OK means the provider did not do all that
    // was asked; failures are failures. Neither is reported.
    provider.StartAnswers(S_FALSE);
    provider.CommitAnswers(XACT_S_SOMENORETAIN);
    provider.AbortAnswers(XACT_S_ASYNC);
    EXPECT_FALSE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level));
    EXPECT_EQ(provider.LastIsolation(), ISOLATIONLEVEL_READCOMMITTED);
    EXPECT_FALSE(transaction.CommitTransaction(true, XACTTC_SYNC, 0));
    EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
    provider.CommitAnswers(XACT_E_COMMITFAILED);
    provider.AbortAnswers(XACT_E_NOTRANSACTION);
    EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
    EXPECT_EQ(provider.Starts(), 2);
    EXPECT_EQ(provider.Commits(), 3);
    EXPECT_EQ(provider.Aborts(), 3);
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

// ------------------------------------------------------------------ embedded

class EmbeddedTransactionTest : public testing::Test {
protected:
    void SetUp() override {
        path = folder.File("tx.db");
        writer = std::make_shared<CDataSource>();
        ASSERT_TRUE(writer->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
        ASSERT_EQ(Execute(*writer, L"CREATE TABLE t (v INTEGER)"), S_OK);
        ASSERT_TRUE(reader.Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
    }

    // Inserts `value` through the transaction's own session.
    HRESULT InsertIn(const CTransactionClass& transaction, int value) {
        ITransactionLocal* session = transaction;
        ComPtr<IDBCreateCommand> commands;
        if (session == nullptr ||
            FAILED(session->QueryInterface(IID_IDBCreateCommand, commands.OutVoid())))
            return E_NOINTERFACE;
        return ExecuteOn(commands.Get(), L"INSERT INTO t VALUES (" + std::to_wstring(value) + L")");
    }
    LONG Count() { return QueryNumber(reader, L"SELECT COUNT(*) FROM t"); }

    SettingsIsolation settings;
    TempFolder folder;
    std::wstring path;
    std::shared_ptr<CDataSource> writer;
    CDataSource reader;
};

TEST_F(EmbeddedTransactionTest, ARollbackLeavesNothingAndACommitIsSeenByAnotherConnection) {
    CTransactionClass transaction(writer);
    ASSERT_NE(static_cast<ITransactionLocal*>(transaction), nullptr);

    ULONG level = 0;
    ASSERT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level));
    ASSERT_EQ(InsertIn(transaction, 1), S_OK);
    ASSERT_EQ(InsertIn(transaction, 2), S_OK);
    EXPECT_TRUE(transaction.RollbackTransaction(nullptr, false, false));
    EXPECT_EQ(Count(), 0);

    ASSERT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level));
    ASSERT_EQ(InsertIn(transaction, 3), S_OK);
    EXPECT_TRUE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_EQ(Count(), 1);
    EXPECT_EQ(QueryNumber(reader, L"SELECT v FROM t"), 3);

    // Nothing is open any more: a second commit is not a success.
    EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
}

TEST_F(EmbeddedTransactionTest, ADataSourceThatCannotConnectGivesATransactionThatAnswersFalse) {
    // One provider object that refuses the file, and one data source with no
    // provider object at all.
    auto unopenable = std::make_shared<CDataSource>();
    unopenable->SetDataSource(folder.File("no-such-folder") + L"/x.db");
    auto unregistered = std::make_shared<CDataSource>();
    unregistered->SetDataSource(L"orcl");
    EXPECT_FALSE(unopenable->Connect(CLSID_HDB_EMBEDDED));
    EXPECT_FALSE(unregistered->Connect(CLSID_HDB_ORAOLEDB));

    for (const auto& source : {unopenable, unregistered}) {
        ReportCollector errors;
        ReportCollector successes;
        source->SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        source->SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
        CTransactionClass transaction(source);
        EXPECT_FALSE(source->IsConnected());
        EXPECT_EQ(static_cast<ITransactionLocal*>(transaction), nullptr);
        EXPECT_FALSE(
            transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
        EXPECT_FALSE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
        EXPECT_FALSE(transaction.RollbackTransaction(nullptr, false, false));
        // The re-connect was announced and failed; no success was reported.
        EXPECT_EQ(ReportsCaptioned(errors, 15531).size(), 1u);
        EXPECT_TRUE(successes.reports.empty());
    }
}

} // namespace
