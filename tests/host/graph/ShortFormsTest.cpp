#include "host/graph/ShortForms.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphWriter.h"
#include "host/media/MediaFile.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::MakeClip;
using Tarsel::Test::MakeTextFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

/// Two seconds of pictures.
std::string Pictures() {
    return MakeClip("short-pictures.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=2", "-c:v", "libx264"});
}

/// Two seconds of sound, one stream.
std::string Sound() {
    return MakeClip("short-sound.m4a", {"-f", "lavfi", "-i", "sine=d=2", "-c:a", "aac"});
}

/// Pictures, sound twice, lines of text.
std::string Film() {
    std::string const lines = MakeTextFile("short-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    return MakeClip("short-film.mkv", {"-i", Pictures(), "-i", Sound(), "-i", lines, "-map", "0", "-map", "1", "-map",
                                       "2", "-map", "1", "-c", "copy", "-c:s", "srt"});
}

std::string ErrorOf(ShortFormGraph (*make)(std::string const&, ShortFormOptions const&), std::string const& input,
                    ShortFormOptions const& options = {}) {
    return MessageOf<GraphException>([&] { make(input, options); });
}

/// One line per node, which names its class, its inputs and what it is set to.
std::vector<std::string> Listing(GraphDocument const& document) {
    std::vector<std::string> lines;
    for (GraphSource const& source : document.sources)
        lines.push_back(std::to_string(source.id) + ": " + std::string(KindName(*source.stream.kind)) + ":" +
                        std::to_string(source.stream.ordinal));
    for (GraphFilter const& filter : document.filters) {
        std::string line = std::to_string(filter.id) + ": " + filter.classId + " " + filter.implName;
        for (NodeId const input : filter.inputs) line += " <- " + std::to_string(input);
        if (!filter.settings.Children().empty()) line += " = " + filter.settings.Children().front().GetString();
        lines.push_back(line);
    }
    for (GraphOutput::Stream const& stream : document.output.streams)
        lines.push_back("out <- " + std::to_string(stream.input) + (stream.codec.empty() ? "" : " " + stream.codec));
    return lines;
}

/// The graph is one that a file can hold as well.
void ExpectWritable(ShortFormGraph const& graph) {
    EXPECT_EQ(ParseGraph(WriteGraph(graph.document)), graph.document);
}

TEST(ShortForms, TrimTakesPicturesSoundAndLines) {
    ShortFormOptions options;
    options.output = "out.mp4";
    auto const graph = MakeTrimGraph(Film(), 1000000, options);
    EXPECT_THAT(Listing(graph.document), ElementsAre("1: video:0", "2: audio:0", "3: subtitle:0", "4: audio:1",
                                                     "5: SettingsFilterDurationTrimmer Tarsel <- 1 = 1000000",
                                                     "6: SettingsFilterDurationTrimmer Tarsel <- 2 = 1000000",
                                                     "7: SettingsFilterDurationTrimmer Tarsel <- 3 = 1000000",
                                                     "8: SettingsFilterDurationTrimmer Tarsel <- 4 = 1000000",
                                                     "out <- 5", "out <- 6", "out <- 7 mov_text", "out <- 8"));
    EXPECT_THAT(graph.warnings, IsEmpty());
    EXPECT_EQ(graph.document.output.file, "out.mp4");
    EXPECT_EQ(graph.document.sources[0].file, Film());
    ExpectWritable(graph);
}

TEST(ShortForms, TrimWritesLinesAsTheContainerHoldsThem) {
    for (auto const& [output, codec] : std::vector<std::pair<std::string, std::string>>{
             {"o.mkv", "subrip"}, {"o.mov", "mov_text"}, {"o.webm", "webvtt"}, {"", ""}}) {
        ShortFormOptions options;
        options.output = output;
        EXPECT_EQ(MakeTrimGraph(Film(), 5, options).document.output.streams.at(2).codec, codec) << output;
    }
}

