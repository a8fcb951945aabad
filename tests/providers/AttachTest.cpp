// Attached databases belong to the data source: what one session attaches or
// detaches, every other session of the same data source sees, whether it
// was opened before or after.
#include <thread>

#include "ProviderTest.h"

using namespace providertest;

namespace {

class AttachTest : public ProviderTest {
protected:
    // The catalog names a session lists, in order.
    static std::vector<std::wstring> Catalogs(IDBCreateCommand* session) {
        std::vector<std::wstring> names;
        Ptr<IUnknown> unknown;
        session->QueryInterface(IID_IUnknown, unknown.OutVoid());
        auto schemas = unknown.As<IDBSchemaRowset>(IID_IDBSchemaRowset);
        Ptr<IRowset> rowset;
        EXPECT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_CATALOGS, 0, nullptr, IID_IRowset, 0,
                                     nullptr, rowset.OutUnknown()),
                  S_OK);
        if (!rowset)
            return names;
        for (const Row& row : ReadAll(rowset.Get()))
            names.push_back(row[0].value_or(L"(null)"));
        return names;
    }

    // A database file beside the test's own, with a table t of the values.
    std::wstring MakeDatabase(const char* name, std::initializer_list<int> values) {
        const std::string path = (m_dir / name).string();
        sqlite3* db = nullptr;
        EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        std::string sql = "CREATE TABLE t (v INTEGER);";
        for (int v : values)
            sql += "INSERT INTO t VALUES (" + std::to_string(v) + ");";
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
        return std::wstring(path.begin(), path.end());
    }

    static std::optional<std::wstring> Sum(IDBCreateCommand* session, const std::wstring& table) {
        auto rows = Query(session, L"SELECT sum(v) FROM " + table);
        return rows.size() == 1 ? rows[0][0] : std::nullopt;
    }
};

using Names = std::vector<std::wstring>;

TEST_F(AttachTest, AttachAndDetachReachEverySessionOldAndNew) {
    const std::wstring sales = MakeDatabase("sales.db", {3, 4});
    auto before = NewSession(m_dso.Get());
    // A comment ahead of the statement and a lower-case keyword: the text
    // alone is not what tells an attachment.
    ASSERT_EQ(Exec(m_session.Get(), L"/* monthly */ attach '" + sales + L"' AS Sales"), S_OK);

    auto after = NewSession(m_dso.Get());
    for (IDBCreateCommand* s : {m_session.Get(), before.Get(), after.Get()}) {
        EXPECT_EQ(Catalogs(s), (Names{L"main", L"Sales"}));
        EXPECT_EQ(Sum(s, L"sales.t"), L"7");
    }
    // Written through one session, read through another.
    ASSERT_EQ(Exec(after.Get(), L"INSERT INTO Sales.t VALUES (10)"), S_OK);
    EXPECT_EQ(Sum(before.Get(), L"Sales.t"), L"17");

    // Detached by a session that did not attach it, named in other case.
    ASSERT_EQ(Exec(before.Get(), L"DETACH DATABASE SALES"), S_OK);
    auto later = NewSession(m_dso.Get());
    for (IDBCreateCommand* s : {m_session.Get(), before.Get(), after.Get(), later.Get()}) {
        EXPECT_EQ(Catalogs(s), (Names{L"main"}));
        EXPECT_NE(Exec(s, L"SELECT * FROM Sales.t"), S_OK);
    }
    TakeErrorRecords();
    // The file itself kept what was written.
    sqlite3* db = nullptr;
    const std::string path(sales.begin(), sales.end());
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    sqlite3_stmt* stmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT sum(v) FROM t", -1, &stmt, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(stmt, 0), 17);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
}

TEST_F(AttachTest, OrderFailuresAndReattachUnderTheSameName) {
    const std::wstring a = MakeDatabase("a.db", {1});
    const std::wstring b = MakeDatabase("b.db", {2});
    const std::wstring c = MakeDatabase("c.db", {3});
    auto other = NewSession(m_dso.Get());
    // Several statements in one text, the attachments among them.
    ASSERT_EQ(
        Exec(m_session.Get(), L"ATTACH '" + a + L"' AS x; ATTACH '" + b + L"' AS y; SELECT 1"),
        S_OK);
    ASSERT_EQ(Exec(other.Get(), L"ATTACH '" + c + L"' AS z"), S_OK);
    const Names all{L"main", L"x", L"y", L"z"};
    EXPECT_EQ(Catalogs(m_session.Get()), all);
    EXPECT_EQ(Catalogs(other.Get()), all);

    // A failing ATTACH (no such directory, a name in use) changes nothing.
    EXPECT_NE(Exec(other.Get(), L"ATTACH '" + (m_dir / "none" / "d.db").wstring() + L"' AS w"),
              S_OK);
    EXPECT_NE(Exec(other.Get(), L"ATTACH '" + c + L"' AS x"), S_OK);
    TakeErrorRecords();
    EXPECT_EQ(Catalogs(m_session.Get()), all);

    // Detaching one in the middle keeps the others' order everywhere, and
    // the name may then be used for another file.
    ASSERT_EQ(Exec(other.Get(), L"DETACH y"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"ATTACH '" + c + L"' AS y"), S_OK);
    EXPECT_EQ(Catalogs(m_session.Get()), (Names{L"main", L"x", L"z", L"y"}));
    EXPECT_EQ(Catalogs(other.Get()), (Names{L"main", L"x", L"z", L"y"}));
    EXPECT_EQ(Sum(other.Get(), L"y.t"), L"3");
    EXPECT_EQ(Sum(other.Get(), L"x.t"), L"1");
}

