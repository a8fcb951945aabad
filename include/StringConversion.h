// Conversions between wide text, UTF-8, UTF-16 and the process's narrow
// ("ANSI") encoding. Every conversion of the project goes through these helpers, so
// that one place decides how broken input is repaired and which narrow
// encoding is meant.
//
// wchar_t holds UTF-32 on Linux and UTF-16 on Windows; both are handled here.
// On Linux the narrow encoding is the one of the locale named by the
// environment (LC_ALL, LC_CTYPE, LANG), found once without touching the
// process's global locale. An unset or plain C/POSIX locale counts as UTF-8:
// a machine without a configured locale should not turn text into question
// marks. UTF-8 is converted by the code below, any other narrow encoding by
// iconv. On Windows the system's MultiByteToWideChar/WideCharToMultiByte do
// the work with the ANSI code page or CP_UTF8.
#pragma once

#include <climits>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#endif

namespace hdbtext {

// Wide text of UTF-8 input; each ill-formed piece becomes one U+FFFD.
inline std::wstring WideFromUtf8(std::string_view utf8);
inline std::wstring WideFromUtf8(std::u8string_view utf8);

// How ill-formed UTF-8 is repaired: one U+FFFD for each ill-formed piece (the
// longest prefix of a sequence that could have become well-formed), or one
// for each of its bytes, as a reader that resynchronises byte by byte sees it.
enum class Utf8Repair { perPiece, perByte };

// Decodes UTF-8 into out, which has room for utf8.size() wide units (no input
// needs more), and returns how many it wrote. For a caller that decodes into
// memory of its own, without a string in between.
inline std::size_t DecodeUtf8Into(std::string_view utf8, wchar_t* out,
                                  Utf8Repair repair = Utf8Repair::perPiece) noexcept;
// The same as a string.
inline std::wstring WideFromUtf8(std::string_view utf8, Utf8Repair repair);

// UTF-8 of wide text; lone surrogates (and on Linux values outside Unicode)
// become U+FFFD.
inline std::string Utf8FromWide(std::wstring_view wide);
inline std::u8string U8FromWide(std::wstring_view wide);

// Wide text of narrow text in the process's narrow encoding. Bytes that are
// not valid there become U+FFFD.
inline std::wstring WideFromAnsi(std::string_view narrow);

// Narrow text in the process's narrow encoding. Characters it cannot hold
// become '?' (U+FFFD when that encoding is UTF-8) and set *usedDefault, which
// is otherwise set to false, when given.
inline std::string AnsiFromWide(std::wstring_view wide, bool* usedDefault = nullptr);

// Whether the process's narrow encoding is UTF-8 (on Linux also when the
// locale is the plain C/POSIX one).
inline bool AnsiIsUtf8();

// Wide text of UTF-16 input (the text of ODBC's wide calls); each lone
// surrogate becomes U+FFFD.
inline std::wstring WideFromUtf16(std::u16string_view utf16);
// The same appended to out, for a reader that reuses one buffer.
inline void AppendWideFromUtf16(std::wstring& out, std::u16string_view utf16);

// UTF-16 of wide text; lone surrogates (and on Linux values outside Unicode)
// become U+FFFD.
inline std::u16string Utf16FromWide(std::wstring_view wide);

namespace detail {

inline constexpr char32_t kReplacementChar = 0xFFFD;
inline constexpr char32_t kMaxCodePoint = 0x10FFFF;

constexpr bool IsSurrogate(char32_t c) noexcept {
    return c >= 0xD800 && c <= 0xDFFF;
}

// One step of decoding: the code point, how many input units it took and
// whether the input was well-formed there.
struct DecodedChar {
    char32_t codePoint;
    std::size_t length;
    bool valid;
};

// Decodes the UTF-8 sequence at p (n >= 1 units available). An ill-formed
// sequence gives valid == false, U+FFFD and the length of its longest
// well-formed prefix (at least 1): each such piece becomes one replacement
// character, the usual practice that keeps the following text intact.
// Overlong forms, surrogates and values above U+10FFFF are ill-formed.
template <class Byte> constexpr DecodedChar DecodeUtf8(const Byte* p, std::size_t n) noexcept {
    const auto lead = static_cast<unsigned char>(p[0]);
    if (lead < 0x80)
        return {lead, 1, true};

    std::size_t trail = 0;
    char32_t cp = 0;
    unsigned char low = 0x80; // allowed range of the first trail byte
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        cp = lead & 0x0F;
        if (lead == 0xE0)
            low = 0xA0; // overlong below U+0800
        else if (lead == 0xED)
            high = 0x9F; // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        cp = lead & 0x07;
        if (lead == 0xF0)
            low = 0x90; // overlong below U+10000
        else if (lead == 0xF4)
            high = 0x8F; // above U+10FFFF
    } else {
        return {kReplacementChar, 1, false};
    }

