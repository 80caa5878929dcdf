#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

/// What a property holds for the fields, as a file has it. Throws `GraphException` where it holds more than they say.
nlohmann::ordered_json FieldsAsJson(std::vector<SettingField> const& fields, Core::Property const& property);

/// The JSON Schema of an object with the fields.
nlohmann::ordered_json SchemaOfFields(std::vector<SettingField> const& fields);

}  // namespace Tarsel::Host
