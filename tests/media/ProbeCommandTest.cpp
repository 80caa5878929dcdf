// `tarsel probe`, `tarsel filters` and the help of every command.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "contracts/Core/Time.h"
#include "tests/media/CutClips.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

Json ProbeOf(std::string const& clip) {
    auto const result = RunTarsel({"probe", FamilyClip(clip), "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    return ParseOutput(result);
}

TEST(Probe, TellsStreamsGroupsAndHowTheyAreCut) {
    auto const probe = ProbeOf("h264-closed.mp4");
    EXPECT_EQ(FamilyClip("h264-closed.mp4"), probe.at("input"));
    EXPECT_THAT(probe.at("container").get<std::string>(), HasSubstr("mp4"));
    EXPECT_NEAR(12.0 * SECOND, probe.at("duration_us").get<double>(), 0.05 * SECOND);
    ASSERT_EQ(2U, probe.at("streams").size());
    auto const& video = probe.at("streams").at(0);
    EXPECT_EQ(0, video.at("index"));
    EXPECT_EQ("video", video.at("kind"));
    EXPECT_EQ("h264", video.at("codec"));
    EXPECT_EQ("High", video.at("profile"));
    EXPECT_EQ(0, video.at("start_us"));
    EXPECT_EQ(300, video.at("packets"));
    EXPECT_EQ(Json::parse("[0, 2000000, 4000000, 6000000, 8000000, 10000000]"), video.at("keyframes_us"));
    EXPECT_EQ(2 * SECOND, video.at("mean_group_us"));
    EXPECT_EQ("recode", video.at("cut_mode"));
    EXPECT_FALSE(video.at("cut_reason").get<std::string>().empty());
    auto const& audio = probe.at("streams").at(1);
    EXPECT_EQ("audio", audio.at("kind"));
    EXPECT_EQ("aac", audio.at("codec"));
    EXPECT_EQ("packet", audio.at("cut_mode"));
}

TEST(Probe, TellsChaptersAndMetadata) {
    auto const probe = ProbeOf("h264-rich.mkv");
    EXPECT_EQ(3U, probe.at("chapters").size());
    EXPECT_EQ("A clip with everything", probe.at("metadata").at("title"));
    EXPECT_NE(ProbeOf("h264-closed.mp4").at("streams").at(0).at("framing"),
              ProbeOf("h264-closed.ts").at("streams").at(0).at("framing"));
}

TEST(Probe, TellsWhyOpenGroupsAreCutOnKeyPicturesOnly) {
    auto const video = ProbeOf("h264-open.mp4").at("streams").at(0);
    EXPECT_EQ("gop", video.at("cut_mode"));
    EXPECT_THAT(video.at("cut_reason").get<std::string>(), HasSubstr("random access"));
}

Json LosslessOf(std::string const& path, std::size_t stream) {
    auto const result = RunTarsel({"probe", path, "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    return ParseOutput(result).at("streams").at(stream).at("lossless");
}

TEST(ProbeLossless, TimesInOrderSpeakForIt) {
    for (char const* clip : {"h264-closed.mp4", "h264-closed.ts", "h264-closed.mkv", "hevc-closed.ts", "vp8.webm"})
        for (std::size_t stream : {0U, 1U})
            EXPECT_EQ(Json::parse(R"({"possible": true, "cra_pictures": false, "reasons": []})"),
                      LosslessOf(FamilyClip(clip), stream))
                << clip;
}

TEST(ProbeLossless, CraPicturesAreToldAndSpeakNotAgainstIt) {
    for (char const* target : {"hevc-open.mkv", "hevc-open.ts"}) {
        ScratchFolder const folder;
        std::string path = FamilyClip("hevc-open.mkv");
        if (std::string(target).ends_with(".ts")) {
            path = folder / target;
            ASSERT_EQ(0, RunTarsel({"remux", FamilyClip("hevc-open.mkv"), "-o", path}).exitCode);
        }
        auto const lossless = LosslessOf(path, 0);
        EXPECT_EQ(true, lossless.at("possible")) << target;
        EXPECT_EQ(true, lossless.at("cra_pictures")) << target;
        EXPECT_EQ(Json::array({"Lossless cut impossible: hevc stream has CRA packets instead of IDR"}),
                  lossless.at("reasons"))
            << target;
    }
}

TEST(ProbeLossless, TimesThatTheContainerLacksSpeakAgainstItThoughACutHasThem) {
    ScratchFolder const folder;
    ASSERT_EQ(0, RunTarsel({"remux", FamilyClip("h264-silent.mp4"), "-o", folder / "a.h264"}).exitCode);
    auto const lossless = LosslessOf(folder / "a.h264", 0);
    EXPECT_EQ(false, lossless.at("possible"));
    EXPECT_EQ(Json::array({"Lossless impossible: too many sequental bad pts"}), lossless.at("reasons"));
    EXPECT_EQ("recode", ParseOutput(RunTarsel({"probe", folder / "a.h264", "--json"}))["streams"][0]["cut_mode"]);
}

/// Calls `edit(stamp flags, first stamp)` for the header of each video PES packet of a transport stream (ISO/IEC
/// 13818-1, 2.4.3.6): the flags say 2 for a presentation time, 3 for a decoding time behind it too, five bytes each.
template <class Edit>
void EditTimes(std::string const& from, std::string const& to, Edit edit) {
    constexpr std::size_t TS_PACKET = 188;
    std::ifstream in(from, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    ASSERT_FALSE(bytes.empty());
    for (std::size_t packet = 0; packet + TS_PACKET <= bytes.size(); packet += TS_PACKET) {
        auto const at = [&](std::size_t offset) { return static_cast<unsigned char>(bytes[packet + offset]); };
        if ((at(1) & 0x40) == 0) continue;
        std::size_t const pes = 4 + ((at(3) & 0x20) != 0 ? 1U + at(4) : 0U);
        if (pes + 19 > TS_PACKET || at(pes) != 0 || at(pes + 1) != 0 || at(pes + 2) != 1 || at(pes + 3) != 0xE0)
            continue;
        edit(bytes[packet + pes + 7], &bytes[packet + pes + 9]);
    }
    std::ofstream(to, std::ios::binary) << bytes;
}

TEST(ProbeLossless, TimesOfATransportStreamThatContradictEachOtherSpeakAgainstIt) {
    constexpr char BOTH = '\xC0';
    struct Contradiction {
        int place;  // of the stamp that an old decoding time takes
        int kind;   // what stands in its first byte
        char const* finding;
    };
    for (auto const& broken : {Contradiction{0, 0x30, "Lossless impossible: dts > pts"},
                               Contradiction{5, 0x10, "Lossless impossible: dts does not increase"}}) {
        ScratchFolder const folder;
        std::string oldTime;
        int pictures = 0;
        EditTimes(FamilyClip("h264-closed.ts"), folder / "edited.ts", [&](char flags, char* stamps) {
            if ((flags & BOTH) != BOTH) return;
            if (++pictures == 3) oldTime.assign(stamps + 5, 5);
            if (pictures != 6) return;
            std::copy(oldTime.begin(), oldTime.end(), stamps + broken.place);
            stamps[broken.place] = static_cast<char>((stamps[broken.place] & 0x0F) | broken.kind);
        });
        ASSERT_GT(pictures, 6);
        EXPECT_EQ(Json({{"possible", false}, {"cra_pictures", false}, {"reasons", {broken.finding}}}),
                  LosslessOf(folder / "edited.ts", 0));
    }
}

TEST(ProbeLossless, AFewMissingTimesOfATransportStreamAreToleratedAndManyInARowAreNot) {
    ScratchFolder const folder;
    for (int const missing : {16, 17}) {
        int picture = 0;
        EditTimes(FamilyClip("h264-closed.ts"), folder / "gaps.ts", [&](char& flags, char* stamps) {
            ++picture;
            if (picture <= 60 || picture > 60 + missing) return;
            std::fill_n(stamps, (flags & 0x40) != 0 ? 10 : 5, '\xFF');
            flags = static_cast<char>(flags & 0x3F);
        });
        EXPECT_EQ(missing == 16, LosslessOf(folder / "gaps.ts", 0).at("possible")) << missing;
    }
}

Json HeadersOf(std::string const& clip, std::size_t stream) {
    auto const result = RunTarsel({"probe", FamilyClip(clip), "--json", "--headers"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    return ParseOutput(result).at("streams").at(stream).at("headers");
}

std::vector<std::string> Structures(Json const& headers) {
    std::vector<std::string> names;
    for (auto const& header : headers) names.push_back(header.at("structure"));
    return names;
}

Json FieldsOf(Json const& headers, std::string const& structure) {
    for (auto const& header : headers)
        if (header.at("structure") == structure) return header.at("fields");
    return nullptr;
}

TEST(ProbeHeaders, OfH264AreTheRecordsOfTheGlobalHeader) {
    auto const headers = HeadersOf("h264-closed.mp4", 0);
    EXPECT_THAT(Structures(headers), ElementsAre("avcC", "SPS", "PPS"));
    EXPECT_EQ(3, FieldsOf(headers, "avcC").at("lengthSizeMinusOne"));
    auto const sps = FieldsOf(headers, "SPS");
    EXPECT_EQ(100, sps.at("profile_idc"));
    EXPECT_EQ(160 / 16 - 1, sps.at("pic_width_in_mbs_minus1"));
    EXPECT_EQ(50, sps.at("vui").at("time_scale"));
    EXPECT_EQ(1, sps.at("vui").at("num_units_in_tick"));
    EXPECT_EQ(0, FieldsOf(headers, "PPS").at("pic_parameter_set_id"));
    EXPECT_THAT(Structures(HeadersOf("h264-closed.ts", 0)), ElementsAre("SPS", "PPS"));
}

TEST(ProbeHeaders, OfHevcAndAac) {
    auto const headers = HeadersOf("hevc-closed.mp4", 0);
    EXPECT_THAT(Structures(headers), ElementsAre("hvcC", "VPS", "SPS", "PPS"));
    EXPECT_EQ(160, FieldsOf(headers, "SPS").at("pic_width_in_luma_samples"));
    EXPECT_THAT(Structures(HeadersOf("hevc-closed.mp4", 1)), ElementsAre("AudioSpecificConfig"));
    // Without a global header the first packet tells.
    EXPECT_THAT(Structures(HeadersOf("hevc-closed.ts", 1)), ElementsAre("ADTS"));
}

TEST(ProbeHeaders, AreAnEmptyListForCodecsWithoutAParser) {
    EXPECT_EQ(Json::array(), HeadersOf("vp8.webm", 0));
}

TEST(ProbeHeaders, AreToldOnlyWhenAskedFor) {
    EXPECT_FALSE(ProbeOf("h264-closed.mp4").at("streams").at(0).contains("headers"));
    auto const text = RunTarsel({"probe", FamilyClip("h264-closed.mp4"), "--headers"});
    EXPECT_EQ(0, text.exitCode);
    EXPECT_THAT(text.output, AllOf(HasSubstr("\n    SPS\n"), HasSubstr("\n      profile_idc: 100\n")));
    EXPECT_THAT(RunTarsel({"probe", FamilyClip("h264-closed.mp4")}).output, Not(HasSubstr("profile_idc")));
}

class ProbeOfClip : public ::testing::TestWithParam<std::string> {};

TEST_P(ProbeOfClip, AgreesWithThePackets) {
    auto const clip = GetParam();
    auto const probe = ProbeOf(clip);
    auto const source = OpenSource(FamilyClip(clip));
    auto const& streams = probe.at("streams");
    ASSERT_EQ(source.file.streams.size(), streams.size());
    for (auto const& in : source.file.streams) {
        if (in.kind != StreamKind::Video && in.kind != StreamKind::Audio) continue;
        auto const& told = streams.at(static_cast<std::size_t>(in.index));
        EXPECT_EQ(in.codec, told.at("codec"));
        EXPECT_EQ(in.packets.size(), told.at("packets").get<std::size_t>()) << in.codec;
        if (in.kind != StreamKind::Video) continue;
        EXPECT_EQ(0, told.at("start_us")) << in.codec;
        std::vector<int64> keys;
        for (auto const& group : source.groups) keys.push_back(group.start);
        auto const toldKeys = told.at("keyframes_us").get<std::vector<int64>>();
        ASSERT_EQ(keys.size(), toldKeys.size());
        for (std::size_t i = 0; i < keys.size(); i++) EXPECT_NEAR(keys[i], toldKeys[i], 2);
    }
    int64 end = 0;
    for (auto const& in : source.file.streams) {
        if (in.kind != StreamKind::Video && in.kind != StreamKind::Audio) continue;
        for (auto const& packet : in.packets) {
            int64 const time = source.PacketTime(in, packet);
            if (HasValue(time)) end = std::max(end, time + packet.duration);
        }
    }
    EXPECT_GE(probe.at("duration_us").get<int64>() + 2, end);
    EXPECT_LE(probe.at("duration_us").get<int64>(), end + SECOND / 10);
}

std::vector<std::string> ClipNames() {
    std::vector<std::string> names;
    for (auto const& clip : CutClips())
        if (std::find(names.begin(), names.end(), clip.name) == names.end()) names.push_back(clip.name);
    return names;
}

std::string ClipName(::testing::TestParamInfo<std::string> const& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Family, ProbeOfClip, ::testing::ValuesIn(ClipNames()), ClipName);

TEST(Filters, AreListed) {
    auto const text = RunTarsel({"filters"});
    EXPECT_EQ(0, text.exitCode);
    auto const json = ParseOutput(RunTarsel({"filters", "--json"}));
    for (char const* name : {"FilterCutController", "FilterLosslessDetect", "Metadata", "SettingsFilterBitStream"}) {
        EXPECT_THAT(text.output, HasSubstr(name));
        EXPECT_THAT(json.dump(), HasSubstr(name));
    }
}

TEST(Help, OfEveryCommandHasAnExample) {
    for (char const* command : {"cut", "remux", "probe", "filters", "demo"}) {
        auto const result = RunTarsel({command, "--help"});
        EXPECT_EQ(0, result.exitCode);
        EXPECT_THAT(result.output, AllOf(HasSubstr("xample"), HasSubstr(std::string("tarsel ") + command)));
    }
    EXPECT_THAT(RunTarsel({"--help"}).output,
                AllOf(HasSubstr("cut"), HasSubstr("remux"), HasSubstr("probe"), HasSubstr("filters")));
    EXPECT_EQ(0, RunTarsel({"--version"}).exitCode);
}

}  // namespace
}  // namespace Tarsel::Test
