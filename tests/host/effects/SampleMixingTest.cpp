#include "host/effects/SampleMixing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "host/graph/Factories.h"
#include "tests/host/effects/PictureSupport.h"
#include "tests/support/Draw.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

// Bytes are computed several at a time where the map of a picture's samples is a line. These pictures have more samples
// than there are bytes in each of their parts, so that every byte is asked for, and rows that no vector divides.
constexpr int WIDTH = 75;
constexpr int HEIGHT = 43;

std::vector<Part> After(Settings const& settings, int64 end, iptr<IDataVideo> const& picture) {
    auto const effect = MakeEffectFactory()->CreateEffect(settings.GetClassId(), ImplNames::TARSEL);
    effect->Initialize(settings);
    effect->GetTimeToProgress().end = end;
    iptr<IData> const result = effect->ProcessData({picture});
    return ReadParts(dynamic_cast<IDataVideo const&>(*result));
}

int Rounded(double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
}

TEST(SampleMixing, ColoursOfLargePicturesFollowTheFormula) {
    TestSupport::Draw draw(31);
    auto const picture = DrawNoise(PIX_FMT_YUV420P, WIDTH, HEIGHT, 5);
    for (int round = 0; round < 300; ++round) {
        SettingsEffectColor settings;
        // Halves and quarters, too: values in the middle between two bytes, where a line may go the other way.
        double const unit = round % 2 ? 0.25 : 0.001;
        settings.SetBrightness(std::min(1.0, draw.Below(static_cast<u32>(1 / unit)) * unit) * (round % 3 ? 1 : -1));
        settings.SetContrast(draw.Below(static_cast<u32>(4 / unit)) * unit);
        settings.SetSaturation(draw.Below(static_cast<u32>(4 / unit)) * unit);
        auto expected = ReadParts(*picture);
        for (int& y : expected[0].samples)
            y = Rounded((y - 125.5) * settings.GetContrast() + 125.5 + settings.GetBrightness() * 219);
        for (std::size_t i = 1; i < 3; ++i)
            for (int& v : expected[i].samples)
                v = Rounded((v - 128) * (settings.GetContrast() * settings.GetSaturation()) + 128);
        ASSERT_EQ(After(settings, 0, picture), expected)
            << settings.GetBrightness() << ", " << settings.GetContrast() << ", " << settings.GetSaturation();
    }
}

TEST(SampleMixing, FadesOfLargePicturesFollowTheFormula) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, WIDTH, HEIGHT, 6);
    auto const before = ReadParts(*picture);
    SettingsEffectFade red;
    red.SetColor(0xFF0000);
    int const shades[] = {81, 90, 240};
    for (int64 end = 40001; end < 4000000; end += end / 7) {
        auto const weight = static_cast<u32>(std::lround(40000.0 / static_cast<double>(end) * 32768));
        auto expected = before;
        for (std::size_t i = 0; i < 3; ++i)
            for (int& v : expected[i].samples)
                v = static_cast<int>(
                    (static_cast<u32>(shades[i]) * (32768 - weight) + static_cast<u32>(v) * weight + 16384) >> 15);
        ASSERT_EQ(After(red, end, picture), expected) << "to the end at " << end;
    }
}

}  // namespace
}  // namespace Tarsel::Host
