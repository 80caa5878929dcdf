#include "Proc/Filters/Filters/FilterReverseAudio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/Proc/ReverseSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int RATE = 8000;

/// Times that count samples without a gap from `time` on.
void ExpectContiguous(std::vector<iptr<IDataAudio>> const& blocks, int64 time, int rate = RATE) {
    int64 samples = 0;
    for (auto const& block : blocks) {
        EXPECT_EQ(block->GetTime(), time + SampleCount2Duration(samples, rate));
        samples += block->GetSampleCount();
        EXPECT_EQ(block->GetTime() + block->GetDuration(), time + SampleCount2Duration(samples, rate));
    }
}

void ExpectAllBackwards(iptr<IStreamAudio> const& source, int64 total, int rate = RATE) {
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_EQ(SamplesIn(blocks), Backwards(total));
    ExpectContiguous(blocks, 0, rate);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(filter->Read(), nullptr);
}

// --- Construction and settings ---------------------------------------------------------------------------------------

TEST(ReverseAudio, RefusesASourceOfUnknownLength) {
    auto const source = MakeSound(100, 10);
    for (int64 const duration : {NO_VALUE, int64{0}, int64{-1}}) {
        source->duration = duration;
        EXPECT_EQ(MessageOf<FilterException>([&] { ReverseOf(source); }), "Incorrect duration in source stream");
    }
}

TEST(ReverseAudio, RefusesANullSourceAndSettingsOfAnotherClass) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { ReverseOf(iptr<IStreamAudio>()); }), "parentStream is NULL.");
    auto const source = MakeSound(100, 10);
    EXPECT_THROW(MakeFilterReverseAudio(source, nullptr, SettingsFilterLoop()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(ReverseAudio, HasNoPropertyForm) {
    auto const filter = ReverseOf(MakeSound(100, 10));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("any")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
}

TEST(ReverseAudio, TellsVisitorsItsNameThenItsSource) {
    auto const filter = ReverseOf(MakeSound(100, 10));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterReverseAudio", "SeekingStream"));
    Visitors::FrameTypeCollector types;
    filter->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

TEST(ReverseAudio, CountsBlocksAndTheLargestBuffer) {
    auto const filter = ReverseOf(MakeSound(RATE, 1000));
    Seek(*filter, 0);
    ReadAll(*filter);
    auto const tree = filter->GetStatistic();
    ASSERT_EQ(tree.Children().size(), 2U);
    auto const& own = tree.Children()[1];
    EXPECT_EQ(own.Name(), "Tarsel::Proc::FilterReverseAudio::GetStatistic");
    Core::Property expected = Core::MakeStatistics(own.Name(), 0, 8);
    expected.SetChild("Max buffer size", int64{4} * RATE);
    expected.SetChild("Thread Time", own["Thread Time"].GetInt64());
    EXPECT_EQ(own, expected);
    EXPECT_GE(own["Thread Time"].GetInt64(), 0);
}

TEST(ReverseAudio, BytesOfPlanarSoundCountEveryPlane) {
    auto const source = MakeShared<SeekingAudio>(
        std::vector<iptr<IDataAudio>>{MakeAudio(0, 100, RATE, Conf::SAMPLE_FORMAT_FLTP, Conf::CHANNEL_LAYOUT_STEREO)});
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    ReadAll(*filter);
    EXPECT_EQ(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), 100 * 4 * 2);
}

TEST(ReverseAudio, SwitchedOffItIsTransparent) {
    auto const source = ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 480)});
    source->duration = 20000;
    auto const filter = MakeFilterReverseAudio(source, nullptr, SettingsFilterReverse(false));
    auto const context = MakeVideo(0, 0);
    filter->RequestSeek(12000, context);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(12000, context)", "DoSeek", "FinishSeek"));
    auto const block = filter->Read();
    EXPECT_THAT(block, IsAudio(10000, 480));
    EXPECT_EQ(block.get(), source->delivered.at(0));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
}

// --- Samples ---------------------------------------------------------------------------------------------------------

/// Every byte of the block's samples, moment by moment: channels of one moment stay together.
std::vector<std::vector<u8>> MomentsOf(IDataAudio& block) {
    auto const info = block.GetSampleInfo();
    auto const step = static_cast<std::size_t>(info.GetSampleSizePerPlane());
    std::vector<std::vector<u8>> moments;
    for (int i = 0; i < block.GetSampleCount(); ++i) {
        std::vector<u8> moment;
        for (int plane = 0; plane < info.GetPlanesCount(); ++plane) {
            u8 const* const at = block.GetAVFrame()->extended_data[plane] + step * static_cast<std::size_t>(i);
            moment.insert(moment.end(), at, at + step);
        }
        moments.push_back(moment);
    }
    return moments;
}

