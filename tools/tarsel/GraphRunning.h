#pragma once

#include <string>

#include "host/graph/GraphJob.h"

namespace CLI {
class App;
}

namespace Tarsel::Tool {

/// What every command that runs a graph can be told.
struct GraphFlags {
    bool dryRun = false;
    bool stats = false;
    bool json = false;
    bool force = false;
    bool strict = false;
};

/// Enters the options of these flags.
void AddGraphFlags(CLI::App& command, GraphFlags& flags);

/// Runs the graph with a progress line called `label`, prints warnings and report, and gives the exit code. `warnings`
/// stand in front of those of the run.
int RunAndReport(Host::GraphDocument const& document, Host::GraphRunOptions options, GraphFlags const& flags,
                 std::string const& label, std::vector<std::string> const& warnings);

}  // namespace Tarsel::Tool
