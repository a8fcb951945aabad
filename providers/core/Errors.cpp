#include "Errors.h"

#include <vector>

#include "hdbplatform/ErrorObject.h"

namespace hdb::core {

HRESULT ResultOf(const backend::Diagnostics& diag, HRESULT fallback) {
    if (diag.empty())
        return fallback;
    switch (diag.front().failure) {
    case backend::Failure::syntax:
        return DB_E_ERRORSINCOMMAND;
    case backend::Failure::noTable:
        return DB_E_NOTABLE;
    case backend::Failure::constraint:
        return DB_E_INTEGRITYVIOLATION;
    case backend::Failure::canceled:
        return DB_E_CANCELED;
    case backend::Failure::readOnly:
        return DB_SEC_E_PERMISSIONDENIED;
    case backend::Failure::conversion:
        return DB_E_CANTCONVERTVALUE;
    case backend::Failure::timeout:
        return DB_E_ABORTLIMITREACHED;
    case backend::Failure::cannotConnect:
    case backend::Failure::busy:
    case backend::Failure::connectionLost:
    case backend::Failure::deadlock:
    case backend::Failure::general:
        break;
    }
    return fallback;
}

HRESULT ReportDiagnostics(const ErrorSource& source, HRESULT hr, REFIID iid,
                          const backend::Diagnostics& diag) {
    if (diag.empty())
        return ReportError(source, hr, iid, L"The database reported a failure without a message.");
    std::vector<HdbErrorRecord> records;
    records.reserve(diag.size());
    for (const auto& d : diag) {
        HdbErrorRecord r;
        r.hr = hr;
        r.interfaceId = iid;
        r.sourceClass = source.classId;
        r.description = d.message;
        r.source = source.name;
        r.sqlState = d.sqlState;
        r.nativeError = d.nativeError;
        records.push_back(std::move(r));
    }
    HdbSetErrorRecords(records.data(), records.size());
    return hr;
}

HRESULT ReportWarnings(const ErrorSource& source, HRESULT hr, REFIID iid,
                       const backend::Diagnostics& diag) {
    if (!diag.empty())
        ReportDiagnostics(source, hr, iid, diag);
    return hr;
}

HRESULT ReportError(const ErrorSource& source, HRESULT hr, REFIID iid,
                    const std::wstring& description) {
    HdbErrorRecord r;
    r.hr = hr;
    r.interfaceId = iid;
    r.sourceClass = source.classId;
    r.description = description;
    r.source = source.name;
    HdbSetErrorRecords(&r, 1);
    return hr;
}

void ClearError() {
    SetErrorInfo(0, nullptr);
}

} // namespace hdb::core
