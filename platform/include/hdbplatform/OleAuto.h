// OLE automation types for Linux builds: BSTR, VARIANT, DECIMAL, dates.
// Layouts match 64-bit Windows (VARIANT is 24 bytes, DECIMAL 16).
#pragma once

#include "hdbplatform/Unknwn.h"

using VARIANT_BOOL = SHORT;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;
using VARTYPE = USHORT;
using DATE = double;

union CY {
    struct {
        ULONG Lo;
        LONG Hi;
    } s;
    LONGLONG int64;
};

struct DECIMAL {
    USHORT wReserved;
    union {
        struct {
            BYTE scale;
            BYTE sign;
        };
        USHORT signscale;
    };
    ULONG Hi32;
    union {
        struct {
            ULONG Lo32;
            ULONG Mid32;
        };
        ULONGLONG Lo64;
    };
};
static_assert(sizeof(DECIMAL) == 16);
inline constexpr BYTE DECIMAL_NEG = 0x80;

enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_FILETIME = 64,
    VT_BLOB = 65,
    VT_CLSID = 72,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_TYPEMASK = 0x0fff,
};

struct VARIANT {
    union {
        struct {
            VARTYPE vt;
            WORD wReserved1;
            WORD wReserved2;
            WORD wReserved3;
            union {
                LONGLONG llVal;
                LONG lVal;
                BYTE bVal;
                SHORT iVal;
                FLOAT fltVal;
                DOUBLE dblVal;
                VARIANT_BOOL boolVal;
                SCODE scode;
                CY cyVal;
                DATE date;
                BSTR bstrVal;
                IUnknown* punkVal;
                void* parray;
                BYTE* pbVal;
                SHORT* piVal;
                LONG* plVal;
                LONGLONG* pllVal;
                FLOAT* pfltVal;
                DOUBLE* pdblVal;
                VARIANT_BOOL* pboolVal;
                SCODE* pscode;
                CY* pcyVal;
                DATE* pdate;
                BSTR* pbstrVal;
                IUnknown** ppunkVal;
                VARIANT* pvarVal;
                void* byref;
                CHAR cVal;
                USHORT uiVal;
                ULONG ulVal;
                ULONGLONG ullVal;
                INT intVal;
                UINT uintVal;
                DECIMAL* pdecVal;
                CHAR* pcVal;
                USHORT* puiVal;
                ULONG* pulVal;
                ULONGLONG* pullVal;
                INT* pintVal;
                UINT* puintVal;
                struct {
                    void* pvRecord;
                    void* pRecInfo;
                } brecVal;
            };
        };
        DECIMAL decVal;
    };
};
static_assert(sizeof(VARIANT) == 24);
using VARIANTARG = VARIANT;
using LPVARIANT = VARIANT*;

#define V_VT(X) ((X)->vt)
#define V_ISBYREF(X) (V_VT(X) & VT_BYREF)
#define V_UI1(X) ((X)->bVal)
#define V_I2(X) ((X)->iVal)
#define V_UI2(X) ((X)->uiVal)
#define V_I4(X) ((X)->lVal)
#define V_UI4(X) ((X)->ulVal)
#define V_I8(X) ((X)->llVal)
#define V_UI8(X) ((X)->ullVal)
#define V_INT(X) ((X)->intVal)
#define V_UINT(X) ((X)->uintVal)
#define V_R4(X) ((X)->fltVal)
#define V_R8(X) ((X)->dblVal)
#define V_CY(X) ((X)->cyVal)
#define V_DATE(X) ((X)->date)
#define V_BSTR(X) ((X)->bstrVal)
#define V_BOOL(X) ((X)->boolVal)
#define V_ERROR(X) ((X)->scode)
#define V_UNKNOWN(X) ((X)->punkVal)
#define V_DECIMAL(X) ((X)->decVal)
#define V_I1(X) ((X)->cVal)
#define V_BYREF(X) ((X)->byref)
#define V_VARIANTREF(X) ((X)->pvarVal)

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

// BSTR: length-prefixed (a 32-bit byte count before the characters), always
// terminated, allocated by the runtime. Lengths count wchar_t (4 bytes here).
BSTR SysAllocString(const OLECHAR* psz);
BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
BSTR SysAllocStringByteLen(LPCSTR psz, UINT len);
INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz);
INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len);
void SysFreeString(BSTR bstrString);
UINT SysStringLen(BSTR pbstr);
UINT SysStringByteLen(BSTR bstr);

void VariantInit(VARIANTARG* pvarg);
HRESULT VariantClear(VARIANTARG* pvarg);
HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc);
// Flags of VariantChangeType. VARIANT_ALPHABOOL turns a VT_BOOL into "True" or
// "False" (VARIANT_LOCALBOOL gives the same English words here); without it a
// VT_BOOL becomes "-1" or "0". The other flags are accepted and ignored.
inline constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
inline constexpr USHORT VARIANT_ALPHABOOL = 0x02;
inline constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
inline constexpr USHORT VARIANT_CALENDAR_HIJRI = 0x08;
inline constexpr USHORT VARIANT_LOCALBOOL = 0x10;

// Converts between VT_EMPTY, the integer types, VT_R4, VT_R8, VT_CY, VT_BOOL,
// VT_DATE and VT_BSTR with the Windows results: values out of the target's
// range give DISP_E_OVERFLOW, text that is no number and pairs without a
// conversion give DISP_E_TYPEMISMATCH. Reals become integers rounded half to
// even. Text is read and written in the C locale (decimal point '.', no
// thousands separators). Differences from Windows: a VT_DATE converts as its
// day count, so its text is the number ("45000.5"), not a formatted date; and
// VT_DECIMAL converts to nothing but itself. pvargDest may equal pvarSrc.
HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                          VARTYPE vt);

// OLE automation dates: days since 1899-12-30; the fraction is the time of
// day, measured away from zero for dates before the epoch.
INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE* pvtime);
INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime);
