#include <utility>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr u32 PLAIN_HEADER_SIZE = 7;
constexpr u32 CRC_HEADER_SIZE = 9;

std::size_t GetPayloadSize(AVPacket const& packet) {
    return packet.size > 0 ? static_cast<std::size_t>(packet.size) : 0;
}

iptr<IBlob> CopyToBlob(u8 const* data, std::size_t size) {
    iptr<IBlob> blob = BlobFF::Create(data, size);
    if (!blob) TARSEL_THROW(Exception, "Can't create BlobFF");
    return blob;
}

}  // namespace

bool IsADTSHeader(u8 const* data, std::size_t size) {
    return size >= 2 && data[0] == 0xFF && (data[1] & 0xF0U) == 0xF0;
}

u32 GetADTSHeaderSize(u8 const* data, std::size_t size) {
    if (!IsADTSHeader(data, size)) return 0;
    u32 const fixed = (data[1] & 1U) == 0 ? CRC_HEADER_SIZE : PLAIN_HEADER_SIZE;
    if (size <= fixed || !IsPCE(data + fixed, size - fixed)) return fixed;
    Core::DataBitInput in(Core::DataInputMemory::Create(data + fixed, size - fixed));
    in.SkipBits(3);
    ReadPCE(in);
    return fixed + static_cast<u32>((in.GetBitPosition() + 7) / 8);
}

iptr<IBlob> ExtractADTSHeader(AVPacket const& packet) {
    std::size_t const size = GetPayloadSize(packet);
    if (!IsADTSHeader(packet.data, size)) return nullptr;
    u32 const headerSize = GetADTSHeaderSize(packet.data, size);
    if (headerSize > size) TARSEL_THROW(Exception, "The packet is smaller than its ADTS header");
    return CopyToBlob(packet.data, headerSize);
}

iptr<IBlob> SetADTSFrameLength(iptr<IBlob> header, u16 length) {
    if (!header || !IsADTSHeader(header->GetData(), header->GetSize()) || header->GetSize() < PLAIN_HEADER_SIZE)
        TARSEL_THROW(Exception, "Given ADTS header is not valid. Frame length cannot be set.");
    iptr<IBlob> result = CopyToBlob(header->GetData(), header->GetSize());
    if (length >= 0x2000) TARSEL_THROW(Exception, "Packet data is too large for ADTS format!");
    u8* const data = result->GetWritableData();
    data[3] = static_cast<u8>((data[3] & 0xFCU) | (length >> 11));
    data[4] = static_cast<u8>(length >> 3);
    data[5] = static_cast<u8>((data[5] & 0x1FU) | (length << 5));
    return result;
}

iptr<IDataPacket> RemoveADTSHeader(iptr<IDataPacket> packet) {
    if (!packet) return nullptr;
    // Read from FFmpeg's packet: a blob would cost two allocations, as much as the copy of a frame.
    AVPacket const& source = *packet->GetAVPacket();
    std::size_t const size = GetPayloadSize(source);
    u32 const headerSize = GetADTSHeaderSize(source.data, size);
    if (headerSize >= size) TARSEL_THROW(Exception, "The packet is smaller than header to remove");
    AVPacketPtr result = NewPacketLike(*packet, size - headerSize);
    PayloadWriter(result->data).Write(source.data + headerSize, size - headerSize);
    return WrapPacketLike(*packet, std::move(result), MEDIA_TYPE_AUDIO);
}

iptr<IDataPacket> InsertADTSHeader(iptr<IDataPacket> packet, iptr<IBlob> header, bool wholeHeader) {
    if (!packet) return nullptr;
    AVPacket const& source = *packet->GetAVPacket();
    std::size_t const headerSize = wholeHeader && header ? header->GetSize() : PLAIN_HEADER_SIZE;
    AVPacketPtr result = NewPacketLike(*packet, u64(headerSize) + GetPayloadSize(source));
    // Meant: cut to 16 bits ahead of the test of its length, so a size of 0x10000 and more wraps around.
    iptr<IBlob> const finished = SetADTSFrameLength(header, static_cast<u16>(result->size));
    PayloadWriter writer(result->data);
    writer.Write(finished->GetData(), headerSize);
    writer.Write(source.data, GetPayloadSize(source));
    return WrapPacketLike(*packet, std::move(result), MEDIA_TYPE_AUDIO);
}

}  // namespace Tarsel::Proc::CodecParsers
