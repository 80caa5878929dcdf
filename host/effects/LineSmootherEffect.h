#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Evens out what flickers from line to line: every sample becomes (above + 2 * own + below + 2) / 4, divided down; the
/// first and the last line stand in for the lines that aren't there. One in, one out, null passes, nothing is carried
/// over. One thread.
class TARSEL_HOST_EXPORT LineSmootherEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectLineSmoother,
                               Proc::Property2SettingsEffectLineSmoother> {
  public:
    LineSmootherEffect() : PictureEffectBase("Tarsel::Host::LineSmootherEffect::GetStatistic") {}
    ~LineSmootherEffect() override;

    void Process(iptr<Proc::IDataVideo>& item) override;
};

}  // namespace Tarsel::Host
