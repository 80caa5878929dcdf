#include <array>

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/CodecParsers/NaluPayload.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr unsigned HEVC_NAL_HEADER_BITS = 16;

// profile_tier_level(), 7.3.3, with the general part present. What follows stands behind the sub-layers, so they have
// to be passed exactly.
HEVCProfileTierLevel ReadProfileTierLevel(Core::DataBitInput& in, unsigned maxSubLayersMinus1) {
    HEVCProfileTierLevel result;
    result.general_profile_space = ReadU8(in, 2);
    result.general_tier_flag = ReadU8(in, 1);
    result.general_profile_idc = ReadU8(in, 5);
    for (u8& flags : result.general_profile_compatibility_flags) flags = ReadU8(in, 8);
    for (u8& flags : result.general_constraint_indicator_flags) flags = ReadU8(in, 8);
    result.general_level_idc = ReadU8(in, 8);
    struct SubLayer {
        bool hasProfile = false;
        bool hasLevel = false;
    };
    std::array<SubLayer, 7> subLayers;  // the field has three bits
    for (unsigned i = 0; i < maxSubLayersMinus1; ++i) {
        subLayers[i].hasProfile = in.ReadBits(1) != 0;
        subLayers[i].hasLevel = in.ReadBits(1) != 0;
    }
    if (maxSubLayersMinus1 != 0) in.SkipBits(16 - 2 * maxSubLayersMinus1);  // as if there were eight entries
    for (unsigned i = 0; i < maxSubLayersMinus1; ++i) {
        if (subLayers[i].hasProfile) in.SkipBits(88);
        if (subLayers[i].hasLevel) in.SkipBits(8);
    }
    return result;
}

void ReadPictureSize(Core::DataBitInput& in, HEVCSPS& sps) {
    sps.pic_width_in_luma_samples = ReadUE(in);
    sps.pic_height_in_luma_samples = ReadUE(in);
    bool const conformanceWindow = in.ReadBits(1) != 0;
    if (!conformanceWindow) return;
    sps.conf_win_left_offset = ReadUE(in);
    sps.conf_win_right_offset = ReadUE(in);
    sps.conf_win_top_offset = ReadUE(in);
    sps.conf_win_bottom_offset = ReadUE(in);
}

}  // namespace

HEVCVPS DecodeHEVCVPS(u8 const* extradataData, std::size_t extradataSize) {
    NaluPayload payload(GetFirstHEVCNaluOfType(extradataData, extradataSize, HEVC_NALU_VPS), HEVC_NAL_HEADER_BITS);
    Core::DataBitInput& in = payload.GetInput();
    HEVCVPS vps;
    vps.vps_video_parameter_set_id = ReadU8(in, 4);
    in.SkipBits(8);  // the base layer's two flags, vps_max_layers_minus1
    vps.vps_max_sub_layers_minus1 = ReadU8(in, 3);
    vps.vps_temporal_id_nesting_flag = ReadU8(in, 1);
    in.SkipBits(16);  // vps_reserved_0xffff_16bits
    vps.profile_tier_level = ReadProfileTierLevel(in, vps.vps_max_sub_layers_minus1);
    return vps;
}

HEVCSPS DecodeHEVCSPS(u8 const* extradataData, std::size_t extradataSize) {
    NaluPayload payload(GetFirstHEVCNaluOfType(extradataData, extradataSize, HEVC_NALU_SPS), HEVC_NAL_HEADER_BITS);
    Core::DataBitInput& in = payload.GetInput();
    HEVCSPS sps;
    sps.sps_video_parameter_set_id = ReadU8(in, 4);
    sps.sps_max_sub_layers_minus1 = ReadU8(in, 3);
    sps.sps_temporal_id_nesting_flag = ReadU8(in, 1);
    sps.profile_tier_level = ReadProfileTierLevel(in, sps.sps_max_sub_layers_minus1);
    sps.sps_seq_parameter_set_id = static_cast<u8>(ReadUE(in));
    sps.chroma_format_idc = static_cast<u8>(ReadUE(in));
    if (sps.chroma_format_idc == 3) sps.separate_colour_plane_flag = ReadU8(in, 1);
    ReadPictureSize(in, sps);
    sps.bit_depth_luma_minus8 = static_cast<u8>(ReadUE(in));
    sps.bit_depth_chroma_minus8 = static_cast<u8>(ReadUE(in));
    return sps;
}

PictureSize HEVCSPS::GetPictureSize() const {
    int64 const unitX = chroma_format_idc == 1 || chroma_format_idc == 2 ? 2 : 1;
    int64 const unitY = chroma_format_idc == 1 ? 2 : 1;
    // Meant: the result isn't tested. A broken window can leave nothing or less.
    return {pic_width_in_luma_samples - (int64{conf_win_left_offset} + conf_win_right_offset) * unitX,
            pic_height_in_luma_samples - (int64{conf_win_top_offset} + conf_win_bottom_offset) * unitY};
}

}  // namespace Tarsel::Proc::CodecParsers
