// Rowsets: column descriptions from declared types, GetData with the
// conversions typed getters rely on, NULL and truncation statuses, long
// values through streams, and accessors with bad bindings.
#include "ProviderTest.h"

using namespace providertest;

namespace {

class RowsetTest : public ProviderTest {
protected:
    Ptr<IRowset> Open(const std::wstring& sql) {
        auto command = NewCommand(m_session.Get(), sql);
        Ptr<IRowset> rowset;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK);
        return rowset;
    }
    // The first row of rowset read through layout into buffer.
    HRESULT FirstRow(IRowset* rowset, const Layout& layout, std::vector<BYTE>& buffer,
                     HRESULT expectedCreate = S_OK) {
        HACCESSOR h = layout.Create(rowset, DBACCESSOR_ROWDATA, expectedCreate);
        buffer.assign(layout.Size(), 0xCC);
        DBCOUNTITEM obtained = 0;
        HROW row[1];
        HROW* rows = row;
        EXPECT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows), S_OK);
        HRESULT hr = rowset->GetData(row[0], h, buffer.data());
        rowset->ReleaseRows(1, row, nullptr, nullptr, nullptr);
        return hr;
    }
};

TEST_F(RowsetTest, DeclaredTypesBecomeColumnDescriptions) {
    ASSERT_EQ(Exec(m_session.Get(),
                   L"CREATE TABLE k (a INTEGER NOT NULL, b SMALLINT, c TINYINT, d INT, e REAL, "
                   L"f VARCHAR(12), g NCHAR(3), h TEXT, i BLOB, j NUMERIC(10,2), l DATE, "
                   L"m TIME, n DATETIME, o TIMESTAMP, p BOOLEAN)"),
              S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO k (a) VALUES (1)"), S_OK);
    auto rowset = Open(L"SELECT *, a + 1 AS expr, 'x' || a AS txt, 2.5 AS real FROM k");
    auto info = rowset.As<IColumnsInfo>(IID_IColumnsInfo);
    DBORDINAL count = 0;
    DBCOLUMNINFO* ci = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(info->GetColumnInfo(&count, &ci, &names), S_OK);
    struct Expected {
        const wchar_t* name;
        DBTYPE type;
        DBLENGTH size;
        bool isLong;
    } expected[] = {
        {L"a", DBTYPE_I8, 8, false},
        {L"b", DBTYPE_I2, 2, false},
        {L"c", DBTYPE_UI1, 1, false},
        {L"d", DBTYPE_I4, 4, false},
        {L"e", DBTYPE_R8, 8, false},
        {L"f", DBTYPE_WSTR, 12, false},
        {L"g", DBTYPE_WSTR, 3, false},
        {L"h", DBTYPE_WSTR, ~DBLENGTH{0}, true},
        {L"i", DBTYPE_BYTES, ~DBLENGTH{0}, true},
        {L"j", DBTYPE_NUMERIC, sizeof(DB_NUMERIC), false},
        {L"l", DBTYPE_DBDATE, sizeof(DBDATE), false},
        {L"m", DBTYPE_DBTIME, sizeof(DBTIME), false},
        {L"n", DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP), false},
        {L"o", DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP), false},
        {L"p", DBTYPE_BOOL, 2, false},
        // Expressions are text, whatever their first value.
        {L"expr", DBTYPE_WSTR, ~DBLENGTH{0}, false},
        {L"txt", DBTYPE_WSTR, ~DBLENGTH{0}, false},
        {L"real", DBTYPE_WSTR, ~DBLENGTH{0}, false},
    };
    ASSERT_EQ(count, std::size(expected));
    for (size_t i = 0; i < count; ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(std::wstring(ci[i].pwszName), expected[i].name);
        EXPECT_EQ(ci[i].iOrdinal, i + 1);
        EXPECT_EQ(ci[i].wType, expected[i].type);
        EXPECT_EQ(ci[i].ulColumnSize, expected[i].size);
        EXPECT_EQ((ci[i].dwFlags & DBCOLUMNFLAGS_ISLONG) != 0, expected[i].isLong);
    }
    EXPECT_EQ(ci[9].bPrecision, 10);
    EXPECT_EQ(ci[9].bScale, 2);
    EXPECT_EQ(ci[0].dwFlags & DBCOLUMNFLAGS_ISNULLABLE, 0u);
    EXPECT_NE(ci[1].dwFlags & DBCOLUMNFLAGS_ISNULLABLE, 0u);
    CoTaskMemFree(ci);
    CoTaskMemFree(names);
}

