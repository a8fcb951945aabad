// The connection string through which the SQL Server providers reach a
// server: an ODBC driver for SQL Server named by the settings, the server the
// consumer gave as the data source, and the SQL Server initialisation
// properties turned into the driver's own attributes.
#pragma once

#include <string>

#include "core/Backend.h"

namespace hdb::bridge {

// The SQL Server initialisation properties (DBPROPSET_SQLSERVERDBINIT) the
// providers accept.
inline constexpr DBPROPID SqlServerExtraText = 6;         // attributes to add, as text
inline constexpr DBPROPID SqlServerEncrypt = 13;          // Optional, Mandatory or Strict
inline constexpr DBPROPID SqlServerMultipleResults = 16;  // several open results at once
inline constexpr DBPROPID SqlServerTrustCertificate = 21; // accept the server's certificate

class SqlServerConnectionString {
public:
    // The properties above, for the data source to accept.
    static std::vector<backend::InitProperty> Properties();

    // "DRIVER={driver};SERVER=...;..." for options (data source: host,
    // host,port or host\instance); the user, password and catalog are left
    // to the layer, which adds what the text does not name.
    static std::wstring Build(const backend::ConnectOptions& options, const std::wstring& driver);
};

} // namespace hdb::bridge
