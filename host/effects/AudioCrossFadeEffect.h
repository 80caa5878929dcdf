#pragma once

#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "host/effects/EffectBase.h"

namespace Tarsel::Host {

/// Goes from the block in front of the last to the last one, sample by sample along the time map by the time that the
/// sample has in the last one. Further blocks aren't heard; a lone one passes as the object that it is. `AudioSum.h`
/// says how the two are put together.
class AudioCrossFadeEffect final : public EffectBase<Proc::IEffect, Proc::SettingsEffectAudioCrossFade,
                                                     Proc::Property2SettingsEffectAudioCrossFade> {
  public:
    AudioCrossFadeEffect() : EffectBase("Tarsel::Host::AudioCrossFadeEffect::GetStatistic") {}

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;
};

}  // namespace Tarsel::Host
