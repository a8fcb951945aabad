// A result set read forwards, row by row.
//
// A rowset owns the provider's IRowset and builds from it the column
// descriptions (CColumnsInfo), the bindings and row buffer layout
// (CColumnBindings) and the accessor (CAccessor). It fetches a batch of row
// handles at a time (20 unless set otherwise), copies the current row into a
// one-row buffer and hands out its values through typed getters that convert
// between the type a column is bound as and the type asked for. Getters never
// throw on a type they cannot convert: they report (result code -1, message
// 15545) and answer a neutral value.
//
// Columns are addressed by ordinal through a db_col_access_helper, the cached
// position of the column in the row buffer, filled by GetColumnsOrdinal (by
// name); or by column number through the bindings (see CColumnBindings).
//
// The value transforms are pure functions of their arguments, shared by the
// typed getters and by the writers of parameter and fast-load buffers.
// Several of them keep deliberate limits that applications depend on (only
// seven bytes of a DB_NUMERIC count for the signed integer read, a scale
// makes the integer reads 0, a DB_VARNUMERIC's byte count follows from its
// precision); each is stated at its declaration. Numbers never fail: they
// wrap or clamp. The CTime transforms throw CAtlException for parts they
// cannot represent.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/ColumnsInfo.h"
#include "haldendb/ColumnBindings.h"
#include "haldendb/Accessor.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

// Tags of the typed column values an application reads with
// CRowSet::GetCurrColumns and GetCurrColumnDataAsOptional.
struct DB_TIME_TYPE_Base_t {};
struct DB_TIME_TYPE_UTC_Base_t {};
struct DB_VERSIONNUMBER_Base_t {};
struct DB_ENUM_CHANGE_Base_t {};
struct DB_HIST_ID_Base_t {};
struct DB_LABELKEY_ID_Base_t {};

using DB_TIME_TYPE = NamedType<double, DB_TIME_TYPE_Base_t>;
using DB_TIME_TYPE_UTC = NamedType<double, DB_TIME_TYPE_UTC_Base_t>;
using DB_VERSIONNUMBER = NamedType<double, DB_VERSIONNUMBER_Base_t>;
using DB_ENUM_CHANGE = NamedType<LONG, DB_ENUM_CHANGE_Base_t>;
using DB_HIST_ID = NamedType<ULONGLONG, DB_HIST_ID_Base_t>;
using DB_LABELKEY_ID = NamedType<ULONGLONG, DB_LABELKEY_ID_Base_t>;

class HALDENDB_API CRowSet : public CBaseOLEDBClass {
public:
    // The cached position of one column in the row buffer. bindingIndex,
    // dataPosition, statusPosition, dataSize and boundType come from the
    // column's binding; boundType 0 means the record is not filled yet.
    // databaseType is the description type found with the binding index
    // taken as the ordinal. A statusPosition of 0 reads as "no status
    // known", also for the first column whose status really lies at 0.
    struct db_col_access_helper {
        ULONGLONG bindingIndex = 0;
        ULONGLONG dataPosition = 0;
        ULONGLONG statusPosition = 0;
        ULONGLONG dataSize = 0;
        DBTYPE boundType = 0;
        DBTYPE databaseType = 0;
    };

    // Rows asked for per GetNextRows after construction.
    static constexpr DBCOUNTITEM DefaultFetchRowCount = 20;
    // Characters of each stream read buffer after construction.
    static constexpr size_t DefaultStreamReadCapacity = 64001;

    // ---------------------------------------------------------- lifecycle

    // A rowset without a result yet, reporting like `other`.
    explicit CRowSet(const CBaseOLEDBClass& other);
    // A rowset over a result the caller obtained; the caller's reference to
    // `rowset` passes to the rowset (none is added).
    CRowSet(IRowset* rowset, const CBaseOLEDBClass& other);
    CRowSet(const CRowSet&) = delete;
    CRowSet& operator=(const CRowSet&) = delete;
    ~CRowSet() override;

