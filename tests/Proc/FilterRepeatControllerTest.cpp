#include "Proc/Filters/Filters/FilterRepeatController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Proc/Filters/Filters/OneFrameRepeater.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

Core::Property MakeSetup(int64 duration, char const* mode = IFilterRepeatController::REPEAT_MODE_LAST) {
    return Core::Property(IFilterRepeatController::CLASS_ID)
        .SetChild(IFilterRepeatController::REDEFINE_DURATION, duration)
        .SetChild(IFilterRepeatController::REPEAT_MODE, mode);
}

iptr<IFilterRepeatController> MakeController(int64 duration) {
    auto controller = FilterRepeatController::Create();
    controller->Initialize(MakeSetup(duration));
    return controller;
}

/// Two pictures; the first is the one that is repeated.
iptr<ScriptedVideo> MakeClip() {
    auto source = ScriptedVideo::Create({MakeVideo(5, 40, 1), MakeVideo(45, 40, 2)});
    source->duration = 85;
    return source;
}

int Shade(IDataVideo const& picture) {
    return *picture.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

TEST(FilterRepeatController, PropertyOfAnotherNameIsRefused) {
    auto const controller = FilterRepeatController::Create();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->Initialize(Core::Property("x")); }),
              "incorrect controller name");
    EXPECT_EQ(controller->GetRedefineDuration(), 0);
}

TEST(FilterRepeatController, UnknownModeIsRefused) {
    auto const controller = FilterRepeatController::Create();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->Initialize(MakeSetup(100, "First")); }),
              "incorrect repeat mode");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->Initialize(MakeSetup(100, "")); }),
              "incorrect repeat mode");
}

TEST(FilterRepeatController, MissingOrUnreadableChildIsNamed) {
    auto const controller = FilterRepeatController::Create();
    auto const noDuration = MessageOf<Core::CoreException>(
        [&] { controller->Initialize(Core::Property(IFilterRepeatController::CLASS_ID)); });
    EXPECT_THAT(noDuration, ::testing::HasSubstr(IFilterRepeatController::REDEFINE_DURATION));
    auto const noNumber = MessageOf<Core::CoreException>(
        [&] { controller->Initialize(MakeSetup(1).SetChild(IFilterRepeatController::REDEFINE_DURATION, "soon")); });
    EXPECT_THAT(noNumber, ::testing::HasSubstr(IFilterRepeatController::REDEFINE_DURATION));
}

TEST(FilterRepeatController, GivesTheDurationThatItWasInitializedWith) {
    EXPECT_EQ(MakeController(100)->GetRedefineDuration(), 100);
}

TEST(FilterRepeatController, StreamAddedTwiceIsRefusedAndTheListStaysAsItWas) {
    auto const controller = MakeController(100);
    iptr<IStreamVideo> const video = MakeClip();
    iptr<IStreamAudio> const audio = ScriptedAudio::Create({});
    iptr<IStreamSubtitle> const subtitle = ScriptedSubtitle::Create({});
    auto const a = controller->AddStream(video);
    auto const b = controller->AddStream(audio);
    auto const c = controller->AddStream(subtitle);
    char const* const message = "This stream is already added into current FilterRepeatController object";
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(video); }), message);
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(audio); }), message);
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(subtitle); }), message);
    EXPECT_EQ(video->GetRefCountImpl(), 3U);  // here, in the wrapper, in the list
    EXPECT_EQ(controller->GetRefCountImpl(), 4U);
}

TEST(FilterRepeatController, StreamWhoseWrapperIsGoneCanBeAddedAgain) {
    auto const controller = MakeController(100);
    iptr<IStreamVideo> const video = MakeClip();
    controller->AddStream(video);
    EXPECT_EQ(video->GetRefCountImpl(), 1U);
    EXPECT_NE(controller->AddStream(video), nullptr);
}

