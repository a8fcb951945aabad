// Connecting and refused logins, transactions seen from a second connection,
// and the catalogs of each server; the connection string the options make.
#include <algorithm>

#include "OdbcConnectionString.h"
#include "OdbcTestSupport.h"

using namespace odbctest;

namespace {

using ConnectionTest = OdbcServerTest;

const std::wstring kWrongPassword = L"Wrong-Secret-42";

std::wstring WithoutPassword(std::wstring text) {
    const std::size_t at = text.find(L"PWD=");
    if (at != std::wstring::npos)
        text.erase(at, text.find(L';', at) - at + 1);
    return text;
}

bool Contains(const std::vector<std::wstring>& values, const std::wstring& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

} // namespace

TEST(OdbcConnectionString, AddsWhatTheTextLacksAndQuotesWhatAParserWouldSplit) {
    struct Case {
        OdbcConnectOptions options;
        std::wstring expected;
    };
    const Case cases[] = {
        {{L"hdb_dsn", L"u", L"p", L"db"}, L"DSN=hdb_dsn;UID=u;PWD=p;DATABASE=db"},
        {{L"DRIVER={X Y};uid=me;", L"u", L"p;{x}", L""}, L"DRIVER={X Y};uid=me;PWD={p;{x}}}"},
        {{L"Driver=X;Password = {a;b};DB=d", L"u", L"p", L"c"},
         L"Driver=X;Password = {a;b};DB=d;UID=u"},
        {{L"Driver=X", L"", L" padded ", L""}, L"Driver=X;PWD={ padded }"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(OdbcConnectionString::Build(c.options), c.expected);
    EXPECT_EQ(OdbcConnectionString::Password(L"DRIVER={a;b};PWD={x;}}y};UID=u"), L"x;}y");
    EXPECT_EQ(OdbcConnectionString::Find(L"A=1;b = two ;C", L"B"), L"two");
    EXPECT_FALSE(OdbcConnectionString::Find(L"A=1;C", L"C"));
}

TEST_P(ConnectionTest, NamesTheServerAndRefusesBadLoginsWithoutShowingThePassword) {
    EXPECT_NE(m_connection.Product().dbmsName.find(hdbtext::WideFromUtf8(GetParam().name)),
              std::wstring::npos);
    EXPECT_FALSE(m_connection.Product().driverName.empty());
    std::wstring catalog;
    OdbcDiagnostics diag;
    ASSERT_TRUE(m_connection.CurrentCatalog(catalog, diag)) << Describe(diag);
    EXPECT_EQ(catalog, L"hdbtest");

    struct Case {
        const char* what;
        OdbcConnectOptions options;
        std::vector<std::wstring> states;
    };
    OdbcConnectOptions wrongPassword = Options();
    wrongPassword.dataSource = WithoutPassword(wrongPassword.dataSource);
    wrongPassword.password = kWrongPassword;
    OdbcConnectOptions noSuchDsn;
    noSuchDsn.dataSource = L"hdb_no_such_dsn";
    noSuchDsn.password = kWrongPassword;
    const Case cases[] = {{"wrong password", wrongPassword, {L"28000", L"08001"}},
                          {"unknown DSN", noSuchDsn, {L"IM002"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        OdbcConnection connection;
        OdbcDiagnostics refused;
        EXPECT_FALSE(connection.Connect(c.options, refused));
        EXPECT_FALSE(connection.Connected());
        bool stateFound = false;
        for (const OdbcDiagnostic& d : refused) {
            stateFound = stateFound || Contains(c.states, d.sqlState);
            EXPECT_EQ(d.message.find(kWrongPassword), std::wstring::npos) << Describe(refused);
        }
        EXPECT_TRUE(stateFound) << Describe(refused);
        EXPECT_TRUE(Has(refused, OdbcFailure::authentication) ||
                    Has(refused, OdbcFailure::cannotConnect))
            << Describe(refused);
    }
}

TEST_P(ConnectionTest, ARolledBackRowIsGoneAndACommittedOneIsSeenByAnotherConnection) {
    const std::wstring table = Table(L"id INT");
    OdbcDiagnostics diag;
    ASSERT_TRUE(m_connection.SetIsolation(OdbcIsolation::readCommitted, diag)) << Describe(diag);
    ASSERT_TRUE(m_connection.SetAutocommit(false, diag)) << Describe(diag);
    Run(L"INSERT INTO " + table + L" VALUES (1)");
    EXPECT_TRUE(m_connection.Rollback(diag)) << Describe(diag);
    Run(L"INSERT INTO " + table + L" VALUES (2)");
    OdbcConnection other;
    ASSERT_NO_FATAL_FAILURE(Connect(other));
    EXPECT_EQ(Scalar(L"SELECT COUNT(*) FROM " + table, &other), L"0"); // not yet committed
    EXPECT_TRUE(m_connection.Commit(diag)) << Describe(diag);
    EXPECT_TRUE(m_connection.SetAutocommit(true, diag)) << Describe(diag);
    EXPECT_EQ(Column(L"SELECT id FROM " + table, &other), std::vector<std::wstring>{L"2"});
}

TEST_P(ConnectionTest, CatalogsNameEveryDatabaseOfTheServer) {
    const std::wstring extra = L"odbc_catalog_" + std::to_wstring(getpid());
    Run(L"DROP DATABASE IF EXISTS " + extra);
    Run(L"CREATE DATABASE " + extra);
    std::vector<std::wstring> names;
    OdbcDiagnostics diag;
    const bool listed = m_connection.ListCatalogs(names, diag);
    Run(L"DROP DATABASE " + extra);
    ASSERT_TRUE(listed) << Describe(diag);
    EXPECT_TRUE(Contains(names, L"hdbtest"));
    EXPECT_TRUE(Contains(names, extra));
}

INSTANTIATE_TEST_SUITE_P(Servers, ConnectionTest, testing::ValuesIn(kServers), ServerName);
