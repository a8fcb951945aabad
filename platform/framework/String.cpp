#include "hdbplatform/String.h"

#include "hdbplatform/AtlException.h"

#include "BasicString.h"
#include "StringConversion.h"

#include <algorithm>
#include <cwctype>
#include <vector>

namespace {

std::wstring_view ViewOf(const wchar_t* text) noexcept {
    return text ? std::wstring_view(text) : std::wstring_view();
}

// Clamps a framework-style int position into 0..limit.
std::size_t Clamp(int value, std::size_t limit) noexcept {
    if (value <= 0)
        return 0;
    return std::min(static_cast<std::size_t>(value), limit);
}

bool IsBlank(wchar_t ch) noexcept {
    return std::iswspace(static_cast<wint_t>(ch)) != 0;
}

template <typename Pred> void TrimLeftWhile(std::wstring& text, Pred pred) {
    auto first = std::find_if_not(text.begin(), text.end(), pred);
    text.erase(text.begin(), first);
}

template <typename Pred> void TrimRightWhile(std::wstring& text, Pred pred) {
    auto last = std::find_if_not(text.rbegin(), text.rend(), pred);
    text.erase(last.base(), text.end());
}

auto InSet(const wchar_t* set) {
    return [chars = ViewOf(set)](wchar_t ch) { return chars.find(ch) != std::wstring_view::npos; };
}

auto IsChar(wchar_t wanted) {
    return [wanted](wchar_t ch) { return ch == wanted; };
}

// Case folding goes through the maker's string class so that the framework
// string and CBasicString agree on every letter, ASCII or not.
std::wstring Folded(std::wstring_view text, bool upper) {
    CBasicString<wchar_t> folded(text.data(), text.size());
    if (upper)
        folded.MakeUpper();
    else
        folded.MakeLower();
    return std::wstring(folded.data(), folded.size());
}

// Formats with the Windows conventions: measure, then write. The two passes
// each need their own copy of the argument list.
bool FormatInto(std::wstring& out, const wchar_t* format, va_list args) {
    if (!format)
        return false;
    va_list measure;
    va_copy(measure, args);
    const int length = _vscwprintf(format, measure);
    va_end(measure);
    if (length < 0)
        return false;
    std::vector<wchar_t> buffer(static_cast<std::size_t>(length) + 1);
    va_list write;
    va_copy(write, args);
    const int written = vswprintf_s(buffer.data(), buffer.size(), format, write);
    va_end(write);
    if (written < 0)
        return false;
    out.assign(buffer.data(), static_cast<std::size_t>(written));
    return true;
}

} // namespace

CString::CString(const wchar_t* text) : m_str(ViewOf(text)) {}

CString::CString(const wchar_t* text, int length) {
    if (text && length > 0)
        m_str.assign(text, static_cast<std::size_t>(length));
}

CString::CString(const char* text) {
    if (text)
        m_str = hdbtext::WideFromAnsi(text);
}

CString::CString(wchar_t ch, int repeat) {
    if (repeat > 0)
        m_str.assign(static_cast<std::size_t>(repeat), ch);
}

wchar_t CString::GetAt(int index) const {
    if (index < 0 || index >= GetLength())
        AtlThrow(E_INVALIDARG);
    return m_str[static_cast<std::size_t>(index)];
}

void CString::SetAt(int index, wchar_t ch) {
    if (index < 0 || index >= GetLength())
        AtlThrow(E_INVALIDARG);
    m_str[static_cast<std::size_t>(index)] = ch;
}

CString& CString::operator=(const wchar_t* text) {
    // The source may point into this string.
    m_str = std::wstring(ViewOf(text));
    return *this;
}

CString& CString::operator=(const char* text) {
    m_str = text ? hdbtext::WideFromAnsi(text) : std::wstring();
    return *this;
}

CString& CString::operator=(wchar_t ch) {
    m_str.assign(1, ch);
    return *this;
}

CString& CString::operator+=(const CString& text) {
    m_str += text.m_str;
    return *this;
}

CString& CString::operator+=(const wchar_t* text) {
    m_str += std::wstring(ViewOf(text));
    return *this;
}

CString& CString::operator+=(wchar_t ch) {
    m_str += ch;
    return *this;
}

