// Accessors: creation from the bindings, rebuilding, and the report of a
// provider that rejects bindings.
#include "RowSetSupport.h"

using rowsettest::Column;
using rowsettest::EmbeddedDatabase;
using rowsettest::RowSetFrame;

namespace {

const wchar_t* const BindSignature =
    L"bool __cdecl CAccessor::InternalBindColumnsToAccessor(const unsigned __int64,const struct "
    L"tagDBBINDING *,const unsigned __int64)";

class AccessorTest : public rowsettest::ScriptedRowSetTest {
protected:
    void SetUp() override {
        provider.columns = {Column(1, DBTYPE_I4, 4), Column(2, DBTYPE_WSTR, 10),
                            Column(3, DBTYPE_R8, 8)};
    }
};

TEST_F(AccessorTest, RejectedBindingsGiveOneReportLinePerBinding) {
    provider.rejected = {DBBINDSTATUS_OK, DBBINDSTATUS_UNSUPPORTEDCONVERSION, DBBINDSTATUS_OK};
    EXPECT_FALSE(Open().BuildRowSet(false, 65000));
    const auto& reports = frame.errors.reports;
    ASSERT_EQ(reports.size(), 4u);
    for (const auto& report : reports) {
        EXPECT_EQ(report.caption, L"OLE DB Error: Can't create accessor");
        EXPECT_EQ(report.function, BindSignature);
    }
    EXPECT_EQ(reports[0].hr, DB_E_ERRORSOCCURRED);
    EXPECT_EQ(reports[1].hr, 0);
    EXPECT_EQ(reports[1].message.find(L"column"), std::wstring::npos);
    EXPECT_NE(reports[2].message.find(L"A none supported conversion is defined for column: 1."),
              std::wstring::npos)
        << reports[2].message;
    EXPECT_EQ(reports[3].message.find(L"column"), std::wstring::npos);
}

TEST_F(AccessorTest, EveryKindOfRejectionIsNamed) {
    provider.columns.push_back(Column(4, DBTYPE_I4, 4));
    provider.columns.push_back(Column(5, DBTYPE_I4, 4));
    provider.columns.push_back(Column(6, DBTYPE_I4, 4));
    provider.rejected = {DBBINDSTATUS_BADORDINAL,  DBBINDSTATUS_UNSUPPORTEDCONVERSION,
                         DBBINDSTATUS_BADBINDINFO, DBBINDSTATUS_BADSTORAGEFLAGS,
                         DBBINDSTATUS_NOINTERFACE, DBBINDSTATUS_MULTIPLESTORAGE};
    {
        hdbtest::ThreadLanguage german(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN));
        EXPECT_FALSE(Open().BuildRowSet(false, 65000));
    }
    const wchar_t* expected[] = {
        L"Eine falsche Spaltennummer: 0 wurde übergben.",
        L"Eine nicht untestützte Konvertierung wurde für die Spalte: 1 definiert.",
        L"Falsche Bindinfo gesetzt für die Abfrage in Spalte: 2.",
        L"Falsche Speicherungsflags wurden für die Spalte: 3 übergeben.",
        L"Kein Interface gefunden für Spalte: 4.",
        L"Mehrfache Storages für Spalte: 5 angegeben."};
    ASSERT_EQ(frame.errors.reports.size(), 7u);
    for (int i = 0; i < 6; ++i)
        EXPECT_NE(frame.errors.reports[i + 1].message.find(expected[i]), std::wstring::npos)
            << frame.errors.reports[i + 1].message;
}

TEST_F(AccessorTest, BuildingAgainReleasesTheFirstHandle) {
    {
        CAccessor accessor(Build());
        ASSERT_TRUE(accessor.BuildAccessor());
        const HACCESSOR first = accessor;
        EXPECT_EQ(provider.accessorsReleased, 0);
        ASSERT_TRUE(accessor.BuildAccessor());
        EXPECT_EQ(provider.accessorsReleased, 1);
        EXPECT_NE(static_cast<HACCESSOR>(accessor), first);
        // Every binding of the rowset reached the provider.
        EXPECT_EQ(provider.bindings.size(), 3u);
    }
    rowset.reset();
    // The rowset's accessor and the second one are given back on destruction.
    EXPECT_EQ(provider.accessorsCreated, provider.accessorsReleased);
    EXPECT_TRUE(frame.errors.reports.empty());
}

TEST_F(AccessorTest, OwnerWithoutProviderObjectFailsQuietly) {
    CRowSet owner(frame);
    CAccessor accessor(owner);
    EXPECT_EQ(static_cast<IAccessor*>(accessor), nullptr);
    EXPECT_FALSE(accessor.BuildAccessor());
    EXPECT_FALSE(accessor.BuildFastLoadAccessor());
    EXPECT_TRUE(frame.errors.reports.empty());
}

TEST(ProviderAccessor, EmbeddedProviderAcceptsTheLibrarysBindings) {
    EmbeddedDatabase db;
    db.Exec(L"CREATE TABLE t (a INT, b VARCHAR(3), c TEXT, d BLOB, e NUMERIC(8,2), f DATETIME)");
    RowSetFrame frame;
    CRowSet rowset(db.Query(L"SELECT * FROM t"), frame);
    ASSERT_TRUE(rowset.BuildRowSet(false, 65000));
    CAccessor accessor(rowset);
    ASSERT_TRUE(accessor.BuildFastLoadAccessor());
    EXPECT_NE(static_cast<HACCESSOR>(accessor), 0u);
    EXPECT_TRUE(accessor.Release());
    EXPECT_EQ(static_cast<HACCESSOR>(accessor), 0u);
    EXPECT_TRUE(frame.errors.reports.empty());
}

} // namespace
