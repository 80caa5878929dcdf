#include "Proc/Filters/Filters/FilterAudioVolume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFactories.h"
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
using ::testing::ElementsAre;

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();
/// A power of two, so small that no factor clips it: what comes of it tells the factor exactly.
constexpr double MARK = 1.0 / 1048576;

/// A block of double samples, the largest of which is `peak`; the last is the mark.
iptr<IDataAudio> Peaking(double peak, int64 duration = 100000, int64 time = 0) {
    return MakeMono(time, duration, {0.0, peak, -0.5 * peak, MARK});
}

/// The factor that a block made by `Peaking` was multiplied by.
double FactorOf(iptr<IDataAudio> const& block) {
    return block ? PlaneOf<double>(*block).back() / MARK : NO_NUMBER;
}

template <class Steps>
iptr<FilterAudioVolume> MakeFilter(Steps const& source, double volume, bool autoLevel = false) {
    auto filter = MakeShared<FilterAudioVolume>(source);
    filter->Initialize(SettingsFilterAudioVolume(volume, autoLevel));
    return filter;
}

// --- The fixed volume ------------------------------------------------------------------------------------------------

TEST(FilterAudioVolume, VolumeOfOneGivesTheVerySameBlock) {
    for (Conf::SampleFormats const format :
         {Conf::SAMPLE_FORMAT_U8, Conf::SAMPLE_FORMAT_S16P, Conf::SAMPLE_FORMAT_S32, Conf::SAMPLE_FORMAT_FLTP,
          Conf::SAMPLE_FORMAT_DBL, Conf::SAMPLE_FORMAT_S64}) {
        auto const source =
            ScriptedAudio::Create({MakeAudio(0, 100, 48000, format), MakeAudio(2083, 50, 48000, format)});
        auto const filter = MakeFilter(source, 1.0);
        Seek(*filter, 0);
        auto const blocks = ReadAll(*filter);
        EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 100), IsAudio(2083, 50)));
        EXPECT_THAT(source->delivered, ElementsAre(blocks[0].get(), blocks[1].get())) << "format " << format;
    }
}

TEST(FilterAudioVolume, FilterWithoutSettingsLeavesTheSoundAsItIs) {
    auto const source = ScriptedAudio::Create({Peaking(0.5)});
    auto const filter = MakeShared<FilterAudioVolume>(source);
    auto const block = filter->Read();
    EXPECT_EQ(block.get(), source->delivered[0]);
    EXPECT_EQ(filter->GetSettings(), IFilterAudioVolume::Settings2Property({}));
}

TEST(FilterAudioVolume, FactorNearerToOneThanAThousandthCopiesNothing) {
    for (double const volume : {1.0005, 0.9995, 1.00099, 0.99901}) {
        auto const source = ScriptedAudio::Create({Peaking(0.5)});
        auto const block = MakeFilter(source, volume)->Read();
        EXPECT_EQ(block.get(), source->delivered[0]) << volume;
        EXPECT_EQ(FactorOf(block), 1.0) << volume;
    }
    for (double const volume : {1.00101, 0.99899, 1.0 + 1.0 / 512}) {
        auto const source = ScriptedAudio::Create({Peaking(0.5)});
        auto const block = MakeFilter(source, volume)->Read();
        EXPECT_NE(block.get(), source->delivered[0]) << volume;
        EXPECT_EQ(FactorOf(block), volume);
    }
}

TEST(FilterAudioVolume, ChangedBlockIsANewOneWithTimeDurationAndFormatOfTheOld) {
    auto const held = MakeMono<std::int16_t>(700, 12345, {100, -101, 32767, -32768, 1}, Conf::SAMPLE_FORMAT_S16);
    auto const source = MakeShared<ScriptedFilter<IStreamAudio>>(ScriptedAudio::Create({}));
    source->onRead = [&] { return held; };
    auto const block = MakeFilter(source, 0.5)->Read();
    ASSERT_THAT(block, IsAudio(700, 5));
    EXPECT_NE(block, held);
    EXPECT_EQ(block->GetDuration(), 12345);
    EXPECT_EQ(block->GetSampleInfo(), held->GetSampleInfo());
    EXPECT_THAT(PlaneOf<std::int16_t>(*block), ElementsAre(50, -50, 16384, -16384, 1));
    EXPECT_THAT(PlaneOf<std::int16_t>(*held), ElementsAre(100, -101, 32767, -32768, 1)) << "others hold it, too";
}

