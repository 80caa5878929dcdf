// What a person types at `tarsel spectrum`, and what the videos and pictures show that come of it.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/host/preview/PngFile.h"
#include "tests/support/MediaInspector.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int64 FRAME = 40000;
constexpr int WIDTH = 640;
constexpr int HEIGHT = 360;
constexpr int BARS = 32;

// The bars of the tones: at 48000 Hz a picture of 40 ms has 2048 bins, 21 to a bar.
constexpr int LOW_BAR = 1200 * 2048 / 48000 / 21;
constexpr int HIGH_BAR = 9000 * 2048 / 48000 / 21;

/// Three seconds of a low tone, two of a high one.
std::string Tones() {
    return MakeClip("spectrum-tones.wav",
                    {"-f", "lavfi", "-i", "sine=f=1200:r=48000:d=3", "-f", "lavfi", "-i", "sine=f=9000:r=48000:d=2",
                     "-filter_complex", "[0][1]concat=n=2:v=0:a=1", "-c:a", "pcm_s16le"});
}

/// Pictures, and the two tones as two streams.
std::string Film() {
    return MakeClip("spectrum-film.mkv", {"-f",   "lavfi", "-i",   "testsrc2=s=64x48:r=25:d=2",
                                          "-f",   "lavfi", "-i",   "sine=f=1200:r=48000:d=2",
                                          "-f",   "lavfi", "-i",   "sine=f=9000:r=48000:d=2",
                                          "-map", "0",     "-map", "1",
                                          "-map", "2",     "-c:v", "libx264",
                                          "-c:a", "flac"});
}

std::string Pictures() {
    return MakeClip("spectrum-pictures.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-c:v", "libx264"});
}

/// A tone that rises through all bars, so that no two pictures are alike.
std::string Sweep() {
    return MakeClip("spectrum-sweep.wav",
                    {"-f", "lavfi", "-i", "aevalsrc='0.2*sin(2*PI*(200+3700*t)*t)':d=2:s=48000", "-c:a", "pcm_s16le"});
}

std::string Noise() {
    return MakeClip("spectrum-noise.wav",
                    {"-f", "lavfi", "-i", "anoisesrc=a=0.1:r=48000:d=2:seed=5", "-c:a", "pcm_s16le"});
}

/// The bar in whose middle column `isLit(x, y)` holds most often.
template <class IsLit>
int HighestBar(IsLit isLit) {
    std::vector<int> heights;
    for (int bar = 0; bar < BARS; ++bar) {
        int height = 0;
        for (int y = 0; y < HEIGHT; ++y) height += isLit(bar * (WIDTH / BARS) + WIDTH / BARS / 2, y) ? 1 : 0;
        heights.push_back(height);
    }
    return static_cast<int>(std::max_element(heights.begin(), heights.end()) - heights.begin());
}

/// By the luma alone, which is 16 in the background.
int HighestBar(DecodedPicture const& picture) {
    return HighestBar([&](int x, int y) { return picture.pixels[static_cast<std::size_t>(y * WIDTH + x)] > 30; });
}

int HighestBar(PngFile const& picture) {
    return HighestBar([&](int x, int y) { return picture.pixels[static_cast<std::size_t>((y * WIDTH + x) * 3)] > 0; });
}

