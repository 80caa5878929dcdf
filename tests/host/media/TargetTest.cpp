#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/Core/Time.h"
#include "contracts/Proc/BlobFF.h"
#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"
#include "host/media/ReframedStream.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
}

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;

namespace {

struct RoundTrip {
    char const* clip;
    char const* extension;
    char const* container;
    std::size_t streams = 1;
};

std::string PrintRoundTrip(testing::TestParamInfo<RoundTrip> const& info) {
    std::string name = std::string(info.param.clip) + "_to_" + info.param.extension;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class Target : public testing::TestWithParam<RoundTrip> {};

INSTANTIATE_TEST_SUITE_P(
    Media, Target,
    testing::Values(RoundTrip{"wmv.wmv", "wmv", "asf", 2}, RoundTrip{"wmv.wmv", "asf", "asf", 2},
                    RoundTrip{"h264.mp4", "flv", "flv", 2}, RoundTrip{"h264.flv", "flv", "flv", 2},
                    RoundTrip{"vorbis.ogg", "ogg", "ogg"}, RoundTrip{"opus.ogg", "ogg", "ogg"},
                    RoundTrip{"flac.flac", "oga", "ogg"}, RoundTrip{"theora.ogv", "ogv", "ogg", 2},
                    RoundTrip{"theora.mkv", "ogv", "ogg", 2}, RoundTrip{"h263.3gp", "3gp", "mp4", 2},
                    RoundTrip{"h264.ts", "m2ts", "mpegts", 2}, RoundTrip{"h264.mp4", "h264", "h264"},
                    RoundTrip{"hevc.mp4", "hevc", "hevc"}, RoundTrip{"opus.ogg", "mkv", "matroska"},
                    RoundTrip{"vp8.webm", "webm", "matroska", 2}, RoundTrip{"vp8.webm", "mkv", "matroska", 2}),
    PrintRoundTrip);

iptr<Proc::IStreamRaw> FromStart(MediaFile& file, int stream) {
    iptr<Proc::IStreamRaw> raw = file.OpenStream(stream);
    raw->RequestSeek(0, nullptr);
    raw->DoSeek();
    return raw;
}

/// Writes all packets of a stream, with their times changed by `shift(number of the packet, time)`.
template <class F>
void WriteShifted(MediaWriter& writer, int slot, MediaFile& file, int stream, F shift) {
    StreamInfo const& info = file.GetStreams()[static_cast<std::size_t>(stream)];
    auto const raw = ReframedStream::Create(FromStart(file, stream), file, info, writer.GetContainer());
    for (int i = 0; iptr<Proc::IDataPacket> const packet = raw->Read(); ++i) {
        int64 const by = shift(i);
        packet->SetTime(AddTime(packet->GetTime(), by));
        packet->SetDecodingTime(AddTime(packet->GetDecodingTime(), by));
        writer.Write(slot, *packet);
    }
}

std::string BytesOf(iptr<IBlob> const& blob) {
    return blob ? std::string(reinterpret_cast<char const*>(blob->GetData()), blob->GetSize()) : std::string();
}

template <class T>
T const& SideData(NativeParameters const& native, AVPacketSideDataType type) {
    for (auto const& [kind, bytes] : native.sideData)
        if (kind == type && bytes.size() >= sizeof(T)) return *reinterpret_cast<T const*>(bytes.data());
    throw std::runtime_error("side data is missing");
}

/// The parameter sets of an avcC record (ISO/IEC 14496-15 clause 5.3.3.1), each with its two bytes of size.
struct AvcRecord {
    std::string head;
    std::string sps;
    std::string pps;
    std::string tail;
    explicit AvcRecord(std::string const& bytes) : head(bytes.substr(0, 5)) {
        std::size_t at = 6;
        auto const take = [&](int count) {
            std::size_t const begin = at;
            for (int i = 0; i < count; ++i)
                at += 2 + static_cast<std::size_t>(static_cast<u8>(bytes.at(at))) * 256 +
                      static_cast<u8>(bytes.at(at + 1));
            return bytes.substr(begin, at - begin);
        };
        sps = take(bytes.at(5) & 31);
        int const count = bytes.at(at++);
        pps = take(count);
        tail = bytes.substr(at);
    }
};

}  // namespace

TEST_P(Target, KeepsPacketsAndTimes) {
    ScratchFolder const folder;
    std::string const out = folder / (std::string("out.") + GetParam().extension);
    CopyFile(TestMedia(GetParam().clip), out);
    iptr<MediaFile> const before = MediaFile::Open(TestMedia(GetParam().clip));
    iptr<MediaFile> const after = MediaFile::Open(out);
    EXPECT_EQ(after->GetContainer(), GetParam().container);
    ASSERT_EQ(after->GetStreams().size(), GetParam().streams);
    for (StreamInfo const& info : after->GetStreams()) {
        SCOPED_TRACE("stream " + std::to_string(info.index));
        StreamInfo const& old = before->GetStreams()[static_cast<std::size_t>(info.index)];
        EXPECT_EQ(info.codec, old.codec);
        std::vector<Item> const a = ReadItems(*FromStart(*before, info.index));
        std::vector<Item> const b = ReadItems(*FromStart(*after, info.index));
        ASSERT_EQ(b.size(), a.size());
        AVRational const coarse =
            av_cmp_q(info.native->timeBase, old.native->timeBase) > 0 ? info.native->timeBase : old.native->timeBase;
        int64 const allowed = av_rescale_q_rnd(1, coarse, MICROSECONDS, AV_ROUND_UP) + 1;
        bool const reframed = info.codec == "h264" || info.codec == "hevc";
        for (std::size_t i = 0; i < a.size(); ++i) {
            ASSERT_NEAR(b[i].time, a[i].time, allowed) << "packet " << i;
            EXPECT_EQ(b[i].key, a[i].key) << "packet " << i;
            if (!reframed) {
                EXPECT_EQ(b[i].digest, a[i].digest) << "packet " << i;
            }
        }
    }
    RunFFmpeg({"-xerror", "-i", out, "-f", "null", "-"});
}

TEST(Target, RawVideoNamesTheSoundThatIsLeftOut) {
    ScratchFolder const folder;
    std::string const out = folder / "out.h264";
    EXPECT_THAT(CopyFile(TestMedia("h264.mp4"), out),
                testing::ElementsAre(out + ": stream 1 (audio, aac) is left out: h264 can't carry aac"));
}

TEST(Target, TheoraHeadersAreTheSameBytesFromOggAndMatroska) {
    iptr<MediaFile> const ogg = MediaFile::Open(TestMedia("theora.ogv"));
    iptr<MediaFile> const matroska = MediaFile::Open(TestMedia("theora.mkv"));
    std::string const wanted = BytesOf(ogg->GetStreams()[0].format->GetExtradata());
    EXPECT_EQ(wanted.substr(0, 3), std::string("\0\x2A\x80", 3));
    EXPECT_EQ(BytesOf(matroska->GetStreams()[0].format->GetExtradata()), wanted);
    AVCodecParameters const& native = *matroska->GetStreams()[0].native->parameters;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(native.extradata), static_cast<std::size_t>(native.extradata_size)),
              wanted);
    ScratchFolder const folder;
    CopyFile(TestMedia("theora.ogv"), folder / "out.mkv");
    RunFFmpeg({"-xerror", "-i", folder / "out.mkv", "-f", "null", "-"});
}

