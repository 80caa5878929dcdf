#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/FFmpeg.h"
#include "host/media/SubtitleDecoder.h"
#include "host/media/SubtitleEncoder.h"
#include "host/media/SubtitleLines.h"
#include "tests/host/media/codecs/PacketList.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;
using testing::ElementsAre;
using testing::HasSubstr;

std::string ScriptPath() {
    return Test::MakeTextFile("script.srt",
                              "1\n00:00:01,000 --> 00:00:02,500\nFirst, with a comma\n\n"
                              "2\n00:00:02,000 --> 00:00:03,000\n<i>Second</i>\n\n"
                              "3\n00:01:05,250 --> 00:01:06,000\nThird\n\n");
}

iptr<PacketList> Load(std::string const& path) {
    auto list = LoadPackets(path, MEDIA_TYPE_SUBTITLE);
    int64 const shift = SECOND - list->packets.front()->GetTime();  // the first event is at 1 s
    for (auto const& packet : list->packets) packet->SetTime(packet->GetTime() + shift);
    list->duration = 70 * SECOND;
    return list;
}

iptr<SubtitleDecoder> Decode(iptr<Proc::IStreamRaw> const& packets) {
    return SubtitleDecoder::Create(packets, "", {});
}

TEST(SubtitleDecoder, TextEventsHaveTimesDurationsAndFullDialogueLines) {
    auto const decoder = Decode(Load(ScriptPath()));
    EXPECT_THAT(decoder->GetFormatCodec()->GetSubtitleHeader(), HasSubstr("[V4+ Styles]"));
    auto const events = ReadAll(decoder);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0]->GetTime(), SECOND);
    EXPECT_EQ(events[0]->GetDuration(), 1500000);
    EXPECT_EQ(events[1]->GetTime(), 2 * SECOND);
    EXPECT_EQ(events[1]->GetDuration(), SECOND);
    ASSERT_EQ(events[0]->GetAVSubtitle()->num_rects, 1U);
    EXPECT_STREQ(events[0]->GetAVSubtitle()->rects[0]->ass,
                 "Dialogue: 0,0:00:01.00,0:00:02.50,Default,,0,0,0,,First, with a comma");
    EXPECT_STREQ(events[2]->GetAVSubtitle()->rects[0]->ass, "Dialogue: 0,0:01:05.25,0:01:06.00,Default,,0,0,0,,Third");
}

TEST(SubtitleDecoder, HoldsACodecFromTheFirstPacketUntilItIsReleased) {
    auto const decoder = Decode(Load(ScriptPath()));
    EXPECT_FALSE(decoder->IsOpen());
    SeekTo(*decoder, 0);
    EXPECT_FALSE(decoder->IsOpen());
    ASSERT_TRUE(decoder->Read());
    EXPECT_TRUE(decoder->IsOpen());
    decoder->ReleaseInternalData();
    EXPECT_FALSE(decoder->IsOpen());
    EXPECT_EQ(decoder->GetImplName(), "srt");
    EXPECT_THAT(decoder->GetFormatCodec()->GetSubtitleHeader(), HasSubstr("[V4+ Styles]"));
    SeekTo(*decoder, 0);
    EXPECT_EQ(ReadAll(decoder).size(), 3U);
    EXPECT_TRUE(decoder->IsOpen());
}

TEST(SubtitleDecoder, SeekDropsEventsThatEndAtOrBeforeThePosition) {
    auto const packets = Load(ScriptPath());
    auto const decoder = Decode(packets);
    SeekTo(*decoder, 2500000);
    EXPECT_EQ(decoder->GetPosition(), 2 * SECOND);
    EXPECT_EQ(decoder->Read()->GetTime(), 2 * SECOND);
    SeekTo(*decoder, 67 * SECOND);
    EXPECT_EQ(decoder->Read(), nullptr);
}

TEST(SubtitleDecoder, TextWithoutADurationLastsToTheNextOneAndTheLastToTheEnd) {
    auto const packets = Load(ScriptPath());
    for (auto const& packet : packets->packets) packet->SetDuration(NO_VALUE);
    auto const events = ReadAll(Decode(packets));
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0]->GetDuration(), SECOND);
    EXPECT_EQ(events[1]->GetDuration(), 63250000);
    EXPECT_EQ(events[2]->GetDuration(), 70 * SECOND - 65250000);
}

