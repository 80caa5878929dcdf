// What a person types at `tarsel record`, and what the program answers.
#include <signal.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "contracts/Proc/GraphCRCData.h"
#include "host/media/SampleClip.h"
#include "tests/support/GraphClips.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        Host::WriteSampleClip(folder / "clip.mp4", SmallClip(2), true);
        return folder / "clip.mp4";
    }();
    return path;
}

void WriteText(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// Records the graph above over one second of the clip.
ProgramResult RecordTrim(ScratchFolder const& folder, std::vector<std::string> const& options,
                         std::string const& text = TRIM_GRAPH, std::string const& length = "1000000") {
    WriteText(folder / "trim.json", text);
    std::vector<std::string> arguments{"record", folder / "trim.json", "--set", "IN=" + Clip(),
                                       "--set",  "LENGTH=" + length,   "--set", "OUT=" + folder / "out.mp4",
                                       "-o",     folder / "run.json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTarsel(arguments);
}

Proc::GraphCRCData Load(std::string const& path) {
    Proc::GraphCRCData data;
    data.LoadFromFile(path);
    return data;
}

TEST(RecordUsage, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] : std::vector<Mistake>{
             {{"record"}, "input"},
             {{"record", "a.json"}, "--output"},
             {{"record", "a.json", "-o", ""}, "--output"},
             {{"record", "a.json", "-o", "r.json", "--set", "NAME"}, "\"NAME\" is not NAME=VALUE"},
             {{"record", "a.json", "-o", "r.json", "--set", "A=1", "--set", "A=2"}, "A is given twice"},
             {{"record", "a.json", "-o", "r.json", "--nodes", "1,two"}, "\"two\" is not the id of a node"},
             {{"record", "a.json", "-o", "r.json", "--nodes", "1,,2"}, "--nodes"},
             {{"record", "a.json", "-o", "r.json", "--threads", "0"}, "\"0\" is not a whole number from 1 to 64"},
             {{"record", "a.json", "-o", "r.json", "--threads", "65"}, "\"65\" is not a whole number from 1 to 64"},
             {{"record", "a.json", "-o", "r.json", "--seek", "soon"}, "\"soon\" is not a time of up to thirty days"},
             {{"record", "a.json", "-o", "r.json", "--framemd5", "h", "--seek", "1"}, "can't be used with --seek"},
             {{"record", "a.json", "-o", "r.json", "--framemd5", "./r.json"}, "./r.json is the output itself"},
             {{"record", "a.json", "b.json", "-o", "r.json"}, "b.json"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
}

TEST(RecordUsage, HelpShowsAnExampleAndThatNothingOfAnOutputIsWritten) {
    auto const result = RunTarsel({"record", "--help"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.output, HasSubstr("tarsel record "));
    EXPECT_THAT(result.output, HasSubstr("The output of a graph is read and not written."));
}

TEST(RecordUsage, WhatDoesNotGoWithTheInputExitsWithTwo) {
    ScratchFolder const folder;
    auto const decoded = RecordTrim(folder, {"--decoded"});
    EXPECT_EQ(2, decoded.exitCode);
    EXPECT_EQ("tarsel: --decoded: " + folder / "trim.json" + " is a graph, whose sources say what is decoded\n",
              decoded.errors);
    auto const nodes = RecordTrim(folder, {"--nodes", "3,9"});
    EXPECT_EQ(2, nodes.exitCode);
    EXPECT_EQ("tarsel: --nodes: " + folder / "trim.json" + ": node 9: isn't in the graph\n", nodes.errors);
    auto const set = RunTarsel({"record", Clip(), "-o", folder / "run.json", "--set", "A=1"});
    EXPECT_EQ(2, set.exitCode);
    EXPECT_EQ("tarsel: --set: " + Clip() + " is not a graph, and has no names to fill in\n", set.errors);
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RecordResult, HoldsEachNodeOfAGraphAndWritesNothingOfItsOutput) {
    ScratchFolder const folder;
    auto const result = RecordTrim(folder, {});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_THAT(folder.List(), ElementsAre("run.json", "trim.json"));
    Proc::GraphCRCData const data = Load(folder / "run.json");
    EXPECT_EQ(4U, data.GetFilterCount());
    EXPECT_EQ(25U, data.GetFilterCRCInfoList().at(3).GetPacketCRCInfoList().size());
    EXPECT_EQ(folder / "trim.json", data.GetSourceGraphFileName().utf8string());
    EXPECT_EQ(Clip(), data.GetSourceMediaFileName().utf8string());
    EXPECT_THAT(result.output, StartsWith(folder / "run.json" + ": " + std::to_string(data.GetPacketCount()) +
                                          " items of 4 nodes\nnode 1 source (video): "));
    EXPECT_THAT(result.output, HasSubstr("node 3 SettingsFilterDurationTrimmer (video): 25 items\n"));
}

TEST(RecordResult, OfTwoRunsIsTheSameFile) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RecordTrim(folder, {"--threads", "1"}).exitCode);
    std::string const first = ReadWholeFile(folder / "run.json");
    ASSERT_EQ(0, RecordTrim(folder, {"--threads", "3", "--force"}).exitCode);
    EXPECT_EQ(first, ReadWholeFile(folder / "run.json"));
}

TEST(RecordResult, JsonTellsFilesAndNodes) {
    ScratchFolder const folder;
    auto const report = ParseOutput(RecordTrim(folder, {"--json", "--nodes", "4,3", "--framemd5", folder / "h.txt"}));
    EXPECT_EQ(folder / "run.json", report.at("record"));
    EXPECT_EQ(folder / "trim.json", report.at("graph"));
    EXPECT_EQ(Clip(), report.at("media"));
    EXPECT_EQ(folder / "h.txt", report.at("framemd5"));
    ASSERT_EQ(2U, report.at("nodes").size());
    Json const expected{{"id", 3}, {"class", "SettingsFilterDurationTrimmer"}, {"kind", "video"}, {"items", 25}};
    EXPECT_EQ(expected, report.at("nodes")[0]);
    EXPECT_EQ(4, report.at("nodes")[1].at("id"));
    EXPECT_EQ(25 + report.at("nodes")[1].at("items").get<int>(), report.at("items"));
    EXPECT_THAT(report.at("warnings"), IsEmpty());
    EXPECT_GE(report.at("wall_seconds").get<double>(), 0);
    Json const media = ParseOutput(RunTarsel({"record", Clip(), "-o", folder / "media.json", "--json"}));
    EXPECT_TRUE(media.at("graph").is_null());
    EXPECT_TRUE(media.at("framemd5").is_null());
    EXPECT_EQ(Clip(), media.at("media"));
}

TEST(RecordResult, OfAMediaFileHoldsItsPacketsAndOnRequestItsFrames) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RunTarsel({"record", Clip(), "-o", folder / "run.json"}).exitCode);
    Proc::GraphCRCData const packets = Load(folder / "run.json");
    EXPECT_EQ(2U, packets.GetFilterCount());
    EXPECT_EQ(50U, packets.GetFilterCRCInfoList().at(0).GetPacketCRCInfoList().size());
    ASSERT_EQ(0, RunTarsel({"record", Clip(), "-o", folder / "run.json", "--decoded", "--force"}).exitCode);
    Proc::GraphCRCData const both = Load(folder / "run.json");
    EXPECT_EQ(4U, both.GetFilterCount());
    EXPECT_EQ(50U, both.GetFilterCRCInfoList().at(1000).GetPacketCRCInfoList().size());
    EXPECT_TRUE(packets.GetFilterCRCInfoList().at(0) == both.GetFilterCRCInfoList().at(0));
}

