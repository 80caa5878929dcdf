#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Proc/HeaderDescription.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contracts/Conf/IFormatCodec.h"
#include "tests/support/AACBuilder.h"
#include "tests/support/H264Builder.h"
#include "tests/support/HEVCBuilder.h"
#include "tests/support/MpegBuilder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;
using Video = Conf::IFormatCodecVideo;

Core::Property Describe(char const* codec, Bytes const& data) {
    return DescribeHeaders(codec, data.data(), data.size());
}

// "name=value name=[1 2] name{inner=value}", to be compared as one text.
std::string TextOf(Core::Property const& structure) {
    std::string text;
    for (Core::Property const& field : structure.Children()) {
        if (!text.empty()) text += ' ';
        if (field.IsKeyed()) text += field.Name();
        if (field.HasScalar())
            text += (field.IsKeyed() ? "=" : "") + field.GetString();
        else if (!field.Children().empty() && field.Children()[0].IsKeyed())
            text += '{' + TextOf(field) + '}';
        else
            text += "=[" + TextOf(field) + ']';
    }
    return text;
}

// "SPS PPS"; a structure that can't be decoded is "SPS!".
std::string NamesOf(Core::Property const& report) {
    std::string names;
    for (Core::Property const& structure : report.Children()) {
        if (!names.empty()) names += ' ';
        names += structure.Name() + (structure.ChildExists("error") ? "!" : "");
    }
    return names;
}

TEST(HeaderDescription, NoDataAndUnknownCodecsGiveNoStructures) {
    for (char const* codec : {Video::CODEC_ID_H264, Video::CODEC_ID_H265, Video::CODEC_ID_MPEG2VIDEO,
                              Video::CODEC_ID_MPEG4, "aac", "vp9", "none", ""}) {
        Core::Property const report = DescribeHeaders(codec, nullptr, 0);
        EXPECT_EQ(report, Core::Property("headers")) << codec;
    }
    EXPECT_EQ(Describe("vp9", {0, 0, 1, 0x67, 100, 0, 31}), Core::Property("headers"));
}

TEST(HeaderDescription, ParameterSetsOfAnnexBInTheirOrder) {
    Bytes const data = JoinAnnexB({BuildSPS(MakeSPS()), BuildPPS(MakePPS()), BuildSlice(5, 7), BuildPPS(MakePPS(1))});
    Core::Property const report = Describe(Video::CODEC_ID_H264, data);
    EXPECT_EQ(report.Name(), "headers");
    EXPECT_EQ(NamesOf(report), "SPS PPS PPS");
    EXPECT_FALSE(report.Children()[0].IsKeyed());
    EXPECT_EQ(report.Children()[2]["pic_parameter_set_id"].GetInt64(), 1);
}

TEST(HeaderDescription, FieldsOfAPlainSpsUnderTheStandardsNames) {
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildSPS(MakeSPS(2))}));
    EXPECT_EQ(TextOf(report.Children().at(0)),
              "profile_idc=100 constraint_set0_flag=0 constraint_set1_flag=0 constraint_set2_flag=0 "
              "constraint_set3_flag=0 level_idc=30 seq_parameter_set_id=2 chroma_format_idc=1 bit_depth_luma_minus8=0 "
              "bit_depth_chroma_minus8=0 qpprime_y_zero_transform_bypass_flag=0 seq_scaling_matrix_present_flag=0 "
              "log2_max_frame_num_minus4=0 pic_order_cnt_type=0 log2_max_pic_order_cnt_lsb_minus4=2 "
              "max_num_ref_frames=4 gaps_in_frame_num_value_allowed_flag=0 pic_width_in_mbs_minus1=39 "
              "pic_height_in_map_units_minus1=22 frame_mbs_only_flag=1 direct_8x8_inference_flag=1 "
              "frame_cropping_flag=1 frame_crop_left_offset=0 frame_crop_right_offset=0 frame_crop_top_offset=0 "
              "frame_crop_bottom_offset=4 vui_parameters_present_flag=0");
}

