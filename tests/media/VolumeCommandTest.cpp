// What a person types at `tarsel volume`, and what comes of it.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "contracts/Core/Time.h"
#include "tests/support/SoundMeasure.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string Noise(std::string const& codec = "pcm_s16le") {
    return SoundClip("volume-noise-" + codec + ".wav", "aevalsrc='0.9*(random(0)*2-1)|0.5*(random(1)*2-1)':s=48000:d=1",
                     {"-c:a", codec});
}

/// At one second the picture turns white and a beep begins; B-pictures, a subtitle.
std::string Film(std::string const& ending = "mkv") {
    std::string const lines = MakeTextFile("volume-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    std::vector<std::string> arguments{
        "-f", "lavfi", "-i", "color=black:s=64x48:r=25:d=3,drawbox=c=white:t=fill:enable='gte(t,1)'",
        "-f", "lavfi", "-i", "aevalsrc='if(lt(t,1),0,0.5*sin(2*PI*1000*t))':s=48000:d=3"};
    if (ending == "mkv")
        arguments.insert(arguments.end(),
                         {"-i", lines, "-map", "0", "-map", "1", "-map", "1", "-map", "2", "-c:s", "srt"});
    arguments.insert(arguments.end(), {"-c:v", "libx264", "-bf", "3", "-g", "25", "-c:a", "aac"});
    return MakeClip("volume-film." + ending, arguments);
}

/// The time of the first white picture, in microseconds.
int64 FlashOf(std::string const& path, int stream) {
    Messages messages;
    for (auto const& picture : DecodePictures(path, stream, messages))
        if (picture.pixels.at(picture.pixels.size() / 3) > 128) return picture.time;
    ADD_FAILURE() << "no flash in " << path;
    return NO_VALUE;
}

/// The time at which sound begins behind silence.
int64 BeepOf(std::string const& path, int stream) {
    auto const sound = SoundOf(path, stream);
    for (std::size_t i = 0; i < sound.samples.size(); ++i)
        if (std::abs(sound.samples[i]) > 0.05F)
            return sound.start + static_cast<int64>(i) / sound.channels * SECOND / sound.sampleRate;
    ADD_FAILURE() << "no beep in " << path;
    return NO_VALUE;
}

