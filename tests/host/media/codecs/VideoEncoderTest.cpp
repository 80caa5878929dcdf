#include "host/media/VideoEncoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/AudioDecoder.h"
#include "host/media/CodecFactory.h"
#include "host/media/MediaFile.h"
#include "host/media/NativeParameters.h"
#include "host/media/SampleClip.h"
#include "host/media/VideoDecoder.h"
#include "tests/host/media/codecs/PacketList.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;
using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<u8>;

Core::Property H264Properties(std::string const& options, char const* profile = nullptr) {
    Core::Property codecOptions;
    codecOptions.SetChild(Conf::TAG_FF_SPECIAL_OPTS, options);
    if (profile) codecOptions.SetChild(Conf::TAG_PROFILE, profile);
    Core::Property properties;
    properties.SetChild(Conf::TAG_CODEC_OPTIONS_ENCODE, codecOptions);
    return properties;
}

iptr<Proc::IEncoder> Recode(iptr<Proc::IStreamRaw> const& packets, Core::Property const& properties) {
    auto const factory = CodecFactory::Create();
    return factory->CreateVideoEncoder(factory->CreateVideoDecoder(packets, ""), properties, "FFmpeg",
                                       Core::ComputingResourceManager::TakeFakeResource());
}

iptr<PacketList> Slice(PacketList const& list, std::size_t begin, std::size_t end) {
    return iptr<PacketList>(
        new PacketList(list.GetFormatCodec(), MEDIA_TYPE_VIDEO,
                       PacketVector(list.packets.begin() + long(begin), list.packets.begin() + long(end))));
}

/// Units of an Annex B text without their start codes.
std::vector<Bytes> Units(u8 const* data, std::size_t size) {
    std::vector<Bytes> units;
    std::size_t begin = 0;
    for (std::size_t i = 0; i + 3 <= size; ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
        if (begin > 0) {
            std::size_t end = i;
            while (end > begin && data[end - 1] == 0) --end;
            units.emplace_back(data + begin, data + end);
        }
        begin = i + 3;
    }
    if (begin > 0) units.emplace_back(data + begin, data + size);
    return units;
}

std::vector<Bytes> Units(IBlob const& blob) {
    return Units(blob.GetData(), blob.GetSize());
}

/// First unsigned Exp-Golomb number from a bit place of a unit.
unsigned ReadUe(Bytes const& unit, std::size_t bit) {
    auto const at = [&](std::size_t place) { return (unit.at(place / 8) >> (7 - place % 8)) & 1U; };
    unsigned zeros = 0;
    while (at(bit + zeros) == 0) ++zeros;
    unsigned value = 0;
    for (unsigned i = 0; i <= zeros; ++i) value = 2 * value + at(bit + zeros + i);
    return value - 1;
}

constexpr char OPTIONS[] = "x264opts;sps-id=1:ref=3:qp=23:chroma-qp-offset=1:weightp=0";

TEST(VideoEncoder, GivesOnePacketForEachPictureWithItsTimeAndDuration) {
    auto const source = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const decoder = CodecFactory::Create()->CreateVideoDecoder(source, "");
    auto const pictures = ReadAll(decoder);
    SeekTo(*source, 0);
    auto const packets = ReadAll(Recode(source, H264Properties(OPTIONS)));
    ASSERT_EQ(packets.size(), pictures.size());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i]->GetTime(), pictures[i]->GetTime());
        EXPECT_EQ(packets[i]->GetDecodingTime(), pictures[i]->GetTime());
        EXPECT_EQ(packets[i]->GetDuration(), pictures[i]->GetDuration());
        EXPECT_EQ(packets[i]->IsKeyFrame(), i == 0) << i;
    }
}

TEST(VideoEncoder, FirstPacketIsAnIdrPictureAndNoneHoldsANoteOfTheEncoder) {
    auto const packets = ReadAll(Recode(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO), H264Properties(OPTIONS)));
    ASSERT_FALSE(packets.empty());
    for (std::size_t i = 0; i < packets.size(); ++i)
        for (Bytes const& unit : Units(*packets[i]->GetBlob())) {
            ASSERT_FALSE(unit.empty());
            EXPECT_EQ(unit[0] & 0x1F, i == 0 ? 5 : 1) << "packet " << i;
        }
}

