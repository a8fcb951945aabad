// The table of types the conversion engine knows: for each its size, the
// types it converts to, the type a VARIANT holds it as, the length of its
// longest text, and how it reads into a Value and writes out of one. A new
// type is one entry here with its reader and writer.
#include "ConversionCore.h"

#include "hdbplatform/OleAuto.h"

#include "StringConversion.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <cwchar>
#include <string>

namespace hdbconvert::engine {

namespace {

// ------------------------------------------------------------ destination sets

// The destination types, one bit each in this order.
constexpr DBTYPE DestinationTypes[] = {
    DBTYPE_I1,      DBTYPE_I2,    DBTYPE_I4,   DBTYPE_I8,     DBTYPE_UI1,    DBTYPE_UI2,
    DBTYPE_UI4,     DBTYPE_UI8,   DBTYPE_R4,   DBTYPE_R8,     DBTYPE_CY,     DBTYPE_DECIMAL,
    DBTYPE_NUMERIC, DBTYPE_BOOL,  DBTYPE_DATE, DBTYPE_DBDATE, DBTYPE_DBTIME, DBTYPE_DBTIMESTAMP,
    DBTYPE_GUID,    DBTYPE_BYTES, DBTYPE_STR,  DBTYPE_WSTR,   DBTYPE_BSTR,   DBTYPE_VARIANT};

// Bits by type code, so that the check costs one load per call.
constexpr auto BitTable = [] {
    std::array<std::uint32_t, DBTYPE_DBTIMESTAMP + 1> table{};
    for (size_t k = 0; k < std::size(DestinationTypes); ++k)
        table[DestinationTypes[k]] = 1u << k;
    return table;
}();

constexpr std::uint32_t Bit(DBTYPE type) {
    return type < BitTable.size() ? BitTable[type] : 0;
}

constexpr std::uint32_t Integers = Bit(DBTYPE_I1) | Bit(DBTYPE_I2) | Bit(DBTYPE_I4) |
                                   Bit(DBTYPE_I8) | Bit(DBTYPE_UI1) | Bit(DBTYPE_UI2) |
                                   Bit(DBTYPE_UI4) | Bit(DBTYPE_UI8);
constexpr std::uint32_t Numbers = Integers | Bit(DBTYPE_R4) | Bit(DBTYPE_R8) | Bit(DBTYPE_CY) |
                                  Bit(DBTYPE_DECIMAL) | Bit(DBTYPE_NUMERIC) | Bit(DBTYPE_BOOL);
constexpr std::uint32_t Dates = Bit(DBTYPE_DBDATE) | Bit(DBTYPE_DBTIME) | Bit(DBTYPE_DBTIMESTAMP);
constexpr std::uint32_t Texts =
    Bit(DBTYPE_STR) | Bit(DBTYPE_WSTR) | Bit(DBTYPE_BSTR) | Bit(DBTYPE_VARIANT);
constexpr std::uint32_t Anything =
    Numbers | Bit(DBTYPE_DATE) | Dates | Bit(DBTYPE_GUID) | Bit(DBTYPE_BYTES) | Texts;

// The destination sets of the table below follow the published conversion
// table as far as this platform has the types. Its irregular corners are
// kept on purpose (a DECIMAL reaches the DB dates but not DATE; only the 4-
// and 8-byte integers travel as raw BYTES), so that a consumer asking
// CanConvert gets the published answer. BYTES and VARIANT do not meet: there
// are no SAFEARRAYs on this platform.
constexpr std::uint32_t SmallNumberDestinations = Numbers | Bit(DBTYPE_DATE) | Dates | Texts;
constexpr std::uint32_t DateDestinations = Bit(DBTYPE_DATE) | Dates | Texts;

// ------------------------------------------------------------ readers

template <class T> bool ReadSigned(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Signed;
    v.i = Load<T>(src);
    return true;
}

template <class T> bool ReadUnsigned(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Unsigned;
    v.u = Load<T>(src);
    return true;
}

template <class T, int Digits> bool ReadReal(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Real;
    v.r = Load<T>(src);
    v.digits = Digits;
    return true;
}

bool ReadBool(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Bool;
    v.b = Load<VARIANT_BOOL>(src) != VARIANT_FALSE;
    return true;
}

bool ReadCurrency(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    LONGLONG cy = Load<LONGLONG>(src);
    v.kind = Value::Kind::Scaled;
    v.neg = cy < 0;
    v.mag = cy < 0 ? static_cast<u128>(-static_cast<i128>(cy)) : static_cast<u128>(cy);
    v.scale = 4;
    v.trimZeros = true;
    return true;
}

bool ReadDecimal(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    DECIMAL dec = Load<DECIMAL>(src);
    v.kind = Value::Kind::Scaled;
    v.neg = (dec.sign & DECIMAL_NEG) != 0;
    v.mag = (static_cast<u128>(dec.Hi32) << 64) | dec.Lo64;
    v.scale = dec.scale;
    return v.scale <= 28;
}

bool ReadNumeric(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    DB_NUMERIC num = Load<DB_NUMERIC>(src);
    v.kind = Value::Kind::Scaled;
    v.neg = num.sign == 0;
    for (int k = 15; k >= 0; --k)
        v.mag = (v.mag << 8) | num.val[k];
    v.scale = num.scale;
    return v.scale <= MaxNumericDigits; // anything else is no numeric value
}

bool ReadOleDate(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::OleDate;
    v.r = Load<double>(src);
    return true;
}

bool ReadDate(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    DBDATE d = Load<DBDATE>(src);
    v.kind = Value::Kind::Stamp;
    v.ts.year = d.year;
    v.ts.month = d.month;
    v.ts.day = d.day;
    v.hasDate = true;
    return true;
}

bool ReadTime(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    DBTIME t = Load<DBTIME>(src);
    v.kind = Value::Kind::Stamp;
    v.ts.hour = t.hour;
    v.ts.minute = t.minute;
    v.ts.second = t.second;
    v.hasTime = true;
    return true;
}

bool ReadTimestamp(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Stamp;
    v.ts = Load<DBTIMESTAMP>(src);
    v.hasDate = v.hasTime = true;
    return true;
}

bool ReadGuid(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Guid;
    v.guid = Load<GUID>(src);
    return true;
}

// Text is viewed, never copied.
bool ReadNarrow(const void* src, DBLENGTH cbSrc, DBDATACONVERT flags, Value& v) {
    v.kind = Value::Kind::Narrow;
    v.narrow = static_cast<const char*>(src);
    v.length = (flags & DBDATACONVERT_LENGTHFROMNTS) ? std::strlen(v.narrow) : cbSrc;
    return true;
}

bool ReadWide(const void* src, DBLENGTH cbSrc, DBDATACONVERT flags, Value& v) {
    v.kind = Value::Kind::Wide;
    v.wide = static_cast<const wchar_t*>(src);
    v.length =
        (flags & DBDATACONVERT_LENGTHFROMNTS) ? std::wcslen(v.wide) : cbSrc / sizeof(wchar_t);
    return true;
}

bool ReadBstr(const void* src, DBLENGTH, DBDATACONVERT, Value& v) {
    BSTR bstr = Load<BSTR>(src);
    v.kind = Value::Kind::Wide;
    v.wide = bstr ? bstr : L"";
    v.length = bstr ? SysStringLen(bstr) : 0;
    return true;
}

bool ReadBytes(const void* src, DBLENGTH cbSrc, DBDATACONVERT, Value& v) {
    v.kind = Value::Kind::Bytes;
    v.bytes = static_cast<const BYTE*>(src);
    v.length = cbSrc;
    return true;
}

// ------------------------------------------------------------ writers

Result Sized(const TypeEntry& type, DBSTATUS status = DBSTATUS_S_OK) {
    return Result{status, type.size};
}

Result WriteInteger(const TypeEntry& type, const Value& v, const Request& rq) {
    const unsigned bits = 8 * static_cast<unsigned>(type.size);
    const i128 hi = (static_cast<i128>(1) << (type.isSigned ? bits - 1 : bits)) - 1;
    const i128 lo = type.isSigned ? -hi - 1 : 0;
    i128 out;
    Result res = Sized(type, ToInteger(v, lo, hi, out));
    // Little-endian: the low bytes of the two's complement are the value.
    if (res.status == DBSTATUS_S_OK && !rq.measure)
        std::memcpy(rq.pDst, &out, type.size);
    return res;
}

Result WriteReal(const TypeEntry& type, const Value& v, const Request& rq) {
    double out;
    Result res = Sized(type, ToReal(v, out));
    if (res.status != DBSTATUS_S_OK || rq.measure)
        return res;
    if (type.type == DBTYPE_R8) {
        Store(rq.pDst, out);
    } else {
        if (std::isfinite(out) && std::fabs(out) > FLT_MAX)
            return Fail(DBSTATUS_E_DATAOVERFLOW);
        Store(rq.pDst, static_cast<float>(out));
    }
    return res;
}

Result WriteCurrency(const TypeEntry& type, const Value& v, const Request& rq) {
    Decimal d;
    Result res = Sized(type, ToScaled(v, 4, MaxNumericDigits, d));
    if (res.status != DBSTATUS_S_OK || rq.measure)
        return res;
    if (d.mag > static_cast<u128>(INT64_MAX) + (d.neg ? 1 : 0))
        return Fail(DBSTATUS_E_DATAOVERFLOW);
    i128 cy = d.neg ? -static_cast<i128>(d.mag) : static_cast<i128>(d.mag);
    Store(rq.pDst, static_cast<LONGLONG>(cy));
    return res;
}

Result WriteDecimal(const TypeEntry& type, const Value& v, const Request& rq) {
    constexpr u128 MaxDecimalMagnitude = (static_cast<u128>(1) << 96) - 1;
    Decimal d;
    int scale = (rq.flags & DBDATACONVERT_DECIMALSCALE) ? rq.scale : -1;
    Result res = Sized(type, ToScaled(v, scale, MaxNumericDigits, d));
    if (res.status == DBSTATUS_S_OK && scale < 0 && d.scale > 28) {
        d.mag /= Powers.v[d.scale - 28];
        d.scale = 28;
    }
    if (res.status != DBSTATUS_S_OK || rq.measure)
        return res;
    if (d.mag > MaxDecimalMagnitude || d.scale > 28)
        return Fail(DBSTATUS_E_DATAOVERFLOW);
    DECIMAL dec{};
    dec.scale = static_cast<BYTE>(d.scale);
    dec.sign = d.neg ? DECIMAL_NEG : 0;
    dec.Hi32 = static_cast<ULONG>(d.mag >> 64);
    dec.Lo64 = static_cast<ULONGLONG>(d.mag);
    Store(rq.pDst, dec);
    return res;
}

Result WriteNumeric(const TypeEntry& type, const Value& v, const Request& rq) {
    // Without a precision the source's own scale is kept.
    int precision = rq.precision ? rq.precision : MaxNumericDigits;
    int scale = rq.precision ? rq.scale : -1;
    if (precision > MaxNumericDigits || scale > precision)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    Decimal d;
    Result res = Sized(type, ToScaled(v, scale, precision, d));
    if (res.status != DBSTATUS_S_OK || rq.measure)
        return res;
    DB_NUMERIC num{};
    num.precision = static_cast<BYTE>(rq.precision ? rq.precision : DigitCount(d.mag));
    if (num.precision < d.scale)
        num.precision = static_cast<BYTE>(d.scale);
    num.scale = static_cast<BYTE>(d.scale);
    num.sign = d.neg ? 0 : 1;
    u128 mag = d.mag;
    for (int k = 0; k < 16; ++k, mag >>= 8)
        num.val[k] = static_cast<BYTE>(mag);
    Store(rq.pDst, num);
    return res;
}

Result WriteBool(const TypeEntry& type, const Value& v, const Request& rq) {
    bool b;
    Result res = Sized(type, ToBool(v, b));
    if (res.status == DBSTATUS_S_OK && !rq.measure)
        Store(rq.pDst, b ? VARIANT_TRUE : VARIANT_FALSE);
    return res;
}

Result WriteOleDate(const TypeEntry& type, const Value& v, const Request& rq) {
    double date;
    Result res = Sized(type, ToOleDate(v, date));
    if (res.status == DBSTATUS_S_OK && !rq.measure)
        Store(rq.pDst, date);
    return res;
}

// DBDATE, DBTIME and DBTIMESTAMP. A DBTYPE_DBTIMESTAMP becomes a DBDATE or
// DBTIME by dropping the other part; a DBTIME becomes a timestamp on today's
// date.
Result WriteStamp(const TypeEntry& type, const Value& v, const Request& rq) {
    const DBTYPE dst = type.type;
    DBTIMESTAMP ts;
    bool hasDate, hasTime;
    Result res = Sized(type, ToStamp(v, ts, hasDate, hasTime));
    // Text must hold the part the destination keeps; a typed date or time
    // lacking it takes midnight, or today.
    if (res.status == DBSTATUS_S_OK && v.IsText() &&
        ((dst == DBTYPE_DBDATE && !hasDate) || (dst == DBTYPE_DBTIME && !hasTime)))
        res.status = DBSTATUS_E_CANTCONVERTVALUE;
    if (res.status == DBSTATUS_S_OK && dst != DBTYPE_DBTIME && !hasDate) {
        DBTIMESTAMP today = Today();
        ts.year = today.year;
        ts.month = today.month;
        ts.day = today.day;
    }
    if (res.status != DBSTATUS_S_OK || rq.measure)
        return res;
    if (dst == DBTYPE_DBDATE)
        Store(rq.pDst, DBDATE{ts.year, ts.month, ts.day});
    else if (dst == DBTYPE_DBTIME)
        Store(rq.pDst, DBTIME{ts.hour, ts.minute, ts.second});
    else
        Store(rq.pDst, ts);
    return res;
}

Result WriteGuid(const TypeEntry& type, const Value& v, const Request& rq) {
    GUID guid{};
    bool ok = false;
    if (v.kind == Value::Kind::Guid) {
        guid = v.guid;
        ok = true;
    } else if (v.IsText()) {
        ok = ParseGuid(v, guid);
    } else if (v.kind == Value::Kind::Bytes && v.length == sizeof(GUID)) {
        std::memcpy(&guid, v.bytes, sizeof guid);
        ok = true;
    }
    if (!ok)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    if (!rq.measure)
        Store(rq.pDst, guid);
    return Sized(type);
}

Result WriteBytes(const TypeEntry&, const Value& v, const Request& rq) {
    if (v.IsText())
        return ParseHex(v, static_cast<BYTE*>(rq.pDst), rq.max, rq.measure);
    const BYTE* data;
    size_t n;
    if (v.kind == Value::Kind::Bytes) {
        data = v.bytes;
        n = v.length;
    } else if (v.kind == Value::Kind::Guid) {
        data = reinterpret_cast<const BYTE*>(&v.guid);
        n = sizeof(GUID);
    } else {
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    }
    Result res{DBSTATUS_S_OK, n};
    if (rq.measure)
        return res;
    size_t keep = n <= rq.max ? n : rq.max;
    if (keep)
        std::memcpy(rq.pDst, data, keep);
    if (keep < n)
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

// STR and WSTR.
Result WriteTextType(const TypeEntry& type, const Value& v, const Request& rq) {
    if (v.IsText())
        return WriteText(v, type.type, rq.pDst, rq.max, rq.measure);
    if (v.kind == Value::Kind::Bytes)
        return WriteHex(v.bytes, v.length, type.type, rq.pDst, rq.max, rq.measure);
    char text[80];
    size_t n;
    Cut cut;
    DBSTATUS status = FormatValue(v, text, n, cut);
    if (status != DBSTATUS_S_OK)
        return Fail(status);
    return WriteAscii(text, n, cut, type.type, rq.pDst, rq.max, rq.measure);
}

// A newly allocated BSTR: the text itself, else the wide text form
// (hexadecimal for bytes).
Result WriteBstr(const TypeEntry& type, const Value& v, const Request& rq) {
    if (rq.measure)
        return Sized(type);
    BSTR bstr = nullptr;
    if (v.kind == Value::Kind::Wide) {
        bstr = SysAllocStringLen(v.wide, static_cast<UINT>(v.length));
    } else if (v.kind == Value::Kind::Narrow) {
        std::wstring wide = hdbtext::WideFromAnsi(std::string_view(v.narrow, v.length));
        bstr = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    } else {
        Request text{DBTYPE_WSTR, nullptr, 0, 0, 0, rq.flags, true};
        Result size = WriteValue(v, text);
        if (size.status != DBSTATUS_S_OK)
            return Fail(size.status);
        bstr = SysAllocStringLen(nullptr, static_cast<UINT>(size.length / sizeof(wchar_t)));
        if (!bstr)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        text.pDst = bstr;
        text.max = size.length + sizeof(wchar_t);
        text.measure = false;
        Result written = WriteValue(v, text);
        if (written.status != DBSTATUS_S_OK) {
            SysFreeString(bstr);
            return Fail(written.status);
        }
    }
    if (!bstr)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    Store(rq.pDst, bstr);
    return Sized(type);
}

// ------------------------------------------------------------ the table

constexpr DBLENGTH VariableLength = 0;

// clang-format off
constexpr TypeEntry Types[] = {
//   type                size                 destinations
//   variant type        longest text  signed raw bytes  reader  writer
    {DBTYPE_EMPTY,       0,                   Numbers | Bit(DBTYPE_DATE) | Bit(DBTYPE_DBTIMESTAMP) | Bit(DBTYPE_GUID) | Texts,
     DBTYPE_EMPTY,       0,            false, false, nullptr, nullptr},
    {DBTYPE_I1,          1,                   SmallNumberDestinations,
     DBTYPE_I1,          4,            true,  false, ReadSigned<signed char>, WriteInteger},
    {DBTYPE_I2,          2,                   SmallNumberDestinations,
     DBTYPE_I2,          6,            true,  false, ReadSigned<SHORT>, WriteInteger},
    {DBTYPE_I4,          4,                   SmallNumberDestinations | Bit(DBTYPE_BYTES),
     DBTYPE_I4,          11,           true,  true,  ReadSigned<LONG>, WriteInteger},
    {DBTYPE_I8,          8,                   Numbers | Bit(DBTYPE_BYTES) | Texts,
     DBTYPE_I8,          20,           true,  true,  ReadSigned<LONGLONG>, WriteInteger},
    {DBTYPE_UI1,         1,                   SmallNumberDestinations,
     DBTYPE_UI1,         3,            false, false, ReadUnsigned<BYTE>, WriteInteger},
    {DBTYPE_UI2,         2,                   SmallNumberDestinations,
     DBTYPE_UI2,         5,            false, false, ReadUnsigned<USHORT>, WriteInteger},
    {DBTYPE_UI4,         4,                   SmallNumberDestinations | Bit(DBTYPE_BYTES),
     DBTYPE_UI4,         10,           false, true,  ReadUnsigned<ULONG>, WriteInteger},
    {DBTYPE_UI8,         8,                   Numbers | Bit(DBTYPE_BYTES) | Texts,
     DBTYPE_UI8,         20,           false, true,  ReadUnsigned<ULONGLONG>, WriteInteger},
    {DBTYPE_R4,          4,                   SmallNumberDestinations,
     DBTYPE_R4,          15,           false, false, ReadReal<float, 7>, WriteReal},
    {DBTYPE_R8,          8,                   SmallNumberDestinations,
     DBTYPE_R8,          23,           false, false, ReadReal<double, 15>, WriteReal},
    {DBTYPE_CY,          8,                   Numbers | Texts,
     DBTYPE_CY,          21,           false, false, ReadCurrency, WriteCurrency},
    {DBTYPE_DECIMAL,     sizeof(DECIMAL),     Numbers | Dates | Texts,
     DBTYPE_DECIMAL,     31,           false, false, ReadDecimal, WriteDecimal},
    {DBTYPE_NUMERIC,     sizeof(DB_NUMERIC),  Numbers | Texts,
     DBTYPE_DECIMAL,     41,           false, false, ReadNumeric, WriteNumeric},
    {DBTYPE_BOOL,        2,                   Numbers | Bit(DBTYPE_DATE) | Texts,
     DBTYPE_BOOL,        5,            false, false, ReadBool, WriteBool},
    {DBTYPE_DATE,        8,                   Integers | Bit(DBTYPE_R4) | Bit(DBTYPE_R8) | Bit(DBTYPE_BOOL) | DateDestinations,
     DBTYPE_DATE,        29,           false, false, ReadOleDate, WriteOleDate},
    {DBTYPE_DBDATE,      sizeof(DBDATE),      DateDestinations,
     DBTYPE_DATE,        11,           false, false, ReadDate, WriteStamp},
    {DBTYPE_DBTIME,      sizeof(DBTIME),      DateDestinations,
     DBTYPE_DATE,        8,            false, false, ReadTime, WriteStamp},
    {DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP), DateDestinations,
     DBTYPE_DATE,        30,           false, false, ReadTimestamp, WriteStamp},
    {DBTYPE_GUID,        sizeof(GUID),        Bit(DBTYPE_GUID) | Bit(DBTYPE_BYTES) | Texts,
     DBTYPE_BSTR,        38,           false, false, ReadGuid, WriteGuid},
    {DBTYPE_BYTES,       VariableLength,      Bit(DBTYPE_I4) | Bit(DBTYPE_I8) | Bit(DBTYPE_UI4) | Bit(DBTYPE_UI8) | Bit(DBTYPE_GUID) | Bit(DBTYPE_BYTES) | (Texts & ~Bit(DBTYPE_VARIANT)),
     DBTYPE_BYTES,       NoLongestText, false, false, ReadBytes, WriteBytes},
    {DBTYPE_STR,         VariableLength,      Anything,
     DBTYPE_BSTR,        NoLongestText, false, false, ReadNarrow, WriteTextType},
    {DBTYPE_WSTR,        VariableLength,      Anything,
     DBTYPE_BSTR,        NoLongestText, false, false, ReadWide, WriteTextType},
    {DBTYPE_BSTR,        sizeof(BSTR),        Anything,
     DBTYPE_BSTR,        NoLongestText, false, false, ReadBstr, WriteBstr},
    // A VARIANT is unpacked before it is read and written whole
    // (DataConversion.cpp); its entry gives its size and destinations.
    {DBTYPE_VARIANT,     sizeof(VARIANT),     Anything,
     DBTYPE_VARIANT,     NoLongestText, false, false, nullptr, nullptr},
};
// clang-format on

// Entry indices by type code; the codes are all below DBTYPE_DBTIMESTAMP.
constexpr auto TypeIndex = [] {
    std::array<signed char, DBTYPE_DBTIMESTAMP + 1> index{};
    for (auto& i : index)
        i = -1;
    for (size_t k = 0; k < std::size(Types); ++k)
        index[Types[k].type] = static_cast<signed char>(k);
    return index;
}();

} // namespace

const TypeEntry* FindType(DBTYPE type) {
    if (type >= TypeIndex.size() || TypeIndex[type] < 0)
        return nullptr;
    return &Types[TypeIndex[type]];
}

std::uint32_t DestinationBit(DBTYPE type) {
    return Bit(type);
}

bool InMatrix(DBTYPE src, DBTYPE dst) {
    // A reference is followed on the way in; on the way out only the
    // variable-length types are handed back by reference.
    src &= static_cast<DBTYPE>(~DBTYPE_BYREF);
    if (dst & DBTYPE_BYREF) {
        dst &= static_cast<DBTYPE>(~DBTYPE_BYREF);
        if (dst != DBTYPE_STR && dst != DBTYPE_WSTR && dst != DBTYPE_BYTES)
            return false;
    }
    const TypeEntry* entry = FindType(src);
    return entry && (entry->destinations & Bit(dst)) != 0;
}

Result WriteValue(const Value& v, const Request& rq) {
    const TypeEntry* type = FindType(rq.dst);
    if (!type || !type->write)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    return type->write(*type, v, rq);
}

} // namespace hdbconvert::engine
