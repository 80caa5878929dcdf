#include "Proc/Filters/Filters/FilterAudioGenerator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/FilterRegistry.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Sound.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();
constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// Silence at 1000 Hz in blocks of 100 samples, unless told.
SettingsAudioGenerator MakeSettings(int64 duration, Conf::SampleFormats format = Conf::SAMPLE_FORMAT_DBL,
                                    Conf::ChannelLayout layout = Conf::CHANNEL_LAYOUT_MONO) {
    SettingsAudioGenerator settings;
    settings.SetSampleInfo({format, 1000, layout});
    settings.SetDuration(duration);
    settings.SetBlockSamples(100);
    return settings;
}

/// A generator that gives these values at the indices from 0 on.
SettingsAudioGenerator::Generator ValuesOf(std::vector<double> const& values) {
    return [values](uint32 index) { return values.at(index); };
}

// --- Blocks ----------------------------------------------------------------------------------------------------------

TEST(FilterAudioGenerator, DurationOfOneAndAHalfBlocksGivesAWholeBlockAndOneOfHalfLength) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(150000));
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 100), IsAudio(100000, 50)));
    EXPECT_EQ(blocks[0]->GetDuration(), 100000);
    EXPECT_EQ(blocks[1]->GetDuration(), 50000);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), 150000);
}

TEST(FilterAudioGenerator, RestTooShortForASampleIsNotGiven) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(100499));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(0, 100)));
    EXPECT_EQ(filter->GetPosition(), 100000);
    EXPECT_EQ(filter->Read(), nullptr);
    auto const longer = FilterAudioGenerator::Create(MakeSettings(100500));
    EXPECT_THAT(ReadAll(*longer), ElementsAre(IsAudio(0, 100), IsAudio(100000, 1))) << "half a sample is one";
}

TEST(FilterAudioGenerator, PositionAtTheDurationGivesNullAlsoAfterASeekPastTheEnd) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(150000));
    for (int64 const position : {int64{150000}, int64{150001}, LARGEST}) {
        Seek(*filter, position);
        EXPECT_EQ(filter->GetPosition(), position) << "a seek isn't clamped";
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->Read(), nullptr);
    }
    Seek(*filter, 149000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(149000, 1)));
}

TEST(FilterAudioGenerator, DurationsThatAreNoneEndAtOnce) {
    for (int64 const duration : {int64{0}, int64{-5}, NO_VALUE}) {
        auto const filter = FilterAudioGenerator::Create(MakeSettings(duration));
        EXPECT_THAT(ReadAll(*filter), IsEmpty()) << duration;
        EXPECT_EQ(filter->GetDuration(), duration);
    }
}

TEST(FilterAudioGenerator, BlocksOfNoSamplesEndAtOnce) {
    for (int const samples : {0, -1, std::numeric_limits<int>::min()}) {
        SettingsAudioGenerator settings = MakeSettings(1000000);
        settings.SetBlockSamples(samples);
        EXPECT_THAT(ReadAll(*FilterAudioGenerator::Create(settings)), IsEmpty()) << samples;
    }
}

TEST(FilterAudioGenerator, BlockTimesAreWholeMicrosecondsThatAddUp) {
    // 1024 samples last 23219.95 microseconds, so that the times run ahead of the samples.
    SettingsAudioGenerator settings = MakeSettings(10000000);
    settings.SetSampleInfo({Conf::SAMPLE_FORMAT_U8, 44100, Conf::CHANNEL_LAYOUT_MONO});
    settings.SetBlockSamples(1024);
    auto const blocks = ReadAll(*FilterAudioGenerator::Create(settings));
    ASSERT_EQ(blocks.size(), 431U);
    for (std::size_t i = 0; i < 430; ++i) ASSERT_THAT(blocks[i], IsAudio(static_cast<int64>(i) * 23220, 1024)) << i;
    EXPECT_THAT(blocks[430], IsAudio(9984600, 679));
}

