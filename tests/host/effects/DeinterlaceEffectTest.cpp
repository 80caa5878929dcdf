#include "host/effects/DeinterlaceEffect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/effects/LineSmootherEffect.h"
#include "tests/host/effects/PictureSupport.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int WIDTH = 96;
constexpr int HEIGHT = 64;

iptr<DeinterlaceEffect> Deinterlacer(SettingsDeinterlace::Methods method) {
    auto const effect = MakeShared<DeinterlaceEffect>();
    effect->Initialize(SettingsEffectDeinterlace(method));
    return effect;
}

iptr<IDataVideo> After(IOneInputEffectVideo& effect, iptr<IDataVideo> picture) {
    effect.Process(picture);
    return picture;
}

iptr<IDataVideo> Interlaced(IDataVideo const& picture, bool topFirst = true) {
    return Marked(picture, [&](AVFrame& frame) {
        frame.interlaced_frame = 1;
        frame.top_field_first = topFirst ? 1 : 0;
    });
}

/// What there is to see at a moment: a pattern with fine lines that stands still, and a bright disc with a slanted
/// stripe that move in front of it.
int Scene(double moment, int component, int x, int y) {
    if (component > 0) return 128 + (x - y) / 8;
    double const disc = std::hypot(x - 20 - 6 * moment, y - 24 - 2 * moment);
    if (disc < 12) return 220;
    if (std::abs(x + y * 0.7 - 90 - 5 * moment) < 4) return 30;
    return 110 + static_cast<int>(30 * std::sin(x * 0.2) * std::cos(y * 1.1));
}

/// The picture of one moment, as a progressive camera would have taken it.
iptr<IDataVideo> Truth(double moment, PixFmt format = PIX_FMT_YUV420P) {
    return Draw(format, WIDTH, HEIGHT, [&](int i, int x, int y) { return Scene(moment, i, x, y); });
}

/// The same with the second field taken half a picture later.
iptr<IDataVideo> Combed(double moment, bool topFirst) {
    auto const picture = Draw(PIX_FMT_YUV420P, WIDTH, HEIGHT, [&](int i, int x, int y) {
        bool const isFirst = (y % 2 == 0) == topFirst;
        return Scene(isFirst ? moment : moment + 0.5, i, x, y);
    });
    return Interlaced(*picture, topFirst);
}

/// The plainest way: every line of the second field is the line above it, or below at the upper edge.
Part Doubled(Part const& part, bool topFirst) {
    Part result = part;
    for (int y = topFirst ? 1 : 0; y < part.height; y += 2)
        for (int x = 0; x < part.width; ++x) result.At(x, y) = part.At(x, y > 0 ? y - 1 : 1);
    return result;
}

double Psnr(Part const& part, Part const& truth) {
    double sum = 0;
    for (std::size_t i = 0; i < part.samples.size(); ++i) sum += std::pow(part.samples[i] - truth.samples[i], 2);
    return sum == 0 ? 999 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(part.samples.size()) / sum);
}

TEST(DeinterlaceEffect, IsNearerToTheTruthThanDoubledLines) {
    for (bool const topFirst : {true, false}) {
        auto const spatial = Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL);
        auto const adaptive = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
        for (int i = 0; i < 6; ++i) {
            auto const combed = Combed(i, topFirst);
            Part const truth = ReadPart(*Truth(i), 0);
            double const doubled = Psnr(Doubled(ReadPart(*combed, 0), topFirst), truth);
            double const left = Psnr(ReadPart(*combed, 0), truth);
            double const bySpace = Psnr(ReadPart(*After(*spatial, combed->Clone(false)), 0), truth);
            double const byTime = Psnr(ReadPart(*After(*adaptive, combed->Clone(false)), 0), truth);
            EXPECT_GT(bySpace, doubled + 3) << "picture " << i;
            EXPECT_GT(bySpace, left) << "picture " << i;
            EXPECT_GT(byTime, doubled + 3) << "picture " << i;
            if (i > 0) {
                EXPECT_GT(byTime, bySpace + 1) << "what stands still is known, picture " << i;
            }
        }
    }
}

