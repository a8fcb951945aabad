// Secure string copies, number parsing and case-insensitive comparison with
// the results the Windows C runtime gives.
#include "hdbplatform/Crt.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <cwchar>
#include <limits>
#include <type_traits>

namespace {

// Returns the length of text, looking at no more than limit characters.
template <class CharT> std::size_t BoundedLength(const CharT* text, std::size_t limit) {
    std::size_t length = 0;
    while (length < limit && text[length])
        ++length;
    return length;
}

// dest[0..destSize) receives src[0..count) and a terminator, or, when that
// does not fit, is emptied (ERANGE) or cut to fit (STRUNCATE with _TRUNCATE).
template <class CharT>
errno_t CopyAt(CharT* dest, std::size_t destSize, const CharT* src, std::size_t count,
               bool truncateAllowed) {
    const std::size_t length = BoundedLength(src, count);
    if (length < destSize) {
        std::memmove(dest, src, length * sizeof(CharT));
        dest[length] = CharT(0);
        return 0;
    }
    if (!truncateAllowed) {
        dest[0] = CharT(0);
        return ERANGE;
    }
    std::memmove(dest, src, (destSize - 1) * sizeof(CharT));
    dest[destSize - 1] = CharT(0);
    return STRUNCATE;
}

template <class CharT>
errno_t SecureCopy(CharT* dest, std::size_t destSize, const CharT* src, std::size_t count) {
    if (count == 0 && !dest && destSize == 0)
        return 0;
    if (!dest || destSize == 0)
        return EINVAL;
    if (count == 0) {
        dest[0] = CharT(0);
        return 0;
    }
    if (!src) {
        dest[0] = CharT(0);
        return EINVAL;
    }
    const bool truncate = count == _TRUNCATE;
    return CopyAt(dest, destSize, src, truncate ? SIZE_MAX : count, truncate);
}

// strcpy_s: the whole of src, or an empty dest and EINVAL without a source.
template <class CharT>
errno_t SecureCopyWhole(CharT* dest, std::size_t destSize, const CharT* src) {
    if (!dest || destSize == 0)
        return EINVAL;
    if (!src) {
        dest[0] = 0;
        return EINVAL;
    }
    return CopyAt(dest, destSize, src, SIZE_MAX, false);
}

// count == _TRUNCATE means "as much as fits" only for the counted forms; the
// plain append passes SIZE_MAX (the same value) with truncateAllowed false.
template <class CharT>
errno_t SecureAppend(CharT* dest, std::size_t destSize, const CharT* src, std::size_t count,
                     bool truncateAllowed) {
    if (count == 0 && !dest && destSize == 0)
        return 0;
    if (!dest || destSize == 0)
        return EINVAL;
    if (!src && count != 0) {
        dest[0] = CharT(0);
        return EINVAL;
    }
    const std::size_t used = BoundedLength(dest, destSize);
    if (used == destSize) {
        // The destination was not terminated inside its size.
        dest[0] = CharT(0);
        return EINVAL;
    }
    if (count == 0)
        return 0;
    const errno_t result = CopyAt(dest + used, destSize - used, src, count, truncateAllowed);
    if (result == ERANGE)
        dest[0] = CharT(0);
    return result;
}

template <class CharT> bool IsBlank(CharT c) {
    return c == CharT(' ') || (c >= CharT('\t') && c <= CharT('\r'));
}

// Decimal parsing shared by the ato* family: leading blanks, an optional
// sign, digits; saturates at the limits of the result type.
template <class Result, class CharT> Result ParseDecimal(const CharT* text) {
    if (!text) {
        errno = EINVAL;
        return 0;
    }
    while (IsBlank(*text))
        ++text;
    const bool negative = *text == CharT('-');
    if (*text == CharT('-') || *text == CharT('+'))
        ++text;
    using Unsigned = std::make_unsigned_t<Result>;
    const Unsigned limit = negative ? Unsigned(std::numeric_limits<Result>::max()) + 1u
                                    : Unsigned(std::numeric_limits<Result>::max());
    Unsigned value = 0;
    bool overflow = false;
    for (; *text >= CharT('0') && *text <= CharT('9'); ++text) {
        const Unsigned digit = static_cast<Unsigned>(*text - CharT('0'));
        if (value > (limit - digit) / 10)
            overflow = true;
        else
            value = value * 10 + digit;
    }
    if (overflow) {
        errno = ERANGE;
        return negative ? std::numeric_limits<Result>::min() : std::numeric_limits<Result>::max();
    }
    return negative ? static_cast<Result>(Unsigned(0) - value) : static_cast<Result>(value);
}

// The Windows "C" locale folds only the ASCII letters.
template <class CharT> unsigned FoldAscii(CharT c) {
    const auto code = static_cast<std::make_unsigned_t<CharT>>(c);
    return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

template <class CharT> int CompareFolded(const CharT* a, const CharT* b, std::size_t count) {
    if (!a || !b) {
        errno = EINVAL;
        return INT_MAX;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned ca = FoldAscii(a[i]);
        const unsigned cb = FoldAscii(b[i]);
        if (ca != cb || ca == 0)
            return static_cast<int>(ca) - static_cast<int>(cb);
    }
    return 0;
}

} // namespace

errno_t wcscpy_s(wchar_t* dest, std::size_t destSize, const wchar_t* src) {
    return SecureCopyWhole(dest, destSize, src);
}

errno_t wcsncpy_s(wchar_t* dest, std::size_t destSize, const wchar_t* src, std::size_t count) {
    return SecureCopy(dest, destSize, src, count);
}

errno_t wcscat_s(wchar_t* dest, std::size_t destSize, const wchar_t* src) {
    return SecureAppend(dest, destSize, src, SIZE_MAX, false);
}

errno_t wcsncat_s(wchar_t* dest, std::size_t destSize, const wchar_t* src, std::size_t count) {
    return SecureAppend(dest, destSize, src, count, count == _TRUNCATE);
}

errno_t strcpy_s(char* dest, std::size_t destSize, const char* src) {
    return SecureCopyWhole(dest, destSize, src);
}

errno_t strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) {
    return SecureCopy(dest, destSize, src, count);
}

