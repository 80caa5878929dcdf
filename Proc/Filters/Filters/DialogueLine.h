#pragma once

#include <string>

#include "contracts/Core/Types.h"

struct AVSubtitle;
struct AVSubtitleRect;

namespace Tarsel::Proc {

/// The line of an ASS script for a rectangle's plain text: "Dialogue: 0,START,END,Default,TEXT"; empty where it has no
/// text. Runs of white space shrink to their first character, and those in front of the text go. The times are those of
/// the event around its `pts`, or around `time` (microseconds) where it has none; the line begins at 0 where neither is
/// known, and no time is below 0.
std::string MakeDialogueLine(AVSubtitle const& event, AVSubtitleRect const& rectangle, int64 time);

}  // namespace Tarsel::Proc
