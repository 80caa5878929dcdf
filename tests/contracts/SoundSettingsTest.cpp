#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioVolume.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IResample.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();
constexpr int64 LARGEST_INT = std::numeric_limits<int>::max();

Conf::SampleInfo const PHONE(Conf::SAMPLE_FORMAT_S16P, 8000, Conf::CHANNEL_LAYOUT_MONO);

// --- Tones -----------------------------------------------------------------------------------------------------------

TEST(SettingsAudioGenerator, MakeASecondOfSilenceInStereoUnlessTold) {
    SettingsAudioGenerator const defaults;
    EXPECT_EQ(defaults.GetSampleInfo(), Conf::SampleInfo(Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_STEREO));
    EXPECT_EQ(defaults.GetDuration(), SECOND);
    EXPECT_EQ(defaults.GetBlockSamples(), 4800);
    EXPECT_EQ(defaults.GetFrequency(), 0.0);
    EXPECT_EQ(defaults.GetAmplitude(), 1.0);
    EXPECT_FALSE(defaults.MakeGenerator());
}

TEST(SettingsAudioGenerator, SurviveTheWayThroughAProperty) {
    SettingsAudioGenerator tone;
    tone.SetSampleInfo(PHONE);
    tone.SetDuration(LARGEST);
    tone.SetBlockSamples(std::numeric_limits<int>::max());
    tone.SetTone(1.0 / 3, -0.25);
    SettingsAudioGenerator unset;
    unset.SetSampleInfo({});
    unset.SetDuration(NO_VALUE);
    unset.SetBlockSamples(0);
    SettingsAudioGenerator wide;
    wide.SetSampleInfo({Conf::SAMPLE_FORMAT_DBL, 1, std::numeric_limits<Conf::ChannelLayout>::max()});
    ExpectRoundTrip<SettingsAudioGenerator>({tone, unset, wide}, Property2SettingsAudioGenerator);
    Core::Property const property = Settings2Property(tone);
    EXPECT_EQ(property["SampleFormat"].GetInt64(), 6);
    EXPECT_EQ(property["SampleRate"].GetInt64(), 8000);
    EXPECT_EQ(property["ChannelLayout"].GetInt64(), 4);
    EXPECT_EQ(property["Duration"].GetInt64(), LARGEST);
    EXPECT_EQ(property["BlockSamples"].GetInt64(), LARGEST_INT);
    EXPECT_EQ(property["Frequency"].GetDouble(), 1.0 / 3);
    EXPECT_EQ(property["Amplitude"].GetDouble(), -0.25);
    for (char const* key :
         {"SampleFormat", "SampleRate", "ChannelLayout", "Duration", "BlockSamples", "Frequency", "Amplitude"})
        EXPECT_FALSE(Property2SettingsAudioGenerator(With(SettingsAudioGenerator::CLASS_ID, key, 7)) ==
                     SettingsAudioGenerator())
            << key << " stands alone";
}

TEST(SettingsAudioGenerator, RefuseNumbersThatTheirWordsCannotHold) {
    auto const read = [](char const* key, int64 value) {
        return MessageOf<FilterException>(
            [&] { Property2SettingsAudioGenerator(With(SettingsAudioGenerator::CLASS_ID, key, value)); });
    };
    EXPECT_EQ(read("BlockSamples", -1), "A block can't have -1 samples");
    EXPECT_EQ(read("BlockSamples", LARGEST_INT + 1), "A block can't have 2147483648 samples");
    EXPECT_EQ(read("SampleRate", LARGEST_INT + 1), "SampleRate of SettingsAudioGenerator is out of range: 2147483648");
    EXPECT_EQ(read("SampleFormat", -LARGEST_INT - 2),
              "SampleFormat of SettingsAudioGenerator is out of range: -2147483649");
}

