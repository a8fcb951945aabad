// Reading the braced text form of a GUID, for wide and narrow text.
#pragma once

#include "hdbplatform/WinTypes.h"

#include <cstddef>

namespace hdbcom {

// Characters of "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", without terminator.
inline constexpr std::size_t GuidTextLength = 38;

template <class Char> int HexDigitValue(Char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Parses exactly GuidTextLength characters at text (hex digits in either
// case); false, with guid untouched, when they are not a braced GUID.
template <class Char> bool ParseBracedGuid(const Char* text, GUID& guid) {
    static constexpr std::size_t DashAt[] = {9, 14, 19, 24};
    if (text[0] != '{' || text[GuidTextLength - 1] != '}')
        return false;
    for (std::size_t at : DashAt)
        if (text[at] != '-')
            return false;
    // The 16 bytes in text order; Data1..Data3 are then read big-endian.
    unsigned char bytes[16];
    std::size_t count = 0;
    for (std::size_t i = 1; i < GuidTextLength - 1; ++i) {
        if (i == DashAt[0] || i == DashAt[1] || i == DashAt[2] || i == DashAt[3])
            continue;
        int high = HexDigitValue(text[i]);
        int low = HexDigitValue(text[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes[count++] = static_cast<unsigned char>(high << 4 | low);
        ++i;
    }
    guid.Data1 =
        static_cast<std::uint32_t>(bytes[0]) << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    for (int i = 0; i < 8; ++i)
        guid.Data4[i] = bytes[8 + i];
    return true;
}

} // namespace hdbcom
