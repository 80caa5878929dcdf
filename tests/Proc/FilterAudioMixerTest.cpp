#include "Proc/Filters/Filters/FilterAudioMixer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "tests/Proc/MixerSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int SMALLEST_VOLUME = std::numeric_limits<int>::min();
constexpr int LARGEST_VOLUME = std::numeric_limits<int>::max();
Conf::SampleInfo const MONO_44{Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_MONO};
Conf::SampleInfo const STEREO_FLT_96{Conf::SAMPLE_FORMAT_FLT, 96000, Conf::CHANNEL_LAYOUT_STEREO};

Conf::SampleInfo InfoOf(IStreamAudio const& stream) {
    return stream.GetFormatCodec()->GetSampleInfo();
}

// --- Without streams -------------------------------------------------------------------------------------------------

TEST(FilterAudioMixer, WithoutStreamsThereIsNothingToReadAndNothingToWaitFor) {
    TestMixer const mixer;
    Seek(*mixer, 1000);
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_EQ(mixer->GetDuration(), 0);
    EXPECT_TRUE(mixer->FinishSeek());
    EXPECT_FALSE(mixer->IsEndOfStream());
    mixer->SetEndOfStream();
    EXPECT_FALSE(mixer->IsEndOfStream());
    mixer->ReleaseInternalData();
    mixer->UpdateFormat();
    EXPECT_EQ(InfoOf(*mixer), Conf::SampleInfo(Conf::SAMPLE_FORMAT_NONE, -1, 0));
}

TEST(FilterAudioMixer, ThePositionHasNoValueBeforeTheFirstSeek) {
    EXPECT_EQ(TestMixer()->GetPosition(), NO_VALUE);
}

TEST(FilterAudioMixer, RefusesToBeMadeWithoutAFactory) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterAudioMixer::Create(nullptr); }), "factory is NULL");
}

// --- Adding and removing ---------------------------------------------------------------------------------------------

TEST(FilterAudioMixer, AStreamIsConformedByAResamplerAndAPacketiserBehindIt) {
    TestMixer const mixer;
    std::vector<std::string> made;
    mixer.plan->onMake = [&](std::string const& name) { made.push_back(name); };
    mixer->AddStream(MakeStream(MONO_S16), 100);
    EXPECT_THAT(made, ElementsAre("resampler 0", "formatter 0"));
    EXPECT_THAT(mixer.Calls(), ElementsAre("resampler 0 SetSampleInfo(1/48000/4)"));
}

TEST(FilterAudioMixer, AStreamOfABetterFormatLiftsTheOthersBeforeItsOwnFiltersAreMade) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer->AddStream(MakeStream(MONO_44), 100);
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(1/44100/4)", "resampler 1 SetSampleInfo(1/44100/4)"));
    mixer.plan->onMake = [&](std::string const& name) { mixer.plan->log.Add(name); };
    mixer->AddStream(MakeStream(STEREO_FLT_96), 100);
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(3/96000/3)", "resampler 1 SetSampleInfo(3/96000/3)",
                            "resampler 2", "resampler 2 SetSampleInfo(3/96000/3)", "formatter 2"));
    EXPECT_EQ(InfoOf(*mixer), STEREO_FLT_96);
}

TEST(FilterAudioMixer, AStreamOfAHigherRateChangesTheFormatOfThoseThatAreThere) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer.Calls();
    mixer->AddStream(MakeStream(MONO_S16), 100);
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(1/48000/4)", "resampler 1 SetSampleInfo(1/48000/4)"));
}

TEST(FilterAudioMixer, EachWordOfTheFormatLiftsByItself) {
    Conf::SampleInfo const better[] = {{Conf::SAMPLE_FORMAT_FLT, 44100, Conf::CHANNEL_LAYOUT_MONO},
                                       {Conf::SAMPLE_FORMAT_S16, 44101, Conf::CHANNEL_LAYOUT_MONO},
                                       {Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_STEREO}};
    for (Conf::SampleInfo const& info : better) {
        TestMixer const mixer;
        mixer->AddStream(MakeStream(MONO_44), 100);
        mixer->AddStream(MakeStream(info), 100);
        EXPECT_EQ(InfoOf(*mixer), info);
        EXPECT_THAT(mixer.Calls(), ElementsAre("resampler 0 SetSampleInfo(1/44100/4)",
                                               "resampler 0 SetSampleInfo(" + TextOf(info) + ')',
                                               "resampler 1 SetSampleInfo(" + TextOf(info) + ')'));
    }
}

