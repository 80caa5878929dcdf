// Effects that act within an interval alone, as graphs run them.
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/EffectNodes.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

/// The lumas that ten pictures of 10 us and the luma 100 have behind a chain; -1 for one that isn't the source's.
std::vector<int> LumasBehind(std::vector<Core::Property> const& effects, int64 duration,
                             PixFmt format = PIX_FMT_YUV420P) {
    std::vector<iptr<IDataVideo>> frames;
    for (int i = 0; i < 10; ++i) frames.push_back(MakeVideo(i * 10, 10, 100, format));
    auto const source = ScriptedStream<IStreamVideo>::Create(frames);
    auto const factory = MakeEffectFactory();
    auto const chain = MakeFilterFactory()->Dedicated(FilterSlots::APPLY_EFFECTS_VIDEO, ImplNames::TARSEL)(
        iptr<IStreamVideo>(source), factory);
    FillChain(*chain, IFilterApplyEffectsVideo::SettingsEffects2FilterSettings(effects), duration, *factory);
    std::vector<int> lumas;
    while (auto const frame = chain->Read()) {
        EXPECT_EQ(frame->GetPixelFormat(), PIX_FMT_YUV420P);
        lumas.push_back(frame->GetPlaneConst(0).GetData()[0]);
    }
    return lumas;
}

TEST(IntervalEffect, EffectActsWithinTheIntervalThatIsToldAlone) {
    auto const darker = MakeEffectProperty("color", {{"brightness", "-1"}, {"begin", "20"}, {"end", "50"}});
    EXPECT_EQ(LumasBehind({darker}, 100), (std::vector{100, 100, 0, 0, 0, 100, 100, 100, 100, 100}));
    EXPECT_EQ(LumasBehind({MakeEffectProperty("color", {{"brightness", "-1"}, {"begin", "70"}})}, 100),
              (std::vector{100, 100, 100, 100, 100, 100, 100, 0, 0, 0}));
    EXPECT_EQ(LumasBehind({MakeEffectProperty("color", {{"brightness", "-1"}, {"end", "10"}})}, 100),
              (std::vector{0, 100, 100, 100, 100, 100, 100, 100, 100, 100}));
}

TEST(IntervalEffect, WithoutAnIntervalItActsOnAll) {
    EXPECT_EQ(LumasBehind({MakeEffectProperty("color", {{"brightness", "-1"}})}, 100), std::vector<int>(10, 0));
    EXPECT_EQ(LumasBehind({MakeEffectProperty("color", {{"brightness", "-1"}})}, NO_VALUE), std::vector<int>(10, 0));
}

TEST(IntervalEffect, FadeFollowsTheWholeStreamUnlessTold) {
    auto const lumas = LumasBehind({MakeEffectProperty("fade", {{"direction", "out"}})}, 100);
    ASSERT_EQ(lumas.size(), 10U);
    EXPECT_EQ(lumas.front(), 100);
    for (std::size_t i = 1; i < 10; ++i) EXPECT_LT(lumas[i], lumas[i - 1]) << i;
    // From 16, black, as far as a tenth of the way to 100.
    EXPECT_NEAR(lumas.back(), 16 + 8.4, 1);
    auto const late = LumasBehind({MakeEffectProperty("fade", {{"direction", "out"}, {"begin", "200"}})}, 100);
    EXPECT_EQ(late, std::vector<int>(10, 100)) << "it begins behind the end";
}

TEST(IntervalEffect, FadeOverAStreamOfUnknownLengthNeedsItsEnd) {
    auto const fade = MakeEffectProperty("fade", {{"begin", "20"}});
    EXPECT_EQ(MessageOf<FilterException>([&] { LumasBehind({fade}, NO_VALUE); }),
              "the stream has no known length: the effect \"fade\" needs its \"end\"");
    EXPECT_EQ(LumasBehind({MakeEffectProperty("fade", {{"end", "10"}})}, NO_VALUE).back(), 100);
}

}  // namespace
}  // namespace Tarsel::Host
