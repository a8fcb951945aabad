// The framework's file exception: why a file operation failed, the
// operating system's error number and the file's name.
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/Exception.h"

#include "BasicString.h"

class CBasicFileException;

class CFileException : public CException {
public:
    // The causes; their values are fixed (callers store and compare them).
    enum {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };

    // osError: the system's error number, -1 when there is none. On this
    // platform layer that is the C runtime's errno for file operations and
    // the HRESULT for stream operations.
    explicit CFileException(int cause = none, LONG osError = -1, LPCWSTR fileName = nullptr);

    // The cause an errno value of a failed file operation stands for.
    static int ErrnoToException(int errnoValue);
    // The cause a failed stream operation's HRESULT stands for.
    static int HResultToException(HRESULT result);
    // The cause of a basic I/O failure: its errno, except that a missing
    // directory on the way is a bad path rather than a missing file.
    static int CauseOf(const CBasicFileException& error);
    // Throws new CFileException(ErrnoToException(errnoValue), errnoValue, fileName).
    [[noreturn]] static void ThrowErrno(int errnoValue, LPCWSTR fileName = nullptr);

    // A sentence naming the cause and the file ("an unnamed file" when the
    // name is empty).
    BOOL GetErrorMessage(LPWSTR error, UINT maxError, UINT* helpContext = nullptr) const override;

    int m_cause;
    LONG m_lOsError;
    CBasicString<wchar_t> m_strFileName;
};

// Throws new CFileException(cause, osError, fileName); the catcher owns the
// pointer and calls Delete() on it.
[[noreturn]] void AfxThrowFileException(int cause, LONG osError = -1, LPCWSTR fileName = nullptr);
// The same with the name as a string, so that a caught exception's
// m_strFileName can be thrown on as it is.
[[noreturn]] void AfxThrowFileException(int cause, LONG osError,
                                        const CBasicStringView<wchar_t>& fileName);
