// What a person types at `tarsel cut`, and what the program answers: times, ranges, exit codes, messages.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "contracts/Core/Time.h"
#include "tests/support/CutLists.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string Clip() {
    return FamilyClip("h264-silent.mp4");
}

/// A plan with these arguments behind the input.
ProgramResult Plan(std::vector<std::string> const& options) {
    std::vector<std::string> arguments{"cut", Clip(), "--plan", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTarsel(arguments);
}

ProgramResult CutInto(std::string const& output, std::vector<std::string> const& options) {
    std::vector<std::string> arguments{"cut", Clip(), "-o", output};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTarsel(arguments);
}

TEST(TimeSyntax, EveryFormOfTheSameTimesIsTheSameCut) {
    for (char const* range :
         {"2-4", "2.0-4.000", "02-04", "2s-4s", "2.000s-4.0s", "2000ms-4000ms", "2000.000ms-4s", "2000000us-4000000us",
          "0:02-0:04", "00:02.000-00:04.000000", "0:00:02-0:00:04", "00:00:02.0-00:00:04", "2-4s", "00:00:02-4000ms"}) {
        auto const result = Plan({"--remove", range});
        ASSERT_EQ(0, result.exitCode) << range << ": " << result.errors;
        EXPECT_EQ(Json::parse("[[2000000, 4000000]]"), ParseOutput(result).at("removed_us")) << range;
    }
}

TEST(TimeSyntax, RandomTimesInEveryFormMeanTheSame) {
    for (unsigned form = 0; form < 6; form++) {
        auto const result = Plan({"--remove", TimeText(1234567, form) + "-" + TimeText(5678901, form)});
        ASSERT_EQ(0, result.exitCode) << form << ": " << result.errors;
        EXPECT_EQ(Json::parse("[[1240000, 5680000]]"), ParseOutput(result).at("removed_us")) << form;
    }
}

TEST(TimeSyntax, SidesMayBeNamedOrLeftOut) {
    for (char const* option : {"--remove=-2", "--remove=start-2", "--remove=0-2"})
        EXPECT_EQ(Json::parse("[[0, 2000000]]"), ParseOutput(Plan({option})).at("removed_us")) << option;
    for (char const* option : {"--remove=6-", "--remove=6-end", "--remove=6-8"})
        EXPECT_EQ(Json::parse("[[6000000, 8000000]]"), ParseOutput(Plan({option})).at("removed_us")) << option;
    EXPECT_EQ(Json::array(), ParseOutput(Plan({"--keep=-"})).at("removed_us"));
    EXPECT_EQ(Json::array(), ParseOutput(Plan({"--keep=start-end"})).at("removed_us"));
}

TEST(TimeSyntax, ALeftOutStartNeedsNoEqualsSign) {
    auto const result = Plan({"--remove", "-2"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(Json::parse("[[0, 2000000]]"), ParseOutput(result).at("removed_us"));
}

TEST(TimeSyntax, WhatIsNoTimeIsAnErrorOfUsage) {
    for (char const* range :
         {"abc",  "1",     "",          "1-abc",  "abc-2", "1..5-2", "1,5-2",     "1h-2h", "1-2-3", "nan-5", "1e0-5",
          "inf-", "0x1-2", "1:2:3:4-5", "1-2min", "1 2-3", "1-+2",   "end-start", ":-2",   "1:-2",  ".-1"}) {
        auto const result = Plan({std::string("--remove=") + range});
        EXPECT_EQ(2, result.exitCode) << range;
        EXPECT_THAT(result.errors, HasSubstr("--remove")) << range;
        EXPECT_THAT(result.errors, HasSubstr(range)) << range;
        EXPECT_THAT(result.output, IsEmpty()) << range;
    }
}

TEST(TimeSyntax, HugeNumbersDoNotWrap) {
    for (char const* range :
         {"99999999999999999999-", "1-99999999999999999999999999s", "9223372036854775807us-", "0-9999999:00:00"}) {
        auto const result = Plan({"--remove", range});
        EXPECT_THAT(result.exitCode, AnyOf(0, 1, 2)) << range;
        if (result.exitCode != 0)
            EXPECT_THAT(result.errors, Not(IsEmpty())) << range;
        else
            EXPECT_EQ(8000000, ParseOutput(result).at("removed_us").back().back()) << range;
    }
}

TEST(CutUsage, MistakesExitWithTwoAndNameTheOption) {
    std::string const out = "-o/nowhere/out.mp4";
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] :
         std::vector<Mistake>{{{"cut", Clip(), out, "--remove", "3-2"}, "3-2"},
                              {{"cut", Clip(), out, "--remove", "2-2"}, "2-2"},
                              {{"cut", Clip(), out, "--keep", "3-2"}, "--keep"},
                              {{"cut", Clip(), out}, "--remove"},
                              {{"cut", Clip(), out, "--remove", "1-2", "--keep", "3-4"}, "--keep"},
                              {{"cut", Clip(), "--remove", "1-2"}, "-o"},
                              {{"cut", out, "--remove", "1-2"}, "input"},
                              {{"cut", Clip(), out, "--remove", "1-2", "--snap", "side"}, "--snap"},
                              {{"cut", Clip(), out, "--remove", "1-2", "--unknown"}, "--unknown"},
                              {{"cut", Clip(), out, "--remove"}, "--remove"},
                              {{"sew"}, "sew"},
                              {{}, ""}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.errors, Not(IsEmpty())) << CommandText(arguments);
    }
}

TEST(CutRanges, WhollyBeyondTheEndFails) {
    ScratchFolder const folder;
    for (std::vector<std::string> options : {std::vector<std::string>{"--remove", "100-200"},
                                             {"--keep", "100-200"},
                                             {"--remove", "8-9"},
                                             {"--remove", "1-2", "--remove", "100-200"}}) {
        auto const result = CutInto(folder / "out.mp4", options);
        EXPECT_EQ(1, result.exitCode) << CommandText(options);
        EXPECT_THAT(result.errors, HasSubstr("end")) << CommandText(options);
        EXPECT_THAT(folder.List(), IsEmpty()) << CommandText(options);
    }
}

TEST(CutRanges, PartlyBeyondTheEndCutsToItWithAWarning) {
    auto const result = Plan({"--remove", "6-200"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const report = ParseOutput(result);
    EXPECT_EQ(Json::parse("[[6000000, 8000000]]"), report.at("removed_us"));
    EXPECT_THAT(report.at("warnings").dump(), HasSubstr("end"));
    EXPECT_THAT(result.errors, HasSubstr("end"));
}

TEST(CutRanges, NothingLeftFailsWithoutAFile) {
    ScratchFolder const folder;
    for (char const* option :
         {"--remove=start-end", "--remove=-", "--remove=0-8", "--remove=0-100", "--keep=1.001-1.002"}) {
        auto const result = CutInto(folder / "out.mp4", {option});
        EXPECT_EQ(1, result.exitCode) << option;
        EXPECT_THAT(result.errors, HasSubstr("nothing")) << option;
        EXPECT_THAT(folder.List(), IsEmpty()) << option;
    }
}

TEST(CutRanges, EndsMoveToTheNextPictureAndTheWarningsSayWhere) {
    auto const report = ParseOutput(Plan({"--remove", "1.001-2.99"}));
    EXPECT_EQ(Json::parse("[[1040000, 3000000]]"), report.at("removed_us"));
    EXPECT_THAT(report.at("warnings"), Not(IsEmpty()));
    EXPECT_THAT(report.at("warnings").dump(), HasSubstr("1.04"));
}

TEST(CutRanges, OnPicturesNothingIsSaid) {
    EXPECT_EQ(Json::array(), ParseOutput(Plan({"--remove", "1-3"})).at("warnings"));
}

TEST(CutRanges, AnEmptyRangeOnThePictureGridIsDroppedWithANotice) {
    auto const report = ParseOutput(Plan({"--remove", "1.001-1.002"}));
    EXPECT_EQ(Json::array(), report.at("removed_us"));
    EXPECT_THAT(report.at("warnings"), Not(IsEmpty()));
}

TEST(CutRanges, TouchingAndOverlappingOnesAreOne) {
    EXPECT_EQ(Json::parse("[[1000000, 4000000]]"),
              ParseOutput(Plan({"--remove", "1-2", "--remove", "2-4"})).at("removed_us"));
    EXPECT_EQ(Json::parse("[[1000000, 4000000]]"),
              ParseOutput(Plan({"--remove", "2-4", "--remove", "1-3"})).at("removed_us"));
    EXPECT_EQ(Json::parse("[[0, 1000000], [4000000, 8000000]]"),
              ParseOutput(Plan({"--keep", "1-3", "--keep", "2-4"})).at("removed_us"));
}

TEST(CutRanges, SnapDecidesOnWhichSideOfWholeGroupsTheEndsFall) {
    auto const clip = FamilyClip("hevc-closed.mp4");
    auto const plan = [&](std::string const& snap) {
        return ParseOutput(RunTarsel({"cut", clip, "--plan", "--json", "--remove", "1-4", "--snap", snap}));
    };
    EXPECT_EQ(Json::parse("[[1240000, 3720000]]"), plan("less").at("removed_us"));
    EXPECT_EQ(Json::parse("[[0, 4960000]]"), plan("more").at("removed_us"));
    EXPECT_THAT(plan("less").at("warnings"), Not(IsEmpty()));
    EXPECT_THAT(plan("more").at("warnings"), Not(IsEmpty()));
}

TEST(CutExit, StrictMakesWarningsAnExitCode) {
    ScratchFolder const folder;
    EXPECT_EQ(0, CutInto(folder / "a.mp4", {"--remove", "1.001-3"}).exitCode);
    EXPECT_EQ(3, CutInto(folder / "b.mp4", {"--remove", "1.001-3", "--strict"}).exitCode);
    EXPECT_EQ(0, CutInto(folder / "c.mp4", {"--remove", "1-3", "--strict"}).exitCode);
    EXPECT_EQ(3, Plan({"--remove", "1.001-3", "--strict"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("a.mp4", "b.mp4", "c.mp4"));
}

TEST(CutPlan, WritesNothing) {
    ScratchFolder const folder;
    auto const result = CutInto(folder / "out.mp4", {"--remove", "1-3", "--plan"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("h264"), HasSubstr("recode")));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(CutPlan, DrawsAPicture) {
    ScratchFolder const folder;
    auto const result = Plan({"--remove", "1-3", "--svg", folder / "plan.svg"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const svg = ReadWholeFile(folder / "plan.svg");
    EXPECT_THAT(svg, AllOf(HasSubstr("<svg"), HasSubstr("</svg>"), HasSubstr("<rect")));
    EXPECT_THAT(folder.List(), ElementsAre("plan.svg"));
}

TEST(CutOutput, AnExistingFileStaysWithoutForce) {
    ScratchFolder const folder;
    std::ofstream(folder / "out.mp4") << "precious";
    auto const refused = CutInto(folder / "out.mp4", {"--remove", "1-3"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.errors, HasSubstr(folder / "out.mp4"));
    EXPECT_EQ("precious", ReadWholeFile(folder / "out.mp4"));
    EXPECT_EQ(0, CutInto(folder / "out.mp4", {"--remove", "1-3", "--force"}).exitCode);
    EXPECT_NE("precious", ReadWholeFile(folder / "out.mp4"));
    EXPECT_THAT(folder.List(), ElementsAre("out.mp4"));
}

TEST(CutOutput, AFailedCutLeavesTheFileThatStoodThere) {
    ScratchFolder const folder;
    std::ofstream(folder / "out.mp4") << "precious";
    EXPECT_EQ(1, CutInto(folder / "out.mp4", {"--remove", "start-end", "--force"}).exitCode);
    EXPECT_EQ("precious", ReadWholeFile(folder / "out.mp4"));
    EXPECT_THAT(folder.List(), ElementsAre("out.mp4"));
}

TEST(CutOutput, PlacesWhereNoFileCanBeAreNamed) {
    ScratchFolder const folder;
    fs::create_directory(folder / "folder.mp4");
    for (auto const& place : {folder / "missing/out.mp4", folder / "folder.mp4", folder / "out.unknown", folder / "out",
                              std::string("/dev/full")}) {
        auto const result = CutInto(place, {"--remove", "1-3", "--force"});
        EXPECT_EQ(1, result.exitCode) << place;
        EXPECT_THAT(result.errors, HasSubstr(place)) << place;
    }
    EXPECT_THAT(folder.List(), ElementsAre("folder.mp4"));
}

TEST(CutOutput, TheInputUnderAnyNameIsRefused) {
    ScratchFolder const folder;
    fs::copy_file(Clip(), folder / "in.mp4");
    fs::create_symlink("in.mp4", folder / "symlink.mp4");
    fs::create_hard_link(folder / "in.mp4", folder / "hardlink.mp4");
    fs::create_directory(folder / "sub");
    auto const before = ReadWholeFile(folder / "in.mp4");
    for (auto const& name : {"in.mp4", "symlink.mp4", "hardlink.mp4", "sub/../in.mp4"}) {
        for (bool const force : {false, true}) {
            std::vector<std::string> arguments{"cut", folder / "in.mp4", "-o", folder / name, "--remove", "1-3"};
            if (force) arguments.emplace_back("--force");
            auto const result = RunTarsel(arguments);
            EXPECT_EQ(1, result.exitCode) << name;
            EXPECT_THAT(result.errors, HasSubstr(name)) << name;
            EXPECT_TRUE(before == ReadWholeFile(folder / "in.mp4")) << name;
        }
    }
    EXPECT_THAT(folder.List(), ElementsAre("hardlink.mp4", "in.mp4", "sub", "symlink.mp4"));
}

TEST(CutOutput, NamesWithSpacesAndLettersOfOtherScriptsWork) {
    ScratchFolder const folder;
    std::string const name = "Fünf Ärger -- 日本 'x'.mp4";
    auto const result = CutInto(folder / name, {"--remove", "1-3", "--json"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(folder / name, ParseOutput(result).at("output").get<std::string>());
    EXPECT_THAT(folder.List(), ElementsAre(name));
}

}  // namespace
}  // namespace Tarsel::Test
