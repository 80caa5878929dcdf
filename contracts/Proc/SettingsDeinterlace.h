#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How interlaced pictures become progressive ones: which two effects the filter runs, one behind the other.
class TARSEL_CONTRACTS_EXPORT SettingsDeinterlace : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsDeinterlace";

    /// How the first effect makes the lines of the field that it drops.
    enum Methods : int {
        /// From the lines above and below.
        METHOD_SPATIAL = 0,
        /// From those only where the picture has changed since the one before; the dropped field's own lines stay where
        /// it stands still.
        METHOD_ADAPTIVE = 1,
    };

    SettingsDeinterlace() = default;
    std::string const& GetClassId() const override;

    Methods GetMethod() const { return method; }
    void SetMethod(Methods value) { method = value; }
    /// Whether a second effect evens out what flickers from line to line.
    bool IsSmoothing() const { return smoothing; }
    void SetSmoothing(bool value) { smoothing = value; }
    /// Name of the implementation of both effects.
    std::string const& GetImplName() const { return implName; }
    void SetImplName(std::string const& value) { implName = value; }

    bool operator==(SettingsDeinterlace const& other) const {
        return method == other.method && smoothing == other.smoothing && implName == other.implName;
    }

  private:
    Methods method = METHOD_ADAPTIVE;
    bool smoothing = false;
    std::string implName = ImplNames::DEFAULT;
};

/// A property named with the `CLASS_ID`; its children "Method" (a number), "Smoothing" (0 or 1) and "Implementation"
/// hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsDeinterlace const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsDeinterlace Property2SettingsDeinterlace(Core::Property const& property);

}  // namespace Tarsel::Proc
