#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/graph/Factories.h"
#include "tests/host/effects/EffectRun.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::Each;

constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();

// --- All of them -----------------------------------------------------------------------------------------------------

class AllPictureEffects : public ::testing::TestWithParam<char const*> {
  protected:
    iptr<IEffect> effect = MakeEffectFactory()->CreateEffect(GetParam(), ImplNames::TARSEL);
    std::string className() const { return GetParam(); }
};

TEST_P(AllPictureEffects, StandUnderTheirNameAndAreTheDefault) {
    auto const factory = MakeEffectFactory();
    EXPECT_THAT(factory->GetImplementations(GetParam()), ::testing::Contains(ImplNames::TARSEL));
    auto const made = factory->CreateEffect(GetParam(), ImplNames::DEFAULT);
    EXPECT_EQ(made->GetEffectSettings().GetClassId(), GetParam());
    EXPECT_EQ(made->GetProcessingFrameType(), 0);
    EXPECT_EQ(made->GetSettings().Name(), GetParam());
}

TEST_P(AllPictureEffects, PassNullAndHoldNothing) {
    EXPECT_EQ(effect->ProcessData({nullptr}), nullptr);
    EXPECT_NE(After(*effect, {DrawNoise(PIX_FMT_YUV420P, 16, 16, 1)}), nullptr);
    EXPECT_EQ(effect->ProcessData({nullptr}), nullptr);
    EXPECT_THROW(effect->ProcessData({}), std::invalid_argument);
}

TEST_P(AllPictureEffects, RefuseFramesInGpuMemory) {
    // The blender meets one of them where there are two.
    std::vector<iptr<IDataVideo>> inputs{iptr<IDataVideo>(new FrameFarAway())};
    if (className() == SettingsEffectImageBlender::CLASS_ID) inputs.push_back(inputs.front());
    EXPECT_EQ(MessageOf<EffectException>([&] { After(*effect, inputs); }),
              className() + " can't process a frame in GPU memory");
}

TEST_P(AllPictureEffects, RefuseSoundAndOtherSettings) {
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->ProcessData({MakeAudio(0, 100)}); }),
              "The effect can't process an item of this kind");
    EXPECT_THROW(effect->Initialize(Core::Property("Other")), FilterException);
}

TEST_P(AllPictureEffects, LeaveSharedPicturesAlone) {
    auto const picture =
        Marked(*DrawNoise(PIX_FMT_YUV420P, 16, 16, 1), [](AVFrame& frame) { frame.interlaced_frame = 1; });
    auto const before = ReadParts(*picture);
    SetProgress(*effect, 0.5);
    if (className() == SettingsEffectColor::CLASS_ID) {
        SettingsEffectColor grey;
        grey.SetSaturation(0);
        effect->Initialize(grey);
    }
    for (int i = 0; i < 3; ++i) After(*effect, {picture->Clone(false), picture->Clone(false)});
    iptr<IDataVideo> const own = picture->Clone(false);
    if (auto* const single = dynamic_cast<IOneInputEffectVideo*>(effect.get())) {
        iptr<IDataVideo> item = own->Clone(false);
        single->Process(item);
    }
    EXPECT_EQ(ReadParts(*picture), before);
}

TEST_P(AllPictureEffects, KeepTimesAndCountPictures) {
    SetProgress(*effect, 0.25);
    std::vector<iptr<IDataVideo>> const pictures{DrawNoise(PIX_FMT_YUV420P, 16, 16, 1),
                                                 DrawNoise(PIX_FMT_YUV420P, 16, 16, 2)};
    EXPECT_THAT(After(*effect, pictures), IsVideo(40000, 20000));
    EXPECT_THAT(After(*effect, pictures), IsVideo(40000, 20000));
    Core::Property const statistic = effect->GetStatistic();
    EXPECT_EQ(statistic.Name().rfind("Tarsel::Host::", 0), 0U) << statistic.Name();
    EXPECT_EQ(statistic, Core::MakeStatistics(statistic.Name(), 0, 2));
}

