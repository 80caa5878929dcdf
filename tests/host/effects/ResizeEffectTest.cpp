#include "host/effects/ResizeEffect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/effects/PictureSupport.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using Modes = SettingsResizer::CustomModes;

iptr<ResizeEffect> Resizer(Modes mode, Conf::FrameInfo const& info,
                           SettingsResizer::Algorithms algorithm = SettingsResizer::ALGORITHM_BICUBIC) {
    SettingsResizer settings;
    settings.SetCustomMode(mode, info);
    settings.SetAlgorithm(algorithm);
    auto const effect = MakeShared<ResizeEffect>();
    effect->Initialize(settings);
    return effect;
}

iptr<IDataVideo> Resized(iptr<IDataVideo> picture, Modes mode, Conf::FrameInfo const& info) {
    Resizer(mode, info)->Process(picture);
    return picture;
}

/// The columns and rows of the luma that aren't black: first and last.
struct Box {
    int left, top, right, bottom;
    bool operator==(Box const&) const = default;
};

void PrintTo(Box const& box, std::ostream* out) {
    *out << box.left << ", " << box.top << " to " << box.right << ", " << box.bottom;
}

Box BrightBox(IDataVideo const& picture, int black = 16) {
    Part const luma = ReadPart(picture, 0);
    Box box{luma.width, luma.height, -1, -1};
    for (int y = 0; y < luma.height; ++y)
        for (int x = 0; x < luma.width; ++x)
            if (luma.At(x, y) != black) {
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y)};
            }
    return box;
}

iptr<IDataVideo> Grey(int width, int height, PixFmt format = PIX_FMT_YUV420P) {
    return DrawPlain(format, width, height, {120, 90, 170, 200});
}

TEST(ResizeEffect, StretchesAPlainPictureToThePlainPicture) {
    for (char const* name : {"yuv420p", "yuv422p", "yuv444p", "yuva420p", "nv12", "rgba", "bgra", "rgb24", "gray",
                             "yuyv422", "yuv420p10le", "p010le", "rgb48le", "gbrp"}) {
        auto const result = Resized(Grey(32, 24, FormatOf(name)), Modes::MODE_STRETCH, {47, 31, 1, 1});
        EXPECT_EQ(result->GetPixelFormat(), FormatOf(name));
        EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{47, 31, 1, 1}));
        // The library adds 1 to the upper half of alpha, and has 15 bits on its way.
        int const off = std::string(name) == "rgb48le" ? 4 : 1;
        auto const parts = ReadParts(*result), expected = ReadParts(*Grey(47, 31, FormatOf(name)));
        for (std::size_t i = 0; i < parts.size(); ++i)
            for (int const sample : parts[i].samples)
                ASSERT_NEAR(sample, expected[i].samples[0], i == 3 || off > 1 ? off : 0) << name << " " << i;
        EXPECT_THAT(result, IsVideo(40000, 20000));
    }
}

TEST(ResizeEffect, KeepPassesTheSameObject) {
    auto const picture = Grey(32, 24);
    EXPECT_EQ(Resized(picture, Modes::MODE_KEEP, {}), picture);
    EXPECT_EQ(Resized(picture, Modes::MODE_KEEP, {16, 16, 1, 1}), picture);
}

TEST(ResizeEffect, AsWantedPassesTheSameObject) {
    auto const picture = Grey(32, 24);
    for (Modes const mode : {Modes::MODE_LETTERBOX, Modes::MODE_STRETCH, Modes::MODE_CROP})
        EXPECT_EQ(Resized(picture, mode, {32, 24, 1, 1}), picture);
}

TEST(ResizeEffect, StretchToAnotherPixelAspectTouchesNoPixel) {
    auto const picture = Grey(32, 24);
    auto const result = Resized(picture, Modes::MODE_STRETCH, {32, 24, 4, 3});
    EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{32, 24, 4, 3}));
    EXPECT_EQ(FrameIn(*result).data[0], FrameIn(*picture).data[0]);
    EXPECT_EQ(picture->GetFrameInfo(), (Conf::FrameInfo{32, 24, 1, 1}));
}

