// Runs a program as a person does: arguments in; exit code, standard output and standard error out.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Tarsel::Test {

struct ProgramResult {
    /// Exit code, or -1 when a signal ended the program.
    int exitCode = -1;
    /// The signal that ended the program, 0 for none.
    int endedBySignal = 0;
    std::string output;
    std::string errors;
};

/// Runs `command` (first the program; looked up in PATH when it has no slash) to its end, with nothing on its standard
/// input. `whileRunning`, when given, is called over and over with the process id until it answers false or the program
/// has ended; it may raise signals. Throws `std::runtime_error` when the program can't be started.
ProgramResult RunProgram(std::vector<std::string> const& command,
                         std::function<bool(int pid)> const& whileRunning = {});

/// The command as one line, for messages.
std::string CommandText(std::vector<std::string> const& command);

}  // namespace Tarsel::Test
