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

bool ProgressLine::IsDue() {
    if (!active) return false;
    auto const now = std::chrono::steady_clock::now();
    if (now - lastDrawn < REDRAW) return false;
    lastDrawn = now;
    return true;
}

void ProgressLine::Draw(int64 done, int64 total, std::string const& detail) {
    int const percent = total > 0 ? static_cast<int>(std::clamp<int64>(done * 100 / total, 0, 100)) : 0;
    std::fprintf(stderr, "\r\033[K%s %3d%%  %s", label.c_str(), percent, detail.c_str());
    std::fflush(stderr);
}

void ProgressLine::Show(int64 done, int64 total) {
    if (!IsDue()) return;
    double const seconds = std::chrono::duration<double>(lastDrawn - start).count();
    char speed[32];
    std::snprintf(speed, sizeof speed, "  %.0fx", seconds > 0 ? double(done) / 1e6 / seconds : 0);
    Draw(done, total, Host::ShortTime(done) + " of " + Host::ShortTime(total) + speed);
}

void ProgressLine::ShowCount(int64 done, int64 total) {
    if (IsDue()) Draw(done, total, std::to_string(done) + " of " + std::to_string(total));
}

void PrintWarnings(std::vector<std::string> const& warnings) {
    for (std::string const& warning : warnings) std::fprintf(stderr, "tarsel: warning: %s\n", warning.c_str());
}

void PrintOutput(std::string const& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        TARSEL_THROW(Core::IOException, "standard output: can't be written");
}

}  // namespace Tarsel::Tool
