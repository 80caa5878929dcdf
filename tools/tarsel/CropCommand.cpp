#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "contracts/Core/Exception.h"
#include "host/crop/CropApply.h"
#include "host/cut/RangeText.h"
#include "host/graph/GraphJob.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/SettingFields.h"
#include "host/media/OutputFile.h"
#include "host/media/PngEncoder.h"
#include "host/media/TextFile.h"
#include "host/remux/RemuxJob.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct CropOptions {
    Host::CropRequest request;
    Host::ShortFormOptions form;
    std::string stream;
    std::string interval;
    std::string longest;
    std::string count;
    std::string limit;
    std::string precision;
    std::string frame;
    bool apply = false;
    bool printGraph = false;
    GraphFlags flags;
};

void ReadWithin(char const* option, std::string const& text, u32 lowest, u32 highest, u32& value) {
    if (text.empty()) return;
    if (!ReadNumber(text, value) || value < lowest || value > highest)
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not a whole number from " + std::to_string(lowest) +
                    " to " + std::to_string(highest));
}

void ReadLength(char const* option, std::string const& text, int64& value) {
    if (text.empty()) return;
    auto const time = Host::ParseTime(text);
    if (!time || *time <= 0)
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not a time above 0 and up to thirty days");
    value = *time;
}

void CheckForm(CropOptions const& options) {
    if (options.apply) {
        if (options.form.output.empty()) RefuseUsage("--apply needs --output");
        if (!options.frame.empty() && AreOneTarget(options.form.output, options.frame))
            RefuseUsage("--frame: " + options.frame + " is the output itself");
        return CheckEncoding(options.form);
    }
    auto const refuse = [](bool given, char const* option) {
        if (given) RefuseUsage(std::string(option) + " needs --apply");
    };
    refuse(!options.form.output.empty(), "--output");
    refuse(!options.form.videoCodec.empty(), "--video-codec");
    refuse(!options.form.audioCodec.empty(), "--audio-codec");
    refuse(options.form.quality.has_value(), "--quality");
    refuse(options.printGraph, "--print-graph");
    refuse(options.flags.dryRun, "--dry-run");
    refuse(options.flags.stats, "--stats");
}

void Check(CropOptions& options) {
    Host::CropRequest& request = options.request;
    u32 stream = 0;
    ReadWithin("--stream", options.stream, 0, 65535, stream);
    request.stream = static_cast<int>(stream);
    ReadLength("--interval", options.interval, request.interval);
    ReadLength("--max", options.longest, request.longest);
    ReadWithin("--count", options.count, 1, 100000, request.count);
    ReadWithin("--limit", options.limit, 1, 65535, request.limit);
    ReadWithin("--precision", options.precision, 0, static_cast<u32>(Host::MAX_PICTURE_SIDE), request.precision);
    CheckForm(options);
}

/// What was written in place of the frame with bars.
struct Applied {
    bool copied = false;
    Json report;
    std::string text;
    std::vector<std::string> warnings;
};

/// There is nothing to cut off: the packets go along as they are.
Applied Copy(CropOptions const& options) {
    Applied applied;
    applied.copied = true;
    applied.text = "nothing to cut off: ";
    if (options.flags.dryRun) {
        applied.text += "the packets would be copied\n";
        return applied;
    }
    Host::RemuxRequest request;
    request.input = options.request.input;
    request.output = options.form.output;
    request.force = options.flags.force;
    ProgressLine progress("copying");
    Host::RemuxReport const report =
        Host::RunRemux(request, [&](int64 done, int64 total) { progress.Show(done, total); });
    applied.report = Json::parse(report.ToJson());
    applied.text += "the packets were copied\n" + report.ToText();
    applied.warnings = report.warnings;
    return applied;
}

/// Moves what is kept of the region where the pictures turn out to need that.
Applied Encode(CropOptions const& options, Host::CropReport& found) {
    Host::GraphRunOptions running;
    running.attachments = true;
    running.chaptersUntil = std::numeric_limits<int64>::max();
    running.dryRun = options.flags.dryRun;
    running.force = options.flags.force;
    ProgressLine progress("cropping");
    Host::GraphReport const report = Host::RunCrop(options.request, found, options.form, running,
                                                   [&](int64 done, int64 total) { progress.Show(done, total); });
    Applied applied;
    applied.report = Json::parse(report.ToJson(options.flags.stats));
    applied.text = report.ToText(options.flags.stats);
    applied.warnings = report.warnings;
    return applied;
}

Applied Apply(CropOptions const& options, Host::CropReport& found) {
    bool const copies = Host::IsCropCopy(options.request, found, options.form);
    Applied applied = copies ? Copy(options) : Encode(options, found);
    // What is wrong with the file itself has been told already.
    std::erase_if(applied.warnings, [&](std::string const& warning) {
        return std::find(found.warnings.begin(), found.warnings.end(), warning) != found.warnings.end();
    });
    return applied;
}

Json ToJson(Proc::CropInfo const& region) {
    return {{"left", region.left},     {"right", region.right},      {"top", region.top},
            {"bottom", region.bottom}, {"width", region.GetWidth()}, {"height", region.GetHeight()}};
}