TEST_F(RowsetTest, GetDataConvertsIntoWhatTheGettersBind) {
    ASSERT_EQ(Exec(m_session.Get(),
                   L"CREATE TABLE v (i INTEGER, r REAL, s VARCHAR(10), d NUMERIC(12,3), "
                   L"ts DATETIME, dt DATE, tm TIME, b BOOLEAN, u TINYINT)"),
              S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO v VALUES (-1234567890123, 2.5, '314', "
                                    L"1234567.5, '2023-07-01 12:34:56.789', '1999-12-31', "
                                    L"'08:15:00', 1, 200)"),
              S_OK);
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
    auto rowset = Open(L"SELECT * FROM v");
    std::vector<BYTE> buffer;
    // The one overflowing binding makes the call a partial success.
    ASSERT_EQ(FirstRow(rowset.Get(), layout, buffer), DB_S_ERRORSOCCURRED);
    BYTE* row = buffer.data();
    for (size_t i = 0; i < layout.Bindings().size(); ++i)
        if (i != 13)
            EXPECT_EQ(layout.Status(row, i), DBSTATUS_S_OK) << i;
    EXPECT_EQ(layout.Value<LONGLONG>(row, 0), -1234567890123LL);
    EXPECT_EQ(layout.Value<double>(row, 1), -1234567890123.0);
    EXPECT_EQ(layout.Value<double>(row, 2), 2.5);
    EXPECT_EQ(layout.Value<LONG>(row, 3), 2);
    EXPECT_EQ(layout.Value<LONG>(row, 4), 314);
    EXPECT_STREQ(&layout.Value<char>(row, 5), "314");
    EXPECT_EQ(layout.Length(row, 5), 3u);
    const auto& num = layout.Value<DB_NUMERIC>(row, 6);
    EXPECT_EQ(num.scale, 3);
    EXPECT_EQ(num.sign, 1);
    EXPECT_EQ(num.val[0] | num.val[1] << 8 | num.val[2] << 16 | num.val[3] << 24, 1234567500);
    EXPECT_EQ(layout.Value<double>(row, 7), 1234567.5);
    const auto& ts = layout.Value<DBTIMESTAMP>(row, 8);
    EXPECT_EQ(ts.year, 2023);
    EXPECT_EQ(ts.month, 7);
    EXPECT_EQ(ts.day, 1);
    EXPECT_EQ(ts.hour, 12);
    EXPECT_EQ(ts.second, 56);
    EXPECT_EQ(ts.fraction, 789000000u);
    EXPECT_EQ(layout.Value<DBDATE>(row, 9).year, 1999);
    EXPECT_EQ(layout.Value<DBDATE>(row, 9).day, 31);
    EXPECT_EQ(layout.Value<DBTIME>(row, 10).minute, 15);
    EXPECT_EQ(layout.Value<VARIANT_BOOL>(row, 11), VARIANT_TRUE);
    EXPECT_EQ(layout.Value<BYTE>(row, 12), 200);
    EXPECT_EQ(layout.Status(row, 13), DBSTATUS_E_DATAOVERFLOW);
    EXPECT_EQ(std::wstring(&layout.Value<wchar_t>(row, 14)).substr(0, 19), L"2023-07-01 12:34:56");
}

