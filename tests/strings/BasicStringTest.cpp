// The string and view templates: case folding beyond ASCII, trimming, the
// interplay of strings, views and std types, and the encoding conversions.
#include "BasicString.h"
#include "BasicStringView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <type_traits>
#include <utility>
#include <unordered_map>
#include <unordered_set>

#ifndef _WIN32
#include <locale.h>
#include <wctype.h>
#endif

using WString = CBasicString<wchar_t>;
using WView = CBasicStringView<wchar_t>;
using U8String = CBasicString<char8_t>;
using NString = CBasicString<char>;

namespace {

// UTF-8 text as plain bytes, which the test framework can print.
std::string AsBytes(std::u8string_view text) {
    return std::string(text.begin(), text.end());
}

} // namespace

TEST(CaseFolding, FoldsMixedAsciiAndNonAsciiTextOfEveryCharacterType) {
    const WString lower = L"grüße aus köln: élan, ÿ, αβγ, жук";
    const WString upper = L"GRÜßE AUS KÖLN: ÉLAN, Ÿ, ΑΒΓ, ЖУК"; // ß has no single capital

    EXPECT_EQ(lower.ToUpper(), upper);
    EXPECT_EQ(upper.ToLower(), lower);
    EXPECT_EQ(lower, L"grüße aus köln: élan, ÿ, αβγ, жук") << "ToUpper changed its source";

    const U8String lower8 = lower.ToUtf8();
    EXPECT_EQ(AsBytes(lower8.ToUpper()), AsBytes(upper.ToUtf8()));
    EXPECT_EQ(AsBytes(upper.ToUtf8().ToLower()), AsBytes(lower8));

    if (hdbtext::AnsiIsUtf8()) {
        EXPECT_EQ(lower.ToAnsi().ToUpper(), upper.ToAnsi());
        EXPECT_EQ(upper.ToAnsi().ToLower(), lower.ToAnsi());
    }

    WString chained = L"MiXeD Ärger";
    EXPECT_EQ(chained.MakeLower().MakeUpper(), L"MIXED ÄRGER");
    EXPECT_EQ(chained, L"MIXED ÄRGER");
}

TEST(CaseFolding, HandlesLengthChangesAndCharactersOutsideTheBmp) {
    // Dotless i and long s take two bytes, their capitals one; dotted
    // capital I goes the other way.
    EXPECT_EQ(AsBytes(U8String(u8"ıſx").ToUpper()), "ISX");
    EXPECT_EQ(AsBytes(U8String(u8"İx").ToLower()), "ix");
    // Deseret letters lie beyond U+FFFF.
    EXPECT_EQ(AsBytes(U8String(u8"a\U00010428").ToUpper()), AsBytes(u8"A\U00010400"));
    EXPECT_EQ(WString(L"a\U00010428").ToUpper(), L"A\U00010400");

    // The same over UTF-16 units, the wide text of Windows: the pair is
    // replaced as a whole and the text keeps its length.
    std::u16string utf16 = u"\U00010428ä";
    hdbtext::detail::FoldUnits(utf16, true);
    EXPECT_EQ(utf16, u"\U00010400Ä");
}

TEST(CaseFolding, KeepsIllFormedTextAsItIs) {
    const std::u8string broken = {u8'a', char8_t(0xFF), u8'b', char8_t(0xC3)};
    EXPECT_EQ(AsBytes(U8String(broken).ToUpper()), "A\xFF"
                                                   "B\xC3");

    std::wstring wide = L"ä";
    wide.push_back(static_cast<wchar_t>(0xDC00));
    const WString folded = WString(wide).ToUpper();
    ASSERT_EQ(folded.size(), 2u);
    EXPECT_EQ(folded[0], L'Ä');
    EXPECT_EQ(static_cast<unsigned>(folded[1]), 0xDC00u);
}

