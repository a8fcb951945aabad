// The data initialisation service: creating data sources by class id and
// from initialisation strings, against a recording stand-in provider.
#include "hdbplatform/ClassRegistry.h"
#include "hdbplatform/MsDaSc.h"
#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

constexpr CLSID CLSID_RecordingProvider = {
    0x3f9d2c41, 0x8a7e, 0x4b15, {0x92, 0x0c, 0x5e, 0x61, 0xd4, 0x07, 0xa3, 0x88}};
constexpr CLSID CLSID_Nobody = {
    0x3f9d2c42, 0x8a7e, 0x4b15, {0x92, 0x0c, 0x5e, 0x61, 0xd4, 0x07, 0xa3, 0x88}};

// What the last provider object was given, keyed by property id; VT_BSTR
// values as text, VT_I4 and VT_BOOL as their number.
std::map<DBPROPID, std::wstring> g_props;
int g_live = 0;

// A data source stand-in: IDBProperties records what SetProperties gets.
class RecordingProvider final
    : public hdbcom::ComObject<hdbcom::Implements<IDBProperties, IID_IDBProperties>> {
public:
    RecordingProvider() {
        ++g_live;
        g_props.clear();
    }
    ~RecordingProvider() override { --g_live; }

    HRESULT STDMETHODCALLTYPE GetProperties(ULONG, const DBPROPIDSET[], ULONG*,
                                            DBPROPSET**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG, const DBPROPIDSET[], ULONG*, DBPROPINFOSET**,
                                              OLECHAR**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG cSets, DBPROPSET sets[]) override {
        for (ULONG s = 0; s < cSets; ++s) {
            if (sets[s].guidPropertySet != DBPROPSET_DBINIT)
                return DB_E_ERRORSOCCURRED;
            for (ULONG p = 0; p < sets[s].cProperties; ++p) {
                const DBPROP& prop = sets[s].rgProperties[p];
                if (prop.vValue.vt == VT_BSTR)
                    g_props[prop.dwPropertyID] = prop.vValue.bstrVal ? prop.vValue.bstrVal : L"";
                else if (prop.vValue.vt == VT_I4)
                    g_props[prop.dwPropertyID] = std::to_wstring(prop.vValue.lVal);
                else if (prop.vValue.vt == VT_BOOL)
                    g_props[prop.dwPropertyID] = std::to_wstring(prop.vValue.boolVal);
            }
        }
        return S_OK;
    }
};

class DataInitializeTest : public ::testing::Test {
protected:
    void SetUp() override {
        IClassFactory* factory = nullptr;
        ASSERT_EQ(HdbClassFactory<RecordingProvider>::GetClassObject(
                      IID_IClassFactory, reinterpret_cast<void**>(&factory)),
                  S_OK);
        ASSERT_EQ(CoRegisterClassObject(CLSID_RecordingProvider, factory, CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &cookie_),
                  S_OK);
        factory->Release();
        ASSERT_EQ(CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IDataInitialize, reinterpret_cast<void**>(&init_)),
                  S_OK);
    }
    void TearDown() override {
        if (init_)
            init_->Release();
        CoRevokeClassObject(cookie_);
        EXPECT_EQ(g_live, 0) << "a provider object was leaked";
    }

    HRESULT FromString(const wchar_t* text) {
        IUnknown* ds = nullptr;
        HRESULT hr =
            init_->GetDataSource(nullptr, CLSCTX_INPROC_SERVER, text, IID_IDBProperties, &ds);
        if (ds)
            ds->Release();
        else
            EXPECT_TRUE(FAILED(hr));
        return hr;
    }

    DWORD cookie_ = 0;
    IDataInitialize* init_ = nullptr;
};

