// The data source object: initialisation properties, connecting through the
// backend and handing out sessions.
#include "Core.h"

namespace hdb::core {

namespace {

bool PromptAccepted(const VARIANT& v) {
    return v.iVal >= DBPROMPT_PROMPT && v.iVal <= DBPROMPT_NOPROMPT;
}
bool TimeoutAccepted(const VARIANT& v) {
    return v.lVal >= 0;
}

constexpr DBPROPFLAGS InitRW = DBPROPFLAGS_DBINIT | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE;
constexpr DBPROPFLAGS InfoR = DBPROPFLAGS_DATASOURCEINFO | DBPROPFLAGS_READ;
constexpr DBPROPFLAGS DsRW = DBPROPFLAGS_DATASOURCE | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE;

const PropertyDef DataSourceDefs[] = {
    {&DBPROPSET_DBINIT, DBPROP_INIT_DATASOURCE, VT_BSTR, InitRW, L"Data Source", 0, nullptr},
    {&DBPROPSET_DBINIT, DBPROP_AUTH_USERID, VT_BSTR, InitRW, L"User ID", 0, nullptr},
    {&DBPROPSET_DBINIT, DBPROP_AUTH_PASSWORD, VT_BSTR, InitRW, L"Password", 0, nullptr},
    {&DBPROPSET_DBINIT, DBPROP_INIT_CATALOG, VT_BSTR, InitRW, L"Initial Catalog", 0, nullptr},
    {&DBPROPSET_DBINIT, DBPROP_INIT_TIMEOUT, VT_I4, InitRW, L"Connect Timeout", 0, nullptr,
     TimeoutAccepted},
    {&DBPROPSET_DBINIT, DBPROP_INIT_PROMPT, VT_I2, InitRW, L"Prompt", DBPROMPT_NOPROMPT, nullptr,
     PromptAccepted},
    {&DBPROPSET_DBINIT, DBPROP_AUTH_INTEGRATED, VT_BSTR, InitRW, L"Integrated Security", 0,
     nullptr},
    {&DBPROPSET_DBINIT, DBPROP_INIT_OLEDBSERVICES, VT_I4, InitRW, L"OLE DB Services",
     DBPROPVAL_OS_ENABLEALL, nullptr},
    {&DBPROPSET_DBINIT, DBPROP_INIT_PROVIDERSTRING, VT_BSTR, InitRW, L"Extended Properties", 0,
     nullptr},
    {&DBPROPSET_DBINIT, DBPROP_INIT_LCID, VT_I4, InitRW, L"Locale Identifier", 0, nullptr},
    {&DBPROPSET_DATASOURCE, DBPROP_MULTIPLECONNECTIONS, VT_BOOL, DsRW, L"Multiple Connections", 1,
     nullptr},
    {&DBPROPSET_DATASOURCE, DBPROP_CURRENTCATALOG, VT_BSTR,
     DBPROPFLAGS_DATASOURCE | DBPROPFLAGS_READ, L"Current Catalog", 0, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS, VT_I4, InfoR, L"Connection Status",
     DBPROPVAL_CS_UNINITIALIZED, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_STRUCTUREDSTORAGE, VT_I4, InfoR, L"Structured Storage",
     DBPROPVAL_SS_ISEQUENTIALSTREAM, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_MULTIPLEPARAMSETS, VT_BOOL, InfoR,
     L"Multiple Parameter Sets", 1, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_SUPPORTEDTXNISOLEVELS, VT_I4, InfoR, L"Isolation Levels",
     DBPROPVAL_TI_READUNCOMMITTED | DBPROPVAL_TI_READCOMMITTED | DBPROPVAL_TI_REPEATABLEREAD |
         DBPROPVAL_TI_SERIALIZABLE,
     nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_SUPPORTEDTXNISORETAIN, VT_I4, InfoR, L"Isolation Retention",
     DBPROPVAL_TR_COMMIT | DBPROPVAL_TR_ABORT, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_DSOTHREADMODEL, VT_I4, InfoR,
     L"Data Source Object Threading Model", DBPROPVAL_RT_FREETHREAD, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_DBMSNAME, VT_BSTR, InfoR, L"DBMS Name", 0, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_DBMSVER, VT_BSTR, InfoR, L"DBMS Version", 0, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_PROVIDERFRIENDLYNAME, VT_BSTR, InfoR,
     L"Provider Friendly Name", 0, nullptr},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_PROVIDEROLEDBVER, VT_BSTR, InfoR, L"OLE DB Version", 0,
     L"02.70"},
    {&DBPROPSET_DATASOURCEINFO, DBPROP_DATASOURCENAME, VT_BSTR, InfoR, L"Data Source Name", 0,
     nullptr},
};

// The standard properties followed by the backend's own initialisation
// properties.
std::vector<PropertyDef> DefinitionsFor(const backend::Backend& backend) {
    std::vector<PropertyDef> defs(std::begin(DataSourceDefs), std::end(DataSourceDefs));
    for (const backend::InitProperty& own : backend.InitProperties())
        defs.push_back({own.set, own.id, own.vt, InitRW, own.description, 0, nullptr});
    return defs;
}

// The values of the backend's own properties that the consumer set.
std::vector<backend::InitOption> OptionsOf(const backend::Backend& backend,
                                           const PropertyStore& props) {
    std::vector<backend::InitOption> options;
    for (const backend::InitProperty& own : backend.InitProperties()) {
        const VARIANT& value = props.Value(*own.set, own.id);
        if (value.vt == VT_EMPTY)
            continue;
        std::wstring text = props.Text(*own.set, own.id);
        if (value.vt == VT_BOOL || value.vt == VT_I4)
            text = std::to_wstring(props.Number(*own.set, own.id));
        options.push_back({*own.set, own.id, std::move(text)});
    }
    return options;
}

} // namespace