TEST(FilterAudioVolume, BlockWithoutTimeAndDurationKeepsNone) {
    auto const block = MakeFilter(ScriptedAudio::Create({Peaking(0.5, NO_VALUE, NO_VALUE)}), 2)->Read();
    EXPECT_EQ(block->GetTime(), NO_VALUE);
    EXPECT_EQ(block->GetDuration(), NO_VALUE);
}

TEST(FilterAudioVolume, EmptyBlockPassesThroughAnyVolume) {
    for (bool const autoLevel : {false, true})
        EXPECT_THAT(MakeFilter(ScriptedAudio::Create({MakeMono(7, 0, {})}), 3, autoLevel)->Read(), IsAudio(7, 0));
}

TEST(FilterAudioVolume, EveryChannelOfAPlanarBlockIsScaledAndHeldToTheRange) {
    auto const input = MakeAudio(0, 2, 48000, Conf::SAMPLE_FORMAT_FLTP, Conf::CHANNEL_LAYOUT_STEREO);
    SamplesOf<float>(*input, 0)[0] = 0.25F;
    SamplesOf<float>(*input, 0)[1] = 0.75F;
    SamplesOf<float>(*input, 1)[0] = -0.125F;
    SamplesOf<float>(*input, 1)[1] = -0.75F;
    auto const block = MakeFilter(ScriptedAudio::Create({input}), 2)->Read();
    EXPECT_THAT(PlaneOf<float>(*block, 0), ElementsAre(0.5F, 1.0F));
    EXPECT_THAT(PlaneOf<float>(*block, 1), ElementsAre(-0.25F, -1.0F));
}

TEST(FilterAudioVolume, NegativeVolumeTurnsTheSoundOverAndZeroSilencesIt) {
    EXPECT_EQ(FactorOf(MakeFilter(ScriptedAudio::Create({Peaking(0.5)}), -1)->Read()), -1.0);
    auto const silent =
        MakeFilter(ScriptedAudio::Create({MakeMono<u8>(0, 10, {0, 255, 128}, Conf::SAMPLE_FORMAT_U8)}), 0)->Read();
    EXPECT_THAT(PlaneOf<u8>(*silent), ElementsAre(128, 128, 128));
}

// --- The automatic gain ----------------------------------------------------------------------------------------------

/// The steps of the automatic gain, written down once more and plainly.
class GainModel {
  public:
    double Next(double peak, int64 duration) {
        double const maxGain = 1.0 / peak;
        if (gain > maxGain)
            gain = maxGain;
        else if (gain * peak < 0.95)
            gain = gain + static_cast<double>(duration > 0 ? duration : 0) * 0.7 / 1000000.0;
        if (gain > 4.0) gain = 4.0;
        return gain;
    }

  private:
    double gain = 1.0;
};

/// The factors that the blocks come out with, read without a seek.
std::vector<double> FactorsOf(std::vector<iptr<IDataAudio>> const& script, double volume = 1.0) {
    std::vector<double> factors;
    for (auto const& block : ReadAll(*MakeFilter(ScriptedAudio::Create(script), volume, true)))
        factors.push_back(FactorOf(block));
    return factors;
}

TEST(FilterAudioVolume, AutomaticGainOfTwoAndAHalfFallsToTwoAtAPeakOfAHalf) {
    auto const factors = FactorsOf({Peaking(MARK, 2142857), Peaking(0.5)});
    EXPECT_NEAR(factors[0], 2.5, 1e-6);
    EXPECT_EQ(factors[1], 2.0);
}

