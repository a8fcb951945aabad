// The basic I/O library's file: an unbuffered binary file over the operating
// system's descriptor. Every failure throws CBasicFileException.
#pragma once

#include "BasicFileException.h"
#include "BasicString.h"

#include <cstddef>
#include <cstdint>

class CVFile {
public:
    // Open modes, combined with |. Callers store and pass the numbers, so the
    // values are fixed: read mode is modeRead | typeBinary (2052), create mode
    // modeCreate | modeWrite | typeBinary (2065).
    enum enumOpenMode : unsigned int {
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        modeRead = 0x0004,
        modeCreate = 0x0010,     // create the file, emptying an existing one
        modeNoTruncate = 0x0020, // with modeCreate: keep an existing file's content
        typeBinary = 0x0800,     // files are always binary; accepted for callers that say so
    };
    // Sharing: the operating systems this runs on have no mandatory sharing
    // modes for descriptors, so the argument is accepted and ignored.
    enum enumShareMode : unsigned int {
        shareDenyNone = 0x0804,
    };
    enum enumSeekOrigin : int { seekBegin = 0, seekCurrent = 1, seekEnd = 2 };

    // What the file system records about an open file; times in seconds
    // since 1970-01-01 UTC.
    struct FileInfo {
        std::uint64_t length = 0;
        std::int64_t modified = 0;
        std::int64_t accessed = 0;
        std::int64_t changed = 0; // status change (creation on Windows)
        bool readOnly = false;    // the owner may not write it
    };

    CVFile() = default;
    ~CVFile(); // closes an open file, ignoring errors
    CVFile(CVFile&& other) noexcept;
    CVFile& operator=(CVFile&& other) noexcept;
    CVFile(const CVFile&) = delete;
    CVFile& operator=(const CVFile&) = delete;

    // Opens path (closing a file this object has open first). Without
    // modeCreate the file must exist; modeCreate alone empties it. A write
    // mode is needed to write; modeCreate with modeRead alone opens for
    // reading and writing. Throws CBasicFileException; a missing file gives
    // kind eFileNotFound, a missing directory on the way ePathNotFound.
    void Open(const CBasicStringView<wchar_t>& path, unsigned int mode,
              unsigned int share = shareDenyNone);

    // Reads up to count bytes at the current position; fewer only at the end
    // of the file. Returns the bytes read (0 at the end).
    std::size_t Read(void* buffer, std::size_t count);
    // Writes all count bytes or throws (eNoSpace when the disk is full).
    std::size_t Write(const void* buffer, std::size_t count);
    // Moves the position and returns the new one; a position before the start
    // throws eInvalidParameter. Positions past the end are allowed (a later
    // write fills the gap with zeros).
    std::uint64_t Seek(std::int64_t offset, enumSeekOrigin origin);
    std::uint64_t GetPosition() const;
    std::uint64_t GetLength() const;
    FileInfo GetInfo() const;
    // Cuts or extends (with zeros) the file; the position is not moved.
    void SetLength(std::uint64_t length);
    // Hands written data to the storage device.
    void Flush();
    // Closes the file; a no-op when none is open. The object is closed
    // afterwards even when the system reports an error (which is thrown).
    void Close();
    bool IsOpen() const noexcept { return m_descriptor >= 0; }
    // The path given to the last Open (empty before any).
    const CBasicString<wchar_t>& GetFilePath() const noexcept { return m_path; }

private:
    [[noreturn]] void ThrowError(int osError, const wchar_t* operation) const;
    void RequireOpen(const wchar_t* operation) const;

    int m_descriptor = -1;
    CBasicString<wchar_t> m_path;
};
