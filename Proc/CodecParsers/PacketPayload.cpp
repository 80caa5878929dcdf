#include "Proc/CodecParsers/PacketPayload.h"

#include <cstring>
#include <limits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {

void FreeAVPacket::operator()(AVPacket* packet) const {
    av_packet_free(&packet);
}

AVPacketPtr NewPacketLike(IDataPacket& origin, u64 size) {
    AVPacketPtr packet(av_packet_alloc());
    // FFmpeg counts payload bytes in an int.
    if (!packet || size > u64(std::numeric_limits<int>::max()) ||
        av_new_packet(packet.get(), static_cast<int>(size)) < 0)
        TARSEL_THROW(Exception, "Can't allocate new AVPacket");
    if (av_packet_copy_props(packet.get(), origin.GetAVPacket()) < 0)
        TARSEL_THROW(Exception, "Can't copy packet properties");
    return packet;
}

iptr<IDataPacket> WrapPacketLike(IDataPacket& origin, AVPacketPtr packet, MediaType type) {
    iptr<IDataPacket> result =
        DataPacketFF::Create(packet.release(), type, origin.GetTime(), origin.GetDecodingTime(), origin.GetDuration());
    result->SetSourcePosition(origin.GetSourcePosition());
    result->SetFormatCodec(origin.GetFormatCodec());
    return result;
}

iptr<IDataPacket> PrependToPayload(IDataPacket& packet, IBlob const& header) {
    iptr<IBlob> const payload = packet.GetBlob();
    AVPacketPtr result = NewPacketLike(packet, u64(header.GetSize()) + payload->GetSize());
    PayloadWriter writer(result->data);
    writer.Write(header.GetData(), header.GetSize());
    writer.Write(payload->GetData(), payload->GetSize());
    return WrapPacketLike(packet, std::move(result));
}

void PayloadWriter::Write(u8 const* data, std::size_t size) {
    if (size != 0) std::memcpy(out, data, size);
    out += size;
}

void PayloadWriter::WriteBigEndian(u32 value, unsigned count) {
    while (count != 0) *out++ = static_cast<u8>(value >> (8 * --count));
}

}  // namespace Tarsel::Proc::CodecParsers
