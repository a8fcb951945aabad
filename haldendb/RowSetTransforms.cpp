// CRowSet's value transforms: DB_NUMERIC and DB_VARNUMERIC to and from
// numbers, and the date, time and timestamp records to and from CTime and
// automation dates. They are static and pure, shared by the typed getters and
// by the writers of parameter and fast-load buffers; the limits they keep on
// purpose are stated at their declarations in RowSet.h.
#include "haldendb/RowSet.h"
#include "haldendb/RowSetInternal.h"

#include "hdbplatform/AtlException.h"

#include <boost/multiprecision/cpp_int.hpp>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <ctime>

namespace {

using boost::multiprecision::cpp_int;
using hdbrowset::TruncateToInt64;
using hdbrowset::TruncateToUInt64;

// The magnitude bytes [0, count) of a little-endian number.
ULONGLONG LowBytes(const BYTE* bytes, int count) {
    ULONGLONG result = 0;
    for (int i = count - 1; i >= 0; --i)
        result = (result << 8) | bytes[i];
    return result;
}

// The nearest double to value × 2^exponent, ties to even, for a value
// below 2^1024 after scaling (the callers' values stay far from overflow and
// from the subnormal range).
double NearestDouble(const cpp_int& value, int exponent) {
    const std::size_t bits = value == 0 ? 0 : boost::multiprecision::msb(value) + 1;
    if (bits <= 53)
        return std::ldexp(static_cast<double>(static_cast<ULONGLONG>(value)), exponent);
    const unsigned shift = static_cast<unsigned>(bits - 53);
    cpp_int kept = value >> shift;
    const cpp_int dropped = value - (kept << shift);
    const cpp_int half = cpp_int(1) << (shift - 1);
    if (dropped > half || (dropped == half && bit_test(kept, 0)))
        ++kept;
    return std::ldexp(static_cast<double>(static_cast<ULONGLONG>(kept)),
                      exponent + static_cast<int>(shift));
}

// A finite, non-negative double as mantissa × 2^exponent, exactly.
void SplitDouble(double value, ULONGLONG& mantissa, int& exponent) {
    int binaryExponent = 0;
    const double fraction = std::frexp(value, &binaryExponent);
    mantissa = static_cast<ULONGLONG>(std::ldexp(fraction, 53));
    exponent = binaryExponent - 53;
}

// The smallest d >= 1 with 10^d > value: the count of decimal digits of a
// non-negative value, 1 for a negative one. The powers are exact here (every
// 64-bit sum has at most 19 digits), so the search always ends.
int DecimalDigits(LONGLONG value) {
    int digits = 1;
    if (value < 0)
        return digits;
    for (ULONGLONG power = 10; power <= static_cast<ULONGLONG>(value); power *= 10)
        ++digits;
    return digits;
}

// A DB_VARNUMERIC's value bytes continue past the declared one-byte array;
// read them through a plain pointer.
const BYTE* VarNumericBytes(const DB_VARNUMERIC* number) {
    return reinterpret_cast<const BYTE*>(number) + offsetof(DB_VARNUMERIC, val);
}

// The byte count of a DB_VARNUMERIC in integer arithmetic: the first
// `precision` bytes summed with decimal weights, then the sum's digits. The
// weights are the double powers truncated (from 10^19 on, the lowest 64-bit
// value) and the sum wraps.
int VarNumericByteCountInt(const DB_VARNUMERIC* number) {
    const BYTE* bytes = VarNumericBytes(number);
    ULONGLONG decimalSum = 0;
    for (int i = 0; i < number->precision; ++i)
        decimalSum += bytes[i] * static_cast<ULONGLONG>(TruncateToInt64(std::pow(10.0, i)));
    return DecimalDigits(static_cast<LONGLONG>(decimalSum));
}

// A DB_VARNUMERIC in wrapping 64-bit integer arithmetic: its bytes times
// the powers of 256, times 10^-scale, negated for sign 0. `weight` turns the
// double powers into 64 bits, as the signed or the unsigned read does it.
ULONGLONG VarNumericInteger(const DB_VARNUMERIC* number, ULONGLONG (*weight)(double)) {
    const BYTE* bytes = VarNumericBytes(number);
    const int byteCount = VarNumericByteCountInt(number);
    ULONGLONG value = 0;
    for (int i = 0; i < byteCount; ++i)
        value += bytes[i] * weight(std::pow(256.0, i));
    const BYTE scale = static_cast<BYTE>(number->scale);
    value *= weight(std::pow(10.0, -static_cast<int>(scale)));
    return number->sign != 0 ? value : 0 - value;
}

// The weight of the signed read: a power from 2^63 up becomes the lowest
// 64-bit value.
ULONGLONG SignedWeight(double power) {
    return static_cast<ULONGLONG>(TruncateToInt64(power));
}

// Nanoseconds to milliseconds as the first three digits of the fraction
// printed with at least nine digits: a ten-digit fraction (beyond one second)
// loses its last seven digits rather than six.
unsigned short FractionToMilliseconds(ULONG fraction) {
    return static_cast<unsigned short>(fraction >= 1000000000u ? fraction / 10000000u
                                                               : fraction / 1000000u);
}

SYSTEMTIME MakeSystemTime(int year, int month, int day, int hour, int minute, int second) {
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    return time;
}

// The automation date of the parts, invalid when they make no date.
COleDateTime OleDateTimeOf(SYSTEMTIME time) {
    DATE date = 0.0;
    if (!SystemTimeToVariantTime(&time, &date)) {
        COleDateTime invalid;
        invalid.SetStatus(COleDateTime::invalid);
        return invalid;
    }
    return COleDateTime(date);
}

// The local time of whole seconds since 1970-01-01 00:00 UTC.
COleDateTime LocalOleDateTimeOfSeconds(double value) {
    return COleDateTime(static_cast<__time64_t>(TruncateToInt64(value)));
}

// Hands the local time of `value`, taken as whole seconds since 1970-01-01
// 00:00 UTC, to `store` for *record; false for a null record. Parts that
// cannot be had read as -1, which the records store as 0xFFFF.
template <class Record, class Store>
bool StoreLocalParts(Record* record, double value, Store store) {
    if (record == nullptr)
        return false;
    store(*record, LocalOleDateTimeOfSeconds(value));
    return true;
}

} // namespace

