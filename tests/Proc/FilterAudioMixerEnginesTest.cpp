#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <random>
#include <string>

#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "tests/Proc/MixerSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

Conf::SampleInfo const STEREO_FLT{Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_STEREO};

/// A mixer as a host gets it, with the host's converters and cutters.
iptr<IFilterAudioMixer> MakeMixer() {
    iptr<IFilterFactory const> const factory = Host::MakeFilterFactory();
    return factory->Dedicated(FilterSlots::AUDIO_MIXER, ImplNames::DEFAULT)(factory);
}

/// A second of sound is `rate` samples; blocks of random sizes up to `largest`.
std::vector<int> RandomCut(int total, int largest, std::mt19937& random) {
    std::vector<int> counts;
    for (int left = total; left > 0; left -= counts.back())
        counts.push_back(std::min(left, std::uniform_int_distribution<int>(1, largest)(random)));
    return counts;
}

/// A sine of an amplitude of full scale, in any format.
std::function<double(int, int64)> Tone(Conf::SampleInfo const& info, double frequency, double amplitude) {
    double const silence = SilenceOf(info.GetSampleFormat());
    double scale = 1;
    switch (static_cast<int>(Conf::PlanarFormat(info.GetSampleFormat()))) {
        case Conf::SAMPLE_FORMAT_U8P:
            scale = 128;
            break;
        case Conf::SAMPLE_FORMAT_S16P:
            scale = 32768;
            break;
        case Conf::SAMPLE_FORMAT_S32P:
            scale = 2147483648.0;
            break;
        default:
            break;
    }
    double const step = 2 * std::numbers::pi * frequency / info.GetSampleRate();
    return [=](int, int64 index) {
        double const value = std::sin(step * static_cast<double>(index)) * amplitude * scale;
        return silence + (scale == 1 ? value : std::round(value));
    };
}

/// Amplitude of one frequency in a whole number of its periods.
double AmplitudeOf(std::vector<double> const& samples, double frequency, int rate) {
    double real = 0, imaginary = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double const angle = 2 * std::numbers::pi * frequency / rate * static_cast<double>(i);
        real += samples[i] * std::cos(angle);
        imaginary += samples[i] * std::sin(angle);
    }
    return 2 * std::hypot(real, imaginary) / static_cast<double>(samples.size());
}

double DecibelsOf(double ratio) {
    return 20 * std::log10(ratio);
}

/// All bytes of the blocks, plane by plane of each.
std::string BytesOf(std::vector<iptr<IDataAudio>> const& blocks) {
    std::string bytes;
    for (auto const& block : blocks) {
        auto const blob = block->GetBlob();
        bytes.append(reinterpret_cast<char const*>(blob->GetData()), blob->GetSize());
    }
    return bytes;
}

TEST(FilterAudioMixerEngines, StreamsOfAllKindsAreMixedInTheirCommonFormat) {
    Conf::SampleInfo const kinds[] = {{Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_MONO},
                                      {Conf::SAMPLE_FORMAT_FLTP, 48000, Conf::CHANNEL_LAYOUT_STEREO},
                                      {Conf::SAMPLE_FORMAT_U8, 22050, Conf::CHANNEL_LAYOUT_STEREO},
                                      {Conf::SAMPLE_FORMAT_S32P, 8000, Conf::CHANNEL_LAYOUT_MONO}};
    auto const mixer = MakeMixer();
    std::mt19937 random(1);
    for (auto const& info : kinds)
        mixer->AddStream(MakeRunStream(info, RandomCut(info.GetSampleRate(), 2000, random), Tone(info, 440, 0.125)),
                         100);
    Conf::SampleInfo const common(Conf::SAMPLE_FORMAT_FLTP, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(mixer->GetFormatCodec()->GetSampleInfo(), common);
    Seek(*mixer, 0);
    auto const blocks = ReadAll(*mixer);
    ASSERT_EQ(blocks.size(), 10U);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_THAT(blocks[i], IsAudio(100000 * static_cast<int64>(i), 4800));
        EXPECT_EQ(blocks[i]->GetSampleInfo(), common);
        EXPECT_EQ(blocks[i]->GetDuration(), 100000);
    }
    // Four equal tones in phase, away from the ends.
    auto samples = ChannelOf(blocks, 1);
    samples = std::vector<double>(samples.begin() + 12000, samples.begin() + 36000);
    EXPECT_NEAR(AmplitudeOf(samples, 440, 48000), 0.125 * 4, 0.001);
}

