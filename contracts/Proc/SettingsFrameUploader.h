#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The effect that brings frames from processor memory to GPU memory. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsFrameUploader : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFrameUploader";

    SettingsFrameUploader() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsFrameUploader const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFrameUploader const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsFrameUploader Property2SettingsFrameUploader(Core::Property const& property);

}  // namespace Tarsel::Proc
