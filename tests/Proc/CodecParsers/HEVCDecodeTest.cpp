#include <gtest/gtest.h>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/BitWriter.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/HEVCBuilder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

HEVCSPS DecodeSPS(Bytes const& unit) {
    Bytes const extradata = JoinAnnexB({unit});
    return DecodeHEVCSPS(extradata.data(), extradata.size());
}

HEVCVPS DecodeVPS(Bytes const& unit) {
    Bytes const extradata = JoinAnnexB({unit});
    return DecodeHEVCVPS(extradata.data(), extradata.size());
}

// What libx265 writes for 64 x 64 pictures of the Main profile.
Bytes const X265_VPS = {0x40, 0x01, 0x0C, 0x01, 0xFF, 0xFF, 0x01, 0x60, 0x00, 0x00, 0x03, 0x00,
                        0x90, 0x00, 0x00, 0x03, 0x00, 0x00, 0x03, 0x00, 0x1E, 0x95, 0x98, 0x09};
Bytes const X265_SPS = {0x42, 0x01, 0x01, 0x01, 0x60, 0x00, 0x00, 0x03, 0x00, 0x90, 0x00, 0x00, 0x03, 0x00,
                        0x00, 0x03, 0x00, 0x1E, 0xA0, 0x20, 0x81, 0x05, 0x96, 0x56, 0x69, 0x24, 0xCA, 0xF0,
                        0x16, 0x80, 0x80, 0x00, 0x00, 0x03, 0x00, 0x80, 0x00, 0x00, 0x0C, 0x84};
// The same with two temporal sub-layers.
Bytes const X265_SPS_TWO_LAYERS = {0x42, 0x01, 0x02, 0x01, 0x60, 0x00, 0x00, 0x03, 0x00, 0x90, 0x00, 0x00,
                                   0x03, 0x00, 0x00, 0x03, 0x00, 0x1E, 0x00, 0x00, 0xA0, 0x20, 0x81, 0x05,
                                   0x96, 0x56, 0x62, 0xB3, 0x49, 0x26, 0x57, 0x80, 0xB4, 0x04, 0x00, 0x00,
                                   0x03, 0x00, 0x04, 0x00, 0x00, 0x03, 0x00, 0x64, 0x20};
// 66 x 50 pictures of the Main 10 profile, coded as 72 x 56.
Bytes const X265_SPS_CROPPED = {0x42, 0x01, 0x01, 0x02, 0x20, 0x00, 0x00, 0x03, 0x00, 0x90, 0x00,
                                0x00, 0x03, 0x00, 0x00, 0x03, 0x00, 0x1E, 0xA0, 0x24, 0x83, 0x9C,
                                0x92, 0x36, 0x59, 0x59, 0xAE, 0x4C, 0xAF, 0x01, 0x68, 0x08, 0x00,
                                0x00, 0x03, 0x00, 0x08, 0x00, 0x00, 0x03, 0x00, 0xC8, 0x40};

TEST(HEVCVPSDecoding, FieldsReadBack) {
    HEVCVPS vps = MakeHEVCVPS();
    vps.vps_video_parameter_set_id = 13;
    vps.vps_max_sub_layers_minus1 = 3;
    vps.vps_temporal_id_nesting_flag = 0;
    vps.profile_tier_level = {3, 1, 31, {1, 2, 3, 4}, {5, 6, 7, 8, 9, 10}, 186};
    EXPECT_EQ(DecodeVPS(BuildHEVCVPS(vps)), vps);
}

TEST(HEVCVPSDecoding, AnEncodersUnitIsRead) {
    HEVCVPS const vps = DecodeVPS(X265_VPS);
    EXPECT_EQ(vps.vps_video_parameter_set_id, 0);
    EXPECT_EQ(vps.vps_max_sub_layers_minus1, 0);
    EXPECT_EQ(vps.vps_temporal_id_nesting_flag, 1);
    HEVCProfileTierLevel expected;
    expected.general_profile_idc = 1;
    expected.general_profile_compatibility_flags = {0x60};
    expected.general_constraint_indicator_flags = {0x90};
    expected.general_level_idc = 30;
    EXPECT_EQ(vps.profile_tier_level, expected);
}

