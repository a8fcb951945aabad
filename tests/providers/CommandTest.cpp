// Commands as a consumer runs them: statements without results, queries read
// in batches, parameters with one or many sets, errors and cancel.
#include <chrono>
#include <thread>

#include "ProviderTest.h"

using namespace providertest;

namespace {

class CommandTest : public ProviderTest {};

TEST_F(CommandTest, CreatesFillsAndSelectsWhatTheFileHolds) {
    DBROWCOUNT affected = 0;
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE t (id INTEGER PRIMARY KEY, name VARCHAR(20))"),
              S_OK);
    ASSERT_EQ(Exec(m_session.Get(),
                   L"INSERT INTO t (id, name) VALUES (1, 'eins'), (2, 'zwei'), (3, NULL)",
                   &affected),
              S_OK);
    EXPECT_EQ(affected, 3);
    ASSERT_EQ(Exec(m_session.Get(), L"UPDATE t SET name = 'drei' WHERE id = 3", &affected), S_OK);
    EXPECT_EQ(affected, 1);

    EXPECT_EQ(Scalar("SELECT group_concat(name, ',') FROM (SELECT name FROM t ORDER BY id)"),
              "eins,zwei,drei");
    sqlite3_exec(Db(), "INSERT INTO t VALUES (4, 'vier \xE2\x82\xAC')", nullptr, nullptr, nullptr);

    auto rows = Query(m_session.Get(), L"SELECT id, name FROM t ORDER BY id");
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0][0], L"1");
    EXPECT_EQ(rows[1][1], L"zwei");
    EXPECT_EQ(rows[3][1], L"vier \u20AC");
}

TEST_F(CommandTest, SelectsInBatchesOfHandles) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE n (v INTEGER)"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
                                    L"FROM c WHERE x < 45) INSERT INTO n SELECT x FROM c"),
              S_OK);
    struct Case {
        const wchar_t* sql;
        size_t rows;
        size_t batches;
    } cases[] = {
        {L"SELECT v FROM n WHERE v > 100", 0, 0},
        {L"SELECT v FROM n WHERE v <= 20", 20, 1},
        {L"SELECT v FROM n ORDER BY v", 45, 3},
    };
    for (const auto& c : cases) {
        auto command = NewCommand(m_session.Get(), c.sql);
        Ptr<IRowset> rowset;
        ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK);
        size_t batches = 0;
        auto rows = ReadAll(rowset.Get(), 20, &batches);
        EXPECT_EQ(rows.size(), c.rows) << c.sql;
        EXPECT_EQ(batches, c.batches) << c.sql;
        for (size_t i = 0; i < rows.size(); ++i)
            EXPECT_EQ(rows[i][0], std::to_wstring(i + 1));
        // Past the end the rowset keeps answering the end, with no rows.
        DBCOUNTITEM obtained = 7;
        HROW* handles = nullptr;
        EXPECT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 5, &obtained, &handles),
                  DB_S_ENDOFROWSET);
        EXPECT_EQ(obtained, 0u);
        CoTaskMemFree(handles);
    }
}

} // namespace
