// The OLE DB interfaces, records and constants for Linux builds.
//
// Names, values, record layouts and vtable orders are those of 64-bit
// Windows, so that a consumer compiled here and a provider compiled here
// agree on every byte a consumer fills and a provider reads, and so that the
// same sources compile against the system's declarations on Windows
// (hdbplatform/OleDbApi.h picks one side or the other).
//
// Two deliberate differences from Windows, both forced by the platform:
// - wchar_t is 4 bytes, so every LPOLESTR and DBTYPE_WSTR buffer holds
//   UTF-32; byte counts of wide text use sizeof(wchar_t).
// - Constants that Windows spells as macros are typed constants or enums here;
//   they compare and convert the same way in every expression the library
//   writes.
//
// One header of about two thousand lines, as the system's own is one: its
// declarations are a catalogue that consumers include whole, and splitting
// it would only spread one interface set over several files.
#pragma once

#ifdef _WIN32
#error "hdbplatform/OleDb.h is for Linux builds; include hdbplatform/OleDbApi.h"
#endif

#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"

// Interfaces that OLE DB records only point to; nothing here calls them.
struct ITypeInfo;
struct DISPPARAMS;
using DISPID = LONG;
using SBYTE = signed char;

// Interfaces carry no virtual destructor, as on Windows: COM objects end
// through Release, never through delete on an interface pointer.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Windows packs the OLE DB records to 8 bytes on 64-bit builds, which is the
// natural alignment of x86-64; the pack is kept so that a record added later
// cannot drift from the Windows layout unnoticed.
#pragma pack(push, 8)

// ---------------------------------------------------------------- scalars
// Counts, lengths, ordinals and offsets are pointer-sized, as on Win64.

using DBLENGTH = ULONGLONG;
using DBROWOFFSET = LONGLONG;
using DBROWCOUNT = LONGLONG;
using DBCOUNTITEM = ULONGLONG;
using DBORDINAL = ULONGLONG;
using DB_LORDINAL = LONGLONG;
using DBBKMARK = ULONGLONG;
using DBBYTEOFFSET = ULONGLONG;
using DBREFCOUNT = ULONG;
using DB_UPARAMS = ULONGLONG;
using DB_LPARAMS = LONGLONG;
using DBHASHVALUE = ULONGLONG;
using DB_DWRESERVE = ULONGLONG;
using DB_LRESERVE = LONGLONG;
using DB_URESERVE = ULONGLONG;

static_assert(sizeof(DBLENGTH) == sizeof(void*) && sizeof(DBROWCOUNT) == sizeof(void*));

// Handles a provider hands out: opaque, pointer-sized, 0 means none.
using HACCESSOR = ULONG_PTR;
using HROW = ULONG_PTR;
using HCHAPTER = ULONG_PTR;
using HWATCHREGION = ULONG_PTR;
inline constexpr HACCESSOR DB_NULL_HACCESSOR = 0;
inline constexpr HACCESSOR DB_INVALID_HACCESSOR = 0;
inline constexpr HROW DB_NULL_HROW = 0;
inline constexpr HCHAPTER DB_NULL_HCHAPTER = 0;
inline constexpr HCHAPTER DB_INVALID_HCHAPTER = 0;
inline constexpr HWATCHREGION DBWATCHREGION_NULL = 0;

// A column ordinal that names no column.
inline constexpr DBORDINAL DB_INVALIDCOLUMN = ~DBORDINAL{0};
// A row count a provider cannot tell (for example after a DDL statement).
inline constexpr DBROWCOUNT DB_COUNTUNAVAILABLE = -1;

using DBTYPE = WORD;
using DBKIND = DWORD;
using DBPART = DWORD;
using DBPARAMIO = DWORD;
using DBBINDFLAG = DWORD;
using DBMEMOWNER = DWORD;
using DBSTATUS = DWORD;
using DBROWSTATUS = DWORD;
using DBCOLUMNFLAGS = DWORD;
using DBPARAMFLAGS = DWORD;
using DBPROPID = DWORD;
using DBPROPFLAGS = DWORD;
using DBPROPOPTIONS = DWORD;
using DBPROPSTATUS = DWORD;
using DBACCESSORFLAGS = DWORD;
using DBBINDSTATUS = DWORD;
using DBROWOPTIONS = DWORD;
using DBCOMPARE = DWORD;
using DBCOMPAREOP = DWORD;
using DBPENDINGSTATUS = DWORD;
using DBPOSITIONFLAGS = DWORD;
using DBSEEK = DWORD;
using DBRANGE = DWORD;
using DBRESULTFLAG = DB_LRESERVE;
using DBCONVERTFLAGS = DWORD;
using DBLITERAL = DWORD;
using DBINDEX_COL_ORDER = DWORD;
using DBCOLUMNDESCFLAGS = DWORD;
using DBEVENTPHASE = DWORD;
using DBREASON = DWORD;
using DBASYNCHOP = DWORD;
using DBASYNCHPHASE = DWORD;
using DBSORT = DWORD;

// ---------------------------------------------------------------- DBID
// Names a column, table, index or property either by text, by GUID or by
// number; eKind says which union members are in use.

enum DBKINDENUM {
    DBKIND_GUID_NAME = 0,
    DBKIND_GUID_PROPID,
    DBKIND_NAME,
    DBKIND_PGUID_NAME,
    DBKIND_PGUID_PROPID,
    DBKIND_PROPID,
    DBKIND_GUID,
};

struct DBID {
    union {
        GUID guid;
        GUID* pguid;
    } uGuid;
    DBKIND eKind;
    union {
        LPOLESTR pwszName;
        ULONG ulPropid;
    } uName;
};
static_assert(sizeof(DBID) == 32 && offsetof(DBID, eKind) == 16 && offsetof(DBID, uName) == 24);

// The "no column" identifier used as the colid of ordinary properties.
inline constexpr DBID DB_NULLID = {{GUID_NULL}, DBKIND_GUID_NAME, {nullptr}};

// ---------------------------------------------------------------- types

enum DBTYPEENUM {
    DBTYPE_EMPTY = 0,
    DBTYPE_NULL = 1,
    DBTYPE_I2 = 2,
    DBTYPE_I4 = 3,
    DBTYPE_R4 = 4,
    DBTYPE_R8 = 5,
    DBTYPE_CY = 6,
    DBTYPE_DATE = 7,
    DBTYPE_BSTR = 8,
    DBTYPE_IDISPATCH = 9,
    DBTYPE_ERROR = 10,
    DBTYPE_BOOL = 11,
    DBTYPE_VARIANT = 12,
    DBTYPE_IUNKNOWN = 13,
    DBTYPE_DECIMAL = 14,
    DBTYPE_UI1 = 17,
    DBTYPE_ARRAY = 0x2000,
    DBTYPE_BYREF = 0x4000,
    DBTYPE_I1 = 16,
    DBTYPE_UI2 = 18,
    DBTYPE_UI4 = 19,
    DBTYPE_I8 = 20,
    DBTYPE_UI8 = 21,
    DBTYPE_GUID = 72,
    DBTYPE_VECTOR = 0x1000,
    DBTYPE_RESERVED = 0x8000,
    DBTYPE_BYTES = 128,
    DBTYPE_STR = 129,
    DBTYPE_WSTR = 130,
    DBTYPE_NUMERIC = 131,
    DBTYPE_UDT = 132,
    DBTYPE_DBDATE = 133,
    DBTYPE_DBTIME = 134,
    DBTYPE_DBTIMESTAMP = 135,
};

enum DBTYPEENUM15 {
    DBTYPE_HCHAPTER = 136,
};

enum DBTYPEENUM20 {
    DBTYPE_FILETIME = 64,
    DBTYPE_PROPVARIANT = 138,
    DBTYPE_VARNUMERIC = 139,
};

// The DBTYPE that holds a value of each pointer-sized count type.
inline constexpr DBTYPE DBTYPEFOR_DBLENGTH = DBTYPE_UI8;
inline constexpr DBTYPE DBTYPEFOR_DBROWCOUNT = DBTYPE_I8;
inline constexpr DBTYPE DBTYPEFOR_DBORDINAL = DBTYPE_UI8;

// Fixed-point number: val holds the magnitude, little-endian; sign is 1 for
// positive, 0 for negative.
struct DB_NUMERIC {
    BYTE precision;
    BYTE scale;
    BYTE sign;
    BYTE val[16];
};
static_assert(sizeof(DB_NUMERIC) == 19 && alignof(DB_NUMERIC) == 1);

// Variable-length number: val continues past the record for as many bytes as
// the binding's length says.
struct DB_VARNUMERIC {
    BYTE precision;
    SBYTE scale;
    BYTE sign;
    BYTE val[1];
};
static_assert(sizeof(DB_VARNUMERIC) == 4 && alignof(DB_VARNUMERIC) == 1);

struct DBDATE {
    SHORT year;
    USHORT month;
    USHORT day;
};
static_assert(sizeof(DBDATE) == 6);

struct DBTIME {
    USHORT hour;
    USHORT minute;
    USHORT second;
};
static_assert(sizeof(DBTIME) == 6);

// fraction counts billionths of a second.
struct DBTIMESTAMP {
    SHORT year;
    USHORT month;
    USHORT day;
    USHORT hour;
    USHORT minute;
    USHORT second;
    ULONG fraction;
};
static_assert(sizeof(DBTIMESTAMP) == 16 && offsetof(DBTIMESTAMP, fraction) == 12);

// A counted array, for values bound with DBTYPE_VECTOR.
struct DBVECTOR {
    DBLENGTH size;
    void* ptr;
};
static_assert(sizeof(DBVECTOR) == 16);

// ---------------------------------------------------------------- bindings

enum DBPARTENUM {
    DBPART_INVALID = 0,
    DBPART_VALUE = 0x1,
    DBPART_LENGTH = 0x2,
    DBPART_STATUS = 0x4,
};

enum DBPARAMIOENUM {
    DBPARAMIO_NOTPARAM = 0,
    DBPARAMIO_INPUT = 0x1,
    DBPARAMIO_OUTPUT = 0x2,
};

enum DBBINDFLAGENUM {
    DBBINDFLAG_HTML = 0x1,
};

enum DBMEMOWNERENUM {
    DBMEMOWNER_CLIENTOWNED = 0,
    DBMEMOWNER_PROVIDEROWNED = 0x1,
};

enum DBSTATUSENUM {
    DBSTATUS_S_OK = 0,
    DBSTATUS_E_BADACCESSOR = 1,
    DBSTATUS_E_CANTCONVERTVALUE = 2,
    DBSTATUS_S_ISNULL = 3,
    DBSTATUS_S_TRUNCATED = 4,
    DBSTATUS_E_SIGNMISMATCH = 5,
    DBSTATUS_E_DATAOVERFLOW = 6,
    DBSTATUS_E_CANTCREATE = 7,
    DBSTATUS_E_UNAVAILABLE = 8,
    DBSTATUS_E_PERMISSIONDENIED = 9,
    DBSTATUS_E_INTEGRITYVIOLATION = 10,
    DBSTATUS_E_SCHEMAVIOLATION = 11,
    DBSTATUS_E_BADSTATUS = 12,
    DBSTATUS_S_DEFAULT = 13,
};

enum DBSTATUSENUM20 {
    MDSTATUS_S_CELLEMPTY = 14,
    DBSTATUS_S_IGNORE = 15,
};

enum DBSTATUSENUM21 {
    DBSTATUS_E_DOESNOTEXIST = 16,
    DBSTATUS_E_INVALIDURL = 17,
    DBSTATUS_E_RESOURCELOCKED = 18,
    DBSTATUS_E_RESOURCEEXISTS = 19,
    DBSTATUS_E_CANNOTCOMPLETE = 20,
    DBSTATUS_E_VOLUMENOTFOUND = 21,
    DBSTATUS_E_OUTOFSPACE = 22,
    DBSTATUS_S_CANNOTDELETESOURCE = 23,
    DBSTATUS_E_READONLY = 24,
    DBSTATUS_E_RESOURCEOUTOFSCOPE = 25,
    DBSTATUS_S_ALREADYEXISTS = 26,
};

enum DBSTATUSENUM25 {
    DBSTATUS_E_CANCELED = 27,
    DBSTATUS_E_NOTCOLLECTION = 28,
};

enum DBSTATUSENUM26 {
    DBSTATUS_S_ROWSETCOLUMN = 29,
};

// How a binding asks for a long value as an object: the storage flags
// (STGM_*) and the interface wanted, usually ISequentialStream.
struct DBOBJECT {
    DWORD dwFlags;
    IID iid;
};
static_assert(sizeof(DBOBJECT) == 20);

struct DBBINDEXT {
    BYTE* pExtension;
    DBCOUNTITEM ulExtension;
};
static_assert(sizeof(DBBINDEXT) == 16);

