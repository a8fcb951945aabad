// The conversion library: statuses, lengths and values of single
// conversions, reached through the COM object as a consumer would.
#include "hdbplatform/DataConversion.h"
#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

namespace {

class DataConvertTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CoCreateInstance(CLSID_OLEDB_CONVERSIONLIBRARY, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IDataConvert, reinterpret_cast<void**>(&convert_)),
                  S_OK);
    }
    void TearDown() override {
        if (convert_)
            convert_->Release();
    }

    // One conversion; the outcome lands in hr_, status_ and length_.
    template <class Src>
    void Run(DBTYPE srcType, const Src& src, DBTYPE dstType, void* dst, DBLENGTH max,
             DBLENGTH srcLength = 0, BYTE precision = 0, BYTE scale = 0,
             DBDATACONVERT flags = DBDATACONVERT_DEFAULT) {
        status_ = 0xdead;
        length_ = 0xdead;
        hr_ = convert_->DataConvert(srcType, dstType, srcLength, &length_, const_cast<Src*>(&src),
                                    dst, max, DBSTATUS_S_OK, &status_, precision, scale, flags);
    }
    void RunText(const char* text, DBTYPE dstType, void* dst, DBLENGTH max = 0, BYTE precision = 0,
                 BYTE scale = 0) {
        status_ = 0xdead;
        hr_ = convert_->DataConvert(DBTYPE_STR, dstType, std::strlen(text), &length_,
                                    const_cast<char*>(text), dst, max, DBSTATUS_S_OK, &status_,
                                    precision, scale, DBDATACONVERT_DEFAULT);
    }
    void RunWide(const wchar_t* text, DBTYPE dstType, void* dst, DBLENGTH max = 0,
                 BYTE precision = 0, BYTE scale = 0) {
        status_ = 0xdead;
        hr_ = convert_->DataConvert(DBTYPE_WSTR, dstType, std::wcslen(text) * sizeof(wchar_t),
                                    &length_, const_cast<wchar_t*>(text), dst, max, DBSTATUS_S_OK,
                                    &status_, precision, scale, DBDATACONVERT_DEFAULT);
    }
    // The source's WSTR text, or "<status n>" when the conversion failed.
    template <class Src> std::wstring Text(DBTYPE srcType, const Src& src) {
        wchar_t buffer[128];
        Run(srcType, src, DBTYPE_WSTR, buffer, sizeof buffer);
        if (status_ != DBSTATUS_S_OK)
            return L"<status " + std::to_wstring(status_) + L">";
        EXPECT_EQ(length_, std::wcslen(buffer) * sizeof(wchar_t));
        return buffer;
    }
    void ExpectError(DBSTATUS status) {
        EXPECT_EQ(hr_, DB_E_ERRORSOCCURRED);
        EXPECT_EQ(status_, status);
    }
    void ExpectOk() {
        EXPECT_EQ(hr_, S_OK);
        EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_OK));
    }

    IDataConvert* convert_ = nullptr;
    HRESULT hr_ = E_FAIL;
    DBSTATUS status_ = 0;
    DBLENGTH length_ = 0;
};

DB_NUMERIC Numeric(unsigned long long magnitude, BYTE precision, BYTE scale, bool negative) {
    DB_NUMERIC n{};
    n.precision = precision;
    n.scale = scale;
    n.sign = negative ? 0 : 1;
    for (int k = 0; k < 8; ++k)
        n.val[k] = static_cast<BYTE>(magnitude >> (8 * k));
    return n;
}

unsigned long long MagnitudeOf(const DB_NUMERIC& n) {
    unsigned long long m = 0;
    for (int k = 7; k >= 0; --k)
        m = (m << 8) | n.val[k];
    for (int k = 8; k < 16; ++k)
        EXPECT_EQ(n.val[k], 0) << "magnitude beyond 64 bits";
    return m;
}

// ------------------------------------------------------------ integers

TEST_F(DataConvertTest, IntegerLimitsOverflowAtEveryWidth) {
    struct Case {
        DBTYPE type;
        long long fits, overflows;
    };
    const Case cases[] = {
        {DBTYPE_I1, -128, 128},
        {DBTYPE_I1, 127, -129},
        {DBTYPE_I2, -32768, 32768},
        {DBTYPE_I2, 32767, -32769},
        {DBTYPE_I4, INT32_MIN, 1LL << 31},
        {DBTYPE_I4, INT32_MAX, -(1LL << 31) - 1},
        {DBTYPE_UI1, 255, 256},
        {DBTYPE_UI2, 65535, 65536},
        {DBTYPE_UI4, UINT32_MAX, 1LL << 32},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " value " << c.fits);
        long long out = 0;
        Run(DBTYPE_I8, c.fits, c.type, &out, 0);
        ExpectOk();
        // Sign-extend what was written to compare with the source.
        DBLENGTH size = length_;
        long long back = 0;
        Run(c.type, out, DBTYPE_I8, &back, 0);
        ExpectOk();
        EXPECT_EQ(back, c.fits) << "size " << size;
        Run(DBTYPE_I8, c.overflows, c.type, &out, 0);
        ExpectError(DBSTATUS_E_DATAOVERFLOW);
    }
    unsigned long long big = UINT64_MAX;
    long long i8 = 0;
    Run(DBTYPE_UI8, big, DBTYPE_I8, &i8, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    unsigned long long u8 = 0;
    Run(DBTYPE_UI8, big, DBTYPE_UI8, &u8, 0);
    ExpectOk();
    EXPECT_EQ(u8, UINT64_MAX);
}

