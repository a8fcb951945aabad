// CBasicString<T>: an owning string of wide characters (wchar_t), narrow
// characters in the process's encoding (char) or UTF-8 (char8_t).
//
// It is a std::basic_string with the operations every module of ours needs on
// top: case folding that knows letters beyond ASCII, trimming of a set of
// characters, and conversions between the three encodings. Operations that
// build a new string (substr, +, ToUpper ...) return CBasicString, and a
// CBasicString is viewed implicitly as a CBasicStringView. Making a string
// from a view is explicit, as with std::basic_string, because it allocates.
#pragma once

#include "BasicStringView.h"
#include "StringConversion.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#ifndef _WIN32
#include <locale.h>
#include <wctype.h>
#endif

namespace hdbtext::detail {

// Case of the letters of Latin-1 and Latin Extended-A, for a C runtime that
// lacks a Unicode locale. Letters without a single-character counterpart
// (such as U+00DF) and all other characters map to themselves.
constexpr char32_t LatinFallbackCase(char32_t c, bool upper) noexcept {
    if (c < 0x80) {
        if (upper && c >= 'a' && c <= 'z')
            return c - 'a' + 'A';
        if (!upper && c >= 'A' && c <= 'Z')
            return c - 'A' + 'a';
        return c;
    }
    if (c < 0x100) {
        if (c == 0xB5)
            return upper ? 0x39C : c; // micro sign: Greek capital mu
        if (c == 0xFF)
            return upper ? 0x178 : c;
        if (upper && c >= 0xE0 && c <= 0xFE && c != 0xF7)
            return c - 0x20;
        if (!upper && c >= 0xC0 && c <= 0xDE && c != 0xD7)
            return c + 0x20;
        return c;
    }
    if (c >= 0x180)
        return c;
    switch (c) {
    case 0x130: // capital I with dot
        return upper ? c : U'i';
    case 0x131: // dotless i
        return upper ? U'I' : c;
    case 0x138: // kra
    case 0x149: // n preceded by apostrophe
        return c;
    case 0x178:
        return upper ? c : 0xFF;
    case 0x17F: // long s
        return upper ? U'S' : c;
    default:
        break;
    }
    // The rest come in pairs; most start the pair with the capital on an
    // even code point, the ranges 0x139-0x148 and 0x179-0x17E on an odd one.
    const bool capitalIsOdd = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    const bool isCapital = ((c & 1) != 0) == capitalIsOdd;
    if (upper && !isCapital)
        return c - 1;
    if (!upper && isCapital)
        return c + 1;
    return c;
}

#ifdef _WIN32

// The system's case mapping for the invariant locale. The C runtime's
// towupper maps only ASCII until the program sets a locale, so it is not used.
inline char32_t FoldCodePoint(char32_t c, bool upper) {
    if (c < 0x80)
        return LatinFallbackCase(c, upper);
    std::wstring in;
    AppendWide(in, c);
    wchar_t out[2] = {};
    const int written = LCMapStringW(LOCALE_INVARIANT, upper ? LCMAP_UPPERCASE : LCMAP_LOWERCASE,
                                     in.data(), static_cast<int>(in.size()), out, 2);
    if (written != static_cast<int>(in.size()))
        return c;
    const DecodedChar d = DecodeWide(out, static_cast<std::size_t>(written));
    return d.valid ? d.codePoint : c;
}

#else

// The C runtime's Unicode case tables, made once and never freed: towupper_l
// is safe to call from any thread with it.
inline locale_t UnicodeCaseLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return locale;
}

inline char32_t FoldCodePoint(char32_t c, bool upper) {
    if (c < 0x80)
        return LatinFallbackCase(c, upper);
    const locale_t locale = UnicodeCaseLocale();
    if (locale == locale_t{})
        return LatinFallbackCase(c, upper);
    const wint_t folded = upper ? towupper_l(static_cast<wint_t>(c), locale)
                                : towlower_l(static_cast<wint_t>(c), locale);
    return static_cast<char32_t>(folded);
}

#endif

