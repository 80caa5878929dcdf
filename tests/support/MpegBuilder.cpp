#include "tests/support/MpegBuilder.h"

namespace Tarsel::TestSupport {

using namespace Proc::CodecParsers;

namespace {

void WriteObject(BitWriter& out, MPEG4Config const& config) {
    out.Flag(true).Bits(config.visual_object_verid, 4).Bits(config.visual_object_priority, 3);
    out.Bits(config.visual_object_type, 4);
    if (config.visual_object_type != 1 && config.visual_object_type != 2) return;
    out.Flag(config.video_signal_type);
    if (!config.video_signal_type) return;
    out.Bits(config.video_format, 3).Flag(config.video_range).Flag(config.colour_description);
    if (!config.colour_description) return;
    out.Bits(config.colour_primaries, 8).Bits(config.transfer_characteristics, 8).Bits(config.matrix_coefficients, 8);
}

void WriteControl(BitWriter& out, MPEG4VOL const& vol) {
    out.Flag(vol.vol_control_parameters);
    if (!vol.vol_control_parameters) return;
    out.Bits(vol.chroma_format, 2).Flag(vol.low_delay).Flag(vol.vbv_parameters);
    if (!vol.vbv_parameters) return;
    out.Bits(vol.bit_rate >> 15, 15).Flag(true).Bits(vol.bit_rate, 15).Flag(true);
    out.Bits(vol.vbv_buffer_size >> 3, 15).Flag(true).Bits(vol.vbv_buffer_size, 3);
    out.Bits(vol.vbv_occupancy >> 15, 11).Flag(true).Bits(vol.vbv_occupancy, 15).Flag(true);
}

void WritePicture(BitWriter& out, MPEG4VOL const& vol) {
    bool const first = vol.video_object_layer_verid == 1;
    if (vol.video_object_layer_shape == 0)
        out.Flag(true)
            .Bits(vol.video_object_layer_width, 13)
            .Flag(true)
            .Bits(vol.video_object_layer_height, 13)
            .Flag(true);
    out.Flag(vol.interlaced).Flag(vol.obmc_disable).Bits(vol.sprite_enable, first ? 1 : 2);
    if (!first && vol.video_object_layer_shape != 0) out.Flag(vol.sadct_disable);
    out.Flag(vol.not_8_bit);
    if (vol.not_8_bit) out.Bits(vol.quant_precision, 4).Bits(vol.bits_per_pixel, 4);
    if (vol.video_object_layer_shape == 3)
        out.Flag(vol.no_gray_quant_update).Flag(vol.composition_method).Flag(vol.linear_composition);
    out.Flag(vol.quant_type);
}

void WriteTools(BitWriter& out, MPEG4VOL const& vol) {
    bool const first = vol.video_object_layer_verid == 1;
    if (!first) out.Flag(vol.quarter_sample);
    out.Flag(vol.complexity_estimation_disable).Flag(vol.resync_marker_disable).Flag(vol.data_partitioned);
    if (vol.data_partitioned) out.Flag(vol.reversible_vlc);
    if (!first) {
        out.Flag(vol.newpred_enable);
        if (vol.newpred_enable) out.Bits(vol.requested_upstream_message_type, 2).Flag(vol.newpred_segment_type);
        out.Flag(vol.reduced_resolution_vop_enable);
    }
    out.Flag(vol.scalability);
}

}  // namespace

void WriteVOL(BitWriter& out, MPEG4VOL const& vol, unsigned timeIncrementBits, u32 startCode) {
    out.Bits(startCode, 32).Flag(vol.random_accessible_vol).Bits(vol.video_object_type_indication, 8);
    out.Flag(true).Bits(vol.video_object_layer_verid, 4).Bits(vol.video_object_layer_priority, 3);
    out.Bits(vol.aspect_ratio_info, 4);
    if (vol.aspect_ratio_info == 15) out.Bits(vol.par_width, 8).Bits(vol.par_height, 8);
    WriteControl(out, vol);
    out.Bits(vol.video_object_layer_shape, 2);
    if (vol.video_object_layer_shape == 3 && vol.video_object_layer_verid != 1)
        out.Bits(vol.video_object_layer_shape_extension, 4);
    out.Flag(true).Bits(vol.vop_time_increment_resolution, 16).Flag(true).Flag(vol.fixed_vop_rate);
    if (vol.fixed_vop_rate) out.Bits(vol.fixed_vop_time_increment, timeIncrementBits);
    if (vol.video_object_layer_shape == 2) return;
    WritePicture(out, vol);
    WriteTools(out, vol);
}

std::vector<u8> BuildMPEG4Config(MPEG4Config const& config, unsigned timeIncrementBits, u32 volStartCode) {
    BitWriter out;
    out.Bits(0x1B0, 32).Bits(config.profile, 4).Bits(config.level, 4);
    out.Bits(0x1B5, 32);
    WriteObject(out, config);
    out.Align().Bits(0x100, 32);
    WriteVOL(out, config.vol, timeIncrementBits, volStartCode);
    return out.GetBytes();
}

MPEG4Config MakeMPEG4Config() {
    MPEG4Config config;
    config.profile = 0;
    config.level = 1;
    config.visual_object_verid = 1;
    config.visual_object_priority = 1;
    config.visual_object_type = 1;
    config.vol.video_object_type_indication = 1;
    config.vol.video_object_layer_verid = 1;
    config.vol.video_object_layer_priority = 1;
    config.vol.aspect_ratio_info = 1;
    config.vol.vop_time_increment_resolution = 25;
    config.vol.video_object_layer_width = 320;
    config.vol.video_object_layer_height = 240;
    config.vol.obmc_disable = 1;
    config.vol.complexity_estimation_disable = 1;
    config.vol.resync_marker_disable = 1;
    return config;
}

std::vector<u8> BuildMPEG2Header(MPEG2Config const& config) {
    BitWriter out;
    out.Bits(0x1B3, 32).Bits(config.horizontal_size, 12).Bits(config.vertical_size, 12);
    out.Bits(config.aspect_ratio_information, 4).Bits(config.frame_rate_code, 4).Bits(config.bit_rate_value, 18);
    out.Flag(true).Bits(config.vbv_buffer_size_value, 10).Flag(config.constrained_parameters_flag);
    out.Flag(config.load_intra_quantiser_matrix);
    if (config.load_intra_quantiser_matrix)
        for (u8 const value : config.intra_quantiser_matrix) out.Bits(value, 8);
    out.Flag(config.load_non_intra_quantiser_matrix);
    if (config.load_non_intra_quantiser_matrix)
        for (u8 const value : config.non_intra_quantiser_matrix) out.Bits(value, 8);
    return out.GetBytes();
}

std::vector<u8> BuildMPEG2Extension(MPEG2SequenceExtension const& extension) {
    BitWriter out;
    out.Bits(0x1B5, 32).Bits(1, 4).Flag(extension.profile_and_level_escape).Bits(extension.profile, 3);
    out.Bits(extension.level, 4).Flag(extension.progressive_sequence).Bits(extension.chroma_format, 2);
    out.Bits(extension.horizontal_size_extension, 2).Bits(extension.vertical_size_extension, 2);
    out.Bits(extension.bit_rate_extension, 12).Flag(true).Bits(extension.vbv_buffer_size_extension, 8);
    out.Flag(extension.low_delay).Bits(extension.frame_rate_extension_n, 2);
    out.Bits(extension.frame_rate_extension_d, 5);
    return out.GetBytes();
}

}  // namespace Tarsel::TestSupport
