#include "hdbplatform/CriticalSection.h"
#include "hdbplatform/SingleLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

// Whether another thread could take the section right now.
bool FreeForOtherThreads(CCriticalSection& section) {
    bool acquired = false;
    std::thread probe([&] {
        acquired = section.Lock(0) != FALSE;
        if (acquired)
            section.Unlock();
    });
    probe.join();
    return acquired;
}

TEST(SingleLock, ReleasesOnScopeExitWhileAnotherThreadWaits) {
    CCriticalSection section;
    std::atomic<bool> entered{false};
    std::thread waiter;
    {
        CSingleLock lock(&section, TRUE);
        EXPECT_TRUE(lock.IsLocked());
        waiter = std::thread([&] {
            CSingleLock inner(&section);
            inner.Lock();
            entered = true;
        });
        std::this_thread::sleep_for(100ms);
        EXPECT_FALSE(entered) << "the waiting thread got in while the lock was held";
    }
    waiter.join();
    EXPECT_TRUE(entered);
    EXPECT_TRUE(FreeForOtherThreads(section));
}

TEST(SingleLock, ExplicitUnlockAndRelockAreBalanced) {
    CCriticalSection section(4000);
    {
        CSingleLock lock(&section);
        EXPECT_FALSE(lock.IsLocked());
        EXPECT_TRUE(lock.Lock());
        EXPECT_TRUE(lock.Lock()); // already held by this lock: no second level
        EXPECT_TRUE(lock.Unlock());
        EXPECT_FALSE(lock.IsLocked());
        EXPECT_TRUE(FreeForOtherThreads(section));
        EXPECT_TRUE(lock.Unlock()); // nothing held: harmless
        lock.Lock();
    }
    EXPECT_TRUE(FreeForOtherThreads(section));
}

TEST(CriticalSection, IsRecursiveAndTimesOut) {
    CCriticalSection section;
    ASSERT_TRUE(section.Lock());
    ASSERT_TRUE(section.Lock(0)); // the owner enters again
    EXPECT_FALSE(FreeForOtherThreads(section));

    bool timedOut = false;
    std::thread other([&] { timedOut = section.Lock(30) == FALSE; });
    other.join();
    EXPECT_TRUE(timedOut);

    section.Unlock();
    EXPECT_FALSE(FreeForOtherThreads(section)) << "one unlock released both levels";
    section.Unlock();
    EXPECT_TRUE(FreeForOtherThreads(section));
}

} // namespace
