#pragma once

#include <cstddef>

#include "contracts/Core/Types.h"
#include "host/media/StreamIndex.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace Tarsel::Host {

/// How the units of an H.264 or HEVC packet are told apart.
struct NalFraming {
    /// Bytes of a length prefix, 1 to 4; 0 for start codes.
    int lengthSize = 0;
};

/// Framing of the packets of a stream with this global header: lengths for avcC (ISO/IEC 14496-15, 5.3.3.1) and hvcC
/// (8.3.3.1), start codes (H.264 and HEVC, annex B) for any other or none.
NalFraming FramingOf(AVCodecID codec, u8 const* extradata, std::size_t size);

/// Whether the codec's packets are made of NAL units: H.264 and HEVC.
bool IsNalCodec(AVCodecID codec);
/// nal_unit_type of a unit with this first byte (H.264, 7.3.1; HEVC, 7.3.1.2).
int NalUnitType(AVCodecID codec, u8 first);
/// Whether units of the type are parameter sets, their extensions and subsets included: H.264 types 7, 8, 13 and 15
/// (table 7-1), HEVC types 32 to 34 (table 7-1).
bool IsParameterSet(AVCodecID codec, int type);

/// Walks over the units of a packet without copying them; a length that leads out of the packet ends the walk.
class NalWalker {
  public:
    NalWalker(u8 const* data, std::size_t size, NalFraming framing);

    /// Goes to the next unit; false at the end.
    bool Next();
    /// The unit without its prefix; trailing zero bytes of start-code framing belong to it.
    u8 const* GetData() const { return unit; }
    std::size_t GetSize() const { return unitSize; }

  private:
    bool NextByLength();
    bool NextByStartCode();

    u8 const* position;
    u8 const* const end;
    int const lengthSize;
    u8 const* unit = nullptr;
    std::size_t unitSize = 0;
};

/// First start code (00 00 01) at or after `data`; `end` when there is none.
u8 const* FindStartCode(u8 const* data, u8 const* end);

/// What kind of entry point a packet that is marked as key really is. Looks at the packet's head only, up to its first
/// coded slice.
RandomAccess ClassifyKey(AVCodecID codec, u8 const* data, std::size_t size, NalFraming framing);

/// Whether the codec's packets are pictures of subtitles.
bool IsPicturedSubtitle(AVCodecID codec);
/// Whether a packet of pictured subtitles begins something that needs no packet in front of it: a display set of PGS
/// that starts an epoch or can be tuned in to, a page of DVB (ETSI EN 300 743, 7.2.2) that does, any of another codec.
bool IsSubtitleEntry(AVCodecID codec, u8 const* data, std::size_t size);

/// Mixes size, first and last bytes.
u32 HashPacket(u8 const* data, std::size_t size);

}  // namespace Tarsel::Host
