// The plain values of the ODBC layer: what its classes take and give.
//
// The ODBC layer (the Odbc* sources of this folder) is the only code that
// includes the unixODBC headers, which clash with the OLE DB platform's
// Windows types (see OdbcApi.h). Its public headers, this one first, use
// standard types only, so the OLE DB backend built on the layer includes them
// beside the platform headers. Names, messages and statement text are wide
// (wchar_t) as everywhere above this layer; UTF-16 appears only in fetched
// text arrays and in text parameters (char16_t), where converting every
// value up front would cost a copy the caller may not need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hdb::odbc {

// ------------------------------------------------------------ diagnostics

// What a diagnostic record says went wrong, judged from its SQLSTATE (and
// the native error where the state alone is too general).
enum class OdbcFailure {
    none,           // a warning or information: the call succeeded
    general,        // anything below does not fit
    cannotConnect,  // the data source could not be reached or opened
    connectionLost, // an open connection broke (server gone, session killed)
    authentication, // the user or password was refused
    constraint,     // a constraint rejected the change
    deadlock,       // chosen as deadlock victim or serialisation failure: retry
    lockTimeout,    // waiting for a lock held by someone else gave up
    timeout,        // the statement's or the login's time-out ended the call
    canceled,       // Cancel ended the call
    syntax,         // the statement breaks the SQL syntax or access rules
    noTable,        // a table or view named by the statement does not exist
    dataValue,      // a value could not be converted or does not fit
    readOnly,       // the database or transaction cannot be written
};

// One record of SQLGetDiagRec, as the driver (or the driver manager) wrote it.
struct OdbcDiagnostic {
    std::wstring message;
    std::wstring sqlState; // five characters
    std::int32_t nativeError = 0;
    // The parameter set or fetched row (from 0) the record is about, or -1.
    std::int64_t row = -1;
    OdbcFailure failure = OdbcFailure::general;
};
using OdbcDiagnostics = std::vector<OdbcDiagnostic>;

// ------------------------------------------------------------ types

// ODBC's SQL data type codes (SQL_WVARCHAR ...) under plain names; a driver's
// own codes pass through as their numbers.
enum class OdbcSqlType : std::int16_t {
    unknown = 0,
    char_ = 1,
    numeric = 2,
    decimal = 3,
    integer = 4,
    smallint = 5,
    float_ = 6,
    real = 7,
    double_ = 8,
    varchar = 12,
    date = 91,
    time = 92,
    timestamp = 93,
    longVarchar = -1,
    binary = -2,
    varbinary = -3,
    longVarbinary = -4,
    bigint = -5,
    tinyint = -6,
    bit = -7,
    wchar = -8,
    wvarchar = -9,
    wlongVarchar = -10,
    guid = -11,
};

// How a value travels between the caller's arrays and the driver (its C type).
enum class OdbcValueType : std::uint8_t {
    int64,      // SQL_C_SBIGINT
    real64,     // SQL_C_DOUBLE
    boolean,    // SQL_C_BIT
    wideText,   // SQL_C_WCHAR: UTF-16
    narrowText, // SQL_C_CHAR: an exact number as ASCII digits ("-12.340"), or the
                // text of an output parameter in the driver's narrow encoding
    binary,     // SQL_C_BINARY
    date,       // SQL_C_TYPE_DATE
    time,       // SQL_C_TYPE_TIME
    timestamp,  // SQL_C_TYPE_TIMESTAMP
    guid,       // SQL_C_GUID
};

// Which way a parameter's value travels (SQL_PARAM_INPUT, _OUTPUT,
// _INPUT_OUTPUT).
enum class OdbcParameterDirection : std::uint8_t { input, output, inputOutput };

// The layouts of ODBC's date, time, timestamp and GUID structures.
struct OdbcDate {
    std::int16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t day = 0;
};
struct OdbcTime {
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
};
struct OdbcTimestamp {
    std::int16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint32_t fraction = 0; // nanoseconds
};
struct OdbcGuid {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};
};

enum class OdbcNullable : std::uint8_t { no, yes, unknown };

// A result column as SQLDescribeCol tells it.
struct OdbcColumn {
    std::wstring name;
    OdbcSqlType sqlType = OdbcSqlType::unknown;
    // Characters of text, bytes of binary, digits of numbers; 0 when the
    // driver does not know.
    std::uint64_t size = 0;
    std::int16_t decimalDigits = 0;
    OdbcNullable nullable = OdbcNullable::unknown;
};

// A parameter marker as SQLDescribeParam tells it; described is false where
// the driver has no SQLDescribeParam or cannot describe this marker.
struct OdbcParameterDescription {
    bool described = false;
    OdbcSqlType sqlType = OdbcSqlType::unknown;
    std::uint64_t size = 0;
    std::int16_t decimalDigits = 0;
    OdbcNullable nullable = OdbcNullable::unknown;
};

// ------------------------------------------------------------ connections

struct OdbcConnectOptions {
    // A DSN, or a connection string when it holds '='.
    std::wstring dataSource;
    // Added to the connection string when it names none already.
    std::wstring user;
    std::wstring password;
    std::wstring catalog;
    std::uint32_t loginTimeoutSeconds = 0; // 0: the driver's default
};

enum class OdbcIsolation { readUncommitted, readCommitted, repeatableRead, serializable };

struct OdbcProductInfo {
    std::wstring driverName;    // the driver's file name (libmaodbc.so)
    std::wstring driverVersion; // ##.##.#### as ODBC formats it
    std::wstring dbmsName;      // the server product (MariaDB, PostgreSQL)
    std::wstring dbmsVersion;
};

// What the connected driver can do, where the layer's behaviour depends on it.
struct OdbcCapabilities {
    // SQLSetPos(SQL_POSITION) followed by SQLGetData reads any row of a
    // fetched block. Without it a result with unbound (long) columns is
    // fetched one row at a time.
    bool positionedBlockReads = false;
    // SQLDescribeParam exists.
    bool describesParameters = false;
    // The rows changed by each parameter set come as results of their own
    // (SQL_PARC_BATCH, psqlODBC) rather than as one count.
    bool rowCountPerSet = false;
};

// ------------------------------------------------------------ statements

// What an execution produced.
struct OdbcExecution {
    bool hasResult = false; // a cursor with columns is open
    // Rows changed by the statement (all parameter sets together), -1 when
    // the driver cannot tell or the statement returns rows.
    std::int64_t rowCount = -1;
};

enum class OdbcFetch { rows, end, error };

// The outcome of one piece of a long value.
enum class OdbcRead {
    data,  // a piece was delivered (possibly the last)
    null,  // the value is NULL
    end,   // no bytes are left (at once for an empty value)
    error, // diagnostics say why
};

enum class OdbcRowStatus : std::uint8_t { ok, withInfo, error, noRow };

enum class OdbcSetStatus : std::uint8_t {
    success,
    successWithInfo,
    error,
    unused,      // not run because an earlier set failed
    unavailable, // the driver did not say
};

} // namespace hdb::odbc
