#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How long a loop repeats its source.
class TARSEL_CONTRACTS_EXPORT SettingsFilterLoop : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterLoop";

    SettingsFilterLoop() = default;
    explicit SettingsFilterLoop(int64 duration) : duration(duration) {}
    std::string const& GetClassId() const override;

    /// The wanted length in microseconds.
    int64 GetDuration() const { return duration; }
    void SetDuration(int64 value) { duration = value; }

    bool operator==(SettingsFilterLoop const& other) const { return duration == other.duration; }

  private:
    int64 duration = 0;
};

/// A property named with the `CLASS_ID`; its child "Duration" holds the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterLoop const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterLoop Property2SettingsFilterLoop(Core::Property const& property);

}  // namespace Tarsel::Proc
