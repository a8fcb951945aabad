// CString: the class framework's wide, owning string, kept with its names and
// semantics so that code written against the framework compiles unchanged.
//
// Indexes and lengths are `int` as in the framework. Positions past the end
// are clamped where the framework clamps them (Mid, Left, Right, Insert,
// Delete) and answer "not found" where it searches (Find). Element access
// with an index outside the string throws CAtlException(E_INVALIDARG).
//
// A CString cannot be passed through `...` (it is not trivially copyable, and
// the compiler refuses it): pass GetString() or (LPCWSTR) to Format and to
// the printf family.
#pragma once

#include "hdbplatform/Com.h"

#include <compare>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class CString {
public:
    CString() = default;
    // A null pointer gives an empty string.
    CString(const wchar_t* text);
    // The first `length` characters of text (fewer when length is negative:
    // none). text may be null only with length 0.
    CString(const wchar_t* text, int length);
    // Narrow text in the process's "ANSI" encoding, converted to wide.
    CString(const char* text);
    // `repeat` copies of ch.
    explicit CString(wchar_t ch, int repeat = 1);
    explicit CString(std::wstring_view text) : m_str(text) {}

    int GetLength() const noexcept { return static_cast<int>(m_str.size()); }
    bool IsEmpty() const noexcept { return m_str.empty(); }
    void Empty() noexcept { m_str.clear(); }
    // Always terminated; valid until the string is next modified.
    const wchar_t* GetString() const noexcept { return m_str.c_str(); }
    operator const wchar_t*() const noexcept { return m_str.c_str(); }
    // The text as a view (not a framework member; for interplay with std code).
    std::wstring_view View() const noexcept { return m_str; }

    wchar_t GetAt(int index) const;
    void SetAt(int index, wchar_t ch);
    wchar_t operator[](int index) const { return GetAt(index); }

    CString& operator=(const wchar_t* text);
    CString& operator=(const char* text);
    CString& operator=(wchar_t ch);
    CString& operator+=(const CString& text);
    CString& operator+=(const wchar_t* text);
    CString& operator+=(wchar_t ch);

    friend CString operator+(const CString& a, const CString& b);
    friend CString operator+(const CString& a, const wchar_t* b);
    friend CString operator+(const wchar_t* a, const CString& b);
    friend CString operator+(const CString& a, wchar_t b);
    friend CString operator+(wchar_t a, const CString& b);

    friend bool operator==(const CString& a, const CString& b) noexcept {
        return a.m_str == b.m_str;
    }
    friend bool operator==(const CString& a, const wchar_t* b) noexcept {
        return a.Compare(b) == 0;
    }
    friend std::strong_ordering operator<=>(const CString& a, const CString& b) noexcept {
        return a.m_str.compare(b.m_str) <=> 0;
    }
    friend std::strong_ordering operator<=>(const CString& a, const wchar_t* b) noexcept {
        return a.Compare(b) <=> 0;
    }

    // Ordinal comparison by character value: <0, 0, >0. Null counts as empty.
    int Compare(const wchar_t* text) const noexcept;
    // Comparison after folding both sides to lower case (non-ASCII letters too).
    int CompareNoCase(const wchar_t* text) const;

    // Index of the first occurrence at or after start, -1 when there is none
    // or start lies past the end. An empty search text is found at start.
    int Find(wchar_t ch, int start = 0) const noexcept;
    int Find(const wchar_t* text, int start = 0) const noexcept;
    // Index of the last occurrence of ch, -1 when there is none.
    int ReverseFind(wchar_t ch) const noexcept;
    // Index of the first character that is in set, -1 when there is none.
    int FindOneOf(const wchar_t* set) const noexcept;

    // Substrings; a negative first or count counts as 0, and counts reaching
    // past the end stop at the end.
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString Left(int count) const;
    CString Right(int count) const;

    // Replace every occurrence; the number of replacements. An empty `from`
    // replaces nothing.
    int Replace(wchar_t from, wchar_t to);
    int Replace(const wchar_t* from, const wchar_t* to);
    // Removes every ch; the number removed.
    int Remove(wchar_t ch);
    // Inserts before index (clamped to 0..length); the new length.
    int Insert(int index, wchar_t ch);
    int Insert(int index, const wchar_t* text);
    // Deletes count characters from index (both clamped); the new length.
    int Delete(int index, int count = 1);

    CString& MakeUpper();
    CString& MakeLower();
    CString& MakeReverse();

    // Trimming of white space (iswspace), of one character or of a set.
    CString& Trim();
    CString& Trim(wchar_t ch);
    CString& Trim(const wchar_t* set);
    CString& TrimLeft();
    CString& TrimLeft(wchar_t ch);
    CString& TrimLeft(const wchar_t* set);
    CString& TrimRight();
    CString& TrimRight(wchar_t ch);
    CString& TrimRight(const wchar_t* set);

    // printf-style formatting with the Windows conventions (%s is wide in a
    // wide format, %ld is 32 bits, %I64u ...). A format that cannot be
    // formatted leaves the string empty (Format) or unchanged (AppendFormat).
    void Format(const wchar_t* format, ...);
    void AppendFormat(const wchar_t* format, ...);
    void FormatV(const wchar_t* format, va_list args);
    void AppendFormatV(const wchar_t* format, va_list args);

    // Direct access to the characters. GetBuffer makes room for at least
    // minLength characters plus a terminator and hands out the storage;
    // ReleaseBuffer ends the access and sets the length: to newLength, or with
    // -1 to the position of the first terminator in the buffer.
    wchar_t* GetBuffer();
    wchar_t* GetBuffer(int minLength);
    wchar_t* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);

private:
    std::wstring m_str;
};

template <> struct std::hash<CString> {
    std::size_t operator()(const CString& text) const noexcept {
        return std::hash<std::wstring_view>{}(text.View());
    }
};
