#include <CLI/CLI.hpp>
#include <memory>

#include "host/cut/Probe.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

struct ProbeOptions {
    std::string input;
    bool json = false;
    bool headers = false;
};

int Probe(ProbeOptions const& options) {
    Host::ProbeReport const report = Host::Probe(options.input, options.headers);
    PrintWarnings(report.warnings);
    PrintOutput(options.json ? report.ToJson() + "\n" : report.ToText());
    return EXIT_DONE;
}

}  // namespace

void AddProbeCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<ProbeOptions>();
    CLI::App& command = *program.add_subcommand("probe", "Tells what is in a media file and how it would be cut");
    command.add_option("input", options->input, "The media file")->required();
    command.add_flag("--json", options->json, "Print it as JSON");
    command.add_flag("--headers", options->headers, "Also tell the header records of each stream, field by field");
    command.footer("Example:\n  tarsel probe film.mp4 --json\n  tarsel probe film.mp4 --headers");
    command.final_callback([options, &chosen] { chosen = [options] { return Probe(*options); }; });
}

}  // namespace Tarsel::Tool
