// Values between a consumer's bound buffer and the backend's cells: a
// parameter value read in, a column or output parameter value written out
// (converting through the platform's engine where the types differ).
#include <algorithm>
#include <cwchar>

#include "Core.h"
#include "UnalignedAccess.h"
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

using hdbmem::Load;

// The cell type each fixed-size type of a consumer's value is kept as; the
// engine converts into it. Any other type goes as wide text.
struct CellForm {
    DBTYPE consumer;
    DBTYPE cell;
    size_t bytes; // of the cell type
};
constexpr CellForm kCellForms[] = {
    {DBTYPE_I1, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_I2, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_I4, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_I8, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_UI1, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_UI2, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_UI4, DBTYPE_I8, sizeof(LONGLONG)},
    {DBTYPE_UI8, DBTYPE_I8, sizeof(LONGLONG)}, // beyond INT64_MAX: as text
    {DBTYPE_BOOL, DBTYPE_BOOL, sizeof(VARIANT_BOOL)},
    {DBTYPE_R4, DBTYPE_R8, sizeof(double)},
    {DBTYPE_R8, DBTYPE_R8, sizeof(double)},
    {DBTYPE_CY, DBTYPE_R8, sizeof(double)},
    {DBTYPE_NUMERIC, DBTYPE_NUMERIC, sizeof(DB_NUMERIC)},
    {DBTYPE_DECIMAL, DBTYPE_NUMERIC, sizeof(DB_NUMERIC)},
    {DBTYPE_DBDATE, DBTYPE_DBDATE, sizeof(DBDATE)},
    {DBTYPE_DBTIME, DBTYPE_DBTIME, sizeof(DBTIME)},
    {DBTYPE_DBTIMESTAMP, DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP)},
    {DBTYPE_DATE, DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP)},
};

const CellForm* CellFormOf(DBTYPE type) {
    for (const CellForm& form : kCellForms)
        if (form.consumer == type)
            return &form;
    return nullptr;
}

// Converts a value of any type through the engine into a wide text cell.
DBSTATUS ConvertToWide(DBTYPE from, const void* src, DBLENGTH srcLength, backend::RowBuffer& set,
                       size_t col) {
    DBLENGTH needed = 0;
    if (FAILED(HdbGetConversionSize(from, DBTYPE_WSTR, &srcLength, &needed, src)))
        return DBSTATUS_E_CANTCONVERTVALUE;
    std::wstring text(needed / sizeof(wchar_t) + 1, L'\0');
    DBSTATUS status = DBSTATUS_S_OK;
    DBLENGTH length = 0;
    HdbDataConvert(from, DBTYPE_WSTR, srcLength, &length, src, text.data(),
                   text.size() * sizeof(wchar_t), DBSTATUS_S_OK, &status, 0, 0, 0);
    if (status == DBSTATUS_S_OK)
        set.SetWide(col, text.c_str(), length / sizeof(wchar_t));
    return status;
}

// Converts a value through the engine into the cell type its type is kept
// as (a copy when that is its own type).
DBSTATUS ConvertIntoCell(DBTYPE from, const void* src, DBLENGTH srcLength, backend::RowBuffer& set,
                         size_t col) {
    const CellForm* form = CellFormOf(from);
    if (form == nullptr)
        return ConvertToWide(from, src, srcLength, set, col);
    // Room for any fixed-size cell value, and for the engine's VARIANT_BOOL.
    decltype(backend::Cell::v) value{};
    DBSTATUS status = DBSTATUS_S_OK;
    if (from == form->cell) {
        std::memcpy(&value, src, form->bytes);
    } else {
        DBLENGTH length = 0;
        // Precision 0 keeps the source's own scale (a CY or DECIMAL fraction).
        HdbDataConvert(from, form->cell, srcLength, &length, src, &value, sizeof value,
                       DBSTATUS_S_OK, &status, 0, 0, 0);
    }
    if (status != DBSTATUS_S_OK)
        return from == DBTYPE_UI8 ? ConvertToWide(from, src, srcLength, set, col) : status;
    if (form->cell == DBTYPE_BOOL)
        set.SetBool(col, Load<VARIANT_BOOL>(&value) != VARIANT_FALSE);
    else
        set.SetFixedBytes(col, form->cell, &value, form->bytes);
    return DBSTATUS_S_OK;
}

// A VARIANT's value: its own type's cell where that is a fixed-size one
// held in the union, wide text otherwise.
DBSTATUS ReadVariant(const void* value, backend::RowBuffer& set, size_t col) {
    const VARIANT v = Load<VARIANT>(value); // a shallow copy, only read
    switch (v.vt) {
    case VT_EMPTY:
    case VT_NULL:
        set.SetNull(col);
        return DBSTATUS_S_OK;
    case VT_BSTR:
        set.SetWide(col, v.bstrVal ? v.bstrVal : L"", v.bstrVal ? SysStringLen(v.bstrVal) : 0);
        return DBSTATUS_S_OK;
    case VT_DECIMAL: // fills the whole VARIANT, not its union
        return ConvertToWide(DBTYPE_VARIANT, value, sizeof(VARIANT), set, col);
    default:
        // The fixed-size VARTYPEs share their codes with the DBTYPEs.
        if (CellFormOf(v.vt) != nullptr)
            return ConvertIntoCell(v.vt, &v.llVal, sizeof v.llVal, set, col);
        return ConvertToWide(DBTYPE_VARIANT, value, sizeof(VARIANT), set, col);
    }
}

} // namespace

// Reads one parameter value out of the consumer's buffer into a cell.
DBSTATUS ReadBoundValue(const DBBINDING& b, const BYTE* base, backend::RowBuffer& set, size_t col) {
    if (b.dwPart & DBPART_STATUS) {
        DBSTATUS given = Load<DBSTATUS>(base + b.obStatus);
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
        value = Load<const void*>(value);
        if (value == nullptr) {
            set.SetNull(col);
            return DBSTATUS_S_OK;
        }
    }
    const bool hasLength = (b.dwPart & DBPART_LENGTH) != 0;
    const DBLENGTH givenLength = hasLength ? Load<DBLENGTH>(base + b.obLength) : 0;
    // Only the forms whose length or storage must be read here; every other
    // type is a fixed-size one the engine converts.
    switch (type) {
    case DBTYPE_STR: {
        const auto* text = static_cast<const char*>(value);
        const size_t n =
            hasLength ? givenLength
                      : BoundedStrlen(text, (b.wType & DBTYPE_BYREF) ? SIZE_MAX : b.cbMaxLen);
        return ConvertToWide(DBTYPE_STR, text, n, set, col);
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
        BSTR text = Load<BSTR>(value);
        if (text == nullptr)
            set.SetWide(col, L"", 0);
        else
            set.SetWide(col, text, SysStringLen(text));
        return DBSTATUS_S_OK;
    }
    case DBTYPE_BYTES:
        set.SetBytes(col, value, hasLength ? givenLength : b.cbMaxLen);
        return DBSTATUS_S_OK;
    case DBTYPE_VARIANT:
        return ReadVariant(value, set, col);
    case DBTYPE_IUNKNOWN: {
        // A stream handed in as the value: the backend reads it in pieces
        // while the statement executes.
        auto* unknown = Load<IUnknown*>(value);
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
        return ConvertIntoCell(type, value, hasLength ? givenLength : b.cbMaxLen, set, col);
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
