#include "haldendb/DataSource.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/MessageTable.h"
#include "haldendb/ProviderClassIds.h"

#include "hdbplatform/ComPtr.h"

#include <boost/make_shared.hpp>

#include <cwchar>
#include <memory>
#include <utility>

namespace {

// The message numbers this file reports with.
using namespace hdbmsg;
using hdbcom::ComPtr;

// Connect and Release poll the shared state at this pace.
constexpr DWORD PollMilliseconds = 100;
// Release gives running executions this many polls (20 seconds) to end.
constexpr int RunningExecutionPolls = 200;

// The SQL Server providers' own initialisation properties, by number: the
// numbers are what the providers know them by on every platform.
constexpr DBPROPID SqlServerInitMultipleActiveResultSets = 16;
constexpr DBPROPID SqlServerInitNetworkLibrary = 6;
constexpr DBPROPID SqlServerInitTrustServerCertificate = 21;
constexpr DBPROPID SqlServerInitEncrypt = 13;

// The encryption modes the newer SQL Server driver understands, by code.
struct EncryptionMode {
    int code;
    const wchar_t* text;
};
constexpr EncryptionMode EncryptionModes[] = {
    {0, L"Optional"}, {1, L"Optional"}, {2, L"Mandatory"}, {3, L"Strict"}};
// The mode the library asks for: the first entry of code 1. The connection
// is still encrypted when the server offers it, and a server with a
// self-signed certificate (the usual in-house set-up) is trusted.
constexpr int RequestedEncryptionCode = 1;

const wchar_t* EncryptionModeText(int code) {
    for (const auto& mode : EncryptionModes)
        if (mode.code == code)
            return mode.text;
    return L"";
}

constexpr wchar_t SeverityQuery[] =
    L"SELECT error, severity FROM master.dbo.sysmessages WHERE msglangid = 1033";
constexpr wchar_t ConvertNotImplemented[] = L"CONVERT-Function not implemented";

// Runs `action` when the scope ends, however it ends.
template <class Action> class ScopeExit {
public:
    explicit ScopeExit(Action action) : m_action(std::move(action)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ~ScopeExit() { m_action(); }

private:
    Action m_action;
};

// Asks `object` for its IDBProperties: the query's result, with the
// reference in `properties` (empty when the query failed or there was no
// object).
HRESULT QueryProperties(IUnknown* object, ComPtr<IDBProperties>& properties) {
    const HRESULT hr =
        object ? object->QueryInterface(IID_IDBProperties, properties.OutVoid()) : E_POINTER;
    if (FAILED(hr))
        properties.Detach(); // a failed query hands out no reference
    return hr;
}

// Hands `sets` to the data source object's IDBProperties; without one, the
// query's own failure is the answer.
HRESULT SetPropertiesThrough(const ComPtr<IDBProperties>& properties, HRESULT queried,
                             ULONG setCount, DBPROPSET* sets) {
    return properties ? properties->SetProperties(setCount, sets) : queried;
}

// One property as GetProperty hands it out, freed with its value when the
// holder goes.
struct PropertyFree {
    void operator()(DBPROP* property) const {
        VariantClear(&property->vValue);
        CoTaskMemFree(property);
    }
};
using HeldProperty = std::unique_ptr<DBPROP, PropertyFree>;

// A COM reference count judged like a result: it is never negative for a
// sound object, so only a broken one gets a report.
HRESULT ReleaseResult(ULONG remaining) {
    return static_cast<HRESULT>(remaining);
}

// The template's one "%s" replaced by `text`; a template without one stays.
CString Substitute(const CString& templ, const CString& text) {
    CString result = templ;
    const int at = result.Find(L"%s");
    if (at >= 0) {
        result.Delete(at, 2);
        result.Insert(at, text.GetString());
    }
    return result;
}

} // namespace

// ---------------------------------------------------------------- lifetime

CDataSource::CDataSource() : CBaseOLEDBClass(true), m_providerClassId(CLSID_HDB_SQLOLEDB) {
    ReadSettings(true);
}

CDataSource::CDataSource(enumSQLDatabaseType databaseType)
    : CBaseOLEDBClass(true), m_providerClassId(CLSID_HDB_SQLOLEDB) {
    m_eSQLDatabaseType = databaseType;
    ReadSettings(false);
}

CDataSource::~CDataSource() {
    try {
        CDataSource::Release();
    } catch (...) {
        // Release catches what it can itself; a destructor must not throw.
    }
}

void CDataSource::ReadSettings(bool readDatabaseType) {
    CHaldensettings settings(true, false);
    int value = 0;
    if (readDatabaseType && settings.GetDatabaseType(value))
        m_eSQLDatabaseType = SQLDatabaseTypeFromInt(value);
    m_nConnectionTimeout = settings.GetDatabaseConnectionTimeout(value) ? value : -1;
}

// ---------------------------------------------------------------- connecting

bool CDataSource::Connect() {
    // The connection is claimed before anything is released: a Connect on
    // another thread that finds this one at work takes its connection
    // instead of tearing it down and building another.
    if (!ClaimConnect())
        return WaitForConnectElsewhere();
    bool connected = false;
    {
        // Every way out that leaves eConnecting tells Release that nobody
        // works on the connection any more.
        ScopeExit finished([this] {
            std::uint8_t atWork = eConnecting;
            m_connectionState.compare_exchange_strong(atWork, ConnectingLeftStanding);
        });
        WaitForRunningExecutions();
        CSingleLock lock(&m_csProviderObjects, TRUE);
        ReleaseHeld();
        if (m_pIDBInitialize == nullptr && !Initialize(m_providerClassId))
            return false;
        // Nothing is connected after the release above; should uninitialising
        // a connection that is still there fail, it stays and serves.
        if (!Disconnect())
            return true;
        if (!SetInitProps(m_providerClassId))
            return false;

        const HRESULT hr = m_pIDBInitialize->Initialize();
        const bool odbc = m_providerClassId == CLSID_HDB_MSDASQL;
        const CBasicString<wchar_t> detail = LoginDetail(m_providerClassId, false);
        // The ODBC provider's error records describe the driver manager
        // rather than the login, so they are left out of the report.
        const bool failed =
            odbc ? CheckError(hr, MsgCantConnect,
                              HDB_SOURCE_POS(L"bool __cdecl CDataSource::Connect(void)"), detail)
                 : CheckError(hr, MsgCantConnect, m_pIDBInitialize, IID_IDBInitialize,
                              HDB_SOURCE_POS(L"bool __cdecl CDataSource::Connect(void)"), detail);
        m_connectionState.store(failed ? eNotConnected : eConnected);
        connected = !failed;
    }
    if (connected && m_pLoginCallback != nullptr)
        m_pLoginCallback(this, m_pLoginCallbackObject);
    return connected;
}

bool CDataSource::ClaimConnect() {
    std::uint8_t state = m_connectionState.load();
    do {
        if (state == eConnecting)
            return false;
    } while (!m_connectionState.compare_exchange_weak(state, eConnecting));
    return true;
}

bool CDataSource::WaitForConnectElsewhere() const {
    while (m_connectionState.load() != eConnected)
        Sleep(PollMilliseconds);
    return true;
}

void CDataSource::WaitForRunningExecutions() const {
    for (int poll = 0; poll < RunningExecutionPolls && m_nRunningExecutions.load() != 0; ++poll)
        Sleep(PollMilliseconds);
}

bool CDataSource::Connect(const GUID& providerClassId) {
    m_providerClassId = providerClassId;
    return Connect();
}

bool CDataSource::Connect(const GUID& providerClassId, const CBasicStringView<wchar_t>& dataSource,
                          const CBasicStringView<wchar_t>& user,
                          const CBasicStringView<wchar_t>& password,
                          const CBasicStringView<wchar_t>& database) {
    if (dataSource.empty())
        return false;
    m_strDataSource = dataSource;
    m_strUser = user;
    m_strPassword = password;
    m_strDatabase = database;
    return Connect(providerClassId);
}

bool CDataSource::Connect(enumOLEDBProvider provider, const CBasicStringView<wchar_t>& dataSource,
                          const CBasicStringView<wchar_t>& user,
                          const CBasicStringView<wchar_t>& password,
                          const CBasicStringView<wchar_t>& database) {
    m_eOLEDBProvider = provider;
    return Connect(GetProviderClassId(provider, m_eSQLDatabaseType), dataSource, user, password,
                   database);
}

bool CDataSource::Connect(const CBasicStringView<wchar_t>& dataSource,
                          const CBasicStringView<wchar_t>& user,
                          const CBasicStringView<wchar_t>& password,
                          const CBasicStringView<wchar_t>& database) {
    CHaldensettings settings(true, false);
    int value = 0;
    const enumOLEDBProvider provider =
        settings.GetDatabaseConnectionType(value) ? OLEDBProviderFromInt(value) : eProviderODBC;
    return Connect(provider, dataSource, user, password, database);
}

bool CDataSource::ConnectODBC(const CBasicStringView<wchar_t>& dataSource,
                              const CBasicStringView<wchar_t>& user,
                              const CBasicStringView<wchar_t>& password,
                              const CBasicStringView<wchar_t>& database) {
    return Connect(CLSID_HDB_MSDASQL, dataSource, user, password, database);
}

bool CDataSource::ConnectOLEDB(const CBasicStringView<wchar_t>& dataSource,
                               const CBasicStringView<wchar_t>& user,
                               const CBasicStringView<wchar_t>& password,
                               const CBasicStringView<wchar_t>& database) {
    return Connect(CLSID_HDB_SQLOLEDB, dataSource, user, password, database);
}

bool CDataSource::Initialize(const GUID& providerClassId) {
    if (m_pIDBInitialize != nullptr)
        return true;
    ReleaseProviderObjects(
        false, HDB_SOURCE_POS(L"bool __cdecl CDataSource::Initialize(const struct _GUID &)"));

    // The allocator is the process's and stays from construction on; only
    // a runtime that could not hand it out then is asked again.
    HRESULT hr = S_OK;
    if (m_pIMalloc == nullptr) {
        hr = CoGetMalloc(MEMCTX_TASK, &m_pIMalloc);
        if (FAILED(hr) || m_pIMalloc == nullptr) {
            m_pIMalloc = nullptr;
            CheckError(
                FAILED(hr) ? hr : E_OUTOFMEMORY, MsgCantAllocateMemory,
                HDB_SOURCE_POS(L"bool __cdecl CDataSource::Initialize(const struct _GUID &)"),
                CBasicStringView<wchar_t>());
            return false;
        }
    }

    wchar_t classId[40] = {};
    StringFromGUID2(providerClassId, classId, 40);
    CBasicString<wchar_t> detail = L"Provider: ";
    detail += classId;

    hr = CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER, IID_IDataInitialize,
                          reinterpret_cast<void**>(&m_pIDataInitialize));
    if (FAILED(hr) || m_pIDataInitialize == nullptr) {
        m_pIDataInitialize = nullptr;
        CheckError(FAILED(hr) ? hr : E_NOINTERFACE, MsgCantCreateInstance,
                   HDB_SOURCE_POS(L"bool __cdecl CDataSource::Initialize(const struct _GUID &)"),
                   detail);
        return false;
    }