CString operator+(const CString& a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, const wchar_t* b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const wchar_t* a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, wchar_t b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(wchar_t a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

int CString::Compare(const wchar_t* text) const noexcept {
    const int order = std::wstring_view(m_str).compare(ViewOf(text));
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

int CString::CompareNoCase(const wchar_t* text) const {
    const std::wstring mine = Folded(m_str, false);
    const std::wstring other = Folded(ViewOf(text), false);
    const int order = mine.compare(other);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

int CString::Find(wchar_t ch, int start) const noexcept {
    if (start > GetLength())
        return -1;
    const std::size_t at = m_str.find(ch, Clamp(start, m_str.size()));
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::Find(const wchar_t* text, int start) const noexcept {
    if (start > GetLength())
        return -1;
    const std::size_t at = m_str.find(ViewOf(text), Clamp(start, m_str.size()));
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::ReverseFind(wchar_t ch) const noexcept {
    const std::size_t at = m_str.rfind(ch);
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::FindOneOf(const wchar_t* set) const noexcept {
    const std::wstring_view chars = ViewOf(set);
    if (chars.empty())
        return -1;
    const std::size_t at = m_str.find_first_of(chars);
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

CString CString::Mid(int first) const {
    return Mid(first, GetLength());
}

CString CString::Mid(int first, int count) const {
    const std::size_t from = Clamp(first, m_str.size());
    const std::size_t length = Clamp(count, m_str.size() - from);
    return CString(std::wstring_view(m_str).substr(from, length));
}

CString CString::Left(int count) const {
    return CString(std::wstring_view(m_str).substr(0, Clamp(count, m_str.size())));
}

CString CString::Right(int count) const {
    const std::size_t length = Clamp(count, m_str.size());
    return CString(std::wstring_view(m_str).substr(m_str.size() - length));
}

int CString::Replace(wchar_t from, wchar_t to) {
    int count = 0;
    for (wchar_t& ch : m_str) {
        if (ch == from) {
            ch = to;
            ++count;
        }
    }
    return count;
}

int CString::Replace(const wchar_t* from, const wchar_t* to) {
    const std::wstring_view needle = ViewOf(from);
    if (needle.empty())
        return 0;
    // Copies first: either argument may point into this string.
    const std::wstring search(needle);
    const std::wstring replacement(ViewOf(to));
    std::wstring result;
    int count = 0;
    std::size_t done = 0;
    for (std::size_t at = m_str.find(search); at != std::wstring::npos;
         at = m_str.find(search, done)) {
        result.append(m_str, done, at - done);
        result += replacement;
        done = at + search.size();
        ++count;
    }
    if (count > 0) {
        result.append(m_str, done, std::wstring::npos);
        m_str = std::move(result);
    }
    return count;
}

int CString::Remove(wchar_t ch) {
    const auto removed = std::erase(m_str, ch);
    return static_cast<int>(removed);
}

int CString::Insert(int index, wchar_t ch) {
    m_str.insert(Clamp(index, m_str.size()), 1, ch);
    return GetLength();
}

int CString::Insert(int index, const wchar_t* text) {
    const std::wstring inserted(ViewOf(text));
    m_str.insert(Clamp(index, m_str.size()), inserted);
    return GetLength();
}

int CString::Delete(int index, int count) {
    const std::size_t from = Clamp(index, m_str.size());
    m_str.erase(from, Clamp(count, m_str.size() - from));
    return GetLength();
}

CString& CString::MakeUpper() {
    m_str = Folded(m_str, true);
    return *this;
}

CString& CString::MakeLower() {
    m_str = Folded(m_str, false);
    return *this;
}

CString& CString::MakeReverse() {
    std::reverse(m_str.begin(), m_str.end());
    return *this;
}

CString& CString::Trim() {
    return TrimRight().TrimLeft();
}
CString& CString::Trim(wchar_t ch) {
    return TrimRight(ch).TrimLeft(ch);
}
CString& CString::Trim(const wchar_t* set) {
    return TrimRight(set).TrimLeft(set);
}

CString& CString::TrimLeft() {
    TrimLeftWhile(m_str, IsBlank);
    return *this;
}

CString& CString::TrimLeft(wchar_t ch) {
    TrimLeftWhile(m_str, IsChar(ch));
    return *this;
}

CString& CString::TrimLeft(const wchar_t* set) {
    TrimLeftWhile(m_str, InSet(set));
    return *this;
}

CString& CString::TrimRight() {
    TrimRightWhile(m_str, IsBlank);
    return *this;
}

CString& CString::TrimRight(wchar_t ch) {
    TrimRightWhile(m_str, IsChar(ch));
    return *this;
}

CString& CString::TrimRight(const wchar_t* set) {
    TrimRightWhile(m_str, InSet(set));
    return *this;
}

void CString::Format(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CString::AppendFormat(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    AppendFormatV(format, args);
    va_end(args);
}

void CString::FormatV(const wchar_t* format, va_list args) {
    std::wstring text;
    if (!FormatInto(text, format, args))
        text.clear();
    m_str = std::move(text);
}

void CString::AppendFormatV(const wchar_t* format, va_list args) {
    std::wstring text;
    if (FormatInto(text, format, args))
        m_str += text;
}

wchar_t* CString::GetBuffer() {
    return GetBuffer(0);
}

wchar_t* CString::GetBuffer(int minLength) {
    const std::size_t wanted = minLength > 0 ? static_cast<std::size_t>(minLength) : 0;
    if (m_str.size() < wanted)
        m_str.resize(wanted, L'\0');
    return m_str.data();
}

wchar_t* CString::GetBufferSetLength(int length) {
    m_str.resize(length > 0 ? static_cast<std::size_t>(length) : 0, L'\0');
    return m_str.data();
}

void CString::ReleaseBuffer(int newLength) {
    if (newLength < 0) {
        const std::size_t end = m_str.find(L'\0');
        if (end != std::wstring::npos)
            m_str.resize(end);
        return;
    }
    m_str.resize(std::min(static_cast<std::size_t>(newLength), m_str.size()));
}
