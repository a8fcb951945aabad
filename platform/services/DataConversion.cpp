// The conversion engine behind IDataConvert and HdbDataConvert: the entry
// points, VARIANTs in and out, and the one path every conversion takes.
//
// A conversion reads the source into a Value (a small tagged record that
// keeps text and bytes as views into the caller's memory) through the type
// table of ConversionTypes.cpp, then writes that Value as the destination
// type through the same table. Every pair of types thus shares one range
// check and one text form per destination; numbers, dates and text have
// their sources of their own (ConversionNumbers.cpp, ConversionDates.cpp,
// ConversionText.cpp). Plain copies of a fixed type skip the Value, since
// providers run them for nearly every cell.
//
// A VARIANT holding VT_NULL converts as a NULL (S_ISNULL); one holding
// VT_EMPTY converts as DBTYPE_EMPTY does: zero, empty text, the null GUID.
#include "hdbplatform/DataConversion.h"

#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"
#include "hdbplatform/WinApi.h"

#include "ConversionCore.h"

#include <cstring>
#include <cwchar>

namespace hdbconvert::engine {

namespace {

DBLENGTH FixedSize(DBTYPE type) {
    const TypeEntry* entry = FindType(type);
    return entry ? entry->size : 0;
}

// DBTYPE_EMPTY as the destination has it: zero, empty text, the null GUID,
// or day 0 of the automation calendar.
Value EmptyValueFor(DBTYPE dst) {
    Value v;
    switch (dst) {
    case DBTYPE_STR:
    case DBTYPE_WSTR:
    case DBTYPE_BSTR:
        v.kind = Value::Kind::Narrow;
        v.narrow = "";
        break;
    case DBTYPE_GUID:
        v.kind = Value::Kind::Guid;
        break;
    case DBTYPE_DATE:
    case DBTYPE_DBTIMESTAMP:
        v.kind = Value::Kind::OleDate;
        break;
    default:
        break; // the number zero
    }
    return v;
}

// Writes the source as a VARIANT of its natural type.
Result WriteVariant(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth) {
    Result res;
    res.length = sizeof(VARIANT);
    if (rq.measure)
        return res;
    VARIANT v;
    VariantInit(&v);
    if (src == DBTYPE_EMPTY) {
        Store(rq.pDst, v);
        return res;
    }
    const DBTYPE vt = FindType(src)->variantType;
    Request inner{vt, nullptr, 0, 0, 0, rq.flags, false};
    if (vt == DBTYPE_DECIMAL)
        inner.pDst = &v.decVal;
    else if (vt == DBTYPE_BSTR)
        inner.pDst = &v.bstrVal;
    else
        inner.pDst = &v.llVal;
    Result r = Convert(src, cbSrc, pSrc, inner, depth + 1);
    res.status = r.status;
    if (r.status != DBSTATUS_S_OK && r.status != DBSTATUS_S_TRUNCATED)
        return res;
    v.vt = vt; // after the DECIMAL, whose first field shares the type's place
    Store(rq.pDst, v);
    return res;
}

// The DBTYPE and data of what a VARIANT holds; false when it holds nothing a
// conversion reads. isNull for VT_EMPTY and VT_NULL.
bool UnpackVariant(const VARIANT& v, DBTYPE& type, const void*& data, bool& isNull) {
    isNull = false;
    VARTYPE vt = v.vt;
    const bool byref = (vt & VT_BYREF) != 0;
    vt &= static_cast<VARTYPE>(~VT_BYREF);
    if (byref && v.byref == nullptr)
        return false;
    switch (vt) {
    case VT_EMPTY:
        type = DBTYPE_EMPTY;
        data = &v;
        return true;
    case VT_NULL:
        isNull = true;
        return true;
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_BOOL:
    case VT_BSTR:
        type = vt;
        data = byref ? v.byref : static_cast<const void*>(&v.llVal);
        return true;
    case VT_INT:
        type = DBTYPE_I4;
        data = byref ? v.byref : static_cast<const void*>(&v.intVal);
        return true;
    case VT_UINT:
        type = DBTYPE_UI4;
        data = byref ? v.byref : static_cast<const void*>(&v.uintVal);
        return true;
    case VT_DECIMAL:
        type = DBTYPE_DECIMAL;
        data = byref ? v.byref : static_cast<const void*>(&v.decVal);
        return true;
    case VT_VARIANT:
        if (!byref)
            return false;
        type = DBTYPE_VARIANT;
        data = v.byref;
        return true;
    default:
        return false;
    }
}

// A VARIANT source: copied whole into a VARIANT, else what it holds
// converted.
Result ConvertVariant(const void* pSrc, const Request& rq, int depth) {
    if (depth > 4)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    const VARIANT var = Load<VARIANT>(pSrc);
    if (rq.dst == DBTYPE_VARIANT) {
        Result res;
        res.length = sizeof(VARIANT);
        if (rq.measure)
            return res;
        VARIANT copy;
        VariantInit(&copy);
        if (FAILED(VariantCopy(&copy, &var)))
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
        Store(rq.pDst, copy);
        return res;
    }
    DBTYPE type = DBTYPE_EMPTY;
    const void* data = nullptr;
    bool isNull = false;
    if (!UnpackVariant(var, type, data, isNull))
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    if (isNull)
        return Fail(DBSTATUS_S_ISNULL);
    if (!InMatrix(type, rq.dst))
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    // A value held inline is read from the local copy, which outlives the
    // call.
    return Convert(type, 0, data, rq, depth + 1);
}

// The integers that travel as their raw bytes, either way; false when the
// pair is not one of them.
bool ConvertRawInteger(const TypeEntry& source, const TypeEntry& target, DBLENGTH cbSrc,
                       const void* pSrc, const Request& rq, Result& res) {
    if (target.type == DBTYPE_BYTES && source.rawBytes) {
        res.length = source.size;
        if (rq.measure)
            return true;
        DBLENGTH keep = res.length <= rq.max ? res.length : rq.max;
        std::memcpy(rq.pDst, pSrc, keep);
        if (keep < res.length)
            res.status = DBSTATUS_S_TRUNCATED;
        return true;
    }
    if (source.type == DBTYPE_BYTES && target.rawBytes) {
        res.length = target.size;
        if (cbSrc != res.length)
            res = Fail(DBSTATUS_E_CANTCONVERTVALUE);
        else if (!rq.measure)
            std::memcpy(rq.pDst, pSrc, res.length);
        return true;
    }
    return false;
}

} // namespace

Result Convert(DBTYPE src, DBLENGTH cbSrc, const void* pSrc, const Request& rq, int depth) {
    if (src & DBTYPE_BYREF) {
        pSrc = Load<const void*>(pSrc);
        src &= static_cast<DBTYPE>(~DBTYPE_BYREF);
        if (!pSrc)
            return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    }
    if (src == DBTYPE_VARIANT)
        return ConvertVariant(pSrc, rq, depth);
    if (rq.dst == DBTYPE_VARIANT)
        return WriteVariant(src, cbSrc, pSrc, rq, depth);
    const TypeEntry* source = FindType(src);
    const TypeEntry* target = FindType(rq.dst);
    if (!source || !target)
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    if (src == DBTYPE_EMPTY)
        return WriteValue(EmptyValueFor(rq.dst), rq);
    // A plain copy of a fixed-size type.
    if (src == rq.dst && src != DBTYPE_BSTR && src != DBTYPE_NUMERIC && source->size != 0) {
        Result res;
        res.length = source->size;
        if (!rq.measure)
            std::memcpy(rq.pDst, pSrc, res.length);
        return res;
    }
    Result raw;
    if (ConvertRawInteger(*source, *target, cbSrc, pSrc, rq, raw))
        return raw;
    Value v;
    if (!source->read || !source->read(pSrc, cbSrc, rq.flags, v))
        return Fail(DBSTATUS_E_CANTCONVERTVALUE);
    return WriteValue(v, rq);
}

namespace {

HRESULT CheckTypes(DBTYPE src, DBTYPE dst) {
    auto known = [](DBTYPE t) {
        t &= static_cast<DBTYPE>(~(DBTYPE_BYREF | DBTYPE_ARRAY | DBTYPE_VECTOR));
        return t <= DBTYPE_UI8 || t == DBTYPE_GUID || t == DBTYPE_FILETIME ||
               (t >= DBTYPE_BYTES && t <= DBTYPE_VARNUMERIC);
    };
    return known(src) && known(dst) ? S_OK : DB_E_BADTYPE;
}

} // namespace

} // namespace hdbconvert::engine

