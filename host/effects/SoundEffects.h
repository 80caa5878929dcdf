#pragma once

namespace Tarsel::Host {

class EffectFactory;

/// Enters the effects on sound.
void RegisterSoundEffects(EffectFactory& factory);

}  // namespace Tarsel::Host
