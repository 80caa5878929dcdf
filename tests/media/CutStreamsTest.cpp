// What else a file carries, and what becomes of it in a cut: further tracks, subtitles, chapters, attachments, names,
// rotation.
#include <gmock/gmock.h>

#include "contracts/Core/Time.h"
#include "tests/support/CutCheck.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// A cut through the program, and everything that came of it.
struct Cut {
    Cut(std::string const& clip, std::string const& target, std::vector<std::string> const& options)
        : path(folder / ("out." + target)) {
        std::vector<std::string> arguments{"cut", FamilyClip(clip), "-o", path, "--json", "--verify"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        result = RunTarsel(arguments);
        if (result.exitCode != 0) return;
        report = ParseOutput(result);
        file = InspectFile(path);
    }
    std::vector<std::string> Warnings() const { return report.value("warnings", std::vector<std::string>()); }

    ScratchFolder folder;
    std::string path;
    ProgramResult result;
    nlohmann::json report;
    FileInspection file;
};

std::vector<std::string> KindsOf(FileInspection const& file) {
    std::vector<std::string> kinds;
    for (auto const& stream : file.streams)
        kinds.push_back(std::to_string(static_cast<int>(stream.kind)) + stream.codec);
    return kinds;
}

TEST(CutStreams, ChaptersMoveThroughTheTimeMap) {
    TimeRanges const removed{{2 * SECOND, 4 * SECOND}, {8 * SECOND, 9 * SECOND}};
    for (auto const& [clip, target] : {std::pair{"h264-rich.mkv", "mkv"}, std::pair{"h264-rich.mp4", "mp4"}}) {
        auto const source = OpenSource(FamilyClip(clip));
        Cut const cut(clip, target, {"--remove", "2-4", "--remove", "8-9"});
        ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
        auto const result = OpenSource(cut.path);
        ASSERT_EQ(3U, cut.file.chapters.size());
        for (std::size_t i = 0; i < 3; i++) {
            // Chapters stand on the file's own axis; the first one begins ahead of the first picture, where nothing can
            // be.
            auto const wanted = MapTime(removed, source.file.chapters[i].start - source.zero);
            EXPECT_NEAR(std::max<int64>(wanted, -result.zero), cut.file.chapters[i].start - result.zero, 1100)
                << clip << i;
            EXPECT_EQ(source.file.chapters[i].title, cut.file.chapters[i].title) << clip;
        }
    }
}

TEST(CutStreams, AChapterThatIsWhollyRemovedGoes) {
    Cut const cut("h264-rich.mkv", "mkv", {"--remove", "2.96-6.52"});
    ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
    std::vector<std::string> titles;
    for (auto const& chapter : cut.file.chapters) titles.push_back(chapter.title);
    EXPECT_THAT(titles, ElementsAre("Opening", "Closing"));
}

TEST(CutStreams, EveryStreamOfARichFileIsKept) {
    for (auto const& [clip, target] : {std::pair{"h264-rich.mkv", "mkv"}, std::pair{"h264-rich.mp4", "mp4"}}) {
        Cut const cut(clip, target, {"--remove", "1-3"});
        ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
        EXPECT_EQ(KindsOf(InspectFile(FamilyClip(clip))), KindsOf(cut.file)) << clip;
    }
}

TEST(CutStreams, AttachmentAndCoverAreTheSameBytes) {
    auto const source = InspectFile(FamilyClip("h264-rich.mkv"));
    Cut const cut("h264-rich.mkv", "mkv", {"--remove", "1-3"});
    ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
    auto const* attachment = cut.file.First(StreamKind::Attachment);
    ASSERT_NE(nullptr, attachment);
    EXPECT_EQ("an attachment\n", std::string(attachment->extradata.begin(), attachment->extradata.end()));
    EXPECT_EQ("notes.ttf", attachment->metadata.at("filename"));
    for (char const* clip : {"h264-rich.mkv", "h264-rich.mp4"}) {
        auto const in = InspectFile(FamilyClip(clip));
        Cut const rich(clip, std::string(clip).substr(10), {"--remove", "0-3"});
        ASSERT_EQ(0, rich.result.exitCode) << rich.result.errors;
        auto const* cover = rich.file.First(StreamKind::Cover);
        ASSERT_NE(nullptr, cover) << clip;
        ASSERT_EQ(1U, cover->packets.size()) << clip;
        EXPECT_TRUE(in.First(StreamKind::Cover)->packets.front().data == cover->packets.front().data) << clip;
    }
}

TEST(CutStreams, MetadataLanguagesAndRotationStay) {
    Cut const cut("h264-rich.mp4", "mp4", {"--remove", "1-3"});
    ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
    EXPECT_EQ("A clip with everything", cut.file.metadata.at("title"));
    EXPECT_EQ("The generator", cut.file.metadata.at("artist"));
    EXPECT_EQ(InspectFile(FamilyClip("h264-rich.mp4")).First(StreamKind::Video)->rotation,
              cut.file.First(StreamKind::Video)->rotation);
    EXPECT_NE(0, cut.file.First(StreamKind::Video)->rotation);
    EXPECT_EQ("fra", cut.file.First(StreamKind::Audio)->metadata.at("language"));
    EXPECT_EQ("eng", cut.file.First(StreamKind::Subtitle)->metadata.at("language"));
}

TEST(CutStreams, RotationThatAContainerCannotCarryIsNamedInAWarning) {
    for (char const* target : {"mkv", "ts"}) {
        Cut const cut("h264-rich.mp4", target, {"--remove", "1-3"});
        ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
        EXPECT_EQ(0, cut.file.First(StreamKind::Video)->rotation) << target;
        EXPECT_THAT(cut.Warnings(), Contains(HasSubstr("loses its rotation"))) << target;
    }
    Cut const kept("h264-rich.mp4", "mp4", {"--remove", "1-3"});
    EXPECT_THAT(kept.Warnings(), Not(Contains(HasSubstr("rotation"))));
}

TEST(CutStreams, WhatAContainerCannotCarryIsNamedInAWarning) {
    Cut const cut("h264-rich.mkv", "ts", {"--remove", "1-3"});
    ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
    EXPECT_THAT(cut.Warnings(), Contains(AnyOf(HasSubstr("ass"), HasSubstr("subtitle"))));
    EXPECT_THAT(cut.Warnings(), Contains(AnyOf(HasSubstr("attachment"), HasSubstr("notes.ttf"))));
    EXPECT_THAT(cut.Warnings(), Contains(HasSubstr("chapter")));
    EXPECT_NE(nullptr, cut.file.First(StreamKind::Video));
    EXPECT_NE(nullptr, cut.file.First(StreamKind::Audio));
}

TEST(CutStreams, AudioThatAContainerCannotCarryIsNamedInAWarning) {
    Cut const cut("theora.mkv", "mp4", {"--remove", "1-3"});
    if (cut.result.exitCode == 0)
        EXPECT_THAT(cut.Warnings(), Contains(AnyOf(HasSubstr("theora"), HasSubstr("vorbis"))));
    else
        EXPECT_THAT(cut.result.errors, AnyOf(HasSubstr("theora"), HasSubstr("out.mp4")));
}

TEST(CutStreams, AProgramStreamTargetIsRefusedByName) {
    for (char const* name : {"mpeg2-open.mpg", "h264-closed.mp4"}) {
        Cut const cut(name, "mpg", {"--remove", "1-3"});
        EXPECT_EQ(1, cut.result.exitCode);
        EXPECT_THAT(cut.result.errors, HasSubstr("out.mpg"));
        EXPECT_THAT(cut.folder.List(), IsEmpty());
    }
}

TEST(CutStreams, AFileThatWasCutOnceCanBeCutAgain) {
    ScratchFolder const folder;
    auto const once = folder / "once.mp4";
    ASSERT_EQ(0, RunTarsel({"cut", FamilyClip("h264-closed.mp4"), "-o", once, "--remove", "1-5"}).exitCode);
    auto const source = OpenSource(once);
    EXPECT_THAT(source.messages, IsEmpty());
    std::string input = once;
    TimeRange const range{SECOND / 2, 3 * SECOND};
    for (std::string name : {"twice.mp4", "thrice.mp4", "again.mp4"}) {
        auto const before = OpenSource(input);
        auto const result = RunTarsel({"cut", input, "-o", folder / name, "--remove", "0.5-3", "--verify", "--json"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        auto const report = ParseOutput(result);
        EXPECT_EQ("recode", report.at("streams").at(0).at("mode"));
        EXPECT_THAT(CheckCut(before, {false, {range}, false}, folder / name, report), IsEmpty()) << name;
        input = folder / name;
    }
}

TEST(CutStreams, OneGroupRemovedWholeLeavesTheNextOneWhole) {
    auto const source = OpenSource(FamilyClip("h264-closed.mp4"));
    for (TimeRange const range :
         {TimeRange{1000000, 5000000}, TimeRange{2000000, 4000000}, TimeRange{1000000, 4000000}}) {
        ScratchFolder const folder;
        auto const text = std::to_string(range.begin) + "us-" + std::to_string(range.end) + "us";
        auto const result =
            RunTarsel({"cut", source.file.path, "-o", folder / "out.mp4", "--remove", text, "--json", "--verify"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        EXPECT_THAT(CheckCut(source, {false, {range}, false}, folder / "out.mp4", ParseOutput(result)), IsEmpty())
            << text;
    }
}

TEST(CutStreams, TheLastPacketsOfEveryStreamStay) {
    for (char const* clip : {"h264-all-key.mp4", "h264-closed.mkv", "h264-two-audio.mp4", "mpeg2-closed.ts"}) {
        auto const source = OpenSource(FamilyClip(clip));
        ScratchFolder const folder;
        auto const output = folder / ("out" + std::filesystem::path(clip).extension().string());
        auto const result = RunTarsel({"cut", source.file.path, "-o", output, "--remove", "1-2", "--json"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        EXPECT_THAT(CheckCut(source, {false, {{SECOND, 2 * SECOND}}, false}, output, ParseOutput(result)), IsEmpty())
            << clip;
    }
}

TEST(CutStreams, KeepingEverythingIsAPlainCopy) {
    for (char const* clip :
         {"h264-closed.mp4", "h264-closed.mkv", "h264-closed.ts", "h264-open.mp4", "h264-vfr.mp4", "h264-offset.mkv",
          "h264-rich.mkv", "h264-rich.mp4", "hevc-open.mkv", "mpeg2-open.ts", "mpeg4-b.avi", "wmv2.wmv",
          "vp8-hidden.webm", "theora.ogv", "aac.m4a", "mp3.mp3", "pcm.wav", "opus.ogg", "flac.flac"}) {
        auto const source = OpenSource(FamilyClip(clip));
        ScratchFolder const folder;
        auto const output = folder / ("out" + std::filesystem::path(clip).extension().string());
        auto const result = RunTarsel({"cut", source.file.path, "-o", output, "--keep", "start-end", "--verify"});
        ASSERT_EQ(0, result.exitCode) << clip << ": " << result.errors;
        EXPECT_THAT(CheckPlainCopy(source, output), IsEmpty()) << clip;
    }
}

TEST(CutStreams, ManyRangesDoNotMakeTheStreamsDriftApart) {
    auto const source = OpenSource(FamilyClip("h264-long.mp4"));
    ScratchFolder const folder;
    CutRequest request;
    std::vector<std::string> arguments{"cut", source.file.path, "-o", folder / "out.mp4", "--json"};
    for (int64 begin = 300000; begin < 29 * SECOND; begin += 1010000) {
        request.ranges.push_back({begin, begin + 333333});
        arguments.insert(arguments.end(),
                         {"--remove", std::to_string(begin) + "us-" + std::to_string(begin + 333333) + "us"});
    }
    auto const result = RunTarsel(arguments);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(CheckCut(source, request, folder / "out.mp4", ParseOutput(result)), IsEmpty());
}

TEST(CutStreams, OpenGroupsTellWhatASeamCosts) {
    Cut const cut("h264-open.mp4", "mp4", {"--remove", "2-6"});
    ASSERT_EQ(0, cut.result.exitCode) << cut.result.errors;
    EXPECT_THAT(cut.Warnings(), Contains(HasSubstr("withhold up to 16")));
    EXPECT_THAT(cut.Warnings(), Contains(HasSubstr("2 pictures go")));
}

}  // namespace
}  // namespace Tarsel::Test
