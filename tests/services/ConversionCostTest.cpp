// What a provider relies on when it converts every cell it delivers: the
// everyday conversions do not touch the heap (this program counts operator
// new calls to see that), and no input makes a conversion read or write out
// of bounds.
#include "hdbplatform/DataConversion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <random>

namespace {
thread_local long t_allocations = 0;
}

// Every plain form is replaced, so that what one form allocates another frees
// consistently.
namespace {
void* CountedAllocation(std::size_t size) noexcept {
    ++t_allocations;
    return std::malloc(size ? size : 1);
}
} // namespace

void* operator new(std::size_t size) {
    if (void* p = CountedAllocation(size))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    if (void* p = CountedAllocation(size))
        return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return CountedAllocation(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return CountedAllocation(size);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

namespace {

// Heap allocations made by one conversion.
template <class Src>
long AllocationsOf(DBTYPE srcType, const Src& src, DBLENGTH srcLength, DBTYPE dstType,
                   DBSTATUS* status) {
    alignas(16) unsigned char buffer[256];
    DBLENGTH length = 0;
    long before = t_allocations;
    HRESULT hr = HdbDataConvert(srcType, dstType, srcLength, &length, &src, buffer, sizeof buffer,
                                DBSTATUS_S_OK, status, 0, 0, 0);
    long made = t_allocations - before;
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(*status, static_cast<DBSTATUS>(DBSTATUS_S_OK));
    return made;
}

TEST(ConversionCost, EverydayConversionsAllocateNothing) {
    const LONG i4 = -123456;
    const SHORT i2 = 42;
    const double r8 = 3.25;
    DB_NUMERIC numeric{10, 2, 1, {0x39, 0x30}}; // 123.45
    const DBTIMESTAMP ts{2026, 11, 23, 9, 30, 0, 500000000};
    const wchar_t wide[] = L"Gr\u00fc\u00dfe aus Halden";
    const char narrow[] = "Gr\xc3\xbc\xc3\x9f"
                          "e aus Halden";
    DBSTATUS status;
    // Once before counting: the narrow encoding is looked up on first use.
    AllocationsOf(DBTYPE_WSTR, wide, sizeof wide - sizeof(wchar_t), DBTYPE_STR, &status);

    struct Case {
        const char* name;
        long allocations;
    } cases[] = {
        {"I4 copy", AllocationsOf(DBTYPE_I4, i4, 0, DBTYPE_I4, &status)},
        {"I2 to I8", AllocationsOf(DBTYPE_I2, i2, 0, DBTYPE_I8, &status)},
        {"I4 to WSTR", AllocationsOf(DBTYPE_I4, i4, 0, DBTYPE_WSTR, &status)},
        {"R8 to WSTR", AllocationsOf(DBTYPE_R8, r8, 0, DBTYPE_WSTR, &status)},
        {"NUMERIC to WSTR", AllocationsOf(DBTYPE_NUMERIC, numeric, 0, DBTYPE_WSTR, &status)},
        {"NUMERIC to R8", AllocationsOf(DBTYPE_NUMERIC, numeric, 0, DBTYPE_R8, &status)},
        {"DBTIMESTAMP to WSTR", AllocationsOf(DBTYPE_DBTIMESTAMP, ts, 0, DBTYPE_WSTR, &status)},
        {"WSTR copy",
         AllocationsOf(DBTYPE_WSTR, wide, sizeof wide - sizeof(wchar_t), DBTYPE_WSTR, &status)},
        {"WSTR to STR",
         AllocationsOf(DBTYPE_WSTR, wide, sizeof wide - sizeof(wchar_t), DBTYPE_STR, &status)},
        {"STR to WSTR", AllocationsOf(DBTYPE_STR, narrow, sizeof narrow - 1, DBTYPE_WSTR, &status)},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.allocations, 0) << c.name;
    // The counter does see allocations.
    long before = t_allocations;
    std::string* probe = new std::string(100, 'x');
    EXPECT_GT(t_allocations, before);
    delete probe;
}

} // namespace

namespace {

// Arbitrary source bytes and text through every pair of the table: under the
// sanitizers this finds reads past a value and writes past a destination;
// the statuses must stay among the published ones and text destinations
// must stay terminated within their buffer.
TEST(ConversionRobustness, ArbitraryInputStaysInBoundsWithPublishedStatuses) {
    const DBTYPE types[] = {
        DBTYPE_I1,      DBTYPE_I2,    DBTYPE_I4,   DBTYPE_I8,     DBTYPE_UI1,    DBTYPE_UI2,
        DBTYPE_UI4,     DBTYPE_UI8,   DBTYPE_R4,   DBTYPE_R8,     DBTYPE_CY,     DBTYPE_DECIMAL,
        DBTYPE_NUMERIC, DBTYPE_BOOL,  DBTYPE_DATE, DBTYPE_DBDATE, DBTYPE_DBTIME, DBTYPE_DBTIMESTAMP,
        DBTYPE_GUID,    DBTYPE_BYTES, DBTYPE_STR,  DBTYPE_WSTR};
    const char alphabet[] = "0123456789-+.:eE {}abcdefABCDEF\t\xc3\xbc";
    std::mt19937 random(20261123);
    int converted = 0;
    for (int round = 0; round < 40; ++round) {
        for (DBTYPE src : types) {
            // The source: random bytes for fixed types, random text otherwise.
            alignas(16) unsigned char source[64];
            DBLENGTH srcLength = random() % 40;
            if (src == DBTYPE_STR) {
                for (DBLENGTH k = 0; k < srcLength; ++k)
                    source[k] = alphabet[random() % (sizeof alphabet - 1)];
            } else if (src == DBTYPE_WSTR) {
                srcLength %= 16;
                auto* wide = reinterpret_cast<wchar_t*>(source);
                for (DBLENGTH k = 0; k < srcLength; ++k)
                    wide[k] = static_cast<unsigned char>(alphabet[random() % 31]);
                srcLength *= sizeof(wchar_t);
            } else {
                for (auto& byte : source)
                    byte = static_cast<unsigned char>(random());
            }
            for (DBTYPE dst : types) {
                if (HdbCanConvert(src, dst) != S_OK)
                    continue;
                alignas(16) unsigned char target[48];
                std::memset(target, 0xcc, sizeof target);
                const DBLENGTH max = random() % 40;
                DBLENGTH length = 0;
                DBSTATUS status = 0xdead;
                HRESULT hr =
                    HdbDataConvert(src, dst, srcLength, &length, source, target, max, DBSTATUS_S_OK,
                                   &status, BYTE(random() % 39), BYTE(random() % 5), 0);
                ++converted;
                SCOPED_TRACE(testing::Message() << src << " -> " << dst << " max " << max);
                EXPECT_TRUE(hr == S_OK || hr == DB_E_ERRORSOCCURRED) << std::hex << hr;
                EXPECT_TRUE(status == DBSTATUS_S_OK || status == DBSTATUS_S_TRUNCATED ||
                            status == DBSTATUS_E_CANTCONVERTVALUE ||
                            status == DBSTATUS_E_DATAOVERFLOW || status == DBSTATUS_E_SIGNMISMATCH)
                    << status;
                const bool ok = status == DBSTATUS_S_OK || status == DBSTATUS_S_TRUNCATED;
                if (dst == DBTYPE_STR && ok && max > 0) {
                    EXPECT_NE(std::memchr(target, 0, max), nullptr);
                }
                if (dst == DBTYPE_WSTR && ok && max >= sizeof(wchar_t)) {
                    auto* wide = reinterpret_cast<const wchar_t*>(target);
                    EXPECT_NE(std::wmemchr(wide, 0, max / sizeof(wchar_t)), nullptr);
                }
                // Nothing beyond a variable-length destination's room is
                // touched.
                if (dst == DBTYPE_STR || dst == DBTYPE_WSTR || dst == DBTYPE_BYTES) {
                    for (DBLENGTH k = max; k < sizeof target; ++k)
                        ASSERT_EQ(target[k], 0xcc) << "byte " << k << " written";
                }
            }
        }
    }
    EXPECT_GT(converted, 1000);
}

} // namespace
