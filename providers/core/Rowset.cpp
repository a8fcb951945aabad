// The rowset object: forward fetching in batches of row handles over a
// backend cursor, GetData into the consumer's bindings, bookmarks when asked
// for, and the stream objects over long values.
#include <algorithm>

#include "Core.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::core {

namespace {

bool UpdatabilityAccepted(const VARIANT& v) {
    return (v.lVal & ~(DBPROPVAL_UP_CHANGE | DBPROPVAL_UP_DELETE | DBPROPVAL_UP_INSERT)) == 0;
}
bool NotNegative(const VARIANT& v) {
    return v.lVal >= 0;
}

constexpr DBPROPFLAGS RowR = DBPROPFLAGS_ROWSET | DBPROPFLAGS_READ;
constexpr DBPROPFLAGS RowRW = DBPROPFLAGS_ROWSET | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE;

} // namespace

const PropertyDef RowsetPropertyDefs[] = {
    {&DBPROPSET_ROWSET, DBPROP_IRowset, VT_BOOL, RowR, L"IRowset", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_IAccessor, VT_BOOL, RowR, L"IAccessor", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_IColumnsInfo, VT_BOOL, RowR, L"IColumnsInfo", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_IRowsetInfo, VT_BOOL, RowR, L"IRowsetInfo", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_IConvertType, VT_BOOL, RowR, L"IConvertType", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_ISupportErrorInfo, VT_BOOL, RowR, L"ISupportErrorInfo", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_IRowsetLocate, VT_BOOL, RowRW, L"IRowsetLocate", 0, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_BOOKMARKS, VT_BOOL, RowRW, L"Use Bookmarks", 0, nullptr},
    // Changing rows through a rowset is not offered (yet): the property can
    // only be read, and asking for it fails as OLE DB says for read-only ones.
    {&DBPROPSET_ROWSET, DBPROP_IRowsetChange, VT_BOOL, RowR, L"IRowsetChange", 0, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_UPDATABILITY, VT_I4, RowRW, L"Updatability", 0, nullptr,
     UpdatabilityAccepted},
    {&DBPROPSET_ROWSET, DBPROP_ISequentialStream, VT_BOOL, RowRW, L"ISequentialStream", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_CANHOLDROWS, VT_BOOL, RowR, L"Hold Rows", 1, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_CANFETCHBACKWARDS, VT_BOOL, RowR, L"Fetch Backwards", 0, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_CANSCROLLBACKWARDS, VT_BOOL, RowR, L"Scroll Backwards", 0, nullptr},
    {&DBPROPSET_ROWSET, DBPROP_MAXROWS, VT_I4, RowRW, L"Maximum Rows", 0, nullptr, NotNegative},
    {&DBPROPSET_ROWSET, DBPROP_COMMANDTIMEOUT, VT_I4, RowRW, L"Command Time Out", 0, nullptr,
     NotNegative},
    {&DBPROPSET_ROWSET, DBPROP_ROWTHREADMODEL, VT_I4, RowR, L"Row Threading Model",
     DBPROPVAL_RT_FREETHREAD, nullptr},
};
const size_t RowsetPropertyCount = std::size(RowsetPropertyDefs);

// ------------------------------------------------------------ streams

namespace {

// ISequentialStream over one long value, read-only. A value the cursor
// already delivered is copied into the stream; a deferred one is read from
// the rowset in chunks as the consumer asks for it.
class ValueStream final : public RefCounted, public ISequentialStream {
public:
    ValueStream(const BYTE* data, size_t size) : m_bytes(data, data + size) {}
    ValueStream(Rowset* rowset, HROW row, size_t column)
        : m_rowset(rowset), m_row(row), m_column(column) {}
    HDB_CORE_IUNKNOWN

    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override {
        if (pcbRead != nullptr)
            *pcbRead = 0;
        if (pv == nullptr)
            return STG_E_INVALIDPOINTER;
        size_t read = 0;
        if (m_rowset) {
            HRESULT hr = m_rowset->ReadDeferred(m_row, m_column, m_position, pv, cb, read);
            if (FAILED(hr))
                return hr;
        } else {
            read = std::min<size_t>(cb, m_bytes.size() - std::min(m_position, m_bytes.size()));
            if (read != 0)
                std::memcpy(pv, m_bytes.data() + m_position, read);
        }
        m_position += read;
        if (pcbRead != nullptr)
            *pcbRead = static_cast<ULONG>(read);
        return read == cb ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG* pcbWritten) override {
        if (pcbWritten != nullptr)
            *pcbWritten = 0;
        return STG_E_ACCESSDENIED;
    }

private:
    HRESULT Query(REFIID riid, void** ppv) {
        if (Answer<ISequentialStream>(riid, IID_IUnknown, this, ppv) ||
            Answer<ISequentialStream>(riid, IID_ISequentialStream, this, ppv))
            return S_OK;
        return E_NOINTERFACE;
    }

