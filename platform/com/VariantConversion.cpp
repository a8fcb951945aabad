// VariantChangeType: conversions between the numeric types, VT_BOOL and
// VT_BSTR.
//
// Every numeric source is first read into a Number (a signed, unsigned or
// real value), and every numeric target is produced from one, so each pair of
// types shares one range check and one rounding rule.
#include "VariantTypes.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <cwctype>
#include <limits>
#include <string>

namespace {

constexpr double DateMin = -657434.0; // 100-01-01
constexpr double DateMax = 2958465.0; // 9999-12-31
constexpr LONGLONG CurrencyScale = 10000;

struct Number {
    enum class Kind { Signed, Unsigned, Real } kind = Kind::Signed;
    LONGLONG signedValue = 0;
    ULONGLONG unsignedValue = 0;
    double realValue = 0.0;
    // A VT_BOOL: its -1 turns into the all-ones pattern of an unsigned target
    // instead of overflowing, as Windows does.
    bool fromBool = false;
    // Significant digits of a real's text: 7 for VT_R4, 15 otherwise.
    int digits = 15;
    // A VT_CY keeps its exact scaled value for its text.
    bool isCurrency = false;

    static Number Signed(LONGLONG v) { return {Kind::Signed, v, 0, 0.0}; }
    static Number Unsigned(ULONGLONG v) { return {Kind::Unsigned, 0, v, 0.0}; }
    static Number Real(double v, int digits = 15) {
        Number n{Kind::Real, 0, 0, v};
        n.digits = digits;
        return n;
    }
    bool IsZero() const {
        switch (kind) {
        case Kind::Signed:
            return signedValue == 0;
        case Kind::Unsigned:
            return unsignedValue == 0;
        default:
            return realValue == 0.0;
        }
    }
    double AsDouble() const {
        switch (kind) {
        case Kind::Signed:
            return static_cast<double>(signedValue);
        case Kind::Unsigned:
            return static_cast<double>(unsignedValue);
        default:
            return realValue;
        }
    }
};

// ---------------------------------------------------------------- text in

std::wstring Trimmed(const OLECHAR* text, UINT length) {
    std::wstring s(text == nullptr ? L"" : text, text == nullptr ? 0 : length);
    auto first = s.find_first_not_of(L" \t\r\n");
    if (first == std::wstring::npos)
        return {};
    auto last = s.find_last_not_of(L" \t\r\n");
    return s.substr(first, last - first + 1);
}

// The narrow form of a decimal number ([sign] digits [. digits] [e [sign]
// digits]); empty when text is anything else. isInteger tells whether it has
// neither point nor exponent.
std::string DecimalText(const std::wstring& text, bool& isInteger) {
    std::string out;
    std::size_t i = 0;
    auto digitsFrom = [&](std::size_t& at) {
        std::size_t start = at;
        while (at < text.size() && text[at] >= L'0' && text[at] <= L'9')
            out.push_back(static_cast<char>(text[at++]));
        return at - start;
    };
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) {
        if (text[i] == L'-')
            out.push_back('-');
        ++i;
    }
    std::size_t mantissaDigits = digitsFrom(i);
    isInteger = true;
    if (i < text.size() && text[i] == L'.') {
        isInteger = false;
        out.push_back('.');
        ++i;
        mantissaDigits += digitsFrom(i);
    }
    if (mantissaDigits == 0)
        return {};
    if (i < text.size() && (text[i] == L'e' || text[i] == L'E')) {
        isInteger = false;
        out.push_back('e');
        ++i;
        if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
            out.push_back(static_cast<char>(text[i++]));
        if (digitsFrom(i) == 0)
            return {};
    }
    return i == text.size() ? out : std::string{};
}

