#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
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
using TestSupport::MessageOf;

constexpr auto VIDEO = StreamKind::Video;
constexpr auto AUDIO = StreamKind::Audio;
constexpr char CUT_CONTROLLER[] = "FilterCutController";
constexpr int64 PICTURE = 40000;

/// Two seconds.
std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Support::SmallClip(2), true);
        return folder / "clip.mp4";
    }();
    return path;
}

GraphMaker Sources() {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO);
    return graph;
}

/// Of one length to the microsecond.
GraphMaker Pictures() {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), VIDEO);
    return graph;
}

GraphReport PlayFrom(GraphMaker const& graph, std::vector<int64> const& seeks) {
    GraphRunOptions options;
    options.seeks = seeks;
    return RunGraph(graph.document, options, nullptr);
}

TEST(GraphSeeks, TellWhereEachStreamStands) {
    auto const report = PlayFrom(Sources(), {SECOND, 1010000, 0, 5 * SECOND, 3 * PICTURE - 1});
    std::vector<int64> pictures;
    for (GraphReport::Seek const& seek : report.seeks) pictures.push_back(seek.realUs.at(0));
    EXPECT_THAT(pictures, ElementsAre(SECOND, SECOND, 0, NO_VALUE, 2 * PICTURE));
    EXPECT_EQ(1010000, report.seeks[1].requestedUs);
    // Sound is cut to the sample.
    EXPECT_EQ(1010000, report.seeks[1].realUs.at(1));
    EXPECT_EQ(0, report.seeks[2].realUs.at(1));
}

TEST(GraphSeeks, TheRunPlaysOnFromTheLastOne) {
    auto const report = PlayFrom(Sources(), {0, 500000, 1010000});
    EXPECT_EQ(SECOND, report.streams[0].beginUs);
    EXPECT_EQ(25, report.streams[0].items);
    EXPECT_EQ(2 * SECOND, report.streams[0].endUs);
    // Two items of the places before, and what was played.
    EXPECT_EQ(27, report.nodes[0].items);
}

TEST(GraphSeeks, StreamsThatEndedAtTheLastOneStayEnded) {
    auto const report = PlayFrom(Pictures(), {0, 30 * SECOND});
    EXPECT_EQ(0, report.streams[0].items);
    EXPECT_EQ(0, report.streams[1].items);
    EXPECT_THAT(report.warnings, ElementsAre("node 1: its stream is empty", "node 2: its stream is empty"));
}

TEST(GraphSeeks, StandInTheReport) {
    auto report = PlayFrom(Pictures(), {SECOND, 5 * SECOND});
    report.seeks[0].realUs[1] = 990000;
    auto const json = nlohmann::json::parse(report.ToJson(true));
    EXPECT_EQ(nlohmann::json::parse(R"([{"requested_us": 1000000, "real_us": [1000000, 990000]},
                                        {"requested_us": 5000000, "real_us": [null, null]}])"),
              json.at("seeks"));
    EXPECT_THAT(report.ToText(false), HasSubstr("sought 00:01.000: node 1 at 00:01.000, node 2 at 00:00.990\n"
                                                "sought 00:05.000: node 1 at its end, node 2 at its end\n"));
    EXPECT_FALSE(nlohmann::json::parse(PlayFrom(Sources(), {}).ToJson(true)).contains("seeks"));
}

TEST(GraphSeeks, GoToTimesOfACutControllersResult) {
    GraphMaker graph = Sources();
    Core::Property settings = GraphMaker::Settings(CUT_CONTROLLER, {});
    Core::Property range("Interval");
    settings.Add(range.SetChild("Start", SECOND / 2).SetChild("End", SECOND));
    graph.Controller(10, CUT_CONTROLLER, {{11, 1}, {12, 2}}, settings);
    auto const report = PlayFrom(graph, {600000, 0, SECOND});
    EXPECT_EQ(580000, report.seeks[0].realUs.at(0));  // the picture at 1.08 s of the source
    EXPECT_EQ(0, report.seeks[1].realUs.at(0));
    EXPECT_EQ(980000, report.seeks[2].realUs.at(0));
    EXPECT_EQ(SECOND + SECOND / 2, report.streams[0].endUs);
}

TEST(GraphSeeks, ASeekControllerTakesItsStreamsAlong) {
    GraphMaker graph = Sources();
    graph.Controller(10, "FilterSeekController", {{11, 1}, {12, 2}}, Core::Property("FilterSeekController"));
    auto const plain = PlayFrom(Sources(), {SECOND, 1010000, 0, 5 * SECOND, 70000});
    auto const held = PlayFrom(graph, {SECOND, 1010000, 0, 5 * SECOND, 70000});
    ASSERT_EQ(5U, held.seeks.size());
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(plain.seeks[i].realUs, held.seeks[i].realUs) << i;
    EXPECT_EQ(plain.streams[1].items, held.streams[1].items);
}

TEST(GraphSeeks, AreNotForARunThatWrites) {
    ScratchFolder const folder;
    GraphMaker graph = Sources();
    graph.Into(folder / "out.mkv", {1, 2});
    EXPECT_EQ("Only a dry run seeks", MessageOf<std::invalid_argument>([&] { PlayFrom(graph, {0}); }));
    EXPECT_THAT(folder.List(), IsEmpty());
    GraphRunOptions options;
    options.seeks = {SECOND};
    options.dryRun = true;
    EXPECT_EQ(25, RunGraph(graph.document, options, nullptr).streams[0].items);
}

}  // namespace
}  // namespace Tarsel::Host
