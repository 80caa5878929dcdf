#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffect.h"
#include "tests/support/Builders.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

TimeToProgress Over(int64 begin, int64 end, TimeToProgress::Curve curve = TimeToProgress::Linear) {
    TimeToProgress map(std::move(curve));
    map.begin = begin;
    map.end = end;
    return map;
}

TEST(TimeToProgress, IsTheShareOfTheIntervalThatHasPassed) {
    TimeToProgress const map = Over(100, 300);
    EXPECT_EQ(map.GetDuration(), 200);
    EXPECT_EQ(map.GetProgress(100), 0.0);
    EXPECT_EQ(map.GetProgress(150), 0.25);
    EXPECT_EQ(map.GetProgress(300), 1.0);
    EXPECT_EQ(TimeToProgress::Linear(0.3), 0.3);
}

TEST(TimeToProgress, IsHeldOutsideOfTheInterval) {
    TimeToProgress const map = Over(100, 300);
    EXPECT_EQ(map.GetProgress(99), 0.0);
    EXPECT_EQ(map.GetProgress(-LARGEST), 0.0);
    EXPECT_EQ(map.GetProgress(301), 1.0);
    EXPECT_EQ(map.GetProgress(LARGEST), 1.0);
}

TEST(TimeToProgress, CurveGetsTheHeldShare) {
    auto const square = [](double share) { return share * share; };
    EXPECT_EQ(Over(0, 4, square).GetProgress(2), 0.25);
    EXPECT_EQ(Over(0, 4, square).GetProgress(-2), 0.0);
    EXPECT_EQ(Over(0, 4, square).GetProgress(8), 1.0);
    EXPECT_EQ(Over(0, 4, [](double share) { return 7 - share; }).GetProgress(8), 6.0) << "the curve itself is not held";
    EXPECT_EQ(Over(0, 4, nullptr).GetProgress(1), 0.25) << "no curve is the straight one";
}

TEST(TimeToProgress, IsOverWhenTheIntervalHasNoLength) {
    for (int64 const time : {int64{-1}, int64{5}, int64{9}, NO_VALUE}) {
        EXPECT_EQ(TimeToProgress().GetProgress(time), 1.0);
        EXPECT_EQ(Over(5, 5).GetProgress(time), 1.0);
        EXPECT_EQ(Over(6, 5, [](double) { return 0.5; }).GetProgress(time), 1.0);
    }
}

TEST(TimeToProgress, IsOverWhenSomethingIsNotKnown) {
    EXPECT_EQ(Over(0, NO_VALUE).GetProgress(5), 1.0);
    EXPECT_EQ(Over(0, NO_VALUE).GetDuration(), NO_VALUE);
    EXPECT_EQ(Over(NO_VALUE, 10).GetProgress(5), 1.0);
    EXPECT_EQ(Over(NO_VALUE, 10).GetDuration(), NO_VALUE);
    EXPECT_EQ(Over(0, 10).GetProgress(NO_VALUE), 1.0);
}

TEST(TimeToProgress, WidestIntervalDoesNotOverflow) {
    TimeToProgress const map = Over(-LARGEST, LARGEST);
    EXPECT_EQ(map.GetDuration(), LARGEST);
    EXPECT_EQ(map.GetProgress(0), 0.5);
    EXPECT_EQ(map.GetProgress(LARGEST), 1.0);
}

/// An effect that records what it is asked to process, and puts `result` in its place.
template <class Base>
class RecordingEffect final : public IdleEffect<Base> {
  public:
    using typename IdleEffect<Base>::Item;

    std::vector<Item*> seen;
    iptr<Item> result;

    void Process(iptr<Item>& item) override {
        seen.push_back(item.get());
        item = result;
    }
};

using RecordingVideo = RecordingEffect<IOneInputEffectVideo>;
using RecordingAudio = RecordingEffect<IOneInputEffectAudio>;

TEST(OneInputEffect, ProcessesTheTopmostInputAndGivesWhatCameOfIt) {
    auto const video = MakeShared<RecordingVideo>();
    auto const below = MakeVideo(0, 40);
    auto const top = MakeVideo(40, 40);
    video->result = MakeVideo(80, 40);
    EXPECT_EQ(video->ProcessData({below, nullptr, top}), video->result);
    EXPECT_EQ(video->ProcessData({top}), video->result);
    EXPECT_THAT(video->seen, ElementsAre(top.get(), top.get()));

    auto const audio = MakeShared<RecordingAudio>();
    auto const block = MakeAudio(0, 10);
    EXPECT_EQ(audio->ProcessData({below, block}), nullptr) << "a null result: the effect keeps the block";
    EXPECT_THAT(audio->seen, ElementsAre(block.get()));
}

TEST(OneInputEffect, NullOnTopDrains) {
    auto const video = MakeShared<RecordingVideo>();
    video->result = MakeVideo(0, 40);
    EXPECT_EQ(video->ProcessData({MakeVideo(0, 40), nullptr}), video->result);
    EXPECT_THAT(video->seen, ElementsAre(nullptr));
    auto const audio = MakeShared<RecordingAudio>();
    EXPECT_EQ(audio->ProcessData({nullptr}), nullptr);
    EXPECT_THAT(audio->seen, ElementsAre(nullptr));
}

TEST(OneInputEffect, ItemsOfAnotherKindAndNoInputAtAllAreRefused) {
    auto const video = MakeShared<RecordingVideo>();
    auto const audio = MakeShared<RecordingAudio>();
    std::string const text = "The effect can't process an item of this kind";
    EXPECT_EQ(MessageOf<EffectException>([&] { video->ProcessData({MakeAudio(0, 10)}); }), text);
    EXPECT_EQ(MessageOf<EffectException>([&] { audio->ProcessData({MakeAudio(0, 10), MakeVideo(0, 40)}); }), text);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { video->ProcessData({}); }), "An effect needs at least one input");
    EXPECT_TRUE(video->seen.empty());
    EXPECT_TRUE(audio->seen.empty());
}

}  // namespace
}  // namespace Tarsel::Proc
