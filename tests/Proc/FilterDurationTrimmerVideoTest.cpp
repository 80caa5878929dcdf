#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <typeinfo>

#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Uncuttable.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char NO_SEEK[] = "There was no initial seek before reading! Check application logic!";
constexpr char NO_PTS[] = "Data from decoder has no pts or duration and will be skipped: ";

/// A source of 25 pictures a second.
template <class Steps = std::initializer_list<ScriptedVideo::Step>>
iptr<ScriptedVideo> MakeSource(Steps const& steps) {
    auto source = ScriptedVideo::Create(steps);
    source->format->SetFrameRate(25, 1);
    return source;
}
iptr<ScriptedVideo> MakeSource(std::initializer_list<ScriptedVideo::Step> steps) {
    return MakeSource<>(steps);
}

iptr<FilterDurationTrimmerVideo> MakeTrimmer(iptr<IStreamVideo> const& source, int64 duration,
                                             bool useOriginalDuration = false) {
    auto filter = MakeShared<FilterDurationTrimmerVideo>(source);
    SettingsFilterDurationTrimmer settings(duration);
    settings.SetUseOriginalDuration(useOriginalDuration);
    filter->Initialize(settings);
    return filter;
}

std::vector<iptr<IDataVideo>> ReadFrom(IStreamVideo& stream, int64 position) {
    Seek(stream, position);
    return ReadAll(stream);
}

std::vector<std::pair<int64, int64>> Spans(std::vector<iptr<IDataVideo>> const& frames) {
    std::vector<std::pair<int64, int64>> spans;
    for (auto const& frame : frames) spans.emplace_back(frame->GetTime(), frame->GetDuration());
    return spans;
}

// --- The end ---------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, FrameThatStraddlesTheEndIsCut) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(10, 40000)), 100000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 20000)));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterDurationTrimmerVideo, FrameThatBeginsAtTheEndIsNotGiven) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(10, 40000)), 80000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
}

TEST(FilterDurationTrimmerVideo, FrameThatCannotBeCutAtTheEndIsDroppedAndReadingGoesOn) {
    LogLines const log(21);
    auto const filter = MakeTrimmer(MakeSource({MakeVideo(0, 40000), MakeUncuttable(40000, 80000),
                                                MakeVideo(90000, 5000), MakeVideo(120000, 40000)}),
                                    100000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsVideo(0, 40000), IsVideo(90000, 5000)));
    EXPECT_EQ(log.Count("Can't cut due to:this one stays whole"), 1U);
}

TEST(FilterDurationTrimmerVideo, FrameOfDurationZeroEndsTheStream) {
    auto const filter =
        MakeTrimmer(MakeSource({MakeVideo(0, 40000), MakeVideo(40000, 0), MakeVideo(80000, 40000)}), 200000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsVideo(0, 40000)));
}

// --- A source that is too short --------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, LastFrameRepeatsAtStepsOfItsOwnDurationAndTheFinalOneIsCut) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(2, 60000)), 250000);
    auto const frames = ReadFrom(*filter, 0);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 60000), IsVideo(60000, 60000), IsVideo(120000, 60000),
                                    IsVideo(180000, 60000), IsVideo(240000, 10000)));
    EXPECT_EQ(ShadeOf(*frames[0]), 0);
    for (std::size_t i = 1; i < frames.size(); ++i) EXPECT_EQ(ShadeOf(*frames[i]), 1) << i;
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterDurationTrimmerVideo, LastFrameShorterThanHalfAFrameGetsTheFullDuration) {
    auto const shorter = MakeTrimmer(MakeSource({MakeVideo(0, 40000), MakeVideo(40000, 19999)}), 120000);
    EXPECT_THAT(ReadFrom(*shorter, 0), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000)));
    auto const half = MakeTrimmer(MakeSource({MakeVideo(0, 40000), MakeVideo(40000, 20000)}), 80000);
    EXPECT_THAT(ReadFrom(*half, 0), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 20000), IsVideo(60000, 20000)));
}

TEST(FilterDurationTrimmerVideo, LastFrameWithoutALengthIsNotRepeatedForEverAtOneTime) {
    // Nominal frames of one microsecond have no half: only the zero itself tells.
    auto const source = MakeSource({MakeVideo(5, 0)});
    source->format->SetFrameRate(Ratio(3000000, 1));
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 8), 0), ElementsAre(IsVideo(5, 1), IsVideo(6, 1), IsVideo(7, 1)));
}

