#include "host/media/VideoDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/Time.h"
#include "host/media/CodecFactory.h"
#include "host/media/FFmpeg.h"
#include "host/media/MediaFile.h"
#include "tests/host/media/codecs/PacketList.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;
using testing::HasSubstr;

iptr<VideoDecoder> Decode(iptr<Proc::IStreamRaw> const& packets, DecoderOptions const& options = {}) {
    return VideoDecoder::Create(packets, "", options);
}

std::vector<std::string> Digests(iptr<Proc::IStreamVideo> const& stream) {
    std::vector<std::string> digests;
    while (auto const picture = stream->Read())
        digests.push_back(std::to_string(picture->GetTime()) + "+" + std::to_string(picture->GetDuration()) + " " +
                          Proc::CalculateVideoDataMD5(picture));
    return digests;
}

struct Clip {
    char const* name;
    char const* file;
    char const* arguments;
};
constexpr Clip CLIPS[] = {
    {"H264", "seek-h264.mp4", "-c:v libx264 -g 25 -bf 3"},
    {"H264Ts", "seek-h264.ts", "-c:v libx264 -g 25 -bf 3"},
    {"H264OpenGroups", "seek-h264-open.mkv", "-c:v libx264 -g 25 -bf 3 -x264opts open-gop=1:b-pyramid=normal"},
    {"Hevc", "seek-hevc.mp4", "-c:v libx265 -x265-params keyint=25:log-level=error"},
    {"Mpeg2", "seek-mpeg2.ts", "-c:v mpeg2video -g 12 -bf 2 -q:v 3"},
    {"Mpeg4", "seek-mpeg4.mp4", "-c:v mpeg4 -g 25 -bf 2 -q:v 3"},
    {"Vp9", "seek-vp9.webm", "-c:v libvpx-vp9 -g 25 -deadline realtime -cpu-used 8"},
    {"Theora", "seek-theora.ogv", "-c:v libtheora -g 25 -q:v 6"},
};

std::string PathOf(Clip const& clip) {
    return MakeClip(clip.file,
                    std::string("-f lavfi -i testsrc2=s=192x144:r=25:d=4 -pix_fmt yuv420p ") + clip.arguments);
}

class VideoDecoderSeeks : public testing::TestWithParam<Clip> {};

void ExpectExactSeeks(Clip const& clip, DecoderOptions const& options) {
    auto const packets = LoadPackets(PathOf(clip), MEDIA_TYPE_VIDEO);
    auto const decoder = Decode(packets, options);
    SeekTo(*decoder, 0);
    std::vector<int64> ends;
    std::vector<std::string> straight;
    while (auto const picture = decoder->Read()) {
        ends.push_back(picture->GetTime() + picture->GetDuration());
        straight.push_back(Proc::CalculateVideoDataMD5(picture));
    }
    ASSERT_EQ(straight.size(), 100U);
    unsigned const seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int i = 0; i < 12; ++i) {
        int64 const position = i == 0 ? 0 : std::uniform_int_distribution<int64>(0, ends.back() - 1)(random);
        SCOPED_TRACE("position " + std::to_string(position));
        std::size_t expected = 0;
        while (ends[expected] <= position) ++expected;
        SeekTo(*decoder, position);
        EXPECT_TRUE(decoder->FinishSeek());
        int const count = std::uniform_int_distribution<int>(1, 30)(random);
        for (int n = 0; n < count && expected < straight.size(); ++n, ++expected) {
            auto const picture = decoder->Read();
            ASSERT_TRUE(picture);
            ASSERT_EQ(picture->GetTime() + picture->GetDuration(), ends[expected]);
            ASSERT_EQ(Proc::CalculateVideoDataMD5(picture), straight[expected]);
        }
    }
    // Behind a seek into open groups the decoder may miss a reference that it was told to forget anyway.
    if (std::string(clip.name) != "H264OpenGroups") {
        EXPECT_EQ(decoder->GetReport().errors, 0U) << decoder->GetReport().firstError;
    }
}

TEST_P(VideoDecoderSeeks, PicturesAfterASeekAreThoseOfDecodingStraightThrough) {
    ExpectExactSeeks(GetParam(), {});
}

TEST_P(VideoDecoderSeeks, FrameThreadsShowNoPictureFromInFrontOfASeek) {
    ExpectExactSeeks(GetParam(), {DecoderOptions::Threading::Frames, 4, {}});
}

