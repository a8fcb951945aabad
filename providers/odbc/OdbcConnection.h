// One ODBC connection: connect and disconnect, transactions, what the driver
// and server are, the server's catalogs, and the statements made on it.
//
// Threads: one thread at a time uses a connection and its statements, except
// OdbcStatement::Cancel. Statements must be gone before the connection is.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "OdbcTypes.h"

namespace hdb::odbc {

class OdbcEnvironment;
class OdbcStatement;

class OdbcConnection {
public:
    OdbcConnection() = default;
    ~OdbcConnection();
    OdbcConnection(const OdbcConnection&) = delete;
    OdbcConnection& operator=(const OdbcConnection&) = delete;

    // Connects (a connected object disconnects first) with the connection
    // string OdbcConnectionString::Build makes of options, within the
    // options' login time-out. On failure the diagnostics carry the driver's
    // messages with the password shown as asterisks, failure kinds judged as
    // at a connect (cannotConnect, authentication, timeout).
    bool Connect(const OdbcConnectOptions& options, OdbcDiagnostics& diag);

    // Rolls back an open transaction and disconnects; nothing when not
    // connected.
    void Disconnect();
    bool Connected() const { return m_handle != nullptr; }

    // Autocommit (on after Connect); with it off a transaction is open until
    // Commit or Rollback, which start the next one.
    bool SetAutocommit(bool on, OdbcDiagnostics& diag);
    bool Autocommit() const { return m_autocommit; }
    bool Commit(OdbcDiagnostics& diag);
    bool Rollback(OdbcDiagnostics& diag);
    // The isolation of the transactions that start from now on.
    bool SetIsolation(OdbcIsolation level, OdbcDiagnostics& diag);

    const OdbcProductInfo& Product() const { return m_product; }
    const OdbcCapabilities& Capabilities() const { return m_capabilities; }

    // The catalog (database) the connection works in.
    bool CurrentCatalog(std::wstring& name, OdbcDiagnostics& diag);

    // The catalogs (databases) of the server. Where the driver's catalog
    // listing names only the current one (psqlODBC does), the server is
    // asked itself.
    bool ListCatalogs(std::vector<std::wstring>& names, OdbcDiagnostics& diag);

    // A new statement; null with diagnostics when none can be made.
    std::unique_ptr<OdbcStatement> NewStatement(OdbcDiagnostics& diag);

    // The SQLHDBC, for the layer's statements.
    void* Handle() const { return m_handle; }

private:
    bool EndTransaction(bool commit, OdbcDiagnostics& diag);
    void ReadProduct();

    std::shared_ptr<OdbcEnvironment> m_environment;
    void* m_handle = nullptr;
    bool m_autocommit = true;
    OdbcProductInfo m_product;
    OdbcCapabilities m_capabilities;
};

} // namespace hdb::odbc
