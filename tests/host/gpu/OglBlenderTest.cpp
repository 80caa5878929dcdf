#include <gtest/gtest.h>

#include <limits>

#include "tests/host/gpu/TwoSides.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

class OglBlend : public GpuTest {
  protected:
    static iptr<IEffectImageBlender> Make(SettingsEffectImageBlender const& settings) {
        auto const blender = MakeEffectFactory()->CreateBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::OGL);
        blender->Initialize(settings);
        return blender;
    }
};

TEST_F(OglBlend, GivesTheBytesOfTheProcessor) {
    std::vector<std::pair<int, int>> const places{{0, 0},   {3, 2},  {-4, -3},  {25, 12},
                                                  {-20, 5}, {30, 0}, {-100, 0}, {0, 500}};
    for (auto const mode : {BlendAlphaMode::Straight, BlendAlphaMode::Premultiplied})
        for (int const alpha : {0, 1, 100, 254, 255, 300, -5})
            for (auto const& [x, y] : places)
                for (auto const& below : {Noise(31, 17, 1), Edges(31, 17), Noise(31, 17, 2, true)}) {
                    SettingsEffectImageBlender const settings(x, y, alpha, mode);
                    EXPECT_EQ(CompareSides(settings, {below, Noise(21, 13, 5)}), 0) << x << " " << y << " " << alpha;
                    EXPECT_EQ(CompareSides(settings, {below, Edges(31, 17)}), 0) << x << " " << y << " " << alpha;
                }
}

TEST_F(OglBlend, GivesTheBytesOfTheProcessorForAllAlphas) {
    // Rows have the alpha of the lower picture, columns that of the drawn one.
    auto const below = Paint(256, 256, [](int x, int y) { return Pixel{x, 255 - y, 77, y}; });
    auto const drawn = Paint(256, 256, [](int x, int y) { return Pixel{y, 200, 255 - x, x}; });
    for (auto const mode : {BlendAlphaMode::Straight, BlendAlphaMode::Premultiplied})
        for (int const alpha : {255, 128, 3})
            EXPECT_EQ(CompareSides(SettingsEffectImageBlender(0, 0, alpha, mode), {below, drawn}), 0);
}

TEST_F(OglBlend, GivesTheBytesOfTheProcessorForOnePixel) {
    EXPECT_EQ(
        CompareSides(SettingsEffectImageBlender(0, 0, 200, BlendAlphaMode::Straight), {Noise(1, 1, 1), Noise(1, 1, 2)}),
        0);
    EXPECT_EQ(CompareSides(SettingsEffectImageBlender(-3000, 0, 200, BlendAlphaMode::Straight),
                           {Noise(3, 2, 1), Noise(4000, 2, 2)}),
              0);
}

TEST_F(OglBlend, WhatIsntSeenLeavesTheSameObject) {
    int const far = std::numeric_limits<int>::max();
    auto const picture = Upload(Noise(4, 4, 2));
    for (SettingsEffectImageBlender const& settings :
         {SettingsEffectImageBlender(8, 0, 255, BlendAlphaMode::Straight),
          SettingsEffectImageBlender(-4, 0, 255, BlendAlphaMode::Straight),
          SettingsEffectImageBlender(far, far, 255, BlendAlphaMode::Straight),
          SettingsEffectImageBlender(-far - 1, -far - 1, 255, BlendAlphaMode::Straight),
          SettingsEffectImageBlender(0, 0, 0, BlendAlphaMode::Straight)}) {
        auto dest = Upload(Noise(8, 8, 1));
        auto const before = dest;
        int64 const draws = device->GetCounters().draws;
        Make(settings)->Process(dest, picture);
        EXPECT_EQ(dest, before);
        EXPECT_EQ(device->GetCounters().draws, draws);
    }
}

TEST_F(OglBlend, DrawsOnALoneFrameWithoutACopy) {
    auto dest = Upload(Noise(8, 8, 1));
    auto const picture = Upload(Noise(4, 4, 2));
    IDataVideo* const object = dest.get();
    GpuCounters const before = device->GetCounters();
    Make({1, 1, 255, BlendAlphaMode::Straight})->Process(dest, picture);
    EXPECT_EQ(dest.get(), object);
    EXPECT_EQ(device->GetCounters().copies, before.copies);
    EXPECT_EQ(device->GetCounters().draws - before.draws, 1);
}

TEST_F(OglBlend, CopiesAFrameThatOthersHold) {
    auto const below = Noise(8, 8, 1);
    auto dest = Upload(below);
    auto const held = dest;
    GpuCounters const before = device->GetCounters();
    Make({1, 1, 255, BlendAlphaMode::Straight})->Process(dest, Upload(Noise(4, 4, 2)));
    EXPECT_NE(dest, held);
    EXPECT_EQ(device->GetCounters().copies - before.copies, 1);
    EXPECT_EQ(BytesOf(*Download(held)), BytesOf(*below));
}

TEST_F(OglBlend, APictureIsDrawnOnItself) {
    auto const picture = Noise(8, 8, 1);
    auto dest = Upload(picture);
    Make({2, 1, 255, BlendAlphaMode::Straight})->Process(dest, dest);
    SettingsEffectImageBlender const settings(2, 1, 255, BlendAlphaMode::Straight);
    auto const wanted = OnProcessor(*MakeSide(settings, ImplNames::TARSEL), {picture, picture});
    EXPECT_EQ(BytesOf(*Download(dest)), BytesOf(*wanted));
}

TEST_F(OglBlend, NullsChangeNothing) {
    auto const blender = Make({0, 0, 255, BlendAlphaMode::Straight});
    auto dest = Upload(Noise(8, 8, 1));
    auto const before = dest;
    blender->Process(dest, nullptr);
    EXPECT_EQ(dest, before);
    iptr<IDataVideo> none;
    blender->Process(none, before);
    EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace Tarsel::Host
