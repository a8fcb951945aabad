// The value transforms of the rowset: DB_NUMERIC and DB_VARNUMERIC to and
// from native numbers, and the date records to and from CTime, COleDateTime
// and doubles. Local times are those of Europe/Berlin (set by the test run).
#include "TestSupport.h"

#include <boost/multiprecision/cpp_bin_float.hpp>
#include <boost/multiprecision/cpp_int.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

namespace {

using boost::multiprecision::cpp_int;

struct RowSetAccess : CRowSet {
    using CRowSet::TransFormToNumericCommaHasChecked;
};

constexpr ULONGLONG TwoTo63 = ULONGLONG{1} << 63;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

DB_NUMERIC Numeric(const cpp_int& magnitude, BYTE scale, bool positive = true) {
    DB_NUMERIC numeric{38, scale, BYTE(positive ? 1 : 0), {}};
    for (int i = 0; i < 16; ++i)
        numeric.val[i] = static_cast<BYTE>(static_cast<unsigned>((magnitude >> (8 * i)) & 0xFF));
    return numeric;
}

cpp_int MagnitudeOf(const DB_NUMERIC& numeric) {
    cpp_int magnitude;
    for (int i = 15; i >= 0; --i)
        magnitude = (magnitude << 8) | numeric.val[i];
    return magnitude;
}

// A DB_VARNUMERIC with room for every byte it may read (the record declares
// one).
struct VarNumeric {
    std::vector<BYTE> storage;
    VarNumeric(BYTE precision, SBYTE scale, bool positive, std::vector<BYTE> bytes)
        : storage(offsetof(DB_VARNUMERIC, val) + std::max<std::size_t>(bytes.size(), precision) +
                  4) {
        storage[0] = precision;
        storage[1] = static_cast<BYTE>(scale);
        storage[2] = positive ? 1 : 0;
        std::copy(bytes.begin(), bytes.end(), storage.begin() + offsetof(DB_VARNUMERIC, val));
    }
    const DB_VARNUMERIC* get() const {
        return reinterpret_cast<const DB_VARNUMERIC*>(storage.data());
    }
};

__time64_t Utc(int year, int month, int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    return _mkgmtime64(&parts);
}

template <class Call> HRESULT ThrownCode(Call call) {
    try {
        call();
    } catch (const CAtlException& e) {
        return e.m_hr;
    }
    return S_OK;
}

auto Parts(const DBTIMESTAMP& t) {
    return std::tuple(int{t.year}, t.month, t.day, t.hour, t.minute, t.second, t.fraction);
}

TEST(NumericRead, ScaleZeroesTheSignedIntegerAndTruncatesTheUnsignedOne) {
    const DB_NUMERIC positive = Numeric(12345, 2);
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&positive), 123.45);
    EXPECT_EQ(CRowSet::TransFormFromNumericInt(&positive), 0);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&positive), 123u);
    const DB_NUMERIC negative = Numeric(12345, 2, false);
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&negative), -123.45);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&negative), 0 - ULONGLONG{123});
}

TEST(NumericRead, UnscaledIntegersReadSevenBytesSignedAndEightUnsigned) {
    const DB_NUMERIC big = Numeric(cpp_int(1) << 60, 0);
    EXPECT_EQ(CRowSet::TransFormFromNumericInt(&big), 0);
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&big), 0.0);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&big), ULONGLONG{1} << 60);

    const DB_NUMERIC seven = Numeric((cpp_int(1) << 56) - 1, 0, false);
    EXPECT_EQ(CRowSet::TransFormFromNumericInt(&seven), -((LONGLONG{1} << 56) - 1));
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&seven), -0x1p56);
    // Negative: through the double, which rounds 2^56 - 1 up.
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&seven), 0 - (ULONGLONG{1} << 56));
    // All 64 bits; the ninth byte is ignored.
    const DB_NUMERIC full = Numeric((cpp_int(3) << 64) - 1, 0);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&full), ~ULONGLONG{0});
}

TEST(NumericRead, ScaledUnsignedReadsConvertValuesFrom2To63Exactly) {
    // 68 bits of magnitude with one decimal.
    const DB_NUMERIC numeric = Numeric(cpp_int(0xC000000000000000u) * 10, 1);
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&numeric), 0x1.8p63);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&numeric), 0xC000000000000000u);
    const DB_NUMERIC justAbove = Numeric(cpp_int(TwoTo63) * 100, 2);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(&justAbove), TwoTo63);
}

