// A minimal COM object for tests that need to watch reference counts.
#pragma once

#include "hdbplatform/WinApi.h"

#include <atomic>

namespace hdbtest {

inline constexpr IID IID_ICounted = {
    0x6a1d5b70, 0x27c4, 0x4f0e, {0x9b, 0x51, 0x3d, 0x0c, 0x88, 0x12, 0x4e, 0x01}};

// Answers IUnknown and IID_ICounted; counts live instances so that a test can
// see the last Release delete the object.
class CountedObject final : public IUnknown {
public:
    CountedObject() { ++s_live; }
    ~CountedObject() { --s_live; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr)
            return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_ICounted) {
            *ppv = this;
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    ULONG References() const { return m_refs; }
    static int Live() { return s_live; }

private:
    std::atomic<ULONG> m_refs{1};
    static inline std::atomic<int> s_live{0};
};

} // namespace hdbtest