    for (std::size_t i = 1; i <= trail; ++i) {
        if (i >= n)
            return {kReplacementChar, i, false};
        const auto byte = static_cast<unsigned char>(p[i]);
        if (byte < low || byte > high)
            return {kReplacementChar, i, false};
        low = 0x80;
        high = 0xBF;
        cp = (cp << 6) | (byte & 0x3F);
    }
    return {cp, trail + 1, true};
}

// Appends the UTF-8 form of a Unicode scalar value to a char or char8_t string.
template <class String> void AppendUtf8(String& out, char32_t cp) {
    using Unit = typename String::value_type;
    if (cp < 0x80) {
        out.push_back(static_cast<Unit>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<Unit>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<Unit>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<Unit>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<Unit>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<Unit>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<Unit>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<Unit>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<Unit>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<Unit>(0x80 | (cp & 0x3F)));
    }
}

// Decodes the character at p (n >= 1 units available) of UTF-16 text when
// Unit has two bytes (a surrogate pair takes two units), of UTF-32 text when
// it has four. A lone surrogate or a value outside Unicode gives
// valid == false and U+FFFD. wchar_t is either, depending on the platform.
template <class Unit> constexpr DecodedChar DecodeUnits(const Unit* p, std::size_t n) noexcept {
    static_assert(sizeof(Unit) == 2 || sizeof(Unit) == 4);
    if constexpr (sizeof(Unit) == 2) {
        const char32_t first = static_cast<char16_t>(p[0]);
        if (first >= 0xD800 && first <= 0xDBFF && n > 1) {
            const char32_t second = static_cast<char16_t>(p[1]);
            if (second >= 0xDC00 && second <= 0xDFFF)
                return {0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00), 2, true};
        }
        if (IsSurrogate(first))
            return {kReplacementChar, 1, false};
        return {first, 1, true};
    } else {
        // wchar_t is signed on Linux: a negative value becomes huge here and
        // is rejected with the other values outside Unicode.
        const auto c = static_cast<char32_t>(p[0]);
        if (IsSurrogate(c) || c > kMaxCodePoint)
            return {kReplacementChar, 1, false};
        return {c, 1, true};
    }
}

inline DecodedChar DecodeWide(const wchar_t* p, std::size_t n) noexcept {
    return DecodeUnits(p, n);
}

// Writes a Unicode scalar value at out as UTF-16 (one or two units) or
// UTF-32; returns the position after it.
template <class Unit> Unit* PutUnits(Unit* out, char32_t cp) noexcept {
    if constexpr (sizeof(Unit) == 2) {
        if (cp >= 0x10000) {
            cp -= 0x10000;
            *out++ = static_cast<Unit>(0xD800 + (cp >> 10));
            *out++ = static_cast<Unit>(0xDC00 + (cp & 0x3FF));
            return out;
        }
    }
    *out++ = static_cast<Unit>(cp);
    return out;
}

// Appends a Unicode scalar value as UTF-16 (one or two units) or UTF-32.
template <class String> void AppendUnits(String& out, char32_t cp) {
    typename String::value_type units[2];
    out.append(units, static_cast<std::size_t>(PutUnits(units, cp) - units));
}

inline void AppendWide(std::wstring& out, char32_t cp) {
    AppendUnits(out, cp);
}

// Decodes UTF-8 into UTF-16 or UTF-32 units at out, which has room for n
// units (no input needs more); returns how many were written.
template <class Unit, class Byte>
std::size_t DecodeUtf8IntoUnits(const Byte* p, std::size_t n, Unit* out,
                                Utf8Repair repair) noexcept {
    Unit* const start = out;
    std::size_t i = 0;
    while (i < n) {
        const DecodedChar d = DecodeUtf8(p + i, n - i);
        out = PutUnits(out, d.codePoint);
        i += d.valid || repair == Utf8Repair::perPiece ? d.length : 1;
    }
    return static_cast<std::size_t>(out - start);
}

