// Field names are those of ITU-T H.265 and ISO/IEC 14496-15; of the sets only what the records hold is told.

#include <array>

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/CodecParsers/HeaderFields.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

void DescribeProfile(HeaderFields& out, HEVCProfileTierLevel const& profile) {
    std::array<u8, 32> compatibility = {};
    for (std::size_t i = 0; i < compatibility.size(); ++i)
        compatibility[i] = profile.general_profile_compatibility_flags[i / 8] >> (7 - i % 8) & 1;
    u8 const constraints = profile.general_constraint_indicator_flags[0];
    out.Field("general_profile_space", profile.general_profile_space)
        .Field("general_tier_flag", profile.general_tier_flag)
        .Field("general_profile_idc", profile.general_profile_idc)
        .Array("general_profile_compatibility_flag", compatibility)
        .Field("general_progressive_source_flag", constraints >> 7)
        .Field("general_interlaced_source_flag", constraints >> 6 & 1)
        .Field("general_non_packed_constraint_flag", constraints >> 5 & 1)
        .Field("general_frame_only_constraint_flag", constraints >> 4 & 1)
        .Field("general_level_idc", profile.general_level_idc);
}

void DescribeVPS(HeaderFields& out, HEVCVPS const& vps) {
    out.Field("vps_video_parameter_set_id", vps.vps_video_parameter_set_id)
        .Field("vps_max_sub_layers_minus1", vps.vps_max_sub_layers_minus1)
        .Field("vps_temporal_id_nesting_flag", vps.vps_temporal_id_nesting_flag);
    DescribeProfile(out, vps.profile_tier_level);
}

void DescribeSPS(HeaderFields& out, HEVCSPS const& sps) {
    out.Field("sps_video_parameter_set_id", sps.sps_video_parameter_set_id)
        .Field("sps_max_sub_layers_minus1", sps.sps_max_sub_layers_minus1)
        .Field("sps_temporal_id_nesting_flag", sps.sps_temporal_id_nesting_flag);
    DescribeProfile(out, sps.profile_tier_level);
    out.Field("sps_seq_parameter_set_id", sps.sps_seq_parameter_set_id)
        .Field("chroma_format_idc", sps.chroma_format_idc);
    if (sps.chroma_format_idc == 3) out.Field("separate_colour_plane_flag", sps.separate_colour_plane_flag);
    // The window's flag isn't kept; without it the offsets are 0.
    out.Field("pic_width_in_luma_samples", sps.pic_width_in_luma_samples)
        .Field("pic_height_in_luma_samples", sps.pic_height_in_luma_samples)
        .Field("conf_win_left_offset", sps.conf_win_left_offset)
        .Field("conf_win_right_offset", sps.conf_win_right_offset)
        .Field("conf_win_top_offset", sps.conf_win_top_offset)
        .Field("conf_win_bottom_offset", sps.conf_win_bottom_offset)
        .Field("bit_depth_luma_minus8", sps.bit_depth_luma_minus8)
        .Field("bit_depth_chroma_minus8", sps.bit_depth_chroma_minus8);
}

// HEVCDecoderConfigurationRecord, ISO/IEC 14496-15, 8.3.3.1.2. `units` gets its units.
void DescribeHvcC(HeaderFields& out, Bytes data, NaluRangeList& units, Bytes& keeper) {
    if (data[0] != 1) RepairHvcCHeader(data.data(), data.size());
    keeper = std::move(data);
    FindHvccHeaderNalus(keeper.data(), keeper.size(), units);
    Core::DataBitInput in(Core::DataInputMemory::Create(keeper.data(), keeper.size()));
    auto const read = [&](char const* name, unsigned bits) { out.Field(name, static_cast<int64>(in.ReadBits(bits))); };
    read("configurationVersion", 8);
    read("general_profile_space", 2);
    read("general_tier_flag", 1);
    read("general_profile_idc", 5);
    read("general_profile_compatibility_flags", 32);
    read("general_constraint_indicator_flags", 48);
    read("general_level_idc", 8);
    in.SkipBits(4);
    read("min_spatial_segmentation_idc", 12);
    in.SkipBits(6);
    read("parallelismType", 2);
    in.SkipBits(6);
    read("chromaFormat", 2);
    in.SkipBits(5);
    read("bitDepthLumaMinus8", 3);
    in.SkipBits(5);
    read("bitDepthChromaMinus8", 3);
    read("avgFrameRate", 16);
    read("constantFrameRate", 2);
    read("numTemporalLayers", 3);
    read("temporalIdNested", 1);
    read("lengthSizeMinusOne", 2);
    read("numOfArrays", 8);
}

// The unit as extradata of its own, which is the form that its decoder takes.
Bytes AsExtradata(NaluRange const& unit) {
    Bytes bytes(StartCode3, StartCode3 + sizeof(StartCode3));
    bytes.insert(bytes.end(), unit.data, unit.data + unit.size);
    return bytes;
}

void DescribeUnit(NaluRange const& unit, HeaderStructures& out) {
    switch (GetHEVCNaluType(unit)) {
        case HEVC_NALU_VPS:
            out.Add("VPS", [&](HeaderFields& fields) {
                Bytes const extradata = AsExtradata(unit);
                DescribeVPS(fields, DecodeHEVCVPS(extradata.data(), extradata.size()));
            });
            break;
        case HEVC_NALU_SPS:
            out.Add("SPS", [&](HeaderFields& fields) {
                Bytes const extradata = AsExtradata(unit);
                DescribeSPS(fields, DecodeHEVCSPS(extradata.data(), extradata.size()));
            });
            break;
        case HEVC_NALU_PPS:
            // Nothing of it is read.
            out.Add("PPS", [&](HeaderFields& fields) { fields.Field("NumBytesInNalUnit", unit.size); });
            break;
        default:
            break;
    }
}

}  // namespace

void DescribeHEVC(u8 const* data, std::size_t size, HeaderStructures& out) {
    constexpr std::size_t SMALLEST = 4;  // below it the form can't be told, and no set fits
    NaluRangeList units;
    Bytes record;
    if (data[0] != 1 && size < SMALLEST) return;
    if (IsHvcCHeader(data, size))
        out.Add("hvcC", [&](HeaderFields& fields) { DescribeHvcC(fields, Bytes(data, data + size), units, record); });
    else
        FindAnnexBNalus(data, size, units);
    for (NaluRange const& unit : units)
        if (unit.size != 0) DescribeUnit(unit, out);
}

}  // namespace Tarsel::Proc::CodecParsers
