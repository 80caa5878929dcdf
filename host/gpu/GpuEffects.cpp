#include "host/gpu/GpuEffects.h"

#include "host/graph/Factories.h"

namespace Tarsel::Host {

void RegisterGpuEffects(EffectFactory&) {}

}  // namespace Tarsel::Host
