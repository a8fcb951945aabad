#include "Properties.h"

#include <algorithm>

namespace hdb::core {

namespace {

// The property group bits of DBPROPFLAGS (everything but READ/WRITE/REQUIRED).
constexpr DBPROPFLAGS GroupMask = DBPROPFLAGS_COLUMN | DBPROPFLAGS_DATASOURCE |
                                  DBPROPFLAGS_DATASOURCECREATE | DBPROPFLAGS_DATASOURCEINFO |
                                  DBPROPFLAGS_DBINIT | DBPROPFLAGS_INDEX | DBPROPFLAGS_ROWSET |
                                  DBPROPFLAGS_TABLE | DBPROPFLAGS_SESSION;

bool Visible(const PropertyDef& def, DBPROPFLAGS visible) {
    return (def.flags & GroupMask & visible) != 0;
}

void DefaultValue(const PropertyDef& def, VARIANT& out) {
    VariantClear(&out);
    switch (def.vt) {
    case VT_BOOL:
        out.vt = VT_BOOL;
        out.boolVal = def.defaultNumber != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        break;
    case VT_I4:
        out.vt = VT_I4;
        out.lVal = def.defaultNumber;
        break;
    case VT_I2:
        out.vt = VT_I2;
        out.iVal = static_cast<SHORT>(def.defaultNumber);
        break;
    case VT_BSTR:
        if (def.defaultText != nullptr) {
            out.vt = VT_BSTR;
            out.bstrVal = SysAllocString(def.defaultText);
        }
        break;
    default:
        break;
    }
}

bool SameValue(const VARIANT& a, const VARIANT& b) {
    if (a.vt != b.vt)
        return false;
    switch (a.vt) {
    case VT_EMPTY:
        return true;
    case VT_BOOL:
        return (a.boolVal != 0) == (b.boolVal != 0);
    case VT_I4:
        return a.lVal == b.lVal;
    case VT_I2:
        return a.iVal == b.iVal;
    case VT_BSTR:
        return std::wstring(a.bstrVal ? a.bstrVal : L"") ==
               std::wstring(b.bstrVal ? b.bstrVal : L"");
    default:
        return false;
    }
}

// The group an "all properties of this group" set asks for, or 0.
DBPROPFLAGS GroupOfAllSet(const GUID& set) {
    if (set == DBPROPSET_DBINITALL)
        return DBPROPFLAGS_DBINIT;
    if (set == DBPROPSET_DATASOURCEINFOALL)
        return DBPROPFLAGS_DATASOURCEINFO;
    if (set == DBPROPSET_DATASOURCEALL)
        return DBPROPFLAGS_DATASOURCE;
    if (set == DBPROPSET_ROWSETALL)
        return DBPROPFLAGS_ROWSET;
    if (set == DBPROPSET_SESSIONALL)
        return DBPROPFLAGS_SESSION;
    if (set == DBPROPSET_COLUMNALL)
        return DBPROPFLAGS_COLUMN;
    return 0;
}

HRESULT Outcome(size_t good, size_t bad) {
    if (bad == 0)
        return S_OK;
    return good == 0 ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

// What to answer, set by set: the set and its (id, definition or null) pairs.
struct Wanted {
    GUID set;
    std::vector<std::pair<DBPROPID, const PropertyDef*>> props;
};

// Clears the answer of a property question, then checks its arguments:
// E_INVALIDARG for a missing answer slot or id array.
template <class Answer>
HRESULT ClearAndCheck(ULONG cSets, const DBPROPIDSET sets[], ULONG* pcOut, Answer** out) {
    if (pcOut != nullptr)
        *pcOut = 0;
    if (out != nullptr)
        *out = nullptr;
    if (pcOut == nullptr || out == nullptr || (cSets != 0 && sets == nullptr))
        return E_INVALIDARG;
    for (ULONG i = 0; i < cSets; ++i)
        if (sets[i].cPropertyIDs != 0 && sets[i].rgPropertyIDs == nullptr)
            return E_INVALIDARG;
    return S_OK;
}

} // namespace

PropertyStore::PropertyStore(const PropertyDef* defs, size_t count)
    : m_defs(defs), m_count(count), m_values(count) {
    for (size_t i = 0; i < count; ++i)
        DefaultValue(defs[i], m_values[i]);
}

const PropertyDef* PropertyStore::Find(const GUID& set, DBPROPID id) const {
    for (size_t i = 0; i < m_count; ++i)
        if (m_defs[i].id == id && *m_defs[i].set == set)
            return &m_defs[i];
    return nullptr;
}

const VARIANT& PropertyStore::Value(const GUID& set, DBPROPID id) const {
    static const Variant empty;
    const PropertyDef* def = Find(set, id);
    return def == nullptr ? empty : m_values[def - m_defs];
}

bool PropertyStore::Bool(const GUID& set, DBPROPID id) const {
    const VARIANT& v = Value(set, id);
    return v.vt == VT_BOOL && v.boolVal != VARIANT_FALSE;
}

LONG PropertyStore::Number(const GUID& set, DBPROPID id) const {
    const VARIANT& v = Value(set, id);
    if (v.vt == VT_I4)
        return v.lVal;
    if (v.vt == VT_I2)
        return v.iVal;
    if (v.vt == VT_BOOL)
        return v.boolVal != VARIANT_FALSE ? 1 : 0;
    return 0;
}

std::wstring PropertyStore::Text(const GUID& set, DBPROPID id) const {
    const VARIANT& v = Value(set, id);
    return v.vt == VT_BSTR && v.bstrVal != nullptr ? std::wstring(v.bstrVal) : std::wstring();
}

void PropertyStore::Put(const GUID& set, DBPROPID id, const VARIANT& value) {
    const PropertyDef* def = Find(set, id);
    if (def != nullptr)
        VariantCopy(&m_values[def - m_defs], &value);
}

void PropertyStore::PutBool(const GUID& set, DBPROPID id, bool value) {
    Variant v;
    v.vt = VT_BOOL;
    v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    Put(set, id, v);
}

void PropertyStore::PutNumber(const GUID& set, DBPROPID id, LONG value) {
    Variant v;
    v.vt = VT_I4;
    v.lVal = value;
    Put(set, id, v);
}

void PropertyStore::PutText(const GUID& set, DBPROPID id, const std::wstring& value) {
    Variant v;
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(value.c_str());
    Put(set, id, v);
}

HRESULT PropertyStore::Get(ULONG cSets, const DBPROPIDSET sets[], ULONG* pcOut, DBPROPSET** out,
                           DBPROPFLAGS visible) const {
    if (const HRESULT hr = ClearAndCheck(cSets, sets, pcOut, out); hr != S_OK)
        return hr;

    std::vector<Wanted> wanted;
    auto addAllOf = [&](const GUID& set) {
        Wanted w{set, {}};
        for (size_t d = 0; d < m_count; ++d)
            if (*m_defs[d].set == set && Visible(m_defs[d], visible))
                w.props.emplace_back(m_defs[d].id, &m_defs[d]);
        return w;
    };
    size_t good = 0, bad = 0;
    if (cSets == 0) {
        for (size_t d = 0; d < m_count; ++d) {
            if (!Visible(m_defs[d], visible))
                continue;
            const GUID& set = *m_defs[d].set;
            if (std::none_of(wanted.begin(), wanted.end(),
                             [&](const Wanted& w) { return w.set == set; }))
                wanted.push_back(addAllOf(set));
        }
    } else {
        for (ULONG i = 0; i < cSets; ++i) {
            if (sets[i].cPropertyIDs == 0) {
                wanted.push_back(addAllOf(sets[i].guidPropertySet));
                if (wanted.back().props.empty())
                    ++bad;
                continue;
            }
            Wanted w{sets[i].guidPropertySet, {}};
            for (ULONG p = 0; p < sets[i].cPropertyIDs; ++p) {
                const PropertyDef* def = Find(w.set, sets[i].rgPropertyIDs[p]);
                if (def != nullptr && !Visible(*def, visible))
                    def = nullptr;
                w.props.emplace_back(sets[i].rgPropertyIDs[p], def);
            }
            wanted.push_back(std::move(w));
        }
    }

    auto* result = TaskArray<DBPROPSET>(wanted.size());
    if (result == nullptr)
        return E_OUTOFMEMORY;
    for (size_t s = 0; s < wanted.size(); ++s) {
        DBPROPSET& ps = result[s];
        ps.guidPropertySet = wanted[s].set;
        ps.cProperties = static_cast<ULONG>(wanted[s].props.size());
        ps.rgProperties = nullptr;
        if (ps.cProperties == 0)
            continue;
        ps.rgProperties = TaskArray<DBPROP>(ps.cProperties);
        if (ps.rgProperties == nullptr) {
            for (size_t k = 0; k < s; ++k) {
                for (ULONG p = 0; p < result[k].cProperties; ++p)
                    VariantClear(&result[k].rgProperties[p].vValue);
                CoTaskMemFree(result[k].rgProperties);
            }
            CoTaskMemFree(result);
            return E_OUTOFMEMORY;
        }
        for (ULONG p = 0; p < ps.cProperties; ++p) {
            DBPROP& prop = ps.rgProperties[p];
            prop.dwPropertyID = wanted[s].props[p].first;
            prop.dwOptions = DBPROPOPTIONS_REQUIRED;
            prop.colid = DB_NULLID;
            VariantInit(&prop.vValue);
            const PropertyDef* def = wanted[s].props[p].second;
            if (def == nullptr) {
                prop.dwStatus = DBPROPSTATUS_NOTSUPPORTED;
                ++bad;
            } else {
                prop.dwStatus = DBPROPSTATUS_OK;
                VariantCopy(&prop.vValue, &m_values[def - m_defs]);
                ++good;
            }
        }
    }
    *out = result;
    *pcOut = static_cast<ULONG>(wanted.size());
    return Outcome(good, bad);
}

HRESULT PropertyStore::Set(ULONG cSets, DBPROPSET sets[], DBPROPFLAGS visible, DBPROPFLAGS writable,
                           bool* requiredFailed) {
    if (requiredFailed != nullptr)
        *requiredFailed = false;
    if (cSets != 0 && sets == nullptr)
        return E_INVALIDARG;
    for (ULONG i = 0; i < cSets; ++i)
        if (sets[i].cProperties != 0 && sets[i].rgProperties == nullptr)
            return E_INVALIDARG;
    size_t good = 0, bad = 0;
    for (ULONG i = 0; i < cSets; ++i) {
        for (ULONG p = 0; p < sets[i].cProperties; ++p) {
            DBPROP& prop = sets[i].rgProperties[p];
            const PropertyDef* def = Find(sets[i].guidPropertySet, prop.dwPropertyID);
            DBPROPSTATUS status = DBPROPSTATUS_OK;
            if (def == nullptr || !Visible(*def, visible)) {
                status = DBPROPSTATUS_NOTSUPPORTED;
            } else if (prop.dwOptions != DBPROPOPTIONS_REQUIRED &&
                       prop.dwOptions != DBPROPOPTIONS_OPTIONAL) {
                status = DBPROPSTATUS_BADOPTION;
            } else {
                VARIANT& current = m_values[def - m_defs];
                const bool canWrite = (def->flags & DBPROPFLAGS_WRITE) != 0 &&
                                      (def->flags & GroupMask & writable) != 0;
                if (prop.vValue.vt == VT_EMPTY) {
                    if (canWrite)
                        DefaultValue(*def, current);
                    else
                        status = DBPROPSTATUS_NOTSETTABLE;
                } else if (prop.vValue.vt != def->vt) {
                    status = DBPROPSTATUS_BADVALUE;
                } else if (!canWrite) {
                    // A read-only property may be "set" to the value it has.
                    if (!SameValue(prop.vValue, current))
                        status = DBPROPSTATUS_NOTSETTABLE;
                } else if (def->accepts != nullptr && !def->accepts(prop.vValue)) {
                    status = DBPROPSTATUS_BADVALUE;
                } else {
                    VariantCopy(&current, &prop.vValue);
                }
            }
            prop.dwStatus = status;
            if (status == DBPROPSTATUS_OK) {
                ++good;
            } else {
                ++bad;
                if (requiredFailed != nullptr && prop.dwOptions == DBPROPOPTIONS_REQUIRED)
                    *requiredFailed = true;
            }
        }
    }
    return Outcome(good, bad);
}

HRESULT PropertyStore::Info(ULONG cSets, const DBPROPIDSET sets[], ULONG* pcOut,
                            DBPROPINFOSET** out, OLECHAR** descriptions,
                            DBPROPFLAGS visible) const {
    if (descriptions != nullptr)
        *descriptions = nullptr;
    if (const HRESULT hr = ClearAndCheck(cSets, sets, pcOut, out); hr != S_OK)
        return hr;

    std::vector<Wanted> wanted;
    auto addGroup = [&](DBPROPFLAGS group, const GUID* onlySet) {
        for (size_t d = 0; d < m_count; ++d) {
            const PropertyDef& def = m_defs[d];
            if ((def.flags & group) == 0 || (onlySet != nullptr && *def.set != *onlySet))
                continue;
            auto it = std::find_if(wanted.begin(), wanted.end(),
                                   [&](const Wanted& w) { return w.set == *def.set; });
            if (it == wanted.end()) {
                wanted.push_back(Wanted{*def.set, {}});
                it = wanted.end() - 1;
            }
            it->props.emplace_back(def.id, &def);
        }
    };
    size_t good = 0, bad = 0;
    if (cSets == 0) {
        addGroup(visible & GroupMask, nullptr);
    } else {
        for (ULONG i = 0; i < cSets; ++i) {
            const GUID& set = sets[i].guidPropertySet;
            if (DBPROPFLAGS group = GroupOfAllSet(set); group != 0) {
                size_t before = wanted.size();
                addGroup(group, nullptr);
                if (wanted.size() == before) {
                    wanted.push_back(Wanted{set, {}});
                    ++bad;
                }
                continue;
            }
            if (sets[i].cPropertyIDs == 0) {
                size_t before = wanted.size();
                addGroup(GroupMask, &set);
                if (wanted.size() == before) {
                    wanted.push_back(Wanted{set, {}});
                    ++bad;
                }
                continue;
            }
            Wanted w{set, {}};
            for (ULONG p = 0; p < sets[i].cPropertyIDs; ++p)
                w.props.emplace_back(sets[i].rgPropertyIDs[p], Find(set, sets[i].rgPropertyIDs[p]));
            wanted.push_back(std::move(w));
        }
    }

    // One buffer holds every description.
    size_t chars = 0;
    for (const auto& w : wanted)
        for (const auto& [id, def] : w.props)
            if (def != nullptr)
                chars += std::wcslen(def->description) + 1;
    OLECHAR* text = nullptr;
    if (descriptions != nullptr && chars != 0) {
        text = TaskArray<OLECHAR>(chars);
        if (text == nullptr)
            return E_OUTOFMEMORY;
    }
    auto* result = TaskArray<DBPROPINFOSET>(wanted.size());
    if (result == nullptr) {
        CoTaskMemFree(text);
        return E_OUTOFMEMORY;
    }
    OLECHAR* cursor = text;
    for (size_t s = 0; s < wanted.size(); ++s) {
        DBPROPINFOSET& is = result[s];
        is.guidPropertySet = wanted[s].set;
        is.cPropertyInfos = static_cast<ULONG>(wanted[s].props.size());
        is.rgPropertyInfos =
            is.cPropertyInfos == 0 ? nullptr : TaskArray<DBPROPINFO>(is.cPropertyInfos);
        if (is.cPropertyInfos != 0 && is.rgPropertyInfos == nullptr) {
            for (size_t k = 0; k < s; ++k)
                CoTaskMemFree(result[k].rgPropertyInfos);
            CoTaskMemFree(result);
            CoTaskMemFree(text);
            return E_OUTOFMEMORY;
        }
        for (ULONG p = 0; p < is.cPropertyInfos; ++p) {
            DBPROPINFO& info = is.rgPropertyInfos[p];
            const PropertyDef* def = wanted[s].props[p].second;
            info.dwPropertyID = wanted[s].props[p].first;
            VariantInit(&info.vValues);
            if (def == nullptr) {
                info.pwszDescription = nullptr;
                info.dwFlags = DBPROPFLAGS_NOTSUPPORTED;
                info.vtType = VT_EMPTY;
                ++bad;
                continue;
            }
            info.dwFlags = def->flags;
            info.vtType = def->vt;
            info.pwszDescription = nullptr;
            if (cursor != nullptr) {
                size_t n = std::wcslen(def->description) + 1;
                std::memcpy(cursor, def->description, n * sizeof(OLECHAR));
                info.pwszDescription = cursor;
                cursor += n;
            }
            ++good;
        }
    }
    *out = result;
    *pcOut = static_cast<ULONG>(wanted.size());
    if (descriptions != nullptr)
        *descriptions = text;
    return Outcome(good, bad);
}

} // namespace hdb::core
