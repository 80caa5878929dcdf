#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The second effect of the deinterlacer: evens out what flickers from line to line. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsEffectLineSmoother : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectLineSmoother";

    SettingsEffectLineSmoother() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsEffectLineSmoother const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectLineSmoother const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectLineSmoother Property2SettingsEffectLineSmoother(Core::Property const& property);

}  // namespace Tarsel::Proc
