#include "Proc/Filters/Filters/FilterSeekController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/SeekControllerStreamImpl.h"
#include "tests/support/Builders.h"
#include "tests/support/Joining.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Uncuttable.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char REFUSED[] = "Seek is disabled for this stream. You have to use FilterSeekController.";

/// Ten blocks of 10 ms, at 48 kHz.
iptr<ScriptedAudio> MakeSound(int64 duration, int64 firstTime = 0) {
    std::vector<iptr<IDataAudio>> blocks;
    for (int64 time = firstTime; time < duration; time += 10000) blocks.push_back(MakeAudio(time, 480));
    auto sound = ScriptedAudio::Create(blocks);
    sound->duration = duration;
    return sound;
}

iptr<FilterSeekController> MakeController() {
    return MakeShared<FilterSeekController>();
}

// --- Seek ------------------------------------------------------------------------------------------------------------

TEST(FilterSeekController, SeekMovesAllStreamsTogether) {
    auto const video = MakeClip(3);
    auto const sound = MakeSound(120000);
    auto const controller = MakeController();
    auto const pictures = controller->AddStream(iptr<IStreamVideo>(video));
    auto const blocks = controller->AddStream(iptr<IStreamAudio>(sound));
    controller->Seek(80000);
    EXPECT_EQ(pictures->GetPosition(), 80000);
    EXPECT_EQ(blocks->GetPosition(), 80000);
    EXPECT_THAT(ReadAll(*pictures), ElementsAre(IsVideo(80000, 40000)));
    EXPECT_EQ(ReadAll(*blocks).size(), 4U);
    controller->Seek(0);
    EXPECT_EQ(ReadAll(*pictures).size(), 3U);
    EXPECT_EQ(ReadAll(*blocks).size(), 12U);
}

TEST(FilterSeekController, AllSourcesAreAskedBeforeTheFirstOneMoves) {
    auto const first = MakeClip(3), second = MakeClip(3);
    std::vector<std::string> order;
    auto const watch = [&](iptr<ScriptedVideo> const& clip, char const* name) {
        auto stream = WithPosition(clip);
        stream->onRequestSeek = [&order, name](int64 position) {
            order.push_back(std::string(name) + " is asked for " + std::to_string(position));
        };
        return stream;
    };
    auto const a = watch(first, "first"), b = watch(second, "second");
    auto const controller = MakeController();
    auto const keepA = controller->AddStream(iptr<IStreamVideo>(a));
    auto const keepB = controller->AddStream(iptr<IStreamVideo>(b));
    controller->Seek(40000);
    EXPECT_THAT(order, ElementsAre("first is asked for 40000", "second is asked for 40000"));
    EXPECT_THAT(a->log->Take(), ElementsAre("RequestSeekInternal(40000)", "DoSeekInternal"));
    EXPECT_THAT(b->log->Take(), ElementsAre("RequestSeekInternal(40000)", "DoSeekInternal"));
}

TEST(FilterSeekController, WhatWasReadAheadIsDroppedByASeek) {
    auto const video = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    controller->Seek(0);
    EXPECT_EQ(wrapper->GetPosition(), 0);
    wrapper->SetEndOfStream();
    EXPECT_TRUE(wrapper->IsEndOfStream());
    controller->Seek(80000);
    EXPECT_FALSE(wrapper->IsEndOfStream());
    EXPECT_THAT(wrapper->Read(), IsVideo(80000, 40000));
}

