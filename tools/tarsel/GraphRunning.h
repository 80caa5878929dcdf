#pragma once

#include <string>

#include "host/graph/GraphJob.h"
#include "host/graph/ShortForms.h"

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

/// Enters what commands share that change some streams of a file and keep the others: where the result goes, how
/// streams are encoded, `--print-graph`, and the flags.
void AddChangedFileOptions(CLI::App& command, Host::ShortFormOptions& form, bool& printGraph, GraphFlags& flags,
                           bool needsOutput = true);

/// Runs the graph of such a command as above, or prints it; chapters and attachments go along.
int RunChangedFile(Host::ShortFormGraph const& graph, bool printGraph, GraphFlags const& flags,
                   std::string const& label);

}  // namespace Tarsel::Tool