TEST_P(VideoDecoderSeeks, ThreadsDoNotChangeThePictures) {
    auto const packets = LoadPackets(PathOf(GetParam()), MEDIA_TYPE_VIDEO);
    std::vector<std::string> expected;
    for (DecoderOptions const& options : {DecoderOptions{DecoderOptions::Threading::Slices, 1, {}},
                                          DecoderOptions{DecoderOptions::Threading::Slices, 4, {}},
                                          DecoderOptions{DecoderOptions::Threading::Frames, 4, {}}}) {
        SeekTo(*packets, 0);
        auto const digests = Digests(Decode(packets, options));
        if (expected.empty()) expected = digests;
        EXPECT_EQ(digests, expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, VideoDecoderSeeks, testing::ValuesIn(CLIPS),
                         [](auto const& test) { return std::string(test.param.name); });

TEST(VideoDecoder, DurationReachesToTheNextPictureOfAVariableRate) {
    std::string const path = MakeClip(
        "variable-rate.mp4",
        "-f lavfi -i testsrc2=s=192x144:r=25:d=4 -vf \"select='not(eq(mod(n,7),3))*not(eq(mod(n,7),4))'\" -vsync vfr "
        "-pix_fmt yuv420p -c:v libx264 -bf 2");
    auto const decoder = Decode(LoadPackets(path, MEDIA_TYPE_VIDEO));
    auto const pictures = ReadAll(decoder);
    ASSERT_GT(pictures.size(), 60U);
    int longPictures = 0;
    for (std::size_t i = 0; i + 1 < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i]->GetTime() + pictures[i]->GetDuration(), pictures[i + 1]->GetTime());
        if (pictures[i]->GetDuration() == 120000) ++longPictures;
    }
    EXPECT_EQ(longPictures, 14);
    EXPECT_EQ(pictures.back()->GetDuration(), 40000);
}

TEST(VideoDecoder, GivesAllPicturesOfASingleGroup) {
    auto const all = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const straight = Digests(Decode(all));
    PacketVector const group(all->packets.begin() + 50, all->packets.begin() + 100);
    ASSERT_TRUE(group.front()->IsKeyFrame());
    iptr<PacketList> const packets(new PacketList(all->GetFormatCodec(), MEDIA_TYPE_VIDEO, group));
    auto const decoder = Decode(packets);
    SeekTo(*decoder, 2 * SECOND);
    auto const digests = Digests(decoder);
    EXPECT_EQ(digests, std::vector<std::string>(straight.begin() + 50, straight.begin() + 100));
    EXPECT_EQ(decoder->Read(), nullptr);
}

TEST(VideoDecoder, SeekIntoAGroupDropsPicturesThatEndAtOrBeforeThePosition) {
    auto const decoder = Decode(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO));
    SeekTo(*decoder, 1040000);
    EXPECT_EQ(decoder->GetPosition(), 1040000);
    EXPECT_EQ(decoder->Read()->GetTime(), 1040000);
    SeekTo(*decoder, 1079999);
    EXPECT_EQ(decoder->Read()->GetTime(), 1040000);
    EXPECT_EQ(decoder->GetPosition(), 1080000);
    SeekTo(*decoder, 100 * SECOND);
    EXPECT_EQ(decoder->Read(), nullptr);
    EXPECT_EQ(decoder->GetPosition(), NO_VALUE);
}

TEST(VideoDecoder, GoesOnAfterReleaseAtTheEndOfTheLastPictureOrThePendingPosition) {
    auto const packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const decoder = Decode(packets);
    SeekTo(*decoder, 1000000);
    EXPECT_EQ(decoder->Read()->GetTime(), 1000000);
    decoder->ReleaseInternalData();
    EXPECT_EQ(packets->releases, 1U);
    EXPECT_EQ(decoder->Read()->GetTime(), 1040000);
    SeekTo(*decoder, 3000000);
    decoder->ReleaseInternalData();
    EXPECT_EQ(decoder->Read()->GetTime(), 3000000);
}