TEST(RecordResult, FrameHashesOfTheFramesAreFFmpegs) {
    ScratchFolder const folder;
    RunFFmpeg({"-i", Clip(), "-map", "0:v", "-c", "copy", folder / "mute.mp4"});
    ASSERT_EQ(0, RunTarsel({"record", folder / "mute.mp4", "-o", folder / "run.json", "--decoded", "--framemd5",
                            folder / "run.framemd5"})
                     .exitCode);
    RunFFmpeg({"-copyts", "-i", folder / "mute.mp4", "-map", "0:v", "-fps_mode", "passthrough", "-flags", "+bitexact",
               "-fflags", "+bitexact", "-f", "framemd5", folder / "ffmpeg.framemd5"});
    EXPECT_EQ(ReadWholeFile(folder / "ffmpeg.framemd5"), ReadWholeFile(folder / "run.framemd5"));
}

TEST(RecordResult, SeeksStandInFrontOfTheWholeRun) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RecordTrim(folder, {"--seek", "500ms", "--seek", "0.2"}).exitCode);
    EXPECT_EQ(27U, Load(folder / "run.json").GetFilterCRCInfoList().at(3).GetPacketCRCInfoList().size());
}

TEST(RecordInput, AGraphIsToldByItsFirstByteBehindMarkAndBlanks) {
    ScratchFolder const folder;
    EXPECT_EQ(0, RecordTrim(folder, {}, "\xEF\xBB\xBF" + std::string("\n  ") + TRIM_GRAPH).exitCode);
    // A broken graph is told of as one.
    auto const broken = RecordTrim(folder, {"--force"}, "{\"version\": }");
    EXPECT_EQ(1, broken.exitCode);
    EXPECT_THAT(broken.errors, StartsWith("tarsel: " + folder / "trim.json: "));
    // Subtitles by frame numbers begin with a brace as well.
    WriteText(folder / "titles.sub", "{1}{1}25.000\n{25}{50}One\n{60}{75}Two\n");
    auto const titles = RunTarsel({"record", folder / "titles.sub", "-o", folder / "titles.json"});
    EXPECT_EQ(0, titles.exitCode) << titles.errors;
    EXPECT_EQ(2U, Load(folder / "titles.json").GetPacketCount());
}

