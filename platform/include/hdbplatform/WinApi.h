// The COM runtime functions and the few Win32 functions that the library and
// the providers call, for Linux builds. Each behaves as its Windows namesake
// for the inputs this project passes; differences are noted at the function.
#pragma once

#include "hdbplatform/OleAuto.h"

// Pointer types the declarations below use before the Win32 section.
using LPDWORD = DWORD*;

// ---------------------------------------------------------------- COM runtime

enum CLSCTX : DWORD {
    CLSCTX_INPROC_SERVER = 0x1,
    CLSCTX_INPROC_HANDLER = 0x2,
    CLSCTX_LOCAL_SERVER = 0x4,
    CLSCTX_REMOTE_SERVER = 0x10,
    CLSCTX_INPROC = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER,
    CLSCTX_ALL =
        CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER,
    CLSCTX_SERVER = CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER,
};

enum COINIT : DWORD {
    COINIT_APARTMENTTHREADED = 0x2,
    COINIT_MULTITHREADED = 0x0,
    COINIT_DISABLE_OLE1DDE = 0x4,
};

enum REGCLS : DWORD {
    REGCLS_SINGLEUSE = 0,
    REGCLS_MULTIPLEUSE = 1,
    REGCLS_MULTI_SEPARATE = 2,
};

// Initialisation is accepted and counted; the runtime needs no apartment.
HRESULT CoInitialize(LPVOID pvReserved);
HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
void CoUninitialize();

// Creates an object through the class registry: first the class objects
// registered in this process (CoRegisterClassObject), then the modules named
// in the registry (see hdbplatform/ClassRegistry.h). An unknown class id
// gives REGDB_E_CLASSNOTREG.
HRESULT CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid,
                         LPVOID* ppv);
HRESULT CoGetClassObject(REFCLSID rclsid, DWORD dwClsContext, LPVOID pvReserved, REFIID riid,
                         LPVOID* ppv);
HRESULT CoRegisterClassObject(REFCLSID rclsid, LPUNKNOWN pUnk, DWORD dwClsContext, DWORD flags,
                              LPDWORD lpdwRegister);
HRESULT CoRevokeClassObject(DWORD dwRegister);

HRESULT CoGetMalloc(DWORD dwMemContext, LPMALLOC* ppMalloc);
LPVOID CoTaskMemAlloc(SIZE_T cb);
LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb);
void CoTaskMemFree(LPVOID pv);

HRESULT CoCreateGuid(GUID* pguid);
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; returns the characters written
// including the terminator, 0 when cchMax is too small.
int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);
HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* lplpsz);
HRESULT StringFromIID(REFIID rclsid, LPOLESTR* lplpsz);
HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid);
HRESULT IIDFromString(LPCOLESTR lpsz, IID* lpiid);

// Error information is per thread, as on Windows.
HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo);
HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo);
HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo);

// A growable memory stream. Only a null hGlobal is supported here.
HRESULT CreateStreamOnHGlobal(HGLOBAL hGlobal, BOOL fDeleteOnRelease, LPSTREAM* ppstm);

// ---------------------------------------------------------------- Win32

using LPDWORD = DWORD*;
using LPLONG = LONG*;

DWORD GetLastError();
void SetLastError(DWORD dwErrCode);
void Sleep(DWORD dwMilliseconds);
DWORD GetCurrentThreadId();
DWORD GetCurrentProcessId();
DWORD GetTickCount();
ULONGLONG GetTickCount64();

// Code pages: CP_ACP is the narrow encoding of the process locale (UTF-8 in
// practice; a plain C/POSIX locale counts as UTF-8 too).
inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_OEMCP = 1;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar);
int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                        BOOL* lpUsedDefaultChar);

// Files: only what the library uses (size of a file by name).
inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 0x1;
inline constexpr DWORD FILE_SHARE_WRITE = 0x2;
inline constexpr DWORD FILE_SHARE_DELETE = 0x4;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize);
BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, void* lpOverlapped);
BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, void* lpOverlapped);
BOOL CloseHandle(HANDLE hObject);

// Message texts. FORMAT_MESSAGE_FROM_SYSTEM knows the texts Windows gives for
// the COM and Win32 codes this project meets; other codes fail (0) with
// ERROR_MR_MID_NOT_FOUND, as Windows does for a code it has no text for.
inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
inline constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId,
                     LPWSTR lpBuffer, DWORD nSize, void* Arguments);
HLOCAL LocalFree(HLOCAL hMem);

// The user-interface language of the calling thread. A thread that never set
// one gets the default from the process locale (LC_ALL, LC_MESSAGES, LANG):
// German for "de*", English otherwise.
LANGID GetThreadUILanguage();
LANGID SetThreadUILanguage(LANGID LangId);
LANGID GetUserDefaultUILanguage();
