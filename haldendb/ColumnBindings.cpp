#include "haldendb/ColumnBindings.h"

#include "haldendb/ColumnsInfo.h"
#include "haldendb/RowSet.h"

#include <cstring>

namespace {

// What the provider reports as the size of a column without a limit.
constexpr DBLENGTH UnboundedSize = ~DBLENGTH{0};
// Characters bound for a text column without a limit.
constexpr DBLENGTH UnboundedCharacters = 8000;
// A stream column holds one interface pointer.
constexpr DBLENGTH StreamPointerSize = 8;

bool IsLongCapableType(DBTYPE type) {
    return type == DBTYPE_BYTES || type == DBTYPE_STR || type == DBTYPE_WSTR;
}

} // namespace

CColumnBindings::CColumnBindings(const CRowSet& rowSet)
    : CBaseOLEDBClass(rowSet, rowSet.GetUIEnabled()),
      m_pColumnsInfo(static_cast<CColumnsInfo*>(rowSet)) {}

CColumnBindings::~CColumnBindings() {
    try {
        CColumnBindings::Release();
        CBaseOLEDBClass::Release();
    } catch (...) {
        // A destructor must not throw.
    }
}

void CColumnBindings::FreeArrays() {
    FreeTaskMemoryAndClear(m_pObjects);
    FreeTaskMemoryAndClear(m_pBindings);
    m_nBindings = 0;
}

bool CColumnBindings::Release() {
    FreeArrays();
    return true;
}

bool CColumnBindings::CreateBindings(bool withBookmark, bool longColumnsAsStreams,
                                     ULONG longColumnLength) {
    m_bWithBookmark = withBookmark;
    m_nLongColumnLength = longColumnLength;
    if (m_pColumnsInfo == nullptr)
        return false;
    FreeArrays();

    const DBORDINAL columns = m_pColumnsInfo->GetColumnCount();
    if (columns == 0)
        return false;
    m_nColumnsSize = 0;

    const DBORDINAL bound =
        withBookmark ? columns : m_pColumnsInfo->GetColumnCountWithoutBookmark();
    if (bound == 0)
        return false;
    m_pBindings = static_cast<DBBINDING*>(AllocTaskMem(bound * sizeof(DBBINDING)));
    m_pObjects = static_cast<DBOBJECT*>(AllocTaskMem(bound * sizeof(DBOBJECT)));
    if (m_pBindings == nullptr || m_pObjects == nullptr) {
        FreeArrays();
        return false;
    }
    std::memset(m_pBindings, 0, bound * sizeof(DBBINDING));
    std::memset(m_pObjects, 0, bound * sizeof(DBOBJECT));
    m_nBindings = bound;

    DBORDINAL next = 0;
    for (DBORDINAL i = 0; i < columns && next < bound; ++i) {
        if (!withBookmark && m_pColumnsInfo->IsBookmark(i))
            continue;
        const DBCOLUMNINFO& column = (*m_pColumnsInfo)[i];
        m_nColumnsSize += InitDBBindingStruct(m_pBindings[next], column, m_nColumnsSize, 0,
                                              longColumnsAsStreams, DBPARAMIO_NOTPARAM);
        ++next;
    }
    return true;
}

DBLENGTH CColumnBindings::InitDBBindingStruct(DBBINDING& binding, const DBCOLUMNINFO& column,
                                              DBBYTEOFFSET offset, DWORD objectFlags,
                                              bool longColumnsAsStreams, DBPARAMIO direction) {
    binding.iOrdinal = column.iOrdinal;
    binding.obStatus = offset;
    binding.obLength = offset + 8;
    binding.obValue = offset + FieldHeaderSize;
    binding.pTypeInfo = nullptr;
    binding.pBindExt = nullptr;
    binding.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
    binding.dwMemOwner = DBMEMOWNER_CLIENTOWNED;
    binding.eParamIO = direction;
    binding.dwFlags = 0;
    binding.bPrecision = column.bPrecision;
    binding.bScale = column.bScale;

    if (IsBLOB(column.wType, column.iOrdinal)) {
        // The object slot of a column is found by its ordinal; a slot outside
        // the array (an ordinal of 0) cannot take a stream.
        const DBORDINAL slot = column.iOrdinal - 1;
        if (longColumnsAsStreams && m_pObjects != nullptr && column.iOrdinal != 0 &&
            slot < m_nBindings) {
            m_pObjects[slot].dwFlags = objectFlags;
            m_pObjects[slot].iid = IID_ISequentialStream;
            binding.pObject = &m_pObjects[slot];
            binding.cbMaxLen = StreamPointerSize;
            binding.bPrecision = 0;
            binding.bScale = 0;
            binding.wType = DBTYPE_IUNKNOWN;
            return StreamPointerSize + FieldHeaderSize;
        }
        binding.pObject = nullptr;
        binding.cbMaxLen = m_nLongColumnLength;
        binding.wType = column.wType == DBTYPE_BYTES ? static_cast<DBTYPE>(DBTYPE_BYTES)
                                                     : static_cast<DBTYPE>(DBTYPE_STR);
        return binding.cbMaxLen + FieldHeaderSize;
    }

    binding.pObject = nullptr;
    binding.wType = column.wType;
    if (column.wType == DBTYPE_STR)
        binding.cbMaxLen = column.ulColumnSize == UnboundedSize ? UnboundedCharacters + 1
                                                                : column.ulColumnSize + 1;
    else if (column.wType == DBTYPE_WSTR)
        binding.cbMaxLen =
            (column.ulColumnSize == UnboundedSize ? UnboundedCharacters : column.ulColumnSize) *
                sizeof(wchar_t) +
            sizeof(wchar_t);
    else
        binding.cbMaxLen = column.ulColumnSize;
    return binding.cbMaxLen + FieldHeaderSize;
}

