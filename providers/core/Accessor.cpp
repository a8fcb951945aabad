// Accessors (binding validation with a status per binding) and the column
// descriptions IColumnsInfo hands out.
#include <algorithm>

#include "Core.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::core {

namespace {

constexpr DBPART AllParts = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;

bool IsVariableType(DBTYPE t) {
    return t == DBTYPE_STR || t == DBTYPE_WSTR || t == DBTYPE_BYTES;
}

// Checks one row binding against the columns; DBBINDSTATUS_OK when usable.
DBBINDSTATUS CheckRowBinding(const DBBINDING& b, const std::vector<backend::ColumnInfo>& columns,
                             bool bookmarks) {
    if ((b.dwPart & AllParts) == 0 || (b.dwPart & ~AllParts) != 0)
        return DBBINDSTATUS_BADBINDINFO;
    const DBTYPE base = b.wType & ~DBTYPE_BYREF;
    if (base == DBTYPE_EMPTY || base == DBTYPE_NULL || (b.wType & (DBTYPE_ARRAY | DBTYPE_VECTOR)))
        return DBBINDSTATUS_BADBINDINFO;
    DBTYPE columnType;
    if (b.iOrdinal == 0) {
        if (!bookmarks)
            return DBBINDSTATUS_BADORDINAL;
        columnType = DBTYPE_UI8;
    } else if (b.iOrdinal > columns.size()) {
        return DBBINDSTATUS_BADORDINAL;
    } else {
        columnType = columns[b.iOrdinal - 1].type;
    }
    if (base == DBTYPE_IUNKNOWN) {
        // Long values as storage objects: only sequential streams, read-only.
        if (b.pObject == nullptr)
            return HdbCanConvert(columnType, DBTYPE_IUNKNOWN) == S_OK
                       ? DBBINDSTATUS_OK
                       : DBBINDSTATUS_UNSUPPORTEDCONVERSION;
        if (!IsVariableType(columnType))
            return DBBINDSTATUS_UNSUPPORTEDCONVERSION;
        if (b.pObject->iid != IID_ISequentialStream && b.pObject->iid != IID_IUnknown)
            return DBBINDSTATUS_NOINTERFACE;
        if ((b.pObject->dwFlags & ~(STGM_READ | STGM_SHARE_DENY_NONE | STGM_SHARE_EXCLUSIVE |
                                    STGM_SHARE_DENY_WRITE | STGM_SHARE_DENY_READ)) != 0)
            return DBBINDSTATUS_BADSTORAGEFLAGS;
        if (b.wType & DBTYPE_BYREF)
            return DBBINDSTATUS_BADBINDINFO;
        return DBBINDSTATUS_OK;
    }
    if ((b.wType & DBTYPE_BYREF) && !IsVariableType(base) && base != DBTYPE_BSTR)
        return DBBINDSTATUS_BADBINDINFO;
    if (HdbCanConvert(columnType, base) != S_OK)
        return DBBINDSTATUS_UNSUPPORTEDCONVERSION;
    return DBBINDSTATUS_OK;
}

DBBINDSTATUS CheckParamBinding(const DBBINDING& b) {
    if ((b.dwPart & AllParts) == 0 || (b.dwPart & ~AllParts) != 0)
        return DBBINDSTATUS_BADBINDINFO;
    if (b.iOrdinal == 0)
        return DBBINDSTATUS_BADORDINAL;
    const DBPARAMIO io = b.eParamIO;
    if ((io & (DBPARAMIO_INPUT | DBPARAMIO_OUTPUT)) == 0 ||
        (io & ~(DBPARAMIO_INPUT | DBPARAMIO_OUTPUT)) != 0)
        return DBBINDSTATUS_BADBINDINFO;
    const DBTYPE base = b.wType & ~DBTYPE_BYREF;
    if (base == DBTYPE_EMPTY || base == DBTYPE_NULL || (b.wType & (DBTYPE_ARRAY | DBTYPE_VECTOR)))
        return DBBINDSTATUS_BADBINDINFO;
    // An output value is copied into the consumer's own buffer: never into
    // memory of the provider's (by reference) nor as a stream.
    if ((io & DBPARAMIO_OUTPUT) && ((b.wType & DBTYPE_BYREF) || base == DBTYPE_IUNKNOWN))
        return DBBINDSTATUS_BADBINDINFO;
    if (base == DBTYPE_IUNKNOWN)
        return DBBINDSTATUS_OK;
    if (HdbCanConvert(base, DBTYPE_WSTR) != S_OK && HdbCanConvert(base, DBTYPE_BYTES) != S_OK)
        return DBBINDSTATUS_UNSUPPORTEDCONVERSION;
    return DBBINDSTATUS_OK;
}

} // namespace

