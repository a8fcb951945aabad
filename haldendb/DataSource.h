// CDataSource: the connection to one database.
//
// It holds the provider's data source object, the login texts, the
// connection state, a pool of sessions that commands borrow, and the count of
// statements running on it. The database kind and the connection time-out
// come from the settings library (or the constructor); the provider from the
// Connect overload used. Every failure is reported through the callbacks of
// the base and turns into a false result; a password appears in reports only
// as one asterisk per character.
//
// The data source may be shared between threads. Its connection state and its
// running-execution counter are atomics; Connect and Release coordinate by
// polling them every 100 ms. A recursive lock guards the session pool, and a
// second one keeps the provider objects from being torn down by one thread
// while another creates or asks them: every member that uses the data source
// object holds it. Where both are held, the provider lock is taken first.
//
// Beside the connection it answers the SQL dialect questions of its database
// kind (date conversion templates, TOP or LIMIT, the severity query), so that
// SQL builders never test the product themselves.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/CommandLiveChecker.h"

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>

class HALDENDB_API CDataSource : public CBaseOLEDBClass {
public:
    // The layout of a date or time text to convert; the SQL Server style
    // number each stands for is in its name. Values outside 0..14 are out of
    // range and accepted everywhere.
    enum e_convertinputtype : std::int8_t {
        eStyle100 = 0,  // mon dd yyyy hh:miAM
        eStyle1 = 1,    // mm/dd/yy
        eStyle101 = 2,  // mm/dd/yyyy
        eStyle2 = 3,    // yy.mm.dd
        eStyle102 = 4,  // yyyy.mm.dd
        eStyle3 = 5,    // dd/mm/yy
        eStyle103 = 6,  // dd/mm/yyyy
        eStyle4 = 7,    // dd.mm.yy
        eStyle104 = 8,  // dd.mm.yyyy
        eStyle5 = 9,    // dd-mm-yy
        eStyle105 = 10, // dd-mm-yyyy
        eStyle109 = 11, // mon dd yyyy hh:mi:ss:mmmAM
        eStyle113 = 12, // dd mon yyyy hh:mi:ss:mmm
        eStyle114 = 13, // hh:mi:ss:mmm (a time)
        eStyle120 = 14, // yyyy-mm-dd hh:mi:ss
    };

    // The connection state, one atomic byte.
    enum enumConnectionState : std::uint8_t {
        eNotConnected = 0, // initially, after a failed connect, after Disconnect
        eConnected = 1,
        eConnecting = 2, // during Connect; left standing when the provider
                         // object cannot be created or given its properties
        eReleased = 3,   // during and after Release
    };

    // Called after every successful connect with the data source and the
    // object installed with SetCallBackObjectAfterSuccessfullLoginToDB.
    using LoginCallback = void (*)(CDataSource* dataSource, void* callbackObject);

    // UI enabled; nothing connected; the provider class id of SQLOLEDB until a
    // Connect overload sets one. The database type and the connection
    // time-out come from the settings library (the base's database type and
    // no time-out when it has none).
    CDataSource();
    // The same with the given database type; only the time-out is read from
    // the settings library.
    explicit CDataSource(enumSQLDatabaseType databaseType);
    CDataSource(const CDataSource&) = delete;
    CDataSource& operator=(const CDataSource&) = delete;
    // Releases as Release does.
    ~CDataSource() override;

    // ---------------------------------------------------------- login texts

    void SetDataSource(const CBasicStringView<wchar_t>& dataSource) {
        m_strDataSource = dataSource;
    }
    void SetUser(const CBasicStringView<wchar_t>& user) { m_strUser = user; }
    void SetPassword(const CBasicStringView<wchar_t>& password) { m_strPassword = password; }
    void SetDatabase(const CBasicStringView<wchar_t>& database) { m_strDatabase = database; }
    const CBasicString<wchar_t>& GetDataSource() const { return m_strDataSource; }
    const CBasicString<wchar_t>& GetUser() const { return m_strUser; }
    const CBasicString<wchar_t>& GetPassword() const { return m_strPassword; }
    const CBasicString<wchar_t>& GetDatabase() const { return m_strDatabase; }