TEST(Target, SoundBehindASeamInATransportStreamKeepsItsTime) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.ts", {});
    int const slot = writer->AddStream(*file->GetStreams()[1].format, StreamKind::Audio, nullptr);
    writer->Begin();
    constexpr int64 GAP = 10667;
    constexpr int SEAM = 50;
    WriteShifted(*writer, slot, *file, 1, [](int i) { return i < SEAM ? int64{0} : GAP; });
    writer->Finish();
    std::vector<int64> const& before = file->GetIndex(1).GetTimes();
    iptr<MediaFile> const copy = MediaFile::Open(folder / "a.ts");
    std::vector<int64> const& after = copy->GetIndex(0).GetTimes();
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < after.size(); ++i)
        ASSERT_NEAR(after[i] - after[0], before[i] - before[0] + (i < SEAM ? 0 : GAP), 23) << "packet " << i;
}

TEST(Target, MatroskaKeepsOpusBesideThePictures) {
    ScratchFolder const folder;
    for (char const* const target : {"a.webm", "a.mkv"}) {
        CopyFile(TestMedia("vp8.webm"), folder / target);
        iptr<MediaFile> const before = MediaFile::Open(TestMedia("vp8.webm"));
        iptr<MediaFile> const after = MediaFile::Open(folder / target);
        EXPECT_EQ(after->GetIndex(0).GetTimes(), before->GetIndex(0).GetTimes());
        EXPECT_EQ(after->GetIndex(1).GetTimes(), before->GetIndex(1).GetTimes());
        EXPECT_EQ(ReadBack(folder / target), ReadBack(TestMedia("vp8.webm"))) << "times on the container's own axis";
    }
}

