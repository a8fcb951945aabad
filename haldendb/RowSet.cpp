#include "haldendb/RowSet.h"
#include "haldendb/MessageNumbers.h"

#include "hdbplatform/AtlException.h"

#ifdef _WIN32
// The class id of the conversion library.
#include <msdaguid.h>
#endif

#include <boost/multiprecision/cpp_int.hpp>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <ctime>

namespace {

using boost::multiprecision::cpp_int;

// Truncation toward zero as the processor's conversion instruction does it:
// NaN and values outside the signed 64-bit range give the lowest value
// instead of undefined behaviour.
LONGLONG TruncateToInt64(double value) {
    if (value >= -0x1p63 && value < 0x1p63)
        return static_cast<LONGLONG>(value);
    return LLONG_MIN;
}

// Double to unsigned 64 bits: values from 2^63 up lose 2^63 before the
// signed conversion and get the top bit set, so 2^63 .. 2^64 convert
// exactly; anything below converts as signed (negatives in two's
// complement).
ULONGLONG TruncateToUInt64(double value) {
    if (value >= 0x1p63)
        return static_cast<ULONGLONG>(TruncateToInt64(value - 0x1p63)) | (ULONGLONG{1} << 63);
    return static_cast<ULONGLONG>(TruncateToInt64(value));
}

// The magnitude bytes [0, count) of a little-endian number.
ULONGLONG LowBytes(const BYTE* bytes, int count) {
    ULONGLONG result = 0;
    for (int i = count - 1; i >= 0; --i)
        result = (result << 8) | bytes[i];
    return result;
}

// The nearest double to value × 2^exponent, ties to even, for a value
// below 2^1024 after scaling (the callers' values stay far from overflow and
// from the subnormal range).
double NearestDouble(const cpp_int& value, int exponent) {
    const std::size_t bits = value == 0 ? 0 : boost::multiprecision::msb(value) + 1;
    if (bits <= 53)
        return std::ldexp(static_cast<double>(static_cast<ULONGLONG>(value)), exponent);
    const unsigned shift = static_cast<unsigned>(bits - 53);
    cpp_int kept = value >> shift;
    const cpp_int dropped = value - (kept << shift);
    const cpp_int half = cpp_int(1) << (shift - 1);
    if (dropped > half || (dropped == half && bit_test(kept, 0)))
        ++kept;
    return std::ldexp(static_cast<double>(static_cast<ULONGLONG>(kept)),
                      exponent + static_cast<int>(shift));
}

// A finite, non-negative double as mantissa × 2^exponent, exactly.
void SplitDouble(double value, ULONGLONG& mantissa, int& exponent) {
    int binaryExponent = 0;
    const double fraction = std::frexp(value, &binaryExponent);
    mantissa = static_cast<ULONGLONG>(std::ldexp(fraction, 53));
    exponent = binaryExponent - 53;
}

// The smallest d >= 1 with 10^d > value: the count of decimal digits of a
// non-negative value, 1 for a negative one. The powers are exact here (every
// 64-bit sum has at most 19 digits), so the search always ends.
int DecimalDigits(LONGLONG value) {
    int digits = 1;
    if (value < 0)
        return digits;
    for (ULONGLONG power = 10; power <= static_cast<ULONGLONG>(value); power *= 10)
        ++digits;
    return digits;
}

// A DB_VARNUMERIC's value bytes continue past the declared one-byte array;
// read them through a plain pointer.
const BYTE* VarNumericBytes(const DB_VARNUMERIC* number) {
    return reinterpret_cast<const BYTE*>(number) + offsetof(DB_VARNUMERIC, val);
}

// The byte count of a DB_VARNUMERIC in integer arithmetic: the first
// `precision` bytes summed with decimal weights, then the sum's digits. The
// weights are the double powers truncated (from 10^19 on, the lowest 64-bit
// value) and the sum wraps.
int VarNumericByteCountInt(const DB_VARNUMERIC* number) {
    const BYTE* bytes = VarNumericBytes(number);
    ULONGLONG decimalSum = 0;
    for (int i = 0; i < number->precision; ++i)
        decimalSum += bytes[i] * static_cast<ULONGLONG>(TruncateToInt64(std::pow(10.0, i)));
    return DecimalDigits(static_cast<LONGLONG>(decimalSum));
}

// Nanoseconds to milliseconds as the first three digits of the fraction
// printed with at least nine digits: a ten-digit fraction (beyond one second)
// loses its last seven digits rather than six.
unsigned short FractionToMilliseconds(ULONG fraction) {
    return static_cast<unsigned short>(fraction >= 1000000000u ? fraction / 10000000u
                                                               : fraction / 1000000u);
}

SYSTEMTIME MakeSystemTime(int year, int month, int day, int hour, int minute, int second) {
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    return time;
}

// The automation date of the parts, invalid when they make no date.
COleDateTime OleDateTimeOf(SYSTEMTIME time) {
    DATE date = 0.0;
    if (!SystemTimeToVariantTime(&time, &date)) {
        COleDateTime invalid;
        invalid.SetStatus(COleDateTime::invalid);
        return invalid;
    }
    return COleDateTime(date);
}

// The local time of whole seconds since 1970-01-01 00:00 UTC.
COleDateTime LocalOleDateTimeOfSeconds(double value) {
    return COleDateTime(static_cast<__time64_t>(TruncateToInt64(value)));
}

} // namespace

// ------------------------------------------------------------------ numbers in

LONGLONG CRowSet::TransFormFromNumericInt(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0;
    // 56 bits: the value stays positive, and the sign can be applied plainly.
    const LONGLONG magnitude = static_cast<LONGLONG>(LowBytes(numeric->val, 7));
    const LONGLONG factor = TruncateToInt64(std::pow(10.0, -static_cast<int>(numeric->scale)));
    const LONGLONG value = magnitude * factor;
    return numeric->sign != 0 ? value : -value;
}

ULONGLONG CRowSet::TransFormFromNumericUnsignedInt(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0;
    if (numeric->sign == 0 || numeric->scale > 0)
        return TruncateToUInt64(TransFormFromNumeric(numeric));
    return LowBytes(numeric->val, 8);
}

double CRowSet::TransFormFromNumeric(const DB_NUMERIC* numeric) {
    if (numeric == nullptr)
        return 0.0;
    if (numeric->scale == 0)
        return static_cast<double>(TransFormFromNumericInt(numeric));
    cpp_int magnitude;
    for (int i = 15; i >= 0; --i)
        magnitude = (magnitude << 8) | numeric->val[i];
    // The factor is the double nearest 10^-scale, taken as the exact binary
    // number it is; the product is exact and rounded once.
    ULONGLONG mantissa = 0;
    int exponent = 0;
    SplitDouble(std::pow(10.0, -static_cast<int>(numeric->scale)), mantissa, exponent);
    const double value = NearestDouble(magnitude * mantissa, exponent);
    return numeric->sign != 0 ? value : -value;
}

double CRowSet::TransFormFromVarNumeric(const DB_VARNUMERIC* number) {
    if (number == nullptr)
        return 0.0;
    const BYTE* bytes = VarNumericBytes(number);
    double decimalSum = 0.0;
    for (int i = 0; i < number->precision; ++i)
        decimalSum += bytes[i] * std::pow(10.0, i);
    int byteCount = 1;
    while (!(std::pow(10.0, byteCount) > decimalSum))
        ++byteCount;
    // Beyond 127 bytes the powers of 256 overflow to infinity, as double
    // arithmetic has it.
    double value = 0.0;
    for (int i = 0; i < byteCount; ++i)
        value += bytes[i] * std::pow(256.0, i);
    value *= std::pow(10.0, -static_cast<int>(number->scale));
    return number->sign != 0 ? value : -value;
}

