// BSTR: a block of [padding][32-bit byte count][characters][terminator].
//
// The byte count sits directly in front of the first character, as on
// Windows, so code that reads it there works on both platforms. The header is
// 8 bytes so that the characters are 8-byte aligned. Lengths in characters
// count wchar_t, which is 4 bytes here; a BSTR made from bytes may hold a byte
// count that is not a multiple of 4, and is terminated by a whole zero wchar_t
// after its last byte all the same.
#include "hdbplatform/OleAuto.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

constexpr std::size_t HeaderBytes = 8;
constexpr std::size_t CountOffset = HeaderBytes - sizeof(std::uint32_t);

// Room for the text, one whole terminating wchar_t and the rounding of an odd
// byte count up to a whole character.
constexpr std::size_t TailBytes = 2 * sizeof(OLECHAR);

// Largest byte count whose block size still fits the 32-bit count's range.
constexpr std::size_t MaxBytes = UINT32_MAX - HeaderBytes - TailBytes;

unsigned char* BlockOf(BSTR bstr) {
    return reinterpret_cast<unsigned char*>(bstr) - HeaderBytes;
}

std::uint32_t ByteCountOf(BSTR bstr) {
    std::uint32_t count;
    std::memcpy(&count, reinterpret_cast<unsigned char*>(bstr) - sizeof count, sizeof count);
    return count;
}

// A BSTR of byteCount bytes copied from source (zero-filled when source is
// null), terminated; nullptr when out of memory or too long.
BSTR AllocateBytes(const void* source, std::size_t byteCount) {
    if (byteCount > MaxBytes)
        return nullptr;
    auto* block = static_cast<unsigned char*>(std::malloc(HeaderBytes + byteCount + TailBytes));
    if (block == nullptr)
        return nullptr;
    auto count = static_cast<std::uint32_t>(byteCount);
    std::memset(block, 0, CountOffset);
    std::memcpy(block + CountOffset, &count, sizeof count);
    unsigned char* text = block + HeaderBytes;
    if (source != nullptr)
        std::memcpy(text, source, byteCount);
    else
        std::memset(text, 0, byteCount);
    std::memset(text + byteCount, 0, TailBytes);
    return reinterpret_cast<BSTR>(text);
}

BSTR AllocateChars(const OLECHAR* source, std::size_t length) {
    if (length > MaxBytes / sizeof(OLECHAR))
        return nullptr;
    return AllocateBytes(source, length * sizeof(OLECHAR));
}

} // namespace

BSTR SysAllocString(const OLECHAR* psz) {
    if (psz == nullptr)
        return nullptr;
    return AllocateChars(psz, std::wcslen(psz));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
    return AllocateChars(strIn, ui);
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) {
    return AllocateBytes(psz, len);
}

// The new string is made before the old one is freed, so psz may point into
// *pbstr.
INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) {
    if (pbstr == nullptr)
        return FALSE;
    BSTR replacement = AllocateChars(psz, len);
    if (replacement == nullptr)
        return FALSE;
    SysFreeString(*pbstr);
    *pbstr = replacement;
    return TRUE;
}

// A null psz leaves an empty string behind.
INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) {
    UINT length = psz == nullptr ? 0 : static_cast<UINT>(std::wcslen(psz));
    return SysReAllocStringLen(pbstr, psz, length);
}

void SysFreeString(BSTR bstrString) {
    if (bstrString != nullptr)
        std::free(BlockOf(bstrString));
}

UINT SysStringLen(BSTR pbstr) {
    return pbstr == nullptr ? 0 : ByteCountOf(pbstr) / static_cast<UINT>(sizeof(OLECHAR));
}

UINT SysStringByteLen(BSTR bstr) {
    return bstr == nullptr ? 0 : ByteCountOf(bstr);
}
