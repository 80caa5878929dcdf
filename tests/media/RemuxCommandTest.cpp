// What a person types at `tarsel remux`, and what the program answers.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/MediaFamily.h"
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
using ::testing::Not;

std::string Clip() {
    return FamilyClip("h264-closed.mp4");
}

ProgramResult RemuxInto(std::string const& output, std::vector<std::string> const& options = {}) {
    std::vector<std::string> arguments{"remux", Clip(), "-o", output};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTarsel(arguments);
}

TEST(RemuxUsage, MistakesExitWithTwoAndNameTheOption) {
    struct Mistake {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (auto const& [arguments, named] :
         std::vector<Mistake>{{{"remux", Clip()}, "--output"},
                              {{"remux", "-o", "/nowhere/out.ts"}, "input"},
                              {{"remux", Clip(), "-o"}, "--output"},
                              {{"remux", Clip(), "-o", "/nowhere/out.ts", "--remove", "1-2"}, "--remove"},
                              {{"remux", Clip(), "second.mp4", "-o", "/nowhere/out.ts"}, "second.mp4"}}) {
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
        EXPECT_THAT(result.output, IsEmpty()) << CommandText(arguments);
    }
}

TEST(RemuxReport, TellsStreamsFramingsAndCounts) {
    ScratchFolder const folder;
    auto const result = RemuxInto(folder / "out.ts", {"--json", "--verify"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, IsEmpty());
    auto const report = ParseOutput(result);
    EXPECT_EQ(Clip(), report.at("input"));
    EXPECT_EQ(folder / "out.ts", report.at("output"));
    EXPECT_EQ("mpegts", report.at("container"));
    EXPECT_EQ(Json::array(), report.at("warnings"));
    EXPECT_EQ(true, report.at("verified"));
    EXPECT_GT(report.at("wall_seconds").get<double>(), 0);
    auto const source = InspectFile(Clip());
    auto const& streams = report.at("streams");
    ASSERT_EQ(2U, streams.size());
    EXPECT_EQ(Json({{"index", 0},
                    {"kind", "video"},
                    {"codec", "h264"},
                    {"packets", source.streams[0].packets.size()},
                    {"dropped", 0},
                    {"framing_in", "length"},
                    {"framing_out", "annexb"}}),
              streams[0]);
    EXPECT_EQ(Json({{"index", 1},
                    {"kind", "audio"},
                    {"codec", "aac"},
                    {"packets", source.streams[1].packets.size()},
                    {"dropped", 0},
                    {"framing_in", "raw"},
                    {"framing_out", "adts"}}),
              streams[1]);
}

TEST(RemuxReport, WithoutVerificationSaysSo) {
    ScratchFolder const folder;
    EXPECT_EQ(nullptr, ParseOutput(RemuxInto(folder / "out.mkv", {"--json"})).at("verified"));
}

TEST(RemuxReport, TextNamesEachChangeOfFraming) {
    ScratchFolder const folder;
    auto const result = RemuxInto(folder / "out.ts");
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("#0 video h264"), HasSubstr("framing length to annexb"),
                                     HasSubstr("framing raw to adts")));
    EXPECT_THAT(RemuxInto(folder / "out.mkv").output, Not(HasSubstr("framing")));
}

