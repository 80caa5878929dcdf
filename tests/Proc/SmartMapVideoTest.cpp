#include "Proc/Filters/Filters/SmartMapVideo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Proc/SmartMapSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

// --- Sources ---------------------------------------------------------------------------------------------------------

TEST(SmartMapVideo, OneSourceComesAsItIs) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #2", "80+40 #3"));
    EXPECT_EQ(map->GetPosition(), 120);
    EXPECT_EQ(map->GetDuration(), 120);
    EXPECT_EQ(map->Read(), nullptr);
}

TEST(SmartMapVideo, ASourceIsShiftedByItsBegin) {
    VideoMap map;
    map.Add(MakePictures({40, 40}, 1), 0).Add(MakePictures({30, 30}, 11), 80);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #2", "80+30 #11", "110+30 #12"));
}

TEST(SmartMapVideo, AnEmptyMapHasNoLengthAndEndsAtOnce) {
    iptr<ISmartMapVideo> const map = SmartMapVideo::Create();
    EXPECT_EQ(map->GetDuration(), 0);
    EXPECT_EQ(map->GetPosition(), 0);
    EXPECT_EQ(map->Read(), nullptr) << "a map that nobody has changed needs no seek";
    Seek(*map, 0);
    EXPECT_EQ(map->GetPosition(), -1);
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_EQ(map->GetPosition(), -1);
}

TEST(SmartMapVideo, TheHigherOrderCoversTheOtherWhileTheyOverlap) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1), 0, 5).Add(MakePictures({40, 40, 40}, 11), 40, 1);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #2", "80+40 #3", "120+40 #13"));
}

TEST(SmartMapVideo, OfEqualOrdersTheOneThatBeginsLaterCovers) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 11), 40).Add(MakePictures({40, 40, 40}, 1), 0);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #11", "80+40 #12", "120+40 #13"));
}

TEST(SmartMapVideo, OfEqualOrdersAndBeginsTheOneThatWasMappedLaterCovers) {
    VideoMap map;
    map.Add(MakePictures({40}, 1)).Add(MakePictures({40}, 11)).Add(MakePictures({40}, 21));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #21"));
}

TEST(SmartMapVideo, ANegativeOrderLiesBelow) {
    VideoMap map;
    map.Add(MakePictures({40}, 1), 0, -1).Add(MakePictures({40}, 11), 0, -2);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1"));
}

TEST(SmartMapVideo, AChangedOrderActsAtTheNextReadWithoutASeek) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1)).Add(MakePictures({40, 40, 40}, 11));
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #11");
    {
        MapLock const lock(*map);
        map.streams[0]->SetOrder(1);
        EXPECT_EQ(map.streams[0]->GetOrder(), 1);
    }
    EXPECT_EQ(ReadText(*map), "40+40 #2");
}

// --- Slices ----------------------------------------------------------------------------------------------------------

TEST(SmartMapVideo, AFrameIsCutWhereAnotherSourceBeginsOrEnds) {
    VideoMap map;
    map.Add(MakePictures({100, 100}, 1), 0, 1).Add(MakePictures({100}, 11), 50, 0);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+50 #1", "50+50 #1", "100+50 #2", "150+50 #2"));
}

TEST(SmartMapVideo, AFrameThatSpansAnEffectsBeginComesAsACloneAndThenItself) {
    VideoMap map;
    auto const source = MakePictures({100}, 1);
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(source).Add(effect, 50, 100);
    Seek(*map, 0);
    iptr<IDataVideo> const first = map->Read();
    iptr<IDataVideo> const second = map->Read();
    EXPECT_EQ(TextOf(*first), "0+50 #1");
    EXPECT_EQ(TextOf(*second), "50+50 #1");
    ASSERT_EQ(source->delivered.size(), 1U);
    EXPECT_NE(static_cast<void const*>(first.get()), source->delivered[0]);
    EXPECT_EQ(static_cast<void const*>(second.get()), source->delivered[0]);
    EXPECT_EQ(map->Read(), nullptr);
}

TEST(SmartMapVideo, ASliceOfLessThanHalfAFrameGoesIntoTheNextItem) {
    VideoMap map;
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    map.Add(MakePictures({100, 100}, 1)).Add(effect, 49, 100);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+100 #1", "100+100 #2"));
    EXPECT_THAT(effect->Take(), ElementsAre("effect: reset", "effect: 49+51 #1", "effect: reset"));
}

TEST(SmartMapVideo, ASliceOfHalfAFrameIsAnItem) {
    VideoMap map;
    map.Add(MakePictures({101, 99}, 1)).Add(MakeShared<NotingEffect>(), 50, 101);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+50 #1", "50+51 #1", "101+99 #2")) << "half of 101 is 50";
}

TEST(SmartMapVideo, AGapEndsReadingAtItsFirstMoment) {
    VideoMap map;
    map.Add(MakePictures({40}, 1)).Add(MakePictures({40}, 11), 100);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1"));
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_EQ(map->GetDuration(), 140);
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_THAT(map.ReadFrom(100), ElementsAre("100+40 #11"));
}

}  // namespace
}  // namespace Tarsel::Proc
