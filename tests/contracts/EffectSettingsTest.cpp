#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"
#include "contracts/Proc/SettingsEffectStabilizer.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "contracts/Proc/SettingsResizer.h"
#include "contracts/Proc/TimeToProgress.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;

constexpr int LARGEST = std::numeric_limits<int>::max();
constexpr int SMALLEST = std::numeric_limits<int>::min();

/// What a property with one child of a wrong value says.
template <class Convert, class Value>
std::string Refusal(Convert back, char const* classId, char const* key, Value const& value) {
    return MessageOf<FilterException>([&] { back(With(classId, key, value)); });
}

// --- Resizing --------------------------------------------------------------------------------------------------------

SettingsResizer MakeResizer(SettingsResizer::CustomModes mode, Conf::FrameInfo const& info) {
    SettingsResizer settings;
    settings.SetCustomMode(mode, info);
    return settings;
}

TEST(SettingsResizer, KeepTheSizeUnlessTold) {
    SettingsResizer const defaults;
    EXPECT_EQ(defaults.GetImplName(), ImplNames::DEFAULT);
    EXPECT_EQ(defaults.GetMode(), SettingsResizer::MODE_KEEP);
    EXPECT_EQ(defaults.GetFrameInfo(), Conf::FrameInfo());
    EXPECT_EQ(defaults.GetAlgorithm(), SettingsResizer::ALGORITHM_BICUBIC);
    EXPECT_EQ(SettingsResizer::MODE_STRETCH, 2);
}

TEST(SettingsResizer, SurviveTheWayThroughAProperty) {
    SettingsResizer named = MakeResizer(SettingsResizer::MODE_LETTERBOX, {720, 576, 64, 45});
    named.SetImplName(ImplNames::OGL);
    named.SetAlgorithm(SettingsResizer::ALGORITHM_LANCZOS);
    SettingsResizer const extreme = MakeResizer(SettingsResizer::MODE_CROP, {LARGEST, LARGEST, LARGEST, LARGEST - 1});
    ExpectRoundTrip<SettingsResizer>({named, extreme, MakeResizer(SettingsResizer::MODE_STRETCH, {1, 1, 1, LARGEST})},
                                     Property2SettingsResizer);
    Core::Property const property = Settings2Property(named);
    EXPECT_EQ(property["Implementation"].GetString(), "OGL");
    EXPECT_EQ(property["Mode"].GetInt64(), 1);
    EXPECT_EQ(property["Width"].GetInt64(), 720);
    EXPECT_EQ(property["Height"].GetInt64(), 576);
    EXPECT_EQ(property["PixelAspect"].GetRatio(), Ratio(64, 45));
    EXPECT_EQ(property["Algorithm"].GetInt64(), 2);
}

TEST(SettingsResizer, PixelAspectThatIsNoneIsSquare) {
    for (auto const& info : {Conf::FrameInfo{4, 3, 0, 1}, Conf::FrameInfo{4, 3, 1, 0}, Conf::FrameInfo{4, 3, -1, 1}}) {
        SettingsResizer const settings = MakeResizer(SettingsResizer::MODE_STRETCH, info);
        EXPECT_EQ(settings.GetFrameInfo(), (Conf::FrameInfo{4, 3, 1, 1}));
        EXPECT_EQ(Property2SettingsResizer(Settings2Property(settings)), settings);
    }
}

TEST(SettingsResizer, ValuesOutOfRangeAreRefused) {
    auto const refusal = [](char const* key, auto value) {
        return Refusal(Property2SettingsResizer, SettingsResizer::CLASS_ID, key, value);
    };
    EXPECT_EQ(refusal("Mode", 4), "Mode of SettingsResizer is out of range: 4");
    EXPECT_EQ(refusal("Mode", -1), "Mode of SettingsResizer is out of range: -1");
    EXPECT_EQ(refusal("Width", -1), "Width of SettingsResizer is out of range: -1");
    EXPECT_EQ(refusal("Height", int64{LARGEST} + 1), "Height of SettingsResizer is out of range: 2147483648");
    EXPECT_EQ(refusal("Algorithm", 3), "Algorithm of SettingsResizer is out of range: 3");
    EXPECT_EQ(refusal("PixelAspect", "0/1"), "PixelAspect of SettingsResizer is out of range: 0/1");
    EXPECT_EQ(refusal("PixelAspect", "-4/3"), "PixelAspect of SettingsResizer is out of range: -4/3");
    EXPECT_THROW(Property2SettingsResizer(With(SettingsResizer::CLASS_ID, "PixelAspect", "1/0")), Core::CoreException);
    EXPECT_THROW(Property2SettingsResizer(With(SettingsResizer::CLASS_ID, "Width", "wide")), Core::CoreException);
}

