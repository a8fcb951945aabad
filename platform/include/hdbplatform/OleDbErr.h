// Result codes of the OLE DB interfaces, for Linux builds.
//
// Every code is a typed HRESULT constant rather than a macro, so that
// `hr == DB_E_CANCELED` compares two signed 32-bit values here exactly as it
// does on Windows, and a code can be passed where an HRESULT is expected
// without a cast. Values are the published ones; they are ordered by value.
#pragma once

#ifdef _WIN32
#error "hdbplatform/OleDbErr.h is for Linux builds; include hdbplatform/OleDbApi.h"
#endif

#include "hdbplatform/WinTypes.h"

// The version of the OLE DB interfaces these declarations describe.
#ifndef OLEDBVER
#define OLEDBVER 0x0270
#endif

inline constexpr ULONG FACILITY_WINDOWS = 8;

// ---------------------------------------------------------------- failures

inline constexpr HRESULT DB_E_BADACCESSORHANDLE = HResultOf(0x80040E00);
inline constexpr HRESULT DB_E_ROWLIMITEXCEEDED = HResultOf(0x80040E01);
inline constexpr HRESULT DB_E_READONLYACCESSOR = HResultOf(0x80040E02);
inline constexpr HRESULT DB_E_SCHEMAVIOLATION = HResultOf(0x80040E03);
inline constexpr HRESULT DB_E_BADROWHANDLE = HResultOf(0x80040E04);
inline constexpr HRESULT DB_E_OBJECTOPEN = HResultOf(0x80040E05);
inline constexpr HRESULT DB_E_BADCHAPTER = HResultOf(0x80040E06);
inline constexpr HRESULT DB_E_CANTCONVERTVALUE = HResultOf(0x80040E07);
inline constexpr HRESULT DB_E_BADBINDINFO = HResultOf(0x80040E08);
inline constexpr HRESULT DB_E_NOTAREFERENCECOLUMN = HResultOf(0x80040E0A);
inline constexpr HRESULT DB_E_LIMITREJECTED = HResultOf(0x80040E0B);
inline constexpr HRESULT DB_E_NOCOMMAND = HResultOf(0x80040E0C);
inline constexpr HRESULT DB_E_COSTLIMIT = HResultOf(0x80040E0D);
inline constexpr HRESULT DB_E_BADBOOKMARK = HResultOf(0x80040E0E);
inline constexpr HRESULT DB_E_BADLOCKMODE = HResultOf(0x80040E0F);
inline constexpr HRESULT DB_E_PARAMNOTOPTIONAL = HResultOf(0x80040E10);
inline constexpr HRESULT DB_E_BADCOLUMNID = HResultOf(0x80040E11);
inline constexpr HRESULT DB_E_BADRATIO = HResultOf(0x80040E12);
inline constexpr HRESULT DB_E_BADVALUES = HResultOf(0x80040E13);
inline constexpr HRESULT DB_E_ERRORSINCOMMAND = HResultOf(0x80040E14);
inline constexpr HRESULT DB_E_CANTCANCEL = HResultOf(0x80040E15);
inline constexpr HRESULT DB_E_DIALECTNOTSUPPORTED = HResultOf(0x80040E16);
inline constexpr HRESULT DB_E_DUPLICATEDATASOURCE = HResultOf(0x80040E17);
inline constexpr HRESULT DB_E_CANNOTRESTART = HResultOf(0x80040E18);
inline constexpr HRESULT DB_E_NOTFOUND = HResultOf(0x80040E19);
inline constexpr HRESULT DB_E_CANNOTFREE = HResultOf(0x80040E1A);
inline constexpr HRESULT DB_E_NEWLYINSERTED = HResultOf(0x80040E1B);
inline constexpr HRESULT DB_E_GOALREJECTED = HResultOf(0x80040E1C);
inline constexpr HRESULT DB_E_UNSUPPORTEDCONVERSION = HResultOf(0x80040E1D);
inline constexpr HRESULT DB_E_BADSTARTPOSITION = HResultOf(0x80040E1E);
inline constexpr HRESULT DB_E_NOQUERY = HResultOf(0x80040E1F);
inline constexpr HRESULT DB_E_NOTREENTRANT = HResultOf(0x80040E20);
inline constexpr HRESULT DB_E_ERRORSOCCURRED = HResultOf(0x80040E21);
inline constexpr HRESULT DB_E_NOAGGREGATION = HResultOf(0x80040E22);
inline constexpr HRESULT DB_E_DELETEDROW = HResultOf(0x80040E23);
inline constexpr HRESULT DB_E_CANTFETCHBACKWARDS = HResultOf(0x80040E24);
inline constexpr HRESULT DB_E_ROWSNOTRELEASED = HResultOf(0x80040E25);
inline constexpr HRESULT DB_E_BADSTORAGEFLAG = HResultOf(0x80040E26);
inline constexpr HRESULT DB_E_BADCOMPAREOP = HResultOf(0x80040E27);
inline constexpr HRESULT DB_E_BADSTATUSVALUE = HResultOf(0x80040E28);
inline constexpr HRESULT DB_E_CANTSCROLLBACKWARDS = HResultOf(0x80040E29);
inline constexpr HRESULT DB_E_BADREGIONHANDLE = HResultOf(0x80040E2A);
inline constexpr HRESULT DB_E_NONCONTIGUOUSRANGE = HResultOf(0x80040E2B);
inline constexpr HRESULT DB_E_INVALIDTRANSITION = HResultOf(0x80040E2C);
inline constexpr HRESULT DB_E_NOTASUBREGION = HResultOf(0x80040E2D);
inline constexpr HRESULT DB_E_MULTIPLESTATEMENTS = HResultOf(0x80040E2E);
inline constexpr HRESULT DB_E_INTEGRITYVIOLATION = HResultOf(0x80040E2F);
inline constexpr HRESULT DB_E_BADTYPENAME = HResultOf(0x80040E30);
inline constexpr HRESULT DB_E_ABORTLIMITREACHED = HResultOf(0x80040E31);
inline constexpr HRESULT DB_E_ROWSETINCOMMAND = HResultOf(0x80040E32);
inline constexpr HRESULT DB_E_CANTTRANSLATE = HResultOf(0x80040E33);
inline constexpr HRESULT DB_E_DUPLICATEINDEXID = HResultOf(0x80040E34);
inline constexpr HRESULT DB_E_NOINDEX = HResultOf(0x80040E35);
inline constexpr HRESULT DB_E_INDEXINUSE = HResultOf(0x80040E36);
inline constexpr HRESULT DB_E_NOTABLE = HResultOf(0x80040E37);
inline constexpr HRESULT DB_E_CONCURRENCYVIOLATION = HResultOf(0x80040E38);
inline constexpr HRESULT DB_E_BADCOPY = HResultOf(0x80040E39);
inline constexpr HRESULT DB_E_BADPRECISION = HResultOf(0x80040E3A);
inline constexpr HRESULT DB_E_BADSCALE = HResultOf(0x80040E3B);
inline constexpr HRESULT DB_E_BADTABLEID = HResultOf(0x80040E3C);
inline constexpr HRESULT DB_E_BADTYPE = HResultOf(0x80040E3D);
inline constexpr HRESULT DB_E_DUPLICATECOLUMNID = HResultOf(0x80040E3E);
inline constexpr HRESULT DB_E_DUPLICATETABLEID = HResultOf(0x80040E3F);
inline constexpr HRESULT DB_E_TABLEINUSE = HResultOf(0x80040E40);
inline constexpr HRESULT DB_E_NOLOCALE = HResultOf(0x80040E41);
inline constexpr HRESULT DB_E_BADRECORDNUM = HResultOf(0x80040E42);
inline constexpr HRESULT DB_E_BOOKMARKSKIPPED = HResultOf(0x80040E43);
inline constexpr HRESULT DB_E_BADPROPERTYVALUE = HResultOf(0x80040E44);
inline constexpr HRESULT DB_E_INVALID = HResultOf(0x80040E45);
inline constexpr HRESULT DB_E_BADACCESSORFLAGS = HResultOf(0x80040E46);
inline constexpr HRESULT DB_E_BADSTORAGEFLAGS = HResultOf(0x80040E47);
inline constexpr HRESULT DB_E_BYREFACCESSORNOTSUPPORTED = HResultOf(0x80040E48);
inline constexpr HRESULT DB_E_NULLACCESSORNOTSUPPORTED = HResultOf(0x80040E49);
inline constexpr HRESULT DB_E_NOTPREPARED = HResultOf(0x80040E4A);
inline constexpr HRESULT DB_E_BADACCESSORTYPE = HResultOf(0x80040E4B);
inline constexpr HRESULT DB_E_WRITEONLYACCESSOR = HResultOf(0x80040E4C);
inline constexpr HRESULT DB_E_CANCELED = HResultOf(0x80040E4E);
inline constexpr HRESULT DB_E_CHAPTERNOTRELEASED = HResultOf(0x80040E4F);
inline constexpr HRESULT DB_E_BADSOURCEHANDLE = HResultOf(0x80040E50);
inline constexpr HRESULT DB_E_PARAMUNAVAILABLE = HResultOf(0x80040E51);
inline constexpr HRESULT DB_E_ALREADYINITIALIZED = HResultOf(0x80040E52);
inline constexpr HRESULT DB_E_NOTSUPPORTED = HResultOf(0x80040E53);
inline constexpr HRESULT DB_E_MAXPENDCHANGESEXCEEDED = HResultOf(0x80040E54);
inline constexpr HRESULT DB_E_BADORDINAL = HResultOf(0x80040E55);
inline constexpr HRESULT DB_E_PENDINGCHANGES = HResultOf(0x80040E56);
inline constexpr HRESULT DB_E_DATAOVERFLOW = HResultOf(0x80040E57);
inline constexpr HRESULT DB_E_BADHRESULT = HResultOf(0x80040E58);
inline constexpr HRESULT DB_E_BADLOOKUPID = HResultOf(0x80040E59);
inline constexpr HRESULT DB_E_BADDYNAMICERRORID = HResultOf(0x80040E5A);
inline constexpr HRESULT DB_E_PENDINGINSERT = HResultOf(0x80040E5B);
inline constexpr HRESULT DB_E_BADCONVERTFLAG = HResultOf(0x80040E5C);
inline constexpr HRESULT DB_E_BADPARAMETERNAME = HResultOf(0x80040E5D);
inline constexpr HRESULT DB_E_MULTIPLESTORAGE = HResultOf(0x80040E5E);
inline constexpr HRESULT DB_E_CANTFILTER = HResultOf(0x80040E5F);
inline constexpr HRESULT DB_E_CANTORDER = HResultOf(0x80040E60);
inline constexpr HRESULT DB_E_NOCOLUMN = HResultOf(0x80040E65);
inline constexpr HRESULT DB_E_COMMANDNOTPERSISTED = HResultOf(0x80040E67);
inline constexpr HRESULT DB_E_DUPLICATEID = HResultOf(0x80040E68);
inline constexpr HRESULT DB_E_OBJECTCREATIONLIMITREACHED = HResultOf(0x80040E69);
inline constexpr HRESULT DB_E_BADINDEXID = HResultOf(0x80040E72);
inline constexpr HRESULT DB_E_BADINITSTRING = HResultOf(0x80040E73);
inline constexpr HRESULT DB_E_NOPROVIDERSREGISTERED = HResultOf(0x80040E74);
inline constexpr HRESULT DB_E_MISMATCHEDPROVIDER = HResultOf(0x80040E75);
inline constexpr HRESULT DB_E_BADCOMMANDID = HResultOf(0x80040E76);
inline constexpr HRESULT DB_E_BADCONSTRAINTTYPE = HResultOf(0x80040E77);
inline constexpr HRESULT DB_E_BADCONSTRAINTFORM = HResultOf(0x80040E78);
inline constexpr HRESULT DB_E_BADDEFERRABILITY = HResultOf(0x80040E79);
inline constexpr HRESULT DB_E_BADMATCHTYPE = HResultOf(0x80040E80);
inline constexpr HRESULT DB_E_BADUPDATEDELETERULE = HResultOf(0x80040E8A);
inline constexpr HRESULT DB_E_BADCONSTRAINTID = HResultOf(0x80040E8B);
inline constexpr HRESULT DB_E_BADCOMMANDFLAGS = HResultOf(0x80040E8C);
inline constexpr HRESULT DB_E_OBJECTMISMATCH = HResultOf(0x80040E8D);
inline constexpr HRESULT DB_E_RESOURCEOUTOFSCOPE = HResultOf(0x80040E8E);
inline constexpr HRESULT DB_E_DROPRESTRICTED = HResultOf(0x80040E90);
inline constexpr HRESULT DB_E_NOSOURCEOBJECT = HResultOf(0x80040E91);
inline constexpr HRESULT DB_E_RESOURCELOCKED = HResultOf(0x80040E92);
inline constexpr HRESULT DB_E_NOTCOLLECTION = HResultOf(0x80040E93);
inline constexpr HRESULT DB_E_READONLY = HResultOf(0x80040E94);
inline constexpr HRESULT DB_E_ASYNCNOTSUPPORTED = HResultOf(0x80040E95);
inline constexpr HRESULT DB_E_CANNOTCONNECT = HResultOf(0x80040E96);
inline constexpr HRESULT DB_E_TIMEOUT = HResultOf(0x80040E97);
inline constexpr HRESULT DB_E_RESOURCEEXISTS = HResultOf(0x80040E98);
inline constexpr HRESULT DB_E_DUPLICATECONSTRAINTID = HResultOf(0x80040E99);
inline constexpr HRESULT DB_E_OUTOFSPACE = HResultOf(0x80040E9A);
inline constexpr HRESULT DB_E_NOSTATISTIC = HResultOf(0x80040E9C);
inline constexpr HRESULT DB_E_ALTERRESTRICTED = HResultOf(0x80040E9D);
inline constexpr HRESULT DB_E_RESOURCENOTSUPPORTED = HResultOf(0x80040E9E);
inline constexpr HRESULT DB_E_NOCONSTRAINT = HResultOf(0x80040E9F);
inline constexpr HRESULT DB_E_COLUMNUNAVAILABLE = HResultOf(0x80040EA0);
inline constexpr HRESULT DB_E_BADID = DB_E_BADTABLEID; // the older name of the same code

