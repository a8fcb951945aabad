// The ODBC environment handle the connections of the process share.
#pragma once

#include <memory>

#include "OdbcTypes.h"

namespace hdb::odbc {

class OdbcEnvironment {
public:
    // The shared environment (ODBC 3 behaviour), made when no connection
    // holds one; null with diagnostics when the driver manager cannot make
    // it. Each connection keeps its environment alive.
    static std::shared_ptr<OdbcEnvironment> Shared(OdbcDiagnostics& diag);

    ~OdbcEnvironment();
    OdbcEnvironment(const OdbcEnvironment&) = delete;
    OdbcEnvironment& operator=(const OdbcEnvironment&) = delete;

    // The SQLHENV.
    void* Handle() const { return m_handle; }

private:
    explicit OdbcEnvironment(void* handle) : m_handle(handle) {}
    void* m_handle;
};

} // namespace hdb::odbc
