#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/MediaFile.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;

namespace {

std::vector<Item> ReadStraight(MediaFile& file, int stream) {
    iptr<Proc::IStreamRaw> const source = file.OpenStream(stream);
    source->RequestSeek(0, nullptr);
    source->DoSeek();
    return ReadItems(*source);
}

/// Number of the item on which a seek has to land, found without the index.
std::size_t Expected(std::vector<Item> const& items, StreamKind kind, int64 position) {
    std::size_t found = items.size();
    if (position <= 0) return 0;
    if (kind == StreamKind::Video) {
        for (std::size_t i = 0; i < items.size(); ++i)
            if (items[i].key && items[i].time <= position &&
                (found == items.size() || items[i].time > items[found].time))
                found = i;
        return found == items.size() ? 0 : found;
    }
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items[i].time + items[i].duration > position) return i;
    return kind == StreamKind::Audio ? items.size() - 1 : items.size();
}

class SeekClip : public testing::TestWithParam<char const*> {};

INSTANTIATE_TEST_SUITE_P(Media, SeekClip,
                         testing::Values("h264.mp4", "h264.mov", "h264.mkv", "h264.ts", "h264.avi", "h264.flv",
                                         "h264.h264", "h264-open.mp4", "h264-open.ts", "h264-open.mkv",
                                         "h264-onekey.mp4", "h264-allkey.mp4", "h264-late.ts", "h264-late.mkv",
                                         "h264-edit.mp4", "h264-vfr.mkv", "hevc.mp4", "hevc-open.mkv", "hevc-open.ts",
                                         "mpeg2.ts", "mpeg2.mpg", "mpeg4.avi", "mpeg4-nob.avi", "mpeg4.mp4", "vp8.webm",
                                         "aac.m4a", "aac.aac", "mp3.mp3", "pcm.wav", "flac.flac", "vorbis.ogg",
                                         "rich.mkv", "rich.mp4"));

}  // namespace

TEST_P(SeekClip, EverySeekFollowedByReadingGivesWhatStraightReadingGives) {
    unsigned const seed = 20240;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    iptr<MediaFile> const file = MediaFile::Open(TestMedia(GetParam()));
    for (StreamInfo const& info : file->GetStreams()) {
        if (!info.HasPackets() || info.derived) continue;
        SCOPED_TRACE("stream " + std::to_string(info.index));
        std::vector<Item> const straight = ReadStraight(*file, info.index);
        ASSERT_EQ(straight.size(), file->GetIndex(info.index).GetCount());
        iptr<Proc::IStreamRaw> const stream = file->OpenStream(info.index);
        std::uniform_int_distribution<int64> positions(-100000, file->GetDuration() + 100000);
        for (int i = 0; i < 40; ++i) {
            // Times of packets themselves are where a seek is off by one most easily.
            bool const exact = i % 3 == 0;
            int64 const position = exact ? straight[random() % straight.size()].time : positions(random);
            SCOPED_TRACE("seek to " + std::to_string(position));
            stream->RequestSeek(position, nullptr);
            stream->DoSeek();
            ASSERT_TRUE(stream->FinishSeek());
            std::size_t const first = Expected(straight, info.kind, std::min(position, file->GetDuration()));
            ASSERT_EQ(stream->GetPosition(), first < straight.size() ? straight[first].time : NO_VALUE);
            std::size_t const count = std::min<std::size_t>(random() % 90, straight.size() - first);
            auto const begin = straight.begin() + static_cast<std::ptrdiff_t>(first);
            std::vector<Item> const wanted(begin, begin + static_cast<std::ptrdiff_t>(count));
            ASSERT_EQ(ReadItems(*stream, count), wanted);
            if (random() % 5 == 0) stream->ReleaseInternalData();
        }
    }
}

