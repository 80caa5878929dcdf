// Field names are those of ISO/IEC 13818-2 and 14496-2; a field that a header doesn't hold isn't told.

#include <algorithm>

#include "Proc/CodecParsers/HeaderFields.h"
#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

// Calls `visit(code, unit, size)` for each start code 00 00 01 `code`; the unit begins with it and ends ahead of the
// next.
template <class Visit>
void ForEachStartCode(u8 const* data, std::size_t size, Visit visit) {
    constexpr std::size_t START_CODE_SIZE = 4;
    u8 const* const end = data + size;
    u8 const* unit = FindZeroZero(data, end, 1);
    while (static_cast<std::size_t>(end - unit) >= START_CODE_SIZE) {
        u8 const* const next = FindZeroZero(unit + 3, end, 1);
        visit(unit[3], unit, static_cast<std::size_t>(next - unit));
        unit = next;
    }
}

Core::DataBitInput ReadBehindStartCode(u8 const* unit, std::size_t size) {
    return Core::DataBitInput(Core::DataInputMemory::Create(unit + 4, size - 4));
}

void DescribeSequenceHeader(HeaderFields& out, MPEG2Config const& config) {
    out.Field("horizontal_size_value", config.horizontal_size)
        .Field("vertical_size_value", config.vertical_size)
        .Field("aspect_ratio_information", config.aspect_ratio_information)
        .Field("frame_rate_code", config.frame_rate_code)
        .Field("bit_rate_value", config.bit_rate_value)
        .Field("vbv_buffer_size_value", config.vbv_buffer_size_value)
        .Field("constrained_parameters_flag", config.constrained_parameters_flag)
        .Field("load_intra_quantiser_matrix", config.load_intra_quantiser_matrix);
    if (config.load_intra_quantiser_matrix) out.Array("intra_quantiser_matrix", config.intra_quantiser_matrix);
    out.Field("load_non_intra_quantiser_matrix", config.load_non_intra_quantiser_matrix);
    if (config.load_non_intra_quantiser_matrix)
        out.Array("non_intra_quantiser_matrix", config.non_intra_quantiser_matrix);
}

void DescribeSequenceExtension(HeaderFields& out, MPEG2SequenceExtension const& extension) {
    out.Field("profile_and_level_indication",
              extension.profile_and_level_escape << 7 | extension.profile << 4 | extension.level)
        .Field("progressive_sequence", extension.progressive_sequence)
        .Field("chroma_format", extension.chroma_format)
        .Field("horizontal_size_extension", extension.horizontal_size_extension)
        .Field("vertical_size_extension", extension.vertical_size_extension)
        .Field("bit_rate_extension", extension.bit_rate_extension)
        .Field("vbv_buffer_size_extension", extension.vbv_buffer_size_extension)
        .Field("low_delay", extension.low_delay)
        .Field("frame_rate_extension_n", extension.frame_rate_extension_n)
        .Field("frame_rate_extension_d", extension.frame_rate_extension_d);
}

void DescribeVisualObject(HeaderFields& out, MPEG4Config const& config) {
    constexpr u8 TYPE_VIDEO = 1;
    constexpr u8 TYPE_STILL_TEXTURE = 2;
    out.Field("visual_object_verid", config.visual_object_verid)
        .Field("visual_object_priority", config.visual_object_priority)
        .Field("visual_object_type", config.visual_object_type);
    if (config.visual_object_type != TYPE_VIDEO && config.visual_object_type != TYPE_STILL_TEXTURE) return;
    out.Field("video_signal_type", config.video_signal_type);
    if (!config.video_signal_type) return;
    out.Field("video_format", config.video_format)
        .Field("video_range", config.video_range)
        .Field("colour_description", config.colour_description);
    if (config.colour_description)
        out.Field("colour_primaries", config.colour_primaries)
            .Field("transfer_characteristics", config.transfer_characteristics)
            .Field("matrix_coefficients", config.matrix_coefficients);
}

// From random_accessible_vol to video_object_layer_shape.
void DescribeLayerHead(HeaderFields& out, MPEG4VOL const& vol) {
    constexpr u8 EXTENDED_PAR = 15;
    out.Field("random_accessible_vol", vol.random_accessible_vol)
        .Field("video_object_type_indication", vol.video_object_type_indication)
        .Field("video_object_layer_verid", vol.video_object_layer_verid)
        .Field("video_object_layer_priority", vol.video_object_layer_priority)
        .Field("aspect_ratio_info", vol.aspect_ratio_info);
    if (vol.aspect_ratio_info == EXTENDED_PAR)
        out.Field("par_width", vol.par_width).Field("par_height", vol.par_height);
    out.Field("vol_control_parameters", vol.vol_control_parameters);
    if (vol.vol_control_parameters)
        out.Field("chroma_format", vol.chroma_format)
            .Field("low_delay", vol.low_delay)
            .Field("vbv_parameters", vol.vbv_parameters);
    if (vol.vbv_parameters)
        out.Field("bit_rate", vol.bit_rate)
            .Field("vbv_buffer_size", vol.vbv_buffer_size)
            .Field("vbv_occupancy", vol.vbv_occupancy);
    out.Field("video_object_layer_shape", vol.video_object_layer_shape);
}