    // ---------------------------------------------------------- connecting

    // Releases whatever is held, then connects with the stored texts and
    // provider class id. When a connect is at work on another thread, its
    // connection serves this caller too: Connect waits (polling every
    // 100 ms) until that connect succeeds and answers true, without tearing
    // anything down; the wait ends only on a successful connect, so a
    // failing connect on the other thread leaves this one waiting. A severe
    // server error throws severe_sql_error.
    bool Connect();
    // Stores the provider class id, then Connect().
    bool Connect(const GUID& providerClassId);
    // False at once, changing nothing, when dataSource is empty; otherwise
    // stores the four texts and the class id, then Connect().
    bool Connect(const GUID& providerClassId, const CBasicStringView<wchar_t>& dataSource,
                 const CBasicStringView<wchar_t>& user, const CBasicStringView<wchar_t>& password,
                 const CBasicStringView<wchar_t>& database);
    // Stores the provider, maps it (with the database type) to its class id
    // through the provider table, then the form above.
    bool Connect(enumOLEDBProvider provider, const CBasicStringView<wchar_t>& dataSource,
                 const CBasicStringView<wchar_t>& user, const CBasicStringView<wchar_t>& password,
                 const CBasicStringView<wchar_t>& database);
    // The provider from the settings library (the ODBC provider when it has
    // none), then the form above. With nothing configured this opens an
    // embedded database file.
    bool Connect(const CBasicStringView<wchar_t>& dataSource, const CBasicStringView<wchar_t>& user,
                 const CBasicStringView<wchar_t>& password,
                 const CBasicStringView<wchar_t>& database);
    // Through the OLE DB provider for ODBC data sources.
    bool ConnectODBC(const CBasicStringView<wchar_t>& dataSource,
                     const CBasicStringView<wchar_t>& user,
                     const CBasicStringView<wchar_t>& password,
                     const CBasicStringView<wchar_t>& database);
    // Through the OLE DB provider for SQL Server.
    bool ConnectOLEDB(const CBasicStringView<wchar_t>& dataSource,
                      const CBasicStringView<wchar_t>& user,
                      const CBasicStringView<wchar_t>& password,
                      const CBasicStringView<wchar_t>& database);

    void SetCallBackAfterSuccessfullLoginToDB(LoginCallback const callback) {
        m_pLoginCallback = callback;
    }
    void SetCallBackObjectAfterSuccessfullLoginToDB(void* callbackObject) {
        m_pLoginCallbackObject = callbackObject;
    }

    // True when the state is connected and the provider says its data source
    // object is initialised. Reports (15534, 15535) when it cannot ask.
    bool IsConnected() const;

    // The full teardown: waits up to 20 seconds for running executions,
    // waits for a connect running on another thread, empties the session
    // pool, disconnects and releases the provider objects and the allocator.
    // False when releasing an object was reported as failing, or when
    // anything threw.
    bool Release() override;

    enumConnectionState GetConnectionState() const noexcept {
        return static_cast<enumConnectionState>(m_connectionState.load() & ~ConnectLeftStanding);
    }
    // The class id the next Connect() uses.
    const GUID& GetProviderCLSID() const noexcept { return m_providerClassId; }
    // Seconds; -1 when unknown. Sent to the provider only when above 0.
    int GetConnectionTimeout() const noexcept { return m_nConnectionTimeout; }
    // The data source object as it is; another thread's Release or Connect
    // may release it at any moment. GetDataSourceObjectReference is safe.
    operator IDBInitialize*() const noexcept { return m_pIDBInitialize; }
    // A reference of the caller's own to the data source object (release it
    // when done), taken under the provider lock so that a Release or
    // reconnect on another thread cannot free the object meanwhile; null
    // when there is none.
    IDBInitialize* GetDataSourceObjectReference() const;

