#include "Proc/Filters/Filters/FilterReverseVideo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Proc/Filters/Filters/FilterRegistrator.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/Proc/ReverseSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Every test ends with the process-wide account at 0.
class ReverseVideoTest : public ::testing::Test {
  protected:
    ~ReverseVideoTest() override { EXPECT_EQ(ReverseMemory::GetUsed(), 0); }

    /// All `count` pictures of 40 ms, backwards, each exactly once.
    static void ExpectAllBackwards(IStreamVideo& filter, int count) {
        auto const frames = ReadAll(filter);
        ASSERT_EQ(frames.size(), static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            SCOPED_TRACE(i);
            auto const& frame = frames[static_cast<std::size_t>(i)];
            EXPECT_THAT(frame, IsVideo(i * 40000, 40000));
            EXPECT_EQ(ShadeOf(*frame), static_cast<u8>(count - 1 - i));
        }
    }
    static void ExpectAllBackwards(iptr<SeekingVideo> const& source, int count) {
        auto const filter = ReverseOf(source);
        Seek(*filter, 0);
        ExpectAllBackwards(*filter, count);
    }
};

// --- Construction and settings ---------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, RefusesASourceOfUnknownLength) {
    auto const source = MakePictures(2);
    for (int64 const duration : {NO_VALUE, int64{0}, int64{-1}}) {
        source->duration = duration;
        EXPECT_EQ(MessageOf<FilterException>([&] { ReverseVideo filter(source); }),
                  "Incorrect duration in source stream");
    }
}

TEST_F(ReverseVideoTest, RefusesANullSource) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { ReverseVideo filter(nullptr); }), "parentStream is NULL.");
}

TEST_F(ReverseVideoTest, RefusesSettingsOfAnotherClassAndReleasesTheHalfBuiltFilter) {
    auto const source = MakePictures(2);
    EXPECT_THROW(
        (Details::MakeInitialized<IStreamVideoEx, ReverseVideo>(SettingsFilterLoop(), iptr<IStreamVideo>(source))),
        std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(ReverseVideoTest, RefusesALimitThatIsNotAboveZero) {
    for (int64 const limit : {int64{0}, int64{-1}, NO_VALUE})
        EXPECT_EQ(MessageOf<FilterException>([&] { ReverseOf(MakePictures(2), limit); }), "Wrong settings!");
}

TEST_F(ReverseVideoTest, HasNoPropertyForm) {
    auto const filter = ReverseOf(MakePictures(2));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("any")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
}

TEST_F(ReverseVideoTest, TellsVisitorsItsNameThenItsSource) {
    auto const filter = ReverseOf(MakePictures(2));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterReverse", "SeekingStream"));
    Visitors::FrameTypeCollector types;
    filter->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

TEST_F(ReverseVideoTest, CountsItemsAndTheLargestBuffer) {
    auto const filter = ReverseOf(MakePictures(10));
    Seek(*filter, 0);
    ReadAll(*filter);
    auto const tree = filter->GetStatistic();
    ASSERT_EQ(tree.Children().size(), 2U);
    auto const& own = tree.Children()[1];
    EXPECT_EQ(own.Name(),
              "Tarsel::Proc::FilterReverse<class Tarsel::Proc::IStreamVideo,class Tarsel::Proc::IStreamVideoEx>::"
              "GetStatistic");
    Core::Property expected = Core::MakeStatistics(own.Name(), 0, 10);
    expected.SetChild("Max buffer size", 10 * PICTURE_BYTES);
    expected.SetChild("Thread Time", own["Thread Time"].GetInt64());
    EXPECT_EQ(own, expected);
    EXPECT_GE(own["Thread Time"].GetInt64(), 0);
}

TEST_F(ReverseVideoTest, FormatAndDurationAreTheSources) {
    auto const source = MakePictures(10);
    auto const filter = ReverseOf(source);
    EXPECT_EQ(filter->GetDuration(), 400000);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
}

// --- Switched off ----------------------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, SwitchedOffItIsTransparent) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40), MakeVideo(40, 40), MakeVideo(80, 40)});
    source->duration = 120;
    auto const filter = Details::MakeInitialized<IStreamVideoEx, ReverseVideo>(SettingsFilterReverse(false),
                                                                               iptr<IStreamVideo>(source));
    auto const context = MakeVideo(0, 0);
    filter->RequestSeek(50, context);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(50, context)", "DoSeek", "FinishSeek"));
    EXPECT_EQ(filter->GetPosition(), 40);
    auto const first = filter->Read();
    EXPECT_THAT(first, IsVideo(40, 40));
    EXPECT_EQ(first.get(), source->delivered.at(0));
    EXPECT_EQ(filter->GetPosition(), 80);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(80, 40)));
    filter->SetEndOfStream();
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    EXPECT_EQ(filter->GetStatistic().Children().size(), 2U);
}

