#include "tools/tarsel/Signals.h"

#include <signal.h>
#include <unistd.h>

#include "host/media/OutputFile.h"
#include "tools/tarsel/Program.h"

namespace Tarsel::Tool {

namespace {

extern "C" void EndOnSignal(int number) {
    Host::RemovePartialFiles();
    _exit(EXIT_SIGNAL + number);
}

}  // namespace

void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = EndOnSignal;
    // A second signal must not cut the clean-up of the first one short.
    sigfillset(&action.sa_mask);
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present {};
        // A signal that the caller has chosen to ignore (nohup, a shell's background job) stays ignored.
        if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN) continue;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace Tarsel::Tool
