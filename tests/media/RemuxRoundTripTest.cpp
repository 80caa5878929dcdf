// Into another container and back: the same decoded frames at the same times. The results are read by libavformat and
// libavcodec alone.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "contracts/Core/Time.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Rewrapping.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::IsEmpty;

struct Trip {
    std::string clip;
    /// Extension of the container on the way.
    std::string over;
    /// Extension of the end; empty for that of the clip.
    std::string back;
};

std::string ExtensionOf(std::string const& path) {
    return std::filesystem::path(path).extension().string().substr(1);
}

void Remux(std::string const& from, std::string const& to) {
    auto const result = RunTarsel({"remux", from, "-o", to, "--verify"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
}

/// The file's own time of the first picture; without pictures of the first packet.
int64 ZeroOf(FileInspection const& file) {
    StreamInspection const* stream = file.First(StreamKind::Video);
    if (!stream) stream = file.First(StreamKind::Audio);
    int64 zero = NO_VALUE;
    for (auto const& packet : stream->packets)
        if (HasValue(packet.time) && (!HasValue(zero) || packet.time < zero)) zero = packet.time;
    return zero;
}

int64 TickOf(StreamInspection const& stream) {
    return stream.tick.numerator * SECOND / stream.tick.denominator + 1;
}

/// What a reader hides of the lead-in (one frame of 1024) follows from the container's word for it, in its own ticks:
/// at the beginning one side may have more, the rest is the same.
void ExpectSameSound(std::vector<float> const& a, std::vector<float> const& b) {
    constexpr std::size_t LEAD_IN = 1024 + 48;
    auto const& longer = a.size() > b.size() ? a : b;
    auto const& shorter = a.size() > b.size() ? b : a;
    ASSERT_LE(longer.size() - shorter.size(), LEAD_IN);
    EXPECT_TRUE(std::equal(shorter.rbegin(), shorter.rend(), longer.rbegin()));
}

/// Times of all packets, from the first picture, and what they decode to.
void ExpectSame(std::string const& before, std::string const& after, int64 tickOnTheWay) {
    auto const a = InspectFile(before);
    auto const b = InspectFile(after);
    int64 const zeroA = ZeroOf(a);
    int64 const zeroB = ZeroOf(b);
    for (auto const kind : {StreamKind::Video, StreamKind::Audio}) {
        auto const* const in = a.First(kind);
        auto const* const out = b.First(kind);
        if (!in) continue;
        ASSERT_NE(nullptr, out);
        SCOPED_TRACE(in->codec);
        EXPECT_EQ(in->codec, out->codec);
        ASSERT_EQ(in->packets.size(), out->packets.size());
        int64 const allowed = std::max({TickOf(*in), TickOf(*out), tickOnTheWay}) + 1;
        for (std::size_t i = 0; i < in->packets.size(); i++) {
            EXPECT_EQ(in->packets[i].key, out->packets[i].key) << "packet " << i;
            if (!HasValue(in->packets[i].time) || !HasValue(out->packets[i].time)) continue;
            ASSERT_NEAR(in->packets[i].time - zeroA, out->packets[i].time - zeroB, allowed) << "packet " << i;
        }
        Messages messages;
        if (kind == StreamKind::Audio) {
            auto const soundA = DecodeSound(before, in->index, messages);
            messages.clear();
            auto const soundB = DecodeSound(after, out->index, messages);
            EXPECT_EQ(soundA.sampleRate, soundB.sampleRate);
            ExpectSameSound(soundA.samples, soundB.samples);
        } else {
            auto const picturesA = DecodePictures(before, in->index, messages);
            Messages const known = messages;
            messages.clear();
            auto const picturesB = DecodePictures(after, out->index, messages);
            EXPECT_LE(messages.size(), known.size());
            ASSERT_EQ(picturesA.size(), picturesB.size());
            for (std::size_t i = 0; i < picturesA.size(); i++)
                ASSERT_TRUE(picturesA[i].pixels == picturesB[i].pixels) << "picture " << i;
        }
    }
}

int64 TickOnTheWay(std::string const& extension) {
    return extension == "mkv" || extension == "flv" ? 1000 : 80;
}

class RemuxThereAndBack : public ::testing::TestWithParam<Trip> {};

TEST_P(RemuxThereAndBack, KeepsFramesAndTimes) {
    auto const& [name, over, end] = GetParam();
    ScratchFolder const folder;
    auto const clip = FamilyClip(name);
    auto const there = folder / ("there." + over);
    auto const back = folder / ("back." + (end.empty() ? ExtensionOf(name) : end));
    ASSERT_NO_FATAL_FAILURE(Remux(clip, there));
    ASSERT_NO_FATAL_FAILURE(Remux(there, back));
    ExpectSame(clip, back, TickOnTheWay(over));
}

std::vector<Trip> Trips() {
    std::vector<Trip> trips;
    for (auto const& recipe : MediaFamily()) {
        auto const& name = recipe.name;
        bool const nal = name.starts_with("h264-") || name.starts_with("hevc-");
        // One is there to be slow.
        if (!nal || name.starts_with("h264-heavy")) continue;
        std::string const own = ExtensionOf(name);
        if (own == "mp4" || own == "mkv") trips.push_back({name, "ts", ""});
        if (own == "ts") trips.push_back({name, "mp4", ""});
    }
    for (char const* name : {"h264-closed.mp4", "h264-closed.ts", "hevc-closed.mp4", "hevc-closed.ts", "hevc-open.mkv"})
        trips.push_back({name, ExtensionOf(name) == "mkv" ? "mp4" : "mkv", ""});
    trips.push_back({"h264-closed.mp4", "mov", ""});
    trips.push_back({"h264-closed.mp4", "flv", ""});
    trips.push_back({"h264-silent.mp4", "avi", ""});
    trips.push_back({"aac.m4a", "mkv", ""});
    trips.push_back({"aac.m4a", "ts", ""});
    trips.push_back({"aac.aac", "m4a", ""});
    trips.push_back({"aac.aac", "ts", ""});
    trips.push_back({"mpeg4.mp4", "ts", ""});
    trips.push_back({"mpeg2-open.ts", "mkv", ""});
    return trips;
}

std::string PlainName(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

std::string TripName(::testing::TestParamInfo<Trip> const& trip) {
    return PlainName(trip.param.clip + "_over_" + trip.param.over);
}

INSTANTIATE_TEST_SUITE_P(Family, RemuxThereAndBack, ::testing::ValuesIn(Trips()), TripName);

/// Pictures of the two files, in presentation order.
void ExpectSamePictures(std::string const& before, std::string const& after) {
    Messages messages;
    auto const a = DecodePictures(before, 0, messages);
    messages.clear();
    auto const b = DecodePictures(after, 0, messages);
    EXPECT_THAT(messages, IsEmpty());
    ASSERT_GT(a.size(), 0U);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); i++) ASSERT_TRUE(a[i].pixels == b[i].pixels) << "picture " << i;
}

class RemuxRaw : public ::testing::TestWithParam<std::string> {};

TEST_P(RemuxRaw, VideoGetsItsTimesBack) {
    ScratchFolder const folder;
    auto const clip = FamilyClip(GetParam());
    std::string const raw = folder / (GetParam().starts_with("h264") ? "raw.h264" : "raw.hevc");
    auto const result = RunTarsel({"remux", clip, "-o", raw, "--verify"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const back = folder / "back.mp4";
    ASSERT_NO_FATAL_FAILURE(Remux(raw, back));
    ExpectSamePictures(clip, back);
    auto const before = InspectFile(clip);
    auto const after = InspectFile(back);
    auto const& in = before.First(StreamKind::Video)->packets;
    auto const& out = after.First(StreamKind::Video)->packets;
    ASSERT_EQ(in.size(), out.size());
    // Constant frame rate: the times follow from the order of the pictures.
    int64 const allowed = TickOf(*before.First(StreamKind::Video)) + TickOf(*after.First(StreamKind::Video));
    for (std::size_t i = 0; i < in.size(); i++)
        ASSERT_NEAR(in[i].time - ZeroOf(before), out[i].time - ZeroOf(after), allowed) << "packet " << i;
}

INSTANTIATE_TEST_SUITE_P(Clips, RemuxRaw,
                         ::testing::Values("h264-closed.mp4", "h264-open.mp4", "h264-no-b.mp4", "h264-2997.mp4",
                                           "hevc-closed.mp4", "hevc-open.mkv"),
                         [](auto const& clip) { return PlainName(clip.param); });

class RemuxLengths : public ::testing::TestWithParam<int> {};

TEST_P(RemuxLengths, OfOtherSizesComeThroughATransportStream) {
    int const size = GetParam();
    ScratchFolder const folder;
    // Slices of at most 250 bytes fit behind one byte.
    auto const clip =
        MakeClip("slices.mp4", {"-f", "lavfi", "-i", "testsrc2=s=160x120:r=25:d=3", "-c:v", "libx264", "-preset",
                                "veryfast", "-threads", "1", "-pix_fmt", "yuv420p", "-x264-params",
                                "keyint=25:scenecut=0:bframes=2:slice-max-size=200", "-bitexact"});
    RewriteLengths(clip, folder / "in.mp4", size);
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "in.mp4", folder / "there.ts"));
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "there.ts", folder / "back.mp4"));
    ExpectSame(folder / "in.mp4", folder / "back.mp4", TickOnTheWay("ts"));
    ExpectSamePictures(clip, folder / "back.mp4");
}

