#include <array>
#include <string>

#include "Proc/CodecParsers/ExtradataBytes.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/CodecParsers/HEVCUnits.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "contracts/Core/BitIO.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr std::array<HEVCNaluType, 5> HVCC_TYPES = {HEVC_NALU_VPS, HEVC_NALU_SPS, HEVC_NALU_PPS, HEVC_NALU_PREFIX_SEI,
                                                    HEVC_NALU_SUFFIX_SEI};
using HvccArrays = std::array<NaluRangeList, HVCC_TYPES.size()>;

bool IsHvcC(IBlob const* extradata) {
    return IsHvcCHeader(extradata ? extradata->GetData() : nullptr, extradata ? extradata->GetSize() : 0);
}

// The units that a configuration record holds, by type, each list in the order of appearance.
HvccArrays SortUnits(IBlob const& annexB) {
    NaluRangeList units;
    FindAnnexBNalus(annexB.GetData(), annexB.GetSize(), units);
    HvccArrays arrays;
    for (NaluRange const& unit : units) {
        u32 const type = GetKnownHEVCNaluType(unit);
        for (std::size_t i = 0; i < HVCC_TYPES.size(); ++i)
            if (type == HVCC_TYPES[i]) arrays[i].push_back(unit);
    }
    return arrays;
}

void Require16Bits(std::size_t value, char const* what, u32 type) {
    if (value > 0xFFFF)
        TARSEL_THROW(Exception, "Can't form hvcC header: " + std::to_string(value) + " " + what + " of type " +
                                    std::to_string(type) + ", 65535 at most");
}

// HEVCDecoderConfigurationRecord, ISO/IEC 14496-15, 8.3.3.1, up to lengthSizeMinusOne.
void WriteHead(Core::DataBitOutput& out, HEVCVPS const& vps, HEVCSPS const& sps) {
    HEVCProfileTierLevel const& profile = sps.profile_tier_level;
    out.WriteBits(1, 8);  // configurationVersion
    out.WriteBits(profile.general_profile_space, 2);
    out.WriteBits(profile.general_tier_flag, 1);
    out.WriteBits(profile.general_profile_idc, 5);
    for (u8 const flags : profile.general_profile_compatibility_flags) out.WriteBits(flags, 8);
    for (u8 const flags : profile.general_constraint_indicator_flags) out.WriteBits(flags, 8);
    out.WriteBits(profile.general_level_idc, 8);
    out.WriteBits(0xF000, 16);  // min_spatial_segmentation_idc 0: unknown
    out.WriteBits(0xFC, 8);     // parallelismType 0: unknown
    out.WriteBits(sps.chroma_format_idc | 0xFC, 8);
    out.WriteBits(sps.bit_depth_luma_minus8 | 0xF8, 8);
    out.WriteBits(sps.bit_depth_chroma_minus8 | 0xF8, 8);
    out.WriteBits(0, 16);  // avgFrameRate: unknown
    out.WriteBits(0, 2);   // constantFrameRate: unknown
    // Meant: numTemporalLayers is the count less one, as the VPS has it.
    out.WriteBits(vps.vps_max_sub_layers_minus1, 3);
    out.WriteBits(vps.vps_temporal_id_nesting_flag, 1);
    out.WriteBits(3, 2);  // lengthSizeMinusOne
}

void WriteArrays(Core::DataBitOutput& out, HvccArrays const& arrays) {
    unsigned used = 0;
    for (NaluRangeList const& units : arrays)
        if (!units.empty()) ++used;
    out.WriteBits(used, 8);
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        if (arrays[i].empty()) continue;
        Require16Bits(arrays[i].size(), "units", HVCC_TYPES[i]);
        out.WriteBits(0, 2);  // array_completeness: there may be more in the stream
        out.WriteBits(HVCC_TYPES[i], 6);
        out.WriteBits(arrays[i].size(), 16);
        for (NaluRange const& unit : arrays[i]) {
            Require16Bits(unit.size, "bytes in a unit", HVCC_TYPES[i]);
            out.WriteBits(unit.size, 16);
            out.WriteData(unit.data, unit.size);
        }
    }
}

bool IsHEVCParameterSet(NaluRange const& unit) {
    if (unit.size == 0) return false;
    u32 const type = GetHEVCNaluType(unit);
    return type == HEVC_NALU_VPS || type == HEVC_NALU_SPS || type == HEVC_NALU_PPS;
}

}  // namespace

iptr<IBlob> HEVC_Extradata_AnnexBtohvcC(iptr<IBlob> extradata) {
    u8 const* const data = extradata ? extradata->GetData() : nullptr;
    std::size_t const size = extradata ? extradata->GetSize() : 0;
    HEVCVPS const vps = DecodeHEVCVPS(data, size);
    HEVCSPS const sps = DecodeHEVCSPS(data, size);
    std::string bytes;
    Core::DataBitOutput out(Core::DataOutputString::Create(&bytes));
    WriteHead(out, vps, sps);
    WriteArrays(out, SortUnits(*extradata));
    out.Flush();
    return MakeExtradata(bytes);
}

iptr<IBlob> HEVC_Extradata_hvcCtoAnnexB(iptr<IBlob> extradata) {
    if (!extradata || !IsHvcC(extradata.get())) return extradata;
    u8 const* data = extradata->GetData();
    std::size_t const size = extradata->GetSize();
    Bytes repaired;
    if (IsZeroPrefixedVersion(data, size)) {
        repaired.assign(data, data + size);
        if (!RepairHvcCHeader(repaired.data(), size)) TARSEL_THROW(Exception, "Can't recover hvcc header");
        data = repaired.data();
    }
    NaluRangeList units;
    FindHvccHeaderNalus(data, size, units);
    std::string out;
    for (NaluRange const& unit : units) AppendAfterStartCode(out, unit);
    return MakeExtradata(out);
}

iptr<IDataPacket> InsertHEVCExtradata(iptr<IDataPacket> packet, iptr<IBlob> extradata) {
    if (!extradata || extradata->GetSize() == 0) return packet;
    if (!packet || !packet->IsKeyFrame()) return packet;
    if (IsHvcC(extradata.get())) TARSEL_THROW(Exception, "Trying to insert hvcC extradata into annexB packet");
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList units;
    FindAnnexBNalus(payload->GetData(), payload->GetSize(), units);
    for (NaluRange const& unit : units)
        if (IsHEVCParameterSet(unit)) return packet;
    return PrependToPayload(*packet, *extradata);
}

}  // namespace Tarsel::Proc::CodecParsers