TEST_F(DataConvertTest, NegativeValuesIntoUnsignedAreSignMismatches) {
    BYTE ui1 = 7;
    signed char i1 = -1;
    Run(DBTYPE_I1, i1, DBTYPE_UI1, &ui1, 0);
    ExpectError(DBSTATUS_E_SIGNMISMATCH);
    EXPECT_EQ(ui1, 7) << "the destination is left alone";

    unsigned long long ui8 = 0;
    long long minI8 = INT64_MIN;
    Run(DBTYPE_I8, minI8, DBTYPE_UI8, &ui8, 0);
    ExpectError(DBSTATUS_E_SIGNMISMATCH);

    ULONG ui4 = 0;
    double r8 = -2.5;
    Run(DBTYPE_R8, r8, DBTYPE_UI4, &ui4, 0);
    ExpectError(DBSTATUS_E_SIGNMISMATCH);
    RunText("-1", DBTYPE_UI4, &ui4);
    ExpectError(DBSTATUS_E_SIGNMISMATCH);
    // A fraction that truncates to zero has no sign left.
    r8 = -0.5;
    Run(DBTYPE_R8, r8, DBTYPE_UI4, &ui4, 0);
    ExpectOk();
    EXPECT_EQ(ui4, 0u);
}

TEST_F(DataConvertTest, RealsLoseTheirFractionTowardsZero) {
    LONG i4 = 0;
    double r8 = 123.4567;
    Run(DBTYPE_R8, r8, DBTYPE_I4, &i4, 0);
    ExpectOk();
    EXPECT_EQ(i4, 123);
    r8 = -123.9;
    Run(DBTYPE_R8, r8, DBTYPE_I4, &i4, 0);
    EXPECT_EQ(i4, -123);
    r8 = 2147483648.0;
    Run(DBTYPE_R8, r8, DBTYPE_I4, &i4, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    r8 = 1e300;
    float r4 = 0;
    Run(DBTYPE_R8, r8, DBTYPE_R4, &r4, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    long long i8 = 0;
    r8 = 9223372036854775808.0; // 2^63
    Run(DBTYPE_R8, r8, DBTYPE_I8, &i8, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    r8 = -9223372036854775808.0;
    Run(DBTYPE_R8, r8, DBTYPE_I8, &i8, 0);
    ExpectOk();
    EXPECT_EQ(i8, INT64_MIN);
}

TEST_F(DataConvertTest, TextToIntegerChecksRangeAndForm) {
    SHORT i2 = 0;
    RunText("  32767 ", DBTYPE_I2, &i2);
    ExpectOk();
    EXPECT_EQ(i2, 32767);
    RunText("32768", DBTYPE_I2, &i2);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    RunText("-12.99", DBTYPE_I2, &i2);
    ExpectOk();
    EXPECT_EQ(i2, -12);
    RunText("1.5e3", DBTYPE_I2, &i2);
    ExpectOk();
    EXPECT_EQ(i2, 1500);
    long long i8 = 0;
    RunText("99999999999999999999999999999999999999999", DBTYPE_I8, &i8);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    for (const char* bad : {"", "abc", "12abc", "1e", "--1", ".", "1 2"}) {
        RunText(bad, DBTYPE_I2, &i2);
        SCOPED_TRACE(bad);
        ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
    }
}

// -------------------------------------------------------- text lengths

TEST_F(DataConvertTest, StrAndWstrLengthsExcludeTheTerminatorAndStayFullWhenTruncated) {
    const char* text = "Halden";
    char str[4];
    RunText(text, DBTYPE_STR, str, sizeof str);
    EXPECT_EQ(hr_, S_OK);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_EQ(length_, 6u);
    EXPECT_STREQ(str, "Hal");

    wchar_t wide[4];
    RunText(text, DBTYPE_WSTR, wide, sizeof wide);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_EQ(length_, 6 * sizeof(wchar_t));
    EXPECT_STREQ(wide, L"Hal");

    wchar_t roomy[16];
    RunText(text, DBTYPE_WSTR, roomy, sizeof roomy);
    ExpectOk();
    EXPECT_EQ(length_, 6 * sizeof(wchar_t));
    EXPECT_STREQ(roomy, L"Halden");

    // Exactly the text plus its terminator fits.
    char exact[7];
    RunWide(L"Halden", DBTYPE_STR, exact, sizeof exact);
    ExpectOk();
    EXPECT_EQ(length_, 6u);
    EXPECT_STREQ(exact, "Halden");
}

TEST_F(DataConvertTest, NarrowTextIsUtf8AndTruncatesAtWholeCharacters) {
    // "Grüße" is 5 characters, 7 bytes of UTF-8.
    const wchar_t* wide = L"Gr\u00fc\u00dfe";
    char narrow[16];
    RunWide(wide, DBTYPE_STR, narrow, sizeof narrow);
    ExpectOk();
    EXPECT_EQ(length_, 7u);
    EXPECT_STREQ(narrow, "Gr\xc3\xbc\xc3\x9f"
                         "e");

    char cut[4]; // room for "Gr" and half of the ü
    RunWide(wide, DBTYPE_STR, cut, sizeof cut);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_EQ(length_, 7u);
    EXPECT_STREQ(cut, "Gr");

    wchar_t back[16];
    RunText(narrow, DBTYPE_WSTR, back, sizeof back);
    ExpectOk();
    EXPECT_EQ(length_, 5 * sizeof(wchar_t));
    EXPECT_STREQ(back, wide);
}

TEST_F(DataConvertTest, BytesTruncateAndBecomeHexText) {
    const BYTE bytes[] = {0x00, 0x7f, 0xf2, 0x22};
    BYTE small[3];
    Run(DBTYPE_BYTES, bytes, DBTYPE_BYTES, small, sizeof small, sizeof bytes);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_EQ(length_, 4u);
    EXPECT_EQ(std::memcmp(small, bytes, 3), 0);

    wchar_t hex[16];
    Run(DBTYPE_BYTES, bytes, DBTYPE_WSTR, hex, sizeof hex, sizeof bytes);
    ExpectOk();
    EXPECT_EQ(length_, 8 * sizeof(wchar_t));
    EXPECT_STREQ(hex, L"007FF222");

    BYTE back[8] = {};
    RunWide(L"007ff222", DBTYPE_BYTES, back, sizeof back);
    ExpectOk();
    EXPECT_EQ(length_, 4u);
    EXPECT_EQ(std::memcmp(back, bytes, 4), 0);
    RunWide(L"0G", DBTYPE_BYTES, back, sizeof back);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
    RunWide(L"123", DBTYPE_BYTES, back, sizeof back);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
}

TEST_F(DataConvertTest, NumbersKeepTheirWholeDigitsInText) {
    // The fraction may be cut, the integer part may not.
    DB_NUMERIC n = Numeric(1234567, 7, 4, false); // 123.4567
    char str[6];
    Run(DBTYPE_NUMERIC, n, DBTYPE_STR, str, sizeof str);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_EQ(length_, 8u);
    EXPECT_STREQ(str, "123.4");
    char four[4];
    Run(DBTYPE_NUMERIC, n, DBTYPE_STR, four, sizeof four);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
    EXPECT_STREQ(four, "123");
    char five[5]; // never ends on the bare decimal point
    Run(DBTYPE_NUMERIC, n, DBTYPE_STR, five, sizeof five);
    EXPECT_STREQ(five, "123");
    char two[2];
    Run(DBTYPE_NUMERIC, n, DBTYPE_STR, two, sizeof two);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);

    LONG i4 = -12345;
    wchar_t wide[5];
    Run(DBTYPE_I4, i4, DBTYPE_WSTR, wide, sizeof wide);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
}

TEST_F(DataConvertTest, NullPassesThroughAsIsNull) {
    LONG i4 = 42, out = 7;
    DBLENGTH length = 99;
    DBSTATUS status = 0;
    HRESULT hr = convert_->DataConvert(DBTYPE_I4, DBTYPE_WSTR, 0, &length, &i4, &out, 0,
                                       DBSTATUS_S_ISNULL, &status, 0, 0, 0);
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(status, static_cast<DBSTATUS>(DBSTATUS_S_ISNULL));
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(out, 7);

    VARIANT null;
    VariantInit(&null);
    null.vt = VT_NULL;
    Run(DBTYPE_VARIANT, null, DBTYPE_I4, &out, 0);
    EXPECT_EQ(hr_, S_OK);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_S_ISNULL));
}

