#include <gtest/gtest.h>

#include <algorithm>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AACBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Packets.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

Bytes const FRAME = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
Bytes const HEADER = {0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC};

Bytes Join(Bytes first, Bytes const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

iptr<IDataPacket> MakeMarked(Bytes const& payload) {
    auto packet = MakePacket(payload, true, 1234, 1200, 21333);
    packet->SetSourcePosition(777);
    packet->GetAVPacket()->pos = 4711;
    return packet;
}

void ExpectSameProperties(iptr<IDataPacket> const& actual, iptr<IDataPacket> const& expected) {
    EXPECT_NE(actual, expected);
    EXPECT_EQ(actual->GetTime(), expected->GetTime());
    EXPECT_EQ(actual->GetDecodingTime(), expected->GetDecodingTime());
    EXPECT_EQ(actual->GetDuration(), expected->GetDuration());
    EXPECT_EQ(actual->GetSourcePosition(), expected->GetSourcePosition());
    EXPECT_EQ(actual->IsKeyFrame(), expected->IsKeyFrame());
    EXPECT_EQ(actual->GetAVPacket()->pos, expected->GetAVPacket()->pos);
    EXPECT_EQ(actual->GetMediaType(), MEDIA_TYPE_AUDIO);
}

std::string RemoveFailure(Bytes const& payload) {
    return MessageOf<Exception>([&] { RemoveADTSHeader(MakePacket(payload, true)); });
}

std::string InsertFailure(Bytes const& payload, iptr<IBlob> const& header, bool whole) {
    return MessageOf<Exception>([&] { InsertADTSHeader(MakePacket(payload, true), header, whole); });
}

// The frame length as the header tells it.
u32 GetFrameLength(Bytes const& data) {
    return (data[3] & 3U) << 11 | u32(data[4]) << 3 | data[5] >> 5;
}

TEST(RemoveADTS, TheFrameIsLeftWithThePropertiesOfThePacket) {
    auto const packet = MakeMarked(Join(HEADER, FRAME));
    auto const result = RemoveADTSHeader(packet);
    EXPECT_EQ(GetBytes(result), FRAME);
    ExpectSameProperties(result, packet);
    EXPECT_EQ(GetBytes(packet), Join(HEADER, FRAME));
}

TEST(RemoveADTS, SideDataIsKept) {
    auto const packet = MakeMarked(Join(HEADER, FRAME));
    u8* const side = av_packet_new_side_data(packet->GetAVPacket(), AV_PKT_DATA_SKIP_SAMPLES, 10);
    std::fill_n(side, 10, u8{7});
    std::size_t size = 0;
    u8 const* const kept =
        av_packet_get_side_data(RemoveADTSHeader(packet)->GetAVPacket(), AV_PKT_DATA_SKIP_SAMPLES, &size);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(size, 10U);
}

TEST(RemoveADTS, TheCRCGoesToo) {
    Bytes const header = BuildADTS({.protectionAbsent = 0}, {0xAB, 0xCD});
    EXPECT_EQ(GetBytes(RemoveADTSHeader(MakePacket(Join(header, FRAME), true))), FRAME);
}

TEST(RemoveADTS, AProgramConfigGoesToo) {
    Bytes const header = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    EXPECT_EQ(GetBytes(RemoveADTSHeader(MakePacket(Join(header, FRAME), true))), FRAME);
}

TEST(RemoveADTS, AWrittenProgramConfigLeavesAStrayByte) {
    auto const header = ASCtoADTS({44100, 2, 4, 0, MakeBlob(BuildPCE(MakeSurroundPCE()))});
    auto const packet = InsertADTSHeader(MakePacket(FRAME, true), ADTSHeaderToData(header), true);
    EXPECT_EQ(GetBytes(RemoveADTSHeader(packet)), Join({0x00}, FRAME));
}

TEST(RemoveADTS, APayloadWithoutASyncWordIsCopiedWhole) {
    auto const packet = MakeMarked(FRAME);
    auto const result = RemoveADTSHeader(packet);
    EXPECT_EQ(GetBytes(result), FRAME);
    EXPECT_NE(result->GetAVPacket()->data, packet->GetAVPacket()->data);
    ExpectSameProperties(result, packet);
    EXPECT_EQ(GetBytes(RemoveADTSHeader(MakePacket({0xFF}, true))), (Bytes{0xFF}));
}

TEST(RemoveADTS, APacketWithoutAFrameIsRefused) {
    std::string const text = "The packet is smaller than header to remove";
    EXPECT_EQ(RemoveFailure(HEADER), text);
    EXPECT_EQ(RemoveFailure({0xFF, 0xF1}), text);
    EXPECT_EQ(RemoveFailure(BuildADTS({.protectionAbsent = 0}, {0})), text);
    EXPECT_EQ(RemoveFailure(BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE())), text);
}

TEST(RemoveADTS, AnEmptyPacketIsRefusedAsOneOfAHeaderAlone) {
    EXPECT_EQ(RemoveFailure({}), "The packet is smaller than header to remove");
}

TEST(RemoveADTS, AProgramConfigThatIsCutOffIsRefused) {
    EXPECT_EQ(RemoveFailure(Join(HEADER, {0xA0, 0x00})), "Read past the end of data: 4 bits wanted at bit 13, 3 left");
}

TEST(RemoveADTS, NullStaysNull) {
    EXPECT_EQ(RemoveADTSHeader(nullptr), nullptr);
}

