// CRowSet: building a rowset over a result, fetching and walking its rows,
// giving them back, and the column descriptions and bindings it answers
// for. The typed reads of the current row live in RowSetTypedAccess.cpp, the
// long columns read as streams in RowSetStreams.cpp and the value transforms
// in RowSetTransforms.cpp.
#include "haldendb/RowSet.h"
#include "haldendb/MessageNumbers.h"
#include "haldendb/RowSetInternal.h"

#ifdef _WIN32
// The class id of the conversion library.
#include <msdaguid.h>
#endif

#include <algorithm>
#include <cstring>

namespace {

using namespace hdbmsg;
using hdbrowset::Load;
using hdbrowset::Store;

// Zeroed bytes behind the columns of the row buffer: a value read wider than
// its binding (a UI2 read as four bytes) at the end of the row stays inside
// the allocation.
constexpr DBLENGTH RowDataSpareBytes = 8;

} // namespace

// ------------------------------------------------------------------ lifecycle

CRowSet::CRowSet(const CBaseOLEDBClass& other) : CBaseOLEDBClass(other, other.GetUIEnabled()) {}

CRowSet::CRowSet(IRowset* rowset, const CBaseOLEDBClass& other)
    : CBaseOLEDBClass(other, other.GetUIEnabled()), m_pIRowset(rowset) {}

CRowSet::~CRowSet() {
    try {
        CRowSet::Release();
    } catch (...) {
        // A destructor must not throw; the report has been delivered already.
    }
}

bool CRowSet::BuildRowSet(bool withBookmark, ULONG longColumnLength) {
    // A rebuild starts a new walk with a new layout: what the last walk holds
    // goes back while its bindings still describe the row buffer, and buffer
    // and handle array are made anew at the next fetch.
    FreeRowStructures();
    // Accessor and bindings refer to the column descriptions: they go first.
    m_pAccessor.reset();
    m_pColumnBindings.reset();
    m_pColumnsInfo.reset();
    m_pColumnsInfo = std::make_unique<CColumnsInfo>(*this);
    if (!m_pColumnsInfo->CreateColumnInfos())
        return false;
    m_pColumnBindings = std::make_unique<CColumnBindings>(*this);
    if (!m_pColumnBindings->CreateBindings(withBookmark, m_bLongColumnsAsStreams, longColumnLength))
        return false;
    if (!BuildAccessor())
        return false;
    // Entries filled for an earlier result are kept.
    const size_t helpers = static_cast<size_t>(m_pColumnBindings->GetColumnCount()) + 1;
    if (m_ColAccessHelpers.size() < helpers)
        m_ColAccessHelpers.resize(helpers);
    return true;
}

bool CRowSet::BuildAccessor() {
    m_pAccessor.reset();
    m_pAccessor = std::make_unique<CAccessor>(*this);
    return m_pAccessor->BuildAccessor();
}

void CRowSet::FreeRowStructures() {
    ReleaseRowStreams();
    // Nothing to do about a failure here: the handles are gone either way.
    ReleaseFetchedRows();
    FreeTaskMemoryAndClear(m_pRowData);
    if (m_pHRows != nullptr)
        m_nHRowsCapacity = 0;
    FreeTaskMemoryAndClear(m_pHRows);
    m_StreamsHandedOut.clear();
    m_nRowsDelivered = 0;
}

bool CRowSet::Release() {
    FreeRowStructures();
    m_pAccessor.reset();
    m_pColumnBindings.reset();
    m_pColumnsInfo.reset();
    if (m_pIRowset != nullptr) {
        const ULONG remaining = m_pIRowset->Release();
        // The count left is judged like a result code, so that a broken
        // reference count still gets reported.
        if (remaining != 0 && CheckError(static_cast<HRESULT>(remaining), MsgCantReleaseRowset,
                                         HDB_SOURCE_POS(L"bool __cdecl CRowSet::Release(void)"),
                                         CBasicStringView<wchar_t>()))
            return false;
        m_pIRowset = nullptr;
    }
    if (m_pIDataConvert != nullptr) {
        m_pIDataConvert->Release();
        m_pIDataConvert = nullptr;
    }
    return true;
}

