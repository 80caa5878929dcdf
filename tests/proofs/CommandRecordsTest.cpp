// A cut, a rendering and a mix, made and recorded by the program as a person does: run for run the same, and the same
// whether it has one processor or all of them.
#include <gtest/gtest.h>
#include <sched.h>

#include <filesystem>
#include <stdexcept>

#include "tests/proofs/ProofMedia.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;

enum class Processors { One, All };

/// One that this process may use.
std::string FirstProcessor() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) throw std::runtime_error("no list of processors");
    for (std::size_t i = 0; i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(i, &allowed)) return std::to_string(i);
    throw std::runtime_error("no processor");
}

void Run(std::vector<std::string> const& arguments, Processors processors) {
    std::vector<std::string> command;
    if (processors == Processors::One) command = {"taskset", "--cpu-list", FirstProcessor()};
    command.push_back(TarselPath());
    command.insert(command.end(), arguments.begin(), arguments.end());
    ProgramResult const result = RunProgram(command);
    ASSERT_EQ(0, result.exitCode) << CommandText(command) << ": " << result.errors;
}

/// Makes a file with the command again and again, records each, and compares the records.
void ExpectRunsAreEqual(std::vector<std::string> const& command, std::string const& name) {
    ScratchFolder const folder;
    struct Made {
        std::string name;
        Processors making;
        char const* threads;
    };
    Made const all[] = {{"first", Processors::All, "1"},
                        {"second", Processors::All, "1"},
                        {"alone", Processors::One, "1"},
                        {"threads", Processors::All, "4"}};
    for (Made const& made : all) {
        std::string const file = folder / (made.name + "-" + name);
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {"-o", file});
        Run(arguments, made.making);
        Run({"record", file, "--decoded", "--threads", made.threads, "-o", folder / (made.name + ".json")},
            Processors::All);
    }
    for (Made const& made : all) {
        ProgramResult const result =
            RunTarsel({"compare", folder / "first.json", folder / (made.name + ".json"), "--json"});
        EXPECT_EQ(0, result.exitCode) << made.name << ": " << result.output << result.errors;
        Json const report = ParseOutput(result);
        EXPECT_TRUE(report.at("equal")) << made.name;
        EXPECT_GE(report.at("nodes").size(), 2U) << made.name;
    }
}

TEST(CommandRecords, CutsAreEqualRunForRunAndThreadForThread) {
    // Ranges that begin and end inside of groups, so that pictures are encoded anew.
    ExpectRunsAreEqual({"cut", ProofMedia("packets-a.mp4"), "--remove", "0.7-1.3", "--remove", "1.8-2.1"}, "cut.mkv");
}

TEST(CommandRecords, RenderingsAreEqualRunForRunAndThreadForThread) {
    ScratchFolder const folder;
    for (char const* const name : {"A.mp4", "B.mp4"})
        std::filesystem::copy_file(ProofMedia(std::string(name, 1) + ".mkv"), folder / name);
    std::string const timeline = folder / "dissolve.json";
    std::filesystem::copy_file(TARSEL_EXAMPLES "/timelines/dissolve.json", timeline);
    ExpectRunsAreEqual({"render", timeline, "--quality", "0", "--audio-codec", "pcm_s16le"}, "without-loss.mkv");
    ExpectRunsAreEqual({"render", timeline}, "usual.mp4");
}

TEST(CommandRecords, MixesAreEqualRunForRunAndThreadForThread) {
    ExpectRunsAreEqual({"mix", ProofMedia("film.mkv"), ProofMedia("second.mkv"), "--volume", "80", "--volume", "60"},
                       "mix.wav");
}

}  // namespace
}  // namespace Tarsel::Test
