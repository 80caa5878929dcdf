#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// What the metadata updater says about its stream.
class TARSEL_CONTRACTS_EXPORT SettingsStreamMetadataUpdater : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsStreamMetadataUpdater";

    SettingsStreamMetadataUpdater() = default;
    explicit SettingsStreamMetadataUpdater(Core::Property const& property) : property(property) {}
    std::string const& GetClassId() const override;

    /// The metadata that the stream's format shall carry. Its keys are the graph builder's affair.
    Core::Property const& GetProperty() const { return property; }
    void SetProperty(Core::Property const& value) { property = value; }

    bool operator==(SettingsStreamMetadataUpdater const& other) const { return property == other.property; }

  private:
    Core::Property property;
};

/// A property named with the `CLASS_ID`, whose one child without a key is the metadata.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsStreamMetadataUpdater const& settings);
/// The way back; without a child the metadata is empty. A property of another name throws `FilterException` "Object was
/// initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsStreamMetadataUpdater
Property2SettingsStreamMetadataUpdater(Core::Property const& property);

}  // namespace Tarsel::Proc