TEST(FilterAudioVolume, LongSilenceRaisesTheGainToFourAndTheFirstLoudBlockPullsItDownAtOnce) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 100; ++i) script.push_back(Peaking(MARK, 100000));
    script.push_back(MakeMono(0, 100000, {0.0, 0.0, 0.0, 0.0}));
    script.push_back(Peaking(1.0));
    auto const source = ScriptedAudio::Create(script);
    auto const filter = MakeFilter(source, 1, true);
    auto const blocks = ReadAll(*filter);
    ASSERT_EQ(blocks.size(), 102U);
    for (std::size_t i = 0; i < 42; ++i)
        EXPECT_NEAR(FactorOf(blocks[i]), 1.0 + 0.07 * static_cast<double>(i + 1), 1e-9) << i;
    for (std::size_t i = 43; i < 100; ++i) EXPECT_EQ(FactorOf(blocks[i]), 4.0) << i;
    EXPECT_THAT(PlaneOf<double>(*blocks[100]), ElementsAre(0.0, 0.0, 0.0, 0.0));
    EXPECT_NE(blocks[100].get(), source->delivered[100]) << "silence is a block like others";
    EXPECT_EQ(blocks[101].get(), source->delivered[101]) << "a gain of 1 leaves the block as it is";
}

TEST(FilterAudioVolume, SilentBlocksRaiseTheGain) {
    auto const silence = MakeMono(0, 1000000, {0.0, 0.0, -1.0});
    EXPECT_EQ(FactorsOf({silence, Peaking(0.25, 0)})[1], 1.7) << "what lies below 0 counts as silence";
}

TEST(FilterAudioVolume, GainRisesOnlyWhileTheRaisedPeakStaysUnderTheLoudMark) {
    EXPECT_EQ(FactorsOf({Peaking(0.95, 1000000)}), std::vector<double>{1.0});
    EXPECT_EQ(FactorsOf({Peaking(0.97, 1000000)}), std::vector<double>{1.0});
    EXPECT_EQ(FactorsOf({Peaking(std::nextafter(0.95, 0.0), 1000000)}), std::vector<double>{1.7})
        << "it rises for the block that it is measured on, which may clip";
}

TEST(FilterAudioVolume, GainBelowOneComesFromPeaksAboveOne) {
    EXPECT_THAT(FactorsOf({Peaking(2.0), Peaking(0.5, 100000)}), ElementsAre(0.5, 0.5 + 100000 * 0.7 / 1000000.0));
}

TEST(FilterAudioVolume, BlockWithoutADurationOrWithANegativeOneRaisesNothing) {
    EXPECT_THAT(FactorsOf({Peaking(0.1, NO_VALUE), Peaking(0.1, -5000000), Peaking(0.1, 0), Peaking(0.1, 1000000)}),
                ElementsAre(1.0, 1.0, 1.0, 1.7));
}

TEST(FilterAudioVolume, BlockOfAnyDurationRaisesTheGainToFourAtMost) {
    EXPECT_THAT(FactorsOf({Peaking(0.01, std::numeric_limits<int64>::max())}), ElementsAre(4.0));
}

TEST(FilterAudioVolume, VolumeAndAutomaticGainAreMultiplied) {
    EXPECT_THAT(FactorsOf({Peaking(0.1, 1000000), Peaking(0.1, 1000000)}, 0.5),
                ElementsAre(0.5 * 1.7, 0.5 * (1.7 + 1000000 * 0.7 / 1000000.0)));
}

TEST(FilterAudioVolume, VolumeThatUndoesTheGainLeavesTheBlockAsItIs) {
    auto const source = ScriptedAudio::Create({Peaking(2.0)});
    auto const block = MakeFilter(source, 2.0, true)->Read();
    EXPECT_EQ(block.get(), source->delivered[0]);
}