TEST_F(RowsetTest, NullsAndTruncationAreReportedPerBinding) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE w (a INTEGER, t VARCHAR(40), y BLOB)"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(),
                   L"INSERT INTO w VALUES (NULL, 'abcdefghij', x'00010203040506070809')"),
              S_OK);
    Layout layout;
    layout.Add(1, DBTYPE_I4, 4);
    layout.Add(2, DBTYPE_WSTR, 5 * sizeof(wchar_t)); // four characters and the terminator
    layout.Add(2, DBTYPE_STR, 4);
    layout.Add(3, DBTYPE_BYTES, 6);
    layout.Add(2, DBTYPE_WSTR, 0, DBPART_LENGTH | DBPART_STATUS);
    auto rowset = Open(L"SELECT * FROM w");
    std::vector<BYTE> buffer;
    ASSERT_EQ(FirstRow(rowset.Get(), layout, buffer), S_OK);
    BYTE* row = buffer.data();
    EXPECT_EQ(layout.Status(row, 0), DBSTATUS_S_ISNULL);
    EXPECT_EQ(layout.Status(row, 1), DBSTATUS_S_TRUNCATED);
    EXPECT_EQ(std::wstring(&layout.Value<wchar_t>(row, 1)), L"abcd");
    EXPECT_EQ(layout.Length(row, 1), 10 * sizeof(wchar_t));
    EXPECT_EQ(layout.Status(row, 2), DBSTATUS_S_TRUNCATED);
    EXPECT_STREQ(&layout.Value<char>(row, 2), "abc");
    EXPECT_EQ(layout.Length(row, 2), 10u);
    EXPECT_EQ(layout.Status(row, 3), DBSTATUS_S_TRUNCATED);
    EXPECT_EQ(layout.Length(row, 3), 10u);
    EXPECT_EQ(std::memcmp(&layout.Value<BYTE>(row, 3), "\0\1\2\3\4\5", 6), 0);
    EXPECT_EQ(layout.Status(row, 4), DBSTATUS_S_OK);
    EXPECT_EQ(layout.Length(row, 4), 10 * sizeof(wchar_t));
}

