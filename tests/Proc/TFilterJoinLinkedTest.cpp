// Joins of clips whose video and sound are linked by a seek controller for each clip.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "tests/support/Builders.h"
#include "tests/support/Joining.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Uncuttable.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

/// A clip of `frames` pictures of 40 ms, and sound blocks of 20 ms that begin at `soundStart`.
struct LinkedClip {
    LinkedClip(int frames, int64 soundStart) : video(MakeClip(frames)) {
        std::vector<iptr<IDataAudio>> blocks;
        for (int64 time = soundStart; time < video->duration; time += 20000) blocks.push_back(MakeAudio(time, 960));
        sound = ScriptedAudio::Create(blocks);
        sound->duration = video->duration;
    }
    void ForgetCalls() const {
        video->log.Take();
        sound->log.Take();
    }

    iptr<ScriptedVideo> video;
    iptr<ScriptedAudio> sound;
};

/// Both joins over the same clips.
struct LinkedJoins {
    explicit LinkedJoins(std::vector<LinkedClip> const& clips) {
        for (auto const& clip : clips) {
            auto const controller = FilterSeekController::Create();
            video->AddStream(controller->AddStream(iptr<IStreamVideo>(clip.video)), controller);
            sound->AddStream(controller->AddStream(iptr<IStreamAudio>(clip.sound)), controller);
            clip.ForgetCalls();
        }
    }

    iptr<FilterJoinVideo> video = MakeShared<FilterJoinVideo>();
    iptr<FilterJoinAudio> sound = MakeShared<FilterJoinAudio>();
};

template <class T>
std::vector<int64> Times(std::vector<iptr<T>> const& items) {
    std::vector<int64> times;
    for (auto const& item : items) times.push_back(item->GetTime());
    return times;
}

TEST(LinkedJoins, SeamIsPassedByEachJoinInItsOwnTime) {
    std::vector<LinkedClip> const clips{{2, 0}, {2, 0}};
    LinkedJoins const joins(clips);
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    // The video runs ahead into the second clip; the sound that comes behind finds its clip at 0 and seeks nothing.
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(0, 40000, 80000, 120000));
    clips[1].ForgetCalls();
    EXPECT_THAT(Times(ReadAll(*joins.sound)), ElementsAre(0, 20000, 40000, 60000, 80000, 100000, 120000, 140000));
    EXPECT_THAT(clips[1].video->log.Take(), ElementsAre());
}

TEST(LinkedJoins, SecondJoinAtASeamRestartsBothStreamsWhereItsFirstItemDoesNotBeginAtZero) {
    std::vector<LinkedClip> const clips{{1, 0}, {3, 10000}};
    LinkedJoins const joins(clips);
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    for (int64 const time : {0, 40000, 80000}) EXPECT_THAT(joins.video->Read(), IsVideo(time, 40000));
    // The sound arrives, stands at 10 ms instead of 0, and so the controller moves both to 0 again.
    for (int64 const time : {0, 20000, 50000}) EXPECT_THAT(joins.sound->Read(), IsAudio(time, 960));
    // Two frames come twice.
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(40000, 80000, 120000));
    EXPECT_THAT(Times(ReadAll(*joins.sound)), ElementsAre(70000, 90000, 110000, 130000, 150000));
}

TEST(LinkedJoins, SecondJoinOfASeekReleasesItsClipAndDoesNotSeekItAgain) {
    std::vector<LinkedClip> const clips{{2, 0}, {2, 0}};
    LinkedJoins const joins(clips);
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    joins.video->Read();
    joins.sound->Read();
    for (auto const& clip : clips) clip.ForgetCalls();
    Seek(*joins.video, 80000);
    EXPECT_EQ(joins.video->GetPosition(), 80000);
    EXPECT_THAT(clips[1].sound->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));
    Seek(*joins.sound, 80000);
    // Released, and read ahead for the join's position: sources go on from the pending seek.
    EXPECT_THAT(clips[1].sound->log.Take(), ElementsAre("ReleaseInternalData", "Read"));
    EXPECT_EQ(joins.sound->GetPosition(), 80000);
    EXPECT_THAT(Times(ReadAll(*joins.sound)), ElementsAre(80000, 100000, 120000, 140000));
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(80000, 120000));
}

TEST(LinkedJoins, SeekBetweenItemsIsCarriedOutByBothJoins) {
    std::vector<LinkedClip> const clips{{2, 0}, {2, 0}};
    LinkedJoins const joins(clips);
    Seek(*joins.sound, 130000);
    Seek(*joins.video, 130000);
    EXPECT_EQ(joins.video->GetPosition(), 120000);
    EXPECT_EQ(joins.sound->GetPosition(), 120000);
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(120000));
    EXPECT_THAT(Times(ReadAll(*joins.sound)), ElementsAre(120000, 140000));
}