TEST(FilterDurationTrimmerVideo, NtscTimesAreExact) {
    std::vector<iptr<IDataVideo>> frames;
    for (int64 i = 0; i < 3; ++i) {
        int64 const time = AvRescale(i * 1001, SECOND, 30000);
        frames.push_back(MakeVideo(time, AvRescale((i + 1) * 1001, SECOND, 30000) - time));
    }
    auto const source = MakeSource(frames);
    source->format->SetFrameRate(30000, 1001);
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 150000), 0),
                ElementsAre(IsVideo(0, 33367), IsVideo(33367, 33366), IsVideo(66733, 33367), IsVideo(100100, 33367),
                            IsVideo(133467, 16533)));
    // Behind the source's end the nominal frame counts: a thousandth of 1001/30000 s, rounded.
    source->duration = 100100;
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 200000), 120000),
                ElementsAre(IsVideo(120000, 33367), IsVideo(153367, 33367), IsVideo(186734, 13266)));
}

TEST(FilterDurationTrimmerVideo, EmptySourceGivesNullWithoutAFailure) {
    auto const source = MakeSource({});
    source->duration = 0;
    auto const filter = MakeTrimmer(source, 100000);
    EXPECT_THAT(ReadFrom(*filter, 0), IsEmpty());
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
}

// --- A seek behind the source's end ----------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, SeekBehindTheSourcesEndGivesItsLastFrameAtThePosition) {
    LogLines const log(31);
    auto const source = MakeSource(MakeVideos(5, 40000));
    source->duration = 200000;
    auto const filter = MakeTrimmer(source, 400000);
    auto const frames = ReadFrom(*filter, 300001);
    EXPECT_THAT(frames, ElementsAre(IsVideo(300001, 40000), IsVideo(340001, 40000), IsVideo(380001, 19999)));
    for (auto const& frame : frames) EXPECT_EQ(ShadeOf(*frame), 4);
    EXPECT_THAT(log.Get(google::GLOG_INFO),
                ElementsAre("Trying to get last frame. Seek to 120000", "Last frame has been bound at 160000"));
    // The search reads on from there to the source's end; the source stays at it.
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(300001)", "DoSeek", "Read", "RequestSeek(120000)",
                                                "DoSeek", "Read", "Read", "Read", "Read", "Read", "Read", "Read"));
}

TEST(FilterDurationTrimmerVideo, SearchGoesBackInFiveGrowingSteps) {
    LogLines const log(31);
    auto const source = MakeSource(MakeVideos(3, 40000));
    source->duration = 30000 * int64{40000};
    auto const filter = MakeTrimmer(source, MAX_DURATION);
    EXPECT_THAT(ReadFrom(*filter, source->duration), IsEmpty());
    EXPECT_THAT(
        log.Get(google::GLOG_INFO),
        ElementsAre("Trying to get last frame. Seek to 1199920000", "Trying to get last frame. Seek to 1199200000",
                    "Trying to get last frame. Seek to 1192000000", "Trying to get last frame. Seek to 1120000000",
                    "Trying to get last frame. Seek to 400000000", "Can't get last frame"));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterDurationTrimmerVideo, LastRoundOfTheSearchStillCounts) {
    LogLines const log(31);
    auto const source = MakeSource({MakeVideo(0, 40000, 1), MakeVideo(400000000, 40000, 2)});
    source->duration = 30000 * int64{40000};
    auto const filter = MakeTrimmer(source, 30001 * int64{40000});
    auto const frames = ReadFrom(*filter, source->duration);
    EXPECT_THAT(frames, ElementsAre(IsVideo(1200000000, 40000)));
    EXPECT_EQ(ShadeOf(*frames[0]), 2);
    EXPECT_EQ(log.Count("Trying to get last frame. Seek to "), 5U);
    EXPECT_TRUE(log.Has("Last frame has been bound at 400000000"));
}

TEST(FilterDurationTrimmerVideo, SearchStopsAtTheStartOfTheSource) {
    LogLines const log(31);
    auto const source = MakeSource({});
    source->duration = 500000;
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, SECOND), 700000), IsEmpty());
    EXPECT_THAT(log.Get(google::GLOG_INFO), ElementsAre("Trying to get last frame. Seek to 420000",
                                                        "Trying to get last frame. Seek to 0", "Can't get last frame"));
}