void Put(std::vector<u8>& out, std::initializer_list<int> bytes) {
    for (int byte : bytes) out.push_back(static_cast<u8>(byte));
}

/// One display set of a graphics stream (BD PGS): a 2x2 picture in colour 1, or nothing.
iptr<Proc::IDataPacket> DisplaySet(int number, int64 time, bool picture) {
    std::vector<u8> out;
    // Presentation: 16x16, 0x10 rate, number, epoch start, palette 0, objects.
    Put(out, {0x16, 0, picture ? 19 : 11, 0, 16, 0, 16, 0x10, 0, number, 0x80, 0, 0, picture ? 1 : 0});
    if (picture) {
        Put(out, {0, 0, 0, 0, 0, 4, 0, 6});                            // object 0, window 0, at 4, 6
        Put(out, {0x17, 0, 10, 1, 0, 0, 4, 0, 6, 0, 2, 0, 2});         // window
        Put(out, {0x14, 0, 7, 0, 0, 1, 81, 240, 90, 255});             // palette: colour 1 is Y Cr Cb A of red
        Put(out, {0x15, 0, 19, 0, 0, 0, 0xC0, 0, 0, 12, 0, 2, 0, 2});  // object, 2x2
        Put(out, {1, 1, 0, 0, 1, 1, 0, 0});                            // two rows of two pixels
    }
    Put(out, {0x80, 0, 0});
    AVPacket* const raw = av_packet_alloc();
    av_new_packet(raw, static_cast<int>(out.size()));
    std::memcpy(raw->data, out.data(), out.size());
    raw->flags = AV_PKT_FLAG_KEY;
    return Proc::DataPacketFF::Create(raw, MEDIA_TYPE_SUBTITLE, time, time, NO_VALUE);
}

iptr<PacketList> Graphics(PacketVector packets) {
    auto const format = Conf::IFormatCodecSubtitle::Create();
    format->SetCodecID("hdmv_pgs_subtitle");
    iptr<PacketList> const list(new PacketList(format, MEDIA_TYPE_SUBTITLE, std::move(packets)));
    list->duration = 20 * SECOND;
    return list;
}

TEST(SubtitleDecoder, PictureIsHeldBackUntilTheEventThatEndsIt) {
    auto const packets = Graphics({DisplaySet(1, SECOND, true), DisplaySet(2, 3 * SECOND, false),
                                   DisplaySet(3, 5 * SECOND, true), DisplaySet(4, 6 * SECOND, true)});
    auto const decoder = Decode(packets);
    auto const first = decoder->Read();
    ASSERT_TRUE(first);
    EXPECT_EQ(packets->reads, 2U);
    EXPECT_EQ(first->GetTime(), SECOND);
    EXPECT_EQ(first->GetDuration(), 2 * SECOND);
    auto const rest = ReadAll(decoder);
    ASSERT_EQ(rest.size(), 2U);
    EXPECT_EQ(rest[0]->GetTime(), 5 * SECOND);
    EXPECT_EQ(rest[0]->GetDuration(), SECOND);
    EXPECT_EQ(rest[1]->GetDuration(), 14 * SECOND) << "the last one lasts to the end of the stream";
}

TEST(SubtitleDecoder, PalettesAreInRgbaOrder) {
    auto const event = Decode(Graphics({DisplaySet(1, SECOND, true), DisplaySet(2, 3 * SECOND, false)}))->Read();
    ASSERT_TRUE(event);
    ASSERT_EQ(event->GetAVSubtitle()->num_rects, 1U);
    AVSubtitleRect const& rectangle = *event->GetAVSubtitle()->rects[0];
    ASSERT_EQ(rectangle.type, SUBTITLE_BITMAP);
    EXPECT_EQ(rectangle.x, 4);
    EXPECT_EQ(rectangle.y, 6);
    u8 const* const colour = rectangle.data[1] + 4 * rectangle.data[0][0];
    EXPECT_GT(colour[0], 200);
    EXPECT_LT(colour[1], 60);
    EXPECT_LT(colour[2], 60);
    EXPECT_EQ(colour[3], 255);
}

