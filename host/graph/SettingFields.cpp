#include "host/graph/SettingFields.h"

#include <nlohmann/json.hpp>

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

SettingField OptionalText(char const* key, char const* description) {
    SettingField field = Text(key, description);
    field.isOptional = true;
    return field;
}

SettingField Color(char const* key, char const* defaultValue, char const* description) {
    SettingField field = Integer(key, 0, 0xFFFFFF, "", defaultValue, description);
    field.isColor = true;
    return field;
}

SettingField Aspect(char const* key, char const* description) {
    return Field(key, SettingType::Ratio, "1/1", description);
}

SettingField In(char const* child, SettingField field) {
    field.child = child;
    return field;
}

std::string FieldBounds(SettingField const& field) {
    auto const number = [](double value) { return nlohmann::json(value).dump(); };
    switch (field.type) {
        case SettingType::Integer:
            if (field.isColor) return "\"#000000\" to \"#FFFFFF\"";
            return std::to_string(field.minimum) + " to " + std::to_string(field.maximum);
        case SettingType::Number:
            return number(field.lowest) + " to " + number(field.highest);
        case SettingType::Boolean:
            return "true, false";
        case SettingType::Ratio:
            return field.unit.empty() ? "\"N/D\", above 0" : "\"N/D\", above 0 and up to 100000, or \"0/1\"";
        case SettingType::Choice: {
            std::string names;
            for (SettingField::Choice const& choice : field.choices)
                names += (names.empty() ? "\"" : ", \"") + choice.name + "\"";
            return names;
        }
        case SettingType::Text:
            return field.isFile ? "a file" : "a text";
        case SettingType::List:
            return "a list";
        case SettingType::Effects:
            return "a list of effects";
    }
    return {};
}

std::string FieldDefault(SettingField const& field) {
    if (field.IsList()) return "[]";
    if (field.IsRequired()) return {};
    if (field.type == SettingType::Text) return nlohmann::json(field.defaultValue).dump();
    if (field.type == SettingType::Boolean) return field.defaultValue == "1" ? "true" : "false";
    if (field.type == SettingType::Ratio) return '"' + field.defaultValue + '"';
    if (!field.anyValue.empty() && field.defaultValue == field.anyValue) return '"' + std::string(ANY_VALUE) + '"';
    if (field.type == SettingType::Choice)
        for (SettingField::Choice const& choice : field.choices)
            if (choice.value == field.defaultValue) return '"' + choice.name + '"';
    return field.defaultValue;
}

}  // namespace Tarsel::Host::Fields
