#include "host/media/FittedVideo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr u8 GREY = 128;
constexpr u8 BLACK = 16;
constexpr auto YUV422P = static_cast<PixFmt>(AV_PIX_FMT_YUV422P);
constexpr auto YUV444P = static_cast<PixFmt>(AV_PIX_FMT_YUV444P);
constexpr auto YUYV422 = static_cast<PixFmt>(AV_PIX_FMT_YUYV422);

struct Chain {
    iptr<ScriptedVideo> source;
    iptr<FittedVideo> pictures;

    Chain(std::vector<ScriptedVideo::Step> const& steps, unsigned width, unsigned height,
          PixFmt format = PIX_FMT_YUV420P)
        : source(ScriptedVideo::Create(steps)) {
        source->format->InitByPixelAspect(width, height, 1, 1);
        source->format->SetPixelFormat(format);
        pictures = FittedVideo::Create(source);
    }
};

u8 LumaAt(IDataVideo const& picture, int x, int y) {
    auto const plane = picture.GetPlaneConst(0);
    return plane.GetData()[y * plane.GetStride() + x];
}

TEST(FindPlace, KeepsTheAspectInTheMiddle) {
    EXPECT_EQ((FittedPlace{80, 0, 480, 360}), FindPlace({320, 240, 1, 1}, {640, 360, 1, 1}, 2));
    EXPECT_EQ((FittedPlace{0, 60, 640, 360}), FindPlace({1920, 1080, 1, 1}, {640, 480, 1, 1}, 2));
    EXPECT_EQ((FittedPlace{0, 0, 640, 360}), FindPlace({1280, 720, 1, 1}, {640, 360, 1, 1}, 2));
}

TEST(FindPlace, CountsThePixelsShape) {
    // 720x576 with wide pixels is 16:9.
    EXPECT_EQ((FittedPlace{0, 0, 640, 360}), FindPlace({720, 576, 64, 45}, {640, 360, 1, 1}, 2));
    EXPECT_EQ((FittedPlace{0, 0, 720, 576}), FindPlace({1280, 720, 1, 1}, {720, 576, 64, 45}, 2));
}

TEST(FindPlace, StaysOnTheGridAndInside) {
    for (int width = 1; width < 40; ++width) {
        auto const place = FindPlace({width, 7, 1, 1}, {64, 48, 1, 1}, 4);
        EXPECT_EQ(0, place.left % 4 + place.top % 4 + place.width % 4 + place.height % 4) << width;
        EXPECT_GT(place.width, 0) << width;
        EXPECT_GT(place.height, 0) << width;
        EXPECT_LE(place.left + place.width, 64) << width;
        EXPECT_LE(place.top + place.height, 48) << width;
    }
}

TEST(FittedVideo, PicturesThatFitPassAsTheSameObjects) {
    Chain chain({MakeVideo(0, 40000, GREY)}, 16, 16);
    auto const pictures = ReadAll(*chain.pictures);
    EXPECT_THAT(pictures, ElementsAre(IsVideo(0, 40000)));
    EXPECT_THAT(chain.source->delivered, ElementsAre(pictures[0].get()));
    EXPECT_THAT(chain.pictures->GetNotes(), IsEmpty());
}

TEST(FittedVideo, AnotherShapeGetsBlackBorders) {
    Chain chain({MakeVideo(7, 40000, GREY, PIX_FMT_YUV420P, 32, 32)}, 64, 16);
    auto const pictures = ReadAll(*chain.pictures);
    ASSERT_THAT(pictures, ElementsAre(IsVideo(7, 40000)));
    IDataVideo const& picture = *pictures[0];
    EXPECT_EQ(64, picture.GetWidth());
    EXPECT_EQ(16, picture.GetHeight());
    EXPECT_EQ(BLACK, LumaAt(picture, 0, 8));
    EXPECT_EQ(BLACK, LumaAt(picture, 23, 8));
    EXPECT_NEAR(GREY, LumaAt(picture, 24, 0), 1);
    EXPECT_NEAR(GREY, LumaAt(picture, 39, 15), 1);
    EXPECT_EQ(BLACK, LumaAt(picture, 40, 8));
    EXPECT_THAT(chain.pictures->GetNotes(), ElementsAre("32x32 yuv420p into 64x16 yuv420p"));
}

