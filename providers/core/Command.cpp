// The command object: text, preparation, parameters (one or many sets),
// execution with cancel from another thread, and the rowset it returns.
#include <algorithm>
#include <cwchar>

#include "Core.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::core {

namespace {

// How a report names one of several parameter sets.
std::wstring ParameterSetName(size_t set, size_t count) {
    return L"parameter set " + std::to_wstring(set) + L" of " + std::to_wstring(count) +
           L" (counted from 1)";
}

// Several parameter sets run as one: the records of a failure say which set
// failed and that none of them took effect.
const backend::Diagnostics& NameFailedSet(backend::Diagnostics& diag, size_t sets) {
    if (sets > 1)
        for (auto& d : diag)
            if (d.parameterSet != 0)
                d.message = L"None of the " + std::to_wstring(sets) +
                            L" parameter sets took effect; " +
                            ParameterSetName(d.parameterSet, sets) + L" failed: " + d.message;
    return diag;
}

} // namespace

StreamSource::StreamSource(ComPtr<ISequentialStream> stream) : m_stream(std::move(stream)) {}

bool StreamSource::Read(void* buffer, size_t cb, size_t& read, backend::Diagnostics& diag) {
    read = 0;
    if (m_ended || cb == 0)
        return true;
    ULONG got = 0;
    const HRESULT hr =
        m_stream->Read(buffer, static_cast<ULONG>(std::min<size_t>(cb, ULONG_MAX)), &got);
    if (FAILED(hr)) {
        diag.push_back({L"The stream given as a parameter value could not be read.", L"HY000", 0,
                        backend::Failure::general});
        return false;
    }
    // A short read is not the end; only an empty one (or S_FALSE) is.
    m_ended = got == 0 || hr == S_FALSE;
    read = got;
    return true;
}

Command::Command(Session* session)
    : m_session(session), m_props(RowsetPropertyDefs, RowsetPropertyCount) {}

Command::~Command() {
    std::lock_guard lock(m_mutex);
    m_statement.reset();
}

HRESULT Command::Query(REFIID riid, void** ppv) {
    if (Answer<ICommandText>(riid, IID_IUnknown, this, ppv) ||
        Answer<ICommandText>(riid, IID_ICommand, this, ppv) ||
        Answer<ICommandText>(riid, IID_ICommandText, this, ppv) ||
        Answer<ICommandProperties>(riid, IID_ICommandProperties, this, ppv) ||
        Answer<ICommandPrepare>(riid, IID_ICommandPrepare, this, ppv) ||
        Answer<ICommandWithParameters>(riid, IID_ICommandWithParameters, this, ppv) ||
        Answer<IAccessor>(riid, IID_IAccessor, this, ppv) ||
        Answer<IColumnsInfo>(riid, IID_IColumnsInfo, this, ppv) ||
        Answer<IConvertType>(riid, IID_IConvertType, this, ppv) ||
        Answer<ISupportErrorInfo>(riid, IID_ISupportErrorInfo, this, ppv))
        return S_OK;
    return E_NOINTERFACE;
}

HRESULT Command::InterfaceSupportsErrorInfo(REFIID riid) {
    void* p = nullptr;
    if (riid == IID_IUnknown || riid == IID_ISupportErrorInfo || FAILED(Query(riid, &p)))
        return S_FALSE;
    return S_OK;
}

HRESULT Command::Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag) {
    return m_session->Fail(hr, iid, diag);
}

HRESULT Command::SetCommandText(REFGUID dialect, LPCOLESTR text) {
    ClearError();
    if (dialect != DBGUID_DEFAULT && dialect != DBGUID_SQL && dialect != DBGUID_DBSQL)
        return ReportError(m_session->Source(), DB_E_DIALECTNOTSUPPORTED, IID_ICommandText,
                           L"Only SQL text is understood.");
    std::lock_guard lock(m_mutex);
    if (m_statement && m_statement.use_count() > 1 && m_prepared)
        return DB_E_OBJECTOPEN;
    m_statement.reset();
    m_prepared = false;
    m_columns.clear();
    m_params.clear();
    m_hasText = text != nullptr && *text != L'\0';
    m_text = m_hasText ? text : L"";
    return S_OK;
}

