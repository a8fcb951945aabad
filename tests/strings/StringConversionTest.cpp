// Conversions between wide text, UTF-8 and the narrow encoding: non-ASCII
// round trips, repair of broken input, and the choice of narrow encoding.
#include "StringConversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

using namespace hdbtext;

namespace {

const std::wstring kSamples[] = {
    L"Grüße aus Köln, Äpfel und Öl",
    L"Preis: 100 €",
    L"smile \U0001F600 and \U00010348",
    L"Ελληνικά и кириллица",
    L"",
};

// A copy of text in a heap block of exactly its size, with no terminator
// behind it: reading past the end is caught by the address sanitizer.
template <class C> std::unique_ptr<C[]> ExactCopy(std::basic_string_view<C> text) {
    auto block = std::make_unique<C[]>(text.size());
    std::copy(text.begin(), text.end(), block.get());
    return block;
}

std::wstring Replacements(std::size_t count) {
    return std::wstring(count, L'\uFFFD');
}

} // namespace

TEST(Utf8Conversion, NonAsciiTextRoundTripsThroughEveryForm) {
    for (const std::wstring& text : kSamples) {
        EXPECT_EQ(WideFromUtf8(Utf8FromWide(text)), text);
        EXPECT_EQ(WideFromUtf8(U8FromWide(text)), text);
        if (AnsiIsUtf8()) {
            bool usedDefault = true;
            EXPECT_EQ(WideFromAnsi(AnsiFromWide(text, &usedDefault)), text);
            EXPECT_FALSE(usedDefault);
        }
    }
    // The bytes themselves, not only the round trip.
    EXPECT_EQ(Utf8FromWide(L"ä€\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_TRUE(U8FromWide(L"ä€\U0001F600") == u8"ä€\U0001F600");
    EXPECT_EQ(WideFromUtf8("\xF0\x9F\x98\x80").size(), sizeof(wchar_t) == 4 ? 1u : 2u);
}

TEST(Utf8Conversion, SurrogatePairsOfUtf16TextRoundTrip) {
    // The UTF-16 form is the wide text of Windows; it is checked here over
    // char16_t, which shares the code.
    const auto utf16 = detail::DecodeUtf8ToUnits<std::u16string>("a\xF0\x9F\x98\x80z", 6);
    EXPECT_EQ(utf16, u"a\U0001F600z");
    ASSERT_EQ(utf16.size(), 4u);

    std::string utf8;
    EXPECT_EQ(detail::EncodeUnitsToUtf8(std::u16string_view(utf16), utf8), 0u);
    EXPECT_EQ(utf8, "a\xF0\x9F\x98\x80z");

    // Lone low, lone high at the end, and a pair in the wrong order.
    const char16_t broken[] = {0xDE00, u'x', 0xDE00, 0xD83D, 0xD83D};
    EXPECT_EQ(detail::EncodeUnitsToUtf8(std::u16string_view(broken, 5), utf8), 4u);
    EXPECT_EQ(utf8, "\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8Conversion, IllFormedInputBecomesReplacementCharacters) {
    // Repaired per piece (the default) and per byte (the provider's values).
    struct Case {
        std::string input;
        std::wstring perPiece;
        std::wstring perByte;
    };
    const Case cases[] = {
        {"a\x80z", L"a" + Replacements(1) + L"z", L"a" + Replacements(1) + L"z"}, // stray byte
        {"\xC3", Replacements(1), Replacements(1)},                       // truncated at the end
        {"\xC3(", Replacements(1) + L"(", Replacements(1) + L"("},        // continuation missing
        {"\xE2\x82z", Replacements(1) + L"z", Replacements(2) + L"z"},    // a broken prefix
        {"\xF0\x9F\x98", Replacements(1), Replacements(3)},               // truncated 4-byte form
        {"\xC0\xAF", Replacements(2), Replacements(2)},                   // overlong '/'
        {"\xE0\x80\xAF", Replacements(3), Replacements(3)},               // overlong 3-byte form
        {"\xED\xA0\x80", Replacements(3), Replacements(3)},               // encoded surrogate
        {"\xF4\x90\x80\x80", Replacements(4), Replacements(4)},           // above U+10FFFF
        {"\xFF\xFEok", Replacements(2) + L"ok", Replacements(2) + L"ok"}, // never in UTF-8
        {"\xEF\xBF\xBD", L"\uFFFD", L"\uFFFD"},                           // a real U+FFFD stays one
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3), std::wstring(L"a\0b", 3)} // zero
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.input));
        EXPECT_EQ(WideFromUtf8(c.input), c.perPiece);
        const std::u8string bytes(c.input.begin(), c.input.end());
        EXPECT_EQ(WideFromUtf8(bytes), c.perPiece);
        EXPECT_EQ(WideFromUtf8(c.input, Utf8Repair::perByte), c.perByte);
        // Into a block of exactly one unit per byte, the room promised to suffice.
        auto block = std::make_unique<wchar_t[]>(c.input.size());
        const std::size_t n = DecodeUtf8Into(c.input, block.get(), Utf8Repair::perByte);
        EXPECT_EQ(std::wstring(block.get(), n), c.perByte);
    }
}

