// The task allocator: block sizes, ownership checks and the shared IMalloc.
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

struct TaskMemory : ::testing::Test {
    void SetUp() override { ASSERT_EQ(CoGetMalloc(MEMCTX_TASK, &malloc_), S_OK); }
    void TearDown() override { malloc_->Release(); }
    IMalloc* malloc_ = nullptr;
};

TEST_F(TaskMemory, ReallocKeepsContentsAndTracksTheNewSize) {
    auto* block = static_cast<char*>(CoTaskMemAlloc(8));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abcdefg", 8);
    EXPECT_EQ(malloc_->GetSize(block), 8u);

    block = static_cast<char*>(CoTaskMemRealloc(block, 100000));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abcdefg");
    EXPECT_EQ(malloc_->GetSize(block), 100000u);
    EXPECT_EQ(malloc_->DidAlloc(block), 1);
    CoTaskMemFree(block);
}

TEST_F(TaskMemory, ReallocOfNullAllocatesAndToZeroFrees) {
    void* block = CoTaskMemRealloc(nullptr, 16);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(malloc_->DidAlloc(block), 1);
    EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);
}

TEST_F(TaskMemory, ForeignMemoryIsRecognisedAndLeftAlone) {
    void* foreign = std::malloc(32);
    EXPECT_EQ(malloc_->DidAlloc(foreign), 0);
    EXPECT_EQ(malloc_->DidAlloc(nullptr), -1);
    EXPECT_EQ(malloc_->GetSize(foreign), static_cast<SIZE_T>(-1));
    // Neither call may touch the block; it is still ours to free.
    CoTaskMemFree(foreign);
    EXPECT_EQ(CoTaskMemRealloc(foreign, 64), nullptr);
    std::free(foreign);
    CoTaskMemFree(nullptr);
}

TEST_F(TaskMemory, FreedBlockIsNoLongerOurs) {
    void* block = CoTaskMemAlloc(4);
    CoTaskMemFree(block);
    EXPECT_EQ(malloc_->DidAlloc(block), 0);
}

TEST_F(TaskMemory, AllocatorIsSharedAndOutlivesItsLastRelease) {
    IMalloc* second = nullptr;
    ASSERT_EQ(CoGetMalloc(MEMCTX_TASK, &second), S_OK);
    EXPECT_EQ(second, malloc_);
    // Releasing more often than referenced must not destroy the allocator.
    second->Release();
    second->Release();
    second->Release();
    void* block = malloc_->Alloc(10);
    EXPECT_EQ(malloc_->DidAlloc(block), 1);
    malloc_->Free(block);
    malloc_->AddRef(); // balances the extra release for TearDown

    IMalloc* none = reinterpret_cast<IMalloc*>(1);
    EXPECT_EQ(CoGetMalloc(0, &none), E_INVALIDARG);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(CoGetMalloc(MEMCTX_TASK, nullptr), E_INVALIDARG);
}

} // namespace
