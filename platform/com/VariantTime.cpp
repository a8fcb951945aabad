// OLE automation dates: a double counting days since 1899-12-30 in the
// proleptic Gregorian calendar, the fraction being the time of day. Before
// the epoch the fraction counts away from zero, so -1.25 is 1899-12-29 06:00
// and not 1899-12-28 18:00. Valid dates run from 0100-01-01 to 9999-12-31.
#include "hdbplatform/OleAuto.h"

#include <cmath>

namespace {

constexpr int kMinYear = 100;
constexpr int kMaxYear = 9999;
constexpr int kSecondsPerDay = 86400;
// Exclusive bounds: the whole of 0100-01-01 and 9999-12-31, fractions included.
constexpr double kMinDate = -657435.0;
constexpr double kMaxDate = 2958466.0;

constexpr bool IsLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int DaysInMonth(int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days since 1970-01-01 of a Gregorian date (era arithmetic, valid for any
// year of the range used here).
constexpr int DaysFromCivil(int year, int month, int day) {
    year -= month <= 2;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const int yearOfEra = year - era * 400;
    const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

struct CivilDate {
    int year;
    int month;
    int day;
};

constexpr CivilDate CivilFromDays(int days) {
    days += 719468;
    const int era = (days >= 0 ? days : days - 146096) / 146097;
    const int dayOfEra = days - era * 146097;
    const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int shiftedMonth = (5 * dayOfYear + 2) / 153;
    const int day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const int month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {yearOfEra + era * 400 + (month <= 2), month, day};
}

constexpr int kOleEpoch = DaysFromCivil(1899, 12, 30);
static_assert(kOleEpoch == -25569);

bool IsValidSystemTime(const SYSTEMTIME& st) {
    if (st.wYear < kMinYear || st.wYear > kMaxYear || st.wMonth < 1 || st.wMonth > 12)
        return false;
    if (st.wDay < 1 || st.wDay > DaysInMonth(st.wYear, st.wMonth))
        return false;
    return st.wHour <= 23 && st.wMinute <= 59 && st.wSecond <= 59;
}

// 1899-12-30 was a Saturday.
WORD DayOfWeek(int oleDay) {
    return static_cast<WORD>(((oleDay % 7) + 7 + 6) % 7);
}

} // namespace

// Milliseconds and the day of the week are not part of the date; they are
// ignored as Windows ignores them.
INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE* pvtime) {
    if (!lpSystemTime || !pvtime || !IsValidSystemTime(*lpSystemTime))
        return FALSE;
    const SYSTEMTIME& st = *lpSystemTime;
    const int day = DaysFromCivil(st.wYear, st.wMonth, st.wDay) - kOleEpoch;
    const int seconds = st.wHour * 3600 + st.wMinute * 60 + st.wSecond;
    const double time = static_cast<double>(seconds) / kSecondsPerDay;
    *pvtime = day >= 0 ? day + time : day - time;
    return TRUE;
}

// Rounds to the nearest second, half a second up, carrying into the next
// calendar day where needed.
INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime) {
    if (!lpSystemTime || !(vtime > kMinDate && vtime < kMaxDate))
        return FALSE;
    const double dayPart = std::trunc(vtime);
    const double fraction = std::fabs(vtime - dayPart);
    int day = static_cast<int>(dayPart);
    int seconds = static_cast<int>(std::floor(fraction * kSecondsPerDay + 0.5));
    if (seconds >= kSecondsPerDay) {
        seconds -= kSecondsPerDay;
        ++day;
    }
    const CivilDate date = CivilFromDays(day + kOleEpoch);
    if (date.year > kMaxYear)
        return FALSE;
    lpSystemTime->wYear = static_cast<WORD>(date.year);
    lpSystemTime->wMonth = static_cast<WORD>(date.month);
    lpSystemTime->wDay = static_cast<WORD>(date.day);
    lpSystemTime->wDayOfWeek = DayOfWeek(day);
    lpSystemTime->wHour = static_cast<WORD>(seconds / 3600);
    lpSystemTime->wMinute = static_cast<WORD>(seconds / 60 % 60);
    lpSystemTime->wSecond = static_cast<WORD>(seconds % 60);
    lpSystemTime->wMilliseconds = 0;
    return TRUE;
}
