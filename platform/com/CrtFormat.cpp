// printf-style formatting with the Windows conventions (see hdbplatform/Crt.h).
//
// Each conversion directive is parsed on its own. Numbers are rewritten
// into the C library's equivalent directive (a Windows %ld reads a 32-bit
// value, %I64u a 64-bit one) and formatted narrow; the digits are then widened
// where the output is wide. Strings and characters are converted and padded
// here, through the project's one conversion helper, so that the result does
// not depend on the C library's idea of the current locale. The arguments are
// consumed strictly in order, exactly as the format names them.
#include "hdbplatform/Crt.h"

#include "StringConversion.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

// How many bytes the widest character of a narrow encoding takes; bounds the
// bytes read from a narrow argument that a precision limits.
constexpr std::size_t kMaxBytesPerCharacter = 4;

enum class ArgSize { Int, Char, Short, Int64, PointerSized, LongDouble };
enum class TextWidth { OfFormat, Narrow, Wide };

struct ConversionDirective {
    std::string flags; // as written, passed on to the C library for numbers
    bool leftAlign = false;
    bool zeroPad = false;
    bool widthFromArg = false;
    int width = -1;
    bool precisionFromArg = false;
    int precision = -1;
    ArgSize size = ArgSize::Int;
    TextWidth textWidth = TextWidth::OfFormat;
    char type = 0;
    std::size_t length = 0; // characters after the '%'
};

bool IsIntegerType(char type) {
    return std::strchr("diouxX", type) != nullptr;
}
bool IsFloatType(char type) {
    return std::strchr("eEfFgGaA", type) != nullptr;
}
bool IsTextType(char type) {
    return std::strchr("cCsS", type) != nullptr;
}

template <class CharT> bool IsDigit(CharT c) {
    return c >= CharT('0') && c <= CharT('9');
}
template <class CharT> bool IsAscii(CharT c) {
    return static_cast<std::make_unsigned_t<CharT>>(c) < 0x80;
}

// Reads a decimal number; stops before it would overflow an int.
template <class CharT> bool ParseNumber(const CharT*& p, int& value) {
    value = 0;
    while (IsDigit(*p)) {
        if (value > (INT32_MAX - 9) / 10)
            return false;
        value = value * 10 + static_cast<int>(*p - CharT('0'));
        ++p;
    }
    return true;
}

template <class CharT> bool StartsWith(const CharT* p, const char* text) {
    for (; *text; ++p, ++text)
        if (*p != CharT(*text))
            return false;
    return true;
}

template <class CharT> void ParseSizePrefix(const CharT*& p, ConversionDirective& directive) {
    if (StartsWith(p, "hh")) {
        directive.size = ArgSize::Char;
        directive.textWidth = TextWidth::Narrow;
        p += 2;
    } else if (*p == CharT('h')) {
        directive.size = ArgSize::Short;
        directive.textWidth = TextWidth::Narrow;
        ++p;
    } else if (StartsWith(p, "ll")) {
        directive.size = ArgSize::Int64;
        p += 2;
    } else if (*p == CharT('l')) {
        // A Windows long is 32 bits; for text it means wide.
        directive.textWidth = TextWidth::Wide;
        ++p;
    } else if (*p == CharT('w')) {
        directive.textWidth = TextWidth::Wide;
        ++p;
    } else if (*p == CharT('L')) {
        directive.size = ArgSize::LongDouble;
        ++p;
    } else if (StartsWith(p, "I64")) {
        directive.size = ArgSize::Int64;
        p += 3;
    } else if (StartsWith(p, "I32")) {
        p += 3;
    } else if (*p == CharT('I') || *p == CharT('z') || *p == CharT('t') || *p == CharT('j')) {
        directive.size = ArgSize::PointerSized;
        ++p;
    }
}