    IUnknown* dataSourceObject = nullptr;
    hr = m_pIDataInitialize->CreateDBInstance(providerClassId, nullptr, CLSCTX_INPROC_SERVER,
                                              nullptr, IID_IDBInitialize, &dataSourceObject);
    if (FAILED(hr) || dataSourceObject == nullptr) {
        if (dataSourceObject)
            dataSourceObject->Release();
        CheckError(FAILED(hr) ? hr : E_NOINTERFACE, MsgCantCreateInstance, m_pIDataInitialize,
                   IID_IDataInitialize,
                   HDB_SOURCE_POS(L"bool __cdecl CDataSource::Initialize(const struct _GUID &)"),
                   detail);
        return false;
    }
    // Asked for as IDBInitialize, the object is that interface.
    m_pIDBInitialize = static_cast<IDBInitialize*>(dataSourceObject);
    return true;
}

CBasicString<wchar_t> CDataSource::LoginDetail(const GUID& providerClassId,
                                               bool alwaysDatabase) const {
    CBasicString<wchar_t> detail = L"Connection: ";
    detail += m_strDataSource;
    detail += L" User: ";
    detail += m_strUser;
    detail += L" Password: ";
    detail += ShowAsterisks(m_strPassword.size());
    if (alwaysDatabase || providerClassId != CLSID_HDB_MSDASQL) {
        detail += L" Database: ";
        detail += m_strDatabase;
    }
    return detail;
}