TEST(InsertADTS, TheHeaderComesInFrontWithTheLengthOfBoth) {
    auto const packet = MakeMarked(FRAME);
    auto const result = InsertADTSHeader(packet, MakeBlob(HEADER), false);
    EXPECT_EQ(GetBytes(result), Join({0xFF, 0xF1, 0x50, 0x80, 0x01, 0xBF, 0xFC}, FRAME));
    ExpectSameProperties(result, packet);
    EXPECT_EQ(GetBytes(packet), FRAME);
}

TEST(InsertADTS, TheHeaderGivenStaysAsItIs) {
    auto const header = MakeBlob(HEADER);
    InsertADTSHeader(MakePacket(FRAME, true), header, true);
    EXPECT_EQ(GetBytes(header), HEADER);
}

TEST(InsertADTS, OnlyTheWholeHeaderCarriesItsProgramConfig) {
    Bytes const header = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    Bytes const whole = GetBytes(InsertADTSHeader(MakePacket(FRAME, true), MakeBlob(header), true));
    EXPECT_EQ(GetFrameLength(whole), header.size() + FRAME.size());
    EXPECT_EQ(whole, Join(GetBytes(SetADTSFrameLength(MakeBlob(header), 21)), FRAME));
    Bytes const part = GetBytes(InsertADTSHeader(MakePacket(FRAME, true), MakeBlob(header), false));
    EXPECT_EQ(GetFrameLength(part), 7 + FRAME.size());
    EXPECT_EQ(Bytes(part.begin() + 7, part.end()), FRAME);
}

TEST(InsertADTS, APacketWithoutPayloadBecomesAHeader) {
    Bytes const result = GetBytes(InsertADTSHeader(MakePacket({}, true), MakeBlob(HEADER), true));
    EXPECT_EQ(result.size(), 7U);
    EXPECT_EQ(GetFrameLength(result), 7U);
}

TEST(InsertADTS, TheLargestFrameHasAllBitsOfTheLength) {
    Bytes const payload(0x1FFF - 7, 0x33);
    EXPECT_EQ(GetFrameLength(GetBytes(InsertADTSHeader(MakePacket(payload, true), MakeBlob(HEADER), false))), 0x1FFFU);
}

TEST(InsertADTS, ALargerFrameIsRefused) {
    std::string const text = "Packet data is too large for ADTS format!";
    EXPECT_EQ(InsertFailure(Bytes(0x2000 - 7, 0), MakeBlob(HEADER), false), text);
    EXPECT_EQ(InsertFailure(Bytes(0xFFFF - 7, 0), MakeBlob(HEADER), false), text);
    EXPECT_EQ(InsertFailure(Bytes(0x12000 - 7, 0), MakeBlob(HEADER), false), text);
}

TEST(InsertADTS, ASizeOfSeventeenBitsWrapsAroundAheadOfTheTest) {
    auto const insert = [](std::size_t size) {
        return GetBytes(InsertADTSHeader(MakePacket(Bytes(size - 7, 0x33), true), MakeBlob(HEADER), false));
    };
    Bytes const first = insert(0x10000);
    EXPECT_EQ(first.size(), 0x10000U);
    EXPECT_EQ(GetFrameLength(first), 0U);
    EXPECT_EQ(GetFrameLength(insert(0x11FFF)), 0x1FFFU);
}

TEST(InsertADTS, WhatIsNoWholeHeaderIsRefused) {
    std::string const text = "Given ADTS header is not valid. Frame length cannot be set.";
    for (bool const whole : {false, true}) {
        EXPECT_EQ(InsertFailure(FRAME, nullptr, whole), text);
        EXPECT_EQ(InsertFailure(FRAME, MakeBlob({}), whole), text);
        EXPECT_EQ(InsertFailure(FRAME, MakeBlob({0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F}), whole), text);
        EXPECT_EQ(InsertFailure(FRAME, MakeBlob({0x12, 0x10, 0, 0, 0, 0, 0}), whole), text);
    }
}

TEST(InsertADTS, NullStaysNull) {
    EXPECT_EQ(InsertADTSHeader(nullptr, MakeBlob(HEADER), true), nullptr);
    EXPECT_EQ(InsertADTSHeader(nullptr, nullptr, false), nullptr);
}

iptr<IBlob> Extract(Bytes const& payload) {
    return ExtractADTSHeader(*MakePacket(payload, true)->GetAVPacket());
}

TEST(ExtractADTS, TheHeaderOfAPacketIsCopied) {
    EXPECT_EQ(GetBytes(Extract(Join(HEADER, FRAME))), HEADER);
    EXPECT_EQ(GetBytes(Extract(HEADER)), HEADER);
    Bytes const checked = BuildADTS({.protectionAbsent = 0}, {0xAB, 0xCD});
    EXPECT_EQ(GetBytes(Extract(Join(checked, FRAME))), checked);
    Bytes const surround = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    EXPECT_EQ(GetBytes(Extract(Join(surround, FRAME))), surround);
}

TEST(ExtractADTS, APacketWithoutAHeaderGivesNull) {
    EXPECT_EQ(Extract({}), nullptr);
    EXPECT_EQ(Extract({0xFF}), nullptr);
    EXPECT_EQ(Extract(FRAME), nullptr);
}

TEST(ExtractADTS, APacketThatEndsInsideItsHeaderIsRefused) {
    std::string const text = "The packet is smaller than its ADTS header";
    for (std::size_t size = 2; size < 7; ++size) {
        Bytes const part(HEADER.begin(), HEADER.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(MessageOf<Exception>([&] { Extract(part); }), text) << size;
    }
    EXPECT_EQ(MessageOf<Exception>([&] { Extract(BuildADTS({.protectionAbsent = 0}, {0})); }), text);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
