// The backends of the conformance suite.
#include "conformance/Context.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "OdbcConnection.h"
#include "OdbcRowBlock.h"
#include "OdbcStatement.h"
#include "StringConversion.h"
#include "haldendb/ProviderClassIds.h"

namespace conformance {

namespace {

// ------------------------------------------------------------ SQLite

class SqliteContext final : public Context {
public:
    SqliteContext() {
        static int counter = 0;
        m_dir = std::filesystem::temp_directory_path() /
                ("hdbconf-" + std::to_string(getpid()) + "-" + std::to_string(++counter));
        std::filesystem::create_directories(m_dir);
        m_file = m_dir / "conformance.db";
    }
    ~SqliteContext() override {
        if (m_db != nullptr)
            sqlite3_close(m_db);
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
    std::string Name() const override { return "sqlite"; }
    // Text is stored as given: no padding.
    std::wstring CharText(const std::wstring& text, size_t) const override { return text; }
    CLSID ProviderClassId() const override { return CLSID_HDB_EMBEDDED; }
    std::wstring DataSource() const override { return m_file.wstring(); }
    bool ChecksPasswords() const override { return false; }
    std::wstring UnreachableDataSource() const override {
        return L"/nonexistent-hdb-dir/sub/data.db";
    }
    std::wstring DoubleType() const override { return L"DOUBLE"; }
    // The declared type decides: INTEGER may hold any 64-bit value.
    DBTYPE IntegerColumnType() const override { return DBTYPE_I8; }
    DBTYPE SmallIntColumnType() const override { return DBTYPE_I2; }
    std::wstring LongBinaryType() const override { return L"BLOB"; }
    std::wstring BinaryLiteral(const std::wstring& hex) const override {
        return L"X'" + hex + L"'";
    }
    // A recursive count that takes a few seconds on any machine.
    std::wstring SleepQuery(int seconds) const override {
        return L"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
               L"WHERE x < " +
               std::to_wstring(seconds) + L"00000000) SELECT count(*) FROM c";
    }
    std::wstring ExpectedCatalog() const override { return L"main"; }

    void CheckerExec(const std::wstring& sql) override {
        char* error = nullptr;
        const int rc =
            sqlite3_exec(Db(), hdbtext::Utf8FromWide(sql).c_str(), nullptr, nullptr, &error);
        EXPECT_EQ(rc, SQLITE_OK) << (error ? error : "");
        sqlite3_free(error);
    }
    std::vector<Row> CheckerQuery(const std::wstring& sql) override {
        std::vector<Row> rows;
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(Db(), hdbtext::Utf8FromWide(sql).c_str(), -1, &stmt, nullptr) !=
            SQLITE_OK) {
            ADD_FAILURE() << sqlite3_errmsg(Db());
            return rows;
        }
        while (sqlite3_step(stmt) == SQLITE_ROW) {
            Row row;
            for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
                if (sqlite3_column_type(stmt, c) == SQLITE_NULL)
                    row.emplace_back();
                else
                    row.emplace_back(hdbtext::WideFromUtf8(
                        reinterpret_cast<const char*>(sqlite3_column_text(stmt, c))));
            }
            rows.push_back(std::move(row));
        }
        sqlite3_finalize(stmt);
        return rows;
    }

private:
    sqlite3* Db() {
        if (m_db == nullptr)
            sqlite3_open(m_file.c_str(), &m_db);
        return m_db;
    }

    std::filesystem::path m_dir, m_file;
    sqlite3* m_db = nullptr;
};

// ------------------------------------------------------------ servers

std::string Describe(const hdb::odbc::OdbcDiagnostics& diag) {
    std::string out;
    for (const auto& d : diag)
        out += " [" + hdbtext::Utf8FromWide(d.sqlState) + "] " + hdbtext::Utf8FromWide(d.message);
    return out;
}

class ServerContext : public Context {
public:
    explicit ServerContext(std::wstring connectionString)
        : m_connectionString(std::move(connectionString)) {}

