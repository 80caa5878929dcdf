// Every example graph run in other ways than straight: what must be the same is the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/proofs/ProofRuns.h"
#include "tests/proofs/WithoutLast.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using Proc::GraphCRCData;
using Proc::PacketCRCInfo;

/// Places up to a little behind the end, the ends among them.
std::vector<int64> PlacesOf(unsigned seed, int64 end) {
    std::mt19937 random(seed);
    std::vector<int64> places;
    for (int i = 0; i < 6; ++i)
        places.push_back(static_cast<int64>(random() % static_cast<std::uint64_t>(end + 50000)));
    if (seed % 2 == 0) places.insert(places.begin() + 3, {end, 0});
    return places;
}

std::string ListOf(std::vector<int64> const& places) {
    std::string text;
    for (int64 const place : places) text += " " + std::to_string(place);
    return text;
}

std::vector<PacketCRCInfo> const& ItemsOf(GraphCRCData const& record, NodeId node) {
    return record.GetFilterCRCInfoList().at(node).GetPacketCRCInfoList();
}

/// The item of an ascending list in whose time another one begins.
PacketCRCInfo const* FindAt(std::vector<PacketCRCInfo> const& items, int64 time) {
    PacketCRCInfo const* found = nullptr;
    for (PacketCRCInfo const& item : items)
        if (item.GetTimeStamp() <= time) found = &item;
    return found;
}

/// Tells of pictures that the outputs gave right behind seeks and that the straight run doesn't show at their times.
std::string StrangersOf(Proof const& proof, GraphCRCData const& sought) {
    std::string text;
    for (GraphReport::Stream const& stream : StraightReport(proof).streams) {
        if (stream.kind != KindName(GraphKind::Video) || proof.landings.Holds(stream.input)) continue;
        auto const& straight = ItemsOf(StraightRecord(proof), stream.input);
        auto const& items = ItemsOf(sought, stream.input);
        for (std::size_t i = 0; i + straight.size() < items.size(); ++i) {
            PacketCRCInfo const* const shown = FindAt(straight, items[i].GetTimeStamp());
            if (!shown || shown->GetCRC() != items[i].GetCRC())
                text += "node " + std::to_string(stream.input) + ": behind a seek stands a picture at " +
                        std::to_string(items[i].GetTimeStamp()) + " us that isn't the straight run's\n";
        }
    }
    return text;
}

TEST(ExampleVariants, RandomSeeksInFrontChangeNothing) {
    for (Proof const& proof : Proofs()) {
        if (proof.seeks.all) continue;
        GraphCRCData const& straight = StraightRecord(proof);
        for (unsigned seed = 1; seed <= 3; ++seed) {
            RecordOptions options = PlainRun();
            options.seeks = PlacesOf(seed, StraightReport(proof).GetEnd());
            SCOPED_TRACE(proof.name + ", seed " + std::to_string(seed) + ":" + ListOf(options.seeks));
            GraphCRCData sought;
            ASSERT_NO_THROW(sought = Record(proof, ExampleOf(proof), options).data);
            EXPECT_GT(sought.GetPacketCount(), straight.GetPacketCount());
            EXPECT_EQ("", DifferenceOf(Without(straight, proof.seeks), Without(TailOf(sought, straight), proof.seeks)));
            EXPECT_EQ("", StrangersOf(proof, sought));
        }
    }
}

TEST(ExampleVariants, OtherBlocksOfSoundGiveTheSameSamples) {
    int graphs = 0;
    for (Proof const& proof : Proofs()) {
        if (proof.blocks.all) continue;
        std::vector<NodeId> compared;
        for (GraphReport::Node const& node : StraightReport(proof).nodes)
            compared.push_back(node.kind == KindName(GraphKind::Audio) ? BLOCKED_OUTPUTS + node.id : node.id);
        GraphDocument const plain = InBlocks(proof, 0);
        if (plain == ExampleOf(proof)) continue;
        ++graphs;
        GraphCRCData const straight = Only(Without(Record(proof, plain).data, proof.blocks), compared);
        for (int64 const duration : {23000, 170000}) {
            SCOPED_TRACE(proof.name + " in blocks of " + std::to_string(duration) + " us");
            GraphCRCData const blocks =
                Only(Without(Record(proof, InBlocks(proof, duration)).data, proof.blocks), compared);
            EXPECT_EQ("", DifferenceOf(straight, blocks));
        }
    }
    EXPECT_GT(graphs, 10);
}

/// A cache keeps the last item of its stream, so that the run without caches is one of sources that lack theirs.
TEST(ExampleVariants, CachesInFrontChangeNothing) {
    int graphs = 0;
    for (Proof const& proof : Proofs()) {
        if (proof.caches.all) continue;
        SCOPED_TRACE(proof.name);
        GraphDocument const document = BehindCaches(proof);
        if (document == ExampleOf(proof)) continue;
        ++graphs;
        RecordOptions shortened = PlainRun();
        shortened.building.wrap = [&](BuiltNode const& node, GraphStream stream) {
            return IsCachedSource(document, node.id) ? WithoutLastItem(std::move(stream)) : stream;
        };
        GraphCRCData plain;
        GraphCRCData cached;
        ASSERT_NO_THROW(plain = Record(proof, ExampleOf(proof), shortened).data);
        ASSERT_NO_THROW(cached = Record(proof, document).data);
        std::vector<NodeId> compared;
        for (auto const& [node, info] : plain.GetFilterCRCInfoList())
            if (!proof.caches.Holds(node) && !IsCachedSource(document, node)) compared.push_back(node);
        EXPECT_EQ("", DifferenceOf(Only(plain, compared), Only(cached, compared)));
    }
    EXPECT_GT(graphs, 30);
}

TEST(ExampleVariants, ThreadsOfDecodersChangeNothing) {
    for (Proof const& proof : Proofs()) {
        SCOPED_TRACE(proof.name);
        RecordOptions options;
        options.building.decoderThreads = 3;
        EXPECT_EQ("", DifferenceOf(StraightRecord(proof), Record(proof, ExampleOf(proof), options).data));
    }
}

}  // namespace
}  // namespace Tarsel::Test
