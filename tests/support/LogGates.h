#pragma once

#include <glog/logging.h>

#include <boost/thread/thread_only.hpp>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "contracts/Core/Mutex.h"
#include "tests/support/Gate.h"

namespace Tarsel::Test {

/// Puts gates behind log lines: a thread that has logged a line passes the line's gate, with none of the log's own
/// locks that another thread's lines need. Made before the threads that it watches and destroyed behind them; something
/// else sets the verbosity.
class LogGates final : public google::LogSink {
  public:
    LogGates() {
        // A fixed time zone: else the log stores it anew for each line, where the thread sanitizer can't follow.
        setenv("TZ", "UTC", 1);
        tzset();
        google::AddLogSink(this);
    }
    ~LogGates() override { google::RemoveLogSink(this); }

    /// The gate behind the lines that begin with `text`, there from the first call on and open at first. An
    /// interruption of who waits there stays pending.
    Gate& At(std::string const& text) {
        Core::MutexLock const lock(mutex);
        auto& gate = gates[text];
        if (!gate) gate = std::make_unique<Gate>(false);
        return *gate;
    }
    /// The same gate, behind which the next thread waits for its interruption, which stays pending.
    Gate& HoldUntilInterrupted(std::string const& text) {
        Gate& gate = At(text);
        Core::MutexLock const lock(mutex);
        held = text;
        return gate;
    }
    /// Counts the ends of the threads that have logged a line with a gate.
    Gate& Ends() { return *ends; }

    void send(google::LogSeverity, char const*, char const*, int, std::tm const*, char const* message,
              std::size_t length) override {
        std::string const line(message, length);
        Core::MutexLock const lock(mutex);
        for (auto const& [text, gate] : gates)
            if (line.compare(0, text.size(), text) == 0) Passing().next = gate.get();
        if (held.empty() || line.compare(0, held.size(), held) != 0) return;
        held.clear();
        Passing().interruption = true;
    }
    /// Behind `send`, on the same thread and outside the log's lock.
    void WaitTillSent() override {
        if (Gate* const gate = std::exchange(Passing().next, nullptr)) {
            thread_local ExitNotice const notice{ends};
            gate->Pass();
        }
        if (!std::exchange(Passing().interruption, false)) return;
        while (!boost::this_thread::interruption_requested()) std::this_thread::yield();
    }

  private:
    struct ThreadsNext {
        Gate* next = nullptr;
        bool interruption = false;
    };
    struct ExitNotice {
        std::shared_ptr<Gate> gate;
        ~ExitNotice() { gate->Pass(); }
    };
    static ThreadsNext& Passing() {
        thread_local ThreadsNext passing;
        return passing;
    }

    std::shared_ptr<Gate> const ends = std::make_shared<Gate>(false);
    Core::Mutex mutex;
    std::map<std::string, std::unique_ptr<Gate>> gates TARSEL_GUARDED_BY(mutex);
    std::string held TARSEL_GUARDED_BY(mutex);
};

}  // namespace Tarsel::Test
