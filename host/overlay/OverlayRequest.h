#pragma once

#include <optional>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Host {

/// A picture or a film that is drawn over another one, as a command says it.
struct OverlayRequest {
    /// As it was written, for messages.
    std::string text;
    std::string file;
    /// Left and upper edge on the main picture, in pixels.
    int x = 0;
    int y = 0;
    /// Microseconds of the main film.
    int64 start = 0;
    /// 0 to 255.
    int alpha = 255;
    /// Microseconds; not set: it doesn't blink, and the hidden time is the shown one.
    std::optional<int64> show;
    std::optional<int64> hide;
    bool loop = false;
    /// Whether the first picture of a film is drawn as a still one.
    bool still = false;
    /// Pixels on the main picture; not set: as it comes, or as the other side and the shape ask for.
    std::optional<int> width;
    std::optional<int> height;

    /// The text in double quotes, whole: its end is what tells apart where one file is drawn twice.
    TARSEL_HOST_EXPORT std::string GetName() const;
};

/// Reads "FILE@X,Y" with ",start=T", ",alpha=A" (0 to 1), ",blink=SHOW[/HIDE]", ",loop", ",still" and ",size=WxH"
/// behind it in any order. The last "@" ends the name of the file: further ones and commas may stand in it. Times as
/// those of `ParseTime`. Throws `GraphException` that quotes the text and tells what is wrong with it.
TARSEL_HOST_EXPORT OverlayRequest ParseOverlay(std::string const& text);

}  // namespace Tarsel::Host