HRESULT AccessorTable::Create(DBACCESSORFLAGS flags, DBCOUNTITEM count, const DBBINDING bindings[],
                              DBLENGTH rowSize, HACCESSOR* handle, DBBINDSTATUS status[],
                              const std::vector<backend::ColumnInfo>* columns, bool forRowset,
                              bool bookmarks) {
    if (handle == nullptr || (count != 0 && bindings == nullptr))
        return E_INVALIDARG;
    *handle = DB_NULL_HACCESSOR;
    const DBACCESSORFLAGS known =
        DBACCESSOR_PASSBYREF | DBACCESSOR_ROWDATA | DBACCESSOR_PARAMETERDATA | DBACCESSOR_OPTIMIZED;
    if ((flags & ~known) != 0 || (flags & (DBACCESSOR_ROWDATA | DBACCESSOR_PARAMETERDATA)) == 0)
        return DB_E_BADACCESSORFLAGS;
    if (forRowset && (flags & DBACCESSOR_PARAMETERDATA))
        return DB_E_BADACCESSORFLAGS;
    if (flags & DBACCESSOR_PASSBYREF)
        return DB_E_BYREFACCESSORNOTSUPPORTED;
    if (count == 0 && (flags & DBACCESSOR_ROWDATA) && forRowset)
        return DB_E_NULLACCESSORNOTSUPPORTED;

    bool failed = false;
    for (DBCOUNTITEM i = 0; i < count; ++i) {
        DBBINDSTATUS s = DBBINDSTATUS_OK;
        if (flags & DBACCESSOR_PARAMETERDATA)
            s = CheckParamBinding(bindings[i]);
        if (s == DBBINDSTATUS_OK && (flags & DBACCESSOR_ROWDATA) && columns != nullptr)
            s = CheckRowBinding(bindings[i], *columns, bookmarks);
        else if (s == DBBINDSTATUS_OK && (flags & DBACCESSOR_ROWDATA) &&
                 ((bindings[i].dwPart & AllParts) == 0 || (bindings[i].dwPart & ~AllParts) != 0))
            s = DBBINDSTATUS_BADBINDINFO;
        if (status != nullptr)
            status[i] = s;
        failed = failed || s != DBBINDSTATUS_OK;
    }
    if (failed)
        return DB_E_ERRORSOCCURRED;
    // Several parameter sets are strided by the row size, so it must hold
    // every part of every binding.
    auto accessor = std::make_shared<Accessor>();
    accessor->flags = flags;
    accessor->rowSize = rowSize;
    accessor->bindings.assign(bindings, bindings + count);
    accessor->objects.resize(count);
    for (DBCOUNTITEM i = 0; i < count; ++i) {
        if (bindings[i].pObject != nullptr) {
            accessor->objects[i] = *bindings[i].pObject;
            accessor->bindings[i].pObject = &accessor->objects[i];
        }
        accessor->bindings[i].pTypeInfo = nullptr;
        accessor->bindings[i].pBindExt = nullptr;
    }
    *handle = reinterpret_cast<HACCESSOR>(accessor.get());
    m_entries.push_back(Entry{std::move(accessor), 1});
    m_last = nullptr;
    return S_OK;
}

const Accessor* AccessorTable::Find(HACCESSOR handle) const {
    if (m_last != nullptr && reinterpret_cast<HACCESSOR>(m_last->accessor.get()) == handle)
        return m_last->accessor.get();
    for (const auto& e : m_entries)
        if (reinterpret_cast<HACCESSOR>(e.accessor.get()) == handle) {
            m_last = &e;
            return e.accessor.get();
        }
    return nullptr;
}

HRESULT AccessorTable::GetBindings(HACCESSOR handle, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                                   DBBINDING** bindings) const {
    if (flags == nullptr || count == nullptr || bindings == nullptr)
        return E_INVALIDARG;
    *count = 0;
    *bindings = nullptr;
    const Accessor* a = Find(handle);
    if (a == nullptr)
        return DB_E_BADACCESSORHANDLE;
    *flags = a->flags;
    if (a->bindings.empty())
        return S_OK;
    // One block: the bindings followed by their DBOBJECT records.
    size_t n = a->bindings.size();
    auto* out =
        static_cast<DBBINDING*>(CoTaskMemAlloc(n * sizeof(DBBINDING) + n * sizeof(DBOBJECT)));
    if (out == nullptr)
        return E_OUTOFMEMORY;
    auto* objects = reinterpret_cast<DBOBJECT*>(out + n);
    for (size_t i = 0; i < n; ++i) {
        out[i] = a->bindings[i];
        if (a->bindings[i].pObject != nullptr) {
            objects[i] = *a->bindings[i].pObject;
            out[i].pObject = &objects[i];
        }
    }
    *bindings = out;
    *count = n;
    return S_OK;
}

