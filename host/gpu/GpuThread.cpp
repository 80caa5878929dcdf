#include "host/gpu/GpuThread.h"

#include <boost/thread/thread_only.hpp>
#include <exception>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

/// The end of a piece of work, for the caller who waits for it.
struct Outcome {
    Core::Mutex mutex;
    Core::ConditionVariable changed;
    bool done TARSEL_GUARDED_BY(mutex) = false;
    std::exception_ptr failure TARSEL_GUARDED_BY(mutex);
};

}  // namespace

GpuThread::GpuThread() : thread([this] { Work(); }) {}

GpuThread::~GpuThread() {
    Stop();
}

void GpuThread::Run(std::function<void()> const& work) {
    boost::this_thread::disable_interruption const uninterrupted;
    Outcome outcome;
    auto const task = [&work, &outcome] {
        std::exception_ptr failure;
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        Core::MutexLock const lock(outcome.mutex);
        outcome.failure = std::move(failure);
        outcome.done = true;
        // Under the lock: the caller, once it has seen the end, takes the outcome away.
        outcome.changed.NotifyOne();
    };
    {
        Core::MutexLock const lock(mutex);
        if (stopped) TARSEL_THROW(Proc::EffectException, "The GPU device has been closed");
        queue.emplace_back(task);
        changed.NotifyAll();
    }
    Core::MutexLock lock(outcome.mutex);
    while (!outcome.done) outcome.changed.Wait(lock);
    if (outcome.failure) std::rethrow_exception(outcome.failure);
}

void GpuThread::Post(std::function<void()> work) {
    Core::MutexLock const lock(mutex);
    if (stopped) return;
    queue.push_back(std::move(work));
    changed.NotifyAll();
}

void GpuThread::Stop(std::function<void()> last) {
    {
        Core::MutexLock const lock(mutex);
        if (!stopped && last) queue.push_back(std::move(last));
        stopped = true;
        changed.NotifyAll();
    }
    thread.Join();
}

void GpuThread::Work() {
    for (;;) {
        std::function<void()> task;
        {
            Core::MutexLock lock(mutex);
            while (queue.empty() && !stopped) changed.Wait(lock);
            if (queue.empty()) return;
            task = std::move(queue.front());
            queue.pop_front();
        }
        task();
    }
}

}  // namespace Tarsel::Host
