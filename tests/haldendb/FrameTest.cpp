// Module registration, database-type traits, the provider table, the message
// table and the severe-error exception.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace hdbtest;

namespace {

using Provider = CBaseOLEDBClass::enumOLEDBProvider;

Provider Prov(int value) {
    return CBaseOLEDBClass::OLEDBProviderFromInt(value);
}

TEST(ModuleTest, InitialisationRegistersTheLibraryOnce) {
    const std::size_t before = CDynLinkLibrary::RegisteredCount();
    HaldenDBDllInitialize();
    HaldenDBDllInitialize();
    EXPECT_EQ(CDynLinkLibrary::RegisteredCount(), before + 1);
    EXPECT_NE(CDynLinkLibrary::FindByModuleName(L"haldendbu64"), nullptr);
}

TEST(TraitsTest, SettingsValuesKeepTheirLowByte) {
    static_assert(sizeof(DbType) == 1 && sizeof(Provider) == 1);
    EXPECT_EQ(Type(0x105), CBaseOLEDBClass::eSQLServerNativeClient11);
    EXPECT_EQ(static_cast<int>(Type(255)), -1);
    EXPECT_FALSE(CBaseOLEDBClass::IsSqlServer(Type(256 + 8)));
    EXPECT_EQ(Prov(0x205), CBaseOLEDBClass::eProvider5);
}

TEST(TraitsTest, NewObjectsReachSqlServerThroughNativeClient11) {
    ReportingObject object;
    EXPECT_EQ(object.GetSQLDatabaseType(), CBaseOLEDBClass::eSQLServerNativeClient11);
    EXPECT_EQ(object.GetOLEDBProvider(), CBaseOLEDBClass::eProviderNativeClient);
    EXPECT_EQ(
        CBaseOLEDBClass::GetProviderClassId(object.GetOLEDBProvider(), object.GetSQLDatabaseType()),
        CLSID_HDB_SQLNCLI11);
}

TEST(ProviderTableTest, VersionedProvidersNeedTheirDatabaseType) {
    using B = CBaseOLEDBClass;
    EXPECT_EQ(B::GetProviderClassId(B::eProviderNativeClient, Type(4)), CLSID_HDB_SQLNCLI10);
    EXPECT_EQ(B::GetProviderClassId(B::eProviderNativeClient, Type(6)), CLSID_HDB_SQLNCLI);
    EXPECT_EQ(B::GetProviderClassId(B::eProviderNativeClient, Type(-1)), CLSID_HDB_SQLNCLI);
    EXPECT_EQ(B::GetProviderClassId(B::eProviderOLEDBDriver, Type(6)), CLSID_HDB_MSOLEDBSQL);
    EXPECT_EQ(B::GetProviderClassId(B::eProviderOLEDBDriver, Type(5)), CLSID_HDB_MSDASQL);
}

TEST(ProviderTableTest, FixedProvidersIgnoreTheDatabaseTypeAndUnknownOnesFallBackToOdbc) {
    using B = CBaseOLEDBClass;
    for (int type : {-1, 0, 1, 5, 6, 8}) {
        EXPECT_EQ(B::GetProviderClassId(B::eProviderODBC, Type(type)), CLSID_HDB_MSDASQL);
        EXPECT_EQ(B::GetProviderClassId(B::eProviderSQLOLEDB, Type(type)), CLSID_HDB_SQLOLEDB);
        EXPECT_EQ(B::GetProviderClassId(B::eProviderOracle, Type(type)), CLSID_HDB_ORAOLEDB);
        EXPECT_EQ(B::GetProviderClassId(B::eProvider5, Type(type)), CLSID_HDB_EMBEDDED);
        EXPECT_EQ(B::GetProviderClassId(Prov(6), Type(type)), CLSID_HDB_MSDASQL);
        EXPECT_EQ(B::GetProviderClassId(Prov(-1), Type(type)), CLSID_HDB_MSDASQL);
    }
    // The embedded provider's id as applications write it down.
    wchar_t text[40] = {};
    ASSERT_GT(StringFromGUID2(CLSID_HDB_EMBEDDED, text, 40), 0);
    EXPECT_STREQ(text, L"{C86FB69E-3664-11D2-A112-00104BD15372}");
}

TEST(CopyTest, MadeObjectsInheritTheReportingFrameButNotTheTexts) {
    ReportingObject source(false);
    source.SetTypes(CBaseOLEDBClass::eMySQL, CBaseOLEDBClass::eProviderODBC);
    auto severities = std::make_shared<CBaseOLEDBClass::ErrorSeverityMap>();
    source.SetErrorSeverityMap(severities);
    source.CheckError(E_FAIL, 15510, TestPosition(), CBasicStringView<wchar_t>());

    ReportingObject made(source, true);
    EXPECT_EQ(made.GetCallBackForErrorMessages(), &ReportCollector::Collect);
    EXPECT_EQ(made.getUserDefinedErrorObject(), &source.errors);
    EXPECT_EQ(made.getUserDefinedSuccessObject(), &source.successes);
    EXPECT_TRUE(made.GetUIEnabled());
    EXPECT_EQ(made.GetSQLDatabaseType(), CBaseOLEDBClass::eMySQL);
    EXPECT_EQ(made.GetOLEDBProvider(), CBaseOLEDBClass::eProviderODBC);
    EXPECT_EQ(made.GetErrorSeverityMap().get(), severities.get());
    EXPECT_TRUE(made.ErrorDescriptionText().empty());
    // Its reports reach the source's collector, with its own UI flag.
    made.CheckError(E_FAIL, 15510, TestPosition(), CBasicStringView<wchar_t>());
    ASSERT_EQ(source.errors.reports.size(), 2u);
    EXPECT_TRUE(source.errors.reports[1].uiEnabled);
}

TEST(MessageTableTest, EveryNumberHasBothLanguagesAndNothingElseExists) {
    const LANGID german = MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN);
    const LANGID english = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
    for (unsigned int id = 15500; id <= 15545; ++id) {
        ASSERT_NE(CMessageTable::Find(id, english), nullptr) << id;
        ASSERT_NE(CMessageTable::Find(id, german), nullptr) << id;
        EXPECT_STRNE(CMessageTable::Find(id, english), CMessageTable::Find(id, german)) << id;
    }
    EXPECT_EQ(CMessageTable::Find(15499, english), nullptr);
    EXPECT_EQ(CMessageTable::Find(15546, german), nullptr);
    // French threads read English.
    EXPECT_STREQ(CMessageTable::Find(15531, MAKELANGID(0x0C, 1)), L"Error");
    EXPECT_STREQ(CMessageTable::Find(15523, german),
                 L"OLE DB Fehler: Kann das Objekt  IID_ICommandWithParameters nicht finden");
}

TEST(SevereErrorTest, CarriesTheDescriptionInTheNarrowEncoding) {
    const severe_sql_error error(CBasicStringView<wchar_t>(L"Fehler: Größe überschritten"));
    EXPECT_STREQ(error.what(), "Fehler: Größe überschritten");
    severe_sql_error copy;
    EXPECT_STREQ(copy.what(), "");
    copy = error;
    EXPECT_STREQ(copy.what(), error.what());
    EXPECT_STREQ(severe_sql_error(CBasicStringView<wchar_t>()).what(), "");
}

} // namespace

namespace {

TEST(SourcePositionTest, NamesFileLineBuildTimeAndSignature) {
    const LoggingSourcePos position = HDB_SOURCE_POS(L"int __cdecl main(void)");
    const std::uint32_t line = __LINE__ - 1;
    EXPECT_EQ(std::wstring(position.sourceFile), L"FrameTest.cpp");
    EXPECT_EQ(position.line, line);
    EXPECT_EQ(position.buildTimeStamp.size(), 24u);
    EXPECT_EQ(std::wstring(position.function), L"int __cdecl main(void)");
}

} // namespace