HRESULT AccessorTable::AddRef(HACCESSOR handle, DBREFCOUNT* refs) {
    for (auto& e : m_entries)
        if (reinterpret_cast<HACCESSOR>(e.accessor.get()) == handle) {
            ++e.refs;
            if (refs != nullptr)
                *refs = e.refs;
            return S_OK;
        }
    return DB_E_BADACCESSORHANDLE;
}

HRESULT AccessorTable::Release(HACCESSOR handle, DBREFCOUNT* refs) {
    for (auto it = m_entries.begin(); it != m_entries.end(); ++it)
        if (reinterpret_cast<HACCESSOR>(it->accessor.get()) == handle) {
            DBREFCOUNT left = --it->refs;
            if (refs != nullptr)
                *refs = left;
            if (left == 0) {
                m_entries.erase(it);
                m_last = nullptr;
            }
            return S_OK;
        }
    return DB_E_BADACCESSORHANDLE;
}

void AccessorTable::InheritFrom(const AccessorTable& other) {
    for (const auto& e : other.m_entries)
        m_entries.push_back(Entry{e.accessor, 1});
    m_last = nullptr;
}

HRESULT ColumnInfoOut(const std::vector<backend::ColumnInfo>& columns, DBORDINAL* count,
                      DBCOLUMNINFO** info, OLECHAR** strings, bool bookmarks) {
    if (count != nullptr)
        *count = 0;
    if (info != nullptr)
        *info = nullptr;
    if (strings != nullptr)
        *strings = nullptr;
    if (count == nullptr || info == nullptr || strings == nullptr)
        return E_INVALIDARG;
    const size_t first = bookmarks ? 1 : 0;
    const size_t total = columns.size() + first;
    if (total == 0)
        return S_OK;
    static const std::wstring bookmarkName = L"Bookmark";
    size_t chars = bookmarks ? bookmarkName.size() + 1 : 0;
    for (const auto& c : columns)
        chars += c.name.size() + 1;
    auto* out = TaskArray<DBCOLUMNINFO>(total);
    auto* text = TaskArray<OLECHAR>(chars);
    if (out == nullptr || text == nullptr) {
        CoTaskMemFree(out);
        CoTaskMemFree(text);
        return E_OUTOFMEMORY;
    }
    OLECHAR* cursor = text;
    auto describe = [&](DBCOLUMNINFO& ci, const std::wstring& name) {
        std::memcpy(cursor, name.c_str(), (name.size() + 1) * sizeof(OLECHAR));
        ci = DBCOLUMNINFO{};
        ci.pwszName = cursor;
        ci.columnid.eKind = DBKIND_NAME;
        ci.columnid.uGuid.guid = GUID_NULL;
        ci.columnid.uName.pwszName = cursor;
        cursor += name.size() + 1;
    };
    if (bookmarks) {
        // Bookmarks are row numbers, eight bytes wide.
        DBCOLUMNINFO& ci = out[0];
        describe(ci, bookmarkName);
        ci.iOrdinal = 0;
        ci.dwFlags = DBCOLUMNFLAGS_ISBOOKMARK | DBCOLUMNFLAGS_ISFIXEDLENGTH;
        ci.ulColumnSize = sizeof(DBBKMARK);
        ci.wType = DBTYPE_UI8;
        ci.bPrecision = 20;
    }
    for (size_t i = 0; i < columns.size(); ++i) {
        const auto& c = columns[i];
        DBCOLUMNINFO& ci = out[first + i];
        describe(ci, c.name);
        ci.iOrdinal = i + 1;
        ci.dwFlags = c.flags;
        ci.ulColumnSize = c.size;
        ci.wType = c.type;
        ci.bPrecision = c.precision;
        ci.bScale = c.scale;
    }
    *count = total;
    *info = out;
    *strings = text;
    return S_OK;
}

HRESULT MapColumns(const std::vector<backend::ColumnInfo>& columns, DBORDINAL count,
                   const DBID ids[], DBORDINAL ordinals[]) {
    if (count == 0)
        return S_OK;
    if (ids == nullptr || ordinals == nullptr)
        return E_INVALIDARG;
    size_t found = 0;
    for (DBORDINAL i = 0; i < count; ++i) {
        ordinals[i] = DB_INVALIDCOLUMN;
        const DBID& id = ids[i];
        if ((id.eKind == DBKIND_NAME || id.eKind == DBKIND_GUID_NAME ||
             id.eKind == DBKIND_PGUID_NAME) &&
            id.uName.pwszName != nullptr) {
            for (size_t c = 0; c < columns.size(); ++c)
                if (columns[c].name == id.uName.pwszName) {
                    ordinals[i] = c + 1;
                    ++found;
                    break;
                }
        }
    }
    if (found == count)
        return S_OK;
    return found == 0 ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

} // namespace hdb::core
