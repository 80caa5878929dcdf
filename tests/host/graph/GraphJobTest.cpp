#include "host/graph/GraphJob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>

#include "host/graph/GraphErrors.h"
#include "host/graph/ShortForms.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/MediaInspector.h"
#include "tests/support/PictureNumbers.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::InspectFile;
using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr auto VIDEO = StreamKind::Video;
constexpr auto AUDIO = StreamKind::Audio;
constexpr char TRIMMER[] = "SettingsFilterDurationTrimmer";
constexpr int SECONDS = 2;
constexpr int PICTURES = 25 * SECONDS;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Support::SmallClip(SECONDS), true);
        return folder / "clip.mp4";
    }();
    return path;
}

GraphReport Play(GraphMaker const& graph, GraphRunOptions const& options = {}) {
    return RunGraph(graph.document, options, nullptr);
}

/// Both streams of the clip as they are.
GraphMaker Plain(std::string const& output) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO).Into(output, {1, 2});
    return graph;
}

std::vector<int> UpTo(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

TEST(GraphJob, EachContainerGetsItsCodecsAndAllPictures) {
    struct Row {
        char const* ending;
        char const* video;
        char const* audio;
    };
    ScratchFolder const folder;
    for (Row const& row : {Row{"mp4", "h264", "aac"}, Row{"mov", "h264", "aac"}, Row{"mkv", "h264", "aac"},
                           Row{"ts", "h264", "aac"}, Row{"webm", "vp9", "opus"}, Row{"avi", "mpeg4", "mp3"}}) {
        std::string const path = folder / (std::string("out.") + row.ending);
        auto const report = Play(Plain(path));
        auto const file = InspectFile(path);
        ASSERT_EQ(2U, file.streams.size()) << row.ending;
        EXPECT_EQ(row.video, file.First(Support::StreamKind::Video)->codec) << row.ending;
        EXPECT_EQ(row.audio, file.First(Support::StreamKind::Audio)->codec) << row.ending;
        EXPECT_EQ(UpTo(PICTURES), Support::PictureNumbers(path)) << row.ending;
        EXPECT_EQ(row.video, report.streams[0].codec) << row.ending;
        EXPECT_EQ(PICTURES, report.streams[0].items) << row.ending;
        EXPECT_EQ(PICTURES * 40000, report.streams[0].endUs) << row.ending;
    }
}

TEST(GraphJob, PassesThatAreNoWholeNumberOfPicturesDontMoveAviFilesPicturesBack) {
    ScratchFolder const folder;
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Filter(2, "SettingsFilterDurationTrimmer", {1}, {{"Duration", "1016000"}});
    graph.Filter(3, "SettingsFilterLoop", {2}, {{"Duration", "5080000"}}).Into(folder / "out.avi", {3});
    auto const report = Play(graph);
    // Five passes of 26 pictures, the last of which has to share its place with the next pass's first one twice.
    EXPECT_THAT(
        report.warnings,
        ElementsAre("node 3: 2 pictures are left out: their places in the container's regular times are taken"));
    auto const numbers = Support::PictureNumbers(folder / "out.avi");
    ASSERT_EQ(128U, numbers.size());
    EXPECT_EQ(0, numbers[51]);
    EXPECT_EQ(0, numbers[102]);
    EXPECT_EQ(25, numbers[127]);
}

TEST(GraphJob, SoundAloneGoesIntoWav) {
    ScratchFolder const folder;
    GraphMaker graph;
    graph.Source(2, Clip(), AUDIO).Into(folder / "out.wav", {2});
    EXPECT_EQ("wav", Play(graph).container);
    Support::Messages messages;
    auto const sound = Support::DecodeSound(folder / "out.wav", 0, messages);
    EXPECT_EQ("pcm_s16le", InspectFile(folder / "out.wav").streams[0].codec);
    EXPECT_NEAR(48000.0 * SECONDS, double(sound.samples.size()) / sound.channels, 1024);
}

TEST(GraphJob, ALoopOfSoundEndsOnItsSample) {
    ScratchFolder const folder;
    ShortFormOptions options;
    options.output = folder / "out.wav";
    RunGraph(MakeLoopGraph(Clip(), 9123000, options).document, {}, nullptr);
    Support::Messages messages;
    auto const sound = Support::DecodeSound(options.output, 0, messages);
    EXPECT_EQ(437904U, sound.samples.size() / static_cast<std::size_t>(sound.channels));
}

TEST(GraphJob, TwoRunsGiveTheSameBytes) {
    ScratchFolder const folder;
    auto const bytes = [&](std::string const& name) {
        Play(Plain(folder / name));
        std::ifstream file(folder / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    for (std::string const ending : {"mp4", "mkv", "ts", "webm", "avi", "ogg", "flv"})
        EXPECT_TRUE(bytes("first." + ending) == bytes("second." + ending)) << ending;
}

TEST(GraphJob, CodecQualityAndContainerAreThoseAskedFor) {
    ScratchFolder const folder;
    std::vector<std::size_t> sizes;
    for (int const quality : {5, 45}) {
        GraphMaker graph = Plain(folder / ("q" + std::to_string(quality) + ".bin"));
        graph.document.output.container = "matroska";
        graph.document.output.streams[0].codec = "vp9";
        graph.document.output.streams[0].quality = quality;
        graph.document.output.streams[1].codec = "mp3";
        graph.document.output.streams[1].bitRate = 96000;
        EXPECT_EQ("matroska", Play(graph).container);
        auto const file = InspectFile(graph.document.output.file);
        EXPECT_EQ("vp9", file.First(Support::StreamKind::Video)->codec);
        EXPECT_EQ("mp3", file.First(Support::StreamKind::Audio)->codec);
        std::size_t bytes = 0;
        for (auto const& packet : file.First(Support::StreamKind::Video)->packets) bytes += packet.data.size();
        sizes.push_back(bytes);
        bytes = 0;
        for (auto const& packet : file.First(Support::StreamKind::Audio)->packets) bytes += packet.data.size();
        EXPECT_NEAR(96000.0 / 8 * SECONDS, double(bytes), 2000);
    }
    EXPECT_GT(sizes[0], 2 * sizes[1]);
}

TEST(GraphJob, HevcIsEncodedToo) {
    ScratchFolder const folder;
    GraphMaker graph = Plain(folder / "out.mp4");
    graph.document.output.streams[0].codec = "hevc";
    Play(graph);
    EXPECT_EQ("hevc", InspectFile(folder / "out.mp4").First(Support::StreamKind::Video)->codec);
    EXPECT_EQ(UpTo(PICTURES), Support::PictureNumbers(folder / "out.mp4"));
}

TEST(GraphJob, PacketsGoOutByteForByteInTheContainersFraming) {
    ScratchFolder const folder;
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO, 0, true).Source(2, Clip(), AUDIO, 0, true).Into(folder / "out.mkv", {1, 2});
    auto const report = Play(graph);
    auto const before = InspectFile(Clip());
    auto const after = InspectFile(folder / "out.mkv");
    for (std::size_t i = 0; i < 2; ++i) {
        ASSERT_EQ(before.streams[i].packets.size(), after.streams[i].packets.size());
        for (std::size_t k = 0; k < after.streams[i].packets.size(); ++k)
            EXPECT_EQ(before.streams[i].packets[k].data, after.streams[i].packets[k].data) << i << " " << k;
    }
    GraphMaker stream;
    stream.Source(1, Clip(), VIDEO, 0, true).Into(folder / "out.ts", {1});
    Play(stream);
    EXPECT_EQ(UpTo(PICTURES), Support::PictureNumbers(folder / "out.ts"));
    EXPECT_EQ("packets", report.streams[0].kind);
}

TEST(GraphJob, MetadataOfTheFirstFileIsKept) {
    ScratchFolder const folder;
    std::string const clip = folder / "named.mkv";
    Support::RunFFmpeg({"-i", Clip(), "-c", "copy", "-metadata", "title=A title", clip});
    GraphMaker graph;
    graph.Source(1, clip, VIDEO).Into(folder / "out.mkv", {1});
    Play(graph);
    EXPECT_EQ("A title", InspectFile(folder / "out.mkv").metadata.at("title"));
}

TEST(GraphJob, TwoShapesJoinInTheFirstOnesFrameWithAWarning) {
    ScratchFolder const folder;
    auto options = Support::SmallClip(1);
    options.height = 320;
    WriteSampleClip(folder / "square.mp4", options, true);
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, folder / "square.mp4", VIDEO).Filter(3, "FilterJoinVideo", {1, 2});
    graph.Into(folder / "out.mp4", {3});
    auto const report = Play(graph);
    EXPECT_THAT(report.warnings, ElementsAre("node 3: pictures are fitted: 320x320 yuv420p into 320x180 yuv420p"));
    auto const file = InspectFile(folder / "out.mp4");
    EXPECT_EQ(320, file.streams[0].width);
    EXPECT_EQ(180, file.streams[0].height);
    EXPECT_EQ(std::size_t{PICTURES + 25}, file.streams[0].packets.size());
}

/// Lets the process have so many files open at a time.
class FileLimit {
  public:
    explicit FileLimit(rlim_t count) {
        EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
        rlimit const lower{std::min(count, before.rlim_max), before.rlim_max};
        EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &lower));
    }
    ~FileLimit() { setrlimit(RLIMIT_NOFILE, &before); }

  private:
    rlimit before{};
};