INSTANTIATE_TEST_SUITE_P(Sizes, RemuxLengths, ::testing::Values(1, 2, 4));

TEST(RemuxHevcLengths, OfTwoBytesComeThroughATransportStream) {
    ScratchFolder const folder;
    auto const clip = FamilyClip("hevc-closed.mp4");
    RewriteLengths(clip, folder / "in.mp4", 2);
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "in.mp4", folder / "there.ts"));
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "there.ts", folder / "back.mp4"));
    ExpectSamePictures(clip, folder / "back.mp4");
}

TEST(RemuxInBandSets, ThatChangeInMidStreamStayWhereTheyAre) {
    ScratchFolder const folder;
    auto const make = [](std::string const& name, std::string const& source, std::string const& sets) {
        return MakeClip(name, {"-f", "lavfi", "-i", source + "=s=160x120:r=25:d=2", "-c:v", "libx264", "-preset",
                               "veryfast", "-threads", "1", "-pix_fmt", "yuv420p", "-x264-params",
                               "keyint=25:scenecut=0:bframes=2:repeat-headers=1:" + sets, "-bitexact"});
    };
    auto const first = make("first.h264", "testsrc2", "ref=1:cabac=1");
    auto const second = make("second.h264", "smptebars", "ref=3:cabac=0");
    JoinFiles(first, second, folder / "in.h264");
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "in.h264", folder / "a.mp4"));
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "a.mp4", folder / "b.ts"));
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "b.ts", folder / "c.mkv"));
    for (char const* name : {"a.mp4", "b.ts", "c.mkv"}) {
        SCOPED_TRACE(name);
        ExpectSamePictures(folder / "in.h264", folder / name);
    }
}

