#include "Proc/Filters/Filters/TitleProviderFromBitmap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/support/Matchers.h"
#include "tests/support/TitleBitmaps.h"
#include "tests/support/Titles.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr char STATISTIC[] = "Tarsel::Proc::TitleProviderFromBitmap::GetStatistic";

using TitleProviderFromBitmapTest = BitmapTitles;

TEST_F(TitleProviderFromBitmapTest, MissingResizerIsRefusedAsByBothFamilies) {
    ScriptedEffectFactory none;
    none.onCreate = [](auto const& classId, auto const&) -> iptr<IEffect> {
        TARSEL_THROW(EffectException, "There is no any implementation for " + classId);
    };
    auto const make = [&] { MakeShared<TitleProviderFromBitmap>(none); };
    EXPECT_EQ(MessageOf<FilterException>(make), "There is no any implementation for SettingsResizer");
    EXPECT_EQ(MessageOf<EffectException>(make), "There is no any implementation for SettingsResizer");
}

TEST_F(TitleProviderFromBitmapTest, ResizerIsTheHostsDefault) {
    EXPECT_EQ(resizerName, "SettingsResizer/Default");
}

TEST_F(TitleProviderFromBitmapTest, NothingIsShownWithoutSubtitles) {
    EXPECT_EQ(At(0), nullptr);
    EXPECT_EQ(CountedIn(provider->GetStatistic(), STATISTIC), 0);
}

TEST_F(TitleProviderFromBitmapTest, TitleIsSeenFromItsTimeUpToItsEnd) {
    provider->AddData(MakeTitle(100, 50, {Block(2, 4, 2, 2, WHITE)}));
    EXPECT_EQ(At(99), nullptr);
    ASSERT_NE(At(100), nullptr);
    EXPECT_EQ(crop, CropInfo(2, 4, 4, 6));
    EXPECT_NE(At(149), nullptr);
    EXPECT_EQ(At(150), nullptr);
}

TEST_F(TitleProviderFromBitmapTest, PictureIsRgbaOfSquarePixels) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 4, 2, WHITE)}));
    auto const image = At(0);
    EXPECT_EQ(image->GetPixelFormat(), 26);
    EXPECT_EQ(image->GetFrameInfo(), (Conf::FrameInfo{4, 2, 1, 1}));
}

TEST_F(TitleProviderFromBitmapTest, WhatIsOverIsForgottenForGood) {
    provider->AddData(MakeTitle(100, 50, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(300, 50, {Block(0, 0, 2, 2, WHITE)}));
    EXPECT_EQ(At(200), nullptr);
    EXPECT_EQ(At(120), nullptr) << "it came back";
    EXPECT_NE(At(300), nullptr) << "one that was still to come is gone";
}

TEST_F(TitleProviderFromBitmapTest, SubtitleIsTakenOnce) {
    auto const title = MakeTitle(0, 10, {Block(0, 0, 2, 2, HALF_WHITE)});
    provider->AddData(title);
    provider->AddData(title);
    EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, {127, 127, 127, 128}))) << "painted twice";
}

TEST_F(TitleProviderFromBitmapTest, ASubtitleThatIsOverCanBeGivenAgain) {
    auto const title = MakeTitle(100, 50, {Block(0, 0, 2, 2, WHITE)});
    provider->AddData(title);
    EXPECT_EQ(At(150), nullptr);
    EXPECT_EQ(title->GetRefCountImpl(), 1U) << "it is kept";
    provider->AddData(title);
    EXPECT_NE(At(120), nullptr);
}

TEST_F(TitleProviderFromBitmapTest, SubtitleWithoutRectanglesIsNotAdded) {
    auto const empty = MakeTitle(0, 10, {});
    provider->AddData(empty);
    provider->AddData(nullptr);
    EXPECT_EQ(empty->GetRefCountImpl(), 1U);
    EXPECT_EQ(At(0), nullptr);
}

