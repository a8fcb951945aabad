// Registration of the library with the host's application framework.
#pragma once

#include "haldendb/Platform.h"

// Registers this library as an extension module of the host's framework, so
// that the host finds the library's resources. Call once, after loading the
// library. The registration lives until the process ends. When it cannot be
// allocated, nothing is registered and nothing is reported.
HALDENDB_API void HaldenDBDllInitialize();
