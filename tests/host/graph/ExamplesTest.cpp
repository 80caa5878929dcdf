#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphSchema.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {
namespace {

using Json = nlohmann::json;
using ::testing::IsEmpty;

std::string const FOLDER = std::string(TARSEL_SOURCE_DIR) + "/examples";

std::string ReadText(std::string const& path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << path;
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<std::string> Examples() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(FOLDER))
        if (entry.path().extension() == ".json") names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_GT(names.size(), 15U);
    return names;
}

/// Values for exactly the variables that a text names.
GraphVariables VariablesOf(std::string const& text) {
    GraphVariables variables;
    for (char const* const name : {"IN", "IN2", "OUT"})
        if (text.find("${" + std::string(name) + "}") != std::string::npos)
            variables[name] = std::string(name) + ".mkv";
    return variables;
}

/// As much of JSON Schema as the one of graphs makes use of. A word that it doesn't know fails the test.
class Validator {
  public:
    explicit Validator(Json const& root) : root(root) {}
    bool Accepts(Json const& value) const { return Accepts(root, value); }

  private:
    static bool IsOfType(std::string const& type, Json const& value) {
        if (type == "integer") return value.is_number_integer();
        if (type == "number") return value.is_number();
        if (type == "string") return value.is_string();
        if (type == "boolean") return value.is_boolean();
        if (type == "array") return value.is_array();
        if (type == "object") return value.is_object();
        ADD_FAILURE() << "type " << type;
        return false;
    }

    bool Accepts(Json const& schema, Json const& value) const {
        for (auto const& [word, rule] : schema.items())
            if (!Follows(schema, word, rule, value)) return false;
        return true;
    }

    bool FollowsForObject(Json const& schema, std::string const& word, Json const& rule, Json const& value) const {
        if (word == "required")
            return std::all_of(rule.begin(), rule.end(), [&](Json const& key) { return value.contains(key); });
        for (auto const& [key, child] : value.items()) {
            bool const named = schema.contains("properties") && schema["properties"].contains(key);
            if (word == "properties" && named && !Accepts(rule[key], child)) return false;
            if (word == "additionalProperties" && !named) {
                if (rule.is_boolean() ? !rule.get<bool>() : !Accepts(rule, child)) return false;
            }
        }
        return true;
    }

    bool FollowsForArray(std::string const& word, Json const& rule, Json const& value) const {
        if (word == "minItems") return value.size() >= rule.get<std::size_t>();
        if (word == "maxItems") return value.size() <= rule.get<std::size_t>();
        if (word == "contains")
            return std::any_of(value.begin(), value.end(), [&](Json const& child) { return Accepts(rule, child); });
        return std::all_of(value.begin(), value.end(), [&](Json const& child) { return Accepts(rule, child); });
    }

    bool Follows(Json const& schema, std::string const& word, Json const& rule, Json const& value) const {
        static std::set<std::string> const notes{"$schema", "title", "$defs", "description", "default", "then"};
        static std::set<std::string> const objects{"required", "properties", "additionalProperties"};
        static std::set<std::string> const arrays{"contains", "items", "minItems", "maxItems"};
        if (notes.contains(word)) return true;
        if (objects.contains(word)) return !value.is_object() || FollowsForObject(schema, word, rule, value);
        if (arrays.contains(word)) return !value.is_array() || FollowsForArray(word, rule, value);
        auto const accepts = [&](Json const& option) { return Accepts(option, value); };
        if (word == "anyOf") return std::any_of(rule.begin(), rule.end(), accepts);
        if (word == "allOf") return std::all_of(rule.begin(), rule.end(), accepts);
        if (word == "if") return !accepts(rule) || accepts(schema["then"]);
        if (word == "$ref") return accepts(root.at(Json::json_pointer(rule.get<std::string>().substr(1))));
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
            return std::any_of(rule.begin(), rule.end(), [&](Json const& type) { return IsOfType(type, value); });
        if (word == "type") return IsOfType(rule, value);
        ADD_FAILURE() << "the schema says " << word;
        return false;
    }

    Json const& root;
};

