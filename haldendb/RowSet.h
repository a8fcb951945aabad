// A result set read row by row: the value transforms between the OLE DB
// value records of a row or parameter buffer and the library's native values.
//
// The transforms are pure functions of their arguments, shared by the typed
// getters and by the writers of parameter and fast-load buffers. Several of
// them keep deliberate limits that applications depend on (only seven bytes
// of a DB_NUMERIC count for the signed integer read, a scale makes the
// integer reads 0, a DB_VARNUMERIC's byte count follows from its precision);
// each is stated at its declaration. Numbers never fail: they wrap or clamp.
// The CTime transforms throw CAtlException for parts they cannot represent.
//
// The class is being built up: so far it holds only the value transforms.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"

class HALDENDB_API CRowSet : public CBaseOLEDBClass {
public:
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
};
