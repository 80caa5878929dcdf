#pragma once

#include "contracts/Proc/IOverlayProvider.h"

namespace Tarsel::Proc {

/// What all providers of titles have in common: that they are shared.
class OverlayProviderEx : public virtual IOverlayProvider, public RefCounted {
  public:
    ~OverlayProviderEx() override;
};

}  // namespace Tarsel::Proc