TEST(FilterSeekController, RepeatedSeekDoesNothingWhileAWrapperStandsAtThePosition) {
    auto const video = MakeClip(3);
    auto const sound = MakeSound(120000);
    auto const controller = MakeController();
    auto const pictures = controller->AddStream(iptr<IStreamVideo>(video));
    auto const blocks = controller->AddStream(iptr<IStreamAudio>(sound));
    controller->Seek(40000);
    video->log.Take();
    sound->log.Take();
    controller->Seek(40000);
    // The first wrapper's position is asked for, and answers for all.
    EXPECT_THAT(video->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(sound->log.Take(), IsEmpty());
    // Reading on with one of them leaves the other one there.
    EXPECT_THAT(pictures->Read(), IsVideo(40000, 40000));
    controller->Seek(40000);
    EXPECT_THAT(sound->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(pictures->Read(), IsVideo(80000, 40000));
    EXPECT_THAT(blocks->Read(), IsAudio(40000, 480));
    // Now none stands there.
    controller->Seek(40000);
    EXPECT_THAT(sound->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek"));
    EXPECT_THAT(pictures->Read(), IsVideo(40000, 40000));
}

TEST(FilterSeekController, RepeatedSeekIsCarriedOutWhereTheSourcesReachOnlyANearbyPosition) {
    auto const video = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    controller->Seek(50000);
    EXPECT_EQ(wrapper->GetPosition(), 40000);
    video->log.Take();
    controller->Seek(50000);
    EXPECT_THAT(video->log.Take(), ElementsAre("RequestSeek(50000)", "DoSeek"));
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
}

TEST(FilterSeekController, FirstSeekIsAlwaysCarriedOutUnlessItIsToNoValue) {
    auto const video = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    // Even where the source stands there already.
    EXPECT_EQ(wrapper->GetPosition(), 0);
    video->log.Take();
    controller->Seek(0);
    EXPECT_THAT(video->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));

    auto const empty = ScriptedVideo::Create({});
    auto const other = MakeController();
    auto const nothing = other->AddStream(iptr<IStreamVideo>(empty));
    other->Seek(NO_VALUE);
    // At the end its position has no value either.
    EXPECT_THAT(empty->log.Take(), ElementsAre("Read"));
}

TEST(FilterSeekController, SeekWithoutStreamsIsRememberedAndTouchesNothing) {
    auto const controller = MakeController();
    controller->Seek(40000);
    auto const video = MakeClip(3);
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    video->RequestSeek(40000, nullptr);
    video->DoSeek();
    video->log.Take();
    // The position is that of the last seek, and the stream stands there.
    controller->Seek(40000);
    EXPECT_THAT(video->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
}

TEST(FilterSeekController, StreamAddedBehindASeekIsNotPositionedByARepeatOfIt) {
    auto const video = MakeClip(3), late = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    controller->Seek(80000);
    auto const lateWrapper = controller->AddStream(iptr<IStreamVideo>(late));
    controller->Seek(80000);
    EXPECT_THAT(late->log.Take(), IsEmpty());
    EXPECT_THAT(lateWrapper->Read(), IsVideo(0, 40000));
    EXPECT_THAT(wrapper->Read(), IsVideo(80000, 40000));
    // By way of another position it gets there.
    controller->Seek(0);
    controller->Seek(80000);
    EXPECT_THAT(lateWrapper->Read(), IsVideo(80000, 40000));
}

TEST(FilterSeekController, RepeatedSeekIsCarriedOutForAStreamAddedBehindItOnceNoOtherOneStandsThere) {
    auto const video = MakeClip(3), late = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    controller->Seek(80000);
    EXPECT_THAT(wrapper->Read(), IsVideo(80000, 40000));
    auto const lateWrapper = controller->AddStream(iptr<IStreamVideo>(late));
    controller->Seek(80000);
    EXPECT_THAT(wrapper->Read(), IsVideo(80000, 40000));
    EXPECT_THAT(lateWrapper->Read(), IsVideo(80000, 40000));
}

TEST(FilterSeekController, StreamAlreadyReadOnIsNotBroughtBackByARepeatedSeekWhileAnotherOneStandsThere) {
    auto const video = MakeClip(3);
    auto const sound = MakeSound(120000);
    auto const controller = MakeController();
    auto const pictures = controller->AddStream(iptr<IStreamVideo>(video));
    auto const blocks = controller->AddStream(iptr<IStreamAudio>(sound));
    controller->Seek(0);
    EXPECT_THAT(pictures->Read(), IsVideo(0, 40000));
    controller->Seek(0);
    EXPECT_THAT(pictures->Read(), IsVideo(40000, 40000));
    EXPECT_THAT(blocks->Read(), IsAudio(0, 480));
    // A new controller would move both, as would a seek to elsewhere in between.
    controller->Seek(80000);
    controller->Seek(0);
    EXPECT_THAT(pictures->Read(), IsVideo(0, 40000));
    EXPECT_THAT(blocks->Read(), IsAudio(0, 480));
}

TEST(FilterSeekController, StreamThatWasReadAndReleasedComesBackWithItsNextReadBehindARepeatedSeek) {
    auto const video = MakeClip(3), other = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    auto const otherWrapper = controller->AddStream(iptr<IStreamVideo>(other));
    controller->Seek(40000);
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
    wrapper->ReleaseInternalData();
    controller->Seek(40000);
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
    EXPECT_THAT(wrapper->Read(), IsVideo(80000, 40000));
    EXPECT_THAT(other->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek", "Read"));
    EXPECT_THAT(otherWrapper->Read(), IsVideo(40000, 40000));
}

TEST(FilterSeekController, StreamThatWasReleasedUnreadIsNotSoughtByARepeatedSeek) {
    auto const video = MakeClip(3), other = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    auto const otherWrapper = controller->AddStream(iptr<IStreamVideo>(other));
    controller->Seek(40000);
    otherWrapper->ReleaseInternalData();
    controller->Seek(40000);
    EXPECT_THAT(otherWrapper->Read(), IsVideo(40000, 40000));
    EXPECT_THAT(other->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek", "ReleaseInternalData", "Read"));
}

TEST(FilterSeekController, DurationsMustBeEqualToTheMicrosecond) {
    for (int64 const difference : {-1, 1}) {
        auto const controller = MakeController();
        auto const first = controller->AddStream(iptr<IStreamVideo>(MakeClip(3)));
        auto const other = MakeClip(3);
        other->duration += difference;
        EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamVideo>(other)); }),
                  "Duration of new stream differs from duration of other streams already registered in "
                  "FilterSeekController.");
        // It isn't in the list: the controller moves the first alone.
        controller->Seek(40000);
        EXPECT_THAT(other->log.Take(), IsEmpty());
        EXPECT_EQ(other->GetRefCountImpl(), 1U);
    }
}

TEST(FilterSeekController, SameStreamIsNamedAheadOfADurationThatDiffersMeanwhile) {
    auto const video = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    video->duration += 1;
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamVideo>(video)); }),
              "This stream is already added into current IFilterSeekController object");
}

