#pragma once

#include <cstddef>

#include "contracts/Core/BitIO.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// The configuration header of MPEG-4 video. Field names are those of ISO/IEC 14496-2; bits a field has in
// comments where they aren't the type's. Stateless; any thread. All failures are `Tarsel::Exception`, a read past the
// end too.

namespace Tarsel::Proc::CodecParsers {

/// VideoObjectLayer(), 6.2.3.
struct MPEG4VOL {
    u8 random_accessible_vol = 0;
    u8 video_object_type_indication = 0;
    u8 video_object_layer_verid = 0;  // 1 without is_object_layer_identifier, and so the priority
    u8 video_object_layer_priority = 0;
    u8 aspect_ratio_info = 0;
    u8 par_width = 0;  // this and the next only for aspect_ratio_info 15
    u8 par_height = 0;
    u8 vol_control_parameters = 0;
    u8 chroma_format = 0;
    u8 low_delay = 0;
    u8 vbv_parameters = 0;
    u32 bit_rate = 0;         // first_half x 0x8000 + latter_half
    u32 vbv_buffer_size = 0;  // first_half x 8 + latter_half
    u32 vbv_occupancy = 0;    // first_half x 0x8000 + latter_half
    u8 video_object_layer_shape = 0;
    u8 video_object_layer_shape_extension = 0;
    u16 vop_time_increment_resolution = 0;
    u8 fixed_vop_rate = 0;
    u16 fixed_vop_time_increment = 0;
    u16 video_object_layer_width = 0;
    u16 video_object_layer_height = 0;
    u8 interlaced = 0;
    u8 obmc_disable = 0;
    u8 sprite_enable = 0;
    u8 sadct_disable = 0;
    u8 not_8_bit = 0;
    u8 quant_precision = 0;
    u8 bits_per_pixel = 0;
    u8 no_gray_quant_update = 0;
    u8 composition_method = 0;
    u8 linear_composition = 0;
    u8 quant_type = 0;
    u8 quarter_sample = 0;
    u8 complexity_estimation_disable = 0;
    u8 resync_marker_disable = 0;
    u8 data_partitioned = 0;
    u8 reversible_vlc = 0;
    u8 newpred_enable = 0;
    u8 requested_upstream_message_type = 0;
    u8 newpred_segment_type = 0;
    u8 reduced_resolution_vop_enable = 0;
    u8 scalability = 0;

    bool operator==(MPEG4VOL const&) const = default;
};

/// VisualObjectSequence() and VisualObject(), 6.2.2, with the first layer.
struct MPEG4Config {
    u8 profile = 0;  // profile_and_level_indication: upper and lower 4 bits
    u8 level = 0;
    u8 visual_object_verid = 0;
    u8 visual_object_priority = 0;
    u8 visual_object_type = 0;
    u8 video_signal_type = 0;
    u8 video_format = 0;
    u8 video_range = 0;
    u8 colour_description = 0;
    u8 colour_primaries = 0;
    u8 transfer_characteristics = 0;
    u8 matrix_coefficients = 0;
    MPEG4VOL vol;

    bool operator==(MPEG4Config const&) const = default;
};

/// Decodes a header that begins with the visual object sequence. Only a video object (type 1) has its layer read. When
/// it throws, the record keeps what had been read. User data between the sequence and the object, sprites, quantiser
/// tables and complexity estimation aren't supported and throw.
void DecodeMPEG4Config(u8 const* data, std::size_t size, MPEG4Config& out);
/// Decodes a layer from its start code on. Any other start code leaves the record as it is, without a word.
void DecodeMPEG4_VOL(Core::DataBitInput& in, MPEG4VOL& out);
/// Decodes the visual object behind its start code, up to the colour description.
void DecodeMPEG4VisualObject(Core::DataBitInput& in, MPEG4Config& out);

/// A key packet gets `extradata` in front unless it holds a sequence or layer header already (start code B0, or 20 to
/// 2F). All else comes back unchanged: no or empty extradata, no packet, no key.
iptr<IDataPacket> InsertMPEG4Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata);

}  // namespace Tarsel::Proc::CodecParsers
