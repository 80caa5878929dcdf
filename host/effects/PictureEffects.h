#pragma once

namespace Tarsel::Host {

class EffectFactory;

/// Enters the effects on pictures in processor memory.
void RegisterPictureEffects(EffectFactory& factory);

}  // namespace Tarsel::Host