TEST(VideoEncoder, HeaderIsCompleteBeforeAnyPictureIsReadAndHasTheIdsAskedFor) {
    auto const source = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const encoder = Recode(source, H264Properties(OPTIONS));
    EXPECT_EQ(source->reads, 0U);
    ASSERT_TRUE(encoder->GetFormatCodec()->GetExtradata());
    std::vector<Bytes> units;
    for (Bytes const& unit : Units(*encoder->GetFormatCodec()->GetExtradata()))
        if ((unit[0] & 0x1F) != 6) units.push_back(unit);
    ASSERT_EQ(units.size(), 2U);
    EXPECT_EQ(units[0][0] & 0x1F, 7);
    EXPECT_EQ(ReadUe(units[0], 32), 1U);  // behind the unit's header, profile, constraints and level
    EXPECT_EQ(units[1][0] & 0x1F, 8);
    EXPECT_EQ(ReadUe(units[1], 8), 1U);
    EXPECT_TRUE(encoder->GetResource());
    EXPECT_EQ(encoder->GetMediaType(), MEDIA_TYPE_VIDEO);
}

TEST(VideoEncoder, GivesTheSameBytesOnEveryRunAndAfterASeek) {
    auto const source = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const encoder = Recode(source, H264Properties(OPTIONS));
    auto const digests = [&] {
        std::vector<std::string> result;
        for (auto const& packet : ReadAll(encoder)) result.push_back(Proc::CalculatePacketDataMD5(packet));
        return result;
    };
    auto const first = digests();
    SeekTo(*encoder, 0);
    EXPECT_EQ(digests(), first);
    EXPECT_EQ(encoder->Read(), nullptr);
}

TEST(VideoEncoder, SinglePictureMakesASinglePacket) {
    auto const packets = ReadAll(Recode(Slice(*LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO), 0, 1), {}));
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_TRUE(packets[0]->IsKeyFrame());
    EXPECT_EQ(packets[0]->GetDuration(), 40000);
}

/// The parameter sets of an avcC header (ISO/IEC 14496-15, 5.3.3.1) without its trailing part.
std::vector<Bytes> AvccSets(IBlob const& header, bool picture) {
    u8 const* data = header.GetData();
    std::size_t at = 5;
    std::vector<Bytes> sets;
    for (int kind = 0; kind < 2; ++kind) {
        int const count = kind == 0 ? data[at] & 0x1F : data[at];
        ++at;
        for (int i = 0; i < count; ++i) {
            std::size_t const size = std::size_t(data[at]) << 8 | data[at + 1];
            if ((kind == 1) == picture) sets.emplace_back(data + at + 2, data + at + 2 + size);
            at += 2 + size;
        }
    }
    return sets;
}

iptr<IBlob> MergedHeader(IBlob const& avcc, IBlob const& annexB) {
    std::vector<Bytes> sequence = AvccSets(avcc, false);
    std::vector<Bytes> picture = AvccSets(avcc, true);
    for (Bytes const& unit : Units(annexB)) {
        if ((unit[0] & 0x1F) == 7) sequence.push_back(unit);
        if ((unit[0] & 0x1F) == 8) picture.push_back(unit);
    }
    Bytes header(avcc.GetData(), avcc.GetData() + 5);
    auto const append = [&](std::vector<Bytes> const& sets, u8 flags) {
        header.push_back(static_cast<u8>(flags | sets.size()));
        for (Bytes const& set : sets) {
            header.push_back(static_cast<u8>(set.size() >> 8));
            header.push_back(static_cast<u8>(set.size()));
            header.insert(header.end(), set.begin(), set.end());
        }
    };
    append(sequence, 0xE0);
    append(picture, 0);
    return Proc::BlobFF::Create(header.data(), header.size());
}

/// The packet with 4-byte lengths in the place of start codes.
iptr<Proc::IDataPacket> WithLengths(Proc::IDataPacket& packet, int64 shift) {
    Bytes bytes;
    for (Bytes const& unit : Units(*packet.GetBlob())) {
        for (int byte = 3; byte >= 0; --byte) bytes.push_back(static_cast<u8>(unit.size() >> (8 * byte)));
        bytes.insert(bytes.end(), unit.begin(), unit.end());
    }
    AVPacket* const raw = av_packet_alloc();
    av_new_packet(raw, static_cast<int>(bytes.size()));
    std::memcpy(raw->data, bytes.data(), bytes.size());
    raw->flags = packet.GetAVPacket()->flags;
    return Proc::DataPacketFF::Create(raw, MEDIA_TYPE_VIDEO, packet.GetTime() + shift, packet.GetTime() + shift,
                                      packet.GetDuration());
}