TEST(SettingsResizer, FilterHasTheSameChildrenUnderItsOwnName) {
    SettingsResizer const settings = MakeResizer(SettingsResizer::MODE_STRETCH, {320, 200, 1, 1});
    Core::Property const property = IFilterResize::Settings2Property(settings);
    EXPECT_EQ(property.Name(), IFilterResize::CLASS_ID);
    EXPECT_EQ(property["Width"].GetInt64(), 320);
    EXPECT_EQ(IFilterResize::Property2Settings(property), settings);
    EXPECT_EQ(IFilterResize::Property2Settings(Core::Property(IFilterResize::CLASS_ID)), SettingsResizer());
    EXPECT_EQ(MessageOf<FilterException>([&] { IFilterResize::Property2Settings(Settings2Property(settings)); }),
              "Filter was initialized with incorrect class (SettingsResizer)!");
}

// --- Deinterlacing ---------------------------------------------------------------------------------------------------

TEST(SettingsDeinterlace, SurviveTheWayThroughAProperty) {
    SettingsDeinterlace settings;
    EXPECT_EQ(settings.GetMethod(), SettingsDeinterlace::METHOD_ADAPTIVE);
    EXPECT_FALSE(settings.IsSmoothing());
    EXPECT_EQ(settings.GetImplName(), ImplNames::DEFAULT);
    settings.SetMethod(SettingsDeinterlace::METHOD_SPATIAL);
    SettingsDeinterlace smoothing;
    smoothing.SetSmoothing(true);
    SettingsDeinterlace named;
    named.SetImplName(ImplNames::OGL);
    ExpectRoundTrip<SettingsDeinterlace>({settings, smoothing, named}, Property2SettingsDeinterlace);
    EXPECT_EQ(Refusal(Property2SettingsDeinterlace, SettingsDeinterlace::CLASS_ID, "Method", 2),
              "Method of SettingsDeinterlace is out of range: 2");
    EXPECT_THROW(Property2SettingsDeinterlace(With(SettingsDeinterlace::CLASS_ID, "Smoothing", 2)),
                 Core::CoreException);
}

TEST(SettingsEffectDeinterlace, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsEffectDeinterlace>({SettingsEffectDeinterlace(SettingsDeinterlace::METHOD_SPATIAL)},
                                               Property2SettingsEffectDeinterlace);
    EXPECT_EQ(Refusal(Property2SettingsEffectDeinterlace, SettingsEffectDeinterlace::CLASS_ID, "Method", -1),
              "Method of SettingsEffectDeinterlace is out of range: -1");
}

// --- Effects without anything to set ---------------------------------------------------------------------------------

TEST(EffectsWithNothingToSet, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsEffectLineSmoother>({}, Property2SettingsEffectLineSmoother);
    ExpectRoundTrip<SettingsEffectStabilizer>({}, Property2SettingsEffectStabilizer);
    ExpectRoundTrip<SettingsFrameUploader>({}, Property2SettingsFrameUploader);
    ExpectRoundTrip<SettingsFrameDownloader>({}, Property2SettingsFrameDownloader);
}

// --- Colour spaces, blending, borders --------------------------------------------------------------------------------

TEST(SettingsColorSpaceConverter, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsColorSpaceConverter>(
        {SettingsColorSpaceConverter({PIX_FMT_RGBA}), SettingsColorSpaceConverter({PIX_FMT_BGRA, PIX_FMT_YUV420P}),
         SettingsColorSpaceConverter({PIX_FMT_NV12, PIX_FMT_NV12})},
        Property2SettingsColorSpaceConverter);
    Core::Property const property = Settings2Property(SettingsColorSpaceConverter({PIX_FMT_BGRA, PIX_FMT_YUV420P}));
    EXPECT_EQ(property.Children().at(0).GetString(), "bgra");
    EXPECT_EQ(property.Children().at(1).GetString(), "yuv420p");
}

TEST(SettingsColorSpaceConverter, IntervalBesideTheFormatsIsNoFormat) {
    Core::Property property = Settings2Property(SettingsColorSpaceConverter({PIX_FMT_RGBA}));
    property.SetChild("Begin", 1).SetChild("End", 2);
    EXPECT_EQ(Property2SettingsColorSpaceConverter(property), SettingsColorSpaceConverter({PIX_FMT_RGBA}));
}

TEST(SettingsColorSpaceConverter, FormatsThatAreNoneAreRefused) {
    EXPECT_EQ(MessageOf<FilterException>([] { Settings2Property(SettingsColorSpaceConverter({PIX_FMT_NONE})); }),
              "There is no pixel format -1");
    Core::Property property(SettingsColorSpaceConverter::CLASS_ID);
    property.Add(Core::Property("Format").SetValue("plaid"));
    EXPECT_EQ(MessageOf<FilterException>([&] { Property2SettingsColorSpaceConverter(property); }),
              "There is no pixel format \"plaid\"");
}

