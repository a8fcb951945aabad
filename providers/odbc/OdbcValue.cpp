#include "OdbcValue.h"

#include <algorithm>
#include <cstring>

#include "OdbcApi.h"

namespace hdb::odbc {

bool OdbcValue::IsNull() const {
    return m_indicator == SQL_NULL_DATA;
}

std::size_t OdbcValue::Terminator() const {
    if (m_type == OdbcValueType::wideText)
        return sizeof(char16_t);
    return m_type == OdbcValueType::narrowText ? 1 : 0;
}

bool OdbcValue::Truncated() const {
    if (m_type != OdbcValueType::wideText && m_type != OdbcValueType::narrowText &&
        m_type != OdbcValueType::binary)
        return false;
    return m_indicator == SQL_NO_TOTAL ||
           (m_indicator > 0 &&
            static_cast<std::size_t>(m_indicator) > m_elementBytes - Terminator());
}

std::size_t OdbcValue::StoredBytes(std::size_t terminator) const {
    const std::size_t room = m_elementBytes - terminator;
    if (m_indicator == SQL_NO_TOTAL)
        return room;
    if (m_indicator < 0)
        return 0;
    return std::min(static_cast<std::size_t>(m_indicator), room);
}

template <class T> T OdbcValue::Fixed() const {
    T value{};
    if (!IsNull())
        std::memcpy(&value, m_element, sizeof(T));
    return value;
}

template std::int64_t OdbcValue::Fixed<std::int64_t>() const;
template double OdbcValue::Fixed<double>() const;
template std::uint8_t OdbcValue::Fixed<std::uint8_t>() const;
template OdbcDate OdbcValue::Fixed<OdbcDate>() const;
template OdbcTime OdbcValue::Fixed<OdbcTime>() const;
template OdbcTimestamp OdbcValue::Fixed<OdbcTimestamp>() const;
template OdbcGuid OdbcValue::Fixed<OdbcGuid>() const;

std::u16string_view OdbcValue::WideText() const {
    return {reinterpret_cast<const char16_t*>(m_element),
            StoredBytes(sizeof(char16_t)) / sizeof(char16_t)};
}

std::string_view OdbcValue::NarrowText() const {
    return {reinterpret_cast<const char*>(m_element), StoredBytes(1)};
}

std::span<const std::byte> OdbcValue::Binary() const {
    return {m_element, StoredBytes(0)};
}

} // namespace hdb::odbc
