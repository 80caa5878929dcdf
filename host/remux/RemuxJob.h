#pragma once

#include "contracts/Core/Export.h"
#include "host/remux/RemuxReport.h"
#include "host/remux/RemuxRequest.h"

namespace Tarsel::Host {

/// Brings all streams that the target carries into another container, their packets in the framing that it wants. The
/// output appears at its place only when all of it is written (and, when asked for, verified). Throws
/// `Core::IOException` for what is wrong with a file, `VerificationMismatch`, and `ProcException` for the rest; then no
/// output is left, and what stood at its place is untouched.
TARSEL_HOST_EXPORT RemuxReport RunRemux(RemuxRequest const& request, ProgressCallback const& progress);

}  // namespace Tarsel::Host
