// The Win32 functions: automation dates, code pages, system message texts,
// per-thread state (last error, UI language) and files.
#include "hdbplatform/Com.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace {

SYSTEMTIME Date(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0, WORD second = 0) {
    SYSTEMTIME st{};
    st.wYear = year;
    st.wMonth = month;
    st.wDay = day;
    st.wHour = hour;
    st.wMinute = minute;
    st.wSecond = second;
    return st;
}

std::string Text(const SYSTEMTIME& st) {
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", st.wYear, st.wMonth, st.wDay,
                  st.wHour, st.wMinute, st.wSecond);
    return text;
}

std::string FromVariantTime(double date) {
    SYSTEMTIME st{};
    st.wMilliseconds = 999;
    if (!VariantTimeToSystemTime(date, &st))
        return "invalid";
    EXPECT_EQ(0, st.wMilliseconds);
    return Text(st);
}

// ------------------------------------------------------------ automation dates

TEST(AutomationDates, EpochAndNegativeFractions) {
    EXPECT_EQ("1899-12-30 00:00:00", FromVariantTime(0.0));
    // Before the epoch the time of day counts away from zero.
    EXPECT_EQ("1899-12-29 06:00:00", FromVariantTime(-1.25));
    EXPECT_EQ("1899-12-30 12:00:00", FromVariantTime(-0.5));
    SYSTEMTIME st = Date(1899, 12, 29, 6);
    double date = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&st, &date));
    EXPECT_DOUBLE_EQ(-1.25, date);
}

TEST(AutomationDates, LimitsOfTheRange) {
    EXPECT_EQ("9999-12-31 23:59:59", FromVariantTime(2958465.99999));
    EXPECT_EQ("0100-01-01 00:00:00", FromVariantTime(-657434.0));
    EXPECT_EQ("invalid", FromVariantTime(2958466.0));
    EXPECT_EQ("invalid", FromVariantTime(-657435.0));
    // Rounding past the last second of 9999 leaves the range.
    EXPECT_EQ("invalid", FromVariantTime(2958465.9999999));
    SYSTEMTIME first = Date(100, 1, 1);
    double date = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&first, &date));
    EXPECT_EQ(-657434.0, date);
}

TEST(AutomationDates, RoundsToTheNearestSecond) {
    const double second = 1.0 / 86400;
    // 23:59:59.6 on 2024-02-28 becomes midnight of the leap day.
    SYSTEMTIME st = Date(2024, 2, 28, 23, 59, 59);
    double date = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&st, &date));
    EXPECT_EQ("2024-02-29 00:00:00", FromVariantTime(date + 0.6 * second));
    EXPECT_EQ("2024-02-28 23:59:59", FromVariantTime(date + 0.4 * second));
    // Half a second rounds up.
    EXPECT_EQ("1899-12-30 12:00:01", FromVariantTime(0.5 + 0.5 * second));
    // Also before the epoch, where the fraction counts the other way.
    EXPECT_EQ("1899-12-30 00:00:00", FromVariantTime(-1.0 - 86399.6 * second));
}

TEST(AutomationDates, NineteenHundredIsNoLeapYear) {
    EXPECT_EQ("1900-02-28 00:00:00", FromVariantTime(60.0));
    EXPECT_EQ("1900-03-01 00:00:00", FromVariantTime(61.0));
    SYSTEMTIME noSuchDay = Date(1900, 2, 29);
    double date = 0;
    EXPECT_FALSE(SystemTimeToVariantTime(&noSuchDay, &date));
    SYSTEMTIME leapDay = Date(2000, 2, 29);
    EXPECT_TRUE(SystemTimeToVariantTime(&leapDay, &date));
    EXPECT_EQ(36585.0, date);
}

TEST(AutomationDates, OutOfRangePartsAreRefused) {
    double date = 0;
    for (SYSTEMTIME st : {Date(2024, 0, 1), Date(2024, 13, 1), Date(2024, 4, 0), Date(2024, 4, 31),
                          Date(2024, 1, 1, 24), Date(2024, 1, 1, 0, 60), Date(2024, 1, 1, 0, 0, 60),
                          Date(99, 1, 1), Date(10000, 1, 1)})
        EXPECT_FALSE(SystemTimeToVariantTime(&st, &date)) << Text(st);
}

TEST(AutomationDates, MillisecondsAndWeekdayAreIgnoredAndWeekdayIsSet) {
    SYSTEMTIME st = Date(2024, 5, 17, 8, 30, 15);
    st.wMilliseconds = 900;
    st.wDayOfWeek = 3;
    double date = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&st, &date));
    SYSTEMTIME back{};
    ASSERT_TRUE(VariantTimeToSystemTime(date, &back));
    EXPECT_EQ("2024-05-17 08:30:15", Text(back));
    EXPECT_EQ(5, back.wDayOfWeek); // a Friday
    ASSERT_TRUE(VariantTimeToSystemTime(0.0, &back));
    EXPECT_EQ(6, back.wDayOfWeek); // 1899-12-30 was a Saturday
    ASSERT_TRUE(VariantTimeToSystemTime(-1.0, &back));
    EXPECT_EQ(5, back.wDayOfWeek);
}