TEST(GraphJob, AJoinOfManyClipsHoldsFewFilesOpen) {
    constexpr int CLIPS = 300;
    ScratchFolder const folder;
    std::string const first = folder / "0.mp4";
    Support::RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=0.08", "-f", "lavfi", "-i", "sine=r=48000:d=0.08",
                        "-pix_fmt", "yuv420p", "-c:v", "libx264", "-c:a", "aac", first});
    std::vector<std::string> clips{first};
    for (int i = 1; i < CLIPS; ++i) {
        clips.push_back(folder / (std::to_string(i) + ".mp4"));
        std::filesystem::copy_file(first, clips.back());
    }
    auto const graph = MakeJoinGraph(clips, {});
    GraphRunOptions options;
    options.building.opened = graph.files;
    FileLimit const limit(64);
    auto const report = RunGraph(graph.document, options, nullptr);
    int64 const length = graph.files.front()->GetDuration();
    ASSERT_EQ(2U, report.streams.size());
    EXPECT_EQ("video", report.streams[0].kind);
    EXPECT_EQ(0, report.streams[0].beginUs);
    EXPECT_EQ(CLIPS * length, report.streams[0].endUs);
    EXPECT_GE(report.streams[0].items, CLIPS * 2);
    EXPECT_EQ(CLIPS * length, report.streams[1].endUs);
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST(GraphJob, ProgressRunsToTheLongestLength) {
    GraphMaker graph = Plain({});
    int64 reached = 0;
    int64 total = 0;
    RunGraph(graph.document, {}, [&](int64 done, int64 all) {
        reached = std::max(reached, done);
        total = all;
    });
    EXPECT_GE(total, SECONDS * SECOND);
    EXPECT_GE(reached, (PICTURES - 1) * 40000);
}

