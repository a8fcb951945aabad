// The session object: commands, tables opened without SQL, the catalogs
// schema rowset and local transactions on the session's own connection.
#include "Core.h"

namespace hdb::core {

const PropertyDef SessionPropertyDefs[] = {
    {&DBPROPSET_SESSION, DBPROP_SESS_AUTOCOMMITISOLEVELS, VT_I4,
     DBPROPFLAGS_SESSION | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE, L"Autocommit Isolation Levels",
     DBPROPVAL_TI_SERIALIZABLE, nullptr},
};
const size_t SessionPropertyCount = std::size(SessionPropertyDefs);

namespace {

// Local transactions keep no options of their own beyond what the consumer
// hands in; the object only stores them.
class TransactionOptions final : public RefCounted, public ITransactionOptions {
public:
    HDB_CORE_IUNKNOWN
    HRESULT STDMETHODCALLTYPE SetOptions(XACTOPT* options) override {
        if (options == nullptr)
            return E_INVALIDARG;
        m_options = *options;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetOptions(XACTOPT* options) override {
        if (options == nullptr)
            return E_INVALIDARG;
        *options = m_options;
        return S_OK;
    }

private:
    HRESULT Query(REFIID riid, void** ppv) {
        if (Answer<ITransactionOptions>(riid, IID_IUnknown, this, ppv) ||
            Answer<ITransactionOptions>(riid, IID_ITransactionOptions, this, ppv))
            return S_OK;
        return E_NOINTERFACE;
    }
    XACTOPT m_options{};
};

bool IsolationOf(ISOLEVEL level, backend::Isolation& out) {
    switch (static_cast<ULONG>(level)) {
    case ISOLATIONLEVEL_READUNCOMMITTED:
        out = backend::Isolation::readUncommitted;
        return true;
    case ISOLATIONLEVEL_READCOMMITTED:
        out = backend::Isolation::readCommitted;
        return true;
    case ISOLATIONLEVEL_REPEATABLEREAD:
        out = backend::Isolation::repeatableRead;
        return true;
    case ISOLATIONLEVEL_SERIALIZABLE:
    case ISOLATIONLEVEL_UNSPECIFIED:
        out = backend::Isolation::serializable;
        return true;
    default:
        return false;
    }
}

} // namespace

Session::Session(DataSource* dataSource, std::unique_ptr<backend::Connection> connection)
    : m_dataSource(dataSource), m_connection(std::move(connection)),
      m_props(SessionPropertyDefs, SessionPropertyCount) {}

Session::~Session() {
    if (m_connection->InTransaction()) {
        backend::Diagnostics diag;
        m_connection->Rollback(diag);
    }
    m_connection->Close();
    m_connection.reset();
    m_dataSource->SessionEnded();
}

HRESULT Session::Query(REFIID riid, void** ppv) {
    if (Answer<IGetDataSource>(riid, IID_IUnknown, this, ppv) ||
        Answer<IGetDataSource>(riid, IID_IGetDataSource, this, ppv) ||
        Answer<IOpenRowset>(riid, IID_IOpenRowset, this, ppv) ||
        Answer<ISessionProperties>(riid, IID_ISessionProperties, this, ppv) ||
        Answer<IDBCreateCommand>(riid, IID_IDBCreateCommand, this, ppv) ||
        Answer<IDBSchemaRowset>(riid, IID_IDBSchemaRowset, this, ppv) ||
        Answer<ITransactionLocal>(riid, IID_ITransactionLocal, this, ppv) ||
        Answer<ITransaction>(riid, IID_ITransaction, this, ppv) ||
        Answer<ISupportErrorInfo>(riid, IID_ISupportErrorInfo, this, ppv))
        return S_OK;
    return E_NOINTERFACE;
}

HRESULT Session::InterfaceSupportsErrorInfo(REFIID riid) {
    void* p = nullptr;
    if (riid == IID_IUnknown || riid == IID_ISupportErrorInfo || FAILED(Query(riid, &p)))
        return S_FALSE;
    return S_OK;
}

HRESULT Session::GetDataSource(REFIID riid, IUnknown** ppDataSource) {
    if (ppDataSource == nullptr)
        return E_INVALIDARG;
    return m_dataSource->QueryInterface(riid, reinterpret_cast<void**>(ppDataSource));
}

HRESULT Session::GetProperties(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc, DBPROPSET** out) {
    ClearError();
    return m_props.Get(cSets, sets, pc, out, DBPROPFLAGS_SESSION);
}

HRESULT Session::SetProperties(ULONG cSets, DBPROPSET sets[]) {
    ClearError();
    return m_props.Set(cSets, sets, DBPROPFLAGS_SESSION, DBPROPFLAGS_SESSION);
}

HRESULT Session::CreateCommand(IUnknown* outer, REFIID riid, IUnknown** command) {
    ClearError();
    if (command == nullptr)
        return E_INVALIDARG;
    *command = nullptr;
    if (outer != nullptr)
        return DB_E_NOAGGREGATION;
    return hdbcom::HandOut(NewCommand(), riid, reinterpret_cast<void**>(command));
}

Command* Session::NewCommand() {
    return new (std::nothrow) Command(this);
}

HRESULT Session::OpenRowset(IUnknown* outer, DBID* table, DBID* index, REFIID riid, ULONG cSets,
                            DBPROPSET sets[], IUnknown** rowset) {
    ClearError();
    if (rowset != nullptr)
        *rowset = nullptr;
    if (table == nullptr && index == nullptr)
        return E_INVALIDARG;
    if (cSets != 0 && sets == nullptr)
        return E_INVALIDARG;
    if (outer != nullptr)
        return DB_E_NOAGGREGATION;
    if (index != nullptr)
        return ReportError(Source(), DB_E_NOINDEX, IID_IOpenRowset,
                           L"Opening an index as a rowset is not supported.");
    if ((table->eKind != DBKIND_NAME && table->eKind != DBKIND_GUID_NAME &&
         table->eKind != DBKIND_PGUID_NAME) ||
        table->uName.pwszName == nullptr || *table->uName.pwszName == L'\0')
        return ReportError(Source(), DB_E_NOTABLE, IID_IOpenRowset,
                           L"The table is not named by a DBID of kind DBKIND_NAME.");
    std::wstring name = table->uName.pwszName;

    PropertyStore props(RowsetPropertyDefs, RowsetPropertyCount);
    bool requiredFailed = false;
    HRESULT propResult =
        props.Set(cSets, sets, DBPROPFLAGS_ROWSET, DBPROPFLAGS_ROWSET, &requiredFailed);
    if (requiredFailed)
        return DB_E_ERRORSOCCURRED;

    std::shared_ptr<backend::Statement> stmt = m_connection->NewStatement();
    backend::Diagnostics diag;
    if (!stmt->Prepare(L"SELECT * FROM " + m_connection->QuoteIdentifier(name), diag)) {
        HRESULT hr = ResultOf(diag);
        if (hr == DB_E_ERRORSINCOMMAND)
            hr = DB_E_NOTABLE;
        return ReportDiagnostics(Source(), hr, IID_IOpenRowset, diag);
    }
    if (rowset == nullptr)
        return propResult == S_OK ? S_OK : DB_S_ERRORSOCCURRED;
    DBROWCOUNT affected = 0;
    bool hasRows = false;
    if (!stmt->Execute(affected, hasRows, diag))
        return Fail(ResultOf(diag), IID_IOpenRowset, diag);
    HRESULT hr = MakeRowset(this, static_cast<IOpenRowset*>(this), std::move(stmt), props, nullptr,
                            riid, rowset);
    if (SUCCEEDED(hr) && propResult != S_OK)
        hr = DB_S_ERRORSOCCURRED;
    return hr;
}

HRESULT Session::GetSchemas(ULONG* count, GUID** schemas, ULONG** restrictionSupport) {
    ClearError();
    if (count != nullptr)
        *count = 0;
    if (schemas != nullptr)
        *schemas = nullptr;
    if (restrictionSupport != nullptr)
        *restrictionSupport = nullptr;
    if (count == nullptr || schemas == nullptr)
        return E_INVALIDARG;
    auto* list = TaskArray<GUID>(1);
    ULONG* support = restrictionSupport != nullptr ? TaskArray<ULONG>(1) : nullptr;
    if (list == nullptr || (restrictionSupport != nullptr && support == nullptr)) {
        CoTaskMemFree(list);
        CoTaskMemFree(support);
        return E_OUTOFMEMORY;
    }
    list[0] = DBSCHEMA_CATALOGS;
    if (support != nullptr) {
        support[0] = 1; // CATALOG_NAME may be restricted
        *restrictionSupport = support;
    }
    *schemas = list;
    *count = 1;
    return S_OK;
}

HRESULT Session::GetRowset(IUnknown* outer, REFGUID schema, ULONG cRestrictions,
                           const VARIANT restrictions[], REFIID riid, ULONG cSets, DBPROPSET sets[],
                           IUnknown** rowset) {
    ClearError();
    if (rowset == nullptr)
        return E_INVALIDARG;
    *rowset = nullptr;
    if ((cRestrictions != 0 && restrictions == nullptr) || (cSets != 0 && sets == nullptr))
        return E_INVALIDARG;
    if (outer != nullptr)
        return DB_E_NOAGGREGATION;
    if (schema != DBSCHEMA_CATALOGS)
        return ReportError(Source(), E_INVALIDARG, IID_IDBSchemaRowset,
                           L"This schema rowset is not supported.");
    if (cRestrictions > CRESTRICTIONS_DBSCHEMA_CATALOGS)
        return E_INVALIDARG;
    std::wstring only;
    bool restricted = false;
    if (cRestrictions == 1 && restrictions[0].vt != VT_EMPTY) {
        if (restrictions[0].vt != VT_BSTR)
            return ReportError(Source(), E_INVALIDARG, IID_IDBSchemaRowset,
                               L"The CATALOG_NAME restriction must be a string.");
        only = restrictions[0].bstrVal != nullptr ? restrictions[0].bstrVal : L"";
        restricted = true;
    }
    PropertyStore props(RowsetPropertyDefs, RowsetPropertyCount);
    bool requiredFailed = false;
    HRESULT propResult =
        props.Set(cSets, sets, DBPROPFLAGS_ROWSET, DBPROPFLAGS_ROWSET, &requiredFailed);
    if (requiredFailed)
        return DB_E_ERRORSOCCURRED;

    std::vector<backend::CatalogInfo> catalogs;
    backend::Diagnostics diag;
    if (!m_connection->ListCatalogs(catalogs, diag))
        return ReportDiagnostics(Source(), ResultOf(diag), IID_IDBSchemaRowset, diag);
    std::vector<backend::ColumnInfo> columns(2);
    columns[0].name = L"CATALOG_NAME";
    columns[1].name = L"DESCRIPTION";
    for (auto& c : columns) {
        c.type = DBTYPE_WSTR;
        c.size = 128;
        c.flags = DBCOLUMNFLAGS_ISNULLABLE | DBCOLUMNFLAGS_MAYBENULL;
    }
    std::vector<backend::RowBuffer> rows;
    for (const auto& catalog : catalogs) {
        if (restricted && catalog.name != only)
            continue;
        backend::RowBuffer& row = rows.emplace_back();
        row.Reset(2);
        row.SetWide(0, catalog.name.c_str(), catalog.name.size());
        if (!catalog.description.empty())
            row.SetWide(1, catalog.description.c_str(), catalog.description.size());
    }
    auto stmt = MemoryStatement(std::move(columns), std::move(rows));
    HRESULT hr = MakeRowset(this, static_cast<IDBSchemaRowset*>(this), std::move(stmt), props,
                            nullptr, riid, rowset);
    if (SUCCEEDED(hr) && propResult != S_OK)
        hr = DB_S_ERRORSOCCURRED;
    return hr;
}

// ------------------------------------------------------------ transactions
//
// The database, not the session, decides whether a transaction is open: it
// rolls one back by itself when some statements fail (a conflict clause
// ROLLBACK, an interrupted write, a full disk), and a consumer's own COMMIT
// or ROLLBACK text ends it too. So the session compares its transaction
// with the connection's after every failed statement and before every
// transaction call. Once the transaction is gone, statements commit one by
// one, as the database runs them; the failing statement and later Commit
// and Abort calls say so, and StartTransaction begins a new one.

bool Session::TransactionEndedByDatabase() {
    if (!m_inTransaction || m_connection->InTransaction())
        return false;
    m_inTransaction = false;
    m_transactionEnded = true;
    return true;
}

HRESULT Session::Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag) {
    for (const backend::Diagnostic& d : diag)
        if (d.failure == backend::Failure::connectionLost) {
            m_dataSource->ConnectionLost();
            break;
        }
    bool ended;
    {
        std::lock_guard lock(m_transactionMutex);
        ended = TransactionEndedByDatabase();
    }
    if (!ended)
        return ReportDiagnostics(Source(), hr, iid, diag);
    backend::Diagnostics told = diag;
    told.push_back({L"The transaction started on this session ended with this failure: the "
                    L"database rolled it back. Statements commit one by one until a transaction "
                    L"is started again.",
                    L"40000", 0, backend::Failure::general});
    return ReportDiagnostics(Source(), hr, iid, told);
}

HRESULT Session::NoTransaction(REFIID iid) const {
    return ReportError(Source(), XACT_E_NOTRANSACTION, iid,
                       m_transactionEnded
                           ? L"The transaction started on this session had already ended in "
                             L"the database (rolled back after a failed statement, or ended by "
                             L"a statement run on the session)."
                           : L"No transaction is running on this session.");
}

HRESULT Session::StartTransaction(ISOLEVEL level, ULONG flags, ITransactionOptions* options,
                                  ULONG* transactionLevel) {
    ClearError();
    if (flags != 0)
        return XACT_E_NOISORETAIN;
    std::lock_guard lock(m_transactionMutex);
    TransactionEndedByDatabase();
    if (m_inTransaction)
        return ReportError(Source(), XACT_E_XTIONEXISTS, IID_ITransactionLocal,
                           L"A transaction is already running on this session.");
    backend::Isolation isolation;
    if (!IsolationOf(level, isolation))
        return ReportError(Source(), XACT_E_ISOLATIONLEVEL, IID_ITransactionLocal,
                           L"The isolation level is not supported.");
    backend::Diagnostics diag;
    if (!m_connection->Begin(isolation, diag))
        return ReportDiagnostics(Source(), ResultOf(diag), IID_ITransactionLocal, diag);
    m_inTransaction = true;
    m_transactionEnded = false;
    m_isolation = level == static_cast<ISOLEVEL>(ISOLATIONLEVEL_UNSPECIFIED)
                      ? static_cast<ISOLEVEL>(ISOLATIONLEVEL_SERIALIZABLE)
                      : level;
    if (transactionLevel != nullptr)
        *transactionLevel = 1;
    return S_OK;
}

HRESULT Session::Commit(BOOL retaining, DWORD grfTC, DWORD grfRM) {
    ClearError();
    if (grfTC == XACTTC_ASYNC_PHASEONE || grfTC == XACTTC_SYNC_PHASEONE || grfRM != 0)
        return XACT_E_NOTSUPPORTED;
    std::lock_guard lock(m_transactionMutex);
    TransactionEndedByDatabase();
    if (!m_inTransaction)
        return NoTransaction(IID_ITransaction);
    backend::Diagnostics diag;
    if (!m_connection->Commit(diag)) {
        // A commit that fails may leave the transaction open (busy) or
        // have rolled it back.
        TransactionEndedByDatabase();
        return ReportDiagnostics(Source(), ResultOf(diag, XACT_E_COMMITFAILED), IID_ITransaction,
                                 diag);
    }
    m_inTransaction = false;
    return retaining ? BeginRetained(diag) : S_OK;
}

HRESULT Session::Abort(BOID* reason, BOOL retaining, BOOL async) {
    ClearError();
    if (async)
        return XACT_E_NOTSUPPORTED;
    std::lock_guard lock(m_transactionMutex);
    TransactionEndedByDatabase();
    if (!m_inTransaction)
        return NoTransaction(IID_ITransaction);
    backend::Diagnostics diag;
    if (!m_connection->Rollback(diag)) {
        TransactionEndedByDatabase();
        return ReportDiagnostics(Source(), ResultOf(diag), IID_ITransaction, diag);
    }
    m_inTransaction = false;
    return retaining ? BeginRetained(diag) : S_OK;
}

// A retaining commit or abort starts the next transaction at once, at the
// isolation level of the one that ended.
HRESULT Session::BeginRetained(backend::Diagnostics& diag) {
    backend::Isolation isolation = backend::Isolation::serializable;
    IsolationOf(m_isolation, isolation);
    if (!m_connection->Begin(isolation, diag))
        return ReportDiagnostics(Source(), ResultOf(diag), IID_ITransaction, diag);
    m_inTransaction = true;
    return S_OK;
}

HRESULT Session::GetTransactionInfo(XACTTRANSINFO* info) {
    ClearError();
    if (info == nullptr)
        return E_INVALIDARG;
    std::lock_guard lock(m_transactionMutex);
    TransactionEndedByDatabase();
    if (!m_inTransaction)
        return XACT_E_NOTRANSACTION;
    *info = XACTTRANSINFO{};
    std::memcpy(info->uow.rgb, &m_connection, std::min(sizeof(info->uow.rgb), sizeof(void*)));
    info->isoLevel = m_isolation;
    info->grfTCSupported = XACTTC_NONE | XACTTC_SYNC;
    info->grfTCSupportedRetaining = XACTTC_NONE | XACTTC_SYNC;
    return S_OK;
}

HRESULT Session::GetOptionsObject(ITransactionOptions** options) {
    if (options == nullptr)
        return E_INVALIDARG;
    *options = new (std::nothrow) TransactionOptions;
    return *options == nullptr ? E_OUTOFMEMORY : S_OK;
}

} // namespace hdb::core
