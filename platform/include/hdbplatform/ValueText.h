// Decimal numbers and dates written as text, read the way the conversion
// engine reads them. A provider that stores such text (the embedded backend
// keeps NUMERIC and date values as text) reads it back with these functions,
// so that a value means the same on its way out of the database as in the
// consumer's conversion.
#pragma once

#include "hdbplatform/OleDb.h"

#include <cstddef>

namespace hdbconvert {

using Magnitude = unsigned __int128;

// The most digits a DB_NUMERIC holds.
constexpr int MaxNumericDigits = 38;

// A decimal number as written: [blanks] [sign] digits [. digits]
// [e [sign] digits] [blanks], kept as views of its digits, so that no digit
// is lost before the reader decides how to round.
template <class Char> struct DecimalText {
    bool negative = false;
    const Char* whole = nullptr; // the digits before the point
    size_t wholeDigits = 0;
    const Char* fraction = nullptr; // the digits after it
    size_t fractionDigits = 0;
    long long exponent = 0; // capped at 100000 either way: beyond, any scale overflows

    // Digit k of the whole digits followed by the fraction digits; zero
    // outside them.
    int Digit(long long k) const {
        if (k < 0 || static_cast<size_t>(k) >= wholeDigits + fractionDigits)
            return 0;
        const size_t i = static_cast<size_t>(k);
        return static_cast<int>((i < wholeDigits ? whole[i] : fraction[i - wholeDigits]) - '0');
    }
};

// Splits text of n characters into d; false when it is no number. Blanks are
// space and \t to \r.
bool SplitDecimal(const char* text, size_t n, DecimalText<char>& d);
bool SplitDecimal(const wchar_t* text, size_t n, DecimalText<wchar_t>& d);

// The magnitude of d in units of 10^-scale, rounded once at the first digit
// dropped: half up for the magnitude, so half away from zero for the value.
// False when it has more than MaxNumericDigits digits.
bool RoundedMagnitude(const DecimalText<char>& d, int scale, Magnitude& magnitude);

// The fewest significant digits that read back as v, with an exponent
// ("1.005e+00"; "inf" and "nan" for those), into out of room characters;
// returns the length (0 when room is too small). Without an exponent the shortest text
// of a large double would spell out its binary value.
size_t ShortestRealText(double v, char* out, size_t room);

// How strictly date and time text is read.
enum class DateTextForm {
    // As a consumer may write it: blanks around, fields of one to four
    // (year) or one or two digits, a negative year, 'T' or blanks between
    // date and time, a fraction only after the seconds; days checked against
    // their month, seconds below 60.
    free,
    // As a database stores it: "yyyy-mm-dd", "hh:mm[:ss][.f...]" and the two
    // joined by one ' ' or 'T', with fields of exactly their width and a
    // trailing zone 'Z' or blanks after a time; days up to 31 in any month
    // and seconds up to 61, as the database's own date functions take them.
    stored,
};

// Date and time text: "yyyy-mm-dd", "hh:mm:ss" or both. The parts the text
// lacks are zero; hasDate/hasTime say which it had. False when the text is
// none of these forms or a field is out of range.
bool ParseDateText(const char* text, size_t n, DateTextForm form, DBTIMESTAMP& ts, bool& hasDate,
                   bool& hasTime);
bool ParseDateText(const wchar_t* text, size_t n, DateTextForm form, DBTIMESTAMP& ts, bool& hasDate,
                   bool& hasTime);

} // namespace hdbconvert
