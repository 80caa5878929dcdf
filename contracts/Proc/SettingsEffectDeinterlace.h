#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/SettingsDeinterlace.h"

namespace Tarsel::Proc {

/// The first effect of the deinterlacer: keeps the field that comes first and makes the lines of the other one.
class TARSEL_CONTRACTS_EXPORT SettingsEffectDeinterlace : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectDeinterlace";

    SettingsEffectDeinterlace() = default;
    explicit SettingsEffectDeinterlace(SettingsDeinterlace::Methods method) : method(method) {}
    std::string const& GetClassId() const override;

    SettingsDeinterlace::Methods GetMethod() const { return method; }

    bool operator==(SettingsEffectDeinterlace const& other) const { return method == other.method; }

  private:
    SettingsDeinterlace::Methods method = SettingsDeinterlace::METHOD_ADAPTIVE;
};

/// A property named with the `CLASS_ID`; its child "Method" (a number) holds the value.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectDeinterlace const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectDeinterlace Property2SettingsEffectDeinterlace(Core::Property const& property);

}  // namespace Tarsel::Proc