TEST(ShortForms, TrimLeavesLinesOutWhereTheContainerHoldsNone) {
    ShortFormOptions options;
    options.output = "out.ts";
    auto const graph = MakeTrimGraph(Film(), 1000000, options);
    EXPECT_EQ(graph.document.sources.size(), 3U);
    EXPECT_THAT(graph.warnings, ElementsAre(Film() + ": stream #2 (subtitle, subrip) is left out: mpegts holds no "
                                                     "subtitles of text"));
}

TEST(ShortForms, JoinTrimsEachClipToItsLengthFirst) {
    auto const length = std::to_string(MediaFile::Open(Film())->GetDuration());
    auto const graph = MakeJoinGraph({Film(), Film()}, {});
    std::string const trimmer = "SettingsFilterDurationTrimmer Tarsel <- ";
    EXPECT_THAT(Listing(graph.document),
                ElementsAre("1: video:0", "2: audio:0", "3: audio:1", "7: video:0", "8: audio:0", "9: audio:1",
                            "4: " + trimmer + "1 = " + length, "5: " + trimmer + "2 = " + length,
                            "6: " + trimmer + "3 = " + length, "10: " + trimmer + "7 = " + length,
                            "11: " + trimmer + "8 = " + length, "12: " + trimmer + "9 = " + length,
                            "13: FilterJoinVideo Tarsel <- 4 <- 10", "14: FilterJoinAudio Tarsel <- 5 <- 11",
                            "15: FilterJoinAudio Tarsel <- 6 <- 12", "out <- 13", "out <- 14", "out <- 15"));
    EXPECT_THAT(graph.warnings, ElementsAre(Film() + ": stream #2 (subtitle, subrip) is left out",
                                            Film() + ": stream #2 (subtitle, subrip) is left out"));
    ExpectWritable(graph);
}

TEST(ShortForms, EachFileIsHandedOutOpenOnce) {
    auto const graph = MakeJoinGraph({Pictures(), Pictures(), Pictures()}, {});
    ASSERT_EQ(graph.files.size(), 1U);
    EXPECT_EQ(graph.files[0]->GetPath(), Pictures());
    EXPECT_EQ(graph.document.sources.size(), 3U);
}

TEST(ShortForms, JoinNamesTheFileWhoseStreamsDoNotMatch) {
    EXPECT_EQ(MessageOf<GraphException>([] {
                  MakeJoinGraph({Film(), Pictures()}, {});
              }),
              Pictures() + ": has no audio streams where " + Film() + " has 2 audio streams");
    EXPECT_EQ(MessageOf<GraphException>([] {
                  MakeJoinGraph({Sound(), Film()}, {});
              }),
              Film() + ": has 1 video stream where " + Sound() + " has no video streams");
    EXPECT_EQ(MessageOf<GraphException>([] { MakeJoinGraph({}, {}); }), "there is nothing to join");
    ShortFormOptions options;
    options.noAudio = true;
    EXPECT_EQ(MakeJoinGraph({Film(), Pictures()}, options).document.output.streams.size(), 1U);
}

TEST(ShortForms, ReverseAndLoopWorkOnStreamsOfOneLength) {
    std::string const length = "2000000";  // of the pictures: the sound is left out
    ShortFormOptions options;
    options.noAudio = true;
    auto const reversed = MakeReverseGraph(Film(), options);
    EXPECT_THAT(Listing(reversed.document),
                ElementsAre("1: video:0", "2: SettingsFilterDurationTrimmer Tarsel <- 1 = " + length,
                            "3: SettingsFilterReverse Tarsel <- 2 = 1", "out <- 3"));
    auto const looped = MakeLoopGraph(Film(), 9000000, options);
    EXPECT_THAT(Listing(looped.document),
                ElementsAre("1: video:0", "2: SettingsFilterDurationTrimmer Tarsel <- 1 = " + length,
                            "3: SettingsFilterLoop Tarsel <- 2 = 9000000", "out <- 3"));
    ExpectWritable(reversed);
    ExpectWritable(looped);
}

