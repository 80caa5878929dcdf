#include <glog/logging.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "host/cut/CutErrors.h"
#include "host/media/LibavLog.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Signals.h"

namespace Tarsel::Tool {

namespace {

/// Logging of the libraries: errors always, the rest when asked for. Nothing goes to files.
void SetUpLogging(char const* program, int verbosity) {
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = verbosity > 0 ? google::INFO : google::ERROR;
    FLAGS_v = verbosity;
    google::InitGoogleLogging(program);
    Host::RouteLibavLog();
}

/// Runs the action and turns whatever it throws into a message and an exit code.
int Run(Action const& action) {
    try {
        return action();
    } catch (Host::VerificationMismatch const& mismatch) {
        std::fprintf(stderr, "tarsel: verification failed: %s\n", mismatch.what());
        return EXIT_MISMATCH;
    } catch (std::bad_alloc const&) {
        std::fputs("tarsel: out of memory\n", stderr);
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "tarsel: %s\n", failure.what());
    }
    return EXIT_FAILED;
}

bool HasCommand(CLI::App& program, std::string const& name) {
    auto const commands = program.get_subcommands([](CLI::App*) { return true; });
    return std::any_of(commands.begin(), commands.end(),
                       [&](CLI::App const* command) { return command->get_name() == name; });
}

int Main(int count, char** arguments) {
    CLI::App program(
        "Cuts compressed media without loss: only the groups of pictures that hold a boundary are encoded again.",
        "tarsel");
    int verbosity = 0;
    program.set_version_flag("--version", TARSEL_VERSION);
    program.add_option("-v,--verbose", verbosity,
                       "Level of detail of the log on standard error (21: dropped data, "
                       "31: decisions of a cut, 4001: each item)");
    program.require_subcommand(1);
    program.footer("Example:\n  tarsel cut holiday.mp4 -o short.mp4 --remove 1:10-1:35");
    Action chosen;
    AddCompareCommand(program, chosen);
    AddCropCommand(program, chosen);
    AddCutCommand(program, chosen);
    AddDemoCommand(program, chosen);
    AddEffectCommands(program, chosen);
    AddOverlayCommand(program, chosen);
    AddFiltersCommand(program, chosen);
    AddProbeCommand(program, chosen);
    AddRecordCommand(program, chosen);
    AddRemuxCommand(program, chosen);
    AddRenderCommand(program, chosen);
    AddRunCommand(program, chosen);
    AddScrubCommand(program, chosen);
    AddSoundCommands(program, chosen);
    AddSpectrumCommand(program, chosen);
    AddSubtitleCommand(program, chosen);
    AddTimelineCommands(program, chosen);
    if (count > 1 && arguments[1][0] != '-' && !HasCommand(program, arguments[1])) {
        std::fprintf(stderr, "tarsel: there is no command \"%s\"; see tarsel --help\n", arguments[1]);
        return EXIT_USAGE;
    }
    try {
        program.parse(count, arguments);
    } catch (CLI::ParseError const& error) {
        int const code = program.exit(error);
        return code == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    SetUpLogging(arguments[0], verbosity);
    HandleSignals();
    return Run(chosen);
}

}  // namespace

}  // namespace Tarsel::Tool

int main(int count, char** arguments) {
    return Tarsel::Tool::Main(count, arguments);
}