TEST(LinkedJoins, SeekToWhereOneStreamStillStandsDoesNotBringTheOtherOneBack) {
    std::vector<LinkedClip> const clips{{3, 0}};
    LinkedJoins const joins(clips);
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    joins.video->Read();
    joins.video->Read();
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(80000));
    EXPECT_EQ(ReadAll(*joins.sound).size(), 6U);
    // Once both have moved, a seek brings back both.
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    EXPECT_EQ(ReadAll(*joins.video).size(), 3U);
    EXPECT_EQ(ReadAll(*joins.sound).size(), 6U);
}

TEST(LinkedJoins, ReadingAfterSeeksOfBothIsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
        std::vector<LinkedClip> clips;
        for (int i = any(1, 5); i > 0; --i) clips.emplace_back(any(1, 4), 0);
        LinkedJoins const joins(clips);
        auto const total = static_cast<int>(joins.video->GetDuration());
        for (int round = 0; round < 6; ++round) {
            int const position = round == 0 ? 0 : any(0, total - 1);
            bool const videoFirst = any(0, 1) == 0;
            if (videoFirst) Seek(*joins.video, position);
            Seek(*joins.sound, position);
            if (!videoFirst) Seek(*joins.video, position);
            int64 nextFrame = position / 40000 * 40000, nextBlock = position / 20000 * 20000;
            while (nextFrame < total || nextBlock < total) {
                if (nextBlock >= total || (nextFrame < total && any(0, 2) == 0)) {
                    ASSERT_THAT(joins.video->Read(), IsVideo(nextFrame, 40000));
                    nextFrame += 40000;
                } else {
                    ASSERT_THAT(joins.sound->Read(), IsAudio(nextBlock, 960));
                    nextBlock += 20000;
                }
            }
            EXPECT_EQ(joins.video->Read(), nullptr);
            EXPECT_EQ(joins.sound->Read(), nullptr);
        }
    }
}

TEST(LinkedJoins, JoinUnderAControllerOfItsOwnCannotBeSoughtButItsControllerCan) {
    std::vector<LinkedClip> const clips{{2, 0}, {2, 0}};
    LinkedJoins const joins(clips);
    auto const controller = FilterSeekController::Create();
    auto const video = controller->AddStream(iptr<IStreamVideo>(joins.video));
    auto const sound = controller->AddStream(iptr<IStreamAudio>(joins.sound));
    EXPECT_EQ(MessageOf<FilterException>([&] { video->RequestSeek(0, nullptr); }),
              "Seek is disabled for this stream. You have to use FilterSeekController.");
    controller->Seek(90000);
    EXPECT_THAT(Times(ReadAll(*video)), ElementsAre(80000, 120000));
    EXPECT_THAT(Times(ReadAll(*sound)), ElementsAre(80000, 100000, 120000, 140000));
}

TEST(LinkedJoins, ClipWithoutAControllerWhoseWrapperRefusesMakesTheJoinFail) {
    LinkedClip const clip(2, 0);
    auto const controller = FilterSeekController::Create();
    auto const join = MakeShared<FilterJoinVideo>();
    join->AddStream(controller->AddStream(iptr<IStreamVideo>(clip.video)), nullptr);
    EXPECT_EQ(MessageOf<FilterException>([&] { join->RequestSeek(0, nullptr); }),
              "Seek is disabled for this stream. You have to use FilterSeekController.");
}

TEST(LinkedJoins, ClipThatOneJoinHasReadAlreadyIsStartedAgainAfterASeekBackInFrontOfIt) {
    LinkedJoins const joins({LinkedClip(2, 0), LinkedClip(3, 0)});
    Seek(*joins.video, 0);
    Seek(*joins.sound, 0);
    // The pictures go on to the second clip, whose sound still stands at its beginning.
    EXPECT_EQ(ReadAll(*joins.video).size(), 5U);
    Seek(*joins.video, 40000);
    Seek(*joins.sound, 40000);
    EXPECT_THAT(Times(ReadAll(*joins.video)), ElementsAre(40000, 80000, 120000, 160000));
    EXPECT_THAT(Times(ReadAll(*joins.sound)), ElementsAre(40000, 60000, 80000, 100000, 120000, 140000, 160000, 180000));
}

}  // namespace
}  // namespace Tarsel::Proc
