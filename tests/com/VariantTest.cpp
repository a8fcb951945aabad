// VARIANT ownership (clear, copy) and type conversion.
#include "CountedObject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using hdbtest::CountedObject;

VARIANT Holding(VARTYPE vt) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = vt;
    return v;
}

VARIANT Text(const wchar_t* text) {
    VARIANT v = Holding(VT_BSTR);
    V_BSTR(&v) = SysAllocString(text);
    return v;
}

// ---------------------------------------------------------------- ownership

TEST(VariantOwnership, CopyDuplicatesTheStringAndClearFreesBoth) {
    VARIANT source = Text(L"value");
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_VT(&copy), VT_BSTR);
    EXPECT_NE(V_BSTR(&copy), V_BSTR(&source));
    EXPECT_STREQ(V_BSTR(&copy), L"value");
    EXPECT_EQ(VariantClear(&source), S_OK);
    EXPECT_EQ(V_VT(&source), VT_EMPTY);
    EXPECT_STREQ(V_BSTR(&copy), L"value"); // still alive after the source is gone
    EXPECT_EQ(VariantClear(&copy), S_OK);
}

TEST(VariantOwnership, CopyKeepsEmbeddedNulsOfAString) {
    VARIANT source = Holding(VT_BSTR);
    V_BSTR(&source) = SysAllocStringLen(L"a\0b", 3);
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(SysStringLen(V_BSTR(&copy)), 3u);
    VariantClear(&source);
    VariantClear(&copy);
}

TEST(VariantOwnership, InterfaceReferencesBalance) {
    auto* object = new CountedObject;
    const int liveBefore = CountedObject::Live();
    VARIANT held = Holding(VT_UNKNOWN);
    V_UNKNOWN(&held) = object; // takes the creation reference

    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &held), S_OK);
    EXPECT_EQ(object->References(), 2u);

    // Copying over a VARIANT that already holds the object releases it first.
    ASSERT_EQ(VariantCopy(&copy, &held), S_OK);
    EXPECT_EQ(object->References(), 2u);

    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(object->References(), 1u);
    EXPECT_EQ(VariantClear(&held), S_OK);
    EXPECT_EQ(CountedObject::Live(), liveBefore - 1);
}

TEST(VariantOwnership, ReferencesAreCopiedAsPointersAndNeverFreed) {
    BSTR owned = SysAllocString(L"mine");
    VARIANT ref = Holding(VT_BSTR | VT_BYREF);
    ref.pbstrVal = &owned;
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &ref), S_OK);
    EXPECT_EQ(copy.pbstrVal, &owned);
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(VariantClear(&ref), S_OK);
    EXPECT_STREQ(owned, L"mine");
    SysFreeString(owned);
}

TEST(VariantOwnership, UnknownTypesAreRefusedAndLeftUntouched) {
    VARIANT odd = Holding(15);
    EXPECT_EQ(VariantClear(&odd), DISP_E_BADVARTYPE);
    EXPECT_EQ(V_VT(&odd), 15);

    VARIANT array = Holding(VT_ARRAY | VT_I4);
    VARIANT copy = Text(L"kept");
    EXPECT_EQ(VariantCopy(&copy, &array), DISP_E_BADVARTYPE);
    EXPECT_STREQ(V_BSTR(&copy), L"kept");
    VariantClear(&copy);

    EXPECT_EQ(VariantClear(&(odd = Holding(VT_NULL | VT_BYREF))), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantClear(&(odd = Holding(VT_I4 | VT_VECTOR))), DISP_E_BADVARTYPE);
}

TEST(VariantOwnership, DecimalSurvivesACopy) {
    VARIANT source;
    source.decVal.Lo64 = 123456789;
    source.decVal.Hi32 = 7;
    source.decVal.scale = 3;
    source.decVal.sign = DECIMAL_NEG;
    V_VT(&source) = VT_DECIMAL;
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_VT(&copy), VT_DECIMAL);
    EXPECT_EQ(copy.decVal.Lo64, 123456789u);
    EXPECT_EQ(copy.decVal.Hi32, 7u);
    EXPECT_EQ(copy.decVal.scale, 3);
    EXPECT_EQ(copy.decVal.sign, DECIMAL_NEG);
}

// ---------------------------------------------------------------- conversion

struct Converted {
    HRESULT hr;
    VARIANT value;
};

Converted Change(VARIANT source, VARTYPE vt, USHORT flags = 0) {
    Converted out{};
    VariantInit(&out.value);
    out.hr = VariantChangeType(&out.value, &source, flags, vt);
    VariantClear(&source);
    return out;
}

