#include "hdbplatform/OleDateTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

class OleDateTimeInBerlin : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("TZ", "Europe/Berlin", 1);
        tzset();
    }
};

void ExpectParts(const COleDateTime& date, int year, int month, int day, int hour, int minute,
                 int second) {
    EXPECT_EQ(date.GetYear(), year);
    EXPECT_EQ(date.GetMonth(), month);
    EXPECT_EQ(date.GetDay(), day);
    EXPECT_EQ(date.GetHour(), hour);
    EXPECT_EQ(date.GetMinute(), minute);
    EXPECT_EQ(date.GetSecond(), second);
}

TEST_F(OleDateTimeInBerlin, EpochAndNegativeDates) {
    const COleDateTime epoch;
    EXPECT_EQ(epoch.GetStatus(), COleDateTime::valid);
    ExpectParts(epoch, 1899, 12, 30, 0, 0, 0);
    EXPECT_EQ(epoch.GetDayOfWeek(), 7); // a Saturday

    // Before the epoch the fraction still runs forward from the day.
    ExpectParts(COleDateTime(-1.25), 1899, 12, 29, 6, 0, 0);
    ExpectParts(COleDateTime(1.75), 1899, 12, 31, 18, 0, 0);

    // So -1.0 (midnight) lies before -1.25 (06:00 the same day), and one day
    // after 1899-12-29 06:00 is 0.25.
    EXPECT_LT(COleDateTime(-1.0), COleDateTime(-1.25));
    EXPECT_GT(COleDateTime(-0.5), COleDateTime(-1.75));
    const COleDateTime later = COleDateTime(-1.25) + COleDateTimeSpan(1.0);
    EXPECT_DOUBLE_EQ(later.m_dt, 0.25);
    EXPECT_DOUBLE_EQ((COleDateTime(0.25) - COleDateTime(-1.25)).GetTotalDays(), 1.0);
    EXPECT_DOUBLE_EQ((COleDateTime(0.5) - COleDateTimeSpan(1.25)).m_dt, -1.25);
}

TEST_F(OleDateTimeInBerlin, PartsRoundTrip) {
    COleDateTime leap(2024, 2, 29, 13, 45, 30);
    ASSERT_EQ(leap.GetStatus(), COleDateTime::valid);
    EXPECT_NEAR(leap.m_dt, 45351.57326388889, 1e-9);
    ExpectParts(leap, 2024, 2, 29, 13, 45, 30);
    EXPECT_EQ(leap.GetDayOfYear(), 60);
    EXPECT_EQ(leap.GetDayOfWeek(), 5); // a Thursday
    EXPECT_EQ(leap.Format(L"%Y-%m-%d %H:%M:%S %j %a"), L"2024-02-29 13:45:30 060 Thu");

    SYSTEMTIME st{};
    ASSERT_TRUE(leap.GetAsSystemTime(st));
    EXPECT_EQ(COleDateTime(st), leap);

    EXPECT_EQ(COleDateTime(2023, 12, 31, 0, 0, 0).GetDayOfYear(), 365);
    EXPECT_EQ(COleDateTime(9999, 12, 31, 23, 59, 59).GetYear(), 9999);
}

TEST_F(OleDateTimeInBerlin, InvalidPartsGiveInvalidStatus) {
    const int invalidParts[][6] = {
        {2023, 2, 29, 0, 0, 0}, {2024, 13, 1, 0, 0, 0},        {2024, 0, 1, 0, 0, 0},
        {2024, 1, 1, 24, 0, 0}, {2024, 1, 1, 0, 60, 0},        {2024, 1, 1, 0, 0, 60},
        {10000, 1, 1, 0, 0, 0}, {65536 + 2024, 1, 1, 0, 0, 0}, {-1, 1, 1, 0, 0, 0},
    };
    for (const auto& p : invalidParts) {
        const COleDateTime date(p[0], p[1], p[2], p[3], p[4], p[5]);
        EXPECT_EQ(date.GetStatus(), COleDateTime::invalid) << p[0] << "-" << p[1] << "-" << p[2];
        EXPECT_EQ(date.GetYear(), -1);
        EXPECT_EQ(date.GetDayOfYear(), -1);
        EXPECT_EQ(date.Format(L"%Y"), L"Invalid DateTime");
        EXPECT_EQ(date.Format(), L"Invalid DateTime");
    }

    COleDateTime date(2024, 5, 1, 0, 0, 0);
    const DATE before = date.m_dt;
    EXPECT_EQ(date.SetDate(2024, 4, 31), COleDateTime::invalid);
    EXPECT_EQ(date.m_dt, before);
    EXPECT_EQ(date.SetTime(23, 59, 59), COleDateTime::valid);
    ExpectParts(date, 1899, 12, 30, 23, 59, 59);

    // A DATE beyond the representable range cannot be broken down.
    EXPECT_EQ(COleDateTime(3e6).GetMonth(), -1);

    COleDateTime nothing;
    nothing.SetStatus(COleDateTime::null);
    EXPECT_EQ(nothing.Format(L"%Y"), L"");
    EXPECT_EQ(nothing.Format(), L"");
}