// Multidimensional data (accepted from providers, never produced here).
inline constexpr HRESULT MD_E_BADTUPLE = HResultOf(0x80040E61);
inline constexpr HRESULT MD_E_BADCOORDINATE = HResultOf(0x80040E62);
inline constexpr HRESULT MD_E_INVALIDAXIS = HResultOf(0x80040E63);
inline constexpr HRESULT MD_E_INVALIDCELLRANGE = HResultOf(0x80040E64);

// ---------------------------------------------------------------- security

inline constexpr HRESULT DB_SEC_E_PERMISSIONDENIED = HResultOf(0x80040E09);
inline constexpr HRESULT DB_SEC_E_AUTH_FAILED = HResultOf(0x80040E4D);
inline constexpr HRESULT SEC_E_BADTRUSTEEID = HResultOf(0x80040E6A);
inline constexpr HRESULT SEC_E_NOTRUSTEEID = HResultOf(0x80040E6B);
inline constexpr HRESULT SEC_E_NOMEMBERSHIPSUPPORT = HResultOf(0x80040E6C);
inline constexpr HRESULT SEC_E_INVALIDOBJECT = HResultOf(0x80040E6D);
inline constexpr HRESULT SEC_E_NOOWNER = HResultOf(0x80040E6E);
inline constexpr HRESULT SEC_E_INVALIDACCESSENTRYLIST = HResultOf(0x80040E6F);
inline constexpr HRESULT SEC_E_INVALIDOWNER = HResultOf(0x80040E70);
inline constexpr HRESULT SEC_E_INVALIDACCESSENTRY = HResultOf(0x80040E71);
inline constexpr HRESULT DB_SEC_E_SAFEMODE_DENIED = HResultOf(0x80040E9B);
inline constexpr HRESULT SEC_E_PERMISSIONDENIED = DB_SEC_E_PERMISSIONDENIED;

