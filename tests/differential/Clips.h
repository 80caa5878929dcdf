// The streams that the parsers are compared with libavcodec on: what the media family has of their codecs, and clips
// with headers that the family lacks.
#pragma once

#include <string>
#include <vector>

#include "tests/support/MediaInspector.h"

namespace Tarsel::Test {

/// Paths of all clips that hold a stream of the codec ("h264", "hevc", "mpeg2video", "mpeg1video", "mpeg4", "aac").
std::vector<std::string> const& ClipsOf(std::string const& codec);

/// The first stream of the codec in a file; each file is read once. Throws `std::runtime_error` when there is none.
StreamInspection const& StreamOf(std::string const& path, std::string const& codec);

/// The name of a clip within its folder, for messages.
std::string NameOf(std::string const& path);

}  // namespace Tarsel::Test