// Decodes UTF-8 into UTF-16 or UTF-32 units (OutString's unit decides).
template <class OutString, class Byte>
OutString DecodeUtf8ToUnits(const Byte* p, std::size_t n,
                            Utf8Repair repair = Utf8Repair::perPiece) {
    OutString out(n, typename OutString::value_type());
    out.resize(DecodeUtf8IntoUnits(p, n, out.data(), repair));
    return out;
}

// Encodes UTF-16 or UTF-32 text as UTF-8 into a char or char8_t string;
// returns how many ill-formed units were replaced by U+FFFD.
template <class Unit, class String>
std::size_t EncodeUnitsToUtf8(std::basic_string_view<Unit> text, String& out) {
    out.clear();
    out.reserve(text.size() + text.size() / 2);
    std::size_t replaced = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        const DecodedChar d = DecodeUnits(text.data() + i, text.size() - i);
        if (!d.valid)
            ++replaced;
        AppendUtf8(out, d.codePoint);
        i += d.length;
    }
    return replaced;
}

// Appends UTF-16 or UTF-32 text as UTF-16 or UTF-32 units (OutString's unit
// decides); ill-formed units become U+FFFD.
template <class OutString, class Unit>
void AppendTranscodedUnits(OutString& out, std::basic_string_view<Unit> text) {
    out.reserve(out.size() + text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const DecodedChar d = DecodeUnits(text.data() + i, text.size() - i);
        AppendUnits(out, d.codePoint);
        i += d.length;
    }
}

// True for names of UTF-8 and of the 7-bit ASCII of a plain C/POSIX locale.
inline bool CodesetCountsAsUtf8(std::string_view codeset) noexcept {
    auto equalsIgnoringCase = [codeset](std::string_view name) {
        if (codeset.size() != name.size())
            return false;
        for (std::size_t i = 0; i < name.size(); ++i) {
            char c = codeset[i];
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
            if (c != name[i])
                return false;
        }
        return true;
    };
    return codeset.empty() || equalsIgnoringCase("UTF-8") || equalsIgnoringCase("UTF8") ||
           equalsIgnoringCase("ANSI_X3.4-1968") || equalsIgnoringCase("ASCII") ||
           equalsIgnoringCase("US-ASCII");
}

#ifdef _WIN32

inline int CheckedLength(std::size_t n) {
    if (n > static_cast<std::size_t>(INT_MAX))
        throw std::length_error("text too long for conversion");
    return static_cast<int>(n);
}

inline std::wstring WideFromCodePage(UINT codePage, std::string_view narrow) {
    if (narrow.empty())
        return {};
    const int inLength = CheckedLength(narrow.size());
    const int outLength = MultiByteToWideChar(codePage, 0, narrow.data(), inLength, nullptr, 0);
    std::wstring out(static_cast<std::size_t>(outLength), L'\0');
    MultiByteToWideChar(codePage, 0, narrow.data(), inLength, out.data(), outLength);
    return out;
}

// CP_UTF8 accepts no default character; lone surrogates become U+FFFD then.
inline std::string CodePageFromWide(UINT codePage, std::wstring_view wide, BOOL* usedDefault) {
    if (wide.empty())
        return {};
    const int inLength = CheckedLength(wide.size());
    const int outLength =
        WideCharToMultiByte(codePage, 0, wide.data(), inLength, nullptr, 0, nullptr, usedDefault);
    std::string out(static_cast<std::size_t>(outLength), '\0');
    WideCharToMultiByte(codePage, 0, wide.data(), inLength, out.data(), outLength, nullptr,
                        usedDefault);
    return out;
}

inline bool HasLoneSurrogate(std::wstring_view wide) noexcept {
    for (std::size_t i = 0; i < wide.size();) {
        const DecodedChar d = DecodeWide(wide.data() + i, wide.size() - i);
        if (!d.valid)
            return true;
        i += d.length;
    }
    return false;
}

#else

// Name of the narrow encoding of the environment's locale, found once.
inline const std::string& AnsiCodeset() {
    static const std::string codeset = [] {
        // newlocale reads LC_ALL, LC_CTYPE and LANG like setlocale(LC_CTYPE,
        // "") would, but leaves the process's locale alone. A locale that is
        // named but not installed leaves us with the C locale's ASCII.
        locale_t environment = newlocale(LC_CTYPE_MASK, "", locale_t{});
        if (environment == locale_t{})
            return std::string("ANSI_X3.4-1968");
        std::string name = nl_langinfo_l(CODESET, environment);
        freelocale(environment);
        return name;
    }();
    return codeset;
}

