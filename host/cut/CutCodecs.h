#pragma once

#include <string>

#include "contracts/Proc/ICodecFactory.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// The decoders and encoders that a cut of a stream's packets may use: no encoder where it can't continue the stream's
/// groups of pictures; `refusal` says why, and is empty otherwise.
iptr<Proc::ICodecFactory const> ChooseCutCodecs(StreamInfo const& info, StreamIndex const& index, std::string& refusal);

}  // namespace Tarsel::Host
