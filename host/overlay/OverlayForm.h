#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/graph/ShortForms.h"
#include "host/overlay/OverlayRequest.h"

namespace Tarsel::Host {

/// The short form of overlays: draws each of them over all pictures of a file, in their order; the last one lies on top
/// of its kind, still ones over films. A file of one picture is drawn as a still one, to the end. Everything else of
/// the main file goes along as packets where the container takes it.
///
/// Of the options it heeds output, container, codecs and quality. What is left out or means nothing is told as a
/// warning, and so is a place that the mixer moves. Failures as those of `ShortForms.h`; what is wrong with an overlay
/// is told with its text in front.
TARSEL_HOST_EXPORT ShortFormGraph MakeOverlayGraph(std::string const& input,
                                                   std::vector<OverlayRequest> const& overlays,
                                                   ShortFormOptions const& options);

}  // namespace Tarsel::Host
