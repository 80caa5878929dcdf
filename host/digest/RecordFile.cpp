#include "host/digest/RecordFile.h"

#include <algorithm>
#include <boost/property_tree/json_parser/error.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>

#include "contracts/Core/Exception.h"
#include "host/digest/FrameHashes.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/SettingsCatalog.h"
#include "host/media/OutputFile.h"
#include "host/media/TextFile.h"

namespace Tarsel::Host {

namespace {

/// The next byte that is no white space; the end of the file has none.
std::optional<char> NextByte(std::istream& file) {
    char byte = 0;
    while (file.get(byte))
        if (byte != ' ' && byte != '\t' && byte != '\r' && byte != '\n') return byte;
    return {};
}

/// The files that a run reads.
std::vector<std::string> InputsOf(RecordPlan const& plan, RecordRequest const& request) {
    std::vector<std::string> inputs{request.input};
    for (GraphSource const& source : plan.document.sources) inputs.push_back(source.file);
    return inputs;
}

std::vector<NodeId> NodesOfHashes(RecordPlan const& plan, RecordRequest const& request) {
    if (!request.nodes.empty()) return request.nodes;
    if (!plan.media) return FindEnds(plan.document);
    std::vector<NodeId> nodes;
    for (GraphSource const& source : plan.document.sources)
        if (source.packets != request.decoded) nodes.push_back(source.id);
    if (nodes.empty()) TARSEL_THROW(Core::IOException, request.input + ": nothing in it can be decoded");
    return nodes;
}

/// Whether a node gives decoded subtitles, as far as the document tells.
bool GivesTitles(RecordPlan const& plan, NodeId id) {
    GraphDocument const& document = plan.document;
    for (GraphSource const& source : document.sources) {
        if (source.id != id) continue;
        if (source.packets) return false;
        if (!plan.media) return source.stream.kind == StreamKind::Subtitle;
        return plan.media->GetStreams().at(static_cast<std::size_t>(source.stream.ordinal)).kind ==
               StreamKind::Subtitle;
    }
    for (GraphFilter const& filter : document.filters) {
        if (filter.id != id) continue;
        CatalogEntry const* const entry = FindInCatalog(filter.classId);
        // Without another word a filter gives the kind that it takes. No graph has rings.
        return entry && !entry->gives && !filter.inputs.empty() && GivesTitles(plan, filter.inputs.front());
    }
    for (GraphController const& controller : document.controllers)
        for (GraphController::Stream const& stream : controller.streams)
            if (stream.id == id) return GivesTitles(plan, stream.input);
    return false;
}

/// Refused ahead of the work: the nodes would all be left out of the hashes.
void CheckHashed(RecordPlan const& plan, std::vector<NodeId> const& nodes) {
    if (std::all_of(nodes.begin(), nodes.end(), [&](NodeId id) { return GivesTitles(plan, id); }))
        TARSEL_THROW(GraphException, "there is no stream that has frame hashes");
}

void Save(Proc::GraphCRCData const& data, OutputFile const& file) {
    try {
        data.SaveToFile(file.GetPartialPath());
    } catch (boost::property_tree::json_parser::json_parser_error const& failure) {
        // Its whole text names the partial file, which is gone by then.
        TARSEL_THROW(Core::IOException, file.GetPath() + ": can't be written: " + failure.message());
    }
}

/// Puts both files in their places, or none.
void Place(OutputFile& record, std::optional<TextFile>& hashes, PlacingGuard const& guard) {
    std::shared_ptr<void> const held = guard ? guard() : nullptr;
    record.Commit();
    if (!hashes) return;
    try {
        hashes->Commit();
    } catch (Core::IOException const& failure) {
        if (record.TakeBack()) throw;
        TARSEL_THROW(Core::IOException,
                     std::string(failure.what()) + "; " + record.GetPath() + " is replaced by the new record already");
    }
}

}  // namespace

bool IsGraphFile(std::string const& path) {
    // A pipe would be waited for, and its first bytes would be gone.
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure)) return false;
    std::ifstream file(path, std::ios::binary);
    constexpr char MARK[] = "\xEF\xBB\xBF";
    char head[sizeof MARK] = {};
    if (!file.read(head, sizeof MARK - 1) || std::string(head) != MARK) {
        file.clear();
        file.seekg(0);
    }
    if (NextByte(file) != '{') return false;
    // Subtitles by frame numbers ("{25}{75}text") begin with a brace as well.
    auto const next = NextByte(file);
    return !next || *next < '0' || *next > '9';
}

RecordPlan PlanRecord(RecordRequest const& request) {
    // Refused ahead of the work.
    OutputFile(request.output, request.force, {request.input}).Discard();
    if (!request.frameHashes.empty()) OutputFile(request.frameHashes, request.force, {request.input}).Discard();
    RecordPlan plan;
    if (IsGraphFile(request.input)) {
        plan.document = ReadGraph(request.input, request.variables);
        return plan;
    }
    plan.media = MediaFile::Open(request.input);
    plan.document = MakeMediaGraph(plan.media, request.decoded, plan.warnings);
    return plan;
}

RecordReport RecordToFile(RecordPlan const& plan, RecordRequest const& request, ProgressCallback const& progress,
                          PlacingGuard const& guard) {
    std::vector<std::string> const inputs = InputsOf(plan, request);
    OutputFile file(request.output, request.force, inputs);
    std::optional<TextFile> hashFile;
    std::optional<FrameHashes> hashes;
    RecordOptions options;
    if (!plan.media) options.name = request.input;
    options.nodes = request.nodes;
    options.seeks = request.seeks;
    options.building.decoderThreads = request.decoderThreads;
    if (plan.media) options.building.opened.push_back(plan.media);
    if (!request.frameHashes.empty()) {
        hashFile.emplace(request.frameHashes, request.force, inputs);
        std::vector<NodeId> const nodes = NodesOfHashes(plan, request);
        CheckHashed(plan, nodes);
        if (plan.media)
            hashes.emplace(nodes, plan.media);
        else
            hashes.emplace(nodes);
        options.building.wrap = hashes->GetWrap();
    }
    RunRecord const record = RecordGraph(plan.document, options, progress);
    Save(record.data, file);
    RecordReport report = MakeRecordReport(record, request.nodes);
    report.record = request.output;
    report.frameHashes = request.frameHashes;
    report.warnings.insert(report.warnings.begin(), plan.warnings.begin(), plan.warnings.end());
    if (hashes) {
        std::string const text = hashes->ToText(record.data);
        for (std::string& warning : hashes->GetWarnings()) report.warnings.push_back(std::move(warning));
        hashFile->Fill(text);
    }
    Place(file, hashFile, guard);
    return report;
}

}  // namespace Tarsel::Host