// Folds UTF-16 or UTF-32 text in place (wchar_t text is one of them). Case
// pairs keep their width, so the text keeps its length; in UTF-16 a letter
// whose counterpart would need a different number of units is left alone.
template <class String> void FoldUnits(String& text, bool upper) {
    std::size_t i = 0;
    while (i < text.size()) {
        const DecodedChar d = DecodeUnits(text.data() + i, text.size() - i);
        if (d.valid) {
            const char32_t folded = FoldCodePoint(d.codePoint, upper);
            const bool sameWidth = sizeof(text[0]) == 4 || (folded >= 0x10000) == (d.length == 2);
            if (folded != d.codePoint && sameWidth) {
                if (d.length == 1) {
                    text[i] = static_cast<typename String::value_type>(folded);
                } else {
                    String pair;
                    AppendUnits(pair, folded);
                    text.replace(i, d.length, pair);
                }
            }
        }
        i += d.length;
    }
}

// Folds UTF-8 text in place. The text may change its length (U+0131 takes
// two bytes, its capital one); ill-formed bytes are kept as they are.
template <class Unit> void FoldUtf8(std::basic_string<Unit>& text, bool upper) {
    std::basic_string<Unit> out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const DecodedChar d = DecodeUtf8(text.data() + i, text.size() - i);
        if (d.valid)
            AppendUtf8(out, FoldCodePoint(d.codePoint, upper));
        else
            out.append(text, i, d.length);
        i += d.length;
    }
    text.swap(out);
}

template <class Unit> void FoldAscii(std::basic_string<Unit>& text, bool upper) {
    for (Unit& c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x80)
            c = static_cast<Unit>(LatinFallbackCase(u, upper));
    }
}

template <class T> void FoldCase(std::basic_string<T>& text, bool upper) {
    if constexpr (std::is_same_v<T, wchar_t>)
        FoldUnits(text, upper);
    else if constexpr (std::is_same_v<T, char8_t>)
        FoldUtf8(text, upper);
    else if (AnsiIsUtf8())
        FoldUtf8(text, upper);
    else
        FoldAscii(text, upper); // a legacy code page: only ASCII is known for sure
}

} // namespace hdbtext::detail

