// Error records of the provider core: every failing call leaves an error
// object on the calling thread whose records carry the description, the
// provider's name as source, and the SQL state and native error of the
// database where there are any.
#pragma once

#include <string>

#include "Backend.h"

namespace hdb::core {

// The provider a record names as its source.
struct ErrorSource {
    const wchar_t* name = L"";
    CLSID classId = GUID_NULL;
};

// The result code an OLE DB call answers for a backend failure.
HRESULT ResultOf(const backend::Diagnostics& diag, HRESULT fallback = E_FAIL);

// Leaves one record per diagnostic (the first on top) and returns hr.
HRESULT ReportDiagnostics(const ErrorSource& source, HRESULT hr, REFIID iid,
                          const backend::Diagnostics& diag);

// The warnings of a successful call (diagnostics of a backend call that
// succeeded): one record per diagnostic, left with the success code hr
// (the caller cleared the error information at its start); returns hr.
HRESULT ReportWarnings(const ErrorSource& source, HRESULT hr, REFIID iid,
                       const backend::Diagnostics& diag);

// Leaves one record with the given description and returns hr.
HRESULT ReportError(const ErrorSource& source, HRESULT hr, REFIID iid,
                    const std::wstring& description);

// Forgets the calling thread's error information, so that a consumer never
// reads a record of an earlier call after a success.
void ClearError();

} // namespace hdb::core
