#include "hdbplatform/File.h"

#include <cerrno>
#include <cwchar>
#include <iterator>
#include <memory>
#include <string_view>

namespace {

unsigned int BasicMode(UINT openFlags) {
    unsigned int mode = CVFile::typeBinary;
    switch (openFlags & 0x3) {
    case CFile::modeWrite:
        mode |= CVFile::modeWrite;
        break;
    case CFile::modeReadWrite:
        mode |= CVFile::modeReadWrite;
        break;
    default:
        mode |= CVFile::modeRead;
        break;
    }
    if ((openFlags & CFile::modeCreate) != 0)
        mode |= CVFile::modeCreate;
    if ((openFlags & CFile::modeNoTruncate) != 0)
        mode |= CVFile::modeNoTruncate;
    return mode;
}

void FillError(CFileException* target, int cause, LONG osError, LPCWSTR fileName) {
    if (target == nullptr)
        return;
    target->m_cause = cause;
    target->m_lOsError = osError;
    target->m_strFileName = CBasicString<wchar_t>(fileName != nullptr ? fileName : L"");
}

} // namespace

CFile::CFile(LPCWSTR fileName, UINT openFlags) {
    CFileException error(CFileException::none, -1, nullptr);
    error.m_bAutoDelete = FALSE;
    if (!Open(fileName, openFlags, &error))
        AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

CFile::~CFile() {
    Abort();
}

BOOL CFile::Open(LPCWSTR fileName, UINT openFlags, CFileException* error) {
    Abort();
    if (fileName == nullptr || *fileName == L'\0') {
        FillError(error, CFileException::badPath, -1, fileName);
        return FALSE;
    }
    try {
        m_file.Open(fileName, BasicMode(openFlags), CVFile::shareDenyNone);
        return TRUE;
    } catch (const CBasicFileException& failure) {
        FillError(error, CFileException::CauseOf(failure), failure.GetOsError(), fileName);
        return FALSE;
    }
}

UINT CFile::Read(void* buffer, UINT count) {
    try {
        return static_cast<UINT>(m_file.Read(buffer, count));
    } catch (const CBasicFileException& failure) {
        RethrowTransfer(failure);
    }
}

void CFile::Write(const void* buffer, UINT count) {
    try {
        m_file.Write(buffer, count);
    } catch (const CBasicFileException& failure) {
        RethrowTransfer(failure);
    }
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from) {
    if (from > end)
        AfxThrowFileException(CFileException::badSeek, -1, m_file.GetFilePath());
    try {
        return m_file.Seek(offset, static_cast<CVFile::enumSeekOrigin>(from));
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

ULONGLONG CFile::GetPosition() const {
    try {
        return m_file.GetPosition();
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

ULONGLONG CFile::GetLength() const {
    try {
        return m_file.GetLength();
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

void CFile::SetLength(ULONGLONG newLength) {
    try {
        m_file.SetLength(newLength);
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

void CFile::Flush() {
    try {
        m_file.Flush();
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

BOOL CFile::GetStatus(CFileStatus& status) const {
    status = CFileStatus{};
    if (!IsOpen())
        return FALSE;
    CVFile::FileInfo info;
    try {
        info = m_file.GetInfo();
    } catch (const CBasicFileException&) {
        return FALSE;
    }
    status.m_size = info.length;
    status.m_mtime = CTime(info.modified);
    status.m_atime = CTime(info.accessed);
    status.m_ctime = CTime(info.changed);
    status.m_attribute = info.readOnly ? readOnly : normal;
    const CBasicString<wchar_t>& path = m_file.GetFilePath();
    std::size_t count = path.size() < std::size(status.m_szFullName)
                            ? path.size()
                            : std::size(status.m_szFullName) - 1;
    wmemcpy(status.m_szFullName, path.data(), count);
    status.m_szFullName[count] = L'\0';
    return TRUE;
}

void CFile::Close() {
    try {
        m_file.Close();
    } catch (const CBasicFileException& failure) {
        Rethrow(failure);
    }
}

void CFile::Abort() {
    try {
        m_file.Close();
    } catch (const CBasicFileException&) {
        // The descriptor is released whatever close reported; nothing to do.
    }
}

BOOL CFile::IsOpen() const {
    return m_file.IsOpen() ? TRUE : FALSE;
}

CBasicString<wchar_t> CFile::GetFilePath() const {
    return m_file.GetFilePath();
}

CBasicString<wchar_t> CFile::GetFileName() const {
    std::wstring_view path = m_file.GetFilePath();
#ifdef _WIN32
    std::size_t slash = path.find_last_of(L"\\/:");
#else
    std::size_t slash = path.find_last_of(L'/');
#endif
    return CBasicString<wchar_t>(slash == std::wstring_view::npos ? path : path.substr(slash + 1));
}

void CFile::RethrowTransfer(const CBasicFileException& error) const {
    // An open descriptor refusing a transfer was opened without that access.
    if (IsOpen() && error.GetOsError() == EBADF)
        AfxThrowFileException(CFileException::accessDenied, EBADF, error.GetFileName());
    Rethrow(error);
}

void CFile::Rethrow(const CBasicFileException& error) {
    AfxThrowFileException(CFileException::CauseOf(error), error.GetOsError(), error.GetFileName());
}
