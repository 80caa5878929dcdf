#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// What is known of the file behind an input of a mixer.
struct MixerInput {
    iptr<Proc::IStreamVideo> stream;
    /// For messages; empty where there is none.
    std::string file = {};
    /// Where the last picture ends, where that is known of the file and nothing between changes it.
    int64 end = NO_VALUE;
};

/// The video mixer of a graph: the first of `inputs` with the others drawn on it, each as its entry in the settings
/// says. Main and drawn pictures are brought to what the mixer draws on each other; those of a main stream in GPU
/// memory get the pixel aspect of its format, and stay as they are otherwise. The drawn streams are sought to 0 and
/// read, so that what is wrong with them shows here: `GraphException` names the input that has no picture, and its
/// file.
TARSEL_HOST_EXPORT iptr<Proc::IStreamVideo> MakeVideoMixer(GraphFilter const& filter, FilterFactory const& factory,
                                                           std::vector<MixerInput> const& inputs, bool isOnGpu);

}  // namespace Tarsel::Host
