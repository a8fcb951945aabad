// CRowSet's typed access to the current row: the status and raw value of a
// column, the getters that convert the type a column is bound as into the
// type asked for, and the writers of values, lengths and statuses.
//
// The numeric getters share one reader and differ only in a table of what
// each makes of a kind of value (NumberReads); the date getters share one
// dispatch over the three date records. The reads keep the results
// applications depend on, quirks included: a UI2 is read as four bytes, I8
// and UI8 both as signed, the date text of GetCurrColumnsChar goes into one
// buffer for the whole process.
#include "haldendb/RowSet.h"
#include "haldendb/MessageNumbers.h"
#include "haldendb/RowSetInternal.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <cwchar>
#include <new>
#include <optional>

namespace {

using namespace hdbmsg;
using namespace hdbrowset;

// The text of the last date read with GetCurrColumnsChar, for the whole
// process.
char g_DateText[50] = "";

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

// The wide text at value as a string of its own: the bindings pack the
// columns, so a wide text may start at any offset of the row buffer, where
// it cannot be read in place.
std::wstring AlignedWideText(const BYTE* value) {
    std::wstring text;
    for (const BYTE* p = value;; p += sizeof(wchar_t)) {
        wchar_t c;
        std::memcpy(&c, p, sizeof c);
        if (c == L'\0')
            return text;
        text.push_back(c);
    }
}

// The text a value area holds, or `empty` for NULL.
template <class Char> Char* TextOr(const BYTE* value, Char* empty) {
    return value ? reinterpret_cast<Char*>(const_cast<BYTE*>(value)) : empty;
}

// What each numeric getter reads and makes of the kinds of value that take
// more than a cast: GetCurrColumnsLONG (double), GetCurrColumnsInt64
// (LONGLONG) and GetCurrColumnsDWORD64 (ULONGLONG).
template <class Number> struct NumberReads;

template <> struct NumberReads<double> {
    static constexpr bool ReadsFloats = true;
    static constexpr bool ReadsDates = true;
    static double FromI8(LONGLONG value) { return static_cast<double>(value); }
    static double FromText(const char* text) { return std::strtod(text, nullptr); }
    static double FromText(const wchar_t* text) { return std::wcstod(text, nullptr); }
    static double FromNumeric(const DB_NUMERIC& number) {
        return CRowSet::TransFormFromNumeric(&number);
    }
    static double FromVarNumeric(const DB_VARNUMERIC* number) {
        return CRowSet::TransFormFromVarNumeric(number);
    }
    static double FromDate(DATE date) { return date; }
};

template <> struct NumberReads<LONGLONG> {
    static constexpr bool ReadsFloats = false;
    static constexpr bool ReadsDates = true;
    static LONGLONG FromI8(LONGLONG value) { return value; }
    static LONGLONG FromText(const char* text) { return _atoi64(text); }
    static LONGLONG FromText(const wchar_t* text) { return _wtoi64(text); }
    static LONGLONG FromNumeric(const DB_NUMERIC& number) {
        return CRowSet::TransFormFromNumericInt(&number);
    }
    // The unsigned read on purpose: it keeps the full 64 bits of large
    // positive values.
    static LONGLONG FromVarNumeric(const DB_VARNUMERIC* number) {
        return static_cast<LONGLONG>(CRowSet::TransFormFromVarNumericUnsignedInt(number));
    }
    static LONGLONG FromDate(DATE date) { return TruncateToInt64(date); }
};

template <> struct NumberReads<ULONGLONG> {
    static constexpr bool ReadsFloats = false;
    static constexpr bool ReadsDates = false;
    // Through a double: beyond 2^53 precision goes, negative values arrive
    // in two's complement.
    static ULONGLONG FromI8(LONGLONG value) { return TruncateToUInt64(static_cast<double>(value)); }
    static ULONGLONG FromText(const char* text) { return LeadingUnsignedNumber(text); }
    static ULONGLONG FromText(const wchar_t* text) { return LeadingUnsignedNumber(text); }
    static ULONGLONG FromNumeric(const DB_NUMERIC& number) {
        return CRowSet::TransFormFromNumericUnsignedInt(&number);
    }
    static ULONGLONG FromVarNumeric(const DB_VARNUMERIC* number) {
        return CRowSet::TransFormFromVarNumericUnsignedInt(number);
    }
};

bool IsDateType(DBTYPE type) {
    return type == DBTYPE_DBDATE || type == DBTYPE_DBTIME || type == DBTYPE_DBTIMESTAMP;
}

bool IsFloatType(DBTYPE type) {
    return type == DBTYPE_R4 || type == DBTYPE_R8;
}

// The bound types read as numbers, dates aside.
bool IsNumberSource(DBTYPE type) {
    switch (type) {
    case DBTYPE_I1:
    case DBTYPE_UI1:
    case DBTYPE_BOOL:
    case DBTYPE_I2:
    case DBTYPE_I4:
    case DBTYPE_UI2:
    case DBTYPE_UI4:
    case DBTYPE_I8:
    case DBTYPE_UI8:
    case DBTYPE_R4:
    case DBTYPE_R8:
    case DBTYPE_STR:
    case DBTYPE_WSTR:
    case DBTYPE_NUMERIC:
    case DBTYPE_VARNUMERIC:
        return true;
    default:
        return false;
    }
}

// The integer types other than I8 as every numeric getter reads them.
LONGLONG IntegerOf(DBTYPE type, const BYTE* value) {
    switch (type) {
    case DBTYPE_I1:
        return static_cast<signed char>(value[0]);
    case DBTYPE_UI1:
        return value[0];
    case DBTYPE_BOOL:
        return value[0] & 1;
    case DBTYPE_I2:
        return Load<SHORT>(value);
    case DBTYPE_I4:
        return Load<LONG>(value);
    case DBTYPE_UI2:
    case DBTYPE_UI4:
        // Four bytes for both, which applications rely on: after a UI2 value
        // come the first bytes of the next column's status (zero while that
        // column holds a value) or, after the last column, the row buffer's
        // zeroed spare bytes.
        return Load<ULONG>(value);
    default:
        // UI8, read as signed like I8.
        return Load<LONGLONG>(value);
    }
}

// The value of a column as one numeric getter reads it; 0 for NULL, nullopt
// for a bound type that getter does not read.
template <class Number>
std::optional<Number> ReadNumber(CRowSet& rowset, size_t ordinal,
                                 const CRowSet::db_col_access_helper& helper) {
    using Reads = NumberReads<Number>;
    const DBTYPE type = helper.boundType;
    if (IsDateType(type)) {
        if constexpr (Reads::ReadsDates)
            return Reads::FromDate(
                static_cast<DATE>(rowset.GetCurrColumnsOleDateTime(ordinal, helper, nullptr)));
        else
            return std::nullopt;
    }
    if (!IsNumberSource(type) || (IsFloatType(type) && !Reads::ReadsFloats))
        return std::nullopt;
    const auto* value = static_cast<const BYTE*>(rowset.GetCurrColumnsData(ordinal, helper));
    if (value == nullptr)
        return Number{};
    switch (type) {
    case DBTYPE_R4:
        return static_cast<Number>(Load<float>(value));
    case DBTYPE_R8:
        return static_cast<Number>(Load<double>(value));
    case DBTYPE_I8:
        return Reads::FromI8(Load<LONGLONG>(value));
    case DBTYPE_STR:
        return Reads::FromText(reinterpret_cast<const char*>(value));
    case DBTYPE_WSTR:
        return Reads::FromText(AlignedWideText(value).c_str());
    case DBTYPE_NUMERIC:
        return Reads::FromNumeric(Load<DB_NUMERIC>(value));
    case DBTYPE_VARNUMERIC:
        return Reads::FromVarNumeric(reinterpret_cast<const DB_VARNUMERIC*>(value));
    default:
        return static_cast<Number>(IntegerOf(type, value));
    }
}

// A date, time or timestamp value handed to `convert` as a pointer to its
// record (null for NULL); nullopt for another bound type.
template <class Record, class Convert> auto ConvertRecord(const BYTE* value, Convert& convert) {
    if (value == nullptr)
        return convert(static_cast<const Record*>(nullptr));
    const Record record = Load<Record>(value);
    return convert(&record);
}

template <class Result, class Convert>
std::optional<Result> ConvertDateValue(DBTYPE type, const BYTE* value, Convert convert) {
    switch (type) {
    case DBTYPE_DBDATE:
        return ConvertRecord<DBDATE>(value, convert);
    case DBTYPE_DBTIME:
        return ConvertRecord<DBTIME>(value, convert);
    case DBTYPE_DBTIMESTAMP:
        return ConvertRecord<DBTIMESTAMP>(value, convert);
    default:
        return std::nullopt;
    }
}

// The transforms the date getters use, by record.
COleDateTime OleDateOf(const DBDATE* date, unsigned short*) {
    return CRowSet::TransFormFromOleDate(date);
}
COleDateTime OleDateOf(const DBTIME* time, unsigned short*) {
    return CRowSet::TransFormFromOleTime(time);
}
COleDateTime OleDateOf(const DBTIMESTAMP* timestamp, unsigned short* milliseconds) {
    return CRowSet::TransFormFromOleDateTime(timestamp, milliseconds);
}
CTime LocalTimeOf(const DBDATE* date, unsigned short*) {
    return CRowSet::TransFormFromDate(date);
}
CTime LocalTimeOf(const DBTIME* time, unsigned short*) {
    return CRowSet::TransFormFromTime(time);
}
CTime LocalTimeOf(const DBTIMESTAMP* timestamp, unsigned short* milliseconds) {
    return CRowSet::TransFormFromDateTime(timestamp, milliseconds);
}

} // namespace

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
    if (const auto number = ReadNumber<double>(*this, ordinal, helper))
        return *number;
    ReportTypeMismatch(
        HDB_SOURCE_POS(L"double __cdecl CRowSet::GetCurrColumnsLONG" HDB_ROWSET_HELPER_ARGS));
    return 0.0;
}

