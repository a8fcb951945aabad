// The framework's memory file: a CFile whose content is a growable block of
// memory, either its own or one the caller attaches.
#pragma once

#include "hdbplatform/File.h"

#include <cstddef>

class CMemFile : public CFile {
public:
    // An empty file that grows in steps of growBytes (0 counts as 1024).
    explicit CMemFile(UINT growBytes = 1024);
    // A file over the caller's buffer, see Attach.
    CMemFile(BYTE* buffer, UINT bufferSize, UINT growBytes = 0);
    // Frees the memory the file allocated itself; an attached buffer stays
    // with the caller.
    ~CMemFile() override;

    // Gives the file the caller's buffer (dropping the previous content).
    // growBytes 0: the file is the whole buffer (length bufferSize) and cannot
    // grow; writing past its end throws diskFull. growBytes > 0: the file
    // starts empty and, when it outgrows the buffer, moves its content into
    // memory of its own; the caller's buffer is never freed or resized here.
    void Attach(BYTE* buffer, UINT bufferSize, UINT growBytes = 0);
    // Hands the current block to the caller and leaves the file empty. A
    // block the file allocated itself (after growing) must be freed with
    // free(); an attached block is the caller's as before.
    BYTE* Detach();

    // A memory file has no path: FALSE with genericException.
    BOOL Open(LPCWSTR fileName, UINT openFlags, CFileException* error = nullptr) override;
    UINT Read(void* buffer, UINT count) override;
    void Write(const void* buffer, UINT count) override;
    // Positions past the end are allowed; a later write fills the gap with zeros.
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetPosition() const override;
    ULONGLONG GetLength() const override;
    // Cuts or extends (with zeros); a position past the new end moves to it.
    void SetLength(ULONGLONG newLength) override;
    void Flush() override {}
    // The length; times and name are empty for memory.
    BOOL GetStatus(CFileStatus& status) const override;
    // Drops the content (freeing memory of its own); the file stays usable.
    void Close() override;
    void Abort() override { Close(); }
    BOOL IsOpen() const override { return TRUE; }
    CBasicString<wchar_t> GetFilePath() const override { return {}; }
    CBasicString<wchar_t> GetFileName() const override { return {}; }

private:
    // Makes room for at least needed bytes, keeping the content.
    void GrowTo(std::size_t needed);
    void ReleaseBlock();

    BYTE* m_buffer = nullptr;
    std::size_t m_bufferSize = 0; // bytes available in m_buffer
    std::size_t m_fileSize = 0;   // bytes of content
    std::size_t m_position = 0;
    std::size_t m_growBytes;
    bool m_ownsBuffer = true;
};
