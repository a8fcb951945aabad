// Never compiles: the unixODBC headers and the platform's declare the same
// Windows type names differently. A test compiles it in both orders and
// expects the error that explains the rule.
#ifdef HDB_CLASH_FIRST_odbc
#include "OdbcApi.h"
#include "hdbplatform/WinTypes.h"
#else
#include "hdbplatform/WinTypes.h"
#include "OdbcApi.h"
#endif
