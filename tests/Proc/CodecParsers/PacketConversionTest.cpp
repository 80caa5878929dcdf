#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/H264Builder.h"
#include "tests/support/HEVCBuilder.h"
#include "tests/support/MarkedPackets.h"
#include "tests/support/Packets.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

constexpr auto H264 = Conf::IFormatCodecVideo::CODEC_ID_H264;
Bytes const SPS = BuildSPS(MakeSPS());
Bytes const PPS = BuildPPS(MakePPS());
Bytes const IDR = BuildSlice(5, 7);
Bytes const INTER = BuildSlice(1, 5);

TEST(PacketAnnexBtoMp4, EachLengthSizeIsWritten) {
    for (int lengthSize = 1; lengthSize <= 4; ++lengthSize) {
        auto const packet = MakeMarked(JoinAnnexB({SPS, PPS, IDR}), true);
        auto const result = AnnexBtoMp4(packet, lengthSize);
        EXPECT_EQ(GetBytes(result), JoinMP4({SPS, PPS, IDR}, lengthSize));
        ExpectSameProperties(result, packet);
        EXPECT_EQ(GetBytes(packet), JoinAnnexB({SPS, PPS, IDR}));
    }
}

TEST(PacketAnnexBtoMp4, NullStaysNullAndEmptyUnitsAreDropped) {
    EXPECT_EQ(AnnexBtoMp4(nullptr, 4), nullptr);
    EXPECT_EQ(GetBytes(AnnexBtoMp4(MakePacket(JoinAnnexB({{}, IDR, {}}), true), 4)), JoinMP4({IDR}, 4));
    EXPECT_EQ(AnnexBtoMp4(MakePacket({1, 2, 3}, true), 4)->GetSize(), 0U);
}

TEST(PacketAnnexBtoMp4, ASizeAboveTheFieldKeepsItsLowBytes) {
    Bytes unit(0x1234, 0x55);
    Bytes const result = GetBytes(AnnexBtoMp4(MakePacket(JoinAnnexB({unit}), false), 1));
    EXPECT_EQ(result.size(), 0x1235U);
    EXPECT_EQ(result[0], 0x34);
}

TEST(PacketAnnexBtoMp4, ALengthSizeThatIsNoneIsRefused) {
    for (int const lengthSize : {-1, 0, 5})
        EXPECT_EQ(MessageOf<std::logic_error>([&] { AnnexBtoMp4(MakePacket(JoinAnnexB({IDR}), true), lengthSize); }),
                  "Invalid header size");
}

TEST(PacketMp4toAnnexB, KeyPacketsGetTheHeaderInFront) {
    for (int lengthSize = 1; lengthSize <= 4; ++lengthSize) {
        auto const packet = MakeMarked(JoinMP4({{6, 5}, IDR}, lengthSize), true);
        auto const result = Mp4toAnnexB(packet, lengthSize, MakeBlob(JoinAvcC({SPS}, {PPS}, lengthSize)), H264);
        EXPECT_EQ(GetBytes(result), JoinAnnexB({SPS, PPS, {6, 5}, IDR}));
        EXPECT_NE(result, packet);
        ExpectSameProperties(result, packet);
    }
}

TEST(PacketMp4toAnnexB, OtherPacketsOfFourByteLengthsChangeInPlace) {
    auto const packet = MakeMarked(JoinMP4({{6, 5}, INTER}, 4), false);
    u8 const* const data = packet->GetAVPacket()->data;
    auto const result = Mp4toAnnexB(packet, 4, nullptr, H264);
    EXPECT_EQ(result, packet);
    EXPECT_EQ(packet->GetAVPacket()->data, data);
    EXPECT_EQ(GetBytes(packet), JoinAnnexB({{6, 5}, INTER}));
}

TEST(PacketMp4toAnnexB, OtherPacketsOfThreeByteLengthsGetShortCodes) {
    auto const packet = MakePacket(JoinMP4({{0x61, 5}, {0x61, 6}}, 3), false);
    EXPECT_EQ(Mp4toAnnexB(packet, 3, nullptr, H264), packet);
    EXPECT_EQ(GetBytes(packet), (Bytes{0, 0, 1, 0x61, 5, 0, 0, 1, 0x61, 6}));
}

