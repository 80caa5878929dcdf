#pragma once

#include "contracts/Core/Export.h"

namespace Tarsel::Proc {
class IFilterFactoryRegistrator;
}

/// The one door into the filters library: enters a factory for each of its filters into the host's registry and does
/// nothing else. Call it once, and not beside a lookup. What the registry's operations throw comes through. The library
/// stays loaded as long as the registry or any filter lives.
extern "C" TARSEL_FILTERS_EXPORT void FilterRegistrator(Tarsel::Proc::IFilterFactoryRegistrator& registrator);
