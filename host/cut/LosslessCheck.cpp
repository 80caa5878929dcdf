#include "host/cut/LosslessCheck.h"

#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/IFilterLosslessDetect.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/FilterRegistry.h"

namespace Tarsel::Host {

namespace {

constexpr char NAME[] = "class Tarsel::Host::IndexedTimes";

/// Packets of a stream with the container's own times. Without `payloads` they are empty.
class IndexedTimes final : public Proc::IStreamRaw, public RefCounted {
  public:
    IndexedTimes(MediaFile& file, StreamInfo const& info, iptr<Proc::IStreamRaw> payloads)
        : info(info),
          records(file.GetIndex(info.index).GetRecords()),
          duration(file.GetDuration()),
          payloads(std::move(payloads)) {}

    [[noreturn]] void Initialize(Core::Property const&) override {
        TARSEL_THROW(Proc::FilterException, "Method not implemented");
    }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override { return next < records.size() ? records[next].time : NO_VALUE; }
    iptr<Proc::IDataPacket> Read() override;
    /// Always to the start: nobody goes anywhere else.
    void RequestSeek(int64, iptr<IRefCountable> context) override {
        next = 0;
        if (payloads) payloads->RequestSeek(0, std::move(context));
    }
    void DoSeek() override {
        if (payloads) payloads->DoSeek();
    }
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { next = records.size(); }
    bool IsEndOfStream() override { return next >= records.size(); }
    void ReleaseInternalData() override {
        if (payloads) payloads->ReleaseInternalData();
    }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, NAME, Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    MediaType GetMediaType() const override { return info.mediaType; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return info.format; }

  private:
    StreamInfo const& info;
    std::vector<IndexRecord> const& records;
    int64 const duration;
    iptr<Proc::IStreamRaw> const payloads;
    std::size_t next = 0;
};

iptr<Proc::IDataPacket> IndexedTimes::Read() {
    if (next >= records.size()) return nullptr;
    IndexRecord const& record = records[next++];
    int64 const time = (record.flags & IndexRecord::PTS_FILLED) != 0 ? NO_VALUE : record.time;
    int64 const decodingTime = (record.flags & IndexRecord::DTS_FILLED) != 0 ? NO_VALUE : record.decodingTime;
    iptr<Proc::IDataPacket> packet;
    if (payloads) {
        packet = payloads->Read();
        if (!packet) return nullptr;
        packet->SetTime(time);
        packet->SetDecodingTime(decodingTime);
        return packet;
    }
    AVPacket* const raw = av_packet_alloc();
    if (!raw) TARSEL_THROW(Core::IOException, "Out of memory");
    return Proc::DataPacketFF::Create(raw, info.mediaType, time, decodingTime, record.duration);
}

}  // namespace

LosslessVerdict JudgeLossless(MediaFile& file, StreamInfo const& info) {
    auto const registry = MakeFilterRegistry();
    auto const factory = registry->Find(Proc::FilterSlots::LOSSLESS_DETECT, Proc::ImplNames::TARSEL);
    if (!factory) TARSEL_THROW(Proc::ProcException, "The filters library offers no lossless detection");
    bool const needsPayloads = info.codec == Conf::IFormatCodecVideo::CODEC_ID_H265;
    iptr<Proc::IStreamRaw> payloads = needsPayloads ? file.OpenStream(info.index) : nullptr;
    auto const source = MakeShared<IndexedTimes>(file, info, std::move(payloads));
    iptr<Proc::IFilterLosslessDetect> const detect = factory(source, Proc::SettingsLosslessDetect());
    detect->RequestSeek(0, nullptr);
    detect->DoSeek();
    while (detect->Read()) continue;
    return {detect->IsLosslessPossible(), detect->HasCraPackets(), detect->GetFindings()};
}

}  // namespace Tarsel::Host
