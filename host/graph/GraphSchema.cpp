#include "host/graph/GraphSchema.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/FieldForms.h"
#include "host/graph/SettingFields.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

using Fields::FieldBounds;
using Fields::FieldDefault;

namespace {

using Json = nlohmann::ordered_json;

/// Any text may hold a variable.
constexpr char VARIABLE[] = "\\$\\{";
constexpr char INTEGER_TEXT[] = "^-?[0-9]+$|\\$\\{";
constexpr char COLOR_TEXT[] = "^(#|0x)[0-9A-Fa-f]{6}$|^[0-9]+$|\\$\\{";
constexpr char NUMBER_TEXT[] = "^-?[0-9]|\\$\\{";

Json OrText(Json schema, char const* pattern) {
    return {{"anyOf", {std::move(schema), {{"type", "string"}, {"pattern", pattern}}}}};
}

Json Described(Json schema, std::string const& description) {
    schema["description"] = description;
    return schema;
}

Json IntegerSchema(int64 minimum, int64 maximum) {
    return OrText({{"type", "integer"}, {"minimum", minimum}, {"maximum", maximum}}, INTEGER_TEXT);
}

Json BooleanSchema() {
    return OrText({{"type", "boolean"}}, "^(true|false|0|1)$|\\$\\{");
}

Json Reference(std::string const& name) {
    return {{"$ref", "#/$defs/" + name}};
}

/// Name of the schema of an effect that may stand in a chain.
std::string EffectsName(GraphKind kind) {
    return std::string(KindName(kind)) + "Effect";
}

Json FieldsSchema(std::vector<SettingField> const& fields);

Json FieldSchema(SettingField const& field) {
    switch (field.type) {
        case SettingType::Integer: {
            Json schema =
                field.isColor
                    ? OrText({{"type", "integer"}, {"minimum", field.minimum}, {"maximum", field.maximum}}, COLOR_TEXT)
                    : IntegerSchema(field.minimum, field.maximum);
            if (!field.anyValue.empty()) schema["anyOf"].push_back({{"enum", {ANY_VALUE, std::stoll(field.anyValue)}}});
            return schema;
        }
        case SettingType::Number:
            return OrText({{"type", "number"}, {"minimum", field.lowest}, {"maximum", field.highest}}, NUMBER_TEXT);
        case SettingType::Boolean:
            return BooleanSchema();
        case SettingType::Ratio:
            return OrText({{"type", "integer"}, {"minimum", 0}}, "^[0-9]+(/[0-9]+)?$|\\$\\{");
        case SettingType::Choice: {
            Json names = Json::array();
            for (SettingField::Choice const& choice : field.choices) {
                names.push_back(choice.name);
                if (choice.value == choice.name) continue;
                names.push_back(choice.value);
                names.push_back(std::stoll(choice.value));
            }
            return OrText({{"enum", std::move(names)}}, VARIABLE);
        }
        case SettingType::Text:
            return {{"type", "string"}, {"minLength", field.isOptional ? 0 : 1}};
        case SettingType::Effects:
            return {{"type", "array"}, {"items", Reference(EffectsName(field.effectKind))}};
        case SettingType::List:
            break;
    }
    return {{"type", "array"}, {"items", FieldsSchema(field.fields)}};
}

Json FieldsSchema(std::vector<SettingField> const& fields) {
    Json properties = Json::object();
    Json required = Json::array();
    for (SettingField const& field : fields) {
        std::string const unit = field.unit.empty() ? "" : " (" + field.unit + ")";
        Json schema = Described(FieldSchema(field), field.description + unit);
        if (std::string const text = FieldDefault(field); !text.empty()) schema["default"] = Json::parse(text);
        properties[field.key] = std::move(schema);
        if (field.IsRequired()) required.push_back(field.key);
    }
    Json schema{{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
    if (!required.empty()) schema["required"] = std::move(required);
    return schema;
}

Json EffectSchema(EffectEntry const& entry) {
    Json schema = FieldsSchema(entry.fields);
    Json implementations = entry.implementations;
    implementations.push_back(Proc::ImplNames::DEFAULT);
    Json& properties = schema["properties"];
    properties["effect"] = {{"enum", {entry.name, entry.classId}}};
    for (SettingField const& key : GetEffectKeys())
        properties[key.key] = Described(FieldSchema(key), key.description + (key.unit.empty() ? "" : " (us)"));
    properties["implementation"] = OrText({{"enum", std::move(implementations)}}, VARIABLE);
    schema["required"].push_back("effect");
    return Described(std::move(schema), entry.description);
}

/// An effect of a chain.
Json EffectsSchema(GraphKind kind) {
    Json choices = Json::array();
    for (EffectEntry const& entry : GetEffectCatalog())
        if (entry.kind == kind && !entry.takesMany) choices.push_back(EffectSchema(entry));
    return {{"anyOf", std::move(choices)}};
}

bool NeedsSettings(CatalogEntry const& entry) {
    for (SettingField const& field : entry.fields)
        if (field.IsRequired()) return true;
    return false;
}

/// What holds of a node of one class beyond what holds of all.
Json ClassRule(CatalogEntry const& entry) {
    Json implementations = entry.implementations;
    if (implementations.front() != Proc::ImplNames::DEFAULT) implementations.push_back(Proc::ImplNames::DEFAULT);
    Json properties{{"implementation", OrText({{"enum", std::move(implementations)}}, VARIABLE)},
                    {"settings", Reference(entry.isFreeTree ? "tree" : entry.classId)}};
    properties[entry.isController ? "streams" : "inputs"] = {{"minItems", entry.minInputs},
                                                             {"maxItems", entry.maxInputs}};
    Json then{{"properties", std::move(properties)}};
    if (NeedsSettings(entry)) then["required"] = {"settings"};
    return {{"if", {{"properties", {{"class", {{"const", entry.classId}}}}}, {"required", {"class"}}}},
            {"then", std::move(then)}};
}

/// A filter or a controller.
Json NodeSchema(bool controller) {
    Json classes = Json::array();
    Json rules = Json::array();
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        if (entry.isController != controller) continue;
        classes.push_back(entry.classId);
        rules.push_back(ClassRule(entry));
    }
    Json properties{{"id", Reference("id")},
                    {"class", OrText({{"enum", std::move(classes)}}, VARIABLE)},
                    {"implementation", {{"type", "string"}}}};
    if (controller) {
        Json stream{{"type", "object"},
                    {"properties", {{"id", Reference("id")}, {"input", Reference("id")}}},
                    {"required", {"id", "input"}},
                    {"additionalProperties", false}};
        properties["streams"] = {{"type", "array"}, {"items", std::move(stream)}};
    } else {
        properties["inputs"] = {{"type", "array"}, {"items", Reference("id")}};
    }
    properties["settings"] = {{"type", "object"}};
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", {"id", "class", controller ? "streams" : "inputs"}},
            {"additionalProperties", false},
            {"allOf", std::move(rules)}};
}

Json SourceSchema() {
    Json stream{{"anyOf",
                 {{{"type", "integer"}, {"minimum", 0}, {"maximum", 65535}},
                  {{"type", "string"}, {"pattern", "^(video|audio|subtitle)(:[0-9]+)?$|^[0-9]+$|\\$\\{"}}}}};
    return {{"type", "object"},
            {"properties",
             {{"id", Reference("id")},
              {"file", {{"type", "string"}, {"minLength", 1}}},
              {"stream", Described(std::move(stream),
                                   "\"video\", \"audio\" or \"subtitle\", each also with \":N\" for "
                                   "the N-th from 0; or the index of a stream")},
              {"packets", Described(BooleanSchema(), "Whether packets come out as they lie in the file")},
              {"charset", Described({{"type", "string"}, {"minLength", 1}}, "Encoding of a file of subtitle texts")},
              {"delay", Described(IntegerSchema(-MAX_DURATION, MAX_DURATION),
                                  "How much later than their file says subtitles come, below 0 earlier (us)")}}},
            {"required", {"id", "file", "stream"}},
            {"additionalProperties", false}};
}

Json OutputSchema() {
    Json stream{{"type", "object"},
                {"properties",
                 {{"input", Reference("id")},
                  {"codec", {{"type", "string"}}},
                  {"quality", Described(IntegerSchema(0, 63), "The codec's own scale, lower is better")},
                  {"bitRate", Described(IntegerSchema(0, 1000000000), "Bits a second of sound")}}},
                {"required", {"input"}},
                {"additionalProperties", false}};
    Json object{{"type", "object"},
                {"properties",
                 {{"file", {{"type", "string"}, {"minLength", 1}}},
                  {"container", {{"type", "string"}}},
                  {"streams", {{"type", "array"}, {"minItems", 1}, {"items", std::move(stream)}}}}},
                {"required", {"file"}},
                {"additionalProperties", false}};
    return {{"anyOf", {OrText({{"const", "null"}}, VARIABLE), std::move(object)}}};
}

/// The metadata's own keys.
Json TreeSchema() {
    return {{"type", "object"},
            {"additionalProperties", {{"anyOf", {{{"type", {"string", "number", "boolean"}}}, Reference("tree")}}}}};
}

}  // namespace

