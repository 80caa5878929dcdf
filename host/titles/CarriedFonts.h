#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

/// Most bytes of font files that go into a header together.
inline constexpr std::size_t MAX_CARRIED_FONTS = 256U << 20;

/// The header of a script (up to the `Format:` line of its events) with the font files in it, as scripts embed them: a
/// section `[Fonts]` in front of `[Events]`, of each file a line with its name and its bytes, three of them as four
/// characters from "!" on, six bits each, in lines of 80. Empty files are left out, a blank header stays as it is. A
/// file with which they would be more than `limit` bytes together is left out with a warning in the log.
TARSEL_HOST_EXPORT std::string WithFonts(std::string header, std::vector<FontFile> const& fonts,
                                         std::size_t limit = MAX_CARRIED_FONTS);

}  // namespace Tarsel::Host