TEST(HEVCVPSDecoding, WhatStandsBehindTheLevelIsNotRead) {
    HEVCVPS vps = MakeHEVCVPS();
    Bytes unit = BuildHEVCVPS(vps);
    unit.back() = 0xFF;  // in place of the stop bit
    EXPECT_EQ(DecodeVPS(unit), vps);
}

TEST(HEVCSPSDecoding, FieldsReadBack) {
    HEVCSPS sps = MakeHEVCSPS(15);
    sps.sps_video_parameter_set_id = 9;
    sps.sps_max_sub_layers_minus1 = 6;
    sps.sps_temporal_id_nesting_flag = 0;
    sps.profile_tier_level = {1, 1, 2, {0xFF, 0, 0, 1}, {0, 0, 0, 0, 0, 3}, 153};
    sps.conf_win_left_offset = 1;
    sps.conf_win_right_offset = 2;
    sps.conf_win_top_offset = 3;
    sps.bit_depth_luma_minus8 = 2;
    sps.bit_depth_chroma_minus8 = 4;
    EXPECT_EQ(DecodeSPS(BuildHEVCSPS(sps)), sps);
}

TEST(HEVCSPSDecoding, AnEncodersUnitsAreRead) {
    HEVCSPS expected;
    expected.sps_temporal_id_nesting_flag = 1;
    expected.profile_tier_level = DecodeVPS(X265_VPS).profile_tier_level;
    expected.chroma_format_idc = 1;
    expected.pic_width_in_luma_samples = 64;
    expected.pic_height_in_luma_samples = 64;
    EXPECT_EQ(DecodeSPS(X265_SPS), expected);
    expected.sps_max_sub_layers_minus1 = 1;
    expected.sps_temporal_id_nesting_flag = 0;
    EXPECT_EQ(DecodeSPS(X265_SPS_TWO_LAYERS), expected);
    HEVCSPS const cropped = DecodeSPS(X265_SPS_CROPPED);
    EXPECT_EQ(cropped.profile_tier_level.general_profile_idc, 2);
    EXPECT_EQ(cropped.pic_width_in_luma_samples, 72U);
    EXPECT_EQ(cropped.pic_height_in_luma_samples, 56U);
    EXPECT_EQ(cropped.GetPictureSize(), (PictureSize{66, 50}));
    EXPECT_EQ(cropped.bit_depth_luma_minus8, 2);
    EXPECT_EQ(cropped.bit_depth_chroma_minus8, 2);
}

TEST(HEVCSPSDecoding, FirstOfSeveralIsDecoded) {
    Bytes const data =
        JoinAnnexB({BuildHEVCVPS(MakeHEVCVPS()), BuildHEVCSPS(MakeHEVCSPS(7)), BuildHEVCSPS(MakeHEVCSPS(2))});
    EXPECT_EQ(DecodeHEVCSPS(data.data(), data.size()).sps_seq_parameter_set_id, 7);
}

TEST(HEVCSPSDecoding, SubLayersArePassedWhateverTheyHave) {
    for (u8 count = 0; count <= 7; ++count) {
        for (u32 flags = 0; flags < (1U << (2 * count)); ++flags) {
            HEVCSPS sps = MakeHEVCSPS();
            sps.sps_max_sub_layers_minus1 = count;
            HEVCForm form;
            for (unsigned i = 0; i < count; ++i)
                form.subLayers.push_back({(flags >> (2 * i) & 1) != 0, (flags >> (2 * i + 1) & 1) != 0, 0xA5A5A5A5});
            ASSERT_EQ(DecodeSPS(BuildHEVCSPS(sps, form)), sps) << int{count} << " " << flags;
        }
    }
}