TEST_F(TitleProviderFromBitmapTest, HeldTitleCostsNoComposition) {
    provider->AddData(MakeTitle(0, 200 * 40000, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(500 * 40000, 40000, {Block(0, 0, 2, 2, WHITE)}));
    auto const first = At(0);
    CropInfo const place = crop;
    for (int frame = 1; frame < 200; ++frame) {
        crop = {};
        ASSERT_EQ(At(frame * 40000), first) << frame;
        ASSERT_EQ(crop, place) << frame;
    }
    EXPECT_EQ(CountedIn(provider->GetStatistic(), STATISTIC), 1);
    EXPECT_EQ(At(200 * 40000), nullptr);
}

TEST_F(TitleProviderFromBitmapTest, AnyWordOfTheFrameInfoMakesANewPicture) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, 2, WHITE)}));
    auto const first = At(0);
    for (Conf::FrameInfo const& other : {Conf::FrameInfo{101, 100, 1, 1}, Conf::FrameInfo{100, 101, 1, 1},
                                         Conf::FrameInfo{100, 100, 2, 1}, Conf::FrameInfo{100, 100, 1, 2}}) {
        info = {100, 100, 1, 1};
        auto const before = At(0);
        info = other;
        auto const after = At(0);
        EXPECT_NE(after, before);
        EXPECT_EQ(At(0), after);
    }
    // The first, then back and forth.
    EXPECT_EQ(CountedIn(provider->GetStatistic(), STATISTIC), 8);
    EXPECT_NE(first, nullptr);
}

