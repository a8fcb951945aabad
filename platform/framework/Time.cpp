#include "hdbplatform/Time.h"

#include "hdbplatform/AtlException.h"

#include <cwchar>
#include <vector>

namespace hdbframework {

CString FormatTm(const wchar_t* format, const std::tm& tm) {
    if (!format || !*format)
        return CString();
    // wcsftime reports 0 both for "did not fit" and for an empty result, so
    // the buffer grows a few times before an empty result is accepted.
    for (std::size_t size = 128; size <= 128 * 1024; size *= 8) {
        std::vector<wchar_t> buffer(size);
        const std::size_t written = std::wcsftime(buffer.data(), buffer.size(), format, &tm);
        if (written > 0)
            return CString(buffer.data(), static_cast<int>(written));
    }
    return CString();
}

} // namespace hdbframework

namespace {

bool InRange(int value, int low, int high) noexcept {
    return value >= low && value <= high;
}

// Reads a part of the local time, 0 when the time cannot be broken down.
template <typename Part> int LocalPart(const CTime& time, Part part) {
    std::tm tm{};
    return time.GetLocalTm(&tm) ? part(tm) : 0;
}

} // namespace

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int daylightSaving) {
    if (year < 1900 || !InRange(month, 1, 12) || !InRange(day, 1, 31) || !InRange(hour, 0, 23) ||
        !InRange(minute, 0, 59) || !InRange(second, 0, 59))
        AtlThrow(E_INVALIDARG);
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    tm.tm_isdst = daylightSaving;
    m_time = _mktime64(&tm);
    if (m_time == -1)
        AtlThrow(E_INVALIDARG);
}

CTime::CTime(const SYSTEMTIME& time, int daylightSaving)
    : CTime(time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
            daylightSaving) {}

CTime CTime::GetCurrentTime() {
    return CTime(_time64(nullptr));
}

struct tm* CTime::GetLocalTm(struct tm* tm) const {
    if (!tm || _localtime64_s(tm, &m_time) != 0)
        return nullptr;
    return tm;
}

struct tm* CTime::GetGmtTm(struct tm* tm) const {
    if (!tm || _gmtime64_s(tm, &m_time) != 0)
        return nullptr;
    return tm;
}

bool CTime::GetAsSystemTime(SYSTEMTIME& time) const {
    std::tm tm{};
    if (!GetLocalTm(&tm))
        return false;
    time.wYear = static_cast<WORD>(tm.tm_year + 1900);
    time.wMonth = static_cast<WORD>(tm.tm_mon + 1);
    time.wDayOfWeek = static_cast<WORD>(tm.tm_wday);
    time.wDay = static_cast<WORD>(tm.tm_mday);
    time.wHour = static_cast<WORD>(tm.tm_hour);
    time.wMinute = static_cast<WORD>(tm.tm_min);
    time.wSecond = static_cast<WORD>(tm.tm_sec);
    time.wMilliseconds = 0;
    return true;
}

int CTime::GetYear() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_year + 1900; });
}
int CTime::GetMonth() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_mon + 1; });
}
int CTime::GetDay() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_mday; });
}
int CTime::GetHour() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_hour; });
}
int CTime::GetMinute() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_min; });
}
int CTime::GetSecond() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_sec; });
}
int CTime::GetDayOfWeek() const {
    return LocalPart(*this, [](const std::tm& tm) { return tm.tm_wday + 1; });
}

CString CTime::Format(const wchar_t* format) const {
    if (!format)
        return CString();
    std::tm tm{};
    if (!GetLocalTm(&tm))
        AtlThrow(E_INVALIDARG);
    return hdbframework::FormatTm(format, tm);
}

CString CTime::FormatGmt(const wchar_t* format) const {
    if (!format)
        return CString();
    std::tm tm{};
    if (!GetGmtTm(&tm))
        AtlThrow(E_INVALIDARG);
    return hdbframework::FormatTm(format, tm);
}