double CRowSet::GetCurrColumnsLONG(size_t ordinal) {
    return GetCurrColumnsLONG(ordinal, HelperOf(ordinal));
}

LONGLONG CRowSet::GetCurrColumnsInt64(size_t ordinal, const db_col_access_helper& helper) {
    if (const auto number = ReadNumber<LONGLONG>(*this, ordinal, helper))
        return *number;
    ReportTypeMismatch(
        HDB_SOURCE_POS(L"__int64 __cdecl CRowSet::GetCurrColumnsInt64" HDB_ROWSET_HELPER_ARGS));
    return 0;
}

LONGLONG CRowSet::GetCurrColumnsInt64(size_t ordinal) {
    return GetCurrColumnsInt64(ordinal, HelperOf(ordinal));
}

ULONGLONG CRowSet::GetCurrColumnsDWORD64(size_t ordinal, const db_col_access_helper& helper) {
    if (const auto number = ReadNumber<ULONGLONG>(*this, ordinal, helper))
        return *number;
    ReportTypeMismatch(HDB_SOURCE_POS(
        L"unsigned __int64 __cdecl CRowSet::GetCurrColumnsDWORD64" HDB_ROWSET_HELPER_ARGS));
    return 0;
}

ULONGLONG CRowSet::GetCurrColumnsDWORD64(size_t ordinal) {
    return GetCurrColumnsDWORD64(ordinal, HelperOf(ordinal));
}