TEST_F(ReverseVideoTest, SwitchedOffItAsksTheSourceWhetherASeekIsFinished) {
    auto const source = MakePictures(3);
    auto const filter = Details::MakeInitialized<IStreamVideoEx, ReverseVideo>(SettingsFilterReverse(false),
                                                                               iptr<IStreamVideo>(source));
    EXPECT_FALSE(filter->FinishSeek());
    filter->Initialize(SettingsFilterReverse(true));
    EXPECT_TRUE(filter->FinishSeek());
}

TEST_F(ReverseVideoTest, ChangeOfDirectionTakesEffectWithTheNextSeek) {
    auto const filter = ReverseOf(MakePictures(3));
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
    filter->Initialize(SettingsFilterReverse(false));
    Seek(*filter, 0);
    auto const forwards = ReadAll(*filter);
    ASSERT_EQ(forwards.size(), 3U);
    EXPECT_EQ(ShadeOf(*forwards[0]), 0);
    filter->Initialize(SettingsFilterReverse(true));
    Seek(*filter, 0);
    ExpectAllBackwards(*filter, 3);
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, GivesPicturesLastToFirstAtMirroredTimes) {
    auto const source = MakeShared<SeekingVideo>(
        std::vector<iptr<IDataVideo>>{MakeVideo(0, 30, 1), MakeVideo(30, 50, 2), MakeVideo(80, 20, 3)});
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 20), IsVideo(20, 50), IsVideo(70, 30)));
    EXPECT_EQ(ShadeOf(*frames[0]), 3);
    EXPECT_EQ(ShadeOf(*frames[2]), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), 100);
}

TEST_F(ReverseVideoTest, ReadsThroughChunksOfTwoSecondsBehindAFirstOfOne) {
    auto const source = MakePictures(250);
    ExpectAllBackwards(source, 250);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(9000000)", "RequestSeek(7000000)", "RequestSeek(5000000)",
                                                "RequestSeek(3000000)", "RequestSeek(1000000)", "RequestSeek(0)"));
}

class ReverseLanding : public ReverseVideoTest, public ::testing::WithParamInterface<Landing> {};
INSTANTIATE_TEST_SUITE_P(Landings, ReverseLanding,
                         ::testing::Values(Landing::Containing, Landing::Early, Landing::Late, Landing::Start),
                         LandingName);

TEST_P(ReverseLanding, EveryPictureComesExactlyOnce) {
    ExpectAllBackwards(MakePictures(240, GetParam()), 240);
}

TEST_P(ReverseLanding, EveryPictureComesExactlyOnceFromASourceThatTellsNoPosition) {
    auto const source = MakePictures(240, GetParam());
    source->telling = false;
    ExpectAllBackwards(source, 240);
}

TEST_P(ReverseLanding, EveryPictureWithoutADurationComesExactlyOnceAndGetsOne) {
    auto frames = MakeVideos(240, 40000);
    for (auto const& frame : frames) frame->SetDuration(NO_VALUE);
    auto const source = MakeShared<SeekingVideo>(frames, GetParam());
    source->duration = 240 * 40000;
    ExpectAllBackwards(source, 240);
}

TEST_P(ReverseLanding, EveryPictureComesExactlyOnceWithMemoryForTen) {
    for (int64 const pictures : {1, 2, 10}) {
        auto const filter = ReverseOf(MakePictures(120, GetParam()), pictures * PICTURE_BYTES);
        Seek(*filter, 0);
        ExpectAllBackwards(*filter, 120);
    }
}

