#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineReader.h"
#include "host/timeline/TimelineWriter.h"
#include "tests/support/SchemaValidator.h"

namespace Tarsel::Host {
namespace {

using Json = nlohmann::json;
using TestSupport::SchemaValidator;

std::string const ROOT = TARSEL_SOURCE_DIR;

std::string ReadText(std::string const& path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << path;
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<std::string> Examples(std::string const& ending) {
    std::vector<std::string> paths;
    for (auto const& entry : std::filesystem::directory_iterator(ROOT + "/examples/timelines"))
        if (entry.path().extension() == ending) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    EXPECT_GE(paths.size(), 2U);
    return paths;
}

TEST(TimelineSchema, IsTheOneThatIsCheckedIn) {
    std::string const path = ROOT + "/docs/timeline.schema.json";
    if (std::getenv("TARSEL_UPDATE_DOCS") != nullptr) std::ofstream(path, std::ios::binary) << WriteTimelineSchema();
    EXPECT_EQ(ReadText(path), WriteTimelineSchema())
        << "run the test program with TARSEL_UPDATE_DOCS=1 and --gtest_filter='TimelineSchema.*'";
}

TEST(TimelineSchema, AcceptsEveryExampleAndWhatIsWrittenOfIt) {
    Json const schema = Json::parse(WriteTimelineSchema());
    SchemaValidator const validator(schema);
    for (std::string const& path : Examples(".json")) {
        EXPECT_TRUE(validator.Accepts(Json::parse(ReadText(path)))) << path;
        Timeline const timeline = ReadTimelineFile(path).timeline;
        EXPECT_TRUE(validator.Accepts(Json::parse(WriteTimeline(timeline)))) << path;
    }
}

TEST(TimelineSchema, RefusesWhatTheReaderRefuses) {
    Json const schema = Json::parse(WriteTimelineSchema());
    SchemaValidator const validator(schema);
    Json const good = Json::parse(ReadText(ROOT + "/examples/timelines/cuts.json"));
    ASSERT_TRUE(validator.Accepts(good));
    auto const changed = [&](char const* pointer, Json const& value) {
        Json bad = good;
        bad[Json::json_pointer(pointer)] = value;
        EXPECT_THROW(ReadTimelineText(bad.dump(), TimelineForm::Own), GraphException) << pointer;
        return validator.Accepts(bad);
    };
    EXPECT_FALSE(changed("/format", "graph"));
    EXPECT_FALSE(changed("/version", 2));
    EXPECT_FALSE(changed("/more", 1));
    EXPECT_FALSE(changed("/frameRate", -1));
    EXPECT_FALSE(changed("/size/width", 0));
    EXPECT_FALSE(changed("/sound/SampleRate", 0));
    EXPECT_FALSE(changed("/tracks", Json::array()));
    EXPECT_FALSE(changed("/tracks/0/kind", "text"));
    EXPECT_FALSE(changed("/tracks/0/items/0/type", "still"));
    EXPECT_FALSE(changed("/tracks/0/items/0/volume", 1));
    EXPECT_FALSE(changed("/tracks/0/items/0/speed", 0));
    EXPECT_FALSE(changed("/tracks/0/items/0/opacity", 2));
    EXPECT_FALSE(changed("/tracks/0/items/0/stream", "audio"));
    EXPECT_FALSE(changed("/tracks/0/items/0/in", "5"));
    EXPECT_FALSE(changed("/tracks/0/items/1/duration", "5x"));
    EXPECT_FALSE(changed("/tracks/0/items/2/file", ""));
}

TEST(TimelineExamples, AreReadWithoutWarningsAndComeBackFromTheirWriting) {
    for (char const* const ending : {".json", ".otio"}) {
        for (std::string const& path : Examples(ending)) {
            ReadTimelineResult const result = ReadTimelineFile(path);
            EXPECT_TRUE(result.warnings.empty()) << path << ": " << result.warnings.front().text;
            EXPECT_FALSE(result.timeline.name.empty()) << path;
            Timeline const again = ReadTimelineText(WriteTimeline(result.timeline), TimelineForm::Own).timeline;
            EXPECT_EQ(WriteTimeline(again), WriteTimeline(result.timeline)) << path;
        }
    }
}

TEST(TimelineExamples, TheOneOfTheDocumentationLiesAsItsDrawingSays) {
    std::string const page = ReadText(ROOT + "/docs/timelines.md");
    std::size_t const mark = page.find("```json\n");
    ASSERT_NE(mark, std::string::npos);
    std::string const text = page.substr(mark + 8, page.find("```\n", mark + 8) - mark - 8);
    Json const schema = Json::parse(WriteTimelineSchema());
    EXPECT_TRUE(SchemaValidator(schema).Accepts(Json::parse(text)));
    Timeline const timeline = ReadTimelineText(text, TimelineForm::Own).timeline;
    EXPECT_EQ(timeline.duration, 10000000);
    auto const& clips = timeline.tracks.at(0).clips;
    ASSERT_EQ(clips.size(), 3U);
    EXPECT_EQ(clips[0].end, 4000000);
    EXPECT_EQ(clips[1].sourceBegin, 1000000);
    EXPECT_EQ(clips[1].sourceDuration, 6000000);
    EXPECT_EQ(clips[2].begin, 8000000);
    EXPECT_EQ(clips[2].end, 10000000);
    auto const& transition = timeline.tracks[0].transitions.at(0);
    EXPECT_EQ(transition.before, 400000);
    EXPECT_EQ(transition.after, 400000);
    EXPECT_EQ(timeline.tracks.at(1).clips.at(0).end, 10000000);
}

}  // namespace
}  // namespace Tarsel::Host
