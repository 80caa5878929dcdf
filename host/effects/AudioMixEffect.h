#pragma once

#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "host/effects/EffectBase.h"

namespace Tarsel::Host {

/// The sum of all blocks, as `AudioSum.h` has it. A lone block passes as the object that it is.
class AudioMixEffect final
    : public EffectBase<Proc::IEffect, Proc::SettingsEffectAudioMix, Proc::Property2SettingsEffectAudioMix> {
  public:
    AudioMixEffect() : EffectBase("Tarsel::Host::AudioMixEffect::GetStatistic") {}

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;
};

}  // namespace Tarsel::Host