TEST(FilterRepeatController, RawStreamIsRefusedWhateverTheModeIs) {
    char const* const message = "FilterRepeatController: raw streams are not supported";
    for (auto const& controller : {MakeController(100), FilterRepeatController::Create()}) {
        EXPECT_EQ(
            MessageOf<std::logic_error>([&] { controller->AddStream(iptr<IStreamRaw>(ScriptedRaw::Create({}))); }),
            message);
    }
}

TEST(FilterRepeatController, WithoutAModeStreamsAreRefused) {
    auto const controller = FilterRepeatController::Create();
    iptr<IStreamVideo> const video = MakeClip();
    char const* const message = "Repeat mode is not implemented in FilterRepeatController object";
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(video); }), message);
    EXPECT_THROW(controller->Initialize(MakeSetup(100, "First")), std::invalid_argument);
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(video); }), message);
    EXPECT_EQ(video->GetRefCountImpl(), 1U);
    controller->Initialize(MakeSetup(100));
    EXPECT_NE(controller->AddStream(video), nullptr);
}

TEST(FilterRepeatController, NullStreamIsRefusedAndLeavesTheListAsItWas) {
    auto const controller = MakeController(100);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamAudio>()); }),
                  "parentStream is NULL.");
    EXPECT_EQ(controller->GetRefCountImpl(), 1U);
}

TEST(FilterRepeatController, ThereAreNoSettingsButTheProperty) {
    EXPECT_EQ(MessageOf<FilterException>([] { MakeController(1)->UpdateSettings(SettingsFilterRepeat()); }),
              "Method not implemented");
}

TEST(FilterRepeatController, ControllerWrapperAndSourceAreFreedWhicheverGoesFirst) {
    int const before = ScriptedVideo::GetLiveCount();
    {
        auto controller = MakeController(100);
        iptr<IStreamVideo> wrapper = controller->AddStream(iptr<IStreamVideo>(MakeClip()));
        EXPECT_EQ(ScriptedVideo::GetLiveCount(), before + 1);
        EXPECT_EQ(controller->GetRefCountImpl(), 2U);
        controller = nullptr;
        EXPECT_THAT(wrapper->Read(), IsVideo(0, 40));
        wrapper = nullptr;
        EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
    }
    auto const controller = MakeController(100);
    {
        auto const wrapper = controller->AddStream(iptr<IStreamVideo>(MakeClip()));
        auto const other = controller->AddStream(iptr<IStreamVideo>(MakeClip()));
        EXPECT_EQ(ScriptedVideo::GetLiveCount(), before + 2);
    }
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
    EXPECT_EQ(controller->GetRefCountImpl(), 1U);
}

TEST(FilterRepeatController, WrapperOfAWrapperIsFreedToo) {
    int const before = ScriptedVideo::GetLiveCount();
    auto const controller = MakeController(100);
    iptr<IStreamVideo> outer = controller->AddStream(controller->AddStream(iptr<IStreamVideo>(MakeClip())));
    EXPECT_THAT(outer->Read(), IsVideo(0, 40));
    outer = nullptr;
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
    EXPECT_EQ(controller->GetRefCountImpl(), 1U);
}

TEST(OneFrameRepeater, RepeatsOneItemWithAdvancingTimesUntilTheDurationIsReached) {
    auto const source = MakeClip();
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(source));
    Seek(*stream, 0);
    auto const items = ReadAll(*stream);
    // The last one reaches beyond the duration: it isn't cut.
    EXPECT_THAT(items, ElementsAre(IsVideo(0, 40), IsVideo(40, 40), IsVideo(80, 40)));
    for (auto const& item : items) EXPECT_EQ(Shade(*item), 1);
    EXPECT_EQ(stream->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read"));
}

TEST(OneFrameRepeater, EachItemIsANewObjectThatSharesThePayload) {
    auto const source = MakeClip();
    auto const stream = MakeController(80)->AddStream(iptr<IStreamVideo>(source));
    auto const items = ReadAll(*stream);
    ASSERT_THAT(items, SizeIs(2));
    EXPECT_NE(items[0], items[1]);
    EXPECT_NE(items[0].get(), source->delivered[0]);
    EXPECT_EQ(items[0]->GetPlaneConst(0).GetOffsetPtr(0, 0), items[1]->GetPlaneConst(0).GetOffsetPtr(0, 0));
}

