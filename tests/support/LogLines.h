#pragma once

#include <glog/logging.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include "contracts/Core/Mutex.h"

namespace Tarsel::Test {

/// Collects what is logged up to `verbosity` as long as it lives.
class LogLines final : public google::LogSink {
  public:
    explicit LogLines(int verbosity) : before(FLAGS_v) {
        FLAGS_v = verbosity;
        google::AddLogSink(this);
    }
    ~LogLines() override {
        google::RemoveLogSink(this);
        FLAGS_v = before;
    }
    void send(google::LogSeverity severity, char const*, char const*, int, std::tm const*, char const* message,
              std::size_t length) override {
        Core::MutexLock const lock(mutex);
        lines.push_back({severity, std::string(message, length)});
    }
    /// Whether a line begins with `text`.
    bool Has(std::string const& text) const { return Count(text) != 0; }
    std::size_t Count(std::string const& text) const {
        Core::MutexLock const lock(mutex);
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](Line const& line) {
            return line.text.compare(0, text.size(), text) == 0;
        }));
    }
    /// The lines of one severity, in order.
    std::vector<std::string> Get(google::LogSeverity severity) const {
        Core::MutexLock const lock(mutex);
        std::vector<std::string> texts;
        for (Line const& line : lines)
            if (line.severity == severity) texts.push_back(line.text);
        return texts;
    }

  private:
    struct Line {
        google::LogSeverity severity;
        std::string text;
    };

    int const before;
    mutable Core::Mutex mutex;
    std::vector<Line> lines TARSEL_GUARDED_BY(mutex);
};

}  // namespace Tarsel::Test