// ------------------------------------------------------- exact numbers

TEST_F(DataConvertTest, NumericWithScaleToTextAndBack) {
    struct Case {
        unsigned long long magnitude;
        BYTE scale;
        bool negative;
        const wchar_t* text;
    };
    const Case cases[] = {
        {12345, 2, false, L"123.45"},
        {5, 2, true, L"-0.05"},
        {0, 3, false, L"0.000"},
        {7, 0, false, L"7"},
        {UINT64_MAX, 0, false, L"18446744073709551615"},
        {100, 2, true, L"-1.00"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.magnitude << "e-" << int(c.scale));
        DB_NUMERIC n = Numeric(c.magnitude, 20, c.scale, c.negative);
        EXPECT_EQ(Text(DBTYPE_NUMERIC, n), c.text);
        DB_NUMERIC back{};
        RunWide(c.text, DBTYPE_NUMERIC, &back, 0, 20, c.scale);
        ExpectOk();
        EXPECT_EQ(MagnitudeOf(back), c.magnitude);
        EXPECT_EQ(back.scale, c.scale);
        EXPECT_EQ(back.precision, 20);
        EXPECT_EQ(back.sign, c.negative && c.magnitude != 0 ? 0 : 1);
    }
    // All 38 digits survive the round trip.
    DB_NUMERIC wide{};
    const wchar_t* max = L"99999999999999999999999999999999999999";
    RunWide(max, DBTYPE_NUMERIC, &wide, 0, 38, 0);
    ExpectOk();
    EXPECT_EQ(Text(DBTYPE_NUMERIC, wide), max);
}