    // Gives back the rows, streams, row buffer and handle array of an earlier
    // build (the walk starts over at the provider's next row), describes the
    // columns, lays out the bindings (long columns as streams when that
    // switch is on) and creates the accessor; the helper array
    // grows to one entry per bound column plus one (entry 0 belongs to the
    // bookmark). False after a report at the failing step.
    virtual bool BuildRowSet(bool withBookmark, ULONG longColumnLength);

    // Frees the row buffer, releases the rows of the current batch, destroys
    // accessor, bindings and column descriptions and releases the rowset
    // interface and the data converter. The helpers and the switches
    // survive; the object can take a new result.
    bool Release() override;

    // Allocates the handle array and the row buffer and fetches the first
    // batch; true when it holds at least one row.
    bool SetupRowStructures();
    // Allocates the zero-filled row buffer if it is missing: the columns and
    // a few spare bytes behind them.
    bool AllocDataMemory();

    // Moves to the next row: the first call positions on the first row; a
    // used-up batch is released and the next one fetched. False at the end
    // of the result (IsEOS() then holds) or after a report; called again
    // after the end it keeps answering false.
    bool FetchNext();
    // Only forward reading is offered: these answer false and change nothing.
    bool FetchFirst() { return false; }
    bool FetchPrev() { return false; }
    bool FetchLast() { return false; }
    // Fetches the next batch of row handles; false when none came.
    bool GetNextRowData();
    bool IsEOS() const { return m_nRowsObtained == 0; }
    DBCOUNTITEM GetRowsObtained() const { return m_nRowsObtained; }
    // The batch size. The handle array is sized by it at the first fetch, so
    // set it before the first FetchNext; a later change never asks for more
    // rows than the array holds. Lowered after the first fetch, it ends the
    // current batch early: the batch is released once that many of its rows
    // were read, and its remaining rows are lost.
    DBCOUNTITEM GetFetchRowCount() const { return m_nFetchRowCount; }
    void SetFetchRowCount(DBCOUNTITEM count) { m_nFetchRowCount = count; }

    // The most rows FetchNext delivers from this result; all ones (the
    // default) sets no limit. Once that many rows were delivered FetchNext
    // answers false as at the end of the result; 0 delivers none. A limited
    // rowset never asks the provider for rows beyond the limit.
    static constexpr ULONGLONG NoRowLimit = std::numeric_limits<ULONGLONG>::max();
    ULONGLONG GetMaxRowCount() const { return m_nMaxRowCount; }
    void SetMaxRowCount(ULONGLONG count) { m_nMaxRowCount = count; }

    // Long BLOB/text columns are bound as ISequentialStream (the default) or
    // copied into the row up to the long column length. Read by BuildRowSet.
    void SetLongColumnsAsStreams(bool asStreams) { m_bLongColumnsAsStreams = asStreams; }
    bool GetLongColumnsAsStreams() const { return m_bLongColumnsAsStreams; }

    // Clears the interface pointer a stream column holds in the row, so that
    // no stale pointer stays behind once the stream was released. False for
    // a NULL column, a column not bound as a stream, or one whose stream
    // could not be created.
    bool MakeDataInRowNullptr(size_t ordinal);

    // ---------------------------------------------------------- columns

    // The ordinal of a named column (see CColumnsInfo::GetColumnsOrdinal),
    // 0 when not found; fills the column's helper on first use.
    size_t GetColumnsOrdinal(const CBasicStringView<wchar_t>& name);
    // The helper of an ordinal, unchecked: the ordinal must be below
    // GetColumnCount() + 1 after a build.
    db_col_access_helper& GetColMetaData(size_t ordinal) { return m_ColAccessHelpers[ordinal]; }
    // The binding index of a column number; 0 without bindings.
    DBORDINAL GetColumnValue(DBORDINAL column) const;
    // Columns described, bookmark included; 0 before a build.
    DBORDINAL GetColumnCount() const;
    CBasicStringView<wchar_t> GetColumnName(DBORDINAL ordinal) const;
    // The helper's database type when it is filled, else the description's
    // type of that ordinal, else 0.
    DBTYPE GetColumnsDataType(size_t ordinal) const;
    DBTYPE GetFieldType(DBCOUNTITEM row, DBORDINAL index) const;
    DBTYPE GetDatabaseFieldType(DBCOUNTITEM row, DBORDINAL ordinal) const;

