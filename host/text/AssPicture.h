#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"

struct ass_image;

namespace Tarsel::Host {

/// Joins what the text library drew for a frame, a list of masks of one colour each, in one picture: RGBA with straight
/// alpha, each mask over those in front of it, as large as what is seen; in `crop` where that lies. Null where nothing
/// is seen. With `k` a mask's value, `o` its colour's opacity, all divisions down to whole numbers,
///
///     a = (k * o + 127) / 255,   n = a * 255,   m = alpha * (255 - a),   s = n + m
///     colour = (colour of the mask * n + colour * m + s / 2) / s,   alpha = (s + 127) / 255
TARSEL_HOST_EXPORT iptr<Proc::IDataVideo> JoinAssImages(ass_image const* images, Proc::CropInfo& crop);

}  // namespace Tarsel::Host