HRESULT Command::GetCommandText(GUID* dialect, LPOLESTR* text) {
    ClearError();
    if (text == nullptr)
        return E_INVALIDARG;
    *text = nullptr;
    if (!m_hasText) {
        if (dialect != nullptr)
            *dialect = GUID_NULL;
        return DB_E_NOCOMMAND;
    }
    HRESULT hr = S_OK;
    if (dialect != nullptr) {
        if (*dialect != DBGUID_DEFAULT && *dialect != DBGUID_SQL && *dialect != DBGUID_DBSQL)
            hr = DB_S_DIALECTIGNORED;
        *dialect = DBGUID_SQL;
    }
    *text = TaskString(m_text);
    return *text == nullptr ? E_OUTOFMEMORY : hr;
}

HRESULT Command::EnsurePrepared(REFIID iid) {
    // A statement that no rowset shares is ready for the current text.
    if (m_statement && m_statement.use_count() == 1)
        return S_OK;
    auto stmt = std::shared_ptr<backend::Statement>(m_session->Connection().NewStatement());
    backend::Diagnostics diag;
    if (!stmt->Prepare(m_text, diag))
        return Fail(ResultOf(diag), iid, diag);
    std::vector<backend::ColumnInfo> columns;
    std::vector<backend::ParameterInfo> params;
    if (!stmt->DescribeColumns(columns, diag) || !stmt->DescribeParameters(params, diag))
        return Fail(ResultOf(diag), iid, diag);
    std::lock_guard lock(m_mutex);
    m_statement = std::move(stmt);
    m_columns = std::move(columns);
    m_params = std::move(params);
    return S_OK;
}

HRESULT Command::Prepare(ULONG) {
    ClearError();
    if (!m_hasText)
        return ReportError(m_session->Source(), DB_E_NOCOMMAND, IID_ICommandPrepare,
                           L"No command text was set.");
    {
        // Cancel looks at the statement from another thread under the lock.
        std::lock_guard lock(m_mutex);
        if (m_statement && m_statement.use_count() > 1)
            return DB_E_OBJECTOPEN;
        m_statement.reset();
    }
    HRESULT hr = EnsurePrepared(IID_ICommandPrepare);
    if (SUCCEEDED(hr))
        m_prepared = true;
    return hr;
}

HRESULT Command::Unprepare() {
    ClearError();
    if (m_statement && m_statement.use_count() > 1)
        return DB_E_OBJECTOPEN;
    std::lock_guard lock(m_mutex);
    m_statement.reset();
    m_prepared = false;
    m_columns.clear();
    m_params.clear();
    return S_OK;
}

HRESULT Command::BindParams(const DBPARAMS& params, size_t paramCount) {
    const Accessor* accessor = m_accessors.Find(params.hAccessor);
    if (accessor == nullptr)
        return ReportError(m_session->Source(), DB_E_BADACCESSORHANDLE, IID_ICommand,
                           L"The parameter accessor handle is not valid.");
    if ((accessor->flags & DBACCESSOR_PARAMETERDATA) == 0)
        return ReportError(m_session->Source(), DB_E_BADACCESSORTYPE, IID_ICommand,
                           L"The accessor is not a parameter accessor.");
    if (params.pData == nullptr && !accessor->bindings.empty())
        return E_INVALIDARG;
    if (params.cParamSets > 1 && accessor->rowSize == 0)
        return ReportError(m_session->Source(), E_INVALIDARG, IID_ICommand,
                           L"Several parameter sets need an accessor with a row size.");
    for (const DBBINDING& b : accessor->bindings) {
        if (b.iOrdinal == 0 || b.iOrdinal > paramCount)
            return ReportError(m_session->Source(), DB_E_BADORDINAL, IID_ICommand,
                               L"A parameter binding names a parameter the command lacks.");
        if (b.eParamIO & DBPARAMIO_OUTPUT)
            m_outputs.push_back(
                {b.iOrdinal - 1, (b.eParamIO & DBPARAMIO_INPUT) != 0, b.wType, b.cbMaxLen});
    }
    m_paramSets.resize(params.cParamSets);
    DB_UPARAMS failedSet = 0; // the first, counted from 1
    for (DB_UPARAMS s = 0; s < params.cParamSets; ++s) {
        backend::RowBuffer& set = m_paramSets[s];
        set.Reset(paramCount);
        auto* base = static_cast<BYTE*>(params.pData) + s * accessor->rowSize;
        for (const DBBINDING& b : accessor->bindings) {
            // An output-only parameter goes in as NULL.
            if ((b.eParamIO & DBPARAMIO_INPUT) == 0)
                continue;
            DBSTATUS status = ReadBoundValue(b, base, set, b.iOrdinal - 1);
            if (status != DBSTATUS_S_OK) {
                if (failedSet == 0)
                    failedSet = s + 1;
                if (b.dwPart & DBPART_STATUS)
                    std::memcpy(base + b.obStatus, &status, sizeof status);
            }
        }
    }
    if (failedSet != 0 && params.cParamSets > 1)
        return ReportError(m_session->Source(), DB_E_ERRORSOCCURRED, IID_ICommand,
                           L"None of the " + std::to_wstring(params.cParamSets) +
                               L" parameter sets took effect; a value of " +
                               ParameterSetName(failedSet, params.cParamSets) +
                               L" could not be used; see the binding statuses.");
    if (failedSet != 0)
        return ReportError(m_session->Source(), DB_E_ERRORSOCCURRED, IID_ICommand,
                           L"A parameter value could not be used; see the binding statuses.");
    backend::Diagnostics diag;
    if (!m_statement->BindOutputs(m_outputs, diag) ||
        !m_statement->BindParameters(m_paramSets.data(), m_paramSets.size(), diag))
        return Fail(ResultOf(diag), IID_ICommand, diag);
    return S_OK;
}

