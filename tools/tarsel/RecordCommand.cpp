#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "contracts/Core/Exception.h"
#include "host/cut/RangeText.h"
#include "host/digest/RecordFile.h"
#include "host/graph/GraphErrors.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Signals.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr int MOST_THREADS = 64;

struct RecordCommandOptions {
    Host::RecordRequest request;
    std::vector<std::string> settings;
    std::vector<std::string> nodes;
    std::vector<std::string> seeks;
    std::string threads;
    bool json = false;
    bool strict = false;
};

void ReadSettings(RecordCommandOptions& options) {
    for (std::string const& text : options.settings) {
        std::size_t const sign = text.find('=');
        if (sign == std::string::npos || sign == 0) RefuseUsage("--set: \"" + text + "\" is not NAME=VALUE");
        if (!options.request.variables.emplace(text.substr(0, sign), text.substr(sign + 1)).second)
            RefuseUsage("--set: " + text.substr(0, sign) + " is given twice");
    }
}

/// Ids with commas between them. An empty one is a mistake: nothing at all would mean all nodes.
void ReadNodes(std::string const& text, std::vector<Host::NodeId>& nodes) {
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(',', begin), text.size());
        Host::NodeId id = 0;
        if (!ReadNumber(text.substr(begin, end - begin), id))
            RefuseUsage("--nodes: \"" + text.substr(begin, end - begin) + "\" is not the id of a node");
        nodes.push_back(id);
        begin = end + 1;
    }
}

void Check(RecordCommandOptions& options) {
    Host::RecordRequest& request = options.request;
    ReadSettings(options);
    for (std::string const& text : options.nodes) ReadNodes(text, request.nodes);
    for (std::string const& text : options.seeks) {
        auto const time = Host::ParseTime(text);
        if (!time) RefuseUsage("--seek: \"" + text + "\" is not a time of up to thirty days");
        request.seeks.push_back(*time);
    }
    if (!options.threads.empty() && (!ReadNumber(options.threads, request.decoderThreads) ||
                                     request.decoderThreads < 1 || request.decoderThreads > MOST_THREADS))
        RefuseUsage("--threads: \"" + options.threads + "\" is not a whole number from 1 to " +
                    std::to_string(MOST_THREADS));
    if (request.frameHashes.empty()) return;
    if (!request.seeks.empty()) RefuseUsage("--framemd5 lists one straight run: it can't be used with --seek");
    if (AreOneTarget(request.output, request.frameHashes))
        RefuseUsage("--framemd5: " + request.frameHashes + " is the output itself");
}

int Refuse(std::string const& what) {
    std::fprintf(stderr, "tarsel: %s\n", what.c_str());
    return EXIT_USAGE;
}

int Record(RecordCommandOptions const& options) {
    Host::RecordRequest const& request = options.request;
    bool const isGraph = Host::IsGraphFile(request.input);
    if (isGraph && request.decoded)
        return Refuse("--decoded: " + request.input + " is a graph, whose sources say what is decoded");
    std::error_code ignored;
    if (!isGraph && !request.variables.empty() && std::filesystem::exists(request.input, ignored))
        return Refuse("--set: " + request.input + " is not a graph, and has no names to fill in");
    Host::RecordPlan const plan = Host::PlanRecord(request);
    try {
        Host::CheckNodes(plan.document, request.nodes);
    } catch (Host::GraphException const& failure) {
        return Refuse("--nodes: " + request.input + ": " + failure.what());
    }
    Host::RecordReport report;
    {
        ProgressLine progress("recording");
        // A signal between two files would leave the first of them alone.
        report = Host::RecordToFile(
            plan, request, [&](int64 done, int64 total) { progress.Show(done, total); },
            [] { return std::make_shared<SignalDelay>(); });
    }
    PrintWarnings(report.warnings);
    PrintOutput(options.json ? report.ToJson() + "\n" : report.ToText());
    return options.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

void AddOptions(CLI::App& command, RecordCommandOptions& options) {
    Host::RecordRequest& request = options.request;
    CLI::Validator const given(CheckGiven, "");
    command.add_option("input", request.input, "A graph file (JSON), or a media file")->required();
    command.add_option("-o,--output", request.output, "Where the record goes (JSON)")->required()->check(given);
    command.add_option("--set", options.settings, "NAME=VALUE: what ${NAME} stands for in the graph; repeatable")
        ->allow_extra_args(false);
    command.add_option("--nodes", options.nodes, "The nodes that are recorded: ids with commas (all)")
        ->check(given)
        ->allow_extra_args(false);
    command.add_flag("--decoded", request.decoded, "Of a media file: also the frames, samples and titles");
    command
        .add_option("--framemd5", request.frameHashes,
                    "Also write hashes in the text format of ffmpeg: of a media file's packets (with --decoded of its "
                    "frames and samples), of a graph's ends, or of --nodes")
        ->check(given);
    command.add_option("--threads", options.threads, "Threads of each decoder (as many as suit)")->check(given);
    command
        .add_option("--seek", options.seeks,
                    "Go to this time (1:23.4, 83.4, 500ms) and read an item of each stream before reading all from "
                    "the start; repeatable")
        ->allow_extra_args(false);
    command.add_flag("--force", request.force, "Replace files that stand at the outputs' places");
    command.add_flag("--strict", options.strict, "Exit with 3 when there were warnings");
    command.add_flag("--json", options.json, "Print the result as JSON");
}

}  // namespace

void AddRecordCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<RecordCommandOptions>();
    CLI::App& command = *program.add_subcommand(
        "record", "Runs a graph, or reads a media file, and writes down a digest of each item of each node");
    AddOptions(command, *options);
    command.footer(
        "The output of a graph is read and not written. Node N of a media file are the packets of its stream N, node\n"
        "1000 + N what is decoded of them. Two records are compared by \"tarsel compare\".\nExamples:\n"
        "  tarsel record examples/trim.json --set IN=film.mp4 --set OUT=unused.mp4 -o run.json\n"
        "  tarsel record film.mp4 -o film.json --decoded --framemd5 film.framemd5");
    command.final_callback([options, &chosen] {
        Check(*options);
        chosen = [options] { return Record(*options); };
    });
}

}  // namespace Tarsel::Tool
