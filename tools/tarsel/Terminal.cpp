#include "tools/tarsel/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/cut/RangeText.h"

namespace Tarsel::Tool {

namespace {

constexpr int DEFAULT_WIDTH = 80;
constexpr std::chrono::milliseconds REDRAW{100};

}  // namespace

int TerminalWidth() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return DEFAULT_WIDTH;
}

ProgressLine::ProgressLine(std::string label)
    : label(std::move(label)), active(isatty(STDERR_FILENO) != 0), start(std::chrono::steady_clock::now()) {}

ProgressLine::~ProgressLine() {
    if (active && lastDrawn.time_since_epoch().count() != 0) std::fputs("\r\033[K", stderr);
}

void ProgressLine::Show(int64 done, int64 total) {
    if (!active) return;
    auto const now = std::chrono::steady_clock::now();
    if (now - lastDrawn < REDRAW) return;
    lastDrawn = now;
    double const seconds = std::chrono::duration<double>(now - start).count();
    int const percent = total > 0 ? static_cast<int>(std::clamp<int64>(done * 100 / total, 0, 100)) : 0;
    double const speed = seconds > 0 ? double(done) / 1e6 / seconds : 0;
    std::fprintf(stderr, "\r\033[K%s %3d%%  %s of %s  %.0fx", label.c_str(), percent, Host::ShortTime(done).c_str(),
                 Host::ShortTime(total).c_str(), speed);
    std::fflush(stderr);
}

void PrintWarnings(std::vector<std::string> const& warnings) {
    for (std::string const& warning : warnings) std::fprintf(stderr, "tarsel: warning: %s\n", warning.c_str());
}

void PrintOutput(std::string const& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        TARSEL_THROW(Core::IOException, "standard output: can't be written");
}

}  // namespace Tarsel::Tool
