// What comes out, pixel by pixel, with the host's own blender.
#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "Proc/Filters/Filters/FilterVideoMixer.h"
#include "Proc/Filters/Filters/TransparencyBlinkFunctor.h"
#include "host/graph/Factories.h"
#include "tests/host/effects/PictureSupport.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/Draw.h"
#include "tests/support/ScriptedStream.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;
using Samples = std::array<int, 4>;

constexpr Samples GROUND{10, 20, 30, 255};
constexpr Samples LOGO{200, 100, 50, 255};
constexpr Samples RED{255, 0, 0, 255};

IFilterVideoMixer::AlphaFunction Always(int alpha) {
    return [alpha](int64) { return alpha; };
}

iptr<IDataVideo> At(iptr<IDataVideo> const& picture, int64 time, int64 duration = 40000) {
    auto const placed = picture->Clone(true);
    placed->SetTime(time);
    placed->SetDuration(duration);
    return placed;
}

iptr<IDataVideo> Plain(Samples const& samples, int width, int height, PixFmt format = PIX_FMT_RGBA) {
    return At(DrawPlain(format, width, height, samples), 0);
}

iptr<FilterVideoMixer> MixerOver(iptr<IStreamVideo> const& main) {
    return MakeShared<FilterVideoMixer>(main, Host::MakeEffectFactory());
}

/// The frame with the picture drawn on it by a mixer of its own.
iptr<IDataVideo> Drawn(iptr<IDataVideo> const& frame, iptr<IDataVideo> const& picture, int x, int y, int alpha = 255) {
    auto const mixer = MixerOver(ScriptedVideo::Create({frame}));
    mixer->AddWatermark(picture, x, y, 0, Always(alpha));
    return mixer->Read();
}

/// `inside` in [left, right) x [top, bottom), `outside` elsewhere.
iptr<IDataVideo> Boxed(iptr<IDataVideo> const& like, Samples const& outside, Samples const& inside, int left, int top,
                       int right, int bottom) {
    return Draw(like->GetPixelFormat(), like->GetWidth(), like->GetHeight(), [&](int i, int x, int y) {
        Samples const& shown = x >= left && x < right && y >= top && y < bottom ? inside : outside;
        return shown[static_cast<std::size_t>(i)];
    });
}

testing::AssertionResult SamePixels(iptr<IDataVideo> const& found, iptr<IDataVideo> const& wanted) {
    if (!found) return testing::AssertionFailure() << "there is no picture";
    auto const left = ReadParts(*found), right = ReadParts(*wanted);
    for (std::size_t i = 0; i < right.size(); ++i)
        for (int y = 0; y < right[i].height; ++y)
            for (int x = 0; x < right[i].width; ++x)
                if (left.at(i).At(x, y) != right[i].At(x, y))
                    return testing::AssertionFailure() << "component " << i << " at " << x << "," << y << " is "
                                                       << left[i].At(x, y) << ", not " << right[i].At(x, y);
    return testing::AssertionSuccess();
}

// --- Places and strengths --------------------------------------------------------------------------------------------

TEST(VideoMixerDrawing, PictureLiesAtItsPlaceWhichIsEven) {
    ContactSheet sheet("video-mixer-places");
    auto const frame = Plain(GROUND, 24, 16), logo = Plain(LOGO, 6, 4);
    struct Place {
        int x, y, left, top, right, bottom;
        char const* caption;
    };
    int const far = std::numeric_limits<int>::max();
    for (Place const& place :
         {Place{0, 0, 0, 0, 6, 4, "upper left corner"}, Place{5, 7, 4, 6, 10, 10, "odd 5,7: drawn at 4,6"},
          Place{18, 12, 18, 12, 24, 16, "lower right corner"}, Place{-2, -2, 0, 0, 4, 2, "cut at the upper left"},
          Place{-1, -1, 0, 0, 4, 2, "-1,-1 is -2,-2"}, Place{20, 14, 20, 14, 24, 16, "cut at the lower right"},
          Place{-6, 0, 0, 0, 0, 0, "wholly outside: nothing"}, Place{24, 0, 0, 0, 0, 0, "beside it: nothing"},
          Place{far, -far, 0, 0, 0, 0, "far away"}}) {
        auto const found = Drawn(frame, logo, place.x, place.y);
        EXPECT_TRUE(SamePixels(found, Boxed(frame, GROUND, LOGO, place.left, place.top, place.right, place.bottom)))
            << place.caption;
        sheet.Add(found, place.caption);
    }
}

