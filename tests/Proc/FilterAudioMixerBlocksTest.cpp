#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "tests/Proc/MixerSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;

double One(int, int64) {
    return 1;
}
double Ten(int, int64) {
    return 10;
}
double Hundred(int, int64) {
    return 100;
}
/// A sample that tells its place.
double Place(int channel, int64 index) {
    return static_cast<double>(index + 1000 * channel);
}

// --- Blocks of unequal length ----------------------------------------------------------------------------------------

TEST(FilterAudioMixerBlocks, TheMixHasTheFirstRunningStreamsBlocks) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {3, 5, 2}, One), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4, 2}, Ten), 100);
    Seek(*mixer, 0);
    EXPECT_THAT(CountsOf(ReadAll(*mixer)), ElementsAre(3, 5, 2));
}

TEST(FilterAudioMixerBlocks, WhatIsLeftOfALongerBlockGoesIntoTheNextMix) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 3, 1}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {6}, Place), 100);
    auto const blocks = ReadAll(*mixer);
    EXPECT_THAT(CountsOf(blocks), ElementsAre(2, 3, 1));
    EXPECT_THAT(ChannelOf(blocks), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(FilterAudioMixerBlocks, AStreamOfShorterBlocksIsReadOnUntilThereIsEnough) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {6}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {1, 2, 2, 3}, Place), 100);
    mixer.Calls();
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read", "formatter 1 Read", "formatter 1 Read",
                                           "formatter 1 Read", "formatter 1 Read"));
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(6, 7));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixerBlocks, AShortLastBlockIsFilledUpWithSilence) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, One), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 1}, Ten), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {3}, Hundred), 100);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(111, 111, 111, 11, 11, 1, 1, 1));
}

TEST(FilterAudioMixerBlocks, SilenceIs128In8Bits) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_MONO);
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(info, {4}, [](int, int64) { return 28.0; }), 100);
    mixer->AddStream(MakeRunStream(info, {1}, [](int, int64) { return 29.0; }), 100);
    // Each source brings its offset of 128 along.
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(57, 156, 156, 156));
}

TEST(FilterAudioMixerBlocks, AStreamThatHasEndedIsLeftOutOnlyWhenNothingIsLeftOfIt) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2, 2, 2}, One), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {5}, Ten), 100);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(11, 11, 11, 11, 11, 1, 1, 1));
}

TEST(FilterAudioMixerBlocks, WhenTheFirstStreamEndsInMidBlockNothingOfTheOthersIsLost) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 1}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4, 4}, Place), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4, 4}, Place), 100);
    auto const blocks = ReadAll(*mixer);
    // The rest of the second stream's block makes a mix of its own.
    EXPECT_THAT(CountsOf(blocks), ElementsAre(4, 1, 3, 4));
    EXPECT_THAT(ChannelOf(blocks), ElementsAre(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22));
}

TEST(FilterAudioMixerBlocks, TheRestOfABlockHasTheTimeOfItsFirstSampleAndEndsWithTheBlock) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {10}, One), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {48, 48}, One, 7000), 100);
    auto const blocks = ReadAll(*mixer);
    EXPECT_THAT(CountsOf(blocks), ElementsAre(10, 38, 48));
    EXPECT_THAT(TimesOf(blocks), ElementsAre(0, 7208, 8000));
    EXPECT_EQ(blocks[1]->GetDuration(), 792);
    EXPECT_EQ(blocks[2]->GetDuration(), 1000);
}

TEST(FilterAudioMixerBlocks, TheRestOfABlockWithAWrongDurationLastsNoTime) {
    TestMixer const mixer;
    auto const wrong = MakeLevelSound(MONO_S16, 0, 48, 1), unknown = MakeLevelSound(MONO_S16, 1000, 48, 1);
    wrong->SetDuration(3);
    unknown->SetDuration(NO_VALUE);
    mixer->AddStream(MakeRunStream(MONO_S16, {24}, One), 100);
    mixer->AddStream(MakeStream(MONO_S16, {wrong}), 100);
    EXPECT_THAT(mixer->Read(), IsAudio(0, 24));
    auto const rest = mixer->Read();
    EXPECT_THAT(rest, IsAudio(500, 24));
    EXPECT_EQ(rest->GetDuration(), 0);
    EXPECT_EQ(mixer->GetPosition(), 500);
}

