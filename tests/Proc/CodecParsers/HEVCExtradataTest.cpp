#include <gtest/gtest.h>

#include <random>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/HEVCBuilder.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

constexpr char NO_HEADER[] = "Not enougth data to determine HEVC header type";

Bytes const VPS = BuildHEVCVPS(MakeHEVCVPS());
Bytes const SPS = BuildHEVCSPS(MakeHEVCSPS());
Bytes const SPS1 = BuildHEVCSPS(MakeHEVCSPS(1));
Bytes const PPS = BuildHEVCUnit(34);
Bytes const PREFIX = BuildHEVCUnit(39, {1, 2, 3});
Bytes const SUFFIX = BuildHEVCUnit(40, {4, 5});

Bytes MakeHvcC(std::vector<HvccArray> const& arrays) {
    return JoinHvcC(MakeHEVCVPS(), MakeHEVCSPS(), arrays);
}

Bytes ToHvcC(std::vector<Bytes> const& units) {
    return GetBytes(HEVC_Extradata_AnnexBtohvcC(MakeBlob(JoinAnnexB(units))));
}

Bytes ToAnnexB(Bytes const& hvcc) {
    return GetBytes(HEVC_Extradata_hvcCtoAnnexB(MakeBlob(hvcc)));
}

// --- hvcC to Annex B ---

TEST(HEVCExtradataToAnnexB, EachUnitGetsAFourByteCode) {
    EXPECT_EQ(ToAnnexB(MakeHvcC({{0xA0, {VPS}}, {0xA1, {SPS, SPS1}}, {0xA2, {PPS}}})),
              JoinAnnexB({VPS, SPS, SPS1, PPS}));
    EXPECT_EQ(ToAnnexB(MakeHvcC({})), Bytes());
}

TEST(HEVCExtradataToAnnexB, WhatIsNotHvcCComesBackAsTheSameObject) {
    for (Bytes const& data : {JoinAnnexB({VPS, SPS, PPS}), Bytes{0, 2, 1, 0}, Bytes{9, 9, 9, 9}}) {
        auto const blob = MakeBlob(data);
        EXPECT_EQ(HEVC_Extradata_hvcCtoAnnexB(blob), blob);
    }
}

TEST(HEVCExtradataToAnnexB, AZeroAheadOfTheVersionIsRepairedInACopy) {
    Bytes data = MakeHvcC({{0xA0, {VPS}}, {0xA1, {SPS}}});
    data[0] = 0;
    data[1] = 1;
    auto const blob = MakeBlob(data);
    EXPECT_EQ(GetBytes(HEVC_Extradata_hvcCtoAnnexB(blob)), JoinAnnexB({VPS, SPS}));
    EXPECT_EQ(GetBytes(blob), data);
}

TEST(HEVCExtradataToAnnexB, WhatTheRepairCannotReachIsRefused) {
    Bytes data = MakeHvcC({{0xA0, {VPS}}});
    std::fill(data.begin(), data.begin() + 4, u8{0});
    data[4] = 1;
    EXPECT_EQ(MessageOf<Exception>([&] { ToAnnexB(data); }), "Unknown hvcC version");
    EXPECT_EQ(MessageOf<Exception>([] { ToAnnexB(Bytes(64)); }), "Unknown hvcC version");
    EXPECT_EQ(MessageOf<Exception>([] { ToAnnexB({0, 1, 0x60, 0}); }), "hvcC header is too small");
}

TEST(HEVCExtradataToAnnexB, NullIsNoHvcCAndComesBack) {
    EXPECT_EQ(HEVC_Extradata_hvcCtoAnnexB(nullptr), nullptr);
}

TEST(HEVCExtradataToAnnexB, BrokenAndEmptyHeadersThrow) {
    EXPECT_EQ(MessageOf<Exception>([] { ToAnnexB({}); }), NO_HEADER);
    EXPECT_EQ(MessageOf<Exception>([] { ToAnnexB({2, 2}); }), "Not enougth data to determine h264 format type");
    EXPECT_EQ(MessageOf<Exception>([] { ToAnnexB({1, 2, 3, 4}); }), "hvcC header is too small");
    Bytes data = MakeHvcC({{0xA0, {VPS}}});
    data.pop_back();
    EXPECT_EQ(MessageOf<Exception>([&] { ToAnnexB(data); }), "hvcC header has wrong structure");
    data.resize(25);
    EXPECT_EQ(MessageOf<Exception>([&] { ToAnnexB(data); }), "hvcC header has wring structure");
}

// --- Annex B to hvcC ---

