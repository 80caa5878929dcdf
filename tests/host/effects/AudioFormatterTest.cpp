#include "host/effects/AudioFormatter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Blocks = std::vector<iptr<IDataAudio>>;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

/// A mono block of numbers that run on from `first`.
iptr<IDataAudio> Numbers(int64 time, int first, int count, int rate = 48000) {
    auto block = MakeAudio(time, count, rate, Conf::SAMPLE_FORMAT_S32, Conf::CHANNEL_LAYOUT_MONO);
    for (int i = 0; i < count; ++i) SamplesOf<i32>(*block)[i] = first + i;
    return block;
}

/// The numbers of all blocks, one behind the other.
std::vector<int> NumbersOf(Blocks const& blocks) {
    std::vector<int> numbers;
    for (auto const& block : blocks)
        numbers.insert(numbers.end(), SamplesOf<i32>(*block), SamplesOf<i32>(*block) + block->GetSampleCount());
    return numbers;
}

std::vector<int> Count(int first, int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) numbers[static_cast<std::size_t>(i)] = first + i;
    return numbers;
}

/// Everything that comes in blocks of this duration.
Blocks PopAll(AudioFormatter& formatter, int64 duration, bool flush = false) {
    Blocks blocks;
    while (auto block = formatter.Pop(duration, flush)) {
        blocks.push_back(std::move(block));
        if (blocks.size() > 100000) {
            ADD_FAILURE() << "the cutter doesn't end";
            break;
        }
    }
    return blocks;
}

std::vector<int> CountsOf(Blocks const& blocks) {
    std::vector<int> counts;
    for (auto const& block : blocks) counts.push_back(block->GetSampleCount());
    return counts;
}

MATCHER_P3(IsPiece, time, duration, samples, "") {
    return ExplainMatchResult(IsAudio(time, samples), arg, result_listener) &&
           ExplainMatchResult(int64(duration), arg->GetDuration(), result_listener);
}

TEST(AudioFormatter, JoinsAndCutsBlocksToTheDurationAskedFor) {
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 1000));
    EXPECT_EQ(formatter.Pop(100000, false), nullptr) << "not enough";
    formatter.Push(Numbers(20833, 1000, 9000));
    formatter.Push(Numbers(208333, 10000, 1));
    Blocks blocks = PopAll(formatter, 100000);
    EXPECT_THAT(blocks, ElementsAre(IsPiece(0, 100000, 4800), IsPiece(100000, 100000, 4800)));
    auto const rest = formatter.Pop(100000, true);
    EXPECT_THAT(rest, IsPiece(200000, 8354, 401)) << "a short one has the duration of its samples";
    blocks.push_back(rest);
    EXPECT_EQ(NumbersOf(blocks), Count(0, 10001));
    EXPECT_EQ(formatter.Pop(100000, true), nullptr);
}

TEST(AudioFormatter, RoundingDoesNotDriftAt11025Hertz) {
    AudioFormatter formatter;
    for (int i = 0; i < 100; ++i) formatter.Push(Numbers(NO_VALUE, i * 1000, 1000, 11025));
    Blocks const blocks = PopAll(formatter, 100000);
    ASSERT_EQ(blocks.size(), 90U);
    for (std::size_t i = 0; i < blocks.size(); ++i) ASSERT_EQ(blocks[i]->GetSampleCount(), i % 2 ? 1102 : 1103) << i;
    EXPECT_EQ(NumbersOf(blocks), Count(0, 45 * 2205));
}

TEST(AudioFormatter, OverAnHourTheSamplesStayWithTheClock) {
    for (int const rate : {8000, 11025, 22050, 44100, 44101, 48000}) {
        AudioFormatter formatter;
        formatter.Reset(7);
        auto const source = MakeAudio(7, rate, rate, Conf::SAMPLE_FORMAT_U8, Conf::CHANNEL_LAYOUT_MONO);
        int64 samples = 0;
        int64 time = 7;
        for (int second = 0; second < 3600; ++second) {
            formatter.Push(source);
            while (auto const block = formatter.Pop(33333, false)) {
                ASSERT_EQ(block->GetTime(), time);
                ASSERT_EQ(block->GetDuration(), 33333);
                samples += block->GetSampleCount();
                time += 33333;
                ASSERT_EQ(samples, Duration2SampleCount(time, rate) - Duration2SampleCount(7, rate)) << time;
            }
        }
        EXPECT_GT(time, 3599 * SECOND);
    }
}

