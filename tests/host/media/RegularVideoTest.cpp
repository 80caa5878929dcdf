#include "host/media/RegularVideo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;

constexpr u8 GREY = 128;

struct Chain {
    iptr<ScriptedVideo> source;
    iptr<RegularVideo> pictures;

    explicit Chain(std::vector<int64> const& times, Ratio const& rate = {25, 1}) {
        std::vector<ScriptedVideo::Step> steps;
        for (int64 const time : times) steps.emplace_back(MakeVideo(time, 40000, GREY));
        source = ScriptedVideo::Create(steps);
        source->format->SetFrameRate(rate);
        pictures = RegularVideo::Create(source);
    }

    std::vector<int64> Times() {
        std::vector<int64> times;
        for (auto const& picture : ReadAll(*pictures)) times.push_back(picture->GetTime());
        return times;
    }
};

TEST(RegularVideo, RatesOfHugeTermsHaveTheSameGrid) {
    constexpr int64 HUGE_TERM = int64{1} << 57;
    Chain chain({0, 41000, 80000}, {25 * HUGE_TERM + 1, HUGE_TERM});
    EXPECT_THAT(chain.Times(), ElementsAre(0, 40000, 80000));
    Chain slowest({0, 41000}, {1, std::numeric_limits<int64>::max()});
    EXPECT_THAT(slowest.Times(), ElementsAre(0, 41000));
}

TEST(RegularVideo, PicturesOnTheGridPassAsTheSameObjects) {
    Chain chain({0, 40000, 120000});
    auto const pictures = ReadAll(*chain.pictures);
    EXPECT_THAT(pictures, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(120000, 40000)));
    EXPECT_THAT(chain.source->delivered, ElementsAre(pictures[0].get(), pictures[1].get(), pictures[2].get()));
    EXPECT_EQ(0, chain.pictures->GetDroppedCount());
}

TEST(RegularVideo, OthersGoToTheNearestPlace) {
    EXPECT_THAT(Chain({15000, 61000, 100000}).Times(), ElementsAre(0, 80000, 120000));
    EXPECT_THAT(Chain({33000, 67000, 100000}, {30000, 1001}).Times(), ElementsAre(33367, 66733, 100100));
}

TEST(RegularVideo, APictureWhosePlaceIsTakenIsLeftOutAndMovesNoOther) {
    // Two passes of a clip whose length is no whole number of pictures.
    Chain chain({0, 40000, 80000, 96000, 136000, 176000, 192000, 232000});
    EXPECT_THAT(chain.Times(), ElementsAre(0, 40000, 80000, 120000, 160000, 200000, 240000));
    EXPECT_EQ(1, chain.pictures->GetDroppedCount());
}

TEST(RegularVideo, ASeekFreesThePlaces) {
    Chain chain({0, 40000});
    ReadAll(*chain.pictures);
    chain.pictures->RequestSeek(0, nullptr);
    chain.pictures->DoSeek();
    chain.pictures->FinishSeek();
    EXPECT_THAT(chain.Times(), ElementsAre(0, 40000));
}

TEST(RegularVideo, WithoutATimeOrARatePicturesPass) {
    EXPECT_THAT(Chain({NO_VALUE, 7, NO_VALUE}).Times(), ElementsAre(NO_VALUE, 0, NO_VALUE));
    EXPECT_THAT(Chain({7, 8, 9}, {0, 1}).Times(), ElementsAre(7, 8, 9));
}

TEST(RegularVideo, NeedsASource) {
    EXPECT_EQ("source is NULL", TestSupport::MessageOf<std::invalid_argument>([] { RegularVideo::Create(nullptr); }));
}

}  // namespace
}  // namespace Tarsel::Host