TEST(NumericRead, ScaledDoubleIsTheExactProductRoundedOnce) {
    const DB_NUMERIC allOnes = Numeric((cpp_int(1) << 128) - 1, 1);
    EXPECT_EQ(CRowSet::TransFormFromNumeric(&allOnes), std::ldexp(std::pow(10.0, -1), 128));

    // Magnitudes where rounding the magnitude to a double before multiplying
    // misses the nearest double of the product.
    using Exact = boost::multiprecision::number<boost::multiprecision::cpp_bin_float<400>>;
    for (const auto& [text, scale] :
         {std::pair<const char*, BYTE>{"0x78fea1519755d4c13a902931cd447e35", 4},
          {"0x3b4be274a2f20aaf3c64af7", 1},
          {"0x239cf29ea90a8f0d66b829e", 30},
          {"0x3ab99254ae901e35cd47d380d", 10}}) {
        const cpp_int magnitude(text);
        const double factor = std::pow(10.0, -scale);
        const double expected = (Exact(magnitude) * Exact(factor)).convert_to<double>();
        ASSERT_NE(expected, magnitude.convert_to<double>() * factor) << text;
        const DB_NUMERIC negative = Numeric(magnitude, scale, false);
        EXPECT_EQ(CRowSet::TransFormFromNumeric(&negative), -expected) << text;
    }
}

TEST(VarNumericRead, SignedScaleShiftsTheDoubleButZeroesTheIntegers) {
    const std::vector<BYTE> bytes{0x39, 0x30, 0, 0, 0}; // 12345
    const VarNumeric negative(5, 0, false, bytes);
    EXPECT_EQ(CRowSet::TransFormFromVarNumeric(negative.get()), -12345.0);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(negative.get()), -12345);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(negative.get()), 0 - ULONGLONG{12345});
    for (SBYTE scale : {SBYTE{2}, SBYTE{-2}}) {
        const VarNumeric scaled(5, scale, true, bytes);
        EXPECT_DOUBLE_EQ(CRowSet::TransFormFromVarNumeric(scaled.get()),
                         scale > 0 ? 123.45 : 1234500.0);
        EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(scaled.get()), 0) << int{scale};
        EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(scaled.get()), 0u) << int{scale};
    }
}

TEST(VarNumericRead, ByteCountIsTheDigitCountOfTheDecimalSumOfThePrecisionBytes) {
    // Precision 1 holding 200: three digits, so two bytes past the precision
    // are read.
    const VarNumeric beyond(1, 0, true, {200, 1, 0, 7});
    EXPECT_EQ(CRowSet::TransFormFromVarNumeric(beyond.get()), 456.0);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(beyond.get()), 456);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(beyond.get()), 456u);
    const VarNumeric small(1, 0, true, {9, 1});
    EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(small.get()), 9);
    const VarNumeric none(0, 0, true, {7, 1});
    EXPECT_EQ(CRowSet::TransFormFromVarNumeric(none.get()), 7.0);

    // Precision 8: the sum 87654321 has eight digits, the ninth byte stays out.
    const VarNumeric eight(8, 0, true, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(eight.get()), 0x0807060504030201u);
    EXPECT_EQ(CRowSet::TransFormFromVarNumeric(eight.get()), 0x0807060504030201 * 1.0);
    // The top bit: kept unsigned, wrapped signed.
    const VarNumeric topBit(16, 0, true, {1, 0, 0, 0, 0, 0, 0, 0x80});
    EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(topBit.get()), TwoTo63 + 1);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(topBit.get()),
              std::numeric_limits<LONGLONG>::min() + 1);
    // Nine bytes reach the double: 2^64 + 5 in thousandths.
    const VarNumeric wide(16, 3, true, {5, 0, 0, 0, 0, 0, 0, 0, 1});
    EXPECT_DOUBLE_EQ(CRowSet::TransFormFromVarNumeric(wide.get()), 0x1p64 / 1000);
}