bool CDataSource::SetInitProps(const GUID& providerClassId) {
    const DBID& column = DB_NULLID;
    ULONG setCount = 0;
    DBPROPSET* sets = nullptr;
    ScopeExit freeSets([&] {
        FreeProperties(setCount, sets);
        setCount = 0;
        sets = nullptr;
    });

    const SHORT prompt = NeedsCLSIDPrompt(providerClassId) ? DBPROMPT_NOPROMPT : DBPROMPT_COMPLETE;
    SetProperty(DBPROP_INIT_PROMPT, DBPROPSET_DBINIT, &setCount, &sets, VT_I2, &prompt,
                DBPROPOPTIONS_REQUIRED, column);
    SetProperty(DBPROP_INIT_DATASOURCE, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR,
                m_strDataSource.c_str(), DBPROPOPTIONS_REQUIRED, column);
    const DBPROPID catalog =
        static_cast<DBPROPID>(GetDatabaseSpecificCatalogProperty(providerClassId));
    if (providerClassId == CLSID_HDB_MSDASQL || providerClassId == CLSID_HDB_ORAOLEDB) {
        // These providers take the database from their data source
        // definition, so no catalog is sent.
        SetProperty(DBPROP_AUTH_USERID, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR,
                    m_strUser.c_str(), DBPROPOPTIONS_REQUIRED, column);
        SetProperty(DBPROP_AUTH_PASSWORD, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR,
                    m_strPassword.c_str(), DBPROPOPTIONS_REQUIRED, column);
    } else if (!m_strUser.empty()) {
        SetProperty(DBPROP_AUTH_USERID, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR,
                    m_strUser.c_str(), DBPROPOPTIONS_REQUIRED, column);
        SetProperty(catalog, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR, m_strDatabase.c_str(),
                    DBPROPOPTIONS_REQUIRED, column);
        SetProperty(DBPROP_AUTH_PASSWORD, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR,
                    m_strPassword.c_str(), DBPROPOPTIONS_REQUIRED, column);
    } else {
        // No user: log in with the account the application runs under.
        SetProperty(DBPROP_AUTH_INTEGRATED, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR, L"SSPI",
                    DBPROPOPTIONS_REQUIRED, column);
        SetProperty(catalog, DBPROPSET_DBINIT, &setCount, &sets, VT_BSTR, m_strDatabase.c_str(),
                    DBPROPOPTIONS_REQUIRED, column);
    }
    if (m_nConnectionTimeout > 0) {
        const LONG timeout = m_nConnectionTimeout;
        SetProperty(DBPROP_INIT_TIMEOUT, DBPROPSET_DBINIT, &setCount, &sets, VT_I4, &timeout,
                    DBPROPOPTIONS_REQUIRED, column);
    }

    ComPtr<IDBProperties> properties;
    const HRESULT queried = QueryProperties(m_pIDBInitialize, properties);
    HRESULT hr = SetPropertiesThrough(properties, queried, setCount, sets);
    if (CheckError(hr, MsgCantConnect, properties.Get(), IID_IDBProperties,
                   HDB_SOURCE_POS(L"bool __cdecl CDataSource::SetInitProps(const struct _GUID &)"),
                   LoginDetail(providerClassId, true)))
        return false;
    FreeProperties(setCount, sets);
    setCount = 0;
    sets = nullptr;

    // The SQL Server providers get their own set, each only with the
    // database type that names its version.
    const bool oledbDriver =
        providerClassId == CLSID_HDB_MSOLEDBSQL && m_eSQLDatabaseType == eSQLServerOLEDBDriver;
    const bool sqlServerSet = oledbDriver ||
                              (providerClassId == CLSID_HDB_SQLNCLI11 &&
                               m_eSQLDatabaseType == eSQLServerNativeClient11) ||
                              (providerClassId == CLSID_HDB_SQLNCLI10 &&
                               m_eSQLDatabaseType == eSQLServerNativeClient10) ||
                              (providerClassId == CLSID_HDB_SQLNCLI &&
                               m_eSQLDatabaseType == eSQLServerNativeClient && m_bNativeClient);
    if (!sqlServerSet)
        return true;

    const VARIANT_BOOL yes = VARIANT_TRUE;
    SetProperty(SqlServerInitMultipleActiveResultSets, DBPROPSET_SQLSERVERDBINIT, &setCount, &sets,
                VT_BOOL, &yes, DBPROPOPTIONS_REQUIRED, column);
    if (!m_strProviderExtra.empty())
        SetProperty(SqlServerInitNetworkLibrary, DBPROPSET_SQLSERVERDBINIT, &setCount, &sets,
                    VT_BSTR, m_strProviderExtra.c_str(), DBPROPOPTIONS_REQUIRED, column);
    if (oledbDriver) {
        SetProperty(SqlServerInitTrustServerCertificate, DBPROPSET_SQLSERVERDBINIT, &setCount,
                    &sets, VT_BOOL, &yes, DBPROPOPTIONS_REQUIRED, column);
        SetProperty(SqlServerInitEncrypt, DBPROPSET_SQLSERVERDBINIT, &setCount, &sets, VT_BSTR,
                    EncryptionModeText(RequestedEncryptionCode), DBPROPOPTIONS_REQUIRED, column);
    }
    hr = SetPropertiesThrough(properties, queried, setCount, sets);
    return !CheckError(
        hr, MsgCantConnect, properties.Get(), IID_IDBProperties,
        HDB_SOURCE_POS(L"bool __cdecl CDataSource::SetInitProps(const struct _GUID &)"),
        LoginDetail(providerClassId, true));
}