    CLSID ProviderClassId() const override { return CLSID_HDB_MSDASQL; }
    // The user and password travel as initialisation properties, the rest as
    // the connection string the data source holds.
    std::wstring DataSource() const override {
        std::wstring rest;
        size_t start = 0;
        while (start < m_connectionString.size()) {
            size_t end = m_connectionString.find(L';', start);
            if (end == std::wstring::npos)
                end = m_connectionString.size();
            const std::wstring pair = m_connectionString.substr(start, end - start);
            const std::wstring key = pair.substr(0, pair.find(L'='));
            if (key != L"UID" && key != L"PWD" && !pair.empty())
                rest += pair + L";";
            start = end + 1;
        }
        return rest;
    }
    // The same server on a port where nothing listens.
    std::wstring UnreachableDataSource() const override {
        std::wstring text = DataSource();
        const size_t at = text.find(L"PORT=");
        if (at != std::wstring::npos)
            text.replace(at + 5, text.find(L';', at) - at - 5, L"1");
        return text;
    }
    std::wstring User() const override { return Attribute(L"UID"); }
    std::wstring Password() const override { return Attribute(L"PWD"); }

    void CheckerExec(const std::wstring& sql) override {
        hdb::odbc::OdbcDiagnostics diag;
        auto statement = Connection().NewStatement(diag);
        ASSERT_TRUE(statement) << Describe(diag);
        hdb::odbc::OdbcExecution execution;
        EXPECT_TRUE(statement->ExecuteDirect(sql, execution, diag)) << Describe(diag);
    }
    std::vector<Row> CheckerQuery(const std::wstring& sql) override {
        std::vector<Row> rows;
        hdb::odbc::OdbcDiagnostics diag;
        auto statement = Connection().NewStatement(diag);
        hdb::odbc::OdbcExecution execution;
        std::vector<hdb::odbc::OdbcColumn> columns;
        if (!statement || !statement->ExecuteDirect(sql, execution, diag) ||
            !statement->DescribeColumns(columns, diag)) {
            ADD_FAILURE() << hdbtext::Utf8FromWide(sql) << Describe(diag);
            return rows;
        }
        hdb::odbc::OdbcRowBlock block(16);
        for (size_t c = 0; c < columns.size(); ++c)
            block.Bind(static_cast<std::uint16_t>(c + 1), hdb::odbc::OdbcValueType::wideText,
                       2 * 4096);
        if (!statement->BindColumns(block, diag)) {
            ADD_FAILURE() << Describe(diag);
            return rows;
        }
        while (statement->Fetch(diag) == hdb::odbc::OdbcFetch::rows)
            for (size_t r = 0; r < block.Rows(); ++r) {
                Row row;
                for (size_t c = 0; c < columns.size(); ++c)
                    if (block.Value(c, r).IsNull())
                        row.emplace_back();
                    else
                        row.emplace_back(hdbtext::WideFromUtf16(block.Value(c, r).WideText()));
                rows.push_back(std::move(row));
            }
        EXPECT_TRUE(diag.empty()) << Describe(diag);
        return rows;
    }

private:
    std::wstring Attribute(const std::wstring& key) const {
        const std::wstring marker = key + L"=";
        const size_t at = m_connectionString.find(marker);
        if (at == std::wstring::npos)
            return L"";
        const size_t end = m_connectionString.find(L';', at);
        return m_connectionString.substr(at + marker.size(), end == std::wstring::npos
                                                                 ? std::wstring::npos
                                                                 : end - at - marker.size());
    }
    hdb::odbc::OdbcConnection& Connection() {
        if (!m_checker.Connected()) {
            hdb::odbc::OdbcConnectOptions options;
            options.dataSource = m_connectionString;
            options.loginTimeoutSeconds = 10;
            hdb::odbc::OdbcDiagnostics diag;
            EXPECT_TRUE(m_checker.Connect(options, diag)) << Describe(diag);
        }
        return m_checker;
    }