TEST(VideoEncoder, RecodedGroupDecodesBetweenCopiedOnesUnderOneMergedHeader) {
    std::string const path = MakeClip("groups-of-50-long.mp4",
                                      "-f lavfi -i testsrc2=s=320x240:r=25:d=10 -pix_fmt yuv420p -c:v libx264 -g 50 "
                                      "-bf 3 -x264opts keyint=50:min-keyint=50:scenecut=0");
    auto const source = LoadPackets(path, MEDIA_TYPE_VIDEO);
    ASSERT_EQ(source->packets.size(), 250U);
    auto const original = ReadAll(CodecFactory::Create()->CreateVideoDecoder(source, ""));
    // [3 s, 4 s) is cut out: the group of [2 s, 4 s) is encoded again up to 3 s, what follows moves up by a second.
    auto const group = Slice(*source, 50, 100);
    auto const encoder = Recode(group, H264Properties(OPTIONS));
    PacketVector packets(source->packets.begin(), source->packets.begin() + 50);
    for (auto const& packet : ReadAll(encoder)) {
        if (packet->GetTime() >= 3 * SECOND) continue;
        packets.push_back(WithLengths(*packet, 0));
    }
    ASSERT_EQ(packets.size(), 75U);
    for (std::size_t i = 100; i < 250; ++i) {
        auto const packet = source->packets[i]->Clone(false);
        packet->SetTime(packet->GetTime() - SECOND);
        packet->SetDecodingTime(packet->GetDecodingTime() - SECOND);
        packets.push_back(packet);
    }
    auto const format = source->GetFormatCodec()->Clone();
    format->SetExtradata(MergedHeader(*format->GetExtradata(), *encoder->GetFormatCodec()->GetExtradata()));
    iptr<PacketList> const joined(new PacketList(format, MEDIA_TYPE_VIDEO, packets));
    for (auto const threading : {DecoderOptions::Threading::Slices, DecoderOptions::Threading::Frames}) {
        SeekTo(*joined, 0);
        auto const decoder = VideoDecoder::Create(joined, "", {threading, 2, DecoderOptions::Strictness::Warnings});
        auto const pictures = ReadAll(decoder);
        ASSERT_EQ(pictures.size(), 225U);
        EXPECT_EQ(decoder->GetReport().errors + decoder->GetReport().warnings, 0U);
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            EXPECT_EQ(pictures[i]->GetTime(), int64(i) * 40000);
            if (i < 50 || i >= 75) {
                EXPECT_EQ(Proc::CalculateVideoDataMD5(pictures[i]),
                          Proc::CalculateVideoDataMD5(original[i < 75 ? i : i + 25]));
            } else {
                EXPECT_GE(Compare(*pictures[i], *original[i]).average, 38.0);
            }
        }
    }
}

struct SeamClip {
    char const* name;
    char const* arguments;
};

class VideoEncoderSeams : public testing::TestWithParam<SeamClip> {};

/// Key packets get the header that their own group was coded with, as a cut puts them in front.
iptr<Proc::IDataPacket> WithHeader(Proc::IDataPacket& packet, IBlob const* header) {
    Bytes bytes;
    if (packet.IsKeyFrame() && header) bytes.assign(header->GetData(), header->GetData() + header->GetSize());
    auto const blob = packet.GetBlob();
    bytes.insert(bytes.end(), blob->GetData(), blob->GetData() + blob->GetSize());
    AVPacket* const raw = av_packet_alloc();
    av_new_packet(raw, static_cast<int>(bytes.size()));
    std::memcpy(raw->data, bytes.data(), bytes.size());
    raw->flags = packet.GetAVPacket()->flags;
    return Proc::DataPacketFF::Create(raw, MEDIA_TYPE_VIDEO, packet.GetTime(), packet.GetDecodingTime(),
                                      packet.GetDuration());
}

