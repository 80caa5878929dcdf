#pragma once

#include <string>

#include "contracts/Core/Export.h"

namespace Tarsel::Proc {

/// Base of all settings classes. Each has a `CLASS_ID`, a default constructor, copy and assignment.
class TARSEL_CONTRACTS_EXPORT Settings {
  public:
    virtual ~Settings();
    /// The `CLASS_ID` of the object's class.
    virtual std::string const& GetClassId() const = 0;

  protected:
    Settings() = default;
    Settings(Settings const&) = default;
    Settings& operator=(Settings const&) = default;
};

}  // namespace Tarsel::Proc