using namespace hdbconvert::engine;

HRESULT HdbDataConvert(DBTYPE wSrcType, DBTYPE wDstType, DBLENGTH cbSrcLength,
                       DBLENGTH* pcbDstLength, const void* pSrc, void* pDst,
                       DBLENGTH cbDstMaxLength, DBSTATUS dbsSrcStatus, DBSTATUS* pdbsStatus,
                       BYTE bPrecision, BYTE bScale, DBDATACONVERT dwFlags) {
    // Both out-parameters are optional; a caller that only wants the value
    // may pass neither.
    DBSTATUS ignored;
    if (!pdbsStatus)
        pdbsStatus = &ignored;
    if (!InMatrix(wSrcType, wDstType)) {
        // The accessor asked for something no conversion serves; the length
        // is left alone.
        *pdbsStatus = DBSTATUS_E_BADACCESSOR;
        return DB_E_UNSUPPORTEDCONVERSION;
    }
    if (dbsSrcStatus == DBSTATUS_S_ISNULL) {
        *pdbsStatus = DBSTATUS_S_ISNULL;
        if (pcbDstLength)
            *pcbDstLength = 0;
        return S_OK;
    }
    if (dbsSrcStatus != DBSTATUS_S_OK) {
        *pdbsStatus = DBSTATUS_E_BADSTATUS;
        return DB_E_ERRORSOCCURRED;
    }
    const bool byrefDst = (wDstType & DBTYPE_BYREF) != 0;
    const DBTYPE dst = wDstType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    const bool variable = dst == DBTYPE_STR || dst == DBTYPE_WSTR || dst == DBTYPE_BYTES;
    if (!pSrc && (wSrcType & ~DBTYPE_BYREF) != DBTYPE_EMPTY) {
        *pdbsStatus = DBSTATUS_E_CANTCONVERTVALUE;
        return E_INVALIDARG;
    }
    // Without a buffer the caller asks for the length and status only.
    Request rq{dst, pDst, cbDstMaxLength, bPrecision, bScale, dwFlags, pDst == nullptr};
    Result res;
    if (byrefDst && pDst) {
        // The result in memory of its own size, handed over with the pointer.
        Request size = rq;
        size.measure = true;
        res = Convert(wSrcType, cbSrcLength, pSrc, size, 0);
        if (res.status == DBSTATUS_S_OK) {
            DBLENGTH bytes = res.length + (dst == DBTYPE_WSTR  ? sizeof(wchar_t)
                                           : dst == DBTYPE_STR ? 1
                                                               : 0);
            void* memory = CoTaskMemAlloc(bytes ? bytes : 1);
            if (!memory)
                return E_OUTOFMEMORY;
            rq.pDst = memory;
            rq.max = bytes;
            res = Convert(wSrcType, cbSrcLength, pSrc, rq, 0);
            if (res.status == DBSTATUS_S_OK || res.status == DBSTATUS_S_TRUNCATED)
                Store(pDst, memory);
            else
                CoTaskMemFree(memory);
        }
    } else {
        res = Convert(wSrcType, cbSrcLength, pSrc, rq, 0);
    }
    if (res.status == DBSTATUS_S_TRUNCATED && (dwFlags & DBDATACONVERT_SETDATABEHAVIOR))
        res.status = DBSTATUS_E_DATAOVERFLOW; // a stored value may not lose anything
    if (res.status == DBSTATUS_S_OK && (dwFlags & DBDATACONVERT_DSTISFIXEDLENGTH) && !byrefDst &&
        variable && pDst) {
        // Pad a fixed-length destination: blanks for text, zeros for bytes.
        if (dst == DBTYPE_BYTES) {
            std::memset(static_cast<BYTE*>(pDst) + res.length, 0, cbDstMaxLength - res.length);
            res.length = cbDstMaxLength;
        } else {
            size_t unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : 1;
            size_t have = res.length / unit, room = TextRoom(dst, cbDstMaxLength);
            for (size_t k = have; k < room; ++k) {
                if (dst == DBTYPE_WSTR)
                    static_cast<wchar_t*>(pDst)[k] = L' ';
                else
                    static_cast<char*>(pDst)[k] = ' ';
            }
            if (room > have) {
                if (dst == DBTYPE_WSTR)
                    static_cast<wchar_t*>(pDst)[room] = 0;
                else
                    static_cast<char*>(pDst)[room] = 0;
                res.length = room * unit;
            }
        }
    }
    *pdbsStatus = res.status;
    if (res.status == DBSTATUS_S_ISNULL) {
        if (pcbDstLength)
            *pcbDstLength = 0;
        return S_OK;
    }
    if (res.status != DBSTATUS_S_OK && res.status != DBSTATUS_S_TRUNCATED) {
        // Text that did not fit still tells how long it is.
        if (pcbDstLength && variable && res.length != 0)
            *pcbDstLength = res.length;
        return DB_E_ERRORSOCCURRED;
    }
    if (pcbDstLength)
        *pcbDstLength = res.length;
    return S_OK;
}