TEST(FilterAudioGenerator, BlockLongerThanTheDurationIsCutToIt) {
    SettingsAudioGenerator settings = MakeSettings(7000);
    settings.SetBlockSamples(std::numeric_limits<int>::max());
    EXPECT_THAT(ReadAll(*FilterAudioGenerator::Create(settings)), ElementsAre(IsAudio(0, 7)));
}

TEST(FilterAudioGenerator, EveryReadGivesABlockOfItsOwn) {
    auto const blocks = ReadAll(*FilterAudioGenerator::Create(MakeSettings(200000)));
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_NE(blocks[0], blocks[1]);
    EXPECT_EQ(blocks[0]->GetRefCountImpl(), 1U);
}

// --- Values ----------------------------------------------------------------------------------------------------------

std::vector<double> const VALUES{0.0, 1.0, -1.0, 0.5, -0.5, 0.3, -0.3, 0.999999, 1e-9, -1e-9};

constexpr int CHANNELS = 3;

/// A block with those values in all channels.
iptr<IDataAudio> BlockOf(Conf::SampleFormats format, std::vector<double> const& values) {
    SettingsAudioGenerator settings =
        MakeSettings(static_cast<int64>(values.size()) * 1000, format, Conf::DefaultChannelLayout(CHANNELS));
    settings.SetGenerator(ValuesOf(values));
    return FilterAudioGenerator::Create(settings)->Read();
}

/// What each channel holds, which must be the same.
template <class Sample>
std::vector<Sample> ChannelOf(IDataAudio& block) {
    std::vector<Sample> first;
    for (int channel = 0; channel < CHANNELS; ++channel) {
        std::vector<Sample> values;
        if (Conf::IsPlanar(block.GetSampleFormat())) {
            values = PlaneOf<Sample>(block, channel);
        } else {
            std::vector<Sample> const all = PlaneOf<Sample>(block);
            for (std::size_t i = static_cast<unsigned>(channel); i < all.size(); i += CHANNELS)
                values.push_back(all[i]);
        }
        if (channel == 0) first = values;
        EXPECT_EQ(values, first) << "channel " << channel << " of format " << block.GetSampleFormat();
    }
    return first;
}

TEST(FilterAudioGenerator, ValuesAreWrittenToAllChannelsAsTheFormatHasThem) {
    std::vector<u8> bytes;
    std::vector<std::int16_t> words;
    std::vector<float> floats;
    for (double const value : VALUES) {
        bytes.push_back(static_cast<u8>(value * 127.0 + 128.0));
        words.push_back(static_cast<std::int16_t>(value * 32767.0));
        floats.push_back(static_cast<float>(value));
    }
    EXPECT_EQ(bytes[1], 255);
    EXPECT_EQ(bytes[2], 1);
    EXPECT_EQ(words[5], 9830) << "cut towards zero, not rounded";
    for (auto const format : {Conf::SAMPLE_FORMAT_U8, Conf::SAMPLE_FORMAT_U8P})
        EXPECT_EQ(ChannelOf<u8>(*BlockOf(format, VALUES)), bytes);
    for (auto const format : {Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S16P})
        EXPECT_EQ(ChannelOf<std::int16_t>(*BlockOf(format, VALUES)), words);
    for (auto const format : {Conf::SAMPLE_FORMAT_FLT, Conf::SAMPLE_FORMAT_FLTP})
        EXPECT_EQ(ChannelOf<float>(*BlockOf(format, VALUES)), floats);
    for (auto const format : {Conf::SAMPLE_FORMAT_DBL, Conf::SAMPLE_FORMAT_DBLP})
        EXPECT_EQ(ChannelOf<double>(*BlockOf(format, VALUES)), VALUES);
}

