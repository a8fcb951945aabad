// The SQL Server providers' class ids reach the ODBC bridge in its SQL Server
// mode. No SQL Server runs on the test machines, so these tests go as far as
// the ODBC driver's refusal to connect to a port where nothing listens.
#include <gtest/gtest.h>

#include <chrono>

#include "hdbplatform/OleDbSupplement.h"
#include "providers/ProviderTest.h"

namespace {

using namespace providertest;

struct ClassCase {
    const char* name;
    CLSID id;
};

const ClassCase SqlServerClasses[] = {
    {"SQLOLEDB", {0x0C7FF16C, 0x38E3, 0x11D0, {0x97, 0xAB, 0x00, 0xC0, 0x4F, 0xC2, 0xAD, 0x98}}},
    {"SQLNCLI", {0x85ECAFCC, 0xBDD9, 0x4B03, {0x97, 0xA8, 0xFA, 0x65, 0xCB, 0xE3, 0x85, 0x9B}}},
    {"SQLNCLI10", {0x8F4A6B68, 0x4F36, 0x4E3C, {0xBE, 0x81, 0xBC, 0x7C, 0xA4, 0xE9, 0xC4, 0x5C}}},
    {"SQLNCLI11", {0x397C2819, 0x8272, 0x4532, {0xAD, 0x3A, 0xFB, 0x5E, 0x43, 0xBE, 0xAA, 0x39}}},
    {"OleDbDriver", {0xEE5DE99A, 0x4453, 0x4C96, {0x86, 0x1C, 0xF8, 0x83, 0x2A, 0x7F, 0x59, 0xFE}}},
};

class SqlServerMode : public ::testing::TestWithParam<ClassCase> {};

// Initialises a data source of the class as the library does: the standard
// set, then the SQL Server set; the result of Initialize.
HRESULT ConnectAsTheLibraryDoes(IDBInitialize* dso, const std::wstring& password) {
    Ptr<IDBProperties> props;
    EXPECT_EQ(dso->QueryInterface(IID_IDBProperties, props.OutVoid()), S_OK);
    DBPROP standard[] = {Prop(DBPROP_INIT_PROMPT, Int(DBPROMPT_NOPROMPT)),
                         Prop(DBPROP_INIT_DATASOURCE, Text(L"127.0.0.1,1")),
                         Prop(DBPROP_AUTH_USERID, Text(L"sa")),
                         Prop(DBPROP_INIT_CATALOG, Text(L"master")),
                         Prop(DBPROP_AUTH_PASSWORD, Text(password.c_str())),
                         Prop(DBPROP_INIT_TIMEOUT, Int(5))};
    standard[0].vValue.vt = VT_I2;
    standard[0].vValue.iVal = DBPROMPT_NOPROMPT;
    DBPROP server[] = {Prop(16, Bool(true)), Prop(6, Text(L"TDS_Version=7.4")),
                       Prop(21, Bool(true)), Prop(13, Text(L"Optional"))};
    DBPROPSET sets[] = {{standard, std::size(standard), DBPROPSET_DBINIT},
                        {server, std::size(server), DBPROPSET_SQLSERVERDBINIT}};
    EXPECT_EQ(props->SetProperties(2, sets), S_OK);
    for (auto* group : {&sets[0], &sets[1]})
        for (ULONG i = 0; i < group->cProperties; ++i)
            VariantClear(&group->rgProperties[i].vValue);
    return dso->Initialize();
}

TEST_P(SqlServerMode, ReachesTheDriverWhichReportsTheServerMissingWithoutThePassword) {
    Ptr<IDBInitialize> dso;
    ASSERT_EQ(CoCreateInstance(GetParam().id, nullptr, CLSCTX_INPROC_SERVER, IID_IDBInitialize,
                               dso.OutVoid()),
              S_OK);
    const std::wstring password = L"Secret-Pw-31";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ConnectAsTheLibraryDoes(dso.Get(), password), E_FAIL);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].sqlState.substr(0, 2), L"08");
    bool driverSpoke = false;
    for (const Record& r : records) {
        driverSpoke = driverSpoke || r.description.find(L"FreeTDS") != std::wstring::npos;
        EXPECT_EQ(r.description.find(password), std::wstring::npos);
    }
    EXPECT_TRUE(driverSpoke) << "the driver named by the settings was not reached";
}

INSTANTIATE_TEST_SUITE_P(Classes, SqlServerMode, ::testing::ValuesIn(SqlServerClasses),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