TEST(ResizeEffect, LetterboxPutsBlackBarsBeside) {
    auto const narrow = Resized(Grey(40, 40), Modes::MODE_LETTERBOX, {80, 40, 1, 1});
    EXPECT_EQ(BrightBox(*narrow), (Box{20, 0, 59, 39}));
    EXPECT_EQ(ReadPart(*narrow, 1).At(9, 5), 128);
    EXPECT_EQ(ReadPart(*narrow, 1).At(10, 5), 90);
    EXPECT_EQ(ReadPart(*narrow, 1).At(29, 5), 90);
    EXPECT_EQ(ReadPart(*narrow, 1).At(30, 5), 128);
    auto const wide = Resized(Grey(80, 40), Modes::MODE_LETTERBOX, {80, 80, 1, 1});
    EXPECT_EQ(BrightBox(*wide), (Box{0, 20, 79, 59}));
    auto const rgb = Resized(Grey(40, 40, PIX_FMT_RGBA), Modes::MODE_LETTERBOX, {80, 40, 1, 1});
    EXPECT_EQ(BrightBox(*rgb, 0), (Box{20, 0, 59, 39}));
    EXPECT_EQ(ReadPart(*rgb, 3).At(0, 0), 255) << "bars are opaque";
    auto const full = Resized(Marked(*Grey(40, 40), [](AVFrame& frame) { frame.color_range = AVCOL_RANGE_JPEG; }),
                              Modes::MODE_LETTERBOX, {80, 40, 1, 1});
    EXPECT_EQ(BrightBox(*full, 0), (Box{20, 0, 59, 39})) << "black of the picture's range";
}

TEST(ResizeEffect, LetterboxCountsPixelAspects) {
    // 40 x 40 pixels twice as wide as high fill 80 x 40 square ones; square ones fill 40 x 40 wide ones in half.
    auto const anamorphic = Marked(*Grey(40, 40), [](AVFrame& frame) { frame.sample_aspect_ratio = {2, 1}; });
    EXPECT_EQ(BrightBox(*Resized(anamorphic, Modes::MODE_LETTERBOX, {80, 40, 1, 1})), (Box{0, 0, 79, 39}));
    auto const result = Resized(Grey(40, 40), Modes::MODE_LETTERBOX, {40, 40, 2, 1});
    EXPECT_EQ(BrightBox(*result), (Box{10, 0, 29, 39}));
    EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{40, 40, 2, 1}));
}

TEST(ResizeEffect, LetterboxBarsEndWithWholeChromaSamples) {
    // 101 x 75 of 4:3 would be 100 x 75; in a target 133 wide the picture would begin within a chroma sample.
    auto const result = Resized(Grey(400, 300), Modes::MODE_LETTERBOX, {133, 75, 1, 1});
    EXPECT_EQ(BrightBox(*result), (Box{16, 0, 115, 74}));
    Part const chroma = ReadPart(*result, 1);
    EXPECT_EQ(chroma.At(7, 3), 128);
    EXPECT_EQ(chroma.At(8, 3), 90);
    EXPECT_EQ(chroma.At(57, 3), 90);
    EXPECT_EQ(chroma.At(58, 3), 128);
}

TEST(ResizeEffect, CropTakesTheMiddle) {
    // Three stripes: the outer ones go.
    auto const stripes = Draw(PIX_FMT_YUV420P, 80, 40, [](int i, int x, int) {
        if (i > 0) return 128;
        return x < 20 || x >= 60 ? 16 : 200;
    });
    auto const result = Resized(stripes, Modes::MODE_CROP, {40, 40, 1, 1});
    for (int const sample : ReadPart(*result, 0).samples) ASSERT_EQ(sample, 200);
    auto const shrunk = Resized(stripes, Modes::MODE_CROP, {20, 20, 1, 1});
    EXPECT_EQ(ReadPart(*shrunk, 0).At(10, 10), 200);
    EXPECT_EQ(shrunk->GetFrameInfo(), (Conf::FrameInfo{20, 20, 1, 1}));
    // Pixels twice as wide make the middle half as many columns.
    auto const anamorphic = Marked(*stripes, [](AVFrame& frame) { frame.sample_aspect_ratio = {2, 1}; });
    EXPECT_EQ(Resized(anamorphic, Modes::MODE_CROP, {80, 40, 2, 1})->GetFrameInfo(), (Conf::FrameInfo{80, 40, 2, 1}));
    auto const tall = Draw(PIX_FMT_YUV420P, 40, 80, [](int i, int, int y) {
        if (i > 0) return 128;
        return y < 20 || y >= 60 ? 16 : 200;
    });
    for (int const sample : ReadPart(*Resized(tall, Modes::MODE_CROP, {40, 40, 1, 1}), 0).samples)
        ASSERT_EQ(sample, 200);
}

