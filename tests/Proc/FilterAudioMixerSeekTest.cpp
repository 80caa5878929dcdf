#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/Proc/MixerSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

double Zero(int, int64) {
    return 0;
}
double Place(int, int64 index) {
    return static_cast<double>(index);
}
/// `count` blocks of `size` samples.
std::vector<int> Cut(int count, int size) {
    return std::vector<int>(static_cast<std::size_t>(count), size);
}
/// Times of 1000 samples a second are plain milliseconds.
Conf::SampleInfo const SLOW{Conf::SAMPLE_FORMAT_S32, 1000, Conf::CHANNEL_LAYOUT_MONO};
constexpr int64 MILLISECOND = 1000;

TEST(FilterAudioMixerSeek, StreamsThatLandApartBeginAtTheLatestOfThem) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(10, 100), Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, Cut(40, 25), Place), 100);
    Seek(*mixer, 190 * MILLISECOND);
    // The first one lands at 100, the second one at 175.
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(175 * MILLISECOND, 25));
    EXPECT_EQ(mix->GetDuration(), 25 * MILLISECOND);
    EXPECT_EQ(SampleAt(*mix, 0, 0), 2 * 175);
    EXPECT_EQ(SampleAt(*mix, 0, 24), 2 * 199);
    EXPECT_THAT(mixer->Read(), IsAudio(200 * MILLISECOND, 100));
}

TEST(FilterAudioMixerSeek, ThePositionIsTheOneAskedForUntilTheFirstRead) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(10, 100), Place), 100);
    Seek(*mixer, 190 * MILLISECOND);
    EXPECT_EQ(mixer->GetPosition(), 190 * MILLISECOND);
    EXPECT_THAT(mixer->Read(), IsAudio(100 * MILLISECOND, 100));
    EXPECT_EQ(mixer->GetPosition(), 200 * MILLISECOND);
}

TEST(FilterAudioMixerSeek, ADropTakesTheFrontOfALongBlock) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {10, 20, 30, 900}, Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, {960}, Place), 100);
    Seek(*mixer, 65 * MILLISECOND);
    mixer.Calls();
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(60 * MILLISECOND, 900));
    EXPECT_EQ(SampleAt(*mix, 0, 0), 120);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read", "formatter 1 Read"));
}

TEST(FilterAudioMixerSeek, ADropReadsFurtherBlocksWhereItNeedsThem) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(1, 100), Zero, 60 * MILLISECOND), 100);
    mixer->AddStream(MakeRunStream(SLOW, {10, 20, 25, 105}, Place), 100);
    // No `DoSeek`: both stand at their first blocks.
    mixer->RequestSeek(65 * MILLISECOND, nullptr);
    mixer.Calls();
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(60 * MILLISECOND, 100));
    EXPECT_EQ(SampleAt(*mix, 0, 0), 60);
    EXPECT_EQ(SampleAt(*mix, 0, 99), 159);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 Read", "formatter 1 Read", "formatter 1 Read",
                                           "formatter 1 Read", "formatter 1 Read"));
}

TEST(FilterAudioMixerSeek, ADropToAnExactBlockEndGoesOnWithTheNextBlockAsItIs) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {30, 50}, Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, {50}, Zero, 30 * MILLISECOND), 100);
    mixer->RequestSeek(40 * MILLISECOND, nullptr);
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(30 * MILLISECOND, 50));
    EXPECT_EQ(mix->GetDuration(), 50 * MILLISECOND);
    EXPECT_EQ(SampleAt(*mix, 0, 0), 30);
}

TEST(FilterAudioMixerSeek, TheDropIsToTheNearestSampleAndTheMixBeginsAtTheCommonTime) {
    // Times of the second stream lie between samples of the first.
    for (int64 const start : {3400, 3600}) {
        TestMixer const mixer;
        mixer->AddStream(MakeRunStream(SLOW, {100}, Place), 100);
        mixer->AddStream(MakeRunStream(SLOW, {100}, Zero, start), 100);
        mixer->RequestSeek(10 * MILLISECOND, nullptr);
        auto const mix = mixer->Read();
        EXPECT_EQ(SampleAt(*mix, 0, 0), start == 3400 ? 3 : 4);
        EXPECT_EQ(mix->GetTime(), start);
        EXPECT_EQ(mixer->GetPosition(), 100 * MILLISECOND);
    }
}