// Parses the directive after a '%'. Nothing is read from the argument
// list here, so an invalid directive can be written out without having
// consumed anything.
template <class CharT> std::optional<ConversionDirective> ParseDirective(const CharT* start) {
    ConversionDirective directive;
    const CharT* p = start;
    for (; *p && IsAscii(*p) && std::strchr("-+ #0", static_cast<char>(*p)); ++p) {
        directive.flags += static_cast<char>(*p);
        directive.leftAlign |= *p == CharT('-');
        directive.zeroPad |= *p == CharT('0');
    }
    if (*p == CharT('*')) {
        directive.widthFromArg = true;
        ++p;
    } else if (IsDigit(*p) && !ParseNumber(p, directive.width)) {
        return std::nullopt;
    }
    if (*p == CharT('.')) {
        ++p;
        if (*p == CharT('*')) {
            directive.precisionFromArg = true;
            ++p;
        } else if (!ParseNumber(p, directive.precision)) {
            return std::nullopt;
        }
    }
    ParseSizePrefix(p, directive);
    if (*p == 0 || !IsAscii(*p))
        return std::nullopt;
    directive.type = static_cast<char>(*p);
    if (!IsIntegerType(directive.type) && !IsFloatType(directive.type) &&
        !IsTextType(directive.type) && directive.type != 'p')
        return std::nullopt;
    if (directive.size == ArgSize::LongDouble && IsIntegerType(directive.type))
        directive.size = ArgSize::Int64;
    directive.length = static_cast<std::size_t>(p - start) + 1;
    return directive;
}

void ResolveStarArguments(ConversionDirective& directive, va_list& args) {
    if (directive.widthFromArg) {
        int width = va_arg(args, int);
        if (width < 0) {
            directive.leftAlign = true;
            directive.flags += '-';
            width = width == INT32_MIN ? INT32_MAX : -width;
        }
        directive.width = width;
    }
    if (directive.precisionFromArg) {
        int precision = va_arg(args, int);
        directive.precision = precision < 0 ? -1 : precision;
    }
}

// The C library's directive for a number: flags, width and precision as
// resolved, with the given length modifier.
std::string LibraryDirective(const ConversionDirective& directive, const char* lengthModifier) {
    std::string text = "%" + directive.flags;
    if (directive.width >= 0)
        text += std::to_string(directive.width);
    if (directive.precision >= 0)
        text += "." + std::to_string(directive.precision);
    return text + lengthModifier + directive.type;
}

template <class Value>
std::optional<std::string> FormatWithLibrary(const std::string& libDirective, Value value) {
    char small[128];
    int needed = std::snprintf(small, sizeof small, libDirective.c_str(), value);
    if (needed < 0)
        return std::nullopt;
    if (static_cast<std::size_t>(needed) < sizeof small)
        return std::string(small, static_cast<std::size_t>(needed));
    std::string large(static_cast<std::size_t>(needed) + 1, '\0');
    std::snprintf(large.data(), large.size(), libDirective.c_str(), value);
    large.resize(static_cast<std::size_t>(needed));
    return large;
}

bool IsSigned(char type) {
    return type == 'd' || type == 'i';
}

std::optional<std::string> FormatInteger(const ConversionDirective& directive, va_list& args) {
    const bool isSigned = IsSigned(directive.type);
    switch (directive.size) {
    case ArgSize::Char:
        return isSigned
                   ? FormatWithLibrary(LibraryDirective(directive, "hh"), va_arg(args, int))
                   : FormatWithLibrary(LibraryDirective(directive, "hh"), va_arg(args, unsigned));
    case ArgSize::Short:
        return isSigned
                   ? FormatWithLibrary(LibraryDirective(directive, "h"), va_arg(args, int))
                   : FormatWithLibrary(LibraryDirective(directive, "h"), va_arg(args, unsigned));
    case ArgSize::Int64:
    case ArgSize::PointerSized:
    case ArgSize::LongDouble:
        return isSigned
                   ? FormatWithLibrary(LibraryDirective(directive, "ll"), va_arg(args, long long))
                   : FormatWithLibrary(LibraryDirective(directive, "ll"),
                                       va_arg(args, unsigned long long));
    case ArgSize::Int:
        break;
    }
    return isSigned ? FormatWithLibrary(LibraryDirective(directive, ""), va_arg(args, int))
                    : FormatWithLibrary(LibraryDirective(directive, ""), va_arg(args, unsigned));
}

