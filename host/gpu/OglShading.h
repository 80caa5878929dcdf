#pragma once

#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "host/gpu/OglEffect.h"

namespace Tarsel::Host {

/// Mixes pictures in GPU memory with a colour along the interval, in whole numbers by the formula of `FadeEffect`: the
/// same bytes as in processor memory. Where the picture's share is whole, it passes as the same object. One thread.
class TARSEL_HOST_EXPORT OglFade final
    : public OglEffect<Proc::IOneInputEffectVideo, Proc::SettingsEffectFade, Proc::Property2SettingsEffectFade> {
  public:
    OglFade();
    ~OglFade() override;

    void Process(iptr<Proc::IDataVideo>& item) override;
};

/// Brightness, contrast and saturation of pictures in GPU memory, in whole numbers by the matrix of `ColorEffect`: the
/// same bytes as in processor memory. The defaults pass pictures as the same objects. One thread.
class TARSEL_HOST_EXPORT OglColor final
    : public OglEffect<Proc::IOneInputEffectVideo, Proc::SettingsEffectColor, Proc::Property2SettingsEffectColor> {
  public:
    OglColor();
    ~OglColor() override;

    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for what is no number, and for numbers beyond the ranges of the settings.
    void Check(Proc::SettingsEffectColor const& settings) const override;
};

}  // namespace Tarsel::Host
