// The conversion engine behind IDataConvert and HdbDataConvert.
//
// A conversion reads the source into a Value (a small tagged record that
// keeps text and bytes as views into the caller's memory), then writes that
// Value as the destination type. Every pair of types thus shares one range
// check and one text form per destination. Plain copies of a fixed type and
// copies between the text types skip the Value and go straight to the
// destination, since providers run them for nearly every cell.
//
// Decisions where the published rules leave room:
// - Reals and scaled numbers lose fractional digits towards zero when they
//   become integers or take a smaller scale; that is not reported (S_OK).
//   Digits before the decimal point never get lost: that is DATAOVERFLOW.
// - A boolean reads as the number -1 (true) or 0, and as the all-ones value
//   of an unsigned destination, as the automation conversions have it.
// - DBTYPE_DATE reads and writes text in the same ISO form as
//   DBTYPE_DBTIMESTAMP; this platform has no regional settings to follow.
// - A DBTYPE_DBTIMESTAMP becomes a DBTYPE_DBDATE or DBTYPE_DBTIME by dropping
//   the other part; a DBTYPE_DBTIME becomes a timestamp on today's date.
// - A VARIANT holding VT_NULL converts as a NULL (S_ISNULL); one holding
//   VT_EMPTY converts as DBTYPE_EMPTY does: zero, empty text, the null GUID.
#include "hdbplatform/DataConversion.h"

#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"
#include "hdbplatform/WinApi.h"

#include "../com/GuidText.h"
#include "StringConversion.h"

#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <limits>
#include <string>

namespace {

using u128 = unsigned __int128;
using i128 = __int128;

// ------------------------------------------------------------------ helpers

// Caller buffers need not be aligned for the type they hold.
template <class T> T Load(const void* p) {
    T value;
    std::memcpy(&value, p, sizeof(T));
    return value;
}
template <class T> void Store(void* p, const T& value) {
    std::memcpy(p, &value, sizeof(T));
}

constexpr int MaxNumericDigits = 38;

constexpr u128 Pow10(int n) {
    u128 v = 1;
    for (int i = 0; i < n; ++i)
        v *= 10;
    return v;
}

struct Pow10Table {
    u128 v[MaxNumericDigits + 1];
    constexpr Pow10Table() : v() {
        for (int i = 0; i <= MaxNumericDigits; ++i)
            v[i] = Pow10(i);
    }
};
constexpr Pow10Table Powers;

constexpr u128 MaxDecimalMagnitude = (static_cast<u128>(1) << 96) - 1;
constexpr double DateMin = -657434.0;        // 0100-01-01
constexpr double DateMax = 2958465.99999999; // 9999-12-31 23:59:59

// Size of a fixed-size type, 0 for the others.
DBLENGTH FixedSize(DBTYPE type) {
    switch (type) {
    case DBTYPE_I1:
    case DBTYPE_UI1:
        return 1;
    case DBTYPE_I2:
    case DBTYPE_UI2:
    case DBTYPE_BOOL:
        return 2;
    case DBTYPE_I4:
    case DBTYPE_UI4:
    case DBTYPE_R4:
        return 4;
    case DBTYPE_I8:
    case DBTYPE_UI8:
    case DBTYPE_R8:
    case DBTYPE_CY:
    case DBTYPE_DATE:
        return 8;
    case DBTYPE_DECIMAL:
    case DBTYPE_GUID:
    case DBTYPE_DBTIMESTAMP:
        return 16;
    case DBTYPE_NUMERIC:
        return sizeof(DB_NUMERIC);
    case DBTYPE_DBDATE:
        return sizeof(DBDATE);
    case DBTYPE_DBTIME:
        return sizeof(DBTIME);
    case DBTYPE_BSTR:
        return sizeof(BSTR);
    case DBTYPE_VARIANT:
        return sizeof(VARIANT);
    default:
        return 0;
    }
}

// --------------------------------------------------------------- calendar

// Days since 1970-01-01 of a proleptic Gregorian date.
constexpr long long DaysFromCivil(long long y, unsigned m, unsigned d) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, long long& y, unsigned& m, unsigned& d) {
    z += 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<long long>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

constexpr long long OleEpochDays = DaysFromCivil(1899, 12, 30);

bool IsLeap(long long y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

unsigned DaysInMonth(long long y, unsigned m) {
    static constexpr unsigned Days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && IsLeap(y) ? 29 : Days[m - 1];
}

bool ValidDate(long long y, unsigned m, unsigned d) {
    return y >= -9999 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= DaysInMonth(y, m);
}

bool ValidTime(unsigned h, unsigned mi, unsigned s, ULONG fraction) {
    return h < 24 && mi < 60 && s < 60 && fraction < 1000000000u;
}

DBTIMESTAMP Today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    DBTIMESTAMP ts{};
    ts.year = static_cast<SHORT>(local.tm_year + 1900);
    ts.month = static_cast<USHORT>(local.tm_mon + 1);
    ts.day = static_cast<USHORT>(local.tm_mday);
    return ts;
}

// Automation date of a valid timestamp; false when the date is outside the
// range an automation date covers (years 100 to 9999).
bool OleDateFromStamp(const DBTIMESTAMP& ts, double& date) {
    if (ts.year < 100)
        return false;
    const long long days = DaysFromCivil(ts.year, ts.month, ts.day) - OleEpochDays;
    const double time =
        (ts.hour * 3600.0 + ts.minute * 60.0 + ts.second + ts.fraction / 1e9) / 86400.0;
    // Before the epoch the time of day still counts away from zero.
    date = days >= 0 ? static_cast<double>(days) + time : static_cast<double>(days) - time;
    return true;
}

// The timestamp of an automation date, to the millisecond; false for a value
// outside the automation date range.
bool StampFromOleDate(double date, DBTIMESTAMP& ts) {
    if (!(date >= DateMin && date < DateMax + 1e-9))
        return false;
    long long day = static_cast<long long>(date); // towards zero
    long long ms = std::llround(std::fabs(date - static_cast<double>(day)) * 86400000.0);
    if (ms >= 86400000) {
        ms -= 86400000;
        ++day;
    }
    long long y;
    unsigned m, d;
    CivilFromDays(day + OleEpochDays, y, m, d);
    ts.year = static_cast<SHORT>(y);
    ts.month = static_cast<USHORT>(m);
    ts.day = static_cast<USHORT>(d);
    ts.hour = static_cast<USHORT>(ms / 3600000);
    ts.minute = static_cast<USHORT>(ms / 60000 % 60);
    ts.second = static_cast<USHORT>(ms / 1000 % 60);
    ts.fraction = static_cast<ULONG>(ms % 1000 * 1000000);
    return true;
}

// ------------------------------------------------------------------ values

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
    } kind;
    LONGLONG i = 0;
    ULONGLONG u = 0;
    double r = 0;
    int digits = 15;
    u128 mag; // set with Scaled
    int scale = 0;
    bool neg = false;
    bool trimZeros = false; // CY text drops trailing fraction zeros
    bool b = false;
    DBTIMESTAMP ts; // set with Stamp
    bool hasDate = false;
    bool hasTime = false;
    GUID guid; // set with Guid
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
    const BYTE* bytes = nullptr;
    size_t length = 0;
    // DBTYPE_EMPTY: zero as a number, empty as text, the null GUID.
    bool empty = false;
};

// What a conversion produced.
struct Result {
    DBSTATUS status = DBSTATUS_S_OK;
    DBLENGTH length = 0;
};

// ---------------------------------------------------------- decimal numbers

// A decimal number parsed from text: mag * 10^-scale. huge means the integer
// part alone has more than 38 digits.
struct Decimal {
    u128 mag = 0;
    int scale = 0;
    bool neg = false;
    bool huge = false;
};

template <class Char> bool IsSpace(Char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

template <class Char> void Trim(const Char*& p, size_t& n) {
    while (n > 0 && IsSpace(p[0])) {
        ++p;
        --n;
    }
    while (n > 0 && IsSpace(p[n - 1]))
        --n;
}

// Parses [sign] digits [. digits] [e [sign] digits]; false when the text is
// no number. Digits beyond the 38 a numeric holds are dropped after the
// decimal point and make the number huge before it.
template <class Char> bool ParseDecimal(const Char* p, size_t n, Decimal& out) {
    Trim(p, n);
    size_t i = 0;
    out = Decimal{};
    if (i < n && (p[i] == '+' || p[i] == '-'))
        out.neg = p[i++] == '-';
    int digits = 0;      // significant digits kept in mag
    long long shift = 0; // power of ten to apply to mag
    bool any = false;
    for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i) {
        any = true;
        if (digits == 0 && p[i] == '0')
            continue;
        if (digits < MaxNumericDigits) {
            out.mag = out.mag * 10 + static_cast<unsigned>(p[i] - '0');
            ++digits;
        } else {
            ++shift;
        }
    }
    if (i < n && p[i] == '.') {
        ++i;
        for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i) {
            any = true;
            if (digits == 0 && p[i] == '0') {
                --shift;
                continue;
            }
            if (digits < MaxNumericDigits) {
                out.mag = out.mag * 10 + static_cast<unsigned>(p[i] - '0');
                ++digits;
                --shift;
            }
        }
    }
    if (!any)
        return false;
    if (i < n && (p[i] == 'e' || p[i] == 'E')) {
        ++i;
        bool expNeg = false;
        if (i < n && (p[i] == '+' || p[i] == '-'))
            expNeg = p[i++] == '-';
        if (i >= n || p[i] < '0' || p[i] > '9')
            return false;
        long long exp = 0;
        for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i)
            if (exp < 100000)
                exp = exp * 10 + (p[i] - '0');
        shift += expNeg ? -exp : exp;
    }
    if (i != n)
        return false;
    if (out.mag == 0) {
        out.scale = 0;
        return true;
    }
    if (shift > 0) {
        if (digits + shift > MaxNumericDigits + 1 ||
            out.mag > std::numeric_limits<u128>::max() / Powers.v[shift]) {
            out.huge = true;
            return true;
        }
        out.mag *= Powers.v[shift];
    } else if (shift < 0) {
        long long scale = -shift;
        if (scale > MaxNumericDigits) {
            // Only the leading digits that stay within 38 places remain.
            long long drop = scale - MaxNumericDigits;
            out.mag = drop > MaxNumericDigits ? 0 : out.mag / Powers.v[drop];
            scale = MaxNumericDigits;
        }
        out.scale = static_cast<int>(scale);
    }
    return true;
}

