#pragma once

#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// Copies `count` samples of each channel, plane by plane, from sample `fromOffset` of one block to sample `toOffset`
/// of another of the same format and layout. Both have those samples; `count` may be 0. The blocks aren't the same one.
TARSEL_CONTRACTS_EXPORT void CopySamples(IDataAudio& to, int toOffset, IDataAudio& from, int fromOffset, int count);
/// The same from the frames of FFmpeg that hold the samples, whose format is `info`.
TARSEL_CONTRACTS_EXPORT void CopySamples(AVFrame& to, int toOffset, AVFrame const& from, int fromOffset, int count,
                                         Conf::SampleInfo const& info);

}  // namespace Tarsel::Proc
