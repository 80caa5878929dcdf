#pragma once

namespace Tarsel::Host {

class EffectFactory;

/// Enters the effects on pictures in GPU memory.
void RegisterGpuEffects(EffectFactory& factory);

}  // namespace Tarsel::Host
