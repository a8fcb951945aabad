#include "hdbplatform/String.h"
#include "hdbplatform/StringArray.h"
#include "hdbplatform/AtlException.h"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>
#include <map>

namespace {

TEST(StringFormat, FollowsWindowsConventions) {
    CString text;
    const LONG negative = -2147217842;
    text.Format(L"%s|%ld|%I64u|%lx", L"äöü", negative, 18446744073709551615ULL,
                static_cast<ULONG>(0x80040E4E));
    EXPECT_EQ(text, L"äöü|-2147217842|18446744073709551615|80040e4e");

    text.Format(L"%.4d-%.2d", 7, 3);
    EXPECT_EQ(text, L"0007-03");
}

TEST(StringFormat, GrowsPastAnyFixedBufferAndAppends) {
    const CString chunk(L'x', 5000);
    CString text(L"head:");
    text.AppendFormat(L"%s|%d", chunk.GetString(), 42);
    EXPECT_EQ(text.GetLength(), 5 + 5000 + 3);
    EXPECT_EQ(text.Right(3), L"|42");
    EXPECT_EQ(text.Left(5), L"head:");

    text.Format(L"%s", L"");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(StringCase, FoldsNonAsciiLetters) {
    CString text(L"Grüße aus Ärzte-Café ÅÉ");
    text.MakeUpper();
    EXPECT_EQ(text, L"GRÜßE AUS ÄRZTE-CAFÉ ÅÉ"); // ß has no one-letter capital
    text.MakeLower();
    EXPECT_EQ(text, L"grüße aus ärzte-café åé");

    EXPECT_EQ(CString(L"ÄRGER").CompareNoCase(L"ärger"), 0);
    EXPECT_LT(CString(L"äa").CompareNoCase(L"ÄB"), 0);
    EXPECT_NE(CString(L"ärger").Compare(L"ÄRGER"), 0);
}

TEST(StringConstruction, ConvertsNarrowTextAndClampsLengths) {
    EXPECT_EQ(CString("Gr\xC3\xBC\xC3\x9F"
                      "e"),
              L"Grüße");
    EXPECT_EQ(CString(static_cast<const char*>(nullptr)), L"");
    EXPECT_EQ(CString(static_cast<const wchar_t*>(nullptr)), L"");
    EXPECT_EQ(CString(L"abcdef", 3), L"abc");
    EXPECT_EQ(CString(L"abcdef", -1), L"");
    EXPECT_EQ(CString(L'-', 3), L"---");
}

TEST(StringSearch, EdgeCasesOfFind) {
    const CString text(L"abcabc");
    EXPECT_EQ(text.Find(L'c'), 2);
    EXPECT_EQ(text.Find(L'c', 3), 5);
    EXPECT_EQ(text.Find(L'x'), -1);
    EXPECT_EQ(text.Find(L'a', 6), -1);  // start at the end
    EXPECT_EQ(text.Find(L'a', 99), -1); // start past the end
    EXPECT_EQ(text.Find(L"bc", 2), 4);
    EXPECT_EQ(text.Find(L"cab"), 2);
    EXPECT_EQ(text.Find(L"abcabcd"), -1);
    EXPECT_EQ(text.Find(L"", 2), 2);
    EXPECT_EQ(text.Find(L"a", -5), 0);
    EXPECT_EQ(text.ReverseFind(L'b'), 4);
    EXPECT_EQ(text.ReverseFind(L'z'), -1);
    EXPECT_EQ(text.FindOneOf(L"xc"), 2);
    EXPECT_EQ(CString().Find(L""), 0);
    EXPECT_EQ(CString().Find(L'a'), -1);
}

TEST(StringSubstrings, ClampOutOfRangeArguments) {
    const CString text(L"haldendb");
    EXPECT_EQ(text.Mid(6), L"db");
    EXPECT_EQ(text.Mid(8), L"");
    EXPECT_EQ(text.Mid(20, 3), L"");
    EXPECT_EQ(text.Mid(-2, 3), L"hal");
    EXPECT_EQ(text.Mid(6, 10), L"db");
    EXPECT_EQ(text.Mid(2, -1), L"");
    EXPECT_EQ(text.Left(-3), L"");
    EXPECT_EQ(text.Left(100), L"haldendb");
    EXPECT_EQ(text.Right(2), L"db");
    EXPECT_EQ(text.Right(100), L"haldendb");
}

TEST(StringEditing, ReplaceRemoveInsertDelete) {
    CString text(L"a-b-c");
    EXPECT_EQ(text.Replace(L"", L"x"), 0);
    EXPECT_EQ(text.Replace(L"zz", L"x"), 0);
    EXPECT_EQ(text, L"a-b-c");
    EXPECT_EQ(text.Replace(L"-", L"--"), 2); // the replacement holds the searched text
    EXPECT_EQ(text, L"a--b--c");
    EXPECT_EQ(text.Replace(L"--", L""), 2);
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.Replace(L'b', L'B'), 1);
    EXPECT_EQ(text, L"aBc");

    CString self(L"abab");
    EXPECT_EQ(self.Replace(self.GetString() + 2, L"X"), 2); // argument points into self
    EXPECT_EQ(self, L"XX");

    text = L"a,b,,c";
    EXPECT_EQ(text.Remove(L','), 3);
    EXPECT_EQ(text, L"abc");

    EXPECT_EQ(text.Insert(99, L"!"), 4);
    EXPECT_EQ(text.Insert(-1, L'>'), 5);
    EXPECT_EQ(text, L">abc!");
    EXPECT_EQ(text.Delete(1, 2), 3);
    EXPECT_EQ(text, L">c!");
    EXPECT_EQ(text.Delete(2, 99), 2);
    EXPECT_EQ(text.Delete(10), 2);
    EXPECT_EQ(text, L">c");
}

TEST(StringEditing, Trimming) {
    CString text(L" \t\r\n value \n");
    EXPECT_EQ(text.Trim(), L"value");
    text = L"xxyvaluexy";
    EXPECT_EQ(text.TrimLeft(L"xy"), L"valuexy");
    EXPECT_EQ(text.TrimRight(L'y'), L"valuex");
    text = L"   ";
    EXPECT_TRUE(text.Trim().IsEmpty());
    text = L"";
    EXPECT_TRUE(text.TrimLeft(L"ab").IsEmpty());
}

TEST(StringAccess, BufferAndElements) {
    CString text(L"ab");
    wchar_t* buffer = text.GetBuffer(10);
    std::wcscpy(buffer, L"abcdefghij");
    text.ReleaseBuffer();
    EXPECT_EQ(text, L"abcdefghij");

    buffer = text.GetBuffer(4);
    buffer[2] = L'\0';
    text.ReleaseBuffer();
    EXPECT_EQ(text, L"ab");

    buffer = text.GetBufferSetLength(3);
    buffer[2] = L'Z';
    text.ReleaseBuffer(3);
    EXPECT_EQ(text, L"abZ");

    text.SetAt(0, L'A');
    EXPECT_EQ(text[0], L'A');
    EXPECT_EQ(text.GetAt(2), L'Z');
    try {
        text.GetAt(3);
        ADD_FAILURE() << "no exception";
    } catch (const CAtlException& e) {
        EXPECT_EQ(static_cast<HRESULT>(e), E_INVALIDARG);
    }
    EXPECT_THROW(text.SetAt(-1, L'x'), CAtlException);
}

TEST(StringOperators, ConcatenationAndOrdering) {
    const CString name(L"db");
    EXPECT_EQ(L"halden" + name, L"haldendb");
    EXPECT_EQ(name + L".ini", L"db.ini");
    EXPECT_EQ(name + L'!', L"db!");
    EXPECT_EQ(L'>' + name, L">db");
    EXPECT_EQ(name + name, L"dbdb");
    CString text(L"x");
    text += text; // appending itself
    EXPECT_EQ(text, L"xx");

    EXPECT_TRUE(CString(L"a") < CString(L"b"));
    EXPECT_TRUE(CString(L"a") < L"ab");
    EXPECT_TRUE(L"b" > CString(L"a"));
    EXPECT_TRUE(CString(L"a") != L"A");
    EXPECT_TRUE(L"a" == CString(L"a"));

    std::map<CString, int> byName{{CString(L"b"), 2}, {CString(L"a"), 1}};
    EXPECT_EQ(byName.begin()->second, 1);
}

TEST(StringArray, IndexingGrowthAndRemoval) {
    CStringArray items;
    EXPECT_TRUE(items.IsEmpty());
    EXPECT_EQ(items.GetUpperBound(), -1);
    EXPECT_EQ(items.Add(L"a"), 0);
    EXPECT_EQ(items.Add(L"b"), 1);

    items.InsertAt(4, L"e"); // past the end: grows with empty strings
    ASSERT_EQ(items.GetSize(), 5);
    EXPECT_TRUE(items[2].IsEmpty());
    EXPECT_EQ(items[4], L"e");

    items.InsertAt(0, items[1], 2); // inserting one of its own elements
    EXPECT_EQ(items[0], L"b");
    EXPECT_EQ(items[1], L"b");
    EXPECT_EQ(items.GetCount(), 7);

    items.RemoveAt(0, 2);
    EXPECT_EQ(items[0], L"a");
    EXPECT_THROW(items.RemoveAt(3, 3), CAtlException);
    EXPECT_THROW(items.GetAt(5), CAtlException);
    EXPECT_THROW(items.SetAt(-1, L"x"), CAtlException);

    EXPECT_EQ(items.Append(items), 5); // appending itself doubles it
    EXPECT_EQ(items.GetSize(), 10);
    EXPECT_EQ(items[9], L"e");

    CStringArray copy;
    copy.Copy(items);
    copy.ElementAt(0) = L"changed";
    EXPECT_EQ(items[0], L"a");
    copy.SetSize(1);
    EXPECT_EQ(copy.GetSize(), 1);
    copy.RemoveAll();
    EXPECT_TRUE(copy.IsEmpty());
}

} // namespace
