#include "Proc/Filters/Filters/SmartMapAudio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Proc/SmartMapAudioSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// --- Slices ----------------------------------------------------------------------------------------------------------

TEST(SmartMapAudio, AStretchOfASecondComesInBlocksOfATenth) {
    AudioMap map;
    map.Add(MakeCounting(48000, 48000));
    std::vector<std::string> expected;
    for (int i = 0; i < 10; ++i) expected.push_back(std::to_string(i * 100000) + "+4800 #" + std::to_string(i * 4800));
    EXPECT_EQ(map.ReadFrom(0), expected);
    EXPECT_EQ(map->GetPosition(), 1000000);
}

TEST(SmartMapAudio, AStretchOf150MillisecondsIsOneBlock) {
    AudioMap map;
    map.Add(MakeCounting(48000, 7200));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+7200 #0"));
}

TEST(SmartMapAudio, AStretchOf250MillisecondsIsATenthOfASecondAndTheRest) {
    AudioMap map;
    map.Add(MakeCounting(48000, 12000));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #0", "100000+7200 #4800"));
}

TEST(SmartMapAudio, AStretchOf200MillisecondsIsHalved) {
    AudioMap map;
    map.Add(MakeCounting(48000, 9600));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #0", "100000+4800 #4800"));
}

TEST(SmartMapAudio, ATimePointAfter150MillisecondsEndsABlock) {
    AudioMap map;
    map.Add(MakeCounting(48000, 48000 / 2)).Add(MakeShared<NotingSoundEffect>(), 150000, 400000);
    EXPECT_THAT(map.ReadFrom(0),
                ElementsAre("0+7200 #0", "150000+4800 #7200", "250000+7200 #12000", "400000+4800 #19200"));
}

TEST(SmartMapAudio, AGapEndsReadingAtItsFirstMoment) {
    AudioMap map;
    map.Add(MakeCounting(48000, 4800)).Add(MakeCounting(48000, 4800, 1000000), 300000);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #0"));
    EXPECT_EQ(map->GetPosition(), 100000);
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_THAT(map.ReadFrom(300000), ElementsAre("300000+4800 #1000000"));
}

TEST(SmartMapAudio, TheHigherOrderCoversAndNothingIsMixed) {
    AudioMap map;
    map.Add(MakeCounting(48000, 14400), 0, 1).Add(MakeCounting(48000, 14400, 1000000), 100000, 0);
    EXPECT_THAT(map.ReadFrom(0),
                ElementsAre("0+4800 #0", "100000+4800 #4800", "200000+4800 #9600", "300000+4800 #1009600"));
}

TEST(SmartMapAudio, SourcesOfOtherFormatsAreConverted) {
    AudioMap map(48000);
    map.Add(MakeCounting(24000, 24000));
    Seek(*map, 0);
    int samples = 0;
    for (auto const& block : ReadAll(*map)) {
        EXPECT_EQ(block->GetSampleInfo(), Mono(48000));
        samples += block->GetSampleCount();
    }
    EXPECT_EQ(samples, 48000);
}

}  // namespace
}  // namespace Tarsel::Proc
