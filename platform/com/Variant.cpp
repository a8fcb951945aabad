// VARIANT life cycle: initialise, clear, copy.
//
// A VARIANT owns a BSTR (freed on clear, duplicated on copy) and one
// reference on an IUnknown or IDispatch pointer; everything held through
// VT_BYREF belongs to someone else and is copied as the pointer.
#include "VariantTypes.h"

#include <cstring>

namespace {

bool IsScalarType(VARTYPE base) {
    switch (base) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_I2:
    case VT_I4:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_ERROR:
    case VT_BOOL:
    case VT_UNKNOWN:
    case VT_DECIMAL:
    case VT_I1:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_I8:
    case VT_UI8:
    case VT_INT:
    case VT_UINT:
        return true;
    default:
        return false;
    }
}

// Bytes a VT_BYREF of base points at, 0 for types not held by value.
std::size_t ReferencedSize(VARTYPE base) {
    switch (base) {
    case VT_I1:
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
        return 8;
    case VT_BSTR:
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return sizeof(void*);
    default:
        return 0;
    }
}

// src is valid and not dest; dest holds nothing.
HRESULT CopyValue(VARIANT* dest, const VARIANT* src) {
    std::memcpy(static_cast<void*>(dest), src, sizeof(VARIANT));
    if (V_ISBYREF(src))
        return S_OK;
    switch (V_VT(src)) {
    case VT_BSTR:
        if (V_BSTR(src) != nullptr) {
            V_BSTR(dest) = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(V_BSTR(src)),
                                                 SysStringByteLen(V_BSTR(src)));
            if (V_BSTR(dest) == nullptr) {
                V_VT(dest) = VT_EMPTY;
                return E_OUTOFMEMORY;
            }
        }
        return S_OK;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        if (V_UNKNOWN(src) != nullptr)
            V_UNKNOWN(src)->AddRef();
        return S_OK;
    default:
        return S_OK;
    }
}

} // namespace

namespace hdbcom {

HRESULT ValidateVariantType(VARTYPE vt) {
    const VARTYPE base = vt & VT_TYPEMASK;
    const VARTYPE flags = vt & ~VT_TYPEMASK;
    if ((flags & ~(VT_BYREF | VT_ARRAY)) != 0)
        return DISP_E_BADVARTYPE;
    if (flags == VT_ARRAY)
        return DISP_E_BADVARTYPE;
    if (flags != 0 && (base == VT_EMPTY || base == VT_NULL))
        return DISP_E_BADVARTYPE;
    if (base == VT_VARIANT)
        return flags == VT_BYREF ? S_OK : DISP_E_BADVARTYPE;
    return IsScalarType(base) ? S_OK : DISP_E_BADVARTYPE;
}

HRESULT CopyDereferenced(VARIANT* dest, const VARIANT* src) {
    VariantInit(dest);
    HRESULT hr = ValidateVariantType(V_VT(src));
    if (FAILED(hr))
        return hr;
    if (!V_ISBYREF(src))
        return CopyValue(dest, src);
    const VARTYPE base = V_VT(src) & VT_TYPEMASK;
    if ((V_VT(src) & VT_ARRAY) != 0)
        return DISP_E_BADVARTYPE;
    if (V_BYREF(src) == nullptr)
        return E_INVALIDARG;
    if (base == VT_VARIANT) {
        // A reference to a VARIANT that is itself a reference goes no deeper.
        if (V_ISBYREF(V_VARIANTREF(src)))
            return E_INVALIDARG;
        return CopyDereferenced(dest, V_VARIANTREF(src));
    }
    VARIANT value;
    VariantInit(&value);
    if (base == VT_DECIMAL) {
        value.decVal = *src->pdecVal;
    } else {
        std::memcpy(&value.llVal, V_BYREF(src), ReferencedSize(base));
    }
    V_VT(&value) = base;
    return CopyValue(dest, &value);
}

} // namespace hdbcom

// Only the type is set, as Windows does; the value bytes stay as they were.
void VariantInit(VARIANTARG* pvarg) {
    if (pvarg != nullptr)
        V_VT(pvarg) = VT_EMPTY;
}

HRESULT VariantClear(VARIANTARG* pvarg) {
    if (pvarg == nullptr)
        return E_INVALIDARG;
    HRESULT hr = hdbcom::ValidateVariantType(V_VT(pvarg));
    if (FAILED(hr))
        return hr;
    if (!V_ISBYREF(pvarg)) {
        if (V_VT(pvarg) == VT_BSTR)
            SysFreeString(V_BSTR(pvarg));
        else if ((V_VT(pvarg) == VT_UNKNOWN || V_VT(pvarg) == VT_DISPATCH) &&
                 V_UNKNOWN(pvarg) != nullptr)
            V_UNKNOWN(pvarg)->Release();
    }
    V_VT(pvarg) = VT_EMPTY;
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
    if (pvargDest == nullptr || pvargSrc == nullptr)
        return E_INVALIDARG;
    HRESULT hr = hdbcom::ValidateVariantType(V_VT(pvargSrc));
    if (FAILED(hr))
        return hr;
    if (pvargDest == pvargSrc)
        return S_OK;
    hr = VariantClear(pvargDest);
    if (FAILED(hr))
        return hr;
    return CopyValue(pvargDest, pvargSrc);
}
