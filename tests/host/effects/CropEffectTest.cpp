#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/effects/CropRegion.h"
#include "tests/host/effects/EffectRun.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

SettingsEffectCrop Keep(u32 left, u32 right, u32 top, u32 bottom) {
    return SettingsEffectCrop({left, right, top, bottom});
}

/// The samples of `whole` in a region whose edges suit its chroma.
std::vector<Part> Cut(IDataVideo const& whole, CropInfo const& region) {
    std::vector<Part> result;
    auto const parts = ReadParts(whole);
    for (Part const& part : parts) {
        bool const isChroma = part.width != whole.GetWidth() || part.height != whole.GetHeight();
        int const across = isChroma ? Describe(whole).log2_chroma_w : 0,
                  down = isChroma ? Describe(whole).log2_chroma_h : 0;
        int const x = static_cast<int>(region.left) >> across, y = static_cast<int>(region.top) >> down;
        Part cut;
        cut.width = -(-static_cast<int>(region.GetWidth()) >> across);
        cut.height = -(-static_cast<int>(region.GetHeight()) >> down);
        for (int row = 0; row < cut.height; ++row)
            for (int column = 0; column < cut.width; ++column) cut.samples.push_back(part.At(x + column, y + row));
        result.push_back(std::move(cut));
    }
    return result;
}

std::string RefusalOf(SettingsEffectCrop const& settings, iptr<IDataVideo> const& picture) {
    return MessageOf<EffectException>([&] { After(settings, {picture}); });
}

TEST(CropEffect, EveryFormatKeepsThePartSampleBySample) {
    for (char const* name : {"yuv420p",  "yuv422p",     "yuv444p", "yuv411p",     "yuv410p",     "yuv440p",  "yuvj420p",
                             "yuva420p", "nv12",        "nv16",    "yuyv422",     "uyvy422",     "gray",     "ya8",
                             "gray16le", "yuv420p10le", "p010le",  "yuv422p12le", "yuv420p10be", "rgb24",    "bgra",
                             "argb",     "rgb565le",    "rgb48le", "rgba64le",    "gbrp",        "gbrap10le"}) {
        auto const picture = DrawNoise(FormatOf(name), 48, 32, 7);
        auto const result = After(Keep(8, 40, 4, 28), {picture});
        ASSERT_EQ(result->GetPixelFormat(), FormatOf(name));
        EXPECT_EQ(result->GetWidth(), 32) << name;
        EXPECT_EQ(result->GetHeight(), 24) << name;
        EXPECT_EQ(ReadParts(*result), Cut(*picture, {8, 40, 4, 28})) << name;
    }
}

TEST(CropEffect, EdgesThatDivideChromaMoveOutwards) {
    struct Case {
        char const* format;
        CropInfo region;
    };
    for (auto const& [name, region] : {Case{"yuv420p", {4, 40, 6, 22}},
                                       {"nv12", {4, 40, 6, 22}},
                                       {"yuv422p", {4, 40, 7, 21}},
                                       {"yuyv422", {4, 40, 7, 21}},
                                       {"yuv440p", {5, 39, 6, 22}},
                                       {"yuv411p", {4, 40, 7, 21}},
                                       {"yuv410p", {4, 40, 4, 24}},
                                       {"yuv444p", {5, 39, 7, 21}},
                                       {"rgba", {5, 39, 7, 21}},
                                       {"gray", {5, 39, 7, 21}}}) {
        auto const picture = DrawNoise(FormatOf(name), 48, 32, 3);
        EXPECT_EQ(CropRegionIn({5, 39, 7, 21}, FormatOf(name), 48, 32), region) << name;
        EXPECT_EQ(ReadParts(*After(Keep(5, 39, 7, 21), {picture})), Cut(*picture, region)) << name;
    }
}

