#include "host/scrub/ScrubScript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {

void PrintTo(ScrubOperation const& operation, std::ostream* stream) {
    *stream << operation.ToText();
}

namespace {

using Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr auto SEEK = ScrubOperation::Kind::Seek;
constexpr auto STEP = ScrubOperation::Kind::Step;

std::string Refusal(std::string const& text) {
    return MessageOf<Core::IOException>([&] { ParseScrubScript(text, "film.txt"); });
}

// Scripts.

TEST(ScrubScript, LinesAreSeeksAndSteps) {
    EXPECT_THAT(ParseScrubScript("seek 1:02.5\nstep 3\nstep -2\nstep +1\nseek 40ms\nseek 7us", "film.txt"),
                ElementsAre(ScrubOperation{SEEK, 62500000}, ScrubOperation{STEP, 3}, ScrubOperation{STEP, -2},
                            ScrubOperation{STEP, 1}, ScrubOperation{SEEK, 40000}, ScrubOperation{SEEK, 7}));
}

TEST(ScrubScript, CommentsBlanksAndForeignLineEndsAreNoMatter) {
    EXPECT_THAT(ParseScrubScript(
                    "\xEF\xBB\xBF# \xC3\xBC\xE2\x82\xAC\xF0\x9F\x8E\xAC\r\n\r\n \tstep\t1 # one\r\n  \nstep 2#two\r\n",
                    "film.txt"),
                ElementsAre(ScrubOperation{STEP, 1}, ScrubOperation{STEP, 2}));
}

TEST(ScrubScript, OfNothingButCommentsHasNoOperations) {
    EXPECT_THAT(ParseScrubScript("", "film.txt"), IsEmpty());
    EXPECT_THAT(ParseScrubScript("# nothing\n\n", "film.txt"), IsEmpty());
}

TEST(ScrubScript, MistakesNameFileLineAndWhatIsWrong) {
    struct Mistake {
        std::string line;
        std::string named;
    };
    for (auto const& [line, named] :
         std::vector<Mistake>{{"jump 3", "\"jump\" is neither \"seek\" nor \"step\""},
                              {"Seek 3", "\"Seek\" is neither \"seek\" nor \"step\""},
                              {"seek", "seek needs a time"},
                              {"step # 4", "step needs a number of pictures"},
                              {"seek soon", "\"soon\" is not a time"},
                              {"seek -1", "\"-1\" is not a time"},
                              {"seek 721:00:00", "\"721:00:00\" is not a time"},
                              {"seek 1 2", "there is more than one value: \"2\""},
                              {"step one", "\"one\" is not a whole number"},
                              {"step 1.5", "\"1.5\" is not a whole number"},
                              {"step +-1", "\"+-1\" is not a whole number"},
                              {"step +", "\"+\" is not a whole number"},
                              {"step 0", "a step of 0 pictures goes nowhere"},
                              {"step -0", "a step of 0 pictures goes nowhere"},
                              {"step 1000000001", "\"1000000001\" is beyond 1000000000 pictures"},
                              {"step -99999999999999999999", "\"-99999999999999999999\" is beyond 1000000000 pictures"},
                              {"step \x01", "\"?\" is not a whole number"},
                              {"step 1 # \xFF", "the text is not UTF-8"},
                              {"step 1 # \xC0\x80", "the text is not UTF-8"},
                              {"step 1 # \xED\xA0\x80", "the text is not UTF-8"},
                              {"step 1 # \xE2\x82", "the text is not UTF-8"}})
        EXPECT_EQ("film.txt: line 3: " + named, Refusal("step 1\n# two\n" + line + "\nstep 4\n")) << line;
}

TEST(ScrubScript, ALongWordIsQuotedInPartAndWithNoHalfOfACharacter) {
    std::string word;
    for (int i = 0; i < 100; ++i) word += "\xE2\x82\xAC";
    EXPECT_EQ("film.txt: line 1: \"" + word.substr(0, 78) + "...\" is neither \"seek\" nor \"step\"", Refusal(word));
}

TEST(ScrubScript, TooManyOperationsAndTooManyBytesAreRefused) {
    std::string text;
    for (std::size_t i = 0; i < MAX_SCRUB_OPERATIONS; ++i) text += "step 1\n";
    EXPECT_EQ(MAX_SCRUB_OPERATIONS, ParseScrubScript(text, "film.txt").size());
    EXPECT_EQ("film.txt: line 1000001: the script has more than 1000000 operations", Refusal(text + "step 1\n"));
    std::string const comment(MAX_SCRUB_BYTES, '#');
    EXPECT_THAT(ParseScrubScript(comment, "film.txt"), IsEmpty());
    EXPECT_EQ("film.txt: the script is larger than 8388608 bytes", Refusal(comment + "#"));
}

TEST(ScrubScript, IsReadFromAFile) {
    ScratchFolder const folder;
    std::ofstream(folder / "script.txt") << "step 5\n";
    EXPECT_THAT(ReadScrubScript(folder / "script.txt"), ElementsAre(ScrubOperation{STEP, 5}));
    EXPECT_EQ((folder / "none.txt") + ": No such file or directory",
              MessageOf<Core::IOException>([&] { ReadScrubScript(folder / "none.txt"); }));
    EXPECT_EQ(folder.GetPath() + ": Is a directory",
              MessageOf<Core::IOException>([&] { ReadScrubScript(folder.GetPath()); }));
}

TEST(ScrubScript, WhatIsWrittenIsReadAsTheSame) {
    ScrubScript const script{{SEEK, 0},          {SEEK, 1}, {SEEK, 1234567},
                             {SEEK, 3600000000}, {STEP, 1}, {STEP, -MAX_SCRUB_STEP}};
    EXPECT_EQ("seek 0.000000\nseek 0.000001\nseek 1.234567\nseek 3600.000000\nstep 1\nstep -1000000000\n",
              WriteScrubScript(script));
    EXPECT_EQ(script, ParseScrubScript(WriteScrubScript(script), "film.txt"));
}

// The grid.

TEST(TimeGrid, LeavesOutWhatIsNotShownAndWhatComesTwice) {
    TimeGrid const grid({-40000, 0, 40000, 40000, 80000}, 0, 120000);
    ASSERT_EQ(3U, grid.GetCount());
    EXPECT_EQ(40000, grid.GetTime(1));
    EXPECT_EQ(80000, grid.GetEnd(1));
    EXPECT_EQ(120000, grid.GetEnd(2));
}

TEST(TimeGrid, FindsWhatBeginsAtOrBeforeATimeAndAtOrBehindIt) {
    TimeGrid const grid({100, 200, 300}, 0, 400);
    EXPECT_EQ(0U, grid.FindAt(50));
    EXPECT_EQ(0U, grid.FindAt(199));
    EXPECT_EQ(1U, grid.FindAt(200));
    EXPECT_EQ(2U, grid.FindAt(9000));
    EXPECT_EQ(100, grid.FindNext(50));
    EXPECT_EQ(200, grid.FindNext(200));
    EXPECT_EQ(NO_VALUE, grid.FindNext(301));
    EXPECT_EQ(NO_VALUE, TimeGrid().FindNext(0));
}

TEST(TimeGrid, TheLastOneIsNeverEmpty) {
    EXPECT_EQ(301, TimeGrid({100, 300}, 0, 250).GetEnd(1));
}

// Random scripts.

TimeGrid const& Grid() {
    static TimeGrid const grid = [] {
        std::vector<int64> times;
        for (int64 i = 0; i < 500; ++i) times.push_back(i * 40000);
        return TimeGrid(times, 0, 20 * SECOND);
    }();
    return grid;
}

TEST(RandomScrub, IsTheSameForTheSameSeedAndAnotherForAnother) {
    auto const script = MakeRandomScrub(200, 7, Grid(), 20 * SECOND);
    EXPECT_EQ(200U, script.size());
    EXPECT_EQ(script, MakeRandomScrub(200, 7, Grid(), 20 * SECOND));
    EXPECT_NE(script, MakeRandomScrub(200, 8, Grid(), 20 * SECOND));
}

TEST(RandomScrub, StepsBothWaysAndSeeksEverywhere) {
    auto const script = MakeRandomScrub(3000, 1, Grid(), 20 * SECOND);
    auto const share = [&](auto const& holds) { return std::count_if(script.begin(), script.end(), holds); };
    EXPECT_GT(share([](auto const& o) { return o.kind == STEP && o.value > 0; }), 900);
    EXPECT_GT(share([](auto const& o) { return o.kind == STEP && o.value < 0; }), 900);
    EXPECT_GT(share([](auto const& o) { return o.kind == SEEK && o.value % 40000 != 0; }), 50);
    EXPECT_GT(share([](auto const& o) { return o.kind == SEEK && o.value % 40000 == 0; }), 20);
    EXPECT_GT(share([](auto const& o) { return o.kind == SEEK && o.value == 0; }), 2);
    EXPECT_GT(share([](auto const& o) { return o.kind == SEEK && o.value == 20 * SECOND; }), 2);
    for (ScrubOperation const& operation : script) {
        bool const seek = operation.kind == SEEK;
        EXPECT_TRUE(seek ? operation.value >= 0 && operation.value <= 20 * SECOND
                         : operation.value != 0 && std::abs(operation.value) <= 4)
            << operation.ToText();
    }
    EXPECT_EQ(script, ParseScrubScript(WriteScrubScript(script), "random"));
}

TEST(RandomScrub, SuitsAFileOfNothingAndOneOfASinglePicture) {
    for (TimeGrid const& grid : {TimeGrid(), TimeGrid({0}, 0, 40000)})
        for (int64 const duration : {NO_VALUE, int64{0}, int64{40000}})
            EXPECT_EQ(100U, MakeRandomScrub(100, 3, grid, duration).size());
}

}  // namespace
}  // namespace Tarsel::Host