std::optional<std::string> FormatFloat(const ConversionDirective& directive, va_list& args) {
    if (directive.size == ArgSize::LongDouble)
        return FormatWithLibrary(LibraryDirective(directive, "L"), va_arg(args, long double));
    return FormatWithLibrary(LibraryDirective(directive, ""), va_arg(args, double));
}

// 64-bit Windows prints a pointer as 16 upper-case hex digits without "0x".
std::string FormatPointer(va_list& args) {
    const void* pointer = va_arg(args, void*);
    char text[32];
    std::snprintf(text, sizeof text, "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

// Output-width helpers: the same operations for narrow and wide output.
template <class CharT> struct Text;

template <> struct Text<char> {
    static std::string FromNarrow(std::string_view text) { return std::string(text); }
    static std::string FromWide(std::wstring_view text) { return hdbtext::AnsiFromWide(text); }
    static std::string FromLibrary(std::string_view digits) { return std::string(digits); }
};

template <> struct Text<wchar_t> {
    static std::wstring FromNarrow(std::string_view text) { return hdbtext::WideFromAnsi(text); }
    static std::wstring FromWide(std::wstring_view text) { return std::wstring(text); }
    static std::wstring FromLibrary(std::string_view digits) {
        // Numbers are ASCII except for exotic decimal points of the locale.
        for (char c : digits)
            if (static_cast<unsigned char>(c) >= 0x80)
                return hdbtext::WideFromAnsi(digits);
        return std::wstring(digits.begin(), digits.end());
    }
};

// Pads to the field width. Windows pads text with zeros too when the '0'
// flag is given, unlike the C library.
template <class CharT>
void AppendPadded(std::basic_string<CharT>& out, std::basic_string_view<CharT> text,
                  const ConversionDirective& directive) {
    const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
    const std::size_t padding = width > text.size() ? width - text.size() : 0;
    if (!directive.leftAlign)
        out.append(padding, directive.zeroPad ? CharT('0') : CharT(' '));
    out.append(text);
    if (directive.leftAlign)
        out.append(padding, CharT(' '));
}

template <class CharT> bool ArgumentIsWide(const ConversionDirective& directive) {
    switch (directive.textWidth) {
    case TextWidth::Narrow:
        return false;
    case TextWidth::Wide:
        return true;
    case TextWidth::OfFormat:
        break;
    }
    const bool upper = directive.type == 'S' || directive.type == 'C';
    constexpr bool formatIsWide = sizeof(CharT) == sizeof(wchar_t);
    return upper ? !formatIsWide : formatIsWide;
}

// A wide argument in a narrow output: the precision counts output bytes and
// never splits a character.
std::string NarrowFromWideLimited(std::wstring_view text, int precision) {
    if (precision < 0)
        return hdbtext::AnsiFromWide(text);
    std::string out;
    for (wchar_t c : text) {
        std::string bytes = hdbtext::AnsiFromWide(std::wstring_view(&c, 1));
        if (out.size() + bytes.size() > static_cast<std::size_t>(precision))
            break;
        out += bytes;
    }
    return out;
}

template <class CharT>
std::basic_string<CharT> WideArgumentText(const wchar_t* arg, int precision) {
    static const wchar_t kNull[] = L"(null)";
    const wchar_t* text = arg ? arg : kNull;
    if constexpr (sizeof(CharT) == sizeof(wchar_t)) {
        std::size_t length =
            precision < 0 ? std::wcslen(text) : wcsnlen(text, static_cast<std::size_t>(precision));
        return std::wstring(text, length);
    } else {
        return NarrowFromWideLimited(text, precision);
    }
}

template <class CharT> std::basic_string<CharT> NarrowArgumentText(const char* arg, int precision) {
    const char* text = arg ? arg : "(null)";
    if constexpr (sizeof(CharT) == sizeof(char)) {
        std::size_t length =
            precision < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(precision));
        return std::string(text, length);
    } else {
        if (precision < 0)
            return hdbtext::WideFromAnsi(text);
        const std::size_t bound = static_cast<std::size_t>(precision) * kMaxBytesPerCharacter;
        std::wstring wide = hdbtext::WideFromAnsi(std::string_view(text, strnlen(text, bound)));
        if (wide.size() > static_cast<std::size_t>(precision))
            wide.resize(static_cast<std::size_t>(precision));
        return wide;
    }
}

template <class CharT>
std::basic_string<CharT> FormatText(const ConversionDirective& directive, va_list& args) {
    const bool wideArg = ArgumentIsWide<CharT>(directive);
    if (directive.type == 'c' || directive.type == 'C') {
        // Characters arrive promoted to int.
        if (wideArg) {
            const wchar_t c = static_cast<wchar_t>(va_arg(args, int));
            return Text<CharT>::FromWide(std::wstring_view(&c, 1));
        }
        const char c = static_cast<char>(va_arg(args, int));
        return Text<CharT>::FromNarrow(std::string_view(&c, 1));
    }
    if (wideArg)
        return WideArgumentText<CharT>(va_arg(args, const wchar_t*), directive.precision);
    return NarrowArgumentText<CharT>(va_arg(args, const char*), directive.precision);
}

// Formats one valid directive, appending to out; false when the C
// library refuses it (for instance a width beyond what it can produce).
template <class CharT>
bool FormatOne(std::basic_string<CharT>& out, ConversionDirective directive, va_list& args) {
    ResolveStarArguments(directive, args);
    if (IsTextType(directive.type)) {
        std::basic_string<CharT> text = FormatText<CharT>(directive, args);
        AppendPadded<CharT>(out, text, directive);
        return true;
    }
    if (directive.type == 'p') {
        std::basic_string<CharT> text = Text<CharT>::FromLibrary(FormatPointer(args));
        AppendPadded<CharT>(out, text, directive);
        return true;
    }
    std::optional<std::string> digits =
        IsFloatType(directive.type) ? FormatFloat(directive, args) : FormatInteger(directive, args);
    if (!digits)
        return false;
    out += Text<CharT>::FromLibrary(*digits);
    return true;
}

// The whole text of a format; nullopt when a conversion failed.
template <class CharT>
std::optional<std::basic_string<CharT>> FormatWindows(const CharT* format, va_list& args) {
    std::basic_string<CharT> out;
    const CharT* p = format;
    while (*p) {
        if (*p != CharT('%')) {
            out += *p++;
            continue;
        }
        if (p[1] == CharT('%')) {
            out += CharT('%');
            p += 2;
            continue;
        }
        std::optional<ConversionDirective> directive = ParseDirective(p + 1);
        if (!directive) {
            // Not a conversion: written as it stands; the text after it
            // continues normally.
            out += *p++;
            continue;
        }
        if (!FormatOne(out, *directive, args))
            return std::nullopt;
        p += 1 + directive->length;
    }
    return out;
}

template <class CharT>
std::optional<std::basic_string<CharT>> FormatCopy(const CharT* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    std::optional<std::basic_string<CharT>> text = FormatWindows(format, copy);
    va_end(copy);
    return text;
}

template <class CharT> int Fail(CharT* buffer, int error) {
    if (buffer)
        buffer[0] = CharT(0);
    errno = error;
    return -1;
}

template <class CharT> int CopyOut(CharT* buffer, const std::basic_string<CharT>& text) {
    std::memcpy(buffer, text.data(), text.size() * sizeof(CharT));
    buffer[text.size()] = CharT(0);
    return static_cast<int>(text.size());
}

// The text of format for a caller's buffer of size characters; without one
// (a missing buffer or format, or arguments that have no text), failed holds
// the call's answer, errno and the buffer set as the failure wants.
template <class CharT>
std::optional<std::basic_string<CharT>>
FormatForBuffer(CharT* buffer, std::size_t size, const CharT* format, va_list args, int& failed) {
    if (!buffer || size == 0)
        failed = Fail<CharT>(nullptr, EINVAL);
    else if (!format)
        failed = Fail(buffer, EINVAL);
    else if (std::optional<std::basic_string<CharT>> text = FormatCopy(format, args))
        return text;
    else
        failed = Fail(buffer, EILSEQ);
    return std::nullopt;
}

template <class CharT>
int PrintSecure(CharT* buffer, std::size_t size, const CharT* format, va_list args) {
    int failed = 0;
    const std::optional<std::basic_string<CharT>> text =
        FormatForBuffer(buffer, size, format, args, failed);
    if (!text)
        return failed;
    if (text->size() >= size)
        return Fail(buffer, ERANGE);
    return CopyOut(buffer, *text);
}

// Truncating forms: count limits the characters written (_TRUNCATE: as many
// as fit). A text cut short by count gives -1 with what fitted written; a
// text that does not fit the buffer while count allows it is an error that
// empties the buffer.
template <class CharT>
int PrintTruncating(CharT* buffer, std::size_t size, std::size_t count, const CharT* format,
                    va_list args) {
    if (count == 0 && !buffer && size == 0)
        return 0;
    int failed = 0;
    std::optional<std::basic_string<CharT>> text =
        FormatForBuffer(buffer, size, format, args, failed);
    if (!text)
        return failed;
    const bool truncating = count == _TRUNCATE || count < size;
    const std::size_t limit = count == _TRUNCATE ? size - 1 : std::min(count, size - 1);
    if (text->size() <= limit)
        return CopyOut(buffer, *text);
    if (!truncating)
        return Fail(buffer, ERANGE);
    text->resize(limit);
    CopyOut(buffer, *text);
    return -1;
}

template <class CharT> int PrintCount(const CharT* format, va_list args) {
    if (!format)
        return Fail<CharT>(nullptr, EINVAL);
    std::optional<std::basic_string<CharT>> text = FormatCopy(format, args);
    if (!text)
        return Fail<CharT>(nullptr, EILSEQ);
    return static_cast<int>(text->size());
}

} // namespace

