// A filter that damages one item is found by comparing records: the node, the item, and nobody else but its readers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "host/digest/RecordComparison.h"
#include "tests/proofs/BrokenFilter.h"
#include "tests/proofs/ProofRuns.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using Proc::GraphCRCData;
using Json = nlohmann::json;

struct Break {
    std::string example;
    NodeId node = 0;
    Damage damage = Damage::Byte;
    int item = 0;
};

std::vector<Break> const& Breaks() {
    static std::vector<Break> const breaks{
        {"deinterlace", 3, Damage::Byte, 7},  {"trim", 1, Damage::Byte, 4},
        {"trim", 2, Damage::Byte, 9},         {"mix", 3, Damage::Byte, 5},
        {"cut-packets", 11, Damage::Byte, 6}, {"join-packets", 1, Damage::Byte, 3},
        {"resize", 1, Damage::Byte, 0},       {"frame-rate", 1, Damage::Lost, 10},
        {"crop-part", 3, Damage::Lost, 29},   {"repeat-controller", 11, Damage::Lost, 1},
        {"linked", 31, Damage::Late, 4},      {"join", 22, Damage::Late, 0},
        {"metadata", 3, Damage::Swapped, 8},  {"effects", 4, Damage::Swapped, 2},
    };
    return breaks;
}

/// The node and all that its items reach.
std::set<NodeId> ReachOf(GraphDocument const& document, NodeId node) {
    std::set<NodeId> reached{node};
    for (std::size_t size = 0; size != reached.size();) {
        size = reached.size();
        for (GraphFilter const& filter : document.filters)
            for (NodeId const input : filter.inputs)
                if (reached.contains(input)) reached.insert(filter.id);
        for (GraphController const& controller : document.controllers)
            for (GraphController::Stream const& stream : controller.streams)
                if (reached.contains(stream.input)) reached.insert(stream.id);
    }
    return reached;
}

GraphCRCData RecordBroken(Break const& wanted) {
    Proof const& proof = ProofOf(wanted.example);
    RecordOptions options = PlainRun();
    options.building.wrap = BreakNode(wanted.node, wanted.damage, wanted.item);
    return Record(proof, ExampleOf(proof), options).data;
}

std::string TextOf(Break const& wanted) {
    return wanted.example + ", node " + std::to_string(wanted.node) + ", item " + std::to_string(wanted.item);
}

int64 TimeOf(Break const& wanted) {
    auto const& nodes = StraightRecord(ProofOf(wanted.example)).GetFilterCRCInfoList();
    return nodes.at(wanted.node).GetPacketCRCInfoList().at(static_cast<std::size_t>(wanted.item)).GetTimeStamp();
}

TEST(BrokenFilter, IsFoundWithItsItem) {
    for (Break const& wanted : Breaks()) {
        SCOPED_TRACE(TextOf(wanted));
        Proof const& proof = ProofOf(wanted.example);
        RecordComparison const comparison = CompareRecords(StraightRecord(proof), RecordBroken(wanted));
        std::set<NodeId> differing;
        for (NodeComparison const& node : comparison.nodes) {
            if (node.IsEqual()) continue;
            differing.insert(node.id);
            if (node.id != wanted.node) continue;
            ItemDifference const& first = node.differences.front();
            EXPECT_EQ(static_cast<unsigned>(wanted.item), first.first.value_or(first.second.value_or(9999)));
            EXPECT_EQ(TimeOf(wanted), first.timeUs);
            bool const late = wanted.damage == Damage::Late;
            EXPECT_EQ(late ? 1U : 0U, node.moved - (wanted.damage == Damage::Swapped ? node.moved : 0));
            EXPECT_EQ(late ? 0U : 1U, node.missing);
            EXPECT_EQ(late || wanted.damage == Damage::Lost ? 0U : 1U, node.extra);
            EXPECT_TRUE(!late || first.movedToUs == TimeOf(wanted) + 1) << first.movedToUs;
        }
        EXPECT_EQ(ReachOf(ExampleOf(proof), wanted.node), differing);
    }
}

TEST(BrokenFilter, IsNamedByTheCommand) {
    ScratchFolder const folder;
    for (Break const& wanted : Breaks()) {
        SCOPED_TRACE(TextOf(wanted));
        StraightRecord(ProofOf(wanted.example)).SaveToFile(folder / "good.json");
        RecordBroken(wanted).SaveToFile(folder / "broken.json");
        ProgramResult const result = RunTarsel({"compare", folder / "good.json", folder / "broken.json", "--json"});
        EXPECT_EQ(4, result.exitCode) << result.errors;
        Json const report = ParseOutput(result);
        EXPECT_FALSE(report.at("equal"));
        std::set<NodeId> differing;
        for (Json const& node : report.at("nodes")) {
            if (node.at("equal")) continue;
            differing.insert(node.at("id").get<NodeId>());
            if (node.at("id") != wanted.node) continue;
            EXPECT_EQ(wanted.item, node.at("first_difference").at("index"));
            EXPECT_EQ(TimeOf(wanted), node.at("first_difference").at("time_us"));
        }
        EXPECT_EQ(ReachOf(ExampleOf(ProofOf(wanted.example)), wanted.node), differing);
    }
}

}  // namespace
}  // namespace Tarsel::Test
