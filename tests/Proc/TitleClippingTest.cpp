// Rectangles of bitmaps as broken and hostile files have them. Their memory ends where their contents end, so that
// builds with a sanitizer see each byte read beyond it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "tests/support/Draw.h"
#include "tests/support/TitleBitmaps.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using TitleClipping = BitmapTitles;

TEST_F(TitleClipping, BoxIsAroundAllRectanglesOnEvenCoordinates) {
    provider->AddData(MakeTitle(0, 10, {Block(3, 5, 2, 2, WHITE), Block(9, 11, 4, 6, WHITE)}));
    provider->AddData(MakeTitle(0, 10, {Block(7, 1, 1, 1, WHITE)}));
    auto const image = At(0);
    EXPECT_EQ(crop, CropInfo(2, 14, 0, 18));
    EXPECT_EQ(image->GetWidth(), 12);
    EXPECT_EQ(image->GetHeight(), 18);
}

TEST_F(TitleClipping, RectangleStandsAtItsOffsetFromTheBox) {
    provider->AddData(MakeTitle(0, 10, {Block(3, 5, 1, 1, WHITE)}));
    auto const image = At(0);
    EXPECT_EQ(crop, CropInfo(2, 4, 4, 6));
    EXPECT_THAT(BytesOf(*image), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 254, 254, 254, 255));
}

TEST_F(TitleClipping, RectanglesMayReachBeyondTheFrame) {
    provider->AddData(MakeTitle(0, 10, {Block(98, 96, 10, 20, WHITE)}));
    ASSERT_NE(At(0), nullptr);
    EXPECT_EQ(crop, CropInfo(98, 108, 96, 116));
}

TEST_F(TitleClipping, BoxOfARectangleBesideTheFrameBeginsAtTheFramesEdge) {
    provider->AddData(MakeTitle(0, 10, {Block(120, 130, 4, 2, WHITE)}));
    auto const image = At(0);
    EXPECT_EQ(crop, CropInfo(100, 124, 100, 132));
    auto const bytes = BytesOf(*image);
    EXPECT_THAT(std::vector<int>(bytes.end() - 20, bytes.end() - 12), ElementsAre(0, 0, 0, 0, 254, 254, 254, 255));
}

TEST_F(TitleClipping, WhatLiesLeftOfAndAboveTheFrameIsCutOff) {
    TitleRect rect = Block(-1, -1, 3, 3, {});
    rect.indices = {0, 0, 0, 0, 1, 2, 0, 3, 4};
    rect.palette = {9, 9, 9, 255, 11, 11, 11, 255, 22, 22, 22, 255, 33, 33, 33, 255, 44, 44, 44, 255};
    provider->AddData(MakeTitle(0, 10, {rect}));
    auto const image = At(0);
    EXPECT_EQ(crop, CropInfo(0, 2, 0, 2));
    // c * 255 >> 8.
    EXPECT_THAT(BytesOf(*image), ElementsAre(10, 10, 10, 255, 21, 21, 21, 255, 32, 32, 32, 255, 43, 43, 43, 255));
}

TEST_F(TitleClipping, EmptyBoxesGiveNothing) {
    struct {
        int x, y, w, h;
    } const cases[] = {{0, 0, 0, 0},       {5, 5, 0, 4},
                       {5, 5, 4, 0},       {-10, 0, 10, 4},
                       {0, -10, 4, 10},    {5, 5, -4, 4},
                       {5, 5, 4, -4},      {INT_MIN, INT_MIN, 5, 5},
                       {-5, -5, 5, 500},   {INT_MIN, 0, INT_MIN, 9},
                       {0, 0, INT_MIN, 9}, {INT_MIN, 3, INT_MAX, 3}};
    for (auto const& one : cases) {
        provider->Clear();
        TitleRect rect = Block(0, 0, 1, 1, WHITE);
        rect.x = one.x;
        rect.y = one.y;
        rect.w = one.w;
        rect.h = one.h;
        provider->AddData(MakeTitle(0, 10, {rect}));
        EXPECT_EQ(At(0), nullptr) << one.x << ", " << one.y << ", " << one.w << ", " << one.h << ": " << crop;
    }
    EXPECT_EQ(provider->GetStatistic()["Count"].GetInt64(), 0);
}