TEST(NumericWrite, ScaleIsLoweredToTheDecimalsOfTheSeventeenDigitText) {
    const struct {
        double value;
        BYTE givenScale;
        BYTE scale;
        BYTE sign;
        cpp_int magnitude;
    } cases[] = {
        {0.0, 2, 2, 0, 0},
        {-1.5, 4, 1, 0, 15},
        {0.1, 4, 4, 1, 1000},                                 // "0.10000000000000001"
        {1e-5, 30, 20, 1, cpp_int("1000000000000000")},       // "1.0000000000000001e-05"
        {1e20, 3, 3, 1, cpp_int("100000000000000000000000")}, // "1e+20"
        {123456789012.75, 6, 2, 1, cpp_int("12345678901275")},
    };
    for (const auto& c : cases) {
        DB_NUMERIC numeric;
        std::memset(&numeric, 0x5A, sizeof(numeric));
        CRowSet::TransFormToNumeric(&numeric, c.value, c.givenScale, 17);
        EXPECT_EQ(std::tuple(numeric.precision, numeric.scale, numeric.sign, MagnitudeOf(numeric)),
                  std::tuple(BYTE{17}, c.scale, c.sign, c.magnitude))
            << c.value;
        EXPECT_DOUBLE_EQ(CRowSet::TransFormFromNumeric(&numeric), c.value) << c.value;
    }
}

TEST(NumericWrite, GivenScaleIsAppliedExactly) {
    // 0.1 is 3602879701896397 / 2^55.
    DB_NUMERIC numeric;
    RowSetAccess::TransFormToNumericCommaHasChecked(&numeric, 0.1, 20, 38);
    EXPECT_EQ(MagnitudeOf(numeric),
              cpp_int(3602879701896397) * cpp_int(10000000000) * cpp_int(10000000000) >> 55);
    EXPECT_EQ(numeric.scale, 20);
    RowSetAccess::TransFormToNumericCommaHasChecked(&numeric, 0x1p127, 0, 38);
    EXPECT_EQ(MagnitudeOf(numeric), cpp_int(1) << 127);
}

TEST(NumericWrite, MagnitudesBeyond128BitsWrapOrSaturateByteWise) {
    DB_NUMERIC numeric;
    // Quotients below 2^31 keep their low byte: the top of 2^128 + 2^100 is lost.
    RowSetAccess::TransFormToNumericCommaHasChecked(&numeric, 0x1p128 + 0x1p100, 0, 38);
    EXPECT_EQ(MagnitudeOf(numeric), cpp_int(1) << 100);
    RowSetAccess::TransFormToNumericCommaHasChecked(&numeric, 1e30, 10, 38);
    EXPECT_EQ(MagnitudeOf(numeric), cpp_int(1e30) * cpp_int(10000000000) % (cpp_int(1) << 128));
    // 2^151: the top quotient 2^31 saturates and takes 2^31 - 1 off, leaving
    // 2^120, whose quotient 256 for byte 14 keeps its low byte 0.
    RowSetAccess::TransFormToNumericCommaHasChecked(&numeric, 0x1p151, 0, 38);
    EXPECT_EQ(MagnitudeOf(numeric), cpp_int(0xFF) << 120);

    const cpp_int allOnes = (cpp_int(1) << 128) - 1;
    for (double value : {1e300, std::numeric_limits<double>::infinity(), NaN}) {
        CRowSet::TransFormToNumeric(&numeric, value, 2, 38);
        EXPECT_EQ(MagnitudeOf(numeric), allOnes) << value;
        EXPECT_EQ(numeric.sign, value > 0 ? 1 : 0) << value;
    }
}

TEST(NumericTransforms, NullRecordsGiveTheNeutralValue) {
    EXPECT_EQ(CRowSet::TransFormFromNumeric(nullptr), 0.0);
    EXPECT_EQ(CRowSet::TransFormFromNumericInt(nullptr), 0);
    EXPECT_EQ(CRowSet::TransFormFromNumericUnsignedInt(nullptr), 0u);
    EXPECT_EQ(CRowSet::TransFormFromVarNumeric(nullptr), 0.0);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericInt(nullptr), 0);
    EXPECT_EQ(CRowSet::TransFormFromVarNumericUnsignedInt(nullptr), 0u);
    CRowSet::TransFormToNumeric(nullptr, 1.0, 2, 10);
}

