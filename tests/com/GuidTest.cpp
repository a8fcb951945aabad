// GUID text forms and fresh GUIDs.
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

// Byte order matters: Data1..Data3 print as numbers, Data4 as bytes.
constexpr GUID Sample = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
constexpr const wchar_t* SampleText = L"{0C733A30-2A1C-11CE-ADE5-00AA0044773D}";

TEST(GuidText, WritesUpperCaseBracedForm) {
    wchar_t buffer[39];
    EXPECT_EQ(StringFromGUID2(Sample, buffer, 39), 39);
    EXPECT_STREQ(buffer, SampleText);
    EXPECT_EQ(StringFromGUID2(Sample, buffer, 38), 0);
}

TEST(GuidText, TaskMemoryFormsRoundTrip) {
    LPOLESTR text = nullptr;
    ASSERT_EQ(StringFromCLSID(Sample, &text), S_OK);
    EXPECT_STREQ(text, SampleText);
    CLSID back{};
    EXPECT_EQ(CLSIDFromString(text, &back), S_OK);
    EXPECT_EQ(back, Sample);
    CoTaskMemFree(text);

    ASSERT_EQ(StringFromIID(IID_IUnknown, &text), S_OK);
    EXPECT_STREQ(text, L"{00000000-0000-0000-C000-000000000046}");
    CoTaskMemFree(text);
}

TEST(GuidText, ReadsEitherCase) {
    IID back{};
    EXPECT_EQ(IIDFromString(L"{0c733a30-2a1c-11ce-ade5-00aa0044773d}", &back), S_OK);
    EXPECT_EQ(back, Sample);
}

TEST(GuidText, RejectsEverythingButTheBracedForm) {
    const wchar_t* malformed[] = {
        L"",
        L"0C733A30-2A1C-11CE-ADE5-00AA0044773D",    // no braces
        L"{0C733A30-2A1C-11CE-ADE5-00AA0044773D",   // no closing brace
        L"{0C733A30-2A1C-11CE-ADE5-00AA0044773D}x", // trailing text
        L"{0C733A3G-2A1C-11CE-ADE5-00AA0044773D}",  // not hex
        L"{0C733A30-2A1C-11CE-ADE500AA-0044773D}",  // dash misplaced
        L"{0C733A30:2A1C-11CE-ADE5-00AA0044773D}",
        L"{ C733A30-2A1C-11CE-ADE5-00AA0044773D}",
        L"SQLOLEDB", // no names here
    };
    for (const wchar_t* text : malformed) {
        CLSID clsid{};
        EXPECT_EQ(CLSIDFromString(text, &clsid), CO_E_CLASSSTRING) << text;
        EXPECT_EQ(IIDFromString(text, &clsid), CO_E_CLASSSTRING) << text;
    }
    CLSID clsid = Sample;
    EXPECT_EQ(CLSIDFromString(nullptr, &clsid), S_OK);
    EXPECT_EQ(clsid, GUID_NULL);
}

TEST(CoCreateGuid, GivesDistinctVersion4Guids) {
    std::set<std::wstring> seen;
    for (int i = 0; i < 100; ++i) {
        GUID guid{};
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        EXPECT_EQ(guid.Data3 >> 12, 4);
        EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80);
        wchar_t text[39];
        StringFromGUID2(guid, text, 39);
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 100u);
    EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
}

} // namespace