TEST(Examples, AreGraphs) {
    for (std::string const& name : Examples()) {
        std::string const path = FOLDER + "/" + name;
        std::string const text = ReadText(path);
        GraphDocument document;
        ASSERT_NO_THROW(document = ReadGraph(path, VariablesOf(text))) << name;
        EXPECT_FALSE(document.description.empty()) << name;
        EXPECT_EQ(ParseGraph(WriteGraph(document)), document) << name;
    }
}

TEST(Examples, StandInTheirListWithTheirDescriptions) {
    std::string const list = ReadText(FOLDER + "/README.md");
    for (std::string const& name : Examples()) {
        std::string const description = Json::parse(ReadText(FOLDER + "/" + name))["description"];
        EXPECT_NE(list.find("| [" + name + "](" + name + ") |"), std::string::npos) << name;
        EXPECT_NE(list.find("| " + description + " |"), std::string::npos) << name;
    }
}

TEST(Examples, ShowEveryClass) {
    std::set<std::string> shown;
    for (std::string const& name : Examples()) {
        std::string const text = ReadText(FOLDER + "/" + name);
        GraphDocument const document = ParseGraph(text, VariablesOf(text));
        for (GraphFilter const& filter : document.filters) shown.insert(filter.classId);
        for (GraphController const& controller : document.controllers) shown.insert(controller.classId);
    }
    std::vector<std::string> missing;
    for (CatalogEntry const& entry : GetSettingsCatalog())
        if (!shown.contains(entry.classId)) missing.push_back(entry.classId);
    EXPECT_THAT(missing, IsEmpty());
}

TEST(Examples, StandUpToTheSchemaAsTheyAreAndAsTheyAreWrittenAnew) {
    Json const schema = Json::parse(GraphSchema());
    Validator const validator(schema);
    for (std::string const& name : Examples()) {
        std::string const text = ReadText(FOLDER + "/" + name);
        EXPECT_TRUE(validator.Accepts(Json::parse(text))) << name;
        EXPECT_TRUE(validator.Accepts(Json::parse(WriteGraph(ParseGraph(text, VariablesOf(text)))))) << name;
    }
}

TEST(Examples, TheSchemaRefusesWhatTheReaderRefuses) {
    Json const schema = Json::parse(GraphSchema());
    Validator const validator(schema);
    Json const good = Json::parse(ReadText(FOLDER + "/trim.json"));
    auto const refuses = [&](std::string const& pointer, Json const& value) {
        Json changed = good;
        changed[Json::json_pointer(pointer)] = value;
        bool const byReader = [&] {
            try {
                ParseGraph(changed.dump(), {{"IN", "a.mp4"}, {"OUT", "b.mp4"}});
                return false;
            } catch (GraphException const&) {
                return true;
            }
        }();
        EXPECT_TRUE(byReader) << pointer;
        return !validator.Accepts(changed);
    };
    EXPECT_TRUE(refuses("/version", 2));
    EXPECT_TRUE(refuses("/source", 2));
    EXPECT_TRUE(refuses("/sources", Json::array()));
    EXPECT_TRUE(refuses("/sources/0/stream", "vidoe"));
    EXPECT_TRUE(refuses("/sources/0/packets", 2));
    EXPECT_TRUE(refuses("/sources/0/id", 1.5));
    EXPECT_TRUE(refuses("/filters/0/class", "SettingsFilterLop"));
    EXPECT_TRUE(refuses("/filters/0/class", "FilterCutController"));
    EXPECT_TRUE(refuses("/filters/0/implementation", "FFmpeg"));
    EXPECT_TRUE(refuses("/filters/0/inputs", Json::array()));
    EXPECT_TRUE(refuses("/filters/0/settings", Json::object()));
    EXPECT_TRUE(refuses("/filters/0/settings/Duration", 0));
    EXPECT_TRUE(refuses("/filters/0/settings/Duration", "5s"));
    EXPECT_TRUE(refuses("/filters/0/settings/Length", 5));
    EXPECT_TRUE(refuses("/output", "file.mp4"));
    EXPECT_TRUE(refuses("/output/streams", Json::array()));
    EXPECT_TRUE(refuses("/output/streams/0/quality", 64));
    EXPECT_TRUE(refuses("/filters", Json::array({{{"id", 3}, {"class", "SettingsAudioGenerator"}, {"inputs", {1}}}})));
}

}  // namespace
}  // namespace Tarsel::Host