bool CDataSource::Disconnect() {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    if (!IsConnected() || m_pIDBInitialize == nullptr)
        return true;
    m_connectionState.store(eNotConnected);
    const HRESULT hr = m_pIDBInitialize->Uninitialize();
    return !CheckError(hr, MsgCantDisconnect, m_pIDBInitialize, IID_IDBInitialize,
                       HDB_SOURCE_POS(L"bool __cdecl CDataSource::Disconnect(void)"),
                       CBasicStringView<wchar_t>());
}

bool CDataSource::ReportFromConst(HRESULT hr, unsigned int messageId, IUnknown* source,
                                  const GUID& interfaceId, const LoggingSourcePos& position) const {
    if (!IsErrorResult(hr))
        return false;
    auto sourceText = std::make_unique<wchar_t[]>(TextBufferSize);
    auto descriptionText = std::make_unique<wchar_t[]>(TextBufferSize);
    auto stateText = std::make_unique<wchar_t[]>(TextBufferSize);
    bool severe = false;
    if (source != nullptr)
        GetDetailedErrorInfo(source, interfaceId, sourceText.get(), TextCapacity,
                             descriptionText.get(), TextCapacity, stateText.get(), TextCapacity,
                             severe);
    auto view = [](const std::unique_ptr<wchar_t[]>& text) {
        return CBasicStringView<wchar_t>(text.get(), std::wcslen(text.get()));
    };
    DumpError(hr, messageId, view(sourceText), view(descriptionText), view(stateText), position,
              CBasicStringView<wchar_t>());
    if (severe)
        throw severe_sql_error(view(descriptionText));
    return true;
}