TEST(Target, MatroskaMovesChaptersWithThePackets) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("rich.mkv"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mkv", {});
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    int const sound = writer->AddStream(*file->GetStreams()[1].format, StreamKind::Audio, nullptr);
    writer->SetChapters(file->GetChapters());
    writer->Begin();
    // Sound that begins a second ahead of the pictures moves all to the right.
    WriteShifted(*writer, sound, *file, 1, [](int) { return int64{-1000000}; });
    WriteShifted(*writer, slot, *file, 0, [](int) { return int64{0}; });
    writer->Finish();
    iptr<MediaFile> const copy = MediaFile::Open(folder / "a.mkv");
    ASSERT_EQ(copy->GetChapters().size(), 2u);
    EXPECT_EQ(copy->GetChapters()[0].begin, file->GetChapters()[0].begin);
    EXPECT_EQ(copy->GetChapters()[1].begin, file->GetChapters()[1].begin);
    EXPECT_EQ(copy->GetIndex(0).GetTimes(), file->GetIndex(0).GetTimes());
    EXPECT_EQ(copy->GetIndex(1).GetStartTime(), file->GetIndex(1).GetStartTime() - 1000000);
}

TEST(Target, AviNamesAStreamWhoseLateStartItLoses) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("mpeg4-nob.avi"));
    std::string const out = folder / "a.avi";
    iptr<MediaWriter> const writer = MediaWriter::Create(out, {});
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    int const sound = writer->AddStream(*file->GetStreams()[1].format, StreamKind::Audio, &file->GetStreams()[1]);
    writer->Begin();
    WriteShifted(*writer, slot, *file, 0, [](int) { return int64{0}; });
    WriteShifted(*writer, sound, *file, 1, [](int) { return int64{500000}; });
    writer->Finish();
    EXPECT_THAT(writer->GetWarnings(), testing::ElementsAre(out + ": stream 1 (audio, mp3) begins 500 ms early: avi "
                                                                  "can't hold a later start"));
    EXPECT_EQ(MediaFile::Open(out)->GetIndex(1).GetStartTime(), 0);
}

TEST(Target, AviClosesTheGapThatLeadingPicturesLeaveBehindTheFirst) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("mpeg4.avi"));
    std::string const out = folder / "a.avi";
    iptr<MediaWriter> const writer = MediaWriter::Create(out, {});
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    writer->Begin();
    // As behind a cut into an open group: the key picture stands alone, three pictures' time ahead of the next.
    iptr<Proc::IStreamRaw> const raw = FromStart(*file, 0);
    for (int i = 0; iptr<Proc::IDataPacket> const packet = raw->Read(); ++i) {
        if (i == 0) packet->SetDecodingTime(SubTime(packet->GetDecodingTime(), 80000));
        writer->Write(slot, *packet);
    }
    writer->Finish();
    EXPECT_THAT(writer->GetWarnings(), testing::IsEmpty());
    EXPECT_EQ(MediaFile::Open(out)->GetIndex(0).GetTimes(), file->GetIndex(0).GetTimes());
    EXPECT_EQ(ReadBack(out).at(0)[1].dts, 1);
}

TEST(Target, SoundFromMatroskaGetsItsSampleExactTimesBackInMp4) {
    ScratchFolder const folder;
    CopyFile(TestMedia("h264.mkv"), folder / "a.mp4");
    std::vector<RawPacket> const packets = ReadBack(folder / "a.mp4").at(1);
    ASSERT_GT(packets.size(), 200u);
    for (std::size_t i = 1; i < packets.size(); ++i)
        ASSERT_EQ(packets[i].pts - packets[i - 1].pts, 1024) << "packet " << i;
    // What lies further off than rounding explains stays where it is.
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mkv"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "gap.mp4", {});
    int const slot = writer->AddStream(*file->GetStreams()[1].format, StreamKind::Audio, nullptr);
    writer->Begin();
    WriteShifted(*writer, slot, *file, 1, [](int i) { return i < 50 ? int64{0} : int64{5000}; });
    writer->Finish();
    std::vector<RawPacket> const gap = ReadBack(folder / "gap.mp4").at(0);
    EXPECT_NEAR(gap[50].pts - gap[49].pts, 1024 + 240, 48);
    EXPECT_EQ(gap[51].pts - gap[50].pts, 1024);
}