// Owns one iconv conversion descriptor.
class IconvHandle {
public:
    IconvHandle(const char* to, const char* from) : m_handle(iconv_open(to, from)) {
        if (!valid())
            throw std::runtime_error(std::string("no conversion from ") + from + " to " + to);
    }
    ~IconvHandle() { iconv_close(m_handle); }
    IconvHandle(const IconvHandle&) = delete;
    IconvHandle& operator=(const IconvHandle&) = delete;

    // Converts as much as fits; on return in/inLeft and out/outLeft have moved
    // on. Returns 0 on success or the errno of the stop (E2BIG, EILSEQ, EINVAL).
    int Convert(const char*& in, std::size_t& inLeft, char*& out, std::size_t& outLeft) {
        char* input = const_cast<char*>(in); // iconv does not write through it
        const std::size_t result = iconv(m_handle, &input, &inLeft, &out, &outLeft);
        in = input;
        return result == static_cast<std::size_t>(-1) ? errno : 0;
    }

    // Writes what a stateful encoding needs to return to its initial state.
    int Finish(char*& out, std::size_t& outLeft) {
        const std::size_t result = iconv(m_handle, nullptr, nullptr, &out, &outLeft);
        return result == static_cast<std::size_t>(-1) ? errno : 0;
    }

    // Whether the system converts between the two encodings at all.
    static bool Exists(const char* to, const char* from) {
        const iconv_t handle = iconv_open(to, from);
        if (handle == reinterpret_cast<iconv_t>(-1))
            return false;
        iconv_close(handle);
        return true;
    }

private:
    bool valid() const { return m_handle != reinterpret_cast<iconv_t>(-1); }
    iconv_t m_handle;
};

// Grows a byte buffer used as iconv output, keeping the write position.
template <class String> void GrowOutput(String& buffer, char*& out, std::size_t& outLeft) {
    using Unit = typename String::value_type;
    const auto used = static_cast<std::size_t>(out - reinterpret_cast<char*>(buffer.data()));
    buffer.resize(buffer.size() * 2 + 16);
    out = reinterpret_cast<char*>(buffer.data()) + used;
    outLeft = buffer.size() * sizeof(Unit) - used;
}

// Converts text of the named narrow encoding to wide text. Bytes that are not
// valid there become U+FFFD, one per byte; a truncated last character too.
inline std::wstring WideFromCodeset(const char* codeset, std::string_view narrow) {
    if (narrow.empty())
        return {};
    IconvHandle converter("WCHAR_T", codeset);
    std::wstring buffer(narrow.size(), L'\0'); // rarely more wide units than bytes
    const char* in = narrow.data();
    std::size_t inLeft = narrow.size();
    char* out = reinterpret_cast<char*>(buffer.data());
    std::size_t outLeft = buffer.size() * sizeof(wchar_t);
    while (inLeft > 0) {
        const int error = converter.Convert(in, inLeft, out, outLeft);
        if (error == 0)
            break;
        if (error == E2BIG || outLeft < sizeof(wchar_t)) {
            GrowOutput(buffer, out, outLeft);
            if (error == E2BIG)
                continue;
        }
        // EILSEQ or EINVAL: replace one byte and go on after it.
        const wchar_t replacement = static_cast<wchar_t>(kReplacementChar);
        std::memcpy(out, &replacement, sizeof(wchar_t));
        out += sizeof(wchar_t);
        outLeft -= sizeof(wchar_t);
        ++in;
        --inLeft;
    }
    buffer.resize(static_cast<std::size_t>(out - reinterpret_cast<char*>(buffer.data())) /
                  sizeof(wchar_t));
    return buffer;
}

// Converts wide text to the named narrow encoding. A character the encoding
// cannot represent becomes '?' and sets *usedDefault.
inline std::string CodesetFromWide(const char* codeset, std::wstring_view wide, bool* usedDefault) {
    if (usedDefault)
        *usedDefault = false;
    if (wide.empty())
        return {};
    IconvHandle converter(codeset, "WCHAR_T");
    std::string buffer(wide.size() * 2 + 16, '\0');
    const char* in = reinterpret_cast<const char*>(wide.data());
    std::size_t inLeft = wide.size() * sizeof(wchar_t);
    char* out = buffer.data();
    std::size_t outLeft = buffer.size();
    for (;;) {
        const bool flushing = inLeft == 0;
        const int error =
            flushing ? converter.Finish(out, outLeft) : converter.Convert(in, inLeft, out, outLeft);
        if (error == 0 && flushing)
            break;
        if (error == 0)
            continue; // all converted: flush next
        if (error == E2BIG || outLeft == 0) {
            GrowOutput(buffer, out, outLeft);
            if (error == E2BIG)
                continue;
        }
        if (flushing)
            break; // a failed flush has nothing left to skip
        *out++ = '?';
        --outLeft;
        in += sizeof(wchar_t);
        inLeft -= sizeof(wchar_t);
        if (usedDefault)
            *usedDefault = true;
    }
    buffer.resize(static_cast<std::size_t>(out - buffer.data()));
    return buffer;
}