TEST_F(DataConvertTest, NumericDestinationAppliesPrecisionAndScale) {
    DB_NUMERIC n{};
    RunText("123.4567", DBTYPE_NUMERIC, &n, 0, 5, 2);
    ExpectOk();
    EXPECT_EQ(MagnitudeOf(n), 12345u); // extra fraction digits dropped
    RunText("1234.5", DBTYPE_NUMERIC, &n, 0, 5, 2);
    ExpectError(DBSTATUS_E_DATAOVERFLOW); // 123450 needs 6 digits
    double r8 = 0.1;
    Run(DBTYPE_R8, r8, DBTYPE_NUMERIC, &n, 0, 0, 10, 3);
    ExpectOk();
    EXPECT_EQ(MagnitudeOf(n), 100u) << "the decimal value, not the binary one";
    LONG i4 = -42;
    Run(DBTYPE_I4, i4, DBTYPE_NUMERIC, &n, 0, 0, 10, 2);
    ExpectOk();
    EXPECT_EQ(MagnitudeOf(n), 4200u);
    EXPECT_EQ(n.sign, 0);
    RunText("1e39", DBTYPE_NUMERIC, &n, 0, 38, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
}

TEST_F(DataConvertTest, NumericToRealIsCorrectlyRounded) {
    const struct {
        unsigned long long magnitude;
        BYTE scale;
        double expected;
    } cases[] = {{1, 1, 0.1},
                 {3, 1, 0.3},
                 {123456789012345678ULL, 10, 12345678.9012345678},
                 {9007199254740993ULL, 0, 9007199254740992.0}};
    for (const auto& c : cases) {
        DB_NUMERIC n = Numeric(c.magnitude, 20, c.scale, true);
        double r8 = 0;
        Run(DBTYPE_NUMERIC, n, DBTYPE_R8, &r8, 0);
        ExpectOk();
        EXPECT_EQ(r8, -c.expected);
    }
    DB_NUMERIC n = Numeric(1299, 4, 2, false);
    LONG i4 = 0;
    Run(DBTYPE_NUMERIC, n, DBTYPE_I4, &i4, 0);
    ExpectOk();
    EXPECT_EQ(i4, 12);
}

TEST_F(DataConvertTest, CurrencyAndDecimalCarryTheirScale) {
    CY cy;
    cy.int64 = -15000; // -1.5
    EXPECT_EQ(Text(DBTYPE_CY, cy), L"-1.5");
    CY back{};
    RunText("922337203685477.5807", DBTYPE_CY, &back);
    ExpectOk();
    EXPECT_EQ(back.int64, INT64_MAX);
    RunText("922337203685477.5808", DBTYPE_CY, &back);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);

    DECIMAL dec{};
    RunText("-79228162514264337593543950335", DBTYPE_DECIMAL, &dec);
    ExpectOk();
    EXPECT_EQ(dec.sign, DECIMAL_NEG);
    EXPECT_EQ(dec.Hi32, 0xffffffffu);
    EXPECT_EQ(dec.Lo64, UINT64_MAX);
    RunText("79228162514264337593543950336", DBTYPE_DECIMAL, &dec);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    RunText("12.340", DBTYPE_DECIMAL, &dec);
    ExpectOk();
    EXPECT_EQ(dec.scale, 3);
    EXPECT_EQ(Text(DBTYPE_DECIMAL, dec), L"12.340");
}

TEST_F(DataConvertTest, RealsAndBooleansHaveTheirTextForms) {
    EXPECT_EQ(Text(DBTYPE_R8, 0.1), L"0.1");
    EXPECT_EQ(Text(DBTYPE_R8, 1.0 / 3), L"0.333333333333333");
    EXPECT_EQ(Text(DBTYPE_R8, 1e20), L"1E+20");
    EXPECT_EQ(Text(DBTYPE_R4, 0.1f), L"0.1");
    VARIANT_BOOL yes = VARIANT_TRUE, no = VARIANT_FALSE;
    EXPECT_EQ(Text(DBTYPE_BOOL, yes), L"True");
    EXPECT_EQ(Text(DBTYPE_BOOL, no), L"False");
    VARIANT_BOOL b = VARIANT_FALSE;
    RunWide(L" true ", DBTYPE_BOOL, &b);
    ExpectOk();
    EXPECT_EQ(b, VARIANT_TRUE);
    RunWide(L"0", DBTYPE_BOOL, &b);
    EXPECT_EQ(b, VARIANT_FALSE);
    RunWide(L"maybe", DBTYPE_BOOL, &b);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
    double r8 = 0;
    RunWide(L"1e400", DBTYPE_R8, &r8);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
}

