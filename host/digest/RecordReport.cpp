#include "host/digest/RecordReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

Json NameOrNull(std::string const& name) {
    return name.empty() ? Json(nullptr) : Json(name);
}

std::string Count(std::size_t count, char const* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

RecordReport MakeRecordReport(RunRecord const& record, std::vector<NodeId> const& nodes) {
    RecordReport report;
    report.graph = record.data.GetSourceGraphFileName().utf8string();
    report.media = record.data.GetSourceMediaFileName().utf8string();
    report.items = record.data.GetPacketCount();
    report.warnings = record.report.warnings;
    report.wallSeconds = record.report.wallSeconds;
    auto const& recorded = record.data.GetFilterCRCInfoList();
    for (GraphReport::Node const& node : record.report.nodes) {
        if (!nodes.empty() && std::find(nodes.begin(), nodes.end(), node.id) == nodes.end()) continue;
        auto const found = recorded.find(node.id);
        std::size_t const items = found == recorded.end() ? 0 : found->second.GetPacketCRCInfoList().size();
        report.nodes.push_back({node.id, node.classId, node.kind, items});
    }
    std::sort(report.nodes.begin(), report.nodes.end(),
              [](RecordReport::Node const& a, RecordReport::Node const& b) { return a.id < b.id; });
    return report;
}

std::string RecordReport::ToJson() const {
    Json document;
    document["record"] = NameOrNull(record);
    document["graph"] = NameOrNull(graph);
    document["media"] = NameOrNull(media);
    document["items"] = items;
    document["nodes"] = Json::array();
    for (Node const& node : nodes)
        document["nodes"].push_back(
            {{"id", node.id}, {"class", node.classId}, {"kind", node.kind}, {"items", node.items}});
    document["framemd5"] = NameOrNull(frameHashes);
    document["warnings"] = warnings;
    document["wall_seconds"] = wallSeconds;
    // The record's own place may have a name in any encoding.
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string RecordReport::ToText() const {
    std::string text = record + ": " + Count(items, "item") + " of " + Count(nodes.size(), "node") + "\n";
    for (Node const& node : nodes)
        text += "node " + std::to_string(node.id) + " " + node.classId + " (" + node.kind +
                "): " + Count(node.items, "item") + "\n";
    if (!frameHashes.empty()) text += frameHashes + ": frame hashes\n";
    return text;
}

}  // namespace Tarsel::Host