TEST(ResizeEffect, ShowsThePartThatIsToBeShown) {
    auto const stripes = Draw(PIX_FMT_YUV420P, 80, 40, [](int i, int x, int) {
        if (i > 0) return 128;
        return x < 20 || x >= 60 ? 16 : 200;
    });
    auto const cropped = Marked(*stripes, [](AVFrame& frame) { frame.crop_left = frame.crop_right = 20; });
    auto const result = Resized(cropped, Modes::MODE_STRETCH, {32, 32, 1, 1});
    for (int const sample : ReadPart(*result, 0).samples) ASSERT_EQ(sample, 200);
    EXPECT_EQ(result->GetCrop(), CropInfo::WholeOf(32, 32));
    auto const asLarge = Resized(cropped, Modes::MODE_STRETCH, {80, 40, 1, 1});
    EXPECT_THAT(ReadPart(*asLarge, 0).samples, ::testing::Each(200)) << "the size alone doesn't make it fit";
}

TEST(ResizeEffect, OddAndTinySizesWork) {
    for (auto const& [width, height] : {std::pair{1, 1}, {1, 7}, {7, 1}, {3, 5}, {2, 2}, {101, 51}})
        for (Modes const mode : {Modes::MODE_LETTERBOX, Modes::MODE_STRETCH, Modes::MODE_CROP})
            for (int const source : {1, 2, 3, 33}) {
                Conf::FrameInfo const info{width, height, 1, 1};
                EXPECT_EQ(Resized(Grey(source, source + 1), mode, info)->GetFrameInfo(), info)
                    << "from " << source << " by " << mode;
            }
}

TEST(ResizeEffect, KeepsColoursAndFlagsOfTheFrame) {
    auto const marked = Marked(*Grey(64, 64), [](AVFrame& frame) {
        frame.colorspace = AVCOL_SPC_BT709;
        frame.color_range = AVCOL_RANGE_JPEG;
        frame.color_primaries = AVCOL_PRI_BT709;
        frame.color_trc = AVCOL_TRC_BT709;
        frame.interlaced_frame = 1;
        frame.top_field_first = 1;
    });
    auto const result = Resized(marked, Modes::MODE_STRETCH, {32, 32, 1, 1});
    AVFrame const& frame = FrameIn(*result);
    EXPECT_EQ(frame.colorspace, AVCOL_SPC_BT709);
    EXPECT_EQ(frame.color_range, AVCOL_RANGE_JPEG);
    EXPECT_EQ(frame.color_primaries, AVCOL_PRI_BT709);
    EXPECT_EQ(frame.color_trc, AVCOL_TRC_BT709);
    EXPECT_EQ(frame.interlaced_frame, 1);
    EXPECT_EQ(frame.top_field_first, 1);
    EXPECT_EQ(result->GetInterlace(), 1);
    EXPECT_EQ(ReadParts(*result), ReadParts(*Grey(32, 32))) << "no range is converted to another";
}