TEST(FilterAudioMixerBlocks, BlocksWithoutSamplesAreNothingToAStreamThatIsNotTheFirst) {
    TestMixer const mixer;
    auto const none = MakeLevelSound(MONO_S16, 0, 0, 0);
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(
        MakeStream(MONO_S16, {none, none, MakeLevelSound(MONO_S16, 0, 2, 5), none, MakeLevelSound(MONO_S16, 0, 2, 6)}),
        100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(5, 5, 6, 6));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixerBlocks, AStreamOfBlocksWithoutSamplesThatNeverEndsIsRefused) {
    class Endless final : public ScriptedAudio {
      public:
        Endless() : ScriptedAudio({}) { format->SetSampleInfo(MONO_S16); }
        iptr<IDataAudio> Read() override {
            ++reads;
            return MakeLevelSound(MONO_S16, 0, 0, 0);
        }
        int reads = 0;
    };
    auto const endless = MakeShared<Endless>();
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, One), 100);
    mixer->AddStream(endless, 100);
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Read(); }), "A mixed stream gives only blocks without samples");
    EXPECT_LT(endless->reads, 200000);
}

TEST(FilterAudioMixerBlocks, RestsOfLongAndShortBlocksAreJoinedInEveryFormatAndPosition) {
    // Three streams cut differently, in all their orders: the mix has the first one's blocks and always the same sound.
    std::array<std::vector<int>, 3> const cuts = {{{7, 7, 7, 7, 2}, {1, 13, 4, 12}, {30}}};
    constexpr std::array<std::array<std::size_t, 3>, 6> ORDERS = {
        {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}}};
    for (int format = Conf::SAMPLE_FORMAT_U8; format <= Conf::SAMPLE_FORMAT_DBLP; ++format) {
        for (auto const& order : ORDERS) {
            SCOPED_TRACE(std::to_string(format) + ", first " + std::to_string(order[0]));
            Conf::SampleInfo const info(static_cast<Conf::SampleFormats>(format), 48000, Conf::CHANNEL_LAYOUT_STEREO);
            bool const real = Conf::PlanarFormat(info.GetSampleFormat()) >= Conf::SAMPLE_FORMAT_FLTP;
            double const unit = real ? 0x1p-10 : 1;
            // Small enough that three of them stay in range, also with the offsets of 8 bits.
            auto const value = [&](int channel, int64 index) {
                return (static_cast<double>(index) - 40 * channel) * unit;
            };
            bool const offset = SilenceOf(info.GetSampleFormat()) != 0;
            auto const stored = [&](int channel, int64 index) {
                return offset ? 45 + value(channel, index) : value(channel, index);
            };
            TestMixer const mixer;
            for (std::size_t const which : order) mixer->AddStream(MakeRunStream(info, cuts[which], stored), 100);
            Seek(*mixer, 0);
            auto const blocks = ReadAll(*mixer);
            auto counts = cuts[order[0]];
            EXPECT_EQ(CountsOf(blocks), counts);
            for (int channel = 0; channel < 2; ++channel) {
                std::vector<double> expected;
                for (int i = 0; i < 30; ++i) expected.push_back(3 * stored(channel, i));
                EXPECT_EQ(ChannelOf(blocks, channel), expected) << channel;
            }
        }
    }
}

TEST(FilterAudioMixerBlocks, EndsInMidBlockInEveryFormatAndPosition) {
    // The stream that ends early stands first, in the middle and last.
    for (int format = Conf::SAMPLE_FORMAT_S16; format <= Conf::SAMPLE_FORMAT_DBLP; ++format) {
        if (format == Conf::SAMPLE_FORMAT_U8P) continue;
        for (std::size_t early = 0; early < 3; ++early) {
            SCOPED_TRACE(std::to_string(format) + ", " + std::to_string(early));
            Conf::SampleInfo const info(static_cast<Conf::SampleFormats>(format), 48000, Conf::CHANNEL_LAYOUT_STEREO);
            bool const real = Conf::PlanarFormat(info.GetSampleFormat()) >= Conf::SAMPLE_FORMAT_FLTP;
            double const unit = real ? 0x1p-12 : 1;
            auto const value = [&](int channel, int64 index) {
                return (static_cast<double>(index) + 500 * channel) * unit;
            };
            TestMixer const mixer;
            for (std::size_t i = 0; i < 3; ++i)
                mixer->AddStream(
                    MakeRunStream(info, i == early ? std::vector<int>{5, 3} : std::vector<int>{5, 5, 5}, value), 100);
            auto const blocks = ReadAll(*mixer);
            for (int channel = 0; channel < 2; ++channel) {
                std::vector<double> expected;
                for (int i = 0; i < 15; ++i) expected.push_back((i < 8 ? 3 : 2) * value(channel, i));
                EXPECT_EQ(ChannelOf(blocks, channel), expected) << channel;
            }
        }
    }
}

