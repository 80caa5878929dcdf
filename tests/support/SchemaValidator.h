#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

namespace Tarsel::TestSupport {

/// As much of JSON Schema as the ones of this project make use of. A word that it doesn't know fails the test.
class SchemaValidator {
  public:
    explicit SchemaValidator(nlohmann::json const& root) : root(root) {}
    bool Accepts(nlohmann::json const& value) const { return Accepts(root, value); }

  private:
    static bool IsOfType(std::string const& type, nlohmann::json const& value) {
        if (type == "integer") return value.is_number_integer();
        if (type == "number") return value.is_number();
        if (type == "string") return value.is_string();
        if (type == "boolean") return value.is_boolean();
        if (type == "array") return value.is_array();
        if (type == "object") return value.is_object();
        ADD_FAILURE() << "type " << type;
        return false;
    }

    bool Accepts(nlohmann::json const& schema, nlohmann::json const& value) const {
        for (auto const& [word, rule] : schema.items())
            if (!Follows(schema, word, rule, value)) return false;
        return true;
    }

    bool FollowsForObject(nlohmann::json const& schema, std::string const& word, nlohmann::json const& rule,
                          nlohmann::json const& value) const {
        if (word == "required")
            return std::all_of(rule.begin(), rule.end(),
                               [&](nlohmann::json const& key) { return value.contains(key); });
        for (auto const& [key, child] : value.items()) {
            bool const named = schema.contains("properties") && schema["properties"].contains(key);
            if (word == "properties" && named && !Accepts(rule[key], child)) return false;
            if (word == "additionalProperties" && !named) {
                if (rule.is_boolean() ? !rule.get<bool>() : !Accepts(rule, child)) return false;
            }
        }
        return true;
    }

    bool FollowsForArray(std::string const& word, nlohmann::json const& rule, nlohmann::json const& value) const {
        if (word == "minItems") return value.size() >= rule.get<std::size_t>();
        if (word == "maxItems") return value.size() <= rule.get<std::size_t>();
        if (word == "contains")
            return std::any_of(value.begin(), value.end(),
                               [&](nlohmann::json const& child) { return Accepts(rule, child); });
        return std::all_of(value.begin(), value.end(),
                           [&](nlohmann::json const& child) { return Accepts(rule, child); });
    }

    bool Follows(nlohmann::json const& schema, std::string const& word, nlohmann::json const& rule,
                 nlohmann::json const& value) const {
        static std::set<std::string> const notes{"$schema", "title", "$defs", "description", "default", "then"};
        static std::set<std::string> const objects{"required", "properties", "additionalProperties"};
        static std::set<std::string> const arrays{"contains", "items", "minItems", "maxItems"};
        if (notes.contains(word)) return true;
        if (objects.contains(word)) return !value.is_object() || FollowsForObject(schema, word, rule, value);
        if (arrays.contains(word)) return !value.is_array() || FollowsForArray(word, rule, value);
        auto const accepts = [&](nlohmann::json const& option) { return Accepts(option, value); };
        if (word == "anyOf") return std::any_of(rule.begin(), rule.end(), accepts);
        if (word == "allOf") return std::all_of(rule.begin(), rule.end(), accepts);
        if (word == "if") return !accepts(rule) || accepts(schema["then"]);
        if (word == "$ref") return accepts(root.at(nlohmann::json::json_pointer(rule.get<std::string>().substr(1))));
        if (word == "const") return value == rule;
        if (word == "enum") return std::find(rule.begin(), rule.end(), value) != rule.end();
        if (word == "minimum") return !value.is_number() || value >= rule;
        if (word == "maximum") return !value.is_number() || value <= rule;
        if (word == "minLength")
            return !value.is_string() || value.get<std::string>().size() >= rule.get<std::size_t>();
        if (word == "pattern")
            return !value.is_string() ||
                   std::regex_search(value.get<std::string>(), std::regex(rule.get<std::string>()));
        if (word == "type" && rule.is_array())
            return std::any_of(rule.begin(), rule.end(),
                               [&](nlohmann::json const& type) { return IsOfType(type, value); });
        if (word == "type") return IsOfType(rule, value);
        ADD_FAILURE() << "the schema says " << word;
        return false;
    }

    nlohmann::json const& root;
};

}  // namespace Tarsel::TestSupport
