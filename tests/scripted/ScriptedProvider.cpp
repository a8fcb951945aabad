// The scripted provider: a backend answering from the shared script state,
// and thin subclasses of the provider core's objects for the answers a
// backend cannot give (result codes of Cancel and of the transaction calls,
// references held on behalf of the test, the property sets as received).
// The core makes the subclasses through its factory hooks (NewSession,
// NewCommand); everything else is the core's own.
#include "scripted/ScriptedProvider.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <new>

#include "core/Core.h"
#include "hdbplatform/ClassFactory.h"

namespace hdbscripted {

namespace backend = hdb::backend;
namespace core = hdb::core;

namespace detail {

struct Rule {
    std::wstring piece;
    int failuresLeft = 0;
    bool failAlways = false;
    Fault fault;
    std::optional<DBROWCOUNT> affected;
    std::vector<backend::ColumnInfo> columns;
    std::vector<std::vector<Value>> rows;
    std::optional<size_t> fetchFailAfter;
    Fault fetchFault;
    std::optional<Fault> warning;
    std::optional<std::chrono::milliseconds> block;
    int executions = 0;
    int blocked = 0;
};

struct Answer {
    HRESULT result = S_OK;
    Fault fault;
};

struct State {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    CLSID classId = GUID_NULL;

    std::optional<Fault> connectFault;
    int connects = 0;
    std::function<void()> beforeConnect;
    std::vector<GUID> refusedSets;
    struct PropertyAnswer {
        GUID set;
        DBPROPID id;
        std::optional<LONG> value;
        VARTYPE type;
    };
    std::vector<PropertyAnswer> propertyAnswers;
    std::vector<PropertyCall> propertyCalls;

    std::vector<std::shared_ptr<Rule>> rules;
    std::vector<std::wstring> executed;
    std::pair<LONG, DBCOUNTITEM> lastOptions{0, 0};

    HRESULT cancelResult = S_OK;
    int cancels = 0;

    Answer start, commit, abort;
    int starts = 0, commits = 0, aborts = 0;
    ISOLEVEL lastIsolation = 0;

    std::array<ULONG, 4> hold{};
    std::vector<IUnknown*> held;
    std::array<std::atomic<int>, 4> alive{};

    // The rule answering text, or null.
    std::shared_ptr<Rule> RuleFor(const std::wstring& text) const {
        for (const auto& rule : rules)
            if (text.find(rule->piece) != std::wstring::npos)
                return rule;
        return nullptr;
    }

    bool Refuses(const GUID& set) const {
        return std::find(refusedSets.begin(), refusedSets.end(), set) != refusedSets.end();
    }

    const PropertyAnswer* AnswerFor(const GUID& set, DBPROPID id) const {
        for (const auto& answer : propertyAnswers)
            if (answer.set == set && answer.id == id)
                return &answer;
        return nullptr;
    }

    // Counts one call of a transaction operation and reads its answer.
    Answer Count(int& calls, const Answer& answer) {
        std::lock_guard lock(mutex);
        ++calls;
        return answer;
    }

    // Takes `hold` references of a new object of the given kind.
    void Hold(ObjectKind kind, IUnknown* object) {
        std::lock_guard lock(mutex);
        for (ULONG i = 0; i < hold[static_cast<size_t>(kind)]; ++i) {
            object->AddRef();
            held.push_back(object);
        }
    }
};

} // namespace detail

using detail::State;

namespace {

backend::Diagnostic DiagnosticOf(const Fault& fault) {
    backend::Diagnostic d;
    d.message = fault.message;
    d.sqlState = fault.sqlState;
    d.nativeError = fault.nativeError;
    d.failure = static_cast<backend::Failure>(fault.kind);
    return d;
}

// FaultKind names the backend's failure kinds one for one.
static_assert(static_cast<int>(FaultKind::conversion) ==
                  static_cast<int>(backend::Failure::conversion) &&
              static_cast<int>(FaultKind::deadlock) ==
                  static_cast<int>(backend::Failure::deadlock));

DBCOLUMNFLAGS FlagsOf(DBTYPE type) {
    DBCOLUMNFLAGS flags = DBCOLUMNFLAGS_ISNULLABLE | DBCOLUMNFLAGS_MAYBENULL;
    if (type != DBTYPE_WSTR && type != DBTYPE_STR && type != DBTYPE_BYTES)
        flags |= DBCOLUMNFLAGS_ISFIXEDLENGTH;
    return flags;
}

// ------------------------------------------------------------ backend

class ScriptedStatement final : public backend::Statement {
public:
    explicit ScriptedStatement(std::shared_ptr<State> state) : m_state(std::move(state)) {}