TEST(FilterAudioMixer, AStreamOfALesserFormatIsBroughtToTheOthers) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(STEREO_FLT_96), 100);
    mixer.Calls();
    mixer->AddStream(MakeStream(MONO_44), 100);
    EXPECT_THAT(mixer.Calls(), ElementsAre("resampler 1 SetSampleInfo(3/96000/3)"));
    EXPECT_EQ(InfoOf(*mixer), STEREO_FLT_96);
}

TEST(FilterAudioMixer, APlanarAndAnInterleavedFormatAreEqualAndTheFirstOnesStays) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream({Conf::SAMPLE_FORMAT_FLTP, 48000, 3}), 100);
    mixer->AddStream(MakeStream({Conf::SAMPLE_FORMAT_FLT, 48000, 3}), 100);
    EXPECT_EQ(InfoOf(*mixer).GetSampleFormat(), Conf::SAMPLE_FORMAT_FLTP);
}

TEST(FilterAudioMixer, RemovingTheBestStreamReturnsTheOthersToWhatTheyNeed) {
    TestMixer const mixer;
    auto const best = MakeStream(STEREO_FLT_96);
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer->AddStream(best, 100);
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer.Calls();
    mixer->RemoveStream(best);
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(1/44100/4)", "resampler 2 SetSampleInfo(1/44100/4)"));
    EXPECT_EQ(InfoOf(*mixer), MONO_44);
}

TEST(FilterAudioMixer, RemovingAStreamThatDoesNotMatterLeavesTheFormatAlone) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_S16), 100);
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer.Calls();
    mixer->RemoveStreamAt(1);
    EXPECT_THAT(mixer.Calls(), IsEmpty());
}

TEST(FilterAudioMixer, LaterStreamsMoveUpWhenOneIsRemoved) {
    TestMixer const mixer;
    iptr<IStreamAudio> const streams[] = {MakeStream(MONO_S16), MakeStream(MONO_S16), MakeStream(MONO_S16)};
    for (auto const& stream : streams) mixer->AddStream(stream, 100);
    EXPECT_EQ(mixer->FindStream(streams[2]), 2);
    mixer->RemoveStreamAt(1);
    EXPECT_EQ(mixer->FindStream(streams[0]), 0);
    EXPECT_EQ(mixer->FindStream(streams[1]), -1);
    EXPECT_EQ(mixer->FindStream(streams[2]), 1);
    EXPECT_EQ(streams[1]->GetRefCountImpl(), 1U);
}

TEST(FilterAudioMixer, RemovingWhatIsNotThereDoesNothing) {
    TestMixer const mixer;
    auto const stream = MakeStream(MONO_S16);
    mixer->RemoveStreamAt(0);
    mixer->AddStream(stream, 100);
    mixer.Calls();
    mixer->RemoveStreamAt(-1);
    mixer->RemoveStreamAt(1);
    mixer->RemoveStreamAt(std::numeric_limits<int>::min());
    mixer->RemoveStreamAt(std::numeric_limits<int>::max());
    mixer->RemoveStream(MakeStream(MONO_S16));
    mixer->RemoveStream(nullptr);
    EXPECT_EQ(mixer->FindStream(stream), 0);
    EXPECT_THAT(mixer.Calls(), IsEmpty());
}

TEST(FilterAudioMixer, AnAddedStreamMustHaveAFormat) {
    TestMixer const mixer;
    auto const stream = MakeStream(MONO_S16);
    stream->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->AddStream(stream, 100); }), "Stream format is NULL.");
    EXPECT_EQ(mixer->FindStream(stream), -1);
    EXPECT_EQ(mixer.plan->resamplers, 0);
}

TEST(FilterAudioMixer, ANullStreamIsRefused) {
    TestMixer const mixer;
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { mixer->AddStream(nullptr, 100); }), "source is NULL");
    EXPECT_EQ(mixer->FindStream(nullptr), -1);
}