TEST(HeaderDescription, FieldsThatASpsDoesNotHoldAreNotTold) {
    H264SPS sps = MakeSPS();
    sps.profile_idc = 66;
    sps.pic_order_cnt_type = 2;
    sps.frame_cropping_flag = 0;
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildSPS(sps)}));
    Core::Property const& out = report.Children().at(0);
    for (char const* name : {"bit_depth_luma_minus8", "seq_scaling_matrix_present_flag", "ScalingList4x4", "vui",
                             "log2_max_pic_order_cnt_lsb_minus4", "frame_crop_left_offset", "offset_for_ref_frame"})
        EXPECT_FALSE(out.ChildExists(name)) << name;
    EXPECT_EQ(out["chroma_format_idc"].GetInt64(), 1) << "the inferred value";
}

TEST(HeaderDescription, VuiAndHrdAreStructuresInside) {
    H264SPS sps = MakeSPS();
    sps.vui_parameters_present_flag = 1;
    H264VUI& vui = sps.vui;
    vui.aspect_ratio_info_present_flag = 1;
    vui.aspect_ratio_idc = 255;
    vui.sar_width = 16;
    vui.sar_height = 11;
    vui.video_signal_type_present_flag = vui.colour_description_present_flag = 1;
    vui.video_format = 5;
    vui.colour = {1, 2, 3};
    vui.timing_info_present_flag = 1;
    vui.num_units_in_tick = 1001;
    vui.time_scale = 0xFFFFFFFF;
    vui.vcl_hrd_parameters_present_flag = 1;
    vui.vcl_hrd = {1, 2, 3, {10, 11}, {20, 21}, {0, 1}, 23, 22, 21, 20};
    vui.bitstream_restriction_flag = 1;
    vui.max_num_reorder_frames = 2;
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildSPS(sps)}));
    EXPECT_EQ(TextOf(report.Children().at(0)["vui"]),
              "aspect_ratio_info_present_flag=1 aspect_ratio_idc=255 sar_width=16 sar_height=11 "
              "overscan_info_present_flag=0 video_signal_type_present_flag=1 video_format=5 video_full_range_flag=0 "
              "colour_description_present_flag=1 colour_primaries=1 transfer_characteristics=2 matrix_coefficients=3 "
              "chroma_loc_info_present_flag=0 timing_info_present_flag=1 num_units_in_tick=1001 time_scale=4294967295 "
              "fixed_frame_rate_flag=0 nal_hrd_parameters_present_flag=0 vcl_hrd_parameters_present_flag=1 "
              "vcl_hrd{cpb_cnt_minus1=1 bit_rate_scale=2 cpb_size_scale=3 bit_rate_value_minus1=[10 11] "
              "cpb_size_value_minus1=[20 21] cbr_flag=[0 1] initial_cpb_removal_delay_length_minus1=23 "
              "cpb_removal_delay_length_minus1=22 dpb_output_delay_length_minus1=21 time_offset_length=20} "
              "low_delay_hrd_flag=0 pic_struct_present_flag=0 bitstream_restriction_flag=1 "
              "motion_vectors_over_pic_boundaries_flag=0 max_bytes_per_pic_denom=0 max_bits_per_mb_denom=0 "
              "log2_max_mv_length_horizontal=0 log2_max_mv_length_vertical=0 max_num_reorder_frames=2 "
              "max_dec_frame_buffering=0");
}

TEST(HeaderDescription, ScalingListsAndPictureOrderOffsets) {
    H264SPS sps = MakeSPS();
    sps.seq_scaling_matrix_present_flag = 1;
    sps.pic_order_cnt_type = 1;
    sps.num_ref_frames_in_pic_order_cnt_cycle = 2;
    sps.offset_for_ref_frame = {-3, 2147483647};
    std::vector<CodedScalingList> lists(8);
    lists[1] = {true, std::vector<i32>(16, 1)};
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildSPS(sps, lists)}));
    Core::Property const& out = report.Children().at(0);
    ASSERT_EQ(out["ScalingList4x4"].Children().size(), 6U);
    ASSERT_EQ(out["ScalingList8x8"].Children().size(), 6U);
    EXPECT_EQ(TextOf(out["ScalingList4x4"].Children()[1]), "9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24");
    EXPECT_EQ(out["ScalingList8x8"].Children()[1].Children().size(), 64U);
    EXPECT_EQ(TextOf(out["offset_for_ref_frame"]), "-3 2147483647");
}

