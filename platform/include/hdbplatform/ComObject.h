// The IUnknown of the project's COM objects: a thread-safe reference count
// and QueryInterface over a list of interfaces, so that an object class
// writes only its own methods.
//
//   class Stream final : public hdbcom::ComObject<
//       hdbcom::Implements<IStream, IID_IStream, IID_ISequentialStream>> { ... };
//
// A class that answers more than a fixed list (an interface offered only in
// some states, a private id) overrides Query and falls back to the list's.
// A class whose interface list is not known to ComObject derives from
// RefCounted and its interfaces, writes Query itself (Answer helps) and
// declares its IUnknown with HDB_COM_IUNKNOWN.
//
// Header-only, standard C++ and the COM basics only, so that it compiles
// against the system's headers on Windows too.
#pragma once

#include "hdbplatform/Com.h"

#include <atomic>

namespace hdbcom {

// The reference count of a COM object. The object starts with one reference,
// owned by whoever created it; the last release deletes it. Counting is
// thread-safe: references may be added and given back from any thread.
class RefCounted {
public:
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

protected:
    RefCounted() = default;
    virtual ~RefCounted() = default;

    ULONG AddReference() noexcept { return m_refs.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG ReleaseReference() noexcept {
        const ULONG left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0)
            delete this;
        return left;
    }
    // For an object that lives as long as the process: the count never drops
    // below one, so a caller that releases once too often cannot delete it.
    ULONG ReleaseKeepingLast() noexcept {
        ULONG refs = m_refs.load(std::memory_order_relaxed);
        while (refs > 1 &&
               !m_refs.compare_exchange_weak(refs, refs - 1, std::memory_order_acq_rel)) {
        }
        return refs > 1 ? refs - 1 : 1;
    }

private:
    std::atomic<ULONG> m_refs{1};
};

// Sets *ppv to self as interface I when riid is iid.
template <class I, class T> bool Answer(REFIID riid, REFIID iid, T* self, void** ppv) {
    if (riid != iid)
        return false;
    *ppv = static_cast<I*>(self);
    return true;
}

// Declares AddRef, Release and QueryInterface of a class deriving from
// RefCounted and its interfaces. The class writes
//   HRESULT Query(REFIID riid, void** ppv)
// which sets *ppv (no reference added) and answers S_OK, or E_NOINTERFACE;
// QueryInterface adds the checks and the reference that COM asks for.
#define HDB_COM_IUNKNOWN                                                                           \
    ULONG STDMETHODCALLTYPE AddRef() override {                                                    \
        return AddReference();                                                                     \
    }                                                                                              \
    ULONG STDMETHODCALLTYPE Release() override {                                                   \
        return ReleaseReference();                                                                 \
    }                                                                                              \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {                   \
        if (ppv == nullptr)                                                                        \
            return E_POINTER;                                                                      \
        *ppv = nullptr;                                                                            \
        const HRESULT hr = Query(riid, ppv);                                                       \
        if (SUCCEEDED(hr))                                                                         \
            AddRef();                                                                              \
        else                                                                                       \
            *ppv = nullptr;                                                                        \
        return hr;                                                                                 \
    }

// One entry of ComObject's list: the object derives from interface I and
// answers it for Id and for the ids of the interfaces I derives from
// (AlsoIds).
template <class I, const IID& Id, const IID&... AlsoIds> struct Implements {
    using Interface = I;
    static bool Answers(REFIID riid) { return riid == Id || ((riid == AlsoIds) || ...); }
};

namespace detail {
template <class First, class...> struct FirstOf { using Type = First; };
} // namespace detail

// A COM object implementing the interfaces of Entries (each an Implements).
// IUnknown is answered through the first entry's interface, so that the
// object's identity is the same pointer whatever it was asked through.
template <class... Entries> class ComObject : public RefCounted, public Entries::Interface... {
public:
    HDB_COM_IUNKNOWN

protected:
    virtual HRESULT Query(REFIID riid, void** ppv) {
        using Identity = typename detail::FirstOf<Entries...>::Type::Interface;
        if (riid == IID_IUnknown) {
            *ppv = static_cast<IUnknown*>(static_cast<Identity*>(this));
            return S_OK;
        }
        const bool found =
            ((Entries::Answers(riid) && (*ppv = static_cast<typename Entries::Interface*>(this))) ||
             ...);
        return found ? S_OK : E_NOINTERFACE;
    }
};

} // namespace hdbcom