TEST(FilterAudioMixer, AStreamThatLosesItsFormatCanBeRemovedAndHasNoSayInTheCommonOne) {
    TestMixer const mixer;
    auto const best = MakeStream(STEREO_FLT_96);
    mixer->AddStream(MakeStream(MONO_44), 100);
    mixer->AddStream(best, 100);
    best->format = nullptr;
    EXPECT_EQ(InfoOf(*mixer), MONO_44);
    mixer->RemoveStream(best);
    EXPECT_EQ(mixer->FindStream(best), -1);
}

TEST(FilterAudioMixer, UpdateFormatBringsAChangedFormatToAllStreams) {
    TestMixer const mixer;
    auto const changing = MakeStream(MONO_44);
    mixer->AddStream(changing, 100);
    mixer->AddStream(MakeStream(MONO_44), 100);
    changing->format->SetSampleInfo(STEREO_FLT_96);
    mixer.Calls();
    mixer->UpdateFormat();
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(3/96000/3)", "resampler 1 SetSampleInfo(3/96000/3)"));
}

TEST(FilterAudioMixer, EachFormatDescriptionIsANewObject) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_44), 100);
    auto const first = mixer->GetFormatCodec(), second = mixer->GetFormatCodec();
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetSampleInfo(), MONO_44);
    EXPECT_EQ(second->GetSampleInfo(), MONO_44);
}

// --- Volumes ---------------------------------------------------------------------------------------------------------

/// What a stream of one level gives at a volume.
double LevelAt(int volume, double level = 1000, Conf::SampleInfo const& info = MONO_S16) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(level, 4, info), volume);
    return SampleAt(*mixer->Read(), 0, 0);
}

TEST(FilterAudioMixer, VolumesArePercentsWithoutALimit) {
    EXPECT_EQ(LevelAt(100), 1000);
    EXPECT_EQ(LevelAt(0), 0);
    EXPECT_EQ(LevelAt(50), 500);
    EXPECT_EQ(LevelAt(250), 2500);
    EXPECT_EQ(LevelAt(10000), 32767);
    EXPECT_EQ(LevelAt(-100), -996);  // gains below zero are cut towards zero: 255/256
    Conf::SampleInfo const real(Conf::SAMPLE_FORMAT_DBL, 48000, Conf::CHANNEL_LAYOUT_MONO);
    EXPECT_EQ(LevelAt(-100, 0.5, real), -0.5);
    EXPECT_EQ(LevelAt(LARGEST_VOLUME, 0x1p-40, real), LARGEST_VOLUME / 100.0 * 0x1p-40);
    EXPECT_EQ(LevelAt(SMALLEST_VOLUME, 0x1p-40, real), SMALLEST_VOLUME / 100.0 * 0x1p-40);
    EXPECT_EQ(LevelAt(LARGEST_VOLUME, 0.5, real), 1);
    EXPECT_EQ(LevelAt(SMALLEST_VOLUME, 0.5, real), -1);
}

TEST(FilterAudioMixer, AVolumeCanBeSetByTheStreamAndByItsPlace) {
    TestMixer const mixer;
    auto const first = MakeRunStream(MONO_S16, {1, 1}, [](int, int64) { return 1000.0; });
    auto const second = MakeRunStream(MONO_S16, {1, 1}, [](int, int64) { return 100.0; });
    mixer->AddStream(first, 100);
    mixer->AddStream(second, 100);
    mixer->SetVolume(second, 200);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 1200);
    mixer->SetVolumeAt(0, 300);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 3200);
}

TEST(FilterAudioMixer, AVolumeOfAStreamThatIsNotThereIsIgnored) {
    TestMixer const mixer;
    mixer->SetVolumeAt(0, 0);
    mixer->AddStream(MakeLevel(1000), 100);
    mixer->SetVolume(MakeStream(MONO_S16), 0);
    mixer->SetVolume(nullptr, 0);
    mixer->SetVolumeAt(1, 0);
    mixer->SetVolumeAt(std::numeric_limits<uint32>::max(), 0);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 1000);
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST(FilterAudioMixer, TheMixIsTheSumOfTheSamplesAndHasTheFirstStreamsTimes) {
    TestMixer const mixer;
    auto const first = MakeLevelSound(STEREO_S16, 5000, 3, 100);
    first->SetDuration(77);
    mixer->AddStream(MakeStream(STEREO_S16, {first}), 100);
    mixer->AddStream(MakeStream(STEREO_S16, {MakeLevelSound(STEREO_S16, 9000, 3, 20)}), 100);
    mixer->AddStream(MakeStream(STEREO_S16, {MakeLevelSound(STEREO_S16, NO_VALUE, 3, 3)}), 100);
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(5000, 3));
    EXPECT_EQ(mix->GetDuration(), 77);
    EXPECT_EQ(mix->GetSampleInfo(), STEREO_S16);
    EXPECT_THAT(ChannelOf(*mix, 0), Each(123));
    EXPECT_THAT(ChannelOf(*mix, 1), Each(123));
    EXPECT_EQ(mixer->GetPosition(), 5077);
}

