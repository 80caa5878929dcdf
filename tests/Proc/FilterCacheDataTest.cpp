#include "Proc/Filters/Filters/FilterCacheData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "contracts/Proc/FilterCacheData.h"
#include "tests/support/Builders.h"
#include "tests/support/Joining.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FilterCacheDataTest : public ::testing::Test {
  protected:
    void Make(std::vector<ScriptedVideo::Step> const& steps) {
        source = ScriptedVideo::Create(steps);
        stage = CreateFilterCacheData(source);
    }
    void MakeFrames(int count) {
        source = MakeClip(count);
        stage = CreateFilterCacheData(source);
    }
    Core::Property Statistic() { return stage->GetStatistic().Children().back(); }

    iptr<ScriptedVideo> source;
    iptr<IStreamVideo> stage;
};

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(FilterCacheDataTest, GivesTheSourcesOwnObjectsInOrderThenNull) {
    MakeFrames(50);
    Seek(*stage, 0);
    auto const frames = ReadAll(*stage);
    ASSERT_EQ(frames.size(), 50U);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_THAT(frames[i], IsVideo(static_cast<int64>(i) * 40000, 40000));
        EXPECT_EQ(frames[i].get(), source->delivered[i]);
    }
}

TEST_F(FilterCacheDataTest, GenericReadGivesTheSameFrames) {
    MakeFrames(2);
    IStream& generic = *stage;
    EXPECT_EQ(generic.Read()->GetTime(), 0);
    EXPECT_EQ(generic.Read()->GetTime(), 40000);
    EXPECT_EQ(generic.Read(), nullptr);
}

TEST_F(FilterCacheDataTest, ReadBehindTheEndGivesNullAtOnceAndAsksTheSourceNoMore) {
    MakeFrames(2);
    EXPECT_EQ(ReadAll(*stage).size(), 2U);
    EXPECT_TRUE(stage->IsEndOfStream());
    source->log.Take();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST_F(FilterCacheDataTest, EndOfTheSourceIsMarkedOnTheStageAlone) {
    MakeFrames(1);
    ReadAll(*stage);
    EXPECT_TRUE(stage->IsEndOfStream());
    EXPECT_FALSE(source->IsEndOfStream());
}

TEST_F(FilterCacheDataTest, EmptySourceGivesNull) {
    Make({});
    Seek(*stage, 0);
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(stage->GetPosition(), NO_VALUE);
}

TEST_F(FilterCacheDataTest, FramesWithoutTimeOrDurationPass) {
    Make({MakeVideo(NO_VALUE, 40), MakeVideo(40, NO_VALUE), MakeVideo(80, 40)});
    EXPECT_THAT(stage->Read(), IsVideo(NO_VALUE, 40));
    EXPECT_THAT(stage->Read(), IsVideo(40, NO_VALUE));
    EXPECT_THAT(stage->Read(), IsVideo(80, 40));
    EXPECT_EQ(stage->GetPosition(), 120);
}

// --- Position --------------------------------------------------------------------------------------------------------

TEST_F(FilterCacheDataTest, PositionIsTheEndOfTheLastFrameGivenAlthoughTheSourceIsFurther) {
    MakeFrames(3);
    EXPECT_THAT(stage->Read(), IsVideo(0, 40000));
    EXPECT_EQ(stage->GetPosition(), 40000);
    EXPECT_THAT(stage->Read(), IsVideo(40000, 40000));
    EXPECT_EQ(stage->GetPosition(), 80000);
}

TEST_F(FilterCacheDataTest, PositionBehindASeekIsTheTimeOfTheNextFrameWhichIsStillGiven) {
    MakeFrames(3);
    Seek(*stage, 50000);
    EXPECT_EQ(stage->GetPosition(), 40000);
    EXPECT_EQ(stage->GetPosition(), 40000);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(40000, 40000), IsVideo(80000, 40000)));
    EXPECT_EQ(stage->GetPosition(), 120000);
}

TEST_F(FilterCacheDataTest, PositionAtTheEndHasNoValue) {
    MakeFrames(3);
    Seek(*stage, 120000);
    EXPECT_EQ(stage->GetPosition(), NO_VALUE);
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(stage->GetPosition(), NO_VALUE);
}

TEST_F(FilterCacheDataTest, PositionRethrowsAFailureOnce) {
    Make({Failure<FilterException>("broken")});
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->GetPosition(); }), "broken");
    EXPECT_EQ(stage->GetPosition(), NO_VALUE);
    EXPECT_EQ(stage->Read(), nullptr);
}

