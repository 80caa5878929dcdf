#include <gtest/gtest.h>

#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsResizer.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

class GpuChain : public GpuTest {
  protected:
    /// Colour, resize, fade, a logo, all on one side.
    static std::vector<iptr<IEffect>> Make(char const* side) {
        SettingsEffectColor colour;
        colour.SetSaturation(0.5);
        SettingsResizer resize;
        resize.SetCustomMode(SettingsResizer::MODE_LETTERBOX, {80, 60, 1, 1});
        SettingsEffectFade fade;
        fade.SetDirection(SettingsEffectFade::DIRECTION_OUT);
        std::vector<iptr<IEffect>> effects{MakeSide(colour, side), MakeSide(resize, side), MakeSide(fade, side)};
        for (auto const& effect : effects) {
            TimeToProgress map;
            map.end = 400000;
            effect->SetTimeToProgress(map);
        }
        return effects;
    }
    static iptr<IDataVideo> Run(std::vector<iptr<IEffect>> const& effects, iptr<IDataVideo> picture,
                                iptr<IDataVideo> const& logo, char const* side) {
        for (auto const& effect : effects) picture = AsPicture(effect->ProcessData({picture}));
        auto const blender = MakeEffectFactory()->CreateBlender(IEffectImageBlender::CLASS_ID, side);
        blender->Initialize(SettingsEffectImageBlender(60, 3, 200, BlendAlphaMode::Straight));
        blender->Process(picture, logo);
        return picture;
    }
};

TEST_F(GpuChain, OnOneSideMovesEachPictureOnceEachWayAndCopiesNone) {
    auto const effects = Make(ImplNames::OGL);
    auto const logo = Upload(Noise(30, 20, 3));
    auto const upload = MakeShared<UploadEffect>();
    auto const download = MakeShared<DownloadEffect>();
    GpuCounters const before = device->GetCounters();
    for (int i = 0; i < 10; ++i) {
        auto frame = Natural(100, 50);
        frame->SetTime(i * 40000);
        upload->Process(frame);
        frame = Run(effects, frame, logo, ImplNames::OGL);
        download->Process(frame);
    }
    GpuCounters const after = device->GetCounters();
    EXPECT_EQ(after.uploads - before.uploads, 10);
    EXPECT_EQ(after.downloads - before.downloads, 10);
    EXPECT_EQ(after.copies, before.copies);
}

TEST_F(GpuChain, ComesOutAsOnTheOtherSide) {
    auto const here = Make(ImplNames::TARSEL);
    auto const there = Make(ImplNames::OGL);
    auto const logo = Noise(30, 20, 3);
    for (int i = 0; i < 10; ++i)
        for (auto const& picture : AllKinds(100, 50)) {
            picture->SetTime(i * 40000);
            auto const found = Download(Run(there, Upload(picture), Upload(logo), ImplNames::OGL));
            auto const wanted = Run(here, picture->Clone(true), logo, ImplNames::TARSEL);
            EXPECT_LE(LargestDifference(*found, *wanted), 2) << i;
        }
}

TEST_F(GpuChain, InAFilterMovesAPictureOnlyWhenTheNextEffectWantsItOnTheOtherSide) {
    constexpr int COUNT = 5;
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = 0; i < COUNT; ++i) {
        iptr<IDataVideo> const picture = Natural(100, 50);
        picture->SetTime(i * 40000);
        picture->SetDuration(40000);
        pictures.push_back(picture);
    }
    auto const filter = MakeFilterFactory()->Dedicated(FilterSlots::APPLY_EFFECTS_VIDEO, ImplNames::TARSEL)(
        iptr<IStreamVideo>(ScriptedVideo::Create(pictures)), MakeEffectFactory());
    auto const add = [&](char const* side) {
        for (auto const& effect : Make(side))
            filter->AddEffect(iptr<IOneInputEffectVideo>(dynamic_cast<IOneInputEffectVideo*>(effect.get())));
    };
    add(ImplNames::OGL);
    add(ImplNames::OGL);
    add(ImplNames::TARSEL);
    filter->RequestSeek(0, nullptr);
    filter->DoSeek();
    GpuCounters const before = device->GetCounters();
    for (int i = 0; i < COUNT; ++i) {
        auto const picture = filter->Read();
        ASSERT_TRUE(picture);
        EXPECT_FALSE(IsOGLFrame(picture));
    }
    GpuCounters const after = device->GetCounters();
    EXPECT_EQ(after.uploads - before.uploads, COUNT);
    EXPECT_EQ(after.downloads - before.downloads, COUNT);
    EXPECT_EQ(after.copies, before.copies);
}

}  // namespace
}  // namespace Tarsel::Host
