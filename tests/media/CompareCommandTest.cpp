// What a person types at `tarsel compare`, and what the program answers.
#include <gmock/gmock.h>

#include <fstream>

#include "contracts/Core/Time.h"
#include "tests/support/RecordedItems.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class CompareCommand : public ::testing::Test {
  protected:
    ScratchFolder const folder;

    std::string Save(std::string const& name, std::map<int64, RecordedItems> const& nodes) {
        MakeRecord(nodes).SaveToFile(folder / name);
        return folder / name;
    }
    std::string Write(std::string const& name, std::string const& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
};

TEST_F(CompareCommand, EqualRecordsExitWithZero) {
    std::string const record = Save("run.json", {{1, Scene("abc")}, {2, Scene("SSSS")}});
    std::string const again = Save("again.json", {{1, Scene("abc")}, {2, Scene("SSSS")}});
    for (std::string const& second : {again, record}) {
        auto const result = RunTarsel({"compare", record, second});
        EXPECT_EQ(0, result.exitCode);
        EXPECT_EQ("equal: 2 nodes, 7 items\n", result.output);
        EXPECT_EQ("", result.errors);
    }
}

TEST_F(CompareCommand, DifferentRecordsExitWithFour) {
    std::string const first = Save("first.json", {{1, Scene("abc")}, {2, Scene("SSSS")}});
    std::string const second = Save("second.json", {{1, Scene("abc")}, {2, Scene("SSS")}});
    auto const result = RunTarsel({"compare", first, second});
    EXPECT_EQ(4, result.exitCode);
    EXPECT_EQ(
        "different: 1 of 2 nodes\n"
        "node 2: 4 and 3 items: 1 missing; first difference at item 3 (0.000030 s)\n"
        "  missing: item 3 (0.000030 s, S)\n",
        result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(CompareCommand, PrintsExactlyThePromisedJson) {
    std::string const first = Save("first.json", {{1, Scene("abcdef")}, {4, Scene("a")}});
    std::string const second = Save("second.json", {{1, Scene("abcdef")}, {4, {{"a", 5}}}});
    auto const result = RunTarsel({"compare", "--json", first, second});
    EXPECT_EQ(4, result.exitCode);
    EXPECT_EQ(Json::parse(R"({"equal": false, "nodes": [
                  {"id": 1, "equal": true, "missing": 0, "extra": 0, "moved": 0, "first_difference": null},
                  {"id": 4, "equal": false, "missing": 0, "extra": 0, "moved": 1,
                   "first_difference": {"index": 0, "time_us": 0}}]})"),
              ParseOutput(result));
    auto const equal = RunTarsel({"compare", first, first, "--json"});
    EXPECT_EQ(0, equal.exitCode);
    EXPECT_EQ(true, ParseOutput(equal)["equal"]);
}

TEST_F(CompareCommand, AllDifferencesAreShownOnRequest) {
    std::string const first = Save("first.json", {{1, Scene("abcdefgh")}});
    std::string const second = Save("second.json", {{1, Scene("abcdefgh", 3)}});
    EXPECT_THAT(RunTarsel({"compare", first, second}).output, HasSubstr("  and 3 more differences (--all shows them)"));
    auto const all = RunTarsel({"compare", first, second, "--all"});
    EXPECT_EQ(4, all.exitCode);
    EXPECT_THAT(all.output, HasSubstr("moved: item 7 (0.000070 s, h) to 0.000073 s, item 7 of the second\n"));
    EXPECT_THAT(all.output, Not(HasSubstr("more differences")));
}

TEST_F(CompareCommand, TheHelpTellsHowManyDifferencesAreShownWithoutAll) {
    auto const help = RunTarsel({"compare", "--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_THAT(help.output, HasSubstr("first five"));
}

TEST_F(CompareCommand, RecordsOfNothingAreEqual) {
    std::string const empty = Save("empty.json", {});
    EXPECT_EQ(0, RunTarsel({"compare", empty, empty}).exitCode);
    auto const result = RunTarsel({"compare", empty, Save("run.json", {{1, Scene("ab")}})});
    EXPECT_EQ(4, result.exitCode);
    EXPECT_THAT(result.output, HasSubstr("node 1: 0 and 2 items: 2 extra; first difference at item 0 of the second"));
}

TEST_F(CompareCommand, BrokenFilesExitWithOneAndAreNamedWithWhatIsWrong) {
    std::string const good = Save("good.json", {{1, Scene("ab")}});
    struct Broken {
        std::string path;
        std::string what;
    };
    for (auto const& [path, what] : std::vector<Broken>{
             {folder / "nowhere.json", "cannot open file: No such file or directory"},
             {folder.GetPath(), "cannot read file: Is a directory"},
             {Write("empty.json", ""), "line 1: expected value"},
             {Write("cut.json", "{\n  \"GraphCRCInfo\": {\n"), "line 3: expected key string"},
             {Write("deep.json", std::string(1000000, '[')), "nested deeper than 256 levels"},
             {Write("other.json", "{\"version\": 1}"), "no record of a run: the key GraphCRCInfo is missing"},
             {Write("count.json", R"({"GraphCRCInfo": {"PacketCount": "-1"}})"),
              "no record of a run: GraphCRCInfo.PacketCount: \"-1\" is out of range"}}) {
        for (auto const& files : {std::pair(path, good), std::pair(good, path)}) {
            auto const result = RunTarsel({"compare", files.first, files.second});
            EXPECT_EQ(1, result.exitCode) << path;
            EXPECT_EQ("tarsel: " + path + ": " + what + "\n", result.errors);
            EXPECT_EQ("", result.output);
        }
    }
}

TEST_F(CompareCommand, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] :
         std::vector<Mistake>{{{"compare"}, "first"},
                              {{"compare", "a.json"}, "second"},
                              {{"compare", "a.json", "b.json", "c.json"}, "c.json"},
                              {{"compare", "", "b.json"}, "a value is needed"},
                              {{"compare", "a.json", "b.json", "--json", "--all"}, "--all"},
                              {{"compare", "a.json", "b.json", "--strict"}, "--strict"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
}

TEST_F(CompareCommand, HelpTellsTheExitCodesAndAnExample) {
    auto const help = RunTarsel({"compare", "--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_THAT(help.output, HasSubstr("0 when they are"));
    EXPECT_THAT(help.output, HasSubstr("4 when they differ"));
    EXPECT_THAT(help.output, HasSubstr("tarsel compare before.json after.json"));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("compare"));
}

}  // namespace
}  // namespace Tarsel::Test
