#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Brightness, contrast and saturation.
///
/// With luma and chroma as shares of their ranges, chroma being 0 where there is no colour: luma becomes (luma - 1/2) *
/// contrast + 1/2 + brightness, chroma becomes chroma * contrast * saturation. RGB goes the same way, by the luma of
/// BT.601, through a matrix of 14 fractional bits. Results are rounded to the nearest and held to what a sample can be;
/// luma in limited range may leave that range. Alpha stays. The defaults pass pictures as the same objects, and so
/// does null. Nothing is carried over. One thread.
class TARSEL_HOST_EXPORT ColorEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectColor,
                               Proc::Property2SettingsEffectColor> {
  public:
    ColorEffect() : PictureEffectBase("Tarsel::Host::ColorEffect::GetStatistic") {}
    ~ColorEffect() override;

    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for what is no number, and for numbers beyond the ranges of the settings.
    void Check(Proc::SettingsEffectColor const& settings) const override;
};

}  // namespace Tarsel::Host
