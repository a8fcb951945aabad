// The one header through which the library reaches its platform: COM, OLE DB,
// the framework classes and the settings library. On Windows these are the
// system's headers (and the framework classes of this project where no MFC is
// present); on Linux they come from this project's platform layer.
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/OleDbApi.h"
#include "hdbplatform/Framework.h"
#include "hdbplatform/Haldensettings.h"

#include "BasicString.h"
#include "BasicStringView.h"
#include "NamedType.h"

// Symbols of the library's public interface.
#ifdef _WIN32
#ifdef HALDENDB_BUILDING
#define HALDENDB_API __declspec(dllexport)
#else
#define HALDENDB_API __declspec(dllimport)
#endif
#else
#define HALDENDB_API __attribute__((visibility("default")))
#endif
