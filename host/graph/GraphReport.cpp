#include "host/graph/GraphReport.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "host/cut/RangeText.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

Json TimeOrNull(int64 time) {
    return HasValue(time) ? Json(time) : Json(nullptr);
}

Json TreeOf(Core::Property const& property) {
    Json node;
    node["name"] = property.Name();
    if (property.HasScalar()) node["value"] = property.GetString();
    if (!property.Children().empty()) node["children"] = Json::array();
    for (Core::Property const& child : property.Children()) node["children"].push_back(TreeOf(child));
    return node;
}

std::string TreeText(Core::Property const& property, std::size_t depth) {
    std::string text = std::string(2 * depth, ' ') + property.Name();
    if (property.HasScalar()) text += ": " + property.GetString();
    text += "\n";
    for (Core::Property const& child : property.Children()) text += TreeText(child, depth + 1);
    return text;
}

std::string TimeText(int64 time) {
    return HasValue(time) ? ShortTime(time) : "?";
}

std::string Milliseconds(int64 microseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", double(microseconds) / 1000);
    return text;
}

std::string NodeText(GraphReport::Node const& node) {
    return "node " + std::to_string(node.id) + " " + node.classId + " (" + node.kind + ", " +
           TimeText(node.durationUs) + "): " + std::to_string(node.items) + " items, " +
           Milliseconds(node.exclusiveUs) + " of its own, " + Milliseconds(node.inclusiveUs) + " with its inputs\n";
}

}  // namespace

int64 GraphReport::GetEnd() const {
    int64 end = 0;
    for (Stream const& stream : streams) end = std::max(end, stream.endUs);
    return end;
}

std::string GraphReport::ToJson(bool withStatistics) const {
    Json document;
    document["output"] = output.empty() ? Json(nullptr) : Json(output);
    document["container"] = container.empty() ? Json(nullptr) : Json(container);
    document["streams"] = Json::array();
    for (Stream const& stream : streams) {
        Json entry{{"node", stream.input},
                   {"kind", stream.kind},
                   {"codec", stream.codec.empty() ? Json(nullptr) : Json(stream.codec)},
                   {"items", stream.items},
                   {"begin_us", TimeOrNull(stream.beginUs)},
                   {"end_us", TimeOrNull(stream.endUs)}};
        if (withStatistics) entry["statistics"] = TreeOf(stream.statistics);
        document["streams"].push_back(std::move(entry));
    }
    document["nodes"] = Json::array();
    for (Node const& node : nodes)
        document["nodes"].push_back({{"id", node.id},
                                     {"class", node.classId},
                                     {"kind", node.kind},
                                     {"items", node.items},
                                     {"duration_us", TimeOrNull(node.durationUs)},
                                     {"inclusive_us", node.inclusiveUs},
                                     {"exclusive_us", node.exclusiveUs}});
    if (!titles.empty()) document["titles"] = Json::array();
    for (Titles const& drawn : titles)
        document["titles"].push_back(
            {{"node", drawn.node}, {"subtitles_read", drawn.subtitlesRead}, {"images_made", drawn.imagesMade}});
    if (!seeks.empty()) document["seeks"] = Json::array();
    for (Seek const& seek : seeks) {
        Json real = Json::array();
        for (int64 const time : seek.realUs) real.push_back(TimeOrNull(time));
        document["seeks"].push_back({{"requested_us", seek.requestedUs}, {"real_us", std::move(real)}});
    }
    document["warnings"] = warnings;
    document["wall_seconds"] = wallSeconds;
    // Names of files may be in any encoding; a broken sequence is replaced, never a reason to fail.
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string GraphReport::ToText(bool withStatistics) const {
    std::string text = output.empty() ? "read to the end" : output + ": " + container;
    text += ", " + ShortTime(GetEnd()) + "\n";
    for (Stream const& stream : streams)
        text += "node " + std::to_string(stream.input) + " " + stream.kind +
                (stream.codec.empty() ? "" : " " + stream.codec) + ": " + std::to_string(stream.items) +
                (output.empty() ? " items, " : " packets, ") + TimeText(stream.beginUs) + " to " +
                TimeText(stream.endUs) + "\n";
    for (Titles const& drawn : titles)
        text += "node " + std::to_string(drawn.node) + " drew: " + std::to_string(drawn.subtitlesRead) +
                " subtitles, " + std::to_string(drawn.imagesMade) + " images\n";
    for (Seek const& seek : seeks) {
        text += "sought " + ShortTime(seek.requestedUs);
        for (std::size_t i = 0; i < seek.realUs.size(); ++i)
            text += (i == 0 ? ": node " : ", node ") + std::to_string(streams.at(i).input) +
                    (HasValue(seek.realUs[i]) ? " at " + ShortTime(seek.realUs[i]) : " at its end");
        text += "\n";
    }
    if (!withStatistics) return text;
    for (Node const& node : nodes) text += NodeText(node);
    for (Stream const& stream : streams)
        text += "statistics of node " + std::to_string(stream.input) + ":\n" + TreeText(stream.statistics, 1);
    return text;
}

}  // namespace Tarsel::Host
