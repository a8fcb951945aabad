// Error objects for Linux builds: what a failing provider call leaves on the
// calling thread, and what consumers read back through the standard error
// interfaces only (GetErrorInfo, IErrorRecords, the per-record IErrorInfo and
// the ISQLErrorInfo custom error object).
//
// Providers build their records with the functions below; consumers never
// need this header. The object is also the built-in class
// CLSID_EXTENDEDERRORINFO, so CoCreateInstance(CLSID_EXTENDEDERRORINFO, ...,
// IID_IErrorRecords) gives an empty one. Records added through plain
// IErrorRecords::AddErrorRecord carry no text of their own (there is no error
// lookup service here): their description and source come from the custom
// error object when that object answers IErrorInfo, and are empty otherwise.
//
// Record order: record 0 is the newest. AddErrorRecord puts the new record on
// top and shifts the existing ones down by one, so a consumer reads the most
// general report first and the more detailed ones after it.
//
// Texts: an empty description, source or SQL state is answered as a null
// BSTR with S_OK; the help file is always null and the help context 0. The
// locale asked for is not checked: records hold the one text the provider
// wrote. Records keep no error parameters; GetErrorParameters answers
// E_NOTIMPL for an existing record (DISPPARAMS is only a declared name here).
#pragma once

#ifdef _WIN32
#error "hdbplatform/ErrorObject.h is for Linux builds; Windows supplies its own error objects"
#endif

#include <cstddef>
#include <string>

#include "hdbplatform/OleDbApi.h"

// The class id of the OLE DB error object (on Windows declared in msdaguid.h,
// which the OLE DB headers here do not mirror).
inline constexpr CLSID CLSID_EXTENDEDERRORINFO = {
    0xc8b522cf, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// One error record as a provider reports it.
struct HdbErrorRecord {
    HRESULT hr = E_FAIL;           // ERRORINFO::hrError
    GUID interfaceId = GUID_NULL;  // ERRORINFO::iid: the interface whose call failed
    CLSID sourceClass = GUID_NULL; // ERRORINFO::clsid: the provider
    std::wstring description;      // IErrorInfo::GetDescription
    std::wstring source;           // IErrorInfo::GetSource (the provider's name)
    std::wstring sqlState;         // ISQLErrorInfo state; empty -> no custom object unless
                                   // nativeError != 0
    LONG nativeError = 0;          // ISQLErrorInfo native error, ERRORINFO::dwMinor
};

// Creates an error object holding the records (records[0] ends up as record 0,
// the top one). count 0 gives an empty object. Returns E_INVALIDARG for a null
// errorInfo, or for null records with a non-zero count; E_OUTOFMEMORY when
// allocation fails. On success *errorInfo holds one reference.
HRESULT HdbCreateErrorObject(const HdbErrorRecord* records, size_t count, IErrorInfo** errorInfo);

// The same, then installs it as the calling thread's error information
// (SetErrorInfo), replacing whatever was there. The thread slot holds the
// only reference afterwards.
HRESULT HdbSetErrorRecords(const HdbErrorRecord* records, size_t count);

// Adds one record on top of an existing error object (the provider's way of
// reporting several at once). The object must be one made by this module
// (HdbCreateErrorObject or CoCreateInstance(CLSID_EXTENDEDERRORINFO)): the
// texts have no slot in plain AddErrorRecord, so any other IErrorRecords gives
// E_NOINTERFACE. A null records gives E_INVALIDARG.
HRESULT HdbAddErrorRecord(IErrorRecords* records, const HdbErrorRecord& record);

// An ISQLErrorInfo object on its own, for custom error objects. A null
// sqlState counts as empty. Returns E_INVALIDARG for a null out.
HRESULT HdbCreateSQLErrorInfo(const wchar_t* sqlState, LONG nativeError, ISQLErrorInfo** out);
