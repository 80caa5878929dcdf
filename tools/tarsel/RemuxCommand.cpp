#include <CLI/CLI.hpp>
#include <memory>

#include "host/remux/RemuxJob.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

struct RemuxOptions {
    Host::RemuxRequest request;
    bool json = false;
    bool strict = false;
};

int Remux(RemuxOptions const& options) {
    Host::RemuxReport report;
    {
        ProgressLine progress("remuxing");
        report = Host::RunRemux(options.request, [&](int64 done, int64 total) { progress.Show(done, total); });
    }
    PrintWarnings(report.warnings);
    PrintOutput(options.json ? report.ToJson() + "\n" : report.ToText());
    return options.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

}  // namespace

void AddRemuxCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<RemuxOptions>();
    CLI::App& command =
        *program.add_subcommand("remux", "Brings the streams of a media file into another container as they are");
    command.add_option("input", options->request.input, "The media file")->required();
    command.add_option("-o,--output", options->request.output, "Where the result goes; its ending names the container")
        ->required();
    command.add_flag("--verify", options->request.verify, "Read the result back before it is put in place");
    command.add_flag("--force", options->request.force, "Replace a file that stands at the output's place");
    command.add_flag("--strict", options->strict, "Exit with 3 when there were warnings");
    command.add_flag("--json", options->json, "Print the result as JSON");
    command.footer(
        "Nothing is decoded; packets change their framing where the container asks for it.\nExample:\n"
        "  tarsel remux recording.ts -o recording.mp4");
    command.final_callback([options, &chosen] { chosen = [options] { return Remux(*options); }; });
}

}  // namespace Tarsel::Tool
