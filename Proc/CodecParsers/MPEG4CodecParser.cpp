#include "Proc/CodecParsers/MPEG4CodecParser.h"

#include <bit>
#include <string>

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr u32 VISUAL_OBJECT_SEQUENCE_START_CODE = 0x1B0;
constexpr u32 USER_DATA_START_CODE = 0x1B2;
constexpr u32 VISUAL_OBJECT_START_CODE = 0x1B5;
constexpr u32 FIRST_VOL_START_CODE = 0x120;
constexpr u32 LAST_VOL_START_CODE = 0x12F;

enum Shape : u8 { SHAPE_RECTANGULAR = 0, SHAPE_BINARY_ONLY = 2, SHAPE_GRAYSCALE = 3 };

u32 ReadU32(Core::DataBitInput& in, unsigned count) {
    return static_cast<u32>(in.ReadBits(count));
}

void ReadMarker(Core::DataBitInput& in) {
    in.ReadBits(1);  // marker_bit; its value isn't tested
}

// From random_accessible_vol to aspect_ratio_info.
void ReadLayerIdentity(Core::DataBitInput& in, MPEG4VOL& out) {
    constexpr u8 EXTENDED_PAR = 15;
    out.random_accessible_vol = ReadU8(in, 1);
    out.video_object_type_indication = ReadU8(in, 8);
    bool const isObjectLayerIdentifier = in.ReadBits(1) != 0;
    out.video_object_layer_verid = isObjectLayerIdentifier ? ReadU8(in, 4) : u8{1};
    out.video_object_layer_priority = isObjectLayerIdentifier ? ReadU8(in, 3) : u8{1};
    out.aspect_ratio_info = ReadU8(in, 4);
    if (out.aspect_ratio_info == EXTENDED_PAR) {
        out.par_width = ReadU8(in, 8);
        out.par_height = ReadU8(in, 8);
    }
}

void ReadLayerControl(Core::DataBitInput& in, MPEG4VOL& out) {
    out.vol_control_parameters = ReadU8(in, 1);
    if (!out.vol_control_parameters) return;
    out.chroma_format = ReadU8(in, 2);
    out.low_delay = ReadU8(in, 1);
    out.vbv_parameters = ReadU8(in, 1);
    if (!out.vbv_parameters) return;
    u32 const firstHalfBitRate = ReadU32(in, 15);
    ReadMarker(in);
    out.bit_rate = firstHalfBitRate * 0x8000 + ReadU32(in, 15);
    ReadMarker(in);
    u32 const firstHalfBufferSize = ReadU32(in, 15);
    ReadMarker(in);
    out.vbv_buffer_size = firstHalfBufferSize * 8 + ReadU32(in, 3);
    u32 const firstHalfOccupancy = ReadU32(in, 11);
    ReadMarker(in);
    out.vbv_occupancy = firstHalfOccupancy * 0x8000 + ReadU32(in, 15);
    ReadMarker(in);
}

// ceil(log2(resolution - 1)) + 1. Meant: one bit more than most streams have; a resolution of 0 or 1 has none.
unsigned GetTimeIncrementBits(u16 resolution) {
    if (resolution < 2) return 0;
    unsigned const highest = resolution - 1U;
    return (highest == 1 ? 0U : static_cast<unsigned>(std::bit_width(highest - 1))) + 1U;
}

void ReadLayerTiming(Core::DataBitInput& in, MPEG4VOL& out) {
    ReadMarker(in);
    out.vop_time_increment_resolution = static_cast<u16>(in.ReadBits(16));
    ReadMarker(in);
    out.fixed_vop_rate = ReadU8(in, 1);
    if (out.fixed_vop_rate)
        out.fixed_vop_time_increment =
            static_cast<u16>(in.ReadBits(GetTimeIncrementBits(out.vop_time_increment_resolution)));
}

// From the size to quant_type.
void ReadLayerPicture(Core::DataBitInput& in, MPEG4VOL& out) {
    if (out.video_object_layer_shape == SHAPE_RECTANGULAR) {
        ReadMarker(in);
        out.video_object_layer_width = static_cast<u16>(in.ReadBits(13));
        ReadMarker(in);
        out.video_object_layer_height = static_cast<u16>(in.ReadBits(13));
        ReadMarker(in);
    }
    bool const firstVersion = out.video_object_layer_verid == 1;
    out.interlaced = ReadU8(in, 1);
    out.obmc_disable = ReadU8(in, 1);
    out.sprite_enable = ReadU8(in, firstVersion ? 1 : 2);
    if (out.sprite_enable == 1 || out.sprite_enable == 2)
        TARSEL_THROW(Exception, "MPEG-4 sprite parameters in Video Object Layer are not implemented!");
    if (!firstVersion && out.video_object_layer_shape != SHAPE_RECTANGULAR) out.sadct_disable = ReadU8(in, 1);
    out.not_8_bit = ReadU8(in, 1);
    if (out.not_8_bit) {
        out.quant_precision = ReadU8(in, 4);
        out.bits_per_pixel = ReadU8(in, 4);
    }
    if (out.video_object_layer_shape == SHAPE_GRAYSCALE) {
        out.no_gray_quant_update = ReadU8(in, 1);
        out.composition_method = ReadU8(in, 1);
        out.linear_composition = ReadU8(in, 1);
    }
    out.quant_type = ReadU8(in, 1);
    if (out.quant_type)
        TARSEL_THROW(Exception, "MPEG-4 quantization parameters in Video Object Layer are not implemented!");
}

