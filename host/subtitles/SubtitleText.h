#pragma once

#include <string>
#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// The text of a file of subtitles in UTF-8, without a byte-order mark; null for a file of any other kind. A mark says
/// the encoding, else `charset` does, else it is UTF-8. Failures are `Core::IOException` "PATH: what is wrong"; of
/// bytes that aren't the encoding's it tells the line and the byte. What is left out of the text, as parts of WebVTT
/// that are no cues, is told by "PATH: ..." texts in `warnings` and in the log.
SharedBytes ReadSubtitleText(std::string const& path, std::string const& charset, std::vector<std::string>& warnings);

/// The packets of a container's subtitles with their texts, and the script header, in UTF-8. Goes in: packets in the
/// encoding `charset`, UTF-8 when that is empty. Comes out: the same in UTF-8; `source` itself for codecs of pictures.
/// Seek, end and threads: the source's. Bytes that aren't the encoding's are a `Core::IOException`
/// "PATH: STREAM at TIME: what is wrong".
iptr<Proc::IStreamRaw> RecodeTexts(iptr<Proc::IStreamRaw> source, std::string const& path, StreamInfo const& info,
                                   std::string const& charset);

}  // namespace Tarsel::Host