// One column or parameter of an accessor: where its value, length and status
// sit in the consumer's buffer (offsets valid only for the parts in dwPart),
// and which type the consumer wants.
struct DBBINDING {
    DBORDINAL iOrdinal;
    DBBYTEOFFSET obValue;
    DBBYTEOFFSET obLength;
    DBBYTEOFFSET obStatus;
    ITypeInfo* pTypeInfo;
    DBOBJECT* pObject;
    DBBINDEXT* pBindExt;
    DBPART dwPart;
    DBMEMOWNER dwMemOwner;
    DBPARAMIO eParamIO;
    DBLENGTH cbMaxLen;
    DWORD dwFlags;
    DBTYPE wType;
    BYTE bPrecision;
    BYTE bScale;
};
static_assert(sizeof(DBBINDING) == 88);
static_assert(offsetof(DBBINDING, obValue) == 8 && offsetof(DBBINDING, obLength) == 16 &&
              offsetof(DBBINDING, obStatus) == 24 && offsetof(DBBINDING, pObject) == 40 &&
              offsetof(DBBINDING, dwPart) == 56 && offsetof(DBBINDING, eParamIO) == 64 &&
              offsetof(DBBINDING, cbMaxLen) == 72 && offsetof(DBBINDING, dwFlags) == 80 &&
              offsetof(DBBINDING, wType) == 84 && offsetof(DBBINDING, bScale) == 87);

enum DBACCESSORFLAGSENUM {
    DBACCESSOR_INVALID = 0,
    DBACCESSOR_PASSBYREF = 0x1,
    DBACCESSOR_ROWDATA = 0x2,
    DBACCESSOR_PARAMETERDATA = 0x4,
    DBACCESSOR_OPTIMIZED = 0x8,
    DBACCESSOR_INHERITED = 0x10,
};

enum DBBINDSTATUSENUM {
    DBBINDSTATUS_OK = 0,
    DBBINDSTATUS_BADORDINAL = 1,
    DBBINDSTATUS_UNSUPPORTEDCONVERSION = 2,
    DBBINDSTATUS_BADBINDINFO = 3,
    DBBINDSTATUS_BADSTORAGEFLAGS = 4,
    DBBINDSTATUS_NOINTERFACE = 5,
    DBBINDSTATUS_MULTIPLESTORAGE = 6,
};

enum DBROWSTATUSENUM {
    DBROWSTATUS_S_OK = 0,
    DBROWSTATUS_S_MULTIPLECHANGES = 2,
    DBROWSTATUS_S_PENDINGCHANGES = 3,
    DBROWSTATUS_E_CANCELED = 4,
    DBROWSTATUS_E_CANTRELEASE = 6,
    DBROWSTATUS_E_CONCURRENCYVIOLATION = 7,
    DBROWSTATUS_E_DELETED = 8,
    DBROWSTATUS_E_PENDINGINSERT = 9,
    DBROWSTATUS_E_NEWLYINSERTED = 10,
    DBROWSTATUS_E_INTEGRITYVIOLATION = 11,
    DBROWSTATUS_E_INVALID = 12,
    DBROWSTATUS_E_MAXPENDCHANGESEXCEEDED = 13,
    DBROWSTATUS_E_OBJECTOPEN = 14,
    DBROWSTATUS_E_OUTOFMEMORY = 15,
    DBROWSTATUS_E_PERMISSIONDENIED = 16,
    DBROWSTATUS_E_LIMITREACHED = 17,
    DBROWSTATUS_E_SCHEMAVIOLATION = 18,
    DBROWSTATUS_E_FAIL = 19,
};

enum DBROWSTATUSENUM20 {
    DBROWSTATUS_S_NOCHANGE = 20,
};

// ---------------------------------------------------------------- columns

enum DBCOLUMNFLAGSENUM {
    DBCOLUMNFLAGS_ISBOOKMARK = 0x1,
    DBCOLUMNFLAGS_MAYDEFER = 0x2,
    DBCOLUMNFLAGS_WRITE = 0x4,
    DBCOLUMNFLAGS_WRITEUNKNOWN = 0x8,
    DBCOLUMNFLAGS_ISFIXEDLENGTH = 0x10,
    DBCOLUMNFLAGS_ISNULLABLE = 0x20,
    DBCOLUMNFLAGS_MAYBENULL = 0x40,
    DBCOLUMNFLAGS_ISLONG = 0x80,
    DBCOLUMNFLAGS_ISROWID = 0x100,
    DBCOLUMNFLAGS_ISROWVER = 0x200,
    DBCOLUMNFLAGS_CACHEDEFERRED = 0x1000,
};

enum DBCOLUMNFLAGSENUM20 {
    DBCOLUMNFLAGS_SCALEISNEGATIVE = 0x4000,
    DBCOLUMNFLAGS_RESERVED = 0x8000,
};

enum DBCOLUMNFLAGS15ENUM {
    DBCOLUMNFLAGS_ISCHAPTER = 0x2000,
};

enum DBCOLUMNFLAGSENUM21 {
    DBCOLUMNFLAGS_ISROWURL = 0x10000,
    DBCOLUMNFLAGS_ISDEFAULTSTREAM = 0x20000,
    DBCOLUMNFLAGS_ISCOLLECTION = 0x40000,
};

enum DBCOLUMNFLAGSENUM26 {
    DBCOLUMNFLAGS_ISSTREAM = 0x80000,
    DBCOLUMNFLAGS_ISROWSET = 0x100000,
    DBCOLUMNFLAGS_ISROW = 0x200000,
    DBCOLUMNFLAGS_ROWSPECIFICCOLUMN = 0x400000,
};

// One column of a rowset or command result as IColumnsInfo describes it.
// The names point into a strings buffer the caller frees with the task
// allocator, together with the array.
struct DBCOLUMNINFO {
    LPOLESTR pwszName;
    ITypeInfo* pTypeInfo;
    DBORDINAL iOrdinal;
    DBCOLUMNFLAGS dwFlags;
    DBLENGTH ulColumnSize;
    DBTYPE wType;
    BYTE bPrecision;
    BYTE bScale;
    DBID columnid;
};
static_assert(sizeof(DBCOLUMNINFO) == 80);
static_assert(offsetof(DBCOLUMNINFO, iOrdinal) == 16 && offsetof(DBCOLUMNINFO, dwFlags) == 24 &&
              offsetof(DBCOLUMNINFO, ulColumnSize) == 32 && offsetof(DBCOLUMNINFO, wType) == 40 &&
              offsetof(DBCOLUMNINFO, columnid) == 48);

// Bookmarks a provider understands without a rowset position.
enum DBBOOKMARK {
    DBBMK_INVALID = 0,
    DBBMK_FIRST = 1,
    DBBMK_LAST = 2,
};
inline constexpr DBBKMARK STD_BOOKMARKLENGTH = 1;

// ---------------------------------------------------------------- properties

enum DBPROPENUM {
    DBPROP_ABORTPRESERVE = 0x2,
    DBPROP_ACTIVESESSIONS = 0x3,
    DBPROP_ASYNCTXNCOMMIT = 0x4,
    DBPROP_AUTH_CACHE_AUTHINFO = 0x5,
    DBPROP_AUTH_ENCRYPT_PASSWORD = 0x6,
    DBPROP_AUTH_INTEGRATED = 0x7,
    DBPROP_AUTH_MASK_PASSWORD = 0x8,
    DBPROP_AUTH_PASSWORD = 0x9,
    DBPROP_AUTH_PERSIST_ENCRYPTED = 0xa,
    DBPROP_AUTH_PERSIST_SENSITIVE_AUTHINFO = 0xb,
    DBPROP_AUTH_USERID = 0xc,
    DBPROP_BLOCKINGSTORAGEOBJECTS = 0xd,
    DBPROP_BOOKMARKS = 0xe,
    DBPROP_BOOKMARKSKIPPED = 0xf,
    DBPROP_BOOKMARKTYPE = 0x10,
    DBPROP_CACHEDEFERRED = 0x11,
    DBPROP_CANFETCHBACKWARDS = 0x12,
    DBPROP_CANHOLDROWS = 0x13,
    DBPROP_CANSCROLLBACKWARDS = 0x15,
    DBPROP_CATALOGLOCATION = 0x16,
    DBPROP_CATALOGTERM = 0x17,
    DBPROP_CATALOGUSAGE = 0x18,
    DBPROP_COL_AUTOINCREMENT = 0x1a,
    DBPROP_COL_DEFAULT = 0x1b,
    DBPROP_COL_DESCRIPTION = 0x1c,
    DBPROP_COL_NULLABLE = 0x1d,
    DBPROP_COL_PRIMARYKEY = 0x1e,
    DBPROP_COL_UNIQUE = 0x1f,
    DBPROP_COLUMNDEFINITION = 0x20,
    DBPROP_COLUMNRESTRICT = 0x21,
    DBPROP_COMMANDTIMEOUT = 0x22,
    DBPROP_COMMITPRESERVE = 0x23,
    DBPROP_CONCATNULLBEHAVIOR = 0x24,
    DBPROP_CURRENTCATALOG = 0x25,
    DBPROP_DATASOURCENAME = 0x26,
    DBPROP_DATASOURCEREADONLY = 0x27,
    DBPROP_DBMSNAME = 0x28,
    DBPROP_DBMSVER = 0x29,
    DBPROP_DEFERRED = 0x2a,
    DBPROP_DELAYSTORAGEOBJECTS = 0x2b,
    DBPROP_GROUPBY = 0x2c,
    DBPROP_HETEROGENEOUSTABLES = 0x2d,
    DBPROP_IDENTIFIERCASE = 0x2e,
    DBPROP_IMMOBILEROWS = 0x2f,
    DBPROP_INDEX_AUTOUPDATE = 0x30,
    DBPROP_INDEX_CLUSTERED = 0x31,
    DBPROP_INDEX_FILLFACTOR = 0x32,
    DBPROP_INDEX_INITIALSIZE = 0x33,
    DBPROP_INDEX_NULLCOLLATION = 0x34,
    DBPROP_INDEX_NULLS = 0x35,
    DBPROP_INDEX_PRIMARYKEY = 0x36,
    DBPROP_INDEX_SORTBOOKMARKS = 0x37,
    DBPROP_INDEX_TYPE = 0x38,
    DBPROP_INDEX_UNIQUE = 0x39,
    DBPROP_INIT_DATASOURCE = 0x3b,
    DBPROP_INIT_HWND = 0x3c,
    DBPROP_INIT_IMPERSONATION_LEVEL = 0x3d,
    DBPROP_INIT_LOCATION = 0x3e,
    DBPROP_INIT_MODE = 0x3f,
    DBPROP_INIT_PROMPT = 0x40,
    DBPROP_INIT_PROTECTION_LEVEL = 0x41,
    DBPROP_INIT_TIMEOUT = 0x42,
    DBPROP_LITERALBOOKMARKS = 0x43,
    DBPROP_LITERALIDENTITY = 0x44,
    DBPROP_MAXINDEXSIZE = 0x46,
    DBPROP_MAXOPENROWS = 0x47,
    DBPROP_MAXPENDINGROWS = 0x48,
    DBPROP_MAXROWS = 0x49,
    DBPROP_MAXROWSIZE = 0x4a,
    DBPROP_MAXROWSIZEINCLUDESBLOB = 0x4b,
    DBPROP_MAXTABLESINSELECT = 0x4c,
    DBPROP_MAYWRITECOLUMN = 0x4d,
    DBPROP_MEMORYUSAGE = 0x4e,
    DBPROP_MULTIPLESTORAGEOBJECTS = 0x50,
    DBPROP_MULTITABLEUPDATE = 0x51,
    DBPROP_NOTIFICATIONPHASES = 0x52,
    DBPROP_NULLCOLLATION = 0x53,
    DBPROP_OLEOBJECT = 0x54,
    DBPROP_ORDERBYCOLUMNSINSELECT = 0x55,
    DBPROP_ORDEREDBOOKMARKS = 0x56,
    DBPROP_OTHERINSERT = 0x57,
    DBPROP_OTHERUPDATEDELETE = 0x58,
    DBPROP_OWNINSERT = 0x59,
    DBPROP_OWNUPDATEDELETE = 0x5a,
    DBPROP_PREPAREABORTBEHAVIOR = 0x5b,
    DBPROP_PREPARECOMMITBEHAVIOR = 0x5c,
    DBPROP_PROCEDURETERM = 0x5d,
    DBPROP_PROVIDERNAME = 0x60,
    DBPROP_PROVIDEROLEDBVER = 0x61,
    DBPROP_PROVIDERVER = 0x62,
    DBPROP_QUICKRESTART = 0x63,
    DBPROP_QUOTEDIDENTIFIERCASE = 0x64,
    DBPROP_REENTRANTEVENTS = 0x65,
    DBPROP_REMOVEDELETED = 0x66,
    DBPROP_REPORTMULTIPLECHANGES = 0x67,
    DBPROP_ROWRESTRICT = 0x68,
    DBPROP_ROWTHREADMODEL = 0x69,
    DBPROP_SCHEMATERM = 0x6a,
    DBPROP_SCHEMAUSAGE = 0x6b,
    DBPROP_SERVERCURSOR = 0x6c,
    DBPROP_SQLSUPPORT = 0x6d,
    DBPROP_STRUCTUREDSTORAGE = 0x6f,
    DBPROP_SUBQUERIES = 0x70,
    DBPROP_SUPPORTEDTXNISOLEVELS = 0x71,
    DBPROP_SUPPORTEDTXNISORETAIN = 0x72,
    DBPROP_TABLETERM = 0x73,
    DBPROP_TRANSACTEDOBJECT = 0x74,
    DBPROP_UPDATABILITY = 0x75,
    DBPROP_USERNAME = 0x76,
    DBPROP_STRONGIDENTITY = 0x77,
    DBPROP_BYREFACCESSORS = 0x78,
    DBPROP_IAccessor = 0x79,
    DBPROP_IColumnsInfo = 0x7a,
    DBPROP_IColumnsRowset = 0x7b,
    DBPROP_IConnectionPointContainer = 0x7c,
    DBPROP_IRowset = 0x7e,
    DBPROP_IRowsetChange = 0x7f,
    DBPROP_IRowsetIdentity = 0x80,
    DBPROP_IRowsetInfo = 0x81,
    DBPROP_IRowsetLocate = 0x82,
    DBPROP_IRowsetResynch = 0x84,
    DBPROP_IRowsetScroll = 0x85,
    DBPROP_IRowsetUpdate = 0x86,
    DBPROP_ISupportErrorInfo = 0x87,
    DBPROP_ILockBytes = 0x88,
    DBPROP_ISequentialStream = 0x89,
    DBPROP_IStorage = 0x8a,
    DBPROP_IStream = 0x8b,
    DBPROP_TBL_TEMPTABLE = 0x8c,
    DBPROP_IRowsetIndex = 0x9f,
    DBPROP_INIT_PROVIDERSTRING = 0xa0,
    DBPROP_SUPPORTEDTXNDDL = 0xa1,
    DBPROP_INDEX_TEMPINDEX = 0xa3,
    DBPROP_COL_FIXEDLENGTH = 0xa7,
    DBPROP_ASYNCTXNABORT = 0xa8,
    DBPROP_DSOTHREADMODEL = 0xa9,
    DBPROP_NOTIFYCOLUMNSET = 0xab,
    DBPROP_NOTIFYROWDELETE = 0xad,
    DBPROP_NOTIFYROWFIRSTCHANGE = 0xae,
    DBPROP_NOTIFYROWINSERT = 0xaf,
    DBPROP_NOTIFYROWRESYNCH = 0xb1,
    DBPROP_NOTIFYROWSETRELEASE = 0xb2,
    DBPROP_NOTIFYROWSETFETCHPOSITIONCHANGE = 0xb3,
    DBPROP_NOTIFYROWUNDOCHANGE = 0xb4,
    DBPROP_NOTIFYROWUNDODELETE = 0xb5,
    DBPROP_NOTIFYROWUNDOINSERT = 0xb6,
    DBPROP_NOTIFYROWUPDATE = 0xb7,
    DBPROP_OUTPUTPARAMETERAVAILABILITY = 0xb8,
    DBPROP_PERSISTENTIDTYPE = 0xb9,
    DBPROP_INIT_LCID = 0xba,
    DBPROP_APPENDONLY = 0xbb,
    DBPROP_CHANGEINSERTEDROWS = 0xbc,
    DBPROP_RETURNPENDINGINSERTS = 0xbd,
    DBPROP_SESS_AUTOCOMMITISOLEVELS = 0xbe,
    DBPROP_MULTIPLEPARAMSETS = 0xbf,
    DBPROP_ROWSETCONVERSIONSONCOMMAND = 0xc0,
    DBPROP_IConvertType = 0xc2,
    DBPROP_MULTIPLERESULTS = 0xc4,
    DBPROP_NOTIFICATIONGRANULARITY = 0xc6,
    DBPROP_NOTIFYROWSETCHANGED = 0xd3,
};