TEST(AudioFormatter, DurationMayChangeBetweenTwoBlocks) {
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 48000));
    EXPECT_THAT(formatter.Pop(100000, false), IsPiece(0, 100000, 4800));
    EXPECT_THAT(formatter.Pop(50000, false), IsPiece(100000, 50000, 2400));
    EXPECT_THAT(formatter.Pop(1, false), IsPiece(150000, 21, 1)) << "less than a sample asks for one";
    EXPECT_THAT(formatter.Pop(20, false), IsPiece(150021, 21, 1));
    EXPECT_THAT(formatter.Pop(21, false), IsPiece(150042, 21, 1));
    EXPECT_THAT(formatter.Pop(200000, false), IsPiece(150063, 200000, 9600));
    EXPECT_EQ(formatter.Pop(1000000, false), nullptr);
    EXPECT_THAT(formatter.Pop(0, false), IsPiece(350063, 649938, 31197));
}

TEST(AudioFormatter, DurationOfZeroOrLessGivesWhatIsHeldOrNull) {
    AudioFormatter formatter;
    for (int64 const duration : {int64{0}, int64{-1}, -LARGEST, NO_VALUE}) {
        formatter.Reset(1000);
        EXPECT_EQ(formatter.Pop(duration, false), nullptr);
        EXPECT_EQ(formatter.Pop(duration, true), nullptr);
        formatter.Push(Numbers(0, 0, 480));
        formatter.Push(Numbers(0, 480, 480));
        EXPECT_THAT(formatter.Pop(duration, false), IsPiece(1000, 20000, 960));
        EXPECT_EQ(formatter.Pop(duration, false), nullptr);
        formatter.Push(Numbers(0, 960, 48));
        EXPECT_THAT(formatter.Pop(duration, true), IsPiece(21000, 1000, 48));
    }
}

TEST(AudioFormatter, TimesOfBlocksWithoutAGridDoNotDriftEither) {
    AudioFormatter formatter;
    int64 count = 0;
    for (int i = 0; i < 1000; ++i) {
        formatter.Push(Numbers(0, 0, 1001, 44100));
        auto const block = formatter.Pop(0, false);
        ASSERT_EQ(block->GetTime(), SampleCount2Duration(count, 44100));
        count += 1001;
        ASSERT_EQ(block->GetTime() + block->GetDuration(), SampleCount2Duration(count, 44100));
    }
}

TEST(AudioFormatter, SamplesStayWithTheClockThroughAllMixturesOfDurations) {
    std::mt19937 random(5);
    AudioFormatter formatter;
    int64 samples = 0;
    int given = 0;
    for (int i = 0; i < 50000; ++i) {
        formatter.Push(Numbers(0, 0, 700, 11025));
        auto const block =
            formatter.Pop(random() % 3 == 0 ? 0 : static_cast<int64>(random() % 120000 + 1), random() % 2 == 0);
        if (!block) continue;
        ASSERT_NEAR(static_cast<double>(samples), static_cast<double>(block->GetTime()) * 11025 / 1e6, 1.01) << i;
        samples += block->GetSampleCount();
        ++given;
    }
    EXPECT_GT(given, 40000);
}

TEST(AudioFormatter, StepOfASampleGivesOneAlsoWhereTheClockIsBehindTheSamples) {
    // The clock stands at 850 us: a step of 23 us ends nearest to the sample that is next already.
    AudioFormatter formatter;
    formatter.Push(Numbers(805, 0, 2, 44100));
    EXPECT_THAT(formatter.Pop(0, false), IsPiece(805, 45, 2));
    formatter.Push(Numbers(0, 2, 3, 44100));
    EXPECT_THAT(formatter.Pop(23, false), IsPiece(850, 23, 1));
    EXPECT_THAT(NumbersOf(PopAll(formatter, 23)), ElementsAre(3, 4));
}

TEST(AudioFormatter, FirstBlockSetsTheClockAndGapsBehindItAreClosed) {
    AudioFormatter formatter;
    formatter.Push(Numbers(500, 0, 480));
    formatter.Push(Numbers(9000000, 480, 480));
    formatter.Push(Numbers(3, 960, 480));
    formatter.Push(Numbers(NO_VALUE, 1440, 480));
    Blocks const blocks = PopAll(formatter, 20000);
    EXPECT_THAT(blocks, ElementsAre(IsPiece(500, 20000, 960), IsPiece(20500, 20000, 960)));
    EXPECT_EQ(NumbersOf(blocks), Count(0, 1920));
}

TEST(AudioFormatter, ResetForgetsWhatIsHeldAndSetsTheClock) {
    AudioFormatter formatter;
    formatter.Push(Numbers(500, 0, 480));
    formatter.Reset(7000);
    EXPECT_EQ(formatter.Pop(0, true), nullptr);
    formatter.Push(Numbers(500, 0, 960));
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(7000, 10000, 480)) << "the clock, not the block";
    formatter.Reset(NO_VALUE);
    EXPECT_EQ(formatter.Pop(0, true), nullptr);
    formatter.Push(Numbers(300, 0, 480));
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(300, 10000, 480));
}

