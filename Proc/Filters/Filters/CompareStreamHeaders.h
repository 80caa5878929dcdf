#pragma once

#include "contracts/Conf/IFormatCodec.h"

namespace Tarsel::Proc {

/// Whether packets of an encoder with the format `encoder` decode under the header of a stream of the format `source`.
/// Headers of H.264, MPEG-4, WMV2 and Theora are compared; one that is missing or can't be decoded is no match. Other
/// codecs always match.
bool CompareStreamHeaders(Conf::IFormatCodec const& source, Conf::IFormatCodec const& encoder);

}  // namespace Tarsel::Proc
