// The framework's binary file, over the basic I/O library's CVFile. Failures
// throw CFileException* (the catcher calls Delete()), except Open, which
// reports through its optional CFileException argument.
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/FileException.h"
#include "hdbplatform/Time.h"

#include "BasicString.h"
#include "VFile.h"

// What GetStatus reports about an open file. The name holds the path given
// to Open, cut to fit.
struct CFileStatus {
    CTime m_ctime; // status change (creation on Windows)
    CTime m_mtime;
    CTime m_atime;
    ULONGLONG m_size = 0;
    BYTE m_attribute = 0; // CFile::Attribute flags
    BYTE m_padding = 0;
    wchar_t m_szFullName[260] = {};
};

class CFile {
public:
    // Open flags: one access mode, one sharing mode and the options, combined
    // with |. Sharing is accepted and not enforced (the platform has no
    // mandatory sharing); handles are never inherited; files are binary.
    enum OpenFlags : UINT {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareCompat = 0x0000,
        shareExclusive = 0x0010,
        shareDenyWrite = 0x0020,
        shareDenyRead = 0x0030,
        shareDenyNone = 0x0040,
        modeNoInherit = 0x0080,
        modeCreate = 0x1000,     // create, or empty an existing file
        modeNoTruncate = 0x2000, // with modeCreate: keep an existing file's content
        typeText = 0x4000,
        typeBinary = 0x8000,
    };
    enum SeekPosition : UINT { begin = 0x0, current = 0x1, end = 0x2 };
    enum Attribute : BYTE {
        normal = 0x00,
        readOnly = 0x01,
        hidden = 0x02,
        system = 0x04,
        volume = 0x08,
        directory = 0x10,
        archive = 0x20,
    };

    CFile() = default;
    // Opens the file or throws CFileException*.
    CFile(LPCWSTR fileName, UINT openFlags);
    // Closes an open file; errors on the way are dropped.
    virtual ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Opens fileName (closing a file open in this object first). FALSE on
    // failure, with cause, errno and name in *error when given; never throws
    // a file exception.
    virtual BOOL Open(LPCWSTR fileName, UINT openFlags, CFileException* error = nullptr);

    // Reads up to count bytes; fewer only at the end of the file.
    virtual UINT Read(void* buffer, UINT count);
    // Writes all count bytes (diskFull when they do not fit).
    virtual void Write(const void* buffer, UINT count);
    // Moves the position (from: begin, current or end); badSeek before the start.
    virtual ULONGLONG Seek(LONGLONG offset, UINT from);
    void SeekToBegin() { Seek(0, begin); }
    ULONGLONG SeekToEnd() { return Seek(0, end); }
    virtual ULONGLONG GetPosition() const;
    virtual ULONGLONG GetLength() const;
    // Cuts or extends (with zeros) the file; the position is not moved.
    virtual void SetLength(ULONGLONG newLength);
    virtual void Flush();
    // Size, times and attributes of the open file; FALSE when none is open.
    virtual BOOL GetStatus(CFileStatus& status) const;
    // Closes the file; the object can be opened again.
    virtual void Close();
    // Closes without reporting errors (for clean-up after a failure).
    virtual void Abort();
    virtual BOOL IsOpen() const;

    // The path given to Open, and its last component.
    virtual CBasicString<wchar_t> GetFilePath() const;
    virtual CBasicString<wchar_t> GetFileName() const;

private:
    // Throws the CFileException* of a basic I/O failure.
    [[noreturn]] static void Rethrow(const CBasicFileException& error);
    // The same for a read or write, where a file open without the access
    // needed gives accessDenied.
    [[noreturn]] void RethrowTransfer(const CBasicFileException& error) const;

    CVFile m_file;
};