TEST(VideoDecoder, HoldsACodecFromTheFirstPacketUntilItIsReleased) {
    for (auto const threading : {DecoderOptions::Threading::Slices, DecoderOptions::Threading::Frames}) {
        auto const decoder = Decode(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO), {threading, 2, {}});
        auto const straight = Digests(Decode(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO)));
        EXPECT_FALSE(decoder->IsOpen());
        SeekTo(*decoder, 0);
        EXPECT_FALSE(decoder->IsOpen());
        auto const held = decoder->Read();
        EXPECT_TRUE(decoder->IsOpen());
        std::string const before = Proc::CalculateVideoDataMD5(held);
        uint64 const packets = decoder->GetReport().packets;
        decoder->ReleaseInternalData();
        EXPECT_FALSE(decoder->IsOpen());
        EXPECT_EQ(decoder->GetReport().packets, packets);
        EXPECT_GE(decoder->GetReport().frames, 1U);
        EXPECT_EQ(decoder->GetImplName(), "h264");
        EXPECT_EQ(decoder->GetFormatCodec()->GetPixelFormat(), PIX_FMT_YUV420P);
        EXPECT_EQ(Proc::CalculateVideoDataMD5(held), before) << "the picture outlives the codec";
        auto const rest = Digests(decoder);
        EXPECT_TRUE(decoder->IsOpen());
        EXPECT_EQ(rest, std::vector<std::string>(straight.begin() + 1, straight.end()));
    }
}

TEST(VideoDecoder, SourceWithoutPacketsOpensNoCodec) {
    auto const packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    packets->packets.clear();
    auto const decoder = Decode(packets);
    EXPECT_EQ(decoder->Read(), nullptr);
    EXPECT_EQ(decoder->Read(), nullptr);
    EXPECT_FALSE(decoder->IsOpen());
}

TEST(VideoDecoder, ReadsNothingBeforeTheFirstSeekOrRead) {
    auto const packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const decoder = Decode(packets);
    EXPECT_EQ(packets->reads, 0U);
    EXPECT_EQ(decoder->GetFormatCodec()->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(decoder->GetFormatCodec()->GetCodecID(), "h264");
    EXPECT_EQ(decoder->GetFormatCodec()->GetFrameRate(), Ratio(25, 1));
}

TEST(VideoDecoder, EndOfStreamFromOutsideEndsItUntilASeek) {
    auto const packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const decoder = Decode(packets);
    ASSERT_TRUE(decoder->Read());
    decoder->SetEndOfStream();
    EXPECT_TRUE(packets->IsEndOfStream());
    EXPECT_EQ(decoder->Read(), nullptr);
    SeekTo(*decoder, 0);
    EXPECT_TRUE(decoder->Read());
}

/// The clip with one packet turned into noise.
iptr<PacketList> Damaged(std::size_t number) {
    auto packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto damaged = packets->packets[number]->Clone(true);
    AVPacket* const raw = damaged->GetAVPacket();
    std::memset(raw->data, 0xA5, static_cast<std::size_t>(raw->size));
    packets->packets[number] = damaged;
    return packets;
}

TEST(VideoDecoder, SkipsADamagedPacketAndCountsIt) {
    auto const decoder = Decode(Damaged(60));
    auto const pictures = ReadAll(decoder);
    EXPECT_GE(pictures.size(), 98U);
    EXPECT_LT(pictures.size(), 101U);
    EXPECT_GE(decoder->GetReport().damagedPackets, 1U);
    EXPECT_GE(decoder->GetReport().errors, 1U);
    Core::Property const statistics = decoder->GetStatistic();
    ASSERT_FALSE(statistics.Children().empty());
    Core::Property const& own = statistics.Children().back();
    EXPECT_EQ(own.Name(), "Tarsel::Host::VideoDecoder::GetStatistic");
    EXPECT_GE(own["Damaged packets"].GetInt64(), 1);
    EXPECT_EQ(own["Packets"].GetInt64(), 100);
}

TEST(VideoDecoder, StrictOneThrowsAtTheFirstErrorWithItsTextAndTime) {
    auto const packets = Damaged(60);
    auto const decoder = Decode(packets, {DecoderOptions::Threading::Slices, 1, DecoderOptions::Strictness::Errors});
    try {
        ReadAll(decoder);
        FAIL() << "no error was thrown";
    } catch (Proc::ProcException const& error) {
        EXPECT_THAT(error.what(), HasSubstr("Decoder failed, h264 at " + Proc::T2S(packets->packets[60]->GetTime())));
    }
    SeekTo(*decoder, 0);
    EXPECT_TRUE(decoder->Read()) << "can be sought again";
}

TEST(VideoDecoder, RefusesUnknownNamesAndCodecs) {
    auto const packets = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    EXPECT_THROW(VideoDecoder::Create(packets, "no-such-decoder", {}), Proc::CodecFactoryException);
    EXPECT_THROW(VideoDecoder::Create(packets, "mpeg4", {}), Proc::CodecFactoryException);
    EXPECT_THROW(VideoDecoder::Create(nullptr, "", {}), std::invalid_argument);
    auto const unknown = Conf::IFormatCodecVideo::Create();
    unknown->SetCodecID("nonsense");
    iptr<PacketList> const nothing(new PacketList(unknown, MEDIA_TYPE_VIDEO, {}));
    EXPECT_THROW(Decode(nothing), Proc::CodecFactoryException);
    EXPECT_THROW(Decode(packets)->Initialize(Core::Property("x")), Proc::FilterException);
}

TEST(VideoDecoder, PixelAspectThatIsNotKnownIsSquareInTheFileTheFormatAndThePictures) {
    Conf::FrameInfo const square{64, 48, 1, 1};
    std::string const source = "-f lavfi -i testsrc2=s=64x48:r=25:d=0.2 -vf setsar=0 ";
    for (auto const& [name, arguments] :
         std::vector<std::pair<std::string, std::string>>{{"aspect-unknown.mp4", "-pix_fmt yuv420p -c:v libx264"},
                                                          {"aspect-unknown.avi", "-pix_fmt yuv420p -c:v mpeg4"},
                                                          {"aspect-unknown.mkv", "-c:v ffv1"},
                                                          {"aspect-unknown.png", "-frames:v 1"},
                                                          {"aspect-unknown.jpg", "-frames:v 1 -pix_fmt yuvj420p"}}) {
        SCOPED_TRACE(name);
        std::string const path = MakeClip(name, source + arguments);
        auto const told = MediaFile::Open(path)->GetStreams().at(0).format;
        EXPECT_EQ(dynamic_cast<Conf::IFormatCodecVideo&>(*told).GetFrameInfo(), square);
        auto const decoder = Decode(LoadPackets(path, MEDIA_TYPE_VIDEO));
        EXPECT_EQ(decoder->GetFormatCodec()->GetFrameInfo(), square);
        auto const picture = decoder->Read();
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->GetFrameInfo(), square);
    }
    std::string const wide = MakeClip("aspect-wide.mp4", source + "-vf setsar=4/3 -pix_fmt yuv420p -c:v libx264");
    EXPECT_EQ(Decode(LoadPackets(wide, MEDIA_TYPE_VIDEO))->Read()->GetFrameInfo(), (Conf::FrameInfo{64, 48, 4, 3}));
}

