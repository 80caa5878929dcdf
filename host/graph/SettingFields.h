#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Export.h"
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
/// One that may be left out: an empty text stands for it then.
SettingField OptionalText(char const* key, char const* description);
/// Red, green and blue as one number.
SettingField Color(char const* key, char const* defaultValue, char const* description);
/// A ratio above 0, 1/1 by default.
SettingField Aspect(char const* key, char const* description);
/// The field with another name for its child.
SettingField In(char const* child, SettingField field);

/// The values of a field as files and commands say them, for people: `0 to 255`, `"in", "out"`.
TARSEL_HOST_EXPORT std::string FieldBounds(SettingField const& field);
/// The default as a JSON file says it; empty where there is none.
TARSEL_HOST_EXPORT std::string FieldDefault(SettingField const& field);

/// Makes the settings object by the conversion of its class.
template <auto Convert>
std::unique_ptr<Proc::Settings> Make(Core::Property const& property) {
    auto settings = Convert(property);
    return std::make_unique<decltype(settings)>(std::move(settings));
}

}  // namespace Tarsel::Host::Fields