VARIANT I4(LONG value) {
    VARIANT v = Holding(VT_I4);
    V_I4(&v) = value;
    return v;
}

VARIANT R8(double value) {
    VARIANT v = Holding(VT_R8);
    V_R8(&v) = value;
    return v;
}

std::wstring TextOf(VARIANT source, USHORT flags = 0) {
    Converted c = Change(source, VT_BSTR, flags);
    if (FAILED(c.hr))
        return L"<failed>";
    std::wstring text(V_BSTR(&c.value), SysStringLen(V_BSTR(&c.value)));
    VariantClear(&c.value);
    return text;
}

TEST(VariantChangeType, IntegersAreRangeChecked) {
    EXPECT_EQ(Change(I4(32767), VT_I2).hr, S_OK);
    EXPECT_EQ(Change(I4(32768), VT_I2).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(I4(-32769), VT_I2).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(I4(-1), VT_UI4).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(I4(255), VT_UI1).value.bVal, 255);
    EXPECT_EQ(Change(I4(256), VT_UI1).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(I4(-128), VT_I1).value.cVal, -128);

    VARIANT big = Holding(VT_UI8);
    V_UI8(&big) = 0xFFFFFFFFFFFFFFFFull;
    EXPECT_EQ(Change(big, VT_I8).hr, DISP_E_OVERFLOW);
    V_UI8(&big) = 0x7FFFFFFFFFFFFFFFull;
    Converted c = Change(big, VT_I8);
    EXPECT_EQ(c.hr, S_OK);
    EXPECT_EQ(V_I8(&c.value), 0x7FFFFFFFFFFFFFFFll);
}

TEST(VariantChangeType, RealsRoundHalfToEven) {
    EXPECT_EQ(Change(R8(2.5), VT_I4).value.lVal, 2);
    EXPECT_EQ(Change(R8(3.5), VT_I4).value.lVal, 4);
    EXPECT_EQ(Change(R8(-2.5), VT_I4).value.lVal, -2);
    EXPECT_EQ(Change(R8(2.6), VT_I4).value.lVal, 3);
    EXPECT_EQ(Change(R8(2147483647.4), VT_I4).hr, S_OK);
    EXPECT_EQ(Change(R8(2147483647.6), VT_I4).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(R8(-0.6), VT_UI1).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(R8(-0.4), VT_UI1).value.bVal, 0);
    EXPECT_EQ(Change(R8(9.3e18), VT_I8).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(R8(1e39), VT_R4).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(R8(std::nan("")), VT_I4).hr, DISP_E_OVERFLOW);
}

TEST(VariantChangeType, BooleansFollowTheAutomationConventions) {
    EXPECT_EQ(Change(I4(5), VT_BOOL).value.boolVal, VARIANT_TRUE);
    EXPECT_EQ(Change(R8(0.0), VT_BOOL).value.boolVal, VARIANT_FALSE);
    VARIANT truth = Holding(VT_BOOL);
    V_BOOL(&truth) = VARIANT_TRUE;
    EXPECT_EQ(Change(truth, VT_I4).value.lVal, -1);
    EXPECT_EQ(Change(truth, VT_UI1).value.bVal, 0xFF);
    EXPECT_EQ(TextOf(truth), L"-1");
    EXPECT_EQ(TextOf(truth, VARIANT_ALPHABOOL), L"True");
    EXPECT_EQ(Change(Text(L" false "), VT_BOOL).value.boolVal, VARIANT_FALSE);
    EXPECT_EQ(Change(Text(L"TRUE"), VT_BOOL).value.boolVal, VARIANT_TRUE);
    EXPECT_EQ(Change(Text(L"0.5"), VT_BOOL).value.boolVal, VARIANT_TRUE);
    EXPECT_EQ(Change(Text(L"yes"), VT_BOOL).hr, DISP_E_TYPEMISMATCH);
}

