#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <typeinfo>

#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Conf::SampleInfo const S16_MONO_48(Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_MONO);

iptr<ScriptedAudio> MakeSource(std::vector<iptr<IDataAudio>> const& blocks,
                               Conf::SampleInfo const& info = S16_MONO_48) {
    auto source = ScriptedAudio::Create(blocks);
    source->format->SetSampleInfo(info);
    return source;
}

iptr<FilterDurationTrimmerAudio> MakeTrimmer(iptr<IStreamAudio> const& source, int64 duration) {
    auto filter = MakeShared<FilterDurationTrimmerAudio>(source);
    filter->Initialize(SettingsFilterDurationTrimmer(duration));
    return filter;
}

/// A mono block whose samples are their numbers in the stream, beginning with `first`.
iptr<IDataAudio> MakeNumbered(int64 time, int first, int samples, int rate) {
    auto block = MakeAudio(time, samples, rate, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO);
    for (int i = 0; i < samples; ++i) SamplesOf<std::int16_t>(*block)[i] = static_cast<std::int16_t>(first + i);
    return block;
}

/// Blocks of `size` samples, one behind the other, timed by their count.
std::vector<iptr<IDataAudio>> MakeBlocks(int count, int size, int rate) {
    std::vector<iptr<IDataAudio>> blocks;
    for (int i = 0; i < count; ++i) {
        blocks.push_back(MakeNumbered(SampleCount2Duration(int64{i} * size, rate), i * size, size, rate));
        // As decoders time them: the end is the next block's start.
        blocks.back()->SetDuration(SampleCount2Duration(int64{i + 1} * size, rate) - blocks.back()->GetTime());
    }
    return blocks;
}

std::vector<int> SampleValues(std::vector<iptr<IDataAudio>> const& blocks) {
    std::vector<int> values;
    for (auto const& block : blocks)
        for (int i = 0; i < block->GetSampleCount(); ++i) values.push_back(SamplesOf<std::int16_t>(*block)[i]);
    return values;
}

std::vector<iptr<IDataAudio>> ReadFrom(IStreamAudio& stream, int64 position) {
    Seek(stream, position);
    return ReadAll(stream);
}

// --- The end ---------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, LastBlockIsCutToTheSampleAt44100Hertz) {
    auto const filter = MakeTrimmer(MakeSource(MakeBlocks(6, 1024, 44100)), 100000);
    auto const blocks = ReadFrom(*filter, 0);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 1024), IsAudio(23220, 1024), IsAudio(46440, 1024), IsAudio(69660, 1024),
                                    IsAudio(92880, 314)));
    // 4410 samples last 100 ms.
    auto const values = SampleValues(blocks);
    ASSERT_EQ(values.size(), 4410U);
    for (int i = 0; i < 4410; ++i) EXPECT_EQ(values[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(blocks.back()->GetDuration(), 7120);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterDurationTrimmerAudio, BlockThatBeginsAtTheEndIsNotGiven) {
    auto const filter = MakeTrimmer(MakeSource(MakeBlocks(6, 480, 48000)), 20000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsAudio(0, 480), IsAudio(10000, 480)));
}

// --- A source that is too short --------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, SilenceFollowsInBlocksOf100MillisecondsThenOneOfTheRest) {
    auto const filter = MakeTrimmer(MakeSource(MakeBlocks(2, 1024, 44100)), 500000);
    auto const blocks = ReadFrom(*filter, 0);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 1024), IsAudio(23220, 1024), IsAudio(46440, 4410), IsAudio(146440, 4410),
                                    IsAudio(246440, 4410), IsAudio(346440, 6772)));
    auto const values = SampleValues(blocks);
    EXPECT_EQ(values.size(), 22050U);
    EXPECT_THAT(std::vector<int>(values.begin() + 2048, values.end()), Each(0));
    EXPECT_EQ(blocks.back()->GetSampleInfo(), blocks.front()->GetSampleInfo());
    EXPECT_EQ(filter->GetPosition(), 500000);
}

TEST(FilterDurationTrimmerAudio, ExactlyTwoHundredMillisecondsAreHalvedAndLessIsOneBlock) {
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 200000), 0),
                ElementsAre(IsAudio(0, 4800), IsAudio(100000, 4800)));
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 199979), 0), ElementsAre(IsAudio(0, 9599)));
}