TEST_P(ReverseLanding, PicturesOfOddLengthsComeExactlyOnce) {
    std::mt19937 random(7);
    std::vector<iptr<IDataVideo>> frames;
    int64 time = 0;
    for (int i = 0; i < 200; ++i) {
        frames.push_back(MakeVideo(time, 1 + static_cast<int64>(random() % 90000), static_cast<u8>(i)));
        time += frames.back()->GetDuration();
    }
    auto const filter = ReverseOf(MakeShared<SeekingVideo>(frames, GetParam()));
    Seek(*filter, 0);
    auto const reversed = ReadAll(*filter);
    ASSERT_EQ(reversed.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        auto const& frame = frames[frames.size() - 1 - i];
        EXPECT_THAT(reversed[i], IsVideo(time - frame->GetTime() - frame->GetDuration(), frame->GetDuration()));
        EXPECT_EQ(ShadeOf(*reversed[i]), ShadeOf(*frame));
    }
}

TEST_F(ReverseVideoTest, ReversedTwiceItIsTheOriginal) {
    // Lengths that meet the borders of chunks, and lengths that don't; much memory and little.
    for (int64 const duration : {int64{40000}, int64{33367}, int64{41708}, int64{700000}}) {
        for (int64 const pictures : {1, 3, 20, 1000}) {
            SCOPED_TRACE(std::to_string(duration) + " us each, memory for " + std::to_string(pictures));
            int64 const limit = pictures * PICTURE_BYTES;
            auto const filter = ReverseOf(ReverseOf(MakePictures(130, Landing::Containing, duration), limit), limit);
            Seek(*filter, 0);
            auto const frames = ReadAll(*filter);
            ASSERT_EQ(frames.size(), 130U);
            for (int i = 0; i < 130; ++i) {
                ASSERT_THAT(frames[static_cast<std::size_t>(i)], IsVideo(i * duration, duration));
                EXPECT_EQ(ShadeOf(*frames[static_cast<std::size_t>(i)]), i);
            }
        }
    }
}

TEST_F(ReverseVideoTest, GapsStayGaps) {
    auto const source =
        MakeShared<SeekingVideo>(std::vector<iptr<IDataVideo>>{MakeVideo(1000000, 40000), MakeVideo(60000000, 40000)});
    source->duration = 100000000;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(39960000, 40000), IsVideo(98960000, 40000)));
}

TEST_F(ReverseVideoTest, DurationFarBeyondTheLastPictureCostsAFewSeeksOnly) {
    auto const source = MakePictures(50);
    source->duration = std::numeric_limits<int64>::max();
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    ASSERT_EQ(frames.size(), 50U);
    EXPECT_THAT(frames[0], IsVideo(source->duration - 50 * 40000, 40000));
    EXPECT_THAT(frames[49], IsVideo(source->duration - 40000, 40000));
    EXPECT_LT(source->log.Take().size(), 60U);
}

TEST_F(ReverseVideoTest, PicturesBehindTheDurationAreLeftOutAndTheOneAcrossItIsCut) {
    auto const source = MakePictures(5);
    source->duration = 100000;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 20000), IsVideo(20000, 40000), IsVideo(60000, 40000)));
}

TEST_F(ReverseVideoTest, EmptySourceGivesNull) {
    for (Landing const landing : {Landing::Containing, Landing::Late}) {
        auto const source = MakePictures(0, landing);
        source->duration = 60 * SECOND;
        auto const filter = ReverseOf(source);
        Seek(*filter, 0);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    }
}

TEST_F(ReverseVideoTest, PictureWithoutATimeGoesOnBehindTheOneBeforeItAndIsSkippedAtTheStart) {
    auto const source = ScriptedVideo::Create(
        {MakeVideo(NO_VALUE, 40, 1), MakeVideo(40, 40, 2), MakeVideo(NO_VALUE, 40, 3), MakeVideo(120, 40, 4)});
    source->duration = 160;
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40), IsVideo(40, 40), IsVideo(80, 40)));
}

