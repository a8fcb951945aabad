#include "Options.h"

#include <charconv>

namespace {

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

} // namespace

std::optional<COptions::Provider> COptions::ProviderOf(const std::string& name) {
    const std::string lower = Lower(name);
    if (lower == "embedded" || lower == "sqlite")
        return Provider::Embedded;
    if (lower == "odbc")
        return Provider::Odbc;
    if (lower == "sqlserver")
        return Provider::SqlServer;
    return std::nullopt;
}

std::optional<CBaseOLEDBClass::enumSQLDatabaseType>
COptions::DatabaseTypeOf(const std::string& name) {
    static const struct {
        const char* name;
        CBaseOLEDBClass::enumSQLDatabaseType type;
    } kTypes[] = {
        {"sqlserver", CBaseOLEDBClass::eSQLServer},
        {"generic", CBaseOLEDBClass::eGenericDatabase},
        {"mysql", CBaseOLEDBClass::eMySQL},
        {"nativeclient", CBaseOLEDBClass::eSQLServerNativeClient},
        {"nativeclient10", CBaseOLEDBClass::eSQLServerNativeClient10},
        {"nativeclient11", CBaseOLEDBClass::eSQLServerNativeClient11},
        {"oledbdriver", CBaseOLEDBClass::eSQLServerOLEDBDriver},
        {"limit", CBaseOLEDBClass::eLimitDialectDatabase},
    };
    const std::string lower = Lower(name);
    for (const auto& entry : kTypes)
        if (lower == entry.name)
            return entry.type;
    int number = -1;
    const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (failure == std::errc() && end == name.data() + name.size() && number >= 0 && number <= 7)
        return CBaseOLEDBClass::SQLDatabaseTypeFromInt(number);
    return std::nullopt;
}

bool COptions::SetFlag(const std::string& name) {
    if (name == "-h" || name == "--help")
        help = true;
    else if (name == "--csv")
        csv = true;
    else if (name == "--catalogs")
        catalogs = true;
    else if (name == "-q" || name == "--quiet")
        quiet = true;
    else if (name == "-W" || name == "--password-prompt")
        promptPassword = true;
    else
        return false;
    return true;
}

bool COptions::TakesValue(const std::string& name) {
    static const char* const kNames[] = {
        "-c", "--command",       "-f", "--file",        "-p",     "--provider",
        "-t", "--database-type", "-s", "--data-source", "-U",     "--user",
        "-d", "--database",      "-l", "--language",    "--width"};
    for (const char* known : kNames)
        if (name == known)
            return true;
    return false;
}

bool COptions::SetValue(const std::string& name, const std::string& value, std::string& error) {
    if (name == "-c" || name == "--command") {
        sources.push_back({false, value});
    } else if (name == "-f" || name == "--file") {
        sources.push_back({true, value});
    } else if (name == "-p" || name == "--provider") {
        const auto chosen = ProviderOf(value);
        if (!chosen)
            error = "unknown provider '" + value + "' (embedded, odbc, sqlserver)";
        else
            provider = *chosen;
    } else if (name == "-t" || name == "--database-type") {
        databaseType = DatabaseTypeOf(value);
        if (!databaseType)
            error = "unknown database type '" + value + "'";
    } else if (name == "-s" || name == "--data-source") {
        dataSource = value;
    } else if (name == "-U" || name == "--user") {
        user = value;
    } else if (name == "-d" || name == "--database") {
        database = value;
    } else if (name == "-l" || name == "--language") {
        const std::string lower = Lower(value);
        if (lower == "en" || lower == "english")
            language = Language::English;
        else if (lower == "de" || lower == "german" || lower == "deutsch")
            language = Language::German;
        else
            error = "unknown language '" + value + "' (en, de)";
    } else if (name == "--width") {
        int width = 0;
        const auto [end, failure] =
            std::from_chars(value.data(), value.data() + value.size(), width);
        if (failure != std::errc() || end != value.data() + value.size() || width < 4)
            error = "--width needs a number of at least 4";
        else
            valueWidth = width;
    }
    return error.empty();
}

bool COptions::Parse(int argc, char** argv, std::string& error) {
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (optionsEnded || argument == "-" || argument.empty() || argument[0] != '-') {
            sources.push_back({true, argument});
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        if (SetFlag(argument))
            continue;
        // "--name=value", or the value as the next argument.
        const size_t equals = argument.rfind("--", 0) == 0 ? argument.find('=') : std::string::npos;
        const std::string name = argument.substr(0, equals);
        if (!TakesValue(name)) {
            error = "unknown option " + argument;
            return false;
        }
        if (equals == std::string::npos && i + 1 >= argc) {
            error = "option " + argument + " needs a value";
            return false;
        }
        const std::string value =
            equals != std::string::npos ? argument.substr(equals + 1) : std::string(argv[++i]);
        if (!SetValue(name, value, error))
            return false;
    }
    return true;
}

std::string COptions::Usage() {
    return R"(Usage: hdb [options] [file ...]

Runs SQL through haldendb and prints the results. Without connection options
it opens the embedded SQLite database haldendb.db in the working directory.

SQL comes from -c texts and from files, in the order given ("-" is standard
input); with neither, from standard input, read interactively when it is a
terminal (statements end with ';', the arrow keys recall earlier statements,
Ctrl-C cancels a running statement, Ctrl-D, \q, quit or exit at the prompt
end the session).

Connection:
  -p, --provider NAME       embedded (default), odbc or sqlserver
  -t, --database-type TYPE  generic, sqlserver, mysql, nativeclient,
                            nativeclient10, nativeclient11, oledbdriver, limit
                            (or 0..7); default: from the settings for the
                            embedded and ODBC providers, oledbdriver for
                            sqlserver
  -s, --data-source TEXT    database file (embedded; default haldendb.db), DSN
                            or connection string (odbc), server (sqlserver)
  -U, --user NAME
  -d, --database NAME
  -W, --password-prompt     ask for the password (not echoed); otherwise it is
                            taken from the environment variable HDB_PASSWORD.
                            A password is never printed.
  The sqlserver provider reaches the server through the ODBC driver for SQL
  Server that the settings name (SqlServerOdbcDriver, default FreeTDS); the
  data source is host, host,port or host\instance.

Input and output:
  -c, --command SQL         run SQL (may be given more than once)
  -f, --file FILE           run the statements of FILE
      --csv                 print result sets as CSV (RFC 4180) instead of tables
      --catalogs            list the databases of the connection
      --width N             cut longer values in tables to N columns (default 40)
  -q, --quiet               no row counts
  -l, --language en|de      language of reports and messages (default: locale)
  -h, --help                this text

Reports of the library go to standard error as caption and text. The exit
status is 0 when every statement succeeded, 1 when one failed, 2 for a wrong
command line.
)";
}