    bool Prepare(const std::wstring& text, backend::Diagnostics&) override {
        m_text = text;
        return true;
    }

    // Positional markers outside quoted text, all described as wide text.
    bool DescribeParameters(std::vector<backend::ParameterInfo>& params,
                            backend::Diagnostics&) override {
        params.clear();
        wchar_t quote = 0;
        for (wchar_t c : m_text) {
            if (quote != 0) {
                if (c == quote)
                    quote = 0;
            } else if (c == L'\'' || c == L'"') {
                quote = c;
            } else if (c == L'?') {
                params.emplace_back();
            }
        }
        return true;
    }

    bool DescribeColumns(std::vector<backend::ColumnInfo>& columns,
                         backend::Diagnostics&) override {
        std::lock_guard lock(m_state->mutex);
        auto rule = m_state->RuleFor(m_text);
        columns = rule ? rule->columns : std::vector<backend::ColumnInfo>();
        return true;
    }

    bool BindParameters(const backend::RowBuffer*, size_t, backend::Diagnostics&) override {
        return true;
    }

    bool Execute(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) override {
        rowsAffected = DB_COUNTUNAVAILABLE;
        hasRows = false;
        m_rows.clear();
        m_next = 0;
        std::shared_ptr<detail::Rule> rule;
        std::optional<std::chrono::milliseconds> block;
        std::optional<backend::Diagnostic> warning;
        m_batchStart = 0;
        m_readRow = 0;
        m_readColumn = 0;
        m_readOffset = 0;
        {
            std::lock_guard lock(m_state->mutex);
            m_state->executed.push_back(m_text);
            m_state->lastOptions = m_options;
            rule = m_state->RuleFor(m_text);
            if (!rule) {
                rowsAffected = 0;
                return true;
            }
            ++rule->executions;
            if (rule->failAlways || rule->failuresLeft > 0) {
                if (rule->failuresLeft > 0)
                    --rule->failuresLeft;
                diag.push_back(DiagnosticOf(rule->fault));
                return false;
            }
            block = rule->block;
            if (rule->warning)
                warning = DiagnosticOf(*rule->warning);
        }
        if (block && !BlockUntilCanceled(*rule, *block)) {
            diag.push_back(
                {L"The statement was canceled.", L"HY008", 0, backend::Failure::canceled});
            return false;
        }
        std::lock_guard lock(m_state->mutex);
        m_columns = rule->columns;
        m_rows = rule->rows;
        m_fetchFailAfter = rule->fetchFailAfter;
        m_fetchFault = rule->fetchFault;
        hasRows = !m_columns.empty();
        rowsAffected = rule->affected.value_or(hasRows ? DB_COUNTUNAVAILABLE : 0);
        if (warning)
            diag.push_back(*warning);
        return true;
    }

    bool SetOptions(LONG timeoutSeconds, DBCOUNTITEM maxRows, backend::Diagnostics&) override {
        m_options = {timeoutSeconds, maxRows};
        return true;
    }

    bool DescribeResult(std::vector<backend::ColumnInfo>& columns, backend::Diagnostics&) override {
        columns = m_columns;
        return true;
    }

