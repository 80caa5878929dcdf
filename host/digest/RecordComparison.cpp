#include "host/digest/RecordComparison.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/digest/ChangedItems.h"
#include "host/digest/ItemAlignment.h"
#include "host/digest/SequenceAligner.h"

namespace Tarsel::Host {

namespace {

using Items = std::vector<Proc::PacketCRCInfo>;

/// By time, as far as times ascend; a missing item ahead of an extra one.
void AddByTime(Items const& first, Items const& second, AlignedStretch left, NodeComparison& node) {
    while (left.firstBegin < left.firstEnd || left.secondBegin < left.secondEnd) {
        bool const isMissing = left.firstBegin < left.firstEnd &&
                               (left.secondBegin == left.secondEnd ||
                                first[left.firstBegin].GetTimeStamp() <= second[left.secondBegin].GetTimeStamp());
        ItemDifference difference;
        difference.kind = isMissing ? ItemDifference::Kind::Missing : ItemDifference::Kind::Extra;
        difference.timeUs = isMissing ? first[left.firstBegin].GetTimeStamp() : second[left.secondBegin].GetTimeStamp();
        if (isMissing)
            difference.first = left.firstBegin++;
        else
            difference.second = left.secondBegin++;
        node.differences.push_back(difference);
    }
}

/// What is left over between two pairs.
void AddLeftOver(Items const& first, Items const& second, AlignedStretch left, NodeComparison& node) {
    node.missing += left.firstEnd - left.firstBegin;
    node.extra += left.secondEnd - left.secondBegin;
    AlignedStretch between = left;
    for (AlignedPair const& pair : FindChangedItems(first, second, left)) {
        between.firstEnd = pair.first;
        between.secondEnd = pair.second;
        AddByTime(first, second, between, node);
        int64 const time = first[pair.first].GetTimeStamp();
        node.differences.push_back({ItemDifference::Kind::Missing, pair.first, {}, time, NO_VALUE, true});
        node.differences.push_back({ItemDifference::Kind::Extra, {}, pair.second, time, NO_VALUE, true});
        between.firstBegin = pair.first + 1;
        between.secondBegin = pair.second + 1;
    }
    between.firstEnd = left.firstEnd;
    between.secondEnd = left.secondEnd;
    AddByTime(first, second, between, node);
}

NodeComparison CompareNode(NodeId id, Items const& first, Items const& second) {
    NodeComparison node;
    node.id = id;
    node.firstItems = first.size();
    node.secondItems = second.size();
    AlignedStretch left;
    for (PairedItems const& run : AlignItems(first, second)) {
        left.firstEnd = run.first;
        left.secondEnd = run.second;
        AddLeftOver(first, second, left, node);
        for (u32 i = 0; i < run.count; ++i) {
            int64 const from = first[run.first + i].GetTimeStamp();
            int64 const to = second[run.second + i].GetTimeStamp();
            if (from == to) continue;
            ++node.moved;
            node.differences.push_back({ItemDifference::Kind::Moved, run.first + i, run.second + i, from, to, false});
        }
        left.firstBegin = run.first + run.count;
        left.secondBegin = run.second + run.count;
    }
    left.firstEnd = static_cast<u32>(first.size());
    left.secondEnd = static_cast<u32>(second.size());
    AddLeftOver(first, second, left, node);
    return node;
}

}  // namespace

bool RecordComparison::IsEqual() const {
    return std::all_of(nodes.begin(), nodes.end(), [](NodeComparison const& node) { return node.IsEqual(); });
}

RecordComparison CompareRecords(Proc::GraphCRCData const& first, Proc::GraphCRCData const& second) {
    static Items const none;
    std::map<int64, std::pair<Items const*, Items const*>> nodes;
    for (auto const& [id, node] : first.GetFilterCRCInfoList()) nodes[id] = {&node.GetPacketCRCInfoList(), &none};
    for (auto const& [id, node] : second.GetFilterCRCInfoList()) {
        auto const [place, isNew] = nodes.try_emplace(id, &none, &none);
        place->second.second = &node.GetPacketCRCInfoList();
    }
    RecordComparison comparison;
    for (auto const& [id, items] : nodes) comparison.nodes.push_back(CompareNode(id, *items.first, *items.second));
    return comparison;
}

}  // namespace Tarsel::Host
