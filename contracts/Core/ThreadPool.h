#pragma once

#include <functional>
#include <memory>

#include "contracts/Core/Export.h"

namespace Tarsel::Core {

/// Threads that work off tasks in the order in which they were added. Any thread may call anything, a task of the pool
/// itself too, which may add more tasks, stop the pool, and drop the last reference to it. Only `Stop` and the
/// destructor are for one caller at a time.
///
/// A task that throws is logged, and the pool goes on. There is one lock, which guards the waiting tasks; it is never
/// held while a task runs or is destroyed, so it comes behind all locks of the callers.
class TARSEL_CONTRACTS_EXPORT ThreadPool {
  public:
    enum class StartMode {
        AT_FIRST_TASK,
        BY_HAND,  ///< tasks wait until `Start`
    };

    /// Throws `std::invalid_argument` for a count of 0. No thread is started yet.
    explicit ThreadPool(unsigned threadCount, StartMode mode = StartMode::AT_FIRST_TASK);
    /// As `Stop`.
    ~ThreadPool();
    ThreadPool(ThreadPool const&) = delete;
    ThreadPool& operator=(ThreadPool const&) = delete;

    /// Never waits for a task. Throws `std::invalid_argument` for an empty task, and `boost::thread_resource_error`
    /// when the system gives not even one thread; the task isn't kept then. Behind `Stop` the task is dropped.
    void AddTask(std::function<void()> task);
    unsigned GetThreadCount() const { return threadCount; }
    /// Starts the threads if they don't run yet. Throws as `AddTask`.
    void Start();
    /// Drops the tasks that haven't begun, waits until those that run have returned, and ends the threads. A call from
    /// a task waits for the other tasks only; its own thread ends behind it.
    void Stop();

  private:
    struct State;

    unsigned const threadCount;
    StartMode const mode;
    // The threads share it: a thread outlives the pool when its own task drops the last reference to the pool.
    std::shared_ptr<State> const state;
};

/// The pool of the process, with as many threads as the machine has processors, at least 2 and at most 8. It starts at
/// its first task. At the end of the process, when static objects are destroyed, it is stopped: later tasks are
/// dropped. What its tasks use beside their own must have been made before the first call, or never be destroyed.
TARSEL_CONTRACTS_EXPORT std::shared_ptr<ThreadPool> const& GetGlobalThreadPool();

}  // namespace Tarsel::Core
