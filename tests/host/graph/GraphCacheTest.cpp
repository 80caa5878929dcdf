#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "host/media/SeekTogether.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using TestSupport::MessageOf;

constexpr auto VIDEO = StreamKind::Video;
constexpr auto AUDIO = StreamKind::Audio;
constexpr char CACHES[] = "FilterCacheController";
constexpr char SEEKER[] = "FilterSeekController";
constexpr char TRIMMER[] = "SettingsFilterDurationTrimmer";
constexpr int SECONDS = 6;
constexpr int PICTURES = 25 * SECONDS;
constexpr int64 PICTURE = 40000;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Support::SmallClip(SECONDS), true);
        return folder / "clip.mp4";
    }();
    return path;
}

/// Picture and sound of the clip, 1 and 2.
GraphMaker Plain(std::string const& clip = Clip()) {
    GraphMaker graph;
    graph.Source(1, clip, VIDEO).Source(2, clip, AUDIO);
    return graph;
}

/// The same behind caches, 11 and 12.
GraphMaker Cached(std::string const& clip = Clip()) {
    return Plain(clip).Controller(10, CACHES, {{11, 1}, {12, 2}}, GraphMaker::Settings(CACHES, {}));
}

GraphReport Play(GraphMaker const& graph, std::vector<int64> const& seeks = {}) {
    GraphRunOptions options;
    options.seeks = seeks;
    return RunGraph(graph.document, options, nullptr);
}

std::vector<int64> RealTimes(GraphReport const& report, std::size_t stream) {
    std::vector<int64> times;
    for (GraphReport::Seek const& seek : report.seeks) times.push_back(seek.realUs.at(stream));
    return times;
}

/// Numbers and times of all pictures from a position on.
std::vector<std::pair<int64, int>> PicturesFrom(BuiltGraph const& graph, NodeId node, int64 position) {
    std::vector<SeekTarget> targets;
    for (NodeId const id : graph.GetOutputs()) targets.push_back({&graph.GetNode(id).GetStream(), position});
    SeekTogether(targets, graph.GetCacheControllers(), position);
    std::vector<std::pair<int64, int>> pictures;
    while (auto const item = graph.GetNode(node).GetStream().Read())
        pictures.emplace_back(item->GetTime(), GeneratedVideo::ReadNumber(dynamic_cast<Proc::IDataVideo&>(*item)));
    return pictures;
}

TEST(CachedGraph, PlaysAllButTheLastItemOfEachStream) {
    auto const plain = BuildGraph(Plain().document);
    auto const cached = BuildGraph(Cached().document);
    EXPECT_EQ(1U, cached->GetCacheControllers().size());
    auto expected = PicturesFrom(*plain, 1, 0);
    ASSERT_EQ(std::size_t{PICTURES}, expected.size());
    expected.pop_back();
    EXPECT_EQ(expected, PicturesFrom(*cached, 11, 0));
    auto const plainSound = Play(Plain());
    auto const cachedSound = Play(Cached());
    EXPECT_EQ(plainSound.streams[1].items - 1, cachedSound.streams[1].items);
    EXPECT_EQ(PICTURES - 1, cachedSound.streams[0].items);
    EXPECT_THAT(cachedSound.warnings, IsEmpty());
}

TEST(CachedGraph, GivesTheSamePicturesBehindASeek) {
    auto const plain = BuildGraph(Plain().document);
    auto const cached = BuildGraph(Cached().document);
    for (int64 const position : {3 * SECOND, 3 * SECOND + 3 * PICTURE, SECOND + 1, 5 * SECOND, PICTURE}) {
        auto expected = PicturesFrom(*plain, 1, position);
        expected.pop_back();
        EXPECT_EQ(expected, PicturesFrom(*cached, 11, position)) << position;
    }
}

