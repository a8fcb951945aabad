// Sessions: transactions seen from a second connection, the catalogs schema
// rowset and tables opened without SQL.
#include "ProviderTest.h"

using namespace providertest;

namespace {

class SessionTest : public ProviderTest {
protected:
    Ptr<ITransactionLocal> Transactions() {
        return m_session.As<ITransactionLocal>(IID_ITransactionLocal);
    }
};

TEST_F(SessionTest, RolledBackAndCommittedWorkAsSeenFromOutside) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE acct (id INTEGER, amount INTEGER)"), S_OK);
    auto tx = Transactions();
    ASSERT_TRUE(tx);
    ULONG level = 0;
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level), S_OK);
    EXPECT_EQ(level, 1u);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO acct VALUES (1, 100)"), S_OK);
    // Not visible outside before the commit, and then gone.
    EXPECT_EQ(Scalar("SELECT count(*) FROM acct"), "0");
    ASSERT_EQ(tx->Abort(nullptr, FALSE, FALSE), S_OK);
    EXPECT_EQ(Scalar("SELECT count(*) FROM acct"), "0");
    EXPECT_TRUE(Query(m_session.Get(), L"SELECT * FROM acct").empty());

    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, nullptr), S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO acct VALUES (2, 200)"), S_OK);
    // Retaining: committed, and a new transaction runs at once.
    ASSERT_EQ(tx->Commit(TRUE, XACTTC_SYNC, 0), S_OK);
    EXPECT_EQ(Scalar("SELECT sum(amount) FROM acct"), "200");
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO acct VALUES (3, 300)"), S_OK);
    XACTTRANSINFO info{};
    ASSERT_EQ(tx->GetTransactionInfo(&info), S_OK);
    EXPECT_EQ(info.isoLevel, static_cast<ISOLEVEL>(ISOLATIONLEVEL_SERIALIZABLE));
    ASSERT_EQ(tx->Commit(FALSE, XACTTC_SYNC, 0), S_OK);
    EXPECT_EQ(Scalar("SELECT sum(amount) FROM acct"), "500");

    // A second session of the same data source sees the committed rows.
    auto other = NewSession(m_dso.Get());
    auto rows = Query(other.Get(), L"SELECT sum(amount) FROM acct");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"500");
}

TEST_F(SessionTest, TransactionMisuseIsAnsweredWithTheTransactionCodes) {
    auto tx = Transactions();
    EXPECT_EQ(tx->Commit(FALSE, XACTTC_SYNC, 0), XACT_E_NOTRANSACTION);
    EXPECT_EQ(tx->Abort(nullptr, FALSE, FALSE), XACT_E_NOTRANSACTION);
    XACTTRANSINFO info{};
    EXPECT_EQ(tx->GetTransactionInfo(&info), XACT_E_NOTRANSACTION);
    EXPECT_EQ(tx->StartTransaction(ISOLATIONLEVEL_CHAOS, 0, nullptr, nullptr),
              XACT_E_ISOLATIONLEVEL);
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_READUNCOMMITTED, 0, nullptr, nullptr), S_OK);
    EXPECT_EQ(tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr),
              XACT_E_XTIONEXISTS);
    EXPECT_EQ(tx->Abort(nullptr, FALSE, TRUE), XACT_E_NOTSUPPORTED);
    EXPECT_EQ(tx->Abort(nullptr, FALSE, FALSE), S_OK);
}

TEST_F(SessionTest, CatalogsSchemaListsMainAndAttachedDatabases) {
    auto schemas = m_session.As<IDBSchemaRowset>(IID_IDBSchemaRowset);
    ASSERT_TRUE(schemas);
    ULONG count = 0;
    GUID* guids = nullptr;
    ULONG* support = nullptr;
    ASSERT_EQ(schemas->GetSchemas(&count, &guids, &support), S_OK);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(guids[0], DBSCHEMA_CATALOGS);
    EXPECT_EQ(support[0], 1u);
    CoTaskMemFree(guids);
    CoTaskMemFree(support);

    const std::string aux = (m_dir / "aux.db").string();
    ASSERT_EQ(Exec(m_session.Get(),
                   L"ATTACH DATABASE '" + std::wstring(aux.begin(), aux.end()) + L"' AS aux"),
              S_OK);
    Ptr<IRowset> rowset;
    ASSERT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_CATALOGS, 0, nullptr, IID_IRowset, 0, nullptr,
                                 rowset.OutUnknown()),
              S_OK);
    auto rows = ReadAll(rowset.Get());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][0], L"main");
    EXPECT_EQ(rows[1][0], L"aux");
    EXPECT_NE(rows[1][1]->find(L"aux.db"), std::wstring::npos);

    VARIANT only = Text(L"aux");
    ASSERT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_CATALOGS, 1, &only, IID_IRowset, 0, nullptr,
                                 rowset.OutUnknown()),
              S_OK);
    VariantClear(&only);
    rows = ReadAll(rowset.Get());
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"aux");

    EXPECT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_TABLES, 0, nullptr, IID_IRowset, 0, nullptr,
                                 rowset.OutUnknown()),
              E_INVALIDARG);
}

TEST_F(SessionTest, OpenRowsetReadsATableAndRejectsAnUnknownOne) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE \"odd name\" (a INTEGER, b TEXT)"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO \"odd name\" VALUES (7, 'x')"), S_OK);
    auto open = m_session.As<IOpenRowset>(IID_IOpenRowset);
    DBID table{};
    table.eKind = DBKIND_NAME;
    std::wstring name = L"odd name";
    table.uName.pwszName = name.data();
    Ptr<IRowset> rowset;
    ASSERT_EQ(
        open->OpenRowset(nullptr, &table, nullptr, IID_IRowset, 0, nullptr, rowset.OutUnknown()),
        S_OK);
    auto rows = ReadAll(rowset.Get());
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"7");
    EXPECT_EQ(rows[0][1], L"x");

    std::wstring missing = L"no_such_table";
    table.uName.pwszName = missing.data();
    EXPECT_EQ(
        open->OpenRowset(nullptr, &table, nullptr, IID_IRowset, 0, nullptr, rowset.OutUnknown()),
        DB_E_NOTABLE);
    EXPECT_FALSE(rowset);
    auto records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_NE(records[0].description.find(L"no_such_table"), std::wstring::npos);
    EXPECT_EQ(records[0].sqlState, L"42S02");
}

} // namespace