TEST(FilterAudioGenerator, FormatsOf32BitsGet16BitValuesInTheFrontHalfAndSilenceBehind) {
    std::size_t const count = VALUES.size();
    auto const interleaved = BlockOf(Conf::SAMPLE_FORMAT_S32, VALUES);
    auto const* const words = SamplesOf<std::int16_t>(*interleaved);
    for (std::size_t i = 0; i < CHANNELS * count; ++i)
        EXPECT_EQ(words[i], static_cast<std::int16_t>(VALUES[i / CHANNELS] * 32767.0)) << i;
    for (std::size_t i = CHANNELS * count; i < 2 * CHANNELS * count; ++i) EXPECT_EQ(words[i], 0) << i;
    auto const planar = BlockOf(Conf::SAMPLE_FORMAT_S32P, VALUES);
    for (int plane = 0; plane < CHANNELS; ++plane) {
        auto const* const half = SamplesOf<std::int16_t>(*planar, plane);
        for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(half[i], static_cast<std::int16_t>(VALUES[i] * 32767.0)) << i;
        for (std::size_t i = count; i < 2 * count; ++i) EXPECT_EQ(half[i], 0) << i;
    }
}

TEST(FilterAudioGenerator, ValuesOutOfTheRangeAreHeldToItAndOneThatIsNoNumberIsSilence) {
    std::vector<double> const wild{1.5, -1.5, INFINITE, -INFINITE, NO_NUMBER, 1e300, -1e300, 1.0000001};
    std::vector<double> const held{1, -1, 1, -1, 0, 1, -1, 1};
    EXPECT_EQ(ChannelOf<double>(*BlockOf(Conf::SAMPLE_FORMAT_DBL, wild)), held);
    EXPECT_THAT(ChannelOf<float>(*BlockOf(Conf::SAMPLE_FORMAT_FLTP, wild)), ElementsAre(1, -1, 1, -1, 0, 1, -1, 1));
    EXPECT_THAT(ChannelOf<std::int16_t>(*BlockOf(Conf::SAMPLE_FORMAT_S16, wild)),
                ElementsAre(32767, -32767, 32767, -32767, 0, 32767, -32767, 32767));
    EXPECT_THAT(ChannelOf<u8>(*BlockOf(Conf::SAMPLE_FORMAT_U8P, wild)), ElementsAre(255, 1, 255, 1, 128, 255, 1, 255));
    EXPECT_EQ(SamplesOf<std::int16_t>(*BlockOf(Conf::SAMPLE_FORMAT_S32, wild))[0], 32767);
}

TEST(FilterAudioGenerator, WithoutAGeneratorEveryFormatIsSilent) {
    for (int code = Conf::SAMPLE_FORMAT_U8; code <= Conf::SAMPLE_FORMAT_S64P; ++code) {
        auto const format = static_cast<Conf::SampleFormats>(code);
        auto const blocks =
            ReadAll(*FilterAudioGenerator::Create(MakeSettings(150000, format, Conf::CHANNEL_LAYOUT_STEREO)));
        ASSERT_THAT(blocks, ElementsAre(IsAudio(0, 100), IsAudio(100000, 50))) << code;
        auto const blob = blocks[0]->GetBlob();
        bool const bytes = Conf::PlanarFormat(format) == Conf::SAMPLE_FORMAT_U8P;
        EXPECT_THAT(std::vector<u8>(blob->GetData(), blob->GetData() + blob->GetSize()), Each(bytes ? 128 : 0)) << code;
    }
}

TEST(FilterAudioGenerator, GeneratorIsAskedForEverySampleOfABlockInOrderFromZeroOn) {
    std::vector<uint32> asked;
    SettingsAudioGenerator settings = MakeSettings(25000, Conf::SAMPLE_FORMAT_FLTP, Conf::DefaultChannelLayout(6));
    settings.SetBlockSamples(10);
    settings.SetGenerator([&asked](uint32 index) {
        asked.push_back(index);
        return 0.0;
    });
    EXPECT_EQ(ReadAll(*FilterAudioGenerator::Create(settings)).size(), 3U);
    std::vector<uint32> expected;
    for (uint32 const length : {10U, 10U, 5U})
        for (uint32 i = 0; i < length; ++i) expected.push_back(i);
    EXPECT_EQ(asked, expected);
}

