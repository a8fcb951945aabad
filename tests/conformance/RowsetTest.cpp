// Rowsets on every backend: column descriptions, GetData with the
// conversions typed getters rely on, NULL and truncation statuses, packed
// bindings at odd offsets, and accessors with bad bindings.
#include <cstring>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

// The first row of rowset read through layout into buffer (first filled
// with 0xCC): the result of GetData.
HRESULT FirstRow(IRowset* rowset, const Layout& layout, std::vector<BYTE>& buffer) {
    const HACCESSOR accessor = layout.Create(rowset, DBACCESSOR_ROWDATA);
    buffer.assign(layout.Size(), 0xCC);
    DBCOUNTITEM obtained = 0;
    HROW row[1];
    HROW* rows = row;
    EXPECT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows), S_OK);
    const HRESULT hr = rowset->GetData(row[0], accessor, buffer.data());
    rowset->ReleaseRows(obtained, row, nullptr, nullptr, nullptr);
    return hr;
}

TEST_P(Conformance, DeclaredTypesBecomeColumnDescriptions) {
    const Context& c = *m_context;
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (a INTEGER NOT NULL, b SMALLINT, e " +
                           c.DoubleType() + L", f VARCHAR(12), h " + c.LongTextType() + L", i " +
                           c.LongBinaryType() + L", j DECIMAL(10,2), l DATE, n " +
                           c.TimestampType() + L", g " + c.BigIntType() + L")");
    Ptr<IRowset> rowset = OpenRowset(L"SELECT * FROM " + m_table);
    ASSERT_TRUE(rowset);
    DBORDINAL count = 0;
    DBCOLUMNINFO* info = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(rowset.As<IColumnsInfo>(IID_IColumnsInfo)->GetColumnInfo(&count, &info, &names),
              S_OK);
    auto sizeOf = [](DBTYPE type) { return type == DBTYPE_I8 ? 8u : type == DBTYPE_I4 ? 4u : 2u; };
    const struct {
        const wchar_t* name;
        DBTYPE type;
        DBLENGTH size;
        bool isLong;
    } expected[] = {
        {L"a", c.IntegerColumnType(), sizeOf(c.IntegerColumnType()), false},
        {L"b", c.SmallIntColumnType(), sizeOf(c.SmallIntColumnType()), false},
        {L"e", DBTYPE_R8, 8, false},
        {L"f", DBTYPE_WSTR, 12, false},
        {L"h", DBTYPE_WSTR, ~DBLENGTH{0}, true},
        {L"i", DBTYPE_BYTES, ~DBLENGTH{0}, true},
        {L"j", DBTYPE_NUMERIC, sizeof(DB_NUMERIC), false},
        {L"l", DBTYPE_DBDATE, sizeof(DBDATE), false},
        {L"n", DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP), false},
        {L"g", DBTYPE_I8, 8, false},
    };
    ASSERT_EQ(count, std::size(expected));
    for (size_t i = 0; i < count; ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(std::wstring(info[i].pwszName), expected[i].name);
        EXPECT_EQ(info[i].iOrdinal, i + 1);
        EXPECT_EQ(info[i].wType, expected[i].type);
        EXPECT_EQ(info[i].ulColumnSize, expected[i].size);
        EXPECT_EQ((info[i].dwFlags & DBCOLUMNFLAGS_ISLONG) != 0, expected[i].isLong);
    }
    EXPECT_EQ(info[6].bPrecision, 10);
    EXPECT_EQ(info[6].bScale, 2);
    EXPECT_EQ(info[0].dwFlags & DBCOLUMNFLAGS_ISNULLABLE, 0u);
    EXPECT_NE(info[1].dwFlags & DBCOLUMNFLAGS_ISNULLABLE, 0u);
    CoTaskMemFree(info);
    CoTaskMemFree(names);
}

