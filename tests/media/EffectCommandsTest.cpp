// What a person types at `tarsel resize`, `deinterlace` and `effects`, and what comes of it.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "contracts/Core/Time.h"
#include "host/media/MediaFile.h"
#include "host/media/NativeParameters.h"
#include "tests/support/SoundMeasure.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// Three seconds of moving pictures with sound of floats and a subtitle.
std::string Film() {
    std::string const lines = MakeTextFile("effects-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    return MakeClip("effects-film.mkv",
                    {"-f",   "lavfi", "-i",   "testsrc2=s=128x96:r=25:d=3,format=yuv420p",
                     "-f",   "lavfi", "-i",   "aevalsrc='0.9*(random(0)*2-1)|0.5*(random(1)*2-1)':s=48000:d=3",
                     "-i",   lines,   "-map", "0",
                     "-map", "1",     "-map", "2",
                     "-c:v", "ffv1",  "-c:a", "pcm_f32le",
                     "-c:s", "srt"});
}

/// Interlaced pictures of 50 fields a second, the upper field first.
std::string Tape() {
    return MakeClip("effects-tape.mkv", {"-f", "lavfi", "-i", "testsrc2=s=128x96:r=50:d=2,format=yuv420p", "-vf",
                                         "tinterlace=interleave_top,setfield=tff", "-c:v", "mpeg2video", "-q:v", "2",
                                         "-flags", "+ilme+ildct", "-top", "1"});
}

std::vector<DecodedPicture> PicturesOf(std::string const& path, int stream = 0) {
    Messages messages;
    auto pictures = DecodePictures(path, stream, messages);
    EXPECT_THAT(messages, IsEmpty()) << path;
    return pictures;
}

/// What ffmpeg makes of a clip by a filter, without loss.
std::string ByFFmpeg(std::string const& name, std::string const& clip, std::string const& filter) {
    return MakeClip(name, {"-i", clip, "-map", "0:v", "-vf", filter, "-c:v", "ffv1"});
}

int LumaAt(DecodedPicture const& picture, int x, int y) {
    return picture.pixels.at(static_cast<std::size_t>(y * picture.width + x));
}

/// What the file tells of its first stream.
iptr<Host::NativeParameters const> ToldBy(std::string const& path) {
    auto const format = Host::MediaFile::Open(path)->GetStreams().at(0).format;
    return iptr<Host::NativeParameters const>(
        dynamic_cast<Host::NativeParameters const*>(format->GetNativeParameters().get()));
}

std::vector<Bytes> PayloadsOf(std::string const& path, int stream) {
    std::vector<Bytes> payloads;
    auto const file = InspectFile(path);
    for (auto const& packet : file.streams.at(static_cast<std::size_t>(stream)).packets)
        payloads.push_back(packet.data);
    return payloads;
}

