#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Proc {

/// The same node, scalar and children, under another name: a filter's property and that of its settings differ in
/// nothing else.
TARSEL_CONTRACTS_EXPORT Core::Property Renamed(Core::Property const& property, char const* name);

}  // namespace Tarsel::Proc
