#include <CLI/CLI.hpp>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "contracts/Core/Time.h"
#include "host/cut/RangeText.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/ShortForms.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

/// Beyond these nothing can be told of picture or sound any more.
constexpr double SLOWEST = 0.01;
constexpr double FASTEST = 100;

struct TimelineOptions {
    std::vector<std::string> inputs;
    Host::ShortFormOptions form;
    std::string duration;
    std::string factor;
    std::string rate;
    bool adjust = false;
    bool printGraph = false;
    GraphFlags flags;

    // What the texts say, once they have been checked.
    int64 length = 0;
    double speed = 1;
    Ratio frameRate{0, 1};
};

void ReadDuration(TimelineOptions& options) {
    auto const time = Host::ParseTime(options.duration);
    if (!time || *time <= 0 || *time > MAX_DURATION)
        RefuseUsage("--duration: \"" + options.duration + "\" is not a time above 0 and up to thirty days");
    options.length = *time;
}

void ReadFactor(TimelineOptions& options) {
    bool const number = ReadNumber(options.factor, options.speed) && std::isfinite(options.speed);
    if (!number || options.speed < SLOWEST || options.speed > FASTEST)
        RefuseUsage("--factor: \"" + options.factor + "\" is not a number from 0.01 to 100");
}

void ReadFrameRate(TimelineOptions& options) {
    options.frameRate = ReadRate(options.rate);
}

/// A command: how its graph is made, and which of the chapters stay.
struct TimelineCommand {
    std::string label;
    std::function<Host::ShortFormGraph(TimelineOptions const&)> make;
    std::function<std::optional<int64>(TimelineOptions const&)> chapters = [](TimelineOptions const&) {
        return std::optional<int64>();
    };
};

int Run(TimelineCommand const& command, TimelineOptions const& options) {
    Host::ShortFormGraph const graph = command.make(options);
    if (options.printGraph) {
        PrintWarnings(graph.warnings);
        PrintOutput(Host::WriteGraph(graph.document));
        return EXIT_DONE;
    }
    Host::GraphRunOptions running;
    running.attachments = true;
    running.building.opened = graph.files;
    running.chaptersUntil = command.chapters(options);
    return RunAndReport(graph.document, running, options.flags, command.label, graph.warnings);
}

using OptionsCheck = void (*)(TimelineOptions&);

/// Enters a sub-command with the options that all of them share.
CLI::App& Add(CLI::App& program, Action& chosen, char const* name, char const* description,
              std::shared_ptr<TimelineOptions> const& options, TimelineCommand command, OptionsCheck check) {
    CLI::App& entry = *program.add_subcommand(name, description);
    Host::ShortFormOptions& form = options->form;
    auto* const inputs = entry.add_option("input", options->inputs, "The media file")->required();
    if (std::string(name) == "join")
        inputs->description("The media files, in order")->expected(2, 100000);
    else
        inputs->expected(1);
    entry.add_option("-o,--output", form.output, "Where the result goes; its ending names the container")->required();
    entry.add_option("--video-codec", form.videoCodec, "Codec of the pictures (h264, hevc, vp9, mpeg4...)");
    entry.add_option("--audio-codec", form.audioCodec, "Codec of the sound (aac, opus, mp3, flac...)");
    entry.add_option("--quality", form.quality,
                     "Constant quality of the pictures on the codec's own scale, lower is better (h264: 18)");
    entry.add_flag("--no-video", form.noVideo, "Leave the pictures out");
    entry.add_flag("--no-audio", form.noAudio, "Leave the sound out");
    entry.add_flag("--print-graph", options->printGraph, "Print the graph file that the command stands for");
    AddGraphFlags(entry, options->flags);
    entry.final_callback([options, &chosen, command = std::move(command), check] {
        if (check) check(*options);
        if (options->form.noVideo && options->form.noAudio) RefuseUsage("--no-video and --no-audio leave nothing");
        CheckEncoding(options->form);
        chosen = [options, command] { return Run(command, *options); };
    });
    return entry;
}

void AddTrim(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "trimming";
    command.make = [](TimelineOptions const& o) { return Host::MakeTrimGraph(o.inputs.front(), o.length, o.form); };
    command.chapters = [](TimelineOptions const& o) { return std::optional(o.length); };
    CLI::App& entry =
        Add(program, chosen, "trim", "Makes a media file exactly as long as told", options, command, ReadDuration);
    entry.add_option("--duration", options->duration, "The length: a longer file is cut, a shorter one filled up")
        ->required();
    entry.footer("Example:\n  tarsel trim film.mp4 -o start.mp4 --duration 1:30");
}

void AddJoin(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "joining";
    command.make = [](TimelineOptions const& o) { return Host::MakeJoinGraph(o.inputs, o.form); };
    CLI::App& entry =
        Add(program, chosen, "join", "Plays media files one after another as one", options, command, nullptr);
    entry.footer("Example:\n  tarsel join first.mp4 second.mov -o both.mp4");
}

void AddReverse(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "reversing";
    command.make = [](TimelineOptions const& o) { return Host::MakeReverseGraph(o.inputs.front(), o.form); };
    CLI::App& entry = Add(program, chosen, "reverse", "Plays a media file backwards", options, command, nullptr);
    entry.footer("Example:\n  tarsel reverse film.mp4 -o backwards.mp4");
}

void AddSpeed(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "changing speed";
    command.make = [](TimelineOptions const& o) { return Host::MakeSpeedGraph(o.inputs.front(), o.speed, o.form); };
    CLI::App& entry = Add(program, chosen, "speed", "Plays a media file faster or slower, its pitch kept", options,
                          command, ReadFactor);
    entry.add_option("--factor", options->factor, "Above 1 plays faster, below 1 slower")->required();
    entry.footer("Example:\n  tarsel speed film.mp4 -o quick.mp4 --factor 1.5");
}

void AddLoop(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "looping";
    command.make = [](TimelineOptions const& o) { return Host::MakeLoopGraph(o.inputs.front(), o.length, o.form); };
    CLI::App& entry =
        Add(program, chosen, "loop", "Repeats a media file until a length is filled", options, command, ReadDuration);
    entry.add_option("--duration", options->duration, "The length of the result")->required();
    entry.footer("Example:\n  tarsel loop clip.mp4 -o minute.mp4 --duration 1:00");
}

void AddFrameRate(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<TimelineOptions>();
    TimelineCommand command;
    command.label = "changing the frame rate";
    command.make = [](TimelineOptions const& o) {
        return Host::MakeFrameRateGraph(o.inputs.front(), o.frameRate, o.adjust, o.form);
    };
    command.chapters = [](TimelineOptions const&) { return std::optional(std::numeric_limits<int64>::max()); };
    CLI::App& entry =
        Add(program, chosen, "fps", "Gives a media file a regular frame rate", options, command, ReadFrameRate);
    entry.add_option("--rate", options->rate, "Frames a second: N or N/D")->required();
    entry.add_flag("--adjust", options->adjust, "Keep all pictures, and move only the times that don't fit");
    entry.footer("Example:\n  tarsel fps film.mp4 -o film25.mp4 --rate 30000/1001");
}

}  // namespace

void AddTimelineCommands(CLI::App& program, Action& chosen) {
    AddTrim(program, chosen);
    AddJoin(program, chosen);
    AddReverse(program, chosen);
    AddSpeed(program, chosen);
    AddLoop(program, chosen);
    AddFrameRate(program, chosen);
}

}  // namespace Tarsel::Tool
