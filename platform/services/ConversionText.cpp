// Text in the conversion engine: the text form of every fixed value, how
// text is cut to fit a consumer's buffer, narrow and wide text into each
// other, bytes as hexadecimal text and back, and GUID text.
#include "ConversionCore.h"

#include "../com/GuidText.h"
#include "StringConversion.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <string>

namespace hdbconvert::engine {

namespace {

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

size_t CharSize(DBTYPE dst) {
    return dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
}

bool HasTerminatorRoom(DBTYPE dst, DBLENGTH max) {
    return max >= CharSize(dst);
}

// ASCII characters into a STR or WSTR buffer, terminated.
void PutAscii(DBTYPE dst, void* pDst, size_t at, const char* text, size_t n) {
    if (dst == DBTYPE_WSTR) {
        auto* w = static_cast<wchar_t*>(pDst) + at;
        for (size_t k = 0; k < n; ++k)
            w[k] = static_cast<unsigned char>(text[k]);
        w[n] = 0;
    } else {
        auto* c = static_cast<char*>(pDst) + at;
        std::memcpy(c, text, n);
        c[n] = 0;
    }
}

// A fixed-capacity output for the UTF-8 encoder of StringConversion.h.
struct CharBuffer {
    using value_type = char;
    char data[8];
    size_t size = 0;
    void push_back(char c) { data[size++] = c; }
};

// Text already in the destination's encoding into room characters
// (terminator excluded), cut where room ends. Returns the full length.
template <class Char>
size_t CopyWhole(const std::basic_string<Char>& text, Char* out, size_t room, bool& cut) {
    const size_t keep = text.size() <= room ? text.size() : room;
    cut = keep < text.size();
    if (out) {
        std::copy_n(text.data(), keep, out);
        out[keep] = 0;
    }
    return text.size();
}

// Wide text into a narrow destination of room bytes (terminator excluded),
// whole characters only. Returns the full narrow length.
size_t NarrowFromWide(const wchar_t* w, size_t n, char* out, size_t room, bool& cut, bool& lost) {
    cut = lost = false;
    if (!hdbtext::AnsiIsUtf8()) {
        return CopyWhole(hdbtext::AnsiFromWide(std::wstring_view(w, n), &lost), out, room, cut);
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
        return CopyWhole(hdbtext::WideFromAnsi(std::string_view(s, n)), out, room, cut);
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

// Text of the same width copied, cut to room characters.
template <class Char>
size_t CopyText(const Char* text, size_t n, Char* out, size_t room, bool& cut) {
    size_t keep = n <= room ? n : room;
    std::memcpy(out, text, keep * sizeof(Char));
    out[keep] = 0;
    cut = keep < n;
    return n;
}

// The text of a real: 15 (DBTYPE_R8) or 7 (DBTYPE_R4) significant digits,
// an exponent as 'E'.
DBSTATUS FormatReal(const Value& v, char* out, size_t& n, Cut& cut) {
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

template <class Char> bool ParseGuidText(const Char* p, size_t n, GUID& guid) {
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

template <class Char>
Result ParseHexText(const Char* p, size_t n, BYTE* out, DBLENGTH max, bool measure) {
    Result res;
    Trim(p, n);
    if (n % 2 != 0)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    for (size_t k = 0; k < n; ++k)
        if (hdbcom::HexDigitValue(p[k]) < 0)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
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

constexpr char HexDigits[] = "0123456789ABCDEF";

} // namespace

DBSTATUS FormatValue(const Value& v, char* out, size_t& n, Cut& cut) {
    n = 0;
    cut = Cut::Plain;
    switch (v.kind) {
    case Value::Kind::Signed:
        n = static_cast<size_t>(std::to_chars(out, out + 64, v.i).ptr - out);
        cut = Cut::Never;
        return DBSTATUS_S_OK;
    case Value::Kind::Unsigned:
        n = static_cast<size_t>(std::to_chars(out, out + 64, v.u).ptr - out);
        cut = Cut::Never;
        return DBSTATUS_S_OK;
    case Value::Kind::Real:
        return FormatReal(v, out, n, cut);
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
        n = FormatStamp(ts, date, time, out);
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

size_t TextRoom(DBTYPE dst, DBLENGTH max) {
    size_t unit = CharSize(dst);
    return max >= unit ? max / unit - 1 : 0;
}

Result WriteAscii(const char* text, size_t n, Cut cut, DBTYPE dst, void* pDst, DBLENGTH max,
                  bool measure) {
    Result res;
    res.length = n * CharSize(dst);
    if (measure)
        return res;
    size_t keep = FitText(text, n, TextRoom(dst, max), cut, res.status);
    if (res.status == DBSTATUS_E_DATAOVERFLOW)
        return res;
    if (!HasTerminatorRoom(dst, max))
        return Result{DBSTATUS_S_TRUNCATED, res.length};
    PutAscii(dst, pDst, 0, text, keep);
    return res;
}

Result WriteText(const Value& v, DBTYPE dst, void* pDst, DBLENGTH max, bool measure) {
    Result res;
    const bool room = !measure && HasTerminatorRoom(dst, max);
    const size_t chars = TextRoom(dst, max);
    bool cut = false, lost = false;
    if (dst == DBTYPE_STR) {
        char* out = room ? static_cast<char*>(pDst) : nullptr;
        if (v.kind == Value::Kind::Narrow)
            res.length = out ? CopyText(v.narrow, v.length, out, chars, cut) : v.length;
        else
            res.length = NarrowFromWide(v.wide, v.length, out, chars, cut, lost);
    } else {
        wchar_t* out = room ? static_cast<wchar_t*>(pDst) : nullptr;
        size_t n;
        if (v.kind == Value::Kind::Wide)
            n = out ? CopyText(v.wide, v.length, out, chars, cut) : v.length;
        else
            n = WideFromNarrow(v.narrow, v.length, out, chars, cut);
        res.length = n * sizeof(wchar_t);
    }
    if (!measure && (cut || lost || !room))
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

Result WriteHex(const BYTE* bytes, size_t n, DBTYPE dst, void* pDst, DBLENGTH max, bool measure) {
    Result res;
    res.length = 2 * n * CharSize(dst);
    if (measure)
        return res;
    if (!HasTerminatorRoom(dst, max))
        return Result{DBSTATUS_S_TRUNCATED, res.length};
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
    PutAscii(dst, pDst, keep, "", 0);
    if (keep < 2 * n)
        res.status = DBSTATUS_S_TRUNCATED;
    return res;
}

Result ParseHex(const Value& v, BYTE* out, DBLENGTH max, bool measure) {
    if (v.kind == Value::Kind::Narrow)
        return ParseHexText(v.narrow, v.length, out, max, measure);
    return ParseHexText(v.wide, v.length, out, max, measure);
}

bool ParseGuid(const Value& v, GUID& guid) {
    if (v.kind == Value::Kind::Narrow)
        return ParseGuidText(v.narrow, v.length, guid);
    return ParseGuidText(v.wide, v.length, guid);
}

} // namespace hdbconvert::engine