TEST(DeinterlaceEffect, KeepsTheFieldThatComesFirst) {
    auto const noise = DrawNoise(PIX_FMT_YUV420P, 31, 21, 1);
    auto const before = ReadParts(*noise);
    for (bool const topFirst : {true, false}) {
        auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL);
        auto const after = ReadParts(*After(*effect, Interlaced(*noise, topFirst)));
        for (std::size_t i = 0; i < after.size(); ++i)
            for (int y = topFirst ? 0 : 1; y < after[i].height; y += 2)
                for (int x = 0; x < after[i].width; ++x) ASSERT_EQ(after[i].At(x, y), before[i].At(x, y));
    }
}

TEST(DeinterlaceEffect, MissingLinesAreTheMeanOfTheirNeighboursWhereNothingLeans) {
    // Lines of one shade each have no direction.
    auto const lines = Draw(PIX_FMT_YUV420P, 16, 9, [](int i, int, int y) { return 20 * y + i; });
    auto const top = ReadPart(*After(*Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL), Interlaced(*lines, true)), 0);
    for (int y = 0; y < 9; ++y) EXPECT_EQ(top.At(7, y), 20 * y);
    auto const bottom =
        ReadPart(*After(*Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL), Interlaced(*lines, false)), 0);
    EXPECT_EQ(bottom.At(7, 0), 20) << "at the edges the one neighbour there is";
    EXPECT_EQ(bottom.At(7, 8), 140);
    for (int y = 1; y < 8; ++y) EXPECT_EQ(bottom.At(7, y), 20 * y);
}

TEST(DeinterlaceEffect, FollowsSlantedEdges) {
    // An edge that moves two columns a line: straight means would blur it.
    auto const edge =
        Draw(PIX_FMT_YUV420P, 48, 16, [](int i, int x, int y) { return i == 0 && x > 10 + 2 * y ? 200 : 50; });
    auto const result = ReadPart(*After(*Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL), Interlaced(*edge)), 0);
    Part const truth = ReadPart(*edge, 0);
    for (int y = 1; y < 14; y += 2)
        for (int x = 4; x < 44; ++x) EXPECT_EQ(result.At(x, y), truth.At(x, y)) << x << ", " << y;
}

TEST(DeinterlaceEffect, StillPicturesStayIdentical) {
    for (char const* name : {"yuv420p", "yuv422p", "yuv420p10le", "yuv444p16le", "yuyv422", "nv12", "p010le", "rgba"}) {
        auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
        auto const still = Interlaced(*DrawNoise(FormatOf(name), 31, 21, 1));
        After(*effect, still->Clone(true));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(ReadParts(*After(*effect, still->Clone(true))), ReadParts(*still)) << name;
    }
}

TEST(DeinterlaceEffect, SmallChangesCountAsStanding) {
    for (int const change : {4, 5}) {
        auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
        auto const lines = [](int more) {
            return Draw(PIX_FMT_YUV420P, 16, 8, [=](int, int, int y) { return (y % 2 ? 200 : 50) + more; });
        };
        After(*effect, Interlaced(*lines(0)));
        Part const result = ReadPart(*After(*effect, Interlaced(*lines(change))), 0);
        EXPECT_EQ(result.At(8, 3), change == 4 ? 204 : 55);
    }
}

TEST(DeinterlaceEffect, MotionInAnyOfTheNinePixelsAroundCounts) {
    for (int const dy : {-1, 0, 1})
        for (int const dx : {-2, -1, 0, 1, 2}) {
            auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
            auto const lines = [](int px, int py) {
                return Draw(PIX_FMT_YUV420P, 16, 8, [=](int i, int x, int y) {
                    return (y % 2 ? 200 : 50) + (i == 0 && x == px && y == py ? 30 : 0);
                });
            };
            After(*effect, Interlaced(*lines(-1, -1)));
            Part const result = ReadPart(*After(*effect, Interlaced(*lines(8 + dx, 3 + dy))), 0);
            bool const isNear = dx >= -1 && dx <= 1;
            EXPECT_EQ(result.At(8, 3) < 100, isNear) << dx << ", " << dy << ": " << result.At(8, 3);
        }
}

