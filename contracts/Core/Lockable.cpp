#include "contracts/Core/Lockable.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel {

ILockable::~ILockable() = default;

namespace Core {

void LockImpl::Lock() TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    if (!IsHeldByCaller()) {
        mutex.lock();
        owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ++count;
}

bool LockImpl::TryLock() TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    if (!IsHeldByCaller()) {
        if (!mutex.try_lock()) return false;
        owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ++count;
    return true;
}

void LockImpl::Unlock() TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    if (!IsHeldByCaller()) TARSEL_THROW(std::logic_error, "Unlock of a lock that this thread doesn't hold");
    if (--count != 0) return;
    owner.store(std::thread::id(), std::memory_order_relaxed);
    mutex.unlock();
}

}  // namespace Core
}  // namespace Tarsel
