// What a person types at `tarsel mix` and `tone`, and what comes of it.
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

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;

/// Two seconds of noise in two channels that differ.
std::string Noise(std::string const& codec = "pcm_s16le") {
    return SoundClip("sound-noise-" + codec + ".wav", "aevalsrc='0.9*(random(0)*2-1)|0.5*(random(1)*2-1)':s=48000:d=2",
                     {"-c:a", codec});
}

/// A second and a half, of a length that no block divides.
std::string Sines(std::string const& codec = "pcm_s16le") {
    return SoundClip("sound-sines-" + codec + ".wav",
                     "aevalsrc='0.6*sin(2*PI*440*t)|0.7*sin(2*PI*660*t)':s=48000:d=1.50002", {"-c:a", codec});
}

class Sound : public ::testing::Test {
  protected:
    /// Runs a command and expects it to succeed.
    std::string Make(std::vector<std::string> arguments, std::string const& name = "out.wav") {
        std::string const path = folder / name;
        arguments.insert(arguments.end(), {"-o", path, "--force"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        return path;
    }

    ScratchFolder const folder;
};

// Usage.

TEST_F(Sound, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    std::string const out = folder / "out.wav";
    std::string const a = Noise();
    std::string const b = Sines();
    for (auto const& [arguments, named] : std::vector<Mistake>{
             {{"mix", a, "-o", out}, "input"},
             {{"mix", a, b}, "--output"},
             {{"mix", a, b, "-o", out, "--volume", "80"}, "--volume: 1 given for 2 inputs"},
             {{"mix", a, b, "-o", out, "--volume", "80", "--volume", "50", "--volume", "1"}, "3 given for 2 inputs"},
             {{"mix", a, b, "-o", out, "--volume", "80,50,1"}, "3 given for 2 inputs"},
             {{"mix", a, b, "-o", out, "--volume", "80", "--volume", "loud"}, "--volume: \"loud\""},
             {{"mix", a, b, "-o", out, "--volume", "80", "--volume", "50%"}, "--volume: \"50%\""},
             {{"mix", a, b, "-o", out, "--volume", "1000001", "--volume", "1"}, "--volume: \"1000001\""},
             {{"mix", a, b, "-o", out, "--volume", ""}, "--volume"},
             {{"mix", a, b, "-o", out, "--audio-codec", "h264"}, "--audio-codec: there is no codec \"h264\""},
             {{"tone", "-o", out, "--duration", "1"}, "--frequency"},
             {{"tone", "-o", out, "--frequency", "1"}, "--duration"},
             {{"tone", "--frequency", "1", "--duration", "1"}, "--output"},
             {{"tone", "-o", out, "--frequency", "0", "--duration", "1"}, "--frequency: \"0\""},
             {{"tone", "-o", out, "--frequency=-5", "--duration", "1"}, "--frequency: \"-5\""},
             {{"tone", "-o", out, "--frequency", "24000.5", "--duration", "1"}, "up to half the rate of 48000"},
             {{"tone", "-o", out, "--frequency", "nan", "--duration", "1"}, "--frequency: \"nan\""},
             {{"tone", "-o", out, "--frequency", "4001", "--duration", "1", "--rate", "8000"}, "--frequency: \"4001\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "0"}, "--duration: \"0\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "1", "--amplitude", "1.1"}, "--amplitude: \"1.1\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "1", "--amplitude", "nan"}, "--amplitude: \"nan\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "1", "--rate", "0"}, "--rate: \"0\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "1", "--rate", "768001"}, "--rate: \"768001\""},
             {{"tone", "-o", out, "--frequency", "1", "--duration", "1", "--channels", "9"}, "--channels: \"9\""}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Sound, HelpOfEachCommandShowsAnExample) {
    for (char const* command : {"mix", "volume", "level", "tone"}) {
        auto const result = RunTarsel({command, "--help"});
        EXPECT_EQ(0, result.exitCode);
        EXPECT_THAT(result.output, HasSubstr(":\n  tarsel " + std::string(command))) << command;
    }
}

TEST_F(Sound, WhatOnlyTheMediaShowsExitsWithOne) {
    std::string const out = folder / "out.wav";
    std::string const silent =
        MakeClip("sound-none.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-c:v", "libx264"});
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] : std::vector<Mistake>{
             {{"mix", Noise(), folder / "missing.wav", "-o", out}, folder / "missing.wav"},
             {{"mix", Noise(), silent, "-o", out}, silent + ": there is no audio in it"},
             {{"mix", Noise(), Sines(), "-o", folder / "out.h264"}, "h264 is written with no audio"},
             {{"mix", Noise(), Sines(), "-o", folder / "out.xyz"}, "there is no container for the extension \".xyz\""},
             {{"mix", Noise(), Sines(), "-o", Noise(), "--force"}, Noise()},
             {{"tone", "-o", folder / "out.h264", "--frequency", "1", "--duration", "1"}, "written with no audio"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(1, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Sound, AFileThatStandsThereIsKeptWithoutForce) {
    std::ofstream(folder / "out.wav") << "precious";
    for (std::vector<std::string> arguments :
         {std::vector<std::string>{"mix", Noise(), Sines()}, {"tone", "--frequency", "440", "--duration", "1"}}) {
        arguments.insert(arguments.end(), {"-o", folder / "out.wav"});
        EXPECT_EQ(1, RunTarsel(arguments).exitCode);
        EXPECT_EQ("precious", ReadWholeFile(folder / "out.wav"));
    }
    EXPECT_THAT(folder.List(), ElementsAre("out.wav"));
    Make({"tone", "--frequency", "440", "--duration", "1"});
    EXPECT_EQ(48000U * 2, SoundOf(folder / "out.wav").samples.size());
}

TEST_F(Sound, AnInterruptedRunLeavesNothing) {
    std::string const length = SoundClip("sound-long.wav", "anullsrc=r=48000:cl=stereo:d=1200");
    for (std::vector<std::string> command :
         {std::vector<std::string>{"mix", length, length}, {"tone", "--frequency", "440", "--duration", "20:00:00"}}) {
        command.insert(command.begin(), TarselPath());
        command.insert(command.end(), {"-o", folder / "out.mp3"});
        bool sent = false;
        auto const result = RunProgram(command, [&](int pid) {
            if (folder.List().empty()) return true;
            sent = true;
            kill(pid, SIGINT);
            return false;
        });
        EXPECT_TRUE(sent) << CommandText(command);
        EXPECT_EQ(130, result.exitCode) << CommandText(command);
        EXPECT_THAT(folder.List(), IsEmpty()) << CommandText(command);
    }
}

TEST_F(Sound, PrintGraphPrintsAFileThatRunsAndGivesTheSame) {
    std::string const direct = Make({"mix", Noise(), Sines(), "--volume", "30", "--volume", "60"}, "direct.wav");
    std::string const out = folder / "out.wav";
    auto const printed =
        RunTarsel({"mix", Noise(), Sines(), "-o", out, "--volume", "30", "--volume", "60", "--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), ElementsAre("direct.wav"));
    std::ofstream(folder / "mix.json") << printed.output;
    auto const run = RunTarsel({"run", folder / "mix.json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(ReadWholeFile(direct), ReadWholeFile(out));
}

TEST_F(Sound, ADryRunWritesNothing) {
    auto const mix = RunTarsel({"mix", Noise(), Sines(), "-o", folder / "out.wav", "--dry-run", "--json"});
    ASSERT_EQ(0, mix.exitCode) << mix.errors;
    EXPECT_EQ(2 * SECOND, ParseOutput(mix).at("streams")[0].at("end_us"));
    auto const tone =
        RunTarsel({"tone", "-o", folder / "out.wav", "--frequency", "440", "--duration", "3", "--dry-run", "--json"});
    ASSERT_EQ(0, tone.exitCode) << tone.errors;
    EXPECT_EQ(3 * SECOND, ParseOutput(tone).at("streams")[0].at("end_us"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

// Mixing.

/// The sum of 16-bit samples, each with its gain in 256ths, as the library promises it.
std::vector<int> Sum16(std::vector<std::pair<std::vector<int>, int>> const& inputs) {
    std::size_t length = 0;
    for (auto const& [samples, percent] : inputs) length = std::max(length, samples.size());
    std::vector<int> sums;
    for (std::size_t i = 0; i < length; ++i) {
        int sum = 0;
        for (auto const& [samples, percent] : inputs)
            if (i < samples.size()) sum += (samples[i] * static_cast<int>(percent / 100.0 * 256 + 0.5) + 128) >> 8;
        sums.push_back(std::clamp(sum, -32768, 32767));
    }
    return sums;
}

TEST_F(Sound, AMixOf16BitsIsTheSumToTheLastBit) {
    auto const a = Integers(SoundOf(Noise()));
    auto const b = Integers(SoundOf(Sines()));
    ASSERT_GT(a.size(), b.size());
    EXPECT_EQ(Sum16({{a, 100}, {b, 100}}), Integers(SoundOf(Make({"mix", Noise(), Sines()}))));
    EXPECT_EQ(Sum16({{b, 80}, {a, 150}}),
              Integers(SoundOf(Make({"mix", Sines(), Noise(), "--volume", "80", "--volume", "150"}))));
    EXPECT_EQ(
        Sum16({{a, -100}, {a, 30}, {b, 0}}),
        Integers(SoundOf(Make({"mix", Noise(), Noise(), Sines(), "--volume=-100", "--volume=30", "--volume=0"}))));
}

TEST_F(Sound, VolumesThatTheWordsOf16BitsDontHoldClipInsteadOfWrapping) {
    auto const source = SoundOf(Noise()).samples;
    // 256 times alone, and less than that by an input that holds more together than the sum has room for.
    std::vector<std::string> many{"mix"};
    for (int i = 0; i < 257; ++i) many.push_back(Noise());
    std::string volumes = "--volume=25599";
    for (int i = 0; i < 256; ++i) volumes += ",25599";
    many.push_back(volumes);
    auto const lone = SoundOf(Make({"mix", Noise(), Noise(), "--volume", "0,25600"})).samples;
    auto const sum = SoundOf(Make(many)).samples;
    ASSERT_EQ(source.size(), lone.size());
    ASSERT_EQ(source.size(), sum.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        ASSERT_NEAR(std::clamp(source[i] * 256.0, -1.0, 1.0), lone[i], 0.01) << i;
        ASSERT_NEAR(std::clamp(source[i] * 256.0 * 257.0, -1.0, 1.0), sum[i], 0.01) << i;
    }
    auto const printed =
        RunTarsel({"mix", Noise(), Noise(), "-o", folder / "x.wav", "--volume=25599,-25599", "--print-graph"});
    EXPECT_THAT(printed.output, HasSubstr("\"SampleFormat\": \"s16\""));
}

TEST_F(Sound, AMixOfFloatsIsTheSumToTheLastBit) {
    auto const a = SoundOf(Noise("pcm_f32le")).samples;
    auto const b = SoundOf(Sines("pcm_f32le")).samples;
    std::vector<float> expected;
    for (std::size_t i = 0; i < a.size(); ++i) {
        double const sum = double{a[i]} * 0.8 + (i < b.size() ? double{b[i]} * 0.5 : 0.0);
        expected.push_back(std::clamp(static_cast<float>(sum), -1.0F, 1.0F));
    }
    auto const out = SoundOf(Make({"mix", Noise("pcm_f32le"), Sines("pcm_f32le"), "--volume", "80", "--volume", "50",
                                   "--audio-codec", "pcm_f32le"}));
    EXPECT_EQ(expected, out.samples);
}

TEST_F(Sound, VolumesMayStandInOneListAndAnywhere) {
    std::string const apart = ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume", "80", "--volume", "50"}));
    EXPECT_EQ(apart, ReadWholeFile(Make({"mix", "--volume", "80", Noise(), "--volume", "50", Sines()})));
    EXPECT_EQ(apart, ReadWholeFile(Make({"mix", "--volume", "80,50", Noise(), Sines()})));
    EXPECT_EQ(apart, ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume=80", "--volume=50"})));
    EXPECT_NE(apart, ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume", "50", "--volume", "80"})));
    EXPECT_EQ(ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume", "-50", "--volume", "80"}, "a.wav")),
              ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume=-50,80"}, "b.wav")));
}

TEST_F(Sound, ASecondNumberBehindVolumeIsAnInputAndNeverSwallowed) {
    auto const result = RunTarsel({"mix", Noise(), Sines(), "-o", folder / "out.wav", "--volume", "80", "50"});
    EXPECT_EQ(2, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("--volume: 1 given for 3 inputs"));
    // The other way round: an input behind the value stays one.
    EXPECT_EQ(ReadWholeFile(Make({"mix", Noise(), Sines(), "--volume", "70", "--volume", "20"}, "a.wav")),
              ReadWholeFile(Make({"mix", "--volume", "70", "--volume", "20", Noise(), Sines()}, "b.wav")));
}

TEST_F(Sound, InputsOfDifferentRatesAndLayoutsSoundAsTheirVolumesSay) {
    std::string const low =
        SoundClip("sound-low.wav", "aevalsrc='0.4*sin(2*PI*440*t)|0.2*sin(2*PI*440*t)':s=44100:d=3");
    std::string const high =
        SoundClip("sound-high.wav", "aevalsrc='0.3*sin(2*PI*1000*t)':s=96000:d=3", {"-c:a", "pcm_f32le"});
    auto const out =
        SoundOf(Make({"mix", low, high, "--volume", "50", "--volume", "200", "--audio-codec", "pcm_f32le"}));
    EXPECT_EQ(96000, out.sampleRate);
    EXPECT_EQ(2, out.channels);
    EXPECT_EQ(3U * 96000 * 2, out.samples.size());
    for (int channel = 0; channel < 2; ++channel) {
        auto values = ChannelOf(out, channel);
        // A second from the middle.
        values = {values.begin() + 96000, values.begin() + 2 * 96000};
        EXPECT_NEAR((channel == 0 ? 0.4 : 0.2) * 0.5, AmplitudeAt(values, 440, 96000), 0.0005);
        EXPECT_NEAR(0.3 * 2, AmplitudeAt(values, 1000, 96000), 0.0005) << "one channel goes into two as it is";
    }
}

TEST_F(Sound, ALayoutThatGraphFilesDontNameBecomesTheUsualOneOfAsManyChannels) {
    std::string const odd =
        SoundClip("sound-odd.wav", "aevalsrc='0.5*sin(2*PI*500*t)|0|0.25*sin(2*PI*700*t)|0':s=48000:d=1:c=4.0",
                  {"-af", "channelmap=0|1|2|3:FL+FR+FC+TC", "-c:a", "pcm_f32le"});
    auto const out = SoundOf(Make({"mix", odd, odd, "--volume", "50,50", "--audio-codec", "pcm_f32le"}));
    ASSERT_EQ(4, out.channels);
    EXPECT_NEAR(0.5, AmplitudeAt(ChannelOf(out, 0), 500, 48000), 0.0005);
    EXPECT_NEAR(0.25, AmplitudeAt(ChannelOf(out, 2), 700, 48000), 0.0005);
}

TEST_F(Sound, ALayoutThatCannotBeConvertedIsRefusedByName) {
    std::string const lame = SoundClip("sound-lame.wav", "aevalsrc='0|0|0':s=48000:d=1:c=2.1",
                                       {"-af", "channelmap=0|1|2:FL+LFE+TC", "-c:a", "pcm_s16le"});
    auto const result = RunTarsel({"mix", lame, lame, "-o", folder / "out.wav"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("Can't convert sound of 3 channels (FL+LFE+TC) at 48000 Hz in s16 to 2.1"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Sound, EightBitInputsStaySilentWhereTheyAre) {
    std::string const silence = SoundClip("sound-silence.wav", "anullsrc=r=8000:cl=mono:d=1", {"-c:a", "pcm_u8"});
    auto const out = SoundOf(Make({"mix", silence, silence, silence}));
    EXPECT_EQ(8000U, out.samples.size());
    EXPECT_THAT(out.samples, Each(AllOf(Ge(0.0F), Le(0.0F))));
}

TEST_F(Sound, IntegersOf64BitsAreMixedAsFloats) {
    std::string const wide =
        SoundClip("sound-wide.wav", "aevalsrc='0.5*sin(2*PI*500*t)':s=48000:d=1", {"-c:a", "pcm_s64le"});
    auto const out = SoundOf(Make({"mix", wide, wide, "--volume", "50", "--volume", "30"}));
    EXPECT_NEAR(0.4, AmplitudeAt(ChannelOf(out, 0), 500, 48000), 0.0005);
    auto const printed = RunTarsel({"mix", wide, wide, "-o", folder / "x.wav", "--print-graph"});
    EXPECT_THAT(printed.output, HasSubstr("\"SampleFormat\": \"dbl\""));
}

TEST_F(Sound, PicturesOfTheInputsAreLeftOutWithAWarning) {
    std::string const film =
        MakeClip("sound-film.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=2", "-f", "lavfi", "-i",
                                    "sine=f=300:d=2", "-c:v", "libx264", "-c:a", "aac"});
    auto const result = RunTarsel({"mix", film, film, Noise(), "-o", folder / "out.m4a"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("tarsel: warning: " + film + ": stream #0 (video, h264) is left out\n", result.errors);
    auto const file = InspectFile(folder / "out.m4a");
    ASSERT_EQ(1U, file.streams.size());
    EXPECT_EQ("aac", file.streams[0].codec);
    EXPECT_EQ(3, RunTarsel({"mix", film, film, "-o", folder / "out.m4a", "--force", "--strict"}).exitCode);
}

// Tones.

TEST_F(Sound, AToneHasItsFrequencyLevelAndLength) {
    auto const out = SoundOf(Make({"tone", "--frequency", "440", "--duration", "2", "--amplitude", "0.5"}));
    EXPECT_EQ(48000, out.sampleRate);
    EXPECT_EQ(2, out.channels);
    ASSERT_EQ(2U * 2 * 48000, out.samples.size());
    for (int channel = 0; channel < 2; ++channel) {
        auto const values = ChannelOf(out, channel);
        for (std::size_t i = 0; i < values.size(); ++i) {
            double const expected = 0.5 * std::sin(2 * std::numbers::pi * std::fmod(440.0 * double(i) / 48000, 1.0));
            ASSERT_NEAR(std::trunc(expected * 32767), values[i] * 32768, 1) << i;
        }
        EXPECT_NEAR(0.5, AmplitudeAt(values, 440, 48000), 0.0001);
    }
}

TEST_F(Sound, AToneIsAsLongAsToldToTheSampleAtAnyRate) {
    for (auto const& [rate, duration, samples] :
         {std::tuple{"44100", "3.3333", 146999U}, std::tuple{"44101", "2.5", 110253U},
          std::tuple{"11025", "0:01", 11025U}, std::tuple{"8000", "125us", 1U},
          std::tuple{"768000", "100ms", 76800U}}) {
        auto const out =
            SoundOf(Make({"tone", "--frequency", "1000", "--duration", duration, "--rate", rate, "--channels", "1"}));
        EXPECT_EQ(std::stoi(rate), out.sampleRate);
        EXPECT_EQ(samples, out.samples.size()) << rate;
    }
}

TEST_F(Sound, AToneComesInBlocksOfATenthOrOfTheNextWholeMicrosecond) {
    for (auto const& [rate, samples] : {std::pair{"48000", "4800"}, std::pair{"44100", "4410"},
                                        std::pair{"11025", "882"}, std::pair{"44101", "44101"}}) {
        auto const printed = RunTarsel({"tone", "-o", folder / "out.wav", "--frequency", "440", "--duration", "1",
                                        "--rate", rate, "--print-graph"});
        EXPECT_THAT(printed.output, HasSubstr("\"BlockSamples\": " + std::string(samples) + ",")) << rate;
    }
}

TEST_F(Sound, AToneDoesNotClickBetweenItsBlocks) {
    auto const values =
        ChannelOf(SoundOf(Make({"tone", "--frequency", "441.7", "--duration", "1", "--audio-codec", "pcm_f32le"})), 0);
    double const steepest = 2 * std::numbers::pi * 441.7 / 48000;
    for (std::size_t i = 1; i < values.size(); ++i)
        ASSERT_LE(std::abs(values[i] - values[i - 1]), steepest * 1.001) << i;
}

TEST_F(Sound, AToneGoesIntoEveryContainerOfSound) {
    for (auto const& [ending, codec] : {std::pair{"mp3", "mp3"}, std::pair{"m4a", "aac"}, std::pair{"flac", "flac"},
                                        std::pair{"mkv", "aac"}, std::pair{"ts", "aac"}, std::pair{"mp4", "aac"}}) {
        std::string const path =
            Make({"tone", "--frequency", "440", "--duration", "2", "--channels", "6"}, "tone." + std::string(ending));
        auto const file = InspectFile(path);
        ASSERT_EQ(1U, file.streams.size()) << ending;
        EXPECT_EQ(codec, file.streams[0].codec) << ending;
        EXPECT_NEAR(2.0, double(ChannelOf(SoundOf(path), 0).size()) / 48000, 0.06) << ending;
    }
}

TEST_F(Sound, TheListOfFiltersNamesThoseOfSound) {
    auto const text = RunTarsel({"filters"}).output;
    for (char const* name : {"SettingsAudioGenerator", "SettingsFilterAudioVolume", "SettingsFilterResample",
                             "SettingsFilterAudioFormatter", "FilterResample", "FilterAudioFormatter",
                             "FilterAudioMixer", "FilterAudioHistogram", "FilterVolumeDetect"})
        EXPECT_THAT(text, HasSubstr(std::string(name) + " (Tarsel)"));
}

}  // namespace
}  // namespace Tarsel::Test