TEST(FilterAudioMixer, ReadsEachRunningStreamOnceAndInItsPlace) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, [](int, int64) { return 1.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, [](int, int64) { return 1.0; }), 100);
    Seek(*mixer, 0);
    mixer.Calls();
    EXPECT_NE(mixer->Read(), nullptr);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read", "formatter 1 Read"));
    EXPECT_NE(mixer->Read(), nullptr);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read", "formatter 1 Read"));
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read"));
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_THAT(mixer.Calls(), IsEmpty());
}

TEST(FilterAudioMixer, TheMixIsABlockOfItsOwn) {
    TestMixer const mixer;
    auto const source = MakeLevelSound(MONO_S16, 0, 4, 1000);
    auto const stream = MakeStream(MONO_S16, {source});
    mixer->AddStream(stream, 100);
    auto const mix = mixer->Read();
    EXPECT_NE(mix.get(), stream->delivered.front());
    EXPECT_NE(mix->GetAVFrame()->extended_data[0], source->GetAVFrame()->extended_data[0]);
    EXPECT_EQ(mix->GetRefCountImpl(), 1U);
}

TEST(FilterAudioMixer, AStreamThatEndsEarlyDropsOutAndTheOthersKeepTheirVolume) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2}, [](int, int64) { return 1.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2, 2}, [](int, int64) { return 1000.0; }), 50);
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2}, [](int, int64) { return 100.0; }), 100);
    Seek(*mixer, 0);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(601, 601, 600, 600, 500, 500));
}

TEST(FilterAudioMixer, TimesFollowTheFirstStreamThatStillRuns) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {48}, [](int, int64) { return 1.0; }), 100);
    mixer->AddStream(MakeRunStream(
                         MONO_S16, {48, 48}, [](int, int64) { return 1.0; }, 500),
                     100);
    EXPECT_THAT(TimesOf(ReadAll(*mixer)), ElementsAre(0, 1500));
    EXPECT_EQ(mixer->GetPosition(), 2500);
}

TEST(FilterAudioMixer, BlocksWithoutATimeOrADurationAreMixedAndThePositionHasNoValueThen) {
    TestMixer const mixer;
    auto const untimed = MakeLevelSound(MONO_S16, NO_VALUE, 2, 1), endless = MakeLevelSound(MONO_S16, 50, 2, 1);
    endless->SetDuration(NO_VALUE);
    mixer->AddStream(MakeStream(MONO_S16, {untimed, endless}), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {3, 1}, [](int, int64) { return 1.0; }), 100);
    EXPECT_EQ(mixer->Read()->GetTime(), NO_VALUE);
    EXPECT_EQ(mixer->GetPosition(), NO_VALUE);
    auto const second = mixer->Read();
    EXPECT_THAT(second, IsAudio(50, 2));
    EXPECT_EQ(second->GetDuration(), NO_VALUE);
    EXPECT_EQ(mixer->GetPosition(), NO_VALUE);
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixer, ThePositionSaturatesAtTheEndOfTime) {
    TestMixer const mixer;
    auto const last = MakeLevelSound(MONO_S16, std::numeric_limits<int64>::max() - 1, 2, 1);
    mixer->AddStream(MakeStream(MONO_S16, {last}), 100);
    EXPECT_NE(mixer->Read(), nullptr);
    EXPECT_EQ(mixer->GetPosition(), std::numeric_limits<int64>::max());
}

