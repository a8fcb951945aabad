// Connecting: settings, the initialisation properties each provider gets,
// reports with the password masked, the connection state between threads and
// Release's waits against the scripted provider registered under each
// provider's class id; the session pool, data source properties and real
// connects against the embedded SQLite provider on files in a temporary
// folder.
#include "TestSupport.h"
#include "EmbeddedDatabase.h"

#include "scripted/ScriptedProvider.h"

#include "haldendb/DataSource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace hdbtest;

namespace {

using hdbscripted::ObjectKind;
using hdbscripted::ReceivedProperty;
using hdbscripted::ReceivedSet;

std::vector<DBPROPID> Ids(const ReceivedSet& set) {
    std::vector<DBPROPID> ids;
    for (const auto& property : set.properties)
        ids.push_back(property.id);
    return ids;
}

bool IsTrue(const ReceivedProperty* property) {
    return property != nullptr && property->type == VT_BOOL && property->number == 1;
}

// A scripted provider under the class id of every provider the library
// names, so that each is reached exactly as the real one would be.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() {
        for (const CLSID* id :
             {&CLSID_HDB_SQLNCLI11, &CLSID_HDB_SQLNCLI10, &CLSID_HDB_SQLNCLI, &CLSID_HDB_MSOLEDBSQL,
              &CLSID_HDB_MSDASQL, &CLSID_HDB_SQLOLEDB, &CLSID_HDB_EMBEDDED})
            providers.push_back(std::make_unique<hdbscripted::ScriptedProvider>(*id));
    }
    void SetUp() override {
        for (const auto& provider : providers)
            ASSERT_TRUE(provider->Registered());
    }
    void TearDown() override {
        // Everything the library took it gave back, exactly once.
        for (const auto& provider : providers) {
            EXPECT_EQ(provider->Alive(ObjectKind::dataSource), 0);
            EXPECT_EQ(provider->Alive(ObjectKind::session), 0);
        }
    }

    hdbscripted::ScriptedProvider& Provider(const CLSID& id) {
        for (const auto& provider : providers)
            if (provider->ClassId() == id)
                return *provider;
        throw std::logic_error("no scripted provider for this class id");
    }

    void Collect(CDataSource& source) {
        source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        source.SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
    }

    SettingsIsolation settings;
    std::vector<std::unique_ptr<hdbscripted::ScriptedProvider>> providers;
    ReportCollector errors;
    ReportCollector successes;
};

// ------------------------------------------------------------------ settings

TEST(DataSourceSettingsTest, TypeAndTimeOutComeFromTheSettings) {
    {
        SettingsIsolation nothing;
        CDataSource source;
        EXPECT_EQ(source.GetSQLDatabaseType(), CBaseOLEDBClass::eGenericDatabase);
        EXPECT_EQ(source.GetConnectionTimeout(), -1);
        EXPECT_EQ(source.GetConnectionState(), CDataSource::eNotConnected);
        EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_SQLOLEDB);
        EXPECT_TRUE(source.GetUIEnabled());
        EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);
    }
    {
        // Only the low byte of the type counts.
        SettingsIsolation configured("DatabaseType = 263\nDatabaseConnectionTimeout = 30\n");
        CDataSource source;
        EXPECT_EQ(source.GetSQLDatabaseType(), CBaseOLEDBClass::eLimitDialectDatabase);
        EXPECT_EQ(source.GetConnectionTimeout(), 30);
        // The type given to the constructor wins over the settings.
        CDataSource mySql(CBaseOLEDBClass::eMySQL);
        EXPECT_EQ(mySql.GetSQLDatabaseType(), CBaseOLEDBClass::eMySQL);
        EXPECT_EQ(mySql.GetConnectionTimeout(), 30);
    }
}

// ------------------------------------------------------------------ properties

