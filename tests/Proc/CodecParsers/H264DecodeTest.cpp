#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/BitWriter.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/H264Builder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using TestSupport::BitWriter;
using TestSupport::BuildPPS;
using TestSupport::BuildSPS;
using TestSupport::CodedScalingList;
using TestSupport::JoinAnnexB;
using TestSupport::JoinAvcC;
using TestSupport::MakePPS;
using TestSupport::MakeSPS;
using TestSupport::MessageOf;

H264SPS DecodeSPS(Bytes const& unit) {
    Bytes const extradata = JoinAnnexB({unit});
    return DecodeH264SPS(extradata.data(), extradata.size());
}

H264PPS DecodePPS(Bytes const& unit) {
    Bytes const extradata = JoinAnnexB({unit});
    return DecodeH264PPS(extradata.data(), extradata.size());
}

TEST(H264SPSDecoding, FieldsReadBackFromBothFramings) {
    H264SPS const sps = MakeSPS(3);
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
    Bytes const avcc = JoinAvcC({BuildSPS(sps)}, {BuildPPS(MakePPS())});
    EXPECT_EQ(DecodeH264SPS(avcc.data(), avcc.size()), sps);
}

TEST(H264SPSDecoding, FirstOfSeveralIsDecoded) {
    Bytes const avcc = JoinAvcC({BuildSPS(MakeSPS(7)), BuildSPS(MakeSPS(2))}, {BuildPPS(MakePPS())});
    EXPECT_EQ(DecodeH264SPS(avcc.data(), avcc.size()).seq_parameter_set_id, 7U);
}

TEST(H264SPSDecoding, BaselineHas420AndFlatScaling) {
    H264SPS sps = MakeSPS();
    sps.profile_idc = 66;
    H264SPS const decoded = DecodeSPS(BuildSPS(sps));
    EXPECT_EQ(decoded.chroma_format_idc, 1);
    for (auto const& list : decoded.ScalingList4x4) EXPECT_THAT(list, Each(16U));
    for (auto const& list : decoded.ScalingList8x8) EXPECT_THAT(list, Each(16U));
    EXPECT_EQ(decoded, sps);
}

TEST(H264SPSDecoding, ExactlyTheProfilesWithChromaFieldsReadThem) {
    for (int profile = 0; profile < 256; ++profile) {
        H264SPS sps = MakeSPS();
        sps.profile_idc = static_cast<u8>(profile);
        // A builder with its own list of profiles would hide a slip in either; the sizes tell.
        H264SPS const decoded = DecodeSPS(BuildSPS(sps));
        EXPECT_EQ(decoded.GetPictureSize(), (H264PictureSize{640, 360})) << profile;
    }
}

TEST(H264SPSDecoding, HighConstraintBitsAreDropped) {
    Bytes unit = BuildSPS(MakeSPS());
    unit[2] = 0x5F;  // constraint_set1, constraint_set3, and the four bits behind them
    H264SPS const decoded = DecodeSPS(unit);
    EXPECT_EQ(decoded.constraint_set0_flag, 0);
    EXPECT_EQ(decoded.constraint_set1_flag, 1);
    EXPECT_EQ(decoded.constraint_set2_flag, 0);
    EXPECT_EQ(decoded.constraint_set3_flag, 1);
    EXPECT_EQ(decoded.level_idc, 30);
}

TEST(H264SPSDecoding, BitDepthsAreCutToEightBits) {
    BitWriter out;
    out.Bits(0x67, 8).Bits(100, 8).Bits(0, 8).Bits(30, 8).UE(0).UE(1).UE(0x102).UE(0x1FF).Flag(false).Flag(false);
    out.UE(0).UE(2).UE(1).Flag(false).UE(0).UE(0).Flag(true).Flag(true).Flag(false).Flag(false).TrailingBits();
    H264SPS const decoded = DecodeSPS(out.GetBytes());
    EXPECT_EQ(decoded.bit_depth_luma_minus8, 2);
    EXPECT_EQ(decoded.bit_depth_chroma_minus8, 0xFF);
}

TEST(H264SPSDecoding, SeparatePlanesAreReadFor444Alone) {
    H264SPS sps = MakeSPS();
    sps.profile_idc = 244;
    sps.chroma_format_idc = 3;
    sps.separate_colour_plane_flag = 1;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
}

TEST(H264SPSDecoding, PictureOrderTypesTwoAndAboveReadNothing) {
    for (u32 const type : {2U, 3U, 100U}) {
        H264SPS sps = MakeSPS();
        sps.pic_order_cnt_type = type;
        sps.log2_max_pic_order_cnt_lsb_minus4 = 0;
        EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
    }
}

