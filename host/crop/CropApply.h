#pragma once

#include "contracts/Core/Export.h"
#include "host/crop/CropJob.h"
#include "host/graph/GraphJob.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Host {

// Writing a file without its bars, once it is known where they are. Of the options these heed output, container, codecs
// and quality. The report is known.

/// Whether the packets of the file can be copied in place of running a graph: there are no bars, and nothing would be
/// encoded for the container's sake.
TARSEL_HOST_EXPORT bool IsCropCopy(CropRequest const& request, CropReport const& report,
                                   ShortFormOptions const& options);

/// The graph that keeps `kept` of the report's stream. What it doesn't change goes along as packets where the container
/// takes them; so do the pictures themselves where there are no bars. Throws `GraphException` where the output has no
/// place for the pictures.
TARSEL_HOST_EXPORT ShortFormGraph MakeCropGraph(CropRequest const& request, CropReport const& report,
                                                ShortFormOptions const& options);

/// Runs that graph as `RunGraph` does; its warnings stand in front of those of the run. Where interlaced pictures come
/// up that `kept` doesn't suit, its rows are moved, and all is run once more.
TARSEL_HOST_EXPORT GraphReport RunCrop(CropRequest const& request, CropReport& report, ShortFormOptions const& options,
                                       GraphRunOptions const& running, ProgressCallback const& progress);

}  // namespace Tarsel::Host
