#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsResizer.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

class OglEffects : public GpuTest {
  protected:
    /// The effects whose settings are these, apart from the two that move frames.
    static std::vector<iptr<IEffect>> All() {
        return {
            MakeSide(SettingsEffectColor(), ImplNames::OGL),    MakeSide(SettingsEffectComposite(), ImplNames::OGL),
            MakeSide(SettingsEffectDissolve(), ImplNames::OGL), MakeSide(SettingsEffectFade(), ImplNames::OGL),
            MakeSide(SettingsResizer(), ImplNames::OGL),        MakeSide(SettingsEffectImageBlender(), ImplNames::OGL)};
    }
    static TimeToProgress Interval(int64 begin, int64 end) {
        TimeToProgress map;
        map.begin = begin;
        map.end = end;
        return map;
    }
    static SettingsEffectFade Fade(SettingsEffectFade::Directions direction, int colour) {
        SettingsEffectFade settings;
        settings.SetDirection(direction);
        settings.SetColor(colour);
        return settings;
    }
    static SettingsEffectColor Colour(double brightness, double contrast, double saturation) {
        SettingsEffectColor settings;
        settings.SetBrightness(brightness);
        settings.SetContrast(contrast);
        settings.SetSaturation(saturation);
        return settings;
    }
    static std::vector<std::pair<int, int>> Sizes() {
        return {{1, 1}, {1, 9}, {33, 1}, {31, 17}, {128, 96}, {1001, 3}};
    }
};

TEST_F(OglEffects, WantFramesInGpuMemory) {
    for (auto const& effect : All()) {
        EXPECT_EQ(effect->GetProcessingFrameType(), IDataVideo::FRAME_ALLOC_GPU);
        auto const picture = Noise(4, 4, 1);
        std::string const id = effect->GetEffectSettings().GetClassId();
        EXPECT_EQ(MessageOf<EffectException>([&] {
                      effect->ProcessData({picture, picture});
                  }),
                  id + " works in GPU memory, and the frame isn't there: upload it in front of the effect");
    }
}

TEST_F(OglEffects, RefuseItemsThatAreNoPictures) {
    for (auto const& effect : All()) {
        EXPECT_THROW(effect->ProcessData({}), std::invalid_argument);
        EXPECT_EQ(MessageOf<EffectException>([&] { effect->ProcessData({MakeAudio(0, 10)}); }),
                  "The effect can't process an item of this kind");
    }
}

TEST_F(OglEffects, PassNull) {
    for (auto const& effect : All()) EXPECT_EQ(effect->ProcessData({nullptr}), nullptr);
}

TEST_F(OglEffects, SayThatRgbaComesOut) {
    for (auto const& effect : All()) {
        auto const video = Conf::IFormatCodecVideo::Create();
        video->SetPixelFormat(PIX_FMT_YUV420P);
        video->SetFrameInfo({20, 10, 4, 3});
        iptr<Conf::IFormatCodec> format = video;
        effect->AdaptFormatCodec(format);
        EXPECT_EQ(video->GetPixelFormat(), PIX_FMT_RGBA);
        EXPECT_EQ(video->GetFrameInfo(), (Conf::FrameInfo{20, 10, 4, 3}));
    }
}

TEST_F(OglEffects, TakeTheirOwnSettingsAlone) {
    for (auto const& effect : All()) {
        EXPECT_THROW(effect->Initialize(OtherSettings()), std::bad_cast);
        EXPECT_EQ(MessageOf<FilterException>([&] { effect->Initialize(Core::Property("Other")); }),
                  "Object was initialized with incorrect class (Other)!");
    }
}

TEST_F(OglEffects, LeaveClonesOfWhatTheyGetAlone) {
    for (auto const& effect :
         {MakeSide(Fade(SettingsEffectFade::DIRECTION_OUT, 0x123456), ImplNames::OGL),
          MakeSide(Colour(0.2, 2, 0.5), ImplNames::OGL), MakeSide(SettingsEffectImageBlender(), ImplNames::OGL),
          MakeSide(SettingsEffectComposite(), ImplNames::OGL), MakeSide(SettingsEffectDissolve(), ImplNames::OGL)}) {
        effect->SetTimeToProgress(Interval(-10, 10));
        auto const picture = Noise(9, 7, 1);
        auto const frame = Upload(picture);
        auto const clone = frame->Clone(false);
        auto const result = effect->ProcessData({frame, frame->Clone(false)});
        EXPECT_NE(result, nullptr);
        EXPECT_EQ(BytesOf(*Download(clone)), BytesOf(*picture)) << effect->GetEffectSettings().GetClassId();
    }
}

TEST_F(OglEffects, FadeGivesTheBytesOfTheProcessor) {
    for (auto const& [width, height] : Sizes())
        for (auto const& picture : AllKinds(width, height))
            for (int64 const end : {int64{1}, int64{3}, int64{4}, int64{7}, int64{40000}})
                for (auto const direction : {SettingsEffectFade::DIRECTION_IN, SettingsEffectFade::DIRECTION_OUT}) {
                    picture->SetTime(2);
                    EXPECT_EQ(CompareSides(Fade(direction, 0x10F0A5), {picture}, Interval(0, end)), 0);
                }
}