TEST(HeaderDescription, SliceGroupsOfAPps) {
    H264PPS pps = MakePPS();
    pps.num_slice_groups_minus1 = 2;
    pps.slice_group_map_type = 6;
    pps.pic_size_in_map_units_minus1 = 3;
    pps.slice_group_id = {0, 1, 2, 1};
    pps.pic_init_qp_minus26 = -5;
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildPPS(pps)}));
    EXPECT_EQ(TextOf(report.Children().at(0)),
              "pic_parameter_set_id=0 seq_parameter_set_id=0 entropy_coding_mode_flag=1 "
              "bottom_field_pic_order_in_frame_present_flag=0 num_slice_groups_minus1=2 slice_group_map_type=6 "
              "pic_size_in_map_units_minus1=3 slice_group_id=[0 1 2 1] num_ref_idx_l0_default_active_minus1=2 "
              "num_ref_idx_l1_default_active_minus1=0 weighted_pred_flag=1 weighted_bipred_idc=2 "
              "pic_init_qp_minus26=-5 pic_init_qs_minus26=0 chroma_qp_index_offset=-2 "
              "deblocking_filter_control_present_flag=1 constrained_intra_pred_flag=0 "
              "redundant_pic_cnt_present_flag=0");
}

TEST(HeaderDescription, AvccTellsItsRecordFirst) {
    Bytes const data = JoinAvcC({BuildSPS(MakeSPS())}, {BuildPPS(MakePPS()), BuildPPS(MakePPS(1))}, 2);
    Core::Property const report = Describe(Video::CODEC_ID_H264, data);
    EXPECT_EQ(NamesOf(report), "avcC SPS PPS PPS");
    EXPECT_EQ(TextOf(report.Children()[0]),
              "configurationVersion=1 AVCProfileIndication=100 profile_compatibility=0 AVCLevelIndication=30 "
              "lengthSizeMinusOne=1 numOfSequenceParameterSets=1 numOfPictureParameterSets=2");
}

TEST(HeaderDescription, TailOfAvccOfTheHigherProfiles) {
    Bytes const tail = {0xFC | 2, 0xF8 | 1, 0xF8 | 7, 0};
    Core::Property const report =
        Describe(Video::CODEC_ID_H264, JoinAvcC({BuildSPS(MakeSPS())}, {BuildPPS(MakePPS())}, 4, tail));
    Core::Property const& avcc = report.Children().at(0);
    EXPECT_EQ(avcc["chroma_format"].GetInt64(), 2);
    EXPECT_EQ(avcc["bit_depth_luma_minus8"].GetInt64(), 1);
    EXPECT_EQ(avcc["bit_depth_chroma_minus8"].GetInt64(), 7);
    EXPECT_EQ(avcc["numOfSequenceParameterSetExt"].GetInt64(), 0);
    // Without a PPS the tail stands behind the count of 0.
    Core::Property const withoutPps = Describe(Video::CODEC_ID_H264, JoinAvcC({BuildSPS(MakeSPS())}, {}, 4, tail));
    EXPECT_EQ(withoutPps.Children().at(0)["chroma_format"].GetInt64(), 2);
    Core::Property const withoutSets = Describe(Video::CODEC_ID_H264, {1, 100, 0, 30, 0xFF, 0xE0, 0, 2, 1, 7, 0});
    EXPECT_EQ(withoutSets.Children().at(0)["chroma_format"].GetInt64(), 2);
}

TEST(HeaderDescription, TailOfAvccIsThereInAllProfilesButTheFirstThree) {
    for (u8 const profile : {66, 77, 88, 44, 83, 100, 110, 118, 122, 128, 144, 244}) {
        Core::Property const report =
            Describe(Video::CODEC_ID_H264, {1, profile, 0, 30, 0xFF, 0xE0, 0, 0xFC | 3, 0xF8, 0xF8, 0});
        EXPECT_EQ(report.Children().at(0).ChildExists("chroma_format"), profile != 66 && profile != 77 && profile != 88)
            << int{profile};
    }
}