    backend::FetchResult Fetch(backend::RowBuffer* const rows[], size_t count, size_t& fetched,
                               backend::Diagnostics& diag) override {
        fetched = 0;
        m_batchStart = m_next;
        m_readRow = 0;
        m_readColumn = 0;
        m_readOffset = 0;
        while (fetched < count && m_next < m_rows.size()) {
            // A fetch reaching past the failing row fails as a whole, as a
            // lost connection fails the block it was reading.
            if (m_fetchFailAfter && m_next >= *m_fetchFailAfter) {
                diag.push_back(DiagnosticOf(m_fetchFault));
                return backend::FetchResult::error;
            }
            backend::RowBuffer& row = *rows[fetched++];
            const auto& values = m_rows[m_next++];
            row.Reset(m_columns.size());
            for (size_t c = 0; c < m_columns.size() && c < values.size(); ++c) {
                const Value& v = values[c];
                if (const auto* i = std::get_if<LONGLONG>(&v))
                    row.SetI8(c, *i);
                else if (const auto* r = std::get_if<double>(&v))
                    row.SetR8(c, *r);
                else if (m_columns[c].flags & DBCOLUMNFLAGS_ISLONG)
                    row.SetDeferred(c, DBTYPE_WSTR);
                else if (const auto* t = std::get_if<std::wstring>(&v))
                    row.SetWide(c, t->data(), t->size());
            }
        }
        return fetched != 0 ? backend::FetchResult::rows : backend::FetchResult::end;
    }

    bool ReadLong(size_t row, size_t column, size_t offset, void* buffer, size_t cb, size_t& read,
                  backend::Diagnostics& diag) override {
        read = 0;
        const size_t index = m_batchStart + row;
        const std::wstring* text = nullptr;
        if (index < m_next && column < m_rows[index].size())
            text = std::get_if<std::wstring>(&m_rows[index][column]);
        if (text == nullptr || column >= m_columns.size() ||
            !(m_columns[column].flags & DBCOLUMNFLAGS_ISLONG)) {
            diag.push_back({L"No long value at that row and column of the last fetch.", L"07009", 0,
                            backend::Failure::general});
            return false;
        }
        // Forward only: a later value, or the next chunk of the value being read.
        const bool sameValue = row == m_readRow && column == m_readColumn;
        const bool later = row > m_readRow || (row == m_readRow && column > m_readColumn);
        if (!(later && offset == 0) && !(sameValue && offset == m_readOffset)) {
            diag.push_back({L"Long values are read forward only, each from its start.", L"HY109", 0,
                            backend::Failure::general});
            return false;
        }
        const size_t bytes = text->size() * sizeof(wchar_t);
        read = std::min(cb, bytes - std::min(offset, bytes));
        if (read != 0)
            std::memcpy(buffer, reinterpret_cast<const BYTE*>(text->data()) + offset, read);
        m_readRow = row;
        m_readColumn = column;
        m_readOffset = offset + read;
        return true;
    }

    void CloseCursor() override {
        m_rows.clear();
        m_next = 0;
    }

    bool Cancel() override {
        std::lock_guard lock(m_cancelMutex);
        if (m_blocked) {
            m_canceled = true;
            m_cancelled.notify_all();
        }
        return true;
    }

    // Only a blocked execution is cancelled; nothing is kept for later.
    void ResetCancel() override {}

private:
    // Waits for a cancel or the longest time; false when canceled.
    bool BlockUntilCanceled(detail::Rule& rule, std::chrono::milliseconds longest) {
        std::unique_lock lock(m_cancelMutex);
        m_blocked = true;
        m_canceled = false;
        {
            std::lock_guard stateLock(m_state->mutex);
            ++rule.blocked;
        }
        m_state->changed.notify_all();
        m_cancelled.wait_for(lock, longest, [this] { return m_canceled; });
        const bool canceled = m_canceled;
        m_blocked = false;
        m_canceled = false;
        lock.unlock();
        std::lock_guard stateLock(m_state->mutex);
        --rule.blocked;
        return !canceled;
    }

    std::shared_ptr<State> m_state;
    std::wstring m_text;
    std::vector<backend::ColumnInfo> m_columns;
    std::vector<std::vector<Value>> m_rows;
    size_t m_next = 0;
    // The first row of the last fetch, and how far its long values were read.
    size_t m_batchStart = 0;
    size_t m_readRow = 0, m_readColumn = 0, m_readOffset = 0;
    std::pair<LONG, DBCOUNTITEM> m_options{0, 0};
    std::optional<size_t> m_fetchFailAfter;
    Fault m_fetchFault;