TEST(PacketMp4toAnnexB, OtherPacketsOfShortLengthsAreCopiedWithoutHeader) {
    for (int lengthSize = 1; lengthSize <= 2; ++lengthSize) {
        auto const packet = MakePacket(JoinMP4({INTER}, lengthSize), false);
        auto const result = Mp4toAnnexB(packet, lengthSize, MakeBlob(JoinAvcC({SPS}, {PPS})), H264);
        EXPECT_NE(result, packet);
        EXPECT_EQ(GetBytes(result), JoinAnnexB({INTER}));
    }
}

TEST(PacketMp4toAnnexB, LengthSizeZeroIsAnInvalidHeaderSize) {
    for (int const lengthSize : {0, -1, 5})
        EXPECT_EQ(MessageOf<std::logic_error>([&] { Mp4toAnnexB(MakePacket({}, false), lengthSize, nullptr, H264); }),
                  "Invalid header size");
}

TEST(PacketMp4toAnnexB, ARefusedPacketStaysAsItWas) {
    Bytes payload = JoinMP4({INTER, INTER}, 4);
    payload.pop_back();
    auto const packet = MakePacket(payload, false);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { Mp4toAnnexB(packet, 4, nullptr, H264); }), "out of range");
    EXPECT_EQ(GetBytes(packet), payload);
}

TEST(PacketMp4toAnnexB, APayloadSharedWithACloneIsCopiedFirst) {
    Bytes const payload = JoinMP4({INTER}, 4);
    auto const packet = MakePacket(payload, false);
    auto const clone = packet->Clone(false);
    Mp4toAnnexB(packet, 4, nullptr, H264);
    EXPECT_EQ(GetBytes(packet), JoinAnnexB({INTER}));
    EXPECT_EQ(GetBytes(clone), payload);
}

TEST(PacketReplaceLengths, KeyPacketsChangeInPlaceToo) {
    auto const packet = MakePacket(JoinMP4({IDR, INTER}, 4), true);
    EXPECT_EQ(ReplaceLengthsWithStartCodes(packet, 4), packet);
    EXPECT_EQ(GetBytes(packet), JoinAnnexB({IDR, INTER}));
}

TEST(PacketReplaceLengths, ShortFieldsGetTheBeginningOfACode) {
    auto const one = MakePacket(JoinMP4({{0x61, 5}}, 1), false);
    EXPECT_EQ(GetBytes(ReplaceLengthsWithStartCodes(one, 1)), (Bytes{0, 0x61, 5}));
    auto const two = MakePacket(JoinMP4({{0x61, 5}}, 2), false);
    EXPECT_EQ(GetBytes(ReplaceLengthsWithStartCodes(two, 2)), (Bytes{0, 0, 0x61, 5}));
}

TEST(PacketReplaceLengths, BadLengthsThrowAndAnEmptyPayloadPasses) {
    EXPECT_EQ(MessageOf<std::logic_error>([] {
                  ReplaceLengthsWithStartCodes(MakePacket({0, 0, 0, 0}, false), 4);
              }),
              "bad naluSize");
    EXPECT_EQ(MessageOf<std::logic_error>([] {
                  ReplaceLengthsWithStartCodes(MakePacket({1, 2}, false), 0);
              }),
              "bad naluSize");
    auto const empty = MakePacket({}, false);
    EXPECT_EQ(ReplaceLengthsWithStartCodes(empty, 4), empty);
}

TEST(PacketInsertHeader, AnnexBHeadersAreTakenAsTheyAre) {
    Bytes const header = JoinAnnexB({SPS, PPS});
    auto const result = InsertAnnexBHeader(MakePacket(JoinMP4({IDR}, 4), true), 4, MakeBlob(header), H264);
    EXPECT_EQ(GetBytes(result), JoinAnnexB({SPS, PPS, IDR}));
    auto const bare = InsertAnnexBHeader(MakePacket(JoinMP4({IDR}, 4), true), 4, nullptr, H264);
    EXPECT_EQ(GetBytes(bare), JoinAnnexB({IDR}));
}

TEST(PacketInsertHeader, ABrokenHeaderOrPayloadThrows) {
    EXPECT_EQ(MessageOf<Exception>([] {
                  InsertAnnexBHeader(MakePacket(JoinMP4({IDR}, 4), true), 4, MakeBlob({1, 2}), H264);
              }),
              "avcC header is too small");
    EXPECT_EQ(MessageOf<std::logic_error>([] {
                  InsertAnnexBHeader(MakePacket({0, 0}, true), 4, nullptr, H264);
              }),
              "out of range");
}

