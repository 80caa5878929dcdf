#include "tools/tarsel/GraphRunning.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <utility>

#include "host/graph/GraphWriter.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

void AddGraphFlags(CLI::App& command, GraphFlags& flags) {
    command.add_flag("--dry-run", flags.dryRun, "Read everything and write nothing");
    command.add_flag("--stats", flags.stats, "Also tell the time of each node and the statistics of the filters");
    command.add_flag("--force", flags.force, "Replace a file that stands at the output's place");
    command.add_flag("--strict", flags.strict, "Exit with 3 when there were warnings");
    command.add_flag("--json", flags.json, "Print the result as JSON");
}

int RunAndReport(Host::GraphDocument const& document, Host::GraphRunOptions options, GraphFlags const& flags,
                 std::string const& label, std::vector<std::string> const& warnings) {
    options.dryRun = flags.dryRun;
    options.force = flags.force;
    Host::GraphReport report;
    {
        ProgressLine progress(label);
        report = Host::RunGraph(document, options, [&](int64 done, int64 total) { progress.Show(done, total); });
    }
    report.warnings.insert(report.warnings.begin(), warnings.begin(), warnings.end());
    PrintWarnings(report.warnings);
    PrintOutput(flags.json ? report.ToJson(flags.stats) + "\n" : report.ToText(flags.stats));
    return flags.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

void AddChangedFileOptions(CLI::App& command, Host::ShortFormOptions& form, bool& printGraph, GraphFlags& flags,
                           bool needsOutput) {
    command.add_option("-o,--output", form.output, "Where the result goes; its ending names the container")
        ->required(needsOutput);
    command.add_option("--video-codec", form.videoCodec, "Codec of pictures that are encoded (h264, hevc, vp9...)");
    command.add_option("--audio-codec", form.audioCodec, "Codec of sound that is encoded (aac, opus, flac...)");
    command.add_option("--quality", form.quality,
                       "Constant quality of the pictures on the codec's own scale, lower is better (h264: 18)");
    command.add_flag("--print-graph", printGraph, "Print the graph file that the command stands for");
    AddGraphFlags(command, flags);
}

int RunChangedFile(Host::ShortFormGraph const& graph, bool printGraph, GraphFlags const& flags,
                   std::string const& label) {
    if (printGraph) {
        PrintWarnings(graph.warnings);
        PrintOutput(Host::WriteGraph(graph.document));
        return EXIT_DONE;
    }
    Host::GraphRunOptions running;
    running.building.opened = graph.files;
    running.attachments = true;
    running.chaptersUntil = std::numeric_limits<int64>::max();
    return RunAndReport(graph.document, running, flags, label, graph.warnings);
}

}  // namespace Tarsel::Tool
