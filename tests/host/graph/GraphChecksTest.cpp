#include "host/graph/GraphChecks.h"

#include <gtest/gtest.h>

#include <string>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using TestSupport::MessageOf;

std::string ErrorOf(std::string const& text) {
    return MessageOf<GraphException>([&] { ParseGraph(text); });
}

/// Four sources: 1 video, 2 audio, 3 packets of video, 4 packets of audio.
std::string Graph(std::string const& rest, std::string const& output = "\"null\"") {
    return R"({"sources": [{"id": 1, "file": "a", "stream": "video"}, {"id": 2, "file": "a", "stream": "audio"},
                           {"id": 3, "file": "a", "stream": "video", "packets": true},
                           {"id": 4, "file": "a", "stream": "audio", "packets": true}], )" +
           rest + R"("output": )" + output + "}";
}

std::string Filter(int id, std::string const& classId, std::string const& inputs) {
    return R"({"id": )" + std::to_string(id) + R"(, "class": ")" + classId + R"(", "inputs": [)" + inputs + "]}";
}

std::string Filters(std::string const& list) {
    return Graph(R"("filters": [)" + list + "], ");
}

TEST(GraphChecks, GivesTheTypeOfEveryStream) {
    auto const types = CheckGraph(ParseGraph(
        R"({"sources": [{"id": 1, "file": "a", "stream": "subtitle"}, {"id": 2, "file": "a", "stream": "audio"},
                        {"id": 3, "file": "a", "stream": "video", "packets": true}, {"id": 4, "file": "a", "stream": 0},
                        {"id": 5, "file": "a", "stream": 1}],
            "filters": [{"id": 6, "class": "SettingsFilterReverse", "inputs": [2]},
                        {"id": 7, "class": "SettingsFilterFrameRate", "inputs": [4]},
                        {"id": 8, "class": "SettingsFilterReverse", "inputs": [5]}],
            "controllers": [{"id": 10, "class": "FilterCutController",
                             "streams": [{"id": 11, "input": 1}, {"id": 13, "input": 3}]}],
            "output": "null"})"));
    EXPECT_EQ(types.at(1).kind, GraphKind::Subtitle);
    EXPECT_EQ(types.at(6).kind, GraphKind::Audio);
    EXPECT_EQ(types.at(6).media, StreamKind::Audio);
    EXPECT_EQ(types.at(7).kind, GraphKind::Video);
    EXPECT_EQ(types.at(8).kind, std::nullopt);
    EXPECT_EQ(types.at(11).kind, GraphKind::Subtitle);
    EXPECT_EQ(types.at(13).kind, GraphKind::Packets);
    EXPECT_EQ(types.at(13).media, StreamKind::Video);
    EXPECT_EQ(types.at(4).kind, std::nullopt);
}

TEST(GraphChecks, TellsAnIdThatStandsTwice) {
    EXPECT_EQ(ErrorOf(Filters(Filter(2, "SettingsFilterReverse", "1"))),
              "node 2: /filters/0/id: node 2 stands already at /sources/1");
    EXPECT_EQ(ErrorOf(Graph(R"("controllers": [{"id": 1, "class": "FilterCutController",
                                                "streams": [{"id": 5, "input": 1}]}], )")),
              "node 1: /controllers/0/id: node 1 stands already at /sources/0");
    EXPECT_EQ(ErrorOf(Graph(R"("controllers": [{"id": 5, "class": "FilterCutController",
                                                "streams": [{"id": 5, "input": 1}]}], )")),
              "node 5: /controllers/0/streams/0/id: node 5 stands already at /controllers/0");
}

TEST(GraphChecks, TellsAnInputThatIsNotThere) {
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "SettingsFilterReverse", "9"))),
              "node 5: /filters/0/inputs/0: there is no node 9");
    EXPECT_EQ(ErrorOf(Graph("", R"({"file": "null", "streams": [{"input": 9}]})")),
              "/output/streams/0/input: there is no node 9");
    EXPECT_EQ(ErrorOf(Graph(R"("controllers": [{"id": 5, "class": "FilterCutController",
                                                "streams": [{"id": 6, "input": 1}]}], )",
                            R"({"file": "null", "streams": [{"input": 5}]})")),
              "/output/streams/0/input: node 5 is a controller: its streams have ids of their own");
}