TEST(FilterDurationTrimmerAudio, RestOfLessThanHalfASampleEndsTheStream) {
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 10), 0), IsEmpty());
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 11), 0), ElementsAre(IsAudio(0, 1)));
}

TEST(FilterDurationTrimmerAudio, SilenceOfUnsignedSamplesIsTheirMiddle) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_U8, 8000, Conf::CHANNEL_LAYOUT_STEREO);
    auto const blocks = ReadFrom(*MakeTrimmer(MakeSource({}, info), 1000), 0);
    ASSERT_THAT(blocks, ElementsAre(IsAudio(0, 8)));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(SamplesOf<u8>(*blocks[0])[i], 0x80);
}

TEST(FilterDurationTrimmerAudio, SilenceIsOfTheLastBlocksKindAndBeforeOneOfTheFormats) {
    Conf::SampleInfo const format(Conf::SAMPLE_FORMAT_FLTP, 44100, Conf::CHANNEL_LAYOUT_STEREO);
    auto const source = MakeSource({MakeAudio(0, 480, 48000), MakeAudio(10000, 80, 8000)}, format);
    source->duration = 20000;
    auto const filter = MakeTrimmer(source, 50000);
    auto const straight = ReadFrom(*filter, 0);
    EXPECT_THAT(straight, ElementsAre(IsAudio(0, 480), IsAudio(10000, 80), IsAudio(20000, 240)));
    EXPECT_EQ(straight.back()->GetSampleRate(), 8000);
    auto const fresh = ReadFrom(*MakeTrimmer(source, 50000), 30000);
    EXPECT_THAT(fresh, ElementsAre(IsAudio(30000, 882)));
    EXPECT_EQ(fresh[0]->GetSampleInfo(), format);
}

TEST(FilterDurationTrimmerAudio, SourceThatTellsNoRateAndGivesNothingEndsWithNull) {
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}, {}), 100000), 0), IsEmpty());
    auto const without = MakeSource({});
    without->format = nullptr;
    EXPECT_THAT(ReadFrom(*MakeTrimmer(without, 100000), 0), IsEmpty());
}

TEST(FilterDurationTrimmerAudio, SeekBehindTheSourcesEndIsSilenceToTheWantedLength) {
    auto const source = MakeSource(MakeBlocks(3, 480, 48000));
    auto const filter = MakeTrimmer(source, SECOND);
    EXPECT_THAT(ReadFrom(*filter, 700000),
                ElementsAre(IsAudio(700000, 4800), IsAudio(800000, 4800), IsAudio(900000, 4800)));
    EXPECT_THAT(ReadFrom(*filter, SECOND), IsEmpty());
    EXPECT_THAT(ReadFrom(*filter, 2 * SECOND), IsEmpty());
}

// --- The sample clock ------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, BlockOfDurationZeroTurnsTheRestIntoSilence) {
    auto blocks = MakeBlocks(4, 480, 48000);
    auto const empty = MakeAudio(10000, 0, 48000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO);
    empty->SetTime(10001);
    blocks.insert(blocks.begin() + 1, empty);
    auto const given = ReadFrom(*MakeTrimmer(MakeSource(blocks), 40000), 0);
    EXPECT_THAT(given, ElementsAre(IsAudio(0, 480), IsAudio(10000, 1440)));
    auto const values = SampleValues(given);
    EXPECT_THAT(std::vector<int>(values.begin() + 480, values.end()), Each(0));
}

TEST(FilterDurationTrimmerAudio, BehindABlockOfSilenceTheSourceIsReadAgain) {
    // More than 200 ms are missing: the silence is 100 ms long, and what comes behind it is the source's again.
    auto blocks = MakeBlocks(6, 4800, 48000);
    auto const empty = MakeAudio(100001, 0, 48000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO);
    blocks.insert(blocks.begin() + 1, empty);
    auto const given = ReadFrom(*MakeTrimmer(MakeSource(blocks), 600000), 0);
    EXPECT_THAT(given, ElementsAre(IsAudio(0, 4800), IsAudio(100000, 4800), IsAudio(200000, 4800),
                                   IsAudio(300000, 4800), IsAudio(400000, 4800), IsAudio(500000, 4800)));
    EXPECT_EQ(SamplesOf<std::int16_t>(*given[1])[0], 0);
    EXPECT_EQ(SamplesOf<std::int16_t>(*given[2])[0], 9600);
}

