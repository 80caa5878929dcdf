// Files that are no media, damaged ones, a disk that fills up, a person who interrupts: a message, the right exit code,
// and nothing half done.
#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "tests/support/MediaFamily.h"
#include "tests/support/MediaInspector.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

void Write(std::string const& path, std::string const& content) {
    std::ofstream(path, std::ios::binary) << content;
}

TEST(BadInput, WhatIsNoMediaFailsByName) {
    ScratchFolder const folder;
    Write(folder / "empty.mp4", "");
    Write(folder / "text.mp4", "These are the words of a person, and no pictures.\n");
    Write(folder / "text.mkv", std::string(100000, 'x'));
    Write(folder / "zeros.ts", std::string(100000, '\0'));
    fs::create_directory(folder / "folder.mp4");
    for (char const* name : {"missing.mp4", "empty.mp4", "text.mp4", "text.mkv", "zeros.ts", "folder.mp4"}) {
        auto const cut = RunTarsel({"cut", folder / name, "-o", folder / "out.mp4", "--remove", "1-2"});
        EXPECT_EQ(1, cut.exitCode) << name;
        EXPECT_THAT(cut.errors, HasSubstr(folder / name));
        auto const probe = RunTarsel({"probe", folder / name, "--json"});
        EXPECT_EQ(1, probe.exitCode) << name;
        EXPECT_THAT(probe.errors, HasSubstr(folder / name));
        EXPECT_THAT(probe.output, IsEmpty());
        EXPECT_FALSE(fs::exists(folder / "out.mp4"));
    }
}

TEST(BadInput, ANameThatLooksLikeAnAddressIsAFileName) {
    for (char const* name : {"http://127.0.0.1:9/x.mp4", "concat:a|b", "pipe:0", "-"}) {
        auto const result = RunTarsel({"probe", "--json", "--", name});
        EXPECT_EQ(1, result.exitCode) << name;
        EXPECT_THAT(result.errors, HasSubstr(name));
    }
}

/// Cuts a damaged file: it may work or fail, but it ends, says why, and leaves a whole file or none.
void CutDamaged(ScratchFolder const& folder, std::string const& input, std::string const& extension) {
    auto const before = folder.List();
    // Program streams are read, not written.
    auto const output = folder / ("out" + (extension == ".mpg" ? ".ts" : extension));
    auto const result = RunTarsel({"cut", input, "-o", output, "--remove", "1.5-3.3", "--remove", "5-6"});
    ASSERT_EQ(0, result.endedBySignal) << result.errors;
    ASSERT_THAT(result.exitCode, AnyOf(0, 1)) << result.errors;
    if (result.exitCode == 1) {
        // What is left may be shorter than the ranges: then the message names the range.
        EXPECT_THAT(result.errors, AnyOf(HasSubstr(fs::path(input).filename().string()), HasSubstr("range 1.5-3.3"),
                                         HasSubstr("range 5-6")));
        EXPECT_THAT(folder.List(), ::testing::ElementsAreArray(before));
    } else {
        EXPECT_FALSE(InspectFile(output).streams.empty());
        fs::remove(output);
        EXPECT_THAT(folder.List(), ::testing::ElementsAreArray(before));
    }
}

class Damaged : public ::testing::TestWithParam<char const*> {};

TEST_P(Damaged, CutOffInItsMiddle) {
    ScratchFolder const folder;
    auto const bytes = ReadWholeFile(FamilyClip(GetParam()));
    auto const extension = fs::path(GetParam()).extension().string();
    for (std::size_t const part : {1, 3, 5, 8, 9}) {
        auto const input = folder / ("damaged" + extension);
        Write(input, bytes.substr(0, bytes.size() * part / 10));
        SCOPED_TRACE(std::to_string(part) + "/10 of " + GetParam());
        CutDamaged(folder, input, extension);
    }
}

TEST_P(Damaged, WithFlippedBytes) {
    ScratchFolder const folder;
    auto const bytes = ReadWholeFile(FamilyClip(GetParam()));
    auto const extension = fs::path(GetParam()).extension().string();
    for (unsigned seed = 0; seed < 24; seed++) {
        std::mt19937 random(seed);
        auto damaged = bytes;
        // Headers are small beside the pictures: every second time all damage goes to the ends of the file.
        std::size_t const reach = seed % 2 == 0 ? damaged.size() : std::min<std::size_t>(damaged.size(), 6000);
        for (unsigned i = 0; i < 1U + seed % 12; i++) {
            std::size_t const place = random() % reach;
            damaged[seed % 4 == 1 ? damaged.size() - 1 - place : place] ^= static_cast<char>(1 + random() % 255);
        }
        auto const input = folder / ("damaged" + extension);
        Write(input, damaged);
        SCOPED_TRACE("seed " + std::to_string(seed) + " of " + GetParam());
        CutDamaged(folder, input, extension);
    }
}