LONGLONG CRowSet::TransFormFromVarNumericInt(const DB_VARNUMERIC* number) {
    if (number == nullptr)
        return 0;
    const BYTE* bytes = VarNumericBytes(number);
    const int byteCount = VarNumericByteCountInt(number);
    // Unsigned arithmetic wraps as the signed two's complement sum would.
    ULONGLONG value = 0;
    for (int i = 0; i < byteCount; ++i)
        value += bytes[i] * static_cast<ULONGLONG>(TruncateToInt64(std::pow(256.0, i)));
    const BYTE scale = static_cast<BYTE>(number->scale);
    value *= static_cast<ULONGLONG>(TruncateToInt64(std::pow(10.0, -static_cast<int>(scale))));
    return static_cast<LONGLONG>(number->sign != 0 ? value : 0 - value);
}

ULONGLONG CRowSet::TransFormFromVarNumericUnsignedInt(const DB_VARNUMERIC* number) {
    if (number == nullptr)
        return 0;
    const BYTE* bytes = VarNumericBytes(number);
    const int byteCount = VarNumericByteCountInt(number);
    ULONGLONG value = 0;
    for (int i = 0; i < byteCount; ++i)
        value += bytes[i] * TruncateToUInt64(std::pow(256.0, i));
    const BYTE scale = static_cast<BYTE>(number->scale);
    value *= TruncateToUInt64(std::pow(10.0, -static_cast<int>(scale)));
    return number->sign != 0 ? value : 0 - value;
}

// ------------------------------------------------------------------ numbers out

void CRowSet::TransFormToNumeric(DB_NUMERIC* numeric, double value, BYTE scale, BYTE precision) {
    if (numeric == nullptr)
        return;
    std::memset(numeric, 0, sizeof(DB_NUMERIC));
    // A double carries no more decimals than its 17-digit text shows, so a
    // larger scale would only store the binary noise of the value. Exponent
    // characters count as decimals, which keeps small values' digits.
    wchar_t text[64] = {};
    swprintf_s(text, sizeof(text) / sizeof(text[0]), L"%.*g", 17, value);
    BYTE usedScale = scale;
    if (const wchar_t* point = std::wcschr(text, L'.'); point != nullptr) {
        const std::size_t decimals = std::wcslen(point + 1);
        usedScale = static_cast<BYTE>(std::min<std::size_t>(decimals, scale));
    }
    TransFormToNumericCommaHasChecked(numeric, value, usedScale, precision);
}

void CRowSet::TransFormToNumericCommaHasChecked(DB_NUMERIC* numeric, double value, BYTE scale,
                                                BYTE precision) {
    if (numeric == nullptr)
        return;
    numeric->precision = precision;
    numeric->scale = scale;
    numeric->sign = value > 0.0 ? 1 : 0;
    if (!std::isfinite(value)) {
        std::memset(numeric->val, 0xFF, sizeof(numeric->val));
        return;
    }
    // |value| × 10^scale, cut to an integer, exactly: the double is
    // mantissa × 2^exponent, so only the final shift can drop a fraction.
    ULONGLONG mantissa = 0;
    int exponent = 0;
    SplitDouble(std::fabs(value), mantissa, exponent);
    cpp_int rest = mantissa;
    if (scale != 0)
        rest *= boost::multiprecision::pow(cpp_int(10), scale);
    if (exponent >= 0)
        rest <<= exponent;
    else
        rest >>= -exponent;
    // Byte by byte from the top. A quotient that still fits 31 bits gives
    // its low eight bits (the part above is dropped); a larger one saturates
    // the byte and takes only the largest 32-bit count off the rest.
    const cpp_int saturation = cpp_int(1) << 31;
    for (int i = 15; i >= 0; --i) {
        const unsigned shift = static_cast<unsigned>(8 * i);
        const cpp_int quotient = rest >> shift;
        if (quotient < saturation) {
            numeric->val[i] = static_cast<BYTE>(static_cast<unsigned>(quotient & 0xFF));
            rest -= quotient << shift;
        } else {
            numeric->val[i] = 0xFF;
            rest -= cpp_int(INT_MAX) << shift;
        }
    }
}

// ------------------------------------------------------------------ dates in

CTime CRowSet::TransFormFromDate(const DBDATE* date) {
    if (date == nullptr)
        return CTime(0);
    if (date->year < 1970 || date->month < 1 || date->month > 12 || date->day < 1 || date->day > 31)
        AtlThrow(E_FAIL);
    std::tm parts{};
    parts.tm_year = date->year - 1900;
    parts.tm_mon = date->month - 1;
    parts.tm_mday = date->day;
    parts.tm_isdst = -1;
    const __time64_t time = _mktime64(&parts);
    if (time == -1)
        AtlThrow(E_INVALIDARG);
    return CTime(time);
}

CTime CRowSet::TransFormFromTime(const DBTIME* time) {
    if (time == nullptr)
        return CTime(0);
    // A time alone is placed on the first local day of the epoch.
    const CTime epoch(0);
    return CTime(epoch.GetYear(), epoch.GetMonth(), epoch.GetDay(), time->hour, time->minute,
                 std::min<int>(time->second, 59), -1);
}

CTime CRowSet::TransFormFromDateTime(const DBTIMESTAMP* timestamp, unsigned short* milliseconds) {
    if (timestamp == nullptr)
        return CTime(0);
    const CTime result(timestamp->year, timestamp->month, timestamp->day, timestamp->hour,
                       timestamp->minute, timestamp->second, -1);
    if (milliseconds != nullptr)
        *milliseconds = FractionToMilliseconds(timestamp->fraction);
    return result;
}

COleDateTime CRowSet::TransFormFromOleDate(const DBDATE* date) {
    if (date == nullptr)
        return COleDateTime();
    return OleDateTimeOf(MakeSystemTime(date->year, date->month, date->day, 0, 0, 0));
}

COleDateTime CRowSet::TransFormFromOleTime(const DBTIME* time) {
    if (time == nullptr)
        return COleDateTime();
    return OleDateTimeOf(MakeSystemTime(1899, 12, 30, time->hour, time->minute, time->second));
}

COleDateTime CRowSet::TransFormFromOleDateTime(const DBTIMESTAMP* timestamp,
                                               unsigned short* milliseconds) {
    if (timestamp == nullptr)
        return COleDateTime();
    if (milliseconds != nullptr)
        *milliseconds = FractionToMilliseconds(timestamp->fraction);
    return OleDateTimeOf(MakeSystemTime(timestamp->year, timestamp->month, timestamp->day,
                                        timestamp->hour, timestamp->minute, timestamp->second));
}

// ------------------------------------------------------------------ dates out

bool CRowSet::TransFormToDate(DBDATE* date, double value) {
    if (date == nullptr)
        return false;
    const COleDateTime local = LocalOleDateTimeOfSeconds(value);
    // The parts are -1 when the time cannot be broken down: 0xFFFF each.
    date->year = static_cast<SHORT>(local.GetYear());
    date->month = static_cast<USHORT>(local.GetMonth());
    date->day = static_cast<USHORT>(local.GetDay());
    return true;
}

bool CRowSet::TransFormToTime(DBTIME* time, double value) {
    if (time == nullptr)
        return false;
    const COleDateTime local = LocalOleDateTimeOfSeconds(value);
    time->hour = static_cast<USHORT>(local.GetHour());
    time->minute = static_cast<USHORT>(local.GetMinute());
    time->second = static_cast<USHORT>(local.GetSecond());
    return true;
}