TEST(VideoMixerDrawing, StrengthGoesFromNothingOverHalfToTheWhole) {
    ContactSheet sheet("video-mixer-strengths");
    auto const frame = Plain(GROUND, 24, 16);
    // share = 128: (200 * 128 + 10 * 127 + 127) / 255 = 105, and so on.
    Samples const half{105, 60, 40, 255};
    for (auto const& [alpha, shown] :
         std::vector<std::pair<int, Samples>>{{0, GROUND}, {128, half}, {255, LOGO}, {-7, GROUND}, {1000, LOGO}}) {
        auto const found = Drawn(frame, Plain(LOGO, 6, 4), 8, 6, alpha);
        EXPECT_TRUE(SamePixels(found, Boxed(frame, GROUND, shown, 8, 6, 14, 10))) << alpha;
        sheet.Add(found, "alpha " + std::to_string(alpha));
    }
    // Straight: a picture of half alpha and whole strength is the same as the other way round.
    auto const found = Drawn(frame, Plain({200, 100, 50, 128}, 6, 4), 8, 6);
    EXPECT_TRUE(SamePixels(found, Boxed(frame, GROUND, half, 8, 6, 14, 10)));
    sheet.Add(found, "the picture's own alpha 128");
}

TEST(VideoMixerDrawing, SubsampledColoursFollowTheEvenPlaces) {
    auto const frame = Plain({50, 60, 70, 0}, 16, 12, PIX_FMT_YUV420P);
    auto const logo = Plain({200, 90, 210, 0}, 4, 4, PIX_FMT_YUV420P);
    auto const found = ReadParts(*Drawn(frame, logo, 7, 5));
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 16; ++x) {
            bool const inside = x >= 6 && x < 10 && y >= 4 && y < 8;
            ASSERT_EQ(found[0].At(x, y), inside ? 200 : 50) << x << "," << y;
            ASSERT_EQ(found[1].At(x / 2, y / 2), inside ? 90 : 60) << x << "," << y;
            ASSERT_EQ(found[2].At(x / 2, y / 2), inside ? 210 : 70) << x << "," << y;
        }
}

TEST(VideoMixerDrawing, FrameThatOthersHoldStaysAsItWas) {
    auto const frame = Plain(GROUND, 24, 16);
    auto const before = At(frame, 0);
    EXPECT_FALSE(SamePixels(Drawn(frame, Plain(LOGO, 6, 4), 0, 0), before));
    EXPECT_TRUE(SamePixels(frame, before));
    EXPECT_TRUE(SamePixels(MixerOver(ScriptedVideo::Create({frame}))->Read(), before));
}

TEST(VideoMixerDrawing, PicturesThatCannotBeDrawnOnAFrameAreAFaultOfTheBlender) {
    auto const frame = Plain({1, 0, 0, 0}, 16, 16, FormatOf("monob"));
    EXPECT_THROW(Drawn(frame, Plain(LOGO, 6, 4), 0, 0), EffectException);
}

TEST(VideoMixerDrawing, PictureKeepsItsPixelAspectThroughItsConversionAndIsRefusedForIt) {
    auto const frame = Plain({126, 128, 128, 0}, 32, 32, PIX_FMT_YUV420P);
    auto const logoOf = [](int num, int den) {
        return Marked(*Plain(RED, 16, 16), [&](AVFrame& native) { native.sample_aspect_ratio = {num, den}; });
    };
    EXPECT_NE(ReadPart(*Drawn(frame, logoOf(1, 1), 8, 8), 0).At(16, 16), 126);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Drawn(frame, logoOf(4, 3), 8, 8); }),
              "Aspect ratio of destination stream and blended picture does not match. Watermark must be prepared!");
}

// --- Colours ---------------------------------------------------------------------------------------------------------

