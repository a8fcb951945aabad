// Dates and times in the conversion engine: the calendar, automation dates
// (days since 1899-12-30), date and time text read and written, and a Value
// made a timestamp or an automation date. The text reader is also the
// platform's one reader of date text (ValueText.h).
//
// DBTYPE_DATE reads and writes text in the same ISO form as
// DBTYPE_DBTIMESTAMP; this platform has no regional settings to follow.
#include "ConversionCore.h"

#include <cmath>
#include <ctime>

namespace hdbconvert {

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date.
constexpr long long DaysFromCivil(long long y, unsigned m, unsigned d) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, long long& y, unsigned& m, unsigned& d) {
    z += 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<long long>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

constexpr long long OleEpochDays = DaysFromCivil(1899, 12, 30);
constexpr double DateMin = -657434.0;        // 0100-01-01
constexpr double DateMax = 2958465.99999999; // 9999-12-31 23:59:59

bool IsLeap(long long y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

unsigned DaysInMonth(long long y, unsigned m) {
    static constexpr unsigned Days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && IsLeap(y) ? 29 : Days[m - 1];
}

bool ValidDate(long long y, unsigned m, unsigned d) {
    return y >= -9999 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= DaysInMonth(y, m);
}

bool ValidTime(unsigned h, unsigned mi, unsigned s, ULONG fraction) {
    return h < 24 && mi < 60 && s < 60 && fraction < 1000000000u;
}

double TimeOfDay(const DBTIMESTAMP& ts) {
    return (ts.hour * 3600.0 + ts.minute * 60.0 + ts.second + ts.fraction / 1e9) / 86400.0;
}

// Automation date of a valid timestamp; false when the date is outside the
// range an automation date covers (years 100 to 9999).
bool OleDateFromStamp(const DBTIMESTAMP& ts, double& date) {
    if (ts.year < 100)
        return false;
    const long long days = DaysFromCivil(ts.year, ts.month, ts.day) - OleEpochDays;
    const double time = TimeOfDay(ts);
    // Before the epoch the time of day still counts away from zero.
    date = days >= 0 ? static_cast<double>(days) + time : static_cast<double>(days) - time;
    return true;
}

// The timestamp of an automation date, to the millisecond; false for a value
// outside the automation date range.
bool StampFromOleDate(double date, DBTIMESTAMP& ts) {
    if (!(date >= DateMin && date < DateMax + 1e-9))
        return false;
    long long day = static_cast<long long>(date); // towards zero
    long long ms = std::llround(std::fabs(date - static_cast<double>(day)) * 86400000.0);
    if (ms >= 86400000) {
        ms -= 86400000;
        ++day;
    }
    long long y;
    unsigned m, d;
    CivilFromDays(day + OleEpochDays, y, m, d);
    ts.year = static_cast<SHORT>(y);
    ts.month = static_cast<USHORT>(m);
    ts.day = static_cast<USHORT>(d);
    ts.hour = static_cast<USHORT>(ms / 3600000);
    ts.minute = static_cast<USHORT>(ms / 60000 % 60);
    ts.second = static_cast<USHORT>(ms / 1000 % 60);
    ts.fraction = static_cast<ULONG>(ms % 1000 * 1000000);
    return true;
}

// ------------------------------------------------------------ date text

template <class Char>
bool ReadField(const Char* p, size_t n, size_t& i, int minDigits, int maxDigits, unsigned& out) {
    int count = 0;
    out = 0;
    while (i < n && count < maxDigits && p[i] >= '0' && p[i] <= '9') {
        out = out * 10 + static_cast<unsigned>(p[i] - '0');
        ++i;
        ++count;
    }
    return count >= minDigits;
}

// Reads "hh:mm[:ss][.f...]" at i.
template <class Char>
bool ParseTimePart(const Char* p, size_t n, size_t& i, DateTextForm form, DBTIMESTAMP& ts) {
    const bool stored = form == DateTextForm::stored;
    unsigned h, mi, s = 0;
    if (!ReadField(p, n, i, stored ? 2 : 1, 2, h) || i >= n || p[i] != ':')
        return false;
    ++i;
    if (!ReadField(p, n, i, 2, 2, mi))
        return false;
    bool seconds = false;
    if (i < n && p[i] == ':') {
        ++i;
        if (!ReadField(p, n, i, 2, 2, s))
            return false;
        seconds = true;
    }
    ULONG fraction = 0;
    if (i < n && p[i] == '.' && (seconds || stored)) {
        ++i;
        ULONG scale = 100000000;
        bool any = false;
        for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i) {
            any = true;
            fraction += static_cast<ULONG>(p[i] - '0') * scale; // digits past 9 drop
            scale /= 10;
        }
        if (!any && !stored)
            return false;
    }
    // A stored time may hold a leap second.
    if (stored ? h > 23 || mi > 59 || s > 61 : !ValidTime(h, mi, s, fraction))
        return false;
    ts.hour = static_cast<USHORT>(h);
    ts.minute = static_cast<USHORT>(mi);
    ts.second = static_cast<USHORT>(s);
    ts.fraction = fraction;
    return true;
}

// Reads "yyyy-mm-dd" at i.
template <class Char>
bool ParseDatePart(const Char* p, size_t n, size_t& i, DateTextForm form, DBTIMESTAMP& ts) {
    const bool stored = form == DateTextForm::stored;
    bool negYear = false;
    if (!stored && i < n && p[i] == '-') {
        negYear = true;
        ++i;
    }
    unsigned y, m, d;
    const int width = stored ? 2 : 1;
    if (!ReadField(p, n, i, stored ? 4 : 1, 4, y) || i >= n || p[i] != '-')
        return false;
    ++i;
    if (!ReadField(p, n, i, width, 2, m) || i >= n || p[i] != '-')
        return false;
    ++i;
    if (!ReadField(p, n, i, width, 2, d))
        return false;
    long long year = negYear ? -static_cast<long long>(y) : y;
    if (stored ? m < 1 || m > 12 || d < 1 || d > 31 : !ValidDate(year, m, d))
        return false;
    ts.year = static_cast<SHORT>(year);
    ts.month = static_cast<USHORT>(m);
    ts.day = static_cast<USHORT>(d);
    return true;
}

template <class Char>
bool ParseStamp(const Char* p, size_t n, DateTextForm form, DBTIMESTAMP& ts, bool& hasDate,
                bool& hasTime) {
    const bool stored = form == DateTextForm::stored;
    if (!stored)
        engine::Trim(p, n);
    ts = DBTIMESTAMP{};
    hasDate = hasTime = false;
    size_t i = 0;
    // A time alone has its colon within the first three characters.
    bool timeOnly = false;
    for (size_t k = 0; k < n && k < 3; ++k)
        if (p[k] == ':')
            timeOnly = true;
    if (!timeOnly) {
        if (!ParseDatePart(p, n, i, form, ts))
            return false;
        hasDate = true;
        if (i == n)
            return true;
        if (p[i] != ' ' && p[i] != 'T')
            return false;
        if (stored) {
            ++i;
        } else {
            while (i < n && engine::IsSpace(p[i]))
                ++i;
            if (i < n && p[i] == 'T')
                ++i;
        }
    }
    if (!ParseTimePart(p, n, i, form, ts))
        return false;
    hasTime = true;
    // A stored time may carry the zone of universal time.
    while (stored && i < n && (p[i] == ' ' || p[i] == 'Z'))
        ++i;
    return i == n;
}

} // namespace