TEST(HEVCVPSDecoding, ReadingStopsBehindTheSubLayersOfTheProfile) {
    HEVCVPS vps = MakeHEVCVPS();
    vps.vps_max_sub_layers_minus1 = 2;
    Bytes const unit = BuildHEVCVPS(vps, {{{true, true, 7}, {false, true, 9}}, false});
    EXPECT_EQ(DecodeVPS(unit), vps);
    // The announced fields have to be there, though nothing is kept of them.
    EXPECT_THROW(DecodeVPS(Bytes(unit.begin(), unit.end() - 2)), Exception);
}

TEST(HEVCSPSDecoding, SeparatePlanesAreReadFor444Alone) {
    for (u8 chroma = 0; chroma < 6; ++chroma) {
        HEVCSPS sps = MakeHEVCSPS();
        sps.chroma_format_idc = chroma;
        sps.separate_colour_plane_flag = chroma == 3;
        EXPECT_EQ(DecodeSPS(BuildHEVCSPS(sps)), sps) << int{chroma};
    }
}

TEST(HEVCSPSDecoding, AWindowOfZerosIsReadLikeNone) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.conf_win_bottom_offset = 0;
    EXPECT_EQ(DecodeSPS(BuildHEVCSPS(sps)), sps);
    EXPECT_EQ(DecodeSPS(BuildHEVCSPS(sps, {{}, true})), sps);
}

TEST(HEVCSPSDecoding, IdsChromaAndBitDepthsAreCutToEightBits) {
    BitWriter out;
    out.Bits(0x4201, 16).Bits(1, 8).Bits(0, 64).Bits(0, 32);  // the sub-layer fields, then a profile of zeros
    out.UE(0x10F).UE(0x101).UE(640).UE(360).Flag(false).UE(0x102).UE(0x2FF).TrailingBits();
    HEVCSPS const sps = DecodeSPS(AddEmulationPrevention(out.GetBytes()));
    EXPECT_EQ(sps.sps_seq_parameter_set_id, 0x0F);
    EXPECT_EQ(sps.chroma_format_idc, 1);
    EXPECT_EQ(sps.pic_width_in_luma_samples, 640U);
    EXPECT_EQ(sps.pic_height_in_luma_samples, 360U);
    EXPECT_EQ(sps.bit_depth_luma_minus8, 2);
    EXPECT_EQ(sps.bit_depth_chroma_minus8, 0xFF);
}

TEST(HEVCSPSDecoding, EmulationPreventionIsRemoved) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.profile_tier_level.general_constraint_indicator_flags = {};
    sps.profile_tier_level.general_level_idc = 2;
    Bytes const unit = BuildHEVCSPS(sps);
    ASSERT_EQ(unit[7], 3);  // between the zeros of the compatibility flags and those behind them
    EXPECT_EQ(DecodeSPS(unit), sps);
}

TEST(HEVCSPSDecoding, LargestFieldsAreRead) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.pic_width_in_luma_samples = 0xFFFFFFFF;
    sps.pic_height_in_luma_samples = 0xFFFFFFFE;
    sps.conf_win_left_offset = sps.conf_win_right_offset = 0xFFFFFFFF;
    EXPECT_EQ(DecodeSPS(BuildHEVCSPS(sps)), sps);
}

TEST(HEVCDecoding, EveryCutOffUnitThrows) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.sps_max_sub_layers_minus1 = 1;
    sps.bit_depth_chroma_minus8 = 7;
    Bytes const spsUnit = BuildHEVCSPS(sps, {{{true, true, 0x77}}, false});
    Bytes const vpsUnit = BuildHEVCVPS(MakeHEVCVPS());
    for (std::ptrdiff_t size = 2; size + 1 < std::ssize(spsUnit); ++size)
        EXPECT_THROW(DecodeSPS(Bytes(spsUnit.begin(), spsUnit.begin() + size)), Exception) << size;
    for (std::ptrdiff_t size = 2; size + 1 < std::ssize(vpsUnit); ++size)
        EXPECT_THROW(DecodeVPS(Bytes(vpsUnit.begin(), vpsUnit.begin() + size)), Exception) << size;
    EXPECT_EQ(MessageOf<Exception>([&] { DecodeSPS({0x42}); }), "Can't find nalu of type 33");
    EXPECT_EQ(MessageOf<Exception>([&] { DecodeVPS({0x40}); }), "Can't find nalu of type 32");
}