    // ---------------------------------------------------------- sessions

    // The data source object's session factory, asked for on first call and
    // kept (the reference stays the data source's); null after a report
    // (15507) when it cannot be had.
    IDBCreateSession* GetCurrentDatabaseSession();
    // A free pooled session, marked in use; when all are in use, a new
    // session is created, marked and added to the pool. Empty after a report
    // (15508) when no session can be created. The borrower clears the flag.
    boost::shared_ptr<CommandLiveChecker> GetCurrentDatabaseSessionCommand();

    // Statements bracket their execution with these, so that Release can
    // wait for them.
    void AddRunningExecution() const noexcept { ++m_nRunningExecutions; }
    void RemoveRunningExecution() const noexcept { --m_nRunningExecutions; }
    std::int64_t GetRunningExecutions() const noexcept { return m_nRunningExecutions.load(); }

    // Asks the provider to enable (or disable) bulk loading on this
    // connection. True when it accepted; the answer is remembered. Reports
    // nothing: a provider without bulk loading simply answers false.
    bool SetFastLoadProperty(bool enable);
    bool IsFastLoadEnabled() const noexcept { return m_bFastLoadEnabled; }
    // The provider's DBPROP_STRUCTUREDSTORAGE flags; 0 when they cannot be
    // read or the provider answers a value that is no 4-byte integer.
    DWORD GetStructuredStorageProperty() const;

    // ---------------------------------------------------------- dialect

    // A conversion of a quoted date or time text, with one "%s" for the text.
    // SQL Server: CONVERT(datetime, '%s', style); MySQL: STR_TO_DATE with
    // GET_FORMAT, left unclosed for the caller to complete; the LIMIT
    // dialect: TO_DATE, TO_TIMESTAMP or TO_TIME. Other databases get
    // "CONVERT-Function not implemented".
    CString GetConvertFunction(e_convertinputtype inputType) const;
    // The date ("%m/%d/%Y") placed into the template of eStyle101.
    CString GetConvertDateFunction(const COleDateTime& date) const;
    // The moment ("%Y-%m-%d %H:%M:%S") placed into the template of eStyle120.
    CString GetConvertDateTimeFunction(const COleDateTime& dateTime) const;
    // Whether `sql` already holds a conversion of this dialect (a
    // case-sensitive substring test; the LIMIT dialect never says so).
    bool ContainsDateConvertFunction(const CString& sql) const;

    bool hasTopStatement() const;
    bool hasLimitStatement() const;
    bool hasSelectExistsStatement() const;

    // The query that lists server error numbers and their severities, to
    // fill the error severity map; empty (null) where the database has none.
    CBasicStringView<wchar_t> GetSQLToQueryForServerErrorSeverityMessages() const;

    // `count` asterisks: how a password appears in reports.
    static CBasicString<wchar_t> ShowAsterisks(size_t count);
    // Whether the provider is told not to prompt (DBPROMPT_NOPROMPT) during
    // initialisation: true for the SQL Server, ODBC and Oracle providers.
    static bool NeedsCLSIDPrompt(const GUID& providerClassId);
    // The property that carries the database name: DBPROP_INIT_CATALOG.
    static int GetDatabaseSpecificCatalogProperty(const GUID& providerClassId);

protected:
    // Creates the provider's data source object unless there is one: the
    // data initialisation service, then the provider's object (and the task
    // allocator, should the runtime have had none at construction). Reports
    // 15514 or 15515 and answers false when a step fails.
    bool Initialize(const GUID& providerClassId);
    // Hands the initialisation properties to the data source object: the
    // login set, and for the SQL Server providers their own set. Reports
    // 15517 with the masked login on failure.
    bool SetInitProps(const GUID& providerClassId);
    // Uninitialises a connected data source object; true when nothing was
    // connected or uninitialising was not reported as failing (15518).
    bool Disconnect();
    // Whether the provider's resource pooling is on (or left to its default).
    bool isPooledConnection();
    // Sets DBPROP_MULTIPLECONNECTIONS; failures are reported with the
    // system's text of the result.
    bool SetMultipleConnectionProperty(bool enable);

private:
    // Marks an eConnecting that no connect is working on any more: a connect
    // that failed before initialising leaves the state standing at
    // eConnecting (read as such), and Release must not wait for it. Kept in
    // the state byte itself, so that "a connect is at work" is one value
    // that compare-exchanges can tell from every other.
    static constexpr std::uint8_t ConnectLeftStanding = 0x80;
    static constexpr std::uint8_t ConnectingLeftStanding = eConnecting | ConnectLeftStanding;