/// Positions near to one another, far away, at the start of pictures inside a window, at the ends and behind them.
std::vector<int64> Places() {
    std::vector<int64> places{0, 3 * SECOND, 3 * SECOND, 3 * SECOND + 10, SECOND, 30 * SECOND, 2 * SECOND};
    for (int64 step = -30; step <= 30; step += 3) places.push_back(2 * SECOND + step * PICTURE);
    for (int64 step = 10; step >= -10; --step) places.push_back(4 * SECOND + step * PICTURE + 100 * step);
    places.insert(places.end(), {SECONDS * SECOND - PICTURE - 1, SECONDS * SECOND, 0, PICTURE});
    return places;
}

TEST(CachedGraph, SeeksLandOnThePicturesOfAGraphWithoutCaches) {
    auto const plain = Play(Plain(), Places());
    auto const cached = Play(Cached(), Places());
    EXPECT_EQ(RealTimes(plain, 0), RealTimes(cached, 0));
}

TEST(CachedGraph, SeeksLandOnTheBlockOfSoundThatHoldsThePosition) {
    auto const cached = Play(Cached(), Places());
    for (GraphReport::Seek const& seek : cached.seeks) {
        if (seek.requestedUs >= SECONDS * SECOND) continue;
        ASSERT_TRUE(HasValue(seek.realUs.at(1))) << seek.requestedUs;
        EXPECT_LE(seek.realUs.at(1), seek.requestedUs);
        EXPECT_GT(seek.realUs.at(1) + 22000, seek.requestedUs);
    }
}

TEST(CachedGraph, SeeksWithinTheWindowReadNothingFromTheFile) {
    auto const once = Play(Cached(), {3 * SECOND, 30 * SECOND});
    auto const often = Play(Cached(), {3 * SECOND, 3 * SECOND + 100001, 2500001, 3 * SECOND - 1, 30 * SECOND});
    EXPECT_EQ(once.nodes[0].items, often.nodes[0].items);
    EXPECT_EQ(once.nodes[1].items, often.nodes[1].items);
}

TEST(CachedGraph, ASeekControllerAboveMovesTheCachesTogether) {
    GraphMaker graph = Cached();
    graph.Controller(20, SEEKER, {{21, 11}, {22, 12}}, Core::Property(SEEKER));
    auto const cached = Play(Cached(), Places());
    auto const held = Play(graph, Places());
    ASSERT_EQ(cached.seeks.size(), held.seeks.size());
    for (std::size_t i = 0; i < cached.seeks.size(); ++i)
        EXPECT_EQ(cached.seeks[i].realUs, held.seeks[i].realUs) << cached.seeks[i].requestedUs;
}

TEST(CachedGraph, JoinsReadCachesThroughASeekController) {
    GraphMaker graph = Plain();
    for (NodeId id = 1; id <= 2; ++id) graph.Filter(id + 30, TRIMMER, {id}, {{"Duration", "2000000"}});
    graph.Source(3, Clip(), VIDEO).Filter(33, TRIMMER, {3}, {{"Duration", "1000000"}});
    graph.Controller(10, CACHES, {{11, 31}, {12, 32}}, GraphMaker::Settings(CACHES, {}));
    graph.Controller(20, SEEKER, {{21, 11}, {22, 12}}, Core::Property(SEEKER));
    graph.Filter(40, "FilterJoinVideo", {21, 33}).Filter(41, "FilterJoinAudio", {22});
    auto const report = Play(graph);
    ASSERT_EQ(2U, report.streams.size());
    // The last picture of the cached clip stays behind.
    EXPECT_EQ(49 + 25, report.streams[0].items);
    EXPECT_EQ(3 * SECOND, report.streams[0].endUs);
}

TEST(CachedGraph, AnyFilterReadsTheOnlyStreamOfACacheController) {
    auto const make = [](bool cached) {
        GraphMaker graph;
        graph.Source(1, Clip(), VIDEO);
        if (cached) graph.Controller(10, CACHES, {{11, 1}}, GraphMaker::Settings(CACHES, {}));
        graph.Filter(20, "SettingsFilterLoop", {cached ? 11 : 1}, {{"Duration", "14000000"}});
        graph.Filter(21, TRIMMER, {20}, {{"Duration", "13000000"}});
        return graph;
    };
    auto const plain = Play(make(false), {9 * SECOND, SECOND, 2 * SECOND, 12 * SECOND, SECOND + PICTURE, 0});
    auto const cached = Play(make(true), {9 * SECOND, SECOND, 2 * SECOND, 12 * SECOND, SECOND + PICTURE, 0});
    EXPECT_EQ(RealTimes(plain, 0), RealTimes(cached, 0));
    EXPECT_EQ(13 * SECOND, cached.streams[0].endUs);
}