    std::vector<BYTE> m_bytes;
    ComPtr<Rowset> m_rowset;
    HROW m_row = 0;
    size_t m_column = 0;
    size_t m_position = 0;
};

// Rows held in memory behind the statement contract (schema rowsets).
class RowsInMemory final : public backend::Statement {
public:
    RowsInMemory(std::vector<backend::ColumnInfo> columns, std::vector<backend::RowBuffer> rows)
        : m_columns(std::move(columns)), m_rows(std::move(rows)) {}
    bool Prepare(const std::wstring&, backend::Diagnostics&) override { return true; }
    bool DescribeParameters(std::vector<backend::ParameterInfo>& p,
                            backend::Diagnostics&) override {
        p.clear();
        return true;
    }
    bool DescribeColumns(std::vector<backend::ColumnInfo>& c, backend::Diagnostics&) override {
        c = m_columns;
        return true;
    }
    bool BindParameters(const backend::RowBuffer*, size_t, backend::Diagnostics&) override {
        return true;
    }
    bool Execute(DBROWCOUNT& affected, bool& hasRows, backend::Diagnostics&) override {
        m_next = 0;
        affected = DB_COUNTUNAVAILABLE;
        hasRows = true;
        return true;
    }
    bool DescribeResult(std::vector<backend::ColumnInfo>& c, backend::Diagnostics&) override {
        c = m_columns;
        return true;
    }
    backend::FetchResult Fetch(backend::RowBuffer* const rows[], size_t count, size_t& fetched,
                               backend::Diagnostics&) override {
        fetched = 0;
        while (fetched < count && m_next < m_rows.size())
            *rows[fetched++] = m_rows[m_next++];
        return fetched == 0 ? backend::FetchResult::end : backend::FetchResult::rows;
    }
    bool SetOptions(LONG, DBCOUNTITEM, backend::Diagnostics&) override { return true; }
    // Rows in memory hold every value whole: none is deferred.
    bool ReadLong(size_t, size_t, size_t, void*, size_t, size_t& read,
                  backend::Diagnostics&) override {
        read = 0;
        return false;
    }
    void CloseCursor() override { m_next = m_rows.size(); }
    bool Cancel() override { return true; }
    void ResetCancel() override {}
    bool OnlyReads() const override { return true; }

private:
    std::vector<backend::ColumnInfo> m_columns;
    std::vector<backend::RowBuffer> m_rows;
    size_t m_next = 0;
};

} // namespace

std::shared_ptr<backend::Statement> MemoryStatement(std::vector<backend::ColumnInfo> columns,
                                                    std::vector<backend::RowBuffer> rows) {
    auto stmt = std::make_shared<RowsInMemory>(std::move(columns), std::move(rows));
    DBROWCOUNT affected;
    bool hasRows;
    backend::Diagnostics diag;
    stmt->Execute(affected, hasRows, diag);
    return stmt;
}

HRESULT MakeRowset(Session* session, IUnknown* creator, std::shared_ptr<backend::Statement> stmt,
                   const PropertyStore& props, const AccessorTable* inherited, REFIID riid,
                   IUnknown** out) {
    std::vector<backend::ColumnInfo> columns;
    backend::Diagnostics diag;
    if (!stmt->DescribeResult(columns, diag))
        return ReportDiagnostics(session->Source(), ResultOf(diag), IID_IRowset, diag);
    auto* rowset = new (std::nothrow)
        Rowset(session, creator, std::move(stmt), std::move(columns), props, inherited);
    if (rowset == nullptr)
        return E_OUTOFMEMORY;
    HRESULT hr = rowset->QueryInterface(riid, reinterpret_cast<void**>(out));
    rowset->Release();
    return hr;
}

// ------------------------------------------------------------ rowset