TEST(FilterAudioVolume, GainsOfRandomSoundFollowTheStepsToTheLastBit) {
    for (unsigned seed = 1; seed <= 30; ++seed) {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> exponent(-8.0, 0.7);
        std::vector<iptr<IDataAudio>> script;
        std::vector<double> expected;
        double const volume = seed % 3 == 0 ? 0.8 : 1.0;
        GainModel model;
        for (int i = 0; i < 300; ++i) {
            double const peak = random() % 8 == 0 ? 0.95 : std::pow(10.0, exponent(random));
            int64 const duration = random() % 10 == 0 ? NO_VALUE : static_cast<int64>(random() % 400000);
            script.push_back(Peaking(peak, duration));
            double const factor = volume * model.Next(std::max(peak, MARK), duration);
            expected.push_back(std::abs(factor - 1.0) >= 0.001 ? factor : 1.0);
        }
        EXPECT_EQ(FactorsOf(script, volume), expected) << "seed " << seed;
    }
}

TEST(FilterAudioVolume, FrontPartOfAnInterleavedBlockAloneDecidesTheGain) {
    auto const input = MakeAudio(0, 4, 48000, Conf::SAMPLE_FORMAT_DBL, Conf::CHANNEL_LAYOUT_STEREO);
    double* const samples = SamplesOf<double>(*input);
    samples[3] = 0.5;
    samples[4] = 4.0;
    samples[7] = MARK;
    input->SetDuration(1000000);
    auto const planar = MakeAudio(0, 4, 48000, Conf::SAMPLE_FORMAT_DBLP, Conf::CHANNEL_LAYOUT_STEREO);
    std::copy(samples, samples + 4, SamplesOf<double>(*planar, 0));
    std::copy(samples + 4, samples + 8, SamplesOf<double>(*planar, 1));
    planar->SetDuration(1000000);
    auto const first = MakeFilter(ScriptedAudio::Create({input}), 1, true)->Read();
    EXPECT_EQ(PlaneOf<double>(*first).back() / MARK, 1.7) << "the loud half isn't seen";
    auto const second = MakeFilter(ScriptedAudio::Create({planar}), 1, true)->Read();
    EXPECT_EQ(PlaneOf<double>(*second, 1).back() / MARK, 0.25);
}

TEST(FilterAudioVolume, GainStartsOverFromOneAfterASeek) {
    auto const source = ScriptedAudio::Create({Peaking(0.1, 2000000, 0), Peaking(0.1, 1000000, 2000000)});
    auto const filter = MakeFilter(source, 1, true);
    Seek(*filter, 0);
    ReadAll(*filter);
    filter->RequestSeek(2000000, source);
    filter->DoSeek();
    EXPECT_EQ(FactorOf(filter->Read()), 1.7);
    Seek(*filter, 0);
    EXPECT_EQ(FactorOf(filter->Read()), 1.0 + 2000000 * 0.7 / 1000000.0);
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(0)", "DoSeek", "Read", "Read", "Read", "RequestSeek(2000000, context)",
                            "DoSeek", "Read", "RequestSeek(0)", "DoSeek", "Read"));
}

TEST(FilterAudioVolume, RandomBlocksOfAnyContentsAndDurationPassThroughTheAutomaticGain) {
    constexpr double ODD[] = {NO_NUMBER, INFINITE, -INFINITE, 1e308, -1e308, 5e-324, 0.0, -0.0, 1.0};
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937_64 random(seed);
        std::vector<iptr<IDataAudio>> script;
        for (int i = 0; i < 200; ++i) {
            auto const format = static_cast<Conf::SampleFormats>(random() % 10);
            auto const block = MakeAudio(NO_VALUE, static_cast<int>(random() % 40), 48000, format,
                                         Conf::DefaultChannelLayout(1 + static_cast<int>(random() % 8)));
            auto const blob = block->GetBlob();
            for (std::size_t at = 0; at < blob->GetSize(); ++at)
                blob->GetWritableData()[at] = static_cast<u8>(random());
            if (Conf::PlanarFormat(format) == Conf::SAMPLE_FORMAT_DBLP)
                for (std::size_t at = 0; at + 8 <= blob->GetSize(); at += 8)
                    std::memcpy(blob->GetWritableData() + at, &ODD[random() % std::size(ODD)], 8);
            block->SetTime(static_cast<int64>(random()));
            block->SetDuration(static_cast<int64>(random()));
            script.push_back(block);
        }
        double const volume = seed % 2 == 0 ? 1e308 : -0.5;
        auto const blocks = ReadAll(*MakeFilter(ScriptedAudio::Create(script), volume, true));
        ASSERT_EQ(blocks.size(), script.size());
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_THAT(blocks[i], IsAudio(script[i]->GetTime(), script[i]->GetSampleCount()));
            EXPECT_EQ(blocks[i]->GetSampleInfo(), script[i]->GetSampleInfo());
        }
    }
}