// A header that says "low delay" behind groups with B pictures would swallow the picture that the decoder still holds.
TEST_P(VideoEncoderSeams, NoPictureIsLostWhereARecodedGroupFollowsACopiedOne) {
    std::string const path =
        MakeClip(GetParam().name,
                 std::string("-f lavfi -i testsrc2=s=352x288:r=25:d=3 -pix_fmt yuv420p ") + GetParam().arguments);
    auto const source = LoadPackets(path, MEDIA_TYPE_VIDEO);
    std::vector<std::size_t> keys;
    for (std::size_t i = 0; i < source->packets.size(); ++i)
        if (source->packets[i]->IsKeyFrame()) keys.push_back(i);
    ASSERT_GE(keys.size(), 3U);
    auto const encoder = Recode(Slice(*source, keys[1], keys[2]), {});
    bool const inFront = source->GetFormatCodec()->GetCodecID() == "mpeg4";
    auto const sourceHeader = source->GetFormatCodec()->GetExtradata();
    auto const encoderHeader = encoder->GetFormatCodec()->GetExtradata();
    PacketVector packets;
    auto const copy = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            packets.push_back(WithHeader(*source->packets[i], inFront ? sourceHeader.get() : nullptr));
    };
    copy(0, keys[1]);
    auto const recoded = ReadAll(encoder);
    SeekTo(*encoder, recoded.front()->GetTime());
    auto const again = ReadAll(encoder);
    ASSERT_EQ(again.size(), recoded.size());
    for (std::size_t i = 0; i < recoded.size(); ++i)
        EXPECT_EQ(Proc::CalculatePacketDataMD5(again[i]), Proc::CalculatePacketDataMD5(recoded[i])) << i;
    for (auto const& packet : recoded) packets.push_back(WithHeader(*packet, inFront ? encoderHeader.get() : nullptr));
    copy(keys[2], source->packets.size());
    ASSERT_EQ(packets.size(), source->packets.size());
    iptr<PacketList> const joined(new PacketList(source->GetFormatCodec(), MEDIA_TYPE_VIDEO, packets));
    auto const decoder = VideoDecoder::Create(joined, "", {});
    auto const pictures = ReadAll(decoder);
    EXPECT_EQ(pictures.size(), source->packets.size());
    EXPECT_EQ(decoder->GetReport().errors + decoder->GetReport().warnings, 0U) << decoder->GetReport().firstError;
    auto const original = ReadAll(VideoDecoder::Create(source, "", {}));
    for (std::size_t i = 0; i < std::min(pictures.size(), original.size()); ++i) {
        EXPECT_EQ(pictures[i]->GetTime(), original[i]->GetTime());
        EXPECT_GE(Compare(*pictures[i], *original[i]).average, 38.0) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, VideoEncoderSeams,
    testing::Values(
        SeamClip{"seam-mpeg4-b-closed.mp4", "-c:v mpeg4 -bf 2 -g 25 -q:v 3 -flags +cgop -sc_threshold 1000000000"},
        SeamClip{"seam-mpeg4.mp4", "-c:v mpeg4 -bf 0 -g 25 -q:v 3"},
        SeamClip{"seam-mpeg2-b.mkv", "-c:v mpeg2video -bf 2 -g 25 -q:v 3 -flags +cgop -sc_threshold 1000000000"},
        SeamClip{"seam-mpeg1-b.mkv", "-c:v mpeg1video -bf 2 -g 25 -q:v 3 -flags +cgop -sc_threshold 1000000000"},
        SeamClip{"seam-h263.3gp", "-c:v h263 -g 25 -q:v 3"}, SeamClip{"seam-wmv2.asf", "-c:v wmv2 -g 25 -q:v 3"},
        SeamClip{"seam-vp8.webm", "-c:v libvpx -g 25 -b:v 1M -deadline realtime -cpu-used 8 -auto-alt-ref 0"},
        SeamClip{"seam-vp9.webm", "-c:v libvpx-vp9 -g 25 -b:v 1M -deadline realtime -cpu-used 8"},
        SeamClip{"seam-theora.ogv", "-c:v libtheora -g 25 -q:v 6"}),
    [](auto const& test) {
        std::string name = test.param.name;
        for (char& letter : name)
            if (!std::isalnum(static_cast<unsigned char>(letter))) letter = '_';
        return name;
    });

