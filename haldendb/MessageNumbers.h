// The numbers of the library's messages (texts in CMessageTable), named
// after the failure they report. Reports carry these numbers to the
// application's callbacks, so an application may test for them too.
#pragma once

namespace hdbmsg {

inline constexpr unsigned int MsgHResultReturned = 15500;
inline constexpr unsigned int MsgCantReleaseAccessor = 15501;
inline constexpr unsigned int MsgCantCreateAccessor = 15502;
inline constexpr unsigned int MsgCantReleaseAllocator = 15503;
inline constexpr unsigned int MsgCantSetData = 15504;
inline constexpr unsigned int MsgCantQueryColumnsInfo = 15505;
inline constexpr unsigned int MsgCantGetColumnsInfo = 15506;
inline constexpr unsigned int MsgCantQuerySession = 15507;
inline constexpr unsigned int MsgCantCreateSession = 15508;
inline constexpr unsigned int MsgCantFindPrepare = 15509;
inline constexpr unsigned int MsgCantExecute = 15510;
inline constexpr unsigned int MsgCantCreateCommand = 15511;
inline constexpr unsigned int MsgCantSetCommandText = 15512;
inline constexpr unsigned int MsgCantQueryProperties = 15513;
inline constexpr unsigned int MsgCantAllocateMemory = 15514;
inline constexpr unsigned int MsgCantCreateInstance = 15515;
inline constexpr unsigned int MsgCantReleaseInstance = 15516;
inline constexpr unsigned int MsgCantConnect = 15517;
inline constexpr unsigned int MsgCantDisconnect = 15518;
inline constexpr unsigned int MsgCantOpenRowset = 15519;
inline constexpr unsigned int MsgCantInsertRow = 15520;
inline constexpr unsigned int MsgCantCommitInsert = 15521;
inline constexpr unsigned int MsgCantOpenIndexRowset = 15522;
inline constexpr unsigned int MsgCantFindParameterInterface = 15523;
inline constexpr unsigned int MsgCantSetParameters = 15524;
inline constexpr unsigned int MsgCantReleaseRowset = 15525;
inline constexpr unsigned int MsgCantReleaseRows = 15526;
inline constexpr unsigned int MsgCantGetNextRows = 15527;
inline constexpr unsigned int MsgCantGetData = 15528;
inline constexpr unsigned int MsgCantAllocateForFile = 15529;
inline constexpr unsigned int MsgCantGetBlobInterface = 15530;
inline constexpr unsigned int MsgError = 15531;
inline constexpr unsigned int MsgDataTooBig = 15533;
inline constexpr unsigned int MsgCantCreateProperties = 15534;
inline constexpr unsigned int MsgCantReadProperties = 15535;
inline constexpr unsigned int MsgBadBindInfo = 15536;
inline constexpr unsigned int MsgUnsupportedConversion = 15537;
inline constexpr unsigned int MsgBadOrdinal = 15538;
inline constexpr unsigned int MsgBadStorageFlags = 15539;
inline constexpr unsigned int MsgNoInterface = 15540;
inline constexpr unsigned int MsgMultipleStorage = 15541;
inline constexpr unsigned int MsgSuccess = 15542;
inline constexpr unsigned int MsgNoAdditionalErrorInformation = 15543;
inline constexpr unsigned int MsgCantSetLanguage = 15544;
inline constexpr unsigned int MsgTypeMismatch = 15545;

} // namespace hdbmsg
