// What `tarsel level` tells, beside what ffmpeg's astats and volumedetect tell of the same files.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/support/SoundMeasure.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::HasSubstr;
using Json = nlohmann::json;

Json Level(std::string const& path, std::vector<std::string> const& more = {}) {
    std::vector<std::string> arguments{"level", path, "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto const result = RunTarsel(arguments);
    EXPECT_EQ(0, result.exitCode) << result.errors;
    return ParseOutput(result);
}

double Decibels(double level) {
    return 20 * std::log10(level);
}

/// What a filter of ffmpeg reports of a file, "name: value" line by line; of each channel, and behind them of all.
std::vector<std::map<std::string, double>> Report(std::string const& path, std::string const& filter) {
    auto const result =
        RunProgram({"ffmpeg", "-hide_banner", "-nostats", "-i", path, "-af", filter, "-f", "null", "-"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    std::vector<std::map<std::string, double>> parts(1);
    std::istringstream lines(result.errors);
    for (std::string line; std::getline(lines, line);) {
        std::size_t const begin = line.find("] ");
        if (line.find("Parsed_" + filter) == std::string::npos || begin == std::string::npos) continue;
        std::string const text = line.substr(begin + 2);
        std::size_t const colon = text.find(": ");
        if (text == "Overall") parts.emplace_back();
        if (colon == std::string::npos) continue;
        if (text.substr(0, colon) == "Channel" && !parts.back().empty()) parts.emplace_back();
        parts.back()[text.substr(0, colon)] = std::strtod(text.c_str() + colon + 2, nullptr);
    }
    return parts;
}

/// Sines whose half-waves differ, the lower one being the larger.
std::string Lopsided(std::string const& codec) {
    return SoundClip("level-lopsided-" + codec + ".wav",
                     "aevalsrc='0.8*min(sin(2*PI*440*t),0.5)|0.3*sin(2*PI*660*t)':s=48000:d=3", {"-c:a", codec});
}

TEST(LevelCommand, PrintsExactlyThePromisedJson) {
    Json const level = Level(Lopsided("pcm_s16le"));
    std::vector<std::string> keys;
    for (auto const& [key, value] : level.items()) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"channels", "peak", "quiet", "rms"}));
    ASSERT_EQ(2U, level["channels"].size());
    for (Json const& channel : level["channels"]) {
        EXPECT_EQ(2U, channel.size());
        EXPECT_TRUE(channel["peak"].is_number());
        EXPECT_TRUE(channel["rms"].is_number());
    }
    EXPECT_TRUE(level["quiet"].is_boolean());
}

TEST(LevelCommand, MeasuresEveryChannelOverTheWholeStream) {
    for (std::string const codec :
         {"pcm_u8", "pcm_s16le", "pcm_s32le", "pcm_s64le", "pcm_f32le", "pcm_f64le", "flac"}) {
        std::string const path = codec == "flac" ? SoundClip("level-lopsided.flac",
                                                             "aevalsrc='0.8*min(sin(2*PI*440*t),0.5)|"
                                                             "0.3*sin(2*PI*660*t)':s=48000:d=3")
                                                 : Lopsided(codec);
        Json const level = Level(path);
        double const near = codec == "pcm_u8" ? 0.01 : 0.0002;
        EXPECT_NEAR(0.4, level["channels"][0]["peak"], near) << codec;
        EXPECT_NEAR(0.3, level["channels"][1]["peak"], near) << codec;
        EXPECT_NEAR(0.4, level["peak"], near) << codec;
        EXPECT_NEAR(0.3 / std::sqrt(2.0), level["channels"][1]["rms"], near) << codec;
        double const left = level["channels"][0]["rms"];
        double const right = level["channels"][1]["rms"];
        EXPECT_NEAR(std::sqrt((left * left + right * right) / 2), level["rms"], 1e-9) << codec;
        EXPECT_EQ(false, level["quiet"]) << codec;
    }
}

// The differences that the documentation explains.

TEST(LevelCommand, TheRmsIsThatOfAstats) {
    for (std::string const codec : {"pcm_s16le", "pcm_s32le", "pcm_f32le"}) {
        Json const level = Level(Lopsided(codec));
        auto const astats = Report(Lopsided(codec), "astats");
        ASSERT_EQ(3U, astats.size());
        for (std::size_t i = 0; i < 2; ++i)
            EXPECT_NEAR(astats[i].at("RMS level dB"), Decibels(level["channels"][i]["rms"]), 0.0001) << codec;
        EXPECT_NEAR(astats[2].at("RMS level dB"), Decibels(level["rms"]), 0.0001) << codec;
    }
}

