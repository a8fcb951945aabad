// The exception of the basic I/O library: a failed file operation, with the
// file's name, the operating system's error number and a coarse error kind
// that callers can act on without knowing the platform's error numbers.
#pragma once

#include "BasicString.h"

#include <exception>
#include <string>

class CBasicFileException : public std::exception {
public:
    // The error kinds; their values are part of the interface (callers store
    // and compare the numbers).
    enum enumErrorKind : unsigned char {
        eAccessDenied = 0,     // no permission, read-only file or file system
        eFileNotFound = 1,     // the file itself is missing
        eInvalidParameter = 2, // bad mode, bad seek, name not representable
        eFileHandleError = 3,  // I/O error on an open file
        ePathNotFound = 4,     // a directory on the way is missing or the name is too long
        eInvalidHandle = 5,    // operation on a file that is not open
        eNoSpace = 6,          // disk full, quota or file size limit
        eOutOfMemory = 7,
        eUndefined = 8,
    };

    CBasicFileException() = default;
    // fileName: the file concerned; detail: the operation that failed (free
    // text); osError: errno of the failure (0 when none).
    CBasicFileException(const CBasicStringView<wchar_t>& fileName,
                        const CBasicStringView<wchar_t>& detail, int osError, unsigned char kind);

    // The kind that an errno value of a failed operation stands for.
    static unsigned char KindFromErrno(int osError) noexcept;
    // The English text of a kind, as what() shows it.
    static const char* KindText(unsigned char kind) noexcept;

    // "File exception for: <name> error was: <kind text>", the name in the
    // narrow (ANSI) encoding. The text is rebuilt on each call into a buffer
    // of this object and stays valid until the next call or the object's end.
    const char* what() const noexcept override;

    const CBasicString<wchar_t>& GetFileName() const noexcept { return m_fileName; }
    const CBasicString<wchar_t>& GetDetail() const noexcept { return m_detail; }
    int GetOsError() const noexcept { return m_osError; }
    unsigned char GetErrorKind() const noexcept { return m_errorKind; }

private:
    CBasicString<wchar_t> m_fileName;
    CBasicString<wchar_t> m_detail;
    mutable std::string m_message;
    int m_osError = 0;
    unsigned char m_errorKind = eUndefined;
};