TEST(GraphChecks, TellsAStreamThatIsReadTwice) {
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "SettingsFilterReverse", "1") + "," + Filter(6, "FilterJoinVideo", "1"))),
              "node 6: /filters/1/inputs/0: node 1 is read already at /filters/0/inputs/0");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterJoinVideo", "1, 1"))),
              "node 5: /filters/0/inputs/1: node 1 is read already at /filters/0/inputs/0");
    EXPECT_EQ(ErrorOf(Graph("", R"({"file": "null", "streams": [{"input": 1}, {"input": 1}]})")),
              "/output/streams/1/input: node 1 is read already at /output/streams/0/input");
}

TEST(GraphChecks, TellsACircleByTheNodesOnIt) {
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "SettingsFilterReverse", "5"))),
              "node 5: /filters/0/inputs/0: the nodes 5 read one another in a circle");
    EXPECT_EQ(ErrorOf(Filters(Filter(9, "FilterJoinVideo", "1, 7") + "," + Filter(7, "SettingsFilterReverse", "8") +
                              "," + Filter(8, "SettingsFilterReverse", "9"))),
              "node 9: /filters/0/inputs/1: the nodes 9, 7, 8 read one another in a circle");
    std::string filters = Filter(100, "SettingsFilterReverse", "129");
    for (int i = 101; i < 130; ++i) filters += "," + Filter(i, "SettingsFilterReverse", std::to_string(i - 1));
    EXPECT_EQ(ErrorOf(Filters(filters)),
              "node 100: /filters/0/inputs/0: the nodes 100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, "
              "112, 113, 114, 115, 116, 117, 118, 119 ... read one another in a circle");
}

TEST(GraphChecks, AControllerThatReadsItsOwnStreamIsACircle) {
    EXPECT_EQ(ErrorOf(Graph(R"("filters": [{"id": 7, "class": "SettingsFilterReverse", "inputs": [11]}],
                               "controllers": [{"id": 10, "class": "FilterCutController",
                                                "streams": [{"id": 11, "input": 1}, {"id": 12, "input": 7}]}], )")),
              "node 7: /filters/0/inputs/0: the nodes 7, 10 read one another in a circle");
}

TEST(GraphChecks, TellsAStreamOfTheWrongKind) {
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterJoinVideo", "1, 2"))),
              "node 5: /filters/0/inputs/1: FilterJoinVideo works on video, and node 2 gives audio");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "SettingsFilterReverse", "3"))),
              "node 5: /filters/0/inputs/0: SettingsFilterReverse works on video or audio, and node 3 gives packets");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterJoinRaw", "3, 4"))),
              "node 5: /filters/0/inputs/1: node 4 is audio and node 3 is video: all inputs must be of one kind");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "SettingsFilterReverse", "2") + "," + Filter(6, "FilterFrameRate", "5"))),
              "node 6: /filters/1/inputs/0: FilterFrameRate works on video, and node 5 gives audio");
    EXPECT_EQ(
        ErrorOf(Graph(R"("controllers": [{"id": 10, "class": "FilterRepeatController",
                                                "settings": {"RedefineDuration": 1},
                                                "streams": [{"id": 11, "input": 1}, {"id": 12, "input": 3}]}], )")),
        "node 10: /controllers/0/streams/1/input: FilterRepeatController works on video or audio or subtitle, and "
        "node 3 gives packets");
}

TEST(GraphChecks, OnlyJoinsAndTheOutputReadTheStreamsOfASeekController) {
    std::string const controller = R"("controllers": [{"id": 10, "class": "FilterSeekController",
                                                       "streams": [{"id": 11, "input": 1}]}], )";
    EXPECT_EQ(ErrorOf(Graph(R"("filters": [)" + Filter(5, "SettingsFilterReverse", "11") + "], " + controller)),
              "node 5: /filters/0/inputs/0: node 11 is held by a FilterSeekController: only a join or the output reads "
              "it");
    EXPECT_NO_THROW(ParseGraph(Graph(R"("filters": [)" + Filter(5, "FilterJoinVideo", "11") + "], " + controller)));
    EXPECT_NO_THROW(ParseGraph(Graph(controller)));
}

