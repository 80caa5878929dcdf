#include "tests/support/Packets.h"

#include <algorithm>

#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::TestSupport {

iptr<Proc::IDataPacket> MakePacket(std::vector<u8> const& payload, bool key, int64 time, int64 decodingTime,
                                   int64 duration) {
    AVPacket* const packet = av_packet_alloc();
    av_new_packet(packet, static_cast<int>(payload.size()));
    std::copy(payload.begin(), payload.end(), packet->data);
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    return Proc::DataPacketFF::Create(packet, MEDIA_TYPE_VIDEO, time, decodingTime, duration);
}

iptr<IBlob> MakeBlob(std::vector<u8> const& bytes) {
    return Proc::BlobFF::Create(bytes.data(), bytes.size());
}

std::vector<u8> GetBytes(iptr<IBlob> const& blob) {
    return std::vector<u8>(blob->GetData(), blob->GetData() + blob->GetSize());
}

std::vector<u8> GetBytes(iptr<Proc::IDataPacket> const& packet) {
    return GetBytes(packet->GetBlob());
}

}  // namespace Tarsel::TestSupport