class Volume : public ::testing::Test {
  protected:
    std::string Make(std::vector<std::string> arguments, std::string const& name = "out.wav") {
        std::string const path = folder / name;
        arguments.insert(arguments.begin(), "volume");
        arguments.insert(arguments.end(), {"-o", path, "--force"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        errors = result.errors;
        return path;
    }

    ScratchFolder const folder;
    std::string errors;
};

TEST_F(Volume, MistakesExitWithTwoAndNameTheOption) {
    std::string const out = folder / "out.wav";
    for (auto const& [more, named] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, "--gain or --auto is required"},
             {{"--gain", "2", "--auto"}, "can't be used in one call"},
             {{"--gain", ""}, "--gain"},
             {{"--gain", "loud"}, "--gain: \"loud\""},
             {{"--gain", "nan"}, "--gain: \"nan\""},
             {{"--gain", "inf"}, "--gain: \"inf\""},
             {{"--gain", "1000001"}, "--gain: \"1000001\""},
             {{"--gain", "120.1dB"}, "--gain: \"120.1dB\""},
             {{"--gain", "dB"}, "--gain: \"dB\""},
             {{"--gain", "+-6dB"}, "--gain: \"+-6dB\""},
             {{"--gain=-1000001"}, "--gain: \"-1000001\""},
             {{"--gain", "1.5x"}, "--gain: \"1.5x\""},
             {{"--gain", "1", "extra.wav"}, "input"},
             {{"--gain", "1", "--audio-codec", "h264"}, "--audio-codec: there is no codec \"h264\""}}) {
        std::vector<std::string> arguments{"volume", Noise(), "-o", out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }
    EXPECT_EQ(2, RunTarsel({"volume", Noise(), "--gain", "1"}).exitCode);
    EXPECT_EQ(2, RunTarsel({"volume", "-o", out, "--gain", "1"}).exitCode);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Volume, WhatOnlyTheMediaShowsExitsWithOne) {
    std::string const silent =
        MakeClip("volume-silent.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-c:v", "libx264"});
    auto const none = RunTarsel({"volume", silent, "-o", folder / "out.mp4", "--gain", "2"});
    EXPECT_EQ(1, none.exitCode);
    EXPECT_THAT(none.errors, HasSubstr(silent + ": there is no audio in it\n"));
    std::string const empty =
        MakeClip("volume-empty.wav", {"-f", "lavfi", "-i", "anullsrc=r=48000:d=1", "-af", "atrim=end_sample=0"});
    auto const nothing = RunTarsel({"volume", empty, "-o", folder / "out.wav", "--gain", "2"});
    EXPECT_EQ(1, nothing.exitCode);
    EXPECT_THAT(nothing.errors, HasSubstr(empty + ": its audio holds no packets\n"));
    auto const noPlace = RunTarsel({"volume", Noise(), "-o", folder / "out.h264", "--gain", "2"});
    EXPECT_EQ(1, noPlace.exitCode);
    EXPECT_THAT(noPlace.errors, HasSubstr("there is no audio in it that h264 holds"));
    EXPECT_EQ(1, RunTarsel({"volume", Noise(), "-o", Noise(), "--gain", "2", "--force"}).exitCode);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Volume, AnInterruptedRunLeavesNothing) {
    std::string const length = SoundClip("volume-long.wav", "anullsrc=r=48000:cl=stereo:d=1200");
    bool sent = false;
    auto const result =
        RunProgram({TarselPath(), "volume", length, "-o", folder / "out.mp3", "--gain", "2"}, [&](int pid) {
            if (folder.List().empty()) return true;
            sent = true;
            kill(pid, SIGTERM);
            return false;
        });
    EXPECT_TRUE(sent);
    EXPECT_EQ(143, result.exitCode);
    EXPECT_THAT(folder.List(), IsEmpty());
}

// The gain.

TEST_F(Volume, AGainOf16BitsIsCountedIn256ths) {
    auto const source = Integers(SoundOf(Noise()));
    for (auto const& [gain, fixed] :
         {std::pair{"0.5", 128}, std::pair{"1.5", 384}, std::pair{"-1", -255}, std::pair{"-6dB", 128},
          std::pair{"3 dB", 362}, std::pair{"+6dB", 511}, std::pair{"0", 0}, std::pair{"0.3", 77}}) {
        std::vector<int> expected;
        for (int const sample : source) expected.push_back(std::clamp((sample * fixed + 128) >> 8, -32768, 32767));
        EXPECT_EQ(expected, Integers(SoundOf(Make({Noise(), "--gain", gain})))) << gain;
    }
}

TEST_F(Volume, AGainOfFloatsIsExactAndClips) {
    auto const source = SoundOf(Noise("pcm_f32le")).samples;
    std::vector<float> expected;
    for (float const sample : source)
        expected.push_back(std::clamp(static_cast<float>(double{sample} * 1.7), -1.0F, 1.0F));
    EXPECT_EQ(expected, SoundOf(Make({Noise("pcm_f32le"), "--gain", "1.7", "--audio-codec", "pcm_f32le"})).samples);
}

TEST_F(Volume, AGainOfOneChangesNoSample) {
    EXPECT_EQ(SoundOf(Noise()).samples, SoundOf(Make({Noise(), "--gain", "1"})).samples);
    EXPECT_EQ(SoundOf(Noise()).samples, SoundOf(Make({Noise(), "--gain=0dB"})).samples);
}