TEST(GraphJob, ADryRunReadsAllAndWritesNothing) {
    ScratchFolder const folder;
    GraphRunOptions options;
    options.dryRun = true;
    auto const report = Play(Plain(folder / "out.mp4"), options);
    EXPECT_THAT(folder.List(), IsEmpty());
    EXPECT_EQ("", report.output);
    EXPECT_EQ(PICTURES, report.streams[0].items);
    EXPECT_EQ("", report.streams[0].codec);
    EXPECT_EQ(PICTURES, report.nodes[0].items);
}

TEST(GraphJob, ANullOutputReadsEveryStreamThatNobodyReads) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO).Filter(3, TRIMMER, {1}, {{"Duration", "1000000"}});
    auto const report = Play(graph);
    ASSERT_EQ(2U, report.streams.size());
    EXPECT_EQ(2, report.streams[0].input);
    EXPECT_EQ(3, report.streams[1].input);
    EXPECT_EQ(SECOND, report.streams[1].endUs);
    EXPECT_EQ(25, report.streams[1].items);
}

TEST(GraphJobReport, TellsNodesStreamsAndStatistics) {
    ScratchFolder const folder;
    auto const report = Play(Plain(folder / "out.mp4"));
    auto const json = nlohmann::json::parse(report.ToJson(true));
    EXPECT_EQ(folder / "out.mp4", json.at("output"));
    EXPECT_EQ("mp4", json.at("container"));
    EXPECT_EQ(1, json.at("nodes")[0].at("id"));
    EXPECT_EQ("source", json.at("nodes")[0].at("class"));
    EXPECT_EQ("video", json.at("nodes")[0].at("kind"));
    EXPECT_EQ(PICTURES, json.at("nodes")[0].at("items"));
    EXPECT_GT(json.at("nodes")[0].at("inclusive_us"), 0);
    EXPECT_GE(json.at("nodes")[0].at("inclusive_us"), json.at("nodes")[0].at("exclusive_us"));
    EXPECT_EQ("h264", json.at("streams")[0].at("codec"));
    EXPECT_THAT(json.at("streams")[0].at("statistics").dump(), HasSubstr("Tarsel::Host::VideoEncoder::GetStatistic"));
    EXPECT_EQ(nlohmann::json::array(), json.at("warnings"));
    EXPECT_GT(json.at("wall_seconds"), 0);
    EXPECT_FALSE(nlohmann::json::parse(report.ToJson(false)).at("streams")[0].contains("statistics"));
    EXPECT_THAT(report.ToText(true), HasSubstr("node 1 source (video, 00:02.000): 50 items"));
    EXPECT_THAT(report.ToText(false), HasSubstr("node 1 video h264: 50 packets, 00:00.000 to 00:02.000"));
}

