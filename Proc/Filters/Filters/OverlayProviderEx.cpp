#include "Proc/Filters/Filters/OverlayProviderEx.h"

namespace Tarsel::Proc {

OverlayProviderEx::~OverlayProviderEx() = default;

}  // namespace Tarsel::Proc