    std::wstring m_connectionString;
    hdb::odbc::OdbcConnection m_checker;
};

class MariaDbContext final : public ServerContext {
public:
    using ServerContext::ServerContext;
    std::string Name() const override { return "mariadb"; }
    std::wstring Quoted(const std::wstring& name) const override { return L'`' + name + L'`'; }
    // Its driver states a refused connection only as a general error.
    std::wstring ConnectFailureState() const override { return L"HY000"; }
    std::wstring GuidType() const override { return L"UUID"; }
    // The driver describes UUID columns as text.
    std::wstring GuidText(const std::wstring& lowercase) const override { return lowercase; }
    // CHAR values lose their trailing blanks (PAD_CHAR_TO_FULL_LENGTH is off).
    std::wstring CharText(const std::wstring& text, size_t) const override { return text; }
    std::wstring TrueText() const override { return L"1"; } // BOOLEAN is TINYINT(1)
    std::wstring DoubleType() const override { return L"DOUBLE"; }
    std::wstring TimestampType() const override { return L"DATETIME(6)"; }
    std::wstring LongTextType() const override { return L"LONGTEXT"; }
    std::wstring LongBinaryType() const override { return L"LONGBLOB"; }
    std::wstring BinaryLiteral(const std::wstring& hex) const override {
        return L"X'" + hex + L"'";
    }
    std::wstring SleepQuery(int seconds) const override {
        return L"SELECT SLEEP(" + std::to_wstring(seconds) + L")";
    }
    Routine OutputRoutine(const std::wstring& name) const override {
        return {L"CREATE PROCEDURE " + name + L" (OUT d INT, IN n INT) SET d = n * 2",
                L"DROP PROCEDURE IF EXISTS " + name, L"{CALL " + name + L"(?, ?)}"};
    }
    std::wstring ExpectedCatalog() const override { return L"hdbtest"; }
};

class PostgresContext final : public ServerContext {
public:
    using ServerContext::ServerContext;
    std::string Name() const override { return "postgres"; }
    // The server's own states, which its driver passes on.
    std::wstring MissingTableState() const override { return L"42P01"; }
    std::wstring SyntaxErrorState() const override { return L"42601"; }
    std::wstring UniqueViolationState() const override { return L"23505"; }
    std::wstring HexSlice(const std::wstring& column, size_t from, size_t count) const override {
        return L"upper(encode(substring(" + column + L" from " + std::to_wstring(from) + L" for " +
               std::to_wstring(count) + L"), 'hex'))";
    }
    std::wstring GuidType() const override { return L"UUID"; }
    std::wstring LongBinaryType() const override { return L"BYTEA"; }
    std::wstring BinaryLiteral(const std::wstring& hex) const override {
        return L"'\\x" + hex + L"'::bytea";
    }
    std::wstring SleepQuery(int seconds) const override {
        return L"SELECT pg_sleep(" + std::to_wstring(seconds) + L")";
    }
    // psqlODBC hands back a function's value, not a procedure's arguments.
    Routine OutputRoutine(const std::wstring& name) const override {
        return {L"CREATE FUNCTION " + name +
                    L" (n INTEGER) RETURNS INTEGER AS 'SELECT n * 2' LANGUAGE sql",
                L"DROP FUNCTION IF EXISTS " + name, L"{? = call " + name + L"(?)}"};
    }
    std::wstring ExpectedCatalog() const override { return L"hdbtest"; }
};

} // namespace

std::vector<std::string> BackendNames() {
    return {"sqlite", "mariadb", "postgres"};
}

std::unique_ptr<Context> MakeContext(const std::string& name, std::string& why) {
    if (name == "sqlite")
        return std::make_unique<SqliteContext>();
    const char* variable = name == "mariadb" ? "HDB_MARIADB" : "HDB_POSTGRES";
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0' || std::getenv("ODBCSYSINI") == nullptr) {
        why = std::string(variable) + " (or ODBCSYSINI) is not set: start the test servers with "
                                      "scripts/servers.sh start and eval \"$(scripts/servers.sh "
                                      "env)\", or run scripts/test.sh";
        return nullptr;
    }
    const std::wstring text = hdbtext::WideFromUtf8(value);
    if (name == "mariadb")
        return std::make_unique<MariaDbContext>(text);
    return std::make_unique<PostgresContext>(text);
}

} // namespace conformance