TEST_P(SeekClip, ReadingAgreesWithTheLibraryPacketForPacket) {
    std::string const path = TestMedia(GetParam());
    iptr<MediaFile> const file = MediaFile::Open(path);
    std::map<int, std::vector<RawPacket>> const raw = ReadBack(path);
    for (StreamInfo const& info : file->GetStreams()) {
        if (!info.HasPackets()) continue;
        std::vector<Item> const items = ReadStraight(*file, info.index);
        std::vector<RawPacket> const& packets = raw.at(info.index);
        ASSERT_EQ(items.size(), packets.size());
        for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].digest, packets[i].digest);
    }
}

TEST(DemuxStream, PacketsCarryPositionFormatAndAreFresh) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    EXPECT_EQ(stream->GetMediaType(), MEDIA_TYPE_VIDEO);
    EXPECT_EQ(stream->GetFormatCodec(), stream->GetFormatCodec());
    iptr<Proc::IDataPacket> const first = stream->Read();
    iptr<Proc::IDataPacket> const second = stream->Read();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetSourcePosition(), first->GetTime());
    EXPECT_EQ(second->GetSourcePosition(), second->GetTime());
    EXPECT_EQ(first->GetFormatCodec(), stream->GetFormatCodec());
    EXPECT_TRUE(first->IsKeyFrame());
    EXPECT_FALSE(second->IsKeyFrame());
}

TEST(DemuxStream, EndIsNullAgainAndAgain) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.ts"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    EXPECT_EQ(ReadItems(*stream).size(), 150u);
    EXPECT_FALSE(stream->Read());
    EXPECT_FALSE(stream->Read());
    EXPECT_EQ(stream->GetPosition(), 6000000);
}

TEST(DemuxStream, PositionIsTheEndOfTheLastItem) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    EXPECT_EQ(stream->GetPosition(), 0);
    stream->Read();
    EXPECT_EQ(stream->GetPosition(), 40000);
    stream->RequestSeek(3999999, nullptr);
    stream->DoSeek();
    EXPECT_EQ(stream->GetPosition(), 2000000);
}

TEST(DemuxStream, GoesOnAfterReleaseWithoutASeek) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mkv"));
    std::vector<Item> const straight = ReadStraight(*file, 0);
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    std::vector<Item> items = ReadItems(*stream, 70);
    stream->ReleaseInternalData();
    for (Item const& item : ReadItems(*stream)) items.push_back(item);
    EXPECT_EQ(items, straight);
}

TEST(DemuxStream, ReleaseKeepsAPendingSeek) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mkv"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    stream->RequestSeek(4500000, nullptr);
    stream->ReleaseInternalData();
    iptr<Proc::IDataPacket> const packet = stream->Read();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->GetTime(), 4000000);
}

TEST(DemuxStream, SetEndOfStreamEndsReadingUntilTheNextSeek) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    stream->SetEndOfStream();
    EXPECT_TRUE(stream->IsEndOfStream());
    EXPECT_FALSE(stream->Read());
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    EXPECT_FALSE(stream->IsEndOfStream());
    EXPECT_TRUE(stream->Read());
}

TEST(DemuxStream, QuestionsAreSafeWhileAnotherThreadReads) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    std::atomic<bool> done{false};
    std::thread reader([&] {
        ReadItems(*stream);
        done = true;
    });
    while (!done) {
        EXPECT_EQ(stream->GetDuration(), 6000000);
        EXPECT_TRUE(stream->GetFormatCodec());
        EXPECT_EQ(stream->GetStatistic().Children().size(), 1u);
    }
    reader.join();
    EXPECT_EQ(stream->GetStatistic().Children()[0]["Count"].GetInt64(), 150);
}

TEST(DemuxStream, ReadingHoldsNoPackets) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    int64 const before = Proc::DataPacketFF::GetLiveCount();
    while (iptr<Proc::IDataPacket> const packet = stream->Read())
        ASSERT_EQ(Proc::DataPacketFF::GetLiveCount(), before + 1);
}

TEST(DemuxStream, SettingsAreNotImplemented) {
    iptr<Proc::IStreamRaw> const stream = MediaFile::Open(TestMedia("h264.mp4"))->OpenStream(0);
    EXPECT_THROW(stream->GetSettings(), Proc::FilterException);
    EXPECT_THROW(stream->Initialize(Core::Property("x")), Proc::FilterException);
}