TEST(ReverseAudio, ReversesMomentsInEveryFormatAndChannelCount) {
    std::mt19937 random(3);
    for (int format = 0; format < 12; ++format) {
        for (int const channels : {1, 2, 3, 6, 8}) {
            for (int const samples : {1, 2, 5, 64}) {
                auto const sampleFormat = static_cast<Conf::SampleFormats>(format);
                if (Conf::BytesPerSample(sampleFormat) == 0) continue;
                SCOPED_TRACE("format " + std::to_string(format) + ", channels " + std::to_string(channels));
                auto block = MakeAudio(0, samples, RATE, sampleFormat, Conf::DefaultChannelLayout(channels));
                auto const blob = block->GetBlob();
                for (std::size_t i = 0; i < blob->GetSize(); ++i)
                    blob->GetWritableData()[i] = static_cast<u8>(random());
                auto expected = MomentsOf(*block);
                std::reverse(expected.begin(), expected.end());
                auto const filter = ReverseOf(MakeShared<SeekingAudio>(std::vector<iptr<IDataAudio>>{block}));
                Seek(*filter, 0);
                auto const result = filter->Read();
                ASSERT_THAT(result, IsAudio(0, samples));
                EXPECT_EQ(MomentsOf(*result), expected);
                EXPECT_EQ(result->GetSampleInfo(), block->GetSampleInfo());
            }
        }
    }
}

TEST(ReverseAudio, BlockThatOthersHoldStaysAsItIs) {
    auto const blocks = MakeBlocks(100, 50, RATE);
    auto const source = MakeShared<SeekingAudio>(blocks);
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_EQ(SamplesIn(ReadAll(*filter)), Backwards(100));
    EXPECT_THAT(blocks[1], IsAudio(6250, 50));
    EXPECT_EQ(SamplesOf<std::int32_t>(*blocks[1])[0], 50);
}

/// Keeps what it gives.
class KeepingSource final : public SeekingAudio {
  public:
    using SeekingAudio::SeekingAudio;
    iptr<IDataAudio> Read() override {
        auto block = SeekingAudio::Read();
        if (block) kept.push_back(block);
        return block;
    }
    std::vector<iptr<IDataAudio>> kept;
};

TEST(ReverseAudio, BlockThatTheSourceKeepsIsNeitherCutNorTimedNorTurnedRound) {
    auto const source = MakeShared<KeepingSource>(MakeBlocks(100, 50, RATE));
    auto const filter = ReverseOf(iptr<IStreamAudio>(source));
    Seek(*filter, 1250);
    ASSERT_EQ(ReadAll(*filter).size(), 2U);
    ASSERT_EQ(source->kept.size(), 2U);
    EXPECT_THAT(source->kept[1], IsAudio(6250, 50));
    EXPECT_EQ(SamplesOf<std::int32_t>(*source->kept[1])[0], 50);
}

// --- Chunks ----------------------------------------------------------------------------------------------------------

TEST(ReverseAudio, SourceOfLessThanTenSecondsIsOneChunk) {
    auto const source = MakeSound(9 * RATE, 1000);
    ExpectAllBackwards(source, 9 * RATE);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)"));
}

TEST(ReverseAudio, ChunksAreTenSecondsLong) {
    auto const source = MakeSound(25 * RATE, 1000);
    ExpectAllBackwards(source, 25 * RATE);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(15000000)", "RequestSeek(5000000)", "RequestSeek(0)"));
}

TEST(ReverseAudio, BlockAcrossAChunkBorderIsCutThereSoThatNoSampleAppearsTwice) {
    auto const source = MakeSound(20 * RATE, 3000);  // the block from 78000 to 81000 holds the border, 80000
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_EQ(SamplesIn(blocks), Backwards(20 * RATE));
    ExpectContiguous(blocks, 0);
    // 1000 samples of the last block, 26 whole ones, 1000 and 2000 on either side of the border.
    EXPECT_EQ(blocks[0]->GetSampleCount(), 1000);
    EXPECT_THAT(blocks[27], IsAudio(9875000, 1000));
    EXPECT_THAT(blocks[28], IsAudio(10000000, 2000));
}

TEST(ReverseAudio, BorderLiesOnAWholeSampleOfTheSource) {
    auto const source = MakeSound(44100 * 21 + 77, 1024, 44100);
    ExpectAllBackwards(source, 44100 * 21 + 77, 44100);
    // 21.001746 s less ten seconds, down to the next hundredth.
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(11000000)", "RequestSeek(1000000)", "RequestSeek(0)"));
}