TEST(Target, HdrMetadataSurvivesMp4AndMatroska) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("hevc.mp4"));
    AVMasteringDisplayMetadata mastering{};
    mastering.has_primaries = mastering.has_luminance = 1;
    int const primaries[3][2] = {{34000, 16000}, {13250, 34500}, {7500, 3000}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) mastering.display_primaries[i][j] = {primaries[i][j], 50000};
    mastering.white_point[0] = {15635, 50000};
    mastering.white_point[1] = {16450, 50000};
    mastering.max_luminance = {10000000, 10000};
    mastering.min_luminance = {50, 10000};
    AVContentLightMetadata const light{1000, 400};
    auto const native = MakeShared<NativeParameters>();
    avcodec_parameters_copy(native->parameters.get(), file->GetStreams()[0].native->parameters.get());
    native->timeBase = file->GetStreams()[0].native->timeBase;
    native->averageFrameRate = file->GetStreams()[0].native->averageFrameRate;
    native->sideData.emplace_back(AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                  std::string(reinterpret_cast<char const*>(&mastering), sizeof mastering));
    native->sideData.emplace_back(AV_PKT_DATA_CONTENT_LIGHT_LEVEL,
                                  std::string(reinterpret_cast<char const*>(&light), sizeof light));
    iptr<Conf::IFormatCodec> const format = file->GetStreams()[0].format->Clone();
    format->SetNativeParameters(native);
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {});
    int const slot = writer->AddStream(*format, StreamKind::Video, nullptr);
    writer->Begin();
    WriteShifted(*writer, slot, *file, 0, [](int) { return int64{0}; });
    writer->Finish();
    CopyFile(folder / "a.mp4", folder / "b.mkv");
    CopyFile(folder / "b.mkv", folder / "c.mp4");
    for (char const* const name : {"a.mp4", "b.mkv", "c.mp4"}) {
        SCOPED_TRACE(name);
        iptr<MediaFile> const copy = MediaFile::Open(folder / name);
        NativeParameters const& got = *copy->GetStreams()[0].native;
        auto const& display = SideData<AVMasteringDisplayMetadata>(got, AV_PKT_DATA_MASTERING_DISPLAY_METADATA);
        EXPECT_TRUE(display.has_primaries && display.has_luminance);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 2; ++j)
                EXPECT_NEAR(av_q2d(display.display_primaries[i][j]), primaries[i][j] / 50000.0, 1e-4);
        EXPECT_NEAR(av_q2d(display.white_point[1]), 0.329, 1e-4);
        EXPECT_NEAR(av_q2d(display.max_luminance), 1000.0, 1e-2);
        EXPECT_NEAR(av_q2d(display.min_luminance), 0.005, 1e-4);
        auto const& level = SideData<AVContentLightMetadata>(got, AV_PKT_DATA_CONTENT_LIGHT_LEVEL);
        EXPECT_EQ(level.MaxCLL, 1000u);
        EXPECT_EQ(level.MaxFALL, 400u);
    }
}

TEST(Target, TransportStreamKeysCarryBothSetsOfAMergedHeader) {
    ScratchFolder const folder;
    iptr<MediaFile> const first = MediaFile::Open(TestMedia("h264-nob.mp4"));
    iptr<MediaFile> const second = MediaFile::Open(TestMedia("h264-sps1.mp4"));
    AvcRecord const a(BytesOf(first->GetStreams()[0].format->GetExtradata()));
    AvcRecord const b(BytesOf(second->GetStreams()[0].format->GetExtradata()));
    std::string const merged = a.head + "\xE2" + a.sps + b.sps + "\x02" + a.pps + b.pps + a.tail;
    for (auto const& file : {first, second})
        file->GetStreams()[0].format->SetExtradata(
            Proc::BlobFF::Create(reinterpret_cast<u8 const*>(merged.data()), merged.size()));
    std::string const out = folder / "a.ts";
    iptr<MediaWriter> const writer = MediaWriter::Create(out, {});
    auto const reframed = ReframedStream::Create(first->OpenStream(0), *first, first->GetStreams()[0], "mpegts");
    int const slot = writer->AddStream(*reframed->GetFormatCodec(), StreamKind::Video, nullptr);
    writer->Begin();
    WriteShifted(*writer, slot, *first, 0, [](int) { return int64{0}; });
    WriteShifted(*writer, slot, *second, 0, [](int) { return int64{6000000}; });
    writer->Finish();
    iptr<Proc::IStreamRaw> const stream = MediaFile::Open(out)->OpenStream(0);
    std::size_t keys = 0;
    std::size_t packets = 0;
    for (; iptr<Proc::IDataPacket> const packet = stream->Read(); ++packets) {
        if (!packet->IsKeyFrame()) continue;
        ++keys;
        AVPacket const& raw = *packet->GetAVPacket();
        int sps = 0;
        int pps = 0;
        for (int i = 0; i + 3 < raw.size; ++i) {
            if (raw.data[i] != 0 || raw.data[i + 1] != 0 || raw.data[i + 2] != 1) continue;
            sps += (raw.data[i + 3] & 31) == 7;
            pps += (raw.data[i + 3] & 31) == 8;
        }
        EXPECT_EQ(sps, 2) << "key " << keys;
        EXPECT_EQ(pps, 2) << "key " << keys;
    }
    EXPECT_EQ(packets, 300u);
    EXPECT_EQ(keys, first->GetIndex(0).GetKeyCount() + second->GetIndex(0).GetKeyCount());
    RunFFmpeg({"-xerror", "-i", out, "-f", "null", "-"});
}