// --- Seek, release, end ----------------------------------------------------------------------------------------------

TEST_F(FilterCacheDataTest, SeekLeavesNoFrameOfTheOldPosition) {
    MakeFrames(10);
    for (int64 const target : {320000, 0, 120000, 360000, 40000}) {
        Seek(*stage, target);
        EXPECT_THAT(stage->Read(), IsVideo(target, 40000));
    }
}

TEST_F(FilterCacheDataTest, FrameReadBetweenTheTwoPhasesOfASeekIsForgottenToo) {
    MakeFrames(10);
    stage->Read();
    stage->RequestSeek(320000, nullptr);
    EXPECT_NE(stage->GetPosition(), 320000);
    stage->DoSeek();
    EXPECT_EQ(stage->GetPosition(), 320000);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(320000, 40000), IsVideo(360000, 40000)));
}

TEST_F(FilterCacheDataTest, SeekGoesToTheSourceUnclampedWithItsContext) {
    MakeFrames(2);
    iptr<IRefCountable> const context = MakeClip(1);
    stage->RequestSeek(999999, context);
    stage->DoSeek();
    EXPECT_TRUE(stage->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(999999, context)", "DoSeek", "FinishSeek"));
    EXPECT_EQ(context->GetRefCountImpl(), 1U);
}

TEST_F(FilterCacheDataTest, FinishSeekIsTheSourcesAnswer) {
    class Unready : public ScriptedVideo {
      public:
        Unready() : ScriptedVideo({}) {}
        bool FinishSeek() override { return false; }
    };
    EXPECT_FALSE(CreateFilterCacheData(MakeShared<Unready>())->FinishSeek());
}

TEST_F(FilterCacheDataTest, SeekMakesAnEndedStreamReadableAgain) {
    MakeFrames(3);
    EXPECT_EQ(ReadAll(*stage).size(), 3U);
    Seek(*stage, 80000);
    EXPECT_FALSE(stage->IsEndOfStream());
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(80000, 40000)));
    EXPECT_TRUE(stage->IsEndOfStream());
}

TEST_F(FilterCacheDataTest, ReleaseDropsWhatWasReadAheadAndForwards) {
    MakeFrames(3);
    Seek(*stage, 0);
    EXPECT_EQ(stage->GetPosition(), 0);
    stage->ReleaseInternalData();
    EXPECT_THAT(source->log.Take().back(), "ReleaseInternalData");
    Seek(*stage, 40000);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(40000, 40000), IsVideo(80000, 40000)));
}

TEST_F(FilterCacheDataTest, FramesReadAheadAreGivenBackAtReleaseAndAtDestruction) {
    std::vector<iptr<IDataVideo>> kept;
    class Keeping : public ScriptedVideo {
      public:
        explicit Keeping(std::vector<iptr<IDataVideo>>& kept) : ScriptedVideo({}), kept(kept) {}
        iptr<IDataVideo> Read() override {
            kept.push_back(MakeVideo(int64{40} * static_cast<int64>(kept.size()), 40));
            return kept.back();
        }
        std::vector<iptr<IDataVideo>>& kept;
    };
    stage = CreateFilterCacheData(MakeShared<Keeping>(kept));
    stage->GetPosition();
    stage->ReleaseInternalData();
    for (auto const& frame : kept) EXPECT_EQ(frame->GetRefCountImpl(), 1U);
    stage->Read();
    stage = nullptr;
    for (auto const& frame : kept) EXPECT_EQ(frame->GetRefCountImpl(), 1U);
}

TEST_F(FilterCacheDataTest, EndFromTheHostAheadOfTheFirstReadGivesNullAndReachesTheSource) {
    MakeFrames(3);
    stage->SetEndOfStream();
    EXPECT_TRUE(stage->IsEndOfStream());
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(stage->GetPosition(), NO_VALUE);
    EXPECT_THAT(source->log.Take(), ElementsAre("SetEndOfStream"));
    Seek(*stage, 80000);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(80000, 40000)));
}

// --- The stage itself ------------------------------------------------------------------------------------------------

TEST_F(FilterCacheDataTest, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CreateFilterCacheData(nullptr); }), "parentStream is NULL.");
}

TEST_F(FilterCacheDataTest, NothingIsReadAheadOfTheFirstRead) {
    MakeFrames(3);
    Seek(*stage, 0);
    stage->GetDuration();
    stage->GetFormatCodec();
    stage->GetStatistic();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek"));
}

