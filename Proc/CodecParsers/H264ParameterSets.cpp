#include <algorithm>
#include <bit>
#include <iterator>

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264ScalingLists.h"
#include "Proc/CodecParsers/NaluPayload.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

bool HasH264ChromaFields(u8 profile) {
    constexpr u8 PROFILES[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 144};
    return std::find(std::begin(PROFILES), std::end(PROFILES), profile) != std::end(PROFILES);
}

namespace {

// hrd_parameters(), E.1.2.
void ReadHRD(Core::DataBitInput& in, H264HRD& hrd) {
    hrd.cpb_cnt_minus1 = ReadUE(in);
    hrd.bit_rate_scale = ReadU8(in, 4);
    hrd.cpb_size_scale = ReadU8(in, 4);
    u64 const rounds = u64{hrd.cpb_cnt_minus1} + 1;
    RequireEntries(in, rounds, 3, "cpb_cnt_minus1");
    for (u64 i = 0; i < rounds; ++i) {
        hrd.bit_rate_value_minus1.push_back(ReadUE(in));
        hrd.cpb_size_value_minus1.push_back(ReadUE(in));
        hrd.cbr_flag.push_back(ReadU8(in, 1));
    }
    hrd.initial_cpb_removal_delay_length_minus1 = ReadU8(in, 5);
    hrd.cpb_removal_delay_length_minus1 = ReadU8(in, 5);
    hrd.dpb_output_delay_length_minus1 = ReadU8(in, 5);
    hrd.time_offset_length = ReadU8(in, 5);
}

// The VUI's fields on how pictures are shown: from aspect_ratio_info_present_flag to the chroma location.
void ReadVUIDisplay(Core::DataBitInput& in, H264VUI& vui) {
    constexpr u8 EXTENDED_SAR = 255;
    vui.aspect_ratio_info_present_flag = ReadU8(in, 1);
    if (vui.aspect_ratio_info_present_flag) {
        vui.aspect_ratio_idc = ReadU8(in, 8);
        if (vui.aspect_ratio_idc == EXTENDED_SAR) {
            vui.sar_width = static_cast<u16>(in.ReadBits(16));
            vui.sar_height = static_cast<u16>(in.ReadBits(16));
        }
    }
    vui.overscan_info_present_flag = ReadU8(in, 1);
    if (vui.overscan_info_present_flag) vui.overscan_appropriate_flag = ReadU8(in, 1);
    vui.video_signal_type_present_flag = ReadU8(in, 1);
    if (vui.video_signal_type_present_flag) {
        vui.video_format = ReadU8(in, 3);
        vui.video_full_range_flag = ReadU8(in, 1);
        vui.colour_description_present_flag = ReadU8(in, 1);
        if (vui.colour_description_present_flag)
            for (u8& value : vui.colour) value = ReadU8(in, 8);
    }
    vui.chroma_loc_info_present_flag = ReadU8(in, 1);
    if (vui.chroma_loc_info_present_flag) {
        vui.chroma_sample_loc_type_top_field = ReadUE(in);
        vui.chroma_sample_loc_type_bottom_field = ReadUE(in);
    }
}

// vui_parameters(), E.1.1.
void ReadVUI(Core::DataBitInput& in, H264VUI& vui) {
    ReadVUIDisplay(in, vui);
    vui.timing_info_present_flag = ReadU8(in, 1);
    if (vui.timing_info_present_flag) {
        vui.num_units_in_tick = static_cast<u32>(in.ReadBits(32));
        vui.time_scale = static_cast<u32>(in.ReadBits(32));
        vui.fixed_frame_rate_flag = ReadU8(in, 1);
    }
    vui.nal_hrd_parameters_present_flag = ReadU8(in, 1);
    if (vui.nal_hrd_parameters_present_flag) ReadHRD(in, vui.nal_hrd);
    vui.vcl_hrd_parameters_present_flag = ReadU8(in, 1);
    if (vui.vcl_hrd_parameters_present_flag) ReadHRD(in, vui.vcl_hrd);
    if (vui.nal_hrd_parameters_present_flag || vui.vcl_hrd_parameters_present_flag)
        vui.low_delay_hrd_flag = ReadU8(in, 1);
    vui.pic_struct_present_flag = ReadU8(in, 1);
    vui.bitstream_restriction_flag = ReadU8(in, 1);
    if (vui.bitstream_restriction_flag) {
        vui.motion_vectors_over_pic_boundaries_flag = ReadU8(in, 1);
        vui.max_bytes_per_pic_denom = ReadUE(in);
        vui.max_bits_per_mb_denom = ReadUE(in);
        vui.log2_max_mv_length_horizontal = ReadUE(in);
        vui.log2_max_mv_length_vertical = ReadUE(in);
        vui.max_num_reorder_frames = ReadUE(in);
        vui.max_dec_frame_buffering = ReadUE(in);
    }
}

void ReadProfile(Core::DataBitInput& in, H264SPS& sps) {
    sps.profile_idc = ReadU8(in, 8);
    sps.constraint_set0_flag = ReadU8(in, 1);
    sps.constraint_set1_flag = ReadU8(in, 1);
    sps.constraint_set2_flag = ReadU8(in, 1);
    sps.constraint_set3_flag = ReadU8(in, 1);
    in.ReadBits(4);  // constraint_set4_flag, constraint_set5_flag, reserved_zero_2bits
    sps.level_idc = ReadU8(in, 8);
    sps.seq_parameter_set_id = ReadUE(in);
}

void ReadChroma(Core::DataBitInput& in, H264SPS& sps) {
    if (!HasH264ChromaFields(sps.profile_idc)) {
        sps.chroma_format_idc = 1;
        FillFlatScalingLists(sps);
        return;
    }
    sps.chroma_format_idc = static_cast<u8>(ReadUE(in));
    if (sps.chroma_format_idc == 3) sps.separate_colour_plane_flag = ReadU8(in, 1);
    sps.bit_depth_luma_minus8 = static_cast<u8>(ReadUE(in));
    sps.bit_depth_chroma_minus8 = static_cast<u8>(ReadUE(in));
    sps.qpprime_y_zero_transform_bypass_flag = ReadU8(in, 1);
    sps.seq_scaling_matrix_present_flag = ReadU8(in, 1);
    if (sps.seq_scaling_matrix_present_flag)
        ReadScalingLists(in, sps);
    else
        FillFlatScalingLists(sps);
}

void ReadPictureOrderCount(Core::DataBitInput& in, H264SPS& sps) {
    sps.pic_order_cnt_type = ReadUE(in);
    if (sps.pic_order_cnt_type == 0) {
        sps.log2_max_pic_order_cnt_lsb_minus4 = ReadUE(in);
    } else if (sps.pic_order_cnt_type == 1) {
        sps.delta_pic_order_always_zero_flag = ReadU8(in, 1);
        sps.offset_for_non_ref_pic = ReadSE(in);
        sps.offset_for_top_to_bottom_field = ReadSE(in);
        sps.num_ref_frames_in_pic_order_cnt_cycle = ReadUE(in);
        RequireEntries(in, sps.num_ref_frames_in_pic_order_cnt_cycle, 1, "num_ref_frames_in_pic_order_cnt_cycle");
        sps.offset_for_ref_frame.resize(sps.num_ref_frames_in_pic_order_cnt_cycle);
        for (i32& offset : sps.offset_for_ref_frame) offset = ReadSE(in);
    }
}

void ReadPictureSize(Core::DataBitInput& in, H264SPS& sps) {
    sps.pic_width_in_mbs_minus1 = ReadUE(in);
    sps.pic_height_in_map_units_minus1 = ReadUE(in);
    sps.frame_mbs_only_flag = ReadU8(in, 1);
    if (!sps.frame_mbs_only_flag) sps.mb_adaptive_frame_field_flag = ReadU8(in, 1);
    sps.direct_8x8_inference_flag = ReadU8(in, 1);
    sps.frame_cropping_flag = ReadU8(in, 1);
    if (sps.frame_cropping_flag) {
        sps.frame_crop_left_offset = ReadUE(in);
        sps.frame_crop_right_offset = ReadUE(in);
        sps.frame_crop_top_offset = ReadUE(in);
        sps.frame_crop_bottom_offset = ReadUE(in);
    }
}

// The part of a PPS that hangs on num_slice_groups_minus1 above 0.
void ReadSliceGroups(Core::DataBitInput& in, H264PPS& pps) {
    u64 const groups = u64{pps.num_slice_groups_minus1} + 1;
    pps.slice_group_map_type = ReadUE(in);
    switch (pps.slice_group_map_type) {
        case 0:
            RequireEntries(in, groups, 1, "num_slice_groups_minus1");
            for (u64 i = 0; i < groups; ++i) pps.run_length_minus1.push_back(ReadUE(in));
            break;
        case 2:
            // Meant: one pair for each group, the background too, which is one more than the standard's syntax has.
            RequireEntries(in, groups, 2, "num_slice_groups_minus1");
            for (u64 i = 0; i < groups; ++i) {
                pps.top_left.push_back(ReadUE(in));
                pps.bottom_right.push_back(ReadUE(in));
            }
            break;
        case 3:
        case 4:
        case 5:
            pps.slice_group_change_direction_flag = ReadU8(in, 1);
            pps.slice_group_change_rate_minus1 = ReadUE(in);
            break;
        case 6: {
            pps.pic_size_in_map_units_minus1 = ReadUE(in);
            // Ceil(Log2(groups)): num_slice_groups_minus1 is at least 1 here, so at least one bit.
            unsigned const bits = static_cast<unsigned>(std::bit_width(pps.num_slice_groups_minus1));
            u64 const units = u64{pps.pic_size_in_map_units_minus1} + 1;
            RequireEntries(in, units, bits, "pic_size_in_map_units_minus1");
            for (u64 i = 0; i < units; ++i) pps.slice_group_id.push_back(static_cast<u32>(in.ReadBits(bits)));
            break;
        }
        default:
            break;
    }
}

constexpr unsigned H264_NAL_HEADER_BITS = 8;

}  // namespace

