// The library's public interface: include this one header.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/LoggingSourcePos.h"
#include "haldendb/severe_sql_error.h"
#include "haldendb/MessageTable.h"
#include "haldendb/ProviderClassIds.h"
#include "haldendb/HaldenDBDllInitialize.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/CommandLiveChecker.h"
#include "haldendb/DataSource.h"
#include "haldendb/TransactionClass.h"
#include "haldendb/ColumnsInfo.h"
#include "haldendb/ColumnBindings.h"
#include "haldendb/Accessor.h"
#include "haldendb/RowSet.h"