    // Type tests by column number (see CColumnBindings); false before a build.
    bool IsBOOL(DBORDINAL column) const;
    bool IsByte(DBORDINAL column) const;
    bool IsUnsignedByte(DBORDINAL column) const;
    bool IsInteger(DBORDINAL column) const;
    bool IsUnsignedInteger(DBORDINAL column) const;
    bool IsLong(DBORDINAL column) const;
    bool IsUnsignedLong(DBORDINAL column) const;
    bool IsInt64(DBORDINAL column) const;
    bool IsUnsignedInt64(DBORDINAL column) const;
    bool IsFloat(DBORDINAL column) const;
    bool IsDouble(DBORDINAL column) const;
    bool IsNumeric(DBORDINAL column) const;
    bool IsVarNumeric(DBORDINAL column) const;
    bool IsString(DBORDINAL column) const;
    bool IsUnicodeString(DBORDINAL column) const;
    bool IsDate(DBORDINAL column) const;
    bool IsTime(DBORDINAL column) const;
    bool IsTimeStamp(DBORDINAL column) const;
    bool IsDateOrTime(DBORDINAL column) const;
    bool IsStreamInterface(DBORDINAL column) const;
    bool IsDatabaseTypeUnicodeString(DBORDINAL column) const;

    // ---------------------------------------------------------- raw access

    // The value of the current row in the buffer; null for NULL, or without
    // buffer or bindings.
    void* GetCurrColumnsData(size_t ordinal, const db_col_access_helper& helper) const;
    // The status byte of the column; DBSTATUS_E_BADSTATUS without buffer or
    // when no status position is known.
    DBSTATUS GetCurrColumnsStatus(size_t ordinal, const db_col_access_helper& helper) const;
    // These test for the absence of the state they are named after: true
    // unless the status is NULL, truncated, "cannot create" or `status`.
    // Without buffer or status position they answer true (CurrColHasStatus:
    // status != DBSTATUS_E_BADSTATUS).
    bool CurrColHasData(size_t ordinal, const db_col_access_helper& helper) const;
    bool CurrColHasDataTruncated(size_t ordinal, const db_col_access_helper& helper) const;
    bool CurrColHasInterfaceCreated(size_t ordinal, const db_col_access_helper& helper) const;
    bool CurrColHasStatus(size_t ordinal, DBSTATUS status,
                          const db_col_access_helper& helper) const;
    // The capacity (cbMaxLen) of a binding, not the length received; 0 for
    // an ordinal beyond the column count or without bindings.
    DBLENGTH GetCurrColumnsLength(size_t ordinal, DBORDINAL bindingIndex) const;
    // Precision and scale of the column number's description: 16 and 0
    // when there is none.
    BYTE GetCurrColumnsPrecision(DBORDINAL column) const;
    BYTE GetCurrColumnsScale(DBORDINAL column) const;

    // ---------------------------------------------------------- typed getters

    // Each dispatches on the type the column is bound as; a NULL value gives
    // the neutral value (0, an empty text). The forms without a helper look
    // the column's helper up; an ordinal without one counts as a column of
    // an unsupported type.

