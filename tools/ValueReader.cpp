#include "ValueReader.h"

#include "StringConversion.h"
#include "UnalignedAccess.h"
#include "hdbplatform/DataConversion.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace {

using hdbmem::Load;

std::wstring Widen(const std::string& ascii) {
    return std::wstring(ascii.begin(), ascii.end());
}

// Reals as their shortest text that reads back as the same number.
template <class T> std::wstring Number(T value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return Widen(std::string(buffer, result.ptr));
}

// The text the platform's conversion engine gives a fixed-size value, the
// same as a consumer binding it as DBTYPE_WSTR gets; empty when the value
// has none.
std::wstring ConvertedText(DBTYPE type, const void* data) {
    wchar_t buffer[64];
    DBLENGTH length = 0;
    DBSTATUS status = DBSTATUS_S_OK;
    const HRESULT hr = HdbDataConvert(type, DBTYPE_WSTR, 0, &length, data, buffer, sizeof(buffer),
                                      DBSTATUS_S_OK, &status, 0, 0, DBDATACONVERT_DEFAULT);
    if (FAILED(hr) || status != DBSTATUS_S_OK)
        return std::wstring();
    return std::wstring(buffer, length / sizeof(wchar_t));
}

// The integers and the decimal, whose text is the conversion engine's.
bool IsExactNumber(DBTYPE type) {
    switch (type) {
    case DBTYPE_I1:
    case DBTYPE_UI1:
    case DBTYPE_I2:
    case DBTYPE_UI2:
    case DBTYPE_I4:
    case DBTYPE_UI4:
    case DBTYPE_I8:
    case DBTYPE_UI8:
    case DBTYPE_NUMERIC:
        return true;
    default:
        return false;
    }
}

// Currency with all four of its decimal places ("12.3400"), where its own
// text drops the trailing zeros: as a numeric of its scale.
std::wstring CurrencyText(const void* data) {
    DB_NUMERIC number{};
    DBSTATUS status = DBSTATUS_S_OK;
    HdbDataConvert(DBTYPE_CY, DBTYPE_NUMERIC, 0, nullptr, data, &number, sizeof(number),
                   DBSTATUS_S_OK, &status, 0, 0, DBDATACONVERT_DEFAULT);
    return status == DBSTATUS_S_OK ? ConvertedText(DBTYPE_NUMERIC, &number) : std::wstring();
}

// Dates and times are printed as the provider delivered them, also one the
// conversion rules refuse (a stored 2024-02-30 or a leap second), so that
// the row still shows what the database holds.
std::wstring Printed(const char* format, int a, int b, int c) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), format, a, b, c);
    return Widen(buffer);
}

std::wstring TimestampText(const DBTIMESTAMP& t) {
    std::wstring text = Printed("%04d-%02d-%02d", t.year, t.month, t.day) +
                        Printed(" %02d:%02d:%02d", t.hour, t.minute, t.second);
    if (t.fraction != 0) {
        // Nanoseconds, without the zeros at the end.
        char buffer[16];
        std::snprintf(buffer, sizeof(buffer), ".%09u", static_cast<unsigned>(t.fraction));
        std::string fraction = buffer;
        while (fraction.back() == '0')
            fraction.pop_back();
        text += Widen(fraction);
    }
    return text;
}

std::wstring GuidText(const GUID& g) {
    char buffer[40];
    std::snprintf(buffer, sizeof(buffer), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                  g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    return Widen(buffer);
}

} // namespace

CValueReader::CValueReader(CRowSet& rowset) : m_rowset(rowset) {
    const CColumnsInfo* columns = rowset;
    const CColumnBindings* bindings = rowset;
    if (columns == nullptr || bindings == nullptr)
        return;
    const DBORDINAL first = columns->HasBookmarks() ? 1 : 0;
    for (DBORDINAL index = first; index < columns->GetColumnCount(); ++index) {
        const size_t ordinal = (*columns)[index].iOrdinal;
        if (ordinal >= rowset.GetColumnCount() + 1)
            continue;
        // The rowset finds a column's place in the row by name; filled here
        // by number, the place is right for every column.
        CRowSet::db_col_access_helper& helper = rowset.GetColMetaData(ordinal);
        const DBORDINAL binding = rowset.GetColumnValue(ordinal);
        helper.bindingIndex = binding;
        helper.boundType = bindings->GetFieldType(0, binding);
        helper.databaseType = (*columns)[index].wType;
        helper.statusPosition = bindings->GetStatusPosition(0, binding);
        helper.dataPosition = bindings->GetDataPosition(0, binding);
        helper.dataSize = bindings->GetColumnsSize(0, binding);
        m_ordinals.push_back(ordinal);
        m_fields.push_back({bindings->GetStatusPosition(0, binding),
                            bindings->GetLengthPosition(0, binding),
                            bindings->GetDataPosition(0, binding)});
    }
}

std::wstring CValueReader::ColumnName(size_t index) const {
    const CBasicStringView<wchar_t> name = m_rowset.GetColumnName(m_ordinals[index]);
    if (name.empty())
        return std::to_wstring(index + 1);
    return std::wstring(name.data(), name.size());
}