// ---------------------------------------------------------------- successes
// Positive: SUCCEEDED() holds, yet each tells the caller something went
// differently from the plain S_OK case (DB_S_ERRORSOCCURRED above all).

inline constexpr HRESULT DB_S_ROWLIMITEXCEEDED = HResultOf(0x00040EC0);
inline constexpr HRESULT DB_S_COLUMNTYPEMISMATCH = HResultOf(0x00040EC1);
inline constexpr HRESULT DB_S_TYPEINFOOVERRIDDEN = HResultOf(0x00040EC2);
inline constexpr HRESULT DB_S_BOOKMARKSKIPPED = HResultOf(0x00040EC3);
inline constexpr HRESULT DB_S_NONEXTROWSET = HResultOf(0x00040EC5);
inline constexpr HRESULT DB_S_ENDOFROWSET = HResultOf(0x00040EC6);
inline constexpr HRESULT DB_S_COMMANDREEXECUTED = HResultOf(0x00040EC7);
inline constexpr HRESULT DB_S_BUFFERFULL = HResultOf(0x00040EC8);
inline constexpr HRESULT DB_S_NORESULT = HResultOf(0x00040EC9);
inline constexpr HRESULT DB_S_CANTRELEASE = HResultOf(0x00040ECA);
inline constexpr HRESULT DB_S_GOALCHANGED = HResultOf(0x00040ECB);
inline constexpr HRESULT DB_S_UNWANTEDOPERATION = HResultOf(0x00040ECC);
inline constexpr HRESULT DB_S_DIALECTIGNORED = HResultOf(0x00040ECD);
inline constexpr HRESULT DB_S_UNWANTEDPHASE = HResultOf(0x00040ECE);
inline constexpr HRESULT DB_S_UNWANTEDREASON = HResultOf(0x00040ECF);
inline constexpr HRESULT DB_S_ASYNCHRONOUS = HResultOf(0x00040ED0);
inline constexpr HRESULT DB_S_COLUMNSCHANGED = HResultOf(0x00040ED1);
inline constexpr HRESULT DB_S_ERRORSRETURNED = HResultOf(0x00040ED2);
inline constexpr HRESULT DB_S_BADROWHANDLE = HResultOf(0x00040ED3);
inline constexpr HRESULT DB_S_DELETEDROW = HResultOf(0x00040ED4);
inline constexpr HRESULT DB_S_TOOMANYCHANGES = HResultOf(0x00040ED5);
inline constexpr HRESULT DB_S_STOPLIMITREACHED = HResultOf(0x00040ED6);
inline constexpr HRESULT DB_S_NOTSINGLETON = HResultOf(0x00040ED7);
inline constexpr HRESULT DB_S_LOCKUPGRADED = HResultOf(0x00040ED8);
inline constexpr HRESULT DB_S_PROPERTIESCHANGED = HResultOf(0x00040ED9);
inline constexpr HRESULT DB_S_ERRORSOCCURRED = HResultOf(0x00040EDA);
inline constexpr HRESULT DB_S_PARAMUNAVAILABLE = HResultOf(0x00040EDB);
inline constexpr HRESULT DB_S_MULTIPLECHANGES = HResultOf(0x00040EDC);
inline constexpr HRESULT DB_S_NOROWSPECIFICCOLUMNS = HResultOf(0x00040EDD);
// ---------------------------------------------------------------- transactions
// Answers of ITransaction and ITransactionLocal.

