// Uses an installed Tarsel as any other program would, and exits 0 only when all of it works.

#include <cstdio>
#include <exception>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"

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
    std::printf("consumer: works\n");
    return 0;
}
