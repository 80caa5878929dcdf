#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/timeline/RenderJob.h"
#include "host/timeline/TimelineReader.h"
#include "host/timeline/TimelineWriter.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr int LARGEST_SIDE = 16384;

struct RenderFlags {
    std::string timeline;
    Host::ShortFormOptions form;
    std::string size;
    std::string rate;
    bool dryRun = false;
    bool printPlan = false;
    bool schema = false;
    bool force = false;
    bool json = false;
    bool strict = false;

    // What the texts say, once they have been checked.
    std::optional<Conf::FrameInfo> frame;
    std::optional<Ratio> frameRate;
};

void ReadSize(RenderFlags& flags) {
    if (flags.size.empty()) return;
    std::size_t const cross = flags.size.find('x');
    Conf::FrameInfo frame;
    bool const valid = cross != std::string::npos && ReadNumber(flags.size.substr(0, cross), frame.width) &&
                       ReadNumber(flags.size.substr(cross + 1), frame.height) && frame.width > 0 && frame.height > 0 &&
                       frame.width <= LARGEST_SIDE && frame.height <= LARGEST_SIDE;
    if (!valid) RefuseUsage("--size: \"" + flags.size + "\" is not WxH, both from 1 to 16384");
    flags.frame = frame;
}

/// Warnings end a strict run before anything is written.
bool IsRefused(RenderFlags const& flags, std::vector<std::string> const& warnings) {
    if (!flags.strict || warnings.empty()) return false;
    PrintWarnings(warnings);
    std::fputs("tarsel: nothing is rendered: --strict, and there are warnings\n", stderr);
    return true;
}

Host::Timeline ReadTimeline(RenderFlags const& flags, std::vector<std::string>& warnings) {
    Host::ReadTimelineResult read = Host::ReadTimelineFile(flags.timeline);
    for (Host::TimelineWarning const& warning : read.warnings)
        warnings.push_back(flags.timeline + ": " + (warning.pointer.empty() ? "" : warning.pointer + ": ") +
                           warning.text);
    if (flags.frame) read.timeline.frame = flags.frame;
    if (flags.frameRate) read.timeline.frameRate = flags.frameRate;
    return std::move(read.timeline);
}

/// Puts the timeline's name in front of what is wrong with it.
template <class Call>
auto UnderName(RenderFlags const& flags, Call call) {
    try {
        return call();
    } catch (Host::GraphException const& failure) {
        TARSEL_THROW(Host::GraphException, flags.timeline + ": " + failure.what());
    }
}

/// What reading warned of is told with a refusal, too: what was left out may be why there is nothing to render.
std::unique_ptr<Host::BuiltTimeline> Build(RenderFlags const& flags, Host::Timeline timeline,
                                           std::vector<std::string> const& warnings) {
    try {
        return UnderName(flags, [&] { return std::make_unique<Host::BuiltTimeline>(std::move(timeline)); });
    } catch (std::exception const&) {
        PrintWarnings(warnings);
        throw;
    }
}

int Run(RenderFlags const& flags) {
    if (flags.schema) {
        PrintOutput(Host::WriteTimelineSchema());
        return EXIT_DONE;
    }
    std::vector<std::string> warnings;
    Host::Timeline timeline = ReadTimeline(flags, warnings);
    if (IsRefused(flags, warnings)) return EXIT_WARNINGS;
    auto const built = Build(flags, std::move(timeline), warnings);
    if (flags.printPlan) {
        warnings.insert(warnings.end(), built->GetWarnings().begin(), built->GetWarnings().end());
        PrintWarnings(warnings);
        PrintOutput(Host::PlanText(built->GetPlan()));
        return flags.strict && !warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
    }
    if (IsRefused(flags, built->GetWarnings())) return EXIT_WARNINGS;
    Host::RenderOptions options;
    if (!flags.dryRun) options.output = flags.form.output;
    options.videoCodec = flags.form.videoCodec;
    options.audioCodec = flags.form.audioCodec;
    options.quality = flags.form.quality;
    options.audioBitRate = flags.form.audioBitRate;
    options.force = flags.force;
    Host::RenderReport report;
    {
        ProgressLine progress("rendering");
        report = UnderName(flags, [&] {
            return Host::RenderTimeline(*built, options, [&](int64 done, int64 total) { progress.Show(done, total); });
        });
    }
    report.warnings.insert(report.warnings.begin(), warnings.begin(), warnings.end());
    PrintWarnings(report.warnings);
    PrintOutput(flags.json ? report.ToJson() + "\n" : report.ToText());
    return flags.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

}  // namespace

void AddRenderCommand(CLI::App& program, Action& chosen) {
    auto const flags = std::make_shared<RenderFlags>();
    Host::ShortFormOptions& form = flags->form;
    CLI::App& command = *program.add_subcommand("render", "Renders a timeline of clips into a media file");
    command.add_option("timeline", flags->timeline, "The timeline file (JSON, or .otio)");
    command.add_option("-o,--output", form.output, "Where the result goes; its ending names the container");
    command.add_option("--video-codec", form.videoCodec, "Codec of the pictures (h264, hevc, vp9, mpeg4...)");
    command.add_option("--audio-codec", form.audioCodec, "Codec of the sound (aac, opus, mp3, flac...)");
    command.add_option("--quality", form.quality,
                       "Constant quality of the pictures on the codec's own scale, lower is better (h264: 18)");
    command
        .add_option("--bitrate", form.audioBitRate, "Bits a second of the sound, for codecs that have a rate (96000)")
        ->check(CLI::PositiveNumber);
    command.add_option("--size", flags->size, "WxH: the size of the pictures, whatever the timeline says");
    command.add_option("--rate", flags->rate, "N or N/D: frames a second, whatever the timeline says");
    command.add_flag("--dry-run", flags->dryRun, "Read everything and write nothing");
    command.add_flag("--print-plan", flags->printPlan, "Print which frames and samples each clip takes, and stop");
    command.add_flag("--schema", flags->schema, "Print the JSON Schema of timeline files and do nothing else");
    command.add_flag("--force", flags->force, "Replace a file that stands at the output's place");
    command.add_flag("--strict", flags->strict,
                     "Exit with 3 when there are warnings; nothing is written with those that show beforehand");
    command.add_flag("--json", flags->json, "Print the result as JSON");
    command.footer("Example:\n  tarsel render holiday.otio -o holiday.mp4 --size 1280x720");
    command.final_callback([flags, &chosen] {
        if (flags->schema != flags->timeline.empty())
            RefuseUsage(flags->schema ? "--schema takes no timeline" : "timeline: a timeline file is required");
        if (flags->printPlan && flags->json) RefuseUsage("--print-plan prints text, and no JSON");
        bool const writes = !flags->dryRun && !flags->printPlan && !flags->schema;
        if (writes && flags->form.output.empty()) RefuseUsage("-o: an output is required");
        ReadSize(*flags);
        if (!flags->rate.empty()) flags->frameRate = ReadRate(flags->rate);
        if (!flags->form.output.empty()) CheckEncoding(flags->form);
        chosen = [flags] { return Run(*flags); };
    });
}

}  // namespace Tarsel::Tool
