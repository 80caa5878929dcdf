#pragma once

#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "host/gpu/GpuScaler.h"
#include "host/gpu/OglEffect.h"

namespace Tarsel::Host {

/// Mixes the last two of its inputs, pictures in GPU memory, along the interval, in whole numbers by the formula of
/// `DissolveEffect`: the same bytes as in processor memory. The last is brought to the size of the other one; inputs
/// that are null count as not there, and a lone one passes. One thread.
class TARSEL_HOST_EXPORT OglDissolve final
    : public OglEffect<Proc::IEffect, Proc::SettingsEffectDissolve, Proc::Property2SettingsEffectDissolve> {
  public:
    OglDissolve();
    ~OglDissolve() override;

    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;

  private:
    GpuScaler scaler;
};

/// Draws its inputs, pictures in GPU memory, over each other, the last topmost, by their alpha and in the middle where
/// their size is another: the same bytes as `CompositeEffect` gives for RGBA. Inputs that are null count as not there.
/// One thread.
class TARSEL_HOST_EXPORT OglComposite final
    : public OglEffect<Proc::IEffect, Proc::SettingsEffectComposite, Proc::Property2SettingsEffectComposite> {
  public:
    OglComposite();
    ~OglComposite() override;

    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override;
};

}  // namespace Tarsel::Host