TEST(OneFrameRepeater, ItemThatOthersHoldKeepsItsTime) {
    iptr<IDataVideo> const held = MakeVideo(7, 40);
    auto const inner = MakeShared<ScriptedFilter<IStreamVideo>>(ScriptedVideo::Create({}));
    inner->onRead = [&] { return held; };
    auto const stream = MakeController(80)->AddStream(iptr<IStreamVideo>(inner));
    EXPECT_THAT(ReadAll(*stream), ElementsAre(IsVideo(0, 40), IsVideo(40, 40)));
    EXPECT_THAT(held, IsVideo(7, 40));
}

TEST(OneFrameRepeater, SoundAndSubtitlesRepeatAlike) {
    auto const controller = MakeController(25000);
    auto const audio = controller->AddStream(iptr<IStreamAudio>(ScriptedAudio::Create({MakeAudio(100, 480)})));
    EXPECT_THAT(ReadAll(*audio), ElementsAre(IsAudio(0, 480), IsAudio(10000, 480), IsAudio(20000, 480)));
    auto const subtitle =
        controller->AddStream(iptr<IStreamSubtitle>(ScriptedSubtitle::Create({MakeSubtitle(9, 20000)})));
    EXPECT_THAT(ReadAll(*subtitle), ElementsAre(IsSubtitle(0, 20000), IsSubtitle(20000, 20000)));
}

TEST(OneFrameRepeater, SeekToFiveOfTenSecondsReadsOnFromThereWithThePictureThatIsHeld) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, SECOND, 1), MakeVideo(SECOND, SECOND, 2)});
    source->duration = 2 * SECOND;
    auto const stream = MakeController(10 * SECOND)->AddStream(iptr<IStreamVideo>(source));
    EXPECT_EQ(stream->GetDuration(), 10 * SECOND);
    Seek(*stream, 0);
    EXPECT_THAT(stream->Read(), IsVideo(0, SECOND));
    source->log.Take();
    Seek(*stream, 5 * SECOND);
    EXPECT_EQ(stream->GetPosition(), 5 * SECOND);
    auto const items = ReadAll(*stream);
    EXPECT_THAT(items,
                ElementsAre(IsVideo(5 * SECOND, SECOND), IsVideo(6 * SECOND, SECOND), IsVideo(7 * SECOND, SECOND),
                            IsVideo(8 * SECOND, SECOND), IsVideo(9 * SECOND, SECOND)));
    for (auto const& item : items) EXPECT_EQ(Shade(*item), 1);
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST(OneFrameRepeater, SeekBehindTheDurationReadsNothing) {
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(MakeClip()));
    Seek(*stream, 1000);
    EXPECT_EQ(stream->Read(), nullptr);
}

TEST(OneFrameRepeater, OnlyASeekToExactlyZeroReachesTheSourceInBothPhases) {
    auto const source = MakeClip();
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(source));
    stream->DoSeek();
    Seek(*stream, 1);
    Seek(*stream, -1);
    Seek(*stream, NO_VALUE);
    EXPECT_THAT(source->log.Take(), IsEmpty());
    stream->RequestSeek(0, source);
    stream->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0, context)", "DoSeek"));
    stream->RequestSeek(50, source);
    stream->DoSeek();
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST(OneFrameRepeater, SeekToZeroKeepsTheItem) {
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(MakeClip()));
    stream->Read();
    Seek(*stream, 0);
    auto const again = stream->Read();
    EXPECT_THAT(again, IsVideo(0, 40));
    EXPECT_EQ(Shade(*again), 1);
}

TEST(OneFrameRepeater, SeekBetweenTwoItemsBeginsExactlyThereUnlikeReadingStraightThrough) {
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(MakeClip()));
    Seek(*stream, 30);
    EXPECT_THAT(ReadAll(*stream), ElementsAre(IsVideo(30, 40), IsVideo(70, 40)));
    for (int64 const start : {int64(0), int64(40), int64(80)}) {
        Seek(*stream, start);
        EXPECT_THAT(ReadAll(*stream), SizeIs(static_cast<std::size_t>(3 - start / 40)));
    }
}