TEST(VariantChangeType, TextIsReadInTheCLocale) {
    EXPECT_EQ(Change(Text(L"  -42 "), VT_I4).value.lVal, -42);
    EXPECT_EQ(Change(Text(L"+7"), VT_I4).value.lVal, 7);
    EXPECT_EQ(Change(Text(L"2.5"), VT_I2).value.iVal, 2);
    EXPECT_DOUBLE_EQ(Change(Text(L"1.25e2"), VT_R8).value.dblVal, 125.0);
    EXPECT_DOUBLE_EQ(Change(Text(L".5"), VT_R8).value.dblVal, 0.5);
    EXPECT_EQ(Change(Text(L"18446744073709551615"), VT_UI8).value.ullVal, 18446744073709551615ull);
    EXPECT_EQ(Change(Text(L"99999"), VT_I2).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(Text(L"1e400"), VT_R8).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(Text(L"18446744073709551616"), VT_UI8).hr, DISP_E_OVERFLOW);
    for (const wchar_t* bad : {L"", L"  ", L"12abc", L"1,5", L"1e", L"--1", L".", L"0x10"})
        EXPECT_EQ(Change(Text(bad), VT_I4).hr, DISP_E_TYPEMISMATCH) << bad;
}

TEST(VariantChangeType, NumbersBecomeText) {
    EXPECT_EQ(TextOf(I4(-123)), L"-123");
    EXPECT_EQ(TextOf(R8(0.1)), L"0.1");
    EXPECT_EQ(TextOf(R8(1.0 / 3.0)), L"0.333333333333333");
    EXPECT_EQ(TextOf(R8(1e20)), L"1E+20");
    EXPECT_EQ(TextOf(R8(-0.0)), L"0");
    VARIANT single = Holding(VT_R4);
    V_R4(&single) = 0.1f;
    EXPECT_EQ(TextOf(single), L"0.1");
    VARIANT money = Holding(VT_CY);
    V_CY(&money).int64 = -12345; // -1.2345
    EXPECT_EQ(TextOf(money), L"-1.2345");
    V_CY(&money).int64 = 150000;
    EXPECT_EQ(TextOf(money), L"15");
    EXPECT_EQ(TextOf(Holding(VT_EMPTY)), L"");
}

TEST(VariantChangeType, CurrencyAndDatesAreScaledAndRangeChecked) {
    Converted c = Change(R8(1.23456), VT_CY);
    EXPECT_EQ(V_CY(&c.value).int64, 12346);
    EXPECT_EQ(Change(R8(1e15), VT_CY).hr, DISP_E_OVERFLOW);
    VARIANT money = Holding(VT_CY);
    V_CY(&money).int64 = 25000; // 2.5 rounds to even
    EXPECT_EQ(Change(money, VT_I4).value.lVal, 2);

    EXPECT_DOUBLE_EQ(Change(R8(45000.5), VT_DATE).value.date, 45000.5);
    EXPECT_EQ(Change(R8(2958466.0), VT_DATE).hr, DISP_E_OVERFLOW);
    EXPECT_EQ(Change(R8(-657435.0), VT_DATE).hr, DISP_E_OVERFLOW);
}

TEST(VariantChangeType, NullAndObjectsDoNotConvert) {
    EXPECT_EQ(Change(Holding(VT_NULL), VT_I4).hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(Holding(VT_NULL), VT_BSTR).hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(Holding(VT_NULL), VT_NULL).value.vt, VT_NULL);
    EXPECT_EQ(Change(Holding(VT_EMPTY), VT_I4).value.lVal, 0);
    EXPECT_EQ(Change(I4(1), VT_UNKNOWN).hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(I4(1), 15).hr, DISP_E_BADVARTYPE);
}

TEST(VariantChangeType, InPlaceFailureKeepsTheValue) {
    VARIANT v = Text(L"not a number");
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(V_VT(&v), VT_BSTR);
    EXPECT_STREQ(V_BSTR(&v), L"not a number");
    VariantClear(&v);

    v = Text(L"17");
    ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_I2), S_OK);
    EXPECT_EQ(V_VT(&v), VT_I2);
    EXPECT_EQ(V_I2(&v), 17);
}

TEST(VariantChangeType, ReferencesAreFollowed) {
    LONG number = 99;
    VARIANT ref = Holding(VT_I4 | VT_BYREF);
    ref.plVal = &number;
    EXPECT_EQ(TextOf(ref), L"99");

    VARIANT inner = Text(L"12");
    VARIANT outer = Holding(VT_VARIANT | VT_BYREF);
    outer.pvarVal = &inner;
    EXPECT_EQ(Change(outer, VT_I4).value.lVal, 12);
    EXPECT_STREQ(V_BSTR(&inner), L"12");
    VariantClear(&inner);
}

TEST(VariantChangeType, SameTypeCopiesAndAddsAReference) {
    auto* object = new CountedObject;
    VARIANT held = Holding(VT_UNKNOWN);
    V_UNKNOWN(&held) = object;
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantChangeType(&copy, &held, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(object->References(), 2u);
    VariantClear(&copy);
    VariantClear(&held);
}

} // namespace
