#pragma once

#include <array>
#include <cstddef>

#include "contracts/Core/BitIO.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// The sequence header of MPEG-2 video and its extension. Field names are those of ISO/IEC 13818-2. Stateless; any
// thread. All failures are `Tarsel::Exception`, a read past the end too.

namespace Tarsel::Proc::CodecParsers {

/// sequence_extension(), 6.2.2.3.
struct MPEG2SequenceExtension {
    u8 profile_and_level_escape = 0;
    u8 profile = 0;
    u8 level = 0;
    u8 progressive_sequence = 0;
    u8 chroma_format = 0;
    u8 horizontal_size_extension = 0;
    u8 vertical_size_extension = 0;
    u16 bit_rate_extension = 0;
    u8 vbv_buffer_size_extension = 0;
    u8 low_delay = 0;
    u8 frame_rate_extension_n = 0;
    u8 frame_rate_extension_d = 0;

    bool operator==(MPEG2SequenceExtension const&) const = default;
};

/// sequence_header(), 6.2.2.1, its extension, and what follows from both.
struct MPEG2Config {
    u16 horizontal_size = 0;
    u16 vertical_size = 0;
    u8 aspect_ratio_information = 0;
    u8 frame_rate_code = 0;
    u32 bit_rate_value = 0;
    u16 vbv_buffer_size_value = 0;
    u8 constrained_parameters_flag = 0;
    u8 load_intra_quantiser_matrix = 0;
    std::array<u8, 64> intra_quantiser_matrix = {};  // in coded order; zeros when not loaded
    u8 load_non_intra_quantiser_matrix = 0;
    std::array<u8, 64> non_intra_quantiser_matrix = {};
    MPEG2SequenceExtension sequence_extension;
    u16 width = 0;
    u16 height = 0;
    double frame_rate = 0;    // base rate x (n + 1) + (d + 1): not the stream's true rate
    u32 bit_rate = 0;         // units of 400 bit/s
    u32 vbv_buffer_size = 0;  // units of 16 x 1024 bits

    bool operator==(MPEG2Config const&) const = default;
};

/// Decodes the first sequence header and the first extension found in the data; an absent one leaves zeros. Without a
/// known frame rate code throws "MPEG-2 config has wrong frame rate code". When it throws, the record keeps what had
/// been read.
void DecodeMPEG2Config(u8 const* data, std::size_t size, MPEG2Config& out);
/// Decodes a sequence extension behind its start code.
void DecodeMPEG2_sequence_extention(Core::DataBitInput& in, MPEG2SequenceExtension& out);

/// A key packet gets `extradata` in front unless it holds a sequence header (start code B3) already. All else comes
/// back unchanged: no or empty extradata, no packet, no key.
iptr<IDataPacket> InsertMPEG2Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata);

}  // namespace Tarsel::Proc::CodecParsers