bool CDataSource::IsConnected() const {
    // Held while the provider is asked: a Release on another thread would
    // otherwise release the data source object under the question.
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    if (m_connectionState.load() != eConnected || m_pIDBInitialize == nullptr)
        return false;
    ComPtr<IDBProperties> properties;
    if (ReportFromConst(QueryProperties(m_pIDBInitialize, properties), MsgCantCreateProperties,
                        m_pIDBInitialize, IID_IDBInitialize,
                        HDB_SOURCE_POS(L"bool __cdecl CDataSource::IsConnected(void) const")))
        return false;

    DBPROP* read = nullptr;
    const HRESULT hr =
        GetProperty(properties.Get(), DBPROP_CONNECTIONSTATUS, DBPROPSET_DATASOURCEINFO, &read);
    const HeldProperty property(read);
    if (ReportFromConst(hr, MsgCantReadProperties, properties.Get(), IID_IDBProperties,
                        HDB_SOURCE_POS(L"bool __cdecl CDataSource::IsConnected(void) const")))
        return false;
    return property != nullptr && property->vValue.vt == VT_I4 &&
           property->vValue.lVal == DBPROPVAL_CS_INITIALIZED;
}

bool CDataSource::isPooledConnection() {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    DBPROP* read = nullptr;
    // Without a data source object there is nothing to ask: reported as an
    // unexpected call.
    const HRESULT hr = m_pIDBInitialize ? GetProperty(m_pIDBInitialize, DBPROP_INIT_OLEDBSERVICES,
                                                      DBPROPSET_DBINIT, &read)
                                        : E_UNEXPECTED;
    const HeldProperty property(read);
    if (CheckError(hr, MsgCantReadProperties, m_pIDBInitialize, IID_IDBProperties,
                   HDB_SOURCE_POS(L"bool __cdecl CDataSource::isPooledConnection(void)"),
                   CBasicStringView<wchar_t>()))
        return true;
    // Absent or 0 leaves the services at their default, which pools. A
    // value of any other type than a 4-byte integer says nothing about
    // pooling either, so it counts as absent.
    if (property == nullptr || property->vValue.vt != VT_I4)
        return true;
    const LONG services = property->vValue.lVal;
    return services == 0 || (services & DBPROPVAL_OS_RESOURCEPOOLING) != 0;
}