TEST_F(RowsetTest, LongValuesAreReadThroughStreamsInChunks) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE big (t TEXT, b BLOB)"), S_OK);
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += static_cast<char>('a' + i % 26);
    text += "\xE2\x82\xAC"; // one character beyond ASCII at the end
    std::vector<unsigned char> blob(300001);
    for (size_t i = 0; i < blob.size(); ++i)
        blob[i] = static_cast<unsigned char>(i * 7);
    sqlite3_stmt* insert = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(Db(), "INSERT INTO big VALUES (?, ?)", -1, &insert, nullptr),
              SQLITE_OK);
    sqlite3_bind_text(insert, 1, text.data(), int(text.size()), SQLITE_STATIC);
    sqlite3_bind_blob(insert, 2, blob.data(), int(blob.size()), SQLITE_STATIC);
    ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
    sqlite3_finalize(insert);

    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    Layout layout;
    layout.Add(1, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    layout.Add(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    layout.Add(1, DBTYPE_WSTR, 0, DBPART_LENGTH | DBPART_STATUS);
    auto rowset = Open(L"SELECT t, b FROM big");
    std::vector<BYTE> buffer;
    ASSERT_EQ(FirstRow(rowset.Get(), layout, buffer), S_OK);
    BYTE* row = buffer.data();
    ASSERT_EQ(layout.Status(row, 0), DBSTATUS_S_OK);
    ASSERT_EQ(layout.Status(row, 1), DBSTATUS_S_OK);
    EXPECT_EQ(layout.Length(row, 2), 100001 * sizeof(wchar_t));

    auto readAll = [](ISequentialStream* stream, size_t chunk) {
        std::vector<BYTE> all(chunk);
        size_t used = 0;
        size_t reads = 0;
        for (;;) {
            ULONG read = 0;
            EXPECT_TRUE(SUCCEEDED(stream->Read(all.data() + used, ULONG(chunk), &read)));
            ++reads;
            used += read;
            if (read < chunk)
                break;
            all.resize(used + chunk);
        }
        all.resize(used);
        stream->Release();
        EXPECT_GT(reads, 2u);
        return all;
    };
    auto wide = readAll(layout.Value<ISequentialStream*>(row, 0), 4096);
    ASSERT_EQ(wide.size(), 100001 * sizeof(wchar_t));
    const auto* chars = reinterpret_cast<const wchar_t*>(wide.data());
    EXPECT_EQ(chars[0], L'a');
    EXPECT_EQ(chars[99999], L'a' + 99999 % 26);
    EXPECT_EQ(chars[100000], L'\u20AC');
    auto bytes = readAll(layout.Value<ISequentialStream*>(row, 1), 65536);
    ASSERT_EQ(bytes.size(), blob.size());
    EXPECT_EQ(std::memcmp(bytes.data(), blob.data(), blob.size()), 0);
}

TEST_F(RowsetTest, PackedLayoutsWithOddOffsetsAreFilledAndRead) {
    // Consumers pack their groups without padding; nothing may assume
    // alignment, neither for parameters read nor for values written.
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE o (s VARCHAR(3), t TEXT, n INTEGER, e TEXT)"),
              S_OK);
    auto command = NewCommand(m_session.Get(), L"INSERT INTO o VALUES (?, ?, ?, '')");
    auto make = [](DBORDINAL ordinal, DBTYPE type, DBLENGTH maxLen, DBBYTEOFFSET at) {
        DBBINDING b{};
        b.iOrdinal = ordinal;
        b.obStatus = at;
        b.obLength = at + 4;
        b.obValue = at + 12;
        b.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
        b.cbMaxLen = maxLen;
        b.wType = type;
        b.eParamIO = DBPARAMIO_INPUT;
        return b;
    };
    DBBINDING params[] = {make(1, DBTYPE_WSTR, 3 * sizeof(wchar_t), 1),
                          make(2, DBTYPE_BSTR, sizeof(BSTR), 31), make(3, DBTYPE_I8, 8, 59)};
    auto accessor = command.As<IAccessor>(IID_IAccessor);
    HACCESSOR h = DB_NULL_HACCESSOR;
    ASSERT_EQ(accessor->CreateAccessor(DBACCESSOR_PARAMETERDATA, 3, params, 80, &h, nullptr), S_OK);
    std::vector<BYTE> data(80, 0);
    const DBSTATUS ok = DBSTATUS_S_OK;
    const DBLENGTH noLength = 0;
    for (const auto& b : params) {
        std::memcpy(data.data() + b.obStatus, &ok, sizeof ok);
        std::memcpy(data.data() + b.obLength, &noLength, sizeof noLength);
    }
    const wchar_t abc[] = L"abc";
    std::memcpy(data.data() + params[0].obValue, abc, 3 * sizeof(wchar_t));
    BSTR long_text = SysAllocString(L"long text");
    std::memcpy(data.data() + params[1].obValue, &long_text, sizeof long_text);
    const LONGLONG number = 77;
    std::memcpy(data.data() + params[2].obValue, &number, sizeof number);
    // Lengths are not bound: the texts end at their terminator or the buffer.
    for (auto& b : params)
        b.dwPart &= ~DBPART_LENGTH;
    HACCESSOR noLengths = DB_NULL_HACCESSOR;
    ASSERT_EQ(
        accessor->CreateAccessor(DBACCESSOR_PARAMETERDATA, 3, params, 80, &noLengths, nullptr),
        S_OK);
    DBPARAMS p{data.data(), 1, noLengths};
    ASSERT_EQ(command->Execute(nullptr, IID_NULL, &p, nullptr, nullptr), S_OK);
    SysFreeString(long_text);
    EXPECT_EQ(Scalar("SELECT s || '|' || t || '|' || n FROM o"), "abc|long text|77");

    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    DBBINDING row[] = {make(1, DBTYPE_WSTR, 4 * sizeof(wchar_t), 3),
                       make(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*), 33),
                       make(4, DBTYPE_WSTR, 2 * sizeof(wchar_t), 57)};
    row[1].pObject = &object;
    for (auto& b : row)
        b.eParamIO = DBPARAMIO_NOTPARAM;
    auto rowset = Open(L"SELECT * FROM o");
    auto rowAccessor = rowset.As<IAccessor>(IID_IAccessor);
    HACCESSOR rh = DB_NULL_HACCESSOR;
    ASSERT_EQ(rowAccessor->CreateAccessor(DBACCESSOR_ROWDATA, 3, row, 0, &rh, nullptr), S_OK);
    DBCOUNTITEM obtained = 0;
    HROW handle[1];
    HROW* handles = handle;
    ASSERT_EQ(rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &handles), S_OK);
    std::vector<BYTE> out(90, 0xCC);
    ASSERT_EQ(rowset->GetData(handle[0], rh, out.data()), S_OK);
    wchar_t text[4];
    std::memcpy(text, out.data() + row[0].obValue, sizeof text);
    EXPECT_EQ(std::wstring(text), L"abc");
    ISequentialStream* stream = nullptr;
    std::memcpy(&stream, out.data() + row[1].obValue, sizeof stream);
    ASSERT_NE(stream, nullptr);
    wchar_t chunk[16] = {};
    ULONG read = 0;
    stream->Read(chunk, sizeof chunk, &read);
    EXPECT_EQ(read, 9 * sizeof(wchar_t));
    EXPECT_EQ(std::wstring(chunk, 9), L"long text");
    stream->Release();
    wchar_t empty = L'x';
    std::memcpy(&empty, out.data() + row[2].obValue, sizeof empty);
    EXPECT_EQ(empty, L'\0');
    rowset->ReleaseRows(1, handle, nullptr, nullptr, nullptr);
}