TEST_P(Conformance, GetDataConvertsIntoWhatTheGettersBind) {
    const Context& c = *m_context;
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (i " + c.BigIntType() + L", r " +
                           c.DoubleType() + L", s VARCHAR(10), d DECIMAL(12,3), ts " +
                           c.TimestampType() + L", dt DATE, tm TIME, b " + c.BoolType() +
                           L", u SMALLINT)");
    m_context->CheckerExec(L"INSERT INTO " + m_table +
                           L" VALUES (-1234567890123, 2.5, '314', 1234567.5, "
                           L"'2023-07-01 12:34:56.789', '1999-12-31', '08:15:00', TRUE, 200)");
    Layout layout;
    layout.Add(1, DBTYPE_I8, 8);                            // 0
    layout.Add(1, DBTYPE_R8, 8);                            // 1
    layout.Add(2, DBTYPE_R8, 8);                            // 2
    layout.Add(2, DBTYPE_I4, 4);                            // 3: 2.5 loses its fraction
    layout.Add(3, DBTYPE_I4, 4);                            // 4: text to number
    layout.Add(3, DBTYPE_STR, 11);                          // 5
    layout.Add(4, DBTYPE_NUMERIC, sizeof(DB_NUMERIC));      // 6
    layout.Add(4, DBTYPE_R8, 8);                            // 7
    layout.Add(5, DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP)); // 8
    layout.Add(6, DBTYPE_DBDATE, sizeof(DBDATE));           // 9
    layout.Add(7, DBTYPE_DBTIME, sizeof(DBTIME));           // 10
    layout.Add(8, DBTYPE_BOOL, sizeof(VARIANT_BOOL));       // 11
    layout.Add(9, DBTYPE_UI1, 1);                           // 12
    layout.Add(1, DBTYPE_I4, 4);                            // 13: does not fit
    layout.Add(5, DBTYPE_WSTR, 40 * sizeof(wchar_t));       // 14
    Ptr<IRowset> rowset = OpenRowset(L"SELECT * FROM " + m_table);
    ASSERT_TRUE(rowset);
    std::vector<BYTE> buffer;
    // The one overflowing binding makes the call a partial success.
    ASSERT_EQ(FirstRow(rowset.Get(), layout, buffer), DB_S_ERRORSOCCURRED)
        << Describe(TakeErrorRecords());
    BYTE* row = buffer.data();
    for (size_t i = 0; i < layout.Bindings().size(); ++i)
        EXPECT_EQ(layout.Status(row, i), i == 13 ? DBSTATUS_E_DATAOVERFLOW : DBSTATUS_S_OK) << i;
    EXPECT_EQ(layout.Value<LONGLONG>(row, 0), -1234567890123LL);
    EXPECT_EQ(layout.Value<double>(row, 1), -1234567890123.0);
    EXPECT_EQ(layout.Value<double>(row, 2), 2.5);
    EXPECT_EQ(layout.Value<LONG>(row, 3), 2);
    EXPECT_EQ(layout.Value<LONG>(row, 4), 314);
    EXPECT_STREQ(&layout.Value<char>(row, 5), "314");
    EXPECT_EQ(layout.Length(row, 5), 3u);
    const auto& number = layout.Value<DB_NUMERIC>(row, 6);
    EXPECT_EQ(number.scale, 3);
    EXPECT_EQ(number.sign, 1);
    EXPECT_EQ(number.val[0] | number.val[1] << 8 | number.val[2] << 16 | number.val[3] << 24,
              1234567500);
    EXPECT_EQ(layout.Value<double>(row, 7), 1234567.5);
    const auto& ts = layout.Value<DBTIMESTAMP>(row, 8);
    EXPECT_EQ((std::vector<int>{ts.year, ts.month, ts.day, ts.hour, ts.minute, ts.second}),
              (std::vector<int>{2023, 7, 1, 12, 34, 56}));
    EXPECT_EQ(ts.fraction, 789000000u);
    EXPECT_EQ(layout.Value<DBDATE>(row, 9).year, 1999);
    EXPECT_EQ(layout.Value<DBDATE>(row, 9).day, 31);
    EXPECT_EQ(layout.Value<DBTIME>(row, 10).minute, 15);
    EXPECT_EQ(layout.Value<VARIANT_BOOL>(row, 11), VARIANT_TRUE);
    EXPECT_EQ(layout.Value<BYTE>(row, 12), 200);
    EXPECT_EQ(std::wstring(&layout.Value<wchar_t>(row, 14)).substr(0, 19), L"2023-07-01 12:34:56");
}