HRESULT CDataSource::SetRequiredFlag(DBPROPID id, const GUID& propertySet, bool enable) {
    ULONG setCount = 0;
    DBPROPSET* sets = nullptr;
    ScopeExit freeSets([&] { FreeProperties(setCount, sets); });
    const VARIANT_BOOL value = enable ? VARIANT_TRUE : VARIANT_FALSE;
    SetProperty(id, propertySet, &setCount, &sets, VT_BOOL, &value, DBPROPOPTIONS_REQUIRED,
                DB_NULLID);
    ComPtr<IDBProperties> properties;
    const HRESULT queried = QueryProperties(m_pIDBInitialize, properties);
    return SetPropertiesThrough(properties, queried, setCount, sets);
}

bool CDataSource::SetMultipleConnectionProperty(bool enable) {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    if (m_pIDBInitialize == nullptr)
        return false;
    const HRESULT hr = SetRequiredFlag(DBPROP_MULTIPLECONNECTIONS, DBPROPSET_DATASOURCE, enable);
    if (IsErrorResult(hr)) {
        DumpErrorHResult(hr, CMessageTable::TextOrUnknown(MsgError), nullptr);
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- teardown

bool CDataSource::ReleaseProviderObjects(bool disconnect, const LoggingSourcePos& position) {
    {
        CSingleLock poolLock(&m_csSessionPool, TRUE);
        m_sessionPool.clear();
        if (m_pIDBCreateSession != nullptr) {
            const ULONG remaining = m_pIDBCreateSession->Release();
            m_pIDBCreateSession = nullptr;
            CheckError(ReleaseResult(remaining), MsgCantReleaseInstance, position,
                       CBasicStringView<wchar_t>());
        }
    }
    if (disconnect)
        Disconnect();
    bool released = true;
    if (m_pIDBInitialize != nullptr) {
        const ULONG remaining = m_pIDBInitialize->Release();
        m_pIDBInitialize = nullptr;
        released = !CheckError(ReleaseResult(remaining), MsgCantReleaseInstance, position,
                               CBasicStringView<wchar_t>());
    }
    if (released && m_pIDataInitialize != nullptr) {
        const ULONG remaining = m_pIDataInitialize->Release();
        m_pIDataInitialize = nullptr;
        released = !CheckError(ReleaseResult(remaining), MsgCantReleaseInstance, position,
                               CBasicStringView<wchar_t>());
    }
    return released;
}

bool CDataSource::Release() {
    try {
        WaitForRunningExecutions();
        CSingleLock lock(&m_csProviderObjects, TRUE);
        // A connect at work on another thread finishes first, and its
        // eConnecting is never overwritten: it may be claimed between a look
        // at the state and a store, so the store is a compare-exchange.
        std::uint8_t state = m_connectionState.load();
        for (;;) {
            if (state == eConnecting) {
                lock.Unlock();
                Sleep(PollMilliseconds);
                lock.Lock();
                state = m_connectionState.load();
            } else if (m_connectionState.compare_exchange_weak(state, eReleased)) {
                break;
            }
        }
        return ReleaseHeld();
    } catch (...) {
        return false;
    }
}

bool CDataSource::ReleaseHeld() {
    if (!ReleaseProviderObjects(true, HDB_SOURCE_POS(L"bool __cdecl CDataSource::Release(void)")))
        return false;
    CBaseOLEDBClass::Release();
    return true;
}

// ---------------------------------------------------------------- sessions

IDBCreateSession* CDataSource::GetCurrentDatabaseSession() {
    // The data source object is asked under the provider lock, so a Release
    // or Initialize on another thread cannot release it meanwhile; the
    // provider lock comes first, as in Connect and Release.
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    CSingleLock poolLock(&m_csSessionPool, TRUE);
    if (m_pIDBCreateSession != nullptr)
        return m_pIDBCreateSession;
    // Without a data source object there is nothing to ask: reported as an
    // unexpected call.
    QuerySessionFactory(m_pIDBInitialize, &m_pIDBCreateSession,
                        HDB_SOURCE_POS(L"struct IDBCreateSession *__cdecl "
                                       L"CDataSource::GetCurrentDatabaseSession(void)"));
    return m_pIDBCreateSession;
}

boost::shared_ptr<CommandLiveChecker> CDataSource::GetCurrentDatabaseSessionCommand() {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    CSingleLock poolLock(&m_csSessionPool, TRUE);
    for (const auto& checker : m_sessionPool)
        if (checker->TryTake())
            return checker;

    IDBCreateSession* factory = GetCurrentDatabaseSession();
    if (factory == nullptr)
        return boost::shared_ptr<CommandLiveChecker>();
    IUnknown* session = nullptr;
    HRESULT hr = factory->CreateSession(nullptr, IID_IDBCreateCommand, &session);
    if (SUCCEEDED(hr) && session == nullptr)
        hr = E_NOINTERFACE;
    if (CheckError(hr, MsgCantCreateSession, factory, IID_IDBCreateSession,
                   HDB_SOURCE_POS(L"class boost::shared_ptr<class CommandLiveChecker> __cdecl "
                                  L"CDataSource::GetCurrentDatabaseSessionCommand(void)"),
                   CBasicStringView<wchar_t>())) {
        if (session)
            session->Release();
        return boost::shared_ptr<CommandLiveChecker>();
    }
    // Asked for as IDBCreateCommand, the session is that interface.
    auto checker = boost::make_shared<CommandLiveChecker>(static_cast<IDBCreateCommand*>(session));
    session->Release();
    checker->SetInUse(true);
    m_sessionPool.push_back(checker);
    return checker;
}

bool CDataSource::SetFastLoadProperty(bool enable) {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    m_bFastLoadEnabled = false;
    if (m_pIDBInitialize == nullptr ||
        IsErrorResult(
            SetRequiredFlag(SSPROP_ENABLEFASTLOAD, DBPROPSET_SQLSERVERDATASOURCE, enable)))
        return false;
    m_bFastLoadEnabled = enable;
    return true;
}

DWORD CDataSource::GetStructuredStorageProperty() const {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    DBPROP* read = nullptr;
    const HRESULT hr =
        GetProperty(m_pIDBInitialize, DBPROP_STRUCTUREDSTORAGE, DBPROPSET_DATASOURCEINFO, &read);
    const HeldProperty property(read);
    // The flags are a 4-byte integer; a value of another type (a provider's
    // mistake) carries none of them.
    if (hr != S_OK || property == nullptr)
        return 0;
    const VARIANT& value = property->vValue;
    return value.vt == VT_I4 || value.vt == VT_UI4 ? value.ulVal : 0;
}

IDBInitialize* CDataSource::GetDataSourceObjectReference() const {
    CSingleLock providerLock(&m_csProviderObjects, TRUE);
    if (m_pIDBInitialize != nullptr)
        m_pIDBInitialize->AddRef();
    return m_pIDBInitialize;
}

// ---------------------------------------------------------------- dialect

CString CDataSource::GetConvertFunction(e_convertinputtype inputType) const {
    const int value = inputType;
    const bool outOfRange = value < eStyle100 || value > eStyle120;

    if (IsSqlServer(m_eSQLDatabaseType)) {
        static constexpr int Styles[] = {100, 1, 101, 2,   102, 3,   103, 4,
                                         104, 5, 105, 109, 113, 114, 120};
        CString result = L"CONVERT(datetime, '%s', ";
        if (!outOfRange)
            result.AppendFormat(L"%d", Styles[value]);
        result += L")";
        return result;
    }

    if (m_eSQLDatabaseType == eMySQL) {
        // Left open after GET_FORMAT: the caller completes the call.
        if (outOfRange)
            return CString();
        if (value == eStyle114)
            return L"STR_TO_DATE('%s', GET_FORMAT(TIME, 'USA')";
        if (value == eStyle109 || value == eStyle113 || value == eStyle120)
            return L"STR_TO_DATE('%s', GET_FORMAT(DATETIME, 'USA')";
        return L"STR_TO_DATE('%s', GET_FORMAT(DATE, 'USA')";
    }

    if (m_eSQLDatabaseType == eLimitDialectDatabase) {
        // Applications store dates by these exact texts; the two-digit year
        // of eStyle100 and the one hyphenated form for all of 5 to 10 stay.
        switch (value) {
        case eStyle100:
        case eStyle1:
            return L"TO_DATE('%s', 'MM/DD/YY')";
        case eStyle101:
            return L"TO_DATE('%s', 'MM/DD/YYYY')";
        case eStyle2:
            return L"TO_DATE('%s', 'YY:MM:DD')";
        case eStyle102:
            return L"TO_DATE('%s', 'YYYY:MM:DD')";
        case eStyle3:
        case eStyle103:
        case eStyle4:
        case eStyle104:
        case eStyle5:
        case eStyle105:
            return L"TO_DATE('%s', 'DD-MM-YYYY')";
        case eStyle109:
        case eStyle113:
        case eStyle120:
            return L"TO_TIMESTAMP('%s', 'MM/DD/YYYY HH24:MI')";
        case eStyle114:
            return L"TO_TIME('%s', 'HH24:MI')";
        default:
            return CString();
        }
    }

    return ConvertNotImplemented;
}

CString CDataSource::GetConvertDateFunction(const COleDateTime& date) const {
    return Substitute(GetConvertFunction(eStyle101), date.Format(L"%m/%d/%Y"));
}

CString CDataSource::GetConvertDateTimeFunction(const COleDateTime& dateTime) const {
    return Substitute(GetConvertFunction(eStyle120), dateTime.Format(L"%Y-%m-%d %H:%M:%S"));
}

bool CDataSource::ContainsDateConvertFunction(const CString& sql) const {
    if (IsSqlServer(m_eSQLDatabaseType))
        return sql.Find(L"CONVERT") >= 0;
    if (m_eSQLDatabaseType == eMySQL)
        return sql.Find(L"STR_TO_DATE") >= 0;
    return false;
}

bool CDataSource::hasTopStatement() const {
    return IsSqlServer(m_eSQLDatabaseType);
}

bool CDataSource::hasLimitStatement() const {
    return m_eSQLDatabaseType == eLimitDialectDatabase;
}

bool CDataSource::hasSelectExistsStatement() const {
    return m_eSQLDatabaseType == eLimitDialectDatabase;
}

CBasicStringView<wchar_t> CDataSource::GetSQLToQueryForServerErrorSeverityMessages() const {
    if (IsSqlServer(m_eSQLDatabaseType))
        return HdbLiteralView(SeverityQuery);
    return CBasicStringView<wchar_t>();
}

CBasicString<wchar_t> CDataSource::ShowAsterisks(size_t count) {
    return CBasicString<wchar_t>(std::wstring(count, L'*'));
}

bool CDataSource::NeedsCLSIDPrompt(const GUID& providerClassId) {
    return providerClassId == CLSID_HDB_MSDASQL || providerClassId == CLSID_HDB_SQLOLEDB ||
           providerClassId == CLSID_HDB_SQLNCLI || providerClassId == CLSID_HDB_SQLNCLI10 ||
           providerClassId == CLSID_HDB_SQLNCLI11 || providerClassId == CLSID_HDB_MSOLEDBSQL ||
           providerClassId == CLSID_HDB_ORAOLEDB;
}

int CDataSource::GetDatabaseSpecificCatalogProperty(const GUID&) {
    // Every provider the library knows takes the database name as the
    // standard catalog property.
    return DBPROP_INIT_CATALOG;
}