TEST_F(ConnectionTest, EachProviderAndDatabaseTypeGetsItsInitialisationSets) {
    SettingsIsolation timeout("DatabaseConnectionTimeout = 12\n");
    const DBPROPID prompt = DBPROP_INIT_PROMPT, source = DBPROP_INIT_DATASOURCE,
                   user = DBPROP_AUTH_USERID, password = DBPROP_AUTH_PASSWORD,
                   catalog = DBPROP_INIT_CATALOG, integrated = DBPROP_AUTH_INTEGRATED,
                   time = DBPROP_INIT_TIMEOUT;
    struct Case {
        const CLSID* provider;
        int type;
        const wchar_t* user;
        std::vector<DBPROPID> login;
        SHORT prompt;
        std::vector<DBPROPID> serverSet; // empty: no second set
    };
    const Case cases[] = {
        {&CLSID_HDB_SQLNCLI11, 5, L"u", {prompt, source, user, catalog, password, time}, 4, {16}},
        {&CLSID_HDB_SQLNCLI10, 4, L"u", {prompt, source, user, catalog, password, time}, 4, {16}},
        {&CLSID_HDB_MSOLEDBSQL,
         6,
         L"",
         {prompt, source, integrated, catalog, time},
         4,
         {16, 21, 13}},
        // The server set goes only to the version the database type names.
        {&CLSID_HDB_SQLNCLI10, 5, L"u", {prompt, source, user, catalog, password, time}, 4, {}},
        {&CLSID_HDB_MSOLEDBSQL, 5, L"u", {prompt, source, user, catalog, password, time}, 4, {}},
        {&CLSID_HDB_SQLNCLI, 3, L"u", {prompt, source, user, catalog, password, time}, 4, {}},
        // ODBC takes its database from the data source name: never a catalog.
        {&CLSID_HDB_MSDASQL, 2, L"", {prompt, source, user, password, time}, 4, {}},
        {&CLSID_HDB_EMBEDDED, 1, L"", {prompt, source, integrated, catalog, time}, 2, {}},
    };
    // The SetProperties calls a connect makes, each with one set.
    const auto connect = [](hdbscripted::ScriptedProvider& provider, CDataSource& source,
                            const wchar_t* user) {
        const size_t before = provider.PropertyCalls().size();
        EXPECT_TRUE(source.Connect(provider.ClassId(), L"server", user, L"pw", L"db"));
        std::vector<ReceivedSet> sets;
        const auto calls = provider.PropertyCalls();
        for (size_t call = before; call < calls.size(); ++call) {
            EXPECT_EQ(calls[call].size(), 1u);
            sets.insert(sets.end(), calls[call].begin(), calls[call].end());
        }
        return sets;
    };
    for (const Case& test : cases) {
        CDataSource ds(CBaseOLEDBClass::SQLDatabaseTypeFromInt(test.type));
        const auto sets = connect(Provider(*test.provider), ds, test.user);
        ASSERT_EQ(sets.size(), test.serverSet.empty() ? 1u : 2u) << test.type;
        const ReceivedSet& login = sets[0];
        EXPECT_EQ(login.set, DBPROPSET_DBINIT);
        EXPECT_EQ(Ids(login), test.login) << test.type;
        EXPECT_EQ(login.Find(prompt)->number, test.prompt) << test.type;
        EXPECT_EQ(login.Find(time)->number, 12);
        if (const ReceivedProperty* sspi = login.Find(integrated)) {
            EXPECT_EQ(sspi->text, L"SSPI");
        }
        if (!test.serverSet.empty()) {
            EXPECT_EQ(sets[1].set, DBPROPSET_SQLSERVERDBINIT);
            EXPECT_EQ(Ids(sets[1]), test.serverSet) << test.type;
            EXPECT_TRUE(IsTrue(sets[1].Find(16)));
        }
        for (const auto& property : login.properties) {
            EXPECT_EQ(property.options, DBPROPOPTIONS_REQUIRED);
            EXPECT_TRUE(property.nullColumn);
        }
    }
    // The driver is asked for optional encryption with a trusted certificate.
    CDataSource driver(CBaseOLEDBClass::eSQLServerOLEDBDriver);
    const auto sets = connect(Provider(CLSID_HDB_MSOLEDBSQL), driver, L"u");
    ASSERT_EQ(sets.size(), 2u);
    EXPECT_TRUE(IsTrue(sets[1].Find(21)));
    EXPECT_EQ(sets[1].Find(13)->text, L"Optional");
    EXPECT_EQ(sets[0].Find(DBPROP_INIT_DATASOURCE)->text, L"server");
    EXPECT_EQ(sets[0].Find(DBPROP_AUTH_USERID)->text, L"u");
    EXPECT_EQ(sets[0].Find(DBPROP_INIT_CATALOG)->text, L"db");
    EXPECT_EQ(sets[0].Find(DBPROP_AUTH_PASSWORD)->text, L"pw");
}

