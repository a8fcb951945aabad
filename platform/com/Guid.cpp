// GUIDs: their text form and fresh random ones.
#include "GuidText.h"

#include "hdbplatform/WinApi.h"

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <sys/random.h>

namespace {

// A task-memory copy of the text of guid.
HRESULT AllocatedGuidText(REFGUID guid, LPOLESTR* text) {
    if (text == nullptr)
        return E_INVALIDARG;
    constexpr int Size = static_cast<int>(hdbcom::GuidTextLength) + 1;
    *text = static_cast<LPOLESTR>(CoTaskMemAlloc(Size * sizeof(OLECHAR)));
    if (*text == nullptr)
        return E_OUTOFMEMORY;
    StringFromGUID2(guid, *text, Size);
    return S_OK;
}

// A null string is the null GUID; anything but a braced GUID fails.
HRESULT GuidFromString(LPCOLESTR text, GUID* guid) {
    if (guid == nullptr)
        return E_INVALIDARG;
    if (text == nullptr) {
        *guid = GUID_NULL;
        return S_OK;
    }
    if (std::wcslen(text) != hdbcom::GuidTextLength || !hdbcom::ParseBracedGuid(text, *guid))
        return CO_E_CLASSSTRING;
    return S_OK;
}

} // namespace

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) {
    constexpr int Size = static_cast<int>(hdbcom::GuidTextLength) + 1;
    if (lpsz == nullptr || cchMax < Size)
        return 0;
    std::swprintf(lpsz, Size, L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(rguid.Data1), rguid.Data2, rguid.Data3, rguid.Data4[0],
                  rguid.Data4[1], rguid.Data4[2], rguid.Data4[3], rguid.Data4[4], rguid.Data4[5],
                  rguid.Data4[6], rguid.Data4[7]);
    return Size;
}

HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* lplpsz) {
    return AllocatedGuidText(rclsid, lplpsz);
}

HRESULT StringFromIID(REFIID rclsid, LPOLESTR* lplpsz) {
    return AllocatedGuidText(rclsid, lplpsz);
}

HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid) {
    return GuidFromString(lpsz, pclsid);
}

HRESULT IIDFromString(LPCOLESTR lpsz, IID* lpiid) {
    return GuidFromString(lpsz, lpiid);
}

// A random (version 4, RFC 4122 variant) GUID from the kernel's generator.
HRESULT CoCreateGuid(GUID* pguid) {
    if (pguid == nullptr)
        return E_INVALIDARG;
    unsigned char bytes[sizeof(GUID)];
    std::size_t filled = 0;
    while (filled < sizeof bytes) {
        ssize_t got = getrandom(bytes + filled, sizeof bytes - filled, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return E_FAIL;
        }
        filled += static_cast<std::size_t>(got);
    }
    std::memcpy(pguid, bytes, sizeof bytes);
    pguid->Data3 = static_cast<std::uint16_t>((pguid->Data3 & 0x0FFF) | 0x4000);
    pguid->Data4[0] = static_cast<std::uint8_t>((pguid->Data4[0] & 0x3F) | 0x80);
    return S_OK;
}
