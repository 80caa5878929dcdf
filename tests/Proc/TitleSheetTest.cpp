// Bitmap titles drawn on pictures with the host's resizer and blender, for people to look at.
#include <gtest/gtest.h>

#include <memory>

#include "Proc/Filters/Filters/TitleProviderFromBitmap.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"
#include "host/graph/Factories.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/TitleBitmaps.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int WIDTH = 192;
constexpr int HEIGHT = 144;

/// A letter-like shape: a ring with an outline, on a transparent ground. 0 nothing, 1 outline, 2 face.
TitleRect Ring(int x, int y, int size, std::vector<u8> const& face) {
    TitleRect rect = Block(x, y, size, size, {0, 0, 0, 0, 0, 0, 0, 255});
    rect.palette.insert(rect.palette.end(), face.begin(), face.end());
    for (int row = 0; row < size; ++row)
        for (int column = 0; column < size; ++column) {
            int const across = 2 * column - size + 1;
            int const down = 2 * row - size + 1;
            int const distance = across * across + down * down;
            int const outer = size * size;
            u8 const index = distance > outer || distance * 4 < outer                 ? 0
                             : distance * 10 > outer * 8 || distance * 10 < outer * 4 ? 1
                                                                                      : 2;
            rect.indices[static_cast<std::size_t>(row * size + column)] = index;
        }
    return rect;
}

class TitleSheet : public ::testing::Test {
  protected:
    /// A grey picture, lighter to the right.
    iptr<IDataVideo> Ground() const {
        auto picture = DataVideoFF::Create(PIX_FMT_RGBA, info, nullptr);
        auto const plane = picture->GetPlane(0);
        for (int row = 0; row < info.height; ++row)
            for (int column = 0; column < info.width; ++column) {
                u8* const pixel = plane.GetOffsetPtr(static_cast<unsigned>(column), static_cast<unsigned>(row));
                pixel[0] = pixel[1] = pixel[2] = static_cast<u8>(60 + column / 2);
                pixel[3] = 255;
            }
        return picture;
    }
    /// Draws what is to be seen at `time` at its place, and adds it to the sheet.
    iptr<IDataVideo> DrawAt(int64 time, std::string const& caption) {
        auto picture = Ground();
        CropInfo crop;
        auto const image = provider->GetOverlay(time, info, crop);
        if (image) {
            auto const blender = effects->CreateBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::DEFAULT);
            blender->Initialize(SettingsEffectImageBlender(static_cast<int>(crop.left), static_cast<int>(crop.top), 255,
                                                           provider->GetAlphaMode()));
            blender->Process(picture, image);
        }
        sheet->Add(picture, caption);
        return picture;
    }
    static std::vector<int> PixelOf(IDataVideo const& picture, unsigned x, unsigned y) {
        u8 const* const pixel = picture.GetPlaneConst(0).GetOffsetPtr(x, y);
        return {pixel, pixel + 3};
    }

    iptr<IEffectFactory const> const effects = Host::MakeEffectFactory();
    iptr<TitleProviderFromBitmap> const provider = MakeShared<TitleProviderFromBitmap>(*effects);
    Conf::FrameInfo info{WIDTH, HEIGHT, 1, 1};
    // Written while the host's effects are still there.
    static void SetUpTestSuite() { sheet = std::make_unique<ContactSheet>("bitmap-titles", 3); }
    static void TearDownTestSuite() { sheet.reset(); }
    inline static std::unique_ptr<ContactSheet> sheet;
};

TEST_F(TitleSheet, TitlesStandWhereTheirRectanglesAre) {
    provider->AddData(MakeTitle(0, 10, {Ring(20, 90, 40, {255, 255, 255, 255}), Ring(80, 90, 40, {255, 255, 0, 255})}));
    auto const picture = DrawAt(0, "A white and a yellow ring below");
    EXPECT_EQ(PixelOf(*picture, 25, 110), (std::vector<int>{254, 254, 254}));
    EXPECT_EQ(PixelOf(*picture, 85, 110), (std::vector<int>{254, 254, 0}));
    EXPECT_EQ(PixelOf(*picture, 40, 110), PixelOf(*Ground(), 40, 110));
}

TEST_F(TitleSheet, OverlappingTitlesLieOverEachOther) {
    provider->AddData(MakeTitle(0, 10, {Ring(40, 40, 60, {255, 0, 0, 255})}));
    provider->AddData(MakeTitle(1, 10, {Ring(70, 50, 60, {0, 255, 0, 255})}));
    auto const picture = DrawAt(1, "Green ring over red; its transparent box blackens the red");
    // Where the upper box is transparent, what lay below keeps its alpha and loses its colour.
    EXPECT_EQ(PixelOf(*picture, 92, 70), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(PixelOf(*picture, 46, 70), (std::vector<int>{254, 0, 0}));
}

TEST_F(TitleSheet, HalfTransparentTitlesLetThePictureThrough) {
    provider->AddData(
        MakeTitle(0, 10, {Block(20, 20, 60, 40, {0, 0, 255, 128}), Block(100, 20, 60, 40, {0, 0, 255, 255})}));
    auto const picture = DrawAt(0, "Left half transparent blue, right solid blue");
    auto const ground = PixelOf(*Ground(), 40, 40);
    EXPECT_NEAR(PixelOf(*picture, 40, 40)[0], ground[0] * 127 / 255, 2);
    EXPECT_EQ(PixelOf(*picture, 120, 40), (std::vector<int>{0, 0, 254}));
}

TEST_F(TitleSheet, TitlesAtTheEdgesAreCutOff) {
    provider->AddData(MakeTitle(0, 10,
                                {Ring(-20, 50, 40, {255, 255, 255, 255}), Ring(WIDTH - 20, 50, 40, {255, 255, 0, 255}),
                                 Ring(70, HEIGHT - 20, 40, {0, 255, 255, 255})}));
    auto const picture = DrawAt(0, "Half rings at left, right and lower edge");
    EXPECT_EQ(PixelOf(*picture, 14, 70), (std::vector<int>{254, 254, 254}));
    EXPECT_EQ(PixelOf(*picture, WIDTH - 14, 70), (std::vector<int>{254, 254, 0}));
}

TEST_F(TitleSheet, WidePixelsGetAHigherPictureAtTheSamePlace) {
    info = {WIDTH, HEIGHT, 2, 1};
    provider->AddData(MakeTitle(0, 10, {Ring(60, 20, 40, {255, 255, 255, 255})}));
    CropInfo crop;
    auto const image = provider->GetOverlay(0, info, crop);
    EXPECT_EQ(image->GetFrameInfo(), (Conf::FrameInfo{40, 80, 2, 1}));
    EXPECT_EQ(crop, CropInfo(60, 100, 20, 60));
    auto const picture = DrawAt(0, "Pixels 2:1: the ring is round on the wide picture");
    // The face at the left edge of the ring's middle row, which is now 60.
    EXPECT_GT(PixelOf(*picture, 65, 60)[0], 230);
    EXPECT_EQ(PixelOf(*picture, 80, 60), PixelOf(*Ground(), 80, 60));
}

TEST_F(TitleSheet, NothingIsDrawnWhenItsTimeIsOver) {
    provider->AddData(MakeTitle(0, 10, {Ring(60, 20, 40, {255, 255, 255, 255})}));
    EXPECT_EQ(BytesOf(*DrawAt(10, "Nothing: the title is over")), BytesOf(*Ground()));
}

}  // namespace
}  // namespace Tarsel::Proc