// ------------------------------------------------------------ code pages

TEST(CodePages, MultiByteToWideCharSizes) {
    const char text[] = "äöü"; // six bytes of UTF-8
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0));
    EXPECT_EQ(3, MultiByteToWideChar(CP_ACP, 0, text, 6, nullptr, 0));
    wchar_t wide[4];
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, 4));
    EXPECT_STREQ(L"äöü", wide);
    SetLastError(0);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, 3));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, GetLastError());
    EXPECT_EQ(0, MultiByteToWideChar(12345, 0, text, -1, wide, 4));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, text, 0, wide, 4));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
}

TEST(CodePages, InvalidInput) {
    const char broken[] = "a\xFF";
    wchar_t wide[4];
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, broken, -1, wide, 4));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, GetLastError());
    ASSERT_EQ(3, MultiByteToWideChar(CP_UTF8, 0, broken, -1, wide, 4));
    EXPECT_EQ(L'\xFFFD', wide[1]);
    const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    char narrow[8];
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, surrogate, -1, narrow, 8,
                                     nullptr, nullptr));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, GetLastError());
}

TEST(CodePages, WideCharToMultiByteSizesAndDefaults) {
    EXPECT_EQ(7, WideCharToMultiByte(CP_UTF8, 0, L"äöü", -1, nullptr, 0, nullptr, nullptr));
    char narrow[7];
    EXPECT_EQ(7, WideCharToMultiByte(CP_UTF8, 0, L"äöü", -1, narrow, 7, nullptr, nullptr));
    EXPECT_STREQ("äöü", narrow);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, L"äöü", -1, narrow, 6, nullptr, nullptr));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, GetLastError());
    BOOL usedDefault = TRUE;
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, L"a", -1, narrow, 7, nullptr, &usedDefault));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_EQ(2, WideCharToMultiByte(CP_ACP, 0, L"ab", 2, narrow, 7, nullptr, &usedDefault));
    EXPECT_FALSE(usedDefault);
}

// ------------------------------------------------------------ system messages

std::wstring Message(DWORD code) {
    wchar_t buffer[256];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, code, 0, buffer, 256, nullptr);
    return length ? std::wstring(buffer, length) : L"<none>";
}

TEST(SystemMessages, KnownCodesGiveTheWindowsTexts) {
    EXPECT_EQ(L"The operation completed successfully.\r\n", Message(S_OK));
    EXPECT_EQ(L"Unspecified error\r\n", Message(E_FAIL));
    EXPECT_EQ(L"Class does not support aggregation (or class object is remote)\r\n",
              Message(CLASS_E_NOAGGREGATION));
    EXPECT_EQ(L"Type mismatch.\r\n", Message(DISP_E_TYPEMISMATCH));
    // Win32 codes and their HRESULT form share one text.
    EXPECT_EQ(L"The system cannot find the file specified.\r\n", Message(2));
    EXPECT_EQ(Message(2), Message(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)));
    EXPECT_EQ(L"Not enough memory resources are available to complete this operation.\r\n",
              Message(E_OUTOFMEMORY));
    EXPECT_EQ(L"The specified module could not be found.\r\n", Message(0x8007007E));
}

TEST(SystemMessages, UnknownCodesFail) {
    SetLastError(0);
    EXPECT_EQ(L"<none>", Message(0x80040E4E)); // an OLE DB code
    EXPECT_EQ(ERROR_MR_MID_NOT_FOUND, GetLastError());
    EXPECT_EQ(L"<none>", Message(0x80071234));
}

TEST(SystemMessages, BuffersAndLanguages) {
    LPWSTR allocated = nullptr;
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ALLOCATE_BUFFER,
                                        nullptr, E_POINTER, MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN),
                                        reinterpret_cast<LPWSTR>(&allocated), 0, nullptr);
    ASSERT_EQ(17u, length);
    EXPECT_STREQ(L"Invalid pointer\r\n", allocated);
    EXPECT_EQ(nullptr, LocalFree(allocated));
    wchar_t small[10];
    EXPECT_EQ(
        0u, FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, E_POINTER, 0, small, 10, nullptr));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, GetLastError());
}

// ------------------------------------------------------------ per-thread state

TEST(ThreadState, LastErrorBelongsToItsThread) {
    SetLastError(ERROR_ACCESS_DENIED);
    DWORD seen = 1;
    std::thread other([&] {
        seen = GetLastError();
        SetLastError(ERROR_DISK_FULL);
    });
    other.join();
    EXPECT_EQ(ERROR_SUCCESS, seen);
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_NE(0u, GetCurrentThreadId());
}

