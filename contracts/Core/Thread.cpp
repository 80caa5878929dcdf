#include "contracts/Core/Thread.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/thread.hpp>
#include <utility>

namespace Tarsel::Core {

struct Thread::Impl {
    explicit Impl(std::function<void()> body) : thread(std::move(body)) {}
    boost::thread thread;
};

Thread::Thread(std::function<void()> body) : impl(std::make_unique<Impl>(std::move(body))) {}

Thread::~Thread() {
    Join();
}

void Thread::Interrupt() {
    impl->thread.interrupt();
}

void Thread::Join() {
    // The wait for another thread must not be cut short by an interruption of this one.
    boost::this_thread::disable_interruption const uninterrupted;
    if (impl->thread.joinable()) impl->thread.join();
}

void Thread::Detach() {
    impl->thread.detach();
}

bool Thread::IsCaller() const {
    return impl->thread.get_id() == boost::this_thread::get_id();
}

void InterruptionPoint() {
    boost::this_thread::interruption_point();
}

struct ConditionVariable::Impl {
    boost::condition_variable_any condition;
};

ConditionVariable::ConditionVariable() : impl(std::make_unique<Impl>()) {}
ConditionVariable::~ConditionVariable() = default;

void ConditionVariable::Wait(MutexLock& lock) {
    impl->condition.wait(lock);
}
void ConditionVariable::NotifyOne() {
    impl->condition.notify_one();
}
void ConditionVariable::NotifyAll() {
    impl->condition.notify_all();
}

}  // namespace Tarsel::Core