    std::mutex m_cancelMutex;
    std::condition_variable m_cancelled;
    bool m_blocked = false;
    bool m_canceled = false;
};

class ScriptedConnection final : public backend::Connection {
public:
    explicit ScriptedConnection(std::shared_ptr<State> state) : m_state(std::move(state)) {}

    bool Open(const backend::ConnectOptions&, backend::Diagnostics& diag) override {
        std::lock_guard lock(m_state->mutex);
        if (m_state->connectFault) {
            diag.push_back(DiagnosticOf(*m_state->connectFault));
            return false;
        }
        return true;
    }
    void Close() override {}
    std::unique_ptr<backend::Connection> OpenAnother(backend::Diagnostics&) override {
        return std::make_unique<ScriptedConnection>(m_state);
    }
    bool Begin(backend::Isolation, backend::Diagnostics&) override {
        m_inTransaction = true;
        return true;
    }
    bool Commit(backend::Diagnostics&) override {
        m_inTransaction = false;
        return true;
    }
    bool Rollback(backend::Diagnostics&) override {
        m_inTransaction = false;
        return true;
    }
    // A scripted database never ends a transaction by itself.
    bool InTransaction() const override { return m_inTransaction; }
    std::wstring CurrentCatalog() const override { return L"main"; }
    bool ListCatalogs(std::vector<backend::CatalogInfo>& catalogs, backend::Diagnostics&) override {
        catalogs = {{L"main", L""}};
        return true;
    }
    std::unique_ptr<backend::Statement> NewStatement() override {
        return std::make_unique<ScriptedStatement>(m_state);
    }
    std::wstring QuoteIdentifier(const std::wstring& name) const override {
        std::wstring quoted = L"\"";
        for (wchar_t c : name) {
            quoted += c;
            if (c == L'"')
                quoted += c;
        }
        return quoted + L"\"";
    }
    std::wstring ProductName() const override { return L"Scripted database"; }
    std::wstring ProductVersion() const override { return L"01.00.0000"; }

private:
    std::shared_ptr<State> m_state;
    bool m_inTransaction = false;
};

class ScriptedBackend final : public backend::Backend {
public:
    explicit ScriptedBackend(std::shared_ptr<State> state) : m_state(std::move(state)) {}
    std::unique_ptr<backend::Connection> NewConnection() override {
        return std::make_unique<ScriptedConnection>(m_state);
    }
    const wchar_t* ProviderName() const override { return L"haldendb scripted provider"; }
    const wchar_t* ProviderDescription() const override { return L"haldendb scripted provider"; }
    CLSID ProviderClassId() const override { return m_state->classId; }

private:
    std::shared_ptr<State> m_state;
};

// ------------------------------------------------------------ OLE DB objects

// Counts an object of one kind as alive for its own life.
class AliveCount {
public:
    AliveCount(std::shared_ptr<State> state, ObjectKind kind)
        : m_state(std::move(state)), m_kind(static_cast<size_t>(kind)) {
        ++m_state->alive[m_kind];
    }
    ~AliveCount() { --m_state->alive[m_kind]; }
    AliveCount(const AliveCount&) = delete;
    AliveCount& operator=(const AliveCount&) = delete;

private:
    std::shared_ptr<State> m_state;
    size_t m_kind;
};

// A transaction call as scripted: S_OK lets the core do the plain operation,
// a failure is answered with its record without doing anything, another
// success code replaces the core's S_OK.
template <class Operation>
HRESULT Answered(const detail::Answer& answer, const core::ErrorSource& source, REFIID iid,
                 Operation plain) {
    if (answer.result == S_OK)
        return plain();
    if (FAILED(answer.result))
        return core::ReportDiagnostics(source, answer.result, iid, {DiagnosticOf(answer.fault)});
    const HRESULT hr = plain();
    return hr == S_OK ? answer.result : hr;
}

class ScriptedCommand final : public core::Command {
public:
    ScriptedCommand(core::Session* session, std::shared_ptr<State> state)
        : Command(session), m_state(std::move(state)), m_alive(m_state, ObjectKind::command),
          m_session(session) {}

