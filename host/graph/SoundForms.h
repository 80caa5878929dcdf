#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Host {

// The short forms of sound. Of the options they heed output, container, audio codec and bit rate. Failures as those of
// `ShortForms.h`; what is left out is told as a warning.

/// Sums the first audio stream of each file, each with its volume in percents; no volumes at all are 100 for each. All
/// are brought to one format first: the highest rate, the most channels, the largest numbers, of which 8 bits become
/// 16, in which alone sums keep their silence. The result is as long as the longest stream.
TARSEL_HOST_EXPORT ShortFormGraph MakeMixGraph(std::vector<std::string> const& inputs, std::vector<int> const& volumes,
                                               ShortFormOptions const& options);
/// Multiplies all sound of a file by `factor`, or without one lets a gain follow its peaks. Everything else goes along
/// as packets where the container takes them; pictures whose codec alone doesn't fit are encoded anew.
TARSEL_HOST_EXPORT ShortFormGraph MakeVolumeGraph(std::string const& input, std::optional<double> factor,
                                                  ShortFormOptions const& options);

struct ToneRequest {
    /// Hertz, above 0 and up to half the rate.
    double frequency = 0;
    /// Microseconds.
    int64 duration = 0;
    /// At the crest, from 0 to 1.
    double amplitude = 1;
    int rate = 48000;
    /// 1 to 8.
    int channels = 2;
};

/// A sine out of nothing, to the sample as long as told.
TARSEL_HOST_EXPORT ShortFormGraph MakeToneGraph(ToneRequest const& request, ShortFormOptions const& options);

}  // namespace Tarsel::Host
