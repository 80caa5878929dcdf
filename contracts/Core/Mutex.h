#pragma once

#include <mutex>

// Annotations that clang checks under -Wthread-safety; other compilers see nothing.
#if defined(__clang__)
#define TARSEL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TARSEL_THREAD_ATTRIBUTE(x)
#endif

#define TARSEL_CAPABILITY(name) TARSEL_THREAD_ATTRIBUTE(capability(name))
#define TARSEL_SCOPED_CAPABILITY TARSEL_THREAD_ATTRIBUTE(scoped_lockable)
#define TARSEL_GUARDED_BY(x) TARSEL_THREAD_ATTRIBUTE(guarded_by(x))
#define TARSEL_PT_GUARDED_BY(x) TARSEL_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define TARSEL_ACQUIRE(...) TARSEL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TARSEL_TRY_ACQUIRE(...) TARSEL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define TARSEL_RELEASE(...) TARSEL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TARSEL_REQUIRES(...) TARSEL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TARSEL_EXCLUDES(...) TARSEL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define TARSEL_ACQUIRED_BEFORE(...) TARSEL_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define TARSEL_NO_THREAD_SAFETY_ANALYSIS TARSEL_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace Tarsel::Core {

/// A plain mutex that the thread-safety analysis knows.
class TARSEL_CAPABILITY("mutex") Mutex {
  public:
    void lock() TARSEL_ACQUIRE() { impl.lock(); }
    bool try_lock() TARSEL_TRY_ACQUIRE(true) { return impl.try_lock(); }
    void unlock() TARSEL_RELEASE() { impl.unlock(); }

  private:
    std::mutex impl;
};

/// A mutex that its owner may take again.
class TARSEL_CAPABILITY("mutex") RecursiveMutex {
  public:
    void lock() TARSEL_ACQUIRE() { impl.lock(); }
    bool try_lock() TARSEL_TRY_ACQUIRE(true) { return impl.try_lock(); }
    void unlock() TARSEL_RELEASE() { impl.unlock(); }

  private:
    std::recursive_mutex impl;
};

/// Holds a mutex from construction to destruction. `boost::condition_variable_any` waits on the lock itself.
template <class M>
class TARSEL_SCOPED_CAPABILITY BasicMutexLock {
  public:
    explicit BasicMutexLock(M& mutex) TARSEL_ACQUIRE(mutex) : mutex(mutex) { mutex.lock(); }
    ~BasicMutexLock() TARSEL_RELEASE() {
        if (held) mutex.unlock();
    }
    BasicMutexLock(BasicMutexLock const&) = delete;
    BasicMutexLock& operator=(BasicMutexLock const&) = delete;

    void lock() TARSEL_ACQUIRE() {
        mutex.lock();
        held = true;
    }
    void unlock() TARSEL_RELEASE() {
        held = false;
        mutex.unlock();
    }

  private:
    M& mutex;
    bool held = true;
};

using MutexLock = BasicMutexLock<Mutex>;
using RecursiveMutexLock = BasicMutexLock<RecursiveMutex>;

}  // namespace Tarsel::Core
