#include "hdbplatform/OleStreamFile.h"

#include <utility>

namespace {

[[noreturn]] void ThrowStreamError(HRESULT result, int cause = CFileException::none) {
    if (cause == CFileException::none)
        cause = CFileException::HResultToException(result);
    AfxThrowFileException(cause, static_cast<LONG>(result), nullptr);
}

} // namespace

COleStreamFile::COleStreamFile(IStream* stream) : m_stream(stream) {}

COleStreamFile::~COleStreamFile() {
    Close();
}

void COleStreamFile::Attach(IStream* stream) {
    Close();
    m_stream = stream;
}

IStream* COleStreamFile::Detach() {
    return std::exchange(m_stream, nullptr);
}

BOOL COleStreamFile::CreateMemoryStream(CFileException* error) {
    IStream* stream = nullptr;
    HRESULT result = CreateStreamOnHGlobal(nullptr, TRUE, &stream);
    if (FAILED(result) || stream == nullptr) {
        if (error != nullptr) {
            error->m_cause =
                CFileException::HResultToException(FAILED(result) ? result : E_OUTOFMEMORY);
            error->m_lOsError = static_cast<LONG>(result);
            error->m_strFileName.clear();
        }
        return FALSE;
    }
    Attach(stream);
    return TRUE;
}

BOOL COleStreamFile::Open(LPCWSTR fileName, UINT, CFileException* error) {
    if (error != nullptr) {
        error->m_cause = CFileException::genericException;
        error->m_lOsError = -1;
        error->m_strFileName = CBasicString<wchar_t>(fileName != nullptr ? fileName : L"");
    }
    return FALSE;
}

UINT COleStreamFile::Read(void* buffer, UINT count) {
    IStream* stream = RequireStream();
    ULONG done = 0;
    HRESULT result = stream->Read(buffer, count, &done);
    if (FAILED(result))
        ThrowStreamError(result);
    return done;
}

void COleStreamFile::Write(const void* buffer, UINT count) {
    IStream* stream = RequireStream();
    ULONG done = 0;
    HRESULT result = stream->Write(buffer, count, &done);
    if (FAILED(result))
        ThrowStreamError(result);
    if (done != count)
        ThrowStreamError(STG_E_MEDIUMFULL);
}

ULONGLONG COleStreamFile::Seek(LONGLONG offset, UINT from) {
    IStream* stream = RequireStream();
    if (from > end)
        ThrowStreamError(STG_E_INVALIDFUNCTION, CFileException::badSeek);
    LARGE_INTEGER move;
    move.QuadPart = offset;
    ULARGE_INTEGER position;
    position.QuadPart = 0;
    HRESULT result = stream->Seek(move, from, &position);
    if (FAILED(result)) {
        int cause = CFileException::HResultToException(result);
        ThrowStreamError(result, cause == CFileException::genericException ? CFileException::badSeek
                                                                           : cause);
    }
    return position.QuadPart;
}

ULONGLONG COleStreamFile::GetPosition() const {
    IStream* stream = RequireStream();
    LARGE_INTEGER move;
    move.QuadPart = 0;
    ULARGE_INTEGER position;
    position.QuadPart = 0;
    HRESULT result = stream->Seek(move, STREAM_SEEK_CUR, &position);
    if (FAILED(result))
        ThrowStreamError(result);
    return position.QuadPart;
}

ULONGLONG COleStreamFile::GetLength() const {
    IStream* stream = RequireStream();
    STATSTG status{};
    HRESULT result = stream->Stat(&status, STATFLAG_NONAME);
    if (FAILED(result))
        ThrowStreamError(result);
    return status.cbSize.QuadPart;
}

void COleStreamFile::SetLength(ULONGLONG newLength) {
    IStream* stream = RequireStream();
    ULARGE_INTEGER size;
    size.QuadPart = newLength;
    HRESULT result = stream->SetSize(size);
    if (FAILED(result))
        ThrowStreamError(result);
}

void COleStreamFile::Flush() {
    HRESULT result = RequireStream()->Commit(STGC_DEFAULT);
    if (FAILED(result))
        ThrowStreamError(result);
}

BOOL COleStreamFile::GetStatus(CFileStatus& status) const {
    status = CFileStatus{};
    if (m_stream == nullptr)
        return FALSE;
    STATSTG streamStatus{};
    if (FAILED(m_stream->Stat(&streamStatus, STATFLAG_NONAME)))
        return FALSE;
    status.m_size = streamStatus.cbSize.QuadPart;
    return TRUE;
}

void COleStreamFile::Close() {
    if (IStream* stream = std::exchange(m_stream, nullptr))
        stream->Release();
}

IStream* COleStreamFile::RequireStream() const {
    if (m_stream == nullptr)
        ThrowStreamError(E_HANDLE, CFileException::invalidFile);
    return m_stream;
}