TEST_F(TitleProviderFromBitmapTest, AnyChangeOfTheTitlesMakesANewPicture) {
    provider->AddData(MakeTitle(0, 20, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(10, 20, {Block(4, 0, 2, 2, WHITE)}));
    auto const alone = At(5);
    EXPECT_EQ(crop, CropInfo(0, 2, 0, 2));
    auto const both = At(15);
    EXPECT_EQ(crop, CropInfo(0, 6, 0, 2));
    EXPECT_NE(both, alone);
    EXPECT_EQ(At(19), both);
    auto const second = At(20);
    EXPECT_EQ(crop, CropInfo(4, 6, 0, 2));
    EXPECT_NE(second, both);
    EXPECT_EQ(CountedIn(provider->GetStatistic(), STATISTIC), 3);
}

TEST_F(TitleProviderFromBitmapTest, ResetMakesThePictureAnewAndClearForgetsAll) {
    auto const title = MakeTitle(0, 20, {Block(0, 0, 2, 2, WHITE)});
    provider->AddData(title);
    auto const first = At(0);
    provider->Reset();
    auto const second = At(0);
    EXPECT_NE(second, first);
    EXPECT_EQ(BytesOf(*second), BytesOf(*first));
    provider->Clear();
    EXPECT_EQ(At(0), nullptr);
    EXPECT_EQ(title->GetRefCountImpl(), 1U);
    provider->AddData(title);
    EXPECT_NE(At(0), nullptr) << "what was cleared can be given again";
    EXPECT_EQ(CountedIn(provider->GetStatistic(), STATISTIC), 3);
}

TEST_F(TitleProviderFromBitmapTest, LaterTitlesLieOverEarlierOnes) {
    provider->AddData(MakeTitle(1, 20, {Block(0, 0, 2, 2, {0, 255, 0, 255})}));
    provider->AddData(MakeTitle(0, 20, {Block(0, 0, 2, 2, {255, 0, 0, 255})}));
    EXPECT_THAT(BytesOf(*At(1)), ElementsAreArray(Times(4, {0, 254, 0, 255})));
}

TEST_F(TitleProviderFromBitmapTest, TitlesOfOneTimeLieInTheOrderOfTheirArrival) {
    // Many, so that an order by address would have to be lucky.
    std::vector<iptr<IDataSubtitle>> titles;
    for (u8 i = 0; i < 32; ++i) titles.push_back(MakeTitle(7, 20, {Block(0, 0, 2, 2, {i, i, i, 255})}));
    for (std::size_t i = 0; i < 32; ++i) provider->AddData(titles[(i * 13) % 32]);
    // 31 * 13 modulo 32 is 19; 18 under it leaves (19 * 255 + d) >> 8.
    EXPECT_THAT(BytesOf(*At(7)), ElementsAreArray(Times(4, {18, 18, 18, 255})));
    provider->Clear();
    for (auto const& title : titles) provider->AddData(title);
    EXPECT_THAT(BytesOf(*At(7)), ElementsAreArray(Times(4, {30, 30, 30, 255})));
}

TEST_F(TitleProviderFromBitmapTest, RectanglesOfOneTitleLieInTheirOrder) {
    provider->AddData(MakeTitle(0, 20, {Block(0, 0, 2, 2, {255, 0, 0, 255}), Block(0, 0, 2, 2, {0, 0, 255, 255})}));
    EXPECT_THAT(BytesOf(*At(1)), ElementsAreArray(Times(4, {0, 0, 254, 255})));
}

TEST_F(TitleProviderFromBitmapTest, AFreedAddressIsNotMistakenForTheEventThatHadIt) {
    PooledSubtitle::Pool pool;
    auto first = MakeShared<PooledSubtitle>(pool, 0, 10, Block(0, 0, 2, 2, {255, 0, 0, 255}));
    AVSubtitle const* const address = first->GetAVSubtitle();
    provider->AddData(first);
    first = nullptr;
    EXPECT_EQ(BytesOf(*At(5))[0], 254);
    EXPECT_EQ(At(12), nullptr);
    // Over and gone: the next one gets its place.
    auto second = MakeShared<PooledSubtitle>(pool, 20, 10, Block(0, 0, 2, 2, {0, 255, 0, 255}));
    ASSERT_EQ(second->GetAVSubtitle(), address);
    provider->AddData(second);
    second = nullptr;
    EXPECT_EQ(BytesOf(*At(25))[1], 254);
    provider->Clear();
    auto third = MakeShared<PooledSubtitle>(pool, 20, 10, Block(0, 0, 2, 2, {0, 0, 255, 255}));
    ASSERT_EQ(third->GetAVSubtitle(), address);
    provider->AddData(third);
    third = nullptr;
    EXPECT_EQ(BytesOf(*At(25))[2], 254);
    // The pool goes ahead of the provider.
    provider->Clear();
}

TEST_F(TitleProviderFromBitmapTest, ShownEventsAreKeptAliveAsLongAsTheirPicture) {
    PooledSubtitle::Pool pool;
    auto title = MakeShared<PooledSubtitle>(pool, 0, 10, Block(0, 0, 2, 2, WHITE));
    provider->AddData(title);
    At(5);
    EXPECT_EQ(title->GetRefCountImpl(), 3U) << "of the test, of those to come, of those shown";
    provider->Reset();
    EXPECT_EQ(title->GetRefCountImpl(), 2U);
    At(10);
    EXPECT_EQ(title->GetRefCountImpl(), 1U);
}

TEST_F(TitleProviderFromBitmapTest, TitlesWithoutTimeOrEndAreNotShown) {
    provider->AddData(MakeTitle(NO_VALUE, 10, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(0, NO_VALUE, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(0, 0, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(0, -5, {Block(0, 0, 2, 2, WHITE)}));
    EXPECT_EQ(At(0), nullptr);
}

TEST_F(TitleProviderFromBitmapTest, AnEndBeyondAllTimesIsHeld) {
    provider->AddData(MakeTitle(INT64_MAX - 5, 10, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(0, INT64_MAX, {Block(4, 0, 2, 2, WHITE)}));
    EXPECT_NE(At(INT64_MAX - 6), nullptr);
    EXPECT_EQ(crop, CropInfo(4, 6, 0, 2));
    EXPECT_NE(At(INT64_MAX - 1), nullptr);
    EXPECT_EQ(crop, CropInfo(0, 6, 0, 2));
}

// --- Pixels ----------------------------------------------------------------------------------------------------------

TEST_F(TitleProviderFromBitmapTest, PixelsAreMixedByTheirAlphaAndKeepTheLargest) {
    struct {
        std::vector<u8> under, over;
        std::vector<int> seen;
    } const cases[] = {
        // c * a + 0 over nothing.
        {{}, {200, 100, 50, 128}, {100, 50, 25, 128}},
        {{}, {255, 255, 255, 255}, {254, 254, 254, 255}},
        {{}, {255, 255, 255, 1}, {0, 0, 0, 1}},
        // (c * a + d * (256 - a)) >> 8; d is 199, 99, 49.
        {{200, 100, 50, 255}, {0, 0, 255, 128}, {99, 49, 152, 255}},
        {{200, 100, 50, 255}, {255, 255, 255, 1}, {199, 99, 49, 255}},
        {{200, 100, 50, 128}, {10, 20, 30, 255}, {10, 20, 29, 255}},
        {{200, 100, 50, 100}, {10, 20, 30, 60}, {62, 34, 21, 100}},
    };
    for (auto const& one : cases) {
        provider->Clear();
        std::vector<TitleRect> rects;
        if (!one.under.empty()) rects.push_back(Block(0, 0, 2, 2, one.under));
        rects.push_back(Block(0, 0, 2, 2, one.over));
        provider->AddData(MakeTitle(0, 10, rects));
        EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, one.seen))) << ::testing::PrintToString(one.over);
    }
}

TEST_F(TitleProviderFromBitmapTest, TransparentPixelsTakeAwayTheColourUnderThemAndLeaveItsAlpha) {
    provider->AddData(
        MakeTitle(0, 10, {Block(0, 0, 2, 2, {200, 100, 50, 200}), Block(0, 0, 2, 2, {255, 255, 255, 0})}));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, {0, 0, 0, 200})));
}

