#include "host/graph/GraphReader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/GraphChecks.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"
#include "host/graph/GraphValues.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

namespace {

using Kind = JsonNode::Kind;

constexpr std::size_t NONE = JsonTree::NONE;
constexpr int64 KNOWN_VERSION = 1;
/// The widest scale of a codec (VP9) ends here.
constexpr int MAX_QUALITY = 63;
constexpr int64 MAX_BIT_RATE = 1000000000;

class GraphTextReader {
  public:
    explicit GraphTextReader(JsonTree const& tree) : tree(tree), findings(tree) {}

    GraphDocument Read();

  private:
    void ReadSources(std::size_t index);
    void RequireSource();
    void ReadFilters(std::size_t index);
    void ReadControllers(std::size_t index);
    void ReadOutput(std::size_t index);

    void ReadSource(std::size_t index);
    void ReadFilter(std::size_t index);
    void ReadController(std::size_t index);
    void ReadControllerStreams(std::size_t index, GraphController& controller);
    void ReadOutputStreams(std::size_t index);
    void ReadOutputStream(std::size_t index);

    /// Calls `read` for each entry of a list, up to the first finding: entries stand in the order of the text.
    template <class Function>
    void ForEach(std::size_t index, Function read);
    /// Opens a node's object and takes its id, which the findings inside of it are told with.
    NodeId OpenNode(std::size_t index, std::vector<std::string> const& keys);
    NodeId ReadId(std::size_t object, std::string_view key);
    CatalogEntry const* ReadClass(std::size_t object, bool controller, std::string& classId);
    std::string ReadImplementation(std::size_t object, CatalogEntry const* entry);

