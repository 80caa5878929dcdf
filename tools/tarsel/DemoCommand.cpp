#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "contracts/Core/Exception.h"
#include "host/cut/CutJob.h"
#include "host/media/SampleClip.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

// Both ends lie inside a group of pictures, with whole groups between them.
constexpr char DEMO_RANGE[] = "5.2s-12.6s";

struct DemoOptions {
    std::string folder = "tarsel-demo";
    bool json = false;
};

std::string Megabytes(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return "?";
    return std::to_string(status.st_size / 1000) + " kB";
}

/// Ten lines: what was made, what was copied, what was encoded again, how long it took, where the result is.
std::string Tell(Host::CutReport const& report) {
    std::string text;
    auto const line = [&](std::string const& what) { text += what + "\n"; };
    auto const& [begin, end] = report.removedUs.front();
    line("Made a sample of " + Host::ShortTime(report.durationUs) + " (" + Megabytes(report.input) +
         "): " + report.input);
    line("Asked to remove " + std::string(DEMO_RANGE) + "; the range fell to " + Host::ShortTime(begin) + " - " +
         Host::ShortTime(end));
    for (Host::CutStreamReport const& stream : report.streams) {
        line("#" + std::to_string(stream.index) + " " + stream.kind + " " + stream.codec + ": " +
             std::to_string(stream.packetsCopied) + " packets copied bit for bit, " +
             std::to_string(stream.packetsRecoded) + " encoded again, " + std::to_string(stream.packetsDropped) +
             " dropped");
        line("    " + stream.reason);
    }
    Host::CutStreamReport const& video = report.streams.front();
    line("Groups of pictures: " + std::to_string(video.groupsCopied) + " copied, " +
         std::to_string(video.groupsRecoded) + " encoded again, " + std::to_string(video.groupsDropped) + " dropped");
    line("Read back and verified: " + std::string(report.verified.value_or(false) ? "yes" : "no"));
    line("Took " + std::to_string(static_cast<int>(report.wallSeconds * 1000)) + " ms for " +
         Host::ShortTime(report.GetResultDuration()) + " of result, verification included");
    line("The result (" + Megabytes(report.output) + "): " + report.output);
    return text;
}

int Demo(DemoOptions const& options) {
    if (mkdir(options.folder.c_str(), 0777) != 0 && errno != EEXIST)
        TARSEL_THROW(Core::IOException, options.folder + ": can't be made: " + std::strerror(errno));
    Host::CutRequest request;
    request.input = options.folder + "/sample.mp4";
    request.output = options.folder + "/cut.mp4";
    request.ranges = {Host::ParseRange(DEMO_RANGE)};
    request.verify = true;
    request.force = true;
    Host::WriteSampleClip(request.input, Host::SampleClipOptions(), true);
    Host::CutReport report;
    {
        ProgressLine progress("cutting");
        report = Host::RunCut(request, [&](int64 done, int64 total) { progress.Show(done, total); });
    }
    PrintWarnings(report.warnings);
    PrintOutput(options.json ? report.ToJson() + "\n" : Tell(report));
    return EXIT_DONE;
}

}  // namespace

void AddDemoCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<DemoOptions>();
    CLI::App& command =
        *program.add_subcommand("demo", "Makes a sample clip, cuts a stretch out of it and verifies the result");
    command.add_option("--folder", options->folder, "Where sample.mp4 and cut.mp4 go; they are replaced")
        ->capture_default_str();
    command.add_flag("--json", options->json, "Print the result as JSON");
    command.footer("Example:\n  tarsel demo --folder /tmp/tarsel-demo");
    command.final_callback([options, &chosen] { chosen = [options] { return Demo(*options); }; });
}

}  // namespace Tarsel::Tool