TEST(HEVCExtradataToHvcC, WritesTheRecordByteByByte) {
    HEVCVPS vps = MakeHEVCVPS();
    vps.vps_max_sub_layers_minus1 = 2;
    vps.profile_tier_level = {};
    HEVCSPS sps = MakeHEVCSPS();
    sps.profile_tier_level = {2, 1, 4, {0x11, 0x22, 0x33, 0x44}, {0x51, 0x52, 0x53, 0x54, 0x55, 0x56}, 0x78};
    sps.chroma_format_idc = 2;
    sps.bit_depth_luma_minus8 = 2;
    sps.bit_depth_chroma_minus8 = 4;
    Bytes const vpsUnit = BuildHEVCVPS(vps);
    Bytes const spsUnit = BuildHEVCSPS(sps);
    Bytes expected = {1,    0xA4, 0x11, 0x22, 0x33, 0x44, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56,
                      0x78, 0xF0, 0x00, 0xFC, 0xFE, 0xFA, 0xFC, 0x00, 0x00, 0x17, 3};
    auto const append = [&expected](Bytes const& bytes) {
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    };
    append({32, 0, 1, 0, static_cast<u8>(vpsUnit.size())});
    append(vpsUnit);
    append({33, 0, 1, 0, static_cast<u8>(spsUnit.size())});
    append(spsUnit);
    append({34, 0, 2, 0, 3, 0x44, 1, 7, 0, 2, 0x44, 1});
    EXPECT_EQ(ToHvcC({vpsUnit, spsUnit, {0x44, 1, 7}, {0x44, 1}}), expected);
}

TEST(HEVCExtradataToHvcC, ProfileComesFromTheSpsAndSubLayersFromTheVps) {
    HEVCVPS vps = MakeHEVCVPS();
    vps.profile_tier_level.general_level_idc = 33;
    vps.vps_max_sub_layers_minus1 = 5;
    vps.vps_temporal_id_nesting_flag = 0;
    HEVCSPS sps = MakeHEVCSPS();
    sps.sps_max_sub_layers_minus1 = 1;
    Bytes const result = ToHvcC({BuildHEVCVPS(vps), BuildHEVCSPS(sps)});
    EXPECT_EQ(result[12], 90);
    EXPECT_EQ(result[21], (5 << 3) | 3);
}

TEST(HEVCExtradataToHvcC, TheSubLayerFieldIsTheCountLessOne) {
    for (unsigned i = 0; i < 8; ++i) {
        HEVCVPS vps = MakeHEVCVPS();
        vps.vps_max_sub_layers_minus1 = static_cast<u8>(i);
        EXPECT_EQ((ToHvcC({BuildHEVCVPS(vps), SPS})[21] >> 3) & 7, static_cast<int>(i));
    }
}

TEST(HEVCExtradataToHvcC, ArraysFollowTheTypesAndUnitsTheirOrder) {
    EXPECT_EQ(ToHvcC({SUFFIX, PPS, PREFIX, SPS, SPS1, VPS}),
              MakeHvcC({{32, {VPS}}, {33, {SPS, SPS1}}, {34, {PPS}}, {39, {PREFIX}}, {40, {SUFFIX}}}));
}

TEST(HEVCExtradataToHvcC, OtherUnitsAreLeftOut) {
    std::vector<Bytes> units = {VPS, {}, {0x44}, SPS, PPS};
    for (u32 type = 0; type < 64; ++type)
        if ((type < 32 || type > 34) && type != 39 && type != 40) units.push_back(BuildHEVCUnit(type));
    EXPECT_EQ(ToHvcC(units), MakeHvcC({{32, {VPS}}, {33, {SPS}}, {34, {PPS}}}));
}

TEST(HEVCExtradataToHvcC, NoPpsMeansNoArrayOfThem) {
    EXPECT_EQ(ToHvcC({VPS, SPS}), MakeHvcC({{32, {VPS}}, {33, {SPS}}}));
}

TEST(HEVCExtradataToHvcC, WithoutVpsOrSpsItThrows) {
    EXPECT_EQ(MessageOf<Exception>([] { ToHvcC({SPS, PPS}); }), "Can't find nalu of type 32");
    EXPECT_EQ(MessageOf<Exception>([] { ToHvcC({VPS, PPS}); }), "Can't find nalu of type 33");
    EXPECT_THROW(ToHvcC({{0x40, 1}, SPS}), Exception);
}

