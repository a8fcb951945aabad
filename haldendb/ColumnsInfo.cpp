#include "haldendb/ColumnsInfo.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/RowSet.h"

#include <cwchar>
#include <type_traits>

namespace {

using namespace hdbmsg;

} // namespace

CColumnsInfo::CColumnsInfo(const CRowSet& rowSet)
    : CBaseOLEDBClass(rowSet, rowSet.GetUIEnabled()), m_pIRowset(static_cast<IRowset*>(rowSet)) {
    if (m_pIRowset)
        m_pIRowset->AddRef();
}

CColumnsInfo::~CColumnsInfo() {
    try {
        CColumnsInfo::Release();
        if (m_pIRowset) {
            m_pIRowset->Release();
            m_pIRowset = nullptr;
        }
        if (m_pIFastLoad) {
            m_pIFastLoad->Release();
            m_pIFastLoad = nullptr;
        }
        CBaseOLEDBClass::Release();
    } catch (...) {
        // A destructor must not throw; whatever could be reported was.
    }
}

bool CColumnsInfo::CodeUnitLess::operator()(const std::wstring& a, const std::wstring& b) const {
    const std::size_t common = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < common; ++i) {
        using Unit = std::make_unsigned_t<wchar_t>;
        const Unit left = static_cast<Unit>(a[i]);
        const Unit right = static_cast<Unit>(b[i]);
        if (left != right)
            return left < right;
    }
    return a.size() < b.size();
}

bool CColumnsInfo::CreateColumnInfos() {
    IUnknown* object = m_pIRowset;
    if (object == nullptr)
        object = m_pIFastLoad;
    if (object == nullptr)
        return false;
    if (!Release())
        return false;

    IColumnsInfo* columnsInfo = nullptr;
    HRESULT hr = object->QueryInterface(IID_IColumnsInfo, reinterpret_cast<void**>(&columnsInfo));
    if (CheckError(hr, MsgCantQueryColumnsInfo, object, IID_IColumnsInfo,
                   HDB_SOURCE_POS(L"bool __cdecl CColumnsInfo::CreateColumnInfos(void)"),
                   CBasicStringView<wchar_t>()))
        return false;
    if (columnsInfo == nullptr)
        return false;

    bool created = false;
    try {
        hr = columnsInfo->GetColumnInfo(&m_nColumns, &m_pColumnInfo, &m_pStringsBuffer);
        if (!CheckError(hr, MsgCantGetColumnsInfo, columnsInfo, IID_IColumnsInfo,
                        HDB_SOURCE_POS(L"bool __cdecl CColumnsInfo::CreateColumnInfos(void)"),
                        CBasicStringView<wchar_t>())) {
            FillCache();
            created = true;
        }
    } catch (...) {
        columnsInfo->Release();
        throw;
    }
    columnsInfo->Release();
    return created;
}

void CColumnsInfo::FillCache() const {
    if (m_pColumnInfo == nullptr)
        return;
    for (DBORDINAL i = 0; i < m_nColumns; ++i) {
        const DBCOLUMNINFO& column = m_pColumnInfo[i];
        if (column.pwszName == nullptr)
            continue;
        // emplace keeps an existing key: of two equal names the first wins.
        m_NameCache.emplace(std::wstring(column.pwszName), column.iOrdinal);
    }
}

DBORDINAL CColumnsInfo::GetColumnsOrdinal(const CBasicStringView<wchar_t>& name) const {
    if (m_pColumnInfo == nullptr)
        return 0;
    std::wstring key(name.data() ? name.data() : L"", name.size());
    if (const auto hit = m_NameCache.find(key); hit != m_NameCache.end())
        return hit->second;

    for (DBORDINAL i = 0; i < m_nColumns; ++i) {
        const DBCOLUMNINFO& column = m_pColumnInfo[i];
        // The view may be the description's own name, or no text for a
        // column without one.
        const bool same = column.pwszName == name.data();
        const bool matches = same || (column.pwszName != nullptr && name.data() != nullptr &&
                                      _wcsnicmp(column.pwszName, name.data(), name.size()) == 0);
        if (!matches)
            continue;
        m_NameCache.emplace(std::move(key), column.iOrdinal);
        return column.iOrdinal;
    }
    return 0;
}

