#include "contracts/Proc/Settings.h"

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Proc {

Settings::~Settings() = default;

void RequirePropertyOf(char const* classId, Core::Property const& property) {
    if (property.Name() != classId)
        TARSEL_THROW(FilterException, "Object was initialized with incorrect class (" + property.Name() + ")!");
}

}  // namespace Tarsel::Proc