TEST(CropEffect, EdgesBetweenChromaSamplesStayAlsoBesideAnOddEdgeOfThePicture) {
    PixFmt const format = FormatOf("yuv420p");
    EXPECT_EQ(CropRegionIn({0, 46, 0, 30}, format, 47, 31), (CropInfo{0, 46, 0, 30}));
    EXPECT_EQ(CropRegionIn({0, 45, 0, 29}, format, 47, 31), (CropInfo{0, 46, 0, 30}));
    EXPECT_EQ(CropRegionIn({0, 47, 0, 31}, format, 47, 31), (CropInfo{0, 47, 0, 31}));
    EXPECT_EQ(CropRegionIn({0, 44, 0, 5}, FormatOf("yuv411p"), 47, 31), (CropInfo{0, 44, 0, 5}));
    EXPECT_EQ(CropRegionIn({0, 45, 0, 5}, FormatOf("yuv411p"), 47, 31), (CropInfo{0, 47, 0, 5}));
}

TEST(CropEffect, OddEdgesOfThePictureItselfStay) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 37, 21, 3);
    EXPECT_EQ(ReadParts(*After(Keep(3, 37, 5, 21), {picture})), Cut(*picture, {2, 37, 4, 21}));
    EXPECT_EQ(ReadParts(*After(Keep(3, 0, 5, 0), {picture})), Cut(*picture, {2, 37, 4, 21}));
    EXPECT_EQ(After(Keep(36, 0, 20, 0), {picture})->GetFrameInfo(), (Conf::FrameInfo{1, 1, 1, 1}));
}

TEST(CropEffect, RightAndBottomOfZeroAreThePicturesOwn) {
    auto const picture = DrawNoise(PIX_FMT_RGBA, 20, 10, 3);
    EXPECT_EQ(ReadParts(*After(Keep(3, 0, 2, 0), {picture})), Cut(*picture, {3, 20, 2, 10}));
    EXPECT_EQ(ReadParts(*After(Keep(0, 7, 0, 0), {picture})), Cut(*picture, {0, 7, 0, 10}));
}

TEST(CropEffect, WholePictureIsTheSameObject) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 20, 10, 3);
    EXPECT_EQ(After(SettingsEffectCrop(), {picture}), picture);
    EXPECT_EQ(After(Keep(0, 20, 0, 10), {picture}), picture);
    EXPECT_EQ(After(Keep(1, 19, 1, 9), {picture}), picture) << "the edges move to those of the picture";
}

TEST(CropEffect, PartIsAViewOfThePicturesMemory) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 48, 32, 3);
    auto const result = After(Keep(8, 40, 6, 28), {picture});
    auto const from = picture->GetPlaneConst(0), to = result->GetPlaneConst(0);
    EXPECT_EQ(to.GetData(), from.GetData() + 6 * from.GetStride() + 8);
    EXPECT_EQ(to.GetStride(), from.GetStride());
    EXPECT_EQ(result->GetPlaneConst(2).GetData(), picture->GetPlaneConst(2).GetOffsetPtr(4, 3));
}

TEST(CropEffect, WhatIsDrawnOnThePartLeavesThePictureAlone) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 48, 32, 3);
    auto const before = ReadParts(*picture);
    SettingsEffectColor grey;
    grey.SetSaturation(0);
    auto const result = After(grey, {After(Keep(8, 40, 6, 28), {picture})});
    EXPECT_EQ(ReadPart(*result, 0), Cut(*picture, {8, 40, 6, 28})[0]);
    EXPECT_EQ(ReadPart(*result, 1).At(0, 0), 128);
    EXPECT_EQ(ReadParts(*picture), before);
}