TEST_P(AllPictureEffects, KeepTheirIntervalInTheirProperty) {
    TimeToProgress map;
    map.begin = 5;
    map.end = 75;
    effect->SetTimeToProgress(map);
    Core::Property const property = effect->GetSettings();
    EXPECT_EQ(property["Begin"].GetInt64(), 5);
    EXPECT_EQ(property["End"].GetInt64(), 75);
    if (className() == SettingsEffectStamp::CLASS_ID) return;  // needs a file
    auto const other = MakeEffectFactory()->CreateEffect(GetParam(), ImplNames::TARSEL);
    other->Initialize(property);
    EXPECT_EQ(other->GetSettings(), property);
    EXPECT_EQ(other->GetTimeToProgress().begin, 5);
    EXPECT_EQ(other->GetTimeToProgress().end, 75);
}

INSTANTIATE_TEST_SUITE_P(ByName, AllPictureEffects,
                         ::testing::Values(SettingsResizer::CLASS_ID, SettingsColorSpaceConverter::CLASS_ID,
                                           SettingsEffectDeinterlace::CLASS_ID, SettingsEffectLineSmoother::CLASS_ID,
                                           SettingsEffectImageBlender::CLASS_ID, SettingsEffectColor::CLASS_ID,
                                           SettingsEffectFade::CLASS_ID, SettingsEffectStamp::CLASS_ID,
                                           SettingsEffectText::CLASS_ID, SettingsEffectComposite::CLASS_ID,
                                           SettingsEffectDissolve::CLASS_ID, SettingsEffectCrop::CLASS_ID),
                         [](auto const& row) { return std::string(row.param); });

/// The effects that work on samples change formats that they can't work on, and say so.
TEST(PictureEffects, FormatsThatLoopsCannotReadBecomeTheNearest) {
    SettingsEffectFade const fade;
    struct Case {
        char const* from;
        char const* to;
    };
    for (auto const& [from, to] : {Case{"yuv420p", "yuv420p"},
                                   {"p010le", "p010le"},
                                   {"rgb565le", "rgb24"},
                                   {"pal8", "rgba"},
                                   {"monow", "gray"},
                                   {"yuv420p10be", "yuv420p10le"}}) {
        auto const effect = Make(fade);
        auto const codec = Conf::IFormatCodecVideo::Create();
        codec->SetPixelFormat(FormatOf(from));
        iptr<Conf::IFormatCodec> format(codec);
        effect->AdaptFormatCodec(format);
        EXPECT_EQ(codec->GetPixelFormat(), FormatOf(to)) << from;
        EXPECT_EQ(After(*effect, {MakeVideo(40000, 1, 0, FormatOf(from))})->GetPixelFormat(), FormatOf(to)) << from;
    }
}

// --- Colour space ----------------------------------------------------------------------------------------------------

TEST(ColorSpaceEffect, AcceptedFormatsPassAsTheSameObject) {
    SettingsColorSpaceConverter const settings({PIX_FMT_RGBA, PIX_FMT_YUV420P});
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(After(settings, {picture}), picture);
    EXPECT_EQ(After(SettingsColorSpaceConverter(), {picture}), picture);
}

TEST(ColorSpaceEffect, OthersBecomeTheFirstFormat) {
    SettingsColorSpaceConverter const settings({PIX_FMT_RGBA, PIX_FMT_YUV420P});
    auto const result = After(settings, {DrawPlain(PIX_FMT_BGRA, 17, 15, {10, 20, 30, 40})});
    EXPECT_EQ(result->GetPixelFormat(), PIX_FMT_RGBA);
    EXPECT_EQ(ReadParts(*result), ReadParts(*DrawPlain(PIX_FMT_RGBA, 17, 15, {10, 20, 30, 40})));
    EXPECT_THAT(result, IsVideo(40000, 20000));
}

