#include "contracts/Core/RefCount.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "contracts/Core/Lockable.h"
#include "tests/support/Matchers.h"

namespace Tarsel {
namespace {

class Object : public RefCounted {
  public:
    explicit Object(int* deaths) : deaths(deaths) {}
    ~Object() override { ++*deaths; }

  private:
    int* deaths;
};

TEST(RefCount, IsZeroAtBirthAndTheLastOwnerDeletes) {
    int deaths = 0;
    auto* const object = new Object(&deaths);
    EXPECT_EQ(object->GetRefCountImpl(), 0U);
    {
        iptr<Object> const first(object);
        EXPECT_EQ(object->GetRefCountImpl(), 1U);
        iptr<IRefCountable const> const second(first);
        EXPECT_EQ(object->GetRefCountImpl(), 2U);
        EXPECT_EQ(object->AddRefImpl(), 3U);
        EXPECT_EQ(object->ReleaseImpl(), 2U);
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
}

TEST(RefCount, CopyOfAnObjectTakesNoOwnersAlong) {
    int deaths = 0;
    {
        auto const object = MakeShared<Object>(&deaths);
        auto const copy = MakeShared<Object>(*object);
        EXPECT_EQ(copy->GetRefCountImpl(), 1U);
        *copy = *object;
        EXPECT_EQ(copy->GetRefCountImpl(), 1U);
        EXPECT_EQ(object->GetRefCountImpl(), 1U);
    }
    EXPECT_EQ(deaths, 2);
}

// Beyond what the thread-safety analysis follows, as these tests are about just that.
bool TryOnce(Core::LockImpl& lock) TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    bool const taken = lock.TryLock();
    if (taken) lock.Unlock();
    return taken;
}
void UnlockUnheld(Core::LockImpl& lock) TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    lock.Unlock();
}

TEST(Lock, IsRecursiveAndKnowsItsHolder) {
    Core::LockImpl lock;
    EXPECT_FALSE(lock.IsHeldByCaller());
    {
        Core::AutoLock outer(lock);
        EXPECT_TRUE(TryOnce(lock));
        EXPECT_TRUE(lock.IsHeldByCaller());
        outer.Release();
        EXPECT_FALSE(lock.IsHeldByCaller());
        outer.Reacquire();
        EXPECT_TRUE(lock.IsHeldByCaller());
    }
    EXPECT_FALSE(lock.IsHeldByCaller());
}

TEST(Lock, UnlockByAStrangerIsRefused) {
    Core::LockImpl lock;
    EXPECT_EQ(Tarsel::Test::MessageOf<std::logic_error>([&] { UnlockUnheld(lock); }),
              "Unlock of a lock that this thread doesn't hold");
    EXPECT_TRUE(TryOnce(lock));
}

}  // namespace
}  // namespace Tarsel