template <class T> class CBasicString : public std::basic_string<T> {
    using Base = std::basic_string<T>;
    using View = std::basic_string_view<T>;

    // What the text-taking operations accept: anything viewed as text of T
    // (literals, pointers, std and our strings and views). They view it as a
    // CBasicStringView, so that a null pointer counts as empty text.
    template <class R> static constexpr bool kIsText = std::is_convertible_v<const R&, View>;
    template <class S>
    static constexpr bool kIsThis = std::is_base_of_v<CBasicString, std::remove_cvref_t<S>>;
    // A non-const rvalue whose buffer an operator may take over.
    template <class S>
    static constexpr bool kIsReusable =
        !std::is_lvalue_reference_v<S> && !std::is_const_v<std::remove_reference_t<S>>;

public:
    using Base::Base;
    using Base::npos;
    using typename Base::size_type;

    CBasicString() noexcept = default;
    CBasicString(const Base& text) : Base(text) {}
    CBasicString(Base&& text) noexcept : Base(std::move(text)) {}

    // A null pointer gives an empty string instead of undefined behaviour.
    CBasicString(const T* text) : Base(text ? View(text) : View()) {}

    template <class R>
    requires kIsText<R> CBasicString& operator=(const R& text) {
        Base::assign(CBasicStringView<T>(text));
        return *this;
    }
    CBasicString& operator=(T c) {
        Base::assign(1, c);
        return *this;
    }

    template <class R>
    requires kIsText<R> CBasicString& operator+=(const R& text) {
        Base::append(CBasicStringView<T>(text));
        return *this;
    }
    CBasicString& operator+=(T c) {
        Base::push_back(c);
        return *this;
    }

    // Every form of std::basic_string::append, returning this type.
    template <class... Args> CBasicString& append(Args&&... args) {
        Base::append(std::forward<Args>(args)...);
        return *this;
    }

    CBasicString substr(size_type pos = 0, size_type count = npos) const {
        return CBasicString(Base::substr(pos, count));
    }

    // Case folding one character at a time: letters beyond ASCII are folded
    // as far as the system's tables know them; a letter without a single
    // character counterpart (U+00DF has none in upper case) stays. Narrow
    // text is folded as UTF-8 when that is the process's encoding, else only
    // its ASCII letters are.
    CBasicString& MakeUpper() {
        hdbtext::detail::FoldCase<T>(*this, true);
        return *this;
    }
    CBasicString& MakeLower() {
        hdbtext::detail::FoldCase<T>(*this, false);
        return *this;
    }
    CBasicString ToUpper() const { return CBasicString(*this).MakeUpper(); }
    CBasicString ToLower() const { return CBasicString(*this).MakeLower(); }

    // Remove the characters of set from both ends, the start or the end.
    CBasicString& Trim(View set = hdbtext::detail::BlankSet<T>()) {
        return TrimRight(set).TrimLeft(set);
    }
    CBasicString& TrimLeft(View set = hdbtext::detail::BlankSet<T>()) {
        Base::erase(0, (std::min)(this->find_first_not_of(set), this->size()));
        return *this;
    }
    CBasicString& TrimRight(View set = hdbtext::detail::BlankSet<T>()) {
        const size_type last = this->find_last_not_of(set);
        Base::erase(last == npos ? 0 : last + 1);
        return *this;
    }

    // Wide text of UTF-8 or narrow ("ANSI") input; ill-formed input becomes U+FFFD.
    static CBasicString FromUtf8(std::u8string_view utf8) requires std::same_as<T, wchar_t> {
        return CBasicString(hdbtext::WideFromUtf8(utf8));
    }
    static CBasicString FromUtf8(std::string_view utf8) requires std::same_as<T, wchar_t> {
        return CBasicString(hdbtext::WideFromUtf8(utf8));
    }
    static CBasicString FromAnsi(std::string_view narrow) requires std::same_as<T, wchar_t> {
        return CBasicString(hdbtext::WideFromAnsi(narrow));
    }

    // UTF-8 or narrow form of wide text; see hdbtext::AnsiFromWide for what
    // becomes of characters the narrow encoding lacks.
    CBasicString<char8_t> ToUtf8() const requires std::same_as<T, wchar_t> {
        return CBasicString<char8_t>(hdbtext::U8FromWide(*this));
    }
    CBasicString<char> ToAnsi(bool* usedDefault = nullptr) const requires std::same_as<T, wchar_t> {
        return CBasicString<char>(hdbtext::AnsiFromWide(*this, usedDefault));
    }

    // Wide text of UTF-8 (char8_t) or narrow ("ANSI", char) text.
    CBasicString<wchar_t> ToWide() const requires(!std::same_as<T, wchar_t>) {
        if constexpr (std::is_same_v<T, char8_t>)
            return CBasicString<wchar_t>(hdbtext::WideFromUtf8(View(*this)));
        else
            return CBasicString<wchar_t>(hdbtext::WideFromAnsi(View(*this)));
    }

    // Concatenation with text of any form or a character; the result is a
    // CBasicString whichever side it stands on, and a string given as an
    // rvalue lends its buffer. Both sides are deduced, so that neither the
    // std overloads nor an implicit conversion of a literal compete.
    template <class S, class R>
    requires(kIsThis<S>&& kIsText<std::remove_cvref_t<R>>) friend CBasicString
    operator+(S&& left, R&& right) {
        const CBasicStringView<T> r(right);
        if constexpr (kIsReusable<S>) {
            left.Base::append(r);
            return std::move(left);
        } else {
            CBasicString result;
            result.reserve(left.size() + r.size());
            result.Base::append(left).append(r);
            return result;
        }
    }
    template <class L, class S>
    requires(kIsThis<S>&& kIsText<std::remove_cvref_t<L>> && !kIsThis<L>) friend CBasicString
    operator+(L&& left, S&& right) {
        const CBasicStringView<T> l(left);
        if constexpr (kIsReusable<S>) {
            right.Base::insert(0, l);
            return std::move(right);
        } else {
            CBasicString result;
            result.reserve(l.size() + right.size());
            result.Base::append(l).append(right);
            return result;
        }
    }
    friend CBasicString operator+(const CBasicString& left, T right) {
        CBasicString result(left);
        result.push_back(right);
        return result;
    }
    friend CBasicString operator+(CBasicString&& left, T right) {
        left.push_back(right);
        return std::move(left);
    }
    friend CBasicString operator+(T left, const CBasicString& right) {
        CBasicString result;
        result.reserve(right.size() + 1);
        result.push_back(left);
        result.Base::append(right);
        return result;
    }
};

template <class T> struct std::hash<CBasicString<T>> {
    // Hashes like the std view, so that strings and views of equal text agree.
    using is_transparent = void;
    std::size_t operator()(std::basic_string_view<T> text) const noexcept {
        return std::hash<std::basic_string_view<T>>{}(text);
    }
};
