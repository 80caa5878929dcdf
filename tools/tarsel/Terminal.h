#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Tool {

/// Columns of the terminal on standard output, 80 where there is none.
int TerminalWidth();

/// One line on standard error that shows how far long work has come. Nothing at all when standard error is no terminal.
class ProgressLine {
  public:
    explicit ProgressLine(std::string label);
    /// Wipes the line.
    ~ProgressLine();
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /// `done` of `total` microseconds of media. Drawn at most ten times a second.
    void Show(int64 done, int64 total);
    /// The same for work that is counted.
    void ShowCount(int64 done, int64 total);

  private:
    bool IsDue();
    void Draw(int64 done, int64 total, std::string const& detail);

    std::string label;
    bool active;
    std::chrono::steady_clock::time_point start;
    std::chrono::steady_clock::time_point lastDrawn;
};

/// "warning: ..." on standard error, a line each.
void PrintWarnings(std::vector<std::string> const& warnings);

/// Writes to standard output and makes sure that it arrived; throws `Core::IOException` otherwise.
void PrintOutput(std::string const& text);

}  // namespace Tarsel::Tool