// --- Formats that no block can be made of ----------------------------------------------------------------------------

TEST(FilterAudioGenerator, FormatThatAFunctionCannotBeWrittenInFailsBehindTheBlock) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S64, Conf::SAMPLE_FORMAT_S64P}) {
        SettingsAudioGenerator settings = MakeSettings(150000, format);
        settings.SetGenerator([](uint32) { return 0.5; });
        auto const filter = FilterAudioGenerator::Create(settings);
        EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Read(); }), "unsupported sample format");
        EXPECT_EQ(filter->GetPosition(), 100000);
        EXPECT_EQ(filter->GetStatistic().Children()[0]["Count"].GetInt64(), 0);
        EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Read(); }), "unsupported sample format");
        EXPECT_EQ(filter->Read(), nullptr) << "there is an end all the same";
    }
}

TEST(FilterAudioGenerator, FormatThatNoBlockCanBeMadeOfFailsAtTheReadAndIsTakenAsASetting) {
    Conf::SampleInfo const formats[] = {
        {},
        {Conf::SAMPLE_FORMAT_NONE, 1000, Conf::CHANNEL_LAYOUT_MONO},
        {static_cast<Conf::SampleFormats>(99), 1000, Conf::CHANNEL_LAYOUT_MONO},
        {Conf::SAMPLE_FORMAT_FLT, 1000, Conf::CHANNEL_LAYOUT_NONE},
        {Conf::SAMPLE_FORMAT_FLT, 0, Conf::CHANNEL_LAYOUT_MONO},
        {Conf::SAMPLE_FORMAT_FLT, -1, Conf::CHANNEL_LAYOUT_MONO},
        {Conf::SAMPLE_FORMAT_FLT, std::numeric_limits<int>::min(), Conf::CHANNEL_LAYOUT_MONO}};
    for (Conf::SampleInfo const& info : formats) {
        SettingsAudioGenerator settings = MakeSettings(1000000);
        settings.SetSampleInfo(info);
        settings.SetTone(440, 1);
        auto const filter = FilterAudioGenerator::Create(settings);
        EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo(), info);
        EXPECT_THROW(filter->Read(), ProcException) << info.GetSampleFormat() << ", " << info.GetSampleRate();
        EXPECT_EQ(filter->GetPosition(), 0);
        Seek(*filter, 1000000);
        EXPECT_EQ(filter->Read(), nullptr);
        filter->Initialize(MakeSettings(1000000));
        Seek(*filter, 0);
        EXPECT_THAT(filter->Read(), IsAudio(0, 100)) << "it works again with a format that can be";
    }
}

TEST(FilterAudioGenerator, FailureOfTheFunctionPassesThrough) {
    SettingsAudioGenerator settings = MakeSettings(200000);
    settings.SetGenerator([calls = 0](uint32) mutable {
        if (++calls == 50) TARSEL_THROW(FilterException, "no value");
        return 0.5;
    });
    auto const filter = FilterAudioGenerator::Create(settings);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "no value");
    EXPECT_THAT(filter->Read(), IsAudio(100000, 100));
}

// --- Tones -----------------------------------------------------------------------------------------------------------

/// Two seconds of a tone at 48 kHz, all blocks joined.
std::vector<double> ToneOf(double frequency, double amplitude, int blockSamples) {
    SettingsAudioGenerator settings = MakeSettings(2000000);
    settings.SetSampleInfo({Conf::SAMPLE_FORMAT_DBL, 48000, Conf::CHANNEL_LAYOUT_MONO});
    settings.SetBlockSamples(blockSamples);
    settings.SetTone(frequency, amplitude);
    std::vector<double> samples;
    for (auto const& block : ReadAll(*FilterAudioGenerator::Create(settings)))
        for (double const sample : PlaneOf<double>(*block)) samples.push_back(sample);
    return samples;
}

