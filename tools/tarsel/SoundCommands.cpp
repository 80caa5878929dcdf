#include <CLI/CLI.hpp>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "contracts/Core/Time.h"
#include "host/cut/RangeText.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/SettingsCatalog.h"
#include "host/graph/SoundForms.h"
#include "host/sound/LevelJob.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr double LARGEST_GAIN = 1000000;
constexpr int MOST_CHANNELS = 8;

struct SoundOptions {
    std::vector<std::string> inputs;
    Host::ShortFormOptions form;
    std::vector<std::string> volumes;
    std::string gain;
    bool automatic = false;
    std::string frequency;
    std::string duration;
    std::string amplitude;
    std::string rate;
    std::string channels;
    bool printGraph = false;
    GraphFlags flags;

    // What the texts say, once they have been checked.
    std::vector<int> percents;
    std::optional<double> factor;
    Host::ToneRequest tone;
};

/// Reads the number of an option that may be left out, from `lowest` to `highest`.
template <class Number>
void ReadOption(char const* option, std::string const& text, Number lowest, Number highest, char const* bounds,
                Number& value) {
    if (text.empty()) return;
    // No comparison holds for what is no number.
    if (!ReadNumber(text, value) || !(value >= lowest && value <= highest))
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not a number " + bounds);
}

void CheckMix(SoundOptions& options) {
    int const most = static_cast<int>(Host::MAX_MIXER_VOLUME);
    for (std::string const& text : options.volumes)
        ReadOption("--volume", text, -most, most, "of percents, whole and from -1000000 to 1000000",
                   options.percents.emplace_back());
    if (!options.percents.empty() && options.percents.size() != options.inputs.size())
        RefuseUsage("--volume: " + std::to_string(options.percents.size()) + " given for " +
                    std::to_string(options.inputs.size()) + " inputs: one for each, in their order, or none");
}

/// The factor of "1.5", "-1", "-6dB", "3 dB".
std::optional<double> ParseGain(std::string text) {
    bool const decibels = text.size() > 2 && (text.ends_with("dB") || text.ends_with("db") || text.ends_with("DB"));
    if (decibels) text.resize(text.size() - 2);
    while (decibels && !text.empty() && text.back() == ' ') text.pop_back();
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.erase(0, 1);
    double value = 0;
    if (!ReadNumber(text, value) || !std::isfinite(value)) return {};
    if (decibels) value = std::pow(10.0, value / 20);
    if (std::abs(value) > LARGEST_GAIN) return {};
    return value;
}

void CheckVolume(SoundOptions& options) {
    if (options.gain.empty() == !options.automatic)
        RefuseUsage(options.automatic ? "--gain and --auto can't be used in one call" : "--gain or --auto is required");
    if (options.automatic) return;
    options.factor = ParseGain(options.gain);
    if (!options.factor)
        RefuseUsage("--gain: \"" + options.gain +
                    "\" is not a factor from -1000000 to 1000000 (1.5), nor decibels up to 120 (-6dB)");
}

void CheckTone(SoundOptions& options) {
    Host::ToneRequest& tone = options.tone;
    ReadOption("--rate", options.rate, 1, static_cast<int>(Host::MAX_SAMPLE_RATE), "from 1 to 768000", tone.rate);
    ReadOption("--channels", options.channels, 1, MOST_CHANNELS, "from 1 to 8", tone.channels);
    ReadOption("--amplitude", options.amplitude, 0.0, 1.0, "from 0 to 1", tone.amplitude);
    std::string const half = "above 0 and up to half the rate of " + std::to_string(tone.rate);
    ReadOption("--frequency", options.frequency, 0.0, tone.rate / 2.0, half.c_str(), tone.frequency);
    if (tone.frequency <= 0) RefuseUsage("--frequency: \"" + options.frequency + "\" is not a number " + half);
    auto const time = Host::ParseTime(options.duration);
    if (!time || *time <= 0 || *time > MAX_DURATION)
        RefuseUsage("--duration: \"" + options.duration + "\" is not a time above 0 and up to thirty days");
    tone.duration = *time;
}

/// A command that is a graph.
struct SoundCommand {
    std::string label;
    std::function<Host::ShortFormGraph(SoundOptions const&)> make;
    /// Whether chapters, attachments and cover pictures go along.
    bool keepsFile = false;
};

int Run(SoundCommand const& command, SoundOptions const& options) {
    Host::ShortFormGraph const graph = command.make(options);
    if (options.printGraph) {
        PrintWarnings(graph.warnings);
        PrintOutput(Host::WriteGraph(graph.document));
        return EXIT_DONE;
    }
    Host::GraphRunOptions running;
    running.building.opened = graph.files;
    running.attachments = command.keepsFile;
    if (command.keepsFile) running.chaptersUntil = std::numeric_limits<int64>::max();
    return RunAndReport(graph.document, running, options.flags, command.label, graph.warnings);
}

