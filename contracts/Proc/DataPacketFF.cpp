#include "contracts/Proc/DataPacketFF.h"

#include <atomic>
#include <memory>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc {

namespace {

std::atomic<int64> liveCount{0};

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

}  // namespace

iptr<IDataPacket> DataPacketFF::Create(AVPacket* packet, MediaType type, int64 time, int64 decodingTime,
                                       int64 duration) {
    std::unique_ptr<AVPacket, FreePacket> owned(packet);
    if (!packet) TARSEL_THROW(std::invalid_argument, "packet is NULL");
    iptr<IDataPacket> result(new DataPacketFF(packet, type, time, decodingTime, duration));
    owned.release();
    return result;
}

int64 DataPacketFF::GetLiveCount() {
    return liveCount.load(std::memory_order_relaxed);
}

DataPacketFF::DataPacketFF(AVPacket* packet, MediaType type, int64 time, int64 decodingTime, int64 duration)
    : packet(packet), type(type), time(time), decodingTime(decodingTime), duration(duration) {
    liveCount.fetch_add(1, std::memory_order_relaxed);
}

DataPacketFF::~DataPacketFF() {
    av_packet_free(&packet);
    liveCount.fetch_sub(1, std::memory_order_relaxed);
}

void DataPacketFF::CutBegin(int64) {
    TARSEL_THROW(ProcException, "A compressed packet can't be cut");
}
void DataPacketFF::Cut(int64, int64) {
    TARSEL_THROW(ProcException, "A compressed packet can't be cut");
}
void DataPacketFF::CutEnd(int64) {
    TARSEL_THROW(ProcException, "A compressed packet can't be cut");
}

bool DataPacketFF::IsKeyFrame() const {
    return (packet->flags & AV_PKT_FLAG_KEY) != 0;
}

std::size_t DataPacketFF::GetSize() const {
    return packet->size > 0 ? static_cast<std::size_t>(packet->size) : 0;
}

iptr<IBlob> DataPacketFF::GetBlob() const {
    iptr<IBlob> blob = packet->buf ? BlobFF::CreateView(packet->buf, packet->data, GetSize())
                                   : BlobFF::Create(packet->data, GetSize());
    if (!blob) TARSEL_THROW(Exception, "Can't create BlobFF");
    return blob;
}

iptr<IDataPacket> DataPacketFF::Clone(bool copyPayload) const {
    std::unique_ptr<AVPacket, FreePacket> copy(av_packet_clone(packet));
    if (!copy || (copyPayload && av_packet_make_writable(copy.get()) < 0)) TARSEL_THROW(Exception, "Can't copy packet");
    iptr<IDataPacket> clone = Create(copy.release(), type, time, decodingTime, duration);
    clone->SetSourcePosition(sourcePosition);
    clone->SetFormatCodec(format);
    return clone;
}

}  // namespace Tarsel::Proc
