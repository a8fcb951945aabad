// Connecting: settings, the initialisation properties each provider gets,
// reports with the password masked, the connection state between threads,
// Release and its waits, the session pool and the data source properties.
// Most run against the scripted provider of ScriptedProvider.h; the last
// group against the embedded SQLite provider on files in a temporary folder.
#include "TestSupport.h"
#include "ScriptedProvider.h"
#include "EmbeddedDatabase.h"

#include "haldendb/DataSource.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

using namespace hdbtest;

namespace {

using DbType = CBaseOLEDBClass::enumSQLDatabaseType;

// The data source with its protected members opened up.
class OpenDataSource : public CDataSource {
public:
    using CDataSource::CDataSource;
    using CDataSource::isPooledConnection;
    using CDataSource::SetMultipleConnectionProperty;
};

class ConnectionTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(provider.registered);
        for (const CLSID* id :
             {&CLSID_HDB_SQLNCLI11, &CLSID_HDB_SQLNCLI10, &CLSID_HDB_SQLNCLI, &CLSID_HDB_MSOLEDBSQL,
              &CLSID_HDB_MSDASQL, &CLSID_HDB_SQLOLEDB, &CLSID_HDB_EMBEDDED})
            provider.Serve(*id, dso);
    }
    void TearDown() override {
        // Everything the library took it gave back, exactly once.
        EXPECT_EQ(dso.references, 0u);
        EXPECT_EQ(provider.initializer.references, 0u);
        for (const auto& session : dso.sessions)
            EXPECT_EQ(session.references, 0u);
    }

    void Collect(CDataSource& source) {
        source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        source.SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
    }

    SettingsIsolation settings;
    ScriptedProvider provider;
    ScriptedDataSource dso;
    ReportCollector errors;
    ReportCollector successes;
};

std::vector<DBPROPID> Ids(std::initializer_list<DBPROPID> ids) {
    return std::vector<DBPROPID>(ids);
}

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

TEST_F(ConnectionTest, NativeClient11GetsTheLoginAndItsOwnSet) {
    CDataSource source(CBaseOLEDBClass::eSQLServerNativeClient11);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLNCLI11, L"server", L"user", L"secret", L"db"));
    ASSERT_EQ(dso.setPropertiesCalls.size(), 2u);

    const ReceivedSet& login = dso.Set(0);
    EXPECT_EQ(login.set, DBPROPSET_DBINIT);
    EXPECT_EQ(login.Ids(), Ids({DBPROP_INIT_PROMPT, DBPROP_INIT_DATASOURCE, DBPROP_AUTH_USERID,
                                DBPROP_INIT_CATALOG, DBPROP_AUTH_PASSWORD}));
    EXPECT_EQ(login.Find(DBPROP_INIT_PROMPT)->type, VT_I2);
    EXPECT_EQ(login.Find(DBPROP_INIT_PROMPT)->number, DBPROMPT_NOPROMPT);
    EXPECT_EQ(login.Find(DBPROP_INIT_DATASOURCE)->text, L"server");
    EXPECT_EQ(login.Find(DBPROP_AUTH_USERID)->text, L"user");
    EXPECT_EQ(login.Find(DBPROP_INIT_CATALOG)->text, L"db");
    EXPECT_EQ(login.Find(DBPROP_AUTH_PASSWORD)->text, L"secret");
    for (const auto& property : login.properties) {
        EXPECT_EQ(property.options, DBPROPOPTIONS_REQUIRED);
        EXPECT_TRUE(property.nullColumn);
    }

    const ReceivedSet& own = dso.Set(1);
    EXPECT_EQ(own.set, DBPROPSET_SQLSERVERDBINIT);
    EXPECT_EQ(own.Ids(), Ids({16}));
    EXPECT_EQ(own.properties[0].type, VT_BOOL);
    EXPECT_TRUE(own.properties[0].flag);
    source.Release();
}

