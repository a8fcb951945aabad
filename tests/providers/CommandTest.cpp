// Commands as a consumer runs them: statements without results, queries read
// in batches, parameters with one or many sets, errors and cancel.
#include <atomic>
#include <chrono>
#include <cwchar>
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

TEST_F(CommandTest, ParameterSetsAreStridedByTheAccessorsRowSize) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE p (id INT, name NVARCHAR(30), price REAL, "
                                    L"at DATETIME, note TEXT)"),
              S_OK);
    auto command = NewCommand(m_session.Get(), L"INSERT INTO p VALUES (?, ?, ?, ?, ?)");
    auto prepare = command.As<ICommandPrepare>(IID_ICommandPrepare);
    ASSERT_EQ(prepare->Prepare(3), S_OK);
    auto withParams = command.As<ICommandWithParameters>(IID_ICommandWithParameters);
    DB_UPARAMS count = 0;
    DBPARAMINFO* info = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(withParams->GetParameterInfo(&count, &info, &names), S_OK);
    EXPECT_EQ(count, 5u);
    CoTaskMemFree(info);
    CoTaskMemFree(names);

    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    layout.Add(2, DBTYPE_WSTR, 31 * sizeof(wchar_t));
    layout.Add(3, DBTYPE_R8, sizeof(double));
    layout.Add(4, DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP));
    layout.Add(5, DBTYPE_STR, 16, DBPART_VALUE | DBPART_STATUS);
    HACCESSOR h = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    constexpr size_t sets = 3;
    std::vector<BYTE> data(layout.Size() * sets);
    const wchar_t* namesIn[] = {L"Äpfel", L"Birnen", L"Kirschen"};
    for (size_t s = 0; s < sets; ++s) {
        BYTE* row = data.data() + s * layout.Size();
        layout.Status(row, 0) = DBSTATUS_S_OK;
        layout.Value<LONG>(row, 0) = static_cast<LONG>(10 + s);
        layout.Status(row, 1) = DBSTATUS_S_OK;
        std::wcscpy(&layout.Value<wchar_t>(row, 1), namesIn[s]);
        layout.Length(row, 1) = std::wcslen(namesIn[s]) * sizeof(wchar_t);
        layout.Status(row, 2) = s == 1 ? DBSTATUS_S_ISNULL : DBSTATUS_S_OK;
        layout.Value<double>(row, 2) = 1.25 * (s + 1);
        layout.Status(row, 3) = DBSTATUS_S_OK;
        layout.Value<DBTIMESTAMP>(row, 3) = DBTIMESTAMP{2024, 2, 29, 23, 59, 58, 5000000};
        layout.Status(row, 4) = DBSTATUS_S_OK;
        std::strcpy(&layout.Value<char>(row, 4), "n\xC3\xB6te");
    }
    DBPARAMS params{data.data(), sets, h};
    DBROWCOUNT affected = 0;
    ASSERT_EQ(command->Execute(nullptr, IID_NULL, &params, &affected, nullptr), S_OK);
    EXPECT_EQ(affected, 3);
    // Run again, prepared, with one set.
    params.cParamSets = 1;
    ASSERT_EQ(command->Execute(nullptr, IID_NULL, &params, &affected, nullptr), S_OK);
    EXPECT_EQ(affected, 1);

    EXPECT_EQ(Scalar("SELECT count(*) FROM p"), "4");
    EXPECT_EQ(Scalar("SELECT group_concat(name, '|') FROM (SELECT name FROM p ORDER BY rowid)"),
              "\xC3\x84pfel|Birnen|Kirschen|\xC3\x84pfel");
    EXPECT_EQ(Scalar("SELECT count(*) FROM p WHERE price IS NULL"), "1");
    EXPECT_EQ(Scalar("SELECT sum(price) FROM p"), "6.25");
    EXPECT_EQ(Scalar("SELECT at FROM p WHERE id = 12"), "2024-02-29 23:59:58.005");
    EXPECT_EQ(Scalar("SELECT note FROM p WHERE id = 11"), "n\xC3\xB6te");
    EXPECT_EQ(Scalar("SELECT typeof(id) FROM p LIMIT 1"), "integer");
}