void DescribeLayerTools(HeaderFields& out, MPEG4VOL const& vol) {
    bool const firstVersion = vol.video_object_layer_verid == 1;
    if (!firstVersion) out.Field("quarter_sample", vol.quarter_sample);
    out.Field("complexity_estimation_disable", vol.complexity_estimation_disable)
        .Field("resync_marker_disable", vol.resync_marker_disable)
        .Field("data_partitioned", vol.data_partitioned);
    if (vol.data_partitioned) out.Field("reversible_vlc", vol.reversible_vlc);
    if (!firstVersion) {
        out.Field("newpred_enable", vol.newpred_enable);
        if (vol.newpred_enable)
            out.Field("requested_upstream_message_type", vol.requested_upstream_message_type)
                .Field("newpred_segment_type", vol.newpred_segment_type);
        out.Field("reduced_resolution_vop_enable", vol.reduced_resolution_vop_enable);
    }
    out.Field("scalability", vol.scalability);
}

void DescribeLayer(HeaderFields& out, MPEG4VOL const& vol) {
    enum Shape : u8 { SHAPE_RECTANGULAR = 0, SHAPE_BINARY_ONLY = 2, SHAPE_GRAYSCALE = 3 };
    bool const firstVersion = vol.video_object_layer_verid == 1;
    DescribeLayerHead(out, vol);
    if (vol.video_object_layer_shape == SHAPE_GRAYSCALE && !firstVersion)
        out.Field("video_object_layer_shape_extension", vol.video_object_layer_shape_extension);
    out.Field("vop_time_increment_resolution", vol.vop_time_increment_resolution)
        .Field("fixed_vop_rate", vol.fixed_vop_rate);
    if (vol.fixed_vop_rate) out.Field("fixed_vop_time_increment", vol.fixed_vop_time_increment);
    if (vol.video_object_layer_shape == SHAPE_BINARY_ONLY) return;
    if (vol.video_object_layer_shape == SHAPE_RECTANGULAR)
        out.Field("video_object_layer_width", vol.video_object_layer_width)
            .Field("video_object_layer_height", vol.video_object_layer_height);
    out.Field("interlaced", vol.interlaced)
        .Field("obmc_disable", vol.obmc_disable)
        .Field("sprite_enable", vol.sprite_enable);
    if (!firstVersion && vol.video_object_layer_shape != SHAPE_RECTANGULAR)
        out.Field("sadct_disable", vol.sadct_disable);
    out.Field("not_8_bit", vol.not_8_bit);
    if (vol.not_8_bit) out.Field("quant_precision", vol.quant_precision).Field("bits_per_pixel", vol.bits_per_pixel);
    if (vol.video_object_layer_shape == SHAPE_GRAYSCALE)
        out.Field("no_gray_quant_update", vol.no_gray_quant_update)
            .Field("composition_method", vol.composition_method)
            .Field("linear_composition", vol.linear_composition);
    out.Field("quant_type", vol.quant_type);
    DescribeLayerTools(out, vol);
}

}  // namespace

void DescribeMPEG2(u8 const* data, std::size_t size, HeaderStructures& out) {
    constexpr u8 SEQUENCE_HEADER_CODE = 0xB3;
    constexpr u8 EXTENSION_START_CODE = 0xB5;
    constexpr u8 SEQUENCE_EXTENSION_ID = 1;
    ForEachStartCode(data, size, [&](u8 code, u8 const* unit, std::size_t unitSize) {
        if (code == SEQUENCE_HEADER_CODE)
            out.Add("sequence_header", [&](HeaderFields& fields) {
                MPEG2Config config;
                DecodeMPEG2Config(unit, unitSize, config);
                DescribeSequenceHeader(fields, config);
            });
        // Extensions of pictures have the same start code and another number behind it.
        if (code == EXTENSION_START_CODE && (unitSize == 4 || unit[4] >> 4 == SEQUENCE_EXTENSION_ID))
            out.Add("sequence_extension", [&](HeaderFields& fields) {
                Core::DataBitInput in = ReadBehindStartCode(unit, unitSize);
                MPEG2SequenceExtension extension;
                DecodeMPEG2_sequence_extention(in, extension);
                DescribeSequenceExtension(fields, extension);
            });
    });
}

void DescribeMPEG4(u8 const* data, std::size_t size, HeaderStructures& out) {
    constexpr u8 VISUAL_OBJECT_SEQUENCE_START_CODE = 0xB0;
    constexpr u8 VISUAL_OBJECT_START_CODE = 0xB5;
    constexpr u8 FIRST_VOL_START_CODE = 0x20;
    constexpr u8 LAST_VOL_START_CODE = 0x2F;
    ForEachStartCode(data, size, [&](u8 code, u8 const* unit, std::size_t unitSize) {
        if (code == VISUAL_OBJECT_SEQUENCE_START_CODE)
            out.Add("VisualObjectSequence", [&](HeaderFields& fields) {
                Core::DataBitInput in = ReadBehindStartCode(unit, unitSize);
                fields.Field("profile_and_level_indication", static_cast<int64>(in.ReadBits(8)));
            });
        if (code == VISUAL_OBJECT_START_CODE)
            out.Add("VisualObject", [&](HeaderFields& fields) {
                Core::DataBitInput in = ReadBehindStartCode(unit, unitSize);
                MPEG4Config config;
                DecodeMPEG4VisualObject(in, config);
                DescribeVisualObject(fields, config);
            });
        if (code >= FIRST_VOL_START_CODE && code <= LAST_VOL_START_CODE)
            out.Add("VOL", [&](HeaderFields& fields) {
                Core::DataBitInput in(Core::DataInputMemory::Create(unit, unitSize));
                MPEG4VOL vol;
                DecodeMPEG4_VOL(in, vol);
                DescribeLayer(fields, vol);
            });
    });
}

}  // namespace Tarsel::Proc::CodecParsers