// From quarter_sample to scalability, behind which nothing is read.
void ReadLayerTools(Core::DataBitInput& in, MPEG4VOL& out) {
    bool const firstVersion = out.video_object_layer_verid == 1;
    if (!firstVersion) out.quarter_sample = ReadU8(in, 1);
    out.complexity_estimation_disable = ReadU8(in, 1);
    if (!out.complexity_estimation_disable)
        TARSEL_THROW(Exception, "MPEG-4 complexity estimation header in Video Object Layer are not implemented!");
    out.resync_marker_disable = ReadU8(in, 1);
    out.data_partitioned = ReadU8(in, 1);
    if (out.data_partitioned) out.reversible_vlc = ReadU8(in, 1);
    if (!firstVersion) {
        out.newpred_enable = ReadU8(in, 1);
        if (out.newpred_enable) {
            out.requested_upstream_message_type = ReadU8(in, 2);
            out.newpred_segment_type = ReadU8(in, 1);
        }
        out.reduced_resolution_vop_enable = ReadU8(in, 1);
    }
    out.scalability = ReadU8(in, 1);
}

}  // namespace

void DecodeMPEG4_VOL(Core::DataBitInput& in, MPEG4VOL& out) {
    u32 const startCode = ReadU32(in, 32);
    // Meant: data behind the object that isn't a layer is no error; the layer stays unknown.
    if (startCode < FIRST_VOL_START_CODE || startCode > LAST_VOL_START_CODE) return;
    ReadLayerIdentity(in, out);
    ReadLayerControl(in, out);
    out.video_object_layer_shape = ReadU8(in, 2);
    if (out.video_object_layer_shape == SHAPE_GRAYSCALE && out.video_object_layer_verid != 1)
        out.video_object_layer_shape_extension = ReadU8(in, 4);
    ReadLayerTiming(in, out);
    if (out.video_object_layer_shape == SHAPE_BINARY_ONLY) return;
    ReadLayerPicture(in, out);
    ReadLayerTools(in, out);
}

void DecodeMPEG4VisualObject(Core::DataBitInput& in, MPEG4Config& out) {
    constexpr u8 TYPE_VIDEO = 1;
    constexpr u8 TYPE_STILL_TEXTURE = 2;
    bool const isVisualObjectIdentifier = in.ReadBits(1) != 0;
    out.visual_object_verid = isVisualObjectIdentifier ? ReadU8(in, 4) : u8{1};
    out.visual_object_priority = isVisualObjectIdentifier ? ReadU8(in, 3) : u8{1};
    out.visual_object_type = ReadU8(in, 4);
    if (out.visual_object_type != TYPE_VIDEO && out.visual_object_type != TYPE_STILL_TEXTURE) return;
    out.video_signal_type = ReadU8(in, 1);
    if (!out.video_signal_type) return;
    out.video_format = ReadU8(in, 3);
    out.video_range = ReadU8(in, 1);
    out.colour_description = ReadU8(in, 1);
    if (!out.colour_description) return;
    out.colour_primaries = ReadU8(in, 8);
    out.transfer_characteristics = ReadU8(in, 8);
    out.matrix_coefficients = ReadU8(in, 8);
}

void DecodeMPEG4Config(u8 const* data, std::size_t size, MPEG4Config& out) {
    out = MPEG4Config();
    Core::DataBitInput in(Core::DataInputMemory::Create(data, size));
    u32 const sequence = ReadU32(in, 32);
    if (sequence != VISUAL_OBJECT_SEQUENCE_START_CODE)
        TARSEL_THROW(Exception, "MPEG-4 config is not begining with VOS Start Code: " + std::to_string(sequence));
    out.profile = ReadU8(in, 4);
    out.level = ReadU8(in, 4);
    in.SkipBitsToNextByte();
    u32 const object = ReadU32(in, 32);
    if (object == USER_DATA_START_CODE) TARSEL_THROW(Exception, "MPEG-4 user data not implemented!");
    if (object != VISUAL_OBJECT_START_CODE)
        TARSEL_THROW(Exception, "MPEG-4 config has wrong start code: " + std::to_string(object));
    DecodeMPEG4VisualObject(in, out);
    if (out.visual_object_type != 1) return;
    in.SkipBitsToNextByte();
    in.ReadBits(32);  // video_object_start_code; its value isn't tested
    DecodeMPEG4_VOL(in, out.vol);
}

iptr<IDataPacket> InsertMPEG4Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata) {
    if (!extradata || extradata->GetSize() == 0 || !packet || !packet->IsKeyFrame()) return packet;
    iptr<IBlob> const payload = packet->GetBlob();
    u8 const* const begin = payload->GetData();
    u8 const* const end = begin + payload->GetSize();
    if (FindStartCodeOf(begin, end, VISUAL_OBJECT_SEQUENCE_START_CODE & 0xFF,
                        VISUAL_OBJECT_SEQUENCE_START_CODE & 0xFF) != end ||
        FindStartCodeOf(begin, end, FIRST_VOL_START_CODE & 0xFF, LAST_VOL_START_CODE & 0xFF) != end)
        return packet;
    return PrependToPayload(*packet, *extradata);
}

}  // namespace Tarsel::Proc::CodecParsers
