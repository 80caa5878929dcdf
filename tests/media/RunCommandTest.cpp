// What a person types at `tarsel run`, and what the program answers.
#include <signal.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "host/media/SampleClip.h"
#include "tests/support/GraphClips.h"
#include "tests/support/PictureNumbers.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        Host::WriteSampleClip(folder / "clip.mp4", SmallClip(4), true);
        return folder / "clip.mp4";
    }();
    return path;
}

void WriteText(std::string const& path, std::string const& text) {
    std::ofstream(path) << text;
}

/// Runs the graph above for one and a half seconds of the clip.
ProgramResult RunTrim(ScratchFolder const& folder, std::vector<std::string> const& options,
                      std::string const& input = Clip()) {
    WriteText(folder / "trim.json", TRIM_GRAPH);
    std::vector<std::string> arguments{"run",   folder / "trim.json", "--set", "IN=" + input,
                                       "--set", "LENGTH=1500000",     "--set", "OUT=" + folder / "out.mp4"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTarsel(arguments);
}

TEST(RunUsage, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] :
         std::vector<Mistake>{{{"run"}, "graph"},
                              {{"run", "a.json", "--schema"}, "--schema"},
                              {{"run", "a.json", "--set", "NAME"}, "\"NAME\" is not NAME=VALUE"},
                              {{"run", "a.json", "--set", "=x"}, "\"=x\" is not NAME=VALUE"},
                              {{"run", "a.json", "--set", "A=1", "--set", "A=2"}, "A is given twice"},
                              {{"run", "a.json", "--graph", "svg"}, "--graph"},
                              {{"run", "a.json", "--seek", "soon"}, "\"soon\" is not a time of up to thirty days"},
                              {{"run", "a.json", "--seek", "-1"}, "\"-1\" is not a time of up to thirty days"},
                              {{"run", "a.json", "b.json"}, "b.json"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
}

TEST(RunUsage, HelpShowsAnExample) {
    auto const result = RunTarsel({"run", "--help"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.output, HasSubstr("tarsel run "));
}

TEST(RunUsage, SchemaIsJson) {
    auto const result = RunTarsel({"run", "--schema"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_TRUE(ParseOutput(result).contains("$schema"));
}

TEST(RunResult, IsExactToThePictureAndTheSample) {
    ScratchFolder const folder;
    auto const result = RunTrim(folder, {});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, IsEmpty());
    auto const numbers = PictureNumbers(folder / "out.mp4");
    // The picture that straddles the end is cut, not left out.
    ASSERT_EQ(38U, numbers.size());
    EXPECT_EQ(0, numbers.front());
    EXPECT_EQ(37, numbers.back());
    Messages messages;
    auto const sound = DecodeSound(folder / "out.mp4", 1, messages);
    EXPECT_NEAR(1.5 * 48000, double(sound.samples.size()) / sound.channels, 1024);
    EXPECT_THAT(folder.List(), ElementsAre("out.mp4", "trim.json"));
}

TEST(RunResult, JsonTellsNodesStreamsAndOnRequestStatistics) {
    ScratchFolder const folder;
    auto const report = ParseOutput(RunTrim(folder, {"--json", "--stats"}));
    EXPECT_EQ(4U, report.at("nodes").size());
    EXPECT_EQ("SettingsFilterDurationTrimmer", report.at("nodes")[2].at("class"));
    EXPECT_EQ(1500000, report.at("nodes")[2].at("duration_us"));
    EXPECT_EQ(38, report.at("streams")[0].at("items"));
    EXPECT_THAT(report.at("streams")[0].at("statistics").dump(),
                HasSubstr("Tarsel::Proc::FilterDurationTrimmerVideo::GetStatistic"));
    auto const plain = ParseOutput(RunTrim(folder, {"--json", "--force"}));
    EXPECT_FALSE(plain.at("streams")[0].contains("statistics"));
}

TEST(RunResult, StatsTellTheTimeOfEachNode) {
    ScratchFolder const folder;
    auto const result = RunTrim(folder, {"--stats", "--dry-run"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("node 3 SettingsFilterDurationTrimmer (video, 00:01.500): 38 items"),
                                     HasSubstr("statistics of node 3"), HasSubstr("of its own")));
}

TEST(RunResult, ADryRunWritesNothing) {
    ScratchFolder const folder;
    EXPECT_EQ(0, RunTrim(folder, {"--dry-run"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RunResult, SeeksTellWhereTheStreamsStand) {
    std::vector<std::string> const run{"run", TARSEL_EXAMPLES "/cache.json", "--set", "IN=" + Clip(), "--seek", "1.01"};
    auto const with = [&](std::vector<std::string> const& more) {
        auto arguments = run;
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTarsel(arguments);
    };
    auto const report = ParseOutput(with({"--seek", "500ms", "--json"}));
    ASSERT_EQ(2U, report.at("seeks").size());
    EXPECT_EQ(1010000, report.at("seeks")[0].at("requested_us"));
    EXPECT_EQ(1000000, report.at("seeks")[0].at("real_us")[0]);
    EXPECT_EQ(480000, report.at("seeks")[1].at("real_us")[0]);
    EXPECT_EQ(480000, report.at("streams")[0].at("begin_us"));
    EXPECT_THAT(with({"--stats"}).output, AllOf(HasSubstr("sought 00:01.010: node 11 at 00:01.000, node 12 at "),
                                                HasSubstr("statistics of node 11")));
}

TEST(RunUsage, ARunThatWritesDoesNotSeek) {
    ScratchFolder const folder;
    auto const result = RunTrim(folder, {"--seek", "1"});
    EXPECT_EQ(2, result.exitCode);
    EXPECT_EQ("tarsel: --seek: what is written begins at its start; add --dry-run\n", result.errors);
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RunResult, ADrawingIsPrintedAndNothingWritten) {
    ScratchFolder const folder;
    auto const result = RunTrim(folder, {"--graph", "dot"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, AllOf(StartsWith("digraph tarsel {"), HasSubstr("n1 -> n3;")));
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RunResult, AFileThatStandsThereIsReplacedByForceOnly) {
    ScratchFolder const folder;
    WriteText(folder / "out.mp4", "mine");
    auto const refused = RunTrim(folder, {});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ("mine", ReadWholeFile(folder / "out.mp4"));
    EXPECT_EQ(0, RunTrim(folder, {"--force"}).exitCode);
    EXPECT_EQ(38U, PictureNumbers(folder / "out.mp4").size());
}

TEST(RunErrors, NameFileNodeAndPlaceAndLeaveNothing) {
    ScratchFolder const folder;
    struct Row {
        std::string find;
        std::string put;
        std::string message;
    };
    for (auto const& [find, put, message] :
         std::vector<Row>{{"\"${IN}\", \"stream\": \"video\"", "\"/nowhere.mp4\", \"stream\": \"video\"",
                           "node 1: /sources/0/file: /nowhere.mp4: "},
                          {"\"stream\": \"video\"", "\"stream\": \"video:3\"",
                           "node 1: /sources/0/stream: " + Clip() + ": there is no video stream number 3"},
                          {"\"inputs\": [1]", "\"inputs\": [9]", "node 3: /filters/0/inputs/0"},
                          {"SettingsFilterDurationTrimmer", "SettingsFilterNothing", "node 3: /filters/0/class"},
                          {"\"version\"", "\"verzion\"", "verzion"}}) {
        std::string text = TRIM_GRAPH;
        text.replace(text.find(find), find.size(), put);
        WriteText(folder / "bad.json", text);
        auto const result = RunTarsel({"run", folder / "bad.json", "--set", "IN=" + Clip(), "--set", "LENGTH=1500000",
                                       "--set", "OUT=" + folder / "out.mp4"});
        EXPECT_EQ(1, result.exitCode) << put;
        EXPECT_THAT(result.errors, StartsWith("tarsel: " + folder / "bad.json: ")) << put;
        EXPECT_THAT(result.errors, HasSubstr(message)) << put;
        EXPECT_EQ(1, std::count(result.errors.begin(), result.errors.end(), '\n')) << result.errors;
        EXPECT_THAT(folder.List(), ElementsAre("bad.json")) << put;
    }
}

TEST(RunErrors, AMissingGraphFileIsNamed) {
    auto const result = RunTarsel({"run", "/nowhere/graph.json"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("/nowhere/graph.json: "));
}

TEST(RunErrors, ATruncatedFileGivesWhatIsThereOrAClearFailure) {
    ScratchFolder const folder;
    std::string const whole = ReadWholeFile(Clip());
    WriteText(folder / "half.mp4", "");
    std::ofstream(folder / "half.mp4", std::ios::binary) << whole.substr(0, whole.size() / 2);
    auto const result = RunTrim(folder, {}, folder / "half.mp4");
    // The table of an MP4 stands at its end: half a file is none.
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("node 1: /sources/0/file: " + folder / "half.mp4"));
    RunFFmpeg({"-i", Clip(), "-c", "copy", folder / "whole.ts"});
    std::string const stream = ReadWholeFile(folder / "whole.ts");
    std::ofstream(folder / "half.ts", std::ios::binary) << stream.substr(0, stream.size() / 2);
    auto const half = RunTrim(folder, {}, folder / "half.ts");
    EXPECT_EQ(0, half.exitCode) << half.errors;
    EXPECT_EQ(38U, PictureNumbers(folder / "out.mp4").size());
}

TEST(RunErrors, AnInterruptedRunLeavesNothing) {
    ScratchFolder const folder;
    std::string text = TRIM_GRAPH;
    WriteText(folder / "long.json", text);
    bool sent = false;
    auto const result = RunProgram({TarselPath(), "run", folder / "long.json", "--set", "IN=" + Clip(), "--set",
                                    "LENGTH=3000000000", "--set", "OUT=" + folder / "out.mp4"},
                                   [&](int pid) {
                                       auto const files = folder.List();
                                       bool const started =
                                           std::any_of(files.begin(), files.end(), [](std::string const& name) {
                                               return name.find("tarsel-part") != std::string::npos;
                                           });
                                       if (started && !sent) {
                                           sent = true;
                                           kill(pid, SIGINT);
                                       }
                                       return !sent;
                                   });
    EXPECT_TRUE(sent);
    EXPECT_EQ(130, result.exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("long.json"));
}

/// The names of `${NAME}` in a graph file.
std::set<std::string> VariablesOf(std::string const& text) {
    std::set<std::string> names;
    for (std::size_t at = text.find("${"); at != std::string::npos; at = text.find("${", at + 2))
        names.insert(text.substr(at + 2, text.find('}', at) - at - 2));
    return names;
}

/// The sample clip with a subtitle.
std::string SubtitledClip() {
    std::string const texts = MakeTextFile("run-example.srt", "1\n00:00:01,000 --> 00:00:03,500\nA line\n");
    static ScratchFolder const folder;
    RunFFmpeg({"-i", Clip(), "-i", texts, "-map", "0", "-map", "1", "-c", "copy", "-c:s", "subrip", folder / "in.mkv"});
    return folder / "in.mkv";
}

TEST(Examples, EveryGraphRunsOnASampleClip) {
    ScratchFolder const folder;
    std::string const clip = SubtitledClip();
    int count = 0;
    for (auto const& entry : fs::directory_iterator(TARSEL_EXAMPLES)) {
        if (entry.path().extension() != ".json") continue;
        ++count;
        std::string const example = entry.path().stem();
        // What the example says of its target.
        std::string const ending = example == "trim-subtitle" ? ".mkv" : example == "framing" ? ".ts" : ".mp4";
        std::string const output = folder / ("out" + ending);
        std::vector<std::string> arguments{"run", entry.path().string(), "--json", "--force"};
        bool writes = false;
        for (std::string const& name : VariablesOf(ReadWholeFile(entry.path().string()))) {
            writes = writes || name == "OUT";
            arguments.insert(arguments.end(), {"--set", name + "=" + (name == "OUT" ? output : clip)});
        }
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << entry.path() << ": " << result.errors;
        if (result.exitCode != 0) continue;
        Json const report = ParseOutput(result);
        for (Json const& stream : report.at("streams")) EXPECT_GT(stream.at("items"), 0) << entry.path();
        if (writes) {
            EXPECT_FALSE(InspectFile(output).streams.empty()) << entry.path();
        }
    }
    EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace Tarsel::Test
