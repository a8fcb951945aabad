// Provider scenarios written once against the OLE DB interfaces and run on
// every backend; what the provider wrote is read back, and what it reads was
// written, by the backend's independent client.
#include <cstring>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, ConnectsAndRefusesAWrongPasswordWithoutShowingIt) {
    VARIANT catalog = DataSourceProperty(DBPROPSET_DATASOURCE, DBPROP_CURRENTCATALOG);
    ASSERT_EQ(catalog.vt, VT_BSTR);
    EXPECT_EQ(std::wstring(catalog.bstrVal), m_context->ExpectedCatalog());
    VariantClear(&catalog);
    if (!m_context->ChecksPasswords())
        return;
    const std::wstring wrong = L"Wr0ng-Secret-42";
    HRESULT hr = S_OK;
    Ptr<IDBInitialize> refused = Open(wrong, &hr);
    EXPECT_TRUE(FAILED(hr));
    const auto records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].sqlState.size(), 5u);
    for (const auto& r : records) {
        EXPECT_EQ(r.description.find(wrong), std::wstring::npos);
        EXPECT_EQ(r.description.find(L"****"), std::wstring::npos) << Describe(records);
    }
}

TEST_P(Conformance, WritesAndReadsEveryColumnTypeInBatches) {
    const Context& c = *m_context;
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER, big " + c.BigIntType() +
        L", amount DECIMAL(12,3), ratio " + c.DoubleType() + L", flag " + c.BoolType() +
        L", day DATE, at " + c.TimestampType() + L", name VARCHAR(20))");
    for (int i = 1; i <= 7; ++i) {
        const std::wstring n = std::to_wstring(i);
        Run(L"INSERT INTO " + m_table + L" VALUES (" + n + L", " + n + L"000000000000, " + n +
            L"2.125, " + n + L".5, " + (i % 2 ? L"TRUE" : L"FALSE") + L", '2024-02-0" + n +
            L"', '2024-02-0" + n + L" 10:11:12.250', 'name " + n + L"')");
    }
    Run(L"INSERT INTO " + m_table + L" VALUES (8, NULL, NULL, NULL, NULL, NULL, NULL, NULL)");
    size_t batches = 0;
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"SELECT * FROM " + m_table + L" ORDER BY id");
    Ptr<IRowset> rowset;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK)
        << Describe(TakeErrorRecords());
    const std::vector<Row> rows = ReadAll(rowset.Get(), 3, &batches);
    ASSERT_EQ(rows.size(), 8u);
    EXPECT_EQ(batches, 3u);
    EXPECT_EQ(rows[2], (Row{L"3", L"3000000000000", L"32.125", L"3.5", c.TrueText(), L"2024-02-03",
                            L"2024-02-03 10:11:12.250000000", L"name 3"}));
    EXPECT_EQ(rows[7], (Row{L"8", std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                            std::nullopt, std::nullopt, std::nullopt}));
    // What the provider wrote, read by the independent client.
    const std::vector<Row> checked =
        m_context->CheckerQuery(L"SELECT id, big, name FROM " + m_table + L" ORDER BY id");
    ASSERT_EQ(checked.size(), 8u);
    EXPECT_EQ(checked[6], (Row{L"7", L"7000000000000", L"name 7"}));
}

TEST_P(Conformance, LongValuesOfALaterRowOfABatchComeThroughStreams) {
    const Context& c = *m_context;
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (id INTEGER, body " + c.LongTextType() +
                           L", data " + c.LongBinaryType() + L")");
    // Each text ends in a character beyond ASCII.
    auto text = [](int row) {
        return std::wstring(30000 + row, static_cast<wchar_t>(L'a' + row)) + L"\u20AC";
    };
    auto hex = [](int row) {
        std::wstring out;
        for (int i = 0; i < 12000 + row; ++i)
            out += L"0123456789ABCDEF"[(i + row) % 16], out += L"0123456789ABCDEF"[i % 16];
        return out;
    };
    for (int row = 1; row <= 3; ++row)
        m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (" + std::to_wstring(row) +
                               L", '" + text(row) + L"', " + c.BinaryLiteral(hex(row)) + L")");
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"SELECT id, body, data FROM " + m_table + L" ORDER BY id");
    Ptr<IRowset> rowset;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK)
        << Describe(TakeErrorRecords());
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    Layout layout;
    layout.Add(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    layout.Add(3, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    HACCESSOR accessor = layout.Create(rowset.Get(), DBACCESSOR_ROWDATA);
    DBCOUNTITEM obtained = 0;
    HROW handles[3];
    HROW* rows = handles;
    ASSERT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 3, &obtained, &rows), S_OK);
    ASSERT_EQ(obtained, 3u);
    for (int row = 2; row <= 3; ++row) {
        std::vector<BYTE> buffer(layout.Size());
        ASSERT_EQ(rowset->GetData(handles[row - 1], accessor, buffer.data()), S_OK)
            << Describe(TakeErrorRecords());
        std::vector<std::vector<BYTE>> values;
        for (size_t i = 0; i < 2; ++i) {
            ASSERT_EQ(layout.Status(buffer.data(), i), DBSTATUS_S_OK);
            auto* stream = layout.Value<ISequentialStream*>(buffer.data(), i);
            std::vector<BYTE> whole;
            BYTE piece[1000];
            ULONG read = 0;
            HRESULT hr;
            while (SUCCEEDED(hr = stream->Read(piece, sizeof piece, &read)) && read != 0)
                whole.insert(whole.end(), piece, piece + read);
            EXPECT_TRUE(SUCCEEDED(hr)) << Describe(TakeErrorRecords());
            stream->Release();
            values.push_back(std::move(whole));
        }
        const std::wstring expected = text(row);
        ASSERT_EQ(values[0].size(), expected.size() * sizeof(wchar_t));
        EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(values[0].data()), expected.size()),
                  expected);
        const std::wstring digits = hex(row);
        ASSERT_EQ(values[1].size(), digits.size() / 2);
        for (size_t i = 0; i < values[1].size(); ++i)
            ASSERT_EQ(values[1][i], std::stoi(digits.substr(2 * i, 2), nullptr, 16)) << i;
    }
    rowset->ReleaseRows(obtained, handles, nullptr, nullptr, nullptr);
    rowset.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
}