HRESULT HdbCanConvert(DBTYPE wSrcType, DBTYPE wDstType) {
    HRESULT hr = CheckTypes(wSrcType, wDstType);
    if (FAILED(hr))
        return hr;
    return InMatrix(wSrcType, wDstType) ? S_OK : S_FALSE;
}

HRESULT HdbGetConversionSize(DBTYPE wSrcType, DBTYPE wDstType, const DBLENGTH* pcbSrcLength,
                             DBLENGTH* pcbDstLength, const void* pSrc) {
    if (!pcbDstLength)
        return E_INVALIDARG;
    *pcbDstLength = 0;
    HRESULT hr = CheckTypes(wSrcType, wDstType);
    if (FAILED(hr))
        return hr;
    if (!InMatrix(wSrcType, wDstType))
        return DB_E_UNSUPPORTEDCONVERSION;
    const DBTYPE dst = wDstType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    const DBTYPE src = wSrcType & static_cast<DBTYPE>(~DBTYPE_BYREF);
    if (DBLENGTH fixed = FixedSize(dst); fixed != 0) {
        *pcbDstLength = fixed;
        return S_OK;
    }
    const DBLENGTH unit = dst == DBTYPE_WSTR ? sizeof(wchar_t) : dst == DBTYPE_STR ? 1 : 0;
    // Text without a given length runs to its terminator.
    const bool text = src == DBTYPE_STR || src == DBTYPE_WSTR;
    const DBDATACONVERT flags =
        pcbSrcLength || !text ? DBDATACONVERT_DEFAULT : DBDATACONVERT_LENGTHFROMNTS;
    if (pSrc) {
        Request rq{dst, nullptr, 0, 0, 0, flags, true};
        Result res = Convert(wSrcType, pcbSrcLength ? *pcbSrcLength : 0, pSrc, rq, 0);
        if (res.status == DBSTATUS_S_OK || res.status == DBSTATUS_S_ISNULL) {
            *pcbDstLength = res.length + unit;
            return S_OK;
        }
        // A value that does not convert: the size its type may need.
    }
    // Without a value: the longest text of the source type, or the bytes it
    // travels as.
    const TypeEntry& source = *FindType(src);
    DBLENGTH chars = 0;
    const bool known = source.longestText != NoLongestText;
    if (known)
        chars = dst == DBTYPE_BYTES ? source.size : source.longestText;
    if (!known) {
        // Text and bytes: as long as the source says, or its terminator.
        if (!text && src != DBTYPE_BYTES)
            return E_INVALIDARG; // BSTR and VARIANT sources need their value
        const void* data = pSrc && (wSrcType & DBTYPE_BYREF) ? Load<const void*>(pSrc) : pSrc;
        if (!pcbSrcLength && (!text || !data))
            return E_INVALIDARG;
        DBLENGTH n = pcbSrcLength ? *pcbSrcLength
                     : src == DBTYPE_STR
                         ? std::strlen(static_cast<const char*>(data))
                         : std::wcslen(static_cast<const wchar_t*>(data)) * sizeof(wchar_t);
        if (src == DBTYPE_WSTR)
            n /= sizeof(wchar_t);
        if (src == DBTYPE_BYTES)
            chars = dst == DBTYPE_BYTES ? n : 2 * n;
        else if (dst == DBTYPE_BYTES)
            chars = n / 2;
        else if (src == DBTYPE_WSTR && dst == DBTYPE_STR)
            chars = 4 * n; // the longest narrow form of a character
        else
            chars = n;
    }
    *pcbDstLength = unit ? (chars + 1) * unit : chars;
    return S_OK;
}
