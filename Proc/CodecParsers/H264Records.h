#pragma once

#include <array>
#include <string>
#include <vector>

#include "Proc/CodecParsers/PictureSize.h"
#include "contracts/Core/Types.h"

// Decoded headers of H.264 streams. Field names are the syntax elements of ITU-T H.264; all fields start at zero.

namespace Tarsel::Proc::CodecParsers {

/// hrd_parameters(), E.1.2.
struct H264HRD {
    u32 cpb_cnt_minus1 = 0;
    u8 bit_rate_scale = 0;
    u8 cpb_size_scale = 0;
    std::vector<u32> bit_rate_value_minus1;  // these three: cpb_cnt_minus1 + 1 entries
    std::vector<u32> cpb_size_value_minus1;
    std::vector<u8> cbr_flag;
    u8 initial_cpb_removal_delay_length_minus1 = 0;
    u8 cpb_removal_delay_length_minus1 = 0;
    u8 dpb_output_delay_length_minus1 = 0;
    u8 time_offset_length = 0;

    bool operator==(H264HRD const&) const = default;
};

/// vui_parameters(), E.1.1.
struct H264VUI {
    u8 aspect_ratio_info_present_flag = 0;
    u8 aspect_ratio_idc = 0;
    u16 sar_width = 0;  // this and the next only for aspect_ratio_idc 255
    u16 sar_height = 0;
    u8 overscan_info_present_flag = 0;
    u8 overscan_appropriate_flag = 0;
    u8 video_signal_type_present_flag = 0;
    u8 video_format = 0;
    u8 video_full_range_flag = 0;
    u8 colour_description_present_flag = 0;
    std::array<u8, 3> colour = {};  // colour_primaries, transfer_characteristics, matrix_coefficients
    u8 chroma_loc_info_present_flag = 0;
    u32 chroma_sample_loc_type_top_field = 0;
    u32 chroma_sample_loc_type_bottom_field = 0;
    u8 timing_info_present_flag = 0;
    u32 num_units_in_tick = 0;
    u32 time_scale = 0;
    u8 fixed_frame_rate_flag = 0;
    u8 nal_hrd_parameters_present_flag = 0;
    H264HRD nal_hrd;
    u8 vcl_hrd_parameters_present_flag = 0;
    H264HRD vcl_hrd;
    u8 low_delay_hrd_flag = 0;
    u8 pic_struct_present_flag = 0;
    u8 bitstream_restriction_flag = 0;
    u8 motion_vectors_over_pic_boundaries_flag = 0;
    u32 max_bytes_per_pic_denom = 0;
    u32 max_bits_per_mb_denom = 0;
    u32 log2_max_mv_length_horizontal = 0;
    u32 log2_max_mv_length_vertical = 0;
    u32 max_num_reorder_frames = 0;
    u32 max_dec_frame_buffering = 0;

    bool operator==(H264VUI const&) const = default;
};

/// Limits of a level (table A-1). All zero for an unknown level.
struct H264LevelLimits {
    u32 maxMacroblocksPerSecond = 0;
    u32 maxFrameSize = 0;  // macroblocks
    u32 maxDpbSize = 0;    // macroblocks
    u32 maxBitrate = 0;    // 1000 bit/s, for the base profiles

    bool operator==(H264LevelLimits const&) const = default;
};

/// The limits of a level; `level` is ten times its number, 9 is level 1b.
H264LevelLimits GetH264LevelLimits(u32 level);

using H264PictureSize = PictureSize;

/// seq_parameter_set_data(), 7.3.2.1.1.
struct H264SPS {
    u8 profile_idc = 0;
    u8 constraint_set0_flag = 0;
    u8 constraint_set1_flag = 0;
    u8 constraint_set2_flag = 0;
    u8 constraint_set3_flag = 0;
    u8 level_idc = 0;
    u32 seq_parameter_set_id = 0;
    u8 chroma_format_idc = 0;  // 1 when the profile has no such field
    u8 separate_colour_plane_flag = 0;
    u8 bit_depth_luma_minus8 = 0;
    u8 bit_depth_chroma_minus8 = 0;
    u8 qpprime_y_zero_transform_bypass_flag = 0;
    u8 seq_scaling_matrix_present_flag = 0;
    std::array<std::array<u32, 16>, 6> ScalingList4x4 = {};  // in coded (zig-zag) order
    std::array<std::array<u32, 64>, 6> ScalingList8x8 = {};
    u32 log2_max_frame_num_minus4 = 0;
    u32 pic_order_cnt_type = 0;
    u32 log2_max_pic_order_cnt_lsb_minus4 = 0;  // only for type 0
    u8 delta_pic_order_always_zero_flag = 0;    // this and the next four only for type 1
    i32 offset_for_non_ref_pic = 0;
    i32 offset_for_top_to_bottom_field = 0;
    u32 num_ref_frames_in_pic_order_cnt_cycle = 0;
    std::vector<i32> offset_for_ref_frame;
    u32 max_num_ref_frames = 0;
    u8 gaps_in_frame_num_value_allowed_flag = 0;
    u32 pic_width_in_mbs_minus1 = 0;
    u32 pic_height_in_map_units_minus1 = 0;
    u8 frame_mbs_only_flag = 0;
    u8 mb_adaptive_frame_field_flag = 0;
    u8 direct_8x8_inference_flag = 0;
    u8 frame_cropping_flag = 0;
    u32 frame_crop_left_offset = 0;
    u32 frame_crop_right_offset = 0;
    u32 frame_crop_top_offset = 0;
    u32 frame_crop_bottom_offset = 0;
    u8 vui_parameters_present_flag = 0;
    H264VUI vui;

