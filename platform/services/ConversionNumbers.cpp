// Numbers in the conversion engine: decimal text read and written, and a
// Value made an integer, a real, a scaled number or a boolean. The decimal
// reader is also the platform's one reader of decimal text (ValueText.h).
//
// Reals and scaled numbers lose fractional digits towards zero when they
// become integers or take a smaller scale; that is not reported (S_OK).
// Digits before the decimal point never get lost: that is DATAOVERFLOW. A
// boolean reads as the number -1 (true) or 0, and as the all-ones value of an
// unsigned destination, as the automation conversions have it.
#include "ConversionCore.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace hdbconvert {

namespace {

template <class Char> bool IsDigit(Char c) {
    return c >= '0' && c <= '9';
}

template <class Char> bool Split(const Char* text, size_t n, DecimalText<Char>& d) {
    d = DecimalText<Char>{};
    size_t i = 0;
    while (i < n && engine::IsSpace(text[i]))
        ++i;
    if (i < n && (text[i] == '-' || text[i] == '+'))
        d.negative = text[i++] == '-';
    d.whole = text + i;
    while (i < n && IsDigit(text[i]))
        ++i;
    d.wholeDigits = static_cast<size_t>(text + i - d.whole);
    if (i < n && text[i] == '.') {
        d.fraction = text + ++i;
        while (i < n && IsDigit(text[i]))
            ++i;
        d.fractionDigits = static_cast<size_t>(text + i - d.fraction);
    }
    if (d.wholeDigits + d.fractionDigits == 0)
        return false;
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        bool negativeExponent = false;
        if (i < n && (text[i] == '-' || text[i] == '+'))
            negativeExponent = text[i++] == '-';
        if (i == n || !IsDigit(text[i]))
            return false;
        // Beyond this every number is zero or too large for any scale.
        for (; i < n && IsDigit(text[i]); ++i)
            if (d.exponent < 100000)
                d.exponent = d.exponent * 10 + (text[i] - '0');
        if (negativeExponent)
            d.exponent = -d.exponent;
    }
    while (i < n && engine::IsSpace(text[i]))
        ++i;
    return i == n;
}

} // namespace

bool SplitDecimal(const char* text, size_t n, DecimalText<char>& d) {
    return Split(text, n, d);
}

bool SplitDecimal(const wchar_t* text, size_t n, DecimalText<wchar_t>& d) {
    return Split(text, n, d);
}

bool RoundedMagnitude(const DecimalText<char>& d, int scale, Magnitude& magnitude) {
    const auto digits = static_cast<long long>(d.wholeDigits + d.fractionDigits);
    const long long kept = static_cast<long long>(d.wholeDigits) + d.exponent + scale;
    magnitude = 0;
    int significant = 0;
    for (long long k = 0; k < kept; ++k) {
        if (magnitude == 0 && k >= digits)
            break; // nothing but zeros from here
        const int digit = d.Digit(k);
        if (magnitude == 0 && digit == 0)
            continue;
        if (++significant > MaxNumericDigits)
            return false;
        magnitude = magnitude * 10 + static_cast<unsigned>(digit);
    }
    if (d.Digit(kept) >= 5)
        ++magnitude;
    return true;
}

size_t ShortestRealText(double v, char* out, size_t room) {
    auto [end, ec] = std::to_chars(out, out + room, v, std::chars_format::scientific);
    return ec == std::errc() ? static_cast<size_t>(end - out) : 0;
}

} // namespace hdbconvert

namespace hdbconvert::engine {

namespace {

// Text as mag * 10^-scale. Digits beyond the 38 a numeric holds are dropped
// after the decimal point and make the number huge before it.
template <class Char> bool ParseDecimal(const Char* p, size_t n, Decimal& out) {
    DecimalText<Char> text;
    if (!SplitDecimal(p, n, text))
        return false;
    out = Decimal{};
    out.neg = text.negative;
    int digits = 0;      // significant digits kept in mag
    long long shift = 0; // power of ten to apply to mag
    for (size_t k = 0; k < text.wholeDigits; ++k) {
        if (digits == 0 && text.whole[k] == '0')
            continue;
        if (digits < MaxNumericDigits) {
            out.mag = out.mag * 10 + static_cast<unsigned>(text.whole[k] - '0');
            ++digits;
        } else {
            ++shift;
        }
    }
    for (size_t k = 0; k < text.fractionDigits; ++k) {
        if (digits == 0 && text.fraction[k] == '0') {
            --shift;
            continue;
        }
        if (digits < MaxNumericDigits) {
            out.mag = out.mag * 10 + static_cast<unsigned>(text.fraction[k] - '0');
            ++digits;
            --shift;
        }
    }
    shift += text.exponent;
    if (out.mag == 0)
        return true;
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

// A magnitude that cannot fit 64 bits is out of every integer range.
DBSTATUS IntegerFromMagnitude(u128 mag, bool neg, i128 lo, i128& out) {
    if (mag > (static_cast<u128>(1) << 64))
        return neg && mag != 0 && lo == 0 ? DBSTATUS_E_SIGNMISMATCH : DBSTATUS_E_DATAOVERFLOW;
    out = neg ? -static_cast<i128>(mag) : static_cast<i128>(mag);
    return DBSTATUS_S_OK;
}

// Text beyond 38 digits as a double, which does not give up where a numeric
// does.
DBSTATUS RealFromHugeText(const Value& v, double& out) {
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

// 1 for "true", 0 for "false" (any case, blanks around), -1 for other text.
template <class Char> int BoolWord(const Char* p, size_t n) {
    Trim(p, n);
    if (EqualsNoCase(p, n, "true"))
        return 1;
    if (EqualsNoCase(p, n, "false"))
        return 0;
    return -1;
}

} // namespace

bool ParseText(const Value& v, Decimal& d) {
    if (v.kind == Value::Kind::Narrow)
        return ParseDecimal(v.narrow, v.length, d);
    return ParseDecimal(v.wide, v.length, d);
}

bool DecimalFromReal(double v, Decimal& out) {
    char buffer[64];
    size_t n = ShortestRealText(v, buffer, sizeof buffer);
    return n != 0 && ParseDecimal(buffer, n, out);
}

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

DBSTATUS ToInteger(const Value& v, i128 lo, i128 hi, i128& out) {
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
        status =
            IntegerFromMagnitude(v.scale > 0 ? v.mag / Powers.v[v.scale] : v.mag, v.neg, lo, out);
        break;
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        Decimal d;
        if (!ParseText(v, d))
            return DBSTATUS_E_CANTCONVERTVALUE;
        if (d.huge)
            return d.neg && lo == 0 ? DBSTATUS_E_SIGNMISMATCH : DBSTATUS_E_DATAOVERFLOW;
        status =
            IntegerFromMagnitude(d.scale > 0 ? d.mag / Powers.v[d.scale] : d.mag, d.neg, lo, out);
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
        if (d.huge)
            return RealFromHugeText(v, out);
        out = RealFromScaled(d.mag, d.scale, d.neg);
        return std::isfinite(out) ? DBSTATUS_S_OK : DBSTATUS_E_DATAOVERFLOW;
    }
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
}

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

int DigitCount(u128 mag) {
    int n = 1;
    while (n <= MaxNumericDigits && mag >= Powers.v[n])
        ++n;
    return n;
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

} // namespace hdbconvert::engine