TEST(CropEffect, TimesShapeOfPixelsColoursAndFieldsStay) {
    auto const picture = Marked(*DrawNoise(PIX_FMT_YUV420P, 48, 32, 3), [](AVFrame& frame) {
        frame.sample_aspect_ratio = {16, 11};
        frame.colorspace = AVCOL_SPC_BT709;
        frame.color_range = AVCOL_RANGE_JPEG;
        frame.interlaced_frame = 1;
        frame.top_field_first = 1;
    });
    auto const result = After(Keep(8, 40, 4, 28), {picture});
    EXPECT_THAT(result, IsVideo(40000, 20000));
    EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{32, 24, 16, 11}));
    EXPECT_EQ(FrameIn(*result).colorspace, AVCOL_SPC_BT709);
    EXPECT_EQ(FrameIn(*result).color_range, AVCOL_RANGE_JPEG);
    EXPECT_EQ(FrameIn(*result).top_field_first, 1);
    EXPECT_NE(result->GetInterlace(), 0);
}

TEST(CropEffect, CropThatTheFrameBringsIsReplaced) {
    auto const picture = Marked(*DrawNoise(PIX_FMT_YUV420P, 48, 32, 3), [](AVFrame& frame) { frame.crop_top = 10; });
    auto const result = After(Keep(8, 40, 4, 28), {picture});
    EXPECT_EQ(ReadParts(*result), Cut(*picture, {8, 40, 4, 28}));
    EXPECT_EQ(result->GetCrop(), CropInfo::WholeOf(32, 24));
}

TEST(CropEffect, FieldsBeginWhereTheFirstOneHasChromaOfItsOwn) {
    auto const interlaced = [](char const* format) {
        return Marked(*DrawNoise(FormatOf(format), 48, 32, 3), [](AVFrame& frame) { frame.interlaced_frame = 1; });
    };
    EXPECT_EQ(After(Keep(0, 0, 8, 30), {interlaced("yuv420p")})->GetHeight(), 22);
    EXPECT_EQ(After(Keep(0, 0, 6, 30), {interlaced("yuv422p")})->GetHeight(), 24);
    EXPECT_EQ(RefusalOf(Keep(0, 0, 6, 30), interlaced("yuv420p")),
              "Interlaced pictures of yuv420p can be cut off above rows that are multiples of 4, not above row 6");
    EXPECT_EQ(RefusalOf(Keep(0, 0, 7, 30), interlaced("yuv422p")),
              "Interlaced pictures of yuv422p can be cut off above rows that are multiples of 2, not above row 7");
    EXPECT_EQ(RowStepOfFields(PIX_FMT_YUV420P), 4U);
    EXPECT_EQ(RowStepOfFields(PIX_FMT_RGBA), 2U);
}

TEST(CropEffect, PartsBeyondThePictureAreRefused) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 48, 32, 3);
    std::string const size = ") reaches beyond a picture of 48x32";
    EXPECT_EQ(RefusalOf(Keep(0, 49, 0, 32), picture),
              "The part to keep (left: 0, right: 49, top: 0, bottom: 32" + size);
    EXPECT_EQ(RefusalOf(Keep(0, 0, 0, 33), picture), "The part to keep (left: 0, right: 0, top: 0, bottom: 33" + size);
    EXPECT_EQ(RefusalOf(Keep(48, 0, 0, 0), picture), "The part to keep (left: 48, right: 0, top: 0, bottom: 0" + size);
    constexpr u32 FAR = std::numeric_limits<u32>::max();
    EXPECT_EQ(RefusalOf(Keep(FAR - 1, FAR, 0, 0), picture),
              "The part to keep (left: 4294967294, right: 4294967295, top: 0, bottom: 0" + size);
    EXPECT_EQ(RefusalOf(Keep(0, 0, 0, FAR), picture),
              "The part to keep (left: 0, right: 0, top: 0, bottom: 4294967295" + size);
}

TEST(CropEffect, PartsWithoutAPixelAreRefusedAndTheOldOnesStay) {
    auto const effect = Make(Keep(2, 8, 2, 8));
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(Keep(8, 8, 0, 0)); }),
              "There is nothing in the part to keep (left: 8, right: 8, top: 0, bottom: 0)");
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(Keep(0, 0, 9, 8)); }),
              "There is nothing in the part to keep (left: 0, right: 0, top: 9, bottom: 8)");
    EXPECT_EQ(static_cast<SettingsEffectCrop const&>(effect->GetEffectSettings()), Keep(2, 8, 2, 8));
}

