// Rowsets over results of the embedded provider: batches of row handles,
// moving forwards, writing into the row buffer, releasing.
#include "RowSetSupport.h"

using rowsettest::Column;

namespace {

class RowSetTest : public rowsettest::EmbeddedRowSetTest {
protected:
    // A table n of `rows` rows with ids 1..rows.
    void Fill(int rows) {
        db.Exec(L"CREATE TABLE n (id INTEGER, label VARCHAR(8))");
        if (rows > 0)
            db.Exec(L"WITH RECURSIVE c(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM c WHERE i < " +
                    std::to_wstring(rows) + L") INSERT INTO n SELECT i, 'r' || i FROM c");
    }
};

struct Batching {
    int rows;
    DBCOUNTITEM fetchCount;
    std::vector<DBCOUNTITEM> batches;
};

class BatchTest : public RowSetTest, public ::testing::WithParamInterface<Batching> {};

TEST_P(BatchTest, EveryRowOnceInBatchesOfTheFetchCount) {
    const Batching& p = GetParam();
    Fill(p.rows);
    auto rowset = Open(L"SELECT id FROM n ORDER BY id");
    rowset->SetFetchRowCount(p.fetchCount);
    const size_t id = rowset->GetColumnsOrdinal(HdbLiteralView(L"id"));
    ASSERT_EQ(id, 1u);

    std::vector<DBCOUNTITEM> batches;
    LONGLONG expected = 0;
    while (rowset->FetchNext()) {
        EXPECT_EQ(rowset->GetCurrColumnsInt64(id), ++expected);
        if ((expected - 1) % static_cast<LONGLONG>(p.fetchCount) == 0)
            batches.push_back(rowset->GetRowsObtained());
    }
    EXPECT_EQ(expected, p.rows);
    EXPECT_EQ(batches, p.batches);
    EXPECT_TRUE(rowset->IsEOS());
    EXPECT_TRUE(frame.errors.reports.empty());
}

INSTANTIATE_TEST_SUITE_P(Results, BatchTest,
                         ::testing::Values(Batching{0, 20, {}}, Batching{20, 20, {20}},
                                           Batching{21, 20, {20, 1}}, Batching{45, 20, {20, 20, 5}},
                                           Batching{12, 5, {5, 5, 2}}, Batching{3, 1, {1, 1, 1}}),
                         [](const ::testing::TestParamInfo<Batching>& info) {
                             return std::to_string(info.param.rows) + "RowsBy" +
                                    std::to_string(info.param.fetchCount);
                         });

struct Limiting {
    int rows;
    DBCOUNTITEM fetchCount;
    ULONGLONG limit;
    // Rows obtained by each batch: never more than the limit leaves.
    std::vector<DBCOUNTITEM> batches;
};

class LimitTest : public RowSetTest, public ::testing::WithParamInterface<Limiting> {};

TEST_P(LimitTest, RowLimitEndsTheResultAndIsNeverFetchedBeyond) {
    const Limiting& p = GetParam();
    Fill(p.rows);
    auto rowset = Open(L"SELECT id FROM n ORDER BY id");
    EXPECT_EQ(rowset->GetMaxRowCount(), CRowSet::NoRowLimit);
    rowset->SetFetchRowCount(p.fetchCount);
    rowset->SetMaxRowCount(p.limit);
    const size_t id = rowset->GetColumnsOrdinal(HdbLiteralView(L"id"));

    std::vector<DBCOUNTITEM> batches;
    LONGLONG delivered = 0;
    while (rowset->FetchNext()) {
        EXPECT_EQ(rowset->GetCurrColumnsInt64(id), ++delivered);
        if ((delivered - 1) % static_cast<LONGLONG>(p.fetchCount) == 0)
            batches.push_back(rowset->GetRowsObtained());
    }
    EXPECT_EQ(static_cast<ULONGLONG>(delivered), std::min<ULONGLONG>(p.rows, p.limit));
    EXPECT_EQ(batches, p.batches);
    EXPECT_TRUE(rowset->IsEOS());
    // Asked again after the end or the limit, the answer stays the same.
    EXPECT_FALSE(rowset->FetchNext());
    EXPECT_FALSE(rowset->FetchNext());
    EXPECT_TRUE(rowset->IsEOS());
    EXPECT_TRUE(frame.errors.reports.empty());
}

INSTANTIATE_TEST_SUITE_P(Results, LimitTest,
                         ::testing::Values(Limiting{10, 20, 0, {}}, Limiting{10, 20, 4, {4}},
                                           Limiting{10, 4, 6, {4, 2}}, Limiting{10, 5, 10, {5, 5}},
                                           Limiting{3, 20, 5, {3}},
                                           Limiting{7, 3, CRowSet::NoRowLimit, {3, 3, 1}},
                                           Limiting{5, 1, CRowSet::NoRowLimit, {1, 1, 1, 1, 1}}),
                         [](const ::testing::TestParamInfo<Limiting>& info) {
                             const ULONGLONG limit = info.param.limit;
                             return std::to_string(info.param.rows) + "RowsBy" +
                                    std::to_string(info.param.fetchCount) + "Limit" +
                                    (limit == CRowSet::NoRowLimit ? std::string("None")
                                                                  : std::to_string(limit));
                         });

TEST_F(RowSetTest, OnlyForwardMovesAreOffered) {
    Fill(3);
    auto rowset = Open(L"SELECT id FROM n ORDER BY id");
    const size_t id = rowset->GetColumnsOrdinal(HdbLiteralView(L"id"));
    ASSERT_TRUE(rowset->FetchNext());
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_FALSE(rowset->FetchFirst());
    EXPECT_FALSE(rowset->FetchPrev());
    EXPECT_FALSE(rowset->FetchLast());
    EXPECT_EQ(rowset->GetCurrColumnsInt64(id), 2);
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_EQ(rowset->GetCurrColumnsInt64(id), 3);
    EXPECT_FALSE(rowset->FetchNext());
}

TEST_F(RowSetTest, ColumnHelpersAreFilledOnceByName) {
    Fill(1);
    auto rowset = Open(L"SELECT label, id FROM n");
    EXPECT_EQ(rowset->GetColumnsOrdinal(HdbLiteralView(L"ID")), 2u);
    const auto helper = rowset->GetColMetaData(2);
    EXPECT_EQ(helper.bindingIndex, 1u);
    EXPECT_EQ(helper.boundType, DBTYPE_I8);
    EXPECT_EQ(helper.dataSize, 8u);
    EXPECT_EQ(helper.statusPosition, 8 * sizeof(wchar_t) + sizeof(wchar_t) + 16);
    EXPECT_EQ(helper.dataPosition, helper.statusPosition + 16);
    // The database type is that of the ordinal equal to the binding index.
    EXPECT_EQ(helper.databaseType, DBTYPE_WSTR);
    EXPECT_EQ(rowset->GetColumnsDataType(2), DBTYPE_WSTR);
    EXPECT_EQ(rowset->GetColumnsDataType(1), DBTYPE_WSTR) << "not filled: the description's";

    // Asked again, the helper keeps what it holds.
    rowset->GetColMetaData(2).dataSize = 99;
    EXPECT_EQ(rowset->GetColumnsOrdinal(HdbLiteralView(L"id")), 2u);
    EXPECT_EQ(rowset->GetColMetaData(2).dataSize, 99u);

    EXPECT_EQ(rowset->GetColumnsOrdinal(HdbLiteralView(L"missing")), 0u);
    EXPECT_EQ(rowset->GetColMetaData(0).boundType, 0);
}

TEST_F(RowSetTest, WritersStoreIntoTheColumnsFieldGroup) {
    Fill(0);
    auto rowset = Open(L"SELECT id, label FROM n");
    const auto* bindings = static_cast<DBBINDING*>(*static_cast<CColumnBindings*>(*rowset));
    const DBLENGTH rowSize = static_cast<CColumnBindings*>(*rowset)->GetColumnsSize();

    const wchar_t text[] = L"abc";
    ASSERT_TRUE(rowset->SetCurrColumnsData(2, text, sizeof(text)));
    rowset->SetCurrColumnsLength(2, 3 * sizeof(wchar_t));
    rowset->SetCurrColumnsStatus(2, DBSTATUS_S_ISNULL);
    rowset->SetCurrColumnsStatus(3, DBSTATUS_S_OK); // beyond the columns: ignored

    const size_t label = rowset->GetColumnsOrdinal(HdbLiteralView(L"label"));
    const auto& helper = rowset->GetColMetaData(label);
    EXPECT_EQ(rowset->GetCurrColumnsStatus(label, helper), DBSTATUS_S_ISNULL);
    EXPECT_EQ(rowset->GetCurrColumnsData(label, helper), nullptr);
    rowset->SetCurrColumnsStatus(2, DBSTATUS_S_OK);
    const auto* value = static_cast<const BYTE*>(rowset->GetCurrColumnsData(label, helper));
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(std::memcmp(value, text, sizeof(text)), 0);
    DBLENGTH length = 0;
    std::memcpy(&length, value - 8, sizeof(length));
    EXPECT_EQ(length, 3 * sizeof(wchar_t));
    EXPECT_EQ(helper.dataPosition, bindings[1].obValue);
    EXPECT_TRUE(frame.errors.reports.empty());

    // The size test is against the whole row.
    std::vector<BYTE> large(rowSize, 0x41);
    EXPECT_FALSE(rowset->SetCurrColumnsData(1, large.data(), rowSize));
    EXPECT_FALSE(rowset->SetCurrColumnsData(3, large.data(), 1));
    ASSERT_EQ(frame.errors.reports.size(), 2u);
    EXPECT_EQ(frame.errors.reports[0].caption, L"Error");
    EXPECT_NE(frame.errors.reports[0].message.find(L"Data to big for this database column."),
              std::wstring::npos);
    EXPECT_EQ(frame.errors.reports[0].function,
              L"bool __cdecl CRowSet::SetCurrColumnsData(const unsigned __int64,const void "
              L"*,const unsigned __int64)");
}

TEST_F(RowSetTest, ReleaseMidBatchGivesEverythingBack) {
    Fill(30);
    auto rowset = Open(L"SELECT id, label FROM n");
    ASSERT_TRUE(rowset->FetchNext());
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_TRUE(rowset->Release());
    EXPECT_EQ(static_cast<IRowset*>(*rowset), nullptr);
    EXPECT_EQ(static_cast<CColumnsInfo*>(*rowset), nullptr);
    EXPECT_FALSE(rowset->FetchNext());
    EXPECT_TRUE(rowset->IsEOS());
    // Helpers and switches survive a release.
    EXPECT_EQ(rowset->GetColMetaData(1).boundType, 0);
    EXPECT_TRUE(rowset->GetLongColumnsAsStreams());
    EXPECT_TRUE(frame.errors.reports.empty());
}

using ScriptedRowSet = rowsettest::ScriptedRowSetTest;

TEST_F(ScriptedRowSet, RowTheProviderCannotDeliverEndsTheWalkWithAReport) {
    provider.columns = {Column(1, DBTYPE_I4, 4)};
    provider.rows = {{rowsettest::Cell::Of<LONG>(1)}, {rowsettest::Cell::Of<LONG>(2)}};
    CRowSet& r = Build();
    ASSERT_TRUE(r.FetchNext());
    provider.dataResult = DB_E_BADROWHANDLE;
    EXPECT_FALSE(r.FetchNext());
    ASSERT_EQ(frame.errors.reports.size(), 1u);
    EXPECT_EQ(frame.errors.reports[0].caption, L"OLE DB Error: Can't get data from row");
    EXPECT_EQ(frame.errors.reports[0].hr, DB_E_BADROWHANDLE);
    EXPECT_EQ(frame.errors.reports[0].function, L"bool __cdecl CRowSet::ReadData(void)");
}

TEST_F(RowSetTest, RebuildAfterFetchingStartsOverWithTheNewLayout) {
    db.Exec(L"CREATE TABLE t (id INTEGER, body TEXT)");
    db.Exec(L"INSERT INTO t VALUES (1, 'one'), (2, printf('%.*c', 3000, 'x')), (3, 'three')");
    auto rowset = Open(L"SELECT id, body FROM t ORDER BY id");
    // One row per batch, so that the rows after the first are still to come.
    rowset->SetFetchRowCount(1);
    ASSERT_TRUE(rowset->FetchNext());
    ASSERT_TRUE(rowset->IsStreamInterface(2));

    // Rebuilt with the long text in the row: the row buffer grows, the rows
    // and the stream of the first row go back, and the walk goes on.
    rowset->SetLongColumnsAsStreams(false);
    ASSERT_TRUE(rowset->BuildRowSet(false, 4000));
    ASSERT_TRUE(rowset->IsString(2));
    EXPECT_EQ(rowset->GetRowsObtained(), 0u);
    const size_t id = rowset->GetColumnsOrdinal(HdbLiteralView(L"id"));
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_EQ(rowset->GetCurrColumnsInt64(id), 2);
    const size_t body = rowset->GetColumnsOrdinal(HdbLiteralView(L"body"));
    EXPECT_EQ(std::string(rowset->GetCurrColumnsChar(body)), std::string(3000, 'x'));
    ASSERT_TRUE(rowset->FetchNext());
    EXPECT_EQ(rowset->GetCurrColumnsInt64(id), 3);
    EXPECT_FALSE(rowset->FetchNext());
    EXPECT_TRUE(frame.errors.reports.empty());
}

TEST_F(RowSetTest, ConversionLibraryIsCreatedOnceAndKept) {
    Fill(0);
    auto rowset = Open(L"SELECT id FROM n");
    IDataConvert* converter = rowset->GetIDataConverter();
    ASSERT_NE(converter, nullptr);
    EXPECT_EQ(rowset->GetIDataConverter(), converter);
    EXPECT_TRUE(frame.errors.reports.empty());
}

} // namespace
