#pragma once

#include <deque>
#include <functional>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"

namespace Tarsel::Host {

/// One thread that does work for all others, in the order in which it was given. Any thread may give work; no lock is
/// held while it runs. Work doesn't give work and wait for it.
class TARSEL_HOST_EXPORT GpuThread {
  public:
    GpuThread();
    /// As `Stop`. Not on the thread itself.
    ~GpuThread();
    GpuThread(GpuThread const&) = delete;
    GpuThread& operator=(GpuThread const&) = delete;

    /// Does the work and waits for its end; what it throws comes out here. All work before it and its own end the wait,
    /// an interruption doesn't: the work may use what the caller holds. Throws `EffectException` when the thread has
    /// been stopped.
    void Run(std::function<void()> const& work) TARSEL_EXCLUDES(mutex);
    /// The same without waiting; the work mustn't throw. Behind `Stop` it is dropped.
    void Post(std::function<void()> work) TARSEL_EXCLUDES(mutex);
    /// Takes no more work, does what waits and then `last`, and waits for the thread's end. A second call does nothing.
    void Stop(std::function<void()> last = nullptr) TARSEL_EXCLUDES(mutex);

  private:
    void Work() TARSEL_EXCLUDES(mutex);

    Core::Mutex mutex;  // taken alone
    Core::ConditionVariable changed;
    std::deque<std::function<void()>> queue TARSEL_GUARDED_BY(mutex);
    bool stopped TARSEL_GUARDED_BY(mutex) = false;
    Core::Thread thread;  // the last member: it starts when the others stand
};

}  // namespace Tarsel::Host
