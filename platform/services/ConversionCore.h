// The parts of the conversion engine its sources share: the intermediate
// Value every conversion passes through, the request and result of one
// conversion, and the table of types (ConversionTypes.cpp) that says for each
// type its size, where it converts to and how it reads into and writes out of
// a Value. Adding a type means adding one entry to that table.
#pragma once

#include "hdbplatform/MsDaDc.h"
#include "hdbplatform/OleDb.h"
#include "hdbplatform/ValueText.h"
#include "UnalignedAccess.h"

#include <cstdint>
#include <cstring>

namespace hdbconvert::engine {

using u128 = unsigned __int128;
using i128 = __int128;

using hdbmem::Load;
using hdbmem::Store;

struct Pow10Table {
    u128 v[MaxNumericDigits + 1];
    constexpr Pow10Table() : v() {
        u128 p = 1;
        for (int i = 0; i <= MaxNumericDigits; ++i, p *= 10)
            v[i] = p;
    }
};
inline constexpr Pow10Table Powers;

// A source value, read once and written as any destination type.
struct Value {
    enum class Kind {
        Signed,   // i
        Unsigned, // u
        Real,     // r (digits: significant digits of its text)
        Scaled,   // mag * 10^-scale, negative when neg (CY, DECIMAL, NUMERIC)
        Bool,     // b
        OleDate,  // r, days since 1899-12-30
        Stamp,    // ts; hasDate/hasTime say which parts the source has
        Guid,     // guid
        Narrow,   // text in the process's narrow encoding: narrow, length
        Wide,     // wide text: wide, length
        Bytes,    // bytes, length
    } kind = Kind::Signed;
    LONGLONG i = 0;
    ULONGLONG u = 0;
    double r = 0;
    int digits = 15;
    u128 mag = 0;
    int scale = 0;
    bool neg = false;
    bool trimZeros = false; // CY text drops trailing fraction zeros
    bool b = false;
    DBTIMESTAMP ts{};
    bool hasDate = false;
    bool hasTime = false;
    GUID guid{};
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
    const BYTE* bytes = nullptr;
    size_t length = 0;

    bool IsText() const { return kind == Kind::Narrow || kind == Kind::Wide; }
};

// What a conversion produced.
struct Result {
    DBSTATUS status = DBSTATUS_S_OK;
    DBLENGTH length = 0;
};

inline Result Fail(DBSTATUS status) {
    Result r;
    r.status = status;
    return r;
}

// One conversion's destination.
struct Request {
    DBTYPE dst;
    void* pDst;
    DBLENGTH max;
    BYTE precision;
    BYTE scale;
    DBDATACONVERT flags;
    bool measure; // compute the length only; pDst is not touched
};

// A number parsed from text or taken from a value: mag * 10^-scale. huge
// means the integer part alone has more than 38 digits.
struct Decimal {
    u128 mag = 0;
    int scale = 0;
    bool neg = false;
    bool huge = false;
};

// ------------------------------------------------------------ the types

struct TypeEntry;
using ReadFn = bool (*)(const void* src, DBLENGTH cbSrc, DBDATACONVERT flags, Value& v);
using WriteFn = Result (*)(const TypeEntry& type, const Value& v, const Request& rq);

constexpr DBLENGTH NoLongestText = ~DBLENGTH{0};

struct TypeEntry {
    DBTYPE type;
    DBLENGTH size;              // bytes of a fixed-size type, 0 for the others
    std::uint32_t destinations; // what it converts to, as DestinationBit()s
    DBTYPE variantType;         // the type a VARIANT holds it as
    DBLENGTH longestText;       // characters of its longest text form
    bool isSigned;              // an integer type with a sign
    bool rawBytes;              // an integer that travels as its raw bytes
    ReadFn read;                // null: never a source beside itself
    WriteFn write;              // null: never a destination
};

// The entry of a type without DBTYPE_BYREF; null for types outside the table.
const TypeEntry* FindType(DBTYPE type);

// The bit of a type in TypeEntry::destinations; 0 for types outside them.
std::uint32_t DestinationBit(DBTYPE type);

// Whether a (possibly DBTYPE_BYREF) source converts to a destination.
bool InMatrix(DBTYPE src, DBTYPE dst);

// Converts any source (DBTYPE_BYREF and VARIANT included); depth bounds the
// VARIANTs nested in VARIANTs.
Result Convert(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth);

// Writes v as rq.dst through the table.
Result WriteValue(const Value& v, const Request& rq);

// ------------------------------------------------------------ numbers

// Text held by v as a number.
bool ParseText(const Value& v, Decimal& d);
// The shortest decimal that reads back as v.
bool DecimalFromReal(double v, Decimal& out);
// v as mag * 10^-scale at the given scale (-1: the source's own), at most
// precision digits.
DBSTATUS ToScaled(const Value& v, int scale, int precision, Decimal& out);
DBSTATUS ToInteger(const Value& v, i128 lo, i128 hi, i128& out);
DBSTATUS ToReal(const Value& v, double& out);
DBSTATUS ToBool(const Value& v, bool& out);
int DigitCount(u128 mag);
// The text of mag * 10^-scale ("-12.340", "0.05") into out (48 bytes).
size_t FormatScaled(u128 mag, int scale, bool neg, bool trimZeros, char* out);

// ------------------------------------------------------------ dates

DBSTATUS ToStamp(const Value& v, DBTIMESTAMP& out, bool& hasDate, bool& hasTime);
DBSTATUS ToOleDate(const Value& v, double& out);
DBTIMESTAMP Today();
// "yyyy-mm-dd hh:mm:ss.fffffffff", the parts asked for, into out (40 bytes).
size_t FormatStamp(const DBTIMESTAMP& ts, bool date, bool time, char* out);

// ------------------------------------------------------------ text

template <class Char> bool IsSpace(Char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

template <class Char> void Trim(const Char*& p, size_t& n) {
    while (n > 0 && IsSpace(p[0])) {
        ++p;
        --n;
    }
    while (n > 0 && IsSpace(p[n - 1]))
        --n;
}

// How a text form of a number may be cut to fit.
enum class Cut {
    Plain,  // any prefix will do: S_TRUNCATED
    Number, // the fraction may go, the integer part may not
    Never,  // nothing may go: DATAOVERFLOW
};

// A fixed value as ASCII text into out (80 bytes); n = 0 when it has none.
DBSTATUS FormatValue(const Value& v, char* out, size_t& n, Cut& cut);
// Characters of room (terminator excluded) in a text destination of max bytes.
size_t TextRoom(DBTYPE dst, DBLENGTH max);
// ASCII text into a STR or WSTR destination.
Result WriteAscii(const char* text, size_t n, Cut cut, DBTYPE dst, void* pDst, DBLENGTH max,
                  bool measure);
// Text held by v (narrow or wide) into a STR or WSTR destination.
Result WriteText(const Value& v, DBTYPE dst, void* pDst, DBLENGTH max, bool measure);
// Bytes as hexadecimal text into a STR or WSTR destination.
Result WriteHex(const BYTE* bytes, size_t n, DBTYPE dst, void* pDst, DBLENGTH max, bool measure);
// Hexadecimal text held by v as bytes.
Result ParseHex(const Value& v, BYTE* out, DBLENGTH max, bool measure);
// GUID text held by v, with or without braces.
bool ParseGuid(const Value& v, GUID& guid);

} // namespace hdbconvert::engine
