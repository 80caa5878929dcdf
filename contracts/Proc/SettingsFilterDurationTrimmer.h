#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How long a duration trimmer makes its stream.
class TARSEL_CONTRACTS_EXPORT SettingsFilterDurationTrimmer : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterDurationTrimmer";

    SettingsFilterDurationTrimmer() = default;
    explicit SettingsFilterDurationTrimmer(int64 duration) : duration(duration) {}
    std::string const& GetClassId() const override;

    /// The wanted length in microseconds, in (0, `MAX_DURATION`]; the first read refuses another one.
    int64 GetDuration() const { return duration; }
    void SetDuration(int64 value) { duration = value; }
    /// Whether the search for a last frame trusts the length that the container states before the source's own.
    bool GetUseOriginalDuration() const { return useOriginalDuration; }
    void SetUseOriginalDuration(bool value) { useOriginalDuration = value; }

    bool operator==(SettingsFilterDurationTrimmer const& other) const {
        return duration == other.duration && useOriginalDuration == other.useOriginalDuration;
    }

  private:
    int64 duration = 0;
    bool useOriginalDuration = false;
};

/// A property named with the `CLASS_ID`; its children "Duration", "UseOriginalDuration" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterDurationTrimmer const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterDurationTrimmer
Property2SettingsFilterDurationTrimmer(Core::Property const& property);

}  // namespace Tarsel::Proc