#endif

} // namespace detail

inline std::wstring WideFromUtf8(std::string_view utf8) {
#ifdef _WIN32
    return detail::WideFromCodePage(CP_UTF8, utf8);
#else
    return detail::DecodeUtf8ToUnits<std::wstring>(utf8.data(), utf8.size());
#endif
}

inline std::wstring WideFromUtf8(std::u8string_view utf8) {
    return WideFromUtf8(std::string_view(reinterpret_cast<const char*>(utf8.data()), utf8.size()));
}

inline std::size_t DecodeUtf8Into(std::string_view utf8, wchar_t* out, Utf8Repair repair) noexcept {
    return detail::DecodeUtf8IntoUnits(utf8.data(), utf8.size(), out, repair);
}

inline std::wstring WideFromUtf8(std::string_view utf8, Utf8Repair repair) {
    return detail::DecodeUtf8ToUnits<std::wstring>(utf8.data(), utf8.size(), repair);
}

inline std::string Utf8FromWide(std::wstring_view wide) {
#ifdef _WIN32
    return detail::CodePageFromWide(CP_UTF8, wide, nullptr);
#else
    std::string out;
    detail::EncodeUnitsToUtf8(wide, out);
    return out;
#endif
}

inline std::u8string U8FromWide(std::wstring_view wide) {
    const std::string bytes = Utf8FromWide(wide);
    return std::u8string(bytes.begin(), bytes.end());
}

inline bool AnsiIsUtf8() {
#ifdef _WIN32
    return GetACP() == CP_UTF8;
#else
    // An encoding the system cannot convert is treated as UTF-8 too, so
    // that the conversions below never fail for want of a converter.
    static const bool isUtf8 = [] {
        const std::string& codeset = detail::AnsiCodeset();
        return detail::CodesetCountsAsUtf8(codeset) ||
               !detail::IconvHandle::Exists("WCHAR_T", codeset.c_str()) ||
               !detail::IconvHandle::Exists(codeset.c_str(), "WCHAR_T");
    }();
    return isUtf8;
#endif
}

inline std::wstring WideFromUtf16(std::u16string_view utf16) {
    std::wstring out;
    detail::AppendTranscodedUnits(out, utf16);
    return out;
}

inline void AppendWideFromUtf16(std::wstring& out, std::u16string_view utf16) {
    detail::AppendTranscodedUnits(out, utf16);
}

inline std::u16string Utf16FromWide(std::wstring_view wide) {
    std::u16string out;
    detail::AppendTranscodedUnits(out, wide);
    return out;
}

inline std::wstring WideFromAnsi(std::string_view narrow) {
    if (AnsiIsUtf8())
        return WideFromUtf8(narrow);
#ifdef _WIN32
    return detail::WideFromCodePage(CP_ACP, narrow);
#else
    return detail::WideFromCodeset(detail::AnsiCodeset().c_str(), narrow);
#endif
}

inline std::string AnsiFromWide(std::wstring_view wide, bool* usedDefault) {
#ifdef _WIN32
    if (AnsiIsUtf8()) {
        if (usedDefault)
            *usedDefault = detail::HasLoneSurrogate(wide);
        return detail::CodePageFromWide(CP_UTF8, wide, nullptr);
    }
    BOOL defaultUsed = FALSE;
    std::string out = detail::CodePageFromWide(CP_ACP, wide, &defaultUsed);
    if (usedDefault)
        *usedDefault = defaultUsed != FALSE;
    return out;
#else
    if (AnsiIsUtf8()) {
        std::string out;
        const std::size_t replaced = detail::EncodeUnitsToUtf8(wide, out);
        if (usedDefault)
            *usedDefault = replaced != 0;
        return out;
    }
    return detail::CodesetFromWide(detail::AnsiCodeset().c_str(), wide, usedDefault);
#endif
}

} // namespace hdbtext