TEST_F(Volume, GainsThatTheWordsOf8And16BitsDontHoldClipInsteadOfWrapping) {
    for (auto const& [codec, gains] : {std::pair{"pcm_s16le", std::vector{255.9, 256.0, 1000.0, -1e6}},
                                       std::pair{"pcm_u8", std::vector{127.9, 128.0, 200.0, -300.0}}}) {
        auto const source = SoundOf(Noise(codec)).samples;
        for (double const gain : gains) {
            auto const result = SoundOf(Make({Noise(codec), "--gain=" + std::to_string(gain)})).samples;
            ASSERT_EQ(source.size(), result.size()) << codec << " " << gain;
            for (std::size_t i = 0; i < source.size(); ++i)
                ASSERT_NEAR(std::clamp(source[i] * gain, -1.0, 1.0), result[i], 0.01)
                    << codec << " " << gain << " " << i;
        }
    }
}

TEST_F(Volume, IntegersOf64BitsAreChangedAsFloats) {
    auto const source = SoundOf(Noise("pcm_f64le")).samples;
    for (auto const& gain : {"--gain=0.5", "--auto"}) {
        auto const result = SoundOf(Make({Noise("pcm_s64le"), gain, "--audio-codec", "pcm_f32le"})).samples;
        ASSERT_EQ(source.size(), result.size()) << gain;
        EXPECT_NEAR(source[7] * (gain == std::string("--auto") ? 1 : 0.5), result[7], 0.03) << gain;
    }
}

TEST_F(Volume, TheAutomaticGainBringsQuietSoundUpAndNeverClips) {
    std::string const quiet = SoundClip("volume-quiet.wav", "aevalsrc='0.1*sin(2*PI*440*t)':s=48000:d=8");
    auto const out = ChannelOf(SoundOf(Make({quiet, "--auto"})), 0);
    std::vector<double> const last{out.end() - 48000, out.end()};
    // Four times is the most that it does.
    EXPECT_NEAR(0.4, AmplitudeAt(last, 440, 48000), 0.002);
    std::vector<double> const first{out.begin(), out.begin() + 4800};
    EXPECT_NEAR(0.1, AmplitudeAt(first, 440, 48000), 0.02);
}

TEST_F(Volume, TheAutomaticGainSeesEveryChannelToItsEnd) {
    // In blocks whose channels take turns it would see their front part alone, and lift the loud end over full scale.
    std::string const late =
        SoundClip("volume-late.wav", "aevalsrc='0.01|if(lt(mod(t,0.1),0.06),0.01,0.9)*sin(2*PI*1000*t)':s=48000:d=4");
    auto const right = ChannelOf(SoundOf(Make({late, "--auto"})), 1);
    EXPECT_LE(*std::max_element(right.begin(), right.end()), 0.999);
    EXPECT_GE(*std::max_element(right.begin(), right.end()), 0.89);
}

// What else is in the file.

TEST_F(Volume, PicturesAndSubtitlesGoAlongUntouchedAndAllSoundIsChanged) {
    auto const before = InspectFile(Film());
    std::string const path = Make({Film(), "--gain", "0.5"}, "out.mkv");
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
    auto const after = InspectFile(path);
    ASSERT_EQ(4U, after.streams.size());
    for (int const index : {0, 3}) {
        auto const& from = before.streams.at(static_cast<std::size_t>(index)).packets;
        auto const& to = after.streams.at(static_cast<std::size_t>(index)).packets;
        ASSERT_EQ(from.size(), to.size()) << index;
        for (std::size_t i = 0; i < from.size(); ++i) EXPECT_EQ(from[i].data, to[i].data) << index << " " << i;
    }
    for (int const index : {1, 2}) {
        auto values = ChannelOf(SoundOf(path, index), 0);
        values = {values.begin() + 2 * 48000, values.begin() + 5 * 24000};
        EXPECT_NEAR(0.25, AmplitudeAt(values, 1000, 48000), 0.01) << index;
    }
}

TEST_F(Volume, PictureAndSoundStayTogether) {
    for (std::string const from : {"mkv", "mp4"})
        for (char const* const ending : {"mp4", "mkv", "ts", "mov"}) {
            std::string const path = Make({Film(from), "--gain", "0.5"}, "sync." + std::string(ending));
            EXPECT_NEAR(FlashOf(path, 0), BeepOf(path, 1), 20000) << from << " to " << ending;
            auto const video = *InspectFile(path).First(StreamKind::Video);
            EXPECT_EQ("h264", video.codec) << ending;
            EXPECT_EQ(75U, video.packets.size()) << ending;
        }
}

