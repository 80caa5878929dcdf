#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/graph/SpectrumForm.h"

namespace Tarsel::Host {

struct SpectrumPictureRequest {
    std::string input;
    /// The PNG file.
    std::string output;
    SpectrumFormOptions spectrum;
    /// The picture that stands at this time of the input, microseconds.
    int64 at = 0;
    /// Replace a file that stands at the output's place.
    bool force = false;
    /// Draw the picture and write nothing.
    bool dryRun = false;
};

struct SpectrumPictureReport {
    /// Empty when nothing was written.
    std::string output;
    int width = 0;
    int height = 0;
    /// Which stretch of the sound the picture shows.
    int64 beginUs = NO_VALUE;
    int64 endUs = NO_VALUE;
    std::vector<std::string> warnings;

    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// One line for people.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// Writes the picture of `MakeSpectrumGraph` that stands at a time as a PNG file, which appears at its place only when
/// it is complete. Throws as `MakeSpectrumGraph` and the graph's nodes do; `Core::IOException` "PATH: ..." for the
/// output, and for an input that has no sound at that time.
TARSEL_HOST_EXPORT SpectrumPictureReport WriteSpectrumPicture(SpectrumPictureRequest const& request);

}  // namespace Tarsel::Host
