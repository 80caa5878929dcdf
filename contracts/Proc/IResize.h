#pragma once

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsResizer.h"

namespace Tarsel::Proc {

/// An engine of the host that brings pictures to a size. Its settings are a `SettingsResizer`.
class TARSEL_CONTRACTS_EXPORT IResize : public virtual IOneInputEffectVideo {
  public:
    static constexpr char const* CLASS_ID = SettingsResizer::CLASS_ID;

    ~IResize() override;
};

}  // namespace Tarsel::Proc