enum DBPROPENUM15 {
    DBPROP_MAXOPENCHAPTERS = 0xc7,
    DBPROP_INIT_ASYNCH = 0xc8,
    DBPROP_ROWSET_ASYNCH = 0xc9,
    DBPROP_IChapteredRowset = 0xca,
    DBPROP_IDBAsynchStatus = 0xcb,
    DBPROP_IRowsetFind = 0xcc,
    DBPROP_MAXORSINFILTER = 0xcd,
    DBPROP_MAXSORTCOLUMNS = 0xce,
    DBPROP_SORTONINDEX = 0xcf,
    DBPROP_FILTERCOMPAREOPS = 0xd1,
    DBPROP_FINDCOMPAREOPS = 0xd2,
    DBPROP_IRowsetView = 0xd4,
    DBPROP_IViewChapter = 0xd5,
    DBPROP_IViewFilter = 0xd6,
    DBPROP_IViewRowset = 0xd7,
    DBPROP_IViewSort = 0xd8,
};

enum DBPROPENUM20 {
    DBPROP_IMultipleResults = 0xd9,
    MDPROP_MDX_SLICER = 0xda,
    MDPROP_MDX_CUBEQUALIFICATION = 0xdb,
    MDPROP_MDX_OUTERREFERENCE = 0xdc,
    MDPROP_MDX_QUERYBYPROPERTY = 0xdd,
    MDPROP_MDX_CASESUPPORT = 0xde,
    MDPROP_MDX_STRING_COMPOP = 0xe0,
    MDPROP_MDX_DESCFLAGS = 0xe1,
    MDPROP_MDX_SET_FUNCTIONS = 0xe2,
    MDPROP_MDX_MEMBER_FUNCTIONS = 0xe3,
    MDPROP_MDX_NUMERIC_FUNCTIONS = 0xe4,
    MDPROP_MDX_FORMULAS = 0xe5,
    MDPROP_AGGREGATECELL_UPDATE = 0xe6,
    MDPROP_MDX_AGGREGATECELL_UPDATE = MDPROP_AGGREGATECELL_UPDATE,
    DBPROP_ACCESSORDER = 0xe7,
    DBPROP_BOOKMARKINFO = 0xe8,
    DBPROP_INIT_CATALOG = 0xe9,
    DBPROP_ROW_BULKOPS = 0xea,
    DBPROP_PROVIDERFRIENDLYNAME = 0xeb,
    DBPROP_LOCKMODE = 0xec,
    DBPROP_MULTIPLECONNECTIONS = 0xed,
    DBPROP_UNIQUEROWS = 0xee,
    DBPROP_SERVERDATAONINSERT = 0xef,
    DBPROP_STORAGEFLAGS = 0xf0,
    DBPROP_CONNECTIONSTATUS = 0xf4,
    DBPROP_ALTERCOLUMN = 0xf5,
    DBPROP_COLUMNLCID = 0xf6,
    DBPROP_RESETDATASOURCE = 0xf7,
    DBPROP_INIT_OLEDBSERVICES = 0xf8,
    DBPROP_IRowsetRefresh = 0xf9,
    DBPROP_SERVERNAME = 0xfa,
    DBPROP_DATASOURCE_TYPE = 0xfb,
    MDPROP_AXES = 0xfc,
    MDPROP_FLATTENING_SUPPORT = 0xfd,
    MDPROP_MDX_JOINCUBES = 0xfe,
    MDPROP_NAMED_LEVELS = 0xff,
    MDPROP_RANGEROWSET = 0x100,
    DBPROP_IParentRowset = 0x101,
    DBPROP_HIDDENCOLUMNS = 0x102,
    DBPROP_PROVIDERMEMORY = 0x103,
    DBPROP_CLIENTCURSOR = 0x104,
    MDPROP_MDX_OBJQUALIFICATION = 0x105,
    MDPROP_MDX_NONMEASURE_EXPRESSIONS = 0x106,
};

enum DBPROPENUM21 {
    DBPROP_TRUSTEE_USERNAME = 0xf1,
    DBPROP_TRUSTEE_AUTHENTICATION = 0xf2,
    DBPROP_TRUSTEE_NEWAUTHENTICATION = 0xf3,
    DBPROP_IRow = 0x107,
    DBPROP_IRowChange = 0x108,
    DBPROP_IRowSchemaChange = 0x109,
    DBPROP_IGetRow = 0x10a,
    DBPROP_IScopedOperations = 0x10b,
    DBPROP_IBindResource = 0x10c,
    DBPROP_ICreateRow = 0x10d,
    DBPROP_INIT_BINDFLAGS = 0x10e,
    DBPROP_INIT_LOCKOWNER = 0x10f,
    DBPROP_GENERATEURL = 0x111,
    DBPROP_IDBBinderProperties = 0x112,
    DBPROP_IColumnsInfo2 = 0x113,
    DBPROP_IRegisterProvider = 0x114,
    DBPROP_IGetSession = 0x115,
    DBPROP_IGetSourceRow = 0x116,
    DBPROP_IRowsetCurrentIndex = 0x117,
    DBPROP_OPENROWSETSUPPORT = 0x118,
    DBPROP_COL_ISLONG = 0x119,
};

enum DBPROPENUM25 {
    DBPROP_COL_SEED = 0x11a,
    DBPROP_COL_INCREMENT = 0x11b,
    DBPROP_INIT_GENERALTIMEOUT = 0x11c,
    DBPROP_COMSERVICES = 0x11d,
};

enum DBPROPENUM26 {
    DBPROP_OUTPUTSTREAM = 0x11e,
    DBPROP_OUTPUTENCODING = 0x11f,
    DBPROP_TABLESTATISTICS = 0x120,
    DBPROP_SKIPROWCOUNTRESULTS = 0x123,
    DBPROP_IRowsetBookmark = 0x124,
    MDPROP_VISUALMODE = 0x125,
};

// Older names of two properties.
inline constexpr DBPROPID DBPROP_PROVIDERFILENAME = DBPROP_PROVIDERNAME;
inline constexpr DBPROPID DBPROP_SERVER_NAME = DBPROP_SERVERNAME;

enum DBPROPFLAGSENUM {
    DBPROPFLAGS_NOTSUPPORTED = 0,
    DBPROPFLAGS_COLUMN = 0x1,
    DBPROPFLAGS_DATASOURCE = 0x2,
    DBPROPFLAGS_DATASOURCECREATE = 0x4,
    DBPROPFLAGS_DATASOURCEINFO = 0x8,
    DBPROPFLAGS_DBINIT = 0x10,
    DBPROPFLAGS_INDEX = 0x20,
    DBPROPFLAGS_ROWSET = 0x40,
    DBPROPFLAGS_TABLE = 0x80,
    DBPROPFLAGS_COLUMNOK = 0x100,
    DBPROPFLAGS_READ = 0x200,
    DBPROPFLAGS_WRITE = 0x400,
    DBPROPFLAGS_REQUIRED = 0x800,
    DBPROPFLAGS_SESSION = 0x1000,
};

enum DBPROPFLAGSENUM21 {
    DBPROPFLAGS_TRUSTEE = 0x2000,
};

enum DBPROPFLAGSENUM25 {
    DBPROPFLAGS_VIEW = 0x4000,
};

enum DBPROPFLAGSENUM26 {
    DBPROPFLAGS_STREAM = 0x8000,
};

enum DBPROPOPTIONSENUM {
    DBPROPOPTIONS_REQUIRED = 0,
    DBPROPOPTIONS_SETIFCHEAP = 0x1,
    DBPROPOPTIONS_OPTIONAL = 0x1,
};

enum DBPROPSTATUSENUM {
    DBPROPSTATUS_OK = 0,
    DBPROPSTATUS_NOTSUPPORTED = 1,
    DBPROPSTATUS_BADVALUE = 2,
    DBPROPSTATUS_BADOPTION = 3,
    DBPROPSTATUS_BADCOLUMN = 4,
    DBPROPSTATUS_NOTALLSETTABLE = 5,
    DBPROPSTATUS_NOTSETTABLE = 6,
    DBPROPSTATUS_NOTSET = 7,
    DBPROPSTATUS_CONFLICTING = 8,
};

enum DBPROPSTATUSENUM21 {
    DBPROPSTATUS_NOTAVAILABLE = 9,
};

// A property value to set or as read; colid is DB_NULLID unless the property
// applies to one column.
struct DBPROP {
    DBPROPID dwPropertyID;
    DBPROPOPTIONS dwOptions;
    DBPROPSTATUS dwStatus;
    DBID colid;
    VARIANT vValue;
};
static_assert(sizeof(DBPROP) == 72 && offsetof(DBPROP, colid) == 16 &&
              offsetof(DBPROP, vValue) == 48);