    // Every numeric, text, date and time type as a double (dates as the
    // automation date).
    double GetCurrColumnsLONG(size_t ordinal, const db_col_access_helper& helper);
    double GetCurrColumnsLONG(size_t ordinal);
    // Integers as they are, text parsed, NUMERIC through the transforms,
    // dates as the automation date truncated.
    LONGLONG GetCurrColumnsInt64(size_t ordinal, const db_col_access_helper& helper);
    LONGLONG GetCurrColumnsInt64(size_t ordinal);
    // As GetCurrColumnsInt64; DBTYPE_I8 goes through a double; text must
    // start with a digit and give at most 18446744073709551615, else 0.
    ULONGLONG GetCurrColumnsDWORD64(size_t ordinal, const db_col_access_helper& helper);
    ULONGLONG GetCurrColumnsDWORD64(size_t ordinal);
    // 8-bit text: STR in the row buffer; a stream column read whole;
    // NUMERIC printed with "%G" into the rowset's text buffer; dates printed
    // as "YYYY-MM-DD hh:mm:ss.fff" into one buffer shared by the whole
    // process (valid until the next such call on any thread).
    char* GetCurrColumnsChar(size_t ordinal, const db_col_access_helper& helper);
    char* GetCurrColumnsChar(size_t ordinal);
    // Wide text: WSTR in the row buffer; for a column whose database type is
    // WSTR but that is bound otherwise, the stream read whole (streams on)
    // or the value area as it is (which then holds 8-bit text).
    wchar_t* GetCurrColumnsWchar(size_t ordinal, const db_col_access_helper& helper);
    wchar_t* GetCurrColumnsWchar(size_t ordinal);
    // Wide text of any column: for WSTR the buffer's text (`mustFree`
    // false), else GetCurrColumnsChar converted through the thread's ANSI
    // code page into a new array (`mustFree` true: free it with delete[]).
    wchar_t* GetCurrColumnsTchar(size_t ordinal, bool& mustFree);
    // A UI1 column: the byte, or empty for NULL. Any other type reports and
    // answers an engaged 0.
    std::optional<unsigned char> GetCurrColumnsTinyInt(size_t ordinal,
                                                       const db_col_access_helper& helper);
    std::optional<unsigned char> GetCurrColumnsTinyInt(size_t ordinal);
    // Dates, times and timestamps as a local CTime (0 for NULL); throws as
    // the CTime transforms do. `milliseconds`, if given, gets a timestamp's.
    CTime GetCurrColumnsDateTime(size_t ordinal, unsigned short* milliseconds = nullptr);
    // Dates, times and timestamps as an automation date; COleDateTime()
    // (0.0) for another type, after a report.
    COleDateTime GetCurrColumnsOleDateTime(size_t ordinal, const db_col_access_helper& helper,
                                           unsigned short* milliseconds);
    // GetCurrColumnsLONG rounded up by 0.0001 when its fourth decimal is
    // below the value's.
    DB_VERSIONNUMBER GetCurrColumnsDB_VERSIONNUMBER(size_t ordinal);
    // GetCurrColumnsInt64 cut to 32 bits.
    DB_ENUM_CHANGE GetCurrColumnsDB_ENUM_CHANGE(size_t ordinal);

    // The typed column values: DB_TIME_TYPE and DB_TIME_TYPE_UTC hold
    // GetCurrColumnsLONG (the automation date for a date column),
    // DB_VERSIONNUMBER holds GetCurrColumnsDB_VERSIONNUMBER.
    template <class T> T GetCurrColumns(size_t ordinal) {
        if constexpr (std::is_same_v<T, DB_TIME_TYPE> || std::is_same_v<T, DB_TIME_TYPE_UTC>)
            return T(GetCurrColumnsLONG(ordinal));
        else {
            static_assert(std::is_same_v<T, DB_VERSIONNUMBER>, "no such typed column value");
            return GetCurrColumnsDB_VERSIONNUMBER(ordinal);
        }
    }

    // A column value as an optional: empty for NULL; otherwise `reader`
    // (called with the rowset and the ordinal) gives the value, and K says
    // when it counts: 0 when it is non-zero (a double only from the double
    // epsilon up, so zero and negative values give empty), 1 when it is a
    // non-empty text, 2 always.
    template <std::size_t K, class T, class Reader>
    std::optional<T> GetCurrColumnDataAsOptional(size_t ordinal, Reader&& reader) {
        static_assert(K <= 2, "K is 0, 1 or 2");
        if (GetCurrColumnsStatus(ordinal, HelperOf(ordinal)) == DBSTATUS_S_ISNULL)
            return std::nullopt;
        T value = reader(*this, ordinal);
        if constexpr (K == 0) {
            if constexpr (std::is_floating_point_v<typename T::value_type>) {
                if (!(value.get() >= std::numeric_limits<typename T::value_type>::epsilon()))
                    return std::nullopt;
            } else if (value.get() == typename T::value_type{}) {
                return std::nullopt;
            }
        } else if constexpr (K == 1) {
            if (value.empty())
                return std::nullopt;
        }
        return value;
    }