TEST_F(TitleProviderFromBitmapTest, WhatNoTitlePaintsIsTransparentBlack) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 1, 1, WHITE), Block(1, 1, 1, 1, WHITE)}));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAre(254, 254, 254, 255, 0, 0, 0, 0, 0, 0, 0, 0, 254, 254, 254, 255));
}

TEST_F(TitleProviderFromBitmapTest, ColoursAreMultipliedByTheirAlphaAndTheProviderSaysSo) {
    EXPECT_EQ(provider->GetAlphaMode(), BlendAlphaMode::Premultiplied);
}

TEST_F(TitleProviderFromBitmapTest, ColoursAreThoseOfThePaletteInItsOrder) {
    TitleRect rect = Block(0, 0, 2, 2, {});
    rect.indices = {0, 1, 2, 3};
    rect.palette = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 1, 2, 3, 0};
    provider->AddData(MakeTitle(0, 10, {rect}));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAre(254, 0, 0, 255, 0, 254, 0, 255, 0, 0, 254, 255, 0, 0, 0, 0));
}

TEST_F(TitleProviderFromBitmapTest, RowsLieALineApart) {
    TitleRect rect = Block(0, 0, 2, 2, {});
    rect.indices = {0, 1, 9, 1, 0, 9};
    rect.linesize = 3;
    rect.palette = {255, 255, 255, 255, 255, 0, 0, 255};
    provider->AddData(MakeTitle(0, 10, {rect}));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAre(254, 254, 254, 255, 254, 0, 0, 255, 254, 0, 0, 255, 254, 254, 254, 255));
}

// --- Pixels that aren't square ---------------------------------------------------------------------------------------