DataSource::DataSource(std::shared_ptr<backend::Backend> backend)
    : m_backend(std::move(backend)), m_defs(DefinitionsFor(*m_backend)),
      m_props(m_defs.data(), m_defs.size()) {
    m_source.name = m_backend->ProviderName();
    m_source.classId = m_backend->ProviderClassId();
    m_props.PutText(DBPROPSET_DATASOURCEINFO, DBPROP_PROVIDERFRIENDLYNAME,
                    m_backend->ProviderDescription());
}

DataSource::~DataSource() {
    if (m_connection)
        m_connection->Close();
}

HRESULT DataSource::Query(REFIID riid, void** ppv) {
    if (Answer<IDBInitialize>(riid, IID_IUnknown, this, ppv) ||
        Answer<IDBInitialize>(riid, IID_IDBInitialize, this, ppv) ||
        Answer<IDBProperties>(riid, IID_IDBProperties, this, ppv) ||
        Answer<ISupportErrorInfo>(riid, IID_ISupportErrorInfo, this, ppv))
        return S_OK;
    // Sessions exist only for an initialised data source.
    if (riid == IID_IDBCreateSession) {
        std::lock_guard lock(m_mutex);
        if (m_connection) {
            *ppv = static_cast<IDBCreateSession*>(this);
            return S_OK;
        }
    }
    return E_NOINTERFACE;
}

HRESULT DataSource::InterfaceSupportsErrorInfo(REFIID riid) {
    return riid == IID_IDBInitialize || riid == IID_IDBProperties || riid == IID_IDBCreateSession
               ? S_OK
               : S_FALSE;
}

DBPROPFLAGS DataSource::Visible() const {
    return DBPROPFLAGS_DBINIT | DBPROPFLAGS_DATASOURCEINFO | DBPROPFLAGS_DATASOURCE;
}

HRESULT DataSource::Initialize() {
    ClearError();
    std::lock_guard lock(m_mutex);
    if (m_connection)
        return ReportError(m_source, DB_E_ALREADYINITIALIZED, IID_IDBInitialize,
                           L"The data source object is already initialised.");
    backend::ConnectOptions options;
    options.dataSource = m_props.Text(DBPROPSET_DBINIT, DBPROP_INIT_DATASOURCE);
    options.user = m_props.Text(DBPROPSET_DBINIT, DBPROP_AUTH_USERID);
    options.password = m_props.Text(DBPROPSET_DBINIT, DBPROP_AUTH_PASSWORD);
    options.catalog = m_props.Text(DBPROPSET_DBINIT, DBPROP_INIT_CATALOG);
    options.providerString = m_props.Text(DBPROPSET_DBINIT, DBPROP_INIT_PROVIDERSTRING);
    options.timeoutSeconds = m_props.Number(DBPROPSET_DBINIT, DBPROP_INIT_TIMEOUT);
    options.integratedSecurity = m_props.Text(DBPROPSET_DBINIT, DBPROP_AUTH_INTEGRATED);
    options.backendOptions = OptionsOf(*m_backend, m_props);
    auto connection = m_backend->NewConnection();
    backend::Diagnostics diag;
    if (!connection->Open(options, diag))
        return ReportDiagnostics(m_source, ResultOf(diag), IID_IDBInitialize, diag);
    m_props.PutText(DBPROPSET_DATASOURCEINFO, DBPROP_DBMSNAME, connection->ProductName());
    m_props.PutText(DBPROPSET_DATASOURCEINFO, DBPROP_DBMSVER, connection->ProductVersion());
    m_props.PutText(DBPROPSET_DATASOURCEINFO, DBPROP_DATASOURCENAME, options.dataSource);
    m_props.PutText(DBPROPSET_DATASOURCE, DBPROP_CURRENTCATALOG, connection->CurrentCatalog());
    m_props.PutNumber(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS, DBPROPVAL_CS_INITIALIZED);
    m_connection = std::move(connection);
    return ReportWarnings(m_source, S_OK, IID_IDBInitialize, diag);
}

