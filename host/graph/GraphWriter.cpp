#include "host/graph/GraphWriter.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/FieldForms.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphValues.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

/// A text as it stands in a graph file, where "${" begins a variable.
std::string Escaped(std::string const& text) {
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '$' && i + 1 < text.size() && text[i + 1] == '{') escaped += '$';
        escaped += text[i];
    }
    return escaped;
}

Json FieldToJson(SettingField const& field, Core::Property const& value) {
    switch (field.type) {
        case SettingType::Text:
            return Escaped(value.GetString());
        case SettingType::Integer:
            if (!field.anyValue.empty() && value.GetString() == field.anyValue) return ANY_VALUE;
            return value.GetInt64();
        case SettingType::Number:
            return value.GetDouble();
        case SettingType::Boolean:
            return value.GetBool();
        case SettingType::Ratio:
            return Core::Property().SetValue(value.GetRatio()).GetString();
        case SettingType::Choice:
            for (SettingField::Choice const& choice : field.choices)
                if (choice.value == value.GetString()) return choice.name;
            return Escaped(value.GetString());
        case SettingType::List:
        case SettingType::Effects:
            break;
    }
    TARSEL_THROW(std::invalid_argument, "A list is no scalar");
}

Json EffectToJson(Core::Property const& effect);
Json FieldsToJson(std::vector<SettingField> const& fields, Core::Property const& property);

/// The entries of a list that the property holds.
Json ListToJson(SettingField const& field, Core::Property const& property) {
    Json list = Json::array();
    for (Core::Property const& child : property.Children()) {
        if (field.type == SettingType::Effects)
            list.push_back(EffectToJson(child));
        else if (child.Name() == field.key)
            list.push_back(FieldsToJson(field.fields, child));
    }
    return list;
}

/// The child that holds a field; null when there is none.
Core::Property const* FindField(SettingField const& field, Core::Property const& property) {
    if (!field.isNameless)
        return property.ChildExists(field.GetChildName()) ? &property[field.GetChildName()] : nullptr;
    for (Core::Property const& child : property.Children())
        if (!child.IsKeyed()) return &child;
    return nullptr;
}

/// Writes the fields into the object and gives the number of children that hold them.
std::size_t WriteFields(std::vector<SettingField> const& fields, Core::Property const& property, Json& object) {
    std::size_t written = 0;
    for (SettingField const& field : fields) {
        if (field.IsList()) {
            Json list = ListToJson(field, property);
            written += list.size();
            if (!list.empty()) object[field.key] = std::move(list);
        } else if (field.isOwnValue) {
            if (property.HasScalar()) object[field.key] = FieldToJson(field, property);
        } else if (Core::Property const* const value = FindField(field, property)) {
            if (!field.isOptional || !value->GetString().empty()) object[field.key] = FieldToJson(field, *value);
            ++written;
        }
    }
    return written;
}

void RequireAllWritten(std::size_t written, Core::Property const& property) {
    if (written != property.Children().size())
        TARSEL_THROW(GraphException,
                     "the settings \"" + property.Name() + "\" hold more than the class has fields for");
}

Json FieldsToJson(std::vector<SettingField> const& fields, Core::Property const& property) {
    Json object = Json::object();
    RequireAllWritten(WriteFields(fields, property, object), property);
    return object;
}

Json EffectToJson(Core::Property const& effect) {
    EffectEntry const* const entry = FindEffect(effect.Name());
    if (!entry) TARSEL_THROW(GraphException, "there is no effect \"" + effect.Name() + "\"");
    Json object{{"effect", entry->name}};
    std::size_t written = WriteFields(GetEffectKeys(), effect, object);
    written += WriteFields(entry->fields, effect, object);
    RequireAllWritten(written, effect);
    return object;
}

Json TreeToJson(Core::Property const& tree) {
    Json object = Json::object();
    for (Core::Property const& child : tree.Children()) {
        if (!child.IsKeyed() || (child.HasScalar() && !child.Children().empty()))
            TARSEL_THROW(GraphException, "the entry \"" + child.Name() + "\" is neither a text nor an object");
        object[child.Name()] = child.HasScalar() ? Json(Escaped(child.GetString())) : TreeToJson(child);
    }
    return object;
}

Json SettingsToJson(CatalogEntry const& entry, Core::Property const& settings) {
    if (!entry.isFreeTree) return FieldsToJson(entry.fields, settings);
    return settings.Children().empty() ? Json::object() : TreeToJson(settings.Children().front());
}

CatalogEntry const& EntryOf(NodeId id, JsonPointer const& pointer, std::string const& classId) {
    CatalogEntry const* const entry = FindInCatalog(classId);
    if (!entry) FailAtNode(id, pointer, "there is no class \"" + classId + "\"");
    return *entry;
}

/// What a filter and a controller have in common.
template <class Node>
Json NodeToJson(Node const& node) {
    CatalogEntry const& entry = EntryOf(node.id, node.pointer, node.classId);
    Json object{{"id", node.id}, {"class", Escaped(node.classId)}};
    if (node.implName != Proc::ImplNames::DEFAULT) object["implementation"] = Escaped(node.implName);
    Json settings = SettingsToJson(entry, node.settings);
    if (!settings.empty()) object["settings"] = std::move(settings);
    return object;
}

Json SourceToJson(GraphSource const& source) {
    Json object{{"id", source.id}, {"file", Escaped(source.file)}};
    if (source.stream.kind)
        object["stream"] = SelectorText(source.stream);
    else
        object["stream"] = source.stream.ordinal;
    if (source.packets) object["packets"] = true;
    if (!source.charset.empty()) object["charset"] = Escaped(source.charset);
    if (source.delay != 0) object["delay"] = source.delay;
    return object;
}

Json OutputToJson(GraphOutput const& output) {
    if (output.IsDry() && output.streams.empty() && output.container.empty()) return "null";
    Json object{{"file", output.IsDry() ? "null" : Escaped(output.file)}};
    if (!output.container.empty()) object["container"] = Escaped(output.container);
    for (GraphOutput::Stream const& stream : output.streams) {
        Json entry{{"input", stream.input}};
        if (!stream.codec.empty()) entry["codec"] = Escaped(stream.codec);
        if (stream.quality) entry["quality"] = *stream.quality;
        if (stream.bitRate != 0) entry["bitRate"] = stream.bitRate;
        object["streams"].push_back(std::move(entry));
    }
    return object;
}

}  // namespace

Json FieldsAsJson(std::vector<SettingField> const& fields, Core::Property const& property) {
    return FieldsToJson(fields, property);
}

std::string WriteGraph(GraphDocument const& document) {
    Json graph{{"version", 1}};
    if (!document.description.empty()) graph["description"] = Escaped(document.description);
    if (!document.sources.empty()) graph["sources"] = Json::array();
    for (GraphSource const& source : document.sources) graph["sources"].push_back(SourceToJson(source));
    for (GraphFilter const& filter : document.filters) {
        Json node = NodeToJson(filter);
        node["inputs"] = filter.inputs;
        graph["filters"].push_back(std::move(node));
    }
    for (GraphController const& controller : document.controllers) {
        Json node = NodeToJson(controller);
        for (GraphController::Stream const& stream : controller.streams)
            node["streams"].push_back({{"id", stream.id}, {"input", stream.input}});
        graph["controllers"].push_back(std::move(node));
    }
    graph["output"] = OutputToJson(document.output);
    try {
        return graph.dump(2) + "\n";
    } catch (Json::type_error const&) {
        TARSEL_THROW(GraphException, "a text of the graph is not UTF-8, which JSON has to be");
    }
}

}  // namespace Tarsel::Host
