#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "contracts/Core/Lockable.h"
#include "contracts/Core/RefCount.h"
#include "tests/support/Gate.h"

namespace Tarsel {
namespace {

class Object : public RefCounted {
  public:
    explicit Object(std::atomic<int>* deaths) : deaths(deaths) {}
    ~Object() override {
        // Read by whoever was last: a missing order between the threads shows here.
        EXPECT_EQ(payload, 1);
        ++*deaths;
    }
    int payload = 1;

  private:
    std::atomic<int>* deaths;
};

TEST(RefCountThreads, ConcurrentOwnersDeleteExactlyOnce) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> deaths{0};
        Tarsel::Test::Gate start;
        start.Close();
        auto object = MakeShared<Object>(&deaths);
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&start, owner = object] {
                start.Pass();
                for (int n = 0; n < 500; ++n) iptr<IRefCountable const> const copy(owner);
            });
        object = nullptr;
        start.Open();
        for (auto& thread : threads) thread.join();
        threads.clear();
        EXPECT_EQ(deaths, 1);
    }
}

// Taking a lock twice, and giving back what was only tried for, is beyond what the analysis follows.
void Relock(Core::LockImpl& lock, int& guarded) TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    lock.Lock();
    ++guarded;
    lock.Unlock();
}
bool TryOnce(Core::LockImpl& lock) TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    bool const taken = lock.TryLock();
    if (taken) lock.Unlock();
    return taken;
}

TEST(LockThreads, KeepsOthersOutUntilTheLastUnlock) {
    Core::LockImpl lock;
    int guarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 1000; ++n) {
                Core::AutoLock const outer(lock);
                Relock(lock, guarded);
                ++guarded;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(guarded, 8000);
}

TEST(LockThreads, TryLockFailsWhileAnotherThreadHolds) {
    Core::LockImpl lock;
    Core::AutoLock held(lock);
    bool taken = true;
    std::thread([&] { taken = TryOnce(lock); }).join();
    EXPECT_FALSE(taken);
    held.Release();
    std::thread([&] { taken = TryOnce(lock); }).join();
    EXPECT_TRUE(taken);
    held.Reacquire();
}

}  // namespace
}  // namespace Tarsel
