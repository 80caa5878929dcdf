#include "host/graph/GraphDrawing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "host/graph/GraphBuilder.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::ScratchFolder;
using ::testing::HasSubstr;

/// Every line of a drawing is one of a few shapes; a text that broke out of its quotes would make another.
void ExpectWellFormed(std::string const& drawing) {
    std::regex const text(R"re("(?:[^"\\\n]|\\.)*")re");
    std::regex const line(R"(digraph tarsel \{|\}|  (rankdir=LR|node \[fontsize=10\]);|)"
                          R"(  [a-z0-9]+ \[label=TEXT, shape=(ellipse|box|note)\];|)"
                          R"(  [a-z0-9]+ -> [a-z0-9]+( \[style=dashed\])?;)");
    std::istringstream lines(drawing);
    for (std::string each; std::getline(lines, each);) {
        std::string const shape = std::regex_replace(each, text, "TEXT");
        EXPECT_TRUE(std::regex_match(shape, line)) << each;
    }
}

TEST(GraphDrawing, ShowsNodesWithFormatAndLengthControllersAndTheOutput) {
    ScratchFolder const folder;
    std::string const clip = folder / "clip.mp4";
    WriteSampleClip(clip, Support::SmallClip(2), true);
    GraphMaker graph;
    graph.Source(1, clip, StreamKind::Video).Source(2, clip, StreamKind::Audio);
    graph.Filter(3, "SettingsStreamMetadataUpdater", {1});
    graph.Controller(10, "FilterCutController", {{11, 3}, {12, 2}}, GraphMaker::Settings("FilterCutController", {}));
    std::string const drawing = DrawGraph(*BuildGraph(graph.document));
    ExpectWellFormed(drawing);
    EXPECT_THAT(drawing, HasSubstr("1 source\\n" + clip + " #0\\nvideo: 320x180 yuv420p, 25/1 fps\\n00:02.000"));
    EXPECT_THAT(drawing, HasSubstr("audio: 48000 Hz, 2 channels, fltp"));
    EXPECT_THAT(drawing, HasSubstr("3 SettingsStreamMetadataUpdater"));
    EXPECT_THAT(drawing, HasSubstr("cn10 [label=\"10 FilterCutController\", shape=box];"));
    for (char const* edge : {"n1 -> n3;", "n3 -> n11;", "n2 -> n12;", "cn10 -> n11 [style=dashed];",
                             "cn10 -> n12 [style=dashed];", "n11 -> output;", "n12 -> output;"})
        EXPECT_THAT(drawing, HasSubstr(edge));
}

TEST(GraphDrawing, NamesOfFilesCantBreakOutOfTheirQuotes) {
    ScratchFolder const folder;
    std::string const clip = folder / "a \"quoted\" \\ name\n];.mp4";
    WriteSampleClip(clip, Support::SmallClip(1), true);
    GraphMaker graph;
    graph.Source(-7, clip, StreamKind::Video);
    std::string const drawing = DrawGraph(*BuildGraph(graph.document));
    ExpectWellFormed(drawing);
    EXPECT_THAT(drawing, HasSubstr("a \\\"quoted\\\" \\\\ name\\n];.mp4"));
    EXPECT_THAT(drawing, HasSubstr("nm7 -> output;"));
}

}  // namespace
}  // namespace Tarsel::Host