TEST(PacketInsertHeader, AllThatIsNotH264IsReadAsHevc) {
    HEVCVPS const vps = MakeHEVCVPS();
    HEVCSPS const sps = MakeHEVCSPS();
    Bytes const unit = BuildHEVCUnit(19);
    Bytes const hvcc = JoinHvcC(vps, sps, {{32, {BuildHEVCVPS(vps)}}, {33, {BuildHEVCSPS(sps)}}});
    for (char const* codec : {Conf::IFormatCodecVideo::CODEC_ID_H265, "vp9", ""}) {
        auto const packet = MakeMarked(JoinMP4({unit}, 4), true);
        auto const result = InsertAnnexBHeader(packet, 4, MakeBlob(hvcc), codec);
        EXPECT_EQ(GetBytes(result), JoinAnnexB({BuildHEVCVPS(vps), BuildHEVCSPS(sps), unit})) << codec;
        ExpectSameProperties(result, packet);
        EXPECT_EQ(MessageOf<Exception>([&] {
                      InsertAnnexBHeader(MakePacket(JoinMP4({unit}, 4), true), 4, MakeBlob({1, 2, 3, 4}), codec);
                  }),
                  "hvcC header is too small");
    }
}

TEST(PacketInsertHeader, HevcWithoutAHeaderGetsNone) {
    Bytes const unit = BuildHEVCUnit(19);
    auto const packet = MakePacket(JoinMP4({unit}, 4), true);
    EXPECT_EQ(GetBytes(Mp4toAnnexB(packet, 4, nullptr, Conf::IFormatCodecVideo::CODEC_ID_H265)), JoinAnnexB({unit}));
}

TEST(PacketRoundTrip, BothWaysGiveTheSamePayload) {
    for (u32 seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        int const lengthSize = 1 + static_cast<int>(random() % 4);
        std::vector<Bytes> units(1 + random() % 5);
        for (Bytes& unit : units) {
            unit.push_back(0x61);
            for (u32 i = random() % 250; i != 0; --i) unit.push_back(static_cast<u8>(1 + random() % 255));
        }
        auto const mp4 = AnnexBtoMp4(MakePacket(JoinAnnexB(units), false), lengthSize);
        ASSERT_EQ(GetBytes(mp4), JoinMP4(units, lengthSize));
        auto const back = AnnexBtoMp4(Mp4toAnnexB(mp4, lengthSize, nullptr, H264), lengthSize);
        ASSERT_EQ(GetBytes(back), JoinMP4(units, lengthSize));
    }
}

// --- Parameter sets in packets ---

TEST(InsertExtradata, GoesInFrontOfKeyPacketsWithoutSets) {
    Bytes const header = JoinAnnexB({SPS, PPS});
    auto const packet = MakeMarked(JoinAnnexB({IDR}), true);
    auto const result = InsertH264Extradata(packet, MakeBlob(header));
    EXPECT_EQ(GetBytes(result), JoinAnnexB({SPS, PPS, IDR}));
    ExpectSameProperties(result, packet);
}

TEST(InsertExtradata, AllElseComesBackUnchanged) {
    auto const header = MakeBlob(JoinAnnexB({SPS, PPS}));
    auto const key = MakePacket(JoinAnnexB({IDR}), true);
    EXPECT_EQ(InsertH264Extradata(key, nullptr), key);
    EXPECT_EQ(InsertH264Extradata(key, MakeBlob({})), key);
    EXPECT_EQ(InsertH264Extradata(key, MakeBlob(JoinAvcC({SPS}, {PPS}))), key);
    EXPECT_EQ(InsertH264Extradata(nullptr, header), nullptr);
    auto const inter = MakePacket(JoinAnnexB({INTER}), false);
    EXPECT_EQ(InsertH264Extradata(inter, header), inter);
    auto const withSps = MakePacket(JoinAnnexB({SPS, IDR}), true);
    EXPECT_EQ(InsertH264Extradata(withSps, header), withSps);
    auto const withPps = MakePacket(JoinAnnexB({PPS, IDR}), true);
    EXPECT_EQ(InsertH264Extradata(withPps, header), withPps);
}