TEST(VideoMixerDrawing, RedLogoHasTheRedOfTheFrameItIsDrawnOn) {
    ContactSheet sheet("video-mixer-colours");
    struct Kind {
        char const* caption;
        AVColorSpace matrix;
        AVColorRange range;
        std::array<int, 3> red;
    };
    auto const grey = Plain({126, 128, 128, 0}, 32, 32, PIX_FMT_YUV420P);
    for (Kind const& kind : {Kind{"red, BT.709 limited", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, {63, 102, 240}},
                             Kind{"red, BT.601 full", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG, {76, 85, 255}},
                             Kind{"red, BT.601 limited", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG, {81, 90, 240}},
                             Kind{"red, BT.709 full", AVCOL_SPC_BT709, AVCOL_RANGE_JPEG, {54, 99, 255}}}) {
        auto const frame = Marked(*grey, [&](AVFrame& native) {
            native.colorspace = kind.matrix;
            native.color_range = kind.range;
        });
        auto const found = Drawn(frame, Plain(RED, 16, 16), 8, 8);
        auto const parts = ReadParts(*found);
        for (std::size_t i = 0; i < 3; ++i) {
            int const middle = parts[i].width / 2;
            EXPECT_NEAR(parts[i].At(middle, middle), kind.red[i], 2) << kind.caption << ", component " << i;
            EXPECT_EQ(parts[i].At(0, 0), i == 0 ? 126 : 128) << kind.caption;
        }
        sheet.Add(found, kind.caption);
    }
}

TEST(VideoMixerDrawing, LogoFollowsAStreamWhoseColoursChange) {
    auto const grey = Plain({126, 128, 128, 0}, 32, 32, PIX_FMT_YUV420P);
    auto const wide = Marked(*At(grey, 40000), [](AVFrame& native) {
        native.colorspace = AVCOL_SPC_SMPTE170M;
        native.color_range = AVCOL_RANGE_JPEG;
    });
    auto const mixer = MixerOver(ScriptedVideo::Create({grey, wide, At(Plain(GROUND, 32, 32), 80000)}));
    mixer->AddWatermark(Plain(RED, 16, 16), 8, 8, 0, Always(255));
    int const first = ReadPart(*mixer->Read(), 0).At(16, 16), second = ReadPart(*mixer->Read(), 0).At(16, 16);
    EXPECT_NE(first, second);
    EXPECT_NEAR(second, 76, 2);
    EXPECT_TRUE(SamePixels(mixer->Read(), Boxed(Plain(GROUND, 32, 32), GROUND, RED, 8, 8, 24, 24)));
}

// --- Streams ---------------------------------------------------------------------------------------------------------

/// A picture whose every colour is `shade`.
iptr<IDataVideo> Shaded(int shade, int64 time, int64 duration, int width = 8, int height = 8) {
    return At(DrawPlain(PIX_FMT_RGBA, width, height, {shade, shade, shade, 255}), time, duration);
}

iptr<ScriptedVideo> Clip(int count, int64 frame, int firstShade, int size) {
    std::vector<iptr<IDataVideo>> frames;
    for (int i = 0; i < count; ++i) frames.push_back(Shaded(firstShade + i, i * frame, frame, size, size));
    auto clip = ScriptedVideo::Create(frames);
    clip->duration = count * frame;
    return clip;
}

int ShadeAt(iptr<IDataVideo> const& picture, int x, int y) {
    return ReadPart(*picture, 0).At(x, y);
}