TEST_F(CommandTest, APreparedCommandDescribesItsColumnsAndParameters) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE d (id INTEGER, label VARCHAR(8))"), S_OK);
    auto command = NewCommand(m_session.Get(), L"SELECT id, label FROM d WHERE id > :low AND "
                                               L"label <> @skip");
    auto columns = command.As<IColumnsInfo>(IID_IColumnsInfo);
    DBORDINAL count = 0;
    DBCOLUMNINFO* ci = nullptr;
    OLECHAR* names = nullptr;
    EXPECT_EQ(columns->GetColumnInfo(&count, &ci, &names), DB_E_NOTPREPARED);
    ASSERT_EQ(command.As<ICommandPrepare>(IID_ICommandPrepare)->Prepare(1), S_OK);
    ASSERT_EQ(columns->GetColumnInfo(&count, &ci, &names), S_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(ci[1].wType, DBTYPE_WSTR);
    EXPECT_EQ(ci[1].ulColumnSize, 8u);
    CoTaskMemFree(ci);
    CoTaskMemFree(names);

    auto params = command.As<ICommandWithParameters>(IID_ICommandWithParameters);
    const OLECHAR* wanted[] = {L"skip", L":low", L"nothing"};
    DB_LPARAMS ordinals[3] = {};
    EXPECT_EQ(params->MapParameterNames(3, wanted, ordinals), DB_S_ERRORSOCCURRED);
    EXPECT_EQ(ordinals[0], 2);
    EXPECT_EQ(ordinals[1], 1);
    EXPECT_EQ(ordinals[2], 0);

    // A rowset of the prepared command keeps it from running again until
    // the rowset is gone.
    Ptr<IRowset> rowset;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK);
    Ptr<IRowset> second;
    EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, second.OutUnknown()),
              DB_E_OBJECTOPEN);
    rowset.Reset();
    EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, second.OutUnknown()), S_OK);
    Ptr<IUnknown> spec;
    ASSERT_EQ(second.As<IRowsetInfo>(IID_IRowsetInfo)->GetSpecification(IID_ICommand, spec.Out()),
              S_OK);
    EXPECT_TRUE(spec);
}

TEST_F(CommandTest, ErrorRecordsCarryMessageStateAndNativeError) {
    EXPECT_EQ(Exec(m_session.Get(), L"SELEC 1"), DB_E_ERRORSINCOMMAND);
    auto records = TakeErrorRecords();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_NE(records[0].description.find(L"syntax error"), std::wstring::npos);
    EXPECT_EQ(records[0].sqlState, L"42000");
    EXPECT_EQ(records[0].nativeError, SQLITE_ERROR);
    EXPECT_EQ(records[0].hr, DB_E_ERRORSINCOMMAND);

    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE u (k INTEGER PRIMARY KEY, v TEXT UNIQUE)"),
              S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO u VALUES (1, 'a')"), S_OK);
    EXPECT_EQ(Exec(m_session.Get(), L"INSERT INTO u VALUES (2, 'a')"), DB_E_INTEGRITYVIOLATION);
    records = TakeErrorRecords();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_NE(records[0].description.find(L"UNIQUE"), std::wstring::npos);
    EXPECT_EQ(records[0].sqlState, L"23000");
    EXPECT_EQ(records[0].nativeError, SQLITE_CONSTRAINT_UNIQUE);
    EXPECT_EQ(Scalar("SELECT count(*) FROM u"), "1");

    // Every object says it leaves error records.
    auto command = NewCommand(m_session.Get(), L"SELECT 1");
    auto support = command.As<ISupportErrorInfo>(IID_ISupportErrorInfo);
    ASSERT_TRUE(support);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ICommand), S_OK);
    EXPECT_EQ(m_session.As<ISupportErrorInfo>(IID_ISupportErrorInfo)
                  ->InterfaceSupportsErrorInfo(IID_IOpenRowset),
              S_OK);
}

TEST_F(CommandTest, CancelFromAnotherThreadEndsALongQuery) {
    auto command = NewCommand(m_session.Get(),
                              L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                              L"SELECT count(*) FROM c");
    std::atomic<bool> done{false};
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        while (!done.load()) {
            EXPECT_EQ(command->Cancel(), S_OK);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    Ptr<IRowset> rowset;
    auto start = std::chrono::steady_clock::now();
    HRESULT hr = command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown());
    done = true;
    canceller.join();
    EXPECT_EQ(hr, DB_E_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_FALSE(rowset);
    // The command and the session still work afterwards.
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"SELECT 42"), S_OK);
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK);
    auto rows = ReadAll(rowset.Get());
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"42");
}

TEST_F(CommandTest, ALockHeldElsewhereFailsAfterTheTimeOutAsBusy) {
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

TEST_F(CommandTest, SeveralStatementsInOneTextRunInOrder) {
    DBROWCOUNT affected = 0;
    ASSERT_EQ(Exec(m_session.Get(),
                   L"CREATE TABLE s (v INTEGER); INSERT INTO s VALUES (1); "
                   L"INSERT INTO s VALUES (2), (3); -- done",
                   &affected),
              S_OK);
    EXPECT_EQ(affected, 3);
    EXPECT_EQ(Scalar("SELECT sum(v) FROM s"), "6");
    // An empty text is no command.
    auto command = NewCommand(m_session.Get(), L"SELECT 1");
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L""), S_OK);
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), DB_E_NOCOMMAND);
}