bool CRowSet::AllocDataMemory() {
    if (m_pRowData != nullptr)
        return true;
    if (!m_pColumnBindings)
        return false;
    const DBLENGTH size = m_pColumnBindings->GetColumnsSize() + RowDataSpareBytes;
    m_pRowData = static_cast<BYTE*>(AllocTaskMem(size));
    if (m_pRowData == nullptr)
        return false;
    std::memset(m_pRowData, 0, size);
    return true;
}

bool CRowSet::SetupRowStructures() {
    if (!m_pColumnBindings)
        return false;
    if (m_pHRows == nullptr) {
        m_pHRows = static_cast<HROW*>(AllocTaskMem(m_nFetchRowCount * sizeof(HROW)));
        m_nHRowsCapacity = m_pHRows != nullptr ? m_nFetchRowCount : 0;
    }
    if (!AllocDataMemory())
        return false;
    if (m_pHRows == nullptr)
        return false;
    return GetNextRowData() && m_nRowsObtained != 0;
}

bool CRowSet::GetNextRowData() {
    if (m_pIRowset == nullptr || m_pHRows == nullptr)
        return false;
    m_nCurrentRow = 0;
    m_nRowsObtained = 0;
    HROW* rows = m_pHRows;
    DBCOUNTITEM asked = std::min(m_nFetchRowCount, m_nHRowsCapacity);
    // Rows beyond the limit would only be fetched to be released unread.
    if (m_nMaxRowCount != NoRowLimit) {
        const ULONGLONG remaining =
            m_nMaxRowCount > m_nRowsDelivered ? m_nMaxRowCount - m_nRowsDelivered : 0;
        if (remaining == 0)
            return false;
        asked = static_cast<DBCOUNTITEM>(std::min<ULONGLONG>(asked, remaining));
    }
    const HRESULT hr = m_pIRowset->GetNextRows(DB_NULL_HCHAPTER, 0, static_cast<DBROWCOUNT>(asked),
                                               &m_nRowsObtained, &rows);
    // A short last batch comes with DB_S_ENDOFROWSET, which is no failure.
    if (hr != S_OK && CheckError(hr, MsgCantGetNextRows, m_pIRowset, IID_IRowset,
                                 HDB_SOURCE_POS(L"bool __cdecl CRowSet::GetNextRowData(void)"),
                                 CBasicStringView<wchar_t>()))
        return false;
    return m_nRowsObtained != 0;
}

bool CRowSet::FetchNext() {
    if (m_nRowsDelivered >= m_nMaxRowCount) {
        // The limit ends the result: the rows still held go back now, as
        // they would at the real end.
        ReleaseBatch();
        return false;
    }
    if (!FetchNextRow())
        return false;
    ++m_nRowsDelivered;
    return true;
}

bool CRowSet::FetchNextRow() {
    if (m_pHRows != nullptr)
        ++m_nCurrentRow;
    else if (!SetupRowStructures())
        return false;
    if (m_pIRowset == nullptr)
        return false;
    if (m_nCurrentRow != m_nFetchRowCount && m_nCurrentRow != m_nRowsObtained)
        return ReadData();

    if (!ReleaseBatch() || !GetNextRowData())
        return false;
    return ReadData();
}

bool CRowSet::ReleaseBatch() {
    // Reported as FetchNext's: the application called that, and this is one
    // of its steps.
    const HRESULT hr = ReleaseFetchedRows();
    return hr == S_OK || !CheckError(hr, MsgCantReleaseRows, m_pIRowset, IID_IRowset,
                                     HDB_SOURCE_POS(L"bool __cdecl CRowSet::FetchNext(void)"),
                                     CBasicStringView<wchar_t>());
}

HRESULT CRowSet::ReleaseFetchedRows() {
    const DBCOUNTITEM held = m_nRowsObtained;
    m_nRowsObtained = 0;
    m_nCurrentRow = 0;
    if (m_pIRowset == nullptr || m_pHRows == nullptr || held == 0)
        return S_OK;
    return m_pIRowset->ReleaseRows(held, m_pHRows, nullptr, nullptr, nullptr);
}

