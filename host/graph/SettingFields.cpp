#include "host/graph/SettingFields.h"

#include "contracts/Core/Time.h"

namespace Tarsel::Host::Fields {

namespace {

SettingField Field(char const* key, SettingType type, char const* defaultValue, char const* description) {
    SettingField field;
    field.key = key;
    field.type = type;
    field.defaultValue = defaultValue;
    field.description = description;
    return field;
}

}  // namespace

SettingField Integer(char const* key, int64 minimum, int64 maximum, char const* unit, char const* defaultValue,
                     char const* description) {
    SettingField field = Field(key, SettingType::Integer, defaultValue, description);
    field.minimum = minimum;
    field.maximum = maximum;
    field.unit = unit;
    return field;
}

SettingField Duration(char const* key, char const* description) {
    return Integer(key, 1, MAX_DURATION, MICROSECOND, "", description);
}

SettingField Number(char const* key, double lowest, double highest, char const* defaultValue, char const* description) {
    SettingField field = Field(key, SettingType::Number, defaultValue, description);
    field.lowest = lowest;
    field.highest = highest;
    return field;
}

SettingField Boolean(char const* key, char const* defaultValue, char const* description) {
    return Field(key, SettingType::Boolean, defaultValue, description);
}

SettingField FrameRate(char const* description) {
    SettingField field = Field("FrameRate", SettingType::Ratio, "0/1", description);
    field.unit = "frames/s";
    return field;
}

SettingField OneOf(char const* key, Choices choices, char const* defaultValue, char const* description) {
    SettingField field = Field(key, SettingType::Choice, defaultValue, description);
    field.choices = std::move(choices);
    return field;
}

SettingField Text(char const* key, char const* description) {
    return Field(key, SettingType::Text, "", description);
}

}  // namespace Tarsel::Host::Fields