TEST(SettingsAudioGenerator, FunctionAndToneTakeEachOthersPlace) {
    SettingsAudioGenerator settings;
    settings.SetTone(440, 1);
    settings.SetGenerator([](uint32 index) { return index * 0.5; });
    EXPECT_EQ(settings.GetFrequency(), 0.0);
    EXPECT_EQ(settings.MakeGenerator()(2), 1.0);
    settings.SetTone(0, 1);
    EXPECT_FALSE(settings.MakeGenerator());
    settings.SetTone(12000, 0.5);
    auto const tone = settings.MakeGenerator();
    EXPECT_EQ(tone(0), 0.0);
    EXPECT_NEAR(tone(1), 0.5, 1e-12) << "a quarter of a turn";
}

TEST(SettingsAudioGenerator, FunctionCannotBeWrittenAndMakesSettingsEqualToNone) {
    SettingsAudioGenerator settings;
    settings.SetGenerator([](uint32) { return 0.0; });
    EXPECT_EQ(MessageOf<FilterException>([&] { Settings2Property(settings); }),
              "A function that makes sound can't be written as a property");
    EXPECT_FALSE(settings == settings);
    EXPECT_FALSE(settings == SettingsAudioGenerator());
    EXPECT_FALSE(SettingsAudioGenerator() == settings);
}

TEST(SettingsAudioGenerator, ToneWithoutARateIsSilence) {
    SettingsAudioGenerator settings;
    settings.SetTone(440, 1);
    for (int const rate : {-1, 0}) {
        settings.SetSampleInfo({Conf::SAMPLE_FORMAT_FLT, rate, Conf::CHANNEL_LAYOUT_MONO});
        EXPECT_FALSE(settings.MakeGenerator()) << rate;
    }
}

TEST(SettingsAudioGenerator, KeepATonesPhaseFromBlockToBlock) {
    SettingsAudioGenerator settings;
    settings.SetTone(997.3, 0.5);
    auto const generator = settings.MakeGenerator();
    uint64 sample = 0;
    for (uint32 const length : {100U, 1U, 4801U, 37U})
        for (uint32 i = 0; i < length; ++i, ++sample)
            ASSERT_NEAR(generator(i),
                        0.5 * std::sin(2 * std::numbers::pi * 997.3 * static_cast<double>(sample) / 48000), 1e-9)
                << sample;
}

// --- Volume ----------------------------------------------------------------------------------------------------------

TEST(SettingsFilterAudioVolume, LeaveTheSoundAsItIsUnlessTold) {
    SettingsFilterAudioVolume const defaults;
    EXPECT_EQ(defaults.GetVolume(), 1.0);
    EXPECT_FALSE(defaults.IsAutoLevel());
}

TEST(SettingsFilterAudioVolume, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsFilterAudioVolume>(
        {SettingsFilterAudioVolume(1.0 / 3), SettingsFilterAudioVolume(1, true), SettingsFilterAudioVolume(-2.5),
         SettingsFilterAudioVolume(std::numeric_limits<double>::denorm_min(), true)},
        Property2SettingsFilterAudioVolume);
    Core::Property const property = Settings2Property(SettingsFilterAudioVolume(0.5, true));
    EXPECT_EQ(property["Volume"].GetDouble(), 0.5);
    EXPECT_TRUE(property["AutoLevel"].GetBool());
    auto const read = [](char const* key, char const* value) {
        return Property2SettingsFilterAudioVolume(With(SettingsFilterAudioVolume::CLASS_ID, key, value));
    };
    EXPECT_EQ(read("Volume", "2"), SettingsFilterAudioVolume(2));
    EXPECT_EQ(read("AutoLevel", "true"), SettingsFilterAudioVolume(1, true));
    EXPECT_THROW(read("Volume", "loud"), Core::CoreException);
    EXPECT_THROW(read("AutoLevel", "2"), Core::CoreException);
}

