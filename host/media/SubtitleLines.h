#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// The decoder's form of an ASS event, "ReadOrder,Layer,Style,Name,MarginL,MarginR,MarginV,Effect,Text", as the line of
/// a script: "Dialogue: Layer,Start,End,Style,...", times H:MM:SS.CC of microseconds. Margins lose the blanks in them.
/// A line that is one already stays.
TARSEL_HOST_EXPORT std::string MakeDialogueLine(std::string const& event, int64 begin, int64 end);

/// The same with times of six digits behind the point, for the engine that draws: scripts don't know such.
TARSEL_HOST_EXPORT std::string MakeExactDialogueLine(std::string const& event, int64 begin, int64 end);

/// The reverse of both, as encoders take it; `readOrder` is the number of the event. A text that is no such line stays.
TARSEL_HOST_EXPORT std::string MakeEventText(std::string const& line, int readOrder);

}  // namespace Tarsel::Host
