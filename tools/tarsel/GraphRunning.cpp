#include "tools/tarsel/GraphRunning.h"

#include <CLI/CLI.hpp>
#include <utility>

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

}  // namespace Tarsel::Tool
