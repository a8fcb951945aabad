// Failures of their own kind on every backend: a statement whose time-out
// runs out, and (on the servers, whose sessions can wait for each other) a
// deadlock whose victim's transaction is over while the other one commits.
#include <atomic>
#include <chrono>
#include <thread>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, ATimeOutEndsALongQueryAndTheSessionGoesOn) {
    Ptr<ICommandText> command = NewCommand(m_session.Get(), m_context->SleepQuery(4));
    Ptr<ICommandProperties> properties = command.As<ICommandProperties>(IID_ICommandProperties);
    DBPROP timeout = Prop(DBPROP_COMMANDTIMEOUT, Int(1));
    DBPROPSET set{&timeout, 1, DBPROPSET_ROWSET};
    ASSERT_EQ(properties->SetProperties(1, &set), S_OK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunToFirstRow(command.Get()), DB_E_ABORTLIMITREACHED) << Describe(TakeErrorRecords());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3500));
    EXPECT_EQ(Query(m_session.Get(), L"SELECT 42"), (std::vector<Row>{{L"42"}}));
}

using ServerFailure = Conformance;

TEST_P(ServerFailure, ADeadlockEndsTheVictimsTransactionAndTheOtherCommits) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER PRIMARY KEY, v INTEGER)");
    Run(L"INSERT INTO " + m_table + L" VALUES (1, 0), (2, 0)");
    Ptr<IDBCreateCommand> sessions[] = {NewSession(m_dso.Get()), NewSession(m_dso.Get())};
    auto update = [&](int session, int id) {
        return Exec(sessions[session].Get(), L"UPDATE " + m_table + L" SET v = " +
                                                 std::to_wstring(session + 1) + L" WHERE id = " +
                                                 std::to_wstring(id));
    };
    Ptr<ITransactionLocal> transactions[2];
    for (int s = 0; s < 2; ++s) {
        transactions[s] = sessions[s].As<ITransactionLocal>(IID_ITransactionLocal);
        ASSERT_EQ(
            transactions[s]->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr),
            S_OK);
        ASSERT_EQ(update(s, s + 1), S_OK) << Describe(TakeErrorRecords());
    }
    // Each now waits for the row the other holds.
    HRESULT first = S_OK;
    std::vector<Record> firstRecords;
    std::thread waiter([&] {
        first = update(0, 2);
        firstRecords = TakeErrorRecords();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const HRESULT second = update(1, 1);
    const std::vector<Record> secondRecords = TakeErrorRecords();
    waiter.join();
    ASSERT_NE(SUCCEEDED(first), SUCCEEDED(second)) << "exactly one is the victim";
    const int victim = SUCCEEDED(first) ? 1 : 0;
    const std::vector<Record>& told = victim == 0 ? firstRecords : secondRecords;
    ASSERT_FALSE(told.empty());
    EXPECT_TRUE(told[0].sqlState == L"40001" || told[0].sqlState == L"40P01") << Describe(told);
    // The victim's transaction is over (the provider rolled back what the
    // server aborted), which frees its locks for the other session.
    EXPECT_EQ(transactions[victim]->Commit(FALSE, XACTTC_SYNC, 0), XACT_E_NOTRANSACTION);
    EXPECT_EQ(transactions[1 - victim]->Commit(FALSE, XACTTC_SYNC, 0), S_OK)
        << Describe(TakeErrorRecords());
    TakeErrorRecords();
    // Only the other session's two changes are there.
    const std::wstring winner = std::to_wstring(2 - victim);
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT v FROM " + m_table + L" ORDER BY id"),
              (std::vector<Row>{{winner}, {winner}}));
}

INSTANTIATE_TEST_SUITE_P(Servers, ServerFailure, ::testing::Values("mariadb", "postgres"),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
