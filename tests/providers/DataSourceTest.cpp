// The data source object: initialisation properties as OLE DB rules them,
// connecting and what a failed connect leaves behind.
#include "ProviderTest.h"

#include <filesystem>
#include <unistd.h>

using namespace providertest;

namespace {

// The provider-specific initialisation set of the SQL Server providers,
// which a consumer may send to any provider.
constexpr GUID ForeignInitSet = {
    0x5cf4ca10, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};

Ptr<IDBProperties> PropsOf(IDBInitialize* dso) {
    Ptr<IDBProperties> props;
    dso->QueryInterface(IID_IDBProperties, props.OutVoid());
    return props;
}

// The value of one property as a VARIANT the caller clears.
VARIANT Read(IDBProperties* props, const GUID& set, DBPROPID id, HRESULT* result = nullptr) {
    DBPROPIDSET ids{&id, 1, set};
    ULONG count = 0;
    DBPROPSET* sets = nullptr;
    HRESULT hr = props->GetProperties(1, &ids, &count, &sets);
    if (result != nullptr)
        *result = hr;
    VARIANT v;
    VariantInit(&v);
    if (count == 1 && sets[0].cProperties == 1) {
        v = sets[0].rgProperties[0].vValue;
        CoTaskMemFree(sets[0].rgProperties);
    }
    CoTaskMemFree(sets);
    return v;
}

TEST(DataSource, InitialisationPropertiesAreDescribedAndSettableUntilInitialised) {
    auto dso = NewDataSource();
    auto props = PropsOf(dso.Get());
    DBPROPID ids[] = {DBPROP_INIT_DATASOURCE, DBPROP_AUTH_USERID,       DBPROP_AUTH_PASSWORD,
                      DBPROP_INIT_CATALOG,    DBPROP_INIT_TIMEOUT,      DBPROP_INIT_PROMPT,
                      DBPROP_AUTH_INTEGRATED, DBPROP_INIT_OLEDBSERVICES};
    DBPROPIDSET wanted{ids, ULONG(std::size(ids)), DBPROPSET_DBINIT};
    ULONG count = 0;
    DBPROPINFOSET* infos = nullptr;
    OLECHAR* text = nullptr;
    ASSERT_EQ(props->GetPropertyInfo(1, &wanted, &count, &infos, &text), S_OK);
    ASSERT_EQ(count, 1u);
    ASSERT_EQ(infos[0].cPropertyInfos, std::size(ids));
    for (ULONG i = 0; i < infos[0].cPropertyInfos; ++i) {
        const DBPROPINFO& info = infos[0].rgPropertyInfos[i];
        EXPECT_EQ(info.dwFlags, DBPROPFLAGS_DBINIT | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE)
            << info.dwPropertyID;
        ASSERT_NE(info.pwszDescription, nullptr);
        EXPECT_NE(*info.pwszDescription, L'\0');
    }
    CoTaskMemFree(infos[0].rgPropertyInfos);
    CoTaskMemFree(infos);
    CoTaskMemFree(text);

    // The connection status is information only.
    DBPROPID status = DBPROP_CONNECTIONSTATUS;
    DBPROPIDSET info{&status, 1, DBPROPSET_DATASOURCEINFO};
    ASSERT_EQ(props->GetPropertyInfo(1, &info, &count, &infos, &text), S_OK);
    EXPECT_EQ(infos[0].rgPropertyInfos[0].dwFlags, DBPROPFLAGS_DATASOURCEINFO | DBPROPFLAGS_READ);
    CoTaskMemFree(infos[0].rgPropertyInfos);
    CoTaskMemFree(infos);
    CoTaskMemFree(text);

    VARIANT v = Read(props.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS);
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, DBPROPVAL_CS_UNINITIALIZED);

    // What a consumer sends for integrated security is accepted.
    DBPROP p[] = {Prop(DBPROP_AUTH_INTEGRATED, Text(L"SSPI")), Prop(DBPROP_INIT_PROMPT, VARIANT{}),
                  Prop(DBPROP_INIT_TIMEOUT, Int(-1))};
    p[1].vValue.vt = VT_I2;
    p[1].vValue.iVal = DBPROMPT_COMPLETE;
    DBPROPSET set{p, 3, DBPROPSET_DBINIT};
    EXPECT_EQ(props->SetProperties(1, &set), DB_S_ERRORSOCCURRED);
    EXPECT_EQ(p[0].dwStatus, DBPROPSTATUS_OK);
    EXPECT_EQ(p[1].dwStatus, DBPROPSTATUS_OK);
    EXPECT_EQ(p[2].dwStatus, DBPROPSTATUS_BADVALUE);
    VariantClear(&p[0].vValue);