H264SPS DecodeH264SPS(u8 const* extradataData, std::size_t extradataSize) {
    return DecodeH264SPSUnit(GetFirstNaluOfType(extradataData, extradataSize, H264_NALU_SPS));
}

H264PPS DecodeH264PPS(u8 const* extradataData, std::size_t extradataSize) {
    return DecodeH264PPSUnit(GetFirstNaluOfType(extradataData, extradataSize, H264_NALU_PPS));
}

H264SPS DecodeH264SPSUnit(NaluRange const& unit) {
    NaluPayload payload(unit, H264_NAL_HEADER_BITS);
    Core::DataBitInput& in = payload.GetInput();
    H264SPS sps;
    ReadProfile(in, sps);
    ReadChroma(in, sps);
    sps.log2_max_frame_num_minus4 = ReadUE(in);
    ReadPictureOrderCount(in, sps);
    sps.max_num_ref_frames = ReadUE(in);
    sps.gaps_in_frame_num_value_allowed_flag = ReadU8(in, 1);
    ReadPictureSize(in, sps);
    sps.vui_parameters_present_flag = ReadU8(in, 1);
    if (sps.vui_parameters_present_flag) ReadVUI(in, sps.vui);
    return sps;
}

H264PPS DecodeH264PPSUnit(NaluRange const& unit) {
    NaluPayload payload(unit, H264_NAL_HEADER_BITS);
    Core::DataBitInput& in = payload.GetInput();
    H264PPS pps;
    pps.pic_parameter_set_id = ReadUE(in);
    pps.seq_parameter_set_id = ReadUE(in);
    pps.entropy_coding_mode_flag = ReadU8(in, 1);
    pps.bottom_field_pic_order_in_frame_present_flag = ReadU8(in, 1);
    pps.num_slice_groups_minus1 = ReadUE(in);
    if (pps.num_slice_groups_minus1 > 0) ReadSliceGroups(in, pps);
    pps.num_ref_idx_l0_default_active_minus1 = ReadUE(in);
    pps.num_ref_idx_l1_default_active_minus1 = ReadUE(in);
    pps.weighted_pred_flag = ReadU8(in, 1);
    pps.weighted_bipred_idc = ReadU8(in, 2);
    pps.pic_init_qp_minus26 = ReadSE(in);
    pps.pic_init_qs_minus26 = ReadSE(in);
    pps.chroma_qp_index_offset = ReadSE(in);
    pps.deblocking_filter_control_present_flag = ReadU8(in, 1);
    pps.constrained_intra_pred_flag = ReadU8(in, 1);
    pps.redundant_pic_cnt_present_flag = ReadU8(in, 1);
    return pps;
}

}  // namespace Tarsel::Proc::CodecParsers
