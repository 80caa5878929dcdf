#include "tests/proofs/ProofRuns.h"

#include <ass/ass.h>
#include <gtest/gtest.h>
#include <rubberband/rubberband-c.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "host/digest/ComparisonReport.h"
#include "host/graph/GraphReader.h"
#include "tests/proofs/ProofMedia.h"
#include "tests/support/GraphClips.h"
#include "tests/support/LibAv.h"

namespace Tarsel::Test {

using namespace Host;
using Proc::FilterCRCInfo;
using Proc::GraphCRCData;
using Proc::PacketCRCInfo;

namespace {

constexpr char FORMATTER[] = "SettingsFilterAudioFormatter";
constexpr char CACHES[] = "FilterCacheController";
constexpr char HINT[] =
    ": there is no record for the versions of the libraries that are running, or it can't be read. Make it by running "
    "tarsel-proofs-tests with TARSEL_UPDATE_RECORDS=1 (tests/records/README.md)";

std::string const RECORDS = TARSEL_RECORDS;

std::string VersionText(unsigned version) {
    return std::to_string(AV_VERSION_MAJOR(version)) + "." + std::to_string(AV_VERSION_MINOR(version)) + "." +
           std::to_string(AV_VERSION_MICRO(version));
}

/// libass writes 0.17.1 as 0x01701000: decimal digits, one of them in front of the first point.
std::string TitlesVersion() {
    auto const version = static_cast<unsigned>(ass_library_version());
    auto const decimal = [](unsigned digits) { return std::to_string(digits / 16 * 10 + digits % 16); };
    return std::to_string(version >> 28) + "." + decimal(version >> 20 & 0xFF) + "." + decimal(version >> 12 & 0xFF);
}

template <class Keep>
GraphCRCData Filtered(GraphCRCData const& record, Keep keep) {
    GraphCRCData kept;
    kept.SetSourceGraphFileName(record.GetSourceGraphFileName());
    kept.SetSourceMediaFileName(record.GetSourceMediaFileName());
    for (auto const& [node, info] : record.GetFilterCRCInfoList())
        for (PacketCRCInfo const& item : info.GetPacketCRCInfoList())
            if (keep(node, info.GetPacketCRCInfoList().size(), item))
                kept.AddPacketCRCInfo(node, item.GetTimeStamp(), item.GetCRC());
    return kept;
}

RunRecord const& StraightRun(Proof const& proof) {
    static std::map<std::string, RunRecord> runs;
    auto const known = runs.find(proof.name);
    if (known != runs.end()) return known->second;
    return runs.emplace(proof.name, Record(proof, ExampleOf(proof))).first->second;
}

std::map<NodeId, GraphKind> KindsOf(Proof const& proof) {
    std::map<NodeId, GraphKind> kinds;
    for (GraphReport::Node const& node : StraightReport(proof).nodes)
        for (GraphKind const kind : {GraphKind::Video, GraphKind::Audio, GraphKind::Subtitle, GraphKind::Packets})
            if (KindName(kind) == node.kind) kinds[node.id] = kind;
    return kinds;
}

void AddFormatter(GraphDocument& document, NodeId id, NodeId input, int64 duration) {
    GraphFilter filter;
    filter.id = id;
    filter.classId = FORMATTER;
    filter.implName = "Default";
    filter.settings = GraphMaker::Settings(FORMATTER, {{"PacketDuration", std::to_string(duration)}});
    filter.inputs = {input};
    filter.pointer = "/filters/" + std::to_string(document.filters.size());
    document.filters.push_back(std::move(filter));
}

}  // namespace

GraphDocument ExampleOf(Proof const& proof) {
    std::string const path = std::string(TARSEL_EXAMPLES) + "/" + proof.name + ".json";
    std::ifstream file(path);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    GraphVariables variables;
    if (!proof.in.empty()) variables["IN"] = ProofMedia(proof.in);
    if (!proof.in2.empty()) variables["IN2"] = ProofMedia(proof.in2);
    // A value that no place uses is refused.
    if (text.find("${OUT}") != std::string::npos) variables["OUT"] = "out.mkv";
    return ReadGraph(path, variables);
}

RecordOptions PlainRun() {
    RecordOptions options;
    options.building.decoderThreads = 1;
    return options;
}

RunRecord Record(Proof const& proof, GraphDocument const& document, RecordOptions const& options) {
    RecordOptions named = options;
    named.name = "examples/" + proof.name + ".json";
    RunRecord record = RecordGraph(document, named, {});
    record.data.SetSourceMediaFileName(proof.in);
    return record;
}

GraphCRCData const& StraightRecord(Proof const& proof) {
    return StraightRun(proof).data;
}

GraphReport const& StraightReport(Proof const& proof) {
    return StraightRun(proof).report;
}

std::string VersionOf(Besides besides) {
    std::string const codecs = ".lavc" + VersionText(avcodec_version());
    if (besides == Besides::Titles) return codecs + ".ass" + TitlesVersion();
    // The library tells its version to the compiler alone.
    return besides == Besides::Pitch ? codecs + ".rubberband" RUBBERBAND_VERSION : codecs;
}

std::string RecordPath(std::string const& name, Besides besides) {
    return RECORDS + "/" + name + VersionOf(besides) + ".json";
}

std::vector<std::string> FindStrayRecords(std::map<std::string, Besides> const& known, bool timelines) {
    std::vector<std::string> stray;
    std::string const version = VersionOf(Besides::Nothing) + ".";
    for (auto const& entry : std::filesystem::directory_iterator(RECORDS)) {
        std::string const file = entry.path().filename();
        if (entry.path().extension() != ".json" || file.starts_with(TIMELINE_PREFIX) != timelines) continue;
        auto const name = known.find(file.substr(0, file.find('.')));
        bool const isOther = file.find(".lavc") != std::string::npos && file.find(version) == std::string::npos;
        if (name == known.end() || (!isOther && entry.path() != RecordPath(name->first, name->second)))
            stray.push_back(file);
    }
    std::sort(stray.begin(), stray.end());
    return stray;
}

GraphCRCData ReadRecord(std::string const& path) {
    GraphCRCData record;
    try {
        record.LoadFromFile(path);
    } catch (std::exception const& failure) {
        ADD_FAILURE() << path << HINT << ": " << failure.what();
        record.Clear();
    }
    return record;
}

GraphCRCData CheckedInRecord(std::string const& name, Besides besides, GraphCRCData const& actual) {
    std::string const path = RecordPath(name, besides);
    if (std::getenv("TARSEL_UPDATE_RECORDS")) actual.SaveToFile(path);
    return ReadRecord(path);
}

GraphCRCData Without(GraphCRCData const& record, LeftOut const& leftOut) {
    return Filtered(record, [&](NodeId node, std::size_t, PacketCRCInfo const&) { return !leftOut.Holds(node); });
}

GraphCRCData Only(GraphCRCData const& record, std::vector<NodeId> const& nodes) {
    return Filtered(record, [&](NodeId node, std::size_t, PacketCRCInfo const&) {
        return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
    });
}

GraphCRCData TailOf(GraphCRCData const& record, GraphCRCData const& straight) {
    auto const& nodes = straight.GetFilterCRCInfoList();
    return Filtered(record, [&](NodeId node, std::size_t count, PacketCRCInfo const& item) {
        auto const other = nodes.find(node);
        std::size_t const wanted = other == nodes.end() ? count : other->second.GetPacketCRCInfoList().size();
        return item.GetPacketIndex() + wanted >= count;
    });
}

std::string DifferenceOf(GraphCRCData const& expected, GraphCRCData const& actual) {
    ComparisonReport const report(expected, actual);
    return report.IsEqual() ? std::string() : report.ToText();
}

void Relink(GraphDocument& document, NodeId from, NodeId to, NodeId except) {
    for (GraphFilter& filter : document.filters)
        if (filter.id != except) std::replace(filter.inputs.begin(), filter.inputs.end(), from, to);
    for (GraphController& controller : document.controllers)
        for (GraphController::Stream& stream : controller.streams)
            if (stream.input == from && stream.id != except) stream.input = to;
    for (GraphOutput::Stream& stream : document.output.streams)
        if (stream.input == from) stream.input = to;
}

GraphDocument InBlocks(Proof const& proof, int64 duration) {
    GraphDocument document = ExampleOf(proof);
    std::map<NodeId, GraphKind> const kinds = KindsOf(proof);
    if (duration != 0)
        for (GraphSource const& source : document.sources) {
            if (kinds.at(source.id) != GraphKind::Audio) continue;
            NodeId const id = BLOCKED_SOURCES + source.id;
            AddFormatter(document, id, source.id, duration);
            Relink(document, source.id, id, id);
        }
    for (GraphReport::Stream const& stream : StraightReport(proof).streams) {
        if (kinds.at(stream.input) != GraphKind::Audio) continue;
        NodeId const id = BLOCKED_OUTPUTS + stream.input;
        // An output that is a source has its blocks behind the formatter of the sources.
        bool const blocked =
            duration != 0 && std::any_of(document.sources.begin(), document.sources.end(),
                                         [&](auto const& source) { return source.id == stream.input; });
        NodeId const end = blocked ? BLOCKED_SOURCES + stream.input : stream.input;
        AddFormatter(document, id, end, SECOND / 10);
        for (GraphOutput::Stream& output : document.output.streams)
            if (output.input == end) output.input = id;
    }
    return document;
}

GraphDocument BehindCaches(Proof const& proof) {
    GraphDocument document = ExampleOf(proof);
    std::map<NodeId, GraphKind> const kinds = KindsOf(proof);
    for (GraphSource const& source : document.sources) {
        GraphKind const kind = kinds.at(source.id);
        if ((kind != GraphKind::Video && kind != GraphKind::Audio) || proof.caches.Holds(source.id)) continue;
        NodeId const id = CACHED_SOURCES + source.id;
        Relink(document, source.id, id, id);
        GraphController controller;
        controller.id = id + 50;
        controller.classId = CACHES;
        controller.implName = "Default";
        controller.settings = GraphMaker::Settings(CACHES, {});
        controller.streams = {{id, source.id}};
        controller.pointer = "/controllers/" + std::to_string(document.controllers.size());
        document.controllers.push_back(std::move(controller));
    }
    return document;
}

bool IsCachedSource(GraphDocument const& document, NodeId node) {
    return std::any_of(
        document.controllers.begin(), document.controllers.end(),
        [&](GraphController const& controller) { return controller.streams.front().id == CACHED_SOURCES + node; });
}

}  // namespace Tarsel::Test
