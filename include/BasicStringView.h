// CBasicStringView<T>: a non-owning view of text of wide characters (wchar_t),
// narrow characters in the process's encoding (char) or UTF-8 (char8_t).
//
// It is a std::basic_string_view with a few additions: it is made implicitly
// from a literal, a std::basic_string and a CBasicString, substr() keeps the
// type, a null pointer gives an empty view, and Trimmed() cuts characters of
// a set from both ends. A view is not terminated: whatever takes one reads
// exactly size() characters.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace hdbtext::detail {

// The blanks trimmed when no set is given: space, tab, CR, LF.
template <class T> inline constexpr T kBlankChars[] = {T(' '), T('\t'), T('\r'), T('\n')};

template <class T> constexpr std::basic_string_view<T> BlankSet() noexcept {
    return {kBlankChars<T>, 4};
}

} // namespace hdbtext::detail

template <class T> class CBasicStringView : public std::basic_string_view<T> {
    using Base = std::basic_string_view<T>;

public:
    using Base::Base;
    using Base::npos;
    using typename Base::size_type;

    constexpr CBasicStringView() noexcept = default;
    constexpr CBasicStringView(const Base& view) noexcept : Base(view) {}

    // A null pointer gives an empty view instead of undefined behaviour.
    constexpr CBasicStringView(const T* text) noexcept : Base(text ? Base(text) : Base()) {}

    // Views the characters of a string (of CBasicString too, which derives
    // from std::basic_string); the string must outlive the view.
    CBasicStringView(const std::basic_string<T>& text) noexcept : Base(text) {}

    constexpr CBasicStringView substr(size_type pos = 0, size_type count = npos) const {
        return Base::substr(pos, count);
    }

    // The view without the leading and trailing characters found in set; an
    // empty view when every character is in the set.
    constexpr CBasicStringView
    Trimmed(std::basic_string_view<T> set = hdbtext::detail::BlankSet<T>()) const noexcept {
        const size_type first = this->find_first_not_of(set);
        if (first == npos)
            return Base(this->data() + this->size(), 0);
        const size_type last = this->find_last_not_of(set);
        return Base(this->data() + first, last - first + 1);
    }
};

template <class T> struct std::hash<CBasicStringView<T>> {
    // Hashes like the std view, so that views and strings of equal text agree.
    using is_transparent = void;
    std::size_t operator()(std::basic_string_view<T> text) const noexcept {
        return std::hash<std::basic_string_view<T>>{}(text);
    }
};
