// Property values of one core object and the OLE DB rules for reading,
// setting and describing them.
//
// Each object has a fixed table of the properties it knows (PropertyDef)
// and a PropertyStore holding their current values. Objects decide which
// property groups (DBPROPFLAGS_DBINIT, _DATASOURCEINFO, _ROWSET ...) are
// visible and which may be written at the moment of the call: the
// initialisation properties of a data source, for example, are read-only
// once it is initialised.
#pragma once

#include <string>
#include <vector>

#include "ComBase.h"

namespace hdb::core {

struct PropertyDef {
    const GUID* set;
    DBPROPID id;
    VARTYPE vt;        // VT_BOOL, VT_I4, VT_I2 or VT_BSTR
    DBPROPFLAGS flags; // group | DBPROPFLAGS_READ [| DBPROPFLAGS_WRITE]
    const wchar_t* description;
    LONG defaultNumber;         // default of VT_BOOL (0/1), VT_I4 and VT_I2 properties
    const wchar_t* defaultText; // default of VT_BSTR properties; null: VT_EMPTY
    // Optional check of a value to be set (already of type vt).
    bool (*accepts)(const VARIANT& value) = nullptr;
};

class PropertyStore {
public:
    PropertyStore(const PropertyDef* defs, size_t count);

    const PropertyDef* Find(const GUID& set, DBPROPID id) const;
    const VARIANT& Value(const GUID& set, DBPROPID id) const;
    bool Bool(const GUID& set, DBPROPID id) const;
    LONG Number(const GUID& set, DBPROPID id) const;
    std::wstring Text(const GUID& set, DBPROPID id) const;
    // Sets a value without any check (the object's own doing).
    void Put(const GUID& set, DBPROPID id, const VARIANT& value);
    void PutBool(const GUID& set, DBPROPID id, bool value);
    void PutNumber(const GUID& set, DBPROPID id, LONG value);
    void PutText(const GUID& set, DBPROPID id, const std::wstring& value);

    // IDBProperties::GetProperties and its relatives. visible: the groups
    // (DBPROPFLAGS_*) this call may show.
    HRESULT Get(ULONG cSets, const DBPROPIDSET sets[], ULONG* pcOut, DBPROPSET** out,
                DBPROPFLAGS visible) const;

    // SetProperties: writable are the groups that may be changed now.
    // Statuses are written into the caller's DBPROP records. Answers S_OK,
    // DB_S_ERRORSOCCURRED (some failed) or DB_E_ERRORSOCCURRED (all failed).
    // requiredFailed (optional) tells whether a failed one was REQUIRED.
    HRESULT Set(ULONG cSets, DBPROPSET sets[], DBPROPFLAGS visible, DBPROPFLAGS writable,
                bool* requiredFailed = nullptr);

    // IDBProperties::GetPropertyInfo over this table.
    HRESULT Info(ULONG cSets, const DBPROPIDSET sets[], ULONG* pcOut, DBPROPINFOSET** out,
                 OLECHAR** descriptions, DBPROPFLAGS visible) const;

private:
    const PropertyDef* m_defs;
    size_t m_count;
    std::vector<Variant> m_values;
};

} // namespace hdb::core