TEST(OneFrameRepeater, ItemOfNoDurationNeverAdvances) {
    for (int64 const duration : {int64(0), int64(-40), NO_VALUE}) {
        auto const stream =
            MakeController(100)->AddStream(iptr<IStreamVideo>(ScriptedVideo::Create({MakeVideo(0, duration)})));
        Seek(*stream, 20);
        for (int i = 0; i < 1000; ++i) ASSERT_THAT(stream->Read(), IsVideo(20, duration));
    }
}

TEST(OneFrameRepeater, EmptySourceGivesNullAndIsAskedAgain) {
    auto const source = ScriptedVideo::Create({nullptr, MakeVideo(0, 60)});
    auto const stream = MakeController(100)->AddStream(iptr<IStreamVideo>(source));
    EXPECT_EQ(stream->Read(), nullptr);
    EXPECT_THAT(ReadAll(*stream), ElementsAre(IsVideo(0, 60), IsVideo(60, 60)));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "Read"));
}

TEST(OneFrameRepeater, DurationThatIsNotPositiveGivesNothing) {
    for (int64 const duration : {int64(0), int64(-1)}) {
        auto const source = MakeClip();
        auto const stream = MakeController(duration)->AddStream(iptr<IStreamVideo>(source));
        EXPECT_EQ(stream->Read(), nullptr);
        EXPECT_THAT(source->log.Take(), IsEmpty());
    }
}

TEST(OneFrameRepeater, FailureOfTheSourceComesThroughAndItIsAskedAgain) {
    auto const stream = MakeController(60)->AddStream(
        iptr<IStreamVideo>(ScriptedVideo::Create({Failure<ProcException>("broken"), MakeVideo(0, 60)})));
    EXPECT_EQ(MessageOf<ProcException>([&] { stream->Read(); }), "broken");
    EXPECT_THAT(ReadAll(*stream), ElementsAre(IsVideo(0, 60)));
}

TEST(OneFrameRepeater, PropertyFormsAreNotImplementedAndTheFormatIsTheSources) {
    auto const source = MakeClip();
    auto const stream = MakeController(60)->AddStream(iptr<IStreamVideo>(source));
    EXPECT_EQ(MessageOf<FilterException>([&] { stream->Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { stream->GetSettings(); }), "Method not implemented");
    EXPECT_EQ(stream->GetFormatCodec(), source->format);
}

TEST(OneFrameRepeater, StatisticsAreNamedByKindAndCountReadsThatTheSourceLeftEmptyToo) {
    auto const controller = MakeController(50);
    auto const video = controller->AddStream(iptr<IStreamVideo>(ScriptedVideo::Create({nullptr, MakeVideo(0, 40)})));
    for (int i = 0; i < 5; ++i) video->Read();
    auto const nodes = video->GetStatistic().Children();
    ASSERT_THAT(nodes, SizeIs(2));
    EXPECT_EQ(nodes[0].Name(), "ScriptedStream");
    EXPECT_EQ(nodes[1], Core::MakeStatistics(
                            "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamVideo>::GetStatistic", 0, 3));
    auto const audio = controller->AddStream(iptr<IStreamAudio>(ScriptedAudio::Create({})));
    EXPECT_EQ(audio->GetStatistic().Children().back().Name(),
              "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamAudio>::GetStatistic");
    auto const subtitle = controller->AddStream(iptr<IStreamSubtitle>(ScriptedSubtitle::Create({})));
    EXPECT_EQ(subtitle->GetStatistic().Children().back().Name(),
              "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamSubtitle>::GetStatistic");
}

TEST(OneFrameRepeater, VisitorMeetsAPlainFilter) {
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    auto const stream = MakeController(50)->AddStream(iptr<IStreamSubtitle>(ScriptedSubtitle::Create({})));
    stream->Accept(names);
    stream->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("OneFrameRepeater", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