TEST_F(CommandTest, RowsetPropertiesTheLibrarySetsAreAcceptedOrRefused) {
    auto command = NewCommand(m_session.Get(), L"SELECT 1 AS one UNION ALL SELECT 2");
    auto props = command.As<ICommandProperties>(IID_ICommandProperties);
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
              S_OK);
    // Both rows by position, then the first again through its bookmark.
    DBCOUNTITEM obtained = 0;
    HROW* rows = nullptr;
    ASSERT_EQ(locate->GetNextRows(DB_NULL_HCHAPTER, 0, 2, &obtained, &rows), S_OK);
    ASSERT_EQ(obtained, 2u);
    locate->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
    CoTaskMemFree(rows);
    rows = nullptr;
    BYTE first = DBBMK_FIRST;
    ASSERT_EQ(locate->GetRowsAt(0, DB_NULL_HCHAPTER, 1, &first, 1, 5, &obtained, &rows),
              DB_S_ENDOFROWSET);
    ASSERT_EQ(obtained, 1u);
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    HACCESSOR h = layout.Create(locate.Get(), DBACCESSOR_ROWDATA);
    std::vector<BYTE> buffer(layout.Size());
    ASSERT_EQ(locate->GetData(rows[0], h, buffer.data()), S_OK);
    EXPECT_EQ(layout.Value<LONG>(buffer.data(), 0), 2);
    locate->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
    CoTaskMemFree(rows);

    // The bookmark column comes first; a bookmark read with a row brings
    // that row back after the cursor moved on.
    auto columns = locate.As<IColumnsInfo>(IID_IColumnsInfo);
    DBORDINAL columnCount = 0;
    DBCOLUMNINFO* ci = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(columns->GetColumnInfo(&columnCount, &ci, &names), S_OK);
    ASSERT_EQ(columnCount, 2u);
    EXPECT_EQ(ci[0].iOrdinal, 0u);
    EXPECT_NE(ci[0].dwFlags & DBCOLUMNFLAGS_ISBOOKMARK, 0u);
    EXPECT_EQ(ci[1].iOrdinal, 1u);
    CoTaskMemFree(ci);
    CoTaskMemFree(names);
    Layout withMark;
    withMark.Add(0, DBTYPE_UI8, sizeof(DBBKMARK));
    withMark.Add(1, DBTYPE_I4, sizeof(LONG));
    HACCESSOR hm = withMark.Create(locate.Get(), DBACCESSOR_ROWDATA);
    ASSERT_EQ(locate->RestartPosition(DB_NULL_HCHAPTER), S_OK);
    rows = nullptr;
    ASSERT_EQ(locate->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows), S_OK);
    std::vector<BYTE> marked(withMark.Size());
    ASSERT_EQ(locate->GetData(rows[0], hm, marked.data()), S_OK);
    const DBBKMARK firstMark = withMark.Value<DBBKMARK>(marked.data(), 0);
    locate->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
    CoTaskMemFree(rows);
    rows = nullptr;
    ASSERT_EQ(locate->GetNextRows(DB_NULL_HCHAPTER, 0, 5, &obtained, &rows), DB_S_ENDOFROWSET);
    EXPECT_EQ(obtained, 1u);
    locate->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
    CoTaskMemFree(rows);
    const DBBKMARK size = sizeof firstMark;
    const BYTE* mark = reinterpret_cast<const BYTE*>(&firstMark);
    HROW again = DB_NULL_HROW;
    DBROWSTATUS status = DBROWSTATUS_E_FAIL;
    ASSERT_EQ(locate->GetRowsByBookmark(DB_NULL_HCHAPTER, 1, &size, &mark, &again, &status), S_OK);
    EXPECT_EQ(status, DBROWSTATUS_S_OK);
    ASSERT_EQ(locate->GetData(again, hm, marked.data()), S_OK);
    EXPECT_EQ(withMark.Value<LONG>(marked.data(), 1), 1);
    DBCOMPARE order = DBCOMPARE_NE;
    ASSERT_EQ(locate->Compare(DB_NULL_HCHAPTER, size, mark, size, mark, &order), S_OK);
    EXPECT_EQ(order, DBCOMPARE_EQ);
    locate->ReleaseRows(1, &again, nullptr, nullptr, nullptr);

    auto info = locate.As<IRowsetInfo>(IID_IRowsetInfo);
    DBPROPID id = DBPROP_UPDATABILITY;
    DBPROPIDSET ids{&id, 1, DBPROPSET_ROWSET};
    ULONG count = 0;
    DBPROPSET* sets = nullptr;
    ASSERT_EQ(info->GetProperties(1, &ids, &count, &sets), S_OK);
    EXPECT_EQ(sets[0].rgProperties[0].vValue.lVal, 7);
    CoTaskMemFree(sets[0].rgProperties);
    CoTaskMemFree(sets);
}

} // namespace
