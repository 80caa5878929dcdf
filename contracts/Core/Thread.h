#pragma once

#include <boost/thread/exceptions.hpp>
#include <functional>
#include <memory>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"

namespace Tarsel::Core {

/// A thread that can be interrupted: `Interrupt` makes its next interruption point (`InterruptionPoint`, any wait on a
/// `ConditionVariable`) throw `boost::thread_interrupted`. Start it as the last statement of a constructor's body, and
/// join it in the destructor of the most derived class.
class TARSEL_CONTRACTS_EXPORT Thread {
  public:
    /// Starts the thread. Throws `boost::thread_resource_error` when the system has none to give. An exception that
    /// leaves `body` other than an interruption ends the program.
    explicit Thread(std::function<void()> body);
    /// Waits for the thread's end.
    ~Thread();
    Thread(Thread const&) = delete;
    Thread& operator=(Thread const&) = delete;

    void Interrupt();
    /// Waits until `body` has returned.
    void Join();
    /// Lets the thread end on its own; nothing can be said of it or waited for behind this.
    void Detach();
    /// Whether the calling thread is this one.
    bool IsCaller() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

/// Throws `boost::thread_interrupted` when the calling thread was interrupted.
TARSEL_CONTRACTS_EXPORT void InterruptionPoint();

/// A condition on which threads wait with a lock of this layer held. Waiting is an interruption point.
class TARSEL_CONTRACTS_EXPORT ConditionVariable {
  public:
    ConditionVariable();
    ~ConditionVariable();
    ConditionVariable(ConditionVariable const&) = delete;
    ConditionVariable& operator=(ConditionVariable const&) = delete;

    /// Gives the lock up, waits for a notification (or wakes without one), takes the lock again.
    void Wait(MutexLock& lock);
    void NotifyOne();
    void NotifyAll();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Tarsel::Core
