#pragma once

#include <vector>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// Samples as engines want them: a plane of floats for each channel, full scale at -1 and 1.
using SamplePlanes = std::vector<std::vector<float>>;

/// Whether the two functions below know the format: 8 to 32 bit integers, float and double, interleaved or planar.
TARSEL_HOST_EXPORT bool IsPlaneFormat(Conf::SampleFormats format);

/// The block's samples, in place of what the planes hold. Numbers that aren't finite become silence.
TARSEL_HOST_EXPORT void ReadPlanes(Proc::IDataAudio& block, SamplePlanes& planes);

/// A block, without a time, of `count` samples of each plane from `first` on. Integers are held to their range.
TARSEL_HOST_EXPORT iptr<Proc::IDataAudio> WritePlanes(SamplePlanes const& planes, std::size_t first, int count,
                                                      Conf::SampleInfo const& info);

}  // namespace Tarsel::Host
