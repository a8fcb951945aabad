#include "haldendb/Accessor.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/ColumnBindings.h"
#include "haldendb/MessageTable.h"
#include "haldendb/RowSet.h"

#include <cstddef>

namespace {

using namespace hdbmsg;

// The report text for what the provider found wrong with one binding; 0 for
// a status that has none (DBBINDSTATUS_OK among them).
unsigned int BindStatusMessage(DBBINDSTATUS status) {
    switch (status) {
    case DBBINDSTATUS_BADORDINAL:
        return MsgBadOrdinal;
    case DBBINDSTATUS_UNSUPPORTEDCONVERSION:
        return MsgUnsupportedConversion;
    case DBBINDSTATUS_BADBINDINFO:
        return MsgBadBindInfo;
    case DBBINDSTATUS_BADSTORAGEFLAGS:
        return MsgBadStorageFlags;
    case DBBINDSTATUS_NOINTERFACE:
        return MsgNoInterface;
    case DBBINDSTATUS_MULTIPLESTORAGE:
        return MsgMultipleStorage;
    default:
        return 0;
    }
}

#define HDB_BIND_POSITION                                                                          \
    HDB_SOURCE_POS(L"bool __cdecl CAccessor::InternalBindColumnsToAccessor(const unsigned "        \
                   L"__int64,const struct tagDBBINDING *,const unsigned __int64)")
#define HDB_RELEASE_POSITION HDB_SOURCE_POS(L"bool __cdecl CAccessor::InternalRelease(void)")

} // namespace

CAccessor::CAccessor(const CRowSet& rowSet)
    : CBaseOLEDBClass(rowSet, rowSet.GetUIEnabled()),
      m_pColumnBindings(static_cast<CColumnBindings*>(rowSet)) {
    if (IRowset* rowset = static_cast<IRowset*>(rowSet); rowset != nullptr)
        rowset->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(&m_pIAccessor));
}

CAccessor::~CAccessor() {
    try {
        m_pExternalBindings = nullptr;
        m_nExternalBindings = 0;
        IAccessor* accessor = m_pIAccessor;
        // The handle is given back while the interface is still at hand:
        // the provider frees it with its own accessor object.
        InternalRelease();
        m_pIAccessor = nullptr;
        if (accessor)
            accessor->Release();
        CBaseOLEDBClass::Release();
    } catch (...) {
        // A destructor must not throw.
    }
}

bool CAccessor::BuildAccessor() {
    return InternalBuildAccessor(0);
}

bool CAccessor::BuildFastLoadAccessor() {
    if (m_pColumnBindings == nullptr)
        return false;
    return InternalBuildAccessor(m_pColumnBindings->GetDataRowSize());
}

bool CAccessor::Release() {
    const bool released = InternalRelease();
    CBaseOLEDBClass::Release();
    return released;
}

bool CAccessor::InternalBuildAccessor(ULONGLONG rowSize) {
    if (!InternalRelease())
        return false;
    if (m_pIAccessor == nullptr)
        return false;
    if (m_pColumnBindings != nullptr)
        return InternalBindColumnsToAccessor(m_pColumnBindings->GetColumnCount(),
                                             static_cast<DBBINDING*>(*m_pColumnBindings), rowSize);
    if (m_pExternalBindings != nullptr)
        return InternalBindColumnsToAccessor(m_nExternalBindings, m_pExternalBindings,
                                             m_nExternalRowSize);
    return false;
}

bool CAccessor::InternalBindColumnsToAccessor(const ULONGLONG count, const DBBINDING* bindings,
                                              const ULONGLONG rowSize) {
    m_pBindStatus = static_cast<DBBINDSTATUS*>(AllocTaskMem(count * sizeof(DBBINDSTATUS)));
    const HRESULT hr = m_pIAccessor->CreateAccessor(m_dwAccessorFlags, count, bindings, rowSize,
                                                    &m_hAccessor, m_pBindStatus);
    if (!CheckError(hr, MsgCantCreateAccessor, m_pIAccessor, IID_IAccessor, HDB_BIND_POSITION,
                    CBasicStringView<wchar_t>()))
        return true;
    if (m_pBindStatus == nullptr || count == 0)
        return false;

    for (ULONGLONG i = 0; i < count; ++i) {
        // Sized by the text itself: a translated message may run long.
        CString text;
        if (const unsigned int message = BindStatusMessage(m_pBindStatus[i]); message != 0) {
            if (const wchar_t* format = CMessageTable::Find(message); format != nullptr)
                text.Format(format, i);
        }
        OutputError(
            MsgCantCreateAccessor,
            CBasicStringView<wchar_t>(text.GetString(), static_cast<std::size_t>(text.GetLength())),
            HDB_BIND_POSITION);
    }
    return false;
}

bool CAccessor::InternalRelease() {
    FreeTaskMemoryAndClear(m_pBindStatus);
    if (m_hAccessor == 0 || m_pIAccessor == nullptr)
        return true;
    const HRESULT hr = m_pIAccessor->ReleaseAccessor(m_hAccessor, nullptr);
    if (CheckError(hr, MsgCantReleaseAccessor, m_pIAccessor, IID_IAccessor, HDB_RELEASE_POSITION,
                   CBasicStringView<wchar_t>())) {
        CBaseOLEDBClass::Release();
        return false;
    }
    m_hAccessor = 0;
    return true;
}