TEST_F(TitleClipping, TextsInAStreamOfBitmapsPaintNothing) {
    provider->AddData(MakeTitle(0, 10, {TextRect("a text")}));
    EXPECT_EQ(At(0), nullptr);
    // Its place, the upper left corner, counts.
    provider->AddData(MakeTitle(0, 10, {Block(4, 4, 2, 2, WHITE)}));
    ASSERT_NE(At(0), nullptr);
    EXPECT_EQ(crop, CropInfo(0, 6, 0, 6));
}

TEST_F(TitleClipping, ARowHoldsNoMoreThanItsLine) {
    TitleRect rect = Block(0, 0, 4, 2, {});
    rect.indices = {0, 0, 0, 0};
    rect.linesize = 2;
    rect.palette = WHITE;
    provider->AddData(MakeTitle(0, 10, {rect}));
    auto const bytes = BytesOf(*At(0));
    EXPECT_EQ(crop, CropInfo(0, 4, 0, 2));
    std::vector<int> row = Times(2, {254, 254, 254, 255});
    auto const none = Times(2, {0, 0, 0, 0});
    row.insert(row.end(), none.begin(), none.end());
    EXPECT_THAT(std::vector<int>(bytes.begin(), bytes.begin() + 16), ElementsAreArray(row));
    EXPECT_THAT(std::vector<int>(bytes.begin() + 16, bytes.end()), ElementsAreArray(row));
}

TEST_F(TitleClipping, LinesOfNoLengthPaintNothing) {
    for (int const linesize : {0, INT_MIN, -1}) {
        provider->Clear();
        AVSubtitle event = MakeEvent({Block(0, 0, 2, 2, WHITE)});
        event.rects[0]->linesize[0] = linesize;
        provider->AddData(DataSubtitleFF::Create(&event, 0, 10));
        EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, {0, 0, 0, 0}))) << linesize;
    }
}

TEST_F(TitleClipping, IndicesBeyondThePaletteAreTransparent) {
    TitleRect rect = Block(0, 0, 2, 2, {});
    rect.indices = {0, 1, 2, 255};
    rect.palette = {255, 255, 255, 255, 255, 0, 0, 255};
    provider->AddData(MakeTitle(0, 10, {rect}));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAre(254, 254, 254, 255, 254, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(TitleClipping, CountsOfColoursAreHeldToWhatAPaletteHas) {
    for (int const count : {INT_MIN, -1, 0}) {
        provider->Clear();
        AVSubtitle event = MakeEvent({Block(0, 0, 2, 2, WHITE)});
        event.rects[0]->nb_colors = count;
        provider->AddData(DataSubtitleFF::Create(&event, 0, 10));
        EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, {0, 0, 0, 0}))) << count;
    }
    provider->Clear();
    TitleRect full = Block(0, 0, 2, 2, std::vector<u8>(1024, 255));
    full.indices = {0, 1, 254, 255};
    AVSubtitle event = MakeEvent({full});
    event.rects[0]->nb_colors = INT_MAX;
    provider->AddData(DataSubtitleFF::Create(&event, 0, 10));
    EXPECT_THAT(BytesOf(*At(0)), ElementsAreArray(Times(4, {254, 254, 254, 255})));
}

TEST_F(TitleClipping, RectanglesWithoutContentsPaintNothingAndCountForTheBox) {
    TitleRect noIndices = Block(4, 0, 2, 2, WHITE);
    noIndices.indices = {};
    TitleRect const noPalette = Block(8, 0, 2, 2, {});
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, 2, WHITE), noIndices, noPalette}));
    auto const bytes = BytesOf(*At(0));
    EXPECT_EQ(crop, CropInfo(0, 10, 0, 2));
    EXPECT_THAT(std::vector<int>(bytes.begin() + 8, bytes.begin() + 40), ElementsAreArray(Times(8, {0, 0, 0, 0})));
}

TEST_F(TitleClipping, MissingRectanglesArePassedOver) {
    AVSubtitle whole = MakeEvent({Block(0, 0, 2, 2, WHITE)});
    AVSubtitleRect* rects[] = {nullptr, whole.rects[0], nullptr};
    AVSubtitle event{};
    event.num_rects = 3;
    event.rects = rects;
    provider->AddData(MakeShared<BorrowedSubtitle>(&event, 0, 10));
    ASSERT_NE(At(0), nullptr);
    EXPECT_EQ(crop, CropInfo(0, 2, 0, 2));
    provider->Clear();
    avsubtitle_free(&whole);
}