    // ---------------------------------------------------------- writing

    // Copies `count` bytes into the value area of a column number (length
    // and status are left alone), allocating the row buffer if needed.
    // Fails with a report (15533) for a column beyond the count or a count
    // not below the whole row's size.
    bool SetCurrColumnsData(DBORDINAL column, const void* source, ULONGLONG count);
    // Store the length or status of a column number; a column beyond the
    // count is ignored.
    void SetCurrColumnsLength(DBORDINAL column, ULONGLONG length);
    void SetCurrColumnsStatus(DBORDINAL column, DBSTATUS status);

    // ---------------------------------------------------------- streams

    // The stream a long column holds in the current row; null for NULL, for
    // a column not bound as a stream, and (after a report, 15530) when the
    // provider could not create it. The reference passes to the caller: give
    // it back with FreeSequentialStreamAllocator while the row is current, or
    // with Release; the rowset does not release it again when it moves on.
    ISequentialStream* GetCurrColumnsSequentialStream(size_t ordinal);
    // Frees a column's stream and clears it in the row; false without one.
    bool FreeSequentialStreamAllocator(size_t ordinal);
    // The whole stream of a column as 8-bit or wide text in a rowset buffer
    // that grows as needed and is overwritten by the next read of its kind.
    // The stream is given back afterwards. An empty text (after a report,
    // 15545) when there is no stream.
    char* ReadAnsiFromSequentialStream(size_t ordinal);
    wchar_t* ReadUnicodeFromSequentialStream(size_t ordinal);

    // ---------------------------------------------------------- conversion

    // The conversion library, created on first use and kept until Release;
    // null after a report when it cannot be created.
    IDataConvert* GetIDataConverter() const;

    operator IRowset*() const { return m_pIRowset; }
    operator CColumnsInfo*() const { return m_pColumnsInfo.get(); }
    operator CColumnBindings*() const { return m_pColumnBindings.get(); }

    // ---------------------------------------------------------- numbers in

    // The value of a DB_NUMERIC as a double; 0.0 for null. Without a scale
    // this is TransFormFromNumericInt (56 bits). With a scale the whole
    // 128-bit magnitude is multiplied exactly by the double pow(10, -scale)
    // and the product rounded once to the nearest double.
    static double TransFormFromNumeric(const DB_NUMERIC* numeric);
    // The integer of a DB_NUMERIC; 0 for null. Only the low seven magnitude
    // bytes (56 bits) are read, and any scale other than 0 gives 0.
    static LONGLONG TransFormFromNumericInt(const DB_NUMERIC* numeric);
    // The unsigned integer of a DB_NUMERIC; 0 for null. A positive number
    // without a scale reads the low eight magnitude bytes (64 bits); a
    // negative or scaled one is TransFormFromNumeric truncated to 64 bits
    // (negative values in two's complement).
    static ULONGLONG TransFormFromNumericUnsignedInt(const DB_NUMERIC* numeric);

