#include "host/effects/CropRegion.h"

#include <algorithm>
#include <sstream>
#include <string>

#include "contracts/Core/Exception.h"
#include "host/media/FFmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

AVPixFmtDescriptor const* Describe(PixFmt format) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(format)));
}

u32 Down(u32 edge, u32 step) {
    return edge - edge % step;
}

u32 Up(u32 edge, u32 step, u32 end) {
    return std::min(Down(edge + step - 1, step), end);
}

}  // namespace

std::string ToText(CropInfo const& region) {
    std::ostringstream text;
    text << region;
    return text.str();
}

CropInfo CropRegionIn(CropInfo const& asked, PixFmt format, int width, int height) {
    CropInfo const whole = CropInfo::WholeOf(width, height);
    CropInfo region = asked;
    if (region.right == 0) region.right = whole.right;
    if (region.bottom == 0) region.bottom = whole.bottom;
    if (region.IsEmpty() || region.right > whole.right || region.bottom > whole.bottom)
        TARSEL_THROW(EffectException, "The part to keep (" + ToText(asked) + ") reaches beyond a picture of " +
                                          std::to_string(width) + "x" + std::to_string(height));
    AVPixFmtDescriptor const* const description = Describe(format);
    u32 const across = description ? 1U << description->log2_chroma_w : 1;
    u32 const down = description ? 1U << description->log2_chroma_h : 1;
    return {Down(region.left, across), Up(region.right, across, whole.right), Down(region.top, down),
            Up(region.bottom, down, whole.bottom)};
}

u32 RowStepOfFields(PixFmt format) {
    AVPixFmtDescriptor const* const description = Describe(format);
    return description ? 2U << description->log2_chroma_h : 2;
}

}  // namespace Tarsel::Host