TEST(AudioFormatter, WithoutTimesBlocksHaveNoneUntilOneIsKnown) {
    AudioFormatter formatter;
    formatter.Push(Numbers(NO_VALUE, 0, 480));
    formatter.Push(Numbers(NO_VALUE, 480, 480));
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(NO_VALUE, 10000, 480));
    formatter.Push(Numbers(50000, 960, 480));
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(40000, 10000, 480)) << "it ends where the one with a time begins";
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(50000, 10000, 480));
}

TEST(AudioFormatter, TimeThatIsKnownLaterBringsItsOwnGrid) {
    AudioFormatter formatter;
    formatter.Push(Numbers(NO_VALUE, 0, 1103, 11025));
    EXPECT_THAT(formatter.Pop(100000, false), IsPiece(NO_VALUE, 100000, 1103));
    formatter.Push(Numbers(5000000, 1103, 3308, 11025));
    EXPECT_THAT(PopAll(formatter, 100000), ElementsAre(IsPiece(5000000, 100000, 1103), IsPiece(5100000, 100000, 1102),
                                                       IsPiece(5200000, 100000, 1103)));
}

TEST(AudioFormatter, ReadingFromAnyPlaceOfTheGridGivesTheSameBlocks) {
    auto const signal = Numbers(0, 0, 110250, 11025);
    AudioFormatter straight;
    straight.Push(signal);
    Blocks const all = PopAll(straight, 100000);
    for (std::size_t first = 0; first < all.size(); ++first) {
        AudioFormatter formatter;
        int const from = SamplesOf<i32>(*all[first])[0];
        formatter.Push(Numbers(all[first]->GetTime(), from, 110250 - from, 11025));
        Blocks const blocks = PopAll(formatter, 100000);
        ASSERT_EQ(blocks.size(), all.size() - first);
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            ASSERT_THAT(blocks[i], IsPiece(all[first + i]->GetTime(), 100000, all[first + i]->GetSampleCount()));
            ASSERT_EQ(NumbersOf({blocks[i]}), NumbersOf({all[first + i]}));
        }
    }
}

TEST(AudioFormatter, BlockOfTheWantedSizePassesAsTheSameObject) {
    AudioFormatter formatter;
    auto const first = Numbers(0, 0, 4800);
    auto const second = Numbers(100000, 4800, 4800);
    auto const early = Numbers(150000, 9600, 4800);
    for (auto const& block : {first, second, early}) formatter.Push(block);
    EXPECT_EQ(formatter.Pop(100000, false), first);
    EXPECT_EQ(formatter.Pop(100000, false), second);
    auto const moved = formatter.Pop(100000, false);
    EXPECT_THAT(moved, IsPiece(200000, 100000, 4800));
    EXPECT_NE(moved, early) << "somebody else holds it";
    EXPECT_EQ(moved->GetAVFrame()->extended_data[0], early->GetAVFrame()->extended_data[0]) << "no samples are copied";
    EXPECT_THAT(early, IsAudio(150000, 4800));
}

TEST(AudioFormatter, ChangeOfTheFormatEndsABlockEarlyAndSamplesAreNotJoinedRaw) {
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 6000));
    formatter.Push(MakeAudio(125000, 6000));  // stereo, 16 bit
    formatter.Push(MakeAudio(250000, 5000, 44100));
    Blocks const blocks = PopAll(formatter, 100000);
    EXPECT_THAT(blocks,
                ElementsAre(IsPiece(0, 100000, 4800), IsPiece(100000, 25000, 1200), IsPiece(125000, 100000, 4800),
                            IsPiece(225000, 25000, 1200), IsPiece(250000, 100000, 4410)));
    EXPECT_EQ(blocks[1]->GetSampleFormat(), Conf::SAMPLE_FORMAT_S32);
    EXPECT_EQ(blocks[2]->GetSampleFormat(), Conf::SAMPLE_FORMAT_S16);
    EXPECT_EQ(blocks[3]->GetSampleRate(), 48000);
    EXPECT_EQ(blocks[4]->GetSampleRate(), 44100);
    EXPECT_THAT(formatter.Pop(100000, true), IsPiece(350000, 13379, 590));
}

TEST(AudioFormatter, DurationOfZeroNeverJoinsTwoFormats) {
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 480));
    formatter.Push(MakeAudio(10000, 480));
    EXPECT_EQ(formatter.Pop(0, false)->GetSampleFormat(), Conf::SAMPLE_FORMAT_S32);
    EXPECT_EQ(formatter.Pop(0, false)->GetSampleFormat(), Conf::SAMPLE_FORMAT_S16);
    EXPECT_EQ(formatter.Pop(0, false), nullptr);
}