TEST(FilterAudioMixerEngines, TheLevelOfTwoTonesIsWhatTheVolumesSay) {
    struct Case {
        Conf::SampleInfo first, second;
        int firstVolume, secondVolume;
    };
    Case const cases[] = {
        {STEREO_FLT, STEREO_FLT, 100, 100},
        {STEREO_FLT, {Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_STEREO}, 50, 200},
        {{Conf::SAMPLE_FORMAT_S16P, 48000, Conf::CHANNEL_LAYOUT_STEREO},
         {Conf::SAMPLE_FORMAT_S16, 32000, Conf::CHANNEL_LAYOUT_STEREO},
         75,
         150},
        {{Conf::SAMPLE_FORMAT_DBL, 44100, Conf::CHANNEL_LAYOUT_STEREO}, STEREO_FLT, 25, 300},
    };
    for (Case const& sample : cases) {
        SCOPED_TRACE(TextOf(sample.first) + " and " + TextOf(sample.second));
        std::mt19937 random(2);
        auto const add = [&](IFilterAudioMixer& mixer, Conf::SampleInfo const& info, double frequency, int volume) {
            mixer.AddStream(
                MakeRunStream(info, RandomCut(2 * info.GetSampleRate(), 3000, random), Tone(info, frequency, 0.2)),
                volume);
        };
        auto const mixer = MakeMixer();
        add(*mixer, sample.first, 440, sample.firstVolume);
        add(*mixer, sample.second, 1000, sample.secondVolume);
        Conf::SampleInfo const common = mixer->GetFormatCodec()->GetSampleInfo();
        Seek(*mixer, 0);
        auto samples = ChannelOf(ReadAll(*mixer));
        int const rate = common.GetSampleRate();
        ASSERT_EQ(samples.size(), static_cast<std::size_t>(2 * rate));
        samples = std::vector<double>(samples.begin() + rate / 2, samples.begin() + rate / 2 + rate);
        double const full = Conf::PlanarFormat(common.GetSampleFormat()) == Conf::SAMPLE_FORMAT_S16P ? 32768 : 1;
        double const first = 0.2 * sample.firstVolume / 100, second = 0.2 * sample.secondVolume / 100;
        EXPECT_NEAR(DecibelsOf(AmplitudeOf(samples, 440, rate) / full / first), 0, 0.01);
        EXPECT_NEAR(DecibelsOf(AmplitudeOf(samples, 1000, rate) / full / second), 0, 0.01);
        double squares = 0;
        for (double const value : samples) squares += value * value / full / full;
        double const rms = std::sqrt(squares / static_cast<double>(samples.size()));
        EXPECT_NEAR(DecibelsOf(rms / std::sqrt((first * first + second * second) / 2)), 0, 0.01);
    }
}

TEST(FilterAudioMixerEngines, TheMixIsTheSameWhateverTheBlocksOfTheSources) {
    Conf::SampleInfo const kinds[] = {{Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_STEREO},
                                      {Conf::SAMPLE_FORMAT_FLTP, 48000, Conf::CHANNEL_LAYOUT_STEREO},
                                      {Conf::SAMPLE_FORMAT_S32, 48000, Conf::CHANNEL_LAYOUT_MONO}};
    constexpr int TENTHS[] = {13, 9, 21};  // lengths
    std::string expected;
    for (unsigned seed = 0; seed < 6; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        auto const mixer = MakeMixer();
        for (int i = 0; i < 3; ++i) {
            int const total = kinds[i].GetSampleRate() * TENTHS[i] / 10 + 17 * i;
            int const largest = seed == 0 ? total : 1 << (4 + 2 * seed);
            std::vector<int> const counts = seed == 0 ? std::vector<int>{total} : RandomCut(total, largest, random);
            mixer->AddStream(MakeRunStream(kinds[i], counts, Tone(kinds[i], 300.0 * (i + 1), 0.3)), 100 - 20 * i);
        }
        Seek(*mixer, 0);
        auto const blocks = ReadAll(*mixer);
        auto const bytes = BytesOf(blocks);
        if (seed == 0) expected = bytes;
        EXPECT_EQ(bytes.size(), (std::size_t{48000} * 21 / 10 + 34) * 8);
        EXPECT_TRUE(bytes == expected);
    }
}

TEST(FilterAudioMixerEngines, TheOrderOfTwoStreamsMakesNoDifference) {
    std::string mixes[2];
    for (std::size_t order = 0; order < 2; ++order) {
        auto const mixer = MakeMixer();
        for (std::size_t i = 0; i < 2; ++i) {
            bool const shorter = i == order;
            mixer->AddStream(MakeRunStream(STEREO_FLT, shorter ? std::vector<int>(11, 1024) : std::vector<int>(3, 7001),
                                           Tone(STEREO_FLT, shorter ? 440 : 700, 0.4)),
                             shorter ? 80 : 60);
        }
        Seek(*mixer, 0);
        mixes[order] = BytesOf(ReadAll(*mixer));
    }
    EXPECT_EQ(mixes[0].size(), std::size_t{3} * 7001 * 8);
    EXPECT_TRUE(mixes[0] == mixes[1]);
}