    HRESULT STDMETHODCALLTYPE Cancel() override {
        HRESULT answer;
        {
            std::lock_guard lock(m_state->mutex);
            ++m_state->cancels;
            answer = m_state->cancelResult;
        }
        if (answer == S_OK)
            return Command::Cancel();
        return core::ReportError(m_session->Source(), answer, IID_ICommand,
                                 L"The statement could not be canceled.");
    }

    HRESULT STDMETHODCALLTYPE Execute(IUnknown* outer, REFIID riid, DBPARAMS* params,
                                      DBROWCOUNT* rowsAffected, IUnknown** rowset) override {
        const HRESULT hr = Command::Execute(outer, riid, params, rowsAffected, rowset);
        if (SUCCEEDED(hr) && rowset != nullptr && *rowset != nullptr)
            m_state->Hold(ObjectKind::rowset, *rowset);
        return hr;
    }

private:
    std::shared_ptr<State> m_state;
    AliveCount m_alive;
    core::Session* m_session; // the base holds the reference
};

class ScriptedSession final : public core::Session {
public:
    ScriptedSession(core::DataSource* dataSource, std::unique_ptr<backend::Connection> connection,
                    std::shared_ptr<State> state)
        : Session(dataSource, std::move(connection)), m_state(std::move(state)),
          m_alive(m_state, ObjectKind::session) {}

    HRESULT STDMETHODCALLTYPE StartTransaction(ISOLEVEL level, ULONG flags,
                                               ITransactionOptions* options,
                                               ULONG* transactionLevel) override {
        {
            std::lock_guard lock(m_state->mutex);
            m_state->lastIsolation = level;
        }
        return Answered(
            m_state->Count(m_state->starts, m_state->start), Source(), IID_ITransactionLocal,
            [&] { return Session::StartTransaction(level, flags, options, transactionLevel); });
    }

    HRESULT STDMETHODCALLTYPE Commit(BOOL retaining, DWORD grfTC, DWORD grfRM) override {
        return Answered(m_state->Count(m_state->commits, m_state->commit), Source(),
                        IID_ITransaction, [&] { return Session::Commit(retaining, grfTC, grfRM); });
    }

    HRESULT STDMETHODCALLTYPE Abort(BOID* reason, BOOL retaining, BOOL async) override {
        return Answered(m_state->Count(m_state->aborts, m_state->abort), Source(), IID_ITransaction,
                        [&] { return Session::Abort(reason, retaining, async); });
    }

private:
    core::Command* NewCommand() override {
        auto* command = new (std::nothrow) ScriptedCommand(this, m_state);
        if (command != nullptr)
            m_state->Hold(ObjectKind::command, static_cast<ICommandText*>(command));
        return command;
    }

    std::shared_ptr<State> m_state;
    AliveCount m_alive;
};

bool CoreKnowsSet(const GUID& set) {
    return set == DBPROPSET_DBINIT || set == DBPROPSET_DATASOURCE ||
           set == DBPROPSET_DATASOURCEINFO;
}

class ScriptedDataSource final : public core::DataSource {
public:
    explicit ScriptedDataSource(std::shared_ptr<State> state)
        : DataSource(std::make_shared<ScriptedBackend>(state)), m_state(std::move(state)),
          m_alive(m_state, ObjectKind::dataSource) {}

    HRESULT STDMETHODCALLTYPE Initialize() override {
        std::function<void()> hook;
        {
            std::lock_guard lock(m_state->mutex);
            ++m_state->connects;
            hook = m_state->beforeConnect;
        }
        // Outside the lock: the hook may wait for the test, which reads the
        // script meanwhile.
        if (hook)
            hook();
        return DataSource::Initialize();
    }