class Effects : public ::testing::Test {
  protected:
    std::string Make(std::vector<std::string> arguments, std::string const& name = "out.mkv") {
        std::string const path = folder / name;
        arguments.insert(arguments.end(), {"-o", path, "--force", "--video-codec", "h264", "--quality", "0"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        errors = result.errors;
        return path;
    }
    void ExpectMistake(std::vector<std::string> const& arguments, std::string const& named) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }

    ScratchFolder const folder;
    std::string errors;
};

// Usage.

TEST_F(Effects, MistakesExitWithTwoAndNameTheOption) {
    std::string const out = folder / "out.mkv";
    auto const resize = [&](std::vector<std::string> const& more, std::string const& named) {
        std::vector<std::string> arguments{"resize", Film(), "-o", out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ExpectMistake(arguments, named);
    };
    resize({}, "--size is required");
    resize({"--size", "64"}, "--size: \"64\" is not WxH (1280x720, 1280x, x720)");
    resize({"--size", "x"}, "--size: \"x\" tells neither of the two sides");
    resize({"--size=-1x-1"}, "--size: \"-1x-1\" tells neither of the two sides");
    resize({"--size", "0x5"}, "--size: \"0x5\" is not WxH, both from 1 to 16384");
    resize({"--size", "5x16385"}, "--size: \"5x16385\" is not WxH");
    resize({"--size", "5x5x5"}, "--size: \"5x5x5\" is not WxH");
    resize({"--size", "5x5", "--mode", "fit"}, "--mode: \"fit\" is none of \"letterbox\", \"stretch\", \"crop\"");
    resize({"--size", "5x5", "--algorithm", "best"}, "--algorithm: \"best\" is none of \"bilinear\"");
    resize({"--size", "5x5", "--impl", "CUDA"}, "--impl: \"CUDA\" is none of Tarsel, OGL");
    resize({"--size", "5x5", "--video-codec", "aac"}, "--video-codec");
    ExpectMistake({"deinterlace", Film(), "-o", out, "--method", "best"},
                  "--method: \"best\" is none of \"spatial\", \"adaptive\"");
    ExpectMistake({"deinterlace", Film()}, "--output is required");
    auto const effect = [&](std::string const& text, std::string const& named) {
        ExpectMistake({"effects", Film(), "-o", out, "--effect", text}, "--effect: " + named);
    };
    effect("fede", "there is no effect \"fede\"; did you mean \"fade\"?");
    effect("fade:direction", "the effect \"fade\": \"direction\" has no \"=\"");
    effect("fade:begin=soon", "the effect \"fade\": begin: \"soon\" is not a time");
    effect("color:contrast=9", "the effect \"color\": contrast: must be a number from 0 to 4, not \"9\"");
    effect("dissolve", "the effect \"dissolve\" needs several streams: it can't stand in the chain of one");
    ExpectMistake({"effects", Film(), "-o", out}, "--effect is required");
    ExpectMistake({"effects", Film(), "--effect", "fade"}, "--output is required");
    ExpectMistake({"effects", "-o", out, "--effect", "fade"}, "input is required");
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Effects, WhatOnlyTheMediaShowsExitsWithOne) {
    std::string const sound = SoundClip("effects-sound.wav", "sine=d=1");
    std::string const out = folder / "out.mkv";
    for (auto const& [arguments, named] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"resize", sound, "-o", out, "--size", "8x8"}, sound + ": there is no video in it\n"},
             {{"deinterlace", sound, "-o", out}, sound + ": there is no video in it\n"},
             {{"effects", sound, "-o", out, "--effect", "fade"}, sound + ": there is no video in it\n"},
             {{"effects", Film(), "-o", folder / "out.wav", "--effect", "fade"},
              Film() + ": there is no video in it that wav is written with\n"},
             {{"effects", Film(), "-o", out, "--effect", "stamp:file=/nowhere.png"}, "/nowhere.png"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(1, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(EffectList, TellsEffectsImplementationsAndKeys) {
    auto const text = RunTarsel({"effects", "--list"});
    EXPECT_EQ(0, text.exitCode) << text.errors;
    EXPECT_THAT(text.output, HasSubstr("fade: Lets the picture come out of a colour, or go into it, from begin to end "
                                       "(pictures; Tarsel"));
    EXPECT_THAT(text.output, HasSubstr("    contrast: 0.0 to 4.0 (1); "));
    EXPECT_THAT(text.output, HasSubstr("    direction: in, out (in); "));
    EXPECT_THAT(text.output, HasSubstr("    file: a file, must be given; "));
    Json const list = ParseOutput(RunTarsel({"effects", "--list", "--json"})).at("effects");
    auto const find = [&](std::string const& name) {
        for (Json const& effect : list)
            if (effect.at("name") == name) return effect;
        ADD_FAILURE() << name;
        return Json();
    };
    EXPECT_EQ("SettingsResizer", find("resize").at("class_id"));
    EXPECT_EQ((Json{"Tarsel", "OGL"}), find("resize").at("implementations"));
    EXPECT_EQ(false, find("resize").at("has_interval"));
    EXPECT_EQ(true, find("audio-mix").at("takes_many"));
    EXPECT_EQ("audio", find("audio-fade").at("kind"));
    Json const contrast = find("color").at("keys").at(1);
    EXPECT_EQ("contrast", contrast.at("key"));
    EXPECT_EQ(0.0, contrast.at("minimum"));
    EXPECT_EQ(4.0, contrast.at("maximum"));
    EXPECT_EQ(1, contrast.at("default"));
    EXPECT_EQ((Json{"in", "out"}), find("fade").at("keys").at(0).at("names"));
    EXPECT_TRUE(find("stamp").at("keys").at(0).at("default").is_null());
}

TEST(EffectList, HelpShowsAnExampleOfEachCommand) {
    for (char const* const command : {"resize", "deinterlace", "effects"})
        EXPECT_THAT(RunTarsel({command, "--help"}).output, HasSubstr("  tarsel " + std::string(command) + " "));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("deinterlace"));
}

// Resizing.

TEST_F(Effects, PicturesGetTheSizeAndLookAsFFmpegsDo) {
    auto const own = PicturesOf(Make({"resize", Film(), "--size", "64x40"}));
    auto const theirs = PicturesOf(ByFFmpeg("effects-scaled.mkv", Film(), "scale=64:40:flags=bicubic"));
    ASSERT_EQ(75U, own.size());
    ASSERT_EQ(own.size(), theirs.size());
    for (std::size_t i = 0; i < own.size(); ++i) {
        EXPECT_EQ(64, own[i].width);
        EXPECT_EQ(40, own[i].height);
        EXPECT_EQ(theirs[i].time, own[i].time);
        EXPECT_GT(Psnr(theirs[i], own[i]), 40) << i;
    }
}

TEST_F(Effects, SideThatIsLeftOpenKeepsTheShape) {
    for (auto const& [size, width, height] :
         {std::tuple{"64x", 64, 48}, {"x64", 86, 64}, {"-1x48", 64, 48}, {"100x-1", 100, 76}}) {
        auto const pictures = PicturesOf(Make({"resize", Film(), std::string("--size=") + size}));
        EXPECT_EQ(width, pictures.at(0).width) << size;
        EXPECT_EQ(height, pictures.at(0).height) << size;
    }
}

TEST_F(Effects, ResizedPicturesOfAnamorphicFilmsHaveSquarePixels) {
    std::string const wide = ByFFmpeg("effects-wide.mkv", Film(), "setsar=64/45");
    for (char const* name : {"out.mkv", "out.mp4"}) {
        std::string const out = Make({"resize", wide, "--size", "128x"}, name);
        EXPECT_EQ(68, PicturesOf(out).at(0).height) << name;
        EXPECT_EQ(0, av_cmp_q({1, 1}, ToldBy(out)->sampleAspect)) << name;
        Make({"effects", wide, "--effect", "color:contrast=2"}, name);
        EXPECT_EQ(0, av_cmp_q({64, 45}, ToldBy(out)->sampleAspect)) << name;
    }
}

TEST_F(Effects, LetterboxHasBlackBarsAndCropHasNone) {
    auto const boxed = PicturesOf(Make({"resize", Film(), "--size", "128x128", "--mode", "letterbox"}));
    auto const source = PicturesOf(Film());
    for (int y : {0, 15, 112, 127}) EXPECT_EQ(16, LumaAt(boxed.at(9), 64, y)) << y;
    for (int y = 0; y < 96; ++y) ASSERT_EQ(LumaAt(source.at(9), 40, y), LumaAt(boxed.at(9), 40, y + 16)) << y;
    auto const cropped = PicturesOf(Make({"resize", Film(), "--size", "96x96", "--mode", "crop"}));
    for (int y = 0; y < 96; ++y) ASSERT_EQ(LumaAt(source.at(9), 56, y), LumaAt(cropped.at(9), 40, y)) << y;
}

TEST_F(Effects, WhatIsNotChangedGoesAlongBitForBit) {
    for (auto const& arguments : {std::vector<std::string>{"resize", Film(), "--size", "64x48"},
                                  {"deinterlace", Film()},
                                  {"effects", Film(), "--effect", "fade:end=1"}}) {
        std::string const out = Make(arguments);
        EXPECT_EQ(PayloadsOf(Film(), 1), PayloadsOf(out, 1)) << CommandText(arguments);
        EXPECT_EQ(PayloadsOf(Film(), 2), PayloadsOf(out, 2)) << CommandText(arguments);
        EXPECT_THAT(errors, IsEmpty());
    }
    std::string const faded = Make({"effects", Film(), "--effect", "audio-fade:end=1"});
    EXPECT_EQ(PayloadsOf(Film(), 0), PayloadsOf(faded, 0)) << "the pictures";
    EXPECT_NE(PayloadsOf(Film(), 1), PayloadsOf(faded, 1));
}

// Deinterlacing.

TEST_F(Effects, InterlacedPicturesBecomeProgressiveAndKeepTheFirstField) {
    auto const source = PicturesOf(Tape());
    ASSERT_TRUE(source.at(3).interlaced);
    for (auto const& more : {std::vector<std::string>{"--method", "spatial"}, {"--method", "adaptive"}}) {
        std::vector<std::string> arguments{"deinterlace", Tape()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const own = PicturesOf(Make(arguments));
        ASSERT_EQ(source.size(), own.size());
        for (std::size_t i = 0; i < own.size(); ++i) {
            EXPECT_FALSE(own[i].interlaced) << i;
            for (int y = 0; y < 96; y += 2)
                for (int x = 0; x < 128; x += 7)
                    ASSERT_EQ(LumaAt(source[i], x, y), LumaAt(own[i], x, y)) << i << " " << x << " " << y;
        }
    }
}

TEST_F(Effects, ProgressivePicturesAreLeftAsTheyAre) {
    auto const source = PicturesOf(Film());
    auto const own = PicturesOf(Make({"deinterlace", Film(), "--smooth"}));
    ASSERT_EQ(source.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) EXPECT_EQ(source[i].pixels, own[i].pixels) << i;
}

// Effects.

TEST_F(Effects, PicturesFadeInAndOut) {
    auto const source = PicturesOf(Film());
    auto const own = PicturesOf(
        Make({"effects", Film(), "--effect", "fade:end=1", "--effect", "fade:direction=out,begin=2,color=#ffffff"}));
    ASSERT_EQ(75U, own.size());
    for (int x = 0; x < 128; x += 5) {
        EXPECT_EQ(16, LumaAt(own[0], x, 40)) << "black";
        // Half of the way from black, 16.
        EXPECT_NEAR(16 + (LumaAt(source[13], x, 40) - 16) * 0.52, LumaAt(own[13], x, 40), 1.01);
        EXPECT_EQ(LumaAt(source[30], x, 40), LumaAt(own[30], x, 40));
        EXPECT_NEAR(235 + (LumaAt(source[74], x, 40) - 235) * 0.04, LumaAt(own[74], x, 40), 1.01) << "nearly white";
    }
}

TEST_F(Effects, EffectsActInTheirOrderAndWithinTheirIntervals) {
    auto const source = PicturesOf(Film());
    auto const own = PicturesOf(
        Make({"effects", Film(), "--effect", "color:brightness=-1,begin=1,end=2", "--effect", "color:saturation=0"}));
    EXPECT_EQ(LumaAt(source[24], 60, 40), LumaAt(own[24], 60, 40));
    EXPECT_LE(LumaAt(own[25], 60, 40), 16);
    EXPECT_LE(LumaAt(own[49], 60, 40), 16);
    EXPECT_EQ(LumaAt(source[50], 60, 40), LumaAt(own[50], 60, 40));
    for (std::size_t i = 128 * 96; i < own[60].pixels.size(); ++i) ASSERT_EQ(128, own[60].pixels[i]) << "grey";
}

TEST_F(Effects, SoundFadesSampleBySample) {
    auto const source = ChannelOf(SoundOf(Film(), 1), 0);
    auto const own =
        ChannelOf(SoundOf(Make({"effects", Film(), "--audio-codec", "pcm_f32le", "--effect",
                                "audio-fade:curve=linear,end=1", "--effect", "audio-fade:direction=out,begin=2,end=3"}),
                          1),
                  0);
    ASSERT_EQ(source.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) {
        double const time = static_cast<double>(i) / 48000;
        double const rising = std::min(time, 1.0);
        double const falling = time <= 2 ? 1 : std::cos((time - 2) * std::numbers::pi / 2);
        ASSERT_NEAR(source[i] * rising * falling, own[i], 1e-5) << i;
    }
}

TEST_F(Effects, StampsAreDrawnWhereTheyAreTold) {
    std::string const logo = folder / "lo,go'.png";
    RunFFmpeg({"-f", "lavfi", "-i", "color=white:s=8x6:d=1", "-frames:v", "1", logo});
    auto const source = PicturesOf(Film());
    auto const own = PicturesOf(
        Make({"effects", Film(), "--effect", "stamp:file=" + folder.GetPath() + "/lo\\,go\\'.png,x=-1,y=2"}));
    for (int x = 120; x < 128; ++x)
        for (int y = 2; y < 8; ++y) EXPECT_NEAR(235, LumaAt(own[5], x, y), 1) << x << " " << y;
    EXPECT_EQ(LumaAt(source[5], 100, 50), LumaAt(own[5], 100, 50));
}

TEST_F(Effects, StampsAreDrawnOnFormatsThatHaveNoPartnerWithAlpha) {
    std::string const stamp =
        MakeClip("effects-glass.png", {"-f", "lavfi", "-i", "color=c=white@0.5:s=8x6,format=rgba", "-frames:v", "1"});
    for (std::string const format : {"yuv411p", "yuv410p", "yuv440p", "gray10le"}) {
        std::string const film = ByFFmpeg("effects-" + format + ".mkv", Film(), "format=" + format);
        auto const own = PicturesOf(Make(
            {"effects", film, "--effect", "stamp:begin=1,file=" + stamp, "--effect", "text:text=A,x=-1,y=-1,size=20"}));
        EXPECT_THAT(errors, Not(HasSubstr("fitted"))) << format;
        auto const plain = PicturesOf(Make({"effects", film, "--effect", "text:text=A,x=-1,y=-1,size=20"}));
        ASSERT_EQ(75U, own.size()) << format;
        EXPECT_EQ(plain[24].pixels, own[24].pixels) << format;
        EXPECT_NE(plain[25].pixels, own[25].pixels) << format;
    }
}

TEST_F(Effects, GpuGivesThePicturesOfTheProcessor) {
    auto const cpu = PicturesOf(Make(
        {"effects", Film(), "--effect", "convert:format=rgba", "--effect", "resize:width=64,height=48"}, "cpu.mkv"));
    auto const gpu = PicturesOf(
        Make({"effects", Film(), "--effect", "convert:format=rgba", "--effect", "resize:width=64,height=48,impl=OGL"},
             "gpu.mkv"));
    ASSERT_EQ(75U, gpu.size());
    ASSERT_EQ(cpu.size(), gpu.size());
    int largest = 0;
    for (std::size_t i = 0; i < gpu.size(); ++i) {
        ASSERT_EQ(cpu[i].pixelFormat, gpu[i].pixelFormat);
        ASSERT_EQ(cpu[i].pixels.size(), gpu[i].pixels.size());
        for (std::size_t k = 0; k < gpu[i].pixels.size(); ++k)
            largest = std::max(largest, std::abs(int{cpu[i].pixels[k]} - int{gpu[i].pixels[k]}));
    }
    EXPECT_LE(largest, 2);
}

TEST_F(Effects, PicturesBehindTheGpuHaveTheMatrixAndTheRangeThatTheFileTells) {
    for (char const* range : {"tv", "pc"}) {
        std::string const film =
            MakeClip(std::string("effects-bt709-") + range + ".mkv",
                     {"-i", Film(), "-map", "0:v", "-vf",
                      std::string("scale=out_color_matrix=bt709:out_range=") + range + ",format=yuv444p", "-c:v",
                      "libx264", "-qp", "0", "-colorspace", "bt709", "-color_range", range});
        auto const source = PicturesOf(film);
        auto const own = PicturesOf(Make({"effects", film, "--effect", "upload"}));
        ASSERT_EQ(source.size(), own.size());
        EXPECT_GT(Psnr(source.at(9), own.at(9)), 50) << range;
    }
}

TEST_F(Effects, PicturesBehindTheGpuAreWrittenInThePixelFormatThatTheyHad) {
    auto const own = PicturesOf(Make({"resize", Film(), "--size", "64x48", "--impl", "OGL"}));
    ASSERT_EQ(75U, own.size());
    EXPECT_EQ(PicturesOf(Film()).at(0).pixelFormat, own[0].pixelFormat);
}

TEST_F(Effects, RgbKeepsItsColoursInACodecThatTakesNone) {
    std::string const film = ByFFmpeg("effects-rgb.mkv", Film(), "format=gbrp");
    auto const source = PicturesOf(
        ByFFmpeg("effects-rgb-expected.mkv", film, "scale=out_color_matrix=bt601:out_range=tv,format=yuv444p"));
    std::string const out = Make({"effects", film, "--effect", "color"});
    auto const own = PicturesOf(out);
    ASSERT_EQ(source.size(), own.size());
    EXPECT_GT(Psnr(source.at(9), own.at(9)), 45);
    EXPECT_EQ(AVCOL_SPC_SMPTE170M, ToldBy(out)->parameters->color_space);
    EXPECT_EQ(AVCOL_RANGE_MPEG, ToldBy(out)->parameters->color_range);
}

TEST_F(Effects, PicturesComeBackFromTheGpuForFiltersThatNeedThem) {
    std::string const graph = folder / "graph.json";
    std::ofstream(graph) << R"({"sources": [{"id": 1, "file": "${IN}", "stream": "video"}],
        "filters": [
          {"id": 2, "class": "SettingsResizer", "inputs": [1],
           "settings": {"Width": 64, "Height": 48, "Implementation": "OGL"}},
          {"id": 3, "class": "FilterApplyEffectsVideo", "inputs": [2], "settings": {"Effects": [{"effect": "upload"}]}},
          {"id": 4, "class": "SettingsFilterReverse", "inputs": [3]},
          {"id": 5, "class": "FilterApplyEffectsVideo", "inputs": [4], "settings": {"Effects": [{"effect": "upload"}]}}],
        "output": {"file": "${OUT}", "streams": [{"input": 5, "codec": "h264", "quality": 0}]}})";
    std::string const out = folder / "out.mkv";
    auto const result = RunTarsel({"run", graph, "--set", "IN=" + Film(), "--set", "OUT=" + out});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const pictures = PicturesOf(out);
    ASSERT_EQ(75U, pictures.size());
    EXPECT_EQ(64, pictures[0].width);
}

// What all short forms do.

TEST_F(Effects, GraphCanBePrintedAndRun) {
    auto const printed = RunTarsel({"effects", Film(), "-o", folder / "out.mkv", "--effect", "fade:end=1.5,impl=Tarsel",
                                    "--effect", "audio-fade", "--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    Json const graph = Json::parse(printed.output);
    Json const fade = graph.at("filters").at(0).at("settings").at("Effects").at(0);
    EXPECT_EQ("fade", fade.at("effect"));
    EXPECT_EQ(1500000, fade.at("end"));
    EXPECT_EQ("Tarsel", fade.at("implementation"));
    EXPECT_THAT(folder.List(), IsEmpty());
    std::ofstream(folder / "graph.json") << printed.output;
    EXPECT_EQ(0, RunTarsel({"run", folder / "graph.json"}).exitCode);
    EXPECT_THAT(folder.List(), Contains("out.mkv"));
}

TEST_F(Effects, DryRunWritesNothingAndTellsTheCounts) {
    auto const report =
        ParseOutput(RunTarsel({"resize", Film(), "-o", folder / "out.mkv", "--size", "64x", "--dry-run", "--json"}));
    EXPECT_EQ(75, report.at("streams").at(0).at("items"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Effects, StreamsThatTheContainerCannotHoldAreTold) {
    std::string const out = folder / "out.mp4";
    auto const result = RunTarsel({"resize", Film(), "-o", out, "--size", "64x48", "--strict"});
    EXPECT_EQ(3, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("stream #1 (audio, pcm_f32le) is encoded anew: "));
    EXPECT_EQ("aac", InspectFile(out).streams.at(1).codec);
}

}  // namespace
}  // namespace Tarsel::Test
