#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "host/cut/CutJob.h"
#include "host/media/TextFile.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

struct CutOptions {
    Host::CutRequest request;
    std::vector<std::string> remove;
    std::vector<std::string> keep;
    std::string snap = "less";
    std::string svg;
    bool plan = false;
    bool json = false;
    bool strict = false;
};

std::string NotARange(std::string const& text) {
    try {
        Host::ParseRange(text);
        return {};
    } catch (std::invalid_argument const& refusal) {
        return refusal.what();
    }
}

/// What the reader of the arguments can't tell on its own.
void CheckUsage(CutOptions const& options) {
    if (options.remove.empty() == options.keep.empty())
        TARSEL_THROW(CLI::ValidationError, options.remove.empty() ? "--remove or --keep is required"
                                                                  : "--remove and --keep can't be used in one call");
    if (options.request.output.empty() && !options.plan) TARSEL_THROW(CLI::RequiredError, "-o,--output");
    if (options.plan && options.request.verify)
        TARSEL_THROW(CLI::ValidationError, "--verify needs a result: it can't be used with --plan");
}

std::string Summary(Host::CutReport const& report) {
    std::string text = report.output + ": " + Host::ShortTime(report.GetResultDuration()) + " of " +
                       Host::ShortTime(report.durationUs);
    int64 copied = 0;
    int64 recoded = 0;
    for (Host::CutStreamReport const& stream : report.streams) {
        copied += stream.packetsCopied;
        recoded += stream.packetsRecoded;
    }
    text += ", " + std::to_string(copied) + " packets copied, " + std::to_string(recoded) + " encoded again";
    if (report.verified) text += *report.verified ? ", verified" : "";
    return text + "\n";
}

int Cut(CutOptions& options) {
    Host::CutRequest& request = options.request;
    request.keep = !options.keep.empty();
    for (std::string const& text : request.keep ? options.keep : options.remove)
        request.ranges.push_back(Host::ParseRange(text));
    request.snap = options.snap == "more" ? Host::CutRequest::Snap::More : Host::CutRequest::Snap::Less;

    // Refused before the work, not behind it.
    std::optional<Host::TextFile> drawing;
    if (!options.svg.empty()) drawing.emplace(options.svg, request.force);
    Host::CutReport report;
    {
        ProgressLine progress(options.plan ? "planning" : "cutting");
        auto const show = [&](int64 done, int64 total) { progress.Show(done, total); };
        report = options.plan ? Host::PlanCut(request, show) : Host::RunCut(request, show);
    }
    if (drawing) drawing->Write(report.ToSvg());
    PrintWarnings(report.warnings);
    if (options.json)
        PrintOutput(report.ToJson() + "\n");
    else
        PrintOutput(options.plan ? report.ToText(TerminalWidth()) : Summary(report));
    return options.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

}  // namespace

void AddCutCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<CutOptions>();
    CLI::App& command =
        *program.add_subcommand("cut", "Removes stretches from a media file without decoding what stays");
    command.add_option("input", options->request.input, "The media file to cut")->required();
    command.add_option("-o,--output", options->request.output, "Where the result goes; its ending names the container");
    // One value each: without this the next word, the input's name, would be taken for a second range.
    command.add_option("--remove", options->remove, "A range A-B to remove; repeatable")
        ->check(NotARange)
        ->allow_extra_args(false);
    command.add_option("--keep", options->keep, "A range A-B to keep; repeatable")
        ->check(NotARange)
        ->allow_extra_args(false);
    command
        .add_option(
            "--snap", options->snap,
            "Where pictures can be cut at random access points only: \"less\" moves the ends inward (nothing outside "
            "the ranges is lost), \"more\" takes whole groups away")
        ->check(CLI::IsMember({"less", "more"}))
        ->capture_default_str();
    command.add_flag("--plan", options->plan, "Tell what would be copied and what encoded again, and write nothing");
    command.add_option("--svg", options->svg, "Also draw the plan as a picture into this file");
    command.add_flag("--verify", options->request.verify, "Read the result back before it is put in place");
    command.add_flag("--reencode", options->request.reencode, "Decode and encode everything: exact to the sample");
    command.add_flag("--force", options->request.force, "Replace a file that stands at the output's place");
    command.add_flag("--strict", options->strict, "Exit with 3 when there were warnings");
    command.add_flag("--json", options->json, "Print plan or result as JSON");
    command.footer(
        "Times: [[HH:]MM:]SS[.fraction], or a number with s, ms or us. Ranges are half open; a side may be empty, "
        "\"start\" or "
        "\"end\".\nExamples:\n  tarsel cut film.mp4 -o short.mp4 --remove 12:30-14:05.5 --remove 1:02:00-end\n"
        "  tarsel cut film.mkv --keep start-90s --plan");
    command.final_callback([options, &chosen] {
        CheckUsage(*options);
        chosen = [options] { return Cut(*options); };
    });
}

}  // namespace Tarsel::Tool
