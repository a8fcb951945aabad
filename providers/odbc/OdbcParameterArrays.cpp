#include "OdbcParameterArrays.h"

#include <algorithm>
#include <cstring>

#include "OdbcApi.h"

namespace hdb::odbc {

namespace {

// The first room of a text or binary element; it grows with the values.
constexpr std::size_t kFirstVariableBytes = 16;
// The room of a text or binary value handed back, unless the binding says.
constexpr std::size_t kOutputBytes = 8000;

// Characters of the text form of the fixed-size types, their column size.
std::uint64_t OwnWidth(OdbcValueType type, std::int16_t decimalDigits) {
    switch (type) {
    case OdbcValueType::int64:
        return 19;
    case OdbcValueType::real64:
        return 15;
    case OdbcValueType::boolean:
        return 1;
    case OdbcValueType::date:
        return 10; // yyyy-mm-dd
    case OdbcValueType::time:
        return 8; // hh:mm:ss
    case OdbcValueType::timestamp:
        return 19 + (decimalDigits > 0 ? 1 + static_cast<std::uint64_t>(decimalDigits) : 0);
    case OdbcValueType::guid:
        return 36;
    case OdbcValueType::wideText:
    case OdbcValueType::narrowText:
    case OdbcValueType::binary:
        break;
    }
    return 0;
}

} // namespace

void OdbcParameterArrays::Reset(std::size_t setCount) {
    m_setCount = setCount;
    m_columns.clear();
    m_status.assign(setCount, SQL_PARAM_UNUSED);
    m_processed = 0;
}

std::size_t OdbcParameterArrays::AddParameter(const OdbcParameterBinding& binding) {
    Column c;
    c.binding = binding;
    const std::size_t fixed = api::FixedSize(binding.type);
    c.elementBytes = fixed != 0 ? fixed : kFirstVariableBytes;
    if (fixed == 0 && binding.direction != OdbcParameterDirection::input)
        c.elementBytes = std::max(kFirstVariableBytes,
                                  binding.outputBytes != 0 ? binding.outputBytes : kOutputBytes);
    c.data.resize(m_setCount * c.elementBytes);
    c.indicators.assign(m_setCount, SQL_NULL_DATA);
    m_columns.push_back(std::move(c));
    return m_columns.size() - 1;
}

bool OdbcParameterArrays::Fits(std::size_t parameter, std::size_t set, OdbcValueType type) const {
    return parameter < m_columns.size() && set < m_setCount &&
           m_columns[parameter].binding.type == type;
}

bool OdbcParameterArrays::SetFixed(std::size_t parameter, std::size_t set, OdbcValueType type,
                                   const void* value) {
    if (!Fits(parameter, set, type))
        return false;
    Column& c = m_columns[parameter];
    std::memcpy(Element(parameter, set), value, c.elementBytes);
    c.indicators[set] = static_cast<std::int64_t>(c.elementBytes);
    return true;
}

bool OdbcParameterArrays::SetVariable(std::size_t parameter, std::size_t set, OdbcValueType type,
                                      const void* value, std::size_t bytes) {
    if (!Fits(parameter, set, type))
        return false;
    Column& c = m_columns[parameter];
    Grow(c, bytes);
    if (bytes != 0)
        std::memcpy(Element(parameter, set), value, bytes);
    c.indicators[set] = static_cast<std::int64_t>(bytes);
    c.longest = std::max(c.longest, bytes);
    return true;
}

void OdbcParameterArrays::Grow(Column& column, std::size_t bytes) {
    if (bytes <= column.elementBytes)
        return;
    const std::size_t grown = std::max(bytes, column.elementBytes * 2);
    std::vector<std::byte> data(m_setCount * grown);
    for (std::size_t set = 0; set < m_setCount; ++set)
        std::memcpy(data.data() + set * grown, column.data.data() + set * column.elementBytes,
                    column.elementBytes);
    column.data = std::move(data);
    column.elementBytes = grown;
}

bool OdbcParameterArrays::SetNull(std::size_t parameter, std::size_t set) {
    if (parameter >= m_columns.size() || set >= m_setCount)
        return false;
    m_columns[parameter].indicators[set] = SQL_NULL_DATA;
    return true;
}

bool OdbcParameterArrays::SetInt64(std::size_t parameter, std::size_t set, std::int64_t value) {
    return SetFixed(parameter, set, OdbcValueType::int64, &value);
}

bool OdbcParameterArrays::SetReal64(std::size_t parameter, std::size_t set, double value) {
    return SetFixed(parameter, set, OdbcValueType::real64, &value);
}

bool OdbcParameterArrays::SetBoolean(std::size_t parameter, std::size_t set, bool value) {
    const SQLCHAR bit = value ? 1 : 0;
    return SetFixed(parameter, set, OdbcValueType::boolean, &bit);
}

bool OdbcParameterArrays::SetWideText(std::size_t parameter, std::size_t set,
                                      std::u16string_view value) {
    return SetVariable(parameter, set, OdbcValueType::wideText, value.data(),
                       value.size() * sizeof(char16_t));
}

bool OdbcParameterArrays::SetNarrowText(std::size_t parameter, std::size_t set,
                                        std::string_view value) {
    return SetVariable(parameter, set, OdbcValueType::narrowText, value.data(), value.size());
}

bool OdbcParameterArrays::SetBinary(std::size_t parameter, std::size_t set,
                                    std::span<const std::byte> value) {
    return SetVariable(parameter, set, OdbcValueType::binary, value.data(), value.size());
}

bool OdbcParameterArrays::SetDate(std::size_t parameter, std::size_t set, const OdbcDate& value) {
    return SetFixed(parameter, set, OdbcValueType::date, &value);
}

bool OdbcParameterArrays::SetTime(std::size_t parameter, std::size_t set, const OdbcTime& value) {
    return SetFixed(parameter, set, OdbcValueType::time, &value);
}

bool OdbcParameterArrays::SetTimestamp(std::size_t parameter, std::size_t set,
                                       const OdbcTimestamp& value) {
    return SetFixed(parameter, set, OdbcValueType::timestamp, &value);
}

bool OdbcParameterArrays::SetGuid(std::size_t parameter, std::size_t set, const OdbcGuid& value) {
    return SetFixed(parameter, set, OdbcValueType::guid, &value);
}

bool OdbcParameterArrays::SetAtExecution(std::size_t parameter, std::size_t set,
                                         std::int64_t length) {
    if (parameter >= m_columns.size() || set >= m_setCount)
        return false;
    Column& c = m_columns[parameter];
    if (c.binding.type != OdbcValueType::wideText && c.binding.type != OdbcValueType::binary)
        return false;
    if (length == 0)
        c.indicators[set] = 0;
    else
        c.indicators[set] = length > 0 ? SQL_LEN_DATA_AT_EXEC(length) : SQL_DATA_AT_EXEC;
    if (length > 0)
        c.longest = std::max(c.longest, static_cast<std::size_t>(length));
    return true;
}

bool OdbcParameterArrays::HasAtExecution() const {
    for (const Column& c : m_columns)
        for (const std::int64_t indicator : c.indicators)
            if (indicator == SQL_DATA_AT_EXEC || indicator <= SQL_LEN_DATA_AT_EXEC_OFFSET)
                return true;
    return false;
}

std::uint64_t OdbcParameterArrays::ColumnSize(std::size_t parameter) const {
    const Column& c = m_columns[parameter];
    if (c.binding.columnSize != 0)
        return c.binding.columnSize;
    // A value handed back may fill its whole element.
    const std::size_t longest = c.binding.direction == OdbcParameterDirection::input
                                    ? c.longest
                                    : std::max(c.longest, c.elementBytes);
    switch (c.binding.type) {
    case OdbcValueType::wideText:
        return std::max<std::uint64_t>(longest / sizeof(char16_t), 1);
    case OdbcValueType::narrowText:
    case OdbcValueType::binary:
        return std::max<std::uint64_t>(longest, 1);
    default:
        return OwnWidth(c.binding.type, c.binding.decimalDigits);
    }
}

std::int16_t OdbcParameterArrays::DecimalDigits(std::size_t parameter) const {
    return m_columns[parameter].binding.decimalDigits;
}

void OdbcParameterArrays::ForgetOutcome() {
    std::fill(m_status.begin(), m_status.end(), static_cast<std::uint16_t>(SQL_PARAM_UNUSED));
    m_processed = 0;
}

OdbcSetStatus OdbcParameterArrays::Status(std::size_t set) const {
    if (set >= m_status.size())
        return OdbcSetStatus::unavailable;
    switch (m_status[set]) {
    case SQL_PARAM_SUCCESS:
        return OdbcSetStatus::success;
    case SQL_PARAM_SUCCESS_WITH_INFO:
        return OdbcSetStatus::successWithInfo;
    case SQL_PARAM_ERROR:
        return OdbcSetStatus::error;
    case SQL_PARAM_UNUSED:
        return OdbcSetStatus::unused;
    default:
        return OdbcSetStatus::unavailable;
    }
}

std::optional<std::size_t> OdbcParameterArrays::FirstFailedSet() const {
    for (std::size_t set = 0; set < m_status.size(); ++set)
        if (m_status[set] == SQL_PARAM_ERROR)
            return set;
    return std::nullopt;
}

bool OdbcParameterArrays::Locate(const void* element, std::size_t& parameter,
                                 std::size_t& set) const {
    const auto address = reinterpret_cast<std::uintptr_t>(element);
    for (std::size_t p = 0; p < m_columns.size(); ++p) {
        const Column& c = m_columns[p];
        const auto base = reinterpret_cast<std::uintptr_t>(c.data.data());
        if (c.data.empty() || address < base || address >= base + c.data.size())
            continue;
        const std::size_t offset = address - base;
        if (offset % c.elementBytes != 0)
            return false;
        parameter = p;
        set = offset / c.elementBytes;
        return true;
    }
    return false;
}

} // namespace hdb::odbc