    /// `level_idc`, or 9 for level 1b of the Baseline and Main profiles.
    u32 GetEffectiveLevel() const;
    H264LevelLimits GetLevelLimits() const { return GetH264LevelLimits(GetEffectiveLevel()); }
    u32 GetMaxMacroblocksPerSecond() const { return GetLevelLimits().maxMacroblocksPerSecond; }
    /// Macroblocks.
    u32 GetMaxFrameSize() const { return GetLevelLimits().maxFrameSize; }
    /// Macroblocks.
    u32 GetMaxDpbSize() const { return GetLevelLimits().maxDpbSize; }
    /// The level's bit rate in 1000 bit/s, scaled for one of the `Conf::TAG_X264_PROFILE_...` names; 0 for any other.
    u32 GetMaxBitrate(std::string const& x264Profile) const;
    /// The size that is shown. Cropping that leaves nothing is ignored.
    H264PictureSize GetPictureSize() const;
    /// How many pictures, 0 to 16, may be decoded ahead of one that is shown before them.
    u32 GetMaxReorderFrames() const;
    /// Whether streams under the two sets can be joined without re-encoding, as far as the SPS tells.
    bool SameFormat(H264SPS const& other) const;

    bool operator==(H264SPS const&) const = default;
};

/// pic_parameter_set_rbsp(), 7.3.2.2, up to redundant_pic_cnt_present_flag; what follows isn't read.
struct H264PPS {
    u32 pic_parameter_set_id = 0;
    u32 seq_parameter_set_id = 0;
    u8 entropy_coding_mode_flag = 0;
    u8 bottom_field_pic_order_in_frame_present_flag = 0;
    u32 num_slice_groups_minus1 = 0;
    u32 slice_group_map_type = 0;
    std::vector<u32> run_length_minus1;  // type 0
    std::vector<u32> top_left;           // type 2, one entry more than the standard has
    std::vector<u32> bottom_right;
    u8 slice_group_change_direction_flag = 0;  // types 3, 4, 5
    u32 slice_group_change_rate_minus1 = 0;
    u32 pic_size_in_map_units_minus1 = 0;  // type 6
    std::vector<u32> slice_group_id;
    u32 num_ref_idx_l0_default_active_minus1 = 0;
    u32 num_ref_idx_l1_default_active_minus1 = 0;
    u8 weighted_pred_flag = 0;
    u8 weighted_bipred_idc = 0;
    i32 pic_init_qp_minus26 = 0;
    i32 pic_init_qs_minus26 = 0;
    i32 chroma_qp_index_offset = 0;
    u8 deblocking_filter_control_present_flag = 0;
    u8 constrained_intra_pred_flag = 0;
    u8 redundant_pic_cnt_present_flag = 0;

    /// Whether streams under the two sets can be joined without re-encoding, as far as the PPS tells.
    bool SameFormat(H264PPS const& other) const;

    bool operator==(H264PPS const&) const = default;
};

/// What a packet's first slice is.
struct H264SliceInfo {
    u32 nal_unit_type = 0;
    i32 slice_type = -1;  // 0 P, 1 B, 2 I, 3 SP, 4 SI; -1 none

    /// "nalu: IDR, slice: I". Unknown numbers are "X".
    std::string GetText() const;

    bool operator==(H264SliceInfo const&) const = default;
};

}  // namespace Tarsel::Proc::CodecParsers