TEST_F(ConnectionTest, TheOleDbDriverIsAskedForOptionalEncryptionWithATrustedCertificate) {
    CDataSource source(CBaseOLEDBClass::eSQLServerOLEDBDriver);
    ASSERT_TRUE(source.Connect(CLSID_HDB_MSOLEDBSQL, L"server", L"", L"", L"db"));
    ASSERT_EQ(dso.setPropertiesCalls.size(), 2u);
    // No user: integrated security and the catalog, no user or password.
    EXPECT_EQ(dso.Set(0).Ids(), Ids({DBPROP_INIT_PROMPT, DBPROP_INIT_DATASOURCE,
                                     DBPROP_AUTH_INTEGRATED, DBPROP_INIT_CATALOG}));
    EXPECT_EQ(dso.Set(0).Find(DBPROP_AUTH_INTEGRATED)->text, L"SSPI");

    const ReceivedSet& own = dso.Set(1);
    EXPECT_EQ(own.Ids(), Ids({16, 21, 13}));
    EXPECT_TRUE(own.Find(21)->flag);
    EXPECT_EQ(own.Find(13)->type, VT_BSTR);
    EXPECT_EQ(own.Find(13)->text, L"Optional");
}

TEST_F(ConnectionTest, TheServerSetGoesOnlyToTheVersionItsDatabaseTypeNames) {
    struct Pair {
        const CLSID* provider;
        int type;
        bool ownSet;
    };
    const Pair pairs[] = {
        {&CLSID_HDB_SQLNCLI10, 4, true},  {&CLSID_HDB_SQLNCLI10, 5, false},
        {&CLSID_HDB_SQLNCLI11, 4, false}, {&CLSID_HDB_MSOLEDBSQL, 5, false},
        {&CLSID_HDB_SQLNCLI, 3, false},   {&CLSID_HDB_SQLOLEDB, 0, false},
        {&CLSID_HDB_EMBEDDED, 5, false},
    };
    for (const Pair& pair : pairs) {
        dso.setPropertiesCalls.clear();
        CDataSource source(CBaseOLEDBClass::SQLDatabaseTypeFromInt(pair.type));
        ASSERT_TRUE(source.Connect(*pair.provider, L"server", L"user", L"pw", L"db"));
        ASSERT_EQ(dso.setPropertiesCalls.size(), pair.ownSet ? 2u : 1u) << pair.type;
        if (pair.ownSet) {
            EXPECT_EQ(dso.Set(1).Ids(), Ids({16}));
        }
    }
}

TEST_F(ConnectionTest, OdbcGetsUserAndPasswordButNeverACatalog) {
    CDataSource source(CBaseOLEDBClass::eMySQL);
    ASSERT_TRUE(source.ConnectODBC(L"dsn", L"", L"", L"db"));
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_MSDASQL);
    EXPECT_EQ(dso.Set(0).Ids(), Ids({DBPROP_INIT_PROMPT, DBPROP_INIT_DATASOURCE, DBPROP_AUTH_USERID,
                                     DBPROP_AUTH_PASSWORD}));
    EXPECT_EQ(dso.Set(0).Find(DBPROP_INIT_PROMPT)->number, DBPROMPT_NOPROMPT);
    EXPECT_EQ(dso.Set(0).Find(DBPROP_AUTH_USERID)->text, L"");
}

TEST_F(ConnectionTest, TheEmbeddedProviderMayCompleteTheLoginAndGetsTheTimeOut) {
    SettingsIsolation timeout("DatabaseConnectionTimeout = 12\n");
    CDataSource source;
    ASSERT_TRUE(source.Connect(CBaseOLEDBClass::eProvider5, L"app.db", L"", L"", L""));
    EXPECT_EQ(source.GetOLEDBProvider(), CBaseOLEDBClass::eProvider5);
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_EMBEDDED);
    const ReceivedSet& login = dso.Set(0);
    EXPECT_EQ(login.Ids(), Ids({DBPROP_INIT_PROMPT, DBPROP_INIT_DATASOURCE, DBPROP_AUTH_INTEGRATED,
                                DBPROP_INIT_CATALOG, DBPROP_INIT_TIMEOUT}));
    EXPECT_EQ(login.Find(DBPROP_INIT_PROMPT)->number, DBPROMPT_COMPLETE);
    EXPECT_EQ(login.Find(DBPROP_INIT_TIMEOUT)->type, VT_I4);
    EXPECT_EQ(login.Find(DBPROP_INIT_TIMEOUT)->number, 12);
}

TEST_F(ConnectionTest, ATimeOutOfZeroIsNotSent) {
    SettingsIsolation zero("DatabaseConnectionTimeout = 0\n");
    CDataSource source;
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    EXPECT_EQ(dso.Set(0).Find(DBPROP_INIT_TIMEOUT), nullptr);
}