// The shortest text that reads back as v, parsed as a decimal; so 0.1 stays
// 0.1 rather than the binary value's 55 digits.
bool DecimalFromReal(double v, Decimal& out) {
    char buffer[64];
    auto [end, ec] =
        std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::scientific);
    return ec == std::errc() && ParseDecimal(buffer, static_cast<size_t>(end - buffer), out);
}

// Digits of mag into the end of buffer; returns the first digit.
char* FormatMagnitude(u128 mag, char* end) {
    // 128-bit division is a library call; it runs once per 19 digits, the
    // digits themselves come from 64-bit arithmetic.
    constexpr ULONGLONG Chunk = 10000000000000000000ull; // 10^19
    char* p = end;
    while (mag > std::numeric_limits<ULONGLONG>::max()) {
        ULONGLONG low = static_cast<ULONGLONG>(mag % Chunk);
        mag /= Chunk;
        for (int k = 0; k < 19; ++k, low /= 10)
            *--p = static_cast<char>('0' + low % 10);
    }
    ULONGLONG rest = static_cast<ULONGLONG>(mag);
    do {
        *--p = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    return p;
}

// Writes value as exactly width decimal digits.
char* PutDigits(char* out, unsigned value, int width) {
    for (int k = width - 1; k >= 0; --k, value /= 10)
        out[k] = static_cast<char>('0' + value % 10);
    return out + width;
}

// The text of mag * 10^-scale: "-12.340", "0.05".
size_t FormatScaled(u128 mag, int scale, bool neg, bool trimZeros, char* out) {
    char digits[48];
    char* end = digits + sizeof digits;
    char* first = FormatMagnitude(mag, end);
    int count = static_cast<int>(end - first);
    size_t n = 0;
    if (neg && mag != 0)
        out[n++] = '-';
    if (count <= scale) {
        out[n++] = '0';
    } else {
        std::memcpy(out + n, first, static_cast<size_t>(count - scale));
        n += static_cast<size_t>(count - scale);
    }
    if (scale > 0) {
        size_t point = n;
        out[n++] = '.';
        for (int k = count; k < scale; ++k)
            out[n++] = '0';
        int fracDigits = count < scale ? count : scale;
        std::memcpy(out + n, end - fracDigits, static_cast<size_t>(fracDigits));
        n += static_cast<size_t>(fracDigits);
        if (trimZeros) {
            while (n > point + 1 && out[n - 1] == '0')
                --n;
            if (n == point + 1)
                n = point;
        }
    }
    return n;
}

double RealFromScaled(u128 mag, int scale, bool neg) {
    char text[64];
    char* end = text + sizeof text - 8;
    char* p = FormatMagnitude(mag, end);
    if (neg)
        *--p = '-';
    int len = std::snprintf(end, 8, "e-%d", scale);
    double v = 0;
    std::from_chars(p, end + len, v);
    return v;
}

// ---------------------------------------------------------------- reading

// Reads a fixed or text source into v. Text is viewed, never copied. false
// only for types no conversion reads.
bool ReadValue(DBTYPE type, const void* src, DBLENGTH cbSrc, DBDATACONVERT flags, Value& v) {
    switch (type) {
    case DBTYPE_EMPTY:
        v.kind = Value::Kind::Signed;
        v.empty = true;
        return true;
    case DBTYPE_I1:
        v.kind = Value::Kind::Signed;
        v.i = Load<signed char>(src);
        return true;
    case DBTYPE_I2:
        v.kind = Value::Kind::Signed;
        v.i = Load<SHORT>(src);
        return true;
    case DBTYPE_I4:
        v.kind = Value::Kind::Signed;
        v.i = Load<LONG>(src);
        return true;
    case DBTYPE_I8:
        v.kind = Value::Kind::Signed;
        v.i = Load<LONGLONG>(src);
        return true;
    case DBTYPE_UI1:
        v.kind = Value::Kind::Unsigned;
        v.u = Load<BYTE>(src);
        return true;
    case DBTYPE_UI2:
        v.kind = Value::Kind::Unsigned;
        v.u = Load<USHORT>(src);
        return true;
    case DBTYPE_UI4:
        v.kind = Value::Kind::Unsigned;
        v.u = Load<ULONG>(src);
        return true;
    case DBTYPE_UI8:
        v.kind = Value::Kind::Unsigned;
        v.u = Load<ULONGLONG>(src);
        return true;
    case DBTYPE_R4:
        v.kind = Value::Kind::Real;
        v.r = Load<float>(src);
        v.digits = 7;
        return true;
    case DBTYPE_R8:
        v.kind = Value::Kind::Real;
        v.r = Load<double>(src);
        return true;
    case DBTYPE_BOOL:
        v.kind = Value::Kind::Bool;
        v.b = Load<VARIANT_BOOL>(src) != VARIANT_FALSE;
        return true;
    case DBTYPE_CY: {
        LONGLONG cy = Load<LONGLONG>(src);
        v.kind = Value::Kind::Scaled;
        v.neg = cy < 0;
        v.mag = cy < 0 ? static_cast<u128>(-static_cast<i128>(cy)) : static_cast<u128>(cy);
        v.scale = 4;
        v.trimZeros = true;
        return true;
    }
    case DBTYPE_DECIMAL: {
        DECIMAL dec = Load<DECIMAL>(src);
        v.kind = Value::Kind::Scaled;
        v.neg = (dec.sign & DECIMAL_NEG) != 0;
        v.mag = (static_cast<u128>(dec.Hi32) << 64) | dec.Lo64;
        v.scale = dec.scale;
        return v.scale <= 28;
    }
    case DBTYPE_NUMERIC: {
        DB_NUMERIC num = Load<DB_NUMERIC>(src);
        v.kind = Value::Kind::Scaled;
        v.neg = num.sign == 0;
        u128 mag = 0;
        for (int k = 15; k >= 0; --k)
            mag = (mag << 8) | num.val[k];
        v.mag = mag;
        v.scale = num.scale;
        return v.scale <= MaxNumericDigits; // anything else is no numeric value
    }
    case DBTYPE_DATE:
        v.kind = Value::Kind::OleDate;
        v.r = Load<double>(src);
        return true;
    case DBTYPE_DBDATE: {
        DBDATE d = Load<DBDATE>(src);
        v.kind = Value::Kind::Stamp;
        v.ts = DBTIMESTAMP{};
        v.ts.year = d.year;
        v.ts.month = d.month;
        v.ts.day = d.day;
        v.hasDate = true;
        return true;
    }
    case DBTYPE_DBTIME: {
        DBTIME t = Load<DBTIME>(src);
        v.kind = Value::Kind::Stamp;
        v.ts = DBTIMESTAMP{};
        v.ts.hour = t.hour;
        v.ts.minute = t.minute;
        v.ts.second = t.second;
        v.hasTime = true;
        return true;
    }
    case DBTYPE_DBTIMESTAMP:
        v.kind = Value::Kind::Stamp;
        v.ts = Load<DBTIMESTAMP>(src);
        v.hasDate = v.hasTime = true;
        return true;
    case DBTYPE_GUID:
        v.kind = Value::Kind::Guid;
        v.guid = Load<GUID>(src);
        return true;
    case DBTYPE_STR:
        v.kind = Value::Kind::Narrow;
        v.narrow = static_cast<const char*>(src);
        v.length = (flags & DBDATACONVERT_LENGTHFROMNTS) ? std::strlen(v.narrow) : cbSrc;
        return true;
    case DBTYPE_WSTR:
        v.kind = Value::Kind::Wide;
        v.wide = static_cast<const wchar_t*>(src);
        v.length =
            (flags & DBDATACONVERT_LENGTHFROMNTS) ? std::wcslen(v.wide) : cbSrc / sizeof(wchar_t);
        return true;
    case DBTYPE_BSTR: {
        BSTR bstr = Load<BSTR>(src);
        v.kind = Value::Kind::Wide;
        v.wide = bstr ? bstr : L"";
        v.length = bstr ? SysStringLen(bstr) : 0;
        return true;
    }
    case DBTYPE_BYTES:
        v.kind = Value::Kind::Bytes;
        v.bytes = static_cast<const BYTE*>(src);
        v.length = cbSrc;
        return true;
    default:
        return false;
    }
}

// ---------------------------------------------------------------- numbers

// Text as a decimal number (ASCII digits only; wide and narrow alike).
bool ParseText(const Value& v, Decimal& d) {
    if (v.kind == Value::Kind::Narrow)
        return ParseDecimal(v.narrow, v.length, d);
    return ParseDecimal(v.wide, v.length, d);
}

// The integer part of v for an integer destination of range [lo, hi].
DBSTATUS ToInteger(const Value& v, i128 lo, i128 hi, i128& out) {
    // A magnitude that cannot fit 64 bits is out of every range.
    auto fromMagnitude = [&](u128 mag, bool neg) {
        if (mag > (static_cast<u128>(1) << 64))
            return neg && mag != 0 && lo == 0 ? DBSTATUS_E_SIGNMISMATCH : DBSTATUS_E_DATAOVERFLOW;
        out = neg ? -static_cast<i128>(mag) : static_cast<i128>(mag);
        return DBSTATUS_S_OK;
    };
    DBSTATUS status = DBSTATUS_S_OK;
    switch (v.kind) {
    case Value::Kind::Signed:
        out = v.i;
        break;
    case Value::Kind::Unsigned:
        out = v.u;
        break;
    case Value::Kind::Bool:
        // True is -1, and the all-ones pattern of an unsigned destination.
        out = v.b ? (lo < 0 ? -1 : hi) : 0;
        return DBSTATUS_S_OK;
    case Value::Kind::Real:
    case Value::Kind::OleDate: {
        if (std::isnan(v.r))
            return DBSTATUS_E_CANTCONVERTVALUE;
        double t = std::trunc(v.r);
        if (t >= 18446744073709551616.0 || t < -9223372036854775808.0)
            return t < 0 && lo == 0 ? DBSTATUS_E_SIGNMISMATCH : DBSTATUS_E_DATAOVERFLOW;
        out = t < 0 ? static_cast<i128>(static_cast<LONGLONG>(t))
                    : static_cast<i128>(static_cast<ULONGLONG>(t));
        break;
    }
    case Value::Kind::Scaled:
        status = fromMagnitude(v.scale > 0 ? v.mag / Powers.v[v.scale] : v.mag, v.neg);
        break;
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        Decimal d;
        if (!ParseText(v, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        if (d.huge)
            return d.neg && lo == 0 ? DBSTATUS_E_SIGNMISMATCH : DBSTATUS_E_DATAOVERFLOW;
        status = fromMagnitude(d.scale > 0 ? d.mag / Powers.v[d.scale] : d.mag, d.neg);
        break;
    }
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
    if (status != DBSTATUS_S_OK)
        return status;
    if (out < 0 && lo == 0)
        return DBSTATUS_E_SIGNMISMATCH;
    if (out < lo || out > hi)
        return DBSTATUS_E_DATAOVERFLOW;
    return DBSTATUS_S_OK;
}

DBSTATUS ToReal(const Value& v, double& out) {
    switch (v.kind) {
    case Value::Kind::Signed:
        out = static_cast<double>(v.i);
        return DBSTATUS_S_OK;
    case Value::Kind::Unsigned:
        out = static_cast<double>(v.u);
        return DBSTATUS_S_OK;
    case Value::Kind::Real:
    case Value::Kind::OleDate:
        out = v.r;
        return DBSTATUS_S_OK;
    case Value::Kind::Bool:
        out = v.b ? -1.0 : 0.0;
        return DBSTATUS_S_OK;
    case Value::Kind::Scaled:
        out = RealFromScaled(v.mag, v.scale, v.neg);
        return DBSTATUS_S_OK;
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        Decimal d;
        if (!ParseText(v, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        if (d.huge) {
            // Beyond 38 digits a numeric gives up, a double does not.
            char buffer[128] = {};
            size_t n = 0;
            const size_t len = v.length < sizeof buffer - 1 ? v.length : 0;
            for (size_t k = 0; k < len; ++k) {
                unsigned c = v.kind == Value::Kind::Narrow ? static_cast<unsigned char>(v.narrow[k])
                                                           : static_cast<unsigned>(v.wide[k]);
                if (c != '+' && !IsSpace(c))
                    buffer[n++] = static_cast<char>(c);
            }
            auto [ptr, ec] = std::from_chars(buffer, buffer + n, out);
            if (ec != std::errc() || len == 0 || !std::isfinite(out))
                return DBSTATUS_E_DATAOVERFLOW;
            return DBSTATUS_S_OK;
        }
        out = RealFromScaled(d.mag, d.scale, d.neg);
        return std::isfinite(out) ? DBSTATUS_S_OK : DBSTATUS_E_DATAOVERFLOW;
    }
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
}

// v as mag * 10^-scale with the given scale (fraction digits beyond it are
// dropped) and at most precision digits.
DBSTATUS ToScaled(const Value& v, int scale, int precision, Decimal& out) {
    Decimal d;
    switch (v.kind) {
    case Value::Kind::Signed:
        d.neg = v.i < 0;
        d.mag = v.i < 0 ? static_cast<u128>(-static_cast<i128>(v.i)) : static_cast<u128>(v.i);
        break;
    case Value::Kind::Unsigned:
        d.mag = v.u;
        break;
    case Value::Kind::Bool:
        d.neg = v.b;
        d.mag = v.b ? 1 : 0;
        break;
    case Value::Kind::Real:
    case Value::Kind::OleDate:
        if (!std::isfinite(v.r))
            return std::isnan(v.r) ? DBSTATUS_E_CANTCONVERTVALUE : DBSTATUS_E_DATAOVERFLOW;
        if (!DecimalFromReal(v.r, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    case Value::Kind::Scaled:
        d.mag = v.mag;
        d.scale = v.scale;
        d.neg = v.neg;
        break;
    case Value::Kind::Narrow:
    case Value::Kind::Wide:
        if (!ParseText(v, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
    if (d.huge)
        return DBSTATUS_E_DATAOVERFLOW;
    if (scale < 0)
        scale = d.scale; // keep the source's scale
    if (scale > d.scale) {
        int up = scale - d.scale;
        if (up > MaxNumericDigits || d.mag > std::numeric_limits<u128>::max() / Powers.v[up])
            return DBSTATUS_E_DATAOVERFLOW;
        d.mag *= Powers.v[up];
    } else if (scale < d.scale) {
        d.mag /= Powers.v[d.scale - scale];
    }
    d.scale = scale;
    if (precision <= MaxNumericDigits && d.mag >= Powers.v[precision])
        return DBSTATUS_E_DATAOVERFLOW;
    if (d.mag == 0)
        d.neg = false;
    out = d;
    return DBSTATUS_S_OK;
}

// Number of decimal digits of mag (1 for zero).
int DigitCount(u128 mag) {
    int n = 1;
    while (n <= MaxNumericDigits && mag >= Powers.v[n])
        ++n;
    return n;
}

template <class Char> bool EqualsNoCase(const Char* p, size_t n, const char* word) {
    size_t k = 0;
    for (; k < n && word[k]; ++k) {
        unsigned c = static_cast<unsigned>(p[k]);
        if (c >= 'A' && c <= 'Z')
            c += 'a' - 'A';
        if (c != static_cast<unsigned>(word[k]))
            return false;
    }
    return k == n && word[k] == 0;
}

template <class Char> int BoolWord(const Char* p, size_t n) {
    Trim(p, n);
    if (EqualsNoCase(p, n, "true"))
        return 1;
    if (EqualsNoCase(p, n, "false"))
        return 0;
    return -1;
}

DBSTATUS ToBool(const Value& v, bool& out) {
    switch (v.kind) {
    case Value::Kind::Bool:
        out = v.b;
        return DBSTATUS_S_OK;
    case Value::Kind::Signed:
        out = v.i != 0;
        return DBSTATUS_S_OK;
    case Value::Kind::Unsigned:
        out = v.u != 0;
        return DBSTATUS_S_OK;
    case Value::Kind::Real:
    case Value::Kind::OleDate:
        if (std::isnan(v.r))
            return DBSTATUS_E_CANTCONVERTVALUE;
        out = v.r != 0;
        return DBSTATUS_S_OK;
    case Value::Kind::Scaled:
        out = v.mag != 0;
        return DBSTATUS_S_OK;
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        int word = v.kind == Value::Kind::Narrow ? BoolWord(v.narrow, v.length)
                                                 : BoolWord(v.wide, v.length);
        if (word >= 0) {
            out = word == 1;
            return DBSTATUS_S_OK;
        }
        Decimal d;
        if (!ParseText(v, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        out = d.huge || d.mag != 0;
        return DBSTATUS_S_OK;
    }
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
}

// ---------------------------------------------------------- dates and times

template <class Char>
bool ReadField(const Char* p, size_t n, size_t& i, int minDigits, int maxDigits, unsigned& out) {
    int count = 0;
    out = 0;
    while (i < n && count < maxDigits && p[i] >= '0' && p[i] <= '9') {
        out = out * 10 + static_cast<unsigned>(p[i] - '0');
        ++i;
        ++count;
    }
    return count >= minDigits;
}

// Parses "hh:mm[:ss[.f...]]" at i.
template <class Char> bool ParseTimePart(const Char* p, size_t n, size_t& i, DBTIMESTAMP& ts) {
    unsigned h, mi, s = 0;
    if (!ReadField(p, n, i, 1, 2, h) || i >= n || p[i] != ':')
        return false;
    ++i;
    if (!ReadField(p, n, i, 2, 2, mi))
        return false;
    ULONG fraction = 0;
    if (i < n && p[i] == ':') {
        ++i;
        if (!ReadField(p, n, i, 2, 2, s))
            return false;
        if (i < n && p[i] == '.') {
            ++i;
            ULONG scale = 100000000;
            bool any = false;
            for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i) {
                any = true;
                fraction += static_cast<ULONG>(p[i] - '0') * scale; // digits past 9 drop
                scale /= 10;
            }
            if (!any)
                return false;
        }
    }
    if (!ValidTime(h, mi, s, fraction))
        return false;
    ts.hour = static_cast<USHORT>(h);
    ts.minute = static_cast<USHORT>(mi);
    ts.second = static_cast<USHORT>(s);
    ts.fraction = fraction;
    return true;
}

// Parses "yyyy-mm-dd", "yyyy-mm-dd hh:mm:ss[.f...]" (or with 'T') and
// "hh:mm:ss[.f...]", saying which parts were there.
template <class Char>
bool ParseStamp(const Char* p, size_t n, DBTIMESTAMP& ts, bool& hasDate, bool& hasTime) {
    Trim(p, n);
    ts = DBTIMESTAMP{};
    hasDate = hasTime = false;
    size_t i = 0;
    // A time alone has its colon within the first three characters.
    bool timeOnly = false;
    for (size_t k = 0; k < n && k < 3; ++k)
        if (p[k] == ':')
            timeOnly = true;
    if (!timeOnly) {
        bool negYear = false;
        if (i < n && p[i] == '-') {
            negYear = true;
            ++i;
        }
        unsigned y, m, d;
        if (!ReadField(p, n, i, 1, 4, y) || i >= n || p[i] != '-')
            return false;
        ++i;
        if (!ReadField(p, n, i, 1, 2, m) || i >= n || p[i] != '-')
            return false;
        ++i;
        if (!ReadField(p, n, i, 1, 2, d))
            return false;
        long long year = negYear ? -static_cast<long long>(y) : y;
        if (!ValidDate(year, m, d))
            return false;
        ts.year = static_cast<SHORT>(year);
        ts.month = static_cast<USHORT>(m);
        ts.day = static_cast<USHORT>(d);
        hasDate = true;
        if (i == n)
            return true;
        if (p[i] != ' ' && p[i] != 'T')
            return false;
        while (i < n && IsSpace(p[i]))
            ++i;
        if (i < n && p[i] == 'T')
            ++i;
    }
    if (!ParseTimePart(p, n, i, ts))
        return false;
    hasTime = true;
    return i == n;
}

// v as a timestamp, saying which parts it had; missing parts are zero.
DBSTATUS ToStamp(const Value& v, DBTIMESTAMP& out, bool& hasDate, bool& hasTime) {
    DBTIMESTAMP ts{};
    hasDate = hasTime = false;
    switch (v.kind) {
    case Value::Kind::Stamp:
        ts = v.ts;
        hasDate = v.hasDate;
        hasTime = v.hasTime;
        if ((hasDate && !ValidDate(ts.year, ts.month, ts.day)) ||
            (hasTime && !ValidTime(ts.hour, ts.minute, ts.second, ts.fraction)))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    case Value::Kind::OleDate:
        if (!StampFromOleDate(v.r, ts))
            return DBSTATUS_E_DATAOVERFLOW;
        hasDate = hasTime = true;
        break;
    case Value::Kind::Signed:
    case Value::Kind::Unsigned:
    case Value::Kind::Real:
    case Value::Kind::Scaled: {
        // A number counts as an automation date.
        double date;
        DBSTATUS status = ToReal(v, date);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!StampFromOleDate(date, ts))
            return DBSTATUS_E_DATAOVERFLOW;
        hasDate = hasTime = true;
        break;
    }
    case Value::Kind::Narrow:
        if (!ParseStamp(v.narrow, v.length, ts, hasDate, hasTime))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    case Value::Kind::Wide:
        if (!ParseStamp(v.wide, v.length, ts, hasDate, hasTime))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
    out = ts;
    return DBSTATUS_S_OK;
}

DBSTATUS ToOleDate(const Value& v, double& out) {
    switch (v.kind) {
    case Value::Kind::Stamp:
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        DBTIMESTAMP ts;
        bool hasDate, hasTime;
        DBSTATUS status = ToStamp(v, ts, hasDate, hasTime);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!hasDate) {
            // A time of day alone lands on the automation epoch.
            out = (ts.hour * 3600.0 + ts.minute * 60.0 + ts.second + ts.fraction / 1e9) / 86400.0;
            return DBSTATUS_S_OK;
        }
        return OleDateFromStamp(ts, out) ? DBSTATUS_S_OK : DBSTATUS_E_DATAOVERFLOW;
    }
    case Value::Kind::Guid:
    case Value::Kind::Bytes:
        return DBSTATUS_E_CANTCONVERTVALUE;
    default: {
        double r;
        DBSTATUS status = ToReal(v, r);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!(r >= DateMin && r <= DateMax))
            return DBSTATUS_E_DATAOVERFLOW;
        out = r;
        return DBSTATUS_S_OK;
    }
    }
}

// -------------------------------------------------------------------- text

enum class Cut {
    Plain,  // any prefix will do: S_TRUNCATED
    Number, // the fraction may go, the integer part may not
    Never,  // nothing may go: DATAOVERFLOW
};

// Formats a fixed value as ASCII text; n = 0 when it has none.
DBSTATUS FormatValue(const Value& v, char* out, size_t& n, Cut& cut) {
    n = 0;
    cut = Cut::Plain;
    switch (v.kind) {
    case Value::Kind::Signed: {
        auto r = std::to_chars(out, out + 64, v.i);
        n = static_cast<size_t>(r.ptr - out);
        cut = Cut::Never;
        return DBSTATUS_S_OK;
    }
    case Value::Kind::Unsigned: {
        auto r = std::to_chars(out, out + 64, v.u);
        n = static_cast<size_t>(r.ptr - out);
        cut = Cut::Never;
        return DBSTATUS_S_OK;
    }
    case Value::Kind::Real: {
        if (std::isnan(v.r))
            return DBSTATUS_E_CANTCONVERTVALUE;
        if (std::isinf(v.r))
            return DBSTATUS_E_DATAOVERFLOW;
        auto r = std::to_chars(out, out + 64, v.r, std::chars_format::general, v.digits);
        n = static_cast<size_t>(r.ptr - out);
        bool exponent = false;
        for (size_t k = 0; k < n; ++k)
            if (out[k] == 'e') {
                out[k] = 'E';
                exponent = true;
            }
        if (n == 2 && out[0] == '-' && out[1] == '0')
            n = 1, out[0] = '0';
        cut = exponent ? Cut::Never : Cut::Number;
        return DBSTATUS_S_OK;
    }
    case Value::Kind::Scaled:
        n = FormatScaled(v.mag, v.scale, v.neg, v.trimZeros, out);
        cut = Cut::Number;
        return DBSTATUS_S_OK;
    case Value::Kind::Bool:
        n = v.b ? 4 : 5;
        std::memcpy(out, v.b ? "True" : "False", n);
        return DBSTATUS_S_OK;
    case Value::Kind::OleDate:
    case Value::Kind::Stamp: {
        DBTIMESTAMP ts;
        bool date, time;
        DBSTATUS status = ToStamp(v, ts, date, time);
        if (status != DBSTATUS_S_OK)
            return status;
        // yyyy-mm-dd hh:mm:ss.fffffffff, the parts the value has.
        char* p = out;
        if (date) {
            if (ts.year < 0)
                *p++ = '-';
            p = PutDigits(p, static_cast<unsigned>(ts.year < 0 ? -ts.year : ts.year), 4);
            *p++ = '-';
            p = PutDigits(p, ts.month, 2);
            *p++ = '-';
            p = PutDigits(p, ts.day, 2);
        }
        if (date && time)
            *p++ = ' ';
        if (time) {
            p = PutDigits(p, ts.hour, 2);
            *p++ = ':';
            p = PutDigits(p, ts.minute, 2);
            *p++ = ':';
            p = PutDigits(p, ts.second, 2);
            if (ts.fraction != 0) {
                *p++ = '.';
                p = PutDigits(p, ts.fraction, 9);
            }
        }
        n = static_cast<size_t>(p - out);
        return DBSTATUS_S_OK;
    }
    case Value::Kind::Guid: {
        const GUID& g = v.guid;
        n = static_cast<size_t>(
            std::snprintf(out, 64, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                          static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                          g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]));
        return DBSTATUS_S_OK;
    }
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
}

// How many of n characters fit into room characters under the cut rule;
// status is S_OK, S_TRUNCATED or DATAOVERFLOW.
size_t FitText(const char* text, size_t n, size_t room, Cut cut, DBSTATUS& status) {
    status = DBSTATUS_S_OK;
    if (n <= room)
        return n;
    if (cut == Cut::Never) {
        status = DBSTATUS_E_DATAOVERFLOW;
        return 0;
    }
    if (cut == Cut::Number) {
        size_t point = 0;
        while (point < n && text[point] != '.')
            ++point;
        if (room < point) {
            status = DBSTATUS_E_DATAOVERFLOW;
            return 0;
        }
        status = DBSTATUS_S_TRUNCATED;
        return room > point + 1 ? room : point; // never end on the bare point
    }
    status = DBSTATUS_S_TRUNCATED;
    return room;
}

// Characters of room (terminator excluded) in a text destination of max bytes.
size_t TextRoom(DBTYPE dst, DBLENGTH max) {
    size_t unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
    return max >= unit ? max / unit - 1 : 0;
}

bool HasTerminatorRoom(DBTYPE dst, DBLENGTH max) {
    return max >= (dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1);
}

// Writes ASCII text to a STR or WSTR destination. measure: only the length.
Result WriteAscii(const char* text, size_t n, Cut cut, DBTYPE dst, void* pDst, DBLENGTH max,
                  bool measure) {
    Result res;
    const size_t unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
    res.length = n * unit;
    if (measure)
        return res;
    size_t keep = FitText(text, n, TextRoom(dst, max), cut, res.status);
    if (res.status == DBSTATUS_E_DATAOVERFLOW)
        return res;
    if (!HasTerminatorRoom(dst, max)) {
        res.status = DBSTATUS_S_TRUNCATED;
        return res;
    }
    if (dst == DBTYPE_WSTR) {
        auto* w = static_cast<wchar_t*>(pDst);
        for (size_t k = 0; k < keep; ++k)
            w[k] = static_cast<unsigned char>(text[k]);
        w[keep] = 0;
    } else {
        auto* c = static_cast<char*>(pDst);
        std::memcpy(c, text, keep);
        c[keep] = 0;
    }
    return res;
}

// A fixed-capacity output for the UTF-8 encoder of StringConversion.h.
struct CharBuffer {
    using value_type = char;
    char data[8];
    size_t size = 0;
    void push_back(char c) { data[size++] = c; }
};

// Wide text into a narrow destination of room bytes (terminator excluded),
// whole characters only. Returns the full narrow length.
size_t NarrowFromWide(const wchar_t* w, size_t n, char* out, size_t room, bool& cut, bool& lost) {
    cut = lost = false;
    if (!hdbtext::AnsiIsUtf8()) {
        std::string narrow = hdbtext::AnsiFromWide(std::wstring_view(w, n), &lost);
        size_t keep = narrow.size() <= room ? narrow.size() : room;
        cut = keep < narrow.size();
        if (out)
            std::memcpy(out, narrow.data(), keep);
        if (out)
            out[keep] = 0;
        return narrow.size();
    }
    size_t total = 0, used = 0;
    for (size_t k = 0; k < n;) {
        auto d = hdbtext::detail::DecodeWide(w + k, n - k);
        k += d.length;
        lost |= !d.valid;
        CharBuffer buffer;
        hdbtext::detail::AppendUtf8(buffer, d.codePoint);
        total += buffer.size;
        if (!cut && used + buffer.size <= room) {
            if (out)
                std::memcpy(out + used, buffer.data, buffer.size);
            used += buffer.size;
        } else {
            cut = true;
        }
    }
    if (out)
        out[used] = 0;
    return total;
}

// Narrow text into a wide destination of room characters (terminator
// excluded). Returns the full wide length in characters.
size_t WideFromNarrow(const char* s, size_t n, wchar_t* out, size_t room, bool& cut) {
    cut = false;
    if (!hdbtext::AnsiIsUtf8()) {
        std::wstring wide = hdbtext::WideFromAnsi(std::string_view(s, n));
        size_t keep = wide.size() <= room ? wide.size() : room;
        cut = keep < wide.size();
        if (out) {
            std::wmemcpy(out, wide.data(), keep);
            out[keep] = 0;
        }
        return wide.size();
    }
    size_t total = 0;
    for (size_t k = 0; k < n;) {
        auto d = hdbtext::detail::DecodeUtf8(s + k, n - k);
        k += d.length;
        if (out && total < room)
            out[total] = static_cast<wchar_t>(d.codePoint);
        ++total;
    }
    cut = total > room;
    if (out)
        out[total < room ? total : room] = 0;
    return total;
}

// Writes text held by v (narrow or wide) to a STR or WSTR destination.
Result WriteText(const Value& v, DBTYPE dst, void* pDst, DBLENGTH max, bool measure) {
    Result res;
    const bool room = !measure && HasTerminatorRoom(dst, max);
    const size_t chars = TextRoom(dst, max);
    bool cut = false, lost = false;
    if (dst == DBTYPE_STR) {
        char* out = room ? static_cast<char*>(pDst) : nullptr;
        if (v.kind == Value::Kind::Narrow) {
            res.length = v.length;
            if (out) {
                size_t keep = v.length <= chars ? v.length : chars;
                std::memcpy(out, v.narrow, keep);
                out[keep] = 0;
                cut = keep < v.length;
            }
        } else {
            res.length = NarrowFromWide(v.wide, v.length, out, chars, cut, lost);
        }
    } else {
        wchar_t* out = room ? static_cast<wchar_t*>(pDst) : nullptr;
        size_t n;
        if (v.kind == Value::Kind::Wide) {
            n = v.length;
            if (out) {
                size_t keep = n <= chars ? n : chars;
                std::wmemcpy(out, v.wide, keep);
                out[keep] = 0;
                cut = keep < n;
            }
        } else {
            n = WideFromNarrow(v.narrow, v.length, out, chars, cut);
        }
        res.length = n * sizeof(wchar_t);
    }
    if (!measure && (cut || lost || !room))
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

constexpr char HexDigits[] = "0123456789ABCDEF";

// Bytes as hexadecimal text.
Result WriteHex(const BYTE* bytes, size_t n, DBTYPE dst, void* pDst, DBLENGTH max, bool measure) {
    Result res;
    const size_t unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
    res.length = 2 * n * unit;
    if (measure)
        return res;
    if (!HasTerminatorRoom(dst, max)) {
        res.status = DBSTATUS_S_TRUNCATED;
        return res;
    }
    size_t room = TextRoom(dst, max);
    size_t keep = 2 * n <= room ? 2 * n : room;
    for (size_t k = 0; k < keep; ++k) {
        BYTE b = bytes[k / 2];
        char c = HexDigits[k % 2 == 0 ? b >> 4 : b & 0xF];
        if (dst == DBTYPE_WSTR)
            static_cast<wchar_t*>(pDst)[k] = static_cast<wchar_t>(c);
        else
            static_cast<char*>(pDst)[k] = c;
    }
    if (dst == DBTYPE_WSTR)
        static_cast<wchar_t*>(pDst)[keep] = 0;
    else
        static_cast<char*>(pDst)[keep] = 0;
    if (keep < 2 * n)
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

// Hexadecimal text as bytes.
template <class Char>
Result ParseHex(const Char* p, size_t n, BYTE* out, DBLENGTH max, bool measure) {
    Result res;
    Trim(p, n);
    if (n % 2 != 0) {
        res.status = DBSTATUS_E_CANTCONVERTVALUE;
        return res;
    }
    for (size_t k = 0; k < n; ++k)
        if (hdbcom::HexDigitValue(p[k]) < 0) {
            res.status = DBSTATUS_E_CANTCONVERTVALUE;
            return res;
        }
    res.length = n / 2;
    if (measure)
        return res;
    size_t keep = res.length <= max ? res.length : max;
    for (size_t k = 0; k < keep; ++k)
        out[k] = static_cast<BYTE>(hdbcom::HexDigitValue(p[2 * k]) * 16 +
                                   hdbcom::HexDigitValue(p[2 * k + 1]));
    if (keep < res.length)
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

template <class Char> bool ParseGuid(const Char* p, size_t n, GUID& guid) {
    Trim(p, n);
    if (n == hdbcom::GuidTextLength)
        return hdbcom::ParseBracedGuid(p, guid);
    if (n == hdbcom::GuidTextLength - 2) {
        Char braced[hdbcom::GuidTextLength];
        braced[0] = '{';
        for (size_t k = 0; k < n; ++k)
            braced[k + 1] = p[k];
        braced[n + 1] = '}';
        return hdbcom::ParseBracedGuid(braced, guid);
    }
    return false;
}

// ------------------------------------------------------------ the matrix

// The types of the destination sets below, one bit each in this order.
constexpr DBTYPE TableTypes[] = {
    DBTYPE_I1,      DBTYPE_I2,    DBTYPE_I4,   DBTYPE_I8,     DBTYPE_UI1,    DBTYPE_UI2,
    DBTYPE_UI4,     DBTYPE_UI8,   DBTYPE_R4,   DBTYPE_R8,     DBTYPE_CY,     DBTYPE_DECIMAL,
    DBTYPE_NUMERIC, DBTYPE_BOOL,  DBTYPE_DATE, DBTYPE_DBDATE, DBTYPE_DBTIME, DBTYPE_DBTIMESTAMP,
    DBTYPE_GUID,    DBTYPE_BYTES, DBTYPE_STR,  DBTYPE_WSTR,   DBTYPE_BSTR,   DBTYPE_VARIANT};

// Bits by type code, so that the check costs one load per call.
constexpr auto BitTable = [] {
    std::array<std::uint32_t, DBTYPE_DBTIMESTAMP + 1> table{};
    for (size_t k = 0; k < std::size(TableTypes); ++k)
        table[TableTypes[k]] = 1u << k;
    return table;
}();

// Bit of a type in the destination sets; 0 for types outside them.
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

// The destinations each source type converts to: the published conversion
// table as far as this platform has the types. Its irregular corners are
// kept on purpose (a DECIMAL reaches the DB dates but not DATE; only the
// 4- and 8-byte integers travel as raw BYTES), so that a consumer asking
// CanConvert gets the published answer. BYTES and VARIANT do not meet: there
// are no SAFEARRAYs on this platform.
std::uint32_t Destinations(DBTYPE src) {
    switch (src) {
    case DBTYPE_EMPTY:
        return Numbers | Bit(DBTYPE_DATE) | Bit(DBTYPE_DBTIMESTAMP) | Bit(DBTYPE_GUID) | Texts;
    case DBTYPE_I1:
    case DBTYPE_I2:
    case DBTYPE_UI1:
    case DBTYPE_UI2:
    case DBTYPE_R4:
    case DBTYPE_R8:
        return Numbers | Bit(DBTYPE_DATE) | Dates | Texts;
    case DBTYPE_I4:
    case DBTYPE_UI4:
        return Numbers | Bit(DBTYPE_DATE) | Dates | Bit(DBTYPE_BYTES) | Texts;
    case DBTYPE_I8:
    case DBTYPE_UI8:
        return Numbers | Bit(DBTYPE_BYTES) | Texts;
    case DBTYPE_CY:
    case DBTYPE_NUMERIC:
        return Numbers | Texts;
    case DBTYPE_DECIMAL:
        return Numbers | Dates | Texts;
    case DBTYPE_BOOL:
        return Numbers | Bit(DBTYPE_DATE) | Texts;
    case DBTYPE_DATE:
        return Integers | Bit(DBTYPE_R4) | Bit(DBTYPE_R8) | Bit(DBTYPE_BOOL) | Bit(DBTYPE_DATE) |
               Dates | Texts;
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP:
        return Bit(DBTYPE_DATE) | Dates | Texts;
    case DBTYPE_GUID:
        return Bit(DBTYPE_GUID) | Bit(DBTYPE_BYTES) | Texts;
    case DBTYPE_BYTES:
        return Bit(DBTYPE_I4) | Bit(DBTYPE_I8) | Bit(DBTYPE_UI4) | Bit(DBTYPE_UI8) |
               Bit(DBTYPE_GUID) | Bit(DBTYPE_BYTES) | (Texts & ~Bit(DBTYPE_VARIANT));
    case DBTYPE_STR:
    case DBTYPE_WSTR:
    case DBTYPE_BSTR:
    case DBTYPE_VARIANT:
        return Anything;
    default:
        return 0;
    }
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
    return (Destinations(src) & Bit(dst)) != 0;
}

// Raw bytes of the integers that travel as DBTYPE_BYTES.
bool IsRawInteger(DBTYPE type) {
    return type == DBTYPE_I4 || type == DBTYPE_UI4 || type == DBTYPE_I8 || type == DBTYPE_UI8;
}

// ----------------------------------------------------------------- writing

struct Request {
    DBTYPE dst;
    void* pDst;
    DBLENGTH max;
    BYTE precision;
    BYTE scale;
    DBDATACONVERT flags;
    bool measure; // compute the length only; pDst is not touched
};

Result Convert(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth);

// The type a VARIANT takes for a source type.
DBTYPE VariantTypeFor(DBTYPE src) {
    switch (src) {
    case DBTYPE_NUMERIC:
        return DBTYPE_DECIMAL;
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP:
        return DBTYPE_DATE;
    case DBTYPE_STR:
    case DBTYPE_WSTR:
    case DBTYPE_GUID:
        return DBTYPE_BSTR;
    default:
        return src;
    }
}

// Writes the source as a VARIANT of its natural type.
Result WriteVariant(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth) {
    Result res;
    res.length = sizeof(VARIANT);
    if (rq.measure)
        return res;
    DBTYPE vt = VariantTypeFor(src);
    VARIANT v;
    VariantInit(&v);
    if (src == DBTYPE_EMPTY) {
        Store(rq.pDst, v);
        return res;
    }
    Request inner{vt, nullptr, 0, 0, 0, rq.flags, false};
    if (vt == DBTYPE_DECIMAL)
        inner.pDst = &v.decVal;
    else if (vt == DBTYPE_BSTR)
        inner.pDst = &v.bstrVal;
    else
        inner.pDst = &v.llVal;
    Result r = Convert(src, cbSrc, pSrc, inner, depth + 1);
    res.status = r.status;
    if (r.status != DBSTATUS_S_OK && r.status != DBSTATUS_S_TRUNCATED)
        return res;
    v.vt = vt; // after the DECIMAL, whose first field shares the type's place
    Store(rq.pDst, v);
    return res;
}

// The DBTYPE and data of what a VARIANT holds; false when it holds nothing a
// conversion reads. isNull for VT_EMPTY and VT_NULL.
bool UnpackVariant(const VARIANT& v, DBTYPE& type, const void*& data, bool& isNull) {
    isNull = false;
    VARTYPE vt = v.vt;
    const bool byref = (vt & VT_BYREF) != 0;
    vt &= static_cast<VARTYPE>(~VT_BYREF);
    if (byref && v.byref == nullptr)
        return false;
    switch (vt) {
    case VT_EMPTY:
        type = DBTYPE_EMPTY;
        data = &v;
        return true;
    case VT_NULL:
        isNull = true;
        return true;
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_BOOL:
    case VT_BSTR:
        type = vt;
        data = byref ? v.byref : static_cast<const void*>(&v.llVal);
        return true;
    case VT_INT:
        type = DBTYPE_I4;
        data = byref ? v.byref : static_cast<const void*>(&v.intVal);
        return true;
    case VT_UINT:
        type = DBTYPE_UI4;
        data = byref ? v.byref : static_cast<const void*>(&v.uintVal);
        return true;
    case VT_DECIMAL:
        type = DBTYPE_DECIMAL;
        data = byref ? v.byref : static_cast<const void*>(&v.decVal);
        return true;
    case VT_VARIANT:
        if (!byref)
            return false;
        type = DBTYPE_VARIANT;
        data = v.byref;
        return true;
    default:
        return false;
    }
}

Result Fail(DBSTATUS status) {
    Result r;
    r.status = status;
    return r;
}

Result WriteValue(DBTYPE src, const Value& v, const Request& rq) {
    Result res;
    const DBTYPE dst = rq.dst;
    res.length = FixedSize(dst);
    if (v.empty) {
        switch (dst) {
        case DBTYPE_STR:
        case DBTYPE_WSTR:
            return WriteAscii("", 0, Cut::Plain, dst, rq.pDst, rq.max, rq.measure);
        case DBTYPE_BSTR:
            if (!rq.measure) {
                BSTR bstr = SysAllocStringLen(L"", 0);
                if (!bstr)
                    return Fail(DBSTATUS_E_CANTCONVERTVALUE);
                Store(rq.pDst, bstr);
            }
            return res;
        case DBTYPE_GUID:
            if (!rq.measure)
                Store(rq.pDst, GUID{});
            return res;
        case DBTYPE_DATE:
        case DBTYPE_DBTIMESTAMP: {
            Value epoch{};
            epoch.kind = Value::Kind::OleDate; // day 0 of the automation calendar
            return WriteValue(DBTYPE_DATE, epoch, rq);
        }
        default:
            break; // the number zero
        }
    }
    switch (dst) {
    case DBTYPE_I1:
    case DBTYPE_I2:
    case DBTYPE_I4:
    case DBTYPE_I8:
    case DBTYPE_UI1:
    case DBTYPE_UI2:
    case DBTYPE_UI4:
    case DBTYPE_UI8: {
        const bool isSigned =
            dst == DBTYPE_I1 || dst == DBTYPE_I2 || dst == DBTYPE_I4 || dst == DBTYPE_I8;
        const unsigned bits = 8 * static_cast<unsigned>(res.length);
        const i128 hi = (static_cast<i128>(1) << (isSigned ? bits - 1 : bits)) - 1;
        const i128 lo = isSigned ? -hi - 1 : 0;
        i128 out;
        res.status = ToInteger(v, lo, hi, out);
        if (res.status != DBSTATUS_S_OK || rq.measure)
            return res;
        // Little-endian: the low bytes of the two's complement are the value.
        std::memcpy(rq.pDst, &out, res.length);
        return res;
    }
    case DBTYPE_R4:
    case DBTYPE_R8: {
        double out;
        res.status = ToReal(v, out);
        if (res.status != DBSTATUS_S_OK || rq.measure)
            return res;
        if (dst == DBTYPE_R8) {
            Store(rq.pDst, out);
        } else {
            if (std::isfinite(out) && std::fabs(out) > FLT_MAX)
                return Fail(DBSTATUS_E_DATAOVERFLOW);
            Store(rq.pDst, static_cast<float>(out));
        }
        return res;
    }
    case DBTYPE_CY: {
        Decimal d;
        res.status = ToScaled(v, 4, MaxNumericDigits, d);
        if (res.status != DBSTATUS_S_OK || rq.measure)
            return res;
        if (d.mag > static_cast<u128>(INT64_MAX) + (d.neg ? 1 : 0))
            return Fail(DBSTATUS_E_DATAOVERFLOW);
        i128 cy = d.neg ? -static_cast<i128>(d.mag) : static_cast<i128>(d.mag);
        Store(rq.pDst, static_cast<LONGLONG>(cy));
        return res;
    }
    case DBTYPE_DECIMAL: {
        Decimal d;
        int scale = (rq.flags & DBDATACONVERT_DECIMALSCALE) ? rq.scale : -1;
        res.status = ToScaled(v, scale, MaxNumericDigits, d);
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
    case DBTYPE_NUMERIC: {
        Decimal d;
        // Without a precision the source's own scale is kept.
        int precision = rq.precision ? rq.precision : MaxNumericDigits;
        int scale = rq.precision ? rq.scale : -1;
        if (precision > MaxNumericDigits || scale > precision)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        res.status = ToScaled(v, scale, precision, d);
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
    case DBTYPE_BOOL: {
        bool b;
        res.status = ToBool(v, b);
        if (res.status == DBSTATUS_S_OK && !rq.measure)
            Store(rq.pDst, b ? VARIANT_TRUE : VARIANT_FALSE);
        return res;
    }
    case DBTYPE_DATE: {
        double date;
        res.status = ToOleDate(v, date);
        if (res.status == DBSTATUS_S_OK && !rq.measure)
            Store(rq.pDst, date);
        return res;
    }
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP: {
        DBTIMESTAMP ts;
        bool hasDate, hasTime;
        res.status = ToStamp(v, ts, hasDate, hasTime);
        // Text must hold the part the destination keeps; a typed date or time
        // lacking it takes midnight, or today.
        const bool text = v.kind == Value::Kind::Narrow || v.kind == Value::Kind::Wide;
        if (res.status == DBSTATUS_S_OK && text &&
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
    case DBTYPE_GUID: {
        GUID guid{};
        bool ok = false;
        if (v.kind == Value::Kind::Guid) {
            guid = v.guid;
            ok = true;
        } else if (v.kind == Value::Kind::Narrow) {
            ok = ParseGuid(v.narrow, v.length, guid);
        } else if (v.kind == Value::Kind::Wide) {
            ok = ParseGuid(v.wide, v.length, guid);
        } else if (v.kind == Value::Kind::Bytes && v.length == sizeof(GUID)) {
            std::memcpy(&guid, v.bytes, sizeof guid);
            ok = true;
        }
        if (!ok)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        if (!rq.measure)
            Store(rq.pDst, guid);
        return res;
    }
    case DBTYPE_BYTES: {
        if (v.kind == Value::Kind::Narrow)
            return ParseHex(v.narrow, v.length, static_cast<BYTE*>(rq.pDst), rq.max, rq.measure);
        if (v.kind == Value::Kind::Wide)
            return ParseHex(v.wide, v.length, static_cast<BYTE*>(rq.pDst), rq.max, rq.measure);
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
        res.length = n;
        if (rq.measure)
            return res;
        size_t keep = n <= rq.max ? n : rq.max;
        if (keep)
            std::memcpy(rq.pDst, data, keep);
        if (keep < n)
            res.status = DBSTATUS_S_TRUNCATED;
        return res;
    }
    case DBTYPE_STR:
    case DBTYPE_WSTR: {
        if (v.kind == Value::Kind::Narrow || v.kind == Value::Kind::Wide)
            return WriteText(v, dst, rq.pDst, rq.max, rq.measure);
        if (v.kind == Value::Kind::Bytes)
            return WriteHex(v.bytes, v.length, dst, rq.pDst, rq.max, rq.measure);
        char text[80];
        size_t n;
        Cut cut;
        DBSTATUS status = FormatValue(v, text, n, cut);
        if (status != DBSTATUS_S_OK)
            return Fail(status);
        return WriteAscii(text, n, cut, dst, rq.pDst, rq.max, rq.measure);
    }
    case DBTYPE_BSTR: {
        if (rq.measure)
            return res;
        BSTR bstr = nullptr;
        if (v.kind == Value::Kind::Wide) {
            bstr = SysAllocStringLen(v.wide, static_cast<UINT>(v.length));
        } else if (v.kind == Value::Kind::Narrow) {
            std::wstring wide = hdbtext::WideFromAnsi(std::string_view(v.narrow, v.length));
            bstr = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        } else {
            // Through wide text: hexadecimal for bytes, the text form otherwise.
            Request text{DBTYPE_WSTR, nullptr, 0, 0, 0, rq.flags, true};
            Result size = WriteValue(src, v, text);
            if (size.status != DBSTATUS_S_OK)
                return Fail(size.status);
            bstr = SysAllocStringLen(nullptr, static_cast<UINT>(size.length / sizeof(wchar_t)));
            if (!bstr)
                return Fail(DBSTATUS_E_CANTCONVERTVALUE);
            text.pDst = bstr;
            text.max = size.length + sizeof(wchar_t);
            text.measure = false;
            Result written = WriteValue(src, v, text);
            if (written.status != DBSTATUS_S_OK) {
                SysFreeString(bstr);
                return Fail(written.status);
            }
        }
        if (!bstr)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        Store(rq.pDst, bstr);
        return res;
    }
    default:
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    }
}

// An integer into another integer type: widening always fits, narrowing and
// changing sign are range-checked.
Result ConvertInteger(DBTYPE src, const void* pSrc, const Request& rq) {
    i128 v;
    switch (src) {
    case DBTYPE_I1:
        v = Load<signed char>(pSrc);
        break;
    case DBTYPE_I2:
        v = Load<SHORT>(pSrc);
        break;
    case DBTYPE_I4:
        v = Load<LONG>(pSrc);
        break;
    case DBTYPE_I8:
        v = Load<LONGLONG>(pSrc);
        break;
    case DBTYPE_UI1:
        v = Load<BYTE>(pSrc);
        break;
    case DBTYPE_UI2:
        v = Load<USHORT>(pSrc);
        break;
    case DBTYPE_UI4:
        v = Load<ULONG>(pSrc);
        break;
    default:
        v = Load<ULONGLONG>(pSrc);
        break;
    }
    Result res;
    res.length = FixedSize(rq.dst);
    const bool isSigned =
        rq.dst == DBTYPE_I1 || rq.dst == DBTYPE_I2 || rq.dst == DBTYPE_I4 || rq.dst == DBTYPE_I8;
    const unsigned bits = 8 * static_cast<unsigned>(res.length);
    const i128 hi = (static_cast<i128>(1) << (isSigned ? bits - 1 : bits)) - 1;
    if (v < 0 && !isSigned)
        res.status = DBSTATUS_E_SIGNMISMATCH;
    else if (v > hi || v < -hi - 1)
        res.status = DBSTATUS_E_DATAOVERFLOW;
    else if (!rq.measure)
        std::memcpy(rq.pDst, &v, res.length); // the low bytes, little-endian
    return res;
}

Result Convert(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth) {
    if (src & DBTYPE_BYREF) {
        pSrc = Load<const void*>(pSrc);
        src &= static_cast<DBTYPE>(~DBTYPE_BYREF);
        if (!pSrc)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    }
    if (src == DBTYPE_VARIANT) {
        if (depth > 4)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        const VARIANT var = Load<VARIANT>(pSrc);
        if (rq.dst == DBTYPE_VARIANT) {
            Result res;
            res.length = sizeof(VARIANT);
            if (rq.measure)
                return res;
            VARIANT copy;
            VariantInit(&copy);
            if (FAILED(VariantCopy(&copy, &var)))
                return Fail(DBSTATUS_E_CANTCONVERTVALUE);
            Store(rq.pDst, copy);
            return res;
        }
        DBTYPE type = DBTYPE_EMPTY;
        const void* data = nullptr;
        bool isNull = false;
        if (!UnpackVariant(var, type, data, isNull))
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        if (isNull)
            return Fail(DBSTATUS_S_ISNULL);
        if (!InMatrix(type, rq.dst))
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        // A value held inline is read from the local copy, which outlives
        // the call.
        return Convert(type, 0, data, rq, depth + 1);
    }
    if (rq.dst == DBTYPE_VARIANT)
        return WriteVariant(src, cbSrc, pSrc, rq, depth);

    // A plain copy of a fixed-size type.
    if (src == rq.dst && src != DBTYPE_BSTR && src != DBTYPE_NUMERIC && FixedSize(src) != 0) {
        Result res;
        res.length = FixedSize(src);
        if (!rq.measure)
            std::memcpy(rq.pDst, pSrc, res.length);
        return res;
    }
    // Integer to integer, the commonest conversion between different types.
    if ((Bit(src) & Integers) && (Bit(rq.dst) & Integers))
        return ConvertInteger(src, pSrc, rq);
    // The integers that travel as their raw bytes.
    if (rq.dst == DBTYPE_BYTES && IsRawInteger(src)) {
        Result res;
        res.length = FixedSize(src);
        if (rq.measure)
            return res;
        DBLENGTH keep = res.length <= rq.max ? res.length : rq.max;
        std::memcpy(rq.pDst, pSrc, keep);
        if (keep < res.length)
            res.status = DBSTATUS_S_TRUNCATED;
        return res;
    }
    if (src == DBTYPE_BYTES && IsRawInteger(rq.dst)) {
        Result res;
        res.length = FixedSize(rq.dst);
        if (cbSrc != res.length)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        if (!rq.measure)
            std::memcpy(rq.pDst, pSrc, res.length);
        return res;
    }
    // The large members are left for ReadValue to set with their kind.
    Value v;
    if (!ReadValue(src, pSrc, cbSrc, rq.flags, v))
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    return WriteValue(src, v, rq);
}

HRESULT CheckTypes(DBTYPE src, DBTYPE dst) {
    auto known = [](DBTYPE t) {
        t &= static_cast<DBTYPE>(~(DBTYPE_BYREF | DBTYPE_ARRAY | DBTYPE_VECTOR));
        return t <= DBTYPE_UI8 || t == DBTYPE_GUID || t == DBTYPE_FILETIME ||
               (t >= DBTYPE_BYTES && t <= DBTYPE_VARNUMERIC);
    };
    return known(src) && known(dst) ? S_OK : DB_E_BADTYPE;
}

} // namespace

HRESULT HdbDataConvert(DBTYPE wSrcType, DBTYPE wDstType, DBLENGTH cbSrcLength,
                       DBLENGTH* pcbDstLength, const void* pSrc, void* pDst,
                       DBLENGTH cbDstMaxLength, DBSTATUS dbsSrcStatus, DBSTATUS* pdbsStatus,
                       BYTE bPrecision, BYTE bScale, DBDATACONVERT dwFlags) {
    // Both out-parameters are optional; a caller that only wants the value
    // may pass neither.
    DBSTATUS ignored;
    if (!pdbsStatus)
        pdbsStatus = &ignored;
    if (!InMatrix(wSrcType, wDstType)) {
        // The accessor asked for something no conversion serves; the length
        // is left alone.
        *pdbsStatus = DBSTATUS_E_BADACCESSOR;
        return DB_E_UNSUPPORTEDCONVERSION;
    }
    if (dbsSrcStatus == DBSTATUS_S_ISNULL) {
        *pdbsStatus = DBSTATUS_S_ISNULL;
        if (pcbDstLength)
            *pcbDstLength = 0;
        return S_OK;
    }
    if (dbsSrcStatus != DBSTATUS_S_OK) {
        *pdbsStatus = DBSTATUS_E_BADSTATUS;
        return DB_E_ERRORSOCCURRED;
    }
    const bool byrefDst = (wDstType & DBTYPE_BYREF) != 0;
    const DBTYPE dst = wDstType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    const bool variable = dst == DBTYPE_STR || dst == DBTYPE_WSTR || dst == DBTYPE_BYTES;
    if (!pSrc && (wSrcType & ~DBTYPE_BYREF) != DBTYPE_EMPTY) {
        *pdbsStatus = DBSTATUS_E_CANTCONVERTVALUE;
        return E_INVALIDARG;
    }
    // Without a buffer the caller asks for the length and status only.
    Request rq{dst, pDst, cbDstMaxLength, bPrecision, bScale, dwFlags, pDst == nullptr};
    Result res;
    if (byrefDst && pDst) {
        // The result in memory of its own size, handed over with the pointer.
        Request size = rq;
        size.measure = true;
        res = Convert(wSrcType, cbSrcLength, pSrc, size, 0);
        if (res.status == DBSTATUS_S_OK) {
            DBLENGTH bytes = res.length + (dst == DBTYPE_WSTR  ? sizeof(wchar_t)
                                           : dst == DBTYPE_STR ? 1
                                                               : 0);
            void* memory = CoTaskMemAlloc(bytes ? bytes : 1);
            if (!memory)
                return E_OUTOFMEMORY;
            rq.pDst = memory;
            rq.max = bytes;
            res = Convert(wSrcType, cbSrcLength, pSrc, rq, 0);
            if (res.status == DBSTATUS_S_OK || res.status == DBSTATUS_S_TRUNCATED)
                Store(pDst, memory);
            else
                CoTaskMemFree(memory);
        }
    } else {
        res = Convert(wSrcType, cbSrcLength, pSrc, rq, 0);
    }
    if (res.status == DBSTATUS_S_TRUNCATED && (dwFlags & DBDATACONVERT_SETDATABEHAVIOR))
        res.status = DBSTATUS_E_DATAOVERFLOW; // a stored value may not lose anything
    if (res.status == DBSTATUS_S_OK && (dwFlags & DBDATACONVERT_DSTISFIXEDLENGTH) && !byrefDst &&
        variable && pDst) {
        // Pad a fixed-length destination: blanks for text, zeros for bytes.
        if (dst == DBTYPE_BYTES) {
            std::memset(static_cast<BYTE*>(pDst) + res.length, 0, cbDstMaxLength - res.length);
            res.length = cbDstMaxLength;
        } else {
            size_t unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
            size_t have = res.length / unit, room = TextRoom(dst, cbDstMaxLength);
            for (size_t k = have; k < room; ++k) {
                if (dst == DBTYPE_WSTR)
                    static_cast<wchar_t*>(pDst)[k] = L' ';
                else
                    static_cast<char*>(pDst)[k] = ' ';
            }
            if (room > have) {
                if (dst == DBTYPE_WSTR)
                    static_cast<wchar_t*>(pDst)[room] = 0;
                else
                    static_cast<char*>(pDst)[room] = 0;
                res.length = room * unit;
            }
        }
    }
    *pdbsStatus = res.status;
    if (res.status == DBSTATUS_S_ISNULL) {
        if (pcbDstLength)
            *pcbDstLength = 0;
        return S_OK;
    }
    if (res.status != DBSTATUS_S_OK && res.status != DBSTATUS_S_TRUNCATED) {
        // Text that did not fit still tells how long it is.
        if (pcbDstLength && variable && res.length != 0)
            *pcbDstLength = res.length;
        return DB_E_ERRORSOCCURRED;
    }
    if (pcbDstLength)
        *pcbDstLength = res.length;
    return S_OK;
}

HRESULT HdbCanConvert(DBTYPE wSrcType, DBTYPE wDstType) {
    HRESULT hr = CheckTypes(wSrcType, wDstType);
    if (FAILED(hr))
        return hr;
    return InMatrix(wSrcType, wDstType) ? S_OK : S_FALSE;
}

HRESULT HdbGetConversionSize(DBTYPE wSrcType, DBTYPE wDstType, const DBLENGTH* pcbSrcLength,
                             DBLENGTH* pcbDstLength, const void* pSrc) {
    if (!pcbDstLength)
        return E_INVALIDARG;
    *pcbDstLength = 0;
    HRESULT hr = CheckTypes(wSrcType, wDstType);
    if (FAILED(hr))
        return hr;
    if (!InMatrix(wSrcType, wDstType))
        return DB_E_UNSUPPORTEDCONVERSION;
    const DBTYPE dst = wDstType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    const DBTYPE src = wSrcType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    if (DBLENGTH fixed = FixedSize(dst); fixed != 0) {
        *pcbDstLength = fixed;
        return S_OK;
    }
    const DBLENGTH unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : dst == DBTYPE_STR ? 1 : 0;
    // Text without a given length runs to its terminator.
    const bool text = src == DBTYPE_STR || src == DBTYPE_WSTR;
    const DBDATACONVERT flags =
        pcbSrcLength || !text ? DBDATACONVERT_DEFAULT : DBDATACONVERT_LENGTHFROMNTS;
    if (pSrc) {
        Request rq{dst, nullptr, 0, 0, 0, flags, true};
        Result res = Convert(wSrcType, pcbSrcLength ? *pcbSrcLength : 0, pSrc, rq, 0);
        if (res.status == DBSTATUS_S_OK || res.status == DBSTATUS_S_ISNULL) {
            *pcbDstLength = res.length + unit;
            return S_OK;
        }
        // A value that does not convert: the size its type may need.
    }
    // Without a value: the longest text of the source type.
    static constexpr struct {
        DBTYPE type;
        DBLENGTH chars;
    } Longest[] = {
        {DBTYPE_EMPTY, 0},    {DBTYPE_I1, 4},       {DBTYPE_I2, 6},           {DBTYPE_I4, 11},
        {DBTYPE_I8, 20},      {DBTYPE_UI1, 3},      {DBTYPE_UI2, 5},          {DBTYPE_UI4, 10},
        {DBTYPE_UI8, 20},     {DBTYPE_R4, 15},      {DBTYPE_R8, 23},          {DBTYPE_CY, 21},
        {DBTYPE_DECIMAL, 31}, {DBTYPE_NUMERIC, 41}, {DBTYPE_BOOL, 5},         {DBTYPE_DATE, 29},
        {DBTYPE_DBDATE, 11},  {DBTYPE_DBTIME, 8},   {DBTYPE_DBTIMESTAMP, 30}, {DBTYPE_GUID, 38},
    };
    DBLENGTH chars = 0;
    bool known = false;
    for (const auto& entry : Longest)
        if (entry.type == src) {
            chars = src == DBTYPE_GUID && dst == DBTYPE_BYTES  ? sizeof(GUID)
                    : IsRawInteger(src) && dst == DBTYPE_BYTES ? FixedSize(src)
                                                               : entry.chars;
            known = true;
        }
    if (!known) {
        // Text and bytes: as long as the source says, or its terminator.
        if (!text && src != DBTYPE_BYTES)
            return E_INVALIDARG; // BSTR and VARIANT sources need their value
        const void* data = pSrc && (wSrcType & DBTYPE_BYREF) ? Load<const void*>(pSrc) : pSrc;
        if (!pcbSrcLength && (!text || !data))
            return E_INVALIDARG;
        DBLENGTH n = pcbSrcLength ? *pcbSrcLength
                     : src == DBTYPE_STR
                         ? std::strlen(static_cast<const char*>(data))
                         : std::wcslen(static_cast<const wchar_t*>(data)) * sizeof(wchar_t);
        if (src == DBTYPE_WSTR)
            n /= sizeof(wchar_t);
        if (src == DBTYPE_BYTES)
            chars = dst == DBTYPE_BYTES ? n : 2 * n;
        else if (dst == DBTYPE_BYTES)
            chars = n / 2;
        else if (src == DBTYPE_WSTR && dst == DBTYPE_STR)
            chars = 4 * n; // the longest narrow form of a character
        else
            chars = n;
    }
    *pcbDstLength = unit ? (chars + 1) * unit : chars;
    return S_OK;
}