void Command::WriteOutputs(const DBPARAMS& params, bool hasRows, backend::Diagnostics& diag) {
    const Accessor* accessor = m_accessors.Find(params.hAccessor);
    backend::RowBuffer values;
    for (DB_UPARAMS s = 0; s < params.cParamSets; ++s) {
        auto* base = static_cast<BYTE*>(params.pData) + s * accessor->rowSize;
        const bool read = !hasRows && m_statement->ReadOutputs(s, values, diag);
        for (const DBBINDING& b : accessor->bindings) {
            if ((b.eParamIO & DBPARAMIO_OUTPUT) == 0)
                continue;
            if (read) {
                WriteBoundValue(b, values, base);
            } else if (b.dwPart & DBPART_STATUS) {
                const DBSTATUS unavailable = DBSTATUS_E_UNAVAILABLE;
                std::memcpy(base + b.obStatus, &unavailable, sizeof unavailable);
            }
        }
    }
}

HRESULT Command::Execute(IUnknown* outer, REFIID riid, DBPARAMS* params, DBROWCOUNT* rowsAffected,
                         IUnknown** rowset) {
    ClearError();
    BeginExecution();
    const struct Ended {
        Command& command;
        ~Ended() { command.EndExecution(); }
    } ended{*this};
    if (rowset != nullptr)
        *rowset = nullptr;
    if (rowsAffected != nullptr)
        *rowsAffected = DB_COUNTUNAVAILABLE;
    if (outer != nullptr)
        return DB_E_NOAGGREGATION;
    if (!m_hasText)
        return ReportError(m_session->Source(), DB_E_NOCOMMAND, IID_ICommand,
                           L"No command text was set.");
    if (params != nullptr && params->cParamSets != 0 && params->pData == nullptr)
        return E_INVALIDARG;
    // A rowset still reading the last result keeps its statement; a command
    // that was not prepared simply runs on a new one.
    if (m_statement && m_statement.use_count() > 1) {
        if (m_prepared)
            return ReportError(m_session->Source(), DB_E_OBJECTOPEN, IID_ICommand,
                               L"A rowset of the prepared command is still open.");
        std::lock_guard lock(m_mutex);
        m_statement.reset();
        m_columns.clear();
    }
    HRESULT hr = EnsurePrepared(IID_ICommand);
    if (FAILED(hr))
        return hr;
    m_outputs.clear();
    if (params != nullptr && params->cParamSets != 0) {
        hr = BindParams(*params, m_params.size());
        if (FAILED(hr))
            return hr;
    } else if (!m_params.empty()) {
        // Parameters without values run as NULL.
        m_paramSets.resize(1);
        m_paramSets[0].Reset(m_params.size());
        backend::Diagnostics diag;
        if (!m_statement->BindOutputs(m_outputs, diag) ||
            !m_statement->BindParameters(m_paramSets.data(), 1, diag))
            return Fail(ResultOf(diag), IID_ICommand, diag);
    }
    backend::Diagnostics diag;
    const LONG timeout = m_props.Number(DBPROPSET_ROWSET, DBPROP_COMMANDTIMEOUT);
    const LONG maxRows = m_props.Number(DBPROPSET_ROWSET, DBPROP_MAXROWS);
    if (!m_statement->SetOptions(timeout, static_cast<DBCOUNTITEM>(std::max<LONG>(maxRows, 0)),
                                 diag))
        return Fail(ResultOf(diag), IID_ICommand, diag);
    if (ArmCancel())
        return ReportError(m_session->Source(), DB_E_CANCELED, IID_ICommand,
                           L"The statement was canceled before it started.");
    DBROWCOUNT affected = DB_COUNTUNAVAILABLE;
    bool hasRows = false;
    if (!m_statement->Execute(affected, hasRows, diag))
        return Fail(ResultOf(diag), IID_ICommand,
                    NameFailedSet(diag, params != nullptr ? params->cParamSets : 0));
    if (rowsAffected != nullptr)
        *rowsAffected = affected;
    if (!m_outputs.empty())
        WriteOutputs(*params, hasRows, diag);
    // Warnings of the execution (diag of a successful Execute) reach the
    // consumer as records of the successful call.
    if (!hasRows || rowset == nullptr || riid == IID_NULL) {
        m_statement->CloseCursor();
        return ReportWarnings(m_session->Source(), S_OK, IID_ICommand, diag);
    }
    hr = MakeRowset(m_session.Get(), static_cast<ICommandText*>(this), m_statement, m_props,
                    &m_accessors, riid, rowset);
    return SUCCEEDED(hr) ? ReportWarnings(m_session->Source(), hr, IID_ICommand, diag) : hr;
}