TEST(VideoEncoder, KeepsColourAspectAndInterlacing) {
    std::string const path =
        MakeClip("interlaced.mp4",
                 "-f lavfi -i testsrc2=s=352x288:r=50:d=1 -vf interlace,setsar=16/11 -pix_fmt yuv420p -c:v libx264 "
                 "-flags +ildct+ilme -x264opts tff=1 -color_primaries bt470bg -color_trc gamma28 -colorspace bt470bg");
    auto const source = LoadPackets(path, MEDIA_TYPE_VIDEO);
    auto const packets = Collect(Recode(source, H264Properties(OPTIONS)));
    auto const decoder = VideoDecoder::Create(packets, "", {});
    auto const picture = decoder->Read();
    ASSERT_TRUE(picture);
    EXPECT_NE(picture->GetInterlace(), 0);
    EXPECT_EQ(picture->GetFrameInfo().pixelAspectNum, 16);
    EXPECT_EQ(picture->GetFrameInfo().pixelAspectDen, 11);
    auto const native = dynamic_cast<NativeParameters const*>(packets->GetFormatCodec()->GetNativeParameters().get());
    ASSERT_TRUE(native);
    EXPECT_EQ(native->parameters->color_primaries, AVCOL_PRI_BT470BG);
    EXPECT_EQ(native->parameters->color_trc, AVCOL_TRC_GAMMA28);
    EXPECT_EQ(native->parameters->color_space, AVCOL_SPC_BT470BG);
}

TEST(VideoEncoder, IgnoresAProfileThatCannotHoldThePixelFormat) {
    std::string const path =
        MakeClip("high10.mp4", "-f lavfi -i testsrc2=s=192x144:r=25:d=1 -pix_fmt yuv420p10le -c:v libx264");
    auto const packets = ReadAll(Recode(LoadPackets(path, MEDIA_TYPE_VIDEO), H264Properties(OPTIONS, "main")));
    EXPECT_EQ(packets.size(), 25U);
}

TEST(VideoEncoder, RefusalsNameTheEncoderAndTheReason) {
    auto const source = LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO);
    auto const refusal = [&](Core::Property const& properties) -> std::string {
        try {
            Recode(source, properties);
        } catch (Proc::EncoderException const& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_THAT(refusal(H264Properties("x264opts;sps-id=1:no-such-option=3")), HasSubstr("libx264"));
    EXPECT_THAT(refusal(H264Properties("nosuch;1")), HasSubstr("libx264: it knows no option 'nosuch'"));
    EXPECT_THAT(refusal(H264Properties("x264opts")), HasSubstr("have no ';'"));

    auto const factory = CodecFactory::Create();
    auto const decoder = factory->CreateVideoDecoder(source, "");
    EXPECT_THROW(factory->CreateVideoEncoder(decoder, {}, "NoSuch", nullptr), Proc::CodecFactoryException);
    EXPECT_THROW(factory->CreateVideoEncoder(nullptr, {}, "FFmpeg", nullptr), std::invalid_argument);
}

TEST(VideoEncoder, RecodingRefusesAPixelFormatThatItWouldHaveToChange) {
    auto const format = Conf::IFormatCodecVideo::Create();
    format->SetCodecID("mpeg4");
    format->InitByPixelAspect(64, 64, 1, 1);
    format->SetFrameRate(25, 1);
    format->SetPixelFormat(static_cast<PixFmt>(AV_PIX_FMT_YUV444P));
    iptr<PacketList> const nothing(new PacketList(format, MEDIA_TYPE_VIDEO, {}));
    EXPECT_THROW(Recode(nothing, {}), Proc::EncoderException);
}

TEST(VideoEncoder, ConvertsPicturesForAnEncoderThatWantsOthers) {
    std::string const path =
        MakeClip("yuv444.mp4", "-f lavfi -i testsrc2=s=192x144:r=25:d=1 -pix_fmt yuv444p -c:v libx264 -crf 10");
    VideoEncoderOptions options;
    options.purpose = VideoEncoderOptions::Purpose::Encode;
    options.codecId = "mpeg4";
    auto const source = LoadPackets(path, MEDIA_TYPE_VIDEO);
    auto const encoder = VideoEncoder::Create(VideoDecoder::Create(source, "", {}), {}, options, nullptr);
    EXPECT_EQ(encoder->GetFormatCodec()->GetCodecID(), "mpeg4");
    auto const pictures = ReadAll(VideoDecoder::Create(Collect(encoder), "", {}));
    ASSERT_EQ(pictures.size(), 25U);
    EXPECT_EQ(pictures[0]->GetPixelFormat(), PIX_FMT_YUV420P);
}

TEST(VideoEncoder, DecodingTimesOfAWholeStreamRiseAndStayAtOrBelowTheTimes) {
    SampleClipOptions clip;
    clip.width = 160;
    clip.height = 96;
    clip.seconds = 5;
    auto const packets = ReadAll(EncodeSampleClip(clip).video);
    ASSERT_EQ(packets.size(), 125U);
    bool reordered = false;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_LE(packets[i]->GetDecodingTime(), packets[i]->GetTime());
        if (i == 0) continue;
        EXPECT_GT(packets[i]->GetDecodingTime(), packets[i - 1]->GetDecodingTime());
        reordered = reordered || packets[i]->GetTime() < packets[i - 1]->GetTime();
    }
    EXPECT_TRUE(reordered);
}

