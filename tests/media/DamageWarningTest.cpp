// Packets that no decoder understands, under the commands that decode a whole film: a warning that says where, a
// finished file, and exit code 3 for those who asked for it.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/support/MediaInspector.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

std::string WholeFilm() {
    return MakeClip("damage-whole.avi",
                    {"-f", "lavfi", "-i", "testsrc=s=160x90:r=25:d=4", "-c:v", "mpeg4", "-g", "10", "-b:v", "400k"});
}

std::string BrokenFilm(ScratchFolder const& folder) {
    std::string const film = folder / "broken.avi";
    std::filesystem::copy_file(WholeFilm(), film);
    std::fstream file(film, std::ios::binary | std::ios::in | std::ios::out);
    for (int place = 20000; place < 40000; place += 997) file.seekp(place).put('\x5A');
    return film;
}

/// A graph that decodes the film and encodes it again.
std::string Graph(ScratchFolder const& folder, std::string const& film) {
    std::string const graph = folder / "graph.json";
    std::ofstream(graph) << R"({"version": 1, "sources": [{"id": 1, "file": ")" << film
                         << R"(", "stream": "video"}], "output": {"file": ")" << (folder / "out.mkv")
                         << R"(", "streams": [{"input": 1, "codec": "h264"}]}})";
    return graph;
}

class DamageWarning : public ::testing::Test {
  protected:
    using Arguments = std::vector<std::string>;

    /// The commands that read `film` and write `out`.
    std::vector<Arguments> CommandsOn(std::string const& film) const {
        std::string const out = folder / "out.mkv";
        std::string const titles = MakeTextFile("damage.srt", "1\n00:00:00,500 --> 00:00:02,000\nA word\n");
        std::string const logo =
            MakeClip("damage-logo.png", {"-f", "lavfi", "-i", "color=red:s=16x16", "-frames:v", "1"});
        return {{"run", Graph(folder, film)},
                {"resize", film, "-o", out, "--size", "80x46"},
                {"overlay", film, "--with", logo + "@4,4", "-o", out},
                {"subtitle", film, "--subs", titles, "-o", out}};
    }

    static ProgramResult Run(Arguments arguments, Arguments const& more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTarsel(arguments);
    }

    ScratchFolder folder;
};

TEST_F(DamageWarning, NamesTheNodeAndHowOftenDecodersComplained) {
    for (Arguments const& command : CommandsOn(BrokenFilm(folder))) {
        auto const result = Run(command, {"--force"});
        SCOPED_TRACE(command.front() + ": " + result.errors);
        EXPECT_EQ(0, result.exitCode);
        EXPECT_THAT(result.errors, ContainsRegex("warning: node [0-9]+: decoders told of [0-9]+ errors?\n"));
    }
}

TEST_F(DamageWarning, IsExitCode3WithAFinishedFileWhereThatIsAskedFor) {
    for (Arguments const& command : CommandsOn(BrokenFilm(folder))) {
        auto const result = Run(command, {"--strict"});
        SCOPED_TRACE(command.front() + ": " + result.errors);
        EXPECT_EQ(3, result.exitCode);
        EXPECT_EQ(1U, InspectFile(folder / "out.mkv").streams.size());
        std::filesystem::remove(folder / "out.mkv");
    }
}

TEST_F(DamageWarning, IsNotGivenForAWholeFilm) {
    for (Arguments const& command : CommandsOn(WholeFilm())) {
        auto const result = Run(command, {"--strict"});
        SCOPED_TRACE(command.front() + ": " + result.errors);
        EXPECT_EQ(0, result.exitCode);
        EXPECT_THAT(result.errors, Not(HasSubstr("decoders")));
        std::filesystem::remove(folder / "out.mkv");
    }
}

TEST_F(DamageWarning, NamesTheStreamWhereBarsWereLookedFor) {
    Arguments const look{"--interval", "0.2", "--strict"};
    auto const broken = Run({"crop", BrokenFilm(folder)}, look);
    EXPECT_EQ(3, broken.exitCode);
    EXPECT_THAT(broken.errors,
                ContainsRegex("warning: .*broken\\.avi: stream #0 .*: decoders told of [0-9]+ errors?\n"));
    EXPECT_EQ(0, Run({"crop", WholeFilm()}, look).exitCode);
}

}  // namespace
}  // namespace Tarsel::Test
