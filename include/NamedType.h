// Strong typedefs: a value of type T marked with a tag type, so that values
// of equal representation but different meaning (a version number and a
// time, two kinds of identifier) cannot be mixed up or compared by accident.
//
//   struct FilePositionTag {};
//   using FilePosition = NamedType<std::uint64_t, FilePositionTag>;
//
// Construction from T is explicit; comparisons take the same NamedType only.
// Both templates are literal and trivially copyable when T is.
#pragma once

#include <compare>
#include <type_traits>
#include <utility>

template <class T, class Tag> class NamedType {
public:
    using value_type = T;

    // Value-initialised: 0 for numbers.
    constexpr NamedType() = default;
    constexpr explicit NamedType(const T& value) noexcept(std::is_nothrow_copy_constructible_v<T>)
        : m_value(value) {}
    constexpr explicit NamedType(T&& value) noexcept(std::is_nothrow_move_constructible_v<T>)
        : m_value(std::move(value)) {}

    constexpr T& get() noexcept { return m_value; }
    constexpr const T& get() const noexcept { return m_value; }

    friend constexpr bool operator==(const NamedType&, const NamedType&) = default;
    friend constexpr auto operator<=>(const NamedType&, const NamedType&) = default;

private:
    T m_value{};
};

// A NamedType over an integral or enumeration type whose bits are flags.
// Bitwise operators combine values of the same type only.
template <class T, class Tag> class NamedBitWiseType {
public:
    using value_type = T;

    constexpr NamedBitWiseType() = default;
    constexpr explicit NamedBitWiseType(T value) noexcept : m_value(value) {}

    constexpr T& get() noexcept { return m_value; }
    constexpr const T& get() const noexcept { return m_value; }

    // True when every bit of flags is set here (so also for empty flags).
    constexpr bool Has(NamedBitWiseType flags) const noexcept {
        return (Bits(m_value) & Bits(flags.m_value)) == Bits(flags.m_value);
    }

    constexpr NamedBitWiseType& operator|=(NamedBitWiseType other) noexcept {
        m_value = FromBits(Bits(m_value) | Bits(other.m_value));
        return *this;
    }
    constexpr NamedBitWiseType& operator&=(NamedBitWiseType other) noexcept {
        m_value = FromBits(Bits(m_value) & Bits(other.m_value));
        return *this;
    }
    constexpr NamedBitWiseType& operator^=(NamedBitWiseType other) noexcept {
        m_value = FromBits(Bits(m_value) ^ Bits(other.m_value));
        return *this;
    }

    friend constexpr NamedBitWiseType operator|(NamedBitWiseType a, NamedBitWiseType b) noexcept {
        return a |= b;
    }
    friend constexpr NamedBitWiseType operator&(NamedBitWiseType a, NamedBitWiseType b) noexcept {
        return a &= b;
    }
    friend constexpr NamedBitWiseType operator^(NamedBitWiseType a, NamedBitWiseType b) noexcept {
        return a ^= b;
    }
    // Complement within the width of T (no promotion to int leaks out).
    friend constexpr NamedBitWiseType operator~(NamedBitWiseType a) noexcept {
        return NamedBitWiseType(FromBits(~Bits(a.m_value)));
    }

    friend constexpr bool operator==(const NamedBitWiseType&, const NamedBitWiseType&) = default;
    friend constexpr auto operator<=>(const NamedBitWiseType&, const NamedBitWiseType&) = default;

private:
    // Bit operations work on the unsigned form of T, so that they are defined
    // for signed and enumeration types too.
    using Unsigned =
        std::make_unsigned_t<typename std::conditional_t<std::is_enum_v<T>, std::underlying_type<T>,
                                                         std::type_identity<T>>::type>;

    static constexpr Unsigned Bits(T value) noexcept { return static_cast<Unsigned>(value); }
    // Takes the promoted result of an operator and cuts it back to the width of T.
    template <class Promoted> static constexpr T FromBits(Promoted bits) noexcept {
        return static_cast<T>(static_cast<Unsigned>(bits));
    }

    T m_value{};
};
