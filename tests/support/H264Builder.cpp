#include "tests/support/H264Builder.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "tests/support/BitWriter.h"

namespace Tarsel::TestSupport {

using namespace Proc::CodecParsers;

namespace {

void Append(std::vector<u8>& out, std::vector<u8> const& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void AppendBigEndian(std::vector<u8>& out, u64 value, int count) {
    while (count != 0) out.push_back(static_cast<u8>(value >> (8 * --count)));
}

void WriteHRD(BitWriter& out, H264HRD const& hrd) {
    out.UE(hrd.cpb_cnt_minus1).Bits(hrd.bit_rate_scale, 4).Bits(hrd.cpb_size_scale, 4);
    for (std::size_t i = 0; i < hrd.bit_rate_value_minus1.size(); ++i)
        out.UE(hrd.bit_rate_value_minus1[i]).UE(hrd.cpb_size_value_minus1[i]).Flag(hrd.cbr_flag[i]);
    out.Bits(hrd.initial_cpb_removal_delay_length_minus1, 5).Bits(hrd.cpb_removal_delay_length_minus1, 5);
    out.Bits(hrd.dpb_output_delay_length_minus1, 5).Bits(hrd.time_offset_length, 5);
}

void WriteVUI(BitWriter& out, H264VUI const& vui) {
    out.Flag(vui.aspect_ratio_info_present_flag);
    if (vui.aspect_ratio_info_present_flag) {
        out.Bits(vui.aspect_ratio_idc, 8);
        if (vui.aspect_ratio_idc == 255) out.Bits(vui.sar_width, 16).Bits(vui.sar_height, 16);
    }
    out.Flag(vui.overscan_info_present_flag);
    if (vui.overscan_info_present_flag) out.Flag(vui.overscan_appropriate_flag);
    out.Flag(vui.video_signal_type_present_flag);
    if (vui.video_signal_type_present_flag) {
        out.Bits(vui.video_format, 3).Flag(vui.video_full_range_flag).Flag(vui.colour_description_present_flag);
        if (vui.colour_description_present_flag)
            for (u8 const value : vui.colour) out.Bits(value, 8);
    }
    out.Flag(vui.chroma_loc_info_present_flag);
    if (vui.chroma_loc_info_present_flag)
        out.UE(vui.chroma_sample_loc_type_top_field).UE(vui.chroma_sample_loc_type_bottom_field);
    out.Flag(vui.timing_info_present_flag);
    if (vui.timing_info_present_flag)
        out.Bits(vui.num_units_in_tick, 32).Bits(vui.time_scale, 32).Flag(vui.fixed_frame_rate_flag);
    out.Flag(vui.nal_hrd_parameters_present_flag);
    if (vui.nal_hrd_parameters_present_flag) WriteHRD(out, vui.nal_hrd);
    out.Flag(vui.vcl_hrd_parameters_present_flag);
    if (vui.vcl_hrd_parameters_present_flag) WriteHRD(out, vui.vcl_hrd);
    if (vui.nal_hrd_parameters_present_flag || vui.vcl_hrd_parameters_present_flag) out.Flag(vui.low_delay_hrd_flag);
    out.Flag(vui.pic_struct_present_flag).Flag(vui.bitstream_restriction_flag);
    if (vui.bitstream_restriction_flag) {
        out.Flag(vui.motion_vectors_over_pic_boundaries_flag);
        out.UE(vui.max_bytes_per_pic_denom).UE(vui.max_bits_per_mb_denom);
        out.UE(vui.log2_max_mv_length_horizontal).UE(vui.log2_max_mv_length_vertical);
        out.UE(vui.max_num_reorder_frames).UE(vui.max_dec_frame_buffering);
    }
}

void WriteChroma(BitWriter& out, H264SPS const& sps, std::vector<CodedScalingList> const& lists) {
    static constexpr u8 PROFILES[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 144};
    if (std::find(std::begin(PROFILES), std::end(PROFILES), sps.profile_idc) == std::end(PROFILES)) return;
    out.UE(sps.chroma_format_idc);
    if (sps.chroma_format_idc == 3) out.Flag(sps.separate_colour_plane_flag);
    out.UE(sps.bit_depth_luma_minus8).UE(sps.bit_depth_chroma_minus8);
    out.Flag(sps.qpprime_y_zero_transform_bypass_flag).Flag(sps.seq_scaling_matrix_present_flag);
    if (!sps.seq_scaling_matrix_present_flag) return;
    for (CodedScalingList const& list : lists) {
        out.Flag(list.present);
        if (list.present)
            for (i32 const delta : list.deltas) out.SE(delta);
    }
}

void WriteSliceGroups(BitWriter& out, H264PPS const& pps) {
    out.UE(pps.slice_group_map_type);
    for (u32 const run : pps.run_length_minus1) out.UE(run);
    for (std::size_t i = 0; i < pps.top_left.size(); ++i) out.UE(pps.top_left[i]).UE(pps.bottom_right[i]);
    if (pps.slice_group_map_type >= 3 && pps.slice_group_map_type <= 5)
        out.Flag(pps.slice_group_change_direction_flag).UE(pps.slice_group_change_rate_minus1);
    if (pps.slice_group_map_type == 6) {
        out.UE(pps.pic_size_in_map_units_minus1);
        for (u32 const id : pps.slice_group_id)
            out.Bits(id, static_cast<unsigned>(std::bit_width(pps.num_slice_groups_minus1)));
    }
}

}  // namespace

NaluBytes BuildSPS(H264SPS const& sps, std::vector<CodedScalingList> const& lists) {
    BitWriter out;
    out.Bits(0x67, 8).Bits(sps.profile_idc, 8);
    out.Flag(sps.constraint_set0_flag).Flag(sps.constraint_set1_flag);
    out.Flag(sps.constraint_set2_flag).Flag(sps.constraint_set3_flag);
    out.Bits(0, 4).Bits(sps.level_idc, 8).UE(sps.seq_parameter_set_id);
    WriteChroma(out, sps, lists);
    out.UE(sps.log2_max_frame_num_minus4).UE(sps.pic_order_cnt_type);
    if (sps.pic_order_cnt_type == 0) out.UE(sps.log2_max_pic_order_cnt_lsb_minus4);
    if (sps.pic_order_cnt_type == 1) {
        out.Flag(sps.delta_pic_order_always_zero_flag).SE(sps.offset_for_non_ref_pic);
        out.SE(sps.offset_for_top_to_bottom_field).UE(sps.num_ref_frames_in_pic_order_cnt_cycle);
        for (i32 const offset : sps.offset_for_ref_frame) out.SE(offset);
    }
    out.UE(sps.max_num_ref_frames).Flag(sps.gaps_in_frame_num_value_allowed_flag);
    out.UE(sps.pic_width_in_mbs_minus1).UE(sps.pic_height_in_map_units_minus1).Flag(sps.frame_mbs_only_flag);
    if (!sps.frame_mbs_only_flag) out.Flag(sps.mb_adaptive_frame_field_flag);
    out.Flag(sps.direct_8x8_inference_flag).Flag(sps.frame_cropping_flag);
    if (sps.frame_cropping_flag)
        out.UE(sps.frame_crop_left_offset)
            .UE(sps.frame_crop_right_offset)
            .UE(sps.frame_crop_top_offset)
            .UE(sps.frame_crop_bottom_offset);
    out.Flag(sps.vui_parameters_present_flag);
    if (sps.vui_parameters_present_flag) WriteVUI(out, sps.vui);
    out.TrailingBits();
    return AddEmulationPrevention(out.GetBytes());
}

NaluBytes BuildPPS(H264PPS const& pps) {
    BitWriter out;
    out.Bits(0x68, 8).UE(pps.pic_parameter_set_id).UE(pps.seq_parameter_set_id);
    out.Flag(pps.entropy_coding_mode_flag).Flag(pps.bottom_field_pic_order_in_frame_present_flag);
    out.UE(pps.num_slice_groups_minus1);
    if (pps.num_slice_groups_minus1 > 0) WriteSliceGroups(out, pps);
    out.UE(pps.num_ref_idx_l0_default_active_minus1).UE(pps.num_ref_idx_l1_default_active_minus1);
    out.Flag(pps.weighted_pred_flag).Bits(pps.weighted_bipred_idc, 2);
    out.SE(pps.pic_init_qp_minus26).SE(pps.pic_init_qs_minus26).SE(pps.chroma_qp_index_offset);
    out.Flag(pps.deblocking_filter_control_present_flag).Flag(pps.constrained_intra_pred_flag);
    out.Flag(pps.redundant_pic_cnt_present_flag).TrailingBits();
    return AddEmulationPrevention(out.GetBytes());
}

NaluBytes BuildSlice(u32 type, u32 sliceType, std::size_t dataBytes) {
    BitWriter out;
    out.Bits(0x60 | type, 8).UE(0).UE(sliceType).UE(0).TrailingBits();
    NaluBytes bytes = out.GetBytes();
    for (std::size_t i = 0; i < dataBytes; ++i) bytes.push_back(static_cast<u8>(0x80 | i));
    return bytes;
}

H264SPS MakeSPS(u32 id) {
    H264SPS sps;
    sps.profile_idc = 100;
    sps.level_idc = 30;
    sps.seq_parameter_set_id = id;
    sps.chroma_format_idc = 1;
    for (auto& list : sps.ScalingList4x4) list.fill(16);
    for (auto& list : sps.ScalingList8x8) list.fill(16);
    sps.log2_max_pic_order_cnt_lsb_minus4 = 2;
    sps.max_num_ref_frames = 4;
    sps.pic_width_in_mbs_minus1 = 39;
    sps.pic_height_in_map_units_minus1 = 22;
    sps.frame_mbs_only_flag = 1;
    sps.direct_8x8_inference_flag = 1;
    sps.frame_cropping_flag = 1;
    sps.frame_crop_bottom_offset = 4;
    return sps;
}

H264PPS MakePPS(u32 id, u32 spsId) {
    H264PPS pps;
    pps.pic_parameter_set_id = id;
    pps.seq_parameter_set_id = spsId;
    pps.entropy_coding_mode_flag = 1;
    pps.num_ref_idx_l0_default_active_minus1 = 2;
    pps.weighted_pred_flag = 1;
    pps.weighted_bipred_idc = 2;
    pps.pic_init_qp_minus26 = -3;
    pps.chroma_qp_index_offset = -2;
    pps.deblocking_filter_control_present_flag = 1;
    return pps;
}

std::vector<u8> JoinAnnexB(std::vector<NaluBytes> const& units) {
    std::vector<u8> result;
    for (NaluBytes const& unit : units) {
        Append(result, {0, 0, 0, 1});
        Append(result, unit);
    }
    return result;
}

std::vector<u8> JoinMP4(std::vector<NaluBytes> const& units, int lengthSize) {
    std::vector<u8> result;
    for (NaluBytes const& unit : units) {
        AppendBigEndian(result, unit.size(), lengthSize);
        Append(result, unit);
    }
    return result;
}

std::vector<u8> JoinAvcC(std::vector<NaluBytes> const& sps, std::vector<NaluBytes> const& pps, int lengthSize,
                         std::vector<u8> const& tail) {
    std::vector<u8> result = {1, 100, 0, 30, static_cast<u8>(0xFC | (lengthSize - 1))};
    result.push_back(static_cast<u8>(0xE0 | sps.size()));
    Append(result, JoinMP4(sps, 2));
    result.push_back(static_cast<u8>(pps.size()));
    Append(result, JoinMP4(pps, 2));
    Append(result, tail);
    return result;
}

}  // namespace Tarsel::TestSupport
