// The class framework's replacements in one include: strings, arrays,
// locks, times, module registration, exceptions and files.
#pragma once

#include "hdbplatform/AtlException.h"
#include "hdbplatform/String.h"
#include "hdbplatform/StringArray.h"
#include "hdbplatform/CriticalSection.h"
#include "hdbplatform/SingleLock.h"
#include "hdbplatform/Time.h"
#include "hdbplatform/OleDateTime.h"
#include "hdbplatform/DynLinkLibrary.h"
#include "hdbplatform/Exception.h"
#include "hdbplatform/FileException.h"
#include "hdbplatform/File.h"
#include "hdbplatform/MemFile.h"
#include "hdbplatform/OleStreamFile.h"
