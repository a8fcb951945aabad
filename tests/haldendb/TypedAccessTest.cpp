// The typed getters: every bound type each one handles, NULLs, the report
// on a type it does not handle, and long values read through streams.
#include "RowSetSupport.h"

#include <cfloat>
#include <map>

using rowsettest::Cell;
using rowsettest::Column;

namespace {

const wchar_t* const TypeMismatchText = L"Error of database column data type: Can't convert data "
                                        L"from SQL data to native data.";

class TypedAccess : public rowsettest::EmbeddedRowSetTest {
protected:
    static size_t Ordinal(CRowSet& rowset, const wchar_t* name) {
        const size_t ordinal =
            rowset.GetColumnsOrdinal(CBasicStringView<wchar_t>(name, std::wcslen(name)));
        EXPECT_NE(ordinal, 0u) << name;
        return ordinal;
    }
    // The reports since the last call, and forgets them.
    std::vector<hdbtest::Report> TakeReports() { return std::exchange(frame.errors.reports, {}); }
    // One type-mismatch report from `function` since the last call.
    void ExpectMismatch(const wchar_t* function) {
        const auto reports = TakeReports();
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0].hr, static_cast<HRESULT>(-1));
        EXPECT_EQ(reports[0].caption, TypeMismatchText);
        EXPECT_EQ(reports[0].function, function);
    }
};

class EverydayTypes : public TypedAccess {
protected:
    void SetUp() override {
        db.Exec(L"CREATE TABLE v (k INTEGER, tiny TINYINT, small SMALLINT, i INT, big BIGINT, neg "
                L"BIGINT, "
                L"flag BOOL, r REAL, num NUMERIC(10,2), name VARCHAR(20), d DATE, t TIME, "
                L"ts DATETIME)");
        db.Exec(L"INSERT INTO v VALUES (1, 200, -300, -70000, 9007199254740993, -5, 1, 2.5, "
                L"1234567.5, '12abc', '2024-12-13', '15:20:15', '2024-12-13 15:20:15')");
        db.Exec(L"INSERT INTO v VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, "
                L"NULL, NULL, NULL, NULL)");
        rowset = Open(L"SELECT * FROM v ORDER BY i IS NULL");
        for (const wchar_t* name : {L"k", L"tiny", L"small", L"i", L"big", L"neg", L"flag", L"r",
                                    L"num", L"name", L"d", L"t", L"ts"})
            ord[name] = Ordinal(*rowset, name);
        ASSERT_TRUE(rowset->FetchNext());
    }

    std::unique_ptr<CRowSet> rowset;
    std::map<std::wstring, size_t> ord;
};

TEST_F(EverydayTypes, IntegersReadAsEveryNumberKind) {
    CRowSet& r = *rowset;
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"tiny"]), 200.0);
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"tiny"]), 200);
    EXPECT_EQ(r.GetCurrColumnsTinyInt(ord[L"tiny"]), std::optional<unsigned char>(200));
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"small"]), -300.0);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"small"]), static_cast<ULONGLONG>(-300));
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"i"]), -70000);
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"flag"]), 1.0);
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"flag"]), 1);
    // 2^53 + 1: exact as an integer, rounded wherever a double is involved.
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"big"]), 9007199254740993);
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"big"]), 9007199254740992.0);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"big"]), 9007199254740992u);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"neg"]), ~ULONGLONG{0} - 4);
    EXPECT_EQ(r.GetCurrColumnsDB_ENUM_CHANGE(ord[L"neg"]).get(), -5);
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"r"]), 2.5);
    EXPECT_TRUE(TakeReports().empty());
}

TEST_F(EverydayTypes, NumericAndTextConvertAsTheTransformsSay) {
    CRowSet& r = *rowset;
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"num"]), 1234567.5);
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"num"]), "1.23457E+06");
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"num"]), 0) << "a scale makes the integer read 0";
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"num"]), 1234567u);

    EXPECT_STREQ(r.GetCurrColumnsWchar(ord[L"name"]), L"12abc");
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"name"]), 12u);
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"name"]), 12);
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"name"]), 12.0);

    bool mustFree = true;
    EXPECT_STREQ(r.GetCurrColumnsTchar(ord[L"name"], mustFree), L"12abc");
    EXPECT_FALSE(mustFree);
    wchar_t* converted = r.GetCurrColumnsTchar(ord[L"num"], mustFree);
    EXPECT_STREQ(converted, L"1.23457E+06");
    EXPECT_TRUE(mustFree);
    delete[] converted;
    EXPECT_TRUE(TakeReports().empty());
}

