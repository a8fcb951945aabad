#include "OdbcRowBlock.h"

#include <algorithm>
#include <cstring>

#include "OdbcApi.h"

namespace hdb::odbc {

OdbcRowBlock::OdbcRowBlock(std::size_t capacity)
    : m_capacity(std::max<std::size_t>(capacity, 1)), m_status(m_capacity, SQL_ROW_NOROW) {}

std::size_t OdbcRowBlock::Bind(std::uint16_t column, OdbcValueType type, std::size_t elementBytes) {
    Binding b;
    b.column = column;
    b.type = type;
    const std::size_t fixed = api::FixedSize(type);
    // A text element holds at least its terminator and one character.
    b.elementBytes = fixed != 0 ? fixed : std::max<std::size_t>(elementBytes, 2 * sizeof(char16_t));
    if (type == OdbcValueType::wideText && b.elementBytes % sizeof(char16_t) != 0)
        ++b.elementBytes;
    b.data.resize(m_capacity * b.elementBytes);
    b.indicators.assign(m_capacity, SQL_NULL_DATA);
    m_bindings.push_back(std::move(b));
    return m_bindings.size() - 1;
}

void OdbcRowBlock::Clear() {
    m_bindings.clear();
    m_rowsFetched = 0;
}

OdbcRowStatus OdbcRowBlock::Status(std::size_t row) const {
    switch (m_status[row]) {
    case SQL_ROW_SUCCESS:
        return OdbcRowStatus::ok;
    case SQL_ROW_SUCCESS_WITH_INFO:
        return OdbcRowStatus::withInfo;
    case SQL_ROW_ERROR:
        return OdbcRowStatus::error;
    default:
        return OdbcRowStatus::noRow;
    }
}

bool OdbcRowBlock::IsNull(std::size_t slot, std::size_t row) const {
    return m_bindings[slot].indicators[row] == SQL_NULL_DATA;
}

bool OdbcRowBlock::Truncated(std::size_t slot, std::size_t row) const {
    const Binding& b = m_bindings[slot];
    const std::int64_t length = b.indicators[row];
    std::size_t terminator = 0;
    if (b.type == OdbcValueType::wideText)
        terminator = sizeof(char16_t);
    else if (b.type == OdbcValueType::decimalText)
        terminator = 1;
    else if (b.type != OdbcValueType::binary)
        return false;
    return length == SQL_NO_TOTAL ||
           (length > 0 && static_cast<std::size_t>(length) > b.elementBytes - terminator);
}

std::size_t OdbcRowBlock::StoredBytes(std::size_t slot, std::size_t row,
                                      std::size_t terminator) const {
    const Binding& b = m_bindings[slot];
    const std::size_t room = b.elementBytes - terminator;
    const std::int64_t length = b.indicators[row];
    if (length == SQL_NO_TOTAL)
        return room;
    if (length < 0)
        return 0;
    return std::min(static_cast<std::size_t>(length), room);
}

template <class T> T OdbcRowBlock::Fixed(std::size_t slot, std::size_t row) const {
    T value{};
    if (!IsNull(slot, row))
        std::memcpy(&value, Element(slot, row), sizeof(T));
    return value;
}

std::int64_t OdbcRowBlock::Int64(std::size_t slot, std::size_t row) const {
    return Fixed<std::int64_t>(slot, row);
}

double OdbcRowBlock::Real64(std::size_t slot, std::size_t row) const {
    return Fixed<double>(slot, row);
}

bool OdbcRowBlock::Boolean(std::size_t slot, std::size_t row) const {
    return Fixed<std::uint8_t>(slot, row) != 0;
}

std::u16string_view OdbcRowBlock::WideText(std::size_t slot, std::size_t row) const {
    const std::size_t bytes = StoredBytes(slot, row, sizeof(char16_t));
    return {reinterpret_cast<const char16_t*>(Element(slot, row)), bytes / sizeof(char16_t)};
}

std::string_view OdbcRowBlock::DecimalText(std::size_t slot, std::size_t row) const {
    return {reinterpret_cast<const char*>(Element(slot, row)), StoredBytes(slot, row, 1)};
}

std::span<const std::byte> OdbcRowBlock::Binary(std::size_t slot, std::size_t row) const {
    return {Element(slot, row), StoredBytes(slot, row, 0)};
}

OdbcDate OdbcRowBlock::Date(std::size_t slot, std::size_t row) const {
    return Fixed<OdbcDate>(slot, row);
}

OdbcTime OdbcRowBlock::Time(std::size_t slot, std::size_t row) const {
    return Fixed<OdbcTime>(slot, row);
}

OdbcTimestamp OdbcRowBlock::Timestamp(std::size_t slot, std::size_t row) const {
    return Fixed<OdbcTimestamp>(slot, row);
}

OdbcGuid OdbcRowBlock::Guid(std::size_t slot, std::size_t row) const {
    return Fixed<OdbcGuid>(slot, row);
}

} // namespace hdb::odbc