TEST_F(ConnectionTest, TheSettingsChooseTheProviderOfTheShortConnect) {
    {
        SettingsIsolation odbc("DatabaseConnectionType = 0\n");
        CDataSource source;
        ASSERT_TRUE(source.Connect(L"dsn", L"u", L"p", L"db"));
        EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_MSDASQL);
    }
    {
        // The native client's version follows the database type.
        SettingsIsolation nativeClient("DatabaseConnectionType = 2\nDatabaseType = 4\n");
        CDataSource source;
        ASSERT_TRUE(source.Connect(L"server", L"u", L"p", L"db"));
        EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_SQLNCLI10);
    }
    EXPECT_EQ(provider.initializer.requested.back(), CLSID_HDB_SQLNCLI10);
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
    EXPECT_EQ(dso.initializeCalls, 2);
    EXPECT_EQ(login.calls, 2);

    EXPECT_TRUE(source.Release());
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eReleased);
    EXPECT_FALSE(source.IsConnected());
    EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);
    EXPECT_EQ(static_cast<IMalloc*>(source), nullptr);
    EXPECT_EQ(dso.references, 0u);
}

TEST_F(ConnectionTest, AnEmptyDataSourceIsRefusedWithoutAnyChange) {
    CDataSource source;
    source.SetDataSource(L"kept");
    EXPECT_FALSE(source.Connect(CLSID_HDB_SQLNCLI11, L"", L"user", L"pw", L"db"));
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eNotConnected);
    EXPECT_EQ(std::wstring(source.GetDataSource()), L"kept");
    EXPECT_TRUE(source.GetUser().empty());
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_SQLOLEDB);
    EXPECT_TRUE(provider.initializer.requested.empty());
}

TEST_F(ConnectionTest, AFailedLoginIsReportedWithThePasswordMasked) {
    dso.initializeResult = DB_SEC_E_AUTH_FAILED;
    dso.initializeRecords = {Record(L"Login failed for user 'sa'.", L"Scripted", L"28000", 18456)};
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
    EXPECT_EQ(report.hr, DB_SEC_E_AUTH_FAILED);
    EXPECT_EQ(report.function, L"bool __cdecl CDataSource::Connect(void)");
    EXPECT_NE(report.message.find(L"Login failed for user 'sa'."), std::wstring::npos);
    EXPECT_NE(report.message.find(L"Connection: server User: sa Password: ******** Database: db"),
              std::wstring::npos)
        << report.message;
    EXPECT_EQ(report.message.find(L"s3cr3t"), std::wstring::npos);
}

TEST_F(ConnectionTest, OdbcLoginFailuresNameNoDatabaseAndNoProviderRecords) {
    dso.initializeResult = E_FAIL;
    dso.initializeRecords = {Record(L"Driver manager noise", L"Scripted", L"IM002")};
    CDataSource source;
    Collect(source);
    EXPECT_FALSE(source.ConnectODBC(L"dsn", L"user", L"abc", L"db"));
    ASSERT_EQ(errors.reports.size(), 1u);
    const std::wstring& message = errors.reports[0].message;
    EXPECT_NE(message.find(L"Connection: dsn User: user Password: ***"), std::wstring::npos);
    EXPECT_EQ(message.find(L"Database:"), std::wstring::npos);
    EXPECT_EQ(message.find(L"Driver manager noise"), std::wstring::npos);
    EXPECT_EQ(message.find(L"abc"), std::wstring::npos);
}

TEST_F(ConnectionTest, RefusedPropertiesStopTheConnectBeforeInitialising) {
    dso.setPropertiesResults = {DB_E_ERRORSOCCURRED};
    {
        CDataSource source(CBaseOLEDBClass::eSQLServerNativeClient11);
        Collect(source);
        EXPECT_FALSE(source.ConnectOLEDB(L"server", L"u", L"pass", L"db"));
        EXPECT_EQ(dso.initializeCalls, 0);
        // The state is left as the connect found it midway; a later Release
        // (here: the destructor) must not wait for it.
        EXPECT_EQ(source.GetConnectionState(), CDataSource::eConnecting);
        ASSERT_EQ(errors.reports.size(), 1u);
        EXPECT_EQ(errors.reports[0].function,
                  L"bool __cdecl CDataSource::SetInitProps(const struct _GUID &)");
        EXPECT_NE(errors.reports[0].message.find(
                      L"Connection: server User: u Password: **** Database: db"),
                  std::wstring::npos);
    }
    // A refused server set fails the connect the same way.
    errors.reports.clear();
    dso.setPropertiesCalls.clear();
    dso.setPropertiesResults = {S_OK, DB_E_ERRORSOCCURRED};
    CDataSource source(CBaseOLEDBClass::eSQLServerNativeClient10);
    Collect(source);
    EXPECT_FALSE(source.Connect(CLSID_HDB_SQLNCLI10, L"server", L"u", L"pass", L"db"));
    EXPECT_EQ(dso.setPropertiesCalls.size(), 2u);
    EXPECT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(dso.initializeCalls, 0);
}