#ifndef _WIN32
TEST(CaseFolding, LatinFallbackAgreesWithTheRuntimeTables) {
    // The fallback serves systems without a Unicode C locale; where one
    // exists, both must give the same answer for the letters it covers.
    const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    if (locale == locale_t{})
        GTEST_SKIP() << "no C.UTF-8 locale to compare with";
    for (char32_t c = 0; c < 0x180; ++c) {
        SCOPED_TRACE(static_cast<unsigned>(c));
        EXPECT_EQ(hdbtext::detail::LatinFallbackCase(c, true),
                  static_cast<char32_t>(towupper_l(static_cast<wint_t>(c), locale)));
        EXPECT_EQ(hdbtext::detail::LatinFallbackCase(c, false),
                  static_cast<char32_t>(towlower_l(static_cast<wint_t>(c), locale)));
    }
    freelocale(locale);
}
#endif

TEST(Trimming, RemovesBlanksOrAGivenSetFromTheEnds) {
    EXPECT_EQ(WString(L" \t\r\n a b \n\t").Trim(), L"a b");
    EXPECT_EQ(WString(L"  a b  ").TrimLeft(), L"a b  ");
    EXPECT_EQ(WString(L"  a b  ").TrimRight(), L"  a b");
    EXPECT_EQ(WString(L"xyxaxbyx").Trim(L"xy"), L"axb");
    EXPECT_EQ(NString("--42--").TrimLeft("-"), "42--");
    EXPECT_EQ(AsBytes(U8String(u8"ää€ä").TrimRight(u8"ä")), AsBytes(u8"ää€"));

    for (const wchar_t* nothingLeft : {L" \t \r\n", L""}) {
        EXPECT_EQ(WString(nothingLeft).Trim(), L"");
        EXPECT_EQ(WString(nothingLeft).TrimLeft(), L"");
        EXPECT_EQ(WString(nothingLeft).TrimRight(), L"");
        EXPECT_TRUE(WView(nothingLeft).Trimmed().empty());
    }
    EXPECT_EQ(WString(L"abc").Trim(L""), L"abc");

    // A set given as a part of a longer text holds only the viewed part.
    const WView set = WView(L"xyz").substr(0, 2);
    EXPECT_EQ(WString(L"zxaxz").Trim(set), L"zxaxz");
    EXPECT_EQ(WString(L"xzy").Trim(set), L"z");
}

TEST(Trimming, TrimmedViewsStayInsideTheirText) {
    const wchar_t text[] = L"  key = value  ";
    const WView view(text);
    const WView trimmed = view.Trimmed();
    EXPECT_EQ(trimmed, L"key = value");
    EXPECT_EQ(trimmed.data(), text + 2);

    // Trimming a part must not see the blanks outside it.
    const WView part = view.substr(2, 4); // "key "
    EXPECT_EQ(part.Trimmed(), L"key");
    EXPECT_EQ(view.substr(6, 7).Trimmed(L"= "), L"value");
}

TEST(StringAndView, FunctionsTakingViewsReadOnlyTheViewedPart) {
    // Exact-size heap copies without a terminator: the address sanitizer
    // reports any read beyond size().
    const std::u8string_view utf8 = u8"Grüße";
    auto block = std::make_unique<char8_t[]>(utf8.size());
    std::copy(utf8.begin(), utf8.end(), block.get());
    const CBasicStringView<char8_t> view(block.get(), utf8.size());

    EXPECT_EQ(WString::FromUtf8(view), L"Grüße");
    EXPECT_EQ(WString::FromUtf8(view.substr(0, 3)), L"Gr\uFFFD"); // cut inside "ü"
    EXPECT_EQ(AsBytes(U8String(view).ToUpper()), AsBytes(u8"GRÜßE"));
    EXPECT_EQ(AsBytes(U8String(view.substr(2)).Trim(u8"e")), AsBytes(u8"üß"));

    const WString sentence = L"Hello World";
    const auto word = WView(sentence).substr(6, 3);
    static_assert(std::is_same_v<decltype(word), const WView>);
    const WString copy(word);
    EXPECT_EQ(std::wcslen(copy.c_str()), 3u);
    EXPECT_EQ(copy, L"Wor");
    EXPECT_EQ(WString(L"x") + word + L'!', L"xWor!");
}