bool CRowSet::TransFormToDateTime(DBTIMESTAMP* timestamp, double value) {
    if (timestamp == nullptr)
        return false;
    SYSTEMTIME parts{};
    if (VariantTimeToSystemTime(value, &parts)) {
        timestamp->year = static_cast<SHORT>(parts.wYear);
        timestamp->month = parts.wMonth;
        timestamp->day = parts.wDay;
        timestamp->hour = parts.wHour;
        timestamp->minute = parts.wMinute;
        timestamp->second = parts.wSecond;
    } else {
        timestamp->year = -1;
        timestamp->month = timestamp->day = 0xFFFF;
        timestamp->hour = timestamp->minute = timestamp->second = 0xFFFF;
    }
    timestamp->fraction = 0;
    return true;
}

// ================================================================== the rowset

namespace {

using namespace hdbmsg;

// The result code of a getter asked for a type it cannot give.
constexpr HRESULT TypeMismatchResult = static_cast<HRESULT>(0xFFFFFFFF);

// Zeroed bytes behind the columns of the row buffer: a value read wider than
// its binding (a UI2 read as four bytes) at the end of the row stays inside
// the allocation.
constexpr DBLENGTH RowDataSpareBytes = 8;

// Stream reads after the first go in steps of this many characters.
constexpr size_t StreamReadStep = 64001;

size_t LengthUpTo(const char* text, size_t most) {
    return strnlen(text, most);
}
size_t LengthUpTo(const wchar_t* text, size_t most) {
    return wcsnlen(text, most);
}

// Reads the rest of a stream whose first read filled `buffer`: grows it by
// one step at a time, keeping the text read so far, until a read comes back
// short. Out of memory: the text read so far is the answer.
template <class Char>
void ReadStreamRemainder(ISequentialStream* stream, std::unique_ptr<Char[]>& buffer,
                         size_t& bufferCapacity) {
    constexpr ULONG StepBytes = static_cast<ULONG>(StreamReadStep * sizeof(Char));
    try {
        for (;;) {
            const size_t previous = bufferCapacity;
            const size_t capacity = previous + StreamReadStep;
            std::unique_ptr<Char[]> grown(new Char[capacity]);
            const size_t kept = LengthUpTo(buffer.get(), previous - 1);
            std::copy_n(buffer.get(), kept, grown.get());
            grown[kept] = Char();
            buffer = std::move(grown);
            bufferCapacity = capacity;
            Char* at = buffer.get() + capacity - (StreamReadStep + 1);
            ULONG read = 0;
            stream->Read(at, StepBytes, &read);
            at[read / sizeof(Char)] = Char();
            if (read < StepBytes)
                break;
        }
    } catch (...) {
    }
}

// What NULL text and unconvertible columns give; shared by all rowsets and
// never written.
char g_EmptyAnsi[1] = "";
wchar_t g_EmptyWide[1] = L"";
// The text of the last date read with GetCurrColumnsChar, for the whole
// process.
char g_DateText[50] = "";

// A value of the row buffer: groups follow each other without padding, so
// values are read byte-wise.
template <class T> T Load(const BYTE* place) {
    T value;
    std::memcpy(&value, place, sizeof(T));
    return value;
}

template <class T> void Store(BYTE* place, const T& value) {
    std::memcpy(place, &value, sizeof(T));
}

// The unsigned decimal number at the start of a text: 0 when the text does
// not start with a digit or the number does not fit 64 bits.
template <class Char> ULONGLONG LeadingUnsignedNumber(const Char* text) {
    if (text == nullptr || text[0] < Char('0') || text[0] > Char('9'))
        return 0;
    ULONGLONG value = 0;
    for (; *text >= Char('0') && *text <= Char('9'); ++text) {
        const unsigned digit = static_cast<unsigned>(*text - Char('0'));
        if (value > (ULLONG_MAX - digit) / 10)
            return 0;
        value = value * 10 + digit;
    }
    return value;
}

#define HDB_ROWSET_HELPER_ARGS                                                                     \
    L"(const unsigned __int64,const struct CRowSet::db_col_access_helper &)"

} // namespace

// ------------------------------------------------------------------ lifecycle

CRowSet::CRowSet(const CBaseOLEDBClass& other) : CBaseOLEDBClass(other, other.GetUIEnabled()) {}

CRowSet::CRowSet(IRowset* rowset, const CBaseOLEDBClass& other)
    : CBaseOLEDBClass(other, other.GetUIEnabled()), m_pIRowset(rowset) {}

CRowSet::~CRowSet() {
    try {
        CRowSet::Release();
    } catch (...) {
        // A destructor must not throw; the report has been delivered already.
    }
}

bool CRowSet::BuildRowSet(bool withBookmark, ULONG longColumnLength) {
    // A rebuild starts a new walk with a new layout: what the last walk holds
    // goes back while its bindings still describe the row buffer, and buffer
    // and handle array are made anew at the next fetch.
    FreeRowStructures();
    // Accessor and bindings refer to the column descriptions: they go first.
    m_pAccessor.reset();
    m_pColumnBindings.reset();
    m_pColumnsInfo.reset();
    m_pColumnsInfo = std::make_unique<CColumnsInfo>(*this);
    if (!m_pColumnsInfo->CreateColumnInfos())
        return false;
    m_pColumnBindings = std::make_unique<CColumnBindings>(*this);
    if (!m_pColumnBindings->CreateBindings(withBookmark, m_bLongColumnsAsStreams, longColumnLength))
        return false;
    if (!BuildAccessor())
        return false;
    // Entries filled for an earlier result are kept.
    const size_t helpers = static_cast<size_t>(m_pColumnBindings->GetColumnCount()) + 1;
    if (m_ColAccessHelpers.size() < helpers)
        m_ColAccessHelpers.resize(helpers);
    return true;
}

bool CRowSet::BuildAccessor() {
    m_pAccessor.reset();
    m_pAccessor = std::make_unique<CAccessor>(*this);
    return m_pAccessor->BuildAccessor();
}

void CRowSet::FreeRowStructures() {
    ReleaseRowStreams();
    // Nothing to do about a failure here: the handles are gone either way.
    ReleaseFetchedRows();
    if (m_pRowData != nullptr) {
        FreeTaskMemory(m_pRowData);
        m_pRowData = nullptr;
    }
    if (m_pHRows != nullptr) {
        FreeTaskMemory(m_pHRows);
        m_pHRows = nullptr;
        m_nHRowsCapacity = 0;
    }
    m_StreamsHandedOut.clear();
    m_nRowsDelivered = 0;
}

bool CRowSet::Release() {
    FreeRowStructures();
    m_pAccessor.reset();
    m_pColumnBindings.reset();
    m_pColumnsInfo.reset();
    if (m_pIRowset != nullptr) {
        const ULONG remaining = m_pIRowset->Release();
        // The count left is judged like a result code, so that a broken
        // reference count still gets reported.
        if (remaining != 0 && CheckError(static_cast<HRESULT>(remaining), MsgCantReleaseRowset,
                                         HDB_SOURCE_POS(L"bool __cdecl CRowSet::Release(void)"),
                                         CBasicStringView<wchar_t>()))
            return false;
        m_pIRowset = nullptr;
    }
    if (m_pIDataConvert != nullptr) {
        m_pIDataConvert->Release();
        m_pIDataConvert = nullptr;
    }
    return true;
}

