#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "contracts/Core/Exception.h"
#include "host/cut/RangeText.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphSchema.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

struct RunOptions {
    std::string graph;
    std::vector<std::string> settings;
    std::string drawing;
    std::vector<std::string> seeks;
    bool schema = false;
    GraphFlags flags;
};

std::string NotASetting(std::string const& text) {
    std::size_t const sign = text.find('=');
    if (sign != std::string::npos && sign != 0) return {};
    return "\"" + text + "\" is not NAME=VALUE";
}

Host::GraphVariables ParseSettings(std::vector<std::string> const& settings) {
    Host::GraphVariables variables;
    for (std::string const& text : settings) {
        std::size_t const sign = text.find('=');
        if (!variables.emplace(text.substr(0, sign), text.substr(sign + 1)).second)
            TARSEL_THROW(CLI::ValidationError, "--set: " + text.substr(0, sign) + " is given twice");
    }
    return variables;
}

std::string NotATime(std::string const& text) {
    if (Host::ParseTime(text)) return {};
    return "\"" + text + "\" is not a time of up to thirty days";
}

int Run(RunOptions const& options, Host::GraphVariables const& variables) {
    if (options.schema) {
        PrintOutput(Host::GraphSchema());
        return EXIT_DONE;
    }
    Host::GraphDocument const document = Host::ReadGraph(options.graph, variables);
    Host::GraphRunOptions running;
    running.name = options.graph;
    if (!options.drawing.empty()) {
        PrintOutput(Host::DrawGraph(document, running));
        return EXIT_DONE;
    }
    for (std::string const& text : options.seeks) running.seeks.push_back(*Host::ParseTime(text));
    if (!running.seeks.empty() && !options.flags.dryRun && !document.output.IsDry()) {
        std::fputs("tarsel: --seek: what is written begins at its start; add --dry-run\n", stderr);
        return EXIT_USAGE;
    }
    return RunAndReport(document, running, options.flags, "running", {});
}

}  // namespace

void AddRunCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<RunOptions>();
    CLI::App& command = *program.add_subcommand("run", "Runs a graph of filters that a file describes");
    command.add_option("graph", options->graph, "The graph file (JSON)");
    command.add_option("--set", options->settings, "NAME=VALUE: what ${NAME} stands for in the file; repeatable")
        ->check(NotASetting)
        ->allow_extra_args(false);
    command
        .add_option("--graph", options->drawing, "Print the built graph as a drawing (\"dot\") instead of running it")
        ->check(CLI::IsMember({"dot"}));
    command
        .add_option("--seek", options->seeks,
                    "Go to this time (1:23.4, 83.4, 500ms) and read an item of each stream before playing on; "
                    "repeatable, with a dry run only")
        ->check(NotATime)
        ->allow_extra_args(false);
    command.add_flag("--schema", options->schema, "Print the JSON Schema of graph files and do nothing else");
    AddGraphFlags(command, options->flags);
    command.footer(
        "Example:\n  tarsel run examples/trim.json --set IN=film.mp4 --set OUT=start.mp4 --stats\n"
        "  tarsel run graph.json --graph dot | dot -Tsvg -o graph.svg");
    command.final_callback([options, &chosen] {
        if (options->schema != options->graph.empty())
            TARSEL_THROW(CLI::ValidationError,
                         options->schema ? "--schema takes no graph" : "graph: a graph file is required");
        auto const variables = ParseSettings(options->settings);
        chosen = [options, variables] { return Run(*options, variables); };
    });
}

}  // namespace Tarsel::Tool
