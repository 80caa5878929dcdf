#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"
#include "host/graph/SettingsCatalog.h"

/// What the catalogs of classes and of effects are written with.
namespace Tarsel::Host::Fields {

using Choices = std::vector<SettingField::Choice>;

inline constexpr char MICROSECOND[] = "us";

SettingField Integer(char const* key, int64 minimum, int64 maximum, char const* unit, char const* defaultValue,
                     char const* description);
/// One that must be given.
SettingField Duration(char const* key, char const* description);
SettingField Number(char const* key, double lowest, double highest, char const* defaultValue, char const* description);
SettingField Boolean(char const* key, char const* defaultValue, char const* description);
/// Under the key "FrameRate", the source's own by default.
SettingField FrameRate(char const* description);
SettingField OneOf(char const* key, Choices choices, char const* defaultValue, char const* description);
/// One that must be given.
SettingField Text(char const* key, char const* description);

/// Makes the settings object by the conversion of its class.
template <auto Convert>
std::unique_ptr<Proc::Settings> Make(Core::Property const& property) {
    auto settings = Convert(property);
    return std::make_unique<decltype(settings)>(std::move(settings));
}

}  // namespace Tarsel::Host::Fields
