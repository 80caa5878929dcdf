#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The effect that brings frames from GPU memory to processor memory. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsFrameDownloader : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFrameDownloader";

    SettingsFrameDownloader() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsFrameDownloader const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFrameDownloader const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsFrameDownloader Property2SettingsFrameDownloader(Core::Property const& property);

}  // namespace Tarsel::Proc
