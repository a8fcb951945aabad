#include "hdbplatform/MemFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr std::size_t kDefaultGrowBytes = 1024;

[[noreturn]] void ThrowMemoryFull(int osError) {
    AfxThrowFileException(CFileException::diskFull, osError, nullptr);
}

} // namespace

CMemFile::CMemFile(UINT growBytes) : m_growBytes(growBytes != 0 ? growBytes : kDefaultGrowBytes) {}

CMemFile::CMemFile(BYTE* buffer, UINT bufferSize, UINT growBytes) : m_growBytes(0) {
    Attach(buffer, bufferSize, growBytes);
}

CMemFile::~CMemFile() {
    ReleaseBlock();
}

void CMemFile::Attach(BYTE* buffer, UINT bufferSize, UINT growBytes) {
    ReleaseBlock();
    m_buffer = buffer;
    m_bufferSize = buffer != nullptr ? bufferSize : 0;
    m_fileSize = growBytes == 0 ? m_bufferSize : 0;
    m_position = 0;
    m_growBytes = growBytes;
    m_ownsBuffer = false;
}

BYTE* CMemFile::Detach() {
    BYTE* block = m_buffer;
    m_buffer = nullptr;
    m_bufferSize = 0;
    m_fileSize = 0;
    m_position = 0;
    m_ownsBuffer = true;
    if (m_growBytes == 0)
        m_growBytes = kDefaultGrowBytes; // memory of its own from now on
    return block;
}

BOOL CMemFile::Open(LPCWSTR fileName, UINT, CFileException* error) {
    if (error != nullptr) {
        error->m_cause = CFileException::genericException;
        error->m_lOsError = -1;
        error->m_strFileName = CBasicString<wchar_t>(fileName != nullptr ? fileName : L"");
    }
    return FALSE;
}

UINT CMemFile::Read(void* buffer, UINT count) {
    if (count == 0 || m_position >= m_fileSize)
        return 0;
    std::size_t available = std::min<std::size_t>(count, m_fileSize - m_position);
    std::memcpy(buffer, m_buffer + m_position, available);
    m_position += available;
    return static_cast<UINT>(available);
}

void CMemFile::Write(const void* buffer, UINT count) {
    if (count == 0)
        return;
    if (m_position > std::numeric_limits<std::size_t>::max() - count)
        ThrowMemoryFull(EFBIG);
    std::size_t endOfWrite = m_position + count;
    GrowTo(endOfWrite);
    if (m_position > m_fileSize)
        std::memset(m_buffer + m_fileSize, 0, m_position - m_fileSize);
    std::memcpy(m_buffer + m_position, buffer, count);
    m_position = endOfWrite;
    m_fileSize = (std::max)(m_fileSize, endOfWrite);
}

ULONGLONG CMemFile::Seek(LONGLONG offset, UINT from) {
    LONGLONG base;
    switch (from) {
    case begin:
        base = 0;
        break;
    case current:
        base = static_cast<LONGLONG>(m_position);
        break;
    case end:
        base = static_cast<LONGLONG>(m_fileSize);
        break;
    default:
        AfxThrowFileException(CFileException::badSeek, EINVAL, nullptr);
    }
    if ((offset < 0 && base + offset < 0) ||
        (offset > 0 && base > std::numeric_limits<LONGLONG>::max() - offset))
        AfxThrowFileException(CFileException::badSeek, EINVAL, nullptr);
    m_position = static_cast<std::size_t>(base + offset);
    return m_position;
}

ULONGLONG CMemFile::GetPosition() const {
    return m_position;
}

ULONGLONG CMemFile::GetLength() const {
    return m_fileSize;
}

void CMemFile::SetLength(ULONGLONG newLength) {
    if (newLength > std::numeric_limits<std::size_t>::max())
        ThrowMemoryFull(EFBIG);
    auto length = static_cast<std::size_t>(newLength);
    if (length > m_fileSize) {
        GrowTo(length);
        std::memset(m_buffer + m_fileSize, 0, length - m_fileSize);
    }
    m_fileSize = length;
    m_position = (std::min)(m_position, length);
}

BOOL CMemFile::GetStatus(CFileStatus& status) const {
    status = CFileStatus{};
    status.m_size = m_fileSize;
    return TRUE;
}

void CMemFile::Close() {
    ReleaseBlock();
    m_buffer = nullptr;
    m_bufferSize = 0;
    m_fileSize = 0;
    m_position = 0;
    m_ownsBuffer = true;
}

void CMemFile::GrowTo(std::size_t needed) {
    if (needed <= m_bufferSize)
        return;
    if (m_growBytes == 0)
        ThrowMemoryFull(ENOSPC); // an attached buffer of fixed size
    // Growing by half the current size at least keeps many small writes from
    // copying the content again and again.
    std::size_t target = (std::max)(needed, m_bufferSize + m_bufferSize / 2);
    std::size_t steps = target / m_growBytes + (target % m_growBytes != 0 ? 1 : 0);
    if (steps > std::numeric_limits<std::size_t>::max() / m_growBytes)
        ThrowMemoryFull(ENOMEM);
    std::size_t newSize = steps * m_growBytes;
    BYTE* block;
    if (m_ownsBuffer) {
        block = static_cast<BYTE*>(std::realloc(m_buffer, newSize));
    } else {
        block = static_cast<BYTE*>(std::malloc(newSize));
        if (block != nullptr && m_fileSize > 0)
            std::memcpy(block, m_buffer, m_fileSize);
    }
    if (block == nullptr)
        ThrowMemoryFull(ENOMEM);
    m_buffer = block;
    m_bufferSize = newSize;
    m_ownsBuffer = true;
}

void CMemFile::ReleaseBlock() {
    if (m_ownsBuffer)
        std::free(m_buffer);
    m_buffer = nullptr;
}
