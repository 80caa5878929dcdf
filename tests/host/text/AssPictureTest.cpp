// Masks are joined as exact arithmetic says, checked against fractions of doubles.
#include "host/text/AssPicture.h"

#include <ass/ass.h>
#include <gtest/gtest.h>

#include <cmath>
#include <deque>

#include "tests/host/text/TextSupport.h"
#include "tests/support/ContactSheet.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

/// Masks in the order of a list, which owns nothing.
class Masks {
  public:
    Masks& Add(int x, int y, int width, int height, u32 color, std::vector<u8> values) {
        bytes.push_back(std::move(values));
        ASS_Image mask{};
        mask.w = width;
        mask.h = height;
        mask.stride = width;
        mask.bitmap = bytes.back().data();
        mask.color = color;
        mask.dst_x = x;
        mask.dst_y = y;
        masks.push_back(mask);
        if (masks.size() > 1) masks[masks.size() - 2].next = &masks.back();
        return *this;
    }
    Masks& Add(int x, int y, int width, int height, u32 color, u8 value = 255) {
        return Add(x, y, width, height, color, std::vector<u8>(static_cast<std::size_t>(width * height), value));
    }
    Drawing Join() const {
        Drawing drawing;
        drawing.picture = JoinAssImages(masks.empty() ? nullptr : &masks.front(), drawing.crop);
        return drawing;
    }

  private:
    std::deque<std::vector<u8>> bytes;
    std::deque<ASS_Image> masks;
};

TEST(AssPicture, IsOneMaskOfOneColour) {
    Drawing const drawing = Masks().Add(7, 5, 2, 1, 0x10203000, {255, 128}).Join();
    EXPECT_EQ(drawing.crop, CropInfo(7, 9, 5, 6));
    EXPECT_EQ(PixelsOf(*drawing.picture), (std::vector<u32>{0x102030FF, 0x10203080}));
    EXPECT_EQ(drawing.picture->GetPixelFormat(), PIX_FMT_RGBA);
    EXPECT_EQ(drawing.picture->GetFrameInfo(), (Conf::FrameInfo{2, 1, 1, 1}));
}

TEST(AssPicture, IsAsLargeAsWhatIsSeen) {
    // Empty rows and columns, and values that vanish by the colour's transparency, are no part of it.
    std::vector<u8> const values{0, 0, 0,   0,  //
                                 0, 9, 255, 1,  //
                                 0, 0, 255, 0,  //
                                 0, 0, 0,   0};
    EXPECT_EQ(Masks().Add(10, 20, 4, 4, 0, values).Join().crop, CropInfo(11, 14, 21, 23));
    EXPECT_EQ(Masks().Add(10, 20, 4, 4, 251, values).Join().crop, CropInfo(12, 13, 21, 23));
    EXPECT_EQ(Masks().Add(10, 20, 4, 4, 0, values).Add(0, 30, 1, 1, 0).Join().crop, CropInfo(0, 14, 21, 31));
}

TEST(AssPicture, NothingIsNull) {
    EXPECT_EQ(Masks().Join().picture, nullptr);
    EXPECT_EQ(Masks().Add(1, 1, 0, 0, 0).Join().picture, nullptr);
    EXPECT_EQ(Masks().Add(1, 1, 3, 3, 0, 0).Join().picture, nullptr);
    EXPECT_EQ(Masks().Add(1, 1, 3, 3, 0xFFFFFFFF).Join().picture, nullptr);
}

TEST(AssPicture, LaterMasksLieOverEarlierOnes) {
    Drawing const drawing = Masks().Add(0, 0, 2, 1, 0xFF000000).Add(1, 0, 2, 1, 0x00FF0000).Join();
    EXPECT_EQ(PixelsOf(*drawing.picture), (std::vector<u32>{0xFF0000FF, 0x00FF00FF, 0x00FF00FF}));
}

TEST(AssPicture, ColoursOverEachOtherMixByTheirCover) {
    // Half of red over half of blue: three quarters are covered, two thirds of it red.
    Drawing const drawing = Masks().Add(0, 0, 1, 1, 0x0000FF00, 128).Add(0, 0, 1, 1, 0xFF000000, 128).Join();
    EXPECT_EQ(PixelsOf(*drawing.picture), (std::vector<u32>{0xAA0055C0}));
}

TEST(AssPicture, MixesAnyTwoMasksAsFractionsDo) {
    ContactSheet sheet("text-masks");
    for (int const transparency : {0, 100, 250}) {
        // Columns have the cover of the lower mask, rows that of the upper one.
        std::vector<u8> lower, upper;
        for (int i = 0; i < 256 * 256; ++i) {
            lower.push_back(static_cast<u8>(i % 256));
            upper.push_back(static_cast<u8>(i / 256));
        }
        u32 const over = 0xFF802000U | static_cast<u32>(transparency);
        Drawing const drawing = Masks().Add(0, 0, 256, 256, 0x0040FF00, lower).Add(0, 0, 256, 256, over, upper).Join();
        sheet.Add(drawing.picture, "orange over blue, denser downwards and to the right");
        double worst = 0;
        for (int y = 0; y < drawing.picture->GetHeight(); ++y)
            for (int x = 0; x < drawing.picture->GetWidth(); ++x) {
                u32 const pixel = PixelAt(*drawing.picture, x, y);
                int const column = x + static_cast<int>(drawing.crop.left),
                          row = y + static_cast<int>(drawing.crop.top);
                double const a = std::floor(row * (255 - transparency) / 255.0 + 0.5 - 1e-9) / 255, b = column / 255.0;
                double const alpha = a + b * (1 - a);
                worst = std::max(worst, std::abs((pixel & 255) - alpha * 255));
                if (alpha == 0) continue;
                double const red = 255 * a / alpha, green = (128 * a + 64 * b * (1 - a)) / alpha,
                             blue = (32 * a + 255 * b * (1 - a)) / alpha;
                worst = std::max({worst, std::abs((pixel >> 24) - red), std::abs((pixel >> 16 & 255) - green),
                                  std::abs((pixel >> 8 & 255) - blue)});
            }
        EXPECT_LE(worst, 0.51) << transparency;
    }
}

}  // namespace
}  // namespace Tarsel::Host
