#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// Reads a timeline file: OpenTimelineIO where the name ends in ".otio" or the text's outermost object says
/// "OTIO_SCHEMA", the own form of docs/timelines.md otherwise. Relative paths of media are resolved against the file's
/// folder. Throws `GraphException` "PATH: " and the message of `ReadTimelineText`; a file that can't be read is
/// `Core::IOException` "PATH: ...".
TARSEL_HOST_EXPORT ReadTimelineResult ReadTimelineFile(std::string const& path);

/// The form that a timeline is written in.
enum class TimelineForm { Own, OpenTimelineIO };

/// Reads a timeline from its text (JSON, UTF-8); relative paths of media are put behind `folder`, and stay as they are
/// where that is empty. No media are opened. What is wrong throws `GraphException` "POINTER: WHAT" with the first of
/// the findings; what is right but can't be carried comes back as a warning, which the own form has none of.
TARSEL_HOST_EXPORT ReadTimelineResult ReadTimelineText(std::string const& text, TimelineForm form,
                                                       std::string const& folder = {});

}  // namespace Tarsel::Host
