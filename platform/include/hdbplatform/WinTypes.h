// Base Windows types for Linux builds.
//
// Windows is LLP64: wherever a Windows signature says long, LONG, ULONG, DWORD
// or HRESULT, the value is 32 bits. Linux is LP64, so every such name is
// mapped to a fixed-width type here and code never uses a bare `long` for
// them. Pointer-sized names (ULONG_PTR, SIZE_T ...) are 64 bits on both.
//
// wchar_t is 4 bytes on Linux: WCHAR/OLECHAR are wchar_t, so every wide
// record, BSTR and DBTYPE_WSTR buffer holds UTF-32 here and UTF-16 on Windows.
#pragma once

#ifdef _WIN32
#error "hdbplatform/WinTypes.h is for Linux builds; Windows supplies these names itself"
#endif

// unixODBC's headers declare Windows type names of their own (ULONG as
// unsigned long, WCHAR as unsigned short, BOOL as a macro) that contradict
// these. ODBC calls live in translation units that include no platform
// header; the marker below lets those units refuse this header, and the check
// refuses a unit that included the ODBC headers first.
#define HDBPLATFORM_WINTYPES_H 1
#ifdef __SQLTYPES_H
#error "hdbplatform and unixODBC headers cannot meet in one translation unit: see odbc/OdbcApi.h"
#endif

#include <cstddef>
#include <cstdint>

// Calling conventions do not exist on x86-64 Linux.
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define WINAPI
#define CALLBACK
#define __stdcall
#define __cdecl

using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using BOOL = std::int32_t;
using BOOLEAN = std::uint8_t;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using INT64 = std::int64_t;
using UINT64 = std::uint64_t;
using INT_PTR = std::int64_t;
using UINT_PTR = std::uint64_t;
using LONG_PTR = std::int64_t;
using ULONG_PTR = std::uint64_t;
using DWORD_PTR = std::uint64_t;
using SIZE_T = ULONG_PTR;
using SSIZE_T = LONG_PTR;
using FLOAT = float;
using DOUBLE = double;
using LCID = DWORD;
using LANGID = WORD;

using WCHAR = wchar_t;
using OLECHAR = WCHAR;
using LPSTR = CHAR*;
using LPCSTR = const CHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;

using HANDLE = void*;
using HGLOBAL = HANDLE;
using HLOCAL = HANDLE;
using HMODULE = HANDLE;
using HINSTANCE = HANDLE;

static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(sizeof(HRESULT) == 4 && sizeof(ULONG_PTR) == 8);

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1));

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};
union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};
using PLARGE_INTEGER = LARGE_INTEGER*;

// ---------------------------------------------------------------- GUIDs

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using LPGUID = GUID*;
using LPCLSID = CLSID*;

constexpr bool operator==(const GUID& a, const GUID& b) noexcept {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i])
            return false;
    return true;
}
constexpr bool operator!=(const GUID& a, const GUID& b) noexcept {
    return !(a == b);
}
constexpr bool IsEqualGUID(const GUID& a, const GUID& b) noexcept {
    return a == b;
}
constexpr bool IsEqualIID(const IID& a, const IID& b) noexcept {
    return a == b;
}
constexpr bool IsEqualCLSID(const CLSID& a, const CLSID& b) noexcept {
    return a == b;
}

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr IID IID_NULL = GUID_NULL;
inline constexpr CLSID CLSID_NULL = GUID_NULL;

// ---------------------------------------------------------------- HRESULT

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define HRESULT_CODE(hr) ((hr)&0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1FFF)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)
#define MAKE_HRESULT(sev, fac, code)                                                               \
    static_cast<HRESULT>((static_cast<ULONG>(sev) << 31) | (static_cast<ULONG>(fac) << 16) |       \
                         static_cast<ULONG>(code))
#define MAKE_SCODE(sev, fac, code) MAKE_HRESULT(sev, fac, code)