TEST(ShortForms, WhatIsLeftOutDoesNotLengthenTheFile) {
    std::string const lines = MakeTextFile("late-lines.srt", "1\n00:00:01,000 --> 00:00:05,000\nOne\n");
    std::string const film =
        MakeClip("late-lines.mkv", {"-i", Pictures(), "-i", lines, "-map", "0", "-map", "1", "-c", "copy"});
    EXPECT_EQ(5 * SECOND, MediaFile::Open(film)->GetDuration());
    EXPECT_THAT(Listing(MakeReverseGraph(film, {}).document),
                ElementsAre("1: video:0", "2: SettingsFilterDurationTrimmer Tarsel <- 1 = 2000000",
                            "3: SettingsFilterReverse Tarsel <- 2 = 1", "out <- 3"));
}

TEST(ShortForms, LoopedSoundEndsOnItsSample) {
    auto const length = std::to_string(MediaFile::Open(Sound())->GetDuration());
    auto const looped = MakeLoopGraph(Sound(), 9000000, {});
    EXPECT_THAT(Listing(looped.document),
                ElementsAre("1: audio:0", "2: SettingsFilterDurationTrimmer Tarsel <- 1 = " + length,
                            "3: SettingsFilterLoop Tarsel <- 2 = 10000000",
                            "4: SettingsFilterDurationTrimmer Tarsel <- 3 = 9000000", "out <- 4"));
    ExpectWritable(looped);
}

TEST(ShortForms, SpeedPutsPicturesAndSoundUnderOneFactor) {
    auto const graph = MakeSpeedGraph(Film(), 1.5, {});
    EXPECT_THAT(Listing(graph.document),
                ElementsAre("1: video:0", "2: audio:0", "3: audio:1", "4: SettingsFilterSpeedUp Tarsel <- 1 = 1.5",
                            "5: SettingsFilterSpeedUp Tarsel <- 2 = 1.5", "6: SettingsFilterSpeedUp Tarsel <- 3 = 1.5",
                            "out <- 4", "out <- 5", "out <- 6"));
    ExpectWritable(graph);
}

TEST(ShortForms, FrameRatePassesSoundThrough) {
    auto const graph = MakeFrameRateGraph(Film(), Ratio(30000, 1001), false, {});
    EXPECT_THAT(Listing(graph.document), ElementsAre("1: video:0", "2: audio:0", "3: audio:1",
                                                     "4: SettingsFilterFrameRate Default <- 1 = 30000/1001", "out <- 4",
                                                     "out <- 2", "out <- 3"));
    EXPECT_EQ(MakeFrameRateGraph(Film(), Ratio(25), true, {}).document.filters[0].implName, "Adjust");
    ExpectWritable(graph);
    EXPECT_EQ(MessageOf<GraphException>([] { MakeFrameRateGraph(Sound(), Ratio(25), false, {}); }),
              Sound() + ": there is no video in it that could get a frame rate");
}

TEST(ShortForms, AdjustWarnsOfPicturesThatFallBehindTheSound) {
    EXPECT_THAT(MakeFrameRateGraph(Pictures(), Ratio(12), true, {}).warnings,
                ElementsAre(Pictures() + ": stream #0 (video, h264) has 25/1 frames/s, all of which are kept: at 12/1 "
                                         "they fall behind the sound"));
    EXPECT_THAT(MakeFrameRateGraph(Pictures(), Ratio(25), true, {}).warnings, IsEmpty());
    EXPECT_THAT(MakeFrameRateGraph(Pictures(), Ratio(12), false, {}).warnings, IsEmpty());
}

TEST(ShortForms, ThePlayersChoiceOfCodecsGoesToEachStream) {
    ShortFormOptions options;
    options.output = "out";
    options.container = "matroska";
    options.videoCodec = "vp9";
    options.audioCodec = "opus";
    options.quality = 30;
    options.audioBitRate = 64000;
    auto const output = MakeSpeedGraph(Film(), 2, options).document.output;
    EXPECT_EQ(output,
              (GraphOutput{
                  "out", "matroska", {{4, "vp9", 30, 0}, {5, "opus", {}, 64000}, {6, "opus", {}, 64000}}, "/output"}));
    options.videoCodec = "vp99";
    EXPECT_EQ(MessageOf<GraphException>([&] { MakeSpeedGraph(Film(), 2, options); }),
              "/output/streams/0/codec: there is no codec \"vp99\"; did you mean \"vp9\"?");
}

