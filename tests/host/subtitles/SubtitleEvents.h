#pragma once

#include <string>
#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/subtitles/SubtitleSource.h"

namespace Tarsel::Test {

using Lines = std::vector<std::string>;

/// "10s+2.5s", with the event's times of itself and, where they say something else, of its `AVSubtitle`.
std::string TimesOf(Proc::IDataSubtitle& event);
/// The rectangles: an ASS line as it is, of a picture "4,6 2x2" and its pixels as R, G, B, A in hexadecimal digits, "-"
/// for one that is wholly clear; runs of equal ones are counted ("FF0000FF*4").
std::string ContentsOf(Proc::IDataSubtitle& event);

/// "TIMES CONTENTS" of all events from where the stream stands.
Lines ReadEvents(iptr<Proc::IStreamSubtitle> const& stream);
/// The same of the events of a file.
Lines ReadEvents(Host::SubtitleRequest const& request);
Lines ReadEventsAt(iptr<Proc::IStreamSubtitle> const& stream, int64 position);

/// From random positions reading gives what reading straight gives of the events that end behind them. `length` bounds
/// the positions.
void ExpectSeeksLikeStraightReading(Host::SubtitleRequest const& request, int64 length, unsigned seed);

}  // namespace Tarsel::Test