TEST(Utf8Conversion, IllFormedWideTextBecomesReplacementCharacters) {
    std::wstring text = L"a";
    text.push_back(static_cast<wchar_t>(0xD800));
    text += L"b";
    EXPECT_EQ(Utf8FromWide(text), "a\xEF\xBF\xBD"
                                  "b");
    bool usedDefault = false;
    const std::string narrow = AnsiFromWide(text, &usedDefault);
    if (AnsiIsUtf8()) {
        EXPECT_EQ(narrow, Utf8FromWide(text));
        EXPECT_TRUE(usedDefault);
    }
    if constexpr (sizeof(wchar_t) == 4) {
        const std::wstring outside(1, static_cast<wchar_t>(0x110000));
        EXPECT_EQ(Utf8FromWide(outside), "\xEF\xBF\xBD");
        const std::wstring negative(1, static_cast<wchar_t>(-1));
        EXPECT_EQ(Utf8FromWide(negative), "\xEF\xBF\xBD");
    }
}

TEST(Utf16Conversion, TextRoundTripsAndBrokenUnitsBecomeReplacementCharacters) {
    for (const std::wstring& text : kSamples)
        EXPECT_EQ(WideFromUtf16(Utf16FromWide(text)), text);
    EXPECT_EQ(Utf16FromWide(L"a\U0001F600"), u"a\xD83D\xDE00");

    // Lone low, a pair in the wrong order, a lone high at the end.
    const char16_t broken[] = {0xDE00, u'x', 0xDE00, 0xD83D, 0xD83D};
    EXPECT_EQ(WideFromUtf16(std::u16string_view(broken, 5)), L"\uFFFDx\uFFFD\uFFFD\uFFFD");
    std::wstring appended = L">";
    AppendWideFromUtf16(appended, u"\xD83D\xDE00");
    EXPECT_EQ(appended, L">\U0001F600");

    std::wstring wide = L"a";
    wide.push_back(static_cast<wchar_t>(0xDC00));
    if constexpr (sizeof(wchar_t) == 4)
        wide.push_back(static_cast<wchar_t>(0x110000));
    EXPECT_EQ(Utf16FromWide(wide), sizeof(wchar_t) == 4 ? u"a\uFFFD\uFFFD" : u"a\uFFFD");
}

TEST(Utf8Conversion, ReadsExactlyTheViewedUnits) {
    const std::string_view utf8 = "Gr\xC3\xBC\xC3\x9F"
                                  "e!";
    const auto block = ExactCopy(utf8);
    EXPECT_EQ(WideFromUtf8(std::string_view(block.get(), utf8.size())), L"Grüße!");
    // A view that ends inside "ü" must not pick up the byte after it.
    EXPECT_EQ(WideFromUtf8(std::string_view(block.get(), 3)), L"Gr\uFFFD");
    if (AnsiIsUtf8()) {
        EXPECT_EQ(WideFromAnsi(std::string_view(block.get(), 4)), L"Grü");
    }

    const std::wstring_view wide = L"Grüße\U0001F600";
    const auto wideBlock = ExactCopy(wide);
    EXPECT_EQ(Utf8FromWide(std::wstring_view(wideBlock.get(), wide.size())), "Gr\xC3\xBC\xC3\x9F"
                                                                             "e\xF0\x9F\x98\x80");
    EXPECT_EQ(Utf8FromWide(std::wstring_view(wideBlock.get(), 2)), "Gr");
    EXPECT_EQ(WideFromAnsi(AnsiFromWide(std::wstring_view(wideBlock.get(), 3))), L"Grü");
}

#ifndef _WIN32

