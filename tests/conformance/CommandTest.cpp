// Commands on every backend: statements that count their rows, queries read
// in batches of row handles, prepared commands, error records, and the rowset
// properties the library sets (bookmarks among them).
#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, StatementsCountTheirRowsAndQueriesReadWhatTheDatabaseHolds) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER PRIMARY KEY, name VARCHAR(20))");
    DBROWCOUNT affected = 0;
    ASSERT_EQ(Exec(m_session.Get(),
                   L"INSERT INTO " + m_table + L" VALUES (1, 'eins'), (2, 'zwei'), (3, NULL)",
                   &affected),
              S_OK);
    EXPECT_EQ(affected, 3);
    ASSERT_EQ(
        Exec(m_session.Get(), L"UPDATE " + m_table + L" SET name = 'drei' WHERE id = 3", &affected),
        S_OK);
    EXPECT_EQ(affected, 1);
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT name FROM " + m_table + L" ORDER BY id"),
              (std::vector<Row>{{L"eins"}, {L"zwei"}, {L"drei"}}));
    m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (4, 'vier \u20AC')");
    EXPECT_EQ(Query(m_session.Get(), L"SELECT name FROM " + m_table + L" WHERE id > 2 ORDER BY id"),
              (std::vector<Row>{{L"drei"}, {L"vier \u20AC"}}));
}

TEST_P(Conformance, QueriesAreReadInBatchesOfHandlesToTheirEnd) {
    CreateNumbers(L"v", 45);
    const struct {
        const wchar_t* where;
        size_t rows, batches;
    } cases[] = {{L"v > 100", 0, 0}, {L"v <= 20", 20, 1}, {L"v > 0", 45, 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.where);
        Ptr<IRowset> rowset =
            OpenRowset(L"SELECT v FROM " + m_table + L" WHERE " + c.where + L" ORDER BY v");
        ASSERT_TRUE(rowset);
        size_t batches = 0;
        const std::vector<Row> rows = ReadAll(rowset.Get(), 20, &batches);
        EXPECT_EQ(rows.size(), c.rows);
        EXPECT_EQ(batches, c.batches);
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

TEST_P(Conformance, APreparedCommandDescribesItselfAndWaitsForItsOpenRowset) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER, label VARCHAR(8))");
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"SELECT id, label FROM " + m_table + L" WHERE id > ?");
    Ptr<IColumnsInfo> columns = command.As<IColumnsInfo>(IID_IColumnsInfo);
    DBORDINAL count = 0;
    DBCOLUMNINFO* info = nullptr;
    OLECHAR* names = nullptr;
    EXPECT_EQ(columns->GetColumnInfo(&count, &info, &names), DB_E_NOTPREPARED);
    ASSERT_EQ(command.As<ICommandPrepare>(IID_ICommandPrepare)->Prepare(1), S_OK)
        << Describe(TakeErrorRecords());
    ASSERT_EQ(columns->GetColumnInfo(&count, &info, &names), S_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(info[1].wType, DBTYPE_WSTR);
    EXPECT_EQ(info[1].ulColumnSize, 8u);
    CoTaskMemFree(info);
    CoTaskMemFree(names);
    EXPECT_EQ(ParameterCount(command.Get()), 1u);

    // The command runs again only once its rowset is gone.
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    std::vector<BYTE> data(layout.Size(), 0);
    DBPARAMS params{data.data(), 1, accessor};
    Ptr<IRowset> rowset, second;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, &params, nullptr, rowset.OutUnknown()), S_OK)
        << Describe(TakeErrorRecords());
    EXPECT_EQ(command->Execute(nullptr, IID_IRowset, &params, nullptr, second.OutUnknown()),
              DB_E_OBJECTOPEN);
    rowset.Reset();
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, &params, nullptr, second.OutUnknown()), S_OK);
    {
        // The rowset names the command that made it.
        Ptr<IUnknown> maker;
        Ptr<IRowsetInfo> about = second.As<IRowsetInfo>(IID_IRowsetInfo);
        ASSERT_EQ(about->GetSpecification(IID_ICommand, maker.Out()), S_OK);
        EXPECT_TRUE(maker);
    }
    second.Reset();
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
    // An empty text is no command.
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L""), S_OK);
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), DB_E_NOCOMMAND);
}

TEST_P(Conformance, ErrorRecordsCarryMessageStateAndNativeError) {
    const struct {
        const char* name;
        std::wstring sql;
        HRESULT expected;
        std::wstring state;
    } cases[] = {
        {"syntax", L"SELEC 1", DB_E_ERRORSINCOMMAND, m_context->SyntaxErrorState()},
        {"duplicate", L"INSERT INTO " + m_table + L" VALUES (1)", DB_E_INTEGRITYVIOLATION,
         m_context->UniqueViolationState()},
    };
    Run(L"CREATE TABLE " + m_table + L" (k INTEGER PRIMARY KEY)");
    Run(L"INSERT INTO " + m_table + L" VALUES (1)");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Exec(m_session.Get(), c.sql), c.expected);
        const std::vector<Record> records = TakeErrorRecords();
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(records[0].hr, c.expected);
        EXPECT_EQ(records[0].sqlState, c.state) << Describe(records);
        EXPECT_NE(records[0].nativeError, 0);
        EXPECT_FALSE(records[0].description.empty());
    }
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT count(*) FROM " + m_table),
              (std::vector<Row>{{L"1"}}));
    // Every object says it leaves error records.
    Ptr<ICommandText> command = NewCommand(m_session.Get(), L"SELECT 1");
    EXPECT_EQ(command.As<ISupportErrorInfo>(IID_ISupportErrorInfo)
                  ->InterfaceSupportsErrorInfo(IID_ICommand),
              S_OK);
    EXPECT_EQ(m_session.As<ISupportErrorInfo>(IID_ISupportErrorInfo)
                  ->InterfaceSupportsErrorInfo(IID_IOpenRowset),
              S_OK);
}

