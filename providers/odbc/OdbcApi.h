// The unixODBC headers, for the ODBC layer's own sources only, and the few
// helpers those sources share around the C interface.
//
// unixODBC declares Windows type names of its own (ULONG as unsigned long,
// WCHAR as unsigned short, DWORD, BOOL as a macro) that contradict the OLE DB
// platform's 32-bit ULONG and 4-byte WCHAR. Its escape hatch
// ALREADY_HAVE_WINDOWS_TYPE would make SQLWCHAR a 4-byte wchar_t and break
// every wide call without a compiler error. So no translation unit includes
// both: the layer's sources include this header and standard headers, never
// an hdbplatform header, and the checks here and in the platform's
// WinTypes.h turn an attempt into a clear compile error.
#pragma once

#ifdef HDBPLATFORM_WINTYPES_H
#error "hdbplatform and unixODBC headers cannot meet in one translation unit: see above"
#endif
#ifdef ALREADY_HAVE_WINDOWS_TYPE
#error "ALREADY_HAVE_WINDOWS_TYPE makes SQLWCHAR a 4-byte wchar_t; the ODBC layer needs UTF-16"
#endif

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "OdbcTypes.h"

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "SQLWCHAR must hold UTF-16");
// The plain types of the public headers stand for these.
static_assert(std::is_same_v<SQLLEN, std::int64_t> && std::is_same_v<SQLULEN, std::uint64_t>);
static_assert(std::is_same_v<SQLUSMALLINT, std::uint16_t>);

namespace hdb::odbc::api {

// UTF-16 text as the wide calls take it (they take text they only read
// through non-const pointers too).
inline SQLWCHAR* Sql(std::u16string& text) {
    return reinterpret_cast<SQLWCHAR*>(text.data());
}
inline SQLWCHAR* Sql(const std::u16string& text) {
    return const_cast<SQLWCHAR*>(reinterpret_cast<const SQLWCHAR*>(text.data()));
}

// The length argument of a wide text argument; the text itself need not end
// with a terminator.
SQLINTEGER SqlLength(const std::u16string& text);

// Appends every diagnostic record of handle, classified, to diag. After a
// call that succeeded with information the records are warnings
// (OdbcFailure::none); after a failure each gets its kind, judged as during
// a connect when connecting is set. A failure without records gets one
// saying so, so that no failure goes unexplained.
void CollectDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle, SQLRETURN rc, bool connecting,
                        OdbcDiagnostics& diag);

// True when rc is a success; diagnostics are collected for
// SQL_SUCCESS_WITH_INFO and for every failure. SQL_NO_DATA counts as a
// success: the callers that care test for it themselves.
bool Check(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, OdbcDiagnostics& diag,
           bool connecting = false);

// A diagnostic of the layer itself (not of the driver).
void AddDiagnostic(OdbcDiagnostics& diag, std::wstring message, std::wstring_view sqlState,
                   OdbcFailure failure);

// A text item of SQLGetInfo; empty when the driver has none.
std::wstring InfoText(SQLHDBC connection, SQLUSMALLINT item);

// The C type of a value type, and the bytes of one value of the fixed-size
// types (0 for text and binary, whose elements the caller sizes).
SQLSMALLINT CType(OdbcValueType type);
std::size_t FixedSize(OdbcValueType type);

} // namespace hdb::odbc::api
