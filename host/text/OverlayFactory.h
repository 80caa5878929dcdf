#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/ITextEngine.h"
#include "host/text/AssEngine.h"

namespace Tarsel::Host {

/// The host's engines that draw text. May be asked from any thread. `warned` is told what engines log as warnings, on
/// the threads that work with them; each engine tells a thing once.
TARSEL_HOST_EXPORT iptr<Proc::IOverlayFactory const> MakeOverlayFactory(TextWarningListener warned = {});

}  // namespace Tarsel::Host
