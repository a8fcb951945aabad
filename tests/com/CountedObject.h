// A minimal COM object for tests that need to watch reference counts.
#pragma once

#include "hdbplatform/ComObject.h"
#include "hdbplatform/WinApi.h"

#include <atomic>

namespace hdbtest {

inline constexpr IID IID_ICounted = {
    0x6a1d5b70, 0x27c4, 0x4f0e, {0x9b, 0x51, 0x3d, 0x0c, 0x88, 0x12, 0x4e, 0x01}};

// Answers IUnknown and IID_ICounted; counts live instances so that a test can
// see the last Release delete the object.
class CountedObject final : public hdbcom::ComObject<hdbcom::Implements<IUnknown, IID_ICounted>> {
public:
    CountedObject() { ++s_live; }
    ~CountedObject() override { --s_live; }

    // The count as it stands (what a balanced AddRef and Release report).
    ULONG References() {
        AddRef();
        return Release();
    }
    static int Live() { return s_live; }

private:
    static inline std::atomic<int> s_live{0};
};

} // namespace hdbtest
