#pragma once

#include <vector>

#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

/// The settings of the drawer of subtitles, as graph files have them.
std::vector<SettingField> TitleFields();

}  // namespace Tarsel::Host