TEST(CodecFactory, ListsOneImplementationForEachCodecThatItCanEncode) {
    auto const factory = CodecFactory::Create();
    for (char const* codec : {"h264", "mpeg1video", "mpeg2video", "mpeg4", "h263", "wmv2", "vp8", "vp9", "theora"})
        EXPECT_THAT(factory->GetEncoderNames(codec), ElementsAre("FFmpeg")) << codec;
    EXPECT_TRUE(factory->GetEncoderNames("hevc").empty());
    EXPECT_TRUE(factory->GetEncoderNames("none").empty());
}

TEST(CodecFactory, WithoutEncodersListsNoneAndRefusesWithTheReason) {
    CodecFactory::Options options;
    options.noEncoders = true;
    options.reason = "the stream has open groups";
    auto const factory = CodecFactory::Create(options);
    EXPECT_TRUE(factory->GetEncoderNames("h264").empty());
    auto const decoder = factory->CreateVideoDecoder(LoadPackets(GroupsOf50(), MEDIA_TYPE_VIDEO), "");
    try {
        factory->CreateVideoEncoder(decoder, {}, "FFmpeg", nullptr);
        FAIL();
    } catch (Proc::CodecFactoryException const& error) {
        EXPECT_THAT(error.what(), HasSubstr("the stream has open groups"));
    }
}

TEST(CodecFactory, KnowsWhatAContainerIsFilledWith) {
    EXPECT_EQ(DefaultEncoders("MP4").video, "h264");
    EXPECT_EQ(DefaultEncoders("webm").audio, "opus");
    EXPECT_EQ(DefaultEncoders("avi").video, "mpeg4");
    EXPECT_EQ(DefaultEncoders("wav").audio, "pcm_s16le");
    EXPECT_EQ(DefaultEncoders("m4a").video, "");
    EXPECT_EQ(DefaultEncoders("asf").video, "wmv2");
    EXPECT_EQ(DefaultEncoders("flv").audio, "aac");
    EXPECT_EQ(DefaultEncoders("hevc").video, "hevc");
    EXPECT_THROW(DefaultEncoders("txt"), Proc::CodecFactoryException);
}

TEST(VideoQuality, EachCodecHasItsOwnScale) {
    EXPECT_EQ(QualityScaleOf("h264")->standard, 18);
    EXPECT_EQ(QualityScaleOf("hevc")->worst, 51);
    EXPECT_EQ(QualityScaleOf("vp9")->worst, 63);
    EXPECT_EQ(QualityScaleOf("mpeg4")->best, 1);
    EXPECT_EQ(QualityScaleOf("mpeg2video")->worst, 31);
    EXPECT_FALSE(QualityScaleOf("aac"));
    EXPECT_EQ(WhyNoQuality("h264", 0), "");
    EXPECT_EQ(WhyNoQuality("h264", 51), "");
    EXPECT_EQ(WhyNoQuality("h264", -1), "quality -1 is out of the range of h264: 0 (best) to 51");
    EXPECT_EQ(WhyNoQuality("mpeg4", 0), "quality 0 is out of the range of mpeg4: 1 (best) to 31");
    EXPECT_EQ(WhyNoQuality("theora", 11), "quality 11 is out of the range of theora: 10 (best) to 0");
    EXPECT_EQ(WhyNoQuality("aac", 5), "aac has no scale of quality");
}