    // The value of a DB_VARNUMERIC as a double; 0.0 for null. The number of
    // magnitude bytes read is derived from the precision byte p: the first p
    // bytes are summed with decimal weights (byte i times 10^i) and the
    // count of decimal digits of that sum is the number of bytes read, which
    // may be one or two more than p; the caller's buffer must hold them. The
    // bytes are summed in double arithmetic, multiplied by pow(10, -scale)
    // with the scale signed, and negated for sign 0.
    static double TransFormFromVarNumeric(const DB_VARNUMERIC* number);
    // The same in wrapping 64-bit integer arithmetic, powers taken from the
    // double power function and truncated; any scale other than 0 gives 0.
    static LONGLONG TransFormFromVarNumericInt(const DB_VARNUMERIC* number);
    // As TransFormFromVarNumericInt, with the powers of 256 and the scale
    // factor converted to unsigned 64 bits; negative values in two's
    // complement.
    static ULONGLONG TransFormFromVarNumericUnsignedInt(const DB_VARNUMERIC* number);

    // ---------------------------------------------------------- numbers out

    // Fills *numeric (all 19 bytes; nothing for null) with value at the
    // given precision and a scale of at most `scale`: the scale is lowered to
    // the number of characters after the decimal point of the value printed
    // with "%.*g" at 17 digits, exponent characters included.
    static void TransFormToNumeric(DB_NUMERIC* numeric, double value, BYTE scale, BYTE precision);

    // ---------------------------------------------------------- dates in

    // Local midnight of the date; CTime(0) for null. A year before 1970, a
    // month outside 1..12 or a day outside 1..31 throws CAtlException
    // (E_FAIL); a day the runtime cannot represent throws E_INVALIDARG.
    static CTime TransFormFromDate(const DBDATE* date);
    // The time of day on the local calendar date of time 0 (the seconds
    // clamped to 59); CTime(0) for null. Parts out of range throw as CTime
    // does, and so does a local time before 1970-01-01 00:00 UTC.
    static CTime TransFormFromTime(const DBTIME* time);
    // The local time of the timestamp's parts; CTime(0) for null, when
    // *milliseconds is left alone. Parts out of range throw as CTime does.
    // `milliseconds`, if given, receives the first three of the fraction's
    // nine nanosecond digits (truncated).
    static CTime TransFormFromDateTime(const DBTIMESTAMP* timestamp,
                                       unsigned short* milliseconds = nullptr);

    // The automation dates of the records: the date at midnight, the time on
    // 1899-12-30, the whole timestamp. Parts that make no date give an
    // invalid COleDateTime; null gives COleDateTime() (0.0, valid). The
    // timestamp's milliseconds are handed out as by TransFormFromDateTime.
    static COleDateTime TransFormFromOleDate(const DBDATE* date);
    static COleDateTime TransFormFromOleTime(const DBTIME* time);
    static COleDateTime TransFormFromOleDateTime(const DBTIMESTAMP* timestamp,
                                                 unsigned short* milliseconds = nullptr);

    // ---------------------------------------------------------- dates out

    // These read the double two ways. TransFormToDateTime takes it as an
    // automation date; TransFormToDate and TransFormToTime take its integer
    // part as seconds since 1970-01-01 00:00 UTC and use its local time.
    // Parts that cannot be had are stored as 0xFFFF (-1 for the year); the
    // fraction is always 0. False only for a null record.
    static bool TransFormToDate(DBDATE* date, double value);
    static bool TransFormToTime(DBTIME* time, double value);
    static bool TransFormToDateTime(DBTIMESTAMP* timestamp, double value);

protected:
    // Fills *numeric with value at exactly the given scale and precision:
    // |value| times 10^scale, cut to its integer part, in the 16 magnitude
    // bytes. Sign 1 only for a value above 0 (zero is stored with sign 0).
    // A magnitude too large for 128 bits saturates bytes to 255 from the top
    // while the quotient for a byte reaches 2^31; below that a byte keeps the
    // low eight bits of its quotient. Infinities and NaN saturate all bytes.
    static void TransFormToNumericCommaHasChecked(DB_NUMERIC* numeric, double value, BYTE scale,
                                                  BYTE precision);

    // Copies the current row into the row buffer.
    virtual bool ReadData();
    // FetchNext without the row limit: the next row of the batch, or the
    // first of the next batch.
    bool FetchNextRow();
    // Replaces the accessor with a new one built from the bindings.
    virtual bool BuildAccessor();