const DBCOLUMNINFO* CColumnsInfo::GetColInfo(DBORDINAL ordinal) const {
    if (m_pColumnInfo == nullptr)
        return nullptr;
    for (DBORDINAL i = 0; i < m_nColumns; ++i)
        if (m_pColumnInfo[i].iOrdinal == ordinal)
            return &m_pColumnInfo[i];
    return nullptr;
}

bool CColumnsInfo::HasColumnFlag(DBORDINAL ordinal, DBCOLUMNFLAGS flags) const {
    const DBCOLUMNINFO* column = GetColInfo(ordinal);
    return column != nullptr && (column->dwFlags & flags) != 0;
}

bool CColumnsInfo::HasBookmarks() const {
    if (m_pColumnInfo == nullptr)
        return false;
    if (m_nBookmarkState == 0 || m_nBookmarkState == 1)
        return m_nBookmarkState == 1;
    m_nBookmarkState = 0;
    if (m_nColumns != 0 && HasColumnFlag(m_pColumnInfo[0].iOrdinal, DBCOLUMNFLAGS_ISBOOKMARK))
        m_nBookmarkState = 1;
    return m_nBookmarkState == 1;
}

bool CColumnsInfo::IsBookmark(DBORDINAL ordinal) const {
    return m_nColumns != 0 && HasColumnFlag(ordinal, DBCOLUMNFLAGS_ISBOOKMARK);
}

bool CColumnsInfo::IsBLOB(DBORDINAL ordinal) const {
    return m_nColumns != 0 && HasColumnFlag(ordinal, DBCOLUMNFLAGS_ISLONG);
}

const DBCOLUMNINFO& CColumnsInfo::operator[](DBORDINAL index) const {
    if (m_pColumnInfo == nullptr)
        throw CColumnsInfoException();
    return m_pColumnInfo[index];
}

DBTYPE CColumnsInfo::GetDataType(DBORDINAL ordinal) const {
    const DBCOLUMNINFO* column = GetColInfo(ordinal);
    return column != nullptr ? column->wType : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

BYTE CColumnsInfo::GetPrecision(DBORDINAL index) const {
    if (m_pColumnInfo == nullptr || index > m_nColumns)
        return 16;
    return m_pColumnInfo[index].bPrecision;
}

BYTE CColumnsInfo::GetScale(DBORDINAL index) const {
    if (m_pColumnInfo == nullptr || index > m_nColumns)
        return 0;
    return m_pColumnInfo[index].bScale;
}

CBasicStringView<wchar_t> CColumnsInfo::GetColumnName(DBORDINAL ordinal) const {
    const DBCOLUMNINFO* column = GetColInfo(ordinal);
    if (column == nullptr)
        return CBasicStringView<wchar_t>();
    if (column->pwszName == nullptr)
        return CBasicStringView<wchar_t>(L"", 0);
    return CBasicStringView<wchar_t>(column->pwszName, std::wcslen(column->pwszName));
}

DBORDINAL CColumnsInfo::GetColumnCountWithoutBookmark() const {
    return HasBookmarks() ? m_nColumns - 1 : m_nColumns;
}

void CColumnsInfo::FreeColumnMemory() {
    if (m_pColumnInfo != nullptr && FreeTaskMemory(m_pColumnInfo))
        m_pColumnInfo = nullptr;
    if (m_pStringsBuffer != nullptr && FreeTaskMemory(m_pStringsBuffer))
        m_pStringsBuffer = nullptr;
    m_nColumns = 0;
    m_NameCache.clear();
}

bool CColumnsInfo::Release() {
    FreeColumnMemory();
    return true;
}
