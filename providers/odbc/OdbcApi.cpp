#include "OdbcApi.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "OdbcSqlState.h"
#include "StringConversion.h"

namespace hdb::odbc::api {

namespace {

// Room for most messages at the first attempt; longer ones are read again.
constexpr SQLSMALLINT kMessageUnits = 512;

std::wstring WideOf(const std::u16string& units, std::size_t count) {
    return hdbtext::WideFromUtf16(std::u16string_view(units.data(), count));
}

std::int64_t RowOf(SQLSMALLINT handleType, SQLHANDLE handle, SQLSMALLINT record) {
    if (handleType != SQL_HANDLE_STMT)
        return -1;
    SQLLEN row = 0;
    const SQLRETURN rc =
        SQLGetDiagFieldW(handleType, handle, record, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr);
    // SQL_NO_ROW_NUMBER and SQL_ROW_NUMBER_UNKNOWN are negative.
    return SQL_SUCCEEDED(rc) && row > 0 ? row - 1 : -1;
}

} // namespace

SQLINTEGER SqlLength(const std::u16string& text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<SQLINTEGER>::max()))
        return std::numeric_limits<SQLINTEGER>::max();
    return static_cast<SQLINTEGER>(text.size());
}

void CollectDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle, SQLRETURN rc, bool connecting,
                        OdbcDiagnostics& diag) {
    const std::size_t first = diag.size();
    if (rc == SQL_INVALID_HANDLE || handle == SQL_NULL_HANDLE) {
        AddDiagnostic(diag, L"The ODBC handle is not valid.", L"HY000", OdbcFailure::general);
        return;
    }
    const bool warning = rc == SQL_SUCCESS_WITH_INFO;
    std::u16string state(6, u'\0');
    std::u16string message(kMessageUnits, u'\0');
    for (SQLSMALLINT record = 1;; ++record) {
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        SQLRETURN got =
            SQLGetDiagRecW(handleType, handle, record, Sql(state), &native, Sql(message),
                           static_cast<SQLSMALLINT>(message.size()), &length);
        if (got == SQL_SUCCESS_WITH_INFO && length >= static_cast<SQLSMALLINT>(message.size())) {
            message.assign(static_cast<std::size_t>(length) + 1, u'\0');
            got = SQLGetDiagRecW(handleType, handle, record, Sql(state), &native, Sql(message),
                                 static_cast<SQLSMALLINT>(message.size()), &length);
        }
        if (!SQL_SUCCEEDED(got))
            break;
        OdbcDiagnostic d;
        d.sqlState = WideOf(state, 5);
        d.nativeError = native;
        d.message = WideOf(message, std::min<std::size_t>(length, message.size() - 1));
        d.row = RowOf(handleType, handle, record);
        d.failure = warning ? OdbcFailure::none : ClassifySqlState(d.sqlState, native, connecting);
        diag.push_back(std::move(d));
    }
    if (!warning && diag.size() == first)
        AddDiagnostic(diag, L"The ODBC driver reported a failure without saying why.", L"HY000",
                      connecting ? OdbcFailure::cannotConnect : OdbcFailure::general);
}

bool Check(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, OdbcDiagnostics& diag,
           bool connecting) {
    if (rc == SQL_SUCCESS || rc == SQL_NO_DATA)
        return true;
    CollectDiagnostics(handleType, handle, rc, connecting, diag);
    return rc == SQL_SUCCESS_WITH_INFO;
}

void AddDiagnostic(OdbcDiagnostics& diag, std::wstring message, std::wstring_view sqlState,
                   OdbcFailure failure) {
    OdbcDiagnostic d;
    d.message = std::move(message);
    d.sqlState = sqlState;
    d.failure = failure;
    diag.push_back(std::move(d));
}

