// Values in buffers that someone else laid out (a consumer's bindings, a
// packed row buffer, a caller's conversion buffers) need not be aligned for
// their type, so they are read and written byte-wise.
#pragma once

#include <cstring>

namespace hdbmem {

template <class T> T Load(const void* place) {
    T value;
    std::memcpy(&value, place, sizeof(T));
    return value;
}

template <class T> void Store(void* place, const T& value) {
    std::memcpy(place, &value, sizeof(T));
}

} // namespace hdbmem