TEST(ResizeEffect, FieldsOfInterlacedPicturesDoNotMix) {
    // One field dark, the other one bright: lines that mix would be in between.
    auto const combed = [](int width, int height) {
        return Draw(PIX_FMT_YUV420P, width, height, [](int i, int, int y) { return (y % 2 ? 200 : 50) + i * 10; });
    };
    auto const interlaced = [](iptr<IDataVideo> const& picture) {
        return Marked(*picture, [](AVFrame& frame) { frame.interlaced_frame = 1; });
    };
    for (auto const& [width, height] : {std::pair{48, 32}, {48, 54}, {64, 101}, {64, 63}, {64, 2}}) {
        auto const result = Resized(interlaced(combed(64, 64)), Modes::MODE_STRETCH, {width, height, 1, 1});
        EXPECT_EQ(ReadParts(*result), ReadParts(*combed(width, height))) << width << "x" << height;
        // 31 rows of chroma: the second field has none for its last two lines.
        auto const uneven = Resized(interlaced(combed(64, 62)), Modes::MODE_STRETCH, {width, height, 1, 1});
        EXPECT_EQ(ReadParts(*uneven), ReadParts(*combed(width, height))) << width << "x" << height;
        auto const odd = Resized(interlaced(combed(64, 63)), Modes::MODE_STRETCH, {width, height, 1, 1});
        if (height != 63) {
            EXPECT_EQ(ReadParts(*odd), ReadParts(*combed(width, height))) << width << "x" << height;
        }
    }
    // A field stands on its own lines behind bars and cuts, too.
    auto const boxed = Resized(interlaced(combed(64, 64)), Modes::MODE_LETTERBOX, {64, 96, 1, 1});
    EXPECT_EQ(BrightBox(*boxed), (Box{0, 16, 63, 79}));
    EXPECT_EQ(ReadPart(*boxed, 0).At(5, 16), 50);
    EXPECT_EQ(ReadPart(*boxed, 0).At(5, 17), 200);
    auto const cut = Resized(interlaced(combed(64, 64)), Modes::MODE_CROP, {64, 46, 1, 1});
    EXPECT_EQ(ReadPart(*cut, 0).At(5, 0), 50);
    EXPECT_EQ(ReadPart(*cut, 0).At(5, 1), 200);
}

TEST(ResizeEffect, AlgorithmsDiffer) {
    auto const noise = DrawNoise(PIX_FMT_YUV420P, 64, 64, 3);
    auto const by = [&](SettingsResizer::Algorithms algorithm) {
        iptr<IDataVideo> picture = noise;
        Resizer(Modes::MODE_STRETCH, {40, 40, 1, 1}, algorithm)->Process(picture);
        return ReadParts(*picture);
    };
    EXPECT_NE(by(SettingsResizer::ALGORITHM_BILINEAR), by(SettingsResizer::ALGORITHM_BICUBIC));
    EXPECT_NE(by(SettingsResizer::ALGORITHM_BICUBIC), by(SettingsResizer::ALGORITHM_LANCZOS));
    EXPECT_EQ(by(SettingsResizer::ALGORITHM_LANCZOS), by(SettingsResizer::ALGORITHM_LANCZOS));
}

TEST(ResizeEffect, LeavesTheSourceAlone) {
    auto const noise = DrawNoise(PIX_FMT_YUV420P, 64, 64, 3);
    auto const before = ReadParts(*noise);
    Resized(noise, Modes::MODE_LETTERBOX, {40, 80, 1, 1});
    Resized(noise, Modes::MODE_CROP, {40, 80, 1, 1});
    EXPECT_EQ(ReadParts(*noise), before);
    EXPECT_EQ(noise->GetCrop(), CropInfo::WholeOf(64, 64));
}

TEST(ResizeEffect, RefusesSizesThatNoPictureHas) {
    auto const refusal = [](Modes mode, int width, int height) {
        return MessageOf<EffectException>([&] { Resizer(mode, {width, height, 1, 1}); });
    };
    EXPECT_EQ(refusal(Modes::MODE_STRETCH, 0, 0), "Pictures can't be resized to 0x0");
    EXPECT_EQ(refusal(Modes::MODE_LETTERBOX, 0, 10), "Pictures can't be resized to 0x10");
    EXPECT_EQ(refusal(Modes::MODE_CROP, 10, -1), "Pictures can't be resized to 10x-1");
    EXPECT_EQ(refusal(Modes::MODE_CROP, 100000, 100000), "Pictures can't be resized to 100000x100000");
    auto const effect = Resizer(Modes::MODE_STRETCH, {20, 10, 1, 1});
    SettingsResizer bad;
    bad.SetCustomMode(Modes::MODE_STRETCH, {});
    EXPECT_THROW(effect->Initialize(bad), EffectException);
    iptr<IDataVideo> picture = Grey(16, 16);
    effect->Process(picture);
    EXPECT_EQ(picture->GetWidth(), 20) << "the old settings stay";
}