    const std::wstring file = (std::filesystem::temp_directory_path() /
                               ("hdbprov-dsinit-" + std::to_string(getpid()) + ".db"))
                                  .wstring();
    ASSERT_EQ(Connect(dso.Get(), file), S_OK);
    v = Read(props.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS);
    EXPECT_EQ(v.lVal, DBPROPVAL_CS_INITIALIZED);
    v = Read(props.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_STRUCTUREDSTORAGE);
    EXPECT_NE(v.lVal & DBPROPVAL_SS_ISEQUENTIALSTREAM, 0);

    // Initialised: the initialisation properties are fixed now, the data
    // source's own ones are not.
    DBPROP again = Prop(DBPROP_INIT_CATALOG, Text(L"other"));
    DBPROPSET initSet{&again, 1, DBPROPSET_DBINIT};
    EXPECT_EQ(props->SetProperties(1, &initSet), DB_E_ERRORSOCCURRED);
    EXPECT_EQ(again.dwStatus, DBPROPSTATUS_NOTSETTABLE);
    VariantClear(&again.vValue);
    DBPROP multiple = Prop(DBPROP_MULTIPLECONNECTIONS, Bool(false));
    DBPROPSET dsSet{&multiple, 1, DBPROPSET_DATASOURCE};
    EXPECT_EQ(props->SetProperties(1, &dsSet), S_OK);
    v = Read(props.Get(), DBPROPSET_DATASOURCE, DBPROP_MULTIPLECONNECTIONS);
    EXPECT_EQ(v.boolVal, VARIANT_FALSE);

    EXPECT_EQ(dso->Initialize(), DB_E_ALREADYINITIALIZED);
    EXPECT_EQ(dso->Uninitialize(), S_OK);
    v = Read(props.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS);
    EXPECT_EQ(v.lVal, DBPROPVAL_CS_UNINITIALIZED);
    std::filesystem::remove(file);
}

TEST(DataSource, DescribesTheRowsetPropertiesItsCommandsTake) {
    auto dso = NewDataSource();
    auto props = PropsOf(dso.Get());
    DBPROPID ids[] = {DBPROP_IRowsetLocate, DBPROP_IRowsetChange, DBPROP_ISequentialStream, 0x7fff};
    DBPROPIDSET wanted{ids, ULONG(std::size(ids)), DBPROPSET_ROWSET};
    ULONG count = 0;
    DBPROPINFOSET* infos = nullptr;
    OLECHAR* text = nullptr;
    ASSERT_EQ(props->GetPropertyInfo(1, &wanted, &count, &infos, &text), DB_S_ERRORSOCCURRED);
    ASSERT_EQ(infos[0].cPropertyInfos, 4u);
    const DBPROPINFO* info = infos[0].rgPropertyInfos;
    EXPECT_NE(info[0].dwFlags & DBPROPFLAGS_WRITE, 0u);
    EXPECT_NE(info[0].dwFlags & DBPROPFLAGS_ROWSET, 0u);
    EXPECT_EQ(info[1].dwFlags & DBPROPFLAGS_WRITE, 0u);
    EXPECT_EQ(info[2].vtType, VT_BOOL);
    EXPECT_EQ(info[3].dwFlags, DBPROPFLAGS_NOTSUPPORTED);
    CoTaskMemFree(infos[0].rgPropertyInfos);
    CoTaskMemFree(infos);
    CoTaskMemFree(text);
}