TEST(ColorSpaceEffect, GoesByTheMatrixAndTheRangeOfThePicture) {
    SettingsColorSpaceConverter const toRgb({PIX_FMT_RGB24});
    auto const sd = DrawPlain(PIX_FMT_YUV420P, 16, 16, {81, 90, 240, 0});
    auto const hd = Marked(*DrawPlain(PIX_FMT_YUV420P, 16, 16, {63, 102, 240, 0}),
                           [](AVFrame& frame) { frame.colorspace = AVCOL_SPC_BT709; });
    auto const full = Marked(*DrawPlain(PIX_FMT_YUV420P, 16, 16, {76, 85, 255, 0}),
                             [](AVFrame& frame) { frame.color_range = AVCOL_RANGE_JPEG; });
    for (auto const& picture : {sd, hd, full}) {
        auto const result = After(toRgb, {picture});
        EXPECT_NEAR(ReadPart(*result, 0).At(5, 5), 255, 2);
        EXPECT_NEAR(ReadPart(*result, 1).At(5, 5), 0, 2);
        EXPECT_NEAR(ReadPart(*result, 2).At(5, 5), 0, 2);
        EXPECT_EQ(FrameIn(*result).colorspace, AVCOL_SPC_RGB);
    }
    auto const back = After(SettingsColorSpaceConverter({PIX_FMT_YUV420P}), {After(toRgb, {sd})});
    EXPECT_NEAR(ReadPart(*back, 0).At(5, 5), 81, 1);
    EXPECT_EQ(FrameIn(*back).colorspace, AVCOL_SPC_SMPTE170M) << "what RGB became is said";
    EXPECT_EQ(FrameIn(*back).color_range, AVCOL_RANGE_MPEG);
}

TEST(ColorSpaceEffect, JpegRangeStaysTrue) {
    PixFmt const jpeg = FormatOf("yuvj420p");
    auto const picture = DrawPlain(jpeg, 16, 16, {255, 128, 128, 0});
    auto const limited = After(SettingsColorSpaceConverter({PIX_FMT_YUV420P}), {picture});
    EXPECT_EQ(ReadPart(*limited, 0).At(3, 3), 235);
    EXPECT_EQ(FrameIn(*limited).color_range, AVCOL_RANGE_MPEG);
    EXPECT_EQ(ReadPart(*After(SettingsColorSpaceConverter({jpeg}), {limited}), 0).At(3, 3), 255);
}

TEST(ColorSpaceEffect, TellsTheFormat) {
    auto const told = [](PixFmt from, std::vector<PixFmt> const& formats) {
        auto const codec = Conf::IFormatCodecVideo::Create();
        codec->SetPixelFormat(from);
        iptr<Conf::IFormatCodec> format(codec);
        Make(SettingsColorSpaceConverter(formats))->AdaptFormatCodec(format);
        return codec->GetPixelFormat();
    };
    EXPECT_EQ(told(PIX_FMT_YUV420P, {PIX_FMT_RGBA, PIX_FMT_BGRA}), PIX_FMT_RGBA);
    EXPECT_EQ(told(PIX_FMT_BGRA, {PIX_FMT_RGBA, PIX_FMT_BGRA}), PIX_FMT_BGRA);
    EXPECT_EQ(told(PIX_FMT_YUV420P, {}), PIX_FMT_YUV420P);
    EXPECT_EQ(told(PIX_FMT_NONE, {PIX_FMT_RGBA}), PIX_FMT_NONE);
}

TEST(ColorSpaceEffect, RefusesFormatsThatNothingIsConvertedTo) {
    EXPECT_EQ(MessageOf<EffectException>([] { Make(SettingsColorSpaceConverter({FormatOf("pal8")})); }),
              "Pictures can't be converted to pixel format pal8");
    EXPECT_EQ(MessageOf<EffectException>([] { Make(SettingsColorSpaceConverter({FormatOf("vaapi")})); }),
              "Pictures can't be converted to pixel format vaapi");
}

// --- Colour ----------------------------------------------------------------------------------------------------------

SettingsEffectColor Colours(double brightness, double contrast, double saturation) {
    SettingsEffectColor settings;
    settings.SetBrightness(brightness);
    settings.SetContrast(contrast);
    settings.SetSaturation(saturation);
    return settings;
}

int Rounded(double value, int max) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, double(max))));
}

TEST(ColorEffect, DefaultsPassTheSameObject) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(After(Colours(0, 1, 1), {picture}), picture);
    EXPECT_NE(After(Colours(0.1, 1, 1), {picture}), picture);
    EXPECT_NE(After(Colours(0, 1.1, 1), {picture}), picture);
    EXPECT_NE(After(Colours(0, 1, 1.1), {picture}), picture);
}

