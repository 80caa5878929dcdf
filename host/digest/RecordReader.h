#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/GraphCRCData.h"

namespace Tarsel::Host {

/// Reads the record of a run. Whatever is wrong with the file is `Core::IOException` "PATH: what is wrong", with the
/// line where it isn't JSON, and else with the whole path of the key that is missing, or whose value isn't the wanted
/// number.
TARSEL_HOST_EXPORT Proc::GraphCRCData LoadRecord(std::string const& path);

}  // namespace Tarsel::Host