TEST(HeaderDescription, BrokenAvccTellsWhyAndTheSetsInFrontOfTheDamage) {
    Bytes data = JoinAvcC({BuildSPS(MakeSPS())}, {BuildPPS(MakePPS())});
    data.pop_back();
    Core::Property const report = Describe(Video::CODEC_ID_H264, data);
    EXPECT_EQ(NamesOf(report), "avcC! SPS");
    EXPECT_EQ(TextOf(report.Children()[0]), "error=avcC header is too small");
    EXPECT_EQ(TextOf(Describe(Video::CODEC_ID_H264, {1}).Children().at(0)), "error=avcC header is too small");
}

TEST(HeaderDescription, BrokenSetsHaveTheReasonAndNoFields) {
    Bytes const data = JoinAnnexB({{0x67, 100, 0, 30}, {0x68}, BuildPPS(MakePPS())});
    Core::Property const report = Describe(Video::CODEC_ID_H264, data);
    EXPECT_EQ(NamesOf(report), "SPS! PPS! PPS");
    EXPECT_EQ(TextOf(report.Children()[0]), "error=Read past the end of data: 1 bits wanted at bit 32, 0 left");
}

TEST(HeaderDescription, MoreStructuresThanTheLimitAreCounted) {
    std::vector<NaluBytes> units(100000, NaluBytes{0x68});
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB(units));
    ASSERT_EQ(report.Children().size(), 257U);
    EXPECT_TRUE(report.Children().back().IsKeyed());
    EXPECT_EQ(report["left_out"].GetInt64(), 100000 - 256);
    units.resize(256);
    EXPECT_FALSE(Describe(Video::CODEC_ID_H264, JoinAnnexB(units)).ChildExists("left_out"));
}

TEST(HeaderDescription, MoreEntriesThanTheLimitAreCounted) {
    H264SPS sps = MakeSPS();
    sps.pic_order_cnt_type = 1;
    sps.num_ref_frames_in_pic_order_cnt_cycle = 5000;
    sps.offset_for_ref_frame.assign(5000, 1);
    Core::Property const report = Describe(Video::CODEC_ID_H264, JoinAnnexB({BuildSPS(sps)}));
    Core::Property const& array = report.Children().at(0)["offset_for_ref_frame"];
    EXPECT_EQ(array.Children().size(), 257U);
    EXPECT_EQ(array["left_out"].GetInt64(), 5000 - 256);
}

TEST(HeaderDescription, MPEG2SequenceHeaderAndExtension) {
    MPEG2Config config;
    config.horizontal_size = 720;
    config.vertical_size = 576;
    config.aspect_ratio_information = 2;
    config.frame_rate_code = 3;
    config.bit_rate_value = 15000;
    config.vbv_buffer_size_value = 112;
    config.load_intra_quantiser_matrix = 1;
    config.intra_quantiser_matrix.fill(9);
    config.sequence_extension = {0, 4, 8, 1, 1, 2, 3, 5, 6, 1, 2, 3};
    Bytes data = BuildMPEG2Header(config);
    Bytes const extension = BuildMPEG2Extension(config.sequence_extension);
    data.insert(data.end(), extension.begin(), extension.end());
    // A sequence display extension and a picture: neither is told.
    for (u8 const byte : {0, 0, 1, 0xB5, 0x23, 5, 0, 0, 1, 0, 0x10}) data.push_back(byte);
    Core::Property const report = Describe(Video::CODEC_ID_MPEG2VIDEO, data);
    EXPECT_EQ(NamesOf(report), "sequence_header sequence_extension");
    std::string matrix = "9";
    for (int i = 1; i < 64; ++i) matrix += " 9";
    EXPECT_EQ(TextOf(report.Children()[0]),
              "horizontal_size_value=720 vertical_size_value=576 aspect_ratio_information=2 frame_rate_code=3 "
              "bit_rate_value=15000 vbv_buffer_size_value=112 constrained_parameters_flag=0 "
              "load_intra_quantiser_matrix=1 intra_quantiser_matrix=[" +
                  matrix + "] load_non_intra_quantiser_matrix=0");
    EXPECT_EQ(TextOf(report.Children()[1]),
              "profile_and_level_indication=72 progressive_sequence=1 chroma_format=1 horizontal_size_extension=2 "
              "vertical_size_extension=3 bit_rate_extension=5 vbv_buffer_size_extension=6 low_delay=1 "
              "frame_rate_extension_n=2 frame_rate_extension_d=3");
}

