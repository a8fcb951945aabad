// The platform's readers of date and decimal text: the two date forms take
// different text, and a decimal keeps every digit until it is rounded.
#include "hdbplatform/ValueText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using hdbconvert::DateTextForm;

struct DateCase {
    const char* text;
    bool free;   // read in the free form
    bool stored; // read in the stored form
};

// Accepted or refused per form: where the forms part is what each reader
// relies on (a stored leap second or zone, a consumer's short fields).
constexpr DateCase DateCases[] = {
    {"2024-03-31", true, true},
    {"2024-03-31 10:05:07.25", true, true},
    {"2024-03-31T10:05", true, true},
    {"10:05:07", true, true},
    {" 2024-03-31 ", true, false},
    {"2024-3-5", true, false},
    {"-0044-03-15", true, false},
    {"2024-03-31  10:05", true, false},
    {"9:05:00", true, false},
    {"2024-03-31 10:05:07Z", false, true},
    {"2024-02-30", false, true},
    {"2024-03-31 23:59:60", false, true},
    {"10:05.5", false, true},
    {"2024-03-31 10:05:07.", false, true},
    {"2024-13-01", false, false},
    {"2024-03-31 24:00", false, false},
    {"2024-03-31X10:05", false, false},
    {"20240331", false, false},
    {"", false, false},
};

TEST(ValueText, DateFormsAcceptTheirOwnText) {
    for (const DateCase& c : DateCases) {
        for (DateTextForm form : {DateTextForm::free, DateTextForm::stored}) {
            DBTIMESTAMP ts;
            bool hasDate, hasTime;
            const bool want = form == DateTextForm::free ? c.free : c.stored;
            EXPECT_EQ(
                hdbconvert::ParseDateText(c.text, std::strlen(c.text), form, ts, hasDate, hasTime),
                want)
                << c.text << (form == DateTextForm::free ? " (free)" : " (stored)");
        }
    }
}

TEST(ValueText, DateFieldsAndPartsAreThoseOfTheText) {
    DBTIMESTAMP ts;
    bool hasDate, hasTime;
    ASSERT_TRUE(hdbconvert::ParseDateText(L"2024-03-31 10:05:07.1234567891", 30, DateTextForm::free,
                                          ts, hasDate, hasTime));
    EXPECT_TRUE(hasDate && hasTime);
    EXPECT_EQ(ts.year, 2024);
    EXPECT_EQ(ts.day, 31);
    EXPECT_EQ(ts.second, 7);
    EXPECT_EQ(ts.fraction, 123456789u); // digits past the ninth drop
    ASSERT_TRUE(hdbconvert::ParseDateText("10:05", 5, DateTextForm::stored, ts, hasDate, hasTime));
    EXPECT_FALSE(hasDate);
    EXPECT_TRUE(hasTime);
    EXPECT_EQ(ts.year, 0);
    EXPECT_EQ(ts.minute, 5);
}

// The rounded magnitude at a scale, as decimal text; "" when refused.
std::string Rounded(const char* text, int scale) {
    hdbconvert::DecimalText<char> d;
    hdbconvert::Magnitude m;
    if (!hdbconvert::SplitDecimal(text, std::strlen(text), d) ||
        !hdbconvert::RoundedMagnitude(d, scale, m))
        return "";
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(m % 10)));
        m /= 10;
    } while (m != 0);
    return (d.negative ? "-" : "") + digits;
}

TEST(ValueText, DecimalsRoundOnceAtTheFirstDroppedDigit) {
    EXPECT_EQ(Rounded("1.005", 2), "101");
    EXPECT_EQ(Rounded(" -2.5e0 ", 0), "-3");
    EXPECT_EQ(Rounded("0.00049", 3), "0");
    EXPECT_EQ(Rounded("12345e-2", 1), "1235");
    // The 39th significant digit still decides the rounding.
    EXPECT_EQ(Rounded("1.23456789012345678901234567890123456785", 37),
              "12345678901234567890123456789012345679");
    EXPECT_EQ(Rounded("1e38", 0), ""); // 39 digits
    EXPECT_EQ(Rounded("1.2.3", 0), "");
    EXPECT_EQ(Rounded("e5", 0), "");
    EXPECT_EQ(Rounded("5e", 0), "");
}

} // namespace
