// What the sources of CRowSet share among themselves, and nobody else
// includes (it is not installed): reading and writing values of the row
// buffer, the texts NULL and unconvertible columns give, the result code of a
// type mismatch and the truncations of doubles the numeric reads share.
#pragma once

#include "haldendb/RowSet.h"
#include "UnalignedAccess.h"

#include <climits>
#include <cstring>

namespace hdbrowset {

// The result code of a getter asked for a type it cannot give.
inline constexpr HRESULT TypeMismatchResult = static_cast<HRESULT>(0xFFFFFFFF);

// What NULL text and unconvertible columns give; shared by all rowsets and
// never written.
inline char EmptyAnsi[1] = "";
inline wchar_t EmptyWide[1] = L"";

// A value of the row buffer: groups follow each other without padding, so
// values are read byte-wise.
using hdbmem::Load;
using hdbmem::Store;

// Truncation toward zero as the processor's conversion instruction does it:
// NaN and values outside the signed 64-bit range give the lowest value
// instead of undefined behaviour.
inline LONGLONG TruncateToInt64(double value) {
    if (value >= -0x1p63 && value < 0x1p63)
        return static_cast<LONGLONG>(value);
    return LLONG_MIN;
}

// Double to unsigned 64 bits: values from 2^63 up lose 2^63 before the
// signed conversion and get the top bit set, so 2^63 .. 2^64 convert
// exactly; anything below converts as signed (negatives in two's
// complement).
inline ULONGLONG TruncateToUInt64(double value) {
    if (value >= 0x1p63)
        return static_cast<ULONGLONG>(TruncateToInt64(value - 0x1p63)) | (ULONGLONG{1} << 63);
    return static_cast<ULONGLONG>(TruncateToInt64(value));
}

} // namespace hdbrowset

// The parameter list of the getters that take a column's helper, as their
// reports name it.
#define HDB_ROWSET_HELPER_ARGS                                                                     \
    L"(const unsigned __int64,const struct CRowSet::db_col_access_helper &)"