TEST(HeaderDescription, BrokenMPEG2HeadersHaveTheReason) {
    Core::Property const report =
        Describe(Video::CODEC_ID_MPEG1VIDEO, {0, 0, 1, 0xB3, 0x2D, 0x02, 0x40, 0x20, 0, 0, 1, 0xB5});
    EXPECT_EQ(NamesOf(report), "sequence_header! sequence_extension!");
    EXPECT_EQ(TextOf(report.Children()[0]), "error=Read past the end of data: 18 bits wanted at bit 32, 0 left");
    EXPECT_EQ(TextOf(report.Children()[1]), "error=Read past the end of data: 4 bits wanted at bit 0, 0 left");
}

TEST(HeaderDescription, MPEG4SequenceObjectAndLayer) {
    MPEG4Config config = MakeMPEG4Config();
    config.profile = 15;
    config.level = 1;
    Core::Property const report = Describe(Video::CODEC_ID_MPEG4, BuildMPEG4Config(config, 0));
    EXPECT_EQ(NamesOf(report), "VisualObjectSequence VisualObject VOL");
    EXPECT_EQ(TextOf(report.Children()[0]), "profile_and_level_indication=241");
    EXPECT_EQ(TextOf(report.Children()[1]),
              "visual_object_verid=1 visual_object_priority=1 visual_object_type=1 video_signal_type=0");
    EXPECT_EQ(TextOf(report.Children()[2]),
              "random_accessible_vol=0 video_object_type_indication=1 video_object_layer_verid=1 "
              "video_object_layer_priority=1 aspect_ratio_info=1 vol_control_parameters=0 video_object_layer_shape=0 "
              "vop_time_increment_resolution=25 fixed_vop_rate=0 video_object_layer_width=320 "
              "video_object_layer_height=240 interlaced=0 obmc_disable=1 sprite_enable=0 not_8_bit=0 quant_type=0 "
              "complexity_estimation_disable=1 resync_marker_disable=1 data_partitioned=0 scalability=0");
}

TEST(HeaderDescription, EveryOptionalPartOfAnMPEG4Layer) {
    MPEG4Config config = MakeMPEG4Config();
    MPEG4VOL& vol = config.vol;
    vol.video_object_layer_verid = 2;
    vol.aspect_ratio_info = 15;
    vol.par_width = 4;
    vol.par_height = 3;
    vol.vol_control_parameters = vol.vbv_parameters = 1;
    vol.chroma_format = 1;
    vol.bit_rate = 40000;
    vol.vbv_buffer_size = 100;
    vol.vbv_occupancy = 50000;
    vol.video_object_layer_shape = 3;
    vol.video_object_layer_shape_extension = 2;
    vol.not_8_bit = 1;
    vol.quant_precision = 5;
    vol.bits_per_pixel = 8;
    vol.data_partitioned = vol.newpred_enable = 1;
    Core::Property const report = Describe(Video::CODEC_ID_MPEG4, BuildMPEG4Config(config, 0));
    Core::Property const& out = report.Children().at(2);
    EXPECT_FALSE(out.ChildExists("error"));
    for (auto const& [name, value] :
         std::vector<std::pair<char const*, int64>>{{"par_width", 4},
                                                    {"par_height", 3},
                                                    {"bit_rate", 40000},
                                                    {"vbv_buffer_size", 100},
                                                    {"vbv_occupancy", 50000},
                                                    {"video_object_layer_shape_extension", 2},
                                                    {"sadct_disable", 0},
                                                    {"quant_precision", 5},
                                                    {"bits_per_pixel", 8},
                                                    {"composition_method", 0},
                                                    {"quarter_sample", 0},
                                                    {"reversible_vlc", 0},
                                                    {"requested_upstream_message_type", 0},
                                                    {"reduced_resolution_vop_enable", 0}})
        EXPECT_EQ(out[name].GetInt64(), value) << name;
}

TEST(HeaderDescription, AnMPEG4LayerAloneIsToldAndARefusedOneHasTheReason) {
    MPEG4Config config = MakeMPEG4Config();
    BitWriter alone;
    WriteVOL(alone, config.vol, 0, 0x12F);
    EXPECT_EQ(NamesOf(Describe(Video::CODEC_ID_MPEG4, alone.GetBytes())), "VOL");
    config.vol.sprite_enable = 1;
    BitWriter sprite;
    WriteVOL(sprite, config.vol, 0);
    EXPECT_EQ(TextOf(Describe(Video::CODEC_ID_MPEG4, sprite.GetBytes()).Children().at(0)),
              "error=MPEG-4 sprite parameters in Video Object Layer are not implemented!");
}