// A cancel ends the statement it was meant for, whenever it arrives:
// - during Execute, the statement this execution runs; a cancel that comes
//   before that statement is known waits for it;
// - before the command's first execution, that execution: a watcher thread
//   started along with it may well get here first;
// - between executions, the statement whose rowset is still being read;
//   without one the cancel came late for the execution before and is
//   dropped, so that it cannot end the next one.
HRESULT Command::Cancel() {
    std::lock_guard lock(m_mutex);
    if (m_executing || !m_executedBefore) {
        m_cancelRequested = true;
        if (m_armed && m_statement && !m_statement->Cancel())
            return DB_E_CANTCANCEL;
        return S_OK;
    }
    if (m_statement && m_statement.use_count() > 1 && !m_statement->Cancel())
        return DB_E_CANTCANCEL;
    return S_OK;
}

void Command::BeginExecution() {
    std::lock_guard lock(m_mutex);
    m_executing = true;
}

bool Command::ArmCancel() {
    std::lock_guard lock(m_mutex);
    // A cancel of an earlier execution of the statement is done with.
    m_statement->ResetCancel();
    m_armed = true;
    return m_cancelRequested;
}

void Command::EndExecution() {
    std::lock_guard lock(m_mutex);
    m_executing = false;
    m_armed = false;
    m_cancelRequested = false;
    m_executedBefore = true;
}

HRESULT Command::GetDBSession(REFIID riid, IUnknown** session) {
    if (session == nullptr)
        return E_INVALIDARG;
    return m_session->QueryInterface(riid, reinterpret_cast<void**>(session));
}

HRESULT Command::GetProperties(const ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                               DBPROPSET** out) {
    ClearError();
    return m_props.Get(cSets, sets, pc, out, DBPROPFLAGS_ROWSET);
}

HRESULT Command::SetProperties(ULONG cSets, DBPROPSET sets[]) {
    ClearError();
    if (m_statement && m_statement.use_count() > 1 && m_prepared)
        return DB_E_OBJECTOPEN;
    return m_props.Set(cSets, sets, DBPROPFLAGS_ROWSET, DBPROPFLAGS_ROWSET);
}

HRESULT Command::GetParameterInfo(DB_UPARAMS* count, DBPARAMINFO** info, OLECHAR** names) {
    ClearError();
    if (count != nullptr)
        *count = 0;
    if (info != nullptr)
        *info = nullptr;
    if (names != nullptr)
        *names = nullptr;
    if (count == nullptr || info == nullptr)
        return E_INVALIDARG;
    if (!m_hasText)
        return DB_E_NOCOMMAND;
    if (!m_statement)
        return ReportError(m_session->Source(), DB_E_NOTPREPARED, IID_ICommandWithParameters,
                           L"The command is not prepared.");
    if (m_params.empty())
        return S_OK;
    size_t chars = 0;
    for (const auto& p : m_params)
        if (!p.name.empty())
            chars += p.name.size() + 1;
    auto* out = TaskArray<DBPARAMINFO>(m_params.size());
    OLECHAR* text = names != nullptr && chars != 0 ? TaskArray<OLECHAR>(chars) : nullptr;
    if (out == nullptr || (names != nullptr && chars != 0 && text == nullptr)) {
        CoTaskMemFree(out);
        CoTaskMemFree(text);
        return E_OUTOFMEMORY;
    }
    OLECHAR* cursor = text;
    for (size_t i = 0; i < m_params.size(); ++i) {
        const auto& p = m_params[i];
        DBPARAMINFO& pi = out[i];
        pi.dwFlags = p.flags;
        pi.iOrdinal = i + 1;
        pi.pwszName = nullptr;
        if (cursor != nullptr && !p.name.empty()) {
            std::memcpy(cursor, p.name.c_str(), (p.name.size() + 1) * sizeof(OLECHAR));
            pi.pwszName = cursor;
            cursor += p.name.size() + 1;
        }
        pi.pTypeInfo = nullptr;
        pi.ulParamSize = p.size;
        pi.wType = p.type;
        pi.bPrecision = p.precision;
        pi.bScale = p.scale;
    }
    *count = m_params.size();
    *info = out;
    if (names != nullptr)
        *names = text;
    return S_OK;
}