// --- Settings --------------------------------------------------------------------------------------------------------

TEST(FilterAudioVolume, EveryWayOfSettingItUpTakesTheSettingsAndLetsTheGainStartAnew) {
    SettingsFilterAudioVolume const settings(0.5, true);
    Core::Property const property = IFilterAudioVolume::Settings2Property(settings);
    std::vector<std::function<void(FilterAudioVolume&)>> const ways{
        [&](FilterAudioVolume& filter) { filter.Initialize(settings); },
        [&](FilterAudioVolume& filter) { filter.Initialize(property); },
        [&](FilterAudioVolume& filter) { filter.UpdateSettings(property); }};
    for (auto const& setUp : ways) {
        auto const filter =
            MakeFilter(ScriptedAudio::Create({Peaking(0.1, 2000000), Peaking(0.1, 1000000)}), 1.0, true);
        filter->Read();
        setUp(*filter);
        EXPECT_EQ(filter->GetSettings(), property);
        EXPECT_EQ(FactorOf(filter->Read()), 0.5 * 1.7);
    }
}

TEST(FilterAudioVolume, PropertyOfAnotherNameIsRefusedAndTheOldSettingsStay) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}), 3);
    Core::Property const other = Settings2Property(SettingsFilterAudioVolume(2));
    std::string const text = "Filter was initialized with incorrect class (SettingsFilterAudioVolume)!";
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(other); }), text);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->UpdateSettings(other); }), text);
    EXPECT_EQ(filter->GetSettings(), IFilterAudioVolume::Settings2Property(SettingsFilterAudioVolume(3)));
}

TEST(FilterAudioVolume, SettingsOfAnotherClassAreABadCast) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}), 3);
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetSettings(), IFilterAudioVolume::Settings2Property(SettingsFilterAudioVolume(3)));
}

TEST(FilterAudioVolume, VolumeThatIsNotFiniteIsRefusedAndTheOldOneStays) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}), 3);
    for (double const volume : {INFINITE, -INFINITE, NO_NUMBER})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(SettingsFilterAudioVolume(volume)); }),
                  "Wrong settings!");
    auto const property = [](char const* volume) {
        return Core::Property(IFilterAudioVolume::CLASS_ID).SetChild("Volume", volume);
    };
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(property("inf")); }), "Wrong settings!");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->UpdateSettings(property("nan")); }), "Wrong settings!");
    EXPECT_EQ(filter->GetSettings(), IFilterAudioVolume::Settings2Property(SettingsFilterAudioVolume(3)));
}

// --- As a stream -----------------------------------------------------------------------------------------------------

TEST(FilterAudioVolume, SampleFormatThatIsNotKnownFailsWhereItsSamplesAreNeeded) {
    auto const block = MakeAudio(0, 10, 48000, Conf::SAMPLE_FORMAT_S64);
    EXPECT_EQ(MessageOf<ProcException>([&] { MakeFilter(ScriptedAudio::Create({block}), 2)->Read(); }),
              "VolumizeAudio doesn't support this sample format");
    auto const filter = MakeFilter(ScriptedAudio::Create({block, Peaking(0.1, 1000000)}), 1, true);
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "EstimateLevel doesn't support this sample format");
    EXPECT_EQ(FactorOf(filter->Read()), 1.7);
    EXPECT_EQ(filter->GetStatistic().Children().back()["Count"].GetInt64(), 1) << "what didn't go out isn't counted";
}

