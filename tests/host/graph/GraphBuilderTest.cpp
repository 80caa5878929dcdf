#include "host/graph/GraphBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using TestSupport::MessageOf;

constexpr auto VIDEO = StreamKind::Video;
constexpr auto AUDIO = StreamKind::Audio;
constexpr char TRIMMER[] = "SettingsFilterDurationTrimmer";
constexpr char UPDATER[] = "SettingsStreamMetadataUpdater";
constexpr char BIT_STREAM[] = "SettingsFilterBitStream";
constexpr char CUT_CONTROLLER[] = "FilterCutController";

/// One clip of four seconds for all tests of the program.
std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Support::SmallClip(4), true);
        return folder / "clip.mp4";
    }();
    return path;
}

std::string BuildMessage(GraphMaker const& graph) {
    return MessageOf<GraphException>([&] { BuildGraph(graph.document); });
}

TEST(GraphBuilder, MakesSourcesOfEachKind) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO).Source(3, Clip(), VIDEO, 0, true);
    graph.Source(4, Clip(), {}, 1, true);
    auto const built = BuildGraph(graph.document);
    EXPECT_EQ(GraphKind::Video, built->GetNode(1).GetKind());
    EXPECT_EQ(GraphKind::Audio, built->GetNode(2).GetKind());
    EXPECT_EQ(GraphKind::Packets, built->GetNode(3).GetKind());
    EXPECT_EQ(GraphKind::Packets, built->GetNode(4).GetKind());
    EXPECT_EQ(AUDIO, built->GetNode(4).origin.info->kind);
    EXPECT_THAT(built->GetOutputs(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(1U, built->GetSources().GetFiles().size());
}

TEST(GraphBuilder, TakesFilesThatAreOpenAlready) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO);
    auto const file = MediaFile::Open(Clip());
    auto const built = BuildGraph(graph.document, {.opened = {file, MediaFile::Open(Clip())}});
    EXPECT_THAT(built->GetSources().GetFiles(), ElementsAre(file));
    EXPECT_EQ(file, built->GetNode(2).origin.file);
}

TEST(GraphBuilder, FiltersMayStandInFrontOfTheirInputs) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO, 0, true);
    graph.Filter(4, BIT_STREAM, {3}).Filter(3, BIT_STREAM, {2}).Filter(2, BIT_STREAM, {1});
    auto const built = BuildGraph(graph.document);
    std::vector<NodeId> order;
    for (BuiltNode const& node : built->GetNodes()) order.push_back(node.id);
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(built->GetOutputs(), ElementsAre(4));
}

TEST(GraphBuilder, PacketsThatTheFirstClipsHeaderDoesNotDescribeAreNotJoined) {
    ScratchFolder const folder;
    auto const message = [&](char const* name, SampleClipOptions const& options) {
        WriteSampleClip(folder / name, options, false);
        GraphMaker graph;
        graph.Source(1, Clip(), VIDEO, 0, true).Source(2, folder / name, VIDEO, 0, true);
        return BuildMessage(graph.Filter(3, "FilterJoinRaw", {1, 2}));
    };
    SampleClipOptions other = Support::SmallClip(1);
    EXPECT_EQ("(nothing was thrown)", message("same.mp4", other));
    other.frameRate = 50;
    EXPECT_EQ("node 3: /filters/0/inputs/1: the packets of node 2 don't continue those of node 1: their headers differ",
              message("rate.mp4", other));
    other.width = 160;
    EXPECT_EQ(
        "node 3: /filters/0/inputs/1: the packets of node 2 don't continue those of node 1: h264 of 160x180 "
        "behind h264 of 320x180",
        message("size.mp4", other));
}

TEST(GraphBuilder, StreamsReadThroughFilters) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Filter(2, UPDATER, {1});
    auto const built = BuildGraph(graph.document);
    Proc::IStream& stream = built->GetNode(2).GetStream();
    Support::Seek(stream, 2 * SECOND);
    auto const item = stream.Read();
    ASSERT_NE(nullptr, item);
    EXPECT_EQ(2 * SECOND, item->GetTime());
    EXPECT_EQ(50, GeneratedVideo::ReadNumber(dynamic_cast<Proc::IDataVideo&>(*item)));
    EXPECT_EQ(1U, built->GetNode(1).record->items);
    EXPECT_GE(built->GetNode(2).record->inclusive, built->GetNode(1).record->inclusive);
}

