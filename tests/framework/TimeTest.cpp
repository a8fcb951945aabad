#include "hdbplatform/Time.h"
#include "hdbplatform/AtlException.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

// Local-time expectations below are those of Berlin (CET/CEST). The test
// environment sets TZ; setting it here as well keeps a direct run honest.
class TimeInBerlin : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("TZ", "Europe/Berlin", 1);
        tzset();
    }
};

HRESULT ThrownBy(void (*action)()) {
    try {
        action();
    } catch (const CAtlException& e) {
        return e.m_hr;
    }
    return S_OK;
}

TEST_F(TimeInBerlin, PartsRoundTripThroughLocalTime) {
    const CTime summer(2024, 7, 1, 12, 0, 0);
    EXPECT_EQ(summer.GetTime(), 1719828000); // 10:00 UTC
    EXPECT_EQ(summer.GetYear(), 2024);
    EXPECT_EQ(summer.GetMonth(), 7);
    EXPECT_EQ(summer.GetDay(), 1);
    EXPECT_EQ(summer.GetHour(), 12);
    EXPECT_EQ(summer.GetMinute(), 0);
    EXPECT_EQ(summer.GetSecond(), 0);
    EXPECT_EQ(summer.GetDayOfWeek(), 2); // Monday
    EXPECT_EQ(summer.Format(L"%Y-%m-%d %H:%M:%S"), L"2024-07-01 12:00:00");
    EXPECT_EQ(summer.FormatGmt(L"%H:%M"), L"10:00");

    SYSTEMTIME st{};
    ASSERT_TRUE(summer.GetAsSystemTime(st));
    EXPECT_EQ(CTime(st).GetTime(), summer.GetTime());
    EXPECT_EQ(st.wDayOfWeek, 1);
}

TEST_F(TimeInBerlin, DaylightSavingDays) {
    // Spring forward: 03:30 on 2024-03-31 is already summer time.
    const CTime afterSwitch(2024, 3, 31, 3, 30, 0);
    EXPECT_EQ(afterSwitch.GetTime(), 1711848600);
    EXPECT_EQ(afterSwitch.GetDayOfWeek(), 1); // Sunday

    // A day of wall-clock time across the switch is only 23 hours long,
    // while adding 24 hours moves the clock to 13:00.
    const CTime dayBefore(2024, 3, 30, 12, 0, 0);
    EXPECT_EQ((CTime(2024, 3, 31, 12, 0, 0) - dayBefore).GetTotalHours(), 23);
    const CTime nextDay = dayBefore + CTimeSpan(1, 0, 0, 0);
    EXPECT_EQ(nextDay.GetHour(), 13);
    EXPECT_EQ(nextDay.GetDay(), 31);

    // Fall back: 02:30 on 2024-10-27 exists twice; the flag chooses.
    EXPECT_EQ(CTime(2024, 10, 27, 2, 30, 0, 1).GetTime(), 1729989000);
    EXPECT_EQ(CTime(2024, 10, 27, 2, 30, 0, 0).GetTime(), 1729992600);
}

TEST_F(TimeInBerlin, PartsOutOfRangeThrowInvalidArg) {
    EXPECT_EQ(ThrownBy([] { CTime(2024, 13, 1, 0, 0, 0); }), E_INVALIDARG);
    EXPECT_EQ(ThrownBy([] { CTime(2024, 0, 1, 0, 0, 0); }), E_INVALIDARG);
    EXPECT_EQ(ThrownBy([] { CTime(2024, 1, 32, 0, 0, 0); }), E_INVALIDARG);
    EXPECT_EQ(ThrownBy([] { CTime(2024, 1, 1, 24, 0, 0); }), E_INVALIDARG);
    EXPECT_EQ(ThrownBy([] { CTime(2024, 1, 1, 0, 60, 0); }), E_INVALIDARG);
    EXPECT_EQ(ThrownBy([] { CTime(1899, 1, 1, 0, 0, 0); }), E_INVALIDARG);
    // Local midnight of 1970-01-01 in Berlin is an hour before the epoch.
    EXPECT_EQ(ThrownBy([] { CTime(1970, 1, 1, 0, 0, 0); }), E_INVALIDARG);
    EXPECT_EQ(CTime(1970, 1, 1, 1, 0, 0).GetTime(), 0);
    // The runtime normalises a day past the month's end.
    EXPECT_EQ(CTime(2023, 2, 31, 0, 0, 0).GetMonth(), 3);
}

TEST_F(TimeInBerlin, TimesBeforeTheEpochCannotBeBrokenDown) {
    const CTime before(-1);
    std::tm tm{};
    EXPECT_EQ(before.GetLocalTm(&tm), nullptr);
    EXPECT_EQ(before.GetYear(), 0);
    SYSTEMTIME st{};
    EXPECT_FALSE(before.GetAsSystemTime(st));
    EXPECT_EQ(ThrownBy([] { CTime(-1).Format(L"%Y"); }), E_INVALIDARG);
}

TEST_F(TimeInBerlin, SpansAndComparisons) {
    const CTimeSpan span(2, 3, 4, 5);
    EXPECT_EQ(span.GetTotalSeconds(), 2 * 86400 + 3 * 3600 + 4 * 60 + 5);
    EXPECT_EQ(span.GetDays(), 2);
    EXPECT_EQ(span.GetHours(), 3);
    EXPECT_EQ(span.GetMinutes(), 4);
    EXPECT_EQ(span.GetSeconds(), 5);

    const CTime a(1000), b(2000);
    EXPECT_LT(a, b);
    EXPECT_EQ(a + CTimeSpan(1000), b);
    EXPECT_EQ((a - b).GetTotalSeconds(), -1000);
    const std::time_t now = std::time(nullptr);
    EXPECT_LE(std::abs(CTime::GetCurrentTime().GetTime() - now), 2);
}

} // namespace
