#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Tarsel::Host {

/// The cues of a WebVTT text, UTF-8 that begins with "WEBVTT", without what libavformat's reader stumbles over: blocks
/// of styles, regions and notes, names of cues, and blocks that are no cues. `notes` gets a line for each of the last,
/// "line 7 is no time of a cue...": ten of them at most, and one that counts the others.
std::string KeepCues(std::string_view text, std::vector<std::string>& notes);

}  // namespace Tarsel::Host
