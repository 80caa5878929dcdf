#include "contracts/Core/ThreadPool.h"

#include <glog/logging.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <deque>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"

namespace Tarsel::Core {

namespace {

using Task = std::function<void()>;

void RunTask(Task const& task) {
    try {
        task();
    } catch (...) {
        LOG(ERROR) << "Task of a thread pool has failed: " << boost::current_exception_diagnostic_information(true);
    }
}

}  // namespace

struct ThreadPool::State {
    Mutex lock;
    ConditionVariable changed;
    std::deque<Task> tasks TARSEL_GUARDED_BY(lock);
    std::vector<std::unique_ptr<Thread>> threads TARSEL_GUARDED_BY(lock);
    bool stopping TARSEL_GUARDED_BY(lock) = false;

    /// Waits for a task; an empty one once the pool is stopped.
    Task Take() {
        MutexLock guard(lock);
        while (tasks.empty() && !stopping) changed.Wait(guard);
        if (stopping) return nullptr;
        Task task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    static void Start(std::shared_ptr<State> const& state, unsigned count) TARSEL_REQUIRES(state->lock) {
        if (state->stopping || !state->threads.empty()) return;
        state->threads.reserve(count);
        try {
            while (state->threads.size() < count)
                state->threads.push_back(std::make_unique<Thread>([state] {
                    // Each task is destroyed here, with no lock held: it may hold the last reference to the pool.
                    while (Task const task = state->Take()) RunTask(task);
                }));
        } catch (...) {
            if (state->threads.empty()) throw;
            LOG(WARNING) << "A thread pool got only " << state->threads.size() << " threads of " << count;
        }
    }
};

ThreadPool::ThreadPool(unsigned threadCount, StartMode mode)
    : threadCount(threadCount), mode(mode), state(std::make_shared<State>()) {
    if (threadCount == 0) TARSEL_THROW(std::invalid_argument, "thread pool has no threads");
}

ThreadPool::~ThreadPool() {
    Stop();
}

void ThreadPool::AddTask(std::function<void()> task) {
    if (!task) TARSEL_THROW(std::invalid_argument, "task is empty");
    MutexLock const guard(state->lock);
    // The task is destroyed behind the lock, with the arguments of this call.
    if (state->stopping) return;
    if (mode == StartMode::AT_FIRST_TASK) State::Start(state, threadCount);
    state->tasks.push_back(std::move(task));
    state->changed.NotifyOne();
}

void ThreadPool::Start() {
    MutexLock const guard(state->lock);
    State::Start(state, threadCount);
}

void ThreadPool::Stop() {
    std::deque<Task> dropped;
    std::vector<std::unique_ptr<Thread>> threads;
    {
        MutexLock const guard(state->lock);
        state->stopping = true;
        dropped.swap(state->tasks);
        threads.swap(state->threads);
        state->changed.NotifyAll();
    }
    dropped.clear();
    for (auto const& thread : threads) {
        if (thread->IsCaller())
            thread->Detach();
        else
            thread->Join();
    }
}

std::shared_ptr<ThreadPool> const& GetGlobalThreadPool() {
    // Never destroyed: static objects may hold it, and use it in their destructors.
    static auto const& pool = *new std::shared_ptr<ThreadPool>(
        std::make_shared<ThreadPool>(std::clamp(std::thread::hardware_concurrency(), 2U, 8U)));
    struct StopAtExit {
        ~StopAtExit() { pool->Stop(); }
    };
    static StopAtExit const stop;
    return pool;
}

}  // namespace Tarsel::Core
