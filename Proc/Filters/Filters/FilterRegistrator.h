#pragma once

#include "contracts/Proc/FilterRegistrator.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc::Details {

/// The factory of a filter with settings: makes `Filter` from the source, whatever factory it needs, and the settings
/// where its constructor takes them, then initializes it through the interface `Ex`. When that throws, the filter is
/// released before the exception goes on.
template <class Ex, class Filter, class... Args>
iptr<Ex> MakeInitialized(Settings const& settings, Args const&... args) {
    iptr<Ex> const filter(new Filter(args...));
    filter->Initialize(settings);
    return filter;
}

}  // namespace Tarsel::Proc::Details