TEST(IFilterAudioVolume, ItsPropertyHasTheSettingsChildrenUnderItsOwnName) {
    EXPECT_STRNE(IFilterAudioVolume::CLASS_ID, SettingsFilterAudioVolume::CLASS_ID);
    for (SettingsFilterAudioVolume const& settings :
         {SettingsFilterAudioVolume(), SettingsFilterAudioVolume(1.0 / 3, true), SettingsFilterAudioVolume(-1)}) {
        Core::Property const property = IFilterAudioVolume::Settings2Property(settings);
        EXPECT_EQ(property.Name(), IFilterAudioVolume::CLASS_ID);
        EXPECT_EQ(property["Volume"].GetDouble(), settings.GetVolume());
        EXPECT_EQ(property["AutoLevel"].GetBool(), settings.IsAutoLevel());
        EXPECT_EQ(IFilterAudioVolume::Property2Settings(property), settings);
    }
    EXPECT_EQ(IFilterAudioVolume::Property2Settings(Core::Property(IFilterAudioVolume::CLASS_ID)),
              SettingsFilterAudioVolume());
}

TEST(IFilterAudioVolume, RefusesAPropertyOfAnotherName) {
    for (char const* name : {"Other", SettingsFilterAudioVolume::CLASS_ID, ""})
        EXPECT_EQ(MessageOf<FilterException>([&] { IFilterAudioVolume::Property2Settings(Core::Property(name)); }),
                  "Filter was initialized with incorrect class (" + std::string(name) + ")!");
}

// --- Blocks ----------------------------------------------------------------------------------------------------------

TEST(SettingsFilterAudioFormatter, CutATenthOfASecondUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsFilterAudioFormatter().GetPacketDuration(), 100000);
    EXPECT_EQ(IFilterAudioFormatter::DEFAULT_PACKET_DURATION, 100000);
    SettingsFilterAudioFormatter none, least, most;
    none.SetPacketDuration(0);
    least.SetPacketDuration(NO_VALUE);
    most.SetPacketDuration(LARGEST);
    ExpectRoundTrip<SettingsFilterAudioFormatter>({none, least, most}, Property2SettingsFilterAudioFormatter);
    EXPECT_EQ(Settings2Property(most)["PacketDuration"].GetInt64(), LARGEST);
}

// --- Converting ------------------------------------------------------------------------------------------------------

TEST(SettingsFilterResample, ConvertNothingUnlessToldAndSurviveTheWayThroughAProperty) {
    SettingsFilterResample const defaults;
    EXPECT_EQ(defaults.GetSampleInfo(), Conf::SampleInfo());
    EXPECT_EQ(defaults.GetImplementation(), ImplNames::DEFAULT);
    SettingsFilterResample named(PHONE);
    named.SetImplementation("Other engine");
    ExpectRoundTrip<SettingsFilterResample>({SettingsFilterResample(PHONE), named}, Property2SettingsFilterResample);
    Core::Property const property = Settings2Property(named);
    EXPECT_EQ(property["SampleFormat"].GetInt64(), 6);
    EXPECT_EQ(property["SampleRate"].GetInt64(), 8000);
    EXPECT_EQ(property["ChannelLayout"].GetInt64(), 4);
    EXPECT_EQ(property[Conf::IPreset::KEY_TYPE_ID].GetString(), "Other engine");
    EXPECT_EQ(MessageOf<FilterException>([] {
                  Property2SettingsFilterResample(With(SettingsFilterResample::CLASS_ID, "SampleRate", LARGEST));
              }),
              "SampleRate of SettingsFilterResample is out of range: 9223372036854775807");
}

TEST(SettingsResample, ConvertNothingUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsResample().GetSampleInfo(), Conf::SampleInfo());
    ExpectRoundTrip<SettingsResample>({SettingsResample(PHONE)}, Property2SettingsResample);
    EXPECT_EQ(Settings2Property(SettingsResample())["ChannelLayout"].GetInt64(), 0);
}

TEST(IFilterResample, ItsPropertyHoldsTheEnginesSettingsAndTheNameOfItsImplementation) {
    SettingsFilterResample settings(PHONE);
    settings.SetImplementation("Other engine");
    Core::Property const property = IFilterResample::Settings2Property(settings);
    EXPECT_EQ(property.Name(), IFilterResample::CLASS_ID);
    Core::Property const& engine = property[IResample::CLASS_ID];
    EXPECT_EQ(engine["SampleFormat"].GetInt64(), 6);
    EXPECT_EQ(engine["SampleRate"].GetInt64(), 8000);
    EXPECT_EQ(engine["ChannelLayout"].GetInt64(), 4);
    EXPECT_EQ(engine[Conf::IPreset::KEY_TYPE_ID].GetString(), "Other engine");
    EXPECT_EQ(Property2SettingsResample(engine), settings.GetResample());
}