    ISequentialStream* GetCurrColumnsSequentialStream(size_t ordinal,
                                                      const db_col_access_helper& helper);
    char* ReadAnsiFromSequentialStream(size_t ordinal, const db_col_access_helper& helper);
    wchar_t* ReadUnicodeFromSequentialStream(size_t ordinal, const db_col_access_helper& helper);
    // The whole stream of a column as text in `buffer` of `capacity`
    // characters, made on first use and grown as the text needs; `empty`
    // and a report naming `position` when there is no stream.
    template <class Char>
    Char* ReadStreamText(size_t ordinal, const db_col_access_helper& helper,
                         std::unique_ptr<Char[]>& buffer, size_t& capacity, Char* empty,
                         const LoggingSourcePos& position);

    // The helper of an ordinal; an unfilled one for an ordinal beyond the
    // helpers.
    const db_col_access_helper& HelperOf(size_t ordinal) const;
    // The status byte at the helper's position, or -1 when none is known
    // (no buffer, or status position 0).
    int StatusByte(const db_col_access_helper& helper) const;
    // The value of the helper's column; null for NULL or without buffer or
    // bindings.
    const BYTE* ValueOf(const db_col_access_helper& helper) const;
    // Reports a getter asked for a type it cannot give.
    void ReportTypeMismatch(const LoggingSourcePos& position);
    // Gives back the streams a fetched row still holds, except those handed
    // out.
    void ReleaseRowStreams();
    // Gives back the row streams and rows held, frees row buffer and handle
    // array and resets the row counters.
    void FreeRowStructures();
    // Releases the rows of the current batch and leaves the rowset at the
    // end of the result; the provider's answer (S_OK when none were held).
    HRESULT ReleaseFetchedRows();
    // ReleaseFetchedRows with a report of a failure; false after the report.
    bool ReleaseBatch();
    // The stream a column holds in the row, without a report; null when it
    // has none.
    ISequentialStream* StreamInRow(const db_col_access_helper& helper) const;
    // Releases a stream taken out of the row and clears it there.
    void GiveBackStream(ISequentialStream* stream, const db_col_access_helper& helper);

    IRowset* m_pIRowset = nullptr;
    std::unique_ptr<CColumnsInfo> m_pColumnsInfo;
    std::unique_ptr<CColumnBindings> m_pColumnBindings;
    std::unique_ptr<CAccessor> m_pAccessor;
    HROW* m_pHRows = nullptr;
    // Handles the array holds; a larger fetch row count set later is not
    // asked for.
    DBCOUNTITEM m_nHRowsCapacity = 0;
    BYTE* m_pRowData = nullptr;
    // Set while the row buffer holds streams a fetch delivered that nobody
    // took out yet; they are given back before the next fetch or release.
    bool m_bRowHoldsFetchedStreams = false;
    // By binding index: the streams of the current row handed out by
    // GetCurrColumnsSequentialStream, which belong to their taker.
    std::vector<bool> m_StreamsHandedOut;
    // The stream read buffers and their capacities in characters; the 8-bit
    // one also takes the text of NUMERIC values.
    std::unique_ptr<char[]> m_pAnsiReadBuffer;
    std::unique_ptr<wchar_t[]> m_pUnicodeReadBuffer;
    DBCOUNTITEM m_nFetchRowCount = DefaultFetchRowCount;
    DBCOUNTITEM m_nCurrentRow = 0;
    size_t m_nAnsiReadCapacity = DefaultStreamReadCapacity;
    size_t m_nUnicodeReadCapacity = DefaultStreamReadCapacity;
    DBCOUNTITEM m_nRowsObtained = 0;
    ULONGLONG m_nMaxRowCount = NoRowLimit;
    // Rows FetchNext delivered from the current result, held against the
    // limit.
    ULONGLONG m_nRowsDelivered = 0;
    std::vector<db_col_access_helper> m_ColAccessHelpers;
    bool m_bLongColumnsAsStreams = true;
    mutable IDataConvert* m_pIDataConvert = nullptr;
};
