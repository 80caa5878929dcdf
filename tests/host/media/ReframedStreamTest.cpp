#include "host/media/ReframedStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Proc::SettingsFilterBitStream;
using Test::TestMedia;

/// A stream of a file with some packets made unreadable: the first length of H.264 leads out of them, and of an ADTS
/// frame the header alone is left. Another one may fail to be read at all.
class Damaged final : public Proc::IStreamRaw, public RefCounted {
  public:
    Damaged(iptr<Proc::IStreamRaw> source, std::vector<int> broken)
        : source(std::move(source)), broken(std::move(broken)) {}
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return source->GetDuration(); }
    int64 GetPosition() override { return source->GetPosition(); }
    iptr<Proc::IDataPacket> Read() override {
        iptr<Proc::IDataPacket> packet = source->Read();
        if (number == failing) TARSEL_THROW(Core::IOException, "the disk is gone");
        bool const damaged = std::find(broken.begin(), broken.end(), number++) != broken.end();
        if (!packet || !damaged) return packet;
        AVPacket& raw = *packet->GetAVPacket();
        if (GetMediaType() == MEDIA_TYPE_AUDIO)
            av_shrink_packet(&raw, 7);
        else
            raw.data[0] = 0x7F;
        return packet;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override { source->RequestSeek(position, context); }
    void DoSeek() override {
        source->DoSeek();
        number = 0;
    }
    bool FinishSeek() override { return true; }
    int failing = -1;
    Core::Property GetStatistic() override { return source->GetStatistic(); }
    void SetEndOfStream() override { source->SetEndOfStream(); }
    bool IsEndOfStream() override { return source->IsEndOfStream(); }
    void ReleaseInternalData() override { source->ReleaseInternalData(); }
    void Accept(Proc::IStreamVisitor& visitor) override { source->Accept(visitor); }
    MediaType GetMediaType() const override { return source->GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return source->GetFormatCodec(); }

  private:
    iptr<Proc::IStreamRaw> const source;
    std::vector<int> const broken;
    int number = 0;
};

iptr<ReframedStream> Reframe(MediaFile& file, int stream, std::string const& container,
                             std::vector<int> const& broken = {}) {
    iptr<Proc::IStreamRaw> const source = MakeShared<Damaged>(file.OpenStream(stream), broken);
    return ReframedStream::Create(source, file, file.GetStreams()[static_cast<std::size_t>(stream)], container);
}

std::vector<iptr<Proc::IDataPacket>> ReadAll(Proc::IStreamRaw& stream) {
    stream.RequestSeek(0, nullptr);
    stream.DoSeek();
    std::vector<iptr<Proc::IDataPacket>> packets;
    while (auto packet = stream.Read()) packets.push_back(packet);
    return packets;
}

TEST(ChooseFraming, FollowsContainerAndCodec) {
    for (char const* codec : {"h264", "hevc"}) {
        for (char const* container : {"mp4", "mov", "ipod", "3gp", "matroska", "flv"})
            EXPECT_EQ(ChooseFraming(container, codec), SettingsFilterBitStream::MP4) << container;
        for (char const* container : {"mpegts", "h264", "hevc", "avi"})
            EXPECT_EQ(ChooseFraming(container, codec), SettingsFilterBitStream::ANNEX_B) << container;
        EXPECT_EQ(ChooseFraming("asf", codec), SettingsFilterBitStream::ANY);
    }
    for (char const* container : {"mp4", "mov", "matroska", "flv", "avi"})
        EXPECT_EQ(ChooseFraming(container, "aac"), SettingsFilterBitStream::RAW_AAC) << container;
    for (char const* container : {"mpegts", "adts"})
        EXPECT_EQ(ChooseFraming(container, "aac"), SettingsFilterBitStream::ADTS) << container;
    for (char const* codec : {"vp8", "mpeg2video", "mp3", "subrip"})
        EXPECT_EQ(ChooseFraming("mp4", codec), SettingsFilterBitStream::ANY) << codec;
}

TEST(ChooseFraming, AnUnknownContainerIsRefused) {
    try {
        ChooseFraming("no such container", "h264");
        FAIL();
    } catch (std::invalid_argument const& failure) {
        EXPECT_STREQ(failure.what(), "there is no container \"no such container\"");
    }
}

TEST(ReframedStream, KeepsTimesKeysAndSourcePositions) {
    for (char const* clip : {"h264.mp4", "hevc.mp4", "h264.ts", "hevc-open.ts"}) {
        SCOPED_TRACE(clip);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(clip));
        bool const lengths = file->GetStreams()[0].framing == "length";
        auto const plain = ReadAll(*file->OpenStream(0));
        auto const stream = Reframe(*file, 0, lengths ? "mpegts" : "mp4");
        auto const changed = ReadAll(*stream);
        EXPECT_EQ(FramingName(*stream->GetFormatCodec()), lengths ? "annexb" : "length");
        ASSERT_EQ(changed.size(), plain.size());
        EXPECT_EQ(stream->GetDroppedCount(), 0u);
        for (std::size_t i = 0; i < plain.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(changed[i]->GetTime(), plain[i]->GetTime());
            EXPECT_EQ(changed[i]->GetDecodingTime(), plain[i]->GetDecodingTime());
            EXPECT_EQ(changed[i]->GetDuration(), plain[i]->GetDuration());
            EXPECT_EQ(changed[i]->GetSourcePosition(), plain[i]->GetSourcePosition());
            EXPECT_EQ(changed[i]->IsKeyFrame(), plain[i]->IsKeyFrame());
        }
    }
}