TEST_F(TitleProviderFromBitmapTest, WidePixelsMakeThePictureHigherAndLeaveItsPlace) {
    info = {720, 576, 16, 15};
    provider->AddData(MakeTitle(0, 10, {Block(100, 500, 52, 30, WHITE)}));
    auto const image = At(0);
    // 30 * 16 / 15; the width stays.
    EXPECT_EQ(image->GetFrameInfo(), (Conf::FrameInfo{52, 32, 16, 15}));
    EXPECT_EQ(crop, CropInfo(100, 152, 500, 530));
    ASSERT_EQ(resizer->settings.size(), 1U);
    EXPECT_EQ(resizer->settings[0].GetMode(), 2);
    EXPECT_EQ(resizer->settings[0].GetFrameInfo(), (Conf::FrameInfo{52, 32, 16, 15}));
    EXPECT_EQ(resizer->settings[0].GetImplName(), ImplNames::DEFAULT);
    EXPECT_EQ(At(5), image);
    EXPECT_EQ(resizer->settings.size(), 1U) << "a held picture is scaled again";
}

TEST_F(TitleProviderFromBitmapTest, NarrowPixelsMakeThePictureWider) {
    info = {720, 480, 8, 9};
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 50, 30, WHITE)}));
    // 50 * 9 / 8 is 56.25: 57, then even.
    EXPECT_EQ(At(0)->GetFrameInfo(), (Conf::FrameInfo{58, 30, 8, 9}));
    EXPECT_EQ(crop, CropInfo(0, 50, 0, 30));
}

TEST_F(TitleProviderFromBitmapTest, SizesAreRoundedUpToEvenOnes) {
    struct {
        int height, num, den, scaled;
    } const cases[] = {{30, 16, 15, 32}, {2, 16, 15, 4},   {4, 3, 2, 6},
                       {6, 3, 2, 10},    {10, 11, 10, 12}, {10, 12, 11, 12}};
    for (auto const& one : cases) {
        provider->Clear();
        info = {720, 576, one.num, one.den};
        provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, one.height, WHITE)}));
        EXPECT_EQ(At(0)->GetHeight(), one.scaled) << one.height << " on " << one.num << "/" << one.den;
        EXPECT_EQ(At(0)->GetWidth(), 2);
    }
}

TEST_F(TitleProviderFromBitmapTest, SquarePixelsNeedNoResizer) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, 2, WHITE)}));
    At(0);
    EXPECT_EQ(resizer->settings.size(), 0U);
    // The ratio is no fraction in its lowest terms: it counts as written.
    info = {100, 100, 2, 2};
    EXPECT_EQ(At(0)->GetFrameInfo(), (Conf::FrameInfo{2, 2, 2, 2}));
    EXPECT_EQ(resizer->settings.size(), 1U);
}

TEST_F(TitleProviderFromBitmapTest, AnAspectThatIsNoneCountsAsSquare) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, 2, WHITE)}));
    for (auto const& aspect : {std::pair(0, 1), std::pair(1, 0), std::pair(-4, 3), std::pair(4, -3), std::pair(0, 0)}) {
        info = {100, 100, aspect.first, aspect.second};
        EXPECT_EQ(At(0)->GetFrameInfo(), (Conf::FrameInfo{2, 2, 1, 1}));
    }
    EXPECT_EQ(resizer->settings.size(), 0U);
}

TEST_F(TitleProviderFromBitmapTest, AFailedResizeLeavesNoStalePicture) {
    provider->AddData(MakeTitle(0, 20, {Block(0, 0, 2, 2, WHITE)}));
    provider->AddData(MakeTitle(10, 10, {Block(4, 0, 2, 2, WHITE)}));
    info = {100, 100, 16, 15};
    auto const before = At(0);
    resizer->givesNone = true;
    EXPECT_EQ(MessageOf<FilterException>([&] { At(10); }), "Resizer gave no picture!");
    EXPECT_EQ(MessageOf<FilterException>([&] { At(0); }), "Resizer gave no picture!") << "the old picture is back";
    resizer->givesNone = false;
    EXPECT_NE(At(10), nullptr);
    EXPECT_NE(before, nullptr);
}

}  // namespace
}  // namespace Tarsel::Proc
