#pragma once

#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "host/effects/EffectBase.h"

namespace Tarsel::Host {

/// Multiplies each sample by the gain that the time map has at the sample's own time. A block that all stands at full
/// gain passes as the object that it is. Integers are rounded to the nearest number; floats beyond the range and what
/// is no number stay so.
class AudioFadeEffect final : public EffectBase<Proc::IOneInputEffectAudio, Proc::SettingsEffectAudioFade,
                                                Proc::Property2SettingsEffectAudioFade> {
  public:
    AudioFadeEffect() : EffectBase("Tarsel::Host::AudioFadeEffect::GetStatistic") {}

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    void Process(iptr<Proc::IDataAudio>& item) override;
};

}  // namespace Tarsel::Host