TEST(ResizeEffect, NamesWhatTheLibraryCannotRead) {
    iptr<IDataVideo> picture = MakeVideo(0, 1, 0, FormatOf("uyyvyy411"), 64, 48);
    auto const before = picture;
    auto const effect = Resizer(Modes::MODE_STRETCH, {32, 20, 1, 1});
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Process(picture); }),
              "Can't convert a picture of 64x48 in pixel format uyyvyy411 to 32x20 in uyyvyy411");
    EXPECT_EQ(picture, before) << "it stays the caller's";
}

TEST(ResizeEffect, PixelAspectWithAZeroIsSquare) {
    EXPECT_EQ(Resized(Grey(16, 16), Modes::MODE_STRETCH, {8, 8, 0, 1})->GetFrameInfo(), (Conf::FrameInfo{8, 8, 1, 1}));
}

TEST(ResizeEffect, TellsTheFormatWithoutAFrame) {
    auto const source = Conf::IFormatCodecVideo::Create();
    source->SetFrameInfo({64, 48, 1, 1});
    source->SetPixelFormat(PIX_FMT_YUV420P);
    auto const adapted = [&](Modes mode, PixFmt format) {
        auto const clone = source->Clone();
        clone->SetPixelFormat(format);
        iptr<Conf::IFormatCodec> result(clone);
        Resizer(mode, {32, 20, 4, 3})->AdaptFormatCodec(result);
        return clone;
    };
    EXPECT_EQ(adapted(Modes::MODE_STRETCH, PIX_FMT_YUV420P)->GetFrameInfo(), (Conf::FrameInfo{32, 20, 4, 3}));
    EXPECT_EQ(adapted(Modes::MODE_STRETCH, PIX_FMT_YUV420P)->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(adapted(Modes::MODE_KEEP, PIX_FMT_YUV420P)->GetFrameInfo(), (Conf::FrameInfo{64, 48, 1, 1}));
    EXPECT_EQ(adapted(Modes::MODE_STRETCH, PIX_FMT_NONE)->GetPixelFormat(), PIX_FMT_NONE);
    iptr<Conf::IFormatCodec> none;
    Resizer(Modes::MODE_STRETCH, {32, 20, 1, 1})->AdaptFormatCodec(none);
    // What the frames have is what the format told.
    for (char const* name : {"pal8", "monow", "rgb565le", "yuv420p", "xyz12le", "yuvj420p"}) {
        auto const frame = Resized(MakeVideo(0, 1, 0, FormatOf(name), 64, 48), Modes::MODE_LETTERBOX, {32, 20, 1, 1});
        EXPECT_EQ(frame->GetPixelFormat(), adapted(Modes::MODE_LETTERBOX, FormatOf(name))->GetPixelFormat()) << name;
    }
}

TEST(ResizeEffect, NullPassesAndGpuFramesAreRefused) {
    auto const effect = Resizer(Modes::MODE_STRETCH, {32, 20, 1, 1});
    iptr<IDataVideo> none;
    effect->Process(none);
    EXPECT_EQ(none, nullptr);
    iptr<IDataVideo> far(new FrameFarAway());
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Process(far); }),
              "SettingsResizer can't process a frame in GPU memory");
    EXPECT_EQ(effect->GetProcessingFrameType(), 0);
    iptr<IDataVideo> picture = Grey(16, 16);
    effect->Process(picture);
    EXPECT_EQ(effect->GetStatistic(), Core::MakeStatistics("Tarsel::Host::ResizeEffect::GetStatistic", 0, 1));
}

}  // namespace
}  // namespace Tarsel::Host