class UiLanguage : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : kNames) {
            const char* value = std::getenv(name);
            saved_.emplace_back(value ? value : "", value != nullptr);
        }
        SetThreadUILanguage(0);
    }
    void TearDown() override {
        for (std::size_t i = 0; i < std::size(kNames); ++i) {
            if (saved_[i].second)
                setenv(kNames[i], saved_[i].first.c_str(), 1);
            else
                unsetenv(kNames[i]);
        }
        SetThreadUILanguage(0);
    }
    static void Environment(const char* all, const char* messages, const char* lang) {
        setenv("LC_ALL", all, 1);
        setenv("LC_MESSAGES", messages, 1);
        setenv("LANG", lang, 1);
    }
    static constexpr const char* kNames[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    static constexpr LANGID kGerman = 0x0407;
    static constexpr LANGID kEnglish = 0x0409;

private:
    std::vector<std::pair<std::string, bool>> saved_;
};

TEST_F(UiLanguage, DefaultFollowsTheFirstNonEmptyLocaleVariable) {
    Environment("", "", "de_DE.UTF-8");
    EXPECT_EQ(kGerman, GetThreadUILanguage());
    EXPECT_EQ(kGerman, GetUserDefaultUILanguage());
    Environment("", "en_GB.UTF-8", "de_DE.UTF-8");
    EXPECT_EQ(kEnglish, GetThreadUILanguage());
    Environment("de_AT", "en_GB.UTF-8", "C");
    EXPECT_EQ(kGerman, GetThreadUILanguage());
    Environment("", "", "");
    EXPECT_EQ(kEnglish, GetThreadUILanguage());
}

TEST_F(UiLanguage, EachThreadKeepsItsOwnChoice) {
    Environment("", "", "en_US.UTF-8");
    EXPECT_EQ(kGerman, SetThreadUILanguage(kGerman));
    LANGID otherBefore = 0;
    LANGID otherAfter = 0;
    std::thread other([&] {
        otherBefore = GetThreadUILanguage();
        SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT));
        otherAfter = GetThreadUILanguage();
    });
    other.join();
    EXPECT_EQ(kEnglish, otherBefore);
    EXPECT_EQ(kEnglish, otherAfter);
    EXPECT_EQ(kGerman, GetThreadUILanguage());
    // Zero returns to the default and answers it.
    EXPECT_EQ(kEnglish, SetThreadUILanguage(0));
    EXPECT_EQ(kEnglish, GetThreadUILanguage());
}

// ------------------------------------------------------------ files

class Files : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/hdbwinapiXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        dir_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::wstring Path(const char* name) const { return (dir_ / name).wstring(); }

    std::filesystem::path dir_;
};

TEST_F(Files, WriteSizeAndReadBack) {
    HANDLE file = CreateFileW(Path("data.bin").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "hello world", 11, &written, nullptr));
    EXPECT_EQ(11u, written);
    EXPECT_TRUE(CloseHandle(file));

    file = CreateFileW(Path("data.bin").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    LARGE_INTEGER size{};
    ASSERT_TRUE(GetFileSizeEx(file, &size));
    EXPECT_EQ(11, size.QuadPart);
    char buffer[32] = {};
    DWORD read = 0;
    ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &read, nullptr));
    EXPECT_EQ("hello world", std::string(buffer, read));
    // At the end of the file a read succeeds with nothing.
    ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &read, nullptr));
    EXPECT_EQ(0u, read);
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Files, ErrorsAsWindowsReportsThem) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(Path("missing").c_str(), GENERIC_READ, 0, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(Path("nodir/file").c_str(), GENERIC_READ, 0,
                                                nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(dir_.wstring().c_str(), GENERIC_READ, 0, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    HANDLE readOnly =
        CreateFileW(Path("r.txt").c_str(), GENERIC_READ, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, readOnly);
    EXPECT_FALSE(WriteFile(readOnly, "x", 1, nullptr, nullptr));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    CloseHandle(readOnly);
    EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE));
    EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

TEST_F(Files, CreationDispositions) {
    const std::wstring path = Path("x.txt");
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_EQ(ERROR_SUCCESS, GetLastError());
    WriteFile(file, "abc", 3, nullptr, nullptr);
    CloseHandle(file);

    EXPECT_EQ(INVALID_HANDLE_VALUE,
              CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    EXPECT_EQ(ERROR_FILE_EXISTS, GetLastError());

    file = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    LARGE_INTEGER size{};
    GetFileSizeEx(file, &size);
    EXPECT_EQ(3, size.QuadPart);
    CloseHandle(file);

    file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    GetFileSizeEx(file, &size);
    EXPECT_EQ(0, size.QuadPart);
    CloseHandle(file);
}

} // namespace