TEST(ReframedStream, ReadsOnOverDroppedPacketsToTheRealEnd) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    std::size_t const count = file->GetIndex(0).GetCount();
    int const last = static_cast<int>(count) - 1;
    auto const stream = Reframe(*file, 0, "mpegts", {3, 4, 40, last});
    auto const packets = ReadAll(*stream);
    EXPECT_EQ(packets.size(), count - 4);
    EXPECT_EQ(stream->GetDroppedCount(), 4u);
    EXPECT_EQ(stream->Read(), nullptr);
    EXPECT_EQ(stream->GetDroppedCount(), 4u);
    EXPECT_EQ(packets[3]->GetSourcePosition(), file->GetIndex(0).GetRecords()[5].time);
}

TEST(ReframedStream, LeavesOutAdtsFramesWithoutAPayload) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("aac.aac"));
    auto const stream = Reframe(*file, 0, "mp4", {5, 6});
    EXPECT_EQ(ReadAll(*stream).size(), file->GetIndex(0).GetCount() - 2);
    EXPECT_EQ(stream->GetDroppedCount(), 2u);
}

TEST(ReframedStream, AFailureOfTheSourceComesThrough) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    auto const source = MakeShared<Damaged>(file->OpenStream(0), std::vector<int>{});
    source->failing = 3;
    auto const stream = ReframedStream::Create(source, *file, file->GetStreams()[0], "mpegts");
    EXPECT_THROW(ReadAll(*stream), Core::IOException);
    EXPECT_EQ(stream->GetDroppedCount(), 0u);
}

TEST(ReframedStream, CanBeSoughtAgainAfterItsEnd) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    auto const stream = Reframe(*file, 0, "mpegts");
    std::size_t const count = ReadAll(*stream).size();
    EXPECT_EQ(ReadAll(*stream).size(), count);
    stream->RequestSeek(3000000, nullptr);
    stream->DoSeek();
    EXPECT_EQ(stream->GetPosition(), 2000000);
    auto const packet = stream->Read();
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->GetTime(), 2000000);
}

TEST(ReframedStream, TakesTheHeaderOfAdtsFramesFromTheFirstPacket) {
    for (char const* clip : {"aac.aac", "h264.ts"}) {
        SCOPED_TRACE(clip);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(clip));
        int const number = static_cast<int>(file->GetStreams().size()) - 1;
        StreamInfo const& info = file->GetStreams()[static_cast<std::size_t>(number)];
        ASSERT_EQ(info.codec, "aac");
        ASSERT_EQ(info.format->GetExtradata(), nullptr);
        auto const stream = Reframe(*file, number, "mp4");
        auto const packets = ReadAll(*stream);
        auto const plain = ReadAll(*file->OpenStream(number));
        ASSERT_NE(stream->GetFormatCodec()->GetExtradata(), nullptr);
        EXPECT_EQ(FramingName(*stream->GetFormatCodec()), "raw");
        EXPECT_EQ(info.format->GetExtradata(), nullptr) << "the source's format is its own";
        ASSERT_EQ(packets.size(), plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i) EXPECT_EQ(packets[i]->GetSize() + 7, plain[i]->GetSize());
    }
}

TEST(ReframedStream, FindsParameterSetsInBandWhereTheFormatHasNone) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.ts"));
    iptr<IBlob> const known = file->GetStreams()[0].format->GetExtradata();
    ASSERT_NE(known, nullptr);
    file->GetStreams()[0].format->SetExtradata(nullptr);
    auto const stream = Reframe(*file, 0, "mp4");
    EXPECT_EQ(FramingName(*stream->GetFormatCodec()), "length");
    EXPECT_EQ(ReadAll(*stream).size(), file->GetIndex(0).GetCount());
}

TEST(ReframedStream, AHeaderThatCannotBeConvertedNamesTheStream) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.ts"));
    u8 const noSets[] = {0, 0, 0, 1, 9, 0xF0};
    file->GetStreams()[0].format->SetExtradata(Proc::BlobFF::Create(noSets, sizeof noSets));
    try {
        Reframe(*file, 0, "mp4");
        FAIL();
    } catch (Proc::ProcException const& failure) {
        EXPECT_STREQ(failure.what(),
                     "stream #0 (video, h264): its global header can't be converted for mp4: No sps or pps found!");
    }
}

TEST(ReframedStream, PassesOtherCodecsAsTheyAre) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("vp8.webm"));
    for (int const stream : {0, 1}) {
        auto const plain = ReadAll(*file->OpenStream(stream));
        auto const passed = ReadAll(*Reframe(*file, stream, "matroska"));
        ASSERT_EQ(passed.size(), plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i)
            EXPECT_EQ(Tarsel::Test::ToItem(*passed[i]), Tarsel::Test::ToItem(*plain[i]));
    }
}

TEST(ReframedStream, TakesNoSettings) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    auto const stream = Reframe(*file, 0, "mpegts");
    EXPECT_THROW(stream->Initialize(Core::Property("x")), Proc::FilterException);
    EXPECT_THROW(stream->GetSettings(), Proc::FilterException);
}

}  // namespace
}  // namespace Tarsel::Host