TEST(FilterDurationTrimmerVideo, SearchAtASourceOfUnknownLengthEndsTheStreamWithALogLine) {
    LogLines const log(21);
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(5, 40000)), 400000);
    EXPECT_THAT(ReadFrom(*filter, 300000), IsEmpty());
    EXPECT_THAT(log.Get(google::GLOG_INFO), ElementsAre("Can't determine duration"));
    // Before its end such a source is no worse than another one.
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 10U);
}

TEST(FilterDurationTrimmerVideo, SearchTrustsTheContainersLengthOnlyWhenTold) {
    LogLines const log(31);
    auto const source = MakeSource(MakeVideos(5, 40000));
    source->duration = 200000;
    source->format->SetOriginalDuration(160000);
    ReadFrom(*MakeTrimmer(source, 400000, true), 300000);
    EXPECT_EQ(log.Count("Trying to get last frame. Seek to 80000"), 1U);
    ReadFrom(*MakeTrimmer(source, 400000, false), 300000);
    EXPECT_EQ(log.Count("Trying to get last frame. Seek to 120000"), 1U);
    // Without one the source's own length stands in.
    source->format->SetOriginalDuration(NO_VALUE);
    ReadFrom(*MakeTrimmer(source, 400000, true), 300000);
    EXPECT_EQ(log.Count("Trying to get last frame. Seek to 120000"), 2U);
    // And the container's makes up for a source that knows none.
    source->duration = NO_VALUE;
    source->format->SetOriginalDuration(160000);
    EXPECT_EQ(ReadFrom(*MakeTrimmer(source, 400000, true), 300000).size(), 3U);
}

TEST(FilterDurationTrimmerVideo, SearchDoesNotStartASourceAgainThatWasToldToEnd) {
    auto const source = MakeSource(MakeVideos(10, 40000));
    source->duration = 400000;
    auto const filter = MakeTrimmer(source, SECOND);
    Seek(*filter, 0);
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 25U);
}

TEST(FilterDurationTrimmerVideo, SeekToTheEndOfAllNumbersUnderAWrongDurationEndsOnceThatIsPutRight) {
    auto const source = MakeSource(MakeVideos(2, 40000));
    source->duration = 80000;
    auto const filter = MakeTrimmer(source, std::numeric_limits<int64>::max());
    Seek(*filter, std::numeric_limits<int64>::max());
    filter->Initialize(SettingsFilterDurationTrimmer(SECOND));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterDurationTrimmerVideo, NegativeLengthOfASourceIsSearchedFromItsStart) {
    LogLines const log(31);
    auto const source = MakeSource(MakeVideos(1, 40000));
    source->duration = -7;
    EXPECT_EQ(ReadFrom(*MakeTrimmer(source, 400000), 300000).size(), 3U);
    EXPECT_EQ(log.Count("Trying to get last frame. Seek to 0"), 1U);
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, ReadingBeforeASeekIsRefused) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(2, 40000)), 100000);
    EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }), NO_SEEK);
    EXPECT_EQ(MessageOf<Exception>([&] { filter->GetPosition(); }), NO_SEEK);
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 3U);
}

TEST(FilterDurationTrimmerVideo, FrameThatStraddlesTheSeekPositionIsCut) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(4, 40000)), 160000);
    Seek(*filter, 50000);
    EXPECT_EQ(filter->GetPosition(), 50000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(50000, 30000), IsVideo(80000, 40000), IsVideo(120000, 40000)));
    EXPECT_EQ(filter->GetPosition(), 160000);
}

TEST(FilterDurationTrimmerVideo, SeekBehindTheWantedLengthGivesNull) {
    auto const source = MakeSource(MakeVideos(10, 40000));
    auto const filter = MakeTrimmer(source, 100000);
    EXPECT_THAT(ReadFrom(*filter, 300000), IsEmpty());
    EXPECT_THAT(source->log.Take()[0], "RequestSeek(100000)");
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 3U);
}

