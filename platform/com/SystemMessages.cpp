// FormatMessageW with FORMAT_MESSAGE_FROM_SYSTEM: the English system texts
// of the result codes this project meets. A code without a text fails as it
// does on Windows, where OLE DB's own codes have no system text either.
#include "hdbplatform/WinApi.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

struct SystemText {
    DWORD code;
    const wchar_t* text;
};

// Win32 error numbers; an HRESULT of FACILITY_WIN32 shares its number's text.
constexpr SystemText kWin32Texts[] = {
    {0, L"The operation completed successfully."},
    {1, L"Incorrect function."},
    {2, L"The system cannot find the file specified."},
    {3, L"The system cannot find the path specified."},
    {4, L"The system cannot open the file."},
    {5, L"Access is denied."},
    {6, L"The handle is invalid."},
    {8, L"Not enough memory resources are available to process this command."},
    {14, L"Not enough memory resources are available to complete this operation."},
    {31, L"A device attached to the system is not functioning."},
    {32, L"The process cannot access the file because it is being used by another process."},
    {38, L"Reached the end of the file."},
    {50, L"The request is not supported."},
    {80, L"The file exists."},
    {87, L"The parameter is incorrect."},
    {112, L"There is not enough space on the disk."},
    {122, L"The data area passed to a system call is too small."},
    {123, L"The filename, directory name, or volume label syntax is incorrect."},
    {126, L"The specified module could not be found."},
    {183, L"Cannot create a file when that file already exists."},
    {206, L"The filename or extension is too long."},
    {1004, L"Invalid flags."},
    {1113, L"No mapping for the Unicode character exists in the target multi-byte code page."},
};

// COM, storage and automation codes of the other facilities.
constexpr SystemText kComTexts[] = {
    {0x8000FFFF, L"Catastrophic failure"},
    {0x80004001, L"Not implemented"},
    {0x80004002, L"No such interface supported"},
    {0x80004003, L"Invalid pointer"},
    {0x80004004, L"Operation aborted"},
    {0x80004005, L"Unspecified error"},
    {0x80010106, L"Cannot change thread mode after it is set."},
    {0x80020005, L"Type mismatch."},
    {0x80020008, L"Bad variable type."},
    {0x8002000A, L"Out of present range."},
    {0x8002000D, L"Memory is locked."},
    {0x80020012, L"Division by zero."},
    {0x8002802B, L"Element not found."},
    {0x80030001, L"Unable to perform requested operation."},
    {0x80030005, L"Access Denied."},
    {0x80030008, L"There is insufficient memory available to complete operation."},
    {0x80030009, L"Invalid pointer error."},
    {0x8003001D, L"A disk error occurred during a write operation."},
    {0x8003001E, L"A disk error occurred during a read operation."},
    {0x80030057, L"Invalid parameter error."},
    {0x80030070, L"There is insufficient disk space to complete operation."},
    {0x80030102,
     L"The object has been invalidated by a revert operation above it in the transaction tree."},
    {0x80040110, L"Class does not support aggregation (or class object is remote)"},
    {0x80040111, L"ClassFactory cannot supply requested class"},
    {0x80040154, L"Class not registered"},
    {0x800401F0, L"CoInitialize has not been called."},
    {0x800401F3, L"Invalid class string"},
};

template <std::size_t N> const wchar_t* Find(const SystemText (&table)[N], DWORD code) {
    for (const SystemText& entry : table)
        if (entry.code == code)
            return entry.text;
    return nullptr;
}

constexpr DWORD kWin32Facility = 0x80070000;

const wchar_t* SystemTextOf(DWORD code) {
    if (code <= 0xFFFF)
        return Find(kWin32Texts, code);
    if ((code & 0xFFFF0000) == kWin32Facility)
        return Find(kWin32Texts, code & 0xFFFF);
    return Find(kComTexts, code);
}

// The system texts end with a line break; a maximum width in the flags asks
// for the text without breaks, where Windows leaves a blank in their place.
std::wstring MessageText(const wchar_t* text, DWORD flags) {
    std::wstring message = text;
    message += (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) ? L" " : L"\r\n";
    return message;
}

DWORD Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

} // namespace

// The language is not consulted: the system texts exist in English only, and
// Windows installations without the requested language answer in English too.
DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId,
                     LPWSTR lpBuffer, DWORD nSize, void* Arguments) {
    if ((dwFlags & FORMAT_MESSAGE_FROM_STRING) || !(dwFlags & FORMAT_MESSAGE_FROM_SYSTEM))
        return Fail(ERROR_INVALID_PARAMETER);
    const wchar_t* text = SystemTextOf(dwMessageId);
    if (!text)
        return Fail(ERROR_MR_MID_NOT_FOUND);
    const std::wstring message = MessageText(text, dwFlags);
    const std::size_t needed = message.size() + 1;
    wchar_t* destination = lpBuffer;
    if (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        // lpBuffer is really the address of the caller's pointer; nSize is a
        // minimum size for the allocation.
        auto** result = reinterpret_cast<wchar_t**>(lpBuffer);
        if (!result)
            return Fail(ERROR_INVALID_PARAMETER);
        const std::size_t count = needed > nSize ? needed : nSize;
        destination = static_cast<wchar_t*>(std::malloc(count * sizeof(wchar_t)));
        if (!destination)
            return Fail(ERROR_NOT_ENOUGH_MEMORY);
        *result = destination;
    } else if (!lpBuffer) {
        return Fail(ERROR_INVALID_PARAMETER);
    } else if (nSize < needed) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::wmemcpy(destination, message.c_str(), needed);
    return static_cast<DWORD>(message.size());
}

// Frees what FormatMessageW allocated; returns null on success as Windows does.
HLOCAL LocalFree(HLOCAL hMem) {
    std::free(hMem);
    return nullptr;
}
