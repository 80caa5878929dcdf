#include "host/digest/ComparisonReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

#include "host/digest/ShownText.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;
using Kind = ItemDifference::Kind;

std::string TimeText(int64 time) {
    if (!HasValue(time)) return "no time";
    std::string fraction = std::to_string((time < 0 ? -time : time) % SECOND);
    fraction.insert(0, 6 - fraction.size(), '0');
    return (time < 0 ? "-" : "") + std::to_string((time < 0 ? -time : time) / SECOND) + "." + fraction + " s";
}

/// The number that a person finds the item by.
u32 PlaceOf(ItemDifference const& difference) {
    return difference.first ? *difference.first : difference.second.value_or(0);
}

std::string PlaceText(ItemDifference const& difference) {
    return "item " + std::to_string(PlaceOf(difference)) + (difference.first ? "" : " of the second");
}

Json FirstDifference(NodeComparison const& node) {
    if (node.IsEqual()) return nullptr;
    ItemDifference const& difference = node.differences.front();
    Json const time = HasValue(difference.timeUs) ? Json(difference.timeUs) : Json(nullptr);
    return {{"index", PlaceOf(difference)}, {"time_us", time}};
}

void AddCount(std::string& text, std::size_t count, char const* what) {
    if (count != 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
}

std::string NamesText(char const* what, ioPath const& first, ioPath const& second) {
    if (first == second) return {};
    auto const name = [](ioPath const& path) {
        return path.empty() ? "(not told)" : ShownText(path.utf8string(), 4096);
    };
    return std::string("other ") + what + ": " + name(first) + ", then " + name(second) + "\n";
}

std::vector<Proc::PacketCRCInfo> const& ItemsOf(Proc::GraphCRCData const& record, NodeId id) {
    static std::vector<Proc::PacketCRCInfo> const none;
    auto const node = record.GetFilterCRCInfoList().find(id);
    return node == record.GetFilterCRCInfoList().end() ? none : node->second.GetPacketCRCInfoList();
}

std::string CountText(std::size_t count, std::string const& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// An item whose digest changed is one line.
std::size_t CountLines(std::span<ItemDifference const> differences) {
    return static_cast<std::size_t>(std::count_if(
        differences.begin(), differences.end(),
        [](ItemDifference const& difference) { return difference.kind != Kind::Extra || !difference.isChange; }));
}

}  // namespace

ComparisonReport::ComparisonReport(Proc::GraphCRCData const& first, Proc::GraphCRCData const& second)
    : first(first), second(second), comparison(CompareRecords(first, second)) {}

std::string ComparisonReport::ToJson() const {
    Json document;
    document["equal"] = IsEqual();
    document["nodes"] = Json::array();
    for (NodeComparison const& node : comparison.nodes)
        document["nodes"].push_back({{"id", node.id},
                                     {"equal", node.IsEqual()},
                                     {"missing", node.missing},
                                     {"extra", node.extra},
                                     {"moved", node.moved},
                                     {"first_difference", FirstDifference(node)}});
    return document.dump(2);
}

std::string ComparisonReport::ToText(std::size_t shown) const {
    std::string text = NamesText("graph", first.GetSourceGraphFileName(), second.GetSourceGraphFileName()) +
                       NamesText("media", first.GetSourceMediaFileName(), second.GetSourceMediaFileName());
    std::size_t items = 0;
    std::size_t different = 0;
    for (NodeComparison const& node : comparison.nodes) {
        items += node.firstItems;
        if (!node.IsEqual()) ++different;
    }
    if (different == 0)
        return text + "equal: " + CountText(comparison.nodes.size(), "node") + ", " + CountText(items, "item") + "\n";
    text += "different: " + std::to_string(different) + " of " + CountText(comparison.nodes.size(), "node") + "\n";
    for (NodeComparison const& node : comparison.nodes)
        if (!node.IsEqual()) text += NodeText(node, shown);
    return text;
}

std::string ComparisonReport::NodeText(NodeComparison const& node, std::size_t shown) const {
    auto const& firstItems = ItemsOf(first, node.id);
    auto const& secondItems = ItemsOf(second, node.id);
    std::string counts;
    AddCount(counts, node.missing, "missing");
    AddCount(counts, node.extra, "extra");
    AddCount(counts, node.moved, "moved");
    auto const& differences = node.differences;
    std::string text = "node " + std::to_string(node.id) + ": " + std::to_string(node.firstItems) + " and " +
                       CountText(node.secondItems, "item") + ": " + counts + "; first difference at " +
                       PlaceText(differences.front()) + " (" + TimeText(differences.front().timeUs) + ")\n";
    std::size_t next = 0;
    for (std::size_t lines = 0; lines < shown && next < differences.size(); ++lines) {
        ItemDifference const& difference = differences[next++];
        auto const digest = ShownText(difference.first ? firstItems[*difference.first].GetCRC()
                                                       : secondItems[*difference.second].GetCRC());
        std::string const item = PlaceText(difference) + " (" + TimeText(difference.timeUs) + ", " + digest + ")";
        if (difference.isChange) {
            u32 const place = *differences[next++].second;
            text += "  changed: " + item + " to " + ShownText(secondItems[place].GetCRC()) + ", item " +
                    std::to_string(place) + " of the second\n";
        } else if (difference.kind == Kind::Moved) {
            text += "  moved: " + item + " to " + TimeText(difference.movedToUs) + ", item " +
                    std::to_string(*difference.second) + " of the second\n";
        } else {
            text += (difference.kind == Kind::Missing ? "  missing: " : "  extra: ") + item + "\n";
        }
    }
    if (next < differences.size())
        text += "  and " + CountText(CountLines(std::span(differences).subspan(next)), "more difference") +
                " (--all shows them)\n";
    return text;
}

}  // namespace Tarsel::Host
