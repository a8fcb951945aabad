// BSTR layout and life cycle.
#include "hdbplatform/OleAuto.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

std::uint32_t PrefixOf(BSTR bstr) {
    std::uint32_t count;
    std::memcpy(&count, reinterpret_cast<const char*>(bstr) - 4, 4);
    return count;
}

TEST(Bstr, PrefixHoldsTheByteCountAndTextIsTerminated) {
    BSTR text = SysAllocString(L"Halden");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(PrefixOf(text), 6 * sizeof(OLECHAR));
    EXPECT_EQ(SysStringLen(text), 6u);
    EXPECT_EQ(SysStringByteLen(text), 6 * sizeof(OLECHAR));
    EXPECT_EQ(text[6], L'\0');
    EXPECT_STREQ(text, L"Halden");
    SysFreeString(text);
}

TEST(Bstr, EmbeddedNulsCountAsCharacters) {
    const OLECHAR source[] = {L'a', L'\0', L'b', L'\0', L'c'};
    BSTR text = SysAllocStringLen(source, 5);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 5u);
    EXPECT_EQ(std::memcmp(text, source, sizeof source), 0);
    EXPECT_EQ(text[5], L'\0');
    SysFreeString(text);
}

TEST(Bstr, ByteLengthNeedNotBeWholeCharacters) {
    BSTR bytes = SysAllocStringByteLen("abcdefg", 7);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(SysStringByteLen(bytes), 7u);
    EXPECT_EQ(SysStringLen(bytes), 7u / sizeof(OLECHAR));
    const char* raw = reinterpret_cast<const char*>(bytes);
    EXPECT_EQ(std::memcmp(raw, "abcdefg", 7), 0);
    // Terminated by a whole zero character after the last byte.
    for (std::size_t i = 7; i < 7 + sizeof(OLECHAR); ++i)
        EXPECT_EQ(raw[i], 0) << i;
    SysFreeString(bytes);
}

TEST(Bstr, NullSourcesGiveZeroFilledOrNullStrings) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);

    BSTR blank = SysAllocStringLen(nullptr, 3);
    ASSERT_NE(blank, nullptr);
    EXPECT_EQ(SysStringLen(blank), 3u);
    SysFreeString(blank);

    BSTR empty = SysAllocString(L"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    SysFreeString(empty);
}

TEST(Bstr, ReAllocMayTakeItsTextFromTheOldString) {
    BSTR text = SysAllocString(L"database");
    ASSERT_EQ(SysReAllocStringLen(&text, text + 4, 4), TRUE);
    EXPECT_STREQ(text, L"base");
    EXPECT_EQ(SysStringLen(text), 4u);
    ASSERT_EQ(SysReAllocString(&text, L"longer text than before"), TRUE);
    EXPECT_STREQ(text, L"longer text than before");
    ASSERT_EQ(SysReAllocString(&text, nullptr), TRUE);
    EXPECT_EQ(SysStringLen(text), 0u);
    SysFreeString(text);
    EXPECT_EQ(SysReAllocString(nullptr, L"x"), FALSE);
}

TEST(Bstr, ImpossibleLengthFails) {
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFF0u), nullptr);
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFFu), nullptr);
}

} // namespace