HRESULT NumberFromText(BSTR bstr, Number& number) {
    bool isInteger = false;
    std::string text = DecimalText(Trimmed(bstr, SysStringLen(bstr)), isInteger);
    if (text.empty())
        return DISP_E_TYPEMISMATCH;
    const char* first = text.data();
    const char* last = text.data() + text.size();
    if (isInteger) {
        LONGLONG s = 0;
        if (std::from_chars(first, last, s).ec == std::errc{}) {
            number = Number::Signed(s);
            return S_OK;
        }
        ULONGLONG u = 0;
        if (text[0] != '-' && std::from_chars(first, last, u).ec == std::errc{}) {
            number = Number::Unsigned(u);
            return S_OK;
        }
    }
    double r = 0.0;
    auto [end, ec] = std::from_chars(first, last, r);
    if (ec == std::errc::result_out_of_range) {
        // Too small to represent is zero; too large overflows every target.
        bool tiny = text.find("e-") != std::string::npos;
        if (!tiny)
            return DISP_E_OVERFLOW;
        r = 0.0;
    } else if (ec != std::errc{} || end != last) {
        return DISP_E_TYPEMISMATCH;
    }
    number = Number::Real(r);
    return S_OK;
}

bool EqualsIgnoringCase(const std::wstring& text, const wchar_t* word) {
    std::size_t n = std::wcslen(word);
    if (text.size() != n)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        if (std::towlower(text[i]) != std::towlower(word[i]))
            return false;
    return true;
}

// The integer types of a VARIANT: calls use(field, isSigned) with the field
// of v that holds an integer of type vt; false (nothing called) for any
// other type.
template <class Variant, class Use> bool WithIntegerField(Variant& v, VARTYPE vt, Use use) {
    switch (vt) {
    case VT_I1:
        use(v.cVal, true);
        return true;
    case VT_UI1:
        use(v.bVal, false);
        return true;
    case VT_I2:
        use(v.iVal, true);
        return true;
    case VT_UI2:
        use(v.uiVal, false);
        return true;
    case VT_I4:
        use(v.lVal, true);
        return true;
    case VT_UI4:
        use(v.ulVal, false);
        return true;
    case VT_INT:
        use(v.intVal, true);
        return true;
    case VT_UINT:
        use(v.uintVal, false);
        return true;
    case VT_I8:
        use(v.llVal, true);
        return true;
    case VT_UI8:
        use(v.ullVal, false);
        return true;
    default:
        return false;
    }
}

// ---------------------------------------------------------------- sources