TEST_F(OleDateTimeInBerlin, FromTimeTakesLocalTime) {
    const COleDateTime afterSwitch(static_cast<__time64_t>(1711848600)); // 01:30 UTC
    ExpectParts(afterSwitch, 2024, 3, 31, 3, 30, 0);
    const COleDateTime winter(static_cast<__time64_t>(1729992600)); // 01:30 UTC
    ExpectParts(winter, 2024, 10, 27, 2, 30, 0);
    EXPECT_EQ(COleDateTime(static_cast<__time64_t>(-1)).GetStatus(), COleDateTime::invalid);

    const COleDateTime now = COleDateTime::GetCurrentTime();
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    EXPECT_EQ(now.GetYear(), local.tm_year + 1900);
    EXPECT_EQ(now.GetDayOfYear(), local.tm_yday + 1);
}

TEST_F(OleDateTimeInBerlin, DefaultTextDropsEmptyParts) {
    EXPECT_EQ(COleDateTime(2024, 3, 31, 3, 30, 5).Format(), L"03/31/2024 03:30:05");
    EXPECT_EQ(COleDateTime(2024, 3, 31, 0, 0, 0).Format(), L"03/31/2024");
    EXPECT_EQ(COleDateTime(0.75).Format(), L"18:00:00");
    EXPECT_EQ(COleDateTime(2024, 3, 31, 3, 30, 5).Format(COleDateTime::DateValueOnly),
              L"03/31/2024");
    EXPECT_EQ(COleDateTime(2024, 3, 31, 0, 0, 0).Format(COleDateTime::TimeValueOnly), L"00:00:00");
}

TEST_F(OleDateTimeInBerlin, ParsesTheCommonForms) {
    COleDateTime date;
    ASSERT_TRUE(date.ParseDateTime(L"2024-03-31 03:30:15"));
    ExpectParts(date, 2024, 3, 31, 3, 30, 15);
    ASSERT_TRUE(date.ParseDateTime(L" 2024-03-31T03:30:15.250 "));
    ExpectParts(date, 2024, 3, 31, 3, 30, 15);
    ASSERT_TRUE(date.ParseDateTime(L"03/31/2024"));
    ExpectParts(date, 2024, 3, 31, 0, 0, 0);
    ASSERT_TRUE(date.ParseDateTime(L"31.03.2024 10:05"));
    ExpectParts(date, 2024, 3, 31, 10, 5, 0);
    ASSERT_TRUE(date.ParseDateTime(L"12:30"));
    EXPECT_DOUBLE_EQ(date.m_dt, 12.5 / 24);
    ASSERT_TRUE(date.ParseDateTime(L"2024-03-31 03:30:15", COleDateTime::DateValueOnly));
    ExpectParts(date, 2024, 3, 31, 0, 0, 0);

    for (const wchar_t* bad : {L"", L"hello", L"2024-02-30", L"2024-03-31 25:00", L"2024-03-31x",
                               L"3/31/24", L"2024-03-31 10"}) {
        date = COleDateTime(2024, 1, 1, 0, 0, 0);
        EXPECT_FALSE(date.ParseDateTime(bad)) << "accepted: " << static_cast<const void*>(bad);
        EXPECT_EQ(date.GetStatus(), COleDateTime::invalid);
        EXPECT_EQ(date.m_dt, 0.0);
    }
    EXPECT_FALSE(date.ParseDateTime(nullptr));
}

TEST_F(OleDateTimeInBerlin, SpanParts) {
    const COleDateTimeSpan span(1, 23, 59, 59);
    EXPECT_EQ(span.GetDays(), 1);
    EXPECT_EQ(span.GetHours(), 23);
    EXPECT_EQ(span.GetMinutes(), 59);
    EXPECT_EQ(span.GetSeconds(), 59);
    EXPECT_NEAR(span.GetTotalSeconds(), 172799.0, 1e-6);
    const COleDateTimeSpan negative = -span;
    EXPECT_EQ(negative.GetDays(), -1);
    EXPECT_EQ(negative.GetSeconds(), -59);

    COleDateTime invalid(2023, 2, 29, 0, 0, 0);
    EXPECT_EQ((invalid + span).GetStatus(), COleDateTime::invalid);
    EXPECT_EQ((COleDateTime(1.0) - invalid).GetStatus(), COleDateTimeSpan::invalid);
    EXPECT_FALSE(invalid < COleDateTime(1.0));
    EXPECT_FALSE(invalid > COleDateTime(1.0));
}

} // namespace
