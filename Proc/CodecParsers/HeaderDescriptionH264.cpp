// Field names are those of ITU-T H.264 and ISO/IEC 14496-15; a field that a header doesn't hold isn't told.

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HeaderFields.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

void DescribeHRD(HeaderFields& out, H264HRD const& hrd) {
    out.Field("cpb_cnt_minus1", hrd.cpb_cnt_minus1)
        .Field("bit_rate_scale", hrd.bit_rate_scale)
        .Field("cpb_size_scale", hrd.cpb_size_scale)
        .Array("bit_rate_value_minus1", hrd.bit_rate_value_minus1)
        .Array("cpb_size_value_minus1", hrd.cpb_size_value_minus1)
        .Array("cbr_flag", hrd.cbr_flag)
        .Field("initial_cpb_removal_delay_length_minus1", hrd.initial_cpb_removal_delay_length_minus1)
        .Field("cpb_removal_delay_length_minus1", hrd.cpb_removal_delay_length_minus1)
        .Field("dpb_output_delay_length_minus1", hrd.dpb_output_delay_length_minus1)
        .Field("time_offset_length", hrd.time_offset_length);
}

void DescribeVUIDisplay(HeaderFields& out, H264VUI const& vui) {
    constexpr u8 EXTENDED_SAR = 255;
    out.Field("aspect_ratio_info_present_flag", vui.aspect_ratio_info_present_flag);
    if (vui.aspect_ratio_info_present_flag) {
        out.Field("aspect_ratio_idc", vui.aspect_ratio_idc);
        if (vui.aspect_ratio_idc == EXTENDED_SAR)
            out.Field("sar_width", vui.sar_width).Field("sar_height", vui.sar_height);
    }
    out.Field("overscan_info_present_flag", vui.overscan_info_present_flag);
    if (vui.overscan_info_present_flag) out.Field("overscan_appropriate_flag", vui.overscan_appropriate_flag);
    out.Field("video_signal_type_present_flag", vui.video_signal_type_present_flag);
    if (vui.video_signal_type_present_flag) {
        out.Field("video_format", vui.video_format)
            .Field("video_full_range_flag", vui.video_full_range_flag)
            .Field("colour_description_present_flag", vui.colour_description_present_flag);
        if (vui.colour_description_present_flag)
            out.Field("colour_primaries", vui.colour[0])
                .Field("transfer_characteristics", vui.colour[1])
                .Field("matrix_coefficients", vui.colour[2]);
    }
    out.Field("chroma_loc_info_present_flag", vui.chroma_loc_info_present_flag);
    if (vui.chroma_loc_info_present_flag)
        out.Field("chroma_sample_loc_type_top_field", vui.chroma_sample_loc_type_top_field)
            .Field("chroma_sample_loc_type_bottom_field", vui.chroma_sample_loc_type_bottom_field);
}

void DescribeVUI(HeaderFields& out, H264VUI const& vui) {
    DescribeVUIDisplay(out, vui);
    out.Field("timing_info_present_flag", vui.timing_info_present_flag);
    if (vui.timing_info_present_flag)
        out.Field("num_units_in_tick", vui.num_units_in_tick)
            .Field("time_scale", vui.time_scale)
            .Field("fixed_frame_rate_flag", vui.fixed_frame_rate_flag);
    out.Field("nal_hrd_parameters_present_flag", vui.nal_hrd_parameters_present_flag);
    if (vui.nal_hrd_parameters_present_flag)
        out.Structure("nal_hrd", [&](HeaderFields& inner) { DescribeHRD(inner, vui.nal_hrd); });
    out.Field("vcl_hrd_parameters_present_flag", vui.vcl_hrd_parameters_present_flag);
    if (vui.vcl_hrd_parameters_present_flag)
        out.Structure("vcl_hrd", [&](HeaderFields& inner) { DescribeHRD(inner, vui.vcl_hrd); });
    if (vui.nal_hrd_parameters_present_flag || vui.vcl_hrd_parameters_present_flag)
        out.Field("low_delay_hrd_flag", vui.low_delay_hrd_flag);
    out.Field("pic_struct_present_flag", vui.pic_struct_present_flag)
        .Field("bitstream_restriction_flag", vui.bitstream_restriction_flag);
    if (vui.bitstream_restriction_flag)
        out.Field("motion_vectors_over_pic_boundaries_flag", vui.motion_vectors_over_pic_boundaries_flag)
            .Field("max_bytes_per_pic_denom", vui.max_bytes_per_pic_denom)
            .Field("max_bits_per_mb_denom", vui.max_bits_per_mb_denom)
            .Field("log2_max_mv_length_horizontal", vui.log2_max_mv_length_horizontal)
            .Field("log2_max_mv_length_vertical", vui.log2_max_mv_length_vertical)
            .Field("max_num_reorder_frames", vui.max_num_reorder_frames)
            .Field("max_dec_frame_buffering", vui.max_dec_frame_buffering);
}