    JsonTree const& tree;
    GraphFindings findings;
    GraphDocument document;
};

GraphDocument GraphTextReader::Read() {
    if (ReadKeys(findings, 0, {"version", "description", "sources", "filters", "controllers", "output", "$schema"})) {
        for (std::size_t const child : tree[0].children) {
            std::string const& key = tree[child].key;
            if (key == "version" || key == "$schema") {
                if (key == "$schema")
                    ReadText(findings, child);
                else
                    ReadInteger(findings, child, KNOWN_VERSION, KNOWN_VERSION);
            }
            if (key == "description") document.description = ReadText(findings, child).value_or("");
            if (key == "sources") ReadSources(child);
            if (key == "filters") ReadFilters(child);
            if (key == "controllers") ReadControllers(child);
            if (key == "output") ReadOutput(child);
            if (findings.Any()) break;
        }
        if (!findings.Any()) {
            RequireSource();
            RequireKey(findings, 0, "output");
        }
    }
    findings.ThrowFirst();
    return std::move(document);
}

template <class Function>
void GraphTextReader::ForEach(std::size_t index, Function read) {
    if (tree[index].kind != Kind::Array) return findings.Report(index, "must be a list, not " + Shown(tree[index]));
    for (std::size_t const child : tree[index].children) {
        read(child);
        if (findings.Any()) return;
    }
}

void GraphTextReader::ReadSources(std::size_t index) {
    ForEach(index, [&](std::size_t child) { ReadSource(child); });
    findings.SetNode({});
}

/// A filter that reads nothing is a source, too.
void GraphTextReader::RequireSource() {
    bool const given =
        !document.sources.empty() || std::any_of(document.filters.begin(), document.filters.end(),
                                                 [](GraphFilter const& filter) { return filter.inputs.empty(); });
    if (given) return;
    std::size_t const sources = RequireKey(findings, 0, "sources");
    if (sources != NONE) findings.Report(sources, "a graph needs a source");
}

void GraphTextReader::ReadFilters(std::size_t index) {
    ForEach(index, [&](std::size_t child) { ReadFilter(child); });
    findings.SetNode({});
}

void GraphTextReader::ReadControllers(std::size_t index) {
    ForEach(index, [&](std::size_t child) { ReadController(child); });
    findings.SetNode({});
}

NodeId GraphTextReader::ReadId(std::size_t object, std::string_view key) {
    std::size_t const value = RequireKey(findings, object, key);
    if (value == NONE) return 0;
    // The smallest number means "no value" all over the library.
    constexpr int64 LARGEST = std::numeric_limits<int64>::max();
    return ReadInteger(findings, value, -LARGEST, LARGEST).value_or(0);
}

NodeId GraphTextReader::OpenNode(std::size_t index, std::vector<std::string> const& keys) {
    findings.SetNode({});
    if (tree[index].kind == Kind::Object) {
        // Only an id that reads can stand in front of the other findings.
        GraphFindings trial(tree);
        std::size_t const value = tree.Find(index, "id");
        constexpr int64 LARGEST = std::numeric_limits<int64>::max();
        if (value != NONE) findings.SetNode(ReadInteger(trial, value, -LARGEST, LARGEST));
    }
    if (!ReadKeys(findings, index, keys)) return 0;
    return ReadId(index, "id");
}

void GraphTextReader::ReadSource(std::size_t index) {
    GraphSource source;
    source.id = OpenNode(index, {"id", "file", "stream", "packets", "charset", "delay"});
    source.pointer = tree.PointerOf(index);
    if (tree[index].kind == Kind::Object) {
        if (std::size_t const file = RequireKey(findings, index, "file"); file != NONE) {
            source.file = ReadText(findings, file).value_or("");
            if (source.file.empty()) findings.Report(file, "the name of the file is empty");
        }
        if (std::size_t const stream = RequireKey(findings, index, "stream"); stream != NONE)
            source.stream = ReadSelector(findings, stream);
        if (std::size_t const packets = tree.Find(index, "packets"); packets != NONE)
            source.packets = ReadBoolean(findings, packets).value_or(false);
        if (std::size_t const charset = tree.Find(index, "charset"); charset != NONE) {
            source.charset = ReadText(findings, charset).value_or("");
            if (source.charset.empty()) findings.Report(charset, "the name of the encoding is empty");
        }
        if (std::size_t const delay = tree.Find(index, "delay"); delay != NONE)
            source.delay = ReadInteger(findings, delay, -MAX_DURATION, MAX_DURATION, "us").value_or(0);
    }
    document.sources.push_back(std::move(source));
}

CatalogEntry const* GraphTextReader::ReadClass(std::size_t object, bool controller, std::string& classId) {
    std::size_t const value = RequireKey(findings, object, "class");
    if (value == NONE) return nullptr;
    auto const name = ReadText(findings, value);
    if (!name) return nullptr;
    classId = *name;
    CatalogEntry const* const entry = FindInCatalog(classId);
    if (entry && entry->isController == controller) return entry;
    if (entry) {
        findings.Report(value, classId + (controller ? " is a filter: it belongs into \"filters\""
                                                     : " is a controller: it belongs into \"controllers\""));
        return nullptr;
    }
    std::vector<std::string> names;
    for (CatalogEntry const& known : GetSettingsCatalog())
        if (known.isController == controller) names.push_back(known.classId);
    findings.Report(value, std::string("there is no ") + (controller ? "controller " : "filter ") + Quoted(classId) +
                               Suggest(classId, names));
    return nullptr;
}

std::string GraphTextReader::ReadImplementation(std::size_t object, CatalogEntry const* entry) {
    std::size_t const value = tree.Find(object, "implementation");
    if (value == NONE) return Proc::ImplNames::DEFAULT;
    auto const name = ReadText(findings, value);
    if (!name || !entry || *name == Proc::ImplNames::DEFAULT) return name.value_or("");
    auto const& known = entry->implementations;
    if (std::find(known.begin(), known.end(), *name) == known.end()) {
        std::string list;
        for (std::string const& implementation : known) list += (list.empty() ? "\"" : ", \"") + implementation + "\"";
        findings.Report(value, entry->classId + " has no implementation " + Quoted(*name) + ", it has " + list);
    }
    return *name;
}

void GraphTextReader::ReadFilter(std::size_t index) {
    GraphFilter filter;
    filter.id = OpenNode(index, {"id", "class", "implementation", "inputs", "settings"});
    filter.pointer = tree.PointerOf(index);
    if (tree[index].kind != Kind::Object) return;
    CatalogEntry const* const entry = ReadClass(index, false, filter.classId);
    filter.implName = ReadImplementation(index, entry);
    if (std::size_t const inputs = RequireKey(findings, index, "inputs"); inputs != NONE) {
        JsonNode const& node = tree[inputs];
        if (node.kind != Kind::Array) findings.Report(inputs, "must be a list of ids, not " + Shown(node));
        std::size_t const count = node.children.size();
        if (entry && node.kind == Kind::Array && (count < entry->minInputs || count > entry->maxInputs))
            findings.Report(
                inputs,
                entry->classId + " takes " +
                    (entry->maxInputs == 0 ? "no inputs"
                     : entry->minInputs == entry->maxInputs
                         ? std::to_string(entry->minInputs) + (entry->minInputs == 1 ? " input" : " inputs")
                         : std::to_string(entry->minInputs) + " to " + std::to_string(entry->maxInputs) + " inputs") +
                    ", not " + std::to_string(count));
        for (std::size_t const child : node.children) {
            constexpr int64 LARGEST = std::numeric_limits<int64>::max();
            auto const id = ReadInteger(findings, child, -LARGEST, LARGEST);
            if (!id) break;
            filter.inputs.push_back(*id);
        }
    }
    if (entry) filter.settings = ReadSettings(findings, *entry, tree.Find(index, "settings"), index);
    document.filters.push_back(std::move(filter));
}

void GraphTextReader::ReadController(std::size_t index) {
    GraphController controller;
    controller.id = OpenNode(index, {"id", "class", "implementation", "settings", "streams"});
    controller.pointer = tree.PointerOf(index);
    if (tree[index].kind != Kind::Object) return;
    CatalogEntry const* const entry = ReadClass(index, true, controller.classId);
    controller.implName = ReadImplementation(index, entry);
    if (entry) controller.settings = ReadSettings(findings, *entry, tree.Find(index, "settings"), index);
    if (std::size_t const streams = RequireKey(findings, index, "streams"); streams != NONE)
        ReadControllerStreams(streams, controller);
    document.controllers.push_back(std::move(controller));
}

void GraphTextReader::ReadControllerStreams(std::size_t index, GraphController& controller) {
    ForEach(index, [&](std::size_t child) {
        if (!ReadKeys(findings, child, {"id", "input"})) return;
        NodeId const id = ReadId(child, "id");
        controller.streams.push_back({id, ReadId(child, "input")});
    });
    if (tree[index].kind == Kind::Array && tree[index].children.empty())
        findings.Report(index, "a controller needs a stream");
    if (controller.streams.size() > MAX_GRAPH_INPUTS)
        findings.Report(index, "a controller holds " + std::to_string(MAX_GRAPH_INPUTS) + " streams at most");
}

void GraphTextReader::ReadOutput(std::size_t index) {
    GraphOutput& output = document.output;
    output.pointer = tree.PointerOf(index);
    JsonNode const& node = tree[index];
    if (node.kind == Kind::Text && node.text == "null") return;
    if (node.kind != Kind::Object) return findings.Report(index, "must be \"null\" or an object, not " + Shown(node));
    ReadKeys(findings, index, {"file", "container", "streams"});
    if (std::size_t const file = RequireKey(findings, index, "file"); file != NONE) {
        output.file = ReadText(findings, file).value_or("");
        if (output.file.empty()) findings.Report(file, "the name of the file is empty");
        if (output.file == "null") output.file.clear();
    }
    if (std::size_t const container = tree.Find(index, "container"); container != NONE)
        output.container = ReadText(findings, container).value_or("");
    std::size_t const streams = output.IsDry() ? tree.Find(index, "streams") : RequireKey(findings, index, "streams");
    if (streams != NONE) ReadOutputStreams(streams);
}

void GraphTextReader::ReadOutputStreams(std::size_t index) {
    ForEach(index, [&](std::size_t child) { ReadOutputStream(child); });
    if (tree[index].kind == Kind::Array && tree[index].children.empty())
        findings.Report(index, "an output needs a stream");
}

void GraphTextReader::ReadOutputStream(std::size_t index) {
    if (!ReadKeys(findings, index, {"input", "codec", "quality", "bitRate"})) return;
    GraphOutput::Stream stream;
    stream.input = ReadId(index, "input");
    if (std::size_t const codec = tree.Find(index, "codec"); codec != NONE)
        stream.codec = ReadText(findings, codec).value_or("");
    if (std::size_t const quality = tree.Find(index, "quality"); quality != NONE)
        if (auto const value = ReadInteger(findings, quality, 0, MAX_QUALITY))
            stream.quality = static_cast<int>(*value);
    if (std::size_t const bitRate = tree.Find(index, "bitRate"); bitRate != NONE)
        stream.bitRate = ReadInteger(findings, bitRate, 0, MAX_BIT_RATE, "bits/s").value_or(0);
    document.output.streams.push_back(std::move(stream));
}

}  // namespace

GraphDocument ParseGraph(std::string const& text, GraphVariables const& variables) {
    JsonTree tree(text);
    auto const used = tree.Fill(variables);
    GraphDocument document = GraphTextReader(tree).Read();
    for (auto const& [name, value] : variables)
        if (!used.contains(name)) FailAtPlace("", "the variable " + Quoted(name) + " is set and never used");
    CheckGraph(document);
    return document;
}

GraphDocument ReadGraph(std::string const& path, GraphVariables const& variables) {
    std::string const text = ReadTextUpTo(path, MAX_GRAPH_BYTES);
    try {
        return ParseGraph(text, variables);
    } catch (GraphException const& failure) {
        TARSEL_THROW(GraphException, path + ": " + failure.what());
    }
}

}  // namespace Tarsel::Host