TEST_F(AttachTest, InMemoryAttachmentIsSharedAndTempStaysPrivate) {
    // Filled by the same text that attaches it.
    ASSERT_EQ(Exec(m_session.Get(), L"ATTACH ':memory:' AS scratch; "
                                    L"CREATE TABLE scratch.t (v INTEGER); "
                                    L"INSERT INTO scratch.t VALUES (5)"),
              S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TEMP TABLE mine (v INTEGER)"), S_OK);
    auto other = NewSession(m_dso.Get());
    EXPECT_EQ(Catalogs(other.Get()), (Names{L"main", L"scratch"}));
    EXPECT_EQ(Sum(other.Get(), L"scratch.t"), L"5");
    ASSERT_EQ(Exec(other.Get(), L"INSERT INTO scratch.t VALUES (6)"), S_OK);
    EXPECT_EQ(Sum(m_session.Get(), L"scratch.t"), L"11");
    EXPECT_NE(Exec(other.Get(), L"SELECT * FROM mine"), S_OK);
    TakeErrorRecords();

    // The first session going away leaves the database to the others.
    m_session.Reset();
    EXPECT_EQ(Sum(other.Get(), L"scratch.t"), L"11");
    auto third = NewSession(m_dso.Get());
    EXPECT_EQ(Sum(third.Get(), L"scratch.t"), L"11");
}

TEST_F(AttachTest, SessionInATransactionKeepsWhatItUsesUntilItEnds) {
    const std::wstring aux = MakeDatabase("aux.db", {8});
    auto other = NewSession(m_dso.Get());
    Ptr<IUnknown> unknown;
    other->QueryInterface(IID_IUnknown, unknown.OutVoid());
    auto local = unknown.As<ITransactionLocal>(IID_ITransactionLocal);
    ASSERT_TRUE(local);
    ASSERT_EQ(local->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr), S_OK);
    // Attaching elsewhere reaches a session inside its transaction at once.
    ASSERT_EQ(Exec(m_session.Get(), L"ATTACH '" + aux + L"' AS aux"), S_OK);
    EXPECT_EQ(Catalogs(other.Get()), (Names{L"main", L"aux"}));
    ASSERT_EQ(Exec(other.Get(), L"INSERT INTO aux.t VALUES (1)"), S_OK);

    // Detached elsewhere while the transaction holds it: the session keeps
    // it, its work undisturbed, and lets go once the transaction ends.
    ASSERT_EQ(Exec(m_session.Get(), L"DETACH aux"), S_OK);
    EXPECT_EQ(Catalogs(m_session.Get()), (Names{L"main"}));
    EXPECT_EQ(Sum(other.Get(), L"aux.t"), L"9");
    EXPECT_EQ(Catalogs(other.Get()), (Names{L"main", L"aux"}));
    ASSERT_EQ(local->Commit(FALSE, XACTTC_SYNC, 0), S_OK);
    EXPECT_EQ(Catalogs(other.Get()), (Names{L"main"}));
    // The committed row reached the file.
    ASSERT_EQ(Exec(m_session.Get(), L"ATTACH '" + aux + L"' AS again"), S_OK);
    EXPECT_EQ(Sum(other.Get(), L"again.t"), L"9");
}

TEST_F(AttachTest, SessionsOnSeveralThreadsAttachAtOnce) {
    constexpr int perThread = 4;
    std::vector<std::wstring> files;
    for (int i = 0; i < 2 * perThread; ++i)
        files.push_back(MakeDatabase(("f" + std::to_string(i) + ".db").c_str(), {i}));
    auto second = NewSession(m_dso.Get());
    auto work = [&files](IDBCreateCommand* session, int first) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (int i = first; i < first + perThread; ++i) {
            EXPECT_EQ(Exec(session, L"ATTACH '" + files[i] + L"' AS d" + std::to_wstring(i)), S_OK);
            // Something else in between, which also catches up.
            Query(session, L"SELECT count(*) FROM sqlite_schema");
        }
        CoUninitialize();
    };
    std::thread one(work, m_session.Get(), 0);
    std::thread two(work, second.Get(), perThread);
    one.join();
    two.join();

    auto listed = Catalogs(m_session.Get());
    ASSERT_EQ(listed.size(), 1u + 2 * perThread);
    EXPECT_EQ(Catalogs(second.Get()), listed);
    auto fresh = NewSession(m_dso.Get());
    EXPECT_EQ(Catalogs(fresh.Get()), listed);
    std::wstring total = L"SELECT 0";
    for (int i = 0; i < 2 * perThread; ++i)
        total += L" + (SELECT v FROM d" + std::to_wstring(i) + L".t)";
    auto rows = Query(fresh.Get(), total);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], std::to_wstring(2 * perThread * (2 * perThread - 1) / 2));
}

} // namespace
