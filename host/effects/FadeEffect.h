#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Mixes pictures with a colour along the interval.
///
/// With w = round(share of the picture * 32768), every colour sample becomes (sample * w + colour * (32768 - w) +
/// 16384) / 32768, divided down. Alpha stays. Where the picture's share is whole, it passes as the same object. Null
/// passes; nothing is carried over. One thread.
class TARSEL_HOST_EXPORT FadeEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectFade,
                               Proc::Property2SettingsEffectFade> {
  public:
    FadeEffect() : PictureEffectBase("Tarsel::Host::FadeEffect::GetStatistic") {}
    ~FadeEffect() override;

    void Process(iptr<Proc::IDataVideo>& item) override;
};

}  // namespace Tarsel::Host
