#include "contracts/Core/Property.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Core {

namespace {

template <class Number>
std::string NumberText(Number value) {
    std::array<char, 64> buffer{};
    auto const end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    return {buffer.data(), end};
}

template <class Number>
bool ParseNumber(char const* begin, char const* end, Number& out) {
    auto const result = std::from_chars(begin, end, out);
    return result.ec == std::errc() && result.ptr == end;
}

template <class Number>
bool ParseNumber(std::string const& text, Number& out) {
    return ParseNumber(text.data(), text.data() + text.size(), out);
}

}  // namespace

Property::Property(std::string const& name) : name(name) {}

Property& Property::SetValue(std::string const& value) {
    scalar = value;
    hasScalar = true;
    return *this;
}
Property& Property::SetValue(char const* value) {
    return SetValue(std::string(value ? value : ""));
}
Property& Property::SetValue(int value) {
    return SetValue(NumberText(value));
}
Property& Property::SetValue(int64 value) {
    return SetValue(NumberText(value));
}
Property& Property::SetValue(double value) {
    return SetValue(NumberText(value));
}
Property& Property::SetValue(Ratio const& value) {
    return SetValue(NumberText(value.numerator()) + "/" + NumberText(value.denominator()));
}

std::string const& Property::GetString() const {
    if (!hasScalar) TARSEL_THROW(CoreException, "Property \"" + name + "\" has no value");
    return scalar;
}

bool Property::GetBool() const {
    std::string const& text = GetString();
    if (text == "1" || text == "true") return true;
    if (text == "0" || text == "false") return false;
    TARSEL_THROW(CoreException, "Property \"" + name + "\" is not a boolean: \"" + text + "\"");
}

int64 Property::GetInt64() const {
    int64 value = 0;
    if (!ParseNumber(GetString(), value))
        TARSEL_THROW(CoreException, "Property \"" + name + "\" is not a 64-bit integer: \"" + scalar + "\"");
    return value;
}

double Property::GetDouble() const {
    double value = 0;
    if (!ParseNumber(GetString(), value))
        TARSEL_THROW(CoreException, "Property \"" + name + "\" is not a number: \"" + scalar + "\"");
    return value;
}

Ratio Property::GetRatio() const {
    std::string const& text = GetString();
    auto const slash = std::min(text.find('/'), text.size());
    int64 numerator = 0;
    int64 denominator = 1;
    char const* const begin = text.data();
    bool valid = ParseNumber(begin, begin + slash, numerator);
    if (slash < text.size()) valid = valid && ParseNumber(begin + slash + 1, begin + text.size(), denominator);
    // The smallest integer has no positive counterpart, which normalising a ratio needs.
    if (!valid || denominator == 0 || denominator == NO_VALUE || numerator == NO_VALUE)
        TARSEL_THROW(CoreException, "Property \"" + name + "\" is not a ratio: \"" + text + "\"");
    return {numerator, denominator};
}

Property const* Property::Find(std::string const& key) const {
    auto const found = std::find_if(children.begin(), children.end(),
                                    [&](Property const& child) { return child.keyed && child.name == key; });
    return found == children.end() ? nullptr : &*found;
}

bool Property::ChildExists(std::string const& key) const {
    return Find(key) != nullptr;
}

Property const& Property::operator[](std::string const& key) const {
    Property const* const child = Find(key);
    if (!child) TARSEL_THROW(CoreException, "Property \"" + name + "\" has no child \"" + key + "\"");
    return *child;
}

Property& Property::operator[](std::string const& key) {
    if (!Find(key)) SetChild(key, Property(key));
    return const_cast<Property&>(*Find(key));
}

Property& Property::SetChild(std::string const& key, Property const& child) {
    Property entry(child);
    entry.name = key;
    entry.keyed = true;
    if (auto* const present = const_cast<Property*>(Find(key)))
        *present = std::move(entry);
    else
        children.push_back(std::move(entry));
    return *this;
}

Property& Property::SetChild(std::string const& key, std::string const& value) {
    return SetChild(key, Property(key).SetValue(value));
}
Property& Property::SetChild(std::string const& key, char const* value) {
    return SetChild(key, Property(key).SetValue(value));
}
Property& Property::SetChild(std::string const& key, int value) {
    return SetChild(key, Property(key).SetValue(value));
}
Property& Property::SetChild(std::string const& key, int64 value) {
    return SetChild(key, Property(key).SetValue(value));
}
Property& Property::SetChild(std::string const& key, double value) {
    return SetChild(key, Property(key).SetValue(value));
}
Property& Property::SetChild(std::string const& key, Ratio const& value) {
    return SetChild(key, Property(key).SetValue(value));
}

Property& Property::Add(Property const& child) {
    return Add(Property(child));
}

Property& Property::Add(Property&& child) {
    child.keyed = false;
    children.push_back(std::move(child));
    return *this;
}

bool Property::operator==(Property const& other) const {
    auto const sameEntry = [](Property const& a, Property const& b) { return a.keyed == b.keyed && a == b; };
    return name == other.name && hasScalar == other.hasScalar && scalar == other.scalar &&
           std::equal(children.begin(), children.end(), other.children.begin(), other.children.end(), sameEntry);
}

Property MakeStatistics(std::string const& name, int64 time, unsigned count) {
    Property node(name);
    node.SetChild("Time", time);
    node.SetChild("Count", static_cast<int64>(count));
    return node;
}

Property GetRootItem() {
    return Property("Root");
}

}  // namespace Tarsel::Core
