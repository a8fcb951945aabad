// Small COM helpers shared by the objects of the provider core: a smart
// pointer, the IUnknown boilerplate and task-memory helpers.
#pragma once

#include <atomic>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "hdbplatform/OleDbApi.h"

namespace hdb::core {

// Owns one reference of T.
template <class T> class ComPtr {
public:
    ComPtr() = default;
    ComPtr(T* p) : m_p(p) {
        if (m_p != nullptr)
            m_p->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.m_p) {}
    ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    ~ComPtr() { Reset(); }
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    // Takes over a reference the caller already owns.
    static ComPtr Adopt(T* p) {
        ComPtr result;
        result.m_p = p;
        return result;
    }
    void Reset() {
        if (m_p != nullptr)
            std::exchange(m_p, nullptr)->Release();
    }
    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    T** Out() {
        Reset();
        return &m_p;
    }
    T* Detach() { return std::exchange(m_p, nullptr); }

private:
    T* m_p = nullptr;
};

// The reference count of a core object; the object starts with one
// reference, owned by whoever created it.
class RefCounted {
public:
    RefCounted() = default;
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

protected:
    virtual ~RefCounted() = default;
    ULONG DoAddRef() { return ++m_refs; }
    ULONG DoRelease() {
        ULONG left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_refs{1};
};

// Declares AddRef, Release and QueryInterface of a class deriving from
// RefCounted and from its interfaces; the class writes
// HRESULT Query(REFIID riid, void** ppv) answering its interfaces.
#define HDB_CORE_IUNKNOWN                                                                          \
    ULONG STDMETHODCALLTYPE AddRef() override {                                                    \
        return DoAddRef();                                                                         \
    }                                                                                              \
    ULONG STDMETHODCALLTYPE Release() override {                                                   \
        return DoRelease();                                                                        \
    }                                                                                              \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {                   \
        if (ppv == nullptr)                                                                        \
            return E_POINTER;                                                                      \
        *ppv = nullptr;                                                                            \
        HRESULT hr = Query(riid, ppv);                                                             \
        if (SUCCEEDED(hr))                                                                         \
            static_cast<IUnknown*>(*ppv)->AddRef();                                                \
        return hr;                                                                                 \
    }

// Hands out interface I of this object when riid names it.
template <class I, class T> bool Answer(REFIID riid, REFIID iid, T* self, void** ppv) {
    if (riid != iid)
        return false;
    *ppv = static_cast<I*>(self);
    return true;
}

// Task-memory copy of a wide string (nullptr when allocation fails).
inline wchar_t* TaskString(const std::wstring& text) {
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy != nullptr)
        std::memcpy(copy, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return copy;
}

template <class T> T* TaskArray(size_t count) {
    return static_cast<T*>(CoTaskMemAlloc(count == 0 ? 1 : count * sizeof(T)));
}

// A VARIANT that clears itself.
struct Variant : VARIANT {
    Variant() { VariantInit(this); }
    Variant(const Variant& other) {
        VariantInit(this);
        VariantCopy(this, &other);
    }
    Variant& operator=(const Variant& other) {
        if (this != &other)
            VariantCopy(this, &other);
        return *this;
    }
    ~Variant() { VariantClear(this); }
};

} // namespace hdb::core