TEST(NarrowEncoding, LegacyCodesetsConvertThroughTheSystem) {
    EXPECT_EQ(detail::WideFromCodeset("ISO-8859-1", "\xE4\xF6\xFC\xDF"), L"äöüß");
    EXPECT_EQ(detail::WideFromCodeset("CP1252", "\x80 5"), L"€ 5");
    // 0x81 has no character in CP1252.
    EXPECT_EQ(detail::WideFromCodeset("CP1252", "a\x81z"), L"a\uFFFDz");
    // A character cut off at the end of a multi-byte encoding.
    EXPECT_EQ(detail::WideFromCodeset("UTF-8", "a\xC3"), L"a\uFFFD");

    bool usedDefault = false;
    EXPECT_EQ(detail::CodesetFromWide("CP1252", L"ä€x", &usedDefault), "\xE4\x80x");
    EXPECT_FALSE(usedDefault);
    EXPECT_EQ(detail::CodesetFromWide("ISO-8859-1", L"ä€x\U0001F600", &usedDefault), "\xE4?x?");
    EXPECT_TRUE(usedDefault);

    // A stateful encoding must end in its initial state (shifted back to ASCII).
    const std::string japanese = detail::CodesetFromWide("ISO-2022-JP", L"a日本", nullptr);
    EXPECT_TRUE(japanese.ends_with("\x1B(B")) << japanese;
    EXPECT_EQ(detail::WideFromCodeset("ISO-2022-JP", japanese), L"a日本");

    // Output larger than the first guess (four bytes per wide character).
    const std::wstring many(1000, L'\U0001F600');
    const std::string big = detail::CodesetFromWide("UTF-8", many, nullptr);
    EXPECT_EQ(big, Utf8FromWide(many));
}

TEST(NarrowEncoding, PlainCLocaleCountsAsUtf8) {
    EXPECT_TRUE(detail::CodesetCountsAsUtf8("ANSI_X3.4-1968"));
    EXPECT_TRUE(detail::CodesetCountsAsUtf8("UTF-8"));
    EXPECT_TRUE(detail::CodesetCountsAsUtf8("utf8"));
    EXPECT_FALSE(detail::CodesetCountsAsUtf8("ISO-8859-1"));
    EXPECT_FALSE(detail::CodesetCountsAsUtf8("CP1252"));
    EXPECT_FALSE(detail::CodesetCountsAsUtf8("UTF-8x"));
}

namespace {

// Runs checks in a fresh process whose environment names a locale, since the
// narrow encoding is determined once per process. Exits with the number of
// failed checks, naming them on standard error. The exit skips the leak check:
// the C library keeps a block for a LOCPATH that a leak checker reports.
template <class Checks>
void ExpectInLocale(const char* locale, const char* locpath, Checks checks) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            if (locpath)
                setenv("LOCPATH", locpath, 1);
            setenv("LC_ALL", locale, 1);
            std::_Exit(checks());
        },
        testing::ExitedWithCode(0), "");
}

int Check(bool ok, const char* what) {
    if (!ok)
        std::cerr << "failed: " << what << '\n';
    return ok ? 0 : 1;
}

} // namespace

TEST(NarrowEncoding, EnvironmentLocaleDecidesTheNarrowEncoding) {
    // No configured locale, or one that is not installed: text stays intact.
    for (const char* locale : {"C", "POSIX", "xx_YY.ISO-8859-1"}) {
        SCOPED_TRACE(locale);
        ExpectInLocale(locale, nullptr, [] {
            return Check(AnsiIsUtf8(), "UTF-8 assumed") +
                   Check(WideFromAnsi("\xC3\xA4") == L"ä", "UTF-8 decoded") +
                   Check(AnsiFromWide(L"€") == "\xE2\x82\xAC", "UTF-8 encoded");
        });
    }

    // A real Latin-1 locale, compiled into a private directory.
    const auto dir = std::filesystem::path(testing::TempDir()) / "haldendb-strings-locale";
    const auto compiled = dir / "de_DE.ISO-8859-1";
    if (!std::filesystem::exists(compiled)) {
        std::filesystem::create_directories(dir);
        const std::string command =
            "localedef -i de_DE -f ISO-8859-1 '" + compiled.string() + "' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0 || !std::filesystem::exists(compiled))
            GTEST_SKIP() << "localedef cannot build a Latin-1 locale here";
    }
    ExpectInLocale("de_DE.ISO-8859-1", dir.c_str(), [] {
        bool usedDefault = false;
        const std::string narrow = AnsiFromWide(L"Öl, 5 €", &usedDefault);
        return Check(!AnsiIsUtf8(), "Latin-1 detected") +
               Check(WideFromAnsi("\xD6l") == L"Öl", "Latin-1 decoded") +
               Check(narrow == "\xD6l, 5 ?", "Latin-1 encoded") +
               Check(usedDefault, "replacement reported");
    });
}

#endif
