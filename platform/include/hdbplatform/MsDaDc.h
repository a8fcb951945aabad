// The data conversion library for Linux builds: IDataConvert converts one
// value between any two DBTYPEs of the OLE DB conversion matrix. Providers use
// it to fill consumer bindings; consumers may use it directly.
#pragma once

#ifdef _WIN32
#error "hdbplatform/MsDaDc.h is for Linux builds; include hdbplatform/OleDbApi.h"
#endif

#include "hdbplatform/OleDb.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

inline constexpr CLSID CLSID_OLEDB_CONVERSIONLIBRARY = {
    0xc8b522d1, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

using DBDATACONVERT = DWORD;

enum DBDATACONVERTENUM {
    DBDATACONVERT_DEFAULT = 0,
    // Convert as IRowsetChange::SetData would (lengths of fixed types ignored).
    DBDATACONVERT_SETDATABEHAVIOR = 0x1,
    // The source is a terminated string; its length comes from the terminator.
    DBDATACONVERT_LENGTHFROMNTS = 0x2,
    // The destination is fixed length: pad, never report a shorter length.
    DBDATACONVERT_DSTISFIXEDLENGTH = 0x4,
    // bScale applies to a DBTYPE_DECIMAL destination.
    DBDATACONVERT_DECIMALSCALE = 0x8,
};

inline constexpr IID IID_IDataConvert = {
    0x0c733a8d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDataConvert : public IUnknown {
    // Converts *pSrc (cbSrcLength bytes for variable-length sources) into
    // pDst of cbDstMaxLength bytes. *pcbDstLength receives the length of the
    // full result, *pdbsStatus DBSTATUS_S_OK, DBSTATUS_S_TRUNCATED,
    // DBSTATUS_S_ISNULL (when dbsSrcStatus is) or an error status; the result
    // is DB_E_ERRORSOCCURRED when the status is an error.
    virtual HRESULT STDMETHODCALLTYPE DataConvert(DBTYPE wSrcType, DBTYPE wDstType,
                                                  DBLENGTH cbSrcLength, DBLENGTH* pcbDstLength,
                                                  void* pSrc, void* pDst, DBLENGTH cbDstMaxLength,
                                                  DBSTATUS dbsSrcStatus, DBSTATUS* pdbsStatus,
                                                  BYTE bPrecision, BYTE bScale,
                                                  DBDATACONVERT dwFlags) = 0;
    // S_OK when the conversion is in the matrix, S_FALSE when it is not.
    virtual HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE wSrcType, DBTYPE wDstType) = 0;
    // The destination size a conversion needs (for variable-length results,
    // of the value at pSrc).
    virtual HRESULT STDMETHODCALLTYPE GetConversionSize(DBTYPE wSrcType, DBTYPE wDstType,
                                                        DBLENGTH* pcbSrcLength,
                                                        DBLENGTH* pcbDstLength, void* pSrc) = 0;
};

using DCINFOTYPE = DWORD;

enum DCINFOTYPEENUM {
    DCINFOTYPE_VERSION = 1,
};

struct DCINFO {
    DCINFOTYPE eInfoType;
    VARIANT vData;
};
static_assert(sizeof(DCINFO) == 32);

// Tells the conversion library which OLE DB version its caller expects
// (DCINFOTYPE_VERSION, VT_UI4, e.g. 0x0200).
inline constexpr IID IID_IDCInfo = {
    0x0c733a9c, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
struct IDCInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetInfo(ULONG cInfo, DCINFOTYPE rgeInfoType[],
                                              DCINFO** prgInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetInfo(ULONG cInfo, DCINFO rgInfo[]) = 0;
};

#pragma GCC diagnostic pop
