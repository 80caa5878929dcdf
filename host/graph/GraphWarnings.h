#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/RefCount.h"

namespace Tarsel::Host {

/// What the nodes of a graph warn of while it runs, each thing once. Any thread.
class GraphWarnings : public RefCounted {
  public:
    void Add(std::string const& warning) {
        Core::MutexLock const guard(lock);
        if (std::find(warnings.begin(), warnings.end(), warning) == warnings.end()) warnings.push_back(warning);
    }
    /// In the order in which they came.
    std::vector<std::string> Get() const {
        Core::MutexLock const guard(lock);
        return warnings;
    }

  private:
    mutable Core::Mutex lock;  // the last one that a thread takes
    std::vector<std::string> warnings TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Host