std::string Cached(std::string const& rest, std::string const& controllers = "", std::string const& inputs = "12") {
    std::string streams;
    for (char const input : inputs)
        streams += (streams.empty() ? "" : ", ") + std::string(R"({"id": 1)") + input + R"(, "input": )" + input + "}";
    return Graph(rest + R"("controllers": [{"id": 10, "class": "FilterCacheController", "streams": [)" + streams +
                 "]}" + controllers + "], ");
}

TEST(GraphChecks, CachesTakeVideoAndAudioOnly) {
    EXPECT_EQ(ErrorOf(Cached("", "", "13")),
              "node 10: /controllers/0/streams/1/input: FilterCacheController works on video or audio, and node 3 "
              "gives packets");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterCacheData", "2"))),
              "node 5: /filters/0/inputs/0: FilterCacheData works on video, and node 2 gives audio");
}

TEST(GraphChecks, SeekControllersTakeNoSubtitles) {
    EXPECT_EQ(ErrorOf(R"({"sources": [{"id": 1, "file": "a", "stream": "subtitle"}],
                          "controllers": [{"id": 10, "class": "FilterSeekController",
                                           "streams": [{"id": 11, "input": 1}]}], "output": "null"})"),
              "node 10: /controllers/0/streams/0/input: FilterSeekController works on video or audio or packets, and "
              "node 1 gives subtitle");
}

TEST(GraphChecks, NoFilterReadsOneOfSeveralCachedStreams) {
    std::string const what =
        "node 11 shares its FilterCacheController with node 12, and they seek as one: only the output or a "
        "FilterSeekController that holds them all reads them; put the filter below, or give the stream a "
        "FilterCacheController of its own";
    EXPECT_EQ(ErrorOf(Cached(R"("filters": [)" + Filter(5, "SettingsFilterReverse", "11") + "], ")),
              "node 5: /filters/0/inputs/0: " + what);
    EXPECT_EQ(ErrorOf(Cached(R"("filters": [)" + Filter(5, "FilterJoinVideo", "11") + "], ")),
              "node 5: /filters/0/inputs/0: " + what);
    EXPECT_EQ(ErrorOf(Cached("", R"(, {"id": 20, "class": "FilterCutController",
                                       "streams": [{"id": 21, "input": 11}, {"id": 22, "input": 12}]})")),
              "node 20: /controllers/1/streams/0/input: " + what);
    EXPECT_NO_THROW(ParseGraph(Cached("")));
    EXPECT_NO_THROW(ParseGraph(Cached(R"("filters": [)" + Filter(5, "SettingsFilterReverse", "11") + "], ", "", "1")));
}

TEST(GraphChecks, ASeekControllerHoldsAllStreamsOfACacheControllerOrNone) {
    auto const held = [](std::string const& streams, std::string const& filters = "") {
        return Cached(filters, R"(, {"id": 20, "class": "FilterSeekController", "streams": [)" + streams + "]}");
    };
    EXPECT_NO_THROW(ParseGraph(held(R"({"id": 21, "input": 11}, {"id": 22, "input": 12})")));
    EXPECT_NO_THROW(ParseGraph(held(R"({"id": 21, "input": 11}, {"id": 22, "input": 12}, {"id": 23, "input": 3})")));
    EXPECT_NO_THROW(ParseGraph(held(R"({"id": 21, "input": 11}, {"id": 22, "input": 12})",
                                    R"("filters": [)" + Filter(5, "FilterJoinVideo", "21") + "], ")));
    EXPECT_EQ(ErrorOf(held(R"({"id": 21, "input": 3}, {"id": 22, "input": 12})")),
              "node 20: /controllers/1/streams/1/input: node 12 shares its FilterCacheController with node 11: a "
              "FilterSeekController that holds one of them must hold all");
    EXPECT_EQ(
        ErrorOf(held(R"({"id": 21, "input": 11})", R"("filters": [)" + Filter(5, "FilterCacheData", "21") + "], ")),
        "node 5: /filters/0/inputs/0: node 21 is held by a FilterSeekController: only a join or the output reads "
        "it");
}