std::string DamagedName(::testing::TestParamInfo<char const*> const& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Clips, Damaged,
                         ::testing::Values("h264-closed.mp4", "h264-closed.mkv", "h264-closed.ts", "h264-rich.mp4",
                                           "hevc-open.mkv", "mpeg2-open.ts", "mpeg2-open.mpg", "mpeg4-b.avi",
                                           "mpeg4.mp4", "wmv2.wmv", "vp8.webm", "theora.ogv", "aac.m4a", "mp3.mp3",
                                           "pcm.wav"),
                         DamagedName);

TEST(BadInput, AnMp4WithoutItsIndexFails) {
    ScratchFolder const folder;
    auto const bytes = ReadWholeFile(FamilyClip("h264-closed.mp4"));
    Write(folder / "half.mp4", bytes.substr(0, bytes.size() / 2));
    auto const result = RunTarsel({"cut", folder / "half.mp4", "-o", folder / "out.mp4", "--remove", "1-2"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("half.mp4"));
    EXPECT_THAT(folder.List(), ElementsAre("half.mp4"));
}

/// Raises `number` as soon as something more than `before` lies in the folder: the cut is at work then.
ProgramResult Interrupt(ScratchFolder const& folder, std::vector<std::string> const& command, int number,
                        bool& raised) {
    auto const before = folder.List().size();
    return RunProgram(command, [&, before](int pid) {
        if (folder.List().size() <= before) return true;
        raised = true;
        kill(pid, number);
        return false;
    });
}

TEST(Interrupted, LeavesNoPartialFile) {
    auto const clip = FamilyClip("h264-heavy.mp4");
    for (int const number :
         {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGALRM, SIGVTALRM, SIGPROF, SIGUSR1, SIGUSR2}) {
        SCOPED_TRACE(number);
        ScratchFolder const folder;
        bool raised = false;
        auto const result =
            Interrupt(folder, {TarselPath(), "cut", clip, "-o", folder / "out.mp4", "--remove", "1-2"}, number, raised);
        EXPECT_TRUE(raised);
        EXPECT_EQ(128 + number, result.exitCode) << result.endedBySignal;
        EXPECT_THAT(folder.List(), IsEmpty());
    }
}

TEST(Interrupted, LeavesTheFileThatStoodThere) {
    ScratchFolder const folder;
    Write(folder / "out.mp4", "precious");
    bool raised = false;
    auto const result = Interrupt(
        folder,
        {TarselPath(), "cut", FamilyClip("h264-heavy.mp4"), "-o", folder / "out.mp4", "--remove", "1-2", "--force"},
        SIGINT, raised);
    EXPECT_TRUE(raised);
    EXPECT_EQ(130, result.exitCode);
    EXPECT_EQ("precious", ReadWholeFile(folder / "out.mp4"));
    EXPECT_THAT(folder.List(), ElementsAre("out.mp4"));
}

/// Runs a shell script in a mount space of its own with a file system of 100 KiB at $1, which goes with the shell.
ProgramResult OnASmallDisk(ScratchFolder const& folder, std::string const& script) {
    fs::create_directory(folder / "disk");
    return RunProgram({"unshare", "--map-root-user", "--mount", "sh", "-c",
                       "mount -t tmpfs -o size=100k small \"$1\" || exit 99\n" + script, "sh", folder / "disk",
                       TarselPath(), FamilyClip("h264-closed.mp4")});
}

TEST(FullDisk, FailsByNameAndLeavesNothing) {
    ScratchFolder const folder;
    auto const result =
        OnASmallDisk(folder, "\"$2\" cut \"$3\" -o \"$1/out.mp4\" --remove 1-3; code=$?; ls -A \"$1\"; exit $code");
    EXPECT_EQ(1, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("out.mp4"));
    EXPECT_THAT(result.output, IsEmpty());
}

TEST(FullDisk, LeavesTheFileThatStoodThere) {
    ScratchFolder const folder;
    auto const result =
        OnASmallDisk(folder,
                     "printf precious > \"$1/out.mp4\"\n\"$2\" cut \"$3\" -o \"$1/out.mp4\" --remove 1-3 --force;"
                     " code=$?; ls -A \"$1\"; cat \"$1/out.mp4\"; exit $code");
    EXPECT_EQ(1, result.exitCode) << result.errors;
    EXPECT_EQ("out.mp4\nprecious", result.output);
}

TEST(FullDisk, AReportThatCannotBePrintedIsAFailure) {
    auto const result =
        RunProgram({"sh", "-c", "\"$1\" probe --json \"$2\" > /dev/full", "sh", TarselPath(), FamilyClip("aac.m4a")});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, Not(IsEmpty()));
}

}  // namespace
}  // namespace Tarsel::Test