bool CRowSet::ReadData() {
    // Past the end of the batch (also once the result is done) there is no
    // row handle to read.
    if (m_pIRowset == nullptr || !m_pAccessor || m_pHRows == nullptr || m_pRowData == nullptr ||
        m_nCurrentRow >= m_nHRowsCapacity || m_nCurrentRow >= m_nRowsObtained)
        return false;
    ReleaseRowStreams();
    // The streams of the new row are all the rowset's until handed out.
    m_StreamsHandedOut.assign(
        m_pColumnBindings ? static_cast<size_t>(m_pColumnBindings->GetColumnCount()) : 0, false);
    const HRESULT hr = m_pIRowset->GetData(m_pHRows[m_nCurrentRow],
                                           static_cast<HACCESSOR>(*m_pAccessor), m_pRowData);
    // Also after a partial failure: streams delivered for the other columns
    // are given back all the same.
    m_bRowHoldsFetchedStreams = true;
    if (hr != S_OK && CheckError(hr, MsgCantGetData, m_pIRowset, IID_IRowset,
                                 HDB_SOURCE_POS(L"bool __cdecl CRowSet::ReadData(void)"),
                                 CBasicStringView<wchar_t>()))
        return false;
    return true;
}

void CRowSet::ReleaseRowStreams() {
    const bool holds = m_bRowHoldsFetchedStreams;
    m_bRowHoldsFetchedStreams = false;
    if (!holds || m_pRowData == nullptr || !m_pColumnBindings)
        return;
    const DBBINDING* bindings = *m_pColumnBindings;
    const DBORDINAL count = m_pColumnBindings->GetColumnCount();
    for (DBORDINAL i = 0; bindings != nullptr && i < count; ++i) {
        const DBBINDING& binding = bindings[i];
        // A stream handed out is the taker's to release.
        if (i < m_StreamsHandedOut.size() && m_StreamsHandedOut[static_cast<size_t>(i)])
            continue;
        if (binding.wType != DBTYPE_IUNKNOWN ||
            Load<DBSTATUS>(m_pRowData + binding.obStatus) != DBSTATUS_S_OK)
            continue;
        if (auto* stream = Load<IUnknown*>(m_pRowData + binding.obValue); stream != nullptr) {
            Store<IUnknown*>(m_pRowData + binding.obValue, nullptr);
            stream->Release();
        }
    }
}

bool CRowSet::MakeDataInRowNullptr(size_t ordinal) {
    const db_col_access_helper& helper = HelperOf(ordinal);
    const int status = StatusByte(helper);
    if (status == DBSTATUS_S_ISNULL)
        return false;
    if (!m_pColumnBindings || helper.boundType != DBTYPE_IUNKNOWN)
        return false;
    if (status == DBSTATUS_E_CANTCREATE || m_pRowData == nullptr)
        return false;
    std::memset(m_pRowData + helper.dataPosition, 0, helper.dataSize);
    return true;
}

// ------------------------------------------------------------------ columns

size_t CRowSet::GetColumnsOrdinal(const CBasicStringView<wchar_t>& name) {
    if (!m_pColumnsInfo)
        return 0;
    const size_t ordinal = static_cast<size_t>(m_pColumnsInfo->GetColumnsOrdinal(name));
    if (ordinal >= m_ColAccessHelpers.size())
        return ordinal;
    db_col_access_helper& helper = m_ColAccessHelpers[ordinal];
    if (helper.boundType != 0 || !m_pColumnBindings)
        return ordinal;
    const DBORDINAL index = m_pColumnBindings->GetColumnValue(ordinal);
    helper.bindingIndex = index;
    helper.boundType = m_pColumnBindings->GetFieldType(0, index);
    // The description is looked up with the binding index as its ordinal.
    helper.databaseType = m_pColumnBindings->GetDatabaseFieldType(0, index);
    helper.statusPosition = m_pColumnBindings->GetStatusPosition(0, index);
    helper.dataPosition = m_pColumnBindings->GetDataPosition(0, index);
    helper.dataSize = m_pColumnBindings->GetColumnsSize(0, index);
    return ordinal;
}

