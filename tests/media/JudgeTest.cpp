// The judge is judged first: what ffmpeg's stream copy makes must pass, and what is wrong on purpose must be found.
#include <gmock/gmock.h>

#include <fstream>
#include <set>

#include "contracts/Core/Time.h"
#include "tests/media/CutClips.h"
#include "tests/support/CutCheck.h"
#include "tests/support/CutLists.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

SourceMedia Open(std::string const& name) {
    auto const path = FamilyClip(name);
    auto const file = InspectFile(path);
    int64 end = 0;
    int64 begin = 0;
    if (auto const* video = file.First(StreamKind::Video)) begin = video->packets.front().time;
    for (auto const& stream : file.streams)
        for (auto const& packet : stream.packets)
            if (HasValue(packet.time) && HasValue(begin)) end = std::max(end, packet.time + packet.duration - begin);
    return SourceMedia(path, end);
}

void Copy(std::string const& from, std::string const& to, std::vector<std::string> const& options = {}) {
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", from, "-map", "0", "-c", "copy"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(to);
    auto const result = RunProgram(command);
    ASSERT_EQ(0, result.exitCode) << CommandText(command) << '\n' << result.errors;
}

std::string ClipName(::testing::TestParamInfo<std::string> const& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

std::vector<std::string> ClipNames() {
    std::set<std::string> names;
    for (auto const& clip : CutClips()) names.insert(clip.name);
    return {names.begin(), names.end()};
}

class Family : public ::testing::TestWithParam<std::string> {};

TEST_P(Family, ClipDecodesCleanlyAndNoPictureRepeats) {
    auto const source = Open(GetParam());
    // The reader of MP4 files says so of every cover picture.
    auto messages = source.messages;
    std::erase_if(messages,
                  [](std::string const& line) { return line.find("timescale not set") != std::string::npos; });
    EXPECT_THAT(messages, IsEmpty());
    for (std::size_t i = 1; i < source.pictures.size(); i++) {
        EXPECT_GT(source.pictures[i].time, source.pictures[i - 1].time) << i;
        EXPECT_TRUE(source.pictures[i].pixels != source.pictures[i - 1].pixels) << i;
    }
    for (std::size_t i = 0; i < source.packetTimes.size(); i++) EXPECT_TRUE(HasValue(source.packetTimes[i])) << i;
}

INSTANTIATE_TEST_SUITE_P(Clips, Family, ::testing::ValuesIn(ClipNames()), ClipName);

class PlainCopyOf : public ::testing::TestWithParam<std::string> {};

TEST_P(PlainCopyOf, ByAnotherToolPasses) {
    ScratchFolder const folder;
    auto const source = Open(GetParam());
    auto const copy = folder / ("copy" + std::filesystem::path(GetParam()).extension().string());
    ASSERT_NO_FATAL_FAILURE(Copy(source.file.path, copy));
    EXPECT_THAT(CheckPlainCopy(source, copy), IsEmpty());
    EXPECT_THAT(CheckByCommand(source.file.path, copy), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Clips, PlainCopyOf,
                         ::testing::Values("h264-closed.mp4", "h264-closed.mkv", "h264-2997.mp4", "h264-vfr.mkv",
                                           "h264-offset.mkv", "h264-two-audio.mkv", "hevc-closed.mp4", "mpeg4-b.mp4",
                                           "mpeg4.avi", "vp8.webm", "theora.mkv", "aac.m4a", "pcm.wav", "opus.ogg"),
                         ClipName);

TEST(Judge, FindsAMissingGroup) {
    ScratchFolder const folder;
    auto const source = Open("h264-closed.mp4");
    Copy(source.file.path, folder / "short.mp4", {"-t", "9.9"});
    EXPECT_THAT(CheckPlainCopy(source, folder / "short.mp4"), Contains(HasSubstr("is missing at the end")));
}

TEST(Judge, FindsShiftedSound) {
    ScratchFolder const folder;
    auto const source = Open("h264-closed.mkv");
    auto const path = source.file.path;
    auto const result = RunProgram({"ffmpeg", "-nostdin", "-v", "error", "-i", path, "-itsoffset", "0.005", "-i", path,
                                    "-map", "0:v", "-map", "1:a", "-c", "copy", folder / "shifted.mkv"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(CheckPlainCopy(source, folder / "shifted.mkv"), Contains(HasSubstr("instead of")));
}

TEST(Judge, FindsPicturesThatWereEncodedAgain) {
    ScratchFolder const folder;
    auto const source = Open("h264-closed.mp4");
    Copy(source.file.path, folder / "again.mp4", {"-c:v", "libx264", "-preset", "ultrafast", "-crf", "35"});
    auto const problems = CheckPlainCopy(source, folder / "again.mp4");
    EXPECT_THAT(problems, Contains(HasSubstr("was copied but decodes differently")));
    EXPECT_THAT(problems, Contains(HasSubstr("isn't the source's bytes")));
}

TEST(Judge, FindsOneFlippedBit) {
    ScratchFolder const folder;
    auto const source = Open("h264-closed.ts");
    auto bytes = ReadWholeFile(source.file.path);
    bytes[bytes.size() / 2 / 188 * 188 + 100] ^= 0x10;
    std::ofstream(folder / "flipped.ts", std::ios::binary) << bytes;
    EXPECT_THAT(CheckPlainCopy(source, folder / "flipped.ts"), Not(IsEmpty()));
}

TEST(Judge, FindsAPictureThatShouldHaveGone) {
    ScratchFolder const folder;
    auto const source = Open("h264-silent.mp4");
    Copy(source.file.path, folder / "whole.mp4");
    nlohmann::json const report = {{"streams", {{{"index", 0}, {"mode", "recode"}}}}};
    auto const problems =
        CheckCut(source, {false, {{7 * SECOND + 960000, TO_END}}, false}, folder / "whole.mp4", report);
    EXPECT_THAT(problems, Contains(HasSubstr("should not be")));
    EXPECT_THAT(problems, Contains(HasSubstr("the report lacks something")));
}

TEST(Oracle, MovesEndsUpToTheNextPicture) {
    auto const source = Open("h264-silent.mp4");
    EXPECT_EQ((TimeRanges{{1040000, 3000000}}), RangesOnPictures(source, {false, {{1000001, 2960001}}, false}));
    EXPECT_EQ((TimeRanges{{1000000, 2960000}}), RangesOnPictures(source, {false, {{1000000, 2960000}}, false}));
    EXPECT_EQ(TimeRanges{}, RangesOnPictures(source, {false, {{1000001, 1000002}}, false}));
    EXPECT_EQ((TimeRanges{{0, 1000000}, {2000000, source.duration}}),
              RangesOnPictures(source, {true, {{1000000, 2000000}}, false}));
}

TEST(Oracle, MovesEndsToKeyPicturesInwardAndOutward) {
    auto const source = Open("h264-silent.mp4");
    TimeRanges const middle{{1000000, 5000000}};
    EXPECT_EQ((TimeRanges{{2000000, 4000000}}), RangesOnGroups(source, middle, false));
    EXPECT_EQ((TimeRanges{{0, 6000000}}), RangesOnGroups(source, middle, true));
    EXPECT_EQ(TimeRanges{}, RangesOnGroups(source, {{1000000, 1500000}}, false));
}

TEST(Oracle, TellsTheFateOfGroups) {
    auto const source = Open("h264-silent.mp4");
    auto const cut = ExpectCut(source, {false, {{1000000, 4000000}}, false}, false);
    EXPECT_EQ((std::vector{GroupFate::Recoded, GroupFate::Dropped, GroupFate::Copied, GroupFate::Copied}), cut.fates);
    EXPECT_EQ(125U, cut.pictures.size());
    EXPECT_EQ(1000000, cut.pictures[25].time);
    EXPECT_TRUE(cut.pictures[25].exact);
    EXPECT_FALSE(cut.pictures[24].exact);
}

TEST(Oracle, OpenGroupsHaveLeadingPictures) {
    EXPECT_TRUE(Open("h264-open.mp4").HasLeading());
    EXPECT_TRUE(Open("mpeg2-open.ts").HasLeading());
    EXPECT_TRUE(Open("hevc-open.mkv").HasLeading());
    EXPECT_FALSE(Open("mpeg2-closed.ts").HasLeading());
    EXPECT_FALSE(Open("h264-closed.ts").HasLeading());
    EXPECT_FALSE(Open("hevc-closed.mp4").HasLeading());
}

}  // namespace
}  // namespace Tarsel::Test