/// A film's two streams under a seek controller, each with a join above it.
std::string Linked(std::string const& filters, std::string const& controllers = "") {
    return Graph(R"("filters": [)" + Filter(5, "FilterJoinVideo", "21") + "," + Filter(6, "FilterJoinAudio", "22") +
                 filters + R"(], "controllers": [{"id": 20, "class": "FilterSeekController",
                                  "streams": [{"id": 21, "input": 1}, {"id": 22, "input": 2}]})" +
                 controllers + "], ");
}

TEST(GraphChecks, LinkedStreamsAreNotReadByDifferentThreads) {
    EXPECT_NO_THROW(ParseGraph(Linked("")));
    EXPECT_EQ(ErrorOf(Linked("," + Filter(7, "FilterCacheData", "5"))),
              "node 20: /controllers/0/streams/1: node 21 and node 22 are moved together, but node 7 reads one of them "
              "ahead on a thread of its own: put it below the FilterSeekController");
    EXPECT_EQ(
        ErrorOf(Linked("," + Filter(7, "SettingsFilterSpeedUp", "6"),
                       R"(, {"id": 30, "class": "FilterCacheController",
                                   "streams": [{"id": 31, "input": 5}, {"id": 32, "input": 7}]})")),
        "node 20: /controllers/0/streams/1: node 21 and node 22 are moved together, but node 32 reads one of them "
        "ahead on a thread of its own: put it below the FilterSeekController");
    // Each of two that play backwards seeks for itself, too.
    std::string const refused =
        "node 20: /controllers/0/streams/1: node 21 and node 22 are moved together, but node 7 reads one of them ahead "
        "on a thread of its own: put it below the FilterSeekController";
    EXPECT_EQ(
        ErrorOf(Linked("," + Filter(8, "SettingsFilterReverse", "5") + "," + Filter(7, "SettingsFilterReverse", "6"))),
        refused);
    EXPECT_EQ(ErrorOf(Linked("," + Filter(7, "SettingsFilterReverse", "6"))), refused);
}

TEST(GraphChecks, TellsAStreamThatNobodyReads) {
    EXPECT_EQ(ErrorOf(Graph("", R"({"file": "null", "streams": [{"input": 1}, {"input": 3}, {"input": 4}]})")),
              "node 2: /sources/1: nobody reads this stream");
    EXPECT_EQ(ErrorOf(Graph(R"("controllers": [{"id": 10, "class": "FilterCutController",
                                                "streams": [{"id": 11, "input": 1}, {"id": 12, "input": 2}]}], )",
                            R"({"file": "x.mkv", "streams": [{"input": 11}, {"input": 3}, {"input": 4}]})")),
              "node 12: /controllers/0/streams/1: nobody reads this stream");
}

TEST(GraphChecks, APlainDryRunTakesWhatIsLeftOver) {
    EXPECT_NO_THROW(ParseGraph(Graph("")));
}

std::string ErrorOfOutput(std::string const& file, std::string const& first, std::string const& second = "",
                          std::string const& third = "") {
    return ErrorOf(Graph("", R"({)" + file + R"("streams": [{"input": 1)" + first + R"(}, {"input": 2)" + second +
                                 R"(}, {"input": 3)" + third + R"(}, {"input": 4}]})"));
}

TEST(GraphChecks, TellsContainersThatAreNotKnown) {
    EXPECT_EQ(ErrorOfOutput(R"("file": "x", )", ""),
              "/output/file: x: the name has no extension to tell the container");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.xyz", )", ""),
              "/output/file: x.xyz: there is no container for the extension \".xyz\"");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x", "container": "mkv", )", ""),
              "/output/container: there is no container \"mkv\"");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x", "container": "matroska", )", ""), "(nothing was thrown)");
}