TEST(VideoMixerDrawing, StreamsLoopsAndBlinksShowTheirFramesAtTheirTimes) {
    ContactSheet sheet("video-mixer-times");
    auto const main = Clip(12, 40000, 0, 32);
    auto const mixer = MixerOver(main);
    mixer->AddStream(Clip(4, 40000, 100, 8), 0, 0, 80000, Always(255), false);
    mixer->AddStream(Clip(3, 40000, 200, 8), 24, 0, 0, Always(255), true);
    mixer->AddWatermark(Shaded(250, 0, 1), 12, 20, 0, TransparencyBlinkFunctor(255, 79999, 79999, true));
    for (int i = 0; i < 12; ++i) {
        auto const frame = mixer->Read();
        EXPECT_EQ(ShadeAt(frame, 0, 0), i < 2 || i >= 6 ? i : 100 + i - 2) << i;
        EXPECT_EQ(ShadeAt(frame, 24, 0), 200 + i % 3) << i;
        EXPECT_EQ(ShadeAt(frame, 12, 20), i / 2 % 2 == 0 ? 250 : i) << i;
        EXPECT_EQ(ShadeAt(frame, 31, 31), i) << i;
        sheet.Add(frame, "frame " + std::to_string(i) + (i < 2 || i >= 6 ? "" : ", stream") +
                             (i / 2 % 2 == 0 ? ", blink on" : ", blink off"));
    }
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(VideoMixerDrawing, WhatWasAddedLaterCoversWhatWasAddedEarlierAndPicturesCoverStreams) {
    ContactSheet sheet("video-mixer-order");
    auto const mixer = MixerOver(Clip(1, 40000, 0, 32));
    mixer->AddWatermark(Shaded(200, 0, 1), 8, 8, 0, Always(255));
    mixer->AddStream(Clip(1, 40000, 100, 8), 4, 4, 0, Always(255), false);
    mixer->AddWatermark(Shaded(250, 0, 1), 12, 12, 0, Always(255));
    mixer->AddStream(Clip(1, 40000, 150, 8), 8, 0, 0, Always(255), false);
    auto const frame = mixer->Read();
    EXPECT_EQ(ShadeAt(frame, 4, 4), 100);
    EXPECT_EQ(ShadeAt(frame, 9, 5), 150) << "the later stream";
    EXPECT_EQ(ShadeAt(frame, 9, 9), 200) << "a picture over both streams";
    EXPECT_EQ(ShadeAt(frame, 13, 13), 250) << "the later picture";
    sheet.Add(frame, "streams below, pictures above");
}

TEST(VideoMixerDrawing, EachFrameOfADrawnStreamIsItsOwnHoweverMemoryIsUsedAgain) {
    auto const clip = Clip(50, 40000, 0, 8);
    iptr<ScriptedFilter<IStreamVideo>> const stream(new ScriptedFilter<IStreamVideo>(clip));
    stream->onRead = [count = 0]() mutable {
        int const index = count++;
        return Shaded(200 + index, index * int64{40000}, 40000);
    };
    std::vector<iptr<IDataVideo>> frames;
    for (int i = 0; i < 50; ++i) frames.push_back(At(Plain({16, 128, 128, 0}, 16, 16, PIX_FMT_YUV420P), i * 40000));
    auto const mixer = MixerOver(ScriptedVideo::Create(frames));
    mixer->AddStream(stream, 0, 0, 0, Always(255), false);
    for (int i = 0; i < 50; ++i) EXPECT_NEAR(ReadPart(*mixer->Read(), 0).At(2, 2), 16 + (200 + i) * 219 / 255, 1) << i;
}

TEST(VideoMixerDrawing, SeekPropertyHoldsForBeginsOfFramesWhereEveryStartIsZeroAndNothingBlinks) {
    auto const make = [] {
        auto const main = Clip(60, 40000, 0, 16);
        auto const mixer = MixerOver(main);
        mixer->AddStream(Clip(7, 50000, 100, 8), 0, 0, 0, Always(255), true);
        mixer->AddStream(Clip(90, 20000, 120, 4), 8, 8, 0, Always(128), false);
        mixer->AddWatermark(Shaded(240, 0, 1, 4, 4), 12, 0, 1000000, Always(255));
        return mixer;
    };
    std::vector<iptr<IDataVideo>> const straight = ReadAll(*make());
    ASSERT_EQ(straight.size(), 60U);
    auto const mixer = make();
    for (u32 const seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(seed);
        TestSupport::Draw draw(seed);
        for (int round = 0; round < 60; ++round) {
            // Now and then near the end.
            int64 const position = 40000 * int64{round % 5 == 0 ? 59 - draw.Below(3) : draw.Below(60)};
            SCOPED_TRACE(position);
            Seek(*mixer, position);
            auto index = static_cast<std::size_t>(position / 40000);
            for (u32 i = draw.Below(20) + 1; i > 0 && index < straight.size(); --i, ++index)
                ASSERT_TRUE(SamePixels(mixer->Read(), straight[index])) << index;
        }
    }
}

TEST(VideoMixerDrawing, SeekIntoAFrameTakesTheDrawnFrameOfThatVeryTime) {
    auto const mixer = MixerOver(Clip(5, 40000, 0, 16));
    mixer->AddStream(Clip(5, 50000, 100, 8), 0, 0, 0, Always(255), false);
    for (auto const& [position, shade] : std::vector<std::pair<int64, int>>{{80000, 101}, {110000, 102}}) {
        Seek(*mixer, position);
        auto const frame = mixer->Read();
        EXPECT_EQ(frame->GetTime(), 80000);
        EXPECT_EQ(ShadeAt(frame, 0, 0), shade) << "asked for " << position;
    }
}

}  // namespace
}  // namespace Tarsel::Proc