TEST(FilterAudioGenerator, ToneOfAnyFrequencyHasNoClickAtTheBordersOfBlocks) {
    for (double const frequency : {0.7, 50.0, 440.0, 997.3, 12345.6, 23999.0})
        for (int const blockSamples : {4800, 1000, 37}) {
            std::vector<double> const samples = ToneOf(frequency, 0.8, blockSamples);
            ASSERT_GE(samples.size(), 95900U);
            // Each sample of a sine follows from the two in front of it; a break of the phase doesn't.
            double const turn = 2 * std::cos(2 * std::numbers::pi * frequency / 48000);
            for (std::size_t i = 2; i < samples.size(); ++i)
                ASSERT_NEAR(samples[i], turn * samples[i - 1] - samples[i - 2], 1e-8)
                    << frequency << " Hz, sample " << i << " of blocks of " << blockSamples;
        }
}

TEST(FilterAudioGenerator, ToneHasTheFrequencyAndTheLevelThatWereAskedFor) {
    for (double const frequency : {100.0, 440.0, 997.0, 15000.0}) {
        std::vector<double> const samples = ToneOf(frequency, 0.6, 4800);
        ASSERT_EQ(samples.size(), 96000U);
        int rises = 0;
        double power = 0, crest = 0;
        for (std::size_t i = 1; i < samples.size(); ++i) {
            rises += samples[i - 1] < 0 && samples[i] >= 0;
            power += samples[i] * samples[i];
            crest = std::max(crest, samples[i]);
        }
        EXPECT_NEAR(rises, 2 * frequency, 1) << "rising zeros in two seconds";
        EXPECT_NEAR(std::sqrt(power / 96000), 0.6 / std::numbers::sqrt2, 1e-6);
        EXPECT_NEAR(crest, 0.6, 0.001);
    }
}

TEST(FilterAudioGenerator, ToneIsTheSameWhateverTheBlocks) {
    std::vector<double> const whole = ToneOf(997.3, 1, 96000);
    std::vector<double> const parts = ToneOf(997.3, 1, 480);
    ASSERT_EQ(whole.size(), 96000U);
    ASSERT_EQ(parts.size(), 96000U);
    for (std::size_t i = 0; i < whole.size(); ++i) ASSERT_NEAR(whole[i], parts[i], 1e-9) << i;
}

TEST(FilterAudioGenerator, TwoGeneratorsOfOneSettingsObjectDoNotShareAPhase) {
    SettingsAudioGenerator settings = MakeSettings(1000000);
    settings.SetTone(33, 1);
    auto const alone = ReadAll(*FilterAudioGenerator::Create(settings));
    auto const first = FilterAudioGenerator::Create(settings);
    auto const second = FilterAudioGenerator::Create(settings);
    for (auto const& block : alone) {
        EXPECT_EQ(PlaneOf<double>(*first->Read()), PlaneOf<double>(*block));
        EXPECT_EQ(PlaneOf<double>(*second->Read()), PlaneOf<double>(*block));
    }
}

TEST(FilterAudioGenerator, ToneGoesOnInItsPhaseBehindASeekAndStartsAnewWithNewSettings) {
    SettingsAudioGenerator settings = MakeSettings(1000000);
    settings.SetTone(33, 1);
    auto const filter = FilterAudioGenerator::Create(settings);
    auto const first = PlaneOf<double>(*filter->Read());
    auto const second = PlaneOf<double>(*filter->Read());
    EXPECT_NE(first, second);
    filter->Initialize(settings);
    EXPECT_EQ(PlaneOf<double>(*filter->Read()), first);
    Seek(*filter, 0);
    EXPECT_EQ(PlaneOf<double>(*filter->Read()), second);
}