std::wstring InfoText(SQLHDBC connection, SQLUSMALLINT item) {
    std::u16string text(256, u'\0');
    SQLSMALLINT bytes = 0;
    SQLRETURN rc = SQLGetInfoW(connection, item, Sql(text),
                               static_cast<SQLSMALLINT>(text.size() * sizeof(char16_t)), &bytes);
    const auto units = [&] { return static_cast<std::size_t>(bytes) / sizeof(char16_t); };
    if (rc == SQL_SUCCESS_WITH_INFO && units() >= text.size()) {
        text.assign(units() + 1, u'\0');
        rc = SQLGetInfoW(connection, item, Sql(text),
                         static_cast<SQLSMALLINT>(text.size() * sizeof(char16_t)), &bytes);
    }
    if (!SQL_SUCCEEDED(rc))
        return {};
    return WideOf(text, std::min(units(), text.size() - 1));
}

SQLSMALLINT CType(OdbcValueType type) {
    switch (type) {
    case OdbcValueType::int64:
        return SQL_C_SBIGINT;
    case OdbcValueType::real64:
        return SQL_C_DOUBLE;
    case OdbcValueType::boolean:
        return SQL_C_BIT;
    case OdbcValueType::wideText:
        return SQL_C_WCHAR;
    case OdbcValueType::narrowText:
        return SQL_C_CHAR;
    case OdbcValueType::binary:
        return SQL_C_BINARY;
    case OdbcValueType::date:
        return SQL_C_TYPE_DATE;
    case OdbcValueType::time:
        return SQL_C_TYPE_TIME;
    case OdbcValueType::timestamp:
        return SQL_C_TYPE_TIMESTAMP;
    case OdbcValueType::guid:
        return SQL_C_GUID;
    }
    return SQL_C_BINARY;
}

std::size_t FixedSize(OdbcValueType type) {
    switch (type) {
    case OdbcValueType::int64:
        return sizeof(SQLBIGINT);
    case OdbcValueType::real64:
        return sizeof(SQLDOUBLE);
    case OdbcValueType::boolean:
        return sizeof(SQLCHAR);
    case OdbcValueType::date:
        return sizeof(SQL_DATE_STRUCT);
    case OdbcValueType::time:
        return sizeof(SQL_TIME_STRUCT);
    case OdbcValueType::timestamp:
        return sizeof(SQL_TIMESTAMP_STRUCT);
    case OdbcValueType::guid:
        return sizeof(SQLGUID);
    case OdbcValueType::wideText:
    case OdbcValueType::narrowText:
    case OdbcValueType::binary:
        break;
    }
    return 0;
}

// The plain structures of OdbcTypes.h are copied to and from ODBC's.
static_assert(sizeof(OdbcDate) == sizeof(SQL_DATE_STRUCT) &&
              offsetof(OdbcDate, day) == offsetof(SQL_DATE_STRUCT, day));
static_assert(sizeof(OdbcTime) == sizeof(SQL_TIME_STRUCT) &&
              offsetof(OdbcTime, second) == offsetof(SQL_TIME_STRUCT, second));
static_assert(sizeof(OdbcTimestamp) == sizeof(SQL_TIMESTAMP_STRUCT) &&
              offsetof(OdbcTimestamp, second) == offsetof(SQL_TIMESTAMP_STRUCT, second) &&
              offsetof(OdbcTimestamp, fraction) == offsetof(SQL_TIMESTAMP_STRUCT, fraction));
static_assert(sizeof(OdbcGuid) == sizeof(SQLGUID) &&
              offsetof(OdbcGuid, data4) == offsetof(SQLGUID, Data4));
static_assert(static_cast<SQLSMALLINT>(OdbcSqlType::wlongVarchar) == SQL_WLONGVARCHAR &&
              static_cast<SQLSMALLINT>(OdbcSqlType::guid) == SQL_GUID &&
              static_cast<SQLSMALLINT>(OdbcSqlType::timestamp) == SQL_TYPE_TIMESTAMP &&
              static_cast<SQLSMALLINT>(OdbcSqlType::bigint) == SQL_BIGINT);

} // namespace hdb::odbc::api