// ------------------------------------------------------ dates and times

TEST_F(DataConvertTest, DatesAndTimesToTextAndBack) {
    DBDATE date{2026, 2, 28};
    EXPECT_EQ(Text(DBTYPE_DBDATE, date), L"2026-02-28");
    DBTIME time{7, 5, 9};
    EXPECT_EQ(Text(DBTYPE_DBTIME, time), L"07:05:09");
    DBTIMESTAMP ts{1999, 12, 31, 23, 59, 58, 0};
    EXPECT_EQ(Text(DBTYPE_DBTIMESTAMP, ts), L"1999-12-31 23:59:58");
    ts.fraction = 123000000;
    EXPECT_EQ(Text(DBTYPE_DBTIMESTAMP, ts), L"1999-12-31 23:59:58.123000000");

    DBTIMESTAMP back{};
    RunWide(L"1999-12-31 23:59:58.123", DBTYPE_DBTIMESTAMP, &back);
    ExpectOk();
    EXPECT_EQ(std::memcmp(&back, &ts, sizeof ts), 0);
    DBDATE d{};
    RunWide(L"2024-02-29", DBTYPE_DBDATE, &d);
    ExpectOk();
    EXPECT_EQ(d.year, 2024);
    EXPECT_EQ(d.day, 29);
    for (const wchar_t* bad : {L"2023-02-29", L"2024-13-01", L"2024-01-01 24:00:00", L"noon",
                               L"2024/01/01", L"12:60:00"}) {
        SCOPED_TRACE(bad);
        RunWide(bad, DBTYPE_DBTIMESTAMP, &back);
        ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
    }
    DBTIME t{};
    RunWide(L"2024-02-29", DBTYPE_DBTIME, &t);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE); // no time in it
    DBTIMESTAMP invalid{2024, 2, 30, 0, 0, 0, 0};
    EXPECT_EQ(Text(DBTYPE_DBTIMESTAMP, invalid),
              L"<status " + std::to_wstring(DBSTATUS_E_CANTCONVERTVALUE) + L">");
}

TEST_F(DataConvertTest, AutomationDatesMeetTimestamps) {
    DBTIMESTAMP ts{1899, 12, 30, 0, 0, 0, 0};
    double date = -1;
    Run(DBTYPE_DBTIMESTAMP, ts, DBTYPE_DATE, &date, 0);
    ExpectOk();
    EXPECT_EQ(date, 0.0);
    // Before the epoch the time still counts forward from midnight.
    ts = {1899, 12, 29, 6, 0, 0, 0};
    Run(DBTYPE_DBTIMESTAMP, ts, DBTYPE_DATE, &date, 0);
    EXPECT_EQ(date, -1.25);
    DBTIMESTAMP back{};
    Run(DBTYPE_DATE, date, DBTYPE_DBTIMESTAMP, &back, 0);
    ExpectOk();
    EXPECT_EQ(std::memcmp(&back, &ts, sizeof ts), 0);

    date = 45000.5;
    EXPECT_EQ(Text(DBTYPE_DATE, date), L"2023-03-15 12:00:00");
    DBDATE d{};
    Run(DBTYPE_DATE, date, DBTYPE_DBDATE, &d, 0);
    ExpectOk();
    EXPECT_EQ(d.year, 2023);
    EXPECT_EQ(d.month, 3);
    EXPECT_EQ(d.day, 15);
    date = 1e7;
    Run(DBTYPE_DATE, date, DBTYPE_DBTIMESTAMP, &back, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);

    // A time alone gains today's date.
    DBTIME time{13, 14, 15};
    Run(DBTYPE_DBTIME, time, DBTYPE_DBTIMESTAMP, &back, 0);
    ExpectOk();
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    EXPECT_EQ(back.year, local.tm_year + 1900);
    EXPECT_EQ(back.hour, 13);
    EXPECT_EQ(back.second, 15);
}

// ---------------------------------------------------------------- GUIDs