bool CValueReader::IsNumeric(size_t index) const {
    const DBTYPE type = m_rowset.GetColMetaData(m_ordinals[index]).boundType;
    return IsExactNumber(type) || type == DBTYPE_R4 || type == DBTYPE_R8 || type == DBTYPE_CY;
}

std::wstring CValueReader::Hex(const BYTE* bytes, size_t count) {
    static const wchar_t digits[] = L"0123456789abcdef";
    std::wstring text = L"0x";
    text.reserve(2 + 2 * count);
    for (size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

CValueReader::Value CValueReader::Read(size_t index) {
    const size_t ordinal = m_ordinals[index];
    const CRowSet::db_col_access_helper& helper = m_rowset.GetColMetaData(ordinal);
    const Field& field = m_fields[index];
    Value value;
    const auto* data = static_cast<const BYTE*>(m_rowset.GetCurrColumnsData(ordinal, helper));
    if (data == nullptr) {
        value.isNull = true;
        return value;
    }
    // Status and length lie in front of the value, at the binding's offsets
    // (the rowset cannot tell the status of a field that starts the row).
    const BYTE* row = data - field.data;
    const DBSTATUS status = Load<DBSTATUS>(row + field.status);
    if (status == DBSTATUS_S_ISNULL) {
        value.isNull = true;
        return value;
    }
    const DBLENGTH length = Load<DBLENGTH>(row + field.length);
    const DBLENGTH capacity = m_rowset.GetCurrColumnsLength(ordinal, helper.bindingIndex);

    switch (helper.boundType) {
    case DBTYPE_WSTR: {
        const size_t stored =
            std::min<DBLENGTH>(length,
                               capacity > sizeof(wchar_t) ? capacity - sizeof(wchar_t) : 0) /
            sizeof(wchar_t);
        value.text.assign(reinterpret_cast<const wchar_t*>(data), stored);
        value.length = length / sizeof(wchar_t);
        return value;
    }
    case DBTYPE_STR: {
        const size_t stored = std::min<DBLENGTH>(length, capacity > 0 ? capacity - 1 : 0);
        value.text =
            hdbtext::WideFromAnsi(std::string_view(reinterpret_cast<const char*>(data), stored));
        value.length = stored < length ? value.text.size() + (length - stored) : value.text.size();
        return value;
    }
    case DBTYPE_BYTES: {
        const size_t stored = std::min<DBLENGTH>(length, capacity);
        value.isBinary = true;
        value.text = Hex(data, stored);
        value.length = length;
        return value;
    }
    case DBTYPE_IUNKNOWN:
        return ReadStream(ordinal, helper.databaseType);
    case DBTYPE_R4:
        value.text = Number(Load<float>(data));
        break;
    case DBTYPE_R8:
        value.text = Number(Load<double>(data));
        break;
    case DBTYPE_CY:
        value.text = CurrencyText(data);
        break;
    case DBTYPE_BOOL:
        value.text = Load<VARIANT_BOOL>(data) != 0 ? L"true" : L"false";
        break;
    case DBTYPE_DBDATE: {
        const DBDATE date = Load<DBDATE>(data);
        value.text = Printed("%04d-%02d-%02d", date.year, date.month, date.day);
        break;
    }
    case DBTYPE_DBTIME: {
        const DBTIME time = Load<DBTIME>(data);
        value.text = Printed("%02d:%02d:%02d", time.hour, time.minute, time.second);
        break;
    }
    case DBTYPE_DBTIMESTAMP:
        value.text = TimestampText(Load<DBTIMESTAMP>(data));
        break;
    case DBTYPE_GUID:
        value.text = GuidText(Load<GUID>(data));
        break;
    default:
        // The exact numbers as the conversion engine writes them; a type
        // this program has no text for: its number, so that the rest of the
        // row still prints.
        value.text = IsExactNumber(helper.boundType)
                         ? ConvertedText(helper.boundType, data)
                         : L"<type " + std::to_wstring(helper.boundType) + L">";
        break;
    }
    value.length = value.text.size();
    return value;
}

CValueReader::Value CValueReader::ReadStream(size_t ordinal, DBTYPE databaseType) {
    Value value;
    ISequentialStream* stream = m_rowset.GetCurrColumnsSequentialStream(ordinal);
    if (stream == nullptr) {
        // No stream for a value that is there: the rowset has reported why.
        value.isNull = true;
        return value;
    }
    std::string bytes;
    char chunk[16384];
    for (;;) {
        ULONG read = 0;
        const HRESULT hr = stream->Read(chunk, sizeof(chunk), &read);
        bytes.append(chunk, read);
        if (FAILED(hr) || read == 0)
            break;
    }
    m_rowset.FreeSequentialStreamAllocator(ordinal);

    if (databaseType == DBTYPE_WSTR) {
        value.text.resize(bytes.size() / sizeof(wchar_t));
        std::memcpy(value.text.data(), bytes.data(), value.text.size() * sizeof(wchar_t));
    } else if (databaseType == DBTYPE_STR) {
        value.text = hdbtext::WideFromAnsi(bytes);
    } else {
        value.isBinary = true;
        value.text = Hex(reinterpret_cast<const BYTE*>(bytes.data()), bytes.size());
        value.length = bytes.size();
        return value;
    }
    value.length = value.text.size();
    return value;
}
