#include "host/timeline/OtioValues.h"

#include <charconv>

#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

using Kind = JsonNode::Kind;

}  // namespace

void OtioValues::Fail(std::size_t index, std::string const& what) const {
    FailAtPlace(tree.PointerOf(index), what);
}

OtioSchema OtioValues::SchemaOf(std::size_t index) const {
    if (tree[index].kind != Kind::Object) Fail(index, "must be an object, not " + Shown(tree[index]));
    std::size_t const value = tree.Find(index, "OTIO_SCHEMA");
    if (value == JsonTree::NONE) Fail(index, "the key \"OTIO_SCHEMA\" is missing");
    std::string const& text = tree[value].text;
    std::size_t const dot = text.rfind('.');
    OtioSchema schema;
    if (dot != std::string::npos && dot > 0) {
        char const* const end = text.data() + text.size();
        auto const result = std::from_chars(text.data() + dot + 1, end, schema.version);
        if (result.ec == std::errc() && result.ptr == end && schema.version > 0) schema.name = text.substr(0, dot);
    }
    if (schema.name.empty()) Fail(value, "must be the name of a schema and its version, not " + Shown(tree[value]));
    return schema;
}

void OtioValues::RequireVersion(std::size_t index, OtioSchema const& schema, int64 known) const {
    if (schema.version > known)
        Fail(index, "version " + std::to_string(schema.version) + " of the schema " + Quoted(schema.name) +
                        " is not known, the latest that is: " + std::to_string(known));
}

std::size_t OtioValues::Find(std::size_t object, std::string_view key) const {
    std::size_t const value = tree.Find(object, key);
    return value == JsonTree::NONE || tree[value].kind == Kind::Null ? JsonTree::NONE : value;
}

std::size_t OtioValues::Require(std::size_t object, std::string_view key) const {
    std::size_t const value = Find(object, key);
    if (value == JsonTree::NONE) Fail(object, "the key \"" + std::string(key) + "\" is missing");
    return value;
}

std::vector<std::size_t> const& OtioValues::ListUnder(std::size_t object, std::string_view key) const {
    static std::vector<std::size_t> const nothing;
    std::size_t const value = Find(object, key);
    if (value == JsonTree::NONE) return nothing;
    if (tree[value].kind != Kind::Array) Fail(value, "must be a list, not " + Shown(tree[value]));
    return tree[value].children;
}

std::string OtioValues::TextUnder(std::size_t object, std::string_view key) const {
    std::size_t const value = Find(object, key);
    if (value == JsonTree::NONE) return {};
    if (tree[value].kind != Kind::Text) Fail(value, "must be a text, not " + Shown(tree[value]));
    return tree[value].text;
}

bool OtioValues::IsEnabled(std::size_t object) const {
    std::size_t const value = Find(object, "enabled");
    if (value == JsonTree::NONE) return true;
    if (tree[value].kind != Kind::Boolean) Fail(value, "must be true or false, not " + Shown(tree[value]));
    return tree[value].boolean;
}

double OtioValues::Number(std::size_t index) const {
    JsonNode const& node = tree[index];
    if (node.kind != Kind::Integer && node.kind != Kind::Number) Fail(index, "must be a number, not " + Shown(node));
    return node.number;
}

ExactTime OtioValues::TimeUnder(std::size_t object, std::string_view key) const {
    std::size_t const index = Require(object, key);
    OtioSchema const schema = SchemaOf(index);
    if (schema.name != "RationalTime") Fail(index, "must be a RationalTime, not a " + Quoted(schema.name));
    RequireVersion(index, schema, 1);
    std::size_t const value = Require(index, "value");
    std::size_t const rate = Require(index, "rate");
    double const count = Number(value);
    if (!(Number(rate) > 0)) Fail(rate, "a rate must be above 0, not " + Shown(tree[rate]));
    auto const time = ExactTime::OfUnits(count, Number(rate));
    constexpr int64 LIMIT = MAX_DURATION;
    if (!time || time->Round() > LIMIT || time->Round() < -LIMIT)
        Fail(index, Shown(tree[value]) + " at a rate of " + Shown(tree[rate]) + " is out of the range of 30 days");
    return *time;
}

std::optional<OtioRange> OtioValues::RangeUnder(std::size_t object, std::string_view key) const {
    std::size_t const index = Find(object, key);
    if (index == JsonTree::NONE) return {};
    OtioSchema const schema = SchemaOf(index);
    if (schema.name != "TimeRange") Fail(index, "must be a TimeRange, not a " + Quoted(schema.name));
    RequireVersion(index, schema, 1);
    OtioRange const range{TimeUnder(index, "start_time"), TimeUnder(index, "duration")};
    if (range.duration.Sign() < 0) Fail(index, "the range lasts less than no time");
    return range;
}

}  // namespace Tarsel::Host
