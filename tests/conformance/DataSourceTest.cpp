// The data source object on every backend: initialisation properties as OLE
// DB rules them, the property sets it does not know, a database that cannot
// be reached, and the data initialisation service.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

// The SQL Server providers' own initialisation set, which consumers send to
// any provider.
constexpr GUID ForeignInitSet = {
    0x5cf4ca10, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};

// The flags GetPropertyInfo answers for each property of set.
std::vector<DBPROPFLAGS> FlagsOf(IDBInitialize* dso, const GUID& set, std::vector<DBPROPID> ids,
                                 HRESULT expected = S_OK) {
    Ptr<IDBProperties> props;
    dso->QueryInterface(IID_IDBProperties, props.OutVoid());
    DBPROPIDSET wanted{ids.data(), ULONG(ids.size()), set};
    ULONG count = 0;
    DBPROPINFOSET* infos = nullptr;
    OLECHAR* text = nullptr;
    std::vector<DBPROPFLAGS> flags;
    EXPECT_EQ(props->GetPropertyInfo(1, &wanted, &count, &infos, &text), expected);
    for (ULONG i = 0; infos != nullptr && i < infos[0].cPropertyInfos; ++i) {
        const DBPROPINFO& info = infos[0].rgPropertyInfos[i];
        flags.push_back(info.dwFlags);
        if (info.dwFlags != DBPROPFLAGS_NOTSUPPORTED) {
            EXPECT_TRUE(info.pwszDescription && *info.pwszDescription) << info.dwPropertyID;
        }
    }
    if (infos != nullptr)
        CoTaskMemFree(infos[0].rgPropertyInfos);
    CoTaskMemFree(infos);
    CoTaskMemFree(text);
    return flags;
}

HRESULT Set(IDBInitialize* dso, DBPROPSET* sets, ULONG count) {
    Ptr<IDBProperties> props;
    dso->QueryInterface(IID_IDBProperties, props.OutVoid());
    return props->SetProperties(count, sets);
}

