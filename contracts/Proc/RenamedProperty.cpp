#include "contracts/Proc/RenamedProperty.h"

namespace Tarsel::Proc {

Core::Property Renamed(Core::Property const& property, char const* name) {
    Core::Property root;
    root.SetChild(name, property);
    return root[name];
}

}  // namespace Tarsel::Proc
