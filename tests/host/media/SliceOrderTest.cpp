// The order of presentation where neither the container nor the pictures' headers tell it.
#include "host/media/SliceOrder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <new>

#include "host/media/MediaFile.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Test::MakeClip;
using Test::ScratchFolder;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// slice_type (H.264, table 7-6) behind first_mb_in_slice 0, as Exp-Golomb codes: I, P and B.
std::vector<u8> Slice(char type) {
    // 1 | 011: I (2); 1 | 1: P (0); 1 | 010: B (1).
    u8 const bits = type == 'I' ? 0xB8 : type == 'P' ? 0xC0 : 0xA0;
    return {static_cast<u8>(type == 'I' ? 0x65 : 0x41), bits, 0x55, 0x55};
}

std::vector<std::size_t> RanksOf(std::string const& types, int lengthSize = 0) {
    SliceOrder order;
    PacketPtr const packet(av_packet_alloc());
    for (char const type : types) {
        std::vector<u8> const unit = Slice(type);
        // Something in front that is no slice, as long as it may be.
        std::vector<u8> bytes(200, 0x06);
        std::vector<u8> prefix{0, 0, 0, 1};
        if (lengthSize != 0) prefix = {0, 0, 0, 196};
        std::copy(prefix.begin(), prefix.end(), bytes.begin());
        if (lengthSize != 0) prefix = {0, 0, 0, static_cast<u8>(unit.size())};
        bytes.insert(bytes.end(), prefix.begin(), prefix.end());
        bytes.insert(bytes.end(), unit.begin(), unit.end());
        av_packet_unref(packet.get());
        if (av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0) throw std::bad_alloc();
        std::copy(bytes.begin(), bytes.end(), packet->data);
        order.Add(*packet, {lengthSize});
    }
    return order.GetRanks();
}

TEST(SliceOrder, ARunOfBPicturesIsShownAheadOfThePictureInFrontOfIt) {
    EXPECT_THAT(RanksOf("IPBBPBB"), ElementsAre(0, 3, 1, 2, 6, 4, 5));
}

TEST(SliceOrder, WithoutBPicturesDecodingOrderStays) {
    EXPECT_THAT(RanksOf("IPPIP"), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(RanksOf(""), IsEmpty());
}

TEST(SliceOrder, LengthPrefixesAreReadAsWell) {
    EXPECT_THAT(RanksOf("IPB", 4), ElementsAre(0, 2, 1));
}

TEST(SliceOrder, APacketWithoutASliceCountsAsAnAnchor) {
    SliceOrder order;
    PacketPtr const empty(av_packet_alloc());
    order.Add(*empty, {0});
    order.Add(*empty, {0});
    EXPECT_THAT(order.GetRanks(), ElementsAre(0, 1));
}

std::string ClipWithB() {
    return MakeClip("pairs.mp4", {"-f", "lavfi", "-i", "testsrc2=s=160x120:r=25:d=4", "-c:v", "libx264", "-threads",
                                  "1", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-x264-params",
                                  "keyint=25:scenecut=0:bframes=2:b-adapt=0:b-pyramid=0", "-bitexact"});
}

std::string AviOf(std::string const& clip) {
    return MakeClip("pairs.avi", {"-i", clip, "-c", "copy", "-bsf:v", "h264_mp4toannexb", "-tag:v", "H264"});
}

/// The file with its parameter sets turned into units of filler: nothing can decode it, or read its picture order.
void WriteWithoutSets(std::string const& from, std::string const& to) {
    std::ifstream file(from, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    for (std::string const& set : {std::string("\0\0\1\x67", 4), std::string("\0\0\1\x68", 4)})
        for (auto at = bytes.find(set); at != std::string::npos; at = bytes.find(set, at)) bytes[at + 3] = '\x6C';
    std::ofstream(to, std::ios::binary) << bytes;
}

TEST(SliceOrder, GivesTheTimesOfAStreamWhoseHeadersAreMissing) {
    ScratchFolder const folder;
    std::string const clip = ClipWithB();
    WriteWithoutSets(AviOf(clip), folder / "a.avi");
    iptr<MediaFile> const file = MediaFile::Open(folder / "a.avi");
    StreamIndex const& index = file->GetIndex(0);
    EXPECT_THAT(file->GetWarnings(), Contains(folder / "a.avi: stream #0: times are restored from slice types"));
    EXPECT_TRUE(index.HasPresentationTimes());
    iptr<MediaFile> const whole = MediaFile::Open(clip);
    std::vector<IndexRecord> const& wanted = whole->GetIndex(0).GetRecords();
    ASSERT_EQ(index.GetCount(), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i)
        ASSERT_EQ(index.GetRecords()[i].time, wanted[i].time) << "packet " << i;
}

TEST(SliceOrder, IsNotAskedWhereTheHeadersTell) {
    std::string const clip = AviOf(ClipWithB());
    iptr<MediaFile> const file = MediaFile::Open(clip);
    EXPECT_EQ(file->GetIndex(0).GetTimes(), MediaFile::Open(ClipWithB())->GetIndex(0).GetTimes());
    EXPECT_THAT(file->GetWarnings(), IsEmpty());
}

TEST(SliceOrder, AsfHasTheOrderOfTheHeaders) {
    std::string const clip =
        MakeClip("pyramid.mp4", {"-f", "lavfi", "-i", "testsrc2=s=160x120:r=25:d=4", "-c:v", "libx264", "-threads", "1",
                                 "-preset", "veryfast", "-pix_fmt", "yuv420p", "-x264-params",
                                 "keyint=25:scenecut=0:bframes=3:b-adapt=0:b-pyramid=2", "-bitexact"});
    iptr<MediaFile> const whole = MediaFile::Open(clip);
    iptr<MediaFile> const file = MediaFile::Open(MakeClip("pyramid.asf", {"-i", clip, "-c", "copy"}));
    ASSERT_TRUE(file->GetIndex(0).GetRecords()[0].flags & IndexRecord::PTS_FILLED);
    EXPECT_THAT(file->GetWarnings(), IsEmpty());
    std::vector<IndexRecord> const& wanted = whole->GetIndex(0).GetRecords();
    ASSERT_EQ(file->GetIndex(0).GetCount(), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i)
        ASSERT_EQ(file->GetIndex(0).GetRecords()[i].time, wanted[i].time) << "packet " << i;
}

}  // namespace
}  // namespace Tarsel::Host
