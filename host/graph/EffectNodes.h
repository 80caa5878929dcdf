#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterApplyEffects.h"

namespace Tarsel::Host {

// How graphs run effects, and where the pictures are meanwhile.

/// Gives the chain the effects of its node's settings, each with its interval: what isn't told of it is that of
/// `duration`, the length of the source. An effect whose interval is told, and that doesn't follow it, acts within it
/// alone. Throws `FilterException` for an effect that needs an end where neither it nor the source has one, and what
/// the effects throw.
TARSEL_HOST_EXPORT void FillChain(Proc::IFilterApplyEffectsVideo& chain, Core::Property const& settings, int64 duration,
                                  Proc::IEffectFactory const& effects);
TARSEL_HOST_EXPORT void FillChain(Proc::IFilterApplyEffectsAudio& chain, Core::Property const& settings, int64 duration,
                                  Proc::IEffectFactory const& effects);

/// Whether a class of filters takes pictures from the memory of the GPU as well as from that of the processor, as its
/// first input; further ones come from the processor's.
TARSEL_HOST_EXPORT bool TakesGpuFrames(std::string const& classId);

/// Whether a filter of the class with these settings may give pictures in GPU memory; `fromGpu`: whether it may get
/// such.
TARSEL_HOST_EXPORT bool GivesGpuFrames(std::string const& classId, Core::Property const& settings, bool fromGpu,
                                       Proc::IEffectFactory const& effects);

}  // namespace Tarsel::Host