TEST(HEVCDecoding, ExtradataWithoutVpsHasNone) {
    EXPECT_EQ(MessageOf<Exception>([] { DecodeVPS(BuildHEVCSPS(MakeHEVCSPS())); }), "Can't find nalu of type 32");
    EXPECT_EQ(MessageOf<Exception>([] { DecodeSPS(BuildHEVCVPS(MakeHEVCVPS())); }), "Can't find nalu of type 33");
}

TEST(HEVCDecoding, HvcCAndNoDataAreRefused) {
    Bytes const hvcc = JoinHvcC(MakeHEVCVPS(), MakeHEVCSPS(), {{33, {BuildHEVCSPS(MakeHEVCSPS())}}});
    for (auto const& decode : {+[](Bytes const& data) { DecodeHEVCSPS(data.data(), data.size()); },
                               +[](Bytes const& data) { DecodeHEVCVPS(data.data(), data.size()); }}) {
        EXPECT_EQ(MessageOf<Exception>([&] { decode(hvcc); }), "Finding HEVC NALUs in hvcC is not implemented yet");
        EXPECT_EQ(MessageOf<Exception>([&] { decode({}); }), "Not enougth data to determine HEVC header type");
        EXPECT_EQ(MessageOf<Exception>([&] { decode({0, 0, 1}); }), "Not enougth data to determine h264 format type");
    }
}

TEST(HEVCPictureSizes, WindowUnitsFollowTheChromaFormat) {
    struct {
        u8 chroma;
        int unitX, unitY;
    } const cases[] = {{0, 1, 1}, {1, 2, 2}, {2, 2, 1}, {3, 1, 1}, {4, 1, 1}};
    for (auto const& c : cases) {
        HEVCSPS sps;
        sps.chroma_format_idc = c.chroma;
        sps.pic_width_in_luma_samples = 640;
        sps.pic_height_in_luma_samples = 368;
        EXPECT_EQ(sps.GetPictureSize(), (PictureSize{640, 368}));
        sps.conf_win_left_offset = 1;
        sps.conf_win_right_offset = 2;
        sps.conf_win_top_offset = 3;
        sps.conf_win_bottom_offset = 4;
        EXPECT_EQ(sps.GetPictureSize(), (PictureSize{640 - 3 * c.unitX, 368 - 7 * c.unitY})) << int{c.chroma};
        sps.separate_colour_plane_flag = 1;
        EXPECT_EQ(sps.GetPictureSize(), (PictureSize{640 - 3 * c.unitX, 368 - 7 * c.unitY})) << int{c.chroma};
    }
}

TEST(HEVCPictureSizes, AWindowThatLeavesNothingIsNotCaught) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.conf_win_left_offset = 320;
    sps.conf_win_bottom_offset = 200;
    EXPECT_EQ(sps.GetPictureSize(), (PictureSize{0, -32}));
}

TEST(HEVCPictureSizes, LargestFieldsDoNotOverflow) {
    HEVCSPS sps = MakeHEVCSPS();
    sps.pic_width_in_luma_samples = sps.pic_height_in_luma_samples = 0;
    sps.conf_win_left_offset = sps.conf_win_right_offset = 0xFFFFFFFF;
    sps.conf_win_top_offset = sps.conf_win_bottom_offset = 0xFFFFFFFF;
    EXPECT_EQ(sps.GetPictureSize(), (PictureSize{-4 * int64{0xFFFFFFFF}, -4 * int64{0xFFFFFFFF}}));
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
