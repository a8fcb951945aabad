// Empty text and empty binary values are values, not NULL: as parameters of
// every kind that carries bytes, and read back by value and as streams, also
// from a row whose only variable-length values are empty.
#include "ProviderTest.h"

using namespace providertest;

namespace {

class EmptyValueTest : public ProviderTest {
protected:
    void SetUp() override {
        ProviderTest::SetUp();
        ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE e (id INTEGER, s TEXT, w TEXT, b BLOB, "
                                        L"q BLOB)"),
                  S_OK);
    }
    // typeof() and length() of every column of row id, as SQLite holds it.
    std::string Stored(int id) {
        const std::string where = " FROM e WHERE id = " + std::to_string(id);
        return Scalar(("SELECT typeof(s) || length(s) || typeof(w) || length(w) || typeof(b) || "
                       "length(b) || typeof(q) || length(q)" +
                       where)
                          .c_str());
    }
};

TEST_F(EmptyValueTest, EmptyParametersAreStoredAsEmptyValues) {
    auto command = NewCommand(m_session.Get(), L"INSERT INTO e VALUES (?, ?, ?, ?, ?)");
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    layout.Add(2, DBTYPE_STR, 8);
    layout.Add(3, DBTYPE_WSTR, 8 * sizeof(wchar_t));
    layout.Add(4, DBTYPE_BYTES, 8);
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    layout.Add(5, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    HACCESSOR h = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    // One set with every value empty (nothing in the provider's byte store
    // at all), one where the text before them is not.
    struct Case {
        LONG id;
        const char* text;
    } cases[] = {{1, ""}, {2, "x"}};
    for (const Case& c : cases) {
        std::vector<BYTE> data(layout.Size());
        BYTE* row = data.data();
        for (size_t i = 0; i < layout.Bindings().size(); ++i)
            layout.Status(row, i) = DBSTATUS_S_OK;
        layout.Value<LONG>(row, 0) = c.id;
        std::strcpy(&layout.Value<char>(row, 1), c.text);
        layout.Length(row, 1) = std::strlen(c.text);
        layout.Length(row, 2) = 0;
        layout.Length(row, 3) = 0;
        Ptr<IStream> empty;
        ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, empty.Out()), S_OK);
        layout.Value<IUnknown*>(row, 4) = empty.Get();
        DBPARAMS params{row, 1, h};
        DBROWCOUNT affected = 0;
        ASSERT_EQ(command->Execute(nullptr, IID_NULL, &params, &affected, nullptr), S_OK);
        EXPECT_EQ(affected, 1);
    }
    EXPECT_EQ(Stored(1), "text0text0blob0blob0");
    EXPECT_EQ(Stored(2), "text1text0blob0blob0");
}

TEST_F(EmptyValueTest, EmptyColumnsReadAsEmptyByValueAndAsStreams) {
    // Written by the C API, so that the provider only reads.
    ASSERT_EQ(sqlite3_exec(Db(),
                           "INSERT INTO e VALUES (1, '', '', X'', X''), (2, 'a', '', X'01', "
                           "X'')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    ASSERT_EQ(Stored(1), "text0text0blob0blob0");

    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    Layout layout;
    layout.Add(2, DBTYPE_WSTR, 8 * sizeof(wchar_t));
    layout.Add(2, DBTYPE_STR, 8);
    layout.Add(4, DBTYPE_BYTES, 8);
    layout.Add(4, DBTYPE_STR, 8); // binary as hex text
    layout.Add(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    layout.Add(4, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    auto command = NewCommand(m_session.Get(), L"SELECT id, s, w, b, q FROM e ORDER BY id");
    Ptr<IRowset> rowset;
    ASSERT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()), S_OK);
    HACCESSOR h = layout.Create(rowset.Get(), DBACCESSOR_ROWDATA);
    DBCOUNTITEM obtained = 0;
    HROW handles[2];
    HROW* rows = handles;
    ASSERT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 2, &obtained, &rows), S_OK);
    ASSERT_EQ(obtained, 2u);
    std::vector<BYTE> data(layout.Size());
    BYTE* row = data.data();
    ASSERT_EQ(rowset->GetData(handles[0], h, row), S_OK);
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
    ASSERT_EQ(rowset->GetData(handles[1], h, row), S_OK);
    EXPECT_STREQ(&layout.Value<wchar_t>(row, 0), L"a");
    EXPECT_STREQ(&layout.Value<char>(row, 3), "01");
    layout.Value<ISequentialStream*>(row, 4)->Release();
    layout.Value<ISequentialStream*>(row, 5)->Release();
    rowset->ReleaseRows(2, handles, nullptr, nullptr, nullptr);
}

} // namespace
