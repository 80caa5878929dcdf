#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace Tarsel::Tool {

/// What the program answers to its caller.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,
    EXIT_USAGE = 2,
    EXIT_WARNINGS = 3,  // under --strict, when there were warnings
    EXIT_MISMATCH = 4,  // a result did not stand up to its verification, or two records differ
    EXIT_SIGNAL = 128,  // plus the signal's number
};

/// What a sub-command does once its arguments have been read.
using Action = std::function<int()>;

// Each enters one sub-command, with its options and its help, into the program and stores its action when it was
// called.
void AddCompareCommand(CLI::App& program, Action& chosen);
void AddCropCommand(CLI::App& program, Action& chosen);
void AddCutCommand(CLI::App& program, Action& chosen);
void AddProbeCommand(CLI::App& program, Action& chosen);
void AddRecordCommand(CLI::App& program, Action& chosen);
void AddRemuxCommand(CLI::App& program, Action& chosen);
void AddRenderCommand(CLI::App& program, Action& chosen);
void AddRunCommand(CLI::App& program, Action& chosen);
void AddScrubCommand(CLI::App& program, Action& chosen);
void AddSpectrumCommand(CLI::App& program, Action& chosen);
void AddSubtitleCommand(CLI::App& program, Action& chosen);
/// Trim, join, reverse, speed, loop, fps.
void AddTimelineCommands(CLI::App& program, Action& chosen);
/// Mix, volume, level, tone.
void AddSoundCommands(CLI::App& program, Action& chosen);
/// Resize, deinterlace, effects.
void AddEffectCommands(CLI::App& program, Action& chosen);
void AddOverlayCommand(CLI::App& program, Action& chosen);
void AddFiltersCommand(CLI::App& program, Action& chosen);
void AddDemoCommand(CLI::App& program, Action& chosen);

}  // namespace Tarsel::Tool
