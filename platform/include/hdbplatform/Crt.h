// The Windows C runtime functions that the library calls, for Linux builds.
//
// Formatting follows the Windows printf conventions, so that a format string
// written for Windows produces on Linux exactly the text it produces there:
//   %ld %lx %lu   32-bit integers (LONG, ULONG, HRESULT)
//   %I64d %I64u %I64x, %lld ...  64-bit integers;  %Id %Iu  pointer-sized
//   %s %c  in a wide format: wide string / character; in a narrow format: narrow
//   %S %C  the other width;  %hs %hc narrow;  %ls %lc %ws wide
// so `0x%lx (%ld)` of DB_E_CANCELED gives "0x80040e4e (-2147217842)".
//
// The secure functions return 0 or an errno value. Where Windows would call
// the invalid-parameter handler (and end the process), these leave an empty
// terminated destination where there is one and return the error instead.
#pragma once

#include "hdbplatform/WinTypes.h"

#include <cstdarg>
#include <cstdint>
#include <ctime>

using errno_t = int;
using __time64_t = std::int64_t;
inline constexpr std::size_t _TRUNCATE = static_cast<std::size_t>(-1);
// Result of a _TRUNCATE copy or format that had to cut the text. A macro, as
// in the Windows <errno.h>, so that `#ifdef STRUNCATE` works on both sides.
#ifndef STRUNCATE
#define STRUNCATE 80
#endif

// Formatting with the Windows conventions. The _s forms fail (-1, empty
// destination) when the text does not fit; the counting forms (_scwprintf,
// _vscwprintf) return the length the text would have.
int swprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, const wchar_t* format, ...);
int vswprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, const wchar_t* format, va_list args);
int _snwprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, std::size_t count,
                 const wchar_t* format, ...);
int _vsnwprintf_s(wchar_t* buffer, std::size_t sizeOfBuffer, std::size_t count,
                  const wchar_t* format, va_list args);
int _scwprintf(const wchar_t* format, ...);
int _vscwprintf(const wchar_t* format, va_list args);
int sprintf_s(char* buffer, std::size_t sizeOfBuffer, const char* format, ...);
int vsprintf_s(char* buffer, std::size_t sizeOfBuffer, const char* format, va_list args);
int _snprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format, ...);
int _vsnprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format,
                 va_list args);
int _scprintf(const char* format, ...);
int _vscprintf(const char* format, va_list args);

errno_t wcscpy_s(wchar_t* dest, std::size_t destSize, const wchar_t* src);
errno_t wcsncpy_s(wchar_t* dest, std::size_t destSize, const wchar_t* src, std::size_t count);
errno_t wcscat_s(wchar_t* dest, std::size_t destSize, const wchar_t* src);
errno_t wcsncat_s(wchar_t* dest, std::size_t destSize, const wchar_t* src, std::size_t count);
errno_t strcpy_s(char* dest, std::size_t destSize, const char* src);
errno_t strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count);
errno_t strcat_s(char* dest, std::size_t destSize, const char* src);
errno_t memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count);
errno_t memmove_s(void* dest, std::size_t destSize, const void* src, std::size_t count);

template <std::size_t N> errno_t wcscpy_s(wchar_t (&dest)[N], const wchar_t* src) {
    return wcscpy_s(dest, N, src);
}
template <std::size_t N> errno_t wcscat_s(wchar_t (&dest)[N], const wchar_t* src) {
    return wcscat_s(dest, N, src);
}
template <std::size_t N>
errno_t wcsncpy_s(wchar_t (&dest)[N], const wchar_t* src, std::size_t count) {
    return wcsncpy_s(dest, N, src, count);
}
template <std::size_t N> errno_t strcpy_s(char (&dest)[N], const char* src) {
    return strcpy_s(dest, N, src);
}

// Number parsing as the Windows runtime does it: leading blanks, an optional
// sign, decimal digits; anything else ends the number; no digits give 0.
std::int64_t _atoi64(const char* text);
std::int64_t _wtoi64(const wchar_t* text);
int _wtoi(const wchar_t* text);
long long _wcstoi64(const wchar_t* text, wchar_t** end, int base);
unsigned long long _wcstoui64(const wchar_t* text, wchar_t** end, int base);

int _wcsicmp(const wchar_t* a, const wchar_t* b);
int _wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t count);
int _stricmp(const char* a, const char* b);
int _strnicmp(const char* a, const char* b, std::size_t count);

// 64-bit time functions. _mktime64 gives -1 for dates outside
// 1970-01-01 00:00:00 UTC .. 3000-12-31 23:59:59 UTC, as on Windows.
__time64_t _time64(__time64_t* destTime);
__time64_t _mktime64(std::tm* timeptr);
__time64_t _mkgmtime64(std::tm* timeptr);
errno_t _localtime64_s(std::tm* tmDest, const __time64_t* sourceTime);
errno_t _gmtime64_s(std::tm* tmDest, const __time64_t* sourceTime);
