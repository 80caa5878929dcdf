#pragma once

#include <cstddef>
#include <memory>

#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

struct AVPacket;

namespace Tarsel::Proc::CodecParsers {

struct FreeAVPacket {
    void operator()(AVPacket* packet) const;
};
using AVPacketPtr = std::unique_ptr<AVPacket, FreeAVPacket>;

/// A packet with `size` payload bytes to be filled and the FFmpeg properties of `origin` (flags, side data...). Throws
/// `Tarsel::Exception` "Can't allocate new AVPacket" or "Can't copy packet properties".
AVPacketPtr NewPacketLike(IDataPacket& origin, u64 size);

/// Wraps `packet` with the time, decoding time, duration, source position and format of `origin`.
iptr<IDataPacket> WrapPacketLike(IDataPacket& origin, AVPacketPtr packet, MediaType type = MEDIA_TYPE_VIDEO);

/// A new packet: `header`, then the payload of `packet`, with the properties of `packet`.
iptr<IDataPacket> PrependToPayload(IDataPacket& packet, IBlob const& header);

/// Fills a buffer from front to back.
class PayloadWriter {
  public:
    explicit PayloadWriter(u8* out) : out(out) {}
    /// The caller has made room for `size` bytes.
    void Write(u8 const* data, std::size_t size);
    /// Writes the lowest `count` bytes of `value`, big-endian; 0 to 4.
    void WriteBigEndian(u32 value, unsigned count);

  private:
    u8* out;  // not owned
};

}  // namespace Tarsel::Proc::CodecParsers