// The body of a variadic printing function: gathers the arguments after
// `format` into `args` for the call of its va_list form and answers what
// that answers. C offers no other way to hand `...` on.
#define FORWARD_VARIADIC_ARGS(call)                                                                \
    va_list args;                                                                                  \
    va_start(args, format);                                                                        \
    const int result = call;                                                                       \
    va_end(args);                                                                                  \
    return result

int vswprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, const wchar_t* format, va_list args) {
    return PrintSecure(buffer, sizeOfBuffer, format, args);
}

int swprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, const wchar_t* format, ...) {
    FORWARD_VARIADIC_ARGS(PrintSecure(buffer, sizeOfBuffer, format, args));
}

int _vsnwprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, std::size_t count,
                  const wchar_t* format, va_list args) {
    return PrintTruncating(buffer, sizeOfBuffer, count, format, args);
}

int _snwprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, std::size_t count,
                 const wchar_t* format, ...) {
    FORWARD_VARIADIC_ARGS(PrintTruncating(buffer, sizeOfBuffer, count, format, args));
}

int _vscwprintf(const wchar_t* format, va_list args) {
    return PrintCount(format, args);
}

int _scwprintf(const wchar_t* format, ...) {
    FORWARD_VARIADIC_ARGS(PrintCount(format, args));
}

int vsprintf_s(char* buffer, std::size_t sizeOfBuffer, const char* format, va_list args) {
    return PrintSecure(buffer, sizeOfBuffer, format, args);
}

int sprintf_s(char* buffer, std::size_t sizeOfBuffer, const char* format, ...) {
    FORWARD_VARIADIC_ARGS(PrintSecure(buffer, sizeOfBuffer, format, args));
}

int _vsnprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format,
                 va_list args) {
    return PrintTruncating(buffer, sizeOfBuffer, count, format, args);
}

int _snprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format,
                ...) {
    FORWARD_VARIADIC_ARGS(PrintTruncating(buffer, sizeOfBuffer, count, format, args));
}

int _vscprintf(const char* format, va_list args) {
    return PrintCount(format, args);
}

int _scprintf(const char* format, ...) {
    FORWARD_VARIADIC_ARGS(PrintCount(format, args));
}

#undef FORWARD_VARIADIC_ARGS
