// The data conversion engine of the platform library as plain functions.
//
// The conversion library (CLSID_OLEDB_CONVERSIONLIBRARY, IDataConvert) is a
// thin COM shell around these functions. Code inside the process, a provider
// filling the consumer's bindings above all, may call them directly and save
// the object and the virtual call per cell. Results, statuses and lengths are
// exactly those of the IDataConvert methods of the same name:
//
// - *pcbDstLength is the length of the whole result: for DBTYPE_STR and
//   DBTYPE_WSTR without the terminator (in bytes, so wide lengths are
//   characters * sizeof(wchar_t)), also when the value had to be truncated;
//   for the fixed-size types their size.
// - *pdbsStatus is DBSTATUS_S_OK, DBSTATUS_S_TRUNCATED, DBSTATUS_S_ISNULL
//   (when dbsSrcStatus is DBSTATUS_S_ISNULL, or a VARIANT source holds
//   VT_NULL; nothing is written to pDst) or one of
//   DBSTATUS_E_CANTCONVERTVALUE, DBSTATUS_E_DATAOVERFLOW,
//   DBSTATUS_E_SIGNMISMATCH. The result is S_OK for a success status,
//   DB_E_ERRORSOCCURRED for an error status, DB_E_UNSUPPORTEDCONVERSION (with
//   DBSTATUS_E_BADACCESSOR, the length left alone) when the pair of types is
//   not in the conversion table, E_INVALIDARG/E_OUTOFMEMORY as IDataConvert
//   answers them. pcbDstLength and pdbsStatus may be null.
// - A null pDst asks for the length and status only: nothing is written or
//   allocated, and text is not reported as truncated.
// - Text that does not fit a STR/WSTR destination is cut (S_TRUNCATED); for
//   numbers only digits after the decimal point may go, otherwise the status
//   is DBSTATUS_E_DATAOVERFLOW. Reals and scaled numbers lose fractional
//   digits towards zero when they become integers or take a smaller scale.
// - A DBTYPE_BSTR or DBTYPE_VARIANT destination receives newly allocated
//   memory that the caller owns; every other conversion writes into pDst only
//   and allocates nothing.
// - DBTYPE_BYREF combined with a variable-length source type means pSrc points
//   to a pointer to the data; with a destination type, the function allocates
//   the data with CoTaskMemAlloc and stores the pointer in *pDst.
//
// All functions are thread-safe and keep no state between calls.
#pragma once

#ifdef _WIN32
#error "hdbplatform/DataConversion.h is for Linux builds; use IDataConvert on Windows"
#endif

#include "hdbplatform/MsDaDc.h"
#include "hdbplatform/OleDb.h"

// Converts the value at pSrc of type wSrcType into pDst as wDstType; the
// arguments are those of IDataConvert::DataConvert. cbSrcLength matters for
// the variable-length source types (DBTYPE_STR, DBTYPE_WSTR, DBTYPE_BYTES) and
// is ignored for the fixed ones. bPrecision and bScale describe a
// DBTYPE_NUMERIC destination (bScale also a DBTYPE_DECIMAL one with
// DBDATACONVERT_DECIMALSCALE). pcbDstLength may be null.
HRESULT HdbDataConvert(DBTYPE wSrcType, DBTYPE wDstType, DBLENGTH cbSrcLength,
                       DBLENGTH* pcbDstLength, const void* pSrc, void* pDst,
                       DBLENGTH cbDstMaxLength, DBSTATUS dbsSrcStatus, DBSTATUS* pdbsStatus,
                       BYTE bPrecision, BYTE bScale, DBDATACONVERT dwFlags);

// S_OK when wSrcType converts to wDstType, S_FALSE when it does not,
// DB_E_BADTYPE for a type code that is not a DBTYPE at all.
HRESULT HdbCanConvert(DBTYPE wSrcType, DBTYPE wDstType);

// The destination size the conversion needs: the fixed size for fixed-size
// destinations; for DBTYPE_STR/DBTYPE_WSTR/DBTYPE_BYTES the length of the
// converted value at pSrc including a terminator where there is one (or the
// longest text form of the source type when pSrc is null). For variable-length
// sources *pcbSrcLength gives the source length. DB_E_UNSUPPORTEDCONVERSION
// for a pair outside the matrix.
HRESULT HdbGetConversionSize(DBTYPE wSrcType, DBTYPE wDstType, const DBLENGTH* pcbSrcLength,
                             DBLENGTH* pcbDstLength, const void* pSrc);
