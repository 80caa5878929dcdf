#pragma once

namespace Tarsel::Tool {

/// From here on an interrupt, a quit, a termination request, a hang-up, a broken pipe or the end of the allowed
/// processor time removes what is half written and ends the program with 128 plus the signal's number; none of them
/// leaves a core file. A write over the limit on a file's size fails and sends none.
void HandleSignals();

/// While it lives such a signal is only noted, so that work which leaves whole files behind can take them back first.
/// Its end makes good for it: if a signal has come, the program ends as if it came then. One at a time.
class SignalDelay {
  public:
    SignalDelay();
    ~SignalDelay();
    SignalDelay(SignalDelay const&) = delete;
    SignalDelay& operator=(SignalDelay const&) = delete;

    /// From any thread.
    bool HasCome() const;
    /// Ends the delay here, unless a signal has come. False when one has: then it goes on until the destructor.
    bool End();
};

}  // namespace Tarsel::Tool