TEST(LevelCommand, ThePeakIsTheLargestValueOfAstatsAndNotItsPeakLevelWhichCountsBothHalfWaves) {
    Json const level = Level(Lopsided("pcm_s16le"));
    auto const astats = Report(Lopsided("pcm_s16le"), "astats");
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_EQ(std::lround(astats[i].at("Max level")), std::lround(double(level["channels"][i]["peak"]) * 32767));
    EXPECT_NEAR(Decibels(0.4), Decibels(level["channels"][0]["peak"]), 0.001);
    EXPECT_NEAR(Decibels(0.8), astats[0].at("Peak level dB"), 0.001);
    // Where the half-waves are alike the two agree.
    EXPECT_NEAR(astats[1].at("Peak level dB"), Decibels(level["channels"][1]["peak"]), 0.001);
}

TEST(LevelCommand, VolumedetectDividesBy32768AndRoundsToATenth) {
    std::string const path =
        SoundClip("level-even.wav", "aevalsrc='0.5*sin(2*PI*440*t)|0.5*sin(2*PI*440*t)':s=48000:d=2");
    Json const level = Level(path);
    auto const volumedetect = Report(path, "volumedetect");
    double const scale = 32767.0 / 32768.0;
    EXPECT_NEAR(volumedetect[0].at("max_volume"), Decibels(double(level["peak"]) * scale), 0.0501);
    EXPECT_NEAR(volumedetect[0].at("mean_volume"), Decibels(double(level["rms"]) * scale), 0.0501);
}

TEST(LevelCommand, FullScaleIs32767AndTheLowestValueLiesBeyondIt) {
    std::string const high = SoundClip("level-high.wav", "aevalsrc='1':s=8000:d=1", {"-c:a", "pcm_s16le"});
    EXPECT_EQ(1.0, Level(high)["peak"]);
    EXPECT_EQ(1.0, Level(high)["rms"]);
    std::string const low = SoundClip("level-low.wav", "aevalsrc='-1':s=8000:d=1", {"-c:a", "pcm_s16le"});
    EXPECT_EQ(0.0, Level(low)["peak"]);
    EXPECT_NEAR(32768 / 32767.0, Level(low)["rms"], 1e-12);
    // Only the positive half-wave makes it loud.
    EXPECT_EQ(true, Level(low)["quiet"]);
}

TEST(LevelCommand, SoundOfAFilmIsMeasuredAsItIsDecoded) {
    std::string const film =
        MakeClip("level-film.mkv", {"-f",   "lavfi", "-i",   "testsrc2=s=64x48:r=25:d=2",
                                    "-f",   "lavfi", "-i",   "sine=f=300:d=2",
                                    "-f",   "lavfi", "-i",   "aevalsrc='0.25*sin(2*PI*500*t)':d=2:s=48000",
                                    "-map", "0",     "-map", "1",
                                    "-map", "2",     "-c:v", "libx264",
                                    "-c:a", "aac"});
    auto const sound = SoundOf(film, 2);
    Json const level = Level(film, {"--stream", "1"});
    EXPECT_NEAR(*std::max_element(sound.samples.begin(), sound.samples.end()), level["peak"], 1e-6);
    // The codec overshoots where the sines begin, and keeps their power.
    EXPECT_NEAR(0.25 / std::sqrt(2.0), level["rms"], 0.005);
    EXPECT_NEAR(0.125 / std::sqrt(2.0), Level(film)["rms"], 0.005);
}

// The detector.

TEST(LevelCommand, QuietIsWhatStaysBelowThreeTenths) {
    auto const quiet = [](char const* name, std::string const& value) {
        return Level(SoundClip(name, "aevalsrc='" + value + "':s=8000:d=1", {"-c:a", "pcm_f32le"}))["quiet"];
    };
    EXPECT_EQ(true, quiet("level-299.wav", "0.299"));
    EXPECT_EQ(false, quiet("level-301.wav", "0.301"));
    EXPECT_EQ(true, quiet("level-none.wav", "0"));
}

TEST(LevelCommand, TheVerdictIsThatOfTenMinutesAndTheLevelThatOfTheWholeStream) {
    std::string const path = SoundClip("level-late.wav", "aevalsrc='if(lt(t,605),0.1,0.9)':s=8000:d=610");
    Json const level = Level(path);
    EXPECT_NEAR(0.9, level["peak"], 0.0001);
    EXPECT_EQ(true, level["quiet"]);
    EXPECT_NEAR(std::sqrt((605 * 0.01 + 5 * 0.81) / 610), level["rms"], 0.0001);
}

TEST(LevelCommand, TheRightChannelAloneMakesSoundLoud) {
    // Interleaved blocks would show the detector their front part alone: the last seconds would be unseen.
    std::string const path = SoundClip("level-right.wav", "aevalsrc='0|if(lt(t,2.9),0,0.9)':s=48000:d=3");
    EXPECT_EQ(false, Level(path)["quiet"]);
    EXPECT_EQ(0.0, Level(path)["channels"][0]["peak"]);
}

