#include "hdbplatform/OleDateTime.h"

#include <cmath>
#include <cwctype>
#include <optional>

namespace {

// DATE <-> linear day count. Below zero a DATE's fraction runs forward from
// its (negative) integer day, so -1.25 lies at -0.75 on the linear scale.
double LinearFromDate(DATE date) noexcept {
    if (date >= 0)
        return date;
    const double day = std::ceil(date);
    return day - (date - day);
}

DATE DateFromLinear(double linear) noexcept {
    if (linear >= 0)
        return linear;
    const double day = std::floor(linear);
    return day + (day - linear);
}

bool IsLeapYear(int year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DayOfYear(const SYSTEMTIME& time) noexcept {
    static constexpr int daysBeforeMonth[] = {0,   31,  59,  90,  120, 151,
                                              181, 212, 243, 273, 304, 334};
    int day = daysBeforeMonth[time.wMonth - 1] + time.wDay;
    if (time.wMonth > 2 && IsLeapYear(time.wYear))
        ++day;
    return day;
}

bool FitsWord(int value) noexcept {
    return value >= 0 && value <= 0xFFFF;
}

// The broken-down date as the C runtime's tm (no time zone: an automation
// date has none).
std::tm TmFromSystemTime(const SYSTEMTIME& time) noexcept {
    std::tm tm{};
    tm.tm_year = time.wYear - 1900;
    tm.tm_mon = time.wMonth - 1;
    tm.tm_mday = time.wDay;
    tm.tm_hour = time.wHour;
    tm.tm_min = time.wMinute;
    tm.tm_sec = time.wSecond;
    tm.tm_wday = time.wDayOfWeek;
    tm.tm_yday = DayOfYear(time) - 1;
    tm.tm_isdst = 0;
    return tm;
}

const wchar_t* const kInvalidText = L"Invalid DateTime";

// ------------------------------------------------------------ parsing

struct Parts {
    int year = 1899, month = 12, day = 30;
    int hour = 0, minute = 0, second = 0;
};

class Scanner {
public:
    explicit Scanner(const wchar_t* text) : m_at(text) {}

    void SkipBlanks() {
        while (*m_at && std::iswspace(static_cast<wint_t>(*m_at)))
            ++m_at;
    }
    bool AtEnd() const { return *m_at == L'\0'; }
    wchar_t Peek() const { return *m_at; }
    bool Accept(wchar_t ch) {
        if (*m_at != ch)
            return false;
        ++m_at;
        return true;
    }
    // A run of 1..maxDigits decimal digits.
    std::optional<int> Number(int maxDigits, int* digits = nullptr) {
        int value = 0;
        int count = 0;
        while (count < maxDigits && *m_at >= L'0' && *m_at <= L'9') {
            value = value * 10 + (*m_at - L'0');
            ++m_at;
            ++count;
        }
        if (digits)
            *digits = count;
        if (count == 0)
            return std::nullopt;
        return value;
    }
    void SkipDigits() {
        while (*m_at >= L'0' && *m_at <= L'9')
            ++m_at;
    }

private:
    const wchar_t* m_at;
};

// "HH:MM[:SS[.fff]]" after the hour has been read.
bool ParseTimeRest(Scanner& in, int hour, Parts& parts) {
    if (!in.Accept(L':'))
        return false;
    auto minute = in.Number(2);
    if (!minute)
        return false;
    parts.hour = hour;
    parts.minute = *minute;
    if (in.Accept(L':')) {
        auto second = in.Number(2);
        if (!second)
            return false;
        parts.second = *second;
        if (in.Accept(L'.'))
            in.SkipDigits();
    }
    return true;
}

// The date forms, after the first number has been read.
bool ParseDateRest(Scanner& in, int first, int firstDigits, Parts& parts) {
    if (firstDigits == 4 && in.Accept(L'-')) {
        auto month = in.Number(2);
        if (!month || !in.Accept(L'-'))
            return false;
        auto day = in.Number(2);
        if (!day)
            return false;
        parts.year = first, parts.month = *month, parts.day = *day;
        return true;
    }
    const wchar_t separator = in.Peek();
    if (firstDigits > 2 || (separator != L'/' && separator != L'.') || !in.Accept(separator))
        return false;
    auto second = in.Number(2);
    if (!second || !in.Accept(separator))
        return false;
    int yearDigits = 0;
    auto year = in.Number(4, &yearDigits);
    if (!year || yearDigits != 4)
        return false;
    parts.year = *year;
    parts.month = separator == L'/' ? first : *second;
    parts.day = separator == L'/' ? *second : first;
    return true;
}

bool ParseParts(const wchar_t* text, Parts& parts, bool& hasDate, bool& hasTime) {
    Scanner in(text);
    in.SkipBlanks();
    int digits = 0;
    auto first = in.Number(4, &digits);
    if (!first)
        return false;
    if (in.Peek() == L':') {
        hasTime = digits <= 2 && ParseTimeRest(in, *first, parts);
        if (!hasTime)
            return false;
    } else {
        hasDate = ParseDateRest(in, *first, digits, parts);
        if (!hasDate)
            return false;
        const bool separated = in.Accept(L'T') || in.Peek() == L' ' || in.Peek() == L'\t';
        in.SkipBlanks();
        if (separated && !in.AtEnd()) {
            auto hour = in.Number(2);
            hasTime = hour && ParseTimeRest(in, *hour, parts);
            if (!hasTime)
                return false;
        }
    }
    in.SkipBlanks();
    return in.AtEnd();
}

} // namespace

// ------------------------------------------------------------ COleDateTimeSpan

COleDateTimeSpan::COleDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept
    : m_span(days + (hours + (minutes + seconds / 60.0) / 60.0) / 24.0) {}

LONGLONG COleDateTimeSpan::RoundedSeconds() const noexcept {
    return std::llround(m_span * 24 * 60 * 60);
}

LONG COleDateTimeSpan::GetDays() const noexcept {
    return static_cast<LONG>(RoundedSeconds() / (24 * 60 * 60));
}
LONG COleDateTimeSpan::GetHours() const noexcept {
    return static_cast<LONG>(RoundedSeconds() / (60 * 60) % 24);
}
LONG COleDateTimeSpan::GetMinutes() const noexcept {
    return static_cast<LONG>(RoundedSeconds() / 60 % 60);
}
LONG COleDateTimeSpan::GetSeconds() const noexcept {
    return static_cast<LONG>(RoundedSeconds() % 60);
}

std::partial_ordering COleDateTimeSpan::operator<=>(const COleDateTimeSpan& other) const noexcept {
    if (m_status != valid || other.m_status != valid)
        return std::partial_ordering::unordered;
    return m_span <=> other.m_span;
}

namespace {
// The status of a result computed from two operands: null wins over invalid.
template <typename Status> Status Combined(Status a, Status b) noexcept {
    if (a == Status(2) || b == Status(2))
        return Status(2);
    if (a != Status(0) || b != Status(0))
        return Status(1);
    return Status(0);
}
} // namespace

COleDateTimeSpan COleDateTimeSpan::operator+(const COleDateTimeSpan& other) const noexcept {
    COleDateTimeSpan result(m_span + other.m_span);
    result.m_status = Combined(m_status, other.m_status);
    return result;
}

COleDateTimeSpan COleDateTimeSpan::operator-(const COleDateTimeSpan& other) const noexcept {
    COleDateTimeSpan result(m_span - other.m_span);
    result.m_status = Combined(m_status, other.m_status);
    return result;
}

COleDateTimeSpan COleDateTimeSpan::operator-() const noexcept {
    COleDateTimeSpan result(-m_span);
    result.m_status = m_status;
    return result;
}

// ------------------------------------------------------------ COleDateTime

COleDateTime::COleDateTime(__time64_t time) {
    *this = time;
}

COleDateTime::COleDateTime(const SYSTEMTIME& time) {
    *this = time;
}

COleDateTime::COleDateTime(int year, int month, int day, int hour, int minute, int second) {
    SetDateTime(year, month, day, hour, minute, second);
}

COleDateTime COleDateTime::GetCurrentTime() {
    return COleDateTime(_time64(nullptr));
}

COleDateTime& COleDateTime::operator=(DATE date) noexcept {
    m_dt = date;
    m_status = valid;
    return *this;
}

COleDateTime& COleDateTime::operator=(__time64_t time) {
    SYSTEMTIME local{};
    if (CTime(time).GetAsSystemTime(local))
        *this = local;
    else
        m_status = invalid;
    return *this;
}

COleDateTime& COleDateTime::operator=(const SYSTEMTIME& time) {
    SYSTEMTIME copy = time;
    DATE date = 0.0;
    if (SystemTimeToVariantTime(&copy, &date)) {
        m_dt = date;
        m_status = valid;
    } else {
        m_status = invalid;
    }
    return *this;
}

int COleDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second) {
    // Parts that do not fit a SYSTEMTIME field would wrap into valid ones.
    if (!FitsWord(year) || !FitsWord(month) || !FitsWord(day) || !FitsWord(hour) ||
        !FitsWord(minute) || !FitsWord(second)) {
        m_status = invalid;
        return m_status;
    }
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    *this = time;
    return m_status;
}