    // The core answers the sets it knows; a set it does not know (a server's
    // own initialisation properties) is taken as given, as the provider for
    // that server would, so that the library's full request can be checked.
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG cSets, DBPROPSET sets[]) override {
        HRESULT hr = DataSource::SetProperties(cSets, sets);
        if (hr != S_OK && hr != DB_S_ERRORSOCCURRED && hr != DB_E_ERRORSOCCURRED)
            return hr;
        size_t good = 0, bad = 0;
        PropertyCall call;
        std::lock_guard lock(m_state->mutex);
        for (ULONG s = 0; s < cSets; ++s) {
            ReceivedSet received;
            received.set = sets[s].guidPropertySet;
            const bool refused = m_state->Refuses(sets[s].guidPropertySet);
            for (ULONG p = 0; p < sets[s].cProperties; ++p) {
                DBPROP& property = sets[s].rgProperties[p];
                if (refused)
                    property.dwStatus = DBPROPSTATUS_NOTSUPPORTED;
                else if (!CoreKnowsSet(sets[s].guidPropertySet) &&
                         property.dwStatus == DBPROPSTATUS_NOTSUPPORTED)
                    property.dwStatus = DBPROPSTATUS_OK;
                (property.dwStatus == DBPROPSTATUS_OK ? good : bad) += 1;
                received.properties.push_back(Received(property));
            }
            call.push_back(std::move(received));
        }
        m_state->propertyCalls.push_back(std::move(call));
        if (bad == 0)
            return S_OK;
        return good == 0 ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
    }

    HRESULT STDMETHODCALLTYPE GetProperties(ULONG cIdSets, const DBPROPIDSET idSets[], ULONG* cSets,
                                            DBPROPSET** sets) override {
        const HRESULT hr = DataSource::GetProperties(cIdSets, idSets, cSets, sets);
        if (FAILED(hr) || cSets == nullptr || sets == nullptr || *sets == nullptr)
            return hr;
        std::lock_guard lock(m_state->mutex);
        for (ULONG s = 0; s < *cSets; ++s) {
            DBPROPSET& set = (*sets)[s];
            for (ULONG p = 0; p < set.cProperties; ++p) {
                DBPROP& property = set.rgProperties[p];
                const auto* answer = m_state->AnswerFor(set.guidPropertySet, property.dwPropertyID);
                if (answer == nullptr || property.dwStatus != DBPROPSTATUS_OK)
                    continue;
                VariantClear(&property.vValue);
                property.vValue.lVal = answer->value.value_or(0);
                if (answer->value)
                    property.vValue.vt = answer->type;
            }
        }
        return hr;
    }

private:
    core::Session* NewSession(std::unique_ptr<backend::Connection> connection) override {
        auto* session = new (std::nothrow) ScriptedSession(this, std::move(connection), m_state);
        if (session != nullptr)
            m_state->Hold(ObjectKind::session, static_cast<IDBCreateCommand*>(session));
        return session;
    }

    static ReceivedProperty Received(const DBPROP& property) {
        ReceivedProperty r;
        r.id = property.dwPropertyID;
        r.options = property.dwOptions;
        r.status = property.dwStatus;
        r.nullColumn = property.colid.eKind == DBKIND_GUID_NAME &&
                       property.colid.uGuid.guid == GUID_NULL &&
                       property.colid.uName.pwszName == nullptr;
        r.type = property.vValue.vt;
        if (r.type == VT_BSTR && property.vValue.bstrVal != nullptr)
            r.text = property.vValue.bstrVal;
        else if (r.type == VT_I2)
            r.number = property.vValue.iVal;
        else if (r.type == VT_I4)
            r.number = property.vValue.lVal;
        else if (r.type == VT_BOOL)
            r.number = property.vValue.boolVal == VARIANT_TRUE ? 1 : 0;
        return r;
    }

    std::shared_ptr<State> m_state;
    AliveCount m_alive;
};

// Makes the data sources of the class object registered for the provider's
// class id.
hdbcom::ClassFactory::MakeInstance DataSourceMaker(std::shared_ptr<State> state) {
    return [state = std::move(state)](REFIID riid, void** ppv) {
        HRESULT hr = hdbcom::HandOut(new (std::nothrow) ScriptedDataSource(state), riid, ppv);
        if (SUCCEEDED(hr))
            state->Hold(ObjectKind::dataSource, static_cast<IUnknown*>(*ppv));
        return hr;
    };
}

// One field of the shared state, read or written under its lock.
template <class Field> Field Locked(const std::shared_ptr<State>& state, Field State::*field) {
    std::lock_guard lock(state->mutex);
    return (*state).*field;
}
template <class Field>
void Store(const std::shared_ptr<State>& state, Field State::*field, Field value) {
    std::lock_guard lock(state->mutex);
    (*state).*field = std::move(value);
}

} // namespace

