// What the ODBC layer's tests share: the servers every scenario runs on (the
// private MariaDB and PostgreSQL instances of scripts/servers.sh, reached
// through the connection strings it exports), the SQL in which their
// dialects differ, and a fixture with one open connection. Checks of what a
// scenario stored ask the server itself with plain SQL.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "OdbcConnection.h"
#include "OdbcRowBlock.h"
#include "OdbcStatement.h"
#include "StringConversion.h"

namespace odbctest {

using namespace hdb::odbc;

struct Server {
    const char* name;
    const char* variable; // holds the connection string
    const wchar_t* longText;
    const wchar_t* longBinary;
    const wchar_t* doubleType;
    const wchar_t* timestamp; // with microseconds
    const wchar_t* sleepFunction;
    // 1000 rows of n = 1..1000, and a timestamp of n seconds and n
    // microseconds after 2024-01-02 03:04:05, for INSERT ... SELECT.
    const wchar_t* series;
    const wchar_t* timestampOfN;
    // Makes a lock wait of this connection give up after about 2 seconds;
    // empty where the server is started that way.
    const wchar_t* shortLockWait;
    // A parameter array with a failing set names that set, the sets before
    // it stored; else (MariaDB's bulk protocol) the array fails as a whole,
    // nothing stored and no set named.
    bool namesFailingSet;
};

inline const Server kServers[] = {
    {"MariaDB", "HDB_MARIADB", L"LONGTEXT", L"LONGBLOB", L"DOUBLE", L"DATETIME(6)", L"SLEEP",
     L"seq_1_to_1000",
     L"TIMESTAMP'2024-01-02 03:04:05' + INTERVAL seq SECOND + INTERVAL seq "
     L"MICROSECOND",
     L"", false},
    {"PostgreSQL", "HDB_POSTGRES", L"TEXT", L"BYTEA", L"DOUBLE PRECISION", L"TIMESTAMP(6)",
     L"pg_sleep", L"generate_series(1, 1000) AS g(seq)",
     L"TIMESTAMP '2024-01-02 03:04:05' + seq * INTERVAL '1.000001 second'",
     L"SET lock_timeout = '2s'", true},
};

inline std::string ServerName(const testing::TestParamInfo<Server>& info) {
    return info.param.name;
}

inline void PrintTo(const Server& server, std::ostream* out) {
    *out << server.name;
}

inline std::string Describe(const OdbcDiagnostics& diag) {
    std::string text;
    for (const OdbcDiagnostic& d : diag)
        text += "\n  [" + hdbtext::Utf8FromWide(d.sqlState) + "] " + std::to_string(d.nativeError) +
                " " + hdbtext::Utf8FromWide(d.message);
    return text;
}

inline bool Has(const OdbcDiagnostics& diag, OdbcFailure failure) {
    for (const OdbcDiagnostic& d : diag)
        if (d.failure == failure)
            return true;
    return false;
}

class OdbcServerTest : public testing::TestWithParam<Server> {
protected:
    void SetUp() override { Connect(m_connection); }

    void TearDown() override {
        for (const std::wstring& table : m_tables)
            Run(L"DROP TABLE IF EXISTS " + table);
    }

    // The server's connection options; a missing variable fails the test.
    OdbcConnectOptions Options() const {
        const char* text = std::getenv(GetParam().variable);
        OdbcConnectOptions options;
        if (text == nullptr) {
            ADD_FAILURE() << GetParam().variable << " is not set: start the test servers with "
                          << "scripts/servers.sh start and eval \"$(scripts/servers.sh env)\"";
            return options;
        }
        options.dataSource = hdbtext::WideFromUtf8(text);
        options.loginTimeoutSeconds = 10;
        return options;
    }

    void Connect(OdbcConnection& connection) {
        const OdbcConnectOptions options = Options();
        ASSERT_FALSE(options.dataSource.empty());
        OdbcDiagnostics diag;
        ASSERT_TRUE(connection.Connect(options, diag)) << Describe(diag);
    }

    std::unique_ptr<OdbcStatement> NewStatement(OdbcConnection* connection = nullptr) {
        OdbcDiagnostics diag;
        auto statement = (connection ? *connection : m_connection).NewStatement(diag);
        EXPECT_TRUE(statement) << Describe(diag);
        return statement;
    }

    void Run(const std::wstring& text, OdbcConnection* connection = nullptr) {
        auto statement = NewStatement(connection);
        ASSERT_TRUE(statement);
        OdbcDiagnostics diag;
        OdbcExecution execution;
        ASSERT_TRUE(statement->ExecuteDirect(text, execution, diag))
            << hdbtext::Utf8FromWide(text) << Describe(diag);
    }

    // Runs text once with every set of arrays; false (and a failure) when
    // it fails.
    bool RunSets(const std::wstring& text, OdbcParameterArrays& arrays) {
        auto statement = NewStatement();
        if (!statement)
            return false;
        statement->BindParameters(&arrays);
        OdbcDiagnostics diag;
        OdbcExecution execution;
        const bool ran = statement->ExecuteDirect(text, execution, diag);
        EXPECT_TRUE(ran) << hdbtext::Utf8FromWide(text) << Describe(diag);
        return ran;
    }

    // Creates a table of this test and process (tests of other runs may use
    // the same server at the same time), dropped after the test.
    std::wstring Table(const std::wstring& columns) {
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        std::wstring table = L"odbc_" + std::to_wstring(getpid()) + L"_";
        // Identifiers stay within what both servers take (63 characters).
        for (char c : name.substr(0, std::min<std::size_t>(name.find('/'), 40)))
            table += std::isalnum(static_cast<unsigned char>(c))
                         ? static_cast<wchar_t>(std::tolower(c))
                         : L'_';
        Run(L"DROP TABLE IF EXISTS " + table);
        Run(L"CREATE TABLE " + table + L" (" + columns + L")");
        m_tables.push_back(table);
        return table;
    }

    // The first column of every row of query, as text ("NULL" for NULL).
    std::vector<std::wstring> Column(const std::wstring& query,
                                     OdbcConnection* connection = nullptr) {
        std::vector<std::wstring> values;
        auto statement = NewStatement(connection);
        OdbcDiagnostics diag;
        OdbcExecution execution;
        OdbcRowBlock block(16);
        block.Bind(1, OdbcValueType::wideText, 512);
        if (!statement || !statement->ExecuteDirect(query, execution, diag) ||
            !statement->BindColumns(block, diag)) {
            ADD_FAILURE() << hdbtext::Utf8FromWide(query) << Describe(diag);
            return values;
        }
        while (statement->Fetch(diag) == OdbcFetch::rows)
            for (std::size_t row = 0; row < block.Rows(); ++row)
                values.push_back(block.Value(0, row).IsNull()
                                     ? L"NULL"
                                     : hdbtext::WideFromUtf16(block.Value(0, row).WideText()));
        EXPECT_TRUE(diag.empty()) << Describe(diag);
        return values;
    }

    std::wstring Scalar(const std::wstring& query, OdbcConnection* connection = nullptr) {
        const std::vector<std::wstring> values = Column(query, connection);
        return values.empty() ? L"" : values.front();
    }

    OdbcConnection m_connection;
    std::vector<std::wstring> m_tables;
};

} // namespace odbctest