TEST_F(OglEffects, FadePassesThePictureWhereItsShareIsWhole) {
    auto const effect = MakeSide(Fade(SettingsEffectFade::DIRECTION_IN, 0), ImplNames::OGL);
    effect->SetTimeToProgress(Interval(-100, -50));
    auto const frame = Upload(Noise(4, 4, 1));
    EXPECT_EQ(effect->ProcessData({frame}), frame);
}

TEST_F(OglEffects, ColourGivesTheBytesOfTheProcessor) {
    std::vector<SettingsEffectColor> const all{Colour(0.25, 1, 1),    Colour(-1, 1, 1), Colour(0, 4, 1),
                                               Colour(0, 1, 0),       Colour(0, 1, 4),  Colour(1, 4, 4),
                                               Colour(-0.1, 0.7, 1.3)};
    for (auto const& [width, height] : Sizes())
        for (auto const& picture : AllKinds(width, height))
            for (auto const& settings : all) EXPECT_EQ(CompareSides(settings, {picture}), 0);
}

TEST_F(OglEffects, ColourPassesThePictureByDefault) {
    auto const frame = Upload(Noise(4, 4, 1));
    EXPECT_EQ(MakeSide(SettingsEffectColor(), ImplNames::OGL)->ProcessData({frame}), frame);
}

TEST_F(OglEffects, ColourRefusesValuesOutOfRange) {
    auto const effect = MakeSide(Colour(0.5, 1, 1), ImplNames::OGL);
    double const none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(Colour(1.5, 1, 1)); }),
              "Brightness is out of range: 1.500000");
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(Colour(0, -1, 1)); }),
              "Contrast is out of range: -1.000000");
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(Colour(0, 1, none)); }),
              "Saturation is out of range: nan");
    EXPECT_EQ(static_cast<SettingsEffectColor const&>(effect->GetEffectSettings()), Colour(0.5, 1, 1));
}

TEST_F(OglEffects, DissolveGivesTheBytesOfTheProcessor) {
    for (auto const& [width, height] : Sizes())
        for (int64 const time : {0, 1, 333, 500, 999, 1000}) {
            auto const first = Noise(width, height, 5);
            for (auto const& last : AllKinds(width, height)) {
                last->SetTime(time);
                EXPECT_EQ(
                    CompareSides(SettingsEffectDissolve(), {Noise(2, 2, 9), nullptr, first, last}, Interval(0, 1000)),
                    0);
            }
        }
}

TEST_F(OglEffects, DissolveBringsTheLastToTheSizeOfTheOther) {
    for (auto const& last : AllKinds(40, 30)) {
        last->SetTime(700);
        EXPECT_LE(CompareSides(SettingsEffectDissolve(), {Natural(64, 36), last}, Interval(0, 1000)), 2);
        EXPECT_LE(CompareSides(SettingsEffectDissolve(), {Natural(30, 36), last}, Interval(0, 700)), 2);
    }
}

TEST_F(OglEffects, DissolvePassesALonePictureAndTheEndsOfTheInterval) {
    auto const effect = MakeSide(SettingsEffectDissolve(), ImplNames::OGL);
    effect->SetTimeToProgress(Interval(100, 200));
    auto const first = Upload(Noise(4, 4, 1));
    auto const last = Upload(Noise(4, 4, 2));
    EXPECT_EQ(effect->ProcessData({nullptr, last}), last);
    last->SetTime(100);
    EXPECT_EQ(effect->ProcessData({first, last}), first);
    last->SetTime(200);
    EXPECT_EQ(effect->ProcessData({first, last}), last);
    EXPECT_EQ(effect->ProcessData({nullptr, nullptr}), nullptr);
}

TEST_F(OglEffects, CompositeGivesTheBytesOfTheProcessor) {
    for (auto const& [width, height] : Sizes())
        for (auto const& top : AllKinds(width, height))
            EXPECT_EQ(CompareSides(SettingsEffectComposite(),
                                   {Noise(width, height, 8), nullptr, Noise(7, 5, 6), top, Edges(width + 2, 4)}),
                      0);
}

TEST_F(OglEffects, CompositePassesALonePicture) {
    auto const frame = Upload(Noise(4, 4, 1));
    EXPECT_EQ(MakeSide(SettingsEffectComposite(), ImplNames::OGL)->ProcessData({nullptr, frame}), frame);
}

TEST_F(OglEffects, StatisticsNameThemAndCountWhatTheyGive) {
    auto const effect = MakeSide(SettingsEffectFade(), ImplNames::OGL);
    for (int i = 0; i < 3; ++i) effect->ProcessData({Upload(Noise(4, 4, 1))});
    EXPECT_EQ(effect->GetStatistic(), Core::MakeStatistics("Tarsel::Host::OglFade::GetStatistic", 0, 3));
}

}  // namespace
}  // namespace Tarsel::Host
