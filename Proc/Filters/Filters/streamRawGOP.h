#pragma once

#include <atomic>
#include <vector>

#include "Proc/Filters/Filters/PacketQueueWithGOP.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// One group of pictures as a finished stream, so that a decoder can run over exactly that group.
///
/// Goes in: a filled queue, which reading empties. Comes out: its packets in order, then null. A seek can only mean the
/// group's beginning; decoders that give themselves as the seek's context are told by `DoSeek` that the seek is
/// finished. One reader, which also owns the queue for the time of the reading.
class StreamRawGOP final : public IStreamRaw, public RefCounted {
  public:
    /// `owner` is the stream that the queue belongs to; it is kept alive. `queue` is a member of it. An empty queue
    /// throws `FilterException` "Queue hasn't packets".
    StreamRawGOP(iptr<IStreamRaw> owner, PacketQueueWithGOP& queue);

    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    int64 GetDuration() const override { return owner->GetDuration(); }
    /// The group's start.
    int64 GetPosition() override { return start; }
    iptr<IDataPacket> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override;
    void SetEndOfStream() override { endOfStream = true; }
    bool IsEndOfStream() override { return endOfStream; }
    /// Forgets the decoders that wait for the end of a seek. The group stays: nothing could read it again.
    void ReleaseInternalData() override { decoders.clear(); }
    void Accept(IStreamVisitor& visitor) override;
    MediaType GetMediaType() const override { return owner->GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return owner->GetFormatCodec(); }

  private:
    // Wiring.
    iptr<IStreamRaw> const owner;
    PacketQueueWithGOP& queue;  // not owned; a member of `owner`
    int64 const start;

    // State of the reader.
    std::vector<iptr<IDecoder>> decoders;  // newest first
    std::atomic<bool> endOfStream{false};
};

}  // namespace Tarsel::Proc