const CRowSet::db_col_access_helper& CRowSet::HelperOf(size_t ordinal) const {
    static const db_col_access_helper unfilled{};
    return ordinal < m_ColAccessHelpers.size() ? m_ColAccessHelpers[ordinal] : unfilled;
}

DBORDINAL CRowSet::GetColumnValue(DBORDINAL column) const {
    return m_pColumnBindings ? m_pColumnBindings->GetColumnValue(column) : 0;
}

DBORDINAL CRowSet::GetColumnCount() const {
    return m_pColumnsInfo ? m_pColumnsInfo->GetColumnCount() : 0;
}

CBasicStringView<wchar_t> CRowSet::GetColumnName(DBORDINAL ordinal) const {
    return m_pColumnsInfo ? m_pColumnsInfo->GetColumnName(ordinal) : CBasicStringView<wchar_t>();
}

DBTYPE CRowSet::GetColumnsDataType(size_t ordinal) const {
    if (ordinal < m_ColAccessHelpers.size() && m_ColAccessHelpers[ordinal].boundType != 0)
        return m_ColAccessHelpers[ordinal].databaseType;
    return m_pColumnsInfo ? m_pColumnsInfo->GetDataType(ordinal)
                          : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

DBTYPE CRowSet::GetFieldType(DBCOUNTITEM row, DBORDINAL index) const {
    return m_pColumnBindings ? m_pColumnBindings->GetFieldType(row, index)
                             : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

DBTYPE CRowSet::GetDatabaseFieldType(DBCOUNTITEM row, DBORDINAL ordinal) const {
    return m_pColumnBindings ? m_pColumnBindings->GetDatabaseFieldType(row, ordinal)
                             : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

#define HDB_FORWARD_PREDICATE(name)                                                                \
    bool CRowSet::name(DBORDINAL column) const {                                                   \
        return m_pColumnBindings && m_pColumnBindings->name(column);                               \
    }
HDB_FORWARD_PREDICATE(IsBOOL)
HDB_FORWARD_PREDICATE(IsByte)
HDB_FORWARD_PREDICATE(IsUnsignedByte)
HDB_FORWARD_PREDICATE(IsInteger)
HDB_FORWARD_PREDICATE(IsUnsignedInteger)
HDB_FORWARD_PREDICATE(IsLong)
HDB_FORWARD_PREDICATE(IsUnsignedLong)
HDB_FORWARD_PREDICATE(IsInt64)
HDB_FORWARD_PREDICATE(IsUnsignedInt64)
HDB_FORWARD_PREDICATE(IsFloat)
HDB_FORWARD_PREDICATE(IsDouble)
HDB_FORWARD_PREDICATE(IsNumeric)
HDB_FORWARD_PREDICATE(IsVarNumeric)
HDB_FORWARD_PREDICATE(IsString)
HDB_FORWARD_PREDICATE(IsUnicodeString)
HDB_FORWARD_PREDICATE(IsDate)
HDB_FORWARD_PREDICATE(IsTime)
HDB_FORWARD_PREDICATE(IsTimeStamp)
HDB_FORWARD_PREDICATE(IsDateOrTime)
HDB_FORWARD_PREDICATE(IsStreamInterface)
HDB_FORWARD_PREDICATE(IsDatabaseTypeUnicodeString)
#undef HDB_FORWARD_PREDICATE

// ------------------------------------------------------------------ conversion

IDataConvert* CRowSet::GetIDataConverter() const {
    if (m_pIDataConvert != nullptr)
        return m_pIDataConvert;
    const HRESULT hr =
        CoCreateInstance(CLSID_OLEDB_CONVERSIONLIBRARY, nullptr, CLSCTX_INPROC_SERVER,
                         IID_IDataConvert, reinterpret_cast<void**>(&m_pIDataConvert));
    if (FAILED(hr) || m_pIDataConvert == nullptr) {
        m_pIDataConvert = nullptr;
        OutputError(
            MsgError, HdbLiteralView(L"CoCreateInstance for IDataConvert failed!"),
            HDB_SOURCE_POS(L"struct IDataConvert *__cdecl CRowSet::GetIDataConverter(void) const"));
        return nullptr;
    }
    return m_pIDataConvert;
}