TEST(FilterAudioMixerSeek, AStreamThatBeginsBehindThePositionIsMixedAsItComes) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(10, 100), Place), 100);
    mixer->AddStream(
        MakeRunStream(
            SLOW, {100}, [](int, int64 i) { return 10000.0 * static_cast<double>(i + 1); }, 300 * MILLISECOND),
        100);
    mixer->AddStream(MakeRunStream(SLOW, Cut(40, 25), Zero), 100);
    Seek(*mixer, 260 * MILLISECOND);
    auto const mix = mixer->Read();
    EXPECT_EQ(mix->GetTime(), 250 * MILLISECOND);
    EXPECT_EQ(SampleAt(*mix, 0, 0), 250 + 10000);
}

TEST(FilterAudioMixerSeek, AStreamWithoutTimesIsMixedAsItComes) {
    TestMixer const mixer;
    auto const untimed = MakeSound(SLOW, NO_VALUE, 50, [](int, int i) { return 10000.0 * (i + 1); });
    mixer->AddStream(MakeStream(SLOW, {untimed}), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Zero, 20 * MILLISECOND), 100);
    mixer->RequestSeek(50 * MILLISECOND, nullptr);
    auto const mix = mixer->Read();
    EXPECT_EQ(mix->GetTime(), NO_VALUE);
    EXPECT_EQ(SampleAt(*mix, 0, 0), 20 + 10000);
}

TEST(FilterAudioMixerSeek, AStreamThatLandsMoreThanASecondAheadStaysWhereItIs) {
    for (int const distance : {1000, 1001}) {
        TestMixer const mixer;
        mixer->AddStream(MakeRunStream(SLOW, Cut(30, 100), Place), 100);
        mixer->AddStream(MakeRunStream(SLOW, {500}, Zero, distance * MILLISECOND), 100);
        mixer->RequestSeek(distance * MILLISECOND, nullptr);
        auto const mix = mixer->Read();
        EXPECT_EQ(SampleAt(*mix, 0, 0), distance == 1000 ? 1000 : 0);
        EXPECT_EQ(SampleAt(*mix, 0, 99), distance == 1000 ? 1099 : 99);
        EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), distance == 1000 ? 1100 : 100);
    }
}

TEST(FilterAudioMixerSeek, TheLastSoundOfAShorterStreamIsNotPlayedAgainBehindItsEnd) {
    // Sources clamp a seek to their end and may land on their last block.
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(1, 900), [](int, int64) { return 5000.0; }), 100);
    mixer->AddStream(MakeRunStream(SLOW, Cut(1, 100), Place, 3000 * MILLISECOND), 100);
    mixer->RequestSeek(3000 * MILLISECOND, nullptr);
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(3000 * MILLISECOND, 100));
    EXPECT_EQ(SampleAt(*mix, 0, 0), 0);
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixerSeek, AStreamThatEndsBeforeTheCommonTimeIsLeftOut) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {30}, [](int, int64) { return 5000.0; }), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Place, 50 * MILLISECOND), 100);
    mixer->RequestSeek(60 * MILLISECOND, nullptr);
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(50 * MILLISECOND, 100));
    EXPECT_EQ(SampleAt(*mix, 0, 0), 0);
}

TEST(FilterAudioMixerSeek, WithoutASeekNothingIsDropped) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {100}, Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Zero, 20 * MILLISECOND), 100);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 0);
}

TEST(FilterAudioMixerSeek, InMidRunNothingIsDropped) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, Cut(4, 100), Place), 100);
    Seek(*mixer, 0);
    EXPECT_THAT(mixer->Read(), IsAudio(0, 100));
    mixer->AddStream(MakeRunStream(SLOW, {100}, Zero, 150 * MILLISECOND), 100);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 100);
}