struct DBPROPSET {
    DBPROP* rgProperties;
    ULONG cProperties;
    GUID guidPropertySet;
};
static_assert(sizeof(DBPROPSET) == 32 && offsetof(DBPROPSET, guidPropertySet) == 12);

// The properties asked for; no ids (cPropertyIDs 0) asks for all of the set.
struct DBPROPIDSET {
    DBPROPID* rgPropertyIDs;
    ULONG cPropertyIDs;
    GUID guidPropertySet;
};
static_assert(sizeof(DBPROPIDSET) == 32);

// What a provider says about one property: its flags (supported, readable,
// writable, which object it belongs to), its type and, for enumerated
// properties, the allowed values.
struct DBPROPINFO {
    LPOLESTR pwszDescription;
    DBPROPID dwPropertyID;
    DBPROPFLAGS dwFlags;
    VARTYPE vtType;
    VARIANT vValues;
};
static_assert(sizeof(DBPROPINFO) == 48 && offsetof(DBPROPINFO, vValues) == 24);
using PDBPROPINFO = DBPROPINFO*;

struct DBPROPINFOSET {
    PDBPROPINFO rgPropertyInfos;
    ULONG cPropertyInfos;
    GUID guidPropertySet;
};
static_assert(sizeof(DBPROPINFOSET) == 32);

// Values of the enumerated and bit-mask properties (held as VT_I4).
inline constexpr LONG DBPROPVAL_BMK_NUMERIC = 0x00000001;
inline constexpr LONG DBPROPVAL_BMK_KEY = 0x00000002;
inline constexpr LONG DBPROPVAL_CL_START = 0x00000001;
inline constexpr LONG DBPROPVAL_CL_END = 0x00000002;
inline constexpr LONG DBPROPVAL_CU_DML_STATEMENTS = 0x00000001;
inline constexpr LONG DBPROPVAL_CU_TABLE_DEFINITION = 0x00000002;
inline constexpr LONG DBPROPVAL_CU_INDEX_DEFINITION = 0x00000004;
inline constexpr LONG DBPROPVAL_CU_PRIVILEGE_DEFINITION = 0x00000008;
inline constexpr LONG DBPROPVAL_CD_NOTNULL = 0x00000001;
inline constexpr LONG DBPROPVAL_CB_NULL = 0x00000001;
inline constexpr LONG DBPROPVAL_CB_NON_NULL = 0x00000002;
inline constexpr LONG DBPROPVAL_FU_NOT_SUPPORTED = 0x00000001;
inline constexpr LONG DBPROPVAL_FU_COLUMN = 0x00000002;
inline constexpr LONG DBPROPVAL_FU_TABLE = 0x00000004;
inline constexpr LONG DBPROPVAL_FU_CATALOG = 0x00000008;
inline constexpr LONG DBPROPVAL_GB_NOT_SUPPORTED = 0x00000001;
inline constexpr LONG DBPROPVAL_GB_EQUALS_SELECT = 0x00000002;
inline constexpr LONG DBPROPVAL_GB_CONTAINS_SELECT = 0x00000004;
inline constexpr LONG DBPROPVAL_GB_NO_RELATION = 0x00000008;
inline constexpr LONG DBPROPVAL_HT_DIFFERENT_CATALOGS = 0x00000001;
inline constexpr LONG DBPROPVAL_HT_DIFFERENT_PROVIDERS = 0x00000002;
inline constexpr LONG DBPROPVAL_IC_UPPER = 0x00000001;
inline constexpr LONG DBPROPVAL_IC_LOWER = 0x00000002;
inline constexpr LONG DBPROPVAL_IC_SENSITIVE = 0x00000004;
inline constexpr LONG DBPROPVAL_IC_MIXED = 0x00000008;
inline constexpr LONG DBPROPVAL_NP_OKTODO = 0x00000001;
inline constexpr LONG DBPROPVAL_NP_ABOUTTODO = 0x00000002;
inline constexpr LONG DBPROPVAL_NP_SYNCHAFTER = 0x00000004;
inline constexpr LONG DBPROPVAL_NP_FAILEDTODO = 0x00000008;
inline constexpr LONG DBPROPVAL_NP_DIDEVENT = 0x00000010;
inline constexpr LONG DBPROPVAL_NC_END = 0x00000001;
inline constexpr LONG DBPROPVAL_NC_HIGH = 0x00000002;
inline constexpr LONG DBPROPVAL_NC_LOW = 0x00000004;
inline constexpr LONG DBPROPVAL_NC_START = 0x00000008;
inline constexpr LONG DBPROPVAL_OO_BLOB = 0x00000001;
inline constexpr LONG DBPROPVAL_OO_IPERSIST = 0x00000002;
inline constexpr LONG DBPROPVAL_CB_DELETE = 0x00000001;
inline constexpr LONG DBPROPVAL_CB_PRESERVE = 0x00000002;
inline constexpr LONG DBPROPVAL_SU_DML_STATEMENTS = 0x00000001;
inline constexpr LONG DBPROPVAL_SU_TABLE_DEFINITION = 0x00000002;
inline constexpr LONG DBPROPVAL_SU_INDEX_DEFINITION = 0x00000004;
inline constexpr LONG DBPROPVAL_SU_PRIVILEGE_DEFINITION = 0x00000008;
inline constexpr LONG DBPROPVAL_SQ_CORRELATEDSUBQUERIES = 0x00000001;
inline constexpr LONG DBPROPVAL_SQ_COMPARISON = 0x00000002;
inline constexpr LONG DBPROPVAL_SQ_EXISTS = 0x00000004;
inline constexpr LONG DBPROPVAL_SQ_IN = 0x00000008;
inline constexpr LONG DBPROPVAL_SQ_QUANTIFIED = 0x00000010;
inline constexpr LONG DBPROPVAL_SQ_TABLE = 0x00000020;
inline constexpr LONG DBPROPVAL_SS_ISEQUENTIALSTREAM = 0x00000001;
inline constexpr LONG DBPROPVAL_SS_ISTREAM = 0x00000002;
inline constexpr LONG DBPROPVAL_SS_ISTORAGE = 0x00000004;
inline constexpr LONG DBPROPVAL_SS_ILOCKBYTES = 0x00000008;
inline constexpr LONG DBPROPVAL_TI_CHAOS = 0x00000010;
inline constexpr LONG DBPROPVAL_TI_READUNCOMMITTED = 0x00000100;
inline constexpr LONG DBPROPVAL_TI_BROWSE = 0x00000100;
inline constexpr LONG DBPROPVAL_TI_CURSORSTABILITY = 0x00001000;
inline constexpr LONG DBPROPVAL_TI_READCOMMITTED = 0x00001000;
inline constexpr LONG DBPROPVAL_TI_REPEATABLEREAD = 0x00010000;
inline constexpr LONG DBPROPVAL_TI_SERIALIZABLE = 0x00100000;
inline constexpr LONG DBPROPVAL_TI_ISOLATED = 0x00100000;
inline constexpr LONG DBPROPVAL_TR_COMMIT_DC = 0x00000001;
inline constexpr LONG DBPROPVAL_TR_COMMIT = 0x00000002;
inline constexpr LONG DBPROPVAL_TR_COMMIT_NO = 0x00000004;
inline constexpr LONG DBPROPVAL_TR_ABORT_DC = 0x00000008;
inline constexpr LONG DBPROPVAL_TR_ABORT = 0x00000010;
inline constexpr LONG DBPROPVAL_TR_ABORT_NO = 0x00000020;
inline constexpr LONG DBPROPVAL_TR_DONTCARE = 0x00000040;
inline constexpr LONG DBPROPVAL_TR_BOTH = 0x00000080;
inline constexpr LONG DBPROPVAL_TR_NONE = 0x00000100;
inline constexpr LONG DBPROPVAL_TR_OPTIMISTIC = 0x00000200;
inline constexpr LONG DBPROPVAL_RT_FREETHREAD = 0x00000001;
inline constexpr LONG DBPROPVAL_RT_APTMTTHREAD = 0x00000002;
inline constexpr LONG DBPROPVAL_RT_SINGLETHREAD = 0x00000004;
inline constexpr LONG DBPROPVAL_UP_CHANGE = 0x00000001;
inline constexpr LONG DBPROPVAL_UP_DELETE = 0x00000002;
inline constexpr LONG DBPROPVAL_UP_INSERT = 0x00000004;
inline constexpr LONG DBPROPVAL_SQL_NONE = 0x00000000;
inline constexpr LONG DBPROPVAL_SQL_ODBC_MINIMUM = 0x00000001;
inline constexpr LONG DBPROPVAL_SQL_ODBC_CORE = 0x00000002;
inline constexpr LONG DBPROPVAL_SQL_ODBC_EXTENDED = 0x00000004;
inline constexpr LONG DBPROPVAL_SQL_ANSI89_IEF = 0x00000008;
inline constexpr LONG DBPROPVAL_SQL_ANSI92_ENTRY = 0x00000010;
inline constexpr LONG DBPROPVAL_SQL_FIPS_TRANSITIONAL = 0x00000020;
inline constexpr LONG DBPROPVAL_SQL_ANSI92_INTERMEDIATE = 0x00000040;
inline constexpr LONG DBPROPVAL_SQL_ANSI92_FULL = 0x00000080;
inline constexpr LONG DBPROPVAL_SQL_ESCAPECLAUSES = 0x00000100;
inline constexpr LONG DBPROPVAL_IT_BTREE = 0x00000001;
inline constexpr LONG DBPROPVAL_IT_HASH = 0x00000002;
inline constexpr LONG DBPROPVAL_IT_CONTENT = 0x00000003;
inline constexpr LONG DBPROPVAL_IT_OTHER = 0x00000004;
inline constexpr LONG DBPROPVAL_IN_DISALLOWNULL = 0x00000001;
inline constexpr LONG DBPROPVAL_IN_IGNORENULL = 0x00000002;
inline constexpr LONG DBPROPVAL_IN_IGNOREANYNULL = 0x00000004;
inline constexpr LONG DBPROPVAL_TC_NONE = 0x00000000;
inline constexpr LONG DBPROPVAL_TC_DML = 0x00000001;
inline constexpr LONG DBPROPVAL_TC_DDL_COMMIT = 0x00000002;
inline constexpr LONG DBPROPVAL_TC_DDL_IGNORE = 0x00000004;
inline constexpr LONG DBPROPVAL_TC_ALL = 0x00000008;
inline constexpr LONG DBPROPVAL_OA_NOTSUPPORTED = 0x00000001;
inline constexpr LONG DBPROPVAL_OA_ATEXECUTE = 0x00000002;
inline constexpr LONG DBPROPVAL_OA_ATROWRELEASE = 0x00000004;
inline constexpr LONG DBPROPVAL_MR_NOTSUPPORTED = 0x00000000;
inline constexpr LONG DBPROPVAL_MR_SUPPORTED = 0x00000001;
inline constexpr LONG DBPROPVAL_MR_CONCURRENT = 0x00000002;
inline constexpr LONG DBPROPVAL_PT_GUID_NAME = 0x00000001;
inline constexpr LONG DBPROPVAL_PT_GUID_PROPID = 0x00000002;
inline constexpr LONG DBPROPVAL_PT_NAME = 0x00000004;
inline constexpr LONG DBPROPVAL_PT_GUID = 0x00000008;
inline constexpr LONG DBPROPVAL_PT_PROPID = 0x00000010;
inline constexpr LONG DBPROPVAL_PT_PGUID_NAME = 0x00000020;
inline constexpr LONG DBPROPVAL_PT_PGUID_PROPID = 0x00000040;
inline constexpr LONG DBPROPVAL_NT_SINGLEROW = 0x00000001;
inline constexpr LONG DBPROPVAL_NT_MULTIPLEROWS = 0x00000002;
inline constexpr LONG DBPROPVAL_ASYNCH_INITIALIZE = 0x00000001;
inline constexpr LONG DBPROPVAL_ASYNCH_SEQUENTIALPOPULATION = 0x00000002;
inline constexpr LONG DBPROPVAL_ASYNCH_RANDOMPOPULATION = 0x00000004;
inline constexpr LONG DBPROPVAL_OP_EQUAL = 0x00000001;
inline constexpr LONG DBPROPVAL_OP_RELATIVE = 0x00000002;
inline constexpr LONG DBPROPVAL_OP_STRING = 0x00000004;
inline constexpr LONG DBPROPVAL_CO_EQUALITY = 0x00000001;
inline constexpr LONG DBPROPVAL_CO_STRING = 0x00000002;
inline constexpr LONG DBPROPVAL_CO_CASESENSITIVE = 0x00000004;
inline constexpr LONG DBPROPVAL_CO_CASEINSENSITIVE = 0x00000008;
inline constexpr LONG DBPROPVAL_CO_CONTAINS = 0x00000010;
inline constexpr LONG DBPROPVAL_CO_BEGINSWITH = 0x00000020;
inline constexpr LONG DBPROPVAL_ASYNCH_BACKGROUNDPOPULATION = 0x00000008;
inline constexpr LONG DBPROPVAL_ASYNCH_PREPOPULATE = 0x00000010;
inline constexpr LONG DBPROPVAL_ASYNCH_POPULATEONDEMAND = 0x00000020;
inline constexpr LONG DBPROPVAL_LM_NONE = 0x00000001;
inline constexpr LONG DBPROPVAL_LM_SINGLEROW = 0x00000002;
inline constexpr LONG DBPROPVAL_SQL_SUBMINIMUM = 0x00000200;
inline constexpr LONG DBPROPVAL_DST_TDP = 0x00000001;
inline constexpr LONG DBPROPVAL_DST_MDP = 0x00000002;
inline constexpr LONG DBPROPVAL_DST_TDPANDMDP = 0x00000003;
inline constexpr LONG DBPROPVAL_AO_SEQUENTIAL = 0x00000000;
inline constexpr LONG DBPROPVAL_AO_SEQUENTIALSTORAGEOBJECTS = 0x00000001;
inline constexpr LONG DBPROPVAL_AO_RANDOM = 0x00000002;
inline constexpr LONG DBPROPVAL_BD_ROWSET = 0x00000000;
inline constexpr LONG DBPROPVAL_BD_INTRANSACTION = 0x00000001;
inline constexpr LONG DBPROPVAL_BD_XTRANSACTION = 0x00000002;
inline constexpr LONG DBPROPVAL_BD_REORGANIZATION = 0x00000003;
inline constexpr LONG DBPROPVAL_BO_NOLOG = 0x00000000;
inline constexpr LONG DBPROPVAL_BO_NOINDEXUPDATE = 0x00000001;
inline constexpr LONG DBPROPVAL_BO_REFINTEGRITY = 0x00000002;
inline constexpr LONG DBPROPVAL_STGM_READ = 0x00000000;
inline constexpr LONG DBPROPVAL_STGM_WRITE = 0x00000001;
inline constexpr LONG DBPROPVAL_STGM_READWRITE = 0x00000002;
inline constexpr LONG DBPROPVAL_STGM_SHARE_DENY_NONE = 0x00000040;
inline constexpr LONG DBPROPVAL_STGM_SHARE_DENY_READ = 0x00000030;
inline constexpr LONG DBPROPVAL_STGM_SHARE_DENY_WRITE = 0x00000020;
inline constexpr LONG DBPROPVAL_STGM_SHARE_EXCLUSIVE = 0x00000010;
inline constexpr LONG DBPROPVAL_STGM_DIRECT = 0x00010000;
inline constexpr LONG DBPROPVAL_STGM_TRANSACTED = 0x00020000;
inline constexpr LONG DBPROPVAL_STGM_CREATE = 0x00001000;
inline constexpr LONG DBPROPVAL_STGM_CONVERT = 0x00040000;
inline constexpr LONG DBPROPVAL_STGM_FAILIFTHERE = 0x00080000;
inline constexpr LONG DBPROPVAL_STGM_PRIORITY = 0x00100000;
inline constexpr LONG DBPROPVAL_STGM_DELETEONRELEASE = 0x00200000;
inline constexpr LONG DBPROPVAL_GB_COLLATE = 0x00000010;
inline constexpr LONG DBPROPVAL_CS_UNINITIALIZED = 0x00000000;
inline constexpr LONG DBPROPVAL_CS_INITIALIZED = 0x00000001;
inline constexpr LONG DBPROPVAL_CS_COMMUNICATIONFAILURE = 0x00000002;
inline constexpr LONG DBPROPVAL_RD_RESETALL = static_cast<LONG>(0xffffffffu);
inline constexpr LONG DBPROPVAL_OS_RESOURCEPOOLING = 0x00000001;
inline constexpr LONG DBPROPVAL_OS_TXNENLISTMENT = 0x00000002;
inline constexpr LONG DBPROPVAL_OS_CLIENTCURSOR = 0x00000004;
inline constexpr LONG DBPROPVAL_OS_ENABLEALL = static_cast<LONG>(0xffffffffu);
inline constexpr LONG DBPROPVAL_BI_CROSSROWSET = 0x00000001;
inline constexpr LONG DBPROPVAL_OS_DISABLEALL = 0x00000000;
inline constexpr LONG DBPROPVAL_OO_ROWOBJECT = 0x00000004;
inline constexpr LONG DBPROPVAL_OO_SCOPED = 0x00000008;
inline constexpr LONG DBPROPVAL_OO_DIRECTBIND = 0x00000010;
inline constexpr LONG DBPROPVAL_DST_DOCSOURCE = 0x00000004;
inline constexpr LONG DBPROPVAL_GU_NOTSUPPORTED = 0x00000001;
inline constexpr LONG DBPROPVAL_GU_SUFFIX = 0x00000002;
inline constexpr LONG DBPROPVAL_ORS_TABLE = 0x00000000;
inline constexpr LONG DBPROPVAL_ORS_INDEX = 0x00000001;
inline constexpr LONG DBPROPVAL_ORS_INTEGRATEDINDEX = 0x00000002;
inline constexpr LONG DBPROPVAL_TC_DDL_LOCK = 0x00000010;
inline constexpr LONG DBPROPVAL_ORS_STOREDPROC = 0x00000004;
inline constexpr LONG DBPROPVAL_IN_ALLOWNULL = 0x00000000;
inline constexpr LONG DBPROPVAL_OO_SINGLETON = 0x00000020;
inline constexpr LONG DBPROPVAL_OS_AGR_AFTERSESSION = 0x00000008;
inline constexpr LONG DBPROPVAL_CM_TRANSACTIONS = 0x00000001;
inline constexpr LONG DBPROPVAL_TS_CARDINALITY = 0x00000001;
inline constexpr LONG DBPROPVAL_TS_HISTOGRAM = 0x00000002;
inline constexpr LONG DBPROPVAL_ORS_HISTOGRAM = 0x00000008;
inline constexpr LONG DBPROPVAL_DF_INITIALLY_DEFERRED = 0x01;
inline constexpr LONG DBPROPVAL_DF_INITIALLY_IMMEDIATE = 0x02;
inline constexpr LONG DBPROPVAL_DF_NOT_DEFERRABLE = 0x03;