TEST_F(DataConvertTest, GuidTextRoundTrip) {
    const GUID guid = {
        0x0c733a8d, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
    const std::wstring text = Text(DBTYPE_GUID, guid);
    EXPECT_EQ(text, L"{0C733A8D-2A1C-11CE-ADE5-00AA0044773D}");
    GUID back{};
    RunWide(L"{0c733a8d-2a1c-11ce-ade5-00aa0044773d}", DBTYPE_GUID, &back);
    ExpectOk();
    EXPECT_EQ(back, guid);
    GUID bare{};
    RunText("0C733A8D-2A1C-11CE-ADE5-00AA0044773D", DBTYPE_GUID, &bare);
    ExpectOk();
    EXPECT_EQ(bare, guid);
    RunText("{0C733A8D-2A1C-11CE-ADE5-00AA0044773}", DBTYPE_GUID, &back);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
}

// ---------------------------------------------- owned and referenced memory

TEST_F(DataConvertTest, BstrAndVariantDestinationsOwnNewMemory) {
    BSTR bstr = nullptr;
    LONG i4 = -7;
    Run(DBTYPE_I4, i4, DBTYPE_BSTR, &bstr, 0);
    ExpectOk();
    EXPECT_EQ(length_, sizeof(BSTR));
    ASSERT_NE(bstr, nullptr);
    EXPECT_STREQ(bstr, L"-7");

    VARIANT v;
    Run(DBTYPE_BSTR, bstr, DBTYPE_VARIANT, &v, 0);
    ExpectOk();
    EXPECT_EQ(v.vt, VT_BSTR);
    EXPECT_NE(v.bstrVal, bstr) << "a copy, not the caller's string";
    SysFreeString(bstr); // the VARIANT must not depend on it
    EXPECT_STREQ(v.bstrVal, L"-7");

    VARIANT copy;
    Run(DBTYPE_VARIANT, v, DBTYPE_VARIANT, &copy, 0);
    ExpectOk();
    VariantClear(&v);
    EXPECT_STREQ(copy.bstrVal, L"-7");
    SHORT i2 = 0;
    Run(DBTYPE_VARIANT, copy, DBTYPE_I2, &i2, 0);
    ExpectOk();
    EXPECT_EQ(i2, -7);
    VariantClear(&copy);

    DB_NUMERIC n = Numeric(314, 3, 2, true);
    VARIANT dec;
    Run(DBTYPE_NUMERIC, n, DBTYPE_VARIANT, &dec, 0);
    ExpectOk();
    EXPECT_EQ(dec.vt, VT_DECIMAL);
    EXPECT_EQ(dec.decVal.scale, 2);
    EXPECT_EQ(dec.decVal.sign, DECIMAL_NEG);
    EXPECT_EQ(dec.decVal.Lo64, 314u);
}

TEST_F(DataConvertTest, ByrefSourcesAndDestinations) {
    const wchar_t* text = L"Halden";
    char* out = nullptr;
    Run(static_cast<DBTYPE>(DBTYPE_WSTR | DBTYPE_BYREF), text,
        static_cast<DBTYPE>(DBTYPE_STR | DBTYPE_BYREF), &out, 0, 6 * sizeof(wchar_t));
    ExpectOk();
    EXPECT_EQ(length_, 6u);
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out, "Halden");
    CoTaskMemFree(out);

    LONG i4 = 0;
    const char* digits = "815";
    Run(static_cast<DBTYPE>(DBTYPE_STR | DBTYPE_BYREF), digits, DBTYPE_I4, &i4, 0, 3);
    ExpectOk();
    EXPECT_EQ(i4, 815);
}

// ----------------------------------------------------- the matrix, sizes

TEST_F(DataConvertTest, CanConvertFollowsTheMatrixBothWays) {
    const struct {
        DBTYPE from, to;
        HRESULT expected;
    } pairs[] = {
        {DBTYPE_I4, DBTYPE_WSTR, S_OK},
        {DBTYPE_WSTR, DBTYPE_I4, S_OK},
        {DBTYPE_NUMERIC, DBTYPE_R8, S_OK},
        {DBTYPE_R8, DBTYPE_NUMERIC, S_OK},
        {DBTYPE_DBTIMESTAMP, DBTYPE_DATE, S_OK},
        {DBTYPE_DATE, DBTYPE_DBTIMESTAMP, S_OK},
        {DBTYPE_GUID, DBTYPE_BYTES, S_OK},
        {DBTYPE_BYTES, DBTYPE_STR, S_OK},
        {DBTYPE_BOOL, DBTYPE_UI8, S_OK},
        {DBTYPE_VARIANT, DBTYPE_DBDATE, S_OK},
        {DBTYPE_I4, DBTYPE_DBDATE, S_OK}, // as an automation date
        {DBTYPE_DBDATE, DBTYPE_I4, S_FALSE},
        {DBTYPE_DBDATE, DBTYPE_DBTIME, S_OK},
        {DBTYPE_CY, DBTYPE_DATE, S_FALSE},
        {DBTYPE_DATE, DBTYPE_NUMERIC, S_FALSE},
        {DBTYPE_GUID, DBTYPE_I8, S_FALSE},
        {DBTYPE_BYTES, DBTYPE_I4, S_OK}, // raw bytes of the wider integers only
        {DBTYPE_BYTES, DBTYPE_I2, S_FALSE},
        {DBTYPE_BYTES, DBTYPE_VARIANT, S_FALSE},
        {DBTYPE_EMPTY, DBTYPE_WSTR, S_OK},
        {DBTYPE_EMPTY, DBTYPE_DBDATE, S_FALSE},
        {static_cast<DBTYPE>(DBTYPE_WSTR | DBTYPE_BYREF), DBTYPE_I4, S_OK},
        {DBTYPE_I4, static_cast<DBTYPE>(DBTYPE_WSTR | DBTYPE_BYREF), S_OK},
        {DBTYPE_I4, static_cast<DBTYPE>(DBTYPE_I8 | DBTYPE_BYREF), S_FALSE},
        {DBTYPE_IUNKNOWN, DBTYPE_WSTR, S_FALSE},
        {DBTYPE_I4, static_cast<DBTYPE>(200), DB_E_BADTYPE},
    };
    for (const auto& p : pairs)
        EXPECT_EQ(convert_->CanConvert(p.from, p.to), p.expected) << p.from << " -> " << p.to;

    DBDATE d{2024, 1, 1};
    LONG i4 = 7;
    Run(DBTYPE_DBDATE, d, DBTYPE_I4, &i4, 0);
    EXPECT_EQ(hr_, DB_E_UNSUPPORTEDCONVERSION);
    EXPECT_EQ(status_, static_cast<DBSTATUS>(DBSTATUS_E_BADACCESSOR));
    EXPECT_EQ(length_, 0xdeadu) << "the length is left alone";
    EXPECT_EQ(i4, 7);
}