TEST_F(EverydayTypes, DatesReadAsAutomationDatesTimesAndText) {
    CRowSet& r = *rowset;
    const COleDateTime day(2024, 12, 13, 0, 0, 0);
    const COleDateTime stamp(2024, 12, 13, 15, 20, 15);
    unsigned short ms = 77;
    EXPECT_EQ(r.GetCurrColumnsOleDateTime(ord[L"d"], r.GetColMetaData(ord[L"d"]), &ms), day);
    EXPECT_EQ(ms, 0);
    EXPECT_EQ(r.GetCurrColumnsLONG(ord[L"ts"]), static_cast<DATE>(stamp));
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"ts"]), static_cast<LONGLONG>(static_cast<DATE>(stamp)));
    EXPECT_EQ(r.GetCurrColumns<DB_TIME_TYPE>(ord[L"d"]).get(), static_cast<DATE>(day));

    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"ts"]), "2024-12-13 15:20:15.000");
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"d"]), "2024-12-13 00:00:00.000");
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"t"]), "1899-12-30 15:20:15.000");

    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"ts"], &ms), CTime(2024, 12, 13, 15, 20, 15));
    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"d"]), CTime(2024, 12, 13, 0, 0, 0));
    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"t"]).GetHour(), 15);
    EXPECT_TRUE(TakeReports().empty());
}

TEST_F(EverydayTypes, NullsGiveNeutralValues) {
    ASSERT_TRUE(rowset->FetchNext());
    CRowSet& r = *rowset;
    const size_t i = ord[L"i"];
    EXPECT_EQ(r.GetCurrColumnsLONG(i), 0.0);
    EXPECT_EQ(r.GetCurrColumnsInt64(i), 0);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(i), 0u);
    EXPECT_FALSE(r.CurrColHasData(i, r.GetColMetaData(i)));
    EXPECT_TRUE(r.CurrColHasDataTruncated(i, r.GetColMetaData(i)));
    EXPECT_EQ(r.GetCurrColumnsStatus(i, r.GetColMetaData(i)), DBSTATUS_S_ISNULL);
    EXPECT_EQ(r.GetCurrColumnsData(i, r.GetColMetaData(i)), nullptr);
    EXPECT_EQ(r.GetCurrColumnsTinyInt(ord[L"tiny"]), std::nullopt);
    EXPECT_STREQ(r.GetCurrColumnsWchar(ord[L"name"]), L"");
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"num"]), "0");
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"ts"]), "1899-12-30 00:00:00.000");
    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"d"]), CTime(0));
    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"ts"]), CTime(0));
    // The first column's status lies at offset 0, which reads as unknown.
    const size_t k = ord[L"k"];
    EXPECT_EQ(r.GetColMetaData(k).statusPosition, 0u);
    EXPECT_TRUE(r.CurrColHasData(k, r.GetColMetaData(k)));
    EXPECT_EQ(r.GetCurrColumnsStatus(k, r.GetColMetaData(k)), DBSTATUS_E_BADSTATUS);
    EXPECT_TRUE(TakeReports().empty());
    EXPECT_FALSE(rowset->FetchNext());
}