bool CRowSet::AllocDataMemory() {
    if (m_pRowData != nullptr)
        return true;
    if (!m_pColumnBindings)
        return false;
    const DBLENGTH size = m_pColumnBindings->GetColumnsSize() + RowDataSpareBytes;
    m_pRowData = static_cast<BYTE*>(AllocTaskMem(size));
    if (m_pRowData == nullptr)
        return false;
    std::memset(m_pRowData, 0, size);
    return true;
}

bool CRowSet::SetupRowStructures() {
    if (!m_pColumnBindings)
        return false;
    if (m_pHRows == nullptr) {
        m_pHRows = static_cast<HROW*>(AllocTaskMem(m_nFetchRowCount * sizeof(HROW)));
        m_nHRowsCapacity = m_pHRows != nullptr ? m_nFetchRowCount : 0;
    }
    if (!AllocDataMemory())
        return false;
    if (m_pHRows == nullptr)
        return false;
    return GetNextRowData() && m_nRowsObtained != 0;
}

bool CRowSet::GetNextRowData() {
    if (m_pIRowset == nullptr || m_pHRows == nullptr)
        return false;
    m_nCurrentRow = 0;
    m_nRowsObtained = 0;
    HROW* rows = m_pHRows;
    DBCOUNTITEM asked = std::min(m_nFetchRowCount, m_nHRowsCapacity);
    // Rows beyond the limit would only be fetched to be released unread.
    if (m_nMaxRowCount != NoRowLimit) {
        const ULONGLONG remaining =
            m_nMaxRowCount > m_nRowsDelivered ? m_nMaxRowCount - m_nRowsDelivered : 0;
        if (remaining == 0)
            return false;
        asked = static_cast<DBCOUNTITEM>(std::min<ULONGLONG>(asked, remaining));
    }
    const HRESULT hr = m_pIRowset->GetNextRows(DB_NULL_HCHAPTER, 0, static_cast<DBROWCOUNT>(asked),
                                               &m_nRowsObtained, &rows);
    // A short last batch comes with DB_S_ENDOFROWSET, which is no failure.
    if (hr != S_OK && CheckError(hr, MsgCantGetNextRows, m_pIRowset, IID_IRowset,
                                 HDB_SOURCE_POS(L"bool __cdecl CRowSet::GetNextRowData(void)"),
                                 CBasicStringView<wchar_t>()))
        return false;
    return m_nRowsObtained != 0;
}

bool CRowSet::FetchNext() {
    if (m_nRowsDelivered >= m_nMaxRowCount) {
        // The limit ends the result: the rows still held go back now, as
        // they would at the real end.
        const HRESULT hr = ReleaseFetchedRows();
        if (hr != S_OK)
            CheckError(hr, MsgCantReleaseRows, m_pIRowset, IID_IRowset,
                       HDB_SOURCE_POS(L"bool __cdecl CRowSet::FetchNext(void)"),
                       CBasicStringView<wchar_t>());
        return false;
    }
    if (!FetchNextRow())
        return false;
    ++m_nRowsDelivered;
    return true;
}

bool CRowSet::FetchNextRow() {
    if (m_pHRows != nullptr)
        ++m_nCurrentRow;
    else if (!SetupRowStructures())
        return false;
    if (m_pIRowset == nullptr)
        return false;
    if (m_nCurrentRow != m_nFetchRowCount && m_nCurrentRow != m_nRowsObtained)
        return ReadData();

    const HRESULT hr = ReleaseFetchedRows();
    if (hr != S_OK && CheckError(hr, MsgCantReleaseRows, m_pIRowset, IID_IRowset,
                                 HDB_SOURCE_POS(L"bool __cdecl CRowSet::FetchNext(void)"),
                                 CBasicStringView<wchar_t>()))
        return false;
    if (!GetNextRowData())
        return false;
    return ReadData();
}

HRESULT CRowSet::ReleaseFetchedRows() {
    const DBCOUNTITEM held = m_nRowsObtained;
    m_nRowsObtained = 0;
    m_nCurrentRow = 0;
    if (m_pIRowset == nullptr || m_pHRows == nullptr || held == 0)
        return S_OK;
    return m_pIRowset->ReleaseRows(held, m_pHRows, nullptr, nullptr, nullptr);
}

bool CRowSet::ReadData() {
    // Past the end of the batch (also once the result is done) there is no
    // row handle to read.
    if (m_pIRowset == nullptr || !m_pAccessor || m_pHRows == nullptr || m_pRowData == nullptr ||
        m_nCurrentRow >= m_nHRowsCapacity || m_nCurrentRow >= m_nRowsObtained)
        return false;
    ReleaseRowStreams();
    // The streams of the new row are all the rowset's until handed out.
    m_StreamsHandedOut.assign(
        m_pColumnBindings ? static_cast<size_t>(m_pColumnBindings->GetColumnCount()) : 0, false);
    const HRESULT hr = m_pIRowset->GetData(m_pHRows[m_nCurrentRow],
                                           static_cast<HACCESSOR>(*m_pAccessor), m_pRowData);
    // Also after a partial failure: streams delivered for the other columns
    // are given back all the same.
    m_bRowHoldsFetchedStreams = true;
    if (hr != S_OK && CheckError(hr, MsgCantGetData, m_pIRowset, IID_IRowset,
                                 HDB_SOURCE_POS(L"bool __cdecl CRowSet::ReadData(void)"),
                                 CBasicStringView<wchar_t>()))
        return false;
    return true;
}

void CRowSet::ReleaseRowStreams() {
    const bool holds = m_bRowHoldsFetchedStreams;
    m_bRowHoldsFetchedStreams = false;
    if (!holds || m_pRowData == nullptr || !m_pColumnBindings)
        return;
    const DBBINDING* bindings = *m_pColumnBindings;
    const DBORDINAL count = m_pColumnBindings->GetColumnCount();
    for (DBORDINAL i = 0; bindings != nullptr && i < count; ++i) {
        const DBBINDING& binding = bindings[i];
        // A stream handed out is the taker's to release.
        if (i < m_StreamsHandedOut.size() && m_StreamsHandedOut[static_cast<size_t>(i)])
            continue;
        if (binding.wType != DBTYPE_IUNKNOWN ||
            Load<DBSTATUS>(m_pRowData + binding.obStatus) != DBSTATUS_S_OK)
            continue;
        if (auto* stream = Load<IUnknown*>(m_pRowData + binding.obValue); stream != nullptr) {
            Store<IUnknown*>(m_pRowData + binding.obValue, nullptr);
            stream->Release();
        }
    }
}

bool CRowSet::MakeDataInRowNullptr(size_t ordinal) {
    const db_col_access_helper& helper = HelperOf(ordinal);
    const int status = StatusByte(helper);
    if (status == DBSTATUS_S_ISNULL)
        return false;
    if (!m_pColumnBindings || helper.boundType != DBTYPE_IUNKNOWN)
        return false;
    if (status == DBSTATUS_E_CANTCREATE || m_pRowData == nullptr)
        return false;
    std::memset(m_pRowData + helper.dataPosition, 0, helper.dataSize);
    return true;
}

// ------------------------------------------------------------------ columns

size_t CRowSet::GetColumnsOrdinal(const CBasicStringView<wchar_t>& name) {
    if (!m_pColumnsInfo)
        return 0;
    const size_t ordinal = static_cast<size_t>(m_pColumnsInfo->GetColumnsOrdinal(name));
    if (ordinal >= m_ColAccessHelpers.size())
        return ordinal;
    db_col_access_helper& helper = m_ColAccessHelpers[ordinal];
    if (helper.boundType != 0 || !m_pColumnBindings)
        return ordinal;
    const DBORDINAL index = m_pColumnBindings->GetColumnValue(ordinal);
    helper.bindingIndex = index;
    helper.boundType = m_pColumnBindings->GetFieldType(0, index);
    // The description is looked up with the binding index as its ordinal.
    helper.databaseType = m_pColumnBindings->GetDatabaseFieldType(0, index);
    helper.statusPosition = m_pColumnBindings->GetStatusPosition(0, index);
    helper.dataPosition = m_pColumnBindings->GetDataPosition(0, index);
    helper.dataSize = m_pColumnBindings->GetColumnsSize(0, index);
    return ordinal;
}

