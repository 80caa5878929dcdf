#include "host/text/AssPicture.h"

#include <ass/ass.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"

namespace Tarsel::Host {

namespace {

struct Box {
    int left = std::numeric_limits<int>::max();
    int top = std::numeric_limits<int>::max();
    int right = 0;
    int bottom = 0;

    bool IsEmpty() const { return left >= right || top >= bottom; }
};

u8 const* MaskRow(ass_image const& mask, int y) {
    return mask.bitmap + std::ptrdiff_t{y} * mask.stride;
}

u32 OpacityOf(ass_image const& mask) {
    return 255 - (mask.color & 255);
}

/// The part of a mask that is seen: masks are larger than what is drawn in them.
void Extend(Box& box, ass_image const& mask) {
    u32 const opacity = OpacityOf(mask);
    if (opacity == 0) return;
    u32 const least = (128 + opacity - 1) / opacity;  // the least mask value of which anything is seen
    auto const isSeen = [&](u8 value) { return value >= least; };
    for (int y = 0; y < mask.h; ++y) {
        u8 const* const row = MaskRow(mask, y);
        u8 const* const end = row + mask.w;
        u8 const* const first = std::find_if(row, end, isSeen);
        if (first == end) continue;
        u8 const* last = end - 1;
        while (!isSeen(*last)) --last;
        box.left = std::min(box.left, mask.dst_x + static_cast<int>(first - row));
        box.right = std::max(box.right, mask.dst_x + static_cast<int>(last - row) + 1);
        box.top = std::min(box.top, mask.dst_y + y);
        box.bottom = std::max(box.bottom, mask.dst_y + y + 1);
    }
}

/// The colour over a pixel, both with straight alpha. Most pixels have nothing under them or are drawn on in full: the
/// division comes out even there.
void Lay(std::array<u32, 3> const& colour, u32 share, u8* pixel) {
    if (share == 255 || pixel[3] == 0) {
        std::copy(colour.begin(), colour.end(), pixel);
        pixel[3] = static_cast<u8>(share);
        return;
    }
    u32 const drawn = share * 255;
    u32 const kept = pixel[3] * (255 - share);
    u32 const sum = drawn + kept;
    for (std::size_t i = 0; i < colour.size(); ++i)
        pixel[i] = static_cast<u8>((colour[i] * drawn + pixel[i] * kept + sum / 2) / sum);
    pixel[3] = static_cast<u8>((sum + 127) / 255);
}

void Draw(ass_image const& mask, Box const& box, Proc::IDataVideo& picture) {
    u32 const opacity = OpacityOf(mask);
    std::array<u32, 3> const colour{mask.color >> 24, mask.color >> 16 & 255, mask.color >> 8 & 255};
    auto const plane = picture.GetPlane(0);
    // What lies outside of the box is not seen.
    int const firstColumn = std::max(0, box.left - mask.dst_x), endColumn = std::min(mask.w, box.right - mask.dst_x);
    int const firstRow = std::max(0, box.top - mask.dst_y), endRow = std::min(mask.h, box.bottom - mask.dst_y);
    for (int y = firstRow; y < endRow; ++y) {
        u8 const* const row = MaskRow(mask, y);
        u8* const line = plane.GetData() + std::ptrdiff_t{mask.dst_y + y - box.top} * plane.GetStride();
        for (int x = firstColumn; x < endColumn; ++x) {
            if (row[x] == 0) continue;
            u32 const share = (row[x] * opacity + 127) / 255;
            if (share > 0) Lay(colour, share, line + std::ptrdiff_t{mask.dst_x + x - box.left} * 4);
        }
    }
}

}  // namespace

iptr<Proc::IDataVideo> JoinAssImages(ass_image const* images, Proc::CropInfo& crop) {
    Box box;
    for (ass_image const* mask = images; mask; mask = mask->next) Extend(box, *mask);
    if (box.IsEmpty()) return nullptr;
    auto picture = Proc::DataVideoFF::Create(PIX_FMT_RGBA, {box.right - box.left, box.bottom - box.top, 1, 1}, nullptr);
    picture->Fill(Proc::Color::Black(Proc::Color::Transparent));
    for (ass_image const* mask = images; mask; mask = mask->next) Draw(*mask, box, *picture);
    crop = {static_cast<u32>(box.left), static_cast<u32>(box.right), static_cast<u32>(box.top),
            static_cast<u32>(box.bottom)};
    return picture;
}

}  // namespace Tarsel::Host