TEST_F(EverydayTypes, UnsupportedTypesReportAndGiveNeutralValues) {
    CRowSet& r = *rowset;
    const std::wstring helperArgs =
        L"(const unsigned __int64,const struct CRowSet::db_col_access_helper &)";

    EXPECT_EQ(r.GetCurrColumnsTinyInt(ord[L"i"]), std::optional<unsigned char>(0));
    ExpectMismatch(
        (L"class std::optional<unsigned char> __cdecl CRowSet::GetCurrColumnsTinyInt" + helperArgs)
            .c_str());
    EXPECT_STREQ(r.GetCurrColumnsChar(ord[L"i"]), "");
    ExpectMismatch((L"char *__cdecl CRowSet::GetCurrColumnsChar" + helperArgs).c_str());
    EXPECT_EQ(r.GetCurrColumnsInt64(ord[L"r"]), 0);
    ExpectMismatch((L"__int64 __cdecl CRowSet::GetCurrColumnsInt64" + helperArgs).c_str());
    EXPECT_EQ(r.GetCurrColumnsDWORD64(ord[L"d"]), 0u);
    ExpectMismatch(
        (L"unsigned __int64 __cdecl CRowSet::GetCurrColumnsDWORD64" + helperArgs).c_str());
    EXPECT_STREQ(r.GetCurrColumnsWchar(ord[L"big"]), L"");
    ExpectMismatch((L"wchar_t *__cdecl CRowSet::GetCurrColumnsWchar" + helperArgs).c_str());
    EXPECT_EQ(static_cast<DATE>(r.GetCurrColumnsOleDateTime(
                  ord[L"name"], r.GetColMetaData(ord[L"name"]), nullptr)),
              0.0);
    ExpectMismatch(
        L"class ATL::COleDateTime __cdecl CRowSet::GetCurrColumnsOleDateTime(const "
        L"unsigned __int64,const struct CRowSet::db_col_access_helper &,unsigned short *)");
    EXPECT_EQ(r.GetCurrColumnsDateTime(ord[L"i"]), CTime(0));
    ExpectMismatch(L"class ATL::CTime __cdecl CRowSet::GetCurrColumnsDateTime(const unsigned "
                   L"__int64,unsigned short *)");
    // An ordinal that names no column reads as one of no known type.
    EXPECT_EQ(r.GetCurrColumnsLONG(99), 0.0);
    ExpectMismatch((L"double __cdecl CRowSet::GetCurrColumnsLONG" + helperArgs).c_str());
}

TEST_F(TypedAccess, TextParsedAsUnsignedStopsAtTheFirstNonDigit) {
    db.Exec(L"CREATE TABLE s (k INTEGER, txt VARCHAR(30))");
    db.Exec(L"INSERT INTO s VALUES (1, '12ab'), (2, 'ab'), (3, '18446744073709551616'), "
            L"(4, '18446744073709551615'), (5, ' 7')");
    auto rowset = Open(L"SELECT txt FROM s ORDER BY k");
    const size_t txt = Ordinal(*rowset, L"txt");
    const ULONGLONG expected[] = {12, 0, 0, 18446744073709551615u, 0};
    for (ULONGLONG value : expected) {
        ASSERT_TRUE(rowset->FetchNext());
        EXPECT_EQ(rowset->GetCurrColumnsDWORD64(txt), value) << rowset->GetCurrColumnsWchar(txt);
    }
}

TEST_F(TypedAccess, OptionalValuesFollowTheirPresenceRule) {
    auto rowset = Open(L"SELECT 0 AS zero, 200 AS hist, -1.5 AS neg, 1e-17 AS tiny, 2.5 AS pos, "
                       L"'x' AS text, NULL AS nada");
    ASSERT_TRUE(rowset->FetchNext());
    CRowSet& r = *rowset;
    auto id = [](CRowSet& set, size_t ordinal) {
        return DB_HIST_ID(set.GetCurrColumnsDWORD64(ordinal));
    };
    auto version = [](CRowSet& set, size_t ordinal) {
        return DB_VERSIONNUMBER(set.GetCurrColumnsLONG(ordinal));
    };
    auto text = [](CRowSet& set, size_t ordinal) {
        return CBasicString<wchar_t>(set.GetCurrColumnsWchar(ordinal));
    };
    int calls = 0;
    auto counted = [&](CRowSet& set, size_t ordinal) {
        ++calls;
        return id(set, ordinal);
    };

    EXPECT_EQ((r.GetCurrColumnDataAsOptional<0, DB_HIST_ID>(Ordinal(r, L"zero"), id)),
              std::nullopt);
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<0, DB_HIST_ID>(Ordinal(r, L"hist"), id)),
              DB_HIST_ID(200));
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<0, DB_VERSIONNUMBER>(Ordinal(r, L"neg"), version)),
              std::nullopt);
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<0, DB_VERSIONNUMBER>(Ordinal(r, L"tiny"), version)),
              std::nullopt);
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<0, DB_VERSIONNUMBER>(Ordinal(r, L"pos"), version)),
              DB_VERSIONNUMBER(2.5));
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<1, CBasicString<wchar_t>>(Ordinal(r, L"text"), text)),
              CBasicString<wchar_t>(L"x"));
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<2, DB_HIST_ID>(Ordinal(r, L"zero"), id)),
              DB_HIST_ID(0));
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<2, DB_HIST_ID>(Ordinal(r, L"nada"), counted)),
              std::nullopt);
    EXPECT_EQ(calls, 0) << "a NULL is not read";
}