inline constexpr ULONG FACILITY_NULL = 0;
inline constexpr ULONG FACILITY_RPC = 1;
inline constexpr ULONG FACILITY_DISPATCH = 2;
inline constexpr ULONG FACILITY_STORAGE = 3;
inline constexpr ULONG FACILITY_ITF = 4;
inline constexpr ULONG FACILITY_WIN32 = 7;
inline constexpr ULONG SEVERITY_SUCCESS = 0;
inline constexpr ULONG SEVERITY_ERROR = 1;

// Named result codes are typed constants, so `hr == E_FAIL` compares two
// HRESULTs on every platform.
constexpr HRESULT HResultOf(std::uint32_t code) noexcept {
    return static_cast<HRESULT>(code);
}

constexpr HRESULT HRESULT_FROM_WIN32(std::uint32_t error) noexcept {
    return static_cast<HRESULT>(error) <= 0
               ? static_cast<HRESULT>(error)
               : static_cast<HRESULT>((error & 0x0000FFFFu) | (FACILITY_WIN32 << 16) | 0x80000000u);
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT NOERROR = 0;
inline constexpr HRESULT E_UNEXPECTED = HResultOf(0x8000FFFF);
inline constexpr HRESULT E_NOTIMPL = HResultOf(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = HResultOf(0x80004002);
inline constexpr HRESULT E_POINTER = HResultOf(0x80004003);
inline constexpr HRESULT E_ABORT = HResultOf(0x80004004);
inline constexpr HRESULT E_FAIL = HResultOf(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = HResultOf(0x80070005);
inline constexpr HRESULT E_HANDLE = HResultOf(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = HResultOf(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = HResultOf(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = HResultOf(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = HResultOf(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = HResultOf(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = HResultOf(0x800401F0);
inline constexpr HRESULT CO_E_CLASSSTRING = HResultOf(0x800401F3);
inline constexpr HRESULT RPC_E_CHANGED_MODE = HResultOf(0x80010106);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = HResultOf(0x80030001);
inline constexpr HRESULT STG_E_FILENOTFOUND = HResultOf(0x80030002);
inline constexpr HRESULT STG_E_ACCESSDENIED = HResultOf(0x80030005);
inline constexpr HRESULT STG_E_INSUFFICIENTMEMORY = HResultOf(0x80030008);
inline constexpr HRESULT STG_E_INVALIDPOINTER = HResultOf(0x80030009);
inline constexpr HRESULT STG_E_WRITEFAULT = HResultOf(0x8003001D);
inline constexpr HRESULT STG_E_READFAULT = HResultOf(0x8003001E);
inline constexpr HRESULT STG_E_INVALIDPARAMETER = HResultOf(0x80030057);
inline constexpr HRESULT STG_E_MEDIUMFULL = HResultOf(0x80030070);
inline constexpr HRESULT STG_E_REVERTED = HResultOf(0x80030102);
inline constexpr HRESULT DISP_E_BADVARTYPE = HResultOf(0x80020008);
inline constexpr HRESULT DISP_E_OVERFLOW = HResultOf(0x8002000A);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = HResultOf(0x80020005);
inline constexpr HRESULT DISP_E_ARRAYISLOCKED = HResultOf(0x8002000D);
inline constexpr HRESULT DISP_E_DIVBYZERO = HResultOf(0x80020012);
inline constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = HResultOf(0x8002802B);

// Win32 error numbers the platform reports through GetLastError.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;

// Language identifiers (for SetThreadUILanguage and message look-up).
constexpr LANGID MAKELANGID(WORD primary, WORD sub) noexcept {
    return static_cast<LANGID>((sub << 10) | primary);
}
constexpr WORD PRIMARYLANGID(LANGID lang) noexcept {
    return lang & 0x3FF;
}
constexpr WORD SUBLANGID(LANGID lang) noexcept {
    return lang >> 10;
}
inline constexpr WORD LANG_NEUTRAL = 0x00;
inline constexpr WORD LANG_GERMAN = 0x07;
inline constexpr WORD LANG_ENGLISH = 0x09;
inline constexpr WORD SUBLANG_NEUTRAL = 0x00;
inline constexpr WORD SUBLANG_DEFAULT = 0x01;
inline constexpr WORD SUBLANG_GERMAN = 0x01;
inline constexpr WORD SUBLANG_ENGLISH_US = 0x01;
