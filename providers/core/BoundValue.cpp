// Values between a consumer's bound buffer and the backend's cells: a
// parameter value read in, a column or output parameter value written out
// (converting through the platform's engine where the types differ).
#include <algorithm>
#include <cwchar>

#include "Core.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::core {

namespace {

// A narrow string's length, never beyond max bytes.
size_t BoundedStrlen(const char* text, size_t max) {
    const void* end = std::memchr(text, 0, max);
    return end == nullptr ? max : static_cast<const char*>(end) - text;
}

// Consumer buffers are laid out as the consumer likes, so nothing read from
// them may assume alignment.
size_t BoundedWcslen(const void* text, size_t maxChars) {
    const auto* bytes = static_cast<const BYTE*>(text);
    size_t n = 0;
    for (; n < maxChars; ++n) {
        wchar_t c;
        std::memcpy(&c, bytes + n * sizeof(wchar_t), sizeof c);
        if (c == L'\0')
            break;
    }
    return n;
}

template <class T> T LoadAt(const void* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// Converts through the conversion engine into a cell of type to.
DBSTATUS ConvertInto(DBTYPE from, const void* src, DBLENGTH srcLength, DBTYPE to,
                     backend::RowBuffer& set, size_t col) {
    DBSTATUS status = DBSTATUS_S_OK;
    DBLENGTH length = 0;
    switch (to) {
    case DBTYPE_R8: {
        double v = 0;
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetR8(col, v);
        return status;
    }
    case DBTYPE_NUMERIC: {
        DB_NUMERIC v{};
        // Precision 0 keeps the source's own scale (a CY or DECIMAL fraction).
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetNumeric(col, v);
        return status;
    }
    case DBTYPE_DBTIMESTAMP: {
        DBTIMESTAMP v{};
        HdbDataConvert(from, to, srcLength, &length, src, &v, sizeof v, DBSTATUS_S_OK, &status, 0,
                       0, 0);
        if (status == DBSTATUS_S_OK)
            set.SetTimestamp(col, v);
        return status;
    }
    default: { // wide text
        DBLENGTH needed = 0;
        if (FAILED(HdbGetConversionSize(from, DBTYPE_WSTR, &srcLength, &needed, src)))
            return DBSTATUS_E_CANTCONVERTVALUE;
        std::wstring text(needed / sizeof(wchar_t) + 1, L'\0');
        HdbDataConvert(from, DBTYPE_WSTR, srcLength, &length, src, text.data(),
                       text.size() * sizeof(wchar_t), DBSTATUS_S_OK, &status, 0, 0, 0);
        if (status != DBSTATUS_S_OK)
            return status;
        set.SetWide(col, text.c_str(), length / sizeof(wchar_t));
        return status;
    }
    }
}

} // namespace

// Reads one parameter value out of the consumer's buffer into a cell.
DBSTATUS ReadBoundValue(const DBBINDING& b, const BYTE* base, backend::RowBuffer& set, size_t col) {
    if (b.dwPart & DBPART_STATUS) {
        DBSTATUS given = LoadAt<DBSTATUS>(base + b.obStatus);
        if (given == DBSTATUS_S_ISNULL || given == DBSTATUS_S_DEFAULT ||
            given == DBSTATUS_S_IGNORE) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
        if (given != DBSTATUS_S_OK)
            return DBSTATUS_E_BADSTATUS;
    }
    if ((b.dwPart & DBPART_VALUE) == 0) {
        set.SetNull(col);
        return DBSTATUS_S_OK;
    }
    const DBTYPE type = b.wType & ~DBTYPE_BYREF;
    const void* value = base + b.obValue;
    if (b.wType & DBTYPE_BYREF) {
        value = LoadAt<const void*>(value);
        if (value == nullptr) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
    }
    const bool hasLength = (b.dwPart & DBPART_LENGTH) != 0;
    const DBLENGTH givenLength = hasLength ? LoadAt<DBLENGTH>(base + b.obLength) : 0;
    auto load = [&](auto v) {
        std::remove_cv_t<decltype(v)> x;
        std::memcpy(&x, value, sizeof x);
        return x;
    };
    switch (type) {
    case DBTYPE_I1:
        set.SetI8(col, load(std::int8_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I2:
        set.SetI8(col, load(std::int16_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I4:
        set.SetI8(col, load(std::int32_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_I8:
        set.SetI8(col, load(std::int64_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI1:
        set.SetI8(col, load(std::uint8_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI2:
        set.SetI8(col, load(std::uint16_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI4:
        set.SetI8(col, load(std::uint32_t{}));
        return DBSTATUS_S_OK;
    case DBTYPE_UI8: {
        auto v = load(std::uint64_t{});
        if (v > static_cast<std::uint64_t>(INT64_MAX))
            return ConvertInto(DBTYPE_UI8, value, 8, DBTYPE_WSTR, set, col);
        set.SetI8(col, static_cast<LONGLONG>(v));
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BOOL:
        set.SetBool(col, load(VARIANT_BOOL{}) != VARIANT_FALSE);
        return DBSTATUS_S_OK;
    case DBTYPE_R4:
        set.SetR8(col, load(float{}));
        return DBSTATUS_S_OK;
    case DBTYPE_R8:
        set.SetR8(col, load(double{}));
        return DBSTATUS_S_OK;
    case DBTYPE_NUMERIC:
        set.SetNumeric(col, load(DB_NUMERIC{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBDATE:
        set.SetDate(col, load(DBDATE{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBTIME:
        set.SetTime(col, load(DBTIME{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DBTIMESTAMP:
        set.SetTimestamp(col, load(DBTIMESTAMP{}));
        return DBSTATUS_S_OK;
    case DBTYPE_DATE:
        return ConvertInto(type, value, sizeof(DATE), DBTYPE_DBTIMESTAMP, set, col);
    case DBTYPE_CY:
        return ConvertInto(type, value, sizeof(CY), DBTYPE_R8, set, col);
    case DBTYPE_DECIMAL:
        return ConvertInto(type, value, sizeof(DECIMAL), DBTYPE_NUMERIC, set, col);
    case DBTYPE_STR: {
        // Narrow text is the platform's narrow encoding, UTF-8.
        const auto* text = static_cast<const char*>(value);
        size_t n = hasLength
                       ? givenLength
                       : BoundedStrlen(text, (b.wType & DBTYPE_BYREF) ? SIZE_MAX : b.cbMaxLen);
        set.SetUtf8(col, text, n);
        return DBSTATUS_S_OK;
    }
    case DBTYPE_WSTR: {
        size_t n = hasLength ? givenLength / sizeof(wchar_t)
                             : BoundedWcslen(value, (b.wType & DBTYPE_BYREF)
                                                        ? SIZE_MAX
                                                        : b.cbMaxLen / sizeof(wchar_t));
        // SetWide copies bytes, so an unaligned text is fine here.
        set.SetWide(col, static_cast<const wchar_t*>(value), n);
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BSTR: {
        BSTR text = LoadAt<BSTR>(value);
        if (text == nullptr)
            set.SetWide(col, L"", 0);
        else
            set.SetWide(col, text, SysStringLen(text));
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BYTES:
        set.SetBytes(col, value, hasLength ? givenLength : b.cbMaxLen);
        return DBSTATUS_S_OK;
    case DBTYPE_VARIANT: {
        const VARIANT v = LoadAt<VARIANT>(value); // a shallow copy, only read
        switch (v.vt) {
        case VT_EMPTY:
        case VT_NULL:
            set.SetNull(col);
            return DBSTATUS_S_OK;
        case VT_I2:
            set.SetI8(col, v.iVal);
            return DBSTATUS_S_OK;
        case VT_I4:
            set.SetI8(col, v.lVal);
            return DBSTATUS_S_OK;
        case VT_I8:
            set.SetI8(col, v.llVal);
            return DBSTATUS_S_OK;
        case VT_R8:
            set.SetR8(col, v.dblVal);
            return DBSTATUS_S_OK;
        case VT_BOOL:
            set.SetBool(col, v.boolVal != VARIANT_FALSE);
            return DBSTATUS_S_OK;
        case VT_BSTR:
            set.SetWide(col, v.bstrVal ? v.bstrVal : L"", v.bstrVal ? SysStringLen(v.bstrVal) : 0);
            return DBSTATUS_S_OK;
        default:
            return ConvertInto(DBTYPE_VARIANT, value, sizeof(VARIANT), DBTYPE_WSTR, set, col);
        }
    }
    case DBTYPE_IUNKNOWN: {
        // A stream handed in as the value: the backend reads it in pieces
        // while the statement executes.
        auto* unknown = LoadAt<IUnknown*>(value);
        if (unknown == nullptr) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
        ComPtr<ISequentialStream> stream;
        if (FAILED(unknown->QueryInterface(IID_ISequentialStream,
                                           reinterpret_cast<void**>(stream.Out()))))
            return DBSTATUS_E_CANTCONVERTVALUE;
        set.SetSource(col, std::make_shared<StreamSource>(std::move(stream)));
        return DBSTATUS_S_OK;
    }
    default:
        return ConvertInto(type, value, hasLength ? givenLength : b.cbMaxLen, DBTYPE_WSTR, set,
                           col);
    }
}

DBSTATUS WriteBoundValue(const DBBINDING& b, const backend::RowBuffer& buffer, BYTE* data) {
    const bool wantValue = (b.dwPart & DBPART_VALUE) != 0;
    BYTE* value = data + b.obValue;
    DBLENGTH length = 0;
    DBSTATUS status = DBSTATUS_S_OK;
    const backend::Cell& cell = buffer[b.iOrdinal - 1];
    if (cell.type == DBTYPE_NULL) {
        status = DBSTATUS_S_ISNULL;
    } else if (cell.type == b.wType && cell.type == DBTYPE_WSTR) {
        length = cell.length;
        if (wantValue) {
            const size_t room = b.cbMaxLen / sizeof(wchar_t);
            if (room == 0) {
                status = DBSTATUS_S_TRUNCATED;
            } else {
                size_t chars = std::min<size_t>(cell.length / sizeof(wchar_t), room - 1);
                if (chars != 0)
                    std::memcpy(value, buffer.Data(cell), chars * sizeof(wchar_t));
                const wchar_t terminator = L'\0';
                std::memcpy(value + chars * sizeof(wchar_t), &terminator, sizeof terminator);
                if (chars * sizeof(wchar_t) < cell.length)
                    status = DBSTATUS_S_TRUNCATED;
            }
        }
    } else if (cell.type == b.wType && cell.type == DBTYPE_BYTES) {
        length = cell.length;
        if (wantValue) {
            size_t bytes = std::min<size_t>(cell.length, b.cbMaxLen);
            if (bytes != 0)
                std::memcpy(value, buffer.Data(cell), bytes);
            if (bytes < cell.length)
                status = DBSTATUS_S_TRUNCATED;
        }
    } else if (cell.type == b.wType && cell.type != DBTYPE_BOOL) {
        // The same fixed-size type: a plain copy (of a known size for the
        // common ones, which the compiler turns into a move or two).
        length = cell.length;
        if (wantValue) {
            if (cell.length == 8)
                std::memcpy(value, &cell.v, 8);
            else if (cell.length == 16)
                std::memcpy(value, &cell.v, 16);
            else
                std::memcpy(value, &cell.v, cell.length);
        }
    } else if (b.wType == DBTYPE_I4 && cell.type == DBTYPE_I8 && cell.v.i8 >= INT32_MIN &&
               cell.v.i8 <= INT32_MAX) {
        length = sizeof(LONG);
        if (wantValue) {
            LONG v = static_cast<LONG>(cell.v.i8);
            std::memcpy(value, &v, sizeof v);
        }
    } else {
        const void* src = cell.type == DBTYPE_WSTR || cell.type == DBTYPE_BYTES
                              ? static_cast<const void*>(buffer.Data(cell))
                              : static_cast<const void*>(&cell.v);
        VARIANT_BOOL flag;
        if (cell.type == DBTYPE_BOOL) {
            flag = cell.v.i8 != 0 ? VARIANT_TRUE : VARIANT_FALSE;
            src = &flag;
        }
        // Without a value part the engine reports length and status only.
        HRESULT hr = HdbDataConvert(cell.type, b.wType, cell.length, &length, src,
                                    wantValue ? value : nullptr, wantValue ? b.cbMaxLen : 0,
                                    DBSTATUS_S_OK, &status, b.bPrecision, b.bScale, 0);
        if (hr == DB_E_UNSUPPORTEDCONVERSION)
            status = DBSTATUS_E_CANTCONVERTVALUE;
    }
    if (b.dwPart & DBPART_LENGTH)
        std::memcpy(data + b.obLength, &length, sizeof length);
    if (b.dwPart & DBPART_STATUS)
        std::memcpy(data + b.obStatus, &status, sizeof status);
    return status;
}

} // namespace hdb::core
