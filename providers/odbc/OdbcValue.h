// One value in the caller's arrays, as a driver left it there: its element
// (the bytes of the value's C form) and its length indicator. Fetched
// columns and output parameters are read through it alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "OdbcTypes.h"

namespace hdb::odbc {

class OdbcValue {
public:
    OdbcValue(OdbcValueType type, const std::byte* element, std::size_t elementBytes,
              std::int64_t indicator)
        : m_type(type), m_element(element), m_elementBytes(elementBytes), m_indicator(indicator) {}

    OdbcValueType Type() const { return m_type; }
    bool IsNull() const;
    // The value was longer than its element; the accessors give what fitted.
    bool Truncated() const;

    // The accessor must match the type; a NULL reads as zero or empty.
    std::int64_t Int64() const { return Fixed<std::int64_t>(); }
    double Real64() const { return Fixed<double>(); }
    bool Boolean() const { return Fixed<std::uint8_t>() != 0; }
    std::u16string_view WideText() const;
    std::string_view NarrowText() const;
    std::span<const std::byte> Binary() const;
    OdbcDate Date() const { return Fixed<OdbcDate>(); }
    OdbcTime Time() const { return Fixed<OdbcTime>(); }
    OdbcTimestamp Timestamp() const { return Fixed<OdbcTimestamp>(); }
    OdbcGuid Guid() const { return Fixed<OdbcGuid>(); }

private:
    template <class T> T Fixed() const;
    // Bytes of a variable-length value that are in the element.
    std::size_t StoredBytes(std::size_t terminator) const;
    // The terminator the driver writes after a value of this type.
    std::size_t Terminator() const;

    OdbcValueType m_type;
    const std::byte* m_element;
    std::size_t m_elementBytes;
    std::int64_t m_indicator;
};

} // namespace hdb::odbc