int COleDateTime::SetDate(int year, int month, int day) {
    return SetDateTime(year, month, day, 0, 0, 0);
}

int COleDateTime::SetTime(int hour, int minute, int second) {
    return SetDateTime(1899, 12, 30, hour, minute, second);
}

bool COleDateTime::GetAsSystemTime(SYSTEMTIME& time) const {
    return m_status == valid && VariantTimeToSystemTime(m_dt, &time) != 0;
}

namespace {
template <typename Part> int BrokenDownPart(const COleDateTime& date, Part part) {
    SYSTEMTIME time{};
    return date.GetAsSystemTime(time) ? part(time) : -1;
}
} // namespace

int COleDateTime::GetYear() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wYear}; });
}
int COleDateTime::GetMonth() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wMonth}; });
}
int COleDateTime::GetDay() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wDay}; });
}
int COleDateTime::GetHour() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wHour}; });
}
int COleDateTime::GetMinute() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wMinute}; });
}
int COleDateTime::GetSecond() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return int{t.wSecond}; });
}
int COleDateTime::GetDayOfWeek() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return t.wDayOfWeek + 1; });
}
int COleDateTime::GetDayOfYear() const {
    return BrokenDownPart(*this, [](const SYSTEMTIME& t) { return DayOfYear(t); });
}

