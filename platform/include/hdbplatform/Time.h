// CTime and CTimeSpan: the class framework's absolute time in seconds since
// 1970-01-01 00:00:00 UTC (64 bits), broken down in the process's local time
// zone, and a signed distance between two such times.
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/String.h"

#include <compare>
#include <ctime>

#ifdef _WIN32
// windows.h maps GetCurrentTime to GetTickCount, which would rename the
// static members of the time classes.
#undef GetCurrentTime
#endif

namespace hdbframework {
// The strftime conversions of format applied to tm (wide, any length). A null
// format gives an empty string.
CString FormatTm(const wchar_t* format, const std::tm& tm);
} // namespace hdbframework

class CTimeSpan {
public:
    constexpr CTimeSpan() noexcept = default;
    constexpr CTimeSpan(__time64_t seconds) noexcept : m_timeSpan(seconds) {}
    constexpr CTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept
        : m_timeSpan(seconds + 60 * (minutes + 60 * (hours + __time64_t{24} * days))) {}

    constexpr __time64_t GetTimeSpan() const noexcept { return m_timeSpan; }
    constexpr LONGLONG GetDays() const noexcept { return m_timeSpan / (24 * 3600); }
    constexpr LONGLONG GetTotalHours() const noexcept { return m_timeSpan / 3600; }
    constexpr LONG GetHours() const noexcept { return static_cast<LONG>(GetTotalHours() % 24); }
    constexpr LONGLONG GetTotalMinutes() const noexcept { return m_timeSpan / 60; }
    constexpr LONG GetMinutes() const noexcept { return static_cast<LONG>(GetTotalMinutes() % 60); }
    constexpr LONGLONG GetTotalSeconds() const noexcept { return m_timeSpan; }
    constexpr LONG GetSeconds() const noexcept { return static_cast<LONG>(m_timeSpan % 60); }

    constexpr auto operator<=>(const CTimeSpan&) const noexcept = default;
    constexpr CTimeSpan operator+(CTimeSpan other) const noexcept {
        return CTimeSpan(m_timeSpan + other.m_timeSpan);
    }
    constexpr CTimeSpan operator-(CTimeSpan other) const noexcept {
        return CTimeSpan(m_timeSpan - other.m_timeSpan);
    }
    constexpr CTimeSpan operator-() const noexcept { return CTimeSpan(-m_timeSpan); }
    constexpr CTimeSpan& operator+=(CTimeSpan other) noexcept {
        m_timeSpan += other.m_timeSpan;
        return *this;
    }
    constexpr CTimeSpan& operator-=(CTimeSpan other) noexcept {
        m_timeSpan -= other.m_timeSpan;
        return *this;
    }

private:
    __time64_t m_timeSpan = 0;
};

class CTime {
public:
    constexpr CTime() noexcept = default;
    constexpr CTime(__time64_t time) noexcept : m_time(time) {}
    // Local time of the given parts. year >= 1900, month 1-12, day 1-31,
    // hour 0-23, minute and second 0-59, else CAtlException(E_INVALIDARG);
    // daylightSaving: 1 summer time, 0 standard time, -1 let the runtime
    // decide. A moment the runtime cannot represent (before 1970 UTC) throws
    // E_INVALIDARG too.
    CTime(int year, int month, int day, int hour, int minute, int second, int daylightSaving = -1);
    // The same from a SYSTEMTIME (milliseconds and day of week ignored).
    CTime(const SYSTEMTIME& time, int daylightSaving = -1);

    static CTime GetCurrentTime();

    constexpr __time64_t GetTime() const noexcept { return m_time; }

    // The broken-down local (or UTC) time into *tm; null when this time
    // cannot be broken down (negative) or tm is null.
    struct tm* GetLocalTm(struct tm* tm) const;
    struct tm* GetGmtTm(struct tm* tm) const;
    // The local time as a SYSTEMTIME (milliseconds 0); false when this time
    // cannot be broken down.
    bool GetAsSystemTime(SYSTEMTIME& time) const;

    // Parts of the local time; 0 when this time cannot be broken down.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    // 1 = Sunday ... 7 = Saturday.
    int GetDayOfWeek() const;

    // The local (or UTC) time written with the strftime conversions of
    // format. A time that cannot be broken down throws E_INVALIDARG; a null
    // format gives an empty string.
    CString Format(const wchar_t* format) const;
    CString FormatGmt(const wchar_t* format) const;

    constexpr auto operator<=>(const CTime&) const noexcept = default;
    constexpr CTime operator+(CTimeSpan span) const noexcept {
        return CTime(m_time + span.GetTimeSpan());
    }
    constexpr CTime operator-(CTimeSpan span) const noexcept {
        return CTime(m_time - span.GetTimeSpan());
    }
    constexpr CTimeSpan operator-(CTime other) const noexcept {
        return CTimeSpan(m_time - other.m_time);
    }
    constexpr CTime& operator+=(CTimeSpan span) noexcept {
        m_time += span.GetTimeSpan();
        return *this;
    }
    constexpr CTime& operator-=(CTimeSpan span) noexcept {
        m_time -= span.GetTimeSpan();
        return *this;
    }

private:
    __time64_t m_time = 0;
};