TEST(FilterSeekController, SeekThatFailsLeavesTheLastPositionAndItsLocks) {
    auto const video = MakeClip(3);
    auto const stream = WithPosition(video);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(stream));
    controller->Seek(0);
    stream->onRequestSeek = [](int64 position) {
        if (position == 80000) TARSEL_THROW(ProcException, "can't go there");
    };
    EXPECT_EQ(MessageOf<ProcException>([&] { controller->Seek(80000); }), "can't go there");
    EXPECT_EQ(MessageOf<ProcException>([&] { controller->Seek(80000); }), "can't go there");
    // From another thread: nothing is held any more.
    std::async(std::launch::async, [&] { controller->Seek(40000); }).get();
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
    // The direct way is closed again, too.
    EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->RequestSeek(0, nullptr); }), REFUSED);
}

TEST(FilterSeekController, StreamsAreHeldWhileTheSourcesAreSought) {
    auto const video = MakeClip(3);
    auto const stream = WithPosition(video);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(stream));
    auto& lockable = dynamic_cast<IStreamSeekController&>(*wrapper);
    Core::Mutex& mutex = *lockable.LockStream()->mutex();
    bool held = false;
    stream->onRequestSeek = [&](int64) {
        held = !std::async(std::launch::async, [&] {
                    if (!mutex.try_lock()) return false;
                    mutex.unlock();
                    return true;
                }).get();
    };
    controller->Seek(40000);
    EXPECT_TRUE(held);
    EXPECT_TRUE(lockable.LockStream()->owns_lock());
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
}