TEST(FilterAudioMixerBlocks, ManyPlanesAreCopiedEachByItself) {
    // More channels than an FFmpeg frame has pointers of its own.
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16P, 48000, 0x7FF);
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(info, {3, 3}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(MakeRunStream(info, {2, 4}, Place), 100);
    auto const blocks = ReadAll(*mixer);
    for (int channel = 0; channel < 11; ++channel) {
        double const base = 1000.0 * channel;
        EXPECT_THAT(ChannelOf(blocks, channel), ElementsAre(base, base + 1, base + 2, base + 3, base + 4, base + 5));
    }
}

// --- Streams that come and go ----------------------------------------------------------------------------------------

TEST(FilterAudioMixerBlocks, RemovingAStreamInMidRunDropsWhatIsLeftOfIt) {
    TestMixer const mixer;
    auto const removed = MakeRunStream(MONO_S16, {6}, Ten);
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2, 2}, One), 100);
    mixer->AddStream(removed, 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(11, 11));
    mixer->RemoveStream(removed);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(1, 1, 1, 1));
}

TEST(FilterAudioMixerBlocks, RemovingTheFirstStreamLeavesTheOthersWhereTheyAre) {
    TestMixer const mixer;
    auto const removed = MakeRunStream(MONO_S16, {1, 1, 1}, [](int, int64) { return 0.0; });
    mixer->AddStream(removed, 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, Place), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {3, 5}, Place), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(0));
    mixer->RemoveStream(removed);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(2, 4, 6, 8, 10, 12, 14));
}

TEST(FilterAudioMixerBlocks, AStreamAddedInMidRunIsMixedFromWhereItStands) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2, 2}, One), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(1, 1));
    mixer->AddStream(MakeRunStream(MONO_S16, {3}, Ten), 100);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(11, 11, 11, 1));
}

// --- Blocks of another format ----------------------------------------------------------------------------------------

TEST(FilterAudioMixerBlocks, BlocksOfAnotherFormatAreConvertedToTheFirstStreamsOne) {
    Conf::SampleInfo const formats[] = {{Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_MONO},
                                        {Conf::SAMPLE_FORMAT_S16P, 48000, Conf::CHANNEL_LAYOUT_MONO},
                                        {Conf::SAMPLE_FORMAT_S16, 24000, Conf::CHANNEL_LAYOUT_MONO},
                                        {Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO}};
    for (Conf::SampleInfo const& info : formats) {
        SCOPED_TRACE(TextOf(info));
        double const level = info.GetSampleFormat() == Conf::SAMPLE_FORMAT_FLT ? 0.25 : 8192;
        TestMixer const mixer;
        mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(MONO_S16, 0, 4, 1)}), 100);
        // Its filters say one thing and give another, as they do while the format changes.
        mixer.plan->passOn = true;
        mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(info, 0, 4, level)}), 100);
        mixer.plan->passOn = false;
        mixer.Calls();
        auto const mix = mixer->Read();
        EXPECT_EQ(mix->GetSampleInfo(), MONO_S16);
        EXPECT_THAT(ChannelOf(*mix), Each(8193));
        EXPECT_THAT(mixer.Calls(),
                    ElementsAre("formatter 0 Read", "formatter 1 Read", "resampler 2 SetSampleInfo(1/48000/4)"));
    }
}

TEST(FilterAudioMixerBlocks, WhatIsLeftOfABlockIsConvertedWhenTheFormatIsLifted) {
    TestMixer const mixer;
    Conf::SampleInfo const real(Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_MONO);
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2, 2}, [](int, int64) { return 0.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {3, 3}, [](int, int64 i) { return static_cast<double>(1024 * i); }), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(0, 1024));
    mixer->AddStream(MakeStream(real), 100);
    auto const rest = ReadAll(*mixer);
    EXPECT_EQ(rest.front()->GetSampleInfo(), real);
    EXPECT_THAT(ChannelOf(rest), ElementsAre(2 / 32.0, 3 / 32.0, 4 / 32.0, 5 / 32.0));
}

