#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How frames of drawn streams find the frames that they are drawn on.
class TARSEL_CONTRACTS_EXPORT SettingsFilterVideoMixer : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterVideoMixer";
    static constexpr int64 DEFAULT_MIN_OVERLAP = 10000;

    SettingsFilterVideoMixer() = default;
    explicit SettingsFilterVideoMixer(int64 minOverlap) : minOverlap(minOverlap) {}
    std::string const& GetClassId() const override;

    /// Microseconds that a drawn frame must share with a frame of the main stream to be drawn on it.
    int64 GetMinOverlap() const { return minOverlap; }

    bool operator==(SettingsFilterVideoMixer const& other) const { return minOverlap == other.minOverlap; }

  private:
    int64 minOverlap = DEFAULT_MIN_OVERLAP;
};

/// A property named with the `CLASS_ID`; its child "MinOverlap" holds the value.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterVideoMixer const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object was
/// initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterVideoMixer Property2SettingsFilterVideoMixer(Core::Property const& property);

}  // namespace Tarsel::Proc