TEST(GraphBuilder, AControllerGivesAStreamForEachOneItTakes) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO, 0, true).Source(2, Clip(), AUDIO, 0, true);
    Core::Property settings = GraphMaker::Settings(CUT_CONTROLLER, {});
    Core::Property range("Interval");
    range.SetChild("Start", SECOND).SetChild("End", 3 * SECOND);
    settings.Add(range);
    graph.Controller(10, CUT_CONTROLLER, {{11, 1}, {12, 2}}, settings);
    auto const built = BuildGraph(graph.document);
    EXPECT_THAT(built->GetOutputs(), ElementsAre(11, 12));
    Proc::IStream& video = built->GetNode(11).GetStream();
    Proc::IStream& audio = built->GetNode(12).GetStream();
    video.RequestSeek(0, nullptr);
    audio.RequestSeek(0, nullptr);
    video.DoSeek();
    audio.DoSeek();
    int64 end = 0;
    while (auto const packet = video.Read()) end = std::max(end, AddTime(packet->GetTime(), packet->GetDuration()));
    EXPECT_EQ(2 * SECOND, end);
}

TEST(GraphBuilderErrors, MissingFileNamesNodeAndPlace) {
    GraphMaker graph;
    graph.Source(5, "/nowhere/film.mp4", VIDEO);
    EXPECT_THAT(BuildMessage(graph), HasSubstr("node 5: /sources/0/file: /nowhere/film.mp4: "));
}

TEST(GraphBuilderErrors, AFileThatIsNoMediaNamesNodeAndPlace) {
    ScratchFolder const folder;
    std::ofstream(folder / "text.mp4") << "no film";
    GraphMaker graph;
    graph.Source(5, folder / "text.mp4", VIDEO);
    EXPECT_THAT(BuildMessage(graph), HasSubstr("node 5: /sources/0/file: " + (folder / "text.mp4") + ": "));
}

TEST(GraphBuilderErrors, AStreamThatIsNotThereNamesNodeAndPlace) {
    GraphMaker second;
    second.Source(1, Clip(), VIDEO).Source(6, Clip(), AUDIO, 1);
    EXPECT_EQ("node 6: /sources/1/stream: " + Clip() + ": there is no audio stream number 1", BuildMessage(second));
    GraphMaker index;
    index.Source(6, Clip(), {}, 9);
    EXPECT_EQ("node 6: /sources/0/stream: " + Clip() + ": there is no stream #9", BuildMessage(index));
    GraphMaker subtitle;
    subtitle.Source(6, Clip(), StreamKind::Subtitle);
    EXPECT_EQ("node 6: /sources/0/stream: " + Clip() + ": there is no subtitle stream", BuildMessage(subtitle));
}

TEST(GraphBuilderErrors, AKindThatOnlyTheFileShowsNamesTheFilter) {
    GraphMaker graph;
    graph.Source(1, Clip(), {}, 1).Filter(3, "FilterJoinVideo", {1});
    EXPECT_THAT(BuildMessage(graph), HasSubstr("node 3: /filters/0: node 1 gives audio, which can't go in here"));
}

TEST(GraphBuilderErrors, AFilterThatHasNoFormForTheKindNamesTheFilter) {
    GraphMaker graph;
    graph.Source(1, Clip(), {}, 1, true).Filter(3, UPDATER, {1});
    EXPECT_THAT(BuildMessage(graph), HasSubstr("node 3: /filters/0"));
}

TEST(GraphBuilderErrors, SettingsThatTheFilterRefusesNameIt) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO);
    graph.document.filters.push_back({3, TRIMMER, "Default", Core::Property("SomethingElse"), {1}, "/filters/0"});
    EXPECT_THAT(BuildMessage(graph), HasSubstr("node 3: /filters/0"));
}

}  // namespace
}  // namespace Tarsel::Host