TEST(FilterAudioGenerator, ToneAtFullScaleFitsEveryFormat) {
    for (auto const format : {Conf::SAMPLE_FORMAT_U8, Conf::SAMPLE_FORMAT_S16}) {
        SettingsAudioGenerator settings = MakeSettings(100000, format);
        settings.SetTone(250, 1);
        auto const block = FilterAudioGenerator::Create(settings)->Read();
        if (format == Conf::SAMPLE_FORMAT_U8) {
            EXPECT_EQ(PlaneOf<u8>(*block)[1], 255);
            EXPECT_EQ(PlaneOf<u8>(*block)[3], 1);
        } else {
            EXPECT_EQ(PlaneOf<std::int16_t>(*block)[1], 32767);
            EXPECT_EQ(PlaneOf<std::int16_t>(*block)[3], -32767);
        }
    }
}

// --- Settings --------------------------------------------------------------------------------------------------------

TEST(FilterAudioGenerator, FilterWithoutSettingsMakesASecondOfSilence) {
    auto const filter = MakeShared<FilterAudioGenerator>();
    EXPECT_EQ(filter->GetDuration(), 1000000);
    EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo(), SettingsAudioGenerator().GetSampleInfo());
    EXPECT_EQ(ReadAll(*filter).size(), 10U);
}

TEST(FilterAudioGenerator, NewSettingsHoldFromTheNextReadOnAndThePositionStays) {
    auto const filter = MakeShared<FilterAudioGenerator>();
    filter->UpdateSettings(MakeSettings(1000000));
    filter->Read();
    auto const oldFormat = filter->GetFormatCodec();
    SettingsAudioGenerator settings = MakeSettings(120000, Conf::SAMPLE_FORMAT_S16P, Conf::CHANNEL_LAYOUT_STEREO);
    settings.SetGenerator([](uint32) { return 1.0; });
    filter->UpdateSettings(settings);
    EXPECT_EQ(filter->GetPosition(), 100000);
    EXPECT_EQ(filter->GetDuration(), 120000);
    EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo(), settings.GetSampleInfo());
    EXPECT_EQ(oldFormat->GetSampleInfo(), MakeSettings(0).GetSampleInfo()) << "a format given out doesn't change";
    auto const block = filter->Read();
    EXPECT_THAT(block, IsAudio(100000, 20));
    EXPECT_THAT(PlaneOf<std::int16_t>(*block, 1), Each(32767));
    settings.SetGenerator(nullptr);
    settings.SetDuration(200000);
    filter->UpdateSettings(settings);
    EXPECT_THAT(PlaneOf<std::int16_t>(*filter->Read()), Each(0)) << "silence again";
}

TEST(FilterAudioGenerator, SettingsOfAnotherClassAreABadCastAndTheOldOnesStay) {
    EXPECT_THROW(FilterAudioGenerator::Create(OtherSettings()), std::bad_cast);
    auto const filter = MakeShared<FilterAudioGenerator>();
    filter->UpdateSettings(MakeSettings(5));
    EXPECT_THROW(filter->UpdateSettings(OtherSettings()), std::bad_cast);
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetDuration(), 5);
}

TEST(FilterAudioGenerator, ToneThatIsNotFiniteIsRefusedAndTheOldSettingsStay) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(5));
    for (double const value : {INFINITE, -INFINITE, NO_NUMBER}) {
        SettingsAudioGenerator settings = MakeSettings(6);
        settings.SetTone(value, 1);
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(settings); }), "Wrong settings!");
        settings.SetTone(440, value);
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(settings); }), "Wrong settings!");
    }
    EXPECT_EQ(filter->GetDuration(), 5);
}

TEST(FilterAudioGenerator, HasNoPropertyForm) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(5));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Settings2Property(MakeSettings(5))); }),
              "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
}

// --- As a stream -----------------------------------------------------------------------------------------------------

TEST(FilterAudioGenerator, SeekBeginsTheNextBlockExactlyAtThePosition) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(150000));
    filter->RequestSeek(33333, nullptr);
    EXPECT_EQ(filter->GetPosition(), 33333) << "nothing waits for the second phase";
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_EQ(filter->GetPosition(), 33333);
    auto const blocks = ReadAll(*filter);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(33333, 100), IsAudio(133333, 17)));
    EXPECT_EQ(blocks[1]->GetDuration(), 16667);
}

