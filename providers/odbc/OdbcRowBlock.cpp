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

} // namespace hdb::odbc