TEST_F(TypedAccess, VersionNumbersRoundUpTheFourthDecimal) {
    auto rowset = Open(L"SELECT 2.00006 AS up, 2.00004 AS down, 1.5 AS exact");
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_DOUBLE_EQ(rowset->GetCurrColumnsDB_VERSIONNUMBER(Ordinal(*rowset, L"up")).get(),
                     2.00016);
    EXPECT_DOUBLE_EQ(rowset->GetCurrColumns<DB_VERSIONNUMBER>(Ordinal(*rowset, L"down")).get(),
                     2.00004);
    EXPECT_EQ(rowset->GetCurrColumnsDB_VERSIONNUMBER(Ordinal(*rowset, L"exact")).get(), 1.5);
}

// The narrow types, 8-bit text and empty wide text, which the embedded
// provider never reports, from a scripted result.
using ScriptedTypes = rowsettest::ScriptedRowSetTest;

TEST_F(ScriptedTypes, NarrowTypesEightBitAndEmptyText) {
    provider.columns = {
        Column(1, DBTYPE_STR, 10),        Column(2, DBTYPE_R4, 4),    Column(3, DBTYPE_I1, 1),
        Column(4, DBTYPE_UI2, 2),         Column(5, DBTYPE_UI4, 4),   Column(6, DBTYPE_UI8, 8),
        Column(7, DBTYPE_VARNUMERIC, 20), Column(8, DBTYPE_WSTR, 10), Column(9, DBTYPE_UI2, 2)};
    const wchar_t* const names[] = {L"s",  L"f",  L"b",     L"u2",  L"u4",
                                    L"u8", L"vn", L"empty", L"last"};
    provider.names.assign(std::begin(names), std::end(names));
    const ULONGLONG large = (ULONGLONG{1} << 63) + 1;
    Cell varnumeric;
    varnumeric.bytes = {3, 0, 1, 0x39, 0x30, 0}; // precision 3, scale 0, positive, 12345
    provider.rows = {{Cell::Text("42.5abc"), Cell::Of<float>(1.25f), Cell::Of<signed char>(-5),
                      Cell::Of<USHORT>(65535), Cell::Of<ULONG>(4000000000u), Cell::Of(large),
                      varnumeric, Cell::Wide(L""), Cell::Of<USHORT>(65535)}};
    CRowSet& r = Build();
    for (const wchar_t* name : names)
        r.GetColumnsOrdinal(CBasicStringView<wchar_t>(name, std::wcslen(name)));
    ASSERT_TRUE(r.FetchNext());

    EXPECT_STREQ(r.GetCurrColumnsChar(1), "42.5abc");
    EXPECT_EQ(r.GetCurrColumnsLONG(1), 42.5);
    EXPECT_EQ(r.GetCurrColumnsInt64(1), 42);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(1), 42u);
    bool mustFree = false;
    wchar_t* wide = r.GetCurrColumnsTchar(1, mustFree);
    EXPECT_STREQ(wide, L"42.5abc");
    EXPECT_TRUE(mustFree);
    delete[] wide;

    EXPECT_EQ(r.GetCurrColumnsLONG(2), 1.25);
    EXPECT_EQ(r.GetCurrColumnsInt64(3), -5);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(3), ~ULONGLONG{0} - 4);
    // Four bytes for a UI2: the following status (0) completes the value;
    // as the last column of the row the read stays inside the row buffer.
    for (size_t u2 : {4, 9}) {
        EXPECT_EQ(r.GetCurrColumnsLONG(u2), 65535.0);
        EXPECT_EQ(r.GetCurrColumnsInt64(u2), 65535);
        EXPECT_EQ(r.GetCurrColumnsDWORD64(u2), 65535u);
    }
    EXPECT_EQ(r.GetCurrColumnsInt64(5), 4000000000);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(6), large);
    EXPECT_EQ(r.GetCurrColumnsInt64(6), static_cast<LONGLONG>(large));
    EXPECT_EQ(r.GetCurrColumnsLONG(6), static_cast<double>(static_cast<LONGLONG>(large)));
    EXPECT_EQ(r.GetCurrColumnsLONG(7), 12345.0);
    EXPECT_EQ(r.GetCurrColumnsInt64(7), 12345);
    EXPECT_EQ(r.GetCurrColumnsDWORD64(7), 12345u);

    // Empty wide text is no number and, where presence counts, no value.
    EXPECT_STREQ(r.GetCurrColumnsWchar(8), L"");
    EXPECT_EQ(r.GetCurrColumnsDWORD64(8), 0u);
    auto text = [](CRowSet& set, size_t ordinal) {
        return CBasicString<wchar_t>(set.GetCurrColumnsWchar(ordinal));
    };
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<1, CBasicString<wchar_t>>(8, text)), std::nullopt);
    EXPECT_EQ((r.GetCurrColumnDataAsOptional<2, CBasicString<wchar_t>>(8, text)),
              CBasicString<wchar_t>());
    EXPECT_TRUE(frame.errors.reports.empty());
}

