#pragma once

#include <array>

#include "Proc/CodecParsers/PictureSize.h"
#include "contracts/Core/Types.h"

// Decoded headers of HEVC streams. Field names are the syntax elements of ITU-T H.265; all fields start at zero.

namespace Tarsel::Proc::CodecParsers {

/// profile_tier_level(), 7.3.3, of the whole stream; what sub-layers say isn't kept.
struct HEVCProfileTierLevel {
    u8 general_profile_space = 0;
    u8 general_tier_flag = 0;
    u8 general_profile_idc = 0;
    std::array<u8, 4> general_profile_compatibility_flags = {};
    std::array<u8, 6> general_constraint_indicator_flags = {};  // from general_progressive_source_flag on
    u8 general_level_idc = 0;

    bool operator==(HEVCProfileTierLevel const&) const = default;
};

/// video_parameter_set_rbsp(), 7.3.2.1, up to profile_tier_level(); what follows isn't read.
struct HEVCVPS {
    u8 vps_video_parameter_set_id = 0;
    u8 vps_max_sub_layers_minus1 = 0;
    u8 vps_temporal_id_nesting_flag = 0;
    HEVCProfileTierLevel profile_tier_level;

    bool operator==(HEVCVPS const&) const = default;
};

/// seq_parameter_set_rbsp(), 7.3.2.2, up to bit_depth_chroma_minus8; what follows isn't read.
struct HEVCSPS {
    u8 sps_video_parameter_set_id = 0;
    u8 sps_max_sub_layers_minus1 = 0;
    u8 sps_temporal_id_nesting_flag = 0;
    HEVCProfileTierLevel profile_tier_level;
    u8 sps_seq_parameter_set_id = 0;  // this and the other Exp-Golomb codes of type u8 are cut to 8 bits
    u8 chroma_format_idc = 0;
    u8 separate_colour_plane_flag = 0;  // only for chroma_format_idc 3
    u32 pic_width_in_luma_samples = 0;
    u32 pic_height_in_luma_samples = 0;
    u32 conf_win_left_offset = 0;
    u32 conf_win_right_offset = 0;
    u32 conf_win_top_offset = 0;
    u32 conf_win_bottom_offset = 0;
    u8 bit_depth_luma_minus8 = 0;
    u8 bit_depth_chroma_minus8 = 0;

    /// The size that is shown. Nothing keeps a broken conformance window from making it 0 or negative.
    PictureSize GetPictureSize() const;

    bool operator==(HEVCSPS const&) const = default;
};

}  // namespace Tarsel::Proc::CodecParsers
