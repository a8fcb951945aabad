// The SQL Server provider's own declarations: its class ids, property sets and
// property ids, its error details and the fast-load rowset. Providers of this
// project that serve these interfaces or property sets answer them with the
// same ids, so the library needs no second spelling.
//
// Portable: on Linux hdbplatform/SqlOleDb.h includes it; on Windows
// hdbplatform/OleDbApi.h includes it in place of the system's sqloledb.h when
// building with mingw-w64, whose sqloledb.h does not compile as C++
// (conflicting linkage of its GUID declarations, type definitions inside an
// anonymous union).
#pragma once

#ifdef _WIN32
#include <windows.h>
#include <oledb.h>
#else
#include "hdbplatform/OleDb.h"
#endif

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

inline constexpr CLSID CLSID_SQLOLEDB = {
    0x0c7ff16c, 0x38e3, 0x11d0, {0x97, 0xab, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr CLSID CLSID_SQLOLEDB_ENUMERATOR = {
    0xdfa22b8e, 0xe68d, 0x11d0, {0x97, 0xe4, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr CLSID CLSID_SQLOLEDB_ERROR = {
    0xc0932c62, 0x38e5, 0x11d0, {0x97, 0xab, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};

// ---------------------------------------------------------------- property sets

inline constexpr GUID DBPROPSET_SQLSERVERCOLUMN = {
    0x3b63fb5e, 0x3fbb, 0x11d3, {0x9f, 0x29, 0x00, 0xc0, 0x4f, 0x8e, 0xe9, 0xdc}};
inline constexpr GUID DBPROPSET_SQLSERVERDATASOURCE = {
    0x28efaee4, 0x2d2c, 0x11d1, {0x98, 0x07, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr GUID DBPROPSET_SQLSERVERDATASOURCEINFO = {
    0xdf10cb94, 0x35f6, 0x11d2, {0x9c, 0x54, 0x00, 0xc0, 0x4f, 0x79, 0x71, 0xd3}};
inline constexpr GUID DBPROPSET_SQLSERVERDBINIT = {
    0x5cf4ca10, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr GUID DBPROPSET_SQLSERVERROWSET = {
    0x5cf4ca11, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr GUID DBPROPSET_SQLSERVERSESSION = {
    0x28efaee5, 0x2d2c, 0x11d1, {0x98, 0x07, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr GUID DBPROPSET_SQLSERVERSTREAM = {
    0x9f79c073, 0x8a6d, 0x4bca, {0xa8, 0xa8, 0xc9, 0xb7, 0x9a, 0x9b, 0x96, 0x2d}};

// DBPROPSET_SQLSERVERDATASOURCE
inline constexpr DBPROPID SSPROP_ENABLEFASTLOAD = 2;

// DBPROPSET_SQLSERVERDATASOURCEINFO
inline constexpr DBPROPID SSPROP_UNICODELCID = 2;
inline constexpr DBPROPID SSPROP_UNICODECOMPARISONSTYLE = 3;
inline constexpr DBPROPID SSPROP_COLUMNLEVELCOLLATION = 4;
inline constexpr DBPROPID SSPROP_CHARACTERSET = 5;
inline constexpr DBPROPID SSPROP_SORTORDER = 6;
inline constexpr DBPROPID SSPROP_CURRENTCOLLATION = 7;

// DBPROPSET_SQLSERVERDBINIT
inline constexpr DBPROPID SSPROP_INIT_CURRENTLANGUAGE = 4;
inline constexpr DBPROPID SSPROP_INIT_NETWORKADDRESS = 5;
inline constexpr DBPROPID SSPROP_INIT_NETWORKLIBRARY = 6;
inline constexpr DBPROPID SSPROP_INIT_USEPROCFORPREP = 7;
inline constexpr DBPROPID SSPROP_INIT_AUTOTRANSLATE = 8;
inline constexpr DBPROPID SSPROP_INIT_PACKETSIZE = 9;
inline constexpr DBPROPID SSPROP_INIT_APPNAME = 10;
inline constexpr DBPROPID SSPROP_INIT_WSID = 11;
inline constexpr DBPROPID SSPROP_INIT_FILENAME = 12;
inline constexpr DBPROPID SSPROP_INIT_ENCRYPT = 13;
inline constexpr DBPROPID SSPROP_AUTH_REPL_SERVER_NAME = 14;
inline constexpr DBPROPID SSPROP_INIT_TAGCOLUMNCOLLATION = 15;

// Values of SSPROP_INIT_USEPROCFORPREP.
inline constexpr LONG SSPROPVAL_USEPROCFORPREP_OFF = 0;
inline constexpr LONG SSPROPVAL_USEPROCFORPREP_ON = 1;
inline constexpr LONG SSPROPVAL_USEPROCFORPREP_ON_DROP = 2;

// DBPROPSET_SQLSERVERSESSION
inline constexpr DBPROPID SSPROP_QUOTEDCATALOGNAMES = 2;
inline constexpr DBPROPID SSPROP_ALLOWNATIVEVARIANT = 3;
inline constexpr DBPROPID SSPROP_SQLXMLXPROGID = 4;

// DBPROPSET_SQLSERVERROWSET. SSPROP_IRowsetFastLoad asks IOpenRowset for a
// fast-load rowset; SSPROP_FASTLOADOPTIONS (VT_BSTR) carries the bulk-copy
// hints ("TABLOCK", "ROWS_PER_BATCH = n" ...).
inline constexpr DBPROPID SSPROP_MAXBLOBLENGTH = 8;
inline constexpr DBPROPID SSPROP_FASTLOADOPTIONS = 9;
inline constexpr DBPROPID SSPROP_FASTLOADKEEPNULLS = 10;
inline constexpr DBPROPID SSPROP_FASTLOADKEEPIDENTITY = 11;
inline constexpr DBPROPID SSPROP_CURSORAUTOFETCH = 12;
inline constexpr DBPROPID SSPROP_DEFERPREPARE = 13;
inline constexpr DBPROPID SSPROP_IRowsetFastLoad = 14;

// DBPROPSET_SQLSERVERCOLUMN
inline constexpr DBPROPID SSPROP_COL_COLLATIONNAME = 14;

// DBPROPSET_SQLSERVERSTREAM
inline constexpr DBPROPID SSPROP_STREAM_MAPPINGSCHEMA = 15;
inline constexpr DBPROPID SSPROP_STREAM_XSL = 16;
inline constexpr DBPROPID SSPROP_STREAM_BASEPATH = 17;
inline constexpr DBPROPID SSPROP_STREAM_COMMANDTYPE = 18;
inline constexpr DBPROPID SSPROP_STREAM_XMLROOT = 19;
inline constexpr DBPROPID SSPROP_STREAM_FLAGS = 20;
inline constexpr DBPROPID SSPROP_STREAM_CONTENTTYPE = 23;

inline constexpr LONG SSPROPVAL_COMMANDTYPE_REGULAR = 21;
inline constexpr LONG SSPROPVAL_COMMANDTYPE_BULKLOAD = 22;

// The server's sql_variant as a column type.
inline constexpr DBTYPE DBTYPE_SQLVARIANT = 144;

// Linked servers as a schema rowset (one restriction: the server name).
inline constexpr GUID DBSCHEMA_LINKEDSERVERS = {
    0x9093caf4, 0x2eac, 0x11d1, {0x98, 0x09, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
inline constexpr ULONG CRESTRICTIONS_DBSCHEMA_LINKEDSERVERS = 1;

// ---------------------------------------------------------------- errors

// The server's own view of one error record: message, server and procedure
// names, native number, state, severity class and line.
struct SSERRORINFO {
    LPOLESTR pwszMessage;
    LPOLESTR pwszServer;
    LPOLESTR pwszProcedure;
    LONG lNative;
    BYTE bState;
    BYTE bClass;
    WORD wLineNumber;
};
static_assert(sizeof(SSERRORINFO) == 32);

// *ppErrorInfo and *ppStringsBuffer are freed by the caller with the task
// allocator; the names point into the strings buffer.
inline constexpr IID IID_ISQLServerErrorInfo = {
    0x5cf4ca12, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
struct ISQLServerErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetErrorInfo(SSERRORINFO** ppErrorInfo,
                                                   OLECHAR** ppStringsBuffer) = 0;
};

// ---------------------------------------------------------------- fast load

// A write-only rowset over one table: InsertRow queues a row laid out by an
// accessor of the rowset, Commit(TRUE) writes what is queued and ends the load,
// Commit(FALSE) writes it and keeps the rowset open for more rows.
inline constexpr IID IID_IRowsetFastLoad = {
    0x5cf4ca13, 0xef21, 0x11d0, {0x97, 0xe7, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};
struct IRowsetFastLoad : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE InsertRow(HACCESSOR hAccessor, void* pData) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(BOOL fDone) = 0;
};

#pragma GCC diagnostic pop
