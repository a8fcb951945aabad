// Providers convert every cell they deliver, so the everyday conversions must
// not touch the heap. This program counts operator new calls to see that.
#include "hdbplatform/DataConversion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

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