TEST(DataSource, PropertiesOfAnUnknownSetAreNotSupportedRequiredOrNot) {
    auto dso = NewDataSource();
    auto props = PropsOf(dso.Get());
    DBPROP foreign[] = {Prop(16, Bool(true)), Prop(6, Text(L"x"))};
    DBPROPSET set{foreign, 2, ForeignInitSet};
    EXPECT_EQ(props->SetProperties(1, &set), DB_E_ERRORSOCCURRED);
    EXPECT_EQ(foreign[0].dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    EXPECT_EQ(foreign[1].dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    VariantClear(&foreign[1].vValue);

    // Mixed with a known one, only the unknown one fails.
    DBPROP optional = Prop(16, Bool(true), DBPROPOPTIONS_OPTIONAL);
    DBPROP known = Prop(DBPROP_INIT_CATALOG, Text(L"main"));
    DBPROPSET sets[] = {{&optional, 1, ForeignInitSet}, {&known, 1, DBPROPSET_DBINIT}};
    EXPECT_EQ(props->SetProperties(2, sets), DB_S_ERRORSOCCURRED);
    EXPECT_EQ(optional.dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    EXPECT_EQ(known.dwStatus, DBPROPSTATUS_OK);
    VariantClear(&known.vValue);

    HRESULT hr = S_OK;
    VARIANT v = Read(props.Get(), ForeignInitSet, 16, &hr);
    EXPECT_EQ(hr, DB_E_ERRORSOCCURRED);
    EXPECT_EQ(v.vt, VT_EMPTY);
    v = Read(props.Get(), DBPROPSET_DBINIT, DBPROP_INIT_CATALOG, &hr);
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(std::wstring(v.bstrVal), L"main");
    VariantClear(&v);
}

TEST(DataSource, AFileThatCannotBeOpenedFailsWithARecordNamingIt) {
    auto dso = NewDataSource();
    const std::wstring path = L"/nonexistent-hdb-dir/sub/data.db";
    HRESULT hr = Connect(dso.Get(), path);
    EXPECT_TRUE(FAILED(hr));
    auto records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_NE(records[0].description.find(path), std::wstring::npos) << records[0].description;
    EXPECT_EQ(records[0].sqlState, L"08001");
    EXPECT_NE(records[0].nativeError, 0);
    EXPECT_FALSE(records[0].source.empty());
    // Nothing to create sessions on.
    Ptr<IDBCreateSession> factory;
    EXPECT_EQ(dso->QueryInterface(IID_IDBCreateSession, factory.OutVoid()), E_NOINTERFACE);
}

TEST(DataSource, MemoryDatabaseIsSharedByTheSessionsOfOneDataSourceOnly) {
    auto dso = NewDataSource();
    ASSERT_EQ(Connect(dso.Get(), L":memory:"), S_OK);
    auto first = NewSession(dso.Get());
    auto second = NewSession(dso.Get());
    ASSERT_EQ(Exec(first.Get(), L"CREATE TABLE m (v TEXT)"), S_OK);
    ASSERT_EQ(Exec(first.Get(), L"INSERT INTO m VALUES ('shared')"), S_OK);
    auto rows = Query(second.Get(), L"SELECT v FROM m");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"shared");

    auto other = NewDataSource();
    ASSERT_EQ(Connect(other.Get(), L":memory:"), S_OK);
    auto stranger = NewSession(other.Get());
    EXPECT_EQ(Exec(stranger.Get(), L"SELECT v FROM m"), DB_E_NOTABLE);

    // A data source with open sessions stays initialised.
    EXPECT_EQ(dso->Uninitialize(), DB_E_OBJECTOPEN);
    first.Reset();
    second.Reset();
    EXPECT_EQ(dso->Uninitialize(), S_OK);
}

TEST(DataSource, TheDataInitialisationServiceFindsTheEmbeddedProvider) {
    Ptr<IDataInitialize> init;
    ASSERT_EQ(CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IDataInitialize, init.OutVoid()),
              S_OK);
    Ptr<IDBInitialize> dso;
    ASSERT_EQ(init->CreateDBInstance(CLSID_HDB_EMBEDDED, nullptr, CLSCTX_INPROC_SERVER, nullptr,
                                     IID_IDBInitialize, dso.OutUnknown()),
              S_OK);
    ASSERT_EQ(Connect(dso.Get(), L":memory:"), S_OK);
    auto session = NewSession(dso.Get());
    auto rows = Query(session.Get(), L"SELECT CONCAT('a', NULL, 'b', 1), CHR(65)");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], L"ab1");
    EXPECT_EQ(rows[0][1], L"A");
}

} // namespace
