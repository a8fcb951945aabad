// Local transactions the embedded database ends by itself (a conflict
// clause, an interrupted write): the session follows the database, tells the
// caller, and starts transactions again afterwards.
#include "ProviderTest.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

using namespace providertest;

namespace {

class TransactionStateTest : public ProviderTest {
protected:
    void SetUp() override {
        ProviderTest::SetUp();
        ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE t (id INTEGER PRIMARY KEY)"), S_OK);
        m_tx = m_session.As<ITransactionLocal>(IID_ITransactionLocal);
        ASSERT_TRUE(m_tx);
    }
    void TearDown() override {
        m_tx.Reset();
        ProviderTest::TearDown();
    }
    std::string Ids() { return Scalar("SELECT coalesce(group_concat(id), '') FROM t"); }

    Ptr<ITransactionLocal> m_tx;
};

// Runs an endless write and cancels it once it had time to start writing.
HRESULT CancelledWrite(IDBCreateCommand* session) {
    auto command = NewCommand(session, L"WITH RECURSIVE c(x) AS (SELECT 10 UNION ALL SELECT x + 1 "
                                       L"FROM c) INSERT INTO t SELECT x FROM c WHERE x % 1000 = 0");
    std::atomic<bool> done{false};
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        while (!done.load()) {
            command->Cancel();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    const HRESULT hr = command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr);
    done = true;
    canceller.join();
    return hr;
}

struct Loss {
    const char* name;
    std::function<HRESULT(IDBCreateCommand*)> loseTransaction;
    HRESULT expected;
};

TEST_F(TransactionStateTest, ALostTransactionIsReportedAndCanBeStartedAgain) {
    const Loss losses[] = {
        {"insert or rollback",
         [](IDBCreateCommand* s) { return Exec(s, L"INSERT OR ROLLBACK INTO t VALUES (1)"); },
         DB_E_INTEGRITYVIOLATION},
        {"cancelled write", &CancelledWrite, DB_E_CANCELED},
    };
    for (const Loss& loss : losses) {
        SCOPED_TRACE(loss.name);
        ASSERT_EQ(Exec(m_session.Get(), L"DELETE FROM t"), S_OK);
        ASSERT_EQ(m_tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr), S_OK);
        ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO t VALUES (1)"), S_OK);

        // The failing statement says that the transaction went with it.
        EXPECT_EQ(loss.loseTransaction(m_session.Get()), loss.expected);
        auto records = TakeErrorRecords();
        ASSERT_GE(records.size(), 2u);
        EXPECT_EQ(records.front().hr, loss.expected);
        EXPECT_EQ(records.back().sqlState, L"40000");
        EXPECT_EQ(Ids(), "");

        // Later statements run as the database now runs them, each on its own.
        ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO t VALUES (2)"), S_OK);
        EXPECT_EQ(Ids(), "2");
        for (int i = 0; i < 2; ++i) {
            const HRESULT hr =
                i == 0 ? m_tx->Commit(FALSE, XACTTC_SYNC, 0) : m_tx->Abort(nullptr, FALSE, FALSE);
            EXPECT_EQ(hr, XACT_E_NOTRANSACTION);
            auto answer = TakeErrorRecords();
            ASSERT_EQ(answer.size(), 1u);
            EXPECT_EQ(answer[0].hr, XACT_E_NOTRANSACTION);
        }
        XACTTRANSINFO info{};
        EXPECT_EQ(m_tx->GetTransactionInfo(&info), XACT_E_NOTRANSACTION);

        // A new transaction works and rolls back what it holds.
        ASSERT_EQ(m_tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr), S_OK);
        ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO t VALUES (3)"), S_OK);
        ASSERT_EQ(m_tx->Abort(nullptr, FALSE, FALSE), S_OK);
        EXPECT_EQ(Ids(), "2");
    }
}

} // namespace
