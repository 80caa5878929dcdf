#include "host/effects/PictureFit.h"

#include <algorithm>
#include <cmath>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

struct Size {
    int width;
    int height;
};

/// The largest size of the shape `from` within `room`, whose pixels have the aspect of `to`.
Size SizeOfShape(Conf::FrameInfo const& from, Conf::FrameInfo const& to, Size room) {
    double const across = static_cast<double>(from.width) * from.pixelAspectNum * to.pixelAspectDen;
    double const down = static_cast<double>(from.height) * from.pixelAspectDen * to.pixelAspectNum;
    double const width = across * room.height / down;
    if (width <= room.width) return {std::clamp(static_cast<int>(std::lround(width)), 1, room.width), room.height};
    double const height = down * room.width / across;
    return {room.width, std::clamp(static_cast<int>(std::lround(height)), 1, room.height)};
}

/// The value to the nearest multiple within the limit; the limit itself always fits.
int Aligned(int value, int multiple, int limit) {
    if (value == limit) return value;
    return std::min(std::max((value + multiple / 2) / multiple * multiple, multiple), limit);
}

/// The middle of a length, as far as the step lets it be.
int Centred(int length, int part, int step) {
    return (length - part) / 2 / step * step;
}

}  // namespace

Conf::FrameInfo TargetOf(SettingsResizer const& settings) {
    Conf::FrameInfo info = settings.GetFrameInfo();
    if (info.pixelAspectNum < 1 || info.pixelAspectDen < 1) info.pixelAspectNum = info.pixelAspectDen = 1;
    return info;
}

PictureFit FitPicture(Conf::FrameInfo const& picture, CropInfo const& crop, SettingsResizer const& settings,
                      int stepAcross, int stepDown) {
    CropInfo const whole = CropInfo::WholeOf(picture.width, picture.height);
    if (crop.IsEmpty() || crop.right > whole.right || crop.bottom > whole.bottom)
        TARSEL_THROW(EffectException, "A picture's crop is larger than the picture");
    Conf::FrameInfo shown = picture;
    shown.width = static_cast<int>(crop.GetWidth());
    shown.height = static_cast<int>(crop.GetHeight());
    Conf::FrameInfo const target = TargetOf(settings);
    PictureFit fit{{static_cast<int>(crop.left), static_cast<int>(crop.top), shown.width, shown.height},
                   {0, 0, target.width, target.height}};
    if (settings.GetMode() == SettingsResizer::MODE_LETTERBOX) {
        Size const size = SizeOfShape(shown, target, {target.width, target.height});
        fit.to.width = Aligned(size.width, stepAcross, target.width);
        fit.to.height = Aligned(size.height, stepDown, target.height);
        fit.to.x = Centred(target.width, fit.to.width, stepAcross);
        fit.to.y = Centred(target.height, fit.to.height, stepDown);
    } else if (settings.GetMode() == SettingsResizer::MODE_CROP) {
        Size const size = SizeOfShape(target, shown, {shown.width, shown.height});
        fit.from.x += Centred(shown.width, size.width, stepAcross);
        fit.from.y += Centred(shown.height, size.height, stepDown);
        fit.from.width = size.width;
        fit.from.height = size.height;
    }
    return fit;
}

}  // namespace Tarsel::Host
