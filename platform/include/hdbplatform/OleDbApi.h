// OLE DB as code of this project sees it: the system's declarations on
// Windows, the platform layer's own on Linux. Both sides spell every name the
// same, so sources that include only this header compile on either.
//
// On Windows the GUIDs of these headers are declared extern; exactly one
// translation unit of a module defines them by defining DBINITCONSTANTS
// (and INITGUID) before including this header. On Linux they are inline
// constants and need no definition.
#pragma once

#ifdef _WIN32
#include <windows.h>
#include <oledb.h>
#include <oledberr.h>
#include <msdasc.h>
#include <msdadc.h>
#ifdef __MINGW32__
// mingw-w64's sqloledb.h does not compile as C++; the same names come from
// our portable declarations instead.
#include "hdbplatform/OleDbSupplement.h"
#else
#include <sqloledb.h>
#endif
#else
#include "hdbplatform/Com.h"
#include "hdbplatform/OleDbErr.h"
#include "hdbplatform/OleDb.h"
#include "hdbplatform/MsDaSc.h"
#include "hdbplatform/MsDaDc.h"
#include "hdbplatform/SqlOleDb.h"
#endif