TEST(RemuxInBandSets, OfARecordWithoutAnyComeThroughATransportStream) {
    for (char const* name : {"h264-silent.mp4", "hevc-closed.mp4"}) {
        SCOPED_TRACE(name);
        ScratchFolder const folder;
        auto const clip = FamilyClip(name);
        MoveSetsIntoBand(clip, folder / "in.mp4");
        ASSERT_NO_FATAL_FAILURE(Remux(folder / "in.mp4", folder / "a.ts"));
        ASSERT_NO_FATAL_FAILURE(Remux(folder / "a.ts", folder / "b.mp4"));
        ASSERT_NO_FATAL_FAILURE(Remux(folder / "b.mp4", folder / "c.mkv"));
        for (char const* result : {"a.ts", "b.mp4", "c.mkv"}) {
            SCOPED_TRACE(result);
            ExpectSamePictures(clip, folder / result);
        }
    }
}

TEST(RemuxAdts, WithCheckSumsBecomesPlainFrames) {
    ScratchFolder const folder;
    auto const plain = FamilyClip("aac.aac");
    AddAdtsCheckSums(plain, folder / "in.aac");
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "in.aac", folder / "a.ts"));
    ASSERT_NO_FATAL_FAILURE(Remux(folder / "a.ts", folder / "b.m4a"));
    auto const before = InspectFile(plain).First(StreamKind::Audio)->packets;
    auto const after = InspectFile(folder / "b.m4a").First(StreamKind::Audio)->packets;
    ASSERT_EQ(before.size(), after.size());
    constexpr std::size_t HEADER = 7;
    for (std::size_t i = 0; i < before.size(); i++)
        ASSERT_TRUE(Bytes(before[i].data.begin() + HEADER, before[i].data.end()) == after[i].data) << "packet " << i;
}

}  // namespace
}  // namespace Tarsel::Test