TEST(DateRead, DatesAreLocalMidnightAcrossDaylightSaving) {
    const std::pair<DBDATE, __time64_t> cases[] = {
        {{2024, 3, 31}, Utc(2024, 3, 30, 23, 0, 0)},
        {{2024, 7, 1}, Utc(2024, 6, 30, 22, 0, 0)},
        {{2024, 10, 28}, Utc(2024, 10, 27, 23, 0, 0)},
        {{1970, 1, 2}, Utc(1970, 1, 1, 23, 0, 0)},
    };
    for (const auto& [date, expected] : cases)
        EXPECT_EQ(CRowSet::TransFormFromDate(&date).GetTime(), expected) << date.month;
    EXPECT_EQ(CRowSet::TransFormFromDate(nullptr).GetTime(), 0);
}

TEST(DateRead, DatesOutOfRangeThrow) {
    for (const DBDATE date : {DBDATE{1969, 12, 31}, DBDATE{2024, 0, 1}, DBDATE{2024, 13, 1},
                              DBDATE{2024, 1, 0}, DBDATE{2024, 1, 32}, DBDATE{-5, 1, 1}})
        EXPECT_EQ(ThrownCode([&] { CRowSet::TransFormFromDate(&date); }), E_FAIL)
            << date.year << '-' << date.month << '-' << date.day;
    // Local midnight of 1970-01-01 lies before the epoch in UTC.
    const DBDATE first{1970, 1, 1};
    EXPECT_EQ(ThrownCode([&] { CRowSet::TransFormFromDate(&first); }), E_INVALIDARG);
}

TEST(DateRead, TimestampsAreLocalAndTheFractionGivesMilliseconds) {
    const DBTIMESTAMP beforeSwitch{2024, 3, 31, 1, 59, 59, 0};
    const DBTIMESTAMP afterSwitch{2024, 3, 31, 3, 0, 0, 0};
    EXPECT_EQ(CRowSet::TransFormFromDateTime(&beforeSwitch).GetTime(), Utc(2024, 3, 31, 0, 59, 59));
    EXPECT_EQ(CRowSet::TransFormFromDateTime(&afterSwitch).GetTime(), Utc(2024, 3, 31, 1, 0, 0));

    for (const auto& [fraction, expected] : {std::pair<ULONG, unsigned short>{123456789, 123},
                                             {999999999, 999},
                                             {5000000, 5},
                                             {999999, 0},
                                             {4294967295u, 429}}) {
        const DBTIMESTAMP timestamp{2024, 12, 13, 15, 20, 15, fraction};
        unsigned short fromCTime = 0xBEEF, fromOle = 0xBEEF;
        CRowSet::TransFormFromDateTime(&timestamp, &fromCTime);
        CRowSet::TransFormFromOleDateTime(&timestamp, &fromOle);
        EXPECT_EQ(fromCTime, expected) << fraction;
        EXPECT_EQ(fromOle, expected) << fraction;
    }
    for (const DBTIMESTAMP& bad :
         {DBTIMESTAMP{2024, 13, 1, 0, 0, 0, 0}, DBTIMESTAMP{2024, 1, 1, 24, 0, 0, 0},
          DBTIMESTAMP{1969, 12, 31, 12, 0, 0, 0}})
        EXPECT_EQ(ThrownCode([&] { CRowSet::TransFormFromDateTime(&bad); }), E_INVALIDARG);
}

TEST(DateRead, TimesLieOnTheFirstLocalDayOfTheEpoch) {
    const DBTIME afternoon{12, 34, 56}, leap{12, 34, 75}, one{1, 0, 0};
    EXPECT_EQ(CRowSet::TransFormFromTime(&afternoon).GetTime(), Utc(1970, 1, 1, 11, 34, 56));
    EXPECT_EQ(CRowSet::TransFormFromTime(&leap).GetTime(), Utc(1970, 1, 1, 11, 34, 59));
    EXPECT_EQ(CRowSet::TransFormFromTime(&one).GetTime(), 0);
    // Before 01:00 local is before the epoch in UTC.
    const DBTIME early{0, 30, 0}, badMinute{10, 60, 0};
    EXPECT_EQ(ThrownCode([&] { CRowSet::TransFormFromTime(&early); }), E_INVALIDARG);
    EXPECT_EQ(ThrownCode([&] { CRowSet::TransFormFromTime(&badMinute); }), E_INVALIDARG);
    EXPECT_EQ(CRowSet::TransFormFromTime(nullptr).GetTime(), 0);
}