TEST_P(Conformance, NullsAndTruncationAreReportedPerBinding) {
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (a INTEGER, t VARCHAR(40), y " +
                           m_context->LongBinaryType() + L")");
    m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (NULL, 'abcdefghij', " +
                           m_context->BinaryLiteral(L"00010203040506070809") + L")");
    Layout layout;
    layout.Add(1, DBTYPE_I4, 4);
    layout.Add(2, DBTYPE_WSTR, 5 * sizeof(wchar_t)); // four characters and the terminator
    layout.Add(2, DBTYPE_STR, 4);
    layout.Add(3, DBTYPE_BYTES, 6);
    layout.Add(2, DBTYPE_WSTR, 0, DBPART_LENGTH | DBPART_STATUS);
    Ptr<IRowset> rowset = OpenRowset(L"SELECT * FROM " + m_table);
    ASSERT_TRUE(rowset);
    std::vector<BYTE> buffer;
    ASSERT_EQ(FirstRow(rowset.Get(), layout, buffer), S_OK);
    BYTE* row = buffer.data();
    const DBSTATUS truncated = DBSTATUS_S_TRUNCATED;
    EXPECT_EQ(
        (std::vector<DBSTATUS>{layout.Status(row, 0), layout.Status(row, 1), layout.Status(row, 2),
                               layout.Status(row, 3), layout.Status(row, 4)}),
        (std::vector<DBSTATUS>{DBSTATUS_S_ISNULL, truncated, truncated, truncated, DBSTATUS_S_OK}));
    EXPECT_EQ(std::wstring(&layout.Value<wchar_t>(row, 1)), L"abcd");
    EXPECT_EQ(layout.Length(row, 1), 10 * sizeof(wchar_t));
    EXPECT_STREQ(&layout.Value<char>(row, 2), "abc");
    EXPECT_EQ(layout.Length(row, 2), 10u);
    EXPECT_EQ(layout.Length(row, 3), 10u);
    EXPECT_EQ(std::memcmp(&layout.Value<BYTE>(row, 3), "\0\1\2\3\4\5", 6), 0);
    EXPECT_EQ(layout.Length(row, 4), 10 * sizeof(wchar_t));
}