TEST_F(DataConvertTest, ConversionSizes) {
    DBLENGTH size = 0;
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_WSTR, DBTYPE_I4, nullptr, &size, nullptr), S_OK);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_I4, DBTYPE_WSTR, nullptr, &size, nullptr), S_OK);
    EXPECT_EQ(size, 12 * sizeof(wchar_t)) << "\"-2147483648\" and its terminator";
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_GUID, DBTYPE_STR, nullptr, &size, nullptr), S_OK);
    EXPECT_EQ(size, 39u);

    // With a value: its own length, plus the terminator.
    LONG i4 = -42;
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_I4, DBTYPE_STR, nullptr, &size, &i4), S_OK);
    EXPECT_EQ(size, 4u);
    const wchar_t* text = L"Gr\u00fc\u00df";
    DBLENGTH srcLength = 4 * sizeof(wchar_t);
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_WSTR, DBTYPE_STR, &srcLength, &size,
                                          const_cast<wchar_t*>(text)),
              S_OK);
    EXPECT_EQ(size, 7u);
    const BYTE bytes[3] = {1, 2, 3};
    srcLength = 3;
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_BYTES, DBTYPE_WSTR, &srcLength, &size,
                                          const_cast<BYTE*>(bytes)),
              S_OK);
    EXPECT_EQ(size, 7 * sizeof(wchar_t));
    // Text without a length runs to its terminator.
    const wchar_t* word = L"test";
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_WSTR, DBTYPE_WSTR, nullptr, &size,
                                          const_cast<wchar_t*>(word)),
              S_OK);
    EXPECT_EQ(size, 5 * sizeof(wchar_t));
    srcLength = 2 * sizeof(wchar_t);
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_WSTR, DBTYPE_WSTR, &srcLength, &size,
                                          const_cast<wchar_t*>(word)),
              S_OK);
    EXPECT_EQ(size, 3 * sizeof(wchar_t));
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_DBDATE, DBTYPE_I4, nullptr, &size, nullptr),
              DB_E_UNSUPPORTEDCONVERSION);
    EXPECT_EQ(convert_->GetConversionSize(DBTYPE_I2, DBTYPE_I4, nullptr, nullptr, nullptr),
              E_INVALIDARG);
}

