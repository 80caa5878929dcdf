#include <utility>

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "contracts/Core/BitIO.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {

namespace {

bool IsH264ParameterSet(NaluRange const& unit) {
    if (unit.size == 0) return false;
    u32 const type = GetH264NaluType(unit);
    return type == H264_NALU_SPS || type == H264_NALU_PPS;
}

bool IsSlice(NaluRange const& unit) {
    if (unit.size == 0) return false;
    u32 const type = GetH264NaluType(unit);
    return type == H264_NALU_SLICE || type == H264_NALU_SLICE_PART_A || type == H264_NALU_IDR;
}

NaluRangeList FindPayloadNalus(IBlob const& payload) {
    NaluRangeList units;
    FindAnnexBNalus(payload.GetData(), payload.GetSize(), units);
    return units;
}

}  // namespace

iptr<IDataPacket> InsertH264Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata) {
    if (!extradata || extradata->GetSize() == 0 || IsAvcCHeader(extradata->GetData(), extradata->GetSize()))
        return packet;
    if (!packet || !packet->IsKeyFrame()) return packet;
    iptr<IBlob> const payload = packet->GetBlob();
    for (NaluRange const& unit : FindPayloadNalus(*payload))
        if (IsH264ParameterSet(unit)) return packet;
    return PrependToPayload(*packet, *extradata);
}

iptr<IDataPacket> ReplaceH264ParameterSets(iptr<IDataPacket> packet, u8 const* extradataData,
                                           std::size_t extradataSize) {
    if (!packet || !packet->IsKeyFrame()) return packet;
    NaluRangeList fromExtradata;
    FindExtradataNalus(extradataData, extradataSize, fromExtradata);
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList chosen;
    for (NaluRange const& unit : fromExtradata)
        if (IsH264ParameterSet(unit)) chosen.push_back(unit);
    for (NaluRange const& unit : FindPayloadNalus(*payload))
        if (unit.size != 0 && !IsH264ParameterSet(unit)) chosen.push_back(unit);
    u64 size = 0;
    for (NaluRange const& unit : chosen) size += u64(unit.size) + sizeof(StartCode4);
    AVPacketPtr result = NewPacketLike(*packet, size);
    PayloadWriter writer(result->data);
    for (NaluRange const& unit : chosen) {
        writer.Write(StartCode4, sizeof(StartCode4));
        writer.Write(unit.data, unit.size);
    }
    return WrapPacketLike(*packet, std::move(result));
}

H264SliceInfo GetH264SliceInfo(iptr<IDataPacket> packet, bool lengthPrefixed, int lengthSize) {
    if (!packet) return {};
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList units;
    if (lengthPrefixed)
        FindMP4Nalus(payload->GetData(), payload->GetSize(), units, lengthSize);
    else
        FindAnnexBNalus(payload->GetData(), payload->GetSize(), units);
    for (NaluRange const& unit : units) {
        if (!IsSlice(unit)) continue;
        // Meant: read from the unit as it stands; the two fields are too short for emulation prevention to matter.
        Core::DataBitInput in(Core::DataInputMemory::Create(unit.data, unit.size));
        in.ReadBits(8);
        ReadUE(in);  // first_mb_in_slice
        u32 const type = ReadUE(in);
        return {GetH264NaluType(unit), static_cast<i32>(type > 4 ? type - 5 : type)};
    }
    return {};
}

}  // namespace Tarsel::Proc::CodecParsers
