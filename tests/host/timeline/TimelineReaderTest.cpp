#include "host/timeline/TimelineReader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using TestSupport::MessageOf;

constexpr char OWN[] = R"({"format": "tarsel timeline", "version": 1,
    "tracks": [{"kind": "video", "items": [{"type": "clip", "file": "a%20b.mp4", "duration": "1s"}]}]})";
constexpr char OTIO[] = R"({"OTIO_SCHEMA": "Track.1", "kind": "Video", "name": "V", "children": [
    {"OTIO_SCHEMA": "Clip.1", "media_reference": {"OTIO_SCHEMA": "ExternalReference.1", "target_url": "a%20b.mp4"},
     "source_range": {"OTIO_SCHEMA": "TimeRange.1",
        "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 25, "value": 0},
        "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 25, "value": 25}}}]})";

/// A folder that goes with the test.
class TimelineReader : public testing::Test {
  protected:
    TimelineReader() {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    ~TimelineReader() override { std::filesystem::remove_all(folder); }

    std::string Write(std::string const& name, std::string const& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
    static std::string FileOf(std::string const& path) {
        return ReadTimelineFile(path).timeline.tracks.at(0).clips.at(0).file;
    }

    std::filesystem::path const folder =
        std::filesystem::temp_directory_path() / ("tarsel-timeline-" + std::to_string(getpid()));
};

TEST_F(TimelineReader, TheEndingOrTheTextTellsTheForm) {
    EXPECT_EQ(FileOf(Write("a.json", OWN)), folder / "a%20b.mp4");
    EXPECT_EQ(FileOf(Write("a.otio", OTIO)), folder / "a b.mp4");
    EXPECT_EQ(FileOf(Write("b.json", OTIO)), folder / "a b.mp4");
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadTimelineFile(Write("c.otio", OWN)); }),
              (folder / "c.otio").string() + ": the key \"OTIO_SCHEMA\" is missing");
}

TEST_F(TimelineReader, AnErrorNamesTheFile) {
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadTimelineFile(Write("a.json", "{}")); }),
              (folder / "a.json").string() + ": the key \"format\" is missing");
    EXPECT_EQ(
        MessageOf<GraphException>([&] { ReadTimelineFile(Write("a.json", "{")); }),
        (folder / "a.json").string() +
            ": line 1, column 2: syntax error while parsing object key - unexpected end of input; expected string "
            "literal");
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadTimelineFile(Write("a.json", std::string(33554433, ' '))); }),
              (folder / "a.json").string() + ": the timeline is larger than 33554432 bytes");
}

TEST_F(TimelineReader, AFileThatCantBeReadIsAFailureOfInput) {
    std::string const missing = folder / "missing.json";
    EXPECT_EQ(MessageOf<Core::IOException>([&] { ReadTimelineFile(missing); }),
              missing + ": No such file or directory");
    EXPECT_EQ(MessageOf<Core::IOException>([&] { ReadTimelineFile(folder); }), folder.string() + ": Is a directory");
}

}  // namespace
}  // namespace Tarsel::Host
