// The filters of effects, made through the shared library as any host makes them.
#include <gtest/gtest.h>

#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "host/graph/FilterRegistry.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedEffects.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

class EffectRows : public ::testing::Test {
  protected:
    EffectRows() {
        for (char const* id : {SettingsResizer::CLASS_ID, SettingsEffectDeinterlace::CLASS_ID,
                               SettingsColorSpaceConverter::CLASS_ID, "A"})
            effects.Know(id);
    }
    /// Makes the filter of a row with settings, and shows that other settings are refused and leave nothing behind.
    void ExpectFilter(Settings const& settings, std::string const& name) {
        auto const* const row = registry->Find(FilterKind::Video, settings.GetClassId(), ImplNames::TARSEL);
        ASSERT_NE(row, nullptr) << name;
        auto const& make = std::get<VideoExFactoryB>(std::get<ExFactory>(row->factory));
        EXPECT_EQ(make(source, effects.factory, settings)->GetStatistic().Children().back().Name(),
                  "Tarsel::Proc::" + name + "::GetStatistic");
        EXPECT_THROW(make(source, effects.factory, OtherSettings()), std::bad_cast) << name;
        EXPECT_EQ(source->GetRefCountImpl(), 1U) << name;
    }

    iptr<FilterRegistry const> const registry = MakeFilterRegistry();
    EffectsOf<IOneInputEffectVideo> effects;
    iptr<IStreamVideo> const source = ScriptedVideo::Create({});
};

TEST_F(EffectRows, FiltersWithSettingsTakeTheirOwnAndNoOthers) {
    ExpectFilter(SettingsResizer(), "FilterResize");
    ExpectFilter(SettingsDeinterlace(), "FilterDeinterlace");
    ExpectFilter(SettingsFilterBlurTransparentBorder(3), "FilterBlurTransparentBorder");
}

TEST_F(EffectRows, ResizeWithoutSettingsKeepsTheSize) {
    auto const filter = registry->Find(FilterSlots::RESIZE, ImplNames::DEFAULT)(source, effects.factory);
    EXPECT_EQ(filter->GetSettings(), IFilterResize::Settings2Property(SettingsResizer()));
}

TEST_F(EffectRows, ChainsTakeGroupsApartAcrossTheLibraries) {
    auto const video = registry->Find(FilterSlots::APPLY_EFFECTS_VIDEO, ImplNames::DEFAULT)(source, effects.factory);
    auto const group = SettingsMultiEffect().Add(NamedSettings("A")).Add(NamedSettings("A"));
    video->AddEffect(
        iptr<IOneInputEffectVideo>(new MultiEffectVideo(effects.factory, group, ImplNames::TARSEL, TimeToProgress())));
    EXPECT_EQ(video->GetSettings().Children().size(), 2U);
    EXPECT_EQ(MessageOf<EffectException>([&] { video->AddEffect(OtherSettings()); }),
              "There is no any implementation for OtherSettings");
    EXPECT_EQ(MessageOf<FilterException>([&] { video->AddEffect(OtherSettings()); }),
              "There is no any implementation for OtherSettings");
    EffectsOf<IOneInputEffectAudio> sound;
    sound.Know("A");
    auto const audio = registry->Find(FilterSlots::APPLY_EFFECTS_AUDIO, ImplNames::DEFAULT)(
        iptr<IStreamAudio>(ScriptedAudio::Create({})), sound.factory);
    audio->AddEffect(
        iptr<IOneInputEffectAudio>(new MultiEffectAudio(sound.factory, group, ImplNames::TARSEL, TimeToProgress())));
    EXPECT_EQ(audio->GetSettings().Children().size(), 2U);
}

}  // namespace
}  // namespace Tarsel::Host