Json SchemaOfFields(std::vector<SettingField> const& fields) {
    return FieldsSchema(fields);
}

std::string GraphSchema() {
    Json definitions{{"id", IntegerSchema(-INT64_MAX, INT64_MAX)},
                     {"source", SourceSchema()},
                     {"filter", NodeSchema(false)},
                     {"controller", NodeSchema(true)},
                     {"output", OutputSchema()},
                     {"tree", TreeSchema()}};
    for (GraphKind const kind : {GraphKind::Video, GraphKind::Audio})
        definitions[EffectsName(kind)] = EffectsSchema(kind);
    for (CatalogEntry const& entry : GetSettingsCatalog())
        if (!entry.isFreeTree) definitions[entry.classId] = Described(FieldsSchema(entry.fields), entry.description);
    auto const listOf = [](char const* name) { return Json{{"type", "array"}, {"items", Reference(name)}}; };
    // Something has to give: a source, or a filter that reads nothing.
    Json const giver{
        {{"required", {"sources"}}, {"properties", {{"sources", {{"minItems", 1}}}}}},
        {{"required", {"filters"}},
         {"properties",
          {{"filters", {{"contains", {{"required", {"inputs"}}, {"properties", {{"inputs", {{"maxItems", 0}}}}}}}}}}}}};
    Json schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                {"title", "Tarsel graph"},
                {"type", "object"},
                {"properties",
                 {{"$schema", {{"type", "string"}}},
                  {"version", OrText({{"const", 1}}, "^1$|\\$\\{")},
                  {"description", {{"type", "string"}}},
                  {"sources", listOf("source")},
                  {"filters", listOf("filter")},
                  {"controllers", listOf("controller")},
                  {"output", Reference("output")}}},
                {"required", {"output"}},
                {"anyOf", giver},
                {"additionalProperties", false},
                {"$defs", std::move(definitions)}};
    return schema.dump(2) + "\n";
}