const CRowSet::db_col_access_helper& CRowSet::HelperOf(size_t ordinal) const {
    static const db_col_access_helper unfilled{};
    return ordinal < m_ColAccessHelpers.size() ? m_ColAccessHelpers[ordinal] : unfilled;
}

DBORDINAL CRowSet::GetColumnValue(DBORDINAL column) const {
    return m_pColumnBindings ? m_pColumnBindings->GetColumnValue(column) : 0;
}

DBORDINAL CRowSet::GetColumnCount() const {
    return m_pColumnsInfo ? m_pColumnsInfo->GetColumnCount() : 0;
}

CBasicStringView<wchar_t> CRowSet::GetColumnName(DBORDINAL ordinal) const {
    return m_pColumnsInfo ? m_pColumnsInfo->GetColumnName(ordinal) : CBasicStringView<wchar_t>();
}

DBTYPE CRowSet::GetColumnsDataType(size_t ordinal) const {
    if (ordinal < m_ColAccessHelpers.size() && m_ColAccessHelpers[ordinal].boundType != 0)
        return m_ColAccessHelpers[ordinal].databaseType;
    return m_pColumnsInfo ? m_pColumnsInfo->GetDataType(ordinal)
                          : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

DBTYPE CRowSet::GetFieldType(DBCOUNTITEM row, DBORDINAL index) const {
    return m_pColumnBindings ? m_pColumnBindings->GetFieldType(row, index)
                             : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

DBTYPE CRowSet::GetDatabaseFieldType(DBCOUNTITEM row, DBORDINAL ordinal) const {
    return m_pColumnBindings ? m_pColumnBindings->GetDatabaseFieldType(row, ordinal)
                             : static_cast<DBTYPE>(DBTYPE_EMPTY);
}

#define HDB_FORWARD_PREDICATE(name)                                                                \
    bool CRowSet::name(DBORDINAL column) const {                                                   \
        return m_pColumnBindings && m_pColumnBindings->name(column);                               \
    }
HDB_FORWARD_PREDICATE(IsBOOL)
HDB_FORWARD_PREDICATE(IsByte)
HDB_FORWARD_PREDICATE(IsUnsignedByte)
HDB_FORWARD_PREDICATE(IsInteger)
HDB_FORWARD_PREDICATE(IsUnsignedInteger)
HDB_FORWARD_PREDICATE(IsLong)
HDB_FORWARD_PREDICATE(IsUnsignedLong)
HDB_FORWARD_PREDICATE(IsInt64)
HDB_FORWARD_PREDICATE(IsUnsignedInt64)
HDB_FORWARD_PREDICATE(IsFloat)
HDB_FORWARD_PREDICATE(IsDouble)
HDB_FORWARD_PREDICATE(IsNumeric)
HDB_FORWARD_PREDICATE(IsVarNumeric)
HDB_FORWARD_PREDICATE(IsString)
HDB_FORWARD_PREDICATE(IsUnicodeString)
HDB_FORWARD_PREDICATE(IsDate)
HDB_FORWARD_PREDICATE(IsTime)
HDB_FORWARD_PREDICATE(IsTimeStamp)
HDB_FORWARD_PREDICATE(IsDateOrTime)
HDB_FORWARD_PREDICATE(IsStreamInterface)
HDB_FORWARD_PREDICATE(IsDatabaseTypeUnicodeString)
#undef HDB_FORWARD_PREDICATE

// ------------------------------------------------------------------ raw access

int CRowSet::StatusByte(const db_col_access_helper& helper) const {
    if (m_pRowData == nullptr || helper.statusPosition == 0)
        return -1;
    return m_pRowData[helper.statusPosition];
}

const BYTE* CRowSet::ValueOf(const db_col_access_helper& helper) const {
    if (m_pRowData == nullptr || !m_pColumnBindings)
        return nullptr;
    if (StatusByte(helper) == DBSTATUS_S_ISNULL)
        return nullptr;
    return m_pRowData + helper.dataPosition;
}

void* CRowSet::GetCurrColumnsData(size_t, const db_col_access_helper& helper) const {
    return const_cast<BYTE*>(ValueOf(helper));
}

DBSTATUS CRowSet::GetCurrColumnsStatus(size_t, const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    return status < 0 ? static_cast<DBSTATUS>(DBSTATUS_E_BADSTATUS) : static_cast<DBSTATUS>(status);
}

bool CRowSet::CurrColHasData(size_t, const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    return status < 0 || status != DBSTATUS_S_ISNULL;
}

bool CRowSet::CurrColHasDataTruncated(size_t, const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    return status < 0 || status != DBSTATUS_S_TRUNCATED;
}

bool CRowSet::CurrColHasInterfaceCreated(size_t, const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    return status < 0 || status != DBSTATUS_E_CANTCREATE;
}

bool CRowSet::CurrColHasStatus(size_t, DBSTATUS status, const db_col_access_helper& helper) const {
    const int current = StatusByte(helper);
    if (current < 0)
        return status != DBSTATUS_E_BADSTATUS;
    return static_cast<DBSTATUS>(current) != status;
}

DBLENGTH CRowSet::GetCurrColumnsLength(size_t ordinal, DBORDINAL bindingIndex) const {
    if (!m_pColumnBindings || ordinal > GetColumnCount())
        return 0;
    return m_pColumnBindings->GetColumnsSize(0, bindingIndex);
}

BYTE CRowSet::GetCurrColumnsPrecision(DBORDINAL column) const {
    if (!m_pColumnsInfo || column == 0 || column > m_pColumnsInfo->GetColumnCount())
        return 16;
    try {
        return (*m_pColumnsInfo)[column - 1].bPrecision;
    } catch (const CColumnsInfo::CColumnsInfoException&) {
        return 16;
    }
}

BYTE CRowSet::GetCurrColumnsScale(DBORDINAL column) const {
    if (!m_pColumnsInfo || column == 0 || column > m_pColumnsInfo->GetColumnCount())
        return 0;
    try {
        return (*m_pColumnsInfo)[column - 1].bScale;
    } catch (const CColumnsInfo::CColumnsInfoException&) {
        return 0;
    }
}

void CRowSet::ReportTypeMismatch(const LoggingSourcePos& position) {
    CheckError(TypeMismatchResult, MsgTypeMismatch, m_pIRowset, IID_IRowset, position,
               CBasicStringView<wchar_t>());
}

// ------------------------------------------------------------------ typed getters

double CRowSet::GetCurrColumnsLONG(size_t ordinal, const db_col_access_helper& helper) {
    const BYTE* value = ValueOf(helper);
    switch (helper.boundType) {
    case DBTYPE_I2:
        return value ? Load<SHORT>(value) : 0.0;
    case DBTYPE_I4:
        return value ? Load<LONG>(value) : 0.0;
    case DBTYPE_R4:
        return value ? Load<float>(value) : 0.0;
    case DBTYPE_R8:
        return value ? Load<double>(value) : 0.0;
    case DBTYPE_BOOL:
        return value && (value[0] & 1) != 0 ? 1.0 : 0.0;
    case DBTYPE_I1:
        return value ? static_cast<signed char>(value[0]) : 0.0;
    case DBTYPE_UI1:
        return value ? value[0] : 0.0;
    case DBTYPE_UI2:
    case DBTYPE_UI4:
        // Four bytes for both, which applications rely on: after a UI2 value
        // come the first bytes of the next column's status (zero while that
        // column holds a value) or, after the last column, the row buffer's
        // zeroed spare bytes.
        return value ? Load<ULONG>(value) : 0.0;
    case DBTYPE_I8:
    case DBTYPE_UI8:
        return value ? static_cast<double>(Load<LONGLONG>(value)) : 0.0;
    case DBTYPE_STR:
        return value ? std::strtod(reinterpret_cast<const char*>(value), nullptr) : 0.0;
    case DBTYPE_WSTR:
        return value ? std::wcstod(reinterpret_cast<const wchar_t*>(value), nullptr) : 0.0;
    case DBTYPE_NUMERIC: {
        if (!value)
            return 0.0;
        const DB_NUMERIC numeric = Load<DB_NUMERIC>(value);
        return TransFormFromNumeric(&numeric);
    }
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP:
        return static_cast<DATE>(GetCurrColumnsOleDateTime(ordinal, helper, nullptr));
    case DBTYPE_VARNUMERIC:
        return value ? TransFormFromVarNumeric(reinterpret_cast<const DB_VARNUMERIC*>(value)) : 0.0;
    default:
        ReportTypeMismatch(
            HDB_SOURCE_POS(L"double __cdecl CRowSet::GetCurrColumnsLONG" HDB_ROWSET_HELPER_ARGS));
        return 0.0;
    }
}

double CRowSet::GetCurrColumnsLONG(size_t ordinal) {
    return GetCurrColumnsLONG(ordinal, HelperOf(ordinal));
}

LONGLONG CRowSet::GetCurrColumnsInt64(size_t ordinal, const db_col_access_helper& helper) {
    const BYTE* value = ValueOf(helper);
    switch (helper.boundType) {
    case DBTYPE_I2:
        return value ? Load<SHORT>(value) : 0;
    case DBTYPE_I4:
        return value ? Load<LONG>(value) : 0;
    case DBTYPE_I1:
        return value ? static_cast<signed char>(value[0]) : 0;
    case DBTYPE_BOOL:
        return value ? (value[0] & 1) : 0;
    case DBTYPE_UI1:
        return value ? value[0] : 0;
    case DBTYPE_UI2:
    case DBTYPE_UI4:
        // Four bytes for both, as in GetCurrColumnsLONG.
        return value ? Load<ULONG>(value) : 0;
    case DBTYPE_I8:
    case DBTYPE_UI8:
        return value ? Load<LONGLONG>(value) : 0;
    case DBTYPE_STR:
        return value ? _atoi64(reinterpret_cast<const char*>(value)) : 0;
    case DBTYPE_WSTR:
        return value ? _wtoi64(reinterpret_cast<const wchar_t*>(value)) : 0;
    case DBTYPE_NUMERIC: {
        if (!value)
            return 0;
        const DB_NUMERIC numeric = Load<DB_NUMERIC>(value);
        return TransFormFromNumericInt(&numeric);
    }
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP:
        return TruncateToInt64(
            static_cast<DATE>(GetCurrColumnsOleDateTime(ordinal, helper, nullptr)));
    case DBTYPE_VARNUMERIC:
        // The unsigned read on purpose: it keeps the full 64 bits of large
        // positive values.
        return value ? static_cast<LONGLONG>(TransFormFromVarNumericUnsignedInt(
                           reinterpret_cast<const DB_VARNUMERIC*>(value)))
                     : 0;
    default:
        ReportTypeMismatch(
            HDB_SOURCE_POS(L"__int64 __cdecl CRowSet::GetCurrColumnsInt64" HDB_ROWSET_HELPER_ARGS));
        return 0;
    }
}

LONGLONG CRowSet::GetCurrColumnsInt64(size_t ordinal) {
    return GetCurrColumnsInt64(ordinal, HelperOf(ordinal));
}

ULONGLONG CRowSet::GetCurrColumnsDWORD64(size_t ordinal, const db_col_access_helper& helper) {
    const BYTE* value = ValueOf(helper);
    switch (helper.boundType) {
    case DBTYPE_I2:
    case DBTYPE_I4:
    case DBTYPE_BOOL:
    case DBTYPE_I1:
    case DBTYPE_UI1:
    case DBTYPE_UI2:
    case DBTYPE_UI4:
        return static_cast<ULONGLONG>(GetCurrColumnsInt64(ordinal, helper));
    case DBTYPE_I8:
        // Through a double: beyond 2^53 precision goes, negative values
        // arrive in two's complement.
        return value ? TruncateToUInt64(static_cast<double>(Load<LONGLONG>(value))) : 0;
    case DBTYPE_UI8:
        return value ? Load<ULONGLONG>(value) : 0;
    case DBTYPE_STR:
        return value ? LeadingUnsignedNumber(reinterpret_cast<const char*>(value)) : 0;
    case DBTYPE_WSTR:
        return value ? LeadingUnsignedNumber(reinterpret_cast<const wchar_t*>(value)) : 0;
    case DBTYPE_NUMERIC: {
        if (!value)
            return 0;
        const DB_NUMERIC numeric = Load<DB_NUMERIC>(value);
        return TransFormFromNumericUnsignedInt(&numeric);
    }
    case DBTYPE_VARNUMERIC:
        return value ? TransFormFromVarNumericUnsignedInt(
                           reinterpret_cast<const DB_VARNUMERIC*>(value))
                     : 0;
    default:
        ReportTypeMismatch(HDB_SOURCE_POS(
            L"unsigned __int64 __cdecl CRowSet::GetCurrColumnsDWORD64" HDB_ROWSET_HELPER_ARGS));
        return 0;
    }
}

ULONGLONG CRowSet::GetCurrColumnsDWORD64(size_t ordinal) {
    return GetCurrColumnsDWORD64(ordinal, HelperOf(ordinal));
}

char* CRowSet::GetCurrColumnsChar(size_t ordinal, const db_col_access_helper& helper) {
    switch (helper.boundType) {
    case DBTYPE_IUNKNOWN:
        return ReadAnsiFromSequentialStream(ordinal, helper);
    case DBTYPE_STR: {
        const BYTE* value = ValueOf(helper);
        return value ? reinterpret_cast<char*>(const_cast<BYTE*>(value)) : g_EmptyAnsi;
    }
    case DBTYPE_NUMERIC: {
        const double number = GetCurrColumnsLONG(ordinal, helper);
        if (!m_pAnsiReadBuffer)
            m_pAnsiReadBuffer.reset(new (std::nothrow) char[m_nAnsiReadCapacity]);
        if (!m_pAnsiReadBuffer)
            return g_EmptyAnsi;
        if (sprintf_s(m_pAnsiReadBuffer.get(), m_nAnsiReadCapacity, "%G", number) < 0)
            m_pAnsiReadBuffer[0] = '\0';
        return m_pAnsiReadBuffer.get();
    }
    case DBTYPE_DBDATE:
    case DBTYPE_DBTIME:
    case DBTYPE_DBTIMESTAMP: {
        unsigned short milliseconds = 0;
        const COleDateTime date = GetCurrColumnsOleDateTime(ordinal, helper, &milliseconds);
        const bool valid = date.GetStatus() == COleDateTime::valid;
        if (sprintf_s(g_DateText, sizeof(g_DateText), "%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d",
                      valid ? date.GetYear() : -1, valid ? date.GetMonth() : -1,
                      valid ? date.GetDay() : -1, valid ? date.GetHour() : -1,
                      valid ? date.GetMinute() : -1, valid ? date.GetSecond() : -1,
                      static_cast<int>(milliseconds)) < 0)
            g_DateText[0] = '\0';
        return g_DateText;
    }
    default:
        ReportTypeMismatch(
            HDB_SOURCE_POS(L"char *__cdecl CRowSet::GetCurrColumnsChar" HDB_ROWSET_HELPER_ARGS));
        return g_EmptyAnsi;
    }
}

char* CRowSet::GetCurrColumnsChar(size_t ordinal) {
    return GetCurrColumnsChar(ordinal, HelperOf(ordinal));
}

wchar_t* CRowSet::GetCurrColumnsWchar(size_t ordinal, const db_col_access_helper& helper) {
    if (helper.boundType == DBTYPE_WSTR) {
        const BYTE* value = ValueOf(helper);
        return value ? reinterpret_cast<wchar_t*>(const_cast<BYTE*>(value)) : g_EmptyWide;
    }
    if (helper.databaseType == DBTYPE_WSTR) {
        if (m_bLongColumnsAsStreams)
            return ReadUnicodeFromSequentialStream(ordinal, helper);
        // A long wide column bound as 8-bit text: handed out as it lies.
        const BYTE* value = ValueOf(helper);
        return value ? reinterpret_cast<wchar_t*>(const_cast<BYTE*>(value)) : g_EmptyWide;
    }
    ReportTypeMismatch(
        HDB_SOURCE_POS(L"wchar_t *__cdecl CRowSet::GetCurrColumnsWchar" HDB_ROWSET_HELPER_ARGS));
    return g_EmptyWide;
}

wchar_t* CRowSet::GetCurrColumnsWchar(size_t ordinal) {
    return GetCurrColumnsWchar(ordinal, HelperOf(ordinal));
}

wchar_t* CRowSet::GetCurrColumnsTchar(size_t ordinal, bool& mustFree) {
    const db_col_access_helper& helper = HelperOf(ordinal);
    if (helper.boundType == DBTYPE_WSTR) {
        mustFree = false;
        return GetCurrColumnsWchar(ordinal, helper);
    }
    const char* text = GetCurrColumnsChar(ordinal, helper);
    const int length = MultiByteToWideChar(CP_THREAD_ACP, 0, text, -1, nullptr, 0);
    wchar_t* wide = new wchar_t[length > 0 ? length : 1];
    if (length <= 0 || MultiByteToWideChar(CP_THREAD_ACP, 0, text, -1, wide, length) <= 0)
        wide[0] = L'\0';
    mustFree = true;
    return wide;
}

std::optional<unsigned char> CRowSet::GetCurrColumnsTinyInt(size_t,
                                                            const db_col_access_helper& helper) {
    if (helper.boundType == DBTYPE_UI1) {
        const BYTE* value = ValueOf(helper);
        if (!value)
            return std::nullopt;
        return value[0];
    }
    ReportTypeMismatch(HDB_SOURCE_POS(L"class std::optional<unsigned char> __cdecl "
                                      L"CRowSet::GetCurrColumnsTinyInt" HDB_ROWSET_HELPER_ARGS));
    return static_cast<unsigned char>(0);
}

std::optional<unsigned char> CRowSet::GetCurrColumnsTinyInt(size_t ordinal) {
    return GetCurrColumnsTinyInt(ordinal, HelperOf(ordinal));
}

COleDateTime CRowSet::GetCurrColumnsOleDateTime(size_t, const db_col_access_helper& helper,
                                                unsigned short* milliseconds) {
    if (milliseconds != nullptr)
        *milliseconds = 0;
    const BYTE* value = ValueOf(helper);
    switch (helper.boundType) {
    case DBTYPE_DBDATE: {
        if (!value)
            return TransFormFromOleDate(nullptr);
        const DBDATE date = Load<DBDATE>(value);
        return TransFormFromOleDate(&date);
    }
    case DBTYPE_DBTIME: {
        if (!value)
            return TransFormFromOleTime(nullptr);
        const DBTIME time = Load<DBTIME>(value);
        return TransFormFromOleTime(&time);
    }
    case DBTYPE_DBTIMESTAMP: {
        if (!value)
            return TransFormFromOleDateTime(nullptr, milliseconds);
        const DBTIMESTAMP timestamp = Load<DBTIMESTAMP>(value);
        return TransFormFromOleDateTime(&timestamp, milliseconds);
    }
    default:
        ReportTypeMismatch(HDB_SOURCE_POS(
            L"class ATL::COleDateTime __cdecl CRowSet::GetCurrColumnsOleDateTime(const unsigned "
            L"__int64,const struct CRowSet::db_col_access_helper &,unsigned short *)"));
        return COleDateTime();
    }
}

CTime CRowSet::GetCurrColumnsDateTime(size_t ordinal, unsigned short* milliseconds) {
    if (milliseconds != nullptr)
        *milliseconds = 0;
    const db_col_access_helper& helper = HelperOf(ordinal);
    const BYTE* value = ValueOf(helper);
    switch (helper.boundType) {
    case DBTYPE_DBDATE: {
        if (!value)
            return CTime(0);
        const DBDATE date = Load<DBDATE>(value);
        return TransFormFromDate(&date);
    }
    case DBTYPE_DBTIME: {
        if (!value)
            return TransFormFromTime(nullptr);
        const DBTIME time = Load<DBTIME>(value);
        return TransFormFromTime(&time);
    }
    case DBTYPE_DBTIMESTAMP: {
        if (!value)
            return CTime(0);
        const DBTIMESTAMP timestamp = Load<DBTIMESTAMP>(value);
        return TransFormFromDateTime(&timestamp, milliseconds);
    }
    default:
        ReportTypeMismatch(HDB_SOURCE_POS(L"class ATL::CTime __cdecl "
                                          L"CRowSet::GetCurrColumnsDateTime(const unsigned "
                                          L"__int64,unsigned short *)"));
        return CTime(0);
    }
}

DB_VERSIONNUMBER CRowSet::GetCurrColumnsDB_VERSIONNUMBER(size_t ordinal) {
    static const double factor = std::pow(10.0, 4);
    const double value = GetCurrColumnsLONG(ordinal);
    const double scaled = value * factor;
    return DB_VERSIONNUMBER(std::round(scaled) > scaled ? value + 0.0001 : value);
}

DB_ENUM_CHANGE CRowSet::GetCurrColumnsDB_ENUM_CHANGE(size_t ordinal) {
    const ULONGLONG value = static_cast<ULONGLONG>(GetCurrColumnsInt64(ordinal));
    return DB_ENUM_CHANGE(static_cast<LONG>(static_cast<ULONG>(value)));
}

// ------------------------------------------------------------------ writing

bool CRowSet::SetCurrColumnsData(DBORDINAL column, const void* source, ULONGLONG count) {
    const DBORDINAL columns = GetColumnCount();
    if (column <= columns && AllocDataMemory()) {
        const DBORDINAL index = GetColumnValue(column);
        const DBLENGTH rowSize = m_pColumnBindings->GetColumnsSize();
        const DBBYTEOFFSET position = m_pColumnBindings->GetDataPosition(0, index);
        // The size test is against the whole row, so a value may run on into
        // the groups that follow; never past the end of the buffer, though.
        if (index < m_pColumnBindings->GetColumnCount() && count < rowSize &&
            position + count <= rowSize) {
            if (count != 0)
                std::memcpy(m_pRowData + position, source, count);
            m_bRowHoldsFetchedStreams = false;
            return true;
        }
    }
    OutputError(MsgError, MsgDataTooBig,
                HDB_SOURCE_POS(L"bool __cdecl CRowSet::SetCurrColumnsData(const unsigned "
                               L"__int64,const void *,const unsigned __int64)"));
    return false;
}

void CRowSet::SetCurrColumnsLength(DBORDINAL column, ULONGLONG length) {
    if (column > GetColumnCount() || !AllocDataMemory())
        return;
    const DBORDINAL index = GetColumnValue(column);
    if (index >= m_pColumnBindings->GetColumnCount())
        return;
    Store<DBLENGTH>(m_pRowData + m_pColumnBindings->GetLengthPosition(0, index), length);
}

void CRowSet::SetCurrColumnsStatus(DBORDINAL column, DBSTATUS status) {
    if (column > GetColumnCount() || !AllocDataMemory())
        return;
    const DBORDINAL index = GetColumnValue(column);
    if (index >= m_pColumnBindings->GetColumnCount())
        return;
    m_bRowHoldsFetchedStreams = false;
    Store<DBSTATUS>(m_pRowData + m_pColumnBindings->GetStatusPosition(0, index), status);
}

// ------------------------------------------------------------------ streams

ISequentialStream* CRowSet::StreamInRow(const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    if (m_pRowData == nullptr || helper.boundType != DBTYPE_IUNKNOWN ||
        status == DBSTATUS_S_ISNULL || status == DBSTATUS_E_CANTCREATE)
        return nullptr;
    return Load<ISequentialStream*>(m_pRowData + helper.dataPosition);
}

void CRowSet::GiveBackStream(ISequentialStream* stream, const db_col_access_helper& helper) {
    if (m_pRowData != nullptr && helper.boundType == DBTYPE_IUNKNOWN)
        Store<ISequentialStream*>(m_pRowData + helper.dataPosition, nullptr);
    stream->Release();
}

ISequentialStream* CRowSet::GetCurrColumnsSequentialStream(size_t ordinal,
                                                           const db_col_access_helper& helper) {
    if (StatusByte(helper) == DBSTATUS_S_ISNULL)
        return nullptr;
    if (!IsStreamInterface(ordinal) || helper.boundType != DBTYPE_IUNKNOWN)
        return nullptr;
    if (ISequentialStream* stream = StreamInRow(helper); stream != nullptr) {
        if (helper.bindingIndex < m_StreamsHandedOut.size())
            m_StreamsHandedOut[static_cast<size_t>(helper.bindingIndex)] = true;
        return stream;
    }
    CheckError(TypeMismatchResult, MsgCantGetBlobInterface, m_pIRowset, IID_IRowset,
               HDB_SOURCE_POS(L"struct ISequentialStream *__cdecl "
                              L"CRowSet::GetCurrColumnsSequentialStream" HDB_ROWSET_HELPER_ARGS),
               CBasicStringView<wchar_t>());
    return nullptr;
}

ISequentialStream* CRowSet::GetCurrColumnsSequentialStream(size_t ordinal) {
    return GetCurrColumnsSequentialStream(ordinal, HelperOf(ordinal));
}

bool CRowSet::FreeSequentialStreamAllocator(size_t ordinal) {
    const db_col_access_helper& helper = HelperOf(ordinal);
    ISequentialStream* stream = StreamInRow(helper);
    if (stream == nullptr)
        return false;
    GiveBackStream(stream, helper);
    return true;
}

char* CRowSet::ReadAnsiFromSequentialStream(size_t ordinal, const db_col_access_helper& helper) {
    if (!m_pAnsiReadBuffer)
        m_pAnsiReadBuffer.reset(new (std::nothrow) char[m_nAnsiReadCapacity]);
    if (m_pAnsiReadBuffer)
        m_pAnsiReadBuffer[0] = '\0';
    ISequentialStream* stream = GetCurrColumnsSequentialStream(ordinal, helper);
    if (!m_pAnsiReadBuffer || stream == nullptr) {
        if (stream != nullptr)
            GiveBackStream(stream, helper);
        ReportTypeMismatch(HDB_SOURCE_POS(
            L"char *__cdecl CRowSet::ReadAnsiFromSequentialStream" HDB_ROWSET_HELPER_ARGS));
        return g_EmptyAnsi;
    }

    const ULONG firstRequest = static_cast<ULONG>(m_nAnsiReadCapacity - 1);
    ULONG read = 0;
    stream->Read(m_pAnsiReadBuffer.get(), firstRequest, &read);
    m_pAnsiReadBuffer[read] = '\0';
    // Only a full buffer leaves more to read; the buffer keeps the size an
    // earlier long value gave it.
    if (read >= firstRequest)
        ReadStreamRemainder(stream, m_pAnsiReadBuffer, m_nAnsiReadCapacity);
    GiveBackStream(stream, helper);
    return m_pAnsiReadBuffer.get();
}

char* CRowSet::ReadAnsiFromSequentialStream(size_t ordinal) {
    return ReadAnsiFromSequentialStream(ordinal, HelperOf(ordinal));
}

wchar_t* CRowSet::ReadUnicodeFromSequentialStream(size_t ordinal,
                                                  const db_col_access_helper& helper) {
    constexpr size_t CharSize = sizeof(wchar_t);
    if (!m_pUnicodeReadBuffer)
        m_pUnicodeReadBuffer.reset(new (std::nothrow) wchar_t[m_nUnicodeReadCapacity]);
    if (m_pUnicodeReadBuffer)
        m_pUnicodeReadBuffer[0] = L'\0';
    ISequentialStream* stream = GetCurrColumnsSequentialStream(ordinal, helper);
    if (!m_pUnicodeReadBuffer || stream == nullptr) {
        if (stream != nullptr)
            GiveBackStream(stream, helper);
        ReportTypeMismatch(HDB_SOURCE_POS(
            L"wchar_t *__cdecl CRowSet::ReadUnicodeFromSequentialStream" HDB_ROWSET_HELPER_ARGS));
        return g_EmptyWide;
    }

    const ULONG firstRequest = static_cast<ULONG>(m_nUnicodeReadCapacity * CharSize - CharSize);
    ULONG read = 0;
    stream->Read(m_pUnicodeReadBuffer.get(), firstRequest, &read);
    m_pUnicodeReadBuffer[read / CharSize] = L'\0';
    if (read >= firstRequest)
        ReadStreamRemainder(stream, m_pUnicodeReadBuffer, m_nUnicodeReadCapacity);
    GiveBackStream(stream, helper);
    return m_pUnicodeReadBuffer.get();
}

wchar_t* CRowSet::ReadUnicodeFromSequentialStream(size_t ordinal) {
    return ReadUnicodeFromSequentialStream(ordinal, HelperOf(ordinal));
}

// ------------------------------------------------------------------ conversion

IDataConvert* CRowSet::GetIDataConverter() const {
    if (m_pIDataConvert != nullptr)
        return m_pIDataConvert;
    const HRESULT hr =
        CoCreateInstance(CLSID_OLEDB_CONVERSIONLIBRARY, nullptr, CLSCTX_INPROC_SERVER,
                         IID_IDataConvert, reinterpret_cast<void**>(&m_pIDataConvert));
    if (FAILED(hr) || m_pIDataConvert == nullptr) {
        m_pIDataConvert = nullptr;
        OutputError(
            MsgError, HdbLiteralView(L"CoCreateInstance for IDataConvert failed!"),
            HDB_SOURCE_POS(L"struct IDataConvert *__cdecl CRowSet::GetIDataConverter(void) const"));
        return nullptr;
    }
    return m_pIDataConvert;
}