void PrintAnswer(CropOptions const& options, Host::CropReport const& found, Applied const* applied) {
    if (!options.flags.json) return PrintOutput(found.ToText() + (applied ? applied->text : ""));
    Json document = Json::parse(found.ToJson());
    if (applied) {
        document["kept"] = ToJson(found.kept);
        document["copied"] = applied->copied;
        document["report"] = applied->report;
    }
    PrintOutput(document.dump(2) + "\n");
}

[[noreturn]] void FailWith(CropOptions const& options, std::string const& what) {
    TARSEL_THROW(Core::IOException, options.request.input + ": " + what);
}

int PrintGraph(CropOptions const& options, Host::CropReport const& found) {
    if (!found.known) FailWith(options, "not known where the picture is: there is no graph");
    if (Host::IsCropCopy(options.request, found, options.form))
        FailWith(options, "there are no bars to cut off: the packets are copied, without a graph");
    Host::ShortFormGraph const graph = Host::MakeCropGraph(options.request, found, options.form);
    PrintWarnings(graph.warnings);
    PrintOutput(Host::WriteGraph(graph.document));
    return EXIT_DONE;
}

int Crop(CropOptions const& options) {
    std::vector<std::string> const inputs{options.request.input};
    // Refused ahead of the work.
    if (options.apply && !options.printGraph && !options.flags.dryRun)
        Host::OutputFile(options.form.output, options.flags.force, inputs).Discard();
    std::optional<Host::TextFile> frame;
    if (!options.frame.empty()) frame.emplace(options.frame, options.flags.force, inputs);
    Host::CropReport found;
    {
        ProgressLine progress("looking for bars");
        found = Host::DetectCrop(options.request, [&](int64 done, int64 total) { progress.Show(done, total); });
    }
    if (frame && found.brightest) frame->Write(Host::PngEncoder().Encode(*found.brightest));
    PrintWarnings(found.warnings);
    if (options.printGraph) return PrintGraph(options, found);
    std::optional<Applied> applied;
    if (options.apply && found.known) applied = Apply(options, found);
    if (applied) PrintWarnings(applied->warnings);
    PrintAnswer(options, found, applied ? &*applied : nullptr);
    if (options.apply && !found.known) FailWith(options, "not known where the picture is: nothing is written");
    if (frame && !found.brightest) FailWith(options, "there is no picture for " + options.frame);
    bool const warned = !found.warnings.empty() || (applied && !applied->warnings.empty());
    return options.flags.strict && warned ? EXIT_WARNINGS : EXIT_DONE;
}

std::string Seconds(int64 time) {
    std::string text = std::to_string(static_cast<double>(time) / 1000000);
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text + " s";
}

void AddOptions(CLI::App& command, CropOptions& options) {
    Host::CropRequest const defaults;
    auto const add = [&](char const* name, std::string& value, std::string const& what) {
        command.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    command.add_option("input", options.request.input, "The media file")->required();
    add("--stream", options.stream, "Which of its video streams, from 0 (0)");
    add("--interval", options.interval,
        "How far pictures that are looked at are apart (" + Seconds(defaults.interval) + ")");
    add("--max", options.longest, "After which time the whole frame is the answer (" + Seconds(defaults.longest) + ")");
    add("--count", options.count, "How many pictures in a row must agree (" + std::to_string(defaults.count) + ")");
    add("--limit", options.limit,
        "From which change on a line belongs to the picture, in sample values (" + std::to_string(defaults.limit) +
            ")");
    add("--precision", options.precision,
        "Within how many pixels answers agree (" + std::to_string(defaults.precision) + ")");
    add("--frame", options.frame, "Write the brightest picture that was looked at there, as PNG");
    command.add_flag("--apply", options.apply, "Write the file without its bars");
    add("-o,--output", options.form.output, "Where that goes; its ending names the container");
    add("--video-codec", options.form.videoCodec, "Codec of the pictures (h264, hevc, vp9...)");
    add("--audio-codec", options.form.audioCodec, "Codec of sound that the container doesn't take as it is");
    command.add_option("--quality", options.form.quality,
                       "Constant quality of the pictures on the codec's own scale, lower is better (h264: 18)");
    command.add_flag("--print-graph", options.printGraph, "Print the graph file that --apply stands for");
    AddGraphFlags(command, options.flags);
}

}  // namespace

void AddCropCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<CropOptions>();
    CLI::App& command =
        *program.add_subcommand("crop", "Tells where the picture is between black bars, or cuts them off");
    AddOptions(command, *options);
    command.footer(
        "A bar is what doesn't change, so the pictures must move. Right and bottom are one past the picture, in "
        "pixels\n"
        "as they are coded. Without bars --apply copies the packets that the container takes; where it "
        "isn't known,\nit writes nothing.\nExamples:\n"
        "  tarsel crop film.mp4\n"
        "  tarsel crop film.mp4 --apply -o film2.mp4 --quality 20\n"
        "  tarsel crop short.mp4 --interval 0.1 --json");
    command.final_callback([options, &chosen] {
        Check(*options);
        chosen = [options] { return Crop(*options); };
    });
}

}  // namespace Tarsel::Tool