TEST(H264SPSDecoding, PictureOrderTypeOneReadsItsOffsets) {
    H264SPS sps = MakeSPS();
    sps.pic_order_cnt_type = 1;
    sps.log2_max_pic_order_cnt_lsb_minus4 = 0;
    sps.delta_pic_order_always_zero_flag = 1;
    sps.offset_for_non_ref_pic = -7;
    sps.offset_for_top_to_bottom_field = 9;
    sps.offset_for_ref_frame = {1, -2, 0};
    sps.num_ref_frames_in_pic_order_cnt_cycle = 3;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
}

TEST(H264SPSDecoding, AdaptiveFlagIsReadForFieldStreamsAlone) {
    H264SPS sps = MakeSPS();
    sps.frame_mbs_only_flag = 0;
    sps.mb_adaptive_frame_field_flag = 1;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
}

TEST(H264SPSDecoding, SampleAspectIsReadForTheExtendedRatioAlone) {
    H264SPS sps = MakeSPS();
    sps.vui_parameters_present_flag = sps.vui.aspect_ratio_info_present_flag = 1;
    sps.vui.aspect_ratio_idc = 254;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
    sps.vui.aspect_ratio_idc = 255;
    sps.vui.sar_width = 0xABCD;
    sps.vui.sar_height = 0x0102;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
}

TEST(H264SPSDecoding, HrdHasOneEntryMoreThanItsCount) {
    H264SPS sps = MakeSPS();
    sps.vui_parameters_present_flag = sps.vui.nal_hrd_parameters_present_flag = 1;
    sps.vui.low_delay_hrd_flag = 1;
    H264HRD& hrd = sps.vui.nal_hrd;
    hrd.cpb_cnt_minus1 = 1;
    hrd.bit_rate_scale = 15;
    hrd.cpb_size_scale = 3;
    hrd.bit_rate_value_minus1 = {5, 6};
    hrd.cpb_size_value_minus1 = {7, 8};
    hrd.cbr_flag = {1, 0};
    hrd.initial_cpb_removal_delay_length_minus1 = 31;
    hrd.time_offset_length = 24;
    EXPECT_EQ(DecodeSPS(BuildSPS(sps)), sps);
}

// --- Scaling lists ---

std::vector<CodedScalingList> Absent(std::size_t count) {
    return std::vector<CodedScalingList>(count);
}

H264SPS WithScaling(u8 chromaFormat = 1) {
    H264SPS sps = MakeSPS();
    sps.profile_idc = 244;
    sps.chroma_format_idc = chromaFormat;
    sps.seq_scaling_matrix_present_flag = 1;
    return sps;
}

TEST(H264ScalingLists, AbsentListsFallBackToDefaultsAndEarlierLists) {
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), Absent(8)));
    std::array<u32, 16> const intra = {6, 13, 13, 20, 20, 20, 28, 28, 28, 28, 32, 32, 32, 37, 37, 42};
    std::array<u32, 16> const inter = {10, 14, 14, 20, 20, 20, 24, 24, 24, 24, 27, 27, 27, 30, 30, 34};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(decoded.ScalingList4x4[i], intra);
    for (int i = 3; i < 6; ++i) EXPECT_EQ(decoded.ScalingList4x4[i], inter);
    EXPECT_EQ(decoded.ScalingList8x8[0][0], 6U);
    EXPECT_EQ(decoded.ScalingList8x8[0][63], 42U);
    EXPECT_EQ(decoded.ScalingList8x8[1][0], 9U);
    EXPECT_EQ(decoded.ScalingList8x8[1][63], 35U);
}

// The place of each coded position in the 8x8 matrix, walked along the zig-zag.
std::array<std::array<u32, 8>, 8> Unzigzag(std::array<u32, 64> const& list) {
    std::array<std::array<u32, 8>, 8> matrix = {};
    std::size_t index = 0;
    for (int diagonal = 0; diagonal < 15; ++diagonal) {
        for (int step = 0; step <= diagonal; ++step) {
            int const row = diagonal % 2 == 0 ? diagonal - step : step;
            int const column = diagonal - row;
            if (row < 8 && column < 8) matrix[row][column] = list[index++];
        }
    }
    return matrix;
}