class ReverseAudioLanding : public ::testing::TestWithParam<Landing> {};
INSTANTIATE_TEST_SUITE_P(Landings, ReverseAudioLanding,
                         ::testing::Values(Landing::Containing, Landing::ExactSample, Landing::Early, Landing::Late,
                                           Landing::Start),
                         LandingName);

TEST_P(ReverseAudioLanding, EverySampleComesExactlyOnce) {
    for (int const rate : {8000, 11025, 44100})
        for (int const size : {7, 777, 1024, 30011})
            if (size != 7 || rate == 8000) {
                SCOPED_TRACE("rate " + std::to_string(rate) + ", blocks of " + std::to_string(size));
                int64 const total = 23 * rate + 4567;
                ExpectAllBackwards(MakeSound(total, size, rate, GetParam()), total, rate);
            }
}

TEST_P(ReverseAudioLanding, SeekLandsOnTheSampleOfThePosition) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        int const rate = std::vector{8000, 11025, 44100}[random() % 3];
        int64 const total = 1 + static_cast<int64>(random() % static_cast<unsigned>(25 * rate));
        auto const source = MakeSound(total, 1 + static_cast<int>(random() % 5000), rate, GetParam());
        auto const filter = ReverseOf(source);
        auto const straight = Backwards(total);
        for (int round = 0; round < 8; ++round) {
            int64 const target = static_cast<int64>(random() % static_cast<unsigned>(source->duration + 100000));
            Seek(*filter, target);
            int64 const at = std::min(target, source->duration);
            if (random() % 2) {
                int64 const position = filter->GetPosition();
                if (HasValue(position)) {
                    EXPECT_EQ(position, at);
                }
            }
            std::vector<iptr<IDataAudio>> blocks;
            for (unsigned reads = random() % 400; reads != 0; --reads) {
                auto block = filter->Read();
                if (!block) break;
                blocks.push_back(std::move(block));
            }
            if (blocks.empty()) continue;
            ExpectContiguous(blocks, at, rate);
            auto const samples = SamplesIn(blocks);
            // The sample nearest to the position; the source's own length may be half a microsecond off.
            int64 const skipped = total - 1 - samples[0];
            EXPECT_LE(std::abs(skipped * SECOND - at * rate), SECOND / 2 + rate);
            std::vector<std::int32_t> const expected(straight.begin() + skipped,
                                                     straight.begin() + skipped + static_cast<int64>(samples.size()));
            EXPECT_EQ(samples, expected);
        }
    }
}

TEST(ReverseAudio, ReversedTwiceItIsTheOriginal) {
    int64 const total = 31 * 44100 + 123;
    auto const filter = ReverseOf(ReverseOf(MakeSound(total, 1024, 44100)));
    Seek(*filter, 0);
    auto const samples = SamplesIn(ReadAll(*filter));
    auto expected = Backwards(total);
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(samples, expected);
}

TEST(ReverseAudio, TimesThatAreRoundedToMillisecondsLoseNoSample) {
    auto blocks = MakeBlocks(30 * 44100, 1024, 44100);
    for (auto const& block : blocks) block->SetTime((block->GetTime() + 500) / 1000 * 1000);
    auto const source = MakeShared<SeekingAudio>(blocks);
    source->duration = 30 * SECOND;
    source->format->SetSampleInfo(blocks[0]->GetSampleInfo());
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const samples = SamplesIn(ReadAll(*filter));
    // The last block's stated place may be up to half a millisecond behind the duration.
    EXPECT_LE(30 * 44100 - static_cast<int64>(samples.size()), 23);
    for (std::size_t i = 1; i < samples.size(); ++i) ASSERT_EQ(samples[i], samples[i - 1] - 1);
    EXPECT_EQ(samples.back(), 0);
}

TEST(ReverseAudio, SoundThatEndsBeforeTheDurationBeginsAsMuchLaterAndKeepsItsDistanceToThePictures) {
    auto const source = MakeSound(RATE, 1000);
    source->duration = 1250000;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_EQ(filter->GetPosition(), 250000);
    EXPECT_THAT(filter->Read(), IsAudio(250000, 1000));
    Seek(*filter, 100000);
    EXPECT_THAT(filter->Read(), IsAudio(250000, 1000));
    Seek(*filter, 300000);
    EXPECT_THAT(filter->Read(), IsAudio(300000, 600));
}

TEST(ReverseAudio, GapsStayGaps) {
    auto const source = MakeShared<SeekingAudio>(
        std::vector<iptr<IDataAudio>>{MakeCounted(0, 800, RATE), MakeCounted(800, 800, RATE, 500000)});
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(0, 800), IsAudio(600000, 800)));
}