TEST_F(RowsetTest, BadBindingsAreMarkedOneByOne) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE z (a INTEGER, d DATE)"), S_OK);
    auto rowset = Open(L"SELECT a, d FROM z");
    Layout layout;
    layout.Add(1, DBTYPE_I4, 4);
    layout.Add(9, DBTYPE_I4, 4);
    layout.Add(2, DBTYPE_GUID, sizeof(GUID));
    layout.Add(1, DBTYPE_I4, 4, 0);
    std::vector<DBBINDSTATUS> status;
    HACCESSOR h = layout.Create(rowset.Get(), DBACCESSOR_ROWDATA, DB_E_ERRORSOCCURRED, &status);
    EXPECT_EQ(h, DB_NULL_HACCESSOR);
    ASSERT_EQ(status.size(), 4u);
    EXPECT_EQ(status[0], DBBINDSTATUS_OK);
    EXPECT_EQ(status[1], DBBINDSTATUS_BADORDINAL);
    EXPECT_EQ(status[2], DBBINDSTATUS_UNSUPPORTEDCONVERSION);
    EXPECT_EQ(status[3], DBBINDSTATUS_BADBINDINFO);
    auto records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].hr, DB_E_ERRORSOCCURRED);

    // Parameter accessors do not belong to a rowset; a row handle that was
    // released is no longer one.
    Layout good;
    good.Add(1, DBTYPE_I4, 4);
    good.Create(rowset.Get(), DBACCESSOR_PARAMETERDATA, DB_E_BADACCESSORFLAGS);
    EXPECT_EQ(rowset->GetData(12345, good.Create(rowset.Get(), DBACCESSOR_ROWDATA), nullptr),
              DB_E_BADROWHANDLE);
}

} // namespace