TEST(VideoDecoder, PixelAspectToldInDotsPerInchComesInLowestTerms) {
    auto const packets =
        LoadPackets(MakeClip("aspect-dots.jpg",
                             "-f lavfi -i testsrc2=s=64x48:r=25:d=0.2 -vf setsar=1 -frames:v 1 -pix_fmt yuvj420p"),
                    MEDIA_TYPE_VIDEO);
    auto const still = packets->packets.at(0)->Clone(true);
    AVPacket const& raw = *still->GetAVPacket();
    std::string_view const bytes(reinterpret_cast<char const*>(raw.data), static_cast<std::size_t>(raw.size));
    std::size_t const mark = bytes.find(std::string_view("JFIF", 5));
    ASSERT_NE(mark, std::string_view::npos);
    // Behind the mark stand two bytes of version, one of unit and two of dots in each direction.
    u8 const dots[] = {1, 0, 72, 0, 72};
    std::memcpy(raw.data + mark + 7, dots, sizeof dots);
    packets->packets[0] = still;
    EXPECT_EQ(Decode(packets)->Read()->GetFrameInfo(), (Conf::FrameInfo{64, 48, 1, 1}));
}

TEST(VideoDecoder, EntersItselfAsADecoder) {
    auto const decoder = Decode(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO));
    Proc::Visitors::DecoderCollector decoders;
    decoder->Accept(decoders);
    ASSERT_EQ(decoders.decoders.size(), 1U);
    EXPECT_EQ(decoders.decoders[0]->GetImplName(), "h264");
    Proc::Visitors::InfoCollector names;
    decoder->Accept(names);
    EXPECT_EQ(names.names, std::vector<std::string>{"VideoDecoder"});
}

}  // namespace
}  // namespace Tarsel::Tests