TEST(ReverseAudio, DurationFarBeyondTheSoundCostsAFewSeeksOnly) {
    auto const source = MakeSound(15 * RATE, 1000);
    source->duration = std::numeric_limits<int64>::max();
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_EQ(SamplesIn(blocks), Backwards(15 * RATE));
    EXPECT_LT(source->log.Take().size(), 60U);
    EXPECT_LE(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), 2 * 10 * 4 * RATE);
}

TEST(ReverseAudio, SoundBehindTheDurationIsLeftOut) {
    auto const source = MakeSound(2 * RATE, 1000);
    source->duration = SECOND + 1000;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_EQ(SamplesIn(ReadAll(*filter)), Backwards(RATE + 8));
}

TEST(ReverseAudio, EmptySourceGivesNull) {
    auto const source = MakeSound(0, 1);
    source->duration = 100 * SECOND;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
}

TEST(ReverseAudio, BlocksWithoutTimesGoOnBehindTheOneBeforeAndAreSkippedAtTheStart) {
    auto first = MakeCounted(0, 8, RATE);
    auto second = MakeCounted(8, 8, RATE);
    auto third = MakeCounted(16, 8, RATE);
    first->SetTime(NO_VALUE);
    third->SetTime(NO_VALUE);
    third->SetDuration(NO_VALUE);
    auto const timeless = ScriptedAudio::Create({first, second, third});
    timeless->duration = 3000;
    auto const filter = ReverseOf(timeless);
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 8), IsAudio(1000, 8)));
    EXPECT_EQ(SamplesOf<std::int32_t>(*blocks[0])[0], 23);
}

TEST(ReverseAudio, SourceThatNeverGetsOnIsAFailureAndNoHang) {
    class Standing : public SeekingAudio {
      public:
        Standing() : SeekingAudio({}) { duration = SECOND; }
        iptr<IDataAudio> Read() override { return MakeAudio(5, 0); }
    };
    LogLines const lines(0);
    auto const filter = ReverseOf(MakeShared<Standing>());
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "Source makes no progress in time");
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(ReverseAudio, BlockOfWhichLessThanHalfASampleIsWantedIsLeftOut) {
    auto const filter = ReverseOf(iptr<IStreamAudio>(MakeSound(1000, 100)));
    // 40 of the 125 microseconds of the first sample of the sixth block.
    Seek(*filter, 125000 - 62540);
    auto const block = filter->Read();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->GetSampleCount(), 100);
    EXPECT_EQ(SamplesIn({block}).front(), 499);
}

TEST(ReverseAudio, SeekToTheEndOrBeyondGivesNullAndOneBelowZeroStartsAtZero) {
    auto const filter = ReverseOf(MakeSound(RATE, 1000));
    for (int64 const target : {SECOND, SECOND + 1, std::numeric_limits<int64>::max()}) {
        Seek(*filter, target);
        EXPECT_EQ(filter->GetPosition(), NO_VALUE);
        EXPECT_EQ(filter->Read(), nullptr);
    }
    Seek(*filter, -7);
    EXPECT_EQ(SamplesIn(ReadAll(*filter)), Backwards(RATE));
}

TEST(ReverseAudio, AfterAReleaseReadingGoesOnWithoutASeek) {
    auto const filter = ReverseOf(MakeSound(RATE, 1000));
    Seek(*filter, 250000);
    filter->ReleaseInternalData();
    EXPECT_THAT(filter->Read(), IsAudio(250000, 1000));
    filter->ReleaseInternalData();
    auto const next = filter->Read();
    EXPECT_THAT(next, IsAudio(375000, 1000));
    EXPECT_EQ(SamplesOf<std::int32_t>(*next)[0], 4999);
}

TEST(ReverseAudio, FailureComesBehindTheChunksThatWereReadBeforeItWithItsClass) {
    LogLines const lines(0);
    auto const source = MakeSound(20 * RATE, 8000);
    source->failAt = 5;
    source->failure = Failure<Core::IOException>("broken");
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    for (int i = 0; i < 10; ++i) ASSERT_THAT(filter->Read(), IsAudio(i * SECOND, 8000));
    EXPECT_EQ(MessageOf<Core::IOException>([&] { filter->Read(); }), "broken");
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->Read(), nullptr);
    auto const errors = lines.Get(google::GLOG_ERROR);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_THAT(errors[0], StartsWith("FilterReverseAudio background reading thread exception:"));
    EXPECT_THAT(errors[0], HasSubstr("broken"));
    Seek(*filter, 0);
    EXPECT_EQ(SamplesIn(ReadAll(*filter)), Backwards(20 * RATE));
}

}  // namespace
}  // namespace Tarsel::Proc
