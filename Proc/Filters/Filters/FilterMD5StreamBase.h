#pragma once

#include <atomic>
#include <string>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

namespace Details {

/// The node id in a property named `ICRCStreamController::SOURCE_NODE_ID`. Another name throws `FilterException`
/// "Source node Id in graph is not specified".
int64 GetSourceNodeId(Core::Property const& property);

/// Gives the arguments of a hash filter back when neither is null. Throws `std::invalid_argument` "source is NULL",
/// which is looked at first, or "crcDataCollector is NULL".
template <class T>
iptr<T> RequireHashArguments(iptr<T> source, iptr<IGraphDataCRCCollector> const& collector);

}  // namespace Details

/// What the hash filters of decoded streams share; `T` in `IStreamVideo`, `IStreamAudio`, `IStreamSubtitle`.
///
/// Goes in: one stream. Comes out: the same objects; the digest and time of each go to the collector as it is read. An
/// item that fails, in the source or in its digest, is neither recorded nor counted. Seek and end: the source's; what
/// was recorded in front of a seek stays. Threads: one consumer; `Initialize` and `GetStatistic` from any thread.
template <class T>
class FilterMD5StreamBase : public StreamImpl<T, T> {
  public:
    using typename StreamImpl<T, T>::DataType;
    using FormatType = typename T::FormatType;

    ~FilterMD5StreamBase() override { this->StopReaderThread(); }

    /// Tells the node under which items are recorded, 0 until then: see `Details::GetSourceNodeId`.
    void Initialize(Core::Property const& property) override { sourceNodeId = Details::GetSourceNodeId(property); }
    Core::Property GetSettings() override { return this->parentStream->GetSettings(); }
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    using Digest = std::string (*)(iptr<DataType> const& item);

    /// `name` for visitors and `statisticName` are literals.
    FilterMD5StreamBase(iptr<T> source, iptr<IGraphDataCRCCollector> collector, Digest digest, char const* name,
                        char const* statisticName);

    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

  private:
    // Settings and wiring, constant after construction.
    Digest const digest;
    char const* const name;
    char const* const statisticName;
    iptr<IGraphDataCRCCollector> const collector;

    int64 const processingTime = 0;
    std::atomic<int64> sourceNodeId{0};
    std::atomic<unsigned> packetCount{0};
};

extern template class FilterMD5StreamBase<IStreamVideo>;
extern template class FilterMD5StreamBase<IStreamAudio>;
extern template class FilterMD5StreamBase<IStreamSubtitle>;

}  // namespace Tarsel::Proc