std::partial_ordering COleDateTime::operator<=>(const COleDateTime& other) const noexcept {
    if (m_status != valid || other.m_status != valid)
        return std::partial_ordering::unordered;
    return LinearFromDate(m_dt) <=> LinearFromDate(other.m_dt);
}

COleDateTime COleDateTime::operator+(const COleDateTimeSpan& span) const noexcept {
    COleDateTime result(DateFromLinear(LinearFromDate(m_dt) + span.m_span));
    result.m_status = Combined(m_status, static_cast<DateTimeStatus>(span.m_status));
    return result;
}

COleDateTime COleDateTime::operator-(const COleDateTimeSpan& span) const noexcept {
    return *this + -span;
}

COleDateTime& COleDateTime::operator+=(const COleDateTimeSpan& span) noexcept {
    return *this = *this + span;
}

COleDateTime& COleDateTime::operator-=(const COleDateTimeSpan& span) noexcept {
    return *this = *this - span;
}

COleDateTimeSpan COleDateTime::operator-(const COleDateTime& other) const noexcept {
    COleDateTimeSpan result(LinearFromDate(m_dt) - LinearFromDate(other.m_dt));
    result.m_status =
        static_cast<COleDateTimeSpan::DateTimeSpanStatus>(Combined(m_status, other.m_status));
    return result;
}

CString COleDateTime::Format(const wchar_t* format) const {
    if (m_status == null || !format)
        return CString();
    SYSTEMTIME time{};
    if (!GetAsSystemTime(time))
        return CString(kInvalidText);
    return hdbframework::FormatTm(format, TmFromSystemTime(time));
}

CString COleDateTime::Format(DWORD flags, LCID /*locale*/) const {
    if (m_status == null)
        return CString();
    SYSTEMTIME time{};
    if (!GetAsSystemTime(time))
        return CString(kInvalidText);
    const bool midnight = time.wHour == 0 && time.wMinute == 0 && time.wSecond == 0;
    const bool baseDate = time.wYear == 1899 && time.wMonth == 12 && time.wDay == 30;
    const wchar_t* pattern = L"%m/%d/%Y %H:%M:%S";
    if (flags & DateValueOnly)
        pattern = L"%m/%d/%Y";
    else if ((flags & TimeValueOnly) || baseDate)
        pattern = L"%H:%M:%S";
    else if (midnight)
        pattern = L"%m/%d/%Y";
    return hdbframework::FormatTm(pattern, TmFromSystemTime(time));
}

bool COleDateTime::ParseDateTime(const wchar_t* text, DWORD flags, LCID /*locale*/) {
    Parts parts;
    bool hasDate = false;
    bool hasTime = false;
    if (text && ParseParts(text, parts, hasDate, hasTime)) {
        if (flags & DateValueOnly)
            parts.hour = parts.minute = parts.second = 0;
        if (flags & TimeValueOnly)
            parts.year = 1899, parts.month = 12, parts.day = 30;
        if (SetDateTime(parts.year, parts.month, parts.day, parts.hour, parts.minute,
                        parts.second) == valid)
            return true;
    }
    m_dt = 0.0;
    m_status = invalid;
    return false;
}