TEST(DeinterlaceEffect, ResetForgetsThePictureBefore) {
    auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
    auto const picture = Combed(1, true);
    auto const first = ReadParts(*After(*effect, picture->Clone(true)));
    auto const second = ReadParts(*After(*effect, picture->Clone(true)));
    EXPECT_NE(first, second);
    effect->ResetEffectState();
    EXPECT_EQ(ReadParts(*After(*effect, picture->Clone(true))), first);
    effect->Initialize(SettingsEffectDeinterlace());
    EXPECT_EQ(ReadParts(*After(*effect, picture->Clone(true))), first);
    auto const spatial = Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL);
    EXPECT_EQ(ReadParts(*After(*spatial, picture->Clone(true))), first);
}

TEST(DeinterlaceEffect, APictureThatComesAgainDoesNotPassForStill) {
    // Maps and frame-rate filters hand one picture out several times: its combs would be let through.
    auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
    After(*effect, Combed(0, true));
    auto const picture = Combed(1, true);
    auto const first = ReadParts(*After(*effect, picture->Clone(false)));
    EXPECT_EQ(ReadParts(*After(*effect, picture->Clone(false))), first);
    EXPECT_EQ(ReadParts(*After(*effect, picture->Clone(false))), first);
}

TEST(DeinterlaceEffect, AnotherSizeFormatOrOrderOfFieldsIsAnotherBegin) {
    auto const alone = ReadParts(*After(*Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE), Combed(1, true)));
    for (auto const& other :
         {Interlaced(*DrawNoise(PIX_FMT_YUV420P, WIDTH + 1, HEIGHT, 1)),
          Interlaced(*DrawNoise(PIX_FMT_YUV420P, WIDTH, HEIGHT - 1, 1)),
          Interlaced(*DrawNoise(PIX_FMT_RGBA, WIDTH, HEIGHT, 1)), Interlaced(*Combed(1, true), false)}) {
        auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
        After(*effect, other);
        EXPECT_EQ(ReadParts(*After(*effect, Combed(1, true))), alone);
    }
}

TEST(DeinterlaceEffect, ResultIsProgressive) {
    auto const source = Combed(1, true);
    auto const result = After(*Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE), source);
    EXPECT_EQ(result->GetInterlace(), 0);
    EXPECT_EQ(FrameIn(*result).top_field_first, 0);
    EXPECT_EQ(source->GetInterlace(), 1) << "the source stays";
    EXPECT_THAT(result, IsVideo(40000, 20000));
}

TEST(DeinterlaceEffect, ProgressivePicturesPassAsTheSameObjects) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(After(*Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE), picture), picture);
    EXPECT_EQ(After(*Deinterlacer(SettingsDeinterlace::METHOD_SPATIAL), picture), picture);
}

TEST(DeinterlaceEffect, TinyPicturesWork) {
    for (auto const& [width, height] : {std::pair{1, 1}, {1, 2}, {2, 1}, {3, 2}, {1, 9}})
        for (bool const topFirst : {true, false}) {
            auto const effect = Deinterlacer(SettingsDeinterlace::METHOD_ADAPTIVE);
            for (unsigned i = 0; i < 3; ++i) {
                auto const picture = Interlaced(*DrawNoise(PIX_FMT_YUV420P, width, height, i), topFirst);
                EXPECT_EQ(After(*effect, picture)->GetFrameInfo(), (Conf::FrameInfo{width, height, 1, 1}));
            }
        }
}

// --- Lines evened out ------------------------------------------------------------------------------------------------

TEST(LineSmootherEffect, IsOneTwoOneOverFour) {
    for (char const* name : {"yuv420p", "rgba", "yuyv422", "nv12", "yuv422p10le", "p010le", "yuva444p16le"}) {
        auto const picture = DrawNoise(FormatOf(name), 19, 13, 1);
        auto const before = ReadParts(*picture);
        auto expected = before;
        for (std::size_t i = 0; i < before.size(); ++i)
            for (int y = 0; y < before[i].height; ++y)
                for (int x = 0; x < before[i].width; ++x) {
                    int const above = before[i].At(x, std::max(y - 1, 0));
                    int const below = before[i].At(x, std::min(y + 1, before[i].height - 1));
                    expected[i].At(x, y) = (above + 2 * before[i].At(x, y) + below + 2) / 4;
                }
        auto const effect = MakeShared<LineSmootherEffect>();
        EXPECT_EQ(ReadParts(*After(*effect, picture)), expected) << name;
        EXPECT_EQ(ReadParts(*picture), before) << name;
    }
}

}  // namespace
}  // namespace Tarsel::Host
