#include "host/effects/PictureDrawing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "host/effects/ImageBlender.h"
#include "tests/host/effects/PictureSupport.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int LEAST = std::numeric_limits<int>::min();
constexpr int LARGEST = std::numeric_limits<int>::max();

/// The blender's formula, written down once more and computed pixel by pixel in whole numbers of any size.
class Formula {
  public:
    Formula(IDataVideo const& dest, IDataVideo const& picture, SettingsEffectImageBlender const& placing)
        : under(ReadParts(dest)),
          over(ReadParts(picture)),
          format(Describe(dest)),
          placing(placing),
          max((1 << format.comp[0].depth) - 1),
          destHasAlpha((format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0),
          drawnFormat(Describe(picture)),
          pictureHasAlpha((drawnFormat.flags & AV_PIX_FMT_FLAG_ALPHA) != 0),
          width(picture.GetWidth()),
          height(picture.GetHeight()) {}

    std::vector<Part> Compute() {
        std::vector<Part> result = under;
        int const colours = destHasAlpha ? static_cast<int>(under.size()) - 1 : static_cast<int>(under.size());
        for (int i = 0; i < colours; ++i) {
            Part& part = result[static_cast<std::size_t>(i)];
            for (int y = 0; y < part.height; ++y)
                for (int x = 0; x < part.width; ++x) part.At(x, y) = Colour(i, x, y);
        }
        if (destHasAlpha) {
            Part& part = result.back();
            for (int y = 0; y < part.height; ++y)
                for (int x = 0; x < part.width; ++x) {
                    auto const [n, m] = Weights(x, y);
                    part.At(x, y) = static_cast<int>((n + m + max / 2) / max);
                }
        }
        return result;
    }

  private:
    struct Pair {
        int64 n, m;
    };

    bool IsInside(int x, int y) const {
        int64 const left = int64{x} - placing.GetX(), top = int64{y} - placing.GetY();
        return left >= 0 && top >= 0 && left < width && top < height;
    }

    Pair Weights(int x, int y) const {
        int64 share = 0;
        if (IsInside(x, y)) {
            int64 const alpha = pictureHasAlpha ? over.back().At(x - placing.GetX(), y - placing.GetY()) : max;
            share = (alpha * placing.GetAlpha() + 127) / 255;
        }
        int64 const below = destHasAlpha ? under.back().At(x, y) : max;
        return {share * max, below * (max - share)};
    }

    int Colour(int component, int cellX, int cellY) const {
        bool const isChroma = component > 0 && !(format.flags & AV_PIX_FMT_FLAG_RGB);
        int const shiftX = isChroma ? format.log2_chroma_w : 0, shiftY = isChroma ? format.log2_chroma_h : 0;
        auto const index = static_cast<std::size_t>(component);
        int64 const black = isChroma                             ? (max + 1) / 2
                            : format.flags & AV_PIX_FMT_FLAG_RGB ? 0
                            : format.nb_components <= 2          ? 0
                                                                 : 16 * (max + 1) / 256;
        int64 n = 0, m = 0, straight = 0, added = 0;
        for (int y = cellY << shiftY; y < std::min((cellY + 1) << shiftY, under[0].height); ++y)
            for (int x = cellX << shiftX; x < std::min((cellX + 1) << shiftX, under[0].width); ++x) {
                Pair const weights = Weights(x, y);
                n += weights.n;
                m += weights.m;
                if (!IsInside(x, y)) continue;
                int64 const p = over[index].At((x - placing.GetX()) >> (isChroma ? drawnFormat.log2_chroma_w : 0),
                                               (y - placing.GetY()) >> (isChroma ? drawnFormat.log2_chroma_h : 0));
                straight += p * weights.n;
                added += (p - black) * placing.GetAlpha() * max * max / 255;
            }
        int64 const d = under[index].At(cellX, cellY), s = n + m;
        if (s == 0) return static_cast<int>(d);
        if (placing.GetMode() == BlendAlphaMode::Straight) return static_cast<int>((straight + d * m + s / 2) / s);
        int64 const value = added + (d - black) * m;
        int64 const rounded = value >= 0 ? (value + s / 2) / s : -((-value + s / 2) / s);
        return static_cast<int>(std::clamp<int64>(black + rounded, 0, max));
    }

    std::vector<Part> const under;
    std::vector<Part> const over;
    AVPixFmtDescriptor const& format;
    SettingsEffectImageBlender const placing;
    int64 const max;
    bool const destHasAlpha;
    AVPixFmtDescriptor const& drawnFormat;
    bool const pictureHasAlpha;
    int const width;
    int const height;
};

std::vector<Part> Blended(iptr<IDataVideo> dest, iptr<IDataVideo> const& picture,
                          SettingsEffectImageBlender const& placing) {
    auto const blender = MakeShared<ImageBlender>();
    blender->Initialize(placing);
    blender->Process(dest, picture);
    return ReadParts(*dest);
}

struct Pairing {
    char const* dest;
    char const* picture;
};

class BlendedFormats : public ::testing::TestWithParam<Pairing> {};

TEST_P(BlendedFormats, FollowTheFormulaToTheLastBit) {
    auto const [destName, pictureName] = GetParam();
    for (BlendAlphaMode const mode : {BlendAlphaMode::Straight, BlendAlphaMode::Premultiplied})
        for (int const alpha : {255, 254, 128, 1})
            for (auto const& [x, y] : {std::pair{0, 0}, {2, 4}, {3, 5}, {-3, -1}, {12, 9}, {-2, 3}, {5, -7}}) {
                auto const dest = DrawNoise(FormatOf(destName), 21, 15, 1);
                auto const picture = DrawNoise(FormatOf(pictureName), 11, 9, 2);
                SettingsEffectImageBlender const placing(x, y, alpha, mode);
                auto const expected = Formula(*dest, *picture, placing).Compute();
                auto const actual = Blended(dest, picture, placing);
                ASSERT_EQ(actual.size(), expected.size());
                for (std::size_t i = 0; i < actual.size(); ++i)
                    ASSERT_EQ(actual[i].samples, expected[i].samples)
                        << "component " << i << " at " << x << ", " << y << " with " << alpha << ", mode "
                        << static_cast<int>(mode);
            }
}

INSTANTIATE_TEST_SUITE_P(
    AllKinds, BlendedFormats,
    ::testing::Values(Pairing{"rgba", "rgba"}, Pairing{"rgba", "argb"}, Pairing{"argb", "abgr"},
                      Pairing{"abgr", "bgra"}, Pairing{"bgra", "rgba"}, Pairing{"rgba", "rgb24"},
                      Pairing{"rgb24", "rgba"}, Pairing{"gbrp", "rgba"}, Pairing{"yuv420p", "yuva420p"},
                      Pairing{"yuv420p", "yuv420p"}, Pairing{"yuva420p", "yuva420p"}, Pairing{"yuva420p", "yuv420p"},
                      Pairing{"yuv422p", "yuva422p"}, Pairing{"yuva422p", "yuva422p"}, Pairing{"yuv444p", "yuva444p"},
                      Pairing{"yuva444p", "yuva444p"}, Pairing{"nv12", "yuva420p"}, Pairing{"yuyv422", "yuva422p"},
                      Pairing{"yuv411p", "yuv411p"}, Pairing{"gray", "ya8"}, Pairing{"yuv420p10le", "yuva420p10le"},
                      Pairing{"yuv420p", "yuva444p"}, Pairing{"yuva420p", "yuva444p"}, Pairing{"nv12", "yuva444p"},
                      Pairing{"yuv422p", "yuva444p"}, Pairing{"yuv411p", "yuv444p"},
                      Pairing{"yuv420p10le", "yuva444p10le"}, Pairing{"yuv420p10le", "yuv420p10le"},
                      Pairing{"p010le", "yuva420p10le"}, Pairing{"rgba64le", "rgba64le"},
                      Pairing{"yuva444p16le", "yuva444p16le"}),
    [](auto const& row) { return std::string(row.param.dest) + "_" + row.param.picture; });

TEST(ImageBlender, SaysWhatHalfOfAPictureIs) {
    auto const white = DrawPlain(PIX_FMT_RGBA, 4, 4, {255, 255, 255, 128});
    auto const black = DrawPlain(PIX_FMT_RGBA, 4, 4, {0, 0, 0, 255});
    auto const parts = Blended(black, white, {0, 0, 255, BlendAlphaMode::Straight});
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(parts[i].At(2, 2), 128);
    EXPECT_EQ(parts[3].At(2, 2), 255);
    // Drawn on nothing it is what it was; half of that, half as dense.
    auto const nothing = DrawPlain(PIX_FMT_RGBA, 4, 4, {10, 20, 30, 0});
    auto const alone = Blended(nothing->Clone(true), white, {0, 0, 255, BlendAlphaMode::Straight});
    EXPECT_EQ(alone[0].At(0, 0), 255);
    EXPECT_EQ(alone[3].At(0, 0), 128);
    auto const half = Blended(nothing, white, {0, 0, 128, BlendAlphaMode::Straight});
    EXPECT_EQ(half[0].At(0, 0), 255);
    EXPECT_EQ(half[3].At(0, 0), 64);
}

TEST(ImageBlender, OnePixelAtAnOddPlaceColoursAQuarterOfAChromaSample) {
    auto const dest = DrawPlain(PIX_FMT_YUV420P, 8, 8, {16, 128, 128, 0});
    auto const dot = DrawPlain(PIX_FMT_YUV420P, 1, 1, {235, 228, 28, 0});
    auto const parts = Blended(dest, dot, {3, 5, 255, BlendAlphaMode::Straight});
    EXPECT_EQ(parts[0].At(3, 5), 235);
    EXPECT_EQ(std::count(parts[0].samples.begin(), parts[0].samples.end(), 16), 63);
    EXPECT_EQ(parts[1].At(1, 2), 153);
    EXPECT_EQ(parts[2].At(1, 2), 103);
    EXPECT_EQ(std::count(parts[1].samples.begin(), parts[1].samples.end(), 128), 15);
}

TEST(ImageBlender, LeavesTheSameObjectWhereNothingIsSeen) {
    auto const blender = MakeShared<ImageBlender>();
    auto const dest = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    auto const picture = DrawNoise(PIX_FMT_RGBA, 4, 4, 2);
    struct Case {
        int x, y, alpha;
    };
    for (auto const& [x, y, alpha] : {Case{8, 0, 255},
                                      {0, 8, 255},
                                      {-4, 0, 255},
                                      {0, -4, 255},
                                      {LARGEST, LARGEST, 255},
                                      {LEAST, LEAST, 255},
                                      {0, 0, 0},
                                      {0, 0, -7}}) {
        blender->Initialize(SettingsEffectImageBlender(x, y, alpha, BlendAlphaMode::Straight));
        iptr<IDataVideo> frame = dest;
        blender->Process(frame, picture);
        EXPECT_EQ(frame, dest) << x << ", " << y << ", " << alpha;
    }
}

TEST(ImageBlender, HoldsAlphaToItsRange) {
    auto const dest = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    auto const picture = DrawNoise(PIX_FMT_RGBA, 4, 4, 2);
    EXPECT_EQ(Blended(dest->Clone(true), picture, {1, 1, 1000, BlendAlphaMode::Straight}),
              Blended(dest->Clone(true), picture, {1, 1, 255, BlendAlphaMode::Straight}));
}

TEST(ImageBlender, LeavesSharedPicturesAlone) {
    auto const blender = MakeShared<ImageBlender>();
    auto const dest = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    auto const shared = dest->Clone(false);
    auto const before = ReadParts(*dest);
    iptr<IDataVideo> frame = dest->Clone(false);
    blender->Process(frame, DrawNoise(PIX_FMT_RGBA, 8, 8, 2));
    EXPECT_NE(ReadParts(*frame), before);
    EXPECT_EQ(ReadParts(*shared), before);
    EXPECT_EQ(ReadParts(*dest), before);
    EXPECT_EQ(frame->GetTime(), 40000);
    EXPECT_EQ(frame->GetDuration(), 20000);
}

TEST(ImageBlender, APictureIsDrawnOnItself) {
    auto const blender = MakeShared<ImageBlender>();
    SettingsEffectImageBlender const placing(2, 1, 255, BlendAlphaMode::Straight);
    iptr<IDataVideo> picture = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    auto const expected = Formula(*picture, *picture, placing).Compute();
    blender->Initialize(placing);
    blender->Process(picture, picture);
    EXPECT_EQ(ReadParts(*picture), expected);
}

TEST(ImageBlender, NullsAreNothing) {
    auto const blender = MakeShared<ImageBlender>();
    iptr<IDataVideo> none;
    blender->Process(none, DrawNoise(PIX_FMT_RGBA, 8, 8, 1));
    EXPECT_EQ(none, nullptr);
    auto const dest = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    iptr<IDataVideo> frame = dest;
    blender->Process(frame, nullptr);
    EXPECT_EQ(frame, dest);
}

TEST(ImageBlender, NamesTheFormatsItDoesNotTake) {
    auto const blender = MakeShared<ImageBlender>();
    auto const refusal = [&](char const* destName, char const* pictureName) {
        iptr<IDataVideo> dest = MakeVideo(0, 1, 0, FormatOf(destName), 8, 8);
        auto const picture = MakeVideo(0, 1, 0, FormatOf(pictureName), 8, 8);
        return MessageOf<EffectException>([&] { blender->Process(dest, picture); });
    };
    EXPECT_EQ(refusal("yuv420p", "rgba"), "The blender can't draw pixel format rgba on yuv420p");
    EXPECT_EQ(refusal("rgba", "yuva420p"), "The blender can't draw pixel format yuva420p on rgba");
    EXPECT_EQ(refusal("yuv420p", "yuva422p"), "The blender can't draw pixel format yuva422p on yuv420p");
    EXPECT_EQ(refusal("yuv420p", "yuv420p10le"), "The blender can't draw pixel format yuv420p10le on yuv420p");
    EXPECT_EQ(refusal("pal8", "pal8"), "The blender can't draw pixel format pal8 on pal8");
    EXPECT_EQ(refusal("rgb565le", "rgb565le"), "The blender can't draw pixel format rgb565le on rgb565le");
    EXPECT_EQ(refusal("x2rgb10le", "x2rgb10le"), "The blender can't draw pixel format x2rgb10le on x2rgb10le");
}

TEST(ImageBlender, RefusesFramesInGpuMemory) {
    auto const blender = MakeShared<ImageBlender>();
    char const* const text = "SettingsEffectImageBlender can't process a frame in GPU memory";
    iptr<IDataVideo> far(new FrameFarAway());
    iptr<IDataVideo> near = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    EXPECT_EQ(MessageOf<EffectException>([&] { blender->Process(far, near); }), text);
    EXPECT_EQ(MessageOf<EffectException>([&] { blender->Process(near, far); }), text);
}

TEST(ImageBlender, CountsTheFramesItGave) {
    auto const blender = MakeShared<ImageBlender>();
    iptr<IDataVideo> dest = DrawNoise(PIX_FMT_RGBA, 8, 8, 1);
    blender->Process(dest, dest->Clone(true));
    blender->Process(dest, nullptr);
    EXPECT_EQ(blender->GetStatistic(), Core::MakeStatistics("Tarsel::Host::ImageBlender::GetStatistic", 0, 2));
    EXPECT_EQ(blender->GetProcessingFrameType(), 0);
}

// --- Pictures that are to be drawn -----------------------------------------------------------------------------------

TEST(DrawablePicture, BecomesWhatTheFrameTakesAndKeepsItsAlpha) {
    DrawablePicture logo(DrawPlain(PIX_FMT_RGBA, 6, 4, {255, 0, 0, 77}));
    auto const dest = MakeVideo(0, 1, 0, PIX_FMT_YUV420P);
    auto const drawn = logo.For(*dest);
    EXPECT_EQ(FormatName(drawn->GetPixelFormat()), "yuva444p") << "a colour for each pixel, for the sake of edges";
    EXPECT_EQ(drawn->GetWidth(), 6);
    EXPECT_EQ(drawn->GetHeight(), 4);
    // Red of BT.601 in limited range.
    std::array<int, 4> const red{81, 90, 240, 77};
    for (int i = 0; i < 4; ++i)
        for (int const sample : ReadPart(*drawn, i).samples)
            EXPECT_NEAR(sample, red[static_cast<std::size_t>(i)], i == 3 ? 0 : 1) << "component " << i;
    auto const noise = DrawNoise(PIX_FMT_BGRA, 21, 13, 1);
    EXPECT_EQ(ReadPart(*DrawablePicture(noise).For(*dest), 3), ReadPart(*noise, 3)) << "alpha to the last bit";
    EXPECT_EQ(logo.For(*dest), drawn) << "it is converted once";
}

TEST(DrawablePicture, FollowsTheMatrixAndTheRangeOfTheFrame) {
    DrawablePicture logo(DrawPlain(PIX_FMT_RGBA, 6, 4, {255, 0, 0, 255}));
    auto const dest = MakeVideo(0, 1, 0, PIX_FMT_YUV420P);
    auto const hd = Marked(*dest, [](AVFrame& frame) { frame.colorspace = AVCOL_SPC_BT709; });
    auto const full = Marked(*dest, [](AVFrame& frame) { frame.color_range = AVCOL_RANGE_JPEG; });
    EXPECT_NEAR(ReadPart(*logo.For(*dest), 0).At(2, 2), 81, 1);
    EXPECT_NEAR(ReadPart(*logo.For(*hd), 0).At(2, 2), 63, 1);
    EXPECT_NEAR(ReadPart(*logo.For(*full), 0).At(2, 2), 76, 1);
}

TEST(DrawablePicture, WhatIsTransparentDoesNotPaleTheColoursBesideIt) {
    // A column of red beside transparent black.
    auto const picture = Draw(PIX_FMT_RGBA, 4, 4, [](int part, int x, int) {
        bool const isSeen = x == 1;
        return part == 3 || part == 0 ? (isSeen ? 255 : 0) : 0;
    });
    for (int const x : {0, 1}) {
        auto const dest = DrawPlain(PIX_FMT_YUV420P, 8, 4, {126, 128, 128});
        auto const drawn = DrawablePicture(picture).DrawnOn(dest, x, 0, 255);
        // Half of what the chroma sample stands for is red: (240 + 128) / 2.
        Part const chroma = ReadPart(*drawn, 2);
        EXPECT_NEAR(chroma.At(x, 0), 184, 1) << "at " << x;
        EXPECT_EQ(chroma.At(1 - x, 0), 128) << "at " << x;
    }
}

TEST(DrawablePicture, FullRangeOfAFormatBecomesTheRangeOfTheFrame) {
    for (auto const& [jpeg, plain] :
         {std::pair{"yuvj420p", "yuv420p"}, {"yuvj422p", "yuv422p"}, {"yuvj444p", "yuv444p"}}) {
        auto const dest = DrawPlain(FormatOf(plain), 8, 4, {126, 128, 128});
        DrawablePicture white(DrawPlain(FormatOf(jpeg), 4, 4, {255, 128, 128}));
        DrawablePicture black(DrawPlain(FormatOf(jpeg), 4, 4, {0, 128, 128}));
        EXPECT_NEAR(ReadPart(*white.DrawnOn(dest->Clone(true), 0, 0, 255), 0).At(1, 1), 235, 1) << jpeg;
        EXPECT_NEAR(ReadPart(*black.DrawnOn(dest->Clone(true), 0, 0, 255), 0).At(1, 1), 16, 1) << jpeg;
        auto const full = DrawPlain(FormatOf(jpeg), 8, 4, {126, 128, 128});
        EXPECT_EQ(ReadPart(*white.DrawnOn(full, 0, 0, 255), 0).At(1, 1), 255) << jpeg;
    }
}

TEST(DrawablePicture, ColoursOfAPaletteFollowTheMatrixOfTheFrame) {
    auto* const native = av_frame_alloc();
    native->format = AV_PIX_FMT_PAL8;
    native->width = native->height = 4;
    ASSERT_EQ(av_frame_get_buffer(native, 0), 0);
    std::memset(native->data[0], 0, static_cast<std::size_t>(native->linesize[0]) * 4);
    u32 const red = 0xFFFF0000;
    std::memcpy(native->data[1], &red, sizeof red);
    auto const palette = DataVideoFF::Wrap(native, 0, 1);
    auto const dest = MakeVideo(0, 1, 0, PIX_FMT_YUV420P);
    auto const hd = Marked(*dest, [](AVFrame& frame) { frame.colorspace = AVCOL_SPC_BT709; });
    DrawablePicture logo(palette);
    EXPECT_NEAR(ReadPart(*logo.For(*dest), 0).At(1, 1), 81, 1);
    EXPECT_NEAR(ReadPart(*logo.For(*hd), 0).At(1, 1), 63, 1);
}

TEST(DrawablePicture, StaysAsItIsWhereItFits) {
    auto const picture = DrawNoise(PIX_FMT_BGRA, 6, 4, 1);
    DrawablePicture logo(picture);
    EXPECT_EQ(logo.For(*MakeVideo(0, 1, 0, PIX_FMT_RGBA)), picture);
    EXPECT_EQ(DrawablePicture().For(*picture), nullptr);
}

TEST(DrawablePicture, KnowsAFormatForEachKindOfFrame) {
    auto const name = [](char const* dest, bool withAlpha) {
        return FormatName(DrawableFormat(FormatOf(dest), withAlpha));
    };
    EXPECT_EQ(name("yuv422p", true), "yuva422p");
    EXPECT_EQ(name("yuv444p", true), "yuva444p");
    EXPECT_EQ(name("nv12", true), "yuva420p");
    EXPECT_EQ(name("yuv420p10le", true), "yuva420p10le");
    EXPECT_EQ(name("gray", true), "ya8");
    EXPECT_EQ(name("rgba", true), "rgba");
    EXPECT_EQ(name("yuv420p", false), "yuv420p");
    EXPECT_EQ(DrawableFormat(FormatOf("pal8"), true), PIX_FMT_NONE);
    DrawablePicture logo(DrawNoise(PIX_FMT_RGBA, 6, 4, 1));
    EXPECT_EQ(MessageOf<EffectException>([&] { logo.For(*MakeVideo(0, 1, 0, FormatOf("yuv420p12le"))); }),
              "No picture with alpha can be drawn on pixel format yuv420p12le");
}

}  // namespace
}  // namespace Tarsel::Host
