#pragma once

#include <string>

#include "host/media/FFmpeg.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// libavformat's writer for a target's extension. Throws `Core::IOException` "PATH: ..." for an extension that it
/// doesn't know, and for the containers that are read but not written.
AVOutputFormat const* FindContainer(std::string const& path);
/// libavformat's writer of a short name ("matroska"), one of those that extensions lead to. Throws `Core::IOException`
/// "there is no container ..." for other names.
AVOutputFormat const* FindContainerNamed(std::string const& name);

/// Why the container can't hold packets of the codec; empty when it can.
std::string WhyNotCarried(AVOutputFormat const& container, StreamKind kind, AVCodecID codec);

/// Whether units of H.264 and HEVC go into the container with start codes, headers in front of the keys.
bool WantsAnnexB(AVOutputFormat const& container);
/// Whether the container holds one stream of each kind at most.
bool HoldsOneOfAKind(AVOutputFormat const& container);
bool IsTransportStream(AVOutputFormat const& container);
bool IsMatroska(AVOutputFormat const& container);
/// WebM, which isn't counted as Matroska: it carries fewer codecs and no attachments.
bool IsWebM(AVOutputFormat const& container);
bool IsAvi(AVOutputFormat const& container);
bool IsMov(AVOutputFormat const& container);

}  // namespace Tarsel::Host