TEST(VideoQuality, GroupsBetweenCopiedOnesAreNeverHevc) {
    EXPECT_THAT(CodecFactory::Create()->GetEncoderNames("hevc"), ::testing::IsEmpty());
    EXPECT_TRUE(QualityScaleOf("hevc"));
}

TEST(SampleClip, PicturesCarryTheirNumberThroughTheEncoder) {
    SampleClipOptions clip;
    clip.seconds = 3;
    auto const video = Collect(EncodeSampleClip(clip).video);
    std::vector<std::size_t> keys;
    for (std::size_t i = 0; i < video->packets.size(); ++i)
        if (video->packets[i]->IsKeyFrame()) keys.push_back(i);
    EXPECT_THAT(keys, ElementsAre(0U, 50U));
    auto const decoder = VideoDecoder::Create(video, "", {});
    auto const pictures = ReadAll(decoder);
    ASSERT_EQ(pictures.size(), 75U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(GeneratedVideo::ReadNumber(*pictures[i]), int(i));
        EXPECT_EQ(pictures[i]->GetTime(), int64(i) * 40000);
    }
    SeekTo(*decoder, 2500000);
    EXPECT_EQ(GeneratedVideo::ReadNumber(*decoder->Read()), 62);
}

TEST(SampleClip, FileHoldsBothStreamsFromTimeZero) {
    Tarsel::Test::ScratchFolder const folder;
    std::string const path = folder / "sample.mp4";
    SampleClipOptions clip;
    clip.seconds = 4;
    WriteSampleClip(path, clip, true);
    EXPECT_THROW(WriteSampleClip(path, clip, false), Core::IOException);
    auto const file = MediaFile::Open(path);
    ASSERT_EQ(file->GetStreams().size(), 2U);
    auto const decoder = VideoDecoder::Create(
        file->OpenStream(0), "", {DecoderOptions::Threading::Slices, 1, DecoderOptions::Strictness::Warnings});
    SeekTo(*decoder, 0);
    auto const pictures = ReadAll(decoder);
    ASSERT_EQ(pictures.size(), 100U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i]->GetTime(), int64(i) * 40000);
        EXPECT_EQ(GeneratedVideo::ReadNumber(*pictures[i]), int(i));
    }
    // The sound lies under its pictures: decoded again it is what was generated, not a sample off.
    auto const sound = AudioDecoder::Create(file->OpenStream(1), "", {});
    SeekTo(*sound, 0);
    std::vector<float> samples;
    while (auto const block = sound->Read()) {
        auto const* const data = reinterpret_cast<float const*>(block->GetAVFrame()->data[0]);
        samples.insert(samples.end(), data, data + block->GetSampleCount());
    }
    std::vector<float> original;
    auto const generated = GeneratedAudio::Create(clip);
    while (auto const block = generated->Read()) {
        auto const* const data = reinterpret_cast<std::int16_t const*>(block->GetAVFrame()->data[0]);
        for (int i = 0; i < block->GetSampleCount(); ++i) original.push_back(float(data[2 * i]) / 32768);
    }
    ASSERT_GE(samples.size(), original.size());
    auto const distance = [&](int lag) {
        double sum = 0;
        for (std::size_t i = 1000; i < original.size() - 1000; ++i)
            sum += std::abs(double(samples[std::size_t(int(i) + lag)] - original[i]));
        return sum;
    };
    EXPECT_LT(distance(0), distance(-1));
    EXPECT_LT(distance(0), distance(1));
}

TEST(SampleClip, GeneratedStreamsSeekToTheItemThatContainsThePosition) {
    SampleClipOptions clip;
    clip.seconds = 2;
    auto const audio = GeneratedAudio::Create(clip);
    SeekTo(*audio, 1030000);
    EXPECT_EQ(audio->GetPosition(), 1020000);
    EXPECT_EQ(audio->Read()->GetTime(), 1020000);
    EXPECT_EQ(audio->GetDuration(), 2 * SECOND);
    SeekTo(*audio, 2 * SECOND);
    EXPECT_EQ(audio->Read(), nullptr);
    clip.width = 15;
    EXPECT_THROW(GeneratedVideo::Create(clip), Proc::ProcException);
}

}  // namespace
}  // namespace Tarsel::Tests
