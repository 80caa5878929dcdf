#include "tools/tarsel/Signals.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>

#include "host/media/OutputFile.h"
#include "tools/tarsel/Program.h"

namespace Tarsel::Tool {

namespace {

constexpr int NOT_DELAYED = 0;
constexpr int DELAYED = -1;

/// One of the two, or the number of the signal that came during the delay.
std::atomic<int> delay{NOT_DELAYED};
static_assert(std::atomic<int>::is_always_lock_free);

[[noreturn]] void EndProgram(int number) {
    Host::RemovePartialFiles();
    _exit(EXIT_SIGNAL + number);
}

extern "C" void EndOnSignal(int number) {
    int expected = DELAYED;
    if (delay.compare_exchange_strong(expected, number) || expected != NOT_DELAYED) return;
    EndProgram(number);
}

}  // namespace

SignalDelay::SignalDelay() {
    delay = DELAYED;
}

SignalDelay::~SignalDelay() {
    if (!End()) EndProgram(delay);
}

bool SignalDelay::HasCome() const {
    return delay > 0;
}

bool SignalDelay::End() {
    int expected = DELAYED;
    return delay.compare_exchange_strong(expected, NOT_DELAYED) || expected == NOT_DELAYED;
}

void HandleSignals() {
    // A file that meets the limit on sizes is a failed write, cleaned up like any other.
    signal(SIGXFSZ, SIG_IGN);
    struct sigaction action {};
    action.sa_handler = EndOnSignal;
    // A second signal must not cut the clean-up of the first one short.
    sigfillset(&action.sa_mask);
    // All by which somebody may end a program that is well. One that crashed can't be trusted with a clean-up.
    for (int const number :
         {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGALRM, SIGVTALRM, SIGPROF, SIGUSR1, SIGUSR2}) {
        struct sigaction present {};
        // A signal that the caller has chosen to ignore (nohup, a shell's background job) stays ignored, and a
        // profiler's goes to the profiler.
        if (sigaction(number, nullptr, &present) == 0 && present.sa_handler != SIG_DFL) continue;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace Tarsel::Tool