TEST_F(Volume, WhatTheContainerCannotHoldIsLeftOutOrEncodedAnew) {
    std::string const mp4 = Make({Film(), "--gain", "2"}, "out.mp4");
    EXPECT_THAT(errors, HasSubstr("stream #3 (subtitle, subrip) is left out: mp4 can't carry subrip"));
    EXPECT_EQ(3U, InspectFile(mp4).streams.size());
    std::string const wav = Make({Film(), "--gain", "2"}, "out.wav");
    EXPECT_THAT(errors, HasSubstr("stream #0 (video, h264) is left out"));
    EXPECT_THAT(errors, HasSubstr("stream #2 (audio, aac) is left out: wav holds one stream of a kind"));
    EXPECT_EQ(1U, InspectFile(wav).streams.size());
    std::string const webm = Make({Film(), "--gain", "2"}, "out.webm");
    EXPECT_THAT(errors, HasSubstr("stream #0 (video, h264) is encoded anew: webm can't carry h264"));
    EXPECT_EQ("vp9", InspectFile(webm).First(StreamKind::Video)->codec);
    EXPECT_NEAR(FlashOf(webm, 0), BeepOf(webm, 1), 20000);
}

TEST_F(Volume, PicturesThatAviWouldPutBehindTheSoundAreEncodedAnew) {
    std::string const avi = Make({Film("mp4"), "--gain", "0.5"}, "out.avi");
    EXPECT_THAT(errors, HasSubstr("is encoded anew: avi can't tell the times of pictures that are shown out of order"));
    EXPECT_NEAR(FlashOf(avi, 0), BeepOf(avi, 1), 20000);
    // Without such pictures the packets go along.
    RunFFmpeg({"-i", Film("mp4"), "-c:v", "mpeg4", "-bf", "0", "-c:a", "copy", folder / "plain.mp4"});
    std::string const copied = Make({folder / "plain.mp4", "--gain", "0.5"}, "copied.avi");
    EXPECT_THAT(errors, Not(HasSubstr("encoded anew")));
    EXPECT_EQ("mpeg4", InspectFile(copied).First(StreamKind::Video)->codec);
    EXPECT_NEAR(FlashOf(copied, 0), BeepOf(copied, 1), 20000);
}

TEST_F(Volume, TitlesChaptersAndAttachmentsGoAlong) {
    std::string const texts = MakeTextFile("volume-chapters.txt",
                                           ";FFMETADATA1\ntitle=A title\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\n"
                                           "END=2000\ntitle=one\n");
    std::string const note = MakeTextFile("volume-note.txt", "a note");
    RunFFmpeg({"-i", Film(), "-i", texts, "-map", "0", "-map_metadata", "1", "-c", "copy", "-attach", note,
               "-metadata:s:t", "mimetype=text/plain", folder / "in.mkv"});
    auto const file = InspectFile(Make({folder / "in.mkv", "--gain", "2"}, "out.mkv"));
    EXPECT_EQ("A title", file.metadata.at("title"));
    ASSERT_EQ(1U, file.chapters.size());
    EXPECT_EQ("one", file.chapters[0].title);
    EXPECT_NE(nullptr, file.First(StreamKind::Attachment));
}

TEST_F(Volume, PrintGraphPrintsAFileThatRunsAndGivesTheSame) {
    std::string const direct = Make({Noise(), "--gain", "-3.7dB"}, "direct.wav");
    auto const printed = RunTarsel({"volume", Noise(), "-o", folder / "out.wav", "--gain", "-3.7dB", "--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), ElementsAre("direct.wav"));
    std::ofstream(folder / "volume.json") << printed.output;
    auto const run = RunTarsel({"run", folder / "volume.json"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(ReadWholeFile(direct), ReadWholeFile(folder / "out.wav"));
}

}  // namespace
}  // namespace Tarsel::Test