// --- Spectra ---------------------------------------------------------------------------------------------------------

TEST(SettingsAudioHistogram, DrawThirtyTwoLinearBarsOnBlackUnlessTold) {
    SettingsAudioHistogram const defaults;
    EXPECT_EQ(defaults.GetWidth(), 640U);
    EXPECT_EQ(defaults.GetHeight(), 360U);
    EXPECT_EQ(defaults.GetPicturesPerSecond(), 25);
    EXPECT_EQ(defaults.GetScale(), SettingsAudioHistogram::SCALE_LINEAR);
    EXPECT_EQ(defaults.GetBarCount(), 32U);
    EXPECT_EQ(defaults.GetBackgroundColour(), (SettingsAudioHistogram::Colour{0, 0, 0}));
    EXPECT_EQ(SettingsAudioHistogram::SCALE_LINEAR, 0);
    EXPECT_EQ(SettingsAudioHistogram::SCALE_LOGARITHMIC, 1);
}

TEST(SettingsAudioHistogram, SurviveTheWayThroughAProperty) {
    SettingsAudioHistogram settings;
    settings.SetWidth(std::numeric_limits<uint32>::max());
    settings.SetHeight(0);
    settings.SetPicturesPerSecond(std::numeric_limits<int>::max());
    settings.SetScale(SettingsAudioHistogram::SCALE_LOGARITHMIC);
    settings.SetBarCount(7);
    settings.SetBackgroundColour({1, 2, 255});
    SettingsAudioHistogram white;
    white.SetBackgroundColour({255, 255, 255});
    ExpectRoundTrip<SettingsAudioHistogram>({settings, white}, Property2SettingsAudioHistogram);
    Core::Property const property = Settings2Property(settings);
    EXPECT_EQ(property["Width"].GetInt64(), 4294967295);
    EXPECT_EQ(property["Height"].GetInt64(), 0);
    EXPECT_EQ(property["PicturesPerSecond"].GetInt64(), LARGEST_INT);
    EXPECT_EQ(property["Scale"].GetInt64(), 1);
    EXPECT_EQ(property["BarCount"].GetInt64(), 7);
    EXPECT_EQ(property["BackgroundColour"].GetInt64(), 0x0102FF);
    for (char const* key : {"Width", "Height", "PicturesPerSecond", "Scale", "BarCount", "BackgroundColour"})
        EXPECT_FALSE(Property2SettingsAudioHistogram(With(SettingsAudioHistogram::CLASS_ID, key, 1)) ==
                     SettingsAudioHistogram())
            << key << " stands alone";
}

TEST(SettingsAudioHistogram, RefuseNumbersThatTheirWordsCannotHold) {
    auto const read = [](char const* key, int64 value) {
        return MessageOf<FilterException>(
            [&] { Property2SettingsAudioHistogram(With(SettingsAudioHistogram::CLASS_ID, key, value)); });
    };
    for (char const* key : {"Width", "Height", "PicturesPerSecond", "Scale", "BarCount", "BackgroundColour"}) {
        std::string const text = std::string(key) + " of SettingsAudioHistogram is out of range: ";
        EXPECT_EQ(read(key, -1), text + "-1");
        EXPECT_EQ(read(key, 4294967296), text + "4294967296");
    }
    EXPECT_EQ(read("PicturesPerSecond", LARGEST_INT + 1),
              "PicturesPerSecond of SettingsAudioHistogram is out of range: 2147483648");
    EXPECT_EQ(read("Scale", 2), "Scale of SettingsAudioHistogram is out of range: 2");
    EXPECT_EQ(read("BackgroundColour", 0x1000000),
              "BackgroundColour of SettingsAudioHistogram is out of range: 16777216");
}

}  // namespace
}  // namespace Tarsel::Proc