TEST(ColorEffect, YuvFollowsTheFormula) {
    struct Case {
        char const* format;
        bool full;
    };
    for (auto const& [name, full] : {Case{"yuv420p", false},
                                     {"yuv420p", true},
                                     {"yuva444p", false},
                                     {"nv12", false},
                                     {"yuyv422", false},
                                     {"yuv422p10le", false},
                                     {"p010le", false},
                                     {"gray", true},
                                     {"yuvj420p", true},
                                     {"yuv444p16le", false}})
        for (auto const& [b, c, s] : {std::array{0.1, 1.0, 1.0}, {-0.35, 1.7, 0.3}, {0.0, 1.0, 4.0}, {1.0, 0.0, 0.0}}) {
            auto picture = DrawNoise(FormatOf(name), 37, 21, 5);
            if (full)
                picture = Marked(*picture, [](AVFrame& frame) { frame.color_range = AVCOL_RANGE_JPEG; })->Clone(true);
            auto expected = ReadParts(*picture);
            int const depth = Describe(*picture).comp[0].depth;
            double const unit = 1 << (depth - 8);
            int const max = (1 << depth) - 1;
            double const black = full ? 0 : 16 * unit, span = full ? max : 219 * unit, none = 128 * unit;
            for (int& y : expected[0].samples)
                y = Rounded((y - black - span / 2) * c + black + span / 2 + b * span, max);
            for (std::size_t i = 1; i < std::min<std::size_t>(expected.size(), 3); ++i)
                for (int& v : expected[i].samples) v = Rounded((v - none) * (c * s) + none, max);
            ASSERT_EQ(ReadParts(*After(Colours(b, c, s), {picture})), expected)
                << name << ": " << b << ", " << c << ", " << s;
        }
}

TEST(ColorEffect, RgbFollowsTheFormula) {
    for (char const* name :
         {"rgba", "argb", "bgra", "abgr", "rgb24", "bgr24", "gbrp", "gbrp10le", "rgba64le", "rgb48le"})
        for (auto const& [b, c, s] :
             {std::array{0.1, 1.0, 1.0}, {-0.35, 1.7, 0.3}, {0.0, 1.0, 4.0}, {1.0, 0.0, 0.0}, {0.0, 4.0, 4.0}}) {
            auto const picture = DrawNoise(FormatOf(name), 37, 21, 5);
            auto const before = ReadParts(*picture);
            auto const after = ReadParts(*After(Colours(b, c, s), {picture}));
            int const max = (1 << Describe(*picture).comp[0].depth) - 1;
            // Factors have 14 fractional bits: three of them are off by half a bit each.
            double const off = 0.5 + 3 * 0.5 * max / 16384;
            for (std::size_t at = 0; at < before[0].samples.size(); ++at) {
                double const luma =
                    0.299 * before[0].samples[at] + 0.587 * before[1].samples[at] + 0.114 * before[2].samples[at];
                for (std::size_t i = 0; i < 3; ++i) {
                    double const value =
                        (luma + s * (before[i].samples[at] - luma) - max / 2.0) * c + max / 2.0 + b * max;
                    ASSERT_NEAR(after[i].samples[at], std::clamp(value, 0.0, double(max)), off) << name << " " << i;
                }
            }
            if (before.size() == 4) {
                EXPECT_EQ(after[3], before[3]) << "alpha stays";
            }
        }
}

TEST(ColorEffect, NoSaturationIsGrey) {
    auto const yuv = ReadParts(*After(Colours(0, 1, 0), {DrawNoise(PIX_FMT_YUV420P, 16, 16, 1)}));
    EXPECT_THAT(yuv[1].samples, Each(128));
    EXPECT_THAT(yuv[2].samples, Each(128));
    auto const rgb = ReadParts(*After(Colours(0, 1, 0), {DrawNoise(PIX_FMT_RGBA, 16, 16, 1)}));
    EXPECT_EQ(rgb[0], rgb[1]);
    EXPECT_EQ(rgb[1], rgb[2]);
}

