#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphSchema.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/SettingsCatalog.h"
#include "tests/support/SchemaValidator.h"

namespace Tarsel::Host {
namespace {

using Json = nlohmann::json;
using ::testing::IsEmpty;
using TestSupport::SchemaValidator;

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
    SchemaValidator const validator(schema);
    for (std::string const& name : Examples()) {
        std::string const text = ReadText(FOLDER + "/" + name);
        EXPECT_TRUE(validator.Accepts(Json::parse(text))) << name;
        EXPECT_TRUE(validator.Accepts(Json::parse(WriteGraph(ParseGraph(text, VariablesOf(text)))))) << name;
    }
}

TEST(Examples, TheSchemaRefusesWhatTheReaderRefuses) {
    Json const schema = Json::parse(GraphSchema());
    SchemaValidator const validator(schema);
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
