// The command object: text, preparation, parameters (one or many sets),
// execution with cancel from another thread, and the rowset it returns.
#include <algorithm>
#include <cwchar>

#include "Core.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::core {

namespace {

// A narrow string's length, never beyond max bytes.
size_t BoundedStrlen(const char* text, size_t max) {
    const void* end = std::memchr(text, 0, max);
    return end == nullptr ? max : static_cast<const char*>(end) - text;
}

// Consumer buffers are laid out as the consumer likes, so nothing read from
// them may assume alignment.
size_t BoundedWcslen(const void* text, size_t maxChars) {
    const auto* bytes = static_cast<const BYTE*>(text);
    size_t n = 0;
    for (; n < maxChars; ++n) {
        wchar_t c;
        std::memcpy(&c, bytes + n * sizeof(wchar_t), sizeof c);
        if (c == L'\0')
            break;
    }
    return n;
}

template <class T> T LoadAt(const void* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// Converts through the conversion engine into a cell of type to.
DBSTATUS ConvertInto(DBTYPE from, const void* src, DBLENGTH srcLength, DBTYPE to,
                     backend::RowBuffer& set, size_t col) {
    DBSTATUS status = DBSTATUS_S_OK;
    DBLENGTH length = 0;
    switch (to) {
    case DBTYPE_R8: {
        double v = 0;
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetR8(col, v);
        return status;
    }
    case DBTYPE_NUMERIC: {
        DB_NUMERIC v{};
        // Precision 0 keeps the source's own scale (a CY or DECIMAL fraction).
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetNumeric(col, v);
        return status;
    }
    case DBTYPE_DBTIMESTAMP: {
        DBTIMESTAMP v{};
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetTimestamp(col, v);
        return status;
    }
    default: { // wide text
        DBLENGTH needed = 0;
        if (FAILED(HdbGetConversionSize(from, DBTYPE_WSTR, &srcLength, &needed, src)))
            return DBSTATUS_E_CANTCONVERTVALUE;
        std::wstring text(needed / sizeof(wchar_t) + 1, L'\0');
        HdbDataConvert(from, DBTYPE_WSTR, srcLength, &length, src, text.data(),
                       text.size() * sizeof(wchar_t), DBSTATUS_S_OK, &status, 0, 0, 0);
        if (status != DBSTATUS_S_OK)
            return status;
        set.SetWide(col, text.c_str(), length / sizeof(wchar_t));
        return status;
    }
    }
}

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

// Reads one parameter value out of the consumer's buffer into a cell.
DBSTATUS ParameterCell(const DBBINDING& b, const BYTE* base, backend::RowBuffer& set, size_t col) {
    if (b.dwPart & DBPART_STATUS) {
        DBSTATUS given = LoadAt<DBSTATUS>(base + b.obStatus);
        if (given == DBSTATUS_S_ISNULL || given == DBSTATUS_S_DEFAULT ||
            given == DBSTATUS_S_IGNORE) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
        if (given != DBSTATUS_S_OK)
            return DBSTATUS_E_BADSTATUS;
    }
    if ((b.dwPart & DBPART_VALUE) == 0) {
        set.SetNull(col);
        return DBSTATUS_S_OK;
    }
    const DBTYPE type = b.wType & ~DBTYPE_BYREF;
    const void* value = base + b.obValue;
    if (b.wType & DBTYPE_BYREF) {
        value = LoadAt<const void*>(value);
        if (value == nullptr) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
    }
    const bool hasLength = (b.dwPart & DBPART_LENGTH) != 0;
    const DBLENGTH givenLength = hasLength ? LoadAt<DBLENGTH>(base + b.obLength) : 0;
    auto load = [&](auto v) {
        std::remove_cv_t<decltype(v)> x;
        std::memcpy(&x, value, sizeof x);
        return x;
    };
    switch (type) {
    case DBTYPE_I1:
        set.SetI8(col, load(std::int8_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I2:
        set.SetI8(col, load(std::int16_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I4:
        set.SetI8(col, load(std::int32_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I8:
        set.SetI8(col, load(std::int64_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI1:
        set.SetI8(col, load(std::uint8_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI2:
        set.SetI8(col, load(std::uint16_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI4:
        set.SetI8(col, load(std::uint32_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI8: {
        auto v = load(std::uint64_t{});
        if (v > static_cast<std::uint64_t>(INT64_MAX))
            return ConvertInto(DBTYPE_UI8, value, 8, DBTYPE_WSTR, set, col);
        set.SetI8(col, static_cast<LONGLONG>(v));
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BOOL:
        set.SetBool(col, load(VARIANT_BOOL{}) != VARIANT_FALSE);
        return DBSTATUS_S_OK;
    case DBTYPE_R4:
        set.SetR8(col, load(float{}));
        return DBSTATUS_S_OK;
    case DBTYPE_R8:
        set.SetR8(col, load(double{}));
        return DBSTATUS_S_OK;
    case DBTYPE_NUMERIC:
        set.SetNumeric(col, load(DB_NUMERIC{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBDATE:
        set.SetDate(col, load(DBDATE{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBTIME:
        set.SetTime(col, load(DBTIME{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBTIMESTAMP:
        set.SetTimestamp(col, load(DBTIMESTAMP{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DATE:
        return ConvertInto(type, value, sizeof(DATE), DBTYPE_DBTIMESTAMP, set, col);
    case DBTYPE_CY:
        return ConvertInto(type, value, sizeof(CY), DBTYPE_R8, set, col);
    case DBTYPE_DECIMAL:
        return ConvertInto(type, value, sizeof(DECIMAL), DBTYPE_NUMERIC, set, col);
    case DBTYPE_STR: {
        // Narrow text is the platform's narrow encoding, UTF-8.
        const auto* text = static_cast<const char*>(value);
        size_t n = hasLength
                       ? givenLength
                       : BoundedStrlen(text, (b.wType & DBTYPE_BYREF) ? SIZE_MAX : b.cbMaxLen);
        set.SetUtf8(col, text, n);
        return DBSTATUS_S_OK;
    }
    case DBTYPE_WSTR: {
        size_t n = hasLength ? givenLength / sizeof(wchar_t)
                             : BoundedWcslen(value, (b.wType & DBTYPE_BYREF)
                                                        ? SIZE_MAX
                                                        : b.cbMaxLen / sizeof(wchar_t));
        // SetWide copies bytes, so an unaligned text is fine here.
        set.SetWide(col, static_cast<const wchar_t*>(value), n);
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BSTR: {
        BSTR text = LoadAt<BSTR>(value);
        if (text == nullptr)
            set.SetWide(col, L"", 0);
        else
            set.SetWide(col, text, SysStringLen(text));
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BYTES:
        set.SetBytes(col, value, hasLength ? givenLength : b.cbMaxLen);
        return DBSTATUS_S_OK;
    case DBTYPE_VARIANT: {
        const VARIANT v = LoadAt<VARIANT>(value); // a shallow copy, only read
        switch (v.vt) {
        case VT_EMPTY:
        case VT_NULL:
            set.SetNull(col);
            return DBSTATUS_S_OK;
        case VT_I2:
            set.SetI8(col, v.iVal);
            return DBSTATUS_S_OK;
        case VT_I4:
            set.SetI8(col, v.lVal);
            return DBSTATUS_S_OK;
        case VT_I8:
            set.SetI8(col, v.llVal);
            return DBSTATUS_S_OK;
        case VT_R8:
            set.SetR8(col, v.dblVal);
            return DBSTATUS_S_OK;
        case VT_BOOL:
            set.SetBool(col, v.boolVal != VARIANT_FALSE);
            return DBSTATUS_S_OK;
        case VT_BSTR:
            set.SetWide(col, v.bstrVal ? v.bstrVal : L"", v.bstrVal ? SysStringLen(v.bstrVal) : 0);
            return DBSTATUS_S_OK;
        default:
            return ConvertInto(DBTYPE_VARIANT, value, sizeof(VARIANT), DBTYPE_WSTR, set, col);
        }
    }
    case DBTYPE_IUNKNOWN: {
        // A stream handed in as the value: the backend reads it in pieces
        // while the statement executes.
        auto* unknown = LoadAt<IUnknown*>(value);
        if (unknown == nullptr) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
        ComPtr<ISequentialStream> stream;
        if (FAILED(unknown->QueryInterface(IID_ISequentialStream,
                                           reinterpret_cast<void**>(stream.Out()))))
            return DBSTATUS_E_CANTCONVERTVALUE;
        set.SetSource(col, std::make_shared<StreamSource>(std::move(stream)));
        return DBSTATUS_S_OK;
    }
    default:
        return ConvertInto(type, value, hasLength ? givenLength : b.cbMaxLen, DBTYPE_WSTR, set,
                           col);
    }
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
    m_paramSets.resize(params.cParamSets);
    DB_UPARAMS failedSet = 0; // the first, counted from 1
    for (DB_UPARAMS s = 0; s < params.cParamSets; ++s) {
        backend::RowBuffer& set = m_paramSets[s];
        set.Reset(paramCount);
        auto* base = static_cast<BYTE*>(params.pData) + s * accessor->rowSize;
        for (const DBBINDING& b : accessor->bindings) {
            if (b.iOrdinal == 0 || b.iOrdinal > paramCount)
                return ReportError(m_session->Source(), DB_E_BADORDINAL, IID_ICommand,
                                   L"A parameter binding names a parameter the command lacks.");
            DBSTATUS status = ParameterCell(b, base, set, b.iOrdinal - 1);
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
    if (!m_statement->BindParameters(m_paramSets.data(), m_paramSets.size(), diag))
        return Fail(ResultOf(diag), IID_ICommand, diag);
    return S_OK;
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
    if (params != nullptr && params->cParamSets != 0) {
        hr = BindParams(*params, m_params.size());
        if (FAILED(hr))
            return hr;
    } else if (!m_params.empty()) {
        // Parameters without values run as NULL.
        m_paramSets.resize(1);
        m_paramSets[0].Reset(m_params.size());
        backend::Diagnostics diag;
        if (!m_statement->BindParameters(m_paramSets.data(), 1, diag))
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
