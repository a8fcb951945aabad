// The SQL dialect answers of a data source for every database type, and the
// static helpers the connecting code uses.
#include "TestSupport.h"

#include "haldendb/DataSource.h"

#include <gtest/gtest.h>

#include <string>

using namespace hdbtest;

namespace {

using Input = CDataSource::e_convertinputtype;

Input In(int value) {
    return static_cast<Input>(static_cast<std::int8_t>(value));
}
std::wstring Text(const CString& text) {
    return std::wstring(text.GetString());
}

const int SqlServerTypes[] = {0, 3, 4, 5, 6};
// Types with no dialect of their own, the unnamed values among them.
const int PlainTypes[] = {1, 8, 9, 100, 127, -1, -128};

class DialectTest : public testing::Test {
protected:
    SettingsIsolation settings;
};

TEST_F(DialectTest, SqlServerConvertsWithTheStyleOfEachLayout) {
    // The style numbers SQL Server gives the fifteen layouts, in value order.
    const int styles[] = {100, 1, 101, 2, 102, 3, 103, 4, 104, 5, 105, 109, 113, 114, 120};
    for (int type : SqlServerTypes) {
        CDataSource source(Type(type));
        for (int value = 0; value < 15; ++value)
            EXPECT_EQ(Text(source.GetConvertFunction(In(value))),
                      L"CONVERT(datetime, '%s', " + std::to_wstring(styles[value]) + L")")
                << type << " " << value;
        // Out of range: the style is simply left out.
        for (int value : {15, 16, 127, -1, -128})
            EXPECT_EQ(Text(source.GetConvertFunction(In(value))), L"CONVERT(datetime, '%s', )")
                << type << " " << value;
    }
}

TEST_F(DialectTest, MySqlTemplatesStayOpenAfterGetFormat) {
    CDataSource source(CBaseOLEDBClass::eMySQL);
    for (int value = 0; value <= 10; ++value)
        EXPECT_EQ(Text(source.GetConvertFunction(In(value))),
                  L"STR_TO_DATE('%s', GET_FORMAT(DATE, 'USA')")
            << value;
    for (int value : {11, 12, 14})
        EXPECT_EQ(Text(source.GetConvertFunction(In(value))),
                  L"STR_TO_DATE('%s', GET_FORMAT(DATETIME, 'USA')")
            << value;
    EXPECT_EQ(Text(source.GetConvertFunction(In(13))),
              L"STR_TO_DATE('%s', GET_FORMAT(TIME, 'USA')");
    for (int value : {15, -1})
        EXPECT_EQ(Text(source.GetConvertFunction(In(value))), L"") << value;
}

TEST_F(DialectTest, LimitDialectKeepsItsExactMapping) {
    CDataSource source(CBaseOLEDBClass::eLimitDialectDatabase);
    const wchar_t* expected[] = {L"TO_DATE('%s', 'MM/DD/YY')",
                                 L"TO_DATE('%s', 'MM/DD/YY')",
                                 L"TO_DATE('%s', 'MM/DD/YYYY')",
                                 L"TO_DATE('%s', 'YY:MM:DD')",
                                 L"TO_DATE('%s', 'YYYY:MM:DD')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_DATE('%s', 'DD-MM-YYYY')",
                                 L"TO_TIMESTAMP('%s', 'MM/DD/YYYY HH24:MI')",
                                 L"TO_TIMESTAMP('%s', 'MM/DD/YYYY HH24:MI')",
                                 L"TO_TIME('%s', 'HH24:MI')",
                                 L"TO_TIMESTAMP('%s', 'MM/DD/YYYY HH24:MI')"};
    for (int value = 0; value < 15; ++value)
        EXPECT_EQ(Text(source.GetConvertFunction(In(value))), expected[value]) << value;
    for (int value : {15, -1})
        EXPECT_EQ(Text(source.GetConvertFunction(In(value))), L"") << value;
}

TEST_F(DialectTest, DatabasesWithoutDialectHaveNoConversion) {
    for (int type : PlainTypes) {
        CDataSource source(Type(type));
        for (int value : {0, 2, 13, 14, 15, -1})
            EXPECT_EQ(Text(source.GetConvertFunction(In(value))),
                      L"CONVERT-Function not implemented")
                << type << " " << value;
    }
}

TEST_F(DialectTest, DatesAreWrittenIntoTheirTemplates) {
    const COleDateTime christmas(2025, 12, 24, 14, 5, 9);
    CDataSource sqlServer(CBaseOLEDBClass::eSQLServer);
    EXPECT_EQ(Text(sqlServer.GetConvertDateFunction(christmas)),
              L"CONVERT(datetime, '12/24/2025', 101)");
    EXPECT_EQ(Text(sqlServer.GetConvertDateTimeFunction(christmas)),
              L"CONVERT(datetime, '2025-12-24 14:05:09', 120)");

    CDataSource mySql(CBaseOLEDBClass::eMySQL);
    EXPECT_EQ(Text(mySql.GetConvertDateFunction(christmas)),
              L"STR_TO_DATE('12/24/2025', GET_FORMAT(DATE, 'USA')");
    EXPECT_EQ(Text(mySql.GetConvertDateTimeFunction(christmas)),
              L"STR_TO_DATE('2025-12-24 14:05:09', GET_FORMAT(DATETIME, 'USA')");

    // The LIMIT dialect's timestamp template does not match the text it is
    // given; the text goes in unchanged all the same.
    CDataSource limit(CBaseOLEDBClass::eLimitDialectDatabase);
    EXPECT_EQ(Text(limit.GetConvertDateTimeFunction(christmas)),
              L"TO_TIMESTAMP('2025-12-24 14:05:09', 'MM/DD/YYYY HH24:MI')");

    CDataSource generic(CBaseOLEDBClass::eGenericDatabase);
    EXPECT_EQ(Text(generic.GetConvertDateFunction(christmas)), L"CONVERT-Function not implemented");

    // Each dialect finds only its own conversions, by a case-sensitive
    // search; the LIMIT dialect not even its own.
    EXPECT_TRUE(sqlServer.ContainsDateConvertFunction(L"WHERE d > RECONVERTED"));
    EXPECT_FALSE(sqlServer.ContainsDateConvertFunction(L"convert(datetime, x) STR_TO_DATE"));
    EXPECT_TRUE(mySql.ContainsDateConvertFunction(mySql.GetConvertDateFunction(christmas)));
    EXPECT_FALSE(mySql.ContainsDateConvertFunction(L"CONVERT(datetime, x)"));
    EXPECT_FALSE(limit.ContainsDateConvertFunction(limit.GetConvertDateFunction(christmas)));
    EXPECT_FALSE(generic.ContainsDateConvertFunction(L"CONVERT STR_TO_DATE"));

    COleDateTime invalid(2025, 12, 24, 0, 0, 0);
    invalid.SetStatus(COleDateTime::invalid);
    EXPECT_EQ(Text(sqlServer.GetConvertDateFunction(invalid)),
              L"CONVERT(datetime, 'Invalid DateTime', 101)");
    COleDateTime null;
    null.SetStatus(COleDateTime::null);
    EXPECT_EQ(Text(sqlServer.GetConvertDateTimeFunction(null)), L"CONVERT(datetime, '', 120)");
}

TEST_F(DialectTest, TraitsRowLimitsAndTheSeverityQueryFollowTheDatabaseType) {
    for (int value = -128; value <= 127; ++value) {
        CDataSource source(Type(value));
        const bool sqlServer = value == 0 || (value >= 3 && value <= 6);
        EXPECT_EQ(CBaseOLEDBClass::IsSqlServer(Type(value)), sqlServer) << value;
        EXPECT_EQ(CBaseOLEDBClass::IsFastLoadSupported(Type(value)), sqlServer) << value;
        EXPECT_EQ(CBaseOLEDBClass::IsSelectTopNSupported(Type(value)), sqlServer) << value;
        EXPECT_EQ(source.hasTopStatement(), sqlServer) << value;
        EXPECT_EQ(source.hasLimitStatement(), value == 7) << value;
        EXPECT_EQ(source.hasSelectExistsStatement(), value == 7) << value;

        const CBasicStringView<wchar_t> query =
            source.GetSQLToQueryForServerErrorSeverityMessages();
        if (sqlServer) {
            EXPECT_EQ(std::wstring(query.data(), query.size()),
                      L"SELECT error, severity FROM master.dbo.sysmessages WHERE msglangid = 1033");
            EXPECT_EQ(query.size(), 73u);
        } else {
            EXPECT_EQ(query.data(), nullptr) << value;
            EXPECT_EQ(query.size(), 0u) << value;
        }
    }
}

TEST(ConnectHelpersTest, PasswordsBecomeOneAsteriskPerCharacter) {
    EXPECT_TRUE(CDataSource::ShowAsterisks(0).empty());
    EXPECT_EQ(std::wstring(CDataSource::ShowAsterisks(12)), L"************");
}

TEST(ConnectHelpersTest, OnlyTheKnownServerProvidersAreToldNotToPrompt) {
    for (const CLSID* id :
         {&CLSID_HDB_MSDASQL, &CLSID_HDB_SQLOLEDB, &CLSID_HDB_SQLNCLI, &CLSID_HDB_SQLNCLI10,
          &CLSID_HDB_SQLNCLI11, &CLSID_HDB_MSOLEDBSQL, &CLSID_HDB_ORAOLEDB})
        EXPECT_TRUE(CDataSource::NeedsCLSIDPrompt(*id));
    EXPECT_FALSE(CDataSource::NeedsCLSIDPrompt(CLSID_HDB_EMBEDDED));
    EXPECT_FALSE(CDataSource::NeedsCLSIDPrompt(GUID_NULL));
    EXPECT_FALSE(CDataSource::NeedsCLSIDPrompt(CLSID_MSDAINITIALIZE));

    for (const CLSID* id : {&CLSID_HDB_SQLOLEDB, &CLSID_HDB_MSDASQL, &CLSID_HDB_EMBEDDED})
        EXPECT_EQ(CDataSource::GetDatabaseSpecificCatalogProperty(*id), 0xE9);
}

} // namespace
