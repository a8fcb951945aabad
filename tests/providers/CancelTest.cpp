// Cancel reaches exactly the statement it was meant for: other statements of
// the same session read on and write as before, and a cancel that arrives
// before its statement starts still ends it.
#include "ProviderTest.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace providertest;

namespace {

// Counts without end: only a cancel stops it.
const wchar_t EndlessQuery[] = L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                               L"SELECT count(*) FROM c";
// Ends, but only after far longer than any test may take.
const wchar_t LongQuery[] = L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
                            L"WHERE x < 5000000000) SELECT count(*) FROM c";
const wchar_t HundredRows[] = L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
                              L"WHERE x < 100) SELECT x FROM c";

class CancelScopeTest : public ProviderTest {
protected:
    // Executes command while another thread cancels it until it returns.
    static HRESULT ExecuteCancelled(ICommandText* command) {
        std::atomic<bool> done{false};
        std::thread canceller([&] {
            while (!done.load()) {
                EXPECT_EQ(command->Cancel(), S_OK);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        Ptr<IRowset> rowset;
        const HRESULT hr =
            command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown());
        done = true;
        canceller.join();
        EXPECT_FALSE(rowset);
        return hr;
    }

    static Ptr<IRowset> Open(ICommandText* command) {
        Ptr<IRowset> rowset;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK);
        return rowset;
    }

    // Fetches up to count rows and gives them back; the result of GetNextRows.
    static HRESULT Skip(IRowset* rowset, DBROWCOUNT count, DBCOUNTITEM& obtained) {
        HROW* handles = nullptr;
        obtained = 0;
        const HRESULT hr = rowset->GetNextRows(DB_NULL_HCHAPTER, 0, count, &obtained, &handles);
        if (obtained != 0)
            rowset->ReleaseRows(obtained, handles, nullptr, nullptr, nullptr);
        CoTaskMemFree(handles);
        return hr;
    }
};

TEST_F(CancelScopeTest, CancellingOneStatementLeavesTheSessionsOthersAlone) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE t (id INTEGER)"), S_OK);
    auto first = NewCommand(m_session.Get(), HundredRows);
    auto second = NewCommand(m_session.Get(), HundredRows);
    auto firstRows = Open(first.Get());
    auto secondRows = Open(second.Get());
    ASSERT_TRUE(firstRows && secondRows);
    DBCOUNTITEM obtained = 0;
    ASSERT_EQ(Skip(firstRows.Get(), 20, obtained), S_OK);
    ASSERT_EQ(Skip(secondRows.Get(), 20, obtained), S_OK);

    // A statement of the same session is cancelled while both rowsets are
    // half read.
    auto endless = NewCommand(m_session.Get(), EndlessQuery);
    EXPECT_EQ(ExecuteCancelled(endless.Get()), DB_E_CANCELED);

    // The session writes as before while both rowsets are open.
    EXPECT_EQ(Exec(m_session.Get(), L"INSERT INTO t VALUES (7)"), S_OK);
    EXPECT_EQ(Scalar("SELECT group_concat(id) FROM t"), "7");

    // The first rowset's own command ends its reading, while the second
    // reads on to its end.
    ASSERT_EQ(first->Cancel(), S_OK);
    EXPECT_EQ(Skip(firstRows.Get(), 20, obtained), DB_E_CANCELED);
    EXPECT_EQ(obtained, 0u);
    EXPECT_EQ(ReadAll(secondRows.Get()).size(), 80u);
}

TEST_F(CancelScopeTest, ACancelBeforeTheFirstExecutionEndsIt) {
    // A watcher thread started together with the execution may get there
    // first; its cancel still ends the statement.
    auto command = NewCommand(m_session.Get(), LongQuery);
    ASSERT_EQ(command->Cancel(), S_OK);
    Ptr<IRowset> rowset;
    EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
              DB_E_CANCELED);
    EXPECT_FALSE(rowset);

    // Between later executions a cancel comes too late for the one before
    // and leaves the next alone.
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"SELECT 42"), S_OK);
    EXPECT_TRUE(Open(command.Get()));
    ASSERT_EQ(command->Cancel(), S_OK);
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"CREATE TABLE u (a)"), S_OK);
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(Scalar("SELECT count(*) FROM sqlite_master WHERE name = 'u'"), "1");
}

} // namespace