Rowset::Rowset(Session* session, IUnknown* creator, std::shared_ptr<backend::Statement> statement,
               std::vector<backend::ColumnInfo> columns, const PropertyStore& props,
               const AccessorTable* inherited)
    : m_session(session), m_creator(creator), m_statement(std::move(statement)),
      m_columns(std::move(columns)), m_props(props) {
    if (inherited != nullptr)
        m_accessors.InheritFrom(*inherited);
    m_keepRows = m_props.Bool(DBPROPSET_ROWSET, DBPROP_IRowsetLocate) ||
                 m_props.Bool(DBPROPSET_ROWSET, DBPROP_BOOKMARKS);
    if (m_keepRows) {
        m_props.PutBool(DBPROPSET_ROWSET, DBPROP_IRowsetLocate, true);
        m_props.PutBool(DBPROPSET_ROWSET, DBPROP_BOOKMARKS, true);
    }
}

Rowset::~Rowset() {
    if (m_statement)
        m_statement->CloseCursor();
    m_statement.reset();
}

HRESULT Rowset::Query(REFIID riid, void** ppv) {
    if (Answer<IRowset>(riid, IID_IUnknown, this, ppv) ||
        Answer<IRowset>(riid, IID_IRowset, this, ppv) ||
        Answer<IAccessor>(riid, IID_IAccessor, this, ppv) ||
        Answer<IColumnsInfo>(riid, IID_IColumnsInfo, this, ppv) ||
        Answer<IRowsetInfo>(riid, IID_IRowsetInfo, this, ppv) ||
        Answer<IConvertType>(riid, IID_IConvertType, this, ppv) ||
        Answer<ISupportErrorInfo>(riid, IID_ISupportErrorInfo, this, ppv))
        return S_OK;
    if (m_keepRows && Answer<IRowsetLocate>(riid, IID_IRowsetLocate, this, ppv))
        return S_OK;
    return E_NOINTERFACE;
}

HRESULT Rowset::InterfaceSupportsErrorInfo(REFIID riid) {
    void* p = nullptr;
    if (riid == IID_IUnknown || riid == IID_ISupportErrorInfo || FAILED(Query(riid, &p)))
        return S_FALSE;
    return S_OK;
}

HRESULT Rowset::Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag) {
    return m_session->Fail(hr, iid, diag);
}

Rowset::Slot* Rowset::SlotOf(HROW row) {
    if (row == DB_NULL_HROW || row > m_slots.size())
        return nullptr;
    Slot* slot = m_slots[row - 1].get();
    return slot->refs == 0 ? nullptr : slot;
}

HRESULT Rowset::SeekCursor(DBBKMARK position) {
    // Bookmarks are row numbers. Rows are not kept: going back runs the
    // statement again and counts forward, so a rowset with bookmarks needs
    // no more memory than a forward-only one.
    if (position <= m_fetched) {
        if (!m_statement->OnlyReads())
            return RefuseRerun(IID_IRowsetLocate);
        m_statement->CloseCursor();
        backend::Diagnostics diag;
        DBROWCOUNT affected;
        bool hasRows;
        if (!m_statement->Execute(affected, hasRows, diag))
            return Fail(ResultOf(diag), IID_IRowsetLocate, diag);
        m_end = !hasRows;
        m_fetched = 0;
    }
    bool end = m_end;
    while (m_fetched + 1 < position && !end) {
        m_skipped.clear();
        HRESULT hr = FetchMore(std::min<DBBKMARK>(64, position - 1 - m_fetched), m_skipped, end);
        if (FAILED(hr))
            return hr;
        ReleaseRows(m_skipped.size(), m_skipped.data(), nullptr, nullptr, nullptr);
    }
    return S_OK;
}