TEST(FilterDurationTrimmerAudio, TimesRoundedToMillisecondsCostSamplesAndEndInPadding) {
    // Blocks of 1024 samples at 48 kHz last 21.333 ms; a container that rounds says 0, 21, 43, 64.
    std::vector<iptr<IDataAudio>> blocks;
    for (int64 const time : {0, 21000, 43000, 64000})
        blocks.push_back(MakeAudio(time, 1024, 48000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO));
    auto const given = ReadFrom(*MakeTrimmer(MakeSource(blocks), 85333), 0);
    // 16 samples of the second block lie before the count; the padding begins where the count is, 84.999 ms.
    EXPECT_THAT(given, ElementsAre(IsAudio(0, 1024), IsAudio(21333, 1008), IsAudio(43000, 1024), IsAudio(64000, 1024),
                                   IsAudio(85000, 16)));
}

TEST(FilterDurationTrimmerAudio, GapIsNotFilledAndThePaddingBeginsBeforeTheLastBlocksEnd) {
    auto const source = MakeSource({MakeNumbered(50000, 0, 480, 48000), MakeNumbered(100000, 480, 480, 48000)});
    auto const given = ReadFrom(*MakeTrimmer(source, 120000), 0);
    EXPECT_THAT(given, ElementsAre(IsAudio(50000, 480), IsAudio(100000, 480), IsAudio(20000, 4800)));
}

TEST(FilterDurationTrimmerAudio, BlocksThatOverlapAreCutAgainstTheCount) {
    auto const source = MakeSource(
        {MakeNumbered(0, 0, 960, 48000), MakeNumbered(10000, 480, 960, 48000), MakeNumbered(15000, 720, 480, 48000)});
    auto const given = ReadFrom(*MakeTrimmer(source, 30000), 0);
    EXPECT_THAT(given, ElementsAre(IsAudio(0, 960), IsAudio(20000, 480)));
    auto const values = SampleValues(given);
    for (int i = 0; i < 1440; ++i) EXPECT_EQ(values[static_cast<std::size_t>(i)], i);
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, BlockThatStraddlesTheSeekPositionIsCutToTheSample) {
    auto const filter = MakeTrimmer(MakeSource(MakeBlocks(4, 480, 48000)), 40000);
    Seek(*filter, 12500);
    EXPECT_EQ(filter->GetPosition(), 12500);
    auto const given = ReadAll(*filter);
    EXPECT_THAT(given, ElementsAre(IsAudio(12500, 360), IsAudio(20000, 480), IsAudio(30000, 480)));
    EXPECT_EQ(SampleValues(given).front(), 600);
}

TEST(FilterDurationTrimmerAudio, ReadingAfterASeekToAWholeSampleIsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        // 6 samples last 125 microseconds, so that every block and every seek lies on a whole one.
        auto const filter =
            MakeTrimmer(MakeSource(MakeBlocks(static_cast<int>(any(0, 12)), 6 * static_cast<int>(any(1, 200)), 48000)),
                        125 * any(1, 3000));
        auto const straight = SampleValues(ReadFrom(*filter, 0));
        EXPECT_EQ(straight.size(), static_cast<std::size_t>(filter->GetDuration() / 125 * 6));
        for (int seeks = 0; seeks < 5; ++seeks) {
            int64 const position = 125 * any(0, filter->GetDuration() / 125);
            auto const after = ReadFrom(*filter, position);
            EXPECT_EQ(SampleValues(after), std::vector<int>(straight.begin() + position / 125 * 6, straight.end()));
            int64 expected = position;
            for (auto const& block : after) {
                EXPECT_EQ(block->GetTime(), expected);
                expected += block->GetDuration();
            }
            EXPECT_EQ(after.empty() ? filter->GetDuration() : expected, filter->GetDuration());
            for (int64 reads = any(0, 3); reads > 0; --reads) filter->Read();
        }
    }
}