TEST_F(ConnectionTest, AProviderWithoutImplementationFailsWithCantCreateInstance) {
    CDataSource source(CBaseOLEDBClass::eGenericDatabase);
    Collect(source);
    EXPECT_FALSE(
        source.Connect(CBaseOLEDBClass::eProviderOracle, L"orcl", L"scott", L"tiger", L""));
    EXPECT_EQ(provider.initializer.requested.back(), CLSID_HDB_ORAOLEDB);
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't create instance");
    EXPECT_EQ(errors.reports[0].hr, REGDB_E_CLASSNOTREG);
    EXPECT_EQ(errors.reports[0].function,
              L"bool __cdecl CDataSource::Initialize(const struct _GUID &)");
    EXPECT_EQ(errors.reports[0].message.find(L"tiger"), std::wstring::npos);
    EXPECT_EQ(static_cast<IDBInitialize*>(source), nullptr);
    EXPECT_EQ(static_cast<IMalloc*>(source), nullptr);

    // The failure leaves nothing that blocks the next attempt.
    provider.Serve(CLSID_HDB_ORAOLEDB, dso);
    EXPECT_TRUE(source.Connect());
    EXPECT_TRUE(source.IsConnected());
}

TEST(DataSourcePlatformTest, AnUnregisteredProviderFailsWithCantCreateInstance) {
    // No scripted service: the platform's own answers for a provider that
    // this platform does not have.
    SettingsIsolation settings;
    ReportCollector errors;
    CDataSource source;
    source.SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
    EXPECT_FALSE(source.Connect(CLSID_HDB_ORAOLEDB, L"orcl", L"scott", L"tiger", L""));
    EXPECT_FALSE(source.IsConnected());
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't create instance");
    EXPECT_EQ(errors.reports[0].hr, REGDB_E_CLASSNOTREG);
    EXPECT_NE(errors.reports[0].message.find(L"{3F63C36E-51A3-11D2-BB7D-00C04FA30080}"),
              std::wstring::npos);
    EXPECT_TRUE(source.Release());
}

// ------------------------------------------------------------------ threads