TEST(FilterAudioMixerEngines, AVolumeOf100PassesALoneStreamUnchangedInAllFormats) {
    for (int format = Conf::SAMPLE_FORMAT_U8; format <= Conf::SAMPLE_FORMAT_DBLP; ++format) {
        SCOPED_TRACE(format);
        Conf::SampleInfo const info(static_cast<Conf::SampleFormats>(format), 44100, Conf::CHANNEL_LAYOUT_STEREO);
        auto const tone = Tone(info, 997, 0.9);
        auto const mixer = MakeMixer();
        mixer->AddStream(MakeRunStream(info, std::vector<int>(20, 1152), tone), 100);
        Seek(*mixer, 0);
        auto const blocks = ReadAll(*mixer);
        std::vector<double> expected;
        auto const block = MakeSound(info, 0, 20 * 1152, tone);
        EXPECT_EQ(ChannelOf(blocks, 0), ChannelOf(*block, 0));
        EXPECT_EQ(ChannelOf(blocks, 1), ChannelOf(*block, 1));
    }
}

TEST(FilterAudioMixerEngines, AStreamAddedInMidRunLiftsTheFormatAndNothingOfTheOthersIsLost) {
    auto const mixer = MakeMixer();
    auto const level = [](int, int64) { return 4096.0; };
    mixer->AddStream(MakeRunStream(STEREO_S16, std::vector<int>(48, 1000), level), 100);
    mixer->AddStream(MakeRunStream(STEREO_S16, std::vector<int>(32, 1500), level), 100);
    Seek(*mixer, 0);
    auto blocks = std::vector{mixer->Read(), mixer->Read()};
    mixer->AddStream(MakeRunStream(STEREO_FLT, std::vector<int>(10, 1000), [](int, int64) { return 0.25; }), 100);
    auto const rest = ReadAll(*mixer);
    EXPECT_EQ(rest.back()->GetSampleInfo(), STEREO_FLT);
    blocks.insert(blocks.end(), rest.begin(), rest.end());
    // All of it is there, whatever the format of the block: twice the level, and the new stream's over it for a while.
    int64 total = 0, louder = 0;
    for (auto const& block : blocks) {
        double const full = block->GetSampleFormat() == Conf::SAMPLE_FORMAT_S16 ? 32768 : 1;
        for (double const value : ChannelOf(*block)) {
            ++total;
            if (std::abs(value / full - 0.5) < 1e-3)
                ++louder;
            else
                EXPECT_NEAR(value / full, 0.25, 1e-3);
        }
    }
    EXPECT_EQ(total, 48000);
    EXPECT_EQ(louder, 10000);
}

TEST(FilterAudioMixerEngines, ReadingBehindASeekGivesTheSamplesOfReadingStraightThrough) {
    for (int const rate : {48000, 44100, 11025}) {
        SCOPED_TRACE(rate);
        std::mt19937 random(static_cast<unsigned>(rate));
        Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S32, rate, Conf::CHANNEL_LAYOUT_STEREO);
        int const total = rate * 2 + 123;
        auto const mixer = MakeMixer();
        int const sizes[] = {1024, 1152, 4410, 960};
        for (int i = 0; i < 4; ++i) {
            std::vector<int> counts(static_cast<std::size_t>(total / sizes[i]), sizes[i]);
            counts.push_back(total % sizes[i]);
            mixer->AddStream(MakeRunStream(info, counts,
                                           [i](int channel, int64 index) {
                                               return static_cast<double>(index * (i + 1) + channel * 1000000);
                                           }),
                             100);
        }
        Seek(*mixer, 0);
        auto const straight = ChannelOf(ReadAll(*mixer), 1);
        ASSERT_EQ(straight.size(), static_cast<std::size_t>(total));
        for (int i = 0; i < 40; ++i) {
            int64 const asked = std::uniform_int_distribution<int64>(0, SampleCount2Duration(total, rate) - 1)(random);
            SCOPED_TRACE(asked);
            Seek(*mixer, asked);
            auto const blocks = ReadAll(*mixer);
            ASSERT_FALSE(blocks.empty());
            int64 const landed = blocks.front()->GetTime();
            EXPECT_LE(landed, asked);
            EXPECT_GE(landed, asked - 100000);
            auto const first = static_cast<std::ptrdiff_t>(Duration2SampleCount(landed, rate));
            EXPECT_TRUE(ChannelOf(blocks, 1) == std::vector<double>(straight.begin() + first, straight.end()));
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
