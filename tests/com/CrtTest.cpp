// The Windows C runtime functions: formatting with the Windows printf
// conventions, secure copies, number parsing, comparison and 64-bit times.
#include "hdbplatform/Com.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

// What the secure vprintf of CharT writes of format and the arguments, or
// "<failed>".
template <class CharT> std::basic_string<CharT> Printed(const CharT* format, ...) {
    CharT buffer[512];
    va_list args;
    va_start(args, format);
    int written;
    if constexpr (std::is_same_v<CharT, wchar_t>)
        written = vswprintf_s(buffer, 512, format, args);
    else
        written = vsprintf_s(buffer, 512, format, args);
    va_end(args);
    const std::string_view failed = "<failed>";
    return written < 0 ? std::basic_string<CharT>(failed.begin(), failed.end())
                       : std::basic_string<CharT>(buffer);
}

// ------------------------------------------------------------ integer sizes

TEST(WindowsFormat, LongIsThirtyTwoBits) {
    const HRESULT canceled = HResultOf(0x80040E4E);
    EXPECT_EQ(L"0x80040e4e (-2147217842)", Printed(L"0x%lx (%ld)", canceled, canceled));
    EXPECT_EQ("0x80040e4e (-2147217842)", Printed("0x%lx (%ld)", canceled, canceled));
    // Reading 32 bits keeps the following argument in place.
    EXPECT_EQ(L"4294967295 7", Printed(L"%lu %d", ULONG(0xFFFFFFFF), 7));
    EXPECT_EQ(L"0XFF", Printed(L"%#lX", ULONG(255)));
}

TEST(WindowsFormat, SixtyFourBitAndPointerSizedIntegers) {
    EXPECT_EQ(L"18446744073709551615", Printed(L"%I64u", 18446744073709551615ULL));
    EXPECT_EQ(L"-9223372036854775808", Printed(L"%I64d", LLONG_MIN));
    EXPECT_EQ(L"ffffffffffffffff 1", Printed(L"%llx %d", ~0ULL, 1));
    EXPECT_EQ(L"4294967296 2", Printed(L"%Iu %d", std::size_t(1) << 32, 2));
    EXPECT_EQ(L"5 3", Printed(L"%I32d %d", 5, 3));
    EXPECT_EQ(L"-1 -1", Printed(L"%hd %hhd", 0xFFFF, 0xFF));
}

TEST(WindowsFormat, WidthPrecisionAndFlags) {
    EXPECT_EQ(L"0007-03", Printed(L"%.4d-%.2d", 7, 3));
    EXPECT_EQ(L"[   42][42   ][+42][00042][ 42]",
              Printed(L"[%5d][%-5d][%+d][%05d][% d]", 42, 42, 42, 42, 42));
    EXPECT_EQ(L"[  7][7  ][007]", Printed(L"[%*d][%*d][%.*d]", 3, 7, -3, 7, 3, 7));
    EXPECT_EQ(L"3.14 1.500000e+00", Printed(L"%.2f %e", 3.14159, 1.5));
    EXPECT_EQ(L"[  abc][ab]", Printed(L"[%5s][%.2s]", L"abc", L"abcdef"));
    EXPECT_EQ(L"[xy   ][.*s]", Printed(L"[%-5s][%.*s]", L"xy", 3, L".*s.."));
}

// ------------------------------------------------------------ text widths

TEST(WindowsFormat, TextArgumentsInWideFormat) {
    EXPECT_EQ(L"äöü", Printed(L"%s", L"äöü"));
    EXPECT_EQ(L"äöü|äöü|äöü", Printed(L"%S|%hs|%ls", "äöü", "äöü", L"äöü"));
    EXPECT_EQ(L"é-x-y", Printed(L"%c-%C-%hc", L'é', 'x', 'y'));
    EXPECT_EQ(L"ä", Printed(L"%.1S", "äöü"));
}

TEST(WindowsFormat, TextArgumentsInNarrowFormat) {
    EXPECT_EQ("abc|äöü|äöü|äöü", Printed("%s|%S|%ls|%ws", "abc", L"äöü", L"äöü", L"äöü"));
    EXPECT_EQ("x-é", Printed("%c-%C", 'x', L'é'));
    // A precision never splits a multi-byte character.
    EXPECT_EQ("ä", Printed("%.3S", L"äöü"));
}

