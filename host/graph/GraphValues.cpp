#include "host/graph/GraphValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "contracts/Core/Exception.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

using Kind = JsonNode::Kind;

/// A cut list is put together range by range, each against all before it.
constexpr std::size_t MAX_LIST_ENTRIES = 10000;
/// No container numbers more streams.
constexpr int MAX_STREAM = 65535;
/// A property looks its children up one by one.
constexpr std::size_t MAX_TREE_KEYS = 200;
template <class Value>
std::optional<Value> Parse(std::string const& text) {
    Value value{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return {};
    return value;
}

std::string WithUnit(std::string text, std::string const& unit) {
    return unit.empty() ? text : text + " (" + unit + ")";
}

std::string NumberText(double value) {
    std::array<char, 64> buffer{};
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

/// "N/D", reduced.
std::optional<std::string> ReadRatio(GraphFindings& findings, std::size_t index, SettingField const& field) {
    JsonNode const& node = findings.GetTree()[index];
    auto const ratio = ParseRatio(node);
    bool const isRate = !field.unit.empty();
    bool const fits =
        ratio && (isRate ? ratio->numerator() <= MAX_FRAME_RATE * ratio->denominator() : ratio->numerator() > 0);
    if (fits) return Core::Property().SetValue(*ratio).GetString();
    if (!isRate)
        findings.Report(index, "must be a ratio \"N/D\" above 0, not " + Shown(node));
    else
        findings.Report(index, "must be a rate \"N/D\" above 0 and up to " + std::to_string(MAX_FRAME_RATE) +
                                   " frames/s, or \"0/1\" for the source's own, not " + Shown(node));
    return {};
}

std::optional<std::string> ReadChoice(GraphFindings& findings, std::size_t index, SettingField const& field) {
    JsonNode const& node = findings.GetTree()[index];
    std::string given;
    if (node.kind == Kind::Text) given = node.text;
    if (node.kind == Kind::Integer) given = std::to_string(node.integer);
    std::string names;
    for (SettingField::Choice const& choice : field.choices) {
        if (!given.empty() && (given == choice.name || given == choice.value)) return choice.value;
        names += (names.empty() ? "\"" : ", \"") + choice.name + "\"";
    }
    findings.Report(
        index, "must be " + std::string(field.choices.size() > 1 ? "one of " : "") + names + ", not " + Shown(node));
    return {};
}

/// "#RRGGBB", "0xRRGGBB".
std::optional<int64> ParseColor(std::string const& text) {
    std::size_t const mark = text.starts_with('#') ? 1 : text.starts_with("0x") ? 2 : 0;
    if (mark == 0 || text.size() != mark + 6) return {};
    int64 value = 0;
    auto const result = std::from_chars(text.data() + mark, text.data() + text.size(), value, 16);
    // A sign would be read, too.
    bool const whole = result.ec == std::errc() && result.ptr == text.data() + text.size() && text[mark] != '-';
    return whole ? std::optional<int64>(value) : std::nullopt;
}

/// Whether the value is left as it comes, where the field allows that.
bool IsAny(JsonNode const& node, SettingField const& field) {
    std::string const given = node.kind == Kind::Integer ? std::to_string(node.integer) : node.text;
    return !field.anyValue.empty() && (given == ANY_VALUE || given == field.anyValue);
}

std::optional<std::string> ReadColor(GraphFindings& findings, std::size_t index, SettingField const& field) {
    JsonNode const& node = findings.GetTree()[index];
    if (IsAny(node, field)) return field.anyValue;
    std::optional<int64> value;
    if (node.kind == Kind::Integer) value = node.integer;
    if (node.kind == Kind::Text) value = ParseColor(node.text);
    if (node.kind == Kind::Text && !value) value = Parse<int64>(node.text);
    if (value && *value >= field.minimum && *value <= field.maximum) return std::to_string(*value);
    findings.Report(index, "must be a colour \"#RRGGBB\", not " + Shown(node));
    return {};
}

std::optional<std::string> ReadGivenText(GraphFindings& findings, std::size_t index) {
    auto text = ReadText(findings, index);
    if (!text || !text->empty()) return text;
    findings.Report(index, "must be a text, not an empty one");
    return {};
}

std::optional<std::string> ReadIntegerOrAny(GraphFindings& findings, std::size_t index, SettingField const& field) {
    if (IsAny(findings.GetTree()[index], field)) return field.anyValue;
    if (auto const value = ReadInteger(findings, index, field.minimum, field.maximum, field.unit))
        return std::to_string(*value);
    return {};
}

/// The text that a property holds for a scalar field.
std::optional<std::string> ReadScalar(GraphFindings& findings, std::size_t index, SettingField const& field) {
    switch (field.type) {
        case SettingType::Integer:
            return field.isColor ? ReadColor(findings, index, field) : ReadIntegerOrAny(findings, index, field);
        case SettingType::Number:
            if (auto const value = ReadNumber(findings, index, field.lowest, field.highest)) return NumberText(*value);
            return {};
        case SettingType::Boolean:
            if (auto const value = ReadBoolean(findings, index)) return *value ? "1" : "0";
            return {};
        case SettingType::Ratio:
            return ReadRatio(findings, index, field);
        case SettingType::Choice:
            return ReadChoice(findings, index, field);
        case SettingType::Text:
            return field.isOptional ? ReadText(findings, index) : ReadGivenText(findings, index);
        case SettingType::List:
        case SettingType::Effects:
            break;
    }
    TARSEL_THROW(std::invalid_argument, "A list is no scalar");
}

void ReadFields(GraphFindings& findings, std::vector<SettingField> const& fields, std::size_t index, std::size_t owner,
                Core::Property& property);

void ReadList(GraphFindings& findings, SettingField const& field, std::size_t index, Core::Property& property) {
    JsonNode const& node = findings.GetTree()[index];
    if (node.kind != Kind::Array) return findings.Report(index, "must be a list, not " + Shown(node));
    if (node.children.size() > MAX_LIST_ENTRIES)
        return findings.Report(index, "has more than " + std::to_string(MAX_LIST_ENTRIES) + " entries");
    for (std::size_t const child : node.children) {
        if (field.type == SettingType::Effects) {
            property.Add(ReadEffect(findings, child, field.effectKind, true));
            continue;
        }
        Core::Property entry(field.key);
        ReadFields(findings, field.fields, child, child, entry);
        property.Add(std::move(entry));
    }
}

void SetField(SettingField const& field, std::string const& text, Core::Property& property) {
    if (field.isOwnValue)
        property.SetValue(text);
    else if (field.isNameless)
        property.Add(Core::Property().SetValue(text));
    else
        property.SetChild(field.GetChildName(), text);
}

/// Enters every field of the object `index` into the property; what it doesn't say has its default.
void ReadFields(GraphFindings& findings, std::vector<SettingField> const& fields, std::size_t index, std::size_t owner,
                Core::Property& property) {
    if (index != JsonTree::NONE) {
        std::vector<std::string> keys;
        for (SettingField const& field : fields) keys.push_back(field.key);
        if (!ReadKeys(findings, index, keys)) return;
    }
    ReadFieldValues(findings, fields, index, owner, property);
}

}  // namespace

void GraphFindings::Report(std::size_t index, std::size_t rank, std::string const& what) {
    if (rank >= firstRank) return;
    firstRank = rank;
    first = index;
    firstNode = node;
    message = what;
}

void GraphFindings::ThrowFirst() const {
    if (!Any()) return;
    std::string const pointer = tree.PointerOf(first);
    if (firstNode) FailAtNode(*firstNode, pointer, message);
    FailAtPlace(pointer, message);
}

std::optional<int64> ReadInteger(GraphFindings& findings, std::size_t index, int64 minimum, int64 maximum,
                                 std::string const& unit) {
    JsonNode const& node = findings.GetTree()[index];
    std::optional<int64> value;
    if (node.kind == Kind::Integer) value = node.integer;
    if (node.kind == Kind::Text) value = Parse<int64>(node.text);
    if (value && *value >= minimum && *value <= maximum) return value;
    findings.Report(
        index, WithUnit("must be an integer from " + std::to_string(minimum) + " to " + std::to_string(maximum), unit) +
                   ", not " + Shown(node));
    return {};
}

std::optional<double> ReadNumber(GraphFindings& findings, std::size_t index, double lowest, double highest) {
    JsonNode const& node = findings.GetTree()[index];
    std::optional<double> value;
    if (node.kind == Kind::Integer || node.kind == Kind::Number) value = node.number;
    if (node.kind == Kind::Text) value = Parse<double>(node.text);
    // A text may say "nan", which no comparison holds for.
    if (value && *value >= lowest && *value <= highest) return value;
    findings.Report(
        index, "must be a number from " + NumberText(lowest) + " to " + NumberText(highest) + ", not " + Shown(node));
    return {};
}

std::optional<bool> ReadBoolean(GraphFindings& findings, std::size_t index) {
    JsonNode const& node = findings.GetTree()[index];
    if (node.kind == Kind::Boolean) return node.boolean;
    if (node.kind == Kind::Text && (node.text == "true" || node.text == "1")) return true;
    if (node.kind == Kind::Text && (node.text == "false" || node.text == "0")) return false;
    findings.Report(index, "must be true or false, not " + Shown(node));
    return {};
}

std::optional<std::string> ReadText(GraphFindings& findings, std::size_t index) {
    JsonNode const& node = findings.GetTree()[index];
    if (node.kind == Kind::Text) return node.text;
    findings.Report(index, "must be a text, not " + Shown(node));
    return {};
}

StreamSelector ReadSelector(GraphFindings& findings, std::size_t index) {
    JsonNode const& node = findings.GetTree()[index];
    StreamSelector selector;
    std::string_view text = node.text;
    if (node.kind == Kind::Text) {
        std::size_t const colon = std::min(text.find(':'), text.size());
        std::string_view const word = text.substr(0, colon);
        for (StreamKind const kind : {StreamKind::Video, StreamKind::Audio, StreamKind::Subtitle})
            if (word == KindName(kind)) selector.kind = kind;
        if (selector.kind && colon == text.size()) return selector;
        if (selector.kind) text.remove_prefix(colon + 1);
    }
    int64 number = -1;
    if (node.kind == Kind::Integer) number = node.integer;
    if (node.kind == Kind::Text) {
        auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
        if (result.ec != std::errc() || result.ptr != text.data() + text.size()) number = -1;
    }
    if (number < 0 || number > MAX_STREAM)
        findings.Report(index,
                        "must be \"video\", \"audio\" or \"subtitle\", each also with \":N\" for the N-th from 0, or "
                        "the index of a stream, not " +
                            Shown(node));
    selector.ordinal = static_cast<int>(std::max<int64>(number, 0));
    return selector;
}

std::string SelectorText(StreamSelector const& selector) {
    std::string const number = std::to_string(selector.ordinal);
    if (!selector.kind) return number;
    std::string const kind(KindName(*selector.kind));
    return selector.ordinal == 0 ? kind : kind + ":" + number;
}

std::optional<Ratio> ParseRatio(JsonNode const& node) {
    std::optional<int64> numerator;
    std::optional<int64> denominator = 1;
    if (node.kind == Kind::Integer) numerator = node.integer;
    if (node.kind == Kind::Text) {
        std::size_t const slash = std::min(node.text.find('/'), node.text.size());
        numerator = Parse<int64>(node.text.substr(0, slash));
        if (slash < node.text.size()) denominator = Parse<int64>(node.text.substr(slash + 1));
    }
    bool const fits = numerator && denominator && *numerator >= 0 && *numerator <= MAX_FRAME_RATE_PART &&
                      *denominator > 0 && *denominator <= MAX_FRAME_RATE_PART;
    if (!fits) return {};
    return Ratio(*numerator, *denominator);
}

bool ReadKeys(GraphFindings& findings, std::size_t index, std::vector<std::string> const& keys) {
    JsonTree const& tree = findings.GetTree();
    if (tree[index].kind != Kind::Object) {
        findings.Report(index, "must be an object, not " + Shown(tree[index]));
        return false;
    }
    for (std::size_t const child : tree[index].children) {
        std::string const& key = tree[child].key;
        if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
        findings.Report(child, "there is no key " + Quoted(key) + " here" + Suggest(key, keys));
        break;
    }
    return true;
}

std::size_t RequireKey(GraphFindings& findings, std::size_t object, std::string_view key) {
    std::size_t const value = findings.GetTree().Find(object, key);
    if (value == JsonTree::NONE) findings.ReportMissing(object, "the key \"" + std::string(key) + "\" is missing");
    return value;
}

// Its depth is bounded by that of the document.
void ReadTree(GraphFindings& findings, std::size_t index, Core::Property& property) {
    JsonTree const& tree = findings.GetTree();
    if (tree[index].children.size() > MAX_TREE_KEYS)
        return findings.Report(index, "has more than " + std::to_string(MAX_TREE_KEYS) + " keys");
    for (std::size_t const child : tree[index].children) {
        JsonNode const& node = tree[child];
        Core::Property& entry = property[node.key];
        switch (node.kind) {
            case Kind::Text:
                entry.SetValue(node.text);
                break;
            case Kind::Integer:
                entry.SetValue(node.integer);
                break;
            case Kind::Number:
                entry.SetValue(node.number);
                break;
            case Kind::Boolean:
                entry.SetValue(node.boolean ? "true" : "false");
                break;
            case Kind::Object:
                ReadTree(findings, child, entry);
                break;
            default:
                findings.Report(child, "must be a text, a number, true, false or an object, not " + Shown(node));
        }
    }
}

void ReadFieldValues(GraphFindings& findings, std::vector<SettingField> const& fields, std::size_t index,
                     std::size_t owner, Core::Property& property) {
    for (SettingField const& field : fields) {
        std::size_t const value = index == JsonTree::NONE ? index : findings.GetTree().Find(index, field.key);
        if (field.IsList()) {
            if (value != JsonTree::NONE) ReadList(findings, field, value, property);
            continue;
        }
        if (value == JsonTree::NONE && field.IsRequired()) {
            findings.ReportMissing(index == JsonTree::NONE ? owner : index,
                                   "the setting \"" + field.key + "\" is missing");
            continue;
        }
        auto const text = value == JsonTree::NONE ? field.defaultValue : ReadScalar(findings, value, field);
        if (text) SetField(field, *text, property);
    }
}

Core::Property ReadSettings(GraphFindings& findings, CatalogEntry const& entry, std::size_t index, std::size_t owner) {
    Core::Property property(entry.settingsId);
    if (!entry.isFreeTree) {
        ReadFields(findings, entry.fields, index, owner, property);
        return property;
    }
    Core::Property metadata("Metadata");
    if (index != JsonTree::NONE) {
        if (findings.GetTree()[index].kind == Kind::Object)
            ReadTree(findings, index, metadata);
        else
            findings.Report(index, "must be an object, not " + Shown(findings.GetTree()[index]));
    }
    return property.Add(std::move(metadata));
}

}  // namespace Tarsel::Host