// Texts and failures.

TEST(LevelCommand, TheTextTellsLevelsAndDecibels) {
    std::string const path = SoundClip("level-text.wav", "aevalsrc='0.5|0':s=8000:d=1", {"-c:a", "pcm_f32le"});
    auto const result = RunTarsel({"level", path});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(
        "channel 0: peak 0.500000 (-6.02 dBFS), rms 0.500000 (-6.02 dBFS)\n"
        "channel 1: peak 0.000000 (-inf dBFS), rms 0.000000 (-inf dBFS)\n"
        "all: peak 0.500000 (-6.02 dBFS), rms 0.353553 (-9.03 dBFS)\nquiet: no\n",
        result.output);
    EXPECT_EQ("", result.errors);
}

TEST(LevelCommand, SamplesThatAreNoNumbersMakeTheRmsNone) {
    std::string const path = SoundClip("level-nan.wav", "aevalsrc='0/0':s=8000:d=1", {"-c:a", "pcm_f32le"});
    Json const level = Level(path);
    EXPECT_EQ(0.0, level["peak"]);
    EXPECT_TRUE(level["rms"].is_null());
    EXPECT_THAT(RunTarsel({"level", path}).output, HasSubstr("all: peak 0.000000 (-inf dBFS), rms not a number\n"));
}

TEST(LevelCommand, AStreamWithoutSamplesIsSilentAndToldOf) {
    ScratchFolder const folder;
    // A header alone: no sample follows.
    RunFFmpeg({"-f", "lavfi", "-i", "anullsrc=r=8000:cl=stereo:d=1", "-t", "0", folder / "empty.wav"});
    auto const result = RunTarsel({"level", folder / "empty.wav", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("is empty"));
    Json const level = ParseOutput(result);
    EXPECT_EQ(2U, level["channels"].size());
    EXPECT_EQ(0.0, level["peak"]);
    EXPECT_EQ(0.0, level["rms"]);
    EXPECT_EQ(true, level["quiet"]);
}

TEST(LevelCommand, AFileThatIsCutOffIsMeasuredToWhereItEndsAndToldOf) {
    ScratchFolder const folder;
    std::string const whole = ReadWholeFile(Lopsided("pcm_s16le"));
    std::ofstream(folder / "cut.wav", std::ios::binary) << whole.substr(0, whole.size() / 2);
    auto const result = RunTarsel({"level", folder / "cut.wav", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("tarsel: warning: " + folder / "cut.wav" + ": is cut off or damaged"));
    EXPECT_EQ(ParseOutput(RunTarsel({"level", Lopsided("pcm_s16le"), "--json"}))["channels"].size(),
              ParseOutput(result)["channels"].size());
}

TEST(LevelCommand, WhatCannotBeMeasuredExitsWithOne) {
    ScratchFolder const folder;
    std::string const silent =
        MakeClip("level-silent.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-c:v", "libx264"});
    auto const none = RunTarsel({"level", silent});
    EXPECT_EQ(1, none.exitCode);
    EXPECT_EQ("tarsel: " + silent + ": there is no audio in it\n", none.errors);
    EXPECT_EQ("", none.output);
    auto const missing = RunTarsel({"level", folder / "missing.wav", "--json"});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_THAT(missing.errors, HasSubstr(folder / "missing.wav"));
    auto const far = RunTarsel({"level", Lopsided("pcm_s16le"), "--stream", "1"});
    EXPECT_EQ(1, far.exitCode);
    EXPECT_THAT(far.errors, HasSubstr("it has 1 audio stream, there is no number 1"));
}

TEST(LevelCommand, MistakesExitWithTwo) {
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"level"},
                                                      {"level", "a.wav", "--stream", "-1"},
                                                      {"level", "a.wav", "--stream", "x"},
                                                      {"level", "a.wav", "--stream", ""},
                                                      {"level", "a.wav", "b.wav"}})
        EXPECT_EQ(2, RunTarsel(arguments).exitCode) << CommandText(arguments);
}

TEST(LevelCommand, TheGraphTellsTheSameLevel) {
    std::string const path = Lopsided("pcm_f32le");
    auto const run = RunTarsel({"run", TARSEL_EXAMPLES "/level.json", "--set", "IN=" + path, "--stats", "--json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    Json const tree = ParseOutput(run)["streams"][0]["statistics"];
    std::map<std::string, std::string> told;
    for (Json const& child : tree["children"].back()["children"])
        if (child.contains("value")) told[child["name"]] = child["value"];
    EXPECT_NEAR(Level(path)["peak"], std::stod(told.at("Level")), 1e-9);
    EXPECT_EQ("false", told.at("Quiet"));
}

}  // namespace
}  // namespace Tarsel::Test
