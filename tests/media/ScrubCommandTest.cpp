// What a person types at `tarsel scrub`, what it shows, and that caches change nothing but the time it takes.
#include <gmock/gmock.h>

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/Time.h"
#include "host/scrub/ScrubJob.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/MediaInspector.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int64 FRAME = 40000;

std::string Short() {
    return TestMedia("h264.mp4");
}

/// Twelve seconds in groups of ten, so that a seek into the middle of one is dear.
std::string LongGroups() {
    return MakeClip("scrub-long.mp4", {"-f",       "lavfi",   "-i",      "testsrc2=s=192x108:r=25:d=12",
                                       "-f",       "lavfi",   "-i",      "sine=f=440:r=48000:d=12",
                                       "-c:v",     "libx264", "-preset", "veryfast",
                                       "-pix_fmt", "yuv420p", "-g",      "250",
                                       "-bf",      "3",       "-c:a",    "aac"});
}

class Scrub : public ::testing::Test {
  protected:
    std::string Script(std::string const& text, std::string const& name = "script.txt") const {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
    /// Runs a script and expects it to succeed.
    nlohmann::json Play(std::string const& input, std::string const& text, std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments{"scrub", input, "--script", Script(text), "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << result.errors;
        EXPECT_THAT(result.errors, IsEmpty());
        return ParseOutput(result);
    }
    static std::vector<int64> Reals(nlohmann::json const& report) {
        std::vector<int64> reals;
        for (auto const& step : report.at("steps"))
            reals.push_back(step.at("real_us").is_null() ? NO_VALUE : step.at("real_us").get<int64>());
        return reals;
    }
    /// The report without what differs from run to run.
    static nlohmann::json Untimed(nlohmann::json report) {
        for (auto& step : report.at("steps")) step.erase("time_us");
        return report.at("steps");
    }

    ScratchFolder const folder;
};

// Usage.

TEST_F(Scrub, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    std::string const script = Script("step 1\n");
    for (auto const& [arguments, named] : std::vector<Mistake>{
             {{"scrub", "--random", "5"}, "input"},
             {{"scrub", Short()}, "--script or --random is required"},
             {{"scrub", Short(), "--script", script, "--random", "5"}, "can't be used in one call"},
             {{"scrub", Short(), "--script", script, "--seed", "5"}, "--seed needs --random"},
             {{"scrub", Short(), "--random", "0"}, "--random: \"0\""},
             {{"scrub", Short(), "--random=-3"}, "--random: \"-3\""},
             {{"scrub", Short(), "--random", "many"}, "--random: \"many\""},
             {{"scrub", Short(), "--random", "1000001"}, "--random: \"1000001\""},
             {{"scrub", Short(), "--random", "5", "--seed", "0x1"}, "--seed: \"0x1\""},
             {{"scrub", Short(), "--random", "5", "--seed", ""}, "--seed: a value is needed"},
             {{"scrub", Short(), "--random", "5", "--preview", ""}, "--preview: a value is needed"},
             {{"scrub", Short(), "--script", ""}, "--script: a value is needed"},
             {{"scrub", Short(), "--random", "5", "--preview-rate", "5"}, "--preview-rate needs --preview"},
             {{"scrub", Short(), "--random", "5", "--force"}, "--force needs --preview"},
             {{"scrub", Short(), "--random", "5", "--preview", folder / "p", "--preview-rate", "0"},
              "--preview-rate: \"0\""},
             {{"scrub", Short(), "--random", "5", "--preview", folder / "p", "--preview-rate", "nan"},
              "--preview-rate: \"nan\""}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
    EXPECT_THAT(folder.List(), ElementsAre("script.txt"));
}

TEST_F(Scrub, HelpShowsAnExampleAndTheProgramListsTheCommand) {
    auto const result = RunTarsel({"scrub", "--help"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.output, AllOf(HasSubstr("tarsel scrub film.mp4 --script steps.txt"), HasSubstr("--no-cache")));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("scrub"));
}

TEST_F(Scrub, ABadScriptExitsWithOneAndNamesTheLine) {
    std::string const script = Script("step 1\n# more\nseek soon\n");
    auto const result = RunTarsel({"scrub", Short(), "--script", script});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("tarsel: " + script + ": line 3: \"soon\" is not a time\n", result.errors);
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(Scrub, MissingAndForeignFilesExitWithOneAndAreNamed) {
    std::string const script = Script("step 1\n");
    std::ofstream(folder / "text.mp4") << "no film";
    std::string const lines = MakeTextFile("scrub.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n\n");
    for (std::string const& input : {folder / "missing.mp4", folder / "text.mp4", lines}) {
        auto const result = RunTarsel({"scrub", input, "--script", script});
        EXPECT_EQ(1, result.exitCode) << input;
        EXPECT_THAT(result.errors, HasSubstr("tarsel: " + input + ": ")) << input;
    }
    EXPECT_THAT(RunTarsel({"scrub", lines, "--script", script}).errors, HasSubstr("holds neither pictures nor sound"));
    auto const result = RunTarsel({"scrub", Short(), "--script", folder / "missing.txt"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr((folder / "missing.txt") + ": No such file or directory"));
}

TEST_F(Scrub, StandardInputIsReadAsAScript) {
    // With nothing on it: a script of no operations.
    auto const result = RunTarsel({"scrub", Short(), "--script", "-", "--json"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(
        nlohmann::json::parse(R"({"steps": [], "source_seeks": 0, "saved_seeks": 0, "median_us": 0, "worst_us": 0})"),
        ParseOutput(result));
}

TEST_F(Scrub, AStandardInputThatCannotBeReadIsNoEmptyScript) {
    auto const result =
        RunProgram({"/bin/sh", "-c", R"(exec "$0" scrub "$1" --script - < "$2")", TarselPath(), Short(), folder / ""});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("tarsel: standard input: Is a directory\n", result.errors);
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(Scrub, PrintScriptPrintsWhatTheSameRunDoes) {
    auto const printed = RunTarsel({"scrub", Short(), "--random", "40", "--seed", "9", "--print-script"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_EQ(40, std::count(printed.output.begin(), printed.output.end(), '\n'));
    auto const random = ParseOutput(RunTarsel({"scrub", Short(), "--random", "40", "--seed", "9", "--json"}));
    EXPECT_EQ(Untimed(random), Untimed(Play(Short(), printed.output)));
    EXPECT_EQ(
        "seek 1.500000\nstep -2\n",
        RunTarsel({"scrub", Short(), "--script", Script("seek 1.5 # there\n\nstep -2"), "--print-script"}).output);
}

// Positions.

TEST_F(Scrub, TheReportTellsWhereEachOperationCameTo) {
    auto const report = Play(Short(), "seek 2.01\nstep 3\nstep -2\nseek 100\nstep -1\nstep 1\nseek 0\n");
    EXPECT_THAT(Reals(report),
                ElementsAre(2000000, 2000000 + 3 * FRAME, 2000000 + FRAME, NO_VALUE, 149 * FRAME, NO_VALUE, 0));
    std::vector<int64> requested;
    for (auto const& step : report.at("steps")) requested.push_back(step.at("requested_us").get<int64>());
    EXPECT_THAT(requested, ElementsAre(2010000, 2000000 + 3 * FRAME, 2000000 + FRAME, 100000000, 149 * FRAME,
                                       testing::Ge(150 * FRAME), 0));
}

TEST_F(Scrub, TheReportHoldsExactlyWhatItPromises) {
    auto const report = Play(Short(), "seek 1\nstep 1\nstep -1\n");
    std::vector<std::string> keys;
    for (auto const& [key, value] : report.items()) keys.push_back(key);
    EXPECT_THAT(keys, testing::UnorderedElementsAre("steps", "source_seeks", "saved_seeks", "median_us", "worst_us"));
    for (auto const& step : report.at("steps")) {
        keys.clear();
        for (auto const& [key, value] : step.items()) keys.push_back(key);
        EXPECT_THAT(keys, testing::UnorderedElementsAre("requested_us", "real_us", "time_us"));
        EXPECT_GE(step.at("time_us").get<int64>(), 0);
        EXPECT_LE(step.at("time_us").get<int64>(), report.at("worst_us").get<int64>());
    }
    EXPECT_LE(report.at("median_us"), report.at("worst_us"));
}

TEST_F(Scrub, TheTextSaysTheSameInColumns) {
    auto const result = RunTarsel({"scrub", Short(), "--script", Script("seek 1.01\nseek 99\nstep -3\n")});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("operation       requested      real  time (us)\n"),
                                     HasSubstr("\nseek 1.010000    1.010000  1.000000  "),
                                     HasSubstr("\nseek 99.000000  99.000000       end  "), HasSubstr("\nstep -3 "),
                                     HasSubstr("\n3 operations, ")));
}

TEST_F(Scrub, WithoutCachesEverySeekGoesToTheSource) {
    auto const report = Play(Short(), "seek 2\nstep 3\nstep -2\nstep -1\nseek 2.5\n", {"--no-cache"});
    EXPECT_EQ(4, report.at("source_seeks"));
    EXPECT_EQ(0, report.at("saved_seeks"));
}

TEST_F(Scrub, WithCachesShortWaysStayInTheWindow) {
    auto const report = Play(Short(), "seek 3\nstep 3\nstep -2\nstep -1\nseek 3.2\nseek 2.8\n");
    EXPECT_EQ(1, report.at("source_seeks"));
    EXPECT_EQ(4, report.at("saved_seeks"));
}

TEST_F(Scrub, CachesSaveMostSeeksOfAPerson) {
    auto const cached = ParseOutput(RunTarsel({"scrub", LongGroups(), "--random", "500", "--json"}));
    auto const bare = ParseOutput(RunTarsel({"scrub", LongGroups(), "--random", "500", "--no-cache", "--json"}));
    EXPECT_EQ(Untimed(bare), Untimed(cached));
    EXPECT_LT(cached.at("source_seeks").get<int>() * 2, bare.at("source_seeks").get<int>());
    EXPECT_GT(cached.at("saved_seeks").get<int>() * 2, bare.at("source_seeks").get<int>());
}

TEST_F(Scrub, AFileThatEndsEarlyEndsTheSameWayWithCachesAndWithout) {
    std::string const whole = ReadWholeFile(TestMedia("mpeg2.ts"));
    std::ofstream(folder / "cut.ts", std::ios::binary) << whole.substr(0, whole.size() / 3 + 50);
    auto const cached = RunTarsel({"scrub", folder / "cut.ts", "--random", "200", "--json"});
    auto const bare = RunTarsel({"scrub", folder / "cut.ts", "--random", "200", "--no-cache", "--json"});
    ASSERT_EQ(0, cached.exitCode) << cached.errors;
    EXPECT_EQ(Untimed(ParseOutput(bare)), Untimed(ParseOutput(cached)));
}

TEST_F(Scrub, AFailureInTheMiddleNamesOperationAndFile) {
    std::string const path = folder / "gone.mp4";
    std::filesystem::copy_file(LongGroups(), path);
    auto const file = Host::MediaFile::Open(path);
    file->GetDuration();
    Host::ScrubOptions options;
    // Its bytes go while it is played.
    options.progress = [&](std::size_t) { std::filesystem::resize_file(path, 60000); };
    auto const script = Host::ParseScrubScript("step 1\nseek 11\n", "script");
    EXPECT_THAT(TestSupport::MessageOf<Proc::ProcException>([&] { Host::RunScrub(file, script, options); }),
                AllOf(HasSubstr("operation 2 (seek 11.000000): "), HasSubstr(path + ": ")));
}

// Previews.

TEST_F(Scrub, APreviewIsWrittenAsWholePicturesAtMostSoManyASecond) {
    std::string const preview = folder / "preview";
    auto const report =
        Play(Short(), "seek 2\nstep 100\nstep -3\nstep 2\n", {"--preview", preview, "--preview-rate", "1"});
    EXPECT_EQ(4U, report.at("steps").size());
    std::size_t const seconds = 1 + report.at("worst_us").get<std::size_t>() * 4 / 1000000;
    std::size_t count = 0;
    for (auto const& entry : std::filesystem::directory_iterator(preview)) {
        ++count;
        auto const file = InspectFile(entry.path());
        ASSERT_EQ(1U, file.streams.size()) << entry.path();
        EXPECT_EQ("png", file.streams[0].codec);
        Messages messages;
        EXPECT_EQ(1U, DecodePictures(entry.path(), 0, messages).size()) << entry.path();
    }
    EXPECT_GE(count, 1U);
    EXPECT_LE(count, seconds + 1);
}

TEST_F(Scrub, APreviewDoesNotMixWithAnEarlierOneUnlessForced) {
    std::string const preview = folder / "preview";
    Play(Short(), "seek 2\n", {"--preview", preview});
    std::string const first = preview + "/preview-000001.png";
    std::string const bytes = ReadWholeFile(first);
    auto const result = RunTarsel({"scrub", Short(), "--script", Script("seek 4\n"), "--preview", preview});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(preview));
    Play(Short(), "seek 4\n", {"--preview", preview, "--force"});
    EXPECT_EQ(bytes, ReadWholeFile(first));
    EXPECT_TRUE(std::filesystem::exists(preview + "/preview-000002.png"));
}

TEST_F(Scrub, SoundAloneHasNoPreview) {
    std::string const preview = folder / "preview";
    Play(TestMedia("aac.m4a"), "seek 2\n", {"--preview", preview});
    EXPECT_TRUE(std::filesystem::is_empty(preview));
}

TEST_F(Scrub, AFailureLeavesNothingOfItsPreview) {
    std::ofstream(folder / "text.mp4") << "no film";
    auto const result =
        RunTarsel({"scrub", folder / "text.mp4", "--script", Script("seek 4\n"), "--preview", folder / "preview"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("script.txt", "text.mp4"));
}

TEST_F(Scrub, ALimitOnTheSizeOfFilesLeavesNothingOfItsPreview) {
    auto const result = RunProgram({"/bin/sh", "-c", R"(ulimit -f 1; exec "$0" "$@")", TarselPath(), "scrub", Short(),
                                    "--script", Script("seek 1\n"), "--preview", folder / "preview"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("preview-000001.png: can't be written: File too large"));
    EXPECT_THAT(folder.List(), ElementsAre("script.txt"));
}

TEST_F(Scrub, AReportThatCannotBePrintedLeavesNothingOfItsPreview) {
    std::string const preview = folder / "preview";
    auto const result = RunProgram({"sh", "-c", "\"$1\" scrub \"$2\" --random 5 --preview \"$3\" > /dev/full", "sh",
                                    TarselPath(), Short(), preview});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, Not(IsEmpty()));
    EXPECT_FALSE(std::filesystem::exists(preview));
}

TEST_F(Scrub, ASignalLeavesNothingOfItsPreview) {
    std::string const preview = folder / "preview";
    std::string script;
    for (int i = 0; i < 20000; ++i) script += "seek 1\nseek 11\n";
    Script(script);
    for (int const number : {SIGINT, SIGTERM}) {
        auto const result =
            RunProgram({TarselPath(), "scrub", LongGroups(), "--script", folder / "script.txt", "--preview", preview},
                       [&](int pid) {
                           if (!std::filesystem::exists(preview + "/preview-000002.png")) return true;
                           kill(pid, number);
                           return false;
                       });
        EXPECT_EQ(128 + number, result.exitCode) << result.errors;
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(preview));
    }
}

// What is shown.

/// Everything that a run showed, operation by operation.
struct Shown {
    struct Operation {
        std::vector<std::string> pictures;  // time and digest
        int64 picturesEnd = NO_VALUE;
        int64 firstSample = NO_VALUE;
        std::vector<u8> sound;  // from the first sample on, one after the other
        std::size_t sampleSize = 0;

        int64 GetEndSample() const {
            return firstSample + (sampleSize == 0 ? 0 : static_cast<int64>(sound.size() / sampleSize));
        }
    };
    Host::ScrubReport report;
    std::vector<Operation> operations{1};
};

void AddSound(Shown::Operation& operation, Proc::IDataAudio& block) {
    auto const blob = block.GetBlob();
    auto const samples = static_cast<std::size_t>(block.GetSampleCount());
    if (!HasValue(operation.firstSample))
        operation.firstSample = Proc::Duration2SampleCount(block.GetTime(), block.GetSampleRate());
    operation.sampleSize = blob->GetSize() / samples;
    auto const* const bytes = static_cast<u8 const*>(static_cast<void const*>(blob->GetData()));
    operation.sound.insert(operation.sound.end(), bytes, bytes + blob->GetSize());
}

Shown Run(iptr<Host::MediaFile> const& file, Host::ScrubScript const& script, bool cached) {
    Shown shown;
    Host::ScrubOptions options;
    options.cached = cached;
    options.listener.picture = [&](iptr<Proc::IDataVideo> const& picture) {
        Shown::Operation& operation = shown.operations.back();
        operation.pictures.push_back(std::to_string(picture->GetTime()) + " " + Proc::CalculateVideoDataMD5(picture));
        operation.picturesEnd = AddTime(picture->GetTime(), picture->GetDuration());
    };
    options.listener.sound = [&](iptr<Proc::IDataAudio> const& block) { AddSound(shown.operations.back(), *block); };
    options.progress = [&](std::size_t) { shown.operations.emplace_back(); };
    shown.report = Host::RunScrub(file, script, options);
    return shown;
}

/// Packed or of one channel, so that samples stand one behind the other in a block. Where blocks begin depends on where
/// reading began: samples are compared where both runs have them.
void ExpectEqualSound(Shown::Operation const& bare, Shown::Operation const& cached, std::string const& where) {
    ASSERT_EQ(bare.sound.empty(), cached.sound.empty()) << where;
    if (bare.sound.empty()) return;
    ASSERT_EQ(bare.sampleSize, cached.sampleSize) << where;
    int64 const begin = std::max(bare.firstSample, cached.firstSample);
    int64 const end = std::min(bare.GetEndSample(), cached.GetEndSample());
    EXPECT_EQ(begin, bare.firstSample) << where;
    ASSERT_LT(begin, end) << where;
    auto const bytes = [&](Shown::Operation const& operation) {
        auto const offset = [&](int64 sample) {
            return operation.sound.begin() +
                   static_cast<long>(sample - operation.firstSample) * static_cast<long>(operation.sampleSize);
        };
        return std::vector<u8>(offset(begin), offset(end));
    };
    EXPECT_TRUE(bytes(bare) == bytes(cached)) << where;
}

void ExpectEqual(std::string const& path, uint64 seed, std::size_t count, bool exactSound) {
    auto const file = Host::MediaFile::Open(path);
    auto const script = Host::MakeRandomScrub(*file, count, seed);
    Shown const bare = Run(file, script, false);
    Shown const cached = Run(file, script, true);
    for (std::size_t i = 0; i < script.size(); ++i) {
        std::string const where = path + ", seed " + std::to_string(seed) + ", operation " + std::to_string(i + 1) +
                                  " (" + script[i].ToText() + ")";
        ASSERT_EQ(bare.report.steps[i].move.requested, cached.report.steps[i].move.requested) << where;
        ASSERT_EQ(bare.report.steps[i].move.real, cached.report.steps[i].move.real) << where;
        ASSERT_EQ(bare.operations[i].pictures, cached.operations[i].pictures) << where;
        if (exactSound) ExpectEqualSound(bare.operations[i], cached.operations[i], where);
    }
    EXPECT_LE(cached.report.sourceSeeks, bare.report.sourceSeeks + script.size()) << path;
}

/// Pictures that begin in the middle of a group.
std::string Headless(ScratchFolder const& folder) {
    std::string const whole = ReadWholeFile(TestMedia("h264.ts"));
    std::ofstream(folder / "headless.ts", std::ios::binary) << whole.substr(whole.size() / 188 / 8 * 188);
    return folder / "headless.ts";
}

std::vector<std::string> OddClips() {
    std::string const testsrc = "testsrc2=s=192x108:r=25:d=";
    std::vector<std::string> const x264{"-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p"};
    auto const make = [&](std::string const& name, std::vector<std::string> arguments,
                          std::vector<std::string> const& rest) {
        arguments.insert(arguments.end(), x264.begin(), x264.end());
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return MakeClip(name, arguments);
    };
    return {
        make("scrub-one.mp4", {"-f", "lavfi", "-i", testsrc + "0.04"}, {}),
        make("scrub-one-sound.mp4", {"-f", "lavfi", "-i", testsrc + "0.04", "-f", "lavfi", "-i", "sine=r=48000:d=4"},
             {"-c:a", "aac"}),
        make("scrub-sound-longer.mp4", {"-f", "lavfi", "-i", testsrc + "2", "-f", "lavfi", "-i", "sine=r=48000:d=5"},
             {"-c:a", "aac"}),
        make("scrub-sound-shorter.mkv", {"-f", "lavfi", "-i", testsrc + "5", "-f", "lavfi", "-i", "sine=r=44100:d=2"},
             {"-c:a", "libvorbis"}),
        make("scrub-slides.mp4",
             {"-f", "lavfi", "-i", "testsrc2=s=192x108:r=0.4:d=15", "-f", "lavfi", "-i", "sine=r=48000:d=15"},
             {"-c:a", "aac"}),
    };
}

TEST_F(Scrub, CachesShowTheSameInFilesOfEveryKind) {
    for (char const* clip : {"h264.mp4", "h264.mkv", "h264-nob.mp4", "h264-vfr.mkv", "h264-late.ts", "h264-edit.mp4",
                             "h264-ntsc.mp4", "mpeg2.ts", "mpeg4.avi", "vp8.webm", "theora.ogv", "hevc.mp4"})
        ExpectEqual(TestMedia(clip), 1, 150, false);
}

TEST_F(Scrub, CachesPlayTheVerySameSound) {
    // Lossy decoders keep a trace of where they began, and the ticks of some containers are longer than a sample.
    std::string const clip =
        MakeClip("scrub-pcm.mov", {"-i", TestMedia("h264.mp4"), "-c:v", "copy", "-c:a", "pcm_s16le"});
    for (std::string const& path : {clip, TestMedia("pcm.wav"), TestMedia("flac.flac")})
        ExpectEqual(path, 2, 300, true);
}

TEST_F(Scrub, CachesGoToTheSamePlacesInSoundAlone) {
    // Of Vorbis in Ogg: begun near the end, its decoder gives some samples that it leaves out in reading through.
    for (char const* clip : {"aac.m4a", "aac.aac", "mp3.mp3", "opus.ogg", "vorbis.ogg", "cover.m4a"})
        ExpectEqual(TestMedia(clip), 3, 300, false);
}

TEST_F(Scrub, NoBlockOfSoundComesTwiceWhereTimesAreRounded) {
    std::string const clip =
        MakeClip("scrub-opus.webm", {"-f", "lavfi", "-i", "sine=f=440:b=2:r=48000:d=4", "-ac", "2", "-c:a", "libopus"});
    for (bool const cached : {false, true}) {
        int64 end = 0;
        Host::ScrubOptions options;
        options.cached = cached;
        options.listener.sound = [&](iptr<Proc::IDataAudio> const& block) {
            EXPECT_GE(block->GetTime(), end - 1000) << cached;
            end = AddTime(block->GetTime(), block->GetDuration());
        };
        Host::RunScrub(Host::MediaFile::Open(clip), Host::ParseScrubScript("step 100000\n", "script"), options);
        EXPECT_GT(end, 3900000) << cached;
    }
    ExpectEqual(clip, 6, 300, false);
}

TEST_F(Scrub, CachesShowTheSameInOddFiles) {
    for (std::string const& clip : OddClips()) ExpectEqual(clip, 4, 150, false);
    ExpectEqual(Headless(folder), 5, 150, false);
}

TEST_F(Scrub, CachesShowTheSameInLongGroupsWhateverTheSeed) {
    for (uint64 seed = 10; seed < 13; ++seed) ExpectEqual(LongGroups(), seed, 150, false);
}

}  // namespace
}  // namespace Tarsel::Test