HRESULT NumberOf(const VARIANT& v, Number& n) {
    const auto integer = [&n](auto field, bool isSigned) {
        n = isSigned ? Number::Signed(static_cast<LONGLONG>(field))
                     : Number::Unsigned(static_cast<ULONGLONG>(field));
    };
    if (WithIntegerField(v, V_VT(&v), integer))
        return S_OK;
    switch (V_VT(&v)) {
    case VT_EMPTY:
        n = Number::Signed(0);
        return S_OK;
    case VT_R4:
        n = Number::Real(V_R4(&v), 7);
        return S_OK;
    case VT_R8:
        n = Number::Real(V_R8(&v));
        return S_OK;
    case VT_DATE:
        n = Number::Real(V_DATE(&v));
        return S_OK;
    case VT_CY:
        n = Number::Real(static_cast<double>(V_CY(&v).int64) / CurrencyScale);
        n.isCurrency = true;
        n.signedValue = V_CY(&v).int64;
        return S_OK;
    case VT_BOOL:
        n = Number::Signed(V_BOOL(&v));
        n.fromBool = true;
        return S_OK;
    case VT_BSTR:
        return NumberFromText(V_BSTR(&v), n);
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

// ---------------------------------------------------------------- targets

// An integer of the range [min, max] from n, reals rounded half to even.
template <class T> HRESULT ToInteger(const Number& n, T& out) {
    using Limits = std::numeric_limits<T>;
    switch (n.kind) {
    case Number::Kind::Signed:
        if constexpr (!Limits::is_signed) {
            if (n.fromBool) {
                out = static_cast<T>(n.signedValue);
                return S_OK;
            }
            if (n.signedValue < 0 || static_cast<ULONGLONG>(n.signedValue) > Limits::max())
                return DISP_E_OVERFLOW;
        } else if (n.signedValue < Limits::min() || n.signedValue > Limits::max()) {
            return DISP_E_OVERFLOW;
        }
        out = static_cast<T>(n.signedValue);
        return S_OK;
    case Number::Kind::Unsigned:
        if (n.unsignedValue > static_cast<ULONGLONG>(Limits::max()))
            return DISP_E_OVERFLOW;
        out = static_cast<T>(n.unsignedValue);
        return S_OK;
    default: {
        // The default floating-point rounding mode rounds half to even.
        double rounded = std::nearbyint(n.realValue);
        const double low = static_cast<double>(Limits::min());
        const double highExclusive = std::ldexp(1.0, Limits::digits);
        if (std::isnan(rounded) || rounded < low || rounded >= highExclusive)
            return DISP_E_OVERFLOW;
        out = static_cast<T>(rounded);
        return S_OK;
    }
    }
}

HRESULT ToCurrency(const Number& n, LONGLONG& out) {
    if (n.isCurrency) {
        out = n.signedValue;
        return S_OK;
    }
    switch (n.kind) {
    case Number::Kind::Signed:
        if (__builtin_mul_overflow(n.signedValue, CurrencyScale, &out))
            return DISP_E_OVERFLOW;
        return S_OK;
    case Number::Kind::Unsigned:
        if (n.unsignedValue > static_cast<ULONGLONG>(std::numeric_limits<LONGLONG>::max()) ||
            __builtin_mul_overflow(static_cast<LONGLONG>(n.unsignedValue), CurrencyScale, &out))
            return DISP_E_OVERFLOW;
        return S_OK;
    default: {
        double scaled = std::nearbyint(n.realValue * CurrencyScale);
        if (std::isnan(scaled) || scaled < -std::ldexp(1.0, 63) || scaled >= std::ldexp(1.0, 63))
            return DISP_E_OVERFLOW;
        out = static_cast<LONGLONG>(scaled);
        return S_OK;
    }
    }
}

HRESULT ToFloat(const Number& n, FLOAT& out) {
    double d = n.AsDouble();
    if (std::isfinite(d) && std::fabs(d) > FLT_MAX)
        return DISP_E_OVERFLOW;
    out = static_cast<FLOAT>(d);
    return S_OK;
}

HRESULT ToDate(const Number& n, DATE& out) {
    double d = n.AsDouble();
    if (!(d > DateMin - 1.0 && d < DateMax + 1.0))
        return DISP_E_OVERFLOW;
    out = d;
    return S_OK;
}

// ---------------------------------------------------------------- text out

std::wstring Widened(const char* first, const char* last) {
    return std::wstring(first, last);
}

std::wstring RealText(double value, int digits) {
    if (value == 0.0)
        return L"0"; // no "-0"
    char buffer[64];
    auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
    for (char* p = buffer; p != result.ptr; ++p)
        if (*p == 'e')
            *p = 'E';
    return Widened(buffer, result.ptr);
}

// The exact decimal of a scaled currency value, without trailing zeros.
std::wstring CurrencyText(LONGLONG scaled) {
    bool negative = scaled < 0;
    ULONGLONG magnitude = negative ? 0 - static_cast<ULONGLONG>(scaled) : scaled;
    std::wstring text = std::to_wstring(magnitude / CurrencyScale);
    ULONGLONG fraction = magnitude % CurrencyScale;
    if (fraction != 0) {
        std::wstring digits = std::to_wstring(fraction + CurrencyScale).substr(1);
        digits.erase(digits.find_last_not_of(L'0') + 1);
        text += L'.' + digits;
    }
    return negative ? L'-' + text : text;
}

HRESULT TextOf(const VARIANT& v, USHORT flags, std::wstring& text) {
    if (V_VT(&v) == VT_EMPTY) {
        text.clear();
        return S_OK;
    }
    if (V_VT(&v) == VT_BOOL && (flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL)) != 0) {
        text = V_BOOL(&v) != VARIANT_FALSE ? L"True" : L"False";
        return S_OK;
    }
    Number n;
    HRESULT hr = NumberOf(v, n);
    if (FAILED(hr))
        return hr;
    if (n.isCurrency)
        text = CurrencyText(n.signedValue);
    else if (n.kind == Number::Kind::Signed)
        text = std::to_wstring(n.signedValue);
    else if (n.kind == Number::Kind::Unsigned)
        text = std::to_wstring(n.unsignedValue);
    else
        text = RealText(n.realValue, n.digits);
    return S_OK;
}

// ---------------------------------------------------------------- dispatch

HRESULT ToBool(const VARIANT& v, VARIANT_BOOL& out) {
    if (V_VT(&v) == VT_BSTR) {
        std::wstring text = Trimmed(V_BSTR(&v), SysStringLen(V_BSTR(&v)));
        if (EqualsIgnoringCase(text, L"true")) {
            out = VARIANT_TRUE;
            return S_OK;
        }
        if (EqualsIgnoringCase(text, L"false")) {
            out = VARIANT_FALSE;
            return S_OK;
        }
    }
    Number n;
    HRESULT hr = NumberOf(v, n);
    if (SUCCEEDED(hr))
        out = n.IsZero() ? VARIANT_FALSE : VARIANT_TRUE;
    return hr;
}

template <class T> HRESULT SetInteger(const VARIANT& src, T& field) {
    Number n;
    HRESULT hr = NumberOf(src, n);
    return FAILED(hr) ? hr : ToInteger(n, field);
}

// dest holds nothing on entry; src is a value (no VT_BYREF) of another type.
HRESULT Convert(const VARIANT& src, VARIANT& dest, USHORT flags, VARTYPE vt) {
    if (V_VT(&src) == VT_NULL)
        return DISP_E_TYPEMISMATCH;
    Number n;
    HRESULT hr = S_OK;
    if (WithIntegerField(dest, vt, [&](auto& field, bool) { hr = SetInteger(src, field); })) {
        if (SUCCEEDED(hr))
            V_VT(&dest) = vt;
        return hr;
    }
    switch (vt) {
    case VT_R4:
        hr = NumberOf(src, n);
        if (SUCCEEDED(hr))
            hr = ToFloat(n, dest.fltVal);
        break;
    case VT_R8:
        hr = NumberOf(src, n);
        if (SUCCEEDED(hr))
            dest.dblVal = n.AsDouble();
        break;
    case VT_DATE:
        hr = NumberOf(src, n);
        if (SUCCEEDED(hr))
            hr = ToDate(n, dest.date);
        break;
    case VT_CY:
        hr = NumberOf(src, n);
        if (SUCCEEDED(hr))
            hr = ToCurrency(n, dest.cyVal.int64);
        break;
    case VT_BOOL:
        hr = ToBool(src, dest.boolVal);
        break;
    case VT_BSTR: {
        std::wstring text;
        hr = TextOf(src, flags, text);
        if (SUCCEEDED(hr)) {
            dest.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
            if (dest.bstrVal == nullptr)
                hr = E_OUTOFMEMORY;
        }
        break;
    }
    default:
        hr = DISP_E_TYPEMISMATCH;
        break;
    }
    if (SUCCEEDED(hr))
        V_VT(&dest) = vt;
    return hr;
}

} // namespace

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                          VARTYPE vt) {
    if (pvargDest == nullptr || pvarSrc == nullptr)
        return E_INVALIDARG;
    HRESULT hr = hdbcom::ValidateVariantType(vt);
    if (FAILED(hr))
        return hr;
    if ((vt & ~VT_TYPEMASK) != 0)
        return DISP_E_TYPEMISMATCH;

    // Work on a private copy, so that the destination keeps its value when the
    // conversion fails and may be the source itself.
    VARIANT source;
    hr = hdbcom::CopyDereferenced(&source, pvarSrc);
    if (FAILED(hr))
        return hr;
    VARIANT result;
    VariantInit(&result);
    if (V_VT(&source) == vt) {
        result = source;
        VariantInit(&source);
    } else if (vt == VT_EMPTY) {
        // Anything converts to nothing.
    } else if (vt == VT_NULL) {
        hr = V_VT(&source) == VT_EMPTY ? S_OK : DISP_E_TYPEMISMATCH;
        if (SUCCEEDED(hr))
            V_VT(&result) = VT_NULL;
    } else {
        hr = Convert(source, result, wFlags, vt);
    }
    VariantClear(&source);
    if (FAILED(hr))
        return hr;
    hr = VariantClear(pvargDest);
    if (FAILED(hr)) {
        VariantClear(&result);
        return hr;
    }
    *pvargDest = result;
    return S_OK;
}