TEST(AudioFormatter, EveryPlaneIsCutAtTheSamePlaces) {
    AudioFormatter formatter;
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16P, 48000, Conf::DefaultChannelLayout(6));
    for (int start = 0; start < 1000; start += 100) {
        auto block = DataAudioFF::CreateBySampleCount(info, 100);
        for (int plane = 0; plane < 6; ++plane)
            for (int i = 0; i < 100; ++i)
                SamplesOf<std::int16_t>(*block, plane)[i] = static_cast<std::int16_t>(start + i + plane * 2000);
        formatter.Push(block);
    }
    int next = 0;
    for (auto const& block : PopAll(formatter, 3000, true)) {
        EXPECT_EQ(block->GetSampleInfo(), info);
        for (int plane = 0; plane < 6; ++plane)
            for (int i = 0; i < block->GetSampleCount(); ++i)
                ASSERT_EQ(SamplesOf<std::int16_t>(*block, plane)[i], next + i + plane * 2000);
        next += block->GetSampleCount();
    }
    EXPECT_EQ(next, 1000);
}

TEST(AudioFormatter, RandomSizesAndDurationsLoseAndDoubleNothing) {
    for (unsigned seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        AudioFormatter formatter;
        Blocks blocks;
        int next = 0;
        for (int i = 0; i < 200; ++i) {
            int const count = static_cast<int>(random() % 700);
            formatter.Push(Numbers(next == 0 ? 4000 : NO_VALUE, next, count));
            next += count;
            if (random() % 2)
                if (auto block = formatter.Pop(static_cast<int64>(random() % 20000), false)) blocks.push_back(block);
        }
        for (auto& block : PopAll(formatter, 5000, true)) blocks.push_back(block);
        ASSERT_EQ(NumbersOf(blocks), Count(0, next)) << "seed " << seed;
    }
}

TEST(AudioFormatter, EmptyBlocksHoldNothing) {
    AudioFormatter formatter;
    formatter.Push(Numbers(700, 0, 0));
    EXPECT_EQ(formatter.Pop(0, true), nullptr);
    EXPECT_EQ(formatter.Pop(100000, true), nullptr);
    formatter.Push(Numbers(900, 0, 48));
    EXPECT_THAT(formatter.Pop(1000, false), IsPiece(700, 1000, 48)) << "but the first one has set the clock";
}

TEST(AudioFormatter, TimesAtTheEndsOfTheirRangeNeitherOverflowNorHang) {
    for (int64 const start : {LARGEST - 5, LARGEST, NO_VALUE + 1}) {
        AudioFormatter formatter;
        formatter.Reset(start);
        formatter.Push(Numbers(0, 0, 48000));
        Blocks const blocks = PopAll(formatter, 100000);
        EXPECT_EQ(CountsOf(blocks), std::vector<int>(10, 4800)) << start;
        EXPECT_EQ(NumbersOf(blocks), Count(0, 48000));
    }
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 100));
    EXPECT_EQ(formatter.Pop(LARGEST, false), nullptr);
    EXPECT_THAT(formatter.Pop(LARGEST, true), IsAudio(0, 100));
    formatter.Reset(0);
    formatter.Push(Numbers(0, 0, 100, std::numeric_limits<int>::max()));
    EXPECT_EQ(formatter.Pop(LARGEST, false), nullptr);
    EXPECT_THAT(formatter.Pop(LARGEST, true), IsAudio(0, 100));
}

TEST(AudioFormatter, BadInputIsRefused) {
    AudioFormatter formatter;
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { formatter.Push(nullptr); }), "block is NULL");
    auto const block = MakeAudio(0, 10);
    block->SetSampleRate(0);
    EXPECT_EQ(MessageOf<AlgorithmException>([&] { formatter.Push(block); }),
              "Can't cut a block of samples without a format");
    EXPECT_EQ(formatter.Pop(0, true), nullptr);
}

TEST(AudioFormatter, TakesSettingsOfItsOwnNameAlone) {
    AudioFormatter formatter;
    formatter.Push(Numbers(0, 0, 480));
    formatter.Initialize(Core::Property(IAudioFormatter::CLASS_ID));
    EXPECT_EQ(MessageOf<AlgorithmException>([&] { formatter.Initialize(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    EXPECT_THAT(formatter.Pop(10000, false), IsPiece(0, 10000, 480)) << "what is held stays";
    iptr<Conf::IFormatCodec> format = Conf::IFormatCodecAudio::Create();
    auto const before = format;
    formatter.AdaptFormatCodec(format);
    EXPECT_EQ(format, before);
}

}  // namespace
}  // namespace Tarsel::Host