TEST_P(Conformance, PackedLayoutsWithOddOffsetsAreFilledAndRead) {
    // Consumers pack their groups without padding; nothing may assume
    // alignment, neither for parameters read nor for values written.
    Run(L"CREATE TABLE " + m_table + L" (s VARCHAR(3), t " + m_context->LongTextType() + L", n " +
        m_context->BigIntType() + L", e VARCHAR(5))");
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"INSERT INTO " + m_table + L" VALUES (?, ?, ?, '')");
    auto make = [](DBORDINAL ordinal, DBTYPE type, DBLENGTH maxLen, DBBYTEOFFSET at,
                   DBPART parts = DBPART_VALUE | DBPART_STATUS) {
        DBBINDING b{};
        b.iOrdinal = ordinal;
        b.obStatus = at;
        b.obLength = at + 4;
        b.obValue = at + 12;
        b.dwPart = parts;
        b.cbMaxLen = maxLen;
        b.wType = type;
        b.eParamIO = ordinal ? DBPARAMIO_INPUT : DBPARAMIO_NOTPARAM;
        return b;
    };
    // Lengths are not bound: the texts end at their terminator or the buffer.
    DBBINDING params[] = {make(1, DBTYPE_WSTR, 3 * sizeof(wchar_t), 1),
                          make(2, DBTYPE_BSTR, sizeof(BSTR), 31), make(3, DBTYPE_I8, 8, 59)};
    Ptr<IAccessor> accessor = command.As<IAccessor>(IID_IAccessor);
    HACCESSOR h = DB_NULL_HACCESSOR;
    ASSERT_EQ(accessor->CreateAccessor(DBACCESSOR_PARAMETERDATA, 3, params, 80, &h, nullptr), S_OK);
    std::vector<BYTE> data(80, 0);
    const DBSTATUS ok = DBSTATUS_S_OK;
    for (const auto& b : params)
        std::memcpy(data.data() + b.obStatus, &ok, sizeof ok);
    std::memcpy(data.data() + params[0].obValue, L"abc", 3 * sizeof(wchar_t));
    BSTR longText = SysAllocString(L"long text");
    std::memcpy(data.data() + params[1].obValue, &longText, sizeof longText);
    const LONGLONG number = 77;
    std::memcpy(data.data() + params[2].obValue, &number, sizeof number);
    DBPARAMS p{data.data(), 1, h};
    ASSERT_EQ(command->Execute(nullptr, IID_NULL, &p, nullptr, nullptr), S_OK)
        << Describe(TakeErrorRecords());
    SysFreeString(longText);
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT s, t, n FROM " + m_table),
              (std::vector<Row>{{L"abc", L"long text", L"77"}}));

    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    const DBPART withLength = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
    DBBINDING columns[] = {make(1, DBTYPE_WSTR, 4 * sizeof(wchar_t), 3, withLength),
                           make(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*), 33, withLength),
                           make(4, DBTYPE_WSTR, 2 * sizeof(wchar_t), 57, withLength)};
    columns[1].pObject = &object;
    Ptr<IRowset> rowset = OpenRowset(L"SELECT * FROM " + m_table);
    ASSERT_TRUE(rowset);
    HACCESSOR rh = DB_NULL_HACCESSOR;
    ASSERT_EQ(rowset.As<IAccessor>(IID_IAccessor)
                  ->CreateAccessor(DBACCESSOR_ROWDATA, 3, columns, 0, &rh, nullptr),
              S_OK);
    DBCOUNTITEM obtained = 0;
    HROW handle[1];
    HROW* handles = handle;
    ASSERT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &handles), S_OK);
    std::vector<BYTE> out(90, 0xCC);
    ASSERT_EQ(rowset->GetData(handle[0], rh, out.data()), S_OK) << Describe(TakeErrorRecords());
    wchar_t text[4];
    std::memcpy(text, out.data() + columns[0].obValue, sizeof text);
    EXPECT_EQ(std::wstring(text), L"abc");
    ISequentialStream* stream = nullptr;
    std::memcpy(&stream, out.data() + columns[1].obValue, sizeof stream);
    ASSERT_NE(stream, nullptr);
    wchar_t chunk[16] = {};
    ULONG read = 0;
    stream->Read(chunk, sizeof chunk, &read);
    EXPECT_EQ(std::wstring(chunk, read / sizeof(wchar_t)), L"long text");
    stream->Release();
    wchar_t empty = L'x';
    std::memcpy(&empty, out.data() + columns[2].obValue, sizeof empty);
    EXPECT_EQ(empty, L'\0');
    rowset->ReleaseRows(1, handle, nullptr, nullptr, nullptr);
}

TEST_P(Conformance, BadBindingsAreMarkedOneByOne) {
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (a INTEGER, d DATE)");
    Ptr<IRowset> rowset = OpenRowset(L"SELECT a, d FROM " + m_table);
    ASSERT_TRUE(rowset);
    Layout layout;
    layout.Add(1, DBTYPE_I4, 4);
    layout.Add(9, DBTYPE_I4, 4);
    layout.Add(2, DBTYPE_GUID, sizeof(GUID));
    layout.Add(1, DBTYPE_I4, 4, 0);
    std::vector<DBBINDSTATUS> status;
    EXPECT_EQ(layout.Create(rowset.Get(), DBACCESSOR_ROWDATA, DB_E_ERRORSOCCURRED, &status),
              DB_NULL_HACCESSOR);
    EXPECT_EQ(status, (std::vector<DBBINDSTATUS>{DBBINDSTATUS_OK, DBBINDSTATUS_BADORDINAL,
                                                 DBBINDSTATUS_UNSUPPORTEDCONVERSION,
                                                 DBBINDSTATUS_BADBINDINFO}));
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].hr, DB_E_ERRORSOCCURRED);
    // Parameter accessors do not belong to a rowset; a row handle never
    // handed out is none.
    Layout good;
    good.Add(1, DBTYPE_I4, 4);
    good.Create(rowset.Get(), DBACCESSOR_PARAMETERDATA, DB_E_BADACCESSORFLAGS);
    EXPECT_EQ(rowset->GetData(12345, good.Create(rowset.Get(), DBACCESSOR_ROWDATA), nullptr),
              DB_E_BADROWHANDLE);
}

} // namespace
} // namespace conformance
