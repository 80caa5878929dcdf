#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How often a repeat hands out its item. The filter itself doesn't read it: whoever builds one gives the count to
/// `TIFilterRepeat::SetRepeatCount`.
class TARSEL_CONTRACTS_EXPORT SettingsFilterRepeat : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterRepeat";

    SettingsFilterRepeat() = default;
    explicit SettingsFilterRepeat(int64 count) : count(count) {}
    std::string const& GetClassId() const override;

    /// Items to hand out; negative: without end.
    int64 GetCount() const { return count; }
    void SetCount(int64 value) { count = value; }

    bool operator==(SettingsFilterRepeat const& other) const { return count == other.count; }

  private:
    int64 count = -1;
};

/// A property named with the `CLASS_ID`; its child "Count" holds the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterRepeat const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterRepeat Property2SettingsFilterRepeat(Core::Property const& property);

}  // namespace Tarsel::Proc
