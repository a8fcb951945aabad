// The one COM smart pointer of the project: the platform, the providers, the
// library and the tests hold interface references through it.
//
// Header-only, standard C++ and the COM basics only, so that the library's
// sources compile with it against the system's headers on Windows too.
#pragma once

#include "hdbplatform/Com.h"

#include <cstddef>
#include <utility>

namespace hdbcom {

// Owns one reference to a COM interface (or nothing).
//
// Constructing from a raw pointer shares it (adds a reference); Adopt takes
// over a reference the caller already owns. Out() and its variants release
// what is held and expose the slot for a call that returns a new reference.
template <class T> class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    explicit ComPtr(T* shared) : m_p(shared) {
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

    static ComPtr Adopt(T* owned) noexcept {
        ComPtr result;
        result.m_p = owned;
        return result;
    }

    T* Get() const noexcept { return m_p; }
    T* operator->() const noexcept { return m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }

    void Reset() noexcept {
        if (m_p != nullptr)
            std::exchange(m_p, nullptr)->Release();
    }
    // Hands the reference over to the caller.
    T* Detach() noexcept { return std::exchange(m_p, nullptr); }

    T** Out() noexcept {
        Reset();
        return &m_p;
    }
    void** OutVoid() noexcept { return reinterpret_cast<void**>(Out()); }
    IUnknown** OutUnknown() noexcept { return reinterpret_cast<IUnknown**>(Out()); }

    // The same object as interface U (iid), or an empty pointer when it does
    // not answer U.
    template <class U> ComPtr<U> As(REFIID iid) const {
        ComPtr<U> other;
        if (m_p != nullptr)
            m_p->QueryInterface(iid, other.OutVoid());
        return other;
    }

private:
    T* m_p = nullptr;
};

} // namespace hdbcom
