#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Mixes the last two of its inputs along the interval: at progress 0 the one in front of the last comes out, at 1 the
/// last, both as they are.
///
/// With w = round(progress * 32768), every sample, alpha's as well, becomes (first * (32768 - w) + last * w + 16384) /
/// 32768, divided down. The last is brought to size, format and colours of the other one; the result has the time of
/// the last. Inputs that are null count as not there; a lone one passes. Nothing is carried over. One thread.
class TARSEL_HOST_EXPORT DissolveEffect final
    : public PictureEffectBase<Proc::IEffect, Proc::SettingsEffectDissolve, Proc::Property2SettingsEffectDissolve> {
  public:
    DissolveEffect() : PictureEffectBase("Tarsel::Host::DissolveEffect::GetStatistic") {}
    ~DissolveEffect() override;

    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;
};

}  // namespace Tarsel::Host