// --- The list --------------------------------------------------------------------------------------------------------

TEST(FilterSeekController, SameStreamTwiceIsRefused) {
    auto const video = MakeClip(3);
    auto const other = MakeClip(3);
    auto const controller = MakeController();
    auto const first = controller->AddStream(iptr<IStreamVideo>(other));
    auto const second = controller->AddStream(iptr<IStreamVideo>(video));
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamVideo>(video)); }),
              "This stream is already added into current IFilterSeekController object");
    // One that has left may come again.
    auto const again = MakeController();
    again->AddStream(iptr<IStreamVideo>(video));
    EXPECT_NE(again->AddStream(iptr<IStreamVideo>(video)), nullptr);
}

TEST(FilterSeekController, StreamOfAnotherDurationIsRefused) {
    auto const controller = MakeController();
    auto const first = controller->AddStream(iptr<IStreamVideo>(MakeClip(3)));
    constexpr char TEXT[] =
        "Duration of new stream differs from duration of other streams already registered in FilterSeekController.";
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamAudio>(MakeSound(120001))); }), TEXT);
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamVideo>(ScriptedVideo::Create({}))); }),
              TEXT);
    EXPECT_NE(controller->AddStream(iptr<IStreamAudio>(MakeSound(120000))), nullptr);
}

TEST(FilterSeekController, FirstStreamIsTakenWhateverItsDuration) {
    EXPECT_NE(MakeController()->AddStream(iptr<IStreamVideo>(ScriptedVideo::Create({}))), nullptr);
    auto const negative = MakeClip(1);
    negative->duration = -5;
    EXPECT_NE(MakeController()->AddStream(iptr<IStreamVideo>(negative)), nullptr);
}

TEST(FilterSeekController, NullStreamIsRefused) {
    auto const controller = MakeController();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamVideo>()); }),
              "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamAudio>()); }),
              "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamRaw>()); }),
              "parentStream is NULL.");
}

TEST(FilterSeekController, SubtitlesAreNotTakenAndNoErrorIsRaised) {
    auto const subtitles = ScriptedSubtitle::Create({MakeSubtitle(0, 10)});
    auto const controller = MakeController();
    EXPECT_EQ(controller->AddStream(iptr<IStreamSubtitle>(subtitles)), nullptr);
    EXPECT_EQ(subtitles->GetRefCountImpl(), 1U);
    // Nothing was added: a stream of any duration is the first.
    EXPECT_NE(controller->AddStream(iptr<IStreamVideo>(MakeClip(3))), nullptr);
    controller->Seek(0);
    EXPECT_THAT(subtitles->log.Take(), IsEmpty());
}

TEST(FilterSeekController, WrapperKeepsTheControllerAndLeavesItAtItsEnd) {
    auto const video = MakeClip(3), other = MakeClip(3);
    auto controller = MakeController();
    auto wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    auto kept = controller->AddStream(iptr<IStreamVideo>(other));
    EXPECT_EQ(controller->GetRefCountImpl(), 3U);
    EXPECT_GT(video->GetRefCountImpl(), 2U);
    wrapper.reset();
    EXPECT_EQ(video->GetRefCountImpl(), 1U);
    EXPECT_EQ(controller->GetRefCountImpl(), 2U);
    video->log.Take();
    controller->Seek(40000);
    EXPECT_THAT(video->log.Take(), IsEmpty());
    EXPECT_THAT(kept->Read(), IsVideo(40000, 40000));
    controller.reset();
    EXPECT_THAT(kept->Read(), IsVideo(80000, 40000));
    kept.reset();
    EXPECT_EQ(other->GetRefCountImpl(), 1U);
}

