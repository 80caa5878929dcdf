#pragma once

namespace Tarsel::Tool {

/// From here on an interrupt, a termination request or a hang-up removes what is half written and ends the program with
/// 128 plus the signal's number.
void HandleSignals();

}  // namespace Tarsel::Tool