TEST_F(ConnectionTest, ATimeOutOfZeroIsNotSentAndTheSettingsChooseTheProvider) {
    SettingsIsolation zero("DatabaseConnectionTimeout = 0\nDatabaseConnectionType = 2\n"
                           "DatabaseType = 4\n");
    CDataSource source;
    // The short form takes the provider from the settings; the native
    // client's version follows the database type.
    ASSERT_TRUE(source.Connect(L"server", L"u", L"p", L"db"));
    EXPECT_EQ(source.GetOLEDBProvider(), CBaseOLEDBClass::eProviderNativeClient);
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_SQLNCLI10);
    const auto& provider = Provider(CLSID_HDB_SQLNCLI10);
    EXPECT_EQ(provider.LastSet(DBPROPSET_DBINIT, DBPROP_INIT_DATASOURCE)->text, L"server");
    EXPECT_FALSE(provider.LastSet(DBPROPSET_DBINIT, DBPROP_INIT_TIMEOUT));
}

// ------------------------------------------------------------------ connect

TEST_F(ConnectionTest, ConnectCallsTheLoginCallbackAndReleaseGivesEverythingBack) {
    struct Login {
        CDataSource* source = nullptr;
        int calls = 0;
        bool connectedThen = false;
    } login;
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    source.SetCallBackAfterSuccessfullLoginToDB([](CDataSource* ds, void* object) {
        auto* seen = static_cast<Login*>(object);
        seen->source = ds;
        ++seen->calls;
        seen->connectedThen = ds->IsConnected();
    });
    source.SetCallBackObjectAfterSuccessfullLoginToDB(&login);

    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"user", L"pw", L"db"));
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eConnected);
    EXPECT_TRUE(source.IsConnected());
    EXPECT_EQ(login.source, &source);
    EXPECT_EQ(login.calls, 1);
    EXPECT_TRUE(login.connectedThen);
    EXPECT_NE(static_cast<IMalloc*>(source), nullptr);
    EXPECT_TRUE(errors.reports.empty());

    // Connecting again starts over: the old object is let go first.
    ASSERT_TRUE(source.Connect());
    EXPECT_EQ(Provider(CLSID_HDB_SQLOLEDB).Connects(), 2);
    EXPECT_EQ(Provider(CLSID_HDB_SQLOLEDB).Alive(ObjectKind::dataSource), 1);
    EXPECT_EQ(login.calls, 2);

    EXPECT_TRUE(source.Release());
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eReleased);
    EXPECT_FALSE(source.IsConnected());
    EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);
    EXPECT_EQ(Provider(CLSID_HDB_SQLOLEDB).Alive(ObjectKind::dataSource), 0);
}