// ------------------------------------------------------------------ numbers in

LONGLONG CRowSet::TransFormFromNumericInt(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0;
    // 56 bits: the value stays positive, and the sign can be applied plainly.
    const LONGLONG magnitude = static_cast<LONGLONG>(LowBytes(numeric->val, 7));
    const LONGLONG factor = TruncateToInt64(std::pow(10.0, -static_cast<int>(numeric->scale)));
    const LONGLONG value = magnitude * factor;
    return numeric->sign != 0 ? value : -value;
}

ULONGLONG CRowSet::TransFormFromNumericUnsignedInt(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0;
    if (numeric->sign == 0 || numeric->scale > 0)
        return TruncateToUInt64(TransFormFromNumeric(numeric));
    return LowBytes(numeric->val, 8);
}

double CRowSet::TransFormFromNumeric(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0.0;
    if (numeric->scale == 0)
        return static_cast<double>(TransFormFromNumericInt(numeric));
    cpp_int magnitude;
    for (int i = 15; i >= 0; --i)
        magnitude = (magnitude << 8) | numeric->val[i];
    // The factor is the double nearest 10^-scale, taken as the exact binary
    // number it is; the product is exact and rounded once.
    ULONGLONG mantissa = 0;
    int exponent = 0;
    SplitDouble(std::pow(10.0, -static_cast<int>(numeric->scale)), mantissa, exponent);
    const double value = NearestDouble(magnitude * mantissa, exponent);
    return numeric->sign != 0 ? value : -value;
}