TEST(WindowsFormat, PointersNullTextAndZeroPaddedText) {
    EXPECT_EQ(L"00000000DEADBEEF", Printed(L"%p", reinterpret_cast<void*>(0xDEADBEEF)));
    EXPECT_EQ(L"(null)", Printed(L"%s", static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ("(null)", Printed("%S", static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(L"000ab", Printed(L"%05s", L"ab"));
}

TEST(WindowsFormat, InvalidConversionDirectivesAreWrittenLiterally) {
    EXPECT_EQ(L"100% sure", Printed(L"100%% sure"));
    EXPECT_EQ(L"%y then 5", Printed(L"%y then %d", 5));
    EXPECT_EQ(L"end %", Printed(L"end %"));
    EXPECT_EQ(L"a %-5", Printed(L"a %-5"));
}

// ------------------------------------------------------------ buffers

TEST(WindowsFormatBuffers, SecureFormsFailWhenTheTextDoesNotFit) {
    wchar_t buffer[6];
    EXPECT_EQ(5, swprintf_s(buffer, 6, L"%d", 12345));
    EXPECT_STREQ(L"12345", buffer);
    EXPECT_EQ(-1, swprintf_s(buffer, 6, L"%d", 123456));
    EXPECT_STREQ(L"", buffer);
    char narrow[4];
    EXPECT_EQ(-1, sprintf_s(narrow, 4, "%s", "abcd"));
    EXPECT_STREQ("", narrow);
    EXPECT_EQ(-1, swprintf_s(nullptr, 0, L"x"));
}

TEST(WindowsFormatBuffers, TruncatingFormsCutAndReport) {
    wchar_t buffer[6];
    EXPECT_EQ(-1, _snwprintf_s(buffer, 6, _TRUNCATE, L"%s", L"abcdefgh"));
    EXPECT_STREQ(L"abcde", buffer);
    EXPECT_EQ(3, _snwprintf_s(buffer, 6, _TRUNCATE, L"%s", L"abc"));
    EXPECT_STREQ(L"abc", buffer);
    // A count below the buffer size limits the text.
    EXPECT_EQ(-1, _snwprintf_s(buffer, 6, 2, L"%s", L"abc"));
    EXPECT_STREQ(L"ab", buffer);
    char narrow[4];
    EXPECT_EQ(-1, _snprintf_s(narrow, 4, _TRUNCATE, "%d", 98765));
    EXPECT_STREQ("987", narrow);
}

TEST(WindowsFormatBuffers, CountingAndLongTexts) {
    EXPECT_EQ(24, _scwprintf(L"0x%lx (%ld)", E_FAIL, E_FAIL));
    EXPECT_EQ(5, _scprintf("%5s", "a"));
    const std::wstring piece(3000, L'x');
    std::wstring buffer(10001, L'\0');
    const int written =
        swprintf_s(buffer.data(), buffer.size(), L"%s|%s|%3000d", piece.c_str(), piece.c_str(), 1);
    ASSERT_EQ(9002, written);
    buffer.resize(static_cast<std::size_t>(written));
    EXPECT_EQ(piece + L"|" + piece + L"|" + std::wstring(2999, L' ') + L"1", buffer);
}

// ------------------------------------------------------------ secure copies

TEST(SecureStrings, CopyFitsOrEmptiesTheDestination) {
    wchar_t dest[4] = L"zz";
    EXPECT_EQ(0, wcscpy_s(dest, L"abc"));
    EXPECT_STREQ(L"abc", dest);
    EXPECT_EQ(ERANGE, wcscpy_s(dest, L"abcd"));
    EXPECT_STREQ(L"", dest);
    EXPECT_EQ(EINVAL, wcscpy_s(dest, 4, nullptr));
    EXPECT_EQ(EINVAL, wcscpy_s(nullptr, 4, L"a"));
    EXPECT_EQ(EINVAL, wcscpy_s(dest, 0, L"a"));
}

TEST(SecureStrings, CountedCopyAndTruncation) {
    wchar_t dest[4];
    EXPECT_EQ(0, wcsncpy_s(dest, L"abcdef", 3));
    EXPECT_STREQ(L"abc", dest);
    EXPECT_EQ(ERANGE, wcsncpy_s(dest, L"abcdef", 4));
    EXPECT_STREQ(L"", dest);
    EXPECT_EQ(STRUNCATE, wcsncpy_s(dest, L"abcdef", _TRUNCATE));
    EXPECT_STREQ(L"abc", dest);
    EXPECT_EQ(0, wcsncpy_s(dest, L"ab", _TRUNCATE));
    EXPECT_STREQ(L"ab", dest);
    char narrow[3];
    EXPECT_EQ(STRUNCATE, strncpy_s(narrow, 3, "xyz", _TRUNCATE));
    EXPECT_STREQ("xy", narrow);
}

TEST(SecureStrings, AppendKeepsOrEmpties) {
    wchar_t dest[6] = L"ab";
    EXPECT_EQ(0, wcscat_s(dest, L"cd"));
    EXPECT_STREQ(L"abcd", dest);
    EXPECT_EQ(ERANGE, wcscat_s(dest, L"ef"));
    EXPECT_STREQ(L"", dest);
    wcscpy_s(dest, L"ab");
    EXPECT_EQ(STRUNCATE, wcsncat_s(dest, 6, L"cdefgh", _TRUNCATE));
    EXPECT_STREQ(L"abcde", dest);
    char narrow[4] = {'a', 'b', 'c', 'd'}; // not terminated
    EXPECT_EQ(EINVAL, strcat_s(narrow, 4, "x"));
    EXPECT_STREQ("", narrow);
}

TEST(SecureStrings, MemoryCopies) {
    char dest[4] = {1, 2, 3, 4};
    EXPECT_EQ(ERANGE, memcpy_s(dest, 4, "abcdef", 5));
    EXPECT_EQ(std::string(4, '\0'), std::string(dest, 4));
    EXPECT_EQ(0, memcpy_s(dest, 4, "abcd", 4));
    EXPECT_EQ(0, memmove_s(dest + 1, 3, dest, 3));
    EXPECT_EQ("aabc", std::string(dest, 4));
    EXPECT_EQ(ERANGE, memmove_s(dest, 2, "xyz", 3));
    EXPECT_EQ("aabc", std::string(dest, 4));
}

// ------------------------------------------------------------ numbers

TEST(NumberParsing, Atoi64SkipsBlanksAndStopsAtTheFirstNonDigit) {
    EXPECT_EQ(-42, _atoi64(" \t\n-42abc"));
    EXPECT_EQ(7, _atoi64("+7"));
    EXPECT_EQ(0, _atoi64("abc"));
    EXPECT_EQ(0, _atoi64("- 5"));
    EXPECT_EQ(12, _wtoi64(L"  12.9"));
}

TEST(NumberParsing, OverflowSaturates) {
    EXPECT_EQ(LLONG_MAX, _atoi64("9223372036854775807"));
    EXPECT_EQ(LLONG_MAX, _atoi64("9223372036854775808"));
    EXPECT_EQ(LLONG_MIN, _atoi64("-9223372036854775808"));
    EXPECT_EQ(LLONG_MIN, _atoi64("-99999999999999999999999"));
    EXPECT_EQ(INT_MAX, _wtoi(L"2147483648"));
    EXPECT_EQ(INT_MIN, _wtoi(L"-2147483649"));
    EXPECT_EQ(-2147483647 - 1, _wtoi(L"-2147483648"));
}

TEST(NumberParsing, BasedConversions) {
    wchar_t* end = nullptr;
    const wchar_t text[] = L" 0x1Fz";
    EXPECT_EQ(31, _wcstoi64(text, &end, 16));
    EXPECT_EQ(L'z', *end);
    EXPECT_EQ(255u, _wcstoui64(L"ff", nullptr, 16));
    EXPECT_EQ(ULLONG_MAX, _wcstoui64(L"18446744073709551615", nullptr, 10));
}

// ------------------------------------------------------------ comparison

TEST(CaseInsensitiveCompare, FoldsAsciiToLowerCaseOnly) {
    EXPECT_EQ(0, _wcsicmp(L"Select", L"sELECT"));
    EXPECT_EQ(0, _stricmp("ABC", "abc"));
    // Folding to lower case puts '_' before the letters.
    EXPECT_LT(_stricmp("_", "A"), 0);
    EXPECT_LT(_wcsicmp(L"a", L"B"), 0);
    EXPECT_NE(0, _wcsicmp(L"Ä", L"ä"));
    EXPECT_EQ(0, _wcsnicmp(L"abcX", L"ABCy", 3));
    EXPECT_GT(_strnicmp("abcd", "ABC", 4), 0);
}

// ------------------------------------------------------------ times

class TimeFunctions : public ::testing::Test {
protected:
    void SetUp() override {
        const char* tz = std::getenv("TZ");
        savedTz_ = tz ? tz : "";
        hadTz_ = tz != nullptr;
        setenv("TZ", "Europe/Berlin", 1);
        tzset();
    }
    void TearDown() override {
        if (hadTz_)
            setenv("TZ", savedTz_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    static std::tm Local(int year, int month, int day, int hour, int minute, int second,
                         int isdst = -1) {
        std::tm tm{};
        tm.tm_year = year - 1900;
        tm.tm_mon = month - 1;
        tm.tm_mday = day;
        tm.tm_hour = hour;
        tm.tm_min = minute;
        tm.tm_sec = second;
        tm.tm_isdst = isdst;
        return tm;
    }

private:
    std::string savedTz_;
    bool hadTz_ = false;
};

TEST_F(TimeFunctions, MktimeAcrossTheSpringChange) {
    std::tm before = Local(2024, 3, 31, 1, 59, 59);
    std::tm after = Local(2024, 3, 31, 3, 0, 0);
    EXPECT_EQ(1711846799, _mktime64(&before));
    EXPECT_EQ(1711846800, _mktime64(&after));
    EXPECT_EQ(0, before.tm_isdst);
    EXPECT_EQ(1, after.tm_isdst);
}

TEST_F(TimeFunctions, MktimeHonoursAnExplicitDstFlagInTheAutumnOverlap) {
    std::tm summer = Local(2024, 10, 27, 2, 30, 0, 1);
    std::tm winter = Local(2024, 10, 27, 2, 30, 0, 0);
    EXPECT_EQ(3600, _mktime64(&winter) - _mktime64(&summer));
}

TEST_F(TimeFunctions, MktimeNormalisesFields) {
    std::tm tm = Local(2024, 3, 32, 12, 0, 0);
    ASSERT_NE(-1, _mktime64(&tm));
    EXPECT_EQ(3, tm.tm_mon);
    EXPECT_EQ(1, tm.tm_mday);
    EXPECT_EQ(1, tm.tm_isdst);
    EXPECT_EQ(1, tm.tm_wday); // a Monday
}

TEST_F(TimeFunctions, RangeIsNineteenSeventyToTheYearThreeThousand) {
    std::tm epoch = Local(1970, 1, 1, 1, 0, 0);
    EXPECT_EQ(0, _mktime64(&epoch));
    std::tm before = Local(1970, 1, 1, 0, 59, 59);
    EXPECT_EQ(-1, _mktime64(&before));
    EXPECT_EQ(59, before.tm_sec); // left as it was
    std::tm last = Local(3000, 12, 31, 23, 59, 59);
    EXPECT_EQ(32535215999, _mkgmtime64(&last));
    std::tm beyond = Local(3001, 1, 1, 0, 0, 0);
    EXPECT_EQ(-1, _mkgmtime64(&beyond));
}

TEST_F(TimeFunctions, SplittingTimes) {
    std::tm tm{};
    const __time64_t zero = 0;
    ASSERT_EQ(0, _localtime64_s(&tm, &zero));
    EXPECT_EQ(1, tm.tm_hour);
    ASSERT_EQ(0, _gmtime64_s(&tm, &zero));
    EXPECT_EQ(0, tm.tm_hour);
    EXPECT_EQ(70, tm.tm_year);
    const __time64_t negative = -1;
    EXPECT_EQ(EINVAL, _localtime64_s(&tm, &negative));
    EXPECT_EQ(-1, tm.tm_year);
    EXPECT_EQ(-1, tm.tm_mday);
    EXPECT_EQ(EINVAL, _gmtime64_s(&tm, nullptr));
    EXPECT_EQ(EINVAL, _gmtime64_s(nullptr, &zero));
    __time64_t now = 0;
    EXPECT_EQ(_time64(&now), now);
    EXPECT_GT(now, 1700000000);
}

} // namespace
