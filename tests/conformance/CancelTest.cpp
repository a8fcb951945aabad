// Cancel on every backend: a long query cancelled from another thread, and a
// cancel reaching exactly the statement it was meant for: other statements
// of the same session read on and write as before, and a cancel that arrives
// before its statement starts still ends it.
#include <atomic>
#include <chrono>
#include <thread>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

// Fetches up to count rows and gives them back: the result of GetNextRows.
HRESULT Skip(IRowset* rowset, DBROWCOUNT count, DBCOUNTITEM& obtained) {
    HROW* handles = nullptr;
    obtained = 0;
    const HRESULT hr = rowset->GetNextRows(DB_NULL_HCHAPTER, 0, count, &obtained, &handles);
    if (obtained != 0)
        rowset->ReleaseRows(obtained, handles, nullptr, nullptr, nullptr);
    CoTaskMemFree(handles);
    return hr;
}

TEST_P(Conformance, CancelFromAnotherThreadEndsALongQueryAndTheSessionGoesOn) {
    Ptr<ICommandText> command = NewCommand(m_session.Get(), m_context->SleepQuery(3));
    std::atomic<bool> done{false};
    HRESULT result = S_OK;
    std::thread runner([&] {
        result = RunToFirstRow(command.Get());
        done = true;
    });
    while (!done) {
        command->Cancel();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    runner.join();
    EXPECT_EQ(result, DB_E_CANCELED);
    // The same command runs again.
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"SELECT 42"), S_OK);
    Ptr<IRowset> rowset;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK)
        << Describe(TakeErrorRecords());
    EXPECT_EQ(ReadAll(rowset.Get()), (std::vector<Row>{{L"42"}}));
}

TEST_P(Conformance, CancellingOneStatementLeavesTheSessionsOthersAlone) {
    CreateNumbers(L"id", 100);
    const std::wstring hundred = L"SELECT id FROM " + m_table + L" ORDER BY id";
    Ptr<ICommandText> first = NewCommand(m_session.Get(), hundred);
    Ptr<ICommandText> second = NewCommand(m_session.Get(), hundred);
    Ptr<IRowset> firstRows, secondRows;
    ASSERT_EQ(first->Execute(nullptr, IID_IRowset, nullptr, nullptr, firstRows.OutUnknown()), S_OK);
    ASSERT_EQ(second->Execute(nullptr, IID_IRowset, nullptr, nullptr, secondRows.OutUnknown()),
              S_OK);
    DBCOUNTITEM obtained = 0;
    ASSERT_EQ(Skip(firstRows.Get(), 20, obtained), S_OK);
    ASSERT_EQ(Skip(secondRows.Get(), 20, obtained), S_OK);

    // A statement of the same session is cancelled while both rowsets are
    // half read.
    Ptr<ICommandText> longer = NewCommand(m_session.Get(), m_context->SleepQuery(30));
    std::atomic<bool> done{false};
    std::thread canceller([&] {
        while (!done) {
            EXPECT_EQ(longer->Cancel(), S_OK);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    const HRESULT cancelled = RunToFirstRow(longer.Get());
    done = true;
    canceller.join();
    EXPECT_EQ(cancelled, DB_E_CANCELED);

    // The session writes as before while both rowsets are open.
    Run(L"INSERT INTO " + m_table + L" VALUES (777)");
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT count(*) FROM " + m_table),
              (std::vector<Row>{{L"101"}}));
    // The first rowset's own command ends its reading, while the second
    // reads on to its end.
    ASSERT_EQ(first->Cancel(), S_OK);
    EXPECT_EQ(Skip(firstRows.Get(), 20, obtained), DB_E_CANCELED);
    EXPECT_EQ(obtained, 0u);
    EXPECT_EQ(ReadAll(secondRows.Get()).size(), 80u);
}

TEST_P(Conformance, ACancelBeforeTheFirstExecutionEndsIt) {
    // A watcher thread started together with the execution may get there
    // first; its cancel still ends the statement.
    Ptr<ICommandText> command = NewCommand(m_session.Get(), m_context->SleepQuery(30));
    ASSERT_EQ(command->Cancel(), S_OK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunToFirstRow(command.Get()), DB_E_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

    // Between later executions a cancel comes too late for the one before
    // and leaves the next alone.
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"SELECT 42"), S_OK);
    EXPECT_EQ(RunToFirstRow(command.Get()), S_OK);
    ASSERT_EQ(command->Cancel(), S_OK);
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT,
                                      (L"CREATE TABLE " + m_table + L" (a INTEGER)").c_str()),
              S_OK);
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK)
        << Describe(TakeErrorRecords());
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT count(*) FROM " + m_table),
              (std::vector<Row>{{L"0"}}));
}

} // namespace
} // namespace conformance