// Values of DBPROP_INIT_PROMPT (a VT_I2 property).
inline constexpr SHORT DBPROMPT_PROMPT = 0x01;
inline constexpr SHORT DBPROMPT_COMPLETE = 0x02;
inline constexpr SHORT DBPROMPT_COMPLETEREQUIRED = 0x03;
inline constexpr SHORT DBPROMPT_NOPROMPT = 0x04;

// Values of DBPROP_INIT_MODE, DBPROP_INIT_IMPERSONATION_LEVEL,
// DBPROP_INIT_PROTECTION_LEVEL and of a few schema rowset columns.
inline constexpr LONG DB_BINDFLAGS_DELAYFETCHCOLUMNS = 0x00000001;
inline constexpr LONG DB_BINDFLAGS_DELAYFETCHSTREAM = 0x00000002;
inline constexpr LONG DB_BINDFLAGS_RECURSIVE = 0x00000004;
inline constexpr LONG DB_BINDFLAGS_OUTPUT = 0x00000008;
inline constexpr LONG DB_BINDFLAGS_COLLECTION = 0x00000010;
inline constexpr LONG DB_BINDFLAGS_OPENIFEXISTS = 0x00000020;
inline constexpr LONG DB_BINDFLAGS_OVERWRITE = 0x00000040;
inline constexpr LONG DB_BINDFLAGS_ISSTRUCTUREDDOCUMENT = 0x00000080;
inline constexpr LONG DB_IMP_LEVEL_ANONYMOUS = 0x00;
inline constexpr LONG DB_IMP_LEVEL_IDENTIFY = 0x01;
inline constexpr LONG DB_IMP_LEVEL_IMPERSONATE = 0x02;
inline constexpr LONG DB_IMP_LEVEL_DELEGATE = 0x03;
inline constexpr LONG DB_PROT_LEVEL_NONE = 0x00;
inline constexpr LONG DB_PROT_LEVEL_CONNECT = 0x01;
inline constexpr LONG DB_PROT_LEVEL_CALL = 0x02;
inline constexpr LONG DB_PROT_LEVEL_PKT = 0x03;
inline constexpr LONG DB_PROT_LEVEL_PKT_INTEGRITY = 0x04;
inline constexpr LONG DB_PROT_LEVEL_PKT_PRIVACY = 0x05;
inline constexpr LONG DB_MODE_READ = 0x01;
inline constexpr LONG DB_MODE_WRITE = 0x02;
inline constexpr LONG DB_MODE_READWRITE = 0x03;
inline constexpr LONG DB_MODE_SHARE_DENY_READ = 0x04;
inline constexpr LONG DB_MODE_SHARE_DENY_WRITE = 0x08;
inline constexpr LONG DB_MODE_SHARE_EXCLUSIVE = 0x0c;
inline constexpr LONG DB_MODE_SHARE_DENY_NONE = 0x10;
inline constexpr LONG DBCOMPUTEMODE_COMPUTED = 0x01;
inline constexpr LONG DBCOMPUTEMODE_DYNAMIC = 0x02;
inline constexpr LONG DBCOMPUTEMODE_NOTCOMPUTED = 0x03;
inline constexpr LONG DBPARAMTYPE_INPUT = 0x01;
inline constexpr LONG DBPARAMTYPE_INPUTOUTPUT = 0x02;
inline constexpr LONG DBPARAMTYPE_OUTPUT = 0x03;
inline constexpr LONG DBPARAMTYPE_RETURNVALUE = 0x04;
inline constexpr LONG DB_PT_UNKNOWN = 0x01;
inline constexpr LONG DB_PT_PROCEDURE = 0x02;
inline constexpr LONG DB_PT_FUNCTION = 0x03;
inline constexpr LONG DB_REMOTE = 0x01;
inline constexpr LONG DB_LOCAL_SHARED = 0x02;
inline constexpr LONG DB_LOCAL_EXCLUSIVE = 0x03;
inline constexpr LONG DB_COLLATION_ASC = 0x01;
inline constexpr LONG DB_COLLATION_DESC = 0x02;
inline constexpr LONG DB_UNSEARCHABLE = 0x01;
inline constexpr LONG DB_LIKE_ONLY = 0x02;
inline constexpr LONG DB_ALL_EXCEPT_LIKE = 0x03;
inline constexpr LONG DB_SEARCHABLE = 0x04;

// ---------------------------------------------------------------- property sets

