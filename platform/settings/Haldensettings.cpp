#include "hdbplatform/Haldensettings.h"

#include "StringConversion.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr int kDefaultDatabaseType = 1; // the generic dialect
constexpr int kDefaultProvider = 5;     // the embedded SQLite provider
// The ODBC driver that reaches SQL Server, as the ODBC configuration names
// it: the free TDS driver of the Linux distributions.
constexpr const char* kDefaultSqlServerOdbcDriver = "FreeTDS";

constexpr std::string_view kBlanks = " \t\r\n\f\v";

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    const std::size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

// A decimal int with optional sign and surrounding blanks; anything else
// (including an overflowing number) is no value.
std::optional<int> ParseInt(std::string_view text) {
    text = Trimmed(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

const char* Environment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? value : nullptr;
}

// The settings file as the environment designates it; empty when neither an
// explicit path nor a home folder is known.
fs::path SettingsFilePath() {
#ifdef _WIN32
    if (const wchar_t* explicitPath = _wgetenv(L"HALDENDB_SETTINGS"); explicitPath && *explicitPath)
        return fs::path(explicitPath);
    if (const wchar_t* appData = _wgetenv(L"APPDATA"); appData && *appData)
        return fs::path(appData) / L"haldendb" / L"settings.ini";
    return fs::path();
#else
    if (const char* explicitPath = Environment("HALDENDB_SETTINGS"))
        return fs::path(explicitPath);
    // A relative XDG_CONFIG_HOME is invalid and to be ignored.
    if (const char* config = Environment("XDG_CONFIG_HOME"); config && config[0] == '/')
        return fs::path(config) / "haldendb" / "settings.ini";
    if (const char* home = Environment("HOME"))
        return fs::path(home) / ".config" / "haldendb" / "settings.ini";
    return fs::path();
#endif
}

std::wstring DisplayPath(const fs::path& path) {
#ifdef _WIN32
    return path.native();
#else
    return hdbtext::WideFromAnsi(path.native());
#endif
}

struct FileValues {
    std::optional<int> databaseType;
    std::optional<int> provider;
    std::optional<int> timeout;
    std::optional<std::string> sqlServerOdbcDriver;

    void Take(std::string_view key, std::string_view text) {
        if (EqualsNoCase(key, "SqlServerOdbcDriver")) {
            if (!text.empty())
                sqlServerOdbcDriver = std::string(text);
            return;
        }
        const std::optional<int> value = ParseInt(text);
        if (!value)
            return;
        if (EqualsNoCase(key, "DatabaseType"))
            databaseType = value;
        else if (EqualsNoCase(key, "DatabaseConnectionType"))
            provider = value;
        else if (EqualsNoCase(key, "DatabaseConnectionTimeout"))
            timeout = value;
    }
};

FileValues ReadSettingsFile(const fs::path& path) {
    FileValues values;
    if (path.empty())
        return values;
    std::ifstream file(path);
    bool inOurSection = true;
    bool firstLine = true;
    for (std::string raw; std::getline(file, raw);) {
        std::string_view line = raw;
        if (firstLine && line.starts_with("\xEF\xBB\xBF"))
            line.remove_prefix(3);
        firstLine = false;
        line = Trimmed(line);
        if (line.empty() || line.front() == '#' || line.front() == ';')
            continue;
        if (line.front() == '[') {
            const std::size_t close = line.find(']');
            const std::string_view name =
                Trimmed(line.substr(1, close == std::string_view::npos ? line.npos : close - 1));
            inOurSection = EqualsNoCase(name, "haldendb");
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inOurSection || equals == std::string_view::npos)
            continue;
        std::string_view value = line.substr(equals + 1);
        value = value.substr(0, value.find_first_of("#;"));
        values.Take(Trimmed(line.substr(0, equals)), Trimmed(value));
    }
    return values;
}

void CreateTemplate(const fs::path& path) {
    std::error_code error;
    if (path.empty() || fs::exists(path, error))
        return;
    if (path.has_parent_path())
        fs::create_directories(path.parent_path(), error);
    std::ofstream file(path);
    file << "# haldendb settings; environment variables override these values.\n"
            "[haldendb]\n"
            "# SQL dialect: 0, 3-6 SQL Server, 1 generic, 2 MySQL, 7 LIMIT dialect\n"
            "# DatabaseType = 1\n"
            "# Provider: 0 ODBC, 1 SQLOLEDB, 2 Native Client, 3 Oracle, 4 OLE DB driver,\n"
            "# 5 embedded SQLite\n"
            "# DatabaseConnectionType = 5\n"
            "# Connection time-out in seconds\n"
            "# DatabaseConnectionTimeout = 30\n"
            "# ODBC driver for SQL Server (a name in the ODBC configuration)\n"
            "# SqlServerOdbcDriver = FreeTDS\n";
}

// The environment's value when it is a valid integer, else the file's.
std::optional<int> Resolve(const char* variable, const std::optional<int>& fromFile) {
    if (const char* text = Environment(variable))
        if (auto value = ParseInt(text))
            return value;
    return fromFile;
}

} // namespace

CHaldensettings::CHaldensettings(bool readOnly, bool create) {
    const fs::path path = SettingsFilePath();
    m_path = DisplayPath(path);
    if (!readOnly && create)
        CreateTemplate(path);
    const FileValues file = ReadSettingsFile(path);
    m_values.databaseType =
        Resolve("HALDENDB_DATABASE_TYPE", file.databaseType).value_or(kDefaultDatabaseType);
    m_values.provider = Resolve("HALDENDB_PROVIDER", file.provider).value_or(kDefaultProvider);
    m_values.timeout = Resolve("HALDENDB_CONNECTION_TIMEOUT", file.timeout);
    const char* driver = Environment("HALDENDB_SQLSERVER_ODBC_DRIVER");
    m_values.sqlServerOdbcDriver = hdbtext::WideFromAnsi(
        driver ? driver : file.sqlServerOdbcDriver.value_or(kDefaultSqlServerOdbcDriver));
}

bool CHaldensettings::Answer(const std::optional<int>& setting, int& value) {
    if (!setting)
        return false;
    value = *setting;
    return true;
}

bool CHaldensettings::GetDatabaseType(int& value) const {
    return Answer(m_values.databaseType, value);
}

bool CHaldensettings::GetDatabaseConnectionType(int& value) const {
    return Answer(m_values.provider, value);
}

bool CHaldensettings::GetDatabaseConnectionTimeout(int& value) const {
    return Answer(m_values.timeout, value);
}

const std::wstring& CHaldensettings::GetSqlServerOdbcDriver() const noexcept {
    return m_values.sqlServerOdbcDriver;
}
