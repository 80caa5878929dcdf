#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Host {

// The short forms of effects. What they don't change goes along as packets where the container takes them; a stream
// whose codec alone doesn't fit is encoded anew, and what finds no way is left out, both told as warnings. Of the
// options they heed output, container, codecs, quality and bit rate. Failures as those of `ShortForms.h`.

/// An effect as a command says it, "NAME:KEY=VALUE,KEY=VALUE...", as its property (`EffectCatalog.h`). Beside the keys
/// of the effect stand "impl", "begin" and "end", the latter as times ("1:30", "2.5", "40ms"). In a value "\" takes the
/// next character as it is, and so does everything between two "'"; commas elsewhere end it. Colons and further "="
/// need neither. Throws `GraphException` that tells what is wrong.
TARSEL_HOST_EXPORT Core::Property ParseEffect(std::string const& text);

struct ResizeRequest {
    /// Pixels; one that isn't told follows from the other and the picture's shape, to the nearest even number.
    std::optional<int> width;
    std::optional<int> height;
    Proc::SettingsResizer::CustomModes mode = Proc::SettingsResizer::MODE_STRETCH;
    Proc::SettingsResizer::Algorithms algorithm = Proc::SettingsResizer::ALGORITHM_BICUBIC;
    /// Name of the effect's implementation.
    std::string implName;
};

/// Brings all pictures of a file to a size, with square pixels.
TARSEL_HOST_EXPORT ShortFormGraph MakeResizeGraph(std::string const& input, ResizeRequest const& request,
                                                  ShortFormOptions const& options);
/// Makes progressive pictures of interlaced ones.
TARSEL_HOST_EXPORT ShortFormGraph MakeDeinterlaceGraph(std::string const& input,
                                                       Proc::SettingsDeinterlace const& settings,
                                                       ShortFormOptions const& options);
/// Runs the effects over a file: those on pictures over all its pictures, those on sound over all its sound, each in
/// their order. At least one effect.
TARSEL_HOST_EXPORT ShortFormGraph MakeEffectsGraph(std::string const& input, std::vector<Core::Property> const& effects,
                                                   ShortFormOptions const& options);

}  // namespace Tarsel::Host