HRESULT DataSource::Uninitialize() {
    ClearError();
    std::lock_guard lock(m_mutex);
    if (!m_connection)
        return S_OK;
    if (m_sessions != 0)
        return ReportError(m_source, DB_E_OBJECTOPEN, IID_IDBInitialize,
                           L"Sessions of this data source are still open.");
    m_connection->Close();
    m_connection.reset();
    m_props.PutNumber(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS,
                      DBPROPVAL_CS_UNINITIALIZED);
    return S_OK;
}

HRESULT DataSource::GetProperties(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                  DBPROPSET** out) {
    ClearError();
    std::lock_guard lock(m_mutex);
    return m_props.Get(cSets, sets, pc, out, Visible());
}

HRESULT DataSource::GetPropertyInfo(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                    DBPROPINFOSET** out, OLECHAR** desc) {
    ClearError();
    // The data source describes every property of the provider, also those
    // its sessions, commands and rowsets hold, so that a consumer can learn
    // what is settable before it makes them.
    std::vector<PropertyDef> all = m_defs;
    all.insert(all.end(), SessionPropertyDefs, SessionPropertyDefs + SessionPropertyCount);
    all.insert(all.end(), RowsetPropertyDefs, RowsetPropertyDefs + RowsetPropertyCount);
    const PropertyStore described(all.data(), all.size());
    return described.Info(cSets, sets, pc, out, desc,
                          Visible() | DBPROPFLAGS_SESSION | DBPROPFLAGS_ROWSET);
}

HRESULT DataSource::SetProperties(ULONG cSets, DBPROPSET sets[]) {
    ClearError();
    std::lock_guard lock(m_mutex);
    // Initialisation properties are fixed once the data source is initialised.
    DBPROPFLAGS writable = DBPROPFLAGS_DATASOURCE;
    if (!m_connection)
        writable |= DBPROPFLAGS_DBINIT;
    return m_props.Set(cSets, sets, Visible(), writable);
}

HRESULT DataSource::CreateSession(IUnknown* outer, REFIID riid, IUnknown** session) {
    ClearError();
    if (session == nullptr)
        return E_INVALIDARG;
    *session = nullptr;
    if (outer != nullptr)
        return DB_E_NOAGGREGATION;
    backend::Diagnostics diag;
    auto connection = OpenSessionConnection(diag);
    if (!connection) {
        if (diag.empty())
            return ReportError(m_source, E_UNEXPECTED, IID_IDBCreateSession,
                               L"The data source object is not initialised.");
        return ReportDiagnostics(m_source, ResultOf(diag), IID_IDBCreateSession, diag);
    }
    return hdbcom::HandOut(NewSession(std::move(connection)), riid,
                           reinterpret_cast<void**>(session));
}

Session* DataSource::NewSession(std::unique_ptr<backend::Connection> connection) {
    return new (std::nothrow) Session(this, std::move(connection));
}

std::unique_ptr<backend::Connection> DataSource::OpenSessionConnection(backend::Diagnostics& diag) {
    std::lock_guard lock(m_mutex);
    if (!m_connection)
        return nullptr;
    auto connection = m_connection->OpenAnother(diag);
    if (connection)
        ++m_sessions;
    return connection;
}

void DataSource::ConnectionLost() {
    std::lock_guard lock(m_mutex);
    if (m_connection)
        m_props.PutNumber(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS,
                          DBPROPVAL_CS_COMMUNICATIONFAILURE);
}

void DataSource::SessionEnded() {
    std::lock_guard lock(m_mutex);
    --m_sessions;
}

} // namespace hdb::core