TEST_F(ConnectionTest, ASecondConnectWaitsForTheFirst) {
    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
    std::atomic<int> held{0};
    dso.beforeInitialize = [&] {
        if (held++ == 0)
            opened.wait();
    };
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    source.SetDataSource(L"server");
    source.SetUser(L"u");

    std::atomic<bool> firstDone{false};
    std::atomic<bool> secondDone{false};
    std::atomic<bool> secondBeforeGate{false};
    std::atomic<bool> gateOpened{false};
    auto first = std::async(std::launch::async, [&] {
        const bool result = source.Connect(CLSID_HDB_SQLOLEDB);
        firstDone = true;
        return result;
    });
    while (held.load() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(source.GetConnectionState(), CDataSource::eConnecting);

    auto second = std::async(std::launch::async, [&] {
        const bool result = source.Connect();
        secondBeforeGate = !gateOpened.load();
        secondDone = true;
        return result;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(secondDone.load());
    gateOpened = true;
    gate.set_value();

    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    EXPECT_FALSE(secondBeforeGate.load());
    EXPECT_TRUE(firstDone.load());
    EXPECT_EQ(source.GetConnectionState(), CDataSource::eConnected);
    EXPECT_TRUE(source.IsConnected());
}

TEST_F(ConnectionTest, ReleaseWaitsForRunningExecutions) {
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

// ------------------------------------------------------------------ sessions

TEST_F(ConnectionTest, ThePoolLendsFreeSessionsAndGrowsWhenAllAreInUse) {
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));

    boost::shared_ptr<CommandLiveChecker> first = source.GetCurrentDatabaseSessionCommand();
    boost::shared_ptr<CommandLiveChecker> second = source.GetCurrentDatabaseSessionCommand();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->IsInUse());
    EXPECT_TRUE(second->IsInUse());
    EXPECT_EQ(dso.sessionsCreated, 2u);
    EXPECT_EQ(first->GetCreateCommand(), static_cast<IDBCreateCommand*>(&dso.sessions[0]));
    // The factory is asked for once and kept.
    EXPECT_EQ(source.GetCurrentDatabaseSession(), source.GetCurrentDatabaseSession());

    first->SetInUse(false);
    boost::shared_ptr<CommandLiveChecker> again = source.GetCurrentDatabaseSessionCommand();
    EXPECT_EQ(again, first);
    EXPECT_TRUE(again->IsInUse());
    EXPECT_EQ(dso.sessionsCreated, 2u);

    // Release empties the pool; a borrower keeps its session until it lets go.
    EXPECT_TRUE(source.Release());
    EXPECT_GT(dso.sessions[0].references, 0u);
    first.reset();
    again.reset();
    second.reset();
    EXPECT_EQ(dso.sessions[0].references, 0u);
    EXPECT_EQ(dso.sessions[1].references, 0u);
}

TEST_F(ConnectionTest, ASessionThatCannotBeCreatedIsReported) {
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    // Before any connect there is no object to ask.
    EXPECT_EQ(source.GetCurrentDatabaseSession(), nullptr);
    EXPECT_FALSE(source.GetCurrentDatabaseSessionCommand());
    ASSERT_FALSE(errors.reports.empty());
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't query for session object");

    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    errors.reports.clear();
    dso.createSessionResult = E_OUTOFMEMORY;
    EXPECT_FALSE(source.GetCurrentDatabaseSessionCommand());
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Can't create session");
    EXPECT_EQ(errors.reports[0].hr, E_OUTOFMEMORY);
}

// ------------------------------------------------------------------ properties

TEST_F(ConnectionTest, ConnectedMeansTheProviderSaysSo) {
    CDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    dso.initialized = false;
    EXPECT_FALSE(source.IsConnected());
    EXPECT_TRUE(errors.reports.empty());

    dso.initialized = true;
    dso.getPropertiesResult = E_FAIL;
    EXPECT_FALSE(source.IsConnected());
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"OLE DB Error: Couldn't read DB_Properties.");
    EXPECT_EQ(errors.reports[0].function, L"bool __cdecl CDataSource::IsConnected(void) const");

    dso.getPropertiesResult = S_OK;
    dso.offersProperties = false;
    EXPECT_FALSE(source.IsConnected());
    ASSERT_EQ(errors.reports.size(), 2u);
    EXPECT_EQ(errors.reports[1].caption, L"OLE DB Error: Couldn't create DB_Properties object.");
    dso.offersProperties = true;
    EXPECT_TRUE(source.IsConnected());
}

TEST_F(ConnectionTest, PoolingIsOnUnlessTheServicesLeaveItOut) {
    OpenDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    EXPECT_TRUE(source.isPooledConnection()); // absent
    const std::pair<LONG, bool> cases[] = {
        {0, true}, {DBPROPVAL_OS_RESOURCEPOOLING, true}, {-1, true}, {-2, false}, {2, false}};
    for (const auto& [services, pooled] : cases) {
        dso.oledbServices = services;
        EXPECT_EQ(source.isPooledConnection(), pooled) << services;
    }
    EXPECT_TRUE(errors.reports.empty());
    dso.getPropertiesResult = E_FAIL;
    EXPECT_TRUE(source.isPooledConnection());
    EXPECT_EQ(errors.reports.size(), 1u);
}