TEST(OleDateRead, RecordsBecomeAutomationDatesBefore1970Too) {
    const DBDATE date{2024, 12, 13}, old{1900, 1, 1};
    const DBTIME time{15, 20, 15};
    const DBTIMESTAMP timestamp{2024, 12, 13, 15, 20, 15, 250000000};
    const double timeOfDay = 55215.0 / 86400;
    EXPECT_EQ(CRowSet::TransFormFromOleDate(&date), COleDateTime(45639.0));
    EXPECT_EQ(CRowSet::TransFormFromOleDate(&old), COleDateTime(2.0));
    EXPECT_DOUBLE_EQ(CRowSet::TransFormFromOleTime(&time).m_dt, timeOfDay);
    EXPECT_DOUBLE_EQ(CRowSet::TransFormFromOleDateTime(&timestamp).m_dt, 45639.0 + timeOfDay);
    EXPECT_EQ(CRowSet::TransFormFromOleDateTime(nullptr), COleDateTime());

    for (const DBDATE bad : {DBDATE{2023, 2, 29}, DBDATE{2024, 13, 1}, DBDATE{50, 1, 1}})
        EXPECT_EQ(CRowSet::TransFormFromOleDate(&bad).GetStatus(), COleDateTime::invalid);
    const DBTIME badTime{24, 0, 0};
    EXPECT_EQ(CRowSet::TransFormFromOleTime(&badTime).GetStatus(), COleDateTime::invalid);
}

TEST(DateWrite, TimestampsReadTheDoubleAsAnAutomationDate) {
    DBTIMESTAMP timestamp{1, 1, 1, 1, 1, 1, 77};
    EXPECT_TRUE(CRowSet::TransFormToDateTime(&timestamp, 45639.0 + 55215.0 / 86400));
    EXPECT_EQ(Parts(timestamp), Parts({2024, 12, 13, 15, 20, 15, 0}));
    for (double bad : {-1e7, 1e9, NaN}) {
        timestamp = {1, 1, 1, 1, 1, 1, 77};
        EXPECT_TRUE(CRowSet::TransFormToDateTime(&timestamp, bad));
        EXPECT_EQ(Parts(timestamp), Parts({-1, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0}));
    }
    EXPECT_FALSE(CRowSet::TransFormToDateTime(nullptr, 45639.0));
}

TEST(DateWrite, DatesAndTimesReadTheDoubleAsLocalSecondsSince1970) {
    // Each case: seconds, then the expected local date and time.
    const double beforeSwitch = static_cast<double>(Utc(2024, 3, 31, 0, 59, 59));
    const struct {
        double seconds;
        DBTIMESTAMP local;
    } cases[] = {
        {beforeSwitch + 0.9, {2024, 3, 31, 1, 59, 59, 0}}, // truncated, not rounded
        {beforeSwitch + 1, {2024, 3, 31, 3, 0, 0, 0}},
        {static_cast<double>(Utc(2024, 6, 20, 22, 0, 0)), {2024, 6, 21, 0, 0, 0, 0}},
        {45639.0, {1970, 1, 1, 13, 40, 39, 0}}, // an automation date read as seconds
        {-1.0, {-1, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0}},
        {1e300, {-1, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0}},
        {NaN, {-1, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0}},
    };
    for (const auto& c : cases) {
        DBDATE date{};
        DBTIME time{};
        EXPECT_TRUE(CRowSet::TransFormToDate(&date, c.seconds));
        EXPECT_TRUE(CRowSet::TransFormToTime(&time, c.seconds));
        EXPECT_EQ(Parts({date.year, date.month, date.day, time.hour, time.minute, time.second, 0}),
                  Parts(c.local))
            << c.seconds;
    }
    EXPECT_FALSE(CRowSet::TransFormToDate(nullptr, 0.0));
    EXPECT_FALSE(CRowSet::TransFormToTime(nullptr, 0.0));
}

} // namespace