class Spectrum : public ::testing::Test {
  protected:
    /// Runs the command and expects it to succeed.
    std::string Make(std::vector<std::string> arguments, std::string const& name) {
        std::string const path = folder / name;
        arguments.insert(arguments.begin(), "spectrum");
        arguments.insert(arguments.end(), {"-o", path, "--force"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        return path;
    }
    PngFile MakePicture(std::vector<std::string> arguments) { return PngFile(Make(std::move(arguments), "out.png")); }

    ScratchFolder const folder;
};

// Usage.

TEST_F(Spectrum, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    std::string const video = folder / "out.mp4";
    std::string const picture = folder / "out.png";
    std::vector<Mistake> mistakes{{{"-o", video}, "input"},
                                  {{Tones()}, "--output"},
                                  {{Tones(), "-o", video, "--at", "1"}, "--at needs an output that ends in .png"},
                                  {{Tones(), "-o", picture, "--at", "soon"}, "--at: \"soon\" is not a time"},
                                  {{Tones(), "-o", picture, "--at=-1"}, "--at: \"-1\" is not a time"},
                                  {{Tones(), "-o", picture, "--at", ""}, "--at: a value is needed"},
                                  {{Tones(), "-o", picture, "--with-audio"}, "--with-audio needs an output"},
                                  {{Tones(), "-o", picture, "--video-codec", "h264"}, "--video-codec needs an output"},
                                  {{Tones(), "-o", picture, "--quality", "20"}, "--quality needs an output"},
                                  {{Tones(), "-o", picture, "--print-graph"}, "--print-graph needs an output"},
                                  {{Tones(), "-o", picture, "--stats"}, "--stats needs an output"},
                                  {{Tones(), "-o", video, "--audio-codec", "aac"}, "--audio-codec needs --with-audio"},
                                  {{Tones(), "-o", video, "--video-codec", "h266"}, "there is no codec \"h266\""},
                                  {{Tones(), "-o", video, "--quality", "52"}, "--quality: quality 52 is out of"}};
    for (std::string const text : {"640", "640x", "x360", "0x360", "640x0", "-640x360", "640x8193", "8193x1",
                                   "640x360x1", "640 x 360", "1e2x100"})
        mistakes.push_back({{Tones(), "-o", video, "--size=" + text}, "--size: \"" + text + "\" is not WIDTHxHEIGHT"});
    for (std::string const text : {"0", "-25", "1001", "25/1", "nan"})
        mistakes.push_back({{Tones(), "-o", video, "--rate=" + text}, "--rate: \"" + text + "\" is not a number"});
    for (std::string const text : {"0", "-1", "8193", "many"})
        mistakes.push_back({{Tones(), "-o", video, "--bars=" + text}, "--bars: \"" + text + "\" is not a number"});
    for (std::string const text : {"-1", "1.5", "99999999999"})
        mistakes.push_back({{Tones(), "-o", video, "--stream=" + text}, "--stream: \"" + text + "\" is not a number"});
    for (std::string const text : {"red", "#ffffff", "fffff", "fffffff", "-fffff", "ggffff"})
        mistakes.push_back(
            {{Tones(), "-o", video, "--background=" + text}, "--background: \"" + text + "\" is not RRGGBB"});
    for (auto& [arguments, named] : mistakes) {
        arguments.insert(arguments.begin(), "spectrum");
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Spectrum, HelpShowsExamplesAndTheProgramListsTheCommand) {
    auto const result = RunTarsel({"spectrum", "--help"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.output, AllOf(HasSubstr("Examples:\n  tarsel spectrum song.flac -o song.mp4"),
                                     HasSubstr("tarsel spectrum song.flac -o chorus.png --at 1:30")));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("spectrum"));
}

TEST_F(Spectrum, WhatOnlyTheMediaShowsExitsWithOneAndLeavesNothing) {
    ScratchFolder const inputs;
    std::ofstream(inputs / "text.wav") << "no sound";
    std::string const missing = inputs / "missing.wav";
    struct Failing {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (std::string const out : {"out.mp4", "out.png"}) {
        for (auto [arguments, named] : std::vector<Failing>{
                 {{missing, "-o", folder / out}, missing + ": there is no such file"},
                 {{inputs / "text.wav", "-o", folder / out}, inputs / "text.wav"},
                 {{Pictures(), "-o", folder / out}, Pictures() + ": there is no audio in it"},
                 {{Tones(), "-o", folder / out, "--stream", "1"}, Tones() + ": there is no audio stream number 1"},
                 {{Tones(), "-o", folder / ("missing/" + out)}, "missing doesn't exist"},
                 {{Tones(), "-o", folder.GetPath() + "/" + out + "/"}, ""}}) {
            arguments.insert(arguments.begin(), "spectrum");
            auto const result = RunTarsel(arguments);
            EXPECT_EQ(1, result.exitCode) << CommandText(arguments);
            EXPECT_THAT(result.errors, AllOf(HasSubstr("tarsel: "), HasSubstr(named))) << CommandText(arguments);
            EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
        }
    }
    EXPECT_THAT(RunTarsel({"spectrum", Tones(), "-o", folder / "out.xyz"}).errors,
                HasSubstr("there is no container for the extension \".xyz\""));
    auto const wav = RunTarsel({"spectrum", Tones(), "-o", folder / "out.wav"});
    EXPECT_EQ(1, wav.exitCode);
    EXPECT_THAT(wav.errors, HasSubstr("wav is written with no video"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Spectrum, AFileWithoutASampleExitsWithOneAndLeavesNothing) {
    ScratchFolder const inputs;
    std::string const silent = inputs / "empty.wav";
    std::string const whole = ReadWholeFile(Tones());
    std::ofstream(silent, std::ios::binary) << whole.substr(0, whole.find("data") + 4) << std::string(4, '\0');
    for (std::string const out : {"out.mp4", "out.png"}) {
        auto const result = RunTarsel({"spectrum", silent, "-o", folder / out});
        EXPECT_EQ(1, result.exitCode) << out;
        EXPECT_THAT(result.errors, HasSubstr(silent)) << out;
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Spectrum, AnExistingOutputIsKeptUnlessForced) {
    for (std::string const out : {"out.mkv", "out.png"}) {
        std::ofstream(folder / out) << "mine";
        auto const result = RunTarsel({"spectrum", Tones(), "-o", folder / out});
        EXPECT_EQ(1, result.exitCode);
        EXPECT_THAT(result.errors, HasSubstr(folder / out + ": exists already"));
        EXPECT_EQ("mine", ReadWholeFile(folder / out));
        Make({Tones()}, out);
        EXPECT_EQ(1U, InspectFile(folder / out).streams.size());
    }
    EXPECT_THAT(folder.List(), ElementsAre("out.mkv", "out.png"));
}

TEST_F(Spectrum, TheInputCantBeTheOutput) {
    ScratchFolder const inputs;
    std::string const input = inputs / "tones.wav";
    std::filesystem::copy_file(Tones(), input);
    for (std::string const out : {"out.mkv", "out.png"}) {
        std::filesystem::create_symlink(input, folder / out);
        EXPECT_EQ(1, RunTarsel({"spectrum", input, "-o", folder / out, "--force"}).exitCode);
    }
    EXPECT_EQ(ReadWholeFile(Tones()), ReadWholeFile(input));
    EXPECT_THAT(inputs.List(), ElementsAre("tones.wav"));
}

TEST_F(Spectrum, ADryRunWritesNothing) {
    auto const video = RunTarsel({"spectrum", Tones(), "-o", folder / "out.mp4", "--dry-run", "--json"});
    ASSERT_EQ(0, video.exitCode) << video.errors;
    EXPECT_EQ(125, ParseOutput(video).at("streams")[0].at("items"));
    auto const picture = RunTarsel({"spectrum", Tones(), "-o", folder / "out.png", "--dry-run", "--json"});
    ASSERT_EQ(0, picture.exitCode) << picture.errors;
    EXPECT_TRUE(ParseOutput(picture).at("output").is_null());
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Spectrum, PrintGraphPrintsAFileThatRuns) {
    std::string const out = folder / "out.mkv";
    auto const printed = RunTarsel({"spectrum", Tones(), "-o", out, "--print-graph", "--log", "--bars", "7",
                                    "--background", "102030", "--with-audio"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), IsEmpty());
    auto const settings = nlohmann::json::parse(printed.output).at("filters")[2].at("settings");
    EXPECT_EQ("Logarithmic", settings.at("Scale"));
    EXPECT_EQ(7, settings.at("BarCount"));
    EXPECT_EQ(0x102030, settings.at("BackgroundColour"));
    std::ofstream(folder / "graph.json") << printed.output;
    auto const run = RunTarsel({"run", folder / "graph.json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(125U, InspectFile(out).First(StreamKind::Video)->packets.size());
}

TEST_F(Spectrum, ASignalLeavesNothing) {
    std::string const input =
        MakeClip("spectrum-long.wav", {"-f", "lavfi", "-i", "sine=f=440:r=8000:d=1200", "-c:a", "pcm_s16le"});
    bool sent = false;
    auto const result = RunProgram({TarselPath(), "spectrum", input, "-o", folder / "out.mkv"}, [&](int pid) {
        if (!sent && !folder.List().empty()) sent = kill(pid, SIGTERM) == 0;
        return !sent;
    });
    ASSERT_TRUE(sent) << "the run ended ahead of the signal";
    EXPECT_TRUE(result.exitCode == 128 + SIGTERM || result.endedBySignal == SIGTERM) << result.exitCode;
    EXPECT_THAT(folder.List(), IsEmpty());
}

// Videos.

TEST_F(Spectrum, VideoShowsEachToneInItsBar) {
    Messages messages;
    auto const pictures = DecodePictures(Make({Tones()}, "out.mp4"), 0, messages);
    EXPECT_THAT(messages, IsEmpty());
    ASSERT_EQ(125U, pictures.size());
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(WIDTH, pictures[i].width);
        EXPECT_EQ(HEIGHT, pictures[i].height);
        EXPECT_EQ(static_cast<int64>(i) * FRAME, pictures[i].time);
        EXPECT_EQ(i < 75 ? LOW_BAR : HIGH_BAR, HighestBar(pictures[i])) << "picture " << i;
    }
}

TEST_F(Spectrum, ATonesBarIsTheSameInAnyNumberOfChannels) {
    for (char const* const channels : {"2", "6"}) {
        std::string const name = std::string("spectrum-") + channels + ".wav";
        auto const clip = MakeClip(name, {"-i", Tones(), "-ac", channels, "-c:a", "pcm_s16le"});
        EXPECT_EQ(LOW_BAR, HighestBar(MakePicture({clip, "--at", "1"}))) << channels;
        EXPECT_EQ(HIGH_BAR, HighestBar(MakePicture({clip, "--at", "4"}))) << channels;
    }
}

TEST_F(Spectrum, VideoIsOfTheKindThatEveryPlayerShows) {
    for (auto const& [ending, codec] :
         {std::pair("mp4", "h264"), std::pair("mkv", "hevc"), std::pair("webm", "vp9"), std::pair("avi", "mpeg4")}) {
        Messages messages;
        auto const pictures = DecodePictures(
            Make({Tones(), "--size", "128x72", "--rate", "5", "--video-codec", codec}, std::string("out.") + ending), 0,
            messages);
        ASSERT_FALSE(pictures.empty()) << codec;
        EXPECT_EQ(0, pictures[0].pixelFormat) << codec << ": 4:2:0 of 8 bits";
    }
}

TEST_F(Spectrum, VideoIsAsLongAsTheSound) {
    for (auto const& [rate, count] : {std::pair("25", 125U), std::pair("30", 150U), std::pair("10", 50U),
                                      std::pair("1", 5U), std::pair("120", 600U)}) {
        auto const file = InspectFile(Make({Tones(), "--rate", rate, "--size", "64x36"}, "out.mp4"));
        EXPECT_EQ(count, file.First(StreamKind::Video)->packets.size()) << rate;
        EXPECT_NEAR(5.0 * SECOND, static_cast<double>(file.duration), 2000) << rate;
    }
}

TEST_F(Spectrum, SoundGoesAlongWhenAskedFor) {
    EXPECT_EQ(1U, InspectFile(Make({Tones()}, "out.mkv")).streams.size());
    std::string const path = Make({Tones(), "--with-audio", "--audio-codec", "flac"}, "out.mkv");
    auto const file = InspectFile(path);
    ASSERT_EQ(2U, file.streams.size());
    EXPECT_EQ("h264", file.streams[0].codec);
    EXPECT_EQ("flac", file.streams[1].codec);
    Messages messages;
    EXPECT_EQ(DecodeSound(Tones(), 0, messages).samples, DecodeSound(path, 1, messages).samples);
    EXPECT_EQ(125U, DecodePictures(path, 0, messages).size());
}

TEST_F(Spectrum, EveryContainerOfVideoServes) {
    for (auto const& [ending, codec] : {std::pair("webm", "vp9"), std::pair("avi", "mpeg4"), std::pair("ts", "h264"),
                                        std::pair("mov", "h264"), std::pair("h264", "h264")}) {
        auto const path = Make({Tones(), "--size", "128x72", "--rate", "5"}, std::string("out.") + ending);
        auto const file = InspectFile(path);
        ASSERT_EQ(1U, file.streams.size()) << ending;
        EXPECT_EQ(codec, file.streams[0].codec) << ending;
        Messages messages;
        EXPECT_EQ(25U, DecodePictures(path, 0, messages).size()) << ending;
    }
}

TEST_F(Spectrum, CodecAndQualityAreThoseAskedFor) {
    auto const size = [&](char const* quality) {
        auto const file = InspectFile(Make({Noise(), "--video-codec", "mpeg4", "--quality", quality}, "out.mp4"));
        EXPECT_EQ("mpeg4", file.streams.at(0).codec);
        std::size_t bytes = 0;
        for (auto const& packet : file.streams.at(0).packets) bytes += packet.data.size();
        return bytes;
    };
    EXPECT_GT(size("2"), size("31") * 2);
}

// Pictures.

TEST_F(Spectrum, PictureShowsTheSoundAtATime) {
    EXPECT_EQ(LOW_BAR, HighestBar(MakePicture({Tones()}))) << "the start without being told";
    EXPECT_EQ(LOW_BAR, HighestBar(MakePicture({Tones(), "--at", "2.999"})));
    EXPECT_EQ(HIGH_BAR, HighestBar(MakePicture({Tones(), "--at", "3"})));
    EXPECT_EQ(HIGH_BAR, HighestBar(MakePicture({Tones(), "--at", "4.999999"})));
    auto const behind = RunTarsel({"spectrum", Tones(), "-o", folder / "behind.png", "--at", "5"});
    EXPECT_EQ(1, behind.exitCode);
    EXPECT_EQ("tarsel: " + Tones() + ": there is no sound at 00:05.000\n", behind.errors);
    EXPECT_EQ(1, RunTarsel({"spectrum", Tones(), "-o", folder / "behind.png", "--at", "100:00:00"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("out.png"));
}

TEST_F(Spectrum, TheLastPictureThatIsShorterEndsWithTheSound) {
    std::string const odd = MakeClip("spectrum-odd.wav", {"-f", "lavfi", "-i", "sine=1000:r=48000:d=0.25"});
    MakePicture({odd, "--at", "0.249999"});
    auto const behind = RunTarsel({"spectrum", odd, "-o", folder / "behind.png", "--at", "0.25"});
    EXPECT_EQ(1, behind.exitCode);
    EXPECT_EQ("tarsel: " + odd + ": there is no sound at 00:00.250\n", behind.errors);
}

TEST_F(Spectrum, PictureIsTheOneOfTheVideo) {
    Messages messages;
    auto const video = DecodePictures(Make({Sweep(), "--quality", "1"}, "out.mp4"), 0, messages);
    ASSERT_EQ(50U, video.size());
    for (int const number : {0, 1, 17, 48, 49}) {
        // Anywhere within the picture.
        std::string const at = std::to_string(number * FRAME + number * 3001 % FRAME) + "us";
        RunFFmpeg({"-i", Make({Sweep(), "--at", at}, "out.png"), "-c:v", "ffv1", "-pix_fmt", "yuv420p",
                   folder / "picture.mkv"});
        auto const picture = DecodePictures(folder / "picture.mkv", 0, messages);
        ASSERT_EQ(1U, picture.size());
        std::vector<double> likeness;
        for (auto const& other : video) likeness.push_back(Psnr(picture[0], other));
        auto const best = std::max_element(likeness.begin(), likeness.end());
        EXPECT_EQ(number, best - likeness.begin()) << at;
        EXPECT_GT(*best, 35) << at;
    }
}

TEST_F(Spectrum, PictureHasTheSizeBarsAndColourAskedFor) {
    auto const picture =
        MakePicture({Tones(), "--size", "333x77", "--bars", "5", "--background", "fF8000", "--rate", "10"});
    EXPECT_EQ(333, picture.width);
    EXPECT_EQ(77, picture.height);
    EXPECT_EQ(3, picture.channels);
    EXPECT_THAT(std::vector<int>(picture.pixels.begin(), picture.pixels.begin() + 3), ElementsAre(0xFF, 0x80, 0));
    // The lowest row shows the bars: margins of one column, bars of 66, the first and last column of each left out.
    std::vector<int> background;
    for (int x = 0; x < 333; ++x)
        if (picture.pixels[static_cast<std::size_t>((76 * 333 + x) * 3 + 2)] == 0) background.push_back(x);
    EXPECT_THAT(background, ElementsAre(0, 1, 66, 67, 132, 133, 198, 199, 264, 265, 330, 331, 332));
}

TEST_F(Spectrum, LogarithmicBarsBringOutQuietNoise) {
    auto const lit = [](PngFile const& picture) {
        return std::count_if(picture.pixels.begin(), picture.pixels.end(), [](u8 byte) { return byte != 0; });
    };
    EXPECT_GT(lit(MakePicture({Noise(), "--log"})), lit(MakePicture({Noise()})) * 2);
}

TEST_F(Spectrum, StreamIsTheOneAskedFor) {
    EXPECT_EQ(LOW_BAR, HighestBar(MakePicture({Film()})));
    EXPECT_EQ(LOW_BAR, HighestBar(MakePicture({Film(), "--stream", "0", "--at", "1"})));
    EXPECT_EQ(HIGH_BAR, HighestBar(MakePicture({Film(), "--stream", "1"})));
    Messages messages;
    auto const pictures = DecodePictures(Make({Film(), "--stream", "1"}, "out.mp4"), 0, messages);
    ASSERT_EQ(50U, pictures.size());
    for (auto const& picture : pictures) EXPECT_EQ(HIGH_BAR, HighestBar(picture));
}

TEST_F(Spectrum, SoundOfEveryKindIsDrawn) {
    for (auto const& [name, arguments] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"spectrum-u8.wav", {"-c:a", "pcm_u8"}},
             {"spectrum-s24.wav", {"-c:a", "pcm_s24le"}},
             {"spectrum-dbl.wav", {"-c:a", "pcm_f64le"}},
             {"spectrum-5.1.m4a", {"-ac", "6", "-c:a", "aac"}},
             {"spectrum-22k.mp3", {"-ar", "22050", "-c:a", "libmp3lame"}},
             {"spectrum-8k.wav", {"-ar", "8000", "-c:a", "pcm_alaw"}}}) {
        std::vector<std::string> command{"-i", Tones()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        auto const picture = MakePicture({MakeClip(name, command), "--at", "1"});
        EXPECT_GT(std::count(picture.pixels.begin(), picture.pixels.end(), 80), 100) << name;
    }
}

TEST_F(Spectrum, TheReportOfAPictureHoldsExactlyWhatItPromises) {
    std::string const out = folder / "out.png";
    auto const report =
        ParseOutput(RunTarsel({"spectrum", Tones(), "-o", out, "--at", "1.03", "--size", "100x50", "--json"}));
    nlohmann::json const expected{{"output", out},       {"width", 100},      {"height", 50},
                                  {"begin_us", 1000000}, {"end_us", 1040000}, {"warnings", nlohmann::json::array()}};
    EXPECT_EQ(expected, report);
    EXPECT_EQ(folder / "two.PNG: 640x360, the sound from 00:01.000 to 00:01.040\n",
              RunTarsel({"spectrum", Tones(), "-o", folder / "two.PNG", "--at", "1"}).output);
}

}  // namespace
}  // namespace Tarsel::Test
