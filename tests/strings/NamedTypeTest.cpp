// Strong typedefs: flag logic of NamedBitWiseType and the guarantees that
// make NamedType safe to hand around (no mixing, plain value semantics).
#include "NamedType.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <type_traits>

namespace {

struct ParamFlagTag {};
struct SmallFlagTag {};
struct VersionTag {};
struct TimeTag {};

using ParamFlags = NamedBitWiseType<std::uint32_t, ParamFlagTag>;
using SmallFlags = NamedBitWiseType<std::uint8_t, SmallFlagTag>;
using Version = NamedType<double, VersionTag>;
using Time = NamedType<double, TimeTag>;

constexpr ParamFlags kInput{1};
constexpr ParamFlags kOutput{2};
constexpr ParamFlags kNullable{64};

enum class Access : std::int16_t { Read = 1, Write = 2, Sign = -32768 };
using AccessFlags = NamedBitWiseType<Access, struct AccessTag>;

template <class A, class B>
concept EqualityComparable = requires(A a, B b) {
    a == b;
};

} // namespace

TEST(NamedBitWiseType, CombinesAndTestsFlags) {
    constexpr ParamFlags inOut = kInput | kOutput;
    static_assert(inOut.get() == 3);

    EXPECT_TRUE(inOut.Has(kInput));
    EXPECT_TRUE(inOut.Has(kOutput));
    EXPECT_TRUE(inOut.Has(inOut));
    EXPECT_FALSE(inOut.Has(kNullable));
    EXPECT_FALSE(inOut.Has(kInput | kNullable)) << "Has needs every flag, not one of them";
    EXPECT_TRUE(inOut.Has(ParamFlags{}));

    EXPECT_EQ(inOut & kOutput, kOutput);
    EXPECT_EQ(inOut ^ kInput, kOutput);
    EXPECT_EQ((inOut & ~kInput), kOutput);
    EXPECT_EQ((~kInput).get(), 0xFFFFFFFEu);

    ParamFlags flags;
    EXPECT_EQ(flags.get(), 0u);
    (flags |= kInput) |= kNullable;
    EXPECT_TRUE(flags.Has(kInput | kNullable));
    flags &= ~kInput;
    EXPECT_EQ(flags, kNullable);
    flags ^= kNullable;
    EXPECT_EQ(flags, ParamFlags{});
}

TEST(NamedBitWiseType, StaysWithinTheWidthOfItsType) {
    // The complement of a narrow or signed type must not pick up bits from
    // the promotion to int.
    EXPECT_EQ((~SmallFlags{0x0F}).get(), 0xF0);
    EXPECT_EQ((~SmallFlags{0x0F} | SmallFlags{0x0F}).get(), 0xFF);

    const AccessFlags readWrite = AccessFlags{Access::Read} | AccessFlags{Access::Write};
    EXPECT_EQ(static_cast<int>(readWrite.get()), 3);
    EXPECT_TRUE((~AccessFlags{Access::Read}).Has(AccessFlags{Access::Sign}));
    EXPECT_FALSE((~AccessFlags{Access::Read}).Has(AccessFlags{Access::Read}));
}

TEST(NamedType, IsAStrongTriviallyCopyableValue) {
    static_assert(!std::is_convertible_v<double, Version>, "construction must be explicit");
    static_assert(!std::is_convertible_v<Version, double>);
    static_assert(!EqualityComparable<Version, Time>, "different tags must not compare");
    static_assert(!EqualityComparable<Version, double>);
    static_assert(!EqualityComparable<ParamFlags, std::uint32_t>);
    static_assert(std::is_trivially_copyable_v<Version>);
    static_assert(std::is_trivially_copyable_v<ParamFlags>);
    static_assert(sizeof(Version) == sizeof(double));

    EXPECT_EQ(Version{}.get(), 0.0);
    EXPECT_LT(Version{1.5}, Version{2.0});
    EXPECT_FALSE(Version{std::nan("")} == Version{std::nan("")});

    Version version{1.0};
    version.get() += 0.5;
    EXPECT_EQ(version, Version{1.5});

    std::map<Version, int> byVersion{{Version{2.0}, 2}, {Version{1.0}, 1}};
    EXPECT_EQ(byVersion.begin()->second, 1);
}