TEST(FilterDurationTrimmerVideo, SeekContextGoesToTheSource) {
    auto const source = MakeSource(MakeVideos(1, 40000));
    auto const filter = MakeTrimmer(source, 100000);
    filter->RequestSeek(20, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(20, context)", "DoSeek"));
}

TEST(FilterDurationTrimmerVideo, ReadingAfterASeekIsReadingStraightThroughWithTheFirstFrameCut) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        std::vector<iptr<IDataVideo>> frames;
        int64 end = 0;
        for (int64 i = 0, count = any(1, 12); i < count; ++i) {
            int64 const length = any(20000, 60000);
            frames.push_back(MakeVideo(end, length, static_cast<u8>(i)));
            end += length;
        }
        auto const source = MakeSource(frames);
        source->duration = end;
        auto const filter = MakeTrimmer(source, any(1, end + 100000));
        auto const straight = Spans(ReadFrom(*filter, 0));
        for (int seeks = 0; seeks < 5; ++seeks) {
            int64 const position = any(0, std::min(end, filter->GetDuration()) - 1);
            std::vector<std::pair<int64, int64>> expected;
            for (auto [time, length] : straight) {
                if (time + length <= position) continue;
                int64 const cut = std::max<int64>(position - time, 0);
                expected.emplace_back(time + cut, length - cut);
            }
            EXPECT_EQ(Spans(ReadFrom(*filter, position)), expected) << "seek to " << position;
            for (int64 reads = any(0, 3); reads > 0; --reads) filter->Read();
        }
    }
}

TEST(FilterDurationTrimmerVideo, FarSeekOverASourceThatLandsEarlyPassesOverTheRepeatsAtOnce) {
    auto const source = MakeSource(MakeVideos(1, 40000));
    auto const early = MakeShared<ScriptedFilter<IStreamVideo>>(source);
    int64 const far = MAX_DURATION - 60007;
    early->onRequestSeek = [&](int64) {};
    // Lands on its first frame whatever it is asked for.
    early->onRead = [&, given = false]() mutable {
        if (given) return iptr<IDataVideo>();
        given = true;
        return MakeVideo(0, 40000, 9);
    };
    auto const filter = MakeTrimmer(early, MAX_DURATION);
    auto const frames = ReadFrom(*filter, far);
    EXPECT_THAT(frames, ElementsAre(IsVideo(far, 20007), IsVideo(MAX_DURATION - 40000, 40000)));
    EXPECT_EQ(ShadeOf(*frames[1]), 9);
    EXPECT_LT(early->log->Take().size(), 20U);
}

// --- Items -----------------------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, ItemsWithoutATimeOrDurationAreLeftOutAndLogged) {
    LogLines const log(21);
    auto const filter =
        MakeTrimmer(MakeSource({MakeVideo(0, 40000), MakeVideo(NO_VALUE, 40000), MakeVideo(40000, NO_VALUE),
                                MakeVideo(40000, 40000), MakeVideo(NO_VALUE, NO_VALUE)}),
                    80000);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    EXPECT_EQ(log.Count(NO_PTS), 3U);
    EXPECT_TRUE(log.Has(std::string(NO_PTS) + "time=N/A, duration=0:00:00.040000"));
}

TEST(FilterDurationTrimmerVideo, UnchangedItemsPassAsTheSameObjects) {
    auto const source = MakeSource(MakeVideos(3, 40000));
    auto const frames = ReadFrom(*MakeTrimmer(source, 80000), 0);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].get(), source->delivered[0]);
    EXPECT_EQ(frames[1].get(), source->delivered[1]);
}

TEST(FilterDurationTrimmerVideo, ItemsThatOthersHoldAreNotWrittenInto) {
    auto const source = MakeSource({MakeVideo(0, 40000), MakeVideo(40000, 40000), MakeVideo(80000, 10000)});
    source->duration = 90000;
    auto const cache = MakeShared<ScriptedFilter<IStreamVideo>>(source);
    std::vector<iptr<IDataVideo>> held;
    cache->onRead = [&] {
        auto item = source->Read();
        if (item) held.push_back(item);
        return item;
    };
    auto const filter = MakeTrimmer(cache, 200000);
    EXPECT_THAT(ReadFrom(*filter, 10000),
                ElementsAre(IsVideo(10000, 30000), IsVideo(40000, 40000), IsVideo(80000, 40000), IsVideo(120000, 40000),
                            IsVideo(160000, 40000)));
    EXPECT_THAT(held, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 10000)));
    held.clear();
    EXPECT_THAT(ReadFrom(*filter, 180000), ElementsAre(IsVideo(180000, 20000)));
    EXPECT_THAT(held, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 10000)));
}