TEST(ReplaceParameterSets, SetsOfTheHeaderStandAheadOfAllOtherUnits) {
    Bytes const other = BuildSPS(MakeSPS(4));
    for (Bytes const& header : {JoinAnnexB({SPS, {6, 9}, PPS}), JoinAvcC({SPS}, {PPS})}) {
        auto const packet = MakeMarked(JoinAnnexB({{9, 0xF0}, other, {}, PPS, IDR}), true);
        auto const result = ReplaceH264ParameterSets(packet, header.data(), header.size());
        EXPECT_EQ(GetBytes(result), JoinAnnexB({SPS, PPS, {9, 0xF0}, IDR}));
        ExpectSameProperties(result, packet);
    }
}

TEST(ReplaceParameterSets, PacketsThatAreNoKeyComeBackUnchanged) {
    auto const packet = MakePacket(JoinAnnexB({SPS, INTER}), false);
    EXPECT_EQ(ReplaceH264ParameterSets(packet, nullptr, 0), packet);
    EXPECT_EQ(ReplaceH264ParameterSets(nullptr, nullptr, 0), nullptr);
}

TEST(SliceInfo, TypesAboveFourAreReducedByFive) {
    for (u32 type = 0; type < 10; ++type) {
        auto const packet = MakePacket(JoinAnnexB({BuildSlice(1, type)}), false);
        EXPECT_EQ(GetH264SliceInfo(packet, false, 0), (H264SliceInfo{1, static_cast<i32>(type % 5)})) << type;
    }
}

TEST(SliceInfo, SliceTypeSevenIsTwo) {
    auto const packet = MakePacket(JoinMP4({IDR}, 4), true);
    EXPECT_EQ(GetH264SliceInfo(packet, true, 4), (H264SliceInfo{5, 2}));
    EXPECT_EQ(GetH264SliceInfo(packet, true, 4).GetText(), "nalu: IDR, slice: I");
}

TEST(SliceInfo, TheFirstCodedSliceCounts) {
    Bytes const partition = BuildSlice(2, 1);
    auto const packet = MakePacket(JoinAnnexB({{9, 0xF0}, {}, SPS, partition, IDR}), true);
    EXPECT_EQ(GetH264SliceInfo(packet, false, 0), (H264SliceInfo{2, 1}));
}

TEST(SliceInfo, APacketWithoutASliceHasNone) {
    EXPECT_EQ(GetH264SliceInfo(MakePacket(JoinAnnexB({SPS, PPS, {0x63, 1}}), true), false, 0), H264SliceInfo());
    EXPECT_EQ(GetH264SliceInfo(MakePacket({}, true), false, 0), H264SliceInfo());
    EXPECT_EQ(GetH264SliceInfo(nullptr, false, 0), H264SliceInfo());
}

TEST(SliceInfo, IsReadFromTheUnitAsItStands) {
    // first_mb_in_slice takes the 03 for data: 22 zeros, a stop bit, 22 more bits. Then slice_type 0. Without the 03
    // there would be 32 zeros and too few bits.
    Bytes const unit = {0x65, 0x00, 0x00, 0x03, 0x00, 0x00, 0xFF, 0xFF, 0xFF};
    auto const packet = MakePacket(JoinAnnexB({unit}), true);
    EXPECT_EQ(GetH264SliceInfo(packet, false, 0), (H264SliceInfo{5, 0}));
}

TEST(SliceInfo, EveryPrefixIsReadOrThrows) {
    Bytes const whole = JoinAnnexB({BuildSlice(5, 9, 0)});
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        auto const packet = MakePacket(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), true);
        // Without a whole start code and a unit behind it there is no slice; with the header byte alone it is cut off.
        if (size <= 4)
            EXPECT_EQ(GetH264SliceInfo(packet, false, 0), H264SliceInfo()) << size;
        else if (size == 5)
            EXPECT_THROW(GetH264SliceInfo(packet, false, 0), Exception) << size;
        else
            EXPECT_EQ(GetH264SliceInfo(packet, false, 0), (H264SliceInfo{5, 4})) << size;
    }
}

TEST(SliceInfo, TruncatedSlicesAndBadFramingThrow) {
    EXPECT_THROW(GetH264SliceInfo(MakePacket(JoinAnnexB({{0x65}}), true), false, 0), Exception);
    EXPECT_THROW(GetH264SliceInfo(MakePacket({0, 0, 0, 9, 0x65}, true), true, 4), std::logic_error);
    EXPECT_THROW(GetH264SliceInfo(MakePacket({0x65}, true), true, 0), std::logic_error);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
