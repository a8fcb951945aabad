// Column descriptions and the row buffer layout built from them.
#include "RowSetSupport.h"

using rowsettest::Column;
using rowsettest::EmbeddedDatabase;
using rowsettest::RowSetFrame;

namespace {

constexpr DBLENGTH Unbounded = ~DBLENGTH{0};
constexpr DBLENGTH W = sizeof(wchar_t);

class ScriptedColumns : public rowsettest::ScriptedRowSetTest {
protected:
    CColumnBindings& Bindings() { return *static_cast<CColumnBindings*>(*rowset); }
    const DBBINDING& Binding(DBORDINAL index) { return static_cast<DBBINDING*>(Bindings())[index]; }
};

TEST_F(ScriptedColumns, NamesResolveFromTheCacheFirstThenByCaseInsensitivePrefix) {
    provider.columns = {Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_I4, 4), Column(3, DBTYPE_I4, 4),
                        Column(4, DBTYPE_I4, 4), Column(5, DBTYPE_I4, 4), Column(6, DBTYPE_I4, 4)};
    provider.names = {L"NAME", L"NAMES", L"id", L"id", L"Label_long", L"label"};
    CColumnsInfo& info = *static_cast<CColumnsInfo*>(Build(false));

    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"id")), 3u) << "the first of two equal names";
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"NAMES")), 2u);
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"name")), 1u);
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"nam")), 1u) << "a prefix finds the first";
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"nam")), 1u);
    // An exact name wins over an earlier column that merely begins with it.
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"label")), 6u);
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"LABEL_")), 5u);
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"unknown")), 0u);

    const auto name = info.GetColumnName(5);
    EXPECT_EQ(std::wstring(name.data(), name.size()), L"Label_long");
    EXPECT_EQ(info.GetColumnName(9).data(), nullptr);
}

TEST_F(ScriptedColumns, NameViewOfTheDescriptionItselfFindsItsColumn) {
    provider.columns = {Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_I4, 4)};
    provider.names = {L"", L"id"};
    CColumnsInfo& info = *static_cast<CColumnsInfo*>(Build(false));
    // A column without a name is what a view without text points at.
    EXPECT_EQ(info.GetColumnsOrdinal(CBasicStringView<wchar_t>()), 1u);
    EXPECT_EQ(info.GetColumnsOrdinal(info.GetColumnName(2)), 2u);
}

TEST_F(ScriptedColumns, BookmarkColumnIsCountedApartAndSkippedWhenUnbound) {
    provider.columns = {Column(0, DBTYPE_BYTES, 8, DBCOLUMNFLAGS_ISBOOKMARK),
                        Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_WSTR, 10)};
    CRowSet& set = Build(true);
    const CColumnsInfo& info = *static_cast<CColumnsInfo*>(set);
    EXPECT_TRUE(info.HasBookmarks());
    EXPECT_TRUE(info.IsBookmark(0));
    EXPECT_FALSE(info.IsBookmark(1));
    EXPECT_EQ(info.GetColumnCount(), 3u);
    EXPECT_EQ(info.GetColumnCountWithoutBookmark(), 2u);

    // Bound with the bookmark: column number 0 is the bookmark at index 0.
    EXPECT_EQ(Bindings().GetColumnCount(), 3u);
    EXPECT_EQ(set.GetColumnValue(0), 0u);
    EXPECT_EQ(set.GetColumnValue(2), 2u);
    EXPECT_TRUE(set.IsLong(1));
    EXPECT_TRUE(set.IsUnicodeString(2));
    EXPECT_EQ(Binding(0).iOrdinal, 0u);

    // Left unbound, the bookmark is skipped.
    CRowSet& unbound = Build(false);
    EXPECT_EQ(Bindings().GetColumnCount(), 2u);
    EXPECT_EQ(Binding(0).iOrdinal, 1u);
    EXPECT_EQ(Binding(0).obStatus, 0u);
    EXPECT_EQ(unbound.GetColumnValue(1), 0u);
    EXPECT_TRUE(unbound.IsLong(1));
    EXPECT_FALSE(unbound.IsLong(0));
}

