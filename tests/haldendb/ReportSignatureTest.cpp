// The function signature a rowset names in the reports of its fetching,
// releasing and stream reading: applications log it and sort reports by it,
// so a text left behind when code moves is a fault. One table drives each
// operation to a failure on a scripted result. (The typed getters' texts are
// pinned with their neutral values in TypedAccessTest, those of ReadData and
// SetCurrColumnsData in RowSetTest.)
#include "RowSetSupport.h"

using rowsettest::Cell;
using rowsettest::Column;
using rowsettest::RowSetFrame;
using rowsettest::ScriptedRowset;

namespace {

// A scripted result that can also fail to hand out or to take back rows.
class FaultyRowset : public ScriptedRowset {
public:
    HRESULT nextRowsResult = S_OK;
    HRESULT releaseRowsResult = S_OK;

    HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER chapter, DBROWOFFSET offset, DBROWCOUNT count,
                                          DBCOUNTITEM* obtained, HROW** handles) override {
        if (FAILED(nextRowsResult)) {
            *obtained = 0;
            return nextRowsResult;
        }
        return ScriptedRowset::GetNextRows(chapter, offset, count, obtained, handles);
    }
    HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM, const HROW[], DBROWOPTIONS[], DBREFCOUNT[],
                                          DBROWSTATUS[]) override {
        return releaseRowsResult;
    }
};

// A built rowset over two rows of a number and a long text whose stream the
// provider could not create.
struct Walk {
    Walk() {
        Cell lostStream;
        lostStream.status = DBSTATUS_E_CANTCREATE;
        provider.columns = {Column(1, DBTYPE_I4, 4),
                            Column(2, DBTYPE_STR, ~DBLENGTH{0}, DBCOLUMNFLAGS_ISLONG)};
        provider.names = {L"number", L"text"};
        provider.rows = {{Cell::Of<LONG>(1), lostStream}, {Cell::Of<LONG>(2), lostStream}};
        provider.AddRef();
        rowset = std::make_unique<CRowSet>(static_cast<IRowset*>(&provider), frame);
        EXPECT_TRUE(rowset->BuildRowSet(false, 65000));
        number = rowset->GetColumnsOrdinal(HdbLiteralView(L"number"));
        text = rowset->GetColumnsOrdinal(HdbLiteralView(L"text"));
    }

    RowSetFrame frame;
    FaultyRowset provider;
    std::unique_ptr<CRowSet> rowset;
    size_t number = 0;
    size_t text = 0;
};

struct Case {
    const char* failure;
    void (*drive)(Walk&);
    const wchar_t* signature;
};

#define HELPER_ARGS L"(const unsigned __int64,const struct CRowSet::db_col_access_helper &)"

const Case Cases[] = {
    {"the provider hands out no rows",
     [](Walk& w) {
         w.provider.nextRowsResult = E_FAIL;
         w.rowset->FetchNext();
     },
     L"bool __cdecl CRowSet::GetNextRowData(void)"},
    // A step of FetchNext reports as FetchNext, the operation the
    // application called.
    {"a used-up batch cannot be given back",
     [](Walk& w) {
         w.provider.releaseRowsResult = E_FAIL;
         w.rowset->SetFetchRowCount(1);
         w.rowset->FetchNext();
         w.rowset->FetchNext();
     },
     L"bool __cdecl CRowSet::FetchNext(void)"},
    {"the rows held at the row limit cannot be given back",
     [](Walk& w) {
         w.provider.releaseRowsResult = E_FAIL;
         w.rowset->SetMaxRowCount(1);
         w.rowset->FetchNext();
         w.rowset->FetchNext();
     },
     L"bool __cdecl CRowSet::FetchNext(void)"},
    {"the provider answers a broken reference count",
     [](Walk& w) {
         w.provider.references = 0;
         w.rowset->Release();
     },
     L"bool __cdecl CRowSet::Release(void)"},
    {"the provider could not create a column's stream",
     [](Walk& w) {
         w.rowset->FetchNext();
         w.rowset->GetCurrColumnsSequentialStream(w.text);
     },
     L"struct ISequentialStream *__cdecl CRowSet::GetCurrColumnsSequentialStream" HELPER_ARGS},
    {"8-bit text read from a column without a stream",
     [](Walk& w) {
         w.rowset->FetchNext();
         w.rowset->ReadAnsiFromSequentialStream(w.number);
     },
     L"char *__cdecl CRowSet::ReadAnsiFromSequentialStream" HELPER_ARGS},
    {"wide text read from a column without a stream",
     [](Walk& w) {
         w.rowset->FetchNext();
         w.rowset->ReadUnicodeFromSequentialStream(w.number);
     },
     L"wchar_t *__cdecl CRowSet::ReadUnicodeFromSequentialStream" HELPER_ARGS},
};

TEST(ReportSignature, EveryReportOfAFailedRowsetOperationNamesThatOperation) {
    for (const Case& c : Cases) {
        SCOPED_TRACE(c.failure);
        Walk walk;
        ASSERT_TRUE(walk.frame.errors.reports.empty());
        c.drive(walk);
        // Taken before the rowset goes, whose destructor may report again.
        const std::vector<hdbtest::Report> reports = walk.frame.errors.reports;
        ASSERT_FALSE(reports.empty());
        for (const hdbtest::Report& report : reports)
            EXPECT_EQ(report.function, c.signature);
        walk.rowset.reset();
    }
}

} // namespace
