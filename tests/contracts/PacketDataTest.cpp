#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataMD5.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

TEST(PacketData, HasItsTimesKindAndPayload) {
    auto const packet = MakePacket(40, 20, 10, true, {9, 8, 7}, MEDIA_TYPE_AUDIO);
    EXPECT_THAT(packet, IsPacket(40, 20, 10, true));
    EXPECT_EQ(packet->GetMediaType(), 2);
    EXPECT_EQ(packet->GetSize(), 3U);
    EXPECT_EQ(packet->GetBlob()->GetSize(), 3U);
    EXPECT_EQ(packet->GetBlob()->GetData()[2], 7);
    EXPECT_EQ(packet->GetBlob()->GetData(), packet->GetAVPacket()->data);
    EXPECT_THAT(MakePacket(NO_VALUE, NO_VALUE, NO_VALUE, false), IsPacket(NO_VALUE, NO_VALUE, NO_VALUE, false));
}

TEST(PacketData, PayloadOutlivesItsPacket) {
    auto blob = MakePacket(0, 0, 1, true, {9, 8, 7})->GetBlob();
    EXPECT_EQ(blob->GetData()[0], 9);
}

TEST(PacketData, EmptyPacketHasAnEmptyPayload) {
    auto const packet = DataPacketFF::Create(av_packet_alloc(), MEDIA_TYPE_VIDEO, 0, 0, 0);
    EXPECT_EQ(packet->GetSize(), 0U);
    EXPECT_EQ(packet->GetBlob()->GetSize(), 0U);
    EXPECT_EQ(packet->Clone(true)->GetSize(), 0U);
}

TEST(PacketData, AllThreeCutsThrow) {
    auto const packet = MakePacket(40, 20, 10, true);
    EXPECT_EQ(MessageOf<ProcException>([&] { packet->CutBegin(1); }), "A compressed packet can't be cut");
    EXPECT_THROW(packet->Cut(1, 2), ProcException);
    EXPECT_THROW(packet->CutEnd(0), ProcException);
    EXPECT_THAT(packet, IsPacket(40, 20, 10, true));
}

TEST(PacketData, CloneKeepsSourcePositionAndFormatAndOwnsItsTimes) {
    auto const packet = MakePacket(40, 20, 10, true);
    packet->SetSourcePosition(1234);
    auto const format = Conf::IFormatCodecVideo::Create();
    packet->SetFormatCodec(format);
    auto const clone = packet->Clone(false);
    EXPECT_EQ(clone->GetSourcePosition(), 1234);
    EXPECT_EQ(clone->GetFormatCodec(), format);
    EXPECT_EQ(clone->GetAVPacket()->data, packet->GetAVPacket()->data);
    clone->SetTime(1);
    clone->SetDecodingTime(2);
    clone->SetDuration(3);
    EXPECT_THAT(packet, IsPacket(40, 20, 10, true));
    EXPECT_THAT(clone, IsPacket(1, 2, 3, true));
    auto const copy = packet->Clone(true);
    copy->GetBlob()->GetWritableData()[0] = 77;
    EXPECT_EQ(packet->GetBlob()->GetData()[0], 1);
}

TEST(PacketData, LivePacketsAreCounted) {
    int64 const before = DataPacketFF::GetLiveCount();
    {
        auto const packet = MakePacket(0, 0, 1, true);
        auto const clone = packet->Clone(false);
        EXPECT_EQ(DataPacketFF::GetLiveCount(), before + 2);
    }
    EXPECT_EQ(DataPacketFF::GetLiveCount(), before);
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { DataPacketFF::Create(nullptr, MEDIA_TYPE_VIDEO, 0, 0, 0); }),
              "packet is NULL");
    EXPECT_EQ(DataPacketFF::GetLiveCount(), before);
}