TEST(SubtitleDecoder, RefusesOtherStreams) {
    iptr<PacketList> const video(new PacketList(Conf::IFormatCodecVideo::Create(), MEDIA_TYPE_VIDEO, {}));
    EXPECT_THROW(Decode(video), Proc::CodecFactoryException);
    EXPECT_THROW(SubtitleDecoder::Create(Load(ScriptPath()), "mov_text", {}), Proc::CodecFactoryException);
}

class SubtitleEncoders : public testing::TestWithParam<char const*> {};

TEST_P(SubtitleEncoders, TextsAndTimesSurviveEncodingAndDecoding) {
    auto const encoder = SubtitleEncoder::Create(Decode(Load(ScriptPath())), GetParam());
    EXPECT_EQ(encoder->GetFormatCodec()->GetCodecID(), GetParam());
    auto const packets = Collect(encoder);
    packets->duration = 70 * SECOND;
    auto const events = ReadAll(Decode(packets));
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0]->GetTime(), SECOND);
    EXPECT_EQ(events[0]->GetDuration(), 1500000);
    EXPECT_THAT(events[0]->GetAVSubtitle()->rects[0]->ass, HasSubstr("First, with a comma"));
    EXPECT_THAT(events[1]->GetAVSubtitle()->rects[0]->ass, HasSubstr("Second"));
}

INSTANTIATE_TEST_SUITE_P(Codecs, SubtitleEncoders, testing::Values("mov_text", "subrip", "ass", "webvtt"),
                         [](auto const& test) { return std::string(test.param); });

TEST(SubtitleEncoder, RefusesUnknownCodecs) {
    EXPECT_THROW(SubtitleEncoder::Create(Decode(Load(ScriptPath())), "nonsense"), Proc::EncoderException);
    EXPECT_THROW(SubtitleEncoder::Create(Decode(Load(ScriptPath())), "aac"), Proc::EncoderException);
}

TEST(SubtitleLines, GoOverIntoEachOther) {
    EXPECT_EQ(MakeDialogueLine("7,2,Default,,0,0,0,,a,b", 3723450000, 3724000000),
              "Dialogue: 2,1:02:03.45,1:02:04.00,Default,,0,0,0,,a,b");
    EXPECT_EQ(MakeEventText("Dialogue: 2,1:02:03.45,1:02:04.00,Default,,0,0,0,,a,b", 7), "7,2,Default,,0,0,0,,a,b");
    EXPECT_EQ(MakeDialogueLine("no commas", 0, 0), "no commas");
    EXPECT_EQ(MakeEventText("Dialogue: broken", 0), "Dialogue: broken");
    EXPECT_EQ(MakeEventText("Dialogue:", 0), "Dialogue:");
}

TEST(SubtitleLines, ExactOnesTellMicroseconds) {
    std::string const line = "Dialogue: 2,1:02:03.450007,1:02:04.000000,Default,,0,0,0,,a,b";
    EXPECT_EQ(MakeExactDialogueLine("7,2,Default,,0,0,0,,a,b", 3723450007, 3724000000), line);
    EXPECT_EQ(MakeExactDialogueLine("7,0,Top,,0,0,0,,a", 0, 359999999999),
              "Dialogue: 0,0:00:00.000000,99:59:59.999999,Top,,0,0,0,,a");
    EXPECT_EQ(MakeExactDialogueLine("7,0,Top,,0,0,0,,a", -1, 1),
              "Dialogue: 0,0:00:00.000000,0:00:00.000001,Top,,0,0,0,,a")
        << "scripts begin at 0";
    EXPECT_EQ(MakeExactDialogueLine(line, 0, 1), line) << "it is one already";
    EXPECT_EQ(MakeExactDialogueLine("no commas", 0, 1), "no commas");
    EXPECT_EQ(MakeEventText(line, 7), "7,2,Default,,0,0,0,,a,b");
}

TEST(SubtitleLines, MarginsLoseTheirBlanksAndTextsDont) {
    EXPECT_EQ(MakeDialogueLine("7,0, Top , Ann , 0 ,\t12, ,  Effect , a , 1, 2", 0, 10000),
              "Dialogue: 0,0:00:00.00,0:00:00.01, Top , Ann ,0,12,,  Effect , a , 1, 2");
    EXPECT_EQ(MakeDialogueLine("7,0, Top , 1 , 2", 0, 10000), "Dialogue: 0,0:00:00.00,0:00:00.01, Top , 1 , 2")
        << "fields are missing";
}

}  // namespace
}  // namespace Tarsel::Tests