char* CRowSet::GetCurrColumnsChar(size_t ordinal, const db_col_access_helper& helper) {
    switch (helper.boundType) {
    case DBTYPE_IUNKNOWN:
        return ReadAnsiFromSequentialStream(ordinal, helper);
    case DBTYPE_STR:
        return TextOr(ValueOf(helper), EmptyAnsi);
    case DBTYPE_NUMERIC: {
        const double number = GetCurrColumnsLONG(ordinal, helper);
        if (!m_pAnsiReadBuffer)
            m_pAnsiReadBuffer.reset(new (std::nothrow) char[m_nAnsiReadCapacity]);
        if (!m_pAnsiReadBuffer)
            return EmptyAnsi;
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
        return EmptyAnsi;
    }
}

char* CRowSet::GetCurrColumnsChar(size_t ordinal) {
    return GetCurrColumnsChar(ordinal, HelperOf(ordinal));
}

wchar_t* CRowSet::GetCurrColumnsWchar(size_t ordinal, const db_col_access_helper& helper) {
    if (helper.boundType == DBTYPE_WSTR)
        return TextOr(ValueOf(helper), EmptyWide);
    if (helper.databaseType == DBTYPE_WSTR) {
        if (m_bLongColumnsAsStreams)
            return ReadUnicodeFromSequentialStream(ordinal, helper);
        // A long wide column bound as 8-bit text: handed out as it lies.
        return TextOr(ValueOf(helper), EmptyWide);
    }
    ReportTypeMismatch(
        HDB_SOURCE_POS(L"wchar_t *__cdecl CRowSet::GetCurrColumnsWchar" HDB_ROWSET_HELPER_ARGS));
    return EmptyWide;
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
    if (const auto date = ConvertDateValue<COleDateTime>(
            helper.boundType, ValueOf(helper),
            [milliseconds](const auto* record) { return OleDateOf(record, milliseconds); }))
        return *date;
    ReportTypeMismatch(HDB_SOURCE_POS(
        L"class ATL::COleDateTime __cdecl CRowSet::GetCurrColumnsOleDateTime(const unsigned "
        L"__int64,const struct CRowSet::db_col_access_helper &,unsigned short *)"));
    return COleDateTime();
}

CTime CRowSet::GetCurrColumnsDateTime(size_t ordinal, unsigned short* milliseconds) {
    if (milliseconds != nullptr)
        *milliseconds = 0;
    const db_col_access_helper& helper = HelperOf(ordinal);
    // NULL passes a null record, which every transform answers with CTime(0).
    if (const auto time = ConvertDateValue<CTime>(
            helper.boundType, ValueOf(helper),
            [milliseconds](const auto* record) { return LocalTimeOf(record, milliseconds); }))
        return *time;
    ReportTypeMismatch(HDB_SOURCE_POS(L"class ATL::CTime __cdecl "
                                      L"CRowSet::GetCurrColumnsDateTime(const unsigned "
                                      L"__int64,unsigned short *)"));
    return CTime(0);
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