    void ReadSettings(bool readDatabaseType);
    // Moves the state to eConnecting for this caller, from any state but a
    // connect at work on another thread; false (nothing changed) when there
    // is one.
    bool ClaimConnect();
    // Polls until the state is eConnected; true.
    bool WaitForConnectElsewhere() const;
    // Gives running executions up to 20 seconds to end.
    void WaitForRunningExecutions() const;
    // The teardown behind Release and every Connect: empties the pool,
    // disconnects, releases the provider objects and the base's buffers.
    // The caller holds the provider lock.
    bool ReleaseHeld();
    // Empties the pool, then releases the session factory, the data source
    // object and the data initialiser. False when a release was reported.
    // Reports name `position`, the caller's, so a release made while
    // Initialize starts over is told apart from a Release.
    bool ReleaseProviderObjects(bool disconnect, const LoggingSourcePos& position);
    // Sets one boolean property of the data source object, as required; the
    // provider's answer. The caller holds the provider lock.
    HRESULT SetRequiredFlag(DBPROPID id, const GUID& propertySet, bool enable);
    // "Connection: ... User: ... Password: ***" and, unless the provider is
    // the ODBC one and `alwaysDatabase` is false, " Database: ...".
    CBasicString<wchar_t> LoginDetail(const GUID& providerClassId, bool alwaysDatabase) const;
    // CheckError for the const members: collects into its own buffers.
    bool ReportFromConst(HRESULT hr, unsigned int messageId, IUnknown* source,
                         const GUID& interfaceId, const LoggingSourcePos& position) const;

    // Guards the session pool.
    CCriticalSection m_csSessionPool;
    // Keeps one thread from tearing the provider objects down while another
    // creates or uses them inside Connect or Release.
    // Mutable: the const IsConnected asks the provider under it too.
    mutable CCriticalSection m_csProviderObjects;
    IDBInitialize* m_pIDBInitialize = nullptr;
    IDataInitialize* m_pIDataInitialize = nullptr;
    IDBCreateSession* m_pIDBCreateSession = nullptr;
    LoginCallback m_pLoginCallback = nullptr;
    void* m_pLoginCallbackObject = nullptr;
    std::list<boost::shared_ptr<CommandLiveChecker>> m_sessionPool;
    CBasicString<wchar_t> m_strDataSource;
    CBasicString<wchar_t> m_strUser;
    CBasicString<wchar_t> m_strPassword;
    CBasicString<wchar_t> m_strDatabase;
    // Sent as the SQL Server providers' network library when not empty;
    // nothing sets it today.
    CBasicString<wchar_t> m_strProviderExtra;
    GUID m_providerClassId;
    int m_nConnectionTimeout = -1;
    mutable std::atomic<std::int64_t> m_nRunningExecutions{0};
    // An enumConnectionState, with ConnectLeftStanding beside eConnecting
    // when no connect is at work any more.
    std::atomic<std::uint8_t> m_connectionState{eNotConnected};
    std::atomic<bool> m_bFastLoadEnabled{false};
    // Enables the second property set for the unversioned native client;
    // nothing sets it today.
    bool m_bNativeClient = false;
};
