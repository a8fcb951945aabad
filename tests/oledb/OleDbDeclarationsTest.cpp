// Checks of the OLE DB declarations that the compiler cannot make by itself:
// the signedness of result codes as callers test them, GUID values against
// their published text, and the values consumers store into property VARIANTs.
// Record sizes and offsets are asserted at compile time in the headers.
#include "hdbplatform/OleDbApi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" on its own, so that a fault
// shared with the platform's GUID helpers cannot hide one here.
GUID GuidFromText(const std::string& text) {
    auto hex = [&](size_t pos, size_t digits) {
        return static_cast<std::uint32_t>(std::stoul(text.substr(pos, digits), nullptr, 16));
    };
    GUID g{};
    g.Data1 = hex(1, 8);
    g.Data2 = static_cast<std::uint16_t>(hex(10, 4));
    g.Data3 = static_cast<std::uint16_t>(hex(15, 4));
    const size_t bytePos[8] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (int i = 0; i < 8; ++i)
        g.Data4[i] = static_cast<std::uint8_t>(hex(bytePos[i], 2));
    return g;
}

TEST(OleDbResultCodes, FailuresAreNegativeAndSuccessesPositive) {
    EXPECT_LT(DB_E_CANCELED, 0);
    EXPECT_TRUE(FAILED(DB_E_ERRORSINCOMMAND));
    EXPECT_TRUE(FAILED(DB_E_ERRORSOCCURRED));
    EXPECT_TRUE(FAILED(XACT_E_NOTRANSACTION));
    EXPECT_GT(DB_S_ERRORSOCCURRED, 0);
    EXPECT_TRUE(SUCCEEDED(DB_S_ENDOFROWSET));
    EXPECT_NE(DB_S_ENDOFROWSET, S_OK);
}

TEST(OleDbResultCodes, KeepTheirPublishedBitsAsThirtyTwoBitValues) {
    EXPECT_EQ(static_cast<std::uint32_t>(DB_E_CANCELED), 0x80040E4Eu);
    EXPECT_EQ(static_cast<long long>(DB_E_CANCELED), -2147217842LL);
    EXPECT_EQ(static_cast<std::uint32_t>(DB_E_NOTABLE), 0x80040E37u);
    EXPECT_EQ(static_cast<std::uint32_t>(DB_S_ERRORSOCCURRED), 0x00040EDAu);
    EXPECT_EQ(HRESULT_FACILITY(DB_E_CANCELED), FACILITY_ITF);
    // A result travels through 32-bit storage (ERRORINFO, VARIANT scode)
    // unchanged.
    ERRORINFO info{};
    info.hrError = DB_E_CANCELED;
    EXPECT_EQ(info.hrError, DB_E_CANCELED);
}

TEST(OleDbResultCodes, CodesOfOneFamilyAreDistinct) {
    const HRESULT codes[] = {DB_E_BADACCESSORHANDLE,
                             DB_E_BADROWHANDLE,
                             DB_E_CANTCONVERTVALUE,
                             DB_E_BADBINDINFO,
                             DB_E_ERRORSINCOMMAND,
                             DB_E_CANTCANCEL,
                             DB_E_NOTFOUND,
                             DB_E_ERRORSOCCURRED,
                             DB_E_NOTABLE,
                             DB_E_CANCELED,
                             DB_E_ALREADYINITIALIZED,
                             DB_E_NOTSUPPORTED,
                             DB_E_BADORDINAL,
                             DB_E_DATAOVERFLOW,
                             DB_E_UNSUPPORTEDCONVERSION,
                             DB_E_NOCOMMAND,
                             DB_E_NOTPREPARED,
                             DB_E_BADACCESSORFLAGS,
                             DB_E_CANNOTCONNECT,
                             DB_E_TIMEOUT,
                             DB_S_ENDOFROWSET,
                             DB_S_ERRORSOCCURRED,
                             DB_S_NORESULT,
                             DB_S_DIALECTIGNORED,
                             DB_S_COLUMNTYPEMISMATCH,
                             DB_S_BUFFERFULL,
                             DB_S_STOPLIMITREACHED};
    std::set<HRESULT> seen(std::begin(codes), std::end(codes));
    EXPECT_EQ(seen.size(), std::size(codes));
}