TEST(FilterSeekController, RemovingAStrangerChangesNothing) {
    auto const video = MakeClip(3);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(video));
    controller->RemoveStream(video.get());
    controller->RemoveStream(nullptr);
    controller->Seek(40000);
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
    // Its own stream can be taken out; the others keep their order.
    controller->RemoveStream(wrapper.get());
    video->log.Take();
    controller->Seek(0);
    EXPECT_THAT(video->log.Take(), IsEmpty());
}

// --- Configuration ---------------------------------------------------------------------------------------------------

TEST(FilterSeekController, SettingsAreNotOfferedAndThePropertyMustHaveItsName) {
    auto const controller = FilterSeekController::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->UpdateSettings(SettingsFilterDurationTrimmer()); }),
              "Not implemented");
    controller->Initialize(Core::Property("FilterSeekController"));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { controller->Initialize(Core::Property("Other")); }),
              "incorrect controller name");
}

// --- The wrapper -----------------------------------------------------------------------------------------------------

TEST(SeekControllerStreamImpl, DirectSeeksAreRefused) {
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(MakeClip(3)));
    controller->Seek(0);
    EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->RequestSeek(0, nullptr); }), REFUSED);
    EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->DoSeek(); }), REFUSED);
    EXPECT_THAT(wrapper->Read(), IsVideo(0, 40000));
}

TEST(SeekControllerStreamImpl, EachKindRefusesDirectSeeksAndItsSourceNeverHearsOfThem) {
    auto const sound = MakeSound(40000);
    auto const packets = ScriptedRaw::Create({MakePacket(0, -40, 40, true)});
    packets->duration = 40000;
    auto const controller = MakeController();
    std::vector<iptr<IStream>> const wrappers{controller->AddStream(iptr<IStreamAudio>(sound)),
                                              controller->AddStream(iptr<IStreamRaw>(packets))};
    for (auto const& wrapper : wrappers) {
        EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->RequestSeek(0, nullptr); }), REFUSED);
        EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->DoSeek(); }), REFUSED);
    }
    EXPECT_THAT(sound->log.Take(), IsEmpty());
    EXPECT_THAT(packets->log.Take(), IsEmpty());
}

TEST(SeekControllerStreamImpl, RefusedSeekLosesWhatWasReadAhead) {
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(MakeClip(3)));
    controller->Seek(0);
    EXPECT_EQ(wrapper->GetPosition(), 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->RequestSeek(0, nullptr); }), REFUSED);
    EXPECT_THAT(wrapper->Read(), IsVideo(40000, 40000));
}

TEST(SeekControllerStreamImpl, FilterAboveAWrapperCannotBeSought) {
    auto const source = MakeClip(3);
    source->format->SetFrameRate(25, 1);
    auto const wrapper = MakeController()->AddStream(iptr<IStreamVideo>(source));
    auto const trimmer = MakeShared<FilterDurationTrimmerVideo>(wrapper);
    trimmer->Initialize(SettingsFilterDurationTrimmer(100000));
    EXPECT_EQ(MessageOf<FilterException>([&] { trimmer->RequestSeek(0, nullptr); }), REFUSED);
    // The other way round it works: filters below, the controller last.
    auto const below = MakeShared<FilterDurationTrimmerVideo>(source);
    below->Initialize(SettingsFilterDurationTrimmer(100000));
    auto const controller = MakeController();
    auto const last = controller->AddStream(iptr<IStreamVideo>(below));
    controller->Seek(50000);
    EXPECT_THAT(ReadAll(*last), ElementsAre(IsVideo(50000, 30000), IsVideo(80000, 20000)));
}

