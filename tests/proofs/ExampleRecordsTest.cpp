// Every example graph gives what its checked-in record says, twice in one process and on another kind of processor.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/proofs/ProofRuns.h"

namespace Tarsel::Test {
namespace {

using Proc::GraphCRCData;
using ::testing::IsEmpty;

std::set<std::string> Examples() {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(TARSEL_EXAMPLES))
        if (entry.path().extension() == ".json") names.insert(entry.path().stem());
    return names;
}

TEST(ExampleRecords, EachExampleHasAPlaceInTheTable) {
    std::set<std::string> names;
    for (Proof const& proof : Proofs()) EXPECT_TRUE(names.insert(proof.name).second) << proof.name;
    EXPECT_EQ(Examples(), names) << "tests/proofs/ProofTable.cpp says on which media an example is recorded";
}

TEST(ExampleRecords, EachExceptionTellsItsReason) {
    for (Proof const& proof : Proofs())
        for (LeftOut const* const leftOut : {&proof.fast, &proof.seeks, &proof.landings, &proof.blocks, &proof.caches})
            EXPECT_EQ(leftOut->all || !leftOut->nodes.empty(), !leftOut->why.empty()) << proof.name;
}

TEST(ExampleRecords, RunsGiveWhatTheirRecordsSay) {
    for (Proof const& proof : Proofs()) {
        SCOPED_TRACE(proof.name);
        GraphCRCData const& actual = StraightRecord(proof);
        EXPECT_GT(actual.GetPacketCount(), 0U);
        GraphCRCData const record = CheckedInRecord(proof.name, proof.besides, actual);
        LeftOut const leftOut = AreAllInstructionsUsed() ? proof.fast : LeftOut();
        EXPECT_EQ("", DifferenceOf(Without(record, leftOut), Without(actual, leftOut)));
    }
}

TEST(ExampleRecords, HoldAllNodesThatGiveItems) {
    for (Proof const& proof : Proofs()) {
        SCOPED_TRACE(proof.name);
        auto const& nodes = StraightRecord(proof).GetFilterCRCInfoList();
        for (Host::GraphReport::Node const& node : StraightReport(proof).nodes) {
            auto const info = nodes.find(node.id);
            std::size_t const items = info == nodes.end() ? 0 : info->second.GetPacketCRCInfoList().size();
            EXPECT_GE(items, static_cast<std::size_t>(node.items)) << "node " << node.id;
            EXPECT_GT(items, 0U) << "node " << node.id;
        }
    }
}

TEST(ExampleRecords, ASecondRunOfTheProcessGivesTheSame) {
    for (Proof const& proof : Proofs()) {
        SCOPED_TRACE(proof.name);
        EXPECT_EQ("", DifferenceOf(StraightRecord(proof), Record(proof, ExampleOf(proof)).data));
    }
}

TEST(ExampleRecords, AMissingRecordTellsHowToMakeIt) {
    std::string const path = RecordPath("nothing", Besides::Nothing);
    EXPECT_NONFATAL_FAILURE(ReadRecord(RecordPath("nothing", Besides::Nothing)), "TARSEL_UPDATE_RECORDS=1");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ExampleRecords, AreOfExamplesAlone) {
    std::map<std::string, Besides> known;
    for (Proof const& proof : Proofs()) known[proof.name] = proof.besides;
    EXPECT_THAT(FindStrayRecords(known, false), IsEmpty());
}

}  // namespace
}  // namespace Tarsel::Test