// --- HEVC ------------------------------------------------------------------------------------------------------------

TEST(HeaderDescription, HevcSetsOfAnnexB) {
    HEVCVPS vps = MakeHEVCVPS();
    vps.vps_max_sub_layers_minus1 = 1;
    HEVCSPS sps = MakeHEVCSPS(3);
    sps.chroma_format_idc = 3;
    sps.separate_colour_plane_flag = 1;
    sps.conf_win_bottom_offset = 8;
    sps.profile_tier_level.general_profile_compatibility_flags = {0x60, 0, 0, 1};
    sps.profile_tier_level.general_constraint_indicator_flags = {0x90, 0, 0, 0, 0, 0};
    Bytes const data = JoinAnnexB(
        {BuildHEVCVPS(vps), BuildHEVCSPS(sps), BuildHEVCUnit(34, {1, 2, 3}), BuildHEVCUnit(39), BuildHEVCUnit(1)});
    Core::Property const report = Describe(Video::CODEC_ID_H265, data);
    EXPECT_EQ(NamesOf(report), "VPS SPS PPS");
    EXPECT_EQ(report.Children()[0]["vps_max_sub_layers_minus1"].GetInt64(), 1);
    EXPECT_EQ(TextOf(report.Children()[1]),
              "sps_video_parameter_set_id=0 sps_max_sub_layers_minus1=0 sps_temporal_id_nesting_flag=1 "
              "general_profile_space=0 general_tier_flag=0 general_profile_idc=1 general_profile_compatibility_flag="
              "[0 1 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 1] general_progressive_source_flag=1 "
              "general_interlaced_source_flag=0 general_non_packed_constraint_flag=0 "
              "general_frame_only_constraint_flag=1 general_level_idc=90 sps_seq_parameter_set_id=3 "
              "chroma_format_idc=3 separate_colour_plane_flag=1 pic_width_in_luma_samples=640 "
              "pic_height_in_luma_samples=368 conf_win_left_offset=0 conf_win_right_offset=0 conf_win_top_offset=0 "
              "conf_win_bottom_offset=8 bit_depth_luma_minus8=0 bit_depth_chroma_minus8=0");
    EXPECT_EQ(TextOf(report.Children()[2]), "NumBytesInNalUnit=5");
}

TEST(HeaderDescription, HvccTellsItsRecordFirst) {
    HEVCVPS const vps = MakeHEVCVPS();
    HEVCSPS const sps = MakeHEVCSPS();
    Bytes data = JoinHvcC(vps, sps, {{32, {BuildHEVCVPS(vps)}}, {33, {BuildHEVCSPS(sps)}}}, 2);
    Core::Property const report = Describe(Video::CODEC_ID_H265, data);
    EXPECT_EQ(NamesOf(report), "hvcC VPS SPS");
    Core::Property const& record = report.Children()[0];
    EXPECT_EQ(record.Children().size(), 18U);
    for (auto const& [name, value] : std::vector<std::pair<char const*, int64>>{{"configurationVersion", 1},
                                                                                {"general_profile_idc", 1},
                                                                                {"general_level_idc", 90},
                                                                                {"chromaFormat", 1},
                                                                                {"bitDepthLumaMinus8", 0},
                                                                                {"lengthSizeMinusOne", 1},
                                                                                {"numOfArrays", 2}})
        EXPECT_EQ(record[name].GetInt64(), value) << name;
    // A record behind zeros is told as the repaired one.
    data[0] = 0;
    data[1] = 1;
    data[2] = 0x61;
    Core::Property const repaired = Describe(Video::CODEC_ID_H265, data);
    EXPECT_EQ(NamesOf(repaired), "hvcC VPS SPS");
    EXPECT_EQ(repaired.Children()[0]["general_tier_flag"].GetInt64(), 1);
}

