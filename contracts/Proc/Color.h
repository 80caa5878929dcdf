#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// A colour of 8 bits a component, red, green, blue, alpha (0 transparent, 255 opaque).
class TARSEL_CONTRACTS_EXPORT Color {
  public:
    enum Opacity { Opaque = 0, Transparent = 1 };

    constexpr Color(u8 red, u8 green, u8 blue, u8 alpha) : red(red), green(green), blue(blue), alpha(alpha) {}

    static constexpr Color Black(Opacity opacity) { return {0, 0, 0, static_cast<u8>(opacity == Opaque ? 255 : 0)}; }

    u8 red;
    u8 green;
    u8 blue;
    u8 alpha;
};

}  // namespace Tarsel::Proc