TEST_F(ConnectionTest, DataSourcePropertiesAreSetAndRead) {
    OpenDataSource source(CBaseOLEDBClass::eSQLServer);
    Collect(source);
    // Nothing to set or read before a connect.
    EXPECT_FALSE(source.SetFastLoadProperty(true));
    EXPECT_EQ(source.GetStructuredStorageProperty(), 0u);

    ASSERT_TRUE(source.Connect(CLSID_HDB_SQLOLEDB, L"server", L"u", L"p", L"db"));
    const std::size_t before = dso.setPropertiesCalls.size();
    EXPECT_TRUE(source.SetFastLoadProperty(true));
    EXPECT_TRUE(source.IsFastLoadEnabled());
    const ReceivedSet& fastLoad = dso.Set(before);
    EXPECT_EQ(fastLoad.set, DBPROPSET_SQLSERVERDATASOURCE);
    EXPECT_EQ(fastLoad.Ids(), Ids({SSPROP_ENABLEFASTLOAD}));
    EXPECT_TRUE(fastLoad.properties[0].flag);

    // A refusal is remembered as "off" and not reported.
    dso.setPropertiesResults.resize(before + 2, S_OK);
    dso.setPropertiesResults.push_back(DB_E_ERRORSOCCURRED);
    EXPECT_TRUE(source.SetFastLoadProperty(false));
    EXPECT_FALSE(source.IsFastLoadEnabled());
    EXPECT_FALSE(source.SetFastLoadProperty(true));
    EXPECT_FALSE(source.IsFastLoadEnabled());
    EXPECT_TRUE(errors.reports.empty());

    dso.structuredStorage = DBPROPVAL_SS_ISEQUENTIALSTREAM | DBPROPVAL_SS_ILOCKBYTES;
    EXPECT_EQ(source.GetStructuredStorageProperty(),
              static_cast<DWORD>(DBPROPVAL_SS_ISEQUENTIALSTREAM | DBPROPVAL_SS_ILOCKBYTES));

    dso.setPropertiesResults.push_back(S_OK);
    EXPECT_TRUE(source.SetMultipleConnectionProperty(true));
    EXPECT_EQ(dso.setPropertiesCalls.back()[0].set, DBPROPSET_DATASOURCE);
    EXPECT_EQ(dso.setPropertiesCalls.back()[0].Ids(), Ids({DBPROP_MULTIPLECONNECTIONS}));
    dso.setPropertiesResults.push_back(E_FAIL);
    EXPECT_FALSE(source.SetMultipleConnectionProperty(false));
    ASSERT_EQ(errors.reports.size(), 1u);
    EXPECT_EQ(errors.reports[0].caption, L"Error");
    EXPECT_EQ(errors.reports[0].hr, E_FAIL);
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

TEST_F(EmbeddedDataSourceTest, ConnectsAndReconnectsToADatabaseFile) {
    const std::wstring path = folder.File("cycle.db");
    CDataSource source;
    Collect(source);
    ASSERT_TRUE(source.Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L"")) << errors.reports.size();
    EXPECT_TRUE(source.IsConnected());
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

TEST_F(EmbeddedDataSourceTest, WithNothingConfiguredTheShortConnectOpensAnEmbeddedFile) {
    const std::wstring path = folder.File("app.db");
    CDataSource source;
    Collect(source);
    ASSERT_TRUE(source.Connect(path, L"", L"", L""));
    EXPECT_EQ(source.GetSQLDatabaseType(), CBaseOLEDBClass::eGenericDatabase);
    EXPECT_EQ(source.GetOLEDBProvider(), CBaseOLEDBClass::eProvider5);
    EXPECT_EQ(source.GetProviderCLSID(), CLSID_HDB_EMBEDDED);
    EXPECT_TRUE(source.IsConnected());
    EXPECT_EQ(QueryNumber(source, L"SELECT 7 * 6"), 42);
    source.Release();
    EXPECT_TRUE(std::filesystem::exists(path));
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

TEST_F(EmbeddedDataSourceTest, PooledSessionsRunStatementsAndAreReused) {
    CDataSource source;
    ASSERT_TRUE(source.Connect(CLSID_HDB_EMBEDDED, folder.File("pool.db"), L"", L"", L""));
    boost::shared_ptr<CommandLiveChecker> first = source.GetCurrentDatabaseSessionCommand();
    boost::shared_ptr<CommandLiveChecker> second = source.GetCurrentDatabaseSessionCommand();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->GetCreateCommand(), second->GetCreateCommand());
    EXPECT_EQ(ExecuteOn(*first, L"CREATE TABLE p (v INTEGER)"), S_OK);
    DBROWCOUNT affected = 0;
    EXPECT_EQ(ExecuteOn(*second, L"INSERT INTO p VALUES (1), (2)", &affected), S_OK);
    EXPECT_EQ(affected, 2);

    second->SetInUse(false);
    EXPECT_EQ(source.GetCurrentDatabaseSessionCommand(), second);
    first->SetInUse(false);
    second->SetInUse(false);
}

} // namespace