TEST(FilterAudioGenerator, SeekBelowZeroGivesBlocksBelowZeroAndOneWithoutAValueGoesToTheStart) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(100000));
    Seek(*filter, -100000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(-100000, 100), IsAudio(0, 100)));
    Seek(*filter, NO_VALUE);
    EXPECT_EQ(filter->GetPosition(), 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(0, 100)));
}

TEST(FilterAudioGenerator, ExtremePositionsAndDurationsDoNotOverflow) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(LARGEST));
    Seek(*filter, NO_VALUE + 1);
    EXPECT_THAT(filter->Read(), IsAudio(NO_VALUE + 1, 100));
    EXPECT_EQ(filter->GetPosition(), NO_VALUE + 100001);
    Seek(*filter, LARGEST - 1500);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(LARGEST - 1500, 2)));
    EXPECT_EQ(filter->GetPosition(), LARGEST);
}

TEST(FilterAudioGenerator, ReadingAfterASeekToTheBeginOfABlockIsWhatReadingStraightThroughGives) {
    SettingsAudioGenerator settings = MakeSettings(2050000, Conf::SAMPLE_FORMAT_S16P, Conf::CHANNEL_LAYOUT_STEREO);
    settings.SetGenerator([](uint32 index) { return std::sin(0.1 * index); });
    auto const filter = FilterAudioGenerator::Create(settings);
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    ASSERT_EQ(straight.size(), 21U);
    std::mt19937 random(9);
    for (int round = 0; round < 30; ++round) {
        std::size_t const from = random() % straight.size();
        Seek(*filter, straight[from]->GetTime());
        auto const blocks = ReadAll(*filter);
        ASSERT_EQ(blocks.size(), straight.size() - from);
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            ASSERT_THAT(blocks[i], IsAudio(straight[from + i]->GetTime(), straight[from + i]->GetSampleCount()));
            for (int plane = 0; plane < 2; ++plane)
                ASSERT_EQ(PlaneOf<std::int16_t>(*blocks[i], plane), PlaneOf<std::int16_t>(*straight[from + i], plane));
        }
    }
}

TEST(FilterAudioGenerator, EndFromTheHostHoldsUntilTheNextSeek) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(1000000));
    EXPECT_FALSE(filter->IsEndOfStream());
    filter->Read();
    filter->SetEndOfStream();
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), 100000);
    filter->ReleaseInternalData();
    Seek(*filter, 500000);
    EXPECT_FALSE(filter->IsEndOfStream());
    EXPECT_THAT(filter->Read(), IsAudio(500000, 100));
}

TEST(FilterAudioGenerator, ReleaseOfInternalDataLosesNothing) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(1000000));
    filter->Read();
    filter->ReleaseInternalData();
    EXPECT_THAT(filter->Read(), IsAudio(100000, 100));
}

TEST(FilterAudioGenerator, StatisticsCountTheBlocksAndTheVisitorMeetsAPlainFilterAlone) {
    auto const filter = FilterAudioGenerator::Create(MakeSettings(250000));
    ReadAll(*filter);
    filter->Read();
    EXPECT_THAT(filter->GetStatistic().Children(),
                ElementsAre(Core::MakeStatistics("Tarsel::Proc::FilterAudioGenerator::GetStatistic", 0, 3)));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterAudioGenerator"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5));
}

TEST(FilterAudioGenerator, ItsRowMakesOne) {
    auto const registry = Host::MakeFilterRegistry();
    auto const* const row = registry->Find(FilterKind::Audio, SettingsAudioGenerator::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    auto const& make = std::get<AudioExFactoryA>(std::get<ExFactory>(row->factory));
    EXPECT_THAT(make(MakeSettings(150000))->Read(), IsAudio(0, 100));
    EXPECT_THROW(make(OtherSettings()), std::bad_cast);
}

}  // namespace
}  // namespace Tarsel::Proc
