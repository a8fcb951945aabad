// The conformance suite runs the same provider scenarios over every backend:
// the embedded SQLite provider and the ODBC bridge on the private MariaDB
// and PostgreSQL servers. A Context says what differs between them: how to
// reach the database, the SQL of its types and quirks, and an independent
// client (the sqlite3 C API, or the ODBC layer itself on a connection of its
// own) that checks what the provider did.
#pragma once

#include <cwctype>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hdbplatform/OleDbApi.h"
#include "providers/ProviderTest.h"

namespace conformance {

using providertest::Ptr;
using providertest::Row;

class Context {
public:
    virtual ~Context() = default;
    virtual std::string Name() const = 0;
    virtual CLSID ProviderClassId() const = 0;
    // The initialisation properties of a data source that reaches the test
    // database: data source, user, password.
    virtual std::wstring DataSource() const = 0;
    virtual std::wstring User() const { return L""; }
    virtual std::wstring Password() const { return L""; }
    // Whether a wrong password is refused (a file database has none).
    virtual bool ChecksPasswords() const { return true; }
    // A data source text naming a database that cannot be reached.
    virtual std::wstring UnreachableDataSource() const = 0;
    // The SQL state of the record a failed connect leaves.
    virtual std::wstring ConnectFailureState() const { return L"08001"; }
    // The SQL state of a statement on a table that does not exist.
    virtual std::wstring MissingTableState() const { return L"42S02"; }
    // The SQL states of a syntax error and of a duplicate key.
    virtual std::wstring SyntaxErrorState() const { return L"42000"; }
    virtual std::wstring UniqueViolationState() const { return L"23000"; }
    // name as a quoted identifier of this database's SQL.
    virtual std::wstring Quoted(const std::wstring& name) const { return L'"' + name + L'"'; }

    // Column types of the suite's tables, in this database's SQL.
    virtual std::wstring BigIntType() const { return L"BIGINT"; }
    // How INTEGER and SMALLINT columns are described: the bridge gives any
    // integer narrower than BIGINT four bytes, which also holds the unsigned
    // ones of its size.
    virtual DBTYPE IntegerColumnType() const { return DBTYPE_I4; }
    virtual DBTYPE SmallIntColumnType() const { return DBTYPE_I4; }
    virtual std::wstring DoubleType() const { return L"DOUBLE PRECISION"; }
    virtual std::wstring BoolType() const { return L"BOOLEAN"; }
    // TRUE of that type read as text: "True" where it is a boolean, "1"
    // where the database makes BOOLEAN a small integer.
    virtual std::wstring TrueText() const { return L"True"; }
    virtual std::wstring TimestampType() const { return L"TIMESTAMP"; }
    virtual std::wstring LongTextType() const { return L"TEXT"; }
    virtual std::wstring LongBinaryType() const = 0;
    // The type of unique identifiers; empty where the database has none.
    virtual std::wstring GuidType() const { return L""; }
    // A value of that type read as text: a GUID's braced form, or the
    // database's own text where its driver describes the column as text.
    virtual std::wstring GuidText(const std::wstring& lowercase) const {
        std::wstring upper;
        for (wchar_t c : lowercase)
            upper += static_cast<wchar_t>(std::towupper(c));
        return L"{" + upper + L"}";
    }
    // Text of a CHAR(width) column holding text, as the database returns it:
    // padded with blanks where it keeps them.
    virtual std::wstring CharText(const std::wstring& text, size_t width) const {
        return text + std::wstring(width - text.size(), L' ');
    }
    // A binary literal of the given bytes (hex digits).
    virtual std::wstring BinaryLiteral(const std::wstring& hex) const = 0;
    // An expression of the upper-case hex digits of count bytes of a binary
    // column from byte from (counted from 1).
    virtual std::wstring HexSlice(const std::wstring& column, size_t from, size_t count) const {
        return L"hex(substr(" + column + L", " + std::to_wstring(from) + L", " +
               std::to_wstring(count) + L"))";
    }
    // A routine `name` that hands back, in its first parameter, twice the
    // integer given as its second: the statements that create and drop it
    // and its call with two markers; empty where the database has none.
    struct Routine {
        std::wstring create, drop, call;
    };
    virtual Routine OutputRoutine(const std::wstring&) const { return {}; }
    // A query that runs for about the given seconds.
    virtual std::wstring SleepQuery(int seconds) const = 0;
    // A catalog the listing must hold.
    virtual std::wstring ExpectedCatalog() const = 0;

    // The independent client: runs sql, and answers the rows of a query as
    // text (NULL as nothing), in the server's own text form.
    virtual void CheckerExec(const std::wstring& sql) = 0;
    virtual std::vector<Row> CheckerQuery(const std::wstring& sql) = 0;
};

// Every backend the suite runs on; a server whose connection string is not
// in the environment yields a context whose tests fail saying so.
std::vector<std::string> BackendNames();
// The context of a backend; null with a message in why when it cannot be made.
std::unique_ptr<Context> MakeContext(const std::string& name, std::string& why);

} // namespace conformance
