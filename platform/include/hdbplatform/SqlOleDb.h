// The SQL Server provider's declarations for Linux builds, under the name
// Windows gives them. The declarations themselves are portable and live in
// hdbplatform/OleDbSupplement.h, which Windows builds with mingw-w64 use too.
#pragma once

#ifdef _WIN32
#error "hdbplatform/SqlOleDb.h is for Linux builds; include hdbplatform/OleDbApi.h"
#endif

#include "hdbplatform/OleDbSupplement.h"