TEST_P(Conformance, ParameterSetsOfOneAndManyAreStoredAsGiven) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER, amount DECIMAL(12,3), ratio " +
        m_context->DoubleType() + L", day DATE, name VARCHAR(20), at " +
        m_context->TimestampType() + L", note VARCHAR(10))");
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"INSERT INTO " + m_table + L" VALUES (?, ?, ?, ?, ?, ?, ?)");
    ASSERT_EQ(command.As<ICommandPrepare>(IID_ICommandPrepare)->Prepare(3), S_OK)
        << Describe(TakeErrorRecords());
    EXPECT_EQ(ParameterCount(command.Get()), 7u);
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    layout.Add(2, DBTYPE_NUMERIC, sizeof(DB_NUMERIC)).bScale = 3;
    layout.Add(3, DBTYPE_R8, sizeof(double));
    layout.Add(4, DBTYPE_DBDATE, sizeof(DBDATE));
    layout.Add(5, DBTYPE_WSTR, 21 * sizeof(wchar_t));
    layout.Add(6, DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP));
    layout.Add(7, DBTYPE_STR, 11, DBPART_VALUE | DBPART_STATUS); // text to its terminator
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    auto run = [&](LONG first, size_t sets) {
        std::vector<BYTE> data(layout.Size() * sets, 0);
        for (size_t set = 0; set < sets; ++set) {
            BYTE* row = data.data() + set * layout.Size();
            const LONG id = first + static_cast<LONG>(set);
            for (size_t i = 0; i < 7; ++i)
                layout.Status(row, i) = DBSTATUS_S_OK;
            layout.Value<LONG>(row, 0) = id;
            DB_NUMERIC& amount = layout.Value<DB_NUMERIC>(row, 1);
            amount.precision = 12;
            amount.scale = 3;
            amount.sign = id % 2; // odd ids positive
            // Odd thousandths, so that every backend's text of it shows all three digits.
            const unsigned value = 1234561u + 2u * static_cast<unsigned>(id);
            std::memcpy(amount.val, &value, sizeof value);
            layout.Value<double>(row, 2) = id + 0.25;
            layout.Value<DBDATE>(row, 3) = DBDATE{2024, 3, static_cast<USHORT>(id)};
            const std::wstring name = L"p\u00e4r " + std::to_wstring(id);
            std::wcscpy(&layout.Value<wchar_t>(row, 4), name.c_str());
            layout.Length(row, 4) = name.size() * sizeof(wchar_t);
            if (id == 3)
                layout.Status(row, 4) = DBSTATUS_S_ISNULL;
            layout.Value<DBTIMESTAMP>(row, 5) =
                DBTIMESTAMP{2024, 2, 29, 23, 59, static_cast<USHORT>(id), 5000000};
            std::strcpy(&layout.Value<char>(row, 6), "n\xC3\xB6te");
        }
        DBPARAMS params{data.data(), sets, accessor};
        DBROWCOUNT affected = -7;
        EXPECT_EQ(command->Execute(nullptr, IID_NULL, &params, &affected, nullptr), S_OK)
            << Describe(TakeErrorRecords());
        EXPECT_EQ(affected, static_cast<DBROWCOUNT>(sets));
    };
    run(1, 1);
    run(2, 4);
    const std::vector<Row> stored = m_context->CheckerQuery(
        L"SELECT id, amount, ratio, day, name FROM " + m_table + L" ORDER BY id");
    ASSERT_EQ(stored.size(), 5u);
    EXPECT_EQ(stored[0], (Row{L"1", L"1234.563", L"1.25", L"2024-03-01", L"p\u00e4r 1"}));
    EXPECT_EQ(stored[1], (Row{L"2", L"-1234.565", L"2.25", L"2024-03-02", L"p\u00e4r 2"}));
    EXPECT_EQ(stored[2], (Row{L"3", L"1234.567", L"3.25", L"2024-03-03", std::nullopt}));
    EXPECT_EQ(stored[4][0], L"5");
    EXPECT_EQ(Query(m_session.Get(), L"SELECT at, note FROM " + m_table + L" WHERE id = 4"),
              (std::vector<Row>{{L"2024-02-29 23:59:04.005000000", L"n\u00f6te"}}));
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
}

} // namespace
} // namespace conformance
