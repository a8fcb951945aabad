// The command line of hdb: connection, language, output form and where the
// SQL comes from.
#pragma once

#include "haldendb/haldendb.h"

#include <optional>
#include <string>
#include <vector>

class COptions {
public:
    enum class Provider { Embedded, Odbc, SqlServer };
    enum class Language { FromLocale, English, German };

    // One source of SQL, in the order given on the command line.
    struct Source {
        bool isFile = false; // a file name (or "-" for standard input), else SQL text
        std::string text;
    };

    // The database file of the embedded provider when no data source is named.
    static constexpr const char* DefaultDatabaseFile = "haldendb.db";
    // The environment variable a password is taken from.
    static constexpr const char* PasswordVariable = "HDB_PASSWORD";
    // Display width of one value in a table, in terminal columns.
    static constexpr int DefaultValueWidth = 40;

    // Reads argv; false with a message in `error` for a wrong command line.
    bool Parse(int argc, char** argv, std::string& error);
    static std::string Usage();

    Provider provider = Provider::Embedded;
    // Set by --database-type; otherwise the provider's usual type.
    std::optional<CBaseOLEDBClass::enumSQLDatabaseType> databaseType;
    std::string dataSource = DefaultDatabaseFile;
    std::string user;
    std::string database;
    bool promptPassword = false;
    Language language = Language::FromLocale;
    bool csv = false;
    bool catalogs = false;
    bool help = false;
    bool quiet = false;
    int valueWidth = DefaultValueWidth;
    std::vector<Source> sources;

private:
    // A switch without a value; false when `name` is none.
    bool SetFlag(const std::string& name);
    static bool TakesValue(const std::string& name);
    // Stores an option's value; false with a message for a wrong one.
    bool SetValue(const std::string& name, const std::string& value, std::string& error);
    static std::optional<Provider> ProviderOf(const std::string& name);
    static std::optional<CBaseOLEDBClass::enumSQLDatabaseType>
    DatabaseTypeOf(const std::string& name);
};