std::string GraphClassTable() {
    std::string table;
    auto const list = [](auto const& names, auto const& word) {
        std::string text;
        for (auto const& name : names) text += (text.empty() ? "" : ", ") + std::string(word(name));
        return text;
    };
    auto const addRow = [&](SettingField const& field, std::string const& prefix) {
        std::string const defaultText = FieldDefault(field);
        std::string const unit = field.unit.empty() ? "" : " " + field.unit;
        std::string const any = field.anyValue.empty() ? "" : ", \"" + std::string(ANY_VALUE) + "\"";
        table += "| `" + prefix + field.key + "` | " + FieldBounds(field) + unit + any + " | " +
                 (defaultText.empty() ? "must be given" : "`" + defaultText + "`") + " | " + field.description + " |\n";
    };
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        table += "### `" + entry.classId + "`\n\n" + entry.description + ". ";
        table += std::string(entry.isController     ? "A controller of "
                             : entry.maxInputs == 0 ? "Gives "
                                                    : "Works on ") +
                 list(entry.kinds, [](GraphKind kind) { return KindName(kind); });
        if (entry.furtherKind) table += ", further inputs are " + std::string(KindName(*entry.furtherKind));
        if (entry.gives) table += ", gives " + std::string(KindName(*entry.gives));
        table += "; ";
        if (!entry.isController)
            table += entry.maxInputs == 0   ? "no input; "
                     : entry.maxInputs == 1 ? "one input; "
                     : entry.maxInputs == 2 ? "two inputs; "
                                            : "any number of inputs; ";
        table += std::string("implementation") + (entry.implementations.size() > 1 ? "s " : " ") +
                 list(entry.implementations, [](std::string const& name) { return "\"" + name + "\""; }) + ".\n\n";
        if (entry.fields.empty()) continue;
        table += "| setting | values | default | meaning |\n|---|---|---|---|\n";
        for (SettingField const& field : entry.fields) {
            addRow(field, "");
            for (SettingField const& inner : field.fields) addRow(inner, field.key + "[].");
        }
        table += "\n";
    }
    return table;
}

}  // namespace Tarsel::Host
