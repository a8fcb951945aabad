// CHaldensettings: the maker's settings library. It answers which database
// kind and which provider the library uses, and the connection time-out.
//
// Every setting is resolved from three sources, each overriding the one
// before: the built-in default, the settings file, the environment.
//
//   setting                     file key                    environment
//   database type (default 1)   DatabaseType                HALDENDB_DATABASE_TYPE
//   provider (default 5)        DatabaseConnectionType      HALDENDB_PROVIDER
//   time-out in seconds (none)  DatabaseConnectionTimeout   HALDENDB_CONNECTION_TIMEOUT
//   SQL Server's ODBC driver    SqlServerOdbcDriver         HALDENDB_SQLSERVER_ODBC_DRIVER
//     (default FreeTDS)
//
// The defaults select the generic SQL dialect over the embedded SQLite
// provider, so that nothing needs configuring to open a local database.
//
// The settings file is the one HALDENDB_SETTINGS names, else
// $XDG_CONFIG_HOME/haldendb/settings.ini, else $HOME/.config/haldendb/settings.ini
// (on Windows %APPDATA%\haldendb\settings.ini). It holds lines `key = value`;
// keys are case-insensitive, blank lines and lines starting with '#' or ';'
// are comments, and text after a '#' or ';' in a value is a comment too.
// Keys count before any section header and under [haldendb]; other sections
// belong to other programs and are skipped. A value that is not a decimal
// integer (optional sign, surrounding blanks allowed) is ignored, so the next
// lower source answers; the last valid line of a key wins. The driver's name
// is text: an empty value is ignored.
#pragma once

#include <optional>
#include <string>

class CHaldensettings {
public:
    // Reads the settings file and the environment once. With readOnly false
    // and create true, a missing settings file is created (with its folder),
    // holding the keys as comments to edit; otherwise nothing is written.
    explicit CHaldensettings(bool readOnly = true, bool create = false);

    // Each fills value and returns true when the setting has a value; the
    // database type and the provider always have one (their defaults).
    bool GetDatabaseType(int& value) const;
    bool GetDatabaseConnectionType(int& value) const;
    bool GetDatabaseConnectionTimeout(int& value) const;
    // The ODBC driver (its name in the ODBC configuration) through which the
    // SQL Server providers reach a server; never empty.
    const std::wstring& GetSqlServerOdbcDriver() const noexcept;

    // The settings file consulted (it need not exist); empty when no path
    // could be derived from the environment.
    const std::wstring& GetSettingsFilePath() const noexcept { return m_path; }

private:
    struct Values {
        std::optional<int> databaseType;
        std::optional<int> provider;
        std::optional<int> timeout;
        std::wstring sqlServerOdbcDriver;
    };

    static bool Answer(const std::optional<int>& setting, int& value);

    std::wstring m_path;
    Values m_values;
};
