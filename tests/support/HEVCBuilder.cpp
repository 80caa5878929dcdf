#include "tests/support/HEVCBuilder.h"

#include "tests/support/BitWriter.h"

namespace Tarsel::TestSupport {

using namespace Proc::CodecParsers;

namespace {

void WriteGeneral(BitWriter& out, HEVCProfileTierLevel const& profile) {
    out.Bits(profile.general_profile_space, 2).Flag(profile.general_tier_flag).Bits(profile.general_profile_idc, 5);
    for (u8 const flags : profile.general_profile_compatibility_flags) out.Bits(flags, 8);
    for (u8 const flags : profile.general_constraint_indicator_flags) out.Bits(flags, 8);
    out.Bits(profile.general_level_idc, 8);
}

void WriteProfileTierLevel(BitWriter& out, HEVCProfileTierLevel const& profile, unsigned maxSubLayersMinus1,
                           std::vector<HEVCSubLayer> subLayers) {
    WriteGeneral(out, profile);
    if (maxSubLayersMinus1 == 0) return;
    subLayers.resize(maxSubLayersMinus1);
    for (HEVCSubLayer const& layer : subLayers) out.Flag(layer.hasProfile).Flag(layer.hasLevel);
    for (unsigned i = maxSubLayersMinus1; i < 8; ++i) out.Bits(0, 2);
    for (HEVCSubLayer const& layer : subLayers) {
        if (layer.hasProfile) out.Bits(layer.filler, 64).Bits(layer.filler, 24);
        if (layer.hasLevel) out.Bits(layer.filler, 8);
    }
}

void WriteUnitHeader(BitWriter& out, u32 type) {
    out.Bits(0, 1).Bits(type, 6).Bits(0, 6).Bits(1, 3);
}

}  // namespace

NaluBytes BuildHEVCVPS(HEVCVPS const& vps, HEVCForm const& form) {
    BitWriter out;
    WriteUnitHeader(out, 32);
    out.Bits(vps.vps_video_parameter_set_id, 4).Bits(0xC0, 8).Bits(vps.vps_max_sub_layers_minus1, 3);
    out.Flag(vps.vps_temporal_id_nesting_flag).Bits(0xFFFF, 16);
    WriteProfileTierLevel(out, vps.profile_tier_level, vps.vps_max_sub_layers_minus1, form.subLayers);
    out.TrailingBits();
    return AddEmulationPrevention(out.GetBytes());
}

NaluBytes BuildHEVCSPS(HEVCSPS const& sps, HEVCForm const& form) {
    BitWriter out;
    WriteUnitHeader(out, 33);
    out.Bits(sps.sps_video_parameter_set_id, 4).Bits(sps.sps_max_sub_layers_minus1, 3);
    out.Flag(sps.sps_temporal_id_nesting_flag);
    WriteProfileTierLevel(out, sps.profile_tier_level, sps.sps_max_sub_layers_minus1, form.subLayers);
    out.UE(sps.sps_seq_parameter_set_id).UE(sps.chroma_format_idc);
    if (sps.chroma_format_idc == 3) out.Flag(sps.separate_colour_plane_flag);
    out.UE(sps.pic_width_in_luma_samples).UE(sps.pic_height_in_luma_samples);
    bool const window = form.writeEmptyWindow || sps.conf_win_left_offset || sps.conf_win_right_offset ||
                        sps.conf_win_top_offset || sps.conf_win_bottom_offset;
    out.Flag(window);
    if (window)
        out.UE(sps.conf_win_left_offset)
            .UE(sps.conf_win_right_offset)
            .UE(sps.conf_win_top_offset)
            .UE(sps.conf_win_bottom_offset);
    out.UE(sps.bit_depth_luma_minus8).UE(sps.bit_depth_chroma_minus8).TrailingBits();
    return AddEmulationPrevention(out.GetBytes());
}

NaluBytes BuildHEVCUnit(u32 type, std::vector<u8> const& payload) {
    BitWriter out;
    WriteUnitHeader(out, type);
    NaluBytes unit = out.GetBytes();
    unit.insert(unit.end(), payload.begin(), payload.end());
    return unit;
}

HEVCVPS MakeHEVCVPS() {
    HEVCVPS vps;
    vps.vps_temporal_id_nesting_flag = 1;
    vps.profile_tier_level = MakeHEVCSPS().profile_tier_level;
    return vps;
}

HEVCSPS MakeHEVCSPS(u8 id) {
    HEVCSPS sps;
    sps.sps_temporal_id_nesting_flag = 1;
    sps.profile_tier_level.general_profile_idc = 1;
    sps.profile_tier_level.general_profile_compatibility_flags = {0x60};
    sps.profile_tier_level.general_constraint_indicator_flags = {0x90};
    sps.profile_tier_level.general_level_idc = 90;
    sps.sps_seq_parameter_set_id = id;
    sps.chroma_format_idc = 1;
    sps.pic_width_in_luma_samples = 640;
    sps.pic_height_in_luma_samples = 368;
    sps.conf_win_bottom_offset = 4;
    return sps;
}

std::vector<u8> JoinHvcC(HEVCVPS const& vps, HEVCSPS const& sps, std::vector<HvccArray> const& arrays, int lengthSize) {
    BitWriter out;
    out.Bits(1, 8);
    WriteGeneral(out, sps.profile_tier_level);
    out.Bits(0xF, 4).Bits(0, 12).Bits(0x3F, 6).Bits(0, 2);
    out.Bits(0x3F, 6).Bits(sps.chroma_format_idc, 2);
    out.Bits(0x1F, 5).Bits(sps.bit_depth_luma_minus8, 3).Bits(0x1F, 5).Bits(sps.bit_depth_chroma_minus8, 3);
    out.Bits(0, 16).Bits(0, 2).Bits(vps.vps_max_sub_layers_minus1, 3).Flag(vps.vps_temporal_id_nesting_flag);
    out.Bits(static_cast<u64>(lengthSize - 1), 2).Bits(arrays.size(), 8);
    std::vector<u8> result = out.GetBytes();
    for (HvccArray const& array : arrays) {
        result.push_back(array.head);
        result.push_back(static_cast<u8>(array.units.size() >> 8));
        result.push_back(static_cast<u8>(array.units.size()));
        std::vector<u8> const units = JoinMP4(array.units, 2);
        result.insert(result.end(), units.begin(), units.end());
    }
    return result;
}

}  // namespace Tarsel::TestSupport