TEST(H264ScalingLists, Default8x8MatricesAreSymmetricAndGrow) {
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), Absent(8)));
    for (int list = 0; list < 2; ++list) {
        auto const matrix = Unzigzag(decoded.ScalingList8x8[list]);
        for (int row = 0; row < 8; ++row) {
            for (int column = 1; column < 8; ++column) {
                EXPECT_EQ(matrix[row][column], matrix[column][row]) << list << row << column;
                EXPECT_GE(matrix[row][column], matrix[row][column - 1]) << list << row << column;
            }
        }
    }
    auto const intra = Unzigzag(decoded.ScalingList8x8[0]);
    EXPECT_THAT(intra[0], ElementsAre(6, 10, 13, 16, 18, 23, 25, 27));
    EXPECT_THAT(intra[7], ElementsAre(27, 29, 31, 33, 36, 38, 40, 42));
    auto const inter = Unzigzag(decoded.ScalingList8x8[1]);
    EXPECT_THAT(inter[0], ElementsAre(9, 13, 15, 17, 19, 21, 22, 24));
    EXPECT_THAT(inter[7], ElementsAre(24, 25, 27, 28, 30, 32, 33, 35));
}

TEST(H264ScalingLists, TwoLargeListsAreReadAndTheOthersStayZeroUnless444) {
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), Absent(8)));
    for (int i = 2; i < 6; ++i) EXPECT_THAT(decoded.ScalingList8x8[i], Each(0U));
    EXPECT_EQ(decoded.GetPictureSize(), (H264PictureSize{640, 360}));
}

TEST(H264ScalingLists, SixLargeListsAreReadFor444) {
    std::vector<CodedScalingList> lists = Absent(12);
    lists[8] = {true, std::vector<i32>(64, 0)};  // all 8
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(3), lists));
    EXPECT_EQ(decoded.ScalingList8x8[0][63], 42U);
    EXPECT_EQ(decoded.ScalingList8x8[1][63], 35U);
    EXPECT_THAT(decoded.ScalingList8x8[2], Each(8U));
    EXPECT_EQ(decoded.ScalingList8x8[3], decoded.ScalingList8x8[1]);
    EXPECT_EQ(decoded.ScalingList8x8[4], decoded.ScalingList8x8[2]);
    EXPECT_EQ(decoded.ScalingList8x8[5], decoded.ScalingList8x8[3]);
    EXPECT_EQ(decoded.max_num_ref_frames, 4U);
}

TEST(H264ScalingLists, ValuesAreRunningSumsModulo256) {
    std::vector<CodedScalingList> lists = Absent(8);
    std::vector<i32> deltas(16, 1);
    deltas[0] = 2;     // 10
    deltas[15] = 127;  // 10 + 14 + 127 = 151
    lists[1] = {true, deltas};
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), lists));
    std::array<u32, 16> expected;
    std::iota(expected.begin(), expected.end(), 10U);
    expected[15] = 151;
    EXPECT_EQ(decoded.ScalingList4x4[1], expected);
    EXPECT_EQ(decoded.ScalingList4x4[2], expected);  // absent: the list before

    lists[1].deltas = std::vector<i32>(16, 0);
    lists[1].deltas[0] = -9;  // 8 - 9 = 255
    EXPECT_THAT(DecodeSPS(BuildSPS(WithScaling(), lists)).ScalingList4x4[1], Each(255U));
}

TEST(H264ScalingLists, ZeroAtTheFirstPlaceAsksForTheDefault) {
    std::vector<CodedScalingList> lists = Absent(8);
    lists[1] = {true, {-8}};
    lists[4] = {true, {-8}};
    lists[6] = {true, {-8}};
    lists[7] = {true, {-8}};
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), lists));
    EXPECT_EQ(decoded.ScalingList4x4[1][15], 42U);
    EXPECT_EQ(decoded.ScalingList4x4[4][15], 34U);
    EXPECT_EQ(decoded.ScalingList8x8[0][63], 42U);
    EXPECT_EQ(decoded.ScalingList8x8[1][63], 35U);
}

TEST(H264ScalingLists, ZeroAtALaterPlaceRepeatsTheLastValue) {
    std::vector<CodedScalingList> lists = Absent(8);
    lists[0] = {true, {1, 1, -10}};  // 9, 10, 0: no more deltas
    H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), lists));
    EXPECT_THAT(decoded.ScalingList4x4[0], ElementsAre(9, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10));
}

