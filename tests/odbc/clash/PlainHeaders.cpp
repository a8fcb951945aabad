// The ODBC layer's public headers beside the platform's, as the bridge's
// OLE DB backend includes them; built with the tests, so a public header
// that pulled in the unixODBC headers would break the build.
#include "hdbplatform/OleDbApi.h"

#include "OdbcConnection.h"
#include "OdbcConnectionString.h"
#include "OdbcEnvironment.h"
#include "OdbcParameterArrays.h"
#include "OdbcRowBlock.h"
#include "OdbcSqlState.h"
#include "OdbcStatement.h"
#include "OdbcTypes.h"

static_assert(sizeof(ULONG) == 4 && sizeof(WCHAR) == sizeof(wchar_t));