TEST_F(ConnectionTest, AnEmptyDataSourceIsRefusedWithoutAnyChange) {
    CDataSource source;
    source.SetDataSource(L"kept");
    EXPECT_FALSE(source.Connect(CLSID_HDB_SQLNCLI11, L"", L"user", L"pw", L"db"));
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eNotConnected);
    EXPECT_EQ(std::wstring(source.GetDataSource()), L"kept");
    EXPECT_TRUE(source.GetUser().empty());
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_SQLOLEDB);
    EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);
    EXPECT_TRUE(Provider(CLSID_HDB_SQLNCLI11).PropertyCalls().empty());
    EXPECT_EQ(Provider(CLSID_HDB_SQLNCLI11).Connects(), 0);
}

TEST_F(ConnectionTest, FailedLoginsAreReportedWithThePasswordMasked) {
    Provider(CLSID_HDB_SQLOLEDB)
        .FailConnect(hdbscripted::Fault{L"Login failed for user 'sa'.", L"28000", 18456,
                                        hdbscripted::FaultKind::cannotConnect});
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    int logins = 0;
    source.SetCallBackAfterSuccessfullLoginToDB(
        [](CDataSource*, void* n) { ++*static_cast<int*>(n); });
    source.SetCallBackObjectAfterSuccessfullLoginToDB(&logins);

    EXPECT_FALSE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"sa", L"s3cr3t!!", L"db"));
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eNotConnected);
    EXPECT_FALSE(source.IsConnected());
    EXPECT_EQ(logins, 0);
    ASSERT_EQ(errors.reports.size(), 1u);
    const Report& report = errors.reports[0];
    EXPECT_EQ(report.caption, L"OLE DB Error: Can't connect to database");
    // The provider's own code: a failed connect answers E_FAIL.
    EXPECT_EQ(report.hr, E_FAIL);
    EXPECT_EQ(report.function, L"bool __cdecl CDataSource::Connect(void)");
    EXPECT_NE(report.message.find(L"Login failed for user 'sa'."), std::wstring::npos);
    EXPECT_NE(report.message.find(L"Connection: server User: sa Password: ******** Database: db"),
              std::wstring::npos)
        << report.message;
    EXPECT_EQ(report.message.find(L"s3cr3t"), std::wstring::npos);

    // Through ODBC the report names no database and leaves the provider's
    // records out.
    errors.reports.clear();
    Provider(CLSID_HDB_MSDASQL)
        .FailConnect(hdbscripted::Fault{L"Driver manager noise", L"IM002", 0,
                                        hdbscripted::FaultKind::cannotConnect});
    EXPECT_FALSE(source.ConnectODBC(L"dsn", L"user", L"abc", L"db"));
    ASSERT_EQ(errors.reports.size(), 1u);
    const std::wstring& message = errors.reports[0].message;
    EXPECT_NE(message.find(L"Connection: dsn User: user Password: ***"), std::wstring::npos);
    EXPECT_EQ(message.find(L"Database:"), std::wstring::npos);
    EXPECT_EQ(message.find(L"Driver manager noise"), std::wstring::npos);
    EXPECT_EQ(message.find(L"abc"), std::wstring::npos);
}

TEST_F(ConnectionTest, RefusedPropertiesStopTheConnectBeforeInitialising) {
    // The login set is accepted, the server's own set refused.
    auto& provider = Provider(CLSID_HDB_SQLNCLI11);
    provider.RefuseProperties(DBPROPSET_SQLSERVERDBINIT);
    CDataSource source(CBaseOLEDBClass::eSQLServerNativeClient11);
    Collect(source);
    EXPECT_FALSE(source.Connect(CLSID_HDB_SQLNCLI11, L"server", L"u", L"pass", L"db"));
    EXPECT_EQ(provider.PropertyCalls().size(), 2u);
    EXPECT_EQ(provider.Connects(), 0);
    // The state is left as the connect found it midway; a later Release
    // (here: the destructor) must not wait for it.
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eConnecting);
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].function,
              L"bool __cdecl CDataSource::SetInitProps(const struct _GUID &)");
    EXPECT_NE(
        errors.reports[0].message.find(L"Connection: server User: u Password: **** Database: db"),
        std::wstring::npos);
}