TEST(FilterAudioMixerBlocks, TheFirstStreamsLeftoverStillHasTheFormerFormat) {
    TestMixer const mixer;
    Conf::SampleInfo const real(Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_MONO);
    auto const removed = MakeRunStream(MONO_S16, {1}, One);
    mixer->AddStream(removed, 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2}, [](int, int64) { return 1024.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {1, 2}, [](int, int64) { return 2048.0; }), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(3073));
    mixer->AddStream(MakeStream(real), 100);
    auto const leftover = mixer->Read();
    EXPECT_EQ(leftover->GetSampleInfo(), MONO_S16);
    EXPECT_THAT(ChannelOf(*leftover), ElementsAre(3072));
    auto const lifted = mixer->Read();
    EXPECT_EQ(lifted->GetSampleInfo(), real);
    EXPECT_THAT(ChannelOf(*lifted), ElementsAre(3072 / 32768.0, 1024 / 32768.0));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixerBlocks, TheRestOfABlockKeepsItsPlaceInTimeWhenItIsConverted) {
    TestMixer const mixer;
    Conf::SampleInfo const slow(Conf::SAMPLE_FORMAT_S16, 1000, Conf::CHANNEL_LAYOUT_MONO);
    mixer->AddStream(MakeRunStream(slow, {2, 1}, One), 100);
    // It says that it lasts longer than its samples: its rest ends where it does.
    auto const block = MakeLevelSound(slow, 0, 6, 1);
    block->SetDuration(10000);
    mixer->AddStream(MakeStream(slow, {block}), 100);
    EXPECT_THAT(mixer->Read(), IsAudio(0, 2));
    mixer->AddStream(MakeStream({Conf::SAMPLE_FORMAT_FLT, 1000, Conf::CHANNEL_LAYOUT_MONO}), 100);
    EXPECT_THAT(mixer->Read(), IsAudio(2000, 1));
    // The first one has ended, and the rest of the converted rest is what times the mix.
    auto const rest = mixer->Read();
    EXPECT_THAT(rest, IsAudio(3000, 3));
    EXPECT_EQ(rest->GetDuration(), 7000);
    EXPECT_EQ(mixer->GetPosition(), 10000);
}

TEST(FilterAudioMixerBlocks, ABlockThatComesToNothingInTheOtherFormatIsPassedOver) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, [](int, int64) { return 0.0; }), 100);
    auto const foreign = MakeLevelSound(STEREO_S16, 0, 1, 7);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(MONO_S16, {foreign, MakeLevelSound(MONO_S16, 0, 2, 5), foreign, foreign,
                                           MakeLevelSound(MONO_S16, 0, 1, 6), foreign}),
                     100);
    mixer->AddStream(MakeStream(MONO_S16, {foreign}), 100);
    mixer.plan->passOn = false;
    mixer.plan->lostSamples = 1;
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(5, 5, 6, 0));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixerBlocks, AStreamOfWhichNothingIsLeftInTheOtherFormatIsLeftOut) {
    // In 8 bits a stream that is left out differs from a silent one.
    Conf::SampleInfo const mono(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_MONO);
    Conf::SampleInfo const stereo(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(mono, {2}, [](int, int64) { return 77.0; }), 100);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(mono, {MakeLevelSound(stereo, 0, 1, 7)}), 100);
    mixer.plan->passOn = false;
    mixer.plan->lostSamples = 1;
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(77, 77));
}

TEST(FilterAudioMixerBlocks, SilenceStandsBehindAConvertedEnd) {
    Conf::SampleInfo const mono(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_MONO);
    Conf::SampleInfo const stereo(Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(mono, {300}, [](int, int64) { return 28.0; }), 100);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(mono, {MakeLevelSound(stereo, 0, 150, 29)}), 100);
    mixer.plan->passOn = false;
    auto const samples = ChannelOf(*mixer->Read());
    EXPECT_EQ(std::count(samples.begin(), samples.begin() + 150, 57), 150);
    EXPECT_EQ(std::count(samples.begin() + 150, samples.end(), 156), 150);
}

TEST(FilterAudioMixerBlocks, ABlockOfAnotherFormatWithoutSamplesIsNothingToConvert) {
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(MONO_S16, 0, 0, 0), MakeLevelSound(MONO_S16, 0, 2, 1)}), 100);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(STEREO_FLTP, 0, 0, 0), MakeLevelSound(MONO_S16, 0, 2, 20)}),
                     100);
    auto const none = mixer->Read();
    EXPECT_THAT(none, IsAudio(0, 0));
    EXPECT_EQ(none->GetSampleInfo(), MONO_S16);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(21, 21));
    EXPECT_EQ(mixer.plan->resamplers, 2);
}

TEST(FilterAudioMixerBlocks, ABlockThatCanNotBeConvertedIsRefusedAndNothingIsLost) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, One), 100);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(STEREO_S16, 0, 4, 7)}), 100);
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Read(); }),
              "A block of a mixed stream can't be converted to the format of the mix");
    mixer.plan->passOn = false;
    EXPECT_THAT(ChannelOf(*mixer->Read()), Each(8));
}

}  // namespace
}  // namespace Tarsel::Proc