TEST_F(TitleClipping, EventsWithoutAListOfRectanglesAreNotAdded) {
    AVSubtitle event{};
    event.num_rects = 3;
    auto const listless = MakeShared<BorrowedSubtitle>(&event, 0, 10);
    auto const eventless = MakeShared<BorrowedSubtitle>(nullptr, 0, 10);
    provider->AddData(listless);
    provider->AddData(eventless);
    EXPECT_EQ(listless->GetRefCountImpl(), 1U);
    EXPECT_EQ(eventless->GetRefCountImpl(), 1U);
    EXPECT_EQ(At(0), nullptr);
}

TEST_F(TitleClipping, HugeRectanglesEndAt4096InASmallFrame) {
    TitleRect rect = Block(INT_MAX - 10, 0, 1, 2, WHITE);
    rect.w = INT_MAX;
    rect.linesize = 1;
    provider->AddData(MakeTitle(0, 10, {rect}));
    auto const image = At(0);
    EXPECT_EQ(crop, CropInfo(100, 4096, 0, 2));
    EXPECT_EQ(image->GetWidth(), 3996);
    EXPECT_THAT(BytesOf(*image), ElementsAreArray(Times(3996 * 2, {0, 0, 0, 0})));
}

TEST_F(TitleClipping, HugeRectanglesEndAtTheEdgeOfALargeFrame) {
    TitleRect rect = Block(4090, 0, 1, 2, WHITE);
    rect.w = INT_MAX;
    rect.linesize = 1;
    provider->AddData(MakeTitle(0, 10, {rect}));
    info = {8000, 100, 1, 1};
    At(0);
    EXPECT_EQ(crop, CropInfo(4090, 8000, 0, 2));
    info = {INT_MAX, 100, 1, 1};
    At(0);
    EXPECT_EQ(crop, CropInfo(4090, 16384, 0, 2));
}

TEST_F(TitleClipping, SizesThatAreNoneMakeBoxesFromTheCorner) {
    provider->AddData(MakeTitle(0, 10, {Block(2, 2, 2, 2, WHITE)}));
    for (Conf::FrameInfo const& size : {Conf::FrameInfo{0, 0, 1, 1}, Conf::FrameInfo{-7, INT_MIN, 1, 1}}) {
        info = size;
        ASSERT_NE(At(0), nullptr);
        EXPECT_EQ(crop, CropInfo(0, 4, 0, 4));
    }
}

TEST_F(TitleClipping, HostileAspectsMakeNoGiants) {
    provider->AddData(MakeTitle(0, 10, {Block(0, 0, 2, 2, WHITE)}));
    info = {100, 100, INT_MAX, 1};
    EXPECT_EQ(At(0)->GetHeight(), 16384);
    info = {100, 100, 1, INT_MAX};
    EXPECT_EQ(At(0)->GetWidth(), 16384);
    info = {100, 100, INT_MAX, INT_MAX - 1};
    EXPECT_EQ(At(0)->GetHeight(), 4);
}

TEST_F(TitleClipping, RandomRectanglesStayWithinTheirMemory) {
    TestSupport::Draw draw(20250);
    int pictures = 0;
    for (int round = 0; round < 3000; ++round) {
        provider->Clear();
        int const rects = static_cast<int>(1 + draw.Below(4));
        for (int i = 0; i < rects; ++i) {
            auto const anywhere = [&] { return static_cast<int>(draw.Below(60)) - 20; };
            int const w = static_cast<int>(draw.Below(20));
            int const h = static_cast<int>(draw.Below(20));
            TitleRect rect = Block(anywhere(), anywhere(), w, h, std::vector<u8>(draw.Below(9) * 4, 200));
            for (u8& index : rect.indices) index = draw.Bits(4);
            rect.linesize = w > 0 ? static_cast<int>(draw.Below(static_cast<u32>(w) + 1)) : 0;
            if (draw.Below(8) == 0) rect.x = draw.Flag() ? INT_MAX : INT_MIN;
            if (draw.Below(8) == 0) rect.y = draw.Flag() ? INT_MIN : -INT_MAX;
            provider->AddData(MakeTitle(static_cast<int64>(draw.Below(3)), 2, {rect}));
        }
        auto const image = At(static_cast<int64>(draw.Below(4)));
        if (!image) continue;
        ++pictures;
        ASSERT_EQ(image->GetWidth(), static_cast<int>(crop.GetWidth()));
        ASSERT_EQ(image->GetHeight(), static_cast<int>(crop.GetHeight()));
        ASSERT_LE(crop.right, 4096U);
        ASSERT_LE(crop.bottom, 4096U);
    }
    EXPECT_GT(pictures, 500);
}

}  // namespace
}  // namespace Tarsel::Proc
