#pragma once

#include <boost/thread/thread_only.hpp>

#include "contracts/Core/Thread.h"

namespace Tarsel::Test {

/// A latch on the way of a thread: who passes is counted, and waits while the gate is closed.
class Gate {
  public:
    /// An interruptible gate lets an interruption of the waiting thread through as `boost::thread_interrupted`.
    explicit Gate(bool interruptible = true) : interruptible(interruptible) {}

    void Close() {
        Core::MutexLock const lock(mutex);
        open = false;
    }
    /// Lets everybody through, now and later.
    void Open() {
        Core::MutexLock const lock(mutex);
        open = true;
        changed.NotifyAll();
    }
    /// Lets `count` more through a closed gate.
    void Allow(int count) {
        Core::MutexLock const lock(mutex);
        allowed += count;
        changed.NotifyAll();
    }
    /// Called by the thread under control.
    void Pass() {
        if (interruptible) return PassCounted();
        boost::this_thread::disable_interruption const uninterrupted;
        PassCounted();
    }
    /// Waits until `count` threads in all have come to the gate.
    void AwaitArrivals(int count) {
        Core::MutexLock lock(mutex);
        while (arrivals < count) changed.Wait(lock);
    }
    int GetArrivals() {
        Core::MutexLock const lock(mutex);
        return arrivals;
    }

  private:
    void PassCounted() {
        Core::MutexLock lock(mutex);
        ++arrivals;
        changed.NotifyAll();
        while (!open && allowed == 0) changed.Wait(lock);
        if (!open) --allowed;
    }

    bool const interruptible;
    Core::Mutex mutex;
    Core::ConditionVariable changed;
    bool open TARSEL_GUARDED_BY(mutex) = true;
    int allowed TARSEL_GUARDED_BY(mutex) = 0;
    int arrivals TARSEL_GUARDED_BY(mutex) = 0;
};

}  // namespace Tarsel::Test
