#include "OdbcRawFetch.h"

#include <sql.h>
#include <sqlext.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace odbcbench {

namespace {

[[noreturn]] void Fail(SQLSMALLINT type, SQLHANDLE handle, const char* what) {
    SQLCHAR state[6] = {}, message[512] = {};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    if (handle != SQL_NULL_HANDLE)
        SQLGetDiagRecA(type, handle, 1, state, &native, message, sizeof message, &length);
    std::fprintf(stderr, "bench_odbc_fetch: %s failed: [%s] %s\n", what, state, message);
    std::exit(1);
}

void Check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const char* what) {
    if (!SQL_SUCCEEDED(rc))
        Fail(type, handle, what);
}

constexpr size_t NameChars = 20;

} // namespace

std::wstring SelectText(const std::string& table) {
    return L"SELECT id, amount, name, stamp FROM " + std::wstring(table.begin(), table.end()) +
           L" ORDER BY id";
}

RawConnection::RawConnection(const std::string& connectionString) {
    SQLHENV env = SQL_NULL_HENV;
    Check(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), 0, nullptr, "SQLAllocHandle");
    m_env = env;
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLHDBC dbc = SQL_NULL_HDBC;
    Check(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_HANDLE_ENV, env, "SQLAllocHandle");
    m_dbc = dbc;
    // The connection strings are ASCII; the wide call spares the driver
    // manager a conversion that depends on the process's locale.
    std::vector<SQLWCHAR> text(connectionString.begin(), connectionString.end());
    Check(SQLDriverConnectW(dbc, nullptr, text.data(), static_cast<SQLSMALLINT>(text.size()),
                            nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT),
          SQL_HANDLE_DBC, dbc, "connecting");
}

RawConnection::~RawConnection() {
    SQLDisconnect(m_dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, m_dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, m_env);
}

void RawConnection::Run(const std::string& sql) {
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    Check(SQLAllocHandle(SQL_HANDLE_STMT, m_dbc, &stmt), SQL_HANDLE_DBC, m_dbc, "SQLAllocHandle");
    std::vector<SQLCHAR> text(sql.begin(), sql.end());
    const SQLRETURN rc = SQLExecDirectA(stmt, text.data(), static_cast<SQLINTEGER>(text.size()));
    if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA)
        Fail(SQL_HANDLE_STMT, stmt, sql.c_str());
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
}

void RawConnection::CreateTable(const std::string& table, size_t rows, bool mariadb) {
    DropTable(table);
    Run("CREATE TABLE " + table +
        " (id INTEGER, amount DOUBLE PRECISION, name VARCHAR(20), stamp TIMESTAMP NULL)");
    const std::string count = std::to_string(rows);
    if (mariadb)
        Run("INSERT INTO " + table +
            " SELECT seq, (seq % 100000) * 0.25, CONCAT('customer ', seq % 1000003),"
            " TIMESTAMP '2010-01-01 00:00:00' + INTERVAL seq * 37 SECOND FROM seq_1_to_" +
            count);
    else
        Run("INSERT INTO " + table +
            " SELECT i, (i % 100000) * 0.25, 'customer ' || (i % 1000003),"
            " TIMESTAMP '2010-01-01 00:00:00' + i * INTERVAL '37 seconds'"
            " FROM generate_series(1, " +
            count + ") AS i");
}

void RawConnection::DropTable(const std::string& table) {
    Run("DROP TABLE IF EXISTS " + table);
}

Totals RawConnection::Read(const std::string& table, size_t batch) {
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    Check(SQLAllocHandle(SQL_HANDLE_STMT, m_dbc, &stmt), SQL_HANDLE_DBC, m_dbc, "SQLAllocHandle");
    std::vector<SQLINTEGER> ids(batch);
    std::vector<double> amounts(batch);
    std::vector<SQLWCHAR> names(batch * (NameChars + 1));
    std::vector<SQL_TIMESTAMP_STRUCT> stamps(batch);
    std::vector<SQLLEN> idInd(batch), amountInd(batch), nameInd(batch), stampInd(batch);
    SQLULEN fetched = 0;
    SQLSetStmtAttr(stmt, SQL_ATTR_ROW_BIND_TYPE, SQL_BIND_BY_COLUMN, 0);
    SQLSetStmtAttr(stmt, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(batch), 0);
    SQLSetStmtAttr(stmt, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
    const std::wstring select = SelectText(table);
    std::vector<SQLWCHAR> text(select.begin(), select.end());
    Check(SQLExecDirectW(stmt, text.data(), static_cast<SQLINTEGER>(text.size())), SQL_HANDLE_STMT,
          stmt, "executing the select");
    SQLBindCol(stmt, 1, SQL_C_SLONG, ids.data(), sizeof(SQLINTEGER), idInd.data());
    SQLBindCol(stmt, 2, SQL_C_DOUBLE, amounts.data(), sizeof(double), amountInd.data());
    SQLBindCol(stmt, 3, SQL_C_WCHAR, names.data(), (NameChars + 1) * sizeof(SQLWCHAR),
               nameInd.data());
    SQLBindCol(stmt, 4, SQL_C_TYPE_TIMESTAMP, stamps.data(), sizeof(SQL_TIMESTAMP_STRUCT),
               stampInd.data());
    Totals totals;
    wchar_t wide[NameChars + 1];
    SQLRETURN rc;
    while (SQL_SUCCEEDED(rc = SQLFetch(stmt))) {
        for (SQLULEN r = 0; r < fetched; ++r) {
            // The consumer's wide text: UTF-16 units widened (the names are
            // plain ASCII, so no pair needs joining).
            const SQLWCHAR* name = &names[r * (NameChars + 1)];
            const size_t chars = static_cast<size_t>(nameInd[r]) / sizeof(SQLWCHAR);
            for (size_t i = 0; i < chars; ++i)
                wide[i] = name[i];
            const SQL_TIMESTAMP_STRUCT& s = stamps[r];
            totals.Add({static_cast<long>(ids[r]), amounts[r], wide, chars, s.year, s.month, s.day,
                        s.hour, s.minute, s.second, s.fraction});
        }
    }
    if (rc != SQL_NO_DATA)
        Fail(SQL_HANDLE_STMT, stmt, "fetching");
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    return totals;
}

} // namespace odbcbench
