// Empty text and binary values are values, not NULL, on every backend: as
// parameters of every kind that carries bytes, and read back by value and as
// streams, also from a row whose only variable-length values are empty.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

class EmptyValues : public Conformance {
protected:
    void SetUp() override {
        Conformance::SetUp();
        const Context& c = *m_context;
        m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (id INTEGER, s VARCHAR(10), w " +
                               c.LongTextType() + L", b " + c.LongBinaryType() + L", q " +
                               c.LongBinaryType() + L")");
    }
    // The lengths of every column of row id as the database holds them
    // (nothing for NULL).
    Row Stored(int id) {
        const std::vector<Row> rows =
            m_context->CheckerQuery(L"SELECT length(s), length(w), length(b), length(q) FROM " +
                                    m_table + L" WHERE id = " + std::to_wstring(id));
        return rows.empty() ? Row{} : rows[0];
    }
};

TEST_P(EmptyValues, EmptyParametersAreStoredAsEmptyValues) {
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"INSERT INTO " + m_table + L" VALUES (?, ?, ?, ?, ?)");
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    layout.Add(2, DBTYPE_STR, 8);
    layout.Add(3, DBTYPE_WSTR, 8 * sizeof(wchar_t));
    layout.Add(4, DBTYPE_BYTES, 8);
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    layout.Add(5, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    // One set with every value empty (no bytes of any parameter at all), one
    // where the text before them is not.
    const struct {
        LONG id;
        const char* text;
    } cases[] = {{1, ""}, {2, "x"}};
    for (const auto& c : cases) {
        std::vector<BYTE> data(layout.Size(), 0);
        BYTE* row = data.data();
        for (size_t i = 0; i < layout.Bindings().size(); ++i)
            layout.Status(row, i) = DBSTATUS_S_OK;
        layout.Value<LONG>(row, 0) = c.id;
        std::strcpy(&layout.Value<char>(row, 1), c.text);
        layout.Length(row, 1) = std::strlen(c.text);
        Ptr<IStream> empty;
        ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, empty.Out()), S_OK);
        layout.Value<IUnknown*>(row, 4) = empty.Get();
        DBPARAMS params{row, 1, accessor};
        DBROWCOUNT affected = 0;
        ASSERT_EQ(command->Execute(nullptr, IID_NULL, &params, &affected, nullptr), S_OK)
            << Describe(TakeErrorRecords());
        EXPECT_EQ(affected, 1);
    }
    EXPECT_EQ(Stored(1), (Row{L"0", L"0", L"0", L"0"}));
    EXPECT_EQ(Stored(2), (Row{L"1", L"0", L"0", L"0"}));
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
}

TEST_P(EmptyValues, EmptyColumnsReadAsEmptyByValueAndAsStreams) {
    const std::wstring empty = m_context->BinaryLiteral(L"");
    m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (1, '', '', " + empty + L", " +
                           empty + L"), (2, 'a', '', " + m_context->BinaryLiteral(L"01") + L", " +
                           empty + L")");
    ASSERT_EQ(Stored(1), (Row{L"0", L"0", L"0", L"0"}));
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    Layout layout;
    layout.Add(2, DBTYPE_WSTR, 8 * sizeof(wchar_t));
    layout.Add(2, DBTYPE_STR, 8);
    layout.Add(4, DBTYPE_BYTES, 8);
    layout.Add(4, DBTYPE_STR, 8); // binary as hex text
    layout.Add(3, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    layout.Add(5, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    Ptr<IRowset> rowset = OpenRowset(L"SELECT id, s, w, b, q FROM " + m_table + L" ORDER BY id");
    ASSERT_TRUE(rowset);
    const HACCESSOR accessor = layout.Create(rowset.Get(), DBACCESSOR_ROWDATA);
    DBCOUNTITEM obtained = 0;
    HROW handles[2];
    HROW* rows = handles;
    ASSERT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 2, &obtained, &rows), S_OK);
    ASSERT_EQ(obtained, 2u);
    std::vector<BYTE> data(layout.Size());
    BYTE* row = data.data();
    ASSERT_EQ(rowset->GetData(handles[0], accessor, row), S_OK) << Describe(TakeErrorRecords());
    for (size_t i = 0; i < layout.Bindings().size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(layout.Status(row, i), DBSTATUS_S_OK);
        EXPECT_EQ(layout.Length(row, i), 0u);
    }
    EXPECT_STREQ(&layout.Value<wchar_t>(row, 0), L"");
    EXPECT_STREQ(&layout.Value<char>(row, 1), "");
    EXPECT_STREQ(&layout.Value<char>(row, 3), "");
    for (size_t i : {4, 5}) {
        ISequentialStream* stream = layout.Value<ISequentialStream*>(row, i);
        ASSERT_NE(stream, nullptr);
        char byte = 0;
        ULONG read = 7;
        EXPECT_EQ(stream->Read(&byte, 1, &read), S_FALSE);
        EXPECT_EQ(read, 0u);
        stream->Release();
    }
    // The row after it is whole.
    ASSERT_EQ(rowset->GetData(handles[1], accessor, row), S_OK) << Describe(TakeErrorRecords());
    EXPECT_STREQ(&layout.Value<wchar_t>(row, 0), L"a");
    EXPECT_STREQ(&layout.Value<char>(row, 3), "01");
    layout.Value<ISequentialStream*>(row, 4)->Release();
    layout.Value<ISequentialStream*>(row, 5)->Release();
    rowset->ReleaseRows(2, handles, nullptr, nullptr, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Backends, EmptyValues, ::testing::ValuesIn(BackendNames()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
