#include "host/effects/PictureEffects.h"

#include "host/graph/Factories.h"

namespace Tarsel::Host {

void RegisterPictureEffects(EffectFactory&) {}

}  // namespace Tarsel::Host
