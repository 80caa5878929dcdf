#pragma once

#include <cstddef>
#include <vector>

#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// Appends the mean of the channels, 1 at full scale, of frames of the block to `values`, at most until it holds
/// `limit` of them. Of C channels every C-th frame alone is taken, and bytes count from 127: this is what the histogram
/// is drawn from.
///
/// Throws `FilterException` "Sample format of audio source is not supported!" for a format other than 8, 16 or 32 bits,
/// float or double, and another one for a block without channels; `ProcException` for a block whose planes don't lie
/// back to back. Holds no state: any thread.
void AppendMono(iptr<IDataAudio> const& block, std::size_t limit, std::vector<double>& values);

}  // namespace Tarsel::Proc