TEST(OleDbGuids, EqualTheirPublishedText) {
    struct Published {
        const GUID& value;
        const char* text;
    };
    const Published cases[] = {
        {IID_IRowset, "{0C733A7C-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_IAccessor, "{0C733A8C-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_ICommandText, "{0C733A27-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_IDBInitialize, "{0C733A8B-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_IErrorRecords, "{0C733A67-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_ISQLErrorInfo, "{0C733A74-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_ITransactionLocal, "{0C733A5F-2A1C-11CE-ADE5-00AA0044773D}"},
        {IID_IRowsetFastLoad, "{5CF4CA13-EF21-11D0-97E7-00C04FC2AD98}"},
        {IID_IDataInitialize, "{2206CCB1-19C1-11D1-89E0-00C04FD7A829}"},
        {CLSID_MSDAINITIALIZE, "{2206CDB0-19C1-11D1-89E0-00C04FD7A829}"},
        {IID_IDataConvert, "{0C733A8D-2A1C-11CE-ADE5-00AA0044773D}"},
        {CLSID_OLEDB_CONVERSIONLIBRARY, "{C8B522D1-5CF3-11CE-ADE5-00AA0044773D}"},
        {DBPROPSET_DBINIT, "{C8B522BC-5CF3-11CE-ADE5-00AA0044773D}"},
        {DBPROPSET_ROWSET, "{C8B522BE-5CF3-11CE-ADE5-00AA0044773D}"},
        {DBPROPSET_SQLSERVERDBINIT, "{5CF4CA10-EF21-11D0-97E7-00C04FC2AD98}"},
        {DBPROPSET_SQLSERVERROWSET, "{5CF4CA11-EF21-11D0-97E7-00C04FC2AD98}"},
        {DBPROPSET_SQLSERVERDATASOURCE, "{28EFAEE4-2D2C-11D1-9807-00C04FC2AD98}"},
        {DBGUID_DEFAULT, "{C8B521FB-5CF3-11CE-ADE5-00AA0044773D}"},
        {DBSCHEMA_CATALOGS, "{C8B52211-5CF3-11CE-ADE5-00AA0044773D}"},
        {DBSCHEMA_TABLES, "{C8B52229-5CF3-11CE-ADE5-00AA0044773D}"},
    };
    for (const auto& c : cases) {
        const GUID published = GuidFromText(c.text);
        EXPECT_EQ(0, std::memcmp(&c.value, &published, sizeof(GUID))) << c.text;
    }
}

TEST(OleDbGuids, InterfaceIdsAreDistinct) {
    // A copy-and-paste slip between neighbouring interfaces would make
    // QueryInterface hand out the wrong vtable.
    const GUID ids[] = {IID_IRowset,
                        IID_IRowsetInfo,
                        IID_IRowsetChange,
                        IID_IRowsetUpdate,
                        IID_IRowsetLocate,
                        IID_IRowsetIndex,
                        IID_IAccessor,
                        IID_IColumnsInfo,
                        IID_ICommand,
                        IID_ICommandText,
                        IID_ICommandProperties,
                        IID_ICommandPrepare,
                        IID_ICommandWithParameters,
                        IID_IDBCreateCommand,
                        IID_IDBCreateSession,
                        IID_IDBInitialize,
                        IID_IDBProperties,
                        IID_IOpenRowset,
                        IID_IDBSchemaRowset,
                        IID_ITransactionLocal,
                        IID_IErrorRecords,
                        IID_ISQLErrorInfo,
                        IID_IRowsetFastLoad,
                        IID_IDataConvert};
    for (size_t i = 0; i < std::size(ids); ++i)
        for (size_t j = i + 1; j < std::size(ids); ++j)
            EXPECT_FALSE(IsEqualGUID(ids[i], ids[j])) << i << " and " << j;
}

TEST(OleDbPropertyValues, FitTheVariantTypesTheirPropertiesUse) {
    VARIANT services{};
    services.vt = VT_I4;
    services.lVal = DBPROPVAL_OS_ENABLEALL & ~DBPROPVAL_OS_RESOURCEPOOLING;
    EXPECT_EQ(static_cast<std::uint32_t>(services.lVal), 0xFFFFFFFEu);

    VARIANT prompt{};
    prompt.vt = VT_I2;
    prompt.iVal = DBPROMPT_NOPROMPT;
    EXPECT_EQ(prompt.iVal, 4);

    // Type modifiers combine with a base type inside the 16-bit DBTYPE.
    const DBTYPE byRefText = DBTYPE_WSTR | DBTYPE_BYREF;
    EXPECT_EQ(byRefText & ~DBTYPE_BYREF, DBTYPE_WSTR);
}

TEST(OleDbRecords, NullColumnIdIsAllZero) {
    // Providers recognise "no column" by comparing colid bytes with DB_NULLID.
    DBPROP prop{};
    prop.colid = DB_NULLID;
    const unsigned char zeros[sizeof(DBID)] = {};
    EXPECT_EQ(0, std::memcmp(&prop.colid, zeros, sizeof(DBID)));
}

} // namespace
