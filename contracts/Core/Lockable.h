#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"

namespace Tarsel {

/// Lets a caller hold an object locked across several of its operations.
class TARSEL_CONTRACTS_EXPORT ILockable {
  public:
    virtual ~ILockable();
    /// Waits until the lock is free or already this thread's own.
    virtual void Lock() = 0;
    /// The same without waiting; false when another thread holds it.
    virtual bool TryLock() = 0;
    /// Throws `std::logic_error` when the calling thread doesn't hold the lock.
    virtual void Unlock() = 0;
};

namespace Core {

/// A recursive lock made of a count, an owner thread identifier and a mutex.
class TARSEL_CONTRACTS_EXPORT TARSEL_CAPABILITY("mutex") LockImpl {
  public:
    void Lock() TARSEL_ACQUIRE();
    bool TryLock() TARSEL_TRY_ACQUIRE(true);
    /// Throws `std::logic_error` when the calling thread doesn't hold the lock.
    void Unlock() TARSEL_RELEASE();

    /// Whether the calling thread holds the lock.
    bool IsHeldByCaller() const { return owner.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

  private:
    unsigned count = 0;  // owner only
    std::atomic<std::thread::id> owner{};
    std::mutex mutex;
};

/// Holds a `LockImpl` from construction to destruction, or to `Release`.
class TARSEL_SCOPED_CAPABILITY AutoLock {
  public:
    explicit AutoLock(LockImpl& lock) TARSEL_ACQUIRE(lock) : lock(lock) { lock.Lock(); }
    ~AutoLock() TARSEL_RELEASE() {
        if (held) lock.Unlock();
    }
    AutoLock(AutoLock const&) = delete;
    AutoLock& operator=(AutoLock const&) = delete;

    /// Gives the lock up early.
    void Release() TARSEL_RELEASE() {
        held = false;
        lock.Unlock();
    }
    /// Takes it again after `Release`.
    void Reacquire() TARSEL_ACQUIRE() {
        lock.Lock();
        held = true;
    }

  private:
    LockImpl& lock;
    bool held = true;
};

}  // namespace Core
}  // namespace Tarsel