// ---------------------------------------------------------------- streams

class LongValues : public TypedAccess {
protected:
    void SetUp() override {
        // The stream columns' values start on 8-byte boundaries (the
        // provider stores the stream pointers as aligned words).
        db.Exec(L"CREATE TABLE b (k INTEGER, name VARCHAR(5), body TEXT, data BLOB)");
        for (int size : sizes)
            db.Exec(L"INSERT INTO b VALUES (" + std::to_wstring(size) + L", 'n', printf('%.*c', " +
                    std::to_wstring(size) + L", 'w'), CAST(printf('%.*c', " +
                    std::to_wstring(size) + L", 'q') AS BLOB))");
        db.Exec(L"INSERT INTO b VALUES (999999999, NULL, NULL, NULL)");
    }

    const int sizes[5] = {10, 63999, 64000, 64001, 300000};
};

TEST_F(LongValues, StreamsAreReadWholeWhateverTheirLength) {
    auto rowset = Open(L"SELECT k, name, body, data FROM b ORDER BY k");
    CRowSet& r = *rowset;
    const size_t body = Ordinal(r, L"body");
    const size_t data = Ordinal(r, L"data");
    ASSERT_TRUE(r.IsStreamInterface(body));
    for (int size : sizes) {
        SCOPED_TRACE(size);
        ASSERT_TRUE(r.FetchNext());
        const std::string bytes = r.GetCurrColumnsChar(data);
        EXPECT_EQ(bytes.size(), static_cast<size_t>(size));
        EXPECT_EQ(bytes.find_first_not_of('q'), std::string::npos);
        // The wide reader goes by the database type of the ordinal before
        // (the text column behind a VARCHAR one), so body reads as wide text.
        const std::wstring text = r.GetCurrColumnsWchar(body);
        EXPECT_EQ(text.size(), static_cast<size_t>(size));
        EXPECT_EQ(text.find_first_not_of(L'w'), std::wstring::npos);
    }
    EXPECT_TRUE(TakeReports().empty());

    // The NULL row: both readers answer the empty text after a report.
    ASSERT_TRUE(r.FetchNext());
    EXPECT_EQ(r.GetCurrColumnsSequentialStream(data), nullptr);
    EXPECT_STREQ(r.ReadAnsiFromSequentialStream(data), "");
    EXPECT_STREQ(r.ReadUnicodeFromSequentialStream(body), L"");
    const auto reports = TakeReports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].caption, TypeMismatchText);
    EXPECT_FALSE(r.FetchNext());
}