TEST_F(ScriptedColumns, ResultWithoutBookmarkCountsAllColumns) {
    provider.columns = {Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_I4, 4)};
    const CColumnsInfo& info = *static_cast<CColumnsInfo*>(Build(true));
    EXPECT_FALSE(info.HasBookmarks());
    EXPECT_EQ(info.GetColumnCountWithoutBookmark(), info.GetColumnCount());
    EXPECT_EQ(Bindings().GetColumnCount(), 2u);
    EXPECT_EQ(Binding(1).iOrdinal, 2u);
}

TEST_F(ScriptedColumns, LookupsWithoutColumnsAnswerNeutralValues) {
    CColumnsInfo info(Open());
    EXPECT_THROW(info[0], CColumnsInfo::CColumnsInfoException);
    EXPECT_EQ(info.GetPrecision(0), 16);
    EXPECT_EQ(info.GetScale(0), 0);
    EXPECT_EQ(info.GetColumnsOrdinal(HdbLiteralView(L"x")), 0u);
    EXPECT_FALSE(info.HasBookmarks());
    EXPECT_EQ(info.GetDataType(1), DBTYPE_EMPTY);

    provider.columns = {Column(1, DBTYPE_NUMERIC, 19, 0, 12, 3)};
    ASSERT_TRUE(info.CreateColumnInfos());
    EXPECT_EQ(info.GetPrecision(0), 12);
    EXPECT_EQ(info.GetScale(0), 3);
    EXPECT_EQ(info.GetPrecision(info.GetColumnCount() + 1), 16);
    EXPECT_EQ(info.GetScale(info.GetColumnCount() + 1), 0);
    EXPECT_EQ(info.GetDataType(1), DBTYPE_NUMERIC);
    EXPECT_EQ(info.GetDataType(2), DBTYPE_EMPTY);
}

TEST_F(ScriptedColumns, OneIntegerColumnLaysOutItsHeaderAndValue) {
    provider.columns = {Column(1, DBTYPE_I4, 4)};
    Build(false);
    EXPECT_EQ(Bindings().GetStatusPosition(0, 0), 0u);
    EXPECT_EQ(Bindings().GetLengthPosition(0, 0), 8u);
    EXPECT_EQ(Bindings().GetDataPosition(0, 0), 16u);
    EXPECT_EQ(Bindings().GetColumnsSize(), 20u);
    EXPECT_EQ(Bindings().GetDataRowSize(), 40u);
    EXPECT_EQ(Binding(0).dwPart, static_cast<DBPART>(DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS));
}

TEST_F(ScriptedColumns, GroupsFollowEachOtherWithoutPadding) {
    provider.columns = {Column(1, DBTYPE_STR, 10), Column(2, DBTYPE_WSTR, 10),
                        Column(3, DBTYPE_STR, Unbounded), Column(4, DBTYPE_WSTR, Unbounded),
                        Column(5, DBTYPE_R8, 8)};
    Build(false);
    const DBLENGTH sizes[] = {11, 10 * W + W, 8001, 8000 * W + W, 8};
    DBBYTEOFFSET offset = 0;
    for (DBORDINAL i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Binding(i).cbMaxLen, sizes[i]);
        EXPECT_EQ(Binding(i).obStatus, offset);
        EXPECT_EQ(Binding(i).obValue, offset + 16);
        offset += sizes[i] + 16;
    }
    EXPECT_EQ(Binding(1).obStatus, 27u);
    EXPECT_EQ(Bindings().GetColumnsSize(), offset);
    EXPECT_EQ(Bindings().GetDataRowSize(), static_cast<ULONG>((offset + 5 * 16 + 7) & ~7u));
}