TEST(FilterAudioVolume, FailureOfTheSourcePassesThrough) {
    auto const filter = MakeFilter(ScriptedAudio::Create({Failure<FilterException>("broken"), Peaking(0.5)}), 2);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_EQ(FactorOf(filter->Read()), 2.0);
}

TEST(FilterAudioVolume, EndFromTheHostHoldsUntilTheNextSeekAndTheSourceIsNotRead) {
    auto const source = ScriptedAudio::Create({Peaking(0.5)});
    auto const filter = MakeFilter(source, 2);
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("SetEndOfStream"));
    Seek(*filter, 0);
    EXPECT_EQ(FactorOf(filter->Read()), 2.0);
}

TEST(FilterAudioVolume, SourcesEndIsNullAgainAndAgain) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}), 2, true);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterAudioVolume, ReadingAfterAnySeekIsWhatReadingStraightThroughGivesAtAFixedVolume) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 50; ++i) script.push_back(Peaking(0.01 * i, 20000, i * 20000));
    auto const source = ScriptedAudio::Create(script);
    source->duration = 1000000;
    auto const filter = MakeFilter(source, 1.5);
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    ASSERT_EQ(straight.size(), 50U);
    std::mt19937 random(5);
    for (int round = 0; round < 50; ++round) {
        int64 const position = static_cast<int64>(random() % 1100000);
        Seek(*filter, position);
        auto const blocks = ReadAll(*filter);
        ASSERT_EQ(blocks.size(), position >= 1000000 ? 0U : 50U - static_cast<std::size_t>(position / 20000));
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            auto const& expected = straight[50 - blocks.size() + i];
            ASSERT_THAT(blocks[i], IsAudio(expected->GetTime(), 4));
            ASSERT_EQ(PlaneOf<double>(*blocks[i]), PlaneOf<double>(*expected));
        }
    }
}

TEST(FilterAudioVolume, DurationFormatAndPositionAreTheSources) {
    auto const source = ScriptedAudio::Create({Peaking(0.5, 1000, 500)});
    source->duration = 77;
    source->format->SetSampleRate(8000);
    auto const filter = MakeFilter(source, 2);
    EXPECT_EQ(filter->GetDuration(), 77);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    EXPECT_EQ(filter->GetPosition(), 500);
    filter->Read();
    EXPECT_EQ(filter->GetPosition(), 1500);
}

TEST(FilterAudioVolume, StatisticsCountTheBlocksThatGoOutAndTheVisitorMeetsAPlainFilter) {
    auto const filter = MakeFilter(ScriptedAudio::Create({Peaking(0.5), Peaking(0.5), Peaking(0.5)}), 2);
    ReadAll(*filter);
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().front().Name(), "ScriptedStream");
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterAudioVolume::GetStatistic", 0, 3));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterAudioVolume", "ScriptedStream"));
    EXPECT_EQ(types.frameTypes.front(), 5);
}

TEST(FilterAudioVolume, SourceMustBePresent) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterAudioVolume refused(nullptr); }), "parentStream is NULL.");
}

TEST(FilterAudioVolume, ItsRowMakesOneWithoutLookingAtTheEffects) {
    auto const registry = Host::MakeFilterRegistry();
    auto const* const row = registry->Find(FilterKind::Audio, SettingsFilterAudioVolume::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    auto const& make = std::get<AudioExFactoryC>(std::get<ExFactory>(row->factory));
    auto const source = ScriptedAudio::Create({Peaking(0.5)});
    EXPECT_EQ(FactorOf(make(source, nullptr, SettingsFilterAudioVolume(0.25))->Read()), 0.25);
    EXPECT_THROW(make(source, nullptr, OtherSettings()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