// ------------------------------------------------------------ faults

Fault DeadlockVictim() {
    return {L"The transaction was chosen as deadlock victim; run it again.", L"40001", 1205,
            FaultKind::deadlock};
}

Fault SevereError(LONG nativeError) {
    return {L"The database found an inconsistency in its storage.", L"HY000", nativeError,
            FaultKind::general};
}

const ReceivedProperty* ReceivedSet::Find(DBPROPID id) const {
    for (const auto& property : properties)
        if (property.id == id)
            return &property;
    return nullptr;
}

// ------------------------------------------------------------ statement rules

StatementRule& StatementRule::FailFirst(int count, const Fault& fault) {
    std::lock_guard lock(m_state->mutex);
    m_rule->failuresLeft = count;
    m_rule->failAlways = false;
    m_rule->fault = fault;
    return *this;
}

StatementRule& StatementRule::FailAlways(const Fault& fault) {
    std::lock_guard lock(m_state->mutex);
    m_rule->failAlways = true;
    m_rule->fault = fault;
    return *this;
}

StatementRule& StatementRule::RowsAffected(DBROWCOUNT count) {
    std::lock_guard lock(m_state->mutex);
    m_rule->affected = count;
    return *this;
}

StatementRule& StatementRule::Returns(std::vector<Column> columns,
                                      std::vector<std::vector<Value>> rows) {
    std::vector<backend::ColumnInfo> described;
    for (const auto& column : columns) {
        backend::ColumnInfo info;
        info.name = column.name;
        info.type = column.type;
        info.size = column.size;
        info.flags = FlagsOf(column.type);
        if (column.isLong) {
            info.flags |= DBCOLUMNFLAGS_ISLONG;
            info.size = ~DBLENGTH(0);
        }
        described.push_back(std::move(info));
    }
    std::lock_guard lock(m_state->mutex);
    m_rule->columns = std::move(described);
    m_rule->rows = std::move(rows);
    return *this;
}

StatementRule& StatementRule::Warns(const Fault& warning) {
    std::lock_guard lock(m_state->mutex);
    m_rule->warning = warning;
    return *this;
}

StatementRule& StatementRule::FailFetchAfter(size_t rows, const Fault& fault) {
    std::lock_guard lock(m_state->mutex);
    m_rule->fetchFailAfter = rows;
    m_rule->fetchFault = fault;
    return *this;
}

StatementRule& StatementRule::Blocks(std::chrono::milliseconds longest) {
    std::lock_guard lock(m_state->mutex);
    m_rule->block = longest;
    return *this;
}

int StatementRule::Executions() const {
    std::lock_guard lock(m_state->mutex);
    return m_rule->executions;
}

bool StatementRule::WaitUntilBlocked(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(m_state->mutex);
    return m_state->changed.wait_for(lock, timeout, [this] { return m_rule->blocked > 0; });
}

// ------------------------------------------------------------ the provider

ScriptedProvider::ScriptedProvider(const CLSID& classId)
    : m_state(std::make_shared<State>()), m_classId(classId) {
    m_state->classId = classId;
    hdbcom::ComPtr<IClassFactory> factory;
    m_registered = SUCCEEDED(hdbcom::ClassFactory::Create(DataSourceMaker(m_state),
                                                          IID_IClassFactory, factory.OutVoid())) &&
                   SUCCEEDED(CoRegisterClassObject(classId, factory.Get(), CLSCTX_INPROC_SERVER,
                                                   REGCLS_MULTIPLEUSE, &m_cookie));
}

ScriptedProvider::~ScriptedProvider() {
    if (m_registered)
        CoRevokeClassObject(m_cookie);
    DropHeldReferences();
}

HRESULT ScriptedProvider::NewDataSource(REFIID riid, void** object) const {
    return CoCreateInstance(m_classId, nullptr, CLSCTX_INPROC_SERVER, riid, object);
}