TEST_F(ScriptedColumns, LongColumnsBindAsStreamsOrAsTextOfTheLongLength) {
    provider.columns = {Column(1, DBTYPE_WSTR, Unbounded, DBCOLUMNFLAGS_ISLONG),
                        Column(2, DBTYPE_BYTES, Unbounded, DBCOLUMNFLAGS_ISLONG),
                        Column(3, DBTYPE_STR, Unbounded, DBCOLUMNFLAGS_ISLONG, 7, 2)};
    Build(false, true);
    for (DBORDINAL i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Binding(i).wType, DBTYPE_IUNKNOWN);
        EXPECT_EQ(Binding(i).cbMaxLen, 8u);
        EXPECT_EQ(Binding(i).obStatus, i * 24);
        ASSERT_NE(Binding(i).pObject, nullptr);
        EXPECT_EQ(Binding(i).pObject->iid, IID_ISequentialStream);
        EXPECT_EQ(Binding(i).bPrecision, 0);
    }
    EXPECT_TRUE(rowset->IsStreamInterface(2));

    Build(false, false, 1000);
    EXPECT_EQ(Binding(0).wType, DBTYPE_STR) << "a long wide column arrives as 8-bit text";
    EXPECT_EQ(Binding(1).wType, DBTYPE_BYTES);
    EXPECT_EQ(Binding(2).wType, DBTYPE_STR);
    EXPECT_EQ(Binding(2).bPrecision, 7);
    for (DBORDINAL i = 0; i < 3; ++i) {
        EXPECT_EQ(Binding(i).cbMaxLen, 1000u);
        EXPECT_EQ(Binding(i).pObject, nullptr);
    }
    EXPECT_EQ(Bindings().GetColumnsSize(), 3u * 1016);
}

TEST_F(ScriptedColumns, DatabaseTypeTestLooksTheBindingIndexUpAsOrdinal) {
    provider.columns = {Column(1, DBTYPE_WSTR, 10), Column(2, DBTYPE_I4, 4)};
    CRowSet& set = Build(false);
    EXPECT_TRUE(set.IsDatabaseTypeUnicodeString(2));
    EXPECT_FALSE(set.IsDatabaseTypeUnicodeString(1));
    EXPECT_EQ(set.GetDatabaseFieldType(0, 1), DBTYPE_WSTR);
    EXPECT_EQ(set.GetFieldType(0, 1), DBTYPE_I4);
}

TEST_F(ScriptedColumns, GrowingTheLastColumnGrowsTheRow) {
    provider.columns = {Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_BYTES, 10)};
    Build(false);
    const DBBYTEOFFSET second = Binding(1).obValue;
    Bindings().ChangeColumnSize(2, 100);
    EXPECT_EQ(Binding(1).cbMaxLen, 100u);
    EXPECT_EQ(Binding(1).obValue, second);
    EXPECT_EQ(Bindings().GetColumnsSize(), 20u + 116u);
}

// The layout of what the embedded provider describes for a table of
// everyday column kinds.
TEST(ProviderColumns, LayoutFollowsTheProvidersDescriptions) {
    EmbeddedDatabase db;
    db.Exec(L"CREATE TABLE t (id INTEGER, name VARCHAR(10), body TEXT, data BLOB)");
    db.Exec(L"INSERT INTO t VALUES (1, 'a', 'b', x'00')");
    RowSetFrame frame;
    const std::wstring query = L"SELECT id, name, body, data, name || 'x' AS joined FROM t";

    CRowSet streamed(db.Query(query), frame);
    ASSERT_TRUE(streamed.BuildRowSet(false, 65000));
    const DBTYPE streamedTypes[] = {DBTYPE_I8, DBTYPE_WSTR, DBTYPE_IUNKNOWN, DBTYPE_IUNKNOWN,
                                    DBTYPE_WSTR};
    const DBLENGTH streamedSizes[] = {8, 10 * W + W, 8, 8, 8000 * W + W};
    const auto* bindings = static_cast<DBBINDING*>(*static_cast<CColumnBindings*>(streamed));
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(bindings[i].wType, streamedTypes[i]);
        EXPECT_EQ(bindings[i].cbMaxLen, streamedSizes[i]);
    }
    EXPECT_EQ(streamed.GetColumnsOrdinal(HdbLiteralView(L"JOINED")), 5u);

    CRowSet copied(db.Query(query), frame);
    copied.SetLongColumnsAsStreams(false);
    ASSERT_TRUE(copied.BuildRowSet(false, 2000));
    bindings = static_cast<DBBINDING*>(*static_cast<CColumnBindings*>(copied));
    EXPECT_EQ(bindings[2].wType, DBTYPE_STR);
    EXPECT_EQ(bindings[3].wType, DBTYPE_BYTES);
    EXPECT_EQ(bindings[2].cbMaxLen, 2000u);
    EXPECT_TRUE(frame.errors.reports.empty());
}

} // namespace
