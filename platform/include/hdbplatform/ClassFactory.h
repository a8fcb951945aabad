// The class object of the project's COM classes: an IClassFactory whose
// instances come from a factory function, so that a class needing arguments
// (shared state, a backend) is served as easily as a default-constructed one.
//
// Header-only, standard C++ and the COM basics only, so that it compiles
// against the system's headers on Windows too.
#pragma once

#include "hdbplatform/ComObject.h"

#include <functional>
#include <new>
#include <utility>

namespace hdbcom {

// Hands out a new object, created with its one reference, as riid; that
// reference is given back either way, so the object goes when riid is not
// one of its interfaces. E_OUTOFMEMORY for a null object (a failed
// new (std::nothrow)).
template <class T> HRESULT HandOut(T* created, REFIID riid, void** ppv) {
    if (created == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = created->QueryInterface(riid, ppv);
    created->Release();
    return hr;
}

// Aggregation is not offered: every instance is its own controlling unknown.
// Modules stay loaded for the life of the process, so LockServer has nothing
// to keep alive.
class ClassFactory final : public ComObject<Implements<IClassFactory, IID_IClassFactory>> {
public:
    // Makes one instance and hands it out as riid (HandOut does that for a
    // new object).
    using MakeInstance = std::function<HRESULT(REFIID riid, void** ppv)>;

    // A new class object over make, handed out as riid.
    static HRESULT Create(MakeInstance make, REFIID riid, void** ppv) {
        if (ppv == nullptr)
            return E_POINTER;
        *ppv = nullptr;
        return HandOut(new (std::nothrow) ClassFactory(std::move(make)), riid, ppv);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override {
        if (ppv == nullptr)
            return E_POINTER;
        *ppv = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        return m_make(riid, ppv);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    explicit ClassFactory(MakeInstance make) : m_make(std::move(make)) {}

    const MakeInstance m_make;
};

} // namespace hdbcom