/// Enters a sub-command with the options that all of them share.
CLI::App& Add(CLI::App& program, Action& chosen, char const* name, char const* description,
              std::shared_ptr<SoundOptions> const& options, SoundCommand command, void (*check)(SoundOptions&)) {
    CLI::App& entry = *program.add_subcommand(name, description);
    entry.add_option("-o,--output", options->form.output, "Where the result goes; its ending names the container")
        ->required();
    entry.add_option("--audio-codec", options->form.audioCodec, "Codec of the sound (aac, opus, flac, pcm_s16le...)");
    entry.add_flag("--print-graph", options->printGraph, "Print the graph file that the command stands for");
    AddGraphFlags(entry, options->flags);
    entry.final_callback([options, &chosen, command = std::move(command), check] {
        check(*options);
        CheckEncoding(options->form);
        chosen = [options, command] { return Run(command, *options); };
    });
    return entry;
}

void AddMix(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<SoundOptions>();
    SoundCommand const command{"mixing",
                               [](SoundOptions const& o) { return Host::MakeMixGraph(o.inputs, o.percents, o.form); }};
    CLI::App& entry =
        Add(program, chosen, "mix", "Plays the sound of media files at once, as one", options, command, CheckMix);
    entry.add_option("input", options->inputs, "The media files; of each the first audio stream is mixed")
        ->required()
        ->expected(2, static_cast<int>(Host::MAX_GRAPH_INPUTS));
    // One value each time: what follows it is an input.
    entry
        .add_option("--volume", options->volumes,
                    "Volume of an input in percents (100); given once for each input, in their order, or as one list "
                    "with commas")
        ->check(CLI::Validator(CheckGiven, ""))
        ->delimiter(',')
        ->allow_extra_args(false);
    entry.footer(
        "Pictures and subtitles are left out. The result is as long as the longest input.\nExamples:\n"
        "  tarsel mix speech.wav music.mp3 -o both.wav --volume 100 --volume 30\n"
        "  tarsel mix a.wav b.wav c.wav -o all.flac --volume 50,50,80");
}

void AddVolume(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<SoundOptions>();
    SoundCommand const command{
        "changing the volume",
        [](SoundOptions const& o) { return Host::MakeVolumeGraph(o.inputs.front(), o.factor, o.form); }, true};
    CLI::App& entry = Add(program, chosen, "volume", "Makes the sound of a media file louder or quieter", options,
                          command, CheckVolume);
    entry.add_option("input", options->inputs, "The media file")->required()->expected(1);
    entry
        .add_option("--gain", options->gain,
                    "The factor (1.5; below 0 turns the sound over), or decibels (-6dB, \"3 dB\")")
        ->check(CLI::Validator(CheckGiven, ""));
    entry.add_flag("--auto", options->automatic, "Bring quiet sound up, by a gain that follows its peaks");
    entry.footer(
        "Pictures and subtitles are not encoded again where the container takes them.\nExamples:\n"
        "  tarsel volume film.mp4 -o quiet.mp4 --gain -6dB\n"
        "  tarsel volume lecture.mkv -o louder.mkv --auto");
}

void AddTone(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<SoundOptions>();
    SoundCommand const command{"making a tone",
                               [](SoundOptions const& o) { return Host::MakeToneGraph(o.tone, o.form); }};
    CLI::App& entry = Add(program, chosen, "tone", "Makes a sine tone", options, command, CheckTone);
    auto const add = [&](char const* name, std::string& value, char const* what) {
        return entry.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    add("--frequency", options->frequency, "Hertz, above 0 and up to half the rate")->required();
    add("--duration", options->duration, "The length")->required();
    add("--amplitude", options->amplitude, "The value at the crest, from 0 to 1 (1)");
    add("--rate", options->rate, "Samples a second (48000)");
    add("--channels", options->channels, "From 1 to 8, all alike (2)");
    entry.footer("Example:\n  tarsel tone -o a.wav --frequency 440 --duration 2 --amplitude 0.5");
}

// The level isn't a graph: it tells more than a graph's statistics hold.

struct LevelOptions {
    Host::LevelRequest request;
    std::string stream;
    bool json = false;
};

int Level(LevelOptions const& options) {
    Host::LevelReport report;
    {
        ProgressLine progress("measuring");
        report = Host::MeasureLevel(options.request, [&](int64 done, int64 total) { progress.Show(done, total); });
    }
    PrintWarnings(report.warnings);
    PrintOutput(options.json ? report.ToJson() + "\n" : report.ToText());
    return EXIT_DONE;
}

void AddLevel(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<LevelOptions>();
    CLI::App& entry = *program.add_subcommand("level", "Tells how loud the sound of a media file is");
    entry.add_option("input", options->request.input, "The media file")->required();
    entry.add_option("--stream", options->stream, "Which of its audio streams, from 0 (0)")
        ->check(CLI::Validator(CheckGiven, ""));
    entry.add_flag("--json", options->json, "Print the result as JSON");
    entry.footer(
        "Peaks are those of the positive half-wave; 1 is full scale. Quiet is what stays below 0.3 for ten minutes.\n"
        "Example:\n  tarsel level film.mp4 --json");
    entry.final_callback([options, &chosen] {
        ReadOption("--stream", options->stream, 0, 65535, "from 0 to 65535", options->request.stream);
        chosen = [options] { return Level(*options); };
    });
}

}  // namespace

void AddSoundCommands(CLI::App& program, Action& chosen) {
    AddMix(program, chosen);
    AddVolume(program, chosen);
    AddLevel(program, chosen);
    AddTone(program, chosen);
}

}  // namespace Tarsel::Tool
