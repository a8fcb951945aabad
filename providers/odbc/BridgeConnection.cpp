// A connection of the ODBC bridge: connect through a DSN or a connection
// string, transactions through autocommit, the server's catalogs.
#include "OdbcBackend.h"
#include "OdbcConnectionString.h"
#include "SqlServerConnectionString.h"

namespace hdb::bridge {

namespace {

odbc::OdbcIsolation IsolationOf(backend::Isolation level) {
    switch (level) {
    case backend::Isolation::readUncommitted:
        return odbc::OdbcIsolation::readUncommitted;
    case backend::Isolation::readCommitted:
        return odbc::OdbcIsolation::readCommitted;
    case backend::Isolation::repeatableRead:
        return odbc::OdbcIsolation::repeatableRead;
    case backend::Isolation::serializable:
        break;
    }
    return odbc::OdbcIsolation::serializable;
}

bool Contains(const std::wstring& text, const wchar_t* piece) {
    return text.find(piece) != std::wstring::npos;
}

} // namespace

bool BridgeConnection::Open(const backend::ConnectOptions& options, backend::Diagnostics& diag) {
    m_options = options;
    odbc::OdbcConnectOptions connect;
    connect.dataSource = m_sqlServerDriver.empty()
                             ? options.dataSource
                             : SqlServerConnectionString::Build(options, m_sqlServerDriver);
    // The provider string holds further attributes of the connection string.
    if (!options.providerString.empty()) {
        if (connect.dataSource.find(L'=') == std::wstring::npos && !connect.dataSource.empty())
            connect.dataSource = L"DSN=" + odbc::OdbcConnectionString::Quote(connect.dataSource);
        if (!connect.dataSource.empty() && connect.dataSource.back() != L';')
            connect.dataSource += L';';
        connect.dataSource += options.providerString;
    }
    connect.user = options.user;
    connect.password = options.password;
    connect.catalog = options.catalog;
    connect.loginTimeoutSeconds =
        static_cast<std::uint32_t>(std::max<LONG>(options.timeoutSeconds, 0));
    odbc::OdbcDiagnostics layer;
    if (!m_connection.Connect(connect, layer)) {
        AppendDiagnostics(layer, diag);
        if (!diag.empty())
            diag.front().failure = backend::Failure::cannotConnect;
        return false;
    }
    AppendDiagnostics(layer, diag); // warnings of a connect that succeeded
    layer.clear();
    if (!m_connection.CurrentCatalog(m_catalog, layer))
        AppendDiagnostics(layer, diag);
    const std::wstring& product = m_connection.Product().dbmsName;
    m_quote = Contains(product, L"MariaDB") || Contains(product, L"MySQL") ? L'`' : L'"';
    return true;
}

void BridgeConnection::Close() {
    m_connection.Disconnect();
}

std::unique_ptr<backend::Connection> BridgeConnection::OpenAnother(backend::Diagnostics& diag) {
    auto other = std::make_unique<BridgeConnection>(m_sqlServerDriver);
    if (!other->Open(m_options, diag))
        return nullptr;
    return other;
}

bool BridgeConnection::Begin(backend::Isolation level, backend::Diagnostics& diag) {
    odbc::OdbcDiagnostics layer;
    const bool ok = m_connection.SetIsolation(IsolationOf(level), layer) &&
                    m_connection.SetAutocommit(false, layer);
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeConnection::EndTransaction(bool commit, backend::Diagnostics& diag) {
    odbc::OdbcDiagnostics layer;
    bool ok = commit ? m_connection.Commit(layer) : m_connection.Rollback(layer);
    // Back to statements that commit one by one, also after a failed commit
    // (the server rolled the transaction back then).
    ok = m_connection.SetAutocommit(true, layer) && ok;
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeConnection::Commit(backend::Diagnostics& diag) {
    return EndTransaction(true, diag);
}

bool BridgeConnection::Rollback(backend::Diagnostics& diag) {
    return EndTransaction(false, diag);
}

bool BridgeConnection::ListCatalogs(std::vector<backend::CatalogInfo>& catalogs,
                                    backend::Diagnostics& diag) {
    catalogs.clear();
    std::vector<std::wstring> names;
    odbc::OdbcDiagnostics layer;
    const bool ok = m_connection.ListCatalogs(names, layer);
    AppendDiagnostics(layer, diag);
    for (auto& name : names)
        catalogs.push_back({std::move(name), L""});
    return ok;
}

std::unique_ptr<backend::Statement> BridgeConnection::NewStatement() {
    odbc::OdbcDiagnostics layer;
    auto statement = m_connection.NewStatement(layer);
    return std::make_unique<BridgeStatement>(std::move(statement), &m_connection, std::move(layer));
}

std::wstring BridgeConnection::QuoteIdentifier(const std::wstring& name) const {
    std::wstring quoted(1, m_quote);
    for (wchar_t c : name) {
        quoted += c;
        if (c == m_quote)
            quoted += c;
    }
    return quoted + m_quote;
}

std::wstring BridgeConnection::ProductName() const {
    return m_connection.Product().dbmsName;
}

std::wstring BridgeConnection::ProductVersion() const {
    return m_connection.Product().dbmsVersion;
}

} // namespace hdb::bridge
