// The example timelines, rendered without loss: each gives what its checked-in record says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "host/timeline/RenderJob.h"
#include "host/timeline/TimelineReader.h"
#include "tests/proofs/ProofMedia.h"
#include "tests/proofs/ProofRuns.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using Proc::GraphCRCData;

using ::testing::IsEmpty;

constexpr NodeId PICTURES = DECODED_NODES;
constexpr NodeId SOUND = DECODED_NODES + 1;

struct TimelineProof {
    /// Of the file in examples/timelines.
    std::string name;
    std::vector<NodeId> nodes = {PICTURES, SOUND};
    Besides besides = Besides::Nothing;
};

std::vector<TimelineProof> const& TimelineProofs() {
    static std::vector<TimelineProof> const proofs{
        {"cuts.json"},
        {"cuts.otio"},
        {"dissolve.json"},
        {"dissolve.otio"},
        {"layers.json", {PICTURES}},
        {"speed.json", {PICTURES, SOUND}, Besides::Pitch},
        {"speed.otio", {PICTURES, SOUND}, Besides::Pitch},
    };
    return proofs;
}

/// "timeline-cuts-otio".
std::string RecordName(std::string const& name) {
    std::filesystem::path const path(name);
    return TIMELINE_PREFIX + path.stem().string() + "-" + path.extension().string().substr(1);
}

/// What is decoded of the rendered file.
GraphCRCData RecordRender(std::string const& name) {
    ScratchFolder const folder;
    namespace fs = std::filesystem;
    fs::copy_file(std::string(TARSEL_EXAMPLES) + "/timelines/" + name, folder / name);
    for (char const* const clip : {"A", "B"})
        fs::copy_file(ProofMedia(clip + std::string(".mkv")), folder / (clip + std::string(".mp4")));
    fs::copy_file(ProofMedia("music.wav"), folder / "music.wav");
    BuiltTimeline timeline(ReadTimelineFile(folder / name).timeline);
    RenderOptions rendering;
    rendering.output = folder / "out.mkv";
    rendering.videoCodec = "h264";
    rendering.quality = 0;  // without loss
    rendering.audioCodec = "pcm_s16le";
    RenderTimeline(timeline, rendering, {});
    std::vector<std::string> warnings;
    RecordOptions options = PlainRun();
    options.name = "examples/timelines/" + name;
    GraphCRCData record = RecordGraph(MakeMediaGraph(folder / "out.mkv", true, warnings), options, {}).data;
    EXPECT_THAT(warnings, IsEmpty());
    record.SetSourceMediaFileName("out.mkv");
    return record;
}

TEST(TimelineRecords, EachExampleHasAPlaceInTheTable) {
    std::set<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(TARSEL_EXAMPLES "/timelines"))
        files.insert(entry.path().filename());
    std::set<std::string> names;
    for (TimelineProof const& proof : TimelineProofs()) names.insert(proof.name);
    EXPECT_EQ(files, names);
}

TEST(TimelineRecords, RunsGiveWhatTheirRecordsSay) {
    for (TimelineProof const& proof : TimelineProofs()) {
        SCOPED_TRACE(proof.name);
        GraphCRCData const actual = Only(RecordRender(proof.name), proof.nodes);
        EXPECT_EQ(proof.nodes.size(), actual.GetFilterCount());
        EXPECT_EQ("", DifferenceOf(CheckedInRecord(RecordName(proof.name), proof.besides, actual), actual));
    }
}

TEST(TimelineRecords, AreOfTimelinesAlone) {
    std::map<std::string, Besides> known;
    for (TimelineProof const& proof : TimelineProofs()) known[RecordName(proof.name)] = proof.besides;
    EXPECT_THAT(FindStrayRecords(known, true), IsEmpty());
}

TEST(TimelineRecords, ASecondRenderOfTheProcessGivesTheSame) {
    for (char const* const name : {"dissolve.json", "speed.json"})
        EXPECT_EQ("", DifferenceOf(RecordRender(name), RecordRender(name))) << name;
}

}  // namespace
}  // namespace Tarsel::Test