TEST(DataSourcePlatformTest, AnUnregisteredProviderFailsWithCantCreateInstance) {
    // No scripted service: the platform's own answer for a provider that this
    // platform does not have.
    SettingsIsolation settings;
    TempFolder folder;
    ReportCollector errors;
    CDataSource source;
    source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
    EXPECT_FALSE(
        source.Connect(CBaseOLEDBClass::eProviderOracle, L"orcl", L"scott", L"tiger", L""));
    EXPECT_FALSE(source.IsConnected());
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't create instance");
    EXPECT_EQ(errors.reports[0].hr, REGDB_E_CLASSNOTREG);
    EXPECT_EQ(errors.reports[0].function,
              L"bool __cdecl CDataSource::Initialize(const struct _GUID &)");
    EXPECT_NE(errors.reports[0].message.find(L"{3F63C36E-51A3-11D2-BB7D-00C04FA30080}"),
              std::wstring::npos);
    EXPECT_EQ(errors.reports[0].message.find(L"tiger"), std::wstring::npos);
    EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);

    // The failure leaves nothing that blocks the next attempt.
    EXPECT_TRUE(source.Connect(CLSID_HDB_EMBEDDED, folder.File("next.db"), L"", L"", L""));
    EXPECT_TRUE(source.IsConnected());
}

TEST(DataSourcePlatformTest, SqlServerTypesReachTheDriverWhoseRefusalIsReported) {
    // No SQL Server runs here: a port where nothing listens gets as far as the
    // driver, whose message and SQL state reach the callback.
    SettingsIsolation settings;
    for (auto type :
         {CBaseOLEDBClass::eSQLServerNativeClient11, CBaseOLEDBClass::eSQLServerOLEDBDriver}) {
        ReportCollector errors;
        CDataSource source(type);
        source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        const auto provider = type == CBaseOLEDBClass::eSQLServerOLEDBDriver
                                  ? CBaseOLEDBClass::eProviderOLEDBDriver
                                  : CBaseOLEDBClass::eProviderNativeClient;
        EXPECT_FALSE(source.Connect(provider, L"127.0.0.1,1", L"sa", L"Pw-Secret-9", L"master"));
        ASSERT_EQ(errors.reports.size(), 1u) << type;
        const std::wstring& message = errors.reports[0].message;
        EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't connect to database");
        EXPECT_NE(message.find(L"[FreeTDS]"), std::wstring::npos) << type;
        EXPECT_NE(message.find(L"SQL State: 08001"), std::wstring::npos) << type;
        EXPECT_EQ(message.find(L"Pw-Secret-9"), std::wstring::npos);
        EXPECT_NE(message.find(L"Password: ***********"), std::wstring::npos);
    }
}

// ------------------------------------------------------------------ threads

// The cases that share the data source between threads, under a name of
// their own so that the thread sanitizer run finds them.
using ConnectionThreadTest = ConnectionTest;

TEST_F(ConnectionThreadTest, ReleaseWaitsForRunningExecutions) {
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    source.AddRunningExecution();
    source.AddRunningExecution();
    EXPECT_EQ(source.GetRunningExecutions(), 2);

    std::atomic<bool> executionsEnded{false};
    std::thread executions([&] {
        source.RemoveRunningExecution();
        std::this_thread::sleep_for(std::chrono::milliseconds(350));
        executionsEnded = true;
        source.RemoveRunningExecution();
    });
    EXPECT_TRUE(source.Release());
    EXPECT_TRUE(executionsEnded.load());
    executions.join();
    EXPECT_EQ(source.GetRunningExecutions(), 0);
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eReleased);
}

// ------------------------------------------------------------------ provider answers