TEST_F(LongValues, StreamTakenOutOfTheRowIsGoneFromIt) {
    auto rowset = Open(L"SELECT k, data FROM b ORDER BY k");
    CRowSet& r = *rowset;
    const size_t data = Ordinal(r, L"data");
    ASSERT_TRUE(r.FetchNext());
    EXPECT_STREQ(r.GetCurrColumnsChar(data), "qqqqqqqqqq");
    // A second read finds no stream: the provider could not create one, as
    // far as the row tells.
    EXPECT_STREQ(r.GetCurrColumnsChar(data), "");
    auto reports = TakeReports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].caption, L"OLE DB Error: Can't get interface to store blob data.");
    EXPECT_EQ(reports[1].caption, TypeMismatchText);

    ASSERT_TRUE(r.FetchNext());
    ISequentialStream* stream = r.GetCurrColumnsSequentialStream(data);
    ASSERT_NE(stream, nullptr);
    char chunk[8] = {};
    ULONG read = 0;
    EXPECT_EQ(stream->Read(chunk, 4, &read), S_OK);
    EXPECT_EQ(std::string(chunk, read), "qqqq");
    EXPECT_TRUE(r.FreeSequentialStreamAllocator(data));
    EXPECT_FALSE(r.FreeSequentialStreamAllocator(data));

    // Rows whose streams nobody reads give them back when the walk moves on.
    while (r.FetchNext()) {
    }
    EXPECT_TRUE(TakeReports().empty());
}

TEST_F(LongValues, StreamReleasedByItsTakerIsNotReleasedAgain) {
    auto rowset = Open(L"SELECT k, body, data FROM b ORDER BY k");
    CRowSet& r = *rowset;
    const size_t data = Ordinal(r, L"data");
    ASSERT_TRUE(r.FetchNext());
    ISequentialStream* stream = r.GetCurrColumnsSequentialStream(data);
    ASSERT_NE(stream, nullptr);
    stream->Release();
    // The next row replaces the first: only its unread body stream goes back.
    ASSERT_TRUE(r.FetchNext());
    EXPECT_EQ(std::strlen(r.GetCurrColumnsChar(data)), 63999u);
    EXPECT_TRUE(TakeReports().empty());
}

// Exposes the capacity of the 8-bit stream read buffer.
class ReadBufferProbe : public CRowSet {
public:
    using CRowSet::CRowSet;
    size_t AnsiCapacity() const { return m_nAnsiReadCapacity; }
};

TEST_F(TypedAccess, StreamReadBufferGrowsOnlyForLongerValues) {
    db.Exec(L"CREATE TABLE s (k INTEGER, data BLOB)");
    for (int size : {70000, 64000, 64000, 128001, 10})
        db.Exec(L"INSERT INTO s VALUES (" + std::to_wstring(size) + L", CAST(printf('%.*c', " +
                std::to_wstring(size) + L", 'q') AS BLOB))");
    ReadBufferProbe r(db.Query(L"SELECT k, data FROM s ORDER BY rowid"), frame);
    ASSERT_TRUE(r.BuildRowSet(false, 65000));
    const size_t k = Ordinal(r, L"k");
    const size_t data = Ordinal(r, L"data");
    std::vector<size_t> capacities;
    while (r.FetchNext()) {
        EXPECT_EQ(std::strlen(r.GetCurrColumnsChar(data)),
                  static_cast<size_t>(r.GetCurrColumnsInt64(k)));
        capacities.push_back(r.AnsiCapacity());
    }
    // One step beyond the first buffer holds 70000 bytes and the 64000 that
    // follow; 128001 bytes fill it exactly and take one more step.
    const size_t step = CRowSet::DefaultStreamReadCapacity;
    EXPECT_EQ(capacities, (std::vector<size_t>{2 * step, 2 * step, 2 * step, 3 * step, 3 * step}));
    EXPECT_TRUE(TakeReports().empty());
}

TEST_F(LongValues, WithoutStreamsLongValuesArriveCutToTheLongLength) {
    auto rowset = Open(L"SELECT k, body FROM b ORDER BY k", false);
    CRowSet& r = *rowset;
    const size_t body = Ordinal(r, L"body");
    EXPECT_TRUE(r.IsString(2));
    ASSERT_TRUE(r.FetchNext());
    EXPECT_STREQ(r.GetCurrColumnsChar(body), "wwwwwwwwww");
    ASSERT_TRUE(r.FetchNext());
    EXPECT_EQ(std::strlen(r.GetCurrColumnsChar(body)), 63999u);
    EXPECT_TRUE(r.CurrColHasDataTruncated(body, r.GetColMetaData(body)));
    ASSERT_TRUE(r.FetchNext());
    ASSERT_TRUE(r.FetchNext());
    ASSERT_TRUE(r.FetchNext());
    EXPECT_EQ(std::strlen(r.GetCurrColumnsChar(body)), 64999u);
    EXPECT_FALSE(r.CurrColHasDataTruncated(body, r.GetColMetaData(body)));
}

} // namespace