TEST(PacketData, DigestIsThatOfThePayload) {
    EXPECT_EQ(CalculatePacketDataMD5(MakePacket(0, 0, 1, true, {'a', 'b', 'c'})), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(CalculatePacketDataMD5(MakePacket(7, 7, 7, false, {'a', 'b', 'c'})), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(SubtitleData, CutsShortenTheEvent) {
    auto const event = MakeSubtitle(1000, 500, "Hello");
    event->CutBegin(100);
    EXPECT_THAT(event, IsSubtitle(1100, 400));
    event->Cut(100, 200);
    EXPECT_THAT(event, IsSubtitle(1100, 300));
    event->CutEnd(300);
    EXPECT_THAT(event, IsSubtitle(1100, 0));
    EXPECT_THROW(event->CutEnd(1), ProcException);
    EXPECT_STREQ(event->GetAVSubtitle()->rects[0]->text, "Hello");
}

TEST(SubtitleData, CloneSharesTheRectanglesAndOwnsItsTimes) {
    auto const event = MakeSubtitle(1000, 500);
    auto clone = event->Clone(true);
    EXPECT_EQ(clone->GetAVSubtitle(), event->GetAVSubtitle());
    clone->CutBegin(100);
    EXPECT_THAT(event, IsSubtitle(1000, 500));
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { DataSubtitleFF::Create(nullptr, 0, 0); }), "subtitle is NULL");
}

TEST(SubtitleData, TheCallersEventIsLeftEmpty) {
    AVSubtitle native{};
    native.num_rects = 1;
    native.rects = static_cast<AVSubtitleRect**>(av_calloc(1, sizeof(AVSubtitleRect*)));
    native.rects[0] = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
    auto const event = DataSubtitleFF::Create(&native, 0, 1);
    EXPECT_EQ(native.num_rects, 0U);
    EXPECT_EQ(native.rects, nullptr);
    EXPECT_EQ(event->GetAVSubtitle()->num_rects, 1U);
}

TEST(SubtitleData, DigestLooksAtTimesAndTexts) {
    std::string const digest = CalculateSubtitleDataMD5(MakeSubtitle(1, 2, "a"));
    EXPECT_EQ(digest, CalculateSubtitleDataMD5(MakeSubtitle(1, 2, "a")));
    EXPECT_NE(digest, CalculateSubtitleDataMD5(MakeSubtitle(1, 3, "a")));
    EXPECT_NE(digest, CalculateSubtitleDataMD5(MakeSubtitle(0, 2, "a")));
    EXPECT_NE(digest, CalculateSubtitleDataMD5(MakeSubtitle(1, 2, "b")));
}

TEST(SubtitleData, DigestOfABitmapIgnoresTheLinePadding) {
    auto const make = [](int stride, u8 padding) {
        AVSubtitle native{};
        native.num_rects = 1;
        native.rects = static_cast<AVSubtitleRect**>(av_calloc(1, sizeof(AVSubtitleRect*)));
        auto* const rect = native.rects[0] = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
        rect->type = SUBTITLE_BITMAP;
        rect->w = 3;
        rect->h = 2;
        rect->nb_colors = 2;
        rect->linesize[0] = stride;
        rect->data[0] = static_cast<u8*>(av_mallocz(static_cast<std::size_t>(stride) * 2));
        std::memset(rect->data[0], padding, static_cast<std::size_t>(stride) * 2);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x) rect->data[0][y * stride + x] = static_cast<u8>(x & 1);
        rect->data[1] = static_cast<u8*>(av_mallocz(8));
        return CalculateSubtitleDataMD5(DataSubtitleFF::Create(&native, 0, 1));
    };
    EXPECT_EQ(make(3, 0), make(8, 0xEE));
}

TEST(Blob, CopiesAndZeroedBlobsHaveAZeroedTail) {
    u8 const bytes[] = {1, 2, 3};
    auto const copy = BlobFF::Create(bytes, 3);
    EXPECT_EQ(copy->GetSize(), 3U);
    EXPECT_EQ(copy->GetData()[2], 3);
    EXPECT_EQ(copy->GetData()[3], 0);
    EXPECT_EQ(copy->GetData(), copy->GetWritableData());
    auto const zeros = BlobFF::Create(5);
    EXPECT_EQ(std::string(zeros->GetData(), zeros->GetData() + 5), std::string(5, '\0'));
    EXPECT_EQ(BlobFF::Create(nullptr, 0)->GetSize(), 0U);
    EXPECT_EQ(BlobFF::Create(~std::size_t(0)), nullptr);
    EXPECT_EQ(BlobFF::CreateView(nullptr, nullptr, 0)->GetSize(), 0U);
}

}  // namespace
}  // namespace Tarsel::Proc