TEST(SeekControllerStreamImpl, ItemsPassAsTheSameObjectsAndAreCounted) {
    auto const source = MakeClip(2);
    auto const controller = MakeController();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(source));
    controller->Seek(0);
    auto const items = ReadAll(*wrapper);
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[1].get(), source->delivered[1]);
    EXPECT_EQ(wrapper->Read(), nullptr);
    EXPECT_EQ(wrapper->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamVideo>"
                                   "::GetStatistic",
                                   0, 2));
}

TEST(SeekControllerStreamImpl, EachKindHasItsNameAndItsForm) {
    auto const sound = MakeSound(40000);
    auto const packets = ScriptedRaw::Create({MakePacket(0, -40, 40, true)});
    packets->duration = 40000;
    packets->mediaType = MEDIA_TYPE_AUDIO;
    auto const controller = MakeController();
    auto const audio = controller->AddStream(iptr<IStreamAudio>(sound));
    auto const raw = controller->AddStream(iptr<IStreamRaw>(packets));
    EXPECT_EQ(audio->GetStatistic().Children().back().Name(),
              "Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamAudio>::GetStatistic");
    EXPECT_EQ(raw->GetStatistic().Children().back().Name(),
              "Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamRaw>::GetStatistic");
    EXPECT_EQ(raw->GetMediaType(), MEDIA_TYPE_AUDIO);
    EXPECT_EQ(raw->GetFormatCodec(), packets->format);
    EXPECT_EQ(audio->GetFormatCodec(), sound->format);
    EXPECT_EQ(audio->GetDuration(), 40000);
    controller->Seek(0);
    EXPECT_THAT(ReadAll(*raw), ElementsAre(IsPacket(0, -40, 40, true)));
}

TEST(SeekControllerStreamImpl, SettingsAreEmptyAndThePropertyGoesToTheSource) {
    auto const source = MakeClip(1);
    auto const wrapper = MakeController()->AddStream(iptr<IStreamVideo>(source));
    EXPECT_EQ(wrapper->GetSettings(), Core::Property());
    wrapper->Initialize(Core::Property("Anything"));
    EXPECT_THAT(source->log.Take(), ElementsAre("Initialize(Anything)"));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    wrapper->Accept(names);
    wrapper->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("SeekControllerStreamImpl", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

TEST(SeekControllerStreamImpl, LockIsHeldUntilItIsGivenUp) {
    auto const wrapper = MakeController()->AddStream(iptr<IStreamVideo>(MakeClip(1)));
    auto& lockable = dynamic_cast<IStreamSeekController&>(*wrapper);
    auto lock = lockable.LockStream();
    EXPECT_TRUE(lock->owns_lock());
    auto const tryLock = [&] { return lock->mutex()->try_lock(); };
    EXPECT_FALSE(std::async(std::launch::async, tryLock).get());
    lock.reset();
    EXPECT_TRUE(lockable.LockStream()->owns_lock());
}

/// Fails behind its seek, once, when told to.
class FailingBehindSeek final : public ScriptedVideo {
  public:
    FailingBehindSeek() : ScriptedVideo({Step(MakeVideo(0, 40000)), Step(MakeVideo(40000, 40000))}) {
        duration = 80000;
    }
    void DoSeek() override {
        ScriptedVideo::DoSeek();
        if (std::exchange(fails, false)) TARSEL_THROW(FilterException, "broken");
    }
    bool fails = false;
};

TEST(FilterSeekController, FailureOfTheSecondPhaseLeavesTheLastPositionSoThatTheSeekIsCarriedOutAgain) {
    auto const source = MakeShared<FailingBehindSeek>();
    auto const controller = FilterSeekController::Create();
    auto const wrapper = controller->AddStream(iptr<IStreamVideo>(source));
    controller->Seek(0);
    source->fails = true;
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->Seek(40000); }), "broken");
    EXPECT_EQ(wrapper->GetPosition(), 40000);
    source->log.Take();
    controller->Seek(40000);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek"));
}

}  // namespace
}  // namespace Tarsel::Proc