TEST(FilterAudioMixerSeek, ASeekToNoValueDropsNothing) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {100}, Place), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Zero, 20 * MILLISECOND), 100);
    mixer->RequestSeek(NO_VALUE, nullptr);
    EXPECT_EQ(mixer->GetPosition(), NO_VALUE);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 0);
}

TEST(FilterAudioMixerSeek, ASeekForgetsWhatIsLeftOfTheBlocks) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {10, 90}, Zero), 100);
    mixer->AddStream(MakeRunStream(SLOW, {100}, Place), 100);
    Seek(*mixer, 0);
    EXPECT_THAT(mixer->Read(), IsAudio(0, 10));
    Seek(*mixer, 0);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 0);
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 10);
}

TEST(FilterAudioMixerSeek, AReleaseForgetsWhatIsLeftOfTheBlocks) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(SLOW, {10, 10, 80}, Zero), 100);
    mixer->AddStream(MakeRunStream(SLOW, {50, 50}, Place), 100);
    EXPECT_THAT(mixer->Read(), IsAudio(0, 10));
    mixer->ReleaseInternalData();
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 50);
}

TEST(FilterAudioMixerSeek, ReadingBehindASeekGivesTheSamplesOfReadingStraightThrough) {
    // Rates at which times are rounded, and streams cut each in its own way.
    for (int const rate : {44100, 48000, 11025, 8000}) {
        SCOPED_TRACE(rate);
        std::mt19937 random(static_cast<unsigned>(rate));
        auto const pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
        for (int round = 0; round < 20; ++round) {
            Conf::SampleInfo const info(round % 2 == 0 ? Conf::SAMPLE_FORMAT_S32 : Conf::SAMPLE_FORMAT_S32P, rate,
                                        Conf::CHANNEL_LAYOUT_STEREO);
            int const total = rate / 2 + pick(0, rate);
            TestMixer const mixer;
            int const streams = pick(2, 5);
            for (int i = 0; i < streams; ++i) {
                std::vector<int> counts;
                // One of them ends before the others.
                int left = i == 1 ? total / 2 : total;
                int const size = pick(1, rate / 5);
                while (left > 0) counts.push_back(std::min(left, pick(1, size))), left -= counts.back();
                mixer->AddStream(MakeRunStream(info, counts,
                                               [i](int channel, int64 index) {
                                                   return static_cast<double>(index * (i + 1) + channel * 1000000);
                                               }),
                                 100);
            }
            Seek(*mixer, 0);
            auto const straight = ChannelOf(ReadAll(*mixer), 1);
            ASSERT_EQ(straight.size(), static_cast<std::size_t>(total));
            for (int i = 0; i < 10; ++i) {
                int64 const asked = pick(0, static_cast<int>(SampleCount2Duration(total, rate)) - 1);
                SCOPED_TRACE("round " + std::to_string(round) + ", seek to " + std::to_string(asked));
                Seek(*mixer, asked);
                auto const blocks = ReadAll(*mixer);
                ASSERT_FALSE(blocks.empty());
                int64 const landed = blocks.front()->GetTime();
                EXPECT_LE(landed, asked);
                auto const first = static_cast<std::ptrdiff_t>(Duration2SampleCount(landed, rate));
                auto samples = ChannelOf(blocks, 1);
                std::vector<double> expected(straight.begin() + first, straight.end());
                // A stream that has ended between there and the position is missed only in front of the position.
                if (asked >= SampleCount2Duration(total / 2, rate)) {
                    auto const front = static_cast<std::ptrdiff_t>(Duration2SampleCount(asked, rate)) + 1 - first;
                    expected.erase(expected.begin(), expected.begin() + std::min(front, std::ssize(expected)));
                    samples.erase(samples.begin(), samples.begin() + std::min(front, std::ssize(samples)));
                }
                EXPECT_TRUE(samples == expected);
            }
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
