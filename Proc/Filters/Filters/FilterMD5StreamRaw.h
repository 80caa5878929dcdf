#pragma once

#include <atomic>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Records the digests of a stream's packets.
///
/// Goes in: one stream of compressed packets. Comes out: the same objects, one read of the source for each; the digest
/// and time of each go to the collector, where it has one (a packet without payload is only counted). Everything else
/// is the source's: nothing is read ahead, kept or locked. What was recorded in front of a seek stays. Threads: one
/// consumer; `Initialize` and `GetStatistic` from any thread.
class FilterMD5StreamRaw final : public IStreamRaw, public RefCounted {
  public:
    /// A null source throws `std::invalid_argument` "source is NULL", a null collector "crcDataCollector is NULL"; the
    /// source is looked at first.
    FilterMD5StreamRaw(iptr<IStreamRaw> source, iptr<IGraphDataCRCCollector> collector);

    /// Tells the node under which packets are recorded, 0 until then: see `Details::GetSourceNodeId`.
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override { return Source().GetSettings(); }
    int64 GetDuration() const override { return Source().GetDuration(); }
    int64 GetPosition() override { return Source().GetPosition(); }
    iptr<IDataPacket> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override { Source().DoSeek(); }
    bool FinishSeek() override { return Source().FinishSeek(); }
    Core::Property GetStatistic() override;
    void SetEndOfStream() override { Source().SetEndOfStream(); }
    bool IsEndOfStream() override { return Source().IsEndOfStream(); }
    void ReleaseInternalData() override { Source().ReleaseInternalData(); }
    void Accept(IStreamVisitor& visitor) override;
    MediaType GetMediaType() const override { return Source().GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return Source().GetFormatCodec(); }

  private:
    /// Throws `FilterException` "The source filter has not been set" when there is none, which the constructor doesn't
    /// let come to pass.
    IStreamRaw& Source() const;

    // Wiring.
    iptr<IStreamRaw> const source;
    iptr<IGraphDataCRCCollector> const collector;

    int64 const processingTime = 0;
    std::atomic<int64> sourceNodeId{0};
    std::atomic<unsigned> packetCount{0};
};

}  // namespace Tarsel::Proc
