// COleDateTime and COleDateTimeSpan: the class framework's automation date,
// a DATE (days since 1899-12-30 00:00, the fraction being the time of day)
// with a status, and a signed distance in days.
//
// DATE values below zero are not linear: the integer part counts days back
// from the epoch while the fraction still counts the time of day forward
// (-1.25 is 1899-12-29 06:00). Arithmetic and ordering therefore work on the
// linear day count, not on the raw double.
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/String.h"
#include "hdbplatform/Time.h"

#include <compare>

class COleDateTimeSpan {
public:
    enum DateTimeSpanStatus { valid = 0, invalid = 1, null = 2 };

    COleDateTimeSpan() noexcept = default;
    COleDateTimeSpan(double days) noexcept : m_span(days) {}
    COleDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept;

    DateTimeSpanStatus GetStatus() const noexcept { return m_status; }
    void SetStatus(DateTimeSpanStatus status) noexcept { m_status = status; }

    double GetTotalDays() const noexcept { return m_span; }
    double GetTotalHours() const noexcept { return m_span * 24; }
    double GetTotalMinutes() const noexcept { return m_span * 24 * 60; }
    double GetTotalSeconds() const noexcept { return m_span * 24 * 60 * 60; }
    // Whole parts of the span, rounded to the nearest second first; they
    // carry the sign of the span.
    LONG GetDays() const noexcept;
    LONG GetHours() const noexcept;
    LONG GetMinutes() const noexcept;
    LONG GetSeconds() const noexcept;

    bool operator==(const COleDateTimeSpan& other) const noexcept {
        return m_status == other.m_status && m_span == other.m_span;
    }
    std::partial_ordering operator<=>(const COleDateTimeSpan& other) const noexcept;
    // Spans that are not both valid give an invalid (or null) result.
    COleDateTimeSpan operator+(const COleDateTimeSpan& other) const noexcept;
    COleDateTimeSpan operator-(const COleDateTimeSpan& other) const noexcept;
    COleDateTimeSpan operator-() const noexcept;

    double m_span = 0.0;
    DateTimeSpanStatus m_status = valid;

private:
    LONGLONG RoundedSeconds() const noexcept;
};

class COleDateTime {
public:
    enum DateTimeStatus { error = -1, valid = 0, invalid = 1, null = 2 };
    // Format flags (the values of the automation runtime's VAR_* flags).
    static constexpr DWORD TimeValueOnly = 0x4;
    static constexpr DWORD DateValueOnly = 0x8;

    // 0.0 (1899-12-30 00:00:00), valid.
    COleDateTime() noexcept = default;
    // The given DATE, valid (no range check, as the framework does).
    COleDateTime(DATE date) noexcept : m_dt(date) {}
    // The local time of a time_t; invalid when it cannot be broken down.
    COleDateTime(__time64_t time);
    COleDateTime(const SYSTEMTIME& time);
    // The given parts; invalid when any lies outside its range (years
    // 100..9999, months 1..12, days within the month, 0..23, 0..59, 0..59).
    COleDateTime(int year, int month, int day, int hour, int minute, int second);

    // The current local time, to the second.
    static COleDateTime GetCurrentTime();

    COleDateTime& operator=(DATE date) noexcept;
    COleDateTime& operator=(__time64_t time);
    COleDateTime& operator=(const SYSTEMTIME& time);

    // Set the value from parts; the new status (valid 0, invalid 1). An
    // invalid result keeps the previous DATE. SetDate sets midnight of that
    // day, SetTime that time on 1899-12-30.
    int SetDateTime(int year, int month, int day, int hour, int minute, int second);
    int SetDate(int year, int month, int day);
    int SetTime(int hour, int minute, int second);

    DateTimeStatus GetStatus() const noexcept { return m_status; }
    void SetStatus(DateTimeStatus status) noexcept { m_status = status; }
    operator DATE() const noexcept { return m_dt; }

    // The broken-down value rounded to the second; false when the date is not
    // valid or lies outside the automation date range.
    bool GetAsSystemTime(SYSTEMTIME& time) const;
    // Parts of the broken-down value; -1 when it cannot be broken down.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    // 1 = Sunday ... 7 = Saturday.
    int GetDayOfWeek() const;
    // 1 = January 1st.
    int GetDayOfYear() const;

    // Equal when status and DATE are equal. Ordering is defined between two
    // valid dates only (others are unordered).
    bool operator==(const COleDateTime& other) const noexcept {
        return m_status == other.m_status && m_dt == other.m_dt;
    }
    std::partial_ordering operator<=>(const COleDateTime& other) const noexcept;

    // Date arithmetic; an invalid or null operand makes the result so.
    COleDateTime operator+(const COleDateTimeSpan& span) const noexcept;
    COleDateTime operator-(const COleDateTimeSpan& span) const noexcept;
    COleDateTime& operator+=(const COleDateTimeSpan& span) noexcept;
    COleDateTime& operator-=(const COleDateTimeSpan& span) noexcept;
    COleDateTimeSpan operator-(const COleDateTime& other) const noexcept;

    // The value written with the strftime conversions of format. A null
    // date gives an empty string, an invalid one "Invalid DateTime".
    CString Format(const wchar_t* format) const;
    // The value in a fixed, locale-independent form: "MM/DD/YYYY HH:MM:SS";
    // the date alone when the time is midnight, the time alone when the date
    // is 1899-12-30 (a pure time value). DateValueOnly / TimeValueOnly in
    // flags force one part. The locale is not consulted.
    CString Format(DWORD flags = 0, LCID locale = 0) const;

    // Reads "YYYY-MM-DD", "MM/DD/YYYY" or "DD.MM.YYYY", each optionally
    // followed (after a blank or 'T') by "HH:MM[:SS[.fff]]", or a time alone
    // (then on 1899-12-30). Fractions of a second are dropped. DateValueOnly /
    // TimeValueOnly keep one part. On success the value becomes valid and
    // true is returned; otherwise the value becomes 0.0, invalid, and false.
    bool ParseDateTime(const wchar_t* text, DWORD flags = 0, LCID locale = 0);

    DATE m_dt = 0.0;
    DateTimeStatus m_status = valid;
};
