// Error information: the per-thread error object slot and the plain error
// object of CreateErrorInfo.
#include "hdbplatform/ComObject.h"
#include "hdbplatform/WinApi.h"

#include <new>

namespace {

// The calling thread's error object. The slot holds one reference, given back
// when the thread ends so that an error nobody read does not leak.
class ErrorSlot {
public:
    ~ErrorSlot() { Replace(nullptr); }
    // Takes over the caller's reference on info; releases the previous one.
    void Replace(IErrorInfo* info) {
        IErrorInfo* previous = m_info;
        m_info = info;
        if (previous != nullptr)
            previous->Release();
    }
    // Hands the slot's reference to the caller and leaves the slot empty.
    IErrorInfo* Take() {
        IErrorInfo* info = m_info;
        m_info = nullptr;
        return info;
    }

private:
    IErrorInfo* m_info = nullptr;
};

thread_local ErrorSlot t_errorSlot;

// A null text stays a null BSTR, as an error object that was never given a
// source or description answers null.
HRESULT CopyText(BSTR source, BSTR* target) {
    if (target == nullptr)
        return E_INVALIDARG;
    *target = nullptr;
    if (source == nullptr)
        return S_OK;
    *target = SysAllocStringLen(source, SysStringLen(source));
    return *target == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT StoreText(LPOLESTR text, BSTR& field) {
    BSTR copy = nullptr;
    if (text != nullptr) {
        copy = SysAllocString(text);
        if (copy == nullptr)
            return E_OUTOFMEMORY;
    }
    SysFreeString(field);
    field = copy;
    return S_OK;
}

class ErrorObject final
    : public hdbcom::ComObject<hdbcom::Implements<IErrorInfo, IID_IErrorInfo>,
                               hdbcom::Implements<ICreateErrorInfo, IID_ICreateErrorInfo>> {
public:
    ~ErrorObject() {
        SysFreeString(m_source);
        SysFreeString(m_description);
        SysFreeString(m_helpFile);
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) override {
        if (pGUID == nullptr)
            return E_INVALIDARG;
        *pGUID = m_guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) override {
        return CopyText(m_source, pBstrSource);
    }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) override {
        return CopyText(m_description, pBstrDescription);
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) override {
        return CopyText(m_helpFile, pBstrHelpFile);
    }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) override {
        if (pdwHelpContext == nullptr)
            return E_INVALIDARG;
        *pdwHelpContext = m_helpContext;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) override {
        m_guid = rguid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) override {
        return StoreText(szSource, m_source);
    }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) override {
        return StoreText(szDescription, m_description);
    }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) override {
        return StoreText(szHelpFile, m_helpFile);
    }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) override {
        m_helpContext = dwHelpContext;
        return S_OK;
    }

private:
    GUID m_guid = GUID_NULL;
    BSTR m_source = nullptr;
    BSTR m_description = nullptr;
    BSTR m_helpFile = nullptr;
    DWORD m_helpContext = 0;
};

} // namespace

// Adds a reference to perrinfo and replaces the thread's error object with it;
// a null perrinfo empties the slot.
HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo) {
    if (dwReserved != 0)
        return E_INVALIDARG;
    if (perrinfo != nullptr)
        perrinfo->AddRef();
    t_errorSlot.Replace(perrinfo);
    return S_OK;
}

// Hands the thread's error object (and its reference) to the caller and
// empties the slot; S_FALSE with a null pointer when there is none.
HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo) {
    if (pperrinfo == nullptr || dwReserved != 0)
        return E_INVALIDARG;
    *pperrinfo = t_errorSlot.Take();
    return *pperrinfo != nullptr ? S_OK : S_FALSE;
}

HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) {
    if (pperrinfo == nullptr)
        return E_INVALIDARG;
    auto* object = new (std::nothrow) ErrorObject;
    *pperrinfo = object;
    return object != nullptr ? S_OK : E_OUTOFMEMORY;
}
