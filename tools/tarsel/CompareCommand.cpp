#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <string>

#include "host/digest/ComparisonReport.h"
#include "host/digest/RecordReader.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

struct CompareOptions {
    std::string first;
    std::string second;
    bool all = false;
    bool json = false;
};

int Compare(CompareOptions const& options) {
    Proc::GraphCRCData const first = Host::LoadRecord(options.first);
    Proc::GraphCRCData const second = Host::LoadRecord(options.second);
    Host::ComparisonReport const report(first, second);
    std::size_t const shown = options.all ? std::numeric_limits<std::size_t>::max() : Host::ComparisonReport::FEW;
    PrintOutput(options.json ? report.ToJson() + "\n" : report.ToText(shown));
    return report.IsEqual() ? EXIT_DONE : EXIT_MISMATCH;
}

}  // namespace

void AddCompareCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<CompareOptions>();
    CLI::App& command = *program.add_subcommand(
        "compare", "Tells whether two recorded runs are equal; exits with 0 when they are, with 4 when they differ");
    command.add_option("first", options->first, "The record that is compared with (JSON)")
        ->required()
        ->check(CheckGiven);
    command.add_option("second", options->second, "The record that is compared")->required()->check(CheckGiven);
    auto* const all =
        command.add_flag("--all", options->all, "Show all differences, not only the first five of each node");
    command.add_flag("--json", options->json, "Print the result as JSON")->excludes(all);
    command.footer(
        "Example:\n  tarsel record graph.json -o before.json\n  tarsel record graph.json -o after.json\n"
        "  tarsel compare before.json after.json");
    command.final_callback([options, &chosen] { chosen = [options] { return Compare(*options); }; });
}

}  // namespace Tarsel::Tool
