#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Draws its inputs over each other, the last topmost.
///
/// The lowest tells size, format and colours of the result. The others are drawn by their alpha as `DrawPicture` tells,
/// in the middle where their size is another. Drawing begins at the topmost one that hides all below it: where that is
/// the last, it passes as the same object. Inputs that are null count as not there. Nothing is carried over. One
/// thread.
class TARSEL_HOST_EXPORT CompositeEffect final
    : public PictureEffectBase<Proc::IEffect, Proc::SettingsEffectComposite, Proc::Property2SettingsEffectComposite> {
  public:
    CompositeEffect() : PictureEffectBase("Tarsel::Host::CompositeEffect::GetStatistic") {}
    ~CompositeEffect() override;

    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;
};

}  // namespace Tarsel::Host
