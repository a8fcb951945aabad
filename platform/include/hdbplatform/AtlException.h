// The failure exception of the class framework: a result code thrown by value.
// Framework classes throw it for arguments they cannot represent (a CTime part
// out of range, an index past the end); callers catch `CAtlException` and read
// the code through m_hr or the conversion to HRESULT.
#pragma once

#include "hdbplatform/Com.h"

class CAtlException {
public:
    CAtlException() noexcept : m_hr(E_FAIL) {}
    explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}

    operator HRESULT() const noexcept { return m_hr; }

    HRESULT m_hr;
};

// Throws CAtlException(hr). Never returns.
[[noreturn]] inline void AtlThrow(HRESULT hr) {
    throw CAtlException(hr);
}
