#pragma once

#include <string>

#include "contracts/Core/RefCount.h"

namespace Tarsel::Core {

/// Counted use of scarce units (hardware encoders and the like). Software needs none and takes the fake resource.
class TARSEL_CONTRACTS_EXPORT ComputingResourceManager {
  public:
    /// One unit in use. It is given back when the last reference goes.
    class TARSEL_CONTRACTS_EXPORT BusyResource : public RefCounted {
      public:
        explicit BusyResource(std::string name);
        ~BusyResource() override;
        std::string const& GetName() const { return name; }

      private:
        std::string name;
    };

    /// A resource that is never short, for work that the processor does.
    static iptr<BusyResource> TakeFakeResource();
};

}  // namespace Tarsel::Core