TEST(FittedVideo, EveryUsualPixelFormatKeepsThePictureInItsPlace) {
    for (PixFmt const format :
         {PIX_FMT_YUV420P, YUV422P, YUV444P, PIX_FMT_NV12, PIX_FMT_RGB24, YUYV422, PIX_FMT_RGBA}) {
        Chain chain({MakeVideo(0, 1, 200, format, 32, 32)}, 64, 16, format);
        auto const pictures = ReadAll(*chain.pictures);
        ASSERT_EQ(1U, pictures.size());
        auto const plane = pictures[0]->GetPlaneConst(0);
        int const step = static_cast<int>(plane.GetRowBytes()) / 64;
        EXPECT_LE(plane.GetData()[23 * step], BLACK) << int(format);
        EXPECT_NEAR(200, plane.GetData()[24 * step], 2) << int(format);
        EXPECT_NEAR(200, plane.GetData()[39 * step], 2) << int(format);
        EXPECT_LE(plane.GetData()[40 * step], BLACK) << int(format);
    }
}

TEST(FittedVideo, AnotherPixelFormatIsConverted) {
    Chain chain({MakeVideo(0, 1, GREY, YUV444P)}, 16, 16);
    auto const pictures = ReadAll(*chain.pictures);
    ASSERT_EQ(1U, pictures.size());
    EXPECT_EQ(PIX_FMT_YUV420P, pictures[0]->GetPixelFormat());
    EXPECT_THAT(chain.pictures->GetNotes(), ElementsAre("16x16 yuv444p into 16x16 yuv420p"));
}

TEST(FittedVideo, AFrameOfWholeColourSamplesHoldsOddPicturesAsTheyAre) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 1, GREY, PIX_FMT_YUV420P, 15, 17)});
    source->format->SetPixelFormat(PIX_FMT_YUV420P);
    source->format->InitByPixelAspect(15, 17, 4, 3);
    auto const fitted = FittedVideo::Create(source, true);
    EXPECT_EQ((Conf::FrameInfo{16, 18, 4, 3}), fitted->GetFormatCodec()->GetFrameInfo());
    auto const pictures = ReadAll(*fitted);
    ASSERT_EQ(1U, pictures.size());
    IDataVideo const& picture = *pictures[0];
    EXPECT_EQ(16, picture.GetWidth());
    EXPECT_EQ(18, picture.GetHeight());
    EXPECT_EQ(GREY, LumaAt(picture, 0, 0));
    EXPECT_EQ(GREY, LumaAt(picture, 14, 16));
    EXPECT_EQ(BLACK, LumaAt(picture, 15, 16));
    EXPECT_EQ(BLACK, LumaAt(picture, 14, 17));
    EXPECT_THAT(fitted->GetNotes(), ElementsAre("15x17 yuv420p into 16x18 yuv420p"));
}

TEST(FittedVideo, ColourWithoutSubsamplingNeedsNoLargerFrame) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 1, GREY, YUV444P, 15, 17)});
    source->format->SetPixelFormat(YUV444P);
    source->format->InitByPixelAspect(15, 17, 1, 1);
    auto const fitted = FittedVideo::Create(source, true);
    EXPECT_EQ((Conf::FrameInfo{15, 17, 1, 1}), fitted->GetFormatCodec()->GetFrameInfo());
    EXPECT_THAT(ReadAll(*fitted), ElementsAre(IsVideo(0, 1)));
    EXPECT_THAT(fitted->GetNotes(), IsEmpty());
}

TEST(FittedVideo, NamesEachShapeOnceAndSixteenAtMost) {
    std::vector<ScriptedVideo::Step> steps;
    for (int i = 0; i < 60; ++i) steps.emplace_back(MakeVideo(i, 1, GREY, PIX_FMT_YUV420P, 18 + 2 * (i % 20), 16));
    Chain chain(steps, 16, 16);
    EXPECT_EQ(60U, ReadAll(*chain.pictures).size());
    EXPECT_EQ(16U, chain.pictures->GetNotes().size());
}

}  // namespace
}  // namespace Tarsel::Host
