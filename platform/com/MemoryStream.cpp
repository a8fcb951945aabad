// A growable stream in memory, what CreateStreamOnHGlobal(nullptr, ...) gives.
//
// Clones share the bytes and have a seek position of their own, as clones of
// a stream over one global memory block do. The shared bytes carry a mutex,
// so clones may be used from different threads.
#include "hdbplatform/ComObject.h"
#include "hdbplatform/WinApi.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace {

struct SharedBytes {
    std::mutex mutex;
    std::vector<BYTE> bytes;
};

// Copying between streams goes through a buffer of this size.
constexpr ULONG CopyChunk = 64 * 1024;

class MemoryStream final
    : public hdbcom::ComObject<hdbcom::Implements<IStream, IID_IStream, IID_ISequentialStream>> {
public:
    explicit MemoryStream(std::shared_ptr<SharedBytes> data, ULONGLONG position = 0)
        : m_data(std::move(data)), m_position(position) {}

    // Reading at or past the end is no error: it reads fewer bytes, maybe none.
    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override {
        if (pcbRead != nullptr)
            *pcbRead = 0;
        if (pv == nullptr && cb != 0)
            return STG_E_INVALIDPOINTER;
        std::lock_guard lock(m_data->mutex);
        const auto& bytes = m_data->bytes;
        ULONG count = 0;
        if (m_position < bytes.size())
            count = static_cast<ULONG>(std::min<ULONGLONG>(cb, bytes.size() - m_position));
        if (count != 0)
            std::memcpy(pv, bytes.data() + m_position, count);
        m_position += count;
        if (pcbRead != nullptr)
            *pcbRead = count;
        return S_OK;
    }

    // Writing past the end grows the stream; a gap left by seeking beyond the
    // end reads as zeros.
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override {
        if (pcbWritten != nullptr)
            *pcbWritten = 0;
        if (pv == nullptr)
            return STG_E_INVALIDPOINTER;
        if (cb == 0)
            return S_OK;
        std::lock_guard lock(m_data->mutex);
        auto& bytes = m_data->bytes;
        const ULONGLONG end = m_position + cb;
        if (end < m_position)
            return STG_E_MEDIUMFULL;
        if (end > bytes.size()) {
            HRESULT hr = Resize(bytes, end);
            if (FAILED(hr))
                return hr;
        }
        std::memcpy(bytes.data() + m_position, pv, cb);
        m_position = end;
        if (pcbWritten != nullptr)
            *pcbWritten = cb;
        return S_OK;
    }

    // Any position from 0 on is valid, also beyond the end; one before the
    // start fails and leaves the position where it was.
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                   ULARGE_INTEGER* plibNewPosition) override {
        std::lock_guard lock(m_data->mutex);
        ULONGLONG base = 0;
        switch (dwOrigin) {
        case STREAM_SEEK_SET:
            break;
        case STREAM_SEEK_CUR:
            base = m_position;
            break;
        case STREAM_SEEK_END:
            base = m_data->bytes.size();
            break;
        default:
            return STG_E_INVALIDFUNCTION;
        }
        const LONGLONG move = dlibMove.QuadPart;
        if (move < 0 && static_cast<ULONGLONG>(-(move + 1)) + 1 > base)
            return STG_E_SEEKERROR;
        m_position = base + static_cast<ULONGLONG>(move);
        if (plibNewPosition != nullptr)
            plibNewPosition->QuadPart = m_position;
        return S_OK;
    }

    // The seek position stays where it is, even beyond a new, shorter end.
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) override {
        std::lock_guard lock(m_data->mutex);
        return Resize(m_data->bytes, libNewSize.QuadPart);
    }

    // Copies up to cb bytes from the seek position into pstm, moving both
    // streams' positions past what was copied.
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                                     ULARGE_INTEGER* pcbWritten) override {
        if (pcbRead != nullptr)
            pcbRead->QuadPart = 0;
        if (pcbWritten != nullptr)
            pcbWritten->QuadPart = 0;
        if (pstm == nullptr)
            return STG_E_INVALIDPOINTER;
        std::unique_ptr<BYTE[]> buffer(new (std::nothrow) BYTE[CopyChunk]);
        if (!buffer)
            return E_OUTOFMEMORY;
        ULONGLONG left = cb.QuadPart;
        ULONGLONG totalRead = 0;
        ULONGLONG totalWritten = 0;
        HRESULT hr = S_OK;
        while (left > 0) {
            ULONG read = 0;
            Read(buffer.get(), static_cast<ULONG>(std::min<ULONGLONG>(left, CopyChunk)), &read);
            if (read == 0)
                break;
            totalRead += read;
            left -= read;
            ULONG written = 0;
            // The target may share our bytes (a clone), so no lock is held here.
            hr = pstm->Write(buffer.get(), read, &written);
            totalWritten += written;
            if (FAILED(hr))
                break;
        }
        if (pcbRead != nullptr)
            pcbRead->QuadPart = totalRead;
        if (pcbWritten != nullptr)
            pcbWritten->QuadPart = totalWritten;
        return hr;
    }

    // Memory has nothing to commit to or revert from.
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return STG_E_INVALIDFUNCTION;
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return STG_E_INVALIDFUNCTION;
    }

    // A memory stream has no name, so pwcsName is always null.
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) override {
        if (pstatstg == nullptr)
            return STG_E_INVALIDPOINTER;
        std::memset(pstatstg, 0, sizeof *pstatstg);
        pstatstg->type = STGTY_STREAM;
        std::lock_guard lock(m_data->mutex);
        pstatstg->cbSize.QuadPart = m_data->bytes.size();
        pstatstg->grfMode = ReadWriteMode;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) override {
        if (ppstm == nullptr)
            return STG_E_INVALIDPOINTER;
        ULONGLONG position;
        {
            std::lock_guard lock(m_data->mutex);
            position = m_position;
        }
        *ppstm = new (std::nothrow) MemoryStream(m_data, position);
        return *ppstm != nullptr ? S_OK : E_OUTOFMEMORY;
    }

private:
    // STGM_READWRITE: the mode a memory stream reports.
    static constexpr DWORD ReadWriteMode = 0x2;

    static HRESULT Resize(std::vector<BYTE>& bytes, ULONGLONG size) {
        if (size > bytes.max_size())
            return STG_E_MEDIUMFULL;
        try {
            bytes.resize(static_cast<std::size_t>(size));
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

    std::shared_ptr<SharedBytes> m_data;
    ULONGLONG m_position; // guarded by m_data->mutex
};

} // namespace

// fDeleteOnRelease only matters for a caller's own memory block; the stream's
// memory is always freed with its last reference.
HRESULT CreateStreamOnHGlobal(HGLOBAL hGlobal, BOOL fDeleteOnRelease, LPSTREAM* ppstm) {
    if (ppstm == nullptr)
        return E_INVALIDARG;
    *ppstm = nullptr;
    if (hGlobal != nullptr)
        return E_INVALIDARG;
    auto data = std::make_shared<SharedBytes>();
    *ppstm = new (std::nothrow) MemoryStream(std::move(data));
    return *ppstm != nullptr ? S_OK : E_OUTOFMEMORY;
}
