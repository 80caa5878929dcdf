// What a map of pictures does with effects.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/Proc/SmartMapSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char NO_FRAME[] = "Empty packets buffer";

TEST(SmartMapVideoEffects, TheFirstEffectSeesAllFramesInStackingOrderAndOthersWhatItGives) {
    VideoMap map;
    std::vector<std::string> calls;
    iptr<NotingEffect> const first = MakeShared<NotingEffect>("first");
    iptr<NotingEffect> const second = MakeShared<NotingEffect>("second");
    first->calls = second->calls = &calls;
    first->onProcess = [](auto const& inputs) { return inputs.front(); };
    // The second one begins earlier: mapping order counts.
    map.Add(MakePictures({40, 40}, 1), 0, 2).Add(MakePictures({40, 40}, 11), 0, 1).Add(MakePictures({40, 40}, 21));
    map.Add(first, 40, 80).Add(second, 0, 80);
    calls.clear();
    Seek(*map, 0);
    EXPECT_THAT(ReadTexts(*map), ElementsAre("0+40 #1", "40+40 #22"));
    EXPECT_THAT(calls,
                ElementsAre("first: reset", "second: reset", "second: 0+40 #21, 0+40 #11, 0+40 #1",
                            "first: 40+40 #22, 40+40 #12, 40+40 #2", "second: 40+40 #22", testing::_, testing::_));
}

TEST(SmartMapVideoEffects, AnEffectForgetsItsStateOncePerTraversal) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({40, 40, 40, 40}, 1)).Add(effect, 40, 120);
    Seek(*map, 0);
    EXPECT_THAT(effect->Take(), ElementsAre("effect: reset")) << "by the seek";
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    EXPECT_EQ(ReadText(*map), "40+40 #2");
    EXPECT_EQ(ReadText(*map), "80+40 #3");
    EXPECT_THAT(effect->Take(), ElementsAre("effect: 40+40 #2", "effect: 80+40 #3", "effect: reset"));
    EXPECT_EQ(ReadText(*map), "120+40 #4");
    EXPECT_THAT(effect->Take(), IsEmpty());
    map->ReleaseInternalData();
    EXPECT_THAT(effect->Take(), ElementsAre("effect: reset"));
}

TEST(SmartMapVideoEffects, AnEffectNeverLengthensTheMap) {
    VideoMap map;
    map.Add(MakePictures({40}, 1)).Add(MakeShared<NotingEffect>(), 20, 500);
    EXPECT_EQ(map->GetDuration(), 40);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+20 #1", "20+20 #1"));
}

TEST(SmartMapVideoEffects, AnEffectThatGivesNothingIsAFailure) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    iptr<NotingEffect> const behind = MakeShared<NotingEffect>("behind");
    effect->onProcess = [](auto const&) { return iptr<IData>(); };
    map.Add(MakePictures({40}, 1)).Add(effect, 0, 40).Add(behind, 0, 40);
    Seek(*map, 0);
    behind->Take();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_FRAME);
    EXPECT_THAT(behind->Take(), IsEmpty());
    Unmap(*map, map.effects.back());
    effect->onProcess = [](auto const&) { return iptr<IData>(MakeAudio(0, 10)); };
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_FRAME) << "sound is no picture";
}

TEST(SmartMapVideoEffects, APictureThatAnEffectHoldsIsntChanged) {
    VideoMap map;
    auto const still = MakeVideo(7, 8, 99);
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    effect->onProcess = [&](auto const&) { return still; };
    map.Add(MakePictures({40, 40}, 1)).Add(effect, 0, 80);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #99", "40+40 #99"));
    EXPECT_EQ(TextOf(*still), "7+8 #99");
}

TEST(SmartMapVideoEffects, ATimeMapWrittenUnderTheLockActsAtTheNextRead) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({40, 40, 40, 40}, 1)).Add(effect, 120, 160);
    Seek(*map, 0);
    effect->Take();
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    {
        MapLock const lock(*map);
        effect->GetTimeToProgress().begin = 40;
        effect->GetTimeToProgress().end = 80;
    }
    EXPECT_EQ(ReadText(*map), "40+40 #2");
    EXPECT_THAT(effect->Take(), ElementsAre("effect: 40+40 #2", "effect: reset"));
    map->Lock();
    EXPECT_EQ(ReadText(*map), "80+40 #3");
    effect->GetTimeToProgress().end = 160;
    EXPECT_EQ(ReadText(*map), "120+40 #4");
    map->Unlock();
    EXPECT_THAT(effect->Take(), ElementsAre("effect: 120+40 #4", "effect: reset"));
}

TEST(SmartMapVideoEffects, ATimeMapWrittenWithoutTheLockActsBehindTheNextSeek) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({40, 40}, 1)).Add(effect, 0, 10);
    Seek(*map, 0);
    map->Read();
    effect->GetTimeToProgress().begin = 40;
    effect->GetTimeToProgress().end = 80;
    Seek(*map, 40);
    effect->Take();
    EXPECT_EQ(ReadText(*map), "40+40 #2");
    EXPECT_THAT(effect->Take(), ElementsAre("effect: 40+40 #2", "effect: reset"));
}

TEST(SmartMapVideoEffects, AnIntervalThatIsShortenedWhileItIsEnteredEndsThere) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({40, 40, 40}, 1)).Add(effect, 0, 120);
    Seek(*map, 0);
    effect->Take();
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    effect->GetTimeToProgress().end = 50;
    EXPECT_EQ(ReadText(*map), "40+40 #2");
    EXPECT_EQ(ReadText(*map), "80+40 #3");
    EXPECT_THAT(effect->Take(), ElementsAre("effect: 0+40 #1", "effect: 40+40 #2", "effect: reset"));
}

TEST(SmartMapVideoEffects, AnEffectWithoutAnEndOrABeginNeverActs) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({40}, 1)).Add(effect, 0, 40);
    map->Lock();
    map.effects[0]->SetEnd(NO_VALUE);
    map->Unlock();
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1"));
    map->Lock();
    map.effects[0]->SetBegin(NO_VALUE);
    map.effects[0]->SetEnd(40);
    map->Unlock();
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1"));
    EXPECT_THAT(effect->Take(), ElementsAre("effect: reset", "effect: reset"));
}

}  // namespace
}  // namespace Tarsel::Proc
