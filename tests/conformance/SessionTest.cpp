// Sessions on every backend: local transactions as a second connection sees
// them and the codes of their misuse, the catalogs schema rowset, and tables
// opened without SQL.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, TransactionsAsASecondConnectionSeesThem) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER, amount INTEGER)");
    Ptr<ITransactionLocal> tx = m_session.As<ITransactionLocal>(IID_ITransactionLocal);
    ASSERT_TRUE(tx);
    auto outside = [&](const wchar_t* what) {
        const std::vector<Row> rows =
            m_context->CheckerQuery(std::wstring(L"SELECT ") + what + L" FROM " + m_table);
        return rows.empty() ? std::nullopt : rows[0][0];
    };
    ULONG level = 0;
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, &level), S_OK)
        << Describe(TakeErrorRecords());
    EXPECT_EQ(level, 1u);
    Run(L"INSERT INTO " + m_table + L" VALUES (1, 100)");
    EXPECT_EQ(outside(L"count(*)"), L"0") << "seen before the commit";
    ASSERT_EQ(tx->Abort(nullptr, FALSE, FALSE), S_OK);
    EXPECT_TRUE(Query(m_session.Get(), L"SELECT * FROM " + m_table).empty());

    // Retaining: committed, and the next transaction runs at once.
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, nullptr), S_OK);
    Run(L"INSERT INTO " + m_table + L" VALUES (2, 200)");
    ASSERT_EQ(tx->Commit(TRUE, XACTTC_SYNC, 0), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(outside(L"sum(amount)"), L"200");
    Run(L"INSERT INTO " + m_table + L" VALUES (3, 300)");
    XACTTRANSINFO info{};
    ASSERT_EQ(tx->GetTransactionInfo(&info), S_OK);
    EXPECT_EQ(info.isoLevel, static_cast<ISOLEVEL>(ISOLATIONLEVEL_SERIALIZABLE));
    ASSERT_EQ(tx->Abort(nullptr, FALSE, FALSE), S_OK);
    EXPECT_EQ(outside(L"sum(amount)"), L"200");

    // Back to statements that commit by themselves, seen by another session
    // of the same data source.
    Run(L"INSERT INTO " + m_table + L" VALUES (4, 400)");
    EXPECT_EQ(outside(L"sum(amount)"), L"600");
    EXPECT_EQ(Query(NewSession(m_dso.Get()).Get(), L"SELECT sum(amount) FROM " + m_table),
              (std::vector<Row>{{L"600"}}));
}

TEST_P(Conformance, TransactionMisuseIsAnsweredWithTheTransactionCodes) {
    Ptr<ITransactionLocal> tx = m_session.As<ITransactionLocal>(IID_ITransactionLocal);
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

TEST_P(Conformance, TheCatalogsSchemaListsAndRestrictsToTheTestDatabase) {
    Ptr<IDBSchemaRowset> schemas = m_session.As<IDBSchemaRowset>(IID_IDBSchemaRowset);
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

    const std::wstring expected = m_context->ExpectedCatalog();
    auto catalogs = [&](ULONG restrictions, const wchar_t* only) {
        VARIANT restriction = Text(only);
        Ptr<IRowset> rowset;
        EXPECT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_CATALOGS, restrictions, &restriction,
                                     IID_IRowset, 0, nullptr, rowset.OutUnknown()),
                  S_OK)
            << Describe(TakeErrorRecords());
        VariantClear(&restriction);
        std::vector<std::wstring> names;
        for (const Row& row : rowset ? ReadAll(rowset.Get()) : std::vector<Row>{})
            names.push_back(row[0].value_or(L"(null)"));
        return names;
    };
    const std::vector<std::wstring> all = catalogs(0, L"");
    EXPECT_NE(std::find(all.begin(), all.end(), expected), all.end());
    EXPECT_EQ(catalogs(1, expected.c_str()), std::vector<std::wstring>{expected});

    Ptr<IRowset> rowset;
    EXPECT_EQ(schemas->GetRowset(nullptr, DBSCHEMA_TABLES, 0, nullptr, IID_IRowset, 0, nullptr,
                                 rowset.OutUnknown()),
              E_INVALIDARG);
}

TEST_P(Conformance, OpenRowsetReadsATableByNameAndRejectsAnUnknownOne) {
    const std::wstring name = m_table + L" odd";
    m_context->CheckerExec(L"DROP TABLE IF EXISTS " + m_context->Quoted(name));
    Run(L"CREATE TABLE " + m_context->Quoted(name) + L" (a INTEGER, b VARCHAR(5))");
    Run(L"INSERT INTO " + m_context->Quoted(name) + L" VALUES (7, 'x')");
    Ptr<IOpenRowset> open = m_session.As<IOpenRowset>(IID_IOpenRowset);
    auto openTable = [&](std::wstring table, Ptr<IRowset>& rowset) {
        DBID id{};
        id.eKind = DBKIND_NAME;
        id.uName.pwszName = table.data();
        return open->OpenRowset(nullptr, &id, nullptr, IID_IRowset, 0, nullptr,
                                rowset.OutUnknown());
    };
    Ptr<IRowset> rowset;
    ASSERT_EQ(openTable(name, rowset), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(ReadAll(rowset.Get()), (std::vector<Row>{{L"7", L"x"}}));
    rowset.Reset();
    Run(L"DROP TABLE " + m_context->Quoted(name));

    EXPECT_EQ(openTable(m_table + L"_missing", rowset), DB_E_NOTABLE);
    EXPECT_FALSE(rowset);
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_NE(records[0].description.find(m_table + L"_missing"), std::wstring::npos)
        << Describe(records);
    EXPECT_EQ(records[0].sqlState, m_context->MissingTableState());
}

} // namespace
} // namespace conformance