TEST_F(FilterCacheDataTest, SettingsAreNotOffered) {
    MakeFrames(1);
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->Initialize(Core::Property("Any")); }), "No impl");
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->GetSettings(); }), "No impl");
    auto const functionOf = [](auto call) -> std::string {
        try {
            call();
        } catch (boost::exception const& failure) {
            return *boost::get_error_info<boost::throw_function>(failure);
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(functionOf([&] { stage->Initialize(Core::Property("Any")); }), "Initialize");
    EXPECT_EQ(functionOf([&] { stage->GetSettings(); }), "GetSettings");
}

TEST_F(FilterCacheDataTest, FormatAndDurationAreTheSources) {
    MakeFrames(3);
    EXPECT_EQ(stage->GetDuration(), 120000);
    EXPECT_EQ(stage->GetFormatCodec(), source->format);
    EXPECT_EQ(stage->GetFormatCodecBase(), source->format);
    source->duration = NO_VALUE;
    EXPECT_EQ(stage->GetDuration(), NO_VALUE);
}

TEST_F(FilterCacheDataTest, VisitorsGetNameAndKindAheadOfTheSources) {
    MakeFrames(1);
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    Visitors::DecoderCollector decoders;
    stage->Accept(names);
    stage->Accept(types);
    stage->Accept(decoders);
    EXPECT_THAT(names.names, ElementsAre("FilterCacheData", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
    EXPECT_THAT(decoders.decoders, IsEmpty());
}

TEST_F(FilterCacheDataTest, UnknownKindOfVisitorIsRefused) {
    class Unknown : public IStreamVisitor {
      public:
        int GetType() const override { return 3; }
    } unknown;
    MakeFrames(1);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { stage->Accept(unknown); }), "Unknown visitor type");
}

// --- Statistics ------------------------------------------------------------------------------------------------------

TEST_F(FilterCacheDataTest, StatisticsFollowTheSourcesAndCountWhatWasGiven) {
    MakeFrames(5);
    EXPECT_EQ(stage->Read()->GetTime(), 0);
    stage->Read();
    auto const all = stage->GetStatistic().Children();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].Name(), "ScriptedStream");
    EXPECT_EQ(all[1].Name(), "Tarsel::Proc::FilterCacheData::GetStatistic");
    stage->ReleaseInternalData();  // ends the thread, so that its time stands still
    Core::Property const own = Statistic();
    int64 const time = own["Time"].GetInt64();
    Core::Property expected = Core::MakeStatistics("Tarsel::Proc::FilterCacheData::GetStatistic", time, 2);
    expected.SetChild("Working time of thread", static_cast<double>(time) / 1e6);
    expected.SetChild("acceleration", own["acceleration"].GetDouble());
    EXPECT_EQ(own, expected);
    EXPECT_GT(own["acceleration"].GetDouble(), 0);
}

TEST_F(FilterCacheDataTest, AccelerationIsTheTimeWithoutTheThreadOverTheTimeWithIt) {
    // Waited for all of the work: nothing gained.
    EXPECT_EQ(FilterCacheData::GetAcceleration(10, 10, 10), 1);
    // Work of 5 beside a consumer that took 10 and waited for none of it.
    EXPECT_EQ(FilterCacheData::GetAcceleration(10, 5, 0), 1.5);
    EXPECT_EQ(FilterCacheData::GetAcceleration(10, 8, 2), 1.6);
    // A wait longer than the work: handing over costs something.
    EXPECT_EQ(FilterCacheData::GetAcceleration(10, 1, 6), 0.5);
    EXPECT_EQ(FilterCacheData::GetAcceleration(0, 7, 3), 1);
    EXPECT_EQ(FilterCacheData::GetAcceleration(-1, 7, 3), 1);
}

TEST_F(FilterCacheDataTest, StatisticsAheadOfTheFirstReadAreNoWorkAndNoGain) {
    MakeFrames(5);
    Core::Property expected = Core::MakeStatistics("Tarsel::Proc::FilterCacheData::GetStatistic", 0, 0);
    expected.SetChild("Working time of thread", 0.0).SetChild("acceleration", 1.0);
    EXPECT_EQ(Statistic(), expected);
}

TEST_F(FilterCacheDataTest, CountGoesOnOverSeeksAndLeavesOutNulls) {
    MakeFrames(3);
    ReadAll(*stage);
    stage->Read();
    Seek(*stage, 80000);
    ReadAll(*stage);
    EXPECT_EQ(Statistic()["Count"].GetInt64(), 4);
}

}  // namespace
}  // namespace Tarsel::Proc
