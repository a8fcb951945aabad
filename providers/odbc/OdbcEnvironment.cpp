#include "OdbcEnvironment.h"

#include <mutex>

#include "OdbcApi.h"

namespace hdb::odbc {

std::shared_ptr<OdbcEnvironment> OdbcEnvironment::Shared(OdbcDiagnostics& diag) {
    static std::mutex lock;
    static std::weak_ptr<OdbcEnvironment> current;
    const std::lock_guard<std::mutex> guard(lock);
    if (auto environment = current.lock())
        return environment;

    SQLHENV handle = SQL_NULL_HENV;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &handle))) {
        api::AddDiagnostic(diag, L"The ODBC driver manager could not make an environment.",
                           L"HY001", OdbcFailure::cannotConnect);
        return nullptr;
    }
    // ODBC 3, not 3.80: psqlODBC 13 supports only 3 and every connect would
    // carry the driver manager's warning about the version otherwise.
    const SQLRETURN rc =
        SQLSetEnvAttr(handle, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (!api::Check(rc, SQL_HANDLE_ENV, handle, diag, true)) {
        SQLFreeHandle(SQL_HANDLE_ENV, handle);
        return nullptr;
    }
    std::shared_ptr<OdbcEnvironment> environment(new OdbcEnvironment(handle));
    current = environment;
    return environment;
}

OdbcEnvironment::~OdbcEnvironment() {
    SQLFreeHandle(SQL_HANDLE_ENV, m_handle);
}

} // namespace hdb::odbc