void DescribeProfile(HeaderFields& out, H264SPS const& sps) {
    out.Field("profile_idc", sps.profile_idc)
        .Field("constraint_set0_flag", sps.constraint_set0_flag)
        .Field("constraint_set1_flag", sps.constraint_set1_flag)
        .Field("constraint_set2_flag", sps.constraint_set2_flag)
        .Field("constraint_set3_flag", sps.constraint_set3_flag)
        .Field("level_idc", sps.level_idc)
        .Field("seq_parameter_set_id", sps.seq_parameter_set_id);
    // Told with the value that the standard infers where the profile has no such field.
    out.Field("chroma_format_idc", sps.chroma_format_idc);
    if (!HasH264ChromaFields(sps.profile_idc)) return;
    if (sps.chroma_format_idc == 3) out.Field("separate_colour_plane_flag", sps.separate_colour_plane_flag);
    out.Field("bit_depth_luma_minus8", sps.bit_depth_luma_minus8)
        .Field("bit_depth_chroma_minus8", sps.bit_depth_chroma_minus8)
        .Field("qpprime_y_zero_transform_bypass_flag", sps.qpprime_y_zero_transform_bypass_flag)
        .Field("seq_scaling_matrix_present_flag", sps.seq_scaling_matrix_present_flag);
    if (sps.seq_scaling_matrix_present_flag)
        out.Array("ScalingList4x4", sps.ScalingList4x4).Array("ScalingList8x8", sps.ScalingList8x8);
}

void DescribePictureOrderCount(HeaderFields& out, H264SPS const& sps) {
    out.Field("pic_order_cnt_type", sps.pic_order_cnt_type);
    if (sps.pic_order_cnt_type == 0)
        out.Field("log2_max_pic_order_cnt_lsb_minus4", sps.log2_max_pic_order_cnt_lsb_minus4);
    if (sps.pic_order_cnt_type == 1)
        out.Field("delta_pic_order_always_zero_flag", sps.delta_pic_order_always_zero_flag)
            .Field("offset_for_non_ref_pic", sps.offset_for_non_ref_pic)
            .Field("offset_for_top_to_bottom_field", sps.offset_for_top_to_bottom_field)
            .Field("num_ref_frames_in_pic_order_cnt_cycle", sps.num_ref_frames_in_pic_order_cnt_cycle)
            .Array("offset_for_ref_frame", sps.offset_for_ref_frame);
}

void DescribeSPS(HeaderFields& out, H264SPS const& sps) {
    DescribeProfile(out, sps);
    out.Field("log2_max_frame_num_minus4", sps.log2_max_frame_num_minus4);
    DescribePictureOrderCount(out, sps);
    out.Field("max_num_ref_frames", sps.max_num_ref_frames)
        .Field("gaps_in_frame_num_value_allowed_flag", sps.gaps_in_frame_num_value_allowed_flag)
        .Field("pic_width_in_mbs_minus1", sps.pic_width_in_mbs_minus1)
        .Field("pic_height_in_map_units_minus1", sps.pic_height_in_map_units_minus1)
        .Field("frame_mbs_only_flag", sps.frame_mbs_only_flag);
    if (!sps.frame_mbs_only_flag) out.Field("mb_adaptive_frame_field_flag", sps.mb_adaptive_frame_field_flag);
    out.Field("direct_8x8_inference_flag", sps.direct_8x8_inference_flag)
        .Field("frame_cropping_flag", sps.frame_cropping_flag);
    if (sps.frame_cropping_flag)
        out.Field("frame_crop_left_offset", sps.frame_crop_left_offset)
            .Field("frame_crop_right_offset", sps.frame_crop_right_offset)
            .Field("frame_crop_top_offset", sps.frame_crop_top_offset)
            .Field("frame_crop_bottom_offset", sps.frame_crop_bottom_offset);
    out.Field("vui_parameters_present_flag", sps.vui_parameters_present_flag);
    if (sps.vui_parameters_present_flag)
        out.Structure("vui", [&](HeaderFields& inner) { DescribeVUI(inner, sps.vui); });
}