double CRowSet::TransFormFromVarNumeric(const DB_VARNUMERIC* number) {
    if (number == nullptr)
        return 0.0;
    const BYTE* bytes = VarNumericBytes(number);
    double decimalSum = 0.0;
    for (int i = 0; i < number->precision; ++i)
        decimalSum += bytes[i] * std::pow(10.0, i);
    int byteCount = 1;
    while (!(std::pow(10.0, byteCount) > decimalSum))
        ++byteCount;
    // Beyond 127 bytes the powers of 256 overflow to infinity, as double
    // arithmetic has it.
    double value = 0.0;
    for (int i = 0; i < byteCount; ++i)
        value += bytes[i] * std::pow(256.0, i);
    value *= std::pow(10.0, -static_cast<int>(number->scale));
    return number->sign != 0 ? value : -value;
}

LONGLONG CRowSet::TransFormFromVarNumericInt(const DB_VARNUMERIC* number) {
    // Unsigned arithmetic wraps as the signed two's complement sum would.
    return number != nullptr ? static_cast<LONGLONG>(VarNumericInteger(number, SignedWeight)) : 0;
}

ULONGLONG CRowSet::TransFormFromVarNumericUnsignedInt(const DB_VARNUMERIC* number) {
    return number != nullptr ? VarNumericInteger(number, TruncateToUInt64) : 0;
}

// ------------------------------------------------------------------ numbers out

void CRowSet::TransFormToNumeric(DB_NUMERIC* numeric, double value, BYTE scale, BYTE precision) {
    if (numeric == nullptr)
        return;
    std::memset(numeric, 0, sizeof(DB_NUMERIC));
    // A double carries no more decimals than its 17-digit text shows, so a
    // larger scale would only store the binary noise of the value. Exponent
    // characters count as decimals, which keeps small values' digits.
    wchar_t text[64] = {};
    swprintf_s(text, sizeof(text) / sizeof(text[0]), L"%.*g", 17, value);
    BYTE usedScale = scale;
    if (const wchar_t* point = std::wcschr(text, L'.'); point != nullptr) {
        const std::size_t decimals = std::wcslen(point + 1);
        usedScale = static_cast<BYTE>(std::min<std::size_t>(decimals, scale));
    }
    TransFormToNumericCommaHasChecked(numeric, value, usedScale, precision);
}

void CRowSet::TransFormToNumericCommaHasChecked(DB_NUMERIC* numeric, double value, BYTE scale,
                                                BYTE precision) {
    if (numeric == nullptr)
        return;
    numeric->precision = precision;
    numeric->scale = scale;
    numeric->sign = value > 0.0 ? 1 : 0;
    if (!std::isfinite(value)) {
        std::memset(numeric->val, 0xFF, sizeof(numeric->val));
        return;
    }
    // |value| × 10^scale, cut to an integer, exactly: the double is
    // mantissa × 2^exponent, so only the final shift can drop a fraction.
    ULONGLONG mantissa = 0;
    int exponent = 0;
    SplitDouble(std::fabs(value), mantissa, exponent);
    cpp_int rest = mantissa;
    if (scale != 0)
        rest *= boost::multiprecision::pow(cpp_int(10), scale);
    if (exponent >= 0)
        rest <<= exponent;
    else
        rest >>= -exponent;
    // Byte by byte from the top. A quotient that still fits 31 bits gives
    // its low eight bits (the part above is dropped); a larger one saturates
    // the byte and takes only the largest 32-bit count off the rest.
    const cpp_int saturation = cpp_int(1) << 31;
    for (int i = 15; i >= 0; --i) {
        const unsigned shift = static_cast<unsigned>(8 * i);
        const cpp_int quotient = rest >> shift;
        if (quotient < saturation) {
            numeric->val[i] = static_cast<BYTE>(static_cast<unsigned>(quotient & 0xFF));
            rest -= quotient << shift;
        } else {
            numeric->val[i] = 0xFF;
            rest -= cpp_int(INT_MAX) << shift;
        }
    }
}

// ------------------------------------------------------------------ dates in