void ScriptedProvider::BeforeConnect(std::function<void()> hook) {
    std::lock_guard lock(m_state->mutex);
    m_state->beforeConnect = std::move(hook);
}

void ScriptedProvider::RefuseProperties(const GUID& set) {
    std::lock_guard lock(m_state->mutex);
    if (!m_state->Refuses(set))
        m_state->refusedSets.push_back(set);
}

void ScriptedProvider::FailConnect(std::optional<Fault> fault) {
    std::lock_guard lock(m_state->mutex);
    m_state->connectFault = std::move(fault);
}

int ScriptedProvider::Connects() const {
    return Locked(m_state, &State::connects);
}

std::vector<PropertyCall> ScriptedProvider::PropertyCalls() const {
    return Locked(m_state, &State::propertyCalls);
}

std::optional<ReceivedProperty> ScriptedProvider::LastSet(const GUID& set, DBPROPID id) const {
    std::lock_guard lock(m_state->mutex);
    for (auto call = m_state->propertyCalls.rbegin(); call != m_state->propertyCalls.rend(); ++call)
        for (auto received = call->rbegin(); received != call->rend(); ++received)
            if (received->set == set)
                if (const ReceivedProperty* found = received->Find(id))
                    return *found;
    return std::nullopt;
}

void ScriptedProvider::AnswerProperty(const GUID& set, DBPROPID id, std::optional<LONG> value,
                                      VARTYPE type) {
    std::lock_guard lock(m_state->mutex);
    for (auto& answer : m_state->propertyAnswers)
        if (answer.set == set && answer.id == id) {
            answer.value = value;
            answer.type = type;
            return;
        }
    m_state->propertyAnswers.push_back({set, id, value, type});
}

StatementRule ScriptedProvider::OnStatement(const std::wstring& piece) {
    auto rule = std::make_shared<detail::Rule>();
    rule->piece = piece;
    std::lock_guard lock(m_state->mutex);
    m_state->rules.push_back(rule);
    return StatementRule(m_state, rule);
}

std::vector<std::wstring> ScriptedProvider::Executed() const {
    return Locked(m_state, &State::executed);
}

std::pair<LONG, DBCOUNTITEM> ScriptedProvider::LastStatementOptions() const {
    return Locked(m_state, &State::lastOptions);
}

void ScriptedProvider::CancelAnswers(HRESULT result) {
    std::lock_guard lock(m_state->mutex);
    m_state->cancelResult = result;
}

int ScriptedProvider::Cancels() const {
    return Locked(m_state, &State::cancels);
}

void ScriptedProvider::StartAnswers(HRESULT result, const Fault& fault) {
    Store(m_state, &State::start, {result, fault});
}

void ScriptedProvider::CommitAnswers(HRESULT result, const Fault& fault) {
    Store(m_state, &State::commit, {result, fault});
}

void ScriptedProvider::AbortAnswers(HRESULT result, const Fault& fault) {
    Store(m_state, &State::abort, {result, fault});
}

int ScriptedProvider::Starts() const {
    return Locked(m_state, &State::starts);
}

int ScriptedProvider::Commits() const {
    return Locked(m_state, &State::commits);
}

int ScriptedProvider::Aborts() const {
    return Locked(m_state, &State::aborts);
}

ISOLEVEL ScriptedProvider::LastIsolation() const {
    return Locked(m_state, &State::lastIsolation);
}

void ScriptedProvider::HoldReferences(ObjectKind kind, ULONG extra) {
    std::lock_guard lock(m_state->mutex);
    m_state->hold[static_cast<size_t>(kind)] = extra;
}

size_t ScriptedProvider::DropHeldReferences() {
    std::vector<IUnknown*> held;
    {
        // Released outside the lock: a last release destroys objects that
        // reach the state again.
        std::lock_guard lock(m_state->mutex);
        held.swap(m_state->held);
    }
    for (IUnknown* object : held)
        object->Release();
    return held.size();
}

int ScriptedProvider::Alive(ObjectKind kind) const {
    return m_state->alive[static_cast<size_t>(kind)];
}

} // namespace hdbscripted