errno_t strcat_s(char* dest, std::size_t destSize, const char* src) {
    return SecureAppend(dest, destSize, src, SIZE_MAX, false);
}

errno_t memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (count == 0)
        return 0;
    if (!dest)
        return EINVAL;
    if (!src || destSize < count) {
        // Windows clears the whole destination so that no partial copy is used.
        std::memset(dest, 0, destSize);
        return src ? ERANGE : EINVAL;
    }
    std::memcpy(dest, src, count);
    return 0;
}

errno_t memmove_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (count == 0)
        return 0;
    if (!dest || !src)
        return EINVAL;
    if (destSize < count)
        return ERANGE;
    std::memmove(dest, src, count);
    return 0;
}

std::int64_t _atoi64(const char* text) {
    return ParseDecimal<std::int64_t>(text);
}
std::int64_t _wtoi64(const wchar_t* text) {
    return ParseDecimal<std::int64_t>(text);
}
int _wtoi(const wchar_t* text) {
    return ParseDecimal<int>(text);
}

long long _wcstoi64(const wchar_t* text, wchar_t** end, int base) {
    static_assert(sizeof(long long) == 8);
    return std::wcstoll(text, end, base);
}

unsigned long long _wcstoui64(const wchar_t* text, wchar_t** end, int base) {
    return std::wcstoull(text, end, base);
}

int _wcsicmp(const wchar_t* a, const wchar_t* b) {
    return CompareFolded(a, b, SIZE_MAX);
}
int _wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t count) {
    return CompareFolded(a, b, count);
}
int _stricmp(const char* a, const char* b) {
    return CompareFolded(a, b, SIZE_MAX);
}
int _strnicmp(const char* a, const char* b, std::size_t count) {
    return CompareFolded(a, b, count);
}
