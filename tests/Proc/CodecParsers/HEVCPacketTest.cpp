#include <gtest/gtest.h>

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/HEVCBuilder.h"
#include "tests/support/MarkedPackets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

constexpr auto HEVC = Conf::IFormatCodecVideo::CODEC_ID_H265;
Bytes const VPS = BuildHEVCVPS(MakeHEVCVPS());
Bytes const SPS = BuildHEVCSPS(MakeHEVCSPS());
Bytes const PPS = BuildHEVCUnit(34);
Bytes const IDR = BuildHEVCUnit(19, {0x80, 5, 6});
Bytes const TRAIL = BuildHEVCUnit(1, {0x80, 7});
Bytes const HEADER = JoinAnnexB({VPS, SPS, PPS});

Bytes MakeHvcC(int lengthSize) {
    return JoinHvcC(MakeHEVCVPS(), MakeHEVCSPS(), {{32, {VPS}}, {33, {SPS}}, {34, {PPS}}}, lengthSize);
}

TEST(HEVCInsertExtradata, KeyPacketsGetTheHeaderInFront) {
    auto const packet = MakeMarked(JoinAnnexB({{0x46, 1, 0x50}, IDR}), true);
    auto const result = InsertHEVCExtradata(packet, MakeBlob(HEADER));
    EXPECT_NE(result, packet);
    EXPECT_EQ(GetBytes(result), JoinAnnexB({VPS, SPS, PPS, {0x46, 1, 0x50}, IDR}));
    EXPECT_EQ(GetBytes(packet), JoinAnnexB({{0x46, 1, 0x50}, IDR}));
    ExpectSameProperties(result, packet);
}

TEST(HEVCInsertExtradata, AnyParameterSetKeepsTheHeaderOut) {
    for (Bytes const& set : {VPS, SPS, PPS}) {
        auto const packet = MakePacket(JoinAnnexB({IDR, set}), true);
        EXPECT_EQ(InsertHEVCExtradata(packet, MakeBlob(HEADER)), packet);
    }
    // Other units, empty ones too, don't.
    auto const packet = MakePacket(JoinAnnexB({{}, BuildHEVCUnit(39), BuildHEVCUnit(35), IDR, {}}), true);
    EXPECT_NE(InsertHEVCExtradata(packet, MakeBlob(HEADER)), packet);
}

TEST(HEVCInsertExtradata, AllElseComesBackUnchanged) {
    auto const key = MakePacket(JoinAnnexB({IDR}), true);
    EXPECT_EQ(InsertHEVCExtradata(key, nullptr), key);
    EXPECT_EQ(InsertHEVCExtradata(key, MakeBlob({})), key);
    EXPECT_EQ(InsertHEVCExtradata(nullptr, MakeBlob(HEADER)), nullptr);
    EXPECT_EQ(InsertHEVCExtradata(nullptr, nullptr), nullptr);
    auto const trail = MakePacket(JoinAnnexB({TRAIL}), false);
    EXPECT_EQ(InsertHEVCExtradata(trail, MakeBlob(HEADER)), trail);
    EXPECT_EQ(InsertHEVCExtradata(trail, MakeBlob(MakeHvcC(4))), trail);
}

TEST(HEVCInsertExtradata, HvcCIsRefusedForKeyPackets) {
    for (Bytes const& header : {MakeHvcC(4), Bytes{1}, Bytes{0, 1, 0x60, 0}})
        for (Bytes const& payload : {JoinAnnexB({IDR}), JoinAnnexB({VPS, IDR}), Bytes()})
            EXPECT_EQ(MessageOf<Exception>([&] { InsertHEVCExtradata(MakePacket(payload, true), MakeBlob(header)); }),
                      "Trying to insert hvcC extradata into annexB packet");
}

TEST(HEVCInsertExtradata, AHeaderTooShortForAFormThrows) {
    EXPECT_EQ(MessageOf<Exception>([] {
                  InsertHEVCExtradata(MakePacket(JoinAnnexB({IDR}), true), MakeBlob({0, 0, 1}));
              }),
              "Not enougth data to determine h264 format type");
}

TEST(HEVCInsertExtradata, AnEmptyKeyPacketBecomesTheHeader) {
    EXPECT_EQ(GetBytes(InsertHEVCExtradata(MakePacket({}, true), MakeBlob(HEADER))), HEADER);
}

TEST(HEVCPackets, ChangeTheirFramingThereAndBack) {
    for (int lengthSize = 1; lengthSize <= 4; ++lengthSize) {
        auto const key = MakeMarked(JoinMP4({BuildHEVCUnit(39), IDR}, lengthSize), true);
        auto const annexB = Mp4toAnnexB(key, lengthSize, MakeBlob(MakeHvcC(lengthSize)), HEVC);
        EXPECT_EQ(GetBytes(annexB), JoinAnnexB({VPS, SPS, PPS, BuildHEVCUnit(39), IDR})) << lengthSize;
        ExpectSameProperties(annexB, key);
        EXPECT_EQ(GetBytes(AnnexBtoMp4(annexB, lengthSize)),
                  JoinMP4({VPS, SPS, PPS, BuildHEVCUnit(39), IDR}, lengthSize));
    }
}

TEST(HEVCPackets, ThatAreNoKeyAreChangedInPlaceOrCopiedWithoutHeader) {
    auto const inPlace = MakePacket(JoinMP4({TRAIL, TRAIL}, 4), false);
    EXPECT_EQ(Mp4toAnnexB(inPlace, 4, MakeBlob(MakeHvcC(4)), HEVC), inPlace);
    EXPECT_EQ(GetBytes(inPlace), JoinAnnexB({TRAIL, TRAIL}));
    auto const copied = Mp4toAnnexB(MakePacket(JoinMP4({TRAIL}, 2), false), 2, MakeBlob(MakeHvcC(2)), HEVC);
    EXPECT_EQ(GetBytes(copied), JoinAnnexB({TRAIL}));
}

TEST(HEVCPackets, ABrokenHeaderThrowsForEveryPacketThatIsCopied) {
    for (auto const& [key, lengthSize] : {std::pair{true, 4}, std::pair{true, 1}, std::pair{false, 2}})
        EXPECT_EQ(MessageOf<Exception>([&, k = key, l = lengthSize] {
                      Mp4toAnnexB(MakePacket(JoinMP4({IDR}, l), k), l, MakeBlob({1, 2, 3, 4}), HEVC);
                  }),
                  "hvcC header is too small");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