TEST_F(ReverseVideoTest, SourceThatNeverGetsOnIsAFailureAndNoHang) {
    class Standing : public SeekingVideo {
      public:
        Standing() : SeekingVideo({}) { duration = SECOND; }
        iptr<IDataVideo> Read() override { return MakeVideo(5, 0); }
    };
    LogLines const lines(0);
    auto const filter = ReverseOf(MakeShared<Standing>());
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "Source makes no progress in time");
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(ReverseVideoTest, PictureThatOthersHoldStaysAsItIs) {
    class Holding : public SeekingVideo {
      public:
        explicit Holding(iptr<IDataVideo> frame) : SeekingVideo({frame}), frame(std::move(frame)) {}
        iptr<IDataVideo> Read() override { return std::exchange(given, true) ? nullptr : frame; }
        iptr<IDataVideo> frame;
        bool given = false;
    };
    auto const frame = MakeVideo(0, 40);
    auto const source = MakeShared<Holding>(frame);
    source->duration = 30;
    auto const filter = ReverseOf(source);
    Seek(*filter, 10);
    EXPECT_THAT(filter->Read(), IsVideo(10, 20));
    EXPECT_THAT(frame, IsVideo(0, 40));
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, SeekLandsOnThePictureThatHoldsThePosition) {
    auto const filter = ReverseOf(MakePictures(100));
    Seek(*filter, 1010000);
    EXPECT_EQ(filter->GetPosition(), 1010000);
    auto const frame = filter->Read();
    // The part of it that lies behind the position.
    EXPECT_THAT(frame, IsVideo(1010000, 30000));
    EXPECT_EQ(ShadeOf(*frame), 74);
    EXPECT_EQ(filter->GetPosition(), 1040000);
    EXPECT_THAT(filter->Read(), IsVideo(1040000, 40000));
}

TEST_F(ReverseVideoTest, SeekToTheEndOrBeyondGivesNullAndOneBelowZeroStartsAtZero) {
    auto const filter = ReverseOf(MakePictures(10));
    for (int64 const target : {int64{400000}, int64{400001}, std::numeric_limits<int64>::max()}) {
        Seek(*filter, target);
        EXPECT_EQ(filter->GetPosition(), NO_VALUE);
        EXPECT_EQ(filter->Read(), nullptr);
    }
    Seek(*filter, -5);
    ExpectAllBackwards(*filter, 10);
}

TEST_F(ReverseVideoTest, ReadingAfterAnySeekEqualsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        int const count = 1 + static_cast<int>(random() % 200);
        auto const landing =
            std::vector{Landing::Containing, Landing::Early, Landing::Late, Landing::Start}[random() % 4];
        auto const filter =
            ReverseOf(MakePictures(count, landing), static_cast<int64>(1 + random() % 100) * PICTURE_BYTES);
        for (int round = 0; round < 10; ++round) {
            int64 const target = static_cast<int64>(random() % static_cast<unsigned>(count * 40000 + 40000));
            Seek(*filter, target);
            int64 at = std::min<int64>(target, count * 40000);
            if (random() % 2 && at < count * 40000) {
                EXPECT_EQ(filter->GetPosition(), at);
            }
            for (unsigned reads = random() % 60; reads != 0; --reads) {
                auto const frame = filter->Read();
                if (at >= count * 40000) {
                    EXPECT_EQ(frame, nullptr);
                    break;
                }
                // Only the first picture is shorter, where the position lies inside it.
                int64 const end = (at / 40000 + 1) * 40000;
                ASSERT_THAT(frame, IsVideo(at, end - at));
                EXPECT_EQ(ShadeOf(*frame), static_cast<u8>(count - at / 40000 - 1));
                at = end;
            }
        }
    }
}

TEST_F(ReverseVideoTest, AfterAReleaseReadingGoesOnWithoutASeek) {
    auto const source = MakePictures(20);
    auto const filter = ReverseOf(source);
    Seek(*filter, 200000);
    filter->ReleaseInternalData();
    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    EXPECT_THAT(filter->Read(), IsVideo(200000, 40000));
    EXPECT_THAT(filter->Read(), IsVideo(240000, 40000));
    filter->ReleaseInternalData();
    EXPECT_THAT(filter->Read(), IsVideo(280000, 40000));
}