TEST_F(ConnectionTest, PoolingAndStructuredStorageFollowWhatTheProviderAnswers) {
    auto& provider = Provider(CLSID_HDB_SQLOLEDB);
    OpenDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));

    // Only services without resource pooling turn it off; no services (0)
    // and an absent value leave the provider's default, which pools.
    const struct {
        std::optional<LONG> services;
        bool pooled;
    } services[] = {
        {0, true},
        {std::nullopt, true},
        {DBPROPVAL_OS_RESOURCEPOOLING, true},
        {DBPROPVAL_OS_ENABLEALL, true},
        {DBPROPVAL_OS_ENABLEALL & ~DBPROPVAL_OS_RESOURCEPOOLING, false},
        {DBPROPVAL_OS_TXNENLISTMENT | DBPROPVAL_OS_CLIENTCURSOR, false},
    };
    for (const auto& test : services) {
        provider.AnswerProperty(DBPROPSET_DBINIT, DBPROP_INIT_OLEDBSERVICES, test.services);
        EXPECT_EQ(source.isPooledConnection(), test.pooled) << test.services.value_or(-2);
    }

    const LONG storages[] = {0, DBPROPVAL_SS_ISEQUENTIALSTREAM | DBPROPVAL_SS_ILOCKBYTES,
                             DBPROPVAL_SS_ISTORAGE};
    for (const LONG storage : storages) {
        provider.AnswerProperty(DBPROPSET_DATASOURCEINFO, DBPROP_STRUCTUREDSTORAGE, storage);
        EXPECT_EQ(source.GetStructuredStorageProperty(), static_cast<DWORD>(storage));
    }
    // A value of another type carries no flags, whatever its bits.
    provider.AnswerProperty(DBPROPSET_DATASOURCEINFO, DBPROP_STRUCTUREDSTORAGE, VARIANT_TRUE,
                            VT_BOOL);
    EXPECT_EQ(source.GetStructuredStorageProperty(), 0u);
    EXPECT_TRUE(errors.reports.empty());
}

// ------------------------------------------------------------------ embedded

class EmbeddedDataSourceTest : public testing::Test {
protected:
    void Collect(CDataSource& source) {
        source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
    }
    SettingsIsolation settings;
    TempFolder folder;
    ReportCollector errors;
};

TEST_F(EmbeddedDataSourceTest, WithNothingConfiguredTheShortConnectOpensAndReopensAFile) {
    const std::wstring path = folder.File("app.db");
    CDataSource source;
    Collect(source);
    ASSERT_TRUE(source.Connect(path, L"", L"", L""));
    EXPECT_EQ(source.GetSQLDatabaseType(), CBaseOLEDBClass::eGenericDatabase);
    EXPECT_EQ(source.GetOLEDBProvider(), CBaseOLEDBClass::eProvider5);
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_EMBEDDED);
    EXPECT_TRUE(source.IsConnected());
    EXPECT_EQ(QueryNumber(source, L"SELECT 7 * 6"), 42);
    ASSERT_EQ(Execute(source, L"CREATE TABLE t (v INTEGER)"), S_OK);
    ASSERT_EQ(Execute(source, L"INSERT INTO t VALUES (1), (2), (3)"), S_OK);

    EXPECT_TRUE(source.Release());
    EXPECT_FALSE(source.IsConnected());
    EXPECT_TRUE(std::filesystem::exists(path));

    // The stored login serves the next connect; the rows are in the file.
    ASSERT_TRUE(source.Connect());
    EXPECT_TRUE(source.IsConnected());
    EXPECT_EQ(QueryNumber(source, L"SELECT COUNT(*) FROM t"), 3);
    EXPECT_TRUE(errors.reports.empty());
}