bool ParseDateText(const char* text, size_t n, DateTextForm form, DBTIMESTAMP& ts, bool& hasDate,
                   bool& hasTime) {
    return ParseStamp(text, n, form, ts, hasDate, hasTime);
}

bool ParseDateText(const wchar_t* text, size_t n, DateTextForm form, DBTIMESTAMP& ts, bool& hasDate,
                   bool& hasTime) {
    return ParseStamp(text, n, form, ts, hasDate, hasTime);
}

} // namespace hdbconvert

namespace hdbconvert::engine {

namespace {

// Writes value as exactly width decimal digits.
char* PutDigits(char* out, unsigned value, int width) {
    for (int k = width - 1; k >= 0; --k, value /= 10)
        out[k] = static_cast<char>('0' + value % 10);
    return out + width;
}

} // namespace

DBTIMESTAMP Today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    DBTIMESTAMP ts{};
    ts.year = static_cast<SHORT>(local.tm_year + 1900);
    ts.month = static_cast<USHORT>(local.tm_mon + 1);
    ts.day = static_cast<USHORT>(local.tm_mday);
    return ts;
}

size_t FormatStamp(const DBTIMESTAMP& ts, bool date, bool time, char* out) {
    char* p = out;
    if (date) {
        if (ts.year < 0)
            *p++ = '-';
        p = PutDigits(p, static_cast<unsigned>(ts.year < 0 ? -ts.year : ts.year), 4);
        *p++ = '-';
        p = PutDigits(p, ts.month, 2);
        *p++ = '-';
        p = PutDigits(p, ts.day, 2);
    }
    if (date && time)
        *p++ = ' ';
    if (time) {
        p = PutDigits(p, ts.hour, 2);
        *p++ = ':';
        p = PutDigits(p, ts.minute, 2);
        *p++ = ':';
        p = PutDigits(p, ts.second, 2);
        if (ts.fraction != 0) {
            *p++ = '.';
            p = PutDigits(p, ts.fraction, 9);
        }
    }
    return static_cast<size_t>(p - out);
}