TEST(HEVCExtradataToHvcC, HvcCAndMissingExtradataAreRefused) {
    EXPECT_EQ(MessageOf<Exception>([] {
                  HEVC_Extradata_AnnexBtohvcC(MakeBlob(MakeHvcC({{32, {VPS}}})));
              }),
              "Finding HEVC NALUs in hvcC is not implemented yet");
    EXPECT_EQ(MessageOf<Exception>([] { HEVC_Extradata_AnnexBtohvcC(nullptr); }), NO_HEADER);
    EXPECT_EQ(MessageOf<Exception>([] { HEVC_Extradata_AnnexBtohvcC(MakeBlob({})); }), NO_HEADER);
}

TEST(HEVCExtradataToHvcC, AUnitThatA16BitLengthCannotHoldIsRefused) {
    Bytes const largest = BuildHEVCUnit(39, Bytes(65533, 0x55));
    EXPECT_EQ(ToHvcC({VPS, SPS, largest}), MakeHvcC({{32, {VPS}}, {33, {SPS}}, {39, {largest}}}));
    EXPECT_EQ(MessageOf<Exception>([] {
                  ToHvcC({VPS, SPS, BuildHEVCUnit(39, Bytes(65534, 0x55))});
              }),
              "Can't form hvcC header: 65536 bytes in a unit of type 39, 65535 at most");
}

TEST(HEVCExtradataToHvcC, MoreUnitsThanA16BitCountHoldsAreRefused) {
    std::vector<Bytes> units(65535, BuildHEVCUnit(40, {}));
    units.insert(units.end(), {VPS, SPS});
    EXPECT_EQ(ToHvcC(units).size(), MakeHvcC({{32, {VPS}}, {33, {SPS}}, {40, {}}}).size() + 65535 * 4);
    units.push_back(BuildHEVCUnit(40, {}));
    EXPECT_EQ(MessageOf<Exception>([&] { ToHvcC(units); }),
              "Can't form hvcC header: 65536 units of type 40, 65535 at most");
}

// --- Both ways ---

TEST(HEVCExtradataRoundTrip, AnnexBInTheOrderOfTheArraysComesBack) {
    Bytes const annexB = JoinAnnexB({VPS, SPS, SPS1, PPS, PREFIX, SUFFIX});
    auto const hvcc = HEVC_Extradata_AnnexBtohvcC(MakeBlob(annexB));
    EXPECT_EQ(GetBytes(HEVC_Extradata_hvcCtoAnnexB(hvcc)), annexB);
    EXPECT_EQ(GetHvccNALULengthSize(hvcc->GetData(), hvcc->GetSize()), 4);
}

TEST(HEVCExtradataRoundTrip, HvcCOfTheWrittenFormComesBack) {
    for (u32 seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        HEVCVPS vps = MakeHEVCVPS();
        vps.vps_max_sub_layers_minus1 = random() % 8;
        HEVCSPS sps = MakeHEVCSPS();
        sps.chroma_format_idc = random() % 4;
        sps.bit_depth_luma_minus8 = random() % 8;
        std::vector<HvccArray> arrays;
        for (u8 const type : {32, 33, 34, 39, 40}) {
            HvccArray array{type, {}};
            if (type == 32) array.units.push_back(BuildHEVCVPS(vps));
            if (type == 33) array.units.push_back(BuildHEVCSPS(sps));
            for (u32 count = random() % 4; count != 0; --count) {
                Bytes payload(random() % 30);
                for (u8& byte : payload) byte = static_cast<u8>(4 + random() % 252);
                array.units.push_back(BuildHEVCUnit(type, payload));
            }
            if (!array.units.empty()) arrays.push_back(array);
        }
        Bytes const hvcc = JoinHvcC(vps, sps, arrays);
        auto const annexB = HEVC_Extradata_hvcCtoAnnexB(MakeBlob(hvcc));
        ASSERT_EQ(GetBytes(HEVC_Extradata_AnnexBtohvcC(annexB)), hvcc);
    }
}

TEST(HEVCExtradataRoundTrip, DamagedHeadersConvertOrThrow) {
    std::size_t converted = 0;
    std::size_t refused = 0;
    for (u32 seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Bytes data = MakeHvcC({{32, {VPS}}, {33, {SPS, SPS1}}, {34, {PPS}}});
        for (int i = 0; i < 2; ++i) data[random() % data.size()] ^= static_cast<u8>(1U << random() % 8);
        data.resize(random() % 2 ? data.size() : random() % (data.size() + 1));
        try {
            HEVC_Extradata_AnnexBtohvcC(HEVC_Extradata_hvcCtoAnnexB(MakeBlob(data)));
            ++converted;
        } catch (Exception const&) {
            ++refused;
        }
    }
    // Both outcomes come up, or the damage would test nothing.
    EXPECT_GT(converted, 100U);
    EXPECT_GT(refused, 100U);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