TEST_F(EmbeddedDataSourceTest, AFileThatCannotBeOpenedIsReportedWithThePasswordMasked) {
    const std::wstring path = folder.File("missing-folder") + L"/sub/x.db";
    CDataSource source;
    Collect(source);
    EXPECT_FALSE(source.Connect(CBaseOLEDBClass::eProvider5, path, L"app", L"hunter22", L"main"));
    EXPECT_FALSE(source.IsConnected());
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eNotConnected);
    ASSERT_EQ(errors.reports.size(), 1u);
    const Report& report = errors.reports[0];
    EXPECT_EQ(report.caption, L"OLE DB Error: Can't connect to database");
    EXPECT_TRUE(FAILED(report.hr));
    EXPECT_NE(report.message.find(L"Connection: " + path +
                                  L" User: app Password: ******** Database: main"),
              std::wstring::npos)
        << report.message;
    EXPECT_EQ(report.message.find(L"hunter22"), std::wstring::npos);
    // The provider's own description of the failure reaches the report.
    EXPECT_NE(report.message.find(L"Error Description : "), std::wstring::npos) << report.message;
}

TEST_F(EmbeddedDataSourceTest, ThePoolLendsFreeSessionsAndGrowsWhenAllAreInUse) {
    CDataSource source;
    Collect(source);
    // Before a connect there is no object to ask for sessions.
    EXPECT_FALSE(source.GetCurrentDatabaseSessionCommand());
    EXPECT_EQ(ReportsCaptioned(errors, 15507).size(), 1u);

    ASSERT_TRUE(source.Connect(CLSID_HDB_EMBEDDED, folder.File("pool.db"), L"", L"", L""));
    boost::shared_ptr<CommandLiveChecker> first = source.GetCurrentDatabaseSessionCommand();
    boost::shared_ptr<CommandLiveChecker> second = source.GetCurrentDatabaseSessionCommand();
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->IsInUse() && second->IsInUse());
    EXPECT_NE(first->GetCreateCommand(), second->GetCreateCommand());
    EXPECT_EQ(ExecuteOn(*first, L"CREATE TABLE p (v INTEGER)"), S_OK);
    DBROWCOUNT affected = 0;
    EXPECT_EQ(ExecuteOn(*second, L"INSERT INTO p VALUES (1), (2)", &affected), S_OK);
    EXPECT_EQ(affected, 2);

    second->SetInUse(false);
    EXPECT_EQ(source.GetCurrentDatabaseSessionCommand(), second);
    EXPECT_TRUE(second->IsInUse());

    // Release empties the pool; a borrower keeps a working session until it
    // lets go.
    EXPECT_TRUE(source.Release());
    EXPECT_EQ(ExecuteOn(*first, L"SELECT 1"), S_OK);
}

TEST_F(EmbeddedDataSourceTest, ServicesAndServerOnlyPropertiesAsTheEmbeddedProviderAnswers) {
    OpenDataSource source;
    Collect(source);
    // Before a connect there is no object to ask: the default (pooled) is
    // assumed and the call is reported; no storage flags are known and no
    // property can be set.
    EXPECT_FALSE(source.SetFastLoadProperty(true));
    EXPECT_TRUE(source.isPooledConnection());
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].hr, E_UNEXPECTED);
    EXPECT_EQ(errors.reports[0].function, L"bool __cdecl CDataSource::isPooledConnection(void)");
    EXPECT_EQ(source.GetStructuredStorageProperty(), 0u);

    errors.reports.clear();
    ASSERT_TRUE(source.Connect(CLSID_HDB_EMBEDDED, folder.File("services.db"), L"", L"", L""));
    EXPECT_TRUE(source.isPooledConnection());
    // Long values are read as sequential streams.
    EXPECT_EQ(source.GetStructuredStorageProperty(),
              static_cast<DWORD>(DBPROPVAL_SS_ISEQUENTIALSTREAM));
    // Bulk loading through the server's property set is not offered here;
    // the refusal is quiet.
    EXPECT_FALSE(source.SetFastLoadProperty(true));
    EXPECT_FALSE(source.IsFastLoadEnabled());
    EXPECT_TRUE(source.SetMultipleConnectionProperty(true));
    EXPECT_TRUE(errors.reports.empty());
}

} // namespace