TEST_P(Conformance, InitialisationPropertiesAreSettableUntilInitialised) {
    Ptr<IDBInitialize> dso = Create();
    constexpr DBPROPFLAGS init = DBPROPFLAGS_DBINIT | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE;
    EXPECT_EQ(FlagsOf(dso.Get(), DBPROPSET_DBINIT,
                      {DBPROP_INIT_DATASOURCE, DBPROP_AUTH_USERID, DBPROP_AUTH_PASSWORD,
                       DBPROP_INIT_CATALOG, DBPROP_INIT_TIMEOUT, DBPROP_INIT_PROMPT,
                       DBPROP_AUTH_INTEGRATED, DBPROP_INIT_OLEDBSERVICES}),
              std::vector<DBPROPFLAGS>(8, init));
    EXPECT_EQ(FlagsOf(dso.Get(), DBPROPSET_DATASOURCEINFO, {DBPROP_CONNECTIONSTATUS}),
              std::vector<DBPROPFLAGS>{DBPROPFLAGS_DATASOURCEINFO | DBPROPFLAGS_READ});
    auto status = [&] {
        return PropertyOf(dso.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS).lVal;
    };
    EXPECT_EQ(status(), DBPROPVAL_CS_UNINITIALIZED);

    // What a consumer sends for prompting and integrated security is
    // accepted, a negative time-out is not.
    DBPROP p[] = {Prop(DBPROP_AUTH_INTEGRATED, Text(L"SSPI")), Prop(DBPROP_INIT_PROMPT, VARIANT{}),
                  Prop(DBPROP_INIT_TIMEOUT, Int(-1))};
    p[1].vValue.vt = VT_I2;
    p[1].vValue.iVal = DBPROMPT_NOPROMPT;
    DBPROPSET set{p, 3, DBPROPSET_DBINIT};
    EXPECT_EQ(Set(dso.Get(), &set, 1), DB_S_ERRORSOCCURRED);
    EXPECT_EQ(p[0].dwStatus, DBPROPSTATUS_OK);
    EXPECT_EQ(p[1].dwStatus, DBPROPSTATUS_OK);
    EXPECT_EQ(p[2].dwStatus, DBPROPSTATUS_BADVALUE);
    VariantClear(&p[0].vValue);

    ASSERT_EQ(Initialise(dso.Get(), m_context->Password()), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(status(), DBPROPVAL_CS_INITIALIZED);
    EXPECT_NE(PropertyOf(dso.Get(), DBPROPSET_DATASOURCEINFO, DBPROP_STRUCTUREDSTORAGE).lVal &
                  DBPROPVAL_SS_ISEQUENTIALSTREAM,
              0);
    // Initialised: the initialisation properties are fixed, the data
    // source's own ones are not.
    DBPROP again = Prop(DBPROP_INIT_CATALOG, Text(L"other"));
    DBPROPSET initSet{&again, 1, DBPROPSET_DBINIT};
    EXPECT_EQ(Set(dso.Get(), &initSet, 1), DB_E_ERRORSOCCURRED);
    EXPECT_EQ(again.dwStatus, DBPROPSTATUS_NOTSETTABLE);
    VariantClear(&again.vValue);
    DBPROP multiple = Prop(DBPROP_MULTIPLECONNECTIONS, Bool(false));
    DBPROPSET dsSet{&multiple, 1, DBPROPSET_DATASOURCE};
    EXPECT_EQ(Set(dso.Get(), &dsSet, 1), S_OK);
    EXPECT_EQ(PropertyOf(dso.Get(), DBPROPSET_DATASOURCE, DBPROP_MULTIPLECONNECTIONS).boolVal,
              VARIANT_FALSE);

    EXPECT_EQ(dso->Initialize(), DB_E_ALREADYINITIALIZED);
    // A data source with an open session stays initialised.
    Ptr<IDBCreateCommand> session = NewSession(dso.Get());
    EXPECT_EQ(dso->Uninitialize(), DB_E_OBJECTOPEN);
    session.Reset();
    EXPECT_EQ(dso->Uninitialize(), S_OK);
    EXPECT_EQ(status(), DBPROPVAL_CS_UNINITIALIZED);
}

TEST_P(Conformance, PropertiesOfOtherSetsAreDescribedOrRefusedOneByOne) {
    Ptr<IDBInitialize> dso = Create();
    const std::vector<DBPROPFLAGS> rowset =
        FlagsOf(dso.Get(), DBPROPSET_ROWSET,
                {DBPROP_IRowsetLocate, DBPROP_IRowsetChange, DBPROP_ISequentialStream, 0x7fff},
                DB_S_ERRORSOCCURRED);
    ASSERT_EQ(rowset.size(), 4u);
    EXPECT_NE(rowset[0] & DBPROPFLAGS_WRITE, 0u);
    EXPECT_NE(rowset[0] & DBPROPFLAGS_ROWSET, 0u);
    EXPECT_EQ(rowset[1] & DBPROPFLAGS_WRITE, 0u);
    EXPECT_EQ(rowset[3], DBPROPFLAGS_NOTSUPPORTED);

    // A set the provider does not know fails property by property, required
    // or not, and leaves the known ones of the same call set.
    DBPROP foreign[] = {Prop(16, Bool(true)), Prop(6, Text(L"x"))};
    DBPROPSET set{foreign, 2, ForeignInitSet};
    EXPECT_EQ(Set(dso.Get(), &set, 1), DB_E_ERRORSOCCURRED);
    EXPECT_EQ(foreign[0].dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    EXPECT_EQ(foreign[1].dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    VariantClear(&foreign[1].vValue);
    DBPROP optional = Prop(16, Bool(true), DBPROPOPTIONS_OPTIONAL);
    DBPROP known = Prop(DBPROP_INIT_CATALOG, Text(L"main"));
    DBPROPSET sets[] = {{&optional, 1, ForeignInitSet}, {&known, 1, DBPROPSET_DBINIT}};
    EXPECT_EQ(Set(dso.Get(), sets, 2), DB_S_ERRORSOCCURRED);
    EXPECT_EQ(optional.dwStatus, DBPROPSTATUS_NOTSUPPORTED);
    EXPECT_EQ(known.dwStatus, DBPROPSTATUS_OK);
    VariantClear(&known.vValue);

    HRESULT hr = S_OK;
    EXPECT_EQ(PropertyOf(dso.Get(), ForeignInitSet, 16, &hr).vt, VT_EMPTY);
    EXPECT_EQ(hr, DB_E_ERRORSOCCURRED);
    VARIANT catalog = PropertyOf(dso.Get(), DBPROPSET_DBINIT, DBPROP_INIT_CATALOG);
    ASSERT_EQ(catalog.vt, VT_BSTR);
    EXPECT_EQ(std::wstring(catalog.bstrVal), L"main");
    VariantClear(&catalog);
}

TEST_P(Conformance, AnUnreachableDatabaseFailsWithARecordAndOffersNoSessions) {
    Ptr<IDBInitialize> dso = Create();
    EXPECT_TRUE(
        FAILED(Initialise(dso.Get(), m_context->Password(), m_context->UnreachableDataSource())));
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].sqlState, m_context->ConnectFailureState()) << Describe(records);
    EXPECT_FALSE(records[0].description.empty());
    EXPECT_FALSE(records[0].source.empty());
    for (const Record& r : records)
        EXPECT_TRUE(!m_context->ChecksPasswords() ||
                    r.description.find(m_context->Password()) == std::wstring::npos);
    Ptr<IDBCreateSession> factory;
    EXPECT_EQ(dso->QueryInterface(IID_IDBCreateSession, factory.OutVoid()), E_NOINTERFACE);
}

TEST_P(Conformance, TheDataInitialisationServiceMakesTheProvidersDataSource) {
    Ptr<IDataInitialize> service;
    ASSERT_EQ(CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IDataInitialize, service.OutVoid()),
              S_OK);
    Ptr<IDBInitialize> dso;
    ASSERT_EQ(service->CreateDBInstance(m_context->ProviderClassId(), nullptr, CLSCTX_INPROC_SERVER,
                                        nullptr, IID_IDBInitialize, dso.OutUnknown()),
              S_OK);
    ASSERT_EQ(Initialise(dso.Get(), m_context->Password()), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(Query(NewSession(dso.Get()).Get(), L"SELECT 42"), (std::vector<Row>{{L"42"}}));
}

} // namespace
} // namespace conformance