std::string RunMessage(GraphMaker const& graph, GraphRunOptions const& options = {}) {
    return MessageOf<GraphException>([&] { Play(graph, options); });
}

TEST(GraphJobErrors, TheGraphsNameStandsInFront) {
    GraphMaker graph;
    graph.Source(1, "/nowhere/film.mp4", VIDEO);
    GraphRunOptions options;
    options.name = "my.json";
    EXPECT_THAT(RunMessage(graph, options), HasSubstr("my.json: node 1: /sources/0/file: /nowhere/film.mp4: "));
}

TEST(GraphJobErrors, ARunFailureNamesItsNodeAndLeavesNothing) {
    ScratchFolder const folder;
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO);
    graph.Filter(3, TRIMMER, {1}, {{"Duration", "-5"}}).Into(folder / "out.mp4", {3});
    EXPECT_EQ("node 3: /filters/0: Duration is out of (0, MAX_DURATION]", RunMessage(graph));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(GraphJobErrors, WhatAnEncoderCantHaveNamesStreamAndPlace) {
    ScratchFolder const folder;
    auto const message = [&](auto change) {
        GraphMaker graph = Plain(folder / "out.mp4");
        change(graph.document.output.streams);
        std::string const text = RunMessage(graph);
        EXPECT_THAT(folder.List(), IsEmpty()) << text;
        return text;
    };
    using Streams = std::vector<GraphOutput::Stream>;
    EXPECT_EQ("node 1: /output/streams/0: quality 52 is out of the range of h264: 0 (best) to 51",
              message([](Streams& streams) { streams[0].quality = 52; }));
    EXPECT_EQ("/output/streams/0/codec: aac is no codec of video, which node 1 gives",
              message([](Streams& streams) { streams[0].codec = "aac"; }));
    EXPECT_EQ("/output/streams/0/codec: mp4 can't carry theora",
              message([](Streams& streams) { streams[0].codec = "theora"; }));
    EXPECT_EQ("node 1: /output/streams/0: there is no encoder for vc1",
              message([](Streams& streams) { streams[0].codec = "vc1"; }));
    EXPECT_EQ("/output/streams/1/quality: node 2 gives audio: the quality is one of video",
              message([](Streams& streams) { streams[1].quality = 3; }));
    EXPECT_EQ("node 2: /output/streams/1: bit rate 5 is out of the range 1000 to 2000000",
              message([](Streams& streams) { streams[1].bitRate = 5; }));
}

TEST(GraphJobErrors, PacketsTakeNoCodec) {
    ScratchFolder const folder;
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO, 0, true).Into(folder / "out.mp4", {1});
    graph.document.output.streams[0].codec = "h264";
    EXPECT_EQ("/output/streams/0/codec: node 1 gives packets, which go into the file as they come", RunMessage(graph));
}

TEST(GraphJobErrors, TheOutputMayNotBeAnInput) {
    ScratchFolder const folder;
    std::string const clip = folder / "clip.mp4";
    WriteSampleClip(clip, Support::SmallClip(1), true);
    auto const before = Support::InspectFile(clip).streams[0].packets.size();
    GraphMaker graph;
    graph.Source(1, clip, VIDEO).Into(clip, {1});
    GraphRunOptions options;
    options.force = true;
    EXPECT_THROW(Play(graph, options), Core::IOException);
    EXPECT_EQ(before, Support::InspectFile(clip).streams[0].packets.size());
    EXPECT_THAT(folder.List(), ElementsAre("clip.mp4"));
}

TEST(GraphJobErrors, AFileThatStandsThereIsReplacedByForceOnly) {
    ScratchFolder const folder;
    std::ofstream(folder / "out.mp4") << "mine";
    EXPECT_THROW(Play(Plain(folder / "out.mp4")), Core::IOException);
    EXPECT_EQ(4U, std::ifstream(folder / "out.mp4", std::ios::ate).tellg());
    GraphRunOptions options;
    options.force = true;
    Play(Plain(folder / "out.mp4"), options);
    EXPECT_EQ(2U, InspectFile(folder / "out.mp4").streams.size());
}

TEST(GraphJobErrors, ANodeThatStandsStillIsEnded) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Filter(3, "FilterRepeatVideo", {1});
    GraphRunOptions options;
    options.building.stallLimit = 1000;
    EXPECT_EQ("node 3: /filters/0: it gave 1000 items without progress in time", RunMessage(graph, options));
}

}  // namespace
}  // namespace Tarsel::Host