TEST(FilterDurationTrimmerAudio, ReadingAfterASeekAt44100HertzDiffersByASampleAtMost) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        auto const filter = MakeTrimmer(MakeSource(MakeBlocks(12, 1024, 44100)), any(1000, 400000));
        auto const straight = SampleValues(ReadFrom(*filter, 0));
        for (int seeks = 0; seeks < 5; ++seeks) {
            int64 const position = any(0, filter->GetDuration());
            auto const blocks = ReadFrom(*filter, position);
            auto const after = SampleValues(blocks);
            // The same samples from the one nearest to the position on: one more or less at the front, and at the end.
            auto const skipped = static_cast<int64>(straight.size()) - static_cast<int64>(after.size());
            EXPECT_NEAR(static_cast<double>(skipped), static_cast<double>(position) * 44100 / 1000000, 1.5);
            for (std::size_t i = 0; i < after.size() && after[i] != 0; ++i) {
                auto const place = static_cast<std::size_t>(after[0]) + i;
                if (place < straight.size() && straight[place] != 0) {
                    EXPECT_EQ(after[i], straight[place]);
                }
            }
            int64 expected = position;
            for (auto const& block : blocks) {
                EXPECT_NEAR(static_cast<double>(block->GetTime()), static_cast<double>(expected), 23);
                expected = block->GetTime() + block->GetDuration();
            }
        }
    }
}

TEST(FilterDurationTrimmerAudio, ReadingBeforeASeekIsRefused) {
    auto const filter = MakeTrimmer(MakeSource(MakeBlocks(2, 480, 48000)), 20000);
    EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }),
              "There was no initial seek before reading! Check application logic!");
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 2U);
}

// --- Items -----------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, ItemsWithoutATimeOrDurationAreLeftOutAndLogged) {
    LogLines const log(21);
    auto const untimed = MakeAudio(NO_VALUE, 480);
    auto const endless = MakeAudio(0, 480);
    endless->SetDuration(NO_VALUE);
    auto const filter = MakeTrimmer(MakeSource({MakeAudio(0, 480), untimed, endless, MakeAudio(10000, 480)}), 20000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsAudio(0, 480), IsAudio(10000, 480)));
    EXPECT_EQ(log.Count("Data from decoder has no pts or duration and will be skipped: "), 2U);
}

TEST(FilterDurationTrimmerAudio, BlocksThatOthersHoldAreNotWrittenIntoAndUnchangedOnesStayTheSame) {
    auto const source = MakeSource(MakeBlocks(3, 480, 48000));
    auto const cache = MakeShared<ScriptedFilter<IStreamAudio>>(source);
    std::vector<iptr<IDataAudio>> held;
    cache->onRead = [&] {
        auto item = source->Read();
        if (item) held.push_back(item);
        return item;
    };
    auto const given = ReadFrom(*MakeTrimmer(cache, 25000), 5000);
    EXPECT_THAT(given, ElementsAre(IsAudio(5000, 240), IsAudio(10000, 480), IsAudio(20000, 240)));
    EXPECT_THAT(held, ElementsAre(IsAudio(0, 480), IsAudio(10000, 480), IsAudio(20000, 480)));
    EXPECT_EQ(SampleValues({held[0]}).front(), 0);
    EXPECT_EQ(given[1], held[1]);
}

// --- Settings and failures -------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerAudio, WrongDurationShowsAtTheFirstReadOfABlock) {
    for (int64 const duration : {int64{0}, int64{-1}, MAX_DURATION + 1}) {
        auto const filter = MakeTrimmer(MakeSource(MakeBlocks(2, 480, 48000)), duration);
        Seek(*filter, 0);
        EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }), "Duration is out of (0, MAX_DURATION]");
    }
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 0), 0), IsEmpty());
}

TEST(FilterDurationTrimmerAudio, SettingsOfAnotherClassNullAndThePropertyForm) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterDurationTrimmerAudio filter(nullptr); }),
              "parentStream is NULL.");
    auto const source = MakeSource({});
    auto const filter = MakeTrimmer(source, 20000);
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop()), std::bad_cast);
    EXPECT_EQ(filter->GetDuration(), 20000);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    LogLines const log(21);
    filter->Initialize(Core::Property("Anything"));
    EXPECT_THAT(source->log.Take(), ElementsAre("Initialize(Anything)"));
    EXPECT_TRUE(log.Has("Deprecated method FilterDurationTrimmerAudio::Initialize is used"));
}

TEST(FilterDurationTrimmerAudio, FormatStatisticsAndVisitor) {
    auto const source = MakeSource(MakeBlocks(2, 480, 48000));
    auto const filter = MakeTrimmer(source, 30000);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    ReadFrom(*filter, 0);
    // Two blocks of the source and one of silence.
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterDurationTrimmerAudio::GetStatistic", 0, 3));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterDurationTrimmerAudio", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
