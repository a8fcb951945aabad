#include "OdbcConnection.h"

#include <algorithm>
#include <cstdint>
#include <cwctype>

#include "OdbcApi.h"
#include "OdbcConnectionString.h"
#include "OdbcEnvironment.h"
#include "OdbcRowBlock.h"
#include "OdbcStatement.h"
#include "StringConversion.h"

namespace hdb::odbc {

namespace {

// Catalog names are identifiers: 64 characters in MariaDB, 63 in
// PostgreSQL, 128 in SQL Server.
constexpr std::size_t kCatalogNameUnits = 256;
constexpr std::size_t kCatalogBatch = 64;

SQLPOINTER IntegerAttribute(std::uintptr_t value) {
    return reinterpret_cast<SQLPOINTER>(value);
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (std::towlower(text[i]) != std::towlower(prefix[i]))
            return false;
    return true;
}

bool NotConnected(OdbcDiagnostics& diag) {
    api::AddDiagnostic(diag, L"The ODBC connection is not open.", L"08003",
                       OdbcFailure::connectionLost);
    return false;
}

// Drivers may quote the connection string, or the password, in their
// messages; a report must never show it.
void MaskPassword(OdbcDiagnostics& diag, std::size_t first, const std::wstring& password) {
    if (password.empty())
        return;
    const std::wstring stars(password.size(), L'*');
    for (std::size_t i = first; i < diag.size(); ++i) {
        std::wstring& message = diag[i].message;
        for (std::size_t at = message.find(password); at != std::wstring::npos;
             at = message.find(password, at + stars.size()))
            message.replace(at, password.size(), stars);
    }
}

// The server's own list of its databases, for drivers whose catalog listing
// names only the current one; empty where the listing is trusted.
std::wstring CatalogQuery(const std::wstring& dbmsName) {
    if (StartsWithNoCase(dbmsName, L"PostgreSQL"))
        return L"SELECT datname FROM pg_database WHERE NOT datistemplate AND datallowconn "
               L"ORDER BY datname";
    if (StartsWithNoCase(dbmsName, L"MariaDB") || StartsWithNoCase(dbmsName, L"MySQL"))
        return L"SHOW DATABASES";
    if (StartsWithNoCase(dbmsName, L"Microsoft SQL Server"))
        return L"SELECT name FROM sys.databases ORDER BY name";
    return {};
}

// Reads the first column of every row of the statement's result as text.
bool ReadNames(OdbcStatement& statement, std::vector<std::wstring>& names, OdbcDiagnostics& diag) {
    OdbcRowBlock block(kCatalogBatch);
    block.Bind(1, OdbcValueType::wideText, kCatalogNameUnits * sizeof(char16_t));
    if (!statement.BindColumns(block, diag))
        return false;
    for (;;) {
        const OdbcFetch fetched = statement.Fetch(diag);
        if (fetched == OdbcFetch::error)
            return false;
        if (fetched == OdbcFetch::end)
            return true;
        for (std::size_t row = 0; row < block.Rows(); ++row)
            if (!block.Value(0, row).IsNull())
                names.push_back(hdbtext::WideFromUtf16(block.Value(0, row).WideText()));
    }
}

} // namespace

OdbcConnection::~OdbcConnection() {
    Disconnect();
}

bool OdbcConnection::Connect(const OdbcConnectOptions& options, OdbcDiagnostics& diag) {
    Disconnect();
    std::shared_ptr<OdbcEnvironment> environment = OdbcEnvironment::Shared(diag);
    if (!environment)
        return false;
    SQLHDBC handle = SQL_NULL_HDBC;
    SQLRETURN rc = SQLAllocHandle(SQL_HANDLE_DBC, environment->Handle(), &handle);
    if (!api::Check(rc, SQL_HANDLE_ENV, environment->Handle(), diag, true))
        return false;
    if (options.loginTimeoutSeconds != 0) {
        rc = SQLSetConnectAttrW(handle, SQL_ATTR_LOGIN_TIMEOUT,
                                IntegerAttribute(options.loginTimeoutSeconds), 0);
        // A driver without login time-outs still connects: its refusal is
        // only worth a warning.
        const std::size_t first = diag.size();
        api::Check(rc, SQL_HANDLE_DBC, handle, diag, true);
        for (std::size_t i = first; i < diag.size(); ++i)
            diag[i].failure = OdbcFailure::none;
    }

    const std::wstring text = OdbcConnectionString::Build(options);
    std::u16string units = hdbtext::Utf16FromWide(text);
    SQLSMALLINT completedLength = 0;
    rc = SQLDriverConnectW(handle, nullptr, api::Sql(units), SQL_NTS, nullptr, 0, &completedLength,
                           SQL_DRIVER_NOPROMPT);
    const std::size_t first = diag.size();
    const bool connected = api::Check(rc, SQL_HANDLE_DBC, handle, diag, true);
    MaskPassword(diag, first, options.password);
    MaskPassword(diag, first, OdbcConnectionString::Password(text));
    if (!connected) {
        SQLFreeHandle(SQL_HANDLE_DBC, handle);
        return false;
    }
    m_environment = std::move(environment);
    m_handle = handle;
    m_autocommit = true;
    ReadProduct();
    return true;
}

void OdbcConnection::Disconnect() {
    if (!m_handle)
        return;
    // A driver refuses to disconnect inside a transaction.
    if (!m_autocommit)
        SQLEndTran(SQL_HANDLE_DBC, m_handle, SQL_ROLLBACK);
    SQLDisconnect(m_handle);
    SQLFreeHandle(SQL_HANDLE_DBC, m_handle);
    m_handle = nullptr;
    m_environment.reset();
}

void OdbcConnection::ReadProduct() {
    m_product.driverName = api::InfoText(m_handle, SQL_DRIVER_NAME);
    m_product.driverVersion = api::InfoText(m_handle, SQL_DRIVER_VER);
    m_product.dbmsName = api::InfoText(m_handle, SQL_DBMS_NAME);
    m_product.dbmsVersion = api::InfoText(m_handle, SQL_DBMS_VER);

    SQLUINTEGER getData = 0;
    if (!SQL_SUCCEEDED(
            SQLGetInfoW(m_handle, SQL_GETDATA_EXTENSIONS, &getData, sizeof getData, nullptr)))
        getData = 0;
    // MariaDB Connector/ODBC 3.1 announces SQL_GD_BLOCK, but there
    // SQLSetPos(SQL_POSITION) adds to the cursor's position, so the next
    // fetch skips rows, and SQLGetData goes on reading the block's first row.
    // That driver keeps every result in client memory anyway, so fetching a
    // result with long columns one row at a time costs no round trips.
    const bool mariaDb = StartsWithNoCase(m_product.driverName, L"libmaodbc") ||
                         StartsWithNoCase(m_product.driverName, L"maodbc");
    m_capabilities.positionedBlockReads = (getData & SQL_GD_BLOCK) != 0 && !mariaDb;

    SQLUINTEGER rowCounts = SQL_PARC_NO_BATCH;
    m_capabilities.rowCountPerSet =
        SQL_SUCCEEDED(SQLGetInfoW(m_handle, SQL_PARAM_ARRAY_ROW_COUNTS, &rowCounts,
                                  sizeof rowCounts, nullptr)) &&
        rowCounts == SQL_PARC_BATCH;

    SQLUSMALLINT exists = SQL_FALSE;
    m_capabilities.describesParameters =
        SQL_SUCCEEDED(SQLGetFunctions(m_handle, SQL_API_SQLDESCRIBEPARAM, &exists)) &&
        exists == SQL_TRUE;
}

bool OdbcConnection::SetAutocommit(bool on, OdbcDiagnostics& diag) {
    if (!m_handle)
        return NotConnected(diag);
    const SQLRETURN rc =
        SQLSetConnectAttrW(m_handle, SQL_ATTR_AUTOCOMMIT,
                           IntegerAttribute(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF), 0);
    if (!api::Check(rc, SQL_HANDLE_DBC, m_handle, diag))
        return false;
    m_autocommit = on;
    return true;
}

bool OdbcConnection::EndTransaction(bool commit, OdbcDiagnostics& diag) {
    if (!m_handle)
        return NotConnected(diag);
    const SQLRETURN rc = SQLEndTran(SQL_HANDLE_DBC, m_handle, commit ? SQL_COMMIT : SQL_ROLLBACK);
    return api::Check(rc, SQL_HANDLE_DBC, m_handle, diag);
}

bool OdbcConnection::Commit(OdbcDiagnostics& diag) {
    return EndTransaction(true, diag);
}

bool OdbcConnection::Rollback(OdbcDiagnostics& diag) {
    return EndTransaction(false, diag);
}

bool OdbcConnection::SetIsolation(OdbcIsolation level, OdbcDiagnostics& diag) {
    if (!m_handle)
        return NotConnected(diag);
    SQLUINTEGER value = SQL_TXN_SERIALIZABLE;
    switch (level) {
    case OdbcIsolation::readUncommitted:
        value = SQL_TXN_READ_UNCOMMITTED;
        break;
    case OdbcIsolation::readCommitted:
        value = SQL_TXN_READ_COMMITTED;
        break;
    case OdbcIsolation::repeatableRead:
        value = SQL_TXN_REPEATABLE_READ;
        break;
    case OdbcIsolation::serializable:
        break;
    }
    const SQLRETURN rc =
        SQLSetConnectAttrW(m_handle, SQL_ATTR_TXN_ISOLATION, IntegerAttribute(value), 0);
    return api::Check(rc, SQL_HANDLE_DBC, m_handle, diag);
}

bool OdbcConnection::CurrentCatalog(std::wstring& name, OdbcDiagnostics& diag) {
    if (!m_handle)
        return NotConnected(diag);
    std::u16string units(kCatalogNameUnits, u'\0');
    SQLINTEGER bytes = 0;
    const SQLRETURN rc =
        SQLGetConnectAttrW(m_handle, SQL_ATTR_CURRENT_CATALOG, api::Sql(units),
                           static_cast<SQLINTEGER>(units.size() * sizeof(char16_t)), &bytes);
    if (!api::Check(rc, SQL_HANDLE_DBC, m_handle, diag))
        return false;
    const std::size_t count = std::min(
        static_cast<std::size_t>(bytes < 0 ? 0 : bytes) / sizeof(char16_t), units.size() - 1);
    name = hdbtext::WideFromUtf16(std::u16string_view(units.data(), count));
    return true;
}

bool OdbcConnection::ListCatalogs(std::vector<std::wstring>& names, OdbcDiagnostics& diag) {
    names.clear();
    std::unique_ptr<OdbcStatement> statement = NewStatement(diag);
    if (!statement)
        return false;
    OdbcDiagnostics listing;
    const bool listed =
        statement->ListAllCatalogs(listing) && ReadNames(*statement, names, listing);
    const std::wstring query = CatalogQuery(m_product.dbmsName);
    if (listed && (names.size() > 1 || query.empty())) {
        diag.insert(diag.end(), listing.begin(), listing.end());
        return true;
    }
    if (query.empty()) {
        diag.insert(diag.end(), listing.begin(), listing.end());
        return false;
    }
    names.clear();
    statement->CloseCursor();
    OdbcExecution execution;
    return statement->ExecuteDirect(query, execution, diag) && ReadNames(*statement, names, diag);
}

std::unique_ptr<OdbcStatement> OdbcConnection::NewStatement(OdbcDiagnostics& diag) {
    if (!m_handle) {
        NotConnected(diag);
        return nullptr;
    }
    SQLHSTMT handle = SQL_NULL_HSTMT;
    const SQLRETURN rc = SQLAllocHandle(SQL_HANDLE_STMT, m_handle, &handle);
    if (!api::Check(rc, SQL_HANDLE_DBC, m_handle, diag))
        return nullptr;
    return std::make_unique<OdbcStatement>(handle, m_handle, m_capabilities);
}

} // namespace hdb::odbc
