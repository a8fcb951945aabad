// What only the embedded database does: a memory database shared by the
// sessions of one data source, the functions it adds, named parameters,
// several statements in one text, and a lock of another connection that
// outlasts the time-out.
#include <chrono>

#include "ProviderTest.h"

using namespace providertest;

namespace {

class EmbeddedTest : public ProviderTest {};

TEST(Embedded, AMemoryDatabaseIsSharedByTheSessionsOfOneDataSourceOnly) {
    auto dso = NewDataSource();
    ASSERT_EQ(Connect(dso.Get(), L":memory:"), S_OK);
    auto first = NewSession(dso.Get());
    ASSERT_EQ(Exec(first.Get(), L"CREATE TABLE m (v TEXT)"), S_OK);
    ASSERT_EQ(Exec(first.Get(), L"INSERT INTO m VALUES ('shared')"), S_OK);
    EXPECT_EQ(Query(NewSession(dso.Get()).Get(), L"SELECT v FROM m"),
              (std::vector<Row>{{L"shared"}}));
    auto other = NewDataSource();
    ASSERT_EQ(Connect(other.Get(), L":memory:"), S_OK);
    EXPECT_EQ(Exec(NewSession(other.Get()).Get(), L"SELECT v FROM m"), DB_E_NOTABLE);
    // The functions the embedded database adds for the library's SQL.
    EXPECT_EQ(Query(first.Get(), L"SELECT CONCAT('a', NULL, 'b', 1), CHR(65)"),
              (std::vector<Row>{{L"ab1", L"A"}}));
}

TEST_F(EmbeddedTest, NamedParametersMapToTheirOrdinals) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE d (id INTEGER, label VARCHAR(8))"), S_OK);
    auto command =
        NewCommand(m_session.Get(), L"SELECT id FROM d WHERE id > :low AND label <> @skip");
    ASSERT_EQ(command.As<ICommandPrepare>(IID_ICommandPrepare)->Prepare(1), S_OK);
    const OLECHAR* wanted[] = {L"skip", L":low", L"nothing"};
    DB_LPARAMS ordinals[3] = {};
    EXPECT_EQ(command.As<ICommandWithParameters>(IID_ICommandWithParameters)
                  ->MapParameterNames(3, wanted, ordinals),
              DB_S_ERRORSOCCURRED);
    EXPECT_EQ(ordinals[0], 2);
    EXPECT_EQ(ordinals[1], 1);
    EXPECT_EQ(ordinals[2], 0);
}

TEST_F(EmbeddedTest, SeveralStatementsInOneTextRunInOrder) {
    DBROWCOUNT affected = 0;
    ASSERT_EQ(Exec(m_session.Get(),
                   L"CREATE TABLE s (v INTEGER); INSERT INTO s VALUES (1); "
                   L"INSERT INTO s VALUES (2), (3); -- done",
                   &affected),
              S_OK);
    EXPECT_EQ(affected, 3);
    EXPECT_EQ(Scalar("SELECT sum(v) FROM s"), "6");
}

TEST_F(EmbeddedTest, ALockHeldElsewhereFailsAfterTheTimeOutAsBusy) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE l (v INTEGER)"), S_OK);
    auto dso = NewDataSource();
    ASSERT_EQ(Connect(dso.Get(), m_file, 1), S_OK);
    auto session = NewSession(dso.Get());
    ASSERT_EQ(sqlite3_exec(Db(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    auto start = std::chrono::steady_clock::now();
    HRESULT hr = Exec(session.Get(), L"INSERT INTO l VALUES (1)");
    auto waited = std::chrono::steady_clock::now() - start;
    sqlite3_exec(Db(), "ROLLBACK", nullptr, nullptr, nullptr);
    EXPECT_TRUE(FAILED(hr));
    EXPECT_GE(waited, std::chrono::milliseconds(900));
    EXPECT_LT(waited, std::chrono::seconds(4));
    auto records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].sqlState, L"40001");
    EXPECT_EQ(records[0].nativeError & 0xff, SQLITE_BUSY);
    // Once the lock is gone the same statement goes through.
    EXPECT_EQ(Exec(session.Get(), L"INSERT INTO l VALUES (2)"), S_OK);
    EXPECT_EQ(Scalar("SELECT group_concat(v) FROM l"), "2");
}

} // namespace
