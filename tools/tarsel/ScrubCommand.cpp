#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <string>

#include "contracts/Core/Exception.h"
#include "host/scrub/ScrubJob.h"
#include "host/scrub/ScrubPreview.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Signals.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr double DEFAULT_PREVIEW_RATE = 10;
constexpr double HIGHEST_PREVIEW_RATE = 1000;

struct ScrubArguments {
    std::string input;
    std::string script;
    std::string random;
    std::string seed;
    std::string preview;
    std::string previewRate;
    bool force = false;
    bool printScript = false;
    bool noCache = false;
    bool json = false;

    // What the texts say, once they have been checked.
    std::size_t count = 0;
    uint64 seedValue = 1;
    double picturesPerSecond = DEFAULT_PREVIEW_RATE;
};

void CheckPreview(ScrubArguments& arguments) {
    std::string const& rate = arguments.previewRate;
    if (arguments.preview.empty() && !rate.empty()) RefuseUsage("--preview-rate needs --preview");
    if (arguments.preview.empty() && arguments.force) RefuseUsage("--force needs --preview");
    if (rate.empty()) return;
    double& value = arguments.picturesPerSecond;
    if (!ReadNumber(rate, value) || !std::isfinite(value) || value <= 0 || value > HIGHEST_PREVIEW_RATE)
        RefuseUsage("--preview-rate: \"" + rate + "\" is not a number above 0 and up to 1000");
}

void CheckUsage(ScrubArguments& arguments) {
    if (arguments.script.empty() == arguments.random.empty())
        RefuseUsage(arguments.script.empty() ? "--script or --random is required"
                                             : "--script and --random can't be used in one call");
    if (!arguments.seed.empty() && arguments.random.empty()) RefuseUsage("--seed needs --random");
    if (!arguments.random.empty() && (!ReadNumber(arguments.random, arguments.count) || arguments.count == 0 ||
                                      arguments.count > Host::MAX_SCRUB_OPERATIONS))
        RefuseUsage("--random: \"" + arguments.random + "\" is not a number from 1 to " +
                    std::to_string(Host::MAX_SCRUB_OPERATIONS));
    if (!arguments.seed.empty() && !ReadNumber(arguments.seed, arguments.seedValue))
        RefuseUsage("--seed: \"" + arguments.seed + "\" is not a whole number of 64 bits");
    CheckPreview(arguments);
}

Host::ScrubReport Play(iptr<Host::MediaFile> const& file, Host::ScrubScript const& script, Host::ScrubOptions options) {
    ProgressLine progress("scrubbing");
    auto const total = static_cast<int64>(script.size());
    options.progress = [&](std::size_t done) { progress.ShowCount(static_cast<int64>(done), total); };
    return Host::RunScrub(file, script, options);
}

void Print(Host::MediaFile const& file, Host::ScrubReport const& report, ScrubArguments const& arguments) {
    PrintWarnings(file.GetWarnings());
    PrintOutput(arguments.json ? report.ToJson() + "\n" : report.ToText());
}

/// Plays with a preview and prints the report. Of a run that fails or is ended by a signal no picture stays.
void PlayWithPreview(iptr<Host::MediaFile> const& file, Host::ScrubScript const& script, Host::ScrubOptions options,
                     ScrubArguments const& arguments) {
    SignalDelay signals;
    Host::ScrubPreview preview(arguments.preview, arguments.picturesPerSecond, arguments.force);
    options.listener.picture = [&](iptr<Proc::IDataVideo> const& picture) { preview.Show(picture); };
    options.listener.beforeRead = [&] {
        if (signals.HasCome()) TARSEL_THROW(Core::CoreException, "interrupted");
    };
    try {
        Host::ScrubReport const report = Play(file, script, std::move(options));
        preview.Finish();
        Print(*file, report, arguments);
        if (!signals.End()) TARSEL_THROW(Core::CoreException, "interrupted");
    } catch (...) {
        preview.Discard();
        throw;
    }
}

int Scrub(ScrubArguments const& arguments) {
    // A script is read before the file: its mistakes show at once.
    Host::ScrubScript script;
    if (!arguments.script.empty()) script = Host::ReadScrubScript(arguments.script);
    if (arguments.printScript && !arguments.script.empty()) {
        PrintOutput(Host::WriteScrubScript(script));
        return EXIT_DONE;
    }
    auto const file = Host::MediaFile::Open(arguments.input);
    if (!arguments.random.empty()) script = Host::MakeRandomScrub(*file, arguments.count, arguments.seedValue);
    if (arguments.printScript) {
        PrintOutput(Host::WriteScrubScript(script));
        return EXIT_DONE;
    }
    Host::ScrubOptions options;
    options.cached = !arguments.noCache;
    if (arguments.preview.empty())
        Print(*file, Play(file, script, options), arguments);
    else
        PlayWithPreview(file, script, options, arguments);
    return EXIT_DONE;
}

}  // namespace

void AddScrubCommand(CLI::App& program, Action& chosen) {
    auto const arguments = std::make_shared<ScrubArguments>();
    CLI::App& command = *program.add_subcommand("scrub", "Seeks and steps about in a media file, and times it");
    command.add_option("input", arguments->input, "The media file")->required();
    auto const add = [&](char const* name, std::string& value, char const* what) {
        command.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    add("--script", arguments->script,
        "What to do, a line each: \"seek TIME\", or \"step N\" with N below 0 for backwards; - is the standard input");
    add("--random", arguments->random, "Do N things that a person might do instead");
    add("--seed", arguments->seed, "Which of the random scripts (1)");
    command.add_flag("--print-script", arguments->printScript, "Print the script and do nothing else");
    command.add_flag("--no-cache", arguments->noCache, "Do the same without caches, to compare");
    add("--preview", arguments->preview, "Write what is shown as PNG files into this folder");
    add("--preview-rate", arguments->previewRate, "Write at most N pictures a second (10)");
    command.add_flag("--force", arguments->force, "Write into a folder that holds previews, behind those");
    command.add_flag("--json", arguments->json, "Print the result as JSON");
    command.footer(
        "Times: [[HH:]MM:]SS[.fraction], or a number with s, ms or us.\nExamples:\n"
        "  tarsel scrub film.mp4 --script steps.txt\n"
        "  tarsel scrub film.mp4 --random 500 --seed 7 --no-cache --json");
    command.final_callback([arguments, &chosen] {
        CheckUsage(*arguments);
        chosen = [arguments] { return Scrub(*arguments); };
    });
}

}  // namespace Tarsel::Tool
