#include "Proc/Filters/Filters/CutSearchThread.h"

#include <utility>

namespace Tarsel::Proc {

void CutSearchThread::Start(std::function<void()> body) {
    failure = nullptr;
    thread = std::make_unique<Core::Thread>([this, body = std::move(body)] {
        try {
            body();
        } catch (...) {
            failure = std::current_exception();
        }
    });
}

void CutSearchThread::Join() {
    if (!thread) return;
    {
        // Destroyed on every way out: its destructor waits where this wait is interrupted.
        std::unique_ptr<Core::Thread> const ending = std::move(thread);
        ending->Join();
    }
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
}

}  // namespace Tarsel::Proc