TEST(StringAndView, ConvertAndCompareAcrossStringKinds) {
    const WString string = L"Köln";
    const std::wstring standard = L"Köln";
    const WView fromString = string;
    const WView fromStandard = standard;
    const WView fromLiteral = L"Köln";

    EXPECT_TRUE(string == fromLiteral && fromString == string && string == standard);
    EXPECT_TRUE(standard == string && L"Köln" == string && fromStandard == L"Köln");
    EXPECT_TRUE(string < WView(L"Kölner") && WView(L"Aachen") < string);
    EXPECT_NE(string, L"Köl");

    EXPECT_TRUE(WView(static_cast<const wchar_t*>(nullptr)).empty());
    const wchar_t* const null = nullptr;
    EXPECT_TRUE(WString(null).empty());
    WString appended = L"x";
    appended += null;
    EXPECT_EQ(appended + null, L"x");

    static_assert(std::is_same_v<decltype(string.substr(1)), WString>);
    static_assert(std::is_same_v<decltype(fromString.substr(1)), WView>);
    static_assert(!std::is_convertible_v<WView, WString>, "copies from views are explicit");
}

TEST(StringAndView, ConcatenationKeepsTheStringType) {
    const WString ab = L"ab";
    const WView cd = L"cd";
    static_assert(std::is_same_v<decltype(ab + cd), WString>);
    static_assert(std::is_same_v<decltype(L"x" + ab), WString>);
    static_assert(std::is_same_v<decltype(std::wstring() + ab), WString>);
    static_assert(std::is_same_v<decltype(ab + L'c'), WString>);
    static_assert(std::is_same_v<decltype(std::declval<WString&>() += cd), WString&>);
    static_assert(std::is_same_v<decltype(std::wstring() + WString()), WString>);

    EXPECT_EQ(ab + cd + L"ef" + std::wstring(L"gh") + L'i', L"abcdefghi");
    EXPECT_EQ(cd + ab, L"cdab");
    EXPECT_EQ(L'<' + ab + L'>', L"<ab>");
    EXPECT_EQ(L"x" + WString(L"yz"), L"xyz");
    EXPECT_EQ(WString(L"xy") + WString(L"z"), L"xyz");

    WString grow = L"ab";
    grow += grow; // appends a copy of itself
    grow += WView(grow).substr(1, 2);
    grow.append(L"!").append(2, L'?');
    EXPECT_EQ(grow, L"ababba!??");
    grow = WView(grow).substr(2, 3); // assigns a part of itself
    EXPECT_EQ(grow, L"abb");
}

TEST(StringAndView, StringsAndViewsKeyHashedContainers) {
    std::unordered_map<WString, int> byName;
    byName[L"Äpfel"] = 1;
    byName[WString(L"Birnen")] = 2;
    EXPECT_EQ(byName.at(WString::FromUtf8(u8"Äpfel")), 1);
    EXPECT_EQ(byName.count(WString(L"Birnen ").TrimRight()), 1u);

    const U8String key = u8"€";
    std::unordered_set<CBasicStringView<char8_t>> views{key, u8"x"};
    EXPECT_EQ(views.count(u8"€"), 1u);
    EXPECT_EQ(std::hash<U8String>{}(key), std::hash<CBasicStringView<char8_t>>{}(key));
}

TEST(StringConversionMembers, NonAsciiTextRoundTrips) {
    const WString text = L"Grüße, 5 € \U0001F600";
    EXPECT_EQ(AsBytes(text.ToUtf8()), AsBytes(u8"Grüße, 5 € \U0001F600"));
    EXPECT_EQ(text.ToUtf8().ToWide(), text);
    EXPECT_EQ(WString::FromUtf8(text.ToUtf8()), text);
    EXPECT_EQ(WString::FromUtf8("\xC3\xA4"), L"ä");
    if (hdbtext::AnsiIsUtf8()) {
        bool usedDefault = true;
        EXPECT_EQ(text.ToAnsi(&usedDefault).ToWide(), text);
        EXPECT_FALSE(usedDefault);
        EXPECT_EQ(WString::FromAnsi(text.ToAnsi()), text);
    }
}