TEST(RemuxExit, StrictMakesWarningsAnExitCode) {
    ScratchFolder const folder;
    EXPECT_EQ(0, RemuxInto(folder / "a.h264").exitCode);
    auto const strict = RemuxInto(folder / "b.h264", {"--strict"});
    EXPECT_EQ(3, strict.exitCode);
    EXPECT_THAT(strict.errors, HasSubstr("stream #1 (audio, aac) is left out: h264 can't carry aac"));
    EXPECT_EQ(0, RemuxInto(folder / "c.mkv", {"--strict"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("a.h264", "b.h264", "c.mkv"));
}

TEST(RemuxExit, WhatNoStreamFitsIntoFails) {
    ScratchFolder const folder;
    auto const result = RemuxInto(folder / "out.ogg");
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("no stream can go into the result"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(RemuxOutput, AnExistingFileStaysWithoutForce) {
    ScratchFolder const folder;
    std::ofstream(folder / "out.ts") << "precious";
    auto const refused = RemuxInto(folder / "out.ts");
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.errors, HasSubstr(folder / "out.ts: exists already"));
    EXPECT_EQ("precious", ReadWholeFile(folder / "out.ts"));
    EXPECT_EQ(0, RemuxInto(folder / "out.ts", {"--force"}).exitCode);
    EXPECT_NE("precious", ReadWholeFile(folder / "out.ts"));
    EXPECT_THAT(folder.List(), ElementsAre("out.ts"));
}

TEST(RemuxOutput, TheInputUnderAnyNameIsRefused) {
    ScratchFolder const folder;
    fs::copy_file(Clip(), folder / "in.mp4");
    fs::create_symlink("in.mp4", folder / "symlink.mp4");
    auto const before = ReadWholeFile(folder / "in.mp4");
    for (auto const& name : {"in.mp4", "symlink.mp4"}) {
        auto const result = RunTarsel({"remux", folder / "in.mp4", "-o", folder / name, "--force"});
        EXPECT_EQ(1, result.exitCode) << name;
        EXPECT_THAT(result.errors, HasSubstr("is the input")) << name;
        EXPECT_TRUE(before == ReadWholeFile(folder / "in.mp4")) << name;
    }
}

TEST(RemuxOutput, PlacesWhereNoFileCanBeAreNamed) {
    ScratchFolder const folder;
    for (auto const& place : {folder / "missing/out.ts", folder / "out.unknown", folder / "out", folder / "out.mpg"}) {
        auto const result = RemuxInto(place);
        EXPECT_EQ(1, result.exitCode) << place;
        EXPECT_THAT(result.errors, HasSubstr(place)) << place;
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(RemuxOutput, AMissingInputLeavesNothing) {
    ScratchFolder const folder;
    auto const result = RunTarsel({"remux", folder / "none.mp4", "-o", folder / "out.ts"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(folder / "none.mp4: there is no such file"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

/// An MP4 whose pictures have lengths that lead out of their packets, `count` times.
void BreakLengths(std::string const& path, StreamInspection const& video, std::size_t count) {
    std::string bytes = ReadWholeFile(path);
    for (std::size_t i = 0; i < count; i++) {
        auto const& data = video.packets[20 + 10 * i].data;
        auto const at = bytes.find(std::string(data.begin(), data.end()));
        ASSERT_NE(std::string::npos, at);
        bytes[at] = '\x7F';
    }
    std::ofstream(path, std::ios::binary) << bytes;
}

TEST(RemuxOutput, PacketsWithBrokenFramingAreLeftOutAndCounted) {
    ScratchFolder const folder;
    fs::copy_file(Clip(), folder / "in.mp4");
    auto const source = InspectFile(Clip());
    BreakLengths(folder / "in.mp4", source.streams[0], 3);
    auto const result = RunTarsel({"remux", folder / "in.mp4", "-o", folder / "out.ts", "--json", "--strict"});
    EXPECT_EQ(3, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("stream #0: 3 packets with broken framing are left out"));
    auto const video = ParseOutput(result).at("streams").at(0);
    EXPECT_EQ(3, video.at("dropped"));
    EXPECT_EQ(source.streams[0].packets.size() - 3, video.at("packets").get<std::size_t>());
    EXPECT_EQ(source.streams[0].packets.size() - 3, InspectFile(folder / "out.ts").streams[0].packets.size());
}

TEST(RemuxExit, AStreamOfNothingButBrokenPacketsFailsAndLeavesNothing) {
    ScratchFolder const folder;
    std::string bytes = ReadWholeFile(FamilyClip("h264-silent.mp4"));
    std::size_t const box = bytes.find("mdat");
    ASSERT_NE(std::string::npos, box);
    u64 size = 0;
    for (std::size_t i = box - 4; i < box; ++i) size = size << 8 | static_cast<unsigned char>(bytes[i]);
    ASSERT_GT(size, 8U);
    ASSERT_LE(box - 4 + size, bytes.size());
    // Units of length 0, all of them.
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(box) + 4, size - 8, '\0');
    std::ofstream(folder / "in.mp4", std::ios::binary) << bytes;
    auto const result = RunTarsel({"remux", folder / "in.mp4", "-o", folder / "out.ts"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("nothing can go into the result"), HasSubstr("broken framing")));
    EXPECT_THAT(folder.List(), ElementsAre("in.mp4"));
}

TEST(RemuxOutput, EverythingBesideThePacketsGoesAlong) {
    ScratchFolder const folder;
    auto const out = folder / "out.mkv";
    ASSERT_EQ(0, RunTarsel({"remux", FamilyClip("h264-rich.mkv"), "-o", out, "--verify", "--strict"}).exitCode);
    auto const before = InspectFile(FamilyClip("h264-rich.mkv"));
    auto const after = InspectFile(out);
    ASSERT_EQ(before.streams.size(), after.streams.size());
    for (std::size_t i = 0; i < before.streams.size(); i++) {
        EXPECT_EQ(before.streams[i].codec, after.streams[i].codec) << i;
        EXPECT_EQ(before.streams[i].kind, after.streams[i].kind) << i;
        EXPECT_EQ(before.streams[i].packets.size(), after.streams[i].packets.size()) << i;
    }
    ASSERT_EQ(before.chapters.size(), after.chapters.size());
    EXPECT_EQ(before.chapters[1].title, after.chapters[1].title);
    EXPECT_EQ(before.metadata.at("title"), after.metadata.at("title"));
}

TEST(RemuxOutput, WhatAnEditListHidesStaysHiddenInMp4AndIsShownInATransportStream) {
    ScratchFolder const folder;
    auto const clip = MakeClip("edit.mp4", {"-ss", "1.2", "-i", Clip(), "-c", "copy", "-bitexact"});
    Messages messages;
    auto const shown = DecodePictures(clip, 0, messages).size();
    auto const all = InspectFile(clip).streams[0].packets.size();
    ASSERT_LT(shown, all);
    for (auto const& [target, count] : {std::pair{"out.mp4", shown}, std::pair{"out.ts", all}}) {
        auto const result = RunTarsel({"remux", clip, "-o", folder / target, "--verify"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        EXPECT_EQ(count, DecodePictures(folder / target, 0, messages).size()) << target;
    }
}

/// Sound from the start, pictures half a second later.
std::string LatePictures(std::string const& extension) {
    return MakeClip("late-pictures." + extension, {"-f",
                                                   "lavfi",
                                                   "-i",
                                                   "testsrc2=s=96x64:r=25:d=1",
                                                   "-f",
                                                   "lavfi",
                                                   "-i",
                                                   "sine=sample_rate=48000:d=1.5",
                                                   "-filter_complex",
                                                   "[0:v]setpts=PTS+0.5/TB[v]",
                                                   "-map",
                                                   "[v]",
                                                   "-map",
                                                   "1:a",
                                                   "-c:v",
                                                   "libx264",
                                                   "-preset",
                                                   "ultrafast",
                                                   "-g",
                                                   "10",
                                                   "-c:a",
                                                   "aac",
                                                   "-bitexact"});
}

TEST(RemuxOutput, SoundThatBeginsAheadOfThePicturesIsHeardInMp4) {
    ScratchFolder const folder;
    Messages messages;
    for (char const* source : {"mkv", "ts"}) {
        for (char const* target : {"out.mp4", "out.mov"}) {
            auto const out = folder / target;
            auto const result = RunTarsel({"remux", LatePictures(source), "-o", out, "--verify", "--force"});
            ASSERT_EQ(0, result.exitCode) << result.errors;
            auto const before = DecodeSound(LatePictures(source), 1, messages);
            auto const after = DecodeSound(out, 1, messages);
            // Matroska says what the encoder primed, and MP4 hides it.
            EXPECT_GE(after.samples.size() + 1024, before.samples.size()) << source << target;
            auto const pictures = DecodePictures(out, 0, messages);
            ASSERT_EQ(25U, pictures.size()) << source << target;
            EXPECT_NEAR(500000, static_cast<double>(pictures[0].time - after.start), 25000) << source << target;
        }
    }
}

TEST(RemuxOutput, ALaterStartStaysToTheSampleFromMp4ToMov) {
    ScratchFolder const folder;
    auto const clip = MakeClip("late-sound.ts", {"-f", "lavfi", "-i", "testsrc2=s=96x64:r=25:d=2", "-itsoffset",
                                                 "0.7137", "-f", "lavfi", "-i", "sine=sample_rate=44100:d=1", "-c:v",
                                                 "libx264", "-preset", "ultrafast", "-c:a", "aac", "-bitexact"});
    auto const offset = [](std::string const& path) {
        auto const file = InspectFile(path);
        int64 first = file.streams[0].packets[0].time;
        for (PacketInfo const& packet : file.streams[0].packets) first = std::min(first, packet.time);
        return static_cast<double>(file.streams[1].packets[0].time - first);
    };
    std::string from = clip;
    for (char const* target : {"a.mp4", "b.mov", "c.mp4"}) {
        ASSERT_EQ(0, RunTarsel({"remux", from, "-o", folder / target}).exitCode) << target;
        from = folder / target;
        EXPECT_NEAR(offset(clip), offset(from), 1000000.0 / 44100) << target;
    }
}

TEST(RemuxOutput, PrimingOfSoundStaysHiddenInMp4) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RunTarsel({"remux", Clip(), "-o", folder / "out.mp4"}).exitCode);
    ASSERT_EQ(0, RunTarsel({"remux", Clip(), "-o", folder / "way.ts"}).exitCode);
    ASSERT_EQ(0, RunTarsel({"remux", folder / "way.ts", "-o", folder / "back.mp4"}).exitCode);
    auto const before = InspectFile(Clip());
    for (char const* name : {"out.mp4", "back.mp4"}) {
        auto const after = InspectFile(folder / name);
        EXPECT_EQ(before.streams[0].packets[0].time, after.streams[0].packets[0].time) << name;
        EXPECT_EQ(before.streams[1].packets[0].time, after.streams[1].packets[0].time) << name;
    }
}

TEST(RemuxOutput, WhatTheWriterRefusesIsLeftOutAndNamed) {
    ScratchFolder const folder;
    auto const clip = MakeClip("two-of-each.mkv", {"-f",      "lavfi",     "-i",       "testsrc2=s=96x64:r=25:d=1",
                                                   "-f",      "lavfi",     "-i",       "sine=sample_rate=48000:d=1",
                                                   "-map",    "0:v",       "-map",     "0:v",
                                                   "-map",    "1:a",       "-map",     "1:a",
                                                   "-map",    "1:a",       "-c:v",     "libx264",
                                                   "-preset", "ultrafast", "-c:a",     "aac",
                                                   "-c:a:2",  "flac",      "-bitexact"});
    struct Case {
        std::string target;
        std::size_t streams;
        std::vector<std::string> left;
    };
    for (auto const& [target, streams, left] : std::vector<Case>{
             {"out.h264", 1, {"#1 (video, h264) is left out: h264 can't carry a second stream of its kind"}},
             {"out.aac", 1, {"#3 (audio, aac) is left out: adts can't carry a second stream of its kind"}},
             {"out.flv",
              2,
              {"#1 (video, h264) is left out: flv can't carry a second stream of its kind",
               "#3 (audio, aac) is left out: flv can't carry a second stream of its kind",
               "#4 (audio, flac) is left out: flv can't carry flac"}},
             {"out.mov", 4, {"#4 (audio, flac) is left out: mov can't carry flac"}},
             {"out.mp4", 5, {}},
             {"out.mkv", 5, {}}}) {
        auto const result = RunTarsel({"remux", clip, "-o", folder / target, "--verify"});
        ASSERT_EQ(0, result.exitCode) << target << result.errors;
        EXPECT_EQ(streams, InspectFile(folder / target).streams.size()) << target;
        for (std::string const& warning : left) EXPECT_THAT(result.errors, HasSubstr(warning)) << target;
    }
}

TEST(RemuxVerify, ChannelsThatAProgramConfigElementTellsAreNoMismatch) {
    ScratchFolder const folder;
    auto const clip =
        MakeClip("aac-6.1.ts", {"-f", "lavfi", "-i", "sine=sample_rate=48000:d=1", "-af",
                                "pan=6.1|c0=c0|c1=c0|c2=c0|c3=c0|c4=c0|c5=c0|c6=0.5*c0", "-c:a", "aac", "-bitexact"});
    Messages messages;
    auto const before = DecodeSound(clip, 0, messages);
    ASSERT_EQ(7, before.channels);
    for (char const* target : {"out.mp4", "out.mkv", "out.aac", "out.ts"}) {
        auto const result = RunTarsel({"remux", clip, "-o", folder / target, "--verify"});
        ASSERT_EQ(0, result.exitCode) << target << result.errors;
        auto const after = DecodeSound(folder / target, 0, messages);
        EXPECT_EQ(7, after.channels) << target;
        EXPECT_EQ(before.samples, after.samples) << target;
    }
}

TEST(RemuxOutput, RotationAndCoverGoAlong) {
    ScratchFolder const folder;
    auto const clip = FamilyClip("h264-rich.mp4");
    auto const before = InspectFile(clip);
    ASSERT_NE(0, before.First(StreamKind::Video)->rotation);
    for (char const* target : {"out.mp4", "out.mov"}) {
        auto const result = RunTarsel({"remux", clip, "-o", folder / target, "--verify"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        auto const after = InspectFile(folder / target);
        EXPECT_EQ(before.First(StreamKind::Video)->rotation, after.First(StreamKind::Video)->rotation) << target;
        bool const carries = std::string(target) == "out.mp4";
        EXPECT_EQ(carries, after.First(StreamKind::Cover) != nullptr) << target;
        EXPECT_EQ(!carries, result.errors.find("mov can't carry cover pictures") != std::string::npos) << target;
    }
}

}  // namespace
}  // namespace Tarsel::Test