TEST(RecordInput, APipeIsRefusedAndNotWaitedFor) {
    ScratchFolder const folder;
    ASSERT_EQ(0, mkfifo((folder / "pipe").c_str(), 0600));
    auto const result = RunTarsel({"record", folder / "pipe", "-o", folder / "run.json"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("tarsel: " + folder / "pipe" + ": is not a regular file\n", result.errors);
    EXPECT_THAT(folder.List(), ElementsAre("pipe"));
}

TEST(RecordFiles, WhatStandsThereIsReplacedByForceOnly) {
    ScratchFolder const folder;
    WriteText(folder / "run.json", "mine");
    auto const refused = RecordTrim(folder, {});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ("tarsel: " + folder / "run.json: exists already\n", refused.errors);
    EXPECT_EQ("mine", ReadWholeFile(folder / "run.json"));
    WriteText(folder / "h.txt", "mine too");
    fs::remove(folder / "run.json");
    EXPECT_EQ(1, RecordTrim(folder, {"--framemd5", folder / "h.txt"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("h.txt", "trim.json"));
    EXPECT_EQ(0, RecordTrim(folder, {"--framemd5", folder / "h.txt", "--force"}).exitCode);
    EXPECT_THAT(ReadWholeFile(folder / "h.txt"), StartsWith("#format: frame checksums\n"));
}

TEST(RecordFiles, AnInputIsNeverAnOutput) {
    ScratchFolder const folder;
    std::string const clip = folder / "clip.mp4";
    fs::copy_file(Clip(), clip);
    fs::create_hard_link(clip, folder / "link.mp4");
    std::string const whole = ReadWholeFile(clip);
    for (std::string const target : {"clip.mp4", "link.mp4"}) {
        auto const media = RunTarsel({"record", clip, "-o", folder / target, "--force"});
        EXPECT_EQ(1, media.exitCode);
        EXPECT_THAT(media.errors, HasSubstr("is the input " + clip + " itself"));
        WriteText(folder / "graph.json", TRIM_GRAPH);
        for (std::string const option : {"-o", "--framemd5"}) {
            std::vector<std::string> arguments{
                "record", folder / "graph.json", "--set",   "IN=" + clip, "--set",        "LENGTH=1000000",
                "--set",  "OUT=x.mp4",           "--force", option,       folder / target};
            if (option != "-o") arguments.insert(arguments.end(), {"-o", folder / "run.json"});
            auto const graph = RunTarsel(arguments);
            EXPECT_EQ(1, graph.exitCode);
            EXPECT_THAT(graph.errors, HasSubstr("is the input " + clip + " itself"));
        }
    }
    auto const self = RunTarsel({"record", folder / "graph.json", "-o", folder / "graph.json", "--force"});
    EXPECT_EQ(1, self.exitCode);
    EXPECT_EQ(TRIM_GRAPH, ReadWholeFile(folder / "graph.json"));
    EXPECT_EQ(whole, ReadWholeFile(clip));
    EXPECT_THAT(folder.List(), ElementsAre("clip.mp4", "graph.json", "link.mp4"));
}

TEST(RecordFiles, AFolderThatIsMissingIsToldAheadOfTheRun) {
    ScratchFolder const folder;
    auto const result = RunTarsel({"record", "/nowhere/film.mp4", "-o", folder / "sub/run.json"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("sub/run.json: the folder " + folder / "sub" + " doesn't exist"));
    auto const hashes = RecordTrim(folder, {"--framemd5", folder / "sub/h"});
    EXPECT_EQ(1, hashes.exitCode);
    EXPECT_THAT(hashes.errors, HasSubstr("sub/h: the folder"));
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RecordFiles, NamesThatAreNotUtf8AreRefused) {
    ScratchFolder const folder;
    std::string const clip = folder / "caf\xE9.mp4";
    fs::copy_file(Clip(), clip);
    auto const result = RunTarsel({"record", clip, "-o", folder / "run.json", "--framemd5", folder / "h"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(": its name isn't UTF-8, and a record can't hold another"));
    EXPECT_THAT(folder.List(), ElementsAre("caf\xE9.mp4"));
}

TEST(RecordFiles, AFailingRunLeavesNeitherRecordNorHashes) {
    ScratchFolder const folder;
    std::string text = TRIM_GRAPH;
    std::string const input = "\"${IN}\"";
    text.replace(text.find(input), input.size(), "\"/nowhere.mp4\"");
    auto const result = RecordTrim(folder, {"--framemd5", folder / "h"}, text);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(folder / "trim.json: node 1: /sources/0/file: /nowhere.mp4: "));
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
    // Titles alone have no frame hashes.
    WriteText(folder / "one.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    auto const titles =
        RunTarsel({"record", folder / "one.srt", "-o", folder / "run.json", "--decoded", "--framemd5", folder / "h"});
    EXPECT_EQ(1, titles.exitCode);
    EXPECT_EQ("tarsel: there is no stream that has frame hashes\n", titles.errors);
    EXPECT_THAT(folder.List(), ElementsAre("one.srt", "trim.json"));
}

TEST(RecordFiles, AnInterruptedRunLeavesNothing) {
    ScratchFolder const folder;
    WriteText(folder / "trim.json", TRIM_GRAPH);
    bool sent = false;
    auto const result =
        RunProgram({TarselPath(), "record", folder / "trim.json", "--set", "IN=" + Clip(), "--set", "LENGTH=3000000000",
                    "--set", "OUT=x.mp4", "-o", folder / "run.json", "--framemd5", folder / "h"},
                   [&](int pid) {
                       auto const files = folder.List();
                       auto const parts = std::count_if(files.begin(), files.end(), [](std::string const& name) {
                           return name.find("tarsel-part") != std::string::npos;
                       });
                       if (parts == 2 && !sent) {
                           sent = true;
                           kill(pid, SIGINT);
                       }
                       return !sent;
                   });
    EXPECT_TRUE(sent);
    EXPECT_EQ(130, result.exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("trim.json"));
}

TEST(RecordWarnings, AreToldAndUnderStrictAnswered) {
    ScratchFolder const folder;
    std::string const titles = MakeTextFile("record-warn.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    RunFFmpeg({"-i", Clip(), "-i", titles, "-map", "0:v", "-map", "1", "-c", "copy", folder / "in.mkv"});
    auto const result = RunTarsel(
        {"record", folder / "in.mkv", "-o", folder / "run.json", "--decoded", "--strict", "--framemd5", folder / "h"});
    EXPECT_EQ(3, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("warning: node 1001: decoded subtitles have no place among frame hashes"));
    EXPECT_THAT(folder.List(), ElementsAre("h", "in.mkv", "run.json"));
}

TEST(RecordWarnings, TellOfDamageAndWhatRepeatsIt) {
    ScratchFolder const folder;
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc=s=160x90:r=25:d=2", "-c:v", "mpeg4", "-g", "10", folder / "in.avi"});
    {
        std::fstream file(folder / "in.avi", std::ios::binary | std::ios::in | std::ios::out);
        for (int place = 20000; place < 40000; place += 997) file.seekp(place).put('\x5A');
    }
    auto const record = [&](std::vector<std::string> const& options) {
        std::vector<std::string> arguments{"record",    folder / "in.avi", "-o", folder / "run.json",
                                           "--decoded", "--force"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunTarsel(arguments);
    };
    auto const many = record({"--strict"});
    EXPECT_EQ(3, many.exitCode);
    EXPECT_THAT(many.errors, HasSubstr("warning: node 1000: decoders told of "));
    EXPECT_THAT(many.errors, HasSubstr("may come out otherwise in another run, unless --threads is 1\n"));
    auto const one = record({"--threads", "1"});
    EXPECT_EQ(0, one.exitCode);
    EXPECT_THAT(one.errors, HasSubstr("warning: node 1000: decoders told of "));
    EXPECT_EQ(std::string::npos, one.errors.find("--threads"));
    Proc::GraphCRCData const first = Load(folder / "run.json");
    record({"--threads", "1"});
    EXPECT_EQ(first, Load(folder / "run.json"));
}

}  // namespace
}  // namespace Tarsel::Test