TEST_F(DataConvertTest, OptionalOutputsAndLengthQueries) {
    // Neither status nor length is required.
    LONG i4 = 4321;
    SHORT i2 = 0;
    EXPECT_EQ(convert_->DataConvert(DBTYPE_I4, DBTYPE_I2, 0, nullptr, &i4, &i2, 0, DBSTATUS_S_OK,
                                    nullptr, 0, 0, 0),
              S_OK);
    EXPECT_EQ(i2, 4321);
    // No buffer for a text destination asks for the length only.
    Run(DBTYPE_I4, i4, DBTYPE_WSTR, nullptr, 0);
    ExpectOk();
    EXPECT_EQ(length_, 4 * sizeof(wchar_t));
    // A buffer without room for any digit is an overflow that still tells
    // the length.
    wchar_t none[1] = {L'x'};
    Run(DBTYPE_I4, i4, DBTYPE_WSTR, none, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    EXPECT_EQ(length_, 4 * sizeof(wchar_t));
    EXPECT_EQ(none[0], L'x');
}

TEST_F(DataConvertTest, EmptyIsZeroOrNothing) {
    const int unused = 0;
    LONG i4 = 7;
    Run(DBTYPE_EMPTY, unused, DBTYPE_I4, &i4, 0);
    ExpectOk();
    EXPECT_EQ(i4, 0);
    wchar_t text[4] = {L'x', L'x'};
    Run(DBTYPE_EMPTY, unused, DBTYPE_WSTR, text, sizeof text);
    ExpectOk();
    EXPECT_EQ(length_, 0u);
    EXPECT_EQ(text[0], L'\0');
    BSTR bstr = nullptr;
    Run(DBTYPE_EMPTY, unused, DBTYPE_BSTR, &bstr, 0);
    ExpectOk();
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(SysStringLen(bstr), 0u);
    SysFreeString(bstr);
    DBTIMESTAMP ts{};
    Run(DBTYPE_EMPTY, unused, DBTYPE_DBTIMESTAMP, &ts, 0);
    ExpectOk();
    EXPECT_EQ(ts.year, 1899);
    EXPECT_EQ(ts.day, 30);
    VARIANT empty;
    VariantInit(&empty);
    double r8 = 1;
    Run(DBTYPE_VARIANT, empty, DBTYPE_R8, &r8, 0);
    ExpectOk();
    EXPECT_EQ(r8, 0.0);
}

TEST_F(DataConvertTest, NumbersMeetDatesAndBytes) {
    // Integers and reals count as automation dates for the DB date types.
    double r8 = 45000.25;
    DBTIMESTAMP ts{};
    Run(DBTYPE_R8, r8, DBTYPE_DBTIMESTAMP, &ts, 0);
    ExpectOk();
    EXPECT_EQ(ts.year, 2023);
    EXPECT_EQ(ts.hour, 6);
    DBTIME time{};
    Run(DBTYPE_R8, r8, DBTYPE_DBTIME, &time, 0);
    ExpectOk();
    EXPECT_EQ(time.hour, 6);
    LONG big = 10000000;
    Run(DBTYPE_I4, big, DBTYPE_DBTIMESTAMP, &ts, 0);
    ExpectError(DBSTATUS_E_DATAOVERFLOW);
    // A date alone is midnight when a time is asked for.
    DBDATE d{2024, 5, 6};
    time = {1, 2, 3};
    Run(DBTYPE_DBDATE, d, DBTYPE_DBTIME, &time, 0);
    ExpectOk();
    EXPECT_EQ(time.hour, 0);
    EXPECT_EQ(time.second, 0);

    // The wider integers travel as their raw bytes.
    long long i8 = 0x0102030405060708LL;
    BYTE raw[8];
    Run(DBTYPE_I8, i8, DBTYPE_BYTES, raw, sizeof raw);
    ExpectOk();
    EXPECT_EQ(length_, 8u);
    EXPECT_EQ(raw[0], 0x08);
    long long back = 0;
    Run(DBTYPE_BYTES, raw, DBTYPE_I8, &back, 0, sizeof raw);
    ExpectOk();
    EXPECT_EQ(back, i8);
    Run(DBTYPE_BYTES, raw, DBTYPE_I8, &back, 0, 4);
    ExpectError(DBSTATUS_E_CANTCONVERTVALUE);
}

TEST(DataConvertInfo, VersionIsKeptAndAnswered) {
    IDCInfo* info = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_OLEDB_CONVERSIONLIBRARY, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IDCInfo, reinterpret_cast<void**>(&info)),
              S_OK);
    DCINFOTYPE asked[2] = {DCINFOTYPE_VERSION, 2};
    DCINFO* first = nullptr;
    ASSERT_EQ(info->GetInfo(2, asked, &first), S_OK);
    EXPECT_EQ(first[0].vData.vt, VT_UI4);
    EXPECT_EQ(first[0].vData.ulVal, 0x0110u);
    EXPECT_EQ(first[1].eInfoType, 2u);
    EXPECT_EQ(first[1].vData.vt, VT_EMPTY) << "an unknown type has no answer";
    CoTaskMemFree(first);
    DCINFO set{};
    set.eInfoType = DCINFOTYPE_VERSION;
    set.vData.vt = VT_I4;
    set.vData.lVal = 0x0300;
    EXPECT_EQ(info->SetInfo(1, &set), DB_S_ERRORSOCCURRED) << "only VT_UI4 is a version";
    set.vData.vt = VT_UI4;
    set.vData.ulVal = 0x0250;
    EXPECT_EQ(info->SetInfo(1, &set), S_OK);
    DCINFOTYPE type = DCINFOTYPE_VERSION;
    DCINFO* got = nullptr;
    ASSERT_EQ(info->GetInfo(1, &type, &got), S_OK);
    EXPECT_EQ(got[0].vData.vt, VT_UI4);
    EXPECT_EQ(got[0].vData.ulVal, 0x0250u);
    CoTaskMemFree(got);
    IDataConvert* convert = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_IDataConvert, reinterpret_cast<void**>(&convert)), S_OK);
    if (convert)
        convert->Release();
    info->Release();
}

} // namespace