CTime CRowSet::TransFormFromDate(const DBDATE* date) {
    if (date == nullptr)
        return CTime(0);
    if (date->year < 1970 || date->month < 1 || date->month > 12 || date->day < 1 || date->day > 31)
        AtlThrow(E_FAIL);
    std::tm parts{};
    parts.tm_year = date->year - 1900;
    parts.tm_mon = date->month - 1;
    parts.tm_mday = date->day;
    parts.tm_isdst = -1;
    const __time64_t time = _mktime64(&parts);
    if (time == -1)
        AtlThrow(E_INVALIDARG);
    return CTime(time);
}

CTime CRowSet::TransFormFromTime(const DBTIME* time) {
    if (time == nullptr)
        return CTime(0);
    // A time alone is placed on the first local day of the epoch.
    const CTime epoch(0);
    return CTime(epoch.GetYear(), epoch.GetMonth(), epoch.GetDay(), time->hour, time->minute,
                 std::min<int>(time->second, 59), -1);
}

CTime CRowSet::TransFormFromDateTime(const DBTIMESTAMP* timestamp, unsigned short* milliseconds) {
    if (timestamp == nullptr)
        return CTime(0);
    const CTime result(timestamp->year, timestamp->month, timestamp->day, timestamp->hour,
                       timestamp->minute, timestamp->second, -1);
    if (milliseconds != nullptr)
        *milliseconds = FractionToMilliseconds(timestamp->fraction);
    return result;
}

COleDateTime CRowSet::TransFormFromOleDate(const DBDATE* date) {
    if (date == nullptr)
        return COleDateTime();
    return OleDateTimeOf(MakeSystemTime(date->year, date->month, date->day, 0, 0, 0));
}

COleDateTime CRowSet::TransFormFromOleTime(const DBTIME* time) {
    if (time == nullptr)
        return COleDateTime();
    return OleDateTimeOf(MakeSystemTime(1899, 12, 30, time->hour, time->minute, time->second));
}

COleDateTime CRowSet::TransFormFromOleDateTime(const DBTIMESTAMP* timestamp,
                                               unsigned short* milliseconds) {
    if (timestamp == nullptr)
        return COleDateTime();
    if (milliseconds != nullptr)
        *milliseconds = FractionToMilliseconds(timestamp->fraction);
    return OleDateTimeOf(MakeSystemTime(timestamp->year, timestamp->month, timestamp->day,
                                        timestamp->hour, timestamp->minute, timestamp->second));
}

// ------------------------------------------------------------------ dates out

bool CRowSet::TransFormToDate(DBDATE* date, double value) {
    return StoreLocalParts(date, value, [](DBDATE& parts, const COleDateTime& local) {
        parts.year = static_cast<SHORT>(local.GetYear());
        parts.month = static_cast<USHORT>(local.GetMonth());
        parts.day = static_cast<USHORT>(local.GetDay());
    });
}

bool CRowSet::TransFormToTime(DBTIME* time, double value) {
    return StoreLocalParts(time, value, [](DBTIME& parts, const COleDateTime& local) {
        parts.hour = static_cast<USHORT>(local.GetHour());
        parts.minute = static_cast<USHORT>(local.GetMinute());
        parts.second = static_cast<USHORT>(local.GetSecond());
    });
}

bool CRowSet::TransFormToDateTime(DBTIMESTAMP* timestamp, double value) {
    if (timestamp == nullptr)
        return false;
    SYSTEMTIME parts{};
    if (VariantTimeToSystemTime(value, &parts)) {
        timestamp->year = static_cast<SHORT>(parts.wYear);
        timestamp->month = parts.wMonth;
        timestamp->day = parts.wDay;
        timestamp->hour = parts.wHour;
        timestamp->minute = parts.wMinute;
        timestamp->second = parts.wSecond;
    } else {
        timestamp->year = -1;
        timestamp->month = timestamp->day = 0xFFFF;
        timestamp->hour = timestamp->minute = timestamp->second = 0xFFFF;
    }
    timestamp->fraction = 0;
    return true;
}
