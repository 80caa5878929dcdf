#pragma once

#include <string>

#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// A text as a picture: RGBA of one colour, 0xRRGGBB, the letters in its alpha; as large as what is drawn. Drawn by
/// libass in the sans-serif font that fontconfig finds, `size` pixels from line to line. Null for a text of which
/// nothing is seen. At most 8192 x 8192 pixels; what stands beyond is cut off. Throws `EffectException` where there is
/// no font for a letter.
iptr<Proc::IDataVideo> MakeTextPicture(std::string const& text, int size, int color);

}  // namespace Tarsel::Host