TEST_F(ReverseVideoTest, SeekWhileTheStreamIsMarkedAsEndedStartsNoThread) {
    auto const source = MakePictures(20);
    auto const filter = ReverseOf(source);
    filter->RequestSeek(0, nullptr);
    filter->SetEndOfStream();
    filter->DoSeek();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_TRUE(source->log.Take().empty());
    Seek(*filter, 0);
    EXPECT_FALSE(filter->IsEndOfStream());
    ExpectAllBackwards(*filter, 20);
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, FailureComesBehindTheChunksThatWereReadBeforeItWithItsClass) {
    LogLines const lines(0);
    auto const source = MakePictures(100);
    source->failAt = 30;  // inside the third chunk from the end, which is [1 s, 3 s) minus what the first two hold
    source->failure = Failure<Core::IOException>("broken");
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    for (int i = 0; i < 25; ++i) ASSERT_THAT(filter->Read(), IsVideo(i * 40000, 40000));
    EXPECT_EQ(MessageOf<Core::IOException>([&] { filter->Read(); }), "broken");
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    auto const errors = lines.Get(google::GLOG_ERROR);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_THAT(errors[0], StartsWith("FilterReverse background reading thread exception:"));
    EXPECT_THAT(errors[0], HasSubstr("broken"));
    Seek(*filter, 0);
    ExpectAllBackwards(*filter, 100);
}

TEST_F(ReverseVideoTest, FailureReachesGetPositionToo) {
    LogLines const lines(0);
    auto const source = MakePictures(10);
    source->failAt = 3;
    source->failure = Failure<FilterException>("broken");
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetPosition(); }), "broken");
    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
}

// --- Memory ----------------------------------------------------------------------------------------------------------

TEST_F(ReverseVideoTest, MemoryStaysWithinTheLimitByOnePictureWhereChunksFit) {
    constexpr int64 LIMIT = 40 * PICTURE_BYTES;
    for (Landing const landing : {Landing::Containing, Landing::Early, Landing::Late, Landing::Start}) {
        auto const filter = ReverseOf(MakePictures(300, landing), LIMIT);
        Seek(*filter, 0);
        ASSERT_EQ(ReadAll(*filter).size(), 300U);
        EXPECT_LE(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), LIMIT + PICTURE_BYTES);
    }
}

TEST_F(ReverseVideoTest, MemoryGoesAboveTheLimitByOneChunkWhenTheFormatTellsASmallerPicture) {
    auto const source = MakePictures(100);
    source->format->InitByPixelAspect(2, 2, 1, 1);
    auto const filter = ReverseOf(source, PICTURE_BYTES);
    Seek(*filter, 0);
    ExpectAllBackwards(*filter, 100);
    EXPECT_GT(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), PICTURE_BYTES);
    EXPECT_LE(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), 51 * PICTURE_BYTES);
}

TEST_F(ReverseVideoTest, SourceWithoutAFrameRateOrAPictureFormatWorks) {
    auto const source = MakePictures(100);
    source->format = Conf::IFormatCodecVideo::Create();
    ExpectAllBackwards(source, 100);
}

TEST_F(ReverseVideoTest, TwoFiltersShareTheLimitAndBothGoOn) {
    constexpr int64 LIMIT = 20 * PICTURE_BYTES;
    auto const first = ReverseOf(MakePictures(200), LIMIT);
    auto const second = ReverseOf(MakePictures(200), LIMIT);
    Seek(*first, 0);
    Seek(*second, 0);
    for (int i = 0; i < 200; ++i) {
        ASSERT_THAT(first->Read(), IsVideo(i * 40000, 40000));
        if (i % 2) continue;
        ASSERT_THAT(second->Read(), IsVideo(i / 2 * 40000, 40000));
    }
    EXPECT_EQ(first->Read(), nullptr);
    // The second alone is read to its end while the first one holds nothing.
    for (int i = 100; i < 200; ++i) ASSERT_THAT(second->Read(), IsVideo(i * 40000, 40000));
}

TEST_F(ReverseVideoTest, AFilterThatNobodyReadsDoesNotStopTheOther) {
    constexpr int64 LIMIT = 20 * PICTURE_BYTES;
    auto const idle = ReverseOf(MakePictures(200), LIMIT);
    Seek(*idle, 0);
    EXPECT_THAT(idle->Read(), IsVideo(0, 40000));
    auto const busy = ReverseOf(MakePictures(200), LIMIT);
    Seek(*busy, 0);
    ExpectAllBackwards(*busy, 200);
}

