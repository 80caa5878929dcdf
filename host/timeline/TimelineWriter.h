#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// The timeline in the own form, which `ReadTimelineText` reads back as an equal one when its pointers are those of
/// that form. Throws `GraphException` for what the form has no words for.
TARSEL_HOST_EXPORT std::string WriteTimeline(Timeline const& timeline);

/// The JSON Schema (draft 2020-12) of the own form: docs/timeline.schema.json.
TARSEL_HOST_EXPORT std::string WriteTimelineSchema();

}  // namespace Tarsel::Host
