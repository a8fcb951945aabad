// Small COM helpers shared by the objects of the provider core: the
// platform's smart pointer and IUnknown helper, and task-memory helpers.
#pragma once

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "hdbplatform/ClassFactory.h"
#include "hdbplatform/ComObject.h"
#include "hdbplatform/ComPtr.h"
#include "hdbplatform/OleDbApi.h"

namespace hdb::core {

// The platform's COM toolkit under the names the core's objects use.
using hdbcom::Answer;
using hdbcom::ComPtr;
using hdbcom::RefCounted;
#define HDB_CORE_IUNKNOWN HDB_COM_IUNKNOWN

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
