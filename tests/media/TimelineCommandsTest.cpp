// What a person types at `tarsel trim`, `join`, `reverse`, `speed`, `loop` and `fps`, and what comes of it.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>

#include "host/media/SampleClip.h"
#include "tests/support/GraphClips.h"
#include "tests/support/PictureNumbers.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int SECONDS = 4;
constexpr int PICTURES = 25 * SECONDS;
constexpr int64 FRAME = 40000;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        Host::WriteSampleClip(folder / "clip.mp4", SmallClip(SECONDS), true);
        return folder / "clip.mp4";
    }();
    return path;
}

/// A click of 10 ms at each whole second.
std::string ClickClip() {
    return MakeClip("clicks.mp4", {"-f", "lavfi", "-i", "testsrc2=size=160x120:rate=25:duration=4", "-f", "lavfi", "-i",
                                   "aevalsrc='if(lt(mod(t,1),0.01),sin(2*PI*1000*t),0)':d=4:s=48000", "-c:v", "libx264",
                                   "-c:a", "aac", "-b:a", "128k"});
}

std::vector<int> Range(int first, int last) {
    std::vector<int> numbers;
    for (int number = first; number != last; number += first < last ? 1 : -1) numbers.push_back(number);
    return numbers;
}

class Timeline : public ::testing::Test {
  protected:
    /// Runs a command on the clip and expects it to succeed.
    std::string Make(std::vector<std::string> arguments, std::string const& name = "out.mp4") {
        std::string const path = folder / name;
        arguments.insert(arguments.end(), {"-o", path, "--force"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        return path;
    }
    static double SoundSeconds(std::string const& path, int stream = 1) {
        Messages messages;
        auto const sound = DecodeSound(path, stream, messages);
        return double(sound.samples.size()) / sound.channels / sound.sampleRate;
    }
    /// Times of the pictures of the first stream.
    static std::vector<int64> PictureTimes(std::string const& path) {
        Messages messages;
        std::vector<int64> times;
        for (auto const& picture : DecodePictures(path, 0, messages)) times.push_back(picture.time);
        return times;
    }
    /// The seconds at which sound begins behind silence.
    static std::vector<double> Clicks(std::string const& path) {
        Messages messages;
        auto const sound = DecodeSound(path, 1, messages);
        std::vector<double> clicks;
        double last = -1;
        for (std::size_t i = 0; i < sound.samples.size(); ++i) {
            double const time = double(i) / sound.channels / sound.sampleRate + double(sound.start) / 1e6;
            if (std::abs(sound.samples[i]) < 0.3F) continue;
            if (time - last > 0.1) clicks.push_back(time);
            last = time;
        }
        return clicks;
    }

    ScratchFolder const folder;
};

// Usage.

TEST_F(Timeline, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    std::string const out = folder / "out.mp4";
    for (auto const& [arguments, named] : std::vector<Mistake>{
             {{"trim", Clip(), "-o", out}, "--duration"},
             {{"trim", Clip(), "--duration", "1"}, "--output"},
             {{"trim", "-o", out, "--duration", "1"}, "input"},
             {{"trim", Clip(), "-o", out, "--duration", "0"}, "--duration: \"0\""},
             {{"trim", Clip(), "-o", out, "--duration", "721:00:00"}, "--duration: \"721:00:00\""},
             {{"trim", Clip(), "-o", out, "--duration", "long"}, "--duration: \"long\""},
             {{"loop", Clip(), "-o", out, "--duration", "-1"}, "--duration"},
             {{"speed", Clip(), "-o", out}, "--factor"},
             {{"speed", Clip(), "-o", out, "--factor", "0"}, "--factor: \"0\""},
             {{"speed", Clip(), "-o", out, "--factor=-1"}, "--factor: \"-1\""},
             {{"speed", Clip(), "-o", out, "--factor", "nan"}, "--factor: \"nan\""},
             {{"speed", Clip(), "-o", out, "--factor", "inf"}, "--factor: \"inf\""},
             {{"speed", Clip(), "-o", out, "--factor", "1x"}, "--factor: \"1x\""},
             {{"fps", Clip(), "-o", out, "--rate", "0"}, "--rate: \"0\""},
             {{"fps", Clip(), "-o", out, "--rate", "25/0"}, "--rate: \"25/0\""},
             {{"fps", Clip(), "-o", out, "--rate", "-25"}, "--rate"},
             {{"fps", Clip(), "-o", out, "--rate", "25/"}, "--rate: \"25/\""},
             {{"join", Clip(), "-o", out}, "input"},
             {{"reverse", Clip(), "-o", out, "--no-video", "--no-audio"}, "leave nothing"},
             {{"reverse", Clip(), "-o", out, "--quality", "52"}, "--quality: quality 52 is out of the range of h264"},
             {{"reverse", Clip(), "-o", out, "--video-codec", "h266"}, "--video-codec: there is no codec \"h266\""},
             {{"reverse", Clip(), "-o", out, "--audio-codec", "h264"}, "--audio-codec: there is no codec \"h264\""}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Timeline, HelpOfEachCommandShowsAnExample) {
    for (char const* command : {"trim", "join", "reverse", "speed", "loop", "fps"}) {
        auto const result = RunTarsel({command, "--help"});
        EXPECT_EQ(0, result.exitCode);
        EXPECT_THAT(result.output, HasSubstr("Example:\n  tarsel " + std::string(command))) << command;
    }
}

TEST_F(Timeline, WhatOnlyTheMediaShowsExitsWithOne) {
    std::ofstream(folder / "text.mp4") << "no film";
    for (std::string const& input : {folder / "missing.mp4", folder / "text.mp4"}) {
        auto const result = RunTarsel({"trim", input, "-o", folder / "out.mp4", "--duration", "1"});
        EXPECT_EQ(1, result.exitCode);
        EXPECT_THAT(result.errors, HasSubstr(input));
    }
    auto const result = RunTarsel({"trim", Clip(), "-o", folder / "out.xyz", "--duration", "1"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("there is no container for the extension \".xyz\""));
    EXPECT_THAT(folder.List(), ElementsAre("text.mp4"));
}

TEST_F(Timeline, PrintGraphPrintsAFileThatRuns) {
    std::string const out = folder / "out.mp4";
    auto const printed = RunTarsel({"trim", Clip(), "-o", out, "--duration", "1", "--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), IsEmpty());
    std::ofstream(folder / "trim.json") << printed.output;
    auto const run = RunTarsel({"run", folder / "trim.json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(Range(0, 25), PictureNumbers(out));
}

TEST_F(Timeline, ADryRunWritesNothing) {
    auto const result = RunTarsel({"reverse", Clip(), "-o", folder / "out.mp4", "--dry-run", "--json"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(PICTURES, ParseOutput(result).at("streams")[0].at("items"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Timeline, StreamsAndCodecsAreThoseAskedFor) {
    auto const silent = InspectFile(Make({"trim", Clip(), "--duration", "1", "--no-audio", "--video-codec", "mpeg4"}));
    ASSERT_EQ(1U, silent.streams.size());
    EXPECT_EQ("mpeg4", silent.streams[0].codec);
    auto const sound = InspectFile(Make({"trim", Clip(), "--duration", "1", "--no-video", "--audio-codec", "mp3"}));
    ASSERT_EQ(1U, sound.streams.size());
    EXPECT_EQ("mp3", sound.streams[0].codec);
    auto const wav = InspectFile(Make({"trim", Clip(), "--duration", "1", "--no-video"}, "out.wav"));
    EXPECT_EQ("pcm_s16le", wav.streams[0].codec);
}

TEST_F(Timeline, EveryContainerIsWrittenWithWhatItCanHold) {
    struct Row {
        char const* ending;
        char const* video;  // null: left out with a warning
        char const* audio;
    };
    for (Row const& row :
         {Row{"mp4", "h264", "aac"}, Row{"m4v", "h264", "aac"}, Row{"3gp", "h264", "aac"}, Row{"flv", "h264", "aac"},
          Row{"ts", "h264", "aac"}, Row{"m2ts", "h264", "aac"}, Row{"webm", "vp9", "opus"}, Row{"avi", "mpeg4", "mp3"},
          Row{"wmv", "wmv2", "wmav2"}, Row{"ogv", "theora", "vorbis"}, Row{"h264", "h264", nullptr},
          Row{"hevc", "hevc", nullptr}, Row{"m4a", nullptr, "aac"}, Row{"aac", nullptr, "aac"},
          Row{"flac", nullptr, "flac"}, Row{"mp3", nullptr, "mp3"}, Row{"wav", nullptr, "pcm_s16le"}}) {
        std::string const path = folder / ("all." + std::string(row.ending));
        auto const result = RunTarsel({"trim", Clip(), "-o", path, "--duration", "1", "--json"});
        ASSERT_EQ(0, result.exitCode) << row.ending << ": " << result.errors;
        bool const both = row.video && row.audio;
        // AVI also tells that its sound begins a little early.
        bool const leftOut = result.errors.find(" is left out: ") != std::string::npos;
        EXPECT_EQ(!both, leftOut) << row.ending << ": " << result.errors;
        auto const file = InspectFile(path);
        ASSERT_EQ(both ? 2U : 1U, file.streams.size()) << row.ending;
        if (row.video) {
            EXPECT_EQ(row.video, file.First(StreamKind::Video)->codec) << row.ending;
            EXPECT_EQ(Range(0, 25), PictureNumbers(path, file.First(StreamKind::Video)->index)) << row.ending;
        }
        if (row.audio) {
            int const stream = file.First(StreamKind::Audio)->index;
            EXPECT_EQ(row.audio, file.First(StreamKind::Audio)->codec) << row.ending;
            EXPECT_NEAR(1.0, SoundSeconds(path, stream), 0.08) << row.ending;
        }
    }
}

TEST_F(Timeline, HevcGoesIntoATransportStreamToo) {
    std::string const path = Make({"trim", Clip(), "--duration", "1", "--video-codec", "hevc"}, "out.ts");
    EXPECT_EQ(Range(0, 25), PictureNumbers(path));
}

TEST_F(Timeline, AviHoldsOnePacketAPicture) {
    auto const file = InspectFile(Make({"reverse", Clip()}, "out.avi"));
    EXPECT_EQ(std::size_t{PICTURES}, file.First(StreamKind::Video)->packets.size());
    EXPECT_EQ(1, file.First(StreamKind::Video)->tick.numerator * 25 / file.First(StreamKind::Video)->tick.denominator);
}

// The commands.

TEST_F(Timeline, TrimCutsToThePictureAndTheSample) {
    std::string const path = Make({"trim", Clip(), "--duration", "2"});
    EXPECT_EQ(Range(0, 50), PictureNumbers(path));
    EXPECT_NEAR(2.0, SoundSeconds(path), 0.022);
}

TEST_F(Timeline, TrimFillsUpWithTheLastPictureAndSilence) {
    std::string const path = Make({"trim", Clip(), "--duration", "6"});
    auto numbers = Range(0, PICTURES);
    numbers.insert(numbers.end(), 50, PICTURES - 1);
    EXPECT_EQ(numbers, PictureNumbers(path));
    EXPECT_NEAR(6.0, SoundSeconds(path), 0.022);
}

TEST_F(Timeline, TrimKeepsTitleAndChaptersUpToItsEnd) {
    std::string const texts =
        MakeTextFile("trim-chapters.txt",
                     ";FFMETADATA1\ntitle=A title\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\n"
                     "title=one\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=4000\ntitle=two\n");
    RunFFmpeg({"-i", Clip(), "-i", texts, "-map_metadata", "1", "-c", "copy", folder / "in.mkv"});
    auto const file = InspectFile(Make({"trim", folder / "in.mkv", "--duration", "2"}, "out.mkv"));
    EXPECT_EQ("A title", file.metadata.at("title"));
    ASSERT_EQ(2U, file.chapters.size());
    EXPECT_EQ("two", file.chapters[1].title);
    // Everything begins later by the priming of the sound, which Matroska can't put ahead of 0.
    EXPECT_NEAR(2 * SECOND, file.chapters[1].end, 25000);
}

TEST_F(Timeline, JoinPlaysAllPicturesOfAllFilesInStep) {
    std::string const path = Make({"join", Clip(), Clip(), Clip()});
    auto numbers = Range(0, PICTURES);
    for (int i = 0; i < 2 * PICTURES; ++i) numbers.push_back(i % PICTURES);
    EXPECT_EQ(numbers, PictureNumbers(path));
    EXPECT_NEAR(3.0 * SECONDS, SoundSeconds(path), 0.03);
    auto const times = PictureTimes(path);
    for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(int64(i) * FRAME, times[i], 1000) << i;
}

TEST_F(Timeline, JoinedSoundStaysWhereThePicturesAre) {
    auto const clicks = Clicks(Make({"join", ClickClip(), ClickClip(), ClickClip()}));
    ASSERT_EQ(12U, clicks.size());
    for (std::size_t i = 0; i < clicks.size(); ++i) EXPECT_NEAR(double(i), clicks[i], 0.011) << i;
}

TEST_F(Timeline, ReverseShowsTheLastPictureFirst) {
    std::string const path = Make({"reverse", Clip()});
    EXPECT_EQ(Range(PICTURES - 1, -1), PictureNumbers(path));
    EXPECT_NEAR(double(SECONDS), SoundSeconds(path), 0.03);
}

TEST_F(Timeline, ReversedSoundStaysWhereThePicturesAre) {
    auto const clicks = Clicks(Make({"reverse", ClickClip()}));
    ASSERT_EQ(4U, clicks.size());
    // A click of 10 ms at 3 s ends at 3.01 s, which is 0.99 s from the end.
    for (std::size_t i = 0; i < clicks.size(); ++i) EXPECT_NEAR(double(i) + 0.99, clicks[i], 0.03) << i;
}

TEST_F(Timeline, SpeedShortensPicturesAndSoundAlike) {
    std::string const path = Make({"speed", Clip(), "--factor", "2"});
    EXPECT_EQ(Range(0, PICTURES), PictureNumbers(path));
    auto const times = PictureTimes(path);
    for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(int64(i) * FRAME / 2, times[i], 1000) << i;
    EXPECT_NEAR(SECONDS / 2.0, SoundSeconds(path), 0.05);
    EXPECT_NEAR(SECONDS * 2.0, SoundSeconds(Make({"speed", Clip(), "--factor", "0.5"})), 0.05);
}

TEST_F(Timeline, LoopRepeatsUntilTheLengthIsFilled) {
    std::string const path = Make({"loop", Clip(), "--duration", "10"});
    std::vector<int> numbers;
    for (int i = 0; i < 250; ++i) numbers.push_back(i % PICTURES);
    EXPECT_EQ(numbers, PictureNumbers(path));
    EXPECT_NEAR(10.0, SoundSeconds(path), 0.03);
}

TEST_F(Timeline, FrameRateFillsItsGrid) {
    std::string const path = Make({"fps", Clip(), "--rate", "50"});
    auto const numbers = PictureNumbers(path);
    ASSERT_EQ(std::size_t{2 * PICTURES}, numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) EXPECT_EQ(int(i / 2), numbers[i]) << i;
    auto const times = PictureTimes(path);
    for (std::size_t i = 0; i < times.size(); ++i) EXPECT_EQ(int64(i) * FRAME / 2, times[i]) << i;
    EXPECT_NEAR(double(SECONDS), SoundSeconds(path), 0.03);
}

TEST_F(Timeline, AdjustedFrameRateKeepsAllPictures) {
    EXPECT_EQ(Range(0, PICTURES), PictureNumbers(Make({"fps", Clip(), "--rate", "25", "--adjust"})));
}

TEST_F(Timeline, PicturesOfOtherSizesAreFittedWithAWarning) {
    auto options = SmallClip(1);
    options.height = 320;
    Host::WriteSampleClip(folder / "square.mp4", options, true);
    auto const result = RunTarsel({"join", Clip(), folder / "square.mp4", "-o", folder / "out.mp4", "--strict"});
    EXPECT_EQ(3, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("pictures are fitted: 320x320 yuv420p into 320x180 yuv420p"));
    EXPECT_EQ(std::size_t{PICTURES + 25}, PictureNumbers(folder / "out.mp4").size());
}

TEST_F(Timeline, TheInputCantBeTheOutput) {
    std::string const clip = folder / "clip.mp4";
    Host::WriteSampleClip(clip, SmallClip(1), true);
    std::string const before = ReadWholeFile(clip);
    EXPECT_EQ(1, RunTarsel({"reverse", clip, "-o", clip, "--force"}).exitCode);
    EXPECT_EQ(before, ReadWholeFile(clip));
    EXPECT_THAT(folder.List(), ElementsAre("clip.mp4"));
}

}  // namespace
}  // namespace Tarsel::Test
