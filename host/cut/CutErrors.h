#pragma once

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

/// A result that did not stand up to its verification.
class TARSEL_HOST_EXPORT VerificationMismatch : public virtual Exception {
  public:
    ~VerificationMismatch() noexcept override;
};

}  // namespace Tarsel::Host
