#pragma once

#include "contracts/Core/Export.h"
#include "host/cut/CutReport.h"
#include "host/cut/CutRequest.h"

namespace Tarsel::Host {

/// Tells what `RunCut` would do, by the same numbers, without writing anything. The whole file is read and boundary
/// groups are encoded, since only that gives the numbers as they fall. `output` may be empty.
TARSEL_HOST_EXPORT CutReport PlanCut(CutRequest const& request, ProgressCallback const& progress);

/// Cuts. The output appears at its place only when all of it is written (and, when asked for, verified). Throws
/// `Core::IOException` for what is wrong with a file, `VerificationMismatch`, and `ProcException` for the rest; then no
/// output is left, and what stood at its place is untouched.
TARSEL_HOST_EXPORT CutReport RunCut(CutRequest const& request, ProgressCallback const& progress);

}  // namespace Tarsel::Host