TEST_F(ReverseVideoTest, AccountReturnsToZeroAfterSeeksReleasesFailuresAndDestruction) {
    LogLines const lines(0);
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const source = MakePictures(100);
        source->failure = Failure<FilterException>("broken");
        auto filter = ReverseOf(source, static_cast<int64>(1 + random() % 40) * PICTURE_BYTES);
        for (int step = 0; step < 20; ++step) {
            switch (random() % 4) {
                case 0:
                    Seek(*filter, static_cast<int64>(random() % 4000000));
                    break;
                case 1:
                    filter->ReleaseInternalData();
                    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
                    source->failAt = random() % 100;
                    break;
                default:
                    try {
                        for (unsigned reads = random() % 40; reads != 0; --reads) filter->Read();
                    } catch (FilterException const&) {
                    }
            }
        }
        filter = nullptr;
        EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    }
}

/// How far the first chunk reaches back when so much of the limit is in use.
int64 FirstStep(int64 used, int64 limit, Ratio const& rate) {
    auto const source = MakePictures(1000);
    source->format->SetFrameRate(rate);
    ReverseMemory::Share const others(used * PICTURE_BYTES);
    auto const filter = ReverseOf(source, limit * PICTURE_BYTES);
    Seek(*filter, 0);
    filter->Read();
    auto const calls = source->log.Take();
    return source->duration - std::stoll(calls.at(0).substr(std::string("RequestSeek(").size()));
}

TEST_F(ReverseVideoTest, TheFullerTheMemoryTheShorterTheStepBack) {
    std::vector<std::pair<int64, int64>> const steps{{0, SECOND},    {6999, SECOND}, {7000, 800000}, {7500, 600000},
                                                     {8000, 400000}, {8500, 200000}, {8999, 200000}, {9000, 100000}};
    for (auto const& [used, step] : steps) EXPECT_EQ(FirstStep(used, 10000, Ratio(25, 1)), step) << used;
}

TEST_F(ReverseVideoTest, AStepBackFitsIntoAShareOfTheFreeMemory) {
    EXPECT_EQ(FirstStep(50, 100, Ratio(25, 1)), 50 * 40000 * 8 / 10 / 3);
    EXPECT_EQ(FirstStep(72, 100, Ratio(25, 1)), 28 * 40000 * 8 / 10 / 2);
    EXPECT_EQ(FirstStep(86, 100, Ratio(250, 1)), 14 * 4000 * 8 / 10);
}

TEST_F(ReverseVideoTest, StepsBackShrinkWhileMostPicturesAreReadForNothing) {
    // Pictures of two seconds, with three that nobody can place ahead of each, then a second of ordinary ones.
    std::vector<iptr<IDataVideo>> frames;
    for (int64 i = 0; i < 8; ++i) {
        for (int n = 0; n < 3; ++n) frames.push_back(MakeVideo(NO_VALUE, NO_VALUE));
        frames.push_back(MakeVideo(i * 2 * SECOND, 2 * SECOND));
    }
    for (int64 i = 0; i < 25; ++i) frames.push_back(MakeVideo(16 * SECOND + i * 40000, 40000));
    auto const source = MakeShared<SeekingVideo>(frames, Landing::Early);
    source->format->SetFrameRate(25, 1);
    auto const filter = ReverseOf(source);
    Seek(*filter, 0);
    ReadAll(*filter);
    std::vector<std::string> expected;
    int64 end = source->duration;
    for (int64 const step : {100, 200, 180, 160, 140, 120, 100, 100}) {
        expected.push_back("RequestSeek(" + std::to_string(end - step * 10000) + ")");
        // The first chunk lands ahead of its place and takes the picture there with it.
        end = end == source->duration ? 14 * SECOND : end - 2 * SECOND;
    }
    auto calls = source->log.Take();
    calls.resize(std::min(calls.size(), expected.size()));
    EXPECT_EQ(calls, expected);
}

}  // namespace
}  // namespace Tarsel::Proc
