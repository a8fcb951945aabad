// The kind of failure a diagnostic record describes.
#pragma once

#include <cstdint>
#include <string_view>

#include "OdbcTypes.h"

namespace hdb::odbc {

// Judges a record of a failed call by its SQLSTATE, and by the native error
// where a driver reports a distinct failure under a general state (MariaDB's
// lock wait time-out 1205 under HY000, its killed connection 1927 and
// statement time-out 1969 under 70100). connecting says the record comes from
// opening the connection, where a class 08 state means the data source could
// not be reached rather than a connection that broke.
OdbcFailure ClassifySqlState(std::wstring_view sqlState, std::int32_t nativeError, bool connecting);

} // namespace hdb::odbc
