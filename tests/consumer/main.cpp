// Uses an installed Tarsel as any other program would, and exits 0 only when all of it works.

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/IFilterCutController.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "host/graph/FilterRegistry.h"

namespace {

// A failure that starts inside the library is caught here by its class, not only by its root.
bool CatchesByClass() {
    const Tarsel::Core::Property settings("settings");
    try {
        settings["missing"];
    } catch (const Tarsel::Core::CoreException& failure) {
        return std::string(failure.what()).find("missing") != std::string::npos;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "caught by its root only: %s\n", failure.what());
    }
    return false;
}

// A filter is found in the registry and made in the filters library; settings of a class that is not its own are
// refused there.
bool MakesFilters(Tarsel::Host::FilterRegistry const& registry) {
    using namespace Tarsel::Proc;
    auto const make = registry.Find(FilterSlots::CUT_CONTROLLER, ImplNames::DEFAULT);
    if (!make || !make(SettingsFilterCutController(), nullptr)) return false;
    try {
        make(SettingsStreamMetadataUpdater(), nullptr);
    } catch (FilterException const& refusal) {
        return std::string(refusal.what()) == "Wrong settings!";
    }
    return false;
}

// The bit stream filter is made by its door, not through a registry; what it refuses comes over by its class.
bool OpensTheBitStreamDoor() {
    using namespace Tarsel::Proc;
    try {
        FilterBitStream::Create(nullptr, SettingsFilterBitStream(SettingsFilterBitStream::ANNEX_B));
    } catch (std::invalid_argument const& refusal) {
        return std::string(refusal.what()) == "parentStream is NULL.";
    }
    return false;
}

}  // namespace

int main() {
    Tarsel::Core::Property settings("settings");
    settings.SetChild("width", 320);
    if (settings["width"].GetInt64() != 320) {
        std::fprintf(stderr, "a property does not give back what was set\n");
        return 1;
    }
    if (!CatchesByClass()) {
        std::fprintf(stderr, "a failure of the library cannot be caught by its class\n");
        return 1;
    }
    auto const registry = Tarsel::Host::MakeFilterRegistry();
    if (!MakesFilters(*registry)) {
        std::fprintf(stderr, "a filter cannot be made through the registry\n");
        return 1;
    }
    if (!OpensTheBitStreamDoor()) {
        std::fprintf(stderr, "the bit stream filter cannot be reached\n");
        return 1;
    }
    std::printf("consumer: works, %zu filters are registered\n", registry->GetRows().size());
    return 0;
}