DBSTATUS ToStamp(const Value& v, DBTIMESTAMP& out, bool& hasDate, bool& hasTime) {
    DBTIMESTAMP ts{};
    hasDate = hasTime = false;
    switch (v.kind) {
    case Value::Kind::Stamp:
        ts = v.ts;
        hasDate = v.hasDate;
        hasTime = v.hasTime;
        if ((hasDate && !ValidDate(ts.year, ts.month, ts.day)) ||
            (hasTime && !ValidTime(ts.hour, ts.minute, ts.second, ts.fraction)))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    case Value::Kind::OleDate:
        if (!StampFromOleDate(v.r, ts))
            return DBSTATUS_E_DATAOVERFLOW;
        hasDate = hasTime = true;
        break;
    case Value::Kind::Signed:
    case Value::Kind::Unsigned:
    case Value::Kind::Real:
    case Value::Kind::Scaled: {
        // A number counts as an automation date.
        double date;
        DBSTATUS status = ToReal(v, date);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!StampFromOleDate(date, ts))
            return DBSTATUS_E_DATAOVERFLOW;
        hasDate = hasTime = true;
        break;
    }
    case Value::Kind::Narrow:
        if (!ParseDateText(v.narrow, v.length, DateTextForm::free, ts, hasDate, hasTime))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    case Value::Kind::Wide:
        if (!ParseDateText(v.wide, v.length, DateTextForm::free, ts, hasDate, hasTime))
            return DBSTATUS_E_CANTCONVERTVALUE;
        break;
    default:
        return DBSTATUS_E_CANTCONVERTVALUE;
    }
    out = ts;
    return DBSTATUS_S_OK;
}

DBSTATUS ToOleDate(const Value& v, double& out) {
    switch (v.kind) {
    case Value::Kind::Stamp:
    case Value::Kind::Narrow:
    case Value::Kind::Wide: {
        DBTIMESTAMP ts;
        bool hasDate, hasTime;
        DBSTATUS status = ToStamp(v, ts, hasDate, hasTime);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!hasDate) {
            // A time of day alone lands on the automation epoch.
            out = TimeOfDay(ts);
            return DBSTATUS_S_OK;
        }
        return OleDateFromStamp(ts, out) ? DBSTATUS_S_OK : DBSTATUS_E_DATAOVERFLOW;
    }
    case Value::Kind::Guid:
    case Value::Kind::Bytes:
        return DBSTATUS_E_CANTCONVERTVALUE;
    default: {
        double r;
        DBSTATUS status = ToReal(v, r);
        if (status != DBSTATUS_S_OK)
            return status;
        if (!(r >= DateMin && r <= DateMax))
            return DBSTATUS_E_DATAOVERFLOW;
        out = r;
        return DBSTATUS_S_OK;
    }
    }
}

} // namespace hdbconvert::engine