HRESULT Rowset::FetchMore(size_t count, std::vector<HROW>& out, bool& end) {
    end = false;
    const LONG maxRows = m_props.Number(DBPROPSET_ROWSET, DBPROP_MAXROWS);
    if (maxRows > 0 && m_fetched + count > static_cast<DBBKMARK>(maxRows)) {
        count = m_fetched >= static_cast<DBBKMARK>(maxRows) ? 0 : maxRows - m_fetched;
        if (count == 0)
            m_end = true;
    }
    if (m_end) {
        end = true;
        return S_OK;
    }
    m_fetchTargets.clear();
    const size_t firstNew = m_slots.size();
    std::vector<size_t>& chosen = m_chosen;
    chosen.clear();
    for (size_t i = 0; i < count; ++i) {
        size_t index;
        if (!m_free.empty()) {
            index = m_free.back();
            m_free.pop_back();
        } else {
            index = m_slots.size();
            m_slots.push_back(std::make_unique<Slot>());
        }
        chosen.push_back(index);
        m_fetchTargets.push_back(&m_slots[index]->row);
    }
    size_t fetched = 0;
    backend::Diagnostics diag;
    backend::FetchResult result = m_statement->Fetch(m_fetchTargets.data(), count, fetched, diag);
    ++m_generation;
    for (size_t i = 0; i < fetched; ++i) {
        Slot& slot = *m_slots[chosen[i]];
        slot.refs = 1;
        slot.position = ++m_fetched;
        slot.generation = m_generation;
        slot.batchIndex = i;
        out.push_back(chosen[i] + 1);
    }
    // Slots left unused go back for the next fetch; new ones at the end are
    // dropped again.
    for (size_t i = fetched; i < chosen.size(); ++i)
        if (chosen[i] < firstNew)
            m_free.push_back(chosen[i]);
    if (m_slots.size() > firstNew) {
        size_t keep = firstNew;
        for (size_t i = 0; i < fetched; ++i)
            keep = std::max(keep, chosen[i] + 1);
        m_slots.resize(keep);
    }
    if (result == backend::FetchResult::error) {
        for (size_t i = 0; i < fetched; ++i)
            m_slots[chosen[i]]->refs = 0, m_free.push_back(chosen[i]);
        out.resize(out.size() - fetched);
        return Fail(ResultOf(diag), IID_IRowset, diag);
    }
    if (fetched < count) {
        m_end = true;
        end = true;
    }
    return ReportWarnings(m_session->Source(), S_OK, IID_IRowset, diag);
}

HRESULT Rowset::HandOut(const std::vector<HROW>& handles, DBCOUNTITEM* obtained, HROW** rows) {
    if (handles.empty())
        return S_OK;
    if (*rows == nullptr) {
        *rows = TaskArray<HROW>(handles.size());
        if (*rows == nullptr) {
            ReleaseRows(handles.size(), handles.data(), nullptr, nullptr, nullptr);
            return E_OUTOFMEMORY;
        }
    }
    std::copy(handles.begin(), handles.end(), *rows);
    *obtained = handles.size();
    return S_OK;
}

HRESULT Rowset::GetNextRows(HCHAPTER chapter, DBROWOFFSET offset, DBROWCOUNT cRows,
                            DBCOUNTITEM* obtained, HROW** rows) {
    if (obtained == nullptr || rows == nullptr)
        return E_INVALIDARG;
    *obtained = 0;
    if (chapter != DB_NULL_HCHAPTER)
        return DB_E_BADCHAPTER;
    if (cRows == 0)
        return S_OK;
    if (cRows < 0)
        return DB_E_CANTFETCHBACKWARDS;
    if (offset < 0)
        return DB_E_CANTSCROLLBACKWARDS;
    m_handles.clear();
    bool end = false;
    if (m_keepRows) {
        // GetRowsAt and GetRowsByBookmark move the cursor; the next-fetch
        // position is the rowset's own.
        HRESULT hr = SeekCursor(m_nextPosition + offset);
        if (FAILED(hr))
            return hr;
        hr = FetchMore(cRows, m_handles, end);
        if (FAILED(hr))
            return hr;
        m_nextPosition = m_fetched + 1;
    } else {
        if (offset > 0) {
            std::vector<HROW> skipped;
            HRESULT hr = FetchMore(offset, skipped, end);
            if (FAILED(hr))
                return hr;
            ReleaseRows(skipped.size(), skipped.data(), nullptr, nullptr, nullptr);
        }
        if (!end) {
            HRESULT hr = FetchMore(cRows, m_handles, end);
            if (FAILED(hr))
                return hr;
        }
    }
    HRESULT hr = HandOut(m_handles, obtained, rows);
    if (FAILED(hr))
        return hr;
    return *obtained < static_cast<DBCOUNTITEM>(cRows) ? DB_S_ENDOFROWSET : S_OK;
}

HRESULT Rowset::ReleaseRows(DBCOUNTITEM cRows, const HROW rows[], DBROWOPTIONS[], DBREFCOUNT refs[],
                            DBROWSTATUS status[]) {
    return CountRowReferences(cRows, rows, refs, status, -1);
}

HRESULT Rowset::AddRefRows(DBCOUNTITEM cRows, const HROW rows[], DBREFCOUNT refs[],
                           DBROWSTATUS status[]) {
    return CountRowReferences(cRows, rows, refs, status, +1);
}