// --- Settings and failures -------------------------------------------------------------------------------------------

TEST(FilterDurationTrimmerVideo, RatesThatAreNotPositiveAreRefused) {
    for (Ratio const& rate : {Ratio(0, 1), Ratio(-25, 1), Ratio(25, -1)}) {
        auto const source = MakeSource({});
        source->format->SetFrameRate(rate);
        EXPECT_EQ(MessageOf<FilterException>([&] { FilterDurationTrimmerVideo filter(source); }), "Wrong fps!");
        EXPECT_EQ(source->GetRefCountImpl(), 1U);
    }
}

TEST(FilterDurationTrimmerVideo, SourceThatIsNullOrHasNoFormatIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterDurationTrimmerVideo filter(nullptr); }),
              "parentStream is NULL.");
    auto const source = MakeSource({});
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { FilterDurationTrimmerVideo filter(source); }),
              "Source format codec must be present");
}

TEST(FilterDurationTrimmerVideo, RateWhoseFramesOutlastAllNumbersStillWorks) {
    auto const source = MakeSource({MakeVideo(0, 40000)});
    source->format->SetFrameRate(Ratio(1, int64{1} << 61));
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 100000), 0), ElementsAre(IsVideo(0, 100000)));
}

TEST(FilterDurationTrimmerVideo, WrongDurationShowsAtTheFirstReadOfAnItem) {
    for (int64 const duration : {int64{0}, int64{-40000}, MAX_DURATION + 1}) {
        auto const filter = MakeTrimmer(MakeSource(MakeVideos(2, 40000)), duration);
        EXPECT_EQ(filter->GetDuration(), duration);
        Seek(*filter, 0);
        EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }), "Duration is out of (0, MAX_DURATION]");
    }
    EXPECT_THAT(ReadFrom(*MakeTrimmer(MakeSource({}), 0), 0), IsEmpty());
}

TEST(FilterDurationTrimmerVideo, SettingsOfAnotherClassAreRefusedAndNewOnesHoldFromTheNextRead) {
    auto const filter = MakeTrimmer(MakeSource(MakeVideos(10, 40000)), 60000);
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop()), std::bad_cast);
    EXPECT_EQ(filter->GetDuration(), 60000);
    Seek(*filter, 0);
    filter->Read();
    filter->Initialize(SettingsFilterDurationTrimmer(100000));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(40000, 40000), IsVideo(80000, 20000)));
}

TEST(FilterDurationTrimmerVideo, PropertyGoesToTheSourceWithALogLineAndSettingsAreNotOffered) {
    LogLines const log(21);
    auto const source = MakeSource({});
    auto const filter = MakeTrimmer(source, 60000);
    filter->Initialize(Core::Property("Anything"));
    EXPECT_THAT(source->log.Take(), ElementsAre("Initialize(Anything)"));
    EXPECT_THAT(log.Get(google::GLOG_INFO),
                ElementsAre("Deprecated method FilterDurationTrimmerVideo::Initialize is used"));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
}

TEST(FilterDurationTrimmerVideo, FailureOfTheSourcePassesAndASeekMakesTheStreamReadableAgain) {
    auto const filter = MakeTrimmer(
        MakeSource({MakeVideo(0, 40000), Failure<ProcException>("broken"), MakeVideo(40000, 40000)}), 80000);
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "broken");
    EXPECT_THAT(ReadFrom(*filter, 50000), ElementsAre(IsVideo(50000, 30000)));
}

TEST(FilterDurationTrimmerVideo, ReleaseDropsTheHeldFrameAndGoesToTheSource) {
    auto const source = MakeSource(MakeVideos(5, 40000));
    auto const filter = MakeTrimmer(source, 200000);
    Seek(*filter, 0);
    filter->Read();
    source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    // Frame 1 was held; the source goes on with frame 2.
    EXPECT_THAT(filter->Read(), IsVideo(80000, 40000));
}

TEST(FilterDurationTrimmerVideo, FormatStatisticsAndVisitor) {
    auto const source = MakeSource(MakeVideos(2, 40000));
    auto const filter = MakeTrimmer(source, 100000);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    ReadFrom(*filter, 0);
    auto const statistic = filter->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1],
              Core::MakeStatistics("Tarsel::Proc::FilterDurationTrimmerVideo::GetStatistic", 0, 3));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterDurationTrimmerVideo", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