// Row handles of a fetch; released and freed with the object.
struct Handles {
    IRowset* rowset;
    DBCOUNTITEM count = 0;
    HROW* rows = nullptr;
    ~Handles() {
        if (count)
            rowset->ReleaseRows(count, rows, nullptr, nullptr, nullptr);
        CoTaskMemFree(rows);
    }
};

TEST_P(Conformance, BookmarksBringRowsBackAndTheRowsetPropertiesAreAsSet) {
    Ptr<ICommandText> command = NewCommand(m_session.Get(), L"SELECT 1 AS one UNION ALL SELECT 2");
    Ptr<ICommandProperties> props = command.As<ICommandProperties>(IID_ICommandProperties);
    DBPROP p[] = {Prop(DBPROP_IRowsetLocate, Bool(true)), Prop(DBPROP_UPDATABILITY, Int(7)),
                  Prop(DBPROP_ISequentialStream, Bool(true))};
    DBPROPSET set{p, 3, DBPROPSET_ROWSET};
    EXPECT_EQ(props->SetProperties(1, &set), S_OK);
    DBPROP change = Prop(DBPROP_IRowsetChange, Bool(true));
    DBPROPSET changeSet{&change, 1, DBPROPSET_ROWSET};
    EXPECT_EQ(props->SetProperties(1, &changeSet), DB_E_ERRORSOCCURRED);
    EXPECT_EQ(change.dwStatus, DBPROPSTATUS_NOTSETTABLE);

    Ptr<IRowsetLocate> locate;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowsetLocate, nullptr, nullptr, locate.OutUnknown()),
              S_OK)
        << Describe(TakeErrorRecords());
    // The bookmark column comes first.
    DBORDINAL columnCount = 0;
    DBCOLUMNINFO* info = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(locate.As<IColumnsInfo>(IID_IColumnsInfo)->GetColumnInfo(&columnCount, &info, &names),
              S_OK);
    ASSERT_EQ(columnCount, 2u);
    EXPECT_EQ(info[0].iOrdinal, 0u);
    EXPECT_NE(info[0].dwFlags & DBCOLUMNFLAGS_ISBOOKMARK, 0u);
    CoTaskMemFree(info);
    CoTaskMemFree(names);

    Layout layout;
    layout.Add(0, DBTYPE_UI8, sizeof(DBBKMARK));
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    const HACCESSOR accessor = layout.Create(locate.Get(), DBACCESSOR_ROWDATA);
    std::vector<BYTE> buffer(layout.Size());
    DBBKMARK firstMark = 0;
    {
        Handles first{locate.Get()};
        ASSERT_EQ(locate->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &first.count, &first.rows), S_OK);
        ASSERT_EQ(locate->GetData(first.rows[0], accessor, buffer.data()), S_OK);
        firstMark = layout.Value<DBBKMARK>(buffer.data(), 0);
        Handles rest{locate.Get()};
        EXPECT_EQ(locate->GetNextRows(DB_NULL_HCHAPTER, 0, 5, &rest.count, &rest.rows),
                  DB_S_ENDOFROWSET);
        EXPECT_EQ(rest.count, 1u);
    }
    // The cursor moved on; the bookmark still finds the first row, and the
    // row after the first one is the second.
    const DBBKMARK size = sizeof firstMark;
    const BYTE* mark = reinterpret_cast<const BYTE*>(&firstMark);
    HROW again = DB_NULL_HROW;
    DBROWSTATUS status = DBROWSTATUS_E_FAIL;
    ASSERT_EQ(locate->GetRowsByBookmark(DB_NULL_HCHAPTER, 1, &size, &mark, &again, &status), S_OK);
    EXPECT_EQ(status, DBROWSTATUS_S_OK);
    ASSERT_EQ(locate->GetData(again, accessor, buffer.data()), S_OK);
    EXPECT_EQ(layout.Value<LONG>(buffer.data(), 1), 1);
    locate->ReleaseRows(1, &again, nullptr, nullptr, nullptr);
    DBCOMPARE order = DBCOMPARE_NE;
    ASSERT_EQ(locate->Compare(DB_NULL_HCHAPTER, size, mark, size, mark, &order), S_OK);
    EXPECT_EQ(order, DBCOMPARE_EQ);
    {
        Handles second{locate.Get()};
        BYTE first = DBBMK_FIRST;
        ASSERT_EQ(
            locate->GetRowsAt(0, DB_NULL_HCHAPTER, 1, &first, 1, 5, &second.count, &second.rows),
            DB_S_ENDOFROWSET);
        ASSERT_EQ(second.count, 1u);
        ASSERT_EQ(locate->GetData(second.rows[0], accessor, buffer.data()), S_OK);
        EXPECT_EQ(layout.Value<LONG>(buffer.data(), 1), 2);
    }

    DBPROPID id = DBPROP_UPDATABILITY;
    DBPROPIDSET ids{&id, 1, DBPROPSET_ROWSET};
    ULONG count = 0;
    DBPROPSET* sets = nullptr;
    ASSERT_EQ(locate.As<IRowsetInfo>(IID_IRowsetInfo)->GetProperties(1, &ids, &count, &sets), S_OK);
    EXPECT_EQ(sets[0].rgProperties[0].vValue.lVal, 7);
    CoTaskMemFree(sets[0].rgProperties);
    CoTaskMemFree(sets);
    locate.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
}

} // namespace
} // namespace conformance