TEST(ColorEffect, RefusesNumbersBeyondTheirRanges) {
    auto const refusal = [](double b, double c, double s) {
        return MessageOf<EffectException>([&] { Make(Colours(b, c, s)); });
    };
    EXPECT_EQ(refusal(1.5, 1, 1), "Brightness is out of range: 1.500000");
    EXPECT_EQ(refusal(-1.5, 1, 1), "Brightness is out of range: -1.500000");
    EXPECT_EQ(refusal(0, 4.5, 1), "Contrast is out of range: 4.500000");
    EXPECT_EQ(refusal(0, 1, -1), "Saturation is out of range: -1.000000");
    EXPECT_NE(refusal(NO_NUMBER, 1, 1), "(nothing was thrown)");
}

// --- Fade ------------------------------------------------------------------------------------------------------------

SettingsEffectFade Fade(SettingsEffectFade::Directions direction, int color) {
    SettingsEffectFade settings;
    settings.SetDirection(direction);
    settings.SetColor(color);
    return settings;
}

iptr<IDataVideo> Faded(SettingsEffectFade const& settings, double progress, iptr<IDataVideo> const& picture) {
    auto const effect = Make(settings);
    SetProgress(*effect, progress);
    return After(*effect, {picture});
}

TEST(FadeEffect, WholePictureIsTheSameObject) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(Faded(Fade(SettingsEffectFade::DIRECTION_IN, 0), 1, picture), picture);
    EXPECT_EQ(Faded(Fade(SettingsEffectFade::DIRECTION_IN, 0), 7, picture), picture) << "behind the interval";
    EXPECT_EQ(Faded(Fade(SettingsEffectFade::DIRECTION_OUT, 0), 0, picture), picture);
    EXPECT_EQ(Faded(Fade(SettingsEffectFade::DIRECTION_OUT, 0), -7, picture), picture) << "ahead of it";
}

TEST(FadeEffect, WholeColourIsThatColourExactly) {
    struct Case {
        char const* format;
        int color;
        std::array<int, 4> samples;
    };
    for (auto const& [name, color, samples] : {Case{"yuv420p", 0, {16, 128, 128, 0}},
                                               {"yuv420p", 0xFFFFFF, {235, 128, 128, 0}},
                                               {"yuv420p", 0xFF0000, {81, 90, 240, 0}},
                                               {"yuvj420p", 0xFF0000, {76, 85, 255, 0}},
                                               {"yuv422p10le", 0xFFFFFF, {940, 512, 512, 0}},
                                               {"nv12", 0x0000FF, {41, 240, 110, 0}},
                                               {"rgba", 0x102030, {16, 32, 48, 0}},
                                               {"abgr", 0x102030, {16, 32, 48, 0}},
                                               {"gray", 0xFFFFFF, {255, 0, 0, 0}},
                                               {"gbrp10le", 0xFF0000, {1023, 0, 0, 0}}})
        for (auto const direction : {SettingsEffectFade::DIRECTION_IN, SettingsEffectFade::DIRECTION_OUT}) {
            auto const picture = DrawNoise(FormatOf(name), 19, 11, 1);
            auto const alpha = ReadParts(*picture).back();
            bool const isIn = direction == SettingsEffectFade::DIRECTION_IN;
            auto const parts = ReadParts(*Faded(Fade(direction, color), isIn ? 0 : 1, picture));
            for (std::size_t i = 0; i < std::min<std::size_t>(parts.size(), 3); ++i)
                EXPECT_THAT(parts[i].samples, Each(samples[i])) << name << " " << i;
            if (parts.size() == 4) {
                EXPECT_EQ(parts[3], alpha) << "alpha stays";
            }
        }
}

TEST(FadeEffect, ColourFollowsTheMatrixOfThePicture) {
    auto const hd =
        Marked(*DrawNoise(PIX_FMT_YUV420P, 16, 16, 1), [](AVFrame& frame) { frame.colorspace = AVCOL_SPC_BT709; });
    auto const parts = ReadParts(*Faded(Fade(SettingsEffectFade::DIRECTION_IN, 0xFF0000), 0, hd));
    EXPECT_THAT(parts[0].samples, Each(63));
    EXPECT_THAT(parts[1].samples, Each(102));
    EXPECT_THAT(parts[2].samples, Each(240));
}