TEST(FilterAudioMixer, ABlockWithoutSamplesMakesAMixWithoutSamples) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(MONO_S16, 10, 0, 0), MakeLevelSound(MONO_S16, 10, 2, 1)}),
                     100);
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(MONO_S16, 10, 2, 20)}), 100);
    EXPECT_THAT(mixer->Read(), IsAudio(10, 0));
    auto const next = mixer->Read();
    EXPECT_THAT(next, IsAudio(10, 2));
    EXPECT_THAT(ChannelOf(*next), ElementsAre(21, 21));
}

TEST(FilterAudioMixer, TheGenericReadGivesTheSame) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(7), 100);
    iptr<IData> const item = mixer->ReadBase();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(SampleAt(dynamic_cast<IDataAudio&>(*item), 0, 0), 7);
    EXPECT_EQ(mixer->ReadBase(), nullptr);
}

/// Every value that a sample can have, or many of a format that has more.
std::vector<double> ValuesOf(Conf::SampleFormats format) {
    std::vector<double> values;
    switch (static_cast<int>(Conf::PlanarFormat(format))) {
        case Conf::SAMPLE_FORMAT_U8P:
            for (int i = 0; i < 256; ++i) values.push_back(i);
            break;
        case Conf::SAMPLE_FORMAT_S16P:
            for (int i = -32768; i < 32768; ++i) values.push_back(i);
            break;
        case Conf::SAMPLE_FORMAT_S32P:
            for (int64 i = -2147483648; i < 2147483648; i += 65521) values.push_back(static_cast<double>(i));
            values.push_back(2147483647);
            break;
        default:
            for (int i = -1000; i <= 1000; ++i) values.push_back(static_cast<float>(i / 1000.0));
    }
    return values;
}

TEST(FilterAudioMixer, AVolumeOf100PassesALoneStreamUnchangedInAllFormats) {
    for (int format = Conf::SAMPLE_FORMAT_U8; format <= Conf::SAMPLE_FORMAT_DBLP; ++format) {
        SCOPED_TRACE(format);
        Conf::SampleInfo const info(static_cast<Conf::SampleFormats>(format), 48000, Conf::CHANNEL_LAYOUT_STEREO);
        auto const values = ValuesOf(info.GetSampleFormat());
        int const count = static_cast<int>(values.size());
        // The channels differ: a mix-up of them would show.
        auto const block = MakeSound(info, 0, count, [&](int channel, int i) {
            return values[static_cast<std::size_t>(channel == 0 ? i : count - 1 - i)];
        });
        TestMixer const mixer;
        mixer->AddStream(MakeStream(info, {block}), 100);
        auto const mix = mixer->Read();
        ASSERT_THAT(mix, IsAudio(0, count));
        EXPECT_EQ(ChannelOf(*mix, 0), ChannelOf(*block, 0));
        EXPECT_EQ(ChannelOf(*mix, 1), ChannelOf(*block, 1));
    }
}

TEST(FilterAudioMixer, TwoSilent8BitStreamsMakeFullScaleAsMeant) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_MONO);
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(128, 4, info), 100);
    mixer->AddStream(MakeLevel(128, 4, info), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), Each(255));
}

TEST(FilterAudioMixer, AFormatThatCanNotBeMixedIsRefusedByTheRead) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S64, 48000, Conf::CHANNEL_LAYOUT_MONO);
    TestMixer const mixer;
    mixer->AddStream(MakeStream(info, {DataAudioFF::CreateBySampleCount(info, 4)}), 100);
    EXPECT_EQ(MessageOf<ProcException>([&] { mixer->Read(); }), "MixAudio doesn't support this sample format");
}

TEST(FilterAudioMixer, ABlockWithoutARateIsRefusedByTheRead) {
    TestMixer const mixer;
    mixer.plan->passOn = true;
    auto const block = MakeLevelSound(MONO_S16, 0, 4, 1), longer = MakeLevelSound(MONO_S16, 0, 8, 1);
    block->SetSampleRate(0);
    mixer->AddStream(MakeStream(MONO_S16, {block}), 100);
    mixer->AddStream(MakeStream(MONO_S16, {longer}), 100);
    Seek(*mixer, 0);
    EXPECT_THROW(mixer->Read(), ProcException);
    EXPECT_THROW(mixer->Read(), ProcException);
}

}  // namespace
}  // namespace Tarsel::Proc