void CColumnBindings::ChangeColumnSize(DBORDINAL column, ULONG newSize) {
    const DBORDINAL index = GetColumnValue(column);
    if (!HasBinding(index))
        return;
    DBBINDING& binding = m_pBindings[index];
    m_nColumnsSize = m_nColumnsSize - binding.cbMaxLen + newSize;
    binding.cbMaxLen = newSize;
}

DBORDINAL CColumnBindings::GetColumnCount() const {
    if (m_pColumnsInfo == nullptr)
        return 0;
    if (!m_bWithBookmark && m_pColumnsInfo->HasBookmarks())
        return m_pColumnsInfo->GetColumnCount() - 1;
    return m_pColumnsInfo->GetColumnCount();
}

DBLENGTH CColumnBindings::GetColumnsSize(DBCOUNTITEM, DBORDINAL index) const {
    return HasBinding(index) ? m_pBindings[index].cbMaxLen : 0;
}

DBBYTEOFFSET CColumnBindings::GetDataPosition(DBCOUNTITEM, DBORDINAL index) const {
    return HasBinding(index) ? m_pBindings[index].obValue : 0;
}

DBBYTEOFFSET CColumnBindings::GetLengthPosition(DBCOUNTITEM, DBORDINAL index) const {
    return HasBinding(index) ? m_pBindings[index].obLength : 0;
}

DBBYTEOFFSET CColumnBindings::GetStatusPosition(DBCOUNTITEM, DBORDINAL index) const {
    return HasBinding(index) ? m_pBindings[index].obStatus : 0;
}

DBTYPE CColumnBindings::GetFieldType(DBCOUNTITEM, DBORDINAL index) const {
    return HasBinding(index) ? m_pBindings[index].wType : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

DBTYPE CColumnBindings::GetDatabaseFieldType(DBCOUNTITEM, DBORDINAL ordinal) const {
    return m_pColumnsInfo ? m_pColumnsInfo->GetDataType(ordinal)
                          : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

ULONG CColumnBindings::GetDataRowSize() const {
    const ULONG count = static_cast<ULONG>(GetColumnCount());
    const ULONG size =
        static_cast<ULONG>(m_nColumnsSize) + static_cast<ULONG>(FieldHeaderSize) * count + 7u;
    return size & ~7u;
}

DBORDINAL CColumnBindings::GetColumnValue(DBORDINAL column) const {
    if (m_bWithBookmark && m_pColumnsInfo != nullptr && m_pColumnsInfo->HasBookmarks())
        return column;
    return column - 1;
}

bool CColumnBindings::CompareType(DBORDINAL column, DBTYPE type) const {
    const DBORDINAL index = GetColumnValue(column);
    return HasBinding(index) && m_pBindings[index].wType == type;
}

bool CColumnBindings::CompareDatabaseType(DBORDINAL column, DBTYPE type) const {
    if (m_pColumnsInfo == nullptr)
        return false;
    // The binding index is looked up as an ordinal; GetDataType answers
    // DBTYPE_EMPTY when no column has it.
    return m_pColumnsInfo->GetDataType(GetColumnValue(column)) == type;
}

bool CColumnBindings::IsBLOB(DBTYPE databaseType, DBORDINAL ordinal) const {
    return IsLongCapableType(databaseType) && m_pColumnsInfo != nullptr &&
           m_pColumnsInfo->IsBLOB(ordinal);
}