TEST(FadeEffect, MixesByTheProgress) {
    for (char const* name : {"yuv420p", "rgba", "p010le", "yuv444p16le", "yuyv422"})
        for (double const progress : {0.1, 0.5, 0.999}) {
            auto const picture = DrawNoise(FormatOf(name), 300, 11, 1);
            auto const before = ReadParts(*picture);
            auto const black =
                ReadParts(*Faded(Fade(SettingsEffectFade::DIRECTION_IN, 0x336699), 0, picture->Clone(true)));
            auto const in =
                ReadParts(*Faded(Fade(SettingsEffectFade::DIRECTION_IN, 0x336699), progress, picture->Clone(true)));
            auto const out =
                ReadParts(*Faded(Fade(SettingsEffectFade::DIRECTION_OUT, 0x336699), progress, picture->Clone(true)));
            int64 const weight = std::llround(progress * 32768);
            for (std::size_t i = 0; i < std::min<std::size_t>(before.size(), 3); ++i)
                for (std::size_t at = 0; at < before[i].samples.size(); ++at) {
                    int64 const sample = before[i].samples[at], colour = black[i].samples[at];
                    ASSERT_EQ(in[i].samples[at], (sample * weight + colour * (32768 - weight) + 16384) / 32768) << name;
                    ASSERT_EQ(out[i].samples[at], (colour * weight + sample * (32768 - weight) + 16384) / 32768)
                        << name;
                }
        }
}

TEST(FadeEffect, OutWithoutAnIntervalIsOver) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_THAT(ReadPart(*After(Fade(SettingsEffectFade::DIRECTION_OUT, 0), {picture}), 0).samples, Each(16));
    EXPECT_EQ(After(Fade(SettingsEffectFade::DIRECTION_IN, 0), {picture}), picture);
}

// --- Dissolve --------------------------------------------------------------------------------------------------------

iptr<IDataVideo> Dissolved(double progress, std::vector<iptr<IDataVideo>> const& pictures) {
    auto const effect = Make(SettingsEffectDissolve());
    SetProgress(*effect, progress);
    return After(*effect, pictures);
}

TEST(DissolveEffect, EndsAreTheSameObjects) {
    auto const one = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1), two = DrawNoise(PIX_FMT_YUV420P, 16, 16, 2);
    EXPECT_EQ(Dissolved(0, {one, two}), one);
    EXPECT_EQ(Dissolved(1, {one, two}), two);
    EXPECT_EQ(Dissolved(0.5, {two}), two) << "a lone one passes";
    EXPECT_EQ(Dissolved(0.5, {one, nullptr}), one) << "what isn't there doesn't count";
    EXPECT_EQ(Dissolved(0.5, {nullptr, two}), two);
    EXPECT_EQ(Dissolved(0.5, {nullptr, nullptr}), nullptr);
    auto const ahead = DrawNoise(PIX_FMT_YUV420P, 16, 16, 3);
    EXPECT_EQ(Dissolved(0, {ahead, one, two}), one) << "the last two alone";
}

TEST(DissolveEffect, MixesSampleBySample) {
    for (char const* name :
         {"yuv420p", "yuva444p", "nv12", "rgba", "rgb24", "yuyv422", "yuv420p10le", "p010le", "rgba64le"})
        for (double const progress : {0.25, 0.5, 0.9}) {
            auto const one = DrawNoise(FormatOf(name), 23, 17, 1), two = DrawNoise(FormatOf(name), 23, 17, 2);
            auto const first = ReadParts(*one), last = ReadParts(*two);
            auto const mixed = Dissolved(progress, {one, two});
            auto const parts = ReadParts(*mixed);
            int64 const weight = std::llround(progress * 32768);
            for (std::size_t i = 0; i < parts.size(); ++i)
                for (std::size_t at = 0; at < parts[i].samples.size(); ++at)
                    ASSERT_EQ(parts[i].samples[at], (int64{first[i].samples[at]} * (32768 - weight) +
                                                     int64{last[i].samples[at]} * weight + 16384) /
                                                        32768)
                        << name << " " << i;
            EXPECT_EQ(ReadParts(*one), first);
            EXPECT_EQ(ReadParts(*two), last);
            EXPECT_THAT(mixed, IsVideo(40000, 20000));
        }
}

