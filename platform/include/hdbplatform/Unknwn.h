// The basic COM interfaces for Linux builds: IUnknown, class factories, the
// task allocator, streams and error information. Declarations only; the
// runtime behind them is in platform/com.
#pragma once

#include "hdbplatform/WinTypes.h"

using BSTR = OLECHAR*;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

// COM objects never get deleted through an interface pointer (Release does
// that), so the interfaces carry no virtual destructor, exactly as on Windows.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
using LPUNKNOWN = IUnknown*;

inline constexpr IID IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
struct IClassFactory : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                                     void** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;
};

inline constexpr IID IID_IMalloc = {0x00000002, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
struct IMalloc : public IUnknown {
    virtual void* STDMETHODCALLTYPE Alloc(SIZE_T cb) = 0;
    virtual void* STDMETHODCALLTYPE Realloc(void* pv, SIZE_T cb) = 0;
    virtual void STDMETHODCALLTYPE Free(void* pv) = 0;
    virtual SIZE_T STDMETHODCALLTYPE GetSize(void* pv) = 0;
    virtual int STDMETHODCALLTYPE DidAlloc(void* pv) = 0;
    virtual void STDMETHODCALLTYPE HeapMinimize() = 0;
};
using LPMALLOC = IMalloc*;

// The only memory context CoGetMalloc knows: the task allocator.
inline constexpr DWORD MEMCTX_TASK = 1;

inline constexpr IID IID_ISequentialStream = {
    0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct ISequentialStream : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;
};

enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
enum STATFLAG : DWORD { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1, STATFLAG_NOOPEN = 2 };
enum STGTY : DWORD { STGTY_STORAGE = 1, STGTY_STREAM = 2, STGTY_LOCKBYTES = 3, STGTY_PROPERTY = 4 };
enum STGC : DWORD { STGC_DEFAULT = 0 };
enum LOCKTYPE : DWORD { LOCK_WRITE = 1, LOCK_EXCLUSIVE = 2, LOCK_ONLYONCE = 4 };

struct STATSTG {
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

inline constexpr IID IID_IStream = {0x0000000c, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
struct IStream : public ISequentialStream {
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                           ULARGE_INTEGER* plibNewPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb,
                                             ULARGE_INTEGER* pcbRead,
                                             ULARGE_INTEGER* pcbWritten) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                 DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                   DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) = 0;
};
using LPSTREAM = IStream*;

// A seek that would move before the start of a stream.
inline constexpr HRESULT STG_E_SEEKERROR = HResultOf(0x80030019);

inline constexpr IID IID_IErrorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
struct IErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) = 0;
};

inline constexpr IID IID_ICreateErrorInfo = {
    0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
struct ICreateErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) = 0;
};

inline constexpr IID IID_ISupportErrorInfo = {
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
struct ISupportErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) = 0;
};

#pragma GCC diagnostic pop

// Storage access modes (DBOBJECT::dwFlags, stream and storage opening).
inline constexpr DWORD STGM_DIRECT = 0x00000000;
inline constexpr DWORD STGM_TRANSACTED = 0x00010000;
inline constexpr DWORD STGM_SIMPLE = 0x08000000;
inline constexpr DWORD STGM_READ = 0x00000000;
inline constexpr DWORD STGM_WRITE = 0x00000001;
inline constexpr DWORD STGM_READWRITE = 0x00000002;
inline constexpr DWORD STGM_SHARE_DENY_NONE = 0x00000040;
inline constexpr DWORD STGM_SHARE_DENY_READ = 0x00000030;
inline constexpr DWORD STGM_SHARE_DENY_WRITE = 0x00000020;
inline constexpr DWORD STGM_SHARE_EXCLUSIVE = 0x00000010;
inline constexpr DWORD STGM_PRIORITY = 0x00040000;
inline constexpr DWORD STGM_DELETEONRELEASE = 0x04000000;
inline constexpr DWORD STGM_CREATE = 0x00001000;
inline constexpr DWORD STGM_CONVERT = 0x00020000;
inline constexpr DWORD STGM_FAILIFTHERE = 0x00000000;
inline constexpr DWORD STGM_NOSCRATCH = 0x00100000;
inline constexpr DWORD STGM_NOSNAPSHOT = 0x00200000;
inline constexpr DWORD STGM_DIRECT_SWMR = 0x00400000;