inline constexpr GUID DBPROPSET_COLUMN = {
    0xc8b522b9, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_COLUMNALL = {
    0xc8b522f0, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_CONSTRAINTALL = {
    0xc8b522fa, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DATASOURCE = {
    0xc8b522ba, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DATASOURCEALL = {
    0xc8b522c0, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DATASOURCEINFO = {
    0xc8b522bb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DATASOURCEINFOALL = {
    0xc8b522c1, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DBINIT = {
    0xc8b522bc, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_DBINITALL = {
    0xc8b522ca, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_INDEX = {
    0xc8b522bd, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_INDEXALL = {
    0xc8b522f1, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_PROPERTIESINERROR = {
    0xc8b522d4, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_ROWSET = {
    0xc8b522be, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_ROWSETALL = {
    0xc8b522c2, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_SESSION = {
    0xc8b522c6, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_SESSIONALL = {
    0xc8b522c7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_STREAM = {
    0xc8b522fd, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_STREAMALL = {
    0xc8b522fe, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_TABLE = {
    0xc8b522bf, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_TABLEALL = {
    0xc8b522f2, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_TRUSTEE = {
    0xc8b522e1, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_TRUSTEEALL = {
    0xc8b522f3, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_VIEW = {
    0xc8b522df, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBPROPSET_VIEWALL = {
    0xc8b522fc, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// ---------------------------------------------------------------- parameters

enum DBPARAMFLAGSENUM {
    DBPARAMFLAGS_ISINPUT = 0x1,
    DBPARAMFLAGS_ISOUTPUT = 0x2,
    DBPARAMFLAGS_ISSIGNED = 0x10,
    DBPARAMFLAGS_ISNULLABLE = 0x40,
    DBPARAMFLAGS_ISLONG = 0x80,
};

enum DBPARAMFLAGSENUM20 {
    DBPARAMFLAGS_SCALEISNEGATIVE = 0x100,
};

// The parameter sets of one execution: cParamSets rows of the accessor's
// layout, one after the other in pData (the accessor's row size apart).
struct DBPARAMS {
    void* pData;
    DB_UPARAMS cParamSets;
    HACCESSOR hAccessor;
};
static_assert(sizeof(DBPARAMS) == 24 && offsetof(DBPARAMS, hAccessor) == 16);

struct DBPARAMINFO {
    DBPARAMFLAGS dwFlags;
    DBORDINAL iOrdinal;
    LPOLESTR pwszName;
    ITypeInfo* pTypeInfo;
    DBLENGTH ulParamSize;
    DBTYPE wType;
    BYTE bPrecision;
    BYTE bScale;
};
static_assert(sizeof(DBPARAMINFO) == 48);

// Describes a parameter to a provider that cannot derive it; the type is the
// provider's type name ("DBTYPE_I4", "DBTYPE_WVARCHAR" ...).
struct DBPARAMBINDINFO {
    LPOLESTR pwszDataSourceType;
    LPOLESTR pwszName;
    DBLENGTH ulParamSize;
    DBPARAMFLAGS dwFlags;
    BYTE bPrecision;
    BYTE bScale;
};
static_assert(sizeof(DBPARAMBINDINFO) == 32);

// ---------------------------------------------------------------- tables and indexes

enum DBINDEX_COL_ORDERENUM {
    DBINDEX_COL_ORDER_ASC = 0,
    DBINDEX_COL_ORDER_DESC = DBINDEX_COL_ORDER_ASC + 1,
};

enum DBCOLUMNDESCFLAGSENUM {
    DBCOLUMNDESCFLAGS_TYPENAME = 0x1,
    DBCOLUMNDESCFLAGS_ITYPEINFO = 0x2,
    DBCOLUMNDESCFLAGS_PROPERTIES = 0x4,
    DBCOLUMNDESCFLAGS_CLSID = 0x8,
    DBCOLUMNDESCFLAGS_COLSIZE = 0x10,
    DBCOLUMNDESCFLAGS_DBCID = 0x20,
    DBCOLUMNDESCFLAGS_WTYPE = 0x40,
    DBCOLUMNDESCFLAGS_PRECISION = 0x80,
    DBCOLUMNDESCFLAGS_SCALE = 0x100,
};

struct DBCOLUMNDESC {
    LPOLESTR pwszTypeName;
    ITypeInfo* pTypeInfo;
    DBPROPSET* rgPropertySets;
    CLSID* pclsid;
    ULONG cPropertySets;
    DBLENGTH ulColumnSize;
    DBID dbcid;
    DBTYPE wType;
    BYTE bPrecision;
    BYTE bScale;
};
static_assert(sizeof(DBCOLUMNDESC) == 88 && offsetof(DBCOLUMNDESC, dbcid) == 48);

struct DBINDEXCOLUMNDESC {
    DBID* pColumnID;
    DBINDEX_COL_ORDER eIndexColOrder;
};
static_assert(sizeof(DBINDEXCOLUMNDESC) == 16);

// ---------------------------------------------------------------- rowset enumerations

enum DBCOMPAREENUM {
    DBCOMPARE_LT = 0,
    DBCOMPARE_EQ,
    DBCOMPARE_GT,
    DBCOMPARE_NE,
    DBCOMPARE_NOTCOMPARABLE,
};

enum DBCOMPAREOPSENUM {
    DBCOMPAREOPS_LT = 0,
    DBCOMPAREOPS_LE = 1,
    DBCOMPAREOPS_EQ = 2,
    DBCOMPAREOPS_GE = 3,
    DBCOMPAREOPS_GT = 4,
    DBCOMPAREOPS_BEGINSWITH = 5,
    DBCOMPAREOPS_CONTAINS = 6,
    DBCOMPAREOPS_NE = 7,
    DBCOMPAREOPS_IGNORE = 8,
    DBCOMPAREOPS_CASESENSITIVE = 0x1000,
    DBCOMPAREOPS_CASEINSENSITIVE = 0x2000,
};

enum DBCOMPAREOPSENUM20 {
    DBCOMPAREOPS_NOTBEGINSWITH = 9,
    DBCOMPAREOPS_NOTCONTAINS = 10,
};

enum DBPOSITIONFLAGSENUM {
    DBPOSITION_OK = 0,
    DBPOSITION_NOROW,
    DBPOSITION_BOF,
    DBPOSITION_EOF,
};

enum DBPENDINGSTATUSENUM {
    DBPENDINGSTATUS_NEW = 0x1,
    DBPENDINGSTATUS_CHANGED = 0x2,
    DBPENDINGSTATUS_DELETED = 0x4,
    DBPENDINGSTATUS_UNCHANGED = 0x8,
    DBPENDINGSTATUS_INVALIDROW = 0x10,
};

enum DBSEEKENUM {
    DBSEEK_INVALID = 0,
    DBSEEK_FIRSTEQ = 0x1,
    DBSEEK_LASTEQ = 0x2,
    DBSEEK_AFTEREQ = 0x4,
    DBSEEK_AFTER = 0x8,
    DBSEEK_BEFOREEQ = 0x10,
    DBSEEK_BEFORE = 0x20,
};

enum DBRANGEENUM {
    DBRANGE_INCLUSIVESTART = 0,
    DBRANGE_INCLUSIVEEND = 0,
    DBRANGE_EXCLUSIVESTART = 0x1,
    DBRANGE_EXCLUSIVEEND = 0x2,
    DBRANGE_EXCLUDENULLS = 0x4,
    DBRANGE_PREFIX = 0x8,
    DBRANGE_MATCH = 0x10,
};

enum DBRANGEENUM20 {
    DBRANGE_MATCH_N_SHIFT = 0x18,
    DBRANGE_MATCH_N_MASK = 0xff,
};

// Seek shorthands.
inline constexpr DBSEEK DBSEEK_GE = DBSEEK_AFTEREQ;
inline constexpr DBSEEK DBSEEK_GT = DBSEEK_AFTER;
inline constexpr DBSEEK DBSEEK_LE = DBSEEK_BEFOREEQ;
inline constexpr DBSEEK DBSEEK_LT = DBSEEK_BEFORE;

enum DBRESULTFLAGENUM {
    DBRESULTFLAG_DEFAULT = 0,
    DBRESULTFLAG_ROWSET = 1,
    DBRESULTFLAG_ROW = 2,
};

enum DBCONVERTFLAGSENUM {
    DBCONVERTFLAGS_COLUMN = 0,
    DBCONVERTFLAGS_PARAMETER = 0x1,
};

enum DBCONVERTFLAGSENUM20 {
    DBCONVERTFLAGS_ISLONG = 0x2,
    DBCONVERTFLAGS_ISFIXEDLENGTH = 0x4,
    DBCONVERTFLAGS_FROMVARIANT = 0x8,
};

enum DBEVENTPHASEENUM {
    DBEVENTPHASE_OKTODO = 0,
    DBEVENTPHASE_ABOUTTODO,
    DBEVENTPHASE_SYNCHAFTER,
    DBEVENTPHASE_FAILEDTODO,
    DBEVENTPHASE_DIDEVENT,
};

enum DBREASONENUM {
    DBREASON_ROWSET_FETCHPOSITIONCHANGE = 0,
    DBREASON_ROWSET_RELEASE,
    DBREASON_COLUMN_SET,
    DBREASON_COLUMN_RECALCULATED,
    DBREASON_ROW_ACTIVATE,
    DBREASON_ROW_RELEASE,
    DBREASON_ROW_DELETE,
    DBREASON_ROW_FIRSTCHANGE,
    DBREASON_ROW_INSERT,
    DBREASON_ROW_RESYNCH,
    DBREASON_ROW_UNDOCHANGE,
    DBREASON_ROW_UNDOINSERT,
    DBREASON_ROW_UNDODELETE,
    DBREASON_ROW_UPDATE,
    DBREASON_ROWSET_CHANGED,
};

enum DBREASONENUM15 {
    DBREASON_ROWPOSITION_CHANGED = DBREASON_ROWSET_CHANGED + 1,
    DBREASON_ROWPOSITION_CHAPTERCHANGED,
    DBREASON_ROWPOSITION_CLEARED,
    DBREASON_ROW_ASYNCHINSERT,
};

enum DBASYNCHOPENUM {
    DBASYNCHOP_OPEN = 0,
};

enum DBASYNCHPHASEENUM {
    DBASYNCHPHASE_INITIALIZATION = 0,
    DBASYNCHPHASE_POPULATION,
    DBASYNCHPHASE_COMPLETE,
    DBASYNCHPHASE_CANCELED,
};

enum DBSORTENUM {
    DBSORT_ASCENDING = 0,
    DBSORT_DESCENDING = DBSORT_ASCENDING + 1,
};

// ---------------------------------------------------------------- literals

enum DBLITERALENUM {
    DBLITERAL_INVALID = 0,
    DBLITERAL_BINARY_LITERAL = 1,
    DBLITERAL_CATALOG_NAME = 2,
    DBLITERAL_CATALOG_SEPARATOR = 3,
    DBLITERAL_CHAR_LITERAL = 4,
    DBLITERAL_COLUMN_ALIAS = 5,
    DBLITERAL_COLUMN_NAME = 6,
    DBLITERAL_CORRELATION_NAME = 7,
    DBLITERAL_CURSOR_NAME = 8,
    DBLITERAL_ESCAPE_PERCENT = 9,
    DBLITERAL_ESCAPE_UNDERSCORE = 10,
    DBLITERAL_INDEX_NAME = 11,
    DBLITERAL_LIKE_PERCENT = 12,
    DBLITERAL_LIKE_UNDERSCORE = 13,
    DBLITERAL_PROCEDURE_NAME = 14,
    DBLITERAL_QUOTE = 15,
    DBLITERAL_SCHEMA_NAME = 16,
    DBLITERAL_TABLE_NAME = 17,
    DBLITERAL_TEXT_COMMAND = 18,
    DBLITERAL_USER_NAME = 19,
    DBLITERAL_VIEW_NAME = 20,
};

enum DBLITERALENUM20 {
    DBLITERAL_CUBE_NAME = 21,
    DBLITERAL_DIMENSION_NAME = 22,
    DBLITERAL_HIERARCHY_NAME = 23,
    DBLITERAL_LEVEL_NAME = 24,
    DBLITERAL_MEMBER_NAME = 25,
    DBLITERAL_PROPERTY_NAME = 26,
    DBLITERAL_SCHEMA_SEPARATOR = 27,
    DBLITERAL_QUOTE_SUFFIX = 28,
};

enum DBLITERALENUM21 {
    DBLITERAL_ESCAPE_PERCENT_SUFFIX = 29,
    DBLITERAL_ESCAPE_UNDERSCORE_SUFFIX = 30,
};

struct DBLITERALINFO {
    LPOLESTR pwszLiteralValue;
    LPOLESTR pwszInvalidChars;
    LPOLESTR pwszInvalidStartingChars;
    DBLITERAL lt;
    BOOL fSupported;
    ULONG cchMaxLen;
};
static_assert(sizeof(DBLITERALINFO) == 40);

// ---------------------------------------------------------------- command dialects and objects

inline constexpr GUID DBGUID_COMMAND = {
    0xc8b522f8, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_CONTAINEROBJECT = {
    0xc8b522fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_DBSQL = {
    0xc8b521fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_DEFAULT = {
    0xc8b521fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_DSO = {
    0xc8b522f4, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_LIKE_DOS = {
    0xc8b521f7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_LIKE_MAPI = {
    0xc8b521f9, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_LIKE_OFS = {
    0xc8b521f8, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_LIKE_SQL = {
    0xc8b521f6, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_ROW = {
    0xc8b522f7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_ROWSET = {
    0xc8b522f6, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_SESSION = {
    0xc8b522f5, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_SQL = {
    0xc8b522d7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBGUID_STREAM = {
    0xc8b522f9, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// ---------------------------------------------------------------- schema rowsets
// IDBSchemaRowset::GetRowset takes one of these; CRESTRICTIONS_ says how many
// restriction values each accepts.

inline constexpr GUID DBSCHEMA_ASSERTIONS = {
    0xc8b52210, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CATALOGS = {
    0xc8b52211, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CHARACTER_SETS = {
    0xc8b52212, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CHECK_CONSTRAINTS = {
    0xc8b52215, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CHECK_CONSTRAINTS_BY_TABLE = {
    0xc8b52301, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_COLLATIONS = {
    0xc8b52213, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_COLUMNS = {
    0xc8b52214, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_COLUMN_DOMAIN_USAGE = {
    0xc8b5221b, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_COLUMN_PRIVILEGES = {
    0xc8b52221, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CONSTRAINT_COLUMN_USAGE = {
    0xc8b52216, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_CONSTRAINT_TABLE_USAGE = {
    0xc8b52217, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_FOREIGN_KEYS = {
    0xc8b522c4, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_INDEXES = {
    0xc8b5221e, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_KEY_COLUMN_USAGE = {
    0xc8b52218, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_PRIMARY_KEYS = {
    0xc8b522c5, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_PROCEDURES = {
    0xc8b52224, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_PROCEDURE_COLUMNS = {
    0xc8b522c9, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_PROCEDURE_PARAMETERS = {
    0xc8b522b8, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_PROVIDER_TYPES = {
    0xc8b5222c, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_REFERENTIAL_CONSTRAINTS = {
    0xc8b52219, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_SCHEMATA = {
    0xc8b52225, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_SQL_LANGUAGES = {
    0xc8b52226, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_STATISTICS = {
    0xc8b52227, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TABLES = {
    0xc8b52229, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TABLES_INFO = {
    0xc8b522e0, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TABLE_CONSTRAINTS = {
    0xc8b5221a, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TABLE_PRIVILEGES = {
    0xc8b52222, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TABLE_STATISTICS = {
    0xc8b522ff, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TRANSLATIONS = {
    0xc8b5222a, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_TRUSTEE = {
    0xc8b522ef, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_USAGE_PRIVILEGES = {
    0xc8b52223, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_VIEWS = {
    0xc8b5222d, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_VIEW_COLUMN_USAGE = {
    0xc8b5222e, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr GUID DBSCHEMA_VIEW_TABLE_USAGE = {
    0xc8b5222f, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_ASSERTIONS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CATALOGS = 1;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CHARACTER_SETS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_COLLATIONS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_COLUMNS = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CHECK_CONSTRAINTS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CONSTRAINT_COLUMN_USAGE = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CONSTRAINT_TABLE_USAGE = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_KEY_COLUMN_USAGE = 7;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_REFERENTIAL_CONSTRAINTS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TABLE_CONSTRAINTS = 7;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_COLUMN_DOMAIN_USAGE = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_INDEXES = 5;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_OBJECT_ACTIONS = 1;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_OBJECTS = 1;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_COLUMN_PRIVILEGES = 6;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TABLE_PRIVILEGES = 5;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_USAGE_PRIVILEGES = 6;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_PROCEDURES = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_SCHEMATA = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_SQL_LANGUAGES = 0;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_STATISTICS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TABLES = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TRANSLATIONS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_PROVIDER_TYPES = 2;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_VIEWS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_VIEW_COLUMN_USAGE = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_VIEW_TABLE_USAGE = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_PROCEDURE_PARAMETERS = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_FOREIGN_KEYS = 6;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_PRIMARY_KEYS = 3;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_PROCEDURE_COLUMNS = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TABLES_INFO = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TRUSTEE = 4;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_TABLE_STATISTICS = 7;
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_CHECK_CONSTRAINTS_BY_TABLE = 6;

// ---------------------------------------------------------------- errors

// One error record: the result code, a provider-defined minor code and the
// class and interface that raised it.
struct ERRORINFO {
    HRESULT hrError;
    DWORD dwMinor;
    CLSID clsid;
    IID iid;
    DISPID dispid;
};
static_assert(sizeof(ERRORINFO) == 44 && offsetof(ERRORINFO, iid) == 24);

inline constexpr DWORD IDENTIFIER_SDK_MASK = 0xF0000000;
inline constexpr DWORD IDENTIFIER_SDK_ERROR = 0x10000000;

inline constexpr IID IID_IErrorRecords = {
    0x0c733a67, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IErrorRecords : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddErrorRecord(ERRORINFO* pErrorInfo, DWORD dwLookupID,
                                                     DISPPARAMS* pdispparams,
                                                     IUnknown* punkCustomError,
                                                     DWORD dwDynamicErrorID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBasicErrorInfo(ULONG ulRecordNum,
                                                        ERRORINFO* pErrorInfo) = 0;
    // Records are numbered from 0; record 0 is the most recent.
    virtual HRESULT STDMETHODCALLTYPE GetCustomErrorObject(ULONG ulRecordNum, REFIID riid,
                                                           IUnknown** ppObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetErrorInfo(ULONG ulRecordNum, LCID lcid,
                                                   IErrorInfo** ppErrorInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetErrorParameters(ULONG ulRecordNum,
                                                         DISPPARAMS* pdispparams) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRecordCount(ULONG* pcRecords) = 0;
};

inline constexpr IID IID_IErrorLookup = {
    0x0c733a66, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IErrorLookup : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetErrorDescription(HRESULT hrError, DWORD dwLookupID,
                                                          DISPPARAMS* pdispparams, LCID lcid,
                                                          BSTR* pbstrSource,
                                                          BSTR* pbstrDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpInfo(HRESULT hrError, DWORD dwLookupID, LCID lcid,
                                                  BSTR* pbstrHelpFile, DWORD* pdwHelpContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseErrors(const DWORD dwDynamicErrorID) = 0;
};

// The SQL state (five characters) and the server's native error number of
// one error record.
inline constexpr IID IID_ISQLErrorInfo = {
    0x0c733a74, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ISQLErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetSQLInfo(BSTR* pbstrSQLState, LONG* plNativeError) = 0;
};

// ---------------------------------------------------------------- transactions

using ISOLEVEL = LONG;

enum ISOLATIONLEVEL {
    ISOLATIONLEVEL_UNSPECIFIED = 0xffffffff,
    ISOLATIONLEVEL_CHAOS = 0x10,
    ISOLATIONLEVEL_READUNCOMMITTED = 0x100,
    ISOLATIONLEVEL_BROWSE = 0x100,
    ISOLATIONLEVEL_CURSORSTABILITY = 0x1000,
    ISOLATIONLEVEL_READCOMMITTED = 0x1000,
    ISOLATIONLEVEL_REPEATABLEREAD = 0x10000,
    ISOLATIONLEVEL_SERIALIZABLE = 0x100000,
    ISOLATIONLEVEL_ISOLATED = 0x100000,
};

// Commit flags (grfTC).
enum XACTTC {
    XACTTC_NONE = 0,
    XACTTC_SYNC_PHASEONE = 1,
    XACTTC_SYNC_PHASETWO = 2,
    XACTTC_SYNC = 2,
    XACTTC_ASYNC_PHASEONE = 4,
    XACTTC_ASYNC = 4,
};

enum XACTRM {
    XACTRM_OPTIMISTICLASTWINS = 1,
    XACTRM_NOREADONLYPREPARES = 2,
};

enum XACTCONST {
    XACTCONST_TIMEOUTINFINITE = 0,
};

enum TX_MISC_CONSTANTS {
    MAX_TRAN_DESC = 40,
};

// A transaction's unit of work, or the reason passed to Abort.
struct BOID {
    BYTE rgb[16];
};
static_assert(sizeof(BOID) == 16);
using XACTUOW = BOID;

struct XACTTRANSINFO {
    XACTUOW uow;
    ISOLEVEL isoLevel;
    ULONG isoFlags;
    DWORD grfTCSupported;
    DWORD grfRMSupported;
    DWORD grfTCSupportedRetaining;
    DWORD grfRMSupportedRetaining;
};
static_assert(sizeof(XACTTRANSINFO) == 40);

// Timeout in milliseconds (0: none) and a narrow description.
struct XACTOPT {
    ULONG ulTimeout;
    char szDescription[MAX_TRAN_DESC];
};
static_assert(sizeof(XACTOPT) == 44);

inline constexpr IID IID_ITransaction = {
    0x0fb15084, 0xaf41, 0x11ce, {0xbd, 0x2b, 0x20, 0x4c, 0x4f, 0x4f, 0x50, 0x20}};
struct ITransaction : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Commit(BOOL fRetaining, DWORD grfTC, DWORD grfRM) = 0;
    virtual HRESULT STDMETHODCALLTYPE Abort(BOID* pboidReason, BOOL fRetaining, BOOL fAsync) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTransactionInfo(XACTTRANSINFO* pinfo) = 0;
};

inline constexpr IID IID_ITransactionOptions = {
    0x3a6ad9e0, 0x23b9, 0x11cf, {0xad, 0x60, 0x00, 0xaa, 0x00, 0xa7, 0x4c, 0xcd}};
struct ITransactionOptions : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetOptions(XACTOPT* pOptions) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOptions(XACTOPT* pOptions) = 0;
};

inline constexpr IID IID_ITransactionLocal = {
    0x0c733a5f, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ITransactionLocal : public ITransaction {
    virtual HRESULT STDMETHODCALLTYPE GetOptionsObject(ITransactionOptions** ppOptions) = 0;
    // Starts a local transaction; *pulTransactionLevel receives the nesting
    // level (1 for the outermost). A provider without nesting answers
    // XACT_E_XTIONEXISTS while one is open.
    virtual HRESULT STDMETHODCALLTYPE StartTransaction(ISOLEVEL isoLevel, ULONG isoFlags,
                                                       ITransactionOptions* pOtherOptions,
                                                       ULONG* pulTransactionLevel) = 0;
};

// ---------------------------------------------------------------- data source

inline constexpr IID IID_IDBInitialize = {
    0x0c733a8b, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBInitialize : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Initialize() = 0;
    virtual HRESULT STDMETHODCALLTYPE Uninitialize() = 0;
};

// GetProperties and GetPropertyInfo hand back arrays (and, for the info, one
// description buffer) that the caller frees with the task allocator: each
// set's array, the VARIANTs cleared first, then the array of sets.
inline constexpr IID IID_IDBProperties = {
    0x0c733a8a, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBProperties : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProperties(ULONG cPropertyIDSets,
                                                    const DBPROPIDSET rgPropertyIDSets[],
                                                    ULONG* pcPropertySets,
                                                    DBPROPSET** prgPropertySets) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG cPropertyIDSets,
                                                      const DBPROPIDSET rgPropertyIDSets[],
                                                      ULONG* pcPropertyInfoSets,
                                                      DBPROPINFOSET** prgPropertyInfoSets,
                                                      OLECHAR** ppDescBuffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProperties(ULONG cPropertySets,
                                                    DBPROPSET rgPropertySets[]) = 0;
};

inline constexpr IID IID_IDBCreateSession = {
    0x0c733a5d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBCreateSession : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateSession(IUnknown* pUnkOuter, REFIID riid,
                                                    IUnknown** ppDBSession) = 0;
};

inline constexpr IID IID_IDBInfo = {
    0x0c733a89, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetKeywords(LPOLESTR* ppwszKeywords) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLiteralInfo(ULONG cLiterals, const DBLITERAL rgLiterals[],
                                                     ULONG* pcLiteralInfo,
                                                     DBLITERALINFO** prgLiteralInfo,
                                                     OLECHAR** ppCharBuffer) = 0;
};

// ---------------------------------------------------------------- session

inline constexpr IID IID_IGetDataSource = {
    0x0c733a75, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IGetDataSource : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDataSource(REFIID riid, IUnknown** ppDataSource) = 0;
};

inline constexpr IID IID_ISessionProperties = {
    0x0c733a85, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ISessionProperties : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProperties(ULONG cPropertyIDSets,
                                                    const DBPROPIDSET rgPropertyIDSets[],
                                                    ULONG* pcPropertySets,
                                                    DBPROPSET** prgPropertySets) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProperties(ULONG cPropertySets,
                                                    DBPROPSET rgPropertySets[]) = 0;
};

inline constexpr IID IID_IDBCreateCommand = {
    0x0c733a1d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBCreateCommand : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateCommand(IUnknown* pUnkOuter, REFIID riid,
                                                    IUnknown** ppCommand) = 0;
};

// Opens a table (pTableID, a DBKIND_NAME id) or an index of it as a rowset
// without SQL.
inline constexpr IID IID_IOpenRowset = {
    0x0c733a69, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IOpenRowset : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OpenRowset(IUnknown* pUnkOuter, DBID* pTableID,
                                                 DBID* pIndexID, REFIID riid, ULONG cPropertySets,
                                                 DBPROPSET rgPropertySets[],
                                                 IUnknown** ppRowset) = 0;
};

// Restrictions are VARIANTs in the order of the schema rowset's columns;
// VT_EMPTY leaves a column unrestricted.
inline constexpr IID IID_IDBSchemaRowset = {
    0x0c733a7b, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDBSchemaRowset : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetRowset(IUnknown* pUnkOuter, REFGUID rguidSchema,
                                                ULONG cRestrictions, const VARIANT rgRestrictions[],
                                                REFIID riid, ULONG cPropertySets,
                                                DBPROPSET rgPropertySets[],
                                                IUnknown** ppRowset) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSchemas(ULONG* pcSchemas, GUID** prgSchemas,
                                                 ULONG** prgRestrictionSupport) = 0;
};

inline constexpr IID IID_ITableDefinition = {
    0x0c733a86, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ITableDefinition : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateTable(IUnknown* pUnkOuter, DBID* pTableID,
                                                  DBORDINAL cColumnDescs,
                                                  const DBCOLUMNDESC rgColumnDescs[], REFIID riid,
                                                  ULONG cPropertySets, DBPROPSET rgPropertySets[],
                                                  DBID** ppTableID, IUnknown** ppRowset) = 0;
    virtual HRESULT STDMETHODCALLTYPE DropTable(DBID* pTableID) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddColumn(DBID* pTableID, DBCOLUMNDESC* pColumnDesc,
                                                DBID** ppColumnID) = 0;
    virtual HRESULT STDMETHODCALLTYPE DropColumn(DBID* pTableID, DBID* pColumnID) = 0;
};

inline constexpr IID IID_IIndexDefinition = {
    0x0c733a68, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IIndexDefinition : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateIndex(DBID* pTableID, DBID* pIndexID,
                                                  DBORDINAL cIndexColumnDescs,
                                                  const DBINDEXCOLUMNDESC rgIndexColumnDescs[],
                                                  ULONG cPropertySets, DBPROPSET rgPropertySets[],
                                                  DBID** ppIndexID) = 0;
    virtual HRESULT STDMETHODCALLTYPE DropIndex(DBID* pTableID, DBID* pIndexID) = 0;
};

// ---------------------------------------------------------------- accessors and columns

// Accessors describe a buffer layout once; rowsets and commands then move
// whole rows or parameter sets with one call. rgStatus (one per binding) says
// which binding a failed CreateAccessor rejected.
inline constexpr IID IID_IAccessor = {
    0x0c733a8c, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IAccessor : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR hAccessor,
                                                     DBREFCOUNT* pcRefCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS dwAccessorFlags,
                                                     DBCOUNTITEM cBindings,
                                                     const DBBINDING rgBindings[],
                                                     DBLENGTH cbRowSize, HACCESSOR* phAccessor,
                                                     DBBINDSTATUS rgStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR hAccessor,
                                                  DBACCESSORFLAGS* pdwAccessorFlags,
                                                  DBCOUNTITEM* pcBindings,
                                                  DBBINDING** prgBindings) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR hAccessor,
                                                      DBREFCOUNT* pcRefCount) = 0;
};

inline constexpr IID IID_IColumnsInfo = {
    0x0c733a11, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IColumnsInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* pcColumns, DBCOLUMNINFO** prgInfo,
                                                    OLECHAR** ppStringsBuffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL cColumnIDs, const DBID rgColumnIDs[],
                                                   DBORDINAL rgColumns[]) = 0;
};

inline constexpr IID IID_IColumnsRowset = {
    0x0c733a10, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IColumnsRowset : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetAvailableColumns(DBORDINAL* pcOptColumns,
                                                          DBID** prgOptColumns) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetColumnsRowset(IUnknown* pUnkOuter, DBORDINAL cOptColumns,
                                                       const DBID rgOptColumns[], REFIID riid,
                                                       ULONG cPropertySets,
                                                       DBPROPSET rgPropertySets[],
                                                       IUnknown** ppColRowset) = 0;
};

inline constexpr IID IID_IConvertType = {
    0x0c733a88, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IConvertType : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE wFromType, DBTYPE wToType,
                                                 DBCONVERTFLAGS dwConvertFlags) = 0;
};

// ---------------------------------------------------------------- commands

// Cancel may be called from another thread while Execute runs; Execute then
// answers DB_E_CANCELED.
inline constexpr IID IID_ICommand = {
    0x0c733a63, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ICommand : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Cancel() = 0;
    virtual HRESULT STDMETHODCALLTYPE Execute(IUnknown* pUnkOuter, REFIID riid, DBPARAMS* pParams,
                                              DBROWCOUNT* pcRowsAffected, IUnknown** ppRowset) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDBSession(REFIID riid, IUnknown** ppSession) = 0;
};

inline constexpr IID IID_ICommandText = {
    0x0c733a27, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ICommandText : public ICommand {
    virtual HRESULT STDMETHODCALLTYPE GetCommandText(GUID* pguidDialect,
                                                     LPOLESTR* ppwszCommand) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCommandText(REFGUID rguidDialect,
                                                     LPCOLESTR pwszCommand) = 0;
};

inline constexpr IID IID_ICommandProperties = {
    0x0c733a79, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ICommandProperties : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProperties(const ULONG cPropertyIDSets,
                                                    const DBPROPIDSET rgPropertyIDSets[],
                                                    ULONG* pcPropertySets,
                                                    DBPROPSET** prgPropertySets) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProperties(ULONG cPropertySets,
                                                    DBPROPSET rgPropertySets[]) = 0;
};

inline constexpr IID IID_ICommandPrepare = {
    0x0c733a26, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ICommandPrepare : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Prepare(ULONG cExpectedRuns) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unprepare() = 0;
};

inline constexpr IID IID_ICommandWithParameters = {
    0x0c733a64, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ICommandWithParameters : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetParameterInfo(DB_UPARAMS* pcParams,
                                                       DBPARAMINFO** prgParamInfo,
                                                       OLECHAR** ppNamesBuffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE MapParameterNames(DB_UPARAMS cParamNames,
                                                        const OLECHAR* rgParamNames[],
                                                        DB_LPARAMS rgParamOrdinals[]) = 0;
    // A null rgParamBindInfo discards the information set before.
    virtual HRESULT STDMETHODCALLTYPE SetParameterInfo(DB_UPARAMS cParams,
                                                       const DB_UPARAMS rgParamOrdinals[],
                                                       const DBPARAMBINDINFO rgParamBindInfo[]) = 0;
};

// Steps through the results of a batch; DB_S_NORESULT ends the walk.
inline constexpr IID IID_IMultipleResults = {
    0x0c733a90, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IMultipleResults : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetResult(IUnknown* pUnkOuter, DBRESULTFLAG lResultFlag,
                                                REFIID riid, DBROWCOUNT* pcRowsAffected,
                                                IUnknown** ppRowset) = 0;
};

// ---------------------------------------------------------------- rowsets

// Rows are fetched as handles (GetNextRows allocates *prghRows with the task
// allocator when it is null) and read through an accessor with GetData.
// DB_S_ENDOFROWSET reports that fewer rows than asked were left.
inline constexpr IID IID_IRowset = {
    0x0c733a7c, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowset : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddRefRows(DBCOUNTITEM cRows, const HROW rghRows[],
                                                 DBREFCOUNT rgRefCounts[],
                                                 DBROWSTATUS rgRowStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetData(HROW hRow, HACCESSOR hAccessor, void* pData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER hReserved, DBROWOFFSET lRowsOffset,
                                                  DBROWCOUNT cRows, DBCOUNTITEM* pcRowsObtained,
                                                  HROW** prghRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM cRows, const HROW rghRows[],
                                                  DBROWOPTIONS rgRowOptions[],
                                                  DBREFCOUNT rgRefCounts[],
                                                  DBROWSTATUS rgRowStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE RestartPosition(HCHAPTER hReserved) = 0;
};

inline constexpr IID IID_IRowsetInfo = {
    0x0c733a55, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProperties(const ULONG cPropertyIDSets,
                                                    const DBPROPIDSET rgPropertyIDSets[],
                                                    ULONG* pcPropertySets,
                                                    DBPROPSET** prgPropertySets) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReferencedRowset(DBORDINAL iOrdinal, REFIID riid,
                                                          IUnknown** ppReferencedRowset) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSpecification(REFIID riid, IUnknown** ppSpecification) = 0;
};

inline constexpr IID IID_IRowsetLocate = {
    0x0c733a7d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetLocate : public IRowset {
    virtual HRESULT STDMETHODCALLTYPE Compare(HCHAPTER hReserved, DBBKMARK cbBookmark1,
                                              const BYTE* pBookmark1, DBBKMARK cbBookmark2,
                                              const BYTE* pBookmark2, DBCOMPARE* pComparison) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowsAt(HWATCHREGION hReserved1, HCHAPTER hReserved2,
                                                DBBKMARK cbBookmark, const BYTE* pBookmark,
                                                DBROWOFFSET lRowsOffset, DBROWCOUNT cRows,
                                                DBCOUNTITEM* pcRowsObtained, HROW** prghRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowsByBookmark(HCHAPTER hReserved, DBCOUNTITEM cRows,
                                                        const DBBKMARK rgcbBookmarks[],
                                                        const BYTE* rgpBookmarks[], HROW rghRows[],
                                                        DBROWSTATUS rgRowStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE Hash(HCHAPTER hReserved, DBBKMARK cBookmarks,
                                           const DBBKMARK rgcbBookmarks[],
                                           const BYTE* rgpBookmarks[], DBHASHVALUE rgHashedValues[],
                                           DBROWSTATUS rgBookmarkStatus[]) = 0;
};

inline constexpr IID IID_IRowsetScroll = {
    0x0c733a7e, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetScroll : public IRowsetLocate {
    virtual HRESULT STDMETHODCALLTYPE GetApproximatePosition(HCHAPTER hReserved,
                                                             DBBKMARK cbBookmark,
                                                             const BYTE* pBookmark,
                                                             DBCOUNTITEM* pulPosition,
                                                             DBCOUNTITEM* pcRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowsAtRatio(HWATCHREGION hReserved1, HCHAPTER hReserved2,
                                                     DBCOUNTITEM ulNumerator,
                                                     DBCOUNTITEM ulDenominator, DBROWCOUNT cRows,
                                                     DBCOUNTITEM* pcRowsObtained,
                                                     HROW** prghRows) = 0;
};

inline constexpr IID IID_IRowsetChange = {
    0x0c733a05, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetChange : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeleteRows(HCHAPTER hReserved, DBCOUNTITEM cRows,
                                                 const HROW rghRows[],
                                                 DBROWSTATUS rgRowStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetData(HROW hRow, HACCESSOR hAccessor, void* pData) = 0;
    virtual HRESULT STDMETHODCALLTYPE InsertRow(HCHAPTER hReserved, HACCESSOR hAccessor,
                                                void* pData, HROW* phRow) = 0;
};

// Changes made through IRowsetChange stay pending until Update (delayed
// update mode, DBPROP_IRowsetUpdate).
inline constexpr IID IID_IRowsetUpdate = {
    0x0c733a6d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetUpdate : public IRowsetChange {
    virtual HRESULT STDMETHODCALLTYPE GetOriginalData(HROW hRow, HACCESSOR hAccessor,
                                                      void* pData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPendingRows(HCHAPTER hReserved,
                                                     DBPENDINGSTATUS dwRowStatus,
                                                     DBCOUNTITEM* pcPendingRows,
                                                     HROW** prgPendingRows,
                                                     DBPENDINGSTATUS** prgPendingStatus) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowStatus(HCHAPTER hReserved, DBCOUNTITEM cRows,
                                                   const HROW rghRows[],
                                                   DBPENDINGSTATUS rgPendingStatus[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE Undo(HCHAPTER hReserved, DBCOUNTITEM cRows,
                                           const HROW rghRows[], DBCOUNTITEM* pcRowsUndone,
                                           HROW** prgRowsUndone, DBROWSTATUS** prgRowStatus) = 0;
    virtual HRESULT STDMETHODCALLTYPE Update(HCHAPTER hReserved, DBCOUNTITEM cRows,
                                             const HROW rghRows[], DBCOUNTITEM* pcRows,
                                             HROW** prgRows, DBROWSTATUS** prgRowStatus) = 0;
};

inline constexpr IID IID_IRowsetIdentity = {
    0x0c733a09, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetIdentity : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE IsSameRow(HROW hThisRow, HROW hThatRow) = 0;
};

inline constexpr IID IID_IRowsetIndex = {
    0x0c733a82, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IRowsetIndex : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetIndexInfo(DBORDINAL* pcKeyColumns,
                                                   DBINDEXCOLUMNDESC** prgIndexColumnDesc,
                                                   ULONG* pcIndexPropertySets,
                                                   DBPROPSET** prgIndexPropertySets) = 0;
    virtual HRESULT STDMETHODCALLTYPE Seek(HACCESSOR hAccessor, DBORDINAL cKeyValues, void* pData,
                                           DBSEEK dwSeekOptions) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetRange(HACCESSOR hAccessor, DBORDINAL cStartKeyColumns,
                                               void* pStartData, DBORDINAL cEndKeyColumns,
                                               void* pEndData, DBRANGE dwRangeOptions) = 0;
};

inline constexpr IID IID_IChapteredRowset = {
    0x0c733a93, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IChapteredRowset : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddRefChapter(HCHAPTER hChapter, DBREFCOUNT* pcRefCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseChapter(HCHAPTER hChapter, DBREFCOUNT* pcRefCount) = 0;
};

#pragma pack(pop)
#pragma GCC diagnostic pop
