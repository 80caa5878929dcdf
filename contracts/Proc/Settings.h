#pragma once

#include <string>

#include "contracts/Core/Export.h"

namespace Tarsel::Core {
class Property;
}

namespace Tarsel::Proc {

/// Base of all settings classes. Each carries its defaults, a `CLASS_ID`, a default constructor, copy and assignment,
/// and defines `GetClassId` in a source file, which anchors the class for casts across libraries. Its conversions are
/// free functions beside it: `Settings2Property(settings)` and `Property2Settings...(property)`, the property named
/// with the `CLASS_ID`.
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

/// The check with which a conversion from a property begins: throws `FilterException` "Object was initialized with
/// incorrect class (" and the property's name unless the name is `classId`.
TARSEL_CONTRACTS_EXPORT void RequirePropertyOf(char const* classId, Core::Property const& property);

}  // namespace Tarsel::Proc