TEST(SettingsEffectImageBlender, SurviveTheWayThroughAProperty) {
    using Blender = SettingsEffectImageBlender;
    ExpectRoundTrip<Blender>(
        {Blender(-3, 4, 128, BlendAlphaMode::Premultiplied),
         Blender(SMALLEST, LARGEST, SMALLEST, BlendAlphaMode::Straight), Blender(0, 0, 0, BlendAlphaMode::Straight)},
        Property2SettingsEffectImageBlender);
    EXPECT_EQ(Blender().GetAlpha(), 255);
    EXPECT_EQ(Refusal(Property2SettingsEffectImageBlender, Blender::CLASS_ID, "Mode", 2),
              "Mode of SettingsEffectImageBlender is out of range: 2");
    EXPECT_EQ(Refusal(Property2SettingsEffectImageBlender, Blender::CLASS_ID, "X", int64{SMALLEST} - 1),
              "X of SettingsEffectImageBlender is out of range: -2147483649");
}

TEST(SettingsFilterBlurTransparentBorder, SurviveTheWayThroughAProperty) {
    using Border = SettingsFilterBlurTransparentBorder;
    EXPECT_EQ(Border().GetMatrixSize(), 8);
    ExpectRoundTrip<Border>({Border(0), Border(1), Border(-5), Border(LARGEST), Border(SMALLEST)},
                            Property2SettingsFilterBlurTransparentBorder);
}

// --- Chains and intervals --------------------------------------------------------------------------------------------

TEST(FilterApplyEffectsSettings, EffectsOfAChainSurviveTheWayThroughItsProperty) {
    std::vector<Core::Property> const effects{
        Settings2Property(SettingsEffectLineSmoother()),
        Settings2Property(MakeResizer(SettingsResizer::MODE_STRETCH, {320, 200, 1, 1})),
        Settings2Property(SettingsEffectLineSmoother())};
    Core::Property const video = IFilterApplyEffectsVideo::SettingsEffects2FilterSettings(effects);
    EXPECT_EQ(video.Name(), "FilterApplyEffectsVideo");
    EXPECT_EQ(IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(video), effects);
    Core::Property const audio = IFilterApplyEffectsAudio::SettingsEffects2FilterSettings(effects);
    EXPECT_EQ(audio.Name(), "FilterApplyEffectsAudio");
    EXPECT_EQ(IFilterApplyEffectsAudio::FilterSettings2SettingsEffects(audio), effects);
    EXPECT_EQ(MessageOf<FilterException>([&] { IFilterApplyEffectsAudio::FilterSettings2SettingsEffects(video); }),
              "Filter was initialized with incorrect class (FilterApplyEffectsVideo)!");
    EXPECT_EQ(MessageOf<FilterException>([&] { IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(audio); }),
              "Filter was initialized with incorrect class (FilterApplyEffectsAudio)!");
    EXPECT_TRUE(
        IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(Core::Property("FilterApplyEffectsVideo")).empty());
}

TEST(TimeMapProperty, IntervalsSurviveAndThoseOfNoLengthAreLeftOut) {
    TimeToProgress map;
    map.begin = -5;
    map.end = std::numeric_limits<int64>::max();
    Core::Property property("Effect");
    SetTimeMap(property, map);
    TimeToProgress const back = GetTimeMap(property, TimeToProgress());
    EXPECT_EQ(back.begin, map.begin);
    EXPECT_EQ(back.end, map.end);
    for (auto const& [begin, end] : {std::pair<int64, int64>{5, 5}, {6, 5}, {0, NO_VALUE}, {NO_VALUE, 5}}) {
        Core::Property none("Effect");
        TimeToProgress odd;
        odd.begin = begin;
        odd.end = end;
        SetTimeMap(none, odd);
        EXPECT_EQ(none, Core::Property("Effect"));
        EXPECT_EQ(GetTimeMap(none, map).end, map.end) << "the defaults hold";
    }
}

TEST(TimeMapProperty, ProgressIsHeldToTheIntervalAndIsOneWithoutALength) {
    TimeToProgress map([](double share) { return share * share; });
    map.begin = 100;
    map.end = 300;
    EXPECT_EQ(map.GetProgress(0), 0.0);
    EXPECT_EQ(map.GetProgress(200), 0.25);
    EXPECT_EQ(map.GetProgress(1000), 1.0);
    EXPECT_EQ(map.GetDuration(), 200);
    map.end = NO_VALUE;
    EXPECT_EQ(map.GetProgress(200), 1.0);
    EXPECT_EQ(map.GetDuration(), NO_VALUE);
    EXPECT_EQ(TimeToProgress().GetProgress(0), 1.0);
}

}  // namespace
}  // namespace Tarsel::Proc
