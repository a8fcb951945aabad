// The basic Win32 functions: the last error of each thread, sleeping, ids,
// tick counts, and the code-page conversions over the project's converter.
#include "hdbplatform/WinApi.h"

#include "StringConversion.h"

#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <time.h>
#include <unistd.h>

namespace {

constexpr DWORD kErrorInvalidFlags = 1004;
constexpr DWORD kInfinite = 0xFFFFFFFF;
// Flags of MultiByteToWideChar that only shape the result of composed
// characters; they change nothing for the encodings served here.
constexpr DWORD kCompositionFlags = 0x1 | 0x2 | 0x4; // precomposed, composite, glyph chars

thread_local DWORD t_lastError = ERROR_SUCCESS;

enum class Encoding { Ansi, Utf8 };

std::optional<Encoding> EncodingOf(UINT codePage) {
    switch (codePage) {
    case CP_ACP:
    case CP_OEMCP:
    case CP_THREAD_ACP:
        // The process has one narrow encoding; the UTF-8 path is the faster.
        return hdbtext::AnsiIsUtf8() ? Encoding::Utf8 : Encoding::Ansi;
    case CP_UTF8:
        return Encoding::Utf8;
    default:
        return std::nullopt;
    }
}

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

// Hands out a converted text by the Windows rules: a zero-sized output asks
// for the size; too small an output is an error.
template <class CharT>
int Deliver(const std::basic_string<CharT>& text, CharT* output, int outputSize) {
    if (outputSize == 0)
        return static_cast<int>(text.size());
    if (text.size() > static_cast<std::size_t>(outputSize))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(output, text.data(), text.size() * sizeof(CharT));
    return static_cast<int>(text.size());
}

bool IsUnicodeScalar(wchar_t c) {
    const auto code = static_cast<std::uint32_t>(c);
    return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
}

bool HasInvalidCodePoint(std::wstring_view text) {
    for (wchar_t c : text)
        if (!IsUnicodeScalar(c))
            return true;
    return false;
}

// The narrow text with every character the encoding cannot hold replaced by
// defaultChar.
std::string AnsiWithDefault(std::wstring_view wide, char defaultChar) {
    std::string narrow;
    for (wchar_t c : wide) {
        bool used = false;
        std::string bytes = hdbtext::AnsiFromWide(std::wstring_view(&c, 1), &used);
        narrow += used ? std::string(1, defaultChar) : bytes;
    }
    return narrow;
}

} // namespace

DWORD GetLastError() {
    return t_lastError;
}
void SetLastError(DWORD dwErrCode) {
    t_lastError = dwErrCode;
}

void Sleep(DWORD dwMilliseconds) {
    if (dwMilliseconds == 0) {
        std::this_thread::yield();
        return;
    }
    do
        std::this_thread::sleep_for(std::chrono::milliseconds(dwMilliseconds));
    while (dwMilliseconds == kInfinite);
}

DWORD GetCurrentThreadId() {
    return static_cast<DWORD>(gettid());
}
DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

// Milliseconds since the system started, suspended time included as on Windows.
ULONGLONG GetTickCount64() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000u +
           static_cast<ULONGLONG>(now.tv_nsec) / 1000000u;
}

DWORD GetTickCount() {
    return static_cast<DWORD>(GetTickCount64());
}

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
    const std::optional<Encoding> encoding = EncodingOf(CodePage);
    if (!encoding || !lpMultiByteStr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
        (cchWideChar > 0 && !lpWideCharStr))
        return Fail(ERROR_INVALID_PARAMETER);
    const DWORD allowed =
        CodePage == CP_UTF8 ? MB_ERR_INVALID_CHARS : MB_ERR_INVALID_CHARS | kCompositionFlags;
    if (dwFlags & ~allowed)
        return Fail(kErrorInvalidFlags);
    // -1: a terminated text, and the terminator is converted too.
    const std::size_t length =
        cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<std::size_t>(cbMultiByte);
    const std::string_view input(lpMultiByteStr, length);
    const bool utf8 = *encoding == Encoding::Utf8;
    const std::wstring wide = utf8 ? hdbtext::WideFromUtf8(input) : hdbtext::WideFromAnsi(input);
    if (dwFlags & MB_ERR_INVALID_CHARS) {
        // Valid input converts back to exactly itself; replaced bytes do not.
        const std::string back = utf8 ? hdbtext::Utf8FromWide(wide) : hdbtext::AnsiFromWide(wide);
        if (back != input)
            return Fail(ERROR_NO_UNICODE_TRANSLATION);
    }
    return Deliver(wide, lpWideCharStr, cchWideChar);
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                        BOOL* lpUsedDefaultChar) {
    const std::optional<Encoding> encoding = EncodingOf(CodePage);
    if (!encoding || !lpWideCharStr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
        (cbMultiByte > 0 && !lpMultiByteStr))
        return Fail(ERROR_INVALID_PARAMETER);
    if (CodePage == CP_UTF8 && (lpDefaultChar || lpUsedDefaultChar))
        return Fail(ERROR_INVALID_PARAMETER);
    if (dwFlags & ~WC_ERR_INVALID_CHARS)
        return Fail(kErrorInvalidFlags);
    const std::size_t length =
        cchWideChar == -1 ? std::wcslen(lpWideCharStr) + 1 : static_cast<std::size_t>(cchWideChar);
    const std::wstring_view input(lpWideCharStr, length);
    if ((dwFlags & WC_ERR_INVALID_CHARS) && HasInvalidCodePoint(input))
        return Fail(ERROR_NO_UNICODE_TRANSLATION);
    std::string narrow;
    bool usedDefault = false;
    if (CodePage == CP_UTF8) {
        narrow = hdbtext::Utf8FromWide(input);
    } else {
        narrow = hdbtext::AnsiFromWide(input, &usedDefault);
        if (usedDefault && lpDefaultChar && *lpDefaultChar != '?')
            narrow = AnsiWithDefault(input, *lpDefaultChar);
    }
    if (lpUsedDefaultChar)
        *lpUsedDefaultChar = usedDefault ? TRUE : FALSE;
    return Deliver(narrow, lpMultiByteStr, cbMultiByte);
}