TEST(ShortForms, LeavesOutWhatTheTargetDoesNotHold) {
    ShortFormOptions options;
    options.output = "out.wav";
    auto const graph = MakeSpeedGraph(Film(), 2, options);
    EXPECT_EQ(graph.document.sources.size(), 1U);
    EXPECT_THAT(graph.warnings, ElementsAre(Film() + ": stream #0 (video, h264) is left out: wav holds no video",
                                            Film() + ": stream #2 (subtitle, subrip) is left out",
                                            Film() + ": stream #3 (audio, aac) is left out: wav holds one stream of a "
                                                     "kind"));
    EXPECT_EQ(MessageOf<GraphException>([&] { MakeSpeedGraph(Pictures(), 2, options); }),
              Pictures() + ": there is no video or audio in it that wav holds");
}

TEST(ShortForms, AFileWithoutAStreamOfUseIsRefused) {
    ShortFormOptions options;
    options.noVideo = true;
    EXPECT_EQ(ErrorOf(MakeReverseGraph, Pictures(), options), Pictures() + ": there is no audio in it");
    options.noVideo = false;
    options.noAudio = true;
    EXPECT_EQ(ErrorOf(MakeReverseGraph, Sound(), options), Sound() + ": there is no video in it");
    std::string const lines = MakeTextFile("short-only.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    EXPECT_EQ(ErrorOf(MakeReverseGraph, lines), lines + ": there is no video or audio in it");
    EXPECT_EQ(MessageOf<GraphException>([&] { MakeTrimGraph(lines, 5, {}); }),
              lines + ": there is no video or audio in it");
}

TEST(ShortForms, RefusesValuesOutOfRange) {
    for (int64 const duration : {int64{0}, int64{-5}, MAX_DURATION + 1}) {
        std::string const message =
            "the duration must be from 1 to 2592000000000 microseconds, not " + std::to_string(duration);
        EXPECT_EQ(MessageOf<GraphException>([&] { MakeTrimGraph(Film(), duration, {}); }), message);
        EXPECT_EQ(MessageOf<GraphException>([&] { MakeLoopGraph(Film(), duration, {}); }), message);
    }
    auto const speed = [](double factor) {
        return MessageOf<GraphException>([&] { MakeSpeedGraph(Film(), factor, {}); });
    };
    EXPECT_EQ(speed(0), "the factor must be from 0.01 to 100, not 0");
    EXPECT_EQ(speed(-1.5), "the factor must be from 0.01 to 100, not -1.5");
    EXPECT_EQ(speed(std::nan("")), "the factor must be from 0.01 to 100, not nan");
    auto const rate = [](Ratio const& value) {
        return MessageOf<GraphException>([&] { MakeFrameRateGraph(Film(), value, false, {}); });
    };
    EXPECT_EQ(rate(Ratio(0)), "the frame rate must be above 0 and up to 100000, not 0/1");
    EXPECT_EQ(rate(Ratio(-25)), "the frame rate must be above 0 and up to 100000, not -25/1");
    EXPECT_EQ(rate(Ratio(100001)), "the frame rate must be above 0 and up to 100000, not 100001/1");
}

TEST(ShortForms, AFileThatIsNotThereIsAFailureOfItsOwn) {
    EXPECT_EQ(MessageOf<Core::IOException>([] { MakeReverseGraph("/nowhere/x.mp4", {}); }),
              "/nowhere/x.mp4: there is no such file");
    ShortFormOptions options;
    options.output = "out";
    EXPECT_EQ(MessageOf<Core::IOException>([&] { MakeReverseGraph(Film(), options); }),
              "out: the name has no extension to tell the container");
}

}  // namespace
}  // namespace Tarsel::Host