// Adds step (+1 or -1) to the reference count of each row handle; a row
// whose count drops to 0 is free for the next fetch.
HRESULT Rowset::CountRowReferences(DBCOUNTITEM cRows, const HROW rows[], DBREFCOUNT refs[],
                                   DBROWSTATUS status[], int step) {
    if (cRows != 0 && rows == nullptr)
        return E_INVALIDARG;
    size_t bad = 0;
    for (DBCOUNTITEM i = 0; i < cRows; ++i) {
        Slot* slot = rows[i] == DB_NULL_HROW || rows[i] > m_slots.size()
                         ? nullptr
                         : m_slots[rows[i] - 1].get();
        const bool valid = slot != nullptr && slot->refs != 0;
        if (valid) {
            if (step > 0)
                ++slot->refs;
            else if (--slot->refs == 0)
                m_free.push_back(rows[i] - 1);
        } else {
            ++bad;
        }
        if (refs != nullptr)
            refs[i] = valid ? slot->refs : 0;
        if (status != nullptr)
            status[i] = valid ? DBROWSTATUS_S_OK : DBROWSTATUS_E_INVALID;
    }
    if (bad == 0)
        return S_OK;
    return bad == cRows ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

HRESULT Rowset::RefuseRerun(REFIID iid) {
    return ReportError(m_session->Source(), DB_E_CANNOTRESTART, iid,
                       L"The rowset's statement changes data: going back would run it, and "
                       L"its change, again.");
}

HRESULT Rowset::RestartPosition(HCHAPTER chapter) {
    ClearError();
    if (chapter != DB_NULL_HCHAPTER)
        return DB_E_BADCHAPTER;
    if (m_keepRows) {
        // The cursor goes back when the next fetch needs it to.
        m_nextPosition = 1;
        return S_OK;
    }
    for (const auto& slot : m_slots)
        if (slot->refs != 0)
            return DB_E_ROWSNOTRELEASED;
    if (!m_statement->OnlyReads())
        return RefuseRerun(IID_IRowset);
    m_statement->CloseCursor();
    backend::Diagnostics diag;
    DBROWCOUNT affected;
    bool hasRows;
    if (!m_statement->Execute(affected, hasRows, diag))
        return Fail(ResultOf(diag), IID_IRowset, diag);
    m_end = !hasRows;
    m_fetched = 0;
    m_nextPosition = 1;
    return S_OK;
}

HRESULT Rowset::ReadDeferred(HROW row, size_t column, size_t offset, void* buffer, size_t cb,
                             size_t& read) {
    read = 0;
    Slot* slot = SlotOf(row);
    if (slot == nullptr)
        return ReportError(m_session->Source(), DB_E_BADROWHANDLE, IID_ISequentialStream,
                           L"The row of the long value was released.");
    // Deferred values come from the cursor, which only holds the rows of
    // the latest fetch.
    if (slot->generation != m_generation)
        return ReportError(m_session->Source(), DB_E_BADROWHANDLE, IID_ISequentialStream,
                           L"The long value can no longer be read: it belongs to a row of an "
                           L"earlier fetch, and the database delivers long values only for the "
                           L"rows of the latest one.");
    backend::Diagnostics diag;
    if (!m_statement->ReadLong(slot->batchIndex, column, offset, buffer, cb, read, diag))
        return Fail(ResultOf(diag), IID_ISequentialStream, diag);
    return ReportWarnings(m_session->Source(), S_OK, IID_ISequentialStream, diag);
}

HRESULT Rowset::FillBinding(const DBBINDING& b, HROW row, const backend::RowBuffer& buffer,
                            BYTE* data, DBSTATUS& status) {
    const backend::Cell& cell = buffer[b.iOrdinal - 1];
    const bool asStream = b.wType == DBTYPE_IUNKNOWN && b.pObject != nullptr;
    if (cell.type == DBTYPE_NULL || !(cell.deferred || asStream)) {
        status = WriteBoundValue(b, buffer, data);
        return S_OK;
    }
    const bool wantValue = (b.dwPart & DBPART_VALUE) != 0;
    BYTE* value = data + b.obValue;
    DBLENGTH length = 0;
    status = DBSTATUS_S_OK;
    if (asStream) {
        ValueStream* stream;
        if (cell.deferred)
            stream = new (std::nothrow) ValueStream(this, row, b.iOrdinal - 1);
        else if (cell.type == DBTYPE_WSTR || cell.type == DBTYPE_BYTES)
            stream = new (std::nothrow) ValueStream(buffer.Data(cell), cell.length);
        else
            stream = nullptr;
        if (stream == nullptr) {
            status = DBSTATUS_E_CANTCREATE;
        } else {
            length = cell.length;
            // Consumer offsets need not be aligned: every store is a copy.
            ISequentialStream* pointer = stream;
            if (wantValue)
                std::memcpy(value, &pointer, sizeof pointer);
            else
                stream->Release();
        }
    } else {
        // A long value bound as a plain value: read it whole, then convert.
        std::vector<BYTE> whole;
        // Also an empty value is converted from a real address: the engine
        // takes a null source for a missing value.
        whole.reserve(1);
        BYTE chunk[4096];
        size_t offset = 0, read = 0;
        HRESULT hr;
        while (
            SUCCEEDED(hr = ReadDeferred(row, b.iOrdinal - 1, offset, chunk, sizeof chunk, read)) &&
            read != 0) {
            whole.insert(whole.end(), chunk, chunk + read);
            offset += read;
        }
        // A value that cannot be read whole is not handed out in part.
        if (FAILED(hr))
            status = DBSTATUS_E_UNAVAILABLE;
        else
            HdbDataConvert(cell.type, b.wType, whole.size(), &length, whole.data(),
                           wantValue ? value : nullptr, wantValue ? b.cbMaxLen : 0, DBSTATUS_S_OK,
                           &status, b.bPrecision, b.bScale, 0);
    }
    if (b.dwPart & DBPART_LENGTH)
        std::memcpy(data + b.obLength, &length, sizeof length);
    if (b.dwPart & DBPART_STATUS)
        std::memcpy(data + b.obStatus, &status, sizeof status);
    return S_OK;
}

HRESULT Rowset::GetData(HROW row, HACCESSOR accessorHandle, void* data) {
    const Accessor* accessor = m_accessors.Find(accessorHandle);
    if (accessor == nullptr)
        return DB_E_BADACCESSORHANDLE;
    if ((accessor->flags & DBACCESSOR_ROWDATA) == 0)
        return DB_E_BADACCESSORTYPE;
    Slot* slot = SlotOf(row);
    if (slot == nullptr)
        return DB_E_BADROWHANDLE;
    if (data == nullptr && !accessor->bindings.empty())
        return E_INVALIDARG;
    auto* bytes = static_cast<BYTE*>(data);
    size_t good = 0, bad = 0;
    for (const DBBINDING& b : accessor->bindings) {
        DBSTATUS status;
        if (b.iOrdinal == 0 && m_keepRows) {
            // The bookmark column: the row's number.
            DBLENGTH length = 0;
            const DBBKMARK position = slot->position;
            if (b.wType == DBTYPE_UI8 || b.wType == DBTYPE_BYTES) {
                length = sizeof position;
                status = b.wType == DBTYPE_BYTES && b.cbMaxLen < sizeof position
                             ? DBSTATUS_E_DATAOVERFLOW
                             : DBSTATUS_S_OK;
                if ((b.dwPart & DBPART_VALUE) && status == DBSTATUS_S_OK)
                    std::memcpy(bytes + b.obValue, &position, sizeof position);
            } else {
                HdbDataConvert(DBTYPE_UI8, b.wType, sizeof position, &length, &position,
                               (b.dwPart & DBPART_VALUE) ? bytes + b.obValue : nullptr, b.cbMaxLen,
                               DBSTATUS_S_OK, &status, b.bPrecision, b.bScale, 0);
            }
            if (b.dwPart & DBPART_LENGTH)
                std::memcpy(bytes + b.obLength, &length, sizeof length);
            if (b.dwPart & DBPART_STATUS)
                std::memcpy(bytes + b.obStatus, &status, sizeof status);
        } else if (b.iOrdinal == 0 || b.iOrdinal > m_columns.size()) {
            // Accessors made on the command were not checked against columns.
            status = DBSTATUS_E_BADACCESSOR;
            if (b.dwPart & DBPART_STATUS)
                std::memcpy(bytes + b.obStatus, &status, sizeof status);
        } else {
            FillBinding(b, row, slot->row, bytes, status);
        }
        if (status == DBSTATUS_S_OK || status == DBSTATUS_S_ISNULL ||
            status == DBSTATUS_S_TRUNCATED)
            ++good;
        else
            ++bad;
    }
    if (bad == 0)
        return S_OK;
    return good == 0 ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

// ------------------------------------------------------------ bookmarks

namespace {

// A bookmark is the row's 1-based position as 8 bytes; DBBMK_FIRST and
// DBBMK_LAST are the one-byte standard bookmarks.
bool PositionOf(DBBKMARK cb, const BYTE* bookmark, DBBKMARK last, DBBKMARK& position) {
    if (bookmark == nullptr || cb == 0)
        return false;
    if (cb == STD_BOOKMARKLENGTH) {
        if (*bookmark == DBBMK_FIRST) {
            position = 1;
            return true;
        }
        if (*bookmark == DBBMK_LAST) {
            position = last;
            return true;
        }
        return false;
    }
    if (cb != sizeof(DBBKMARK))
        return false;
    std::memcpy(&position, bookmark, sizeof position);
    return position != 0;
}

} // namespace

HRESULT Rowset::Compare(HCHAPTER, DBBKMARK cb1, const BYTE* b1, DBBKMARK cb2, const BYTE* b2,
                        DBCOMPARE* result) {
    if (result == nullptr || b1 == nullptr || b2 == nullptr || cb1 == 0 || cb2 == 0)
        return E_INVALIDARG;
    DBBKMARK p1, p2;
    if (cb1 == STD_BOOKMARKLENGTH || cb2 == STD_BOOKMARKLENGTH) {
        // Standard bookmarks compare only as equal or not.
        *result = cb1 == cb2 && *b1 == *b2 ? DBCOMPARE_EQ : DBCOMPARE_NE;
        return S_OK;
    }
    if (!PositionOf(cb1, b1, m_fetched, p1) || !PositionOf(cb2, b2, m_fetched, p2))
        return DB_E_BADBOOKMARK;
    *result = p1 < p2 ? DBCOMPARE_LT : p1 == p2 ? DBCOMPARE_EQ : DBCOMPARE_GT;
    return S_OK;
}

HRESULT Rowset::GetRowsAt(HWATCHREGION, HCHAPTER chapter, DBBKMARK cb, const BYTE* bookmark,
                          DBROWOFFSET offset, DBROWCOUNT cRows, DBCOUNTITEM* obtained,
                          HROW** rows) {
    if (obtained == nullptr || rows == nullptr)
        return E_INVALIDARG;
    *obtained = 0;
    if (chapter != DB_NULL_HCHAPTER)
        return DB_E_BADCHAPTER;
    if (cb == STD_BOOKMARKLENGTH && bookmark != nullptr && *bookmark == DBBMK_LAST) {
        // The last row is only known once the cursor was read to its end.
        HRESULT hr = SeekCursor(~DBBKMARK{0});
        if (FAILED(hr))
            return hr;
    }
    DBBKMARK position;
    if (!PositionOf(cb, bookmark, m_fetched, position))
        return DB_E_BADBOOKMARK;
    if (cRows == 0)
        return S_OK;
    if (cRows < 0)
        return DB_E_CANTFETCHBACKWARDS;
    const LONGLONG start = static_cast<LONGLONG>(position) + offset;
    if (start < 1)
        return DB_S_ENDOFROWSET;
    HRESULT hr = SeekCursor(static_cast<DBBKMARK>(start));
    if (FAILED(hr))
        return hr;
    m_handles.clear();
    bool end = false;
    hr = FetchMore(cRows, m_handles, end);
    if (FAILED(hr))
        return hr;
    hr = HandOut(m_handles, obtained, rows);
    if (FAILED(hr))
        return hr;
    return *obtained < static_cast<DBCOUNTITEM>(cRows) ? DB_S_ENDOFROWSET : S_OK;
}

HRESULT Rowset::GetRowsByBookmark(HCHAPTER chapter, DBCOUNTITEM cRows, const DBBKMARK sizes[],
                                  const BYTE* bookmarks[], HROW rows[], DBROWSTATUS status[]) {
    if (cRows == 0)
        return S_OK;
    if (sizes == nullptr || bookmarks == nullptr || rows == nullptr)
        return E_INVALIDARG;
    if (chapter != DB_NULL_HCHAPTER)
        return DB_E_BADCHAPTER;
    size_t bad = 0;
    for (DBCOUNTITEM i = 0; i < cRows; ++i) {
        DBBKMARK position = 0;
        rows[i] = DB_NULL_HROW;
        bool ok =
            sizes[i] == sizeof(DBBKMARK) && PositionOf(sizes[i], bookmarks[i], m_fetched, position);
        if (ok) {
            // A row still held is handed out again; any other is fetched anew.
            for (size_t k = 0; k < m_slots.size() && rows[i] == DB_NULL_HROW; ++k)
                if (m_slots[k]->refs != 0 && m_slots[k]->position == position) {
                    ++m_slots[k]->refs;
                    rows[i] = k + 1;
                }
            if (rows[i] == DB_NULL_HROW) {
                m_handles.clear();
                bool end = false;
                ok = SUCCEEDED(SeekCursor(position)) && SUCCEEDED(FetchMore(1, m_handles, end)) &&
                     m_handles.size() == 1;
                if (ok)
                    rows[i] = m_handles[0];
            }
        }
        if (!ok)
            ++bad;
        if (status != nullptr)
            status[i] = ok ? DBROWSTATUS_S_OK : DBROWSTATUS_E_INVALID;
    }
    if (bad == 0)
        return S_OK;
    return bad == cRows ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

HRESULT Rowset::Hash(HCHAPTER chapter, DBBKMARK count, const DBBKMARK sizes[],
                     const BYTE* bookmarks[], DBHASHVALUE hashes[], DBROWSTATUS status[]) {
    if (count == 0)
        return S_OK;
    if (sizes == nullptr || bookmarks == nullptr || hashes == nullptr)
        return E_INVALIDARG;
    size_t bad = 0;
    for (DBBKMARK i = 0; i < count; ++i) {
        DBBKMARK position = 0;
        bool ok =
            sizes[i] == sizeof(DBBKMARK) && PositionOf(sizes[i], bookmarks[i], m_fetched, position);
        hashes[i] = position;
        bad += ok ? 0 : 1;
        if (status != nullptr)
            status[i] = ok ? DBROWSTATUS_S_OK : DBROWSTATUS_E_INVALID;
    }
    if (bad == 0)
        return S_OK;
    return bad == count ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

// ------------------------------------------------------------ the rest

HRESULT Rowset::AddRefAccessor(HACCESSOR h, DBREFCOUNT* refs) {
    return m_accessors.AddRef(h, refs);
}

HRESULT Rowset::CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count, const DBBINDING bindings[],
                               DBLENGTH rowSize, HACCESSOR* h, DBBINDSTATUS status[]) {
    ClearError();
    HRESULT hr = m_accessors.Create(flags, count, bindings, rowSize, h, status, &m_columns, true,
                                    m_keepRows);
    if (hr == DB_E_ERRORSOCCURRED)
        return ReportError(m_session->Source(), hr, IID_IAccessor,
                           L"One or more bindings are not valid; see their binding statuses.");
    return hr;
}

HRESULT Rowset::GetBindings(HACCESSOR h, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                            DBBINDING** bindings) {
    return m_accessors.GetBindings(h, flags, count, bindings);
}

HRESULT Rowset::ReleaseAccessor(HACCESSOR h, DBREFCOUNT* refs) {
    return m_accessors.Release(h, refs);
}

HRESULT Rowset::GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) {
    return ColumnInfoOut(m_columns, count, info, strings, m_keepRows);
}

HRESULT Rowset::MapColumnIDs(DBORDINAL count, const DBID ids[], DBORDINAL ordinals[]) {
    return MapColumns(m_columns, count, ids, ordinals);
}

HRESULT Rowset::GetProperties(const ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                              DBPROPSET** out) {
    ClearError();
    return m_props.Get(cSets, sets, pc, out, DBPROPFLAGS_ROWSET);
}

HRESULT Rowset::GetReferencedRowset(DBORDINAL ordinal, REFIID, IUnknown** rowset) {
    if (rowset == nullptr)
        return E_INVALIDARG;
    *rowset = nullptr;
    return ordinal > m_columns.size() ? DB_E_BADORDINAL : DB_E_NOTAREFERENCECOLUMN;
}

HRESULT Rowset::GetSpecification(REFIID riid, IUnknown** creator) {
    if (creator == nullptr)
        return E_INVALIDARG;
    *creator = nullptr;
    if (!m_creator)
        return S_FALSE;
    return m_creator->QueryInterface(riid, reinterpret_cast<void**>(creator));
}

HRESULT Rowset::CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS) {
    return HdbCanConvert(from & ~DBTYPE_BYREF, to & ~DBTYPE_BYREF);
}

} // namespace hdb::core
