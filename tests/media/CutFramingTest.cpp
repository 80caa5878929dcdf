// Cuts whose result has another framing than the source.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "contracts/Core/Time.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Pair {
    std::string clip;
    std::string target;
};

class CutInto : public ::testing::TestWithParam<Pair> {};

TEST_P(CutInto, DecodesWithoutAComplaintAndStandsItsVerification) {
    ScratchFolder const folder;
    auto const& [clip, target] = GetParam();
    auto const source = OpenSource(FamilyClip(clip));
    auto const out = folder / ("out." + target);
    // Groups of 50 pictures, in HEVC of 31: inside a group where it can be encoded again.
    auto const result = RunTarsel({"cut", FamilyClip(clip), "-o", out, "--remove", "1.6-4.4", "--verify", "--json"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const video = ParseOutput(result).at("streams").at(0);
    auto const packets = video.at("packets_copied").get<std::size_t>() + video.at("packets_recoded").get<std::size_t>();
    EXPECT_EQ(source.pictures.size(), packets + video.at("packets_dropped").get<std::size_t>());
    Messages messages;
    EXPECT_EQ(packets, DecodePictures(out, 0, messages).size());
    EXPECT_THAT(messages, IsEmpty());
}

std::string PairName(::testing::TestParamInfo<Pair> const& pair) {
    std::string name = pair.param.clip + "_to_" + pair.param.target;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Clips, CutInto,
                         ::testing::Values(Pair{"h264-closed.mp4", "h264"}, Pair{"h264-closed.ts", "h264"},
                                           Pair{"h264-closed.ts", "ts"}, Pair{"h264-closed.ts", "mkv"},
                                           Pair{"h264-closed.ts", "flv"}, Pair{"h264-closed.mp4", "avi"},
                                           Pair{"h264-closed.mkv", "ts"}, Pair{"hevc-closed.mp4", "ts"},
                                           Pair{"hevc-closed.mp4", "hevc"}, Pair{"hevc-closed.ts", "mp4"},
                                           Pair{"hevc-closed.ts", "mkv"}, Pair{"hevc-closed.ts", "hevc"}),
                         PairName);

TEST(CutRaw, H264IsCutAtAnyPicture) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RunTarsel({"remux", FamilyClip("h264-silent.mp4"), "-o", folder / "in.h264"}).exitCode);
    auto const whole = OpenSource(FamilyClip("h264-silent.mp4"));
    for (char const* target : {"out.mp4", "out.h264", "out.ts"}) {
        auto const result =
            RunTarsel({"cut", folder / "in.h264", "-o", folder / target, "--remove", "1-3.4", "--verify", "--json"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        auto const report = ParseOutput(result);
        EXPECT_EQ("recode", report.at("streams").at(0).at("mode")) << target;
        EXPECT_EQ(nlohmann::json::parse("[[1000000, 3400000]]"), report.at("removed_us")) << target;
        Messages messages;
        auto const pictures = DecodePictures(folder / target, 0, messages);
        EXPECT_THAT(messages, IsEmpty()) << target;
        ASSERT_EQ(whole.pictures.size() - 60, pictures.size()) << target;
        // Copied groups are the very same pictures: those behind the group that holds the seam.
        for (std::size_t i = 100; i < whole.pictures.size(); i++)
            ASSERT_TRUE(whole.pictures[i].pixels == pictures[i - 60].pixels) << target << " picture " << i;
    }
}

TEST(CutFraming, PacketsWithBrokenFramingAreNamedAndCountedAsDropped) {
    ScratchFolder const folder;
    auto const clip = FamilyClip("h264-silent.mp4");
    auto const source = InspectFile(clip);
    std::string bytes = ReadWholeFile(clip);
    auto const& data = source.streams[0].packets[160].data;
    auto const at = bytes.find(std::string(data.begin(), data.end()));
    ASSERT_NE(std::string::npos, at);
    bytes[at] = '\x7F';
    std::ofstream(folder / "in.mp4", std::ios::binary) << bytes;
    auto const result = RunTarsel({"cut", folder / "in.mp4", "-o", folder / "out.ts", "--remove", "2-4", "--json"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("stream #0: 1 packets with broken framing are left out"));
    auto const video = ParseOutput(result).at("streams").at(0);
    EXPECT_EQ(149, video.at("packets_copied"));
    EXPECT_EQ(0, video.at("packets_recoded"));
    EXPECT_EQ(51, video.at("packets_dropped"));
}

}  // namespace
}  // namespace Tarsel::Test
