#pragma once

#include <string>
#include <string_view>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// An event of a script.
struct AssLine {
    int layer = 0;
    int64 start = 0;  // milliseconds
    int64 end = 0;    // above `start`
    std::string style;
    std::string name;
    int marginLeft = 0;
    int marginRight = 0;
    int marginVertical = 0;
    std::string effect;
    /// Line breaks are "\N".
    std::string text;
};

/// Reads "Dialogue: " and the fields of an event: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect,
/// Text where there are as many and the margins are numbers without blanks or empty, else Layer, Start, End, Style,
/// Text. Commas behind the last field belong to the text. Returns what is wrong with the line, an empty text where
/// nothing is; `event` then has what it says.
TARSEL_HOST_EXPORT std::string ParseAssLine(std::string_view line, AssLine& event);

}  // namespace Tarsel::Host