TEST(HeaderDescription, BrokenHevcHeadersHaveTheReason) {
    HEVCSPS const sps = MakeHEVCSPS();
    Bytes data = JoinHvcC(MakeHEVCVPS(), sps, {{33, {BuildHEVCSPS(sps)}}, {34, {BuildHEVCUnit(34)}}});
    data.pop_back();
    Core::Property const report = Describe(Video::CODEC_ID_H265, data);
    EXPECT_EQ(NamesOf(report), "hvcC! SPS");
    EXPECT_EQ(TextOf(report.Children()[0]), "error=hvcC header has wrong structure");
    EXPECT_EQ(TextOf(Describe(Video::CODEC_ID_H265, {1}).Children().at(0)), "error=hvcC header is too small");
    EXPECT_EQ(NamesOf(Describe(Video::CODEC_ID_H265, JoinAnnexB({{0x42}, {0x42, 1, 1}}))), "SPS! SPS!");
    for (Bytes const& tooShort : {Bytes{0}, Bytes{0, 0}, Bytes{0, 0, 1}, Bytes{7, 7, 7}})
        EXPECT_EQ(NamesOf(Describe(Video::CODEC_ID_H265, tooShort)), "");
}

// --- AAC -------------------------------------------------------------------------------------------------------------

TEST(HeaderDescription, AudioSpecificConfigOfAac) {
    Core::Property const report = Describe("aac", BuildASC({}));
    EXPECT_EQ(NamesOf(report), "AudioSpecificConfig");
    EXPECT_EQ(TextOf(report.Children()[0]), "audioObjectType=2 samplingFrequencyIndex=4 channelConfiguration=2");
}

TEST(HeaderDescription, ExplicitRateOfAnAudioSpecificConfigIsToldWhole) {
    ASCFields fields;
    fields.samplingIndex = 15;
    fields.explicitRate = 44100;
    EXPECT_EQ(TextOf(Describe("aac", BuildASC(fields)).Children().at(0)),
              "audioObjectType=2 samplingFrequencyIndex=15 samplingFrequency=44100 channelConfiguration=2");
    fields.objectType = 42;
    EXPECT_EQ(Describe("aac", BuildASC(fields)).Children().at(0)["samplingFrequency"].GetInt64(), 44100);
}

TEST(HeaderDescription, AdtsHeaderAndItsPce) {
    ADTSFields fields;
    fields.channelConfiguration = 0;
    fields.frameLength = 300;
    PCEFields pce = MakeSurroundPCE();
    pce.front = {1, 0x12};
    pce.back = {0x13};
    pce.side.clear();
    pce.lfe = {5};
    pce.matrixMixdown = 5;
    pce.comment = {'h', 'i'};
    Core::Property const report = Describe("aac", BuildADTSWithPCE(fields, pce));
    EXPECT_EQ(NamesOf(report), "ADTS PCE");
    EXPECT_EQ(TextOf(report.Children()[0]),
              "syncword=4095 ID=0 layer=0 protection_absent=1 profile_ObjectType=1 sampling_frequency_index=4 "
              "channel_configuration=0 aac_frame_length=300 adts_buffer_fullness=2047 "
              "number_of_raw_data_blocks_in_frame=0");
    EXPECT_EQ(TextOf(report.Children()[1]),
              "element_instance_tag=0 object_type=1 sampling_frequency_index=4 num_front_channel_elements=2 "
              "num_side_channel_elements=0 num_back_channel_elements=1 num_lfe_channel_elements=1 "
              "num_assoc_data_elements=0 num_valid_cc_elements=0 mono_mixdown_present=0 stereo_mixdown_present=0 "
              "matrix_mixdown_idx_present=1 matrix_mixdown_idx=2 pseudo_surround_enable=1 front_element_is_cpe=[0 1] "
              "front_element_tag_select=[1 2] back_element_is_cpe=[1] back_element_tag_select=[3] "
              "lfe_element_tag_select=[5] comment_field_bytes=2");
}

TEST(HeaderDescription, BrokenAacHeadersHaveTheReason) {
    EXPECT_EQ(TextOf(Describe("aac", {0xFF, 0xF1}).Children().at(0)),
              "error=Read past the end of data: 2 bits wanted at bit 16, 0 left");
    ASCFields fields;
    fields.channelConfiguration = 8;
    EXPECT_EQ(TextOf(Describe("aac", BuildASC(fields)).Children().at(0)), "error=Invalid channel configuration");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
