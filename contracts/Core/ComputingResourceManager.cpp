#include "contracts/Core/ComputingResourceManager.h"

#include <utility>

namespace Tarsel::Core {

ComputingResourceManager::BusyResource::BusyResource(std::string name) : name(std::move(name)) {}

ComputingResourceManager::BusyResource::~BusyResource() = default;

iptr<ComputingResourceManager::BusyResource> ComputingResourceManager::TakeFakeResource() {
    return MakeShared<BusyResource>("processor");
}

}  // namespace Tarsel::Core
