#include "host/effects/SoundEffects.h"

#include "contracts/Proc/IResample.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "contracts/Proc/SettingsEffectTempo.h"
#include "host/effects/AudioCrossFadeEffect.h"
#include "host/effects/AudioFadeEffect.h"
#include "host/effects/AudioMixEffect.h"
#include "host/effects/ResampleEffect.h"
#include "host/effects/TempoEffect.h"
#include "host/graph/Factories.h"

namespace Tarsel::Host {

using namespace Proc;

void RegisterSoundEffects(EffectFactory& factory) {
    factory.Register(SettingsEffectTempo::CLASS_ID, ImplNames::TARSEL, [] { return iptr<IEffect>(new TempoEffect()); });
    factory.Register(IResample::CLASS_ID, ImplNames::FFMPEG, [] { return iptr<IEffect>(new ResampleEffect()); });
    factory.Register(SettingsEffectAudioFade::CLASS_ID, ImplNames::TARSEL,
                     [] { return iptr<IEffect>(new AudioFadeEffect()); });
    factory.Register(SettingsEffectAudioCrossFade::CLASS_ID, ImplNames::TARSEL,
                     [] { return iptr<IEffect>(new AudioCrossFadeEffect()); });
    factory.Register(SettingsEffectAudioMix::CLASS_ID, ImplNames::TARSEL,
                     [] { return iptr<IEffect>(new AudioMixEffect()); });
}

}  // namespace Tarsel::Host