TEST(H264ScalingLists, ADeltaOutOfRangeEndsTheListWithoutTheDefault) {
    for (i32 const delta : {-129, 128, 100000}) {
        std::vector<CodedScalingList> lists = Absent(8);
        lists[0] = {true, {1, 1, delta}};
        H264SPS const decoded = DecodeSPS(BuildSPS(WithScaling(), lists));
        EXPECT_THAT(decoded.ScalingList4x4[0], ElementsAre(9, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
        EXPECT_EQ(decoded.GetPictureSize(), (H264PictureSize{640, 360}));
    }
    std::vector<CodedScalingList> lists = Absent(8);
    lists[0] = {true, {-128, 127, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};  // 136, 7, 7...
    EXPECT_EQ(DecodeSPS(BuildSPS(WithScaling(), lists)).ScalingList4x4[0][0], 136U);
}

// --- PPS ---

TEST(H264PPSDecoding, FieldsReadBackFromBothFramings) {
    H264PPS const pps = MakePPS(255, 31);
    EXPECT_EQ(DecodePPS(BuildPPS(pps)), pps);
    Bytes const avcc = JoinAvcC({BuildSPS(MakeSPS())}, {BuildPPS(pps), BuildPPS(MakePPS())});
    EXPECT_EQ(DecodeH264PPS(avcc.data(), avcc.size()), pps);
}

TEST(H264PPSDecoding, WhatFollowsTheRecordIsNotRead) {
    H264PPS const pps = MakePPS();
    Bytes unit = BuildPPS(pps);
    unit.push_back(0xFF);
    EXPECT_EQ(DecodePPS(unit), pps);
}

H264PPS WithGroups(u32 groupsMinus1, u32 type) {
    H264PPS pps = MakePPS();
    pps.num_slice_groups_minus1 = groupsMinus1;
    pps.slice_group_map_type = type;
    return pps;
}

TEST(H264PPSDecoding, SliceGroupTypeZeroReadsRunLengths) {
    H264PPS pps = WithGroups(2, 0);
    pps.run_length_minus1 = {1, 2, 3};
    EXPECT_EQ(DecodePPS(BuildPPS(pps)), pps);
}

TEST(H264PPSDecoding, SliceGroupTypeOneReadsNothing) {
    EXPECT_EQ(DecodePPS(BuildPPS(WithGroups(1, 1))), WithGroups(1, 1));
    EXPECT_EQ(DecodePPS(BuildPPS(WithGroups(1, 7))), WithGroups(1, 7));
}

TEST(H264PPSDecoding, SliceGroupTypeTwoConsumesOnePairMoreThanTheStandard) {
    H264PPS pps = WithGroups(2, 2);
    pps.top_left = {1, 2, 3};
    pps.bottom_right = {4, 5, 6};
    EXPECT_EQ(DecodePPS(BuildPPS(pps)), pps);
}

TEST(H264PPSDecoding, SliceGroupTypesThreeToFiveReadDirectionAndRate) {
    for (u32 const type : {3U, 4U, 5U}) {
        H264PPS pps = WithGroups(1, type);
        pps.slice_group_change_direction_flag = 1;
        pps.slice_group_change_rate_minus1 = 77;
        EXPECT_EQ(DecodePPS(BuildPPS(pps)), pps);
    }
}

TEST(H264PPSDecoding, SliceGroupTypeSixReadsIdsOfJustEnoughBits) {
    for (u32 const groupsMinus1 : {1U, 2U, 3U, 4U, 7U}) {
        H264PPS pps = WithGroups(groupsMinus1, 6);
        pps.pic_size_in_map_units_minus1 = 4;
        pps.slice_group_id = {0, groupsMinus1, 1, 0, groupsMinus1};
        EXPECT_EQ(DecodePPS(BuildPPS(pps)), pps) << groupsMinus1;
    }
}

// --- Hostile headers ---

TEST(H264Hostile, ReferenceFrameCountAboveTheBitsLeftIsRefused) {
    for (u32 const count : {200U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        H264SPS sps = MakeSPS();
        sps.pic_order_cnt_type = 1;
        sps.num_ref_frames_in_pic_order_cnt_cycle = count;
        EXPECT_THAT(MessageOf<Exception>([&] { DecodeSPS(BuildSPS(sps)); }),
                    HasSubstr("num_ref_frames_in_pic_order_cnt_cycle asks for " + std::to_string(count)));
    }
}

TEST(H264Hostile, CpbCountAboveTheBitsLeftIsRefusedEvenWhereItWraps) {
    for (u32 const count : {100U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        H264SPS sps = MakeSPS();
        sps.vui_parameters_present_flag = sps.vui.nal_hrd_parameters_present_flag = 1;
        sps.vui.nal_hrd.cpb_cnt_minus1 = count;
        EXPECT_THAT(MessageOf<Exception>([&] { DecodeSPS(BuildSPS(sps)); }),
                    HasSubstr("cpb_cnt_minus1 asks for " + std::to_string(u64{count} + 1)));
    }
}

TEST(H264Hostile, SliceGroupCountAboveTheBitsLeftIsRefused) {
    for (u32 const type : {0U, 2U}) {
        EXPECT_THAT(MessageOf<Exception>([&] { DecodePPS(BuildPPS(WithGroups(0xFFFFFFFF, type))); }),
                    HasSubstr("num_slice_groups_minus1 asks for 4294967296"));
        EXPECT_THAT(MessageOf<Exception>([&] { DecodePPS(BuildPPS(WithGroups(1000, type))); }),
                    HasSubstr("num_slice_groups_minus1 asks for 1001"));
    }
}

TEST(H264Hostile, MapUnitCountAboveTheBitsLeftIsRefused) {
    for (u32 const groups : {1U, 0xFFFFFFFFU}) {
        H264PPS pps = WithGroups(groups, 6);
        pps.pic_size_in_map_units_minus1 = 0xFFFFFFFF;
        EXPECT_THAT(MessageOf<Exception>([&] { DecodePPS(BuildPPS(pps)); }),
                    HasSubstr("pic_size_in_map_units_minus1 asks for 4294967296"));
    }
}

H264SPS MakeFullSPS() {
    H264SPS sps = WithScaling(3);
    sps.pic_order_cnt_type = 1;
    sps.log2_max_pic_order_cnt_lsb_minus4 = 0;
    sps.num_ref_frames_in_pic_order_cnt_cycle = 2;
    sps.offset_for_ref_frame = {5, -5};
    sps.vui_parameters_present_flag = 1;
    H264VUI& vui = sps.vui;
    vui.aspect_ratio_info_present_flag = vui.video_signal_type_present_flag = 1;
    vui.aspect_ratio_idc = 255;
    vui.sar_width = vui.sar_height = 1;
    vui.colour_description_present_flag = vui.timing_info_present_flag = 1;
    vui.time_scale = 50;
    vui.num_units_in_tick = 1;
    vui.nal_hrd_parameters_present_flag = vui.vcl_hrd_parameters_present_flag = vui.bitstream_restriction_flag = 1;
    for (H264HRD* const hrd : {&vui.nal_hrd, &vui.vcl_hrd}) {
        hrd->cpb_cnt_minus1 = 1;
        hrd->bit_rate_value_minus1 = {1, 2};
        hrd->cpb_size_value_minus1 = {3, 4};
        hrd->cbr_flag = {0, 1};
    }
    vui.max_dec_frame_buffering = 4;
    return sps;
}

// Number of prefixes that parse; each other one threw a failure of the family.
template <class Decode>
std::size_t CountParsingPrefixes(Bytes const& unit, Decode decode) {
    std::size_t parsed = 0;
    for (std::size_t size = 0; size <= unit.size(); ++size) {
        Bytes const prefix = JoinAnnexB({Bytes(unit.begin(), unit.begin() + static_cast<std::ptrdiff_t>(size))});
        try {
            decode(prefix.data(), prefix.size());
            ++parsed;
        } catch (Exception const&) {
        }
    }
    return parsed;
}

TEST(H264Hostile, EveryPrefixOfAnSpsParsesOrThrows) {
    Bytes const unit = BuildSPS(MakeFullSPS(), Absent(12));
    // The whole one, and at most the one that lacks trailing bits alone.
    EXPECT_GE(CountParsingPrefixes(unit, DecodeH264SPS), 1U);
    EXPECT_LE(CountParsingPrefixes(unit, DecodeH264SPS), 2U);
}

TEST(H264Hostile, EveryPrefixOfAPpsParsesOrThrows) {
    H264PPS pps = WithGroups(7, 6);
    pps.pic_size_in_map_units_minus1 = 39;
    pps.slice_group_id.assign(40, 5);
    EXPECT_GE(CountParsingPrefixes(BuildPPS(pps), DecodeH264PPS), 1U);
    EXPECT_LE(CountParsingPrefixes(BuildPPS(pps), DecodeH264PPS), 2U);
}

TEST(H264Hostile, MissingParameterSetsAreNamedByType) {
    Bytes const onlyPps = JoinAnnexB({BuildPPS(MakePPS())});
    EXPECT_EQ(MessageOf<Exception>([&] { DecodeH264SPS(onlyPps.data(), onlyPps.size()); }),
              "Can't find nalu of type 7");
    Bytes const onlySps = JoinAnnexB({BuildSPS(MakeSPS())});
    EXPECT_EQ(MessageOf<Exception>([&] { DecodeH264PPS(onlySps.data(), onlySps.size()); }),
              "Can't find nalu of type 8");
    EXPECT_EQ(MessageOf<Exception>([] { DecodeH264SPS(nullptr, 0); }),
              "Not enougth data to determine h264 header type");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