void DescribeSliceGroups(HeaderFields& out, H264PPS const& pps) {
    out.Field("slice_group_map_type", pps.slice_group_map_type);
    switch (pps.slice_group_map_type) {
        case 0:
            out.Array("run_length_minus1", pps.run_length_minus1);
            break;
        case 2:
            out.Array("top_left", pps.top_left).Array("bottom_right", pps.bottom_right);
            break;
        case 3:
        case 4:
        case 5:
            out.Field("slice_group_change_direction_flag", pps.slice_group_change_direction_flag)
                .Field("slice_group_change_rate_minus1", pps.slice_group_change_rate_minus1);
            break;
        case 6:
            out.Field("pic_size_in_map_units_minus1", pps.pic_size_in_map_units_minus1)
                .Array("slice_group_id", pps.slice_group_id);
            break;
        default:
            break;
    }
}

void DescribePPS(HeaderFields& out, H264PPS const& pps) {
    out.Field("pic_parameter_set_id", pps.pic_parameter_set_id)
        .Field("seq_parameter_set_id", pps.seq_parameter_set_id)
        .Field("entropy_coding_mode_flag", pps.entropy_coding_mode_flag)
        .Field("bottom_field_pic_order_in_frame_present_flag", pps.bottom_field_pic_order_in_frame_present_flag)
        .Field("num_slice_groups_minus1", pps.num_slice_groups_minus1);
    if (pps.num_slice_groups_minus1 > 0) DescribeSliceGroups(out, pps);
    out.Field("num_ref_idx_l0_default_active_minus1", pps.num_ref_idx_l0_default_active_minus1)
        .Field("num_ref_idx_l1_default_active_minus1", pps.num_ref_idx_l1_default_active_minus1)
        .Field("weighted_pred_flag", pps.weighted_pred_flag)
        .Field("weighted_bipred_idc", pps.weighted_bipred_idc)
        .Field("pic_init_qp_minus26", pps.pic_init_qp_minus26)
        .Field("pic_init_qs_minus26", pps.pic_init_qs_minus26)
        .Field("chroma_qp_index_offset", pps.chroma_qp_index_offset)
        .Field("deblocking_filter_control_present_flag", pps.deblocking_filter_control_present_flag)
        .Field("constrained_intra_pred_flag", pps.constrained_intra_pred_flag)
        .Field("redundant_pic_cnt_present_flag", pps.redundant_pic_cnt_present_flag);
}

// AVCDecoderConfigurationRecord, ISO/IEC 14496-15, 5.3.3.1.2. `units` gets its parameter sets.
void DescribeAvcC(HeaderFields& out, u8 const* data, std::size_t size, NaluRangeList& units) {
    FindAvccHeaderNalus(data, size, units);
    unsigned const spsCount = data[5] & 31U;
    NaluRange const* const last = units.empty() ? nullptr : &units.back();
    std::size_t const ppsCount = units.size() - spsCount;
    out.Field("configurationVersion", data[0])
        .Field("AVCProfileIndication", data[1])
        .Field("profile_compatibility", data[2])
        .Field("AVCLevelIndication", data[3])
        .Field("lengthSizeMinusOne", data[4] & 3)
        .Field("numOfSequenceParameterSets", spsCount)
        .Field("numOfPictureParameterSets", static_cast<int64>(ppsCount));
    // The fields of all profiles but the first three, which many writers leave out. Without a PPS its count is the last
    // byte read.
    std::size_t tail = 7;
    if (last) tail = static_cast<std::size_t>(last->data - data) + last->size + (ppsCount == 0 ? 1 : 0);
    constexpr std::size_t TAIL_SIZE = 4;
    u8 const profile = data[1];
    if (profile == 66 || profile == 77 || profile == 88 || size - tail < TAIL_SIZE) return;
    out.Field("chroma_format", data[tail] & 3)
        .Field("bit_depth_luma_minus8", data[tail + 1] & 7)
        .Field("bit_depth_chroma_minus8", data[tail + 2] & 7)
        .Field("numOfSequenceParameterSetExt", data[tail + 3]);
}

}  // namespace

void DescribeH264(u8 const* data, std::size_t size, HeaderStructures& out) {
    NaluRangeList units;
    if (IsAvcCHeader(data, size))
        // Of a broken record the sets in front of the damage are still told.
        out.Add("avcC", [&](HeaderFields& fields) { DescribeAvcC(fields, data, size, units); });
    else
        FindAnnexBNalus(data, size, units);
    for (NaluRange const& unit : units) {
        if (unit.size == 0) continue;
        u32 const type = GetH264NaluType(unit);
        if (type == H264_NALU_SPS)
            out.Add("SPS", [&](HeaderFields& fields) { DescribeSPS(fields, DecodeH264SPSUnit(unit)); });
        if (type == H264_NALU_PPS)
            out.Add("PPS", [&](HeaderFields& fields) { DescribePPS(fields, DecodeH264PPSUnit(unit)); });
    }
}

}  // namespace Tarsel::Proc::CodecParsers