inline constexpr HRESULT XACT_E_ALREADYOTHERSINGLEPHASE = HResultOf(0x8004D000);
inline constexpr HRESULT XACT_E_CANTRETAIN = HResultOf(0x8004D001);
inline constexpr HRESULT XACT_E_COMMITFAILED = HResultOf(0x8004D002);
inline constexpr HRESULT XACT_E_COMMITPREVENTED = HResultOf(0x8004D003);
inline constexpr HRESULT XACT_E_HEURISTICABORT = HResultOf(0x8004D004);
inline constexpr HRESULT XACT_E_HEURISTICCOMMIT = HResultOf(0x8004D005);
inline constexpr HRESULT XACT_E_HEURISTICDAMAGE = HResultOf(0x8004D006);
inline constexpr HRESULT XACT_E_HEURISTICDANGER = HResultOf(0x8004D007);
inline constexpr HRESULT XACT_E_ISOLATIONLEVEL = HResultOf(0x8004D008);
inline constexpr HRESULT XACT_E_NOASYNC = HResultOf(0x8004D009);
inline constexpr HRESULT XACT_E_NOENLIST = HResultOf(0x8004D00A);
inline constexpr HRESULT XACT_E_NOISORETAIN = HResultOf(0x8004D00B);
inline constexpr HRESULT XACT_E_NORESOURCE = HResultOf(0x8004D00C);
inline constexpr HRESULT XACT_E_NOTCURRENT = HResultOf(0x8004D00D);
inline constexpr HRESULT XACT_E_NOTRANSACTION = HResultOf(0x8004D00E);
inline constexpr HRESULT XACT_E_NOTSUPPORTED = HResultOf(0x8004D00F);
inline constexpr HRESULT XACT_E_UNKNOWNRMGRID = HResultOf(0x8004D010);
inline constexpr HRESULT XACT_E_WRONGSTATE = HResultOf(0x8004D011);
inline constexpr HRESULT XACT_E_WRONGUOW = HResultOf(0x8004D012);
inline constexpr HRESULT XACT_E_XTIONEXISTS = HResultOf(0x8004D013);
inline constexpr HRESULT XACT_E_NOIMPORTOBJECT = HResultOf(0x8004D014);
inline constexpr HRESULT XACT_E_INVALIDCOOKIE = HResultOf(0x8004D015);
inline constexpr HRESULT XACT_E_INDOUBT = HResultOf(0x8004D016);
inline constexpr HRESULT XACT_E_NOTIMEOUT = HResultOf(0x8004D017);
inline constexpr HRESULT XACT_E_ALREADYINPROGRESS = HResultOf(0x8004D018);
inline constexpr HRESULT XACT_E_ABORTED = HResultOf(0x8004D019);
inline constexpr HRESULT XACT_E_LOGFULL = HResultOf(0x8004D01A);
inline constexpr HRESULT XACT_E_TMNOTAVAILABLE = HResultOf(0x8004D01B);
inline constexpr HRESULT XACT_E_CONNECTION_DOWN = HResultOf(0x8004D01C);
inline constexpr HRESULT XACT_E_CONNECTION_DENIED = HResultOf(0x8004D01D);
inline constexpr HRESULT XACT_E_REENLISTTIMEOUT = HResultOf(0x8004D01E);
inline constexpr HRESULT XACT_E_TIP_CONNECT_FAILED = HResultOf(0x8004D01F);
inline constexpr HRESULT XACT_E_TIP_PROTOCOL_ERROR = HResultOf(0x8004D020);
inline constexpr HRESULT XACT_E_TIP_PULL_FAILED = HResultOf(0x8004D021);
inline constexpr HRESULT XACT_E_DEST_TMNOTAVAILABLE = HResultOf(0x8004D022);
inline constexpr HRESULT XACT_E_TIP_DISABLED = HResultOf(0x8004D023);
inline constexpr HRESULT XACT_E_NETWORK_TX_DISABLED = HResultOf(0x8004D024);
inline constexpr HRESULT XACT_E_PARTNER_NETWORK_TX_DISABLED = HResultOf(0x8004D025);
inline constexpr HRESULT XACT_E_XA_TX_DISABLED = HResultOf(0x8004D026);
inline constexpr HRESULT XACT_E_UNABLE_TO_READ_DTC_CONFIG = HResultOf(0x8004D027);
inline constexpr HRESULT XACT_E_UNABLE_TO_LOAD_DTC_PROXY = HResultOf(0x8004D028);
inline constexpr HRESULT XACT_E_ABORTING = HResultOf(0x8004D029);
inline constexpr HRESULT XACT_E_CLERKNOTFOUND = HResultOf(0x8004D080);
inline constexpr HRESULT XACT_E_CLERKEXISTS = HResultOf(0x8004D081);
inline constexpr HRESULT XACT_E_RECOVERYINPROGRESS = HResultOf(0x8004D082);
inline constexpr HRESULT XACT_E_TRANSACTIONCLOSED = HResultOf(0x8004D083);
inline constexpr HRESULT XACT_E_INVALIDLSN = HResultOf(0x8004D084);
inline constexpr HRESULT XACT_E_REPLAYREQUEST = HResultOf(0x8004D085);
inline constexpr HRESULT XACT_S_ASYNC = HResultOf(0x0004D000);
inline constexpr HRESULT XACT_S_DEFECT = HResultOf(0x0004D001);
inline constexpr HRESULT XACT_S_READONLY = HResultOf(0x0004D002);
inline constexpr HRESULT XACT_S_SOMENORETAIN = HResultOf(0x0004D003);
inline constexpr HRESULT XACT_S_OKINFORM = HResultOf(0x0004D004);
inline constexpr HRESULT XACT_S_MADECHANGESCONTENT = HResultOf(0x0004D005);
inline constexpr HRESULT XACT_S_MADECHANGESINFORM = HResultOf(0x0004D006);
inline constexpr HRESULT XACT_S_ALLNORETAIN = HResultOf(0x0004D007);
inline constexpr HRESULT XACT_S_ABORTING = HResultOf(0x0004D008);
inline constexpr HRESULT XACT_S_SINGLEPHASE = HResultOf(0x0004D009);
inline constexpr HRESULT XACT_S_LOCALLY_OK = HResultOf(0x0004D00A);
