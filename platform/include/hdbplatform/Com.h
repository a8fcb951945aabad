// The COM runtime as code of this project sees it: the system's headers on
// Windows, the platform layer's declarations on Linux.
#pragma once

#ifdef _WIN32
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#else
#include "hdbplatform/WinTypes.h"
#include "hdbplatform/Unknwn.h"
#include "hdbplatform/OleAuto.h"
#include "hdbplatform/WinApi.h"
#include "hdbplatform/Crt.h"
#endif