TEST_F(DataInitializeTest, CreateDBInstanceReachesTheProviderByClassId) {
    IUnknown* ds = nullptr;
    ASSERT_EQ(init_->CreateDBInstance(CLSID_RecordingProvider, nullptr, CLSCTX_INPROC_SERVER,
                                      nullptr, IID_IDBProperties, &ds),
              S_OK);
    ASSERT_NE(ds, nullptr);
    EXPECT_EQ(g_live, 1);

    // A data source handed in takes the string's properties in place.
    IUnknown* same = ds;
    EXPECT_EQ(
        init_->GetDataSource(nullptr, CLSCTX_INPROC_SERVER, L"Data Source=x.db", IID_IUnknown, &ds),
        S_OK);
    EXPECT_EQ(ds, same);
    EXPECT_EQ(g_live, 1);
    EXPECT_EQ(g_props[DBPROP_INIT_DATASOURCE], L"x.db");
    ds->Release();

    IUnknown* aggregated = nullptr;
    EXPECT_EQ(init_->CreateDBInstance(CLSID_RecordingProvider, init_, CLSCTX_INPROC_SERVER, nullptr,
                                      IID_IUnknown, &aggregated),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(aggregated, nullptr);
}

TEST_F(DataInitializeTest, UnregisteredClassAnswersAsCoCreateInstanceDoes) {
    IUnknown* ds = reinterpret_cast<IUnknown*>(0x1);
    void* direct = nullptr;
    const HRESULT expected =
        CoCreateInstance(CLSID_Nobody, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &direct);
    EXPECT_EQ(expected, REGDB_E_CLASSNOTREG);
    EXPECT_EQ(init_->CreateDBInstance(CLSID_Nobody, nullptr, CLSCTX_INPROC_SERVER, nullptr,
                                      IID_IUnknown, &ds),
              expected);
    EXPECT_EQ(ds, nullptr);
}

TEST_F(DataInitializeTest, InitialisationStringSetsTheDbInitProperties) {
    ASSERT_EQ(FromString(L"Provider={3F9D2C41-8A7E-4B15-920C-5E61D407A388};"
                         L" Data Source = app.db ;User ID=sa;password='a;b''c';"
                         L"Initial Catalog=\"main\";Connect Timeout=15;Unknown Thing=1"),
              S_OK);
    EXPECT_EQ(g_props[DBPROP_INIT_DATASOURCE], L"app.db");
    EXPECT_EQ(g_props[DBPROP_AUTH_USERID], L"sa");
    EXPECT_EQ(g_props[DBPROP_AUTH_PASSWORD], L"a;b'c");
    EXPECT_EQ(g_props[DBPROP_INIT_CATALOG], L"main");
    EXPECT_EQ(g_props[DBPROP_INIT_TIMEOUT], L"15");
    EXPECT_EQ(g_props.size(), 5u) << "unknown keywords are not passed on";
}

TEST_F(DataInitializeTest, BadInitialisationStrings) {
    EXPECT_EQ(FromString(L"Data Source=app.db"), DB_E_BADINITSTRING); // no provider
    EXPECT_EQ(FromString(L"Provider=SQLite;Data Source=x"), DB_E_BADINITSTRING);
    EXPECT_EQ(FromString(L"Provider={3F9D2C41-8A7E-4B15-920C-5E61D407A388};Data Source"),
              DB_E_BADINITSTRING);
    EXPECT_EQ(FromString(L"Provider={3F9D2C41-8A7E-4B15-920C-5E61D407A388};Password='open"),
              DB_E_BADINITSTRING);
    EXPECT_EQ(FromString(L"Provider={3F9D2C41-8A7E-4B15-920C-5E61D407A388};Connect Timeout=x"),
              DB_E_BADINITSTRING);
    EXPECT_EQ(FromString(L"Provider={3F9D2C42-8A7E-4B15-920C-5E61D407A388}"), REGDB_E_CLASSNOTREG);
}

TEST_F(DataInitializeTest, UnofferedMethodsSayNotImplemented) {
    LPOLESTR text = reinterpret_cast<LPOLESTR>(0x1);
    EXPECT_EQ(init_->GetInitializationString(nullptr, 0, &text), E_NOTIMPL);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(init_->LoadStringFromStorage(L"x.udl", &text), E_NOTIMPL);
    EXPECT_EQ(init_->WriteStringToStorage(L"x.udl", L"", 0), E_NOTIMPL);
    EXPECT_EQ(init_->CreateDBInstanceEx(CLSID_RecordingProvider, nullptr, 0, nullptr, nullptr, 0,
                                        nullptr),
              E_NOTIMPL);
}

} // namespace
