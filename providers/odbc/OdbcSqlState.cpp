// SQLSTATE classes of ODBC 3 and the SQL standard, with the states and native
// errors MariaDB and PostgreSQL use for what the classes cannot tell.
#include "OdbcSqlState.h"

namespace hdb::odbc {

namespace {

// MariaDB's native errors that arrive under a general state.
constexpr std::int32_t kMariaLockWaitTimeout = 1205;  // HY000
constexpr std::int32_t kMariaServerGone = 2006;       // HY000, client side
constexpr std::int32_t kMariaLostConnection = 2013;   // HY000, client side
constexpr std::int32_t kMariaConnectionKilled = 1927; // 70100
constexpr std::int32_t kMariaStatementTimeout = 1969; // 70100

bool StartsWith(std::wstring_view text, std::wstring_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

OdbcFailure ClassifyGeneralState(std::int32_t nativeError, bool connecting) {
    switch (nativeError) {
    case kMariaLockWaitTimeout:
        return OdbcFailure::lockTimeout;
    case kMariaServerGone:
    case kMariaLostConnection:
        return connecting ? OdbcFailure::cannotConnect : OdbcFailure::connectionLost;
    default:
        return OdbcFailure::general;
    }
}

// 70100 ("operation aborted") is how MariaDB ends a statement killed from
// outside: by Cancel (KILL QUERY), by its statement time-out, or with the
// whole session.
OdbcFailure ClassifyAborted(std::int32_t nativeError) {
    switch (nativeError) {
    case kMariaConnectionKilled:
        return OdbcFailure::connectionLost;
    case kMariaStatementTimeout:
        return OdbcFailure::timeout;
    default:
        return OdbcFailure::canceled;
    }
}

} // namespace

OdbcFailure ClassifySqlState(std::wstring_view state, std::int32_t nativeError, bool connecting) {
    if (state.size() != 5)
        return OdbcFailure::general;
    if (StartsWith(state, L"01"))
        return OdbcFailure::none;
    if (StartsWith(state, L"08") || StartsWith(state, L"57P"))
        return connecting ? OdbcFailure::cannotConnect : OdbcFailure::connectionLost;
    if (StartsWith(state, L"IM")) // driver manager: no such DSN, driver not loadable
        return connecting ? OdbcFailure::cannotConnect : OdbcFailure::general;
    if (StartsWith(state, L"28"))
        return OdbcFailure::authentication;
    if (StartsWith(state, L"23") || state == L"40002")
        return OdbcFailure::constraint;
    if (state == L"40003") // statement completion unknown: the link broke
        return OdbcFailure::connectionLost;
    if (StartsWith(state, L"40"))
        return OdbcFailure::deadlock;
    if (state == L"HYT00" || state == L"HYT01" || state == L"57014")
        return OdbcFailure::timeout;
    if (state == L"HY008")
        return OdbcFailure::canceled;
    if (state == L"70100")
        return ClassifyAborted(nativeError);
    if (state == L"55P03") // PostgreSQL's lock_timeout, lock not available
        return OdbcFailure::lockTimeout;
    if (state == L"42S02" || state == L"42P01" || state == L"S0002")
        return OdbcFailure::noTable;
    if (StartsWith(state, L"42") || StartsWith(state, L"37"))
        return OdbcFailure::syntax;
    if (StartsWith(state, L"22"))
        return OdbcFailure::dataValue;
    if (state == L"25006")
        return OdbcFailure::readOnly;
    if (state == L"HY000")
        return ClassifyGeneralState(nativeError, connecting);
    return OdbcFailure::general;
}

} // namespace hdb::odbc