TEST(CropEffect, FormatsWhosePixelsHaveNoAddressesBecomeOthers) {
    for (auto const& [from, to] : {std::pair("monow", "gray"), {"bayer_rggb8", "rgb24"}}) {
        auto const picture = MakeVideo(40000, 20000, 0, FormatOf(from), 48, 32);
        auto const result = After(Keep(3, 40, 5, 28), {picture});
        EXPECT_EQ(result->GetPixelFormat(), FormatOf(to)) << from;
        EXPECT_EQ(result->GetWidth(), 37) << from;
        EXPECT_EQ(result->GetHeight(), 23) << from;
    }
    EXPECT_EQ(RefusalOf(Keep(4, 40, 4, 28), MakeVideo(0, 1, 0, FormatOf("uyyvyy411"), 48, 32)),
              "SettingsEffectCrop can't process pixel format uyyvyy411");
}

TEST(CropEffect, PaletteGoesAlong) {
    auto const picture = MakeVideo(40000, 20000, 9, FormatOf("pal8"), 48, 32);
    auto const result = After(Keep(3, 40, 5, 28), {picture});
    EXPECT_EQ(result->GetPixelFormat(), FormatOf("pal8"));
    EXPECT_EQ(FrameIn(*result).data[1], FrameIn(*picture).data[1]);
    EXPECT_EQ(result->GetPlaneConst(0).GetData(), picture->GetPlaneConst(0).GetOffsetPtr(3, 5));
}

TEST(CropEffect, FormatGetsTheSizeOfThePart) {
    auto const told = [](SettingsEffectCrop const& settings, PixFmt pixels, int width, int height) {
        auto const codec = Conf::IFormatCodecVideo::Create();
        codec->SetPixelFormat(pixels);
        codec->SetFrameInfo({width, height, 16, 11});
        iptr<Conf::IFormatCodec> format(codec);
        Make(settings)->AdaptFormatCodec(format);
        return std::pair(codec->GetFrameInfo(), codec->GetPixelFormat());
    };
    EXPECT_EQ(told(Keep(5, 39, 7, 21), PIX_FMT_YUV420P, 48, 32),
              std::pair(Conf::FrameInfo{36, 16, 16, 11}, PIX_FMT_YUV420P));
    EXPECT_EQ(told(Keep(5, 39, 7, 21), FormatOf("monow"), 48, 32),
              std::pair(Conf::FrameInfo{34, 14, 16, 11}, FormatOf("gray")));
    EXPECT_EQ(told(Keep(5, 39, 7, 21), PIX_FMT_YUV420P, 0, 0).first, (Conf::FrameInfo{0, 0, 16, 11})) << "unknown yet";
    EXPECT_EQ(told(SettingsEffectCrop(), PIX_FMT_YUV420P, 47, 31).first, (Conf::FrameInfo{47, 31, 16, 11}));
    EXPECT_EQ(MessageOf<EffectException>([&] { told(Keep(0, 64, 0, 0), PIX_FMT_YUV420P, 48, 32); }),
              "The part to keep (left: 0, right: 64, top: 0, bottom: 0) reaches beyond a picture of 48x32");
}

TEST(CropEffect, StandsInChains) {
    SettingsResizer size;
    size.SetCustomMode(SettingsResizer::MODE_STRETCH, {32, 24, 1, 1});
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 48, 32, 3);
    auto const part = After(Keep(8, 40, 4, 28), {picture});
    EXPECT_EQ(After(size, {part}), part) << "it has the wanted size";
    EXPECT_EQ(After(Keep(2, 0, 2, 0), {part})->GetPlaneConst(0).GetData(),
              picture->GetPlaneConst(0).GetOffsetPtr(10, 6))
        << "parts of parts";
}

}  // namespace
}  // namespace Tarsel::Host