TEST(CachedGraph, SeveralCacheControllersReadOneFile) {
    GraphMaker graph = Cached();
    graph.Source(3, Clip(), VIDEO).Source(4, Clip(), AUDIO);
    graph.Controller(30, CACHES, {{31, 3}, {32, 4}}, GraphMaker::Settings(CACHES, {{"CacheIncreaseSpan", "0"}}));
    auto const report = Play(graph, Places());
    EXPECT_EQ(RealTimes(report, 0), RealTimes(report, 2));
    EXPECT_EQ(RealTimes(report, 1), RealTimes(report, 3));
    EXPECT_EQ(RealTimes(Play(Cached(), Places()), 0), RealTimes(report, 0));
}

TEST(CachedGraph, StreamsOfDifferentLengthsAreToldAndFailBehindTheShorterOnesEnd) {
    GraphMaker graph = Plain();
    graph.Filter(3, TRIMMER, {1}, {{"Duration", "4000000"}});
    graph.Controller(10, CACHES, {{11, 3}, {12, 2}}, GraphMaker::Settings(CACHES, {}));
    auto const report = Play(graph, {3 * SECOND});
    EXPECT_THAT(report.warnings,
                ElementsAre("node 10: its streams differ in length: a seek past the end of one of them fails"));
    EXPECT_EQ(3 * SECOND, report.seeks[0].realUs.at(0));
    EXPECT_THAT(MessageOf<GraphException>([&] { Play(graph, {5 * SECOND}); }),
                HasSubstr("all registered caches must be positioned to the same position"));
}

TEST(CachedGraph, AFailureOfASourceNamesItsNode) {
    ScratchFolder const folder;
    std::string const clip = folder / "clip.mp4";
    std::filesystem::copy_file(Clip(), clip);
    auto const graph = BuildGraph(Cached(clip).document);
    std::filesystem::remove(clip);
    EXPECT_THAT(MessageOf<GraphException>([&] { PicturesFrom(*graph, 11, 0); }), StartsWith("node 1: /sources/0: "));
}

TEST(CachedGraph, ANodeBelowACacheThatStandsStillIsEnded) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Filter(3, "FilterRepeatVideo", {1});
    graph.Controller(10, CACHES, {{11, 3}}, GraphMaker::Settings(CACHES, {}));
    GraphRunOptions options;
    options.building.stallLimit = 1000;
    EXPECT_EQ("node 3: /filters/0: it gave 1000 items without progress in time",
              MessageOf<GraphException>([&] { RunGraph(graph.document, options, nullptr); }));
}

TEST(DataCacheInAGraph, GivesTheSamePictures) {
    GraphMaker graph = Plain();
    graph.Filter(3, "FilterCacheData", {1});
    auto const plain = BuildGraph(Plain().document);
    auto const ahead = BuildGraph(graph.document);
    for (int64 const position : {int64{0}, 3 * SECOND + 1, SECOND, 5 * SECOND + 5 * PICTURE})
        EXPECT_EQ(PicturesFrom(*plain, 1, position), PicturesFrom(*ahead, 3, position)) << position;
    EXPECT_EQ(RealTimes(Play(Plain(), Places()), 0), RealTimes(Play(graph, Places()), 1));
}

TEST(DataCacheInAGraph, PassesFailuresWithTheirNode) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Filter(3, "FilterRepeatVideo", {1}).Filter(4, "FilterCacheData", {3});
    GraphRunOptions options;
    options.building.stallLimit = 1000;
    EXPECT_EQ("node 3: /filters/0: it gave 1000 items without progress in time",
              MessageOf<GraphException>([&] { RunGraph(graph.document, options, nullptr); }));
}

}  // namespace
}  // namespace Tarsel::Host