TEST(GraphChecks, TellsCodecsThatAreNotKnownOrDoNotFit) {
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", R"(, "codec": "h2644")"),
              "/output/streams/0/codec: there is no codec \"h2644\"; did you mean \"h264\"?");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", R"(, "codec": "aac")"),
              "/output/streams/0/codec: aac is no codec of video, which node 1 gives");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.webm", )", R"(, "codec": "h264")"),
              "/output/streams/0/codec: webm can't carry h264");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", "", "", R"(, "codec": "h264")"),
              "/output/streams/2/codec: node 3 gives packets, which go into the file as they come");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", "", R"(, "quality": 3)"),
              "/output/streams/1/quality: node 2 gives audio: the quality is one of video");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", R"(, "bitRate": 3)"),
              "/output/streams/0/bitRate: node 1 gives video: the bit rate is one of audio");
    EXPECT_EQ(ErrorOfOutput(R"("file": "x.mp4", )", R"(, "codec": "h264", "quality": 3)", R"(, "codec": "aac")"),
              "(nothing was thrown)");
}

TEST(GraphChecks, TellsAClassThatTheCatalogDoesNotKnow) {
    GraphDocument document;
    document.sources.push_back({1, "a", {StreamKind::Video, 0}, false, "/sources/0"});
    document.filters.push_back({2, "Unheard", "Default", {}, {1}, "/filters/0"});
    EXPECT_EQ(MessageOf<GraphException>([&] { CheckGraph(document); }),
              "node 2: /filters/0/class: there is no class \"Unheard\"");
}

TEST(GraphChecks, TakesAJoinOfTenThousandClips) {
    GraphDocument document;
    GraphFilter join{0, "FilterJoinVideo", "Default", {}, {}, "/filters/0"};
    for (NodeId id = 1; id <= 10000; ++id) {
        document.sources.push_back({id, "a", {StreamKind::Video, 0}, false, "/sources/" + std::to_string(id - 1)});
        join.inputs.push_back(id);
    }
    document.filters.push_back(join);
    EXPECT_EQ(CheckGraph(document).size(), 10001U);
}

TEST(GraphChecks, KnowsWhatAGeneratorAndASpectrumGive) {
    auto const types = CheckGraph(ParseGraph(
        R"({"filters": [{"id": 1, "class": "SettingsAudioGenerator", "inputs": []},
                        {"id": 2, "class": "FilterAudioHistogram", "inputs": [1]},
                        {"id": 3, "class": "SettingsFilterReverse", "inputs": [2]}], "output": "null"})"));
    EXPECT_EQ(types.at(1).kind, GraphKind::Audio);
    EXPECT_EQ(types.at(1).media, StreamKind::Audio);
    EXPECT_EQ(types.at(2).kind, GraphKind::Video);
    EXPECT_EQ(types.at(2).media, StreamKind::Video);
    EXPECT_EQ(types.at(3).kind, GraphKind::Video);
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterAudioHistogram", "2") + "," + Filter(6, "FilterJoinAudio", "5"))),
              "node 6: /filters/1/inputs/0: FilterJoinAudio works on audio, and node 5 gives video");
    EXPECT_EQ(ErrorOf(Filters(Filter(5, "FilterAudioHistogram", "1"))),
              "node 5: /filters/0/inputs/0: FilterAudioHistogram works on audio, and node 1 gives video");
}

TEST(GraphChecks, AMixerMayNotReadStreamsThatSeekAsOne) {
    EXPECT_EQ(ErrorOf(Graph(R"("filters": [{"id": 20, "class": "FilterAudioMixer", "inputs": [12]}],
                               "controllers": [{"id": 10, "class": "FilterSeekController",
                                                "streams": [{"id": 11, "input": 1}, {"id": 12, "input": 2}]}], )")),
              "node 20: /filters/0/inputs/0: node 12 is held by a FilterSeekController: only a join or the output "
              "reads it");
}

}  // namespace
}  // namespace Tarsel::Host