TEST(DissolveEffect, BringsTheLastToTheFormOfTheOther) {
    auto const one = DrawPlain(PIX_FMT_YUV420P, 32, 24, {100, 128, 128, 0});
    auto const two = DrawPlain(PIX_FMT_RGBA, 16, 40, {255, 255, 255, 255});
    for (double const progress : {0.5, 1.0}) {
        auto const result = Dissolved(progress, {one, two});
        EXPECT_EQ(result->GetPixelFormat(), PIX_FMT_YUV420P);
        EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{32, 24, 1, 1}));
        EXPECT_THAT(ReadPart(*result, 0).samples, Each(progress == 1.0 ? 235 : 168));
    }
}

TEST(DissolveEffect, BringsTheLastToTheColoursOfTheOther) {
    auto const one = DrawPlain(PIX_FMT_YUV420P, 32, 24, {16, 128, 128, 0});
    auto const two = Marked(*DrawPlain(PIX_FMT_YUV420P, 32, 24, {255, 128, 128, 0}),
                            [](AVFrame& frame) { frame.color_range = AVCOL_RANGE_JPEG; });
    EXPECT_THAT(ReadPart(*Dissolved(1, {one, two}), 0).samples, Each(235));
}

// --- Composite -------------------------------------------------------------------------------------------------------

TEST(CompositeEffect, TopmostOpaqueFullSizeFrameIsReturnedAsItIs) {
    auto const low = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1), top = DrawNoise(PIX_FMT_YUV420P, 16, 16, 2);
    EXPECT_EQ(After(SettingsEffectComposite(), {low, top}), top);
    EXPECT_EQ(After(SettingsEffectComposite(), {low}), low);
    EXPECT_EQ(After(SettingsEffectComposite(), {low, nullptr}), low);
    EXPECT_EQ(After(SettingsEffectComposite(), {nullptr, nullptr}), nullptr);
}

TEST(CompositeEffect, DrawsByAlpha) {
    auto const low = DrawPlain(PIX_FMT_RGBA, 8, 8, {0, 0, 0, 255});
    auto const middle = DrawPlain(PIX_FMT_RGBA, 8, 8, {255, 0, 0, 128});
    auto const top = DrawPlain(PIX_FMT_RGBA, 8, 8, {0, 255, 0, 0});
    auto const parts = ReadParts(*After(SettingsEffectComposite(), {low, middle, top}));
    EXPECT_THAT(parts[0].samples, Each(128));
    EXPECT_THAT(parts[1].samples, Each(0));
    EXPECT_THAT(parts[3].samples, Each(255));
    EXPECT_THAT(ReadPart(*low, 0).samples, Each(0)) << "inputs stay";
}

TEST(CompositeEffect, OtherSizesStandInTheMiddle) {
    auto const low = DrawPlain(PIX_FMT_RGBA, 9, 8, {0, 0, 0, 255});
    auto const small = DrawPlain(PIX_FMT_RGBA, 4, 2, {200, 0, 0, 255});
    Part const red = ReadPart(*After(SettingsEffectComposite(), {low, small}), 0);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 9; ++x) EXPECT_EQ(red.At(x, y), x >= 2 && x < 6 && y >= 3 && y < 5 ? 200 : 0);
    auto const large = Draw(PIX_FMT_RGB24, 13, 12, [](int, int x, int y) { return x * 10 + y; });
    Part const cut = ReadPart(*After(SettingsEffectComposite(), {low, large}), 0);
    EXPECT_EQ(cut.At(0, 0), 22);
    EXPECT_EQ(cut.At(8, 7), 109);
}

TEST(CompositeEffect, FormatsBecomeThatOfTheLowest) {
    auto const low = DrawPlain(PIX_FMT_YUV420P, 16, 16, {16, 128, 128, 0});
    auto const logo = DrawPlain(PIX_FMT_RGBA, 8, 8, {255, 255, 255, 128});
    auto const result = After(SettingsEffectComposite(), {low, logo});
    EXPECT_EQ(result->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(ReadPart(*result, 0).At(8, 8), 126);
    EXPECT_EQ(ReadPart(*result, 0).At(1, 1), 16);
    auto const hiding = After(SettingsEffectComposite(), {low, DrawPlain(PIX_FMT_RGB24, 16, 16, {255, 255, 255, 0})});
    EXPECT_EQ(hiding->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_THAT(ReadPart(*hiding, 0).samples, Each(235));
}

}  // namespace
}  // namespace Tarsel::Host