HRESULT Command::MapParameterNames(DB_UPARAMS count, const OLECHAR* names[],
                                   DB_LPARAMS ordinals[]) {
    ClearError();
    if (count == 0)
        return S_OK;
    if (names == nullptr || ordinals == nullptr)
        return E_INVALIDARG;
    if (!m_hasText)
        return DB_E_NOCOMMAND;
    if (!m_statement)
        return DB_E_NOTPREPARED;
    // Names match with or without their marker character (":a", "@a", "$a").
    auto bare = [](const std::wstring& n) {
        return !n.empty() && (n[0] == L':' || n[0] == L'@' || n[0] == L'$' || n[0] == L'?')
                   ? n.substr(1)
                   : n;
    };
    size_t found = 0;
    for (DB_UPARAMS i = 0; i < count; ++i) {
        ordinals[i] = 0;
        if (names[i] == nullptr)
            continue;
        std::wstring wanted = bare(names[i]);
        for (size_t p = 0; p < m_params.size(); ++p)
            if (!m_params[p].name.empty() && bare(m_params[p].name) == wanted) {
                ordinals[i] = static_cast<DB_LPARAMS>(p + 1);
                ++found;
                break;
            }
    }
    if (found == count)
        return S_OK;
    return found == 0 ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

HRESULT Command::SetParameterInfo(DB_UPARAMS count, const DB_UPARAMS ordinals[],
                                  const DBPARAMBINDINFO info[]) {
    ClearError();
    if (count != 0 && ordinals == nullptr)
        return E_INVALIDARG;
    // The database learns parameter types from the values bound, so the
    // consumer's description is accepted and needs no further use.
    return S_OK;
}

HRESULT Command::AddRefAccessor(HACCESSOR h, DBREFCOUNT* refs) {
    return m_accessors.AddRef(h, refs);
}

HRESULT Command::CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                const DBBINDING bindings[], DBLENGTH rowSize, HACCESSOR* h,
                                DBBINDSTATUS status[]) {
    ClearError();
    return m_accessors.Create(flags, count, bindings, rowSize, h, status, nullptr, false);
}

HRESULT Command::GetBindings(HACCESSOR h, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                             DBBINDING** bindings) {
    return m_accessors.GetBindings(h, flags, count, bindings);
}

HRESULT Command::ReleaseAccessor(HACCESSOR h, DBREFCOUNT* refs) {
    return m_accessors.Release(h, refs);
}

HRESULT Command::GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) {
    ClearError();
    if (count == nullptr || info == nullptr || strings == nullptr)
        return E_INVALIDARG;
    *count = 0;
    *info = nullptr;
    *strings = nullptr;
    if (!m_hasText)
        return DB_E_NOCOMMAND;
    if (!m_statement)
        return ReportError(m_session->Source(), DB_E_NOTPREPARED, IID_IColumnsInfo,
                           L"The command is not prepared.");
    return ColumnInfoOut(m_columns, count, info, strings);
}

HRESULT Command::MapColumnIDs(DBORDINAL count, const DBID ids[], DBORDINAL ordinals[]) {
    ClearError();
    if (!m_hasText)
        return DB_E_NOCOMMAND;
    if (!m_statement)
        return DB_E_NOTPREPARED;
    return MapColumns(m_columns, count, ids, ordinals);
}

HRESULT Command::CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS flags) {
    HRESULT hr = HdbCanConvert(from & ~DBTYPE_BYREF, to & ~DBTYPE_BYREF);
    return hr == DB_E_BADTYPE ? DB_E_BADTYPE : hr;
}

} // namespace hdb::core
